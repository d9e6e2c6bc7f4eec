/*
 * The wire catalogue: every command id and every request and reply record that travels between
 * the bridge library and the gateway's service processes, one header per destination service.
 * The bridge and the simulator both include these headers, so a record has one layout and a
 * command one id. All records are packed and little-endian (the gateway's byte order), and every
 * size and field offset is checked at compile time, in C and in C++.
 *
 * Naming: command ids of calls are ZX_<SERVICE>_RPC_<OPERATION>, of one-way messages
 * ZX_<SERVICE>_NOTICE_<WHAT>, event ids ZX_EVENT_<WHAT>; records are ZX_<SERVICE>_<NAME>_S with
 * type-prefixed fields (uiCount, acBundleName), endpoint names ZX_<SERVICE>_ENDPOINT. SERVICE is
 * one of TARN, APPM ("app_m"), CWMP, WIFI, ZEL, VOICE, USB ("usb_mngt"), OSGI ("osgi_proxy") and
 * EVENT (the event centre); records several services share are ZX_WIRE_<NAME>_S. A few names are
 * the services' own and kept as they spell them (TunnelVDataRecord, PluginVDataRecord,
 * ZX_WIFI_JNI_RPC_GET_WLANHOSTINFO). The 84-byte routing header in front of every call is the
 * platform's ZX_MSG_HEAD_S (zx_msg.h). A request or reply that is one 32-bit word or a text has
 * no record; the comment of its id says so where it matters.
 */
#ifndef ZX_WIRE_COMMON_H
#define ZX_WIRE_COMMON_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define ZX_WIRE_ASSERT(cond, text) static_assert(cond, text)
#else
#define ZX_WIRE_ASSERT(cond, text) _Static_assert(cond, text)
#endif

/* The size of a record and the offset of one of its fields, checked where the record is declared. */
#define ZX_WIRE_SIZE(type, size) ZX_WIRE_ASSERT(sizeof(type) == (size), #type " is " #size " bytes")
#define ZX_WIRE_OFFSET(type, field, offset) \
    ZX_WIRE_ASSERT(offsetof(type, field) == (offset), #type "." #field " at " #offset)

#pragma pack(push, 1)
/* A service's answer with a reason: a signed result and the fail-reason text ("usb_mngt"). */
typedef struct {
    int32_t iResult;
    char acFailReason[64];
} ZX_WIRE_RESULT_REASON_S;
#pragma pack(pop)
ZX_WIRE_SIZE(ZX_WIRE_RESULT_REASON_S, 68);
ZX_WIRE_OFFSET(ZX_WIRE_RESULT_REASON_S, iResult, 0);
ZX_WIRE_OFFSET(ZX_WIRE_RESULT_REASON_S, acFailReason, 4);

#endif
