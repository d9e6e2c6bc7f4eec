/*
 * Entity native service: the bus link of the Java virtual machine process ("jamvm"), its message
 * thread, and the numbered command dispatcher of JNINativeMethods.
 */
#ifndef L2TP_JNI_H
#define L2TP_JNI_H

#include <stdint.h>

#include "shared_state.h"
#include "zx_bridge.h"

#ifdef __cplusplus
extern "C" {
#endif

/* JniInitFlag, handle and g_stJNIOsgiMid, defined in this unit, are declared in
 * shared_state.h. */

ZX_BRIDGE_EXPORT uint32_t JNIcreadmsgthread(void);
ZX_BRIDGE_EXPORT void* JNImsgthreadroutine(void* arg);
ZX_BRIDGE_EXPORT uint32_t JNImsgProc(const void* msg);
ZX_BRIDGE_EXPORT uint32_t JNIloadComLib(void);

#ifdef __cplusplus
}
#endif

#endif
