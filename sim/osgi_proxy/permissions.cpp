// "osgi_proxy": the number of deployment units and the plug-in permissions.
//
// The installed bundles are those of the state's "bundles" whose state is neither UNINSTALLED nor
// INSTALLING; each may carry "permissions": ["usb.access", ...].
//
//   deployment units   request 4 bytes; ZX_OSGI_DU_COUNT_REPLY_S (1020 bytes), the first word the
//                      number of installed bundles, the rest zero
//   permissions        ZX_OSGI_PERMISSIONS_REQ_S: the size of the System V segment the caller made
//                      under key 0xD6EC6. The segment is the caller's: it is only attached and
//                      detached here, never made or removed. The text
//                      [{"Name":"<bundle>","Permissions":["...",...]},...] is written cut to
//                      size - 1 bytes and a NUL (size 0 writes nothing) and a zero word answered.
//                      No segment (or one that cannot be attached) is 0xF7213011; a size larger
//                      than the segment is 0xF7213012, and nothing is written
#include <sys/ipc.h>
#include <sys/shm.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "families.h"
#include "zx_wire_osgi_proxy.h"

namespace zxsim::osgi_proxy {
namespace {

bool installed(json_object* bundle) {
    std::string s = text_of(bundle, "state");
    return s != "UNINSTALLED" && s != "INSTALLING";
}

void du_count(Call& call) {
    uint32_t word = 0;
    if (!call.read(word)) return;
    ZX_OSGI_DU_COUNT_REPLY_S reply{};
    call.service().with_state([&reply](json_object* state) {
        settle_installs(state);
        json_object_object_foreach(member(state, "bundles", json_type_object), name, bundle) {
            (void)name;
            if (installed(bundle)) ++reply.uiCount;
        }
    });
    call.reply_record(reply);
}

// The permission text of the installed bundles, in the order of the state.
std::string permission_text(Call& call) {
    JsonPtr list(json_object_new_array());
    call.service().with_state([&list](json_object* state) {
        settle_installs(state);
        json_object_object_foreach(member(state, "bundles", json_type_object), name, bundle) {
            if (!installed(bundle)) continue;
            json_object* entry = json_object_new_object();
            add_text(entry, "Name", name);
            json_object* granted = json_object_new_array();
            json_object* permissions = child(bundle, "permissions");
            for (size_t i = 0; permissions && json_object_is_type(permissions, json_type_array) &&
                               i < json_object_array_length(permissions);
                 ++i)
                json_object_array_add(
                    granted, json_object_new_string(json_object_get_string(json_object_array_get_idx(permissions, i))));
            json_object_object_add(entry, "Permissions", granted);
            json_object_array_add(list.get(), entry);
        }
    });
    return json_line(list.get());
}

uint32_t write_segment(uint32_t size, const std::string& text) {
    int id = shmget(static_cast<key_t>(ZX_OSGI_PERMISSION_SHM_KEY), 0, 0);
    if (id < 0) return ZX_SIM_PERM_NO_SEGMENT;
    struct shmid_ds ds {};
    if (shmctl(id, IPC_STAT, &ds) != 0) return ZX_SIM_PERM_NO_SEGMENT;
    if (size > ds.shm_segsz) return ZX_SIM_PERM_TOO_LARGE;
    if (size == 0) return ZX_OK;
    void* at = shmat(id, nullptr, 0);
    if (at == reinterpret_cast<void*>(-1)) return ZX_SIM_PERM_NO_SEGMENT;
    size_t n = std::min<size_t>(text.size(), size - 1);
    std::memcpy(at, text.data(), n);
    static_cast<char*>(at)[n] = '\0';
    shmdt(at);
    return ZX_OK;
}

void permissions(Call& call) {
    ZX_OSGI_PERMISSIONS_REQ_S req;
    if (!call.read(req)) return;
    JsonPtr decoded(json_object_new_object());
    json_object_object_add(decoded.get(), "size", json_object_new_int64(req.uiSize));
    call.set_decoded(std::move(decoded));
    uint32_t status = write_segment(req.uiSize, permission_text(call));
    if (status != ZX_OK) return call.fail(status);
    call.reply_record(uint32_t{0});
}

constexpr std::initializer_list<Command> kCommands{
    {ZX_OSGI_RPC_GET_DU_COUNT, "GetDuCount", du_count},
    {ZX_OSGI_RPC_GET_PLUGIN_PERMISSIONS, "GetPluginPermissions", permissions},
};
static_assert(commands_sorted(kCommands));

}  // namespace

extern const CommandFamily kPermissionsFamily{"permissions", {kCommands.begin(), kCommands.size()}};

}  // namespace zxsim::osgi_proxy
