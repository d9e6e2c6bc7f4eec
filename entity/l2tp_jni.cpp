// Entity native service: start-up of the bus link and the message thread, and the numbered command
// dispatcher of JNINativeMethods.send. Platform functions of the bus are looked up at run time in
// libzx_kor_basic.so; traces are ordinary imports.
#include "l2tp_jni.h"

#include <dlfcn.h>
#include <jni.h>

#include <cstring>

#include "com_zentrix_nodalis_deviceservice_entity_JNINativeMethods.h"
#include "l2tp_api.h"
#include "scoped.h"

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

// ---------------------------------------------------------------------------------------------
// The command dispatcher: each command reads its input from the Java side and calls one function
// of the tunnel and device-information API.
// ---------------------------------------------------------------------------------------------

namespace {

constexpr uint32_t kSendBufSize = 500;
constexpr const char* kStringSig = "Ljava/lang/String;";
constexpr const char* kGetterSig = "()Ljava/lang/String;";

template <class... Args>
void trace(uint32_t line, const char* format, Args... args) {
    ZX_PROC_DBG_TraceS(kLevel, kFile, line, 0, format, args...);
}

uint32_t text_len(const char* s) { return static_cast<uint32_t>(std::strlen(s)); }

// The object a command was given, read through its own class (never looked up by name). A
// member that is missing leaves no Java exception behind: the command reports its own failure.
class CommandArg {
public:
    CommandArg(JNIEnv* env, jobject obj) : env_(env), obj_(obj), cls_(obj ? env->GetObjectClass(obj) : nullptr) {}

    explicit operator bool() const { return cls_ != nullptr; }

    jfieldID field(const char* name, const char* sig) { return cleared(env_->GetFieldID(cls_, name, sig)); }
    jmethodID getter(const char* name) { return cleared(env_->GetMethodID(cls_, name, kGetterSig)); }

    jstring text(jfieldID id) { return static_cast<jstring>(env_->GetObjectField(obj_, id)); }
    // The getter's result; a getter that throws counts as one that answered null.
    jstring call(jmethodID id) { return cleared(static_cast<jstring>(env_->CallObjectMethod(obj_, id))); }
    // The port is declared short on the Java side; only its low 16 bits travel.
    jshort port(jfieldID id) { return env_->GetShortField(obj_, id); }

private:
    template <class T>
    T cleared(T value) {
        if (env_->ExceptionCheck()) {
            env_->ExceptionClear();
            return nullptr;
        }
        return value;
    }

    JNIEnv* env_;
    jobject obj_;
    jclass cls_;
};

// The three members that name a tunnel.
struct TunnelIds {
    jfieldID lns, user, pass;
    explicit TunnelIds(CommandArg& arg)
        : lns(arg.field("lnsAddress", kStringSig)),
          user(arg.field("userName", kStringSig)),
          pass(arg.field("password", kStringSig)) {}
    explicit operator bool() const { return lns && user && pass; }
};

// ---- DNS forwarding ------------------------------------------------------------------------

uint32_t getDNSForwardConstatics(JNIEnv* env, jobject obj, uint32_t* count) {
    CommandArg arg(env, obj);
    if (!arg) {
        trace(222, "\n getDNSForwardConstatics->GetObjectClass failed \r\n");
        return 1;
    }
    jmethodID getIp = arg.getter("getIpOfStatics");
    if (!getIp) {
        trace(231, "\n getDNSForwardConstatics->getMethodID failed \r\n");
        return 1;
    }
    zxjni::JavaText ip(env, arg.call(getIp));
    if (!ip) return 1;
    return ZX_TARN_GetDnsForwardStatistic(ip.get(), count);
}

uint32_t addDNSForwardList(JNIEnv* env, jobject obj) {
    CommandArg arg(env, obj);
    if (!arg) {
        trace(140, "\n addDNSForwardList->GetObjectClass failed \r\n");
        return 1;
    }
    jmethodID getData = arg.getter("getDNSData");
    jmethodID getIp = arg.getter("getForwardIP");
    if (!getData || !getIp) {
        trace(150, "\n addDNSForwardList->getMethodID failed \r\n");
        return 1;
    }
    zxjni::JavaText data(env, arg.call(getData));
    if (!data) return 1;
    trace(158, "\n addDNSForwardList->data size:%d \r\n", static_cast<int32_t>(text_len(data.get())));
    zxjni::JavaText ip(env, arg.call(getIp));
    if (!ip) return 1;
    trace(169, "\n addDNSForwardList->ip:%s \r\n", ip.get());
    return ZX_TARN_AddDnsForward(data.get(), text_len(data.get()), ip.get());
}

uint32_t deleteDNSForwardList(JNIEnv* env, jobject obj) {
    CommandArg arg(env, obj);
    if (!arg) {
        trace(186, "\n deleteDNSForwardList->GetObjectClass failed \r\n");
        return 1;
    }
    jmethodID getData = arg.getter("getDNSData");
    if (!getData) {
        trace(195, "\n deleteDNSForwardList->getMethodID failed \r\n");
        return 1;
    }
    zxjni::JavaText data(env, arg.call(getData));
    if (!data) return 1;
    trace(204, "\n deleteDNSForwardList->data size:%d \r\n", static_cast<int32_t>(text_len(data.get())));
    return ZX_TARN_DelDnsForward(data.get(), text_len(data.get()));
}

// ---- Tunnels -------------------------------------------------------------------------------

uint32_t setupVPN(JNIEnv* env, jobject obj) {
    CommandArg arg(env, obj);
    if (!arg) {
        trace(257, "\n setupVPN->GetObjectClass failed \r\n");
        return 1;
    }
    TunnelIds ids(arg);
    jfieldID portId = arg.field("desPort", "S");
    if (!ids || !portId) {
        trace(271, "\n setupVPN->getMethodID failed \r\n");
        return 1;
    }
    zxjni::JavaText lns(env, arg.text(ids.lns));
    zxjni::JavaText user(env, arg.text(ids.user));
    zxjni::SecretText pass(env, arg.text(ids.pass));
    jshort port = arg.port(portId);
    if (!lns || !user || !pass) return 1;
    trace(290, "\n setupVPN->port:%d\r\n", static_cast<int32_t>(port));
    // The service answers the tunnel's name; this command does not hand it on.
    char tunnelName[64];
    ZX_OS_MemSet_S(tunnelName, sizeof tunnelName, 0, sizeof tunnelName);
    return ZX_TARN_SetupVpn(lns.get(), static_cast<uint16_t>(port), user.get(), pass.get(), tunnelName);
}

uint32_t disconnectVPN(JNIEnv* env, jobject obj) {
    CommandArg arg(env, obj);
    if (!arg) {
        trace(312, "\n disconnectVPN->GetObjectClass failed \r\n");
        return 1;
    }
    TunnelIds ids(arg);
    if (!ids) {
        trace(324, "\n disconnectVPN->getMethod Id  failed \r\n");
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
    uint32_t noClassLine;
    const char* noClassText;
    uint32_t noMemberLine;
    const char* noMemberText;
};

constexpr TunnelListCommand kAddVpnAddress{"getDesAddressList", ZX_TARN_AddVpnDestAddr, 359,
                                           "\n addVPNAddress->GetObjectClass failed \r\n", 374,
                                           "\n addVPNAddress->getMethod Id  failed \r\n"};
constexpr TunnelListCommand kDeleteVpnAddress{"getDesAddressList", ZX_TARN_DelVpnDestAddr, 413,
                                              "\n deleteVPNAddress->GetObjectClass failed \r\n", 428,
                                              "\n deleteVPNAddress->getMethod Id  failed \r\n"};
constexpr TunnelListCommand kAddVpnSrcAddress{"getSrcAddressList", ZX_TARN_AddVpnSrcAddr, 469,
                                              "\n addVPNAddress->GetObjectClass failed \r\n", 484,
                                              "\n addVPNSrcAddress->getMethod Id  failed \r\n"};
constexpr TunnelListCommand kDeleteVpnSrcAddress{"getSrcAddressList", ZX_TARN_DelVpnSrcAddr, 523,
                                                 "\n deleteVPNAddress->GetObjectClass failed \r\n", 538,
                                                 "\n deleteVPNSrcAddress->getMethod Id  failed \r\n"};

uint32_t tunnel_list(const TunnelListCommand& cmd, JNIEnv* env, jobject obj) {
    CommandArg arg(env, obj);
    if (!arg) {
        trace(cmd.noClassLine, "%s", cmd.noClassText);
        return 1;
    }
    TunnelIds ids(arg);
    jmethodID getList = arg.getter(cmd.getter);
    if (!ids || !getList) {
        trace(cmd.noMemberLine, "%s", cmd.noMemberText);
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
    uint32_t noClassLine;
    const char* noClassText;
    uint32_t noMemberLine;
    const char* noMemberText;
    uint32_t nullLine;
    const char* nullText;
};

constexpr TrafficCommand kAddTraffic{ZX_TARN_AddTrafficMonitoringDestAddr, 578,
                                     "\n addTrafficMonitoringDestAddress->GetObjectClass failed \r\n", 586,
                                     "\n addTrafficMonitoringDestAddress->GetMethodID failed \r\n", 597,
                                     "\n addTrafficMonitoringDestAddress->CallObjectMethod failed \r\n"};
constexpr TrafficCommand kDeleteTraffic{ZX_TARN_DelTrafficMonitoringDestAddr, 612,
                                        "\n deleteTrafficMonitoringDestAddress->GetObjectClass failed \r\n", 620,
                                        "\n deleteTrafficMonitoringDestAddress->GetMethodID failed \r\n", 631,
                                        "\n deleteTrafficMonitoringDestAddress->CallObjectMethod failed \r\n"};

uint32_t traffic_monitoring(const TrafficCommand& cmd, JNIEnv* env, jobject obj) {
    CommandArg arg(env, obj);
    if (!arg) {
        trace(cmd.noClassLine, "%s", cmd.noClassText);
        return 1;
    }
    jmethodID getList = arg.getter("getDestAddressList");
    jfieldID bundleId = arg.field("bundleName", kStringSig);
    if (!getList || !bundleId) {
        trace(cmd.noMemberLine, "%s", cmd.noMemberText);
        return 1;
    }
    zxjni::JavaText list(env, arg.call(getList));
    zxjni::JavaText bundle(env, arg.text(bundleId));
    if (!list || !bundle) {
        trace(cmd.nullLine, "%s", cmd.nullText);
        return 1;
    }
    return cmd.api(list.get(), text_len(list.get()), bundle.get(), text_len(bundle.get()));
}

// ---- Commands with a Java string -----------------------------------------------------------

uint32_t getDevicePPPoENameAndWANIP(JNIEnv* env, jobject obj, char* buf, uint32_t size) {
    zxjni::JavaText connection(env, static_cast<jstring>(obj));
    if (!connection) return 1;
    trace(125, "\n getDevicePPPoENameAndWANIP->getip :%s\r\n", connection.get());
    return ZX_TARN_getDevicePPPoENameAndWANIP(connection.get(), buf, size);
}

uint32_t getDnsAnalysis(JNIEnv* env, jobject obj, char* buf, uint32_t size) {
    zxjni::JavaText domain(env, static_cast<jstring>(obj));
    if (!domain) return 1;
    trace(706, "\n getDnsAnalysis->pcDomain :%s\r\n", domain.get());
    uint32_t length = text_len(domain.get());
    if (length + 1 > size) {
        ZX_PROC_DBG_LastWord(kFile, 710, 1, size, length, 0, 0);
        return 1;
    }
    return ZX_TARN_getDnsAnalysis(domain.get(), buf, size);
}

// ---- The dispatcher ------------------------------------------------------------------------

// The local references a command makes (classes, member values, converted strings) live in a
// frame of their own, dropped when the command is done: a command may make more than the 16 a
// native method is granted by default.
class LocalFrame {
public:
    static constexpr jint kCapacity = 64;
    explicit LocalFrame(JNIEnv* env) : env_(env), pushed_(env->PushLocalFrame(kCapacity) == 0) {
        if (!pushed_) env_->ExceptionClear();
    }
    ~LocalFrame() {
        if (pushed_) env_->PopLocalFrame(nullptr);
    }
    LocalFrame(const LocalFrame&) = delete;
    LocalFrame& operator=(const LocalFrame&) = delete;

private:
    JNIEnv* env_;
    bool pushed_;
};

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
    void text(uint32_t code, uint32_t retLine, const char* retFormat, uint32_t dataLine, const char* dataFormat,
              bool clearOnFailure = true) {
        trace(retLine, retFormat, static_cast<int32_t>(code));
        if (code != 0) {
            if (clearOnFailure) clear();
            return;
        }
        if (dataFormat) trace(dataLine, dataFormat, buf_);
    }

private:
    char buf_[kSendBufSize];
};

// A command that answers its result code.
void code_answer(SendBuffer& out, uint32_t code, uint32_t line, const char* format) {
    trace(line, format, static_cast<int32_t>(code));
    out.number(static_cast<int32_t>(code));
}

void run_command(JNIEnv* env, jint type, jobject arg, SendBuffer& out) {
    char* buf = out.get();
    constexpr uint32_t n = SendBuffer::size();
    switch (type) {
    case 1:
        out.text(ZX_TARN_GetOntMac(buf, n), 874, "\n getONTMac ret: %d \r\n", 879, "\nget ont mac result data:%s \r\n");
        return;
    case 2:
        out.text(ZX_TARN_GetInternetWanIp(buf, n), 883, "\n getWANIP ret: %d ", 888, "\nget WAN IP result data:%s\n");
        return;
    case 3: {
        // The statistic is the answer; the result code is only traced.
        uint32_t count = 0;
        uint32_t code = getDNSForwardConstatics(env, arg, &count);
        trace(892, "\n getDNSForwardConstatics ret: %d ", static_cast<int32_t>(code));
        out.number(static_cast<int32_t>(count));
        return;
    }
    case 4:
        return code_answer(out, addDNSForwardList(env, arg), 897, "\n addDNSForwardList ret: %d ");
    case 5:
        return code_answer(out, deleteDNSForwardList(env, arg), 902, "\n deleteDNSForwardList ret: %d ");
    case 6:
        return code_answer(out, setupVPN(env, arg), 907, "\n setupVPN ret: %d ");
    case 7:
        return code_answer(out, disconnectVPN(env, arg), 912, "\n disconnectVPN ret: %d ");
    case 8:
        return code_answer(out, tunnel_list(kAddVpnAddress, env, arg), 917, "\n addVPNAddress ret: %d ");
    case 9:
        return code_answer(out, tunnel_list(kDeleteVpnAddress, env, arg), 922, "\n deleteVPNAddress ret: %d ");
    case 11:
        out.text(ZX_TARN_GetPppoeUserName(buf, n), 927, "\n getPppoeUserName ret: %d \r\n", 0, nullptr);
        return;
    case 12:
        return code_answer(out, traffic_monitoring(kAddTraffic, env, arg), 935,
                           "\n addTrafficMonitoringDestAddress ret: %d ");
    case 13:
        // The delete command traces the add command's text.
        return code_answer(out, traffic_monitoring(kDeleteTraffic, env, arg), 940,
                           "\n addTrafficMonitoringDestAddress ret: %d ");
    case 14:
        out.text(getDevicePPPoENameAndWANIP(env, arg, buf, n), 946, "getDevicePPPoENameAndWANIP ret: %d \r\n", 951,
                 "getDevicePPPoENameAndWANIP result data:%s \r\n");
        return;
    case 15:
        out.text(ZX_TARN_getDeviceWLANChannel(buf, n), 956, "getDeviceWLANChannel ret: %d \r\n", 961,
                 "getDeviceWLANChannel result data:%s \r\n", false);
        return;
    case 16:
        out.text(ZX_TARN_getDeviceCloudAddress(buf, n), 966, "getDeviceCloudAddress ret: %d \r\n", 971,
                 "getDeviceCloudAddress result data:%s \r\n");
        return;
    case 17:
        out.text(ZX_TARN_getDeviceLANIP(buf, n), 975, "getDeviceLANIP ret: %d \r\n", 980,
                 "getDeviceLANIP result data:%s \r\n");
        return;
    case 18:
        out.text(ZX_VELM_getDevicePhyInfo(buf, n), 985, "getDevicePhyInfo ret: %d \r\n", 990,
                 "getDevicePhyInfo result data:%s \r\n");
        return;
    case 19:
        out.text(ZX_VELM_getDeviceUpdateState(buf, n), 995, "getDeviceUpdateState ret: %d \r\n", 1000,
                 "getDeviceUpdateState result data:%s \r\n");
        return;
    case 20:
        out.text(ZX_TARN_getDeviceCloudAddressAndPort(buf, n), 1005, "getDeviceCloudAddressAndPort ret: %d \r\n", 1010,
                 "getDeviceCloudAddressAndPort result data:%s \r\n");
        return;
    case 21:
        out.text(getDnsAnalysis(env, arg, buf, n), 1015, "getDnsAnalysis ret: %d \r\n", 1020,
                 "getDnsAnalysis result data:%s \r\n");
        return;
    case 100:
        return code_answer(out, tunnel_list(kAddVpnSrcAddress, env, arg), 1025, "\n addVPNSrcAddress ret: %d ");
    case 101:
        return code_answer(out, tunnel_list(kDeleteVpnSrcAddress, env, arg), 1030, "\n deleteVPNSrcAddress ret: %d ");
    default:
        trace(1034, "\n Unknown Command!\r\n");
        return;
    }
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

extern "C" JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_entity_JNINativeMethods_send(JNIEnv* env,
                                                                                                     jobject, jint type,
                                                                                                     jobject arg) {
    SendBuffer out;
    trace(868, "Command Type:%d  \r\n", type);
    // Types 1 to 101 go through the table (one unsigned test); everything else is unknown.
    if (static_cast<uint32_t>(type) - 1 < 101) {
        LocalFrame frame(env);
        run_command(env, type, arg, out);
    } else {
        trace(1034, "\n Unknown Command!\r\n");
    }
    return char2jstring(env, out.get());
}
