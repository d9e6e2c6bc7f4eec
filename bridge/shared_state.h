/*
 * The library's only state shared between units: the bus link's start flag and the handle of the
 * platform library (kept by the entity service, which defines them), and the rotating tag word of
 * the bundle-management call. A unit reaches it through this header, not through the header of
 * the unit that defines it.
 */
#ifndef ZX_SHARED_STATE_H
#define ZX_SHARED_STATE_H

#include <stdint.h>

#include "zx_bridge.h"

#ifdef __cplusplus
extern "C" {
#endif

/* State of the rotating tag word of the bundle-management call: 281 to 286 in turn. */
typedef struct {
    uint32_t uiCount;     /* calls so far */
    uint32_t uiMutexInit; /* 1 once the mutex has been set up */
    ZX_MUTEX stMutex;
} JNI_OSGI_MID_S;

#ifdef __cplusplus
static_assert(sizeof(JNI_OSGI_MID_S) == 32, "the tag-word state is a 32-byte record");
static_assert(__builtin_offsetof(JNI_OSGI_MID_S, stMutex) == 8, "mutex at 8");
#endif

ZX_BRIDGE_EXPORT extern uint32_t JniInitFlag; /* 1 once the bus link is up; never reset */
ZX_BRIDGE_EXPORT extern void* handle;         /* dlopen handle of libzx_kor_basic.so */
ZX_BRIDGE_EXPORT extern JNI_OSGI_MID_S g_stJNIOsgiMid;

/* The next tag word of the bundle-management call (281 + n mod 6). Not exported. */
uint32_t JNI_OsgiNextTag(void);

#ifdef __cplusplus
}
#endif

#endif
