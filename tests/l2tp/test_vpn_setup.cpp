// Tunnel set-up and tear-down, and traffic monitoring with its notice to "app_m".
#include "l2tp_fixture.h"

namespace {

using namespace l2tptest;
using zxhost::TraceRecord;
using zxtest::json_int;
using zxtest::json_text;

constexpr uint32_t kSetup = 0x48304180;
constexpr uint32_t kTeardown = 0x48304181;
constexpr uint32_t kTrafficAdd = 0x48304173;
constexpr uint32_t kTrafficDel = 0x48304174;
constexpr uint32_t kNotice = 39;

const std::string kLns = "198.51.100.9";
const std::string kUser = "alice";
const std::string kPass = "s3cret";
const std::string kList = "203.0.113.0/24,198.51.100.7";
const std::string kBundle = "com.example.meter";

// The 450-byte tunnel request.
std::string tunnel_request(const std::string& lns, const std::string& user, const std::string& pass,
                           const std::string& tunnel, uint16_t port) {
    return padded(lns, 256) + padded(user, 64) + padded(pass, 64) + padded(tunnel, 64) +
           std::string(reinterpret_cast<const char*>(&port), 2);
}

json_object* tarn_state(const zxtest::SimProcess& sim, JsonPtr& holder) {
    holder = sim.state("tarn");
    return holder.get();
}

using VpnSetupTest = L2tpTest;

TEST_F(VpnSetupTest, SetupSendsTheTunnelRecordAndHandsBackTheTunnelName) {
    char name[64];
    std::memset(name, 'x', sizeof name);
    EXPECT_EQ(ZX_TARN_SetupVpn(kLns.c_str(), 1701, kUser.c_str(), kPass.c_str(), name), 0u);
    EXPECT_STREQ(name, "l2tp1");
    Received rec = only_received("tarn");
    expect_tarn_call(rec, kSetup, 64);
    EXPECT_EQ(hex(rec.data), hex(tunnel_request(kLns, kUser, kPass, "", 1701)));
    auto t = traces();
    expect_trace(t, 216, 717, "ip[" + kLns + "]\r\n");
    expect_no_last_word(t);

    JsonPtr holder;
    json_object* tunnels = member(tarn_state(sim_, holder), "tunnels");
    ASSERT_EQ(json_object_array_length(tunnels), 1u);
    json_object* tunnel = json_object_array_get_idx(tunnels, 0);
    EXPECT_EQ(json_text(tunnel, "name"), "l2tp1");
    EXPECT_EQ(json_int(tunnel, "port"), 1701);

    // Without an output area the name is not handed back, the tunnel is still made.
    EXPECT_EQ(ZX_TARN_SetupVpn(kLns.c_str(), 65535, kUser.c_str(), kPass.c_str(), nullptr), 0u);
    rec = only_received("tarn");
    EXPECT_EQ(hex(rec.data), hex(tunnel_request(kLns, kUser, kPass, "", 65535)));
}

TEST_F(VpnSetupTest, SetupTakesA255CharacterAddressAndRefuses256WithATrace) {
    std::string lns255(255, 'a'), lns256(256, 'a');
    EXPECT_EQ(ZX_TARN_SetupVpn(lns255.c_str(), 1701, kUser.c_str(), kPass.c_str(), nullptr), 0u);
    Received rec = only_received("tarn");
    EXPECT_EQ(hex(rec.data), hex(tunnel_request(lns255, kUser, kPass, "", 1701)));
    traces();

    EXPECT_EQ(ZX_TARN_SetupVpn(lns256.c_str(), 1701, kUser.c_str(), kPass.c_str(), nullptr), 1u);
    auto t = traces();
    expect_trace(
        t, 216, 727,
        "Parameter is over max length! DstIpStr[" + lns256 + "], PppUser[" + kUser + "], PppPass[" + kPass + "]\r\n");
    expect_no_last_word(t);
    std::string pass64(64, 'p');
    EXPECT_EQ(ZX_TARN_SetupVpn(kLns.c_str(), 1701, kUser.c_str(), pass64.c_str(), nullptr), 1u);
    EXPECT_EQ(at_line(traces(), TraceRecord::Trace, 727).size(), 1u);
    expect_received("tarn", {});
}

TEST_F(VpnSetupTest, SetupWithAMissingArgumentOrAFailedCall) {
    EXPECT_EQ(ZX_TARN_SetupVpn(kLns.c_str(), 1701, kUser.c_str(), nullptr, nullptr), 1u);
    expect_last_word_1(traces(), 715, 1);
    expect_received("tarn", {});
    inject_status("tarn", kSetup, 0xF7000123);
    char name[64] = "untouched";
    EXPECT_EQ(ZX_TARN_SetupVpn(kLns.c_str(), 1701, kUser.c_str(), kPass.c_str(), name), 0xF7000123u);
    EXPECT_STREQ(name, "untouched");
    expect_last_word_1(traces(), 747, 0xF7000123);
}

TEST_F(VpnSetupTest, TearDownWithOnlyATunnelNameRemovesThatTunnel) {
    char name[64] = {};
    ASSERT_EQ(ZX_TARN_SetupVpn(kLns.c_str(), 1701, kUser.c_str(), kPass.c_str(), name), 0u);
    expect_received("tarn", {{kSetup, tunnel_request(kLns, kUser, kPass, "", 1701)}});
    traces();
    EXPECT_EQ(ZX_TARN_DisconnectVpn(nullptr, nullptr, nullptr, name), 0u);
    Received rec = only_received("tarn");
    expect_tarn_call(rec, kTeardown, 4);
    EXPECT_EQ(hex(rec.data), hex(tunnel_request("", "", "", name, 0)));
    auto t = traces();
    expect_trace(t, 216, 780, std::string("ip[(null)] tunnel[") + name + "]\r\n");
    expect_no_last_word(t);
    JsonPtr holder;
    EXPECT_EQ(json_object_array_length(member(tarn_state(sim_, holder), "tunnels")), 0u);
}

TEST_F(VpnSetupTest, TearDownByServerAndUserSendsThemWithoutATunnelName) {
    ASSERT_EQ(ZX_TARN_SetupVpn(kLns.c_str(), 1701, kUser.c_str(), kPass.c_str(), nullptr), 0u);
    expect_received("tarn", {{kSetup, tunnel_request(kLns, kUser, kPass, "", 1701)}});
    traces();
    EXPECT_EQ(ZX_TARN_DisconnectVpn(kLns.c_str(), kUser.c_str(), kPass.c_str(), nullptr), 0u);
    Received rec = only_received("tarn");
    EXPECT_EQ(hex(rec.data), hex(tunnel_request(kLns, kUser, kPass, "", 0)));
    expect_trace(traces(), 216, 780, "ip[" + kLns + "] tunnel[na.]\r\n");
    JsonPtr holder;
    EXPECT_EQ(json_object_array_length(member(tarn_state(sim_, holder), "tunnels")), 0u);
}

TEST_F(VpnSetupTest, TearDownNamesTheOverLongField) {
    std::string s256(256, 'a'), s64(64, 'b');
    EXPECT_EQ(ZX_TARN_DisconnectVpn(s256.c_str(), nullptr, nullptr, nullptr), 1u);
    expect_trace(traces(), 216, 788, "DstIpStr[" + s256 + "] length is invilid! \r\n");
    EXPECT_EQ(ZX_TARN_DisconnectVpn(kLns.c_str(), s64.c_str(), nullptr, nullptr), 1u);
    expect_trace(traces(), 216, 800, "PppUser[" + s64 + "] length is invilid! \r\n");
    EXPECT_EQ(ZX_TARN_DisconnectVpn(kLns.c_str(), kUser.c_str(), s64.c_str(), nullptr), 1u);
    expect_trace(traces(), 216, 812, "PppPass[" + s64 + "] length is invilid! \r\n");
    EXPECT_EQ(ZX_TARN_DisconnectVpn(nullptr, nullptr, nullptr, s64.c_str()), 1u);
    expect_trace(traces(), 216, 824, "pacTunnelName[" + s64 + "] length is invilid! \r\n");
    expect_received("tarn", {});
    inject_status("tarn", kTeardown, 0xF7000321);
    EXPECT_EQ(ZX_TARN_DisconnectVpn(nullptr, nullptr, nullptr, "t1"), 0xF7000321u);
    expect_last_word_1(traces(), 832, 0xF7000321);
}

class TrafficTest : public L2tpTest {
protected:
    // Checks the notice "app_m" received and the request "tarn" received for one change.
    void expect_change(uint32_t msgId, uint8_t addFlag) {
        std::vector<Received> notices = wait_received("app_m", 1);
        ASSERT_EQ(notices.size(), 1u);
        const Received& notice = notices[0];
        EXPECT_EQ(notice.msgId, kNotice);
        EXPECT_TRUE(notice.oneWay);
        json_object* nd = notice.decoded.get();
        json_object* nblock = member(nd, "block");
        std::string noticePayload = std::string(1, static_cast<char>(addFlag)) + padded(kBundle, 128) + z(kList);
        EXPECT_EQ(json_int(nblock, "originalLen"), static_cast<int64_t>(noticePayload.size()));
        EXPECT_EQ(hex(notice.data), hex(word(static_cast<uint32_t>(json_int(nblock, "id"))) +
                                        word(static_cast<uint32_t>(noticePayload.size())) +
                                        word(static_cast<uint32_t>(noticePayload.size())) + word(1)));
        EXPECT_EQ(json_text(nd, "payload"), hex(noticePayload));
        EXPECT_EQ(json_int(nd, "add"), addFlag);

        Received rec = only_received("tarn");
        expect_tarn_call(rec, msgId, 4);
        json_object* td = rec.decoded.get();
        json_object* tblock = member(td, "block");
        uint32_t len = static_cast<uint32_t>(kList.size() + 1);
        EXPECT_EQ(hex(rec.data), hex(word(static_cast<uint32_t>(json_int(tblock, "id"))) + word(len) + word(len) +
                                     padded(kBundle, 256)));
        EXPECT_EQ(json_text(td, "payload"), hex(z(kList)));
    }

    std::vector<std::string> monitored() {
        JsonPtr holder;
        json_object* lists = member(member(tarn_state(sim_, holder), "trafficMonitoring"), kBundle.c_str());
        std::vector<std::string> out;
        for (size_t i = 0; lists && i < json_object_array_length(lists); ++i)
            out.push_back(json_object_get_string(json_object_array_get_idx(lists, i)));
        return out;
    }
};

TEST_F(TrafficTest, AddTellsAppMAndSendsTheListToTarn) {
    EXPECT_EQ(ZX_TARN_AddTrafficMonitoringDestAddr(kList.c_str(), kList.size(), kBundle.c_str(), kBundle.size()), 0u);
    expect_change(kTrafficAdd, 1);
    auto t = traces();
    auto act = at_line(t, TraceRecord::Trace, 612);
    ASSERT_EQ(act.size(), 1u);
    EXPECT_EQ(act[0].level, 228u);
    EXPECT_EQ(act[0].text, "BundleName [" + kBundle + "] Act [add]\r\n");
    auto list = at_line(t, TraceRecord::Trace, 613);
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0].level, 228u);
    EXPECT_EQ(list[0].text, "AddrStrList [" + kList + "]\r\n");
    expect_no_last_word(t);
    EXPECT_EQ(monitored(), std::vector<std::string>{kList});
}

TEST_F(TrafficTest, DeleteSendsItsOwnIdAndANoticeWhoseFirstByteIsZero) {
    ASSERT_EQ(ZX_TARN_AddTrafficMonitoringDestAddr(kList.c_str(), kList.size(), kBundle.c_str(), kBundle.size()), 0u);
    wait_received("app_m", 1);
    EXPECT_EQ(only_received("tarn").msgId, kTrafficAdd);
    traces();
    EXPECT_EQ(ZX_TARN_DelTrafficMonitoringDestAddr(kList.c_str(), kList.size(), kBundle.c_str(), kBundle.size()), 0u);
    expect_change(kTrafficDel, 0);
    EXPECT_EQ(at_line(traces(), TraceRecord::Trace, 612).at(0).text, "BundleName [" + kBundle + "] Act [del]\r\n");
    EXPECT_TRUE(monitored().empty());
}

TEST_F(TrafficTest, BadArgumentsAreRefusedBeforeAnythingIsSent) {
    EXPECT_EQ(ZX_TARN_AddTrafficMonitoringDestAddr(kList.c_str(), 0, kBundle.c_str(), kBundle.size()), 1u);
    expect_last_word_1(traces(), 609, 1);
    EXPECT_EQ(ZX_TARN_AddTrafficMonitoringDestAddr(nullptr, 5, kBundle.c_str(), kBundle.size()), 1u);
    expect_last_word_1(traces(), 609, 1);
    EXPECT_EQ(ZX_TARN_DelTrafficMonitoringDestAddr(kList.c_str(), kList.size(), nullptr, 4), 1u);
    expect_last_word_1(traces(), 610, 1);
    EXPECT_EQ(ZX_TARN_DelTrafficMonitoringDestAddr(kList.c_str(), kList.size(), kBundle.c_str(), 0), 1u);
    expect_last_word_1(traces(), 610, 1);
    EXPECT_EQ(ZX_TARN_AddTrafficMonitoringDestAddr(kList.c_str(), kList.size() + 1, kBundle.c_str(), kBundle.size()),
              1u);
    auto t = traces();
    expect_last_word(t, 620, 1,
                     {static_cast<uint32_t>(kList.size() + 1), static_cast<uint32_t>(kList.size()),
                      static_cast<uint32_t>(kBundle.size()), static_cast<uint32_t>(kBundle.size())});
    EXPECT_EQ(at_line(t, TraceRecord::Trace, 612).size(), 1u);  // traced before the length check
    expect_received("tarn", {});
    expect_received("app_m", {});
}

TEST_F(TrafficTest, ANoticeThatCannotBeBuiltDoesNotStopTheChange) {
    zxhost::alloc_fail_at(kFile, 542);
    EXPECT_EQ(ZX_TARN_AddTrafficMonitoringDestAddr(kList.c_str(), kList.size(), kBundle.c_str(), kBundle.size()), 0u);
    uint32_t size = static_cast<uint32_t>(kList.size() + 130);
    expect_last_word(traces(), 545, 0xF7108001, {size, static_cast<uint32_t>(kList.size()), 0, 0});
    Received rec = only_received("tarn");
    expect_tarn_call(rec, kTrafficAdd, 4);
    expect_received("app_m", {});
}

TEST_F(TrafficTest, BlocksThatCannotBeWrittenAreRecorded) {
    // Above 2048 bytes both blocks need the compression buffer of the block write: the notice's
    // write fails (only recorded) and so does the list's (returned).
    std::string list(3000, '9');
    zxhost::alloc_fail_at(kFile, 76);
    EXPECT_EQ(ZX_TARN_AddTrafficMonitoringDestAddr(list.c_str(), list.size(), kBundle.c_str(), kBundle.size()),
              0xF7108001u);
    auto t = traces();
    expect_last_word_1(t, 569, 0xF7108001);
    expect_last_word(t, 634, 0xF7108001, {3001, 0, 0, 0});
    expect_received("tarn", {});
    expect_received("app_m", {});
}

TEST_F(TrafficTest, AFailedCallAtTarnIsReturned) {
    inject_status("tarn", kTrafficAdd, 0xF7000777);
    EXPECT_EQ(ZX_TARN_AddTrafficMonitoringDestAddr(kList.c_str(), kList.size(), kBundle.c_str(), kBundle.size()),
              0xF7000777u);
    wait_received("app_m", 1);  // the notice went out and app_m freed its block
    expect_last_word_1(traces(), 640, 0xF7000777);
    // tarn failed before reading its block: that one stays with the platform.
    EXPECT_EQ(zxhost::vdata_list().size(), 1u);
    expectNoBlocks_ = false;
}

}  // namespace
