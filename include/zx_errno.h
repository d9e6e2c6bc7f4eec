/*
 * Status codes of the gateway platform library.
 *
 * Every platform function that returns uint32_t answers 0 on success and one of the codes
 * below on failure. The codes live in the 0xF7F0xxxx range so they never collide with the
 * codes of the service processes (bundle manager 0xF721xxxx, configuration 0xF71xxxxx, ...),
 * which the bus hands back to a caller unchanged.
 */
#ifndef ZX_ERRNO_H
#define ZX_ERRNO_H

#include <stdint.h>

#define ZX_OK 0u

/* general */
#define ZX_ERR_PARAM 0xF7F00001u       /* null pointer, zero size or otherwise invalid argument */
#define ZX_ERR_CUT 0xF7F00002u         /* the result did not fit and was cut (still terminated) */
#define ZX_ERR_NOMEM 0xF7F00003u       /* memory could not be allocated */
#define ZX_ERR_SYS 0xF7F00004u         /* a system call failed; ZX_OS_GetLastErr() tells errno */
#define ZX_ERR_NOT_FOUND 0xF7F00005u   /* no such name (feature, platform value, interface) */
#define ZX_ERR_CORRUPT 0xF7F00006u     /* compressed input is malformed or truncated */
#define ZX_ERR_NOSPACE 0xF7F00007u     /* output capacity too small for the result */
#define ZX_ERR_UNSUPPORTED 0xF7F00008u /* not available on this host */

/* message bus */
#define ZX_MSG_ERR_TIMEOUT 0xF7F01001u    /* no answer within the time-out */
#define ZX_MSG_ERR_NO_DEST 0xF7F01002u    /* no endpoint of that name is alive */
#define ZX_MSG_ERR_TRANSPORT 0xF7F01003u  /* the connection failed or broke during the call */
#define ZX_MSG_ERR_PEER 0xF7F01004u       /* the peer runs as another user and was refused */
#define ZX_MSG_ERR_TOO_BIG 0xF7F01005u    /* request larger than ZX_MSG_MAX_DATA */
#define ZX_MSG_ERR_NO_HANDLER 0xF7F01006u /* the destination has no handler for the module id */
#define ZX_MSG_ERR_IN_USE 0xF7F01007u     /* another live process holds the endpoint name */
#define ZX_MSG_ERR_NOT_INIT 0xF7F01008u   /* this process has no endpoint (ZX_MSG_Init not called) */
#define ZX_MSG_ERR_BAD_FRAME 0xF7F01009u  /* a frame of bad length, magic or kind was received */

/* shared data blocks */
#define ZX_VDATA_ERR_BAD_ID 0xF7F02001u /* unknown, freed or stale block id */
#define ZX_VDATA_ERR_FULL 0xF7F02002u   /* no slot or no room left in the arena */
#define ZX_VDATA_ERR_RANGE 0xF7F02003u  /* length larger than the block */
#define ZX_VDATA_ERR_ARENA 0xF7F02004u  /* the shared arena could not be created or mapped */

#endif
