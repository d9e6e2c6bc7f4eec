// Injected faults of the platform calls: each kind fails on demand, does nothing when it fails,
// counts down on its own and is counted; the allocator's and the System V calls' older names drive
// the same faults.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <string>

#include "test_env.h"
#include "zx_host.h"

namespace {

using zxhost::Call;

class Faults : public testing::Test {
protected:
    void SetUp() override { zxhost::fault_clear(); }
    void TearDown() override { zxhost::fault_clear(); }
    zxtest::ScopedBusDir bus_;
};

bool block_exists(uint32_t id) {
    auto blocks = zxhost::vdata_list();
    return std::any_of(blocks.begin(), blocks.end(), [&](const zxhost::VdataBlock& b) { return b.id == id; });
}

TEST_F(Faults, NthCallFailsOnceThenCallsSucceedAgain) {
    const uint64_t before = zxhost::faults_injected();
    const uint64_t beforeKind = zxhost::faults_injected(Call::LocalTime);
    zxhost::fault_nth(Call::LocalTime, 3);
    ZX_OS_TM tm{};
    EXPECT_EQ(ZX_OS_GetLocalTime(&tm), ZX_OK);
    EXPECT_EQ(ZX_OS_GetLocalTime(&tm), ZX_OK);
    ZX_OS_TM untouched{};
    std::memset(&untouched, 0x5A, sizeof untouched);
    EXPECT_EQ(ZX_OS_GetLocalTime(&untouched), ZX_ERR_SYS);
    ZX_OS_TM expected{};
    std::memset(&expected, 0x5A, sizeof expected);
    EXPECT_EQ(std::memcmp(&untouched, &expected, sizeof expected), 0) << "a failed call writes nothing";
    EXPECT_EQ(ZX_OS_GetLocalTime(&tm), ZX_OK);
    EXPECT_EQ(zxhost::faults_injected(), before + 1);
    EXPECT_EQ(zxhost::faults_injected(Call::LocalTime), beforeKind + 1);
}

TEST_F(Faults, EachKindCountsDownOnItsOwn) {
    zxhost::fault_nth(Call::MutexLock, 2);
    zxhost::fault_nth(Call::MutexUnlock, 1);
    ZX_MUTEX m{};
    ASSERT_EQ(ZX_OS_MutexInit(&m), ZX_OK);
    EXPECT_EQ(ZX_OS_MutexLock(&m), ZX_OK);
    EXPECT_EQ(ZX_OS_MutexUnLock(&m), ZX_ERR_SYS);
    EXPECT_EQ(m.uiState, 1u) << "a failed unlock leaves the mutex held";
    EXPECT_EQ(ZX_OS_MutexUnLock(&m), ZX_OK);
    EXPECT_EQ(ZX_OS_MutexLock(&m), ZX_ERR_SYS);
    EXPECT_EQ(m.uiState, 0u) << "a failed lock takes nothing";
    EXPECT_EQ(ZX_OS_MutexLock(&m), ZX_OK);
    EXPECT_EQ(ZX_OS_MutexUnLock(&m), ZX_OK);

    zxhost::fault_nth(Call::MutexInit, 1);
    std::memset(&m, 0xFF, sizeof m);
    EXPECT_EQ(ZX_OS_MutexInit(&m), ZX_ERR_SYS);
    EXPECT_EQ(m.uiState, 0xFFFFFFFFu);
}

TEST_F(Faults, ArgumentChecksComeFirstAndDoNotCount) {
    zxhost::fault_nth(Call::LocalTime, 1);
    EXPECT_EQ(ZX_OS_GetLocalTime(nullptr), ZX_ERR_PARAM);
    ZX_OS_TM tm{};
    EXPECT_EQ(ZX_OS_GetLocalTime(&tm), ZX_ERR_SYS);
}

TEST_F(Faults, ZeroCancelsAndClearCancelsEveryKind) {
    zxhost::fault_nth(Call::LocalTime, 1);
    zxhost::fault_nth(Call::LocalTime, 0);
    ZX_OS_TM tm{};
    EXPECT_EQ(ZX_OS_GetLocalTime(&tm), ZX_OK);
    zxhost::fault_nth(Call::LocalTime, 1);
    zxhost::fault_nth(Call::IfIpAndMac, 1);
    zxhost::fault_at(Call::Alloc, "l2tp_api", 76);
    zxhost::fault_clear();
    EXPECT_EQ(ZX_OS_GetLocalTime(&tm), ZX_OK);
    uint32_t ip = 0;
    EXPECT_NE(ZX_OS_GetIfIpAndMac("br0", &ip, nullptr), ZX_ERR_SYS);
    void* p = ZX_OS_MemMallocD(8, 76, 0, 1, "l2tp_api");
    EXPECT_NE(p, nullptr);
    ZX_OS_MemFreeD(p, "l2tp_api", 87);
}

TEST_F(Faults, ClearOfOneKindLeavesTheOthers) {
    zxhost::fault_nth(Call::LocalTime, 1);
    zxhost::fault_nth(Call::Select, 1);
    zxhost::fault_clear(Call::LocalTime);
    ZX_OS_TM tm{};
    EXPECT_EQ(ZX_OS_GetLocalTime(&tm), ZX_OK);
    errno = 0;
    EXPECT_EQ(ZX_OS_Select(0, nullptr, nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(errno, EIO);
}

TEST_F(Faults, AllocationFromOneFileAndLineFailsUntilCleared) {
    const uint64_t before = zxhost::faults_injected(Call::Alloc);
    zxhost::fault_at(Call::Alloc, "../velm/zx_velm_jni_api", 550);
    EXPECT_EQ(ZX_OS_MemMallocSet(16, 0, 0, 1, 550, "../velm/zx_velm_jni_api"), nullptr);
    EXPECT_EQ(ZX_OS_MemMallocD(16, 550, 0, 1, "../velm/zx_velm_jni_api"), nullptr);
    void* other = ZX_OS_MemMallocD(16, 551, 0, 1, "../velm/zx_velm_jni_api");
    void* otherFile = ZX_OS_MemMallocD(16, 550, 0, 1, "l2tp_api");
    EXPECT_NE(other, nullptr);
    EXPECT_NE(otherFile, nullptr);
    ZX_OS_MemFreeD(other, "t", 1);
    ZX_OS_MemFreeD(otherFile, "t", 1);
    EXPECT_EQ(zxhost::faults_injected(Call::Alloc), before + 2);
    EXPECT_EQ(zxhost::alloc_failures_injected(), before + 2) << "the allocator's own count is the same";
    zxhost::fault_clear(Call::Alloc);
    void* p = ZX_OS_MemMallocD(16, 550, 0, 1, "../velm/zx_velm_jni_api");
    EXPECT_NE(p, nullptr);
    ZX_OS_MemFreeD(p, "t", 1);
}

TEST_F(Faults, FileAndLineMatchOnlyCallsThatCarryThem) {
    zxhost::fault_at(Call::LocalTime, "l2tp_api", 746);
    ZX_OS_TM tm{};
    EXPECT_EQ(ZX_OS_GetLocalTime(&tm), ZX_OK);
}

TEST_F(Faults, AllocatorOlderNamesDriveTheSameFault) {
    zxhost::alloc_fail_nth(2);
    void* a = ZX_OS_MemMallocD(8, 1, 0, 1, "t");
    EXPECT_NE(a, nullptr);
    EXPECT_EQ(ZX_OS_MemMallocD(8, 1, 0, 1, "t"), nullptr);
    ZX_OS_MemFreeD(a, "t", 1);
    zxhost::fault_nth(Call::Alloc, 1);
    zxhost::alloc_fail_clear();
    a = ZX_OS_MemMallocD(8, 1, 0, 1, "t");
    EXPECT_NE(a, nullptr);
    ZX_OS_MemFreeD(a, "t", 1);
}

TEST_F(Faults, SystemVOlderNamesDriveTheSameFault) {
    const uint64_t before = zxhost::faults_injected(Call::ShmGet);
    const uint64_t beforeAll = zxhost::shm_failures_injected();
    zxhost::shm_fail(zxhost::ShmCall::Get, 1);
    errno = 0;
    EXPECT_EQ(ZX_OS_ShmGet(0, 4096, 0600), -1);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(zxhost::faults_injected(Call::ShmGet), before + 1);
    EXPECT_EQ(zxhost::shm_failures_injected(), beforeAll + 1);
    zxhost::fault_nth(Call::ShmAt, 1);
    errno = 0;
    EXPECT_EQ(ZX_OS_ShmAt(-1, nullptr, 0), nullptr);
    EXPECT_EQ(errno, EACCES);
    zxhost::fault_nth(Call::ShmCtl, 1);
    zxhost::shm_fail_clear();
    errno = 0;
    EXPECT_EQ(ZX_OS_ShmCtl(-1, 0, nullptr), -1);
    EXPECT_EQ(errno, EINVAL) << "the kernel's own answer: the fault was cleared";
}

TEST_F(Faults, SharedBlockCallsFailWithoutTouchingTheBlock) {
    uint32_t id = 0;
    zxhost::fault_nth(Call::VdataCreate, 1);
    const size_t blocks = zxhost::vdata_list().size();
    EXPECT_EQ(ZX_VDATA_CreShm(64, &id), ZX_VDATA_ERR_ARENA);
    EXPECT_EQ(id, 0u);
    EXPECT_EQ(zxhost::vdata_list().size(), blocks) << "no block was created";

    ASSERT_EQ(ZX_VDATA_CreShm(64, &id), ZX_OK);
    const char data[8] = "payload";
    zxhost::fault_nth(Call::VdataUpdate, 1);
    EXPECT_EQ(ZX_VDATA_UpdateData(id, sizeof data, data), ZX_VDATA_ERR_ARENA);
    char out[8] = "xxxxxxx";
    ASSERT_EQ(ZX_VDATA_ReadData(id, sizeof out, out), ZX_OK);
    EXPECT_EQ(std::string(out, 7), std::string(7, '\0')) << "the failed update wrote nothing";

    ASSERT_EQ(ZX_VDATA_UpdateData(id, sizeof data, data), ZX_OK);
    zxhost::fault_nth(Call::VdataRead, 1);
    std::memcpy(out, "xxxxxxx", 8);
    EXPECT_EQ(ZX_VDATA_ReadData(id, sizeof out, out), ZX_VDATA_ERR_ARENA);
    EXPECT_STREQ(out, "xxxxxxx");

    zxhost::fault_nth(Call::VdataFree, 1);
    EXPECT_EQ(ZX_VDATA_FreeShm(id), ZX_VDATA_ERR_ARENA);
    EXPECT_TRUE(block_exists(id)) << "the failed free left the block";
    EXPECT_EQ(ZX_VDATA_FreeShm(id), ZX_OK);
    EXPECT_FALSE(block_exists(id));
}

TEST_F(Faults, CompressionFailsOnDemand) {
    const std::string text(3000, 'a');
    char packed[4096];
    uint32_t len = sizeof packed;
    zxhost::fault_nth(Call::Compress, 1);
    EXPECT_EQ(ZX_OS_Compress(text.data(), static_cast<uint32_t>(text.size()), packed, &len), ZX_ERR_SYS);
    EXPECT_EQ(len, sizeof packed);
    ASSERT_EQ(ZX_OS_Compress(text.data(), static_cast<uint32_t>(text.size()), packed, &len), ZX_OK);
    std::string back(3000, '\0');
    zxhost::fault_nth(Call::Decompress, 1);
    EXPECT_EQ(ZX_OS_Decompress(packed, back.data(), 3000), ZX_ERR_SYS);
    EXPECT_EQ(back, std::string(3000, '\0'));
    EXPECT_EQ(ZX_OS_Decompress(packed, back.data(), 3000), ZX_OK);
    EXPECT_EQ(back, text);
}

TEST_F(Faults, BusInitAndRegistrationFailOnDemand) {
    zxhost::fault_nth(Call::MsgInit, 1);
    EXPECT_EQ(ZX_MSG_Init("faulted", 1024, 1024, 0), ZX_ERR_SYS);
    EXPECT_TRUE(std::string(ZX_MSG_GetCurProcName() ? ZX_MSG_GetCurProcName() : "") != "faulted");
    zxhost::fault_nth(Call::MsgRegisterMid, 1);
    EXPECT_EQ(ZX_MSG_RegisterMID(
                  3, [](const void*) -> uint32_t { return 0; }, 1),
              ZX_ERR_SYS);
}

std::atomic<int> g_threadRuns{0};

TEST_F(Faults, ThreadCreationFailsWithoutAThread) {
    zxhost::fault_nth(Call::PthreadCreate, 1);
    ZX_THREAD_ID tid = 77;
    errno = 0;
    EXPECT_EQ(ZX_OS_PthreadCreate(
                  &tid, nullptr,
                  [](void*) -> void* {
                      ++g_threadRuns;
                      return nullptr;
                  },
                  nullptr),
              ZX_ERR_SYS);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(tid, 77u);
    usleep(20000);
    EXPECT_EQ(g_threadRuns, 0);
}

TEST_F(Faults, FileCallsFailWithoutADescriptor) {
    zxtest::ScopedTempDir dir("zxfault");
    const std::string path = dir.path() + "/f";
    const int fds = zxtest::open_fd_count();
    zxhost::fault_nth(Call::Open, 1);
    errno = 0;
    EXPECT_EQ(ZX_OS_Open(path.c_str(), O_CREAT | O_RDWR, 0600), -1);
    EXPECT_EQ(errno, EACCES);
    EXPECT_EQ(zxtest::open_fd_count(), fds);
    EXPECT_NE(access(path.c_str(), F_OK), 0) << "nothing was created";

    const int fd = ZX_OS_Open(path.c_str(), O_CREAT | O_RDWR, 0600);
    ASSERT_GE(fd, 0);
    zxhost::fault_nth(Call::Write, 1);
    EXPECT_EQ(ZX_OS_Write(fd, "abc", 3), -1);
    EXPECT_EQ(ZX_OS_Write(fd, "abc", 3), 3);
    ASSERT_EQ(lseek(fd, 0, SEEK_SET), 0);
    char buf[8] = {};
    zxhost::fault_nth(Call::Read, 1);
    EXPECT_EQ(ZX_OS_Read(fd, buf, sizeof buf), -1);
    EXPECT_EQ(ZX_OS_Read(fd, buf, sizeof buf), 3) << "the failed read consumed nothing";
    EXPECT_STREQ(buf, "abc");
    ZX_OS_Close(fd);

    zxhost::fault_nth(Call::Fopen, 1);
    EXPECT_EQ(ZX_OS_Fopen(path.c_str(), "at"), nullptr);
    EXPECT_EQ(zxtest::open_fd_count(), fds);
    FILE* fp = ZX_OS_Fopen(path.c_str(), "at");
    ASSERT_NE(fp, nullptr);
    zxhost::fault_nth(Call::Fputs, 1);
    EXPECT_EQ(ZX_OS_Fputs("line\r\n", fp), EOF);
    ZX_OS_Fclose(fp);
    fp = ZX_OS_Fopen(path.c_str(), "r");
    ASSERT_NE(fp, nullptr);
    char line[16] = {};
    EXPECT_NE(ZX_OS_Fgets(line, sizeof line, fp), nullptr);
    EXPECT_STREQ(line, "abc") << "the failed append wrote nothing";
    ZX_OS_Fclose(fp);
}

TEST_F(Faults, InterfaceReadFailsWithoutWriting) {
    uint32_t ip = 0x01020304;
    uint8_t mac[6] = {1, 2, 3, 4, 5, 6};
    zxhost::fault_nth(Call::IfIpAndMac, 1);
    EXPECT_EQ(ZX_OS_GetIfIpAndMac("br0", &ip, mac), ZX_ERR_SYS);
    EXPECT_EQ(ip, 0x01020304u);
    EXPECT_EQ(mac[5], 6);
    EXPECT_EQ(ZX_OS_GetIfIpAndMac("br0", &ip, mac), ZX_OK);
}

}  // namespace
