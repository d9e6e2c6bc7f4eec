/*
 * "app_m", the application-management (configuration) service: LOID, connections, management
 * address, device information, SSID settings, LEDs and LAN ports, LAN hosts, WAN facts, NAT rules,
 * the media-file scanner and the cloud registration. Called through L2TP_APPM_MSG_RpcCall (tunnel
 * and device-information API) and APPM_JNI_MSG_RpcCall (everything else); told of traffic-monitoring
 * changes by a one-way message.
 */
#ifndef ZX_WIRE_APP_M_H
#define ZX_WIRE_APP_M_H

#include "zx_wire_common.h"
#include "zx_wire_vdata.h"

#define ZX_APPM_ENDPOINT "app_m"

/* One-way message (ZX_MSG_AsyncSendData), not a call. */
#define ZX_APPM_NOTICE_TRAFFIC_MONITOR 39u /* records a bundle's traffic-monitoring change (block and flag) */

/* Device information. */
#define ZX_APPM_RPC_GET_MGT_ADDRESS 0x47102041u  /* answers the management address (offset 305) and port (562) */
#define ZX_APPM_RPC_GET_LOID 0x4710304Bu         /* answers the LOID as text; asked with a zero word */
#define ZX_APPM_RPC_GET_WLAN_CHANNEL 0x47103053u /* answers the WLAN channel number as a word */
#define ZX_APPM_RPC_GET_PPPOE_WAN 0x47103054u    /* fills in the WAN address and PPPoE name of a named connection */
#define ZX_APPM_RPC_GET_PHY_INFO 0x4710307Du     /* answers the physical device information as text */

/* LAN hosts and devices. */
#define ZX_APPM_RPC_LAN_GET_NET_INFO 0x47103046u              /* answers the LAN host list as JSON, 512 bytes a host */
#define ZX_APPM_RPC_LAN_SET_DEV_ACCESS_PERMISSION 0x47103047u /* sets a device's access permissions ("ON"/"OFF") */
#define ZX_APPM_RPC_LAN_GET_INTERNET_BLACKLIST 0x47103048u    /* answers the Internet access black list as JSON */
#define ZX_APPM_RPC_LAN_GET_STORAGE_BLACKLIST 0x47103049u     /* answers the storage access black list as JSON */
#define ZX_APPM_RPC_LAN_SET_DEV_STATS_STATUS 0x4710304Du      /* switches per-device statistics on or off */
#define ZX_APPM_RPC_LAN_GET_PORT_STATUS 0x4710304Fu           /* answers the LAN ports' status as JSON */
#define ZX_APPM_RPC_LAN_GET_DEV_BANDWIDTH 0x47103050u         /* answers the devices' bandwidth as JSON */
#define ZX_APPM_RPC_LAN_GET_DEV_MAX_BANDWIDTH 0x47103051u     /* answers a device's (MAC text) limits as JSON */
#define ZX_APPM_RPC_LAN_SET_DEV_MAX_BANDWIDTH 0x47103052u     /* sets a device's two bandwidth limits, answers JSON */

/* WAN and NAT. */
#define ZX_APPM_RPC_WAN_GET_IF_STATS 0x4710304Au /* answers the WAN interface statistics as JSON */
#define ZX_APPM_RPC_SYS_GET_IP_ADDR 0x4710304Cu  /* answers the gateway's IP addresses as JSON */
#define ZX_APPM_RPC_SET_NAT_INFO 0x47103058u     /* adds or deletes a WAN access (NAT) rule */

/* SSIDs (the radios themselves are "wifi"'s). */
#define ZX_APPM_RPC_WLAN_SET_STATE 0x4710304Eu     /* switches an SSID on or off, answers JSON */
#define ZX_APPM_RPC_WLAN_GET_SSID_INFO 0x47103069u /* answers an SSID's information (0: all SSIDs) as JSON */
#define ZX_APPM_RPC_WLAN_GET_SECURITY 0x47103077u  /* answers an SSID's security settings as JSON */
#define ZX_APPM_RPC_WLAN_SET_SECURITY 0x47103078u  /* sets an SSID's security settings, answers JSON */
#define ZX_APPM_RPC_WLAN_GET_STATE 0x47103081u     /* answers whether an SSID is on, as a word */
#define ZX_APPM_RPC_WLAN_GET_HIDE 0x47103082u      /* answers whether an SSID is hidden, as a word */
#define ZX_APPM_RPC_WLAN_SET_HIDE 0x47103083u      /* hides or shows an SSID, answering in the request record */

/* LEDs, platform connection and cloud. */
#define ZX_APPM_RPC_GET_CLOUD_STATUS 0x4710306Cu              /* answers the cloud registration status as a word */
#define ZX_APPM_RPC_SET_LED_STATE 0x4710306Eu                 /* sets an LED's colour and blink timing, answers text */
#define ZX_APPM_RPC_NOTIFY_PLATFORM_CONNECT_STATE 0x47103084u /* takes the platform connection state; no reply */

/* Media-file scanner. */
#define ZX_APPM_RPC_SET_FILES_SCAN_SWITCH 0x47103056u /* switches the media-file scanner, answers a text */
#define ZX_APPM_RPC_GET_FILES_SCAN_LIST 0x47103057u   /* answers the scanned files of a type (text) in a block */
#define ZX_APPM_RPC_GET_MEDIA_FILES_INFO 0x472090A0u  /* answers the counts of pictures, videos and music files */

#pragma pack(push, 1)
/* One-way notice of a traffic-monitoring change; the block holds the notice payload. */
typedef struct {
    TunnelVDataRecord stVData;
    uint32_t uiFlag; /* 1 */
} ZX_APPM_TRAFFIC_NOTICE_S;

/* Head of the notice payload; the address list and its NUL follow. */
typedef struct {
    uint8_t ucAdd; /* 1 add, 0 delete */
    char acBundleName[128];
} ZX_APPM_TRAFFIC_NOTICE_HEAD_S;

/* PPPoE name and WAN address of a connection, answered in place. */
typedef struct {
    char acConnName[64];
    char acWanIp[128];
    char acPppoeName[64];
} ZX_APPM_PPPOE_WAN_S;

/* Reply of the management-address query. */
typedef struct {
    uint8_t aucResv1[305];
    char acMgtAddr[257];
    uint32_t uiMgtPort; /* unaligned */
    uint8_t aucResv2[1777];
} ZX_APPM_MGT_ADDR_S;

/* Access permissions of one device. */
typedef struct {
    char acDevice[16];
    char acPermission1[16]; /* "ON" or "OFF" */
    char acPermission2[16]; /* "ON" or "OFF" */
} ZX_APPM_DEV_ACCESS_REQ_S;

/* Bandwidth limits of one device, named by its MAC in colon form. */
typedef struct {
    char acMac[32];
    uint32_t uiFirstLimit;
    uint32_t uiSecondLimit;
} ZX_APPM_DEV_MAX_BANDWIDTH_S;

/* WAN access (NAT) rule. */
typedef struct {
    uint32_t uiOperation; /* 1 add, 0 delete */
    uint32_t uiPort;      /* below 65536 */
    char acAddr1[16];
    char acAddr2[16];
    char acText3[16];
} ZX_APPM_NAT_INFO_S;

/* An SSID switched on or off. */
typedef struct {
    int32_t iSsidIndex;
    int32_t iState;
} ZX_APPM_WLAN_STATE_REQ_S;

/* An SSID hidden or shown; the service answers into the same record. */
typedef struct {
    int32_t iSsidIndex;
    int32_t iHide;
} ZX_APPM_WLAN_HIDE_S;

/* Security of an SSID; the query sends only the index. */
typedef struct {
    int32_t iSsidIndex;
    char acFirstText[64]; /* at most 63 characters */
    char acKey[64];       /* up to 64 characters */
    uint8_t ucResv;
} ZX_APPM_WLAN_SECURITY_S;

/* LED colour and blink timing. */
typedef struct {
    uint32_t uiLedId;
    uint32_t uiColor;
    uint32_t uiOnTime;
    uint32_t uiOffTime;
} ZX_APPM_LED_STATE_REQ_S;

/* The service platform's connection state and its text. */
typedef struct {
    uint32_t uiState;
    char acText[128];
} ZX_APPM_PLATFORM_STATE_S;

/* Counts of the media files found by the scanner. */
typedef struct {
    uint64_t ullPictures;
    uint64_t ullVideos;
    uint64_t ullMusic;
} ZX_APPM_MEDIA_FILES_INFO_S;
#pragma pack(pop)

ZX_WIRE_SIZE(ZX_APPM_TRAFFIC_NOTICE_S, 16);
ZX_WIRE_OFFSET(ZX_APPM_TRAFFIC_NOTICE_S, stVData, 0);
ZX_WIRE_OFFSET(ZX_APPM_TRAFFIC_NOTICE_S, uiFlag, 12);
ZX_WIRE_SIZE(ZX_APPM_TRAFFIC_NOTICE_HEAD_S, 129);
ZX_WIRE_OFFSET(ZX_APPM_TRAFFIC_NOTICE_HEAD_S, ucAdd, 0);
ZX_WIRE_OFFSET(ZX_APPM_TRAFFIC_NOTICE_HEAD_S, acBundleName, 1);
ZX_WIRE_SIZE(ZX_APPM_PPPOE_WAN_S, 256);
ZX_WIRE_OFFSET(ZX_APPM_PPPOE_WAN_S, acConnName, 0);
ZX_WIRE_OFFSET(ZX_APPM_PPPOE_WAN_S, acWanIp, 64);
ZX_WIRE_OFFSET(ZX_APPM_PPPOE_WAN_S, acPppoeName, 192);
ZX_WIRE_SIZE(ZX_APPM_MGT_ADDR_S, 2343);
ZX_WIRE_OFFSET(ZX_APPM_MGT_ADDR_S, aucResv1, 0);
ZX_WIRE_OFFSET(ZX_APPM_MGT_ADDR_S, acMgtAddr, 305);
ZX_WIRE_OFFSET(ZX_APPM_MGT_ADDR_S, uiMgtPort, 562);
ZX_WIRE_OFFSET(ZX_APPM_MGT_ADDR_S, aucResv2, 566);
ZX_WIRE_SIZE(ZX_APPM_DEV_ACCESS_REQ_S, 48);
ZX_WIRE_OFFSET(ZX_APPM_DEV_ACCESS_REQ_S, acDevice, 0);
ZX_WIRE_OFFSET(ZX_APPM_DEV_ACCESS_REQ_S, acPermission1, 16);
ZX_WIRE_OFFSET(ZX_APPM_DEV_ACCESS_REQ_S, acPermission2, 32);
ZX_WIRE_SIZE(ZX_APPM_DEV_MAX_BANDWIDTH_S, 40);
ZX_WIRE_OFFSET(ZX_APPM_DEV_MAX_BANDWIDTH_S, acMac, 0);
ZX_WIRE_OFFSET(ZX_APPM_DEV_MAX_BANDWIDTH_S, uiFirstLimit, 32);
ZX_WIRE_OFFSET(ZX_APPM_DEV_MAX_BANDWIDTH_S, uiSecondLimit, 36);
ZX_WIRE_SIZE(ZX_APPM_NAT_INFO_S, 56);
ZX_WIRE_OFFSET(ZX_APPM_NAT_INFO_S, uiOperation, 0);
ZX_WIRE_OFFSET(ZX_APPM_NAT_INFO_S, uiPort, 4);
ZX_WIRE_OFFSET(ZX_APPM_NAT_INFO_S, acAddr1, 8);
ZX_WIRE_OFFSET(ZX_APPM_NAT_INFO_S, acAddr2, 24);
ZX_WIRE_OFFSET(ZX_APPM_NAT_INFO_S, acText3, 40);
ZX_WIRE_SIZE(ZX_APPM_WLAN_STATE_REQ_S, 8);
ZX_WIRE_OFFSET(ZX_APPM_WLAN_STATE_REQ_S, iSsidIndex, 0);
ZX_WIRE_OFFSET(ZX_APPM_WLAN_STATE_REQ_S, iState, 4);
ZX_WIRE_SIZE(ZX_APPM_WLAN_HIDE_S, 8);
ZX_WIRE_OFFSET(ZX_APPM_WLAN_HIDE_S, iSsidIndex, 0);
ZX_WIRE_OFFSET(ZX_APPM_WLAN_HIDE_S, iHide, 4);
ZX_WIRE_SIZE(ZX_APPM_WLAN_SECURITY_S, 133);
ZX_WIRE_OFFSET(ZX_APPM_WLAN_SECURITY_S, iSsidIndex, 0);
ZX_WIRE_OFFSET(ZX_APPM_WLAN_SECURITY_S, acFirstText, 4);
ZX_WIRE_OFFSET(ZX_APPM_WLAN_SECURITY_S, acKey, 68);
ZX_WIRE_OFFSET(ZX_APPM_WLAN_SECURITY_S, ucResv, 132);
ZX_WIRE_SIZE(ZX_APPM_LED_STATE_REQ_S, 16);
ZX_WIRE_OFFSET(ZX_APPM_LED_STATE_REQ_S, uiLedId, 0);
ZX_WIRE_OFFSET(ZX_APPM_LED_STATE_REQ_S, uiColor, 4);
ZX_WIRE_OFFSET(ZX_APPM_LED_STATE_REQ_S, uiOnTime, 8);
ZX_WIRE_OFFSET(ZX_APPM_LED_STATE_REQ_S, uiOffTime, 12);
ZX_WIRE_SIZE(ZX_APPM_PLATFORM_STATE_S, 132);
ZX_WIRE_OFFSET(ZX_APPM_PLATFORM_STATE_S, uiState, 0);
ZX_WIRE_OFFSET(ZX_APPM_PLATFORM_STATE_S, acText, 4);
ZX_WIRE_SIZE(ZX_APPM_MEDIA_FILES_INFO_S, 24);
ZX_WIRE_OFFSET(ZX_APPM_MEDIA_FILES_INFO_S, ullPictures, 0);
ZX_WIRE_OFFSET(ZX_APPM_MEDIA_FILES_INFO_S, ullVideos, 8);
ZX_WIRE_OFFSET(ZX_APPM_MEDIA_FILES_INFO_S, ullMusic, 16);

#endif
