// The simulated WLAN radio and configuration services as plug-in code meets them: the profile's
// radios, SSIDs, LEDs and LAN ports, the wireless-host query filtered by MAC, and state shown and
// changed from the shell with simctl.
#include <unistd.h>

#include <cstring>

#include "tool_process.h"
#include "zel_fixture.h"

namespace zeltest {
namespace {

using SimWlan = ZelTest;

// The 164-byte host query: up to 8 MAC texts of 20 bytes and the count.
std::string host_query(const std::vector<std::string>& macs, uint32_t count) {
    std::string req;
    for (size_t i = 0; i < 8; ++i) req += padded(i < macs.size() ? macs[i] : "", 20);
    return req + word(count);
}

std::string ask_hosts(const std::vector<std::string>& macs, uint32_t count) {
    std::string req = host_query(macs, count);
    std::vector<char> reply(4096, '\0');
    uint32_t code = ZEL_WIFI_JNI_MSG_RpcCall(0x4760317A, req.data(), static_cast<uint32_t>(req.size()), reply.data(),
                                             static_cast<uint32_t>(reply.size()));
    EXPECT_EQ(code, 0u);
    return reply.data();
}

TEST_F(SimWlan, TheProfileHasTwoRadiosThreeSsidsFourLedsAndFourPorts) {
    JsonPtr wifi = sim_.state("wifi");
    json_object* radio24 = element(wifi.get(), "radios", "index", 0);
    json_object* radio5 = element(wifi.get(), "radios", "index", 1);
    EXPECT_EQ(text(radio24, "band"), "2.4GHz");
    EXPECT_EQ(num(radio24, "channel"), 6);
    EXPECT_EQ(text(radio5, "band"), "5GHz");
    EXPECT_EQ(num(radio5, "channelWidth"), 80);
    EXPECT_EQ(num(wifi.get(), "wpsMs"), 120000);
    EXPECT_EQ(json_object_array_length(member(wifi.get(), "hosts")), 3u);
    JsonPtr appm = sim_.state("app_m");
    EXPECT_EQ(json_object_array_length(member(appm.get(), "ssids")), 3u);
    EXPECT_EQ(json_object_array_length(member(appm.get(), "leds")), 4u);
    EXPECT_EQ(json_object_array_length(member(appm.get(), "lanPorts")), 4u);
}

TEST_F(SimWlan, HostQueryWithoutMacsAnswersEveryHost) {
    EXPECT_EQ(ask_hosts({}, 0),
              "{\"Result\":0,\"List\":["
              "{\"MAC\":\"A4:5E:60:1B:2C:3D\",\"SSIDIndex\":1,\"RSSI\":-48,\"TxRate\":144,\"RxRate\":130},"
              "{\"MAC\":\"3C:22:FB:90:A1:07\",\"SSIDIndex\":1,\"RSSI\":-67,\"TxRate\":72,\"RxRate\":65},"
              "{\"MAC\":\"F0:18:98:44:5D:E2\",\"SSIDIndex\":5,\"RSSI\":-55,\"TxRate\":866,\"RxRate\":780}]}");
    auto got = expect_received("wifi", {{0x4760317A, host_query({}, 0)}});
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].replyCap, 4096u);
}

TEST_F(SimWlan, HostQueryAnswersTheMacsAskedForInAnyCase) {
    EXPECT_EQ(ask_hosts({"f0:18:98:44:5d:e2", "00:00:00:00:00:01", "A4:5E:60:1B:2C:3D"}, 3),
              "{\"Result\":0,\"List\":["
              "{\"MAC\":\"A4:5E:60:1B:2C:3D\",\"SSIDIndex\":1,\"RSSI\":-48,\"TxRate\":144,\"RxRate\":130},"
              "{\"MAC\":\"F0:18:98:44:5D:E2\",\"SSIDIndex\":5,\"RSSI\":-55,\"TxRate\":866,\"RxRate\":780}]}");
    // Only the first count entries count; an empty entry matches nothing.
    EXPECT_EQ(ask_hosts({"00:00:00:00:00:01", "A4:5E:60:1B:2C:3D"}, 1), "{\"Result\":0,\"List\":[]}");
    EXPECT_EQ(ask_hosts({"", ""}, 2), "{\"Result\":0,\"List\":[]}");
    EXPECT_EQ(take_received("wifi").size(), 3u);
}

TEST_F(SimWlan, HostsFollowTheState) {
    ASSERT_TRUE(sim_.set_state(
        "wifi", "hosts",
        StateValue::array({StateValue::object(
            {{"mac", "02:00:00:AA:BB:CC"}, {"ssidIndex", 2}, {"rssi", -80}, {"txRate", 6}, {"rxRate", 1}})})));
    EXPECT_EQ(ask_hosts({}, 0),
              "{\"Result\":0,\"List\":[{\"MAC\":\"02:00:00:AA:BB:CC\",\"SSIDIndex\":2,\"RSSI\":-80,\"TxRate\":6,"
              "\"RxRate\":1}]}");
}

zxtest::ToolRun simctl(const std::vector<std::string>& args) {
    return zxtest::run_tool(std::string(ZX_BINARY_DIR) + "/bin/simctl", args);
}

TEST_F(SimWlan, SimctlShowsTheRadiosAndChangesAnSsid) {
    ASSERT_EQ(ZX_JNI_wlanSetChannelWidth(0, 40), 0u);
    zxtest::ToolRun state = simctl({"state", "wifi"});
    ASSERT_EQ(state.status, 0);
    JsonPtr answer(json_tokener_parse(state.out.c_str()));
    ASSERT_TRUE(answer) << state.out;
    EXPECT_EQ(num(element(member(answer.get(), "state"), "radios", "index", 0), "channelWidth"), 40);

    zxtest::ToolRun set = simctl(
        {"set", "app_m",
         R"({"ssids":[{"index":1,"name":"FromShell","band":"5GHz","enabled":1,"hidden":1,"security":"None","key":""}]})"});
    ASSERT_EQ(set.status, 0) << set.out;
    char buf[512] = {};
    ASSERT_EQ(ZX_JNI_wlanGetSsidInfo(buf, 1, sizeof buf), 0u);
    EXPECT_STREQ(buf,
                 "{\"Result\":0,\"SSIDs\":[{\"SSIDIndex\":1,\"SSID\":\"FromShell\",\"Band\":\"5GHz\",\"Enable\":1,"
                 "\"Hide\":1,\"SecurityMode\":\"None\"}]}");
    EXPECT_EQ(ZX_JNI_wlanGetHide(1), 1);
}

}  // namespace
}  // namespace zeltest
