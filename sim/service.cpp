#include "service.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace zxsim {

const Command* find_command(std::span<const Command> table, uint32_t msgId) {
    auto it =
        std::lower_bound(table.begin(), table.end(), msgId, [](const Command& c, uint32_t id) { return c.msgId < id; });
    return (it != table.end() && it->msgId == msgId) ? &*it : nullptr;
}

const Command* find_command_named(std::span<const Command> table, std::string_view name) {
    for (const Command& c : table)
        if (name == c.name) return &c;
    return nullptr;
}

bool merge_families(const ServiceDef& def, std::vector<Command>& table, std::string& error) {
    struct Entry {
        const Command* command;
        const char* family;
    };
    std::vector<Entry> entries;
    for (const CommandFamily* family : def.families)
        for (const Command& c : family->commands) entries.push_back({&c, family->name});
    std::stable_sort(entries.begin(), entries.end(),
                     [](const Entry& a, const Entry& b) { return a.command->msgId < b.command->msgId; });
    table.clear();
    for (size_t i = 0; i < entries.size(); ++i) {
        if (i > 0 && entries[i - 1].command->msgId == entries[i].command->msgId) {
            char id[16];
            std::snprintf(id, sizeof id, "0x%08X", entries[i].command->msgId);
            error = std::string(def.name) + ": message id " + id + " is answered by two families, \"" +
                    entries[i - 1].family + "\" (" + entries[i - 1].command->name + ") and \"" + entries[i].family +
                    "\" (" + entries[i].command->name + ")";
            table.clear();
            return false;
        }
        table.push_back(*entries[i].command);
    }
    return true;
}

Service::Service(const ServiceDef& def, JsonPtr state, Recorder& recorder, Faults& faults)
    : def_(def), state_(std::move(state)), recorder_(recorder), faults_(faults) {
    if (!merge_families(def_, commands_, tableError_)) commands_.clear();
}

void Service::handle(const zxhost::BusRequest& req, zxhost::BusAnswer& answer) {
    uint64_t seq = recorder_.add(def_.name, req);
    if (std::optional<Fault> fault = faults_.take(def_.name, req.msgId)) {
        switch (fault->kind) {
            case FaultKind::Status: answer.status = fault->value; return;
            case FaultKind::NoReply: answer.noReply = true; return;
            case FaultKind::Crash: {
                const Command* cmd = find_command(commands_, req.msgId);
                faults_.crash(def_.name, req.msgId, cmd ? cmd->name : "");
            }
            case FaultKind::Delay: faults_.delay(fault->value); break;
        }
    }
    Call call(*this, req, answer);
    run_command(call);
    if (JsonPtr decoded = call.take_decoded()) recorder_.set_decoded(seq, std::move(decoded));
}

void Service::run_command(Call& call) {
    if (const Command* cmd = find_command(commands_, call.request().msgId))
        cmd->run(call);
    else if (def_.fallback)
        def_.fallback(call);
    else
        call.fail(ZX_SIM_ERR_UNKNOWN_MSG);
}

JsonPtr Service::state_copy() {
    return with_state([](json_object* state) {
        json_object* copy = nullptr;
        json_object_deep_copy(state, &copy, nullptr);
        return JsonPtr(copy);
    });
}

void Service::merge_state(json_object* members) {
    with_state([members](json_object* state) {
        json_object_object_foreach(members, key, value) {
            json_object* copy = nullptr;
            if (json_object_deep_copy(value, &copy, nullptr) == 0) json_object_object_add(state, key, copy);
        }
    });
    state_changed();
}

void Service::state_changed() {
    if (def_.on_state) def_.on_state(*this);
}

std::string Call::request_text() const {
    if (req_.data.empty()) return {};
    const char* text = reinterpret_cast<const char*>(req_.data.data());
    return std::string(text, strnlen(text, req_.data.size()));
}

uint32_t Call::state_u32(const char* key) {
    return service_.with_state([key](json_object* state) { return member_u32(state, key).value_or(0); });
}

std::string Call::state_text(const char* key) {
    return service_.with_state([key](json_object* state) {
        json_object* v = nullptr;
        if (!json_object_object_get_ex(state, key, &v) || json_object_is_type(v, json_type_null)) return std::string();
        return std::string(json_object_get_string(v));
    });
}

void Call::reply_text(std::string_view text) {
    size_t room = req_.replyCap == 0 ? 0 : req_.replyCap - 1;
    text = text.substr(0, room);
    answer_.status = ZX_OK;
    answer_.data.assign(text.begin(), text.end());
    answer_.data.push_back(0);
}

void Call::reply_bytes(std::span<const uint8_t> bytes) {
    answer_.status = ZX_OK;
    answer_.data.assign(bytes.begin(), bytes.end());
}

void Call::fail(uint32_t status) {
    answer_.status = status;
    answer_.data.clear();
}

}  // namespace zxsim
