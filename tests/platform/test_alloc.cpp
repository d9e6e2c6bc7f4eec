// Tracing allocator: counting, listing, foreign frees and fault injection.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "zx_host.h"

namespace {

TEST(Alloc, CountsOutstandingBlocksUntilFreed) {
    uint64_t before = zxhost::alloc_outstanding();
    void* a = ZX_OS_MemMallocD(10, 76, 0, 1, "l2tp_api");
    void* b = ZX_OS_MemMallocSet(20, 0, 0, 1, 387, "../velm/zx_velm_jni_api");
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(zxhost::alloc_outstanding(), before + 2);
    auto list = zxhost::alloc_list();
    ASSERT_GE(list.size(), 2u);
    EXPECT_EQ(list[list.size() - 2].file, "l2tp_api");
    EXPECT_EQ(list[list.size() - 2].line, 76u);
    EXPECT_EQ(list[list.size() - 1].size, 20u);
    EXPECT_EQ(list[list.size() - 1].line, 387u);
    ZX_OS_MemFreeD(a, "l2tp_api", 87);
    EXPECT_EQ(zxhost::alloc_outstanding(), before + 1);
    ZX_OS_MemFreeD(b, "f", 1);
    EXPECT_EQ(zxhost::alloc_outstanding(), before);
}

TEST(Alloc, MallocSetFillsEveryByte) {
    auto* p = static_cast<unsigned char*>(ZX_OS_MemMallocSet(300, 0xAB, 0, 1, 1, "t"));
    ASSERT_NE(p, nullptr);
    for (int i = 0; i < 300; ++i) ASSERT_EQ(p[i], 0xAB) << i;
    ZX_OS_MemFreeD(p, "t", 2);
    p = static_cast<unsigned char*>(ZX_OS_MemMallocSet(64, 0, 0, 1, 1, "t"));
    ASSERT_NE(p, nullptr);
    for (int i = 0; i < 64; ++i) ASSERT_EQ(p[i], 0) << i;
    ZX_OS_MemFreeD(p, "t", 2);
}

TEST(Alloc, ZeroSizeGivesNullAndFreeOfNullIsHarmless) {
    uint64_t before = zxhost::alloc_outstanding();
    EXPECT_EQ(ZX_OS_MemMallocD(0, 1, 0, 1, "t"), nullptr);
    EXPECT_EQ(ZX_OS_MemMallocSet(0, 0, 0, 1, 1, "t"), nullptr);
    ZX_OS_MemFreeD(nullptr, "t", 1);
    EXPECT_EQ(zxhost::alloc_outstanding(), before);
}

TEST(Alloc, FreeOfASystemBlockIsCountedAsForeign) {
    uint64_t foreign = zxhost::alloc_foreign_frees();
    uint64_t before = zxhost::alloc_outstanding();
    ZX_OS_MemFreeD(std::malloc(16), "baseservice_jni", 1);
    EXPECT_EQ(zxhost::alloc_foreign_frees(), foreign + 1);
    EXPECT_EQ(zxhost::alloc_outstanding(), before);
}

TEST(Alloc, FailNthFailsExactlyThatAllocation) {
    uint64_t injected = zxhost::alloc_failures_injected();
    zxhost::alloc_fail_nth(3);
    void* a = ZX_OS_MemMallocD(8, 1, 0, 1, "t");
    void* b = ZX_OS_MemMallocD(8, 2, 0, 1, "t");
    void* c = ZX_OS_MemMallocD(8, 3, 0, 1, "t");
    void* d = ZX_OS_MemMallocD(8, 4, 0, 1, "t");
    EXPECT_NE(a, nullptr);
    EXPECT_NE(b, nullptr);
    EXPECT_EQ(c, nullptr);
    EXPECT_NE(d, nullptr) << "only the third one fails";
    EXPECT_EQ(zxhost::alloc_failures_injected(), injected + 1);
    for (void* p : {a, b, d}) ZX_OS_MemFreeD(p, "t", 9);
}

TEST(Alloc, FailAtLineFailsEveryAllocationFromThatPlaceUntilCleared) {
    zxhost::alloc_fail_at("l2tp_api", 76);
    EXPECT_EQ(ZX_OS_MemMallocD(8, 76, 0, 1, "l2tp_api"), nullptr);
    EXPECT_EQ(ZX_OS_MemMallocSet(8, 0, 0, 1, 76, "l2tp_api"), nullptr);
    void* other = ZX_OS_MemMallocD(8, 77, 0, 1, "l2tp_api");
    void* otherFile = ZX_OS_MemMallocD(8, 76, 0, 1, "l2tp_jni");
    EXPECT_NE(other, nullptr);
    EXPECT_NE(otherFile, nullptr);
    zxhost::alloc_fail_clear();
    void* now = ZX_OS_MemMallocD(8, 76, 0, 1, "l2tp_api");
    EXPECT_NE(now, nullptr);
    for (void* p : {other, otherFile, now}) ZX_OS_MemFreeD(p, "t", 1);
}

TEST(Alloc, StrDupCopiesIntoATrackedBlock) {
    uint64_t before = zxhost::alloc_outstanding();
    char* s = ZX_OS_StrDup("{\"Result\":0,\"Info\":[] }");
    ASSERT_NE(s, nullptr);
    EXPECT_STREQ(s, "{\"Result\":0,\"Info\":[] }");
    EXPECT_EQ(zxhost::alloc_outstanding(), before + 1);
    ZX_OS_MemFreeD(s, "t", 1);
    EXPECT_EQ(ZX_OS_StrDup(nullptr), nullptr);
    zxhost::alloc_fail_nth(1);
    EXPECT_EQ(ZX_OS_StrDup("x"), nullptr);
    EXPECT_EQ(zxhost::alloc_outstanding(), before);
}

}  // namespace
