/*
 * Message bus of the gateway platform library.
 *
 * Every process owns at most one endpoint, named by its process name ("jamvm", "tarn", ...).
 * Host behaviour (Linux build):
 *  - Endpoints are AF_UNIX sequenced-packet sockets in the bus directory: ZX_BUS_DIR, or by
 *    default /dev/shm/zxbus-<uid> (created with mode 0700). A peer running as another user is
 *    refused on both sides (ZX_MSG_ERR_PEER).
 *  - A caller keeps one connection per (thread, destination); calls never queue behind other
 *    threads' calls. Every call carries a sequence number, so a reply that arrives after its
 *    call timed out is discarded and never taken for a later call's answer.
 *  - A process may call without ZX_MSG_Init; it then has no endpoint of its own and cannot
 *    receive.
 *  - ZX_TIMEOUT_SCALE (a decimal factor such as 0.01) scales every time-out on this host; the
 *    unscaled value still travels with the call so the service side can see it.
 */
#ifndef ZX_MSG_H
#define ZX_MSG_H

#include <stdint.h>

#include "zx_errno.h"

#ifdef __cplusplus
extern "C" {
#endif

#define ZX_MSG_PROC_NAME_LEN 32u       /* name field of the routing header */
#define ZX_MSG_MAX_NAME 63u            /* longest endpoint name ZX_MSG_Init accepts */
#define ZX_MSG_MAX_DATA (128u * 1024u) /* largest request or reply body */
#define ZX_MSG_MAX_MID 1024u           /* module ids 0 .. ZX_MSG_MAX_MID - 1 may have handlers */

/* The 84-byte routing header in front of every message. Its bytes travel exactly as the caller
 * wrote them; the bus itself reads only the destination name. */
#pragma pack(push, 1)
typedef struct {
    uint32_t uiSrcWord;
    char acSrcProcName[ZX_MSG_PROC_NAME_LEN];
    uint32_t uiMid;
    char acDstProcName[ZX_MSG_PROC_NAME_LEN];
    uint32_t uiTag;
    uint8_t aucResv[8];
} ZX_MSG_HEAD_S;

/* What a handler registered with ZX_MSG_RegisterMID receives: the routing header as sent, the
 * message id, the module id the message was dispatched on, and the data. */
typedef struct {
    ZX_MSG_HEAD_S stHead;
    uint32_t uiMsgId;
    uint32_t uiDispatchMid;
    uint32_t uiDataLen;
    uint8_t aucData[];
} ZX_MSG_RECV_S;
#pragma pack(pop)

#ifdef __cplusplus
static_assert(sizeof(ZX_MSG_HEAD_S) == 84, "routing header is 84 bytes");
static_assert(__builtin_offsetof(ZX_MSG_HEAD_S, acSrcProcName) == 4, "source name at 4");
static_assert(__builtin_offsetof(ZX_MSG_HEAD_S, uiMid) == 36, "module id word at 36");
static_assert(__builtin_offsetof(ZX_MSG_HEAD_S, acDstProcName) == 40, "destination at 40");
static_assert(__builtin_offsetof(ZX_MSG_HEAD_S, uiTag) == 72, "tag word at 72");
static_assert(__builtin_offsetof(ZX_MSG_HEAD_S, aucResv) == 76, "trailing bytes at 76");
static_assert(sizeof(ZX_MSG_RECV_S) == 96, "received message head is 96 bytes");
#endif

/* Handler of incoming messages; msg points to a ZX_MSG_RECV_S valid during the call. For a
 * synchronous call the handler's result is the caller's status. */
typedef uint32_t (*ZX_MSG_PROC_FN)(const void *msg);

/* Creates this process's endpoint. sendQueue and recvQueue are the platform's queue lengths
 * (accepted, not needed on this host), flags is reserved. Calling it again with the same name is
 * a success and changes nothing. ZX_ERR_PARAM for a NULL, empty or over-long name (more than
 * ZX_MSG_MAX_NAME characters) or a name with '/'; ZX_MSG_ERR_IN_USE when another live process
 * holds the name or this process already has another name. */
uint32_t ZX_MSG_Init(const char *procName, uint32_t sendQueue, uint32_t recvQueue, uint32_t flags);

/* Sets the handler of a module id (0 .. ZX_MSG_MAX_MID - 1; a later call replaces it; a NULL fn
 * removes it). flag is reserved. ZX_ERR_PARAM for an id out of range. */
uint32_t ZX_MSG_RegisterMID(uint32_t mid, ZX_MSG_PROC_FN fn, uint32_t flag);

/* Waits for the next message to this process's endpoint and hands it to the handler of its module
 * id. timeoutMs 0 waits without limit; flags is reserved. Returns the handler's result,
 * ZX_MSG_ERR_NO_HANDLER when no handler is registered (a caller then receives that status),
 * ZX_MSG_ERR_TIMEOUT when the wait ended, or ZX_MSG_ERR_NOT_INIT (after a pause of 100 ms, so a
 * loop around this call does not spin) when the process has no endpoint. */
uint32_t ZX_MSG_GetAndDispatch(uint32_t timeoutMs, uint32_t flags);

/* Name of the calling process on the bus: the ZX_MSG_Init name, else ZX_PROC_NAME from the
 * environment, else the program's short name. Never NULL; valid for the life of the process. */
const char *ZX_MSG_GetCurProcName(void);

/* Synchronous call: sends header, msgId and the request to the endpoint named in
 * header->acDstProcName and waits up to timeoutMs for the answer. The destination's handler is
 * chosen by mid. At most replyLen answer bytes are copied to reply (reply may be NULL when
 * replyLen is 0). Returns the destination's status unchanged (0 on success), or
 * ZX_MSG_ERR_TIMEOUT, ZX_MSG_ERR_NO_DEST, ZX_MSG_ERR_TRANSPORT, ZX_MSG_ERR_PEER,
 * ZX_MSG_ERR_TOO_BIG, ZX_ERR_PARAM (NULL header, NULL req with reqLen > 0, NULL reply with
 * replyLen > 0). */
uint32_t ZX_MSG_RpcCall(void *header, uint32_t msgId, uint32_t mid, const void *req, uint32_t reqLen, void *reply,
                        uint32_t replyLen, uint32_t timeoutMs);

/* One-way message: delivered to dest's module id 0 handler with the given message id; no answer.
 * The routing header is filled by the bus (source and destination names, the rest 0). Returns 0
 * once the message has been handed to the destination's endpoint. */
uint32_t ZX_MSG_AsyncSendData(const char *dest, uint32_t msgId, const void *data, uint32_t len);

#ifdef __cplusplus
}
#endif

#endif
