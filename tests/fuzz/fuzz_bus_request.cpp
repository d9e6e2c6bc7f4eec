// libFuzzer target for the serving side of the message bus: any datagram arriving at a service
// endpoint from a caller. The input is the datagram; it goes through both ways the bus receives
// one: whole into one buffer of the largest frame (zxp::bus::take_request, as a simulator
// endpoint serves a connection) and scattered into frame header, routing header and message
// body (zxp::bus::request_valid, as a process endpoint dispatches to its handlers). Buffers are
// allocated to their exact size; both ways must agree and a request taken must be what the
// caller sent.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>

#include "bus_frame.h"

namespace {

using zxp::bus::FrameHeader;
using zxp::bus::Kind;

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "bus request decoder: %s\n", what);
    std::abort();
}

// Copies up to n bytes of the datagram from *at into dst; as recvmsg fills its pieces in order.
void scatter(const uint8_t*& at, size_t& left, void* dst, size_t n) {
    size_t take = left < n ? left : n;
    std::memcpy(dst, at, take);
    at += take;
    left -= take;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const size_t received = size;

    // Whole: a buffer of the largest frame; a longer datagram arrives cut, with its real length.
    // The buffers have fixed sizes: made once, each to its exact size.
    const size_t capacity = zxp::bus::kMaxFrame;
    static auto* frame = static_cast<uint8_t*>(std::malloc(capacity));
    std::memcpy(frame, data, received < capacity ? received : capacity);
    FrameHeader h{};
    ZX_MSG_HEAD_S head{};
    std::span<const uint8_t> body;
    const bool taken = zxp::bus::take_request(frame, capacity, received, h, head, body);

    // Scattered: header, routing header, body of at most the largest body.
    FrameHeader sh{};
    static auto* shead = static_cast<ZX_MSG_HEAD_S*>(std::malloc(sizeof(ZX_MSG_HEAD_S)));
    static auto* sbody = static_cast<uint8_t*>(std::malloc(ZX_MSG_MAX_DATA));
    const uint8_t* at = data;
    size_t left = size;
    scatter(at, left, &sh, sizeof sh);
    scatter(at, left, shead, sizeof *shead);
    scatter(at, left, sbody, ZX_MSG_MAX_DATA);
    const bool valid = zxp::bus::request_valid(sh, received);

    if (taken != valid) fail("the two ways of receiving disagree");
    if (taken) {
        if (h.kind != static_cast<uint16_t>(Kind::Call) && h.kind != static_cast<uint16_t>(Kind::OneWay))
            fail("a request that is neither a call nor a one-way message");
        if (h.dataLen > ZX_MSG_MAX_DATA) fail("a body longer than the largest");
        if (received != sizeof(FrameHeader) + sizeof(ZX_MSG_HEAD_S) + h.dataLen) fail("a request cut or padded");
        if (std::memcmp(&h, data, sizeof h) != 0 || std::memcmp(&sh, data, sizeof sh) != 0)
            fail("header differs from the datagram");
        if (std::memcmp(&head, data + sizeof h, sizeof head) != 0) fail("routing header differs");
        if (body.size() != h.dataLen || body.data() != frame + sizeof h + sizeof head)
            fail("body is not the frame's data");
        if (h.dataLen && std::memcmp(body.data(), data + sizeof h + sizeof head, h.dataLen) != 0)
            fail("body differs from the datagram");
        if (h.dataLen && std::memcmp(sbody, body.data(), h.dataLen) != 0) fail("scattered body differs");
    } else {
        // A whole call or one-way message that fits is never refused.
        FrameHeader sent{};
        if (received >= sizeof sent) std::memcpy(&sent, data, sizeof sent);
        if (received >= sizeof sent && sent.magic == zxp::bus::kMagic && sent.version == zxp::bus::kVersion &&
            zxp::bus::has_routing_header(sent.kind) && sent.dataLen <= ZX_MSG_MAX_DATA &&
            received == zxp::bus::frame_size(sent.kind, sent.dataLen))
            fail("a well-formed request refused");
    }
    return 0;
}
