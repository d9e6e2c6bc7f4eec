// "wifi": WPS. A start opens a session on an SSID for wpsMs milliseconds (a start during a session
// begins it anew); the state query answers 1 in its first word while a session is open, else 0.
#include <chrono>

#include "families.h"
#include "record_util.h"
#include "zx_wire_wifi.h"

namespace zxsim::wifi {
namespace {

constexpr int64_t kDefaultWpsMs = 120000;  // the usual two minutes of a push-button session
constexpr int32_t kMaxSsidIndex = 8;

int64_t now_ms() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

json_object* wps_of(json_object* state) { return member(state, "wps", json_type_object); }

bool active(json_object* wps) {
    json_object* v = child(wps, "active");
    return v && json_object_get_boolean(v);
}

// A session that has run its time is closed.
void settle(json_object* state) {
    json_object* wps = wps_of(state);
    int64_t length = std::max<int64_t>(1, int_of(state, "wpsMs", kDefaultWpsMs));
    if (active(wps) && now_ms() - int_of(wps, "beginMs", 0) >= length)
        json_object_object_add(wps, "active", json_object_new_boolean(0));
}

void start_wps(Call& call) {
    ZX_WIFI_WPS_START_REQ_S req;
    if (!call.read(req)) return;
    if (req.iSsidIndex < 0 || req.iSsidIndex > kMaxSsidIndex) return call.fail(ZX_SIM_WLAN_NO_SSID);
    call.service().with_state([&](json_object* state) {
        json_object* wps = wps_of(state);
        json_object_object_add(wps, "active", json_object_new_boolean(1));
        json_object_object_add(wps, "ssidIndex", json_object_new_int(req.iSsidIndex));
        json_object_object_add(wps, "beginMs", json_object_new_int64(now_ms()));
    });
    call.reply_record(uint32_t{0});
}

// The request's 18 bytes are not looked at: there is one session.
void wps_state(Call& call) {
    ZX_WIFI_WPS_STATE_S reply;
    if (!call.read(reply)) return;
    reply = ZX_WIFI_WPS_STATE_S{};
    reply.uiState = call.service().with_state([](json_object* state) {
        settle(state);
        return active(wps_of(state)) ? 1u : 0u;
    });
    call.reply_record(reply);
}

constexpr std::initializer_list<Command> kCommands{
    {ZX_WIFI_RPC_GET_WPS_STATE, "GetWpsState", wps_state},
    {ZX_WIFI_RPC_START_WPS, "StartWps", start_wps},
};
static_assert(commands_sorted(kCommands));

}  // namespace

extern const CommandFamily kWpsFamily{"wps", {kCommands.begin(), kCommands.size()}};

}  // namespace zxsim::wifi
