#include "faults.h"

#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>

namespace zxsim {
namespace {

std::string hex_id(uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", value);
    return text;
}

// The service, the command id in hex and the command's name in the service's table.
std::string call_text(const std::string& service, uint32_t msgId, const std::string& command) {
    return service + " " + hex_id(msgId) + (command.empty() ? "" : " (" + command + ")");
}

std::string joined(const std::vector<std::string>& names) {
    std::string out;
    for (const std::string& name : names) out += (out.empty() ? "" : ", ") + name;
    return out;
}

}  // namespace

std::optional<FaultKind> fault_kind(std::string_view name) {
    if (name == "status") return FaultKind::Status;
    if (name == "delay") return FaultKind::Delay;
    if (name == "noreply") return FaultKind::NoReply;
    if (name == "crash") return FaultKind::Crash;
    return std::nullopt;
}

void Faults::report_to(Report report, std::vector<std::string> served) {
    report_ = std::move(report);
    served_ = std::move(served);
}

void Faults::report_inject(const std::string& service, uint32_t msgId, const std::string& command,
                           const Fault& fault) {
    if (!report_) return;
    std::string what;
    switch (fault.kind) {
        case FaultKind::Status: what = "status " + hex_id(fault.value); break;
        case FaultKind::Delay: what = "delay " + std::to_string(fault.value) + " ms"; break;
        case FaultKind::NoReply: what = "noreply"; break;
        case FaultKind::Crash:
            what = served_.size() > 1 ? "crash (takes down the whole process, every service it serves: " +
                                            joined(served_) + ")"
                                      : "crash (takes down this process, which serves " + service + " alone)";
            break;
    }
    std::string times = fault.times == 0   ? "every call until cleared"
                        : fault.times == 1 ? "the next call"
                                           : "the next " + std::to_string(fault.times) + " calls";
    report_("gatewaysim: fault injected: " + call_text(service, msgId, command) + " " + what + ", " + times);
}

void Faults::report_clear(const std::optional<std::string>& service, std::optional<uint32_t> msgId,
                          size_t cleared) {
    if (!report_) return;
    std::string filter;
    if (service) filter += "service " + *service;
    if (msgId) filter += (filter.empty() ? "" : ", ") + std::string("id ") + hex_id(*msgId);
    report_("gatewaysim: faults cleared: " + std::to_string(cleared) + " (" + (filter.empty() ? "all" : filter) +
            ")");
}

void Faults::crash(const std::string& service, uint32_t msgId, const std::string& command) {
    if (report_) {
        std::string line =
            "gatewaysim: crash injected: " + call_text(service, msgId, command) + " kills process " +
            std::to_string(getpid());
        if (served_.size() > 1)
            line += " and with it every service it serves: " + joined(served_) +
                    " (to crash one service alone, run it in a process of its own: gatewaysim --services " +
                    service + " --ctl " + service + ")";
        else
            line += ", which serves " + service + " alone";
        report_(line);
    }
    kill(getpid(), SIGKILL);
    for (;;) pause();  // a signal sent to the own process arrives before kill() returns
}

void Faults::inject(const std::string& service, uint32_t msgId, const Fault& fault) {
    std::lock_guard lock(mutex_);
    table_[{service, msgId}] = fault;
}

size_t Faults::clear(const std::optional<std::string>& service, std::optional<uint32_t> msgId) {
    std::lock_guard lock(mutex_);
    return std::erase_if(table_, [&](const auto& entry) {
        return (!service || entry.first.first == *service) && (!msgId || entry.first.second == *msgId);
    });
}

std::optional<Fault> Faults::take(const std::string& service, uint32_t msgId) {
    std::lock_guard lock(mutex_);
    auto it = table_.find({service, msgId});
    if (it == table_.end()) return std::nullopt;
    Fault fault = it->second;
    if (fault.times == 1)
        table_.erase(it);
    else if (fault.times > 1)
        --it->second.times;
    return fault;
}

void Faults::delay(uint32_t ms) {
    std::unique_lock lock(mutex_);
    releasedCv_.wait_for(lock, std::chrono::milliseconds(ms), [this] { return released_; });
}

void Faults::release() {
    {
        std::lock_guard lock(mutex_);
        released_ = true;
    }
    releasedCv_.notify_all();
}

}  // namespace zxsim
