// The plug-in permission native of BaseServiceJNIMethods with the JNIEnv of a real VM, against the
// simulated bundle manager: the System V segment it creates for the call (2170 bytes a deployment
// unit, key 0xD6EC6), what the bundle manager writes into it, and every step that can fail (get,
// attach, detach, remove; the platform's shared-memory calls refused through the host's fault
// hook) with its fault text, its last word and what is left of the segment afterwards, read from
// the kernel's own list (/proc/sysvipc/shm).
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "binding_sim_test.h"
#include "jvm.h"
#include "sim_process.h"
#include "source_lines.h"
#include "test_env.h"
#include "trace_lines.h"
#include "traced_jvm_test.h"

extern "C" {
JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getPluginPermissions(JNIEnv*, jobject);
JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getAPIFilePath(JNIEnv*,
                                                                                                           jobject);
}

namespace {

using zxtest::binding_records;
using zxtest::L;
using zxtest::L1;
using zxtest::SimProcess;
using zxtest::StateValue;
using zxtest::take_records;
using zxtest::utf16_of;

constexpr const char* kBindings = zxtest::kBindingsUnit;
constexpr uint32_t kKey = 0xD6EC6;
constexpr uint32_t kThreeUnits = 3 * 2170;
constexpr uint32_t kDuCount = 0x4720902A;
constexpr uint32_t kPermissions = 0x47209031;
constexpr const char* kFault = "{ \"Result\": -1 }";

uint32_t line_of(const std::string& needle, const std::string& method = "getPluginPermissions") {
    return zxtest::binding_line_of(method, needle);
}

// One row of the kernel's list of System V segments.
struct Segment {
    uint32_t key = 0;
    int id = -1;
    uint64_t size = 0;
    pid_t creator = 0;
    uint64_t attached = 0;
};

std::vector<Segment> segments() {
    std::ifstream in("/proc/sysvipc/shm");
    std::string line;
    std::getline(in, line);  // the heading
    std::vector<Segment> out;
    while (std::getline(in, line)) {
        std::istringstream row(line);
        long long key = 0;
        unsigned perms = 0;
        Segment s;
        pid_t lastPid = 0;
        row >> key >> s.id >> perms >> s.size >> s.creator >> lastPid >> s.attached;
        s.key = static_cast<uint32_t>(key);
        out.push_back(s);
    }
    return out;
}

// The segments this process created (the binding's, whatever their key has become).
std::vector<Segment> ours() {
    std::vector<Segment> out;
    for (const Segment& s : segments())
        if (s.creator == getpid()) out.push_back(s);
    return out;
}

bool key_exists(uint32_t key) {
    for (const Segment& s : segments())
        if (s.key == key) return true;
    return false;
}

// The address where this process still has the permission segment attached, or null.
void* attached_permission_segment() {
    std::ifstream maps("/proc/self/maps");
    std::string line;
    while (std::getline(maps, line)) {
        if (line.find("SYSV000d6ec6") == std::string::npos) continue;
        return reinterpret_cast<void*>(std::stoull(line.substr(0, line.find('-')), nullptr, 16));
    }
    return nullptr;
}

class PermissionSegment : public zxtest::BindingSimTest {
protected:
    PermissionSegment() : BindingSimTest({.services = {"osgi_proxy"}}) {}

    void SetUp() override {
        ASSERT_FALSE(key_exists(kKey)) << "a permission segment exists before the case";
        ASSERT_TRUE(ours().empty());
        BindingSimTest::SetUp();
        if (HasFatalFailure()) return;
        // Three installed units, one being installed and one uninstalled (neither counts).
        ASSERT_TRUE(sim_.set_state(
            "osgi_proxy", "bundles",
            StateValue::object({
                {"weather",
                 StateValue::object(
                     {{"version", "1.0.0"}, {"state", "ACTIVE"}, {"permissions", StateValue::array({"usb.access"})}})},
                {"backup", StateValue::object({{"version", "2.1.0"},
                                               {"state", "RESOLVED"},
                                               {"permissions", StateValue::array({"lan.hosts.read", "usb.access"})}})},
                {"meter",
                 StateValue::object(
                     {{"version", "0.9.1"}, {"state", "ACTIVE"}, {"permissions", StateValue::array({"basic"})}})},
                {"coming", StateValue::object({{"version", "1.0.0"}, {"state", "INSTALLING"}})},
                {"gone", StateValue::object({{"version", "1.0.0"}, {"state", "UNINSTALLED"}})},
            })));
        take_records();
    }
    void TearDown() override {
        zxhost::shm_fail_clear();
        BindingSimTest::TearDown();
        EXPECT_FALSE(key_exists(kKey)) << "a permission segment was left behind";
    }

    // The native's answer as text ("<null>" for a null reference), the reference released.
    std::string call() {
        return answer_of(
            Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getPluginPermissions(env_, nullptr));
    }

    // The size word of each permission request the bundle manager received.
    std::vector<uint32_t> sizes_asked() {
        std::vector<uint32_t> out;
        for (const zxtest::Received& r : received("osgi_proxy")) {
            if (r.msgId != kPermissions) continue;
            uint32_t size = 0;
            if (r.data.size() == 4) std::memcpy(&size, r.data.data(), 4);
            out.push_back(size);
        }
        return out;
    }
};

TEST_F(PermissionSegment, ThreeUnitsAreReadThroughA6510ByteSegmentThatIsThenGone) {
    std::string text = call();
    EXPECT_NE(text.find("\"Name\":\"weather\""), std::string::npos) << text;
    EXPECT_NE(text.find("\"Name\":\"backup\""), std::string::npos);
    EXPECT_NE(text.find("\"lan.hosts.read\""), std::string::npos);
    EXPECT_EQ(text.find("\"coming\""), std::string::npos);
    EXPECT_EQ(sizes_asked(), std::vector<uint32_t>{kThreeUnits});
    EXPECT_TRUE(binding_records().empty()) << "a good read records nothing";
    EXPECT_TRUE(ours().empty()) << "the segment is removed";
}

TEST_F(PermissionSegment, ASegmentThatCannotBeHadIsTheFaultText) {
    const uint64_t before = zxhost::shm_failures_injected();
    zxhost::shm_fail(zxhost::ShmCall::Get, 1);
    EXPECT_EQ(call(), kFault);
    EXPECT_EQ(zxhost::shm_failures_injected(), before + 1);
    EXPECT_EQ(binding_records(),
              (std::vector<std::string>{
                  L(kBindings, line_of("if (!segment) return"), 0xFFFFFFFF, ENOSPC, kThreeUnits, 0, 0),
              }));
    EXPECT_TRUE(sizes_asked().empty()) << "the bundle manager is not asked without a segment";
    EXPECT_TRUE(ours().empty());
}

TEST_F(PermissionSegment, AnAttachRefusedRemovesTheSegment) {
    zxhost::shm_fail(zxhost::ShmCall::At, 1);
    EXPECT_EQ(call(), kFault);
    EXPECT_EQ(binding_records(), (std::vector<std::string>{
                                     L(kBindings, line_of("if (!text) return"), 0xFFFFFFFF, EACCES, kThreeUnits, 0, 0),
                                 }));
    EXPECT_EQ(sizes_asked(), std::vector<uint32_t>{kThreeUnits}) << "the bundle manager filled it first";
    EXPECT_TRUE(ours().empty()) << "the segment is removed";
}

// The refused detach leaves the segment mapped in this process; the native removes it all the
// same, so once this process lets go of the mapping the kernel has nothing left.
TEST_F(PermissionSegment, ADetachRefusedStillRemovesTheSegment) {
    zxhost::shm_fail(zxhost::ShmCall::Dt, 1);
    EXPECT_EQ(call(), kFault);
    EXPECT_EQ(binding_records(),
              (std::vector<std::string>{
                  L(kBindings, line_of("if (segment.detach() != 0)"), 0xFFFFFFFF, EINVAL, kThreeUnits, 0, 0),
              }));
    std::vector<Segment> left = ours();
    ASSERT_EQ(left.size(), 1u);
    EXPECT_EQ(left[0].key, 0u) << "marked for removal: its key is gone";
    EXPECT_EQ(left[0].size, kThreeUnits);
    EXPECT_EQ(left[0].attached, 1u);
    void* mapping = attached_permission_segment();
    ASSERT_NE(mapping, nullptr);
    ASSERT_EQ(shmdt(mapping), 0);
    EXPECT_TRUE(ours().empty()) << "nothing is left once the mapping goes";
}

// Removal is the last step: the text was read, but Java is told of the failure. The segment the
// platform would not remove is the one thing left; the case removes it itself.
TEST_F(PermissionSegment, ARemovalRefusedIsTheFaultTextAfterTheRead) {
    zxhost::shm_fail(zxhost::ShmCall::Ctl, 1);
    EXPECT_EQ(call(), kFault);
    EXPECT_EQ(binding_records(),
              (std::vector<std::string>{
                  L(kBindings, line_of("if (segment.remove() != 0)"), 0xFFFFFFFF, EPERM, kThreeUnits, 0, 0),
              }));
    std::vector<Segment> left = ours();
    ASSERT_EQ(left.size(), 1u);
    EXPECT_EQ(left[0].key, kKey);
    EXPECT_EQ(left[0].attached, 0u) << "detached before the removal was tried";
    ASSERT_EQ(shmctl(left[0].id, IPC_RMID, nullptr), 0);
    EXPECT_TRUE(ours().empty());
}

TEST_F(PermissionSegment, ARefusedFillRemovesTheSegment) {
    ASSERT_TRUE(sim_.inject("osgi_proxy", kPermissions, zxtest::Fault::status(0xF7213011, 1)));
    EXPECT_EQ(call(), kFault);
    std::vector<std::string> records = binding_records();
    ASSERT_EQ(records.size(), 1u);
    // The error number is whatever the bus call left; the code and the size are the native's.
    const std::string head = "L " + std::string(kBindings) + " " + std::to_string(line_of("if (filled != 0) return")) +
                             " " + zxtest::hex32(0xF7213011) + " ";
    const std::string tail = " " + zxtest::hex32(kThreeUnits) + " 0x00000000 0x00000000";
    EXPECT_EQ(records[0].substr(0, head.size()), head) << records[0];
    ASSERT_GE(records[0].size(), tail.size());
    EXPECT_EQ(records[0].substr(records[0].size() - tail.size()), tail) << records[0];
    EXPECT_EQ(sizes_asked(), std::vector<uint32_t>{kThreeUnits});
    EXPECT_TRUE(ours().empty());
}

TEST_F(PermissionSegment, NoUnitsOrNoCountIsTheFaultTextWithoutASegment) {
    ASSERT_TRUE(sim_.set_state("osgi_proxy", "bundles", StateValue::object({})));
    EXPECT_EQ(call(), kFault);
    EXPECT_EQ(binding_records(), (std::vector<std::string>{
                                     L1(kBindings, line_of("no deployment unit"), 0xFFFFFFFF),
                                 }));
    ASSERT_TRUE(sim_.inject("osgi_proxy", kDuCount, zxtest::Fault::status(0xF7213003, 1)));
    EXPECT_EQ(call(), kFault);
    std::vector<std::string> records = binding_records();
    EXPECT_EQ(records, (std::vector<std::string>{L1(kBindings, line_of("last_word(__LINE__, counted)"), 0xF7213003)}));
    EXPECT_TRUE(sizes_asked().empty());
    EXPECT_TRUE(ours().empty());
}

// ---------------------------------------------------------------------------------------------
// Plug-in permissions switched off in the gateway profile (of this process; the simulator keeps
// the default one)
// ---------------------------------------------------------------------------------------------

class PermissionsSwitchedOff : public PermissionSegment {
protected:
    void SetUp() override {
        PermissionSegment::SetUp();
        if (HasFatalFailure()) return;
        if (const char* was = std::getenv("ZX_PROFILE")) saved_ = was;
        const std::string path = dir_.path() + "/profile.json";
        std::ofstream(path) << R"({"features":{"FT_PLUGIN_PERMISSION_ENABLE":0,"FT_PLUGIN_PERMISSION_CONTROL_ONLY":0},)"
                            << R"("specValues":{"VELM_SPEC_PLUGIN_APILIST":"plugin_apilist.json"}})";
        zxtest::set_env("ZX_PROFILE", path.c_str());
    }
    void TearDown() override {
        zxtest::set_env("ZX_PROFILE", saved_.empty() ? nullptr : saved_.c_str());
        PermissionSegment::TearDown();
    }

    zxtest::ScopedTempDir dir_{"zxprofile"};
    std::string saved_;
};

TEST_F(PermissionsSwitchedOff, TheApiListPathIsTheFaultText) {
    EXPECT_EQ(
        answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getAPIFilePath(env_, nullptr)),
        kFault);
    std::vector<std::string> lastWords;
    for (const std::string& r : take_records())
        if (r.rfind("L1 ", 0) == 0) lastWords.push_back(r);
    EXPECT_EQ(lastWords, (std::vector<std::string>{
                             L1("../velm/zx_velm_jni_api", 2295, 1),
                             L1(kBindings, line_of("last_word(__LINE__, code)", "getAPIFilePath"), 1),
                         }));
}

// Without permission control the lack is recorded, and the permissions are read all the same.
TEST_F(PermissionsSwitchedOff, PermissionsAreReadAllTheSame) {
    std::string text = call();
    EXPECT_NE(text.find("\"Name\":\"meter\""), std::string::npos) << text;
    EXPECT_EQ(binding_records(), (std::vector<std::string>{
                                     zxtest::T(249, kBindings, line_of("It does not support permission manage."),
                                               "It does not support permission manage. \r\n"),
                                     L1(kBindings, line_of("last_word(__LINE__, kGeneralFailure)"), 0xFFFFFFFF),
                                 }));
    EXPECT_EQ(sizes_asked(), std::vector<uint32_t>{kThreeUnits});
    EXPECT_TRUE(ours().empty());
}

}  // namespace
