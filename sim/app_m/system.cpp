// "app_m": system facts: the LOID.
#include "families.h"
#include "record_util.h"
#include "zx_wire_app_m.h"

namespace zxsim::app_m {
namespace {

// The LOID (the operator's logical ONT identifier) as NUL-terminated plain text. The request is
// one 32-bit word (0); its value is not looked at.
void get_loid(Call& call) {
    uint32_t word = 0;
    if (!call.read(word)) return;
    call.reply_text(call.state_text("loid"));
}

constexpr std::initializer_list<Command> kCommands{
    {ZX_APPM_RPC_GET_LOID, "GetLoid", get_loid},
};
static_assert(commands_sorted(kCommands));

}  // namespace

extern const CommandFamily kSystemFamily{"system", {kCommands.begin(), kCommands.size()}};

}  // namespace zxsim::app_m
