// Natives of IBundleManageServiceJNI: install, cancel, start, stop, uninstall and reset of plug-in
// bundles and the two queries, each a thin frame over the bundle manager's call. The integer
// natives answer -1 for an argument that cannot be converted, else the Java result of the bundle
// manager's code; the String natives answer a JSON text (or null when not even that can be made).
#include <jni.h>
#include <strings.h>

#include "binding.h"
#include "com_zentrix_nodalis_deviceservice_opco_wap_velm_jni_IBundleManageServiceJNI.h"
#include "scoped.h"
#include "zx_velm_bundle.h"
#include "zx_velm_jni_api.h"

using zxjni::JavaText;
using zxtrace::kBaseService;  // every record of this file; its lines are fixed numbers
using zxtrace::Line;
using zxtrace::operator""_ln;

namespace {

constexpr uint32_t kGeneral = 0xFFFFFFFFu;
constexpr const char* kBundleManager = ZX_OSGI_ENDPOINT;

// The entry text; like the other classes' it lacks the maker segment of the exported symbol.
void trace_entry(const char* method, Line line) {
    kBaseService.trace(line, "\n Java_com_nodalis_deviceservice_opco_wap_velm_jni_IBundleManageServiceJNI_%s called",
                       method);
}

using zxtrace::word;

template <size_t N>
void copy_name(char (&field)[N], const char* text) {
    ZX_OS_StrNCpy_S(field, N, text, N - 1);
}

// The Java result of a call answered by one word: the bundle manager's word wins over the
// transport's status.
jint word_result(uint32_t code, uint32_t reply, Line replyLine, Line codeLine) {
    if (reply != 0) {
        kBaseService.last_word(replyLine, reply, code, 0, 0, 0);
        return ZX_OSGI_JNI_ZXErrConvert(reply);
    }
    kBaseService.last_word(codeLine, code);
    return ZX_OSGI_JNI_ZXErrConvert(code);
}

// The start action decides whether the bundle runs once installed; the case does not matter.
uint32_t start_flag(const char* action) {
    if (strcasecmp(action, "Start") == 0) return 1;
    if (strcasecmp(action, "Stop") != 0) kBaseService.last_word(2419_ln, kGeneral);
    return 0;
}

struct OperateLines {
    const char* method;
    const char* action;
    Line entry;
    Line noName;
};

jint operate(JNIEnv* env, jstring bundleName, const OperateLines& k) {
    trace_entry(k.method, k.entry);
    JavaText text(env, bundleName);
    if (!text) {
        kBaseService.last_word(k.noName, kGeneral);
        return -1;
    }
    char name[128];
    ZX_OS_MemSet_S(name, sizeof name, 0, sizeof name);
    copy_name(name, text.get());
    text.reset();
    return OSGI_JNI_Bundle_Operate(OSGI_JNI_MID, name, k.action);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Natives
// ---------------------------------------------------------------------------------------------

extern "C" JNIEXPORT jint JNICALL
Java_com_zentrix_nodalis_deviceservice_opco_wap_velm_jni_IBundleManageServiceJNI_install(
    JNIEnv* env, jobject, jstring packagePath, jstring fileSize, jstring startAction, jstring pluginName,
    jint wanIndex) {
    trace_entry("install", 2379_ln);
    ZX_OSGI_INSTALL_REQ_S req;
    ZX_OS_MemSet_S(&req, sizeof req, 0, sizeof req);
    JavaText path(env, packagePath);
    JavaText size(env, fileSize);
    JavaText action(env, startAction);
    JavaText name(env, pluginName);
    if (!path || !size || !action || !name) {
        kBaseService.last_word(2390_ln, kGeneral, word(path.get()), word(size.get()), word(action.get()),
                               word(name.get()));
        return -1;
    }
    copy_name(req.acPluginName, name.get());
    copy_name(req.acFilePath, path.get());
    int32_t parsed = 0;
    uint32_t code = ZX_OS_StrToInt32(size.get(), &parsed);
    if (code != 0) kBaseService.last_word(2404_ln, code);  // the install still goes out
    req.uiFileSize = static_cast<uint32_t>(parsed);
    req.uiResv2 = 0;
    req.uiStartFlag = start_flag(action.get());
    path.reset();
    size.reset();
    action.reset();
    name.reset();
    req.uiWanIndex = static_cast<uint32_t>(wanIndex);
    kBaseService.trace(2431_ln, "acPluginName:%s uiFileSize:%u uiStartFlag:%u uiWanIndex:%u\r\n", req.acPluginName,
                       req.uiFileSize, req.uiStartFlag, req.uiWanIndex);
    (void)OSGI_JNI_Log_Record("Install", req.acPluginName);
    uint32_t reply = 0;
    code = OSGI_JNI_BundleMng_RpcCall(OSGI_JNI_MID, ZX_OSGI_RPC_INSTALL, &req, sizeof req, &reply, sizeof reply);
    return word_result(code, reply, 2442_ln, 2446_ln);
}

extern "C" JNIEXPORT jint JNICALL
Java_com_zentrix_nodalis_deviceservice_opco_wap_velm_jni_IBundleManageServiceJNI_cancelInstall(JNIEnv* env, jobject,
                                                                                               jstring bundleName) {
    trace_entry("cancelInstall", 2335_ln);
    ZX_OSGI_CANCEL_REQ_S req;
    ZX_OS_MemSet_S(&req, sizeof req, 0, sizeof req);
    JavaText name(env, bundleName);
    if (!name) {
        kBaseService.last_word(2341_ln, kGeneral);
        return -1;
    }
    copy_name(req.acBundleName, name.get());
    name.reset();
    (void)OSGI_JNI_Log_Record("Install_cancel", req.acBundleName);
    uint32_t reply = 0;
    uint32_t code =
        OSGI_JNI_BundleMng_RpcCall(OSGI_JNI_MID, ZX_OSGI_RPC_CANCEL_INSTALL, &req, sizeof req, &reply, sizeof reply);
    return word_result(code, reply, 2354_ln, 2358_ln);
}

extern "C" JNIEXPORT jint JNICALL
Java_com_zentrix_nodalis_deviceservice_opco_wap_velm_jni_IBundleManageServiceJNI_start(JNIEnv* env, jobject,
                                                                                       jstring bundleName) {
    return operate(env, bundleName, {"start", "start", 2588_ln, 2591_ln});
}

extern "C" JNIEXPORT jint JNICALL Java_com_zentrix_nodalis_deviceservice_opco_wap_velm_jni_IBundleManageServiceJNI_stop(
    JNIEnv* env, jobject, jstring bundleName) {
    return operate(env, bundleName, {"stop", "stop", 2610_ln, 2613_ln});
}

extern "C" JNIEXPORT jint JNICALL
Java_com_zentrix_nodalis_deviceservice_opco_wap_velm_jni_IBundleManageServiceJNI_uninstall(JNIEnv* env, jobject,
                                                                                           jstring bundleName) {
    return operate(env, bundleName, {"uninstall", "uninstall", 2632_ln, 2635_ln});
}

extern "C" JNIEXPORT jint JNICALL
Java_com_zentrix_nodalis_deviceservice_opco_wap_velm_jni_IBundleManageServiceJNI_reset(JNIEnv* env, jobject,
                                                                                       jstring bundleName) {
    return operate(env, bundleName, {"reset", "FactoryPlugin", 2566_ln, 2569_ln});
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_opco_wap_velm_jni_IBundleManageServiceJNI_queryBundleState(
    JNIEnv* env, jobject, jobjectArray bundleNames) {
    trace_entry("queryBundleState", 2466_ln);
    PluginVDataRecord request{};
    PluginVDataRecord reply{};
    uint32_t code = OSGI_JNI_FillVdataFromJsonPara(&request, env, bundleNames);
    if (code != 0) {
        kBaseService.last_word(2475_ln, code);
        return OSGI_JNI_FaultStrBuild(env, code);
    }
    uint32_t exists = 0;
    uint32_t found = ZX_OS_IsProcExist_Ex(kBundleManager, &exists);
    if (found != 0 || exists == 0) {
        kBaseService.last_word(2483_ln, ZX_JNI_ERR_OSGI_DOWN, found, exists, 0, 0);
        ZX_VDATA_FreeShm(request.uivDataID);  // nobody will read the names
        return OSGI_JNI_FaultStrBuild(env, ZX_JNI_ERR_OSGI_DOWN);
    }
    code = OSGI_JNI_BundleMng_RpcCall(OSGI_JNI_MID, ZX_OSGI_RPC_QUERY_STATE, &request, sizeof request, &reply,
                                      sizeof reply);
    if (code != 0) {
        kBaseService.last_word(2492_ln, code);
        return OSGI_JNI_FaultStrBuild(env, code);
    }
    return OSGI_JNI_FillJsonStrFromVdata(env, &reply);
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_opco_wap_velm_jni_IBundleManageServiceJNI_queryInstallProcess(
    JNIEnv* env, jobject, jstring pluginName) {
    trace_entry("queryInstallProcess", 2512_ln);
    ZX_OSGI_PROCESS_REQ_S req;
    ZX_OSGI_PROCESS_REPLY_S reply;
    ZX_OS_MemSet_S(&req, sizeof req, 0, sizeof req);
    ZX_OS_MemSet_S(&reply, sizeof reply, 0, sizeof reply);
    JavaText name(env, pluginName);
    if (!name) {
        kBaseService.last_word(2521_ln, kGeneral);
        return OSGI_JNI_FaultStrBuild(env, kGeneral);
    }
    copy_name(req.acPluginName, name.get());
    name.reset();
    kBaseService.trace(2528_ln, "acPluginName:%s\r\n", req.acPluginName);
    uint32_t code =
        OSGI_JNI_BundleMng_RpcCall(OSGI_JNI_MID, ZX_OSGI_RPC_INSTALL_PROCESS, &req, sizeof req, &reply, sizeof reply);
    if (code != 0) {
        kBaseService.last_word(2535_ln, kGeneral, code, reply.uiStatus, 0, 0);
        return OSGI_JNI_FaultStrBuild(env, code);
    }
    if (reply.uiStatus != 0) {
        kBaseService.last_word(2540_ln, kGeneral, 0, reply.uiStatus, 0, 0);
        return OSGI_JNI_FaultStrBuild(env, kGeneral);
    }
    return OSGI_JNI_FillInstallProcess(env, &reply);
}
