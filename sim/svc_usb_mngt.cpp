// The "usb_mngt" service: USB management (serial devices and discs).
#include "services.h"

namespace zxsim {
namespace {

constexpr std::initializer_list<Command> kCommands{};
static_assert(commands_sorted(kCommands));

}  // namespace

const ServiceDef& usb_mngt_service() {
    static const ServiceDef kDef{"usb_mngt", {kCommands.begin(), kCommands.size()}};
    return kDef;
}

}  // namespace zxsim
