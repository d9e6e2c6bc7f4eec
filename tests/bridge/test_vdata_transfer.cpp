// Shared-block transfer: what the writers store and record, what the readers hand back, and that
// every failure path frees what it took (heap blocks and shared blocks alike).
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "test_env.h"
#include "trace_lines.h"
#include "zx_bridge.h"
#include "zx_host.h"

namespace {

using zxtest::L;
using zxtest::L1;
using zxtest::nothing_left_behind;
using zxtest::take_records;
using Bytes = std::vector<uint8_t>;

constexpr const char* kL2tpApi = "l2tp_api";
constexpr const char* kVelmApi = "../velm/zx_velm_jni_api";

// Text-like payload that compresses well.
Bytes compressible(size_t n) {
    Bytes out;
    for (int i = 0; out.size() < n; ++i) {
        char line[64];
        int len = std::snprintf(line, sizeof line, "tunnel %d dst 10.%d.%d.0/24;", i % 97, i % 13, i % 7);
        out.insert(out.end(), line, line + len);
    }
    out.resize(n);
    return out;
}

// Bytes no compressor can shrink.
Bytes incompressible(size_t n, uint64_t seed = 0x9E3779B97F4A7C15u) {
    Bytes out(n);
    for (uint8_t& b : out) {
        seed ^= seed << 13;
        seed ^= seed >> 7;
        seed ^= seed << 17;
        b = static_cast<uint8_t>(seed >> 24);
    }
    return out;
}

// Compresses to more than the largest block the platform creates (4 MiB), but to less than its
// own length: 5 MiB of noise followed by 4 MiB of zeros.
Bytes too_large_for_a_block() {
    Bytes out = incompressible(5u << 20);
    out.resize(9u << 20, 0);
    return out;
}

uint32_t word(const void* p) { return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(p)); }

Bytes block_bytes(uint32_t id, uint32_t len) {
    Bytes out(len);
    EXPECT_EQ(ZX_VDATA_ReadData(id, len, out.data()), ZX_OK);
    return out;
}

// The blocks that exist, as (id, size) pairs.
std::vector<std::pair<uint32_t, uint32_t>> blocks() {
    std::vector<std::pair<uint32_t, uint32_t>> out;
    for (const zxhost::VdataBlock& b : zxhost::vdata_list()) out.emplace_back(b.id, b.size);
    return out;
}

// A heap buffer handed out by a reader, released the way its caller does.
struct Released {
    void* ptr = nullptr;
    ~Released() { ZX_OS_MemFreeD(ptr, "test", __LINE__); }
};

class VdataTransfer : public testing::Test {
protected:
    void SetUp() override { zxhost::trace_capture_start(); }
    void TearDown() override {
        zxhost::alloc_fail_clear();
        zxhost::trace_capture_stop();
    }

    zxtest::ScopedBusDir bus_;  // the shared arena lives in the bus directory
};

// ---------------------------------------------------------------------------------------------
// Tunnel payloads
// ---------------------------------------------------------------------------------------------

TEST_F(VdataTransfer, TunnelPayloadOf2048BytesIsStoredAsItIsWithoutAWorkBuffer) {
    // A work buffer would come from line 76; failing it proves none is taken.
    zxhost::alloc_fail_at(kL2tpApi, 76);
    Bytes data = compressible(2048);
    TunnelVDataRecord rec{};
    ASSERT_EQ(L2TP_API_WriteVData(&rec, data.data(), 2048), 0u);
    EXPECT_EQ(rec.uiOriginalLen, 2048u);
    EXPECT_EQ(rec.uiCompressedLen, 2048u);
    EXPECT_EQ(blocks(), (std::vector<std::pair<uint32_t, uint32_t>>{{rec.uivDataID, 2048}}));
    EXPECT_EQ(block_bytes(rec.uivDataID, 2048), data);
    EXPECT_EQ(zxhost::alloc_failures_injected(), 0u);

    {
        Released out;
        ASSERT_EQ(JNI_API_ReadVData(&rec, &out.ptr), 0u);
        ASSERT_NE(out.ptr, nullptr);
        EXPECT_EQ(Bytes(static_cast<uint8_t*>(out.ptr), static_cast<uint8_t*>(out.ptr) + 2048), data);
    }
    EXPECT_TRUE(take_records().empty());
    EXPECT_TRUE(nothing_left_behind()) << "the reader frees the block";
}

TEST_F(VdataTransfer, TunnelPayloadOf2049BytesIsCompressed) {
    Bytes data = compressible(2049);
    TunnelVDataRecord rec{};
    ASSERT_EQ(L2TP_API_WriteVData(&rec, data.data(), 2049), 0u);
    EXPECT_EQ(rec.uiOriginalLen, 2049u);
    EXPECT_LT(rec.uiCompressedLen, 2049u);
    EXPECT_EQ(blocks(), (std::vector<std::pair<uint32_t, uint32_t>>{{rec.uivDataID, rec.uiCompressedLen}}));
    EXPECT_EQ(zxhost::alloc_outstanding(), 0u) << "the work buffer is freed";

    // The receiving side decompresses what was stored and gets the payload back.
    Bytes stored = block_bytes(rec.uivDataID, rec.uiCompressedLen);
    EXPECT_EQ(ZX_OS_DecompressedLen(stored.data()), 2049u);
    Bytes restored(2049);
    ASSERT_EQ(ZX_OS_Decompress(stored.data(), restored.data(), 2049), ZX_OK);
    EXPECT_EQ(restored, data);
    EXPECT_TRUE(take_records().empty());
    EXPECT_EQ(ZX_VDATA_FreeShm(rec.uivDataID), ZX_OK);
}

TEST_F(VdataTransfer, TunnelWriterRefusesMissingDataAndCreatesNoBlock) {
    TunnelVDataRecord rec{};
    EXPECT_EQ(L2TP_API_WriteVData(&rec, nullptr, 10), 1u);
    uint8_t data[10] = {};
    EXPECT_EQ(L2TP_API_WriteVData(nullptr, data, 10), 1u);
    EXPECT_EQ(take_records(), (std::vector<std::string>{L1(kL2tpApi, 65, 1), L1(kL2tpApi, 65, 1)}));
    EXPECT_TRUE(nothing_left_behind());
}

TEST_F(VdataTransfer, TunnelWorkBufferThatCannotBeAllocated) {
    zxhost::alloc_fail_at(kL2tpApi, 76);
    Bytes data = compressible(4096);
    TunnelVDataRecord rec{};
    EXPECT_EQ(L2TP_API_WriteVData(&rec, data.data(), 4096), ZX_JNI_ERR_NOMEM);
    EXPECT_EQ(zxhost::alloc_failures_injected(), 1u);
    EXPECT_EQ(take_records(), std::vector<std::string>{L(kL2tpApi, 79, ZX_JNI_ERR_NOMEM, 4096, 0, 0, 0)});
    EXPECT_TRUE(nothing_left_behind());
}

TEST_F(VdataTransfer, IncompressibleTunnelPayloadFailsInCompressionAndLeavesNothing) {
    Bytes data = incompressible(4096);
    TunnelVDataRecord rec{};
    EXPECT_EQ(L2TP_API_WriteVData(&rec, data.data(), 4096), ZX_ERR_NOSPACE);
    EXPECT_EQ(take_records(), std::vector<std::string>{L(kL2tpApi, 86, ZX_ERR_NOSPACE, word(data.data()), 4096, 0, 0)});
    EXPECT_TRUE(nothing_left_behind());
}

TEST_F(VdataTransfer, TunnelBlockThatCannotBeCreatedGivesBothCodesCombined) {
    Bytes data = too_large_for_a_block();
    const auto len = static_cast<uint32_t>(data.size());
    TunnelVDataRecord rec{};
    // Creation refuses the size and leaves id 0; the update of id 0 is still made and refused.
    const uint32_t expected = ZX_ERR_PARAM | ZX_VDATA_ERR_BAD_ID;
    EXPECT_EQ(L2TP_API_WriteVData(&rec, data.data(), len), expected);
    EXPECT_EQ(rec.uivDataID, 0u);
    EXPECT_GT(rec.uiCompressedLen, ZX_VDATA_MAX_BLOCK);
    EXPECT_LT(rec.uiCompressedLen, len);
    EXPECT_EQ(take_records(), std::vector<std::string>{L(kL2tpApi, 99, expected, rec.uiCompressedLen, 0, len, 0)});
    EXPECT_TRUE(nothing_left_behind());
}

TEST_F(VdataTransfer, TunnelReaderWithoutAnOutputLeavesTheBlock) {
    Bytes data = compressible(100);
    TunnelVDataRecord rec{};
    ASSERT_EQ(L2TP_API_WriteVData(&rec, data.data(), 100), 0u);
    EXPECT_EQ(JNI_API_ReadVData(&rec, nullptr), 1u);
    EXPECT_EQ(take_records(), std::vector<std::string>{L1(kVelmApi, 383, 1)});
    EXPECT_EQ(blocks(), (std::vector<std::pair<uint32_t, uint32_t>>{{rec.uivDataID, 100}}));
    EXPECT_EQ(ZX_VDATA_FreeShm(rec.uivDataID), ZX_OK);
}

TEST_F(VdataTransfer, TunnelReaderHandsBackStoredBytesWithoutDecompressing) {
    Bytes data = compressible(3000);
    TunnelVDataRecord rec{};
    ASSERT_EQ(L2TP_API_WriteVData(&rec, data.data(), 3000), 0u);
    Bytes stored = block_bytes(rec.uivDataID, rec.uiCompressedLen);

    Released out;
    ASSERT_EQ(JNI_API_ReadVData(&rec, &out.ptr), 0u);
    // A buffer of the original length: the stored bytes, then zeros.
    Bytes expected = stored;
    expected.resize(3000, 0);
    EXPECT_EQ(Bytes(static_cast<uint8_t*>(out.ptr), static_cast<uint8_t*>(out.ptr) + 3000), expected);
    EXPECT_TRUE(blocks().empty());
}

TEST_F(VdataTransfer, TunnelReadBufferThatCannotBeAllocatedFreesTheBlock) {
    Bytes data = compressible(100);
    TunnelVDataRecord rec{};
    ASSERT_EQ(L2TP_API_WriteVData(&rec, data.data(), 100), 0u);
    zxhost::alloc_fail_at(kVelmApi, 387);
    void* out = &rec;  // must become NULL
    EXPECT_EQ(JNI_API_ReadVData(&rec, &out), ZX_JNI_ERR_NOMEM);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(take_records(), std::vector<std::string>{L1(kVelmApi, 390, ZX_JNI_ERR_NOMEM)});
    EXPECT_TRUE(nothing_left_behind());
}

TEST_F(VdataTransfer, TunnelResultBufferThatCannotBeAllocatedFreesTheReadBufferAndTheBlock) {
    Bytes data = compressible(100);
    TunnelVDataRecord rec{};
    ASSERT_EQ(L2TP_API_WriteVData(&rec, data.data(), 100), 0u);
    zxhost::alloc_fail_at(kVelmApi, 396);
    void* out = &rec;
    EXPECT_EQ(JNI_API_ReadVData(&rec, &out), ZX_JNI_ERR_NOMEM);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(zxhost::alloc_failures_injected(), 1u);
    EXPECT_EQ(take_records(), std::vector<std::string>{L1(kVelmApi, 399, ZX_JNI_ERR_NOMEM)});
    EXPECT_TRUE(nothing_left_behind());
}

TEST_F(VdataTransfer, TunnelReaderOfAFreedBlockFreesWhatItTook) {
    Bytes data = compressible(100);
    TunnelVDataRecord rec{};
    ASSERT_EQ(L2TP_API_WriteVData(&rec, data.data(), 100), 0u);
    ASSERT_EQ(ZX_VDATA_FreeShm(rec.uivDataID), ZX_OK);  // the id is stale from now on
    void* out = &rec;
    EXPECT_EQ(JNI_API_ReadVData(&rec, &out), ZX_VDATA_ERR_BAD_ID);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(take_records(),
              std::vector<std::string>{L(kVelmApi, 410, ZX_VDATA_ERR_BAD_ID, rec.uivDataID, 100, 0, 0)});
    EXPECT_TRUE(nothing_left_behind());
}

// ---------------------------------------------------------------------------------------------
// Plug-in payloads
// ---------------------------------------------------------------------------------------------

// A destination of the fixed plug-in capacity with a guard behind it.
struct PluginDestination {
    static constexpr size_t kGuard = 64;
    Bytes bytes = Bytes(ZX_VDATA_PLUGIN_CAPACITY + kGuard, 0xA5);
    bool guard_intact() const {
        for (size_t i = ZX_VDATA_PLUGIN_CAPACITY; i < bytes.size(); ++i)
            if (bytes[i] != 0xA5) return false;
        return true;
    }
};

TEST_F(VdataTransfer, PluginPayloadOfTheFullCapacityTravelsCompressed) {
    Bytes data = compressible(ZX_VDATA_PLUGIN_CAPACITY);
    PluginVDataRecord rec{};
    ASSERT_EQ(OSGI_JNI_ZipWriteVData(&rec, data.data(), ZX_VDATA_PLUGIN_CAPACITY), 0u);
    EXPECT_LT(rec.uiStoredLen, ZX_VDATA_PLUGIN_CAPACITY);
    EXPECT_EQ(blocks(), (std::vector<std::pair<uint32_t, uint32_t>>{{rec.uivDataID, rec.uiStoredLen}}));
    EXPECT_EQ(zxhost::alloc_outstanding(), 0u) << "the work buffer is freed";

    PluginDestination dst;
    ASSERT_EQ(OSGI_JNI_ReadUnzipVData(&rec, dst.bytes.data()), 0u);
    EXPECT_EQ(Bytes(dst.bytes.begin(), dst.bytes.begin() + ZX_VDATA_PLUGIN_CAPACITY), data);
    EXPECT_TRUE(dst.guard_intact());
    EXPECT_TRUE(take_records().empty());
    EXPECT_TRUE(nothing_left_behind());
}

TEST_F(VdataTransfer, PluginPayloadLargerThanTheCapacityGivesTheDecompressorsError) {
    const uint32_t len = ZX_VDATA_PLUGIN_CAPACITY + 1;
    Bytes data = compressible(len);
    PluginVDataRecord rec{};
    ASSERT_EQ(OSGI_JNI_ZipWriteVData(&rec, data.data(), len), 0u);
    // What the decompressor itself says of these stored bytes and this capacity.
    Bytes stored = block_bytes(rec.uivDataID, rec.uiStoredLen);
    Bytes scratch(ZX_VDATA_PLUGIN_CAPACITY);
    const uint32_t expected = ZX_OS_Decompress(stored.data(), scratch.data(), ZX_VDATA_PLUGIN_CAPACITY);
    ASSERT_NE(expected, ZX_OK);

    PluginDestination dst;
    EXPECT_EQ(OSGI_JNI_ReadUnzipVData(&rec, dst.bytes.data()), expected);
    EXPECT_TRUE(dst.guard_intact());
    EXPECT_EQ(take_records(), std::vector<std::string>{L1(kVelmApi, 644, expected)});
    EXPECT_TRUE(nothing_left_behind());
}

TEST_F(VdataTransfer, IncompressiblePluginPayloadFailsInCompressionAndLeavesNoBlock) {
    Bytes data = incompressible(1000);
    PluginVDataRecord rec{};
    EXPECT_EQ(OSGI_JNI_ZipWriteVData(&rec, data.data(), 1000), ZX_ERR_NOSPACE);
    EXPECT_EQ(take_records(), std::vector<std::string>{L1(kVelmApi, 561, ZX_ERR_NOSPACE)});
    EXPECT_TRUE(nothing_left_behind());
}

TEST_F(VdataTransfer, PluginWorkBufferThatCannotBeAllocated) {
    zxhost::alloc_fail_at(kVelmApi, 550);
    Bytes data = compressible(5000);
    PluginVDataRecord rec{};
    EXPECT_EQ(OSGI_JNI_ZipWriteVData(&rec, data.data(), 5000), ZX_JNI_ERR_NOMEM);
    EXPECT_EQ(zxhost::alloc_failures_injected(), 1u);
    EXPECT_EQ(take_records(), std::vector<std::string>{L(kVelmApi, 553, ZX_JNI_ERR_NOMEM, 5000, 0, 0, 0)});
    EXPECT_TRUE(nothing_left_behind());
}

TEST_F(VdataTransfer, PluginBlockThatCannotBeCreatedFreesTheWorkBuffer) {
    Bytes data = too_large_for_a_block();
    PluginVDataRecord rec{};
    EXPECT_EQ(OSGI_JNI_ZipWriteVData(&rec, data.data(), static_cast<uint32_t>(data.size())), ZX_ERR_PARAM);
    EXPECT_EQ(take_records(), std::vector<std::string>{L1(kVelmApi, 570, ZX_ERR_PARAM)});
    EXPECT_TRUE(nothing_left_behind());
}

TEST_F(VdataTransfer, PluginReadBufferThatCannotBeAllocatedFreesTheBlock) {
    Bytes data = compressible(5000);
    PluginVDataRecord rec{};
    ASSERT_EQ(OSGI_JNI_ZipWriteVData(&rec, data.data(), 5000), 0u);
    zxhost::alloc_fail_at(kVelmApi, 612);
    PluginDestination dst;
    EXPECT_EQ(OSGI_JNI_ReadUnzipVData(&rec, dst.bytes.data()), ZX_JNI_ERR_NOMEM);
    EXPECT_EQ(take_records(), std::vector<std::string>{L1(kVelmApi, 615, ZX_JNI_ERR_NOMEM)});
    EXPECT_TRUE(nothing_left_behind());
}

TEST_F(VdataTransfer, PluginReaderOfAFreedBlockFreesWhatItTook) {
    Bytes data = compressible(5000);
    PluginVDataRecord rec{};
    ASSERT_EQ(OSGI_JNI_ZipWriteVData(&rec, data.data(), 5000), 0u);
    ASSERT_EQ(ZX_VDATA_FreeShm(rec.uivDataID), ZX_OK);
    PluginDestination dst;
    EXPECT_EQ(OSGI_JNI_ReadUnzipVData(&rec, dst.bytes.data()), ZX_VDATA_ERR_BAD_ID);
    EXPECT_EQ(take_records(), std::vector<std::string>{L1(kVelmApi, 624, ZX_VDATA_ERR_BAD_ID)});
    EXPECT_TRUE(nothing_left_behind());
}

TEST_F(VdataTransfer, PluginReaderOfUncompressedBytesRecordsTheDecompressorsError) {
    // A tunnel payload stored as it is, read as if it were a plug-in payload.
    Bytes data = compressible(100);
    TunnelVDataRecord tunnel{};
    ASSERT_EQ(L2TP_API_WriteVData(&tunnel, data.data(), 100), 0u);
    PluginVDataRecord rec{tunnel.uivDataID, tunnel.uiCompressedLen};
    PluginDestination dst;
    EXPECT_EQ(OSGI_JNI_ReadUnzipVData(&rec, dst.bytes.data()), ZX_ERR_CORRUPT);
    EXPECT_EQ(take_records(), std::vector<std::string>{L1(kVelmApi, 644, ZX_ERR_CORRUPT)});
    EXPECT_TRUE(nothing_left_behind());
}

// The bundle manager's record names fewer bytes than the unit in its block: the reader's buffer
// holds only those, and the decompressor refuses the unit as corrupt rather than read past it.
TEST_F(VdataTransfer, PluginRecordShorterThanItsUnitIsRefusedAsCorrupt) {
    Bytes data = compressible(5000);
    for (uint32_t cut : {1u, 5u}) {
        PluginVDataRecord rec{};
        ASSERT_EQ(OSGI_JNI_ZipWriteVData(&rec, data.data(), 5000), 0u);
        rec.uiStoredLen -= cut;
        PluginDestination dst;
        EXPECT_EQ(OSGI_JNI_ReadUnzipVData(&rec, dst.bytes.data()), ZX_ERR_CORRUPT) << "cut " << cut;
        EXPECT_TRUE(dst.guard_intact());
        EXPECT_EQ(take_records(), std::vector<std::string>{L1(kVelmApi, 644, ZX_ERR_CORRUPT)});
        EXPECT_TRUE(nothing_left_behind());
    }
}

TEST_F(VdataTransfer, PluginRecordShorterThanAUnitHeaderIsRefusedAsCorrupt) {
    Bytes data = compressible(5000);
    PluginVDataRecord rec{};
    ASSERT_EQ(OSGI_JNI_ZipWriteVData(&rec, data.data(), 5000), 0u);
    rec.uiStoredLen = ZX_OS_COMPRESS_HEADER - 1;
    PluginDestination dst;
    EXPECT_EQ(OSGI_JNI_ReadUnzipVData(&rec, dst.bytes.data()), ZX_ERR_CORRUPT);
    EXPECT_TRUE(dst.guard_intact());
    EXPECT_EQ(take_records(), std::vector<std::string>{L1(kVelmApi, 644, ZX_ERR_CORRUPT)});
    EXPECT_TRUE(nothing_left_behind());
}

// A block whose unit header claims a payload longer than the block (the fuzzer's find): the
// reader stops at the block's end.
TEST_F(VdataTransfer, PluginUnitClaimingMoreThanItsBlockIsRefusedAsCorrupt) {
    // "ZXC1", 13 bytes original, a payload of 0x4000 bytes claimed, 14 present.
    Bytes unit = {'Z', 'X', 'C', '1', 13, 0, 0, 0, 0x00, 0x40, 0, 0, 0xD0, 'h', 'e', 'l', 'l', 'o', ' ',
                  'p',  'l', 'u', 'g', '-', 'i', 'n'};
    PluginVDataRecord rec{};
    rec.uiStoredLen = static_cast<uint32_t>(unit.size());
    ASSERT_EQ(ZX_VDATA_CreShm(rec.uiStoredLen, &rec.uivDataID), ZX_OK);
    ASSERT_EQ(ZX_VDATA_UpdateData(rec.uivDataID, rec.uiStoredLen, unit.data()), ZX_OK);
    PluginDestination dst;
    EXPECT_EQ(OSGI_JNI_ReadUnzipVData(&rec, dst.bytes.data()), ZX_ERR_CORRUPT);
    EXPECT_TRUE(dst.guard_intact());
    EXPECT_EQ(take_records(), std::vector<std::string>{L1(kVelmApi, 644, ZX_ERR_CORRUPT)});
    EXPECT_TRUE(nothing_left_behind());
}

}  // namespace
