// A Java virtual machine inside a test process, for calling the bridge's natives the way the VM
// does. It runs with -Xcheck:jni, so the VM itself reports a misuse of JNI (a reference leak, an
// exception left unchecked) on its output, which VmOutput captures for the test to inspect.
#pragma once

#include <gtest/gtest.h>
#include <jni.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

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

// A local-reference frame standing in for the frame the VM gives a native method: references
// made inside are released when it ends, and -Xcheck:jni measures the live references against
// its capacity.
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
// native, with the VM's output captured. The VM must have reported nothing when the case ends.
class JvmTest : public testing::Test {
protected:
    void SetUp() override {
        output_.emplace();
        env_ = jvm_env();
        ASSERT_NE(env_, nullptr) << "the Java VM could not be started";
        frame_.emplace(env_, 16);
        ASSERT_TRUE(*frame_);
    }
    void TearDown() override {
        frame_.reset();
        std::string printed = output_->take();
        std::fputs(printed.c_str(), stdout);  // what the case printed while the capture ran
        EXPECT_EQ(printed.find("WARNING"), std::string::npos) << "the VM reported a JNI misuse";
    }

    JNIEnv* env_ = nullptr;

private:
    std::optional<VmOutput> output_;
    std::optional<LocalFrame> frame_;
};

}  // namespace zxtest
