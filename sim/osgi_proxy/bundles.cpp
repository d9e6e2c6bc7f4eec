// "osgi_proxy": the bundles: install (with its progress), cancel, start, stop, uninstall, reset and
// the state query. A bundle an install brings gets the permissions ["basic"].
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "blocks.h"
#include "families.h"
#include "record_util.h"
#include "zx_host.h"
#include "zx_wire_osgi_proxy.h"

namespace zxsim::osgi_proxy {
namespace {

// The bundle manager's codes (the plug-in platform turns them into its small negative results).
constexpr uint32_t kUnknownBundle = 0xF7213003;
constexpr uint32_t kAlreadyInstalled = 0xF7213002;
constexpr uint32_t kNoPackage = 0xF7212001;
constexpr uint32_t kBadPackage = 0xF7213009;
constexpr uint32_t kInstallBusy = 0xF7213006;
constexpr uint32_t kSameState = 0xF7213007;
constexpr uint32_t kUnknownAction = 0xF721300A;
constexpr uint32_t kNothingToCancel = 0xF7213010;
constexpr uint32_t kNoName = 0xF721300B;
constexpr uint32_t kUnknownPlugin = 1;  // status word of a progress reply

constexpr int64_t kDefaultInstallMs = 3000;
constexpr const char* kDefaultVersion = "1.0.0";
constexpr const char* kVersionKey = "Bundle-Version:";  // a package line naming its version

constexpr const char* kActive = "ACTIVE";
constexpr const char* kResolved = "RESOLVED";
constexpr const char* kInstalling = "INSTALLING";
constexpr const char* kUninstalled = "UNINSTALLED";

int64_t now_ms() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// Member `key` of obj, created as an empty object when missing.
json_object* object_member(json_object* obj, const char* key) { return member(obj, key, json_type_object); }

// A bundle installed at run time has the basic permission only.
void set_bundle(json_object* state, const std::string& name, const std::string& version, const char* bundleState) {
    json_object* b = json_object_new_object();
    add_text(b, "version", version);
    add_text(b, "state", bundleState);
    json_object* permissions = json_object_new_array();
    json_object_array_add(permissions, json_object_new_string("basic"));
    json_object_object_add(b, "permissions", permissions);
    json_object_object_add(object_member(state, "bundles"), name.c_str(), b);
}

// ---------------------------------------------------------------------------------------------
// Persistence and the passing of time, applied under the state lock before every command
// ---------------------------------------------------------------------------------------------

std::string persist_path(json_object* state) {
    std::string path = text_of(state, "persistFile");
    return path.empty() ? path : zxhost::resolve_path(path);
}

void save(json_object* state) {
    std::string path = persist_path(state);
    if (path.empty()) return;
    JsonPtr kept(json_object_new_object());
    json_object* bundles = nullptr;
    json_object_deep_copy(object_member(state, "bundles"), &bundles, nullptr);
    json_object_object_add(kept.get(), "bundles", bundles);
    // Written beside and renamed, so a restart never reads half a file.
    std::string temp = path + ".tmp";
    if (json_object_to_file_ext(temp.c_str(), kept.get(), JSON_C_TO_STRING_PLAIN) == 0)
        std::rename(temp.c_str(), path.c_str());
}

// The bundles kept by an earlier run, read once.
void load_once(json_object* state) {
    json_object* loaded = nullptr;
    if (json_object_object_get_ex(state, "persistLoaded", &loaded)) return;
    json_object_object_add(state, "persistLoaded", json_object_new_boolean(1));
    std::string path = persist_path(state);
    if (path.empty()) return;
    JsonPtr kept(json_object_from_file(path.c_str()));
    json_object* bundles = kept ? child(kept.get(), "bundles") : nullptr;
    if (!bundles) return;
    json_object_object_foreach(bundles, name, b) {
        json_object* copy = nullptr;
        json_object_deep_copy(b, &copy, nullptr);
        json_object_object_add(object_member(state, "bundles"), name, copy);
    }
}

int64_t install_ms(json_object* state) { return std::max<int64_t>(1, int_of(state, "installMs", kDefaultInstallMs)); }

// Installs that have run their time become bundles.
void settle(json_object* state) {
    load_once(state);
    int64_t now = now_ms();
    int64_t length = install_ms(state);
    bool changed = false;
    json_object_object_foreach(object_member(state, "installs"), name, install) {
        if (text_of(install, "phase") != "installing" || now - int_of(install, "beginMs", now) < length) continue;
        add_text(install, "phase", "done");
        set_bundle(state, name, text_of(install, "version"), int_of(install, "start", 0) ? kActive : kResolved);
        changed = true;
    }
    if (changed) save(state);
}

// The version a package names on a line "Bundle-Version: x", else the default.
std::string package_version(std::ifstream& package) {
    std::string line;
    while (std::getline(package, line)) {
        if (line.rfind(kVersionKey, 0) != 0) continue;
        std::string v = line.substr(std::strlen(kVersionKey));
        v.erase(0, v.find_first_not_of(' '));
        while (!v.empty() && (v.back() == '\r' || v.back() == ' ')) v.pop_back();
        if (!v.empty()) return v.substr(0, 23);
    }
    return kDefaultVersion;
}

// ---------------------------------------------------------------------------------------------
// Commands
// ---------------------------------------------------------------------------------------------

void decode_name(Call& call, const std::string& name, const char* extraKey = nullptr, const std::string& extra = "") {
    JsonPtr decoded(json_object_new_object());
    add_text(decoded.get(), "name", name);
    if (extraKey) add_text(decoded.get(), extraKey, extra);
    call.set_decoded(std::move(decoded));
}

uint32_t install_checks(json_object* state, const ZX_OSGI_INSTALL_REQ_S& req, const std::string& name,
                        std::string& version) {
    if (name.empty()) return kNoName;
    if (child(object_member(state, "bundles"), name)) return kAlreadyInstalled;
    json_object* running = child(object_member(state, "installs"), name);
    if (running && text_of(running, "phase") == "installing") return kInstallBusy;
    std::ifstream package(zxhost::resolve_path(field(req.acFilePath)), std::ios::binary | std::ios::ate);
    if (!package) return kNoPackage;
    if (static_cast<uint64_t>(package.tellg()) != req.uiFileSize) return kBadPackage;
    package.seekg(0);
    version = package_version(package);
    return 0;
}

void install(Call& call) {
    ZX_OSGI_INSTALL_REQ_S req;
    if (!call.read(req)) return;
    std::string name = field(req.acPluginName);
    JsonPtr decoded(json_object_new_object());
    add_text(decoded.get(), "name", name);
    add_text(decoded.get(), "path", field(req.acFilePath));
    json_object_object_add(decoded.get(), "fileSize", json_object_new_int64(req.uiFileSize));
    json_object_object_add(decoded.get(), "startFlag", json_object_new_int64(req.uiStartFlag));
    json_object_object_add(decoded.get(), "wanIndex", json_object_new_int64(req.uiWanIndex));
    call.set_decoded(std::move(decoded));
    uint32_t result = call.service().with_state([&](json_object* state) {
        settle(state);
        std::string version;
        uint32_t code = install_checks(state, req, name, version);
        if (code != 0) return code;
        json_object* install = json_object_new_object();
        json_object_object_add(install, "beginMs", json_object_new_int64(now_ms()));
        json_object_object_add(install, "start", json_object_new_int(req.uiStartFlag == 1));
        add_text(install, "version", version);
        add_text(install, "phase", "installing");
        json_object_object_add(object_member(state, "installs"), name.c_str(), install);
        return 0u;
    });
    call.reply_record(result);
}

void cancel(Call& call) {
    ZX_OSGI_CANCEL_REQ_S req;
    if (!call.read(req)) return;
    std::string name = field(req.acBundleName);
    decode_name(call, name);
    uint32_t result = call.service().with_state([&](json_object* state) {
        settle(state);
        json_object* install = child(object_member(state, "installs"), name);
        if (!install || text_of(install, "phase") != "installing") return kNothingToCancel;
        add_text(install, "phase", "cancelled");
        return 0u;
    });
    call.reply_record(result);
}

uint32_t operate_on(json_object* state, const std::string& name, const std::string& action) {
    json_object* bundles = object_member(state, "bundles");
    json_object* bundle = child(bundles, name);
    bool known = action == "start" || action == "stop" || action == "uninstall" || action == "FactoryPlugin";
    if (!known) return kUnknownAction;
    if (!bundle) {
        json_object* install = child(object_member(state, "installs"), name);
        return install && text_of(install, "phase") == "installing" ? kInstallBusy : kUnknownBundle;
    }
    std::string now = text_of(bundle, "state");
    if (action == "uninstall") {
        json_object_object_del(bundles, name.c_str());
        json_object_object_del(object_member(state, "installs"), name.c_str());
    } else if (action == "start" || action == "stop") {
        const char* wanted = action == "start" ? kActive : kResolved;
        if (now == wanted) return kSameState;
        add_text(bundle, "state", wanted);
    } else {
        add_text(bundle, "state", kResolved);  // a factory reset leaves the bundle stopped
    }
    save(state);
    return 0;
}

void operate(Call& call) {
    ZX_OSGI_OPERATE_REQ_S req;
    if (!call.read(req)) return;
    std::string name = field(req.acBundleName);
    std::string action = field(req.acAction);
    decode_name(call, name, "action", action);
    uint32_t result = call.service().with_state([&](json_object* state) {
        settle(state);
        return operate_on(state, name, action);
    });
    call.reply_record(result);
}

void progress(Call& call) {
    ZX_OSGI_PROCESS_REQ_S req;
    if (!call.read(req)) return;
    std::string name = field(req.acPluginName);
    decode_name(call, name);
    ZX_OSGI_PROCESS_REPLY_S reply{};
    call.service().with_state([&](json_object* state) {
        settle(state);
        json_object* install = child(object_member(state, "installs"), name);
        if (!install) {
            reply.uiStatus = kUnknownPlugin;
            return;
        }
        std::string phase = text_of(install, "phase");
        int64_t elapsed = now_ms() - int_of(install, "beginMs", 0);
        int64_t percent = std::min<int64_t>(99, elapsed * 100 / install_ms(state));
        if (phase == "done") {
            put(reply.acState, "Installed");
            percent = 100;
        } else if (phase == "cancelled") {
            put(reply.acState, "Cancelled");
        } else {
            put(reply.acState, percent < 50 ? "Downloading" : "Installing");
        }
        reply.uiPercent = static_cast<uint32_t>(percent);
    });
    call.reply_record(reply);
}

// The names of a query list: the filled slots (a skipped Java element leaves a slot empty).
std::vector<std::string> query_names(const ZX_OSGI_QUERY_LIST_S& list) {
    std::vector<std::string> names;
    for (const auto& slot : list.aacBundleName)
        if (slot[0]) names.push_back(field(slot));
    return names;
}

// The entries answering the names; no names asks for every bundle and install in progress.
void fill_states(json_object* state, const std::vector<std::string>& names, ZX_OSGI_STATE_LIST_S& list) {
    json_object* bundles = object_member(state, "bundles");
    json_object* installs = object_member(state, "installs");
    auto add = [&](const std::string& name) {
        if (list.iCount >= static_cast<int32_t>(ZX_OSGI_MAX_BUNDLES)) return;
        ZX_OSGI_BUNDLE_INFO_S& e = list.astBundle[list.iCount++];
        put(e.acBundleName, name);
        json_object* install = child(installs, name);
        if (json_object* b = child(bundles, name)) {
            put(e.acVersion, text_of(b, "version"));
            put(e.acState, text_of(b, "state"));
        } else if (install && text_of(install, "phase") == "installing") {
            put(e.acVersion, text_of(install, "version"));
            put(e.acState, kInstalling);
        } else {
            put(e.acState, kUninstalled);
        }
    };
    if (!names.empty()) {
        for (const std::string& n : names) add(n);
        return;
    }
    json_object_object_foreach(bundles, name, b) {
        (void)b;
        add(name);
    }
    json_object_object_foreach(installs, iname, install) {
        if (text_of(install, "phase") == "installing" && !child(bundles, iname)) add(iname);
    }
}

// Reads and frees the block of a query list; false (answered) when it cannot be read.
bool read_query(Call& call, const PluginVDataRecord& rec, ZX_OSGI_QUERY_LIST_S& list) {
    std::vector<uint8_t> stored;
    uint32_t status = take_block(rec.uivDataID, rec.uiStoredLen, stored);
    if (status == ZX_OK && zxhost::decompressed_len_within(stored) != sizeof list) status = ZX_ERR_CORRUPT;
    if (status == ZX_OK) status = zxhost::decompress_within(stored, &list, sizeof list);
    if (status != ZX_OK) call.fail(status);
    return status == ZX_OK;
}

// Stores the state list compressed in a new block; its record, or the failing status.
uint32_t write_states(const ZX_OSGI_STATE_LIST_S& list, PluginVDataRecord& rec) {
    std::vector<uint8_t> packed(sizeof list + sizeof list / 255 + 64);
    uint32_t len = static_cast<uint32_t>(packed.size());
    uint32_t status = ZX_OS_Compress(&list, sizeof list, packed.data(), &len);
    if (status == ZX_OK) status = ZX_VDATA_CreShm(len, &rec.uivDataID);
    if (status == ZX_OK) {
        status = ZX_VDATA_UpdateData(rec.uivDataID, len, packed.data());
        if (status != ZX_OK) ZX_VDATA_FreeShm(rec.uivDataID);
    }
    rec.uiStoredLen = len;
    return status;
}

void query_states(Call& call) {
    PluginVDataRecord rec;
    if (!call.read(rec)) return;
    auto list = std::make_unique<ZX_OSGI_QUERY_LIST_S>();
    if (!read_query(call, rec, *list)) return;
    std::vector<std::string> names = query_names(*list);
    JsonPtr decoded(json_object_new_object());
    json_object_object_add(decoded.get(), "flag", json_object_new_int64(list->uiFlag));
    json_object_object_add(decoded.get(), "count", json_object_new_int64(list->uiCount));
    json_object* shown = json_object_new_array();
    for (const std::string& n : names) json_object_array_add(shown, json_object_new_string(n.c_str()));
    json_object_object_add(decoded.get(), "names", shown);
    call.set_decoded(std::move(decoded));

    auto answer = std::make_unique<ZX_OSGI_STATE_LIST_S>();
    std::memset(answer.get(), 0, sizeof *answer);
    call.service().with_state([&](json_object* state) {
        settle(state);
        fill_states(state, names, *answer);
    });
    PluginVDataRecord reply{};
    uint32_t status = write_states(*answer, reply);
    if (status != ZX_OK) {
        call.fail(status);
        return;
    }
    call.reply_record(reply);
}

constexpr std::initializer_list<Command> kCommands{
    {ZX_OSGI_RPC_QUERY_STATE, "QueryBundleState", query_states},
    {ZX_OSGI_RPC_INSTALL_PROCESS, "QueryInstallProcess", progress},
    {ZX_OSGI_RPC_INSTALL, "Install", install},
    {ZX_OSGI_RPC_CANCEL_INSTALL, "CancelInstall", cancel},
    {ZX_OSGI_RPC_OPERATE, "Operate", operate},
};
static_assert(commands_sorted(kCommands));

}  // namespace

extern const CommandFamily kBundlesFamily{"bundles", {kCommands.begin(), kCommands.size()}};

void settle_installs(json_object* state) { settle(state); }

}  // namespace zxsim::osgi_proxy
