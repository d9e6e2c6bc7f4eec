// The "app_m" service: application management (configuration, LOID, cloud platform, media files).
//
// State members:
//   loid           the LOID text
//   wlanChannel    WLAN channel number
//   mgtAddress, mgtPort   the management (cloud platform) address and port
//   phyInfo        physical device information text
//   connections    {"name": {"pppoeName", "wanIp"}} by connection name
#include <algorithm>
#include <cstddef>
#include <vector>

#include "services.h"
#include "zx_wire_app_m.h"

namespace zxsim {

namespace {

template <size_t N>
std::string field(const char (&f)[N]) {
    return std::string(f, strnlen(f, N));
}

template <size_t N>
void put_text(char (&dst)[N], const std::string& text) {
    std::memcpy(dst, text.data(), std::min(text.size(), N - 1));
}

void add_text(json_object* obj, const char* key, const std::string& text) {
    json_object_object_add(obj, key, json_object_new_string_len(text.data(), static_cast<int>(text.size())));
}

uint32_t state_u32(Call& call, const char* key) {
    return call.service().with_state([key](json_object* state) { return member_u32(state, key).value_or(0); });
}

// A one-way notice of a traffic-monitoring change. Its payload: the add flag (1 add, 0 delete),
// the bundle name in 128 bytes, then the address list and its NUL. Only recorded.
void traffic_notice(Call& call) {
    ZX_APPM_TRAFFIC_NOTICE_S notice;
    if (!call.read(notice)) return;
    std::vector<uint8_t> payload;
    JsonPtr decoded;
    if (!read_tunnel_block(call, 0, payload, decoded)) return;
    json_object_object_add(decoded.get(), "flag", json_object_new_int64(notice.uiFlag));
    ZX_APPM_TRAFFIC_NOTICE_HEAD_S head;
    if (payload.size() > sizeof head) {
        std::memcpy(&head, payload.data(), sizeof head);
        const char* list = reinterpret_cast<const char*>(payload.data() + sizeof head);
        json_object_object_add(decoded.get(), "add", json_object_new_int(head.ucAdd));
        add_text(decoded.get(), "bundle", field(head.acBundleName));
        add_text(decoded.get(), "list", std::string(list, strnlen(list, payload.size() - sizeof head)));
    }
    call.set_decoded(std::move(decoded));
    call.reply_record(uint32_t{0});
}

// The management address at offset 305 and its port at offset 562 of a 2343-byte record.
void mgt_address(Call& call) {
    uint32_t word = 0;
    if (!call.read(word)) return;
    ZX_APPM_MGT_ADDR_S reply{};
    put_text(reply.acMgtAddr, call.state_text("mgtAddress"));
    reply.uiMgtPort = state_u32(call, "mgtPort");
    call.reply_record(reply);
}

// The LOID (the operator's logical ONT identifier) as NUL-terminated plain text. The request is
// one 32-bit word (0); its value is not looked at.
void get_loid(Call& call) {
    uint32_t word = 0;
    if (!call.read(word)) return;
    call.reply_text(call.state_text("loid"));
}

void wlan_channel(Call& call) {
    uint32_t word = 0;
    if (!call.read(word)) return;
    call.reply_record(state_u32(call, "wlanChannel"));
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
        put_text(rec.acWanIp, wan ? wan : "");
        put_text(rec.acPppoeName, pppoe ? pppoe : "");
    });
    call.reply_record(rec);
}

void phy_info(Call& call) {
    uint32_t word = 0;
    if (!call.read(word)) return;
    call.reply_text(call.state_text("phyInfo"));
}

constexpr std::initializer_list<Command> kCommands{
    {ZX_APPM_NOTICE_TRAFFIC_MONITOR, "TrafficMonitoringNotice", traffic_notice},
    {ZX_APPM_RPC_GET_MGT_ADDRESS, "GetMgtAddress", mgt_address},
    {ZX_APPM_RPC_GET_LOID, "GetLoid", get_loid},
    {ZX_APPM_RPC_GET_WLAN_CHANNEL, "GetWlanChannel", wlan_channel},
    {ZX_APPM_RPC_GET_PPPOE_WAN, "GetPppoeNameAndWanIp", pppoe_wan},
    {ZX_APPM_RPC_GET_PHY_INFO, "GetPhyInfo", phy_info},
};
static_assert(commands_sorted(kCommands));

}  // namespace

const ServiceDef& app_m_service() {
    static const ServiceDef kDef{"app_m", {kCommands.begin(), kCommands.size()}};
    return kDef;
}

}  // namespace zxsim
