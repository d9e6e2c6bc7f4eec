// The rotating tag word of the bundle-management call. Its state, g_stJNIOsgiMid, is one of the
// entity service's globals (entity/l2tp_jni.cpp).
#include "shared_state.h"

extern "C" uint32_t JNI_OsgiNextTag(void) {
    // The mutex is set up by whichever thread comes first; that step itself is not guarded.
    if (g_stJNIOsgiMid.uiMutexInit != 1) {
        ZX_OS_MutexInit(&g_stJNIOsgiMid.stMutex);
        g_stJNIOsgiMid.uiMutexInit = 1;
    }
    ZX_OS_MutexLock(&g_stJNIOsgiMid.stMutex);
    uint32_t n = g_stJNIOsgiMid.uiCount++;
    ZX_OS_MutexUnLock(&g_stJNIOsgiMid.stMutex);
    return 281 + n % 6;
}
