// Plug-in platform API. Every record of this unit names the source "../velm/zx_velm_jni_api".
#include "zx_velm_jni_api.h"

#include <cstring>

#include "trace_unit.h"

namespace {

using zxtrace::kVelmApi;  // every record of this file
using zxtrace::operator""_ln;
using zxtrace::Line;

// Bundle-manager codes and the results Java sees. Irregular on purpose: -2, -16 and -26 never
// occur, two codes share -9 and three share -100.
struct CodeRow {
    uint32_t code;
    int32_t result;
};
constexpr CodeRow kCodeTable[] = {
    {0x00000000, 0},   {0xFFFFFFFF, -1},  {0xF7213003, -3},   {0xF7213002, -4},   {0xF7212001, -5},   {0xF7213009, -6},
    {0xF7213006, -7},  {0x0000000C, -8},  {0x00000004, -9},   {0xF7204030, -9},   {0x00000007, -10},  {0xF7213008, -11},
    {0xF721300A, -12}, {0xF7213010, -13}, {0xF721300B, -14},  {0xF721300C, -15},  {0x00000006, -17},  {0xF7213007, -18},
    {0x00000008, -19}, {0x00000009, -20}, {0x0000000A, -21},  {0x00000001, -22},  {0x00000003, -23},  {0x0000000B, -24},
    {0xF720403F, -25}, {0xF721300D, -27}, {0xF710403D, -100}, {0x0000000F, -100}, {0x00000012, -100},
};
static_assert(sizeof kCodeTable / sizeof kCodeTable[0] == 29);

// The load text of the two measurement functions, copied out only when it fits.
uint32_t write_load(char* buf, uint32_t size, uint32_t percent, uint32_t code, Line tooSmallLine) {
    char local[128];
    ZX_OS_MemSet_S(local, sizeof local, 0, sizeof local);
    ZX_OS_Snprintf_S(local, sizeof local, sizeof local, "{\"Result\":%d , \"Percent\":\"%d\"}", 0,
                     static_cast<int32_t>(percent));
    uint32_t length = static_cast<uint32_t>(std::strlen(local));
    if (length + 1 > size) {
        kVelmApi.last_word(tooSmallLine, ZX_JNI_ERR_BUF_SMALL, size, length, 0, 0);
        return ZX_JNI_ERR_BUF_SMALL;
    }
    ZX_OS_StrNCpy_S(buf, size, local, size - 1);
    return code;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Result codes and JSON helpers
// ---------------------------------------------------------------------------------------------

extern "C" uint32_t VELM_JSON_ObjPut(json_object* obj) {
    if (!obj) {
        kVelmApi.last_word(83_ln, ZX_JNI_ERR_JSON_NULL);
        return 0;
    }
    return static_cast<uint32_t>(json_object_put(obj));
}

extern "C" bool ZX_JNI_IsValidBoolean(uint32_t value) { return value < 2; }

extern "C" int32_t ZX_OSGI_JNI_ZXErrConvert(uint32_t code) {
    int32_t result = -1;
    for (const CodeRow& row : kCodeTable) {
        if (row.code == code) {
            result = row.result;
            break;
        }
    }
    kVelmApi.trace(460_ln, "Module ret:[%u][%x] ZX ret:%u\r\n", code, code, static_cast<uint32_t>(result));
    return result;
}

extern "C" uint32_t ZX_JNI_BuildResultJson(char* buf, uint32_t size, const ZX_WIRE_RESULT_REASON_S* reply) {
    if (!buf || !reply) return 1;
    if (reply->iResult == 0)
        ZX_OS_Snprintf_S(buf, size, size, "{\"%s\":%d}", "Result", 0);
    else  // the reason goes in as it stands, without escaping
        ZX_OS_Snprintf_S(buf, size, size, "{\"%s\":%d,\"%s\":\"%.*s\"}", "Result", reply->iResult, "FailReason",
                         static_cast<int>(sizeof reply->acFailReason), reply->acFailReason);
    return 0;
}

extern "C" jstring OSGI_JNI_FaultStrBuild(JNIEnv* env, uint32_t code) {
    json_object* obj = json_object_new_object();
    if (!obj) {
        kVelmApi.last_word(975_ln, ZX_JNI_ERR_GENERAL);
        return nullptr;
    }
    json_object* result = json_object_new_int(ZX_OSGI_JNI_ZXErrConvert(code));
    if (!result) {
        VELM_JSON_ObjPut(obj);
        kVelmApi.last_word(983_ln, ZX_JNI_ERR_GENERAL);
        return nullptr;
    }
    json_object_object_add(obj, "Result", result);
    const char* text = json_object_to_json_string(obj);
    if (!text || !*text) {
        kVelmApi.last_word(993_ln, ZX_JNI_ERR_GENERAL, zxtrace::word(text), 0, 0,
                           0);
        VELM_JSON_ObjPut(obj);
        return nullptr;
    }
    kVelmApi.trace(998_ln, "pcJsonStr:%s\r\n", text);
    jstring java = char2jstring(env, text);
    VELM_JSON_ObjPut(obj);
    return java;
}

// ---------------------------------------------------------------------------------------------
// System information
// ---------------------------------------------------------------------------------------------

extern "C" uint32_t ZX_JNI_sysGetCpuUsage(char* buf, uint32_t size) {
    uint32_t percent = 0;
    uint32_t code = ZX_OS_GetCPUBusyRateByTime(10, &percent);
    if (code != 0) {
        kVelmApi.last_word(1094_ln, code);
        percent = 1;
    }
    if (percent == 0) percent = 1;  // the reported load never reads below 1
    return write_load(buf, size, percent, code, 1109_ln);
}

extern "C" uint32_t ZX_JNI_sysGetMemUsage(char* buf, uint32_t size) {
    uint32_t percent = 0;
    uint32_t code = ZX_OS_GetMemUseRate(&percent);
    if (code != 0) kVelmApi.last_word(1141_ln, code);
    return write_load(buf, size, percent, code, 1150_ln);
}

extern "C" uint32_t ZX_JNI_sysGetLoid(char* buf, uint32_t size) {
    uint32_t request = 0;
    char reply[64];
    ZX_OS_MemSet_S(reply, sizeof reply, 0, sizeof reply);
    uint32_t code = APPM_JNI_MSG_RpcCall(ZX_APPM_RPC_GET_LOID, &request, sizeof request, reply, sizeof reply);
    if (code != 0) {
        kVelmApi.last_word(1184_ln, ZX_JNI_ERR_GENERAL, code, 0, 0, 0);
        return ZX_JNI_ERR_GENERAL;
    }
    reply[sizeof reply - 1] = '\0';  // a service answering 64 characters still gives a text
    uint32_t length = static_cast<uint32_t>(std::strlen(reply));
    if (length + 1 > size) {
        kVelmApi.last_word(1190_ln, ZX_JNI_ERR_BUF_SMALL, size, length, 0, 0);
        return ZX_JNI_ERR_BUF_SMALL;
    }
    ZX_OS_StrNCpy_S(buf, size, reply, size - 1);
    return 0;
}
