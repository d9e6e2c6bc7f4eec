// gatewaysim: the simulated gateway's service processes.
//
//   gatewaysim [--services tarn,app_m,...] [--ctl NAME] [--profile PATH]
//   gatewaysim --help
//
// Serves the named services (default: all of them) on the bus, each from its member of the
// profile's "services" object, and listens for control requests on <bus dir>/<NAME>.ctl
// (default NAME: gatewaysim). Prints "gatewaysim ready <pid>" once everything is up. SIGTERM,
// SIGINT or the control operation "shutdown" close every endpoint and end with status 0.
// Every fault injected through the control socket, and every crash it causes, is reported with
// one line on standard error. --help (-h) prints the usage and touches nothing; an unknown
// option prints it on standard error and ends with status 2.
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "gateway.h"
#include "services.h"

namespace {

struct Options {
    std::vector<const zxsim::ServiceDef*> services;
    std::string ctl = "gatewaysim";
    std::string profile;
};

void usage(FILE* out) {
    std::fprintf(out,
                 "usage: gatewaysim [--services NAME,NAME,...] [--ctl NAME] [--profile PATH]\n"
                 "       gatewaysim --help\n"
                 "Serves the simulated gateway's services on the bus of ZX_BUS_DIR and answers control\n"
                 "requests (simctl) on <bus dir>/<NAME>.ctl (default NAME: gatewaysim).\n"
                 "  --services LIST  serve only these services (default: all of them in this process;\n"
                 "                   an injected crash takes down every service of the process, so run\n"
                 "                   one process per service to crash one alone:\n"
                 "                   gatewaysim --services app_m --ctl app_m)\n"
                 "  --ctl NAME       name of the control socket\n"
                 "  --profile PATH   gateway profile (default: ZX_PROFILE, else the default profile)\n"
                 "  -h, --help       print this help and exit\n"
                 "The gateway's paths (the discs /mnt/usb1_1, ...) are directories under ZX_ROOT; when\n"
                 "it is unset, under ${XDG_STATE_HOME:-$HOME/.local/state}/zxgateway/root (made with\n"
                 "mode 0700); ZX_ROOT=/ uses them as they are.\n"
                 "services:");
    for (const zxsim::ServiceDef* def : zxsim::all_services()) std::fprintf(out, " %s", def->name);
    std::fprintf(out, "\n");
}

bool parse_services(const std::string& list, std::vector<const zxsim::ServiceDef*>& out) {
    size_t start = 0;
    for (;;) {
        size_t comma = list.find(',', start);
        std::string name = list.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
        const zxsim::ServiceDef* def = zxsim::find_service(name);
        if (!def) {
            std::fprintf(stderr, "gatewaysim: unknown service \"%s\"\n", name.c_str());
            return false;
        }
        for (const zxsim::ServiceDef* seen : out)
            if (seen == def) {
                std::fprintf(stderr, "gatewaysim: service \"%s\" given twice\n", name.c_str());
                return false;
            }
        out.push_back(def);
        if (comma == std::string::npos) return true;
        start = comma + 1;
    }
}

bool parse_args(int argc, char** argv, Options& opt) {
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (i + 1 >= argc) return false;
        std::string value = argv[++i];
        if (arg == "--services") {
            if (!opt.services.empty() || !parse_services(value, opt.services)) return false;
        } else if (arg == "--ctl") {
            opt.ctl = value;
        } else if (arg == "--profile") {
            opt.profile = value;
        } else {
            return false;
        }
    }
    if (opt.services.empty()) opt.services.assign(zxsim::all_services().begin(), zxsim::all_services().end());
    if (opt.profile.empty()) opt.profile = zxhost::profile_path();
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            usage(stdout);
            return 0;
        }
    }
    Options opt;
    if (!parse_args(argc, argv, opt)) {
        usage(stderr);
        return 2;
    }
    // Blocked before any thread starts, so every thread inherits the mask and main alone takes
    // the stop signals, in sigwait below.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    // A caller that goes away while it is being answered must not take the simulator with it.
    signal(SIGPIPE, SIG_IGN);

    zxsim::JsonPtr profile(json_object_from_file(opt.profile.c_str()));
    if (!profile) {
        std::fprintf(stderr, "gatewaysim: cannot read profile %s: %s\n", opt.profile.c_str(), json_util_get_last_err());
        return 1;
    }
    zxsim::Gateway gateway(opt.services, profile.get());
    std::vector<std::string> served;
    for (const zxsim::ServiceDef* def : opt.services) served.emplace_back(def->name);
    // One write a line, so that the line of a crash is out before the process is killed and lines
    // of several threads never mix.
    gateway.faults().report_to(
        [](const std::string& line) {
            std::string text = line + "\n";
            for (size_t done = 0; done < text.size();) {
                ssize_t n = write(STDERR_FILENO, text.data() + done, text.size() - done);
                if (n <= 0) break;
                done += static_cast<size_t>(n);
            }
        },
        std::move(served));
    std::string error;
    if (!gateway.start(opt.ctl, error)) {
        std::fprintf(stderr, "gatewaysim: %s\n", error.c_str());
        return 1;
    }
    std::printf("gatewaysim ready %d\n", static_cast<int>(getpid()));
    std::fflush(stdout);

    int sig = 0;
    while (sigwait(&stopSignals, &sig) != 0) {
    }
    gateway.stop();
    return 0;
}
