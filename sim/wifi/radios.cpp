// "wifi": the radios' channel settings: automatic channel selection, channel width, forbidden
// channels. A request names the radio by its index; every answer is a zero word.
#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "families.h"
#include "record_util.h"
#include "zx_wire_wifi.h"

namespace zxsim::wifi {
namespace {

// The channels of a band, in the order automatic selection tries them.
const std::vector<int>& band_channels(const std::string& band) {
    static const std::vector<int> k24{1, 6, 11, 2, 3, 4, 5, 7, 8, 9, 10, 12, 13};
    static const std::vector<int> k5{36,  40,  44,  48,  149, 153, 157, 161, 165, 52,  56,  60, 64,
                                     100, 104, 108, 112, 116, 120, 124, 128, 132, 136, 140, 144};
    return band == "5GHz" ? k5 : k24;
}

json_object* find_radio(json_object* state, int32_t index) {
    json_object* radios = member(state, "radios", json_type_array);
    for (size_t i = 0; i < json_object_array_length(radios); ++i) {
        json_object* r = json_object_array_get_idx(radios, i);
        if (int_of(r, "index", -1) == index) return r;
    }
    return nullptr;
}

std::set<int> forbidden(json_object* radio) {
    std::set<int> out;
    json_object* list = member(radio, "forbiddenChannels", json_type_array);
    for (size_t i = 0; i < json_object_array_length(list); ++i)
        out.insert(json_object_get_int(json_object_array_get_idx(list, i)));
    return out;
}

bool auto_channel(json_object* radio) {
    json_object* v = child(radio, "autoChannel");
    return v && json_object_get_boolean(v);
}

// With automatic selection on, a radio leaves a forbidden channel for the first allowed one.
void select_channel(json_object* radio) {
    if (!auto_channel(radio)) return;
    std::set<int> no = forbidden(radio);
    int current = static_cast<int>(int_of(radio, "channel", 0));
    const std::vector<int>& channels = band_channels(text_of(radio, "band"));
    if (std::find(channels.begin(), channels.end(), current) != channels.end() && !no.count(current)) return;
    for (int c : channels)
        if (!no.count(c)) {
            json_object_object_add(radio, "channel", json_object_new_int(c));
            return;
        }
}

// Runs change(radio) on the radio of that index under the state lock; answers its status (0: a
// zero word).
template <class Fn>
void on_radio(Call& call, int32_t index, Fn change) {
    uint32_t status = call.service().with_state([&](json_object* state) -> uint32_t {
        json_object* radio = find_radio(state, index);
        if (!radio) return ZX_SIM_WLAN_NO_RADIO;
        return change(radio);
    });
    if (status != 0) return call.fail(status);
    call.reply_record(uint32_t{0});
}

void set_auto_channel(Call& call) {
    ZX_WIFI_AUTO_CHANNEL_REQ_S req;
    if (!call.read(req)) return;
    on_radio(call, req.iRadioIndex, [&](json_object* radio) -> uint32_t {
        if (req.iEnable != 0 && req.iEnable != 1) return ZX_SIM_WLAN_BAD_VALUE;
        json_object_object_add(radio, "autoChannel", json_object_new_boolean(req.iEnable));
        select_channel(radio);
        return 0;
    });
}

void set_channel_width(Call& call) {
    ZX_WIFI_CHANNEL_WIDTH_REQ_S req;
    if (!call.read(req)) return;
    on_radio(call, req.iRadioIndex, [&](json_object* radio) -> uint32_t {
        bool is5 = text_of(radio, "band") == "5GHz";
        int32_t w = req.iChannelWidth;
        if (!(w == 20 || w == 40 || (is5 && (w == 80 || w == 160)))) return ZX_SIM_WLAN_BAD_VALUE;
        json_object_object_add(radio, "channelWidth", json_object_new_int(w));
        return 0;
    });
}

// The channels are bytes of the text, one channel number each, as many as the count says (the
// text ends the list early); a count of 0 lifts every ban.
void set_forbid_channel(Call& call) {
    ZX_WIFI_FORBID_CHANNEL_REQ_S req;
    if (!call.read(req)) return;
    std::string text = field(req.acChannels);
    on_radio(call, req.iRadioIndex, [&](json_object* radio) -> uint32_t {
        if (req.iChannelNum < 0) return ZX_SIM_WLAN_BAD_VALUE;
        size_t n = std::min(text.size(), static_cast<size_t>(req.iChannelNum));
        const std::vector<int>& channels = band_channels(text_of(radio, "band"));
        std::set<int> no;
        for (size_t i = 0; i < n; ++i) {
            int c = static_cast<unsigned char>(text[i]);
            if (std::find(channels.begin(), channels.end(), c) == channels.end()) return ZX_SIM_WLAN_BAD_VALUE;
            no.insert(c);
        }
        if (no.size() == channels.size()) return ZX_SIM_WLAN_BAD_VALUE;  // a radio keeps one channel
        json_object* list = json_object_new_array();
        for (int c : no) json_object_array_add(list, json_object_new_int(c));
        json_object_object_add(radio, "forbiddenChannels", list);
        select_channel(radio);
        return 0;
    });
}

constexpr std::initializer_list<Command> kCommands{
    {ZX_WIFI_RPC_SET_FORBID_CHANNEL, "SetForbidChannel", set_forbid_channel},
    {ZX_WIFI_RPC_SET_AUTO_CHANNEL_ENABLE, "SetAutoChannelEnable", set_auto_channel},
    {ZX_WIFI_RPC_SET_CHANNEL_WIDTH, "SetChannelWidth", set_channel_width},
};
static_assert(commands_sorted(kCommands));

}  // namespace

extern const CommandFamily kRadiosFamily{"radios", {kCommands.begin(), kCommands.size()}};

}  // namespace zxsim::wifi
