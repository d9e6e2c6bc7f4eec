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
#include "zx_wire_app_m.h"
#include "zx_wire_cwmp.h"
#include "zx_wire_tarn.h"

#ifdef __cplusplus
extern "C" {
#endif

#define ZX_TARN_ERR_PARAM 1u      /* a missing or invalid argument */
#define ZX_TARN_ERR_TOO_LONG 257u /* an argument over its length limit, or the caller's buffer too small */

/* VPN address lists. The payload (list, server, user, password, list kind, optional tunnel name)
 * travels in a shared block; tunnelName may be NULL. */
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_SetVpnDestAddr(uint32_t isDelete, const char* list, uint32_t listLen,
                                                 const char* lnsAddress, const char* userName, const char* password,
                                                 const char* tunnelName);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_SetVpnSrcAddr(uint32_t isDelete, const char* list, uint32_t listLen,
                                                const char* lnsAddress, const char* userName, const char* password,
                                                const char* tunnelName);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_AddVpnDestAddr(const char* list, uint32_t listLen, const char* lnsAddress,
                                                 const char* userName, const char* password, const char* tunnelName);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_DelVpnDestAddr(const char* list, uint32_t listLen, const char* lnsAddress,
                                                 const char* userName, const char* password, const char* tunnelName);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_AddVpnSrcAddr(const char* list, uint32_t listLen, const char* lnsAddress,
                                                const char* userName, const char* password, const char* tunnelName);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_DelVpnSrcAddr(const char* list, uint32_t listLen, const char* lnsAddress,
                                                const char* userName, const char* password, const char* tunnelName);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_GetTunnelStatusByName(const char* name, uint32_t* status);

/* Tunnel set-up (tunnelNameOut, when given, receives up to 64 bytes) and tear-down. */
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_SetupVpn(const char* lnsAddress, uint16_t port, const char* userName,
                                           const char* password, char* tunnelNameOut);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_DisconnectVpn(const char* lnsAddress, const char* userName, const char* password,
                                                const char* tunnelName);

/* Traffic monitoring: op 1 adds, anything else deletes; "app_m" is told before "tarn" is asked. */
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_AddTrafficMonitoringDestAddr(const char* list, uint32_t listLen,
                                                               const char* bundleName, uint32_t bundleNameLen);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_DelTrafficMonitoringDestAddr(const char* list, uint32_t listLen,
                                                               const char* bundleName, uint32_t bundleNameLen);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_TrafficMonitoringDestAddrOper(const char* list, uint32_t listLen,
                                                                const char* bundleName, uint32_t bundleNameLen,
                                                                uint32_t op);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_TrafficMonitoringNotifyAppM(const char* list, uint32_t listLen,
                                                              const char* bundleName, uint32_t bundleNameLen,
                                                              uint32_t op);

/* DNS forwarding. *count is written only on success. */
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_AddDnsForward(const char* data, uint32_t dataLen, const char* forwardIp);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_DelDnsForward(const char* data, uint32_t dataLen);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_GetDnsForwardStatistic(const char* forwardIp, uint32_t* count);

/* Device information: a text answer in out (size bytes). */
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_GetInternetWanIp(char* out, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_GetOntMac(char* out, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_GetPppoeUserName(char* out, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_getDevicePPPoENameAndWANIP(const char* connection, char* out, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_getDeviceWLANChannel(char* out, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_getDeviceCloudAddress(char* out, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_getDeviceCloudAddressAndPort(char* out, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_getDnsAnalysis(const char* domain, char* out, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_getDnsIpList(const ZX_TARN_DNS_REPLY_S* reply, char* out, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_TARN_getDeviceLANIP(char* out, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_VELM_getDevicePhyInfo(char* out, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_VELM_getDeviceUpdateState(char* out, uint32_t size);

#ifdef __cplusplus
}
#endif

#endif
