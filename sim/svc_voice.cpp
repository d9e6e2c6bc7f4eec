// The "voice" service: voice and plug-in permissions.
#include "services.h"

namespace zxsim {
namespace {

constexpr std::initializer_list<Command> kCommands{};
static_assert(commands_sorted(kCommands));

}  // namespace

const ServiceDef& voice_service() {
    static const ServiceDef kDef{"voice", {kCommands.begin(), kCommands.size()}};
    return kDef;
}

}  // namespace zxsim
