#include "recorder.h"

#include <algorithm>
#include <chrono>
#include <cstring>

namespace zxsim {
namespace {

// A name field of the routing header: text up to the first NUL, at most the field's size.
std::string name_field(const char (&field)[ZX_MSG_PROC_NAME_LEN]) {
    return std::string(field, strnlen(field, sizeof field));
}

void add_u32(json_object* obj, const char* key, uint32_t v) {
    json_object_object_add(obj, key, json_object_new_int64(v));
}

JsonPtr head_json(const ZX_MSG_HEAD_S& h) {
    JsonPtr obj(json_object_new_object());
    add_u32(obj.get(), "srcWord", h.uiSrcWord);
    add_text(obj.get(), "srcName", name_field(h.acSrcProcName));
    add_u32(obj.get(), "midWord", h.uiMid);
    add_text(obj.get(), "dstName", name_field(h.acDstProcName));
    add_u32(obj.get(), "tag", h.uiTag);
    add_text(obj.get(), "resv", to_hex(h.aucResv));
    return obj;
}

}  // namespace

uint64_t Recorder::add(const std::string& service, const zxhost::BusRequest& req) {
    Record r;
    r.service = service;
    r.head = req.head;
    r.msgId = req.msgId;
    r.mid = req.mid;
    r.oneWay = req.oneWay;
    r.timeoutMs = req.timeoutMs;
    r.replyCap = req.replyCap;
    r.callerPid = req.callerPid;
    r.timeMs = std::chrono::duration_cast<std::chrono::milliseconds>(
                   std::chrono::system_clock::now().time_since_epoch())
                   .count();
    r.data.assign(req.data.begin(), req.data.end());

    std::lock_guard lock(mutex_);
    r.seq = nextSeq_++;
    if (records_.size() == kCapacity) records_.pop_front();
    records_.push_back(std::move(r));
    return records_.back().seq;
}

void Recorder::set_decoded(uint64_t seq, JsonPtr decoded) {
    std::lock_guard lock(mutex_);
    auto it =
        std::lower_bound(records_.begin(), records_.end(), seq, [](const Record& r, uint64_t s) { return r.seq < s; });
    if (it != records_.end() && it->seq == seq) it->decoded = std::move(decoded);
}

JsonPtr Recorder::list(const Filter& filter, bool clear) {
    auto matches = [&filter](const Record& r) {
        return (!filter.service || r.service == filter.service) && (!filter.msgId || r.msgId == *filter.msgId) &&
               r.seq > filter.after;
    };
    JsonPtr out(json_object_new_array());
    std::lock_guard lock(mutex_);
    for (const Record& r : records_)
        if (matches(r)) json_object_array_add(out.get(), to_json(r).release());
    if (clear) std::erase_if(records_, matches);
    return out;
}

void Recorder::clear() {
    std::lock_guard lock(mutex_);
    records_.clear();
}

JsonPtr Recorder::to_json(const Record& r) {
    JsonPtr obj(json_object_new_object());
    add_text(obj.get(), "service", r.service);
    json_object_object_add(obj.get(), "seq", json_object_new_int64(static_cast<int64_t>(r.seq)));
    json_object_object_add(obj.get(), "head", head_json(r.head).release());
    add_u32(obj.get(), "msgId", r.msgId);
    add_u32(obj.get(), "mid", r.mid);
    json_object_object_add(obj.get(), "oneWay", json_object_new_boolean(r.oneWay));
    add_u32(obj.get(), "timeoutMs", r.timeoutMs);
    add_u32(obj.get(), "replyCap", r.replyCap);
    add_u32(obj.get(), "callerPid", r.callerPid);
    json_object_object_add(obj.get(), "timeMs", json_object_new_int64(r.timeMs));
    add_text(obj.get(), "data", to_hex(r.data));
    if (r.decoded) {
        // A copy, not a shared reference: json-c's reference counts are not atomic, and the record
        // may be dropped on a service thread while the control thread still writes this answer.
        json_object* copy = nullptr;
        if (json_object_deep_copy(r.decoded.get(), &copy, nullptr) == 0)
            json_object_object_add(obj.get(), "decoded", copy);
    }
    return obj;
}

}  // namespace zxsim
