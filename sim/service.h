// A simulated service: its state, its command table and the path every request takes through it
// (record, injected fault, command).
//
// A service's commands come in families, one file each under sim/<service>/ (sim/app_m/system.cpp,
// sim/app_m/wlan.cpp, ...). A family is a table kept sorted by message id (checked at compile
// time); adding a command is one entry and its handler:
//
//     void get_loid(Call& call) { ... }
//     constexpr std::initializer_list<Command> kCommands{
//         {ZX_APPM_RPC_GET_LOID, "GetLoid", get_loid},
//     };
//     static_assert(commands_sorted(kCommands));
//     const CommandFamily kSystemFamily{"system", {kCommands.begin(), kCommands.size()}};
//
// sim/<service>/service.cpp lists the service's families. At start-up they are merged into one
// table searched by bisection; a message id that two families both answer is refused then.
#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "faults.h"
#include "json_util.h"
#include "recorder.h"
#include "sim_status.h"
#include "zx_host.h"

namespace zxsim {

class Call;
class Service;
using CommandFn = void (*)(Call&);

struct Command {
    uint32_t msgId;
    const char* name;
    CommandFn run;
};

// True when the table is in strictly ascending message-id order (no id twice).
consteval bool commands_sorted(std::initializer_list<Command> table) {
    const Command* prev = nullptr;
    for (const Command& c : table) {
        if (prev && prev->msgId >= c.msgId) return false;
        prev = &c;
    }
    return true;
}

// The commands of one family of a service, in ascending message-id order.
struct CommandFamily {
    const char* name;
    std::span<const Command> commands;
};

struct ServiceDef {
    const char* name;
    std::span<const CommandFamily* const> families;
    // Serves message ids that have no command; nullptr answers ZX_SIM_ERR_UNKNOWN_MSG.
    CommandFn fallback = nullptr;
    // Runs when the gateway starts the service and after the control socket has set members of
    // its state (usb_mngt makes its disc directories there); nullptr: nothing to do.
    void (*on_state)(Service&) = nullptr;
};

// The service's families merged into one table in ascending message-id order. False, with the
// service, the id and both families named in `error`, when two families have a command of the
// same message id.
[[nodiscard]] bool merge_families(const ServiceDef& def, std::vector<Command>& table, std::string& error);

// The command with that message id, or nullptr; the table is in ascending message-id order.
const Command* find_command(std::span<const Command> table, uint32_t msgId);
// The command of that name, or nullptr.
const Command* find_command_named(std::span<const Command> table, std::string_view name);

class Service {
public:
    Service(const ServiceDef& def, JsonPtr state, Recorder& recorder, Faults& faults);
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    const char* name() const { return def_.name; }
    // Why the service's families could not be merged ("" when they could); a gateway refuses to
    // start such a service.
    const std::string& table_error() const { return tableError_; }
    const std::vector<Command>& commands() const { return commands_; }
    // The bus handler: may run on several connection threads at once.
    void handle(const zxhost::BusRequest& req, zxhost::BusAnswer& answer);

    // Runs fn(json_object* state) with the state locked; fn must not keep the pointer.
    template <class Fn>
    decltype(auto) with_state(Fn&& fn) {
        std::lock_guard lock(stateMutex_);
        return fn(state_.get());
    }
    // A copy of the state, safe to use after the lock is gone.
    JsonPtr state_copy();
    // Sets every top-level member of `members` in the state (copies; members keeps its own), then
    // runs the service's on_state.
    void merge_state(json_object* members);
    // Runs the service's on_state (when the gateway starts it).
    void state_changed();

    // How this service reads another one's state: set by the gateway that serves it.
    using PeerState = std::function<JsonPtr(std::string_view name)>;
    void set_peer_state(PeerState peerState) { peerState_ = std::move(peerState); }
    // A copy of the state of the service `name`: its live state when this process serves it, else
    // its initial state from the profile; nullptr when neither is known.
    JsonPtr peer_state(std::string_view name) const { return peerState_ ? peerState_(name) : nullptr; }

private:
    void run_command(Call& call);

    const ServiceDef& def_;
    std::vector<Command> commands_;
    std::string tableError_;
    std::mutex stateMutex_;
    JsonPtr state_;
    Recorder& recorder_;
    Faults& faults_;
    PeerState peerState_;
};

// One request on its way through a command: the request, the answer being built, the service's
// state and what the command decoded for the record.
class Call {
public:
    Call(Service& service, const zxhost::BusRequest& req, zxhost::BusAnswer& answer)
        : service_(service), req_(req), answer_(answer) {}

    const zxhost::BusRequest& request() const { return req_; }
    Service& service() { return service_; }

    // Reads the record T at offset of the request. A request too short for it is answered
    // ZX_SIM_ERR_BAD_REQUEST and false returned, so a command just returns.
    template <class T>
    [[nodiscard]] bool read(T& out, size_t offset = 0) {
        static_assert(std::is_trivially_copyable_v<T>, "request records are plain structs");
        if (offset > req_.data.size() || req_.data.size() - offset < sizeof(T)) {
            fail(ZX_SIM_ERR_BAD_REQUEST);
            return false;
        }
        std::memcpy(&out, req_.data.data() + offset, sizeof(T));
        return true;
    }

    // A request that is a text and its NUL: the text (up to the end of the request when no NUL comes).
    std::string request_text() const;

    // A text member of the service's state ("" when missing; a number or boolean as its text).
    std::string state_text(const char* key);
    // A 32-bit member of the service's state (see member_u32), 0 when missing.
    uint32_t state_u32(const char* key);

    // Answers status 0 with `text` and its NUL, cut so that text and NUL fit the caller's reply room.
    void reply_text(std::string_view text);
    // Answers status 0 with the bytes (the bus cuts them to the caller's reply room).
    void reply_bytes(std::span<const uint8_t> bytes);
    template <class T>
    void reply_record(const T& record) {
        static_assert(std::is_trivially_copyable_v<T>, "reply records are plain structs");
        reply_bytes({reinterpret_cast<const uint8_t*>(&record), sizeof record});
    }
    // Answers `status` with no data.
    void fail(uint32_t status);

    // Stores what the command read from the request (a shared-block payload, ...) in its record.
    void set_decoded(JsonPtr decoded) { decoded_ = std::move(decoded); }
    JsonPtr take_decoded() { return std::move(decoded_); }

private:
    Service& service_;
    const zxhost::BusRequest& req_;
    zxhost::BusAnswer& answer_;
    JsonPtr decoded_;
};

}  // namespace zxsim
