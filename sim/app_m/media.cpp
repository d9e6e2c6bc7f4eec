// "app_m": the media-file scanner and the cloud registration status.
//
// The scanner walks the disc directories of "usb_mngt" (sim/usb_mngt/discs.h: the live "discs"
// list when this process serves usb_mngt, else the profile's) recursively at every query, and
// sorts the regular files by extension, case ignored:
//   video    mp4 mkv avi mov ts m4v wmv
//   picture  jpg jpeg png gif bmp webp
//   music    mp3 flac wav aac m4a ogg wma
//
//   scan switch   word 0 or 1 sets "filesScan", answers {"Result":0}; another value answers
//                 {"Result":-1,"FailReason":"invalid switch value"} (status 0 both)
//   scan list     request the type text without NUL; answers a TunnelVDataRecord naming a block
//                 stored as is (no compression) that holds, without a NUL,
//                 {"Result":0,"Type":"video","Files":["<host path>",...]} with the paths sorted;
//                 scanner off is 0xF7105001, an unknown type 0xF7105002
//   media counts  ZX_APPM_MEDIA_FILES_INFO_S (pictures, videos, music); all 0 with the scanner off
//   cloud status  the word "cloudStatus"
#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "blocks.h"
#include "families.h"
#include "usb_mngt/discs.h"
#include "zx_wire_app_m.h"
#include "zx_wire_usb_mngt.h"

namespace zxsim::app_m {
namespace {

namespace fs = std::filesystem;

enum class Kind { Video, Picture, Music, Other };

struct KindName {
    Kind kind;
    const char* name;
};
constexpr std::array<KindName, 3> kKinds{{{Kind::Video, "video"}, {Kind::Picture, "picture"}, {Kind::Music, "music"}}};

constexpr uint32_t kDefaultScan = 1;
constexpr uint32_t kDefaultCloudStatus = 1;  // registered

Kind kind_of(const fs::path& file) {
    std::string ext = file.extension().string();
    if (ext.size() < 2) return Kind::Other;
    ext.erase(0, 1);
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
    static const std::array<const char*, 7> kVideo{"mp4", "mkv", "avi", "mov", "ts", "m4v", "wmv"};
    static const std::array<const char*, 6> kPicture{"jpg", "jpeg", "png", "gif", "bmp", "webp"};
    static const std::array<const char*, 7> kMusic{"mp3", "flac", "wav", "aac", "m4a", "ogg", "wma"};
    auto in = [&ext](const auto& list) { return std::find(list.begin(), list.end(), ext) != list.end(); };
    if (in(kVideo)) return Kind::Video;
    if (in(kPicture)) return Kind::Picture;
    if (in(kMusic)) return Kind::Music;
    return Kind::Other;
}

bool scan_on(Call& call) {
    return call.service().with_state(
        [](json_object* state) { return member_u32(state, "filesScan").value_or(kDefaultScan) != 0; });
}

// The media files on every disc, by kind (video, picture, music), host paths sorted.
struct Found {
    std::array<std::vector<std::string>, 3> files;
    std::vector<std::string>& of(Kind kind) { return files[static_cast<size_t>(kind)]; }
};

Found scan(Call& call) {
    Found found;
    JsonPtr usb = call.service().peer_state(ZX_USB_ENDPOINT);
    for (const Disc& disc : discs_of(usb.get())) {
        if (disc.hostPath.empty()) continue;
        std::error_code ec;
        fs::recursive_directory_iterator it(disc.hostPath, fs::directory_options::skip_permission_denied, ec);
        for (; !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
            std::error_code typeEc;
            if (!it->is_regular_file(typeEc)) continue;
            Kind kind = kind_of(it->path());
            if (kind != Kind::Other) found.of(kind).push_back(it->path().string());
        }
    }
    for (auto& files : found.files) {
        std::sort(files.begin(), files.end());
        files.erase(std::unique(files.begin(), files.end()), files.end());
    }
    return found;
}

void set_scan_switch(Call& call) {
    uint32_t value = 0;
    if (!call.read(value)) return;
    if (value > 1) return call.reply_text("{\"Result\":-1,\"FailReason\":\"invalid switch value\"}");
    call.service().with_state(
        [value](json_object* state) { json_object_object_add(state, "filesScan", json_object_new_int64(value)); });
    call.reply_text("{\"Result\":0}");
}

void scan_list(Call& call) {
    std::string type = call.request_text();
    JsonPtr decoded(json_object_new_object());
    add_text(decoded.get(), "type", type);
    call.set_decoded(std::move(decoded));
    if (!scan_on(call)) return call.fail(ZX_SIM_SCAN_OFF);
    auto known = std::find_if(kKinds.begin(), kKinds.end(), [&type](const KindName& k) { return type == k.name; });
    if (known == kKinds.end()) return call.fail(ZX_SIM_SCAN_BAD_TYPE);

    JsonPtr answer(json_object_new_object());
    json_object_object_add(answer.get(), "Result", json_object_new_int(0));
    add_text(answer.get(), "Type", known->name);
    json_object* list = json_object_new_array();
    Found found = scan(call);
    for (const std::string& f : found.of(known->kind)) json_object_array_add(list, json_object_new_string(f.c_str()));
    json_object_object_add(answer.get(), "Files", list);
    std::string text = json_line(answer.get());

    TunnelVDataRecord rec;
    uint32_t status = write_tunnel_block({reinterpret_cast<const uint8_t*>(text.data()), text.size()}, rec);
    if (status != ZX_OK) return call.fail(status);
    call.reply_record(rec);
}

void media_counts(Call& call) {
    uint32_t word = 0;
    if (!call.read(word)) return;
    ZX_APPM_MEDIA_FILES_INFO_S counts{};
    if (scan_on(call)) {
        Found found = scan(call);
        counts.ullVideos = found.of(Kind::Video).size();
        counts.ullPictures = found.of(Kind::Picture).size();
        counts.ullMusic = found.of(Kind::Music).size();
    }
    call.reply_record(counts);
}

void cloud_status(Call& call) {
    uint32_t word = 0;
    if (!call.read(word)) return;
    uint32_t status = call.service().with_state(
        [](json_object* state) { return member_u32(state, "cloudStatus").value_or(kDefaultCloudStatus); });
    call.reply_record(status);
}

constexpr std::initializer_list<Command> kCommands{
    {ZX_APPM_RPC_SET_FILES_SCAN_SWITCH, "SetFilesScanSwitch", set_scan_switch},
    {ZX_APPM_RPC_GET_FILES_SCAN_LIST, "GetFilesScanListByType", scan_list},
    {ZX_APPM_RPC_GET_CLOUD_STATUS, "GetCloudStatus", cloud_status},
    {ZX_APPM_RPC_GET_MEDIA_FILES_INFO, "GetMediaFilesInfo", media_counts},
};
static_assert(commands_sorted(kCommands));

}  // namespace

extern const CommandFamily kMediaFamily{"media", {kCommands.begin(), kCommands.size()}};

}  // namespace zxsim::app_m
