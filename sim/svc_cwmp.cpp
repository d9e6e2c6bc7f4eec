// The "cwmp" service: the remote management protocol process.
#include "services.h"

namespace zxsim {
namespace {

constexpr std::initializer_list<Command> kCommands{};
static_assert(commands_sorted(kCommands));

}  // namespace

const ServiceDef& cwmp_service() {
    static const ServiceDef kDef{"cwmp", {kCommands.begin(), kCommands.size()}};
    return kDef;
}

}  // namespace zxsim
