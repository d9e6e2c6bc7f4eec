// The scan-list native of BaseServiceJNIMethods with the JNIEnv of a real VM, against the
// simulated configuration service scanning a disc directory of the case's own: the list handed to
// Java whole, and the copy the native makes of it refused by the tracing allocator, which must
// give the fixed failure text, its last word, and nothing left allocated (the API's block and the
// shared block included).
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "jvm.h"
#include "sim_process.h"
#include "source_lines.h"
#include "test_env.h"
#include "trace_lines.h"
#include "traced_jvm_test.h"

extern "C" {
JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getFilesScanListByType(
    JNIEnv*, jobject, jstring);
}

namespace {

using zxtest::L1;
using zxtest::SimProcess;
using zxtest::StateValue;
using zxtest::take_records;
using zxtest::utf16_of;

constexpr const char* kBindings = "baseservice_jni";
constexpr const char* kSymbol = "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_";
constexpr const char16_t* kFailure = u"{\"Result\":-1, \"FailReason\":\"\"}";

uint32_t line_of(const std::string& needle) {
    return zxtest::source_line_after("baseservice/baseservice_jni.cpp", std::string(kSymbol) + "getFilesScanListByType(",
                                     needle);
}

std::u16string utf16(const std::string& ascii) { return std::u16string(ascii.begin(), ascii.end()); }

class ScanList : public zxtest::TracedJvmTest {
protected:
    void SetUp() override {
        zxtest::TracedJvmTest::SetUp();
        if (HasFatalFailure()) return;
        for (const char* name : {"b.mp4", "a.MKV", "song.mp3", "note.txt"}) std::ofstream(disc_.path() + "/" + name) << "x";
        ASSERT_TRUE(sim_.start());
        ASSERT_TRUE(sim_.set_state(
            "usb_mngt", "discs",
            StateValue::array({StateValue::object({{"name", "SCAN"}, {"fsType", "ext4"}, {"mount", disc_.path()}})})));
        ASSERT_TRUE(sim_.set_state("app_m", "filesScan", 1));
        take_records();
    }
    void TearDown() override {
        EXPECT_TRUE(sim_.stop());
        zxtest::TracedJvmTest::TearDown();
    }

    std::u16string list(const char* type) {
        jstring jType = vm_->NewStringUTF(type);
        jstring s =
            Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getFilesScanListByType(env_, nullptr, jType);
        vm_->DeleteLocalRef(jType);
        if (!s) return u"null";
        std::u16string text = utf16_of(env_, s);
        env_->DeleteLocalRef(s);
        return text;
    }

    zxtest::ScopedTempDir disc_{"zxdisc"};
    zxtest::ScopedBusDir bus_;
    SimProcess sim_{{.services = {"app_m", "usb_mngt"}}};
};

// The service's block holds the text without a NUL: Java gets every byte of it.
TEST_F(ScanList, TheListIsHandedOverWhole) {
    EXPECT_EQ(list("video"), utf16("{\"Result\":0,\"Type\":\"video\",\"Files\":[\"" + disc_.path() + "/a.MKV\",\"" +
                                   disc_.path() + "/b.mp4\"]}"));
    EXPECT_EQ(list("music"),
              utf16("{\"Result\":0,\"Type\":\"music\",\"Files\":[\"" + disc_.path() + "/song.mp3\"]}"));
}

TEST_F(ScanList, WithoutItsCopyTheAnswerIsTheFailureText) {
    const uint64_t before = zxhost::alloc_failures_injected();
    zxhost::alloc_fail_at(kBindings, line_of("terminated_copy("));
    EXPECT_EQ(list("video"), kFailure);
    EXPECT_EQ(zxhost::alloc_failures_injected(), before + 1) << "the copy was asked for and refused";
    std::vector<std::string> ours;
    for (const std::string& r : take_records())
        if (r.rfind("L1 ", 0) == 0) ours.push_back(r);
    EXPECT_EQ(ours, (std::vector<std::string>{L1(kBindings, line_of("last_word(__LINE__, 1)"), 1)}));
    // TearDown: nothing of the tracing allocator and no shared block is left.
}

TEST_F(ScanList, AFailedListAndANullTypeAreNotLists) {
    EXPECT_EQ(list("films"), kFailure);
    ASSERT_TRUE(sim_.set_state("app_m", "filesScan", 0));
    EXPECT_EQ(list("video"), kFailure);
    jstring s = Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getFilesScanListByType(env_, nullptr,
                                                                                                       nullptr);
    EXPECT_EQ(s, nullptr);
}

}  // namespace
