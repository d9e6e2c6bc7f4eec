// The frame every BaseServiceJNIMethods native is built on.
//
//   Binding<128> b(env, "sysGetCpuUsage", __LINE__);         zeroed buffer, entry trace
//   uint32_t code = ZX_JNI_sysGetCpuUsage(b.buf(), b.size()); the one platform call
//   return b.finish(code, __LINE__, " sysGetCpuUsage ret: %u buff:%s");
//
// finish() traces the code and the buffer, applies the binding's failure rule and hands the
// buffer to Java: an empty buffer becomes null. The rules:
//   Clear     a failed call clears the buffer, so Java receives null (most bindings)
//   CodeText  a failed call leaves the decimal code in the buffer ("1", "-139722747")
//   Kept      the buffer goes to Java as the platform function left it
// HeapBinding is the same frame over a 2048-byte block of the tracing allocator; the integer
// bindings use int_result().
#pragma once

#include <jni.h>

#include <cstdint>

#include "scoped.h"
#include "zx_bridge.h"

namespace zxjni {

inline constexpr const char* kBaseServiceFile = "baseservice_jni";
inline constexpr uint32_t kBindingLevel = 249;

// The entry text of a binding; unlike the exported symbol it has no maker segment.
inline void trace_entry(const char* method, uint32_t line) {
    ZX_PROC_DBG_TraceS(kBindingLevel, kBaseServiceFile, line, 0,
                       "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_%s called \r\n", method);
}

enum class OnFailure { Clear, CodeText, Kept };

// A trace of the binding module: level 249, source "baseservice_jni".
template <class... Args>
void trace(uint32_t line, const char* format, Args... args) {
    ZX_PROC_DBG_TraceS(kBindingLevel, kBaseServiceFile, line, 0, format, args...);
}

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

    // A String argument that is null or cannot be converted: the platform is not called.
    jstring missing_argument(uint32_t line) {
        ZX_PROC_DBG_LastWord_1(kBaseServiceFile, line, 1);
        if (Rule == OnFailure::CodeText) ZX_OS_Snprintf_S(buf_, N, N - 1, "%d", 1);
        return char2jstring(env_, buf_);
    }

private:
    JNIEnv* env_;
    char buf_[N];
};

// The frame over a 2048-byte heap block. When the block cannot be had the binding answers what a
// zeroed local buffer gives: null.
class HeapBinding {
public:
    static constexpr uint32_t kSize = 2048;

    HeapBinding(JNIEnv* env, const char* method, uint32_t line, uint32_t allocLine)
        : env_(env), block_(kSize, kBaseServiceFile, allocLine) {
        trace_entry(method, line);
    }

    explicit operator bool() const { return static_cast<bool>(block_); }
    char* buf() { return block_.get(); }
    static constexpr uint32_t size() { return kSize; }

    // The block could not be allocated.
    jstring no_block(uint32_t line) {
        ZX_PROC_DBG_LastWord_1(kBaseServiceFile, line, 1);
        char empty[64] = {};
        return char2jstring(env_, empty);
    }

    jstring finish(uint32_t code, uint32_t line, const char* format) {
        zxjni::trace(line, format, code, block_.get());
        detail::apply_failure_rule(OnFailure::Clear, block_.get(), kSize, code);
        return char2jstring(env_, block_.get());
    }

private:
    JNIEnv* env_;
    PlatformBuffer block_;
};

// Integer bindings that map any failure to -1.
inline jint int_result(uint32_t code) { return code == 0 ? 0 : -1; }

}  // namespace zxjni
