// Natives of BaseServiceJNIMethods: each a thin frame (binding.h) over one platform API function.
// Every native of the class that traces the line of its call lives in this file, so that no two
// of them record the same line of the unit baseservice_jni; the bundle natives, whose lines are
// fixed numbers, are in bundle_bindings.cpp.
#include <jni.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "binding.h"
#include "com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods.h"
#include "zx_tern_jni_api.h"
#include "zx_velm_capability.h"
#include "zx_velm_jni_api.h"
#include "zx_velm_storage.h"
#include "zx_velm_usb.h"
#include "zx_wire_app_m.h"
#include "zx_wire_eventcenter.h"
#include "zx_wire_osgi_proxy.h"
#include "zx_wire_voice.h"
#include "zx_wire_wifi.h"
#include "zx_zel_jni_api.h"

using zxjni::Binding;
using zxjni::JavaText;
using zxjni::kBaseServiceFile;
using zxjni::PinnedBytes;
using zxjni::PinnedChars;
using zxjni::PlatformBuffer;
using zxjni::SecretText;
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
    // Refused like a negative parameter, before anything is allocated or read from the device:
    // offset + count beyond the longest Java array would overflow the array the data goes to, and
    // a holder whose class has no byte[] "bytearray" field (or no holder) has nowhere to take the
    // data, which would be read from the device and lost.
    const uint32_t length = u32(offset) + u32(count);
    jfieldID field = zxjni::byte_array_field(env, holder, "bytearray");
    if (handle < 0 || offset < 0 || count < 0 || timeOut < 0 || length > INT32_MAX || !field) {
        b.trace(__LINE__, "\r\n Illegal parameters !\r\n");
        return nullptr;
    }
    // The Java array is made first, so the native block is never larger than what the virtual
    // machine could hold: a count it cannot hold fails here (its OutOfMemoryError cleared) before
    // the block is allocated, and Java receives null as for a block that cannot be had.
    zxjni::LocalRef<jbyteArray> array = zxjni::new_byte_array(env, static_cast<jsize>(length));
    if (!array) return nullptr;
    // A zero-length read still reaches the device; the allocator refuses empty blocks, so it gets one byte.
    PlatformBuffer block(std::max<uint32_t>(length, 1), kBaseServiceFile, __LINE__);
    if (!block) return nullptr;
    uint32_t code = ZX_JNI_UsbRead(u32(handle), reinterpret_cast<uint8_t*>(block.get()), u32(offset), u32(count),
                                   timeOut, b.buf(), b.size());
    if (code != 0) return nullptr;
    env->SetByteArrayRegion(array.get(), 0, static_cast<jsize>(length), reinterpret_cast<const jbyte*>(block.get()));
    env->SetObjectField(holder, field, array.get());
    return b.finish_with_reply(code, __LINE__, kReplyTrace);
}

extern "C" JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbWrite(
    JNIEnv* env, jobject, jint handle, jbyteArray data, jint offset, jint count) {
    Binding<128> b(env, "usbWrite", __LINE__);
    b.trace(__LINE__, "\r\n iHandle = %u \r\n", u32(handle));
    b.trace(__LINE__, "\r\n iOffset = %u \r\n", u32(offset));
    b.trace(__LINE__, "\r\n iCount = %u \r\n", u32(count));
    uint32_t code = 0;
    // An offset or count reaching beyond the array would read (and trace, and send) Java memory
    // that was not passed: such a write reaches the platform function with no buffer, which
    // refuses it as it refuses a null array, before anything is read or written.
    const bool beyond = data && offset >= 0 && count >= 0 &&
                        static_cast<int64_t>(offset) + count > static_cast<int64_t>(env->GetArrayLength(data));
    if (beyond) {
        code = ZX_JNI_UsbWrite(u32(handle), nullptr, u32(offset), u32(count), b.buf(), b.size());
    } else {
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

// ---------------------------------------------------------------------------------------------
// WLAN and LEDs: each forwards to one function of the WLAN, LED and LAN-port API (zx_zel_jni_api.h)
// except getWLANHostInfo, which asks the WLAN radio service itself. Most answer a Java int and
// trace only their result; none writes the usual entry text.
// ---------------------------------------------------------------------------------------------

namespace {

using WlanText256 = Binding<256, zxjni::OnFailure::Kept>;
using WlanText128 = Binding<128, zxjni::OnFailure::Kept>;

// The 32-byte channel block of wlanSetForbidChannel, from the system allocator.
struct FreeBlock {
    void operator()(uint8_t* p) const { std::free(p); }
};
using ChannelBlock = std::unique_ptr<uint8_t, FreeBlock>;
constexpr uint32_t kChannelBlockSize = 32;

// The answer of a failed wireless host query.
constexpr const char* kHostInfoFailed = "{\"Result\":-1, \"List\":null}";
constexpr uint32_t kHostInfoReplySize = 4096;
constexpr uint32_t kMacSpace = sizeof(ZX_WIFI_HOST_INFO_REQ_S::aacMac[0]) - 1;  // 19 characters

}  // namespace

extern "C" JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanGetSecurity(
    JNIEnv* env, jobject, jint ssidIndex) {
    WlanText256 b(env, WlanText256::Silent{});
    uint32_t code = ZX_JNI_wlanGetSecurity(ssidIndex, b.buf(), b.size());
    b.trace(__LINE__, "\r\n wlanGetSecurity ssidIndex:%u \r\n", u32(ssidIndex));
    return b.answer(code);  // the text as the API left it, failure or not
}

extern "C" JNIEXPORT jint JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanSetSecurity(
    JNIEnv* env, jobject, jint ssidIndex, jstring jFirst, jstring jKey) {
    char reply[256] = {};  // the service's answer is never handed to Java
    JavaText first(env, jFirst);
    if (!first) return zxjni::IntBinding::missing_argument(-1);
    SecretText key(env, jKey);  // wiped before it is freed, whatever the call answers
    if (!key) return zxjni::IntBinding::missing_argument(-1);
    uint32_t code = ZX_JNI_wlanSetSecurity(ssidIndex, first.get(), key.get(), reply, sizeof(reply));
    return zxjni::int_result(code);
}

extern "C" JNIEXPORT jint JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanSetAutoChannelEnable(JNIEnv*, jobject,
                                                                                           jint radioIndex,
                                                                                           jint enable) {
    uint32_t code = ZX_JNI_wlanSetAutoChannelEnable(radioIndex, enable);
    if (code != 0) return -1;  // no trace for a failure
    zxjni::trace(__LINE__, "ZX_JNI_wlanSetAutoChannelEnable ret: %u ", code);
    return 0;
}

extern "C" JNIEXPORT jint JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanSetChannelWidth(
    JNIEnv*, jobject, jint radioIndex, jint width) {
    uint32_t code = ZX_JNI_wlanSetChannelWidth(radioIndex, width);
    if (code != 0) return -1;
    zxjni::trace(__LINE__, "ZX_JNI_wlanSetChannelWidth ret: %u ", code);
    return 0;
}

// A count beyond the array or beyond the 32-byte block is refused with -1 and nothing is sent.
extern "C" JNIEXPORT jint JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanSetForbidChannel(JNIEnv* env, jobject,
                                                                                       jint radioIndex, jint count,
                                                                                       jcharArray channels) {
    PinnedChars chars(env, channels);  // released with mode 0
    if (channels && !chars) {
        env->ExceptionClear();
        return -1;
    }
    if (count > static_cast<jint>(kChannelBlockSize) || (chars && count > chars.length())) return -1;
    ChannelBlock block;
    if (count >= 1) {
        block.reset(static_cast<uint8_t*>(std::malloc(kChannelBlockSize)));
        if (!block) return -1;
        zxjni::low_bytes(chars, count, block.get(), kChannelBlockSize);
    }
    uint32_t code =
        ZX_JNI_wlanSetForbidChannel(radioIndex, count, reinterpret_cast<const char*>(block.get()), kChannelBlockSize);
    chars.reset();
    block.reset();
    if (code != 0) return -1;
    zxjni::trace(__LINE__, "ZX_JNI_wlanSetForbidChannel ret: %u ", code);
    return 0;
}

extern "C" JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanSetState(
    JNIEnv* env, jobject, jint ssidIndex, jint state) {
    WlanText128 b(env, WlanText128::Silent{});
    uint32_t code = ZX_JNI_wlanSetState(ssidIndex, state, b.buf(), b.size());
    return b.finish(code, __LINE__, " ZX_JNI_wlanSetState ret: %u buff:%s");
}

extern "C" JNIEXPORT jint JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanGetState(JNIEnv*, jobject, jint ssidIndex) {
    int32_t state = ZX_JNI_wlanGetState(ssidIndex);
    zxjni::trace(__LINE__, " ZX_JNI_wlanGetState ret: %u", static_cast<uint32_t>(state));
    return state;
}

extern "C" JNIEXPORT jint JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanGetHide(JNIEnv*, jobject, jint ssidIndex) {
    int32_t hide = ZX_JNI_wlanGetHide(ssidIndex);
    zxjni::trace(__LINE__, " JNI wlanGetHide ssidIndex %u ret: %u ", u32(ssidIndex), static_cast<uint32_t>(hide));
    return hide;
}

extern "C" JNIEXPORT jint JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanSetHide(
    JNIEnv*, jobject, jint ssidIndex, jint hide) {
    int32_t result = ZX_JNI_wlanSetHide(ssidIndex, hide);
    zxjni::trace(__LINE__, " JNI wlanSetHide ssidIndex: %u SsidHide:%u  uiResult:%u ", u32(ssidIndex), u32(hide),
                 static_cast<uint32_t>(result));
    return result;
}

extern "C" JNIEXPORT jint JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanStartWPS(JNIEnv*, jobject, jint ssidIndex) {
    uint32_t code = ZX_JNI_startWlanWps(ssidIndex);
    zxjni::trace(__LINE__, " ZX_JNI_startWlanWps ret: %u ", code);
    return zxjni::IntBinding::code(code);
}

extern "C" JNIEXPORT jint JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanGetWPSState(JNIEnv*, jobject, jint ssidIndex) {
    uint32_t code = ZX_JNI_wlanGetWPSState(ssidIndex);
    zxjni::trace(__LINE__, " ZX_JNI_wlanGetWPSState ret: %u ", code);
    return zxjni::IntBinding::code(code);
}

// Asks the WLAN radio service for its hosts: all of them, or those of up to 8 MACs. The second
// argument is not used.
extern "C" JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getWLANHostInfo(
    JNIEnv* env, jobject, jobjectArray jMacs, jint) {
    ZX_OS_Printf("\r\n com_nodalis_deviceservice_impl_BaseServiceJNIMethods called getWLANHostInfo \r\n");
    ZX_WIFI_HOST_INFO_REQ_S request;
    ZX_OS_MemSet_S(&request, sizeof(request), 0, sizeof(request));
    if (jMacs) {
        zxjni::StringArrayArg macs(env, jMacs);
        const jsize n = macs.length();
        if (n > static_cast<jsize>(ZX_WIFI_MAX_HOST_MACS)) {
            ZX_OS_Printf("\r\n apcHostMACList is too long called \r\n");
            return nullptr;
        }
        request.uiCount = static_cast<uint32_t>(n);
        for (jsize i = 0; i < n; ++i) {
            JavaText mac = macs.text(i);  // a null element leaves its entry empty
            if (!mac) continue;
            // A text beyond the entry's 19 characters is cut there; the entry's last byte stays 0.
            ZX_OS_MemCpy_S(request.aacMac[i], kMacSpace, mac.get(), static_cast<uint32_t>(std::strlen(mac.get())));
            ZX_OS_MemFreeD(mac.release(), kBaseServiceFile, __LINE__);  // the platform frees a malloc block with free()
        }
        // One empty MAC asks for every host, like no MAC at all.
        if (n == 1 && request.aacMac[0][0] == '\0') request.uiCount = 0;
    }
    PlatformBuffer reply = PlatformBuffer::malloc_d(kHostInfoReplySize, kBaseServiceFile, __LINE__);
    if (!reply) {
        zxjni::last_word(__LINE__, 1);
        return nullptr;
    }
    ZX_OS_MemSet_S(reply.get(), kHostInfoReplySize, 0, kHostInfoReplySize);
    ZX_OS_Printf("\r\n getWLANHostInfo JNI RPCCALL ZX_WIFI_JNI_RPC_GET_WLANHOSTINFO\r\n");
    uint32_t result = ZEL_WIFI_JNI_MSG_RpcCall(ZX_WIFI_JNI_RPC_GET_WLANHOSTINFO, &request, sizeof(request), reply.get(),
                                               kHostInfoReplySize);
    if (result != 0) {
        zxjni::last_word(__LINE__, result);
        zxjni::trace(__LINE__, "\r\n getWLANHostInfo JNI RPCCall failed\r\n");
        return char2jstring(env, kHostInfoFailed);
    }
    zxjni::trace(__LINE__, "\r\n getWLANHostInfo JNI RPCCall SUCCESS\r\n");
    reply.get()[kHostInfoReplySize - 1] = '\0';  // a reply that fills the block ends inside it
    return char2jstring(env, reply.get());
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_sysGetWLanInfo(JNIEnv* env, jobject, jint ssid) {
    zxjni::trace(__LINE__, "\r\n sysGetWLanInfo called \r\n");
    zxjni::trace(__LINE__, "\r\n ssid = %u \r\n", u32(ssid));
    const uint32_t size = ssid == 0 ? zxjni::HeapBinding::kAllSsidsSize : zxjni::HeapBinding::kOneSsidSize;
    PlatformBuffer block(size, kBaseServiceFile, __LINE__);
    if (!block) {
        zxjni::last_word(__LINE__, 1);
        return nullptr;
    }
    ZX_OS_MemSet_S(block.get(), size, 0, size);
    uint32_t code = ZX_JNI_wlanGetSsidInfo(block.get(), ssid, size);
    if (code != 0) ZX_OS_MemSet_S(block.get(), size, 0, size);
    block.get()[size - 1] = '\0';  // the API copies at most size - 1 characters; keep it so
    return char2jstring(env, block.get());
}

extern "C" JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_LedSetState(
    JNIEnv* env, jobject, jint ledId, jint color, jint ontime, jint offtime) {
    WlanText128 b(env, WlanText128::Silent{});
    b.trace(__LINE__, "LedSetState ledId: %u color:%u ontime:%u offtime:%u", u32(ledId), u32(color), u32(ontime),
            u32(offtime));
    uint32_t code = ZX_JNI_SetLEDState(u32(ledId), u32(color), u32(ontime), u32(offtime), b.buf(), b.size());
    // The API's reply text is not used: Java learns "0" or "-1".
    return char2jstring(env, code == 0 ? "0" : "-1");
}

// ---------------------------------------------------------------------------------------------
// LAN ports: the port status as the configuration service answers it (a failed call already comes
// back from the API as the failure JSON with code 0).
// ---------------------------------------------------------------------------------------------

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetPortStatus(JNIEnv* env, jobject) {
    Binding<512> b(env, "lanGetPortStatus", __LINE__);
    uint32_t code = ZX_JNI_lanGetPortStatus(b.buf(), b.size());
    return b.finish(code, __LINE__, " lanGetPortStatus ret: %u buff:%s");
}

// ---------------------------------------------------------------------------------------------
// LAN devices: the per-device maximum bandwidth, asked of the application-management process
// directly. Java hands the MAC as bare digits (001122AABBCC); the request carries it in colon
// form (TransferMacFormat: at most 12 characters, a ':' after each pair, the terminator at 17; the
// zeroed area ends a shorter text).
// ---------------------------------------------------------------------------------------------

namespace {

constexpr uint32_t kMacAreaSize = 32;
constexpr uint32_t kMaxBandwidthReplySize = 128;
// The entry text of the set operation has two blanks after its first line break.
constexpr const char* kSetMaxBandwidthEntry =
    "\r\n  Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanSetDevMaxBandwidth called \r\n";

// The 40-byte request of the set operation, in host byte order.
struct MaxBandwidthRequest {
    char mac[kMacAreaSize];
    uint32_t firstLimit;
    uint32_t secondLimit;
};
static_assert(sizeof(MaxBandwidthRequest) == 40);
static_assert(offsetof(MaxBandwidthRequest, firstLimit) == 32);
static_assert(offsetof(MaxBandwidthRequest, secondLimit) == 36);

}  // namespace

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanSetDevMaxBandwidth(JNIEnv* env, jobject,
                                                                                        jstring jMac, jint first,
                                                                                        jint second) {
    char reply[kMaxBandwidthReplySize] = {};
    char mac[kMacAreaSize] = {};
    if (JavaText text(env, jMac); text) TransferMacFormat(text.get(), mac);  // a null MAC goes on empty
    zxjni::trace(__LINE__, "%s", kSetMaxBandwidthEntry);
    MaxBandwidthRequest request;
    ZX_OS_MemSet_S(&request, sizeof(request), 0, sizeof(request));
    if (std::strlen(mac) + 1 > kMacAreaSize) return nullptr;
    ZX_OS_StrNCpy_S(request.mac, kMacAreaSize, mac, kMacAreaSize - 1);
    request.firstLimit = u32(first);
    request.secondLimit = u32(second);
    uint32_t result =
        APPM_JNI_MSG_RpcCall(ZX_APPM_RPC_LAN_SET_DEV_MAX_BANDWIDTH, &request, sizeof(request), reply, sizeof(reply));
    if (result == 1) return nullptr;
    reply[sizeof(reply) - 1] = '\0';  // a reply that fills the buffer ends inside it
    return char2jstring(env, reply);
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetDevMaxBandwidth(JNIEnv* env, jobject,
                                                                                        jstring jMac) {
    char reply[kMaxBandwidthReplySize] = {};
    char mac[kMacAreaSize] = {};
    zxjni::trace_entry("lanGetDevMaxBandwidth", __LINE__);
    if (JavaText text(env, jMac); text) {
        ZX_OS_Printf("\r\n str  = %s\r\n", text.get());
        TransferMacFormat(text.get(), mac);
    }
    zxjni::trace(__LINE__, "\r\n  lanSetDevMaxBandwidth pcMac  = %s \r\n", mac);
    uint32_t result = APPM_JNI_MSG_RpcCall(ZX_APPM_RPC_LAN_GET_DEV_MAX_BANDWIDTH, mac,
                                           static_cast<uint32_t>(std::strlen(mac)), reply, sizeof(reply));
    zxjni::trace(__LINE__, "\r\n call GetDevMaxBand finished ret  = %u\r\n", result);
    if (result == 1) return nullptr;
    reply[sizeof(reply) - 1] = '\0';
    return char2jstring(env, reply);
}

// ---------------------------------------------------------------------------------------------
// LAN hosts: the host list, access permissions, black lists, bandwidth, statistics
// ---------------------------------------------------------------------------------------------

namespace {

// What Java receives when a host's counters or a scan list cannot be had.
constexpr const char* kFailureText = ZX_JNI_FAILURE_TEXT;
constexpr uint32_t kBlacklist = zxjni::HeapBinding::kBlacklistSize;
// This binding's entry text names a package path of its own.
constexpr const char* kAccessPermissionEntry =
    "\r\n Java_com_telcora_nodalis_impl_BaseServiceJNIMethods_lanSetDevAccessPermission called \r\n";

}  // namespace

// The host list comes back as a text the API allocated; its presence, not the code, decides.
extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetNetInfo(JNIEnv* env, jobject) {
    char* info = nullptr;
    uint32_t code = ZX_JNI_lanGetNetInfo(&info);
    zxjni::trace(__LINE__, " lanGetNetInfo ret: %u\r\n", code);
    if (!info) {
        char empty[64] = {};
        return char2jstring(env, empty);
    }
    jstring text = char2jstring(env, info);
    zxjni::trace(__LINE__, "[JNI_lanGetNetInfo] pcInfoStr=[%s]\r\n", info);
    ZX_OS_MemFreeD(info, kBaseServiceFile, __LINE__);  // the gateway's free() of the API's copy
    return text;
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanSetDevAccessPermission(JNIEnv* env, jobject,
                                                                                            jstring jDevice, jint b1,
                                                                                            jboolean b2) {
    JavaText device(env, jDevice);
    if (!device) {
        zxjni::last_word(__LINE__, 1);
        return char2jstring(env, "1");  // no trace at all
    }
    Binding<64, zxjni::OnFailure::CodeText> b(env, __LINE__, kAccessPermissionEntry);
    b.trace(__LINE__, "\r\n str = %s\r\n", device.get());
    b.trace(__LINE__, "\r\n b1 = %u\r\n", u32(b1));
    b.trace(__LINE__, "\r\n b2 = %u\r\n", static_cast<uint32_t>(b2));
    uint32_t code = ZX_JNI_lanSetDevAccessPermission(device.get(), b1, b2 ? 1 : 0, b.buf(), b.size());
    // Here the code replaces the reply before the result is traced.
    zxjni::detail::apply_failure_rule(zxjni::OnFailure::CodeText, b.buf(), b.size(), code);
    b.trace(__LINE__, "lanSetDevAccessPermission ret: %u buff:%s", code, b.buf());
    return char2jstring(env, b.buf());
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetDevInternetAccessBlacklist(JNIEnv* env,
                                                                                                   jobject) {
    zxjni::HeapBinding b(env, "lanGetDevInternetAccessBlacklist", __LINE__, kBlacklist,
                         __LINE__);  // the block's own line
    if (!b) return b.no_block(__LINE__);
    b.clear();
    uint32_t code = ZX_JNI_lanGetDevInternetAccessBlacklist(b.buf(), b.size());
    return b.finish(code, __LINE__, "lanGetDevInternetAccessBlacklist ret: %u buff:%s");
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetDevStorageAccessBlacklist(JNIEnv* env,
                                                                                                  jobject) {
    zxjni::HeapBinding b(env, "lanGetDevStorageAccessBlacklist", __LINE__, kBlacklist,
                         __LINE__);  // the block's own line
    if (!b) return b.no_block(__LINE__);
    b.clear();
    uint32_t code = ZX_JNI_lanGetDevStorageAccessBlacklist(b.buf(), b.size());
    return b.finish(code, __LINE__, "lanGetDevStorageAccessBlacklist ret:%u buff:%s");
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetDevBandwidth(JNIEnv* env, jobject) {
    Binding<128> b(env, "lanGetDevBandwidth", __LINE__);
    uint32_t code = ZX_JNI_lanGetDevBandwidth(b.buf(), b.size());
    return b.finish(code, __LINE__, " lanGetDevBandwidth ret: %u buff:%s");
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanSetDevStatsStatus(JNIEnv* env, jobject, jint b1) {
    Binding<128, zxjni::OnFailure::CodeText> b(env, "lanSetDevStatsStatus", __LINE__);
    b.trace(__LINE__, "\r\n  b1 = %u \r\n", u32(b1));
    uint32_t code = ZX_JNI_lanSetDevStatsStatus(b1, b.buf(), b.size());
    return b.finish(code, __LINE__, " lanSetDevStatsStatus ret: %u buff:%s");
}

// One host's traffic counters; a failure is the fixed failure text, never null.
extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getLANHostStats(JNIEnv* env, jobject, jstring jMac) {
    char buf[180] = {};
    JavaText mac(env, jMac);
    if (!mac) {
        zxjni::last_word(__LINE__, 1);
        return char2jstring(env, kFailureText);
    }
    kBaseService.trace_at(222, zxtrace::Line(__LINE__),
                          "Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_getLANHostStats,Macaddress:%s\r\n",
                          mac.get());
    uint32_t code = ZX_JNI_GetLANHostStats(mac.get(), buf, sizeof(buf));
    kBaseService.trace_at(222, zxtrace::Line(__LINE__), "OutPut:%s\r\n", buf);
    mac.reset();
    if (code != 0) {
        zxjni::last_word(__LINE__, code);
        return char2jstring(env, kFailureText);
    }
    return char2jstring(env, buf);
}

// ---------------------------------------------------------------------------------------------
// WAN and L2TP tunnels, the gateway's IP addresses and WAN access rules
// ---------------------------------------------------------------------------------------------

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_sysGetIpAddr(JNIEnv* env, jobject) {
    Binding<512> b(env, "sysGetIpAddr", __LINE__);
    uint32_t code = ZX_JNI_sysGetIpAddr(b.buf(), b.size());
    return b.finish(code, __LINE__, " sysGetIpAddr ret: %u buff:%s \r\n");
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanGetIfStats(JNIEnv* env, jobject) {
    Binding<128> b(env, "wanGetIfStats", __LINE__);
    uint32_t code = ZX_JNI_wanGetIfStats(b.buf(), b.size());
    return b.finish(code, __LINE__, " wanGetIfStats ret: %u buff:%s");
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanGetPppoeAccount(JNIEnv* env, jobject) {
    Binding<128> b(env, "wanGetPppoeAccount", __LINE__);
    uint32_t code = ZX_JNI_wanGetPppoeAccount(b.buf(), b.size());
    b.trace(__LINE__, " wanGetPppoeAccount ret: %u", code);  // the account name is not traced
    return b.answer(code);
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanCreateL2tpTunnel(JNIEnv* env, jobject,
                                                                                      jstring jServer, jstring jUser,
                                                                                      jstring jPassword) {
    JavaText server(env, jServer);
    JavaText user(env, jUser);
    SecretText password(env, jPassword);
    if (!server || !user || !password) {
        zxjni::last_word(__LINE__, 1);
        return nullptr;
    }
    Binding<64> b(env, "wanCreateL2tpTunnel", __LINE__);
    b.trace(__LINE__, "\r\n str = %s \r\n", server.get());
    b.trace(__LINE__, "\r\n str2 = %s \r\n", user.get());
    b.trace(__LINE__, "\r\n str3 = %s \r\n", password.get());
    uint32_t code = ZX_JNI_wanCreateL2tpTunnel(server.get(), user.get(), password.get(), b.buf(), b.size());
    return b.finish(code, __LINE__, " wanCreateL2tpTunnel ret: %u buff:%s");
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanRemoveL2tpTunnel(JNIEnv* env, jobject,
                                                                                      jstring jTunnel) {
    JavaText tunnel(env, jTunnel);
    if (!tunnel) {
        zxjni::last_word(__LINE__, 1);
        return nullptr;
    }
    Binding<64> b(env, "wanRemoveL2tpTunnel", __LINE__);
    b.trace(__LINE__, "\r\n str = %s \r\n", tunnel.get());
    uint32_t code = ZX_JNI_wanRemoveL2tpTunnel(tunnel.get(), b.buf(), b.size());
    return b.finish(code, __LINE__, " wanRemoveL2tpTunnel ret: %u buff:%s");
}

namespace {

// The String[] of the attach and detach natives as one text: the non-null elements joined by ",",
// a "," after every converted element but the one at the last index. The block holds 64 bytes per
// element, zero-filled; a text that does not fit is cut at the block's last byte. Empty when the
// block cannot be had (an empty array asks for 0 bytes).
PlatformBuffer address_list(JNIEnv* env, jobjectArray jAddresses, uint32_t allocLine) {
    zxjni::StringArrayArg addresses(env, jAddresses);
    const uint32_t n = static_cast<uint32_t>(addresses.length());
    // 64 bytes an element: from 2^26 elements on the size would wrap past 32 bits and the block
    // be smaller than the list; such an array is answered as a block that cannot be had.
    if (n > UINT32_MAX / 64) return PlatformBuffer::adopt(nullptr, kBaseServiceFile);
    const uint32_t size = n * 64;
    PlatformBuffer list(size, kBaseServiceFile, allocLine);
    if (!list) return list;
    uint32_t used = 0;
    auto append = [&](const char* text) {
        const uint32_t space = size - used;  // used stays below size: the formatter stores at most space - 1
        int32_t written = ZX_OS_Snprintf_S(list.get() + used, space, space, "%s", text);
        if (written > 0) used += static_cast<uint32_t>(written);
    };
    for (uint32_t i = 0; i < n; ++i) {
        JavaText text = addresses.text(static_cast<jsize>(i));
        if (!text) continue;  // no text, no separator
        kBaseService.trace(zxtrace::Line(__LINE__), " jobjectbyte%u is %s[%u] ", i, text.get(),
                           static_cast<uint32_t>(std::strlen(text.get())));
        append(text.get());
        if (i + 1 < n) append(",");
    }
    return list;
}

}  // namespace

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanAttachL2tpTunnel(JNIEnv* env, jobject,
                                                                                      jstring jTunnel,
                                                                                      jobjectArray jAddresses) {
    Binding<128> b(env, "wanAttachL2tpTunnel", __LINE__);
    JavaText tunnel(env, jTunnel);
    if (!tunnel) {
        zxjni::last_word(__LINE__, 1);
        return nullptr;
    }
    b.trace(__LINE__, " Tunel = %s  ", tunnel.get());
    PlatformBuffer list = address_list(env, jAddresses, __LINE__);
    if (!list) {
        zxjni::last_word(__LINE__, 1);
        return nullptr;
    }
    const uint32_t length = static_cast<uint32_t>(std::strlen(list.get()));
    uint32_t code = ZX_JNI_wanAttachL2tpTunnel(tunnel.get(), list.get(), length, b.buf(), b.size());
    return b.finish(code, __LINE__, " ZX_JNI_wanAttachL2tpTunnel ret: %u buff:%s");
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanDetachL2tpTunnel(JNIEnv* env, jobject,
                                                                                      jstring jTunnel,
                                                                                      jobjectArray jAddresses) {
    Binding<64> b(env, "wanDetachL2tpTunnel", __LINE__);
    JavaText tunnel(env, jTunnel);
    if (!tunnel) {
        zxjni::last_word(__LINE__, 1);
        return nullptr;
    }
    b.trace(__LINE__, "Tunel = %s \r\n", tunnel.get());
    PlatformBuffer list = address_list(env, jAddresses, __LINE__);
    if (!list) {
        zxjni::last_word(__LINE__, 1);
        return nullptr;
    }
    const uint32_t length = static_cast<uint32_t>(std::strlen(list.get()));
    uint32_t code = ZX_JNI_wanDetachL2tpTunnel(tunnel.get(), list.get(), length, b.buf(), b.size());
    return b.finish(code, __LINE__, " ZX_JNI_wanDetachL2tpTunnel ret: %u  buff:%s");
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanGetL2tpTunnelStatus(JNIEnv* env, jobject,
                                                                                         jstring jTunnel) {
    JavaText tunnel(env, jTunnel);
    if (!tunnel) {
        zxjni::last_word(__LINE__, 1);
        return nullptr;
    }
    Binding<64> b(env, "wanGetL2tpTunnelStatus", __LINE__);
    b.trace(__LINE__, "\r\n str = %s \r\n", tunnel.get());
    uint32_t code = ZX_JNI_wanGetL2tpTunnelStatus(tunnel.get(), b.buf(), b.size());
    return b.finish(code, __LINE__, " wanGetL2tpTunnelStatus ret: %u buff:%s");
}

namespace {

// The add and delete natives: the operation first (1 add, 0 delete); -1 for a missing text or any
// failure.
jint access_rule(JNIEnv* env, uint32_t operation, jstring jAddress1, jstring jAddress2, jint port, jstring jText3,
                 const char* argumentsTrace) {
    JavaText address1(env, jAddress1);
    if (!address1) return -1;
    JavaText address2(env, jAddress2);
    if (!address2) return -1;
    JavaText text3(env, jText3);
    if (!text3) return -1;
    kBaseService.trace(zxtrace::Line(__LINE__), argumentsTrace, address1.get(), address2.get(), u32(port), text3.get());
    uint32_t code = ZX_JNI_ipcSetNatInfo(operation, address1.get(), address2.get(), u32(port), text3.get());
    return zxjni::int_result(code);
}

}  // namespace

extern "C" JNIEXPORT jint JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_addWANAccessRule(
    JNIEnv* env, jobject, jstring jAddress1, jstring jAddress2, jint port, jstring jText3) {
    zxjni::IntBinding b("addWANAccessRule", __LINE__);
    return access_rule(env, 1, jAddress1, jAddress2, port, jText3,
                       "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_addWANAccessRule called :%s %s "
                       "%u %s\r\n");
}

extern "C" JNIEXPORT jint JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_deleteWANAccessRule(
    JNIEnv* env, jobject, jstring jAddress1, jstring jAddress2, jint port, jstring jText3) {
    zxjni::IntBinding b("deleteWANAccessRule", __LINE__);
    return access_rule(env, 0, jAddress1, jAddress2, port, jText3,
                       "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_deleteWANAccessRule called :%s "
                       "%s %u %s\r\n");
}

// ---------------------------------------------------------------------------------------------
// HTTP forwarding: Java learns "0" or "-1" only.
// ---------------------------------------------------------------------------------------------

namespace {

constexpr jsize kForwardListMax = 32;  // entries of either list the service is given at most

// One forwarding list: element i of the array is entry i, null where the element is null or does
// not convert. The texts are released with the list.
class ForwardList {
public:
    ForwardList(const zxjni::StringArrayArg& array, jsize count) {
        for (jsize i = 0; i < count; ++i) {
            texts_[i] = array.text(i);
            entries_[i] = texts_[i].data();
        }
    }
    char* entry(jsize i) const { return entries_[i]; }
    char** entries() { return entries_; }

private:
    JavaText texts_[kForwardListMax];
    char* entries_[kForwardListMax] = {};
};

}  // namespace

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_jniHttpForwardStart(
    JNIEnv* env, jobject, jint ssid, jint defaultForwardPort, jobjectArray jWhite, jobjectArray jAlways,
    jint alwaysForwardPort, jboolean denyOtherPackage) {
    zxjni::StringArrayArg white(env, jWhite);
    zxjni::StringArrayArg always(env, jAlways);
    zxjni::trace(__LINE__, "\r\n jniHttpForwardStart called \r\n");
    zxjni::trace(__LINE__, "\r\n ssid = %u \r\n", u32(ssid));
    zxjni::trace(__LINE__, "\r\n defaultForwardPort = %u \r\n", u32(defaultForwardPort));
    zxjni::trace(__LINE__, "\r\n alwaysForwardPort = %u \r\n", u32(alwaysForwardPort));
    zxjni::trace(__LINE__, "\r\n denyOtherPackage = %u \r\n", static_cast<uint32_t>(denyOtherPackage));
    if (white.length() > kForwardListMax || always.length() > kForwardListMax) {
        zxjni::trace(__LINE__, "\r\n uiWhiteAddrCount or uiAlwaysFwdCount is too long called \r\n");
        return char2jstring(env, "-1");
    }
    ForwardList whiteList(white, white.length());
    for (jsize i = 0; i < white.length(); ++i) {
        const char* entry = whiteList.entry(i);
        if (entry) zxjni::trace(__LINE__, "\r\n whitedstAddr%u=%s \r\n", static_cast<uint32_t>(i), entry);
    }
    ForwardList alwaysList(always, always.length());
    for (jsize i = 0; i < always.length(); ++i) {
        const char* entry = alwaysList.entry(i);
        zxjni::trace(__LINE__, "\r\n apcAlwaysFwd%u=%s \r\n", static_cast<uint32_t>(i), entry ? entry : "(null)");
    }
    uint32_t code = ZX_JNI_httpForwardStart(
        u32(ssid), u32(defaultForwardPort), whiteList.entries(), static_cast<uint32_t>(white.length()),
        alwaysList.entries(), static_cast<uint32_t>(always.length()), u32(alwaysForwardPort), denyOtherPackage ? 1 : 0);
    return char2jstring(env, code != 0 ? "-1" : "0");
}

// Admits every source address of the list; only the last one's result reaches Java.
extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_jniHttpForwardAttachAuth(JNIEnv* env, jobject,
                                                                                           jobjectArray jList,
                                                                                           jboolean jbSwitch) {
    zxjni::StringArrayArg list(env, jList);
    zxjni::trace(__LINE__, "\r\n\r\n");
    zxjni::trace(__LINE__, "\r\n jniHttpForwardAttachAuth called \r\n");
    zxjni::trace(__LINE__, "\r\n jbSwitch  = %u\r\n", static_cast<uint32_t>(jbSwitch));
    if (!jbSwitch || list.length() == 0) return char2jstring(env, "0");
    uint32_t result = 0;
    for (jsize i = 0; i < list.length(); ++i) {
        JavaText address = list.text(i);
        result = address ? ZX_JNI_httpForwardSetAuth(address.get()) : 1;
    }
    return char2jstring(env, result != 0 ? "-1" : "0");
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_jniHttpForwardStop(JNIEnv* env, jobject) {
    zxjni::trace(__LINE__, "\r\n jniHttpForwardStop called \r\n");
    (void)ZX_JNI_httpForwardStop();  // Java is told "0" whatever happened
    return char2jstring(env, "0");
}

// ---------------------------------------------------------------------------------------------
// Events and notifications: the event natives build their record here and raise it on the
// platform's event centre; a missing text leaves its field empty and never stops the event.
// ---------------------------------------------------------------------------------------------

namespace {

constexpr const char* kEventAccepted = "{\"Result\":0}";

}  // namespace

extern "C" JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_eventInform(
    JNIEnv* env, jobject, jstring jName, jstring jData) {
    ZX_EVENT_RECORD_A_S record;
    ZX_OS_MemSet_S(&record, sizeof(record), 0, sizeof(record));
    zxjni::copy_text(record.acData, JavaText(env, jData));
    zxjni::copy_text(record.acName, JavaText(env, jName));
    zxjni::trace_entry("eventInform", __LINE__);
    uint32_t result = EventCenter_GlobalInvokeEvent2(ZX_EVENT_INFORM, &record, sizeof(record));
    zxjni::trace(__LINE__, "\r\n call EventCenter_GlobalInvokeEvent2 finished \r\n");
    return result != 0 ? nullptr : char2jstring(env, kEventAccepted);
}

extern "C" JNIEXPORT jint JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_notifyEvent__Ljava_lang_String_2Ljava_lang_String_2(
    JNIEnv* env, jobject, jstring jName, jstring jData) {
    ZX_EVENT_RECORD_A_S record;
    ZX_OS_MemSet_S(&record, sizeof(record), 0, sizeof(record));
    if (JavaText data(env, jData); data) {
        // The trace's line is the line of its text: kept on one line.
        // clang-format off
        zxjni::trace(__LINE__, "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_notifyEvent data = %s\r\n",
                     data.get());
        // clang-format on
        zxjni::copy_text(record.acData, data);
    }
    zxjni::copy_text(record.acName, JavaText(env, jName));
    zxjni::trace_entry("notifyEvent", __LINE__);
    uint32_t result = EventCenter_GlobalInvokeEvent2(ZX_EVENT_NOTIFY, &record, sizeof(record));
    zxjni::trace(__LINE__, "\r\n call EventCenter_GlobalInvokeEvwent2 finished \r\n");  // "Evwent2" as it always read
    return static_cast<jint>(result);
}

extern "C" JNIEXPORT jint JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_notifyEvent__Ljava_lang_String_2Ljava_lang_String_2Ljava_lang_String_2(
    JNIEnv* env, jobject, jstring jFirst, jstring jSecond, jstring jData) {
    ZX_EVENT_RECORD_B_S record;
    ZX_OS_MemSet_S(&record, sizeof(record), 0, sizeof(record));
    if (JavaText data(env, jData); data) {
        zxjni::trace(__LINE__, "\r\n notifyEvent data = %s\r\n", data.get());
        zxjni::copy_text(record.acData, data);
    }
    zxjni::copy_text(record.acFirst, JavaText(env, jFirst));
    zxjni::copy_text(record.acSecond, JavaText(env, jSecond));
    zxjni::trace(__LINE__, "\r\n notifyEvent called \r\n");
    uint32_t result = EventCenter_GlobalInvokeEvent2(ZX_EVENT_NOTIFY_EXTENDED, &record, sizeof(record));
    zxjni::trace(__LINE__, "\r\n call notifyEvent finished \r\n");
    return static_cast<jint>(result);
}

// Java decides the whole line: its text is the trace's format (see zxtrace::finished_text).
extern "C" JNIEXPORT void JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_osgiPrintF(JNIEnv* env, jobject, jstring jText) {
    JavaText text(env, jText);
    if (!text) {
        zxjni::trace(__LINE__, "\r\n failed to transfer jstring \r\n");
        return;
    }
    zxjni::trace_entry("osgiPrintF", __LINE__);
    zxtrace::finished_text(text.get());
    zxjni::trace(__LINE__, "\r\n call osgiPrintF finished \r\n");
}

extern "C" JNIEXPORT void JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_NotifyServicePlatformConnectState(JNIEnv* env,
                                                                                                    jobject,
                                                                                                    jstring jPlatform,
                                                                                                    jint state) {
    JavaText platform(env, jPlatform);
    if (!platform) {
        zxjni::last_word(__LINE__, 1);
        return;
    }
    kBaseService.trace_at(222, zxtrace::Line(__LINE__), "NotifyServicePlatformConnectState[%s][%u]\r\n", platform.get(),
                          u32(state));
    uint32_t code = ZX_JNI_NotifyPlatFormConnectState(platform.get(), u32(state));
    ZX_OS_MemFreeD(platform.release(), kBaseServiceFile, __LINE__);  // the platform frees a malloc block with free()
    if (code != 0) zxjni::last_word(__LINE__, code);
}

extern "C" JNIEXPORT jint JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_isCloudRegistered(JNIEnv*, jobject) {
    zxjni::trace_entry("isCloudRegistered", __LINE__);
    uint32_t status = 0;
    uint32_t code = ZX_JNI_GetCloudStatus(&status);
    zxjni::trace(__LINE__, "\r\n call ZX_JNI_GetCloudStatus uiRet = %u uiRegStatus = %u\r\n", code, status);
    return code != 0 ? 0 : static_cast<jint>(status);
}

// ---------------------------------------------------------------------------------------------
// Storage and media: the scanner's switch and lists, the discs with their labels, mount paths and
// space, and the media counts. Three of them build their String[] here.
// ---------------------------------------------------------------------------------------------

namespace {

// The scanner natives write this entry text, without the method's name.
constexpr const char* kScannerEntry = "\r\n com_nodalis_deviceservice_impl_BaseServiceJNIMethods called \r\n";
constexpr uint32_t kVolumeLineSize = 512;
constexpr uint32_t kMediaLineSize = 256;

// The label natives: both texts are needed; true exactly when the service renamed the disc.
jboolean change_label(JNIEnv* env, jstring jFirst, jstring jSecond, uint32_t (*change)(const char*, const char*)) {
    JavaText first(env, jFirst);
    if (!first) return JNI_FALSE;
    JavaText second(env, jSecond);
    if (!second) return JNI_FALSE;
    return change(first.get(), second.get()) == 0 ? JNI_TRUE : JNI_FALSE;
}

// A disc entry as the service sent it, with each text ended inside its own field, so that a text
// that fills its field whole cannot run on into the next one or past the entry.
ZX_USB_DISC_S terminated_entry(const ZX_USB_DISC_S& entry) {
    ZX_USB_DISC_S copy;
    ZX_OS_MemCpy_S(&copy, sizeof(copy), &entry, sizeof(entry));
    copy.acDiscName[sizeof(copy.acDiscName) - 1] = '\0';
    copy.acFsType[sizeof(copy.acFsType) - 1] = '\0';
    copy.acMntPath[sizeof(copy.acMntPath) - 1] = '\0';
    return copy;
}

}  // namespace

// The outcome reaches only the trace.
extern "C" JNIEXPORT void JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_setFilesScanSwitch(
    JNIEnv* env, jobject, jint switcher) {
    Binding<128, zxjni::OnFailure::CodeText> b(env, __LINE__, kScannerEntry);
    b.trace(__LINE__, "\r\n  switcher = %u \r\n", u32(switcher));
    uint32_t code = ZX_JNI_setFilesScanSwitch(u32(switcher), b.buf(), b.size());
    b.trace(__LINE__, " ZX_JNI_setFilesScanSwitch ret: %u buff:%s", code, b.buf());
    b.apply_failure_rule(code);
    b.trace(__LINE__, "\r\n  returned = %s \r\n", b.buf());
}

// The list comes as length bytes that need not end in a NUL; Java gets all of them.
extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getFilesScanListByType(JNIEnv* env, jobject,
                                                                                         jstring jFileType) {
    zxjni::trace(__LINE__, "%s", kScannerEntry);
    JavaText fileType(env, jFileType);
    if (!fileType) return nullptr;
    zxjni::trace(__LINE__, "pFileType = %s", fileType.get());
    char* rawData = nullptr;
    uint32_t length = 0;
    uint32_t code = ZX_JNI_getFilesScanListByType(fileType.get(), &rawData, &length);
    // The shared-block reader's block of the tracing allocator; ZX_OS_MemFreeD releases it (a block
    // of the system allocator it would hand to free()).
    PlatformBuffer data = PlatformBuffer::adopt(rawData, kBaseServiceFile);
    zxjni::trace(__LINE__, "\r\n ZX_JNI_getFilesScanListByType ret: %u \r\n", code);
    if (code != 0) return char2jstring(env, kFailureText);
    PlatformBuffer list = zxjni::terminated_copy(data.get(), length, __LINE__);
    if (!list) {
        zxjni::last_word(__LINE__, 1);
        return char2jstring(env, kFailureText);
    }
    return char2jstring(env, list.get());
}

// One line per disc: its three texts and the total, used and free bytes of its mount path.
extern "C" JNIEXPORT jobjectArray JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_queryVolumeLabelInfo(JNIEnv* env, jobject) {
    Binding<kVolumeLineSize> b(env, "queryVolumeLabelInfo", __LINE__);
    ZX_USB_DISC_LIST_S list;
    ZX_OS_MemSet_S(&list, sizeof(list), 0, sizeof(list));
    uint32_t count = 0;
    uint32_t code = ZX_JNI_getDiscInfo(&list, &count);
    b.trace(__LINE__, "\r\n ZX_JNI_getDiscInfo ret: %u \r\n", code);
    // The record holds 32 entries: a count beyond them is a list this native cannot read.
    if (code != 0 || count > ZX_USB_MAX_DISCS) return nullptr;
    const uint32_t discs = count;
    zxjni::StringArrayResult lines(env, static_cast<jsize>(discs));
    if (!lines) return nullptr;
    uint64_t total = 0, used = 0, free = 0;  // a disc whose space cannot be read keeps the last figures
    for (uint32_t i = 0; i < discs; ++i) {
        ZX_OS_MemSet_S(b.buf(), b.size(), 0, b.size());
        const ZX_USB_DISC_S disc = terminated_entry(list.astDisc[i]);
        ZX_JNI_GetStorage(disc.acMntPath, &total, &used, &free);
        ZX_OS_Snprintf_S(b.buf(), b.size(), b.size() - 1, "%s;%s;%s;%llu;%llu;%llu", disc.acDiscName, disc.acFsType,
                         disc.acMntPath, static_cast<unsigned long long>(total), static_cast<unsigned long long>(used),
                         static_cast<unsigned long long>(free));
        b.trace(__LINE__, "\r\n%s\r\n", b.buf());
        if (!lines.set(static_cast<jsize>(i), b.buf())) return nullptr;
    }
    return lines.release();
}

extern "C" JNIEXPORT jboolean JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_changeVolumeLabelName(JNIEnv* env, jobject,
                                                                                        jstring jFirst,
                                                                                        jstring jSecond) {
    zxjni::trace_entry("changeVolumeLabelName", __LINE__);
    return change_label(env, jFirst, jSecond, ZX_JNI_changeDiscName);
}

extern "C" JNIEXPORT jboolean JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_changeVolumeLabelNameByPath(JNIEnv* env, jobject,
                                                                                              jstring jFirst,
                                                                                              jstring jSecond) {
    zxjni::trace_entry("changeVolumeLabelNameByPath", __LINE__);
    return change_label(env, jFirst, jSecond, ZX_JNI_changeDiscNameByPath);
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getVolumeLabelMntPath(JNIEnv* env, jobject,
                                                                                        jstring jName) {
    zxjni::trace_entry("getVolumeLabelMntPath", __LINE__);
    JavaText name(env, jName);
    if (!name) return nullptr;
    char* rawPath = nullptr;
    uint32_t code = ZX_JNI_getMntPathByDiscName(name.get(), &rawPath);
    PlatformBuffer path = PlatformBuffer::adopt(rawPath, kBaseServiceFile);  // 128 bytes of the tracing allocator
    if (code != 0 || !path) return nullptr;
    path.get()[sizeof(ZX_USB_MNT_PATH_REPLY_S) - 1] = '\0';  // a path that fills its 128 bytes ends inside them
    return char2jstring(env, path.get());
}

// The counts come pictures, videos, music; the line names the videos first.
extern "C" JNIEXPORT jobjectArray JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getMediaFilesInfo(JNIEnv* env, jobject) {
    ZX_APPM_MEDIA_FILES_INFO_S counts;
    ZX_OS_MemSet_S(&counts, sizeof(counts), 0, sizeof(counts));
    Binding<kMediaLineSize> b(env, "getMediaFilesInfo", __LINE__);
    uint32_t code = ZX_JNI_GetMediaFilesInfo(&counts);
    b.trace(__LINE__, "\r\n ZX_JNI_GetMediaFilesInfo ret: %u \r\n", code);
    if (code != 0) return nullptr;
    zxjni::StringArrayResult line(env, 1);
    if (!line) return nullptr;
    ZX_OS_Snprintf_S(b.buf(), b.size(), b.size() - 1, "video:%llu;picture:%llu;music:%llu",
                     static_cast<unsigned long long>(counts.ullVideos),
                     static_cast<unsigned long long>(counts.ullPictures),
                     static_cast<unsigned long long>(counts.ullMusic));
    b.trace(__LINE__, "\r\n%s\r\n", b.buf());
    if (!line.set(0, b.buf())) return nullptr;
    return line.release();
}

// ---------------------------------------------------------------------------------------------
// Capabilities, plug-in permissions and voice
// ---------------------------------------------------------------------------------------------

namespace {

// Asked first by the permission native; without it permissions are still read, and the lack is
// recorded.
constexpr const char* kPermissionFeature = "FT_PLUGIN_PERMISSION_CONTROL_ONLY";
constexpr int32_t kPermissionSegmentFlags = 0x3FF;  // create, read and write for all
constexpr uint32_t kGeneralFailure = 0xFFFFFFFF;
constexpr uint32_t kVoiceStateSize = 64;

// The fault text of the plug-in platform ({"Result":-1}).
jstring permission_fault(JNIEnv* env) { return OSGI_JNI_FaultStrBuild(env, kGeneralFailure); }

// A failed step of the permission segment: code, the error number and the segment's size.
jstring permission_step_failed(JNIEnv* env, uint32_t line, uint32_t code, uint32_t size) {
    kBaseService.last_word(zxtrace::Line(line), code, static_cast<uint32_t>(ZX_OS_GetLastErr()), size, 0, 0);
    return permission_fault(env);
}

}  // namespace

// The bundle manager writes the permissions of every deployment unit into a segment this native
// creates for the call (2170 bytes a unit) and removes again on every path.
extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getPluginPermissions(JNIEnv* env, jobject) {
    if (ZX_Feature_IsSupportByFeatureName(kPermissionFeature) != 1) {
        zxjni::trace(__LINE__, "It does not support permission manage. \r\n");
        zxjni::last_word(__LINE__, kGeneralFailure);
    }
    uint32_t count = 0;
    const uint32_t counted = static_cast<uint32_t>(ZX_JNI_GetDuCount(&count));
    if (counted != 0) {
        zxjni::last_word(__LINE__, counted);
        return permission_fault(env);
    }
    // More units than a segment size of 32 bits can hold count as none: no segment to make.
    if (count == 0 || count > UINT32_MAX / ZX_OSGI_PERMISSION_BYTES_PER_DU) {
        zxjni::last_word(__LINE__, kGeneralFailure);  // no deployment unit
        return permission_fault(env);
    }
    const uint32_t size = count * ZX_OSGI_PERMISSION_BYTES_PER_DU;
    zxjni::ShmSegment segment(ZX_OSGI_PERMISSION_SHM_KEY, size, kPermissionSegmentFlags);
    if (!segment) return permission_step_failed(env, __LINE__, kGeneralFailure, size);
    const uint32_t filled = static_cast<uint32_t>(ZX_JNI_GetPluginPermissions(size));
    if (filled != 0) return permission_step_failed(env, __LINE__, filled, size);
    auto* text = static_cast<char*>(segment.attach());
    if (!text) return permission_step_failed(env, __LINE__, kGeneralFailure, size);
    text[size - 1] = '\0';  // a text that fills the segment ends inside it
    zxjni::LocalRef<jstring> permissions(env, char2jstring(env, text));
    if (segment.detach() != 0) return permission_step_failed(env, __LINE__, kGeneralFailure, size);
    if (segment.remove() != 0) return permission_step_failed(env, __LINE__, kGeneralFailure, size);
    return permissions.release();
}

extern "C" JNIEXPORT jint JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getFeatureSwitch(
    JNIEnv* env, jobject, jstring jFeature) {
    JavaText feature(env, jFeature);
    if (!feature) return zxjni::IntBinding::missing_argument(1, __LINE__);
    zxjni::IntBinding b("getFeatureSwitch", __LINE__);
    return zxjni::IntBinding::code(ZX_JNI_GetFeatureSwitch(feature.get()));
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getAPIFilePath(JNIEnv* env, jobject) {
    Binding<64> b(env, "getAPIFilePath", __LINE__);
    uint32_t code = ZX_JNI_GetPluginAPICapabilitesPath(b.buf(), b.size());
    if (code != 0) {
        zxjni::last_word(__LINE__, code);
        return permission_fault(env);
    }
    return b.answer(code);
}

extern "C" JNIEXPORT jint JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_voiceSetPOTSDoNotDisturb(JNIEnv*, jobject, jint line,
                                                                                           jint state) {
    ZX_VOICE_POTS_DND_SET_REQ_S request;
    ZX_OS_MemSet_S(&request, sizeof(request), 0, sizeof(request));
    request.uiLine = u32(line);
    request.uiState = u32(state);
    uint32_t code = VOICE_JNI_MSG_RpcCall(ZX_VOICE_RPC_SET_POTS_DND, &request, sizeof(request), nullptr,
                                          sizeof(ZX_VOICE_POTS_DND_GET_REPLY_S));
    if (code != 0) zxjni::last_word(__LINE__, code);
    return zxjni::int_result(code);
}

// Always JSON: a failed query is Result 1 with State 0.
extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_voiceGetPOTSDoNotDisturbState(JNIEnv* env, jobject,
                                                                                                jint line) {
    ZX_VOICE_POTS_DND_GET_REQ_S request;
    ZX_OS_MemSet_S(&request, sizeof(request), 0, sizeof(request));
    request.uiLine = u32(line);
    ZX_VOICE_POTS_DND_GET_REPLY_S reply;
    ZX_OS_MemSet_S(&reply, sizeof(reply), 0, sizeof(reply));
    uint32_t code = VOICE_JNI_MSG_RpcCall(ZX_VOICE_RPC_GET_POTS_DND, &request, sizeof(request), &reply, sizeof(reply));
    int32_t result = 0;
    if (code != 0) {
        zxjni::last_word(__LINE__, code);
        result = 1;
        reply.iState = 0;
    }
    char buf[kVoiceStateSize] = {};
    ZX_OS_Snprintf_S(buf, sizeof(buf), sizeof(buf) - 1, "{ \"Result\": %d, \"State\": %d }", result, reply.iState);
    return char2jstring(env, buf);
}
