// "tarn": facts about the device: WAN address, ONT MAC, PPPoE user name.
#include <algorithm>
#include <cstring>
#include <string>

#include "families.h"
#include "zx_wire_tarn.h"

namespace zxsim::tarn {
namespace {

// The request is the caller's buffer size; the answer is the text in 512 bytes.
void wan_ip(Call& call) {
    uint32_t size = 0;
    if (!call.read(size)) return;
    char reply[512] = {};
    std::string ip = call.state_text("wanIp");
    std::memcpy(reply, ip.data(), std::min(ip.size(), sizeof reply - 1));
    call.reply_record(reply);
}

void ont_mac(Call& call) {
    uint32_t size = 0;
    if (!call.read(size)) return;
    call.reply_text(call.state_text("ontMac"));
}

void pppoe_user(Call& call) {
    uint32_t size = 0;
    if (!call.read(size)) return;
    ZX_TARN_PPPOE_USER_S reply{};
    std::string user = call.state_text("pppoeUserName");
    std::memcpy(reply.acUserName, user.data(), std::min(user.size(), sizeof reply.acUserName - 1));
    call.reply_record(reply);
}

constexpr std::initializer_list<Command> kCommands{
    {ZX_TARN_RPC_GET_WAN_IP, "GetWanIp", wan_ip},
    {ZX_TARN_RPC_GET_ONT_MAC, "GetOntMac", ont_mac},
    {ZX_TARN_RPC_GET_PPPOE_USER, "GetPppoeUserName", pppoe_user},
};
static_assert(commands_sorted(kCommands));

}  // namespace

extern const CommandFamily kDeviceInfoFamily{"device_info", {kCommands.begin(), kCommands.size()}};

}  // namespace zxsim::tarn
