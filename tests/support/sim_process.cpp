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

#include "test_env.h"
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
    std::vector<std::string> args = zxtest::program_command(ZX_GATEWAYSIM);
    args.insert(args.end(), {"--ctl", options_.ctl});
    if (!options_.services.empty()) args.insert(args.end(), {"--services", join(options_.services)});
    if (!options_.profile.empty()) args.insert(args.end(), {"--profile", options_.profile});
    std::vector<char*> argv = zxtest::argv_of(args);

    int out[2];
    if (pipe2(out, O_CLOEXEC) != 0) return testing::AssertionFailure() << "pipe2: " << strerror(errno);
    stdout_.reset(out[0]);
    Fd writeEnd;
    writeEnd.reset(out[1]);

    // posix_spawn, not fork: the test process has threads (bus connections, gtest).
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, writeEnd.get(), STDOUT_FILENO);
    if (!options_.stderrFile.empty())
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, options_.stderrFile.c_str(),
                                         O_WRONLY | O_CREAT | O_APPEND, 0600);
    pid_t pid = -1;
    int rc = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
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

testing::AssertionResult SimProcess::request_ok(json_object* request, JsonPtr* answer) const {
    return ctl_ok(json_object_to_json_string_ext(request, JSON_C_TO_STRING_PLAIN), answer);
}

namespace {

// A control request {"op": op} with the service named when there is one.
JsonPtr request(const char* op, const std::string& service = "") {
    JsonPtr req(json_object_new_object());
    json_object_object_add(req.get(), "op", json_object_new_string(op));
    if (!service.empty()) json_object_object_add(req.get(), "service", json_object_new_string(service.c_str()));
    return req;
}

void add_u32(json_object* obj, const char* key, uint32_t v) {
    json_object_object_add(obj, key, json_object_new_int64(v));
}

json_object* member(json_object* obj, const char* key) {
    json_object* v = nullptr;
    return obj && json_object_object_get_ex(obj, key, &v) ? v : nullptr;
}

uint32_t u32_of(json_object* obj, const char* key) { return static_cast<uint32_t>(json_int(obj, key)); }

Received received_of(json_object* rec) {
    Received r;
    r.service = json_text(rec, "service");
    r.seq = static_cast<uint64_t>(json_int(rec, "seq"));
    json_object* head = member(rec, "head");
    r.head.srcWord = u32_of(head, "srcWord");
    r.head.srcName = json_text(head, "srcName");
    r.head.midWord = u32_of(head, "midWord");
    r.head.dstName = json_text(head, "dstName");
    r.head.tag = u32_of(head, "tag");
    r.head.resv = from_hex(json_text(head, "resv"));
    r.msgId = u32_of(rec, "msgId");
    r.mid = u32_of(rec, "mid");
    json_object* oneWay = member(rec, "oneWay");
    r.oneWay = oneWay && json_object_get_boolean(oneWay);
    r.timeoutMs = u32_of(rec, "timeoutMs");
    r.replyCap = u32_of(rec, "replyCap");
    r.callerPid = u32_of(rec, "callerPid");
    r.data = from_hex(json_text(rec, "data"));
    if (json_object* decoded = member(rec, "decoded"))
        r.decoded = std::shared_ptr<json_object>(json_object_get(decoded), json_object_put);
    return r;
}

const char* fault_name(Fault::Kind kind) {
    switch (kind) {
        case Fault::Kind::Status: return "status";
        case Fault::Kind::Delay: return "delay";
        case Fault::Kind::NoReply: return "noreply";
        case Fault::Kind::Crash: return "crash";
    }
    return "?";
}

}  // namespace

JsonPtr SimProcess::records(const std::string& service) const {
    JsonPtr req = request("received", service);
    JsonPtr answer;
    if (!request_ok(req.get(), &answer)) return nullptr;
    json_object* list = nullptr;
    if (!json_object_object_get_ex(answer.get(), "records", &list)) return nullptr;
    return JsonPtr(json_object_get(list));
}

std::optional<std::vector<Received>> SimProcess::received(const std::string& service, bool clear) const {
    JsonPtr req = request("received", service);
    if (clear) json_object_object_add(req.get(), "clear", json_object_new_boolean(true));
    JsonPtr answer;
    if (!request_ok(req.get(), &answer)) return std::nullopt;
    json_object* list = member(answer.get(), "records");
    if (!list || !json_object_is_type(list, json_type_array)) return std::nullopt;
    std::vector<Received> out;
    for (size_t i = 0; i < json_object_array_length(list); ++i)
        out.push_back(received_of(json_object_array_get_idx(list, i)));
    return out;
}

testing::AssertionResult SimProcess::clear_received() const { return request_ok(request("clear").get()); }

testing::AssertionResult SimProcess::inject(const std::string& service, uint32_t msgId, const Fault& fault) const {
    JsonPtr req = request("inject", service);
    add_u32(req.get(), "msgId", msgId);
    json_object_object_add(req.get(), "fault", json_object_new_string(fault_name(fault.kind)));
    if (fault.kind == Fault::Kind::Status || fault.kind == Fault::Kind::Delay) add_u32(req.get(), "value", fault.value);
    if (fault.times != 0) add_u32(req.get(), "times", fault.times);
    return request_ok(req.get());
}

testing::AssertionResult SimProcess::clear_faults(const std::string& service) const {
    return request_ok(request("inject_clear", service).get());
}

testing::AssertionResult SimProcess::set_state(const std::string& service, const std::string& key,
                                               const StateValue& value) const {
    return set_state(service, {{key, value}});
}

testing::AssertionResult SimProcess::set_state(const std::string& service,
                                               std::vector<std::pair<std::string, StateValue>> members) const {
    JsonPtr req = request("set", service);
    json_object_object_add(req.get(), "state", StateValue::object(std::move(members)).json());
    return request_ok(req.get());
}

JsonPtr SimProcess::state(const std::string& service) const {
    JsonPtr answer;
    if (!request_ok(request("state", service).get(), &answer)) return nullptr;
    json_object* state = member(answer.get(), "state");
    return state ? JsonPtr(json_object_get(state)) : nullptr;
}

std::optional<SimProcess::UsbDevice> SimProcess::usb_device(uint32_t devId) const {
    JsonPtr req = request("usb_device");
    add_u32(req.get(), "device", devId);
    JsonPtr answer;
    if (!request_ok(req.get(), &answer)) return std::nullopt;
    return UsbDevice{json_text(answer.get(), "path"), json_text(answer.get(), "lockedBy")};
}

testing::AssertionResult SimProcess::usb_write(uint32_t devId, const Bytes& bytes) const {
    JsonPtr req = request("usb_write");
    add_u32(req.get(), "device", devId);
    json_object_object_add(req.get(), "data", json_object_new_string(to_hex(bytes).c_str()));
    return request_ok(req.get());
}

std::optional<Bytes> SimProcess::usb_read(uint32_t devId, uint32_t min, uint32_t max, uint32_t waitMs) const {
    JsonPtr req = request("usb_read");
    add_u32(req.get(), "device", devId);
    add_u32(req.get(), "min", min);
    add_u32(req.get(), "max", max);
    add_u32(req.get(), "waitMs", waitMs);
    JsonPtr answer;
    if (!request_ok(req.get(), &answer)) return std::nullopt;
    return from_hex(json_text(answer.get(), "data"));
}

StateValue::StateValue(const char* text) : StateValue(json_object_new_string(text)) {}
StateValue::StateValue(const std::string& text)
    : StateValue(json_object_new_string_len(text.data(), static_cast<int>(text.size()))) {}
StateValue::StateValue(long long number) : StateValue(json_object_new_int64(number)) {}

StateValue StateValue::array(std::vector<StateValue> elements) {
    StateValue out(json_object_new_array());
    for (const StateValue& e : elements) json_object_array_add(out.value_.get(), e.json());
    return out;
}

StateValue StateValue::object(std::vector<std::pair<std::string, StateValue>> members) {
    StateValue out(json_object_new_object());
    for (const auto& [key, value] : members) json_object_object_add(out.value_.get(), key.c_str(), value.json());
    return out;
}

std::string to_hex(const Bytes& bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string out;
    for (uint8_t b : bytes) {
        out.push_back(kDigits[b >> 4]);
        out.push_back(kDigits[b & 0x0F]);
    }
    return out;
}

Bytes from_hex(const std::string& text) {
    auto digit = [](char c) -> int {
        if (c >= '0' && c <= '9') return c - '0';
        if (c >= 'a' && c <= 'f') return c - 'a' + 10;
        if (c >= 'A' && c <= 'F') return c - 'A' + 10;
        return -1;
    };
    Bytes out;
    if (text.size() % 2 != 0) return {};
    for (size_t i = 0; i < text.size(); i += 2) {
        int hi = digit(text[i]), lo = digit(text[i + 1]);
        if (hi < 0 || lo < 0) return {};
        out.push_back(static_cast<uint8_t>(hi << 4 | lo));
    }
    return out;
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
