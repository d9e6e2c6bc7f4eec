// Message bus: calls, one-way messages, dispatch by module id, endpoints, and the faults a bus
// meets (time-outs, late answers, dead or restarted services, malformed frames, foreign peers).
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "bus_frame.h"
#include "test_env.h"
#include "zx_host.h"
#include "zx_platform.h"

namespace {

using zxhost::BusAnswer;
using zxhost::BusRequest;
using zxhost::BusService;
using zxp::bus::FrameHeader;
using zxp::bus::Kind;

// Status codes compared by name, so a failure reads "ZX_MSG_ERR_TIMEOUT" rather than a number.
#define EXPECT_STATUS(actual, expected) EXPECT_EQ(zxhost::status_name(actual), zxhost::status_name(expected))
#define ASSERT_STATUS(actual, expected) ASSERT_EQ(zxhost::status_name(actual), zxhost::status_name(expected))

constexpr auto kBound = std::chrono::seconds(30);  // generous bound on waits that must end
constexpr uint32_t kLongTimeoutMs = 30000;
constexpr uid_t kNobody = 65534;

// A variable set for one test before its ScopedBusDir makes the platform read the environment
// (the platform reads it once per ScopedBusDir), restored at the end of the test.
class ScopedVar {
public:
    ScopedVar(const char* name, const char* value) : name_(name) {
        if (const char* old = std::getenv(name)) old_ = old;
        if (value)
            setenv(name, value, 1);
        else
            unsetenv(name);
    }
    ~ScopedVar() {
        if (old_)
            setenv(name_, old_->c_str(), 1);
        else
            unsetenv(name_);
    }

private:
    const char* name_;
    std::optional<std::string> old_;
};

std::vector<uint8_t> bytes(const std::string& text) { return {text.begin(), text.end()}; }

std::string text(const uint8_t* data, size_t len) { return {reinterpret_cast<const char*>(data), len}; }

// A routing header whose every byte is distinct, with `dest` as destination.
ZX_MSG_HEAD_S patterned_head(const char* dest) {
    ZX_MSG_HEAD_S h;
    auto* raw = reinterpret_cast<uint8_t*>(&h);
    for (size_t i = 0; i < sizeof h; ++i) raw[i] = static_cast<uint8_t>(i * 7 + 1);
    std::strcpy(h.acDstProcName, dest);
    return h;
}

// A routing header as a plain caller writes it: cleared, then source and destination.
ZX_MSG_HEAD_S head_to(const char* dest) {
    ZX_MSG_HEAD_S h{};
    std::strcpy(h.acSrcProcName, "tester");
    std::strcpy(h.acDstProcName, dest);
    return h;
}

uint32_t call(const char* dest, uint32_t msgId, const std::string& req, std::string* reply = nullptr,
              uint32_t replyLen = 64, uint32_t timeoutMs = kLongTimeoutMs) {
    ZX_MSG_HEAD_S h = head_to(dest);
    std::vector<uint8_t> buf(replyLen);
    uint32_t st =
        ZX_MSG_RpcCall(&h, msgId, 0, req.data(), static_cast<uint32_t>(req.size()), buf.data(), replyLen, timeoutMs);
    if (reply) *reply = text(buf.data(), strnlen(reinterpret_cast<const char*>(buf.data()), replyLen));
    return st;
}

// ---------------------------------------------------------------------------------------------
// Services and processes
// ---------------------------------------------------------------------------------------------

struct Seen {
    ZX_MSG_HEAD_S head;
    uint32_t msgId, mid, timeoutMs, replyCap, callerPid;
    bool oneWay;
    std::vector<uint8_t> data;
};

// What a service received, for the test thread to inspect.
class Recorder {
public:
    void add(const BusRequest& r) {
        std::lock_guard<std::mutex> lock(mutex_);
        seen_.push_back({r.head, r.msgId, r.mid, r.timeoutMs, r.replyCap, r.callerPid, r.oneWay,
                         std::vector<uint8_t>(r.data.begin(), r.data.end())});
        cv_.notify_all();
    }
    // The requests seen once there are at least n (fewer if the bound passed).
    std::vector<Seen> wait_for(size_t n) {
        std::unique_lock<std::mutex> lock(mutex_);
        cv_.wait_for(lock, kBound, [&] { return seen_.size() >= n; });
        return seen_;
    }
    size_t count() {
        std::lock_guard<std::mutex> lock(mutex_);
        return seen_.size();
    }

private:
    std::mutex mutex_;
    std::condition_variable cv_;
    std::vector<Seen> seen_;
};

std::unique_ptr<BusService> serve(const std::string& name, zxhost::BusHandler handler) {
    std::unique_ptr<BusService> s;
    uint32_t st = BusService::start(name, std::move(handler), s);
    EXPECT_STATUS(st, ZX_OK) << "starting " << name;
    return s;
}

// Answers every call with its own request bytes.
void echo(const BusRequest& r, BusAnswer& a) { a.data.assign(r.data.begin(), r.data.end()); }

void signal_parent(int fd) {
    char c = 1;
    if (write(fd, &c, 1) != 1) _exit(90);
}

// A forked child running fn(fd) and exiting with its result; fn tells the parent it is ready by
// signal_parent(fd). The child is killed when the holder goes.
class Child {
public:
    explicit Child(const std::function<int(int)>& fn) {
        int p[2];
        if (pipe2(p, O_CLOEXEC) != 0) return;
        pid_ = fork();
        if (pid_ == 0) {
            close(p[0]);
            _exit(fn(p[1]));
        }
        close(p[1]);
        fd_ = p[0];
    }
    ~Child() {
        if (pid_ > 0 && !reaped_) kill_now();
        if (fd_ >= 0) close(fd_);
    }
    pid_t pid() const { return pid_; }
    // True when the child signalled within the bound.
    bool wait_signal() {
        pollfd p{fd_, POLLIN, 0};
        char c;
        return poll(&p, 1, static_cast<int>(std::chrono::milliseconds(kBound).count())) == 1 && read(fd_, &c, 1) == 1;
    }
    void kill_now() {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        reaped_ = true;
    }
    // Exit code of a child that ends by itself, -1 when it did not exit normally.
    int exit_code() {
        int status = 0;
        waitpid(pid_, &status, 0);
        reaped_ = true;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t pid_ = -1;
    int fd_ = -1;
    bool reaped_ = false;
};

// Body of a child that serves `name` with handler until it is killed.
int serve_in_child(int ready, const std::string& name, zxhost::BusHandler handler) {
    std::unique_ptr<BusService> s;
    if (BusService::start(name, std::move(handler), s) != ZX_OK) return 2;
    signal_parent(ready);
    for (;;) pause();
}

// ---------------------------------------------------------------------------------------------
// Raw sockets: frames the library would never send
// ---------------------------------------------------------------------------------------------

class RawFd {
public:
    explicit RawFd(int fd = -1) : fd_(fd) {}
    RawFd(RawFd&& o) noexcept : fd_(std::exchange(o.fd_, -1)) {}
    RawFd& operator=(RawFd&& o) noexcept {
        std::swap(fd_, o.fd_);
        return *this;
    }
    ~RawFd() {
        if (fd_ >= 0) close(fd_);
    }
    int get() const { return fd_; }

private:
    int fd_;
};

sockaddr_un address_of(const std::string& name) {
    sockaddr_un a{};
    a.sun_family = AF_UNIX;
    std::string path = zxhost::bus_dir() + "/" + name;
    std::strncpy(a.sun_path, path.c_str(), sizeof a.sun_path - 1);
    return a;
}

void allow_large_frames(int fd) {
    int size = 1 << 20;
    setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
}

RawFd raw_connect(const std::string& name) {
    RawFd s(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    sockaddr_un a = address_of(name);
    if (connect(s.get(), reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) return RawFd();
    allow_large_frames(s.get());
    return s;
}

RawFd raw_listen(const std::string& name) {
    RawFd s(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    sockaddr_un a = address_of(name);
    if (bind(s.get(), reinterpret_cast<sockaddr*>(&a), sizeof a) != 0 || listen(s.get(), 8) != 0) return RawFd();
    return s;
}

// A socket file nobody listens on any more, as a killed process leaves it.
void make_stale_socket(const std::string& name) { ASSERT_GE(raw_listen(name).get(), 0); }

FrameHeader frame(Kind kind, uint64_t seq, uint32_t dataLen) {
    FrameHeader h{};
    h.magic = zxp::bus::kMagic;
    h.version = zxp::bus::kVersion;
    h.kind = static_cast<uint16_t>(kind);
    h.seq = seq;
    h.msgId = 1;
    h.replyCap = 64;
    h.timeoutMs = 5000;
    h.dataLen = dataLen;
    return h;
}

// Datagram: header, routing header for calls, then `dataBytes` bytes (whatever h.dataLen says).
std::vector<uint8_t> datagram(const FrameHeader& h, size_t dataBytes, bool withRouting) {
    std::vector<uint8_t> out(sizeof h + (withRouting ? sizeof(ZX_MSG_HEAD_S) : 0) + dataBytes, 0x5A);
    std::memcpy(out.data(), &h, sizeof h);
    if (withRouting) {
        ZX_MSG_HEAD_S head = head_to("svc");
        std::memcpy(out.data() + sizeof h, &head, sizeof head);
    }
    return out;
}

bool send_datagram(int fd, const std::vector<uint8_t>& d) {
    return send(fd, d.data(), d.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(d.size());
}

// Waits (bounded) for the next datagram: its length, 0 when the peer closed, -1 with errno set
// (ETIMEDOUT when nothing came).
ssize_t receive_within(int fd, void* buf, size_t cap) {
    pollfd p{fd, POLLIN, 0};
    if (poll(&p, 1, static_cast<int>(std::chrono::milliseconds(kBound).count())) != 1) {
        errno = ETIMEDOUT;
        return -1;
    }
    return recv(fd, buf, cap, 0);
}

// The peer closed the connection without answering. A peer that closes with our frame still
// unread resets the connection instead of ending it.
bool closed_unanswered(int fd) {
    char buf[256];
    ssize_t n = receive_within(fd, buf, sizeof buf);
    return n == 0 || (n < 0 && errno == ECONNRESET);
}

// ---------------------------------------------------------------------------------------------
// Frame checks
// ---------------------------------------------------------------------------------------------

TEST(BusFrame, CheckFrameAcceptsOnlyExactFrames) {
    struct Case {
        const char* what;
        std::function<void(FrameHeader&)> change;
        Kind kind;
        long extraBytes;  // added to the exact datagram length
        uint32_t expected;
    };
    const Case cases[] = {
        {"call", nullptr, Kind::Call, 0, ZX_OK},
        {"one-way", nullptr, Kind::OneWay, 0, ZX_OK},
        {"reply", nullptr, Kind::Reply, 0, ZX_OK},
        {"one byte short", nullptr, Kind::Call, -1, ZX_MSG_ERR_BAD_FRAME},
        {"one byte over", nullptr, Kind::Call, 1, ZX_MSG_ERR_BAD_FRAME},
        {"reply sized like a call", nullptr, Kind::Reply, sizeof(ZX_MSG_HEAD_S), ZX_MSG_ERR_BAD_FRAME},
        {"magic", [](FrameHeader& h) { h.magic ^= 1; }, Kind::Call, 0, ZX_MSG_ERR_BAD_FRAME},
        {"version", [](FrameHeader& h) { h.version = 2; }, Kind::Call, 0, ZX_MSG_ERR_BAD_FRAME},
        {"kind 0", [](FrameHeader& h) { h.kind = 0; }, Kind::Call, 0, ZX_MSG_ERR_BAD_FRAME},
        {"kind 4", [](FrameHeader& h) { h.kind = 4; }, Kind::Call, 0, ZX_MSG_ERR_BAD_FRAME},
    };
    for (const Case& c : cases) {
        FrameHeader h = frame(c.kind, 1, 5);
        size_t exact = zxp::bus::frame_size(h.kind, h.dataLen);
        if (c.change) c.change(h);
        EXPECT_STATUS(zxp::bus::check_frame(h, exact + c.extraBytes), c.expected) << c.what;
    }
    FrameHeader big = frame(Kind::Call, 1, ZX_MSG_MAX_DATA);
    EXPECT_STATUS(zxp::bus::check_frame(big, zxp::bus::kMaxFrame), ZX_OK);
    big.dataLen = ZX_MSG_MAX_DATA + 1;
    EXPECT_STATUS(zxp::bus::check_frame(big, zxp::bus::kMaxFrame + 1), ZX_MSG_ERR_BAD_FRAME);
    EXPECT_STATUS(zxp::bus::check_frame(big, sizeof(FrameHeader) - 1), ZX_MSG_ERR_BAD_FRAME);
}

// ---------------------------------------------------------------------------------------------
// Calls
// ---------------------------------------------------------------------------------------------

TEST(BusCall, RoundTripCarriesHeaderIdsAndBytes) {
    ScopedVar var("ZX_TIMEOUT_SCALE", "0.5");  // the service still sees the caller's own value
    zxtest::ScopedBusDir dir;
    Recorder rec;
    auto svc = serve("svc", [&](const BusRequest& r, BusAnswer& a) {
        rec.add(r);
        a.status = 0;
        a.data = bytes("pong-data");
    });
    ZX_MSG_HEAD_S head = patterned_head("svc");
    const std::vector<uint8_t> req = bytes("request bytes \x01\x02");
    uint8_t reply[64] = {};
    ASSERT_STATUS(ZX_MSG_RpcCall(&head, 0x1234, 3, req.data(), req.size(), reply, sizeof reply, 5000), ZX_OK);
    EXPECT_EQ(text(reply, 9), "pong-data");
    EXPECT_EQ(reply[9], 0);

    auto seen = rec.wait_for(1);
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(std::memcmp(&seen[0].head, &head, sizeof head), 0) << "routing header bytes changed";
    EXPECT_EQ(seen[0].msgId, 0x1234u);
    EXPECT_EQ(seen[0].mid, 3u);
    EXPECT_EQ(seen[0].timeoutMs, 5000u);
    EXPECT_EQ(seen[0].replyCap, 64u);
    EXPECT_FALSE(seen[0].oneWay);
    EXPECT_EQ(seen[0].callerPid, static_cast<uint32_t>(getpid()));
    EXPECT_EQ(seen[0].data, req);
}

TEST(BusCall, LargestRequestAndReplyFit) {
    zxtest::ScopedBusDir dir;
    Recorder rec;
    auto svc = serve("svc", [&](const BusRequest& r, BusAnswer& a) {
        rec.add(r);
        a.data.assign(r.data.rbegin(), r.data.rend());
    });
    std::vector<uint8_t> req(ZX_MSG_MAX_DATA);
    for (size_t i = 0; i < req.size(); ++i) req[i] = static_cast<uint8_t>(i * 31 + i / 251);
    std::vector<uint8_t> reply(ZX_MSG_MAX_DATA);
    ZX_MSG_HEAD_S head = head_to("svc");
    ASSERT_STATUS(ZX_MSG_RpcCall(&head, 1, 0, req.data(), ZX_MSG_MAX_DATA, reply.data(), ZX_MSG_MAX_DATA, 5000), ZX_OK);
    EXPECT_TRUE(std::equal(reply.begin(), reply.end(), req.rbegin()));
    EXPECT_EQ(rec.wait_for(1).at(0).data, req);
}

TEST(BusCall, TimesOutWhenServiceDoesNotAnswer) {
    ScopedVar var("ZX_TIMEOUT_SCALE", "0.01");
    zxtest::ScopedBusDir dir;
    Recorder rec;
    auto svc = serve("svc", [&](const BusRequest& r, BusAnswer& a) {
        rec.add(r);
        a.noReply = true;
    });
    EXPECT_STATUS(call("svc", 1, "x", nullptr, 64, 1000), ZX_MSG_ERR_TIMEOUT);
    auto seen = rec.wait_for(1);
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].timeoutMs, 1000u);
}

TEST(BusCall, LateReplyIsDiscarded) {
    ScopedVar var("ZX_TIMEOUT_SCALE", "0.01");
    zxtest::ScopedBusDir dir;
    std::mutex m;
    std::condition_variable cv;
    bool release = false;
    int lateAnswers = 0;
    auto svc = serve("svc", [&](const BusRequest& r, BusAnswer& a) {
        if (r.msgId == 1) {
            std::unique_lock<std::mutex> lock(m);
            cv.wait_for(lock, kBound, [&] { return release; });
            ++lateAnswers;
            a.status = 0x111;
            a.data = bytes("late");
        } else {
            a.status = 0x222;
            a.data = bytes("fresh");
        }
    });
    EXPECT_STATUS(call("svc", 1, "first", nullptr, 64, 100), ZX_MSG_ERR_TIMEOUT);
    {
        std::lock_guard<std::mutex> lock(m);
        release = true;
    }
    cv.notify_all();
    // The service answers the first call before it reads the second from the same connection, so
    // the late answer reaches the caller first and must be skipped.
    std::string reply;
    EXPECT_STATUS(call("svc", 2, "second", &reply, 64, 1000000), 0x222);
    EXPECT_EQ(reply, "fresh");
    std::lock_guard<std::mutex> lock(m);
    EXPECT_EQ(lateAnswers, 1);
}

TEST(BusCall, NoDestination) {
    zxtest::ScopedBusDir dir;
    EXPECT_STATUS(call("nobody", 1, "x"), ZX_MSG_ERR_NO_DEST);
    make_stale_socket("dead");
    EXPECT_STATUS(call("dead", 1, "x"), ZX_MSG_ERR_NO_DEST);
    EXPECT_STATUS(call("", 1, "x"), ZX_MSG_ERR_NO_DEST);
    EXPECT_STATUS(call("../x", 1, "x"), ZX_MSG_ERR_NO_DEST);
    EXPECT_STATUS(ZX_MSG_AsyncSendData("nobody", 1, "x", 1), ZX_MSG_ERR_NO_DEST);
    EXPECT_STATUS(ZX_MSG_AsyncSendData("dead", 1, "x", 1), ZX_MSG_ERR_NO_DEST);
}

TEST(BusCall, ServiceStatusPassesThroughUnchanged) {
    zxtest::ScopedBusDir dir;
    auto svc = serve("svc", [](const BusRequest& r, BusAnswer& a) {
        std::memcpy(&a.status, r.data.data(), sizeof a.status);
        a.data = bytes("answer");
    });
    for (uint32_t status : {0x1u, 0x80000001u, 0xF7213003u, 0xFFFFFFFFu, ZX_MSG_ERR_TIMEOUT}) {
        ZX_MSG_HEAD_S head = head_to("svc");
        char reply[16] = {};
        EXPECT_STATUS(ZX_MSG_RpcCall(&head, 1, 0, &status, sizeof status, reply, sizeof reply, kLongTimeoutMs), status);
        EXPECT_STREQ(reply, "answer") << "the answer bytes come with an error status too";
    }
}

TEST(BusCall, ReplyIsCutToReplyLen) {
    zxtest::ScopedBusDir dir;
    Recorder rec;
    auto svc = serve("svc", [&](const BusRequest& r, BusAnswer& a) {
        rec.add(r);
        a.data.resize(r.data[0]);
        for (size_t i = 0; i < a.data.size(); ++i) a.data[i] = static_cast<uint8_t>(i + 1);
    });
    ZX_MSG_HEAD_S head = head_to("svc");
    std::array<uint8_t, 32> buf;
    buf.fill(0xEE);
    uint8_t answerLen = 100;
    ASSERT_STATUS(ZX_MSG_RpcCall(&head, 1, 0, &answerLen, 1, buf.data(), 10, kLongTimeoutMs), ZX_OK);
    for (size_t i = 0; i < 10; ++i) EXPECT_EQ(buf[i], i + 1) << i;
    for (size_t i = 10; i < buf.size(); ++i) EXPECT_EQ(buf[i], 0xEE) << "byte " << i << " after replyLen";
    EXPECT_EQ(rec.wait_for(1).at(0).replyCap, 10u);

    // A shorter answer fills only its own length.
    buf.fill(0xEE);
    answerLen = 5;
    ASSERT_STATUS(ZX_MSG_RpcCall(&head, 1, 0, &answerLen, 1, buf.data(), 16, kLongTimeoutMs), ZX_OK);
    for (size_t i = 0; i < 5; ++i) EXPECT_EQ(buf[i], i + 1) << i;
    for (size_t i = 5; i < buf.size(); ++i) EXPECT_EQ(buf[i], 0xEE) << i;
}

TEST(BusCall, NullReplyWithZeroLength) {
    zxtest::ScopedBusDir dir;
    Recorder rec;
    auto svc = serve("svc", [&](const BusRequest& r, BusAnswer& a) {
        rec.add(r);
        a.status = 0x77;
        a.data = bytes("not wanted");
    });
    ZX_MSG_HEAD_S head = head_to("svc");
    EXPECT_STATUS(ZX_MSG_RpcCall(&head, 1, 0, nullptr, 0, nullptr, 0, kLongTimeoutMs), 0x77);
    auto seen = rec.wait_for(1);
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].replyCap, 0u);
    EXPECT_TRUE(seen[0].data.empty());
}

TEST(BusCall, OneWayMessageReachesService) {
    ScopedVar var("ZX_PROC_NAME", "sender");
    zxtest::ScopedBusDir dir;
    Recorder rec;
    auto svc = serve("svc", [&](const BusRequest& r, BusAnswer& a) {
        rec.add(r);
        a.data = bytes("never sent");
    });
    ASSERT_STATUS(ZX_MSG_AsyncSendData("svc", 0x99, "hello", 5), ZX_OK);
    auto seen = rec.wait_for(1);
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_TRUE(seen[0].oneWay);
    EXPECT_EQ(seen[0].msgId, 0x99u);
    EXPECT_EQ(seen[0].mid, 0u);
    EXPECT_EQ(seen[0].timeoutMs, 0u);
    EXPECT_EQ(text(seen[0].data.data(), seen[0].data.size()), "hello");
    ZX_MSG_HEAD_S expected{};
    std::strcpy(expected.acSrcProcName, "sender");
    std::strcpy(expected.acDstProcName, "svc");
    EXPECT_EQ(std::memcmp(&seen[0].head, &expected, sizeof expected), 0);
    // The connection is still in step: a call after the one-way message gets its own answer.
    std::string reply;
    EXPECT_STATUS(call("svc", 2, "x", &reply), ZX_OK);
    EXPECT_EQ(reply, "never sent");
}

TEST(BusCall, EightCallersAreServedAtOnce) {
    zxtest::ScopedBusDir dir;
    constexpr int kCallers = 8;
    std::mutex m;
    std::condition_variable cv;
    int arrived = 0;
    // Each handler waits until all eight calls are inside a handler at the same time. Calls that
    // queued behind each other could never fill this barrier and would be answered 0xBAD.
    auto svc = serve("svc", [&](const BusRequest& r, BusAnswer& a) {
        std::unique_lock<std::mutex> lock(m);
        ++arrived;
        cv.notify_all();
        bool together = cv.wait_for(lock, kBound, [&] { return arrived >= kCallers; });
        a.status = together ? 0 : 0xBAD;
        a.data.assign(r.data.begin(), r.data.end());
    });
    std::array<uint32_t, kCallers> status{};
    std::array<std::string, kCallers> reply;
    std::vector<std::thread> callers;
    for (int i = 0; i < kCallers; ++i)
        callers.emplace_back([&, i] { status[i] = call("svc", 1, "caller-" + std::to_string(i), &reply[i]); });
    for (auto& t : callers) t.join();
    for (int i = 0; i < kCallers; ++i) {
        EXPECT_STATUS(status[i], ZX_OK) << "caller " << i;
        EXPECT_EQ(reply[i], "caller-" + std::to_string(i));
    }
}

TEST(BusCall, KilledServiceFailsAndRestartedServiceIsReachedAgain) {
    zxtest::ScopedBusDir dir;
    // The service answers with its process id; message 9 tells the parent it is inside the
    // handler and then never answers.
    auto body = [](int ready) {
        return serve_in_child(ready, "svc", [ready](const BusRequest& r, BusAnswer& a) {
            if (r.msgId == 9) {
                signal_parent(ready);
                for (;;) pause();
            }
            a.data = bytes(std::to_string(getpid()));
        });
    };
    std::string reply;
    {
        Child first(body);
        ASSERT_TRUE(first.wait_signal());
        ASSERT_STATUS(call("svc", 1, "x", &reply), ZX_OK);
        EXPECT_EQ(reply, std::to_string(first.pid()));

        // Killed while a call waits for its answer: that call fails on its broken connection.
        uint32_t waiting = 0;
        std::thread caller([&] { waiting = call("svc", 9, "x"); });
        ASSERT_TRUE(first.wait_signal());
        first.kill_now();
        caller.join();
        EXPECT_STATUS(waiting, ZX_MSG_ERR_TRANSPORT);
    }
    // This thread's cached connection is dead and nobody listens any more.
    EXPECT_STATUS(call("svc", 1, "x", &reply), ZX_MSG_ERR_NO_DEST);

    Child second(body);
    ASSERT_TRUE(second.wait_signal());
    ASSERT_STATUS(call("svc", 1, "x", &reply), ZX_OK);
    EXPECT_EQ(reply, std::to_string(second.pid()));

    // Killed between two calls: the cached connection is found broken and the call fails cleanly.
    second.kill_now();
    EXPECT_STATUS(call("svc", 1, "x", &reply), ZX_MSG_ERR_NO_DEST);
}

TEST(BusCall, ServiceRestartedBetweenCallsIsReachedOnCachedConnection) {
    zxtest::ScopedBusDir dir;
    auto body = [](int ready) {
        return serve_in_child(ready, "svc",
                              [](const BusRequest&, BusAnswer& a) { a.data = bytes(std::to_string(getpid())); });
    };
    std::string reply;
    auto first = std::make_unique<Child>(body);
    ASSERT_TRUE(first->wait_signal());
    ASSERT_STATUS(call("svc", 1, "x", &reply), ZX_OK);
    first->kill_now();
    Child second(body);
    ASSERT_TRUE(second.wait_signal());
    // No error in between: the dead cached connection is replaced within this one call.
    ASSERT_STATUS(call("svc", 1, "x", &reply), ZX_OK);
    EXPECT_EQ(reply, std::to_string(second.pid()));
}

TEST(BusCall, MalformedFramesLeaveServiceServing) {
    zxtest::ScopedBusDir dir;
    Recorder rec;
    auto svc = serve("svc", [&](const BusRequest& r, BusAnswer& a) {
        rec.add(r);
        echo(r, a);
    });
    auto changed = [](std::function<void(FrameHeader&)> change, size_t dataBytes) {
        FrameHeader h = frame(Kind::Call, 1, static_cast<uint32_t>(dataBytes));
        change(h);
        return datagram(h, dataBytes, true);
    };
    struct Case {
        const char* what;
        std::vector<uint8_t> bytes;
    };
    const Case cases[] = {
        {"short datagram", std::vector<uint8_t>(3, 0x11)},
        {"header only, short of the routing header", datagram(frame(Kind::Call, 1, 0), 0, false)},
        {"wrong magic", changed([](FrameHeader& h) { h.magic = 0xDEADBEEF; }, 4)},
        {"wrong version", changed([](FrameHeader& h) { h.version = 9; }, 4)},
        {"reply sent to a service", changed([](FrameHeader& h) { h.kind = static_cast<uint16_t>(Kind::Reply); }, 4)},
        {"unknown kind", changed([](FrameHeader& h) { h.kind = 77; }, 4)},
        {"dataLen larger than the datagram", changed([](FrameHeader& h) { h.dataLen = 10; }, 4)},
        {"dataLen smaller than the datagram", changed([](FrameHeader& h) { h.dataLen = 2; }, 4)},
        {"oversize", changed([](FrameHeader&) {}, ZX_MSG_MAX_DATA + 1000)},
    };
    for (const Case& c : cases) {
        RawFd s = raw_connect("svc");
        ASSERT_GE(s.get(), 0);
        ASSERT_TRUE(send_datagram(s.get(), c.bytes)) << c.what << ": " << strerror(errno);
        EXPECT_TRUE(closed_unanswered(s.get())) << c.what << ": the service must drop the connection";
        std::string reply;
        EXPECT_STATUS(call("svc", 1, "still here", &reply), ZX_OK) << c.what;
        EXPECT_EQ(reply, "still here");
    }
    EXPECT_EQ(rec.count(), std::size(cases)) << "only the good calls reached the handler";

    // A well-formed raw call is answered, so the cases above failed for their defect alone.
    RawFd s = raw_connect("svc");
    ASSERT_TRUE(send_datagram(s.get(), datagram(frame(Kind::Call, 42, 4), 4, true)));
    uint8_t buf[128];
    ASSERT_EQ(receive_within(s.get(), buf, sizeof buf), static_cast<ssize_t>(sizeof(FrameHeader) + 4));
    FrameHeader r;
    std::memcpy(&r, buf, sizeof r);
    EXPECT_EQ(r.kind, static_cast<uint16_t>(Kind::Reply));
    EXPECT_EQ(r.seq, 42u);
    EXPECT_EQ(r.dataLen, 4u);
}

TEST(BusCall, MalformedRepliesGiveCallerAnError) {
    zxtest::ScopedBusDir dir;
    struct Case {
        const char* what;
        std::function<std::vector<uint8_t>(const FrameHeader& call)> reply;  // empty: close instead
        uint32_t expected;
    };
    auto reply_frame = [](const FrameHeader& c, uint32_t dataLen, size_t dataBytes,
                          std::function<void(FrameHeader&)> change) {
        FrameHeader h = frame(Kind::Reply, c.seq, dataLen);
        h.status = 0x55;
        if (change) change(h);
        return datagram(h, dataBytes, false);
    };
    const std::vector<Case> cases = {
        {"well-formed", [&](const FrameHeader& c) { return reply_frame(c, 4, 4, nullptr); }, 0x55},
        {"short datagram", [](const FrameHeader&) { return std::vector<uint8_t>(5, 1); }, ZX_MSG_ERR_BAD_FRAME},
        {"wrong magic", [&](const FrameHeader& c) { return reply_frame(c, 4, 4, [](FrameHeader& h) { h.magic = 1; }); },
         ZX_MSG_ERR_BAD_FRAME},
        {"call instead of reply",
         [&](const FrameHeader& c) {
             return reply_frame(c, 4, 4, [](FrameHeader& h) { h.kind = static_cast<uint16_t>(Kind::Call); });
         },
         ZX_MSG_ERR_BAD_FRAME},
        {"dataLen larger than the datagram", [&](const FrameHeader& c) { return reply_frame(c, 8, 4, nullptr); },
         ZX_MSG_ERR_BAD_FRAME},
        {"dataLen smaller than the datagram", [&](const FrameHeader& c) { return reply_frame(c, 2, 4, nullptr); },
         ZX_MSG_ERR_BAD_FRAME},
        {"more than replyCap", [&](const FrameHeader& c) { return reply_frame(c, 32, 32, nullptr); },
         ZX_MSG_ERR_BAD_FRAME},
        {"oversize", [&](const FrameHeader& c) { return reply_frame(c, 4, ZX_MSG_MAX_DATA + 100, nullptr); },
         ZX_MSG_ERR_BAD_FRAME},
        {"sequence number from the future",
         [&](const FrameHeader& c) { return reply_frame(c, 4, 4, [](FrameHeader& h) { ++h.seq; }); },
         ZX_MSG_ERR_BAD_FRAME},
        {"empty datagram", [](const FrameHeader&) { return std::vector<uint8_t>(); }, ZX_MSG_ERR_TRANSPORT},
        {"connection closed", nullptr, ZX_MSG_ERR_TRANSPORT},
    };
    RawFd listener = raw_listen("fake");
    ASSERT_GE(listener.get(), 0);
    // The fake service takes one connection per case, since the caller drops a connection that
    // delivered a bad answer.
    std::thread fake([&] {
        std::vector<RawFd> open;
        for (const Case& c : cases) {
            RawFd conn(accept(listener.get(), nullptr, nullptr));
            allow_large_frames(conn.get());
            std::vector<uint8_t> in(zxp::bus::kMaxFrame);
            if (receive_within(conn.get(), in.data(), in.size()) <= 0) return;
            FrameHeader call;
            std::memcpy(&call, in.data(), sizeof call);
            if (!c.reply) continue;  // conn closes here
            (void)send_datagram(conn.get(), c.reply(call));
            open.push_back(std::move(conn));
        }
    });
    for (const Case& c : cases) {
        zxhost::drop_thread_connections();  // the well-formed case leaves its connection cached
        ZX_MSG_HEAD_S head = head_to("fake");
        uint8_t reply[16];
        EXPECT_STATUS(ZX_MSG_RpcCall(&head, 1, 0, "q", 1, reply, sizeof reply, kLongTimeoutMs), c.expected) << c.what;
    }
    fake.join();
}

// ---------------------------------------------------------------------------------------------
// Peers of another user (needs root to run a process as another user)
// ---------------------------------------------------------------------------------------------

bool become_nobody() { return setgid(kNobody) == 0 && setuid(kNobody) == 0; }

TEST(BusPeer, ServiceRefusesCallerOfAnotherUser) {
    if (geteuid() != 0) GTEST_SKIP() << "needs root to run a caller as uid 65534";
    zxtest::ScopedBusDir dir;
    Recorder rec;
    auto svc = serve("svc", [&](const BusRequest& r, BusAnswer& a) {
        rec.add(r);
        echo(r, a);
    });
    // Let the other user reach the socket, so that only the bus itself can refuse it.
    ASSERT_EQ(chmod(dir.path().c_str(), 0777), 0);
    ASSERT_EQ(chmod((dir.path() + "/svc").c_str(), 0777), 0);
    Child child([](int) {
        if (!become_nobody()) return 10;
        // The library refuses a service of another user from the caller's side.
        if (call("svc", 1, "x") != ZX_MSG_ERR_PEER) return 11;
        // A raw caller gets through connect, and the service closes the connection unanswered.
        // The service may close before the frame is even sent.
        RawFd s = raw_connect("svc");
        if (s.get() < 0) return 12;
        if (!send_datagram(s.get(), datagram(frame(Kind::Call, 1, 4), 4, true)))
            return errno == EPIPE || errno == ECONNRESET ? 0 : 13;
        return closed_unanswered(s.get()) ? 0 : 14;
    });
    EXPECT_EQ(child.exit_code(), 0);
    EXPECT_EQ(rec.count(), 0u);
    EXPECT_STATUS(call("svc", 1, "x"), ZX_OK) << "callers of our own user are still served";
}

TEST(BusPeer, CallerRefusesServiceOfAnotherUser) {
    if (geteuid() != 0) GTEST_SKIP() << "needs root to run a service as uid 65534";
    zxtest::ScopedBusDir dir;
    ASSERT_EQ(chmod(dir.path().c_str(), 0777), 0);
    // A service of another user that would answer every call with status 0.
    Child child([](int ready) {
        if (!become_nobody()) return 10;
        RawFd listener = raw_listen("foreign");
        if (listener.get() < 0) return 11;
        signal_parent(ready);
        for (;;) {
            RawFd conn(accept(listener.get(), nullptr, nullptr));
            uint8_t in[256];
            ssize_t n = recv(conn.get(), in, sizeof in, 0);
            if (n < static_cast<ssize_t>(sizeof(FrameHeader))) continue;
            FrameHeader call;
            std::memcpy(&call, in, sizeof call);
            (void)send_datagram(conn.get(), datagram(frame(Kind::Reply, call.seq, 0), 0, false));
        }
    });
    ASSERT_TRUE(child.wait_signal());
    uint32_t exists = 0;
    ASSERT_STATUS(ZX_OS_IsProcExist_Ex("foreign", &exists), ZX_OK);
    EXPECT_EQ(exists, 1u) << "the endpoint is alive, only not ours";
    EXPECT_STATUS(call("foreign", 1, "x"), ZX_MSG_ERR_PEER);
    EXPECT_STATUS(ZX_MSG_AsyncSendData("foreign", 1, "x", 1), ZX_MSG_ERR_PEER);
}

// ---------------------------------------------------------------------------------------------
// Process endpoint: ZX_MSG_Init, ZX_MSG_RegisterMID, ZX_MSG_GetAndDispatch
// ---------------------------------------------------------------------------------------------

struct Delivered {
    int handler;
    ZX_MSG_HEAD_S head;
    uint32_t msgId, dispatchMid;
    std::string data;
};
std::mutex g_deliveredMutex;
std::vector<Delivered> g_delivered;

uint32_t deliver(int handler, const void* msg, uint32_t result) {
    const auto* m = static_cast<const ZX_MSG_RECV_S*>(msg);
    std::lock_guard<std::mutex> lock(g_deliveredMutex);
    g_delivered.push_back({handler, m->stHead, m->uiMsgId, m->uiDispatchMid, text(m->aucData, m->uiDataLen)});
    return result;
}
uint32_t on_mid0(const void* msg) { return deliver(0, msg, 0x100); }
uint32_t on_mid1(const void* msg) { return deliver(1, msg, 0x101); }
uint32_t on_mid2(const void* msg) { return deliver(2, msg, 0x202); }

std::vector<Delivered> delivered() {
    std::lock_guard<std::mutex> lock(g_deliveredMutex);
    return g_delivered;
}

TEST(BusDispatch, CallsReachTheHandlerOfTheirModuleId) {
    zxtest::ScopedBusDir dir;
    ASSERT_STATUS(ZX_MSG_Init("disp", 16, 16, 0), ZX_OK);
    ASSERT_STATUS(ZX_MSG_RegisterMID(1, on_mid1, 0), ZX_OK);
    ASSERT_STATUS(ZX_MSG_RegisterMID(2, on_mid2, 0), ZX_OK);
    const std::array<uint32_t, 4> mids = {1, 2, 5, 5000};
    std::array<uint32_t, 4> callerSaw{};
    ZX_MSG_HEAD_S head = patterned_head("disp");
    std::thread caller([&] {
        for (size_t i = 0; i < mids.size(); ++i) {
            std::string req = "to mid " + std::to_string(mids[i]);
            callerSaw[i] = ZX_MSG_RpcCall(&head, 0x50 + i, mids[i], req.data(), req.size(), nullptr, 0, kLongTimeoutMs);
        }
    });
    std::array<uint32_t, 4> dispatched{};
    for (uint32_t& r : dispatched) r = ZX_MSG_GetAndDispatch(kLongTimeoutMs, 0);
    caller.join();
    const std::array<uint32_t, 4> expected = {0x101, 0x202, ZX_MSG_ERR_NO_HANDLER, ZX_MSG_ERR_NO_HANDLER};
    for (size_t i = 0; i < mids.size(); ++i) {
        EXPECT_STATUS(dispatched[i], expected[i]) << "mid " << mids[i];
        EXPECT_STATUS(callerSaw[i], expected[i]) << "mid " << mids[i];
    }
    auto got = delivered();
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0].handler, 1);
    EXPECT_EQ(got[0].msgId, 0x50u);
    EXPECT_EQ(got[0].dispatchMid, 1u);
    EXPECT_EQ(got[0].data, "to mid 1");
    EXPECT_EQ(std::memcmp(&got[0].head, &head, sizeof head), 0);
    EXPECT_EQ(got[1].handler, 2);
    EXPECT_EQ(got[1].msgId, 0x51u);
    EXPECT_EQ(got[1].dispatchMid, 2u);
    EXPECT_EQ(got[1].data, "to mid 2");
}

TEST(BusDispatch, ModuleIdWordOfHeaderIsKeptOnMidZero) {
    zxtest::ScopedBusDir dir;
    ASSERT_STATUS(ZX_MSG_Init("disp", 0, 0, 0), ZX_OK);
    ASSERT_STATUS(ZX_MSG_RegisterMID(0, on_mid0, 0), ZX_OK);
    ZX_MSG_HEAD_S head = patterned_head("disp");
    head.uiMid = 7;
    const std::vector<uint8_t> data = bytes("raw");
    ASSERT_STATUS(zxhost::send_raw("disp", head, 0x42, 0, data), ZX_OK);
    EXPECT_STATUS(ZX_MSG_GetAndDispatch(kLongTimeoutMs, 0), 0x100);
    auto got = delivered();
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].handler, 0);
    EXPECT_EQ(got[0].head.uiMid, 7u);
    EXPECT_EQ(got[0].dispatchMid, 0u);
    EXPECT_EQ(got[0].msgId, 0x42u);
    EXPECT_EQ(got[0].data, "raw");
    EXPECT_EQ(std::memcmp(&got[0].head, &head, sizeof head), 0);
}

TEST(BusDispatch, OneWayMessageReachesMidZero) {
    zxtest::ScopedBusDir dir;
    ASSERT_STATUS(ZX_MSG_Init("disp", 0, 0, 0), ZX_OK);
    ASSERT_STATUS(ZX_MSG_RegisterMID(0, on_mid0, 0), ZX_OK);
    ASSERT_STATUS(ZX_MSG_AsyncSendData("disp", 0x77, "event", 5), ZX_OK);
    EXPECT_STATUS(ZX_MSG_GetAndDispatch(kLongTimeoutMs, 0), 0x100);
    auto got = delivered();
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].msgId, 0x77u);
    EXPECT_EQ(got[0].data, "event");
    ZX_MSG_HEAD_S expected{};
    std::strcpy(expected.acSrcProcName, "disp");  // the sender is this process, named by ZX_MSG_Init
    std::strcpy(expected.acDstProcName, "disp");
    EXPECT_EQ(std::memcmp(&got[0].head, &expected, sizeof expected), 0);
}

TEST(BusDispatch, HandlersAreReplacedAndRemoved) {
    zxtest::ScopedBusDir dir;
    ASSERT_STATUS(ZX_MSG_Init("disp", 0, 0, 0), ZX_OK);
    EXPECT_STATUS(ZX_MSG_RegisterMID(ZX_MSG_MAX_MID, on_mid1, 0), ZX_ERR_PARAM);
    ASSERT_STATUS(ZX_MSG_RegisterMID(ZX_MSG_MAX_MID - 1, on_mid1, 0), ZX_OK);
    ASSERT_STATUS(ZX_MSG_RegisterMID(ZX_MSG_MAX_MID - 1, on_mid2, 0), ZX_OK);
    ZX_MSG_HEAD_S head = head_to("disp");
    ASSERT_STATUS(zxhost::send_raw("disp", head, 1, ZX_MSG_MAX_MID - 1, {}), ZX_OK);
    EXPECT_STATUS(ZX_MSG_GetAndDispatch(kLongTimeoutMs, 0), 0x202);
    ASSERT_STATUS(ZX_MSG_RegisterMID(ZX_MSG_MAX_MID - 1, nullptr, 0), ZX_OK);
    ASSERT_STATUS(zxhost::send_raw("disp", head, 1, ZX_MSG_MAX_MID - 1, {}), ZX_OK);
    EXPECT_STATUS(ZX_MSG_GetAndDispatch(kLongTimeoutMs, 0), ZX_MSG_ERR_NO_HANDLER);
    EXPECT_EQ(delivered().size(), 1u);
}

TEST(BusDispatch, MalformedFramesAreDroppedAndServingGoesOn) {
    zxtest::ScopedBusDir dir;
    ASSERT_STATUS(ZX_MSG_Init("disp", 0, 0, 0), ZX_OK);
    ASSERT_STATUS(ZX_MSG_RegisterMID(1, on_mid1, 0), ZX_OK);
    RawFd bad = raw_connect("disp");
    ASSERT_GE(bad.get(), 0);
    FrameHeader h = frame(Kind::Call, 1, 10);
    ASSERT_TRUE(send_datagram(bad.get(), datagram(h, 4, true)));  // dataLen says 10, 4 follow
    uint32_t callerSaw = 0;
    std::thread caller([&] {
        ZX_MSG_HEAD_S head = head_to("disp");
        callerSaw = ZX_MSG_RpcCall(&head, 3, 1, "ok", 2, nullptr, 0, kLongTimeoutMs);
    });
    EXPECT_STATUS(ZX_MSG_GetAndDispatch(kLongTimeoutMs, 0), 0x101);
    caller.join();
    EXPECT_STATUS(callerSaw, 0x101);
    EXPECT_TRUE(closed_unanswered(bad.get())) << "the bad caller's connection is closed";
    auto got = delivered();
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].data, "ok");
}

TEST(BusDispatch, NotInitialisedAndTimeOut) {
    zxtest::ScopedBusDir dir;
    EXPECT_STATUS(ZX_MSG_GetAndDispatch(10, 0), ZX_MSG_ERR_NOT_INIT);
    ASSERT_STATUS(ZX_MSG_Init("disp", 0, 0, 0), ZX_OK);
    EXPECT_STATUS(ZX_MSG_GetAndDispatch(10, 0), ZX_MSG_ERR_TIMEOUT);
}

TEST(BusEndpoint, InitRejectsBadNames) {
    zxtest::ScopedBusDir dir;
    const std::string longest(ZX_MSG_MAX_NAME, 'n');
    const std::string tooLong(ZX_MSG_MAX_NAME + 1, 'n');
    EXPECT_STATUS(ZX_MSG_Init(nullptr, 0, 0, 0), ZX_ERR_PARAM);
    for (const std::string& bad : {std::string(), tooLong, std::string("a/b"), std::string("/abs")}) {
        EXPECT_STATUS(ZX_MSG_Init(bad.c_str(), 0, 0, 0), ZX_ERR_PARAM) << "'" << bad << "'";
        std::unique_ptr<BusService> s;
        EXPECT_STATUS(BusService::start(bad, echo, s), ZX_ERR_PARAM) << "'" << bad << "'";
        EXPECT_EQ(s, nullptr);
    }
    std::unique_ptr<BusService> s;
    EXPECT_STATUS(BusService::start("svc", nullptr, s), ZX_ERR_PARAM) << "a service needs a handler";
    EXPECT_STATUS(ZX_MSG_Init(longest.c_str(), 0, 0, 0), ZX_OK);
    EXPECT_STREQ(ZX_MSG_GetCurProcName(), longest.c_str());
}

TEST(BusEndpoint, InitTwiceWithSameNameIsFineAnotherNameIsInUse) {
    zxtest::ScopedBusDir dir;
    ASSERT_STATUS(ZX_MSG_Init("me", 0, 0, 0), ZX_OK);
    EXPECT_STATUS(ZX_MSG_Init("me", 1, 2, 3), ZX_OK);
    EXPECT_STATUS(ZX_MSG_Init("other", 0, 0, 0), ZX_MSG_ERR_IN_USE);
    uint32_t exists = 0;
    ASSERT_STATUS(ZX_OS_IsProcExist_Ex("other", &exists), ZX_OK);
    EXPECT_EQ(exists, 0u);
    std::unique_ptr<BusService> s;
    EXPECT_STATUS(BusService::start("me", echo, s), ZX_MSG_ERR_IN_USE) << "the name is live in this process";
}

TEST(BusEndpoint, LiveNameOfAnotherProcessIsInUseAndFreeAfterItDies) {
    zxtest::ScopedBusDir dir;
    {
        Child owner([](int ready) {
            if (ZX_MSG_Init("taken", 0, 0, 0) != ZX_OK) return 2;
            signal_parent(ready);
            for (;;) pause();
        });
        ASSERT_TRUE(owner.wait_signal());
        EXPECT_STATUS(ZX_MSG_Init("taken", 0, 0, 0), ZX_MSG_ERR_IN_USE);
        std::unique_ptr<BusService> s;
        EXPECT_STATUS(BusService::start("taken", echo, s), ZX_MSG_ERR_IN_USE);
    }
    // The owner is gone; its socket file is left behind and taken over.
    EXPECT_STATUS(ZX_MSG_Init("taken", 0, 0, 0), ZX_OK);
}

TEST(BusEndpoint, StaleSocketFileIsTakenOver) {
    zxtest::ScopedBusDir dir;
    make_stale_socket("stale");
    uint32_t exists = 1;
    ASSERT_STATUS(ZX_OS_IsProcExist_Ex("stale", &exists), ZX_OK);
    EXPECT_EQ(exists, 0u);
    ASSERT_STATUS(ZX_MSG_Init("stale", 0, 0, 0), ZX_OK);
    ASSERT_STATUS(ZX_MSG_RegisterMID(1, on_mid1, 0), ZX_OK);
    ASSERT_STATUS(ZX_OS_IsProcExist_Ex("stale", &exists), ZX_OK);
    EXPECT_EQ(exists, 1u);
    uint32_t callerSaw = 0;
    std::thread caller([&] {
        ZX_MSG_HEAD_S head = head_to("stale");
        callerSaw = ZX_MSG_RpcCall(&head, 1, 1, "hi", 2, nullptr, 0, kLongTimeoutMs);
    });
    EXPECT_STATUS(ZX_MSG_GetAndDispatch(kLongTimeoutMs, 0), 0x101);
    caller.join();
    EXPECT_STATUS(callerSaw, 0x101);
}

TEST(BusEndpoint, FileThatIsNotASocketIsLeftAlone) {
    zxtest::ScopedBusDir dir;
    const std::string path = dir.path() + "/plain";
    int fd = open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
    ASSERT_GE(fd, 0);
    close(fd);
    EXPECT_STATUS(ZX_MSG_Init("plain", 0, 0, 0), ZX_ERR_SYS);
    struct stat st {};
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_TRUE(S_ISREG(st.st_mode));
}

TEST(BusEndpoint, ServiceStopClosesConnectionsAndRemovesEndpoint) {
    zxtest::ScopedBusDir dir;
    auto svc = serve("svc", echo);
    EXPECT_EQ(svc->name(), "svc");
    std::string reply;
    ASSERT_STATUS(call("svc", 1, "x", &reply), ZX_OK);  // this thread keeps a connection open
    std::unique_ptr<BusService> twin;
    EXPECT_STATUS(BusService::start("svc", echo, twin), ZX_MSG_ERR_IN_USE);
    svc->stop();
    struct stat st {};
    EXPECT_NE(stat((dir.path() + "/svc").c_str(), &st), 0) << "socket file removed";
    uint32_t exists = 1;
    ASSERT_STATUS(ZX_OS_IsProcExist_Ex("svc", &exists), ZX_OK);
    EXPECT_EQ(exists, 0u);
    EXPECT_STATUS(call("svc", 1, "x"), ZX_MSG_ERR_NO_DEST);
    svc->stop();  // a second stop changes nothing
    // The name is free again.
    auto again = serve("svc", echo);
    EXPECT_STATUS(call("svc", 1, "y", &reply), ZX_OK);
    EXPECT_EQ(reply, "y");
}

TEST(BusEndpoint, IsProcExist) {
    zxtest::ScopedBusDir dir;
    uint32_t exists = 7;
    EXPECT_STATUS(ZX_OS_IsProcExist_Ex(nullptr, &exists), ZX_ERR_PARAM);
    EXPECT_EQ(exists, 7u);
    EXPECT_STATUS(ZX_OS_IsProcExist_Ex("svc", nullptr), ZX_ERR_PARAM);
    ASSERT_STATUS(ZX_OS_IsProcExist_Ex("svc", &exists), ZX_OK);
    EXPECT_EQ(exists, 0u);
    auto svc = serve("svc", echo);
    ASSERT_STATUS(ZX_OS_IsProcExist_Ex("svc", &exists), ZX_OK);
    EXPECT_EQ(exists, 1u);
    for (const char* odd : {"", "a/b", "../svc"}) {
        exists = 7;
        ASSERT_STATUS(ZX_OS_IsProcExist_Ex(odd, &exists), ZX_OK);
        EXPECT_EQ(exists, 0u) << odd;
    }
    // The probes left the service working.
    EXPECT_STATUS(call("svc", 1, "x"), ZX_OK);
}

TEST(BusEndpoint, CurrentProcessNameIsProgramNameByDefault) {
    ScopedVar var("ZX_PROC_NAME", nullptr);
    zxtest::ScopedBusDir dir;
    EXPECT_STREQ(ZX_MSG_GetCurProcName(), program_invocation_short_name);
}

TEST(BusEndpoint, CurrentProcessNameFromEnvironmentThenFromInit) {
    ScopedVar var("ZX_PROC_NAME", "jamvm");
    zxtest::ScopedBusDir dir;
    const char* fromEnv = ZX_MSG_GetCurProcName();
    EXPECT_STREQ(fromEnv, "jamvm");
    ASSERT_STATUS(ZX_MSG_Init("owner", 0, 0, 0), ZX_OK);
    EXPECT_STREQ(ZX_MSG_GetCurProcName(), "owner");
    EXPECT_STREQ(fromEnv, "jamvm") << "an earlier answer stays valid";
}

TEST(BusApi, NullPointersZeroSizesAndLimits) {
    zxtest::ScopedBusDir dir;
    Recorder rec;
    auto svc = serve("svc", [&](const BusRequest& r, BusAnswer& a) {
        rec.add(r);
        a.status = 0x33;
    });
    ZX_MSG_HEAD_S head = head_to("svc");
    std::vector<uint8_t> big(ZX_MSG_MAX_DATA + 1, 1);
    uint8_t buf[8];
    EXPECT_STATUS(ZX_MSG_RpcCall(nullptr, 1, 0, buf, 1, buf, 1, 1000), ZX_ERR_PARAM);
    EXPECT_STATUS(ZX_MSG_RpcCall(&head, 1, 0, nullptr, 4, buf, 4, 1000), ZX_ERR_PARAM);
    EXPECT_STATUS(ZX_MSG_RpcCall(&head, 1, 0, buf, 4, nullptr, 4, 1000), ZX_ERR_PARAM);
    EXPECT_STATUS(ZX_MSG_RpcCall(&head, 1, 0, big.data(), big.size(), buf, 4, 1000), ZX_MSG_ERR_TOO_BIG);
    EXPECT_STATUS(ZX_MSG_AsyncSendData(nullptr, 1, buf, 1), ZX_ERR_PARAM);
    EXPECT_STATUS(ZX_MSG_AsyncSendData("svc", 1, nullptr, 4), ZX_ERR_PARAM);
    EXPECT_STATUS(ZX_MSG_AsyncSendData("svc", 1, big.data(), big.size()), ZX_MSG_ERR_TOO_BIG);
    EXPECT_STATUS(zxhost::send_raw("svc", head, 1, 0, big), ZX_MSG_ERR_TOO_BIG);
    EXPECT_STATUS(EventCenter_GlobalInvokeEvent2(1, nullptr, 4), ZX_ERR_PARAM);
    EXPECT_EQ(rec.count(), 0u) << "nothing was sent";

    // Empty requests and replies are valid.
    EXPECT_STATUS(ZX_MSG_RpcCall(&head, 2, 0, nullptr, 0, nullptr, 0, kLongTimeoutMs), 0x33);
    EXPECT_STATUS(ZX_MSG_AsyncSendData("svc", 3, nullptr, 0), ZX_OK);
    EXPECT_STATUS(zxhost::send_raw("svc", head, 4, 0, {}), ZX_OK);
    auto seen = rec.wait_for(3);
    ASSERT_EQ(seen.size(), 3u);
    for (const Seen& s : seen) EXPECT_TRUE(s.data.empty()) << "message " << s.msgId;
}

TEST(BusApi, NoDescriptorLeftAfterDroppingConnections) {
    zxtest::ScopedBusDir dir;
    // The services run in another process, so this process holds caller descriptors only.
    Child services([](int ready) {
        std::unique_ptr<BusService> a, b, c;
        if (BusService::start("a", echo, a) || BusService::start("b", echo, b) || BusService::start("c", echo, c))
            return 2;
        signal_parent(ready);
        for (;;) pause();
    });
    ASSERT_TRUE(services.wait_signal());
    const int before = zxtest::open_fd_count();
    for (const char* name : {"a", "b", "c", "a"}) ASSERT_STATUS(call(name, 1, "x"), ZX_OK) << name;
    EXPECT_EQ(zxtest::open_fd_count(), before + 3) << "one connection per destination";
    zxhost::drop_thread_connections();
    EXPECT_EQ(zxtest::open_fd_count(), before);

    std::thread t([] {
        for (const char* name : {"a", "b"}) EXPECT_STATUS(call(name, 1, "x"), ZX_OK);
    });
    t.join();
    EXPECT_EQ(zxtest::open_fd_count(), before) << "a thread's connections close when it ends";

    EXPECT_STATUS(call("missing", 1, "x"), ZX_MSG_ERR_NO_DEST);
    EXPECT_EQ(zxtest::open_fd_count(), before) << "a failed connect leaves nothing open";
}

// ---------------------------------------------------------------------------------------------
// Event centre
// ---------------------------------------------------------------------------------------------

TEST(BusEventCenter, EventIsACallToTheEventEndpoint) {
    ScopedVar var("ZX_PROC_NAME", "jamvm");
    zxtest::ScopedBusDir dir;
    EXPECT_STATUS(EventCenter_GlobalInvokeEvent2(0x3001, "r", 1), ZX_MSG_ERR_NO_DEST);
    Recorder rec;
    std::atomic<uint32_t> answer{0};
    auto centre = serve(ZX_EVENTCENTER_ENDPOINT, [&](const BusRequest& r, BusAnswer& a) {
        rec.add(r);
        a.status = answer;
        a.data = bytes("ignored");
    });
    const uint8_t record[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    EXPECT_STATUS(EventCenter_GlobalInvokeEvent2(0x3001, record, sizeof record), ZX_OK);
    auto seen = rec.wait_for(1);
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].msgId, 0x3001u);
    EXPECT_EQ(seen[0].mid, 0u);
    EXPECT_FALSE(seen[0].oneWay);
    EXPECT_EQ(seen[0].timeoutMs, 5000u);
    EXPECT_EQ(seen[0].replyCap, 0u);
    EXPECT_EQ(seen[0].data, std::vector<uint8_t>(record, record + sizeof record));
    ZX_MSG_HEAD_S expected{};
    std::strcpy(expected.acSrcProcName, "jamvm");
    std::strcpy(expected.acDstProcName, "eventcenter");
    EXPECT_EQ(std::memcmp(&seen[0].head, &expected, sizeof expected), 0);

    answer = 0xF7213003;
    EXPECT_STATUS(EventCenter_GlobalInvokeEvent2(0x3002, nullptr, 0), 0xF7213003);
    EXPECT_TRUE(rec.wait_for(2).at(1).data.empty());
}

}  // namespace
