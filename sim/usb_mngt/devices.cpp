// "usb_mngt": USB device access (registration, locks, the device file of a device id). Devices,
// their terminals and ownership are in usb_devices.h.
#include <string>

#include "families.h"
#include "record_util.h"
#include "usb_devices.h"
#include "zx_wire_usb_mngt.h"

namespace zxsim::usb_mngt {
namespace {

std::string plug_id(const ZX_USB_PLUGIN_REQ_S& req) { return field(req.acPlugId); }

void answer(Call& call, const UsbOutcome& outcome) {
    ZX_WIRE_RESULT_REASON_S reply{};
    reply.iResult = outcome.result;
    put(reply.acFailReason, outcome.reason);
    call.reply_record(reply);
}

void open_device(Call& call) {
    uint32_t devId = 0;
    if (!call.read(devId)) return;
    std::string path;
    UsbOutcome outcome = usb_open(call.service(), call.request().callerPid, devId, path);
    ZX_USB_OPEN_REPLY_S reply{};
    reply.iResult = outcome.result;
    put(reply.acDevPath, path);
    put(reply.acFailReason, outcome.reason);
    call.reply_record(reply);
}

void register_plugin(Call& call) {
    ZX_USB_PLUGIN_REQ_S req;
    if (!call.read(req)) return;
    answer(call, usb_register(call.service(), call.request().callerPid, plug_id(req), req.uiDevType));
}

void unregister_plugin(Call& call) {
    ZX_USB_PLUGIN_REQ_S req;
    if (!call.read(req)) return;
    answer(call, usb_unregister(call.service(), plug_id(req)));
}

void lock_device(Call& call) {
    uint32_t devId = 0;
    if (!call.read(devId)) return;
    answer(call, usb_lock(call.service(), call.request().callerPid, devId));
}

void unlock_device(Call& call) {
    uint32_t devId = 0;
    if (!call.read(devId)) return;
    answer(call, usb_unlock(call.service(), call.request().callerPid, devId));
}

void unregister_all(Call& call) {
    usb_unregister_all(call.service());
    call.reply_record(uint32_t{0});
}

constexpr std::initializer_list<Command> kCommands{
    {ZX_USB_RPC_OPEN, "UsbOpen", open_device},
    {ZX_USB_RPC_REGISTER, "UsbRegister", register_plugin},
    {ZX_USB_RPC_UNREGISTER, "UsbUnregister", unregister_plugin},
    {ZX_USB_RPC_LOCK, "UsbLock", lock_device},
    {ZX_USB_RPC_UNLOCK, "UsbUnLock", unlock_device},
    {ZX_USB_RPC_UNREGISTER_ALL, "UsbUnregisterAll", unregister_all},
};
static_assert(commands_sorted(kCommands));

}  // namespace

extern const CommandFamily kDevicesFamily{"devices", {kCommands.begin(), kCommands.size()}};

}  // namespace zxsim::usb_mngt
