// The kit's programs asked for help or given an option they do not know: the usage, the exit
// status, and not a trace on the bus. And what gatewaysim tells on its standard error about the
// faults injected through its control socket and the crashes they cause.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "sim_process.h"
#include "test_env.h"
#include "tool_process.h"
#include "zx_host.h"
#include "zx_platform.h"
#include "zx_wire.h"


namespace {

using zxtest::read_file;
using zxtest::run_tool;
using zxtest::SimProcess;
using zxtest::ToolProcess;
using zxtest::ToolRun;

constexpr char kGetLoidHex[] = "0x4710304B";
static_assert(ZX_APPM_RPC_GET_LOID == 0x4710304Bu);

struct Tool {
    const char* name;
    std::string path;
};

std::vector<Tool> kit_tools() {
    const std::string bin = ZX_BINARY_DIR;
    return {{"gatewaysim", ZX_GATEWAYSIM},
            {"simctl", bin + "/bin/simctl"},
            {"gatewaytour", bin + "/bin/gatewaytour"},
            {"zxmon", bin + "/bin/zxmon"},
            {"busprobe", bin + "/java/busprobe"}};
}

std::vector<std::string> entries_of(const std::string& dir) {
    std::vector<std::string> names;
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator(dir, ec))
        names.push_back(entry.path().filename().string());
    return names;
}

// ---------------------------------------------------------------------------------------------
// --help and unknown options
// ---------------------------------------------------------------------------------------------

TEST(ToolHelp, EveryToolPrintsItsUsageOnStandardOutputAndTouchesNoBus) {
    // No simulator runs: a tool that went to the bus would find nobody, and leave its traces here.
    zxtest::ScopedBusDir bus;
    ASSERT_TRUE(entries_of(bus.path()).empty());
    for (const Tool& tool : kit_tools()) {
        for (const char* flag : {"--help", "-h"}) {
            SCOPED_TRACE(std::string(tool.name) + " " + flag);
            ASSERT_EQ(access(tool.path.c_str(), X_OK), 0) << tool.path << " is not built";
            ToolRun run = run_tool(tool.path, {flag}, 20);
            ASSERT_TRUE(run.ended) << "no answer without a simulator";
            EXPECT_EQ(run.status, 0);
            EXPECT_EQ(run.out.rfind(std::string("usage: ") + tool.name + " ", 0), 0u) << run.out;
            EXPECT_NE(run.out.find("help"), std::string::npos) << run.out;
            EXPECT_EQ(run.err, "");
            EXPECT_TRUE(entries_of(bus.path()).empty())
                << "left in the bus directory: " << testing::PrintToString(entries_of(bus.path()));
        }
    }
}

TEST(ToolHelp, HelpAfterOtherWordsStillOnlyPrintsTheUsage) {
    zxtest::ScopedBusDir bus;
    const std::string bin = ZX_BINARY_DIR;
    struct Case {
        std::string path;
        std::vector<std::string> args;
    };
    const std::vector<Case> cases = {
        {ZX_GATEWAYSIM, {"--services", "app_m", "--help"}},
        {ZX_GATEWAYSIM, {"--ctl", "x", "-h"}},
        {bin + "/bin/simctl", {"--ctl", "nosuch", "--help"}},
        {bin + "/bin/simctl", {"inject", "app_m", "GetLoid", "crash", "-h"}},
        {bin + "/bin/zxmon", {"--service", "app_m", "--json", "--help"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.path + " " + testing::PrintToString(c.args));
        ToolRun run = run_tool(c.path, c.args, 20);
        ASSERT_TRUE(run.ended);
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.out.rfind("usage: ", 0), 0u) << run.out;
        EXPECT_EQ(run.err, "");
        EXPECT_TRUE(entries_of(bus.path()).empty()) << testing::PrintToString(entries_of(bus.path()));
    }
}

TEST(ToolHelp, UnknownOptionPrintsTheUsageOnStandardErrorAndExitsTwo) {
    zxtest::ScopedBusDir bus;
    for (const Tool& tool : kit_tools()) {
        SCOPED_TRACE(tool.name);
        ToolRun run = run_tool(tool.path, {"--no-such-option"}, 20);
        ASSERT_TRUE(run.ended);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.out, "");
        EXPECT_NE(run.err.find(std::string("usage: ") + tool.name + " "), std::string::npos) << run.err;
        EXPECT_TRUE(entries_of(bus.path()).empty()) << testing::PrintToString(entries_of(bus.path()));
    }
}

// The check above can fail: the tour itself, with no simulator, still leaves its shared-block
// arena in the bus directory it was given (and names that directory).
TEST(ToolHelp, TheTourWithoutHelpDoesUseTheBusItIsGiven) {
    zxtest::ScopedBusDir bus;
    ToolRun run = run_tool(std::string(ZX_BINARY_DIR) + "/bin/gatewaytour", {});
    ASSERT_TRUE(run.ended);
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find("gateway tour on bus " + bus.path()), std::string::npos) << run.out;
    EXPECT_FALSE(entries_of(bus.path()).empty());
}

// ---------------------------------------------------------------------------------------------
// gatewaysim's reports of injected faults and crashes
// ---------------------------------------------------------------------------------------------

// The report lines of faults and crashes in a simulator's standard error (which also carries its
// notes from start-up, such as a disc directory not made without ZX_ROOT).
std::vector<std::string> fault_lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        if (line.starts_with("gatewaysim: fault") || line.starts_with("gatewaysim: crash")) lines.push_back(line);
    return lines;
}

uint32_t call_loid() {
    ZX_MSG_HEAD_S head{};
    std::strcpy(head.acSrcProcName, "tooltest");
    std::strcpy(head.acDstProcName, "app_m");
    uint32_t word = 0;
    char reply[64] = {};
    return ZX_MSG_RpcCall(&head, ZX_APPM_RPC_GET_LOID, 0, &word, sizeof word, reply, sizeof reply, 30000);
}

// The names a simulator serves, as its "ping" lists them, joined with ", ".
std::string served_names(const SimProcess& sim) {
    zxtest::JsonPtr ping = sim.ctl(R"({"op":"ping"})");
    json_object* services = nullptr;
    if (!ping || !json_object_object_get_ex(ping.get(), "services", &services)) return "";
    std::string out;
    for (size_t i = 0; i < json_object_array_length(services); ++i)
        out += (i ? ", " : "") + std::string(json_object_get_string(json_object_array_get_idx(services, i)));
    return out;
}

TEST(SimReports, InjectedFaultsAndTheCrashOfTheWholeProcessGoToStandardError) {
    zxtest::ScopedBusDir bus;
    zxtest::ScopedTempDir scratch("zxsimerr");
    const std::string errPath = scratch.path() + "/stderr";
    SimProcess sim({.stderrFile = errPath});
    ASSERT_TRUE(sim.start());
    const std::string all = served_names(sim);
    ASSERT_NE(all.find("tarn, app_m"), std::string::npos) << all;
    const std::string pid = std::to_string(sim.pid());

    ASSERT_TRUE(sim.inject("app_m", ZX_APPM_RPC_GET_LOID, zxtest::Fault::status(0xF7213003, 1)));
    ASSERT_TRUE(sim.inject("tarn", 0x4710FFF0, zxtest::Fault::delay(250, 3)));
    ASSERT_TRUE(sim.inject("cwmp", 0x4710FFF0, zxtest::Fault::noreply()));
    ASSERT_TRUE(sim.clear_faults("cwmp"));
    ASSERT_TRUE(sim.ctl_ok(R"({"op":"inject_clear","service":"tarn","msgId":"0x4710FFF0"})"));
    EXPECT_EQ(call_loid(), 0xF7213003u);  // the status fault is used up
    EXPECT_EQ(call_loid(), static_cast<uint32_t>(ZX_OK));
    ASSERT_TRUE(sim.ctl_ok(R"({"op":"inject_clear"})"));
    ASSERT_TRUE(sim.inject("app_m", ZX_APPM_RPC_GET_LOID, zxtest::Fault::crash(1)));
    EXPECT_NE(call_loid(), static_cast<uint32_t>(ZX_OK));
    int status = sim.wait();
    ASSERT_TRUE(WIFSIGNALED(status)) << status;
    EXPECT_EQ(WTERMSIG(status), SIGKILL);

    const std::string loid = std::string("app_m ") + kGetLoidHex + " (GetLoid)";
    const std::vector<std::string> expected = {
        "gatewaysim: fault injected: " + loid + " status 0xF7213003, the next call",
        "gatewaysim: fault injected: tarn 0x4710FFF0 delay 250 ms, the next 3 calls",
        "gatewaysim: fault injected: cwmp 0x4710FFF0 noreply, every call until cleared",
        "gatewaysim: faults cleared: 1 (service cwmp)",
        "gatewaysim: faults cleared: 1 (service tarn, id 0x4710FFF0)",
        "gatewaysim: faults cleared: 0 (all)",
        "gatewaysim: fault injected: " + loid +
            " crash (takes down the whole process, every service it serves: " + all + "), the next call",
        "gatewaysim: crash injected: " + loid + " kills process " + pid + " and with it every service it serves: " +
            all + " (to crash one service alone, run it in a process of its own: gatewaysim --services app_m --ctl app_m)",
    };
    EXPECT_EQ(fault_lines(read_file(errPath)), expected);
}

TEST(SimReports, ACrashOfAServiceInItsOwnProcessTakesOnlyThatService) {
    zxtest::ScopedBusDir bus;
    zxtest::ScopedTempDir scratch("zxsimerr");
    const std::string appmErr = scratch.path() + "/app_m", tarnErr = scratch.path() + "/tarn";
    SimProcess appm({.services = {"app_m"}, .ctl = "app_m", .stderrFile = appmErr});
    SimProcess tarn({.services = {"tarn"}, .ctl = "tarn", .stderrFile = tarnErr});
    ASSERT_TRUE(appm.start());
    ASSERT_TRUE(tarn.start());
    const std::string pid = std::to_string(appm.pid());

    ASSERT_TRUE(appm.inject("app_m", ZX_APPM_RPC_GET_LOID, zxtest::Fault::crash()));
    EXPECT_NE(call_loid(), static_cast<uint32_t>(ZX_OK));
    int status = appm.wait();
    ASSERT_TRUE(WIFSIGNALED(status)) << status;
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
    // The other process still serves.
    EXPECT_TRUE(tarn.ctl_ok(R"({"op":"ping"})"));

    const std::string loid = std::string("app_m ") + kGetLoidHex + " (GetLoid)";
    const std::vector<std::string> expected = {
        "gatewaysim: fault injected: " + loid +
            " crash (takes down this process, which serves app_m alone), every call until cleared",
        "gatewaysim: crash injected: " + loid + " kills process " + pid + ", which serves app_m alone",
    };
    EXPECT_EQ(fault_lines(read_file(appmErr)), expected);
    EXPECT_EQ(fault_lines(read_file(tarnErr)), std::vector<std::string>{});
}

// ---------------------------------------------------------------------------------------------
// simctl: every subcommand against a running simulator
// ---------------------------------------------------------------------------------------------

std::string simctl_path() { return std::string(ZX_BINARY_DIR) + "/bin/simctl"; }

ToolRun simctl(const std::vector<std::string>& args) { return run_tool(simctl_path(), args, 60); }

// A LOID call with a time-out of its own (ms): its status and the text it answered.
std::pair<uint32_t, std::string> loid_call(uint32_t timeoutMs) {
    ZX_MSG_HEAD_S head{};
    std::strcpy(head.acSrcProcName, "tooltest");
    std::strcpy(head.acDstProcName, "app_m");
    uint32_t word = 0;
    char reply[64] = {};
    uint32_t status =
        ZX_MSG_RpcCall(&head, ZX_APPM_RPC_GET_LOID, 0, &word, sizeof word, reply, sizeof reply, timeoutMs);
    return {status, std::string(reply, strnlen(reply, sizeof reply))};
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

// The line of `text` that holds `needle`, "" when none does.
std::string line_with(const std::string& text, const std::string& needle) {
    for (const std::string& line : lines_of(text))
        if (line.find(needle) != std::string::npos) return line;
    return "";
}

class Simctl : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(access(simctl_path().c_str(), X_OK), 0) << simctl_path() << " is not built";
        ASSERT_TRUE(sim_.start());
    }

    zxtest::ScopedBusDir bus_;
    SimProcess sim_;
};

TEST_F(Simctl, PingStateSetAndTheRawRequestPrintTheAnswerLine) {
    ToolRun ping = simctl({"ping"});
    EXPECT_EQ(ping.status, 0) << ping.err;
    zxtest::JsonPtr pingAnswer(json_tokener_parse(ping.out.c_str()));
    EXPECT_EQ(zxtest::json_int(pingAnswer.get(), "pid"), sim_.pid()) << ping.out;

    ToolRun set = simctl({"set", "app_m", R"({"loid":"FROM-SHELL"})"});
    EXPECT_EQ(set.status, 0) << set.err;
    EXPECT_EQ(loid_call(30000), std::make_pair(static_cast<uint32_t>(ZX_OK), std::string("FROM-SHELL")));
    ToolRun state = simctl({"state", "app_m"});
    EXPECT_EQ(state.status, 0);
    EXPECT_NE(state.out.find(R"("loid":"FROM-SHELL")"), std::string::npos) << state.out;

    ToolRun raw = simctl({R"({"op":"state","service":"voice"})"});
    EXPECT_EQ(raw.status, 0);
    EXPECT_EQ(raw.out.rfind(R"({"ok":true,"state":{"potsLines":)", 0), 0u) << raw.out;
    ToolRun refused = simctl({R"({"op":"nope"})"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.out, "{\"ok\":false,\"error\":\"unknown op \\\"nope\\\"\"}\n");
    ToolRun noService = simctl({"state", "nosuch"});
    EXPECT_EQ(noService.status, 1);

    // A part of a service's name that fits one service names it.
    ToolRun usb = simctl({"state", "usb"});
    EXPECT_EQ(usb.status, 0) << usb.err;
    EXPECT_NE(usb.out.find(R"("discs":[)"), std::string::npos) << usb.out;
    ToolRun several = simctl({"state", "_"});
    EXPECT_EQ(several.status, 2);
    EXPECT_EQ(several.out, "");
    EXPECT_EQ(several.err, "simctl: \"_\" names 3 services: app_m usb_mngt osgi_proxy\n");
}

TEST_F(Simctl, ListShowsEveryServiceWithItsCommandsIdsAndRecords) {
    ToolRun list = simctl({"list"});
    ASSERT_EQ(list.status, 0) << list.err;
    for (const char* service : {"tarn", "app_m", "cwmp", "wifi", "voice", "usb_mngt", "osgi_proxy", "eventcenter"})
        EXPECT_NE(std::find(lines_of(list.out).begin(), lines_of(list.out).end(), service), lines_of(list.out).end())
            << service << " in\n" << list.out;
    std::string loid = line_with(list.out, "ZX_APPM_RPC_GET_LOID");
    EXPECT_NE(loid.find(" 0x4710304B "), std::string::npos) << loid;
    EXPECT_NE(loid.find("request word, reply text"), std::string::npos) << loid;
    EXPECT_NE(loid.find("[served: GetLoid]"), std::string::npos) << loid;
    std::string mount = line_with(list.out, "ZX_USB_RPC_GET_MNT_PATH_BY_DISC_NAME");
    EXPECT_NE(mount.find("0x47103066  request ZX_USB_MNT_PATH_REQ_S, reply ZX_USB_MNT_PATH_REPLY_S"),
              std::string::npos)
        << mount;

    ToolRun one = simctl({"list", "app_m", "--json"});
    ASSERT_EQ(one.status, 0) << one.err;
    zxtest::JsonPtr parsed(json_tokener_parse(one.out.c_str()));
    ASSERT_TRUE(parsed && json_object_is_type(parsed.get(), json_type_array)) << one.out;
    ASSERT_EQ(json_object_array_length(parsed.get()), 1u);
    json_object* appm = json_object_array_get_idx(parsed.get(), 0);
    EXPECT_EQ(zxtest::json_text(appm, "service"), "app_m");
    json_object* commands = nullptr;
    ASSERT_TRUE(json_object_object_get_ex(appm, "commands", &commands));
    bool found = false;
    for (size_t i = 0; i < json_object_array_length(commands); ++i) {
        json_object* c = json_object_array_get_idx(commands, i);
        if (zxtest::json_text(c, "name") != "ZX_APPM_RPC_GET_LOID") continue;
        found = true;
        EXPECT_EQ(zxtest::json_text(c, "id"), kGetLoidHex);
        EXPECT_EQ(zxtest::json_int(c, "msgId"), ZX_APPM_RPC_GET_LOID);
        EXPECT_EQ(zxtest::json_text(c, "simName"), "GetLoid");
    }
    EXPECT_TRUE(found) << one.out;

    // Without a simulator the catalogue alone is listed.
    ToolRun alone = simctl({"--ctl", "nosuch", "list", "app_m"});
    ASSERT_EQ(alone.status, 0) << alone.err;
    EXPECT_EQ(line_with(alone.out, "ZX_APPM_RPC_GET_LOID"), loid.substr(0, loid.find("  [served")));
    EXPECT_EQ(alone.out.find("served"), std::string::npos) << alone.out;

    ToolRun unknown = simctl({"list", "nosuch"});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_NE(unknown.err.find("no service \"nosuch\""), std::string::npos) << unknown.err;
}

TEST_F(Simctl, InjectByNameReachesTheNextCallAndInjectClearTakesItBack) {
    // The macro's name, its short name in any case with '-', a part of it, the simulator's name.
    for (const char* name : {"ZX_APPM_RPC_GET_LOID", "get-loid", "loid", "GetLoid", "0x4710304B"}) {
        SCOPED_TRACE(name);
        ToolRun inject = simctl({"inject", "app_m", name, "status", "0xF7213003", "1"});
        ASSERT_EQ(inject.status, 0) << inject.err;
        EXPECT_EQ(inject.out, std::string("injected: app_m ZX_APPM_RPC_GET_LOID ") + kGetLoidHex +
                                  " (GetLoid): status 0xF7213003, the next call\n");
        EXPECT_EQ(loid_call(30000).first, 0xF7213003u);
        EXPECT_EQ(loid_call(30000).first, static_cast<uint32_t>(ZX_OK));
    }

    ToolRun noreply = simctl({"inject", "app_m", "loid", "noreply"});
    ASSERT_EQ(noreply.status, 0) << noreply.err;
    EXPECT_EQ(noreply.out, std::string("injected: app_m ZX_APPM_RPC_GET_LOID ") + kGetLoidHex +
                               " (GetLoid): noreply, every call until cleared\n");
    EXPECT_EQ(loid_call(200).first, ZX_MSG_ERR_TIMEOUT);
    EXPECT_EQ(loid_call(200).first, ZX_MSG_ERR_TIMEOUT);

    ToolRun clearOne = simctl({"inject-clear", "app_m", "loid"});
    ASSERT_EQ(clearOne.status, 0) << clearOne.err;
    EXPECT_EQ(clearOne.out, std::string("cleared 1 fault (app_m ZX_APPM_RPC_GET_LOID ") + kGetLoidHex + " (GetLoid))\n");
    EXPECT_EQ(loid_call(30000).first, static_cast<uint32_t>(ZX_OK));

    ASSERT_EQ(simctl({"inject", "app_m", "loid", "delay", "100"}).status, 0);
    ASSERT_EQ(simctl({"inject", "tarn", "ZX_TARN_RPC_GET_WAN_IP", "crash", "3"}).status, 0);
    ToolRun clearService = simctl({"inject-clear", "tarn"});
    EXPECT_EQ(clearService.out, "cleared 1 fault (tarn)\n");
    ToolRun clearAll = simctl({"inject-clear"});
    EXPECT_EQ(clearAll.out, "cleared 1 fault (every service)\n");
    ToolRun raw = simctl({"--json", "inject-clear"});
    EXPECT_EQ(raw.out, "{\"ok\":true,\"cleared\":0}\n");
}

TEST_F(Simctl, ANameOfSeveralCommandsListsThemAndOneOfNoneIsRefused) {
    ToolRun several = simctl({"inject", "app_m", "wlan", "noreply"});
    EXPECT_EQ(several.status, 2);
    EXPECT_EQ(several.out, "");
    std::vector<std::string> lines = lines_of(several.err);
    ASSERT_GE(lines.size(), 3u) << several.err;
    EXPECT_EQ(lines[0].rfind("simctl: \"wlan\" names ", 0), 0u) << lines[0];
    for (size_t i = 1; i < lines.size(); ++i) EXPECT_EQ(lines[i].rfind("  ZX_APPM_RPC_", 0), 0u) << lines[i];
    EXPECT_NE(several.err.find("ZX_APPM_RPC_GET_WLAN_CHANNEL 0x47103053"), std::string::npos) << several.err;

    ToolRun none = simctl({"inject", "app_m", "no-such-command", "noreply"});
    EXPECT_EQ(none.status, 2);
    EXPECT_NE(none.err.find("\"no-such-command\" names no command of app_m"), std::string::npos) << none.err;
    ToolRun received = simctl({"received", "app_m", "wlan"});
    EXPECT_EQ(received.status, 2);
    // Nothing was injected by either.
    EXPECT_EQ(loid_call(30000).first, static_cast<uint32_t>(ZX_OK));
    EXPECT_EQ(simctl({"inject-clear"}).out, "cleared 0 faults (every service)\n");
}

TEST_F(Simctl, ReceivedPrintsOneReadableLineACallAndTheAnswerLineWithJson) {
    ASSERT_EQ(loid_call(30000).first, static_cast<uint32_t>(ZX_OK));
    ASSERT_EQ(loid_call(12345).first, static_cast<uint32_t>(ZX_OK));
    ToolRun received = simctl({"received", "app_m"});
    ASSERT_EQ(received.status, 0) << received.err;
    std::vector<std::string> lines = lines_of(received.out);
    ASSERT_EQ(lines.size(), 2u) << received.out;
    const std::string caller = " app_m <- tooltest (pid " + std::to_string(getpid()) + "): ZX_APPM_RPC_GET_LOID " +
                               kGetLoidHex + " (GetLoid), timeout ";
    EXPECT_NE(lines[0].find(" #1" + caller + "30000 ms, reply room 64, mid 0, tag 0, 4 bytes: 00000000"),
              std::string::npos)
        << lines[0];
    EXPECT_NE(lines[1].find(" #2" + caller + "12345 ms"), std::string::npos) << lines[1];
    // hh:mm:ss.mmm first
    EXPECT_EQ(lines[0].find_first_not_of("0123456789:."), 12u) << lines[0];

    ToolRun byName = simctl({"received", "app_m", "get_loid", "--count", "1"});
    EXPECT_EQ(lines_of(byName.out).size(), 1u) << byName.out;
    ToolRun other = simctl({"received", "tarn"});
    EXPECT_EQ(other.out, "");

    ToolRun json = simctl({"--json", "received", "app_m"});
    ASSERT_EQ(json.status, 0);
    zxtest::JsonPtr answer(json_tokener_parse(json.out.c_str()));
    json_object* records = nullptr;
    ASSERT_TRUE(answer && json_object_object_get_ex(answer.get(), "records", &records)) << json.out;
    ASSERT_EQ(json_object_array_length(records), 2u);
    EXPECT_EQ(zxtest::json_int(json_object_array_get_idx(records, 1), "timeoutMs"), 12345);
    EXPECT_GT(zxtest::json_int(json_object_array_get_idx(records, 1), "timeMs"), 0);

    ASSERT_EQ(simctl({"clear"}).status, 0);
    EXPECT_EQ(simctl({"received"}).out, "");
}

// A request record is printed field by field as the wire catalogue lays it out, not in hex.
TEST_F(Simctl, ReceivedShowsARequestRecordFieldByField) {
    ZX_MSG_HEAD_S head{};
    std::strcpy(head.acSrcProcName, "tooltest");
    std::strcpy(head.acDstProcName, "usb_mngt");
    ZX_USB_PLUGIN_REQ_S req{};
    req.uiDevType = 2;
    std::strcpy(req.acPlugId, "plug.\"quoted\"");
    ZX_WIRE_RESULT_REASON_S reply{};
    ASSERT_EQ(ZX_MSG_RpcCall(&head, ZX_USB_RPC_REGISTER, 0, &req, sizeof req, &reply, sizeof reply, 30000),
              static_cast<uint32_t>(ZX_OK));
    ToolRun received = simctl({"received", "usb", "register"});
    ASSERT_EQ(received.status, 0) << received.err;
    std::vector<std::string> lines = lines_of(received.out);
    ASSERT_EQ(lines.size(), 1u) << received.out;
    EXPECT_NE(lines[0].find("ZX_USB_RPC_REGISTER 0x47103041 (UsbRegister)"), std::string::npos) << lines[0];
    EXPECT_NE(lines[0].find(", 132 bytes: {\"uiDevType\":2,\"acPlugId\":\"plug.\\\"quoted\\\"\"}"),
              std::string::npos)
        << lines[0];
}

TEST_F(Simctl, ReceivedFollowShowsACallMadeAfterItStarted) {
    ASSERT_EQ(loid_call(30000).first, static_cast<uint32_t>(ZX_OK));
    ToolProcess follow(simctl_path(), {"received", "app_m", "loid", "--follow", "--count", "2"});
    // The call made before is shown at once: the tool is following.
    ASSERT_TRUE(follow.wait_for_output("\n")) << follow.out();
    EXPECT_EQ(lines_of(follow.out()).size(), 1u);
    ASSERT_EQ(loid_call(4321).first, static_cast<uint32_t>(ZX_OK));
    ToolRun run = follow.finish(30);
    ASSERT_TRUE(run.ended) << run.out;
    EXPECT_EQ(run.status, 0) << run.err;
    std::vector<std::string> lines = lines_of(run.out);
    ASSERT_EQ(lines.size(), 2u) << run.out;
    EXPECT_NE(lines[1].find(" #2 app_m <- tooltest"), std::string::npos) << lines[1];
    EXPECT_NE(lines[1].find("timeout 4321 ms"), std::string::npos) << lines[1];

    // --new leaves out what came before; --json gives each record as a line.
    ToolProcess onlyNew(simctl_path(), {"--json", "received", "app_m", "--follow", "--new", "--count", "1"});
    // A call made before the tool's first look counts as an old one: calls go on until one shows.
    ToolRun got;
    for (int i = 0; i < 300; ++i) {
        ASSERT_EQ(loid_call(777).first, static_cast<uint32_t>(ZX_OK));
        if (!onlyNew.out().empty()) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    got = onlyNew.finish(30);
    EXPECT_EQ(got.status, 0) << got.err;
    zxtest::JsonPtr record(json_tokener_parse(got.out.c_str()));
    ASSERT_TRUE(record) << got.out;
    EXPECT_GT(zxtest::json_int(record.get(), "seq"), 2);
    EXPECT_EQ(zxtest::json_int(record.get(), "timeoutMs"), 777);
}

// The USB device side: what simctl makes the device send is read from its terminal, as the
// plug-in's side reads it; what is written there is what usb-read shows.
TEST_F(Simctl, UsbDeviceWriteAndReadDriveTheDeviceSide) {
    ToolRun device = simctl({"usb-device", "3"});
    ASSERT_EQ(device.status, 0) << device.err;
    auto info = sim_.usb_device(3);
    ASSERT_TRUE(info);
    EXPECT_EQ(device.out, "device 3: " + info->path + ", not locked\n");

    int fd = open(info->path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_GE(fd, 0) << info->path << ": " << std::strerror(errno);
    termios raw{};
    ASSERT_EQ(tcgetattr(fd, &raw), 0);
    cfmakeraw(&raw);
    ASSERT_EQ(tcsetattr(fd, TCSANOW, &raw), 0);
    auto read_bytes = [fd](size_t n) {
        std::string got;
        for (int i = 0; i < 3000 && got.size() < n; ++i) {
            pollfd p{fd, POLLIN, 0};
            if (poll(&p, 1, 10) == 1) {
                char buf[64];
                ssize_t r = read(fd, buf, sizeof buf);
                if (r > 0) got.append(buf, static_cast<size_t>(r));
            }
        }
        return got;
    };

    ToolRun text = simctl({"usb-write", "3", "--text", "Hi\\r\\n\\x00!"});
    ASSERT_EQ(text.status, 0) << text.err;
    EXPECT_EQ(text.out, "device 3 sent 6 bytes: \"Hi\\r\\n\\x00!\"\n");
    EXPECT_EQ(read_bytes(6), std::string("Hi\r\n\0!", 6));
    ToolRun hex = simctl({"usb-write", "3", "00ff10"});
    ASSERT_EQ(hex.status, 0) << hex.err;
    EXPECT_EQ(read_bytes(3), std::string("\x00\xff\x10", 3));

    ASSERT_EQ(write(fd, "ABC", 3), 3);
    ToolRun read3 = simctl({"usb-read", "3", "--min", "3", "--wait", "20000"});
    ASSERT_EQ(read3.status, 0) << read3.err;
    EXPECT_EQ(read3.out, "device 3 received 3 bytes: 414243 \"ABC\"\n");
    ASSERT_EQ(write(fd, "xyz", 3), 3);
    ToolRun json = simctl({"--json", "usb-read", "3", "--min", "2", "--max", "2", "--wait", "20000"});
    EXPECT_EQ(json.out, "{\"ok\":true,\"data\":\"7879\"}\n");
    ToolRun rest = simctl({"usb-read", "3", "--wait", "20000"});
    EXPECT_EQ(rest.out, "device 3 received 1 byte: 7a \"z\"\n");
    close(fd);

    EXPECT_EQ(simctl({"usb-write", "3", "0g"}).status, 2);    // not hex
    EXPECT_EQ(simctl({"usb-write", "3", "--text", "\\q"}).status, 2);
    EXPECT_EQ(simctl({"usb-read", "3", "--min"}).status, 2);
    ToolRun missing = simctl({"usb-device", "77"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.err.find("simctl: refused: "), std::string::npos) << missing.err;
}

TEST_F(Simctl, WordsThatFitNoFormPrintTheUsageAndShutdownStopsTheSimulator) {
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"nosuch"}, {"inject", "app_m", "loid"}, {"inject", "app_m", "loid", "status"},
                                               {"received", "app_m", "b", "c"}, {"usb-write", "3"}, {"list", "app_m", "b"}}) {
        SCOPED_TRACE(testing::PrintToString(words));
        ToolRun run = simctl(words);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(run.err.rfind("usage: simctl ", 0), 0u) << run.err;
    }
    ToolRun shutdown = simctl({"shutdown"});
    EXPECT_EQ(shutdown.status, 0);
    EXPECT_EQ(shutdown.out, "{\"ok\":true}\n");
    int status = sim_.wait();
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    ToolRun gone = simctl({"ping"});
    EXPECT_EQ(gone.status, 2);
    EXPECT_NE(gone.err.find("cannot connect"), std::string::npos) << gone.err;
}

}  // namespace
