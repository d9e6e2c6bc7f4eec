// Host-only interface of the Linux platform library: what the gateway simulator, the tools, the
// benchmarks and the tests need beyond the gateway's own platform calls. The bridge library never
// includes this file.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "zx_platform.h"

#define ZX_HOST_API __attribute__((visibility("default")))

namespace zxhost {

// ---------------------------------------------------------------------------------------------
// Environment
// ---------------------------------------------------------------------------------------------

// Bus directory in use (ZX_BUS_DIR or the per-user default); created with mode 0700 on first use.
ZX_HOST_API std::string bus_dir();
// Path of the gateway profile in use (ZX_PROFILE or the default profile of the source tree).
ZX_HOST_API std::string profile_path();
// The gateway root in use (see zx_os.h): ZX_ROOT, "/" when ZX_ROOT=/ (gateway paths used as they
// are), or when ZX_ROOT is unset the per-user directory, made by this call if missing.
ZX_HOST_API std::string gateway_root();
// A gateway absolute path resolved under the gateway root (see zx_os.h).
ZX_HOST_API std::string resolve_path(const std::string& gatewayPath);
// Factor applied to every bus time-out (ZX_TIMEOUT_SCALE, default 1).
ZX_HOST_API double timeout_scale();
// Re-reads the environment-derived settings above (tests change the environment between cases).
ZX_HOST_API void reload_environment();
// Name of a platform status code ("ZX_MSG_ERR_TIMEOUT"), or "0x%08X" for one that is not ours.
ZX_HOST_API std::string status_name(uint32_t status);

// ---------------------------------------------------------------------------------------------
// Service side of the bus (the simulator's serving API)
// ---------------------------------------------------------------------------------------------

struct BusRequest {
    ZX_MSG_HEAD_S head{};  // routing header, bytes as the caller sent them
    uint32_t msgId = 0;
    uint32_t mid = 0;        // module id argument of the call
    bool oneWay = false;     // ZX_MSG_AsyncSendData: no answer is expected
    uint32_t timeoutMs = 0;  // the caller's unscaled time-out (0 for one-way)
    uint32_t replyCap = 0;   // the caller's reply capacity
    uint32_t callerPid = 0;
    std::span<const uint8_t> data;  // request bytes, valid during the handler call
};

struct BusAnswer {
    uint32_t status = 0;        // returned to the caller unchanged
    std::vector<uint8_t> data;  // cut to the caller's capacity by the bus
    bool noReply = false;       // send nothing: the caller times out
};

using BusHandler = std::function<void(const BusRequest&, BusAnswer&)>;

// An endpoint served by a handler. Each caller connection is served on its own thread, so callers
// do not queue behind each other and a slow answer delays only its own caller; the handler must
// therefore be safe to run concurrently.
class ZX_HOST_API BusService {
public:
    // Creates the endpoint `name` (same name rules and errors as ZX_MSG_Init) and starts serving.
    static uint32_t start(const std::string& name, BusHandler handler, std::unique_ptr<BusService>& out);
    // Stops serving, closes every connection and removes the endpoint. Idempotent.
    void stop();
    ~BusService();
    const std::string& name() const;

    struct Impl;
    explicit BusService(std::unique_ptr<Impl> impl);

private:
    std::unique_ptr<Impl> impl_;
};

// Sends one message with a routing header chosen by the caller (tests of the receiving side:
// module id words, handlers). mid selects the handler at the destination.
ZX_HOST_API uint32_t send_raw(const std::string& dest, const ZX_MSG_HEAD_S& head, uint32_t msgId, uint32_t mid,
                              std::span<const uint8_t> data);

// Drops this thread's cached bus connections (benchmarks and tests of reconnection).
ZX_HOST_API void drop_thread_connections();

// ---------------------------------------------------------------------------------------------
// Traces
// ---------------------------------------------------------------------------------------------

struct TraceRecord {
    enum Kind { Trace, LastWord, LastWord1 } kind = Trace;
    uint32_t level = 0;
    std::string file;  // "" for a NULL file
    uint32_t line = 0;
    uint32_t flag = 0;
    std::string text;  // formatted trace text
    uint32_t code = 0;
    uint32_t data[4] = {0, 0, 0, 0};
};

// Starts capturing the records of this process in memory (clears earlier captures). Capture runs
// beside the sink chosen by ZX_TRACE.
ZX_HOST_API void trace_capture_start();
// Returns the captured records and clears the capture (capture stays on).
ZX_HOST_API std::vector<TraceRecord> trace_capture_take();
ZX_HOST_API void trace_capture_stop();
// Parses one line of a trace file (format in zx_dbg.h). False for a malformed line.
ZX_HOST_API bool trace_parse_line(const std::string& line, TraceRecord& out);

// ---------------------------------------------------------------------------------------------
// Injected faults: each platform call that can fail can be made to fail on demand
// ---------------------------------------------------------------------------------------------

// The calls a test can make fail. A failed call does nothing (no block, no lock, no thread, no
// descriptor) and answers as follows:
//   Alloc          ZX_OS_MemMallocD, ZX_OS_MemMallocSet, ZX_OS_StrDup: NULL, errno ENOMEM
//   VdataCreate    ZX_VDATA_CreShm: ZX_VDATA_ERR_ARENA, the id set to 0
//   VdataUpdate    ZX_VDATA_UpdateData, VdataRead ZX_VDATA_ReadData, VdataFree ZX_VDATA_FreeShm:
//                  ZX_VDATA_ERR_ARENA (the block stays as it was)
//   Compress       ZX_OS_Compress, Decompress ZX_OS_Decompress: ZX_ERR_SYS
//   MsgInit        ZX_MSG_Init, MsgRegisterMid ZX_MSG_RegisterMID: ZX_ERR_SYS
//   PthreadCreate  ZX_OS_PthreadCreate: ZX_ERR_SYS, errno EAGAIN
//   MutexInit, MutexLock, MutexUnlock  ZX_OS_MutexInit/Lock/UnLock: ZX_ERR_SYS
//   LocalTime      ZX_OS_GetLocalTime: ZX_ERR_SYS (the record untouched)
//   ShmGet, ShmAt, ShmDt, ShmCtl  ZX_OS_ShmGet/At/Dt/Ctl: -1 (ShmAt: NULL) with errno ENOSPC,
//                  EACCES, EINVAL and EPERM, as the kernel's refusal would answer
//   Select         ZX_OS_Select: -1, errno EIO
//   Open, Read, Write  ZX_OS_Open/Read/Write: -1, errno EACCES for Open, EIO for the others
//   Fopen          ZX_OS_Fopen: NULL, errno EACCES; Fputs ZX_OS_Fputs: EOF, errno EIO
//   IfIpAndMac     ZX_OS_GetIfIpAndMac: ZX_ERR_SYS (address and MAC untouched)
// Argument checks come first: a call refused for its arguments does not count.
enum class Call : uint32_t {
    Alloc,
    VdataCreate,
    VdataUpdate,
    VdataRead,
    VdataFree,
    Compress,
    Decompress,
    MsgInit,
    MsgRegisterMid,
    PthreadCreate,
    MutexInit,
    MutexLock,
    MutexUnlock,
    LocalTime,
    ShmGet,
    ShmAt,
    ShmDt,
    ShmCtl,
    Select,
    Open,
    Read,
    Write,
    Fopen,
    Fputs,
    IfIpAndMac,
    Count
};

// Fail the n-th call of this kind from now (1 = the next one); 0 cancels. Each kind counts down
// on its own, over every thread of the process.
ZX_HOST_API void fault_nth(Call call, uint64_t n);
// Fail every call of this kind made from file:line (file compared as text) until cleared; only
// calls that carry their caller's file and line (Alloc) can match.
ZX_HOST_API void fault_at(Call call, const std::string& file, uint32_t line);
ZX_HOST_API void fault_clear(Call call);  // cancels both faults of one kind
ZX_HOST_API void fault_clear();           // cancels every fault of every kind
ZX_HOST_API uint64_t faults_injected();   // failures injected since process start, all kinds
ZX_HOST_API uint64_t faults_injected(Call call);

// ---------------------------------------------------------------------------------------------
// Tracing allocator
// ---------------------------------------------------------------------------------------------

struct AllocRecord {
    const void* ptr;
    uint32_t size;
    std::string file;
    uint32_t line;
};

ZX_HOST_API uint64_t alloc_outstanding();           // blocks handed out and not yet freed
ZX_HOST_API std::vector<AllocRecord> alloc_list();  // those blocks, oldest first
ZX_HOST_API uint64_t alloc_foreign_frees();         // ZX_OS_MemFreeD of blocks not ours
// The allocator's faults under their older names (the same as fault_nth(Call::Alloc, n), ...):
// fail the n-th allocation from now (1 = the next one; 0 cancels), or every allocation made from
// file:line (file compared as text) until cleared.
ZX_HOST_API void alloc_fail_nth(uint64_t n);
ZX_HOST_API void alloc_fail_at(const std::string& file, uint32_t line);
ZX_HOST_API void alloc_fail_clear();             // cancels both kinds of allocation fault
ZX_HOST_API uint64_t alloc_failures_injected();  // count since process start

// ---------------------------------------------------------------------------------------------
// System V shared memory (ZX_OS_ShmGet, ZX_OS_ShmAt, ZX_OS_ShmDt, ZX_OS_ShmCtl)
// ---------------------------------------------------------------------------------------------

enum class ShmCall { Get, At, Dt, Ctl };

// The System V faults under their older names (the same as fault_nth(Call::ShmGet, n), ...):
// fail the n-th call of one kind from now (1 = the next one); 0 cancels that kind.
ZX_HOST_API void shm_fail(ShmCall call, uint64_t n);
ZX_HOST_API void shm_fail_clear();             // cancels every System V kind
ZX_HOST_API uint64_t shm_failures_injected();  // count since process start, all four kinds

// ---------------------------------------------------------------------------------------------
// Shared data blocks
// ---------------------------------------------------------------------------------------------

struct VdataBlock {
    uint32_t id;
    uint32_t size;
    uint32_t creatorPid;
};

// Blocks that exist in the arena now (of every process).
ZX_HOST_API std::vector<VdataBlock> vdata_list();

// ZX_OS_Decompress and ZX_OS_DecompressedLen of a unit that must lie within `stored` (the bytes
// read from a block): a unit whose header is cut or claims more bytes than stored holds is
// ZX_ERR_CORRUPT (length 0), and nothing beyond stored is read.
ZX_HOST_API uint32_t decompress_within(std::span<const uint8_t> stored, void* dst, uint32_t dstCapacity);
ZX_HOST_API uint32_t decompressed_len_within(std::span<const uint8_t> stored);

// ---------------------------------------------------------------------------------------------
// Gateway profile
// ---------------------------------------------------------------------------------------------

// The profile's text (empty when it cannot be read) and a re-read after the file changed.
ZX_HOST_API std::string profile_text();
ZX_HOST_API void profile_reload();

}  // namespace zxhost
