// The simulated bundle manager's deployment-unit count and plug-in permissions, driven over the
// bus: the permission text written into a System V segment the test makes and removes itself, cut
// to the size asked for, the refusals, and that the simulator never makes a segment of its own.
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

#include "sim_services.h"
#include "zx_wire_osgi_proxy.h"

namespace simtest {
namespace {

constexpr uint32_t kDuCount = 0x4720902A;
constexpr uint32_t kPermissions = 0x47209031;
constexpr uint32_t kInstall = 0x47103039;
constexpr key_t kKey = 0xD6EC6;

const std::string kProfileText =
    "[{\"Name\":\"com.zentrix.mediashare\",\"Permissions\":[\"usb.access\",\"media.read\"]},"
    "{\"Name\":\"com.zentrix.lanmonitor\",\"Permissions\":[\"lan.hosts.read\",\"wan.stats.read\"]},"
    "{\"Name\":\"com.zentrix.parental\",\"Permissions\":[\"lan.hosts.read\",\"lan.access.control\"]}]";

// The System V segments that exist now: id -> (key, creator pid), from the kernel's list.
struct Segment {
    int id;
    long long key;
    long size;
    int cpid;
};
std::vector<Segment> segments() {
    std::vector<Segment> out;
    std::ifstream list("/proc/sysvipc/shm");
    std::string line;
    std::getline(list, line);  // the heading
    while (std::getline(list, line)) {
        std::istringstream in(line);
        Segment s{};
        int perms = 0;
        in >> s.key >> s.id >> perms >> s.size >> s.cpid;
        if (in) out.push_back(s);
    }
    return out;
}

// A segment under the permission key made (and removed) by the test, filled with 'Z'. Other
// suites on this machine use the key too: the making waits for the key to be free.
class OwnSegment {
public:
    explicit OwnSegment(size_t size) : size_(size) {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while ((id_ = shmget(kKey, size, IPC_CREAT | IPC_EXCL | 0600)) < 0 && errno == EEXIST &&
               std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        if (id_ < 0) return;
        at_ = static_cast<char*>(shmat(id_, nullptr, 0));
        if (at_ == reinterpret_cast<char*>(-1)) at_ = nullptr;
        if (at_) std::memset(at_, 'Z', size_);
    }
    ~OwnSegment() { remove(); }
    bool ok() const { return at_ != nullptr; }
    int id() const { return id_; }
    std::string bytes() const { return at_ ? std::string(at_, size_) : std::string(); }
    void remove() {
        if (at_) shmdt(at_);
        at_ = nullptr;
        if (id_ >= 0) shmctl(id_, IPC_RMID, nullptr);
    }

private:
    size_t size_;
    int id_ = -1;
    char* at_ = nullptr;
};

// Segments the simulator made: none, ever.
void expect_no_segment_of(pid_t pid) {
    for (const Segment& s : segments()) EXPECT_NE(s.cpid, pid) << "segment " << s.id << " made by the simulator";
}

Answer du_count() { return call("osgi_proxy", kDuCount, word(0), 1020); }
Answer permissions(uint32_t size) { return call("osgi_proxy", kPermissions, word(size), 4); }

using Permissions = ServicesTest;

TEST_F(Permissions, TheProfileHasThreeDeploymentUnits) {
    Answer a = du_count();
    ASSERT_EQ(a.status, 0u);
    EXPECT_EQ(a.reply, word(3) + std::string(1016, '\0'));
    expect_received("osgi_proxy", {{kDuCount, word(0)}});
}

TEST_F(Permissions, OnlyInstalledBundlesCount) {
    ASSERT_TRUE(
        sim_.set_state("osgi_proxy", "bundles",
                       StateValue::object({{"a", StateValue::object({{"version", "1"}, {"state", "ACTIVE"}})},
                                           {"b", StateValue::object({{"version", "1"}, {"state", "UNINSTALLED"}})},
                                           {"c", StateValue::object({{"version", "1"}, {"state", "INSTALLING"}})},
                                           {"d", StateValue::object({{"version", "1"}, {"state", "RESOLVED"}})}})));
    EXPECT_EQ(du_count().reply, word(2) + std::string(1016, '\0'));
    ASSERT_TRUE(sim_.set_state("osgi_proxy", "bundles", StateValue::object({})));
    EXPECT_EQ(du_count().reply, std::string(1020, '\0'));
}

TEST_F(Permissions, TheTextOfEveryInstalledBundleIsWrittenIntoTheCallersSegment) {
    const size_t size = 3 * ZX_OSGI_PERMISSION_BYTES_PER_DU;  // 6510
    OwnSegment seg(size);
    ASSERT_TRUE(seg.ok()) << std::strerror(errno);
    Answer a = permissions(size);
    ASSERT_EQ(a.status, 0u);
    EXPECT_EQ(a.reply, word(0));
    std::string bytes = seg.bytes();
    EXPECT_EQ(bytes.substr(0, kProfileText.size() + 1), kProfileText + '\0');
    EXPECT_EQ(bytes.substr(kProfileText.size() + 1), std::string(size - kProfileText.size() - 1, 'Z'));
    auto got = expect_received("osgi_proxy", {{kPermissions, word(size)}});
    ASSERT_EQ(got.size(), 1u);
    ASSERT_TRUE(got[0].decoded);
    EXPECT_EQ(zxtest::json_int(got[0].decoded.get(), "size"), static_cast<int64_t>(size));
    // The segment is still the test's, attached by nobody else.
    struct shmid_ds ds {};
    ASSERT_EQ(shmctl(seg.id(), IPC_STAT, &ds), 0);
    EXPECT_EQ(ds.shm_nattch, 1u);
    EXPECT_EQ(ds.shm_cpid, getpid());
    const int id = seg.id();
    seg.remove();
    EXPECT_NE(shmctl(id, IPC_STAT, &ds), 0) << "the segment is gone";
    expect_no_segment_of(sim_.pid());
}

TEST_F(Permissions, TheTextIsCutToTheSizeLessOne) {
    OwnSegment seg(100);
    ASSERT_TRUE(seg.ok());
    ASSERT_EQ(permissions(40).status, 0u);
    EXPECT_EQ(seg.bytes(), kProfileText.substr(0, 39) + '\0' + std::string(60, 'Z'));
    ASSERT_EQ(permissions(1).status, 0u);
    EXPECT_EQ(seg.bytes(), std::string(1, '\0') + kProfileText.substr(1, 38) + '\0' + std::string(60, 'Z'));
}

TEST_F(Permissions, SizeZeroWritesNothing) {
    OwnSegment seg(64);
    ASSERT_TRUE(seg.ok());
    Answer a = permissions(0);
    ASSERT_EQ(a.status, 0u);
    EXPECT_EQ(a.reply, word(0));
    EXPECT_EQ(seg.bytes(), std::string(64, 'Z'));
}

TEST_F(Permissions, ASizeLargerThanTheSegmentIsRefusedAndWritesNothing) {
    OwnSegment seg(64);
    ASSERT_TRUE(seg.ok());
    Answer a = permissions(65);
    EXPECT_EQ(a.status, ZX_SIM_PERM_TOO_LARGE);
    EXPECT_EQ(a.reply, filler(4));
    EXPECT_EQ(seg.bytes(), std::string(64, 'Z'));
    EXPECT_EQ(permissions(64).status, 0u);  // the whole segment is fine
}

TEST_F(Permissions, NoSegmentIsRefusedAndNoneIsMade) {
    // Wait for the key to be free (another suite may hold it), then ask without a segment.
    { OwnSegment probe(1); }
    Answer a = permissions(6510);
    EXPECT_EQ(a.status, ZX_SIM_PERM_NO_SEGMENT);
    EXPECT_EQ(a.reply, filler(4));
    expect_no_segment_of(sim_.pid());
    EXPECT_EQ(call("osgi_proxy", kPermissions, "", 4).status, ZX_SIM_ERR_BAD_REQUEST);
}

TEST_F(Permissions, ABundleInstalledAtRunTimeHasTheBasicPermission) {
    ASSERT_TRUE(sim_.set_state("osgi_proxy", {{"bundles", StateValue::object({})}, {"installMs", 1}}));
    std::filesystem::create_directories(host("/pkg"));
    std::ofstream(host("/pkg/probe.jar")) << "Bundle-Version: 3.1.4\n";
    ZX_OSGI_INSTALL_REQ_S req{};
    std::strcpy(req.acPluginName, "probe");
    std::strcpy(req.acFilePath, "/pkg/probe.jar");
    req.uiFileSize = 22;
    Answer a = call("osgi_proxy", kInstall, std::string(reinterpret_cast<const char*>(&req), sizeof req), 4);
    ASSERT_EQ(a.status, 0u);
    ASSERT_EQ(a.reply, word(0));
    // The install ends after 1 ms, applied at the next request.
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(du_count().reply, word(1) + std::string(1016, '\0'));
    OwnSegment seg(256);
    ASSERT_TRUE(seg.ok());
    ASSERT_EQ(permissions(256).status, 0u);
    const std::string text = "[{\"Name\":\"probe\",\"Permissions\":[\"basic\"]}]";
    EXPECT_EQ(seg.bytes().substr(0, text.size() + 1), text + '\0');
}

}  // namespace
}  // namespace simtest
