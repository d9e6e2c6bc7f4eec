// Environment of the host platform: bus directory, gateway profile, root directory, time-out
// scale. Everything else in the library asks here instead of reading the environment itself.
#include <dlfcn.h>
#include <json-c/json.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <mutex>
#include <sstream>
#include <vector>

#include "internal.h"
#include "zx_host.h"

// Where the default gateway profile lies, relative to the directory of this library: the install
// layout's path (from the library directory to the data directory), and the build tree's, which
// keeps a link to the profile of the sources at <build>/share/... beside <build>/lib.
#ifndef ZX_PROFILE_FROM_LIBDIR
#define ZX_PROFILE_FROM_LIBDIR "../share/zxgateway/profiles/default.json"
#endif
#define ZX_PROFILE_FROM_BUILD_LIBDIR "../share/zxgateway/profiles/default.json"

namespace zxp {
namespace {

std::mutex g_envMutex;      // serialises replacing g_env; readers load it without a lock
std::mutex g_profileMutex;  // guards the profile below
std::atomic<Environment*> g_env{nullptr};

// The parsed profile; replaced as a whole on reload and never freed while readers may hold it.
json_object* g_profile = nullptr;
std::string g_profileText;

std::string getenv_or(const char* name, const std::string& fallback) {
    const char* v = std::getenv(name);
    return (v && *v) ? std::string(v) : fallback;
}

// An absolute path from the environment, else the fallback (relative values are ignored, as the
// XDG base directories ask).
std::string getenv_absolute(const char* name, const std::string& fallback) {
    const char* v = std::getenv(name);
    return (v && v[0] == '/') ? std::string(v) : fallback;
}

// The per-user default gateway root under the user's state directory, and the home directory it
// lies under ("" when XDG_STATE_HOME names the state directory); "" without an absolute HOME.
std::string private_root_home(std::string& home) {
    std::string state = getenv_absolute("XDG_STATE_HOME", "");
    home.clear();
    if (state.empty()) {
        home = getenv_absolute("HOME", "");
        if (home.empty()) return "";
        while (home.size() > 1 && home.back() == '/') home.pop_back();
        state = (home == "/" ? "" : home) + "/.local/state";
    }
    while (state.size() > 1 && state.back() == '/') state.pop_back();
    return state + "/zxgateway/root";
}

// A directory of our own: made with mode 0700 when missing, then it must be a directory (not a
// link) that belongs to us. With `privateOnly` an existing one must also be closed to others.
bool own_dir(const std::string& path, bool privateOnly) {
    if (mkdir(path.c_str(), 0700) == 0) return chmod(path.c_str(), 0700) == 0;  // whatever the umask
    if (errno != EEXIST) return false;
    struct stat st {};
    if (lstat(path.c_str(), &st) != 0 || !S_ISDIR(st.st_mode) || st.st_uid != getuid()) return false;
    return !privateOnly || (st.st_mode & 077) == 0;
}

// Makes the directories leading to `path` (each one made with mode 0700; existing ones are taken
// as they are: a home directory may well be a link) and `path` itself as a directory of our own.
bool make_private_dir(const std::string& path) {
    if (path.empty() || path[0] != '/') return false;
    for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
        std::string step = path.substr(0, slash);
        if (mkdir(step.c_str(), 0700) != 0 && errno != EEXIST) return false;
    }
    return own_dir(path, false);
}

// Where gateway paths go when no per-user root can be made: nothing can be made or opened below
// a character device, so every file call on a gateway path fails.
constexpr char kNoRoot[] = "/dev/null/no-gateway-root";

// The per-user default root: under the state directory, else (no usable HOME, a read-only one)
// in the temporary directory, in a directory of ours that nobody else can enter. When neither can
// be made, opening a gateway path fails: nothing lands in the host's own /var or /mnt.
std::string make_private_root(const Environment& e) {
    // var/ inside, so that the plug-in operation log can be written from the start.
    auto with_var = [](const std::string& root) { return mkdir((root + "/var").c_str(), 0700) == 0 || errno == EEXIST; };
    // A home directory that does not exist is not made (HOME=/nonexistent of a system account).
    struct stat home {};
    bool homeUsable = e.rootHome.empty() || (stat(e.rootHome.c_str(), &home) == 0 && S_ISDIR(home.st_mode));
    if (homeUsable && make_private_dir(e.root) && with_var(e.root)) return e.root;
    std::string base = e.rootFallback.substr(0, e.rootFallback.rfind('/'));
    if (own_dir(base, true) && own_dir(e.rootFallback, false) && with_var(e.rootFallback)) return e.rootFallback;
    return kNoRoot;
}

// The default profile, found from where this library itself was loaded, so that an installed kit
// moved to another prefix still finds its own profile and nothing names the tree it was built in.
// The path answered is the real file (a link resolved).
std::string default_profile() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&default_profile), &info) == 0 || !info.dli_fname) return "";
    char self[PATH_MAX];
    if (!realpath(info.dli_fname, self)) return "";
    std::string dir(self);
    dir.erase(dir.find_last_of('/') + 1);
    std::string first;
    for (const char* rel : {ZX_PROFILE_FROM_LIBDIR, ZX_PROFILE_FROM_BUILD_LIBDIR}) {
        std::string candidate = dir + rel;
        char real[PATH_MAX];
        if (realpath(candidate.c_str(), real)) return real;
        if (first.empty()) first = candidate;
    }
    return first;  // missing: named as installed, so that the failure is plain
}

Environment* load_environment() {
    auto* e = new Environment;
    std::string defaultDir =
        (access("/dev/shm", W_OK) == 0 ? "/dev/shm/zxbus-" : "/tmp/zxbus-") + std::to_string(getuid());
    e->busDir = getenv_or("ZX_BUS_DIR", defaultDir);
    e->profilePath = getenv_or("ZX_PROFILE", "");
    if (e->profilePath.empty()) e->profilePath = default_profile();
    e->root = getenv_or("ZX_ROOT", "");
    if (e->root.empty()) {
        e->privateRoot = true;
        e->root = private_root_home(e->rootHome);
        std::string tmp = getenv_absolute("TMPDIR", "/tmp");
        while (tmp.size() > 1 && tmp.back() == '/') tmp.pop_back();
        e->rootFallback = (tmp == "/" ? "" : tmp) + "/zxgateway-" + std::to_string(getuid()) + "/root";
    } else {
        while (e->root.size() > 1 && e->root.back() == '/') e->root.pop_back();
        if (e->root == "/") e->root.clear();
    }
    e->procDir = getenv_or("ZX_PROC_DIR", "/proc");
    e->procName = getenv_or("ZX_PROC_NAME", "");
    e->timeoutScale = 1.0;
    if (const char* s = std::getenv("ZX_TIMEOUT_SCALE")) {
        char* end = nullptr;
        double v = std::strtod(s, &end);
        if (end != s && v > 0) e->timeoutScale = v;
    }
    return e;
}

void load_profile_locked() {
    std::ifstream in(env().profilePath);
    std::stringstream ss;
    if (in) ss << in.rdbuf();
    g_profileText = ss.str();
    json_object* parsed = g_profileText.empty() ? nullptr : json_tokener_parse(g_profileText.c_str());
    // The old object stays alive: a reader on another thread may still hold members of it.
    static auto* retired = new std::vector<json_object*>;  // never destroyed: outlives exit
    if (g_profile) retired->push_back(g_profile);
    g_profile = parsed;
}

bool g_profileLoaded = false;

json_object* profile_locked() {
    if (!g_profileLoaded) {
        load_profile_locked();
        g_profileLoaded = true;
    }
    return g_profile;
}

json_object* profile_section(const char* section) {
    json_object* root = profile_locked();
    json_object* out = nullptr;
    if (root && json_object_object_get_ex(root, section, &out)) return out;
    return nullptr;
}

}  // namespace

// Read on every bus call by every calling thread, so it takes no lock once loaded.
const Environment& env() {
    if (Environment* e = g_env.load(std::memory_order_acquire)) return *e;
    std::lock_guard<std::mutex> lock(g_envMutex);
    Environment* e = g_env.load(std::memory_order_relaxed);
    if (!e) {
        e = load_environment();
        g_env.store(e, std::memory_order_release);
    }
    return *e;
}

const std::string& gateway_root() {
    const Environment& e = env();
    if (!e.privateRoot) return e.root;
    std::call_once(e.rootMade, [&e] { e.rootInUse = make_private_root(e); });
    return e.rootInUse;
}

uint32_t ensure_bus_dir() {
    const std::string& dir = env().busDir;
    if (mkdir(dir.c_str(), 0700) != 0 && errno != EEXIST) return ZX_ERR_SYS;
    struct stat st {};
    if (stat(dir.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) return ZX_ERR_SYS;
    if (st.st_uid != getuid()) {
        errno = EACCES;
        return ZX_ERR_SYS;
    }
    return ZX_OK;
}

uint32_t scaled_timeout_ms(uint32_t timeoutMs) {
    if (timeoutMs == 0) return 0;
    double v = timeoutMs * env().timeoutScale;
    if (v < 1) return 1;
    if (v > 4e9) return 4000000000u;
    return static_cast<uint32_t>(v);
}

std::string map_interface(const std::string& gatewayName) {
    std::lock_guard<std::mutex> lock(g_profileMutex);
    json_object* map = profile_section("interfaces");
    json_object* v = nullptr;
    if (map && json_object_object_get_ex(map, gatewayName.c_str(), &v) && json_object_is_type(v, json_type_string))
        return json_object_get_string(v);
    return gatewayName;
}

int feature_value(const std::string& name) {
    std::lock_guard<std::mutex> lock(g_profileMutex);
    json_object* map = profile_section("features");
    json_object* v = nullptr;
    if (!map || !json_object_object_get_ex(map, name.c_str(), &v)) return -1;
    if (json_object_is_type(v, json_type_boolean)) return json_object_get_boolean(v) ? 1 : 0;
    if (json_object_is_type(v, json_type_int)) return json_object_get_int(v) ? 1 : 0;
    return -1;
}

bool spec_value(const std::string& name, std::string& out) {
    std::lock_guard<std::mutex> lock(g_profileMutex);
    json_object* map = profile_section("specValues");
    json_object* v = nullptr;
    if (!map || !json_object_object_get_ex(map, name.c_str(), &v)) return false;
    out = json_object_is_type(v, json_type_string) ? json_object_get_string(v) : json_object_to_json_string(v);
    return true;
}

}  // namespace zxp

namespace zxhost {

std::string bus_dir() {
    zxp::ensure_bus_dir();
    return zxp::env().busDir;
}

std::string profile_path() { return zxp::env().profilePath; }

double timeout_scale() { return zxp::env().timeoutScale; }

std::string gateway_root() {
    const std::string& root = zxp::gateway_root();
    return root.empty() ? "/" : root;
}

std::string resolve_path(const std::string& gatewayPath) { return zxp::resolve_gateway_path(gatewayPath); }

void reload_environment() {
    {
        std::lock_guard<std::mutex> lock(zxp::g_envMutex);
        // Readers may hold a reference to the old settings: they stay alive.
        static auto* retired = new std::vector<zxp::Environment*>;  // never destroyed: outlives exit
        if (zxp::Environment* old = zxp::g_env.load()) retired->push_back(old);
        zxp::g_env.store(zxp::load_environment(), std::memory_order_release);
    }
    profile_reload();
}

std::string profile_text() {
    std::lock_guard<std::mutex> lock(zxp::g_profileMutex);
    zxp::profile_locked();
    return zxp::g_profileText;
}

void profile_reload() {
    std::lock_guard<std::mutex> lock(zxp::g_profileMutex);
    zxp::load_profile_locked();
    zxp::g_profileLoaded = true;
}

std::string status_name(uint32_t status) {
    switch (status) {
#define ZX_NAME(code) \
    case code: return #code;
        ZX_NAME(ZX_OK)
        ZX_NAME(ZX_ERR_PARAM)
        ZX_NAME(ZX_ERR_CUT)
        ZX_NAME(ZX_ERR_NOMEM)
        ZX_NAME(ZX_ERR_SYS)
        ZX_NAME(ZX_ERR_NOT_FOUND)
        ZX_NAME(ZX_ERR_CORRUPT)
        ZX_NAME(ZX_ERR_NOSPACE)
        ZX_NAME(ZX_ERR_UNSUPPORTED)
        ZX_NAME(ZX_MSG_ERR_TIMEOUT)
        ZX_NAME(ZX_MSG_ERR_NO_DEST)
        ZX_NAME(ZX_MSG_ERR_TRANSPORT)
        ZX_NAME(ZX_MSG_ERR_PEER)
        ZX_NAME(ZX_MSG_ERR_TOO_BIG)
        ZX_NAME(ZX_MSG_ERR_NO_HANDLER)
        ZX_NAME(ZX_MSG_ERR_IN_USE)
        ZX_NAME(ZX_MSG_ERR_NOT_INIT)
        ZX_NAME(ZX_MSG_ERR_BAD_FRAME)
        ZX_NAME(ZX_VDATA_ERR_BAD_ID)
        ZX_NAME(ZX_VDATA_ERR_FULL)
        ZX_NAME(ZX_VDATA_ERR_RANGE)
        ZX_NAME(ZX_VDATA_ERR_ARENA)
#undef ZX_NAME
    }
    char buf[16];
    std::snprintf(buf, sizeof buf, "0x%08X", status);
    return buf;
}

}  // namespace zxhost
