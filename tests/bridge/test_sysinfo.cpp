// System information of the plug-in platform API: processor and memory load from a /proc the test
// writes, the LOID from the simulated configuration service, and the caller's buffer written only
// when the whole text fits.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "sim_process.h"
#include "test_env.h"
#include "trace_lines.h"
#include "zx_velm_jni_api.h"

namespace {

using zxtest::L;
using zxtest::L1;
using zxtest::SimProcess;
using zxtest::take_records;

constexpr const char* kFile = "../velm/zx_velm_jni_api";
constexpr uint32_t kGetLoid = 0x4710304B;

std::string load_text(const char* percent) { return std::string("{\"Result\":0 , \"Percent\":\"") + percent + "\"}"; }

void write_file(const std::string& path, const std::string& text) { std::ofstream(path) << text; }

// A caller's buffer filled with a pattern, so an untouched buffer can be told from a written one.
struct Buffer {
    static constexpr char kPattern = '\x5A';
    std::vector<char> bytes;
    explicit Buffer(size_t n) : bytes(n, kPattern) {}
    char* data() { return bytes.data(); }
    uint32_t size() const { return static_cast<uint32_t>(bytes.size()); }
    std::string text() const { return std::string(bytes.data(), strnlen(bytes.data(), bytes.size())); }
    bool untouched() const { return bytes == std::vector<char>(bytes.size(), kPattern); }
};

// Sets a variable for the bus directory made next, whose reload of the environment reads it.
struct EnvVar {
    EnvVar(const char* name, const std::string& value) { setenv(name, value.c_str(), 1); }
};

class SysInfo : public testing::Test {
protected:
    void SetUp() override { zxhost::trace_capture_start(); }
    void TearDown() override {
        zxhost::trace_capture_stop();
        EXPECT_TRUE(zxtest::nothing_left_behind());
    }

    // Statistics that do not move: the interval measured is idle.
    void write_idle_stat() { write_file(proc_.path() + "/stat", "cpu  100 20 300 4000 50 0 10 0 0 0\ncpu0 1 2 3 4\n"); }
    void write_meminfo(int totalKb, int availableKb) {
        write_file(proc_.path() + "/meminfo",
                   "MemTotal:       " + std::to_string(totalKb) +
                       " kB\nMemFree:        10 kB\nMemAvailable:   " + std::to_string(availableKb) + " kB\n");
    }

    zxtest::ScopedTempDir proc_{"zxproc"};
    EnvVar procEnv_{"ZX_PROC_DIR", proc_.path()};
    zxtest::ScopedBusDir bus_;
};

// ---------------------------------------------------------------------------------------------
// Processor load
// ---------------------------------------------------------------------------------------------

TEST_F(SysInfo, IdleProcessorReadsAsOnePercent) {
    write_idle_stat();
    Buffer buf(128);
    EXPECT_EQ(ZX_JNI_sysGetCpuUsage(buf.data(), buf.size()), 0u);
    EXPECT_EQ(buf.text(), load_text("1"));
    EXPECT_TRUE(take_records().empty());
}

TEST_F(SysInfo, FailedProcessorMeasurementReturnsThePlatformCodeWithATextOfOnePercent) {
    Buffer buf(128);  // no stat file: the measurement fails
    EXPECT_EQ(ZX_JNI_sysGetCpuUsage(buf.data(), buf.size()), ZX_ERR_SYS);
    EXPECT_EQ(buf.text(), load_text("1"));
    EXPECT_EQ(take_records(), std::vector<std::string>{L1(kFile, 1094, ZX_ERR_SYS)});
}

TEST_F(SysInfo, ProcessorTextFillsABufferOfExactlyItsSize) {
    write_idle_stat();
    const auto length = static_cast<uint32_t>(load_text("1").size());
    Buffer exact(length + 1);
    EXPECT_EQ(ZX_JNI_sysGetCpuUsage(exact.data(), exact.size()), 0u);
    EXPECT_EQ(exact.text(), load_text("1"));

    Buffer shortBy1(length);
    EXPECT_EQ(ZX_JNI_sysGetCpuUsage(shortBy1.data(), shortBy1.size()), ZX_JNI_ERR_BUF_SMALL);
    EXPECT_TRUE(shortBy1.untouched());
    EXPECT_EQ(take_records(), std::vector<std::string>{L(kFile, 1109, ZX_JNI_ERR_BUF_SMALL, length, length, 0, 0)});
}

TEST_F(SysInfo, TooSmallABufferOutranksAFailedMeasurement) {
    Buffer buf(8);
    const auto length = static_cast<uint32_t>(load_text("1").size());
    EXPECT_EQ(ZX_JNI_sysGetCpuUsage(buf.data(), buf.size()), ZX_JNI_ERR_BUF_SMALL);
    EXPECT_TRUE(buf.untouched());
    EXPECT_EQ(take_records(), (std::vector<std::string>{L1(kFile, 1094, ZX_ERR_SYS),
                                                        L(kFile, 1109, ZX_JNI_ERR_BUF_SMALL, 8, length, 0, 0)}));
}

TEST(SysInfoHost, ProcessorLoadOfThisHostIsAPercentage) {
    zxtest::ScopedBusDir bus;  // the real /proc
    char buf[128];
    ASSERT_EQ(ZX_JNI_sysGetCpuUsage(buf, sizeof buf), 0u);
    int percent = -1;
    ASSERT_EQ(std::sscanf(buf, "{\"Result\":0 , \"Percent\":\"%d", &percent), 1) << buf;
    EXPECT_EQ(buf, load_text(std::to_string(percent).c_str()));
    EXPECT_GE(percent, 1);
    EXPECT_LE(percent, 100);
}

// ---------------------------------------------------------------------------------------------
// Memory use
// ---------------------------------------------------------------------------------------------

TEST_F(SysInfo, UnusedMemoryReadsAsZero) {
    write_meminfo(1000, 1000);
    Buffer buf(128);
    EXPECT_EQ(ZX_JNI_sysGetMemUsage(buf.data(), buf.size()), 0u);
    EXPECT_EQ(buf.text(), load_text("0"));
    EXPECT_TRUE(take_records().empty());
}

TEST_F(SysInfo, MemoryUseIsTheUnavailableShare) {
    write_meminfo(1000, 250);
    Buffer buf(128);
    EXPECT_EQ(ZX_JNI_sysGetMemUsage(buf.data(), buf.size()), 0u);
    EXPECT_EQ(buf.text(), load_text("75"));
}

TEST_F(SysInfo, FailedMemoryMeasurementReturnsThePlatformCodeWithTheValueAsLeft) {
    Buffer buf(128);
    EXPECT_EQ(ZX_JNI_sysGetMemUsage(buf.data(), buf.size()), ZX_ERR_SYS);
    EXPECT_EQ(buf.text(), load_text("0"));
    EXPECT_EQ(take_records(), std::vector<std::string>{L1(kFile, 1141, ZX_ERR_SYS)});
}

TEST_F(SysInfo, MemoryTextFillsABufferOfExactlyItsSize) {
    write_meminfo(1000, 250);
    const auto length = static_cast<uint32_t>(load_text("75").size());
    Buffer exact(length + 1);
    EXPECT_EQ(ZX_JNI_sysGetMemUsage(exact.data(), exact.size()), 0u);
    EXPECT_EQ(exact.text(), load_text("75"));

    Buffer shortBy1(length);
    EXPECT_EQ(ZX_JNI_sysGetMemUsage(shortBy1.data(), shortBy1.size()), ZX_JNI_ERR_BUF_SMALL);
    EXPECT_TRUE(shortBy1.untouched());
    EXPECT_EQ(take_records(), std::vector<std::string>{L(kFile, 1150, ZX_JNI_ERR_BUF_SMALL, length, length, 0, 0)});
}

// ---------------------------------------------------------------------------------------------
// LOID
// ---------------------------------------------------------------------------------------------

class Loid : public SysInfo {
protected:
    void SetUp() override {
        SysInfo::SetUp();
        ASSERT_TRUE(sim_.start());
    }
    testing::AssertionResult set_loid(const std::string& loid) { return sim_.set_state("app_m", "loid", loid); }

    SimProcess sim_{{.services = {"app_m"}}};
};

TEST_F(Loid, AsksTheConfigurationServiceAndCopiesItsText) {
    Buffer buf(128);
    EXPECT_EQ(ZX_JNI_sysGetLoid(buf.data(), buf.size()), 0u);
    EXPECT_EQ(buf.text(), "ZXLOID0001");
    EXPECT_TRUE(take_records().empty());

    std::optional<std::vector<zxtest::Received>> got = sim_.received("app_m");
    ASSERT_TRUE(got);
    ASSERT_EQ(got->size(), 1u);
    const zxtest::Received& r = got->front();
    EXPECT_EQ(r.head.dstName, "app_m");
    EXPECT_EQ(r.head.tag, 249u);
    EXPECT_EQ(r.msgId, kGetLoid);
    EXPECT_EQ(r.timeoutMs, 30000u);
    EXPECT_EQ(r.replyCap, 64u);
    EXPECT_EQ(zxtest::to_hex(r.data), "00000000");
}

TEST_F(Loid, LoidOf63CharactersFitsA64ByteBufferAndNotOneByteLess) {
    const std::string loid(63, 'L');
    ASSERT_TRUE(set_loid(loid));
    Buffer exact(64);
    EXPECT_EQ(ZX_JNI_sysGetLoid(exact.data(), exact.size()), 0u);
    EXPECT_EQ(exact.text(), loid);

    Buffer shortBy1(63);
    EXPECT_EQ(ZX_JNI_sysGetLoid(shortBy1.data(), shortBy1.size()), ZX_JNI_ERR_BUF_SMALL);
    EXPECT_TRUE(shortBy1.untouched());
    EXPECT_EQ(take_records(), std::vector<std::string>{L(kFile, 1190, ZX_JNI_ERR_BUF_SMALL, 63, 63, 0, 0)});
}

TEST_F(Loid, EmptyLoidIsAnEmptyTextAndSuccess) {
    ASSERT_TRUE(set_loid(""));
    Buffer buf(128);
    EXPECT_EQ(ZX_JNI_sysGetLoid(buf.data(), buf.size()), 0u);
    EXPECT_EQ(buf.bytes[0], '\0');
    EXPECT_TRUE(take_records().empty());
}

TEST_F(Loid, FailedCallIsMinusOneWithTheCallsCodeRecorded) {
    const uint32_t code = 0xF7213003;
    ASSERT_TRUE(sim_.inject("app_m", kGetLoid, zxtest::Fault::status(code)));
    Buffer buf(128);
    EXPECT_EQ(ZX_JNI_sysGetLoid(buf.data(), buf.size()), 0xFFFFFFFFu);
    EXPECT_TRUE(buf.untouched());
    EXPECT_EQ(take_records(), (std::vector<std::string>{L1(kFile, 232, code),  // the remote call's own record
                                                        L(kFile, 1184, 0xFFFFFFFF, code, 0, 0, 0)}));
}

TEST_F(SysInfo, LoidWithoutTheConfigurationServiceIsMinusOne) {
    Buffer buf(128);
    EXPECT_EQ(ZX_JNI_sysGetLoid(buf.data(), buf.size()), 0xFFFFFFFFu);
    EXPECT_TRUE(buf.untouched());
    EXPECT_EQ(take_records(), (std::vector<std::string>{L1(kFile, 232, ZX_MSG_ERR_NO_DEST),
                                                        L(kFile, 1184, 0xFFFFFFFF, ZX_MSG_ERR_NO_DEST, 0, 0, 0)}));
}

}  // namespace
