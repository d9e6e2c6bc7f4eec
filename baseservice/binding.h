// The frame every BaseServiceJNIMethods native is built on.
//
//   Binding<128> b(env, "sysGetCpuUsage", __LINE__);         zeroed buffer, entry trace
//                                                            (Binding<N>::Silent: no entry trace)
//   uint32_t code = ZX_JNI_sysGetCpuUsage(b.buf(), b.size()); the one platform call
//   return b.finish(code, __LINE__, " sysGetCpuUsage ret: %u buff:%s");
//
// finish() traces the code and the buffer, applies the binding's failure rule and hands the
// buffer to Java: an empty buffer becomes null. The rules:
//   Clear     a failed call clears the buffer, so Java receives null (most bindings)
//   CodeText  a failed call leaves the decimal code in the buffer ("1", "-139722747")
//   Kept      the buffer goes to Java as the platform function left it
// The other shapes of a native:
//   HeapBinding        the same frame over a block of the tracing allocator whose size is chosen
//                      when the native runs (2048 for the blacklists, 4096 or 512 for WLAN lists)
//   terminated_copy    a block of length + 1 bytes holding a text the platform did not terminate
//   IntBinding         natives that answer a Java int, with their own answer for a missing argument
//   finish_void        natives that return nothing: the code is traced, never handed to Java
//   StringArrayArg     a String[] argument whose elements may be null
//   StringArrayResult  a String[] answer
//   copy_text          a Java text into a fixed record field, cut at the field's size less one
//   low_bytes          a char[] argument cut to bytes
//   store_byte_array   a byte[] handed to Java in a holder object's field
// Every line these take is the line of the call (__LINE__) of the unit baseservice_jni: the
// natives that trace with __LINE__ live in one file, baseservice_jni.cpp, so no two of them share a
// line.
#pragma once

#include <jni.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "scoped.h"
#include "trace_unit.h"
#include "zx_bridge.h"

namespace zxjni {

inline constexpr const char* kBaseServiceFile = zxtrace::kBaseService.file();
inline constexpr uint32_t kBindingLevel = zxtrace::kBaseService.level();

// A trace of the binding module: level 249, source "baseservice_jni", the line of the call.
template <class... Args>
void trace(uint32_t line, const char* format, Args... args) {
    zxtrace::kBaseService.trace(zxtrace::Line(line), format, args...);
}

// A last word of the binding module at the line of the call.
inline void last_word(uint32_t line, uint32_t code) { zxtrace::kBaseService.last_word(zxtrace::Line(line), code); }

// The entry text of a binding; unlike the exported symbol it has no maker segment.
inline void trace_entry(const char* method, uint32_t line) {
    trace(line, "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_%s called \r\n", method);
}

enum class OnFailure { Clear, CodeText, Kept };

namespace detail {

inline void apply_failure_rule(OnFailure rule, char* buf, uint32_t size, uint32_t code) {
    if (code == 0 || rule == OnFailure::Kept) return;
    if (rule == OnFailure::Clear)
        ZX_OS_MemSet_S(buf, size, 0, size);
    else
        ZX_OS_Snprintf_S(buf, size, size - 1, "%d", static_cast<int32_t>(code));
}

}  // namespace detail

template <uint32_t N, OnFailure Rule = OnFailure::Clear>
class Binding {
public:
    Binding(JNIEnv* env, const char* method, uint32_t line) : env_(env) {
        ZX_OS_MemSet_S(buf_, N, 0, N);
        trace_entry(method, line);
    }
    // A binding whose entry text departs from the usual one; its family quotes the text in full.
    Binding(JNIEnv* env, uint32_t line, const char* entryText) : env_(env) {
        ZX_OS_MemSet_S(buf_, N, 0, N);
        zxjni::trace(line, "%s", entryText);
    }
    // A binding that writes no entry text (the WLAN and LED families trace only their result).
    struct Silent {};
    Binding(JNIEnv* env, Silent) : env_(env) { ZX_OS_MemSet_S(buf_, N, 0, N); }
    Binding(const Binding&) = delete;
    Binding& operator=(const Binding&) = delete;

    char* buf() { return buf_; }
    static constexpr uint32_t size() { return N; }

    template <class... Args>
    void trace(uint32_t line, const char* format, Args... args) {
        zxjni::trace(line, format, args...);
    }

    // Traces "<format>" with the code and the buffer, applies the failure rule, returns the text.
    jstring finish(uint32_t code, uint32_t line, const char* format) {
        zxjni::trace(line, format, code, buf_);
        detail::apply_failure_rule(Rule, buf_, N, code);
        return char2jstring(env_, buf_);
    }

    // Applies the failure rule, then traces "<format>" with the buffer alone and returns the text
    // (the families whose closing trace is the reply itself).
    jstring finish_with_reply(uint32_t code, uint32_t line, const char* format) {
        detail::apply_failure_rule(Rule, buf_, N, code);
        zxjni::trace(line, format, buf_);
        return char2jstring(env_, buf_);
    }

    // A native that returns nothing: "<format>" is traced with the code and the buffer once the
    // failure rule has been applied, and that is all Java learns.
    void finish_void(uint32_t code, uint32_t line, const char* format) {
        detail::apply_failure_rule(Rule, buf_, N, code);
        zxjni::trace(line, format, code, buf_);
    }

    // Applies the failure rule alone (a native that traces its outcome in its own way).
    void apply_failure_rule(uint32_t code) { detail::apply_failure_rule(Rule, buf_, N, code); }

    // Applies the failure rule and returns the text, with no trace (a family that traces its own
    // closing text).
    jstring answer(uint32_t code) {
        detail::apply_failure_rule(Rule, buf_, N, code);
        return char2jstring(env_, buf_);
    }

    // A String argument that is null or cannot be converted: the platform is not called.
    jstring missing_argument(uint32_t line) {
        last_word(line, 1);
        if (Rule == OnFailure::CodeText) ZX_OS_Snprintf_S(buf_, N, N - 1, "%d", 1);
        return char2jstring(env_, buf_);
    }

private:
    JNIEnv* env_;
    char buf_[N];
};

// The frame over a block of the tracing allocator (ZX_OS_MemMallocSet, zero-filled) whose size is
// chosen when the native runs. When the block cannot be had the binding answers what a zeroed
// local buffer gives: null.
class HeapBinding {
public:
    static constexpr uint32_t kBlacklistSize = 2048;
    static constexpr uint32_t kAllSsidsSize = 4096;
    static constexpr uint32_t kOneSsidSize = 512;

    HeapBinding(JNIEnv* env, const char* method, uint32_t line, uint32_t size, uint32_t allocLine)
        : env_(env), size_(size), block_(size, kBaseServiceFile, allocLine) {
        trace_entry(method, line);
    }
    HeapBinding(const HeapBinding&) = delete;
    HeapBinding& operator=(const HeapBinding&) = delete;

    explicit operator bool() const { return static_cast<bool>(block_); }
    char* buf() { return block_.get(); }
    uint32_t size() const { return size_; }

    // The block could not be allocated.
    jstring no_block(uint32_t line) {
        last_word(line, 1);
        char empty[64] = {};
        return char2jstring(env_, empty);
    }

    // Clears the block before the platform call (the block is zero-filled; a family that reuses it
    // clears it again).
    void clear() { ZX_OS_MemSet_S(block_.get(), size_, 0, size_); }

    jstring finish(uint32_t code, uint32_t line, const char* format) {
        zxjni::trace(line, format, code, block_.get());
        detail::apply_failure_rule(OnFailure::Clear, block_.get(), size_, code);
        return char2jstring(env_, block_.get());
    }

private:
    JNIEnv* env_;
    uint32_t size_;
    PlatformBuffer block_;
};

// A text of length bytes that the platform handed over without a terminating NUL, copied into a
// zeroed block of length + 1 bytes (ZX_OS_MemMallocSet). Empty when the block cannot be had.
inline PlatformBuffer terminated_copy(const char* data, uint32_t length, uint32_t allocLine) {
    PlatformBuffer copy(length + 1, kBaseServiceFile, allocLine);
    if (copy && data && length > 0) ZX_OS_MemCpy_S(copy.get(), length + 1, data, length);
    return copy;
}

// Natives that answer a Java int. Each family says what a missing argument answers (-1, 1, ...)
// and whether it is recorded.
class IntBinding {
public:
    IntBinding(const char* method, uint32_t line) { trace_entry(method, line); }
    // A binding whose entry text departs from the usual one.
    IntBinding(uint32_t line, const char* entryText) { zxjni::trace(line, "%s", entryText); }

    // A String argument that is null or cannot be converted, answered without a record.
    static jint missing_argument(jint answer) { return answer; }
    // The same, recorded as a last word with code 1 at the line of the call.
    static jint missing_argument(jint answer, uint32_t line) {
        last_word(line, 1);
        return answer;
    }
    // The platform code itself.
    static jint code(uint32_t code) { return static_cast<jint>(code); }
    // 0 for success, -1 for any failure.
    static jint mapped(uint32_t code) { return code == 0 ? 0 : -1; }
};

// Integer bindings that map any failure to -1.
inline jint int_result(uint32_t code) { return IntBinding::mapped(code); }

// A String[] argument. The array may be null (no elements) and so may any element; each element is
// converted when asked for, and its local reference is dropped at once, so a long array does not
// exhaust the native's references.
class StringArrayArg {
public:
    StringArrayArg(JNIEnv* env, jobjectArray array)
        : env_(env), array_(array), length_(array ? env->GetArrayLength(array) : 0) {}

    bool is_null() const { return array_ == nullptr; }
    jsize length() const { return length_; }
    // Element i converted; empty for a null element, one that cannot be converted, or one that
    // is out of range.
    JavaText text(jsize i) const {
        if (!array_ || i < 0 || i >= length_) return JavaText();
        LocalRef<jstring> element(env_, static_cast<jstring>(env_->GetObjectArrayElement(array_, i)));
        if (env_->ExceptionCheck()) {
            env_->ExceptionClear();
            return JavaText();
        }
        return JavaText(env_, element.get());
    }

private:
    JNIEnv* env_;
    jobjectArray array_;
    jsize length_;
};

// A String[] answer of a fixed length, its elements null until set. The array is deleted unless it
// is handed to Java with release().
class StringArrayResult {
public:
    StringArrayResult(JNIEnv* env, jsize length) : env_(env), array_(env, nullptr) {
        LocalRef<jclass> cls(env, env->FindClass("java/lang/String"));
        if (cls) array_ = LocalRef<jobjectArray>(env, env->NewObjectArray(length, cls.get(), nullptr));
        if (env->ExceptionCheck()) {
            env->ExceptionClear();
            array_.reset();
        }
    }

    explicit operator bool() const { return static_cast<bool>(array_); }
    // Element i made from text (null for an empty text); false when it cannot be stored.
    bool set(jsize i, const char* text) {
        if (!array_) return false;
        LocalRef<jstring> value(env_, char2jstring(env_, text));
        env_->SetObjectArrayElement(array_.get(), i, value.get());
        if (env_->ExceptionCheck()) {
            env_->ExceptionClear();
            return false;
        }
        return true;
    }
    jobjectArray release() { return array_.release(); }

private:
    JNIEnv* env_;
    LocalRef<jobjectArray> array_;
};

// A Java text copied into a fixed field of a record (zero-filled by the caller), cut at the field's
// size less one; a missing text (null, empty or not convertible) leaves the field as it was.
template <size_t N>
void copy_text(char (&field)[N], const JavaText& text) {
    static_assert(N > 0 && N <= UINT32_MAX);
    if (text) (void)ZX_OS_StrNCpy_S(field, N, text.get(), static_cast<uint32_t>(std::strlen(text.get())));
}

// The first count characters of a char[] argument, each cut to its low 8 bits, into out (zeroed
// first). A count beyond the array or beyond out is cut to what both hold. Answers the bytes
// written.
template <Pin Mode>
uint32_t low_bytes(const PinnedArray<jcharArray, Mode>& chars, jint count, uint8_t* out, uint32_t outSize) {
    ZX_OS_MemSet_S(out, outSize, 0, outSize);
    if (!chars || count < 1) return 0;
    uint32_t n = static_cast<uint32_t>(count);
    if (n > static_cast<uint32_t>(chars.length())) n = static_cast<uint32_t>(chars.length());
    if (n > outSize) n = outSize;
    for (uint32_t i = 0; i < n; ++i) out[i] = static_cast<uint8_t>(chars.get()[i] & 0xFF);
    return n;
}

// The id of a holder object's byte[] field (signature "[B"); null when there is no holder or its
// class has no such field (the lookup's error is not left pending).
inline jfieldID byte_array_field(JNIEnv* env, jobject holder, const char* field) {
    if (!holder) return nullptr;
    LocalRef<jclass> cls(env, env->GetObjectClass(holder));
    jfieldID id = cls ? env->GetFieldID(cls.get(), field, "[B") : nullptr;
    if (env->ExceptionCheck()) {
        env->ExceptionClear();
        return nullptr;
    }
    return id;
}

// A new byte[] of length elements, all zero; empty when the virtual machine cannot make it (its
// OutOfMemoryError is cleared: the native answers its own failure).
inline LocalRef<jbyteArray> new_byte_array(JNIEnv* env, jsize length) {
    LocalRef<jbyteArray> array(env, length >= 0 ? env->NewByteArray(length) : nullptr);
    if (env->ExceptionCheck()) {
        env->ExceptionClear();
        array.release();
        return LocalRef<jbyteArray>(env, nullptr);
    }
    return array;
}

// Stores a new byte[] of length bytes from data in the holder object's field (signature "[B");
// false when there is no holder, no array, or no such field (the lookup's error is not left
// pending for Java).
inline bool store_byte_array(JNIEnv* env, jobject holder, const char* field, const void* data, jsize length) {
    if (!holder) return false;
    LocalRef<jbyteArray> array = new_byte_array(env, length);
    if (!array) return false;
    env->SetByteArrayRegion(array.get(), 0, length, static_cast<const jbyte*>(data));
    LocalRef<jclass> cls(env, env->GetObjectClass(holder));
    jfieldID id = env->GetFieldID(cls.get(), field, "[B");
    if (!id) {
        env->ExceptionClear();
        return false;
    }
    env->SetObjectField(holder, id, array.get());
    return true;
}

}  // namespace zxjni
