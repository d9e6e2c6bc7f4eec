// simctl: sends one request to a running gatewaysim's control socket and prints the answer line.
//
//   simctl [--ctl NAME] '<json request>'
//   simctl [--ctl NAME] ping | clear | shutdown
//   simctl [--ctl NAME] received [SERVICE]
//   simctl [--ctl NAME] state SERVICE
//   simctl [--ctl NAME] set SERVICE '<json object>'
//   simctl [--ctl NAME] inject SERVICE MSGID status|delay VALUE [TIMES]
//   simctl [--ctl NAME] inject SERVICE MSGID noreply|crash [TIMES]
//   simctl --help
//
// Numbers may be decimal or 0x-hex. Exit status: 0 when the answer has "ok": true, 1 when it has
// not, 2 for a usage error or when the simulator cannot be reached. --help (-h) prints the usage
// on standard output and connects to nothing.
#include <json-c/json.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "zx_host.h"

namespace {

struct JsonPut {
    void operator()(json_object* obj) const { json_object_put(obj); }
};
using JsonPtr = std::unique_ptr<json_object, JsonPut>;

constexpr int kUsage = 2;

struct Socket {
    int fd;
    ~Socket() {
        if (fd >= 0) close(fd);
    }
};

void usage(FILE* out) {
    std::fputs(
        "usage: simctl [--ctl NAME] '<json request>'\n"
        "       simctl [--ctl NAME] ping | clear | shutdown\n"
        "       simctl [--ctl NAME] received [SERVICE]\n"
        "       simctl [--ctl NAME] state SERVICE\n"
        "       simctl [--ctl NAME] set SERVICE '<json object>'\n"
        "       simctl [--ctl NAME] inject SERVICE MSGID status|delay VALUE [TIMES]\n"
        "       simctl [--ctl NAME] inject SERVICE MSGID noreply|crash [TIMES]\n"
        "       simctl --help\n"
        "Sends one request to the control socket <bus dir>/<NAME>.ctl of a running gatewaysim\n"
        "(default NAME: gatewaysim, bus dir from ZX_BUS_DIR) and prints the answer line.\n"
        "MSGID is a number (decimal or 0x-hex) or the name of one of the service's commands.\n"
        "A crash kills the gatewaysim process that serves the service, with every other service\n"
        "it serves; run gatewaysim --services NAME --ctl NAME to crash one service alone.\n"
        "Exit status: 0 answer \"ok\": true, 1 refused, 2 usage error or simulator unreachable.\n",
        out);
}

void add_text(json_object* obj, const char* key, const std::string& value) {
    json_object_object_add(obj, key, json_object_new_string(value.c_str()));
}

// Builds the inject request; the simulator reads numbers given as texts in C notation.
bool inject_request(const std::vector<std::string>& args, json_object* req) {
    if (args.size() < 4) return false;
    add_text(req, "service", args[1]);
    add_text(req, "msgId", args[2]);
    add_text(req, "fault", args[3]);
    bool valued = args[3] == "status" || args[3] == "delay";
    size_t next = 4;
    if (valued) {
        if (args.size() < 5) return false;
        add_text(req, "value", args[next++]);
    }
    if (next < args.size()) add_text(req, "times", args[next++]);
    return next == args.size();
}

// The request line for the command-line words, or "" for a usage error.
std::string request_line(const std::vector<std::string>& args) {
    if (args.empty()) return "";
    const std::string& cmd = args[0];
    if (cmd.starts_with("{")) return args.size() == 1 ? cmd : "";

    JsonPtr req(json_object_new_object());
    add_text(req.get(), "op", cmd);
    bool ok = false;
    if (cmd == "ping" || cmd == "clear" || cmd == "shutdown") {
        ok = args.size() == 1;
    } else if (cmd == "received") {
        if (args.size() == 2) add_text(req.get(), "service", args[1]);
        ok = args.size() <= 2;
    } else if (cmd == "state") {
        if (args.size() == 2) add_text(req.get(), "service", args[1]);
        ok = args.size() == 2;
    } else if (cmd == "set") {
        json_object* state = args.size() == 3 ? json_tokener_parse(args[2].c_str()) : nullptr;
        if (state) {
            add_text(req.get(), "service", args[1]);
            json_object_object_add(req.get(), "state", state);
        }
        ok = state != nullptr;
    } else if (cmd == "inject") {
        ok = inject_request(args, req.get());
    }
    return ok ? json_object_to_json_string_ext(req.get(), JSON_C_TO_STRING_PLAIN) : "";
}

// Sends the line and reads the answer line; false with a message on stderr.
bool exchange(const std::string& path, const std::string& line, std::string& answer) {
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    if (path.size() >= sizeof addr.sun_path) {
        std::fprintf(stderr, "simctl: socket path too long: %s\n", path.c_str());
        return false;
    }
    std::memcpy(addr.sun_path, path.c_str(), path.size() + 1);
    Socket sock{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    int fd = sock.fd;
    if (fd < 0 || connect(fd, reinterpret_cast<const sockaddr*>(&addr), sizeof addr) != 0) {
        std::fprintf(stderr, "simctl: cannot connect to %s: %s\n", path.c_str(), std::strerror(errno));
        return false;
    }
    // The simulator answers at once; a stuck one must not hang a script for ever.
    timeval limit{30, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    std::string out = line + '\n';
    if (send(fd, out.data(), out.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(out.size())) {
        std::fprintf(stderr, "simctl: cannot send to %s: %s\n", path.c_str(), std::strerror(errno));
        return false;
    }
    char buf[65536];
    while (answer.find('\n') == std::string::npos) {
        ssize_t n = recv(fd, buf, sizeof buf, 0);
        if (n <= 0) {
            std::fprintf(stderr, "simctl: no answer from %s\n", path.c_str());
            return false;
        }
        answer.append(buf, static_cast<size_t>(n));
    }
    answer.resize(answer.find('\n'));
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    for (const std::string& arg : args) {
        if (arg == "--help" || arg == "-h") {
            usage(stdout);
            return 0;
        }
    }
    std::string ctl = "gatewaysim";
    if (args.size() >= 2 && args[0] == "--ctl") {
        ctl = args[1];
        args.erase(args.begin(), args.begin() + 2);
    }
    std::string line = request_line(args);
    if (line.empty()) {
        usage(stderr);
        return kUsage;
    }
    std::string answer;
    if (!exchange(zxhost::bus_dir() + "/" + ctl + ".ctl", line, answer)) return kUsage;
    std::printf("%s\n", answer.c_str());

    JsonPtr parsed(json_tokener_parse(answer.c_str()));
    json_object* ok = nullptr;
    return parsed && json_object_object_get_ex(parsed.get(), "ok", &ok) && json_object_get_boolean(ok) ? 0 : 1;
}
