// The control protocol: one JSON object per request line, {"op": NAME, ...}, answered by one JSON
// object per line with "ok": true and the operation's members, or "ok": false and "error".
//
//   {"op":"ping"}                               -> "pid", "services": [names]
//   {"op":"received"[,"service":S[,"msgId":N]][,"after":SEQ][,"clear":true]}
//                                               -> "records": [...] (oldest first): of the service,
//                                                  of one of its commands, those with a sequence
//                                                  number above SEQ; with clear, the records
//                                                  returned are forgotten
//   {"op":"commands"[,"service":S]}             -> "services": [{"name":S,"commands":[{"msgId",
//                                                  "name"}, ...]}, ...]: the commands each service
//                                                  served here answers, by id
//   {"op":"clear"}                              forgets every record
//   {"op":"state","service":S}                  -> "state": the service's state
//   {"op":"set","service":S,"state":{...}}      sets those top-level members -> "state"
//   {"op":"inject","service":S,"msgId":N,"fault":"status"|"delay"|"noreply"|"crash"
//        [,"value":N][,"times":N]}              value is the status or the delay in ms; times is
//                                               how many calls it hits, 0 or absent: until cleared
//   {"op":"inject_clear"[,"service":S][,"msgId":N]} -> "cleared": count
//   {"op":"shutdown"}                           answers, then stops like SIGTERM
//   {"op":"usb_device","device":N}              -> "path" of its terminal, "lockedBy" ("" unlocked)
//   {"op":"usb_write","device":N,"data":HEX}    the device side sends the bytes -> "written"
//   {"op":"usb_read","device":N[,"min":N][,"max":N][,"waitMs":N]}
//                                               what the device side received -> "data" (hex):
//                                               waits up to waitMs (0) for min (1) bytes, at most
//                                               max (65536)
//
// Numbers (msgId, value, times) may also be texts in C notation ("0xF7213003"); a msgId may also
// be the name of one of the service's commands ("GetLoid") or its name in the wire catalogue
// ("ZX_APPM_RPC_GET_LOID", "get-loid", or a part that names one command: "loid"; a part that
// names several is refused with their names). A record is
// {"service","seq","head":{"srcWord","srcName","midWord","dstName","tag","resv"},"msgId","mid",
//  "oneWay","timeoutMs","replyCap","callerPid","timeMs","data"[,"decoded"]} with resv and data in
// hex, and timeMs the time it arrived (milliseconds since the epoch).
#include <signal.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "gateway.h"
#include "usb_mngt/usb_devices.h"
#include "zx_wire_catalog.h"

namespace zxsim {
namespace {

// An operation adds its members to the answer, or returns why it failed.
using Failure = std::optional<std::string>;
using OpFn = Failure (*)(Gateway&, json_object* req, json_object* answer);

// The service named by the request's "service" member, which must be one served here.
Service* requested_service(Gateway& gw, json_object* req, Failure& failure) {
    const char* name = member_text(req, "service");
    if (!name) {
        failure = "missing \"service\"";
        return nullptr;
    }
    Service* service = gw.find(name);
    if (!service) failure = std::string("service \"") + name + "\" is not served here";
    return service;
}

bool has_member(json_object* obj, const char* key) { return json_object_object_get_ex(obj, key, nullptr); }

// The request's "msgId": a number, the name of one of the service's commands in its table
// ("GetLoid"), or a name the wire catalogue gives one command of the service (zxwire::match: the
// macro's name "ZX_APPM_RPC_GET_LOID", "get_loid", or a part of it that names one command, "loid").
std::optional<uint32_t> requested_msg_id(const Service* service, json_object* req, Failure& failure) {
    if (std::optional<uint32_t> id = member_u32(req, "msgId")) return id;
    const char* name = member_text(req, "msgId");
    if (service && name) {
        if (const Command* command = find_command_named(service->commands(), name)) return command->msgId;
        std::vector<const zxwire::Command*> found = zxwire::match(service->name(), name);
        if (found.size() == 1) return found[0]->id;
        if (found.size() > 1) {
            std::string names;
            for (const zxwire::Command* c : found) names += (names.empty() ? "" : ", ") + std::string(c->name);
            failure = std::string("\"") + name + "\" names several commands of " + service->name() + ": " + names;
            return std::nullopt;
        }
    }
    failure = "\"msgId\" must be a 32-bit number or the name of one of the service's commands";
    return std::nullopt;
}

// A member that must be a JSON integer from 0 up.
std::optional<uint64_t> member_u64(json_object* obj, const char* key) {
    json_object* v = nullptr;
    if (!json_object_object_get_ex(obj, key, &v) || !json_object_is_type(v, json_type_int)) return std::nullopt;
    int64_t i = json_object_get_int64(v);
    if (i < 0) return std::nullopt;
    return static_cast<uint64_t>(i);
}

Failure op_ping(Gateway& gw, json_object*, json_object* answer) {
    json_object* names = json_object_new_array();
    for (const auto& service : gw.services()) json_object_array_add(names, json_object_new_string(service->name()));
    json_object_object_add(answer, "pid", json_object_new_int(getpid()));
    json_object_object_add(answer, "services", names);
    return std::nullopt;
}

Failure op_received(Gateway& gw, json_object* req, json_object* answer) {
    Failure failure;
    Recorder::Filter filter;
    Service* service = nullptr;
    if (has_member(req, "service")) {
        service = requested_service(gw, req, failure);
        if (!service) return failure;
        filter.service = service->name();
    }
    if (has_member(req, "msgId")) {
        if (!service) return "\"msgId\" needs a \"service\"";
        if (!(filter.msgId = requested_msg_id(service, req, failure))) return failure;
    }
    if (has_member(req, "after")) {
        std::optional<uint64_t> after = member_u64(req, "after");
        if (!after) return "\"after\" must be a sequence number";
        filter.after = *after;
    }
    json_object* clear = nullptr;
    bool clearing = json_object_object_get_ex(req, "clear", &clear) && json_object_get_boolean(clear);
    json_object_object_add(answer, "records", gw.recorder().list(filter, clearing).release());
    return std::nullopt;
}

Failure op_commands(Gateway& gw, json_object* req, json_object* answer) {
    Failure failure;
    Service* only = nullptr;
    if (has_member(req, "service") && !(only = requested_service(gw, req, failure))) return failure;
    json_object* services = json_object_new_array();
    for (const auto& service : gw.services()) {
        if (only && service.get() != only) continue;
        json_object* commands = json_object_new_array();
        for (const Command& c : service->commands()) {
            json_object* command = json_object_new_object();
            json_object_object_add(command, "msgId", json_object_new_int64(c.msgId));
            json_object_object_add(command, "name", json_object_new_string(c.name));
            json_object_array_add(commands, command);
        }
        json_object* entry = json_object_new_object();
        json_object_object_add(entry, "name", json_object_new_string(service->name()));
        json_object_object_add(entry, "commands", commands);
        json_object_array_add(services, entry);
    }
    json_object_object_add(answer, "services", services);
    return std::nullopt;
}

Failure op_clear(Gateway& gw, json_object*, json_object*) {
    gw.recorder().clear();
    return std::nullopt;
}

Failure op_state(Gateway& gw, json_object* req, json_object* answer) {
    Failure failure;
    Service* service = requested_service(gw, req, failure);
    if (!service) return failure;
    json_object_object_add(answer, "state", service->state_copy().release());
    return std::nullopt;
}

Failure op_set(Gateway& gw, json_object* req, json_object* answer) {
    Failure failure;
    Service* service = requested_service(gw, req, failure);
    if (!service) return failure;
    json_object* members = nullptr;
    if (!json_object_object_get_ex(req, "state", &members) || !json_object_is_type(members, json_type_object))
        return "\"state\" must be a JSON object";
    service->merge_state(members);
    json_object_object_add(answer, "state", service->state_copy().release());
    return std::nullopt;
}

Failure op_inject(Gateway& gw, json_object* req, json_object*) {
    Failure failure;
    Service* service = requested_service(gw, req, failure);
    if (!service) return failure;
    std::optional<uint32_t> msgId = requested_msg_id(service, req, failure);
    if (!msgId) return failure;
    const char* kindName = member_text(req, "fault");
    std::optional<FaultKind> kind = kindName ? fault_kind(kindName) : std::nullopt;
    if (!kind) return "\"fault\" must be one of status, delay, noreply, crash";

    Fault fault{*kind, 0, 0};
    if (*kind == FaultKind::Status || *kind == FaultKind::Delay) {
        std::optional<uint32_t> value = member_u32(req, "value");
        if (!value) return "\"value\" must be a 32-bit number (the status or the delay in ms)";
        fault.value = *value;
    }
    if (has_member(req, "times")) {
        std::optional<uint32_t> times = member_u32(req, "times");
        if (!times) return "\"times\" must be a 32-bit number";
        fault.times = *times;
    }
    gw.faults().inject(service->name(), *msgId, fault);
    const Command* command = find_command(service->commands(), *msgId);
    gw.faults().report_inject(service->name(), *msgId, command ? command->name : "", fault);
    return std::nullopt;
}

Failure op_inject_clear(Gateway& gw, json_object* req, json_object* answer) {
    Failure failure;
    std::optional<std::string> serviceName;
    Service* service = nullptr;
    if (has_member(req, "service")) {
        service = requested_service(gw, req, failure);
        if (!service) return failure;
        serviceName = service->name();
    }
    std::optional<uint32_t> msgId;
    if (has_member(req, "msgId") && !(msgId = requested_msg_id(service, req, failure))) return failure;
    size_t cleared = gw.faults().clear(serviceName, msgId);
    gw.faults().report_clear(serviceName, msgId, cleared);
    json_object_object_add(answer, "cleared", json_object_new_int64(static_cast<int64_t>(cleared)));
    return std::nullopt;
}

Failure op_shutdown(Gateway&, json_object*, json_object*) {
    // main() waits for SIGTERM; the answer line is written before the control thread is stopped.
    kill(getpid(), SIGTERM);
    return std::nullopt;
}

Service* usb_service(Gateway& gw, Failure& failure) {
    Service* service = gw.find("usb_mngt");
    if (!service) failure = "service \"usb_mngt\" is not served here";
    return service;
}

// The device named by "device"; the failure when there is none.
std::optional<uint32_t> usb_device_id(json_object* req, Failure& failure) {
    std::optional<uint32_t> id = member_u32(req, "device");
    if (!id) failure = "\"device\" must be a 32-bit number";
    return id;
}

std::optional<std::vector<uint8_t>> from_hex(const char* text) {
    std::string_view hex(text);
    if (hex.size() % 2 != 0) return std::nullopt;
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i < hex.size(); i += 2) {
        unsigned value = 0;
        if (std::sscanf(std::string(hex.substr(i, 2)).c_str(), "%2x", &value) != 1 ||
            !std::isxdigit(static_cast<unsigned char>(hex[i])) ||
            !std::isxdigit(static_cast<unsigned char>(hex[i + 1])))
            return std::nullopt;
        bytes.push_back(static_cast<uint8_t>(value));
    }
    return bytes;
}

Failure op_usb_device(Gateway& gw, json_object* req, json_object* answer) {
    Failure failure;
    Service* service = usb_service(gw, failure);
    std::optional<uint32_t> id = service ? usb_device_id(req, failure) : std::nullopt;
    if (!id) return failure;
    std::string path, lockedBy;
    if (Failure why = usb_host_describe(*service, *id, path, lockedBy)) return why;
    json_object_object_add(answer, "path", json_object_new_string(path.c_str()));
    json_object_object_add(answer, "lockedBy", json_object_new_string(lockedBy.c_str()));
    return std::nullopt;
}

Failure op_usb_write(Gateway& gw, json_object* req, json_object* answer) {
    Failure failure;
    Service* service = usb_service(gw, failure);
    std::optional<uint32_t> id = service ? usb_device_id(req, failure) : std::nullopt;
    if (!id) return failure;
    const char* hex = member_text(req, "data");
    std::optional<std::vector<uint8_t>> bytes = hex ? from_hex(hex) : std::nullopt;
    if (!bytes) return "\"data\" must be a hex text";
    if (Failure why = usb_host_write(*service, *id, *bytes)) return why;
    json_object_object_add(answer, "written", json_object_new_int64(static_cast<int64_t>(bytes->size())));
    return std::nullopt;
}

Failure op_usb_read(Gateway& gw, json_object* req, json_object* answer) {
    Failure failure;
    Service* service = usb_service(gw, failure);
    std::optional<uint32_t> id = service ? usb_device_id(req, failure) : std::nullopt;
    if (!id) return failure;
    uint32_t min = has_member(req, "min") ? member_u32(req, "min").value_or(1) : 1;
    uint32_t max = has_member(req, "max") ? member_u32(req, "max").value_or(65536) : 65536;
    uint32_t waitMs = has_member(req, "waitMs") ? member_u32(req, "waitMs").value_or(0) : 0;
    std::vector<uint8_t> bytes;
    if (Failure why = usb_host_read(*service, *id, min, max, waitMs, bytes)) return why;
    json_object_object_add(answer, "data", json_object_new_string(to_hex(bytes).c_str()));
    return std::nullopt;
}

struct Op {
    const char* name;
    OpFn run;
};

constexpr Op kOps[] = {
    {"ping", op_ping},
    {"received", op_received},
    {"commands", op_commands},
    {"clear", op_clear},
    {"state", op_state},
    {"set", op_set},
    {"inject", op_inject},
    {"inject_clear", op_inject_clear},
    {"shutdown", op_shutdown},
    {"usb_device", op_usb_device},
    {"usb_write", op_usb_write},
    {"usb_read", op_usb_read},
};

const Op* find_op(std::string_view name) {
    for (const Op& op : kOps)
        if (name == op.name) return &op;
    return nullptr;
}

std::string error_line(const std::string& text) {
    JsonPtr answer(json_object_new_object());
    json_object_object_add(answer.get(), "ok", json_object_new_boolean(false));
    json_object_object_add(answer.get(), "error", json_object_new_string(text.c_str()));
    return json_line(answer.get());
}

}  // namespace

std::string Gateway::control(std::string_view line) {
    std::unique_ptr<json_tokener, decltype(&json_tokener_free)> tok(json_tokener_new(), json_tokener_free);
    JsonPtr req(json_tokener_parse_ex(tok.get(), line.data(), static_cast<int>(line.size())));
    json_tokener_error parseError = json_tokener_get_error(tok.get());
    if (parseError == json_tokener_continue) return error_line("malformed JSON: the line ends inside a value");
    if (parseError != json_tokener_success)
        return error_line(std::string("malformed JSON: ") + json_tokener_error_desc(parseError));
    // Text after the value (a second object on the line, junk) makes the line malformed too.
    if (line.find_first_not_of(" \t", json_tokener_get_parse_end(tok.get())) != std::string_view::npos)
        return error_line("malformed JSON: text after the value");
    if (!json_object_is_type(req.get(), json_type_object)) return error_line("the request must be a JSON object");

    const char* opName = member_text(req.get(), "op");
    if (!opName) return error_line("missing \"op\"");
    const Op* op = find_op(opName);
    if (!op) return error_line(std::string("unknown op \"") + opName + "\"");

    JsonPtr answer(json_object_new_object());
    json_object_object_add(answer.get(), "ok", json_object_new_boolean(true));
    if (Failure failure = op->run(*this, req.get(), answer.get())) return error_line(*failure);
    return json_line(answer.get());
}

}  // namespace zxsim
