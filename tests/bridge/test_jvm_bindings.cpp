// The system natives of BaseServiceJNIMethods, the fault text of the bundle natives and the
// directory listing of the file system natives, called with the JNIEnv of a real VM: what each
// hands back, null on failure, and their traces. The fixture counts the local references they
// make: none but the answer may be left.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "jvm.h"
#include "sim_process.h"
#include "source_lines.h"
#include "test_env.h"
#include "trace_lines.h"
#include "traced_jvm_test.h"
#include "zx_velm_jni_api.h"

// The natives as the VM finds them (the receiver is never read).
extern "C" {
JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_sysGetCpuUsage(JNIEnv*,
                                                                                                           jobject);
JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_sysGetMemUsage(JNIEnv*,
                                                                                                           jobject);
JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetPortStatus(JNIEnv*,
                                                                                                             jobject);
JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_sysGetLoid(JNIEnv*,
                                                                                                       jobject);
JNIEXPORT jobjectArray JNICALL Java_com_zentrix_nodalis_deviceservice_custom_fileservice_ZxUnixFileSystem_list(JNIEnv*,
                                                                                                               jobject,
                                                                                                               jstring);
}

namespace {

using zxtest::L1;
using zxtest::nothing_left_behind;
using zxtest::SimProcess;
using zxtest::T;
using zxtest::take_records;
using zxtest::utf16_of;

constexpr const char* kBindings = "baseservice_jni";
constexpr const char* kVelmApi = "../velm/zx_velm_jni_api";

// The line of the bindings' source that holds `needle`: a binding traces with the line of the
// call. 0 when no line or more than one holds it.
uint32_t binding_line(const std::string& needle) {
    return zxtest::source_line("baseservice/baseservice_jni.cpp", needle);
}

std::string entry_trace(const std::string& method) {
    return T(249, kBindings, binding_line("\"" + method + "\", __LINE__"),
             "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_" + method + " called \r\n");
}

// The result trace: the format as the binding passes it, filled with the code and the buffer.
std::string result_trace(const std::string& format, uint32_t code, const std::string& buffer) {
    std::vector<char> text(format.size() + buffer.size() + 16);
    std::snprintf(text.data(), text.size(), format.c_str(), code, buffer.c_str());
    return T(249, kBindings, binding_line("\"" + format + "\""), text.data());
}

std::string load_text(const char* percent) { return std::string("{\"Result\":0 , \"Percent\":\"") + percent + "\"}"; }

std::u16string utf16(const std::string& ascii) { return std::u16string(ascii.begin(), ascii.end()); }

struct EnvVar {
    EnvVar(const char* name, const std::string& value) { setenv(name, value.c_str(), 1); }
};

class Bindings : public zxtest::TracedJvmTest {
protected:
    void write_idle_stat() { std::ofstream(proc_.path() + "/stat") << "cpu  100 20 300 4000 50 0 10 0 0 0\n"; }
    void write_meminfo(int totalKb, int availableKb) {
        std::ofstream(proc_.path() + "/meminfo")
            << "MemTotal: " << totalKb << " kB\nMemAvailable: " << availableKb << " kB\n";
    }

    zxtest::ScopedTempDir proc_{"zxproc"};
    EnvVar procEnv_{"ZX_PROC_DIR", proc_.path()};
    zxtest::ScopedBusDir bus_;
};

TEST_F(Bindings, LineLookupFindsEachTraceOfTheSource) {
    // The expectations below rest on it: every needle names exactly one line.
    for (const char* needle :
         {"\"sysGetCpuUsage\", __LINE__", "\" sysGetCpuUsage ret: %u buff:%s\"", "\"sysGetMemUsage\", __LINE__",
          "\" sysGetMemUsage ret: %u buff:%s\"", "\"sysGetLoid\", __LINE__", "\" sysGetLoid ret: ret: %u buff:%s\""})
        EXPECT_NE(binding_line(needle), 0u) << needle;
}

TEST_F(Bindings, CpuUsageAnswersThePlatformFunctionsJson) {
    write_idle_stat();
    jstring s = Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_sysGetCpuUsage(env_, nullptr);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(utf16_of(env_, s), utf16(load_text("1")));
    EXPECT_EQ(take_records(), (std::vector<std::string>{
                                  entry_trace("sysGetCpuUsage"),
                                  result_trace(" sysGetCpuUsage ret: %u buff:%s", 0, load_text("1")),
                              }));
    env_->DeleteLocalRef(s);  // what the native handed back: nothing else of its making is left
}

TEST_F(Bindings, FailedCpuMeasurementIsNullThoughTheFunctionWroteAText) {
    jstring s = Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_sysGetCpuUsage(env_, nullptr);
    EXPECT_EQ(s, nullptr);
    EXPECT_EQ(take_records(), (std::vector<std::string>{
                                  entry_trace("sysGetCpuUsage"),
                                  L1(kVelmApi, 1094, ZX_ERR_SYS),
                                  result_trace(" sysGetCpuUsage ret: %u buff:%s", ZX_ERR_SYS, load_text("1")),
                              }));
}

TEST_F(Bindings, MemUsageAnswersThePlatformFunctionsJson) {
    write_meminfo(2000, 1000);
    jstring s = Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_sysGetMemUsage(env_, nullptr);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(utf16_of(env_, s), utf16(load_text("50")));
    EXPECT_EQ(take_records(), (std::vector<std::string>{
                                  entry_trace("sysGetMemUsage"),
                                  result_trace(" sysGetMemUsage ret: %u buff:%s", 0, load_text("50")),
                              }));
    env_->DeleteLocalRef(s);
}

TEST_F(Bindings, FailedMemMeasurementIsNull) {
    jstring s = Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_sysGetMemUsage(env_, nullptr);
    EXPECT_EQ(s, nullptr);
    EXPECT_EQ(take_records(), (std::vector<std::string>{
                                  entry_trace("sysGetMemUsage"),
                                  L1(kVelmApi, 1141, ZX_ERR_SYS),
                                  result_trace(" sysGetMemUsage ret: %u buff:%s", ZX_ERR_SYS, load_text("0")),
                              }));
}

class LoidBinding : public Bindings {
protected:
    void SetUp() override {
        Bindings::SetUp();
        ASSERT_TRUE(sim_.start());
    }
    void TearDown() override {
        EXPECT_TRUE(sim_.stop());
        Bindings::TearDown();
    }
    testing::AssertionResult set_loid(const std::string& loid) { return sim_.set_state("app_m", "loid", loid); }

    SimProcess sim_{{.services = {"app_m"}}};
};

TEST_F(LoidBinding, AnswersTheLoidAsPlainText) {
    jstring s = Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_sysGetLoid(env_, nullptr);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(utf16_of(env_, s), u"ZXLOID0001");
    EXPECT_EQ(take_records(), (std::vector<std::string>{
                                  entry_trace("sysGetLoid"),
                                  result_trace(" sysGetLoid ret: ret: %u buff:%s", 0, "ZXLOID0001"),
                              }));
    env_->DeleteLocalRef(s);
}

TEST_F(LoidBinding, LongestLoidArrivesWhole) {
    const std::string loid(63, '7');
    ASSERT_TRUE(set_loid(loid));
    jstring s = Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_sysGetLoid(env_, nullptr);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(utf16_of(env_, s), utf16(loid));
    env_->DeleteLocalRef(s);
}

TEST_F(LoidBinding, EmptyLoidReachesJavaAsNull) {
    ASSERT_TRUE(set_loid(""));
    EXPECT_EQ(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_sysGetLoid(env_, nullptr), nullptr);
    EXPECT_EQ(take_records(), (std::vector<std::string>{
                                  entry_trace("sysGetLoid"),
                                  result_trace(" sysGetLoid ret: ret: %u buff:%s", 0, ""),
                              }));
}

TEST_F(LoidBinding, FailedCallIsNull) {
    ASSERT_TRUE(sim_.inject("app_m", 0x4710304B, zxtest::Fault::status(7)));
    EXPECT_EQ(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_sysGetLoid(env_, nullptr), nullptr);
    EXPECT_EQ(take_records(), (std::vector<std::string>{
                                  entry_trace("sysGetLoid"),
                                  L1(kVelmApi, 232, 7),
                                  zxtest::L(kVelmApi, 1184, 0xFFFFFFFF, 7, 0, 0, 0),
                                  result_trace(" sysGetLoid ret: ret: %u buff:%s", 0xFFFFFFFF, ""),
                              }));
}

// ---------------------------------------------------------------------------------------------
// LAN ports: the configuration service's JSON, and its failure text (the API answers it with 0)
// ---------------------------------------------------------------------------------------------

class PortStatusBinding : public LoidBinding {};

TEST_F(PortStatusBinding, AnswersThePortsOfTheProfile) {
    jstring s = Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetPortStatus(env_, nullptr);
    ASSERT_NE(s, nullptr);
    const std::string ports =
        "{\"Result\":0,\"Ports\":[{\"Port\":1,\"Link\":\"Up\",\"Speed\":1000,\"Duplex\":\"Full\"},"
        "{\"Port\":2,\"Link\":\"Down\",\"Speed\":0,\"Duplex\":\"\"},"
        "{\"Port\":3,\"Link\":\"Up\",\"Speed\":100,\"Duplex\":\"Full\"},"
        "{\"Port\":4,\"Link\":\"Down\",\"Speed\":0,\"Duplex\":\"\"}]}";
    EXPECT_EQ(utf16_of(env_, s), utf16(ports));
    env_->DeleteLocalRef(s);
    EXPECT_EQ(take_records(), (std::vector<std::string>{
                                  entry_trace("lanGetPortStatus"),
                                  result_trace(" lanGetPortStatus ret: %u buff:%s", 0, ports),
                              }));
    // The request is the zero word, with room for 512 bytes of answer.
    std::optional<std::vector<zxtest::Received>> got = sim_.received("app_m");
    ASSERT_TRUE(got.has_value());
    ASSERT_EQ(got->size(), 1u);
    EXPECT_EQ((*got)[0].msgId, 0x4710304Fu);
    EXPECT_EQ((*got)[0].data, (zxtest::Bytes{0, 0, 0, 0}));
    EXPECT_EQ((*got)[0].replyCap, 512u);
}

TEST_F(PortStatusBinding, FailedCallAnswersTheFailureText) {
    ASSERT_TRUE(sim_.inject("app_m", 0x4710304F, zxtest::Fault::status(7)));
    jstring s = Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetPortStatus(env_, nullptr);
    ASSERT_NE(s, nullptr);
    const std::string failure = "{\"Result\":-1, \"FailReason\":\"\"}";
    EXPECT_EQ(utf16_of(env_, s), utf16(failure));
    env_->DeleteLocalRef(s);
    const uint32_t apiLine =
        zxtest::source_line("zel/zx_zel_jni_api.cpp", "kZelApi.last_word(Line(__LINE__), kMinusOne, uiOutLen");
    ASSERT_NE(apiLine, 0u);
    EXPECT_EQ(take_records(), (std::vector<std::string>{
                                  entry_trace("lanGetPortStatus"),
                                  L1(kVelmApi, 232, 7),
                                  zxtest::L("../zel/zx_zel_jni_api", apiLine, 0xFFFFFFFF, 512, 0, 0, 0),
                                  result_trace(" lanGetPortStatus ret: %u buff:%s", 0, failure),
                              }));
}

// ---------------------------------------------------------------------------------------------
// The fault text of the bundle natives
// ---------------------------------------------------------------------------------------------

using FaultText = Bindings;

TEST_F(FaultText, IsJsonCsRenderingOfTheConvertedCode) {
    struct Case {
        uint32_t code;
        std::u16string text;
        const char* trace;
    };
    const Case cases[] = {
        {2, u"{ \"Result\": -1 }", "Module ret:[2][2] ZX ret:4294967295\r\n"},
        {0xF7204030, u"{ \"Result\": -9 }", "Module ret:[4146085936][f7204030] ZX ret:4294967287\r\n"},
        {0, u"{ \"Result\": 0 }", "Module ret:[0][0] ZX ret:0\r\n"},
    };
    for (const Case& c : cases) {
        jstring s = OSGI_JNI_FaultStrBuild(env_, c.code);
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(utf16_of(env_, s), c.text);
        EXPECT_EQ(take_records(),
                  (std::vector<std::string>{
                      T(249, kVelmApi, 460, c.trace),
                      T(249, kVelmApi, 998, "pcJsonStr:" + std::string(c.text.begin(), c.text.end()) + "\r\n")}));
        env_->DeleteLocalRef(s);
    }
}

// ---------------------------------------------------------------------------------------------
// A directory listing: thousands of references made in one native call
// ---------------------------------------------------------------------------------------------

class Listing : public zxtest::JvmTest {
protected:
    zxtest::ScopedTempDir dir_{"zxlist"};
};

TEST_F(Listing, ThousandNamesInOneCallLeaveOnlyTheArray) {
    std::set<std::string> made;
    for (int i = 0; i < 1000; ++i) {
        std::string name = "file-" + std::to_string(i);
        std::ofstream(dir_.path() + "/" + name) << i;
        made.insert(name);
    }
    jstring path = vm_->NewStringUTF(dir_.path().c_str());
    jobjectArray names =
        Java_com_zentrix_nodalis_deviceservice_custom_fileservice_ZxUnixFileSystem_list(env_, nullptr, path);
    vm_->DeleteLocalRef(path);
    ASSERT_NE(names, nullptr);
    EXPECT_EQ(refs_->live(), 1u) << "the array handed back and nothing else";
    EXPECT_GE(refs_->made(), 1000u) << "the names' references were counted";
    EXPECT_LT(refs_->peak(), static_cast<size_t>(zxtest::kNativeFrameCapacity));

    std::set<std::string> listed;
    for (jsize i = 0, n = vm_->GetArrayLength(names); i < n; ++i) {
        auto name = static_cast<jstring>(vm_->GetObjectArrayElement(names, i));
        const char* utf = vm_->GetStringUTFChars(name, nullptr);
        listed.insert(utf);
        vm_->ReleaseStringUTFChars(name, utf);
        vm_->DeleteLocalRef(name);
    }
    EXPECT_EQ(listed, made);
    EXPECT_EQ(vm_->GetArrayLength(names), 1000);
    env_->DeleteLocalRef(names);
}

}  // namespace
