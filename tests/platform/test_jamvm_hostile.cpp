// The entity's bus endpoint ("jamvm") against hostile peers: garbage, truncated and oversized
// frames, callers that never read their answers, idle connections, and callers of another user.
// Whatever a peer sends, the message thread goes on and the next well-formed call reaches it.
//
// Start-up can succeed once per process, so ctest runs each case in its own process.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <grp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "../bridge/entity_start.h"
#include "bus_frame.h"
#include "l2tp_jni.h"
#include "test_env.h"
#include "trace_lines.h"
#include "zx_host.h"
#include "zx_platform.h"

namespace {

using zxp::bus::FrameHeader;
using zxp::bus::Kind;
using zxtest::T;
using zxtest::take_records;

constexpr const char* kFile = "l2tp_jni";
constexpr uint32_t kLevel = 216;
constexpr auto kBound = std::chrono::seconds(20);  // generous bound on waits that must end
constexpr uint32_t kCallTimeoutMs = 3000;
constexpr uid_t kNobody = 65534;

class RawFd {
public:
    RawFd() = default;
    explicit RawFd(int fd) : fd_(fd) {}
    RawFd(RawFd&& o) noexcept : fd_(o.fd_) { o.fd_ = -1; }
    RawFd& operator=(RawFd&& o) noexcept {
        std::swap(fd_, o.fd_);
        return *this;
    }
    RawFd(const RawFd&) = delete;
    RawFd& operator=(const RawFd&) = delete;
    ~RawFd() {
        if (fd_ >= 0) close(fd_);
    }
    int get() const { return fd_; }

private:
    int fd_ = -1;
};

std::string jamvm_path() { return zxhost::bus_dir() + "/jamvm"; }

// A raw connection to "jamvm" that can send datagrams larger than any valid frame.
RawFd raw_connect() {
    RawFd s(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    sockaddr_un a{};
    a.sun_family = AF_UNIX;
    std::snprintf(a.sun_path, sizeof a.sun_path, "%s", jamvm_path().c_str());
    if (s.get() < 0 || connect(s.get(), reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) return RawFd();
    int size = 4 << 20;
    (void)setsockopt(s.get(), SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
    return s;
}

FrameHeader call_header(uint64_t seq, uint32_t dataLen) {
    FrameHeader h{};
    h.magic = zxp::bus::kMagic;
    h.version = zxp::bus::kVersion;
    h.kind = static_cast<uint16_t>(Kind::Call);
    h.seq = seq;
    h.msgId = 0x4710FF10;
    h.timeoutMs = 5000;
    h.dataLen = dataLen;
    return h;
}

// Frame header, routing header (when withHead) and dataBytes bytes of data, whatever h says.
std::vector<uint8_t> datagram(const FrameHeader& h, size_t dataBytes, bool withHead) {
    ZX_MSG_HEAD_S head{};
    std::strcpy(head.acSrcProcName, "app_m");
    std::strcpy(head.acDstProcName, "jamvm");
    std::vector<uint8_t> d(sizeof h + (withHead ? sizeof head : 0) + dataBytes, 0x5C);
    std::memcpy(d.data(), &h, sizeof h);
    if (withHead) std::memcpy(d.data() + sizeof h, &head, sizeof head);
    return d;
}

bool send_datagram(int fd, const std::vector<uint8_t>& d) {
    return send(fd, d.data(), d.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(d.size());
}

// The endpoint closed the connection without answering (a close with our frame still unread
// resets the connection instead of ending it).
bool closed_unanswered(int fd) {
    pollfd p{fd, POLLIN, 0};
    if (poll(&p, 1, static_cast<int>(std::chrono::milliseconds(kBound).count())) != 1) return false;
    char buf[256];
    ssize_t n = recv(fd, buf, sizeof buf, 0);
    return n == 0 || (n < 0 && errno == ECONNRESET);
}

// A well-formed call from a fresh connection of this thread; the message thread answers it with
// the handler's result, 0. Waits at most kCallTimeoutMs.
uint32_t call_jamvm() {
    zxhost::drop_thread_connections();
    ZX_MSG_HEAD_S head{};
    std::strcpy(head.acSrcProcName, "app_m");
    std::strcpy(head.acDstProcName, "jamvm");
    uint32_t word = 0;
    return ZX_MSG_RpcCall(&head, 0x4710FF03, 0, &word, sizeof word, nullptr, 0, kCallTimeoutMs);
}

// The records one call to the handler leaves (module id word 0 of the routing header).
std::vector<std::string> handled_once() {
    return {T(kLevel, kFile, 740, "Come in JNImsgProc\r\n"), T(kLevel, kFile, 744, "ZX_MID_VELM_OS \r\n")};
}

bool message_thread_running() {
    auto deadline = std::chrono::steady_clock::now() + kBound;
    while (zxtest::thread_names()["JNImsgthread"] == 0) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

// Runs fn in a forked child as uid/gid 65534 with no supplementary groups (what
// `setpriv --reuid=65534 --regid=65534 --clear-groups` does); its result is the exit code.
int run_as_nobody(const std::function<int()>& fn) {
    pid_t pid = fork();
    if (pid == 0) {
        if (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0) _exit(100);
        if (getuid() != kNobody || geteuid() != kNobody) _exit(101);
        _exit(fn());
    }
    if (pid < 0) return -1;
    int status = 0;
    if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) return -2;
    return WEXITSTATUS(status);
}

class JamvmHostile : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(JniInitFlag, 0u) << "start-up already ran in this process: run each case on its own";
        zxhost::trace_capture_start();
        ASSERT_EQ(zxtest::start_thread(), 0);
        ASSERT_TRUE(message_thread_running());
        take_records();
    }
    void TearDown() override { zxhost::trace_capture_stop(); }

    zxtest::ScopedBusDir bus_;
};

TEST_F(JamvmHostile, GarbageTruncatedAndOversizedFramesAreDroppedAndTheThreadGoesOn) {
    auto with = [](std::function<void(FrameHeader&)> change, size_t dataBytes, bool withHead = true) {
        FrameHeader h = call_header(1, static_cast<uint32_t>(dataBytes));
        change(h);
        return datagram(h, dataBytes, withHead);
    };
    std::mt19937 random(15);
    std::vector<uint8_t> noise(1500);
    for (uint8_t& b : noise) b = static_cast<uint8_t>(random());
    std::vector<uint8_t> noiseWithMagic = noise;
    std::memcpy(noiseWithMagic.data(), &zxp::bus::kMagic, sizeof zxp::bus::kMagic);

    struct Case {
        const char* what;
        std::vector<uint8_t> bytes;
    };
    const Case cases[] = {
        {"empty datagram", {}},
        {"one byte", {0x5A}},
        {"truncated frame header", [] {
             auto d = datagram(call_header(1, 0), 0, false);
             d.resize(sizeof(FrameHeader) / 2);
             return d;
         }()},
        {"frame header without routing header", datagram(call_header(1, 0), 0, false)},
        {"routing header cut short", [] {
             auto d = datagram(call_header(1, 0), 0, true);
             d.resize(d.size() - 10);
             return d;
         }()},
        {"length 0 with data behind it", with([](FrameHeader& h) { h.dataLen = 0; }, 16)},
        {"length 2^32-1", with([](FrameHeader& h) { h.dataLen = 0xFFFFFFFFu; }, 16)},
        {"length 2^32-1, no data", with([](FrameHeader& h) { h.dataLen = 0xFFFFFFFFu; }, 0)},
        {"length larger than the datagram", with([](FrameHeader& h) { h.dataLen = 64; }, 16)},
        {"length just over the largest body", with([](FrameHeader& h) { h.dataLen = ZX_MSG_MAX_DATA + 1; },
                                                   ZX_MSG_MAX_DATA + 1)},
        {"oversized datagram, twice the largest frame", with([](FrameHeader&) {}, 2 * zxp::bus::kMaxFrame)},
        {"wrong magic", with([](FrameHeader& h) { h.magic = ~zxp::bus::kMagic; }, 4)},
        {"wrong version", with([](FrameHeader& h) { h.version = 0xFFFF; }, 4)},
        {"a reply sent to the endpoint", with([](FrameHeader& h) { h.kind = static_cast<uint16_t>(Kind::Reply); }, 4)},
        {"unknown kind", with([](FrameHeader& h) { h.kind = 0xFFFF; }, 4)},
        {"random bytes", noise},
        {"random bytes behind our magic", noiseWithMagic},
    };
    for (const Case& c : cases) {
        RawFd s = raw_connect();
        ASSERT_GE(s.get(), 0) << c.what << ": " << strerror(errno);
        ASSERT_TRUE(send_datagram(s.get(), c.bytes)) << c.what << ": " << strerror(errno);
        EXPECT_TRUE(closed_unanswered(s.get())) << c.what << ": the endpoint must drop the connection";
        EXPECT_EQ(zxhost::status_name(call_jamvm()), zxhost::status_name(ZX_OK)) << c.what;
        EXPECT_EQ(take_records(), handled_once()) << c.what << ": only the well-formed call reached the handler";
    }
}

TEST_F(JamvmHostile, GarbageOnManyOpenConnectionsAtOnce) {
    // Every connection sends its garbage before any is read; the thread works through all of them.
    std::vector<RawFd> conns;
    for (uint32_t i = 0; i < 32; ++i) {
        RawFd s = raw_connect();
        ASSERT_GE(s.get(), 0) << strerror(errno);
        FrameHeader h = call_header(i, 0);
        h.dataLen = i % 2 ? 0xFFFFFFFFu : 7;
        ASSERT_TRUE(send_datagram(s.get(), datagram(h, i * 3, i % 3 != 0)));
        conns.push_back(std::move(s));
    }
    for (const RawFd& s : conns) EXPECT_TRUE(closed_unanswered(s.get()));
    EXPECT_EQ(zxhost::status_name(call_jamvm()), zxhost::status_name(ZX_OK));
    EXPECT_EQ(take_records(), handled_once());
}

TEST_F(JamvmHostile, CallerThatNeverReadsItsAnswersIsDropped) {
    // Well-formed calls whose answers are never read fill the caller's side until the endpoint
    // cannot hand over the next answer: it must drop that caller, not wait for it.
    RawFd flood = raw_connect();
    ASSERT_GE(flood.get(), 0) << strerror(errno);
    timeval tv{2, 0};
    ASSERT_EQ(setsockopt(flood.get(), SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof tv), 0);
    std::atomic<int> sent{0};
    std::atomic<int> sendError{0};
    std::thread flooder([&] {
        auto end = std::chrono::steady_clock::now() + kBound;
        for (uint64_t seq = 1; std::chrono::steady_clock::now() < end; ++seq) {
            if (!send_datagram(flood.get(), datagram(call_header(seq, 0), 0, true))) {
                sendError = errno;
                return;
            }
            ++sent;
        }
    });
    flooder.join();
    // The endpoint ended the connection: a send then fails with EPIPE or ECONNRESET. A send that
    // timed out (EAGAIN) would mean the endpoint stopped reading and kept the connection.
    EXPECT_TRUE(sendError == EPIPE || sendError == ECONNRESET)
        << "after " << sent << " calls: " << strerror(sendError);
    take_records();
    EXPECT_EQ(zxhost::status_name(call_jamvm()), zxhost::status_name(ZX_OK));
    EXPECT_EQ(take_records(), handled_once());
}

TEST_F(JamvmHostile, IdleAndAbandonedConnectionsDoNotHoldUpOthers) {
    RawFd idle = raw_connect();  // connects and never sends
    ASSERT_GE(idle.get(), 0);
    {
        // A call whose caller is gone before the answer.
        RawFd gone = raw_connect();
        ASSERT_GE(gone.get(), 0);
        ASSERT_TRUE(send_datagram(gone.get(), datagram(call_header(1, 4), 4, true)));
    }
    RawFd halfClosed = raw_connect();
    ASSERT_GE(halfClosed.get(), 0);
    ASSERT_EQ(shutdown(halfClosed.get(), SHUT_WR), 0);
    EXPECT_EQ(zxhost::status_name(call_jamvm()), zxhost::status_name(ZX_OK));
    // The abandoned call reached the handler as well; its answer went nowhere.
    std::vector<std::string> records = take_records();
    std::vector<std::string> twice = handled_once();
    const std::vector<std::string> once = handled_once();
    twice.insert(twice.end(), once.begin(), once.end());
    EXPECT_TRUE(records == handled_once() || records == twice) << testing::PrintToString(records);
}

TEST_F(JamvmHostile, CallerOfAnotherUserIsRefused) {
    if (geteuid() != 0) GTEST_SKIP() << "needs root to run a caller as uid 65534 (not counted as passed)";
    // With the bus directory private, another user does not even reach the socket.
    struct stat st {};
    ASSERT_EQ(stat(zxhost::bus_dir().c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0700u);
    EXPECT_EQ(run_as_nobody([] {
                  // The library's own call, and a raw connect.
                  if (call_jamvm() != ZX_MSG_ERR_PEER) return 10;
                  RawFd s = raw_connect();
                  return s.get() < 0 && errno == EACCES ? 0 : 11;
              }),
              0);
    // Opened up, the directory and the socket let the other user connect: the endpoint itself
    // refuses the connection, and nothing reaches the handler.
    ASSERT_EQ(chmod(zxhost::bus_dir().c_str(), 0777), 0);
    ASSERT_EQ(chmod(jamvm_path().c_str(), 0777), 0);
    EXPECT_EQ(run_as_nobody([] {
                  if (call_jamvm() == ZX_OK) return 20;
                  RawFd s = raw_connect();
                  if (s.get() < 0) return 21;
                  // The endpoint may close before the frame is even sent.
                  if (!send_datagram(s.get(), datagram(call_header(1, 4), 4, true)))
                      return errno == EPIPE || errno == ECONNRESET ? 0 : 22;
                  return closed_unanswered(s.get()) ? 0 : 23;
              }),
              0);
    EXPECT_TRUE(take_records().empty()) << "no call of the other user reached the handler";
    EXPECT_EQ(zxhost::status_name(call_jamvm()), zxhost::status_name(ZX_OK)) << "our own user is still served";
    EXPECT_EQ(take_records(), handled_once());
}

}  // namespace
