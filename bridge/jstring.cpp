// Java strings to and from UTF-8 texts through java.lang.String's own "utf-8" charset, so that
// characters outside the basic plane travel as standard UTF-8 (the virtual machine's modified
// UTF-8 would not). An empty string is null in both directions.
//
// Local references are deleted as soon as they are used: callers convert many strings in one
// native call (a directory listing) and must not run out of local references.
#include <cstdlib>
#include <cstring>

#include "zx_bridge.h"

namespace {

// Clears an exception raised by a call here (for example an OutOfMemoryError while encoding):
// the natives report failures by their results and never leave an exception behind.
bool failed(JNIEnv* env) {
    if (!env->ExceptionCheck()) return false;
    env->ExceptionClear();
    return true;
}

struct LocalRef {
    JNIEnv* env;
    jobject ref;
    ~LocalRef() {
        if (ref) env->DeleteLocalRef(ref);
    }
};

}  // namespace

extern "C" char* jstring2char(JNIEnv* env, jstring str) {
    if (!str) return nullptr;
    LocalRef cls{env, env->FindClass("java/lang/String")};
    if (failed(env) || !cls.ref) return nullptr;
    LocalRef charset{env, env->NewStringUTF("utf-8")};
    if (failed(env) || !charset.ref) return nullptr;
    jmethodID getBytes = env->GetMethodID(static_cast<jclass>(cls.ref), "getBytes", "(Ljava/lang/String;)[B");
    if (failed(env) || !getBytes) return nullptr;
    LocalRef bytes{env, env->CallObjectMethod(str, getBytes, charset.ref)};
    if (failed(env) || !bytes.ref) return nullptr;
    auto array = static_cast<jbyteArray>(bytes.ref);
    jsize n = env->GetArrayLength(array);
    if (n <= 0) return nullptr;
    jbyte* elements = env->GetByteArrayElements(array, nullptr);
    if (!elements) {
        failed(env);
        return nullptr;
    }
    auto* text = static_cast<char*>(std::malloc(static_cast<size_t>(n) + 1));
    if (text) {
        ZX_OS_MemCpy_S(text, static_cast<uint32_t>(n) + 1, elements, static_cast<uint32_t>(n));
        text[n] = '\0';
    }
    // Released on the failure path too: the virtual machine's copy of the elements would
    // otherwise stay allocated.
    env->ReleaseByteArrayElements(array, elements, 0);
    return text;
}

extern "C" jstring char2jstring(JNIEnv* env, const char* str) {
    if (!str) return nullptr;
    size_t n = std::strlen(str);
    LocalRef cls{env, env->FindClass("java/lang/String")};
    if (failed(env) || !cls.ref) return nullptr;
    LocalRef charset{env, env->NewStringUTF("utf-8")};
    if (failed(env) || !charset.ref) return nullptr;
    jmethodID init = env->GetMethodID(static_cast<jclass>(cls.ref), "<init>", "([BLjava/lang/String;)V");
    if (failed(env) || !init) return nullptr;
    if (n == 0 || n > 0x7FFFFFFF) return nullptr;
    LocalRef bytes{env, env->NewByteArray(static_cast<jsize>(n))};
    if (failed(env) || !bytes.ref) return nullptr;
    env->SetByteArrayRegion(static_cast<jbyteArray>(bytes.ref), 0, static_cast<jsize>(n),
                            reinterpret_cast<const jbyte*>(str));
    auto result = static_cast<jstring>(env->NewObject(static_cast<jclass>(cls.ref), init, bytes.ref, charset.ref));
    if (failed(env)) return nullptr;
    return result;
}
