/*
 * Bundle management: the call to the bundle manager "osgi_proxy" with its own routing header and
 * time-out table, the operation routine of start, stop, uninstall and reset, the request and
 * reply records, the JSON texts of the two queries and the plug-in operation log.
 */
#ifndef ZX_VELM_BUNDLE_H
#define ZX_VELM_BUNDLE_H

#include <jni.h>
#include <json-c/json.h>
#include <stdint.h>

#include "zx_bridge.h"
#include "zx_wire_osgi_proxy.h"

#ifdef __cplusplus
extern "C" {
#endif

#define OSGI_JNI_MID 349u /* module id word of every bundle operation and query */
#define OSGI_JNI_LOG_FILE "/var/pluginOpera.log"

/* The call to "osgi_proxy": the time-out comes from the command id (and, for an operation, the
 * action), the tag word rotates through 281 to 286. A NULL request or reply goes as a 4-byte word.
 * The platform's status comes back unchanged. */
ZX_BRIDGE_EXPORT uint32_t OSGI_JNI_BundleMng_RpcCall(uint32_t mid, uint32_t msgId, const void* req, uint32_t reqLen,
                                                     void* reply, uint32_t replyLen);
/* Logs and sends one operation; the Java result of the reply word, else of the call's status.
 * 1 for a NULL name or action. */
ZX_BRIDGE_EXPORT int32_t OSGI_JNI_Bundle_Operate(uint32_t mid, const char* bundleName, const char* action);

/* {"Name","Version","State"} of one entry into *out. */
ZX_BRIDGE_EXPORT uint32_t ZX_OSGI_JNI_BundleInfotoJson(const ZX_OSGI_BUNDLE_INFO_S* info, json_object** out);
/* The names of a Java String array (at most 256) as a query list in a new shared block. */
ZX_BRIDGE_EXPORT uint32_t OSGI_JNI_FillVdataFromJsonPara(PluginVDataRecord* rec, JNIEnv* env, jobjectArray names);
/* The state list named by rec as {"Result":0,"BundleLists":[...]}; null on failure. */
ZX_BRIDGE_EXPORT jstring OSGI_JNI_FillJsonStrFromVdata(JNIEnv* env, const PluginVDataRecord* rec);
/* {"Result","State","Percent"} of an install progress reply; null on failure. */
ZX_BRIDGE_EXPORT jstring OSGI_JNI_FillInstallProcess(JNIEnv* env, const ZX_OSGI_PROCESS_REPLY_S* reply);

/* The operation log. */
/* "install", "start", "uninstall" as "Install", "Run", "UnInstall"; any other text unchanged. out
 * holds 128 bytes. */
ZX_BRIDGE_EXPORT uint32_t OSGI_JNI_TransferLogAction(const char* action, char* out);
/* Appends "<time> [<action>] <bundle>\r\n"; 0 when written, 1 otherwise. */
ZX_BRIDGE_EXPORT uint32_t OSGI_JNI_Log_Record(const char* action, const char* bundleName);
/* Creates the log file empty; 1 when it cannot be created. */
ZX_BRIDGE_EXPORT uint32_t OSGI_Bundle_Create_LogFile(void);

#ifdef __cplusplus
}
#endif

#endif
