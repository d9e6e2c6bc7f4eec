// Operating-system layer: gateway paths under ZX_ROOT, select, time, threads, the mutex, System V
// shared memory, system load from a substitute /proc, addresses, profile values.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "test_env.h"
#include "zx_host.h"

namespace {

void write_file(const std::string& path, const std::string& text) {
    std::ofstream out(path);
    out << text;
}

TEST(Os, GatewayPathsResolveUnderTheRoot) {
    zxtest::ScopedTempDir root;
    zxtest::set_env("ZX_ROOT", (root.path() + "/").c_str());
    char buf[512];
    struct Case {
        const char* in;
        std::string out;
    } cases[] = {{"/var/pluginOpera.log", root.path() + "/var/pluginOpera.log"},
                 {"/mnt/jffs2/save_upgrade_status", root.path() + "/mnt/jffs2/save_upgrade_status"},
                 {"/dev/pts/3", "/dev/pts/3"},
                 {"/proc/stat", "/proc/stat"},
                 {"/sys", "/sys"},
                 {"/device", root.path() + "/device"},
                 {"relative/x", "relative/x"}};
    for (const auto& c : cases) {
        ASSERT_EQ(ZX_OS_ResolvePath(c.in, buf, sizeof buf), ZX_OK) << c.in;
        EXPECT_EQ(std::string(buf), c.out) << c.in;
    }
    std::string inside = root.path() + "/var/x";
    ASSERT_EQ(ZX_OS_ResolvePath(inside.c_str(), buf, sizeof buf), ZX_OK);
    EXPECT_EQ(std::string(buf), inside) << "a path already inside the root is kept";
    EXPECT_EQ(ZX_OS_ResolvePath("/var/x", buf, 4), ZX_ERR_NOSPACE);
    EXPECT_STREQ(buf, "");
    EXPECT_EQ(ZX_OS_ResolvePath(nullptr, buf, 4), ZX_ERR_PARAM);
    EXPECT_EQ(ZX_OS_ResolvePath("/x", nullptr, 4), ZX_ERR_PARAM);
    EXPECT_EQ(ZX_OS_ResolvePath("/x", buf, 0), ZX_ERR_PARAM);
    EXPECT_EQ(zxhost::resolve_path("/var/a"), root.path() + "/var/a");
    zxtest::set_env("ZX_ROOT", "/");
    EXPECT_EQ(zxhost::resolve_path("/var/a"), "/var/a");
    zxtest::set_env("ZX_ROOT", nullptr);
}

TEST(Os, FopenAppendsUnderTheRootAndAcceptsTextMode) {
    zxtest::ScopedTempDir root;
    zxtest::set_env("ZX_ROOT", root.path().c_str());
    EXPECT_EQ(ZX_OS_Fopen("/var/pluginOpera.log", "at"), nullptr) << "no /var under the root yet";
    mkdir((root.path() + "/var").c_str(), 0755);
    for (const char* line : {"one\r\n", "two\r\n"}) {
        FILE* f = ZX_OS_Fopen("/var/pluginOpera.log", "at");
        ASSERT_NE(f, nullptr);
        EXPECT_GE(ZX_OS_Fputs(line, f), 0);
        EXPECT_EQ(ZX_OS_Fclose(f), 0);
    }
    std::ifstream in(root.path() + "/var/pluginOpera.log", std::ios::binary);
    std::string all((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(all, "one\r\ntwo\r\n");
    FILE* r = ZX_OS_Fopen("/var/pluginOpera.log", "r");
    ASSERT_NE(r, nullptr);
    char buf[8];
    ASSERT_NE(ZX_OS_Fgets(buf, sizeof buf, r), nullptr);
    EXPECT_STREQ(buf, "one\r\n");
    EXPECT_EQ(ZX_OS_Fgets(buf, 0, r), nullptr);
    EXPECT_EQ(ZX_OS_Fgets(nullptr, 8, r), nullptr);
    ZX_OS_Fclose(r);
    EXPECT_EQ(ZX_OS_Fopen(nullptr, "r"), nullptr);
    EXPECT_EQ(ZX_OS_Fopen("/x", nullptr), nullptr);
    EXPECT_EQ(ZX_OS_Fputs(nullptr, stdout), EOF);
    EXPECT_EQ(ZX_OS_Fputs("x", nullptr), EOF);
    EXPECT_EQ(ZX_OS_Fclose(nullptr), EOF);
}

TEST(Os, OpenReadWriteCloseAndLastError) {
    zxtest::ScopedTempDir root;
    zxtest::set_env("ZX_ROOT", root.path().c_str());
    int fd = ZX_OS_Open("/data.bin", O_RDWR | O_CREAT, 0600);
    ASSERT_GE(fd, 0);
    const unsigned char bytes[] = {0, 1, 2, 0xFF};
    EXPECT_EQ(ZX_OS_Write(fd, bytes, 4), 4);
    lseek(fd, 0, SEEK_SET);
    unsigned char back[8] = {};
    EXPECT_EQ(ZX_OS_Read(fd, back, 8), 4);
    EXPECT_EQ(std::memcmp(back, bytes, 4), 0);
    EXPECT_EQ(ZX_OS_Read(fd, nullptr, 1), -1);
    EXPECT_EQ(ZX_OS_Write(fd, nullptr, 1), -1);
    EXPECT_EQ(ZX_OS_Close(fd), 0);
    EXPECT_EQ(ZX_OS_Close(fd), -1);
    EXPECT_EQ(ZX_OS_GetLastErr(), EBADF);
    EXPECT_EQ(ZX_OS_Open("/missing/file", O_RDONLY, 0), -1);
    EXPECT_EQ(ZX_OS_GetLastErr(), ENOENT);
    EXPECT_EQ(ZX_OS_Open(nullptr, O_RDONLY, 0), -1);
}

TEST(Os, SelectWaitsForReadabilityAndTimesOut) {
    int p[2];
    ASSERT_EQ(pipe(p), 0);
    ZX_FD_SET rs;
    ZX_OS_FdZero(&rs);
    ASSERT_EQ(ZX_OS_FdSet(p[0], &rs), 0);
    ZX_TIMEVAL tv{0, 0};
    EXPECT_EQ(ZX_OS_Select(p[0] + 1, &rs, nullptr, nullptr, &tv), 0) << "nothing to read: poll answers 0";
    EXPECT_EQ(ZX_OS_FdIsSet(p[0], &rs), 0);
    ASSERT_EQ(write(p[1], "x", 1), 1);
    ZX_OS_FdSet(p[0], &rs);
    tv = {4, 0};
    EXPECT_EQ(ZX_OS_Select(p[0] + 1, &rs, nullptr, nullptr, &tv), 1);
    EXPECT_EQ(ZX_OS_FdIsSet(p[0], &rs), 1);
    ZX_OS_FdSet(p[0], &rs);
    EXPECT_EQ(ZX_OS_Select(p[0] + 1, &rs, nullptr, nullptr, nullptr), 1) << "no time-out: data is there";
    close(p[0]);
    close(p[1]);
    ZX_OS_FdSet(p[0], &rs);
    tv = {0, 0};
    EXPECT_EQ(ZX_OS_Select(p[0] + 1, &rs, nullptr, nullptr, &tv), -1);
    EXPECT_EQ(ZX_OS_GetLastErr(), EBADF);
}

TEST(Os, DescriptorSetRefusesNumbersOutsideItsRange) {
    ZX_FD_SET s;
    ZX_OS_FdZero(&s);
    EXPECT_EQ(ZX_OS_FdSet(51580, &s), 0) << "large descriptor numbers fit";
    EXPECT_EQ(ZX_OS_FdIsSet(51580, &s), 1);
    EXPECT_EQ(ZX_OS_FdSet(ZX_FD_SETSIZE, &s), -1);
    EXPECT_EQ(ZX_OS_FdSet(-1, &s), -1);
    EXPECT_EQ(ZX_OS_FdSet(1, nullptr), -1);
    EXPECT_EQ(ZX_OS_FdIsSet(-1, &s), 0);
    EXPECT_EQ(ZX_OS_FdIsSet(ZX_FD_SETSIZE, &s), 0);
    ZX_OS_FdZero(nullptr);
    ZX_TIMEVAL bad{-1, 0};
    EXPECT_EQ(ZX_OS_Select(1, &s, nullptr, nullptr, &bad), -1);
    EXPECT_EQ(ZX_OS_GetLastErr(), EINVAL);
    EXPECT_EQ(ZX_OS_Select(ZX_FD_SETSIZE + 1, &s, nullptr, nullptr, nullptr), -1);
}

TEST(Os, LocalTimeMatchesTheCLibrary) {
    ZX_OS_TM t{};
    time_t before = std::time(nullptr);
    ASSERT_EQ(ZX_OS_GetLocalTime(&t), ZX_OK);
    struct tm ref {};
    localtime_r(&before, &ref);
    EXPECT_EQ(t.iYear, ref.tm_year);
    EXPECT_EQ(t.iMon, ref.tm_mon);
    EXPECT_GE(t.iMon, 0);
    EXPECT_LE(t.iMon, 11);
    EXPECT_EQ(ZX_OS_GetLocalTime(nullptr), ZX_ERR_PARAM);
}

std::atomic<int> g_threadRan{0};
void* thread_body(void* arg) {
    ZX_OS_ModifyThreadName("JNImsgthread-with-a-long-name");
    char name[32] = {};
    pthread_getname_np(pthread_self(), name, sizeof name);
    *static_cast<std::string*>(arg) = name;
    g_threadRan = 1;
    return nullptr;
}

TEST(Os, ThreadCreateRunsDetachedAndNamesItself) {
    std::string name;
    ZX_THREAD_ID tid = 0;
    ASSERT_EQ(ZX_OS_PthreadCreate(&tid, nullptr, thread_body, &name), ZX_OK);
    EXPECT_NE(tid, 0u);
    for (int i = 0; i < 5000 && !g_threadRan; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    ASSERT_EQ(g_threadRan.load(), 1);
    EXPECT_EQ(name, "JNImsgthread-wi") << "the kernel keeps 15 characters";
    int dummy = 0;
    EXPECT_EQ(ZX_OS_PthreadCreate(&tid, nullptr, nullptr, nullptr), ZX_ERR_PARAM);
    EXPECT_EQ(ZX_OS_PthreadCreate(&tid, &dummy, thread_body, &name), ZX_ERR_PARAM);
    EXPECT_EQ(ZX_OS_ModifyThreadName(nullptr), ZX_ERR_PARAM);
}

TEST(Os, MutexExcludesConcurrentIncrements) {
    static ZX_MUTEX m;  // static storage, as the bundle-management counter keeps it
    ASSERT_EQ(ZX_OS_MutexInit(&m), ZX_OK);
    uint64_t counter = 0;  // deliberately not atomic: only the mutex protects it
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 100000; ++i) {
                ZX_OS_MutexLock(&m);
                ++counter;
                ZX_OS_MutexUnLock(&m);
            }
        });
    for (auto& t : threads) t.join();
    EXPECT_EQ(counter, 400000u);
    EXPECT_EQ(m.uiState, 0u);
    EXPECT_EQ(ZX_OS_MutexInit(nullptr), ZX_ERR_PARAM);
    EXPECT_EQ(ZX_OS_MutexLock(nullptr), ZX_ERR_PARAM);
    EXPECT_EQ(ZX_OS_MutexUnLock(nullptr), ZX_ERR_PARAM);
}

TEST(Os, SystemVSharedMemoryGetAttachDetachRemove) {
    key_t key = static_cast<key_t>(0x5A000000 | (getpid() & 0xFFFFFF));
    int id = ZX_OS_ShmGet(key, 6510, 0x3FF);
    ASSERT_GE(id, 0);
    auto* p = static_cast<char*>(ZX_OS_ShmAt(id, nullptr, 0));
    ASSERT_NE(p, nullptr);
    std::strcpy(p, "[{\"name\":\"x\"}]");
    EXPECT_EQ(ZX_OS_ShmDt(p), 0);
    p = static_cast<char*>(ZX_OS_ShmAt(id, nullptr, 0));
    ASSERT_NE(p, nullptr);
    EXPECT_STREQ(p, "[{\"name\":\"x\"}]");
    EXPECT_EQ(ZX_OS_ShmDt(p), 0);
    EXPECT_EQ(ZX_OS_ShmCtl(id, 0, nullptr), 0) << "command 0 removes the segment";
    EXPECT_EQ(ZX_OS_ShmAt(id, nullptr, 0), nullptr);
    EXPECT_EQ(ZX_OS_ShmDt(nullptr), -1);
}

// A refused call does nothing: the segment refused at its second get is never made, a refused
// attach maps nothing, a refused detach leaves the mapping, a refused removal leaves the segment.
TEST(Os, SharedMemoryFaultsRefuseTheNthCallOfTheirKind) {
    const key_t key = static_cast<key_t>(0x5B000000 | (getpid() & 0xFFFFFF));
    const uint64_t before = zxhost::shm_failures_injected();
    zxhost::shm_fail(zxhost::ShmCall::Get, 2);
    const int id = ZX_OS_ShmGet(key, 64, 0x3FF);
    ASSERT_GE(id, 0) << "the first get is not refused";
    errno = 0;
    EXPECT_EQ(ZX_OS_ShmGet(key, 64, 0x3FF), -1);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(ZX_OS_ShmGet(key, 64, 0x3FF), id) << "the count ran out: the third is the kernel's";

    zxhost::shm_fail(zxhost::ShmCall::At, 1);
    errno = 0;
    EXPECT_EQ(ZX_OS_ShmAt(id, nullptr, 0), nullptr);
    EXPECT_EQ(errno, EACCES);
    void* p = ZX_OS_ShmAt(id, nullptr, 0);
    ASSERT_NE(p, nullptr);

    zxhost::shm_fail(zxhost::ShmCall::Dt, 1);
    errno = 0;
    EXPECT_EQ(ZX_OS_ShmDt(p), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(ZX_OS_ShmDt(p), 0) << "still attached after the refused detach";

    zxhost::shm_fail(zxhost::ShmCall::Ctl, 1);
    errno = 0;
    EXPECT_EQ(ZX_OS_ShmCtl(id, 0, nullptr), -1);
    EXPECT_EQ(errno, EPERM);
    EXPECT_EQ(ZX_OS_ShmGet(key, 0, 0), id) << "the refused removal left the segment";

    zxhost::shm_fail(zxhost::ShmCall::Ctl, 1);
    zxhost::shm_fail_clear();
    EXPECT_EQ(ZX_OS_ShmCtl(id, 0, nullptr), 0) << "cleared faults refuse nothing";
    EXPECT_EQ(ZX_OS_ShmGet(key, 0, 0), -1);
    EXPECT_EQ(zxhost::shm_failures_injected(), before + 4);
}

TEST(Os, CpuLoadFromTheProcDirectory) {
    zxtest::ScopedTempDir proc;
    zxtest::set_env("ZX_PROC_DIR", proc.path().c_str());
    write_file(proc.path() + "/stat", "cpu  100 0 100 800 0 0 0 0 0 0\ncpu0 1 2 3 4\n");
    uint32_t pct = 99;
    ASSERT_EQ(ZX_OS_GetCPUBusyRateByTime(10, &pct), ZX_OK);
    EXPECT_EQ(pct, 0u) << "an idle interval reads 0";
    // A time of 0 compares with the previous reading.
    write_file(proc.path() + "/stat", "cpu  250 0 250 900 0 0 0 0 0 0\n");
    ASSERT_EQ(ZX_OS_GetCPUBusyRateByTime(0, &pct), ZX_OK);
    EXPECT_EQ(pct, 75u);
    write_file(proc.path() + "/stat", "garbage\n");
    EXPECT_EQ(ZX_OS_GetCPUBusyRateByTime(10, &pct), ZX_ERR_SYS);
    unlink((proc.path() + "/stat").c_str());
    EXPECT_EQ(ZX_OS_GetCPUBusyRateByTime(10, &pct), ZX_ERR_SYS);
    EXPECT_EQ(ZX_OS_GetCPUBusyRateByTime(10, nullptr), ZX_ERR_PARAM);
    zxtest::set_env("ZX_PROC_DIR", nullptr);
    ASSERT_EQ(ZX_OS_GetCPUBusyRateByTime(10, &pct), ZX_OK);
    EXPECT_LE(pct, 100u);
}

TEST(Os, MemoryUseFromTheProcDirectory) {
    zxtest::ScopedTempDir proc;
    zxtest::set_env("ZX_PROC_DIR", proc.path().c_str());
    write_file(proc.path() + "/meminfo", "MemTotal: 1000 kB\nMemFree: 100 kB\nMemAvailable: 250 kB\n");
    uint32_t pct = 0;
    ASSERT_EQ(ZX_OS_GetMemUseRate(&pct), ZX_OK);
    EXPECT_EQ(pct, 75u);
    write_file(proc.path() + "/meminfo", "MemTotal: 1000 kB\nMemFree: 1000 kB\nMemAvailable: 1000 kB\n");
    ASSERT_EQ(ZX_OS_GetMemUseRate(&pct), ZX_OK);
    EXPECT_EQ(pct, 0u);
    write_file(proc.path() + "/meminfo", "MemTotal: 1000 kB\nMemFree: 100 kB\nBuffers: 50 kB\nCached: 50 kB\n");
    ASSERT_EQ(ZX_OS_GetMemUseRate(&pct), ZX_OK);
    EXPECT_EQ(pct, 80u) << "without MemAvailable: free + buffers + cached";
    write_file(proc.path() + "/meminfo", "MemFree: 100 kB\n");
    EXPECT_EQ(ZX_OS_GetMemUseRate(&pct), ZX_ERR_SYS);
    EXPECT_EQ(ZX_OS_GetMemUseRate(nullptr), ZX_ERR_PARAM);
}

TEST(Os, InterfaceAddressThroughTheProfileMap) {
    // The default profile maps the gateway's br0 to the loopback interface.
    uint32_t ip = 0;
    uint8_t mac[6] = {1, 1, 1, 1, 1, 1};
    ASSERT_EQ(ZX_OS_GetIfIpAndMac("br0", &ip, mac), ZX_OK);
    const auto* b = reinterpret_cast<const uint8_t*>(&ip);
    EXPECT_EQ(b[0], 127) << "first octet in the lowest byte";
    EXPECT_EQ(b[3], 1);
    EXPECT_EQ(ip, 0x0100007Fu);
    ASSERT_EQ(ZX_OS_GetIfIpAndMac("lo", &ip, nullptr), ZX_OK) << "an unmapped name is used as it is";
    EXPECT_EQ(ZX_OS_GetIfIpAndMac("no-such-if0", &ip, mac), ZX_ERR_NOT_FOUND);
    EXPECT_EQ(ZX_OS_GetIfIpAndMac(nullptr, &ip, mac), ZX_ERR_PARAM);
    EXPECT_EQ(ZX_OS_GetIfIpAndMac("br0", nullptr, mac), ZX_ERR_PARAM);
}

TEST(Os, AddressTextAndValidation) {
    char buf[32];
    ASSERT_EQ(ZX_OS_IpAddrToStr(0x0A000001u, buf, sizeof buf), ZX_OK);
    EXPECT_STREQ(buf, "10.0.0.1");
    ASSERT_EQ(ZX_OS_IpAddrToStr(0xFFFFFFFFu, buf, 16), ZX_OK);
    EXPECT_STREQ(buf, "255.255.255.255");
    EXPECT_EQ(ZX_OS_IpAddrToStr(0xFFFFFFFFu, buf, 15), ZX_ERR_CUT);
    EXPECT_STREQ(buf, "255.255.255.25");
    EXPECT_EQ(ZX_OS_IpAddrToStr(1, nullptr, 16), ZX_ERR_PARAM);
    EXPECT_EQ(ZX_OS_IpAddrToStr(1, buf, 0), ZX_ERR_PARAM);
    struct V {
        const char* text;
        uint32_t valid;
    } cases[] = {{"10.0.0.1", 1},  {"255.255.255.255", 1}, {"256.0.0.1", 0},   {"1.2.3", 0},
                 {"1.2.3.4.5", 0}, {"a.b.c.d", 0},         {"example.com", 0}, {"", 0},
                 {" 1.2.3.4", 0},  {"1.2.3.4 ", 0},        {"::1", 0}};
    for (const auto& c : cases) {
        EXPECT_EQ(ZX_OS_IsValidIpAddress(c.text), c.valid) << c.text;
        EXPECT_EQ(ZX_UTL_ValidateIpAddress(c.text), c.valid ? 0u : 1u) << c.text;
    }
    EXPECT_EQ(ZX_OS_IsValidIpAddress(nullptr), 0u);
    EXPECT_EQ(ZX_UTL_ValidateIpAddress(nullptr), 1u);
}

TEST(Profile, FeatureSwitchesAndSpecificationValues) {
    zxtest::ScopedTempDir dir;
    std::string path = dir.path() + "/profile.json";
    write_file(path, R"({"features":{"FT_CWMP_OPCO_RMS":1,"FT_OFF":0,"FT_BOOL":true},
                         "specValues":{"VELM_SPEC_PLUGIN_APILIST":"apilist.json","NUM":42}})");
    zxtest::set_env("ZX_PROFILE", path.c_str());
    EXPECT_EQ(zxhost::profile_path(), path);
    EXPECT_EQ(ZX_Feature_IsSupportByFeatureName("FT_CWMP_OPCO_RMS"), 1u);
    EXPECT_EQ(ZX_Feature_IsSupportByFeatureName("FT_OFF"), 0u);
    EXPECT_EQ(ZX_Feature_IsSupportByFeatureName("FT_BOOL"), 1u);
    EXPECT_EQ(ZX_Feature_IsSupportByFeatureName("FT_UNKNOWN"), 0u);
    EXPECT_EQ(ZX_Feature_IsSupportByFeatureName(nullptr), 0u);

    char value[32];
    ASSERT_EQ(ZX_Spec_GetValueByName("VELM_SPEC_PLUGIN_APILIST", value, sizeof value), ZX_OK);
    EXPECT_STREQ(value, "apilist.json");
    ASSERT_EQ(ZX_Spec_GetValueByName("NUM", value, sizeof value), ZX_OK);
    EXPECT_STREQ(value, "42");
    EXPECT_EQ(ZX_Spec_GetValueByName("VELM_SPEC_PLUGIN_APILIST", value, 12), ZX_ERR_NOSPACE);
    EXPECT_STREQ(value, "");
    ASSERT_EQ(ZX_Spec_GetValueByName("VELM_SPEC_PLUGIN_APILIST", value, 13), ZX_OK) << "exact fit";
    EXPECT_EQ(ZX_Spec_GetValueByName("MISSING", value, sizeof value), ZX_ERR_NOT_FOUND);
    EXPECT_EQ(ZX_Spec_GetValueByName(nullptr, value, sizeof value), ZX_ERR_PARAM);
    EXPECT_EQ(ZX_Spec_GetValueByName("NUM", nullptr, 4), ZX_ERR_PARAM);
    EXPECT_EQ(ZX_Spec_GetValueByName("NUM", value, 0), ZX_ERR_PARAM);

    // A changed file is read again on reload.
    write_file(path, R"({"features":{"FT_CWMP_OPCO_RMS":0}})");
    zxhost::profile_reload();
    EXPECT_EQ(ZX_Feature_IsSupportByFeatureName("FT_CWMP_OPCO_RMS"), 0u);
    EXPECT_EQ(ZX_Spec_GetValueByName("NUM", value, sizeof value), ZX_ERR_NOT_FOUND);
}

TEST(Profile, MissingOrBrokenProfileMeansEverythingOff) {
    zxtest::ScopedTempDir dir;
    std::string path = dir.path() + "/broken.json";
    write_file(path, "{ not json");
    zxtest::set_env("ZX_PROFILE", path.c_str());
    EXPECT_EQ(ZX_Feature_IsSupportByFeatureName("FT_CWMP_OPCO_RMS"), 0u);
    char value[8];
    EXPECT_EQ(ZX_Spec_GetValueByName("VELM_SPEC_PLUGIN_APILIST", value, sizeof value), ZX_ERR_NOT_FOUND);
    zxtest::set_env("ZX_PROFILE", (dir.path() + "/missing.json").c_str());
    EXPECT_EQ(ZX_Feature_IsSupportByFeatureName("FT_PLUGIN_PERMISSION_ENABLE"), 0u);
    EXPECT_EQ(zxhost::profile_text(), "");
}

TEST(Profile, DefaultProfileOfTheSourceTree) {
    zxtest::set_env("ZX_PROFILE", nullptr);
    EXPECT_EQ(zxhost::profile_path(), std::string(ZX_SOURCE_DIR) + "/sim/profiles/default.json");
    EXPECT_EQ(ZX_Feature_IsSupportByFeatureName("FT_PLUGIN_PERMISSION_ENABLE"), 1u);
    EXPECT_EQ(ZX_Feature_IsSupportByFeatureName("FT_CWMP_OPCO_RMS"), 0u);
}

TEST(Status, NamesOfPlatformCodes) {
    EXPECT_EQ(zxhost::status_name(ZX_MSG_ERR_TIMEOUT), "ZX_MSG_ERR_TIMEOUT");
    EXPECT_EQ(zxhost::status_name(0xF7213003u), "0xF7213003");
}

}  // namespace
