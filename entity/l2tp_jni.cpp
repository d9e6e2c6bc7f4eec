// Entity native service: start-up of the bus link and the message thread. Platform functions of
// the bus are looked up at run time in libzx_kor_basic.so; traces are ordinary imports.
#include "l2tp_jni.h"

#include <dlfcn.h>
#include <jni.h>

#include "com_zentrix_nodalis_deviceservice_entity_JNINativeMethods.h"

extern "C" {
uint32_t JniInitFlag = 0;
void* handle = nullptr;
JNI_OSGI_MID_S g_stJNIOsgiMid = {};
}

namespace {

constexpr const char* kFile = "l2tp_jni";
constexpr uint32_t kLevel = 216;
constexpr const char* kBasicLib = "libzx_kor_basic.so";
constexpr uint32_t kMidVelmOs = 0;  // ZX_MID_VELM_OS
constexpr uint32_t kModuleIdWordOffset = 36;

using MsgInitFn = uint32_t (*)(const char*, uint32_t, uint32_t, uint32_t);
using RegisterMidFn = uint32_t (*)(uint32_t, ZX_MSG_PROC_FN, uint32_t);
using GetAndDispatchFn = uint32_t (*)(uint32_t, uint32_t);
using PthreadCreateFn = uint32_t (*)(ZX_THREAD_ID*, const void*, ZX_THREAD_FN, void*);

template <class Fn>
Fn lookup(const char* name) {
    return reinterpret_cast<Fn>(dlsym(handle, name));
}

// Opens a library and closes it again: the probe leaves nothing loaded of its own.
bool probe(const char* lib, uint32_t okLine, const char* okText, uint32_t failLine, const char* failText) {
    void* h = dlopen(lib, RTLD_NOW);
    if (!h) {
        ZX_PROC_DBG_TraceS(kLevel, kFile, failLine, 0, "%s", failText);
        return false;
    }
    dlclose(h);
    ZX_PROC_DBG_TraceS(kLevel, kFile, okLine, 0, "%s", okText);
    return true;
}

}  // namespace

extern "C" uint32_t JNImsgProc(const void* msg) {
    if (!msg) return 0xFFFFFFFF;
    ZX_PROC_DBG_TraceS(kLevel, kFile, 740, 0, "Come in JNImsgProc\r\n");
    uint32_t mid;
    ZX_OS_MemCpy_S(&mid, sizeof mid, static_cast<const char*>(msg) + kModuleIdWordOffset, sizeof mid);
    if (mid == kMidVelmOs)
        ZX_PROC_DBG_TraceS(kLevel, kFile, 744, 0, "ZX_MID_VELM_OS \r\n");
    else
        ZX_PROC_DBG_TraceS(kLevel, kFile, 748, 0, "default \r\n");
    return 0;
}

extern "C" void* JNImsgthreadroutine(void*) {
    ZX_OS_ModifyThreadName("JNImsgthread");
    auto getAndDispatch = lookup<GetAndDispatchFn>("ZX_MSG_GetAndDispatch");
    if (!getAndDispatch) {
        ZX_PROC_DBG_TraceS(kLevel, kFile, 764, 0, "\r\n dlsym ZX_MSG_GetAndDispatch error\r\n");
        return nullptr;
    }
    for (;;) getAndDispatch(0, 0);
}

extern "C" uint32_t JNIcreadmsgthread(void) {
    ZX_PROC_DBG_TraceS(kLevel, kFile, 784, 0, "start loading libzx_kor_basic.so \n");
    handle = dlopen(kBasicLib, RTLD_NOW);
    if (!handle) {
        ZX_PROC_DBG_TraceS(kLevel, kFile, 788, 0, "\r\n dlopen libzx_kor_basic.so error\r\n");
        return 0xFFFFFFFF;
    }
    auto pthreadCreate = lookup<PthreadCreateFn>("ZX_OS_PthreadCreate");
    if (!pthreadCreate) {
        ZX_PROC_DBG_TraceS(kLevel, kFile, 795, 0, "\r\n dlsym ZX_OS_PthreadCreate error\r\n");
        return 0xFFFFFFFF;
    }
    ZX_THREAD_ID threadId = 0;
    if (pthreadCreate(&threadId, nullptr, JNImsgthreadroutine, nullptr) != 0) {
        ZX_PROC_DBG_TraceS(kLevel, kFile, 803, 0, "JNI ZX_OS_PthreadCreate error \r\n");
        return 0xFFFFFFFF;
    }
    return 0;
}

extern "C" uint32_t JNIloadComLib(void) {
    if (!probe("libjson-c.so", 821, "start loading libjson-c.so \n", 817, "\r\n dlopen libjson-c.so error\r\n"))
        return 1;
    if (!probe("libzx_kor_json.so", 831, "start loading libzx_kor_json.so \n", 827,
               "\r\n dlopen libzx_kor_json.so error\r\n"))
        return 1;
    if (!probe("libzx_mev_dm.so", 842, "start loading libzx_mev_dm.so \n", 838, "\r\n dlopen libzx_mev_dm.so error\r\n"))
        return 1;
    if (!probe("libzx_mev_cfg.so", 852, "start loading libzx_mev_cfg.so \n", 848,
               "\r\n dlopen libzx_mev_cfg.so error\r\n"))
        return 1;
    return 0;
}

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

// ---------------------------------------------------------------------------------------------
// Natives of JNINativeMethods
// ---------------------------------------------------------------------------------------------

extern "C" JNIEXPORT jint JNICALL Java_com_zentrix_nodalis_deviceservice_entity_JNINativeMethods_startThread(JNIEnv*,
                                                                                                         jobject) {
    if (JniInitFlag) return 0;
    if (!handle) {
        handle = dlopen(kBasicLib, RTLD_NOW);
        if (!handle) {
            ZX_PROC_DBG_TraceS(kLevel, kFile, 1058, 0, "\r\n dlopen libzx_kor_basic.so error\r\n");
            return 1;
        }
    }
    auto msgInit = lookup<MsgInitFn>("ZX_MSG_Init");
    if (!msgInit) {
        ZX_PROC_DBG_TraceS(kLevel, kFile, 1067, 0, "\r\n dlsym ZX_MSG_Init error\r\n");
        return 1;
    }
    if (msgInit("jamvm", 1024, 1024, 0) != 0) {
        ZX_PROC_DBG_TraceS(kLevel, kFile, 1075, 0, "JNI ZX_MSG_Init fail\r\n");
        return 1;
    }
    auto registerMid = lookup<RegisterMidFn>("ZX_MSG_RegisterMID");
    if (!registerMid) {
        ZX_PROC_DBG_TraceS(kLevel, kFile, 1083, 0, "\r\n dlsym ZX_MSG_RegisterMID error\r\n");
        return 1;
    }
    if (registerMid(kMidVelmOs, JNImsgProc, 1) != 0) {
        ZX_PROC_DBG_TraceS(kLevel, kFile, 1091, 0, "JNI ZX_MSG_RegisterMID fail\r\n");
        return 1;
    }
    if (JNIcreadmsgthread() != 0) {
        ZX_PROC_DBG_TraceS(kLevel, kFile, 1099, 0, "jnicreadmsgthread fail\r\n");
        return 1;
    }
    JniInitFlag = 1;
    return 0;
}
