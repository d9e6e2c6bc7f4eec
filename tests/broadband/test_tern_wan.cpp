// WAN facts and L2TP tunnels: the configuration service's answers passed through, and the tunnel
// functions driving the simulated broadband service ("tarn") through the tunnel API, with every
// argument fault, every failure text and the records the unit leaves.
#include <cstring>

#include "tern_fixture.h"

namespace terntest {
namespace {

using TernWanStats = TernTest;
using TernIpAddr = TernTest;
using TernPppoe = TernTest;
using TernTunnel = TernTest;

constexpr uint32_t kIfStats = 0x4710304A;
constexpr uint32_t kIpAddr = 0x4710304C;
constexpr uint32_t kPppoeUser = 0x48304186;
constexpr uint32_t kSetup = 0x48304180;
constexpr uint32_t kTeardown = 0x48304181;
constexpr uint32_t kAddrAdd = 0x48304182;
constexpr uint32_t kAddrDel = 0x48304183;
constexpr uint32_t kStatus = 0x48304187;

// The 450-byte tunnel request: server, user, password, tunnel name, then the port.
std::string vpn_request(const std::string& lns, const std::string& user, const std::string& pass,
                        const std::string& tunnel, uint16_t port) {
    return padded(lns, 256) + padded(user, 64) + padded(pass, 64) + padded(tunnel, 64) +
           std::string(reinterpret_cast<const char*>(&port), 2);
}

TEST_F(TernWanStats, PassesTheServiceTextOnAndTheCountersGrow) {
    char buf[128] = {};
    ASSERT_EQ(ZX_JNI_wanGetIfStats(buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0,\"RxBytes\":1048641536,\"TxBytes\":104865792}");
    ASSERT_EQ(ZX_JNI_wanGetIfStats(buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0,\"RxBytes\":1048707072,\"TxBytes\":104873984}");
    auto got = expect_received("app_m", {{kIfStats, word(0)}, {kIfStats, word(0)}});
    EXPECT_EQ(got[0].replyCap, 64u);
    expect_no_last_word(traces());
}

TEST_F(TernWanStats, BadArgumentsAndAFailedCall) {
    const std::string def = definition("ZX_JNI_wanGetIfStats");
    char buf[64] = "as it was";
    EXPECT_EQ(ZX_JNI_wanGetIfStats(nullptr, 64), 1u);
    expect_last_word_1(traces(), line_after(def, "fail(Line"), 1);
    EXPECT_EQ(ZX_JNI_wanGetIfStats(buf, 0), 1u);
    expect_last_word_1(traces(), line_after(def, "fail(Line"), 1);
    EXPECT_STREQ(buf, "as it was");
    expect_received("app_m", {});
    inject_status("app_m", kIfStats, kDown, 1);
    EXPECT_EQ(ZX_JNI_wanGetIfStats(buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kFailure);
    expect_last_word(traces(), line_after(def, "appm_text_query("), kDown, {64});
    take_received("app_m");
}

TEST_F(TernIpAddr, A512ByteReplyCutAtOutLenMinusOne) {
    char buf[512] = {};
    ASSERT_EQ(ZX_JNI_sysGetIpAddr(buf, sizeof buf), 0u);
    const std::string full =
        "{\"Result\":0,\"WanIPv4\":\"100.64.12.34\",\"LanIPv4\":\"192.168.1.1\",\"WanIPv6\":\"2001:db8:1::2\","
        "\"LanIPv6\":\"2001:db8:2::1\"}";
    EXPECT_EQ(std::string(buf), full);
    auto got = expect_received("app_m", {{kIpAddr, word(0)}});
    EXPECT_EQ(got[0].replyCap, 512u);
    std::memset(buf, 'x', sizeof buf);
    ASSERT_EQ(ZX_JNI_sysGetIpAddr(buf, 21), 0u);
    EXPECT_EQ(std::string(buf), full.substr(0, 20));
    EXPECT_EQ(buf[21], 'x');
    take_received("app_m");
}

TEST_F(TernIpAddr, NeitherArgumentIsCheckedAndTheAnswerIsAlwaysZero) {
    EXPECT_EQ(ZX_JNI_sysGetIpAddr(nullptr, 64), 0u);
    char buf[8] = "as it";
    EXPECT_EQ(ZX_JNI_sysGetIpAddr(buf, 0), 0u);
    EXPECT_STREQ(buf, "as it");
    expect_received("app_m", {{kIpAddr, word(0)}, {kIpAddr, word(0)}});
    expect_no_last_word(traces());
}

TEST_F(TernIpAddr, AFailedCallAnswersZeroWithTheFailureText) {
    inject_status("app_m", kIpAddr, kDown, 1);
    char buf[64] = {};
    EXPECT_EQ(ZX_JNI_sysGetIpAddr(buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kFailure);
    expect_last_word(traces(), line_after(definition("ZX_JNI_sysGetIpAddr"), "appm_text_query("), kDown, {64});
}

TEST_F(TernPppoe, TheNameIsWrittenAsItStands) {
    ASSERT_TRUE(sim_.set_state("tarn", "pppoeUserName", "we\"ird@isp"));
    char buf[64] = {};
    ASSERT_EQ(ZX_JNI_wanGetPppoeAccount(buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0, \"PppoeAccount\":\"we\"ird@isp\"}");
    // The tunnel API asks with the name buffer's size, 64.
    expect_received("tarn", {{kPppoeUser, word(64)}});
    expect_no_last_word(traces());
}

TEST_F(TernPppoe, BadArgumentsAndAFailedQuery) {
    const std::string def = definition("ZX_JNI_wanGetPppoeAccount");
    char buf[64] = "as it was";
    EXPECT_EQ(ZX_JNI_wanGetPppoeAccount(nullptr, 64), 1u);
    EXPECT_EQ(ZX_JNI_wanGetPppoeAccount(buf, 0), 1u);
    auto records = traces();
    EXPECT_EQ(zxtest::at_line(records, zxhost::TraceRecord::LastWord1, line_after(def, "fail(Line"), kFile).size(),
              2u);
    EXPECT_STREQ(buf, "as it was");
    expect_received("tarn", {});
    inject_status("tarn", kPppoeUser, kDown, 1);
    EXPECT_EQ(ZX_JNI_wanGetPppoeAccount(buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kFailure);
    expect_last_word_1(unit_records(traces()), line_after(def, "last_word(Line"), 1);
    take_received("tarn");
}

TEST_F(TernTunnel, CreateAlwaysUsesPort1701AndAnswersTheTunnelName) {
    char buf[64] = {};
    ASSERT_EQ(ZX_JNI_wanCreateL2tpTunnel("203.0.113.9", "alice", "s3cret", buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0,\"TunnelName\":\"l2tp1\"}");
    auto got = expect_received("tarn", {{kSetup, vpn_request("203.0.113.9", "alice", "s3cret", "", 1701)}});
    JsonPtr state = sim_.state("tarn");
    json_object* t = at(member(state.get(), "tunnels"), 0);
    EXPECT_EQ(text(t, "name"), "l2tp1");
    EXPECT_EQ(num(t, "port"), 1701);
    expect_no_last_word(traces());

    // Its status, the tunnel the dispatcher sees too.
    ASSERT_EQ(ZX_JNI_wanGetL2tpTunnelStatus("l2tp1", buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0 ,\"TunnelStatus\":\"1\"}");
    expect_received("tarn", {{kStatus, std::string("l2tp1", 6)}});

    // Removed by name.
    ASSERT_EQ(ZX_JNI_wanRemoveL2tpTunnel("l2tp1", buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0}");
    expect_received("tarn", {{kTeardown, vpn_request("", "", "", "l2tp1", 0)}});
    state = sim_.state("tarn");
    EXPECT_EQ(json_object_array_length(member(state.get(), "tunnels")), 0u);
    expect_no_last_word(traces());
}

TEST_F(TernTunnel, CreateRefusesAMissingArgumentWithoutCallingTheTunnelApi) {
    uint32_t line = line_after(definition("ZX_JNI_wanCreateL2tpTunnel"), "fail(Line");
    char buf[64] = "as it was";
    EXPECT_EQ(ZX_JNI_wanCreateL2tpTunnel("203.0.113.9", "alice", "s3cret", nullptr, 64), 1u);
    EXPECT_EQ(ZX_JNI_wanCreateL2tpTunnel(nullptr, "alice", "s3cret", buf, 64), 1u);
    EXPECT_EQ(ZX_JNI_wanCreateL2tpTunnel("203.0.113.9", nullptr, "s3cret", buf, 64), 1u);
    EXPECT_EQ(ZX_JNI_wanCreateL2tpTunnel("203.0.113.9", "alice", nullptr, buf, 64), 1u);
    auto records = traces();
    EXPECT_EQ(zxtest::at_line(records, zxhost::TraceRecord::LastWord1, line, kFile).size(), 4u);
    EXPECT_EQ(records.size(), 4u);  // nothing from the tunnel API
    EXPECT_STREQ(buf, "as it was");
    expect_received("tarn", {});
}

TEST_F(TernTunnel, AFailedCreateAnswersTheFailureTextWithTheDelegatesStatus) {
    inject_status("tarn", kSetup, kDown, 1);
    char buf[64] = {};
    EXPECT_EQ(ZX_JNI_wanCreateL2tpTunnel("203.0.113.9", "alice", "s3cret", buf, 48), 0u);
    EXPECT_STREQ(buf, kFailure);
    expect_last_word(traces(), line_after(definition("ZX_JNI_wanCreateL2tpTunnel"), "last_word(Line"), kDown, {48});
    take_received("tarn");
}

TEST_F(TernTunnel, RemoveWithAnEmptyNameAnswersZeroAndWritesNothing) {
    char buf[64] = "as it was";
    EXPECT_EQ(ZX_JNI_wanRemoveL2tpTunnel("", buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "as it was");
    EXPECT_TRUE(traces().empty());
    expect_received("tarn", {});
    EXPECT_EQ(ZX_JNI_wanRemoveL2tpTunnel(nullptr, buf, sizeof buf), 1u);
    expect_last_word_1(traces(), line_after(definition("ZX_JNI_wanRemoveL2tpTunnel"), "fail(Line"), 1);
    EXPECT_STREQ(buf, "as it was");
}

TEST_F(TernTunnel, AFailedRemoveAnswersTheFailureText) {
    inject_status("tarn", kTeardown, kDown, 1);
    char buf[64] = {};
    EXPECT_EQ(ZX_JNI_wanRemoveL2tpTunnel("l2tp7", buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kFailure);
    expect_last_word_1(unit_records(traces()), line_after(definition("ZX_JNI_wanRemoveL2tpTunnel"), "last_word(Line"),
                       kDown);
    take_received("tarn");
    // A name the tunnel API refuses (64 characters) is its failure too; nothing is sent.
    const std::string longName(64, 'n');
    EXPECT_EQ(ZX_JNI_wanRemoveL2tpTunnel(longName.c_str(), buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kFailure);
    expect_received("tarn", {});
}

TEST_F(TernTunnel, AttachAndDetachCarryTheListAndTheTunnelNameOnly) {
    testing::internal::CaptureStdout();
    char buf[64] = {};
    const std::string list = "198.51.100.0/24";
    ASSERT_EQ(ZX_JNI_wanAttachL2tpTunnel("l2tp3", list.c_str(), list.size(), buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0}");
    auto got = wait_received("tarn", 1);
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].msgId, kAddrAdd);
    ASSERT_TRUE(got[0].decoded);
    json_object* d = got[0].decoded.get();
    EXPECT_EQ(text(d, "list"), list);
    EXPECT_EQ(text(d, "lns"), "");
    EXPECT_EQ(text(d, "user"), "");
    EXPECT_EQ(text(d, "password"), "");
    EXPECT_EQ(text(d, "tunnelName"), "l2tp3");
    JsonPtr state = sim_.state("tarn");
    json_object* lists = member(state.get(), "vpnAddressLists");
    ASSERT_EQ(json_object_array_length(lists), 1u);
    EXPECT_EQ(text(at(lists, 0), "tunnel"), "l2tp3");
    EXPECT_EQ(text(at(lists, 0), "kind"), "dest");

    std::memset(buf, 0, sizeof buf);
    ASSERT_EQ(ZX_JNI_wanDetachL2tpTunnel("l2tp3", list.c_str(), list.size(), buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0}");
    got = wait_received("tarn", 1);
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].msgId, kAddrDel);
    state = sim_.state("tarn");
    EXPECT_EQ(json_object_array_length(member(state.get(), "vpnAddressLists")), 0u);
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("\r\nZX_JNI_wanAttachL2tpTunnel  TunnelName:l2tp3 AddrStrList = 198.51.100.0/24 \r\n"),
              std::string::npos)
        << out;
    EXPECT_NE(out.find("\r\nZX_JNI_wanDetachL2tpTunnel TunnelName:l2tp3 AddrStrList:198.51.100.0/24 \r\n"),
              std::string::npos)
        << out;
    expect_no_last_word(traces());
}

TEST_F(TernTunnel, AttachAndDetachRefuseMissingArguments) {
    using Fn = uint32_t (*)(const char*, const char*, uint32_t, char*, uint32_t);
    for (auto [fn, name] : std::vector<std::pair<Fn, std::string>>{{ZX_JNI_wanAttachL2tpTunnel, "ZX_JNI_wanAttachL2tpTunnel"},
                                                                   {ZX_JNI_wanDetachL2tpTunnel, "ZX_JNI_wanDetachL2tpTunnel"}}) {
        uint32_t line = line_after(definition(name), "return edit_dest_addr(") + 1;
        char buf[64] = "as it was";
        EXPECT_EQ(fn(nullptr, "1.2.3.4", 7, buf, 64), 1u);
        EXPECT_EQ(fn("", "1.2.3.4", 7, buf, 64), 1u);
        EXPECT_EQ(fn("l2tp1", "1.2.3.4", 0, buf, 64), 1u);
        EXPECT_EQ(fn("l2tp1", nullptr, 7, buf, 64), 1u);
        EXPECT_EQ(fn("l2tp1", "", 7, buf, 64), 1u);
        EXPECT_EQ(fn("l2tp1", "1.2.3.4", 7, buf, 0), 1u);
        auto records = traces();
        EXPECT_EQ(zxtest::at_line(records, zxhost::TraceRecord::LastWord1, line, kFile).size(), 6u) << name;
        EXPECT_STREQ(buf, "as it was");
        expect_received("tarn", {});
    }
}

TEST_F(TernTunnel, AFailedAttachOrDetachAnswersTheFailureText) {
    testing::internal::CaptureStdout();
    char buf[64] = {};
    // The length must be the list's: the tunnel API refuses 5 for a 7-character list.
    EXPECT_EQ(ZX_JNI_wanAttachL2tpTunnel("l2tp1", "1.2.3.4", 5, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kFailure);
    auto records = unit_records(traces());
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].line, line_after(definition("ZX_JNI_wanAttachL2tpTunnel"), "return edit_dest_addr(") + 2);
    EXPECT_EQ(records[0].data[0], 5u);
    expect_received("tarn", {});
    inject_status("tarn", kAddrDel, kDown, 1);
    EXPECT_EQ(ZX_JNI_wanDetachL2tpTunnel("l2tp1", "1.2.3.4", 7, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kFailure);
    expect_last_word(traces(), line_after(definition("ZX_JNI_wanDetachL2tpTunnel"), "return edit_dest_addr(") + 2,
                     kDown, {7});
    take_received("tarn");
    // The service failed before reading the tunnel API's block, so nobody freed it.
    EXPECT_EQ(zxhost::vdata_list().size(), 1u);
    expectNoBlocks_ = false;
    testing::internal::GetCapturedStdout();
}

TEST_F(TernTunnel, StatusIsWrittenAsAQuotedNumber) {
    ASSERT_TRUE(sim_.set_state("tarn", "tunnels",
                               StateValue::array({StateValue::object({{"name", "l2tp9"}, {"status", 3}})})));
    char buf[64] = {};
    ASSERT_EQ(ZX_JNI_wanGetL2tpTunnelStatus("l2tp9", buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0 ,\"TunnelStatus\":\"3\"}");
    ASSERT_EQ(ZX_JNI_wanGetL2tpTunnelStatus("none", buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0 ,\"TunnelStatus\":\"0\"}");
    take_received("tarn");
}

TEST_F(TernTunnel, StatusBadArgumentsAndAFailedQuery) {
    const std::string def = definition("ZX_JNI_wanGetL2tpTunnelStatus");
    char buf[64] = "as it was";
    EXPECT_EQ(ZX_JNI_wanGetL2tpTunnelStatus(nullptr, buf, 64), 1u);
    EXPECT_EQ(ZX_JNI_wanGetL2tpTunnelStatus("l2tp1", nullptr, 64), 1u);
    auto records = traces();
    EXPECT_EQ(zxtest::at_line(records, zxhost::TraceRecord::LastWord1, line_after(def, "fail(Line"), kFile).size(),
              2u);
    EXPECT_STREQ(buf, "as it was");
    inject_status("tarn", kStatus, kDown, 1);
    EXPECT_EQ(ZX_JNI_wanGetL2tpTunnelStatus("l2tp1", buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kFailure);
    expect_last_word_1(unit_records(traces()), line_after(def, "last_word(Line"), 1);
    take_received("tarn");
}

}  // namespace
}  // namespace terntest
