// The LAN natives of BaseServiceJNIMethods with the JNIEnv of a real VM, against the simulated
// services: the exact requests they send (the MAC in colon form, the limits in host byte order),
// what they hand back to Java for each answer of the service, their traces with their lines, and
// null and hostile arguments.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "jvm.h"
#include "sim_process.h"
#include "source_lines.h"
#include "test_env.h"
#include "trace_lines.h"
#include "traced_jvm_test.h"

// The natives as the VM finds them (the receiver is never read).
extern "C" {
JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanSetDevMaxBandwidth(
    JNIEnv*, jobject, jstring, jint, jint);
JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetDevMaxBandwidth(
    JNIEnv*, jobject, jstring);
}

namespace {

using zxtest::Bytes;
using zxtest::SimProcess;
using zxtest::T;
using zxtest::take_records;

constexpr const char* kBindings = "baseservice_jni";
constexpr const char* kSymbol = "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_";

constexpr uint32_t kSetMaxBandwidth = 0x47103052;
constexpr uint32_t kGetMaxBandwidth = 0x47103051;

// The line of the bindings' source holding `needle` after the definition of `method`.
uint32_t line_of(const std::string& method, const std::string& needle) {
    return zxtest::source_line_after("baseservice/baseservice_jni.cpp", kSymbol + method + "(", needle);
}

Bytes bytes_of(const std::string& s) { return Bytes(s.begin(), s.end()); }

class LanBindings : public zxtest::TracedJvmTest {
protected:
    void SetUp() override {
        zxtest::TracedJvmTest::SetUp();
        if (HasFatalFailure()) return;
        ASSERT_TRUE(sim_.start());
    }
    void TearDown() override {
        EXPECT_TRUE(sim_.stop());
        zxtest::TracedJvmTest::TearDown();
    }

    jstring jtext(const std::string& s) { return vm_->NewStringUTF(s.c_str()); }

    // The requests `service` received since the last look, then forgotten.
    std::vector<zxtest::Received> received(const std::string& service) {
        auto r = sim_.received(service, true);
        EXPECT_TRUE(r.has_value());
        return r.value_or(std::vector<zxtest::Received>{});
    }

    zxtest::ScopedBusDir bus_;
    SimProcess sim_{{.services = {"app_m", "tarn"}}};
};

// ---------------------------------------------------------------------------------------------
// The per-device maximum bandwidth
// ---------------------------------------------------------------------------------------------

class MaxBandwidth : public LanBindings {
protected:
    // The 40-byte request of the set operation.
    static Bytes set_request(const std::string& mac, uint32_t first, uint32_t second) {
        Bytes b(40, 0);
        std::memcpy(&b[0], mac.data(), mac.size());
        std::memcpy(&b[32], &first, 4);
        std::memcpy(&b[36], &second, 4);
        return b;
    }

    // The request the set operation sent for `mac` (null: a null String), the service answering
    // `status`; the answer to Java must be null since the service writes no reply.
    Bytes sent_by_set(const char* mac, jint first, jint second, uint32_t status = 0) {
        EXPECT_TRUE(sim_.inject("app_m", kSetMaxBandwidth, zxtest::Fault::status(status, 1)));
        jstring s = Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanSetDevMaxBandwidth(
            env_, nullptr, mac ? jtext(mac) : nullptr, first, second);
        EXPECT_EQ(s, nullptr) << "an empty reply is null to Java";
        if (s) env_->DeleteLocalRef(s);
        std::vector<zxtest::Received> got = received("app_m");
        if (got.size() != 1) {
            ADD_FAILURE() << "requests: " << got.size();
            return {};
        }
        EXPECT_EQ(got[0].msgId, kSetMaxBandwidth);
        EXPECT_EQ(got[0].replyCap, 128u);
        return got[0].data;
    }

    Bytes sent_by_get(const char* mac, uint32_t status = 0) {
        EXPECT_TRUE(sim_.inject("app_m", kGetMaxBandwidth, zxtest::Fault::status(status, 1)));
        jstring s = Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetDevMaxBandwidth(
            env_, nullptr, mac ? jtext(mac) : nullptr);
        EXPECT_EQ(s, nullptr);
        if (s) env_->DeleteLocalRef(s);
        std::vector<zxtest::Received> got = received("app_m");
        if (got.size() != 1) {
            ADD_FAILURE() << "requests: " << got.size();
            return {};
        }
        EXPECT_EQ(got[0].msgId, kGetMaxBandwidth);
        EXPECT_EQ(got[0].replyCap, 128u);
        return got[0].data;
    }

    std::string set_entry() const {
        return T(249, kBindings, line_of("lanSetDevMaxBandwidth", "kSetMaxBandwidthEntry);"),
                 "\r\n  Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanSetDevMaxBandwidth called \r\n");
    }
    std::vector<std::string> get_traces(const std::string& mac, uint32_t result) const {
        return {
            T(249, kBindings, line_of("lanGetDevMaxBandwidth", "trace_entry"),
              "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetDevMaxBandwidth called \r\n"),
            T(249, kBindings, line_of("lanGetDevMaxBandwidth", "pcMac  = %s"),
              "\r\n  lanSetDevMaxBandwidth pcMac  = " + mac + " \r\n"),
            T(249, kBindings, line_of("lanGetDevMaxBandwidth", "GetDevMaxBand finished"),
              "\r\n call GetDevMaxBand finished ret  = " + std::to_string(result) + "\r\n"),
        };
    }
};

TEST_F(MaxBandwidth, SetSendsTheMacInColonFormAndBothLimits) {
    EXPECT_EQ(sent_by_set("001122AABBCC", 1000, 2000), set_request("00:11:22:AA:BB:CC", 1000, 2000));
    EXPECT_EQ(take_records(), std::vector<std::string>{set_entry()});
}

TEST_F(MaxBandwidth, LimitsTravelUnsigned) {
    EXPECT_EQ(sent_by_set("001122AABBCC", -1, INT32_MIN), set_request("00:11:22:AA:BB:CC", 0xFFFFFFFFu, 0x80000000u));
}

TEST_F(MaxBandwidth, LowerCaseIsKept) {
    EXPECT_EQ(sent_by_set("001122aabbcc", 1, 2), set_request("00:11:22:aa:bb:cc", 1, 2));
    EXPECT_EQ(sent_by_get("001122aabbcc"), bytes_of("00:11:22:aa:bb:cc"));
}

TEST_F(MaxBandwidth, ShortMacsKeepTheirLastColon) {
    EXPECT_EQ(sent_by_set("0011", 1, 2), set_request("00:11:", 1, 2));
    EXPECT_EQ(sent_by_set("00112", 1, 2), set_request("00:11:2", 1, 2));
    EXPECT_EQ(sent_by_get("0011"), bytes_of("00:11:"));
    EXPECT_EQ(sent_by_get("00112"), bytes_of("00:11:2"));
    EXPECT_EQ(sent_by_set("", 1, 2), set_request("", 1, 2));
}

TEST_F(MaxBandwidth, AMacInColonFormIsCutAndExpandedAgain) {
    // Its first 12 characters, 00:11:22:aa:, taken as six pairs.
    const std::string doubled = "00::1:1::22::a:a:";
    ASSERT_EQ(doubled.size(), 17u);
    EXPECT_EQ(sent_by_set("00:11:22:aa:bb:cc", 5, 6), set_request(doubled, 5, 6));
    EXPECT_EQ(sent_by_get("00:11:22:aa:bb:cc"), bytes_of(doubled));
}

TEST_F(MaxBandwidth, AHugeTextSendsItsFirstTwelveCharacters) {
    const std::string huge = "0123456789ab" + std::string(1 << 20, 'Z');
    EXPECT_EQ(sent_by_set(huge.c_str(), 7, 8), set_request("01:23:45:67:89:ab", 7, 8));
    EXPECT_EQ(sent_by_get(huge.c_str()), bytes_of("01:23:45:67:89:ab"));
}

TEST_F(MaxBandwidth, ANullMacGoesOnEmpty) {
    EXPECT_EQ(sent_by_set(nullptr, 3, 4), set_request("", 3, 4));
    EXPECT_EQ(take_records(), std::vector<std::string>{set_entry()});
    EXPECT_EQ(sent_by_get(nullptr), Bytes{}) << "the query is the empty text without its terminator";
    EXPECT_EQ(take_records(), get_traces("", 0));
}

TEST_F(MaxBandwidth, QuerySendsTheMacTextWithoutItsTerminator) {
    EXPECT_EQ(sent_by_get("001122AABBCC"), bytes_of("00:11:22:AA:BB:CC"));
    EXPECT_EQ(take_records(), get_traces("00:11:22:AA:BB:CC", 0));
}

TEST_F(MaxBandwidth, FailedCallsAreNull) {
    EXPECT_EQ(sent_by_set("001122AABBCC", 1, 2, 1), set_request("00:11:22:AA:BB:CC", 1, 2));
    EXPECT_EQ(sent_by_set("001122AABBCC", 1, 2, 0xF7103002), set_request("00:11:22:AA:BB:CC", 1, 2));
    take_records();
    EXPECT_EQ(sent_by_get("001122AABBCC", 1), bytes_of("00:11:22:AA:BB:CC"));
    std::vector<std::string> expected = get_traces("00:11:22:AA:BB:CC", 1);
    expected.insert(expected.begin() + 2, zxtest::L1("../velm/zx_velm_jni_api", 232, 1));  // the wrapper's record
    EXPECT_EQ(take_records(), expected);
}

}  // namespace
