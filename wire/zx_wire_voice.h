/*
 * "voice", the voice service: the do-not-disturb state of a telephone (POTS) line. Called through
 * VOICE_JNI_MSG_RpcCall.
 */
#ifndef ZX_WIRE_VOICE_H
#define ZX_WIRE_VOICE_H

#include "zx_wire_common.h"

#define ZX_VOICE_ENDPOINT "voice"

#define ZX_VOICE_RPC_SET_POTS_DND 0x47209064u /* sets a line's do-not-disturb state; no reply read */
#define ZX_VOICE_RPC_GET_POTS_DND 0x47209065u /* answers a line's do-not-disturb state as a signed word */

#pragma pack(push, 1)
/* Do-not-disturb of a line. */
typedef struct {
    uint32_t uiLine;
    uint32_t uiState;
} ZX_VOICE_POTS_DND_SET_REQ_S;

/* The line whose do-not-disturb state is asked for. */
typedef struct {
    uint32_t uiLine;
} ZX_VOICE_POTS_DND_GET_REQ_S;

/* Its state. */
typedef struct {
    int32_t iState;
} ZX_VOICE_POTS_DND_GET_REPLY_S;
#pragma pack(pop)

ZX_WIRE_SIZE(ZX_VOICE_POTS_DND_SET_REQ_S, 8);
ZX_WIRE_OFFSET(ZX_VOICE_POTS_DND_SET_REQ_S, uiLine, 0);
ZX_WIRE_OFFSET(ZX_VOICE_POTS_DND_SET_REQ_S, uiState, 4);
ZX_WIRE_SIZE(ZX_VOICE_POTS_DND_GET_REQ_S, 4);
ZX_WIRE_OFFSET(ZX_VOICE_POTS_DND_GET_REQ_S, uiLine, 0);
ZX_WIRE_SIZE(ZX_VOICE_POTS_DND_GET_REPLY_S, 4);
ZX_WIRE_OFFSET(ZX_VOICE_POTS_DND_GET_REPLY_S, iState, 0);

#endif
