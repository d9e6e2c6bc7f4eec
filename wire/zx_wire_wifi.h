/*
 * "wifi", the WLAN radio service: WPS, automatic channel selection, channel width, forbidden
 * channels and the wireless hosts. Called through ZEL_WIFI_JNI_MSG_RpcCall.
 */
#ifndef ZX_WIRE_WIFI_H
#define ZX_WIRE_WIFI_H

#include "zx_wire_common.h"

#define ZX_WIFI_ENDPOINT "wifi"

#define ZX_WIFI_RPC_GET_WPS_STATE 0x4760311Du           /* answers the one WPS state in the first word of 18 bytes */
#define ZX_WIFI_RPC_SET_FORBID_CHANNEL 0x47603163u      /* sets a radio's forbidden channels */
#define ZX_WIFI_RPC_SET_AUTO_CHANNEL_ENABLE 0x47603164u /* switches a radio's automatic channel selection */
#define ZX_WIFI_RPC_SET_CHANNEL_WIDTH 0x47603165u       /* sets a radio's channel width */
#define ZX_WIFI_JNI_RPC_GET_WLANHOSTINFO 0x4760317Au    /* answers the wireless hosts (all, or up to 8 MACs) as JSON */
#define ZX_WIFI_RPC_START_WPS 0x47603A16u               /* starts WPS on an SSID */

#define ZX_WIFI_MAX_HOST_MACS 8u /* MACs in a host query */

#pragma pack(push, 1)
/* WPS start: the SSID index. */
typedef struct {
    int32_t iSsidIndex;
} ZX_WIFI_WPS_START_REQ_S;

/* WPS state: sent all zero, answered in place; only the first word is read. */
typedef struct {
    uint32_t uiState;
    uint8_t aucResv[14];
} ZX_WIFI_WPS_STATE_S;

/* Automatic channel selection of a radio. */
typedef struct {
    int32_t iRadioIndex;
    int32_t iEnable;
} ZX_WIFI_AUTO_CHANNEL_REQ_S;

/* Channel width of a radio. */
typedef struct {
    int32_t iRadioIndex;
    int32_t iChannelWidth;
} ZX_WIFI_CHANNEL_WIDTH_REQ_S;

/* Forbidden channels of a radio: the channel text, at most 31 characters. */
typedef struct {
    int32_t iRadioIndex;
    int32_t iChannelNum;
    char acChannels[32];
} ZX_WIFI_FORBID_CHANNEL_REQ_S;

/* Wireless host query: up to 8 MAC texts of at most 19 characters, and how many are given. */
typedef struct {
    char aacMac[ZX_WIFI_MAX_HOST_MACS][20];
    uint32_t uiCount; /* 0: every host */
} ZX_WIFI_HOST_INFO_REQ_S;
#pragma pack(pop)

ZX_WIRE_SIZE(ZX_WIFI_WPS_START_REQ_S, 4);
ZX_WIRE_OFFSET(ZX_WIFI_WPS_START_REQ_S, iSsidIndex, 0);
ZX_WIRE_SIZE(ZX_WIFI_WPS_STATE_S, 18);
ZX_WIRE_OFFSET(ZX_WIFI_WPS_STATE_S, uiState, 0);
ZX_WIRE_OFFSET(ZX_WIFI_WPS_STATE_S, aucResv, 4);
ZX_WIRE_SIZE(ZX_WIFI_AUTO_CHANNEL_REQ_S, 8);
ZX_WIRE_OFFSET(ZX_WIFI_AUTO_CHANNEL_REQ_S, iRadioIndex, 0);
ZX_WIRE_OFFSET(ZX_WIFI_AUTO_CHANNEL_REQ_S, iEnable, 4);
ZX_WIRE_SIZE(ZX_WIFI_CHANNEL_WIDTH_REQ_S, 8);
ZX_WIRE_OFFSET(ZX_WIFI_CHANNEL_WIDTH_REQ_S, iRadioIndex, 0);
ZX_WIRE_OFFSET(ZX_WIFI_CHANNEL_WIDTH_REQ_S, iChannelWidth, 4);
ZX_WIRE_SIZE(ZX_WIFI_FORBID_CHANNEL_REQ_S, 40);
ZX_WIRE_OFFSET(ZX_WIFI_FORBID_CHANNEL_REQ_S, iRadioIndex, 0);
ZX_WIRE_OFFSET(ZX_WIFI_FORBID_CHANNEL_REQ_S, iChannelNum, 4);
ZX_WIRE_OFFSET(ZX_WIFI_FORBID_CHANNEL_REQ_S, acChannels, 8);
ZX_WIRE_SIZE(ZX_WIFI_HOST_INFO_REQ_S, 164);
ZX_WIRE_OFFSET(ZX_WIFI_HOST_INFO_REQ_S, aacMac, 0);
ZX_WIRE_OFFSET(ZX_WIFI_HOST_INFO_REQ_S, uiCount, 160);

#endif
