// libFuzzer target for the result and list JSON texts of the plug-in platform API:
//   mode 0  ZX_JNI_BuildResultJson of a reply record with reason, into a buffer of any size
//   mode 1  OSGI_JNI_FillJsonStrFromVdata of a bundle state list (the "BundleLists" text), the list
//           travelling compressed in a shared block as the bundle manager sends it
//   mode 2  OSGI_JNI_FillInstallProcess of an install progress reply
//   mode 3  OSGI_JNI_FaultStrBuild of a platform code
// The first byte picks the mode, the rest is the record (zero-filled to its size). The natives'
// Java strings are made through a JNI environment of this file that keeps each string's bytes
// and counts local references. Every text is parsed back with json-c and must hold exactly the
// record's values; a text the contract leaves unescaped (a reason with quotes) is compared byte
// for byte instead. No block, platform allocation or local reference is left behind.
#include <jni.h>
#include <json-c/json.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "zx_host.h"
#include "zx_velm_bundle.h"
#include "zx_velm_jni_api.h"

namespace {

[[noreturn]] void fail(const char* what, const std::string& detail = "") {
    std::fprintf(stderr, "result JSON: %s %s\n", what, detail.c_str());
    std::abort();
}

// ---- a JNI environment for the string conversion: objects are byte strings ----

struct FakeObject {
    std::string bytes;
};
std::vector<std::unique_ptr<FakeObject>> g_objects;
int g_liveRefs = 0;
FakeObject g_stringClass;

jobject make_object(std::string bytes) {
    g_objects.push_back(std::make_unique<FakeObject>(FakeObject{std::move(bytes)}));
    ++g_liveRefs;
    return reinterpret_cast<jobject>(g_objects.back().get());
}
FakeObject* object_of(jobject o) { return reinterpret_cast<FakeObject*>(o); }

jclass JNICALL find_class(JNIEnv*, const char* name) {
    if (std::strcmp(name, "java/lang/String") != 0) fail("class asked for", name);
    ++g_liveRefs;
    return reinterpret_cast<jclass>(&g_stringClass);
}
jboolean JNICALL exception_check(JNIEnv*) { return JNI_FALSE; }
void JNICALL exception_clear(JNIEnv*) {}
jstring JNICALL new_string_utf(JNIEnv*, const char* text) { return static_cast<jstring>(make_object(text)); }
jmethodID JNICALL get_method_id(JNIEnv*, jclass, const char* name, const char* sig) {
    if (std::strcmp(name, "<init>") != 0 || std::strcmp(sig, "([BLjava/lang/String;)V") != 0)
        fail("method asked for", name);
    return reinterpret_cast<jmethodID>(&g_stringClass);
}
jbyteArray JNICALL new_byte_array(JNIEnv*, jsize n) {
    return static_cast<jbyteArray>(make_object(std::string(static_cast<size_t>(n), '\0')));
}
void JNICALL set_byte_array_region(JNIEnv*, jbyteArray array, jsize start, jsize n, const jbyte* bytes) {
    FakeObject* a = object_of(array);
    if (start < 0 || n < 0 || static_cast<size_t>(start) + static_cast<size_t>(n) > a->bytes.size())
        fail("byte array region beyond the array");
    std::memcpy(a->bytes.data() + start, bytes, static_cast<size_t>(n));
}
// env->NewObject(...) of the C++ interface goes through NewObjectV.
jobject JNICALL new_object_v(JNIEnv*, jclass, jmethodID, va_list ap) {
    jobject bytes = va_arg(ap, jobject);
    jobject charset = va_arg(ap, jobject);
    if (object_of(charset)->bytes != "utf-8") fail("charset", object_of(charset)->bytes);
    return make_object(object_of(bytes)->bytes);
}
void JNICALL delete_local_ref(JNIEnv*, jobject) { --g_liveRefs; }

JNIEnv* fake_env() {
    static JNINativeInterface_ table = [] {
        JNINativeInterface_ t{};
        t.FindClass = find_class;
        t.ExceptionCheck = exception_check;
        t.ExceptionClear = exception_clear;
        t.NewStringUTF = new_string_utf;
        t.GetMethodID = get_method_id;
        t.NewByteArray = new_byte_array;
        t.SetByteArrayRegion = set_byte_array_region;
        t.NewObjectV = new_object_v;
        t.DeleteLocalRef = delete_local_ref;
        return t;
    }();
    static JNIEnv env{&table};
    return &env;
}

// The Java string a native returned: its text, checked to be the one reference left.
std::string java_text(jstring s) {
    if (g_liveRefs != (s ? 1 : 0)) fail("local references left behind");
    return s ? object_of(s)->bytes : std::string();
}

// ---- checks ----

struct Json {
    json_object* obj = nullptr;
    ~Json() {
        if (obj) json_object_put(obj);
    }
};

json_object* parse(const std::string& text, Json& holder) {
    json_tokener* tok = json_tokener_new();
    holder.obj = json_tokener_parse_ex(tok, text.c_str(), static_cast<int>(text.size()));
    bool whole = json_tokener_get_error(tok) == json_tokener_success &&
                 json_tokener_get_parse_end(tok) == text.size();
    json_tokener_free(tok);
    if (!holder.obj || !whole || !json_object_is_type(holder.obj, json_type_object)) fail("not a JSON object:", text);
    return holder.obj;
}

json_object* member(json_object* obj, const char* key, json_type type, const std::string& text) {
    json_object* m = nullptr;
    if (!json_object_object_get_ex(obj, key, &m) || !json_object_is_type(m, type)) fail(key, text);
    return m;
}

void expect_string(json_object* obj, const char* key, const std::string& value, const std::string& text) {
    json_object* m = member(obj, key, json_type_string, text);
    if (std::string(json_object_get_string(m), static_cast<size_t>(json_object_get_string_len(m))) != value)
        fail(key, text);
}

void expect_int(json_object* obj, const char* key, int64_t value, const std::string& text) {
    if (json_object_get_int64(member(obj, key, json_type_int, text)) != value) fail(key, text);
}

template <size_t N>
std::string field(const char (&f)[N]) {
    return std::string(f, strnlen(f, N));
}

template <typename T>
T record_from(const uint8_t* data, size_t size) {
    T rec;
    std::memset(&rec, 0, sizeof rec);
    std::memcpy(&rec, data, size < sizeof rec ? size : sizeof rec);
    return rec;
}

void result_text(const uint8_t* data, size_t size) {
    if (size < 1) return;
    const uint32_t bufSize = data[0];  // 0 to 255 bytes: cut, exact and roomy
    const auto reply = record_from<ZX_WIRE_RESULT_REASON_S>(data + 1, size - 1);
    std::string expected = reply.iResult == 0 ? std::string("{\"Result\":0}")
                                              : "{\"Result\":" + std::to_string(reply.iResult) +
                                                    ",\"FailReason\":\"" + field(reply.acFailReason) + "\"}";
    auto* buf = static_cast<char*>(std::malloc(bufSize ? bufSize : 1));
    std::memset(buf, 'Z', bufSize ? bufSize : 1);
    if (ZX_JNI_BuildResultJson(buf, bufSize, &reply) != 0) fail("refused");
    if (bufSize == 0) {
        std::free(buf);
        return;
    }
    const char* end = static_cast<const char*>(std::memchr(buf, '\0', bufSize));
    if (!end) fail("text not terminated in its buffer");
    std::string text(buf, static_cast<size_t>(end - buf));
    std::free(buf);
    // The text, cut to the buffer.
    if (text != expected.substr(0, bufSize - 1)) fail("text differs:", text);
    if (expected.size() + 1 > bufSize) return;
    // A reason that needs no escaping makes a JSON text with the record's values.
    for (char c : field(reply.acFailReason))
        if (c == '"' || c == '\\' || static_cast<unsigned char>(c) < 0x20) return;
    Json holder;
    json_object* obj = parse(text, holder);
    expect_int(obj, "Result", reply.iResult, text);
    if (reply.iResult != 0) expect_string(obj, "FailReason", field(reply.acFailReason), text);
    else if (json_object_object_length(obj) != 1) fail("members beyond Result:", text);
}

void bundle_list(const uint8_t* data, size_t size) {
    auto list = std::make_unique<ZX_OSGI_STATE_LIST_S>(record_from<ZX_OSGI_STATE_LIST_S>(data, size));
    // As the bundle manager sends it: compressed in a block of its own.
    std::vector<uint8_t> packed(sizeof *list + sizeof *list / 255 + 64);
    uint32_t len = static_cast<uint32_t>(packed.size());
    if (ZX_OS_Compress(list.get(), sizeof *list, packed.data(), &len) != 0) fail("list not compressed");
    PluginVDataRecord rec{};
    rec.uiStoredLen = len;
    if (ZX_VDATA_CreShm(len, &rec.uivDataID) != 0 || ZX_VDATA_UpdateData(rec.uivDataID, len, packed.data()) != 0)
        fail("block not made");
    const uint64_t before = zxhost::alloc_outstanding();
    jstring s = OSGI_JNI_FillJsonStrFromVdata(fake_env(), &rec);
    std::string text = java_text(s);
    if (!zxhost::vdata_list().empty()) fail("block left behind");
    if (zxhost::alloc_outstanding() != before) fail("platform allocation left behind");
    if (list->uiStatus != 0) {
        if (s) fail("a list with a failing status answered:", text);
        return;
    }
    if (!s) fail("no text for a good list");
    Json holder;
    json_object* obj = parse(text, holder);
    expect_int(obj, "Result", 0, text);
    json_object* array = member(obj, "BundleLists", json_type_array, text);
    int32_t count = list->iCount < static_cast<int32_t>(ZX_OSGI_MAX_BUNDLES) ? list->iCount : ZX_OSGI_MAX_BUNDLES;
    if (count < 0) count = 0;
    if (json_object_array_length(array) != static_cast<size_t>(count)) fail("entry count differs:", text);
    for (int32_t i = 0; i < count; ++i) {
        json_object* entry = json_object_array_get_idx(array, static_cast<size_t>(i));
        if (!json_object_is_type(entry, json_type_object) || json_object_object_length(entry) != 3)
            fail("entry is not {Name,Version,State}:", text);
        const ZX_OSGI_BUNDLE_INFO_S& info = list->astBundle[i];
        expect_string(entry, "Name", field(info.acBundleName), text);
        expect_string(entry, "Version", field(info.acVersion), text);
        expect_string(entry, "State", field(info.acState), text);
    }
}

void install_progress(const uint8_t* data, size_t size) {
    const auto reply = record_from<ZX_OSGI_PROCESS_REPLY_S>(data, size);
    const uint64_t before = zxhost::alloc_outstanding();
    std::string text = java_text(OSGI_JNI_FillInstallProcess(fake_env(), &reply));
    if (zxhost::alloc_outstanding() != before) fail("platform allocation left behind");
    Json holder;
    json_object* obj = parse(text, holder);
    if (json_object_object_length(obj) != 3) fail("members differ:", text);
    expect_int(obj, "Result", ZX_OSGI_JNI_ZXErrConvert(reply.uiResult), text);
    expect_string(obj, "State", field(reply.acState), text);
    expect_int(obj, "Percent", static_cast<int32_t>(reply.uiPercent), text);
}

void fault_text(const uint8_t* data, size_t size) {
    uint32_t code = 0;
    std::memcpy(&code, data, size < sizeof code ? size : sizeof code);
    std::string text = java_text(OSGI_JNI_FaultStrBuild(fake_env(), code));
    Json holder;
    json_object* obj = parse(text, holder);
    if (json_object_object_length(obj) != 1) fail("members differ:", text);
    const int32_t result = ZX_OSGI_JNI_ZXErrConvert(code);
    expect_int(obj, "Result", result, text);
    // Every result Java can see is one of the table's, never -2, -16 or -26, never positive.
    if (result > 0 || result == -2 || result == -16 || result == -26 || (result < -27 && result != -100))
        fail("result outside the table:", text);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    zxfuzz::use_private_bus_dir("/tmp/zx-fuzz-json-XXXXXX");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    g_objects.clear();
    g_liveRefs = 0;
    switch (data[0] % 4) {
        case 0: result_text(data + 1, size - 1); break;
        case 1: bundle_list(data + 1, size - 1); break;
        case 2: install_progress(data + 1, size - 1); break;
        case 3: fault_text(data + 1, size - 1); break;
    }
    g_objects.clear();
    return 0;
}
