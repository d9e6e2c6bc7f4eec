// "app_m": the management (cloud platform) address, the connections' PPPoE names and WAN
// addresses, the physical device information.
#include <string>

#include "families.h"
#include "record_util.h"
#include "zx_wire_app_m.h"

namespace zxsim::app_m {
namespace {

// The management address at offset 305 and its port at offset 562 of a 2343-byte record.
void mgt_address(Call& call) {
    uint32_t word = 0;
    if (!call.read(word)) return;
    ZX_APPM_MGT_ADDR_S reply{};
    put(reply.acMgtAddr, call.state_text("mgtAddress"));
    reply.uiMgtPort = call.state_u32("mgtPort");
    call.reply_record(reply);
}

// The record comes back with the WAN address and PPPoE name of the named connection filled in;
// an unknown connection leaves both empty.
void pppoe_wan(Call& call) {
    ZX_APPM_PPPOE_WAN_S rec;
    if (!call.read(rec)) return;
    std::string name = field(rec.acConnName);
    call.service().with_state([&](json_object* state) {
        json_object* connections = nullptr;
        json_object* conn = nullptr;
        if (!json_object_object_get_ex(state, "connections", &connections) ||
            !json_object_object_get_ex(connections, name.c_str(), &conn))
            return;
        const char* wan = member_text(conn, "wanIp");
        const char* pppoe = member_text(conn, "pppoeName");
        put(rec.acWanIp, wan ? wan : "");
        put(rec.acPppoeName, pppoe ? pppoe : "");
    });
    call.reply_record(rec);
}

void phy_info(Call& call) {
    uint32_t word = 0;
    if (!call.read(word)) return;
    call.reply_text(call.state_text("phyInfo"));
}

constexpr std::initializer_list<Command> kCommands{
    {ZX_APPM_RPC_GET_MGT_ADDRESS, "GetMgtAddress", mgt_address},
    {ZX_APPM_RPC_GET_PPPOE_WAN, "GetPppoeNameAndWanIp", pppoe_wan},
    {ZX_APPM_RPC_GET_PHY_INFO, "GetPhyInfo", phy_info},
};
static_assert(commands_sorted(kCommands));

}  // namespace

extern const CommandFamily kDeviceInfoFamily{"device_info", {kCommands.begin(), kCommands.size()}};

}  // namespace zxsim::app_m
