#include "test_env.h"

#include <dirent.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "zx_host.h"

namespace zxtest {
namespace {

std::string make_temp_dir(const char* prefix) {
    std::string base = access("/dev/shm", W_OK) == 0 ? "/dev/shm/" : "/tmp/";
    std::string templ = base + prefix + "-XXXXXX";
    if (!mkdtemp(templ.data())) throw std::runtime_error("mkdtemp failed");
    return templ;
}

}  // namespace

ScopedBusDir::ScopedBusDir() : path_(make_temp_dir("zxbus-test")) { set_env("ZX_BUS_DIR", path_.c_str()); }

ScopedBusDir::~ScopedBusDir() {
    zxhost::drop_thread_connections();
    remove_tree(path_);
}

ScopedTempDir::ScopedTempDir(const char* prefix) : path_(make_temp_dir(prefix)) {}

ScopedTempDir::~ScopedTempDir() { remove_tree(path_); }

void set_env(const char* name, const char* value) {
    if (value)
        setenv(name, value, 1);
    else
        unsetenv(name);
    zxhost::reload_environment();
}

std::vector<std::string> program_command(const std::string& path) {
    std::vector<std::string> words;
#ifdef ZX_TEST_EMULATOR
    // The emulator's words, separated by '|'.
    std::string emulator = ZX_TEST_EMULATOR;
    for (size_t start = 0; start <= emulator.size();) {
        size_t end = emulator.find('|', start);
        if (end == std::string::npos) end = emulator.size();
        if (end > start) words.push_back(emulator.substr(start, end - start));
        start = end + 1;
    }
#endif
    words.push_back(path);
    return words;
}

std::vector<char*> argv_of(std::vector<std::string>& words) {
    std::vector<char*> argv;
    for (std::string& w : words) argv.push_back(w.data());
    argv.push_back(nullptr);
    return argv;
}

int open_fd_count() {
    int n = 0;
    DIR* d = opendir("/proc/self/fd");
    if (!d) return -1;
    while (struct dirent* e = readdir(d))
        if (e->d_name[0] != '.') ++n;
    closedir(d);
    return n - 1;  // the directory stream itself
}

void remove_tree(const std::string& path) {
    std::error_code ec;
    std::filesystem::remove_all(path, ec);
}

}  // namespace zxtest
