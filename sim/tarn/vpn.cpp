// "tarn": L2TP tunnels (set-up answers a tunnel name, tear-down, status) and the destination and
// source address lists of a tunnel, read from shared blocks.
#include <string>
#include <vector>

#include "blocks.h"
#include "families.h"
#include "record_util.h"
#include "zx_wire_tarn.h"

namespace zxsim::tarn {
namespace {

constexpr uint32_t kTunnelUp = 1;  // status word of a tunnel that is up

// Set-up answers the new tunnel's name.
void setup_tunnel(Call& call) {
    ZX_TARN_VPN_REQ_S req;
    if (!call.read(req)) return;
    std::string name = call.service().with_state([&req](json_object* state) {
        json_object* next = nullptr;
        int64_t n = json_object_object_get_ex(state, "nextTunnel", &next) ? json_object_get_int64(next) : 1;
        json_object_object_add(state, "nextTunnel", json_object_new_int64(n + 1));
        std::string tunnel = "l2tp" + std::to_string(n);
        json_object* t = json_object_new_object();
        add_text(t, "name", tunnel);
        add_text(t, "lns", field(req.acLnsAddr));
        add_text(t, "user", field(req.acPppUser));
        json_object_object_add(t, "port", json_object_new_int(req.usPort));
        json_object_object_add(t, "status", json_object_new_int64(kTunnelUp));
        json_object_array_add(member(state, "tunnels", json_type_array), t);
        return tunnel;
    });
    call.reply_text(name);
}

// True when the tunnel matches the request: by name when one is given, else by server and user.
// nameKey is the member holding the tunnel name in t.
bool same_tunnel(json_object* t, const char* nameKey, const std::string& name, const std::string& lns,
                 const std::string& user) {
    if (!name.empty()) return text_of(t, nameKey) == name;
    return text_of(t, "lns") == lns && text_of(t, "user") == user;
}

// Tear-down removes the tunnel; one that does not exist is gone already.
void teardown_tunnel(Call& call) {
    ZX_TARN_VPN_REQ_S req;
    if (!call.read(req)) return;
    call.service().with_state([&req](json_object* state) {
        json_object* tunnels = member(state, "tunnels", json_type_array);
        for (size_t i = json_object_array_length(tunnels); i-- > 0;)
            if (same_tunnel(json_object_array_get_idx(tunnels, i), "name", field(req.acTunnelName),
                            field(req.acLnsAddr), field(req.acPppUser)))
                json_object_array_del_idx(tunnels, i, 1);
    });
    call.reply_record(uint32_t{0});
}

// The status word of a named tunnel; 0 for a tunnel that does not exist.
void tunnel_status(Call& call) {
    std::string name = call.request_text();
    uint32_t status = call.service().with_state([&name](json_object* state) {
        json_object* tunnels = member(state, "tunnels", json_type_array);
        for (size_t i = 0; i < json_object_array_length(tunnels); ++i) {
            json_object* t = json_object_array_get_idx(tunnels, i);
            if (text_of(t, "name") == name)
                return static_cast<uint32_t>(json_object_get_int64(json_object_object_get(t, "status")));
        }
        return uint32_t{0};
    });
    call.reply_record(status);
}

// Adds a list to, or removes it from, the tunnel's destination or source lists. The payload: list,
// server, user, password (each with its NUL), the list-kind word, then the tunnel name and its NUL
// when one is given (the source kind leaves four more zero bytes after it).
void vpn_address_list(Call& call, bool add) {
    std::vector<uint8_t> payload;
    JsonPtr decoded;
    if (!read_tunnel_block(call, 0, payload, decoded)) return;
    PayloadReader r(payload);
    std::string list = r.text(), lns = r.text(), user = r.text(), password = r.text();
    uint32_t kindWord = 0;
    if (!r.word(kindWord)) {
        call.set_decoded(std::move(decoded));
        call.fail(ZX_SIM_ERR_BAD_REQUEST);
        return;
    }
    std::string tunnel = r.at_end() ? "" : r.text();
    const char* kind = kindWord == 1 ? "src" : "dest";
    add_text(decoded.get(), "list", list);
    add_text(decoded.get(), "lns", lns);
    add_text(decoded.get(), "user", user);
    add_text(decoded.get(), "password", password);
    json_object_object_add(decoded.get(), "kind", json_object_new_int64(kindWord));
    add_text(decoded.get(), "tunnelName", tunnel);
    add_text(decoded.get(), "trailing", to_hex(r.rest()));
    call.set_decoded(std::move(decoded));

    call.service().with_state([&](json_object* state) {
        json_object* lists = member(state, "vpnAddressLists", json_type_array);
        if (add) {
            json_object* entry = json_object_new_object();
            add_text(entry, "tunnel", tunnel);
            add_text(entry, "lns", lns);
            add_text(entry, "user", user);
            add_text(entry, "kind", kind);
            add_text(entry, "list", list);
            json_object_array_add(lists, entry);
            return;
        }
        for (size_t i = json_object_array_length(lists); i-- > 0;) {
            json_object* e = json_object_array_get_idx(lists, i);
            if (text_of(e, "kind") == kind && text_of(e, "list") == list && same_tunnel(e, "tunnel", tunnel, lns, user))
                json_object_array_del_idx(lists, i, 1);
        }
    });
    call.reply_record(uint32_t{0});
}

void vpn_address_add(Call& call) { vpn_address_list(call, true); }
void vpn_address_del(Call& call) { vpn_address_list(call, false); }

constexpr std::initializer_list<Command> kCommands{
    {ZX_TARN_RPC_VPN_SETUP, "SetupVpn", setup_tunnel},
    {ZX_TARN_RPC_VPN_TEARDOWN, "DisconnectVpn", teardown_tunnel},
    {ZX_TARN_RPC_VPN_ADDR_ADD, "AddVpnAddress", vpn_address_add},
    {ZX_TARN_RPC_VPN_ADDR_DEL, "DelVpnAddress", vpn_address_del},
    {ZX_TARN_RPC_GET_TUNNEL_STATUS, "GetTunnelStatus", tunnel_status},
};
static_assert(commands_sorted(kCommands));

}  // namespace

extern const CommandFamily kVpnFamily{"vpn", {kCommands.begin(), kCommands.size()}};

}  // namespace zxsim::tarn
