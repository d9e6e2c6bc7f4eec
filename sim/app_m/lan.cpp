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
//   max bandwidth   query by the MAC text (colon form, any case, no NUL): {"Result":0,"MAC":"00:1A:2B:00:10:01",
//                   "UpMaxBandwidth":0,"DownMaxBandwidth":0} (kbit/s, 0: no limit); set by the 40-byte record
//                   (MAC, upstream then downstream limit), answers {"Result":0}; an unknown MAC is
//                   ZX_SIM_LAN_NO_HOST
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

// The host whose MAC (12 digits, separators and case aside) is mac; null when none.
json_object* host_by_mac(json_object* state, const std::string& mac) {
    json_object* hosts = member(state, "lanHosts", json_type_array);
    for (size_t i = 0; i < json_object_array_length(hosts); ++i) {
        json_object* h = json_object_array_get_idx(hosts, i);
        if (!mac.empty() && bare_mac(text_of(h, "mac")) == bare_mac(mac) && bare_mac(mac).size() == 12) return h;
    }
    return nullptr;
}

void get_max_bandwidth(Call& call) {
    const std::string mac = call.request_text();
    std::string answer;
    call.service().with_state([&](json_object* state) {
        json_object* h = host_by_mac(state, mac);
        if (!h) return;
        answer = "{\"Result\":0,\"MAC\":\"" + text_of(h, "mac") +
                 "\",\"UpMaxBandwidth\":" + std::to_string(int_of(h, "upMaxBandwidth", 0)) +
                 ",\"DownMaxBandwidth\":" + std::to_string(int_of(h, "downMaxBandwidth", 0)) + "}";
    });
    if (answer.empty()) return call.fail(ZX_SIM_LAN_NO_HOST);
    call.reply_text(answer);
}

void set_max_bandwidth(Call& call) {
    ZX_APPM_DEV_MAX_BANDWIDTH_S req;
    if (!call.read(req)) return;
    const std::string mac = field(req.acMac);
    bool found = call.service().with_state([&](json_object* state) {
        json_object* h = host_by_mac(state, mac);
        if (!h) return false;
        json_object_object_add(h, "upMaxBandwidth", json_object_new_int64(req.uiFirstLimit));
        json_object_object_add(h, "downMaxBandwidth", json_object_new_int64(req.uiSecondLimit));
        return true;
    });
    if (!found) return call.fail(ZX_SIM_LAN_NO_HOST);
    call.reply_text("{\"Result\":0}");
}

constexpr std::initializer_list<Command> kCommands{
    {ZX_APPM_RPC_LAN_GET_NET_INFO, "LanGetNetInfo", host_list},
    {ZX_APPM_RPC_LAN_SET_DEV_ACCESS_PERMISSION, "LanSetDevAccessPermission", set_access},
    {ZX_APPM_RPC_LAN_GET_INTERNET_BLACKLIST, "LanGetDevInternetAccessBlacklist", internet_black_list},
    {ZX_APPM_RPC_LAN_GET_STORAGE_BLACKLIST, "LanGetDevStorageAccessBlacklist", storage_black_list},
    {ZX_APPM_RPC_LAN_SET_DEV_STATS_STATUS, "LanSetDevStatsStatus", stats_status},
    {ZX_APPM_RPC_LAN_GET_DEV_BANDWIDTH, "LanGetDevBandwidth", bandwidth},
    {ZX_APPM_RPC_LAN_GET_DEV_MAX_BANDWIDTH, "LanGetDevMaxBandwidth", get_max_bandwidth},
    {ZX_APPM_RPC_LAN_SET_DEV_MAX_BANDWIDTH, "LanSetDevMaxBandwidth", set_max_bandwidth},
};
static_assert(commands_sorted(kCommands));

}  // namespace

extern const CommandFamily kLanFamily{"lan", {kCommands.begin(), kCommands.size()}};

}  // namespace zxsim::app_m
