// "app_m": the LAN hosts as the configuration service knows them, their access permissions, the
// black lists derived from them, their bandwidth and the per-device statistics switch.
//
//   host list       {"Result":0,"Info":[{"MAC":"00:1A:2B:00:10:01","IP":"192.168.1.2","HostName":"laptop",
//                   "Interface":"LAN1","Online":1,"InternetAccess":"ON","StorageAccess":"ON"}, ...]}
//   permission      device (its MAC as 12 digits, or its host name), Internet then storage access as
//                   "ON"/"OFF"; answers {"Result":0}; an unknown device is ZX_SIM_LAN_NO_HOST, a word
//                   other than ON/OFF ZX_SIM_LAN_BAD_VALUE
//   black lists     {"Result":0,"BlackList":[{"MAC":"00:1A:2B:00:10:03","HostName":"tv"}, ...]}: the hosts
//                   whose Internet (storage) access is off
//   bandwidth       {"Result":0,"UsBandwidth":640,"DsBandwidth":5120}: kbit/s of the online hosts
//   statistics      the switch word (0 or 1, else ZX_SIM_LAN_BAD_VALUE); answers {"Result":0,"Status":1}
#include <algorithm>
#include <cctype>
#include <optional>
#include <string>

#include "families.h"
#include "record_util.h"
#include "sim_status.h"
#include "zx_wire_app_m.h"

namespace zxsim::app_m {
namespace {

// The MAC as bare upper-case digits ("00:1a:2b..." -> "001A2B...").
std::string bare_mac(const std::string& mac) {
    std::string out;
    for (char c : mac)
        if (std::isxdigit(static_cast<unsigned char>(c))) out += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return out;
}

bool flag(json_object* obj, const char* key) {
    json_object* v = child(obj, key);
    return v && json_object_get_boolean(v);
}

void host_list(Call& call) {
    uint32_t word = 0;
    if (!call.read(word)) return;
    JsonPtr answer(json_object_new_object());
    json_object_object_add(answer.get(), "Result", json_object_new_int(0));
    json_object* list = json_object_new_array();
    json_object_object_add(answer.get(), "Info", list);
    call.service().with_state([&](json_object* state) {
        json_object* hosts = member(state, "lanHosts", json_type_array);
        for (size_t i = 0; i < json_object_array_length(hosts); ++i) {
            json_object* h = json_object_array_get_idx(hosts, i);
            json_object* e = json_object_new_object();
            add_text(e, "MAC", text_of(h, "mac"));
            add_text(e, "IP", text_of(h, "ip"));
            add_text(e, "HostName", text_of(h, "hostName"));
            add_text(e, "Interface", text_of(h, "interface"));
            json_object_object_add(e, "Online", json_object_new_int(flag(h, "online") ? 1 : 0));
            add_text(e, "InternetAccess", flag(h, "internetAccess") ? "ON" : "OFF");
            add_text(e, "StorageAccess", flag(h, "storageAccess") ? "ON" : "OFF");
            json_object_array_add(list, e);
        }
    });
    call.reply_text(json_line(answer.get()));
}

// "ON" true, "OFF" false, anything else nothing.
std::optional<bool> on_off(const std::string& text) {
    if (text == "ON") return true;
    if (text == "OFF") return false;
    return std::nullopt;
}

void set_access(Call& call) {
    ZX_APPM_DEV_ACCESS_REQ_S req;
    if (!call.read(req)) return;
    std::optional<bool> internet = on_off(field(req.acPermission1));
    std::optional<bool> storage = on_off(field(req.acPermission2));
    if (!internet || !storage) return call.fail(ZX_SIM_LAN_BAD_VALUE);
    const std::string dev = field(req.acDevice);
    bool found = call.service().with_state([&](json_object* state) {
        json_object* hosts = member(state, "lanHosts", json_type_array);
        for (size_t i = 0; i < json_object_array_length(hosts); ++i) {
            json_object* h = json_object_array_get_idx(hosts, i);
            if (bare_mac(text_of(h, "mac")) != bare_mac(dev) && text_of(h, "hostName") != dev) continue;
            json_object_object_add(h, "internetAccess", json_object_new_boolean(*internet));
            json_object_object_add(h, "storageAccess", json_object_new_boolean(*storage));
            return true;
        }
        return false;
    });
    if (!found) return call.fail(ZX_SIM_LAN_NO_HOST);
    call.reply_text("{\"Result\":0}");
}

void black_list(Call& call, const char* permission) {
    uint32_t word = 0;
    if (!call.read(word)) return;
    JsonPtr answer(json_object_new_object());
    json_object_object_add(answer.get(), "Result", json_object_new_int(0));
    json_object* list = json_object_new_array();
    json_object_object_add(answer.get(), "BlackList", list);
    call.service().with_state([&](json_object* state) {
        json_object* hosts = member(state, "lanHosts", json_type_array);
        for (size_t i = 0; i < json_object_array_length(hosts); ++i) {
            json_object* h = json_object_array_get_idx(hosts, i);
            if (flag(h, permission)) continue;
            json_object* e = json_object_new_object();
            add_text(e, "MAC", text_of(h, "mac"));
            add_text(e, "HostName", text_of(h, "hostName"));
            json_object_array_add(list, e);
        }
    });
    call.reply_text(json_line(answer.get()));
}

void internet_black_list(Call& call) { black_list(call, "internetAccess"); }
void storage_black_list(Call& call) { black_list(call, "storageAccess"); }

void bandwidth(Call& call) {
    uint32_t word = 0;
    if (!call.read(word)) return;
    int64_t up = 0, down = 0;
    call.service().with_state([&](json_object* state) {
        json_object* hosts = member(state, "lanHosts", json_type_array);
        for (size_t i = 0; i < json_object_array_length(hosts); ++i) {
            json_object* h = json_object_array_get_idx(hosts, i);
            if (!flag(h, "online")) continue;
            up += int_of(h, "usBandwidth", 0);
            down += int_of(h, "dsBandwidth", 0);
        }
    });
    call.reply_text("{\"Result\":0,\"UsBandwidth\":" + std::to_string(up) + ",\"DsBandwidth\":" + std::to_string(down) +
                    "}");
}

void stats_status(Call& call) {
    int32_t enable = 0;
    if (!call.read(enable)) return;
    if (enable != 0 && enable != 1) return call.fail(ZX_SIM_LAN_BAD_VALUE);
    call.service().with_state(
        [&](json_object* state) { json_object_object_add(state, "devStatsEnabled", json_object_new_int(enable)); });
    call.reply_text("{\"Result\":0,\"Status\":" + std::to_string(enable) + "}");
}

constexpr std::initializer_list<Command> kCommands{
    {ZX_APPM_RPC_LAN_GET_NET_INFO, "LanGetNetInfo", host_list},
    {ZX_APPM_RPC_LAN_SET_DEV_ACCESS_PERMISSION, "LanSetDevAccessPermission", set_access},
    {ZX_APPM_RPC_LAN_GET_INTERNET_BLACKLIST, "LanGetDevInternetAccessBlacklist", internet_black_list},
    {ZX_APPM_RPC_LAN_GET_STORAGE_BLACKLIST, "LanGetDevStorageAccessBlacklist", storage_black_list},
    {ZX_APPM_RPC_LAN_SET_DEV_STATS_STATUS, "LanSetDevStatsStatus", stats_status},
    {ZX_APPM_RPC_LAN_GET_DEV_BANDWIDTH, "LanGetDevBandwidth", bandwidth},
};
static_assert(commands_sorted(kCommands));

}  // namespace

extern const CommandFamily kLanFamily{"lan", {kCommands.begin(), kCommands.size()}};

}  // namespace zxsim::app_m
