// The simulated bundle manager, driven through the library's bundle-management call: installs
// checked against their package files, progress until the bundle is there, the states that
// start, stop, uninstall and reset leave, refusals as the bundle manager's codes (and the Java
// results they become), cancel, the state query over shared blocks, and bundles kept across a
// restart when the profile asks for it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bundle_fixture.h"
#include "sim_process.h"
#include "zx_velm_bundle.h"
#include "zx_velm_jni_api.h"

namespace {

using zxtest::SimProcess;

struct Progress {
    uint32_t status;
    int32_t result;
    std::string state;
    uint32_t percent;
};

struct BundleState {
    std::string version;
    std::string state;
    bool operator==(const BundleState&) const = default;
};
using States = std::map<std::string, BundleState>;

void PrintTo(const BundleState& s, std::ostream* os) { *os << "{" << s.version << ", " << s.state << "}"; }

class OsgiProxyTest : public testing::Test {
protected:
    void SetUp() override {
        zxtest::set_env("ZX_ROOT", root_.path().c_str());
        ASSERT_EQ(mkdir((root_.path() + "/var").c_str(), 0700), 0);
        ASSERT_EQ(mkdir((root_.path() + "/pkg").c_str(), 0700), 0);
    }
    void TearDown() override {
        if (sim_) {
            EXPECT_TRUE(sim_->stop());
        }
        zxtest::set_env("ZX_ROOT", nullptr);
        EXPECT_TRUE(zxtest::nothing_left_behind());
    }

    // The bundle manager alone, with these members of its state in the profile.
    void start(const std::string& members) {
        std::string profile = root_.path() + "/profile.json";
        std::ofstream(profile) << R"({"services":{"osgi_proxy":{)" << members << "}}}";
        sim_ = std::make_unique<SimProcess>(
            SimProcess::Options{.services = {"osgi_proxy"}, .ctl = "osgi", .profile = profile});
        ASSERT_TRUE(sim_->start());
    }

    // A package file of that many bytes (its first line naming a version when one is given).
    std::string package(const std::string& name, size_t size, const std::string& version = "") {
        std::string body = version.empty() ? "" : "Bundle-Version: " + version + "\n";
        body.resize(std::max(size, body.size()), 'p');
        std::ofstream(root_.path() + "/pkg/" + name, std::ios::binary) << body;
        return "/pkg/" + name;
    }

    // The Java result of an install request.
    int32_t install(const std::string& name, const std::string& path, uint32_t size, uint32_t startFlag) {
        ZX_OSGI_INSTALL_REQ_S req{};
        std::strncpy(req.acPluginName, name.c_str(), sizeof req.acPluginName - 1);
        std::strncpy(req.acFilePath, path.c_str(), sizeof req.acFilePath - 1);
        req.uiFileSize = size;
        req.uiStartFlag = startFlag;
        req.uiWanIndex = 1;
        return word_call(0x47103039u, &req, sizeof req);
    }

    int32_t cancel(const std::string& name) {
        ZX_OSGI_CANCEL_REQ_S req{};
        std::strncpy(req.acBundleName, name.c_str(), sizeof req.acBundleName - 1);
        return word_call(0x4710303Cu, &req, sizeof req);
    }

    int32_t word_call(uint32_t msgId, const void* req, uint32_t len) {
        uint32_t reply = 0;
        uint32_t code = OSGI_JNI_BundleMng_RpcCall(OSGI_JNI_MID, msgId, req, len, &reply, sizeof reply);
        return ZX_OSGI_JNI_ZXErrConvert(reply != 0 ? reply : code);
    }

    Progress progress(const std::string& name) {
        ZX_OSGI_PROCESS_REQ_S req{};
        std::strncpy(req.acPluginName, name.c_str(), sizeof req.acPluginName - 1);
        ZX_OSGI_PROCESS_REPLY_S reply{};
        EXPECT_EQ(OSGI_JNI_BundleMng_RpcCall(OSGI_JNI_MID, 0x47103037u, &req, sizeof req, &reply, sizeof reply), 0u);
        return {reply.uiStatus, ZX_OSGI_JNI_ZXErrConvert(reply.uiResult),
                std::string(reply.acState, strnlen(reply.acState, sizeof reply.acState)), reply.uiPercent};
    }

    // Polls the progress (bounded) until the install has ended one way or the other.
    Progress wait_installed(const std::string& name) {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        for (;;) {
            Progress p = progress(name);
            if (p.state == "Installed" || p.state == "Cancelled" || p.status != 0 ||
                std::chrono::steady_clock::now() > deadline)
                return p;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    }

    // The state query: the names go out in a shared block, the answer comes back in another.
    States query(const std::vector<std::string>& names) {
        auto list = std::make_unique<ZX_OSGI_QUERY_LIST_S>();
        std::memset(list.get(), 0, sizeof *list);
        list->uiFlag = 1;
        for (size_t i = 0; i < names.size(); ++i) std::strcpy(list->aacBundleName[i], names[i].c_str());
        list->uiCount = static_cast<uint32_t>(names.size());
        PluginVDataRecord req{};
        EXPECT_EQ(OSGI_JNI_ZipWriteVData(&req, list.get(), sizeof *list), 0u);
        PluginVDataRecord reply{};
        EXPECT_EQ(OSGI_JNI_BundleMng_RpcCall(OSGI_JNI_MID, 0x47103036u, &req, sizeof req, &reply, sizeof reply), 0u);
        auto answer = std::make_unique<ZX_OSGI_STATE_LIST_S>();
        EXPECT_EQ(OSGI_JNI_ReadUnzipVData(&reply, answer.get()), 0u);
        EXPECT_EQ(answer->uiStatus, 0u);
        States out;
        for (int32_t i = 0; i < answer->iCount; ++i) {
            const ZX_OSGI_BUNDLE_INFO_S& e = answer->astBundle[i];
            out[std::string(e.acBundleName, strnlen(e.acBundleName, 128))] = {
                std::string(e.acVersion, strnlen(e.acVersion, 24)), std::string(e.acState, strnlen(e.acState, 16))};
        }
        return out;
    }

    BundleState state_of(const std::string& name) { return query({name})[name]; }

    zxtest::ScopedBusDir bus_;
    zxtest::ScopedTempDir root_{"zxosgi"};
    std::unique_ptr<SimProcess> sim_;
};

TEST_F(OsgiProxyTest, InstallReportsProgressThenHoldsTheBundle) {
    start(R"("installMs": 400)");
    std::string path = package("demo.jar", 4096, "2.1.0");
    ASSERT_EQ(install("demo", path, 4096, 0), 0);
    Progress first = progress("demo");
    EXPECT_EQ(first.status, 0u);
    EXPECT_EQ(first.result, 0);
    EXPECT_LT(first.percent, 100u);
    EXPECT_THAT(first.state, testing::AnyOf("Downloading", "Installing"));
    Progress done = wait_installed("demo");
    EXPECT_EQ(done.state, "Installed");
    EXPECT_EQ(done.percent, 100u);
    EXPECT_EQ(state_of("demo"), (BundleState{"2.1.0", "RESOLVED"})) << "no start asked for";
}

TEST_F(OsgiProxyTest, InstallInProgressIsListedAsInstalling) {
    start(R"("installMs": 60000)");
    ASSERT_EQ(install("slow", package("slow.jar", 10), 10, 1), 0);
    EXPECT_EQ(state_of("slow"), (BundleState{"1.0.0", "INSTALLING"}));
    EXPECT_EQ(install("slow", package("slow.jar", 10), 10, 1), -7) << "one install at a time";
    EXPECT_EQ(OSGI_JNI_Bundle_Operate(OSGI_JNI_MID, "slow", "start"), -7);
}

TEST_F(OsgiProxyTest, StartFlagStartsTheBundleOnceInstalled) {
    start(R"("installMs": 50)");
    ASSERT_EQ(install("web", package("web.jar", 100), 100, 1), 0);
    ASSERT_EQ(wait_installed("web").state, "Installed");
    EXPECT_EQ(state_of("web"), (BundleState{"1.0.0", "ACTIVE"}));
}

TEST_F(OsgiProxyTest, PackageIsCheckedBeforeAnything) {
    start(R"("installMs": 50)");
    EXPECT_EQ(install("none", "/pkg/absent.jar", 10, 0), -5) << "no package file";
    EXPECT_EQ(install("short", package("short.jar", 10), 11, 0), -6) << "size differs";
    EXPECT_EQ(install("", package("x.jar", 10), 10, 0), -14) << "no name";
    EXPECT_EQ(progress("none").status, 1u) << "a refused install leaves no progress";
    EXPECT_EQ(state_of("short"), (BundleState{"", "UNINSTALLED"}));
    ASSERT_EQ(install("twice", package("t.jar", 10), 10, 0), 0);
    ASSERT_EQ(wait_installed("twice").state, "Installed");
    EXPECT_EQ(install("twice", package("t.jar", 10), 10, 0), -4) << "already installed";
}

TEST_F(OsgiProxyTest, OperationsChangeTheStates) {
    start(R"("installMs": 50)");
    ASSERT_EQ(install("app", package("app.jar", 64, "3.0"), 64, 0), 0);
    ASSERT_EQ(wait_installed("app").state, "Installed");
    EXPECT_EQ(OSGI_JNI_Bundle_Operate(OSGI_JNI_MID, "app", "start"), 0);
    EXPECT_EQ(state_of("app"), (BundleState{"3.0", "ACTIVE"}));
    EXPECT_EQ(OSGI_JNI_Bundle_Operate(OSGI_JNI_MID, "app", "start"), -18) << "already active";
    EXPECT_EQ(OSGI_JNI_Bundle_Operate(OSGI_JNI_MID, "app", "stop"), 0);
    EXPECT_EQ(state_of("app"), (BundleState{"3.0", "RESOLVED"}));
    EXPECT_EQ(OSGI_JNI_Bundle_Operate(OSGI_JNI_MID, "app", "stop"), -18) << "already stopped";
    EXPECT_EQ(OSGI_JNI_Bundle_Operate(OSGI_JNI_MID, "app", "start"), 0);
    EXPECT_EQ(OSGI_JNI_Bundle_Operate(OSGI_JNI_MID, "app", "FactoryPlugin"), 0);
    EXPECT_EQ(state_of("app"), (BundleState{"3.0", "RESOLVED"})) << "a reset leaves it stopped";
    EXPECT_EQ(OSGI_JNI_Bundle_Operate(OSGI_JNI_MID, "app", "restart"), -12) << "unknown action";
    EXPECT_EQ(OSGI_JNI_Bundle_Operate(OSGI_JNI_MID, "app", "uninstall"), 0);
    EXPECT_EQ(state_of("app"), (BundleState{"", "UNINSTALLED"}));
    EXPECT_EQ(progress("app").status, 1u) << "an uninstalled plug-in has no progress";
    for (const char* action : {"start", "stop", "uninstall", "FactoryPlugin"})
        EXPECT_EQ(OSGI_JNI_Bundle_Operate(OSGI_JNI_MID, "app", action), -3) << action;
}

TEST_F(OsgiProxyTest, CancelStopsAnInstallInProgress) {
    start(R"("installMs": 60000)");
    ASSERT_EQ(install("big", package("big.jar", 10), 10, 1), 0);
    EXPECT_EQ(cancel("big"), 0);
    Progress p = progress("big");
    EXPECT_EQ(p.status, 0u);
    EXPECT_EQ(p.state, "Cancelled");
    EXPECT_LT(p.percent, 100u);
    EXPECT_EQ(state_of("big"), (BundleState{"", "UNINSTALLED"}));
    EXPECT_EQ(cancel("big"), -13) << "nothing left to cancel";
    EXPECT_EQ(cancel("never"), -13);
    EXPECT_EQ(install("big", package("big.jar", 10), 10, 0), 0) << "a cancelled install may start again";
}

TEST_F(OsgiProxyTest, ProgressOfUnknownPluginHasNonZeroStatus) {
    start("");
    Progress p = progress("ghost");
    EXPECT_NE(p.status, 0u);
}

TEST_F(OsgiProxyTest, QueryWithoutNamesListsEveryBundle) {
    start(R"("installMs": 30)");
    ASSERT_EQ(install("a", package("a.jar", 5), 5, 1), 0);
    ASSERT_EQ(install("b", package("b.jar", 60, "0.9"), 60, 0), 0);
    ASSERT_EQ(wait_installed("a").state, "Installed");
    ASSERT_EQ(wait_installed("b").state, "Installed");
    EXPECT_EQ(query({}), (States{{"a", {"1.0.0", "ACTIVE"}}, {"b", {"0.9", "RESOLVED"}}}));
    ASSERT_TRUE(sim_->clear_received());
    EXPECT_EQ(query({"b", "zz"}), (States{{"b", {"0.9", "RESOLVED"}}, {"zz", {"", "UNINSTALLED"}}}));
    std::optional<std::vector<zxtest::Received>> got = sim_->received("osgi_proxy");
    ASSERT_TRUE(got);
    ASSERT_EQ(got->size(), 1u) << "the query is one request";
    const zxtest::Received& r = got->front();
    EXPECT_EQ(r.msgId, 0x47103036u);
    ASSERT_TRUE(r.decoded);
    EXPECT_STREQ(json_object_to_json_string_ext(r.decoded.get(), JSON_C_TO_STRING_PLAIN),
                 R"({"flag":1,"count":2,"names":["b","zz"]})");
}

TEST_F(OsgiProxyTest, InstalledBundlesSurviveARestartWhenTheProfileSaysSo) {
    start(R"("installMs": 30, "persistFile": "/var/osgi_bundles.json")");
    ASSERT_EQ(install("kept", package("k.jar", 80, "4.2"), 80, 1), 0);
    ASSERT_EQ(wait_installed("kept").state, "Installed");
    ASSERT_EQ(install("gone", package("g.jar", 8), 8, 0), 0);
    ASSERT_EQ(wait_installed("gone").state, "Installed");
    ASSERT_EQ(OSGI_JNI_Bundle_Operate(OSGI_JNI_MID, "gone", "uninstall"), 0);
    ASSERT_TRUE(sim_->restart());
    EXPECT_EQ(query({}), (States{{"kept", {"4.2", "ACTIVE"}}}));
    EXPECT_EQ(OSGI_JNI_Bundle_Operate(OSGI_JNI_MID, "kept", "stop"), 0);
}

TEST_F(OsgiProxyTest, WithoutPersistenceARestartForgets) {
    start(R"("installMs": 30)");
    ASSERT_EQ(install("x", package("x.jar", 8), 8, 0), 0);
    ASSERT_EQ(wait_installed("x").state, "Installed");
    ASSERT_TRUE(sim_->restart());
    EXPECT_EQ(query({}), States{});
}

}  // namespace
