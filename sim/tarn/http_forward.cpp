// "tarn": HTTP forwarding. Init clears every rule and marks forwarding initialised; the white list,
// the always-forward rules and the authorised sources grow one request at a time; the default rule
// starts forwarding; stop clears it all. Every command answers a zero word; a rule or source sent
// before init is ZX_SIM_FWD_NOT_INIT.
//
//   state  "httpForward": {"initialised":true,"running":true,"whiteList":["portal.example.com"],
//          "alwaysForward":[{"addr":"ads.example.com","port":8080}],"defaultRule":{"port":8081,"ssid":1},
//          "authorised":["192.168.1.2"]}
#include <string>

#include "families.h"
#include "record_util.h"
#include "sim_status.h"
#include "zx_wire_tarn.h"

namespace zxsim::tarn {
namespace {

void reply_zero(Call& call) {
    const uint32_t zero = 0;
    call.reply_record(zero);
}

// Forwarding as it was never set.
void clear(json_object* fwd, bool initialised) {
    json_object_object_add(fwd, "initialised", json_object_new_boolean(initialised));
    json_object_object_add(fwd, "running", json_object_new_boolean(false));
    json_object_object_add(fwd, "whiteList", json_object_new_array());
    json_object_object_add(fwd, "alwaysForward", json_object_new_array());
    json_object_object_add(fwd, "defaultRule", nullptr);
    json_object_object_add(fwd, "authorised", json_object_new_array());
}

bool initialised(json_object* fwd) {
    json_object* v = child(fwd, "initialised");
    return v && json_object_get_boolean(v);
}

void init(Call& call) {
    uint32_t word = 0;
    if (!call.read(word)) return;
    call.service().with_state([&](json_object* state) { clear(member(state, "httpForward", json_type_object), true); });
    reply_zero(call);
}

void stop(Call& call) {
    uint32_t word = 0;
    if (!call.read(word)) return;
    call.service().with_state([&](json_object* state) { clear(member(state, "httpForward", json_type_object), false); });
    reply_zero(call);
}

// Appends the request's text (no NUL on the wire) to a list of the forwarding state.
void add_text_entry(Call& call, const char* list) {
    const std::string text = call.request_text();
    bool ok = call.service().with_state([&](json_object* state) {
        json_object* fwd = member(state, "httpForward", json_type_object);
        if (!initialised(fwd)) return false;
        json_object_array_add(member(fwd, list, json_type_array), json_object_new_string(text.c_str()));
        return true;
    });
    if (!ok) return call.fail(ZX_SIM_FWD_NOT_INIT);
    reply_zero(call);
}

void add_auth(Call& call) { add_text_entry(call, "authorised"); }
void add_white(Call& call) { add_text_entry(call, "whiteList"); }

void always_forward(Call& call) {
    ZX_TARN_ALWAYS_FORWARD_S req;
    if (!call.read(req)) return;
    const std::string addr = field(req.acAddr);
    bool ok = call.service().with_state([&](json_object* state) {
        json_object* fwd = member(state, "httpForward", json_type_object);
        if (!initialised(fwd)) return false;
        json_object* r = json_object_new_object();
        add_text(r, "addr", addr);
        json_object_object_add(r, "port", json_object_new_int64(req.uiAlwaysForwardPort));
        json_object_array_add(member(fwd, "alwaysForward", json_type_array), r);
        return true;
    });
    if (!ok) return call.fail(ZX_SIM_FWD_NOT_INIT);
    reply_zero(call);
}

void default_rule(Call& call) {
    ZX_TARN_DEFAULT_FORWARD_S req;
    if (!call.read(req)) return;
    bool ok = call.service().with_state([&](json_object* state) {
        json_object* fwd = member(state, "httpForward", json_type_object);
        if (!initialised(fwd)) return false;
        json_object* r = json_object_new_object();
        json_object_object_add(r, "port", json_object_new_int64(req.uiDefaultForwardPort));
        json_object_object_add(r, "ssid", json_object_new_int64(req.uiSsid));
        json_object_object_add(fwd, "defaultRule", r);
        json_object_object_add(fwd, "running", json_object_new_boolean(true));
        return true;
    });
    if (!ok) return call.fail(ZX_SIM_FWD_NOT_INIT);
    reply_zero(call);
}

constexpr std::initializer_list<Command> kCommands{
    {ZX_TARN_RPC_HTTP_FORWARD_INIT, "HttpForwardInit", init},
    {ZX_TARN_RPC_HTTP_FORWARD_STOP, "HttpForwardStop", stop},
    {ZX_TARN_RPC_HTTP_FORWARD_ADD_AUTH, "HttpForwardAddAuth", add_auth},
    {ZX_TARN_RPC_HTTP_FORWARD_SET_ALWAYS_FORWARD_RULE, "HttpForwardSetAlwaysForwardRule", always_forward},
    {ZX_TARN_RPC_HTTP_FORWARD_SET_DEFAULT_FORWARD_RULE, "HttpForwardSetDefaultForwardRule", default_rule},
    {ZX_TARN_RPC_HTTP_FORWARD_ADD_WHITENAME_LIST, "HttpForwardAddWhiteNameList", add_white},
};
static_assert(commands_sorted(kCommands));

}  // namespace

extern const CommandFamily kHttpForwardFamily{"httpForward", {kCommands.begin(), kCommands.size()}};

}  // namespace zxsim::tarn
