/*
 * The platform's event centre: events raised with EventCenter_GlobalInvokeEvent2 (event id and
 * record). On the host they reach the "eventcenter" endpoint with the event id as message id.
 */
#ifndef ZX_WIRE_EVENTCENTER_H
#define ZX_WIRE_EVENTCENTER_H

#include "zx_wire_common.h"

#define ZX_EVENT_INFORM 12342u          /* a plug-in's event: name and data (record A) */
#define ZX_EVENT_NOTIFY 12348u          /* a plug-in's notification: name and data (record A) */
#define ZX_EVENT_NOTIFY_EXTENDED 12355u /* a notification with two names and data (record B) */

#pragma pack(push, 1)
/* Record A: texts cut to their field less one, a missing text left empty. */
typedef struct {
    uint32_t uiResv;
    char acName[64];
    char acData[864];
} ZX_EVENT_RECORD_A_S;

/* Record B. */
typedef struct {
    char acFirst[64];
    char acSecond[64];
    char acData[864];
} ZX_EVENT_RECORD_B_S;
#pragma pack(pop)

ZX_WIRE_SIZE(ZX_EVENT_RECORD_A_S, 932);
ZX_WIRE_OFFSET(ZX_EVENT_RECORD_A_S, uiResv, 0);
ZX_WIRE_OFFSET(ZX_EVENT_RECORD_A_S, acName, 4);
ZX_WIRE_OFFSET(ZX_EVENT_RECORD_A_S, acData, 68);
ZX_WIRE_SIZE(ZX_EVENT_RECORD_B_S, 992);
ZX_WIRE_OFFSET(ZX_EVENT_RECORD_B_S, acFirst, 0);
ZX_WIRE_OFFSET(ZX_EVENT_RECORD_B_S, acSecond, 64);
ZX_WIRE_OFFSET(ZX_EVENT_RECORD_B_S, acData, 128);

#endif
