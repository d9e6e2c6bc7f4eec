// Compression of shared-block payloads: a 12-byte header ("ZXC1", original length, payload
// length, little-endian) and one LZ4 block. The header makes a unit self-delimiting, so the
// reader needs neither the stored length nor a frame parser, and lets the reader refuse a unit
// that cannot fit its buffer before decoding anything.
#include <lz4.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <optional>
#include <span>

#include "internal.h"
#include "zx_host.h"

namespace {

struct [[gnu::packed]] UnitHeader {
    char magic[4];
    uint32_t originalLen;  // little-endian
    uint32_t payloadLen;   // little-endian
};
static_assert(sizeof(UnitHeader) == ZX_OS_COMPRESS_HEADER);
static_assert(offsetof(UnitHeader, magic) == 0 && offsetof(UnitHeader, originalLen) == 4 &&
              offsetof(UnitHeader, payloadLen) == 8);
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "header fields are stored in host order");

constexpr char kMagic[4] = {'Z', 'X', 'C', '1'};

// The header of src when it can describe a unit our compressor wrote: a known magic, an original
// length LZ4 can encode, and a payload no longer than LZ4 ever produces for that length (so a
// damaged length never sends the decoder far past the unit). `room`, when known, is how many bytes
// can be read at src: a unit must lie within them, its header included.
[[nodiscard]] bool read_header(const void* src, std::optional<size_t> room, UnitHeader& h) {
    if (room && *room < sizeof h) return false;
    std::memcpy(&h, src, sizeof h);
    if (std::memcmp(h.magic, kMagic, sizeof kMagic) != 0) return false;
    if (h.originalLen == 0 || h.originalLen > LZ4_MAX_INPUT_SIZE) return false;
    const auto bound = static_cast<uint32_t>(LZ4_compressBound(static_cast<int>(h.originalLen)));
    if (h.payloadLen == 0 || h.payloadLen > bound) return false;
    return !room || h.payloadLen <= *room - sizeof h;
}

// ZX_OS_Decompress of a unit at src, of which `room` bytes (when known) can be read.
uint32_t decompress(const void* src, std::optional<size_t> room, void* dst, uint32_t dstCapacity) {
    if (!src || !dst) return ZX_ERR_PARAM;
    if (zxp::fault_hit(zxhost::Call::Decompress)) return ZX_ERR_SYS;
    UnitHeader h{};
    if (!read_header(src, room, h)) return ZX_ERR_CORRUPT;
    if (h.originalLen > dstCapacity) return ZX_ERR_NOSPACE;
    // The decoder is bounded by the original length, which fits dst, and must fill it exactly.
    const int n = LZ4_decompress_safe(static_cast<const char*>(src) + sizeof(UnitHeader), static_cast<char*>(dst),
                                      static_cast<int>(h.payloadLen), static_cast<int>(h.originalLen));
    return n == static_cast<int>(h.originalLen) ? ZX_OK : ZX_ERR_CORRUPT;
}

// How far a unit at src may reach. The caller gives no length; when src lies in a block of this
// platform's allocator (the bridge reads shared blocks into such buffers), the block's end is the
// limit, so a header that claims more than the block holds is refused instead of read beyond it.
std::optional<size_t> room_at(const void* src) { return src ? zxp::alloc_room(src) : std::nullopt; }

}  // namespace

ZX_EXPORT uint32_t ZX_OS_Compress(const void* src, uint32_t srcLen, void* dst, uint32_t* dstLen) {
    if (!src || !dst || !dstLen || srcLen == 0 || srcLen > LZ4_MAX_INPUT_SIZE) return ZX_ERR_PARAM;
    if (zxp::fault_hit(zxhost::Call::Compress)) return ZX_ERR_SYS;
    const uint32_t capacity = *dstLen;
    if (capacity <= sizeof(UnitHeader)) return ZX_ERR_NOSPACE;
    // LZ4 stops at the room it is given and answers 0 when the block does not fit; given at least
    // the worst case it takes its faster unchecked path.
    const int room = static_cast<int>(
        std::min<uint64_t>(capacity - sizeof(UnitHeader), LZ4_compressBound(static_cast<int>(srcLen))));
    char* out = static_cast<char*>(dst) + sizeof(UnitHeader);
    const int payload = LZ4_compress_default(static_cast<const char*>(src), out, static_cast<int>(srcLen), room);
    if (payload <= 0) return ZX_ERR_NOSPACE;
    UnitHeader h{};
    std::memcpy(h.magic, kMagic, sizeof kMagic);
    h.originalLen = srcLen;
    h.payloadLen = static_cast<uint32_t>(payload);
    std::memcpy(dst, &h, sizeof h);
    *dstLen = sizeof(UnitHeader) + h.payloadLen;
    return ZX_OK;
}

ZX_EXPORT uint32_t ZX_OS_Decompress(const void* src, void* dst, uint32_t dstCapacity) {
    return decompress(src, room_at(src), dst, dstCapacity);
}

ZX_EXPORT uint32_t ZX_OS_DecompressedLen(const void* src) {
    UnitHeader h{};
    return src && read_header(src, room_at(src), h) ? h.originalLen : 0;
}

namespace zxhost {

uint32_t decompress_within(std::span<const uint8_t> stored, void* dst, uint32_t dstCapacity) {
    return decompress(stored.data(), stored.size(), dst, dstCapacity);
}

uint32_t decompressed_len_within(std::span<const uint8_t> stored) {
    UnitHeader h{};
    return stored.data() && read_header(stored.data(), stored.size(), h) ? h.originalLen : 0;
}

}  // namespace zxhost
