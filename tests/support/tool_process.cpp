#include "tool_process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

extern char** environ;

namespace zxtest {

std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

ToolProcess::ToolProcess(const std::string& path, const std::vector<std::string>& args) : scratch_("zxtool") {
    outPath_ = scratch_.path() + "/out";
    errPath_ = scratch_.path() + "/err";
    std::vector<std::string> words = program_command(path);
    words.insert(words.end(), args.begin(), args.end());
    std::vector<char*> argv = argv_of(words);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outPath_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errPath_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    int rc = posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0) {
        startError_ = "cannot start " + path + ": " + std::strerror(rc);
        pid_ = -1;
    }
}

ToolProcess::~ToolProcess() { finish(0); }

bool ToolProcess::wait_for(bool inError, const std::string& text, int waitSeconds) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(waitSeconds);
    for (;;) {
        if ((inError ? err() : out()).find(text) != std::string::npos) return true;
        if (exited(false)) return (inError ? err() : out()).find(text) != std::string::npos;
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

bool ToolProcess::wait_for_output(const std::string& text, int waitSeconds) { return wait_for(false, text, waitSeconds); }

bool ToolProcess::wait_for_error(const std::string& text, int waitSeconds) { return wait_for(true, text, waitSeconds); }

bool ToolProcess::exited(bool block) {
    if (pid_ <= 0) return true;
    int ws = 0;
    pid_t done = waitpid(pid_, &ws, block ? 0 : WNOHANG);
    if (done != pid_) return false;
    status_ = WIFEXITED(ws) ? WEXITSTATUS(ws) : -1;
    pid_ = -1;
    return true;
}

void ToolProcess::signal(int sig) {
    if (pid_ > 0) kill(pid_, sig);
}

ToolRun ToolProcess::finish(int waitSeconds) {
    ToolRun run;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(waitSeconds);
    while (!exited(false) && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    if (pid_ > 0) {  // still running: killed, and it did not end by itself
        kill(pid_, SIGKILL);
        exited(true);
        status_ = -1;
    } else {
        run.ended = started();
    }
    run.status = status_;
    run.out = out();
    run.err = started() ? err() : start_error();
    return run;
}

ToolRun run_tool(const std::string& path, const std::vector<std::string>& args, int waitSeconds) {
    ToolProcess process(path, args);
    return process.finish(waitSeconds);
}

}  // namespace zxtest
