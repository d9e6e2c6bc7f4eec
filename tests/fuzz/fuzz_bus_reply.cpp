// libFuzzer target for the calling side of the message bus: any datagram arriving on a caller's
// connection while it waits for the reply to a call, decoded by the same function the bus runs
// (zxp::bus::take_reply). The input is a little parameter block, then the datagram:
//   bytes 0-3  reply capacity of the call (taken modulo the largest body + 1)
//   bytes 4-11 the sequence number of the call waited for
//   the rest   the datagram as the socket delivered it
// As in the bus, the receive buffer holds the frame header and the reply capacity, and a longer
// datagram arrives cut to that buffer with its real length. Both buffers are allocated to their
// exact size, so AddressSanitizer sees every access beyond them; the verdict is checked against
// what a reply must be.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "bus_frame.h"

namespace {

using zxp::bus::FrameHeader;
using zxp::bus::Kind;
using zxp::bus::ReplyVerdict;

constexpr size_t kParams = 12;
constexpr uint8_t kUntouched = 0xA5;

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "bus reply decoder: %s\n", what);
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < kParams) return 0;
    uint32_t cap = 0;
    uint64_t seq = 0;
    std::memcpy(&cap, data, sizeof cap);
    std::memcpy(&seq, data + 4, sizeof seq);
    const uint32_t replyCap = cap % (ZX_MSG_MAX_DATA + 1);
    const uint8_t* datagram = data + kParams;
    const size_t received = size - kParams;

    const size_t capacity = sizeof(FrameHeader) + replyCap;
    auto* frame = static_cast<uint8_t*>(std::malloc(capacity));
    std::memcpy(frame, datagram, received < capacity ? received : capacity);
    // A capacity of 0 still gets a pointer of its own, as a caller's empty buffer would.
    auto* reply = static_cast<uint8_t*>(std::malloc(replyCap ? replyCap : 1));
    std::memset(reply, kUntouched, replyCap ? replyCap : 1);

    FrameHeader h{};
    const ReplyVerdict verdict = zxp::bus::take_reply(frame, capacity, received, seq, reply, replyCap, h);

    FrameHeader sent{};
    if (received >= sizeof sent) std::memcpy(&sent, datagram, sizeof sent);
    const bool headerOk = received >= sizeof sent && sent.magic == zxp::bus::kMagic &&
                          sent.version == zxp::bus::kVersion && sent.kind == static_cast<uint16_t>(Kind::Reply);
    size_t copied = 0;
    switch (verdict) {
        case ReplyVerdict::Answer:
            if (!headerOk || sent.seq != seq) fail("an answer that is not the reply to this call");
            if (std::memcmp(&h, &sent, sizeof h) != 0) fail("the answer's header differs from the frame's");
            if (h.dataLen > replyCap) fail("an answer longer than the call can take");
            if (received != sizeof(FrameHeader) + h.dataLen) fail("an answer of another length than its frame");
            if (std::memcmp(reply, datagram + sizeof(FrameHeader), h.dataLen) != 0) fail("answer bytes differ");
            copied = h.dataLen;
            break;
        case ReplyVerdict::Stale:
            if (!headerOk || sent.seq >= seq) fail("a stale verdict for a frame that is not an earlier reply");
            break;
        case ReplyVerdict::Bad:
            if (headerOk && sent.seq < seq) fail("an earlier call's reply taken as bad");
            // A whole, well-formed reply to this call that fits must be answered.
            if (headerOk && sent.seq == seq && sent.dataLen <= replyCap &&
                received == sizeof(FrameHeader) + sent.dataLen)
                fail("a well-formed reply refused");
            break;
    }
    // Nothing beyond the answer is written.
    for (size_t i = copied; i < replyCap; ++i)
        if (reply[i] != kUntouched) fail("reply buffer written beyond the answer");
    std::free(reply);
    std::free(frame);
    return 0;
}
