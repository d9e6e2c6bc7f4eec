// The USB devices of the simulated gateway and who owns them.
//
// Each device of the "usb_mngt" state's "devices" list is backed by a pseudo-terminal pair: the
// library opens the terminal side (the path "usb_mngt" answers to open), the simulator holds the
// other side. There a personality runs:
//   "echo"   sends every byte back
//   "lines"  answers each line (ended by CR or LF) with its entry of "script" and CR LF, or "ERROR"
//   "host"   nothing runs; a test reads and writes through the control operations
// A device with a "path" member has no terminal: open answers that path as it stands.
//
//   "devices": [{"id": 1, "type": 1, "personality": "echo"},
//               {"id": 2, "type": 1, "personality": "lines", "script": {"AT": "OK"}},
//               {"id": 9, "type": 1, "path": "/dev/absent"}]
//
// Ownership: a plug-in registers for a device type; a caller process acts as the plug-in it
// registered last for the device's type (among those still registered). A lock belongs to that
// plug-in; another plug-in's lock, unlock or open of the device is refused with a reason.
// Unregistering a plug-in releases its locks; unregister-all releases everything. The devices are
// made when "usb_mngt" first needs them and live as long as the process.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "service.h"

namespace zxsim {

// The answer of an ownership operation: 0, or -1 with the reason.
struct UsbOutcome {
    int32_t result = 0;
    std::string reason;
};

UsbOutcome usb_register(Service& service, uint32_t pid, const std::string& plugId, uint32_t type);
UsbOutcome usb_unregister(Service& service, const std::string& plugId);
UsbOutcome usb_lock(Service& service, uint32_t pid, uint32_t devId);
UsbOutcome usb_unlock(Service& service, uint32_t pid, uint32_t devId);
// The device path in `path` when the outcome is 0.
UsbOutcome usb_open(Service& service, uint32_t pid, uint32_t devId, std::string& path);
void usb_unregister_all(Service& service);

// The simulator's side of a device, for the control operations. Each returns why it failed, or
// nullopt.
std::optional<std::string> usb_host_write(Service& service, uint32_t devId, const std::vector<uint8_t>& bytes);
// Reads what the device side has received: waits up to waitMs for at least `min` bytes, returns at
// most `max`.
std::optional<std::string> usb_host_read(Service& service, uint32_t devId, size_t min, size_t max, uint32_t waitMs,
                                         std::vector<uint8_t>& out);
// The device's terminal path and its lock owner ("" when unlocked).
std::optional<std::string> usb_host_describe(Service& service, uint32_t devId, std::string& path,
                                             std::string& lockedBy);

}  // namespace zxsim
