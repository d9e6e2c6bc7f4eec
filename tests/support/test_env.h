// Test environment helpers shared by every suite.
#pragma once

#include <string>
#include <vector>

namespace zxtest {

// A private bus directory for one test: created under /dev/shm, exported as ZX_BUS_DIR (and the
// platform told to re-read its environment), removed with everything in it at the end.
class ScopedBusDir {
public:
    ScopedBusDir();
    ~ScopedBusDir();
    ScopedBusDir(const ScopedBusDir&) = delete;
    ScopedBusDir& operator=(const ScopedBusDir&) = delete;
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

// A private directory tree removed at the end (ZX_ROOT of a test, scratch files).
class ScopedTempDir {
public:
    explicit ScopedTempDir(const char* prefix = "zxtmp");
    ~ScopedTempDir();
    ScopedTempDir(const ScopedTempDir&) = delete;
    ScopedTempDir& operator=(const ScopedTempDir&) = delete;
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

// Sets (or with nullptr unsets) an environment variable and re-reads the platform's environment.
void set_env(const char* name, const char* value);

// The words that start one of the build's programs: its path, preceded in a cross build by the
// emulator that runs the target's programs (the build's CMAKE_CROSSCOMPILING_EMULATOR).
std::vector<std::string> program_command(const std::string& path);
// The argument vector posix_spawn takes: pointers into words, then a null pointer.
std::vector<char*> argv_of(std::vector<std::string>& words);

// Number of open file descriptors of this process.
int open_fd_count();

// Removes a directory tree.
void remove_tree(const std::string& path);

}  // namespace zxtest
