// The "usb_mngt" service: USB management. Devices, their terminals and ownership are in
// usb_devices.h; the state's "devices" list defines them.
#include <algorithm>

#include "services.h"
#include "usb_devices.h"

namespace zxsim {
namespace {

#pragma pack(push, 1)
struct PluginRequest {
    uint32_t type;
    char plugId[128];
};
struct ReasonReply {
    int32_t result;
    char reason[64];
};
struct OpenReply {
    int32_t result;
    char path[32];
    char reason[64];
};
#pragma pack(pop)
static_assert(sizeof(PluginRequest) == 132 && offsetof(PluginRequest, plugId) == 4);
static_assert(sizeof(ReasonReply) == 68 && offsetof(ReasonReply, reason) == 4);
static_assert(sizeof(OpenReply) == 100 && offsetof(OpenReply, path) == 4 && offsetof(OpenReply, reason) == 36);

template <size_t N>
void put_text(char (&dst)[N], const std::string& text) {
    std::memcpy(dst, text.data(), std::min(text.size(), N - 1));
}

std::string plug_id(const PluginRequest& req) { return std::string(req.plugId, strnlen(req.plugId, sizeof req.plugId)); }

void answer(Call& call, const UsbOutcome& outcome) {
    ReasonReply reply{};
    reply.result = outcome.result;
    put_text(reply.reason, outcome.reason);
    call.reply_record(reply);
}

void open_device(Call& call) {
    uint32_t devId = 0;
    if (!call.read(devId)) return;
    std::string path;
    UsbOutcome outcome = usb_open(call.service(), call.request().callerPid, devId, path);
    OpenReply reply{};
    reply.result = outcome.result;
    put_text(reply.path, path);
    put_text(reply.reason, outcome.reason);
    call.reply_record(reply);
}

void register_plugin(Call& call) {
    PluginRequest req;
    if (!call.read(req)) return;
    answer(call, usb_register(call.service(), call.request().callerPid, plug_id(req), req.type));
}

void unregister_plugin(Call& call) {
    PluginRequest req;
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
    {0x4710303F, "UsbOpen", open_device},       {0x47103041, "UsbRegister", register_plugin},
    {0x47103042, "UsbUnregister", unregister_plugin}, {0x47103043, "UsbLock", lock_device},
    {0x47103044, "UsbUnLock", unlock_device},   {0x47103076, "UsbUnregisterAll", unregister_all},
};
static_assert(commands_sorted(kCommands));

}  // namespace

const ServiceDef& usb_mngt_service() {
    static const ServiceDef kDef{"usb_mngt", {kCommands.begin(), kCommands.size()}};
    return kDef;
}

}  // namespace zxsim
