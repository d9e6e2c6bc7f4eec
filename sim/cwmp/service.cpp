// The "cwmp" service: the remote management protocol process.
//
// State members: mgtAddress, mgtPort (the management address and port it was configured with).
#include "record_util.h"
#include "services.h"
#include "zx_wire_cwmp.h"

namespace zxsim {
namespace {

void mgt_address(Call& call) {
    uint32_t word = 0;
    if (!call.read(word)) return;
    ZX_CWMP_MGT_ADDR_S reply{};
    put(reply.acMgtAddr, call.state_text("mgtAddress"));
    put(reply.acMgtPort, call.state_text("mgtPort"));
    call.reply_record(reply);
}

constexpr std::initializer_list<Command> kCommands{
    {ZX_CWMP_RPC_GET_MGT_ADDRESS, "GetMgtAddress", mgt_address},
};
static_assert(commands_sorted(kCommands));
const CommandFamily kManagementFamily{"management", {kCommands.begin(), kCommands.size()}};

}  // namespace

const ServiceDef& cwmp_service() {
    static const CommandFamily* const kFamilies[] = {&kManagementFamily};
    static const ServiceDef kDef{ZX_CWMP_ENDPOINT, kFamilies};
    return kDef;
}

}  // namespace zxsim
