// The simulated USB manager's discs, driven over the bus: the disc list of the profile (directories
// under the gateway root, with their sample files), renames by name and by mount path, the mount
// path of a name, and every refusal.
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "sim_services.h"

namespace simtest {
namespace {

namespace fs = std::filesystem;

constexpr uint32_t kRename = 0x47103065;
constexpr uint32_t kMntPath = 0x47103066;
constexpr uint32_t kDiscInfo = 0x47103067;
constexpr uint32_t kRenameByPath = 0x47103068;

constexpr size_t kDiscListSize = 7172;

using Discs = ServicesTest;

// The disc list as the service must answer it: the count, then name (64), type (32), path (128).
std::string disc_list(const std::vector<std::vector<std::string>>& discs) {
    std::string out = word(static_cast<uint32_t>(discs.size()));
    for (const auto& d : discs) out += padded(d[0], 64) + padded(d[1], 32) + padded(d[2], 128);
    out.resize(kDiscListSize, '\0');
    return out;
}

Answer disc_info(const std::string& request = "input") { return call("usb_mngt", kDiscInfo, request, kDiscListSize); }

std::string rename_request(const std::string& disc, const std::string& newName) {
    return padded(disc, 64) + padded(newName, 64);
}

Answer rename(const std::string& disc, const std::string& newName) {
    return call("usb_mngt", kRename, rename_request(disc, newName), 8);
}

Answer rename_by_path(const std::string& path, const std::string& newName) {
    return call("usb_mngt", kRenameByPath, rename_request(path, newName), 8);
}

Answer mnt_path(const std::string& name) { return call("usb_mngt", kMntPath, padded(name, 64), 128); }

std::vector<std::string> disc_names(json_object* usb) {
    std::vector<std::string> names;
    json_object* discs = member(usb, "discs");
    for (size_t i = 0; discs && i < json_object_array_length(discs); ++i)
        names.push_back(zxtest::json_text(json_object_array_get_idx(discs, i), "name"));
    return names;
}

TEST_F(Discs, TheProfileHasTwoDiscsWhoseDirectoriesAndFilesAreMade) {
    Answer a = disc_info();
    ASSERT_EQ(a.status, 0u);
    EXPECT_EQ(a.reply,
              disc_list({{"USB_DISK1", "vfat", host("/mnt/usb1_1")}, {"BACKUP", "ext4", host("/mnt/usb2_1")}}));
    EXPECT_TRUE(fs::is_directory(host("/mnt/usb1_1")));
    EXPECT_TRUE(fs::is_directory(host("/mnt/usb2_1")));
    for (const char* f :
         {"/mnt/usb1_1/movies/holiday.mp4", "/mnt/usb1_1/movies/birthday.MKV", "/mnt/usb1_1/photos/beach.jpg",
          "/mnt/usb1_1/photos/sunset.png", "/mnt/usb1_1/music/track01.mp3", "/mnt/usb1_1/docs/readme.txt",
          "/mnt/usb2_1/photos/2025/family.JPEG", "/mnt/usb2_1/music/album/01-intro.flac",
          "/mnt/usb2_1/music/album/02-theme.ogg", "/mnt/usb2_1/music/voice-memo.m4a"})
        EXPECT_TRUE(fs::is_regular_file(host(f))) << f;
    expect_received("usb_mngt", {{kDiscInfo, "input"}});
}

TEST_F(Discs, TheDiscListRequestIsExactlyInput) {
    for (const std::string& bad : {std::string("input", 6), std::string("inpu"), std::string("INPUT"), std::string()}) {
        Answer a = disc_info(bad);
        EXPECT_EQ(a.status, ZX_SIM_DISC_BAD_REQUEST) << zxtest::to_hex(Bytes(bad.begin(), bad.end()));
        EXPECT_EQ(a.reply, filler(kDiscListSize));
    }
}

TEST_F(Discs, RenameByNameChangesTheLabelInTheStateAndTheList) {
    const std::string name63(63, 'L');
    Answer a = rename("BACKUP", name63);
    ASSERT_EQ(a.status, 0u);
    EXPECT_EQ(a.reply, std::string(8, '\0'));
    EXPECT_EQ(disc_names(state("usb_mngt").get()), (std::vector<std::string>{"USB_DISK1", name63}));
    EXPECT_EQ(disc_info().reply,
              disc_list({{"USB_DISK1", "vfat", host("/mnt/usb1_1")}, {name63, "ext4", host("/mnt/usb2_1")}}));
    // The old name is gone, the new one answers.
    EXPECT_EQ(rename("BACKUP", "X").status, ZX_SIM_DISC_UNKNOWN);
    EXPECT_EQ(mnt_path(name63).status, 0u);
    auto got = expect_received("usb_mngt", {{kRename, rename_request("BACKUP", name63)},
                                            {kDiscInfo, "input"},
                                            {kRename, rename_request("BACKUP", "X")},
                                            {kMntPath, padded(name63, 64)}});
    ASSERT_EQ(got.size(), 4u);
    ASSERT_TRUE(got[0].decoded);
    EXPECT_EQ(zxtest::json_text(got[0].decoded.get(), "name"), "BACKUP");
    EXPECT_EQ(zxtest::json_text(got[0].decoded.get(), "newName"), name63);
}

TEST_F(Discs, ANewNameMustBeOneTo63CharactersWithoutSlash) {
    // A 64-character name fills its field: no NUL, so 64 characters.
    std::string full = padded("USB_DISK1", 64) + std::string(64, 'N');
    Answer a = call("usb_mngt", kRename, full, 8);
    EXPECT_EQ(a.status, ZX_SIM_DISC_BAD_NAME);
    EXPECT_EQ(a.reply, filler(8));
    EXPECT_EQ(rename("USB_DISK1", "").status, ZX_SIM_DISC_BAD_NAME);
    EXPECT_EQ(rename("USB_DISK1", "a/b").status, ZX_SIM_DISC_BAD_NAME);
    EXPECT_EQ(rename_by_path("/mnt/usb1_1", std::string(64, 'N')).status, ZX_SIM_DISC_BAD_NAME);
    EXPECT_EQ(rename_by_path("/mnt/usb1_1", "/").status, ZX_SIM_DISC_BAD_NAME);
    EXPECT_EQ(disc_names(state("usb_mngt").get()), (std::vector<std::string>{"USB_DISK1", "BACKUP"}));
}

TEST_F(Discs, AnUnknownDiscIsRefused) {
    Answer a = rename("NO_SUCH_DISC", "NEW");
    EXPECT_EQ(a.status, ZX_SIM_DISC_UNKNOWN);
    EXPECT_EQ(a.reply, filler(8));
    EXPECT_EQ(rename("usb_disk1", "NEW").status, ZX_SIM_DISC_UNKNOWN);  // names are case-sensitive
    EXPECT_EQ(rename_by_path("/mnt/usb9_9", "NEW").status, ZX_SIM_DISC_UNKNOWN);
    EXPECT_EQ(rename_by_path("", "NEW").status, ZX_SIM_DISC_UNKNOWN);
    Answer m = mnt_path("NO_SUCH_DISC");
    EXPECT_EQ(m.status, ZX_SIM_DISC_UNKNOWN);
    EXPECT_EQ(m.reply, filler(128));
    EXPECT_EQ(disc_names(state("usb_mngt").get()), (std::vector<std::string>{"USB_DISK1", "BACKUP"}));
}

TEST_F(Discs, RenameByPathTakesTheHostOrTheGatewayMountPath) {
    Answer a = rename_by_path(host("/mnt/usb1_1"), "PHOTOS");
    ASSERT_EQ(a.status, 0u);
    EXPECT_EQ(a.reply, std::string(8, '\0'));
    EXPECT_EQ(disc_names(state("usb_mngt").get()), (std::vector<std::string>{"PHOTOS", "BACKUP"}));
    ASSERT_EQ(rename_by_path("/mnt/usb2_1", "ARCHIVE").status, 0u);
    ASSERT_EQ(rename_by_path("/mnt/usb2_1/", "ARCHIVE2").status, 0u);  // a trailing slash names the same disc
    EXPECT_EQ(disc_names(state("usb_mngt").get()), (std::vector<std::string>{"PHOTOS", "ARCHIVE2"}));
    auto got = expect_received("usb_mngt", {{kRenameByPath, rename_request(host("/mnt/usb1_1"), "PHOTOS")},
                                            {kRenameByPath, rename_request("/mnt/usb2_1", "ARCHIVE")},
                                            {kRenameByPath, rename_request("/mnt/usb2_1/", "ARCHIVE2")}});
    ASSERT_EQ(got.size(), 3u);
    ASSERT_TRUE(got[1].decoded);
    EXPECT_EQ(zxtest::json_text(got[1].decoded.get(), "path"), "/mnt/usb2_1");
    EXPECT_EQ(zxtest::json_text(got[1].decoded.get(), "newName"), "ARCHIVE");
}

TEST_F(Discs, TheMountPathOfANameIsTheHostPath) {
    Answer a = mnt_path("BACKUP");
    ASSERT_EQ(a.status, 0u);
    EXPECT_EQ(a.reply, padded(host("/mnt/usb2_1"), 128));
    // A request shorter than the 64-byte name field is not a request.
    EXPECT_EQ(call("usb_mngt", kMntPath, "BACKUP", 128).status, ZX_SIM_ERR_BAD_REQUEST);
    expect_received("usb_mngt", {{kMntPath, padded("BACKUP", 64)}, {kMntPath, "BACKUP"}});
}

TEST_F(Discs, SettingTheDiscsMakesTheirDirectoriesAndListsEvenOneThatCannotBeMade) {
    // A regular file where a disc's parent directory would go: that directory cannot be made.
    std::ofstream(host("/blocker")) << "x";
    ASSERT_TRUE(sim_.set_state(
        "usb_mngt", "discs",
        StateValue::array({StateValue::object({{"name", "CARD"},
                                               {"fsType", "exfat"},
                                               {"mount", "/media/card/p1"},
                                               {"files", StateValue::array({"dcim/img1.jpg", "../outside.jpg"})}}),
                           StateValue::object({{"name", "BROKEN"}, {"fsType", "vfat"}, {"mount", "/blocker/disc"}})})));
    EXPECT_TRUE(fs::is_directory(host("/media/card/p1")));
    EXPECT_TRUE(fs::is_regular_file(host("/media/card/p1/dcim/img1.jpg")));
    EXPECT_FALSE(fs::exists(host("/media/card/outside.jpg")));  // a listed file stays inside its disc
    EXPECT_FALSE(fs::exists(host("/blocker/disc")));
    Answer a = disc_info();
    ASSERT_EQ(a.status, 0u);
    EXPECT_EQ(a.reply,
              disc_list({{"CARD", "exfat", host("/media/card/p1")}, {"BROKEN", "vfat", host("/blocker/disc")}}));
}

TEST_F(Discs, AtMost32DiscsAreListed) {
    std::vector<StateValue> many;
    std::vector<std::vector<std::string>> expected;
    for (int i = 0; i < 33; ++i) {
        std::string name = "D" + std::to_string(i);
        std::string mount = "/mnt/many/" + std::to_string(i);
        many.push_back(StateValue::object({{"name", name}, {"fsType", "vfat"}, {"mount", mount}}));
        if (i < 32) expected.push_back({name, "vfat", host(mount)});
    }
    ASSERT_TRUE(sim_.set_state("usb_mngt", "discs", StateValue::array(many)));
    EXPECT_EQ(disc_info().reply, disc_list(expected));
    EXPECT_EQ(mnt_path("D32").status, ZX_SIM_DISC_UNKNOWN);
}

TEST_F(Discs, NoDiscsGiveACountOfZero) {
    ASSERT_TRUE(sim_.set_state("usb_mngt", "discs", StateValue::array({})));
    Answer a = disc_info();
    ASSERT_EQ(a.status, 0u);
    EXPECT_EQ(a.reply, std::string(kDiscListSize, '\0'));
}

}  // namespace
}  // namespace simtest
