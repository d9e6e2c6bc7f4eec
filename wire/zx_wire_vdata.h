/*
 * Shared-block records: the small records that travel in a message in place of a payload held in
 * a shared data block. The writer creates and fills the block; the reader reads and frees it.
 */
#ifndef ZX_WIRE_VDATA_H
#define ZX_WIRE_VDATA_H

#include "zx_wire_common.h"

#define ZX_VDATA_COMPRESS_THRESHOLD 2048u /* tunnel payloads longer than this are stored compressed */
#define ZX_VDATA_PLUGIN_CAPACITY 43216u   /* plug-in blocks decompress into this many bytes */

#pragma pack(push, 1)
/* Tunnel-API block: the payload is stored as is when both lengths are equal, compressed otherwise. */
typedef struct {
    uint32_t uivDataID;       /* block id */
    uint32_t uiOriginalLen;   /* length before compression */
    uint32_t uiCompressedLen; /* bytes stored in the block; equal to uiOriginalLen when stored as is */
} TunnelVDataRecord;

/* Plug-in platform block: the payload is always stored compressed. */
typedef struct {
    uint32_t uivDataID;   /* block id */
    uint32_t uiStoredLen; /* compressed size */
} PluginVDataRecord;
#pragma pack(pop)
ZX_WIRE_SIZE(TunnelVDataRecord, 12);
ZX_WIRE_OFFSET(TunnelVDataRecord, uivDataID, 0);
ZX_WIRE_OFFSET(TunnelVDataRecord, uiOriginalLen, 4);
ZX_WIRE_OFFSET(TunnelVDataRecord, uiCompressedLen, 8);
ZX_WIRE_SIZE(PluginVDataRecord, 8);
ZX_WIRE_OFFSET(PluginVDataRecord, uivDataID, 0);
ZX_WIRE_OFFSET(PluginVDataRecord, uiStoredLen, 4);

#endif
