// The "voice" service: the do-not-disturb state of the telephone (POTS) lines.
//
// State members:
//   potsLines   [{"line": 1, "dnd": 0}, {"line": 2, "dnd": 0}]: the lines and their states
//
//   set do-not-disturb   ZX_VOICE_POTS_DND_SET_REQ_S; a line not in potsLines is 0xF7209001, a
//                        state other than 0 and 1 is 0xF7209002; success answers no data
//   get do-not-disturb   ZX_VOICE_POTS_DND_GET_REQ_S; answers the line's state as a word; a line
//                        not in potsLines is 0xF7209001
#include "record_util.h"
#include "services.h"
#include "zx_wire_voice.h"

namespace zxsim {
namespace {

// The entry of potsLines for the line, or nullptr.
json_object* pots_line(json_object* state, uint32_t line) {
    json_object* lines = member(state, "potsLines", json_type_array);
    for (size_t i = 0; i < json_object_array_length(lines); ++i) {
        json_object* l = json_object_array_get_idx(lines, i);
        if (int_of(l, "line", -1) == static_cast<int64_t>(line)) return l;
    }
    return nullptr;
}

void set_dnd(Call& call) {
    ZX_VOICE_POTS_DND_SET_REQ_S req;
    if (!call.read(req)) return;
    uint32_t status = call.service().with_state([&req](json_object* state) {
        json_object* line = pots_line(state, req.uiLine);
        if (!line) return uint32_t{ZX_SIM_VOICE_NO_LINE};
        if (req.uiState > 1) return uint32_t{ZX_SIM_VOICE_BAD_STATE};
        json_object_object_add(line, "dnd", json_object_new_int64(req.uiState));
        return uint32_t{ZX_OK};
    });
    if (status != ZX_OK) return call.fail(status);
    call.reply_bytes({});
}

void get_dnd(Call& call) {
    ZX_VOICE_POTS_DND_GET_REQ_S req;
    if (!call.read(req)) return;
    bool known = false;
    ZX_VOICE_POTS_DND_GET_REPLY_S reply{};
    call.service().with_state([&](json_object* state) {
        json_object* line = pots_line(state, req.uiLine);
        if (!line) return;
        known = true;
        reply.iState = static_cast<int32_t>(int_of(line, "dnd", 0));
    });
    if (!known) return call.fail(ZX_SIM_VOICE_NO_LINE);
    call.reply_record(reply);
}

constexpr std::initializer_list<Command> kCommands{
    {ZX_VOICE_RPC_SET_POTS_DND, "SetPotsDnd", set_dnd},
    {ZX_VOICE_RPC_GET_POTS_DND, "GetPotsDnd", get_dnd},
};
static_assert(commands_sorted(kCommands));

const CommandFamily kPotsFamily{"pots", {kCommands.begin(), kCommands.size()}};

}  // namespace

const ServiceDef& voice_service() {
    static const CommandFamily* const kFamilies[] = {&kPotsFamily};
    static const ServiceDef kDef{ZX_VOICE_ENDPOINT, kFamilies};
    return kDef;
}

}  // namespace zxsim
