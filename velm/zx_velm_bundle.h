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

#ifdef __cplusplus
extern "C" {
#endif

#define OSGI_JNI_MID 349u                   /* module id word of every bundle operation and query */
#define OSGI_JNI_MSG_INSTALL 0x47103039u
#define OSGI_JNI_MSG_CANCEL_INSTALL 0x4710303Cu
#define OSGI_JNI_MSG_INSTALL_PROCESS 0x47103037u
#define OSGI_JNI_MSG_QUERY_STATE 0x47103036u
#define OSGI_JNI_MSG_OPERATE 0x4710303Du
#define OSGI_JNI_MSG_RESERVED 0x47103038u
#define OSGI_JNI_MAX_BUNDLES 256u
#define OSGI_JNI_LOG_FILE "/var/pluginOpera.log"

#pragma pack(push, 1)
/* start, stop, uninstall and reset of one bundle */
typedef struct {
    char acBundleName[128];
    char acAction[16];
    uint8_t aucResv[24];
} OSGI_JNI_OPERATE_REQ_S;

typedef struct {
    char acPluginName[128];
    char acFilePath[256];
    uint32_t uiFileSize;
    uint32_t uiStartFlag; /* 1: start once installed */
    uint8_t aucResv1[24];
    uint32_t uiResv2;
    uint32_t uiWanIndex;
    uint8_t aucResv3[196];
} OSGI_JNI_INSTALL_REQ_S;

typedef struct {
    char acBundleName[128];
    uint8_t aucResv[24];
} OSGI_JNI_CANCEL_REQ_S;

typedef struct {
    uint8_t aucResv1[148];
    char acPluginName[128];
    uint8_t aucResv2[24];
} OSGI_JNI_PROCESS_REQ_S;

typedef struct {
    uint32_t uiResult;
    uint8_t aucResv1[132];
    uint32_t uiStatus; /* 0: the plug-in is known */
    uint8_t aucResv2[64];
    char acState[16];
    uint32_t uiPercent;
} OSGI_JNI_PROCESS_REPLY_S;

/* The names of a state query, written to a shared block. */
typedef struct {
    uint8_t aucResv1[16];
    uint32_t uiFlag; /* always 1 */
    uint8_t aucResv2[128];
    uint32_t uiCount; /* names copied; a skipped element leaves its slot empty */
    uint8_t aucResv3[16];
    char aacBundleName[OSGI_JNI_MAX_BUNDLES][128];
} OSGI_JNI_QUERY_LIST_S;

typedef struct {
    char acBundleName[128];
    char acVersion[24];
    char acState[16];
} OSGI_JNI_BUNDLE_INFO_S;

/* The answer of a state query, read from a shared block. */
typedef struct {
    uint8_t aucResv1[136];
    uint32_t uiStatus; /* 0: good */
    uint8_t aucResv2[64];
    int32_t iCount;
    OSGI_JNI_BUNDLE_INFO_S astBundle[OSGI_JNI_MAX_BUNDLES];
} OSGI_JNI_STATE_LIST_S;
#pragma pack(pop)

#ifdef __cplusplus
static_assert(sizeof(OSGI_JNI_OPERATE_REQ_S) == 168, "operation request is 168 bytes");
static_assert(__builtin_offsetof(OSGI_JNI_OPERATE_REQ_S, acAction) == 128, "action at 128");
static_assert(__builtin_offsetof(OSGI_JNI_OPERATE_REQ_S, aucResv) == 144, "zero bytes at 144");
static_assert(sizeof(OSGI_JNI_INSTALL_REQ_S) == 620, "install request is 620 bytes");
static_assert(__builtin_offsetof(OSGI_JNI_INSTALL_REQ_S, acFilePath) == 128, "path at 128");
static_assert(__builtin_offsetof(OSGI_JNI_INSTALL_REQ_S, uiFileSize) == 384, "size at 384");
static_assert(__builtin_offsetof(OSGI_JNI_INSTALL_REQ_S, uiStartFlag) == 388, "start flag at 388");
static_assert(__builtin_offsetof(OSGI_JNI_INSTALL_REQ_S, aucResv1) == 392, "zero bytes at 392");
static_assert(__builtin_offsetof(OSGI_JNI_INSTALL_REQ_S, uiResv2) == 416, "zero word at 416");
static_assert(__builtin_offsetof(OSGI_JNI_INSTALL_REQ_S, uiWanIndex) == 420, "WAN index at 420");
static_assert(__builtin_offsetof(OSGI_JNI_INSTALL_REQ_S, aucResv3) == 424, "zero to the end from 424");
static_assert(sizeof(OSGI_JNI_CANCEL_REQ_S) == 152, "cancel request is 152 bytes");
static_assert(__builtin_offsetof(OSGI_JNI_CANCEL_REQ_S, aucResv) == 128, "zero bytes at 128");
static_assert(sizeof(OSGI_JNI_PROCESS_REQ_S) == 300, "progress request is 300 bytes");
static_assert(__builtin_offsetof(OSGI_JNI_PROCESS_REQ_S, acPluginName) == 148, "name at 148");
static_assert(__builtin_offsetof(OSGI_JNI_PROCESS_REQ_S, aucResv2) == 276, "zero bytes at 276");
static_assert(sizeof(OSGI_JNI_PROCESS_REPLY_S) == 224, "progress reply is 224 bytes");
static_assert(__builtin_offsetof(OSGI_JNI_PROCESS_REPLY_S, uiStatus) == 136, "status at 136");
static_assert(__builtin_offsetof(OSGI_JNI_PROCESS_REPLY_S, acState) == 204, "state at 204");
static_assert(__builtin_offsetof(OSGI_JNI_PROCESS_REPLY_S, uiPercent) == 220, "percent at 220");
static_assert(sizeof(OSGI_JNI_QUERY_LIST_S) == 32936, "query list is 32,936 bytes");
static_assert(__builtin_offsetof(OSGI_JNI_QUERY_LIST_S, uiFlag) == 16, "flag at 16");
static_assert(__builtin_offsetof(OSGI_JNI_QUERY_LIST_S, uiCount) == 148, "count at 148");
static_assert(__builtin_offsetof(OSGI_JNI_QUERY_LIST_S, aacBundleName) == 168, "names at 168");
static_assert(sizeof(OSGI_JNI_BUNDLE_INFO_S) == 168, "state entry is 168 bytes");
static_assert(__builtin_offsetof(OSGI_JNI_BUNDLE_INFO_S, acVersion) == 128, "version at 128");
static_assert(__builtin_offsetof(OSGI_JNI_BUNDLE_INFO_S, acState) == 152, "state at 152");
static_assert(sizeof(OSGI_JNI_STATE_LIST_S) == 43216, "state list is 43,216 bytes");
static_assert(__builtin_offsetof(OSGI_JNI_STATE_LIST_S, uiStatus) == 136, "status at 136");
static_assert(__builtin_offsetof(OSGI_JNI_STATE_LIST_S, iCount) == 204, "count at 204");
static_assert(__builtin_offsetof(OSGI_JNI_STATE_LIST_S, astBundle) == 208, "entries at 208");
#endif

/* The call to "osgi_proxy": the time-out comes from the command id (and, for an operation, the
 * action), the tag word rotates through 281 to 286. A NULL request or reply goes as a 4-byte word.
 * The platform's status comes back unchanged. */
ZX_BRIDGE_EXPORT uint32_t OSGI_JNI_BundleMng_RpcCall(uint32_t mid, uint32_t msgId, const void *req, uint32_t reqLen,
                                                     void *reply, uint32_t replyLen);
/* Logs and sends one operation; the Java result of the reply word, else of the call's status.
 * 1 for a NULL name or action. */
ZX_BRIDGE_EXPORT int32_t OSGI_JNI_Bundle_Operate(uint32_t mid, const char *bundleName, const char *action);

/* {"Name","Version","State"} of one entry into *out. */
ZX_BRIDGE_EXPORT uint32_t ZX_OSGI_JNI_BundleInfotoJson(const OSGI_JNI_BUNDLE_INFO_S *info, json_object **out);
/* The names of a Java String array (at most 256) as a query list in a new shared block. */
ZX_BRIDGE_EXPORT uint32_t OSGI_JNI_FillVdataFromJsonPara(PluginVDataRecord *rec, JNIEnv *env, jobjectArray names);
/* The state list named by rec as {"Result":0,"BundleLists":[...]}; null on failure. */
ZX_BRIDGE_EXPORT jstring OSGI_JNI_FillJsonStrFromVdata(JNIEnv *env, const PluginVDataRecord *rec);
/* {"Result","State","Percent"} of an install progress reply; null on failure. */
ZX_BRIDGE_EXPORT jstring OSGI_JNI_FillInstallProcess(JNIEnv *env, const OSGI_JNI_PROCESS_REPLY_S *reply);

/* The operation log. */
/* "install", "start", "uninstall" as "Install", "Run", "UnInstall"; any other text unchanged. out
 * holds 128 bytes. */
ZX_BRIDGE_EXPORT uint32_t OSGI_JNI_TransferLogAction(const char *action, char *out);
/* Appends "<time> [<action>] <bundle>\r\n"; 0 when written, 1 otherwise. */
ZX_BRIDGE_EXPORT uint32_t OSGI_JNI_Log_Record(const char *action, const char *bundleName);
/* Creates the log file empty; 1 when it cannot be created. */
ZX_BRIDGE_EXPORT uint32_t OSGI_Bundle_Create_LogFile(void);

#ifdef __cplusplus
}
#endif

#endif
