// SimProcess: the gateway simulator (gatewaysim) as a child process of a test.
//
// Typical use, with the bus directory made first so that it outlives the simulator:
//
//     zxtest::ScopedBusDir bus;
//     zxtest::SimProcess sim;                                  // every service, control "gatewaysim"
//     ASSERT_TRUE(sim.start());
//     ASSERT_TRUE(sim.set_state("app_m", "loid", "X"));
//     ASSERT_TRUE(sim.inject("app_m", 0x4710304B, zxtest::Fault::status(0xF7213003, 1)));
//     ... calls over the bus ...
//     std::vector<zxtest::Received> got = sim.received("app_m");   // what app_m received
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

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "../../sim/sim_status.h"

namespace zxtest {

struct JsonPut {
    void operator()(json_object* obj) const { json_object_put(obj); }
};
// One reference to a json-c object, dropped on destruction.
using JsonPtr = std::unique_ptr<json_object, JsonPut>;

using Bytes = std::vector<uint8_t>;

// A fault the simulator injects into the calls of one command, for the next `times` calls (0:
// until the faults are cleared).
struct Fault {
    enum class Kind { Status, Delay, NoReply, Crash };
    Kind kind;
    uint32_t value = 0;  // the status, or the delay in ms
    uint32_t times = 0;

    // The service answers `code` as its status.
    static Fault status(uint32_t code, uint32_t times = 0) { return {Kind::Status, code, times}; }
    // The service answers `ms` milliseconds late.
    static Fault delay(uint32_t ms, uint32_t times = 0) { return {Kind::Delay, ms, times}; }
    // The service never answers.
    static Fault noreply(uint32_t times = 0) { return {Kind::NoReply, 0, times}; }
    // The simulator process dies on the call.
    static Fault crash(uint32_t times = 0) { return {Kind::Crash, 0, times}; }
};

// A value of a service's state: a text, a number, or an array or object of such values.
//
//     sim.set_state("tarn", "dnsNames", StateValue::object({{"a.example.com", StateValue::array({"192.0.2.1"})}}));
class StateValue {
public:
    StateValue(const char* text);
    StateValue(const std::string& text);
    StateValue(int number) : StateValue(static_cast<long long>(number)) {}
    StateValue(long long number);
    static StateValue array(std::vector<StateValue> elements);
    static StateValue object(std::vector<std::pair<std::string, StateValue>> members);

    // A new reference to the value.
    json_object* json() const { return json_object_get(value_.get()); }

private:
    explicit StateValue(json_object* owned) : value_(owned, json_object_put) {}
    std::shared_ptr<json_object> value_;
};

// The routing header of a received request, as the simulator decoded it.
struct ReceivedHead {
    uint32_t srcWord = 0;
    std::string srcName;
    uint32_t midWord = 0;
    std::string dstName;
    uint32_t tag = 0;
    Bytes resv;
};

// One request a service received, oldest first.
struct Received {
    std::string service;
    uint64_t seq = 0;
    ReceivedHead head;
    uint32_t msgId = 0;
    uint32_t mid = 0;
    bool oneWay = false;
    uint32_t timeoutMs = 0;
    uint32_t replyCap = 0;
    uint32_t callerPid = 0;
    Bytes data;
    // What the service made of the request's payload (a shared block read, ...); null until the
    // command has been handled, or when it has nothing to decode.
    std::shared_ptr<json_object> decoded;
};

class SimProcess {
public:
    struct Options {
        std::vector<std::string> services;  // empty: every service
        std::string ctl = "gatewaysim";     // control socket <bus dir>/<ctl>.ctl
        std::string profile;                // empty: the environment's profile
        std::string stderrFile;             // empty: the test's standard error; else that file (appended)
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

    // What `service` received ("" = every service), oldest first; with `clear` the records
    // returned are forgotten. nullopt when the request failed.
    std::optional<std::vector<Received>> received(const std::string& service = "", bool clear = false) const;
    // Forgets every record.
    testing::AssertionResult clear_received() const;
    // Injects a fault into the calls of `msgId` to `service`.
    testing::AssertionResult inject(const std::string& service, uint32_t msgId, const Fault& fault) const;
    // Clears the injected faults ("" = of every service).
    testing::AssertionResult clear_faults(const std::string& service = "") const;
    // Sets one top-level member of a service's state, or several.
    testing::AssertionResult set_state(const std::string& service, const std::string& key,
                                       const StateValue& value) const;
    testing::AssertionResult set_state(const std::string& service,
                                       std::vector<std::pair<std::string, StateValue>> members) const;
    // The service's state (a JSON object), nullptr when the request failed.
    JsonPtr state(const std::string& service) const;

    // The device side of a simulated USB device: its terminal's path and the plug-in that holds
    // its lock ("" unlocked), bytes it sends, and the bytes it received (waits up to waitMs for at
    // least min of them, at most max).
    struct UsbDevice {
        std::string path;
        std::string lockedBy;
    };
    std::optional<UsbDevice> usb_device(uint32_t devId) const;
    testing::AssertionResult usb_write(uint32_t devId, const Bytes& bytes) const;
    std::optional<Bytes> usb_read(uint32_t devId, uint32_t min, uint32_t max, uint32_t waitMs) const;

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
    // Sends a request object that must be answered "ok": true.
    testing::AssertionResult request_ok(json_object* request, JsonPtr* answer = nullptr) const;
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

// Bytes as lower-case hex, and back (empty for text that is not hex).
std::string to_hex(const Bytes& bytes);
Bytes from_hex(const std::string& text);

}  // namespace zxtest
