// Natives of BaseServiceJNIMethods: each a thin frame (binding.h) over one platform API function.
// Every native of the class that traces the line of its call lives in this file, so that no two
// of them record the same line of the unit baseservice_jni; the bundle natives, whose lines are
// fixed numbers, are in bundle_bindings.cpp.
#include <jni.h>

#include <algorithm>

#include "binding.h"
#include "com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods.h"
#include "zx_velm_jni_api.h"
#include "zx_velm_usb.h"

using zxjni::Binding;
using zxjni::JavaText;
using zxjni::kBaseServiceFile;
using zxjni::PinnedBytes;
using zxjni::PlatformBuffer;
using zxtrace::kBaseService;  // the unit every trace of this file belongs to

namespace {

// Every String reply of the USB natives ends with a trace of the buffer itself, after a failure
// has cleared it.
constexpr const char* kReplyTrace = "%s\n";

uint32_t u32(jint value) { return static_cast<uint32_t>(value); }

}  // namespace

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

// ---------------------------------------------------------------------------------------------
// USB devices: each forwards to one ZX_JNI_Usb* function (zx_velm_usb.h), which writes the JSON
// reply; these add the argument traces, the check of read parameters and the transfer of bytes
// between Java arrays and native memory.
// ---------------------------------------------------------------------------------------------

extern "C" JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbRegister(
    JNIEnv* env, jobject, jstring jPlugId, jint type) {
    JavaText plugId(env, jPlugId);
    if (!plugId) {
        zxjni::last_word(__LINE__, 1);
        return nullptr;
    }
    // This entry text has two blanks after its line break.
    Binding<128> b(env, __LINE__,
                   "\r\n  Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbRegister called \r\n");
    b.trace(__LINE__, "\r\n pcPlugId = %s \r\n", plugId.get());
    b.trace(__LINE__, "\r\n iType = %u \r\n", u32(type));
    uint32_t code = ZX_JNI_UsbRegister(plugId.get(), u32(type), b.buf(), b.size());
    return b.finish_with_reply(code, __LINE__, kReplyTrace);
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbUnregister(JNIEnv* env, jobject, jstring jPlugId) {
    JavaText plugId(env, jPlugId);
    if (!plugId) {
        zxjni::last_word(__LINE__, 1);
        return nullptr;
    }
    Binding<128> b(env, "usbUnregister", __LINE__);
    b.trace(__LINE__, "\r\n pcPlugId = %s \r\n", plugId.get());
    uint32_t code = ZX_JNI_UsbUnregister(plugId.get(), b.buf(), b.size());
    return b.finish_with_reply(code, __LINE__, kReplyTrace);
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbLock(JNIEnv* env, jobject, jint devId) {
    Binding<128> b(env, "usbLock", __LINE__);
    b.trace(__LINE__, "\r\n iDevId = %u \r\n", u32(devId));
    uint32_t code = ZX_JNI_UsbLock(u32(devId), b.buf(), b.size());
    return b.finish_with_reply(code, __LINE__, kReplyTrace);
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbUnlock(JNIEnv* env, jobject, jint devId) {
    // This entry text has two blanks before "called", and the argument trace two before its end.
    Binding<128> b(env, __LINE__,
                   "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbUnlock  called \r\n");
    b.trace(__LINE__, "\r\n iDevId = %u  \r\n", u32(devId));
    uint32_t code = ZX_JNI_UsbUnLock(u32(devId), b.buf(), b.size());
    return b.finish_with_reply(code, __LINE__, kReplyTrace);
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbOpen(JNIEnv* env, jobject, jint devId) {
    Binding<128> b(env, "usbOpen", __LINE__);
    b.trace(__LINE__, "\r\n iDevId = %u \r\n", u32(devId));
    uint32_t code = ZX_JNI_UsbOpen(u32(devId), b.buf(), b.size());
    return b.finish_with_reply(code, __LINE__, kReplyTrace);
}

extern "C" JNIEXPORT jboolean JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbDataAvailable(JNIEnv*, jobject, jint handle) {
    zxjni::trace_entry("usbDataAvailable", __LINE__);
    zxjni::trace(__LINE__, "\r\n iHandle = %u \r\n", u32(handle));
    uint32_t flag = 0;  // false unless the platform says otherwise; its code is not consulted
    (void)ZX_JNI_UsbDataAvailable(u32(handle), &flag);
    zxjni::trace(__LINE__, "ZX_JNI_UsbDataAvailable %u\n", flag);
    return flag ? JNI_TRUE : JNI_FALSE;
}

extern "C" JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbRead(
    JNIEnv* env, jobject, jint handle, jobject holder, jint offset, jint count, jint timeOut) {
    Binding<128> b(env, "usbRead", __LINE__);
    b.trace(__LINE__, "\r\n iHandle = %u \r\n", u32(handle));
    b.trace(__LINE__, "\r\n iOffset = %u \r\n", u32(offset));
    b.trace(__LINE__, "\r\n iCount = %u \r\n", u32(count));
    b.trace(__LINE__, "\r\n iTimeOut = %u \r\n", u32(timeOut));
    if (handle < 0 || offset < 0 || count < 0 || timeOut < 0) {
        b.trace(__LINE__, "\r\n Illegal parameters !\r\n");
        return nullptr;
    }
    const uint32_t length = u32(offset) + u32(count);
    if (length > INT32_MAX) return nullptr;  // no Java array that long: as if the block could not be had
    // A zero-length read still reaches the device; the allocator refuses empty blocks, so it gets one byte.
    PlatformBuffer block(std::max<uint32_t>(length, 1), kBaseServiceFile, __LINE__);
    if (!block) return nullptr;
    uint32_t code = ZX_JNI_UsbRead(u32(handle), reinterpret_cast<uint8_t*>(block.get()), u32(offset), u32(count),
                                   timeOut, b.buf(), b.size());
    if (code != 0) return nullptr;
    if (!zxjni::store_byte_array(env, holder, "bytearray", block.get(), static_cast<jsize>(length))) return nullptr;
    return b.finish_with_reply(code, __LINE__, kReplyTrace);
}

extern "C" JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbWrite(
    JNIEnv* env, jobject, jint handle, jbyteArray data, jint offset, jint count) {
    Binding<128> b(env, "usbWrite", __LINE__);
    b.trace(__LINE__, "\r\n iHandle = %u \r\n", u32(handle));
    b.trace(__LINE__, "\r\n iOffset = %u \r\n", u32(offset));
    b.trace(__LINE__, "\r\n iCount = %u \r\n", u32(count));
    uint32_t code = 0;
    {
        // A null array reaches the platform function as a null buffer, which refuses it.
        PinnedBytes bytes(env, data);  // released with mode 0: copied back, then freed
        code = ZX_JNI_UsbWrite(u32(handle), reinterpret_cast<const uint8_t*>(bytes.get()), u32(offset), u32(count),
                               b.buf(), b.size());
    }
    return b.finish_with_reply(code, __LINE__, kReplyTrace);
}

extern "C" JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbSetSerial(
    JNIEnv* env, jobject, jint handle, jint rate, jint parity, jint bits, jint stopBits, jboolean hardwareFlowControl,
    jboolean softwareFlowControl) {
    Binding<128> b(env, "usbSetSerial", __LINE__);
    b.trace(__LINE__, "\r\n iHandle = %u \r\n", u32(handle));
    b.trace(__LINE__, "\r\n iRate = %u \r\n", u32(rate));
    b.trace(__LINE__, "\r\n iParity = %u \r\n", u32(parity));
    b.trace(__LINE__, "\r\n iRits = %u \r\n", u32(bits));
    b.trace(__LINE__, "\r\n iStopBits = %u \r\n", u32(stopBits));
    b.trace(__LINE__, "\r\n iHwFlowCtl = %u \r\n", static_cast<uint32_t>(hardwareFlowControl));
    b.trace(__LINE__, "\r\n iSwFlowCtl = %u \r\n", static_cast<uint32_t>(softwareFlowControl));
    uint32_t code = ZX_JNI_UsbSetSerial(u32(handle), u32(rate), u32(parity), u32(bits), u32(stopBits),
                                        hardwareFlowControl, softwareFlowControl, b.buf(), b.size());
    return b.finish_with_reply(code, __LINE__, kReplyTrace);
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbClose(JNIEnv* env, jobject, jint handle) {
    Binding<128> b(env, "usbClose", __LINE__);
    b.trace(__LINE__, "\r\n iHandle = %u \r\n", u32(handle));
    uint32_t code = ZX_JNI_UsbClose(u32(handle), b.buf(), b.size());
    return b.finish_with_reply(code, __LINE__, kReplyTrace);
}

extern "C" JNIEXPORT jint JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbUnregisterAll(JNIEnv*, jobject) {
    zxjni::trace_entry("usbUnregisterAll", __LINE__);
    return static_cast<jint>(ZX_JNI_UsbUnregisterAll());
}
