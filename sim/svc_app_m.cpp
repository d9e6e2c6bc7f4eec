// The "app_m" service: application management (configuration, LOID, cloud platform, media files).
#include "services.h"

namespace zxsim {
namespace {

// The LOID (the operator's logical ONT identifier) as NUL-terminated plain text. The request is
// one 32-bit word (0); its value is not looked at.
void get_loid(Call& call) {
    uint32_t word = 0;
    if (!call.read(word)) return;
    call.reply_text(call.state_text("loid"));
}

constexpr std::initializer_list<Command> kCommands{
    {0x4710304B, "GetLoid", get_loid},
};
static_assert(commands_sorted(kCommands));

}  // namespace

const ServiceDef& app_m_service() {
    static const ServiceDef kDef{"app_m", {kCommands.begin(), kCommands.size()}};
    return kDef;
}

}  // namespace zxsim
