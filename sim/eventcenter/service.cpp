// The event centre endpoint: takes every event the platform raises. The event id travels as the
// message id and the event's record as the data; every event is answered status 0 with no data.
//
// The records of the plug-in events are decoded (texts up to their NUL; a short record is read as
// if zero-filled), both into the call's record ("decoded") and into the state:
//   12342  record A  {"event": "EventInform", "name", "data"}
//   12348  record A  {"event": "NotifyEvent", "name", "data"}
//   12355  record B  {"event": "NotifyEventExtended", "first", "second", "data"}
// Other ids keep only the raw record.
//
// State members:
//   events   the last 100 events, oldest first: [{"id", "event", ...the decoded fields}], or
//            {"id", "record": hex} for an event of another id
#include <algorithm>
#include <cstring>
#include <string>

#include "record_util.h"
#include "services.h"
#include "zx_eventcenter.h"
#include "zx_wire_eventcenter.h"

namespace zxsim {
namespace {

constexpr size_t kKeptEvents = 100;

// The request copied into a zero-filled record (a short request leaves the rest zero).
template <class T>
T record_of(const Call& call) {
    T rec;
    std::memset(&rec, 0, sizeof rec);
    const auto& data = call.request().data;
    if (!data.empty()) std::memcpy(&rec, data.data(), std::min(data.size(), sizeof rec));
    return rec;
}

// The decoded event, or nullptr for an id that is not decoded.
JsonPtr decode(const Call& call) {
    uint32_t id = call.request().msgId;
    JsonPtr out;
    if (id == ZX_EVENT_INFORM || id == ZX_EVENT_NOTIFY) {
        auto rec = record_of<ZX_EVENT_RECORD_A_S>(call);
        out.reset(json_object_new_object());
        add_text(out.get(), "event", id == ZX_EVENT_INFORM ? "EventInform" : "NotifyEvent");
        add_text(out.get(), "name", field(rec.acName));
        add_text(out.get(), "data", field(rec.acData));
    } else if (id == ZX_EVENT_NOTIFY_EXTENDED) {
        auto rec = record_of<ZX_EVENT_RECORD_B_S>(call);
        out.reset(json_object_new_object());
        add_text(out.get(), "event", "NotifyEventExtended");
        add_text(out.get(), "first", field(rec.acFirst));
        add_text(out.get(), "second", field(rec.acSecond));
        add_text(out.get(), "data", field(rec.acData));
    }
    return out;
}

void accept_event(Call& call) {
    JsonPtr decoded = decode(call);
    json_object* kept = json_object_new_object();
    json_object_object_add(kept, "id", json_object_new_int64(call.request().msgId));
    if (decoded) {
        // Copies: the decoded object goes to the recorder, and json-c's reference counts are not
        // atomic.
        json_object_object_foreach(decoded.get(), key, value) {
            json_object* copy = nullptr;
            if (json_object_deep_copy(value, &copy, nullptr) == 0) json_object_object_add(kept, key, copy);
        }
    } else {
        add_text(kept, "record", to_hex(call.request().data));
    }
    call.service().with_state([kept](json_object* state) {
        json_object* events = member(state, "events", json_type_array);
        json_object_array_add(events, kept);
        size_t n = json_object_array_length(events);
        if (n > kKeptEvents) json_object_array_del_idx(events, 0, n - kKeptEvents);
    });
    if (decoded) call.set_decoded(std::move(decoded));
    call.reply_bytes({});
}

}  // namespace

// Every event id reaches accept_event: the service has no command table of its own.
const ServiceDef& eventcenter_service() {
    static const ServiceDef kDef{ZX_EVENTCENTER_ENDPOINT, {}, accept_event};
    return kDef;
}

}  // namespace zxsim
