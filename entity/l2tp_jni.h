/*
 * Entity native service: the bus link of the Java virtual machine process ("jamvm"), its message
 * thread, and the numbered command dispatcher of JNINativeMethods.
 */
#ifndef L2TP_JNI_H
#define L2TP_JNI_H

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

ZX_BRIDGE_EXPORT extern uint32_t JniInitFlag;     /* 1 once the bus link is up; never reset */
ZX_BRIDGE_EXPORT extern void *handle;             /* dlopen handle of libzx_kor_basic.so */
ZX_BRIDGE_EXPORT extern JNI_OSGI_MID_S g_stJNIOsgiMid;

ZX_BRIDGE_EXPORT uint32_t JNIcreadmsgthread(void);
ZX_BRIDGE_EXPORT void *JNImsgthreadroutine(void *arg);
ZX_BRIDGE_EXPORT uint32_t JNImsgProc(const void *msg);
ZX_BRIDGE_EXPORT uint32_t JNIloadComLib(void);

/* The next tag word of the bundle-management call (281 + n mod 6). Not exported. */
uint32_t JNI_OsgiNextTag(void);

#ifdef __cplusplus
}
#endif

#endif
