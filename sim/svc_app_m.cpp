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

namespace zxsim {

namespace {

#pragma pack(push, 1)
struct TrafficNotice {
    uint8_t block[12];  // record of the block holding the notice payload
    uint32_t flag;
};

struct ConnectionRecord {
    char name[64];
    char wanIp[128];
    char pppoeName[64];
};

struct MgtAddressReply {
    uint8_t resv1[305];
    char address[257];
    uint32_t port;  // unaligned, little-endian
    uint8_t resv2[1777];
};
#pragma pack(pop)
static_assert(sizeof(TrafficNotice) == 16);
static_assert(sizeof(ConnectionRecord) == 256 && offsetof(ConnectionRecord, wanIp) == 64 &&
              offsetof(ConnectionRecord, pppoeName) == 192);
static_assert(sizeof(MgtAddressReply) == 2343 && offsetof(MgtAddressReply, address) == 305 &&
              offsetof(MgtAddressReply, port) == 562);

constexpr size_t kNoticeBundleLen = 128;

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
    TrafficNotice notice;
    if (!call.read(notice)) return;
    std::vector<uint8_t> payload;
    JsonPtr decoded;
    if (!read_tunnel_block(call, 0, payload, decoded)) return;
    json_object_object_add(decoded.get(), "flag", json_object_new_int64(notice.flag));
    if (payload.size() > kNoticeBundleLen) {
        const char* bundle = reinterpret_cast<const char*>(payload.data() + 1);
        const char* list = reinterpret_cast<const char*>(payload.data() + 1 + kNoticeBundleLen);
        json_object_object_add(decoded.get(), "add", json_object_new_int(payload[0]));
        add_text(decoded.get(), "bundle", std::string(bundle, strnlen(bundle, kNoticeBundleLen)));
        add_text(decoded.get(), "list", std::string(list, strnlen(list, payload.size() - 1 - kNoticeBundleLen)));
    }
    call.set_decoded(std::move(decoded));
    call.reply_record(uint32_t{0});
}

// The management address at offset 305 and its port at offset 562 of a 2343-byte record.
void mgt_address(Call& call) {
    uint32_t word = 0;
    if (!call.read(word)) return;
    MgtAddressReply reply{};
    put_text(reply.address, call.state_text("mgtAddress"));
    reply.port = state_u32(call, "mgtPort");
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
    ConnectionRecord rec;
    if (!call.read(rec)) return;
    std::string name(rec.name, strnlen(rec.name, sizeof rec.name));
    call.service().with_state([&](json_object* state) {
        json_object* connections = nullptr;
        json_object* conn = nullptr;
        if (!json_object_object_get_ex(state, "connections", &connections) ||
            !json_object_object_get_ex(connections, name.c_str(), &conn))
            return;
        const char* wan = member_text(conn, "wanIp");
        const char* pppoe = member_text(conn, "pppoeName");
        put_text(rec.wanIp, wan ? wan : "");
        put_text(rec.pppoeName, pppoe ? pppoe : "");
    });
    call.reply_record(rec);
}

void phy_info(Call& call) {
    uint32_t word = 0;
    if (!call.read(word)) return;
    call.reply_text(call.state_text("phyInfo"));
}

constexpr std::initializer_list<Command> kCommands{
    {39, "TrafficMonitoringNotice", traffic_notice},
    {0x47102041, "GetMgtAddress", mgt_address},
    {0x4710304B, "GetLoid", get_loid},
    {0x47103053, "GetWlanChannel", wlan_channel},
    {0x47103054, "GetPppoeNameAndWanIp", pppoe_wan},
    {0x4710307D, "GetPhyInfo", phy_info},
};
static_assert(commands_sorted(kCommands));

}  // namespace

const ServiceDef& app_m_service() {
    static const ServiceDef kDef{"app_m", {kCommands.begin(), kCommands.size()}};
    return kDef;
}

}  // namespace zxsim
