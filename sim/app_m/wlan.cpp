// "app_m": the SSIDs' configuration (the radios themselves are "wifi"'s): the WLAN channel, and per
// SSID its state, hiding, security and information. An SSID is named by its index (1 to 8).
//
// Answers as JSON (one line, no blanks):
//   set state, set security   {"Result":0}, or {"Result":-1,"FailReason":"..."}
//   security                  {"Result":0,"SSIDIndex":1,"SecurityMode":"WPA2-PSK","Key":"..."}
//   information (0: all)      {"Result":0,"SSIDs":[{"SSIDIndex":1,"SSID":"...","Band":"2.4GHz",
//                              "Enable":1,"Hide":0,"SecurityMode":"WPA2-PSK"}, ...]}
// State, hide and set-hide answer words; an unknown SSID is the status ZX_SIM_WLAN_NO_SSID there.
#include <algorithm>
#include <array>
#include <cctype>
#include <string>

#include "families.h"
#include "record_util.h"
#include "zx_wire_app_m.h"

namespace zxsim::app_m {
namespace {

void wlan_channel(Call& call) {
    uint32_t word = 0;
    if (!call.read(word)) return;
    call.reply_record(call.state_u32("wlanChannel"));
}

// The security modes an SSID takes; "None" keeps no key.
constexpr std::array<const char*, 6> kModes{"None", "WPA-PSK", "WPA2-PSK", "WPA-WPA2-PSK", "WPA3-SAE", "WPA2-WPA3"};

json_object* find_ssid(json_object* state, int32_t index) {
    json_object* ssids = member(state, "ssids", json_type_array);
    for (size_t i = 0; i < json_object_array_length(ssids); ++i) {
        json_object* s = json_object_array_get_idx(ssids, i);
        if (int_of(s, "index", -1) == index) return s;
    }
    return nullptr;
}

bool flag(json_object* obj, const char* key) {
    json_object* v = child(obj, key);
    return v && json_object_get_boolean(v);
}

std::string no_ssid(int32_t index) { return "no SSID " + std::to_string(index); }

std::string result(int32_t code, const std::string& reason = "") {
    JsonPtr answer(json_object_new_object());
    json_object_object_add(answer.get(), "Result", json_object_new_int(code));
    if (code != 0) add_text(answer.get(), "FailReason", reason);
    return json_line(answer.get());
}

void set_state(Call& call) {
    ZX_APPM_WLAN_STATE_REQ_S req;
    if (!call.read(req)) return;
    std::string answer = call.service().with_state([&](json_object* state) {
        json_object* ssid = find_ssid(state, req.iSsidIndex);
        if (!ssid) return result(-1, no_ssid(req.iSsidIndex));
        if (req.iState != 0 && req.iState != 1) return result(-1, "state must be 0 or 1");
        json_object_object_add(ssid, "enabled", json_object_new_boolean(req.iState));
        return result(0);
    });
    call.reply_text(answer);
}

// A word of an SSID (enabled, hidden), or ZX_SIM_WLAN_NO_SSID.
void ssid_flag(Call& call, const char* key) {
    int32_t index = 0;
    if (!call.read(index)) return;
    int32_t value = call.service().with_state([&](json_object* state) {
        json_object* ssid = find_ssid(state, index);
        return ssid ? int32_t{flag(ssid, key)} : int32_t{-1};
    });
    if (value < 0) return call.fail(ZX_SIM_WLAN_NO_SSID);
    call.reply_record(value);
}

void get_state(Call& call) { ssid_flag(call, "enabled"); }
void get_hide(Call& call) { ssid_flag(call, "hidden"); }

// Answered in the record that asked.
void set_hide(Call& call) {
    ZX_APPM_WLAN_HIDE_S rec;
    if (!call.read(rec)) return;
    uint32_t status = call.service().with_state([&](json_object* state) -> uint32_t {
        json_object* ssid = find_ssid(state, rec.iSsidIndex);
        if (!ssid) return ZX_SIM_WLAN_NO_SSID;
        if (rec.iHide != 0 && rec.iHide != 1) return ZX_SIM_WLAN_BAD_VALUE;
        json_object_object_add(ssid, "hidden", json_object_new_boolean(rec.iHide));
        return 0;
    });
    if (status != 0) return call.fail(status);
    call.reply_record(rec);
}

void get_security(Call& call) {
    ZX_APPM_WLAN_SECURITY_S req;
    if (!call.read(req)) return;
    std::string answer = call.service().with_state([&](json_object* state) {
        json_object* ssid = find_ssid(state, req.iSsidIndex);
        if (!ssid) return result(-1, no_ssid(req.iSsidIndex));
        JsonPtr a(json_object_new_object());
        json_object_object_add(a.get(), "Result", json_object_new_int(0));
        json_object_object_add(a.get(), "SSIDIndex", json_object_new_int(req.iSsidIndex));
        add_text(a.get(), "SecurityMode", text_of(ssid, "security"));
        add_text(a.get(), "Key", text_of(ssid, "key"));
        return json_line(a.get());
    });
    call.reply_text(answer);
}

bool all_hex(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return std::isxdigit(static_cast<unsigned char>(c)); });
}

// A pass phrase of 8 to 63 printable characters, or a key of 64 hex digits.
bool valid_key(const std::string& key) {
    if (key.size() == 64) return all_hex(key);
    return key.size() >= 8 && key.size() <= 63 &&
           std::all_of(key.begin(), key.end(), [](char c) { return c >= 0x20 && c <= 0x7E; });
}

// The first text is the security mode, the second the key (64 bytes, ended by the record's last
// byte when it fills them).
void set_security(Call& call) {
    ZX_APPM_WLAN_SECURITY_S req;
    if (!call.read(req)) return;
    std::string mode = field(req.acFirstText);
    std::string key(req.acKey, strnlen(req.acKey, sizeof req.acKey));
    std::string answer = call.service().with_state([&](json_object* state) {
        json_object* ssid = find_ssid(state, req.iSsidIndex);
        if (!ssid) return result(-1, no_ssid(req.iSsidIndex));
        if (std::find(kModes.begin(), kModes.end(), mode) == kModes.end()) return result(-1, "unknown security mode");
        if (mode == "None")
            key.clear();
        else if (!valid_key(key))
            return result(-1, "the key must be 8 to 63 characters or 64 hex digits");
        add_text(ssid, "security", mode);
        add_text(ssid, "key", key);
        return result(0);
    });
    std::fill(key.begin(), key.end(), '\0');
    call.reply_text(answer);
}

json_object* ssid_info(json_object* ssid) {
    json_object* e = json_object_new_object();
    json_object_object_add(e, "SSIDIndex", json_object_new_int64(int_of(ssid, "index", 0)));
    add_text(e, "SSID", text_of(ssid, "name"));
    add_text(e, "Band", text_of(ssid, "band"));
    json_object_object_add(e, "Enable", json_object_new_int(flag(ssid, "enabled")));
    json_object_object_add(e, "Hide", json_object_new_int(flag(ssid, "hidden")));
    add_text(e, "SecurityMode", text_of(ssid, "security"));
    return e;
}

void get_ssid_info(Call& call) {
    int32_t index = 0;
    if (!call.read(index)) return;
    std::string answer = call.service().with_state([&](json_object* state) {
        JsonPtr a(json_object_new_object());
        json_object_object_add(a.get(), "Result", json_object_new_int(0));
        json_object* list = json_object_new_array();
        json_object_object_add(a.get(), "SSIDs", list);
        if (index == 0) {
            json_object* ssids = member(state, "ssids", json_type_array);
            for (size_t i = 0; i < json_object_array_length(ssids); ++i)
                json_object_array_add(list, ssid_info(json_object_array_get_idx(ssids, i)));
        } else if (json_object* ssid = find_ssid(state, index)) {
            json_object_array_add(list, ssid_info(ssid));
        } else {
            return result(-1, no_ssid(index));
        }
        return json_line(a.get());
    });
    call.reply_text(answer);
}

constexpr std::initializer_list<Command> kCommands{
    {ZX_APPM_RPC_WLAN_SET_STATE, "WlanSetState", set_state},
    {ZX_APPM_RPC_GET_WLAN_CHANNEL, "GetWlanChannel", wlan_channel},
    {ZX_APPM_RPC_WLAN_GET_SSID_INFO, "WlanGetSsidInfo", get_ssid_info},
    {ZX_APPM_RPC_WLAN_GET_SECURITY, "WlanGetSecurity", get_security},
    {ZX_APPM_RPC_WLAN_SET_SECURITY, "WlanSetSecurity", set_security},
    {ZX_APPM_RPC_WLAN_GET_STATE, "WlanGetState", get_state},
    {ZX_APPM_RPC_WLAN_GET_HIDE, "WlanGetHide", get_hide},
    {ZX_APPM_RPC_WLAN_SET_HIDE, "WlanSetHide", set_hide},
};
static_assert(commands_sorted(kCommands));

}  // namespace

extern const CommandFamily kWlanFamily{"wlan", {kCommands.begin(), kCommands.size()}};

}  // namespace zxsim::app_m
