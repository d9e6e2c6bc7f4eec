/*
 * WLAN, LED and LAN-port API. SSID settings, LEDs, the LAN ports and the platform connection state
 * are the configuration service's ("app_m", APPM_JNI_MSG_RpcCall); the radios and WPS are the WLAN
 * radio service's ("wifi", ZEL_WIFI_JNI_MSG_RpcCall). Each call sends one fixed record and answers a
 * number or passes the service's text through; nothing is kept between calls.
 */
#ifndef ZX_ZEL_JNI_API_H
#define ZX_ZEL_JNI_API_H

#include <stdint.h>

#include "zx_bridge.h"
#include "zx_wire_app_m.h"
#include "zx_wire_common.h"
#include "zx_wire_wifi.h"

#ifdef __cplusplus
extern "C" {
#endif

#define ZX_ZEL_RADIO_REFUSED 2           /* the radio index the radio calls refuse (answer 1, nothing sent) */
#define ZX_ZEL_HIDE_ERR_BUSY 0xF760300Au /* the one wlanSetHide failure answered -1 (every other: -100) */
#define ZX_ZEL_SSID_INFO_ALL_LEN 4096u   /* SSID information reply for index 0 (all SSIDs) */
#define ZX_ZEL_SSID_INFO_ONE_LEN 512u    /* SSID information reply for one SSID */

/* Switches an SSID on or off; the service's JSON (or the failure JSON) in pcOut. Always 0. */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_wlanSetState(int32_t iSsidIndex, int32_t iState, char* pcOut, uint32_t uiOutLen);
/* Whether an SSID is on / hidden: the service's word, 0 when the call fails. */
ZX_BRIDGE_EXPORT int32_t ZX_JNI_wlanGetState(int32_t iSsidIndex);
ZX_BRIDGE_EXPORT int32_t ZX_JNI_wlanGetHide(int32_t iSsidIndex);
/* Hides or shows an SSID: 0, -1 when the service answered 0xF760300A, -100 for any other failure. */
ZX_BRIDGE_EXPORT int32_t ZX_JNI_wlanSetHide(int32_t iSsidIndex, int32_t iHide);
/* Starts WPS: 0 or the remote call's status. */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_startWlanWps(int32_t iSsidIndex);
/* The one WPS state (the index is not sent): 1 active, 0 not, or the remote call's status. */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_wlanGetWPSState(int32_t iSsidIndex);
/* An SSID's security as the service's JSON in pcOut; {"Result":1} when the call fails. Always 0. */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_wlanGetSecurity(int32_t iSsidIndex, char* pcOut, uint32_t uiOutLen);
/* Sets an SSID's security (first text at most 63 characters, second up to 64); the service's JSON
 * in pcOut. 0, or the remote call's status with pcOut untouched. */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_wlanSetSecurity(int32_t iSsidIndex, const char* pcFirst, const char* pcSecond,
                                                 char* pcOut, uint32_t uiOutLen);
/* SSID information (index 0: all SSIDs) copied without terminator into a zeroed pcOut: 0 (also when
 * the remote call fails, pcOut untouched), 1 for a null pcOut, no memory or a reply that does not fit. */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_wlanGetSsidInfo(char* pcOut, int32_t iSsidIndex, uint32_t uiOutLen);
/* Radio settings: 1 for radio index 2 (nothing sent), else 0 or the remote call's status. */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_wlanSetAutoChannelEnable(int32_t iRadioIndex, int32_t iEnable);
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_wlanSetChannelWidth(int32_t iRadioIndex, int32_t iChannelWidth);
/* pcChannels (may be null) is the channel text, at most 31 characters of it are sent; uiChannelsLen is
 * the size of the caller's block (32 from the binding). */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_wlanSetForbidChannel(int32_t iRadioIndex, int32_t iChannelNum, const char* pcChannels,
                                                      uint32_t uiChannelsLen);

/* Sets an LED's colour and blink timing: 0, or 1 when the call fails (pcOut untouched). */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_SetLEDState(uint32_t uiLedId, uint32_t uiColor, uint32_t uiOnTime, uint32_t uiOffTime,
                                             char* pcOut, uint32_t uiOutLen);
/* The LAN ports' status as the service's JSON (or the failure JSON) in pcOut. Always 0. */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_lanGetPortStatus(char* pcOut, uint32_t uiOutLen);
/* Tells the gateway the service platform's connection state and its text (under 128 characters);
 * the remote call's status. */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_NotifyPlatFormConnectState(const char* pcText, uint32_t uiState);

#ifdef __cplusplus
}
#endif

#endif
