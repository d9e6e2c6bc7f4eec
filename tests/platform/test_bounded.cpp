// Bounded memory and string functions at their edges. Every destination sits between guard bytes
// that must survive the call.
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <string>

#include "zx_os.h"

namespace {

constexpr unsigned char kGuard = 0xA5;

// A buffer of `size` bytes with guard bytes on both sides.
struct Guarded {
    explicit Guarded(size_t size, unsigned char fill = 0xEE) : size(size) {
        std::memset(raw, kGuard, sizeof raw);
        std::memset(raw + 16, fill, size);
    }
    char* data() { return reinterpret_cast<char*>(raw + 16); }
    bool guards_intact() const {
        for (size_t i = 0; i < 16; ++i)
            if (raw[i] != kGuard || raw[16 + size + i] != kGuard) return false;
        return true;
    }
    size_t size;
    unsigned char raw[16 + 512 + 16];
};

struct StrNCpyCase {
    const char* src;
    uint32_t dstSize;
    uint32_t count;
    uint32_t status;
    const char* result;
};

TEST(Bounded, StrNCpyTable) {
    const std::string name32(32, 'n');
    const StrNCpyCase cases[] = {
        {"tarn", 32, 31, ZX_OK, "tarn"},
        {name32.c_str(), 32, 31, ZX_OK, nullptr},  // cut to 31 by count: the caller's intent
        {"abcdef", 4, 10, ZX_ERR_CUT, "abc"},      // longer than the destination: cut
        {"abc", 4, 10, ZX_OK, "abc"},              // exact fit
        {"abcd", 4, 3, ZX_OK, "abc"},
        {"", 4, 3, ZX_OK, ""},
        {"abc", 1, 5, ZX_ERR_CUT, ""},
        {"abc", 8, 0, ZX_OK, ""},
    };
    for (const auto& c : cases) {
        Guarded g(c.dstSize);
        errno = 0;
        EXPECT_EQ(ZX_OS_StrNCpy_S(g.data(), c.dstSize, c.src, c.count), c.status) << c.src << " " << c.dstSize;
        std::string expect = c.result ? c.result : std::string(name32, 0, 31);
        EXPECT_EQ(std::string(g.data()), expect);
        EXPECT_TRUE(g.guards_intact());
        if (c.status == ZX_ERR_CUT) {
            EXPECT_EQ(ZX_OS_GetLastErr(), ERANGE);
        }
    }
}

TEST(Bounded, StrNCpyBadArguments) {
    Guarded g(8);
    EXPECT_EQ(ZX_OS_StrNCpy_S(nullptr, 8, "x", 1), ZX_ERR_PARAM);
    EXPECT_EQ(ZX_OS_StrNCpy_S(g.data(), 0, "x", 1), ZX_ERR_PARAM);
    EXPECT_EQ(static_cast<unsigned char>(g.data()[0]), 0xEE) << "size 0: nothing written";
    EXPECT_EQ(ZX_OS_StrNCpy_S(g.data(), 8, nullptr, 1), ZX_ERR_PARAM);
    EXPECT_EQ(g.data()[0], '\0');
    EXPECT_TRUE(g.guards_intact());
}

TEST(Bounded, StrNCpyReadsNoFurtherThanCountInAnUnterminatedSource) {
    const char src[4] = {'a', 'b', 'c', 'd'};  // no terminator
    Guarded g(16);
    EXPECT_EQ(ZX_OS_StrNCpy_S(g.data(), 16, src, 4), ZX_OK);
    EXPECT_STREQ(g.data(), "abcd");
}

TEST(Bounded, StrNCatAppendsAndCuts) {
    Guarded g(8);
    std::strcpy(g.data(), "abc");
    EXPECT_EQ(ZX_OS_StrNCat_S(g.data(), 8, "/", 1), ZX_OK);
    EXPECT_STREQ(g.data(), "abc/");
    EXPECT_EQ(ZX_OS_StrNCat_S(g.data(), 8, "defgh", 5), ZX_ERR_CUT);
    EXPECT_STREQ(g.data(), "abc/def");
    EXPECT_EQ(ZX_OS_StrNCat_S(g.data(), 8, "x", 1), ZX_ERR_CUT);
    EXPECT_STREQ(g.data(), "abc/def");
    EXPECT_TRUE(g.guards_intact());
}

TEST(Bounded, StrNCatOfAPathWithoutSlashIntoItsOwnLengthPlusOne) {
    // "abc" needs "abc/" but the buffer holds len + 1 bytes: the text stays "abc".
    Guarded g(4, 0);
    EXPECT_EQ(ZX_OS_StrNCat_S(g.data(), 4, "abc", 3), ZX_OK);
    EXPECT_EQ(ZX_OS_StrNCat_S(g.data(), 4, "/", 1), ZX_ERR_CUT);
    EXPECT_STREQ(g.data(), "abc");
    EXPECT_TRUE(g.guards_intact());
}

TEST(Bounded, StrNCatUnterminatedDestinationIsTerminatedAndRefused) {
    Guarded g(4, 'z');
    EXPECT_EQ(ZX_OS_StrNCat_S(g.data(), 4, "a", 1), ZX_ERR_PARAM);
    EXPECT_EQ(std::string(g.data()), "zzz");
    EXPECT_TRUE(g.guards_intact());
    EXPECT_EQ(ZX_OS_StrNCat_S(nullptr, 4, "a", 1), ZX_ERR_PARAM);
    EXPECT_EQ(ZX_OS_StrNCat_S(g.data(), 4, nullptr, 1), ZX_ERR_PARAM);
    EXPECT_EQ(ZX_OS_StrNCat_S(g.data(), 0, "a", 1), ZX_ERR_PARAM);
}

TEST(Bounded, SnprintfCountsAndCuts) {
    Guarded g(16);
    EXPECT_EQ(ZX_OS_Snprintf_S(g.data(), 16, 15, "%d", 42), 2);
    EXPECT_STREQ(g.data(), "42");
    // count = size: at most size - 1 characters still
    EXPECT_EQ(ZX_OS_Snprintf_S(g.data(), 16, 16, "%s", "0123456789abcdef"), 15);
    EXPECT_STREQ(g.data(), "0123456789abcde");
    errno = 0;
    EXPECT_EQ(ZX_OS_Snprintf_S(g.data(), 16, 4, "%s", "abcdefgh"), 4);
    EXPECT_STREQ(g.data(), "abcd");
    EXPECT_EQ(ZX_OS_GetLastErr(), ERANGE);
    EXPECT_EQ(ZX_OS_Snprintf_S(g.data(), 16, 0, "%s", "x"), 0);
    EXPECT_STREQ(g.data(), "");
    EXPECT_TRUE(g.guards_intact());
}

TEST(Bounded, SnprintfCutNeverMovesAWritePositionPastTheBlock) {
    // A caller appending entries adds each return to its position: the position stays inside.
    Guarded g(10, 0);
    uint32_t used = 0;
    for (int i = 0; i < 5; ++i) {
        uint32_t space = 10 - used;
        used += ZX_OS_Snprintf_S(g.data() + used, space, space, "%s", "entry,");
        ASSERT_LT(used, 10u);
    }
    EXPECT_STREQ(g.data(), "entry,ent");
    EXPECT_TRUE(g.guards_intact());
}

TEST(Bounded, SnprintfBadArguments) {
    char buf[4] = "abc";
    EXPECT_EQ(ZX_OS_Snprintf_S(nullptr, 4, 3, "x"), -1);
    EXPECT_EQ(ZX_OS_Snprintf_S(buf, 0, 3, "x"), -1);
    EXPECT_STREQ(buf, "abc");
    EXPECT_EQ(ZX_OS_Snprintf_S(buf, 4, 3, nullptr), -1);
}

TEST(Bounded, MemSetAndMemCpyStayInside) {
    Guarded g(8);
    EXPECT_EQ(ZX_OS_MemSet_S(g.data(), 8, 0, 8), ZX_OK);
    EXPECT_EQ(ZX_OS_MemSet_S(g.data(), 8, 1, 9), ZX_ERR_CUT);
    for (int i = 0; i < 8; ++i) EXPECT_EQ(g.data()[i], 1);
    EXPECT_EQ(ZX_OS_MemSet_S(nullptr, 8, 0, 8), ZX_ERR_PARAM);
    EXPECT_TRUE(g.guards_intact());

    // A 25-byte MAC text into a 19-byte entry: the neighbour is not touched.
    const char mac[] = "00:11:22:33:44:55:66:77:8";
    Guarded e(19);
    EXPECT_EQ(ZX_OS_MemCpy_S(e.data(), 19, mac, sizeof mac - 1), ZX_ERR_CUT);
    EXPECT_EQ(std::memcmp(e.data(), mac, 19), 0);
    EXPECT_TRUE(e.guards_intact());
    EXPECT_EQ(ZX_OS_MemCpy_S(e.data(), 19, mac, 0), ZX_OK);
    EXPECT_EQ(ZX_OS_MemCpy_S(e.data(), 19, nullptr, 1), ZX_ERR_PARAM);
    EXPECT_EQ(ZX_OS_MemCpy_S(nullptr, 19, mac, 1), ZX_ERR_PARAM);
    EXPECT_EQ(ZX_OS_MemCpy_S(e.data(), 19, nullptr, 0), ZX_OK);
}

TEST(Bounded, MemCpyHandlesOverlap) {
    char buf[16] = "abcdefgh";
    EXPECT_EQ(ZX_OS_MemCpy_S(buf + 2, 14, buf, 8), ZX_OK);
    EXPECT_EQ(std::string(buf, 10), "ababcdefgh");
}

TEST(Bounded, StrToNumbers) {
    struct U {
        const char* text;
        uint32_t status;
        uint32_t value;
    } ucases[] = {{"8443", ZX_OK, 8443},         {" 42 ", ZX_OK, 42},      {"4294967295", ZX_OK, 4294967295u},
                  {"4294967296", ZX_ERR_CUT, 7}, {"-1", ZX_ERR_PARAM, 7},  {"12ab", ZX_ERR_PARAM, 7},
                  {"", ZX_ERR_PARAM, 7},         {"abc", ZX_ERR_PARAM, 7}, {"0", ZX_OK, 0}};
    for (const auto& c : ucases) {
        uint32_t v = 7;
        EXPECT_EQ(ZX_OS_StrToUInt32(c.text, &v), c.status) << c.text;
        EXPECT_EQ(v, c.value) << c.text << ": output written only on success";
    }
    struct I {
        const char* text;
        uint32_t status;
        int32_t value;
    } icases[] = {{"-2147483648", ZX_OK, INT32_MIN},
                  {"2147483647", ZX_OK, INT32_MAX},
                  {"2147483648", ZX_ERR_CUT, 7},
                  {"12 MB", ZX_ERR_PARAM, 7},
                  {"+5", ZX_OK, 5},
                  {"-", ZX_ERR_PARAM, 7}};
    for (const auto& c : icases) {
        int32_t v = 7;
        EXPECT_EQ(ZX_OS_StrToInt32(c.text, &v), c.status) << c.text;
        EXPECT_EQ(v, c.value) << c.text;
    }
    uint32_t u;
    int32_t i;
    EXPECT_EQ(ZX_OS_StrToUInt32(nullptr, &u), ZX_ERR_PARAM);
    EXPECT_EQ(ZX_OS_StrToUInt32("1", nullptr), ZX_ERR_PARAM);
    EXPECT_EQ(ZX_OS_StrToInt32(nullptr, &i), ZX_ERR_PARAM);
}

TEST(Bounded, SscanfAndStrCmpAcceptNull) {
    unsigned v[6] = {};
    EXPECT_EQ(ZX_OS_Sscanf_S("00:1a:2B:ff:4:100", "%x:%x:%x:%x:%x:%x", &v[0], &v[1], &v[2], &v[3], &v[4], &v[5]), 6);
    EXPECT_EQ(v[2], 0x2Bu);
    EXPECT_EQ(v[5], 0x100u);
    EXPECT_EQ(ZX_OS_Sscanf_S(nullptr, "%x", &v[0]), -1);
    EXPECT_EQ(ZX_OS_Sscanf_S("1", nullptr), -1);
    EXPECT_EQ(ZX_OS_StrCmp("start", "start"), 0);
    EXPECT_NE(ZX_OS_StrCmp("Start", "start"), 0);
    EXPECT_EQ(ZX_OS_StrCmp(nullptr, nullptr), 0);
    EXPECT_LT(ZX_OS_StrCmp(nullptr, ""), 0);
    EXPECT_GT(ZX_OS_StrCmp("", nullptr), 0);
}

}  // namespace
