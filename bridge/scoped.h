// Scoped holders of the bridge: every path of a native releases what it took. Each holder is
// move-only, releases in its destructor, and hands its resource out with release() when a caller
// takes it over.
//   JavaText        a Java string converted by jstring2char, released with free()
//   SecretText      the same for a password or key: wiped before it is released
//   PinnedArray     the elements of a Java byte[] or char[]; read-only pins are released with
//                   JNI_ABORT (nothing copied back), read-write pins with 0
//   LocalRef        a local reference, deleted when done with (loops over arrays need this)
//   LocalFrame      a frame of local references of its own, popped when done
//   PlatformBuffer  a block of the platform's tracing allocator, released with ZX_OS_MemFreeD
//   ShmSegment      a System V shared-memory segment: detached and removed when done
// The json-c holder is in scoped_json.h (it releases through the plug-in platform's API).
#pragma once

#include <jni.h>

#include <cstdint>
#include <cstdlib>
#include <utility>

#include "zx_bridge.h"

namespace zxjni {

class JavaText {
public:
    JavaText() = default;
    JavaText(JNIEnv* env, jstring str) : text_(jstring2char(env, str)) {}
    // Takes over a text of the system allocator.
    explicit JavaText(char* owned) : text_(owned) {}
    ~JavaText() { reset(); }
    JavaText(JavaText&& other) noexcept : text_(other.release()) {}
    JavaText& operator=(JavaText&& other) noexcept {
        if (this != &other) {
            reset();
            text_ = other.release();
        }
        return *this;
    }
    JavaText(const JavaText&) = delete;
    JavaText& operator=(const JavaText&) = delete;

    const char* get() const { return text_; }
    char* data() { return text_; }
    explicit operator bool() const { return text_ != nullptr; }
    // Releases the text now (a binding that frees as soon as it has copied).
    void reset() { std::free(std::exchange(text_, nullptr)); }
    // Hands the text to the caller, who frees it.
    char* release() { return std::exchange(text_, nullptr); }

private:
    char* text_ = nullptr;
};

// A password or key. It holds its text rather than being one, so the only ways to let go of it
// are reset() and the destructor, which both wipe first.
class SecretText {
public:
    SecretText() = default;
    SecretText(JNIEnv* env, jstring str) : text_(env, str) {}
    explicit SecretText(char* owned) : text_(owned) {}
    ~SecretText() { reset(); }
    SecretText(SecretText&& other) noexcept : text_(std::move(other.text_)) {}
    SecretText& operator=(SecretText&& other) noexcept {
        if (this != &other) {
            reset();
            text_ = std::move(other.text_);
        }
        return *this;
    }
    SecretText(const SecretText&) = delete;
    SecretText& operator=(const SecretText&) = delete;

    const char* get() const { return text_.get(); }
    explicit operator bool() const { return static_cast<bool>(text_); }
    void reset() {
        wipe();
        text_.reset();
    }
    // Hands the text to the caller, who takes over wiping it before it is freed.
    char* release() { return text_.release(); }

private:
    void wipe() {
        if (!text_) return;
        volatile char* p = text_.data();
        while (*p) *p++ = 0;
    }

    JavaText text_;
};

// The JNI calls of one array kind.
template <class Array>
struct ArrayAccess;

template <>
struct ArrayAccess<jbyteArray> {
    using Element = jbyte;
    static Element* get(JNIEnv* env, jbyteArray a) { return env->GetByteArrayElements(a, nullptr); }
    static void put(JNIEnv* env, jbyteArray a, Element* e, jint mode) { env->ReleaseByteArrayElements(a, e, mode); }
};

template <>
struct ArrayAccess<jcharArray> {
    using Element = jchar;
    static Element* get(JNIEnv* env, jcharArray a) { return env->GetCharArrayElements(a, nullptr); }
    static void put(JNIEnv* env, jcharArray a, Element* e, jint mode) { env->ReleaseCharArrayElements(a, e, mode); }
};

enum class Pin { ReadOnly, ReadWrite };

// The elements of a Java array. A null array pins nothing (get() is null, length() 0).
template <class Array, Pin Mode>
class PinnedArray {
public:
    using Element = typename ArrayAccess<Array>::Element;
    static constexpr jint kReleaseMode = Mode == Pin::ReadOnly ? JNI_ABORT : 0;

    // Elements that cannot be had (the virtual machine out of memory for a copy) pin nothing, and
    // the error is not left pending: no JNI call may follow a pending exception.
    PinnedArray(JNIEnv* env, Array array)
        : env_(env), array_(array), elements_(array ? ArrayAccess<Array>::get(env, array) : nullptr) {
        if (array && !elements_ && env->ExceptionCheck()) env->ExceptionClear();
    }
    ~PinnedArray() { reset(); }
    PinnedArray(PinnedArray&& other) noexcept
        : env_(other.env_), array_(other.array_), elements_(std::exchange(other.elements_, nullptr)) {}
    PinnedArray& operator=(PinnedArray&& other) noexcept {
        if (this != &other) {
            reset();
            env_ = other.env_;
            array_ = other.array_;
            elements_ = std::exchange(other.elements_, nullptr);
        }
        return *this;
    }
    PinnedArray(const PinnedArray&) = delete;
    PinnedArray& operator=(const PinnedArray&) = delete;

    Element* get() const { return elements_; }
    explicit operator bool() const { return elements_ != nullptr; }
    jsize length() const { return elements_ ? env_->GetArrayLength(array_) : 0; }
    // Releases the elements now.
    void reset() {
        if (elements_) ArrayAccess<Array>::put(env_, array_, std::exchange(elements_, nullptr), kReleaseMode);
    }
    // Hands the elements to the caller, who releases them with the array's Release...Elements.
    Element* release() { return std::exchange(elements_, nullptr); }

private:
    JNIEnv* env_;
    Array array_;
    Element* elements_;
};

using ReadOnlyBytes = PinnedArray<jbyteArray, Pin::ReadOnly>;
using PinnedBytes = PinnedArray<jbyteArray, Pin::ReadWrite>;
using ReadOnlyChars = PinnedArray<jcharArray, Pin::ReadOnly>;
using PinnedChars = PinnedArray<jcharArray, Pin::ReadWrite>;

template <class T = jobject>
class LocalRef {
public:
    LocalRef(JNIEnv* env, T ref) : env_(env), ref_(ref) {}
    ~LocalRef() { reset(); }
    LocalRef(LocalRef&& other) noexcept : env_(other.env_), ref_(other.release()) {}
    LocalRef& operator=(LocalRef&& other) noexcept {
        if (this != &other) {
            reset();
            env_ = other.env_;
            ref_ = other.release();
        }
        return *this;
    }
    LocalRef(const LocalRef&) = delete;
    LocalRef& operator=(const LocalRef&) = delete;

    T get() const { return ref_; }
    explicit operator bool() const { return ref_ != nullptr; }
    void reset() {
        if (ref_) env_->DeleteLocalRef(std::exchange(ref_, nullptr));
    }
    // Hands the reference to the caller (typically to return it to Java).
    T release() { return std::exchange(ref_, nullptr); }

private:
    JNIEnv* env_;
    T ref_;
};

// A frame of local references: what is made inside is dropped when it ends. A native that may
// make more than the 16 references the virtual machine grants by default opens one. A frame that
// cannot be had leaves no exception behind; the references then live in the native's own frame.
class LocalFrame {
public:
    LocalFrame(JNIEnv* env, jint capacity) : env_(env), pushed_(env->PushLocalFrame(capacity) == 0) {
        if (!pushed_) env_->ExceptionClear();
    }
    ~LocalFrame() { reset(); }
    LocalFrame(LocalFrame&& other) noexcept : env_(other.env_), pushed_(std::exchange(other.pushed_, false)) {}
    LocalFrame& operator=(LocalFrame&&) = delete;
    LocalFrame(const LocalFrame&) = delete;
    LocalFrame& operator=(const LocalFrame&) = delete;

    explicit operator bool() const { return pushed_; }
    void reset() {
        if (std::exchange(pushed_, false)) env_->PopLocalFrame(nullptr);
    }
    // Pops the frame and keeps one reference made inside it, which lives on in the caller's frame.
    // Without a frame of its own the reference is already the caller's.
    jobject release(jobject keep) {
        if (!std::exchange(pushed_, false)) return keep;
        return env_->PopLocalFrame(keep);
    }

private:
    JNIEnv* env_;
    bool pushed_;
};

// A block of the platform's tracing allocator.
class PlatformBuffer {
public:
    // A block of size bytes from ZX_OS_MemMallocD (not cleared); file and line name the allocation.
    static PlatformBuffer malloc_d(uint32_t size, const char* file, uint32_t line) {
        return PlatformBuffer(file, static_cast<char*>(ZX_OS_MemMallocD(size, line, 0, 1, file)));
    }
    // A block of size bytes from ZX_OS_MemMallocSet, every byte set to fill.
    static PlatformBuffer malloc_set(uint32_t size, uint32_t fill, const char* file, uint32_t line) {
        return PlatformBuffer(file, static_cast<char*>(ZX_OS_MemMallocSet(size, fill, 0, 1, line, file)));
    }

    // Takes over a block the platform API allocated for the caller (null: an empty holder).
    static PlatformBuffer adopt(char* block, const char* file) { return PlatformBuffer(file, block); }

    // A zero-filled block of size bytes (ZX_OS_MemMallocSet).
    PlatformBuffer(uint32_t size, const char* file, uint32_t line)
        : PlatformBuffer(file, static_cast<char*>(ZX_OS_MemMallocSet(size, 0, 0, 1, line, file))) {}
    ~PlatformBuffer() { free_at(0); }
    PlatformBuffer(PlatformBuffer&& other) noexcept : file_(other.file_), ptr_(other.release()) {}
    PlatformBuffer& operator=(PlatformBuffer&& other) noexcept {
        if (this != &other) {
            free_at(0);
            file_ = other.file_;
            ptr_ = other.release();
        }
        return *this;
    }
    PlatformBuffer(const PlatformBuffer&) = delete;
    PlatformBuffer& operator=(const PlatformBuffer&) = delete;

    char* get() const { return ptr_; }
    explicit operator bool() const { return ptr_ != nullptr; }
    // Releases the block now, naming the line of the release.
    void free_at(uint32_t line) {
        if (ptr_) ZX_OS_MemFreeD(std::exchange(ptr_, nullptr), file_, line);
    }
    // Hands the block to the caller, who releases it with ZX_OS_MemFreeD.
    char* release() { return std::exchange(ptr_, nullptr); }

private:
    PlatformBuffer(const char* file, char* ptr) : file_(file), ptr_(ptr) {}

    const char* file_;
    char* ptr_;
};

// A System V shared-memory segment got through the platform. The destructor detaches what is
// still attached and removes the segment; detach() and remove() let a caller see their results.
class ShmSegment {
public:
    static constexpr int32_t kRemove = 0;  // the platform's command that removes a segment

    ShmSegment(uint32_t key, uint32_t size, int32_t flags) : id_(ZX_OS_ShmGet(key, size, flags)) {}
    ~ShmSegment() {
        (void)detach();
        (void)remove();
    }
    ShmSegment(ShmSegment&& other) noexcept
        : id_(std::exchange(other.id_, -1)), addr_(std::exchange(other.addr_, nullptr)) {}
    ShmSegment& operator=(ShmSegment&&) = delete;
    ShmSegment(const ShmSegment&) = delete;
    ShmSegment& operator=(const ShmSegment&) = delete;

    explicit operator bool() const { return id_ != -1; }
    int32_t id() const { return id_; }
    // Attaches the segment; null when the platform refuses.
    void* attach() {
        if (!addr_ && id_ != -1) addr_ = ZX_OS_ShmAt(id_, nullptr, 0);
        return addr_;
    }
    void* address() const { return addr_; }
    // 0, or -1 when the platform refuses; nothing attached is 0.
    int32_t detach() { return addr_ ? ZX_OS_ShmDt(std::exchange(addr_, nullptr)) : 0; }
    // 0, or -1 when the platform refuses; the holder lets go of the segment either way.
    int32_t remove() { return id_ != -1 ? ZX_OS_ShmCtl(std::exchange(id_, -1), kRemove, nullptr) : 0; }
    // Hands the segment id to the caller, who detaches and removes it; detaches first.
    int32_t release() {
        (void)detach();
        return std::exchange(id_, -1);
    }

private:
    int32_t id_;
    void* addr_ = nullptr;
};

}  // namespace zxjni
