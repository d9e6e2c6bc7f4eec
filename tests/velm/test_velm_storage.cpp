// VelmStorage, file scan and media against the simulator: the discs of "usb_mngt" (list, rename by
// name and by path, mount path), their space measured with statfs, and the media-file scanner of
// "app_m" (switch, list of the files of one type through a shared block, counts).
#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/vfs.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>

#include "velm_fixture.h"
#include "zx_velm_storage.h"

namespace velmtest {

// What statfs reports to the library when a test asks for made-up figures.
struct FakeStatfs {
    bool on = false;
    struct statfs figures {};
    std::string lastPath;  // the path the library asked about
};
FakeStatfs& fake_statfs() {
    static FakeStatfs fake;
    return fake;
}

// statfs of the C library, whatever the test asked of the library's calls.
int real_statfs(const char* path, struct statfs* out) {
    using Fn = int (*)(const char*, struct statfs*);
    static Fn real = reinterpret_cast<Fn>(dlsym(RTLD_NEXT, "statfs"));
    return real(path, out);
}

}  // namespace velmtest

// The library's statfs resolves to this first (the executable precedes the C library).
extern "C" int statfs(const char* path, struct statfs* out) {
    velmtest::FakeStatfs& fake = velmtest::fake_statfs();
    if (!fake.on) return velmtest::real_statfs(path, out);
    fake.lastPath = path;
    *out = fake.figures;
    return 0;
}

namespace velmtest {
namespace {

namespace fs = std::filesystem;

constexpr uint32_t kDown = 0xF7F00002;

using VelmStorageArgs = VelmTest;
using VelmScanSwitch = VelmTest;
using VelmScanList = VelmTest;
using VelmDiscs = VelmTest;
using VelmRename = VelmTest;
using VelmMntPath = VelmTest;
using VelmStorage = VelmTest;
using VelmMedia = VelmTest;

// Restores the bus time-out factor at the end of a test that shortened it.
class ShortTimeouts {
public:
    ShortTimeouts() { zxtest::set_env("ZX_TIMEOUT_SCALE", "0.01"); }
    ~ShortTimeouts() { zxtest::set_env("ZX_TIMEOUT_SCALE", nullptr); }
};

// ---------------------------------------------------------------------------------------------
// Arguments the functions cannot work without
// ---------------------------------------------------------------------------------------------

TEST_F(VelmStorageArgs, MissingArgumentsAnswerOneAndSendNothing) {
    char buf[128] = "untouched";
    char* data = reinterpret_cast<char*>(0x1);
    uint32_t len = 77;
    uint32_t count = 77;
    ZX_USB_DISC_LIST_S list{};
    EXPECT_EQ(ZX_JNI_setFilesScanSwitch(1, nullptr, 128), 1u);
    EXPECT_EQ(ZX_JNI_getFilesScanListByType(nullptr, &data, &len), 1u);
    EXPECT_EQ(ZX_JNI_getFilesScanListByType("video", nullptr, &len), 1u);
    EXPECT_EQ(ZX_JNI_getFilesScanListByType("video", &data, nullptr), 1u);
    EXPECT_EQ(ZX_JNI_getDiscInfo(nullptr, &count), 1u);
    EXPECT_EQ(ZX_JNI_getDiscInfo(&list, nullptr), 1u);
    EXPECT_EQ(ZX_JNI_changeDiscNameByPath(nullptr, "NEW"), 1u);
    EXPECT_EQ(ZX_JNI_changeDiscNameByPath("/mnt/usb1_1", nullptr), 1u);
    EXPECT_EQ(ZX_JNI_changeDiscName(nullptr, "NEW"), 1u);
    EXPECT_EQ(ZX_JNI_changeDiscName("USB_DISK1", nullptr), 1u);
    EXPECT_EQ(ZX_JNI_getMntPathByDiscName(nullptr, &data), 1u);
    EXPECT_EQ(ZX_JNI_getMntPathByDiscName("USB_DISK1", nullptr), 1u);
    EXPECT_EQ(ZX_JNI_GetMediaFilesInfo(nullptr), 1u);
    uint64_t total = 1, used = 2, freeBytes = 3;
    ZX_JNI_GetStorage(nullptr, &total, &used, &freeBytes);
    ZX_JNI_GetStorage(root_.path().c_str(), nullptr, &used, &freeBytes);
    ZX_JNI_GetStorage(root_.path().c_str(), &total, nullptr, &freeBytes);
    ZX_JNI_GetStorage(root_.path().c_str(), &total, &used, nullptr);
    EXPECT_EQ(total, 1u);
    EXPECT_EQ(used, 2u);
    EXPECT_EQ(freeBytes, 3u);
    EXPECT_STREQ(buf, "untouched");
    EXPECT_EQ(data, reinterpret_cast<char*>(0x1));
    EXPECT_EQ(len, 77u);
    EXPECT_EQ(count, 77u);
    expect_no_last_word(traces());
    expect_received("usb_mngt", {});
    expect_received("app_m", {});
}

// ---------------------------------------------------------------------------------------------
// The scanner's switch
// ---------------------------------------------------------------------------------------------

TEST_F(VelmScanSwitch, AFailedCallIsRecordedAt1936AndLeavesTheBuffer) {
    inject("app_m", kSetScanSwitch, Fault::status(kDown));
    char buf[128] = "untouched";
    EXPECT_EQ(ZX_JNI_setFilesScanSwitch(1, buf, sizeof buf), kDown);
    EXPECT_STREQ(buf, "untouched");
    expect_last_word_1(traces(), 1936, kDown);
    auto got = expect_received("app_m", {{kSetScanSwitch, word(1)}});
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].replyCap, 128u);
    EXPECT_EQ(got[0].timeoutMs, 30000u);
    EXPECT_EQ(got[0].head.tag, 249u);
    EXPECT_EQ(got[0].head.dstName, "app_m");
}

TEST_F(VelmScanSwitch, AServiceThatDoesNotAnswerIsRecordedAt1936) {
    ShortTimeouts shortTimeouts;
    inject("app_m", kSetScanSwitch, Fault::noreply());
    char buf[128] = "untouched";
    EXPECT_EQ(ZX_JNI_setFilesScanSwitch(0, buf, sizeof buf), ZX_MSG_ERR_TIMEOUT);
    EXPECT_STREQ(buf, "untouched");
    expect_last_word_1(traces(), 1936, ZX_MSG_ERR_TIMEOUT);
    expect_received("app_m", {{kSetScanSwitch, word(0)}});
}

TEST_F(VelmScanSwitch, OnAndOffAnswerTheServiceTextAndChangeItsState) {
    char buf[128] = {};
    ASSERT_EQ(ZX_JNI_setFilesScanSwitch(0, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0}");
    zxtest::JsonPtr state = sim_.state("app_m");
    EXPECT_EQ(zxtest::json_int(state.get(), "filesScan"), 0);
    ASSERT_EQ(ZX_JNI_setFilesScanSwitch(1, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0}");
    state = sim_.state("app_m");
    EXPECT_EQ(zxtest::json_int(state.get(), "filesScan"), 1);
    expect_received("app_m", {{kSetScanSwitch, word(0)}, {kSetScanSwitch, word(1)}});
    expect_no_last_word(traces());
}

TEST_F(VelmScanSwitch, AValueTheServiceRefusesComesBackAsItsText) {
    char buf[128] = {};
    ASSERT_EQ(ZX_JNI_setFilesScanSwitch(2, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":-1,\"FailReason\":\"invalid switch value\"}");
    expect_received("app_m", {{kSetScanSwitch, word(2)}});
    zxtest::JsonPtr state = sim_.state("app_m");
    EXPECT_EQ(zxtest::json_int(state.get(), "filesScan"), 1);
}

TEST_F(VelmScanSwitch, ATextThatDoesNotFitIsRecordedAt1940) {
    const std::string answer = "{\"Result\":0}";  // 12 characters
    char buf[16];
    std::memset(buf, 'u', sizeof buf);
    EXPECT_EQ(ZX_JNI_setFilesScanSwitch(1, buf, 12), 0xF7700005u);
    EXPECT_EQ(std::string(buf, sizeof buf), std::string(16, 'u'));
    expect_last_word(traces(), 1940, 0xF7700005u, {12, 12, 0, 0});
    // One byte more is room for the terminator.
    ASSERT_EQ(ZX_JNI_setFilesScanSwitch(1, buf, 13), 0u);
    EXPECT_EQ(std::string(buf), answer);
}

// ---------------------------------------------------------------------------------------------
// The scanner's list of one type
// ---------------------------------------------------------------------------------------------

// Writes an empty file, making its directories.
void touch(const std::string& path) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path) << "";
}

// Two empty discs of the test's own in place of the profile's (whose files are listed too).
testing::AssertionResult empty_discs(const zxtest::SimProcess& sim) {
    using zxtest::StateValue;
    return sim.set_state(
        "usb_mngt", "discs",
        StateValue::array({StateValue::object({{"name", "T1"}, {"fsType", "vfat"}, {"mount", "/mnt/t1"}}),
                           StateValue::object({{"name", "T2"}, {"fsType", "ext4"}, {"mount", "/mnt/t2"}})}));
}

TEST_F(VelmScanList, AFailedCallIsRecordedAt1977AndSendsTheTypeWithoutItsNul) {
    inject("app_m", kGetScanList, Fault::status(kDown));
    char* data = reinterpret_cast<char*>(0x1);
    uint32_t len = 77;
    EXPECT_EQ(ZX_JNI_getFilesScanListByType("video", &data, &len), kDown);
    EXPECT_EQ(data, reinterpret_cast<char*>(0x1));
    EXPECT_EQ(len, 77u);
    expect_last_word_1(traces(), 1977, kDown);
    auto got = expect_received("app_m", {{kGetScanList, std::string("video")}});
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].data.size(), 5u);
    EXPECT_EQ(got[0].replyCap, 12u);
    EXPECT_EQ(got[0].timeoutMs, 30000u);
}

TEST_F(VelmScanList, AServiceThatDoesNotAnswerIsRecordedAt1977) {
    ShortTimeouts shortTimeouts;
    inject("app_m", kGetScanList, Fault::noreply());
    char* data = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(ZX_JNI_getFilesScanListByType("music", &data, &len), ZX_MSG_ERR_TIMEOUT);
    EXPECT_EQ(data, nullptr);
    expect_last_word_1(traces(), 1977, ZX_MSG_ERR_TIMEOUT);
    expect_received("app_m", {{kGetScanList, std::string("music")}});
}

// The files of one type as the scanner lists them: host paths, sorted.
std::vector<std::string> listed_files(const char* data, uint32_t len, const std::string& type) {
    std::vector<std::string> files;
    zxtest::JsonPtr obj(json_tokener_parse(std::string(data, len).c_str()));
    EXPECT_TRUE(obj) << std::string(data, len);
    if (!obj) return files;
    EXPECT_EQ(zxtest::json_int(obj.get(), "Result"), 0);
    EXPECT_EQ(zxtest::json_text(obj.get(), "Type"), type);
    json_object* list = nullptr;
    EXPECT_TRUE(json_object_object_get_ex(obj.get(), "Files", &list));
    if (!list) return files;
    for (size_t i = 0; i < json_object_array_length(list); ++i)
        files.push_back(json_object_get_string(json_object_array_get_idx(list, i)));
    return files;
}

TEST_F(VelmScanList, TheListComesThroughASharedBlockThatIsFreedAndNotTerminated) {
    ASSERT_TRUE(empty_discs(sim_));
    const std::string disc1 = host_path("/mnt/t1");
    const std::string disc2 = host_path("/mnt/t2");
    touch(disc1 + "/films/b.MKV");
    touch(disc1 + "/a.mp4");
    touch(disc2 + "/deep/er/c.avi");
    touch(disc1 + "/photo.jpg");
    touch(disc2 + "/song.FLAC");
    touch(disc1 + "/notes.txt");

    char* data = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(ZX_JNI_getFilesScanListByType("video", &data, &len), 0u);
    ASSERT_NE(data, nullptr);
    ASSERT_GT(len, 0u);
    EXPECT_NE(data[len - 1], '\0') << "the service stores the text without its NUL";
    std::vector<std::string> expected{disc1 + "/a.mp4", disc1 + "/films/b.MKV", disc2 + "/deep/er/c.avi"};
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(listed_files(data, len, "video"), expected);
    // The list is a block of the platform's allocator of exactly len bytes.
    bool found = false;
    for (const zxhost::AllocRecord& a : zxhost::alloc_list())
        if (a.ptr == data) found = a.size == len;
    EXPECT_TRUE(found);
    ZX_OS_MemFreeD(data, "test", __LINE__);
    EXPECT_TRUE(zxhost::vdata_list().empty()) << "the block is freed once read";

    auto got = expect_received("app_m", {{kGetScanList, std::string("video")}});
    ASSERT_EQ(got.size(), 1u);

    ASSERT_EQ(ZX_JNI_getFilesScanListByType("picture", &data, &len), 0u);
    EXPECT_EQ(listed_files(data, len, "picture"), std::vector<std::string>{disc1 + "/photo.jpg"});
    ZX_OS_MemFreeD(data, "test", __LINE__);
    ASSERT_EQ(ZX_JNI_getFilesScanListByType("music", &data, &len), 0u);
    EXPECT_EQ(listed_files(data, len, "music"), std::vector<std::string>{disc2 + "/song.FLAC"});
    ZX_OS_MemFreeD(data, "test", __LINE__);
    expect_no_last_word(traces());
}

TEST_F(VelmScanList, WithTheSwitchOffTheServiceRefusesAndTheRefusalIsRecordedAt1977) {
    ASSERT_TRUE(sim_.set_state("app_m", "filesScan", 0));
    char* data = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(ZX_JNI_getFilesScanListByType("video", &data, &len), 0xF7105001u);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(len, 0u);
    expect_last_word_1(traces(), 1977, 0xF7105001u);
}

TEST_F(VelmScanList, AnUnknownTypeIsRefusedAndRecordedAt1977) {
    char* data = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(ZX_JNI_getFilesScanListByType("documents", &data, &len), 0xF7105002u);
    EXPECT_EQ(data, nullptr);
    expect_last_word_1(traces(), 1977, 0xF7105002u);
    expect_received("app_m", {{kGetScanList, std::string("documents")}});
}

TEST_F(VelmScanList, AReadThatCannotAllocateIsRecordedAt1981AndStillFreesTheBlock) {
    touch(host_path("/mnt/usb2_1") + "/clip.mov");
    zxhost::alloc_fail_at(kFile, 387);  // the read buffer of the shared-block transfer
    uint64_t injected = zxhost::alloc_failures_injected();
    char* data = reinterpret_cast<char*>(0x1);
    uint32_t len = 77;
    EXPECT_EQ(ZX_JNI_getFilesScanListByType("video", &data, &len), ZX_JNI_ERR_NOMEM);
    EXPECT_EQ(zxhost::alloc_failures_injected(), injected + 1);
    EXPECT_EQ(data, reinterpret_cast<char*>(0x1));
    EXPECT_EQ(len, 77u);
    auto records = traces();
    expect_last_word_1(records, 390, ZX_JNI_ERR_NOMEM);
    expect_last_word_1(records, 1981, ZX_JNI_ERR_NOMEM);
    EXPECT_TRUE(zxhost::vdata_list().empty());
}

TEST_F(VelmScanList, AResultBufferThatCannotBeAllocatedIsRecordedAt1981) {
    touch(host_path("/mnt/usb2_1") + "/clip.mov");
    zxhost::alloc_fail_at(kFile, 396);  // the result buffer of the shared-block transfer
    char* data = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(ZX_JNI_getFilesScanListByType("video", &data, &len), ZX_JNI_ERR_NOMEM);
    EXPECT_EQ(data, nullptr);
    auto records = traces();
    expect_last_word_1(records, 399, ZX_JNI_ERR_NOMEM);
    expect_last_word_1(records, 1981, ZX_JNI_ERR_NOMEM);
    EXPECT_TRUE(zxhost::vdata_list().empty());
}

// ---------------------------------------------------------------------------------------------
// The disc list
// ---------------------------------------------------------------------------------------------

TEST_F(VelmDiscs, AFailedCallIsRecordedAt2023AndSendsTheFiveCharactersOfInput) {
    inject("usb_mngt", kGetDiscInfo, Fault::status(kDown));
    ZX_USB_DISC_LIST_S list{};
    uint32_t count = 77;
    EXPECT_EQ(ZX_JNI_getDiscInfo(&list, &count), kDown);
    EXPECT_EQ(count, 77u);
    expect_last_word_1(traces(), 2023, kDown);
    auto got = expect_received("usb_mngt", {{kGetDiscInfo, std::string("input")}});
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].replyCap, 7172u);
    EXPECT_EQ(got[0].timeoutMs, 30000u);
    EXPECT_EQ(got[0].head.dstName, "usb_mngt");
    EXPECT_EQ(got[0].head.tag, 0u);
}

TEST_F(VelmDiscs, AServiceThatDoesNotAnswerIsRecordedAt2023) {
    ShortTimeouts shortTimeouts;
    inject("usb_mngt", kGetDiscInfo, Fault::noreply());
    ZX_USB_DISC_LIST_S list{};
    uint32_t count = 77;
    EXPECT_EQ(ZX_JNI_getDiscInfo(&list, &count), ZX_MSG_ERR_TIMEOUT);
    EXPECT_EQ(count, 77u);
    expect_last_word_1(traces(), 2023, ZX_MSG_ERR_TIMEOUT);
}

TEST_F(VelmDiscs, TheProfileDiscsAreListedWithTheirHostMountPaths) {
    ZX_USB_DISC_LIST_S list;
    std::memset(&list, 0xAB, sizeof list);
    uint32_t count = 0;
    ASSERT_EQ(ZX_JNI_getDiscInfo(&list, &count), 0u);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(list.uiCount, 2u);
    EXPECT_STREQ(list.astDisc[0].acDiscName, "USB_DISK1");
    EXPECT_STREQ(list.astDisc[0].acFsType, "vfat");
    EXPECT_EQ(std::string(list.astDisc[0].acMntPath), host_path("/mnt/usb1_1"));
    EXPECT_STREQ(list.astDisc[1].acDiscName, "BACKUP");
    EXPECT_STREQ(list.astDisc[1].acFsType, "ext4");
    EXPECT_EQ(std::string(list.astDisc[1].acMntPath), host_path("/mnt/usb2_1"));
    EXPECT_TRUE(fs::is_directory(list.astDisc[0].acMntPath));
    EXPECT_TRUE(fs::is_directory(list.astDisc[1].acMntPath));
    expect_received("usb_mngt", {{kGetDiscInfo, std::string("input")}});
    expect_no_last_word(traces());
}

TEST_F(VelmDiscs, NoDiscsGiveACountOfZero) {
    ASSERT_TRUE(sim_.set_state("usb_mngt", "discs", zxtest::StateValue::array({})));
    ZX_USB_DISC_LIST_S list{};
    uint32_t count = 77;
    ASSERT_EQ(ZX_JNI_getDiscInfo(&list, &count), 0u);
    EXPECT_EQ(count, 0u);
}

// ---------------------------------------------------------------------------------------------
// Renames
// ---------------------------------------------------------------------------------------------

// The two 64-byte halves of a rename request.
std::string rename_request(const std::string& first, const std::string& second) {
    return padded(first, 64) + padded(second, 64);
}

std::string disc_name(const zxtest::SimProcess& sim, size_t index) {
    zxtest::JsonPtr state = sim.state("usb_mngt");
    json_object* discs = nullptr;
    if (!state || !json_object_object_get_ex(state.get(), "discs", &discs)) return "";
    if (index >= json_object_array_length(discs)) return "";
    return zxtest::json_text(json_object_array_get_idx(discs, index), "name");
}

TEST_F(VelmRename, FailedCallsAreRecordedAt2060And2096) {
    inject("usb_mngt", kChangeDiscNameByPath, Fault::status(kDown));
    inject("usb_mngt", kChangeDiscName, Fault::status(kDown + 1));
    EXPECT_EQ(ZX_JNI_changeDiscNameByPath("/mnt/usb1_1", "NEW"), kDown);
    EXPECT_EQ(ZX_JNI_changeDiscName("USB_DISK1", "NEW"), kDown + 1);
    auto records = traces();
    expect_last_word_1(records, 2060, kDown);
    expect_last_word_1(records, 2096, kDown + 1);
    auto got = expect_received("usb_mngt", {{kChangeDiscNameByPath, rename_request("/mnt/usb1_1", "NEW")},
                                            {kChangeDiscName, rename_request("USB_DISK1", "NEW")}});
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0].data.size(), 128u);
    EXPECT_EQ(got[0].replyCap, 8u);
    EXPECT_EQ(got[1].replyCap, 8u);
    EXPECT_EQ(got[0].timeoutMs, 30000u);
}

TEST_F(VelmRename, BothTextsAreCopiedWhole63CharactersFitAnd64AreCut) {
    // The service answers without data: only the requests are looked at here.
    inject("usb_mngt", kChangeDiscName, Fault::status(0));
    inject("usb_mngt", kChangeDiscNameByPath, Fault::status(0));
    const std::string a63(63, 'a'), b63(63, 'b');
    const std::string a64 = a63 + "A", b64 = b63 + "B";
    EXPECT_EQ(ZX_JNI_changeDiscName(a63.c_str(), b63.c_str()), 0u);
    EXPECT_EQ(ZX_JNI_changeDiscName(a64.c_str(), b64.c_str()), 0u);
    EXPECT_EQ(ZX_JNI_changeDiscNameByPath(a63.c_str(), b64.c_str()), 0u);
    EXPECT_EQ(ZX_JNI_changeDiscNameByPath((a64 + "tail").c_str(), b63.c_str()), 0u);
    const std::string both63 = a63 + '\0' + b63 + '\0';
    auto got = expect_received("usb_mngt", {{kChangeDiscName, both63},
                                            {kChangeDiscName, both63},
                                            {kChangeDiscNameByPath, both63},
                                            {kChangeDiscNameByPath, both63}});
    for (const auto& r : got) EXPECT_EQ(r.data.size(), 128u);
    expect_no_last_word(traces());
}

TEST_F(VelmRename, ANameOf63CharactersFitsAndOneOf64IsCutTo63) {
    const std::string name63(63, 'N');
    const std::string name64 = std::string(63, 'M') + "Z";
    ASSERT_EQ(ZX_JNI_changeDiscName("USB_DISK1", name63.c_str()), 0u);
    EXPECT_EQ(disc_name(sim_, 0), name63);
    ASSERT_EQ(ZX_JNI_changeDiscName(name63.c_str(), name64.c_str()), 0u);
    EXPECT_EQ(disc_name(sim_, 0), std::string(63, 'M'));
    expect_received("usb_mngt", {{kChangeDiscName, rename_request("USB_DISK1", name63)},
                                 {kChangeDiscName, rename_request(name63, std::string(63, 'M'))}});
    expect_no_last_word(traces());
}

TEST_F(VelmRename, ByPathWithTheHostPathAndWithTheGatewayPath) {
    const std::string host = host_path("/mnt/usb2_1");
    const std::string name64 = std::string(64, 'P');
    ASSERT_LT(host.size(), 64u) << "the temporary root is too deep for a 64-byte path";
    ASSERT_EQ(ZX_JNI_changeDiscNameByPath(host.c_str(), "ARCHIVE"), 0u);
    EXPECT_EQ(disc_name(sim_, 1), "ARCHIVE");
    ASSERT_EQ(ZX_JNI_changeDiscNameByPath("/mnt/usb2_1", name64.c_str()), 0u);
    EXPECT_EQ(disc_name(sim_, 1), std::string(63, 'P'));
    EXPECT_EQ(disc_name(sim_, 0), "USB_DISK1");
    expect_received("usb_mngt", {{kChangeDiscNameByPath, rename_request(host, "ARCHIVE")},
                                 {kChangeDiscNameByPath, rename_request("/mnt/usb2_1", std::string(63, 'P'))}});
    expect_no_last_word(traces());
}

TEST_F(VelmRename, AMountPathOf64CharactersIsCutTo63) {
    const std::string path64 = "/mnt/" + std::string(59, 'q');
    ASSERT_EQ(path64.size(), 64u);
    EXPECT_EQ(ZX_JNI_changeDiscNameByPath(path64.c_str(), "X"), 0xF7104001u);
    expect_last_word_1(traces(), 2060, 0xF7104001u);
    expect_received("usb_mngt", {{kChangeDiscNameByPath, rename_request(path64.substr(0, 63), "X")}});
}

TEST_F(VelmRename, RefusalsOfTheServiceAreRecorded) {
    EXPECT_EQ(ZX_JNI_changeDiscName("NO_SUCH_DISC", "X"), 0xF7104001u);
    EXPECT_EQ(ZX_JNI_changeDiscName("USB_DISK1", "a/b"), 0xF7104002u);
    EXPECT_EQ(ZX_JNI_changeDiscNameByPath("/mnt/nowhere", "X"), 0xF7104001u);
    EXPECT_EQ(ZX_JNI_changeDiscNameByPath("/mnt/usb1_1", ""), 0xF7104002u);
    auto records = traces();
    auto at2096 = zxtest::at_line(records, zxhost::TraceRecord::LastWord1, 2096, kFile);
    ASSERT_EQ(at2096.size(), 2u);
    EXPECT_EQ(at2096[0].code, 0xF7104001u);
    EXPECT_EQ(at2096[1].code, 0xF7104002u);
    auto at2060 = zxtest::at_line(records, zxhost::TraceRecord::LastWord1, 2060, kFile);
    ASSERT_EQ(at2060.size(), 2u);
    EXPECT_EQ(at2060[0].code, 0xF7104001u);
    EXPECT_EQ(at2060[1].code, 0xF7104002u);
    EXPECT_EQ(disc_name(sim_, 0), "USB_DISK1");
}

// ---------------------------------------------------------------------------------------------
// Mount path of a named disc
// ---------------------------------------------------------------------------------------------

TEST_F(VelmMntPath, AFailedCallIsRecordedAt2132AndSendsTheNameIn64Bytes) {
    inject("usb_mngt", kGetMntPath, Fault::status(kDown));
    char* path = reinterpret_cast<char*>(0x1);
    const std::string long70(70, 'L');
    EXPECT_EQ(ZX_JNI_getMntPathByDiscName("BACKUP", &path), kDown);
    EXPECT_EQ(ZX_JNI_getMntPathByDiscName(long70.c_str(), &path), kDown);
    EXPECT_EQ(path, reinterpret_cast<char*>(0x1));
    auto records = traces();
    auto at2132 = zxtest::at_line(records, zxhost::TraceRecord::LastWord1, 2132, kFile);
    ASSERT_EQ(at2132.size(), 2u);
    EXPECT_EQ(at2132[0].code, kDown);
    auto got = expect_received("usb_mngt",
                               {{kGetMntPath, padded("BACKUP", 64)}, {kGetMntPath, padded(std::string(63, 'L'), 64)}});
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0].replyCap, 128u);
}

TEST_F(VelmMntPath, AnAllocationFailureIsRecordedAt2136) {
    // The service answers without data: the call succeeds, the text is what cannot be had.
    inject("usb_mngt", kGetMntPath, Fault::status(0));
    zxhost::alloc_fail_nth(1);
    uint64_t injected = zxhost::alloc_failures_injected();
    char* path = reinterpret_cast<char*>(0x1);
    EXPECT_EQ(ZX_JNI_getMntPathByDiscName("BACKUP", &path), 1u);
    EXPECT_EQ(zxhost::alloc_failures_injected(), injected + 1);
    EXPECT_EQ(path, reinterpret_cast<char*>(0x1));
    expect_last_word_1(traces(), 2136, 1);
}

TEST_F(VelmMntPath, TheHostPathOfANamedDiscIn128Bytes) {
    char* path = nullptr;
    ASSERT_EQ(ZX_JNI_getMntPathByDiscName("BACKUP", &path), 0u);
    ASSERT_NE(path, nullptr);
    EXPECT_EQ(std::string(path), host_path("/mnt/usb2_1"));
    bool found = false;
    for (const zxhost::AllocRecord& a : zxhost::alloc_list())
        if (a.ptr == path) found = a.size == 128 && a.file == kFile;
    EXPECT_TRUE(found) << "a 128-byte block of the platform's allocator";
    ZX_OS_MemFreeD(path, "test", __LINE__);
    expect_received("usb_mngt", {{kGetMntPath, padded("BACKUP", 64)}});
    expect_no_last_word(traces());
}

TEST_F(VelmMntPath, AnUnknownDiscIsRefusedAndRecordedAt2132) {
    char* path = nullptr;
    EXPECT_EQ(ZX_JNI_getMntPathByDiscName("NO_SUCH_DISC", &path), 0xF7104001u);
    EXPECT_EQ(path, nullptr);
    expect_last_word_1(traces(), 2132, 0xF7104001u);
}

// ---------------------------------------------------------------------------------------------
// Space
// ---------------------------------------------------------------------------------------------

struct Figures {
    uint64_t total, used, free;
    bool operator==(const Figures&) const = default;
};

// The figures as statfs of the path gives them: every free block counts, the block size read as
// a signed 32-bit number.
Figures from_statfs(const struct statfs& st) {
    int64_t bsize = static_cast<int32_t>(st.f_bsize);
    uint64_t total = static_cast<uint64_t>(st.f_blocks) * static_cast<uint64_t>(bsize);
    uint64_t free = static_cast<uint64_t>(st.f_bfree) * static_cast<uint64_t>(bsize);
    return {total, total - free, free};
}

bool same_statfs(const struct statfs& a, const struct statfs& b) {
    return a.f_bsize == b.f_bsize && a.f_blocks == b.f_blocks && a.f_bfree == b.f_bfree;
}

// The library's figures for a path compared with statfs of the same path. Other processes write
// to the same file system: the comparison is made when statfs gave the same figures just before
// and just after the library's call.
void expect_figures_of(const std::string& path) {
    for (int attempt = 0; attempt < 200; ++attempt) {
        struct statfs before, after;
        ASSERT_EQ(real_statfs(path.c_str(), &before), 0) << path;
        Figures got{};
        ZX_JNI_GetStorage(path.c_str(), &got.total, &got.used, &got.free);
        ASSERT_EQ(real_statfs(path.c_str(), &after), 0) << path;
        if (!same_statfs(before, after)) continue;
        Figures expected = from_statfs(before);
        EXPECT_EQ(got.total, expected.total) << path;
        EXPECT_EQ(got.free, expected.free) << path;
        EXPECT_EQ(got.used, expected.used) << path;
        EXPECT_GT(got.total, 0u);
        return;
    }
    FAIL() << "the file system of " << path << " never held still";
}

TEST_F(VelmStorage, TheFiguresAreThoseOfStatfsOfTheSameDirectory) {
    expect_figures_of(root_.path());
    expect_figures_of("/dev/shm");
    expect_no_last_word(traces());
}

TEST_F(VelmStorage, TheFiguresOfEachListedDisc) {
    ZX_USB_DISC_LIST_S list{};
    uint32_t count = 0;
    ASSERT_EQ(ZX_JNI_getDiscInfo(&list, &count), 0u);
    ASSERT_EQ(count, 2u);
    for (uint32_t i = 0; i < count; ++i) expect_figures_of(list.astDisc[i].acMntPath);
}

// Made-up figures through the library's own statfs call.
class FakeFigures {
public:
    FakeFigures(uint64_t bsize, uint64_t blocks, uint64_t bfree, uint64_t bavail) {
        FakeStatfs& fake = fake_statfs();
        fake.figures = {};
        fake.figures.f_bsize = static_cast<decltype(fake.figures.f_bsize)>(bsize);
        fake.figures.f_blocks = blocks;
        fake.figures.f_bfree = bfree;
        fake.figures.f_bavail = bavail;
        fake.lastPath.clear();
        fake.on = true;
    }
    ~FakeFigures() { fake_statfs().on = false; }
};

TEST_F(VelmStorage, FreeCountsEveryFreeBlockNotOnlyThoseAvailableToUsers) {
    FakeFigures fake(4096, 1000, 300, 100);
    Figures got{};
    ZX_JNI_GetStorage("/mnt/usb1_1", &got.total, &got.used, &got.free);
    EXPECT_EQ(fake_statfs().lastPath, "/mnt/usb1_1");
    EXPECT_EQ(got, (Figures{4096000, 700 * 4096, 300 * 4096}));
}

TEST_F(VelmStorage, TheBlockSizeIsASigned32BitNumberWidened) {
    // A block size with bit 31 set is a negative number: the products wrap as 64-bit numbers.
    FakeFigures fake(0x80000000u, 3, 1, 1);
    Figures got{};
    ZX_JNI_GetStorage("/x", &got.total, &got.used, &got.free);
    const uint64_t bsize = 0xFFFFFFFF80000000ull;
    EXPECT_EQ(got.total, 3 * bsize);
    EXPECT_EQ(got.free, bsize);
    EXPECT_EQ(got.used, 3 * bsize - bsize);
    // Only the low 32 bits of the block size count.
    FakeFigures high(0x100000200ull, 10, 4, 0);
    ZX_JNI_GetStorage("/x", &got.total, &got.used, &got.free);
    EXPECT_EQ(got, (Figures{5120, 3072, 2048}));
}

TEST_F(VelmStorage, APathThatCannotBeMeasuredGivesTheFiguresOfAnEmptyRecord) {
    Figures got{1, 2, 3};
    ZX_JNI_GetStorage((root_.path() + "/no/such/dir").c_str(), &got.total, &got.used, &got.free);
    EXPECT_EQ(got, (Figures{0, 0, 0}));
}

// ---------------------------------------------------------------------------------------------
// Media counts
// ---------------------------------------------------------------------------------------------

TEST_F(VelmMedia, AFailedCallIsRecordedAt2708AndSendsAZeroWord) {
    inject("app_m", kGetMediaInfo, Fault::status(kDown));
    ZX_APPM_MEDIA_FILES_INFO_S info{7, 8, 9};
    EXPECT_EQ(ZX_JNI_GetMediaFilesInfo(&info), kDown);
    EXPECT_EQ(info.ullPictures, 7u);
    expect_last_word_1(traces(), 2708, kDown);
    auto got = expect_received("app_m", {{kGetMediaInfo, word(0)}});
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].replyCap, 24u);
    EXPECT_EQ(got[0].timeoutMs, 30000u);
    EXPECT_EQ(got[0].head.tag, 249u);
}

TEST_F(VelmMedia, AServiceThatDoesNotAnswerIsRecordedAt2708) {
    ShortTimeouts shortTimeouts;
    inject("app_m", kGetMediaInfo, Fault::noreply());
    ZX_APPM_MEDIA_FILES_INFO_S info{};
    EXPECT_EQ(ZX_JNI_GetMediaFilesInfo(&info), ZX_MSG_ERR_TIMEOUT);
    expect_last_word_1(traces(), 2708, ZX_MSG_ERR_TIMEOUT);
}

TEST_F(VelmMedia, TheCountsOfTheProfileDiscs) {
    ZX_APPM_MEDIA_FILES_INFO_S info;
    std::memset(&info, 0xAB, sizeof info);
    ASSERT_EQ(ZX_JNI_GetMediaFilesInfo(&info), 0u);
    EXPECT_EQ(info.ullPictures, 3u);
    EXPECT_EQ(info.ullVideos, 2u);
    EXPECT_EQ(info.ullMusic, 4u);
    expect_received("app_m", {{kGetMediaInfo, word(0)}});
    expect_no_last_word(traces());
}

TEST_F(VelmMedia, TheCountsOfTheScannedDiscs) {
    ASSERT_TRUE(empty_discs(sim_));
    const std::string disc1 = host_path("/mnt/t1");
    const std::string disc2 = host_path("/mnt/t2");
    for (const char* name : {"/p1.jpg", "/p2.PNG", "/d/p3.webp"}) touch(disc1 + name);
    for (const char* name : {"/v1.mp4", "/v2.ts", "/v3.WMV", "/e/v4.m4v", "/v5.mov"}) touch(disc2 + name);
    for (const char* name : {"/m1.mp3", "/m2.ogg", "/m3.wav", "/m4.aac", "/m5.m4a", "/m6.wma", "/m7.flac"})
        touch(disc1 + "/music" + name);
    touch(disc1 + "/readme.txt");
    ZX_APPM_MEDIA_FILES_INFO_S info;
    std::memset(&info, 0xAB, sizeof info);
    ASSERT_EQ(ZX_JNI_GetMediaFilesInfo(&info), 0u);
    EXPECT_EQ(info.ullPictures, 3u);
    EXPECT_EQ(info.ullVideos, 5u);
    EXPECT_EQ(info.ullMusic, 7u);
    expect_received("app_m", {{kGetMediaInfo, word(0)}});
    // With the switch off the scanner counts nothing.
    char text[128] = {};
    ASSERT_EQ(ZX_JNI_setFilesScanSwitch(0, text, sizeof text), 0u);
    ASSERT_EQ(ZX_JNI_GetMediaFilesInfo(&info), 0u);
    EXPECT_EQ(info.ullPictures, 0u);
    EXPECT_EQ(info.ullVideos, 0u);
    EXPECT_EQ(info.ullMusic, 0u);
    expect_no_last_word(traces());
}

}  // namespace
}  // namespace velmtest
