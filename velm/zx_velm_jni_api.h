/*
 * Plug-in platform API: result codes and JSON helpers, system information (and, as they are
 * added, bundle management, USB, storage and capabilities).
 */
#ifndef ZX_VELM_JNI_API_H
#define ZX_VELM_JNI_API_H

#include <jni.h>
#include <json-c/json.h>
#include <stdbool.h>
#include <stdint.h>

#include "zx_bridge.h"
#include "zx_wire_app_m.h"
#include "zx_wire_common.h"

#ifdef __cplusplus
extern "C" {
#endif

#define ZX_JNI_ERR_BUF_SMALL 0xF7700005u /* the caller's buffer is too small for the text */
#define ZX_JNI_ERR_JSON_NULL 0xF7100008u /* a null pointer was handed to a JSON routine */
#define ZX_JNI_ERR_JSON_NEW 0xF7100000u  /* a json-c object could not be created */
#define ZX_JNI_ERR_OSGI_DOWN 0xF7801303u /* the bundle manager is not running */
#define ZX_JNI_ERR_GENERAL 0xFFFFFFFFu

/* The failure text of a result, with an empty reason, as Java receives it. */
#define ZX_JNI_FAILURE_TEXT "{\"Result\":-1, \"FailReason\":\"\"}"

/* Releases a json-c object; NULL is recorded (0xF7100008) and answered 0. */
ZX_BRIDGE_EXPORT uint32_t VELM_JSON_ObjPut(json_object* obj);
/* True for 0 and 1 only. */
ZX_BRIDGE_EXPORT bool ZX_JNI_IsValidBoolean(uint32_t value);
/* A bundle-manager code as the small negative result Java sees (-1 for a code not in the table). */
ZX_BRIDGE_EXPORT int32_t ZX_OSGI_JNI_ZXErrConvert(uint32_t code);
/* {"Result":0} or {"Result":r,"FailReason":"reason"} of a service's answer. */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_BuildResultJson(char* buf, uint32_t size, const ZX_WIRE_RESULT_REASON_S* reply);
/* json-c's rendering of {"Result": converted code} as a Java string, or null. */
ZX_BRIDGE_EXPORT jstring OSGI_JNI_FaultStrBuild(JNIEnv* env, uint32_t code);

/* System information as result JSON (processor and memory load) or plain text (the LOID). */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_sysGetCpuUsage(char* buf, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_sysGetMemUsage(char* buf, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_sysGetLoid(char* buf, uint32_t size);

#ifdef __cplusplus
}
#endif

#endif
