// Shared data blocks. Every block lives in one arena file in the bus directory that each process
// maps once, so a transfer costs a slot update and two copies instead of creating, sizing and
// mapping a shared-memory object per block (page faults and mapping dominate that path).
//
// The arena starts with a header: magic, version, a ready flag, a robust process-shared mutex and
// a table of slots. A block id carries its slot index in the low bits and the slot's generation
// above them; the generation moves on each time the slot is taken, so the id of a freed block is
// refused even after its slot holds a new block. Every operation, the copies included, runs under
// the arena mutex: a free can then never pull a region from under a copy into it. The mutex is
// robust, so a process that dies while holding it does not block the others.
//
// A block whose reader never frees it (the call that carried its id failed, or the reader died)
// is the platform's to take back: each slot's creation time is kept beside the table, and a
// block older than kBlockLifetimeMs (scaled like the bus time-outs) is reclaimed when a new
// block is created. A reader reads its block while it handles the call that names it, within
// that call's time-out, so a block that old has no reader left.
#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "internal.h"
#include "zx_host.h"

namespace {

constexpr uint32_t kMagic = 0x4156585Au;  // "ZXVA"
constexpr uint32_t kVersion = 2;  // 2: the mutex has room for 64-bit ARM's
constexpr uint32_t kIndexBits = 10;
constexpr uint32_t kSlotCount = 1u << kIndexBits;
constexpr uint32_t kGenerationMask = (1u << (32 - kIndexBits)) - 1;
constexpr uint32_t kAlign = 64;  // blocks start on their own cache line
constexpr size_t kDataOffset = 64 * 1024;
constexpr size_t kDataSize = 64u * 1024 * 1024;
constexpr size_t kArenaSize = kDataOffset + kDataSize;  // sparse: only touched pages use memory
constexpr uint32_t kOpenWaitMs = 2000;                  // for another process creating the arena
// Twice the longest time-out of any call (the bundle manager's reset, 120 s).
constexpr uint32_t kBlockLifetimeMs = 240000;
// Creation times of the slots (monotonic ms, 0: unknown, never reclaimed), in the header page
// past the slot table, which older arenas leave zero.
constexpr size_t kStampOffset = 32 * 1024;

struct Slot {
    uint32_t generation;  // 0 until the slot is first taken; an id never carries 0
    uint32_t inUse;
    uint32_t offset;  // from the start of the data region
    uint32_t size;
    uint32_t creatorPid;
};
static_assert(sizeof(Slot) == 20);
static_assert(offsetof(Slot, generation) == 0 && offsetof(Slot, inUse) == 4 && offsetof(Slot, offset) == 8 &&
              offsetof(Slot, size) == 12 && offsetof(Slot, creatorPid) == 16);

// Shared between processes, so the layout is fixed; the mutex needs its natural alignment. It has
// 48 bytes of its own whatever its size (40 on x86-64, 24 on 32-bit ARM, 48 on 64-bit ARM), so
// the slots start at 72 on every machine.
constexpr size_t kMutexSpace = 48;
struct ArenaHeader {
    uint32_t magic;
    uint32_t version;
    uint32_t ready;  // published last by the creating process
    uint32_t slotCount;
    uint64_t dataSize;
    union {
        pthread_mutex_t mutex;
        uint8_t mutexSpace[kMutexSpace];
    };
    Slot slots[kSlotCount];
};
static_assert(sizeof(pthread_mutex_t) <= kMutexSpace);
static_assert(offsetof(ArenaHeader, magic) == 0 && offsetof(ArenaHeader, version) == 4 &&
              offsetof(ArenaHeader, ready) == 8 && offsetof(ArenaHeader, slotCount) == 12 &&
              offsetof(ArenaHeader, dataSize) == 16 && offsetof(ArenaHeader, mutex) == 24 &&
              offsetof(ArenaHeader, slots) == 72);
static_assert(sizeof(ArenaHeader) == 72 + kSlotCount * sizeof(Slot));
static_assert(sizeof(ArenaHeader) <= kStampOffset);
static_assert(kStampOffset + kSlotCount * sizeof(uint64_t) <= kDataOffset);

// A mapping of the whole arena file, unmapped with its holder.
class Mapping {
public:
    Mapping() = default;
    explicit Mapping(int fd) {
        void* p = mmap(nullptr, kArenaSize, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        if (p != MAP_FAILED) base_ = static_cast<uint8_t*>(p);
    }
    ~Mapping() {
        if (base_) munmap(base_, kArenaSize);
    }
    Mapping(Mapping&& other) noexcept : base_(std::exchange(other.base_, nullptr)) {}
    Mapping& operator=(Mapping&& other) noexcept {
        std::swap(base_, other.base_);
        return *this;
    }
    explicit operator bool() const { return base_ != nullptr; }
    ArenaHeader& header() const { return *reinterpret_cast<ArenaHeader*>(base_); }
    uint8_t* data() const { return base_ + kDataOffset; }

private:
    uint8_t* base_ = nullptr;
};

// This process's mapping of the arena of one bus directory.
struct Arena {
    std::string dir;
    Mapping map;
};

class Fd {
public:
    explicit Fd(int fd) : fd_(fd) {}
    ~Fd() {
        if (fd_ >= 0) close(fd_);
    }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    int get() const { return fd_; }

private:
    int fd_;
};

uint64_t now_ms() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000 + static_cast<uint64_t>(ts.tv_nsec) / 1000000;
}

void nap() {
    timespec ts{0, 1000000};
    nanosleep(&ts, nullptr);
}

[[nodiscard]] bool init_mutex(pthread_mutex_t* m) {
    pthread_mutexattr_t attr;
    if (pthread_mutexattr_init(&attr) != 0) return false;
    bool ok = pthread_mutexattr_setpshared(&attr, PTHREAD_PROCESS_SHARED) == 0 &&
              pthread_mutexattr_setrobust(&attr, PTHREAD_MUTEX_ROBUST) == 0 && pthread_mutex_init(m, &attr) == 0;
    pthread_mutexattr_destroy(&attr);
    return ok;
}

// This process won the race to create the file: size it, lay out the header, then publish.
Mapping create_arena(int fd) {
    if (ftruncate(fd, kArenaSize) != 0) return {};
    Mapping map(fd);
    if (!map) return {};
    ArenaHeader& h = map.header();  // the fresh file reads as zeros
    h.magic = kMagic;
    h.version = kVersion;
    h.slotCount = kSlotCount;
    h.dataSize = kDataSize;
    if (!init_mutex(&h.mutex)) return {};
    std::atomic_ref<uint32_t>(h.ready).store(1, std::memory_order_release);
    return map;
}

// Another process created the file: wait (bounded) until it has sized and published it. A file
// of any other size, or one never published, is not an arena of ours.
Mapping join_arena(int fd) {
    const uint64_t deadline = now_ms() + zxp::scaled_timeout_ms(kOpenWaitMs);
    struct stat st {};
    while (fstat(fd, &st) == 0 && st.st_size == 0 && now_ms() < deadline) nap();
    if (st.st_size != static_cast<off_t>(kArenaSize)) return {};
    Mapping map(fd);
    if (!map) return {};
    ArenaHeader& h = map.header();
    std::atomic_ref<uint32_t> ready(h.ready);
    while (ready.load(std::memory_order_acquire) == 0 && now_ms() < deadline) nap();
    if (ready.load(std::memory_order_acquire) == 0 || h.magic != kMagic || h.version != kVersion ||
        h.slotCount != kSlotCount || h.dataSize != kDataSize)
        return {};
    return map;
}

std::shared_ptr<Arena> open_arena(const std::string& dir) {
    if (zxp::ensure_bus_dir() != ZX_OK) return nullptr;
    const std::string path = dir + "/vdata.arena";
    Mapping map;
    Fd created(open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (created.get() >= 0) {
        map = create_arena(created.get());
        // A half-made file would keep every later process waiting: remove it so the next try starts over.
        if (!map) unlink(path.c_str());
    } else if (errno == EEXIST) {
        Fd existing(open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
        // Only an arena of our own user that no other user can write is joined.
        struct stat st {};
        if (existing.get() >= 0 && fstat(existing.get(), &st) == 0 && S_ISREG(st.st_mode) &&
            st.st_uid == geteuid() && (st.st_mode & 0077) == 0)
            map = join_arena(existing.get());
    }
    if (!map) return nullptr;
    return std::make_shared<Arena>(Arena{dir, std::move(map)});
}

// The mapping of the current bus directory; tests move the bus directory between cases, and a
// caller still holding the old mapping keeps it alive until its call ends.
std::shared_ptr<Arena> current_arena() {
    struct Cache {
        std::mutex mutex;
        std::shared_ptr<Arena> arena;
    };
    static auto* cache = new Cache;  // never destroyed: threads may still call during exit
    const std::string& dir = zxp::env().busDir;
    std::lock_guard<std::mutex> lock(cache->mutex);
    if (!cache->arena || cache->arena->dir != dir) cache->arena = open_arena(dir);
    return cache->arena;
}

// Holds the arena mutex. A previous owner that died may have left a slot half updated; every
// update commits with a single store (inUse), so the table is usable as it is.
class ArenaLock {
public:
    explicit ArenaLock(pthread_mutex_t* m) : m_(m) {
        int rc = pthread_mutex_lock(m_);
        if (rc == EOWNERDEAD) rc = pthread_mutex_consistent(m_);
        locked_ = rc == 0;
    }
    ~ArenaLock() {
        if (locked_) pthread_mutex_unlock(m_);
    }
    ArenaLock(const ArenaLock&) = delete;
    ArenaLock& operator=(const ArenaLock&) = delete;
    bool locked() const { return locked_; }

private:
    pthread_mutex_t* m_;
    bool locked_ = false;
};

uint32_t make_id(uint32_t index, uint32_t generation) { return (generation << kIndexBits) | index; }

uint32_t next_generation(uint32_t generation) {
    uint32_t g = (generation + 1) & kGenerationMask;
    return g == 0 ? 1 : g;
}

uint32_t aligned(uint32_t size) { return (size + kAlign - 1) & ~(kAlign - 1); }

// The live slot named by id, or nullptr. The range check keeps a damaged table (the file is
// writable by any process of this user) from turning into a copy outside the mapping.
Slot* find_live(ArenaHeader& h, uint32_t id) {
    const uint32_t generation = id >> kIndexBits;
    Slot& s = h.slots[id & (kSlotCount - 1)];
    if (generation == 0 || !s.inUse || s.generation != generation) return nullptr;
    if (s.offset > kDataSize || s.size > kDataSize - s.offset) return nullptr;
    return &s;
}

// First gap among the live blocks that holds size bytes; false when there is none.
[[nodiscard]] bool find_gap(const ArenaHeader& h, uint32_t size, uint32_t& offset) {
    struct Extent {
        uint32_t begin, end;
    };
    std::array<Extent, kSlotCount> live;
    size_t n = 0;
    for (const Slot& s : h.slots)
        if (s.inUse) live[n++] = Extent{s.offset, s.offset + aligned(s.size)};
    std::sort(live.begin(), live.begin() + n, [](const Extent& a, const Extent& b) { return a.begin < b.begin; });
    uint64_t cursor = 0;
    for (size_t i = 0; i < n; ++i) {
        if (live[i].begin >= cursor + size) break;
        cursor = std::max<uint64_t>(cursor, live[i].end);
    }
    if (cursor + size > kDataSize) return false;
    offset = static_cast<uint32_t>(cursor);
    return true;
}

// The creation times beside the slot table of the arena that starts with h.
uint64_t* stamps_of(ArenaHeader& h) {
    return reinterpret_cast<uint64_t*>(reinterpret_cast<uint8_t*>(&h) + kStampOffset);
}

// Takes back the blocks created more than lifetime ms before now that nobody freed.
void reclaim_expired(ArenaHeader& h, const uint64_t* stamps, uint64_t now, uint64_t lifetime) {
    for (uint32_t i = 0; i < kSlotCount; ++i) {
        const uint64_t born = stamps[i];
        if (h.slots[i].inUse && born != 0 && born < now && now - born > lifetime) h.slots[i].inUse = 0;
    }
}

Slot* find_free_slot(ArenaHeader& h) {
    for (Slot& s : h.slots)
        if (!s.inUse) return &s;
    return nullptr;
}

// Runs fn(header, data) with the arena mutex held; ZX_VDATA_ERR_ARENA when there is no arena.
template <typename Fn>
[[nodiscard]] uint32_t with_arena(Fn&& fn) {
    std::shared_ptr<Arena> arena = current_arena();
    if (!arena) return ZX_VDATA_ERR_ARENA;
    ArenaLock lock(&arena->map.header().mutex);
    if (!lock.locked()) return ZX_VDATA_ERR_ARENA;
    return fn(arena->map.header(), arena->map.data());
}

// Checks id and len, then copies with copy(blockStart).
template <typename Copy>
[[nodiscard]] uint32_t with_block(uint32_t id, uint32_t len, Copy&& copy) {
    return with_arena([&](ArenaHeader& h, uint8_t* data) -> uint32_t {
        Slot* s = find_live(h, id);
        if (!s) return ZX_VDATA_ERR_BAD_ID;
        if (len > s->size) return ZX_VDATA_ERR_RANGE;
        copy(data + s->offset);
        return ZX_OK;
    });
}

}  // namespace

ZX_EXPORT uint32_t ZX_VDATA_CreShm(uint32_t size, uint32_t* id) {
    if (!id) return ZX_ERR_PARAM;
    *id = 0;
    if (size == 0 || size > ZX_VDATA_MAX_BLOCK) return ZX_ERR_PARAM;
    if (zxp::fault_hit(zxhost::Call::VdataCreate)) return ZX_VDATA_ERR_ARENA;
    const uint32_t pid = static_cast<uint32_t>(getpid());
    const uint64_t now = std::max<uint64_t>(now_ms(), 1);
    const uint64_t lifetime = zxp::scaled_timeout_ms(kBlockLifetimeMs);
    return with_arena([&](ArenaHeader& h, uint8_t* data) -> uint32_t {
        uint64_t* stamps = stamps_of(h);
        reclaim_expired(h, stamps, now, lifetime);
        Slot* s = find_free_slot(h);
        uint32_t offset = 0;
        if (!s || !find_gap(h, size, offset)) return ZX_VDATA_ERR_FULL;
        s->generation = next_generation(s->generation);
        s->offset = offset;
        s->size = size;
        s->creatorPid = pid;
        std::memset(data + offset, 0, size);
        stamps[s - h.slots] = now;
        s->inUse = 1;
        *id = make_id(static_cast<uint32_t>(s - h.slots), s->generation);
        return ZX_OK;
    });
}

ZX_EXPORT uint32_t ZX_VDATA_UpdateData(uint32_t id, uint32_t len, const void* src) {
    if (!src && len > 0) return ZX_ERR_PARAM;
    if (zxp::fault_hit(zxhost::Call::VdataUpdate)) return ZX_VDATA_ERR_ARENA;
    uint32_t st = with_block(id, len, [&](uint8_t* block) {
        if (len > 0) std::memcpy(block, src, len);
    });
    // The reader usually frees the block before a monitor could look: the monitor gets the bytes.
    if (st == ZX_OK) zxp::tap::report_block(id, src, len);
    return st;
}

ZX_EXPORT uint32_t ZX_VDATA_ReadData(uint32_t id, uint32_t len, void* dst) {
    if (!dst && len > 0) return ZX_ERR_PARAM;
    if (zxp::fault_hit(zxhost::Call::VdataRead)) return ZX_VDATA_ERR_ARENA;
    return with_block(id, len, [&](const uint8_t* block) {
        if (len > 0) std::memcpy(dst, block, len);
    });
}

ZX_EXPORT uint32_t ZX_VDATA_FreeShm(uint32_t id) {
    if (zxp::fault_hit(zxhost::Call::VdataFree)) return ZX_VDATA_ERR_ARENA;
    return with_arena([&](ArenaHeader& h, uint8_t*) -> uint32_t {
        Slot* s = find_live(h, id);
        if (!s) return ZX_VDATA_ERR_BAD_ID;
        s->inUse = 0;
        return ZX_OK;
    });
}

namespace zxhost {

std::vector<VdataBlock> vdata_list() {
    std::vector<VdataBlock> out;
    (void)with_arena([&](ArenaHeader& h, uint8_t*) -> uint32_t {
        for (uint32_t i = 0; i < kSlotCount; ++i) {
            const Slot& s = h.slots[i];
            if (s.inUse) out.push_back(VdataBlock{make_id(i, s.generation), s.size, s.creatorPid});
        }
        return ZX_OK;
    });
    return out;
}

}  // namespace zxhost
