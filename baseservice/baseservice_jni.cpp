// Natives of BaseServiceJNIMethods: each a thin frame over one platform API function.
#include <jni.h>

#include "binding.h"
#include "com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods.h"
#include "zx_velm_jni_api.h"

using zxjni::Binding;

// ---------------------------------------------------------------------------------------------
// System
// ---------------------------------------------------------------------------------------------

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_sysGetCpuUsage(JNIEnv* env, jobject) {
    Binding<128> b(env, "sysGetCpuUsage", __LINE__);
    uint32_t code = ZX_JNI_sysGetCpuUsage(b.buf(), b.size());
    return b.finish(code, __LINE__, " sysGetCpuUsage ret: %u buff:%s");
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_sysGetMemUsage(JNIEnv* env, jobject) {
    Binding<128> b(env, "sysGetMemUsage", __LINE__);
    uint32_t code = ZX_JNI_sysGetMemUsage(b.buf(), b.size());
    return b.finish(code, __LINE__, " sysGetMemUsage ret: %u buff:%s");
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_sysGetLoid(JNIEnv* env, jobject) {
    Binding<128> b(env, "sysGetLoid", __LINE__);
    uint32_t code = ZX_JNI_sysGetLoid(b.buf(), b.size());
    return b.finish(code, __LINE__, " sysGetLoid ret: ret: %u buff:%s");
}
