/*
 * Platform event centre: raises an event with a record for the processes that subscribed to it.
 *
 * Host behaviour (Linux build): the event is delivered by a synchronous bus call to the endpoint
 * "eventcenter" (served by the gateway simulator) with the event id as message id and the record
 * as data, time-out 5000 ms.
 */
#ifndef ZX_EVENTCENTER_H
#define ZX_EVENTCENTER_H

#include <stdint.h>

#include "zx_errno.h"

#ifdef __cplusplus
extern "C" {
#endif

#define ZX_EVENTCENTER_ENDPOINT "eventcenter"

/* 0 when the event centre accepted the event, else its status or the bus's. ZX_ERR_PARAM for a
 * NULL record with len > 0. */
uint32_t EventCenter_GlobalInvokeEvent2(uint32_t eventId, const void *record, uint32_t len);

#ifdef __cplusplus
}
#endif

#endif
