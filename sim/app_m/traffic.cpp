// "app_m": the one-way notices of traffic-monitoring changes, only recorded.
#include <cstring>
#include <string>
#include <vector>

#include "blocks.h"
#include "families.h"
#include "record_util.h"
#include "zx_wire_app_m.h"

namespace zxsim::app_m {
namespace {

// A one-way notice of a traffic-monitoring change. Its payload: the add flag (1 add, 0 delete),
// the bundle name in 128 bytes, then the address list and its NUL. Only recorded.
void traffic_notice(Call& call) {
    ZX_APPM_TRAFFIC_NOTICE_S notice;
    if (!call.read(notice)) return;
    std::vector<uint8_t> payload;
    JsonPtr decoded;
    if (!read_tunnel_block(call, 0, payload, decoded)) return;
    json_object_object_add(decoded.get(), "flag", json_object_new_int64(notice.uiFlag));
    ZX_APPM_TRAFFIC_NOTICE_HEAD_S head;
    if (payload.size() > sizeof head) {
        std::memcpy(&head, payload.data(), sizeof head);
        const char* list = reinterpret_cast<const char*>(payload.data() + sizeof head);
        json_object_object_add(decoded.get(), "add", json_object_new_int(head.ucAdd));
        add_text(decoded.get(), "bundle", field(head.acBundleName));
        add_text(decoded.get(), "list", std::string(list, strnlen(list, payload.size() - sizeof head)));
    }
    call.set_decoded(std::move(decoded));
    call.reply_record(uint32_t{0});
}

constexpr std::initializer_list<Command> kCommands{
    {ZX_APPM_NOTICE_TRAFFIC_MONITOR, "TrafficMonitoringNotice", traffic_notice},
};
static_assert(commands_sorted(kCommands));

}  // namespace

extern const CommandFamily kTrafficFamily{"traffic", {kCommands.begin(), kCommands.size()}};

}  // namespace zxsim::app_m
