// Event centre: an event is a synchronous bus call to the simulator's event endpoint.
#include <cstring>

#include "internal.h"

namespace {

constexpr uint32_t kEventTimeoutMs = 5000;

// Copies a name into a routing-header name field; a name that fills the field is not terminated.
void copy_name(char (&field)[ZX_MSG_PROC_NAME_LEN], const char* name) {
    std::memset(field, 0, sizeof field);
    std::memcpy(field, name, strnlen(name, sizeof field));
}

}  // namespace

ZX_EXPORT uint32_t EventCenter_GlobalInvokeEvent2(uint32_t eventId, const void* record, uint32_t len) {
    if (!record && len) return ZX_ERR_PARAM;
    ZX_MSG_HEAD_S head{};
    copy_name(head.acSrcProcName, ZX_MSG_GetCurProcName());
    copy_name(head.acDstProcName, ZX_EVENTCENTER_ENDPOINT);
    return ZX_MSG_RpcCall(&head, eventId, 0, record, len, nullptr, 0, kEventTimeoutMs);
}
