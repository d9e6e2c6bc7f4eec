// Faults injected per (service, message id): what a test makes a service do instead of answering.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zxsim {

enum class FaultKind {
    Status,   // answer `value` as the status, with no data, instead of the command's answer
    Delay,    // wait `value` ms (real time, not scaled), then answer as usual
    NoReply,  // send nothing: the caller runs into its time-out
    Crash,    // the service's process dies at once (SIGKILL), as a crashing service would
};

std::optional<FaultKind> fault_kind(std::string_view name);

struct Fault {
    FaultKind kind = FaultKind::Status;
    uint32_t value = 0;
    uint32_t times = 0;  // calls still to hit; 0 = every call until cleared
};

class Faults {
public:
    using Report = std::function<void(const std::string& line)>;

    // From now on every injection, clearing and crash is described by one line (no newline) given
    // to `report`; `served` names the services of this process, which a crash takes down
    // together. Called before the services start; without it (the default) nothing is reported.
    void report_to(Report report, std::vector<std::string> served);
    // Reports an injection made through the control socket; `command` is the command's name, or
    // "" when the service has none for that id.
    void report_inject(const std::string& service, uint32_t msgId, const std::string& command, const Fault& fault);
    // Reports that `cleared` faults were removed by the filters given.
    void report_clear(const std::optional<std::string>& service, std::optional<uint32_t> msgId, size_t cleared);
    // Reports the crash of `service` on a call of msgId, then kills this process (SIGKILL).
    [[noreturn]] void crash(const std::string& service, uint32_t msgId, const std::string& command);

    // Sets the fault of (service, msgId), replacing an earlier one.
    void inject(const std::string& service, uint32_t msgId, const Fault& fault);
    // Removes the faults that match; an absent filter matches everything. Returns how many.
    size_t clear(const std::optional<std::string>& service, std::optional<uint32_t> msgId);
    // The fault that applies to this call, if any; counts the call against its `times`.
    std::optional<Fault> take(const std::string& service, uint32_t msgId);
    // Waits ms milliseconds, or less once release() was called (the simulator is stopping).
    void delay(uint32_t ms);
    void release();

private:
    std::mutex mutex_;
    std::condition_variable releasedCv_;
    bool released_ = false;
    std::map<std::pair<std::string, uint32_t>, Fault> table_;
    Report report_;
    std::vector<std::string> served_;
};

}  // namespace zxsim
