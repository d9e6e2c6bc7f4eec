// The bus monitor's tap (host only). A monitor (tools/zxmon) binds a datagram socket at the
// reserved name ZX_BUS_MONITOR_NAME in the bus directory; every process of the platform library
// looks for it at most every ZX_BUS_MONITOR_CHECK_MS and, while it is there, reports to it:
//
// - each call (ZX_MSG_RpcCall, so each event of the event centre too) once it has ended: caller,
//   destination, ids, status, duration, request bytes and the reply bytes that came back;
// - each one-way message (ZX_MSG_AsyncSendData) once it was sent;
// - each write into a shared data block (ZX_VDATA_UpdateData): a block is usually freed by its
//   reader before a monitor could read it, so its contents travel in the report.
//
// A report is one datagram sent without waiting: when the monitor's queue is full the report is
// dropped and counted (the next report carries the count), and the call itself never waits or
// fails because of the monitor. Nothing is sent, and no system call made, while no monitor is
// there: a call then costs one read of the monotonic clock and a comparison. The bus directory
// has mode 0700; the monitor's socket is made 0600 and callers report only to a socket file owned
// by their own user; the monitor takes reports only from its own user (SCM_CREDENTIALS).
//
// The name starts with a dot, so it never collides with a process's endpoint by accident; a
// process must not register an endpoint of this name.
#pragma once

#include <cstddef>
#include <cstdint>

#include "zx_msg.h"

#define ZX_BUS_MONITOR_NAME ".monitor"
#define ZX_BUS_MONITOR_CHECK_MS 150u  // how often a process looks for the monitor

namespace zxhost::monitor {

inline constexpr uint32_t kMagic = 0x4E4D585Au;  // "ZXMN" in memory on a little-endian host
inline constexpr uint16_t kVersion = 1;

enum class ReportKind : uint16_t { Call = 1, OneWay = 2, Block = 3 };

// At most this many bytes of a request, a reply or a block travel in a report; the lengths in the
// report are the real ones.
inline constexpr uint32_t kMaxShown = 48u * 1024u;

#pragma pack(push, 1)
struct Report {
    uint32_t magic;
    uint16_t version;
    uint16_t kind;        // ReportKind
    uint64_t timeUs;      // start of the call (sending of a message, writing of a block), µs since the epoch
    uint32_t pid;         // the reporting process
    uint32_t tid;         // its thread
    uint32_t msgId;       // call and one-way
    uint32_t mid;         // module id of the call
    uint32_t status;      // what the caller got (ZX_OK, ZX_MSG_ERR_TIMEOUT, a service's code, ...)
    uint32_t durationUs;  // call: from sending to the reply (or the failure)
    uint32_t timeoutMs;   // call: the caller's unscaled time-out
    uint32_t replyCap;    // call: the caller's reply room
    uint32_t blockId;     // block: its id
    uint32_t dropped;     // reports this process dropped since its last one that was sent
    uint32_t reqLen;      // request (block: data) length
    uint32_t replyLen;    // reply bytes that came back
    uint32_t reqShown;    // bytes of the request (block: data) that follow the header
    uint32_t replyShown;  // bytes of the reply that follow those
    ZX_MSG_HEAD_S head;   // routing header as the caller gave it (zero for a block)
};
#pragma pack(pop)

static_assert(sizeof(Report) == 72 + sizeof(ZX_MSG_HEAD_S), "monitor report header");
static_assert(offsetof(Report, head) == 72);

#ifndef ZX_HOST_API
#define ZX_HOST_API __attribute__((visibility("default")))
#endif

// Reports this process sent to a monitor, and reports it dropped because the monitor's queue was
// full (for tests and benchmarks).
ZX_HOST_API uint64_t reports_sent();
ZX_HOST_API uint64_t reports_dropped();

}  // namespace zxhost::monitor
