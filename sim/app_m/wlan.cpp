// "app_m": the SSIDs' configuration: the WLAN channel.
#include "families.h"
#include "record_util.h"
#include "zx_wire_app_m.h"

namespace zxsim::app_m {
namespace {

void wlan_channel(Call& call) {
    uint32_t word = 0;
    if (!call.read(word)) return;
    call.reply_record(call.state_u32("wlanChannel"));
}

constexpr std::initializer_list<Command> kCommands{
    {ZX_APPM_RPC_GET_WLAN_CHANNEL, "GetWlanChannel", wlan_channel},
};
static_assert(commands_sorted(kCommands));

}  // namespace

extern const CommandFamily kWlanFamily{"wlan", {kCommands.begin(), kCommands.size()}};

}  // namespace zxsim::app_m
