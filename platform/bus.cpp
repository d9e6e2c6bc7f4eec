// Message bus of the host platform. Every endpoint is an AF_UNIX sequenced-packet socket in the
// bus directory and every message one datagram (bus_frame.h).
//
// Callers keep one connection per (thread, destination), so concurrent calls never share a socket
// and never queue behind each other; a reply echoes its call's sequence number, so the answer to a
// call that already timed out is recognised and skipped. A process endpoint (ZX_MSG_Init) is
// served by the thread that calls ZX_MSG_GetAndDispatch; the simulator's endpoints (BusService)
// serve each caller connection on a thread of its own.
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstring>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "bus_frame.h"
#include "internal.h"
#include "zx_host.h"

namespace {

using zxp::bus::FrameHeader;
using zxp::bus::Kind;

constexpr uint16_t kind_word(Kind k) { return static_cast<uint16_t>(k); }

// ---------------------------------------------------------------------------------------------
// Holders and small helpers
// ---------------------------------------------------------------------------------------------

class Fd {
public:
    Fd() = default;
    explicit Fd(int fd) : fd_(fd) {}
    Fd(Fd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Fd& operator=(Fd&& other) noexcept {
        if (this != &other) {
            reset();
            fd_ = std::exchange(other.fd_, -1);
        }
        return *this;
    }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    ~Fd() { reset(); }

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    void reset() {
        if (fd_ >= 0) ::close(fd_);
        fd_ = -1;
    }

private:
    int fd_ = -1;
};

// The moment a wait gives up, on the monotonic clock; none for a wait without limit.
class Deadline {
public:
    // A caller's time-out after ZX_TIMEOUT_SCALE; 0 waits without limit.
    static Deadline after(uint32_t timeoutMs) {
        Deadline d;
        d.ms_ = zxp::scaled_timeout_ms(timeoutMs);
        if (d.ms_) d.end_ = Clock::now() + std::chrono::milliseconds(d.ms_);
        return d;
    }
    static Deadline never() { return {}; }

    bool limited() const { return end_.has_value(); }
    // The whole wait in milliseconds, 0 without limit.
    uint32_t ms() const { return ms_; }
    // Less than a millisecond of the wait has passed.
    bool fresh() const { return !end_ || left_ms() == static_cast<int>(ms_); }

    // Time left for ppoll; nullptr without limit.
    const timespec* left(timespec& ts) const {
        if (!end_) return nullptr;
        int64_t ns = left_ns();
        ts.tv_sec = static_cast<time_t>(ns / 1000000000);
        ts.tv_nsec = static_cast<long>(ns % 1000000000);
        return &ts;
    }

    // Time left in milliseconds rounded up, for epoll_wait; -1 without limit.
    int left_ms() const {
        if (!end_) return -1;
        return static_cast<int>(std::min<int64_t>((left_ns() + 999999) / 1000000, INT_MAX));
    }

private:
    using Clock = std::chrono::steady_clock;

    int64_t left_ns() const {
        auto left = std::chrono::duration_cast<std::chrono::nanoseconds>(*end_ - Clock::now()).count();
        return std::max<int64_t>(left, 0);
    }

    uint32_t ms_ = 0;
    std::optional<Clock::time_point> end_;
};

// Endpoint names: 1 .. ZX_MSG_MAX_NAME characters, no '/'.
bool valid_name(std::string_view name) {
    return !name.empty() && name.size() <= ZX_MSG_MAX_NAME && name.find('/') == std::string_view::npos &&
           name.find('\0') == std::string_view::npos;
}

// Socket address of an endpoint in the bus directory.
struct EndpointAddress {
    sockaddr_un sun{};
    socklen_t len = 0;

    // False when the path does not fit a socket address.
    [[nodiscard]] bool set(std::string_view name) {
        const std::string& dir = zxp::env().busDir;
        size_t pathLen = dir.size() + 1 + name.size();
        if (pathLen >= sizeof sun.sun_path) return false;
        sun.sun_family = AF_UNIX;
        std::memcpy(sun.sun_path, dir.data(), dir.size());
        sun.sun_path[dir.size()] = '/';
        std::memcpy(sun.sun_path + dir.size() + 1, name.data(), name.size());
        sun.sun_path[pathLen] = '\0';
        len = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + pathLen + 1);
        return true;
    }
    const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&sun); }
    const char* path() const { return sun.sun_path; }
};

// Only processes of our own user may talk to us; pid receives the peer's process id.
bool peer_is_same_user(int fd, uint32_t* pid) {
    ucred cred{};
    socklen_t len = sizeof cred;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &cred, &len) != 0) return false;
    if (pid) *pid = static_cast<uint32_t>(cred.pid);
    return cred.uid == geteuid();
}

// A datagram must fit the socket buffer whole: make room for the largest frame. A refusal only
// leaves the system default, which already holds one largest frame, so it is not an error.
void size_buffers(int fd) {
    int size = static_cast<int>(2 * zxp::bus::kMaxFrame);
    (void)setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
    (void)setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
}

// Waits until fd is ready for `events`: 0, ETIMEDOUT or the errno of ppoll.
int wait_fd(int fd, short events, const Deadline& deadline) {
    pollfd p{fd, events, 0};
    for (;;) {
        timespec ts{};
        int n = ppoll(&p, 1, deadline.left(ts), nullptr);
        if (n > 0) return 0;
        if (n == 0) return ETIMEDOUT;
        if (errno != EINTR) return errno;
    }
}

// Frames up to this size are assembled in one buffer and sent with send(), which costs the kernel
// about a microsecond less per frame than gathering the pieces with sendmsg(); larger frames are
// gathered rather than copied twice.
constexpr size_t kAssembleLimit = sizeof(FrameHeader) + sizeof(ZX_MSG_HEAD_S) + 4096;

thread_local std::vector<uint8_t> t_sendBuffer;

// Sends one frame whole: header, routing header (calls and one-way messages) and h.dataLen bytes
// of data. 0, ETIMEDOUT when the peer's queue stayed full until the deadline, or the errno of the
// send.
int send_frame(int fd, const FrameHeader& h, const ZX_MSG_HEAD_S* head, const void* data, const Deadline& deadline) {
    const size_t headLen = head ? sizeof *head : 0;
    const size_t total = sizeof h + headLen + h.dataLen;
    iovec iov[3] = {{const_cast<FrameHeader*>(&h), sizeof h},
                    {const_cast<ZX_MSG_HEAD_S*>(head), headLen},
                    {const_cast<void*>(data), h.dataLen}};
    msghdr msg{};
    msg.msg_iov = iov;
    msg.msg_iovlen = 3;
    const bool assembled = total <= kAssembleLimit;
    if (assembled) {
        if (t_sendBuffer.size() < kAssembleLimit) t_sendBuffer.resize(kAssembleLimit);
        uint8_t* out = t_sendBuffer.data();
        for (const iovec& part : iov) {
            if (part.iov_len) std::memcpy(out, part.iov_base, part.iov_len);
            out += part.iov_len;
        }
    }
    for (;;) {
        ssize_t n = assembled ? send(fd, t_sendBuffer.data(), total, MSG_DONTWAIT | MSG_NOSIGNAL)
                              : sendmsg(fd, &msg, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (n >= 0) return 0;
        if (errno == EINTR) continue;
        if (errno != EAGAIN) return errno;
        if (int err = wait_fd(fd, POLLOUT, deadline)) return err;
    }
}

FrameHeader make_frame(Kind kind, uint32_t msgId, uint32_t mid, uint32_t dataLen) {
    FrameHeader h{};
    h.magic = zxp::bus::kMagic;
    h.version = zxp::bus::kVersion;
    h.kind = kind_word(kind);
    h.msgId = msgId;
    h.mid = mid;
    h.dataLen = dataLen;
    return h;
}

// The answer to call `call`: status and dataLen bytes at data. Waits for room on the caller's side
// until the deadline.
[[nodiscard]] bool send_reply(int fd, const FrameHeader& call, uint32_t status, const void* data, uint32_t dataLen,
                              const Deadline& deadline) {
    FrameHeader h = make_frame(Kind::Reply, call.msgId, call.mid, dataLen);
    h.seq = call.seq;
    h.status = status;
    return send_frame(fd, h, nullptr, data, deadline) == 0;
}

// Copies a name into a routing-header name field; a name that fills the field is not terminated.
void copy_name(char (&field)[ZX_MSG_PROC_NAME_LEN], const char* name) {
    std::memset(field, 0, sizeof field);
    std::memcpy(field, name, strnlen(name, sizeof field));
}

// ---------------------------------------------------------------------------------------------
// Endpoint sockets
// ---------------------------------------------------------------------------------------------

enum class Probe { Alive, Refused, Missing, Failed };

// Is somebody listening at addr? A full backlog also means a live listener.
Probe probe(const EndpointAddress& addr) {
    Fd s(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!s) return Probe::Failed;
    if (connect(s.get(), addr.get(), addr.len) == 0 || errno == EAGAIN) return Probe::Alive;
    if (errno == ECONNREFUSED) return Probe::Refused;
    if (errno == ENOENT) return Probe::Missing;
    return Probe::Failed;
}

// A listening endpoint and the identity of its socket file, so that only our own file is removed.
struct Listener {
    Fd fd;
    std::string path;
    dev_t dev = 0;
    ino_t ino = 0;

    void remove_file() const {
        struct stat st {};
        if (!path.empty() && lstat(path.c_str(), &st) == 0 && st.st_dev == dev && st.st_ino == ino)
            unlink(path.c_str());
    }
};

// Binds addr, taking over the socket file of an owner that died: ZX_OK, ZX_MSG_ERR_IN_USE or
// ZX_ERR_SYS.
[[nodiscard]] uint32_t bind_endpoint(int fd, const EndpointAddress& addr) {
    if (bind(fd, addr.get(), addr.len) == 0) return ZX_OK;
    if (errno != EADDRINUSE) return ZX_ERR_SYS;
    switch (probe(addr)) {
        case Probe::Alive: return ZX_MSG_ERR_IN_USE;
        case Probe::Failed: return ZX_ERR_SYS;
        case Probe::Refused:
        case Probe::Missing: break;
    }
    struct stat st {};
    if (lstat(addr.path(), &st) == 0 && !S_ISSOCK(st.st_mode)) return ZX_ERR_SYS;  // not ours to remove
    if (unlink(addr.path()) != 0 && errno != ENOENT) return ZX_ERR_SYS;
    return bind(fd, addr.get(), addr.len) == 0 ? ZX_OK : ZX_ERR_SYS;
}

// Creates the listening endpoint `name`: ZX_OK, ZX_MSG_ERR_IN_USE or ZX_ERR_SYS.
[[nodiscard]] uint32_t open_listener(std::string_view name, Listener& out) {
    if (zxp::ensure_bus_dir() != ZX_OK) return ZX_ERR_SYS;
    EndpointAddress addr;
    if (!addr.set(name)) {
        errno = ENAMETOOLONG;
        return ZX_ERR_SYS;
    }
    // Probing a name and taking over a stale file is one step for all processes of the bus, so two
    // processes never both take over the same file.
    Fd dir(open(zxp::env().busDir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!dir || flock(dir.get(), LOCK_EX) != 0) return ZX_ERR_SYS;

    Fd s(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    if (!s) return ZX_ERR_SYS;
    if (uint32_t st = bind_endpoint(s.get(), addr); st != ZX_OK) return st;
    // bind leaves the socket file as wide as the umask lets it; only our user may connect, and
    // nobody can before listen.
    struct stat st {};
    if (chmod(addr.path(), 0600) != 0 || listen(s.get(), SOMAXCONN) != 0 || lstat(addr.path(), &st) != 0) {
        unlink(addr.path());
        return ZX_ERR_SYS;
    }
    out.fd = std::move(s);
    out.path = addr.path();
    out.dev = st.st_dev;
    out.ino = st.st_ino;
    return ZX_OK;
}

// Connects to endpoint `name` within the deadline.
[[nodiscard]] uint32_t connect_endpoint(std::string_view name, const Deadline& deadline, Fd& out) {
    EndpointAddress addr;
    if (!valid_name(name) || !addr.set(name)) return ZX_MSG_ERR_NO_DEST;
    Fd s(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    if (!s) return ZX_MSG_ERR_TRANSPORT;
    if (deadline.limited()) {
        // connect waits while the listener's backlog is full; bound that wait by the deadline.
        // Frames are sent with MSG_DONTWAIT, so the option matters for connect only.
        timespec ts{};
        deadline.left(ts);
        timeval tv{ts.tv_sec, std::max<suseconds_t>(ts.tv_nsec / 1000, ts.tv_sec ? 0 : 1)};
        (void)setsockopt(s.get(), SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof tv);
    }
    while (connect(s.get(), addr.get(), addr.len) != 0) {
        switch (errno) {
            case EINTR: continue;
            case ENOENT:
            case ENOTDIR:
            case ECONNREFUSED: return ZX_MSG_ERR_NO_DEST;
            case EAGAIN: return ZX_MSG_ERR_TIMEOUT;
            case EACCES:
            case EPERM: return ZX_MSG_ERR_PEER;
            default: return ZX_MSG_ERR_TRANSPORT;
        }
    }
    if (!peer_is_same_user(s.get(), nullptr)) return ZX_MSG_ERR_PEER;
    size_buffers(s.get());
    out = std::move(s);
    return ZX_OK;
}

// ---------------------------------------------------------------------------------------------
// Caller side
// ---------------------------------------------------------------------------------------------

struct Connection {
    const zxp::Environment* env;  // settings (bus directory) the connection was made under
    std::string dest;
    Fd fd;
    uint64_t seq = 0;            // sequence number of the last frame sent
    uint32_t recvTimeoutMs = 0;  // SO_RCVTIMEO of the socket, 0 (the default) for none
};

// This thread's connections, closed when the thread ends.
class ConnectionCache {
public:
    Connection* find(std::string_view dest) {
        const zxp::Environment* env = &zxp::env();
        // Connections into an earlier bus directory are of no further use.
        conns_.remove_if([env](const Connection& c) { return c.env != env; });
        for (Connection& c : conns_)
            if (c.dest == dest) return &c;
        return nullptr;
    }
    Connection* add(std::string_view dest, Fd fd) {
        return &conns_.emplace_back(Connection{&zxp::env(), std::string(dest), std::move(fd)});
    }
    void drop(const Connection* c) {
        conns_.remove_if([c](const Connection& e) { return &e == c; });
    }
    void clear() { conns_.clear(); }

private:
    std::list<Connection> conns_;
};

thread_local ConnectionCache t_connections;
// Receives replies before they are known to belong to the current call; it only grows, so calls
// in a steady state allocate nothing.
thread_local std::vector<uint8_t> t_replyFrame;

bool connection_broken(int err) { return err == EPIPE || err == ECONNRESET || err == ENOTCONN || err == ECONNREFUSED; }

// Sends a call or one-way frame to dest on this thread's connection; on success `used` is the
// connection and frame.seq the sequence number sent.
[[nodiscard]] uint32_t transmit(std::string_view dest, FrameHeader& frame, const ZX_MSG_HEAD_S& head, const void* data,
                                const Deadline& deadline, Connection*& used) {
    Connection* c = t_connections.find(dest);
    bool cached = c != nullptr;
    for (;;) {
        if (!c) {
            Fd fd;
            if (uint32_t st = connect_endpoint(dest, deadline, fd); st != ZX_OK) return st;
            c = t_connections.add(dest, std::move(fd));
        }
        frame.seq = ++c->seq;
        int err = send_frame(c->fd.get(), frame, &head, data, deadline);
        if (err == 0) {
            used = c;
            return ZX_OK;
        }
        if (err == ETIMEDOUT) return ZX_MSG_ERR_TIMEOUT;
        t_connections.drop(c);
        c = nullptr;
        // The service died since this thread's last call; it may have been restarted, so try once
        // on a new connection. Nothing was delivered, so sending again is safe.
        if (!cached || !connection_broken(err)) return ZX_MSG_ERR_TRANSPORT;
        cached = false;
    }
}

// A connection that failed mid-call cannot be trusted for the next one.
uint32_t drop_with(Connection& c, uint32_t status) {
    t_connections.drop(&c);
    return status;
}

// Bounds blocking receives on c by ms (0: no bound), set only when it changes. False if refused.
bool set_receive_timeout(Connection& c, uint32_t ms) {
    if (c.recvTimeoutMs == ms) return true;
    timeval tv{static_cast<time_t>(ms / 1000), static_cast<suseconds_t>(ms % 1000) * 1000};
    if (setsockopt(c.fd.get(), SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv) != 0) return false;
    c.recvTimeoutMs = ms;
    return true;
}

// Waits for the reply to call `seq`; answers to earlier calls that timed out are skipped.
//
// The usual wait is one blocking receive bounded by the socket's receive time-out, which saves a
// poll per call. That bound stands for the deadline only while the whole time-out is still ahead
// (to the millisecond); after a late answer or a signal the waits go by the deadline itself.
[[nodiscard]] uint32_t await_reply(Connection& c, uint64_t seq, void* reply, uint32_t replyCap,
                                   const Deadline& deadline, uint32_t& replyBytes) {
    const size_t capacity = sizeof(FrameHeader) + replyCap;
    if (t_replyFrame.size() < capacity) t_replyFrame.resize(capacity);
    uint8_t* frame = t_replyFrame.data();
    FrameHeader h{};
    bool blocking = deadline.fresh() && set_receive_timeout(c, deadline.ms());
    for (;;) {
        if (!blocking) {
            int err = wait_fd(c.fd.get(), POLLIN, deadline);
            // On a time-out the connection stays: the next call skips the late answer.
            if (err == ETIMEDOUT) return ZX_MSG_ERR_TIMEOUT;
            if (err != 0) return drop_with(c, ZX_MSG_ERR_TRANSPORT);
        }
        ssize_t n = recv(c.fd.get(), frame, capacity, (blocking ? 0 : MSG_DONTWAIT) | MSG_TRUNC);
        if (n < 0 && errno == EAGAIN && blocking) return ZX_MSG_ERR_TIMEOUT;
        if (n < 0 && (errno == EAGAIN || errno == EINTR)) {
            blocking = false;
            continue;
        }
        if (n <= 0) return drop_with(c, ZX_MSG_ERR_TRANSPORT);
        switch (zxp::bus::take_reply(frame, capacity, static_cast<size_t>(n), seq, reply, replyCap, h)) {
            case zxp::bus::ReplyVerdict::Answer:
                replyBytes = h.dataLen;
                return h.status;
            case zxp::bus::ReplyVerdict::Stale:  // a late answer to a call that timed out
                blocking = false;
                continue;
            case zxp::bus::ReplyVerdict::Bad: break;
        }
        return drop_with(c, ZX_MSG_ERR_BAD_FRAME);
    }
}

// One-way message: handed to dest's endpoint, no answer.
[[nodiscard]] uint32_t send_one_way(std::string_view dest, const ZX_MSG_HEAD_S& head, uint32_t msgId, uint32_t mid,
                                    const void* data, size_t len) {
    if (len > ZX_MSG_MAX_DATA) return ZX_MSG_ERR_TOO_BIG;
    FrameHeader frame = make_frame(Kind::OneWay, msgId, mid, static_cast<uint32_t>(len));
    Connection* used = nullptr;
    uint32_t st = transmit(dest, frame, head, data, Deadline::never(), used);
    if (zxp::tap::watching()) zxp::tap::report_one_way(head, msgId, mid, data, static_cast<uint32_t>(len), st);
    return st;
}

// ---------------------------------------------------------------------------------------------
// This process's endpoint
// ---------------------------------------------------------------------------------------------

struct Endpoint {
    std::mutex initMutex;
    std::atomic<bool> ready{false};  // name, listener and epoll are set and stay unchanged
    std::string name;
    Listener listener;
    Fd epoll;
    std::array<std::atomic<ZX_MSG_PROC_FN>, ZX_MSG_MAX_MID> handlers{};

    // One dispatching thread at a time: it owns the accepted connections and the message buffer.
    std::mutex dispatchMutex;
    std::vector<Fd> callers;
    std::unique_ptr<uint8_t[]> message;  // ZX_MSG_RECV_S followed by up to ZX_MSG_MAX_DATA bytes

    // A forked child is another process: it has no endpoint until it calls ZX_MSG_Init itself.
    void forget() {
        ready.store(false);
        name.clear();
        listener = Listener{};
        epoll.reset();
        callers.clear();
    }
};

// Lives as long as the process: a message thread may still be dispatching while it exits.
Endpoint& endpoint() {
    static Endpoint* e = new Endpoint;
    return *e;
}

// How long the dispatching thread waits for room to hand an answer to a caller that does not read.
constexpr uint32_t kAnswerRoomMs = 100;

void close_caller(Endpoint& ep, int fd) {
    (void)epoll_ctl(ep.epoll.get(), EPOLL_CTL_DEL, fd, nullptr);
    std::erase_if(ep.callers, [fd](const Fd& c) { return c.get() == fd; });
}

void accept_caller(Endpoint& ep) {
    Fd c(accept4(ep.listener.fd.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!c || !peer_is_same_user(c.get(), nullptr)) return;
    size_buffers(c.get());
    epoll_event ev{};
    ev.events = EPOLLIN;
    ev.data.fd = c.get();
    if (epoll_ctl(ep.epoll.get(), EPOLL_CTL_ADD, c.get(), &ev) == 0) ep.callers.push_back(std::move(c));
}

// Receives one frame from caller connection fd and hands it to its handler. Nothing when there was
// no message (the connection may have ended or sent a frame we drop, with the connection).
std::optional<uint32_t> dispatch_from(Endpoint& ep, int fd) {
    auto* msg = reinterpret_cast<ZX_MSG_RECV_S*>(ep.message.get());
    FrameHeader h{};
    iovec iov[3] = {{&h, sizeof h}, {&msg->stHead, sizeof msg->stHead}, {msg->aucData, ZX_MSG_MAX_DATA}};
    msghdr m{};
    m.msg_iov = iov;
    m.msg_iovlen = 3;
    ssize_t n = recvmsg(fd, &m, MSG_DONTWAIT | MSG_TRUNC);
    if (n < 0 && (errno == EAGAIN || errno == EINTR)) return std::nullopt;
    if (n <= 0 || !zxp::bus::request_valid(h, static_cast<size_t>(n))) {
        close_caller(ep, fd);
        return std::nullopt;
    }
    msg->uiMsgId = h.msgId;
    msg->uiDispatchMid = h.mid;
    msg->uiDataLen = h.dataLen;
    ZX_MSG_PROC_FN fn = h.mid < ZX_MSG_MAX_MID ? ep.handlers[h.mid].load() : nullptr;
    uint32_t result = fn ? fn(msg) : ZX_MSG_ERR_NO_HANDLER;
    // A caller waiting for its answer always has room for it. One that lets answers pile up unread
    // would hold the message thread (and every other caller) if the thread waited for it: it gets
    // a moment, then loses its connection.
    if (h.kind == kind_word(Kind::Call) && !send_reply(fd, h, result, nullptr, 0, Deadline::after(kAnswerRoomMs)))
        close_caller(ep, fd);
    return result;
}

// Names handed out by ZX_MSG_GetCurProcName stay valid for the life of the process.
const char* intern(const std::string& name) {
    static std::mutex mutex;
    static auto* names = new std::set<std::string>;
    std::lock_guard<std::mutex> lock(mutex);
    return names->insert(name).first->c_str();
}

void forget_after_fork() {
    t_connections.clear();
    endpoint().forget();
}

// A forked child must not share this thread's connections with its parent: an answer would go to
// whichever process reads it first.
[[maybe_unused]] const int g_forkHandler = pthread_atfork(nullptr, nullptr, forget_after_fork);

}  // namespace

// ---------------------------------------------------------------------------------------------
// Platform functions
// ---------------------------------------------------------------------------------------------

ZX_EXPORT uint32_t ZX_MSG_Init(const char* procName, uint32_t sendQueue, uint32_t recvQueue, uint32_t flags) {
    (void)sendQueue;
    (void)recvQueue;
    (void)flags;
    if (!procName || !valid_name(procName)) return ZX_ERR_PARAM;
    if (zxp::fault_hit(zxhost::Call::MsgInit)) return ZX_ERR_SYS;
    Endpoint& ep = endpoint();
    std::lock_guard<std::mutex> lock(ep.initMutex);
    if (ep.ready.load()) return ep.name == procName ? ZX_OK : ZX_MSG_ERR_IN_USE;

    Listener listener;
    if (uint32_t st = open_listener(procName, listener); st != ZX_OK) return st;
    Fd epoll(epoll_create1(EPOLL_CLOEXEC));
    epoll_event ev{};
    ev.events = EPOLLIN;
    ev.data.fd = listener.fd.get();
    if (!epoll || epoll_ctl(epoll.get(), EPOLL_CTL_ADD, listener.fd.get(), &ev) != 0) {
        listener.remove_file();
        return ZX_ERR_SYS;
    }
    if (!ep.message) ep.message = std::make_unique<uint8_t[]>(sizeof(ZX_MSG_RECV_S) + ZX_MSG_MAX_DATA);
    ep.name = procName;
    ep.listener = std::move(listener);
    ep.epoll = std::move(epoll);
    ep.ready.store(true);
    return ZX_OK;
}

ZX_EXPORT uint32_t ZX_MSG_RegisterMID(uint32_t mid, ZX_MSG_PROC_FN fn, uint32_t flag) {
    (void)flag;
    if (mid >= ZX_MSG_MAX_MID) return ZX_ERR_PARAM;
    if (zxp::fault_hit(zxhost::Call::MsgRegisterMid)) return ZX_ERR_SYS;
    endpoint().handlers[mid].store(fn);
    return ZX_OK;
}

ZX_EXPORT uint32_t ZX_MSG_GetAndDispatch(uint32_t timeoutMs, uint32_t flags) {
    (void)flags;
    Endpoint& ep = endpoint();
    if (!ep.ready.load()) {
        // A message loop around this call must not spin while the process has no endpoint.
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        return ZX_MSG_ERR_NOT_INIT;
    }
    std::lock_guard<std::mutex> lock(ep.dispatchMutex);
    Deadline deadline = Deadline::after(timeoutMs);
    for (;;) {
        epoll_event ev{};
        int n = epoll_wait(ep.epoll.get(), &ev, 1, deadline.left_ms());
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return ZX_ERR_SYS;
        if (n == 0) return ZX_MSG_ERR_TIMEOUT;
        if (ev.data.fd == ep.listener.fd.get()) {
            accept_caller(ep);
            continue;
        }
        if (std::optional<uint32_t> result = dispatch_from(ep, ev.data.fd)) return *result;
    }
}

ZX_EXPORT const char* ZX_MSG_GetCurProcName(void) {
    Endpoint& ep = endpoint();
    if (ep.ready.load()) return ep.name.c_str();
    const std::string& fromEnv = zxp::env().procName;
    return intern(fromEnv.empty() ? std::string(program_invocation_short_name) : fromEnv);
}

ZX_EXPORT uint32_t ZX_MSG_RpcCall(void* header, uint32_t msgId, uint32_t mid, const void* req, uint32_t reqLen,
                                  void* reply, uint32_t replyLen, uint32_t timeoutMs) {
    if (!header || (!req && reqLen) || (!reply && replyLen)) return ZX_ERR_PARAM;
    if (reqLen > ZX_MSG_MAX_DATA) return ZX_MSG_ERR_TOO_BIG;
    const auto& head = *static_cast<const ZX_MSG_HEAD_S*>(header);
    // A name that fills the destination field has no terminator.
    std::string_view dest(head.acDstProcName, strnlen(head.acDstProcName, sizeof head.acDstProcName));
    uint32_t replyCap = std::min(replyLen, ZX_MSG_MAX_DATA);

    FrameHeader frame = make_frame(Kind::Call, msgId, mid, reqLen);
    frame.timeoutMs = timeoutMs;
    frame.replyCap = replyCap;
    // A monitor sees the call once it has ended; unwatched, this costs a clock read.
    const bool watched = zxp::tap::watching();
    const zxp::tap::Stamp start = watched ? zxp::tap::stamp() : zxp::tap::Stamp{};
    Deadline deadline = Deadline::after(timeoutMs);
    Connection* c = nullptr;
    uint32_t replyBytes = 0;
    uint32_t st = transmit(dest, frame, head, req, deadline, c);
    if (st == ZX_OK) st = await_reply(*c, frame.seq, reply, replyCap, deadline, replyBytes);
    if (watched)
        zxp::tap::report_call(start, head, msgId, mid, timeoutMs, replyCap, req, reqLen, reply, replyBytes, st);
    return st;
}

ZX_EXPORT uint32_t ZX_MSG_AsyncSendData(const char* dest, uint32_t msgId, const void* data, uint32_t len) {
    if (!dest || (!data && len)) return ZX_ERR_PARAM;
    ZX_MSG_HEAD_S head{};
    copy_name(head.acSrcProcName, ZX_MSG_GetCurProcName());
    copy_name(head.acDstProcName, dest);
    return send_one_way(dest, head, msgId, 0, data, len);
}

ZX_EXPORT uint32_t ZX_OS_IsProcExist_Ex(const char* procName, uint32_t* exists) {
    if (!procName || !exists) return ZX_ERR_PARAM;
    EndpointAddress addr;
    *exists = valid_name(procName) && addr.set(procName) && probe(addr) == Probe::Alive ? 1 : 0;
    return ZX_OK;
}

// ---------------------------------------------------------------------------------------------
// Host-only interface: serving endpoints, raw sends, connection cache
// ---------------------------------------------------------------------------------------------

namespace zxhost {
namespace {

struct ServiceConnection {
    Fd fd;
    uint32_t pid = 0;
    std::atomic<bool> done{false};
    std::thread thread;
};

// Serves one caller connection until it ends, sends a frame we cannot trust, or the service stops.
void serve_connection(ServiceConnection& conn, const BusHandler& handler) {
    std::vector<uint8_t> frame(zxp::bus::kMaxFrame);
    FrameHeader h{};
    BusRequest req;
    BusAnswer answer;  // reused, so a handler filling it allocates only while answers grow
    for (;;) {
        ssize_t n = recv(conn.fd.get(), frame.data(), frame.size(), MSG_TRUNC);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        if (!zxp::bus::take_request(frame.data(), frame.size(), static_cast<size_t>(n), h, req.head, req.data)) break;
        req.oneWay = h.kind == kind_word(Kind::OneWay);
        req.msgId = h.msgId;
        req.mid = h.mid;
        req.timeoutMs = req.oneWay ? 0 : h.timeoutMs;
        req.replyCap = req.oneWay ? 0 : h.replyCap;
        req.callerPid = conn.pid;
        answer.status = 0;
        answer.data.clear();
        answer.noReply = false;
        handler(req, answer);
        if (req.oneWay || answer.noReply) continue;
        auto len = static_cast<uint32_t>(std::min<size_t>({answer.data.size(), h.replyCap, ZX_MSG_MAX_DATA}));
        if (!send_reply(conn.fd.get(), h, answer.status, answer.data.data(), len, Deadline::never())) break;
    }
    // The caller sees the end now, not when the connection is reaped.
    shutdown(conn.fd.get(), SHUT_RDWR);
    conn.done.store(true);
}

}  // namespace

struct BusService::Impl {
    std::string name;
    BusHandler handler;
    Listener listener;
    Fd stopEvent;
    std::thread acceptThread;
    // Touched by the accept thread only, and by stop() once that thread has ended.
    std::list<ServiceConnection> conns;
    std::mutex stopMutex;
    bool stopped = false;

    void accept_loop() {
        pollfd fds[2] = {{listener.fd.get(), POLLIN, 0}, {stopEvent.get(), POLLIN, 0}};
        for (;;) {
            if (poll(fds, 2, -1) < 0) {
                if (errno == EINTR) continue;
                return;
            }
            if (fds[1].revents) return;
            if (!(fds[0].revents & POLLIN)) continue;
            Fd c(accept4(listener.fd.get(), nullptr, nullptr, SOCK_CLOEXEC));
            uint32_t pid = 0;
            if (!c || !peer_is_same_user(c.get(), &pid)) continue;
            size_buffers(c.get());
            reap_finished();
            ServiceConnection& conn = conns.emplace_back();
            conn.fd = std::move(c);
            conn.pid = pid;
            conn.thread = std::thread([this, &conn] { serve_connection(conn, handler); });
        }
    }

    void reap_finished() {
        for (auto it = conns.begin(); it != conns.end();) {
            if (!it->done.load()) {
                ++it;
                continue;
            }
            it->thread.join();
            it = conns.erase(it);
        }
    }
};

uint32_t BusService::start(const std::string& name, BusHandler handler, std::unique_ptr<BusService>& out) {
    if (!valid_name(name) || !handler) return ZX_ERR_PARAM;
    auto impl = std::make_unique<Impl>();
    impl->name = name;
    impl->handler = std::move(handler);
    impl->stopEvent = Fd(eventfd(0, EFD_CLOEXEC));
    if (!impl->stopEvent) return ZX_ERR_SYS;
    if (uint32_t st = open_listener(name, impl->listener); st != ZX_OK) return st;
    Impl* raw = impl.get();
    out = std::make_unique<BusService>(std::move(impl));
    raw->acceptThread = std::thread([raw] { raw->accept_loop(); });
    return ZX_OK;
}

BusService::BusService(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

BusService::~BusService() { stop(); }

void BusService::stop() {
    if (!impl_) return;
    Impl& s = *impl_;
    std::lock_guard<std::mutex> lock(s.stopMutex);
    if (s.stopped) return;
    s.stopped = true;
    (void)eventfd_write(s.stopEvent.get(), 1);
    if (s.acceptThread.joinable()) s.acceptThread.join();
    // Wakes every connection thread from recv (or from a reply the caller does not take).
    for (ServiceConnection& c : s.conns) shutdown(c.fd.get(), SHUT_RDWR);
    for (ServiceConnection& c : s.conns) c.thread.join();
    s.conns.clear();
    s.listener.remove_file();
    s.listener.fd.reset();
}

const std::string& BusService::name() const { return impl_->name; }

uint32_t send_raw(const std::string& dest, const ZX_MSG_HEAD_S& head, uint32_t msgId, uint32_t mid,
                  std::span<const uint8_t> data) {
    return send_one_way(dest, head, msgId, mid, data.data(), data.size());
}

void drop_thread_connections() { t_connections.clear(); }

}  // namespace zxhost
