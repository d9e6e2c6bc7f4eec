// Shared pieces of the platform library's own sources (not installed, not for callers).
#pragma once

#include <cstddef>
#include <cstdint>
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
    std::string root;         // ZX_ROOT without a trailing '/', "" when unset
    std::string procDir;      // ZX_PROC_DIR or /proc
    std::string procName;     // ZX_PROC_NAME, "" when unset
    double timeoutScale = 1.0;
};

const Environment& env();

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

}  // namespace zxp
