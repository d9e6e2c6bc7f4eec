// The "tarn" service: the broadband service (tunnels, DNS rules, LAN hosts, WAN and NAT).
#include "services.h"

namespace zxsim {
namespace {

constexpr std::initializer_list<Command> kCommands{};
static_assert(commands_sorted(kCommands));

}  // namespace

const ServiceDef& tarn_service() {
    static const ServiceDef kDef{"tarn", {kCommands.begin(), kCommands.size()}};
    return kDef;
}

}  // namespace zxsim
