// Shared data blocks: ids, ranges, zero fill, a full arena, blocks handed between processes,
// concurrent use from threads and processes, and a process dying inside a call.
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>
#include <functional>
#include <set>
#include <thread>
#include <vector>

#include "test_env.h"
#include "zx_host.h"
#include "zx_platform.h"

namespace {

// Deterministic bytes for a seed, so a reader can check a block without seeing the writer's copy.
std::vector<uint8_t> pattern(uint32_t seed, size_t len) {
    std::vector<uint8_t> out(len);
    uint32_t x = seed * 2654435761u + 1;
    for (auto& b : out) {
        x ^= x << 13;
        x ^= x >> 17;
        x ^= x << 5;
        b = static_cast<uint8_t>(x);
    }
    return out;
}

// Runs fn in a forked child and answers its exit code (-1 when it did not exit normally).
int run_in_child(const std::function<int()>& fn) {
    pid_t pid = fork();
    if (pid == 0) _exit(fn());
    int status = 0;
    if (pid < 0 || waitpid(pid, &status, 0) != pid) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int wait_exit_code(pid_t pid) {
    int status = 0;
    if (waitpid(pid, &status, 0) != pid) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool write_all(int fd, const void* p, size_t n) { return write(fd, p, n) == static_cast<ssize_t>(n); }
bool read_all(int fd, void* p, size_t n) { return read(fd, p, n) == static_cast<ssize_t>(n); }

// A pipe whose ends close with the holder.
struct Pipe {
    int fd[2] = {-1, -1};
    Pipe() { EXPECT_EQ(pipe(fd), 0); }
    ~Pipe() {
        close_read();
        close_write();
    }
    void close_read() {
        if (fd[0] >= 0) close(fd[0]);
        fd[0] = -1;
    }
    void close_write() {
        if (fd[1] >= 0) close(fd[1]);
        fd[1] = -1;
    }
};

// A barrier in memory shared with forked children: it fills only when every party is inside.
class SharedBarrier {
public:
    explicit SharedBarrier(unsigned parties) {
        void* p = mmap(nullptr, sizeof(pthread_barrier_t), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        EXPECT_NE(p, MAP_FAILED);
        b_ = static_cast<pthread_barrier_t*>(p);
        pthread_barrierattr_t attr;
        pthread_barrierattr_init(&attr);
        pthread_barrierattr_setpshared(&attr, PTHREAD_PROCESS_SHARED);
        pthread_barrier_init(b_, &attr, parties);
        pthread_barrierattr_destroy(&attr);
    }
    ~SharedBarrier() { munmap(b_, sizeof(pthread_barrier_t)); }
    void wait() { pthread_barrier_wait(b_); }

private:
    pthread_barrier_t* b_ = nullptr;
};

uint32_t create(uint32_t size) {
    uint32_t id = 0;
    EXPECT_EQ(ZX_VDATA_CreShm(size, &id), ZX_OK);
    EXPECT_NE(id, 0u);
    return id;
}

// Creates blocks of size until the arena answers FULL; the ids in creation order.
std::vector<uint32_t> fill_arena(uint32_t size) {
    std::vector<uint32_t> ids;
    for (;;) {
        uint32_t id = 0;
        uint32_t rc = ZX_VDATA_CreShm(size, &id);
        if (rc == ZX_VDATA_ERR_FULL) {
            EXPECT_EQ(id, 0u);
            break;
        }
        EXPECT_EQ(rc, ZX_OK);
        if (rc != ZX_OK || ids.size() > 100000) break;
        ids.push_back(id);
    }
    return ids;
}

void free_all(const std::vector<uint32_t>& ids) {
    for (uint32_t id : ids) EXPECT_EQ(ZX_VDATA_FreeShm(id), ZX_OK);
}

class Vdata : public ::testing::Test {
protected:
    zxtest::ScopedBusDir bus_;
};

TEST_F(Vdata, WrittenBytesReadBackAndBlockIsListedUntilFreed) {
    const auto data = pattern(1, 5000);
    const uint32_t id = create(5000);
    ASSERT_EQ(ZX_VDATA_UpdateData(id, 5000, data.data()), ZX_OK);

    auto blocks = zxhost::vdata_list();
    ASSERT_EQ(blocks.size(), 1u);
    EXPECT_EQ(blocks[0].id, id);
    EXPECT_EQ(blocks[0].size, 5000u);
    EXPECT_EQ(blocks[0].creatorPid, static_cast<uint32_t>(getpid()));

    std::vector<uint8_t> back(5000);
    ASSERT_EQ(ZX_VDATA_ReadData(id, 5000, back.data()), ZX_OK);
    EXPECT_EQ(back, data);
    ASSERT_EQ(ZX_VDATA_FreeShm(id), ZX_OK);
    EXPECT_TRUE(zxhost::vdata_list().empty());
}

TEST_F(Vdata, ShortWriteAndReadTouchOnlyTheStartOfTheBlock) {
    const uint32_t id = create(100);
    const auto head = pattern(2, 10);
    ASSERT_EQ(ZX_VDATA_UpdateData(id, 10, head.data()), ZX_OK);
    std::vector<uint8_t> back(100, 0xEE);
    ASSERT_EQ(ZX_VDATA_ReadData(id, 100, back.data()), ZX_OK);
    EXPECT_TRUE(std::equal(head.begin(), head.end(), back.begin()));
    EXPECT_TRUE(std::all_of(back.begin() + 10, back.end(), [](uint8_t b) { return b == 0; }));

    std::vector<uint8_t> part(4, 0xEE);
    part.resize(8, 0x77);  // bytes past the requested length stay as they were
    ASSERT_EQ(ZX_VDATA_ReadData(id, 4, part.data()), ZX_OK);
    EXPECT_TRUE(std::equal(head.begin(), head.begin() + 4, part.begin()));
    EXPECT_TRUE(std::all_of(part.begin() + 4, part.end(), [](uint8_t b) { return b == 0x77; }));
    EXPECT_EQ(ZX_VDATA_FreeShm(id), ZX_OK);
}

TEST_F(Vdata, BlocksAreZeroFilledAtCreationEvenWhereAnOldBlockWas) {
    std::vector<uint32_t> ids;
    for (int i = 0; i < 8; ++i) {
        const uint32_t id = create(70000);
        const auto junk = pattern(100 + i, 70000);
        ASSERT_EQ(ZX_VDATA_UpdateData(id, 70000, junk.data()), ZX_OK);
        ids.push_back(id);
    }
    free_all(ids);
    // The same sizes again land on the regions just written.
    for (int i = 0; i < 8; ++i) {
        const uint32_t id = create(70000);
        std::vector<uint8_t> back(70000, 0xEE);
        ASSERT_EQ(ZX_VDATA_ReadData(id, 70000, back.data()), ZX_OK);
        EXPECT_TRUE(std::all_of(back.begin(), back.end(), [](uint8_t b) { return b == 0; })) << "block " << i;
        EXPECT_EQ(ZX_VDATA_FreeShm(id), ZX_OK);
    }
}

TEST_F(Vdata, CreateRefusesNullIdZeroAndOversizedBlocks) {
    EXPECT_EQ(ZX_VDATA_CreShm(16, nullptr), ZX_ERR_PARAM);
    uint32_t id = 0xDEADBEEF;
    EXPECT_EQ(ZX_VDATA_CreShm(0, &id), ZX_ERR_PARAM);
    EXPECT_EQ(id, 0u);
    id = 0xDEADBEEF;
    EXPECT_EQ(ZX_VDATA_CreShm(ZX_VDATA_MAX_BLOCK + 1, &id), ZX_ERR_PARAM);
    EXPECT_EQ(id, 0u);
    EXPECT_EQ(ZX_VDATA_CreShm(0xFFFFFFFFu, &id), ZX_ERR_PARAM);
    EXPECT_TRUE(zxhost::vdata_list().empty());

    ASSERT_EQ(ZX_VDATA_CreShm(ZX_VDATA_MAX_BLOCK, &id), ZX_OK);
    EXPECT_NE(id, 0u);
    std::vector<uint8_t> all(ZX_VDATA_MAX_BLOCK, 0xEE);
    EXPECT_EQ(ZX_VDATA_ReadData(id, ZX_VDATA_MAX_BLOCK, all.data()), ZX_OK);
    EXPECT_EQ(all.back(), 0);
    EXPECT_EQ(ZX_VDATA_FreeShm(id), ZX_OK);
}

TEST_F(Vdata, NullBuffersAreRefusedOnlyWhenBytesAreToBeCopied) {
    const uint32_t id = create(32);
    EXPECT_EQ(ZX_VDATA_UpdateData(id, 1, nullptr), ZX_ERR_PARAM);
    EXPECT_EQ(ZX_VDATA_ReadData(id, 1, nullptr), ZX_ERR_PARAM);
    EXPECT_EQ(ZX_VDATA_UpdateData(id, 0, nullptr), ZX_OK);
    EXPECT_EQ(ZX_VDATA_ReadData(id, 0, nullptr), ZX_OK);
    EXPECT_EQ(ZX_VDATA_UpdateData(0, 0, nullptr), ZX_VDATA_ERR_BAD_ID);
    EXPECT_EQ(ZX_VDATA_FreeShm(id), ZX_OK);
}

TEST_F(Vdata, LengthBeyondTheBlockIsRefusedAndCopiesNothing) {
    const uint32_t id = create(100);
    const auto data = pattern(3, 101);
    EXPECT_EQ(ZX_VDATA_UpdateData(id, 101, data.data()), ZX_VDATA_ERR_RANGE);
    EXPECT_EQ(ZX_VDATA_UpdateData(id, 0xFFFFFFFFu, data.data()), ZX_VDATA_ERR_RANGE);

    std::vector<uint8_t> back(101, 0x5A);
    EXPECT_EQ(ZX_VDATA_ReadData(id, 101, back.data()), ZX_VDATA_ERR_RANGE);
    EXPECT_EQ(ZX_VDATA_ReadData(id, 0xFFFFFFFFu, back.data()), ZX_VDATA_ERR_RANGE);
    EXPECT_TRUE(std::all_of(back.begin(), back.end(), [](uint8_t b) { return b == 0x5A; }));

    // The refused write left the block as created.
    ASSERT_EQ(ZX_VDATA_ReadData(id, 100, back.data()), ZX_OK);
    EXPECT_TRUE(std::all_of(back.begin(), back.begin() + 100, [](uint8_t b) { return b == 0; }));
    EXPECT_EQ(back[100], 0x5A);

    EXPECT_EQ(ZX_VDATA_UpdateData(id, 100, data.data()), ZX_OK);
    EXPECT_EQ(ZX_VDATA_FreeShm(id), ZX_OK);
}

TEST_F(Vdata, ZeroUnknownAndFreedIdsAreRefused) {
    uint8_t buf[8] = {};
    for (uint32_t bad : {0u, 1u, 0x400u, 0xFFFFFFFFu}) {
        EXPECT_EQ(ZX_VDATA_UpdateData(bad, 8, buf), ZX_VDATA_ERR_BAD_ID) << bad;
        EXPECT_EQ(ZX_VDATA_ReadData(bad, 8, buf), ZX_VDATA_ERR_BAD_ID) << bad;
        EXPECT_EQ(ZX_VDATA_FreeShm(bad), ZX_VDATA_ERR_BAD_ID) << bad;
    }

    const uint32_t id = create(8);
    for (uint32_t bad : {id + 1, id - 1, id ^ 0x80000000u, id ^ 0x00000400u}) {
        EXPECT_EQ(ZX_VDATA_ReadData(bad, 8, buf), ZX_VDATA_ERR_BAD_ID) << bad;
        EXPECT_EQ(ZX_VDATA_FreeShm(bad), ZX_VDATA_ERR_BAD_ID) << bad;
    }
    ASSERT_EQ(ZX_VDATA_FreeShm(id), ZX_OK);
    EXPECT_EQ(ZX_VDATA_FreeShm(id), ZX_VDATA_ERR_BAD_ID);
    EXPECT_EQ(ZX_VDATA_UpdateData(id, 8, buf), ZX_VDATA_ERR_BAD_ID);
    EXPECT_EQ(ZX_VDATA_ReadData(id, 8, buf), ZX_VDATA_ERR_BAD_ID);
    EXPECT_TRUE(zxhost::vdata_list().empty());
}

// A block whose reader never comes (the call that named it failed, the reader died) is taken
// back once it is older than twice the longest call time-out (240 s, scaled: 2.4 s here).
TEST_F(Vdata, ABlockNobodyFreesIsTakenBackOnceOlderThanItsLifetime) {
    zxtest::set_env("ZX_TIMEOUT_SCALE", "0.01");
    uint8_t buf[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    const uint32_t orphan = create(8);
    ASSERT_EQ(ZX_VDATA_UpdateData(orphan, 8, buf), ZX_OK);
    // Young: a new block leaves it alone.
    const uint32_t young = create(8);
    EXPECT_EQ(zxhost::vdata_list().size(), 2u);
    EXPECT_EQ(ZX_VDATA_ReadData(orphan, 8, buf), ZX_OK);
    std::this_thread::sleep_for(std::chrono::milliseconds(2600));
    // Old: the next block created takes both back; their ids are refused from then on.
    const uint32_t fresh = create(8);
    EXPECT_EQ(ZX_VDATA_ReadData(orphan, 8, buf), ZX_VDATA_ERR_BAD_ID);
    EXPECT_EQ(ZX_VDATA_FreeShm(young), ZX_VDATA_ERR_BAD_ID);
    ASSERT_EQ(zxhost::vdata_list().size(), 1u);
    EXPECT_EQ(zxhost::vdata_list()[0].id, fresh);
    EXPECT_EQ(ZX_VDATA_FreeShm(fresh), ZX_OK);
    zxtest::set_env("ZX_TIMEOUT_SCALE", nullptr);
}

TEST_F(Vdata, StaleIdIsRefusedAfterItsSlotHoldsANewBlock) {
    // With every slot taken, the one slot freed is necessarily the one the next block gets.
    std::vector<uint32_t> ids = fill_arena(1);
    ASSERT_GT(ids.size(), 2u);
    const uint32_t stale = ids[1];
    ASSERT_EQ(ZX_VDATA_FreeShm(stale), ZX_OK);
    const uint32_t fresh = create(1);
    ids[1] = fresh;
    uint32_t none = 0;
    EXPECT_EQ(ZX_VDATA_CreShm(1, &none), ZX_VDATA_ERR_FULL);  // really the only free slot
    EXPECT_NE(fresh, stale);

    const uint8_t one = 0x42;
    uint8_t back = 0;
    EXPECT_EQ(ZX_VDATA_UpdateData(stale, 1, &one), ZX_VDATA_ERR_BAD_ID);
    EXPECT_EQ(ZX_VDATA_ReadData(stale, 1, &back), ZX_VDATA_ERR_BAD_ID);
    EXPECT_EQ(ZX_VDATA_FreeShm(stale), ZX_VDATA_ERR_BAD_ID);
    EXPECT_EQ(ZX_VDATA_UpdateData(fresh, 1, &one), ZX_OK);
    EXPECT_EQ(ZX_VDATA_ReadData(fresh, 1, &back), ZX_OK);
    EXPECT_EQ(back, 0x42);
    EXPECT_EQ(zxhost::vdata_list().size(), ids.size());
    free_all(ids);
    EXPECT_TRUE(zxhost::vdata_list().empty());
}

TEST_F(Vdata, ArenaOutOfSlotsAnswersFullAndRecoversAfterFrees) {
    std::vector<uint32_t> ids = fill_arena(1);
    ASSERT_GT(ids.size(), 10u);
    EXPECT_EQ(std::set<uint32_t>(ids.begin(), ids.end()).size(), ids.size());
    EXPECT_EQ(zxhost::vdata_list().size(), ids.size());
    for (int i = 0; i < 5; ++i) EXPECT_EQ(ZX_VDATA_FreeShm(ids[i]), ZX_OK);
    ids.erase(ids.begin(), ids.begin() + 5);
    for (int i = 0; i < 5; ++i) ids.push_back(create(1));
    uint32_t id = 7;
    EXPECT_EQ(ZX_VDATA_CreShm(1, &id), ZX_VDATA_ERR_FULL);
    EXPECT_EQ(id, 0u);
    free_all(ids);
    EXPECT_TRUE(zxhost::vdata_list().empty());
}

TEST_F(Vdata, ArenaOutOfSpaceAnswersFullAndReusesTheGapsFreed) {
    std::vector<uint32_t> ids = fill_arena(ZX_VDATA_MAX_BLOCK);
    ASSERT_GE(ids.size(), 4u);
    // Two separate holes of one block each: each takes one block of the same size, no more.
    ASSERT_EQ(ZX_VDATA_FreeShm(ids[1]), ZX_OK);
    ASSERT_EQ(ZX_VDATA_FreeShm(ids[3]), ZX_OK);
    uint32_t id = 0;
    EXPECT_EQ(ZX_VDATA_CreShm(ZX_VDATA_MAX_BLOCK, &id), ZX_OK);
    ids[1] = id;
    EXPECT_EQ(ZX_VDATA_CreShm(ZX_VDATA_MAX_BLOCK, &id), ZX_OK);
    ids[3] = id;
    EXPECT_EQ(ZX_VDATA_CreShm(ZX_VDATA_MAX_BLOCK, &id), ZX_VDATA_ERR_FULL);

    // Blocks that share the arena keep their own bytes up to their last byte.
    for (size_t i = 0; i < ids.size(); ++i) {
        const auto data = pattern(static_cast<uint32_t>(i), ZX_VDATA_MAX_BLOCK);
        ASSERT_EQ(ZX_VDATA_UpdateData(ids[i], ZX_VDATA_MAX_BLOCK, data.data()), ZX_OK);
    }
    std::vector<uint8_t> back(ZX_VDATA_MAX_BLOCK);
    for (size_t i = 0; i < ids.size(); ++i) {
        ASSERT_EQ(ZX_VDATA_ReadData(ids[i], ZX_VDATA_MAX_BLOCK, back.data()), ZX_OK);
        EXPECT_EQ(back, pattern(static_cast<uint32_t>(i), ZX_VDATA_MAX_BLOCK)) << "block " << i;
    }
    free_all(ids);
    EXPECT_TRUE(zxhost::vdata_list().empty());
    const auto again = fill_arena(ZX_VDATA_MAX_BLOCK);
    EXPECT_EQ(again.size(), ids.size());
    free_all(again);
}

TEST_F(Vdata, ChildReadsAndFreesABlockTheParentWrote) {
    const auto data = pattern(4, 43216);
    const uint32_t id = create(43216);
    ASSERT_EQ(ZX_VDATA_UpdateData(id, 43216, data.data()), ZX_OK);

    const int code = run_in_child([&] {
        std::vector<uint8_t> back(43216);
        if (ZX_VDATA_ReadData(id, 43216, back.data()) != ZX_OK) return 1;
        if (back != data) return 2;
        if (ZX_VDATA_FreeShm(id) != ZX_OK) return 3;
        return 0;
    });
    EXPECT_EQ(code, 0);
    EXPECT_TRUE(zxhost::vdata_list().empty());
    EXPECT_EQ(ZX_VDATA_FreeShm(id), ZX_VDATA_ERR_BAD_ID);
}

TEST_F(Vdata, ParentReadsAndFreesABlockAChildWroteBeforeExiting) {
    Pipe ids;
    const pid_t child = fork();
    if (child == 0) {
        uint32_t id = 0;
        if (ZX_VDATA_CreShm(262144, &id) != ZX_OK) _exit(1);
        const auto data = pattern(5, 262144);
        if (ZX_VDATA_UpdateData(id, 262144, data.data()) != ZX_OK) _exit(2);
        _exit(write_all(ids.fd[1], &id, sizeof id) ? 0 : 3);
    }
    ASSERT_GT(child, 0);
    ids.close_write();
    ASSERT_EQ(wait_exit_code(child), 0);
    uint32_t id = 0;
    ASSERT_TRUE(read_all(ids.fd[0], &id, sizeof id));

    auto blocks = zxhost::vdata_list();
    ASSERT_EQ(blocks.size(), 1u);
    EXPECT_EQ(blocks[0].id, id);
    EXPECT_EQ(blocks[0].size, 262144u);
    EXPECT_EQ(blocks[0].creatorPid, static_cast<uint32_t>(child));

    std::vector<uint8_t> back(262144);
    ASSERT_EQ(ZX_VDATA_ReadData(id, 262144, back.data()), ZX_OK);
    EXPECT_EQ(back, pattern(5, 262144));
    EXPECT_EQ(ZX_VDATA_FreeShm(id), ZX_OK);
    EXPECT_TRUE(zxhost::vdata_list().empty());
}

TEST_F(Vdata, ProcessesCreatingTheArenaAtOnceAllGetWorkingBlocks) {
    // Nothing in this process has touched the arena yet, so the children race to create it.
    constexpr int kChildren = 4;
    SharedBarrier start(kChildren);
    Pipe ids;
    std::vector<pid_t> children;
    for (int i = 0; i < kChildren; ++i) {
        const pid_t pid = fork();
        if (pid == 0) {
            start.wait();
            uint32_t id = 0;
            if (ZX_VDATA_CreShm(1000, &id) != ZX_OK) _exit(1);
            const auto data = pattern(static_cast<uint32_t>(getpid()), 1000);
            if (ZX_VDATA_UpdateData(id, 1000, data.data()) != ZX_OK) _exit(2);
            _exit(write_all(ids.fd[1], &id, sizeof id) ? 0 : 3);
        }
        ASSERT_GT(pid, 0);
        children.push_back(pid);
    }
    ids.close_write();
    for (pid_t pid : children) EXPECT_EQ(wait_exit_code(pid), 0);

    auto blocks = zxhost::vdata_list();
    ASSERT_EQ(blocks.size(), static_cast<size_t>(kChildren));
    for (int i = 0; i < kChildren; ++i) {
        uint32_t id = 0;
        ASSERT_TRUE(read_all(ids.fd[0], &id, sizeof id));
        auto it = std::find_if(blocks.begin(), blocks.end(), [&](const zxhost::VdataBlock& b) { return b.id == id; });
        ASSERT_NE(it, blocks.end());
        std::vector<uint8_t> back(1000);
        ASSERT_EQ(ZX_VDATA_ReadData(id, 1000, back.data()), ZX_OK);
        EXPECT_EQ(back, pattern(it->creatorPid, 1000));
        EXPECT_EQ(ZX_VDATA_FreeShm(id), ZX_OK);
    }
    EXPECT_TRUE(zxhost::vdata_list().empty());
}

TEST_F(Vdata, ThreadsAndProcessesShareTheArenaWithoutMixingContents) {
    // A producer process writes blocks and passes them through a pipe to a consumer process that
    // checks and frees them, while threads of this process run their own cycles. Every party
    // starts from one shared barrier, so the calls of all processes overlap.
    constexpr int kThreads = 3;
    constexpr int kRounds = 200;
    struct Handoff {
        uint32_t id, size, seed;
    };
    SharedBarrier start(3 * kThreads);
    Pipe handoff;

    auto run_threads = [&](const std::function<bool(int)>& work) {
        std::atomic<int> failures{0};
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t)
            threads.emplace_back([&, t] {
                start.wait();
                if (!work(t)) ++failures;
            });
        for (auto& th : threads) th.join();
        return failures.load() == 0 ? 0 : 1;
    };
    auto size_of = [](uint32_t seed) { return 1 + seed * 7919 % 60000; };

    const pid_t producer = fork();
    if (producer == 0) {
        handoff.close_read();
        _exit(run_threads([&](int t) {
            for (int r = 0; r < kRounds; ++r) {
                const uint32_t seed = static_cast<uint32_t>(t * kRounds + r);
                const auto data = pattern(seed, size_of(seed));
                Handoff h{0, static_cast<uint32_t>(data.size()), seed};
                if (ZX_VDATA_CreShm(h.size, &h.id) != ZX_OK) return false;
                if (ZX_VDATA_UpdateData(h.id, h.size, data.data()) != ZX_OK) return false;
                if (!write_all(handoff.fd[1], &h, sizeof h)) return false;
            }
            return true;
        }));
    }
    ASSERT_GT(producer, 0);
    const pid_t consumer = fork();
    if (consumer == 0) {
        handoff.close_write();
        _exit(run_threads([&](int) {
            Handoff h{};
            while (read_all(handoff.fd[0], &h, sizeof h)) {
                std::vector<uint8_t> back(h.size);
                if (ZX_VDATA_ReadData(h.id, h.size, back.data()) != ZX_OK) return false;
                if (back != pattern(h.seed, size_of(h.seed))) return false;
                if (ZX_VDATA_FreeShm(h.id) != ZX_OK) return false;
            }
            return true;
        }));
    }
    ASSERT_GT(consumer, 0);
    handoff.close_read();
    handoff.close_write();

    const int local = run_threads([&](int t) {
        for (int r = 0; r < kRounds; ++r) {
            const uint32_t seed = static_cast<uint32_t>(100000 + t * kRounds + r);
            const auto data = pattern(seed, size_of(seed));
            const uint32_t size = static_cast<uint32_t>(data.size());
            uint32_t id = 0;
            if (ZX_VDATA_CreShm(size, &id) != ZX_OK) return false;
            if (ZX_VDATA_UpdateData(id, size, data.data()) != ZX_OK) return false;
            std::vector<uint8_t> back(size);
            if (ZX_VDATA_ReadData(id, size, back.data()) != ZX_OK || back != data) return false;
            if (ZX_VDATA_FreeShm(id) != ZX_OK) return false;
        }
        return true;
    });
    EXPECT_EQ(local, 0);
    EXPECT_EQ(wait_exit_code(producer), 0);
    EXPECT_EQ(wait_exit_code(consumer), 0);
    EXPECT_TRUE(zxhost::vdata_list().empty());
}

// Whether this machine gives a dead process's robust lock to the next one that waits for it:
// a child takes a process-shared robust mutex and ends holding it. The kernel does this for every
// process that registered its robust list; qemu-user does not pass that registration on
// (set_robust_list), so under it the lock stays taken for good.
bool dead_owner_is_detected() {
    void* shared = mmap(nullptr, sizeof(pthread_mutex_t), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) return false;
    auto* mutex = static_cast<pthread_mutex_t*>(shared);
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_setpshared(&attr, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&attr, PTHREAD_MUTEX_ROBUST);
    pthread_mutex_init(mutex, &attr);
    pthread_mutexattr_destroy(&attr);
    bool detected = false;
    if (run_in_child([&] { return pthread_mutex_lock(mutex) == 0 ? 0 : 1; }) == 0) {
        timespec until{};
        clock_gettime(CLOCK_REALTIME, &until);
        until.tv_sec += 2;
        detected = pthread_mutex_timedlock(mutex, &until) == EOWNERDEAD;
        // Taken over, the lock is on this thread's robust list until it is given back.
        if (detected) {
            pthread_mutex_consistent(mutex);
            pthread_mutex_unlock(mutex);
        }
    }
    munmap(shared, sizeof(pthread_mutex_t));
    return detected;
}

// The child's handler: tell the parent the copy has stopped, then stay there until killed.
int g_stuckFd = -1;
void stop_in_copy(int) {
    const char c = 'x';
    (void)!write(g_stuckFd, &c, 1);
    for (;;) pause();
}

TEST_F(Vdata, ProcessKilledInsideACopyDoesNotBlockTheOthers) {
    if (!dead_owner_is_detected())
        GTEST_SKIP() << "this machine never gives a dead process's robust lock to the next process (qemu-user "
                        "does not pass set_robust_list on): NOT checked here (reported as skipped)";
    const long page = sysconf(_SC_PAGESIZE);
    const uint32_t id = create(static_cast<uint32_t>(2 * page));
    Pipe stuck;
    const pid_t child = fork();
    if (child == 0) {
        // The source's second page is unreadable: the copy, which runs under the arena lock, faults
        // there and the handler parks the process with the lock held.
        g_stuckFd = stuck.fd[1];
        struct sigaction sa {};
        sa.sa_handler = stop_in_copy;
        sigaction(SIGSEGV, &sa, nullptr);
        sigaction(SIGBUS, &sa, nullptr);
        void* src = mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (src == MAP_FAILED || mprotect(static_cast<char*>(src) + page, page, PROT_NONE) != 0) _exit(1);
        (void)ZX_VDATA_UpdateData(id, static_cast<uint32_t>(2 * page), src);
        _exit(2);  // the copy must not have completed
    }
    ASSERT_GT(child, 0);
    stuck.close_write();
    char c = 0;
    ASSERT_EQ(read(stuck.fd[0], &c, 1), 1);
    ASSERT_EQ(kill(child, SIGKILL), 0);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));

    // Every operation still works, in this process and in another one.
    const auto data = pattern(6, 2 * page);
    EXPECT_EQ(ZX_VDATA_UpdateData(id, static_cast<uint32_t>(2 * page), data.data()), ZX_OK);
    const uint32_t other = create(64);
    EXPECT_EQ(run_in_child([&] {
                  std::vector<uint8_t> back(2 * page);
                  if (ZX_VDATA_ReadData(id, static_cast<uint32_t>(2 * page), back.data()) != ZX_OK) return 1;
                  if (back != data) return 2;
                  return ZX_VDATA_FreeShm(id) == ZX_OK && ZX_VDATA_FreeShm(other) == ZX_OK ? 0 : 3;
              }),
              0);
    EXPECT_TRUE(zxhost::vdata_list().empty());
}

TEST_F(Vdata, EachBusDirectoryHasItsOwnArena) {
    const auto data = pattern(7, 300);
    const uint32_t first = create(300);
    ASSERT_EQ(ZX_VDATA_UpdateData(first, 300, data.data()), ZX_OK);

    // The moves between directories run in a child: the platform keeps superseded environment
    // settings alive on purpose, which the leak checker would report at the end of this process.
    const int code = run_in_child([&] {
        zxtest::ScopedTempDir other("zxbus-other");
        zxtest::set_env("ZX_BUS_DIR", other.path().c_str());
        uint8_t b = 0;
        if (!zxhost::vdata_list().empty()) return 1;
        if (ZX_VDATA_ReadData(first, 1, &b) != ZX_VDATA_ERR_BAD_ID) return 2;
        uint32_t second = 0;
        if (ZX_VDATA_CreShm(10, &second) != ZX_OK || zxhost::vdata_list().size() != 1) return 3;

        zxtest::set_env("ZX_BUS_DIR", bus_.path().c_str());
        auto blocks = zxhost::vdata_list();
        if (blocks.size() != 1 || blocks[0].id != first) return 4;
        std::vector<uint8_t> back(300);
        if (ZX_VDATA_ReadData(first, 300, back.data()) != ZX_OK || back != data) return 5;
        return 0;
    });
    EXPECT_EQ(code, 0);
    ASSERT_EQ(zxhost::vdata_list().size(), 1u);
    EXPECT_EQ(ZX_VDATA_FreeShm(first), ZX_OK);
}

TEST_F(Vdata, ForeignFileInPlaceOfTheArenaIsReported) {
    { std::ofstream(bus_.path() + "/vdata.arena") << "not an arena"; }
    uint32_t id = 99;
    EXPECT_EQ(ZX_VDATA_CreShm(16, &id), ZX_VDATA_ERR_ARENA);
    EXPECT_EQ(id, 0u);
    uint8_t b = 0;
    EXPECT_EQ(ZX_VDATA_ReadData(0x400, 1, &b), ZX_VDATA_ERR_ARENA);
    EXPECT_TRUE(zxhost::vdata_list().empty());
}

TEST(VdataArena, BusDirectoryThatCannotBeCreatedIsReported) {
    zxtest::ScopedTempDir scratch;
    const std::string file = scratch.path() + "/plain-file";
    { std::ofstream(file) << "x"; }
    zxtest::set_env("ZX_BUS_DIR", file.c_str());
    uint32_t id = 99;
    EXPECT_EQ(ZX_VDATA_CreShm(16, &id), ZX_VDATA_ERR_ARENA);
    EXPECT_EQ(id, 0u);
    EXPECT_EQ(ZX_VDATA_FreeShm(0x400), ZX_VDATA_ERR_ARENA);
    EXPECT_TRUE(zxhost::vdata_list().empty());
}

}  // namespace
