// libFuzzer target for the simulator's control protocol: the input is what a client writes to the
// control socket, split into request lines as the control server splits it (a trailing "\r" cut,
// blank lines skipped), and each line is answered by Gateway::control of a gateway serving every
// service from the default profile. Every answer must be one JSON object on one line with a
// boolean "ok", and an "error" text when it is false; a line that is not a JSON object is refused.
// Three operations are left out because they act outside the request: "shutdown" signals the
// process, "usb_read" waits up to the time the request gives and "usb_write" fills the device's
// terminal. Faults injected and records kept are cleared after each input.
#include <json-c/json.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "gateway.h"
#include "services.h"

namespace {

[[noreturn]] void fail(const char* what, std::string_view line, const std::string& answer) {
    std::fprintf(stderr, "control request \"%.*s\": %s: %s\n", static_cast<int>(line.size()), line.data(), what,
                 answer.c_str());
    std::abort();
}

zxsim::Gateway& gateway() {
    static zxsim::Gateway* gw = [] {
        zxsim::JsonPtr profile(json_object_from_file(ZX_DEFAULT_PROFILE));
        if (!profile) {
            std::fprintf(stderr, "cannot read the default profile %s\n", ZX_DEFAULT_PROFILE);
            std::abort();
        }
        std::vector<const zxsim::ServiceDef*> defs(zxsim::all_services().begin(), zxsim::all_services().end());
        return new zxsim::Gateway(defs, profile.get());
    }();
    return *gw;
}

// The operation a line names when it is a JSON object with a text "op"; empty otherwise.
std::string op_of(std::string_view line) {
    json_tokener* tok = json_tokener_new();
    json_object* req = json_tokener_parse_ex(tok, line.data(), static_cast<int>(line.size()));
    std::string op;
    json_object* m = nullptr;
    if (req && json_object_object_get_ex(req, "op", &m) && json_object_is_type(m, json_type_string))
        op = json_object_get_string(m);
    if (req) json_object_put(req);
    json_tokener_free(tok);
    return op;
}

bool is_json_object(std::string_view line) {
    json_tokener* tok = json_tokener_new();
    json_object* req = json_tokener_parse_ex(tok, line.data(), static_cast<int>(line.size()));
    bool ok = req && json_tokener_get_error(tok) == json_tokener_success &&
              json_object_is_type(req, json_type_object) &&
              line.find_first_not_of(" \t", json_tokener_get_parse_end(tok)) == std::string_view::npos;
    if (req) json_object_put(req);
    json_tokener_free(tok);
    return ok;
}

void answer_line(std::string_view line) {
    const std::string op = op_of(line);
    if (op == "shutdown" || op == "usb_read" || op == "usb_write") return;
    const std::string answer = gateway().control(line);
    if (answer.find('\n') != std::string::npos) fail("answer of more than one line", line, answer);
    json_tokener* tok = json_tokener_new();
    json_object* obj = json_tokener_parse_ex(tok, answer.c_str(), static_cast<int>(answer.size()));
    const bool whole = json_tokener_get_error(tok) == json_tokener_success &&
                       json_tokener_get_parse_end(tok) == answer.size();
    json_tokener_free(tok);
    if (!obj || !whole || !json_object_is_type(obj, json_type_object)) fail("answer is not a JSON object", line, answer);
    json_object* ok = nullptr;
    if (!json_object_object_get_ex(obj, "ok", &ok) || !json_object_is_type(ok, json_type_boolean))
        fail("answer without a boolean \"ok\"", line, answer);
    if (!json_object_get_boolean(ok)) {
        json_object* error = nullptr;
        if (!json_object_object_get_ex(obj, "error", &error) || !json_object_is_type(error, json_type_string))
            fail("refusal without an \"error\" text", line, answer);
    } else if (!is_json_object(line)) {
        fail("a line that is no JSON object accepted", line, answer);
    }
    json_object_put(obj);
}

// A gateway root of the run's own: the discs an input sets are made in it, and it goes at the end.
std::string g_root;

void remove_root() {
    std::error_code ec;
    std::filesystem::remove_all(g_root, ec);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    std::string templ = (std::getenv("TMPDIR") ? std::string(std::getenv("TMPDIR")) : "/tmp") + "/zxfuzz-root-XXXXXX";
    if (!mkdtemp(templ.data())) {
        std::perror("mkdtemp");
        std::abort();
    }
    g_root = templ;
    std::atexit(remove_root);
    setenv("ZX_ROOT", g_root.c_str(), 1);
    gateway();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view input(reinterpret_cast<const char*>(data), size);
    size_t start = 0;
    for (size_t nl; (nl = input.find('\n', start)) != std::string_view::npos; start = nl + 1) {
        std::string_view line = input.substr(start, nl - start);
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        if (line.find_first_not_of(" \t") == std::string_view::npos) continue;
        answer_line(line);
    }
    (void)gateway().control(R"({"op":"inject_clear"})");
    (void)gateway().control(R"({"op":"clear"})");
    return 0;
}
