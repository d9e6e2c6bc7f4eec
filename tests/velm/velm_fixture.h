// Shared frame of the storage, media and capability tests: the gateway simulator serving the bus
// with its discs under a private ZX_ROOT, trace capture, the check that no platform allocation
// and no shared block is left behind, faults injected into single commands, and the System V
// segments of the kernel's list that this test (or its simulator) created.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "record_bytes.h"
#include "sim_fixture.h"
#include "test_env.h"
#include "zx_host.h"
#include "zx_platform.h"

namespace velmtest {

using zxtest::Fault;
using zxtest::padded;
using zxtest::word;

inline constexpr const char* kFile = "../velm/zx_velm_jni_api";
inline constexpr uint32_t kPermissionShmKey = 0xD6EC6;

// Command ids as the services know them (the test's own picture, not the library's names).
inline constexpr uint32_t kSetScanSwitch = 0x47103056;
inline constexpr uint32_t kGetScanList = 0x47103057;
inline constexpr uint32_t kChangeDiscName = 0x47103065;
inline constexpr uint32_t kGetMntPath = 0x47103066;
inline constexpr uint32_t kGetDiscInfo = 0x47103067;
inline constexpr uint32_t kChangeDiscNameByPath = 0x47103068;
inline constexpr uint32_t kGetMediaInfo = 0x472090A0;
inline constexpr uint32_t kGetCloudStatus = 0x4710306C;
inline constexpr uint32_t kGetDuCount = 0x4720902A;
inline constexpr uint32_t kGetPermissions = 0x47209031;

// One line of /proc/sysvipc/shm.
struct ShmSegment {
    long long key = 0;
    long long id = 0;
    unsigned long long size = 0;
    long long cpid = 0;
    std::string line;
};

// The kernel's list of System V segments now.
inline std::vector<ShmSegment> shm_segments() {
    std::ifstream in("/proc/sysvipc/shm");
    std::vector<ShmSegment> out;
    std::string line;
    std::getline(in, line);  // the column names
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        ShmSegment s;
        long long perms = 0;
        fields >> s.key >> s.id >> perms >> s.size >> s.cpid;
        if (!fields) continue;
        s.line = line;
        out.push_back(s);
    }
    return out;
}

// The segments created by one of these processes.
inline std::vector<ShmSegment> shm_segments_of(std::vector<long long> pids) {
    std::vector<ShmSegment> out;
    for (const ShmSegment& s : shm_segments())
        for (long long pid : pids)
            if (s.cpid == pid) out.push_back(s);
    return out;
}

class VelmTest : public zxtest::SimFixture {
protected:
    VelmTest() : SimFixture(kFile) {}

    void SetUp() override {
        // The simulator makes each disc's directory under the root when it starts.
        zxtest::set_env("ZX_ROOT", root_.path().c_str());
        shmBefore_ = shm_segments_of({getpid()});
        SimFixture::SetUp();
    }

    void TearDown() override {
        SimFixture::TearDown();
        std::vector<long long> pids{getpid()};
        if (sim_.running()) pids.push_back(sim_.pid());
        std::vector<ShmSegment> after = shm_segments_of(pids);
        EXPECT_EQ(after.size(), shmBefore_.size()) << "System V segments left behind";
        zxtest::set_env("ZX_ROOT", nullptr);
    }

    void inject(const std::string& service, uint32_t msgId, const Fault& fault) {
        ASSERT_TRUE(sim_.inject(service, msgId, fault));
    }

    // A disc's directory as the simulator makes it: the gateway mount path under the root.
    std::string host_path(const std::string& gatewayPath) const { return root_.path() + gatewayPath; }

    zxtest::ScopedTempDir root_{"zxvelm"};
    std::vector<ShmSegment> shmBefore_;
};

}  // namespace velmtest
