// The simulated voice service's do-not-disturb state per POTS line, driven over the bus.
#include "sim_services.h"

namespace simtest {
namespace {

constexpr uint32_t kSetDnd = 0x47209064;
constexpr uint32_t kGetDnd = 0x47209065;

using Voice = ServicesTest;

Answer set_dnd(uint32_t line, uint32_t state) { return call("voice", kSetDnd, words({line, state}), 4); }
Answer get_dnd(uint32_t line) { return call("voice", kGetDnd, word(line), 4); }

// The dnd member of each line of the voice state, in order, as "line:dnd".
std::string lines(json_object* voice) {
    std::string out;
    json_object* l = member(voice, "potsLines");
    for (size_t i = 0; l && i < json_object_array_length(l); ++i) {
        json_object* e = json_object_array_get_idx(l, i);
        out += (i ? " " : "") + std::to_string(zxtest::json_int(e, "line")) + ":" +
               std::to_string(zxtest::json_int(e, "dnd"));
    }
    return out;
}

TEST_F(Voice, TwoLinesStartWithDoNotDisturbOff) {
    EXPECT_EQ(lines(state("voice").get()), "1:0 2:0");
    for (uint32_t line : {1u, 2u}) {
        Answer a = get_dnd(line);
        ASSERT_EQ(a.status, 0u);
        EXPECT_EQ(a.reply, word(0));
    }
    expect_received("voice", {{kGetDnd, word(1)}, {kGetDnd, word(2)}});
}

TEST_F(Voice, SetChangesTheLineAndAnswersNoData) {
    Answer a = set_dnd(2, 1);
    ASSERT_EQ(a.status, 0u);
    EXPECT_EQ(a.reply, filler(4));
    EXPECT_EQ(lines(state("voice").get()), "1:0 2:1");
    EXPECT_EQ(get_dnd(2).reply, word(1));
    EXPECT_EQ(get_dnd(1).reply, word(0));
    ASSERT_EQ(set_dnd(2, 0).status, 0u);
    EXPECT_EQ(get_dnd(2).reply, word(0));
    expect_received("voice", {{kSetDnd, words({2, 1})},
                              {kGetDnd, word(2)},
                              {kGetDnd, word(1)},
                              {kSetDnd, words({2, 0})},
                              {kGetDnd, word(2)}});
}

TEST_F(Voice, AnUnknownLineOrStateIsRefused) {
    for (uint32_t line : {0u, 3u, 0xFFFFFFFFu}) {
        Answer s = set_dnd(line, 1);
        EXPECT_EQ(s.status, ZX_SIM_VOICE_NO_LINE) << line;
        Answer g = get_dnd(line);
        EXPECT_EQ(g.status, ZX_SIM_VOICE_NO_LINE) << line;
        EXPECT_EQ(g.reply, filler(4));
    }
    EXPECT_EQ(set_dnd(1, 2).status, ZX_SIM_VOICE_BAD_STATE);
    EXPECT_EQ(set_dnd(1, 0xFFFFFFFF).status, ZX_SIM_VOICE_BAD_STATE);
    EXPECT_EQ(lines(state("voice").get()), "1:0 2:0");
    // Requests shorter than their records.
    EXPECT_EQ(call("voice", kSetDnd, word(1), 4).status, ZX_SIM_ERR_BAD_REQUEST);
    EXPECT_EQ(call("voice", kGetDnd, "", 4).status, ZX_SIM_ERR_BAD_REQUEST);
}

TEST_F(Voice, TheLinesFollowTheState) {
    ASSERT_TRUE(
        sim_.set_state("voice", "potsLines", StateValue::array({StateValue::object({{"line", 3}, {"dnd", 1}})})));
    EXPECT_EQ(get_dnd(3).reply, word(1));
    EXPECT_EQ(get_dnd(1).status, ZX_SIM_VOICE_NO_LINE);
}

}  // namespace
}  // namespace simtest
