// LEDs, LAN ports and the platform connection state against the simulated configuration service
// ("app_m"): the exact records it received, its answers, every failure path and the records the
// unit leaves.
#include <cstring>

#include "zel_fixture.h"

namespace zeltest {
namespace {

using Led = ZelTest;
using LanPorts = ZelTest;
using PlatformState = ZelTest;

constexpr uint32_t kDown = 0xF7000042;

TEST_F(Led, SetLedStateSendsTheFourWordsAndChangesTheLed) {
    char buf[128] = {};
    ASSERT_EQ(ZX_JNI_SetLEDState(3, 2, 250, 750, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0}");
    auto got = expect_received("app_m", {{0x4710306E, words({3, 2, 250, 750})}});
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].replyCap, 128u);
    EXPECT_EQ(got[0].timeoutMs, 30000u);
    JsonPtr state = sim_.state("app_m");
    json_object* led = element(state.get(), "leds", "id", 3);
    EXPECT_EQ(num(led, "color"), 2);
    EXPECT_EQ(num(led, "onTime"), 250);
    EXPECT_EQ(num(led, "offTime"), 750);
    EXPECT_EQ(text(led, "name"), "wlan");
    expect_no_last_word(traces());
}

TEST_F(Led, AFailedCallReturnsOneAndLeavesTheBuffer) {
    uint32_t line = line_after(definition("ZX_JNI_SetLEDState"), "last_word");
    inject_status("app_m", 0x4710306E, kDown, 1);
    char buf[128] = "as it was";
    EXPECT_EQ(ZX_JNI_SetLEDState(1, 2, 0, 0, buf, sizeof buf), 1u);
    EXPECT_STREQ(buf, "as it was");
    expect_last_word(traces(), line, kDown, {128, 1, 2, 0});
    // The service's own refusals: an LED it does not have, a colour it does not know.
    EXPECT_EQ(ZX_JNI_SetLEDState(9, 1, 0, 0, buf, 64), 1u);
    expect_last_word(traces(), line, 0xF7603002, {64, 9, 1, 0});
    EXPECT_EQ(ZX_JNI_SetLEDState(1, 4, 0, 0, buf, sizeof buf), 1u);
    expect_last_word(traces(), line, 0xF7603002, {128, 1, 4, 0});
    EXPECT_STREQ(buf, "as it was");
    JsonPtr state = sim_.state("app_m");
    EXPECT_EQ(num(element(state.get(), "leds", "id", 1), "color"), 1);
    EXPECT_EQ(take_received("app_m").size(), 3u);
}

TEST_F(LanPorts, StatusSendsAZeroWordAndAnswersTheFourPorts) {
    char buf[512] = {};
    ASSERT_EQ(ZX_JNI_lanGetPortStatus(buf, sizeof buf), 0u);
    EXPECT_STREQ(buf,
                 "{\"Result\":0,\"Ports\":[{\"Port\":1,\"Link\":\"Up\",\"Speed\":1000,\"Duplex\":\"Full\"},"
                 "{\"Port\":2,\"Link\":\"Down\",\"Speed\":0,\"Duplex\":\"\"},"
                 "{\"Port\":3,\"Link\":\"Up\",\"Speed\":100,\"Duplex\":\"Full\"},"
                 "{\"Port\":4,\"Link\":\"Down\",\"Speed\":0,\"Duplex\":\"\"}]}");
    auto got = expect_received("app_m", {{0x4710304F, word(0)}});
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].replyCap, 512u);
    expect_no_last_word(traces());
}

TEST_F(LanPorts, TheAnswerFollowsTheState) {
    ASSERT_TRUE(sim_.set_state(
        "app_m", "lanPorts",
        StateValue::array({StateValue::object({{"port", 1}, {"link", 0}, {"speed", 1000}, {"duplex", "Full"}}),
                           StateValue::object({{"port", 2}, {"link", 1}, {"speed", 10}, {"duplex", "Half"}})})));
    char buf[512] = {};
    ASSERT_EQ(ZX_JNI_lanGetPortStatus(buf, sizeof buf), 0u);
    // A port without link tells no speed.
    EXPECT_STREQ(buf,
                 "{\"Result\":0,\"Ports\":[{\"Port\":1,\"Link\":\"Down\",\"Speed\":0,\"Duplex\":\"\"},"
                 "{\"Port\":2,\"Link\":\"Up\",\"Speed\":10,\"Duplex\":\"Half\"}]}");
}

TEST_F(LanPorts, AFailedCallAnswersZeroWithTheFailureTextAndMinusOneRecorded) {
    uint32_t line = line_after(definition("ZX_JNI_lanGetPortStatus"), "last_word");
    inject_status("app_m", 0x4710304F, kDown);
    char buf[512];
    std::memset(buf, 'x', sizeof buf);
    EXPECT_EQ(ZX_JNI_lanGetPortStatus(buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kFailure);
    expect_last_word(traces(), line, 0xFFFFFFFF, {512, 0, 0, 0});
    char small[16];
    std::memset(small, 'x', sizeof small);
    EXPECT_EQ(ZX_JNI_lanGetPortStatus(small, 12), 0u);
    EXPECT_EQ(std::string(small, 16), std::string(kFailure, 11) + std::string(1, '\0') + "xxxx");
    expect_last_word(traces(), line, 0xFFFFFFFF, {12, 0, 0, 0});
}

// The 132-byte platform-state record: the state word and a 128-byte text field.
std::string platform_record(uint32_t state, const std::string& text) { return word(state) + padded(text, 128); }

TEST_F(PlatformState, AnEmptyTextSendsAnAllZeroField) {
    ASSERT_EQ(ZX_JNI_NotifyPlatFormConnectState("", 1), 0u);
    auto got = expect_received("app_m", {{0x47103084, platform_record(1, "")}});
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].data.size(), 132u);
    EXPECT_EQ(got[0].replyCap, 4u);  // no reply buffer: the wrapper's scratch word
    ASSERT_EQ(ZX_JNI_NotifyPlatFormConnectState(nullptr, 0), 0u);
    expect_received("app_m", {{0x47103084, platform_record(0, "")}});
    expect_no_last_word(traces());
}

TEST_F(PlatformState, TheTextIsKeptAndTheServiceRecordsIt) {
    ASSERT_EQ(ZX_JNI_NotifyPlatFormConnectState("connected to platform.example.net:8443", 2), 0u);
    expect_received("app_m", {{0x47103084, platform_record(2, "connected to platform.example.net:8443")}});
    JsonPtr state = sim_.state("app_m");
    json_object* platform = member(state.get(), "platform");
    EXPECT_EQ(num(platform, "state"), 2);
    EXPECT_EQ(text(platform, "text"), "connected to platform.example.net:8443");
    EXPECT_EQ(num(platform, "notices"), 1);
}

TEST_F(PlatformState, A128CharacterTextDoesNotFitAndIsCutTo127) {
    std::string text(128, 'p');
    ASSERT_EQ(ZX_JNI_NotifyPlatFormConnectState(text.c_str(), 0xFFFFFFFF), 0u);
    auto got = expect_received("app_m", {{0x47103084, platform_record(0xFFFFFFFF, std::string(127, 'p'))}});
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].data[131], 0);
    std::string fits(127, 'q');
    ASSERT_EQ(ZX_JNI_NotifyPlatFormConnectState(fits.c_str(), 3), 0u);
    expect_received("app_m", {{0x47103084, platform_record(3, fits)}});
}

TEST_F(PlatformState, AFailedCallReturnsItsCode) {
    inject_status("app_m", 0x47103084, kDown);
    EXPECT_EQ(ZX_JNI_NotifyPlatFormConnectState("down", 4), kDown);
    expect_last_word(traces(), line_after(definition("ZX_JNI_NotifyPlatFormConnectState"), "fail("), kDown,
                     {4, 0, 0, 0});
    EXPECT_EQ(num(member(sim_.state("app_m").get(), "platform"), "notices"), 0);
}

}  // namespace
}  // namespace zeltest
