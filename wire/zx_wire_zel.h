/*
 * "zel": the process behind ZEL_JNI_MSG_RpcCall. The library has the wrapper but sends it no
 * command; its endpoint name is all there is to catalogue.
 */
#ifndef ZX_WIRE_ZEL_H
#define ZX_WIRE_ZEL_H

#include "zx_wire_common.h"

#define ZX_ZEL_ENDPOINT "zel"

#endif
