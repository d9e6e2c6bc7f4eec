// "app_m": the LEDs, the LAN ports and the service platform's connection state.
//
//   LED            ledId, colour (0 off, 1 green, 2 red, 3 amber), on and off time in ms (both 0:
//                  steady); answers {"Result":0}; an unknown LED or colour is ZX_SIM_WLAN_BAD_VALUE
//   LAN ports      {"Result":0,"Ports":[{"Port":1,"Link":"Up","Speed":1000,"Duplex":"Full"},
//                  {"Port":2,"Link":"Down","Speed":0,"Duplex":""}, ...]} (Speed in Mbit/s)
//   platform state the state word and the text are recorded; no answer data
#include <string>

#include "families.h"
#include "record_util.h"
#include "zx_wire_app_m.h"

namespace zxsim::app_m {
namespace {

constexpr uint32_t kMaxColor = 3;

void set_led(Call& call) {
    ZX_APPM_LED_STATE_REQ_S req;
    if (!call.read(req)) return;
    bool known = call.service().with_state([&](json_object* state) {
        json_object* leds = member(state, "leds", json_type_array);
        if (req.uiColor > kMaxColor) return false;
        for (size_t i = 0; i < json_object_array_length(leds); ++i) {
            json_object* led = json_object_array_get_idx(leds, i);
            if (int_of(led, "id", -1) != static_cast<int64_t>(req.uiLedId)) continue;
            json_object_object_add(led, "color", json_object_new_int64(req.uiColor));
            json_object_object_add(led, "onTime", json_object_new_int64(req.uiOnTime));
            json_object_object_add(led, "offTime", json_object_new_int64(req.uiOffTime));
            return true;
        }
        return false;
    });
    if (!known) return call.fail(ZX_SIM_WLAN_BAD_VALUE);
    call.reply_text("{\"Result\":0}");
}

void lan_port_status(Call& call) {
    uint32_t word = 0;
    if (!call.read(word)) return;
    JsonPtr answer(json_object_new_object());
    json_object_object_add(answer.get(), "Result", json_object_new_int(0));
    json_object* list = json_object_new_array();
    json_object_object_add(answer.get(), "Ports", list);
    call.service().with_state([&](json_object* state) {
        json_object* ports = member(state, "lanPorts", json_type_array);
        for (size_t i = 0; i < json_object_array_length(ports); ++i) {
            json_object* p = json_object_array_get_idx(ports, i);
            json_object* v = child(p, "link");
            bool up = v && json_object_get_boolean(v);
            json_object* e = json_object_new_object();
            json_object_object_add(e, "Port", json_object_new_int64(int_of(p, "port", 0)));
            add_text(e, "Link", up ? "Up" : "Down");
            json_object_object_add(e, "Speed", json_object_new_int64(up ? int_of(p, "speed", 0) : 0));
            add_text(e, "Duplex", up ? text_of(p, "duplex") : "");
            json_object_array_add(list, e);
        }
    });
    call.reply_text(json_line(answer.get()));
}

void platform_state(Call& call) {
    ZX_APPM_PLATFORM_STATE_S rec;
    if (!call.read(rec)) return;
    call.service().with_state([&](json_object* state) {
        json_object* p = member(state, "platform", json_type_object);
        json_object_object_add(p, "state", json_object_new_int64(rec.uiState));
        add_text(p, "text", field(rec.acText));
        json_object_object_add(p, "notices", json_object_new_int64(int_of(p, "notices", 0) + 1));
    });
    call.reply_bytes({});
}

constexpr std::initializer_list<Command> kCommands{
    {ZX_APPM_RPC_LAN_GET_PORT_STATUS, "LanGetPortStatus", lan_port_status},
    {ZX_APPM_RPC_SET_LED_STATE, "SetLedState", set_led},
    {ZX_APPM_RPC_NOTIFY_PLATFORM_CONNECT_STATE, "NotifyPlatformConnectState", platform_state},
};
static_assert(commands_sorted(kCommands));

}  // namespace

extern const CommandFamily kLedsPortsFamily{"ledsPorts", {kCommands.begin(), kCommands.size()}};

}  // namespace zxsim::app_m
