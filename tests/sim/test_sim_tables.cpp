// The simulator's command tables: a service's families merge into one table in message-id order,
// two families answering one message id are refused before anything is served, and the control
// socket takes a command's name where it takes a message id.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "gateway.h"
#include "service.h"
#include "services.h"

namespace {

using zxsim::Call;
using zxsim::Command;
using zxsim::CommandFamily;
using zxsim::ServiceDef;

void answer_nothing(Call&) {}

constexpr std::initializer_list<Command> kFirst{
    {0x10, "A", answer_nothing},
    {0x30, "C", answer_nothing},
};
static_assert(zxsim::commands_sorted(kFirst));
constexpr std::initializer_list<Command> kSecond{
    {0x20, "B", answer_nothing},
    {0x40, "D", answer_nothing},
};
constexpr std::initializer_list<Command> kClashing{
    {0x05, "E", answer_nothing},
    {0x30, "Again", answer_nothing},
};
const CommandFamily kFirstFamily{"first", {kFirst.begin(), kFirst.size()}};
const CommandFamily kSecondFamily{"second", {kSecond.begin(), kSecond.size()}};
const CommandFamily kClashingFamily{"clashing", {kClashing.begin(), kClashing.size()}};

TEST(SimTables, FamiliesMergeInMessageIdOrder) {
    const CommandFamily* families[] = {&kSecondFamily, &kFirstFamily};
    ServiceDef def{"svc", families};
    std::vector<Command> table;
    std::string error;
    ASSERT_TRUE(zxsim::merge_families(def, table, error)) << error;
    EXPECT_EQ(error, "");
    ASSERT_EQ(table.size(), 4u);
    EXPECT_STREQ(table[0].name, "A");
    EXPECT_STREQ(table[1].name, "B");
    EXPECT_STREQ(table[2].name, "C");
    EXPECT_STREQ(table[3].name, "D");
    ASSERT_NE(zxsim::find_command(table, 0x40), nullptr);
    EXPECT_STREQ(zxsim::find_command(table, 0x40)->name, "D");
    EXPECT_EQ(zxsim::find_command(table, 0x41), nullptr);
    ASSERT_NE(zxsim::find_command_named(table, "B"), nullptr);
    EXPECT_EQ(zxsim::find_command_named(table, "B")->msgId, 0x20u);
}

TEST(SimTables, OneMessageIdInTwoFamiliesIsRefused) {
    const CommandFamily* families[] = {&kFirstFamily, &kSecondFamily, &kClashingFamily};
    ServiceDef def{"svc", families};
    std::vector<Command> table;
    std::string error;
    EXPECT_FALSE(zxsim::merge_families(def, table, error));
    EXPECT_TRUE(table.empty());
    EXPECT_EQ(error, "svc: message id 0x00000030 is answered by two families, \"first\" (C) and \"clashing\" (Again)");
}

TEST(SimTables, AGatewayWithSuchAServiceDoesNotStart) {
    const CommandFamily* families[] = {&kFirstFamily, &kClashingFamily};
    ServiceDef def{"svc", families};
    zxsim::Gateway gateway({&def}, nullptr);
    std::string error;
    EXPECT_FALSE(gateway.start("tables-test", error));
    EXPECT_EQ(error, "svc: message id 0x00000030 is answered by two families, \"first\" (C) and \"clashing\" (Again)");
}

TEST(SimTables, EveryServiceOfTheSimulatorMergesCleanly) {
    for (const ServiceDef* def : zxsim::all_services()) {
        std::vector<Command> table;
        std::string error;
        EXPECT_TRUE(zxsim::merge_families(*def, table, error)) << error;
        std::set<uint32_t> ids;
        for (const Command& c : table) EXPECT_TRUE(ids.insert(c.msgId).second) << def->name << " " << c.name;
    }
}

TEST(SimTables, TheLoidCommandIsFoundByIdAndByName) {
    const ServiceDef* appm = zxsim::find_service("app_m");
    ASSERT_NE(appm, nullptr);
    std::vector<Command> table;
    std::string error;
    ASSERT_TRUE(zxsim::merge_families(*appm, table, error)) << error;
    const Command* byId = zxsim::find_command(table, 0x4710304B);
    ASSERT_NE(byId, nullptr);
    EXPECT_STREQ(byId->name, "GetLoid");
    EXPECT_EQ(zxsim::find_command_named(table, "GetLoid"), byId);
}

TEST(SimTables, ControlTakesACommandNameForTheMessageId) {
    zxsim::Gateway gateway({zxsim::find_service("app_m")}, nullptr);
    std::string answer =
        gateway.control(R"({"op":"inject","service":"app_m","msgId":"GetLoid","fault":"status","value":7,"times":1})");
    EXPECT_NE(answer.find("\"ok\":true"), std::string::npos) << answer;
    std::optional<zxsim::Fault> fault = gateway.faults().take("app_m", 0x4710304B);
    ASSERT_TRUE(fault.has_value());
    EXPECT_EQ(fault->value, 7u);

    answer = gateway.control(R"({"op":"inject","service":"app_m","msgId":"NoSuchCommand","fault":"noreply"})");
    EXPECT_NE(answer.find("\"ok\":false"), std::string::npos) << answer;
}

}  // namespace
