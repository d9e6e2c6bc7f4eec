// A kit program (tool, monitor, simulator command) run by a test as a child process: started with
// the test's environment (its bus directory), standard input from /dev/null, standard output and
// error collected in files outside the bus directory.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "test_env.h"

namespace zxtest {

// The whole contents of a file ("" when it cannot be read).
std::string read_file(const std::string& path);

struct ToolRun {
    bool ended = false;  // false: still running after the wait (then killed)
    int status = -1;     // exit status, -1 when it did not exit normally
    std::string out;
    std::string err;
};

class ToolProcess {
public:
    ToolProcess(const std::string& path, const std::vector<std::string>& args);
    ~ToolProcess();
    ToolProcess(const ToolProcess&) = delete;
    ToolProcess& operator=(const ToolProcess&) = delete;

    bool started() const { return startError_.empty(); }
    const std::string& start_error() const { return startError_; }

    std::string out() const { return read_file(outPath_); }
    std::string err() const { return read_file(errPath_); }

    // Waits at most `waitSeconds` for standard output (or error) to hold `text`; false when it
    // never does or the program ended without it (a bound against a hang, not a measure of speed).
    bool wait_for_output(const std::string& text, int waitSeconds = 30);
    bool wait_for_error(const std::string& text, int waitSeconds = 30);

    // True once the program ended (blocking: waits for it); status() is then its exit status.
    bool exited(bool block);
    int status() const { return status_; }
    void signal(int sig);

    // Waits at most `waitSeconds` for the program to end, kills it when it does not, and collects
    // what it wrote.
    ToolRun finish(int waitSeconds);

private:
    bool wait_for(bool inError, const std::string& text, int waitSeconds);

    ScopedTempDir scratch_;
    std::string outPath_, errPath_;
    std::string startError_;
    pid_t pid_ = -1;
    int status_ = -1;
};

// Runs the program and waits at most `waitSeconds` for it to end.
ToolRun run_tool(const std::string& path, const std::vector<std::string>& args, int waitSeconds = 60);

}  // namespace zxtest
