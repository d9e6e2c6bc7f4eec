#include "sim_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "zx_host.h"

extern char** environ;

namespace zxtest {
namespace {

int64_t now_ms() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

// Waits until fd is readable or the deadline (CLOCK_MONOTONIC ms) passes.
bool wait_readable(int fd, int64_t deadline) {
    for (;;) {
        int64_t left = deadline - now_ms();
        if (left < 0) return false;
        pollfd p{fd, POLLIN, 0};
        int n = poll(&p, 1, static_cast<int>(left));
        if (n >= 0) return n > 0;
        if (errno != EINTR) return false;
    }
}

std::string describe_status(int status) {
    if (WIFEXITED(status)) return "exited with status " + std::to_string(WEXITSTATUS(status));
    if (WIFSIGNALED(status)) return std::string("killed by signal ") + strsignal(WTERMSIG(status));
    return "wait status " + std::to_string(status);
}

std::string join(const std::vector<std::string>& names) {
    std::string out;
    for (const std::string& n : names) out += (out.empty() ? "" : ",") + n;
    return out;
}

}  // namespace

void SimProcess::Fd::reset(int fd) {
    if (fd_ >= 0) close(fd_);
    fd_ = fd;
}

SimProcess::SimProcess(Options options) : options_(std::move(options)) {}

SimProcess::~SimProcess() {
    if (!running()) return;
    testing::AssertionResult stopped = stop();
    if (!stopped) ADD_FAILURE() << stopped.message();
}

std::string SimProcess::ctl_path() const { return zxhost::bus_dir() + "/" + options_.ctl + ".ctl"; }

testing::AssertionResult SimProcess::start() {
    if (running()) return testing::AssertionFailure() << "gatewaysim already runs (pid " << pid_ << ")";
    std::vector<std::string> args{ZX_GATEWAYSIM, "--ctl", options_.ctl};
    if (!options_.services.empty()) args.insert(args.end(), {"--services", join(options_.services)});
    if (!options_.profile.empty()) args.insert(args.end(), {"--profile", options_.profile});
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);

    int out[2];
    if (pipe2(out, O_CLOEXEC) != 0) return testing::AssertionFailure() << "pipe2: " << strerror(errno);
    stdout_.reset(out[0]);
    Fd writeEnd;
    writeEnd.reset(out[1]);

    // posix_spawn, not fork: the test process has threads (bus connections, gtest).
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, writeEnd.get(), STDOUT_FILENO);
    pid_t pid = -1;
    int rc = posix_spawn(&pid, ZX_GATEWAYSIM, &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    writeEnd.reset();  // the child's exit must show as end of file on the read end
    if (rc != 0) return testing::AssertionFailure() << "cannot start " << ZX_GATEWAYSIM << ": " << strerror(rc);
    pid_ = pid;
    // Through syscall(): glibc 2.36 declares pidfd_open without C linkage for C++.
    pidfd_.reset(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
    if (pidfd_.get() < 0) {
        ::kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
        forget_child();
        return testing::AssertionFailure() << "pidfd_open: " << strerror(errno);
    }
    return wait_ready();
}

testing::AssertionResult SimProcess::wait_ready() {
    const std::string expected = "gatewaysim ready " + std::to_string(pid_);
    std::string line;
    int64_t deadline = now_ms() + kReadyTimeoutMs;
    char c = 0;
    while (line.size() < 256) {
        if (!wait_readable(stdout_.get(), deadline)) {
            ::kill(pid_, SIGKILL);
            wait();
            return testing::AssertionFailure() << "gatewaysim was not ready within " << kReadyTimeoutMs << " ms";
        }
        if (read(stdout_.get(), &c, 1) != 1) break;
        if (c == '\n') {
            if (line == expected) return testing::AssertionSuccess();
            break;
        }
        line.push_back(c);
    }
    int status = wait();
    return testing::AssertionFailure() << "gatewaysim did not start: printed \"" << line << "\", "
                                       << (status == -1 ? std::string("still running") : describe_status(status));
}

testing::AssertionResult SimProcess::restart() {
    // A simulator that already died (a crash injected by the test) is only reaped.
    if (running() && wait_readable(pidfd_.get(), now_ms())) wait();
    testing::AssertionResult stopped = stop();
    if (!stopped) return stopped;
    return start();
}

testing::AssertionResult SimProcess::stop() {
    if (!running()) return testing::AssertionSuccess();
    ::kill(pid_, SIGTERM);
    int status = wait();
    if (status == -1) {
        ::kill(pid_, SIGKILL);
        wait();
        return testing::AssertionFailure() << "gatewaysim did not end within " << kExitTimeoutMs << " ms of SIGTERM";
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "gatewaysim " << describe_status(status) << " on SIGTERM";
}

void SimProcess::kill(int sig) {
    if (running()) ::kill(pid_, sig);
}

int SimProcess::wait() {
    if (!running()) return -1;
    if (!wait_readable(pidfd_.get(), now_ms() + kExitTimeoutMs)) return -1;
    int status = 0;
    if (waitpid(pid_, &status, 0) != pid_) return -1;
    forget_child();
    return status;
}

void SimProcess::forget_child() {
    pid_ = -1;
    pidfd_.reset();
    stdout_.reset();
}

std::optional<std::string> SimProcess::ctl_line(const std::string& request) const {
    std::string path = ctl_path();
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    if (path.size() >= sizeof addr.sun_path) return std::nullopt;
    std::memcpy(addr.sun_path, path.c_str(), path.size() + 1);
    Fd sock;
    sock.reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (sock.get() < 0 || connect(sock.get(), reinterpret_cast<const sockaddr*>(&addr), sizeof addr) != 0)
        return std::nullopt;
    std::string out = request + '\n';
    if (send(sock.get(), out.data(), out.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(out.size())) return std::nullopt;

    std::string answer;
    int64_t deadline = now_ms() + kCtlTimeoutMs;
    char buf[65536];
    while (answer.find('\n') == std::string::npos) {
        if (!wait_readable(sock.get(), deadline)) return std::nullopt;
        ssize_t n = recv(sock.get(), buf, sizeof buf, 0);
        if (n <= 0) return std::nullopt;
        answer.append(buf, static_cast<size_t>(n));
    }
    answer.resize(answer.find('\n'));
    return answer;
}

JsonPtr SimProcess::ctl(const std::string& request) const {
    std::optional<std::string> line = ctl_line(request);
    return line ? JsonPtr(json_tokener_parse(line->c_str())) : nullptr;
}

testing::AssertionResult SimProcess::ctl_ok(const std::string& request, JsonPtr* answer) const {
    std::optional<std::string> line = ctl_line(request);
    if (!line) return testing::AssertionFailure() << "no answer from " << ctl_path() << " to " << request;
    JsonPtr parsed(json_tokener_parse(line->c_str()));
    json_object* ok = nullptr;
    if (!parsed || !json_object_object_get_ex(parsed.get(), "ok", &ok) || !json_object_get_boolean(ok))
        return testing::AssertionFailure() << "request " << request << " answered " << *line;
    if (answer) *answer = std::move(parsed);
    return testing::AssertionSuccess();
}

JsonPtr SimProcess::records(const std::string& service) const {
    JsonPtr req(json_object_new_object());
    json_object_object_add(req.get(), "op", json_object_new_string("received"));
    if (!service.empty()) json_object_object_add(req.get(), "service", json_object_new_string(service.c_str()));
    JsonPtr answer;
    if (!ctl_ok(json_object_to_json_string_ext(req.get(), JSON_C_TO_STRING_PLAIN), &answer)) return nullptr;
    json_object* list = nullptr;
    if (!json_object_object_get_ex(answer.get(), "records", &list)) return nullptr;
    return JsonPtr(json_object_get(list));
}

std::string json_text(json_object* obj, const char* key) {
    json_object* v = nullptr;
    if (!obj || !json_object_object_get_ex(obj, key, &v) || !json_object_is_type(v, json_type_string)) return "";
    return json_object_get_string(v);
}

int64_t json_int(json_object* obj, const char* key) {
    json_object* v = nullptr;
    if (!obj || !json_object_object_get_ex(obj, key, &v) || !json_object_is_type(v, json_type_int)) return -1;
    return json_object_get_int64(v);
}

}  // namespace zxtest
