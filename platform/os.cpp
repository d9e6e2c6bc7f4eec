// Operating-system layer: files under the gateway root, select over large descriptor numbers,
// local time, threads, a small futex mutex, System V shared memory, system load and addresses.
#include <arpa/inet.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <linux/futex.h>
#include <netpacket/packet.h>
#include <poll.h>
#include <pthread.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "internal.h"
#include "zx_host.h"

namespace {

bool has_prefix(const std::string& s, const char* prefix) { return s.rfind(prefix, 0) == 0; }

// A gateway path with its ".." steps taken lexically, never above "/" (as on the gateway, where
// "/.." is "/"), so that a path cannot climb out of the gateway root.
std::string without_dot_dot(const std::string& p) {
    std::vector<std::string> steps;
    size_t start = 1;
    while (start <= p.size()) {
        size_t end = p.find('/', start);
        if (end == std::string::npos) end = p.size();
        std::string step = p.substr(start, end - start);
        if (step == "..") {
            if (!steps.empty()) steps.pop_back();
        } else if (!step.empty() && step != ".") {
            steps.push_back(step);
        }
        start = end + 1;
    }
    std::string out;
    for (const std::string& step : steps) out += "/" + step;
    if (out.empty() || p.back() == '/') out += '/';
    return out;
}

bool has_dot_dot(const std::string& p) {
    for (size_t at = p.find(".."); at != std::string::npos; at = p.find("..", at + 1))
        if (p[at - 1] == '/' && (at + 2 == p.size() || p[at + 2] == '/')) return true;
    return false;
}

}  // namespace

// The path the host really uses for a gateway path (see zx_os.h).
std::string zxp::resolve_gateway_path(const std::string& path) {
    std::string p = path;
    const std::string& root = zxp::gateway_root();
    if (root.empty() || p.empty() || p[0] != '/') return p;
    if (has_dot_dot(p)) p = without_dot_dot(p);
    for (const char* sys : {"/dev", "/proc", "/sys"}) {
        size_t n = std::strlen(sys);
        if (p.compare(0, n, sys) == 0 && (p.size() == n || p[n] == '/')) return p;
    }
    if (has_prefix(p, root.c_str()) && (p.size() == root.size() || p[root.size()] == '/')) return p;
    return root + p;
}

// ---------------------------------------------------------------------------------------------
// Files
// ---------------------------------------------------------------------------------------------

ZX_EXPORT uint32_t ZX_OS_ResolvePath(const char* path, char* out, uint32_t outSize) {
    if (!path || !out || outSize == 0) return ZX_ERR_PARAM;
    std::string r = zxp::resolve_gateway_path(path);
    if (r.size() + 1 > outSize) {
        out[0] = '\0';
        return ZX_ERR_NOSPACE;
    }
    std::memcpy(out, r.c_str(), r.size() + 1);
    return ZX_OK;
}

ZX_EXPORT int32_t ZX_OS_Open(const char* path, int32_t flags, int32_t mode) {
    if (!path) {
        errno = EINVAL;
        return -1;
    }
    if (zxp::fault_hit(zxhost::Call::Open)) return -1;
    return ::open(zxp::resolve_gateway_path(path).c_str(), flags | O_CLOEXEC, static_cast<mode_t>(mode));
}

ZX_EXPORT int32_t ZX_OS_Read(int32_t fd, void* buf, uint32_t len) {
    if (!buf && len > 0) {
        errno = EINVAL;
        return -1;
    }
    if (zxp::fault_hit(zxhost::Call::Read)) return -1;
    if (len > 0x7FFFFFFFu) len = 0x7FFFFFFFu;
    return static_cast<int32_t>(::read(fd, buf, len));
}

ZX_EXPORT int32_t ZX_OS_Write(int32_t fd, const void* buf, uint32_t len) {
    if (!buf && len > 0) {
        errno = EINVAL;
        return -1;
    }
    if (zxp::fault_hit(zxhost::Call::Write)) return -1;
    if (len > 0x7FFFFFFFu) len = 0x7FFFFFFFu;
    return static_cast<int32_t>(::write(fd, buf, len));
}

ZX_EXPORT int32_t ZX_OS_Close(int32_t fd) { return ::close(fd); }

ZX_EXPORT FILE* ZX_OS_Fopen(const char* path, const char* mode) {
    if (!path || !mode) {
        errno = EINVAL;
        return nullptr;
    }
    if (zxp::fault_hit(zxhost::Call::Fopen)) return nullptr;
    // The gateway's C library takes "t" for text mode; here every file is text.
    std::string m;
    for (const char* c = mode; *c; ++c)
        if (*c != 't') m += *c;
    m += 'e';
    return std::fopen(zxp::resolve_gateway_path(path).c_str(), m.c_str());
}

ZX_EXPORT int32_t ZX_OS_Fclose(FILE* fp) { return fp ? std::fclose(fp) : EOF; }

ZX_EXPORT int32_t ZX_OS_Fputs(const char* text, FILE* fp) {
    if (!text || !fp) return EOF;
    if (zxp::fault_hit(zxhost::Call::Fputs)) return EOF;
    return std::fputs(text, fp);
}

ZX_EXPORT char* ZX_OS_Fgets(char* buf, int32_t size, FILE* fp) {
    if (!buf || size <= 0 || !fp) return nullptr;
    return std::fgets(buf, size, fp);
}

// ---------------------------------------------------------------------------------------------
// select
// ---------------------------------------------------------------------------------------------

ZX_EXPORT void ZX_OS_FdZero(ZX_FD_SET* set) {
    if (set) std::memset(set, 0, sizeof *set);
}

ZX_EXPORT int32_t ZX_OS_FdSet(int32_t fd, ZX_FD_SET* set) {
    if (!set || fd < 0 || fd >= ZX_FD_SETSIZE) return -1;
    set->bits[fd / 64] |= uint64_t{1} << (fd % 64);
    return 0;
}

ZX_EXPORT int32_t ZX_OS_FdIsSet(int32_t fd, const ZX_FD_SET* set) {
    if (!set || fd < 0 || fd >= ZX_FD_SETSIZE) return 0;
    return (set->bits[fd / 64] >> (fd % 64)) & 1 ? 1 : 0;
}

ZX_EXPORT int32_t ZX_OS_Select(int32_t maxFdPlus1, ZX_FD_SET* readSet, ZX_FD_SET* writeSet, ZX_FD_SET* exceptSet,
                               ZX_TIMEVAL* timeout) {
    if (maxFdPlus1 < 0 || maxFdPlus1 > ZX_FD_SETSIZE ||
        (timeout && (timeout->tv_sec < 0 || timeout->tv_usec < 0 || timeout->tv_usec >= 1000000))) {
        errno = EINVAL;
        return -1;
    }
    if (zxp::fault_hit(zxhost::Call::Select)) return -1;
    std::vector<pollfd> fds;
    ZX_FD_SET* sets[3] = {readSet, writeSet, exceptSet};
    const short events[3] = {POLLIN, POLLOUT, POLLPRI};
    for (int fd = 0; fd < maxFdPlus1; ++fd) {
        short ev = 0;
        for (int k = 0; k < 3; ++k)
            if (ZX_OS_FdIsSet(fd, sets[k])) ev |= events[k];
        if (ev) fds.push_back(pollfd{fd, ev, 0});
    }
    int ms = -1;
    if (timeout) {
        int64_t total = timeout->tv_sec * 1000 + (timeout->tv_usec + 999) / 1000;
        ms = total > 0x7FFFFFFF ? 0x7FFFFFFF : static_cast<int>(total);
    }
    int n;
    do {
        n = ::poll(fds.data(), fds.size(), ms);
    } while (n < 0 && errno == EINTR && ms < 0);
    if (n < 0) return -1;
    for (const pollfd& p : fds)
        if (p.revents & POLLNVAL) {
            errno = EBADF;
            return -1;
        }
    for (ZX_FD_SET* s : sets) ZX_OS_FdZero(s);
    int ready = 0;
    for (const pollfd& p : fds) {
        bool r = (p.events & POLLIN) && (p.revents & (POLLIN | POLLHUP | POLLERR));
        bool w = (p.events & POLLOUT) && (p.revents & (POLLOUT | POLLERR));
        bool x = (p.events & POLLPRI) && (p.revents & POLLPRI);
        if (r) ZX_OS_FdSet(p.fd, readSet);
        if (w) ZX_OS_FdSet(p.fd, writeSet);
        if (x) ZX_OS_FdSet(p.fd, exceptSet);
        ready += r + w + x;
    }
    return ready;
}

// ---------------------------------------------------------------------------------------------
// Time, threads, mutexes
// ---------------------------------------------------------------------------------------------

ZX_EXPORT uint32_t ZX_OS_GetLocalTime(ZX_OS_TM* out) {
    if (!out) return ZX_ERR_PARAM;
    if (zxp::fault_hit(zxhost::Call::LocalTime)) return ZX_ERR_SYS;
    time_t now = std::time(nullptr);
    struct tm tm {};
    if (now == static_cast<time_t>(-1) || !localtime_r(&now, &tm)) return ZX_ERR_SYS;
    *out = ZX_OS_TM{tm.tm_sec,  tm.tm_min,  tm.tm_hour, tm.tm_mday, tm.tm_mon,
                    tm.tm_year, tm.tm_wday, tm.tm_yday, tm.tm_isdst};
    return ZX_OK;
}

ZX_EXPORT uint32_t ZX_OS_PthreadCreate(ZX_THREAD_ID* tid, const void* attr, ZX_THREAD_FN fn, void* arg) {
    if (!fn || attr) return ZX_ERR_PARAM;
    if (zxp::fault_hit(zxhost::Call::PthreadCreate)) return ZX_ERR_SYS;
    pthread_attr_t a;
    pthread_attr_init(&a);
    pthread_attr_setdetachstate(&a, PTHREAD_CREATE_DETACHED);
    pthread_t t;
    int rc = pthread_create(&t, &a, fn, arg);
    pthread_attr_destroy(&a);
    if (rc != 0) {
        errno = rc;
        return ZX_ERR_SYS;
    }
    if (tid) *tid = static_cast<ZX_THREAD_ID>(t);
    return ZX_OK;
}

ZX_EXPORT uint32_t ZX_OS_ModifyThreadName(const char* name) {
    if (!name) return ZX_ERR_PARAM;
    char shortName[16];
    ZX_OS_StrNCpy_S(shortName, sizeof shortName, name, 15);
    int rc = pthread_setname_np(pthread_self(), shortName);
    if (rc != 0) {
        errno = rc;
        return ZX_ERR_SYS;
    }
    return ZX_OK;
}

static_assert(sizeof(ZX_MUTEX) == 24, "the platform mutex object is 24 bytes");

namespace {

// A three-state futex mutex: 0 free, 1 locked, 2 locked with waiters.
long futex(uint32_t* word, int op, uint32_t val) {
    return syscall(SYS_futex, word, op | FUTEX_PRIVATE_FLAG, val, nullptr, nullptr, 0);
}

}  // namespace

ZX_EXPORT uint32_t ZX_OS_MutexInit(ZX_MUTEX* m) {
    if (!m) return ZX_ERR_PARAM;
    if (zxp::fault_hit(zxhost::Call::MutexInit)) return ZX_ERR_SYS;
    std::memset(m, 0, sizeof *m);
    return ZX_OK;
}

ZX_EXPORT uint32_t ZX_OS_MutexLock(ZX_MUTEX* m) {
    if (!m) return ZX_ERR_PARAM;
    if (zxp::fault_hit(zxhost::Call::MutexLock)) return ZX_ERR_SYS;
    std::atomic_ref<uint32_t> state(m->uiState);
    uint32_t c = 0;
    if (state.compare_exchange_strong(c, 1, std::memory_order_acquire)) return ZX_OK;
    if (c != 2) c = state.exchange(2, std::memory_order_acquire);
    while (c != 0) {
        futex(&m->uiState, FUTEX_WAIT, 2);
        c = state.exchange(2, std::memory_order_acquire);
    }
    return ZX_OK;
}

ZX_EXPORT uint32_t ZX_OS_MutexUnLock(ZX_MUTEX* m) {
    if (!m) return ZX_ERR_PARAM;
    if (zxp::fault_hit(zxhost::Call::MutexUnlock)) return ZX_ERR_SYS;
    std::atomic_ref<uint32_t> state(m->uiState);
    if (state.fetch_sub(1, std::memory_order_release) != 1) {
        state.store(0, std::memory_order_release);
        futex(&m->uiState, FUTEX_WAKE, 1);
    }
    return ZX_OK;
}

// ---------------------------------------------------------------------------------------------
// System V shared memory
// ---------------------------------------------------------------------------------------------

ZX_EXPORT int32_t ZX_OS_ShmGet(uint32_t key, uint32_t size, int32_t flags) {
    if (zxp::fault_hit(zxhost::Call::ShmGet)) return -1;
    return ::shmget(static_cast<key_t>(key), size, flags);
}

ZX_EXPORT void* ZX_OS_ShmAt(int32_t id, const void* addr, int32_t flags) {
    if (zxp::fault_hit(zxhost::Call::ShmAt)) return nullptr;
    void* p = ::shmat(id, addr, flags);
    return p == reinterpret_cast<void*>(-1) ? nullptr : p;
}

ZX_EXPORT int32_t ZX_OS_ShmDt(const void* addr) {
    if (!addr) {
        errno = EINVAL;
        return -1;
    }
    if (zxp::fault_hit(zxhost::Call::ShmDt)) return -1;
    return ::shmdt(addr);
}

ZX_EXPORT int32_t ZX_OS_ShmCtl(int32_t id, int32_t cmd, void* buf) {
    if (zxp::fault_hit(zxhost::Call::ShmCtl)) return -1;
    return ::shmctl(id, cmd, static_cast<struct shmid_ds*>(buf));
}

// ---------------------------------------------------------------------------------------------
// System load
// ---------------------------------------------------------------------------------------------

namespace {

struct CpuTimes {
    uint64_t busy = 0;
    uint64_t total = 0;
};

bool read_cpu_times(CpuTimes& out) {
    std::ifstream in(zxp::env().procDir + "/stat");
    std::string label;
    if (!(in >> label) || label != "cpu") return false;
    uint64_t v[10] = {};
    int n = 0;
    while (n < 10 && in >> v[n]) ++n;
    if (n < 4) return false;
    uint64_t total = 0;
    for (int i = 0; i < n && i < 8; ++i) total += v[i];  // guest times are already in user and nice
    uint64_t idle = v[3] + (n > 4 ? v[4] : 0);
    out.total = total;
    out.busy = total - idle;
    return true;
}

std::mutex g_cpuMutex;
CpuTimes g_lastCpu;
bool g_haveLastCpu = false;

}  // namespace

ZX_EXPORT uint32_t ZX_OS_GetCPUBusyRateByTime(uint32_t timeUnits, uint32_t* percent) {
    if (!percent) return ZX_ERR_PARAM;
    CpuTimes first, second;
    if (timeUnits == 0) {
        std::lock_guard<std::mutex> lock(g_cpuMutex);
        if (!read_cpu_times(second)) return ZX_ERR_SYS;
        first = g_haveLastCpu ? g_lastCpu : CpuTimes{};
    } else {
        if (!read_cpu_times(first)) return ZX_ERR_SYS;
        std::this_thread::sleep_for(std::chrono::milliseconds(timeUnits));
        if (!read_cpu_times(second)) return ZX_ERR_SYS;
    }
    {
        std::lock_guard<std::mutex> lock(g_cpuMutex);
        g_lastCpu = second;
        g_haveLastCpu = true;
    }
    uint64_t dTotal = second.total > first.total ? second.total - first.total : 0;
    uint64_t dBusy = second.busy > first.busy ? second.busy - first.busy : 0;
    uint64_t p = dTotal ? (dBusy * 100 + dTotal / 2) / dTotal : 0;
    *percent = static_cast<uint32_t>(p > 100 ? 100 : p);
    return ZX_OK;
}

ZX_EXPORT uint32_t ZX_OS_GetMemUseRate(uint32_t* percent) {
    if (!percent) return ZX_ERR_PARAM;
    std::ifstream in(zxp::env().procDir + "/meminfo");
    if (!in) return ZX_ERR_SYS;
    uint64_t total = 0, available = 0, freeMem = 0, buffers = 0, cached = 0;
    bool haveAvailable = false;
    std::string key;
    uint64_t value;
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream ls(line);
        if (!(ls >> key >> value)) continue;
        if (key == "MemTotal:")
            total = value;
        else if (key == "MemAvailable:")
            available = value, haveAvailable = true;
        else if (key == "MemFree:")
            freeMem = value;
        else if (key == "Buffers:")
            buffers = value;
        else if (key == "Cached:")
            cached = value;
    }
    if (!haveAvailable) available = freeMem + buffers + cached;
    if (total == 0 || available > total) return ZX_ERR_SYS;
    *percent = static_cast<uint32_t>(((total - available) * 100 + total / 2) / total);
    return ZX_OK;
}

// ---------------------------------------------------------------------------------------------
// Addresses
// ---------------------------------------------------------------------------------------------

ZX_EXPORT uint32_t ZX_OS_GetIfIpAndMac(const char* ifName, uint32_t* ip, uint8_t mac[6]) {
    if (!ifName || !ip) return ZX_ERR_PARAM;
    if (zxp::fault_hit(zxhost::Call::IfIpAndMac)) return ZX_ERR_SYS;
    std::string host = zxp::map_interface(ifName);
    struct ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) return ZX_ERR_SYS;
    bool found = false;
    uint32_t addr = 0;
    uint8_t hw[6] = {};
    for (struct ifaddrs* a = list; a; a = a->ifa_next) {
        if (!a->ifa_name || host != a->ifa_name || !a->ifa_addr) continue;
        if (a->ifa_addr->sa_family == AF_INET && !found) {
            addr = reinterpret_cast<const sockaddr_in*>(a->ifa_addr)->sin_addr.s_addr;
            found = true;
        } else if (a->ifa_addr->sa_family == AF_PACKET) {
            const auto* ll = reinterpret_cast<const sockaddr_ll*>(a->ifa_addr);
            if (ll->sll_halen == 6) std::memcpy(hw, ll->sll_addr, 6);
        }
    }
    freeifaddrs(list);
    if (!found) return ZX_ERR_NOT_FOUND;
    *ip = addr;
    if (mac) std::memcpy(mac, hw, 6);
    return ZX_OK;
}

ZX_EXPORT uint32_t ZX_OS_IpAddrToStr(uint32_t hostOrderIp, char* out, uint32_t outSize) {
    if (!out || outSize == 0) return ZX_ERR_PARAM;
    int32_t want = std::snprintf(nullptr, 0, "%u.%u.%u.%u", hostOrderIp >> 24, (hostOrderIp >> 16) & 0xFF,
                                 (hostOrderIp >> 8) & 0xFF, hostOrderIp & 0xFF);
    int32_t n = ZX_OS_Snprintf_S(out, outSize, outSize - 1, "%u.%u.%u.%u", hostOrderIp >> 24,
                                 (hostOrderIp >> 16) & 0xFF, (hostOrderIp >> 8) & 0xFF, hostOrderIp & 0xFF);
    return n == want ? ZX_OK : ZX_ERR_CUT;
}

ZX_EXPORT uint32_t ZX_OS_IsValidIpAddress(const char* text) {
    if (!text) return 0;
    in_addr a{};
    return inet_pton(AF_INET, text, &a) == 1 ? 1 : 0;
}
