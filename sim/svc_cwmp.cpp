// The "cwmp" service: the remote management protocol process.
//
// State members: mgtAddress, mgtPort (the management address and port it was configured with).
#include <algorithm>
#include <cstddef>

#include "services.h"

namespace zxsim {
namespace {

#pragma pack(push, 1)
struct MgtAddressReply {
    char address[257];
    char port[257];  // decimal text
};
#pragma pack(pop)
static_assert(sizeof(MgtAddressReply) == 514 && offsetof(MgtAddressReply, port) == 257);

void mgt_address(Call& call) {
    uint32_t word = 0;
    if (!call.read(word)) return;
    MgtAddressReply reply{};
    std::string address = call.state_text("mgtAddress");
    std::string port = call.state_text("mgtPort");
    std::memcpy(reply.address, address.data(), std::min(address.size(), sizeof reply.address - 1));
    std::memcpy(reply.port, port.data(), std::min(port.size(), sizeof reply.port - 1));
    call.reply_record(reply);
}

constexpr std::initializer_list<Command> kCommands{
    {0x47220007, "GetMgtAddress", mgt_address},
};
static_assert(commands_sorted(kCommands));

}  // namespace

const ServiceDef& cwmp_service() {
    static const ServiceDef kDef{"cwmp", {kCommands.begin(), kCommands.size()}};
    return kDef;
}

}  // namespace zxsim
