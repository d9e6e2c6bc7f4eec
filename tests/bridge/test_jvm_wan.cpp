// The WAN natives of BaseServiceJNIMethods with the JNIEnv of a real VM, against the simulated
// services: the address list the attach and detach natives make of a String[] (null elements,
// a trailing separator, a cut element, an empty array), the L2TP natives' missing arguments, the
// WAN access rules (the 56-byte record, port 65535 and 65536, an invalid address, null texts) and
// the gateway's IP addresses, with the natives' traces and lines.
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

extern "C" {
JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanAttachL2tpTunnel(
    JNIEnv*, jobject, jstring, jobjectArray);
JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanDetachL2tpTunnel(
    JNIEnv*, jobject, jstring, jobjectArray);
JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanCreateL2tpTunnel(
    JNIEnv*, jobject, jstring, jstring, jstring);
JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanRemoveL2tpTunnel(JNIEnv*, jobject, jstring);
JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanGetL2tpTunnelStatus(JNIEnv*, jobject, jstring);
JNIEXPORT jint JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_addWANAccessRule(
    JNIEnv*, jobject, jstring, jstring, jint, jstring);
JNIEXPORT jint JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_deleteWANAccessRule(
    JNIEnv*, jobject, jstring, jstring, jint, jstring);
JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_sysGetIpAddr(JNIEnv*,
                                                                                                         jobject);
JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanGetIfStats(JNIEnv*,
                                                                                                          jobject);
JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanGetPppoeAccount(JNIEnv*,
                                                                                                               jobject);
}

namespace {

using zxtest::binding_line_of;
using zxtest::Bytes;
using zxtest::kBindingsUnit;
using zxtest::L1;
using zxtest::SimProcess;
using zxtest::T;
using zxtest::take_records;
using zxtest::utf16_of;

constexpr const char* kSource = "baseservice/baseservice_jni.cpp";

constexpr uint32_t kAddrAdd = 0x48304182;
constexpr uint32_t kAddrDel = 0x48304183;
constexpr uint32_t kVpnSetup = 0x48304180;
constexpr uint32_t kNatInfo = 0x47103058;
constexpr uint32_t kIpAddr = 0x4710304C;

class WanBindings : public zxtest::BindingSimTest {
protected:
    WanBindings() : BindingSimTest({.services = {"app_m", "tarn"}}) {}

    size_t count_of(const std::vector<zxtest::Received>& got, uint32_t msgId) {
        return static_cast<size_t>(
            std::count_if(got.begin(), got.end(), [&](const zxtest::Received& r) { return r.msgId == msgId; }));
    }

    // The list and its length as the tunnel API traced them for one attach or detach.
    static std::string list_traced(const std::vector<std::string>& records) {
        for (const std::string& r : records) {
            size_t at = r.find("addrList[");
            if (at != std::string::npos) return r.substr(at, r.find(" ip[", at) - at);
        }
        return "<none>";
    }

    std::string attach(const char* tunnel, jobjectArray list) {
        return answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanAttachL2tpTunnel(
            env_, nullptr, tunnel ? jtext(tunnel) : nullptr, list));
    }
    std::string detach(const char* tunnel, jobjectArray list) {
        return answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanDetachL2tpTunnel(
            env_, nullptr, tunnel ? jtext(tunnel) : nullptr, list));
    }
};

// ---------------------------------------------------------------------------------------------
// The address list of attach and detach
// ---------------------------------------------------------------------------------------------

class AddressList : public WanBindings {
protected:
    void SetUp() override {
        WanBindings::SetUp();
        if (HasFatalFailure()) return;
        // A tunnel of the simulated broadband service to attach to.
        std::string created =
            answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanCreateL2tpTunnel(
                env_, nullptr, jtext("192.0.2.10"), jtext("user"), jtext("secret")));
        const std::string prefix = "{\"Result\":0,\"TunnelName\":\"";
        ASSERT_EQ(created.rfind(prefix, 0), 0u) << created;
        tunnel_ = created.substr(prefix.size(), created.size() - prefix.size() - 2);
        ASSERT_FALSE(tunnel_.empty());
        received("tarn");
    }
    std::string tunnel_;
    // The list the tunnel API was given for `items`, by attach.
    std::string attached(const std::vector<const char*>& items) {
        take_records();
        std::string answer = attach(tunnel_.c_str(), jtexts(items));
        EXPECT_EQ(answer, "{\"Result\":0}");
        EXPECT_EQ(count_of(received("tarn"), kAddrAdd), 1u);
        return list_traced(take_records());
    }
};

TEST_F(AddressList, TwoAddressesAreJoinedByAComma) {
    EXPECT_EQ(attached({"10.0.0.1", "10.0.0.2"}), "addrList[10.0.0.1,10.0.0.2] Len[17]");
}

TEST_F(AddressList, ANullLastElementLeavesATrailingComma) {
    EXPECT_EQ(attached({"a", nullptr}), "addrList[a,] Len[2]");
}

TEST_F(AddressList, ANullFirstElementWritesNoSeparator) {
    EXPECT_EQ(attached({nullptr, "b"}), "addrList[b] Len[1]");
    EXPECT_EQ(attached({nullptr, "b", nullptr, "c"}), "addrList[b,c] Len[3]");
}

TEST_F(AddressList, ALongElementIsCutAtTheBlock) {
    // Three elements have 192 bytes: the first element fills 191 of them, nothing else fits.
    const std::string longest(300, 'x');
    EXPECT_EQ(attached({longest.c_str(), "b", "c"}), "addrList[" + std::string(191, 'x') + "] Len[191]");
    const std::string huge(1 << 20, 'y');
    EXPECT_EQ(attached({"a", huge.c_str()}), "addrList[a," + std::string(125, 'y') + "] Len[127]");
}

TEST_F(AddressList, AnEmptyOrNullArrayHasNoBlock) {
    const uint32_t allocLine = binding_line_of("wanAttachL2tpTunnel", "address_list(env, jAddresses, __LINE__)");
    const uint32_t faultLine = allocLine + 2;
    for (jobjectArray list : {jtexts({}), static_cast<jobjectArray>(nullptr)}) {
        take_records();
        EXPECT_EQ(attach(tunnel_.c_str(), list), "<null>");
        EXPECT_EQ(count_of(received("tarn"), kAddrAdd), 0u);
        std::vector<std::string> records = take_records();
        ASSERT_FALSE(records.empty());
        EXPECT_EQ(records.back(), L1(kBindingsUnit, faultLine, 1));
    }
}

TEST_F(AddressList, WithoutItsBlockNothingIsSent) {
    take_records();
    zxhost::alloc_fail_at(kBindingsUnit,
                          binding_line_of("wanDetachL2tpTunnel", "address_list(env, jAddresses, __LINE__)"));
    EXPECT_EQ(detach(tunnel_.c_str(), jtexts({"10.0.0.1"})), "<null>");
    EXPECT_EQ(count_of(received("tarn"), kAddrDel), 0u);
    const std::string m = "wanDetachL2tpTunnel";
    EXPECT_EQ(take_records(),
              (std::vector<std::string>{
                  T(249, kBindingsUnit, binding_line_of(m, "Binding<64> b("),
                    "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanDetachL2tpTunnel called \r\n"),
                  T(249, kBindingsUnit, binding_line_of(m, "Tunel = %s"), "Tunel = " + tunnel_ + " \r\n"),
                  L1(kBindingsUnit, binding_line_of(m, "address_list(env, jAddresses, __LINE__)") + 2, 1),
              }));
}

TEST_F(AddressList, AttachTracesEachElement) {
    take_records();
    EXPECT_EQ(attach(tunnel_.c_str(), jtexts({"10.0.0.1", nullptr, "10.0.0.22"})), "{\"Result\":0}");
    const std::string m = "wanAttachL2tpTunnel";
    const uint32_t elementLine = zxtest::source_line_after(kSource, "PlatformBuffer address_list(", "jobjectbyte%u");
    std::vector<std::string> mine;
    for (const std::string& r : take_records())
        if (r.find(" baseservice_jni ") != std::string::npos) mine.push_back(r);
    EXPECT_EQ(mine,
              (std::vector<std::string>{
                  T(249, kBindingsUnit, binding_line_of(m, "Binding<128> b("),
                    "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanAttachL2tpTunnel called \r\n"),
                  T(249, kBindingsUnit, binding_line_of(m, "Tunel = %s"), " Tunel = " + tunnel_ + "  "),
                  T(249, kBindingsUnit, elementLine, " jobjectbyte0 is 10.0.0.1[8] "),
                  T(249, kBindingsUnit, elementLine, " jobjectbyte2 is 10.0.0.22[9] "),
                  T(249, kBindingsUnit, binding_line_of(m, "ZX_JNI_wanAttachL2tpTunnel ret"),
                    " ZX_JNI_wanAttachL2tpTunnel ret: 0 buff:{\"Result\":0}"),
              }));
    received("tarn");
}

TEST_F(AddressList, DetachSendsTheSameListAndAnEmptyNameIsNull) {
    take_records();
    EXPECT_EQ(detach(tunnel_.c_str(), jtexts({"10.0.0.1", "10.0.0.2"})), "{\"Result\":0}");
    EXPECT_EQ(list_traced(take_records()), "addrList[10.0.0.1,10.0.0.2] Len[17]");
    EXPECT_EQ(count_of(received("tarn"), kAddrDel), 1u);
    take_records();
    EXPECT_EQ(detach("", jtexts({"10.0.0.1"})), "<null>") << "an empty Java text converts to nothing";
    EXPECT_EQ(count_of(received("tarn"), kAddrDel), 0u);
    std::vector<std::string> records = take_records();
    ASSERT_FALSE(records.empty());
    EXPECT_EQ(records.back(), L1(kBindingsUnit, binding_line_of("wanDetachL2tpTunnel", "last_word(__LINE__, 1)"), 1));
}

TEST_F(AddressList, ANullTunnelNameIsNull) {
    take_records();
    EXPECT_EQ(attach(nullptr, jtexts({"10.0.0.1"})), "<null>");
    EXPECT_EQ(detach(nullptr, jtexts({"10.0.0.1"})), "<null>");
    EXPECT_TRUE(received("tarn").empty());
    std::vector<std::string> records = take_records();
    ASSERT_EQ(records.size(), 4u);
    EXPECT_EQ(records[1], L1(kBindingsUnit, binding_line_of("wanAttachL2tpTunnel", "last_word(__LINE__, 1)"), 1));
    EXPECT_EQ(records[3], L1(kBindingsUnit, binding_line_of("wanDetachL2tpTunnel", "last_word(__LINE__, 1)"), 1));
}

// ---------------------------------------------------------------------------------------------
// Tunnels: missing arguments
// ---------------------------------------------------------------------------------------------

TEST_F(WanBindings, CreateWithAMissingTextSendsNothing) {
    jstring s = jtext("lns.example"), u = jtext("user"), p = jtext("secret");
    EXPECT_EQ(answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanCreateL2tpTunnel(
                  env_, nullptr, nullptr, u, p)),
              "<null>");
    EXPECT_EQ(answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanCreateL2tpTunnel(
                  env_, nullptr, s, nullptr, p)),
              "<null>");
    EXPECT_EQ(answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanCreateL2tpTunnel(
                  env_, nullptr, s, u, nullptr)),
              "<null>");
    EXPECT_EQ(count_of(received("tarn"), kVpnSetup), 0u);
    const std::string fault = L1(kBindingsUnit, binding_line_of("wanCreateL2tpTunnel", "last_word(__LINE__, 1)"), 1);
    EXPECT_EQ(take_records(), (std::vector<std::string>{fault, fault, fault})) << "no entry trace";
}

TEST_F(WanBindings, RemoveAndStatusWithoutAName) {
    EXPECT_EQ(answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanRemoveL2tpTunnel(
                  env_, nullptr, nullptr)),
              "<null>");
    EXPECT_EQ(answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanGetL2tpTunnelStatus(
                  env_, nullptr, nullptr)),
              "<null>");
    EXPECT_TRUE(received("tarn").empty());
    EXPECT_EQ(take_records(),
              (std::vector<std::string>{
                  L1(kBindingsUnit, binding_line_of("wanRemoveL2tpTunnel", "last_word(__LINE__, 1)"), 1),
                  L1(kBindingsUnit, binding_line_of("wanGetL2tpTunnelStatus", "last_word(__LINE__, 1)"), 1),
              }));
}

// ---------------------------------------------------------------------------------------------
// WAN access rules
// ---------------------------------------------------------------------------------------------

class AccessRule : public WanBindings {
protected:
    void SetUp() override {
        WanBindings::SetUp();
        if (HasFatalFailure()) return;
        ASSERT_TRUE(sim_.inject("app_m", kNatInfo, zxtest::Fault::status(0)));
    }
    jint add(const char* a1, const char* a2, jint port, const char* t3) {
        return Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_addWANAccessRule(
            env_, nullptr, a1 ? jtext(a1) : nullptr, a2 ? jtext(a2) : nullptr, port, t3 ? jtext(t3) : nullptr);
    }
    jint del(const char* a1, const char* a2, jint port, const char* t3) {
        return Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_deleteWANAccessRule(
            env_, nullptr, a1 ? jtext(a1) : nullptr, a2 ? jtext(a2) : nullptr, port, t3 ? jtext(t3) : nullptr);
    }
    static Bytes nat(uint32_t op, uint32_t port, const std::string& a1, const std::string& a2, const std::string& t3) {
        Bytes b(56, 0);
        std::memcpy(&b[0], &op, 4);
        std::memcpy(&b[4], &port, 4);
        std::memcpy(&b[8], a1.data(), std::min<size_t>(a1.size(), 15));
        std::memcpy(&b[24], a2.data(), std::min<size_t>(a2.size(), 15));
        std::memcpy(&b[40], t3.data(), std::min<size_t>(t3.size(), 15));
        return b;
    }
    Bytes sent() {
        std::vector<zxtest::Received> got = received("app_m");
        if (got.size() != 1) return {};
        EXPECT_EQ(got[0].msgId, kNatInfo);
        EXPECT_EQ(got[0].replyCap, 128u);
        return got[0].data;
    }
};

TEST_F(AccessRule, AddAndDeleteSendTheirOperation) {
    take_records();
    EXPECT_EQ(add("192.168.1.10", "0.0.0.0", 65535, "TCP"), 0);
    EXPECT_EQ(sent(), nat(1, 65535, "192.168.1.10", "0.0.0.0", "TCP"));
    std::vector<std::string> mine;
    for (const std::string& r : take_records())
        if (r.find(" baseservice_jni ") != std::string::npos) mine.push_back(r);
    EXPECT_EQ(
        mine,
        (std::vector<std::string>{
            T(249, kBindingsUnit, binding_line_of("addWANAccessRule", "IntBinding b("),
              "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_addWANAccessRule called \r\n"),
            T(249, kBindingsUnit, zxtest::source_line_after(kSource, "jint access_rule(", "argumentsTrace, address1"),
              "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_addWANAccessRule called "
              ":192.168.1.10 0.0.0.0 65535 TCP\r\n"),
        }));
    EXPECT_EQ(del("192.168.1.10", "0.0.0.0", 8080, "UDP"), 0);
    EXPECT_EQ(sent(), nat(0, 8080, "192.168.1.10", "0.0.0.0", "UDP"));
}

TEST_F(AccessRule, RefusedRulesSendNothing) {
    EXPECT_EQ(add("192.168.1.10", "0.0.0.0", 65536, "TCP"), -1);
    EXPECT_EQ(add("300.1.1.1", "0.0.0.0", 80, "TCP"), -1);
    EXPECT_EQ(del("192.168.1.10", "300.1.1.1", 80, "TCP"), -1);
    EXPECT_EQ(add("192.168.1.10", "0.0.0.0", -1, "TCP"), -1) << "-1 is port 4294967295";
    EXPECT_EQ(add(nullptr, "0.0.0.0", 80, "TCP"), -1);
    EXPECT_EQ(add("192.168.1.10", nullptr, 80, "TCP"), -1);
    EXPECT_EQ(del("192.168.1.10", "0.0.0.0", 80, nullptr), -1);
    const std::string huge(1 << 20, '1');
    EXPECT_EQ(add(huge.c_str(), "0.0.0.0", 80, "TCP"), -1);
    EXPECT_TRUE(received("app_m").empty());
}

TEST_F(AccessRule, AServiceFailureIsMinusOne) {
    ASSERT_TRUE(sim_.inject("app_m", kNatInfo, zxtest::Fault::status(0xF7103003)));
    EXPECT_EQ(add("192.168.1.10", "0.0.0.0", 80, "a-long-third-text-cut"), -1);
    EXPECT_EQ(sent(), nat(1, 80, "192.168.1.10", "0.0.0.0", "a-long-third-text-cut"));
}

// ---------------------------------------------------------------------------------------------
// The gateway's IP addresses
// ---------------------------------------------------------------------------------------------

TEST_F(WanBindings, IpAddressesFailedAreTheFailureText) {
    ASSERT_TRUE(sim_.inject("app_m", kIpAddr, zxtest::Fault::status(0xF7103004)));
    take_records();
    EXPECT_EQ(answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_sysGetIpAddr(env_, nullptr)),
              "{\"Result\":-1, \"FailReason\":\"\"}");
    std::vector<zxtest::Received> got = received("app_m");
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].replyCap, 512u);
    std::vector<std::string> records = take_records();
    ASSERT_FALSE(records.empty());
    EXPECT_EQ(records.front(),
              T(249, kBindingsUnit, binding_line_of("sysGetIpAddr", "Binding<512> b("),
                "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_sysGetIpAddr called \r\n"));
    EXPECT_EQ(records.back(), T(249, kBindingsUnit, binding_line_of("sysGetIpAddr", "sysGetIpAddr ret"),
                                " sysGetIpAddr ret: 0 buff:{\"Result\":-1, \"FailReason\":\"\"} \r\n"))
        << "the API answers 0 with its failure text";
}

TEST_F(WanBindings, IpAddressesOfTheProfile) {
    take_records();
    std::string answer =
        answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_sysGetIpAddr(env_, nullptr));
    EXPECT_EQ(answer.rfind("{", 0), 0u) << answer;
    EXPECT_NE(answer.find("100.64.12.34"), std::string::npos) << answer;
    EXPECT_EQ(take_records(),
              (std::vector<std::string>{
                  T(249, kBindingsUnit, binding_line_of("sysGetIpAddr", "Binding<512> b("),
                    "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_sysGetIpAddr called \r\n"),
                  T(249, kBindingsUnit, binding_line_of("sysGetIpAddr", "sysGetIpAddr ret"),
                    " sysGetIpAddr ret: 0 buff:" + answer + " \r\n"),
              }));
}

TEST_F(AddressList, ATunnelsStatusAndRemoval) {
    take_records();
    std::string status =
        answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanGetL2tpTunnelStatus(
            env_, nullptr, jtext(tunnel_)));
    EXPECT_EQ(status.rfind("{\"Result\":0 ,\"TunnelStatus\":\"", 0), 0u) << status;
    EXPECT_EQ(answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanRemoveL2tpTunnel(
                  env_, nullptr, jtext(tunnel_))),
              "{\"Result\":0}");
    std::vector<std::string> mine;
    for (const std::string& r : take_records())
        if (r.find(" baseservice_jni ") != std::string::npos) mine.push_back(r);
    const std::string s = "wanGetL2tpTunnelStatus", r = "wanRemoveL2tpTunnel";
    EXPECT_EQ(mine, (std::vector<std::string>{
                        T(249, kBindingsUnit, binding_line_of(s, "Binding<64> b("),
                          "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_" + s + " called \r\n"),
                        T(249, kBindingsUnit, binding_line_of(s, "str = %s"), "\r\n str = " + tunnel_ + " \r\n"),
                        T(249, kBindingsUnit, binding_line_of(s, "wanGetL2tpTunnelStatus ret"),
                          " wanGetL2tpTunnelStatus ret: 0 buff:" + status),
                        T(249, kBindingsUnit, binding_line_of(r, "Binding<64> b("),
                          "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_" + r + " called \r\n"),
                        T(249, kBindingsUnit, binding_line_of(r, "str = %s"), "\r\n str = " + tunnel_ + " \r\n"),
                        T(249, kBindingsUnit, binding_line_of(r, "wanRemoveL2tpTunnel ret"),
                          " wanRemoveL2tpTunnel ret: 0 buff:{\"Result\":0}"),
                    }));
}

TEST_F(WanBindings, InterfaceStatisticsAndPppoeAccount) {
    take_records();
    std::string stats =
        answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanGetIfStats(env_, nullptr));
    EXPECT_EQ(stats.rfind("{", 0), 0u) << stats;
    std::string account =
        answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanGetPppoeAccount(env_, nullptr));
    EXPECT_EQ(account.rfind("{\"Result\":0, \"PppoeAccount\":\"", 0), 0u) << account;
    std::vector<std::string> mine;
    for (const std::string& r : take_records())
        if (r.find(" baseservice_jni ") != std::string::npos) mine.push_back(r);
    ASSERT_EQ(mine.size(), 4u);
    EXPECT_EQ(mine[1], T(249, kBindingsUnit, binding_line_of("wanGetIfStats", "wanGetIfStats ret"),
                         " wanGetIfStats ret: 0 buff:" + stats));
    EXPECT_EQ(mine[3], T(249, kBindingsUnit, binding_line_of("wanGetPppoeAccount", "wanGetPppoeAccount ret"),
                         " wanGetPppoeAccount ret: 0"))
        << "the account is not traced";
}

}  // namespace
