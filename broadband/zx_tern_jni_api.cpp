// Broadband API. LAN host lists, permissions, black lists, bandwidth, WAN facts and NAT rules go to
// the configuration service ("app_m"); the host count, host counters and HTTP forwarding to the
// broadband service ("tarn"); tunnels through the tunnel API. Every record of this unit names the
// source "zx_tern_jni_api"; its lines are those of the calls.
#include "zx_tern_jni_api.h"

#include <cstring>

#include "l2tp_api.h"
#include "scoped.h"
#include "trace_unit.h"
#include "zx_feature.h"
#include "zx_velm_jni_api.h"

namespace {

using zxtrace::kTernApi;  // every record of this file
using zxtrace::Line;

// The family's failure text and the tunnel-editing calls' success text.
constexpr const char* kFailure = ZX_JNI_FAILURE_TEXT;
constexpr const char* kSuccess = "{\"Result\":0}";

constexpr uint32_t kBandwidthReplyLen = 64;
constexpr uint32_t kShortReplyLen = 128;  // permission and statistics-switch replies
constexpr uint32_t kIfStatsReplyLen = 64;
constexpr uint32_t kIpAddrReplyLen = 512;
constexpr uint32_t kNameLen = 64;  // PPPoE name and tunnel name buffers
constexpr uint32_t kNatReplyLen = 128;
constexpr uint32_t kPortLimit = 0x10000;

uint32_t u32(int32_t value) { return static_cast<uint32_t>(value); }

// A formatted text in the caller's buffer: at most outLen - 1 characters, always terminated.
void write_text(char* out, uint32_t outLen, const char* text) { ZX_OS_Snprintf_S(out, outLen, outLen - 1, "%s", text); }
// A fixed text copied in the same bound.
void copy_text(char* out, uint32_t outLen, const char* text) { ZX_OS_StrNCpy_S(out, outLen, text, outLen - 1); }

// The 4-byte zero request of the plain queries.
constexpr uint32_t kZeroWord = 0;

// A query of the configuration service whose text reply (replyLen bytes, zeroed first) is copied to
// out; the failure text and a last word (code, outLen) when the call fails.
void appm_text_query(uint32_t msgId, uint32_t replyLen, char* out, uint32_t outLen, Line failLine) {
    char reply[kIpAddrReplyLen + 1];  // one byte more than any reply: always terminated
    ZX_OS_MemSet_S(reply, sizeof reply, 0, sizeof reply);
    uint32_t code = APPM_JNI_MSG_RpcCall(msgId, &kZeroWord, sizeof kZeroWord, reply, replyLen);
    if (code != 0) {
        kTernApi.last_word(failLine, code, outLen, 0, 0, 0);
        write_text(out, outLen, kFailure);
        return;
    }
    write_text(out, outLen, reply);
}

}  // namespace

// ---- LAN hosts ----

extern "C" uint32_t ZX_JNI_Cfg_GetHostNum(uint32_t* puiCount) {
    zxjni::PlatformBuffer reply(sizeof(ZX_TARN_HOST_NUM_REPLY_S), kTernApi.file(), __LINE__);
    if (!reply) return kTernApi.fail(Line(__LINE__), 1);
    uint32_t code = TERN_JNI_MSG_RpcCall(ZX_TARN_RPC_GET_HOST_NUM, &kZeroWord, sizeof kZeroWord, reply.get(),
                                         sizeof(ZX_TARN_HOST_NUM_REPLY_S));
    if (code != 0) kTernApi.last_word(Line(__LINE__), code);
    // The buffer was zeroed: a failed call counts no hosts.
    uint32_t count = 0;
    ZX_OS_MemCpy_S(&count, sizeof count, reply.get(), sizeof count);
    *puiCount = count;
    reply.free_at(__LINE__);
    return code;
}

namespace {

// A copy of text handed to the caller in *info: 0, or 1 (last word) when no memory.
uint32_t hand_copy(char** info, const char* text, Line failLine) {
    *info = ZX_OS_StrDup(text);
    if (*info == nullptr) return kTernApi.fail(failLine, 1);
    return 0;
}

}  // namespace

extern "C" uint32_t ZX_JNI_lanGetNetInfo(char** ppcInfo) {
    if (ppcInfo == nullptr) return kTernApi.fail(Line(__LINE__), 1);
    uint32_t count = 0;
    (void)ZX_JNI_Cfg_GetHostNum(&count);
    kTernApi.trace(Line(__LINE__), "GetHostNum  get hostnum:%u\r\n", count);
    if (count == 0) return hand_copy(ppcInfo, "{\"Result\":0,\"Info\":[] }", Line(__LINE__));
    uint64_t wanted = static_cast<uint64_t>(count) * ZX_TERN_NET_INFO_HOST_LEN;
    uint32_t size = wanted > ZX_TERN_NET_INFO_MAX_LEN ? ZX_TERN_NET_INFO_MAX_LEN : static_cast<uint32_t>(wanted);
    zxjni::PlatformBuffer reply(size, kTernApi.file(), __LINE__);
    if (!reply) return kTernApi.fail(Line(__LINE__), 1);
    uint32_t code = APPM_JNI_MSG_RpcCall(ZX_APPM_RPC_LAN_GET_NET_INFO, &kZeroWord, sizeof kZeroWord, reply.get(), size);
    if (code != 0) {
        kTernApi.last_word(Line(__LINE__), code, count, size, 0, 0);
        reply.free_at(__LINE__);
        return hand_copy(ppcInfo, kFailure, Line(__LINE__));
    }
    // The service's text ends within the buffer; a full buffer is cut at its last byte.
    reply.get()[size - 1] = '\0';
    uint32_t ret = hand_copy(ppcInfo, reply.get(), Line(__LINE__));
    reply.free_at(__LINE__);
    return ret;
}

extern "C" uint32_t ZX_JNI_lanSetDevAccessPermission(const char* pcDev, int32_t iFirst, int32_t iSecond, char* pcOut,
                                                     uint32_t uiOutLen) {
    if (pcDev == nullptr) return kTernApi.fail(Line(__LINE__), 1);
    if (!ZX_JNI_IsValidBoolean(u32(iFirst)) || !ZX_JNI_IsValidBoolean(u32(iSecond))) {
        kTernApi.last_word(Line(__LINE__), 1, u32(iSecond), u32(iFirst), 0, 0);
        write_text(pcOut, uiOutLen, kFailure);
        return 0;
    }
    ZX_APPM_DEV_ACCESS_REQ_S req;
    ZX_OS_MemSet_S(&req, sizeof req, 0, sizeof req);
    ZX_OS_StrNCpy_S(req.acDevice, sizeof req.acDevice, pcDev, sizeof req.acDevice - 1);
    ZX_OS_StrNCpy_S(req.acPermission1, sizeof req.acPermission1, iFirst ? "ON" : "OFF", sizeof req.acPermission1 - 1);
    ZX_OS_StrNCpy_S(req.acPermission2, sizeof req.acPermission2, iSecond ? "ON" : "OFF", sizeof req.acPermission2 - 1);
    char reply[kShortReplyLen];
    ZX_OS_MemSet_S(reply, sizeof reply, 0, sizeof reply);
    uint32_t code = APPM_JNI_MSG_RpcCall(ZX_APPM_RPC_LAN_SET_DEV_ACCESS_PERMISSION, &req, sizeof req, reply, sizeof reply);
    if (code != 0) {
        kTernApi.last_word(Line(__LINE__), code, u32(iFirst), u32(iSecond), 0, 0);
        write_text(pcOut, uiOutLen, kFailure);
        return 0;
    }
    reply[sizeof reply - 1] = '\0';
    write_text(pcOut, uiOutLen, reply);
    return 0;
}

namespace {

// A black list written by the service straight into out.
uint32_t blacklist(uint32_t msgId, char* out, uint32_t outLen, Line argLine, Line failLine) {
    if (out == nullptr || outLen == 0) return kTernApi.fail(argLine, 1);
    uint32_t code = APPM_JNI_MSG_RpcCall(msgId, &kZeroWord, sizeof kZeroWord, out, outLen);
    if (code != 0) {
        kTernApi.last_word(failLine, code, outLen, 0, 0, 0);
        write_text(out, outLen, kFailure);
    }
    return 0;
}

}  // namespace

extern "C" uint32_t ZX_JNI_lanGetDevInternetAccessBlacklist(char* pcOut, uint32_t uiOutLen) {
    return blacklist(ZX_APPM_RPC_LAN_GET_INTERNET_BLACKLIST, pcOut, uiOutLen, Line(__LINE__),
                          Line(__LINE__));
}

extern "C" uint32_t ZX_JNI_lanGetDevStorageAccessBlacklist(char* pcOut, uint32_t uiOutLen) {
    return blacklist(ZX_APPM_RPC_LAN_GET_STORAGE_BLACKLIST, pcOut, uiOutLen, Line(__LINE__),
                          Line(__LINE__));
}

extern "C" uint32_t ZX_JNI_lanGetDevBandwidth(char* pcOut, uint32_t uiOutLen) {
    if (pcOut == nullptr || uiOutLen == 0) return kTernApi.fail(Line(__LINE__), 1);
    appm_text_query(ZX_APPM_RPC_LAN_GET_DEV_BANDWIDTH, kBandwidthReplyLen, pcOut, uiOutLen, Line(__LINE__));
    return 0;
}

extern "C" uint32_t ZX_JNI_lanSetDevStatsStatus(int32_t iEnable, char* pcOut, uint32_t uiOutLen) {
    if (pcOut == nullptr || uiOutLen == 0) return kTernApi.fail(Line(__LINE__), 1);
    char reply[kShortReplyLen];
    ZX_OS_MemSet_S(reply, sizeof reply, 0, sizeof reply);
    uint32_t code = APPM_JNI_MSG_RpcCall(ZX_APPM_RPC_LAN_SET_DEV_STATS_STATUS, &iEnable, sizeof iEnable, reply,
                                         sizeof reply);
    if (code != 0) {
        kTernApi.last_word(Line(__LINE__), code);
        write_text(pcOut, uiOutLen, kFailure);
        return 0;
    }
    reply[sizeof reply - 1] = '\0';
    write_text(pcOut, uiOutLen, reply);
    return 0;
}

extern "C" uint32_t ZX_JNI_GetLANHostStats(const char* pcMacText, char* pcOut, uint32_t uiOutLen) {
    ZX_TARN_HOST_STATS_REQ_S req;
    ZX_OS_MemSet_S(&req, sizeof req, 0, sizeof req);
    if (ZX_JNI_MacStrToArr(pcMacText, req.aucMac) != 0) return kTernApi.fail(Line(__LINE__), 1);
    // The field service reads the address bytes as they stand (they are not a text).
    char mac_text[sizeof req.aucMac + 1] = {};
    ZX_OS_MemCpy_S(mac_text, sizeof mac_text, req.aucMac, sizeof req.aucMac);
    kTernApi.trace(Line(__LINE__), "ZX_JNI_GetLANHostStats called,%s\r\n", mac_text);
    ZX_TARN_HOST_STATS_REPLY_S reply;
    ZX_OS_MemSet_S(&reply, sizeof reply, 0, sizeof reply);
    uint32_t code = TERN_JNI_MSG_RpcCall(ZX_TARN_RPC_GET_LAN_HOST_STATS, &req, sizeof req, &reply, sizeof reply);
    if (code != 0) return kTernApi.fail(Line(__LINE__), code);
    ZX_OS_Snprintf_S(pcOut, uiOutLen, uiOutLen - 1, "{\"Result\":0,\"UsStats\":%lld,\"DsStats\":%lld}",
                     static_cast<long long>(reply.ullUsStats), static_cast<long long>(reply.ullDsStats));
    return 0;
}

extern "C" uint32_t ZX_JNI_MacStrToArr(const char* pcMacText, uint8_t aucMac[6]) {
    if (pcMacText == nullptr || aucMac == nullptr) return 1;
    uint32_t f[6] = {0, 0, 0, 0, 0, 0};
    (void)ZX_OS_Sscanf_S(pcMacText, "%x:%x:%x:%x:%x:%x", &f[0], &f[1], &f[2], &f[3], &f[4], &f[5]);
    for (int i = 0; i < 6; ++i) aucMac[i] = static_cast<uint8_t>(f[i] & 0xFFu);
    return 0;
}

extern "C" void TransferMacFormat(const char* pcSrc, char* pcDst) {
    size_t n = strnlen(pcSrc, 12);
    size_t o = 0;
    // A colon after every second character; the one after the sixth pair is the terminator's place.
    for (size_t i = 0; i < n; ++i) {
        pcDst[o++] = pcSrc[i];
        if (i % 2 == 1) pcDst[o++] = ':';
    }
    pcDst[17] = '\0';
}

// ---- WAN and L2TP tunnels ----

extern "C" uint32_t ZX_JNI_wanGetIfStats(char* pcOut, uint32_t uiOutLen) {
    if (pcOut == nullptr || uiOutLen == 0) return kTernApi.fail(Line(__LINE__), 1);
    appm_text_query(ZX_APPM_RPC_WAN_GET_IF_STATS, kIfStatsReplyLen, pcOut, uiOutLen, Line(__LINE__));
    return 0;
}

extern "C" uint32_t ZX_JNI_sysGetIpAddr(char* pcOut, uint32_t uiOutLen) {
    // Neither argument is looked at here.
    appm_text_query(ZX_APPM_RPC_SYS_GET_IP_ADDR, kIpAddrReplyLen, pcOut, uiOutLen, Line(__LINE__));
    return 0;
}

extern "C" uint32_t ZX_JNI_wanGetPppoeAccount(char* pcOut, uint32_t uiOutLen) {
    if (pcOut == nullptr || uiOutLen == 0) return kTernApi.fail(Line(__LINE__), 1);
    char name[kNameLen + 1];
    ZX_OS_MemSet_S(name, sizeof name, 0, sizeof name);
    if (ZX_TARN_GetPppoeUserName(name, kNameLen) != 0) {
        write_text(pcOut, uiOutLen, kFailure);
        kTernApi.last_word(Line(__LINE__), 1);
        return 0;
    }
    // The name is written as it stands, quotes and all.
    ZX_OS_Snprintf_S(pcOut, uiOutLen, uiOutLen - 1, "{\"Result\":0, \"PppoeAccount\":\"%s\"}", name);
    return 0;
}

extern "C" uint32_t ZX_JNI_wanCreateL2tpTunnel(const char* pcServer, const char* pcUser, const char* pcPassword,
                                               char* pcOut, uint32_t uiOutLen) {
    if (pcServer == nullptr || pcUser == nullptr || pcPassword == nullptr || pcOut == nullptr)
        return kTernApi.fail(Line(__LINE__), 1);
    char tunnel[kNameLen + 1];
    ZX_OS_MemSet_S(tunnel, sizeof tunnel, 0, sizeof tunnel);
    uint32_t code = ZX_TARN_SetupVpn(pcServer, ZX_TERN_L2TP_SERVER_PORT, pcUser, pcPassword, tunnel);
    if (code != 0) {
        write_text(pcOut, uiOutLen, kFailure);
        kTernApi.last_word(Line(__LINE__), code, uiOutLen, 0, 0, 0);
        return 0;
    }
    ZX_OS_Snprintf_S(pcOut, uiOutLen, uiOutLen - 1, "{\"Result\":0,\"TunnelName\":\"%s\"}", tunnel);
    return 0;
}

extern "C" uint32_t ZX_JNI_wanRemoveL2tpTunnel(const char* pcTunnelName, char* pcOut, uint32_t uiOutLen) {
    if (pcTunnelName == nullptr) return kTernApi.fail(Line(__LINE__), 1);
    // An empty name is answered at once and the caller's buffer stays as it was.
    if (pcTunnelName[0] == '\0') return 0;
    uint32_t code = ZX_TARN_DisconnectVpn(nullptr, nullptr, nullptr, pcTunnelName);
    if (code != 0) {
        kTernApi.last_word(Line(__LINE__), code);
        copy_text(pcOut, uiOutLen, kFailure);
        return 0;
    }
    copy_text(pcOut, uiOutLen, kSuccess);
    return 0;
}

namespace {

using DestAddrCall = uint32_t (*)(const char*, uint32_t, const char*, const char*, const char*, const char*);

// Attaches or detaches destinations of a named tunnel: 1 for a missing argument, else 0 with the
// outcome's JSON in out.
uint32_t edit_dest_addr(DestAddrCall call, const char* console, const char* tunnel, const char* list, uint32_t listLen,
                        char* out, uint32_t outLen, Line argLine, Line failLine) {
    if (tunnel == nullptr || tunnel[0] == '\0' || listLen == 0 || list == nullptr || list[0] == '\0' || outLen == 0)
        return kTernApi.fail(argLine, 1);
    ZX_OS_Printf(console, tunnel, list);
    uint32_t code = call(list, listLen, "", "", "", tunnel);
    if (code != 0) {
        kTernApi.last_word(failLine, code, listLen, 0, 0, 0);
        copy_text(out, outLen, kFailure);
        return 0;
    }
    copy_text(out, outLen, kSuccess);
    return 0;
}

}  // namespace

extern "C" uint32_t ZX_JNI_wanAttachL2tpTunnel(const char* pcTunnelName, const char* pcAddrStrList,
                                               uint32_t uiAddrListLen, char* pcOut, uint32_t uiOutLen) {
    return edit_dest_addr(ZX_TARN_AddVpnDestAddr, "\r\nZX_JNI_wanAttachL2tpTunnel  TunnelName:%s AddrStrList = %s \r\n",
                          pcTunnelName, pcAddrStrList, uiAddrListLen, pcOut, uiOutLen, Line(__LINE__),
                          Line(__LINE__));
}

extern "C" uint32_t ZX_JNI_wanDetachL2tpTunnel(const char* pcTunnelName, const char* pcAddrStrList,
                                               uint32_t uiAddrListLen, char* pcOut, uint32_t uiOutLen) {
    return edit_dest_addr(ZX_TARN_DelVpnDestAddr, "\r\nZX_JNI_wanDetachL2tpTunnel TunnelName:%s AddrStrList:%s \r\n",
                          pcTunnelName, pcAddrStrList, uiAddrListLen, pcOut, uiOutLen, Line(__LINE__),
                          Line(__LINE__));
}

extern "C" uint32_t ZX_JNI_wanGetL2tpTunnelStatus(const char* pcTunnelName, char* pcOut, uint32_t uiOutLen) {
    if (pcTunnelName == nullptr || pcOut == nullptr) return kTernApi.fail(Line(__LINE__), 1);
    int32_t status = 0;
    uint32_t code = ZX_TARN_GetTunnelStatusByName(pcTunnelName, reinterpret_cast<uint32_t*>(&status));
    if (code != 0) {
        write_text(pcOut, uiOutLen, kFailure);
        kTernApi.last_word(Line(__LINE__), 1);
        return 0;
    }
    ZX_OS_Snprintf_S(pcOut, uiOutLen, uiOutLen - 1, "{\"Result\":0 ,\"TunnelStatus\":\"%d\"}", status);
    return 0;
}

// ---- HTTP forwarding and WAN access rules ----

namespace {

// One forwarding command whose 4-byte reply is not looked at.
uint32_t tarn_command(uint32_t msgId, const void* req, uint32_t reqLen) {
    uint32_t reply = 0;
    return TERN_JNI_MSG_RpcCall(msgId, req, reqLen, &reply, sizeof reply);
}

// A failed forwarding command: its name traced, then the last word; answers 1.
uint32_t forward_failed(const char* what, uint32_t code, Line traceLine, Line wordLine) {
    kTernApi.trace(traceLine, "%s", what);
    kTernApi.last_word(wordLine, code);
    return 1;
}

}  // namespace

extern "C" uint32_t ZX_JNI_httpForwardStart(uint32_t uiSsid, uint32_t uiDefaultForwardPort, char** ppcWhiteList,
                                            uint32_t uiWhiteCount, char** ppcAlwaysList, uint32_t uiAlwaysCount,
                                            uint32_t uiAlwaysForwardPort, uint32_t uiDenyOtherPackage) {
    (void)uiDenyOtherPackage;  // the service is not told of it
    kTernApi.trace(Line(__LINE__), "%s", "ZX_JNI_httpForwardStart called");
    uint32_t code = tarn_command(ZX_TARN_RPC_HTTP_FORWARD_INIT, &kZeroWord, sizeof kZeroWord);
    if (code != 0)
        return forward_failed("ZX_TARN_RPC_HTTP_FORWARD_INIT return failed", code,
                                  Line(__LINE__),  // the trace
                                  Line(__LINE__));  // the last word
    // A failing step stops the start; what was sent before stays with the service.
    for (uint32_t i = 0; i < uiWhiteCount; ++i) {
        const char* entry = ppcWhiteList[i];
        if (entry == nullptr) continue;
        kTernApi.trace(Line(__LINE__), "whiteDestAddr%u:%s", i, entry);
        code = tarn_command(ZX_TARN_RPC_HTTP_FORWARD_ADD_WHITENAME_LIST, entry,
                            static_cast<uint32_t>(std::strlen(entry)));
        if (code != 0)
            return forward_failed("ZX_TARN_RPC_HTTP_FORWARD_ADD_WHITENAME_LIST return failed", code,
                                  Line(__LINE__),  // the trace
                                  Line(__LINE__));  // the last word
    }
    for (uint32_t i = 0; i < uiAlwaysCount; ++i) {
        const char* entry = ppcAlwaysList[i];
        if (entry == nullptr) continue;
        kTernApi.trace(Line(__LINE__), "apcAlwaysForwardAddr%u:%s", i, entry);
        ZX_TARN_ALWAYS_FORWARD_S rule;
        ZX_OS_MemSet_S(&rule, sizeof rule, 0, sizeof rule);
        rule.uiAlwaysForwardPort = uiAlwaysForwardPort;
        // At most 256 characters: a full field keeps no terminator.
        ZX_OS_MemCpy_S(rule.acAddr, sizeof rule.acAddr, entry, static_cast<uint32_t>(strnlen(entry, sizeof rule.acAddr)));
        code = tarn_command(ZX_TARN_RPC_HTTP_FORWARD_SET_ALWAYS_FORWARD_RULE, &rule, sizeof rule);
        if (code != 0)
            return forward_failed("ZX_TARN_RPC_HTTP_FORWARD_SET_ALWAYS_FORWARD_RULE return failed", code,
                                  Line(__LINE__),  // the trace
                                  Line(__LINE__));  // the last word
    }
    ZX_TARN_DEFAULT_FORWARD_S rule;
    ZX_OS_MemSet_S(&rule, sizeof rule, 0, sizeof rule);
    rule.uiDefaultForwardPort = uiDefaultForwardPort;
    rule.uiSsid = uiSsid;
    code = tarn_command(ZX_TARN_RPC_HTTP_FORWARD_SET_DEFAULT_FORWARD_RULE, &rule, sizeof rule);
    if (code != 0)
        return forward_failed("ZX_TARN_RPC_HTTP_FORWARD_SET_DEFAULT_FORWARD_RULE return failed", code,
                                  Line(__LINE__),  // the trace
                                  Line(__LINE__));  // the last word
    return 0;
}

extern "C" uint32_t ZX_JNI_httpForwardSetAuth(const char* pcSrcAddr) {
    kTernApi.trace(Line(__LINE__), "%s", "ZX_JNI_httpForwardSetAuth called");
    if (pcSrcAddr == nullptr || pcSrcAddr[0] == '\0') {
        kTernApi.last_word(Line(__LINE__), 1);
        kTernApi.trace(Line(__LINE__), "%s", "null srcAddr");
        return 1;
    }
    uint32_t code = tarn_command(ZX_TARN_RPC_HTTP_FORWARD_ADD_AUTH, pcSrcAddr, static_cast<uint32_t>(std::strlen(pcSrcAddr)));
    if (code != 0) {
        // Here the last word comes first.
        kTernApi.last_word(Line(__LINE__), code);
        kTernApi.trace(Line(__LINE__), "%s", "ZX_TARN_RPC_HTTP_FORWARD_ADD_AUTH return failed");
        return 1;
    }
    kTernApi.trace(Line(__LINE__), "%s", "ZX_JNI_httpForwardSetAuth return success");
    return 0;
}

extern "C" uint32_t ZX_JNI_httpForwardStop(void) {
    kTernApi.trace(Line(__LINE__), "%s", "ZX_JNI_httpForwardStop called");
    uint32_t code = tarn_command(ZX_TARN_RPC_HTTP_FORWARD_STOP, &kZeroWord, sizeof kZeroWord);
    if (code != 0)
        return forward_failed("ZX_TARN_RPC_HTTP_FORWARD_STOP return failed", code,
                                  Line(__LINE__),  // the trace
                                  Line(__LINE__));  // the last word
    return 0;
}

extern "C" uint32_t ZX_JNI_ipcSetNatInfo(uint32_t uiOperation, const char* pcAddr1, const char* pcAddr2, uint32_t uiPort,
                                         const char* pcText3) {
    if (pcAddr1 == nullptr || pcAddr2 == nullptr || pcText3 == nullptr) return kTernApi.fail(Line(__LINE__), 1);
    if (ZX_UTL_ValidateIpAddress(pcAddr1) != 0 || ZX_UTL_ValidateIpAddress(pcAddr2) != 0 || uiPort >= kPortLimit)
        return kTernApi.fail(Line(__LINE__), 1, uiPort, 0, 0, 0);
    ZX_APPM_NAT_INFO_S rule;
    ZX_OS_MemSet_S(&rule, sizeof rule, 0, sizeof rule);
    rule.uiOperation = uiOperation;
    rule.uiPort = uiPort;
    ZX_OS_StrNCpy_S(rule.acAddr1, sizeof rule.acAddr1, pcAddr1, sizeof rule.acAddr1 - 1);
    ZX_OS_StrNCpy_S(rule.acAddr2, sizeof rule.acAddr2, pcAddr2, sizeof rule.acAddr2 - 1);
    ZX_OS_StrNCpy_S(rule.acText3, sizeof rule.acText3, pcText3, sizeof rule.acText3 - 1);
    char reply[kNatReplyLen];
    ZX_OS_MemSet_S(reply, sizeof reply, 0, sizeof reply);
    uint32_t code = APPM_JNI_MSG_RpcCall(ZX_APPM_RPC_SET_NAT_INFO, &rule, sizeof rule, reply, sizeof reply);
    if (code != 0) kTernApi.last_word(Line(__LINE__), code);
    return code;
}
