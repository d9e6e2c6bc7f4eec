// "wifi": the wireless hosts, as JSON:
//   {"Result":0,"List":[{"MAC":"A4:5E:60:1B:2C:3D","SSIDIndex":1,"RSSI":-48,"TxRate":144,"RxRate":130}]}
// Every host when the count is 0, else the hosts whose MAC (compared without regard to case) is
// one of the first count entries (at most 8); a MAC no host has is left out.
#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

#include "families.h"
#include "record_util.h"
#include "zx_wire_wifi.h"

namespace zxsim::wifi {
namespace {

std::string upper(std::string text) {
    for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

void wlan_host_info(Call& call) {
    ZX_WIFI_HOST_INFO_REQ_S req;
    if (!call.read(req)) return;
    std::vector<std::string> wanted;
    for (uint32_t i = 0; i < std::min(req.uiCount, ZX_WIFI_MAX_HOST_MACS); ++i)
        wanted.push_back(upper(field(req.aacMac[i])));
    JsonPtr answer(json_object_new_object());
    json_object_object_add(answer.get(), "Result", json_object_new_int(0));
    json_object* list = json_object_new_array();
    json_object_object_add(answer.get(), "List", list);
    call.service().with_state([&](json_object* state) {
        json_object* hosts = member(state, "hosts", json_type_array);
        for (size_t i = 0; i < json_object_array_length(hosts); ++i) {
            json_object* h = json_object_array_get_idx(hosts, i);
            std::string mac = upper(text_of(h, "mac"));
            if (req.uiCount != 0 && std::find(wanted.begin(), wanted.end(), mac) == wanted.end()) continue;
            json_object* e = json_object_new_object();
            add_text(e, "MAC", mac);
            json_object_object_add(e, "SSIDIndex", json_object_new_int64(int_of(h, "ssidIndex", 0)));
            json_object_object_add(e, "RSSI", json_object_new_int64(int_of(h, "rssi", 0)));
            json_object_object_add(e, "TxRate", json_object_new_int64(int_of(h, "txRate", 0)));
            json_object_object_add(e, "RxRate", json_object_new_int64(int_of(h, "rxRate", 0)));
            json_object_array_add(list, e);
        }
    });
    call.reply_text(json_line(answer.get()));
}

constexpr std::initializer_list<Command> kCommands{
    {ZX_WIFI_JNI_RPC_GET_WLANHOSTINFO, "GetWlanHostInfo", wlan_host_info},
};
static_assert(commands_sorted(kCommands));

}  // namespace

extern const CommandFamily kHostsFamily{"hosts", {kCommands.begin(), kCommands.size()}};

}  // namespace zxsim::wifi
