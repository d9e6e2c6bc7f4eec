/*
 * Platform capabilities and plug-in permissions of the plug-in platform API: feature switches, the
 * path of the list of APIs plug-ins may use, the cloud registration status ("app_m"), and the
 * bundle manager's deployment-unit count and permissions. Results are passed back unconverted.
 */
#ifndef ZX_VELM_CAPABILITY_H
#define ZX_VELM_CAPABILITY_H

#include <stdint.h>

#include "zx_bridge.h"

#ifdef __cplusplus
extern "C" {
#endif

/* What the feature service answers for the name (1: on); 1 for a NULL name. */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_GetFeatureSwitch(const char* pcFeatureName);
/* "/etc/wap/customize/<API list file>" into buf, cut to size - 1 characters; 1 when plug-in
 * permissions are switched off. */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_GetPluginAPICapabilitesPath(char* buf, uint32_t size);
/* The gateway's registration status with the management cloud (left as it was on failure; 1 for a
 * NULL pointer, nothing sent). */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_GetCloudStatus(uint32_t* puiStatus);
/* The number of installed deployment units (bundles); 1 for a NULL pointer, nothing sent. The
 * bundle manager's two commands here have no time-out of their own and wait 60000 ms. */
ZX_BRIDGE_EXPORT int32_t ZX_JNI_GetDuCount(uint32_t* puiCount);
/* Has the bundle manager write the plug-in permissions into the caller's System V segment of
 * uiSize bytes (key ZX_OSGI_PERMISSION_SHM_KEY). */
ZX_BRIDGE_EXPORT int32_t ZX_JNI_GetPluginPermissions(uint32_t uiSize);

#ifdef __cplusplus
}
#endif

#endif
