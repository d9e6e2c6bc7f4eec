// The "wifi" service: the WLAN radio service.
#include "services.h"

namespace zxsim {
namespace {

constexpr std::initializer_list<Command> kCommands{};
static_assert(commands_sorted(kCommands));

}  // namespace

const ServiceDef& wifi_service() {
    static const ServiceDef kDef{"wifi", {kCommands.begin(), kCommands.size()}};
    return kDef;
}

}  // namespace zxsim
