// Device information queries: addresses, names, channel, management address, domain resolution,
// physical information and the upgrade state.
#include <filesystem>
#include <fstream>
#include <sstream>

#include "l2tp_fixture.h"

namespace {

using namespace l2tptest;
using zxhost::TraceRecord;
using zxtest::json_int;
using zxtest::json_text;

constexpr uint32_t kWanIp = 0x48304184;
constexpr uint32_t kOntMac = 0x48304185;
constexpr uint32_t kPppoeUser = 0x48304186;
constexpr uint32_t kResolve = 0x4730B000;
constexpr uint32_t kAppmPppoeWan = 0x47103054;
constexpr uint32_t kAppmChannel = 0x47103053;
constexpr uint32_t kAppmMgt = 0x47102041;
constexpr uint32_t kAppmPhy = 0x4710307D;
constexpr uint32_t kCwmpMgt = 0x47220007;

// Values of the default profile.
const std::string kProfileMac = "00:1A:2B:3C:4D:5E";
const std::string kProfileWan = "100.64.12.34";
const std::string kProfilePppoe = "user001@isp";

void expect_call(const Received& rec, const char* dst, uint32_t tag, uint32_t msgId, uint32_t replyCap,
                 const std::string& data) {
    EXPECT_EQ(rec.msgId, msgId);
    EXPECT_EQ(rec.replyCap, replyCap);
    EXPECT_EQ(rec.timeoutMs, 5000u);
    EXPECT_EQ(rec.head.dstName, dst);
    EXPECT_EQ(rec.head.tag, tag);
    EXPECT_EQ(hex(rec.data), hex(data));
}

using DeviceInfoTest = L2tpTest;

TEST_F(DeviceInfoTest, OntMacNeedsMoreThanTwelveBytes) {
    char out[64];
    std::memset(out, 'x', sizeof out);
    EXPECT_EQ(ZX_TARN_GetOntMac(out, 12), 257u);
    expect_last_word(traces(), 1130, 257, {12, 12, 0, 0});
    expect_received("tarn", {});
    EXPECT_EQ(ZX_TARN_GetOntMac(out, 13), 0u);
    Received rec = only_received("tarn");
    expect_call(rec, "tarn", 216, kOntMac, 13, word(13));
    EXPECT_EQ(std::string(out), kProfileMac.substr(0, 12));  // the service answered within 13 bytes
    traces();
    EXPECT_EQ(ZX_TARN_GetOntMac(out, sizeof out), 0u);
    EXPECT_EQ(std::string(out), kProfileMac);
    auto t = traces();
    expect_trace(t, 216, 1139, kProfileMac + "[17] \r\n");
    expect_no_last_word(t);
    EXPECT_EQ(ZX_TARN_GetOntMac(nullptr, 64), 1u);
    expect_last_word_1(traces(), 1126, 1);
    inject_status("tarn", kOntMac, 0xF7001111);
    EXPECT_EQ(ZX_TARN_GetOntMac(out, sizeof out), 0xF7001111u);
    expect_last_word_1(traces(), 1137, 0xF7001111);
}

TEST_F(DeviceInfoTest, WanAddressNeedsMoreThanFifteenBytes) {
    char out[16];
    EXPECT_EQ(ZX_TARN_GetInternetWanIp(out, 15), 257u);
    expect_last_word(traces(), 1027, 257, {15, 15, 0, 0});
    EXPECT_EQ(ZX_TARN_GetInternetWanIp(nullptr, 16), 1u);
    expect_last_word_1(traces(), 1023, 1);
    expect_received("tarn", {});
    EXPECT_EQ(ZX_TARN_GetInternetWanIp(out, sizeof out), 0u);
    EXPECT_EQ(std::string(out), kProfileWan);
    expect_call(only_received("tarn"), "tarn", 216, kWanIp, 512, word(16));
    expect_trace(traces(), 216, 1040, kProfileWan + "[12] \r\n");
    inject_status("tarn", kWanIp, 0xF7002222);
    EXPECT_EQ(ZX_TARN_GetInternetWanIp(out, sizeof out), 0xF7002222u);
    expect_last_word_1(traces(), 1036, 0xF7002222);
}

TEST_F(DeviceInfoTest, PppoeUserNameComesFromOffset128OfTheReply) {
    char out[64];
    EXPECT_EQ(ZX_TARN_GetPppoeUserName(out, 63), 257u);
    expect_last_word(traces(), 1054, 257, {63, 63, 0, 0});
    EXPECT_EQ(ZX_TARN_GetPppoeUserName(nullptr, 64), 1u);
    expect_last_word_1(traces(), 1050, 1);
    expect_received("tarn", {});
    EXPECT_EQ(ZX_TARN_GetPppoeUserName(out, sizeof out), 0u);
    EXPECT_EQ(std::string(out), kProfilePppoe);
    expect_call(only_received("tarn"), "tarn", 216, kPppoeUser, 192, word(64));
    inject_status("tarn", kPppoeUser, 0xF7003333);
    EXPECT_EQ(ZX_TARN_GetPppoeUserName(out, sizeof out), 0xF7003333u);
    expect_last_word_1(traces(), 1062, 0xF7003333);
}

TEST_F(DeviceInfoTest, PppoeNameAndWanAddressOfAConnection) {
    char out[500];
    EXPECT_EQ(ZX_TARN_getDevicePPPoENameAndWANIP("INTERNET_PPPOE", out, sizeof out), 0u);
    const std::string answer =
        R"({"Result":0, "PPPoEName":")" + kProfilePppoe + R"(" ,"WANIP":")" + kProfileWan + R"(" })";
    EXPECT_EQ(std::string(out), answer);
    expect_call(only_received("app_m"), "app_m", 222, kAppmPppoeWan, 256, padded("INTERNET_PPPOE", 256));
    auto t = traces();
    expect_trace(t, 216, 1101, answer + " \r\n");
    expect_no_last_word(t);

    // One byte short of the answer and its NUL.
    EXPECT_EQ(ZX_TARN_getDevicePPPoENameAndWANIP("INTERNET_PPPOE", out, answer.size()), 257u);
    expect_last_word(traces(), 1095, 257,
                     {static_cast<uint32_t>(answer.size()), static_cast<uint32_t>(answer.size()), 0, 0});
    EXPECT_EQ(std::string(out), "");  // cleared first
    EXPECT_EQ(ZX_TARN_getDevicePPPoENameAndWANIP(nullptr, out, sizeof out), 1u);
    expect_last_word_1(traces(), 1074, 1);
}

TEST_F(DeviceInfoTest, AFailedConnectionQueryStillAnswersFromTheRecord) {
    inject_status("app_m", kAppmPppoeWan, 0xF7004444);
    char out[500];
    EXPECT_EQ(ZX_TARN_getDevicePPPoENameAndWANIP("INTERNET_PPPOE", out, sizeof out), 0u);
    EXPECT_EQ(std::string(out), R"({"Result":0, "PPPoEName":"" ,"WANIP":"" })");
    auto t = traces();
    expect_last_word_1(t, 1087, 0xF7004444);
    EXPECT_EQ(at_line(t, TraceRecord::LastWord1, 201).size(), 1u);  // the app_m wrapper's record
}

TEST_F(DeviceInfoTest, WlanChannel) {
    ASSERT_TRUE(sim_.set_state("app_m", "wlanChannel", 11));
    char out[500] = {};
    EXPECT_EQ(ZX_TARN_getDeviceWLANChannel(out, sizeof out), 0u);
    EXPECT_EQ(std::string(out), "11");
    expect_call(only_received("app_m"), "app_m", 222, kAppmChannel, 4, word(0));
    expect_trace(traces(), 216, 1173, "Channel:[11] \r\n");
    inject_status("app_m", kAppmChannel, 0xF7005555);
    std::strcpy(out, "kept");
    EXPECT_EQ(ZX_TARN_getDeviceWLANChannel(out, sizeof out), 0xF7005555u);
    EXPECT_EQ(std::string(out), "kept");
    expect_last_word_1(traces(), 1169, 0xF7005555);
    EXPECT_EQ(ZX_TARN_getDeviceWLANChannel(nullptr, 4), 1u);
    expect_last_word_1(traces(), 1165, 1);
}

TEST_F(DeviceInfoTest, CloudAddressIsReadAtOffset305AndItsSizeCheckLooksAtOffset0) {
    char out[500];
    EXPECT_EQ(ZX_TARN_getDeviceCloudAddress(out, sizeof out), 0u);
    EXPECT_EQ(std::string(out), "192.168.100.10");
    expect_call(only_received("app_m"), "app_m", 222, kAppmMgt, 2343, word(0));
    // The text at offset 0 of the reply is empty, so a small buffer passes and gets a cut address.
    EXPECT_EQ(ZX_TARN_getDeviceCloudAddress(out, 5), 0u);
    EXPECT_EQ(std::string(out), "192.");
    expect_no_last_word(traces());
    inject_status("app_m", kAppmMgt, 0xF7006666);
    EXPECT_EQ(ZX_TARN_getDeviceCloudAddress(out, sizeof out), 0xF7006666u);
    expect_last_word_1(traces(), 1269, 0xF7006666);
    zxhost::alloc_fail_at(kFile, 1261);
    EXPECT_EQ(ZX_TARN_getDeviceCloudAddress(out, sizeof out), 1u);
    expect_last_word_1(traces(), 1262, 1);
}

TEST_F(DeviceInfoTest, CloudAddressAndPortWithAnIpAddressThroughAppM) {
    char out[500];
    EXPECT_EQ(ZX_TARN_getDeviceCloudAddressAndPort(out, sizeof out), 0u);
    EXPECT_EQ(std::string(out), "192.168.100.10:8443");
    expect_call(only_received("app_m"), "app_m", 222, kAppmMgt, 2343, word(0));
    expect_received("tarn", {});
    expect_received("cwmp", {});
    auto t = traces();
    expect_trace(t, 217, 1438, "aucCurMgtUrl:192.168.100.10[port: 8443]\r\n");
    expect_no_last_word(t);
    EXPECT_EQ(ZX_TARN_getDeviceCloudAddressAndPort(out, 14), 257u);
    expect_last_word(traces(), 1434, 257, {14, 14, 0, 0});
}

TEST_F(DeviceInfoTest, CloudAddressAndPortWithAHostNameAnswersTheFirstResolvedAddress) {
    ASSERT_TRUE(sim_.set_state("app_m", {{"mgtAddress", "cloud.example.com"}, {"mgtPort", 8443}}));
    ASSERT_TRUE(
        sim_.set_state("tarn", "dnsNames",
                       StateValue::object({{"cloud.example.com", StateValue::array({"203.0.113.7", "203.0.113.8"})}})));
    char out[500];
    EXPECT_EQ(ZX_TARN_getDeviceCloudAddressAndPort(out, sizeof out), 0u);
    EXPECT_EQ(std::string(out), "203.0.113.7:8443");
    expect_call(only_received("tarn"), "tarn", 216, kResolve, 260, padded("cloud.example.com", 256) + word(0));
    auto t = traces();
    expect_trace(t, 217, 1465, "IP: cloud.example.com, Num:2, uiIpAddr:0xcb007107, acIpAddr:203.0.113.7\r\n");
    inject_status("tarn", kResolve, 0xF7007777);
    EXPECT_EQ(ZX_TARN_getDeviceCloudAddressAndPort(out, sizeof out), 0xF7007777u);
    expect_last_word_1(traces(), 1459, 0xF7007777);
}

TEST_F(DeviceInfoTest, CloudAddressAndPortFailures) {
    inject_status("app_m", kAppmMgt, 0xF7008888);
    char out[500];
    EXPECT_EQ(ZX_TARN_getDeviceCloudAddressAndPort(out, sizeof out), 0xF7008888u);
    auto t = traces();
    expect_last_word_1(t, 1227, 0xF7008888);
    expect_last_word_1(t, 1427, 0xF7008888);
    zxhost::alloc_fail_at(kFile, 1219);
    EXPECT_EQ(ZX_TARN_getDeviceCloudAddressAndPort(out, sizeof out), 1u);
    t = traces();
    expect_last_word_1(t, 1220, 1);
    expect_last_word_1(t, 1427, 1);
}

TEST_F(DeviceInfoTest, CloudAddressAndPortThroughCwmpWhenRemoteManagementIsOn) {
    zxtest::ScopedTempDir dir;
    std::ifstream in(ZX_SOURCE_DIR "/sim/profiles/default.json");
    std::stringstream text;
    text << in.rdbuf();
    std::string profile = text.str();
    const std::string off = "\"FT_CWMP_OPCO_RMS\": 0";
    ASSERT_NE(profile.find(off), std::string::npos);
    profile.replace(profile.find(off), off.size(), "\"FT_CWMP_OPCO_RMS\": 1");
    std::string path = dir.path() + "/profile.json";
    std::ofstream(path) << profile;
    zxtest::set_env("ZX_PROFILE", path.c_str());
    zxhost::profile_reload();
    ASSERT_EQ(ZX_Feature_IsSupportByFeatureName("FT_CWMP_OPCO_RMS"), 1u);

    ASSERT_TRUE(sim_.set_state("cwmp", {{"mgtAddress", "198.51.100.77"}, {"mgtPort", "7547"}}));
    char out[500];
    EXPECT_EQ(ZX_TARN_getDeviceCloudAddressAndPort(out, sizeof out), 0u);
    EXPECT_EQ(std::string(out), "198.51.100.77:7547");
    expect_call(only_received("cwmp"), "cwmp", 15, kCwmpMgt, 514, word(0));
    expect_received("app_m", {});
    expect_trace(traces(), 217, 1438, "aucCurMgtUrl:198.51.100.77[port: 7547]\r\n");
    inject_status("cwmp", kCwmpMgt, 0xF7009999);
    EXPECT_EQ(ZX_TARN_getDeviceCloudAddressAndPort(out, sizeof out), 0xF7009999u);
    auto t = traces();
    expect_last_word_1(t, 1211, 0xF7009999);
    expect_last_word_1(t, 1427, 0xF7009999);
    EXPECT_EQ(at_line(t, TraceRecord::LastWord1, 223).size(), 1u);  // the cwmp wrapper's record
}

TEST_F(DeviceInfoTest, ADomainThatIsAnIpAddressIsAnsweredWithoutACall) {
    char out[500];
    EXPECT_EQ(ZX_TARN_getDnsAnalysis("10.0.0.1", out, sizeof out), 0u);
    EXPECT_EQ(std::string(out), "10.0.0.1");
    expect_received("tarn", {});
    EXPECT_EQ(ZX_TARN_getDnsAnalysis("", out, sizeof out), 1u);
    expect_last_word_1(traces(), 1366, 1);
    EXPECT_EQ(ZX_TARN_getDnsAnalysis(nullptr, out, sizeof out), 1u);
    expect_last_word_1(traces(), 1366, 1);
}

TEST_F(DeviceInfoTest, AResolutionWithThreeAddressesJoinsThemWithCommas) {
    char out[500];
    EXPECT_EQ(ZX_TARN_getDnsAnalysis("three.example.com", out, sizeof out), 0u);
    EXPECT_EQ(std::string(out), "198.51.100.1,198.51.100.2,198.51.100.3");
    expect_call(only_received("tarn"), "tarn", 216, kResolve, 260, padded("three.example.com", 256) + word(0));
    auto t = traces();
    expect_trace(t, 217, 1320, "uiIpAddr:0xc6336401, acIpAddr:198.51.100.1\r\n");
    auto others = at_line(t, TraceRecord::Trace, 1332);
    ASSERT_EQ(others.size(), 2u);
    EXPECT_EQ(others[0].text, "uiIpAddr:0xc6336402, acIpAddr:198.51.100.2\r\n");
    EXPECT_EQ(others[1].text, "uiIpAddr:0xc6336403, acIpAddr:198.51.100.3\r\n");
    expect_trace(t, 217, 1338, "Num:3, PlugIpList[198.51.100.1,198.51.100.2,198.51.100.3]\r\n");
    expect_no_last_word(t);
    // The list is cut to the caller's buffer.
    EXPECT_EQ(ZX_TARN_getDnsAnalysis("three.example.com", out, 13), 0u);
    EXPECT_EQ(std::string(out), "198.51.100.1");
}

TEST_F(DeviceInfoTest, AResolutionWithNoAddressGivesOne) {
    char out[500] = {};
    EXPECT_EQ(ZX_TARN_getDnsAnalysis("unknown.example.com", out, sizeof out), 1u);
    auto t = traces();
    expect_last_word_1(t, 1315, 1);
    expect_last_word_1(t, 1392, 1);
    EXPECT_EQ(std::string(out), "");
    inject_status("tarn", kResolve, 0xF700AAAA);
    EXPECT_EQ(ZX_TARN_getDnsAnalysis("three.example.com", out, sizeof out), 0xF700AAAAu);
    expect_last_word_1(traces(), 1386, 0xF700AAAA);
}

TEST_F(DeviceInfoTest, TheServiceAnswersAtMost64Addresses) {
    std::vector<StateValue> addrs;
    for (int i = 1; i <= 70; ++i) addrs.push_back("10.0.0." + std::to_string(i));
    ASSERT_TRUE(
        sim_.set_state("tarn", "dnsNames", StateValue::object({{"many.example.com", StateValue::array(addrs)}})));
    char out[500];
    EXPECT_EQ(ZX_TARN_getDnsAnalysis("many.example.com", out, sizeof out), 0u);
    auto t = traces();
    EXPECT_EQ(at_line(t, TraceRecord::Trace, 1332).size(), 63u);
    auto summary = at_line(t, TraceRecord::Trace, 1338);
    ASSERT_EQ(summary.size(), 1u);
    EXPECT_EQ(summary[0].text.rfind("Num:64, PlugIpList[10.0.0.1,10.0.0.2,", 0), 0u);
    EXPECT_EQ(std::string(out).rfind("10.0.0.1,10.0.0.2,", 0), 0u);
}

TEST_F(DeviceInfoTest, LanAddressOfBr0) {
    char out[16];
    EXPECT_EQ(ZX_TARN_getDeviceLANIP(out, 15), 257u);
    expect_last_word(traces(), 1548, 257, {15, 15, 0, 0});
    EXPECT_EQ(ZX_TARN_getDeviceLANIP(nullptr, 16), 1u);
    expect_last_word_1(traces(), 1543, 1);
    // The default profile maps br0 to the loopback interface.
    EXPECT_EQ(ZX_TARN_getDeviceLANIP(out, sizeof out), 0u);
    EXPECT_EQ(std::string(out), "127.0.0.1");
}

TEST_F(DeviceInfoTest, PhysicalInformationIsWrittenStraightIntoTheBuffer) {
    char out[500] = {};
    EXPECT_EQ(ZX_VELM_getDevicePhyInfo(out, sizeof out), 0u);
    JsonPtr state = sim_.state("app_m");
    EXPECT_EQ(std::string(out), json_text(state.get(), "phyInfo"));
    expect_call(only_received("app_m"), "app_m", 222, kAppmPhy, 500, word(0));
    inject_status("app_m", kAppmPhy, 0xF700BBBB);
    EXPECT_EQ(ZX_VELM_getDevicePhyInfo(out, sizeof out), 0xF700BBBBu);
    expect_last_word_1(traces(), 1480, 0xF700BBBB);
}

TEST_F(DeviceInfoTest, UpgradeStateFromTheStatusFileOrFourWithoutIt) {
    zxtest::ScopedTempDir root;
    zxtest::set_env("ZX_ROOT", root.path().c_str());
    char out[500] = {};
    EXPECT_EQ(ZX_VELM_getDeviceUpdateState(out, sizeof out), 0u);
    EXPECT_EQ(std::string(out), "4");
    expect_trace(traces(), 216, 1495, "ZX_VELM_getDeviceUpdateState fopen is null.");

    std::string dir = root.path() + "/mnt/jffs2";
    std::filesystem::create_directories(dir);
    std::ofstream(dir + "/save_upgrade_status") << "State:2 NeedNotify:1 RebootCnt:3 \r\n";
    std::memset(out, 0, sizeof out);
    EXPECT_EQ(ZX_VELM_getDeviceUpdateState(out, sizeof out), 0u);
    EXPECT_EQ(std::string(out), "2");
    auto t = traces();
    expect_trace(t, 216, 1502, "ZX_VELM_getDeviceUpdateState[State:2]\r\n");
    expect_no_last_word(t);
    zxtest::set_env("ZX_ROOT", nullptr);
}

}  // namespace
