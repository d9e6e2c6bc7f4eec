// The "zel" service: WLAN, LED, LAN port and platform state.
#include "services.h"

namespace zxsim {
namespace {

constexpr std::initializer_list<Command> kCommands{};
static_assert(commands_sorted(kCommands));

}  // namespace

const ServiceDef& zel_service() {
    static const ServiceDef kDef{"zel", {kCommands.begin(), kCommands.size()}};
    return kDef;
}

}  // namespace zxsim
