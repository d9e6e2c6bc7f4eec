/*
 * Tunnel and device-information API: VPN destination and source address lists, tunnel set-up and
 * tear-down, traffic monitoring, DNS forwarding, and the device's addresses, names and upgrade
 * state. The broadband service "tarn" does most of the work; "app_m" and "cwmp" answer the device
 * queries. Every record of this unit names the source "l2tp_api".
 */
#ifndef L2TP_API_H
#define L2TP_API_H

#include <stdint.h>

#include "zx_bridge.h"

#ifdef __cplusplus
extern "C" {
#endif

#define ZX_TARN_ERR_PARAM 1u      /* a missing or invalid argument */
#define ZX_TARN_ERR_TOO_LONG 257u /* an argument over its length limit, or the caller's buffer too small */

/* Message ids of the tunnel API at "tarn". */
#define ZX_TARN_MSG_DNS_FWD_ADD 0x48304170u
#define ZX_TARN_MSG_DNS_FWD_DEL 0x48304171u
#define ZX_TARN_MSG_DNS_FWD_STAT 0x48304172u
#define ZX_TARN_MSG_TRAFFIC_ADD 0x48304173u
#define ZX_TARN_MSG_TRAFFIC_DEL 0x48304174u
#define ZX_TARN_MSG_VPN_SETUP 0x48304180u
#define ZX_TARN_MSG_VPN_TEARDOWN 0x48304181u
#define ZX_TARN_MSG_VPN_ADDR_ADD 0x48304182u
#define ZX_TARN_MSG_VPN_ADDR_DEL 0x48304183u
#define ZX_TARN_MSG_WAN_IP 0x48304184u
#define ZX_TARN_MSG_ONT_MAC 0x48304185u
#define ZX_TARN_MSG_PPPOE_USER 0x48304186u
#define ZX_TARN_MSG_TUNNEL_STATUS 0x48304187u
#define ZX_TARN_MSG_DNS_RESOLVE 0x4730B000u
/* At "app_m". */
#define ZX_APPM_MSG_MGT_ADDRESS 0x47102041u
#define ZX_APPM_MSG_WLAN_CHANNEL 0x47103053u
#define ZX_APPM_MSG_PPPOE_WAN 0x47103054u
#define ZX_APPM_MSG_PHY_INFO 0x4710307Du
#define ZX_APPM_MSG_TRAFFIC_NOTICE 39u /* one-way */
/* At "cwmp". */
#define ZX_CWMP_MSG_MGT_ADDRESS 0x47220007u

/* The list-kind word of an address-list payload. */
#define ZX_TARN_VPN_LIST_DEST 0u
#define ZX_TARN_VPN_LIST_SRC 1u

#pragma pack(push, 1)
/* Tunnel set-up and tear-down request. */
typedef struct {
    char acLnsAddr[256];
    char acPppUser[64];
    char acPppPass[64];
    char acTunnelName[64]; /* tear-down only */
    uint16_t usPort;       /* set-up only */
} ZX_TARN_VPN_REQ_S;

/* Traffic-monitoring request: the block holding the destination list and its NUL, and the bundle. */
typedef struct {
    TunnelVDataRecord stVData;
    char acBundleName[256];
} ZX_TARN_TRAFFIC_REQ_S;

/* One-way notice to "app_m" about a traffic-monitoring change; the block holds the notice payload. */
typedef struct {
    TunnelVDataRecord stVData;
    uint32_t uiFlag; /* 1 */
} ZX_TARN_TRAFFIC_NOTICE_S;

/* Head of the notice payload; the address list and its NUL follow. */
typedef struct {
    uint8_t ucAdd; /* 1 add, 0 delete */
    char acBundleName[128];
} ZX_TARN_TRAFFIC_NOTICE_HEAD_S;

/* PPPoE name and WAN address of a connection, answered in place. */
typedef struct {
    char acConnName[64];
    char acWanIp[128];
    char acPppoeName[64];
} ZX_APPM_PPPOE_WAN_S;

/* Reply of the PPPoE user-name query. */
typedef struct {
    uint8_t aucResv[128];
    char acUserName[64];
} ZX_TARN_PPPOE_USER_S;

/* Reply of the management-address query at "app_m". */
typedef struct {
    uint8_t aucResv1[305];
    char acMgtAddr[257];
    uint32_t uiMgtPort;
    uint8_t aucResv2[1777];
} ZX_APPM_MGT_ADDR_S;

/* Reply of the management-address query at "cwmp". */
typedef struct {
    char acMgtAddr[257];
    char acMgtPort[257]; /* decimal text */
} ZX_CWMP_MGT_ADDR_S;

/* Domain resolution: the request carries the name, the reply up to 64 addresses in network order. */
typedef struct {
    char acDomain[256];
    uint32_t uiResv;
} ZX_TARN_DNS_REQ_S;

typedef struct {
    uint32_t auiIpAddr[64];
    uint32_t uiNum;
} ZX_TARN_DNS_REPLY_S;
#pragma pack(pop)

#ifdef __cplusplus
static_assert(sizeof(ZX_TARN_VPN_REQ_S) == 450, "tunnel request is 450 bytes");
static_assert(__builtin_offsetof(ZX_TARN_VPN_REQ_S, acPppUser) == 256, "user at 256");
static_assert(__builtin_offsetof(ZX_TARN_VPN_REQ_S, acPppPass) == 320, "password at 320");
static_assert(__builtin_offsetof(ZX_TARN_VPN_REQ_S, acTunnelName) == 384, "tunnel name at 384");
static_assert(__builtin_offsetof(ZX_TARN_VPN_REQ_S, usPort) == 448, "port at 448");
static_assert(sizeof(ZX_TARN_TRAFFIC_REQ_S) == 268, "traffic-monitoring request is 268 bytes");
static_assert(__builtin_offsetof(ZX_TARN_TRAFFIC_REQ_S, acBundleName) == 12, "bundle at 12");
static_assert(sizeof(ZX_TARN_TRAFFIC_NOTICE_S) == 16, "notice is 16 bytes");
static_assert(__builtin_offsetof(ZX_TARN_TRAFFIC_NOTICE_S, uiFlag) == 12, "flag at 12");
static_assert(sizeof(ZX_TARN_TRAFFIC_NOTICE_HEAD_S) == 129, "list follows at 129");
static_assert(__builtin_offsetof(ZX_TARN_TRAFFIC_NOTICE_HEAD_S, acBundleName) == 1, "bundle at 1");
static_assert(sizeof(ZX_APPM_PPPOE_WAN_S) == 256, "connection record is 256 bytes");
static_assert(__builtin_offsetof(ZX_APPM_PPPOE_WAN_S, acWanIp) == 64, "WAN address at 64");
static_assert(__builtin_offsetof(ZX_APPM_PPPOE_WAN_S, acPppoeName) == 192, "PPPoE name at 192");
static_assert(sizeof(ZX_TARN_PPPOE_USER_S) == 192, "PPPoE user reply is 192 bytes");
static_assert(__builtin_offsetof(ZX_TARN_PPPOE_USER_S, acUserName) == 128, "user name at 128");
static_assert(sizeof(ZX_APPM_MGT_ADDR_S) == 2343, "management-address reply is 2343 bytes");
static_assert(__builtin_offsetof(ZX_APPM_MGT_ADDR_S, acMgtAddr) == 305, "address at 305");
static_assert(__builtin_offsetof(ZX_APPM_MGT_ADDR_S, uiMgtPort) == 562, "port at 562");
static_assert(sizeof(ZX_CWMP_MGT_ADDR_S) == 514, "cwmp management-address reply is 514 bytes");
static_assert(__builtin_offsetof(ZX_CWMP_MGT_ADDR_S, acMgtPort) == 257, "port text at 257");
static_assert(sizeof(ZX_TARN_DNS_REQ_S) == 260, "resolution request is 260 bytes");
static_assert(__builtin_offsetof(ZX_TARN_DNS_REQ_S, uiResv) == 256, "zero word at 256");
static_assert(sizeof(ZX_TARN_DNS_REPLY_S) == 260, "resolution reply is 260 bytes");
static_assert(__builtin_offsetof(ZX_TARN_DNS_REPLY_S, uiNum) == 256, "count at 256");
#endif

/* VPN address lists. The payload (list, server, user, password, list kind, optional tunnel name)
 * travels in a shared block; tunnelName may be NULL. */
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_SetVpnDestAddr(uint32_t isDelete, const char *list, uint32_t listLen,
                                                 const char *lnsAddress, const char *userName,
                                                 const char *password, const char *tunnelName);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_SetVpnSrcAddr(uint32_t isDelete, const char *list, uint32_t listLen,
                                                const char *lnsAddress, const char *userName,
                                                const char *password, const char *tunnelName);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_AddVpnDestAddr(const char *list, uint32_t listLen, const char *lnsAddress,
                                                 const char *userName, const char *password,
                                                 const char *tunnelName);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_DelVpnDestAddr(const char *list, uint32_t listLen, const char *lnsAddress,
                                                 const char *userName, const char *password,
                                                 const char *tunnelName);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_AddVpnSrcAddr(const char *list, uint32_t listLen, const char *lnsAddress,
                                                const char *userName, const char *password,
                                                const char *tunnelName);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_DelVpnSrcAddr(const char *list, uint32_t listLen, const char *lnsAddress,
                                                const char *userName, const char *password,
                                                const char *tunnelName);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_GetTunnelStatusByName(const char *name, uint32_t *status);

/* Tunnel set-up (tunnelNameOut, when given, receives up to 64 bytes) and tear-down. */
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_SetupVpn(const char *lnsAddress, uint16_t port, const char *userName,
                                           const char *password, char *tunnelNameOut);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_DisconnectVpn(const char *lnsAddress, const char *userName, const char *password,
                                                const char *tunnelName);

/* Traffic monitoring: op 1 adds, anything else deletes; "app_m" is told before "tarn" is asked. */
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_AddTrafficMonitoringDestAddr(const char *list, uint32_t listLen,
                                                               const char *bundleName, uint32_t bundleNameLen);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_DelTrafficMonitoringDestAddr(const char *list, uint32_t listLen,
                                                               const char *bundleName, uint32_t bundleNameLen);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_TrafficMonitoringDestAddrOper(const char *list, uint32_t listLen,
                                                                const char *bundleName, uint32_t bundleNameLen,
                                                                uint32_t op);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_TrafficMonitoringNotifyAppM(const char *list, uint32_t listLen,
                                                              const char *bundleName, uint32_t bundleNameLen,
                                                              uint32_t op);

/* DNS forwarding. *count is written only on success. */
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_AddDnsForward(const char *data, uint32_t dataLen, const char *forwardIp);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_DelDnsForward(const char *data, uint32_t dataLen);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_GetDnsForwardStatistic(const char *forwardIp, uint32_t *count);

/* Device information: a text answer in out (size bytes). */
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_GetInternetWanIp(char *out, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_GetOntMac(char *out, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_GetPppoeUserName(char *out, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_getDevicePPPoENameAndWANIP(const char *connection, char *out, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_getDeviceWLANChannel(char *out, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_getDeviceCloudAddress(char *out, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_getDeviceCloudAddressAndPort(char *out, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_getDnsAnalysis(const char *domain, char *out, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_getDnsIpList(const ZX_TARN_DNS_REPLY_S *reply, char *out, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_getDeviceLANIP(char *out, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_VELM_getDevicePhyInfo(char *out, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_VELM_getDeviceUpdateState(char *out, uint32_t size);

#ifdef __cplusplus
}
#endif

#endif
