// "usb_mngt": the discs (see discs.h).
//
//   disc list        request exactly the 5 bytes "input" (else 0xF7104003); ZX_USB_DISC_LIST_S:
//                    the count, then per disc its name, file-system type and host mount path
//   rename           by current name, or by mount path (the host path or the gateway path); the new
//                    name is the 64-byte field up to its NUL, 1 to 63 characters without '/' (else
//                    0xF7104002); an unknown disc is 0xF7104001; answers 8 zero bytes and the
//                    state's "name" changes
//   mount path       of a disc named by its name: ZX_USB_MNT_PATH_REPLY_S (the host path);
//                    an unknown name is 0xF7104001
#include "discs.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <system_error>

#include "families.h"
#include "record_util.h"
#include "zx_host.h"
#include "zx_wire_usb_mngt.h"

namespace zxsim {

namespace fs = std::filesystem;

std::vector<Disc> discs_of(json_object* usbState) {
    std::vector<Disc> out;
    json_object* list = usbState ? child(usbState, "discs") : nullptr;
    if (!list || !json_object_is_type(list, json_type_array)) return out;
    for (size_t i = 0; i < json_object_array_length(list) && out.size() < ZX_USB_MAX_DISCS; ++i) {
        json_object* d = json_object_array_get_idx(list, i);
        std::string mount = text_of(d, "mount");
        out.push_back(
            {text_of(d, "name"), text_of(d, "fsType"), mount, mount.empty() ? "" : zxhost::resolve_path(mount)});
    }
    return out;
}

namespace {

// A listed file's path inside its disc: relative, with no ".." step; empty when it is not one.
fs::path file_in_disc(const std::string& file) {
    fs::path rel(file);
    if (file.empty() || rel.is_absolute()) return {};
    for (const fs::path& step : rel)
        if (step == "..") return {};
    return rel;
}

void make_files(const std::string& hostPath, json_object* files) {
    if (!files || !json_object_is_type(files, json_type_array)) return;
    for (size_t i = 0; i < json_object_array_length(files); ++i) {
        const char* file = json_object_get_string(json_object_array_get_idx(files, i));
        fs::path rel = file_in_disc(file ? file : "");
        if (rel.empty()) {
            std::fprintf(stderr, "gatewaysim: usb_mngt: disc file \"%s\" is not a path inside the disc\n",
                         file ? file : "");
            continue;
        }
        fs::path path = fs::path(hostPath) / rel;
        std::error_code ec;
        if (fs::exists(path, ec)) continue;
        fs::create_directories(path.parent_path(), ec);
        std::ofstream made(path, std::ios::binary | std::ios::app);
        if (!made) std::fprintf(stderr, "gatewaysim: usb_mngt: cannot make disc file %s\n", path.c_str());
    }
}

}  // namespace

void make_disc_dirs(Service& usbService) {
    JsonPtr state = usbService.state_copy();
    json_object* list = child(state.get(), "discs");
    if (!list || !json_object_is_type(list, json_type_array)) return;
    // The mount paths resolve under the gateway root (the per-user one when ZX_ROOT is unset); only
    // ZX_ROOT=/ makes them in the host's own /mnt.
    for (size_t i = 0; i < json_object_array_length(list); ++i) {
        json_object* d = json_object_array_get_idx(list, i);
        std::string mount = text_of(d, "mount");
        if (mount.empty()) continue;
        std::string host = zxhost::resolve_path(mount);
        std::error_code ec;
        fs::create_directories(host, ec);
        if (ec || !fs::is_directory(host, ec)) {
            std::fprintf(stderr, "gatewaysim: usb_mngt: cannot make disc directory %s: %s\n", host.c_str(),
                         ec ? ec.message().c_str() : "not a directory");
            continue;
        }
        make_files(host, child(d, "files"));
    }
}

namespace usb_mngt {
namespace {

constexpr size_t kMaxName = sizeof(ZX_USB_DISC_RENAME_REQ_S::acNewName) - 1;

std::string without_trailing_slash(std::string path) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

void disc_info(Call& call) {
    const auto& data = call.request().data;
    const std::string_view expected = ZX_USB_DISC_INFO_REQUEST;
    if (data.size() != expected.size() || !std::equal(data.begin(), data.end(), expected.begin()))
        return call.fail(ZX_SIM_DISC_BAD_REQUEST);
    JsonPtr state = call.service().state_copy();
    auto list = std::make_unique<ZX_USB_DISC_LIST_S>();
    std::memset(list.get(), 0, sizeof *list);
    for (const Disc& d : discs_of(state.get())) {
        ZX_USB_DISC_S& e = list->astDisc[list->uiCount++];
        put(e.acDiscName, d.name);
        put(e.acFsType, d.fsType);
        put(e.acMntPath, d.hostPath);
    }
    call.reply_record(*list);
}

// Renames the first disc `matches` accepts; the status to answer.
template <class Match>
uint32_t rename_disc(Call& call, const std::string& newName, Match matches) {
    if (newName.empty() || newName.size() > kMaxName || newName.find('/') != std::string::npos)
        return ZX_SIM_DISC_BAD_NAME;
    return call.service().with_state([&](json_object* state) {
        json_object* list = member(state, "discs", json_type_array);
        for (size_t i = 0; i < json_object_array_length(list) && i < ZX_USB_MAX_DISCS; ++i) {
            json_object* d = json_object_array_get_idx(list, i);
            if (!matches(d)) continue;
            add_text(d, "name", newName);
            return uint32_t{ZX_OK};
        }
        return uint32_t{ZX_SIM_DISC_UNKNOWN};
    });
}

void answer_rename(Call& call, uint32_t status) {
    if (status != ZX_OK) return call.fail(status);
    call.reply_record(ZX_USB_DISC_RENAME_REPLY_S{});
}

void decode_rename(Call& call, const char* key, const std::string& disc, const std::string& newName) {
    JsonPtr decoded(json_object_new_object());
    add_text(decoded.get(), key, disc);
    add_text(decoded.get(), "newName", newName);
    call.set_decoded(std::move(decoded));
}

void change_name(Call& call) {
    ZX_USB_DISC_RENAME_REQ_S req;
    if (!call.read(req)) return;
    std::string name = field(req.acDiscName);
    std::string newName = field(req.acNewName);
    decode_rename(call, "name", name, newName);
    answer_rename(call, rename_disc(call, newName, [&](json_object* d) { return text_of(d, "name") == name; }));
}

void change_name_by_path(Call& call) {
    ZX_USB_DISC_RENAME_BY_PATH_REQ_S req;
    if (!call.read(req)) return;
    std::string path = without_trailing_slash(field(req.acMntPath));
    std::string newName = field(req.acNewName);
    decode_rename(call, "path", field(req.acMntPath), newName);
    answer_rename(call, rename_disc(call, newName, [&](json_object* d) {
                      std::string mount = text_of(d, "mount");
                      if (mount.empty() || path.empty()) return false;
                      return without_trailing_slash(mount) == path ||
                             without_trailing_slash(zxhost::resolve_path(mount)) == path;
                  }));
}

void mnt_path(Call& call) {
    ZX_USB_MNT_PATH_REQ_S req;
    if (!call.read(req)) return;
    std::string name = field(req.acDiscName);
    JsonPtr decoded(json_object_new_object());
    add_text(decoded.get(), "name", name);
    call.set_decoded(std::move(decoded));
    JsonPtr state = call.service().state_copy();
    for (const Disc& d : discs_of(state.get())) {
        if (d.name != name) continue;
        ZX_USB_MNT_PATH_REPLY_S reply{};
        put(reply.acMntPath, d.hostPath);
        return call.reply_record(reply);
    }
    call.fail(ZX_SIM_DISC_UNKNOWN);
}

constexpr std::initializer_list<Command> kCommands{
    {ZX_USB_RPC_CHANGE_DISC_NAME, "ChangeDiscName", change_name},
    {ZX_USB_RPC_GET_MNT_PATH_BY_DISC_NAME, "GetMntPathByDiscName", mnt_path},
    {ZX_USB_RPC_GET_DISC_INFO, "GetDiscInfo", disc_info},
    {ZX_USB_RPC_CHANGE_DISC_NAME_BY_PATH, "ChangeDiscNameByPath", change_name_by_path},
};
static_assert(commands_sorted(kCommands));

}  // namespace

extern const CommandFamily kDiscsFamily{"discs", {kCommands.begin(), kCommands.size()}};

}  // namespace usb_mngt
}  // namespace zxsim
