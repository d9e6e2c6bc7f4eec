// "app_m": WAN interface statistics, the gateway's IP addresses and the WAN access (NAT) rules.
//
//   interface stats {"Result":0,"RxBytes":1048576000,"TxBytes":104857600}; each query adds the
//                   rates (rxRate, txRate) to the counters, as if a second had passed
//   IP addresses    {"Result":0,"WanIPv4":"100.64.12.34","LanIPv4":"192.168.1.1","WanIPv6":"2001:db8:1::2",
//                   "LanIPv6":"2001:db8:2::1"}
//   NAT rule        operation 1 adds, 0 deletes the rule {port, addr1, addr2, text3}; answers
//                   {"Result":0}; a duplicate add is ZX_SIM_NAT_EXISTS, the delete of a missing rule
//                   ZX_SIM_NAT_MISSING, another operation ZX_SIM_LAN_BAD_VALUE
#include <string>

#include "families.h"
#include "record_util.h"
#include "sim_status.h"
#include "zx_wire_app_m.h"

namespace zxsim::app_m {
namespace {

void if_stats(Call& call) {
    uint32_t word = 0;
    if (!call.read(word)) return;
    int64_t rx = 0, tx = 0;
    call.service().with_state([&](json_object* state) {
        json_object* s = member(state, "wanStats", json_type_object);
        rx = int_of(s, "rxBytes", 0) + int_of(s, "rxRate", 0);
        tx = int_of(s, "txBytes", 0) + int_of(s, "txRate", 0);
        json_object_object_add(s, "rxBytes", json_object_new_int64(rx));
        json_object_object_add(s, "txBytes", json_object_new_int64(tx));
    });
    call.reply_text("{\"Result\":0,\"RxBytes\":" + std::to_string(rx) + ",\"TxBytes\":" + std::to_string(tx) + "}");
}

void ip_addresses(Call& call) {
    uint32_t word = 0;
    if (!call.read(word)) return;
    JsonPtr answer(json_object_new_object());
    json_object_object_add(answer.get(), "Result", json_object_new_int(0));
    call.service().with_state([&](json_object* state) {
        json_object* a = member(state, "ipAddresses", json_type_object);
        add_text(answer.get(), "WanIPv4", text_of(a, "wanIPv4"));
        add_text(answer.get(), "LanIPv4", text_of(a, "lanIPv4"));
        add_text(answer.get(), "WanIPv6", text_of(a, "wanIPv6"));
        add_text(answer.get(), "LanIPv6", text_of(a, "lanIPv6"));
    });
    call.reply_text(json_line(answer.get()));
}

bool same_rule(json_object* r, uint32_t port, const std::string& a1, const std::string& a2, const std::string& t3) {
    return int_of(r, "port", -1) == static_cast<int64_t>(port) && text_of(r, "addr1") == a1 &&
           text_of(r, "addr2") == a2 && text_of(r, "text3") == t3;
}

void nat_rule(Call& call) {
    ZX_APPM_NAT_INFO_S req;
    if (!call.read(req)) return;
    if (req.uiOperation > 1) return call.fail(ZX_SIM_LAN_BAD_VALUE);
    const std::string a1 = field(req.acAddr1), a2 = field(req.acAddr2), t3 = field(req.acText3);
    uint32_t status = call.service().with_state([&](json_object* state) -> uint32_t {
        json_object* rules = member(state, "natRules", json_type_array);
        size_t n = json_object_array_length(rules);
        size_t at = n;
        for (size_t i = 0; i < n && at == n; ++i)
            if (same_rule(json_object_array_get_idx(rules, i), req.uiPort, a1, a2, t3)) at = i;
        if (req.uiOperation == 1) {
            if (at != n) return ZX_SIM_NAT_EXISTS;
            json_object* r = json_object_new_object();
            json_object_object_add(r, "port", json_object_new_int64(req.uiPort));
            add_text(r, "addr1", a1);
            add_text(r, "addr2", a2);
            add_text(r, "text3", t3);
            json_object_array_add(rules, r);
            return 0;
        }
        if (at == n) return ZX_SIM_NAT_MISSING;
        json_object_array_del_idx(rules, at, 1);
        return 0;
    });
    if (status != 0) return call.fail(status);
    call.reply_text("{\"Result\":0}");
}

constexpr std::initializer_list<Command> kCommands{
    {ZX_APPM_RPC_WAN_GET_IF_STATS, "WanGetIfStats", if_stats},
    {ZX_APPM_RPC_SYS_GET_IP_ADDR, "SysGetIpAddr", ip_addresses},
    {ZX_APPM_RPC_SET_NAT_INFO, "SetNatInfo", nat_rule},
};
static_assert(commands_sorted(kCommands));

}  // namespace

extern const CommandFamily kWanFamily{"wan", {kCommands.begin(), kCommands.size()}};

}  // namespace zxsim::app_m
