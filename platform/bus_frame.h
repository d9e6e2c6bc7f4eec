// Wire frame of the host message bus, shared by the library, its tests and benchmarks.
//
// One frame is one SOCK_SEQPACKET datagram: the frame header, then for a call or a one-way
// message the 84-byte routing header exactly as the caller gave it, then the data. A reply carries
// the handler's status and at most replyCap data bytes, no routing header. Both ends run on the
// same host, so every word is in host byte order.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "zx_errno.h"
#include "zx_msg.h"

namespace zxp::bus {

inline constexpr uint32_t kMagic = 0x5358425Au;  // "ZBXS" in memory on a little-endian host
inline constexpr uint16_t kVersion = 1;

enum class Kind : uint16_t { Call = 1, Reply = 2, OneWay = 3 };

#pragma pack(push, 1)
struct FrameHeader {
    uint32_t magic;
    uint16_t version;
    uint16_t kind;  // Kind
    uint64_t seq;   // the caller's sequence number, echoed by the reply
    uint32_t msgId;
    uint32_t mid;        // module id that selects the handler
    uint32_t status;     // reply: the handler's status
    uint32_t timeoutMs;  // call: the caller's unscaled time-out
    uint32_t replyCap;   // call: how many reply bytes the caller can take
    uint32_t dataLen;    // bytes after the header (and after the routing header of a call)
};
#pragma pack(pop)

static_assert(sizeof(FrameHeader) == 40, "frame header is 40 bytes");
static_assert(offsetof(FrameHeader, version) == 4);
static_assert(offsetof(FrameHeader, kind) == 6);
static_assert(offsetof(FrameHeader, seq) == 8);
static_assert(offsetof(FrameHeader, msgId) == 16);
static_assert(offsetof(FrameHeader, mid) == 20);
static_assert(offsetof(FrameHeader, status) == 24);
static_assert(offsetof(FrameHeader, timeoutMs) == 28);
static_assert(offsetof(FrameHeader, replyCap) == 32);
static_assert(offsetof(FrameHeader, dataLen) == 36);

// Largest datagram a valid frame can be: a call with a full body.
inline constexpr size_t kMaxFrame = sizeof(FrameHeader) + sizeof(ZX_MSG_HEAD_S) + ZX_MSG_MAX_DATA;

inline constexpr bool has_routing_header(uint16_t kind) {
    return kind == static_cast<uint16_t>(Kind::Call) || kind == static_cast<uint16_t>(Kind::OneWay);
}

// Size of the datagram that carries a frame of this kind and body length.
inline constexpr size_t frame_size(uint16_t kind, uint32_t dataLen) {
    return sizeof(FrameHeader) + (has_routing_header(kind) ? sizeof(ZX_MSG_HEAD_S) : 0) + dataLen;
}

// The header is ours: long enough, our magic and version, a known kind. Enough to trust seq.
[[nodiscard]] inline bool header_valid(const FrameHeader& h, size_t received) {
    return received >= sizeof(FrameHeader) && h.magic == kMagic && h.version == kVersion &&
           (has_routing_header(h.kind) || h.kind == static_cast<uint16_t>(Kind::Reply));
}

// Checks a received frame. `received` is the datagram's real length (recvmsg with MSG_TRUNC), so
// a datagram larger than the receive buffer is caught here. ZX_OK or ZX_MSG_ERR_BAD_FRAME.
[[nodiscard]] inline uint32_t check_frame(const FrameHeader& h, size_t received) {
    if (!header_valid(h, received) || h.dataLen > ZX_MSG_MAX_DATA) return ZX_MSG_ERR_BAD_FRAME;
    return received == frame_size(h.kind, h.dataLen) ? ZX_OK : ZX_MSG_ERR_BAD_FRAME;
}

// The decoders below take a received datagram as the receiving side has it: `received` is its
// real length (MSG_TRUNC), of which the first `capacity` bytes are in `frame`. They never read
// past frame[capacity] and never write more than the frame's own data.

// What a caller makes of a datagram that arrives while it waits for the reply to call `seq`.
enum class ReplyVerdict {
    Answer,  // the reply: h is its header and its h.dataLen bytes are in reply
    Stale,   // the late answer to an earlier call that timed out: skip it and wait on
    Bad,     // not a reply we can trust: the connection must not be used again
};

[[nodiscard]] inline ReplyVerdict take_reply(const uint8_t* frame, size_t capacity, size_t received, uint64_t seq,
                                             void* reply, uint32_t replyCap, FrameHeader& h) {
    h = FrameHeader{};
    std::memcpy(&h, frame, std::min({received, capacity, sizeof h}));
    if (!header_valid(h, received) || h.kind != static_cast<uint16_t>(Kind::Reply)) return ReplyVerdict::Bad;
    if (h.seq < seq) return ReplyVerdict::Stale;
    if (h.seq != seq || check_frame(h, received) != ZX_OK || h.dataLen > replyCap || received > capacity)
        return ReplyVerdict::Bad;
    if (h.dataLen) std::memcpy(reply, frame + sizeof h, h.dataLen);
    return ReplyVerdict::Answer;
}

// A frame a serving endpoint takes from a caller: a whole call or one-way message.
[[nodiscard]] inline bool request_valid(const FrameHeader& h, size_t received) {
    return check_frame(h, received) == ZX_OK && h.kind != static_cast<uint16_t>(Kind::Reply);
}

// A call or one-way message received whole into frame: its header, routing header and data (a
// view into frame). False for a frame the serving side drops with its connection.
[[nodiscard]] inline bool take_request(const uint8_t* frame, size_t capacity, size_t received, FrameHeader& h,
                                       ZX_MSG_HEAD_S& head, std::span<const uint8_t>& data) {
    h = FrameHeader{};
    std::memcpy(&h, frame, std::min({received, capacity, sizeof h}));
    if (!request_valid(h, received) || received > capacity) return false;
    std::memcpy(&head, frame + sizeof h, sizeof head);
    data = std::span<const uint8_t>(frame + sizeof h + sizeof head, h.dataLen);
    return true;
}

}  // namespace zxp::bus
