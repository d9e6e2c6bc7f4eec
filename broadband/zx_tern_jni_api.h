/*
 * Broadband API: LAN hosts (the configuration service "app_m" through APPM_JNI_MSG_RpcCall, the host
 * count and host counters from the broadband service "tarn" through TERN_JNI_MSG_RpcCall), WAN facts
 * and L2TP tunnels (delegated to the tunnel API in l2tp/, server port 1701), HTTP forwarding (the
 * broadband service) and WAN access (NAT) rules (the configuration service). Nothing is kept between
 * calls; the services keep the state.
 */
#ifndef ZX_TERN_JNI_API_H
#define ZX_TERN_JNI_API_H

#include <stdint.h>

#include "zx_bridge.h"
#include "zx_wire_app_m.h"
#include "zx_wire_common.h"
#include "zx_wire_tarn.h"

#ifdef __cplusplus
extern "C" {
#endif

#define ZX_TERN_L2TP_SERVER_PORT 1701u     /* the L2TP server port every tunnel is set up with */
#define ZX_TERN_NET_INFO_HOST_LEN 512u     /* host list reply bytes per host */
#define ZX_TERN_NET_INFO_MAX_LEN 38912u    /* host list reply cap (76 hosts) */
#define ZX_TERN_MAC_TEXT_LEN 18u           /* colon-form MAC text with its terminator */

/* ---- LAN hosts ---- */

/* The number of LAN hosts in *puiCount (0 when the call fails); the remote call's status, 1 when no
 * memory. puiCount must not be null. */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_Cfg_GetHostNum(uint32_t* puiCount);
/* The host list as a newly allocated JSON text in *ppcInfo (the caller frees it); 0, or 1 for a null
 * ppcInfo or no memory. */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_lanGetNetInfo(char** ppcInfo);
/* Sets a device's two access permissions (0/1 each, sent as "ON"/"OFF"); the service's JSON or the
 * failure JSON in pcOut. 0, or 1 for a null device. */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_lanSetDevAccessPermission(const char* pcDev, int32_t iFirst, int32_t iSecond,
                                                           char* pcOut, uint32_t uiOutLen);
/* The black lists, written by the service straight into pcOut: 0, or 1 for a null pcOut / zero length. */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_lanGetDevInternetAccessBlacklist(char* pcOut, uint32_t uiOutLen);
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_lanGetDevStorageAccessBlacklist(char* pcOut, uint32_t uiOutLen);
/* The devices' bandwidth as the service's JSON: 0, or 1 for a null pcOut / zero length. */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_lanGetDevBandwidth(char* pcOut, uint32_t uiOutLen);
/* Switches per-device statistics (the value is sent as given): 0, or 1 for a null pcOut / zero length. */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_lanSetDevStatsStatus(int32_t iEnable, char* pcOut, uint32_t uiOutLen);
/* One host's counters by MAC text: {"Result":0,"UsStats":..,"DsStats":..} and 0; the remote call's
 * status with pcOut untouched; 1 for a null MAC text. */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_GetLANHostStats(const char* pcMacText, char* pcOut, uint32_t uiOutLen);
/* "aa:bb:cc:dd:ee:ff" to 6 bytes (unparsed fields 0, low byte of each field): 0, 1 for a null pointer. */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_MacStrToArr(const char* pcMacText, uint8_t aucMac[6]);
/* 12 hex digits to the colon form in pcDst (18 bytes; terminator always at position 17). */
ZX_BRIDGE_EXPORT void TransferMacFormat(const char* pcSrc, char* pcDst);

/* ---- WAN and L2TP tunnels ---- */

ZX_BRIDGE_EXPORT uint32_t ZX_JNI_wanGetIfStats(char* pcOut, uint32_t uiOutLen);
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_sysGetIpAddr(char* pcOut, uint32_t uiOutLen);
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_wanGetPppoeAccount(char* pcOut, uint32_t uiOutLen);
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_wanCreateL2tpTunnel(const char* pcServer, const char* pcUser, const char* pcPassword,
                                                     char* pcOut, uint32_t uiOutLen);
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_wanRemoveL2tpTunnel(const char* pcTunnelName, char* pcOut, uint32_t uiOutLen);
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_wanAttachL2tpTunnel(const char* pcTunnelName, const char* pcAddrStrList,
                                                     uint32_t uiAddrListLen, char* pcOut, uint32_t uiOutLen);
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_wanDetachL2tpTunnel(const char* pcTunnelName, const char* pcAddrStrList,
                                                     uint32_t uiAddrListLen, char* pcOut, uint32_t uiOutLen);
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_wanGetL2tpTunnelStatus(const char* pcTunnelName, char* pcOut, uint32_t uiOutLen);

/* ---- HTTP forwarding and WAN access rules ---- */

/* Starts forwarding (init, white list, always-forward rules, default rule; a failing step stops there
 * and nothing sent before is undone): 0 or 1. uiDenyOtherPackage is accepted and not sent. */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_httpForwardStart(uint32_t uiSsid, uint32_t uiDefaultForwardPort, char** ppcWhiteList,
                                                  uint32_t uiWhiteCount, char** ppcAlwaysList, uint32_t uiAlwaysCount,
                                                  uint32_t uiAlwaysForwardPort, uint32_t uiDenyOtherPackage);
/* Admits one source address: 0 or 1 (null or empty address, or the call failed). */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_httpForwardSetAuth(const char* pcSrcAddr);
/* Stops forwarding: 0 or 1. */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_httpForwardStop(void);
/* Adds (1) or deletes (0) a WAN access rule: 1 for a null text, an invalid address or a port above
 * 65535; else the remote call's status. */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_ipcSetNatInfo(uint32_t uiOperation, const char* pcAddr1, const char* pcAddr2,
                                               uint32_t uiPort, const char* pcText3);

#ifdef __cplusplus
}
#endif

#endif
