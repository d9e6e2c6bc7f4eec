// The "tarn" service: the broadband service (tunnels, DNS rules, LAN hosts, WAN and NAT).
//
// State members used by the tunnel commands:
//   wanIp, ontMac, pppoeUserName          texts answered as they are
//   dnsNames      {"name": ["a.b.c.d", ...]}  what domain resolution answers (at most 64 used)
//   tunnels       [{"name","lns","user","port","status"}]  set up and torn down by the commands
//   nextTunnel    number of the next tunnel name ("l2tp<n>")
//   vpnAddressLists [{"tunnel","lns","user","kind":"dest"|"src","list"}]
//   dnsForward    [{"domains","server"}]
//   dnsStatistic  {"server": forwarded queries}
//   trafficMonitoring {"bundle": [list, ...]}
#include <arpa/inet.h>

#include <algorithm>
#include <cstddef>

#include <string>
#include <vector>

#include "services.h"
#include "zx_wire_tarn.h"

namespace zxsim {

namespace {

constexpr uint32_t kTunnelUp = 1;

// A fixed text field: up to its first NUL, never past its end.
template <size_t N>
std::string field(const char (&f)[N]) {
    return std::string(f, strnlen(f, N));
}

// A request that is a text and its NUL: the text (up to the end of the request when no NUL comes).
std::string request_text(Call& call) {
    if (call.request().data.empty()) return {};
    const char* text = reinterpret_cast<const char*>(call.request().data.data());
    return std::string(text, strnlen(text, call.request().data.size()));
}

// The member `key` of the type asked for, made (empty) when it is missing.
json_object* member(json_object* obj, const char* key, json_type type) {
    json_object* v = nullptr;
    if (json_object_object_get_ex(obj, key, &v) && json_object_is_type(v, type)) return v;
    v = type == json_type_array ? json_object_new_array() : json_object_new_object();
    json_object_object_add(obj, key, v);
    return v;
}

void add_text(json_object* obj, const char* key, const std::string& text) {
    json_object_object_add(obj, key, json_object_new_string_len(text.data(), static_cast<int>(text.size())));
}

std::string text_of(json_object* obj, const char* key) {
    const char* t = member_text(obj, key);
    return t ? t : "";
}

// Reads NUL-terminated texts one after the other from a payload.
class PayloadReader {
public:
    explicit PayloadReader(const std::vector<uint8_t>& bytes) : bytes_(bytes) {}
    std::string text() {
        size_t start = pos_;
        while (pos_ < bytes_.size() && bytes_[pos_] != 0) ++pos_;
        std::string t(bytes_.begin() + static_cast<long>(start), bytes_.begin() + static_cast<long>(pos_));
        if (pos_ < bytes_.size()) ++pos_;  // the NUL
        return t;
    }
    bool word(uint32_t& out) {
        if (bytes_.size() - pos_ < sizeof out) return false;
        std::memcpy(&out, bytes_.data() + pos_, sizeof out);
        pos_ += sizeof out;
        return true;
    }
    bool at_end() const { return pos_ >= bytes_.size(); }
    std::span<const uint8_t> rest() const { return {bytes_.data() + pos_, bytes_.size() - pos_}; }

private:
    const std::vector<uint8_t>& bytes_;
    size_t pos_ = 0;
};

// ---------------------------------------------------------------------------------------------
// Tunnels
// ---------------------------------------------------------------------------------------------

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
            if (same_tunnel(json_object_array_get_idx(tunnels, i), "name", field(req.acTunnelName), field(req.acLnsAddr),
                            field(req.acPppUser)))
                json_object_array_del_idx(tunnels, i, 1);
    });
    call.reply_record(uint32_t{0});
}

// The status word of a named tunnel; 0 for a tunnel that does not exist.
void tunnel_status(Call& call) {
    std::string name = request_text(call);
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

// ---------------------------------------------------------------------------------------------
// DNS forwarding
// ---------------------------------------------------------------------------------------------

// The payload: the domain data and its NUL, then (add only) the server address and its NUL.
void dns_forward(Call& call, bool add) {
    std::vector<uint8_t> payload;
    JsonPtr decoded;
    if (!read_tunnel_block(call, 0, payload, decoded)) return;
    PayloadReader r(payload);
    std::string domains = r.text();
    std::string server = add ? r.text() : "";
    add_text(decoded.get(), "domains", domains);
    if (add) add_text(decoded.get(), "server", server);
    call.set_decoded(std::move(decoded));
    call.service().with_state([&](json_object* state) {
        json_object* rules = member(state, "dnsForward", json_type_array);
        for (size_t i = json_object_array_length(rules); i-- > 0;)
            if (text_of(json_object_array_get_idx(rules, i), "domains") == domains)
                json_object_array_del_idx(rules, i, 1);
        if (!add) return;
        json_object* rule = json_object_new_object();
        add_text(rule, "domains", domains);
        add_text(rule, "server", server);
        json_object_array_add(rules, rule);
        json_object* stats = member(state, "dnsStatistic", json_type_object);
        if (!json_object_object_get_ex(stats, server.c_str(), nullptr))
            json_object_object_add(stats, server.c_str(), json_object_new_int64(0));
    });
    call.reply_record(uint32_t{0});
}

void dns_forward_add(Call& call) { dns_forward(call, true); }
void dns_forward_del(Call& call) { dns_forward(call, false); }

// Queries forwarded to a server so far (0 for a server no rule names).
void dns_forward_statistic(Call& call) {
    std::string server = request_text(call);
    uint32_t count = call.service().with_state([&server](json_object* state) {
        json_object* v = nullptr;
        json_object* stats = member(state, "dnsStatistic", json_type_object);
        return json_object_object_get_ex(stats, server.c_str(), &v) ? static_cast<uint32_t>(json_object_get_int64(v))
                                                                    : uint32_t{0};
    });
    call.reply_record(count);
}

// ---------------------------------------------------------------------------------------------
// Traffic monitoring
// ---------------------------------------------------------------------------------------------

// The block holds the destination list with its NUL; lists are kept per bundle.
void traffic_monitoring(Call& call, bool add) {
    ZX_TARN_TRAFFIC_REQ_S req;
    if (!call.read(req)) return;
    std::vector<uint8_t> payload;
    JsonPtr decoded;
    if (!read_tunnel_block(call, 0, payload, decoded)) return;
    PayloadReader r(payload);
    std::string list = r.text();
    std::string bundle = field(req.acBundleName);
    add_text(decoded.get(), "bundle", bundle);
    add_text(decoded.get(), "list", list);
    call.set_decoded(std::move(decoded));
    call.service().with_state([&](json_object* state) {
        json_object* lists =
            member(member(state, "trafficMonitoring", json_type_object), bundle.c_str(), json_type_array);
        if (add) {
            json_object_array_add(lists, json_object_new_string(list.c_str()));
            return;
        }
        for (size_t i = json_object_array_length(lists); i-- > 0;)
            if (list == json_object_get_string(json_object_array_get_idx(lists, i)))
                json_object_array_del_idx(lists, i, 1);
    });
    call.reply_record(uint32_t{0});
}

void traffic_add(Call& call) { traffic_monitoring(call, true); }
void traffic_del(Call& call) { traffic_monitoring(call, false); }

// ---------------------------------------------------------------------------------------------
// WAN, ONT and domain resolution
// ---------------------------------------------------------------------------------------------

// The request is the caller's buffer size; the answer is the text in 512 bytes.
void wan_ip(Call& call) {
    uint32_t size = 0;
    if (!call.read(size)) return;
    char reply[512] = {};
    std::string ip = call.state_text("wanIp");
    std::memcpy(reply, ip.data(), std::min(ip.size(), sizeof reply - 1));
    call.reply_record(reply);
}

void ont_mac(Call& call) {
    uint32_t size = 0;
    if (!call.read(size)) return;
    call.reply_text(call.state_text("ontMac"));
}

void pppoe_user(Call& call) {
    uint32_t size = 0;
    if (!call.read(size)) return;
    ZX_TARN_PPPOE_USER_S reply{};
    std::string user = call.state_text("pppoeUserName");
    std::memcpy(reply.acUserName, user.data(), std::min(user.size(), sizeof reply.acUserName - 1));
    call.reply_record(reply);
}

// The addresses configured for the name in dnsNames, at most 64; none for an unknown name.
void resolve(Call& call) {
    ZX_TARN_DNS_REQ_S req;
    if (!call.read(req)) return;
    std::string name = field(req.acDomain);
    ZX_TARN_DNS_REPLY_S reply{};
    call.service().with_state([&](json_object* state) {
        json_object* addrs = nullptr;
        if (!json_object_object_get_ex(member(state, "dnsNames", json_type_object), name.c_str(), &addrs) ||
            !json_object_is_type(addrs, json_type_array))
            return;
        for (size_t i = 0; i < json_object_array_length(addrs) && reply.uiNum < ZX_TARN_MAX_RESOLVED; ++i) {
            in_addr a{};
            if (inet_pton(AF_INET, json_object_get_string(json_object_array_get_idx(addrs, i)), &a) == 1)
                reply.auiIpAddr[reply.uiNum++] = a.s_addr;
        }
    });
    call.set_decoded([&] {
        JsonPtr d(json_object_new_object());
        add_text(d.get(), "domain", name);
        return d;
    }());
    call.reply_record(reply);
}

constexpr std::initializer_list<Command> kCommands{
    {ZX_TARN_RPC_RESOLVE_DOMAIN, "ResolveDomain", resolve},
    {ZX_TARN_RPC_DNS_FORWARD_ADD, "AddDnsForward", dns_forward_add},
    {ZX_TARN_RPC_DNS_FORWARD_DEL, "DelDnsForward", dns_forward_del},
    {ZX_TARN_RPC_DNS_FORWARD_STATISTIC, "GetDnsForwardStatistic", dns_forward_statistic},
    {ZX_TARN_RPC_TRAFFIC_MONITOR_ADD, "AddTrafficMonitoring", traffic_add},
    {ZX_TARN_RPC_TRAFFIC_MONITOR_DEL, "DelTrafficMonitoring", traffic_del},
    {ZX_TARN_RPC_VPN_SETUP, "SetupVpn", setup_tunnel},
    {ZX_TARN_RPC_VPN_TEARDOWN, "DisconnectVpn", teardown_tunnel},
    {ZX_TARN_RPC_VPN_ADDR_ADD, "AddVpnAddress", vpn_address_add},
    {ZX_TARN_RPC_VPN_ADDR_DEL, "DelVpnAddress", vpn_address_del},
    {ZX_TARN_RPC_GET_WAN_IP, "GetWanIp", wan_ip},
    {ZX_TARN_RPC_GET_ONT_MAC, "GetOntMac", ont_mac},
    {ZX_TARN_RPC_GET_PPPOE_USER, "GetPppoeUserName", pppoe_user},
    {ZX_TARN_RPC_GET_TUNNEL_STATUS, "GetTunnelStatus", tunnel_status},
};
static_assert(commands_sorted(kCommands));

}  // namespace

bool read_tunnel_block(Call& call, size_t offset, std::vector<uint8_t>& payload, JsonPtr& decoded) {
    TunnelVDataRecord rec;
    if (!call.read(rec, offset)) return false;
    decoded.reset(json_object_new_object());
    json_object* block = json_object_new_object();
    json_object_object_add(block, "id", json_object_new_int64(rec.uivDataID));
    json_object_object_add(block, "originalLen", json_object_new_int64(rec.uiOriginalLen));
    json_object_object_add(block, "storedLen", json_object_new_int64(rec.uiCompressedLen));
    json_object_object_add(block, "compressed", json_object_new_boolean(rec.uiCompressedLen != rec.uiOriginalLen));
    json_object_object_add(decoded.get(), "block", block);

    std::vector<uint8_t> stored(rec.uiCompressedLen);
    uint32_t status = ZX_VDATA_ReadData(rec.uivDataID, rec.uiCompressedLen, stored.data());
    // The reader owns the block: it is freed whether or not it could be read.
    uint32_t freed = ZX_VDATA_FreeShm(rec.uivDataID);
    if (status == ZX_OK) status = freed;
    if (status == ZX_OK && rec.uiCompressedLen != rec.uiOriginalLen) {
        payload.assign(rec.uiOriginalLen, 0);
        if (ZX_OS_DecompressedLen(stored.data()) != rec.uiOriginalLen)
            status = ZX_ERR_CORRUPT;
        else
            status = ZX_OS_Decompress(stored.data(), payload.data(), rec.uiOriginalLen);
    } else {
        payload = std::move(stored);
    }
    if (status != ZX_OK) {
        call.set_decoded(std::move(decoded));
        call.fail(status);
        return false;
    }
    add_text(decoded.get(), "payload", to_hex(payload));
    return true;
}

const ServiceDef& tarn_service() {
    static const ServiceDef kDef{"tarn", {kCommands.begin(), kCommands.size()}};
    return kDef;
}

}  // namespace zxsim
