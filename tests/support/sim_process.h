// SimProcess: the gateway simulator (gatewaysim) as a child process of a test.
//
// Typical use, with the bus directory made first so that it outlives the simulator:
//
//     zxtest::ScopedBusDir bus;
//     zxtest::SimProcess sim;                                  // every service, control "gatewaysim"
//     ASSERT_TRUE(sim.start());
//     ASSERT_TRUE(sim.ctl_ok(R"({"op":"set","service":"app_m","state":{"loid":"X"}})"));
//     ... calls over the bus ...
//     zxtest::JsonPtr records = sim.records("app_m");         // what app_m received
//
// One service per process, so that a test can kill or stop it alone:
//
//     zxtest::SimProcess appm({.services = {"app_m"}, .ctl = "app_m"});
//
// The simulator runs in the bus directory and with the profile of the test's environment at
// start() (ZX_BUS_DIR, ZX_PROFILE; Options::profile overrides the latter). The destructor stops it
// with SIGTERM and records a test failure unless it then exits with status 0 (which also catches
// leaks reported by a sanitizer build); a test that kills it on purpose reaps it with wait().
//
// The control protocol (one JSON request per line, one JSON answer per line) is described in
// sim/control.cpp; the simulator's own status codes are in sim/sim_status.h, included here.
#pragma once

#include <gtest/gtest.h>
#include <json-c/json.h>
#include <sys/types.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "../../sim/sim_status.h"

namespace zxtest {

struct JsonPut {
    void operator()(json_object* obj) const { json_object_put(obj); }
};
// One reference to a json-c object, dropped on destruction.
using JsonPtr = std::unique_ptr<json_object, JsonPut>;

class SimProcess {
public:
    struct Options {
        std::vector<std::string> services;  // empty: every service
        std::string ctl = "gatewaysim";     // control socket <bus dir>/<ctl>.ctl
        std::string profile;                // empty: the environment's profile
    };

    // Bounds of the waits below; generous, since a sanitizer build starts slowly.
    static constexpr int kReadyTimeoutMs = 30000;
    static constexpr int kExitTimeoutMs = 30000;
    static constexpr int kCtlTimeoutMs = 30000;

    SimProcess() : SimProcess(Options{}) {}
    explicit SimProcess(Options options);
    ~SimProcess();
    SimProcess(const SimProcess&) = delete;
    SimProcess& operator=(const SimProcess&) = delete;

    // Starts the simulator and waits for its "gatewaysim ready <pid>" line.
    testing::AssertionResult start();
    // Stops the simulator if it runs (reaps it if it died), then starts it again.
    testing::AssertionResult restart();
    // SIGTERM, then waits for the exit; success when it exited with status 0 or was not running.
    // Escalates to SIGKILL when it does not end in time.
    testing::AssertionResult stop();

    // Sends a signal to the running simulator.
    void kill(int sig);
    // Waits for the simulator to end and reaps it: its wait status (see waitpid), or -1 when it
    // was not running or did not end within kExitTimeoutMs.
    int wait();

    bool running() const { return pid_ > 0; }
    pid_t pid() const { return pid_; }
    std::string ctl_path() const;

    // One request line (without newline) on a fresh control connection: the answer line, or
    // nullopt when the simulator could not be reached or did not answer in time.
    std::optional<std::string> ctl_line(const std::string& request) const;
    // The same, with the answer parsed (nullptr when there was none or it is not JSON).
    JsonPtr ctl(const std::string& request) const;
    // A request that must be answered "ok": true; the answer is handed out when asked for.
    testing::AssertionResult ctl_ok(const std::string& request, JsonPtr* answer = nullptr) const;
    // The records of what `service` received ("" = every service), oldest first, as a JSON
    // array; nullptr when the request failed.
    JsonPtr records(const std::string& service = "") const;

private:
    // A descriptor closed on destruction or reset.
    class Fd {
    public:
        Fd() = default;
        ~Fd() { reset(); }
        Fd(const Fd&) = delete;
        Fd& operator=(const Fd&) = delete;
        int get() const { return fd_; }
        void reset(int fd = -1);

    private:
        int fd_ = -1;
    };

    testing::AssertionResult wait_ready();
    // Forgets the child after it has been reaped.
    void forget_child();

    Options options_;
    pid_t pid_ = -1;
    Fd pidfd_;   // readable once the child has ended
    Fd stdout_;  // read end of the child's stdout
};

// Text of a JSON member, "" when missing (for short assertions on answers and records).
std::string json_text(json_object* obj, const char* key);
// Integer value of a JSON member, -1 when missing or not a number.
int64_t json_int(json_object* obj, const char* key);

}  // namespace zxtest
