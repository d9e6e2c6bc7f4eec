// The bus monitor's tap: reports of calls, one-way messages and block writes to a monitor watching
// the bus directory (host/zx_bus_monitor.h says what and how).
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <string>

#include "internal.h"
#include "zx_bus_monitor.h"
#include "zx_host.h"

namespace zxp::tap {
namespace {

namespace mon = zxhost::monitor;

constexpr int64_t kCheckNs = int64_t{ZX_BUS_MONITOR_CHECK_MS} * 1000000;

// The next moment a caller looks for the monitor again, and what it found the last time.
std::atomic<int64_t> g_nextCheckNs{0};
std::atomic<bool> g_watched{false};
std::atomic<uint32_t> g_dropped{0};
std::atomic<uint64_t> g_sent{0};
std::atomic<uint64_t> g_droppedTotal{0};

// The socket reports leave by, made when a monitor is first seen and kept for the life of the
// process; a new monitor is reached by connecting it again, so no thread ever sends on a closed
// descriptor.
std::mutex g_checkMutex;
std::atomic<int> g_fd{-1};
std::string g_path;
dev_t g_dev = 0;
ino_t g_ino = 0;

int64_t mono_ns() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return int64_t{ts.tv_sec} * 1000000000 + ts.tv_nsec;
}

// Looks for the monitor's socket: there, a socket, ours. Connects the report socket to it.
bool look(int64_t now) {
    std::unique_lock<std::mutex> lock(g_checkMutex, std::try_to_lock);
    if (!lock.owns_lock()) return g_watched.load(std::memory_order_relaxed);  // another thread looks
    g_nextCheckNs.store(now + kCheckNs, std::memory_order_relaxed);
    const std::string path = zxp::env().busDir + "/" ZX_BUS_MONITOR_NAME;
    struct stat st {};
    if (lstat(path.c_str(), &st) != 0 || !S_ISSOCK(st.st_mode) || st.st_uid != geteuid()) {
        g_watched.store(false, std::memory_order_relaxed);
        return false;
    }
    if (g_watched.load(std::memory_order_relaxed) && path == g_path && st.st_dev == g_dev && st.st_ino == g_ino)
        return true;
    sockaddr_un sun{};
    if (path.size() >= sizeof sun.sun_path) return false;
    if (g_fd.load() < 0) {
        int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        if (fd < 0) return false;
        int size = 256 * 1024;
        (void)setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
        g_fd.store(fd);
    }
    sun.sun_family = AF_UNIX;
    std::memcpy(sun.sun_path, path.c_str(), path.size() + 1);
    bool ok = connect(g_fd.load(), reinterpret_cast<const sockaddr*>(&sun), sizeof sun) == 0;
    g_path = path;
    g_dev = st.st_dev;
    g_ino = st.st_ino;
    g_watched.store(ok, std::memory_order_relaxed);
    return ok;
}

uint64_t real_us() {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000000 + static_cast<uint64_t>(ts.tv_nsec) / 1000;
}

void send_report(mon::Report& r, const void* a, uint32_t aLen, const void* b, uint32_t bLen) {
    r.magic = mon::kMagic;
    r.version = mon::kVersion;
    r.pid = static_cast<uint32_t>(getpid());
    r.tid = static_cast<uint32_t>(gettid());
    r.reqShown = a ? std::min(aLen, mon::kMaxShown) : 0;
    r.replyShown = b ? std::min(bLen, mon::kMaxShown) : 0;
    r.dropped = g_dropped.exchange(0, std::memory_order_relaxed);
    iovec iov[3] = {{&r, sizeof r}, {const_cast<void*>(a), r.reqShown}, {const_cast<void*>(b), r.replyShown}};
    msghdr m{};
    m.msg_iov = iov;
    m.msg_iovlen = 3;
    ssize_t n;
    do {
        n = sendmsg(g_fd.load(std::memory_order_relaxed), &m, MSG_DONTWAIT | MSG_NOSIGNAL);
    } while (n < 0 && errno == EINTR);
    if (n >= 0) {
        g_sent.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    g_dropped.fetch_add(r.dropped + 1, std::memory_order_relaxed);
    g_droppedTotal.fetch_add(1, std::memory_order_relaxed);
    // The monitor went away: look again at the next check, not on every call.
    if (errno == ECONNREFUSED || errno == ENOENT || errno == ENOTCONN) g_watched.store(false, std::memory_order_relaxed);
}

}  // namespace

bool watching() {
    int64_t now = mono_ns();
    if (now < g_nextCheckNs.load(std::memory_order_relaxed)) return g_watched.load(std::memory_order_relaxed);
    return look(now);
}

Stamp stamp() { return Stamp{real_us(), mono_ns()}; }

void report_call(const Stamp& start, const ZX_MSG_HEAD_S& head, uint32_t msgId, uint32_t mid, uint32_t timeoutMs,
                 uint32_t replyCap, const void* req, uint32_t reqLen, const void* reply, uint32_t replyLen,
                 uint32_t status) {
    if (!g_watched.load(std::memory_order_relaxed)) return;
    mon::Report r{};
    r.kind = static_cast<uint16_t>(mon::ReportKind::Call);
    r.timeUs = start.realUs;
    r.msgId = msgId;
    r.mid = mid;
    r.status = status;
    r.durationUs = static_cast<uint32_t>(std::max<int64_t>((mono_ns() - start.monoNs) / 1000, 0));
    r.timeoutMs = timeoutMs;
    r.replyCap = replyCap;
    r.reqLen = reqLen;
    r.replyLen = replyLen;
    r.head = head;
    send_report(r, req, reqLen, reply, replyLen);
}

void report_one_way(const ZX_MSG_HEAD_S& head, uint32_t msgId, uint32_t mid, const void* data, uint32_t len,
                    uint32_t status) {
    if (!g_watched.load(std::memory_order_relaxed)) return;
    mon::Report r{};
    r.kind = static_cast<uint16_t>(mon::ReportKind::OneWay);
    r.timeUs = real_us();
    r.msgId = msgId;
    r.mid = mid;
    r.status = status;
    r.reqLen = len;
    r.head = head;
    send_report(r, data, len, nullptr, 0);
}

void report_block(uint32_t id, const void* data, uint32_t len) {
    if (!watching()) return;
    mon::Report r{};
    r.kind = static_cast<uint16_t>(mon::ReportKind::Block);
    r.timeUs = real_us();
    r.blockId = id;
    r.reqLen = len;
    send_report(r, data, len, nullptr, 0);
}

}  // namespace zxp::tap

namespace zxhost::monitor {

uint64_t reports_sent() { return zxp::tap::g_sent.load(); }
uint64_t reports_dropped() { return zxp::tap::g_droppedTotal.load(); }

}  // namespace zxhost::monitor
