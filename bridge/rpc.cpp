// The remote-call wrappers: each one is bound to a destination process, a tag word in the routing
// header and a time-out, and records a failed call in its own unit's last words.
#include <cstring>

#include "trace_unit.h"
#include "zx_bridge.h"
#include "zx_wire.h"

namespace {

enum class FailureRecord { Short, Long, None };

struct Wrapper {
    const char* destination;
    uint32_t tag;
    uint32_t timeoutMs;
    bool nullRequestGetsScratch;  // only the USB device wrapper sends a zero word for a NULL request
    FailureRecord record;
    const zxtrace::Unit* unit;  // whose last words record a failed call
    zxtrace::Line line;
};

using zxtrace::kL2tpApi, zxtrace::kVelmApi, zxtrace::kZelApi, zxtrace::operator""_ln;

constexpr Wrapper kL2tpTarn{ZX_TARN_ENDPOINT, 216, 5000, false, FailureRecord::Short, &kL2tpApi, 127_ln};
constexpr Wrapper kL2tpAppm{ZX_APPM_ENDPOINT, 222, 5000, false, FailureRecord::Short, &kL2tpApi, 201_ln};
constexpr Wrapper kL2tpCwmp{ZX_CWMP_ENDPOINT, 15, 5000, false, FailureRecord::Short, &kL2tpApi, 223_ln};
constexpr Wrapper kZel{ZX_ZEL_ENDPOINT, 138, 5000, false, FailureRecord::Long, &kVelmApi, 121_ln};
constexpr Wrapper kTern{ZX_TARN_ENDPOINT, 48, 5000, false, FailureRecord::Long, &kVelmApi, 159_ln};
constexpr Wrapper kVoice{ZX_VOICE_ENDPOINT, 0, 30000, false, FailureRecord::Long, &kVelmApi, 195_ln};
constexpr Wrapper kAppm{ZX_APPM_ENDPOINT, 249, 30000, false, FailureRecord::Short, &kVelmApi, 232_ln};
constexpr Wrapper kUsb{ZX_USB_ENDPOINT, 0, 30000, false, FailureRecord::Short, &kVelmApi, 254_ln};
// Deliberately "usb_mngt": the USB device natives are served by the USB management process.
constexpr Wrapper kOsgiUsb{ZX_USB_ENDPOINT, 0, 30000, true, FailureRecord::None, nullptr, zxtrace::Line(0)};
constexpr Wrapper kZelWifi{ZX_WIFI_ENDPOINT, 141, 5000, false, FailureRecord::Short, &kZelApi, 95_ln};

uint32_t call(const Wrapper& w, uint32_t msgId, const void* req, uint32_t reqLen, void* reply, uint32_t replyLen) {
    uint32_t scratchReply = 0;
    uint32_t scratchRequest = 0;
    if (!reply) {
        reply = &scratchReply;
        replyLen = sizeof scratchReply;
    }
    if (!req && w.nullRequestGetsScratch) {
        req = &scratchRequest;
        reqLen = sizeof scratchRequest;
    }
    ZX_MSG_HEAD_S head;
    ZX_OS_MemSet_S(&head, sizeof head, 0, sizeof head);
    ZX_OS_StrNCpy_S(head.acSrcProcName, sizeof head.acSrcProcName, ZX_MSG_GetCurProcName(), 31);
    ZX_OS_StrNCpy_S(head.acDstProcName, sizeof head.acDstProcName, w.destination, 31);
    head.uiMid = 0;
    head.uiTag = w.tag;
    uint32_t status = ZX_MSG_RpcCall(&head, msgId, 0, req, reqLen, reply, replyLen, w.timeoutMs);
    if (status != 0) {
        if (w.record == FailureRecord::Short)
            w.unit->last_word(w.line, status);
        else if (w.record == FailureRecord::Long)
            w.unit->last_word(w.line, status, reqLen, replyLen, w.timeoutMs, msgId);
    }
    return status;
}

}  // namespace

#define ZX_RPC_WRAPPER(name, def)                                                                                \
    extern "C" uint32_t name(uint32_t msgId, const void* req, uint32_t reqLen, void* reply, uint32_t replyLen) { \
        return call(def, msgId, req, reqLen, reply, replyLen);                                                   \
    }

ZX_RPC_WRAPPER(L2TP_MSG_RpcCall_JNI, kL2tpTarn)
ZX_RPC_WRAPPER(L2TP_APPM_MSG_RpcCall, kL2tpAppm)
ZX_RPC_WRAPPER(L2TP_CWMP_MSG_RpcCall, kL2tpCwmp)
ZX_RPC_WRAPPER(ZEL_JNI_MSG_RpcCall, kZel)
ZX_RPC_WRAPPER(TERN_JNI_MSG_RpcCall, kTern)
ZX_RPC_WRAPPER(VOICE_JNI_MSG_RpcCall, kVoice)
ZX_RPC_WRAPPER(APPM_JNI_MSG_RpcCall, kAppm)
ZX_RPC_WRAPPER(USB_JNI_MSG_RpcCall, kUsb)
ZX_RPC_WRAPPER(OSGi_JNI_MSG_RpcCall, kOsgiUsb)
ZX_RPC_WRAPPER(ZEL_WIFI_JNI_MSG_RpcCall, kZelWifi)
