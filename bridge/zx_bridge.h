/*
 * Bridge core: the remote-call wrappers to the gateway's service processes, the shared-block
 * transfer of large payloads, and the conversion between Java strings and UTF-8 texts.
 */
#ifndef ZX_BRIDGE_H
#define ZX_BRIDGE_H

#include <jni.h>
#include <stdint.h>

#include "zx_platform.h"
#include "zx_wire_vdata.h"

#define ZX_BRIDGE_EXPORT __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

#define ZX_JNI_ERR_NOMEM 0xF7108001u /* working memory could not be allocated */

/* Remote calls: one destination process, tag word and time-out each. A NULL reply is replaced
 * by a 4-byte scratch word; the platform's status comes back unchanged. */
ZX_BRIDGE_EXPORT uint32_t L2TP_MSG_RpcCall_JNI(uint32_t msgId, const void* req, uint32_t reqLen, void* reply,
                                               uint32_t replyLen);
ZX_BRIDGE_EXPORT uint32_t L2TP_APPM_MSG_RpcCall(uint32_t msgId, const void* req, uint32_t reqLen, void* reply,
                                                uint32_t replyLen);
ZX_BRIDGE_EXPORT uint32_t L2TP_CWMP_MSG_RpcCall(uint32_t msgId, const void* req, uint32_t reqLen, void* reply,
                                                uint32_t replyLen);
ZX_BRIDGE_EXPORT uint32_t ZEL_JNI_MSG_RpcCall(uint32_t msgId, const void* req, uint32_t reqLen, void* reply,
                                              uint32_t replyLen);
ZX_BRIDGE_EXPORT uint32_t TERN_JNI_MSG_RpcCall(uint32_t msgId, const void* req, uint32_t reqLen, void* reply,
                                               uint32_t replyLen);
ZX_BRIDGE_EXPORT uint32_t VOICE_JNI_MSG_RpcCall(uint32_t msgId, const void* req, uint32_t reqLen, void* reply,
                                                uint32_t replyLen);
ZX_BRIDGE_EXPORT uint32_t APPM_JNI_MSG_RpcCall(uint32_t msgId, const void* req, uint32_t reqLen, void* reply,
                                               uint32_t replyLen);
ZX_BRIDGE_EXPORT uint32_t USB_JNI_MSG_RpcCall(uint32_t msgId, const void* req, uint32_t reqLen, void* reply,
                                              uint32_t replyLen);
ZX_BRIDGE_EXPORT uint32_t OSGi_JNI_MSG_RpcCall(uint32_t msgId, const void* req, uint32_t reqLen, void* reply,
                                               uint32_t replyLen);
ZX_BRIDGE_EXPORT uint32_t ZEL_WIFI_JNI_MSG_RpcCall(uint32_t msgId, const void* req, uint32_t reqLen, void* reply,
                                                   uint32_t replyLen);

/* Shared-block transfer. The writer creates and fills a block; the reader reads and frees it. */
ZX_BRIDGE_EXPORT uint32_t L2TP_API_WriteVData(TunnelVDataRecord* rec, const void* data, uint32_t len);
ZX_BRIDGE_EXPORT uint32_t JNI_API_ReadVData(const TunnelVDataRecord* rec, void** out);
ZX_BRIDGE_EXPORT uint32_t OSGI_JNI_ZipWriteVData(PluginVDataRecord* rec, const void* data, uint32_t len);
ZX_BRIDGE_EXPORT uint32_t OSGI_JNI_ReadUnzipVData(const PluginVDataRecord* rec, void* dst);

/* Java strings to and from UTF-8 through java.lang.String and the "utf-8" charset; an empty
 * string is null in both directions. jstring2char's text is released with free(). */
ZX_BRIDGE_EXPORT char* jstring2char(JNIEnv* env, jstring str);
ZX_BRIDGE_EXPORT jstring char2jstring(JNIEnv* env, const char* str);

#ifdef __cplusplus
}
#endif

#endif
