// zxmon: the live bus monitor. Watches a bus directory and prints one line per call, one-way
// message and event as it happens, decoded by the wire catalogue.
//
//   zxmon [--bus DIR] [--service NAME]... [--command NAME]... [--json] [--count N]
//   zxmon --help
//
// It binds the reserved datagram socket <bus dir>/.monitor (zx_bus_monitor.h); the processes of
// the bus find it within ZX_BUS_MONITOR_CHECK_MS and report every call to it. The line "zxmon:
// watching DIR" on standard error says that they do. Exit status: 0 (after --count lines, or on
// SIGINT/SIGTERM), 1 when the socket cannot be made (another monitor watches), 2 for a usage error.
#include <arpa/inet.h>
#include <json-c/json.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "../sim/sim_status.h"
#include "zx_bus_monitor.h"
#include "zx_host.h"
#include "zx_platform.h"
#include "zx_wire.h"
#include "zx_wire_catalog.h"
#include "decode/wire_decode.h"

namespace {

namespace mon = zxhost::monitor;
using zxwire::Body;
using zxwire::Blocks;
using zxwire::Bytes;
using zxwire::decode_body;
using zxwire::hex;
using zxwire::printable;

constexpr int kUsage = 2;

void usage(FILE* out) {
    std::fputs(
        "usage: zxmon [--bus DIR] [--service NAME]... [--command NAME]... [--json] [--count N]\n"
        "       zxmon --help\n"
        "Prints one line per call, one-way message and event on the bus as it happens: time,\n"
        "caller and pid, destination, command by name and id, the request decoded by the wire\n"
        "catalogue (shared-block payloads decompressed and decoded), the status by name, the\n"
        "reply decoded, the duration.\n"
        "  --bus DIR       the bus directory (default: ZX_BUS_DIR, else the per-user default)\n"
        "  --service NAME  only calls to this endpoint (app_m, tarn, eventcenter, ...); repeatable\n"
        "  --command NAME  only this command: its full or short name (get-loid), or a part of it\n"
        "                  (every command holding the part); repeatable\n"
        "  --json          one JSON object per line\n"
        "  --count N       exit after N lines\n"
        "  -h, --help      print this help and exit\n"
        "\"zxmon: watching DIR\" on standard error once the processes of the bus report to it.\n"
        "Exit status: 0 done, 1 cannot watch (another monitor watches), 2 usage error.\n",
        out);
}

struct JsonPut {
    void operator()(json_object* obj) const { json_object_put(obj); }
};
using JsonPtr = std::unique_ptr<json_object, JsonPut>;

volatile sig_atomic_t g_stop = 0;
void on_signal(int) { g_stop = 1; }

// ---------------------------------------------------------------------------------------------
// Reports in, lines out
// ---------------------------------------------------------------------------------------------

struct Options {
    std::string busDir;
    std::set<std::string> services;
    std::vector<std::string> commandNames;
    std::set<const zxwire::Command*> commands;
    bool json = false;
    long count = -1;
};

// A status by name: the platform's, else the simulated services' own (sim/sim_status.h), else hex.
std::string status_text(uint32_t status) {
#define ZXMON_SIM(code) {code, #code}
    static const struct {
        uint32_t code;
        const char* name;
    } kSim[] = {ZXMON_SIM(ZX_SIM_ERR_UNKNOWN_MSG), ZXMON_SIM(ZX_SIM_ERR_BAD_REQUEST), ZXMON_SIM(ZX_SIM_WLAN_NO_RADIO),
                ZXMON_SIM(ZX_SIM_WLAN_BAD_VALUE),  ZXMON_SIM(ZX_SIM_WLAN_NO_SSID),    ZXMON_SIM(ZX_SIM_LAN_NO_HOST),
                ZXMON_SIM(ZX_SIM_LAN_BAD_VALUE),   ZXMON_SIM(ZX_SIM_NAT_EXISTS),      ZXMON_SIM(ZX_SIM_NAT_MISSING),
                ZXMON_SIM(ZX_SIM_FWD_NOT_INIT),    ZXMON_SIM(ZX_SIM_DISC_UNKNOWN),    ZXMON_SIM(ZX_SIM_DISC_BAD_NAME),
                ZXMON_SIM(ZX_SIM_DISC_BAD_REQUEST), ZXMON_SIM(ZX_SIM_SCAN_OFF),       ZXMON_SIM(ZX_SIM_SCAN_BAD_TYPE),
                ZXMON_SIM(ZX_SIM_PERM_NO_SEGMENT), ZXMON_SIM(ZX_SIM_PERM_TOO_LARGE),  ZXMON_SIM(ZX_SIM_VOICE_NO_LINE),
                ZXMON_SIM(ZX_SIM_VOICE_BAD_STATE)};
#undef ZXMON_SIM
    std::string name = zxhost::status_name(status);
    if (!name.starts_with("0x")) return name;
    for (const auto& s : kSim)
        if (s.code == status) return s.name;
    return name;
}

std::string name_field(const char (&f)[ZX_MSG_PROC_NAME_LEN]) {
    const size_t n = strnlen(f, sizeof f);
    const auto* p = reinterpret_cast<const uint8_t*>(f);
    return printable(p, n) ? std::string(f, n) : "hex:" + hex(p, n);
}

std::string clock_text(uint64_t us) {
    time_t s = static_cast<time_t>(us / 1000000);
    tm t{};
    localtime_r(&s, &t);
    char b[32];
    std::snprintf(b, sizeof b, "%02d:%02d:%02d.%06u", t.tm_hour, t.tm_min, t.tm_sec, static_cast<unsigned>(us % 1000000));
    return b;
}

const char* plain(json_object* o) {
    return json_object_to_json_string_ext(o, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
}

// Prints the line of one report; false when the filters leave it out.
bool print_report(const mon::Report& r, const uint8_t* req, const uint8_t* reply, const Options& opt, Blocks& blocks) {
    const std::string caller = name_field(r.head.acSrcProcName);
    const std::string dest = name_field(r.head.acDstProcName);
    const bool oneWay = r.kind == static_cast<uint16_t>(mon::ReportKind::OneWay);
    if (!opt.services.empty() && !opt.services.count(dest)) return false;
    const zxwire::Command* c = zxwire::find(dest, r.msgId);
    if (!opt.commandNames.empty() && !opt.commands.count(c)) return false;

    char idText[16];
    std::snprintf(idText, sizeof idText, "0x%08X", r.msgId);
    JsonPtr request(c ? decode_body(c->request, c->requestRecord, c->requestBlockRecord, req, r.reqShown, blocks)
                      : (r.reqShown ? json_object_new_string(("hex:" + hex(req, r.reqShown)).c_str()) : nullptr));
    JsonPtr answer;
    if (!oneWay && r.replyShown)
        answer.reset(c ? decode_body(c->reply, c->replyRecord, c->replyBlockRecord, reply, r.replyShown, blocks)
                       : json_object_new_string(("hex:" + hex(reply, r.replyShown)).c_str()));
    const std::string status = status_text(r.status);
    const char* kind = c ? zxwire::kind_name(c->kind) : (oneWay ? "notice" : "call");

    if (opt.json) {
        JsonPtr o(json_object_new_object());
        json_object_object_add(o.get(), "time", json_object_new_string(clock_text(r.timeUs).c_str()));
        json_object_object_add(o.get(), "timeUs", json_object_new_uint64(r.timeUs));
        json_object_object_add(o.get(), "caller", json_object_new_string(caller.c_str()));
        json_object_object_add(o.get(), "pid", json_object_new_int64(r.pid));
        json_object_object_add(o.get(), "dest", json_object_new_string(dest.c_str()));
        json_object_object_add(o.get(), "kind", json_object_new_string(kind));
        json_object_object_add(o.get(), "command", c ? json_object_new_string(c->name) : nullptr);
        json_object_object_add(o.get(), "id", json_object_new_string(idText));
        json_object_object_add(o.get(), "mid", json_object_new_int64(r.mid));
        json_object_object_add(o.get(), "requestLen", json_object_new_int64(r.reqLen));
        json_object_object_add(o.get(), "request", request.release());
        json_object_object_add(o.get(), "status", json_object_new_int64(r.status));
        json_object_object_add(o.get(), "statusName", json_object_new_string(status.c_str()));
        if (!oneWay) {
            json_object_object_add(o.get(), "replyLen", json_object_new_int64(r.replyLen));
            json_object_object_add(o.get(), "reply", answer.release());
            json_object_object_add(o.get(), "durationUs", json_object_new_int64(r.durationUs));
            json_object_object_add(o.get(), "timeoutMs", json_object_new_int64(r.timeoutMs));
        }
        if (r.dropped) json_object_object_add(o.get(), "dropped", json_object_new_int64(r.dropped));
        std::printf("%s\n", plain(o.get()));
    } else {
        if (r.dropped) std::printf("(%u reports of pid %u dropped: the monitor fell behind)\n", r.dropped, r.pid);
        std::string line = clock_text(r.timeUs) + " " + caller + "[" + std::to_string(r.pid) + "] -> " + dest + " " +
                           (c ? c->name : "?") + "(" + idText + ")";
        if (c && c->kind != zxwire::Kind::Call) line += std::string(" ") + kind;
        line += " ";
        line += request ? plain(request.get()) : "-";
        if (oneWay) {
            line += r.status == ZX_OK ? " sent" : " => " + status;
        } else {
            line += " => " + status;
            if (answer) line += std::string(" ") + plain(answer.get());
            line += " " + std::to_string(r.durationUs) + "us";
        }
        std::printf("%s\n", line.c_str());
    }
    std::fflush(stdout);
    return true;
}

// Datagrams are taken off the socket by their own thread as they come, so that the few the kernel
// queues for a datagram socket are never the limit while lines are decoded and printed.
struct Queue {
    std::mutex mutex;
    std::condition_variable ready;
    std::deque<Bytes> items;
    bool done = false;
};

void receive_loop(int fd, Queue& q) {
    const uid_t me = geteuid();
    Bytes buf(sizeof(mon::Report) + 2 * mon::kMaxShown + 16);
    while (!g_stop) {
        pollfd p{fd, POLLIN, 0};
        if (poll(&p, 1, 200) <= 0) continue;
        iovec iov{buf.data(), buf.size()};
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
        msghdr m{};
        m.msg_iov = &iov;
        m.msg_iovlen = 1;
        m.msg_control = control;
        m.msg_controllen = sizeof control;
        ssize_t n = recvmsg(fd, &m, MSG_DONTWAIT);
        if (n <= 0) continue;
        // Only reports of our own user count; the socket file is ours and 0600 besides.
        bool sameUser = false;
        for (cmsghdr* c = CMSG_FIRSTHDR(&m); c; c = CMSG_NXTHDR(&m, c)) {
            if (c->cmsg_level == SOL_SOCKET && c->cmsg_type == SCM_CREDENTIALS) {
                ucred cred{};
                std::memcpy(&cred, CMSG_DATA(c), sizeof cred);
                sameUser = cred.uid == me;
            }
        }
        if (!sameUser || static_cast<size_t>(n) < sizeof(mon::Report)) continue;
        std::lock_guard<std::mutex> lock(q.mutex);
        q.items.emplace_back(buf.begin(), buf.begin() + n);
        q.ready.notify_one();
    }
    std::lock_guard<std::mutex> lock(q.mutex);
    q.done = true;
    q.ready.notify_one();
}

// The monitor's socket file, removed at exit only when it is still ours.
struct SocketFile {
    std::string path;
    dev_t dev = 0;
    ino_t ino = 0;
    ~SocketFile() {
        struct stat st {};
        if (!path.empty() && lstat(path.c_str(), &st) == 0 && st.st_dev == dev && st.st_ino == ino)
            unlink(path.c_str());
    }
};

int bind_monitor(const std::string& path, SocketFile& file) {
    sockaddr_un sun{};
    if (path.size() >= sizeof sun.sun_path) {
        std::fprintf(stderr, "zxmon: bus directory path too long\n");
        return -1;
    }
    sun.sun_family = AF_UNIX;
    std::memcpy(sun.sun_path, path.c_str(), path.size() + 1);
    int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    if (bind(fd, reinterpret_cast<sockaddr*>(&sun), sizeof sun) != 0) {
        struct stat st {};
        bool stale = false;
        if (errno == EADDRINUSE && lstat(path.c_str(), &st) == 0 && S_ISSOCK(st.st_mode)) {
            // A monitor that died leaves its file: a live one takes a connect.
            int probe = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
            stale = probe >= 0 && connect(probe, reinterpret_cast<sockaddr*>(&sun), sizeof sun) != 0 &&
                    errno == ECONNREFUSED;
            if (probe >= 0) close(probe);
            if (!stale) std::fprintf(stderr, "zxmon: another monitor watches %s\n", path.c_str());
        } else {
            std::fprintf(stderr, "zxmon: cannot bind %s: %s\n", path.c_str(), std::strerror(errno));
        }
        if (!stale || unlink(path.c_str()) != 0 || bind(fd, reinterpret_cast<sockaddr*>(&sun), sizeof sun) != 0) {
            close(fd);
            return -1;
        }
    }
    struct stat st {};
    if (chmod(path.c_str(), 0600) != 0 || lstat(path.c_str(), &st) != 0) {
        unlink(path.c_str());
        close(fd);
        return -1;
    }
    file.path = path;
    file.dev = st.st_dev;
    file.ino = st.st_ino;
    int on = 1;
    (void)setsockopt(fd, SOL_SOCKET, SO_PASSCRED, &on, sizeof on);
    int size = 8 * 1024 * 1024;
    if (setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &size, sizeof size) != 0)
        (void)setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
    return fd;
}

bool parse_args(int argc, char** argv, Options& opt, bool& help) {
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        auto value = [&](std::string& out) {
            if (i + 1 >= argc) return false;
            out = argv[++i];
            return true;
        };
        std::string v;
        if (a == "-h" || a == "--help") {
            help = true;
        } else if (a == "--json") {
            opt.json = true;
        } else if (a == "--bus") {
            if (!value(opt.busDir) || opt.busDir.empty()) return false;
        } else if (a == "--service") {
            if (!value(v)) return false;
            opt.services.insert(v);
        } else if (a == "--command") {
            if (!value(v)) return false;
            opt.commandNames.push_back(v);
        } else if (a == "--count") {
            if (!value(v)) return false;
            char* end = nullptr;
            opt.count = std::strtol(v.c_str(), &end, 10);
            if (v.empty() || *end || opt.count <= 0) return false;
        } else {
            return false;
        }
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    Options opt;
    bool help = false;
    // Decided before anything touches the bus: asking for help leaves no trace on it.
    if (!parse_args(argc, argv, opt, help)) {
        usage(stderr);
        return kUsage;
    }
    if (help) {
        usage(stdout);
        return 0;
    }
    for (const std::string& name : opt.commandNames) {
        std::string service = opt.services.size() == 1 ? *opt.services.begin() : "";
        auto found = zxwire::match(service, name);
        if (found.empty()) {
            std::fprintf(stderr, "zxmon: no command matches \"%s\"\n", name.c_str());
            return kUsage;
        }
        opt.commands.insert(found.begin(), found.end());
    }
    if (!opt.busDir.empty()) {
        setenv("ZX_BUS_DIR", opt.busDir.c_str(), 1);
        zxhost::reload_environment();
    }
    const std::string dir = zxhost::bus_dir();
    if (access(dir.c_str(), F_OK) != 0) {
        std::fprintf(stderr, "zxmon: no bus directory %s\n", dir.c_str());
        return 1;
    }
    SocketFile file;
    int fd = bind_monitor(dir + "/" ZX_BUS_MONITOR_NAME, file);
    if (fd < 0) return 1;

    struct sigaction sa {};
    sa.sa_handler = on_signal;
    sigaction(SIGINT, &sa, nullptr);
    sigaction(SIGTERM, &sa, nullptr);
    signal(SIGPIPE, SIG_IGN);

    Queue q;
    std::thread receiver(receive_loop, fd, std::ref(q));
    // Callers look for the monitor at most every ZX_BUS_MONITOR_CHECK_MS: after that, all see it.
    std::this_thread::sleep_for(std::chrono::milliseconds(ZX_BUS_MONITOR_CHECK_MS + 50));
    std::fprintf(stderr, "zxmon: watching %s\n", dir.c_str());

    Blocks blocks;
    long printed = 0;
    while (opt.count < 0 || printed < opt.count) {
        Bytes item;
        {
            std::unique_lock<std::mutex> lock(q.mutex);
            q.ready.wait(lock, [&] { return !q.items.empty() || q.done; });
            if (q.items.empty()) break;
            item = std::move(q.items.front());
            q.items.pop_front();
        }
        mon::Report r{};
        std::memcpy(&r, item.data(), sizeof r);
        if (r.magic != mon::kMagic || r.version != mon::kVersion ||
            item.size() != sizeof r + size_t{r.reqShown} + r.replyShown)
            continue;
        const uint8_t* req = item.data() + sizeof r;
        const uint8_t* reply = req + r.reqShown;
        if (r.kind == static_cast<uint16_t>(mon::ReportKind::Block)) {
            blocks.put(r.blockId, Bytes(req, req + r.reqShown));
            continue;
        }
        if (print_report(r, req, reply, opt, blocks)) ++printed;
    }
    g_stop = 1;
    receiver.join();
    close(fd);
    return 0;
}
