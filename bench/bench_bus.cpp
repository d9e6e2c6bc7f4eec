// Bus round trip against its baseline, a raw AF_UNIX sequenced-packet request/reply between two
// processes. Both servers run in forked children and serve each connection on its own thread;
// every calling thread has its own connection. The request is 4 bytes naming the reply size.
//
// Each run also reports cpu_ns_per_call: the CPU time (user and system, every thread) that the
// calling process and its server spent over the timed loop, divided by the calls made.
#include <benchmark/benchmark.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <time.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "zx_host.h"
#include "zx_platform.h"

namespace {

constexpr const char* kRawEndpoint = "bench-raw";
constexpr const char* kBusEndpoint = "bench-bus";
constexpr uint32_t kTimeoutMs = 5000;
constexpr uint32_t kMaxReply = 4096;

// The servers' process ids, for their CPU clocks.
pid_t g_rawServer = -1;
pid_t g_busServer = -1;

// CPU time of a whole process (every thread, user and system) in nanoseconds; 0 if unreadable.
int64_t process_cpu_ns(pid_t pid) {
    clockid_t id;
    timespec ts{};
    if (clock_getcpuclockid(pid, &id) != 0 || clock_gettime(id, &ts) != 0) return 0;
    return static_cast<int64_t>(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

// CPU of the calling process and the server together, taken by the first thread around the timed
// loop: the loop starts and ends for all threads at once, so the span covers every thread's calls.
class CallCpu {
public:
    CallCpu(benchmark::State& state, pid_t server) : state_(state), server_(server) {
        if (state_.thread_index() == 0) start_ = now();
    }
    void report() {
        if (state_.thread_index() != 0 || state_.iterations() == 0) return;
        double calls = static_cast<double>(state_.iterations()) * state_.threads();
        state_.counters["cpu_ns_per_call"] = static_cast<double>(now() - start_) / calls;
    }

private:
    int64_t now() const { return process_cpu_ns(getpid()) + process_cpu_ns(server_); }
    benchmark::State& state_;
    pid_t server_;
    int64_t start_ = 0;
};

sockaddr_un raw_address() {
    sockaddr_un a{};
    a.sun_family = AF_UNIX;
    std::snprintf(a.sun_path, sizeof a.sun_path, "%s/%s", zxhost::bus_dir().c_str(), kRawEndpoint);
    return a;
}

void tell_parent(int fd) {
    char c = 1;
    if (write(fd, &c, 1) != 1) _exit(3);
}

// Baseline server: answers each 4-byte request with that many bytes.
[[noreturn]] void raw_server(int ready) {
    int listener = socket(AF_UNIX, SOCK_SEQPACKET, 0);
    sockaddr_un a = raw_address();
    if (bind(listener, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0 || listen(listener, 16) != 0) _exit(2);
    tell_parent(ready);
    for (;;) {
        int c = accept(listener, nullptr, nullptr);
        if (c < 0) continue;
        std::thread([c] {
            std::vector<uint8_t> reply(kMaxReply, 0xA5);
            uint32_t n = 0;
            while (recv(c, &n, sizeof n, 0) == sizeof n && n <= kMaxReply)
                if (send(c, reply.data(), n, MSG_NOSIGNAL) < 0) break;
            close(c);
        }).detach();
    }
}

// Bus server: the same answer through a BusService.
[[noreturn]] void bus_server(int ready) {
    std::unique_ptr<zxhost::BusService> service;
    uint32_t st = zxhost::BusService::start(
        kBusEndpoint,
        [](const zxhost::BusRequest& r, zxhost::BusAnswer& a) {
            uint32_t n = 0;
            if (r.data.size() == sizeof n) std::memcpy(&n, r.data.data(), sizeof n);
            a.data.assign(std::min(n, kMaxReply), 0xA5);
        },
        service);
    if (st != ZX_OK) _exit(2);
    tell_parent(ready);
    for (;;) pause();
}

// Forks a server and waits until it serves; the child is killed by stop().
class ServerProcess {
public:
    explicit ServerProcess(void (*body)(int)) {
        int p[2];
        if (pipe(p) != 0) return;
        pid_ = fork();
        if (pid_ == 0) {
            close(p[0]);
            body(p[1]);
        }
        close(p[1]);
        char c;
        ready_ = read(p[0], &c, 1) == 1;
        close(p[0]);
    }
    bool ready() const { return ready_; }
    pid_t pid() const { return pid_; }
    void stop() {
        if (pid_ <= 0) return;
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }

private:
    pid_t pid_ = -1;
    bool ready_ = false;
};

void BM_RawRoundTrip(benchmark::State& state) {
    auto n = static_cast<uint32_t>(state.range(0));
    int fd = socket(AF_UNIX, SOCK_SEQPACKET, 0);
    sockaddr_un a = raw_address();
    if (connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
        state.SkipWithError("connect to the raw server failed");
        close(fd);
        return;
    }
    std::vector<uint8_t> reply(n);
    CallCpu cpu(state, g_rawServer);
    for (auto _ : state) {
        if (send(fd, &n, sizeof n, 0) != sizeof n || recv(fd, reply.data(), n, 0) != static_cast<ssize_t>(n)) {
            state.SkipWithError("raw round trip failed");
            break;
        }
    }
    cpu.report();
    close(fd);
    state.SetItemsProcessed(state.iterations());
}

void BM_BusRoundTrip(benchmark::State& state) {
    auto n = static_cast<uint32_t>(state.range(0));
    ZX_MSG_HEAD_S head{};
    std::strcpy(head.acDstProcName, kBusEndpoint);
    std::vector<uint8_t> reply(n);
    // The first call connects; like the raw side, that stays outside the measured loop.
    if (ZX_MSG_RpcCall(&head, 1, 0, &n, sizeof n, reply.data(), n, kTimeoutMs) != ZX_OK) {
        state.SkipWithError("first bus call failed");
        return;
    }
    CallCpu cpu(state, g_busServer);
    for (auto _ : state) {
        if (ZX_MSG_RpcCall(&head, 1, 0, &n, sizeof n, reply.data(), n, kTimeoutMs) != ZX_OK) {
            state.SkipWithError("bus round trip failed");
            break;
        }
    }
    cpu.report();
    zxhost::drop_thread_connections();
    state.SetItemsProcessed(state.iterations());
}

}  // namespace

BENCHMARK(BM_RawRoundTrip)->Arg(4)->Arg(512)->Arg(4096)->Threads(1)->Threads(4)->UseRealTime();
BENCHMARK(BM_BusRoundTrip)->Arg(4)->Arg(512)->Arg(4096)->Threads(1)->Threads(4)->UseRealTime();

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;

    // A private bus directory, so the servers' names cannot collide with a running simulator.
    char dir[] = "/dev/shm/zxbus-bench-XXXXXX";
    if (!mkdtemp(dir)) return 1;
    setenv("ZX_BUS_DIR", dir, 1);
    zxhost::reload_environment();

    ServerProcess raw(raw_server);
    ServerProcess bus(bus_server);
    int rc = 1;
    g_rawServer = raw.pid();
    g_busServer = bus.pid();
    if (raw.ready() && bus.ready()) {
        benchmark::RunSpecifiedBenchmarks();
        rc = 0;
    }
    raw.stop();
    bus.stop();
    benchmark::Shutdown();
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
    return rc;
}
