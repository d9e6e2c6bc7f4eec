// libFuzzer target for the readers of shared data blocks: a block with any content and a record
// with any lengths, read by the bridge's readers (JNI_API_ReadVData, OSGI_JNI_ReadUnzipVData,
// the second decompressing), and the writers' blocks read back, as they are or corrupted. The
// input is a mode byte, two length words and the block's content:
//   mode 0  tunnel record {block, original length, stored length} read as it stands
//   mode 1  plug-in record {block, stored length} read and decompressed into 43216 bytes
//   mode 2  the content written by OSGI_JNI_ZipWriteVData, then its stored length moved by the
//           first word's low byte (signed) and one stored byte replaced (second word: where, what)
//           unless both are 0; read back: unchanged it must give the content again
//   mode 3  the content written by L2TP_API_WriteVData and read back with JNI_API_ReadVData
// The arena lives in a private bus directory. After every read no block is left and every
// platform allocation but the one handed out is freed; a result is checked against the content.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "zx_bridge.h"
#include "zx_host.h"

namespace {

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "shared-block reader: %s\n", what);
    std::abort();
}

uint32_t word_at(const uint8_t* p) {
    uint32_t w;
    std::memcpy(&w, p, sizeof w);
    return w;
}

uint32_t make_block(const uint8_t* content, size_t n, uint32_t& id) {
    uint32_t size = n ? static_cast<uint32_t>(n) : 1;
    uint32_t code = ZX_VDATA_CreShm(size, &id);
    if (code == 0 && n) code = ZX_VDATA_UpdateData(id, size, content);
    return code;
}

void expect_clean(uint64_t allocations) {
    if (!zxhost::vdata_list().empty()) fail("a block was left behind");
    if (zxhost::alloc_outstanding() != allocations) fail("a platform allocation was left behind");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    zxfuzz::use_private_bus_dir("/tmp/zx-fuzz-vdata-XXXXXX");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 9) return 0;
    const uint8_t mode = data[0] % 4;
    const uint32_t first = word_at(data + 1);
    const uint32_t second = word_at(data + 5);
    const uint8_t* content = data + 9;
    const size_t n = size - 9;
    if (n > ZX_VDATA_MAX_BLOCK) return 0;
    const uint64_t before = zxhost::alloc_outstanding();

    if (mode == 0) {
        TunnelVDataRecord rec{};
        if (make_block(content, n, rec.uivDataID) != 0) fail("block not made");
        // Lengths around the block's own: 0, shorter, equal, beyond.
        rec.uiOriginalLen = first % (2 * static_cast<uint32_t>(n) + 16);
        rec.uiCompressedLen = second % (static_cast<uint32_t>(n) + 16);
        void* out = nullptr;
        uint32_t code = JNI_API_ReadVData(&rec, &out);
        expect_clean(before + (out ? 1 : 0));
        if (code == 0) {
            if (!out) fail("success without a result");
            if (rec.uiCompressedLen > (n ? n : 1)) fail("a read beyond the block succeeded");
            // The block holds the content, or one zero byte for an empty one.
            const std::vector<uint8_t> block = n ? std::vector<uint8_t>(content, content + n) : std::vector<uint8_t>(1);
            uint32_t same = rec.uiOriginalLen < rec.uiCompressedLen ? rec.uiOriginalLen : rec.uiCompressedLen;
            if (std::memcmp(out, block.data(), same) != 0) fail("result differs from the block");
            for (uint32_t i = same; i < rec.uiOriginalLen; ++i)
                if (static_cast<uint8_t*>(out)[i] != 0) fail("result not cleared beyond the block's bytes");
            ZX_OS_MemFreeD(out, "fuzz", __LINE__);
        } else if (out) {
            fail("a failure with a result");
        }
    } else if (mode == 1) {
        PluginVDataRecord rec{};
        if (make_block(content, n, rec.uivDataID) != 0) fail("block not made");
        rec.uiStoredLen = second % (static_cast<uint32_t>(n) + 16);
        std::vector<uint8_t> dst(ZX_VDATA_PLUGIN_CAPACITY);
        uint32_t code = OSGI_JNI_ReadUnzipVData(&rec, dst.data());
        expect_clean(before);
        if (code == 0 && ZX_OS_DecompressedLen(content) > ZX_VDATA_PLUGIN_CAPACITY)
            fail("a unit larger than the buffer decompressed");
    } else if (mode == 2) {
        if (n == 0) return 0;
        PluginVDataRecord rec{};
        if (OSGI_JNI_ZipWriteVData(&rec, content, static_cast<uint32_t>(n)) != 0) {
            expect_clean(before);  // incompressible: nothing stored
            return 0;
        }
        const auto delta = static_cast<int8_t>(first & 0xFF);
        const uint32_t where = second >> 8;
        const auto what = static_cast<uint8_t>(second & 0xFF);
        const bool unchanged = delta == 0 && second == 0;
        if (second != 0) {
            std::vector<uint8_t> stored(rec.uiStoredLen);
            if (ZX_VDATA_ReadData(rec.uivDataID, rec.uiStoredLen, stored.data()) != 0) fail("block unreadable");
            stored[where % rec.uiStoredLen] = what;
            if (ZX_VDATA_UpdateData(rec.uivDataID, rec.uiStoredLen, stored.data()) != 0) fail("block not updated");
        }
        // Moved within what a bundle manager can send: not below 0 (a length near 4 GB is a
        // zero-filled read buffer of that size before the read is refused, by the readers' order).
        const int64_t moved = static_cast<int64_t>(rec.uiStoredLen) + delta;
        rec.uiStoredLen = static_cast<uint32_t>(moved < 0 ? 0 : moved);
        std::vector<uint8_t> dst(ZX_VDATA_PLUGIN_CAPACITY);
        uint32_t code = OSGI_JNI_ReadUnzipVData(&rec, dst.data());
        if (unchanged) {
            if (n <= ZX_VDATA_PLUGIN_CAPACITY && code != 0) fail("a written block does not read back");
            if (n > ZX_VDATA_PLUGIN_CAPACITY && code == 0) fail("a unit larger than the buffer decompressed");
            if (code == 0 && std::memcmp(dst.data(), content, n) != 0) fail("read back differs from what was written");
        }
        expect_clean(before);
    } else {
        TunnelVDataRecord rec{};
        if (n == 0) return 0;
        if (L2TP_API_WriteVData(&rec, content, static_cast<uint32_t>(n)) != 0) {
            expect_clean(before);
            return 0;
        }
        if (rec.uiOriginalLen != n) fail("original length not recorded");
        if ((n <= ZX_VDATA_COMPRESS_THRESHOLD) != (rec.uiCompressedLen == n)) fail("compressed on the wrong side");
        void* out = nullptr;
        uint32_t code = JNI_API_ReadVData(&rec, &out);
        if (code != 0 || !out) fail("a written block does not read back");
        expect_clean(before + 1);
        if (n <= ZX_VDATA_COMPRESS_THRESHOLD && std::memcmp(out, content, n) != 0) fail("read back differs");
        ZX_OS_MemFreeD(out, "fuzz", __LINE__);
    }
    return 0;
}
