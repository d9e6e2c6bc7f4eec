#include "faults.h"

#include <chrono>

namespace zxsim {

std::optional<FaultKind> fault_kind(std::string_view name) {
    if (name == "status") return FaultKind::Status;
    if (name == "delay") return FaultKind::Delay;
    if (name == "noreply") return FaultKind::NoReply;
    if (name == "crash") return FaultKind::Crash;
    return std::nullopt;
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
