// Compression units: round trips of the payloads that travel in shared blocks, the capacity
// honoured on both sides, and damaged input refused without writing past the buffer.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "payloads.h"
#include "zx_host.h"
#include "zx_platform.h"

namespace {

using zxtest::Bytes;

constexpr uint32_t kHeader = ZX_OS_COMPRESS_HEADER;
constexpr size_t kGuard = 64;
constexpr uint8_t kGuardByte = 0xA5;

using zxtest::address_list;
using zxtest::bundle_table;

Bytes random_bytes(size_t len, uint32_t seed) {
    std::mt19937 rng(seed);
    Bytes out(len);
    for (auto& b : out) b = static_cast<uint8_t>(rng());
    return out;
}

// Compresses into a buffer large enough for any input; fails the test on error.
Bytes compress(const Bytes& src) {
    Bytes out(src.size() + src.size() / 255 + 16 + kHeader);
    uint32_t len = static_cast<uint32_t>(out.size());
    EXPECT_EQ(ZX_OS_Compress(src.data(), static_cast<uint32_t>(src.size()), out.data(), &len), ZX_OK);
    EXPECT_LE(len, out.size());
    out.resize(len);
    return out;
}

uint32_t le32(const Bytes& b, size_t at) {
    return b[at] | b[at + 1] << 8 | b[at + 2] << 16 | static_cast<uint32_t>(b[at + 3]) << 24;
}

void put_le32(Bytes& b, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) b[at + i] = static_cast<uint8_t>(v >> (8 * i));
}

bool guard_intact(const Bytes& buf, size_t from) {
    return std::all_of(buf.begin() + static_cast<long>(from), buf.end(), [](uint8_t b) { return b == kGuardByte; });
}

// Decompresses unit into capacity bytes followed by guard bytes; the guard must stay untouched.
uint32_t decompress_guarded(const Bytes& unit, uint32_t capacity, Bytes& out) {
    out.assign(capacity + kGuard, kGuardByte);
    const uint32_t rc = ZX_OS_Decompress(unit.data(), out.data(), capacity);
    EXPECT_TRUE(guard_intact(out, capacity)) << "written past a capacity of " << capacity;
    out.resize(capacity);
    return rc;
}

struct Shape {
    const char* name;
    Bytes data;
};

std::vector<Shape> shapes() {
    return {
        {"one byte", Bytes{0x42}},
        {"four bytes", Bytes{'a', 'b', 'c', 'd'}},
        {"short text", address_list(40)},
        {"address list 2048", address_list(2048)},
        {"address list 2049", address_list(2049)},
        {"bundle table, 12 bundles", bundle_table(12)},
        {"bundle table, full", bundle_table(256)},
        {"address list 256 KiB", address_list(262144)},
        {"random 5000", random_bytes(5000, 7)},
        {"random 256 KiB", random_bytes(262144, 8)},
        {"zeros 1 MiB", Bytes(1 << 20, 0)},
    };
}

TEST(Compress, PayloadsRoundTripThroughTheDocumentedHeader) {
    for (const Shape& s : shapes()) {
        SCOPED_TRACE(s.name);
        const Bytes unit = compress(s.data);
        ASSERT_GT(unit.size(), kHeader);
        EXPECT_EQ(std::string(unit.begin(), unit.begin() + 4), "ZXC1");
        EXPECT_EQ(le32(unit, 4), s.data.size());
        EXPECT_EQ(le32(unit, 8), unit.size() - kHeader);
        EXPECT_EQ(ZX_OS_DecompressedLen(unit.data()), s.data.size());

        Bytes out;
        ASSERT_EQ(decompress_guarded(unit, static_cast<uint32_t>(s.data.size()), out), ZX_OK);
        EXPECT_EQ(out, s.data);
    }
}

TEST(Compress, RepetitiveShapesShrinkAndRandomDataDoesNot) {
    EXPECT_LT(compress(address_list(2049)).size(), 2049u * 3 / 4);
    EXPECT_LT(compress(bundle_table(256)).size(), 43216u / 4);
    EXPECT_LT(compress(address_list(262144)).size(), 262144u * 3 / 4);
    EXPECT_GT(compress(random_bytes(5000, 7)).size(), 5000u + kHeader);
}

TEST(Compress, LargerBufferDecompressesAndLeavesTheRestAlone) {
    const Bytes src = address_list(3000);
    const Bytes unit = compress(src);
    Bytes out;
    ASSERT_EQ(decompress_guarded(unit, 4000, out), ZX_OK);
    EXPECT_TRUE(std::equal(src.begin(), src.end(), out.begin()));
    EXPECT_TRUE(std::all_of(out.begin() + 3000, out.end(), [](uint8_t b) { return b == kGuardByte; }));
}

TEST(Compress, ExactCapacitySucceedsAndOneByteShortFailsWithinIt) {
    for (const Shape& s : shapes()) {
        SCOPED_TRACE(s.name);
        const Bytes unit = compress(s.data);
        const auto srcLen = static_cast<uint32_t>(s.data.size());
        const auto need = static_cast<uint32_t>(unit.size());

        Bytes exact(need + kGuard, kGuardByte);
        uint32_t len = need;
        ASSERT_EQ(ZX_OS_Compress(s.data.data(), srcLen, exact.data(), &len), ZX_OK);
        EXPECT_EQ(len, need);
        EXPECT_TRUE(std::equal(unit.begin(), unit.end(), exact.begin()));
        EXPECT_TRUE(guard_intact(exact, need));

        Bytes shorter(need - 1 + kGuard, kGuardByte);
        len = need - 1;
        EXPECT_EQ(ZX_OS_Compress(s.data.data(), srcLen, shorter.data(), &len), ZX_ERR_NOSPACE);
        EXPECT_EQ(len, need - 1);  // only a success reports a size
        EXPECT_TRUE(guard_intact(shorter, need - 1));
    }
}

TEST(Compress, CapacityBelowTheHeaderFails) {
    const Bytes src = address_list(100);
    for (uint32_t cap : {0u, 1u, kHeader - 1, kHeader}) {
        Bytes dst(cap + kGuard, kGuardByte);
        uint32_t len = cap;
        EXPECT_EQ(ZX_OS_Compress(src.data(), 100, dst.data(), &len), ZX_ERR_NOSPACE) << cap;
        EXPECT_EQ(len, cap);
        EXPECT_TRUE(guard_intact(dst, cap)) << cap;
    }
}

TEST(Compress, IncompressibleDataDoesNotFitABufferOfItsOwnLength) {
    for (size_t n : {64u, 4096u, 43216u}) {
        const Bytes src = random_bytes(n, 9);
        Bytes dst(n + kGuard, kGuardByte);
        uint32_t len = static_cast<uint32_t>(n);
        EXPECT_EQ(ZX_OS_Compress(src.data(), len, dst.data(), &len), ZX_ERR_NOSPACE) << n;
        EXPECT_EQ(len, n);
        EXPECT_TRUE(guard_intact(dst, n)) << n;
    }
}

TEST(Compress, NullAndZeroArgumentsAreRefused) {
    const Bytes src = address_list(100);
    Bytes dst(256);
    uint32_t len = 256;
    EXPECT_EQ(ZX_OS_Compress(nullptr, 100, dst.data(), &len), ZX_ERR_PARAM);
    EXPECT_EQ(ZX_OS_Compress(src.data(), 0, dst.data(), &len), ZX_ERR_PARAM);
    EXPECT_EQ(ZX_OS_Compress(src.data(), 100, nullptr, &len), ZX_ERR_PARAM);
    EXPECT_EQ(ZX_OS_Compress(src.data(), 100, dst.data(), nullptr), ZX_ERR_PARAM);
    EXPECT_EQ(len, 256u);

    const Bytes unit = compress(src);
    EXPECT_EQ(ZX_OS_Decompress(nullptr, dst.data(), 256), ZX_ERR_PARAM);
    EXPECT_EQ(ZX_OS_Decompress(unit.data(), nullptr, 256), ZX_ERR_PARAM);
    Bytes out;
    EXPECT_EQ(decompress_guarded(unit, 0, out), ZX_ERR_NOSPACE);
    EXPECT_EQ(ZX_OS_DecompressedLen(nullptr), 0u);
}

TEST(Compress, OriginalLargerThanTheCapacityIsRefusedBeforeWriting) {
    const Bytes src = bundle_table(256);
    const Bytes unit = compress(src);
    Bytes out;
    EXPECT_EQ(decompress_guarded(unit, 43215, out), ZX_ERR_NOSPACE);
    EXPECT_EQ(decompress_guarded(unit, 1, out), ZX_ERR_NOSPACE);

    // A header claiming more than the caller's buffer, whatever the payload says.
    Bytes inflated = unit;
    put_le32(inflated, 4, 1u << 30);
    EXPECT_EQ(decompress_guarded(inflated, 43216, out), ZX_ERR_NOSPACE);
}

TEST(Compress, DamagedHeadersAreCorrupt) {
    const Bytes src = address_list(3000);
    const Bytes unit = compress(src);
    struct Case {
        const char* what;
        size_t at;
        uint32_t value;
    };
    const Case cases[] = {
        {"magic", 0, 0x31435859u},  // "YXC1"
        {"original length 0", 4, 0},
        {"original length beyond any unit", 4, 0xFFFFFFFFu},
        {"payload length 0", 8, 0},
        {"payload length beyond any block for the original", 8, 0xFFFFFFFFu},
        {"payload length just beyond what the codec can produce", 8, 3000 + 3000 / 255 + 17},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Bytes bad = unit;
        put_le32(bad, c.at, c.value);
        EXPECT_EQ(ZX_OS_DecompressedLen(bad.data()), 0u);
        Bytes out;
        EXPECT_EQ(decompress_guarded(bad, 4000, out), ZX_ERR_CORRUPT);
    }
}

TEST(Compress, LengthsThatDisagreeWithThePayloadAreCorrupt) {
    const Bytes src = bundle_table(256);
    const Bytes unit = compress(src);
    const uint32_t payload = le32(unit, 8);
    Bytes out;

    // The payload length runs past the real block into bytes that follow it.
    Bytes longer = unit;
    longer.resize(unit.size() + 16, 0);
    put_le32(longer, 8, payload + 16);
    EXPECT_EQ(decompress_guarded(longer, 43216, out), ZX_ERR_CORRUPT);

    Bytes shorter = unit;
    put_le32(shorter, 8, payload - 1);
    EXPECT_EQ(decompress_guarded(shorter, 43216, out), ZX_ERR_CORRUPT);

    // The original length differs from what the block holds.
    for (uint32_t original : {43215u, 43217u, 100u}) {
        Bytes bad = unit;
        put_le32(bad, 4, original);
        EXPECT_EQ(decompress_guarded(bad, original, out), ZX_ERR_CORRUPT) << original;
    }
}

TEST(Compress, FlippedPayloadBytesNeverWritePastTheCapacity) {
    for (const Bytes& src : {bundle_table(256), address_list(2049)}) {
        const Bytes unit = compress(src);
        const auto capacity = static_cast<uint32_t>(src.size());
        int corrupt = 0;
        for (size_t i = kHeader; i < unit.size(); ++i) {
            for (uint8_t mask : {uint8_t{0x01}, uint8_t{0x80}, uint8_t{0xFF}}) {
                Bytes bad = unit;
                bad[i] ^= mask;
                Bytes out;
                const uint32_t rc = decompress_guarded(bad, capacity, out);
                ASSERT_TRUE(rc == ZX_OK || rc == ZX_ERR_CORRUPT) << "byte " << i << ": " << std::hex << rc;
                if (rc == ZX_ERR_CORRUPT) ++corrupt;
            }
        }
        // Literal bytes may flip into other literals; damaged tokens and offsets must be caught.
        EXPECT_GT(corrupt, 0);
    }
}

TEST(Compress, UnitsAreSelfDelimitingInAStream) {
    // Two units back to back: each header says where its payload ends.
    const Bytes a = address_list(2049, 1), b = bundle_table(40);
    Bytes stream = compress(a);
    const size_t second = stream.size();
    const Bytes ub = compress(b);
    stream.insert(stream.end(), ub.begin(), ub.end());

    Bytes out(43216);
    ASSERT_EQ(ZX_OS_Decompress(stream.data(), out.data(), 43216), ZX_OK);
    EXPECT_TRUE(std::equal(a.begin(), a.end(), out.begin()));
    ASSERT_EQ(ZX_OS_Decompress(stream.data() + second, out.data(), 43216), ZX_OK);
    EXPECT_EQ(out, b);
}

// The decompressor has no input length. A unit in a block of the platform's allocator (the
// bridge's read buffers) must lie within the block: a header cut by the block's end, or claiming
// a payload beyond it, is corrupt and nothing past the block is read.
TEST(Compress, UnitInAnAllocatorBlockMustLieWithinTheBlock) {
    const Bytes src = bundle_table(40);
    const Bytes unit = compress(src);
    Bytes out(43216);
    for (size_t len : {unit.size(), unit.size() - 1, size_t{kHeader}, size_t{kHeader - 1}, size_t{1}}) {
        auto* block = static_cast<uint8_t*>(ZX_OS_MemMallocD(static_cast<uint32_t>(len), __LINE__, 0, 1, "test"));
        ASSERT_NE(block, nullptr);
        std::memcpy(block, unit.data(), len);
        const bool whole = len == unit.size();
        EXPECT_EQ(ZX_OS_Decompress(block, out.data(), 43216), whole ? ZX_OK : ZX_ERR_CORRUPT) << len << " bytes";
        EXPECT_EQ(ZX_OS_DecompressedLen(block), whole ? src.size() : 0u) << len << " bytes";
        ZX_OS_MemFreeD(block, "test", __LINE__);
    }
    EXPECT_EQ(std::vector<uint8_t>(out.begin(), out.begin() + static_cast<long>(src.size())), src);
}

TEST(Compress, UnitWithinStoredBytesIsReadNoFurtherThanThem) {
    const Bytes src = address_list(3000, 2);
    Bytes unit = compress(src);
    Bytes out(3000);
    EXPECT_EQ(zxhost::decompress_within(unit, out.data(), 3000), ZX_OK);
    EXPECT_EQ(out, src);
    EXPECT_EQ(zxhost::decompressed_len_within(unit), 3000u);
    // Cut anywhere, the unit is corrupt and has no length.
    for (size_t len : {unit.size() - 1, size_t{kHeader}, size_t{kHeader - 1}, size_t{0}}) {
        std::span<const uint8_t> stored(unit.data(), len);
        EXPECT_EQ(zxhost::decompress_within(stored, out.data(), 3000), ZX_ERR_CORRUPT) << len << " bytes";
        EXPECT_EQ(zxhost::decompressed_len_within(stored), 0u) << len << " bytes";
    }
    // A payload length beyond the stored bytes, though within what LZ4 could produce.
    put_le32(unit, 8, le32(unit, 8) + 1);
    EXPECT_EQ(zxhost::decompress_within(unit, out.data(), 3000), ZX_ERR_CORRUPT);
    EXPECT_EQ(zxhost::decompress_within(std::span<const uint8_t>(), out.data(), 3000), ZX_ERR_PARAM);
}

}  // namespace
