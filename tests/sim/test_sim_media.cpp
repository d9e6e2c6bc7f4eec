// The simulated configuration service's media scanner and cloud status, driven over the bus: the
// file lists of each type read from the shared block they come in (and freed), the counts, files
// added and removed between queries, the switch, every refusal, and the discs it walks.
#include <filesystem>
#include <fstream>

#include "sim_services.h"
#include "zx_wire_vdata.h"

namespace simtest {
namespace {

namespace fs = std::filesystem;

constexpr uint32_t kScanSwitch = 0x47103056;
constexpr uint32_t kScanList = 0x47103057;
constexpr uint32_t kCloudStatus = 0x4710306C;
constexpr uint32_t kMediaCounts = 0x472090A0;

using Media = ServicesTest;

struct ScanList {
    uint32_t status = 0;
    std::string text;  // the block's bytes
    uint32_t originalLen = 0;
    uint32_t storedLen = 0;
};

// Asks for the files of a type (the text without NUL) and reads and frees the block named by the
// answer.
ScanList scan_list(const std::string& type) {
    Answer a = call("app_m", kScanList, type, sizeof(TunnelVDataRecord));
    ScanList out{a.status, "", 0, 0};
    if (a.status != 0) {
        EXPECT_EQ(a.reply, filler(sizeof(TunnelVDataRecord)));
        return out;
    }
    TunnelVDataRecord rec;
    std::memcpy(&rec, a.reply.data(), sizeof rec);
    out.originalLen = rec.uiOriginalLen;
    out.storedLen = rec.uiCompressedLen;
    out.text.assign(rec.uiCompressedLen, '\0');
    EXPECT_EQ(ZX_VDATA_ReadData(rec.uivDataID, rec.uiCompressedLen, out.text.data()), 0u);
    EXPECT_EQ(ZX_VDATA_FreeShm(rec.uivDataID), 0u);
    return out;
}

std::string list_text(const std::string& type, const std::vector<std::string>& files) {
    std::string out = "{\"Result\":0,\"Type\":\"" + type + "\",\"Files\":[";
    for (size_t i = 0; i < files.size(); ++i) out += (i ? ",\"" : "\"") + files[i] + "\"";
    return out + "]}";
}

// The counts as the service answers them: pictures, videos, music.
std::string counts(uint64_t pictures, uint64_t videos, uint64_t music) {
    std::string out;
    for (uint64_t v : {pictures, videos, music}) out.append(reinterpret_cast<const char*>(&v), sizeof v);
    return out;
}

Answer media_counts() { return call("app_m", kMediaCounts, word(0), 24); }

Answer set_switch(uint32_t value) { return call("app_m", kScanSwitch, word(value), 128); }

std::string text_reply(const std::string& text, size_t cap) { return text + '\0' + filler(cap - text.size() - 1); }

void touch(const std::string& path) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path) << "media";
}

TEST_F(Media, EachTypeListsTheProfileFilesSortedInABlockWithoutNul) {
    ScanList video = scan_list("video");
    ASSERT_EQ(video.status, 0u);
    std::string expected =
        list_text("video", {host("/mnt/usb1_1/movies/birthday.MKV"), host("/mnt/usb1_1/movies/holiday.mp4")});
    EXPECT_EQ(video.text, expected);
    EXPECT_EQ(video.originalLen, expected.size());  // stored as is: no NUL, no compression
    EXPECT_EQ(video.storedLen, expected.size());

    EXPECT_EQ(scan_list("picture").text,
              list_text("picture", {host("/mnt/usb1_1/photos/beach.jpg"), host("/mnt/usb1_1/photos/sunset.png"),
                                    host("/mnt/usb2_1/photos/2025/family.JPEG")}));
    EXPECT_EQ(
        scan_list("music").text,
        list_text("music", {host("/mnt/usb1_1/music/track01.mp3"), host("/mnt/usb2_1/music/album/01-intro.flac"),
                            host("/mnt/usb2_1/music/album/02-theme.ogg"), host("/mnt/usb2_1/music/voice-memo.m4a")}));
    auto got = expect_received("app_m", {{kScanList, "video"}, {kScanList, "picture"}, {kScanList, "music"}});
    ASSERT_EQ(got.size(), 3u);
    ASSERT_TRUE(got[0].decoded);
    EXPECT_EQ(zxtest::json_text(got[0].decoded.get(), "type"), "video");
}

TEST_F(Media, CountsArePicturesVideosMusic) {
    Answer a = media_counts();
    ASSERT_EQ(a.status, 0u);
    EXPECT_EQ(a.reply, counts(3, 2, 4));
    expect_received("app_m", {{kMediaCounts, word(0)}});
}

TEST_F(Media, FilesAddedAndRemovedAreSeenAtTheNextQuery) {
    touch(host("/mnt/usb2_1/clips/new.MoV"));
    touch(host("/mnt/usb1_1/deep/a/b/c/song.WMA"));
    touch(host("/mnt/usb1_1/photos/notes.jpg.txt"));  // not a picture
    touch(host("/mnt/usb1_1/movies/no-extension"));
    fs::create_directories(host("/mnt/usb1_1/folder.mp4"));  // a directory is not a file
    ASSERT_TRUE(fs::remove(host("/mnt/usb1_1/photos/beach.jpg")));
    ASSERT_TRUE(fs::remove(host("/mnt/usb2_1/music/voice-memo.m4a")));

    EXPECT_EQ(scan_list("video").text,
              list_text("video", {host("/mnt/usb1_1/movies/birthday.MKV"), host("/mnt/usb1_1/movies/holiday.mp4"),
                                  host("/mnt/usb2_1/clips/new.MoV")}));
    EXPECT_EQ(scan_list("picture").text, list_text("picture", {host("/mnt/usb1_1/photos/sunset.png"),
                                                               host("/mnt/usb2_1/photos/2025/family.JPEG")}));
    EXPECT_EQ(scan_list("music").text,
              list_text("music",
                        {host("/mnt/usb1_1/deep/a/b/c/song.WMA"), host("/mnt/usb1_1/music/track01.mp3"),
                         host("/mnt/usb2_1/music/album/01-intro.flac"), host("/mnt/usb2_1/music/album/02-theme.ogg")}));
    EXPECT_EQ(media_counts().reply, counts(2, 3, 4));
}

TEST_F(Media, TheSwitchOffRefusesListsAndZeroesCounts) {
    Answer off = set_switch(0);
    ASSERT_EQ(off.status, 0u);
    EXPECT_EQ(off.reply, text_reply("{\"Result\":0}", 128));
    EXPECT_EQ(zxtest::json_int(state("app_m").get(), "filesScan"), 0);
    for (const char* type : {"video", "picture", "music", "nonsense"})
        EXPECT_EQ(scan_list(type).status, ZX_SIM_SCAN_OFF);
    EXPECT_EQ(media_counts().reply, counts(0, 0, 0));

    ASSERT_EQ(set_switch(1).reply, text_reply("{\"Result\":0}", 128));
    EXPECT_EQ(zxtest::json_int(state("app_m").get(), "filesScan"), 1);
    EXPECT_EQ(media_counts().reply, counts(3, 2, 4));
    expect_received("app_m", {{kScanSwitch, word(0)},
                              {kScanList, "video"},
                              {kScanList, "picture"},
                              {kScanList, "music"},
                              {kScanList, "nonsense"},
                              {kMediaCounts, word(0)},
                              {kScanSwitch, word(1)},
                              {kMediaCounts, word(0)}});
}

TEST_F(Media, ASwitchValueOtherThanZeroOrOneIsAnsweredAsAFailureText) {
    for (uint32_t bad : {2u, 0xFFFFFFFFu}) {
        Answer a = set_switch(bad);
        ASSERT_EQ(a.status, 0u);
        EXPECT_EQ(a.reply, text_reply("{\"Result\":-1,\"FailReason\":\"invalid switch value\"}", 128));
    }
    EXPECT_EQ(zxtest::json_int(state("app_m").get(), "filesScan"), 1);
    // The answer is cut to the caller's room, its NUL always there.
    Answer small = call("app_m", kScanSwitch, word(0), 8);
    EXPECT_EQ(small.reply, std::string("{\"Resul") + '\0');
    EXPECT_EQ(call("app_m", kScanSwitch, "", 128).status, ZX_SIM_ERR_BAD_REQUEST);
}

TEST_F(Media, AnUnknownTypeIsRefused) {
    for (const char* type : {"videos", "Video", "", "audio"})
        EXPECT_EQ(scan_list(type).status, ZX_SIM_SCAN_BAD_TYPE) << type;
}

TEST_F(Media, TheScannerWalksTheDiscsUsbMngtHasNow) {
    ASSERT_TRUE(
        sim_.set_state("usb_mngt", "discs",
                       StateValue::array({StateValue::object({{"name", "CARD"},
                                                              {"fsType", "exfat"},
                                                              {"mount", "/media/card"},
                                                              {"files", StateValue::array({"x.gif", "y.AVI"})}})})));
    EXPECT_EQ(scan_list("picture").text, list_text("picture", {host("/media/card/x.gif")}));
    EXPECT_EQ(scan_list("video").text, list_text("video", {host("/media/card/y.AVI")}));
    EXPECT_EQ(scan_list("music").text, list_text("music", {}));
    EXPECT_EQ(media_counts().reply, counts(1, 1, 0));
}

TEST_F(Media, CloudStatusIsTheStateWord) {
    Answer a = call("app_m", kCloudStatus, word(0), 4);
    ASSERT_EQ(a.status, 0u);
    EXPECT_EQ(a.reply, word(1));
    ASSERT_TRUE(sim_.set_state("app_m", "cloudStatus", 0));
    EXPECT_EQ(call("app_m", kCloudStatus, word(0), 4).reply, word(0));
    ASSERT_TRUE(sim_.set_state("app_m", "cloudStatus", 7));
    EXPECT_EQ(call("app_m", kCloudStatus, word(0), 4).reply, word(7));
    EXPECT_EQ(call("app_m", kCloudStatus, "", 4).status, ZX_SIM_ERR_BAD_REQUEST);
    expect_received("app_m",
                    {{kCloudStatus, word(0)}, {kCloudStatus, word(0)}, {kCloudStatus, word(0)}, {kCloudStatus, ""}});
}

// app_m in a process of its own scans the discs of the profile's usb_mngt state; nobody makes
// them there, so the test does.
class MediaAlone : public zxtest::SimFixture {
protected:
    MediaAlone() : SimFixture("", {.services = {"app_m"}, .ctl = "app_m"}) {
        zxtest::set_env("ZX_ROOT", root_.path().c_str());
    }
    ~MediaAlone() override { zxtest::set_env("ZX_ROOT", nullptr); }
    zxtest::ScopedTempDir root_{"zxsimroot"};
};

TEST_F(MediaAlone, ScansTheDiscsOfTheProfile) {
    EXPECT_FALSE(fs::exists(root_.path() + "/mnt"));
    touch(root_.path() + "/mnt/usb2_1/a.mp4");
    touch(root_.path() + "/mnt/usb1_1/b.mkv");
    EXPECT_EQ(scan_list("video").text,
              list_text("video", {root_.path() + "/mnt/usb1_1/b.mkv", root_.path() + "/mnt/usb2_1/a.mp4"}));
    EXPECT_EQ(media_counts().reply, counts(0, 2, 0));
}

}  // namespace
}  // namespace simtest
