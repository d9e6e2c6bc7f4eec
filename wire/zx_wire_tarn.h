/*
 * "tarn", the broadband service: L2TP tunnels and their address lists, traffic monitoring, DNS
 * forwarding, domain resolution, WAN and ONT facts, LAN hosts and HTTP forwarding. Called through
 * L2TP_MSG_RpcCall_JNI (tunnel and device-information API) and TERN_JNI_MSG_RpcCall (broadband API).
 */
#ifndef ZX_WIRE_TARN_H
#define ZX_WIRE_TARN_H

#include "zx_wire_common.h"
#include "zx_wire_vdata.h"

#define ZX_TARN_ENDPOINT "tarn"

/* Tunnel and device-information API. The WAN address, MAC and PPPoE user are asked with the
 * caller's buffer size as a word. */
#define ZX_TARN_RPC_DNS_FORWARD_ADD 0x48304170u       /* adds a block's domains (domains, server) as forwarding rules */
#define ZX_TARN_RPC_DNS_FORWARD_DEL 0x48304171u       /* removes the forwarding rules of the domains in a block */
#define ZX_TARN_RPC_DNS_FORWARD_STATISTIC 0x48304172u /* answers a server's (text) forwarded queries, a word */
#define ZX_TARN_RPC_TRAFFIC_MONITOR_ADD 0x48304173u   /* starts monitoring a bundle's destination list */
#define ZX_TARN_RPC_TRAFFIC_MONITOR_DEL 0x48304174u   /* stops monitoring a bundle's destination list */
#define ZX_TARN_RPC_VPN_SETUP 0x48304180u             /* brings an L2TP tunnel up and answers its name */
#define ZX_TARN_RPC_VPN_TEARDOWN 0x48304181u          /* tears a tunnel down (by name, or by server and user) */
#define ZX_TARN_RPC_VPN_ADDR_ADD 0x48304182u          /* adds a block's address list to a tunnel's dest or src list */
#define ZX_TARN_RPC_VPN_ADDR_DEL 0x48304183u          /* removes a block's address list from a tunnel */
#define ZX_TARN_RPC_GET_WAN_IP 0x48304184u            /* answers the WAN address as text in 512 bytes */
#define ZX_TARN_RPC_GET_ONT_MAC 0x48304185u           /* answers the device MAC as text */
#define ZX_TARN_RPC_GET_PPPOE_USER 0x48304186u        /* answers the PPPoE user at 128 of 192 bytes */
#define ZX_TARN_RPC_GET_TUNNEL_STATUS 0x48304187u     /* answers the status word of a tunnel named by a text */
#define ZX_TARN_RPC_RESOLVE_DOMAIN 0x4730B000u        /* resolves a domain to up to 64 IPv4 addresses */

/* Broadband API: LAN hosts. */
#define ZX_TARN_RPC_GET_HOST_NUM 0x47302005u       /* answers the number of LAN hosts in the first word of 2052 bytes */
#define ZX_TARN_RPC_GET_LAN_HOST_STATS 0x47302D15u /* answers a host's down- and upstream counters by MAC */

/* Broadband API: HTTP forwarding (the service's own names). */
#define ZX_TARN_RPC_HTTP_FORWARD_INIT 0x4730705Fu                     /* clears the forwarding rules before a start */
#define ZX_TARN_RPC_HTTP_FORWARD_STOP 0x47307060u                     /* stops forwarding */
#define ZX_TARN_RPC_HTTP_FORWARD_ADD_AUTH 0x47307061u                 /* admits one source address (text, no NUL) */
#define ZX_TARN_RPC_HTTP_FORWARD_SET_ALWAYS_FORWARD_RULE 0x47307062u  /* always redirects one destination to a port */
#define ZX_TARN_RPC_HTTP_FORWARD_SET_DEFAULT_FORWARD_RULE 0x47307063u /* sets default port and SSID; starts */
#define ZX_TARN_RPC_HTTP_FORWARD_ADD_WHITENAME_LIST 0x47307064u       /* never redirects a destination (text) */

/* The list-kind word of an address-list payload. */
#define ZX_TARN_VPN_LIST_DEST 0u
#define ZX_TARN_VPN_LIST_SRC 1u

#define ZX_TARN_MAX_RESOLVED 64u /* addresses in a resolution reply */

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

/* Reply of the PPPoE user-name query. */
typedef struct {
    uint8_t aucResv[128];
    char acUserName[64];
} ZX_TARN_PPPOE_USER_S;

/* Domain resolution: the request carries the name, the reply up to 64 addresses in network order. */
typedef struct {
    char acDomain[256];
    uint32_t uiResv;
} ZX_TARN_DNS_REQ_S;

typedef struct {
    uint32_t auiIpAddr[ZX_TARN_MAX_RESOLVED];
    uint32_t uiNum;
} ZX_TARN_DNS_REPLY_S;

/* Reply of the LAN host count; only the first word is read. */
typedef struct {
    uint32_t uiHostNum;
    uint8_t aucResv[2048];
} ZX_TARN_HOST_NUM_REPLY_S;

/* Request of the host statistics: the MAC address, most significant byte first. */
typedef struct {
    uint8_t aucMac[6];
} ZX_TARN_HOST_STATS_REQ_S;

/* Reply of the host statistics. */
typedef struct {
    uint64_t ullDsStats;
    uint64_t ullUsStats;
} ZX_TARN_HOST_STATS_REPLY_S;

/* Always-forward rule: a 256-character address fills the field with no NUL. */
typedef struct {
    uint32_t uiAlwaysForwardPort;
    char acAddr[256];
} ZX_TARN_ALWAYS_FORWARD_S;

/* Default rule: the port first, then the SSID. */
typedef struct {
    uint32_t uiDefaultForwardPort;
    uint32_t uiSsid;
} ZX_TARN_DEFAULT_FORWARD_S;
#pragma pack(pop)

ZX_WIRE_SIZE(ZX_TARN_VPN_REQ_S, 450);
ZX_WIRE_OFFSET(ZX_TARN_VPN_REQ_S, acLnsAddr, 0);
ZX_WIRE_OFFSET(ZX_TARN_VPN_REQ_S, acPppUser, 256);
ZX_WIRE_OFFSET(ZX_TARN_VPN_REQ_S, acPppPass, 320);
ZX_WIRE_OFFSET(ZX_TARN_VPN_REQ_S, acTunnelName, 384);
ZX_WIRE_OFFSET(ZX_TARN_VPN_REQ_S, usPort, 448);
ZX_WIRE_SIZE(ZX_TARN_TRAFFIC_REQ_S, 268);
ZX_WIRE_OFFSET(ZX_TARN_TRAFFIC_REQ_S, stVData, 0);
ZX_WIRE_OFFSET(ZX_TARN_TRAFFIC_REQ_S, acBundleName, 12);
ZX_WIRE_SIZE(ZX_TARN_PPPOE_USER_S, 192);
ZX_WIRE_OFFSET(ZX_TARN_PPPOE_USER_S, aucResv, 0);
ZX_WIRE_OFFSET(ZX_TARN_PPPOE_USER_S, acUserName, 128);
ZX_WIRE_SIZE(ZX_TARN_DNS_REQ_S, 260);
ZX_WIRE_OFFSET(ZX_TARN_DNS_REQ_S, acDomain, 0);
ZX_WIRE_OFFSET(ZX_TARN_DNS_REQ_S, uiResv, 256);
ZX_WIRE_SIZE(ZX_TARN_DNS_REPLY_S, 260);
ZX_WIRE_OFFSET(ZX_TARN_DNS_REPLY_S, auiIpAddr, 0);
ZX_WIRE_OFFSET(ZX_TARN_DNS_REPLY_S, uiNum, 256);
ZX_WIRE_SIZE(ZX_TARN_HOST_NUM_REPLY_S, 2052);
ZX_WIRE_OFFSET(ZX_TARN_HOST_NUM_REPLY_S, uiHostNum, 0);
ZX_WIRE_OFFSET(ZX_TARN_HOST_NUM_REPLY_S, aucResv, 4);
ZX_WIRE_SIZE(ZX_TARN_HOST_STATS_REQ_S, 6);
ZX_WIRE_OFFSET(ZX_TARN_HOST_STATS_REQ_S, aucMac, 0);
ZX_WIRE_SIZE(ZX_TARN_HOST_STATS_REPLY_S, 16);
ZX_WIRE_OFFSET(ZX_TARN_HOST_STATS_REPLY_S, ullDsStats, 0);
ZX_WIRE_OFFSET(ZX_TARN_HOST_STATS_REPLY_S, ullUsStats, 8);
ZX_WIRE_SIZE(ZX_TARN_ALWAYS_FORWARD_S, 260);
ZX_WIRE_OFFSET(ZX_TARN_ALWAYS_FORWARD_S, uiAlwaysForwardPort, 0);
ZX_WIRE_OFFSET(ZX_TARN_ALWAYS_FORWARD_S, acAddr, 4);
ZX_WIRE_SIZE(ZX_TARN_DEFAULT_FORWARD_S, 8);
ZX_WIRE_OFFSET(ZX_TARN_DEFAULT_FORWARD_S, uiDefaultForwardPort, 0);
ZX_WIRE_OFFSET(ZX_TARN_DEFAULT_FORWARD_S, uiSsid, 4);

#endif
