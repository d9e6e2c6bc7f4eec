// The "osgi_proxy" service: the plug-in framework's proxy process.
#include "services.h"

namespace zxsim {
namespace {

constexpr std::initializer_list<Command> kCommands{};
static_assert(commands_sorted(kCommands));

}  // namespace

const ServiceDef& osgi_proxy_service() {
    static const ServiceDef kDef{"osgi_proxy", {kCommands.begin(), kCommands.size()}};
    return kDef;
}

}  // namespace zxsim
