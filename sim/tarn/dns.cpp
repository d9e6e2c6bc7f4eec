// "tarn": DNS forwarding rules with a statistic per server, and domain resolution from the
// profile's dnsNames.
#include <arpa/inet.h>

#include <string>
#include <vector>

#include "blocks.h"
#include "families.h"
#include "record_util.h"
#include "zx_wire_tarn.h"

namespace zxsim::tarn {
namespace {

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
    std::string server = call.request_text();
    uint32_t count = call.service().with_state([&server](json_object* state) {
        json_object* v = nullptr;
        json_object* stats = member(state, "dnsStatistic", json_type_object);
        return json_object_object_get_ex(stats, server.c_str(), &v) ? static_cast<uint32_t>(json_object_get_int64(v))
                                                                    : uint32_t{0};
    });
    call.reply_record(count);
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
};
static_assert(commands_sorted(kCommands));

}  // namespace

extern const CommandFamily kDnsFamily{"dns", {kCommands.begin(), kCommands.size()}};

}  // namespace zxsim::tarn
