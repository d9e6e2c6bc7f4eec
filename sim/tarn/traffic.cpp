// "tarn": traffic-monitoring destination lists per bundle.
#include <string>
#include <vector>

#include "blocks.h"
#include "families.h"
#include "record_util.h"
#include "zx_wire_tarn.h"

namespace zxsim::tarn {
namespace {

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

constexpr std::initializer_list<Command> kCommands{
    {ZX_TARN_RPC_TRAFFIC_MONITOR_ADD, "AddTrafficMonitoring", traffic_add},
    {ZX_TARN_RPC_TRAFFIC_MONITOR_DEL, "DelTrafficMonitoring", traffic_del},
};
static_assert(commands_sorted(kCommands));

}  // namespace

extern const CommandFamily kTrafficFamily{"traffic", {kCommands.begin(), kCommands.size()}};

}  // namespace zxsim::tarn
