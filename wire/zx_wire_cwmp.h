/*
 * "cwmp", the remote-management protocol process: the management address when the operator's
 * remote-management feature is on. Called through L2TP_CWMP_MSG_RpcCall.
 */
#ifndef ZX_WIRE_CWMP_H
#define ZX_WIRE_CWMP_H

#include "zx_wire_common.h"

#define ZX_CWMP_ENDPOINT "cwmp"

#define ZX_CWMP_RPC_GET_MGT_ADDRESS 0x47220007u /* answers the management address and its port as two texts */

#pragma pack(push, 1)
/* Reply of the management-address query. */
typedef struct {
    char acMgtAddr[257];
    char acMgtPort[257]; /* decimal text */
} ZX_CWMP_MGT_ADDR_S;
#pragma pack(pop)

ZX_WIRE_SIZE(ZX_CWMP_MGT_ADDR_S, 514);
ZX_WIRE_OFFSET(ZX_CWMP_MGT_ADDR_S, acMgtAddr, 0);
ZX_WIRE_OFFSET(ZX_CWMP_MGT_ADDR_S, acMgtPort, 257);

#endif
