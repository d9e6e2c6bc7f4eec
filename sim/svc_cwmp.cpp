// The "cwmp" service: the remote management protocol process.
//
// State members: mgtAddress, mgtPort (the management address and port it was configured with).
#include <algorithm>
#include <cstddef>

#include "services.h"
#include "zx_wire_cwmp.h"

namespace zxsim {
namespace {

void mgt_address(Call& call) {
    uint32_t word = 0;
    if (!call.read(word)) return;
    ZX_CWMP_MGT_ADDR_S reply{};
    std::string address = call.state_text("mgtAddress");
    std::string port = call.state_text("mgtPort");
    std::memcpy(reply.acMgtAddr, address.data(), std::min(address.size(), sizeof reply.acMgtAddr - 1));
    std::memcpy(reply.acMgtPort, port.data(), std::min(port.size(), sizeof reply.acMgtPort - 1));
    call.reply_record(reply);
}

constexpr std::initializer_list<Command> kCommands{
    {ZX_CWMP_RPC_GET_MGT_ADDRESS, "GetMgtAddress", mgt_address},
};
static_assert(commands_sorted(kCommands));

}  // namespace

const ServiceDef& cwmp_service() {
    static const ServiceDef kDef{"cwmp", {kCommands.begin(), kCommands.size()}};
    return kDef;
}

}  // namespace zxsim
