/*
 * Bridge core: the remote-call wrappers to the gateway's service processes, the shared-block
 * transfer of large payloads, and the conversion between Java strings and UTF-8 texts.
 */
#ifndef ZX_BRIDGE_H
#define ZX_BRIDGE_H

#include <jni.h>
#include <stdint.h>

#include "zx_platform.h"

#define ZX_BRIDGE_EXPORT __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/* Record sent in place of a tunnel-API payload held in a shared block. */
#pragma pack(push, 1)
typedef struct {
    uint32_t uivDataID;       /* block id */
    uint32_t uiOriginalLen;   /* length before compression */
    uint32_t uiCompressedLen; /* bytes stored in the block; equal to uiOriginalLen when stored as is */
} TunnelVDataRecord;

/* Record sent in place of a plug-in payload held in a shared block (always compressed). */
typedef struct {
    uint32_t uivDataID;   /* block id */
    uint32_t uiStoredLen; /* compressed size */
} PluginVDataRecord;
#pragma pack(pop)

#ifdef __cplusplus
static_assert(sizeof(TunnelVDataRecord) == 12, "tunnel block record is 12 bytes");
static_assert(__builtin_offsetof(TunnelVDataRecord, uiOriginalLen) == 4, "original length at 4");
static_assert(__builtin_offsetof(TunnelVDataRecord, uiCompressedLen) == 8, "stored length at 8");
static_assert(sizeof(PluginVDataRecord) == 8, "plug-in block record is 8 bytes");
static_assert(__builtin_offsetof(PluginVDataRecord, uiStoredLen) == 4, "stored length at 4");
#endif

#define ZX_VDATA_COMPRESS_THRESHOLD 2048u   /* tunnel payloads longer than this are compressed */
#define ZX_VDATA_PLUGIN_CAPACITY 43216u     /* plug-in blocks decompress into this many bytes */
#define ZX_JNI_ERR_NOMEM 0xF7108001u        /* working memory could not be allocated */

/* Remote calls: one destination process, tag word and time-out each. A NULL reply is replaced
 * by a 4-byte scratch word; the platform's status comes back unchanged. */
ZX_BRIDGE_EXPORT uint32_t L2TP_MSG_RpcCall_JNI(uint32_t msgId, const void *req, uint32_t reqLen, void *reply,
                                               uint32_t replyLen);
ZX_BRIDGE_EXPORT uint32_t L2TP_APPM_MSG_RpcCall(uint32_t msgId, const void *req, uint32_t reqLen, void *reply,
                                                uint32_t replyLen);
ZX_BRIDGE_EXPORT uint32_t L2TP_CWMP_MSG_RpcCall(uint32_t msgId, const void *req, uint32_t reqLen, void *reply,
                                                uint32_t replyLen);
ZX_BRIDGE_EXPORT uint32_t ZEL_JNI_MSG_RpcCall(uint32_t msgId, const void *req, uint32_t reqLen, void *reply,
                                              uint32_t replyLen);
ZX_BRIDGE_EXPORT uint32_t TERN_JNI_MSG_RpcCall(uint32_t msgId, const void *req, uint32_t reqLen, void *reply,
                                               uint32_t replyLen);
ZX_BRIDGE_EXPORT uint32_t VOICE_JNI_MSG_RpcCall(uint32_t msgId, const void *req, uint32_t reqLen, void *reply,
                                                uint32_t replyLen);
ZX_BRIDGE_EXPORT uint32_t APPM_JNI_MSG_RpcCall(uint32_t msgId, const void *req, uint32_t reqLen, void *reply,
                                               uint32_t replyLen);
ZX_BRIDGE_EXPORT uint32_t USB_JNI_MSG_RpcCall(uint32_t msgId, const void *req, uint32_t reqLen, void *reply,
                                              uint32_t replyLen);
ZX_BRIDGE_EXPORT uint32_t OSGi_JNI_MSG_RpcCall(uint32_t msgId, const void *req, uint32_t reqLen, void *reply,
                                               uint32_t replyLen);
ZX_BRIDGE_EXPORT uint32_t ZEL_WIFI_JNI_MSG_RpcCall(uint32_t msgId, const void *req, uint32_t reqLen, void *reply,
                                                   uint32_t replyLen);

/* Shared-block transfer. The writer creates and fills a block; the reader reads and frees it. */
ZX_BRIDGE_EXPORT uint32_t L2TP_API_WriteVData(TunnelVDataRecord *rec, const void *data, uint32_t len);
ZX_BRIDGE_EXPORT uint32_t JNI_API_ReadVData(const TunnelVDataRecord *rec, void **out);
ZX_BRIDGE_EXPORT uint32_t OSGI_JNI_ZipWriteVData(PluginVDataRecord *rec, const void *data, uint32_t len);
ZX_BRIDGE_EXPORT uint32_t OSGI_JNI_ReadUnzipVData(const PluginVDataRecord *rec, void *dst);

/* Java strings to and from UTF-8 through java.lang.String and the "utf-8" charset; an empty
 * string is null in both directions. jstring2char's text is released with free(). */
ZX_BRIDGE_EXPORT char *jstring2char(JNIEnv *env, jstring str);
ZX_BRIDGE_EXPORT jstring char2jstring(JNIEnv *env, const char *str);

#ifdef __cplusplus
}
#endif

#endif
