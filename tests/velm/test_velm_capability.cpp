// Platform capabilities and plug-in permissions: feature switches and the API list path from the
// gateway profile, the cloud registration status from "app_m", and the bundle manager's
// deployment-unit count and the permissions it writes into the caller's System V segment.
#include <sys/ipc.h>
#include <sys/shm.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <map>
#include <thread>

#include "velm_fixture.h"
#include "zx_velm_capability.h"

namespace velmtest {
namespace {

constexpr uint32_t kDown = 0xF7F00002;
constexpr const char* kApiList = "/etc/wap/customize/plugin_apilist.json";  // 38 characters

// ---------------------------------------------------------------------------------------------
// Feature switches and the API list path: the library alone, with a profile of the test's own
// ---------------------------------------------------------------------------------------------

class Profiled : public zxtest::TracedFixture {
protected:
    Profiled() : TracedFixture(kFile) {}

    void SetUp() override {
        const char* was = std::getenv("ZX_PROFILE");
        if (was) saved_ = was;
        hadProfile_ = was != nullptr;
        TracedFixture::SetUp();
    }
    void TearDown() override {
        TracedFixture::TearDown();
        zxtest::set_env("ZX_PROFILE", hadProfile_ ? saved_.c_str() : nullptr);
    }

    // Makes the library read a profile with these "features" and "specValues" members (JSON texts).
    void use_profile(const std::string& features, const std::string& specValues) {
        const std::string path = dir_.path() + "/profile" + std::to_string(++profiles_) + ".json";
        std::ofstream(path) << R"({"features":)" << features << R"(,"specValues":)" << specValues << "}";
        zxtest::set_env("ZX_PROFILE", path.c_str());
    }

    zxtest::ScopedTempDir dir_{"zxprofile"};
    std::string saved_;
    bool hadProfile_ = false;
    int profiles_ = 0;
};

using VelmFeatureSwitch = Profiled;
using VelmApiListPath = Profiled;

TEST_F(VelmFeatureSwitch, TheProfileAnswersAndANullNameIsRecordedAt2259) {
    use_profile(R"({"FT_ON":1,"FT_OFF":0,"FT_TRUE":true,"FT_FALSE":false})", "{}");
    EXPECT_EQ(ZX_JNI_GetFeatureSwitch("FT_ON"), 1u);
    EXPECT_EQ(ZX_JNI_GetFeatureSwitch("FT_OFF"), 0u);
    EXPECT_EQ(ZX_JNI_GetFeatureSwitch("FT_TRUE"), 1u);
    EXPECT_EQ(ZX_JNI_GetFeatureSwitch("FT_FALSE"), 0u);
    EXPECT_EQ(ZX_JNI_GetFeatureSwitch("FT_NOT_IN_THE_PROFILE"), 0u);
    expect_no_last_word(traces());
    EXPECT_EQ(ZX_JNI_GetFeatureSwitch(nullptr), 1u);
    expect_last_word_1(traces(), 2259, 1);
}

TEST_F(VelmFeatureSwitch, TheSameNameFollowsTheProfile) {
    use_profile(R"({"FT_PLUGIN_PERMISSION_ENABLE":1})", "{}");
    EXPECT_EQ(ZX_JNI_GetFeatureSwitch("FT_PLUGIN_PERMISSION_ENABLE"), 1u);
    use_profile(R"({"FT_PLUGIN_PERMISSION_ENABLE":0})", "{}");
    EXPECT_EQ(ZX_JNI_GetFeatureSwitch("FT_PLUGIN_PERMISSION_ENABLE"), 0u);
}

TEST_F(VelmApiListPath, APathThatFits) {
    use_profile(R"({"FT_PLUGIN_PERMISSION_ENABLE":1})", R"({"VELM_SPEC_PLUGIN_APILIST":"plugin_apilist.json"})");
    char buf[64];
    std::memset(buf, 'u', sizeof buf);
    ASSERT_EQ(ZX_JNI_GetPluginAPICapabilitesPath(buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kApiList);
    // Exactly room for the text and its terminator.
    std::memset(buf, 'u', sizeof buf);
    ASSERT_EQ(ZX_JNI_GetPluginAPICapabilitesPath(buf, 39), 0u);
    EXPECT_STREQ(buf, kApiList);
    EXPECT_EQ(std::string(buf + 39, sizeof buf - 39), std::string(sizeof buf - 39, 'u'));
    expect_no_last_word(traces());
}

TEST_F(VelmApiListPath, APathThatDoesNotFitIsCutToSizeLessOne) {
    use_profile(R"({"FT_PLUGIN_PERMISSION_ENABLE":1})", R"({"VELM_SPEC_PLUGIN_APILIST":"plugin_apilist.json"})");
    char buf[64];
    std::memset(buf, 'u', sizeof buf);
    ASSERT_EQ(ZX_JNI_GetPluginAPICapabilitesPath(buf, 38), 0u);
    EXPECT_EQ(std::string(buf), std::string(kApiList).substr(0, 37));
    EXPECT_EQ(std::string(buf + 38, sizeof buf - 38), std::string(sizeof buf - 38, 'u'));
    std::memset(buf, 'u', sizeof buf);
    ASSERT_EQ(ZX_JNI_GetPluginAPICapabilitesPath(buf, 20), 0u);
    EXPECT_EQ(std::string(buf), "/etc/wap/customize/");
    EXPECT_EQ(buf[20], 'u');
    expect_no_last_word(traces());
}

TEST_F(VelmApiListPath, ThePermissionFeatureOffGivesOneWhateverTheProfileHolds) {
    const char* values = R"({"VELM_SPEC_PLUGIN_APILIST":"plugin_apilist.json"})";
    for (const char* features : {R"({"FT_PLUGIN_PERMISSION_ENABLE":0})", R"({"FT_PLUGIN_PERMISSION_ENABLE":false})",
                                 R"({"FT_PLUGIN_PERMISSION_ENABLE":"yes"})", "{}"}) {
        use_profile(features, values);
        char buf[64] = "untouched";
        EXPECT_EQ(ZX_JNI_GetPluginAPICapabilitesPath(buf, sizeof buf), 1u) << features;
        EXPECT_STREQ(buf, "untouched");
        expect_last_word_1(traces(), 2295, 1);
    }
}

TEST_F(VelmApiListPath, ANullBufferIsRecordedAt2288BeforeTheFeatureIsAsked) {
    use_profile(R"({"FT_PLUGIN_PERMISSION_ENABLE":0})", "{}");
    EXPECT_EQ(ZX_JNI_GetPluginAPICapabilitesPath(nullptr, 64), 0xFFFFFFFFu);
    auto records = traces();
    expect_last_word_1(records, 2288, 0xFFFFFFFFu);
    EXPECT_TRUE(zxtest::at_line(records, zxhost::TraceRecord::LastWord1, 2295, kFile).empty());
}

TEST_F(VelmApiListPath, APlatformValueThatCannotBeReadIsRecordedAt2303) {
    use_profile(R"({"FT_PLUGIN_PERMISSION_ENABLE":1})", "{}");
    char buf[64] = "untouched";
    EXPECT_EQ(ZX_JNI_GetPluginAPICapabilitesPath(buf, sizeof buf), ZX_ERR_NOT_FOUND);
    EXPECT_STREQ(buf, "untouched");
    expect_last_word_1(traces(), 2303, ZX_ERR_NOT_FOUND);

    // The value is read into 32 bytes: 31 characters fit, 32 do not.
    const std::string fits(31, 'f');
    use_profile(R"({"FT_PLUGIN_PERMISSION_ENABLE":1})", R"({"VELM_SPEC_PLUGIN_APILIST":")" + fits + "\"}");
    ASSERT_EQ(ZX_JNI_GetPluginAPICapabilitesPath(buf, sizeof buf), 0u);
    EXPECT_EQ(std::string(buf), "/etc/wap/customize/" + fits);
    use_profile(R"({"FT_PLUGIN_PERMISSION_ENABLE":1})",
                R"({"VELM_SPEC_PLUGIN_APILIST":")" + std::string(32, 'g') + "\"}");
    std::strcpy(buf, "untouched");
    EXPECT_EQ(ZX_JNI_GetPluginAPICapabilitesPath(buf, sizeof buf), ZX_ERR_NOSPACE);
    EXPECT_STREQ(buf, "untouched");
    expect_last_word_1(traces(), 2303, ZX_ERR_NOSPACE);
}

// ---------------------------------------------------------------------------------------------
// Cloud status
// ---------------------------------------------------------------------------------------------

using VelmCloudStatus = VelmTest;

TEST_F(VelmCloudStatus, AFailedCallIsRecordedAt2234AndLeavesTheStatus) {
    inject("app_m", kGetCloudStatus, Fault::status(kDown));
    uint32_t status = 77;
    EXPECT_EQ(ZX_JNI_GetCloudStatus(&status), kDown);
    EXPECT_EQ(status, 77u);
    expect_last_word_1(traces(), 2234, kDown);
    auto got = expect_received("app_m", {{kGetCloudStatus, word(0)}});
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].replyCap, 4u);
    EXPECT_EQ(got[0].timeoutMs, 30000u);
    EXPECT_EQ(got[0].head.tag, 249u);
}

TEST_F(VelmCloudStatus, AServiceThatDoesNotAnswerIsRecordedAt2234) {
    zxtest::set_env("ZX_TIMEOUT_SCALE", "0.01");
    inject("app_m", kGetCloudStatus, Fault::noreply());
    uint32_t status = 77;
    EXPECT_EQ(ZX_JNI_GetCloudStatus(&status), ZX_MSG_ERR_TIMEOUT);
    zxtest::set_env("ZX_TIMEOUT_SCALE", nullptr);
    EXPECT_EQ(status, 77u);
    expect_last_word_1(traces(), 2234, ZX_MSG_ERR_TIMEOUT);
}

TEST_F(VelmCloudStatus, TheStatusOfTheServiceState) {
    EXPECT_EQ(ZX_JNI_GetCloudStatus(nullptr), 1u);
    expect_received("app_m", {});
    uint32_t status = 77;
    ASSERT_EQ(ZX_JNI_GetCloudStatus(&status), 0u);
    EXPECT_EQ(status, 1u);  // registered in the default profile
    ASSERT_TRUE(sim_.set_state("app_m", "cloudStatus", 0));
    ASSERT_EQ(ZX_JNI_GetCloudStatus(&status), 0u);
    EXPECT_EQ(status, 0u);
    ASSERT_TRUE(sim_.set_state("app_m", "cloudStatus", 5));
    ASSERT_EQ(ZX_JNI_GetCloudStatus(&status), 0u);
    EXPECT_EQ(status, 5u);
    expect_received("app_m", {{kGetCloudStatus, word(0)}, {kGetCloudStatus, word(0)}, {kGetCloudStatus, word(0)}});
    expect_no_last_word(traces());
}

// ---------------------------------------------------------------------------------------------
// Deployment units and permissions
// ---------------------------------------------------------------------------------------------

using VelmDuCount = VelmTest;
using VelmPermissions = VelmTest;

// Three bundles in the bundle manager's state, two of them installed.
testing::AssertionResult three_bundles(const zxtest::SimProcess& sim) {
    using zxtest::StateValue;
    return sim.set_state(
        "osgi_proxy", "bundles",
        StateValue::object({
            {"com.example.media",
             StateValue::object({{"version", "1.0.0"},
                                 {"state", "ACTIVE"},
                                 {"permissions", StateValue::array({"usb.access", "media.read"})}})},
            {"com.example.lan", StateValue::object({{"version", "2.1.0"},
                                                    {"state", "RESOLVED"},
                                                    {"permissions", StateValue::array({"lan.hosts.read"})}})},
            {"com.example.gone",
             StateValue::object(
                 {{"version", "0.9.0"}, {"state", "UNINSTALLED"}, {"permissions", StateValue::array({"basic"})}})},
        }));
}

// The checks of a call to the bundle manager made by these functions.
void expect_bundle_call(const zxtest::Received& r) {
    EXPECT_EQ(r.mid, 0u);
    EXPECT_EQ(r.head.midWord, 0u);
    EXPECT_EQ(r.head.dstName, "osgi_proxy");
    EXPECT_GE(r.head.tag, 281u);
    EXPECT_LE(r.head.tag, 286u);
    EXPECT_EQ(r.timeoutMs, 60000u) << "no row of its own in the time-out table";
}

TEST_F(VelmDuCount, AFailedCallIsRecordedAt2367AndWaitsTheDefaultTimeOut) {
    inject("osgi_proxy", kGetDuCount, Fault::status(kDown));
    uint32_t count = 77;
    EXPECT_EQ(ZX_JNI_GetDuCount(&count), static_cast<int32_t>(kDown));
    EXPECT_EQ(count, 77u);
    auto records = traces();
    expect_last_word_1(records, 2367, kDown);
    expect_trace(records, 249, 940, "ulRpcCmo:0x4720902a uiTimeOut:60000\r\n");
    auto got = expect_received("osgi_proxy", {{kGetDuCount, word(0)}});
    ASSERT_EQ(got.size(), 1u);
    expect_bundle_call(got[0]);
    EXPECT_EQ(got[0].replyCap, 1020u);
}

TEST_F(VelmDuCount, AServiceThatDoesNotAnswerIsRecordedAt2367) {
    zxtest::set_env("ZX_TIMEOUT_SCALE", "0.001");  // 60000 ms become 60
    inject("osgi_proxy", kGetDuCount, Fault::noreply());
    uint32_t count = 77;
    EXPECT_EQ(ZX_JNI_GetDuCount(&count), static_cast<int32_t>(ZX_MSG_ERR_TIMEOUT));
    zxtest::set_env("ZX_TIMEOUT_SCALE", nullptr);
    EXPECT_EQ(count, 77u);
    expect_last_word_1(traces(), 2367, ZX_MSG_ERR_TIMEOUT);
}

TEST_F(VelmDuCount, TheInstalledBundlesAreCounted) {
    EXPECT_EQ(ZX_JNI_GetDuCount(nullptr), 1);
    expect_received("osgi_proxy", {});
    ASSERT_TRUE(three_bundles(sim_));
    uint32_t count = 77;
    ASSERT_EQ(ZX_JNI_GetDuCount(&count), 0);
    EXPECT_EQ(count, 2u);
    ASSERT_TRUE(sim_.set_state("osgi_proxy", "bundles", zxtest::StateValue::object({})));
    ASSERT_EQ(ZX_JNI_GetDuCount(&count), 0);
    EXPECT_EQ(count, 0u);
    expect_received("osgi_proxy", {{kGetDuCount, word(0)}, {kGetDuCount, word(0)}});
    expect_no_last_word(traces());
}

// The permission segment as the binding makes it: created for the call, removed at the end.
class Segment {
public:
    explicit Segment(size_t size) : size_(size) {
        // Another test on this machine may hold the key for a moment: wait for it.
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while ((id_ = shmget(kPermissionShmKey, size, IPC_CREAT | IPC_EXCL | 0600)) < 0 && errno == EEXIST &&
               std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        if (id_ < 0) return;
        void* at = shmat(id_, nullptr, 0);
        if (at == reinterpret_cast<void*>(-1)) return;
        bytes_ = static_cast<char*>(at);
        std::memset(bytes_, 0xAB, size);
    }
    ~Segment() {
        if (bytes_) shmdt(bytes_);
        if (id_ >= 0) shmctl(id_, IPC_RMID, nullptr);
    }
    bool ok() const { return bytes_ != nullptr; }
    const char* bytes() const { return bytes_; }
    size_t size() const { return size_; }
    int id() const { return id_; }

private:
    size_t size_;
    int id_ = -1;
    char* bytes_ = nullptr;
};

// name -> permissions of the segment's text.
std::map<std::string, std::vector<std::string>> permissions_of(const std::string& text) {
    std::map<std::string, std::vector<std::string>> out;
    zxtest::JsonPtr list(json_tokener_parse(text.c_str()));
    EXPECT_TRUE(list && json_object_is_type(list.get(), json_type_array)) << text;
    if (!list || !json_object_is_type(list.get(), json_type_array)) return out;
    for (size_t i = 0; i < json_object_array_length(list.get()); ++i) {
        json_object* entry = json_object_array_get_idx(list.get(), i);
        json_object* perms = nullptr;
        std::vector<std::string> names;
        if (json_object_object_get_ex(entry, "Permissions", &perms))
            for (size_t j = 0; j < json_object_array_length(perms); ++j)
                names.push_back(json_object_get_string(json_object_array_get_idx(perms, j)));
        out[zxtest::json_text(entry, "Name")] = names;
    }
    return out;
}

TEST_F(VelmPermissions, AFailedCallIsRecordedAt2337AndSendsTheSizeWord) {
    inject("osgi_proxy", kGetPermissions, Fault::status(kDown));
    EXPECT_EQ(ZX_JNI_GetPluginPermissions(6510), static_cast<int32_t>(kDown));
    auto records = traces();
    expect_last_word_1(records, 2337, kDown);
    expect_trace(records, 249, 940, "ulRpcCmo:0x47209031 uiTimeOut:60000\r\n");
    auto got = expect_received("osgi_proxy", {{kGetPermissions, word(6510)}});
    ASSERT_EQ(got.size(), 1u);
    expect_bundle_call(got[0]);
    EXPECT_EQ(got[0].replyCap, 4u);
}

TEST_F(VelmPermissions, AServiceThatDoesNotAnswerIsRecordedAt2337) {
    zxtest::set_env("ZX_TIMEOUT_SCALE", "0.001");
    inject("osgi_proxy", kGetPermissions, Fault::noreply());
    EXPECT_EQ(ZX_JNI_GetPluginPermissions(100), static_cast<int32_t>(ZX_MSG_ERR_TIMEOUT));
    zxtest::set_env("ZX_TIMEOUT_SCALE", nullptr);
    expect_last_word_1(traces(), 2337, ZX_MSG_ERR_TIMEOUT);
}

TEST_F(VelmPermissions, WithoutASegmentTheBundleManagerRefuses) {
    // Another test on this machine may hold the key for a moment: wait until nobody does.
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (shmget(kPermissionShmKey, 0, 0) >= 0 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    ASSERT_LT(shmget(kPermissionShmKey, 0, 0), 0) << "a permission segment that does not go away";
    EXPECT_EQ(ZX_JNI_GetPluginPermissions(4340), static_cast<int32_t>(0xF7213011u));
    expect_last_word_1(traces(), 2337, 0xF7213011u);
    expect_received("osgi_proxy", {{kGetPermissions, word(4340)}});
}

TEST_F(VelmPermissions, TheBundleManagerWritesEachInstalledBundleIntoTheSegment) {
    ASSERT_TRUE(three_bundles(sim_));
    uint32_t count = 0;
    ASSERT_EQ(ZX_JNI_GetDuCount(&count), 0);
    ASSERT_EQ(count, 2u);
    {
        Segment segment(count * 2170);
        ASSERT_TRUE(segment.ok()) << std::strerror(errno);
        // The kernel lists it as this process's while it exists (the fixture's check would see it).
        bool listed = false;
        for (const ShmSegment& s : shm_segments_of({getpid()}))
            if (s.key == kPermissionShmKey && s.size == segment.size()) listed = true;
        EXPECT_TRUE(listed);
        ASSERT_EQ(ZX_JNI_GetPluginPermissions(static_cast<uint32_t>(segment.size())), 0);
        const char* end = static_cast<const char*>(std::memchr(segment.bytes(), '\0', segment.size()));
        ASSERT_NE(end, nullptr) << "a terminated text";
        std::string text(segment.bytes(), end);
        auto perms = permissions_of(text);
        EXPECT_EQ(perms.size(), 2u) << text;
        EXPECT_EQ(perms["com.example.media"], (std::vector<std::string>{"usb.access", "media.read"}));
        EXPECT_EQ(perms["com.example.lan"], (std::vector<std::string>{"lan.hosts.read"}));
        EXPECT_EQ(perms.count("com.example.gone"), 0u);
        // The bundle manager has let go of the segment: only this process is attached.
        struct shmid_ds ds {};
        ASSERT_EQ(shmctl(segment.id(), IPC_STAT, &ds), 0);
        EXPECT_EQ(ds.shm_nattch, 1u);
    }
    expect_received("osgi_proxy", {{kGetDuCount, word(0)}, {kGetPermissions, word(4340)}});
    expect_no_last_word(traces());
}

TEST_F(VelmPermissions, TheTextIsCutToTheSizeLessOne) {
    ASSERT_TRUE(three_bundles(sim_));
    Segment segment(4340);
    ASSERT_TRUE(segment.ok()) << std::strerror(errno);
    ASSERT_EQ(ZX_JNI_GetPluginPermissions(10), 0);
    EXPECT_EQ(segment.bytes()[9], '\0');
    EXPECT_EQ(std::strlen(segment.bytes()), 9u);
    EXPECT_EQ(segment.bytes()[0], '[');
    EXPECT_EQ(static_cast<unsigned char>(segment.bytes()[10]), 0xABu) << "nothing past the size";
}

TEST_F(VelmPermissions, ASizeLargerThanTheSegmentIsRefusedAndNothingWritten) {
    ASSERT_TRUE(three_bundles(sim_));
    Segment segment(100);
    ASSERT_TRUE(segment.ok()) << std::strerror(errno);
    EXPECT_EQ(ZX_JNI_GetPluginPermissions(4096 * 4), static_cast<int32_t>(0xF7213012u));
    expect_last_word_1(traces(), 2337, 0xF7213012u);
    for (size_t i = 0; i < segment.size(); ++i)
        ASSERT_EQ(static_cast<unsigned char>(segment.bytes()[i]), 0xABu) << "byte " << i;
}

}  // namespace
}  // namespace velmtest
