// Entity native service: start-up of the bus link and the message thread, and the numbered command
// dispatcher of JNINativeMethods.send. Platform functions of the bus are looked up at run time in
// libzx_kor_basic.so; traces are ordinary imports.
#include "l2tp_jni.h"

#include <dlfcn.h>
#include <jni.h>

#include <algorithm>
#include <cstring>
#include <iterator>

#include "com_zentrix_nodalis_deviceservice_entity_JNINativeMethods.h"
#include "l2tp_api.h"
#include "object_arg.h"
#include "scoped.h"
#include "trace_unit.h"

extern "C" {
uint32_t JniInitFlag = 0;
void* handle = nullptr;
JNI_OSGI_MID_S g_stJNIOsgiMid = {};
}

namespace {

using zxtrace::kL2tpJni;  // every record of this file
using zxtrace::operator""_ln;
using zxtrace::Line;
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
bool probe(const char* lib, Line okLine, const char* okText, Line failLine, const char* failText) {
    void* h = dlopen(lib, RTLD_NOW);
    if (!h) {
        kL2tpJni.trace(failLine, "%s", failText);
        return false;
    }
    dlclose(h);
    kL2tpJni.trace(okLine, "%s", okText);
    return true;
}

}  // namespace

extern "C" uint32_t JNImsgProc(const void* msg) {
    if (!msg) return 0xFFFFFFFF;
    kL2tpJni.trace(740_ln, "Come in JNImsgProc\r\n");
    uint32_t mid;
    ZX_OS_MemCpy_S(&mid, sizeof mid, static_cast<const char*>(msg) + kModuleIdWordOffset, sizeof mid);
    if (mid == kMidVelmOs)
        kL2tpJni.trace(744_ln, "ZX_MID_VELM_OS \r\n");
    else
        kL2tpJni.trace(748_ln, "default \r\n");
    return 0;
}

extern "C" void* JNImsgthreadroutine(void*) {
    ZX_OS_ModifyThreadName("JNImsgthread");
    auto getAndDispatch = lookup<GetAndDispatchFn>("ZX_MSG_GetAndDispatch");
    if (!getAndDispatch) {
        kL2tpJni.trace(764_ln, "\r\n dlsym ZX_MSG_GetAndDispatch error\r\n");
        return nullptr;
    }
    for (;;) getAndDispatch(0, 0);
}

extern "C" uint32_t JNIcreadmsgthread(void) {
    kL2tpJni.trace(784_ln, "start loading libzx_kor_basic.so \n");
    handle = dlopen(kBasicLib, RTLD_NOW);
    if (!handle) {
        kL2tpJni.trace(788_ln, "\r\n dlopen libzx_kor_basic.so error\r\n");
        return 0xFFFFFFFF;
    }
    auto pthreadCreate = lookup<PthreadCreateFn>("ZX_OS_PthreadCreate");
    if (!pthreadCreate) {
        kL2tpJni.trace(795_ln, "\r\n dlsym ZX_OS_PthreadCreate error\r\n");
        return 0xFFFFFFFF;
    }
    ZX_THREAD_ID threadId = 0;
    if (pthreadCreate(&threadId, nullptr, JNImsgthreadroutine, nullptr) != 0) {
        kL2tpJni.trace(803_ln, "JNI ZX_OS_PthreadCreate error \r\n");
        return 0xFFFFFFFF;
    }
    return 0;
}

extern "C" uint32_t JNIloadComLib(void) {
    if (!probe("libjson-c.so", 821_ln, "start loading libjson-c.so \n", 817_ln, "\r\n dlopen libjson-c.so error\r\n"))
        return 1;
    if (!probe("libzx_kor_json.so", 831_ln, "start loading libzx_kor_json.so \n", 827_ln,
               "\r\n dlopen libzx_kor_json.so error\r\n"))
        return 1;
    if (!probe("libzx_mev_dm.so", 842_ln, "start loading libzx_mev_dm.so \n", 838_ln,
               "\r\n dlopen libzx_mev_dm.so error\r\n"))
        return 1;
    if (!probe("libzx_mev_cfg.so", 852_ln, "start loading libzx_mev_cfg.so \n", 848_ln,
               "\r\n dlopen libzx_mev_cfg.so error\r\n"))
        return 1;
    return 0;
}

// ---------------------------------------------------------------------------------------------
// The command dispatcher: each command reads its input from the Java side and calls one function
// of the tunnel and device-information API.
// ---------------------------------------------------------------------------------------------

namespace {

constexpr uint32_t kSendBufSize = 500;
using zxjni::ObjectArg;
constexpr const char* kStringSig = ObjectArg::kStringSig;

uint32_t text_len(const char* s) { return static_cast<uint32_t>(std::strlen(s)); }

// The three members that name a tunnel.
struct TunnelIds {
    jfieldID lns, user, pass;
    explicit TunnelIds(ObjectArg& arg)
        : lns(arg.field("lnsAddress", kStringSig)),
          user(arg.field("userName", kStringSig)),
          pass(arg.field("password", kStringSig)) {}
    explicit operator bool() const { return lns && user && pass; }
};

// ---- DNS forwarding ------------------------------------------------------------------------

uint32_t getDNSForwardConstatics(JNIEnv* env, jobject obj, uint32_t* count) {
    ObjectArg arg(env, obj);
    if (!arg) {
        kL2tpJni.trace(222_ln, "\n getDNSForwardConstatics->GetObjectClass failed \r\n");
        return 1;
    }
    jmethodID getIp = arg.getter("getIpOfStatics");
    if (!getIp) {
        kL2tpJni.trace(231_ln, "\n getDNSForwardConstatics->getMethodID failed \r\n");
        return 1;
    }
    zxjni::JavaText ip(env, arg.call(getIp));
    if (!ip) return 1;
    return ZX_TARN_GetDnsForwardStatistic(ip.get(), count);
}

uint32_t addDNSForwardList(JNIEnv* env, jobject obj) {
    ObjectArg arg(env, obj);
    if (!arg) {
        kL2tpJni.trace(140_ln, "\n addDNSForwardList->GetObjectClass failed \r\n");
        return 1;
    }
    jmethodID getData = arg.getter("getDNSData");
    jmethodID getIp = arg.getter("getForwardIP");
    if (!getData || !getIp) {
        kL2tpJni.trace(150_ln, "\n addDNSForwardList->getMethodID failed \r\n");
        return 1;
    }
    zxjni::JavaText data(env, arg.call(getData));
    if (!data) return 1;
    kL2tpJni.trace(158_ln, "\n addDNSForwardList->data size:%d \r\n", static_cast<int32_t>(text_len(data.get())));
    zxjni::JavaText ip(env, arg.call(getIp));
    if (!ip) return 1;
    kL2tpJni.trace(169_ln, "\n addDNSForwardList->ip:%s \r\n", ip.get());
    return ZX_TARN_AddDnsForward(data.get(), text_len(data.get()), ip.get());
}

uint32_t deleteDNSForwardList(JNIEnv* env, jobject obj) {
    ObjectArg arg(env, obj);
    if (!arg) {
        kL2tpJni.trace(186_ln, "\n deleteDNSForwardList->GetObjectClass failed \r\n");
        return 1;
    }
    jmethodID getData = arg.getter("getDNSData");
    if (!getData) {
        kL2tpJni.trace(195_ln, "\n deleteDNSForwardList->getMethodID failed \r\n");
        return 1;
    }
    zxjni::JavaText data(env, arg.call(getData));
    if (!data) return 1;
    kL2tpJni.trace(204_ln, "\n deleteDNSForwardList->data size:%d \r\n", static_cast<int32_t>(text_len(data.get())));
    return ZX_TARN_DelDnsForward(data.get(), text_len(data.get()));
}

// ---- Tunnels -------------------------------------------------------------------------------

uint32_t setupVPN(JNIEnv* env, jobject obj) {
    ObjectArg arg(env, obj);
    if (!arg) {
        kL2tpJni.trace(257_ln, "\n setupVPN->GetObjectClass failed \r\n");
        return 1;
    }
    TunnelIds ids(arg);
    jfieldID portId = arg.field("desPort", "S");
    if (!ids || !portId) {
        kL2tpJni.trace(271_ln, "\n setupVPN->getMethodID failed \r\n");
        return 1;
    }
    zxjni::JavaText lns(env, arg.text(ids.lns));
    zxjni::JavaText user(env, arg.text(ids.user));
    zxjni::SecretText pass(env, arg.text(ids.pass));
    jshort port = arg.short_value(portId);  // declared short in Java; its low 16 bits travel
    if (!lns || !user || !pass) return 1;
    kL2tpJni.trace(290_ln, "\n setupVPN->port:%d\r\n", static_cast<int32_t>(port));
    // The service answers the tunnel's name; this command does not hand it on.
    char tunnelName[64];
    ZX_OS_MemSet_S(tunnelName, sizeof tunnelName, 0, sizeof tunnelName);
    return ZX_TARN_SetupVpn(lns.get(), static_cast<uint16_t>(port), user.get(), pass.get(), tunnelName);
}

uint32_t disconnectVPN(JNIEnv* env, jobject obj) {
    ObjectArg arg(env, obj);
    if (!arg) {
        kL2tpJni.trace(312_ln, "\n disconnectVPN->GetObjectClass failed \r\n");
        return 1;
    }
    TunnelIds ids(arg);
    if (!ids) {
        kL2tpJni.trace(324_ln, "\n disconnectVPN->getMethod Id  failed \r\n");
        return 1;
    }
    zxjni::JavaText lns(env, arg.text(ids.lns));
    zxjni::JavaText user(env, arg.text(ids.user));
    zxjni::SecretText pass(env, arg.text(ids.pass));
    if (!lns || !user || !pass) return 1;
    return ZX_TARN_DisconnectVpn(lns.get(), user.get(), pass.get(), nullptr);
}

// One of the four tunnel address-list commands: which getter supplies the list, which API call
// takes it, and the texts of its failures (the source-list commands reuse the destination-list
// text when the class is missing).
struct TunnelListCommand {
    const char* getter;
    uint32_t (*api)(const char*, uint32_t, const char*, const char*, const char*, const char*);
    Line noClassLine;
    const char* noClassText;
    Line noMemberLine;
    const char* noMemberText;
};

constexpr TunnelListCommand kAddVpnAddress{"getDesAddressList",
                                           ZX_TARN_AddVpnDestAddr,
                                           359_ln,
                                           "\n addVPNAddress->GetObjectClass failed \r\n",
                                           374_ln,
                                           "\n addVPNAddress->getMethod Id  failed \r\n"};
constexpr TunnelListCommand kDeleteVpnAddress{"getDesAddressList",
                                              ZX_TARN_DelVpnDestAddr,
                                              413_ln,
                                              "\n deleteVPNAddress->GetObjectClass failed \r\n",
                                              428_ln,
                                              "\n deleteVPNAddress->getMethod Id  failed \r\n"};
constexpr TunnelListCommand kAddVpnSrcAddress{"getSrcAddressList",
                                              ZX_TARN_AddVpnSrcAddr,
                                              469_ln,
                                              "\n addVPNAddress->GetObjectClass failed \r\n",
                                              484_ln,
                                              "\n addVPNSrcAddress->getMethod Id  failed \r\n"};
constexpr TunnelListCommand kDeleteVpnSrcAddress{"getSrcAddressList",
                                                 ZX_TARN_DelVpnSrcAddr,
                                                 523_ln,
                                                 "\n deleteVPNAddress->GetObjectClass failed \r\n",
                                                 538_ln,
                                                 "\n deleteVPNSrcAddress->getMethod Id  failed \r\n"};

uint32_t tunnel_list(const TunnelListCommand& cmd, JNIEnv* env, jobject obj) {
    ObjectArg arg(env, obj);
    if (!arg) {
        kL2tpJni.trace(cmd.noClassLine, "%s", cmd.noClassText);
        return 1;
    }
    TunnelIds ids(arg);
    jmethodID getList = arg.getter(cmd.getter);
    if (!ids || !getList) {
        kL2tpJni.trace(cmd.noMemberLine, "%s", cmd.noMemberText);
        return 1;
    }
    zxjni::JavaText lns(env, arg.text(ids.lns));
    zxjni::JavaText user(env, arg.text(ids.user));
    zxjni::SecretText pass(env, arg.text(ids.pass));
    zxjni::JavaText list(env, arg.call(getList));
    if (!lns || !user || !pass || !list) return 1;
    return cmd.api(list.get(), text_len(list.get()), lns.get(), user.get(), pass.get(), nullptr);
}

// ---- Traffic monitoring --------------------------------------------------------------------

struct TrafficCommand {
    uint32_t (*api)(const char*, uint32_t, const char*, uint32_t);
    Line noClassLine;
    const char* noClassText;
    Line noMemberLine;
    const char* noMemberText;
    Line nullLine;
    const char* nullText;
};

constexpr TrafficCommand kAddTraffic{ZX_TARN_AddTrafficMonitoringDestAddr,
                                     578_ln,
                                     "\n addTrafficMonitoringDestAddress->GetObjectClass failed \r\n",
                                     586_ln,
                                     "\n addTrafficMonitoringDestAddress->GetMethodID failed \r\n",
                                     597_ln,
                                     "\n addTrafficMonitoringDestAddress->CallObjectMethod failed \r\n"};
constexpr TrafficCommand kDeleteTraffic{ZX_TARN_DelTrafficMonitoringDestAddr,
                                        612_ln,
                                        "\n deleteTrafficMonitoringDestAddress->GetObjectClass failed \r\n",
                                        620_ln,
                                        "\n deleteTrafficMonitoringDestAddress->GetMethodID failed \r\n",
                                        631_ln,
                                        "\n deleteTrafficMonitoringDestAddress->CallObjectMethod failed \r\n"};

uint32_t traffic_monitoring(const TrafficCommand& cmd, JNIEnv* env, jobject obj) {
    ObjectArg arg(env, obj);
    if (!arg) {
        kL2tpJni.trace(cmd.noClassLine, "%s", cmd.noClassText);
        return 1;
    }
    jmethodID getList = arg.getter("getDestAddressList");
    jfieldID bundleId = arg.field("bundleName", kStringSig);
    if (!getList || !bundleId) {
        kL2tpJni.trace(cmd.noMemberLine, "%s", cmd.noMemberText);
        return 1;
    }
    zxjni::JavaText list(env, arg.call(getList));
    zxjni::JavaText bundle(env, arg.text(bundleId));
    if (!list || !bundle) {
        kL2tpJni.trace(cmd.nullLine, "%s", cmd.nullText);
        return 1;
    }
    return cmd.api(list.get(), text_len(list.get()), bundle.get(), text_len(bundle.get()));
}

// ---- Commands with a Java string -----------------------------------------------------------
// The argument is declared Object: jstring2char converts it only when it is a String, so an
// object of another class reads as a missing string (result 1) and is never used as one.

uint32_t getDevicePPPoENameAndWANIP(JNIEnv* env, jobject obj, char* buf, uint32_t size) {
    zxjni::JavaText connection(env, static_cast<jstring>(obj));
    if (!connection) return 1;
    kL2tpJni.trace(125_ln, "\n getDevicePPPoENameAndWANIP->getip :%s\r\n", connection.get());
    return ZX_TARN_getDevicePPPoENameAndWANIP(connection.get(), buf, size);
}

uint32_t getDnsAnalysis(JNIEnv* env, jobject obj, char* buf, uint32_t size) {
    zxjni::JavaText domain(env, static_cast<jstring>(obj));
    if (!domain) return 1;
    kL2tpJni.trace(706_ln, "\n getDnsAnalysis->pcDomain :%s\r\n", domain.get());
    uint32_t length = text_len(domain.get());
    if (length + 1 > size) {
        kL2tpJni.last_word(710_ln, 1, size, length, 0, 0);
        return 1;
    }
    return ZX_TARN_getDnsAnalysis(domain.get(), buf, size);
}

// ---- The dispatcher ------------------------------------------------------------------------

// The local references a command makes (classes, member values, converted strings) live in a
// frame of their own, dropped when the command is done: a command may make more than the 16 a
// native method is granted by default.
constexpr jint kCommandFrame = 64;

class SendBuffer {
public:
    SendBuffer() { ZX_OS_MemSet_S(buf_, sizeof buf_, 0, sizeof buf_); }
    char* get() { return buf_; }
    static constexpr uint32_t size() { return kSendBufSize; }

    // A command that answers a number.
    void number(int32_t value) { ZX_OS_Snprintf_S(buf_, sizeof buf_, sizeof buf_ - 1, "%d", value); }
    void clear() { ZX_OS_MemSet_S(buf_, sizeof buf_, 0, sizeof buf_); }

    // A command that answers a text: its result is traced, a failure clears the buffer unless the
    // command keeps what the API left, and a success traces the text.
    void text(uint32_t code, Line retLine, const char* retFormat, Line dataLine, const char* dataFormat,
              bool clearOnFailure = true) {
        if (!result(code, retLine, retFormat, clearOnFailure)) return;
        kL2tpJni.trace(dataLine, dataFormat, buf_);
    }
    // The same for a command whose answer is not traced.
    void text(uint32_t code, Line retLine, const char* retFormat) { (void)result(code, retLine, retFormat, true); }

private:
    // Traces the result; true when the command succeeded.
    bool result(uint32_t code, Line retLine, const char* retFormat, bool clearOnFailure) {
        kL2tpJni.trace(retLine, retFormat, static_cast<int32_t>(code));
        if (code == 0) return true;
        if (clearOnFailure) clear();
        return false;
    }

    char buf_[kSendBufSize];
};

// A command that answers its result code.
void code_answer(SendBuffer& out, uint32_t code, Line line, const char* format) {
    kL2tpJni.trace(line, format, static_cast<int32_t>(code));
    out.number(static_cast<int32_t>(code));
}

// A type outside the table, or a gap in it: nothing is answered (Java receives null).
void unknown_command() { kL2tpJni.trace(1034_ln, "\n Unknown Command!\r\n"); }

// ---- The command table ---------------------------------------------------------------------

constexpr uint32_t kBuf = SendBuffer::size();

// One command of JNINativeMethods.send: its number, its name and what it does. The table is
// sorted by number; a number it lacks is an unknown command.
struct Command {
    jint type;
    const char* name;
    void (*run)(JNIEnv* env, jobject arg, SendBuffer& out);
};

constexpr Command kCommands[] = {
    {1, "getONTMac",
     [](JNIEnv*, jobject, SendBuffer& out) {
         out.text(ZX_TARN_GetOntMac(out.get(), kBuf), 874_ln, "\n getONTMac ret: %d \r\n", 879_ln,
                  "\nget ont mac result data:%s \r\n");
     }},
    {2, "getWANIP",
     [](JNIEnv*, jobject, SendBuffer& out) {
         out.text(ZX_TARN_GetInternetWanIp(out.get(), kBuf), 883_ln, "\n getWANIP ret: %d ", 888_ln,
                  "\nget WAN IP result data:%s\n");
     }},
    {3, "getDNSForwardConstatics",
     [](JNIEnv* env, jobject arg, SendBuffer& out) {
         // The statistic is the answer; the result code is only traced.
         uint32_t count = 0;
         uint32_t code = getDNSForwardConstatics(env, arg, &count);
         kL2tpJni.trace(892_ln, "\n getDNSForwardConstatics ret: %d ", static_cast<int32_t>(code));
         out.number(static_cast<int32_t>(count));
     }},
    {4, "addDNSForwardList",
     [](JNIEnv* env, jobject arg, SendBuffer& out) {
         code_answer(out, addDNSForwardList(env, arg), 897_ln, "\n addDNSForwardList ret: %d ");
     }},
    {5, "deleteDNSForwardList",
     [](JNIEnv* env, jobject arg, SendBuffer& out) {
         code_answer(out, deleteDNSForwardList(env, arg), 902_ln, "\n deleteDNSForwardList ret: %d ");
     }},
    {6, "setupVPN",
     [](JNIEnv* env, jobject arg, SendBuffer& out) {
         code_answer(out, setupVPN(env, arg), 907_ln, "\n setupVPN ret: %d ");
     }},
    {7, "disconnectVPN",
     [](JNIEnv* env, jobject arg, SendBuffer& out) {
         code_answer(out, disconnectVPN(env, arg), 912_ln, "\n disconnectVPN ret: %d ");
     }},
    {8, "addVPNAddress",
     [](JNIEnv* env, jobject arg, SendBuffer& out) {
         code_answer(out, tunnel_list(kAddVpnAddress, env, arg), 917_ln, "\n addVPNAddress ret: %d ");
     }},
    {9, "deleteVPNAddress",
     [](JNIEnv* env, jobject arg, SendBuffer& out) {
         code_answer(out, tunnel_list(kDeleteVpnAddress, env, arg), 922_ln, "\n deleteVPNAddress ret: %d ");
     }},
    {11, "getPppoeUserName",
     [](JNIEnv*, jobject, SendBuffer& out) {
         out.text(ZX_TARN_GetPppoeUserName(out.get(), kBuf), 927_ln, "\n getPppoeUserName ret: %d \r\n");
     }},
    {12, "addTrafficMonitoringDestAddress",
     [](JNIEnv* env, jobject arg, SendBuffer& out) {
         code_answer(out, traffic_monitoring(kAddTraffic, env, arg), 935_ln,
                     "\n addTrafficMonitoringDestAddress ret: %d ");
     }},
    {13, "deleteTrafficMonitoringDestAddress",
     [](JNIEnv* env, jobject arg, SendBuffer& out) {
         // The delete command traces the add command's text.
         code_answer(out, traffic_monitoring(kDeleteTraffic, env, arg), 940_ln,
                     "\n addTrafficMonitoringDestAddress ret: %d ");
     }},
    {14, "getDevicePPPoENameAndWANIP",
     [](JNIEnv* env, jobject arg, SendBuffer& out) {
         out.text(getDevicePPPoENameAndWANIP(env, arg, out.get(), kBuf), 946_ln,
                  "getDevicePPPoENameAndWANIP ret: %d \r\n", 951_ln, "getDevicePPPoENameAndWANIP result data:%s \r\n");
     }},
    {15, "getDeviceWLANChannel",
     [](JNIEnv*, jobject, SendBuffer& out) {
         // A failure keeps whatever the API left in the buffer.
         out.text(ZX_TARN_getDeviceWLANChannel(out.get(), kBuf), 956_ln, "getDeviceWLANChannel ret: %d \r\n", 961_ln,
                  "getDeviceWLANChannel result data:%s \r\n", false);
     }},
    {16, "getDeviceCloudAddress",
     [](JNIEnv*, jobject, SendBuffer& out) {
         out.text(ZX_TARN_getDeviceCloudAddress(out.get(), kBuf), 966_ln, "getDeviceCloudAddress ret: %d \r\n", 971_ln,
                  "getDeviceCloudAddress result data:%s \r\n");
     }},
    {17, "getDeviceLANIP",
     [](JNIEnv*, jobject, SendBuffer& out) {
         out.text(ZX_TARN_getDeviceLANIP(out.get(), kBuf), 975_ln, "getDeviceLANIP ret: %d \r\n", 980_ln,
                  "getDeviceLANIP result data:%s \r\n");
     }},
    {18, "getDevicePhyInfo",
     [](JNIEnv*, jobject, SendBuffer& out) {
         out.text(ZX_VELM_getDevicePhyInfo(out.get(), kBuf), 985_ln, "getDevicePhyInfo ret: %d \r\n", 990_ln,
                  "getDevicePhyInfo result data:%s \r\n");
     }},
    {19, "getDeviceUpdateState",
     [](JNIEnv*, jobject, SendBuffer& out) {
         out.text(ZX_VELM_getDeviceUpdateState(out.get(), kBuf), 995_ln, "getDeviceUpdateState ret: %d \r\n", 1000_ln,
                  "getDeviceUpdateState result data:%s \r\n");
     }},
    {20, "getDeviceCloudAddressAndPort",
     [](JNIEnv*, jobject, SendBuffer& out) {
         out.text(ZX_TARN_getDeviceCloudAddressAndPort(out.get(), kBuf), 1005_ln,
                  "getDeviceCloudAddressAndPort ret: %d \r\n", 1010_ln,
                  "getDeviceCloudAddressAndPort result data:%s \r\n");
     }},
    {21, "getDnsAnalysis",
     [](JNIEnv* env, jobject arg, SendBuffer& out) {
         out.text(getDnsAnalysis(env, arg, out.get(), kBuf), 1015_ln, "getDnsAnalysis ret: %d \r\n", 1020_ln,
                  "getDnsAnalysis result data:%s \r\n");
     }},
    {100, "addVPNSrcAddress",
     [](JNIEnv* env, jobject arg, SendBuffer& out) {
         code_answer(out, tunnel_list(kAddVpnSrcAddress, env, arg), 1025_ln, "\n addVPNSrcAddress ret: %d ");
     }},
    {101, "deleteVPNSrcAddress",
     [](JNIEnv* env, jobject arg, SendBuffer& out) {
         code_answer(out, tunnel_list(kDeleteVpnSrcAddress, env, arg), 1030_ln, "\n deleteVPNSrcAddress ret: %d ");
     }},
};

constexpr bool sorted_and_unique(const Command* begin, const Command* end) {
    for (const Command* c = begin; c + 1 < end; ++c)
        if (c->type >= (c + 1)->type) return false;
    return true;
}
static_assert(sorted_and_unique(std::begin(kCommands), std::end(kCommands)), "commands sorted by number, each once");
// The dispatcher's unsigned range test (type - 1 below 101) must cover every command.
static_assert(kCommands[0].type >= 1 && std::end(kCommands)[-1].type <= 101, "commands within 1 to 101");

// The command of a type, or null.
const Command* find_command(jint type) {
    // Types 1 to 101 go through the table (one unsigned test); everything else is unknown.
    if (static_cast<uint32_t>(type) - 1 >= 101) return nullptr;
    const Command* c = std::lower_bound(std::begin(kCommands), std::end(kCommands), type,
                                        [](const Command& cmd, jint t) { return cmd.type < t; });
    return c != std::end(kCommands) && c->type == type ? c : nullptr;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Natives of JNINativeMethods
// ---------------------------------------------------------------------------------------------

extern "C" JNIEXPORT jint JNICALL Java_com_zentrix_nodalis_deviceservice_entity_JNINativeMethods_startThread(JNIEnv*,
                                                                                                             jobject) {
    if (JniInitFlag) return 0;
    if (!handle) {
        handle = dlopen(kBasicLib, RTLD_NOW);
        if (!handle) {
            kL2tpJni.trace(1058_ln, "\r\n dlopen libzx_kor_basic.so error\r\n");
            return 1;
        }
    }
    auto msgInit = lookup<MsgInitFn>("ZX_MSG_Init");
    if (!msgInit) {
        kL2tpJni.trace(1067_ln, "\r\n dlsym ZX_MSG_Init error\r\n");
        return 1;
    }
    if (msgInit("jamvm", 1024, 1024, 0) != 0) {
        kL2tpJni.trace(1075_ln, "JNI ZX_MSG_Init fail\r\n");
        return 1;
    }
    auto registerMid = lookup<RegisterMidFn>("ZX_MSG_RegisterMID");
    if (!registerMid) {
        kL2tpJni.trace(1083_ln, "\r\n dlsym ZX_MSG_RegisterMID error\r\n");
        return 1;
    }
    if (registerMid(kMidVelmOs, JNImsgProc, 1) != 0) {
        kL2tpJni.trace(1091_ln, "JNI ZX_MSG_RegisterMID fail\r\n");
        return 1;
    }
    if (JNIcreadmsgthread() != 0) {
        kL2tpJni.trace(1099_ln, "jnicreadmsgthread fail\r\n");
        return 1;
    }
    JniInitFlag = 1;
    return 0;
}

extern "C" JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_entity_JNINativeMethods_send(JNIEnv* env,
                                                                                                         jobject,
                                                                                                         jint type,
                                                                                                         jobject arg) {
    SendBuffer out;
    kL2tpJni.trace(868_ln, "Command Type:%d  \r\n", type);
    if (const Command* command = find_command(type)) {
        zxjni::LocalFrame frame(env, kCommandFrame);
        command->run(env, arg, out);
    } else {
        unknown_command();
    }
    return char2jstring(env, out.get());
}
