// The test harness itself: the record sequence check of SimFixture fails on a missing, an extra or
// a reordered request, typed faults and state reach the simulator, and the source-line helper
// finds the one line of a marker.
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <cstring>

#include "sim_fixture.h"
#include "source_lines.h"
#include "zx_bridge.h"

namespace {

using zxtest::Bytes;
using zxtest::Fault;
using zxtest::StateValue;

constexpr uint32_t kGetLoid = 0x4710304B;

class HarnessTest : public zxtest::SimFixture {
protected:
    HarnessTest() : SimFixture("harness", {.services = {"app_m"}}) {}

    // One call to "app_m" asking for the LOID with a 4-byte zero request: its status.
    uint32_t ask_loid(char (&reply)[64]) {
        uint32_t zero = 0;
        std::memset(reply, 0, sizeof reply);
        return APPM_JNI_MSG_RpcCall(kGetLoid, &zero, sizeof zero, reply, sizeof reply);
    }
};

const Bytes kZeroWord(4, 0);

TEST_F(HarnessTest, ExpectReceivedPassesOnTheExactSequenceAndForgetsIt) {
    char reply[64];
    ASSERT_EQ(ask_loid(reply), 0u);
    ASSERT_EQ(ask_loid(reply), 0u);
    auto got = expect_received("app_m", {{kGetLoid, kZeroWord}, {kGetLoid, kZeroWord}});
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0].head.dstName, "app_m");
    EXPECT_LT(got[0].seq, got[1].seq);
    expect_received("app_m", {});
}

TEST_F(HarnessTest, ExpectReceivedFailsOnAnExtraRequest) {
    char reply[64];
    ASSERT_EQ(ask_loid(reply), 0u);
    ASSERT_EQ(ask_loid(reply), 0u);
    EXPECT_NONFATAL_FAILURE(expect_received("app_m", {{kGetLoid, kZeroWord}}), "app_m received");
}

TEST_F(HarnessTest, ExpectReceivedFailsOnAMissingRequestOrOtherBytes) {
    EXPECT_NONFATAL_FAILURE(expect_received("app_m", {{kGetLoid, kZeroWord}}), "nothing");
    char reply[64];
    ASSERT_EQ(ask_loid(reply), 0u);
    EXPECT_NONFATAL_FAILURE(expect_received("app_m", {{kGetLoid, Bytes{0, 0, 0, 1}}}), "00000001");
}

TEST_F(HarnessTest, TypedFaultAndStateReachTheService) {
    ASSERT_TRUE(sim_.set_state("app_m", "loid", "HARNESS-LOID"));
    zxtest::JsonPtr state = sim_.state("app_m");
    EXPECT_EQ(zxtest::json_text(state.get(), "loid"), "HARNESS-LOID");
    char reply[64];
    ASSERT_EQ(ask_loid(reply), 0u);
    EXPECT_STREQ(reply, "HARNESS-LOID");

    ASSERT_TRUE(sim_.inject("app_m", kGetLoid, Fault::status(0xF7213003, 1)));
    EXPECT_EQ(ask_loid(reply), 0xF7213003u);
    EXPECT_EQ(ask_loid(reply), 0u) << "the fault hit one call only";
    ASSERT_TRUE(sim_.inject("app_m", kGetLoid, Fault::status(0xF7213004)));
    ASSERT_TRUE(sim_.clear_faults());
    EXPECT_EQ(ask_loid(reply), 0u);
    EXPECT_EQ(take_received("app_m").size(), 4u);
    EXPECT_FALSE(sim_.inject("nobody", kGetLoid, Fault::noreply())) << "an unknown service is refused";
}

TEST(SourceLines, FindTheOneLineOfAMarker) {
    // This file's own lines: the marker text is split so that only the next line holds it whole.
    const std::string marker = std::string("source-line ") + "marker";
    uint32_t expected = __LINE__ + 1;
    // source-line marker
    EXPECT_EQ(zxtest::source_line("tests/harness/test_harness.cpp", marker), expected);
    EXPECT_EQ(zxtest::source_line("tests/harness/test_harness.cpp", "EXPECT_EQ"), 0u) << "more than one line";
    EXPECT_EQ(zxtest::source_line("tests/harness/test_harness.cpp", "no such text anywhere" + marker), 0u);
    const std::string anchor = std::string("TEST(SourceLines, ") + "FindTheOneLine";
    EXPECT_EQ(zxtest::source_line_after("tests/harness/test_harness.cpp", anchor, marker), expected);
    EXPECT_EQ(zxtest::source_line_after("tests/harness/test_harness.cpp", "EXPECT_EQ", marker), 0u)
        << "an anchor on more than one line";
}

}  // namespace
