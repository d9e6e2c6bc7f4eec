// Scoped holders of the bridge: every path of a binding releases what it took.
//   JavaText        a Java string converted by jstring2char, released with free()
//   SecretText      the same for a password or key: wiped before it is released
//   PlatformBuffer  a block of the platform's tracing allocator, released with ZX_OS_MemFreeD
#pragma once

#include <jni.h>

#include <cstdlib>
#include <cstring>
#include <utility>

#include "zx_bridge.h"

namespace zxjni {

class JavaText {
public:
    JavaText(JNIEnv* env, jstring str) : text_(jstring2char(env, str)) {}
    ~JavaText() { reset(); }
    JavaText(const JavaText&) = delete;
    JavaText& operator=(const JavaText&) = delete;

    const char* get() const { return text_; }
    explicit operator bool() const { return text_ != nullptr; }
    // Releases the text now (a binding that frees as soon as it has copied).
    void reset() {
        std::free(text_);
        text_ = nullptr;
    }

protected:
    char* text_;
};

class SecretText : public JavaText {
public:
    using JavaText::JavaText;
    ~SecretText() { wipe(); }
    void reset() {
        wipe();
        JavaText::reset();
    }

private:
    void wipe() {
        if (text_) {
            volatile char* p = text_;
            while (*p) *p++ = 0;
        }
    }
};

class PlatformBuffer {
public:
    // A zero-filled block of size bytes; file and line name the allocation in the platform's records.
    PlatformBuffer(uint32_t size, const char* file, uint32_t line)
        : file_(file), ptr_(static_cast<char*>(ZX_OS_MemMallocSet(size, 0, 0, 1, line, file))) {}
    ~PlatformBuffer() { free_at(0); }
    PlatformBuffer(const PlatformBuffer&) = delete;
    PlatformBuffer& operator=(const PlatformBuffer&) = delete;

    char* get() const { return ptr_; }
    explicit operator bool() const { return ptr_ != nullptr; }
    // Releases the block now, naming the line of the release.
    void free_at(uint32_t line) {
        if (ptr_) ZX_OS_MemFreeD(ptr_, file_, line);
        ptr_ = nullptr;
    }
    // Hands the block to the caller, who releases it with ZX_OS_MemFreeD.
    char* release() { return std::exchange(ptr_, nullptr); }

private:
    const char* file_;
    char* ptr_;
};

}  // namespace zxjni
