// Java strings to and from UTF-8 texts through java.lang.String's own "utf-8" charset, so that
// characters outside the basic plane travel as standard UTF-8 (the virtual machine's modified
// UTF-8 would not). An empty string is null in both directions.
//
// Local references are deleted as soon as they are used: callers convert many strings in one
// native call (a directory listing) and must not run out of local references.
#include <cstdlib>
#include <cstring>

#include "scoped.h"
#include "zx_bridge.h"

namespace {

// Clears an exception raised by a call here (for example an OutOfMemoryError while encoding):
// the natives report failures by their results and never leave an exception behind.
bool failed(JNIEnv* env) {
    if (!env->ExceptionCheck()) return false;
    env->ExceptionClear();
    return true;
}

using zxjni::LocalRef;

}  // namespace

extern "C" char* jstring2char(JNIEnv* env, jstring str) {
    if (!str) return nullptr;
    LocalRef<jclass> cls(env, env->FindClass("java/lang/String"));
    if (failed(env) || !cls) return nullptr;
    // An object of another class (a caller declared Object, or reached us through a raw cast) is
    // no text: calling String's getBytes on it would be undefined, so it converts to nothing, as a
    // null string does.
    if (!env->IsInstanceOf(str, cls.get())) return nullptr;
    LocalRef<jstring> charset(env, env->NewStringUTF("utf-8"));
    if (failed(env) || !charset) return nullptr;
    jmethodID getBytes = env->GetMethodID(cls.get(), "getBytes", "(Ljava/lang/String;)[B");
    if (failed(env) || !getBytes) return nullptr;
    LocalRef<jbyteArray> bytes(env, static_cast<jbyteArray>(env->CallObjectMethod(str, getBytes, charset.get())));
    if (failed(env) || !bytes) return nullptr;
    jbyteArray array = bytes.get();
    jsize n = env->GetArrayLength(array);
    if (n <= 0) return nullptr;
    // Released with mode 0 on every path, the failed allocation included: the virtual machine's
    // copy of the elements would otherwise stay allocated.
    zxjni::PinnedBytes elements(env, array);
    if (!elements) {
        failed(env);
        return nullptr;
    }
    auto* text = static_cast<char*>(std::malloc(static_cast<size_t>(n) + 1));
    if (text) {
        ZX_OS_MemCpy_S(text, static_cast<uint32_t>(n) + 1, elements.get(), static_cast<uint32_t>(n));
        text[n] = '\0';
    }
    return text;
}

extern "C" jstring char2jstring(JNIEnv* env, const char* str) {
    if (!str) return nullptr;
    size_t n = std::strlen(str);
    LocalRef<jclass> cls(env, env->FindClass("java/lang/String"));
    if (failed(env) || !cls) return nullptr;
    LocalRef<jstring> charset(env, env->NewStringUTF("utf-8"));
    if (failed(env) || !charset) return nullptr;
    jmethodID init = env->GetMethodID(cls.get(), "<init>", "([BLjava/lang/String;)V");
    if (failed(env) || !init) return nullptr;
    if (n == 0 || n > 0x7FFFFFFF) return nullptr;
    LocalRef<jbyteArray> bytes(env, env->NewByteArray(static_cast<jsize>(n)));
    if (failed(env) || !bytes) return nullptr;
    env->SetByteArrayRegion(bytes.get(), 0, static_cast<jsize>(n), reinterpret_cast<const jbyte*>(str));
    auto result = static_cast<jstring>(env->NewObject(cls.get(), init, bytes.get(), charset.get()));
    if (failed(env)) return nullptr;
    return result;
}
