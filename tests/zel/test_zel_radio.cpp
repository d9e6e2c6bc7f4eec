// The radio and WPS calls of the WLAN API against the simulated WLAN radio service ("wifi"):
// automatic channel selection, channel width, forbidden channels, WPS start and state, with the
// exact records it received, the refusal of radio index 2, every failure path and the records
// the unit leaves.
#include <cstring>

#include "zel_fixture.h"

namespace zeltest {
namespace {

using Radio = ZelTest;
using Wps = ZelTest;

constexpr uint32_t kDown = 0xF7000042;

TEST_F(Radio, RadioIndexTwoIsRefusedWithoutARequestOrARecord) {
    char channels[32] = "\x01\x06";
    EXPECT_EQ(ZX_JNI_wlanSetAutoChannelEnable(2, 1), 1u);
    EXPECT_EQ(ZX_JNI_wlanSetChannelWidth(2, 40), 1u);
    EXPECT_EQ(ZX_JNI_wlanSetForbidChannel(2, 2, channels, sizeof channels), 1u);
    EXPECT_TRUE(unit_records().empty());
    expect_received("wifi", {});
}

TEST_F(Radio, AutoChannelSendsIndexAndFlagAndTracesBothTexts) {
    ASSERT_EQ(ZX_JNI_wlanSetAutoChannelEnable(1, 0), 0u);
    auto got = expect_received("wifi", {{0x47603164, words({1, 0})}});
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].head.dstName, "wifi");
    EXPECT_EQ(got[0].head.tag, 141u);
    EXPECT_EQ(got[0].timeoutMs, 5000u);
    EXPECT_EQ(got[0].replyCap, 4u);
    auto records = traces();
    const std::string anchor = definition("ZX_JNI_wlanSetAutoChannelEnable");
    expect_trace(records, line_after(anchor, "ZX_JNI_SetWpsStart radioIndex"),
                 "ZX_JNI_SetWpsStart radioIndex:1 uiEnable:0\r\n");
    expect_trace(records, line_after(anchor, "ZX_JNI_wlanSetChannelWidth iRadioIndex"),
                 "ZX_JNI_wlanSetChannelWidth iRadioIndex:1 ichannelWidth:0\r\n");
    expect_no_last_word(records);
    JsonPtr state = sim_.state("wifi");
    EXPECT_FALSE(flag(element(state.get(), "radios", "index", 1), "autoChannel"));
    EXPECT_TRUE(flag(element(state.get(), "radios", "index", 0), "autoChannel"));
}

TEST_F(Radio, AutoChannelFailureReturnsTheCodeWithALastWord) {
    inject_status("wifi", 0x47603164, kDown);
    EXPECT_EQ(ZX_JNI_wlanSetAutoChannelEnable(0, 1), kDown);
    expect_last_word(traces(), line_after(definition("ZX_JNI_wlanSetAutoChannelEnable"), "radio_call("), kDown,
                     {0, 1, 0, 0});
    ASSERT_TRUE(sim_.clear_faults());
    // The service's own refusals: a radio it does not have, a flag that is neither 0 nor 1.
    EXPECT_EQ(ZX_JNI_wlanSetAutoChannelEnable(3, 1), 0xF7603001u);
    EXPECT_EQ(ZX_JNI_wlanSetAutoChannelEnable(0, 5), 0xF7603002u);
    expect_received("wifi", {{0x47603164, words({0, 1})}, {0x47603164, words({3, 1})}, {0x47603164, words({0, 5})}});
}

TEST_F(Radio, ChannelWidthSendsIndexAndWidth) {
    ASSERT_EQ(ZX_JNI_wlanSetChannelWidth(0, 40), 0u);
    ASSERT_EQ(ZX_JNI_wlanSetChannelWidth(1, 160), 0u);
    expect_received("wifi", {{0x47603165, words({0, 40})}, {0x47603165, words({1, 160})}});
    auto records = traces();
    auto found = zxtest::at_line(records, zxhost::TraceRecord::Trace,
                                 line_after(definition("ZX_JNI_wlanSetChannelWidth"), "trace("), kFile);
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[0].level, 250u);
    EXPECT_EQ(found[0].text, "ZX_JNI_wlanSetChannelWidth iRadioIndex:0 ichannelWidth:40\r\n");
    EXPECT_EQ(found[1].text, "ZX_JNI_wlanSetChannelWidth iRadioIndex:1 ichannelWidth:160\r\n");
    expect_no_last_word(records);
    JsonPtr state = sim_.state("wifi");
    EXPECT_EQ(num(element(state.get(), "radios", "index", 0), "channelWidth"), 40);
    EXPECT_EQ(num(element(state.get(), "radios", "index", 1), "channelWidth"), 160);
}

TEST_F(Radio, ChannelWidthTheBandDoesNotTakeIsRefusedByTheService) {
    uint32_t line = line_after(definition("ZX_JNI_wlanSetChannelWidth"), "radio_call(");
    EXPECT_EQ(ZX_JNI_wlanSetChannelWidth(0, 80), 0xF7603002u);  // 2.4 GHz: 20 or 40 only
    expect_last_word(traces(), line, 0xF7603002, {0, 80, 0, 0});
    inject_status("wifi", 0x47603165, kDown, 1);
    EXPECT_EQ(ZX_JNI_wlanSetChannelWidth(1, 40), kDown);
    expect_last_word(traces(), line, kDown, {1, 40, 0, 0});
    JsonPtr state = sim_.state("wifi");
    EXPECT_EQ(num(element(state.get(), "radios", "index", 0), "channelWidth"), 20);
    EXPECT_EQ(num(element(state.get(), "radios", "index", 1), "channelWidth"), 80);
    EXPECT_EQ(take_received("wifi").size(), 2u);
}

// The 40-byte forbid-channel record: index, count, 32 bytes of channel text.
std::string forbid_record(int32_t radio, int32_t count, const std::string& channels) {
    return words({static_cast<uint32_t>(radio), static_cast<uint32_t>(count)}) + padded(channels, 32);
}

TEST_F(Radio, ForbidChannelWithoutTextSendsAZeroField) {
    ASSERT_EQ(ZX_JNI_wlanSetForbidChannel(0, 0, nullptr, 32), 0u);
    auto got = expect_received("wifi", {{0x47603163, forbid_record(0, 0, "")}});
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].data.size(), 40u);
    EXPECT_EQ(got[0].replyCap, 4u);
    expect_trace(traces(), line_after(definition("ZX_JNI_wlanSetForbidChannel"), "trace("),
                 "ZX_JNI_wlanSetForbidChannel iradioIndex:0 iChannelNum:0\r\n");
    // A count of 0 lifts the profile's bans.
    JsonPtr state = sim_.state("wifi");
    EXPECT_EQ(plain(member(element(state.get(), "radios", "index", 0), "forbiddenChannels")), "[]");
}

TEST_F(Radio, AFortyCharacterChannelTextIsCutTo31) {
    // Each byte is a channel number: 36, 40, 44, 48, 52, 56, 60, 64 and 100 to 124 of the 5 GHz band.
    const std::string cycle = "$(,048<@dhlptx|";
    std::string text;
    while (text.size() < 40) text += cycle;
    text.resize(40);
    ASSERT_EQ(ZX_JNI_wlanSetForbidChannel(1, 40, text.c_str(), 41), 0u);
    expect_received("wifi", {{0x47603163, forbid_record(1, 40, text.substr(0, 31))}});
    expect_trace(traces(), line_after(definition("ZX_JNI_wlanSetForbidChannel"), "trace("),
                 "ZX_JNI_wlanSetForbidChannel iradioIndex:1 iChannelNum:40\r\n");
    // The radio was on 36 with automatic selection: it moved to the first channel still allowed.
    JsonPtr state = sim_.state("wifi");
    json_object* radio = element(state.get(), "radios", "index", 1);
    EXPECT_EQ(plain(member(radio, "forbiddenChannels")), "[36,40,44,48,52,56,60,64,100,104,108,112,116,120,124]");
    EXPECT_EQ(num(radio, "channel"), 149);
}

TEST_F(Radio, ForbidChannelReadsNoFurtherThanTheCallersBlock) {
    // 32 channel bytes without a terminator in a block of 32: 31 of them are sent.
    char block[40];
    std::memset(block, 11, sizeof block);
    ASSERT_EQ(ZX_JNI_wlanSetForbidChannel(0, 32, block, 32), 0u);
    expect_received("wifi", {{0x47603163, forbid_record(0, 32, std::string(31, '\x0b'))}});
    // A block of 3 bytes: only those, even though the text runs on.
    ASSERT_EQ(ZX_JNI_wlanSetForbidChannel(0, 3, "\x01\x06\x0b\x0d", 3), 0u);
    expect_received("wifi", {{0x47603163, forbid_record(0, 3, "\x01\x06\x0b")}});
    JsonPtr state = sim_.state("wifi");
    json_object* radio = element(state.get(), "radios", "index", 0);
    EXPECT_EQ(plain(member(radio, "forbiddenChannels")), "[1,6,11]");
    EXPECT_EQ(num(radio, "channel"), 2);  // 6 is banned now: the first allowed in selection order
    expect_no_last_word(traces());
}

TEST_F(Radio, ForbidChannelFailuresReturnTheCode) {
    uint32_t line = line_after(definition("ZX_JNI_wlanSetForbidChannel"), "radio_call(");
    inject_status("wifi", 0x47603163, kDown, 1);
    EXPECT_EQ(ZX_JNI_wlanSetForbidChannel(1, 1, "$", 2), kDown);
    expect_last_word(traces(), line, kDown, {1, 1, 0, 0});
    // Channel 36 is not a 2.4 GHz channel: the service refuses it and keeps its list.
    EXPECT_EQ(ZX_JNI_wlanSetForbidChannel(0, 1, "$", 2), 0xF7603002u);
    expect_last_word(traces(), line, 0xF7603002, {0, 1, 0, 0});
    JsonPtr state = sim_.state("wifi");
    EXPECT_EQ(plain(member(element(state.get(), "radios", "index", 0), "forbiddenChannels")), "[12,13]");
    EXPECT_EQ(take_received("wifi").size(), 2u);
}

TEST_F(Wps, StartSendsTheIndexAndOpensASession) {
    ASSERT_EQ(ZX_JNI_startWlanWps(1), 0u);
    auto got = expect_received("wifi", {{0x47603A16, word(1)}});
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].replyCap, 4u);
    EXPECT_EQ(got[0].timeoutMs, 5000u);
    expect_trace(traces(), line_after(definition("ZX_JNI_startWlanWps"), "trace("),
                 "ZX_JNI_SetWpsStart iSsidIndex:1\r\n");
    JsonPtr state = sim_.state("wifi");
    json_object* wps = member(state.get(), "wps");
    EXPECT_TRUE(flag(wps, "active"));
    EXPECT_EQ(num(wps, "ssidIndex"), 1);
}

TEST_F(Wps, StartFailureReturnsTheCode) {
    inject_status("wifi", 0x47603A16, kDown);
    EXPECT_EQ(ZX_JNI_startWlanWps(5), kDown);
    auto records = traces();
    expect_last_word(records, line_after(definition("ZX_JNI_startWlanWps"), "fail("), kDown, {5, 0, 0, 0});
    expect_trace(records, line_after(definition("ZX_JNI_startWlanWps"), "trace("),
                 "ZX_JNI_SetWpsStart iSsidIndex:5\r\n");
    EXPECT_FALSE(flag(member(sim_.state("wifi").get(), "wps"), "active"));
}

TEST_F(Wps, StateIsAskedWith18ZeroBytesWhateverTheIndex) {
    EXPECT_EQ(ZX_JNI_wlanGetWPSState(5), 0u);
    EXPECT_EQ(ZX_JNI_wlanGetWPSState(0), 0u);
    auto got = expect_received("wifi", {{0x4760311D, std::string(18, '\0')}, {0x4760311D, std::string(18, '\0')}});
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0].replyCap, 18u);
    EXPECT_EQ(got[1].replyCap, 18u);
    auto records = traces();
    const std::string anchor = definition("ZX_JNI_wlanGetWPSState");
    auto asked = zxtest::at_line(records, zxhost::TraceRecord::Trace, line_after(anchor, "iSsidIndex:%d"), kFile);
    ASSERT_EQ(asked.size(), 2u);
    EXPECT_EQ(asked[0].text, "ZX_JNI_wlanGetWPSState iSsidIndex:5 \r\n");
    EXPECT_EQ(asked[1].text, "ZX_JNI_wlanGetWPSState iSsidIndex:0 \r\n");
    auto answered = zxtest::at_line(records, zxhost::TraceRecord::Trace, line_after(anchor, "uiRet:%d"), kFile);
    ASSERT_EQ(answered.size(), 2u);
    EXPECT_EQ(answered[0].text, "ZX_JNI_wlanGetWPSState uiRet:0 \r\n");
    expect_no_last_word(records);
}

TEST_F(Wps, StateIsOneWhileASessionIsOpenAndEndsAfterItsTime) {
    ASSERT_EQ(ZX_JNI_startWlanWps(1), 0u);
    EXPECT_EQ(ZX_JNI_wlanGetWPSState(3), 1u);
    expect_trace(traces(), line_after(definition("ZX_JNI_wlanGetWPSState"), "uiRet:%d"),
                 "ZX_JNI_wlanGetWPSState uiRet:1 \r\n");
    // The session is older than a 1 ms session length: the next request finds it ended.
    ASSERT_TRUE(sim_.set_state("wifi", "wpsMs", 1));
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_EQ(ZX_JNI_wlanGetWPSState(1), 0u);
    EXPECT_FALSE(flag(member(sim_.state("wifi").get(), "wps"), "active"));
    // A new start opens a new session of the configured length.
    ASSERT_TRUE(sim_.set_state("wifi", "wpsMs", 600000));
    ASSERT_EQ(ZX_JNI_startWlanWps(5), 0u);
    EXPECT_EQ(ZX_JNI_wlanGetWPSState(5), 1u);
    EXPECT_EQ(num(member(sim_.state("wifi").get(), "wps"), "ssidIndex"), 5);
}

TEST_F(Wps, AStartOnAnUnknownSsidIsRefusedAndTheOpenSessionStays) {
    ASSERT_EQ(ZX_JNI_startWlanWps(0), 0u);
    EXPECT_EQ(ZX_JNI_wlanGetWPSState(0), 1u);
    EXPECT_EQ(ZX_JNI_startWlanWps(9), 0xF760300Au);  // no such SSID
    EXPECT_EQ(ZX_JNI_wlanGetWPSState(0), 1u);        // the open session is unchanged
}

TEST_F(Wps, StateFailureReturnsTheCode) {
    inject_status("wifi", 0x4760311D, kDown);
    EXPECT_EQ(ZX_JNI_wlanGetWPSState(7), kDown);
    auto records = traces();
    const std::string anchor = definition("ZX_JNI_wlanGetWPSState");
    expect_last_word(records, line_after(anchor, "fail("), kDown, {7, 0, 0, 0});
    EXPECT_TRUE(zxtest::at_line(records, zxhost::TraceRecord::Trace, line_after(anchor, "uiRet:%d"), kFile).empty());
    expect_received("wifi", {{0x4760311D, std::string(18, '\0')}});
}

}  // namespace
}  // namespace zeltest
