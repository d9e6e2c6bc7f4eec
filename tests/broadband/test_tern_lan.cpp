// LAN hosts against the simulated configuration ("app_m") and broadband ("tarn") services: the
// exact requests each received, the answers, every failure path (service faults and allocation
// failures) and the records the unit leaves.
#include <cstring>

#include "tern_fixture.h"

namespace terntest {
namespace {

using TernHostNum = TernTest;
using TernNetInfo = TernTest;
using TernAccessPermission = TernTest;
using TernBlacklists = TernTest;
using TernBandwidth = TernTest;
using TernStatsStatus = TernTest;
using TernHostStats = TernTest;
using TernMacText = TernTest;

constexpr uint32_t kHostNum = 0x47302005;
constexpr uint32_t kNetInfo = 0x47103046;
constexpr uint32_t kAccess = 0x47103047;
constexpr uint32_t kInternetBlack = 0x47103048;
constexpr uint32_t kStorageBlack = 0x47103049;
constexpr uint32_t kBandwidth = 0x47103050;
constexpr uint32_t kStats = 0x4710304D;
constexpr uint32_t kHostStats = 0x47302D15;

// n hosts in the broadband service's table and in the configuration service's list.
StateValue tarn_hosts(size_t n) {
    std::vector<StateValue> hosts;
    for (size_t i = 0; i < n; ++i) {
        char mac[18];
        std::snprintf(mac, sizeof mac, "02:00:00:00:%02X:%02X", static_cast<unsigned>((i >> 8) & 0xFF),
                      static_cast<unsigned>(i & 0xFF));
        hosts.push_back(StateValue::object({{"mac", mac}, {"usBytes", 0}, {"dsBytes", 0}}));
    }
    return StateValue::array(hosts);
}

uint32_t strdup_line() {
    return zxtest::source_line_after("platform/mem.cpp", "ZX_EXPORT char* ZX_OS_StrDup(", "allocate(");
}

void release(char* text) { ZX_OS_MemFreeD(text, "test", __LINE__); }

TEST_F(TernHostNum, AsksTheBroadbandServiceWithAZeroWordAnd2052Bytes) {
    uint32_t count = 77;
    ASSERT_EQ(ZX_JNI_Cfg_GetHostNum(&count), 0u);
    EXPECT_EQ(count, 3u);  // the profile's three hosts
    Received got = only_received("tarn");
    EXPECT_EQ(got.msgId, kHostNum);
    EXPECT_EQ(std::string(got.data.begin(), got.data.end()), word(0));
    EXPECT_EQ(got.replyCap, 2052u);
    expect_no_last_word(traces());
}

TEST_F(TernHostNum, AFailedCallCountsNoHostsAndAnswersTheStatus) {
    uint32_t line = line_after(definition("ZX_JNI_Cfg_GetHostNum"), "last_word(Line");
    inject_status("tarn", kHostNum, kDown, 1);
    uint32_t count = 77;
    EXPECT_EQ(ZX_JNI_Cfg_GetHostNum(&count), kDown);
    EXPECT_EQ(count, 0u);
    expect_last_word_1(traces(), line, kDown);
}

TEST_F(TernHostNum, NoMemoryAnswersOneAndSendsNothing) {
    uint32_t alloc = line_after(definition("ZX_JNI_Cfg_GetHostNum"), "PlatformBuffer reply(");
    uint32_t line = line_after(definition("ZX_JNI_Cfg_GetHostNum"), "fail(Line");
    zxhost::alloc_fail_at(kFile, alloc);
    uint32_t count = 77;
    EXPECT_EQ(ZX_JNI_Cfg_GetHostNum(&count), 1u);
    EXPECT_EQ(count, 77u);
    expect_last_word_1(traces(), line, 1);
    expect_received("tarn", {});
}

TEST_F(TernNetInfo, ThreeHostsAskFor1536BytesAndPassTheListOn) {
    uint32_t trace = line_after(definition("ZX_JNI_lanGetNetInfo"), "kTernApi.trace(");
    char* info = nullptr;
    ASSERT_EQ(ZX_JNI_lanGetNetInfo(&info), 0u);
    ASSERT_NE(info, nullptr);
    EXPECT_STREQ(info,
                 "{\"Result\":0,\"Info\":["
                 "{\"MAC\":\"00:1A:2B:00:10:01\",\"IP\":\"192.168.1.2\",\"HostName\":\"laptop\",\"Interface\":\"LAN1\","
                 "\"Online\":1,\"InternetAccess\":\"ON\",\"StorageAccess\":\"ON\"},"
                 "{\"MAC\":\"00:1A:2B:00:10:02\",\"IP\":\"192.168.1.3\",\"HostName\":\"phone\",\"Interface\":\"SSID1\","
                 "\"Online\":1,\"InternetAccess\":\"ON\",\"StorageAccess\":\"OFF\"},"
                 "{\"MAC\":\"00:1A:2B:00:10:03\",\"IP\":\"192.168.1.4\",\"HostName\":\"tv\",\"Interface\":\"LAN3\","
                 "\"Online\":0,\"InternetAccess\":\"OFF\",\"StorageAccess\":\"ON\"}]}");
    release(info);
    auto got = expect_received("tarn", {{kHostNum, word(0)}});
    auto list = expect_received("app_m", {{kNetInfo, word(0)}});
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0].replyCap, 1536u);
    auto records = traces();
    expect_trace(records, trace, "GetHostNum  get hostnum:3\r\n");
    expect_no_last_word(records);
}

TEST_F(TernNetInfo, NoHostsAnswerTheEmptyListWithoutAskingForIt) {
    ASSERT_TRUE(sim_.set_state("tarn", "lanHosts", tarn_hosts(0)));
    char* info = nullptr;
    ASSERT_EQ(ZX_JNI_lanGetNetInfo(&info), 0u);
    ASSERT_NE(info, nullptr);
    EXPECT_STREQ(info, "{\"Result\":0,\"Info\":[] }");
    release(info);
    expect_received("tarn", {{kHostNum, word(0)}});
    expect_received("app_m", {});
}

TEST_F(TernNetInfo, TheListBufferIs512BytesAHostUpTo76Hosts) {
    for (auto [hosts, size] : std::vector<std::pair<size_t, uint32_t>>{{1, 512}, {76, 38912}, {100, 38912}}) {
        ASSERT_TRUE(sim_.set_state("tarn", "lanHosts", tarn_hosts(hosts)));
        char* info = nullptr;
        ASSERT_EQ(ZX_JNI_lanGetNetInfo(&info), 0u) << hosts;
        ASSERT_NE(info, nullptr);
        EXPECT_EQ(std::string(info).rfind("{\"Result\":0,\"Info\":[", 0), 0u) << info;
        release(info);
        take_received("tarn");
        Received got = only_received("app_m");
        EXPECT_EQ(got.msgId, kNetInfo);
        EXPECT_EQ(got.replyCap, size) << hosts << " hosts";
    }
}

TEST_F(TernNetInfo, AFailedListCallAnswersTheFailureText) {
    uint32_t line = line_after(definition("ZX_JNI_lanGetNetInfo"), "last_word(Line");
    inject_status("app_m", kNetInfo, kDown, 1);
    char* info = nullptr;
    ASSERT_EQ(ZX_JNI_lanGetNetInfo(&info), 0u);
    ASSERT_NE(info, nullptr);
    EXPECT_STREQ(info, kFailure);
    release(info);
    expect_last_word(traces(), line, kDown, {3, 1536});
}

TEST_F(TernNetInfo, AFailedCountIsNoHosts) {
    inject_status("tarn", kHostNum, kDown, 1);
    char* info = nullptr;
    ASSERT_EQ(ZX_JNI_lanGetNetInfo(&info), 0u);
    EXPECT_STREQ(info, "{\"Result\":0,\"Info\":[] }");
    release(info);
    expect_received("app_m", {});
}

TEST_F(TernNetInfo, NullTargetAndEveryAllocationFailureAnswerOne) {
    const std::string def = definition("ZX_JNI_lanGetNetInfo");
    EXPECT_EQ(ZX_JNI_lanGetNetInfo(nullptr), 1u);
    expect_last_word_1(traces(), line_after(def, "fail(Line"), 1);
    expect_received("tarn", {});

    // The list buffer.
    zxhost::alloc_fail_at(kFile, line_after(def, "PlatformBuffer reply("));
    char* info = reinterpret_cast<char*>(1);
    EXPECT_EQ(ZX_JNI_lanGetNetInfo(&info), 1u);
    expect_last_word_1(traces(), line_after(def, "if (!reply) return kTernApi.fail(Line"), 1);
    expect_received("app_m", {});
    zxhost::alloc_fail_clear();

    // The copy handed out: of the list, of the empty list, of the failure text.
    zxhost::alloc_fail_at("zx_os_mem", strdup_line());
    info = nullptr;
    EXPECT_EQ(ZX_JNI_lanGetNetInfo(&info), 1u);
    EXPECT_EQ(info, nullptr);
    expect_last_word_1(traces(), line_after(def, "hand_copy(ppcInfo, reply.get()"), 1);
    inject_status("app_m", kNetInfo, kDown, 1);
    EXPECT_EQ(ZX_JNI_lanGetNetInfo(&info), 1u);
    expect_last_word_1(traces(), line_after(def, "hand_copy(ppcInfo, kFailure"), 1);
    ASSERT_TRUE(sim_.set_state("tarn", "lanHosts", tarn_hosts(0)));
    EXPECT_EQ(ZX_JNI_lanGetNetInfo(&info), 1u);
    expect_last_word_1(traces(), line_after(def, "hand_copy(ppcInfo, \"{"), 1);
    EXPECT_EQ(info, nullptr);
}

TEST_F(TernAccessPermission, SendsThe48ByteRequestWithOnAndOffAndChangesTheHost) {
    char buf[128] = {};
    ASSERT_EQ(ZX_JNI_lanSetDevAccessPermission("001A2B001001", 0, 1, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0}");
    std::string req = padded("001A2B001001", 16) + padded("OFF", 16) + padded("ON", 16);
    ASSERT_EQ(req.size(), 48u);
    auto got = expect_received("app_m", {{kAccess, req}});
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].replyCap, 128u);
    JsonPtr state = sim_.state("app_m");
    json_object* h = at(member(state.get(), "lanHosts"), 0);
    EXPECT_FALSE(flag(h, "internetAccess"));
    EXPECT_TRUE(flag(h, "storageAccess"));
    // The black list follows.
    char list[2048] = {};
    ASSERT_EQ(ZX_JNI_lanGetDevInternetAccessBlacklist(list, sizeof list), 0u);
    EXPECT_STREQ(list,
                 "{\"Result\":0,\"BlackList\":[{\"MAC\":\"00:1A:2B:00:10:01\",\"HostName\":\"laptop\"},"
                 "{\"MAC\":\"00:1A:2B:00:10:03\",\"HostName\":\"tv\"}]}");
    expect_no_last_word(traces());
}

TEST_F(TernAccessPermission, ALongDeviceIsCutTo15Characters) {
    char buf[128] = {};
    ASSERT_EQ(ZX_JNI_lanSetDevAccessPermission("0123456789ABCDEFGH", 1, 1, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kFailure);  // no such device
    expect_received("app_m", {{kAccess, padded("0123456789ABCDE", 16) + padded("ON", 16) + padded("ON", 16)}});
}

TEST_F(TernAccessPermission, AFlagThatIsNotABooleanAnswersTheFailureTextWithoutARequest) {
    uint32_t line = line_after(definition("ZX_JNI_lanSetDevAccessPermission"), "last_word(Line(__LINE__), 1");
    char buf[128] = "as it was";
    EXPECT_EQ(ZX_JNI_lanSetDevAccessPermission("phone", 2, 0, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kFailure);
    expect_last_word(traces(), line, 1, {0, 2});
    EXPECT_EQ(ZX_JNI_lanSetDevAccessPermission("phone", 1, -1, buf, sizeof buf), 0u);
    expect_last_word(traces(), line, 1, {0xFFFFFFFF, 1});
    expect_received("app_m", {});
}

TEST_F(TernAccessPermission, NullDeviceAnswersOneAndAFailedCallTheFailureText) {
    const std::string def = definition("ZX_JNI_lanSetDevAccessPermission");
    char buf[128] = "as it was";
    EXPECT_EQ(ZX_JNI_lanSetDevAccessPermission(nullptr, 1, 1, buf, sizeof buf), 1u);
    EXPECT_STREQ(buf, "as it was");
    expect_last_word_1(traces(), line_after(def, "fail(Line"), 1);
    inject_status("app_m", kAccess, kDown, 1);
    EXPECT_EQ(ZX_JNI_lanSetDevAccessPermission("phone", 1, 0, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kFailure);
    expect_last_word(traces(), line_after(def, "last_word(Line(__LINE__), code"), kDown, {1, 0});
    // The host stays as it was.
    JsonPtr state = sim_.state("app_m");
    EXPECT_FALSE(flag(at(member(state.get(), "lanHosts"), 1), "storageAccess"));
}

TEST_F(TernBlacklists, TheServiceWritesStraightIntoTheCallersBuffer) {
    char buf[2048];
    std::memset(buf, 'x', sizeof buf);
    ASSERT_EQ(ZX_JNI_lanGetDevStorageAccessBlacklist(buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0,\"BlackList\":[{\"MAC\":\"00:1A:2B:00:10:02\",\"HostName\":\"phone\"}]}");
    auto got = expect_received("app_m", {{kStorageBlack, word(0)}});
    EXPECT_EQ(got[0].replyCap, 2048u);
    ASSERT_EQ(ZX_JNI_lanGetDevInternetAccessBlacklist(buf, 100), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0,\"BlackList\":[{\"MAC\":\"00:1A:2B:00:10:03\",\"HostName\":\"tv\"}]}");
    got = expect_received("app_m", {{kInternetBlack, word(0)}});
    EXPECT_EQ(got[0].replyCap, 100u);
}

TEST_F(TernBlacklists, BadArgumentsAndFailedCalls) {
    for (auto [fn, name, id] :
         std::vector<std::tuple<uint32_t (*)(char*, uint32_t), std::string, uint32_t>>{
             {ZX_JNI_lanGetDevInternetAccessBlacklist, "ZX_JNI_lanGetDevInternetAccessBlacklist", kInternetBlack},
             {ZX_JNI_lanGetDevStorageAccessBlacklist, "ZX_JNI_lanGetDevStorageAccessBlacklist", kStorageBlack}}) {
        uint32_t argLine = line_after(definition(name), "return blacklist(");
        char buf[64] = "as it was";
        EXPECT_EQ(fn(nullptr, 64), 1u);
        expect_last_word_1(traces(), argLine, 1);
        EXPECT_EQ(fn(buf, 0), 1u);
        expect_last_word_1(traces(), argLine, 1);
        EXPECT_STREQ(buf, "as it was");
        expect_received("app_m", {});
        inject_status("app_m", id, kDown, 1);
        EXPECT_EQ(fn(buf, 20), 0u);
        EXPECT_STREQ(buf, "{\"Result\":-1, \"Fail");  // 19 characters of the failure text
        expect_last_word(traces(), argLine + 1, kDown, {20});
        take_received("app_m");
    }
}

TEST_F(TernBandwidth, A64ByteReplyCopiedToTheCaller) {
    char buf[128] = {};
    ASSERT_EQ(ZX_JNI_lanGetDevBandwidth(buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0,\"UsBandwidth\":640,\"DsBandwidth\":5120}");
    auto got = expect_received("app_m", {{kBandwidth, word(0)}});
    EXPECT_EQ(got[0].replyCap, 64u);
    // A short buffer keeps outLen - 1 characters.
    ASSERT_EQ(ZX_JNI_lanGetDevBandwidth(buf, 12), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0");
}

TEST_F(TernBandwidth, BadArgumentsAndAFailedCall) {
    const std::string def = definition("ZX_JNI_lanGetDevBandwidth");
    char buf[128] = "as it was";
    EXPECT_EQ(ZX_JNI_lanGetDevBandwidth(nullptr, 128), 1u);
    EXPECT_EQ(ZX_JNI_lanGetDevBandwidth(buf, 0), 1u);
    auto records = traces();
    EXPECT_EQ(zxtest::at_line(records, zxhost::TraceRecord::LastWord1, line_after(def, "fail(Line"), kFile).size(),
              2u);
    EXPECT_STREQ(buf, "as it was");
    inject_status("app_m", kBandwidth, kDown, 1);
    EXPECT_EQ(ZX_JNI_lanGetDevBandwidth(buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kFailure);
    expect_last_word(traces(), line_after(def, "appm_text_query("), kDown, {128});
    take_received("app_m");
}

TEST_F(TernStatsStatus, SendsTheValueAsGivenAndTheServiceKeepsIt) {
    char buf[128] = {};
    ASSERT_EQ(ZX_JNI_lanSetDevStatsStatus(1, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0,\"Status\":1}");
    JsonPtr state = sim_.state("app_m");
    EXPECT_EQ(num(state.get(), "devStatsEnabled"), 1);
    // Not checked here: the service refuses 7.
    ASSERT_EQ(ZX_JNI_lanSetDevStatsStatus(7, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kFailure);
    expect_last_word_1(traces(), line_after(definition("ZX_JNI_lanSetDevStatsStatus"), "last_word(Line"), 0xF7302D02);
    auto got = expect_received("app_m", {{kStats, word(1)}, {kStats, word(7)}});
    EXPECT_EQ(got[0].replyCap, 128u);
}

TEST_F(TernStatsStatus, BadArgumentsAndAFailingService) {
    const std::string def = definition("ZX_JNI_lanSetDevStatsStatus");
    char buf[128] = "as it was";
    EXPECT_EQ(ZX_JNI_lanSetDevStatsStatus(1, nullptr, 128), 1u);
    expect_last_word_1(traces(), line_after(def, "fail(Line"), 1);
    EXPECT_EQ(ZX_JNI_lanSetDevStatsStatus(1, buf, 0), 1u);
    expect_last_word_1(traces(), line_after(def, "fail(Line"), 1);
    EXPECT_STREQ(buf, "as it was");
    expect_received("app_m", {});
    inject_status("app_m", kStats, kDown, 1);
    EXPECT_EQ(ZX_JNI_lanSetDevStatsStatus(0, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kFailure);
    expect_last_word_1(traces(), line_after(def, "last_word(Line"), kDown);
    JsonPtr state = sim_.state("app_m");
    EXPECT_EQ(num(state.get(), "devStatsEnabled"), 0);
}

TEST_F(TernHostStats, SendsTheSixMacBytesAndReadsUpstreamFromBytes8To15) {
    ASSERT_TRUE(sim_.set_state(
        "tarn", "lanHosts",
        StateValue::array({StateValue::object(
            {{"mac", "00:1a:2b:00:10:01"}, {"usBytes", 9}, {"dsBytes", 5}, {"usRate", 0}, {"dsRate", 0}})})));
    uint32_t trace = line_after(definition("ZX_JNI_GetLANHostStats"), "kTernApi.trace(");
    char buf[180] = {};
    ASSERT_EQ(ZX_JNI_GetLANHostStats("00:1a:2b:00:10:01", buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0,\"UsStats\":9,\"DsStats\":5}");
    auto got = expect_received("tarn", {{kHostStats, std::string("\x00\x1a\x2b\x00\x10\x01", 6)}});
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].replyCap, 16u);
    auto records = traces();
    // The address bytes stand where the text goes: the leading zero byte ends it at once.
    expect_trace(records, trace, "ZX_JNI_GetLANHostStats called,\r\n");
    expect_no_last_word(records);
}

TEST_F(TernHostStats, TheCountersGrowWithEveryQuery) {
    char buf[180] = {};
    ASSERT_EQ(ZX_JNI_GetLANHostStats("00:1A:2B:00:10:02", buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0,\"UsStats\":1049600,\"DsStats\":20987904}");
    ASSERT_EQ(ZX_JNI_GetLANHostStats("00:1A:2B:00:10:02", buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0,\"UsStats\":1050624,\"DsStats\":21004288}");
}

TEST_F(TernHostStats, AFailedCallAnswersTheStatusAndLeavesTheBuffer) {
    const std::string def = definition("ZX_JNI_GetLANHostStats");
    char buf[180] = "as it was";
    EXPECT_EQ(ZX_JNI_GetLANHostStats("02:00:00:00:00:09", buf, sizeof buf), 0xF7302D01u);  // no such host
    EXPECT_STREQ(buf, "as it was");
    expect_last_word_1(traces(), line_after(def, "fail(Line(__LINE__), code"), 0xF7302D01);
    EXPECT_EQ(ZX_JNI_GetLANHostStats(nullptr, buf, sizeof buf), 1u);
    expect_last_word_1(traces(), line_after(def, "fail(Line(__LINE__), 1"), 1);
    EXPECT_STREQ(buf, "as it was");
    expect_received("tarn", {{kHostStats, std::string("\x02\x00\x00\x00\x00\x09", 6)}});
}

TEST_F(TernMacText, ToBytes) {
    uint8_t mac[6] = {9, 9, 9, 9, 9, 9};
    EXPECT_EQ(ZX_JNI_MacStrToArr("00:11:22", mac), 0u);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(mac), 6), std::string("\x00\x11\x22\x00\x00\x00", 6));
    EXPECT_EQ(ZX_JNI_MacStrToArr("aa:BB:1cc:d:e:ff", mac), 0u);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(mac), 6), std::string("\xaa\xbb\xcc\x0d\x0e\xff", 6));
    EXPECT_EQ(ZX_JNI_MacStrToArr("zz", mac), 0u);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(mac), 6), std::string(6, '\0'));
    EXPECT_EQ(ZX_JNI_MacStrToArr(nullptr, mac), 1u);
    EXPECT_EQ(ZX_JNI_MacStrToArr("00:11:22:33:44:55", nullptr), 1u);
    expect_no_last_word(traces());
}

TEST_F(TernMacText, TwelveDigitsToColonForm) {
    char dst[18];
    std::memset(dst, 0, sizeof dst);
    TransferMacFormat("001122334455", dst);
    EXPECT_STREQ(dst, "00:11:22:33:44:55");
    std::memset(dst, '#', sizeof dst);
    TransferMacFormat("0011", dst);
    EXPECT_EQ(std::string(dst, 18), std::string("00:11:###########\0", 18));
    std::memset(dst, '#', sizeof dst);
    TransferMacFormat("", dst);
    EXPECT_EQ(std::string(dst, 18), std::string("#################\0", 18));
    // Five digits: the odd last digit gets no colon.
    std::memset(dst, '#', sizeof dst);
    TransferMacFormat("00112", dst);
    EXPECT_EQ(std::string(dst, 18), std::string("00:11:2##########\0", 18));
    // Lower case and any characters are kept as they are.
    std::memset(dst, 0, sizeof dst);
    TransferMacFormat("a0b1c2d3e4f5", dst);
    EXPECT_STREQ(dst, "a0:b1:c2:d3:e4:f5");
    // Past twelve digits nothing more is read.
    std::memset(dst, 0, sizeof dst);
    TransferMacFormat("00112233445566", dst);
    EXPECT_STREQ(dst, "00:11:22:33:44:55");
}

}  // namespace
}  // namespace terntest
