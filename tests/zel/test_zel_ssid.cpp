// The SSID calls of the WLAN API against the simulated configuration service ("app_m"): state,
// hiding, security and information, with the exact records it received, every failure path and
// the records the unit leaves.
#include <cstring>

#include "zel_fixture.h"

namespace zeltest {
namespace {

using SsidState = ZelTest;
using SsidHide = ZelTest;
using SsidSecurity = ZelTest;
using SsidInfo = ZelTest;

constexpr uint32_t kDown = 0xF7000042;

TEST_F(SsidState, SetStateSendsIndexAndStateAndHandsTheServiceJsonOn) {
    char buf[128] = {};
    ASSERT_EQ(ZX_JNI_wlanSetState(2, 1, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0}");
    auto got = expect_received("app_m", {{0x4710304E, words({2, 1})}});
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].head.dstName, "app_m");
    EXPECT_EQ(got[0].head.tag, 249u);
    EXPECT_EQ(got[0].timeoutMs, 30000u);
    EXPECT_EQ(got[0].replyCap, 128u);
    EXPECT_TRUE(flag(element(sim_.state("app_m").get(), "ssids", "index", 2), "enabled"));
    EXPECT_EQ(ZX_JNI_wlanGetState(2), 1);

    ASSERT_EQ(ZX_JNI_wlanSetState(2, 0, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0}");
    EXPECT_EQ(ZX_JNI_wlanGetState(2), 0);
    EXPECT_FALSE(flag(element(sim_.state("app_m").get(), "ssids", "index", 2), "enabled"));
    expect_no_last_word(traces());
}

TEST_F(SsidState, TheServiceRefusalComesBackAsItsJson) {
    char buf[128] = {};
    ASSERT_EQ(ZX_JNI_wlanSetState(9, 1, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":-1,\"FailReason\":\"no SSID 9\"}");
    ASSERT_EQ(ZX_JNI_wlanSetState(1, 7, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":-1,\"FailReason\":\"state must be 0 or 1\"}");
    expect_no_last_word(traces());
}

TEST_F(SsidState, SetStateFailureWritesTheFailureTextOverTheWholeBuffer) {
    inject_status("app_m", 0x4710304E, kDown);
    char buf[128];
    std::memset(buf, 'x', sizeof buf);
    EXPECT_EQ(ZX_JNI_wlanSetState(1, 0, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kFailure);
    // A buffer too small for the text holds as much as fits, terminated, nothing past it.
    char small[24];
    std::memset(small, 'x', sizeof small);
    EXPECT_EQ(ZX_JNI_wlanSetState(1, 0, small, 20), 0u);
    EXPECT_EQ(std::string(small, 20), std::string(kFailure, 19) + '\0');
    EXPECT_EQ(std::string(small + 20, 4), "xxxx");
    auto records = traces();
    uint32_t line = line_after(definition("ZX_JNI_wlanSetState"), "last_word");
    auto found = zxtest::at_line(records, zxhost::TraceRecord::LastWord, line, kFile);
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[0].code, kDown);
    EXPECT_EQ(found[0].data[0], 128u);
    EXPECT_EQ(found[1].data[0], 20u);
    // The SSID stayed on.
    EXPECT_TRUE(flag(element(sim_.state("app_m").get(), "ssids", "index", 1), "enabled"));
}

TEST_F(SsidState, GetStateAndGetHideAnswerTheWordAndZeroOnFailure) {
    EXPECT_EQ(ZX_JNI_wlanGetState(1), 1);
    EXPECT_EQ(ZX_JNI_wlanGetState(2), 0);
    EXPECT_EQ(ZX_JNI_wlanGetHide(1), 0);
    ASSERT_TRUE(sim_.set_state(
        "app_m", "ssids",
        StateValue::array({StateValue::object({{"index", 3}, {"name", "lab"}, {"enabled", 1}, {"hidden", 1}})})));
    EXPECT_EQ(ZX_JNI_wlanGetHide(3), 1);
    expect_received("app_m",
                    {{0x47103081, word(1)}, {0x47103081, word(2)}, {0x47103082, word(1)}, {0x47103082, word(3)}});
    expect_no_last_word(traces());

    // A failed call reads as 0: an injected fault, and the service's own refusal of an unknown SSID.
    inject_status("app_m", 0x47103081, kDown);
    EXPECT_EQ(ZX_JNI_wlanGetState(3), 0);
    EXPECT_EQ(ZX_JNI_wlanGetHide(1), 0);  // no SSID 1 any more
    auto records = traces();
    expect_last_word(records, line_after(definition("ZX_JNI_wlanGetState"), "ssid_word("), kDown, {3, 0, 0, 0});
    expect_last_word(records, line_after(definition("ZX_JNI_wlanGetHide"), "ssid_word("), 0xF760300A, {1, 0, 0, 0});
    auto got = expect_received("app_m", {{0x47103081, word(3)}, {0x47103082, word(1)}});
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0].replyCap, 4u);
}

TEST_F(SsidHide, SetHideSendsTheRecordItAlsoReadsTheAnswerInto) {
    EXPECT_EQ(ZX_JNI_wlanSetHide(5, 1), 0);
    auto got = expect_received("app_m", {{0x47103083, words({5, 1})}});
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].replyCap, 8u);
    EXPECT_TRUE(flag(element(sim_.state("app_m").get(), "ssids", "index", 5), "hidden"));
    EXPECT_EQ(ZX_JNI_wlanGetHide(5), 1);
    EXPECT_EQ(ZX_JNI_wlanSetHide(5, 0), 0);
    EXPECT_EQ(ZX_JNI_wlanGetHide(5), 0);
    expect_no_last_word(traces());
}

TEST_F(SsidHide, FailureWithF760300AIsMinusOneAndEveryOtherIsMinusHundred) {
    uint32_t line = line_after(definition("ZX_JNI_wlanSetHide"), "last_word");
    inject_status("app_m", 0x47103083, 0xF760300A, 1);
    EXPECT_EQ(ZX_JNI_wlanSetHide(1, 1), -1);
    expect_last_word(traces(), line, 0xF760300A, {1, 1, 0, 0});
    inject_status("app_m", 0x47103083, 0xF760300B, 1);
    EXPECT_EQ(ZX_JNI_wlanSetHide(2, 0), -100);
    expect_last_word(traces(), line, 0xF760300B, {2, 0, 0, 0});
    inject_status("app_m", 0x47103083, 0xFFFFFFFF, 1);
    EXPECT_EQ(ZX_JNI_wlanSetHide(1, 1), -100);
    expect_last_word(traces(), line, 0xFFFFFFFF, {1, 1, 0, 0});
    // The service's own refusals: an unknown SSID (0xF760300A) and a hide value it does not take.
    EXPECT_EQ(ZX_JNI_wlanSetHide(7, 1), -1);
    expect_last_word(traces(), line, 0xF760300A, {7, 1, 0, 0});
    EXPECT_EQ(ZX_JNI_wlanSetHide(1, 2), -100);
    expect_last_word(traces(), line, 0xF7603002, {1, 2, 0, 0});
    EXPECT_FALSE(flag(element(sim_.state("app_m").get(), "ssids", "index", 1), "hidden"));
    EXPECT_EQ(take_received("app_m").size(), 5u);
}

// The 133-byte security record: index, a 64-byte first field, a 64-byte key field, a zero byte.
std::string security_record(int32_t index, const std::string& first, const std::string& key) {
    return word(static_cast<uint32_t>(index)) + padded(first, 64) + padded(key, 64) + std::string(1, '\0');
}

TEST_F(SsidSecurity, GetSecuritySendsTheIndexInAZeroRecordAndPassesTheJsonOn) {
    char buf[256] = {};
    ASSERT_EQ(ZX_JNI_wlanGetSecurity(1, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0,\"SSIDIndex\":1,\"SecurityMode\":\"WPA2-PSK\",\"Key\":\"harbour-lights-42\"}");
    auto got = expect_received("app_m", {{0x47103077, security_record(1, "", "")}});
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].data.size(), 133u);
    EXPECT_EQ(got[0].replyCap, 256u);
    ASSERT_EQ(ZX_JNI_wlanGetSecurity(4, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":-1,\"FailReason\":\"no SSID 4\"}");
    expect_no_last_word(traces());
}

TEST_F(SsidSecurity, GetSecurityFailureWritesResultOne) {
    inject_status("app_m", 0x47103077, kDown);
    char buf[256];
    std::memset(buf, 'x', sizeof buf);
    EXPECT_EQ(ZX_JNI_wlanGetSecurity(1, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":1}");
    char small[8];
    std::memset(small, 'x', sizeof small);
    EXPECT_EQ(ZX_JNI_wlanGetSecurity(1, small, 6), 0u);
    EXPECT_EQ(std::string(small, 8), std::string("{\"Res\0xx", 8));
    auto found = zxtest::at_line(traces(), zxhost::TraceRecord::LastWord,
                                 line_after(definition("ZX_JNI_wlanGetSecurity"), "last_word"), kFile);
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[0].code, kDown);
    EXPECT_EQ(found[0].data[0], 256u);
    EXPECT_EQ(found[1].data[0], 6u);
}

TEST_F(SsidSecurity, SetSecuritySendsA63CharacterFirstTextAnd64CharacterKey) {
    std::string first(63, 'M');
    std::string key(64, 'k');
    char buf[256] = {};
    ASSERT_EQ(ZX_JNI_wlanSetSecurity(1, first.c_str(), key.c_str(), buf, sizeof buf), 0u);
    // The service does not know that mode and says so.
    EXPECT_STREQ(buf, "{\"Result\":-1,\"FailReason\":\"unknown security mode\"}");
    auto got = expect_received("app_m", {{0x47103078, security_record(1, first, key)}});
    ASSERT_EQ(got.size(), 1u);
    ASSERT_EQ(got[0].data.size(), 133u);
    EXPECT_EQ(got[0].data[67], 0);     // the first field keeps its terminator
    EXPECT_EQ(got[0].data[131], 'k');  // the key fills its field
    EXPECT_EQ(got[0].data[132], 0);
    EXPECT_EQ(got[0].replyCap, 256u);
    expect_no_last_word(traces());
}

TEST_F(SsidSecurity, LongerTextsAreCutTo63And64) {
    std::string first(100, 'F');
    std::string key(90, 'K');
    char buf[256] = {};
    ASSERT_EQ(ZX_JNI_wlanSetSecurity(2, first.c_str(), key.c_str(), buf, sizeof buf), 0u);
    expect_received("app_m", {{0x47103078, security_record(2, std::string(63, 'F'), std::string(64, 'K'))}});
    ASSERT_EQ(ZX_JNI_wlanSetSecurity(2, "", "", buf, sizeof buf), 0u);
    expect_received("app_m", {{0x47103078, security_record(2, "", "")}});
}

TEST_F(SsidSecurity, SetSecurityChangesTheSsidAndTheQueryTellsIt) {
    char buf[256] = {};
    std::string hexKey(64, 'a');
    ASSERT_EQ(ZX_JNI_wlanSetSecurity(5, "WPA3-SAE", hexKey.c_str(), buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0}");
    JsonPtr state = sim_.state("app_m");
    json_object* ssid = element(state.get(), "ssids", "index", 5);
    EXPECT_EQ(text(ssid, "security"), "WPA3-SAE");
    EXPECT_EQ(text(ssid, "key"), hexKey);
    ASSERT_EQ(ZX_JNI_wlanGetSecurity(5, buf, sizeof buf), 0u);
    EXPECT_EQ(std::string(buf),
              "{\"Result\":0,\"SSIDIndex\":5,\"SecurityMode\":\"WPA3-SAE\",\"Key\":\"" + hexKey + "\"}");
    // A key that is neither a pass phrase nor 64 hex digits is refused, the SSID unchanged.
    ASSERT_EQ(ZX_JNI_wlanSetSecurity(5, "WPA2-PSK", "short", buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":-1,\"FailReason\":\"the key must be 8 to 63 characters or 64 hex digits\"}");
    ASSERT_EQ(ZX_JNI_wlanSetSecurity(5, "WPA2-PSK", std::string(64, 'z').c_str(), buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":-1,\"FailReason\":\"the key must be 8 to 63 characters or 64 hex digits\"}");
    // An open SSID keeps no key.
    ASSERT_EQ(ZX_JNI_wlanSetSecurity(2, "None", "ignored-key", buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0}");
    state = sim_.state("app_m");
    ssid = element(state.get(), "ssids", "index", 2);
    EXPECT_EQ(text(ssid, "security"), "None");
    EXPECT_EQ(text(ssid, "key"), "");
    EXPECT_EQ(text(element(sim_.state("app_m").get(), "ssids", "index", 5), "security"), "WPA3-SAE");
    expect_no_last_word(traces());
}

TEST_F(SsidSecurity, SetSecurityFailureReturnsTheCodeAndLeavesTheBuffer) {
    inject_status("app_m", 0x47103078, kDown);
    char buf[256] = "untouched";
    EXPECT_EQ(ZX_JNI_wlanSetSecurity(1, "WPA2-PSK", "another-passphrase", buf, sizeof buf), kDown);
    EXPECT_STREQ(buf, "untouched");
    expect_last_word(traces(), line_after(definition("ZX_JNI_wlanSetSecurity"), "fail("), kDown, {1, 0, 0, 0});
    EXPECT_EQ(text(element(sim_.state("app_m").get(), "ssids", "index", 1), "key"), "harbour-lights-42");
}

TEST_F(SsidInfo, IndexZeroAnswersEverySsidIn4096Bytes) {
    char buf[4096] = {};
    ASSERT_EQ(ZX_JNI_wlanGetSsidInfo(buf, 0, sizeof buf), 0u);
    EXPECT_STREQ(buf,
                 "{\"Result\":0,\"SSIDs\":["
                 "{\"SSIDIndex\":1,\"SSID\":\"Zentrix-5A3C\",\"Band\":\"2.4GHz\",\"Enable\":1,\"Hide\":0,"
                 "\"SecurityMode\":\"WPA2-PSK\"},"
                 "{\"SSIDIndex\":2,\"SSID\":\"Zentrix-Guest\",\"Band\":\"2.4GHz\",\"Enable\":0,\"Hide\":0,"
                 "\"SecurityMode\":\"None\"},"
                 "{\"SSIDIndex\":5,\"SSID\":\"Zentrix-5A3C-5G\",\"Band\":\"5GHz\",\"Enable\":1,\"Hide\":0,"
                 "\"SecurityMode\":\"WPA2-WPA3\"}]}");
    auto got = expect_received("app_m", {{0x47103069, word(0)}});
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].replyCap, 4096u);
    expect_trace(traces(), line_after(definition("ZX_JNI_wlanGetSsidInfo"), "trace("),
                 "ZX_JNI_wlanGetSsidInfo called\r\n");
}

TEST_F(SsidInfo, OneSsidIsAskedWith512Bytes) {
    char buf[512] = {};
    ASSERT_EQ(ZX_JNI_wlanGetSsidInfo(buf, 5, sizeof buf), 0u);
    EXPECT_STREQ(
        buf,
        "{\"Result\":0,\"SSIDs\":[{\"SSIDIndex\":5,\"SSID\":\"Zentrix-5A3C-5G\",\"Band\":\"5GHz\",\"Enable\":1,"
        "\"Hide\":0,\"SecurityMode\":\"WPA2-WPA3\"}]}");
    auto got = expect_received("app_m", {{0x47103069, word(5)}});
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].replyCap, 512u);
    ASSERT_EQ(ZX_JNI_wlanSetHide(5, 1), 0);
    std::memset(buf, 0, sizeof buf);
    ASSERT_EQ(ZX_JNI_wlanGetSsidInfo(buf, 5, sizeof buf), 0u);
    EXPECT_NE(std::string(buf).find("\"Hide\":1"), std::string::npos) << buf;
    std::memset(buf, 0, sizeof buf);
    ASSERT_EQ(ZX_JNI_wlanGetSsidInfo(buf, 3, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":-1,\"FailReason\":\"no SSID 3\"}");
    expect_no_last_word(traces());
}

TEST_F(SsidInfo, AReplyOfOutLenMinusOneIsCopiedAndOneOfOutLenRefused) {
    char big[512] = {};
    ASSERT_EQ(ZX_JNI_wlanGetSsidInfo(big, 1, sizeof big), 0u);
    const std::string reply = big;
    const uint32_t n = static_cast<uint32_t>(reply.size());
    ASSERT_GT(n, 100u);

    // outLen = n + 1: the n characters are copied, no terminator written (the zeroed byte stays).
    std::vector<char> fits(n + 8, '#');
    fits[n] = '\0';
    ASSERT_EQ(ZX_JNI_wlanGetSsidInfo(fits.data(), 1, n + 1), 0u);
    EXPECT_EQ(std::string(fits.data()), reply);
    EXPECT_EQ(fits[n + 1], '#');

    // outLen = n: refused, nothing copied.
    std::vector<char> tight(n + 8, '#');
    EXPECT_EQ(ZX_JNI_wlanGetSsidInfo(tight.data(), 1, n), 1u);
    EXPECT_EQ(std::string(tight.begin(), tight.end()), std::string(n + 8, '#'));
    expect_last_word(traces(), line_after(definition("ZX_JNI_wlanGetSsidInfo"), "last_word(Line(__LINE__), 1"), 1,
                     {n, n, 0, 0});
    EXPECT_EQ(take_received("app_m").size(), 3u);
}

TEST_F(SsidInfo, LongestRepliesForIndexZeroFillTheir4096Bytes) {
    // Names long enough that every SSID's information needs the large buffer.
    std::vector<StateValue> ssids;
    for (int i = 1; i <= 8; ++i)
        ssids.push_back(StateValue::object({{"index", i},
                                            {"name", std::string(600, 'a' + i)},
                                            {"band", "2.4GHz"},
                                            {"enabled", 1},
                                            {"security", "None"}}));
    ASSERT_TRUE(sim_.set_state("app_m", "ssids", StateValue::array(ssids)));
    std::vector<char> buf(8192, '\0');
    ASSERT_EQ(ZX_JNI_wlanGetSsidInfo(buf.data(), 0, 8192), 0u);
    // The service cut its answer to the 4095 characters the 4096-byte reply holds.
    EXPECT_EQ(std::strlen(buf.data()), 4095u);
    EXPECT_EQ(std::string(buf.data(), 36), "{\"Result\":0,\"SSIDs\":[{\"SSIDIndex\":1,");
    std::vector<char> exact(4096, '\0');
    ASSERT_EQ(ZX_JNI_wlanGetSsidInfo(exact.data(), 0, 4096), 0u);
    EXPECT_EQ(std::string(exact.data()), std::string(buf.data()));
    expect_no_last_word(traces());
}

TEST_F(SsidInfo, NullBufferAndNoMemoryAnswerOneWithoutARequest) {
    uint32_t nullLine = line_after(definition("ZX_JNI_wlanGetSsidInfo"), "if (!pcOut)");
    uint32_t memLine = line_after(definition("ZX_JNI_wlanGetSsidInfo"), "if (!reply)");
    EXPECT_EQ(ZX_JNI_wlanGetSsidInfo(nullptr, 0, 4096), 1u);
    expect_last_word(traces(), nullLine, 1, {0, 0, 0, 0});
    char buf[4096] = "untouched";
    zxhost::alloc_fail_nth(1);
    EXPECT_EQ(ZX_JNI_wlanGetSsidInfo(buf, 0, sizeof buf), 1u);
    expect_last_word(traces(), memLine, 1, {4096, 0, 0, 0});
    zxhost::alloc_fail_nth(1);
    EXPECT_EQ(ZX_JNI_wlanGetSsidInfo(buf, 2, sizeof buf), 1u);
    expect_last_word(traces(), memLine, 1, {512, 0, 0, 0});
    EXPECT_STREQ(buf, "untouched");
    expect_received("app_m", {});
}

TEST_F(SsidInfo, ARemoteFailureAnswersZeroWithTheBufferUntouched) {
    inject_status("app_m", 0x47103069, kDown);
    char buf[512] = "untouched";
    EXPECT_EQ(ZX_JNI_wlanGetSsidInfo(buf, 1, sizeof buf), 0u);
    EXPECT_STREQ(buf, "untouched");
    expect_last_word(traces(), line_after(definition("ZX_JNI_wlanGetSsidInfo"), "last_word(Line(__LINE__), code"),
                     kDown, {1, 0, 0, 0});
    expect_received("app_m", {{0x47103069, word(1)}});
}

}  // namespace
}  // namespace zeltest
