// simctl: drives a running gatewaysim through its control socket (protocol in sim/control.cpp).
// Services and commands are named by name: a command by its wire-catalogue name
// (ZX_APPM_RPC_GET_LOID, get_loid, get-loid, or a part of it that names one command, "loid"), by
// the simulator's own name (GetLoid), or by its id (hex as `simctl list` prints it, or decimal).
// Ids are printed in hex.
//
//   simctl [--ctl NAME] [--json] '<json request>'
//   simctl [--ctl NAME] [--json] ping | clear | shutdown
//   simctl [--ctl NAME] [--json] state SERVICE
//   simctl [--ctl NAME] [--json] set SERVICE '<json object>'
//   simctl [--ctl NAME] [--json] received [SERVICE [COMMAND]] [--follow] [--new] [--count N]
//   simctl [--ctl NAME] [--json] inject SERVICE COMMAND status|delay VALUE [TIMES]
//   simctl [--ctl NAME] [--json] inject SERVICE COMMAND noreply|crash [TIMES]
//   simctl [--ctl NAME] [--json] inject-clear [SERVICE [COMMAND]]
//   simctl [--ctl NAME] [--json] usb-device DEVICE
//   simctl [--ctl NAME] [--json] usb-write DEVICE HEX | --text TEXT
//   simctl [--ctl NAME] [--json] usb-read DEVICE [--min N] [--max N] [--wait MS]
//   simctl [--ctl NAME] [--json] list [SERVICE]
//   simctl --help
//
// A SERVICE may also be named by a part of its name that fits one service ("usb" for usb_mngt).
// Exit status: 0 when the simulator answered "ok": true, 1 when it refused, 2 for a usage error,
// a command name that names no command or several, or a simulator that cannot be reached. --help
// (-h) prints the usage on standard output and connects to nothing.
#include <json-c/json.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "zx_host.h"
#include "zx_wire_catalog.h"
#include "decode/wire_decode.h"

namespace {

struct JsonPut {
    void operator()(json_object* obj) const { json_object_put(obj); }
};
using JsonPtr = std::unique_ptr<json_object, JsonPut>;

constexpr int kOk = 0;
constexpr int kRefused = 1;
constexpr int kUsage = 2;
constexpr int kBadWords = -1;  // the words fit no form: the usage is printed, the status is 2

void usage(FILE* out) {
    std::fputs(
        "usage: simctl [--ctl NAME] [--json] '<json request>'\n"
        "       simctl [--ctl NAME] [--json] ping | clear | shutdown\n"
        "       simctl [--ctl NAME] [--json] state SERVICE\n"
        "       simctl [--ctl NAME] [--json] set SERVICE '<json object>'\n"
        "       simctl [--ctl NAME] [--json] received [SERVICE [COMMAND]] [--follow] [--new] [--count N]\n"
        "       simctl [--ctl NAME] [--json] inject SERVICE COMMAND status|delay VALUE [TIMES]\n"
        "       simctl [--ctl NAME] [--json] inject SERVICE COMMAND noreply|crash [TIMES]\n"
        "       simctl [--ctl NAME] [--json] inject-clear [SERVICE [COMMAND]]\n"
        "       simctl [--ctl NAME] [--json] usb-device DEVICE\n"
        "       simctl [--ctl NAME] [--json] usb-write DEVICE HEX | --text TEXT\n"
        "       simctl [--ctl NAME] [--json] usb-read DEVICE [--min N] [--max N] [--wait MS]\n"
        "       simctl [--ctl NAME] [--json] list [SERVICE]\n"
        "       simctl --help\n"
        "Drives a running gatewaysim through its control socket <bus dir>/<NAME>.ctl (default NAME:\n"
        "gatewaysim, bus dir from ZX_BUS_DIR).\n"
        "COMMAND is a command's name in the wire catalogue (ZX_APPM_RPC_GET_LOID, get_loid, get-loid,\n"
        "or a part that names one command: loid), the simulator's name for it (GetLoid), or its id\n"
        "(hex as list prints it, or decimal). A name that fits several commands lists them and\n"
        "exits 2.\n"
        "SERVICE may also be a part of a service's name that fits one service (usb: usb_mngt).\n"
        "  received     what the services received, one line a call (time, sequence number, caller,\n"
        "               command by name and id, request bytes); --follow keeps printing new calls\n"
        "               until interrupted, --new leaves out those already received, --count N ends\n"
        "               after N calls.\n"
        "  inject       the next TIMES calls (0 or none: every call until cleared) answer the status\n"
        "               VALUE, answer VALUE ms late, get no answer, or crash the process. A crash\n"
        "               kills the gatewaysim process that serves the service, with every other\n"
        "               service it serves; run gatewaysim --services NAME --ctl NAME to crash one\n"
        "               service alone.\n"
        "  inject-clear clears the faults of every service, of one, or of one command.\n"
        "  usb-device   the terminal of a simulated USB device and the plug-in that holds its lock.\n"
        "  usb-write    the device sends the bytes (hex, or --text with \\r \\n \\t \\0 \\\\ \\xHH).\n"
        "  usb-read     what the device received: waits up to --wait MS (0) for --min N (1) bytes,\n"
        "               at most --max N (65536).\n"
        "  list         services and their commands: name, id, request and reply records, and the\n"
        "               simulator's name where a running simulator serves it.\n"
        "--json prints the simulator's answer line as it is (received --follow: one record a line).\n"
        "Exit status: 0 answer \"ok\": true, 1 refused, 2 usage error, unknown or ambiguous name, or\n"
        "simulator unreachable.\n",
        out);
}

// ---------------------------------------------------------------------------------------------
// The control connection
// ---------------------------------------------------------------------------------------------

class Ctl {
public:
    explicit Ctl(std::string path) : path_(std::move(path)) {}
    ~Ctl() {
        if (fd_ >= 0) close(fd_);
    }
    Ctl(const Ctl&) = delete;
    Ctl& operator=(const Ctl&) = delete;

    // Sends one request line and reads the answer line; nullopt with a message on stderr (unless
    // quiet) when the simulator cannot be reached or does not answer.
    std::optional<std::string> exchange(const std::string& line, bool quiet = false) {
        if (fd_ < 0 && !connect_now(quiet)) return std::nullopt;
        std::string out = line + '\n';
        if (send(fd_, out.data(), out.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(out.size())) {
            if (!quiet) std::fprintf(stderr, "simctl: cannot send to %s: %s\n", path_.c_str(), std::strerror(errno));
            return std::nullopt;
        }
        char buf[65536];
        size_t nl;
        while ((nl = pending_.find('\n')) == std::string::npos) {
            ssize_t n = recv(fd_, buf, sizeof buf, 0);
            if (n <= 0) {
                if (!quiet) std::fprintf(stderr, "simctl: no answer from %s\n", path_.c_str());
                return std::nullopt;
            }
            pending_.append(buf, static_cast<size_t>(n));
        }
        std::string answer = pending_.substr(0, nl);
        pending_.erase(0, nl + 1);
        return answer;
    }

    // The answer parsed; nullptr when there was none or it is not JSON.
    JsonPtr request(json_object* req, std::string* line = nullptr, bool quiet = false) {
        std::optional<std::string> answer =
            exchange(json_object_to_json_string_ext(req, JSON_C_TO_STRING_PLAIN), quiet);
        if (!answer) return nullptr;
        if (line) *line = *answer;
        return JsonPtr(json_tokener_parse(answer->c_str()));
    }

private:
    bool connect_now(bool quiet) {
        sockaddr_un addr{};
        addr.sun_family = AF_UNIX;
        if (path_.size() >= sizeof addr.sun_path) {
            if (!quiet) std::fprintf(stderr, "simctl: socket path too long: %s\n", path_.c_str());
            return false;
        }
        std::memcpy(addr.sun_path, path_.c_str(), path_.size() + 1);
        fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (fd_ < 0 || connect(fd_, reinterpret_cast<const sockaddr*>(&addr), sizeof addr) != 0) {
            if (!quiet)
                std::fprintf(stderr, "simctl: cannot connect to %s: %s\n", path_.c_str(), std::strerror(errno));
            if (fd_ >= 0) close(fd_);
            fd_ = -1;
            return false;
        }
        // The simulator answers at once; a stuck one must not hang a script for ever.
        timeval limit{30, 0};
        setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        return true;
    }

    std::string path_;
    int fd_ = -1;
    std::string pending_;
};

bool answered_ok(json_object* answer) {
    json_object* ok = nullptr;
    return answer && json_object_object_get_ex(answer, "ok", &ok) && json_object_get_boolean(ok);
}

json_object* member(json_object* obj, const char* key) {
    json_object* v = nullptr;
    return obj && json_object_object_get_ex(obj, key, &v) ? v : nullptr;
}

std::string text_of(json_object* obj, const char* key) {
    json_object* v = member(obj, key);
    return v && json_object_is_type(v, json_type_string) ? json_object_get_string(v) : "";
}

int64_t int_of(json_object* obj, const char* key) {
    json_object* v = member(obj, key);
    return v && json_object_is_type(v, json_type_int) ? json_object_get_int64(v) : -1;
}

void add_text(json_object* obj, const char* key, const std::string& value) {
    json_object_object_add(obj, key, json_object_new_string(value.c_str()));
}

void add_int(json_object* obj, const char* key, int64_t value) {
    json_object_object_add(obj, key, json_object_new_int64(value));
}

std::string count_of(int64_t n, const char* one, const char* many) {
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

std::string hex_id(uint32_t id) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "0x%08X", id);
    return buf;
}

// A number in C notation (decimal, 0x-hex), the whole text.
std::optional<uint64_t> parse_number(const std::string& text) {
    if (text.empty() || text[0] == '-' || text[0] == '+' || std::isspace(static_cast<unsigned char>(text[0])))
        return std::nullopt;
    errno = 0;
    char* end = nullptr;
    unsigned long long v = std::strtoull(text.c_str(), &end, 0);
    if (errno != 0 || !end || *end != '\0') return std::nullopt;
    return v;
}

std::optional<uint32_t> parse_u32(const std::string& text) {
    std::optional<uint64_t> v = parse_number(text);
    if (!v || *v > 0xFFFFFFFFull) return std::nullopt;
    return static_cast<uint32_t>(*v);
}

std::string lower(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

// ---------------------------------------------------------------------------------------------
// Command names: the wire catalogue and the simulator's own tables
// ---------------------------------------------------------------------------------------------

// A command of one service as simctl knows it.
struct Known {
    uint32_t id = 0;
    std::string name;      // the catalogue's name, "" when the catalogue lacks it
    std::string simName;   // the simulator's name, "" when no running simulator serves it
    std::string request;   // the request's record or body, "" unknown
    std::string reply;     // the reply's record or body
};

class Names {
public:
    explicit Names(Ctl& ctl) : ctl_(ctl) {}

    // Every command of a service known to the catalogue or to the running simulator, by id.
    std::vector<Known> of_service(const std::string& service) {
        std::map<uint32_t, Known> byId;
        for (const zxwire::Command& c : zxwire::commands())
            if (service == c.service) byId[c.id] = from_catalogue(c);
        for (const auto& [id, simName] : sim_commands(service)) {
            Known& k = byId[id];
            k.id = id;
            k.simName = simName;
        }
        std::vector<Known> out;
        for (auto& [id, k] : byId) out.push_back(std::move(k));
        return out;
    }

    // The services the catalogue names, and those the simulator serves, in the catalogue's order.
    std::vector<std::string> services() {
        std::vector<std::string> out;
        auto add = [&out](const std::string& s) {
            if (std::find(out.begin(), out.end(), s) == out.end()) out.push_back(s);
        };
        for (const zxwire::Command& c : zxwire::commands()) add(c.service);
        load_sim();
        for (const std::string& s : simOrder_) add(s);
        return out;
    }

    // The service `text` names: a service's name, else the one service whose name holds it
    // ("usb" for usb_mngt), else the text as it is (the simulator says whether it serves it).
    // nullopt, with the candidates on stderr, when it fits several.
    std::optional<std::string> service(const std::string& text) {
        std::vector<std::string> all = services(), found;
        if (std::find(all.begin(), all.end(), text) != all.end()) return text;
        for (const std::string& s : all)
            if (lower(s).find(lower(text)) != std::string::npos) found.push_back(s);
        if (found.empty()) return text;
        if (found.size() == 1) return found[0];
        std::fprintf(stderr, "simctl: \"%s\" names %zu services:", text.c_str(), found.size());
        for (const std::string& s : found) std::fprintf(stderr, " %s", s.c_str());
        std::fprintf(stderr, "\n");
        return std::nullopt;
    }

    bool sim_reachable() {
        load_sim();
        return simLoaded_ && simOk_;
    }

    // The commands of `service` that `text` names: an id; an exact name, the catalogue's (see
    // zxwire::match: with or without its prefix, case ignored, '-' for '_') or the simulator's
    // (case ignored); else every command whose name holds the text. Empty: no such command.
    std::vector<Known> resolve(const std::string& service, const std::string& text) {
        std::vector<Known> all = of_service(service);
        if (std::optional<uint32_t> id = parse_u32(text)) {
            for (const Known& k : all)
                if (k.id == *id) return {k};
            return {Known{*id, "", "", "", ""}};  // an id the service may still answer
        }
        auto known = [&all](uint32_t id) {
            for (const Known& k : all)
                if (k.id == id) return k;
            return Known{id, "", "", "", ""};
        };
        std::vector<Known> exact, partial;
        auto add = [](std::vector<Known>& to, const Known& k) {
            if (std::none_of(to.begin(), to.end(), [&k](const Known& o) { return o.id == k.id; })) to.push_back(k);
        };
        for (const zxwire::Command* c : zxwire::match(service, text)) {
            bool whole = lower(c->name) == lower(dashes_as_underscores(text)) ||
                         lower(std::string(zxwire::short_name(*c))) == lower(dashes_as_underscores(text));
            add(whole ? exact : partial, known(c->id));
        }
        const std::string want = lower(text);
        for (const Known& k : all) {
            std::string sim = lower(k.simName);
            if (sim.empty()) continue;
            if (sim == want)
                add(exact, k);
            else if (sim.find(want) != std::string::npos)
                add(partial, k);
        }
        std::vector<Known>& found = exact.empty() ? partial : exact;
        std::sort(found.begin(), found.end(), [](const Known& a, const Known& b) { return a.id < b.id; });
        return found;
    }

    // How a command is shown: its catalogue name, its id in hex, the simulator's name in brackets.
    std::string show(const std::string& service, uint32_t id) {
        for (const Known& k : cached(service))
            if (k.id == id) return describe(k);
        return hex_id(id);
    }

    static std::string describe(const Known& k) {
        std::string out = k.name.empty() ? "" : k.name + " ";
        out += hex_id(k.id);
        if (!k.simName.empty()) out += " (" + k.simName + ")";
        return out;
    }

private:
    static Known from_catalogue(const zxwire::Command& c) {
        return Known{c.id, c.name, "", body_text(c.request, c.requestRecord, c.requestBlockRecord),
                     body_text(c.reply, c.replyRecord, c.replyBlockRecord)};
    }

    // A body as list shows it: the record's name, or the kind of body (word, text, json, raw,
    // none), and the record a shared block it names holds.
    static std::string body_text(zxwire::Body body, const zxwire::Record* record, const zxwire::Record* block) {
        std::string out = body == zxwire::Body::Record && record ? record->name : zxwire::body_name(body);
        if (block) out += " + block " + std::string(block->name);
        return out;
    }

    static std::string dashes_as_underscores(std::string text) {
        std::replace(text.begin(), text.end(), '-', '_');
        return text;
    }

    const std::vector<Known>& cached(const std::string& service) {
        auto it = cache_.find(service);
        if (it == cache_.end()) it = cache_.emplace(service, of_service(service)).first;
        return it->second;
    }

    // The simulator's own command names of a service, when a simulator answers.
    std::vector<std::pair<uint32_t, std::string>> sim_commands(const std::string& service) {
        load_sim();
        auto it = sim_.find(service);
        return it == sim_.end() ? std::vector<std::pair<uint32_t, std::string>>{} : it->second;
    }

    void load_sim() {
        if (simLoaded_) return;
        simLoaded_ = true;
        JsonPtr req(json_object_new_object());
        add_text(req.get(), "op", "commands");
        JsonPtr answer = ctl_.request(req.get(), nullptr, true);
        json_object* services = member(answer.get(), "services");
        if (!answered_ok(answer.get()) || !services) return;
        simOk_ = true;
        for (size_t i = 0; i < json_object_array_length(services); ++i) {
            json_object* s = json_object_array_get_idx(services, i);
            std::string name = text_of(s, "name");
            simOrder_.push_back(name);
            json_object* commands = member(s, "commands");
            auto& list = sim_[name];
            for (size_t j = 0; commands && j < json_object_array_length(commands); ++j) {
                json_object* c = json_object_array_get_idx(commands, j);
                list.emplace_back(static_cast<uint32_t>(int_of(c, "msgId")), text_of(c, "name"));
            }
        }
    }

    Ctl& ctl_;
    bool simLoaded_ = false;
    bool simOk_ = false;
    std::vector<std::string> simOrder_;
    std::map<std::string, std::vector<std::pair<uint32_t, std::string>>> sim_;
    std::map<std::string, std::vector<Known>> cache_;
};

// The one command `text` names, or a message (and exit status 2) when it names none or several.
std::optional<uint32_t> one_command(Names& names, const std::string& service, const std::string& text) {
    std::vector<Known> found = names.resolve(service, text);
    if (found.size() == 1) return found[0].id;
    if (found.empty()) {
        std::fprintf(stderr, "simctl: \"%s\" names no command of %s (simctl list %s shows them)\n", text.c_str(),
                     service.c_str(), service.c_str());
        return std::nullopt;
    }
    std::fprintf(stderr, "simctl: \"%s\" names %zu commands of %s:\n", text.c_str(), found.size(), service.c_str());
    for (const Known& k : found) std::fprintf(stderr, "  %s\n", Names::describe(k).c_str());
    return std::nullopt;
}

// ---------------------------------------------------------------------------------------------
// Bytes
// ---------------------------------------------------------------------------------------------

std::optional<std::string> bytes_of_hex(const std::string& hex) {
    std::string clean;
    for (char c : hex)
        if (c != ' ' && c != ':') clean += c;
    if (clean.size() % 2 != 0) return std::nullopt;
    std::string out;
    for (size_t i = 0; i < clean.size(); i += 2) {
        if (!std::isxdigit(static_cast<unsigned char>(clean[i])) ||
            !std::isxdigit(static_cast<unsigned char>(clean[i + 1])))
            return std::nullopt;
        out += static_cast<char>(std::stoi(clean.substr(i, 2), nullptr, 16));
    }
    return out;
}

std::string hex_of(const std::string& bytes) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (unsigned char b : bytes) {
        out += digits[b >> 4];
        out += digits[b & 15];
    }
    return out;
}

// A text with C escapes (\r \n \t \0 \\ \xHH) as bytes; nullopt for a broken escape.
std::optional<std::string> bytes_of_text(const std::string& text) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            out += text[i];
            continue;
        }
        if (++i == text.size()) return std::nullopt;
        switch (text[i]) {
            case 'r': out += '\r'; break;
            case 'n': out += '\n'; break;
            case 't': out += '\t'; break;
            case '0': out += '\0'; break;
            case '\\': out += '\\'; break;
            case 'x': {
                std::optional<std::string> b = i + 2 < text.size() ? bytes_of_hex(text.substr(i + 1, 2)) : std::nullopt;
                if (!b) return std::nullopt;
                out += *b;
                i += 2;
                break;
            }
            default: return std::nullopt;
        }
    }
    return out;
}

// Bytes as a quoted text with C escapes for what is not printable.
std::string quoted(const std::string& bytes) {
    std::string out = "\"";
    for (unsigned char c : bytes) {
        switch (c) {
            case '\r': out += "\\r"; break;
            case '\n': out += "\\n"; break;
            case '\t': out += "\\t"; break;
            case '\\': out += "\\\\"; break;
            case '"': out += "\\\""; break;
            default:
                if (std::isprint(c)) {
                    out += static_cast<char>(c);
                } else {
                    char buf[8];
                    std::snprintf(buf, sizeof buf, "\\x%02x", c);
                    out += buf;
                }
        }
    }
    return out + "\"";
}

// ---------------------------------------------------------------------------------------------
// Subcommands
// ---------------------------------------------------------------------------------------------

struct Run {
    Ctl& ctl;
    Names& names;
    bool json;
};

// Sends a request; prints the answer line with --json, or the refusal. The answer when it is "ok".
JsonPtr ask(Run& run, json_object* req, int& status) {
    std::string line;
    JsonPtr answer = run.ctl.request(req, &line);
    if (!answer && line.empty()) {
        status = kUsage;
        return nullptr;
    }
    if (run.json) std::printf("%s\n", line.c_str());
    if (!answered_ok(answer.get())) {
        if (!run.json) std::fprintf(stderr, "simctl: refused: %s\n", answer ? text_of(answer.get(), "error").c_str() : line.c_str());
        status = kRefused;
        return nullptr;
    }
    status = kOk;
    return answer;
}

// Operations whose answer is their output: the line as the simulator wrote it.
int plain(Run& run, json_object* req) {
    std::string line;
    JsonPtr answer = run.ctl.request(req, &line);
    if (!answer && line.empty()) return kUsage;
    std::printf("%s\n", line.c_str());
    return answered_ok(answer.get()) ? kOk : kRefused;
}

std::string time_text(int64_t ms) {
    if (ms < 0) return "--:--:--.---";
    time_t secs = static_cast<time_t>(ms / 1000);
    tm local{};
    localtime_r(&secs, &local);
    char buf[32];
    std::snprintf(buf, sizeof buf, "%02d:%02d:%02d.%03d", local.tm_hour, local.tm_min, local.tm_sec,
                  static_cast<int>(ms % 1000));
    return buf;
}

// One record as a line: time, sequence number, service and caller, command, the call's frame,
// the request bytes (the first 64 in hex) and what the service decoded from them.
std::string record_line(Names& names, json_object* r) {
    json_object* head = member(r, "head");
    std::string service = text_of(r, "service");
    const uint32_t id = static_cast<uint32_t>(int_of(r, "msgId"));
    std::string data = text_of(r, "data");
    size_t bytes = data.size() / 2;
    std::string line = time_text(int_of(r, "timeMs")) + " #" + std::to_string(int_of(r, "seq")) + " " + service +
                       " <- " + text_of(head, "srcName") + " (pid " + std::to_string(int_of(r, "callerPid")) +
                       "): " + names.show(service, id);
    json_object* oneWay = member(r, "oneWay");
    if (oneWay && json_object_get_boolean(oneWay))
        line += ", one-way";
    else
        line += ", timeout " + std::to_string(int_of(r, "timeoutMs")) + " ms, reply room " +
                std::to_string(int_of(r, "replyCap"));
    line += ", mid " + std::to_string(int_of(r, "mid")) + ", tag " + std::to_string(int_of(head, "tag"));
    line += ", " + count_of(static_cast<int64_t>(bytes), "byte", "bytes");
    // Eight or more zero bytes at the end (the rest of a text field) are counted, not written out.
    size_t used = data.size();
    while (used >= 2 && data.compare(used - 2, 2, "00") == 0) used -= 2;
    const size_t zeros = (data.size() - used) / 2;
    std::string shown = used > 128 ? data.substr(0, 128) + "..." : data.substr(0, used);
    // A request record is shown field by field, as the wire catalogue lays it out, and a text as
    // text; words and bodies the catalogue does not describe stay in hex.
    const zxwire::Command* c = zxwire::find(service, id);
    std::vector<uint8_t> raw;
    for (size_t i = 0; i + 1 < data.size() && std::isxdigit(static_cast<unsigned char>(data[i])) &&
                       std::isxdigit(static_cast<unsigned char>(data[i + 1]));
         i += 2)
        raw.push_back(static_cast<uint8_t>(std::strtoul(data.substr(i, 2).c_str(), nullptr, 16)));
    JsonPtr fields;
    const bool described = c && (c->request == zxwire::Body::Record || c->request == zxwire::Body::Text ||
                                 c->request == zxwire::Body::Json);
    if (described && bytes > 0 && raw.size() == bytes)
        fields.reset(zxwire::decode_body(c->request, c->requestRecord, c->requestBlockRecord, raw.data(), raw.size(),
                                         zxwire::Blocks{}));
    const bool shownInHex = fields && json_object_is_type(fields.get(), json_type_string) &&
                            std::strncmp(json_object_get_string(fields.get()), "hex:", 4) == 0;
    if (fields && !shownInHex)
        line += ": " + std::string(json_object_to_json_string_ext(
                           fields.get(), JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE));
    else if (bytes > 0 && zeros < 8)
        line += ": " + (data.size() > 128 ? data.substr(0, 128) + "..." : data);
    else if (bytes > 0)
        line += ": " + shown + (used ? " + " : "") + count_of(static_cast<int64_t>(zeros), "zero byte", "zero bytes");
    if (json_object* decoded = member(r, "decoded"))
        line += ", decoded " + std::string(json_object_to_json_string_ext(
                                   decoded, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE));
    return line;
}

int cmd_received(Run& run, const std::vector<std::string>& args) {
    std::vector<std::string> words;
    bool follow = false, onlyNew = false;
    std::optional<uint64_t> count;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--follow" || args[i] == "-f") {
            follow = true;
        } else if (args[i] == "--new") {
            onlyNew = true;
        } else if (args[i] == "--count") {
            if (i + 1 == args.size() || !(count = parse_number(args[++i]))) return kBadWords;
        } else if (args[i].starts_with("--")) {
            return kBadWords;
        } else {
            words.push_back(args[i]);
        }
    }
    if (words.size() > 2) return kBadWords;
    JsonPtr req(json_object_new_object());
    add_text(req.get(), "op", "received");
    if (!words.empty()) add_text(req.get(), "service", words[0]);
    if (words.size() == 2) {
        std::optional<uint32_t> id = one_command(run.names, words[0], words[1]);
        if (!id) return kUsage;
        add_int(req.get(), "msgId", *id);
    }
    // The plain form prints the answer line as it always has with --json.
    if (run.json && !follow && !onlyNew && !count) return plain(run, req.get());

    uint64_t after = 0, printed = 0;
    bool first = true;
    for (;;) {
        add_int(req.get(), "after", static_cast<int64_t>(after));
        std::string line;
        JsonPtr answer = run.ctl.request(req.get(), &line);
        if (!answer) return kUsage;  // the simulator went away
        if (!answered_ok(answer.get())) {
            std::fprintf(stderr, "simctl: refused: %s\n", text_of(answer.get(), "error").c_str());
            return kRefused;
        }
        json_object* records = member(answer.get(), "records");
        size_t n = records ? json_object_array_length(records) : 0;
        for (size_t i = 0; i < n; ++i) {
            json_object* r = json_object_array_get_idx(records, i);
            after = std::max<uint64_t>(after, static_cast<uint64_t>(int_of(r, "seq")));
            if (first && onlyNew) continue;
            if (count && printed == *count) break;
            if (run.json)
                std::printf("%s\n", json_object_to_json_string_ext(r, JSON_C_TO_STRING_PLAIN));
            else
                std::printf("%s\n", record_line(run.names, r).c_str());
            ++printed;
        }
        std::fflush(stdout);
        first = false;
        if (count && printed >= *count) return kOk;
        if (!follow) return kOk;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
}

int cmd_inject(Run& run, const std::vector<std::string>& args) {
    if (args.size() < 3) return kBadWords;
    const std::string& service = args[0];
    const std::string& kind = args[2];
    bool valued = kind == "status" || kind == "delay";
    if (!valued && kind != "noreply" && kind != "crash") return kBadWords;
    size_t next = 3;
    JsonPtr req(json_object_new_object());
    add_text(req.get(), "op", "inject");
    add_text(req.get(), "service", service);
    add_text(req.get(), "fault", kind);
    std::string value;
    if (valued) {
        if (args.size() < 4) return kBadWords;
        value = args[next++];
        add_text(req.get(), "value", value);
    }
    std::string times = "0";
    if (next < args.size()) {
        times = args[next++];
        add_text(req.get(), "times", times);
    }
    if (next != args.size()) return kBadWords;
    std::optional<uint32_t> id = one_command(run.names, service, args[1]);
    if (!id) return kUsage;
    add_int(req.get(), "msgId", *id);
    int status = kOk;
    JsonPtr answer = ask(run, req.get(), status);
    if (answer && !run.json) {
        std::string what = kind == "status" ? "status " + value : kind == "delay" ? "delay " + value + " ms" : kind;
        std::optional<uint64_t> n = parse_number(times);
        std::string hits = !n || *n == 0 ? "every call until cleared"
                           : *n == 1     ? "the next call"
                                         : "the next " + std::to_string(*n) + " calls";
        std::printf("injected: %s %s: %s, %s\n", service.c_str(), run.names.show(service, *id).c_str(), what.c_str(),
                    hits.c_str());
    }
    return status;
}

int cmd_inject_clear(Run& run, const std::vector<std::string>& args) {
    if (args.size() > 2) return kBadWords;
    JsonPtr req(json_object_new_object());
    add_text(req.get(), "op", "inject_clear");
    std::string what = "every service";
    if (!args.empty()) {
        add_text(req.get(), "service", args[0]);
        what = args[0];
    }
    if (args.size() == 2) {
        std::optional<uint32_t> id = one_command(run.names, args[0], args[1]);
        if (!id) return kUsage;
        add_int(req.get(), "msgId", *id);
        what += " " + run.names.show(args[0], *id);
    }
    int status = kOk;
    JsonPtr answer = ask(run, req.get(), status);
    if (answer && !run.json) {
        int64_t n = int_of(answer.get(), "cleared");
        std::printf("cleared %s (%s)\n", count_of(n, "fault", "faults").c_str(), what.c_str());
    }
    return status;
}

std::optional<uint32_t> device_of(const std::string& text) {
    std::optional<uint32_t> id = parse_u32(text);
    if (!id) std::fprintf(stderr, "simctl: \"%s\" is not a device number\n", text.c_str());
    return id;
}

int cmd_usb_device(Run& run, const std::vector<std::string>& args) {
    if (args.size() != 1) return kBadWords;
    std::optional<uint32_t> dev = device_of(args[0]);
    if (!dev) return kUsage;
    JsonPtr req(json_object_new_object());
    add_text(req.get(), "op", "usb_device");
    add_int(req.get(), "device", *dev);
    int status = kOk;
    JsonPtr answer = ask(run, req.get(), status);
    if (answer && !run.json) {
        std::string owner = text_of(answer.get(), "lockedBy");
        std::printf("device %u: %s, %s\n", *dev, text_of(answer.get(), "path").c_str(),
                    owner.empty() ? "not locked" : ("locked by " + owner).c_str());
    }
    return status;
}

int cmd_usb_write(Run& run, const std::vector<std::string>& args) {
    std::optional<std::string> bytes;
    if (args.size() == 2 && !args[1].starts_with("--")) {
        bytes = bytes_of_hex(args[1]);
        if (!bytes) std::fprintf(stderr, "simctl: \"%s\" is not hex (or give --text TEXT)\n", args[1].c_str());
    } else if (args.size() == 3 && args[1] == "--text") {
        bytes = bytes_of_text(args[2]);
        if (!bytes) std::fprintf(stderr, "simctl: a broken escape in \"%s\"\n", args[2].c_str());
    } else {
        return kBadWords;
    }
    std::optional<uint32_t> dev = device_of(args[0]);
    if (!bytes || !dev) return kUsage;
    JsonPtr req(json_object_new_object());
    add_text(req.get(), "op", "usb_write");
    add_int(req.get(), "device", *dev);
    add_text(req.get(), "data", hex_of(*bytes));
    int status = kOk;
    JsonPtr answer = ask(run, req.get(), status);
    if (answer && !run.json)
        std::printf("device %u sent %s: %s\n", *dev, count_of(int_of(answer.get(), "written"), "byte", "bytes").c_str(),
                    quoted(*bytes).c_str());
    return status;
}

int cmd_usb_read(Run& run, const std::vector<std::string>& args) {
    if (args.empty()) return kBadWords;
    std::optional<uint32_t> dev = device_of(args[0]);
    if (!dev) return kUsage;
    JsonPtr req(json_object_new_object());
    add_text(req.get(), "op", "usb_read");
    add_int(req.get(), "device", *dev);
    for (size_t i = 1; i < args.size(); i += 2) {
        const char* key = args[i] == "--min" ? "min" : args[i] == "--max" ? "max" : args[i] == "--wait" ? "waitMs" : nullptr;
        std::optional<uint32_t> v = i + 1 < args.size() ? parse_u32(args[i + 1]) : std::nullopt;
        if (!key || !v) return kBadWords;
        add_int(req.get(), key, *v);
    }
    int status = kOk;
    JsonPtr answer = ask(run, req.get(), status);
    if (answer && !run.json) {
        std::string bytes = bytes_of_hex(text_of(answer.get(), "data")).value_or("");
        std::printf("device %u received %s", *dev,
                    count_of(static_cast<int64_t>(bytes.size()), "byte", "bytes").c_str());
        if (!bytes.empty()) std::printf(": %s %s", hex_of(bytes).c_str(), quoted(bytes).c_str());
        std::printf("\n");
    }
    return status;
}

int cmd_list(Run& run, const std::vector<std::string>& args) {
    if (args.size() > 1) return kBadWords;
    std::vector<std::string> services = run.names.services();
    if (args.size() == 1) {
        if (std::find(services.begin(), services.end(), args[0]) == services.end()) {
            std::fprintf(stderr, "simctl: no service \"%s\" (known: ", args[0].c_str());
            for (size_t i = 0; i < services.size(); ++i) std::fprintf(stderr, "%s%s", i ? ", " : "", services[i].c_str());
            std::fprintf(stderr, ")\n");
            return kUsage;
        }
        services = {args[0]};
    }
    bool sim = run.names.sim_reachable();
    JsonPtr all(json_object_new_array());
    for (const std::string& service : services) {
        std::vector<Known> commands = run.names.of_service(service);
        if (run.json) {
            json_object* s = json_object_new_object();
            add_text(s, "service", service);
            json_object* list = json_object_new_array();
            for (const Known& k : commands) {
                json_object* c = json_object_new_object();
                add_text(c, "name", k.name);
                add_text(c, "id", hex_id(k.id));
                add_int(c, "msgId", k.id);
                add_text(c, "request", k.request);
                add_text(c, "reply", k.reply);
                add_text(c, "simName", k.simName);
                json_object_array_add(list, c);
            }
            json_object_object_add(s, "commands", list);
            json_object_array_add(all.get(), s);
            continue;
        }
        std::printf("%s\n", service.c_str());
        size_t width = 0;
        for (const Known& k : commands) width = std::max(width, k.name.size());
        for (const Known& k : commands) {
            std::string name = k.name.empty() ? "(not in the wire catalogue)" : k.name;
            std::printf("  %-*s %s  request %s, reply %s", static_cast<int>(width), name.c_str(), hex_id(k.id).c_str(),
                        k.request.empty() ? "?" : k.request.c_str(), k.reply.empty() ? "?" : k.reply.c_str());
            if (!k.simName.empty())
                std::printf("  [served: %s]", k.simName.c_str());
            else if (sim)
                std::printf("  [not served]");
            std::printf("\n");
        }
    }
    if (run.json) std::printf("%s\n", json_object_to_json_string_ext(all.get(), JSON_C_TO_STRING_PLAIN));
    return kOk;
}

// The request of the forms that send one request and print its answer line; nullptr when the
// words are not one of them.
JsonPtr plain_request(const std::vector<std::string>& args, bool& usageError) {
    const std::string& cmd = args[0];
    JsonPtr req(json_object_new_object());
    add_text(req.get(), "op", cmd);
    if (cmd == "ping" || cmd == "clear" || cmd == "shutdown") {
        usageError = args.size() != 1;
    } else if (cmd == "state") {
        usageError = args.size() != 2;
        if (!usageError) add_text(req.get(), "service", args[1]);
    } else if (cmd == "set") {
        json_object* state = args.size() == 3 ? json_tokener_parse(args[2].c_str()) : nullptr;
        usageError = !state;
        if (state) {
            add_text(req.get(), "service", args[1]);
            json_object_object_add(req.get(), "state", state);
        }
    } else {
        return nullptr;
    }
    return req;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    for (const std::string& arg : args) {
        if (arg == "--help" || arg == "-h") {
            usage(stdout);
            return kOk;
        }
    }
    std::string ctlName = "gatewaysim";
    bool json = false;
    while (!args.empty() && args[0].starts_with("--")) {
        if (args[0] == "--ctl" && args.size() >= 2) {
            ctlName = args[1];
            args.erase(args.begin(), args.begin() + 2);
        } else if (args[0] == "--json") {
            json = true;
            args.erase(args.begin());
        } else {
            break;
        }
    }
    // --json may also come after the subcommand's words.
    if (auto it = std::find(args.begin(), args.end(), "--json"); it != args.end()) {
        json = true;
        args.erase(it);
    }
    if (args.empty() || args[0].starts_with("--")) {
        usage(stderr);
        return kUsage;
    }

    Ctl ctl(zxhost::bus_dir() + "/" + ctlName + ".ctl");
    Names names(ctl);
    Run run{ctl, names, json};
    const std::string cmd = args[0];
    // A service may be named by a part of its name that fits one service.
    static const std::set<std::string> kServiceFirst = {"state", "set", "received", "inject", "inject-clear", "list"};
    if (kServiceFirst.count(cmd) && args.size() >= 2 && !args[1].starts_with("--")) {
        std::optional<std::string> service = names.service(args[1]);
        if (!service) return kUsage;
        args[1] = *service;
    }
    const std::vector<std::string> rest(args.begin() + 1, args.end());
    int status = kBadWords;
    bool usageError = false;
    if (cmd.starts_with("{")) {
        if (args.size() == 1) {
            std::optional<std::string> answer = ctl.exchange(cmd);
            if (!answer) return kUsage;
            std::printf("%s\n", answer->c_str());
            JsonPtr parsed(json_tokener_parse(answer->c_str()));
            return answered_ok(parsed.get()) ? kOk : kRefused;
        }
    } else if (JsonPtr req = plain_request(args, usageError)) {
        if (!usageError) return plain(run, req.get());
    } else if (cmd == "received") {
        status = cmd_received(run, rest);
    } else if (cmd == "inject") {
        status = cmd_inject(run, rest);
    } else if (cmd == "inject-clear") {
        status = cmd_inject_clear(run, rest);
    } else if (cmd == "usb-device") {
        status = cmd_usb_device(run, rest);
    } else if (cmd == "usb-write") {
        status = cmd_usb_write(run, rest);
    } else if (cmd == "usb-read") {
        status = cmd_usb_read(run, rest);
    } else if (cmd == "list") {
        status = cmd_list(run, rest);
    }
    if (status == kBadWords) {
        usage(stderr);
        return kUsage;
    }
    return status;
}
