/*
 * Shared data blocks ("virtual data"): payloads too large for a message travel in a block that
 * the writer creates and fills and the reader reads and frees. A block is named by a 32-bit id.
 *
 * Host behaviour (Linux build): the blocks are carved from one shared arena (a file in the bus
 * directory, see zx_msg.h) that every process maps once; an id names a slot and carries its
 * generation, so the id of a freed block is refused even after the slot is reused. Id 0 is never
 * handed out. Blocks are at most ZX_VDATA_MAX_BLOCK bytes. A block nobody frees (the call that
 * carried its id failed, or its reader died) is taken back by the next ZX_VDATA_CreShm once it is
 * older than 240 s, twice the longest call time-out (scaled by ZX_TIMEOUT_SCALE like them).
 */
#ifndef ZX_VDATA_H
#define ZX_VDATA_H

#include <stdint.h>

#include "zx_errno.h"

#ifdef __cplusplus
extern "C" {
#endif

#define ZX_VDATA_MAX_BLOCK (4u * 1024u * 1024u)

/* Creates a block of size bytes (zero-filled) and writes its id to *id.
 * ZX_ERR_PARAM for a NULL id or size 0 or above ZX_VDATA_MAX_BLOCK, ZX_VDATA_ERR_FULL when the
 * arena has no room, ZX_VDATA_ERR_ARENA when the arena cannot be mapped. *id is 0 on failure. */
uint32_t ZX_VDATA_CreShm(uint32_t size, uint32_t *id);

/* Writes len bytes at the start of the block. ZX_VDATA_ERR_BAD_ID for an unknown or freed id,
 * ZX_VDATA_ERR_RANGE when len exceeds the block, ZX_ERR_PARAM for NULL src with len > 0. */
uint32_t ZX_VDATA_UpdateData(uint32_t id, uint32_t len, const void *src);

/* Reads len bytes from the start of the block. Same failures as ZX_VDATA_UpdateData. */
uint32_t ZX_VDATA_ReadData(uint32_t id, uint32_t len, void *dst);

/* Frees the block. ZX_VDATA_ERR_BAD_ID for an unknown or already freed id. */
uint32_t ZX_VDATA_FreeShm(uint32_t id);

#ifdef __cplusplus
}
#endif

#endif
