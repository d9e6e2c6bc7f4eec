// The gateway root on a host: with ZX_ROOT unset, the gateway's absolute paths land in a directory
// of the user's own (made with mode 0700 on first use), never in the host's /var or /mnt;
// ZX_ROOT=/ uses them as they are; ZX_ROOT=DIR puts them under DIR. The library's own operation
// log and the simulator's discs follow the same root.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>

#include "sim_process.h"
#include "test_env.h"
#include "zx_host.h"
#include "zx_platform.h"
#include "zx_velm_bundle.h"
#include "zx_wire.h"

namespace {

// Sets the variables the default root depends on for one test and puts back what was there.
class RootEnv {
public:
    RootEnv() {
        for (const char* name : kNames) {
            const char* v = std::getenv(name);
            saved_.push_back(v ? std::optional<std::string>(v) : std::nullopt);
        }
    }
    ~RootEnv() {
        for (size_t i = 0; i < std::size(kNames); ++i) {
            if (saved_[i])
                setenv(kNames[i], saved_[i]->c_str(), 1);
            else
                unsetenv(kNames[i]);
        }
        zxhost::reload_environment();
    }
    // Sets (value) or unsets (nullptr) each of ZX_ROOT, XDG_STATE_HOME, HOME, TMPDIR.
    void set(const char* root, const char* state, const char* home, const char* tmp) {
        const char* values[] = {root, state, home, tmp};
        for (size_t i = 0; i < std::size(kNames); ++i) {
            if (values[i])
                setenv(kNames[i], values[i], 1);
            else
                unsetenv(kNames[i]);
        }
        zxhost::reload_environment();
    }

private:
    static constexpr const char* kNames[] = {"ZX_ROOT", "XDG_STATE_HOME", "HOME", "TMPDIR"};
    std::vector<std::optional<std::string>> saved_;
};

// Permission bits of a directory, or -1 when it is not one.
int dir_mode(const std::string& path) {
    struct stat st {};
    if (lstat(path.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) return -1;
    return static_cast<int>(st.st_mode & 07777);
}

bool exists(const std::string& path) {
    struct stat st {};
    return lstat(path.c_str(), &st) == 0;
}

std::string resolved(const char* gatewayPath) {
    char buf[4096];
    if (ZX_OS_ResolvePath(gatewayPath, buf, sizeof buf) != ZX_OK) return "(not resolved)";
    return buf;
}

std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// Writes a line through the platform's file calls, as the library writes its log.
bool write_gateway_file(const std::string& gatewayPath, const char* text) {
    FILE* f = ZX_OS_Fopen(gatewayPath.c_str(), "at");
    if (!f) return false;
    bool ok = ZX_OS_Fputs(text, f) >= 0;
    return ZX_OS_Fclose(f) == 0 && ok;
}

// What stands at a host path: absent, or its inode, size and modification time.
std::string host_file_facts(const std::string& path) {
    struct stat st {};
    if (lstat(path.c_str(), &st) != 0) return "absent";
    return std::to_string(st.st_ino) + "/" + std::to_string(st.st_size) + "/" + std::to_string(st.st_mtim.tv_sec) +
           "." + std::to_string(st.st_mtim.tv_nsec);
}

TEST(GatewayRoot, UnsetIsAPrivateDirectoryUnderTheStateDirectoryMadeWithMode0700) {
    RootEnv env;
    zxtest::ScopedTempDir scratch("zxroot");
    const std::string state = scratch.path() + "/state";  // missing: made too
    env.set(nullptr, state.c_str(), "/nonexistent-home", nullptr);
    const std::string root = state + "/zxgateway/root";
    EXPECT_FALSE(exists(state));

    EXPECT_EQ(zxhost::gateway_root(), root);
    EXPECT_EQ(dir_mode(root), 0700);
    EXPECT_EQ(dir_mode(state + "/zxgateway"), 0700);
    EXPECT_EQ(dir_mode(state), 0700);
    EXPECT_EQ(dir_mode(root + "/var"), 0700) << "var/ is there for the operation log";
    EXPECT_EQ(resolved("/var/pluginOpera.log"), root + "/var/pluginOpera.log");
    EXPECT_EQ(resolved("/mnt/jffs2/save_upgrade_status"), root + "/mnt/jffs2/save_upgrade_status");
    EXPECT_EQ(zxhost::resolve_path("/mnt/usb1_1"), root + "/mnt/usb1_1");
    EXPECT_EQ(resolved("/dev/pts/3"), "/dev/pts/3");

    // A file of the gateway's /var is written under the root, not in the host's /var.
    const std::string name = "/var/zx-root-probe-" + std::to_string(getpid());
    ASSERT_TRUE(write_gateway_file(name, "probe\n"));
    EXPECT_EQ(read_file(root + name), "probe\n");
    EXPECT_FALSE(exists(name)) << name << " was written in the host's /var";
    EXPECT_FALSE(exists("/nonexistent-home")) << "HOME is not used when XDG_STATE_HOME is set";
}

TEST(GatewayRoot, AnExistingRootIsUsedAsItIsAndItsFilesKept) {
    RootEnv env;
    zxtest::ScopedTempDir scratch("zxroot");
    env.set(nullptr, scratch.path().c_str(), nullptr, nullptr);
    const std::string root = scratch.path() + "/zxgateway/root";
    ASSERT_TRUE(write_gateway_file("/var/kept.log", "one\n"));
    env.set("", scratch.path().c_str(), nullptr, nullptr);  // empty is unset
    EXPECT_EQ(zxhost::gateway_root(), root);
    ASSERT_TRUE(write_gateway_file("/var/kept.log", "two\n"));
    EXPECT_EQ(read_file(root + "/var/kept.log"), "one\ntwo\n");
}

TEST(GatewayRoot, WithoutXdgStateHomeItIsUnderHomeDotLocalState) {
    RootEnv env;
    zxtest::ScopedTempDir home("zxhome");
    env.set(nullptr, "relative/state", (home.path() + "/").c_str(), nullptr);  // a relative one is ignored
    const std::string root = home.path() + "/.local/state/zxgateway/root";
    EXPECT_EQ(zxhost::gateway_root(), root);
    EXPECT_EQ(dir_mode(root), 0700);
    EXPECT_EQ(dir_mode(home.path() + "/.local"), 0700);
    EXPECT_FALSE(exists("relative"));
}

TEST(GatewayRoot, WithoutAUsableHomeItIsAPrivateDirectoryInTheTemporaryDirectory) {
    RootEnv env;
    zxtest::ScopedTempDir tmp("zxtmp");
    const std::string base = tmp.path() + "/zxgateway-" + std::to_string(getuid());
    const std::string root = base + "/root";

    env.set(nullptr, nullptr, nullptr, tmp.path().c_str());  // no HOME at all
    EXPECT_EQ(zxhost::gateway_root(), root);
    EXPECT_EQ(dir_mode(base), 0700);
    EXPECT_EQ(dir_mode(root), 0700);
    EXPECT_EQ(resolved("/var/x"), root + "/var/x");

    zxtest::remove_tree(base);
    const std::string missingHome = tmp.path() + "/no-such-home";
    env.set(nullptr, nullptr, missingHome.c_str(), tmp.path().c_str());  // a HOME that does not exist
    EXPECT_EQ(zxhost::gateway_root(), root);
    EXPECT_FALSE(exists(missingHome)) << "a missing home directory is not made";

    // A home where nothing can be made.
    const std::string lockedHome = tmp.path() + "/locked-home";
    ASSERT_EQ(mkdir(lockedHome.c_str(), 0500), 0);
    if (geteuid() != 0) {  // root writes anyway
        env.set(nullptr, nullptr, lockedHome.c_str(), tmp.path().c_str());
        EXPECT_EQ(zxhost::gateway_root(), root);
    }
}

TEST(GatewayRoot, ATemporaryDirectoryOthersCanEnterIsNotTaken) {
    RootEnv env;
    zxtest::ScopedTempDir tmp("zxtmp");
    const std::string base = tmp.path() + "/zxgateway-" + std::to_string(getuid());
    ASSERT_EQ(mkdir(base.c_str(), 0700), 0);
    ASSERT_EQ(chmod(base.c_str(), 0777), 0);
    env.set(nullptr, nullptr, nullptr, tmp.path().c_str());
    const std::string root = zxhost::gateway_root();
    EXPECT_NE(root.rfind(base, 0), 0u) << root;
    EXPECT_NE(root, "/");
    EXPECT_FALSE(exists(base + "/root"));
    // Nothing can be opened: no gateway file reaches the host's own directories.
    EXPECT_EQ(ZX_OS_Fopen("/var/zx-root-probe", "at"), nullptr);
    EXPECT_FALSE(exists("/var/zx-root-probe"));
}

TEST(GatewayRoot, RootSlashUsesTheGatewayPathsAsTheyAre) {
    RootEnv env;
    zxtest::ScopedTempDir scratch("zxroot");
    const std::string state = scratch.path() + "/state";
    for (const char* slash : {"/", "//"}) {
        env.set(slash, state.c_str(), nullptr, nullptr);
        EXPECT_EQ(zxhost::gateway_root(), "/");
        EXPECT_EQ(resolved("/var/pluginOpera.log"), "/var/pluginOpera.log");
        EXPECT_EQ(zxhost::resolve_path("/mnt/usb1_1"), "/mnt/usb1_1");
    }
    // A gateway path is the host path itself: a file of the scratch directory, named absolutely.
    const std::string file = scratch.path() + "/literal.log";
    ASSERT_TRUE(write_gateway_file(file, "as it is\n"));
    EXPECT_EQ(read_file(file), "as it is\n");
    EXPECT_FALSE(exists(state)) << "the per-user directory is not made";
}

TEST(GatewayRoot, ADirectoryPutsThePathsUnderIt) {
    RootEnv env;
    zxtest::ScopedTempDir root("zxroot");
    zxtest::ScopedTempDir state("zxstate");
    env.set(root.path().c_str(), state.path().c_str(), nullptr, nullptr);
    EXPECT_EQ(zxhost::gateway_root(), root.path());
    EXPECT_EQ(resolved("/var/pluginOpera.log"), root.path() + "/var/pluginOpera.log");
    ASSERT_EQ(mkdir((root.path() + "/var").c_str(), 0755), 0);
    ASSERT_TRUE(write_gateway_file("/var/a.log", "under\n"));
    EXPECT_EQ(read_file(root.path() + "/var/a.log"), "under\n");
    EXPECT_FALSE(exists(state.path() + "/zxgateway")) << "the per-user directory is not made";
}

TEST(GatewayRoot, DotDotStepsNeverClimbAboveTheRoot) {
    RootEnv env;
    zxtest::ScopedTempDir root("zxroot");
    env.set(root.path().c_str(), nullptr, nullptr, nullptr);
    const std::string r = root.path();
    EXPECT_EQ(resolved("/../../etc/passwd"), r + "/etc/passwd");
    EXPECT_EQ(resolved("/mnt/../../../var/x"), r + "/var/x");
    EXPECT_EQ(resolved("/mnt/usb1_1/../usb2_1/"), r + "/mnt/usb2_1/");
    EXPECT_EQ(resolved("/dev/../var/x"), r + "/var/x") << "not a /dev path once the steps are taken";
    EXPECT_EQ(resolved("/.."), r + "/");
    EXPECT_EQ(resolved("/var/..x/y"), r + "/var/..x/y") << "a name that starts with dots is a name";
    // However long, a gateway path is never handed back as it is.
    const std::string longPath = "/var/" + std::string(5000, 'x');
    EXPECT_EQ(zxhost::resolve_path(longPath), r + longPath);
}

// The library's operation log, created by the bundle functions: under the per-user root by
// default, whatever the host has at /var/pluginOpera.log.
TEST(GatewayRoot, TheOperationLogOfADefaultRunStaysOutOfTheHostsVar) {
    RootEnv env;
    zxtest::ScopedTempDir state("zxstate");
    env.set(nullptr, state.path().c_str(), nullptr, nullptr);
    const std::string before = host_file_facts("/var/pluginOpera.log");
    ASSERT_EQ(OSGI_Bundle_Create_LogFile(), 0u);
    ASSERT_EQ(OSGI_JNI_Log_Record("Install", "com.example.probe"), 0u);
    const std::string log = read_file(state.path() + "/zxgateway/root/var/pluginOpera.log");
    EXPECT_NE(log.find("[Install] com.example.probe\r\n"), std::string::npos) << log;
    EXPECT_EQ(host_file_facts("/var/pluginOpera.log"), before);
}

// The simulator's discs follow the same root: with ZX_ROOT unset they are directories under the
// per-user root, and that is the path the disc list answers.
TEST(GatewayRoot, TheSimulatorsDiscsAreMadeUnderThePerUserRoot) {
    RootEnv env;
    zxtest::ScopedTempDir state("zxstate");
    env.set(nullptr, state.path().c_str(), nullptr, nullptr);
    zxtest::ScopedBusDir bus;
    zxtest::SimProcess sim({.services = {"usb_mngt"}});
    ASSERT_TRUE(sim.start());
    const std::string root = state.path() + "/zxgateway/root";
    EXPECT_EQ(dir_mode(root), 0700);
    EXPECT_GE(dir_mode(root + "/mnt/usb1_1"), 0);
    EXPECT_TRUE(exists(root + "/mnt/usb1_1/movies/holiday.mp4"));

    ZX_MSG_HEAD_S head{};
    std::snprintf(head.acSrcProcName, sizeof head.acSrcProcName, "roottest");
    std::snprintf(head.acDstProcName, sizeof head.acDstProcName, "usb_mngt");
    ZX_USB_MNT_PATH_REQ_S req{};
    std::snprintf(req.acDiscName, sizeof req.acDiscName, "USB_DISK1");
    ZX_USB_MNT_PATH_REPLY_S reply{};
    ASSERT_EQ(ZX_MSG_RpcCall(&head, ZX_USB_RPC_GET_MNT_PATH_BY_DISC_NAME, 0, &req, sizeof req, &reply, sizeof reply,
                             30000),
              static_cast<uint32_t>(ZX_OK));
    EXPECT_EQ(std::string(reply.acMntPath), root + "/mnt/usb1_1");
}

}  // namespace
