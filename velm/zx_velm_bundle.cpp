// Bundle management and the plug-in operation log. The records of this file name the plug-in
// platform's source "../velm/zx_velm_jni_api"; their line numbers are fixed, the field service
// reads them.
#include "zx_velm_bundle.h"

#include <cstring>
#include <initializer_list>

#include "scoped.h"
#include "shared_state.h"
#include "trace_unit.h"
#include "zx_velm_jni_api.h"

namespace {

using zxtrace::kVelmApi;  // every record of this file
using zxtrace::operator""_ln;
using zxtrace::Line;

constexpr const char* kFile = kVelmApi.file();
constexpr uint32_t kLogLevel = 220;

constexpr const char* kBundleManager = ZX_OSGI_ENDPOINT;
constexpr const char* kResetAction = "FactoryPlugin";
constexpr uint32_t kDefaultTimeoutMs = 60000;
constexpr uint32_t kResetTimeoutMs = 120000;

// Searched in order; a command not listed waits kDefaultTimeoutMs.
struct TimeoutRow {
    uint32_t msgId;
    uint32_t timeoutMs;
};
constexpr TimeoutRow kTimeouts[] = {
    {ZX_OSGI_RPC_INSTALL, 20000},     {ZX_OSGI_RPC_CANCEL_INSTALL, 20000}, {ZX_OSGI_RPC_INSTALL_PROCESS, 20000},
    {ZX_OSGI_RPC_QUERY_STATE, 20000}, {ZX_OSGI_RPC_OPERATE, 60000},        {ZX_OSGI_RPC_RESERVED, 60000},
};

uint32_t timeout_of(uint32_t msgId) {
    for (const TimeoutRow& row : kTimeouts)
        if (row.msgId == msgId) return row.timeoutMs;
    return kDefaultTimeoutMs;
}

using zxtrace::word;

// Releases the pieces of a half-built object: only those that were made are handed back.
void put_made(std::initializer_list<json_object*> objects) {
    for (json_object* obj : objects)
        if (obj) VELM_JSON_ObjPut(obj);
}

// A text of a fixed field that need not be terminated.
template <size_t N>
json_object* field_string(const char (&field)[N]) {
    return json_object_new_string_len(field, static_cast<int>(strnlen(field, N)));
}

// "%u-%02u-%02u %02u:%02u:%02u" of the local time into a 32-byte buffer; 1 when the clock fails.
uint32_t log_time(char (&stamp)[32]) {
    ZX_OS_TM tm;
    ZX_OS_MemSet_S(&tm, sizeof tm, 0, sizeof tm);
    uint32_t code = ZX_OS_GetLocalTime(&tm);
    if (code != 0) {
        kVelmApi.last_word(746_ln, code);
        kVelmApi.trace_at(kLogLevel, 747_ln, "[OSGI_Bundle_GetSysTime]Failed to get System time\r\n");
        return 1;
    }
    ZX_OS_Snprintf_S(stamp, sizeof stamp, sizeof stamp - 1, "%u-%02u-%02u %02u:%02u:%02u",
                     static_cast<uint32_t>(tm.iYear + 1900), static_cast<uint32_t>(tm.iMon + 1),
                     static_cast<uint32_t>(tm.iMday), static_cast<uint32_t>(tm.iHour), static_cast<uint32_t>(tm.iMin),
                     static_cast<uint32_t>(tm.iSec));
    return 0;
}

// The state list's entries as a json-c array; entries that cannot be built are left out.
json_object* bundle_array(const ZX_OSGI_STATE_LIST_S& list) {
    json_object* array = json_object_new_array();
    if (!array) return nullptr;
    int32_t count = list.iCount < static_cast<int32_t>(ZX_OSGI_MAX_BUNDLES) ? list.iCount : ZX_OSGI_MAX_BUNDLES;
    for (int32_t i = 0; i < count; ++i) {
        const ZX_OSGI_BUNDLE_INFO_S& info = list.astBundle[i];
        json_object* entry = nullptr;
        uint32_t code = ZX_OSGI_JNI_BundleInfotoJson(&info, &entry);
        if (code != 0) {
            kVelmApi.last_word(2550_ln, code, static_cast<uint32_t>(i), 0, 0, 0);
            continue;
        }
        kVelmApi.trace(2556_ln, "acBundleName:%.128s acState:%.16s acVersion:%.24s\r\n", info.acBundleName,
                       info.acState, info.acVersion);
        if (json_object_array_add(array, entry) != 0) {
            VELM_JSON_ObjPut(entry);
            kVelmApi.last_word(2565_ln, ZX_JNI_ERR_GENERAL, static_cast<uint32_t>(i), 0, 0, 0);
        }
    }
    return array;
}

// Renders obj, traces the text and hands it to Java; obj is released in every case.
jstring render(JNIEnv* env, json_object* obj, Line traceLine, Line failLine) {
    const char* text = json_object_to_json_string(obj);
    if (!text || !*text) {
        kVelmApi.last_word(failLine, ZX_JNI_ERR_GENERAL, word(text), 0, 0, 0);
        VELM_JSON_ObjPut(obj);
        return nullptr;
    }
    kVelmApi.trace(traceLine, "pcJsonStr:%s\r\n", text);
    jstring java = char2jstring(env, text);
    VELM_JSON_ObjPut(obj);
    return java;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// The plug-in operation log
// ---------------------------------------------------------------------------------------------

extern "C" uint32_t OSGI_Bundle_Create_LogFile(void) {
    FILE* fp = ZX_OS_Fopen(OSGI_JNI_LOG_FILE, "wt");
    if (!fp) {
        kVelmApi.trace_at(kLogLevel, 713_ln, "[OSGI_Bundle_Create_LogFile]Failed to create log file\r\n");
        return 1;
    }
    ZX_OS_Fclose(fp);
    return 0;
}

extern "C" uint32_t OSGI_JNI_TransferLogAction(const char* action, char* out) {
    const char* word = action;
    if (ZX_OS_StrCmp(action, "install") == 0)
        word = "Install";
    else if (ZX_OS_StrCmp(action, "start") == 0)
        word = "Run";
    else if (ZX_OS_StrCmp(action, "uninstall") == 0)
        word = "UnInstall";
    ZX_OS_StrNCpy_S(out, 128, word, 127);
    return 0;
}

extern "C" uint32_t OSGI_JNI_Log_Record(const char* action, const char* bundleName) {
    char stamp[32];
    ZX_OS_MemSet_S(stamp, sizeof stamp, 0, sizeof stamp);
    if (log_time(stamp) != 0) return 1;
    // Room for both texts, the time stamp, the brackets and the line end.
    uint32_t size = static_cast<uint32_t>(std::strlen(action) + std::strlen(bundleName) + 37);
    zxjni::PlatformBuffer line(size, kFile, 793);
    if (!line) {
        kVelmApi.last_word(796_ln, 1);
        return 1;
    }
    ZX_OS_Snprintf_S(line.get(), size, size, "%s [%s] %s\r\n", stamp, action, bundleName);
    FILE* fp = ZX_OS_Fopen(OSGI_JNI_LOG_FILE, "at");
    if (!fp) {
        line.free_at(805);
        kVelmApi.trace_at(kLogLevel, 807_ln, "[OSGI_JNI_Log_Record]Failed to open log file\r\n");
        return 1;
    }
    int32_t written = ZX_OS_Fputs(line.get(), fp);
    ZX_OS_Fclose(fp);
    line.free_at(written < 1 ? 818 : 824);
    if (written < 1) {
        kVelmApi.trace_at(kLogLevel, 820_ln, "[OSGI_JNI_Log_Record]Failed to write record into log file\r\n");
        return 1;
    }
    return 0;
}

// ---------------------------------------------------------------------------------------------
// The call to the bundle manager
// ---------------------------------------------------------------------------------------------

extern "C" uint32_t OSGI_JNI_BundleMng_RpcCall(uint32_t mid, uint32_t msgId, const void* req, uint32_t reqLen,
                                               void* reply, uint32_t replyLen) {
    ZX_MSG_HEAD_S head;
    ZX_OS_MemSet_S(&head, sizeof head, 0, sizeof head);
    uint32_t timeoutMs = timeout_of(msgId);
    head.uiMid = mid;
    head.uiTag = JNI_OsgiNextTag();
    ZX_OS_StrNCpy_S(head.acDstProcName, sizeof head.acDstProcName, kBundleManager, 31);
    ZX_OS_StrNCpy_S(head.acSrcProcName, sizeof head.acSrcProcName, ZX_MSG_GetCurProcName(), 31);
    uint32_t scratchRequest = 0;
    uint32_t scratchReply = 0;
    if (!req) {
        req = &scratchRequest;
        reqLen = sizeof scratchRequest;
    }
    if (!reply) {
        reply = &scratchReply;
        replyLen = sizeof scratchReply;
    }
    const char* action = nullptr;
    if (msgId == ZX_OSGI_RPC_OPERATE && reqLen >= sizeof(ZX_OSGI_OPERATE_REQ_S)) {
        action = static_cast<const ZX_OSGI_OPERATE_REQ_S*>(req)->acAction;
        if (std::strncmp(action, kResetAction, sizeof(ZX_OSGI_OPERATE_REQ_S::acAction)) == 0)
            timeoutMs = kResetTimeoutMs;
    }
    kVelmApi.trace(940_ln, "ulRpcCmo:0x%x uiTimeOut:%u\r\n", msgId, timeoutMs);
    if (action) kVelmApi.trace(944_ln, "Action:%.16s\r\n", action);
    // Unlike the other services' wrappers, the bundle manager is told the caller's module id.
    return ZX_MSG_RpcCall(&head, msgId, mid, req, reqLen, reply, replyLen, timeoutMs);
}

extern "C" int32_t OSGI_JNI_Bundle_Operate(uint32_t mid, const char* bundleName, const char* action) {
    if (!bundleName || !action) {
        kVelmApi.last_word(1034_ln, 1);
        return 1;
    }
    char logWord[128];
    ZX_OS_MemSet_S(logWord, sizeof logWord, 0, sizeof logWord);
    OSGI_JNI_TransferLogAction(action, logWord);
    (void)OSGI_JNI_Log_Record(logWord, bundleName);  // a lost log line never stops the operation

    ZX_OSGI_OPERATE_REQ_S req;
    ZX_OS_MemSet_S(&req, sizeof req, 0, sizeof req);
    ZX_OS_StrNCpy_S(req.acBundleName, sizeof req.acBundleName, bundleName, sizeof req.acBundleName - 1);
    ZX_OS_StrNCpy_S(req.acAction, sizeof req.acAction, action, sizeof req.acAction - 1);
    uint32_t result = 0;
    uint32_t code = OSGI_JNI_BundleMng_RpcCall(mid, ZX_OSGI_RPC_OPERATE, &req, sizeof req, &result, sizeof result);
    kVelmApi.trace(1050_ln, "uiRet:%u uiResult:%u\r\n", code, result);
    // The bundle manager's own answer wins over the transport's status.
    if (result != 0) {
        kVelmApi.last_word(1055_ln, result, code, 0, 0, 0);
        return ZX_OSGI_JNI_ZXErrConvert(result);
    }
    kVelmApi.last_word(1059_ln, code);
    return ZX_OSGI_JNI_ZXErrConvert(code);
}

// ---------------------------------------------------------------------------------------------
// Query lists and JSON texts
// ---------------------------------------------------------------------------------------------

extern "C" uint32_t ZX_OSGI_JNI_BundleInfotoJson(const ZX_OSGI_BUNDLE_INFO_S* info, json_object** out) {
    if (!info || !out) {
        kVelmApi.last_word(2592_ln, ZX_JNI_ERR_JSON_NULL);
        return ZX_JNI_ERR_JSON_NULL;
    }
    json_object* obj = json_object_new_object();
    if (!obj) {
        kVelmApi.last_word(2598_ln, ZX_JNI_ERR_JSON_NEW);
        return ZX_JNI_ERR_JSON_NEW;
    }
    json_object* name = field_string(info->acBundleName);
    json_object* version = field_string(info->acVersion);
    json_object* state = field_string(info->acState);
    if (!name || !version || !state) {
        kVelmApi.last_word(2606_ln, ZX_JNI_ERR_JSON_NEW, word(name), word(version), word(state), 0);
        put_made({name, version, state, obj});
        return ZX_JNI_ERR_JSON_NEW;
    }
    json_object_object_add(obj, "Name", name);
    json_object_object_add(obj, "Version", version);
    json_object_object_add(obj, "State", state);
    *out = obj;
    return 0;
}

extern "C" uint32_t OSGI_JNI_FillVdataFromJsonPara(PluginVDataRecord* rec, JNIEnv* env, jobjectArray names) {
    if (!rec) {
        kVelmApi.last_word(2630_ln, ZX_JNI_ERR_JSON_NULL);
        return ZX_JNI_ERR_JSON_NULL;
    }
    zxjni::PlatformBuffer block(sizeof(ZX_OSGI_QUERY_LIST_S), kFile, 2633);
    if (!block) {
        kVelmApi.last_word(2636_ln, ZX_JNI_ERR_NOMEM);
        return ZX_JNI_ERR_NOMEM;
    }
    auto* list = reinterpret_cast<ZX_OSGI_QUERY_LIST_S*>(block.get());
    jsize length = names ? env->GetArrayLength(names) : 0;
    uint32_t count =
        static_cast<uint32_t>(length) < ZX_OSGI_MAX_BUNDLES ? static_cast<uint32_t>(length) : ZX_OSGI_MAX_BUNDLES;
    kVelmApi.trace(2641_ln, "iCount:%u\r\n", count);
    for (uint32_t i = 0; i < count; ++i) {
        auto element = static_cast<jstring>(env->GetObjectArrayElement(names, static_cast<jsize>(i)));
        zxjni::JavaText name(env, element);
        env->DeleteLocalRef(element);
        // A null element keeps its slot empty and is not counted.
        if (!name) continue;
        ZX_OS_StrNCpy_S(list->aacBundleName[i], sizeof list->aacBundleName[i], name.get(),
                        sizeof list->aacBundleName[i] - 1);
        kVelmApi.trace(2655_ln, "pcBundleName:%s\r\n", list->aacBundleName[i]);
        ++list->uiCount;
    }
    list->uiFlag = 1;
    uint32_t code = OSGI_JNI_ZipWriteVData(rec, list, sizeof *list);
    if (code != 0) kVelmApi.last_word(2670_ln, code);
    block.free_at(2673);
    return code;
}

extern "C" jstring OSGI_JNI_FillJsonStrFromVdata(JNIEnv* env, const PluginVDataRecord* rec) {
    if (!rec) {
        kVelmApi.last_word(2495_ln, ZX_JNI_ERR_JSON_NULL);
        return nullptr;
    }
    zxjni::PlatformBuffer block(sizeof(ZX_OSGI_STATE_LIST_S), kFile, 2500);
    if (!block) {
        kVelmApi.last_word(2503_ln, ZX_JNI_ERR_NOMEM);
        return nullptr;
    }
    uint32_t code = OSGI_JNI_ReadUnzipVData(rec, block.get());
    if (code != 0) {
        kVelmApi.last_word(2511_ln, code);
        return nullptr;
    }
    const auto* list = reinterpret_cast<const ZX_OSGI_STATE_LIST_S*>(block.get());
    kVelmApi.trace(2516_ln, "\nuiStatus:%u uiSize:%u", list->uiStatus, static_cast<uint32_t>(list->iCount));
    if (list->uiStatus != 0) {
        kVelmApi.last_word(2521_ln, list->uiStatus);
        return nullptr;
    }
    json_object* obj = json_object_new_object();
    json_object* array = obj ? bundle_array(*list) : nullptr;
    block.free_at(2570);
    json_object* result = array ? json_object_new_int(0) : nullptr;
    if (!result) {
        kVelmApi.last_word(2574_ln, ZX_JNI_ERR_GENERAL, word(obj), word(array), 0, 0);
        put_made({array, obj});
        return nullptr;
    }
    json_object_object_add(obj, "Result", result);
    json_object_object_add(obj, "BundleLists", array);
    return render(env, obj, 2580_ln, 2577_ln);
}

extern "C" jstring OSGI_JNI_FillInstallProcess(JNIEnv* env, const ZX_OSGI_PROCESS_REPLY_S* reply) {
    if (!reply) {
        kVelmApi.last_word(2401_ln, ZX_JNI_ERR_JSON_NULL);
        return nullptr;
    }
    json_object* obj = json_object_new_object();
    json_object* result = json_object_new_int(ZX_OSGI_JNI_ZXErrConvert(reply->uiResult));
    json_object* state = field_string(reply->acState);
    json_object* percent = json_object_new_int(static_cast<int32_t>(reply->uiPercent));
    if (!obj || !result || !state || !percent) {
        kVelmApi.last_word(2436_ln, ZX_JNI_ERR_GENERAL);
        put_made({result, state, percent, obj});
        return nullptr;
    }
    json_object_object_add(obj, "Result", result);
    json_object_object_add(obj, "State", state);
    json_object_object_add(obj, "Percent", percent);
    return render(env, obj, 2453_ln, 2449_ln);
}
