// The kit's programs asked for help or given an option they do not know: the usage, the exit
// status, and not a trace on the bus. And what gatewaysim tells on its standard error about the
// faults injected through its control socket and the crashes they cause.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

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
#include "zx_host.h"
#include "zx_platform.h"
#include "zx_wire.h"

extern char** environ;

namespace {

using zxtest::SimProcess;

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

std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::vector<std::string> entries_of(const std::string& dir) {
    std::vector<std::string> names;
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator(dir, ec))
        names.push_back(entry.path().filename().string());
    return names;
}

struct ToolRun {
    bool ended = false;  // false: still running after the wait (then killed)
    int status = -1;     // exit status, -1 when it did not exit normally
    std::string out;
    std::string err;
};

// Runs the program with the test's environment (its bus directory) and waits at most `waitSeconds`
// for it to end; standard output and error are collected in files outside the bus directory.
ToolRun run_tool(const std::string& path, const std::vector<std::string>& args, int waitSeconds = 60) {
    zxtest::ScopedTempDir scratch("zxtool");
    const std::string outPath = scratch.path() + "/out", errPath = scratch.path() + "/err";
    std::vector<std::string> words{path};
    words.insert(words.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& w : words) argv.push_back(w.data());
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    pid_t pid = -1;
    int rc = posix_spawn(&pid, path.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ToolRun run;
    if (rc != 0) {
        ADD_FAILURE() << "cannot start " << path << ": " << std::strerror(rc);
        return run;
    }
    // A bound against a tool that hangs, not a measure of its speed.
    int wstatus = 0;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(waitSeconds);
    pid_t done = 0;
    while ((done = waitpid(pid, &wstatus, WNOHANG)) == 0 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    if (done == 0) {
        kill(pid, SIGKILL);
        waitpid(pid, &wstatus, 0);
    } else {
        run.ended = done == pid;
    }
    if (run.ended && WIFEXITED(wstatus)) run.status = WEXITSTATUS(wstatus);
    run.out = read_file(outPath);
    run.err = read_file(errPath);
    return run;
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

}  // namespace
