// WLAN, LED and LAN-port API. SSIDs, LEDs, LAN ports and the platform connection state go to the
// configuration service ("app_m"), the radios and WPS to the WLAN radio service ("wifi"). Every
// record of this unit names the source "../zel/zx_zel_jni_api"; its lines are those of the calls.
#include "zx_zel_jni_api.h"

#include <cstring>

#include "scoped.h"
#include "trace_unit.h"
#include "zx_velm_jni_api.h"

namespace {

using zxtrace::kZelApi;  // every record of this file
using zxtrace::Line;

constexpr const char* kFailure = ZX_JNI_FAILURE_TEXT;  // the security query answers kSecurityFailure instead
constexpr const char* kSecurityFailure = "{\"Result\":1}";

// wlanSetHide's answers to Java for a failed call.
constexpr int32_t kHideBusy = -1;
constexpr int32_t kHideFailed = -100;

// The code of the LAN-port query's record when the call fails: -1 as a word.
constexpr uint32_t kMinusOne = 0xFFFFFFFFu;

uint32_t u32(int32_t value) { return static_cast<uint32_t>(value); }

// A failure text over the caller's whole buffer (the count is outLen itself).
void write_failure(char* out, uint32_t outLen, const char* text) { ZX_OS_Snprintf_S(out, outLen, outLen, "%s", text); }

// Characters of a text, but never more than limit (the text need not end within them).
uint32_t bounded_length(const char* text, uint32_t limit) {
    return text ? static_cast<uint32_t>(strnlen(text, limit)) : 0;
}

}  // namespace

extern "C" uint32_t ZX_JNI_wlanSetState(int32_t iSsidIndex, int32_t iState, char* pcOut, uint32_t uiOutLen) {
    ZX_APPM_WLAN_STATE_REQ_S req;
    ZX_OS_MemSet_S(&req, sizeof req, 0, sizeof req);
    req.iSsidIndex = iSsidIndex;
    req.iState = iState;
    uint32_t code = APPM_JNI_MSG_RpcCall(ZX_APPM_RPC_WLAN_SET_STATE, &req, sizeof req, pcOut, uiOutLen);
    if (code != 0) {
        kZelApi.last_word(Line(__LINE__), code, uiOutLen, 0, 0, 0);
        write_failure(pcOut, uiOutLen, kFailure);
    }
    return 0;
}

namespace {

// The one word the service answers about an SSID; 0 when the call fails.
int32_t ssid_word(uint32_t msgId, int32_t iSsidIndex, Line failLine) {
    int32_t reply = 0;
    uint32_t code = APPM_JNI_MSG_RpcCall(msgId, &iSsidIndex, sizeof iSsidIndex, &reply, sizeof reply);
    if (code != 0) {
        kZelApi.last_word(failLine, code, u32(iSsidIndex), 0, 0, 0);
        return 0;
    }
    return reply;
}

}  // namespace

extern "C" int32_t ZX_JNI_wlanGetState(int32_t iSsidIndex) {
    return ssid_word(ZX_APPM_RPC_WLAN_GET_STATE, iSsidIndex, Line(__LINE__));
}

extern "C" int32_t ZX_JNI_wlanGetHide(int32_t iSsidIndex) {
    return ssid_word(ZX_APPM_RPC_WLAN_GET_HIDE, iSsidIndex, Line(__LINE__));
}

extern "C" int32_t ZX_JNI_wlanSetHide(int32_t iSsidIndex, int32_t iHide) {
    // The service answers into the request record itself.
    ZX_APPM_WLAN_HIDE_S rec;
    ZX_OS_MemSet_S(&rec, sizeof rec, 0, sizeof rec);
    rec.iSsidIndex = iSsidIndex;
    rec.iHide = iHide;
    uint32_t code = APPM_JNI_MSG_RpcCall(ZX_APPM_RPC_WLAN_SET_HIDE, &rec, sizeof rec, &rec, sizeof rec);
    if (code == 0) return 0;
    kZelApi.last_word(Line(__LINE__), code, u32(iSsidIndex), u32(iHide), 0, 0);
    return code == ZX_ZEL_HIDE_ERR_BUSY ? kHideBusy : kHideFailed;
}

extern "C" uint32_t ZX_JNI_startWlanWps(int32_t iSsidIndex) {
    kZelApi.trace(Line(__LINE__), "ZX_JNI_SetWpsStart iSsidIndex:%d\r\n", iSsidIndex);
    ZX_WIFI_WPS_START_REQ_S req;
    ZX_OS_MemSet_S(&req, sizeof req, 0, sizeof req);
    req.iSsidIndex = iSsidIndex;
    uint32_t reply = 0;
    uint32_t code = ZEL_WIFI_JNI_MSG_RpcCall(ZX_WIFI_RPC_START_WPS, &req, sizeof req, &reply, sizeof reply);
    if (code != 0) return kZelApi.fail(Line(__LINE__), code, u32(iSsidIndex), 0, 0, 0);
    return 0;
}

extern "C" uint32_t ZX_JNI_wlanGetWPSState(int32_t iSsidIndex) {
    kZelApi.trace(Line(__LINE__), "ZX_JNI_wlanGetWPSState iSsidIndex:%d \r\n", iSsidIndex);
    // The index is traced only: the service has one WPS state and is asked with 18 zero bytes.
    ZX_WIFI_WPS_STATE_S state;
    ZX_OS_MemSet_S(&state, sizeof state, 0, sizeof state);
    uint32_t code = ZEL_WIFI_JNI_MSG_RpcCall(ZX_WIFI_RPC_GET_WPS_STATE, &state, sizeof state, &state, sizeof state);
    if (code != 0) return kZelApi.fail(Line(__LINE__), code, u32(iSsidIndex), 0, 0, 0);
    uint32_t uiRet = state.uiState != 0 ? 1 : 0;
    kZelApi.trace(Line(__LINE__), "ZX_JNI_wlanGetWPSState uiRet:%d \r\n", uiRet);
    return uiRet;
}

extern "C" uint32_t ZX_JNI_wlanGetSecurity(int32_t iSsidIndex, char* pcOut, uint32_t uiOutLen) {
    ZX_APPM_WLAN_SECURITY_S req;
    ZX_OS_MemSet_S(&req, sizeof req, 0, sizeof req);
    req.iSsidIndex = iSsidIndex;
    uint32_t code = APPM_JNI_MSG_RpcCall(ZX_APPM_RPC_WLAN_GET_SECURITY, &req, sizeof req, pcOut, uiOutLen);
    if (code != 0) {
        kZelApi.last_word(Line(__LINE__), code, uiOutLen, 0, 0, 0);
        write_failure(pcOut, uiOutLen, kSecurityFailure);
    }
    return 0;
}

extern "C" uint32_t ZX_JNI_wlanSetSecurity(int32_t iSsidIndex, const char* pcFirst, const char* pcSecond, char* pcOut,
                                           uint32_t uiOutLen) {
    ZX_APPM_WLAN_SECURITY_S req;
    ZX_OS_MemSet_S(&req, sizeof req, 0, sizeof req);
    req.iSsidIndex = iSsidIndex;
    // The first text keeps a terminator in its field (63 characters at most); the key may fill
    // its 64 bytes, the record's last byte ends it then.
    if (pcFirst)
        ZX_OS_StrNCpy_S(req.acFirstText, sizeof req.acFirstText, pcFirst, static_cast<uint32_t>(std::strlen(pcFirst)));
    if (pcSecond) ZX_OS_MemCpy_S(req.acKey, sizeof req.acKey, pcSecond, bounded_length(pcSecond, sizeof req.acKey));
    uint32_t code = APPM_JNI_MSG_RpcCall(ZX_APPM_RPC_WLAN_SET_SECURITY, &req, sizeof req, pcOut, uiOutLen);
    // The key does not stay behind on the stack.
    ZX_OS_MemSet_S(&req, sizeof req, 0, sizeof req);
    if (code != 0) return kZelApi.fail(Line(__LINE__), code, u32(iSsidIndex), 0, 0, 0);
    return 0;
}

extern "C" uint32_t ZX_JNI_wlanGetSsidInfo(char* pcOut, int32_t iSsidIndex, uint32_t uiOutLen) {
    kZelApi.trace(Line(__LINE__), "ZX_JNI_wlanGetSsidInfo called\r\n");
    if (!pcOut) return kZelApi.fail(Line(__LINE__), 1, 0, 0, 0, 0);
    // Index 0 asks for every SSID.
    uint32_t size = iSsidIndex == 0 ? ZX_ZEL_SSID_INFO_ALL_LEN : ZX_ZEL_SSID_INFO_ONE_LEN;
    zxjni::PlatformBuffer reply(size, kZelApi.file(), __LINE__);
    if (!reply) return kZelApi.fail(Line(__LINE__), 1, size, 0, 0, 0);
    uint32_t code =
        APPM_JNI_MSG_RpcCall(ZX_APPM_RPC_WLAN_GET_SSID_INFO, &iSsidIndex, sizeof iSsidIndex, reply.get(), size);
    if (code != 0) {
        kZelApi.last_word(Line(__LINE__), code, u32(iSsidIndex), 0, 0, 0);
        reply.free_at(__LINE__);
        return 0;
    }
    uint32_t length = bounded_length(reply.get(), size);
    if (length + 1 > uiOutLen) {
        kZelApi.last_word(Line(__LINE__), 1, uiOutLen, length, 0, 0);
        reply.free_at(__LINE__);
        return 1;
    }
    // The characters only: the caller's buffer is zeroed and ends the text.
    ZX_OS_MemCpy_S(pcOut, uiOutLen, reply.get(), length);
    reply.free_at(__LINE__);
    return 0;
}

namespace {

// A radio setting: two words to the WLAN radio service, a word back.
uint32_t radio_call(uint32_t msgId, const void* req, uint32_t reqLen, int32_t iRadioIndex, int32_t iSecond,
                    Line failLine) {
    uint32_t reply = 0;
    uint32_t code = ZEL_WIFI_JNI_MSG_RpcCall(msgId, req, reqLen, &reply, sizeof reply);
    if (code != 0) return kZelApi.fail(failLine, code, u32(iRadioIndex), u32(iSecond), 0, 0);
    return 0;
}

}  // namespace

extern "C" uint32_t ZX_JNI_wlanSetAutoChannelEnable(int32_t iRadioIndex, int32_t iEnable) {
    if (iRadioIndex == ZX_ZEL_RADIO_REFUSED) return 1;
    // Both texts are written, the second naming the width call.
    kZelApi.trace(Line(__LINE__), "ZX_JNI_SetWpsStart radioIndex:%d uiEnable:%d\r\n", iRadioIndex, iEnable);
    kZelApi.trace(Line(__LINE__), "ZX_JNI_wlanSetChannelWidth iRadioIndex:%d ichannelWidth:%d\r\n", iRadioIndex,
                  iEnable);
    ZX_WIFI_AUTO_CHANNEL_REQ_S req;
    ZX_OS_MemSet_S(&req, sizeof req, 0, sizeof req);
    req.iRadioIndex = iRadioIndex;
    req.iEnable = iEnable;
    return radio_call(ZX_WIFI_RPC_SET_AUTO_CHANNEL_ENABLE, &req, sizeof req, iRadioIndex, iEnable, Line(__LINE__));
}

extern "C" uint32_t ZX_JNI_wlanSetChannelWidth(int32_t iRadioIndex, int32_t iChannelWidth) {
    if (iRadioIndex == ZX_ZEL_RADIO_REFUSED) return 1;
    kZelApi.trace(Line(__LINE__), "ZX_JNI_wlanSetChannelWidth iRadioIndex:%d ichannelWidth:%d\r\n", iRadioIndex,
                  iChannelWidth);
    ZX_WIFI_CHANNEL_WIDTH_REQ_S req;
    ZX_OS_MemSet_S(&req, sizeof req, 0, sizeof req);
    req.iRadioIndex = iRadioIndex;
    req.iChannelWidth = iChannelWidth;
    return radio_call(ZX_WIFI_RPC_SET_CHANNEL_WIDTH, &req, sizeof req, iRadioIndex, iChannelWidth, Line(__LINE__));
}

extern "C" uint32_t ZX_JNI_wlanSetForbidChannel(int32_t iRadioIndex, int32_t iChannelNum, const char* pcChannels,
                                                uint32_t uiChannelsLen) {
    if (iRadioIndex == ZX_ZEL_RADIO_REFUSED) return 1;
    kZelApi.trace(Line(__LINE__), "ZX_JNI_wlanSetForbidChannel iradioIndex:%d iChannelNum:%d\r\n", iRadioIndex,
                  iChannelNum);
    ZX_WIFI_FORBID_CHANNEL_REQ_S req;
    ZX_OS_MemSet_S(&req, sizeof req, 0, sizeof req);
    req.iRadioIndex = iRadioIndex;
    req.iChannelNum = iChannelNum;
    // At most 31 characters, and none past the caller's block (it need not hold a terminator).
    uint32_t length = bounded_length(pcChannels, uiChannelsLen);
    if (length > 0) ZX_OS_StrNCpy_S(req.acChannels, sizeof req.acChannels, pcChannels, length);
    return radio_call(ZX_WIFI_RPC_SET_FORBID_CHANNEL, &req, sizeof req, iRadioIndex, iChannelNum, Line(__LINE__));
}

extern "C" uint32_t ZX_JNI_SetLEDState(uint32_t uiLedId, uint32_t uiColor, uint32_t uiOnTime, uint32_t uiOffTime,
                                       char* pcOut, uint32_t uiOutLen) {
    ZX_APPM_LED_STATE_REQ_S req;
    ZX_OS_MemSet_S(&req, sizeof req, 0, sizeof req);
    req.uiLedId = uiLedId;
    req.uiColor = uiColor;
    req.uiOnTime = uiOnTime;
    req.uiOffTime = uiOffTime;
    uint32_t code = APPM_JNI_MSG_RpcCall(ZX_APPM_RPC_SET_LED_STATE, &req, sizeof req, pcOut, uiOutLen);
    if (code != 0) {
        kZelApi.last_word(Line(__LINE__), code, uiOutLen, uiLedId, uiColor, 0);
        return 1;
    }
    return 0;
}

extern "C" uint32_t ZX_JNI_lanGetPortStatus(char* pcOut, uint32_t uiOutLen) {
    uint32_t request = 0;
    uint32_t code = APPM_JNI_MSG_RpcCall(ZX_APPM_RPC_LAN_GET_PORT_STATUS, &request, sizeof request, pcOut, uiOutLen);
    if (code != 0) {
        // The record names the failure, not the service's code.
        kZelApi.last_word(Line(__LINE__), kMinusOne, uiOutLen, 0, 0, 0);
        write_failure(pcOut, uiOutLen, kFailure);
    }
    return 0;
}

extern "C" uint32_t ZX_JNI_NotifyPlatFormConnectState(const char* pcText, uint32_t uiState) {
    ZX_APPM_PLATFORM_STATE_S rec;
    ZX_OS_MemSet_S(&rec, sizeof rec, 0, sizeof rec);
    rec.uiState = uiState;
    // Copied by its whole length: a text of 128 characters or more is cut to 127.
    if (pcText) ZX_OS_StrNCpy_S(rec.acText, sizeof rec.acText, pcText, static_cast<uint32_t>(std::strlen(pcText)));
    uint32_t code = APPM_JNI_MSG_RpcCall(ZX_APPM_RPC_NOTIFY_PLATFORM_CONNECT_STATE, &rec, sizeof rec, nullptr, 0);
    if (code != 0) return kZelApi.fail(Line(__LINE__), code, uiState, 0, 0, 0);
    return 0;
}
