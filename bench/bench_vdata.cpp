// Shared-block transfer between two processes against a shared-memory object per transfer.
// Both benchmarks hand the payload to the same forked child with the same pipe messages, so the
// difference between them is the storage: a slot in the arena mapped once, or an object created,
// sized, mapped, opened, mapped again and unlinked for every transfer. The pipe round trip is
// mostly the wake-up of the other process and varies with how idle the processors are, so each
// benchmark also reports "storage_us": the time spent in the storage calls on both sides.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "zx_host.h"
#include "zx_platform.h"

namespace {

// What travels over the pipe for each transfer, in both benchmarks.
struct Message {
    uint32_t id;
    uint32_t len;
    char name[56];
};
static_assert(sizeof(Message) == 64);

// The child's answer: whether it read the payload and how long its storage calls took.
struct Ack {
    uint64_t storageNs;
    uint64_t ok;
};

uint64_t now_ns() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000000000u + static_cast<uint64_t>(ts.tv_nsec);
}

bool write_all(int fd, const void* p, size_t n) { return write(fd, p, n) == static_cast<ssize_t>(n); }
bool read_all(int fd, void* p, size_t n) { return read(fd, p, n) == static_cast<ssize_t>(n); }

// A child process that receives messages, runs `receive` on each and acknowledges with an Ack.
// Ends when the parent closes its side.
class Receiver {
public:
    template <typename Fn>
    explicit Receiver(Fn receive) {
        int toChild[2], toParent[2];
        if (pipe(toChild) != 0 || pipe(toParent) != 0) return;
        pid_ = fork();
        if (pid_ == 0) {
            close(toChild[1]);
            close(toParent[0]);
            Message m{};
            while (read_all(toChild[0], &m, sizeof m)) {
                const uint64_t start = now_ns();
                const bool ok = receive(m);
                const Ack ack{now_ns() - start, ok};
                if (!write_all(toParent[1], &ack, sizeof ack)) break;
            }
            _exit(0);
        }
        close(toChild[0]);
        close(toParent[1]);
        out_ = toChild[1];
        in_ = toParent[0];
    }
    ~Receiver() {
        close(out_);
        close(in_);
        if (pid_ > 0) waitpid(pid_, nullptr, 0);
    }
    bool ok() const { return pid_ > 0; }
    // Sends m and waits for the child's acknowledgement; adds the child's storage time to storageNs.
    bool transfer(const Message& m, uint64_t& storageNs) {
        Ack ack{0, 0};
        if (!write_all(out_, &m, sizeof m) || !read_all(in_, &ack, sizeof ack)) return false;
        storageNs += ack.storageNs;
        return ack.ok != 0;
    }

private:
    pid_t pid_ = -1;
    int out_ = -1, in_ = -1;
};

void report(benchmark::State& state, uint32_t len, uint64_t storageNs) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * len);
    state.counters["storage_us"] =
        benchmark::Counter(static_cast<double>(storageNs) / 1000.0, benchmark::Counter::kAvgIterations);
}

void BM_VdataTransfer(benchmark::State& state) {
    const auto len = static_cast<uint32_t>(state.range(0));
    const std::vector<uint8_t> payload(len, 0x5A);
    std::vector<uint8_t> sink(len);
    Receiver child([&](const Message& m) {
        return ZX_VDATA_ReadData(m.id, m.len, sink.data()) == ZX_OK && ZX_VDATA_FreeShm(m.id) == ZX_OK;
    });
    if (!child.ok()) return state.SkipWithError("fork failed");
    uint64_t storageNs = 0;
    for (auto _ : state) {
        Message m{0, len, {}};
        const uint64_t start = now_ns();
        const bool stored =
            ZX_VDATA_CreShm(len, &m.id) == ZX_OK && ZX_VDATA_UpdateData(m.id, len, payload.data()) == ZX_OK;
        storageNs += now_ns() - start;
        if (!stored || !child.transfer(m, storageNs)) return state.SkipWithError("transfer failed");
    }
    report(state, len, storageNs);
}

// Writes payload into a new shared-memory object called name.
bool write_object(const char* name, const std::vector<uint8_t>& payload) {
    const int fd = shm_open(name, O_CREAT | O_EXCL | O_RDWR, 0600);
    if (fd < 0) return false;
    bool ok = ftruncate(fd, static_cast<off_t>(payload.size())) == 0;
    void* p = ok ? mmap(nullptr, payload.size(), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0) : MAP_FAILED;
    close(fd);
    if (p == MAP_FAILED) return false;
    std::memcpy(p, payload.data(), payload.size());
    munmap(p, payload.size());
    return true;
}

// Reads the object called name into sink and removes it.
bool read_object(const Message& m, std::vector<uint8_t>& sink) {
    const int fd = shm_open(m.name, O_RDONLY, 0);
    if (fd < 0) return false;
    void* p = mmap(nullptr, m.len, PROT_READ, MAP_SHARED, fd, 0);
    close(fd);
    if (p == MAP_FAILED) return false;
    std::memcpy(sink.data(), p, m.len);
    munmap(p, m.len);
    return shm_unlink(m.name) == 0;
}

void BM_ShmObjectTransfer(benchmark::State& state) {
    const auto len = static_cast<uint32_t>(state.range(0));
    const std::vector<uint8_t> payload(len, 0x5A);
    std::vector<uint8_t> sink(len);
    Receiver child([&](const Message& m) { return read_object(m, sink); });
    if (!child.ok()) return state.SkipWithError("fork failed");
    uint32_t serial = 0;
    uint64_t storageNs = 0;
    for (auto _ : state) {
        Message m{0, len, {}};
        std::snprintf(m.name, sizeof m.name, "/zxbench-%d-%u", static_cast<int>(getpid()), ++serial);
        const uint64_t start = now_ns();
        const bool stored = write_object(m.name, payload);
        storageNs += now_ns() - start;
        if (!stored || !child.transfer(m, storageNs)) return state.SkipWithError("transfer failed");
    }
    report(state, len, storageNs);
}

BENCHMARK(BM_VdataTransfer)->Arg(4096)->Arg(43216)->Arg(262144)->UseRealTime();
BENCHMARK(BM_ShmObjectTransfer)->Arg(4096)->Arg(43216)->Arg(262144)->UseRealTime();

// The arena lives in a private bus directory for the run.
class PrivateBusDir {
public:
    PrivateBusDir() {
        std::string templ = (access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp") + std::string("/zxbench-XXXXXX");
        if (mkdtemp(templ.data())) path_ = templ;
        setenv("ZX_BUS_DIR", path_.c_str(), 1);
        zxhost::reload_environment();
    }
    ~PrivateBusDir() {
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    bool ok() const { return !path_.empty(); }

private:
    std::string path_;
};

}  // namespace

int main(int argc, char** argv) {
    PrivateBusDir dir;
    if (!dir.ok()) return 1;
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
