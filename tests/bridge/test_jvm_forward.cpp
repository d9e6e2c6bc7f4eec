// The HTTP-forwarding natives of BaseServiceJNIMethods with the JNIEnv of a real VM, against the
// simulated broadband service: the requests a start sends for its two lists (32 entries each, a
// 33rd refused before anything is sent, null arrays and elements), the source addresses admitted
// one by one with the last one deciding the answer, the switch that turns admission off, and the
// stop that always answers "0".
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "binding_sim_test.h"
#include "jvm.h"
#include "sim_process.h"
#include "source_lines.h"
#include "test_env.h"
#include "trace_lines.h"
#include "traced_jvm_test.h"

extern "C" {
JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_jniHttpForwardStart(
    JNIEnv*, jobject, jint, jint, jobjectArray, jobjectArray, jint, jboolean);
JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_jniHttpForwardAttachAuth(
    JNIEnv*, jobject, jobjectArray, jboolean);
JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_jniHttpForwardStop(JNIEnv*,
                                                                                                               jobject);
}

namespace {

using zxtest::binding_line_of;
using zxtest::binding_records;
using zxtest::Bytes;
using zxtest::kBindingsUnit;
using zxtest::SimProcess;
using zxtest::T;
using zxtest::take_records;
using zxtest::utf16_of;

constexpr uint32_t kStop = 0x47307060;
constexpr uint32_t kAddAuth = 0x47307061;
constexpr uint32_t kAlways = 0x47307062;
constexpr uint32_t kDefault = 0x47307063;
constexpr uint32_t kWhite = 0x47307064;
constexpr uint32_t kInit = 0x4730705F;
constexpr uint32_t kRefused = 0xF7300009;

Bytes bytes_of(const std::string& s) { return Bytes(s.begin(), s.end()); }
Bytes word(uint32_t v) {
    Bytes b(4);
    std::memcpy(b.data(), &v, 4);
    return b;
}
Bytes always_record(uint32_t port, const std::string& address) {
    Bytes b(260, 0);
    std::memcpy(&b[0], &port, 4);
    std::memcpy(&b[4], address.data(), std::min<size_t>(address.size(), 256));
    return b;
}
Bytes default_record(uint32_t port, uint32_t ssid) {
    Bytes b(8);
    std::memcpy(&b[0], &port, 4);
    std::memcpy(&b[4], &ssid, 4);
    return b;
}

class Forwarding : public zxtest::BindingSimTest {
protected:
    Forwarding() : BindingSimTest({.services = {"tarn"}}) {}

    void SetUp() override {
        BindingSimTest::SetUp();
        if (HasFatalFailure()) return;
        // The service takes every forwarding command.
        for (uint32_t id : {kStop, kAddAuth, kAlways, kDefault, kWhite, kInit})
            ASSERT_TRUE(sim_.inject("tarn", id, zxtest::Fault::status(0)));
    }

    std::string start(jint ssid, jint defaultPort, jobjectArray white, jobjectArray always, jint alwaysPort,
                      jboolean deny) {
        return answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_jniHttpForwardStart(
            env_, nullptr, ssid, defaultPort, white, always, alwaysPort, deny));
    }
    std::string attach(jobjectArray list, jboolean on) {
        return answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_jniHttpForwardAttachAuth(
            env_, nullptr, list, on));
    }

    // The (command, bytes) pairs the broadband service received since the last look.
    std::vector<std::pair<uint32_t, Bytes>> sent() {
        std::vector<std::pair<uint32_t, Bytes>> out;
        auto r = sim_.received("tarn", true);
        EXPECT_TRUE(r.has_value());
        for (const zxtest::Received& got : r.value_or(std::vector<zxtest::Received>{}))
            out.emplace_back(got.msgId, got.data);
        return out;
    }

    std::vector<std::string> start_traces(uint32_t ssid, uint32_t defaultPort, uint32_t alwaysPort, uint32_t deny) {
        const std::string m = "jniHttpForwardStart";
        return {
            T(249, kBindingsUnit, binding_line_of(m, "jniHttpForwardStart called"),
              "\r\n jniHttpForwardStart called \r\n"),
            T(249, kBindingsUnit, binding_line_of(m, "ssid = %u"), "\r\n ssid = " + std::to_string(ssid) + " \r\n"),
            T(249, kBindingsUnit, binding_line_of(m, "defaultForwardPort = %u"),
              "\r\n defaultForwardPort = " + std::to_string(defaultPort) + " \r\n"),
            T(249, kBindingsUnit, binding_line_of(m, "alwaysForwardPort = %u"),
              "\r\n alwaysForwardPort = " + std::to_string(alwaysPort) + " \r\n"),
            T(249, kBindingsUnit, binding_line_of(m, "denyOtherPackage = %u"),
              "\r\n denyOtherPackage = " + std::to_string(deny) + " \r\n"),
        };
    }
    std::string white_trace(uint32_t i, const std::string& text) {
        return T(249, kBindingsUnit, binding_line_of("jniHttpForwardStart", "whitedstAddr%u"),
                 "\r\n whitedstAddr" + std::to_string(i) + "=" + text + " \r\n");
    }
    std::string always_trace(uint32_t i, const std::string& text) {
        return T(249, kBindingsUnit, binding_line_of("jniHttpForwardStart", "apcAlwaysFwd%u"),
                 "\r\n apcAlwaysFwd" + std::to_string(i) + "=" + text + " \r\n");
    }
};

TEST_F(Forwarding, StartSendsBothListsThenTheDefaultRule) {
    EXPECT_EQ(start(2, 8080, jtexts({"10.1.1.1", "example.com"}), jtexts({"192.0.2.7"}), 8081, JNI_TRUE), "0");
    EXPECT_EQ(sent(), (std::vector<std::pair<uint32_t, Bytes>>{
                          {kInit, word(0)},
                          {kWhite, bytes_of("10.1.1.1")},
                          {kWhite, bytes_of("example.com")},
                          {kAlways, always_record(8081, "192.0.2.7")},
                          {kDefault, default_record(8080, 2)},
                      }));
    std::vector<std::string> expected = start_traces(2, 8080, 8081, 1);
    expected.push_back(white_trace(0, "10.1.1.1"));
    expected.push_back(white_trace(1, "example.com"));
    expected.push_back(always_trace(0, "192.0.2.7"));
    EXPECT_EQ(binding_records(), expected);
}

TEST_F(Forwarding, DenyOtherPackageChangesNoRequest) {
    EXPECT_EQ(start(1, 80, jtexts({"a"}), jtexts({"b"}), 81, JNI_TRUE), "0");
    auto withDeny = sent();
    EXPECT_EQ(start(1, 80, jtexts({"a"}), jtexts({"b"}), 81, JNI_FALSE), "0");
    EXPECT_EQ(sent(), withDeny);
    EXPECT_EQ(withDeny.size(), 4u);
}

TEST_F(Forwarding, ThirtyTwoEntriesAreSentAndAThirtyThirdIsRefused) {
    std::vector<std::string> names;
    for (int i = 0; i < 33; ++i) names.push_back("host" + std::to_string(i) + ".example");
    std::vector<const char*> p32, p33;
    for (int i = 0; i < 33; ++i) {
        if (i < 32) p32.push_back(names[i].c_str());
        p33.push_back(names[i].c_str());
    }
    EXPECT_EQ(start(0, 1, jtexts(p32), jtexts(p32), 2, JNI_FALSE), "0");
    auto got = sent();
    ASSERT_EQ(got.size(), 1u + 32u + 32u + 1u);
    EXPECT_EQ(got[32], std::make_pair(kWhite, bytes_of(names[31])));
    EXPECT_EQ(got[64], std::make_pair(kAlways, always_record(2, names[31])));
    take_records();

    const std::string tooLong = T(249, kBindingsUnit, binding_line_of("jniHttpForwardStart", "is too long called"),
                                  "\r\n uiWhiteAddrCount or uiAlwaysFwdCount is too long called \r\n");
    EXPECT_EQ(start(0, 1, jtexts(p33), jtexts({"a"}), 2, JNI_FALSE), "-1");
    EXPECT_TRUE(sent().empty()) << "nothing is sent for 33 white entries";
    std::vector<std::string> expected = start_traces(0, 1, 2, 0);
    expected.push_back(tooLong);
    EXPECT_EQ(binding_records(), expected);
    EXPECT_EQ(start(0, 1, jtexts({"a"}), jtexts(p33), 2, JNI_FALSE), "-1");
    EXPECT_TRUE(sent().empty()) << "nothing is sent for 33 always-forward entries";
    EXPECT_EQ(start(0, 1, jtexts(std::vector<const char*>(5000, "x")), nullptr, 2, JNI_FALSE), "-1");
    EXPECT_TRUE(sent().empty());
}

TEST_F(Forwarding, NullArraysAndElements) {
    EXPECT_EQ(start(3, 10, nullptr, nullptr, 11, JNI_FALSE), "0");
    EXPECT_EQ(sent(), (std::vector<std::pair<uint32_t, Bytes>>{{kInit, word(0)}, {kDefault, default_record(10, 3)}}));
    take_records();

    EXPECT_EQ(start(3, 10, jtexts({"w0", nullptr, "w2"}), jtexts({nullptr, "a1"}), 11, JNI_FALSE), "0");
    EXPECT_EQ(sent(), (std::vector<std::pair<uint32_t, Bytes>>{
                          {kInit, word(0)},
                          {kWhite, bytes_of("w0")},
                          {kWhite, bytes_of("w2")},
                          {kAlways, always_record(11, "a1")},
                          {kDefault, default_record(10, 3)},
                      }));
    std::vector<std::string> expected = start_traces(3, 10, 11, 0);
    expected.push_back(white_trace(0, "w0"));  // a null white entry is not traced
    expected.push_back(white_trace(2, "w2"));
    expected.push_back(always_trace(0, "(null)"));  // every always-forward entry is
    expected.push_back(always_trace(1, "a1"));
    EXPECT_EQ(binding_records(), expected);
}

TEST_F(Forwarding, AHugeAlwaysForwardAddressIsCutToItsRecord) {
    const std::string huge(300000, 'h');
    EXPECT_EQ(start(0, 1, nullptr, jtexts({huge.c_str()}), 2, JNI_FALSE), "0");
    auto got = sent();
    ASSERT_EQ(got.size(), 3u);
    EXPECT_EQ(got[1], std::make_pair(kAlways, always_record(2, std::string(256, 'h'))));
}

TEST_F(Forwarding, AFailedStepAnswersMinusOne) {
    ASSERT_TRUE(sim_.inject("tarn", kDefault, zxtest::Fault::status(kRefused)));
    EXPECT_EQ(start(0, 1, jtexts({"w"}), nullptr, 2, JNI_FALSE), "-1");
    EXPECT_EQ(sent().size(), 3u);
    ASSERT_TRUE(sim_.inject("tarn", kInit, zxtest::Fault::status(kRefused)));
    EXPECT_EQ(start(0, 1, jtexts({"w"}), nullptr, 2, JNI_FALSE), "-1");
    EXPECT_EQ(sent().size(), 1u) << "nothing after the refused start";
}

TEST_F(Forwarding, AttachAdmitsEveryAddressInOrder) {
    EXPECT_EQ(attach(jtexts({"192.168.1.20", "192.168.1.21"}), JNI_TRUE), "0");
    EXPECT_EQ(sent(), (std::vector<std::pair<uint32_t, Bytes>>{{kAddAuth, bytes_of("192.168.1.20")},
                                                               {kAddAuth, bytes_of("192.168.1.21")}}));
    const std::string m = "jniHttpForwardAttachAuth";
    EXPECT_EQ(binding_records(),
              (std::vector<std::string>{
                  T(249, kBindingsUnit, binding_line_of(m, "\"\\r\\n\\r\\n\""), "\r\n\r\n"),
                  T(249, kBindingsUnit, binding_line_of(m, "jniHttpForwardAttachAuth called"),
                    "\r\n jniHttpForwardAttachAuth called \r\n"),
                  T(249, kBindingsUnit, binding_line_of(m, "jbSwitch  = %u"), "\r\n jbSwitch  = 1\r\n"),
              }));
}

TEST_F(Forwarding, TheLastAddressDecides) {
    // An address that cannot be admitted (null, or empty: refused by the API without a request)
    // fails; only the last one's result reaches Java, and every address is tried.
    EXPECT_EQ(attach(jtexts({nullptr, "10.0.0.2"}), JNI_TRUE), "0");
    EXPECT_EQ(sent(), (std::vector<std::pair<uint32_t, Bytes>>{{kAddAuth, bytes_of("10.0.0.2")}}));
    EXPECT_EQ(attach(jtexts({"10.0.0.1", nullptr}), JNI_TRUE), "-1");
    EXPECT_EQ(sent(), (std::vector<std::pair<uint32_t, Bytes>>{{kAddAuth, bytes_of("10.0.0.1")}}));
    EXPECT_EQ(attach(jtexts({"", "10.0.0.3"}), JNI_TRUE), "0");
    EXPECT_EQ(sent().size(), 1u);
    EXPECT_EQ(attach(jtexts({"10.0.0.4", ""}), JNI_TRUE), "-1");
    EXPECT_EQ(sent().size(), 1u);
    ASSERT_TRUE(sim_.inject("tarn", kAddAuth, zxtest::Fault::status(kRefused)));
    EXPECT_EQ(attach(jtexts({"10.0.0.5", "10.0.0.6", "10.0.0.7"}), JNI_TRUE), "-1");
    EXPECT_EQ(sent().size(), 3u) << "every address is tried after a failure";
}

TEST_F(Forwarding, SwitchOffOrNoAddressesAdmitsNothing) {
    EXPECT_EQ(attach(jtexts({"10.0.0.1"}), JNI_FALSE), "0");
    EXPECT_EQ(attach(jtexts({}), JNI_TRUE), "0");
    EXPECT_EQ(attach(nullptr, JNI_TRUE), "0");
    EXPECT_TRUE(sent().empty());
    EXPECT_EQ(binding_records().size(), 9u) << "three traces per call";
}

TEST_F(Forwarding, StopAlwaysAnswersZero) {
    EXPECT_EQ(
        answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_jniHttpForwardStop(env_, nullptr)),
        "0");
    EXPECT_EQ(sent(), (std::vector<std::pair<uint32_t, Bytes>>{{kStop, word(0)}}));
    ASSERT_TRUE(sim_.inject("tarn", kStop, zxtest::Fault::status(kRefused)));
    EXPECT_EQ(
        answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_jniHttpForwardStop(env_, nullptr)),
        "0");
    EXPECT_EQ(sent().size(), 1u);
    EXPECT_EQ(binding_records(),
              (std::vector<std::string>(
                  2, T(249, kBindingsUnit, binding_line_of("jniHttpForwardStop", "jniHttpForwardStop called"),
                       "\r\n jniHttpForwardStop called \r\n"))));
}

}  // namespace
