// The "voice" service: voice (the do-not-disturb state of the telephone lines). No commands yet.
#include "services.h"
#include "zx_wire_voice.h"

namespace zxsim {

const ServiceDef& voice_service() {
    static const ServiceDef kDef{ZX_VOICE_ENDPOINT, {}};
    return kDef;
}

}  // namespace zxsim
