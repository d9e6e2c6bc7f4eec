// Shared pieces of the platform library's own sources (not installed, not for callers).
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "zx_platform.h"

// Definition of an exported platform function.
#define ZX_EXPORT extern "C" __attribute__((visibility("default")))

namespace zxhost {
enum class Call : uint32_t;
}

namespace zxp {

// True when a test armed a fault for this call (zxhost::fault_nth / fault_at): the call then does
// nothing and answers as documented in zx_host.h. file and line are the caller's where the call
// carries them.
bool fault_hit(zxhost::Call call, const char* file = nullptr, uint32_t line = 0);

// The bytes from p to the end of the tracing allocator's live block that holds p; nothing when p
// is not inside such a block (memory of any other kind).
std::optional<size_t> alloc_room(const void* p);

// Settings read from the environment once (and again on zxhost::reload_environment()).
struct Environment {
    std::string busDir;       // ZX_BUS_DIR or /dev/shm/zxbus-<uid> (/tmp when /dev/shm is missing)
    std::string profilePath;  // ZX_PROFILE or the default profile found beside this library
    // The gateway root: ZX_ROOT without a trailing '/'; "" for ZX_ROOT=/ (gateway paths used as
    // they are). When ZX_ROOT is unset or empty, the per-user default: root is
    // ${XDG_STATE_HOME:-$HOME/.local/state}/zxgateway/root ("" without a usable HOME) and
    // rootFallback ${TMPDIR:-/tmp}/zxgateway-<uid>/root, taken when root cannot be made.
    std::string root;
    bool privateRoot = false;
    std::string rootHome;  // the HOME root lies under ("" when XDG_STATE_HOME gives it): must exist
    std::string rootFallback;
    std::string procDir;      // ZX_PROC_DIR or /proc
    std::string procName;     // ZX_PROC_NAME, "" when unset
    double timeoutScale = 1.0;
    // The per-user default root actually in use, set once by gateway_root().
    mutable std::once_flag rootMade;
    mutable std::string rootInUse;
};

const Environment& env();

// The gateway root in use: "" when gateway paths are used literally (ZX_ROOT=/), else a directory.
// The per-user default is made (mode 0700, with var/ inside) by the first call.
const std::string& gateway_root();

// The host path of a gateway path under the gateway root (see zx_os.h); every file call of the
// platform and zxhost::resolve_path go through it.
std::string resolve_gateway_path(const std::string& path);

// Creates the bus directory (mode 0700) if needed and checks it belongs to us.
// Returns ZX_OK or ZX_ERR_SYS.
uint32_t ensure_bus_dir();

// Time-out after ZX_TIMEOUT_SCALE, at least 1 ms for a non-zero input.
uint32_t scaled_timeout_ms(uint32_t timeoutMs);

// Host interface mapped from a gateway interface name by the profile ("br0" -> "lo").
std::string map_interface(const std::string& gatewayName);

// Value of a feature switch (-1 when unknown) and a platform value (false when unknown).
int feature_value(const std::string& name);
bool spec_value(const std::string& name, std::string& out);

// The bus monitor's tap (monitor.cpp, host/zx_bus_monitor.h).
namespace tap {

// Is a monitor watching? Looks for it at most every ZX_BUS_MONITOR_CHECK_MS; in between this is a
// read of the monotonic clock and a comparison.
bool watching();

// When a call started, on both clocks.
struct Stamp {
    uint64_t realUs;
    int64_t monoNs;
};
Stamp stamp();

// Reports to the monitor found by the last watching(); nothing when there was none.
void report_call(const Stamp& start, const ZX_MSG_HEAD_S& head, uint32_t msgId, uint32_t mid, uint32_t timeoutMs,
                 uint32_t replyCap, const void* req, uint32_t reqLen, const void* reply, uint32_t replyLen,
                 uint32_t status);
void report_one_way(const ZX_MSG_HEAD_S& head, uint32_t msgId, uint32_t mid, const void* data, uint32_t len,
                    uint32_t status);
// Looks for the monitor itself: block writes are not calls.
void report_block(uint32_t id, const void* data, uint32_t len);

}  // namespace tap

}  // namespace zxp
