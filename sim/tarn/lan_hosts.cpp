// "tarn": the LAN host table of the broadband service: the host count and each host's traffic
// counters, which grow with every query by the host's rates (usRate, dsRate), as if a second had
// passed.
//
//   host count   a 2052-byte record whose first word is the number of hosts (the rest zero)
//   host stats   the 6-byte MAC; answers 16 bytes: downstream then upstream byte counter (64-bit
//                each); an unknown MAC is ZX_SIM_LAN_NO_HOST
#include <cctype>
#include <cstdio>
#include <string>

#include "families.h"
#include "record_util.h"
#include "sim_status.h"
#include "zx_wire_tarn.h"

namespace zxsim::tarn {
namespace {

void host_count(Call& call) {
    uint32_t word = 0;
    if (!call.read(word)) return;
    ZX_TARN_HOST_NUM_REPLY_S reply{};
    call.service().with_state([&](json_object* state) {
        reply.uiHostNum = static_cast<uint32_t>(json_object_array_length(member(state, "lanHosts", json_type_array)));
    });
    call.reply_record(reply);
}

void host_stats(Call& call) {
    ZX_TARN_HOST_STATS_REQ_S req;
    if (!call.read(req)) return;
    char mac[18];
    std::snprintf(mac, sizeof mac, "%02X:%02X:%02X:%02X:%02X:%02X", req.aucMac[0], req.aucMac[1], req.aucMac[2],
                  req.aucMac[3], req.aucMac[4], req.aucMac[5]);
    ZX_TARN_HOST_STATS_REPLY_S reply{};
    bool found = call.service().with_state([&](json_object* state) {
        json_object* hosts = member(state, "lanHosts", json_type_array);
        for (size_t i = 0; i < json_object_array_length(hosts); ++i) {
            json_object* h = json_object_array_get_idx(hosts, i);
            std::string m = text_of(h, "mac");
            for (char& c : m) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
            if (m != mac) continue;
            int64_t us = int_of(h, "usBytes", 0) + int_of(h, "usRate", 0);
            int64_t ds = int_of(h, "dsBytes", 0) + int_of(h, "dsRate", 0);
            json_object_object_add(h, "usBytes", json_object_new_int64(us));
            json_object_object_add(h, "dsBytes", json_object_new_int64(ds));
            reply.ullUsStats = static_cast<uint64_t>(us);
            reply.ullDsStats = static_cast<uint64_t>(ds);
            return true;
        }
        return false;
    });
    if (!found) return call.fail(ZX_SIM_LAN_NO_HOST);
    call.reply_record(reply);
}

constexpr std::initializer_list<Command> kCommands{
    {ZX_TARN_RPC_GET_HOST_NUM, "GetHostNum", host_count},
    {ZX_TARN_RPC_GET_LAN_HOST_STATS, "GetLanHostStats", host_stats},
};
static_assert(commands_sorted(kCommands));

}  // namespace

extern const CommandFamily kLanHostsFamily{"lanHosts", {kCommands.begin(), kCommands.size()}};

}  // namespace zxsim::tarn
