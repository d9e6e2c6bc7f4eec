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
#include "zx_velm_jni_api.h"
#include "zx_velm_usb.h"
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

// The count comes from the caller and is compared with neither the array nor the block: only the
// characters both hold are copied, so a count beyond either sends what exists.
extern "C" JNIEXPORT jint JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanSetForbidChannel(JNIEnv* env, jobject,
                                                                                       jint radioIndex, jint count,
                                                                                       jcharArray channels) {
    PinnedChars chars(env, channels);  // released with mode 0
    if (channels && !chars) {
        env->ExceptionClear();
        return -1;
    }
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
// form.
// ---------------------------------------------------------------------------------------------

namespace {

constexpr uint32_t kMacAreaSize = 32;
constexpr uint32_t kMaxBandwidthReplySize = 128;
constexpr uint32_t kSetDevMaxBandwidth = 0x47103052;
constexpr uint32_t kGetDevMaxBandwidth = 0x47103051;
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

// At most the first 12 characters of text, a ':' after every second one (the last included), the
// terminator at position 17 over the colon after a sixth pair. Neither the characters nor their
// case are looked at; mac is the zeroed 32-byte area, so a shorter text ends at its last colon.
void colon_form(const char* text, char* mac) {
    uint32_t at = 0;
    for (uint32_t i = 0; i < 12 && text[i] != '\0'; ++i) {
        mac[at++] = text[i];
        if (i % 2 == 1) mac[at++] = ':';
    }
    mac[17] = '\0';
}

}  // namespace

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanSetDevMaxBandwidth(JNIEnv* env, jobject,
                                                                                        jstring jMac, jint first,
                                                                                        jint second) {
    char reply[kMaxBandwidthReplySize] = {};
    char mac[kMacAreaSize] = {};
    if (JavaText text(env, jMac); text) colon_form(text.get(), mac);  // a null MAC goes on empty
    zxjni::trace(__LINE__, "%s", kSetMaxBandwidthEntry);
    MaxBandwidthRequest request;
    ZX_OS_MemSet_S(&request, sizeof(request), 0, sizeof(request));
    if (std::strlen(mac) + 1 > kMacAreaSize) return nullptr;
    ZX_OS_StrNCpy_S(request.mac, kMacAreaSize, mac, kMacAreaSize - 1);
    request.firstLimit = u32(first);
    request.secondLimit = u32(second);
    uint32_t result = APPM_JNI_MSG_RpcCall(kSetDevMaxBandwidth, &request, sizeof(request), reply, sizeof(reply));
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
        colon_form(text.get(), mac);
    }
    zxjni::trace(__LINE__, "\r\n  lanSetDevMaxBandwidth pcMac  = %s \r\n", mac);
    uint32_t result =
        APPM_JNI_MSG_RpcCall(kGetDevMaxBandwidth, mac, static_cast<uint32_t>(std::strlen(mac)), reply, sizeof(reply));
    zxjni::trace(__LINE__, "\r\n call GetDevMaxBand finished ret  = %u\r\n", result);
    if (result == 1) return nullptr;
    reply[sizeof(reply) - 1] = '\0';
    return char2jstring(env, reply);
}
