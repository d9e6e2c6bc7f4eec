// Tunnel and device-information API. Every record of this unit names the source "l2tp_api"; the
// line numbers of its traces and last words are fixed, the field service reads them.
#include "l2tp_api.h"

#include <arpa/inet.h>

#include <cstdio>
#include <cstring>

#include "scoped.h"
#include "trace_unit.h"

namespace {

using zxtrace::kL2tpApi;  // every record of this file; its default level is the tunnel level
using zxtrace::operator""_ln;
using zxtrace::Line;

constexpr const char* kFile = kL2tpApi.file();
constexpr uint32_t kDnsLevel = 217;
constexpr uint32_t kTrafficLevel = 228;

constexpr uint32_t kMaxListLen = 0x40000;
constexpr const char* kNoTunnel = "na.";
constexpr const char* kUpgradeStatusFile = "/mnt/jffs2/save_upgrade_status";
constexpr uint32_t kUpgradeStateUnknown = 4;  // no status file: nothing to report, not a failure

uint32_t text_len(const char* s) { return static_cast<uint32_t>(std::strlen(s)); }

// What a trace shows for a text that was not given.
const char* shown(const char* s) { return s ? s : "(null)"; }

// Copies a text of at most len characters and its NUL to p; returns the position after the NUL.
char* put_text(char* p, const char* text, uint32_t len) {
    std::memcpy(p, text, len);
    p[len] = '\0';
    return p + len + 1;
}

// ---------------------------------------------------------------------------------------------
// VPN address lists
// ---------------------------------------------------------------------------------------------

// The two list kinds differ in their kind word, the room after the tunnel name and their lines.
struct ListKind {
    uint32_t kindWord;
    uint32_t tunnelExtra;  // bytes a tunnel name adds beyond its text
    Line lineTooBig, lineNoList, lineNoCreds, lineTrace, lineBadLen, lineBadCreds;
    uint32_t lineAlloc;  // the allocation's and the releases' lines are the allocator's, not records
    Line lineAllocFail, lineWriteFail;
    uint32_t lineWriteFree;
    Line lineStored;
    uint32_t lineFree;
    Line lineCall;
};

constexpr ListKind kDestList{ZX_TARN_VPN_LIST_DEST,
                             1,
                             260_ln,
                             261_ln,
                             262_ln,
                             267_ln,
                             270_ln,
                             275_ln,
                             285,
                             288_ln,
                             312_ln,
                             313,
                             318_ln,
                             320,
                             323_ln};
// The source payload is sized with four bytes more after the tunnel name; they stay zero.
constexpr ListKind kSrcList{ZX_TARN_VPN_LIST_SRC,
                            5,
                            354_ln,
                            355_ln,
                            356_ln,
                            361_ln,
                            364_ln,
                            369_ln,
                            381,
                            384_ln,
                            408_ln,
                            409,
                            414_ln,
                            416,
                            419_ln};

uint32_t set_vpn_addr(const ListKind& k, uint32_t isDelete, const char* list, uint32_t listLen, const char* lns,
                      const char* user, const char* pass, const char* tunnel) {
    if (listLen >= kMaxListLen) {
        kL2tpApi.last_word(k.lineTooBig, ZX_TARN_ERR_TOO_LONG);
        return ZX_TARN_ERR_TOO_LONG;
    }
    if (!list) {
        kL2tpApi.last_word(k.lineNoList, ZX_TARN_ERR_PARAM);
        return ZX_TARN_ERR_PARAM;
    }
    if (!lns || !user || !pass) {
        kL2tpApi.last_word(k.lineNoCreds, ZX_TARN_ERR_PARAM);
        return ZX_TARN_ERR_PARAM;
    }
    kL2tpApi.trace(k.lineTrace, "addrList[%s] Len[%d] ip[%s]  TunnelName[%s]\r\n", list, static_cast<int32_t>(listLen),
                   lns, tunnel ? tunnel : kNoTunnel);
    uint32_t l = text_len(list), a = text_len(lns), u = text_len(user), p = text_len(pass);
    if (l != listLen || a >= 256) {
        kL2tpApi.last_word(k.lineBadLen, ZX_TARN_ERR_TOO_LONG, l, listLen, a, 0);
        return ZX_TARN_ERR_TOO_LONG;
    }
    if (u >= 64 || p >= 64) {
        kL2tpApi.last_word(k.lineBadCreds, ZX_TARN_ERR_TOO_LONG, u, p, 0, 0);
        return ZX_TARN_ERR_TOO_LONG;
    }
    uint32_t t = tunnel ? text_len(tunnel) : 0;
    uint32_t size = l + 8 + a + u + p + (tunnel ? k.tunnelExtra + t : 0);
    zxjni::PlatformBuffer payload(size, kFile, k.lineAlloc);
    if (!payload) {
        kL2tpApi.last_word(k.lineAllocFail, ZX_TARN_ERR_PARAM, size, listLen, 0, 0);
        return ZX_TARN_ERR_PARAM;
    }
    char* at = put_text(payload.get(), list, l);
    at = put_text(at, lns, a);
    at = put_text(at, user, u);
    at = put_text(at, pass, p);
    std::memcpy(at, &k.kindWord, sizeof k.kindWord);
    if (tunnel) put_text(at + sizeof k.kindWord, tunnel, t);

    TunnelVDataRecord record{};
    uint32_t code = L2TP_API_WriteVData(&record, payload.get(), size);
    if (code != 0) {
        kL2tpApi.last_word(k.lineWriteFail, code, size, 0, 0, 0);
        payload.free_at(k.lineWriteFree);
        return code;
    }
    kL2tpApi.trace(k.lineStored, "\r\n uiOriginalLen[%d] uiCompressedLen[%d] uivDataID[%d] \r\n",
                   static_cast<int32_t>(record.uiOriginalLen), static_cast<int32_t>(record.uiCompressedLen),
                   static_cast<int32_t>(record.uivDataID));
    payload.free_at(k.lineFree);
    uint32_t reply = 0;
    code = L2TP_MSG_RpcCall_JNI(isDelete ? ZX_TARN_RPC_VPN_ADDR_DEL : ZX_TARN_RPC_VPN_ADDR_ADD, &record, sizeof record,
                                &reply, sizeof reply);
    if (code != 0) kL2tpApi.last_word(k.lineCall, code);
    return code;
}

// ---------------------------------------------------------------------------------------------
// Tunnel set-up and tear-down
// ---------------------------------------------------------------------------------------------

// Copies a tear-down field when it is given; false (after its trace) when it is over-long.
bool put_teardown_field(char* field, uint32_t fieldSize, const char* text, Line line, const char* format) {
    if (!text) return true;
    if (text_len(text) > fieldSize - 1) {
        kL2tpApi.trace(line, format, text);
        return false;
    }
    ZX_OS_StrNCpy_S(field, fieldSize, text, fieldSize - 1);
    return true;
}

// ---------------------------------------------------------------------------------------------
// DNS forwarding
// ---------------------------------------------------------------------------------------------

struct DnsLines {
    uint32_t alloc;
    Line allocFail, writeFail;
    uint32_t writeFree, free;
    Line call;
    uint32_t msgId;
};

// Stores the payload in a block and sends its record; the payload is released before the call.
uint32_t send_dns_payload(const DnsLines& k, zxjni::PlatformBuffer& payload, uint32_t size) {
    TunnelVDataRecord record{};
    uint32_t code = L2TP_API_WriteVData(&record, payload.get(), size);
    if (code != 0) {
        kL2tpApi.last_word(k.writeFail, code, size, 0, 0, 0);
        payload.free_at(k.writeFree);
        return code;
    }
    payload.free_at(k.free);
    uint32_t reply = 0;
    code = L2TP_MSG_RpcCall_JNI(k.msgId, &record, sizeof record, &reply, sizeof reply);
    if (code != 0) kL2tpApi.last_word(k.call, code);
    return code;
}

constexpr DnsLines kDnsAdd{872, 875_ln, 888_ln, 889, 893, 896_ln, ZX_TARN_RPC_DNS_FORWARD_ADD};
constexpr DnsLines kDnsDel{935, 938_ln, 950_ln, 951, 955, 958_ln, ZX_TARN_RPC_DNS_FORWARD_DEL};

// ---------------------------------------------------------------------------------------------
// Device information
// ---------------------------------------------------------------------------------------------

// A query whose reply is a text of the service: asks with the caller's buffer size as request.
uint32_t size_request(uint32_t msgId, uint32_t size, void* reply, uint32_t replyLen) {
    return L2TP_MSG_RpcCall_JNI(msgId, &size, sizeof size, reply, replyLen);
}

// The management address and port, from "cwmp" when the operator's remote management is on,
// else from "app_m".
uint32_t get_mgt_address(char (&address)[257], uint32_t& port) {
    uint32_t request = 0;
    if (ZX_Feature_IsSupportByFeatureName("FT_CWMP_OPCO_RMS") == 1) {
        ZX_CWMP_MGT_ADDR_S reply{};
        uint32_t code =
            L2TP_CWMP_MSG_RpcCall(ZX_CWMP_RPC_GET_MGT_ADDRESS, &request, sizeof request, &reply, sizeof reply);
        if (code != 0) {
            kL2tpApi.last_word(1211_ln, code);
            return code;
        }
        reply.acMgtAddr[sizeof reply.acMgtAddr - 1] = '\0';
        reply.acMgtPort[sizeof reply.acMgtPort - 1] = '\0';
        ZX_OS_StrNCpy_S(address, sizeof address, reply.acMgtAddr, sizeof address - 1);
        // A port text that is not a number leaves the port 0.
        (void)ZX_OS_StrToUInt32(reply.acMgtPort, &port);
        return 0;
    }
    zxjni::PlatformBuffer block(sizeof(ZX_APPM_MGT_ADDR_S), kFile, 1219);
    if (!block) {
        kL2tpApi.last_word(1220_ln, ZX_TARN_ERR_PARAM);
        return ZX_TARN_ERR_PARAM;
    }
    auto* reply = reinterpret_cast<ZX_APPM_MGT_ADDR_S*>(block.get());
    uint32_t code =
        L2TP_APPM_MSG_RpcCall(ZX_APPM_RPC_GET_MGT_ADDRESS, &request, sizeof request, reply, sizeof(ZX_APPM_MGT_ADDR_S));
    if (code != 0) {
        kL2tpApi.last_word(1227_ln, code);
        block.free_at(1228);
        return code;
    }
    reply->acMgtAddr[sizeof reply->acMgtAddr - 1] = '\0';
    ZX_OS_StrNCpy_S(address, sizeof address, reply->acMgtAddr, sizeof address - 1);
    std::memcpy(&port, &reply->uiMgtPort, sizeof port);
    block.free_at(1234);
    return 0;
}

uint32_t resolve(const char* domain, ZX_TARN_DNS_REPLY_S& reply) {
    ZX_TARN_DNS_REQ_S request{};
    ZX_OS_StrNCpy_S(request.acDomain, sizeof request.acDomain, domain, sizeof request.acDomain - 1);
    return L2TP_MSG_RpcCall_JNI(ZX_TARN_RPC_RESOLVE_DOMAIN, &request, sizeof request, &reply, sizeof reply);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// VPN address lists and tunnel status
// ---------------------------------------------------------------------------------------------

extern "C" uint32_t ZX_TARN_SetVpnDestAddr(uint32_t isDelete, const char* list, uint32_t listLen,
                                           const char* lnsAddress, const char* userName, const char* password,
                                           const char* tunnelName) {
    return set_vpn_addr(kDestList, isDelete, list, listLen, lnsAddress, userName, password, tunnelName);
}

extern "C" uint32_t ZX_TARN_SetVpnSrcAddr(uint32_t isDelete, const char* list, uint32_t listLen, const char* lnsAddress,
                                          const char* userName, const char* password, const char* tunnelName) {
    return set_vpn_addr(kSrcList, isDelete, list, listLen, lnsAddress, userName, password, tunnelName);
}

extern "C" uint32_t ZX_TARN_AddVpnDestAddr(const char* list, uint32_t listLen, const char* lnsAddress,
                                           const char* userName, const char* password, const char* tunnelName) {
    return ZX_TARN_SetVpnDestAddr(0, list, listLen, lnsAddress, userName, password, tunnelName);
}

extern "C" uint32_t ZX_TARN_DelVpnDestAddr(const char* list, uint32_t listLen, const char* lnsAddress,
                                           const char* userName, const char* password, const char* tunnelName) {
    return ZX_TARN_SetVpnDestAddr(1, list, listLen, lnsAddress, userName, password, tunnelName);
}

extern "C" uint32_t ZX_TARN_AddVpnSrcAddr(const char* list, uint32_t listLen, const char* lnsAddress,
                                          const char* userName, const char* password, const char* tunnelName) {
    return ZX_TARN_SetVpnSrcAddr(0, list, listLen, lnsAddress, userName, password, tunnelName);
}

extern "C" uint32_t ZX_TARN_DelVpnSrcAddr(const char* list, uint32_t listLen, const char* lnsAddress,
                                          const char* userName, const char* password, const char* tunnelName) {
    return ZX_TARN_SetVpnSrcAddr(1, list, listLen, lnsAddress, userName, password, tunnelName);
}

extern "C" uint32_t ZX_TARN_GetTunnelStatusByName(const char* name, uint32_t* status) {
    if (!name || !status) {
        kL2tpApi.last_word(502_ln, ZX_TARN_ERR_PARAM);
        return ZX_TARN_ERR_PARAM;
    }
    uint32_t code =
        L2TP_MSG_RpcCall_JNI(ZX_TARN_RPC_GET_TUNNEL_STATUS, name, text_len(name) + 1, status, sizeof *status);
    if (code != 0) kL2tpApi.last_word(505_ln, code);
    return code;
}

// ---------------------------------------------------------------------------------------------
// Tunnel set-up and tear-down, traffic monitoring
// ---------------------------------------------------------------------------------------------

extern "C" uint32_t ZX_TARN_SetupVpn(const char* lnsAddress, uint16_t port, const char* userName, const char* password,
                                     char* tunnelNameOut) {
    char reply[64];
    ZX_OS_MemSet_S(reply, sizeof reply, 0, sizeof reply);
    if (!lnsAddress || !userName || !password) {
        kL2tpApi.last_word(715_ln, ZX_TARN_ERR_PARAM);
        return ZX_TARN_ERR_PARAM;
    }
    kL2tpApi.trace(717_ln, "ip[%s]\r\n", lnsAddress);
    ZX_TARN_VPN_REQ_S request;
    ZX_OS_MemSet_S(&request, sizeof request, 0, sizeof request);
    if (text_len(lnsAddress) >= sizeof request.acLnsAddr || text_len(userName) >= sizeof request.acPppUser ||
        text_len(password) >= sizeof request.acPppPass) {
        kL2tpApi.trace(727_ln, "Parameter is over max length! DstIpStr[%s], PppUser[%s], PppPass[%s]\r\n", lnsAddress,
                       userName, password);
        return ZX_TARN_ERR_PARAM;
    }
    ZX_OS_StrNCpy_S(request.acLnsAddr, sizeof request.acLnsAddr, lnsAddress, sizeof request.acLnsAddr - 1);
    request.usPort = port;
    ZX_OS_StrNCpy_S(request.acPppUser, sizeof request.acPppUser, userName, sizeof request.acPppUser - 1);
    ZX_OS_StrNCpy_S(request.acPppPass, sizeof request.acPppPass, password, sizeof request.acPppPass - 1);
    uint32_t code = L2TP_MSG_RpcCall_JNI(ZX_TARN_RPC_VPN_SETUP, &request, sizeof request, reply, sizeof reply);
    // The request carried the password; it does not stay on the stack.
    ZX_OS_MemSet_S(&request, sizeof request, 0, sizeof request);
    if (code != 0) {
        kL2tpApi.last_word(747_ln, code);
        return code;
    }
    if (tunnelNameOut) put_text(tunnelNameOut, reply, static_cast<uint32_t>(strnlen(reply, sizeof reply - 1)));
    return 0;
}

extern "C" uint32_t ZX_TARN_DisconnectVpn(const char* lnsAddress, const char* userName, const char* password,
                                          const char* tunnelName) {
    kL2tpApi.trace(780_ln, "ip[%s] tunnel[%s]\r\n", shown(lnsAddress), tunnelName ? tunnelName : kNoTunnel);
    ZX_TARN_VPN_REQ_S request;
    ZX_OS_MemSet_S(&request, sizeof request, 0, sizeof request);
    bool ok = put_teardown_field(request.acLnsAddr, sizeof request.acLnsAddr, lnsAddress, 788_ln,
                                 "DstIpStr[%s] length is invilid! \r\n") &&
              put_teardown_field(request.acPppUser, sizeof request.acPppUser, userName, 800_ln,
                                 "PppUser[%s] length is invilid! \r\n") &&
              put_teardown_field(request.acPppPass, sizeof request.acPppPass, password, 812_ln,
                                 "PppPass[%s] length is invilid! \r\n") &&
              put_teardown_field(request.acTunnelName, sizeof request.acTunnelName, tunnelName, 824_ln,
                                 "pacTunnelName[%s] length is invilid! \r\n");
    uint32_t code = ZX_TARN_ERR_PARAM;
    if (ok) {
        uint32_t reply = 0;
        code = L2TP_MSG_RpcCall_JNI(ZX_TARN_RPC_VPN_TEARDOWN, &request, sizeof request, &reply, sizeof reply);
        if (code != 0) kL2tpApi.last_word(832_ln, code);
    }
    ZX_OS_MemSet_S(&request, sizeof request, 0, sizeof request);
    return code;
}

extern "C" uint32_t ZX_TARN_TrafficMonitoringNotifyAppM(const char* list, uint32_t listLen, const char* bundleName,
                                                        uint32_t, uint32_t op) {
    ZX_APPM_TRAFFIC_NOTICE_S notice;
    ZX_OS_MemSet_S(&notice, sizeof notice, 0, sizeof notice);
    uint32_t size = listLen + 130;
    zxjni::PlatformBuffer payload(size, kFile, 542);
    if (!payload) {
        kL2tpApi.last_word(545_ln, ZX_JNI_ERR_NOMEM, size, listLen, 0, 0);
        return ZX_JNI_ERR_NOMEM;
    }
    auto* head = reinterpret_cast<ZX_APPM_TRAFFIC_NOTICE_HEAD_S*>(payload.get());
    head->ucAdd = op == 1 ? 1 : 0;
    ZX_OS_StrNCpy_S(head->acBundleName, sizeof head->acBundleName, bundleName, sizeof head->acBundleName - 1);
    put_text(payload.get() + sizeof *head, list, listLen);
    uint32_t code = L2TP_API_WriteVData(&notice.stVData, payload.get(), size);
    if (code != 0) {
        kL2tpApi.last_word(569_ln, code);
        payload.free_at(570);
        return code;
    }
    notice.uiFlag = 1;
    // One-way: app_m only takes note, nothing waits for it.
    (void)ZX_MSG_AsyncSendData(ZX_APPM_ENDPOINT, ZX_APPM_NOTICE_TRAFFIC_MONITOR, &notice, sizeof notice);
    payload.free_at(577);
    return 0;
}

extern "C" uint32_t ZX_TARN_TrafficMonitoringDestAddrOper(const char* list, uint32_t listLen, const char* bundleName,
                                                          uint32_t bundleNameLen, uint32_t op) {
    if (!list || listLen == 0) {
        kL2tpApi.last_word(609_ln, ZX_TARN_ERR_PARAM);
        return ZX_TARN_ERR_PARAM;
    }
    if (!bundleName || bundleNameLen == 0) {
        kL2tpApi.last_word(610_ln, ZX_TARN_ERR_PARAM);
        return ZX_TARN_ERR_PARAM;
    }
    kL2tpApi.trace_at(kTrafficLevel, 612_ln, "BundleName [%s] Act [%s]\r\n", bundleName, op == 1 ? "add" : "del");
    kL2tpApi.trace_at(kTrafficLevel, 613_ln, "AddrStrList [%s]\r\n", list);
    ZX_TARN_TRAFFIC_REQ_S request;
    ZX_OS_MemSet_S(&request, sizeof request, 0, sizeof request);
    uint32_t l = text_len(list), b = text_len(bundleName);
    if (l != listLen || b != bundleNameLen) {
        kL2tpApi.last_word(620_ln, ZX_TARN_ERR_PARAM, listLen, l, bundleNameLen, b);
        return ZX_TARN_ERR_PARAM;
    }
    // app_m hears of the change before tarn has accepted it; its answer does not matter.
    (void)ZX_TARN_TrafficMonitoringNotifyAppM(list, listLen, bundleName, bundleNameLen, op);
    ZX_OS_StrNCpy_S(request.acBundleName, sizeof request.acBundleName, bundleName, sizeof request.acBundleName - 1);
    uint32_t code = L2TP_API_WriteVData(&request.stVData, list, l + 1);
    if (code != 0) {
        kL2tpApi.last_word(634_ln, code, l + 1, 0, 0, 0);
        return code;
    }
    uint32_t reply = 0;
    code = L2TP_MSG_RpcCall_JNI(op == 1 ? ZX_TARN_RPC_TRAFFIC_MONITOR_ADD : ZX_TARN_RPC_TRAFFIC_MONITOR_DEL, &request,
                                sizeof request, &reply, sizeof reply);
    if (code != 0) kL2tpApi.last_word(640_ln, code);
    return code;
}

extern "C" uint32_t ZX_TARN_AddTrafficMonitoringDestAddr(const char* list, uint32_t listLen, const char* bundleName,
                                                         uint32_t bundleNameLen) {
    return ZX_TARN_TrafficMonitoringDestAddrOper(list, listLen, bundleName, bundleNameLen, 1);
}

extern "C" uint32_t ZX_TARN_DelTrafficMonitoringDestAddr(const char* list, uint32_t listLen, const char* bundleName,
                                                         uint32_t bundleNameLen) {
    return ZX_TARN_TrafficMonitoringDestAddrOper(list, listLen, bundleName, bundleNameLen, 2);
}

// ---------------------------------------------------------------------------------------------
// DNS forwarding
// ---------------------------------------------------------------------------------------------

extern "C" uint32_t ZX_TARN_AddDnsForward(const char* data, uint32_t dataLen, const char* forwardIp) {
    if (!data || !forwardIp) {
        kL2tpApi.last_word(859_ln, ZX_TARN_ERR_PARAM);
        return ZX_TARN_ERR_PARAM;
    }
    TunnelVDataRecord record;
    ZX_OS_MemSet_S(&record, sizeof record, 0, sizeof record);
    uint32_t n = text_len(data), s = text_len(forwardIp);
    if (n != dataLen || n == 0 || s >= 16) {
        kL2tpApi.last_word(865_ln, ZX_TARN_ERR_PARAM, n, dataLen, s, 0);
        return ZX_TARN_ERR_PARAM;
    }
    kL2tpApi.trace_at(kDnsLevel, 869_ln, "%s[%d] %s\r\n", data, static_cast<int32_t>(dataLen), forwardIp);
    uint32_t size = n + 2 + s;
    zxjni::PlatformBuffer payload(size, kFile, kDnsAdd.alloc);
    if (!payload) {
        kL2tpApi.last_word(kDnsAdd.allocFail, ZX_TARN_ERR_PARAM, size, 0, 0, 0);
        return ZX_TARN_ERR_PARAM;
    }
    put_text(put_text(payload.get(), data, n), forwardIp, s);
    return send_dns_payload(kDnsAdd, payload, size);
}

extern "C" uint32_t ZX_TARN_DelDnsForward(const char* data, uint32_t dataLen) {
    if (!data) {
        kL2tpApi.last_word(921_ln, ZX_TARN_ERR_PARAM);
        return ZX_TARN_ERR_PARAM;
    }
    uint32_t n = text_len(data);
    if (n != dataLen || n == 0) {
        kL2tpApi.last_word(927_ln, ZX_TARN_ERR_PARAM, n, dataLen, 0, 0);
        return ZX_TARN_ERR_PARAM;
    }
    kL2tpApi.trace_at(kDnsLevel, 931_ln, "%s[%d] \r\n", data, static_cast<int32_t>(dataLen));
    uint32_t size = n + 1;
    zxjni::PlatformBuffer payload(size, kFile, kDnsDel.alloc);
    if (!payload) {
        kL2tpApi.last_word(kDnsDel.allocFail, ZX_TARN_ERR_PARAM, size, 0, 0, 0);
        return ZX_TARN_ERR_PARAM;
    }
    put_text(payload.get(), data, n);
    return send_dns_payload(kDnsDel, payload, size);
}

extern "C" uint32_t ZX_TARN_GetDnsForwardStatistic(const char* forwardIp, uint32_t* count) {
    if (!forwardIp || !count) {
        kL2tpApi.last_word(983_ln, ZX_TARN_ERR_PARAM);
        return ZX_TARN_ERR_PARAM;
    }
    char request[256];
    ZX_OS_MemSet_S(request, sizeof request, 0, sizeof request);
    uint32_t length = text_len(forwardIp);
    kL2tpApi.trace_at(kDnsLevel, 987_ln, "%s[%d]\r\n", forwardIp, static_cast<int32_t>(length));
    if (length > sizeof request - 1) {
        kL2tpApi.last_word(991_ln, ZX_TARN_ERR_PARAM, length, 0, 0, 0);
        return ZX_TARN_ERR_PARAM;
    }
    ZX_OS_StrNCpy_S(request, sizeof request, forwardIp, sizeof request - 1);
    uint32_t reply = 0;
    uint32_t code = L2TP_MSG_RpcCall_JNI(ZX_TARN_RPC_DNS_FORWARD_STATISTIC, request, length + 1, &reply, sizeof reply);
    if (code != 0) {
        kL2tpApi.last_word(997_ln, code);
        return code;
    }
    *count = reply;
    return 0;
}

// ---------------------------------------------------------------------------------------------
// Device information
// ---------------------------------------------------------------------------------------------

extern "C" uint32_t ZX_TARN_GetInternetWanIp(char* out, uint32_t size) {
    if (!out) {
        kL2tpApi.last_word(1023_ln, ZX_TARN_ERR_PARAM);
        return ZX_TARN_ERR_PARAM;
    }
    if (size <= 15) {
        kL2tpApi.last_word(1027_ln, ZX_TARN_ERR_TOO_LONG, size, 15, 0, 0);
        return ZX_TARN_ERR_TOO_LONG;
    }
    char reply[512];
    ZX_OS_MemSet_S(reply, sizeof reply, 0, sizeof reply);
    uint32_t code = size_request(ZX_TARN_RPC_GET_WAN_IP, size, reply, sizeof reply);
    if (code != 0) {
        kL2tpApi.last_word(1036_ln, code);
        return code;
    }
    reply[sizeof reply - 1] = '\0';
    ZX_OS_StrNCpy_S(out, size, reply, size - 1);
    kL2tpApi.trace(1040_ln, "%s[%d] \r\n", out, static_cast<int32_t>(text_len(out)));
    return 0;
}

extern "C" uint32_t ZX_TARN_GetOntMac(char* out, uint32_t size) {
    if (!out) {
        kL2tpApi.last_word(1126_ln, ZX_TARN_ERR_PARAM);
        return ZX_TARN_ERR_PARAM;
    }
    if (size <= 12) {
        kL2tpApi.last_word(1130_ln, ZX_TARN_ERR_TOO_LONG, size, 12, 0, 0);
        return ZX_TARN_ERR_TOO_LONG;
    }
    uint32_t code = size_request(ZX_TARN_RPC_GET_ONT_MAC, size, out, size);
    if (code != 0) {
        kL2tpApi.last_word(1137_ln, code);
        return code;
    }
    out[size - 1] = '\0';  // a service filling the whole buffer still leaves a text
    kL2tpApi.trace(1139_ln, "%s[%d] \r\n", out, static_cast<int32_t>(text_len(out)));
    return 0;
}

extern "C" uint32_t ZX_TARN_GetPppoeUserName(char* out, uint32_t size) {
    if (!out) {
        kL2tpApi.last_word(1050_ln, ZX_TARN_ERR_PARAM);
        return ZX_TARN_ERR_PARAM;
    }
    if (size <= 63) {
        kL2tpApi.last_word(1054_ln, ZX_TARN_ERR_TOO_LONG, size, 63, 0, 0);
        return ZX_TARN_ERR_TOO_LONG;
    }
    ZX_TARN_PPPOE_USER_S reply;
    ZX_OS_MemSet_S(&reply, sizeof reply, 0, sizeof reply);
    uint32_t code = size_request(ZX_TARN_RPC_GET_PPPOE_USER, size, &reply, sizeof reply);
    if (code != 0) {
        kL2tpApi.last_word(1062_ln, code);
        return code;
    }
    uint32_t length = static_cast<uint32_t>(strnlen(reply.acUserName, sizeof reply.acUserName));
    ZX_OS_StrNCpy_S(out, size, reply.acUserName, length < size - 1 ? length : size - 1);
    return 0;
}

extern "C" uint32_t ZX_TARN_getDevicePPPoENameAndWANIP(const char* connection, char* out, uint32_t size) {
    if (!connection || !out) {
        kL2tpApi.last_word(1074_ln, ZX_TARN_ERR_PARAM);
        return ZX_TARN_ERR_PARAM;
    }
    ZX_OS_MemSet_S(out, size, 0, size);
    ZX_APPM_PPPOE_WAN_S record;
    ZX_OS_MemSet_S(&record, sizeof record, 0, sizeof record);
    ZX_OS_StrNCpy_S(record.acConnName, sizeof record.acConnName, connection, sizeof record.acConnName - 1);
    uint32_t code = L2TP_APPM_MSG_RpcCall(ZX_APPM_RPC_GET_PPPOE_WAN, &record, sizeof record, &record, sizeof record);
    // The answer is built from the record even when the call failed.
    if (code != 0) kL2tpApi.last_word(1087_ln, code);
    char text[192];
    ZX_OS_MemSet_S(text, sizeof text, 0, sizeof text);
    ZX_OS_Snprintf_S(text, sizeof text, sizeof text - 1, "{\"Result\":0, \"PPPoEName\":\"%.*s\" ,\"WANIP\":\"%.*s\" }",
                     static_cast<int>(sizeof record.acPppoeName), record.acPppoeName,
                     static_cast<int>(sizeof record.acWanIp), record.acWanIp);
    uint32_t length = text_len(text);
    if (size < length + 1) {
        kL2tpApi.last_word(1095_ln, ZX_TARN_ERR_TOO_LONG, size, length, 0, 0);
        return ZX_TARN_ERR_TOO_LONG;
    }
    ZX_OS_StrNCpy_S(out, size, text, size - 1);
    kL2tpApi.trace(1101_ln, "%s \r\n", out);
    return 0;
}

extern "C" uint32_t ZX_TARN_getDeviceWLANChannel(char* out, uint32_t size) {
    if (!out) {
        kL2tpApi.last_word(1165_ln, ZX_TARN_ERR_PARAM);
        return ZX_TARN_ERR_PARAM;
    }
    uint32_t request = 0;
    uint32_t channel = 0;
    uint32_t code =
        L2TP_APPM_MSG_RpcCall(ZX_APPM_RPC_GET_WLAN_CHANNEL, &request, sizeof request, &channel, sizeof channel);
    if (code != 0) {
        kL2tpApi.last_word(1169_ln, code);
        return code;
    }
    ZX_OS_Snprintf_S(out, size, size - 1, "%d", static_cast<int32_t>(channel));
    kL2tpApi.trace(1173_ln, "Channel:[%d] \r\n", static_cast<int32_t>(channel));
    return 0;
}

extern "C" uint32_t ZX_TARN_getDeviceCloudAddress(char* out, uint32_t size) {
    zxjni::PlatformBuffer block(sizeof(ZX_APPM_MGT_ADDR_S), kFile, 1261);
    if (!block) {
        kL2tpApi.last_word(1262_ln, ZX_TARN_ERR_PARAM);
        return ZX_TARN_ERR_PARAM;
    }
    auto* reply = reinterpret_cast<ZX_APPM_MGT_ADDR_S*>(block.get());
    uint32_t request = 0;
    uint32_t code =
        L2TP_APPM_MSG_RpcCall(ZX_APPM_RPC_GET_MGT_ADDRESS, &request, sizeof request, reply, sizeof(ZX_APPM_MGT_ADDR_S));
    if (code != 0) {
        kL2tpApi.last_word(1269_ln, code);
        return code;
    }
    // The size is held against the text at the start of the reply, not against the address.
    uint32_t length = static_cast<uint32_t>(strnlen(block.get(), sizeof(ZX_APPM_MGT_ADDR_S)));
    if (size < length + 1) {
        kL2tpApi.last_word(1278_ln, ZX_TARN_ERR_TOO_LONG, size, length, 0, 0);
        return ZX_TARN_ERR_TOO_LONG;
    }
    reply->acMgtAddr[sizeof reply->acMgtAddr - 1] = '\0';
    ZX_OS_StrNCpy_S(out, size, reply->acMgtAddr, size - 1);
    return 0;
}

extern "C" uint32_t ZX_TARN_getDnsIpList(const ZX_TARN_DNS_REPLY_S* reply, char* out, uint32_t size) {
    if (reply->uiNum == 0) {
        kL2tpApi.last_word(1315_ln, ZX_TARN_ERR_PARAM);
        return ZX_TARN_ERR_PARAM;
    }
    uint32_t num = reply->uiNum < 64 ? reply->uiNum : 64;
    char list[512];
    ZX_OS_MemSet_S(list, sizeof list, 0, sizeof list);
    for (uint32_t i = 0; i < num; ++i) {
        uint32_t ip = ntohl(reply->auiIpAddr[i]);
        char text[32];
        ZX_OS_MemSet_S(text, sizeof text, 0, sizeof text);
        ZX_OS_IpAddrToStr(ip, text, sizeof text);
        kL2tpApi.trace_at(kDnsLevel, i == 0 ? 1320_ln : 1332_ln, "uiIpAddr:0x%x, acIpAddr:%s\r\n", ip, text);
        if (i != 0) ZX_OS_StrNCat_S(list, sizeof list, ",", 1);
        ZX_OS_StrNCat_S(list, sizeof list, text, sizeof text);
    }
    kL2tpApi.trace_at(kDnsLevel, 1338_ln, "Num:%d, PlugIpList[%s]\r\n", static_cast<int32_t>(reply->uiNum), list);
    ZX_OS_StrNCpy_S(out, size, list, size - 1);
    return 0;
}

extern "C" uint32_t ZX_TARN_getDnsAnalysis(const char* domain, char* out, uint32_t size) {
    if (!domain || !*domain || !out) {
        kL2tpApi.last_word(1366_ln, ZX_TARN_ERR_PARAM);
        return ZX_TARN_ERR_PARAM;
    }
    if (ZX_OS_IsValidIpAddress(domain) == 1) {
        ZX_OS_StrNCpy_S(out, size, domain, size - 1);
        return 0;
    }
    ZX_TARN_DNS_REPLY_S reply{};
    uint32_t code = resolve(domain, reply);
    if (code != 0) {
        kL2tpApi.last_word(1386_ln, code);
        return code;
    }
    code = ZX_TARN_getDnsIpList(&reply, out, size);
    if (code != 0) kL2tpApi.last_word(1392_ln, code);
    return code;
}

extern "C" uint32_t ZX_TARN_getDeviceCloudAddressAndPort(char* out, uint32_t size) {
    char address[257] = {};
    uint32_t port = 0;
    uint32_t code = get_mgt_address(address, port);
    if (code != 0) {
        kL2tpApi.last_word(1427_ln, code);
        return code;
    }
    uint32_t length = text_len(address);
    if (length + 1 > size) {
        kL2tpApi.last_word(1434_ln, ZX_TARN_ERR_TOO_LONG, size, length, 0, 0);
        return ZX_TARN_ERR_TOO_LONG;
    }
    kL2tpApi.trace_at(kDnsLevel, 1438_ln, "aucCurMgtUrl:%s[port: %u]\r\n", address, port);
    if (ZX_OS_IsValidIpAddress(address) == 1) {
        ZX_OS_Snprintf_S(out, size, size - 1, "%s:%u", address, port);
        return 0;
    }
    ZX_TARN_DNS_REPLY_S reply{};
    code = resolve(address, reply);
    if (code != 0) {
        kL2tpApi.last_word(1459_ln, code);
        return code;
    }
    uint32_t ip = ntohl(reply.auiIpAddr[0]);
    char text[32] = {};
    ZX_OS_IpAddrToStr(ip, text, sizeof text);
    kL2tpApi.trace_at(kDnsLevel, 1465_ln, "IP: %s, Num:%d, uiIpAddr:0x%x, acIpAddr:%s\r\n", address,
                      static_cast<int32_t>(reply.uiNum), ip, text);
    ZX_OS_Snprintf_S(out, size, size - 1, "%s:%u", text, port);
    return 0;
}

extern "C" uint32_t ZX_TARN_getDeviceLANIP(char* out, uint32_t size) {
    if (!out) {
        kL2tpApi.last_word(1543_ln, ZX_TARN_ERR_PARAM);
        return ZX_TARN_ERR_PARAM;
    }
    if (size <= 15) {
        kL2tpApi.last_word(1548_ln, ZX_TARN_ERR_TOO_LONG, size, 15, 0, 0);
        return ZX_TARN_ERR_TOO_LONG;
    }
    uint32_t ip = 0;
    uint8_t mac[6] = {};
    uint32_t code = ZX_OS_GetIfIpAndMac("br0", &ip, mac);
    if (code != 0) {
        kL2tpApi.last_word(1556_ln, ZX_TARN_ERR_TOO_LONG);
        return code;
    }
    char text[16];
    ZX_OS_MemSet_S(text, sizeof text, 0, sizeof text);
    // The address is in network order: its first octet is the lowest byte.
    ZX_OS_Snprintf_S(text, sizeof text, sizeof text - 1, "%u.%u.%u.%u", ip & 0xFF, (ip >> 8) & 0xFF, (ip >> 16) & 0xFF,
                     ip >> 24);
    ZX_OS_StrNCpy_S(out, size, text, size - 1);
    return 0;
}

extern "C" uint32_t ZX_VELM_getDevicePhyInfo(char* out, uint32_t size) {
    uint32_t request = 0;
    uint32_t code = L2TP_APPM_MSG_RpcCall(ZX_APPM_RPC_GET_PHY_INFO, &request, sizeof request, out, size);
    if (code != 0) kL2tpApi.last_word(1480_ln, code);
    return code;
}

extern "C" uint32_t ZX_VELM_getDeviceUpdateState(char* out, uint32_t size) {
    FILE* fp = ZX_OS_Fopen(kUpgradeStatusFile, "r");
    if (!fp) {
        kL2tpApi.trace(1495_ln, "ZX_VELM_getDeviceUpdateState fopen is null.");
        ZX_OS_Snprintf_S(out, size, size - 1, "%d", static_cast<int32_t>(kUpgradeStateUnknown));
        return 0;
    }
    int state = 0, needNotify = 0, rebootCnt = 0;
    (void)std::fscanf(fp, "State:%d NeedNotify:%d RebootCnt:%d \r\n", &state, &needNotify, &rebootCnt);
    kL2tpApi.trace(1502_ln, "ZX_VELM_getDeviceUpdateState[State:%d]\r\n", state);
    ZX_OS_Snprintf_S(out, size, size - 1, "%d", state);
    return static_cast<uint32_t>(ZX_OS_Fclose(fp));
}
