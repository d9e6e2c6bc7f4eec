// The simulated per-device maximum bandwidth of the configuration service ("app_m"), asked through
// the bridge's remote-call wrapper as the LAN bindings ask it.
#include <cstring>

#include "tern_fixture.h"

namespace terntest {
namespace {

using TernSimMaxBandwidth = TernTest;

constexpr uint32_t kGetMax = 0x47103051;
constexpr uint32_t kSetMax = 0x47103052;

TEST_F(TernSimMaxBandwidth, SetThenGetByMacTextInAnyCase) {
    ZX_APPM_DEV_MAX_BANDWIDTH_S req;
    std::memset(&req, 0, sizeof req);
    std::strcpy(req.acMac, "00:1a:2b:00:10:01");
    req.uiFirstLimit = 1000;
    req.uiSecondLimit = 20000;
    char reply[128] = {};
    ASSERT_EQ(APPM_JNI_MSG_RpcCall(kSetMax, &req, sizeof req, reply, sizeof reply), 0u);
    EXPECT_STREQ(reply, "{\"Result\":0}");
    const char* mac = "00:1A:2B:00:10:01";
    std::memset(reply, 0, sizeof reply);
    ASSERT_EQ(APPM_JNI_MSG_RpcCall(kGetMax, mac, std::strlen(mac), reply, sizeof reply), 0u);
    EXPECT_STREQ(reply, "{\"Result\":0,\"MAC\":\"00:1A:2B:00:10:01\",\"UpMaxBandwidth\":1000,\"DownMaxBandwidth\":20000}");
    JsonPtr state = sim_.state("app_m");
    json_object* h = at(member(state.get(), "lanHosts"), 0);
    EXPECT_EQ(num(h, "upMaxBandwidth"), 1000);
    EXPECT_EQ(num(h, "downMaxBandwidth"), 20000);
    take_received("app_m");
}

TEST_F(TernSimMaxBandwidth, AnUnknownMacIsRefused) {
    const char* mac = "00:11:22:33:44";
    char reply[128] = {};
    EXPECT_EQ(APPM_JNI_MSG_RpcCall(kGetMax, mac, std::strlen(mac), reply, sizeof reply), 0xF7302D01u);
    ZX_APPM_DEV_MAX_BANDWIDTH_S req;
    std::memset(&req, 0, sizeof req);
    std::strcpy(req.acMac, "02:00:00:00:00:01");
    EXPECT_EQ(APPM_JNI_MSG_RpcCall(kSetMax, &req, sizeof req, reply, sizeof reply), 0xF7302D01u);
    traces();
    take_received("app_m");
}

}  // namespace
}  // namespace terntest
