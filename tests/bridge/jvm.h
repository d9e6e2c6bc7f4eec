// A Java virtual machine inside a test process, for calling the bridge's natives the way the VM
// does. The local references the code under test makes are counted through a JNIEnv of the
// harness's own (LocalRefCounter), so a reference left behind is seen the same way whatever the
// VM version prints. The VM runs with -Xcheck:jni as well, and VmOutput captures what it prints
// (a JNI misuse it reports is one failure more, never the only check).
#pragma once

#include <gtest/gtest.h>
#include <jni.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>

namespace zxtest {

// The JNIEnv of the calling thread in the process's VM, started on first use (a process can
// only ever create one); nullptr when the VM cannot be started.
inline JNIEnv* jvm_env() {
    static JNIEnv* const env = [] {
        char checkJni[] = "-Xcheck:jni";
        char heap[] = "-Xmx64m";
        char gc[] = "-XX:+UseSerialGC";
        char compiler[] = "-XX:TieredStopAtLevel=1";
        JavaVMOption options[] = {{checkJni, nullptr}, {heap, nullptr}, {gc, nullptr}, {compiler, nullptr}};
        JavaVMInitArgs args{};
        args.version = JNI_VERSION_1_8;
        args.nOptions = sizeof options / sizeof options[0];
        args.options = options;
        args.ignoreUnrecognized = JNI_FALSE;
        JavaVM* vm = nullptr;
        JNIEnv* created = nullptr;
        return JNI_CreateJavaVM(&vm, reinterpret_cast<void**>(&created), &args) == JNI_OK ? created : nullptr;
    }();
    return env;
}

// The local references the VM guarantees a native method.
inline constexpr jint kNativeFrameCapacity = 16;

// A local-reference frame standing in for the frame the VM gives a native method: references
// made inside are released when it ends.
class LocalFrame {
public:
    LocalFrame(JNIEnv* env, jint capacity) : env_(env), pushed_(env->PushLocalFrame(capacity) == JNI_OK) {}
    ~LocalFrame() {
        if (pushed_) env_->PopLocalFrame(nullptr);
    }
    LocalFrame(const LocalFrame&) = delete;
    LocalFrame& operator=(const LocalFrame&) = delete;
    explicit operator bool() const { return pushed_; }

private:
    JNIEnv* env_;
    bool pushed_;
};

// The JNI functions that hand out a new local reference (the caller must delete it or let its
// frame end), and the ones that do not; PushLocalFrame, PopLocalFrame, DeleteLocalRef and the
// variadic calls are handled apart.
#define ZXTEST_JNI_MAKING(X)                                                                                  \
    X(DefineClass) X(FindClass) X(ToReflectedMethod) X(GetSuperclass) X(ToReflectedField)                     \
    X(ExceptionOccurred) X(NewLocalRef) X(AllocObject) X(NewObjectV) X(NewObjectA) X(GetObjectClass)          \
    X(CallObjectMethodV) X(CallObjectMethodA) X(CallNonvirtualObjectMethodV) X(CallNonvirtualObjectMethodA)   \
    X(GetObjectField) X(CallStaticObjectMethodV) X(CallStaticObjectMethodA) X(GetStaticObjectField)           \
    X(NewString) X(NewStringUTF) X(NewObjectArray) X(GetObjectArrayElement) X(NewBooleanArray)                \
    X(NewByteArray) X(NewCharArray) X(NewShortArray) X(NewIntArray) X(NewLongArray) X(NewFloatArray)          \
    X(NewDoubleArray) X(NewDirectByteBuffer) X(GetModule)
#define ZXTEST_JNI_PASSING(X)                                                                                 \
    X(GetVersion) X(FromReflectedMethod) X(FromReflectedField) X(IsAssignableFrom) X(Throw) X(ThrowNew)       \
    X(ExceptionDescribe) X(ExceptionClear) X(FatalError) X(NewGlobalRef) X(DeleteGlobalRef)                   \
    X(IsSameObject) X(EnsureLocalCapacity) X(IsInstanceOf) X(GetMethodID) X(CallBooleanMethodV)               \
    X(CallBooleanMethodA) X(CallByteMethodV) X(CallByteMethodA) X(CallCharMethodV) X(CallCharMethodA)         \
    X(CallShortMethodV) X(CallShortMethodA) X(CallIntMethodV) X(CallIntMethodA) X(CallLongMethodV)            \
    X(CallLongMethodA) X(CallFloatMethodV) X(CallFloatMethodA) X(CallDoubleMethodV) X(CallDoubleMethodA)      \
    X(CallVoidMethodV) X(CallVoidMethodA) X(CallNonvirtualBooleanMethodV) X(CallNonvirtualBooleanMethodA)     \
    X(CallNonvirtualByteMethodV) X(CallNonvirtualByteMethodA) X(CallNonvirtualCharMethodV)                    \
    X(CallNonvirtualCharMethodA) X(CallNonvirtualShortMethodV) X(CallNonvirtualShortMethodA)                  \
    X(CallNonvirtualIntMethodV) X(CallNonvirtualIntMethodA) X(CallNonvirtualLongMethodV)                      \
    X(CallNonvirtualLongMethodA) X(CallNonvirtualFloatMethodV) X(CallNonvirtualFloatMethodA)                  \
    X(CallNonvirtualDoubleMethodV) X(CallNonvirtualDoubleMethodA) X(CallNonvirtualVoidMethodV)                \
    X(CallNonvirtualVoidMethodA) X(GetFieldID) X(GetBooleanField) X(GetByteField) X(GetCharField)             \
    X(GetShortField) X(GetIntField) X(GetLongField) X(GetFloatField) X(GetDoubleField) X(SetObjectField)      \
    X(SetBooleanField) X(SetByteField) X(SetCharField) X(SetShortField) X(SetIntField) X(SetLongField)        \
    X(SetFloatField) X(SetDoubleField) X(GetStaticMethodID) X(CallStaticBooleanMethodV)                       \
    X(CallStaticBooleanMethodA) X(CallStaticByteMethodV) X(CallStaticByteMethodA) X(CallStaticCharMethodV)    \
    X(CallStaticCharMethodA) X(CallStaticShortMethodV) X(CallStaticShortMethodA) X(CallStaticIntMethodV)      \
    X(CallStaticIntMethodA) X(CallStaticLongMethodV) X(CallStaticLongMethodA) X(CallStaticFloatMethodV)       \
    X(CallStaticFloatMethodA) X(CallStaticDoubleMethodV) X(CallStaticDoubleMethodA) X(CallStaticVoidMethodV)  \
    X(CallStaticVoidMethodA) X(GetStaticFieldID) X(GetStaticBooleanField) X(GetStaticByteField)               \
    X(GetStaticCharField) X(GetStaticShortField) X(GetStaticIntField) X(GetStaticLongField)                   \
    X(GetStaticFloatField) X(GetStaticDoubleField) X(SetStaticObjectField) X(SetStaticBooleanField)           \
    X(SetStaticByteField) X(SetStaticCharField) X(SetStaticShortField) X(SetStaticIntField)                   \
    X(SetStaticLongField) X(SetStaticFloatField) X(SetStaticDoubleField) X(GetStringLength)                   \
    X(GetStringChars) X(ReleaseStringChars) X(GetStringUTFLength) X(GetStringUTFChars)                        \
    X(ReleaseStringUTFChars) X(GetArrayLength) X(SetObjectArrayElement) X(GetBooleanArrayElements)            \
    X(GetByteArrayElements) X(GetCharArrayElements) X(GetShortArrayElements) X(GetIntArrayElements)           \
    X(GetLongArrayElements) X(GetFloatArrayElements) X(GetDoubleArrayElements)                                \
    X(ReleaseBooleanArrayElements) X(ReleaseByteArrayElements) X(ReleaseCharArrayElements)                    \
    X(ReleaseShortArrayElements) X(ReleaseIntArrayElements) X(ReleaseLongArrayElements)                       \
    X(ReleaseFloatArrayElements) X(ReleaseDoubleArrayElements) X(GetBooleanArrayRegion)                       \
    X(GetByteArrayRegion) X(GetCharArrayRegion) X(GetShortArrayRegion) X(GetIntArrayRegion)                   \
    X(GetLongArrayRegion) X(GetFloatArrayRegion) X(GetDoubleArrayRegion) X(SetBooleanArrayRegion)             \
    X(SetByteArrayRegion) X(SetCharArrayRegion) X(SetShortArrayRegion) X(SetIntArrayRegion)                   \
    X(SetLongArrayRegion) X(SetFloatArrayRegion) X(SetDoubleArrayRegion) X(RegisterNatives)                   \
    X(UnregisterNatives) X(MonitorEnter) X(MonitorExit) X(GetJavaVM) X(GetStringRegion)                       \
    X(GetStringUTFRegion) X(GetPrimitiveArrayCritical) X(ReleasePrimitiveArrayCritical)                       \
    X(GetStringCritical) X(ReleaseStringCritical) X(NewWeakGlobalRef) X(DeleteWeakGlobalRef)                  \
    X(ExceptionCheck) X(GetDirectBufferAddress) X(GetDirectBufferCapacity) X(GetObjectRefType)
#define ZXTEST_JNI_RESULTS(X) X(Object) X(Boolean) X(Byte) X(Char) X(Short) X(Int) X(Long) X(Float) X(Double) X(Void)

// Counts the local references made through one JNIEnv and not yet released. env() is a JNIEnv of
// its own whose function table forwards every call to the VM's JNIEnv given at construction; the
// functions that hand out a local reference add it, DeleteLocalRef takes it away, and a frame
// pushed through env() takes away what was made inside it when it is popped. References the
// caller made elsewhere are not counted (deleting one through env() leaves the count alone).
// The count is the harness's own, so it reads the same on every VM version.
class LocalRefCounter {
public:
    explicit LocalRefCounter(JNIEnv* vm) : env_{{&table()}, this}, vm_(vm) {}
    LocalRefCounter(const LocalRefCounter&) = delete;
    LocalRefCounter& operator=(const LocalRefCounter&) = delete;

    // The env to hand the code under test (and the caller's own calls that are to be counted).
    JNIEnv* env() { return &env_.env; }
    // References made through env() and still live.
    size_t live() const { return refs_.size(); }
    // The most that were live at once since construction or the last reset_peak().
    size_t peak() const { return peak_; }
    // References made through env() in all.
    size_t made() const { return made_; }
    // Frames popped through env() that were not pushed through it.
    size_t unbalanced_pops() const { return unbalancedPops_; }
    void reset_peak() { peak_ = refs_.size(); }
    // Entries of the function table that the lists below do not name (a newer jni.h): 0 here.
    static size_t unlisted_functions() { return slots_holding(table(), unlisted); }

private:
    struct Env {
        JNIEnv env;  // first: the JNIEnv* the code under test holds is the address of this Env
        LocalRefCounter* counter;
    };
    static_assert(std::is_standard_layout_v<Env>);

    static LocalRefCounter& of(JNIEnv* env) { return *reinterpret_cast<Env*>(env)->counter; }

    void add(jobject ref) {
        if (!ref) return;
        refs_[ref] = depth_;  // a slot seen again was released behind the count's back
        ++made_;
        if (refs_.size() > peak_) peak_ = refs_.size();
    }
    void pop() {
        if (depth_ == 0) ++unbalancedPops_;
        for (auto it = refs_.begin(); it != refs_.end();) it = it->second >= depth_ ? refs_.erase(it) : std::next(it);
        if (depth_ > 0) --depth_;
    }

    // A JNI function that only passes the call on.
    template <auto F>
    struct Passing;
    template <class R, class... A, R(JNICALL* JNINativeInterface_::*F)(JNIEnv*, A...)>
    struct Passing<F> {
        static R JNICALL call(JNIEnv* env, A... args) {
            JNIEnv* vm = of(env).vm_;
            return (vm->functions->*F)(vm, args...);
        }
    };
    // A JNI function whose result is a new local reference.
    template <auto F>
    struct Making;
    template <class R, class... A, R(JNICALL* JNINativeInterface_::*F)(JNIEnv*, A...)>
    struct Making<F> {
        static R JNICALL call(JNIEnv* env, A... args) {
            LocalRefCounter& counter = of(env);
            R ref = (counter.vm_->functions->*F)(counter.vm_, args...);
            counter.add(ref);
            return ref;
        }
    };
    // A variadic call, made through this table's entry for its va_list form.
    template <auto V>
    struct Variadic;
    template <class R, class T, R(JNICALL* JNINativeInterface_::*V)(JNIEnv*, T, jmethodID, va_list)>
    struct Variadic<V> {
        static R JNICALL call(JNIEnv* env, T target, jmethodID method, ...) {
            va_list args;
            va_start(args, method);
            if constexpr (std::is_void_v<R>) {
                (table().*V)(env, target, method, args);
                va_end(args);
            } else {
                R result = (table().*V)(env, target, method, args);
                va_end(args);
                return result;
            }
        }
    };
    template <class R, R(JNICALL* JNINativeInterface_::*V)(JNIEnv*, jobject, jclass, jmethodID, va_list)>
    struct Variadic<V> {
        static R JNICALL call(JNIEnv* env, jobject target, jclass cls, jmethodID method, ...) {
            va_list args;
            va_start(args, method);
            if constexpr (std::is_void_v<R>) {
                (table().*V)(env, target, cls, method, args);
                va_end(args);
            } else {
                R result = (table().*V)(env, target, cls, method, args);
                va_end(args);
                return result;
            }
        }
    };

    static void JNICALL delete_local_ref(JNIEnv* env, jobject ref) {
        LocalRefCounter& counter = of(env);
        counter.vm_->DeleteLocalRef(ref);
        counter.refs_.erase(ref);
    }
    static jint JNICALL push_local_frame(JNIEnv* env, jint capacity) {
        LocalRefCounter& counter = of(env);
        jint result = counter.vm_->PushLocalFrame(capacity);
        if (result == JNI_OK) ++counter.depth_;
        return result;
    }
    static jobject JNICALL pop_local_frame(JNIEnv* env, jobject result) {
        LocalRefCounter& counter = of(env);
        jobject kept = counter.vm_->PopLocalFrame(result);
        counter.pop();
        counter.add(kept);  // the popped frame's result, now a reference of the frame below
        return kept;
    }
    // Stands in for an entry of a newer jni.h that the lists above do not name: passing it the
    // counting env would break the VM, so the test stops here instead.
    [[noreturn]] static void unlisted() {
        std::fputs("LocalRefCounter: a JNI function missing from its lists was called\n", stderr);
        std::abort();
    }

    // The function slots of a table: every one after the four reserved ones.
    using Slot = void (*)();
    static constexpr size_t kFirstSlot = 4;
    static constexpr size_t kSlots = sizeof(JNINativeInterface_) / sizeof(Slot);
    static Slot slot(const JNINativeInterface_& t, size_t i) {
        Slot s = nullptr;
        std::memcpy(&s, reinterpret_cast<const unsigned char*>(&t) + i * sizeof(Slot), sizeof s);
        return s;
    }
    static size_t slots_holding(const JNINativeInterface_& t, Slot value) {
        size_t found = 0;
        for (size_t i = kFirstSlot; i < kSlots; ++i) found += slot(t, i) == value;
        return found;
    }

    static const JNINativeInterface_& table() {
        static const JNINativeInterface_ functions = [] {
            JNINativeInterface_ t{};
#define ZXTEST_JNI_SET(name) t.name = Making<&JNINativeInterface_::name>::call;
            ZXTEST_JNI_MAKING(ZXTEST_JNI_SET)
#undef ZXTEST_JNI_SET
#define ZXTEST_JNI_SET(name) t.name = Passing<&JNINativeInterface_::name>::call;
            ZXTEST_JNI_PASSING(ZXTEST_JNI_SET)
#undef ZXTEST_JNI_SET
#define ZXTEST_JNI_SET(type)                                                                              \
    t.Call##type##Method = Variadic<&JNINativeInterface_::Call##type##MethodV>::call;                     \
    t.CallNonvirtual##type##Method = Variadic<&JNINativeInterface_::CallNonvirtual##type##MethodV>::call; \
    t.CallStatic##type##Method = Variadic<&JNINativeInterface_::CallStatic##type##MethodV>::call;
            ZXTEST_JNI_RESULTS(ZXTEST_JNI_SET)
#undef ZXTEST_JNI_SET
            t.NewObject = Variadic<&JNINativeInterface_::NewObjectV>::call;
            t.DeleteLocalRef = delete_local_ref;
            t.PushLocalFrame = push_local_frame;
            t.PopLocalFrame = pop_local_frame;
            const Slot trap = unlisted;
            auto* slots = reinterpret_cast<unsigned char*>(&t);
            for (size_t i = kFirstSlot; i < kSlots; ++i)
                if (!slot(t, i)) std::memcpy(slots + i * sizeof(Slot), &trap, sizeof trap);
            return t;
        }();
        return functions;
    }

    Env env_;
    JNIEnv* vm_;
    std::unordered_map<jobject, size_t> refs_;  // live reference -> depth of the frame it was made in
    size_t depth_ = 0;                          // frames pushed through env() and not yet popped
    size_t peak_ = 0;
    size_t made_ = 0;
    size_t unbalancedPops_ = 0;
};

// Captures what is written to standard output (where the VM prints its -Xcheck:jni warnings)
// from construction until take(). Test assertions belong after take(): gtest prints there too.
class VmOutput {
public:
    VmOutput() : file_(memfd_create("vm-output", MFD_CLOEXEC)) {
        std::fflush(stdout);
        saved_ = dup(STDOUT_FILENO);
        if (file_ >= 0 && saved_ >= 0) dup2(file_, STDOUT_FILENO);
    }
    ~VmOutput() {
        take();
        if (file_ >= 0) close(file_);
    }
    VmOutput(const VmOutput&) = delete;
    VmOutput& operator=(const VmOutput&) = delete;

    // Ends the capture and returns everything captured.
    std::string take() {
        if (saved_ >= 0) {
            std::fflush(stdout);
            dup2(saved_, STDOUT_FILENO);
            close(saved_);
            saved_ = -1;
        }
        std::string text;
        char buf[4096];
        for (ssize_t n; file_ >= 0 && (n = pread(file_, buf, sizeof buf, static_cast<off_t>(text.size()))) > 0;)
            text.append(buf, static_cast<size_t>(n));
        return text;
    }

private:
    int file_;
    int saved_ = -1;
};

// A Java string made of UTF-16 code units, independent of the bridge's conversion.
inline jstring java_string(JNIEnv* env, std::u16string_view units) {
    return env->NewString(reinterpret_cast<const jchar*>(units.data()), static_cast<jsize>(units.size()));
}

// The UTF-16 code units of a Java string.
inline std::u16string utf16_of(JNIEnv* env, jstring s) {
    std::u16string out(static_cast<size_t>(env->GetStringLength(s)), u'\0');
    env->GetStringRegion(s, 0, static_cast<jsize>(out.size()), reinterpret_cast<jchar*>(out.data()));
    return out;
}

// A case that runs like a native method: inside a local frame of the size the VM guarantees a
// native, with the VM's output captured. env_ counts the local references made through it: the
// code under test gets env_, and when the case ends every reference made through it must have
// been released (a case deletes what a native handed it, through env_, as a caller handing it on
// would). vm_ is the VM's own env, for the references the case makes as a native's arguments.
// Whatever the VM prints as a JNI warning fails the case too.
class JvmTest : public testing::Test {
protected:
    void SetUp() override {
        output_.emplace();
        vm_ = jvm_env();
        ASSERT_NE(vm_, nullptr) << "the Java VM could not be started";
        frame_.emplace(vm_, kNativeFrameCapacity);
        ASSERT_TRUE(*frame_);
        refs_.emplace(vm_);
        env_ = refs_->env();
    }
    void TearDown() override {
        size_t live = refs_ ? refs_->live() : 0;
        size_t unbalanced = refs_ ? refs_->unbalanced_pops() : 0;
        refs_.reset();
        frame_.reset();
        std::string printed = output_->take();
        std::fputs(printed.c_str(), stdout);  // what the case printed while the capture ran
        EXPECT_EQ(live, 0u) << "local references made through env_ were left behind";
        EXPECT_EQ(unbalanced, 0u) << "a local frame was popped that was not pushed";
        EXPECT_EQ(printed.find("WARNING"), std::string::npos) << "the VM reported a JNI misuse";
    }

    JNIEnv* env_ = nullptr;
    JNIEnv* vm_ = nullptr;
    std::optional<LocalRefCounter> refs_;

private:
    std::optional<VmOutput> output_;
    std::optional<LocalFrame> frame_;
};

}  // namespace zxtest
