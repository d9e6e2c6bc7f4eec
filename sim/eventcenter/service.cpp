// The event centre endpoint: takes every event the platform raises. The event id travels as the
// message id and the event's record as the data, both kept by the recorder; nothing else happens.
#include "services.h"
#include "zx_eventcenter.h"

namespace zxsim {
namespace {

void accept_event(Call& call) { call.reply_bytes({}); }

}  // namespace

// Events that need more than the record kept would be families of their own (none yet).
const ServiceDef& eventcenter_service() {
    static const ServiceDef kDef{ZX_EVENTCENTER_ENDPOINT, {}, accept_event};
    return kDef;
}

}  // namespace zxsim
