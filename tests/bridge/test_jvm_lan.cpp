// The LAN natives of BaseServiceJNIMethods with the JNIEnv of a real VM, against the simulated
// services: the exact requests they send (the MAC in colon form, the limits in host byte order),
// what they hand back to Java for each answer of the service, their traces with their lines, and
// null and hostile arguments.
#include <gtest/gtest.h>

#include <algorithm>
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

// The natives as the VM finds them (the receiver is never read).
extern "C" {
JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanSetDevMaxBandwidth(
    JNIEnv*, jobject, jstring, jint, jint);
JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetDevMaxBandwidth(JNIEnv*, jobject, jstring);
JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetNetInfo(JNIEnv*,
                                                                                                          jobject);
JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanSetDevAccessPermission(
    JNIEnv*, jobject, jstring, jint, jboolean);
JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetDevInternetAccessBlacklist(JNIEnv*, jobject);
JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetDevStorageAccessBlacklist(JNIEnv*, jobject);
JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetDevBandwidth(JNIEnv*,
                                                                                                               jobject);
JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanSetDevStatsStatus(JNIEnv*, jobject, jint);
JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getLANHostStats(JNIEnv*,
                                                                                                            jobject,
                                                                                                            jstring);
}

namespace {

using zxtest::binding_line_of;
using zxtest::Bytes;
using zxtest::kBindingsUnit;
using zxtest::SimProcess;
using zxtest::T;
using zxtest::take_records;

constexpr uint32_t kSetMaxBandwidth = 0x47103052;
constexpr uint32_t kGetMaxBandwidth = 0x47103051;

Bytes bytes_of(const std::string& s) { return Bytes(s.begin(), s.end()); }

class LanBindings : public zxtest::BindingSimTest {
protected:
    LanBindings() : BindingSimTest({.services = {"app_m", "tarn"}}) {}
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
        return T(249, kBindingsUnit, binding_line_of("lanSetDevMaxBandwidth", "kSetMaxBandwidthEntry);"),
                 "\r\n  Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanSetDevMaxBandwidth called \r\n");
    }
    std::vector<std::string> get_traces(const std::string& mac, uint32_t result) const {
        return {
            T(249, kBindingsUnit, binding_line_of("lanGetDevMaxBandwidth", "trace_entry"),
              "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetDevMaxBandwidth called \r\n"),
            T(249, kBindingsUnit, binding_line_of("lanGetDevMaxBandwidth", "pcMac  = %s"),
              "\r\n  lanSetDevMaxBandwidth pcMac  = " + mac + " \r\n"),
            T(249, kBindingsUnit, binding_line_of("lanGetDevMaxBandwidth", "GetDevMaxBand finished"),
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

TEST_F(MaxBandwidth, TheServiceKeepsTheLimitsOfAHost) {
    jstring s = Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanSetDevMaxBandwidth(
        env_, nullptr, jtext("001A2B001002"), 4000, 1000);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(zxtest::utf16_of(env_, s), u"{\"Result\":0}");
    env_->DeleteLocalRef(s);
    s = Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetDevMaxBandwidth(env_, nullptr,
                                                                                                jtext("001a2b001002"));
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(zxtest::utf16_of(env_, s),
              u"{\"Result\":0,\"MAC\":\"00:1A:2B:00:10:02\",\"UpMaxBandwidth\":4000,\"DownMaxBandwidth\":1000}");
    env_->DeleteLocalRef(s);
    // A host the service does not know: its failure (not the remote call's 1) hands back the
    // zeroed reply, that is null.
    EXPECT_EQ(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetDevMaxBandwidth(
                  env_, nullptr, jtext("FFFFFFFFFFFF")),
              nullptr);
    EXPECT_EQ(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanSetDevMaxBandwidth(
                  env_, nullptr, jtext("FFFFFFFFFFFF"), 1, 2),
              nullptr);
}

// ---------------------------------------------------------------------------------------------
// Access permissions, statistics switch, black lists, bandwidth, host counters, host list
// ---------------------------------------------------------------------------------------------

constexpr uint32_t kAccessPermission = 0x47103047;
constexpr uint32_t kInternetBlacklist = 0x47103048;
constexpr uint32_t kStorageBlacklist = 0x47103049;
constexpr uint32_t kBandwidth = 0x47103050;
constexpr uint32_t kStatsStatus = 0x4710304D;
constexpr uint32_t kHostStats = 0x47302D15;
constexpr uint32_t kHostNum = 0x47302005;
constexpr const char* kFailure = "{\"Result\":-1, \"FailReason\":\"\"}";

class LanHosts : public LanBindings {
protected:
    std::string answer_of(jstring s) {
        if (!s) return "<null>";
        std::u16string t = zxtest::utf16_of(env_, s);
        env_->DeleteLocalRef(s);
        return std::string(t.begin(), t.end());
    }
    // The binding's own records.
    static std::vector<std::string> mine() {
        std::vector<std::string> out;
        for (const std::string& r : take_records())
            if (r.find(" baseservice_jni ") != std::string::npos) out.push_back(r);
        return out;
    }
    std::string permission(const char* dev, jint b1, jboolean b2) {
        return answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanSetDevAccessPermission(
            env_, nullptr, dev ? jtext(dev) : nullptr, b1, b2));
    }
    static Bytes permission_request(const std::string& dev, const std::string& first, const std::string& second) {
        Bytes b(48, 0);
        std::memcpy(&b[0], dev.data(), dev.size());
        std::memcpy(&b[16], first.data(), first.size());
        std::memcpy(&b[32], second.data(), second.size());
        return b;
    }
};

TEST_F(LanHosts, PermissionSendsOnAndOff) {
    ASSERT_TRUE(sim_.inject("app_m", kAccessPermission, zxtest::Fault::status(0)));
    take_records();
    EXPECT_EQ(permission("001122AABBCC", 1, JNI_FALSE), "<null>") << "the service wrote no reply";
    std::vector<zxtest::Received> got = received("app_m");
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].msgId, kAccessPermission);
    EXPECT_EQ(got[0].data, permission_request("001122AABBCC", "ON", "OFF"));
    const std::string m = "lanSetDevAccessPermission";
    EXPECT_EQ(mine(), (std::vector<std::string>{
                          T(249, kBindingsUnit, binding_line_of(m, "kAccessPermissionEntry);"),
                            "\r\n Java_com_telcora_nodalis_impl_BaseServiceJNIMethods_lanSetDevAccessPermission "
                            "called \r\n"),
                          T(249, kBindingsUnit, binding_line_of(m, "str = %s"), "\r\n str = 001122AABBCC\r\n"),
                          T(249, kBindingsUnit, binding_line_of(m, "b1 = %u"), "\r\n b1 = 1\r\n"),
                          T(249, kBindingsUnit, binding_line_of(m, "b2 = %u"), "\r\n b2 = 0\r\n"),
                          T(249, kBindingsUnit, binding_line_of(m, "lanSetDevAccessPermission ret"),
                            "lanSetDevAccessPermission ret: 0 buff:"),
                      }));
}

TEST_F(LanHosts, PermissionWithAnInvalidFlagOrAFailingService) {
    EXPECT_EQ(permission("dev", 2, JNI_TRUE), kFailure) << "the API answers 0 with its failure text";
    EXPECT_TRUE(received("app_m").empty());
    ASSERT_TRUE(sim_.inject("app_m", kAccessPermission, zxtest::Fault::status(0xF7700005)));
    EXPECT_EQ(permission("dev", 0, JNI_TRUE), kFailure);
    std::vector<zxtest::Received> got = received("app_m");
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].data, permission_request("dev", "OFF", "ON"));
}

TEST_F(LanHosts, PermissionWithoutADeviceIsOne) {
    take_records();
    EXPECT_EQ(permission(nullptr, 1, JNI_TRUE), "1");
    EXPECT_TRUE(received("app_m").empty());
    EXPECT_EQ(take_records(),
              (std::vector<std::string>{zxtest::L1(
                  kBindingsUnit, binding_line_of("lanSetDevAccessPermission", "last_word(__LINE__, 1)"), 1)}))
        << "no trace";
}

TEST_F(LanHosts, StatsSwitchSendsTheValueAsGiven) {
    ASSERT_TRUE(sim_.inject("app_m", kStatsStatus, zxtest::Fault::status(0)));
    for (jint value : {1, 0, 7, -1}) {
        answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanSetDevStatsStatus(env_, nullptr,
                                                                                                         value));
        std::vector<zxtest::Received> got = received("app_m");
        ASSERT_EQ(got.size(), 1u);
        Bytes expected(4);
        std::memcpy(expected.data(), &value, 4);
        EXPECT_EQ(got[0].data, expected);
        EXPECT_EQ(got[0].replyCap, 128u);
    }
}

TEST_F(LanHosts, StatsSwitchWithAFailingService) {
    ASSERT_TRUE(sim_.inject("app_m", kStatsStatus, zxtest::Fault::status(0xF7700005)));
    take_records();
    EXPECT_EQ(answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanSetDevStatsStatus(
                  env_, nullptr, 1)),
              kFailure)
        << "the API answers 0 with its failure text";
    const std::string m = "lanSetDevStatsStatus";
    EXPECT_EQ(mine(), (std::vector<std::string>{
                          T(249, kBindingsUnit, binding_line_of(m, "Binding<128"),
                            "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanSetDevStatsStatus "
                            "called \r\n"),
                          T(249, kBindingsUnit, binding_line_of(m, "b1 = %u"), "\r\n  b1 = 1 \r\n"),
                          T(249, kBindingsUnit, binding_line_of(m, "lanSetDevStatsStatus ret"),
                            std::string(" lanSetDevStatsStatus ret: 0 buff:") + kFailure),
                      }));
}

TEST_F(LanHosts, BlacklistsAndBandwidthPassTheFailureText) {
    for (uint32_t id : {kInternetBlacklist, kStorageBlacklist, kBandwidth})
        ASSERT_TRUE(sim_.inject("app_m", id, zxtest::Fault::status(0xF7103005)));
    EXPECT_EQ(
        answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetDevInternetAccessBlacklist(
            env_, nullptr)),
        kFailure);
    EXPECT_EQ(
        answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetDevStorageAccessBlacklist(
            env_, nullptr)),
        kFailure);
    EXPECT_EQ(
        answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetDevBandwidth(env_, nullptr)),
        kFailure);
    std::vector<zxtest::Received> got = received("app_m");
    ASSERT_EQ(got.size(), 3u);
    EXPECT_EQ(got[0].msgId, kInternetBlacklist);
    EXPECT_EQ(got[0].replyCap, 2048u);
    EXPECT_EQ(got[1].msgId, kStorageBlacklist);
    EXPECT_EQ(got[1].replyCap, 2048u);
    EXPECT_EQ(got[2].msgId, kBandwidth);
    std::vector<std::string> records = mine();
    EXPECT_NE(std::find(records.begin(), records.end(),
                        T(249, kBindingsUnit, binding_line_of("lanGetDevStorageAccessBlacklist", "ret:%u"),
                          std::string("lanGetDevStorageAccessBlacklist ret:0 buff:") + kFailure)),
              records.end());
}

TEST_F(LanHosts, BlacklistWithoutItsBlockIsNull) {
    const std::string m = "lanGetDevInternetAccessBlacklist";
    zxhost::alloc_fail_at(kBindingsUnit, binding_line_of(m, "the block's own line"));
    take_records();
    EXPECT_EQ(
        answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetDevInternetAccessBlacklist(
            env_, nullptr)),
        "<null>");
    EXPECT_TRUE(received("app_m").empty());
    EXPECT_EQ(take_records(),
              (std::vector<std::string>{
                  T(249, kBindingsUnit, binding_line_of(m, "HeapBinding b("),
                    "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_" + m + " called \r\n"),
                  zxtest::L1(kBindingsUnit, binding_line_of(m, "no_block(__LINE__)"), 1),
              }));
}

TEST_F(LanHosts, HostCountersByMac) {
    ASSERT_TRUE(sim_.inject("tarn", kHostStats, zxtest::Fault::status(0)));
    take_records();
    EXPECT_EQ(answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getLANHostStats(
                  env_, nullptr, jtext("00:11:22:aa:bb:cc"))),
              "{\"Result\":0,\"UsStats\":0,\"DsStats\":0}");
    std::vector<zxtest::Received> got = received("tarn");
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].msgId, kHostStats);
    EXPECT_EQ(got[0].data, (Bytes{0x00, 0x11, 0x22, 0xaa, 0xbb, 0xcc}));
    const std::string m = "getLANHostStats";
    EXPECT_EQ(mine(), (std::vector<std::string>{
                          T(222, kBindingsUnit, binding_line_of(m, "trace_at(222"),
                            "Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_getLANHostStats,Macaddress:"
                            "00:11:22:aa:bb:cc\r\n"),
                          T(222, kBindingsUnit, binding_line_of(m, "OutPut:%s"),
                            "OutPut:{\"Result\":0,\"UsStats\":0,\"DsStats\":0}\r\n"),
                      }));
}

TEST_F(LanHosts, HostCountersFailedOrWithoutAMac) {
    take_records();
    EXPECT_EQ(answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getLANHostStats(env_, nullptr,
                                                                                                          nullptr)),
              kFailure);
    EXPECT_TRUE(received("tarn").empty());
    EXPECT_EQ(mine(), (std::vector<std::string>{
                          zxtest::L1(kBindingsUnit, binding_line_of("getLANHostStats", "last_word(__LINE__, 1)"), 1)}));
    ASSERT_TRUE(sim_.inject("tarn", kHostStats, zxtest::Fault::status(0xF7302001)));
    EXPECT_EQ(answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getLANHostStats(env_, nullptr,
                                                                                                          jtext("zz"))),
              kFailure);
    std::vector<zxtest::Received> got = received("tarn");
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].data, Bytes(6, 0)) << "an unparsed MAC is six zero bytes";
    std::vector<std::string> records = mine();
    ASSERT_FALSE(records.empty());
    EXPECT_EQ(records.back(),
              zxtest::L1(kBindingsUnit, binding_line_of("getLANHostStats", "last_word(__LINE__, code)"), 0xF7302001));
}

TEST_F(LanHosts, NoHostsIsTheEmptyList) {
    ASSERT_TRUE(sim_.inject("tarn", kHostNum, zxtest::Fault::status(0)));
    take_records();
    EXPECT_EQ(answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetNetInfo(env_, nullptr)),
              "{\"Result\":0,\"Info\":[] }");
    EXPECT_TRUE(received("app_m").empty()) << "the list is not asked for";
    EXPECT_EQ(
        mine(),
        (std::vector<std::string>{
            T(249, kBindingsUnit, binding_line_of("lanGetNetInfo", "lanGetNetInfo ret"), " lanGetNetInfo ret: 0\r\n"),
            T(249, kBindingsUnit, binding_line_of("lanGetNetInfo", "pcInfoStr=[%s]"),
              "[JNI_lanGetNetInfo] pcInfoStr=[{\"Result\":0,\"Info\":[] }]\r\n"),
        }));
}

TEST_F(LanHosts, HostListOfTheProfile) {
    take_records();
    std::string list =
        answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetNetInfo(env_, nullptr));
    EXPECT_NE(list.find("00:1A:2B:00:10:01"), std::string::npos) << list;
    EXPECT_NE(list.find("laptop"), std::string::npos) << list;
    EXPECT_EQ(
        mine(),
        (std::vector<std::string>{
            T(249, kBindingsUnit, binding_line_of("lanGetNetInfo", "lanGetNetInfo ret"), " lanGetNetInfo ret: 0\r\n"),
            T(249, kBindingsUnit, binding_line_of("lanGetNetInfo", "pcInfoStr=[%s]"),
              "[JNI_lanGetNetInfo] pcInfoStr=[" + list + "]\r\n"),
        }));
}

TEST_F(LanHosts, HostListWithoutItsCopyIsNull) {
    // The API's copy of the service's text cannot be had: no text comes back.
    zxhost::alloc_fail_at("zx_os_mem", zxtest::source_line_after("platform/mem.cpp", "ZX_OS_StrDup(", "allocate("));
    take_records();
    EXPECT_EQ(answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetNetInfo(env_, nullptr)),
              "<null>");
    EXPECT_EQ(mine(),
              (std::vector<std::string>{T(249, kBindingsUnit, binding_line_of("lanGetNetInfo", "lanGetNetInfo ret"),
                                          " lanGetNetInfo ret: 1\r\n")}));
}

}  // namespace
