// Failure paths that only a failing platform call reaches: a shared block that cannot be updated
// or freed, a clock that cannot be read, a log line that cannot be written, an interface whose
// address cannot be read. Each is made to fail through the platform's fault hook; each case checks
// the code, the records and that nothing was left behind.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "fake_services.h"
#include "l2tp_api.h"
#include "payloads.h"
#include "test_env.h"
#include "trace_lines.h"
#include "zx_bridge.h"
#include "zx_host.h"
#include "zx_velm_bundle.h"
#include "zx_wire_app_m.h"

namespace {

using zxhost::Call;
using zxtest::Bytes;
using zxtest::L;
using zxtest::L1;
using zxtest::T;
using zxtest::take_records;

constexpr const char* kVelmApi = "../velm/zx_velm_jni_api";
constexpr const char* kL2tpApi = "l2tp_api";

std::vector<uint32_t> block_ids() {
    std::vector<uint32_t> out;
    for (const zxhost::VdataBlock& b : zxhost::vdata_list()) out.push_back(b.id);
    return out;
}

class FaultPaths : public testing::Test {
protected:
    void SetUp() override {
        zxhost::fault_clear();
        zxhost::trace_capture_start();
        fds_ = zxtest::open_fd_count();
    }
    void TearDown() override {
        zxhost::fault_clear();
        zxhost::trace_capture_stop();
        EXPECT_TRUE(zxtest::nothing_left_behind());
        EXPECT_EQ(zxtest::open_fd_count(), fds_) << "descriptors left open";
    }

    zxtest::ScopedBusDir bus_;  // the shared arena lives in the bus directory
    int fds_ = 0;
};

// ---------------------------------------------------------------------------------------------
// Shared blocks
// ---------------------------------------------------------------------------------------------

TEST_F(FaultPaths, TunnelReaderWhoseBlockCannotBeFreedFreesBothBuffers) {
    Bytes data = zxtest::address_list(100);
    TunnelVDataRecord rec{};
    ASSERT_EQ(L2TP_API_WriteVData(&rec, data.data(), 100), 0u);
    take_records();
    const uint64_t injected = zxhost::faults_injected(Call::VdataFree);
    zxhost::fault_nth(Call::VdataFree, 1);
    void* out = &rec;  // must become NULL
    EXPECT_EQ(JNI_API_ReadVData(&rec, &out), ZX_VDATA_ERR_ARENA);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(zxhost::faults_injected(Call::VdataFree), injected + 1);
    EXPECT_EQ(take_records(), std::vector<std::string>{L1(kVelmApi, 420, ZX_VDATA_ERR_ARENA)});
    // The read and result buffers went back (421, 422); the block is the platform's to keep after
    // its own free failed.
    EXPECT_EQ(zxhost::alloc_outstanding(), 0u);
    EXPECT_EQ(block_ids(), std::vector<uint32_t>{rec.uivDataID});
    EXPECT_EQ(ZX_VDATA_FreeShm(rec.uivDataID), ZX_OK);
}

TEST_F(FaultPaths, PluginWriterWhoseBlockCannotBeUpdatedFreesTheBlockAndTheWorkBuffer) {
    Bytes data = zxtest::address_list(5000);
    PluginVDataRecord rec{};
    zxhost::fault_nth(Call::VdataUpdate, 1);
    EXPECT_EQ(OSGI_JNI_ZipWriteVData(&rec, data.data(), 5000), ZX_VDATA_ERR_ARENA);
    EXPECT_NE(rec.uivDataID, 0u) << "the block had been created";
    EXPECT_LT(rec.uiStoredLen, 5000u);
    EXPECT_EQ(zxhost::faults_injected(Call::VdataUpdate), 1u);
    EXPECT_EQ(take_records(), std::vector<std::string>{L1(kVelmApi, 579, ZX_VDATA_ERR_ARENA)});
    // Block freed, work buffer freed (581): TearDown finds neither.
}

TEST_F(FaultPaths, PluginReaderWhoseBlockCannotBeFreedFreesTheReadBuffer) {
    Bytes data = zxtest::address_list(5000);
    PluginVDataRecord rec{};
    ASSERT_EQ(OSGI_JNI_ZipWriteVData(&rec, data.data(), 5000), 0u);
    take_records();
    std::vector<uint8_t> dst(ZX_VDATA_PLUGIN_CAPACITY, 0xA5);
    zxhost::fault_nth(Call::VdataFree, 1);
    EXPECT_EQ(OSGI_JNI_ReadUnzipVData(&rec, dst.data()), ZX_VDATA_ERR_ARENA);
    EXPECT_EQ(take_records(), std::vector<std::string>{L1(kVelmApi, 634, ZX_VDATA_ERR_ARENA)});
    EXPECT_EQ(dst, std::vector<uint8_t>(ZX_VDATA_PLUGIN_CAPACITY, 0xA5)) << "nothing was decompressed";
    EXPECT_EQ(zxhost::alloc_outstanding(), 0u) << "the read buffer went back (635)";
    EXPECT_EQ(block_ids(), std::vector<uint32_t>{rec.uivDataID});
    EXPECT_EQ(ZX_VDATA_FreeShm(rec.uivDataID), ZX_OK);
}

// ---------------------------------------------------------------------------------------------
// The plug-in operation log
// ---------------------------------------------------------------------------------------------

class LogFaults : public FaultPaths {
protected:
    void SetUp() override {
        ASSERT_EQ(mkdir((root_.path() + "/var").c_str(), 0755), 0);
        zxtest::set_env("ZX_ROOT", root_.path().c_str());
        FaultPaths::SetUp();
    }
    void TearDown() override {
        FaultPaths::TearDown();
        zxtest::set_env("ZX_ROOT", nullptr);
    }
    std::string log_text() const {
        std::ifstream in(root_.path() + OSGI_JNI_LOG_FILE, std::ios::binary);
        std::ostringstream s;
        s << in.rdbuf();
        return s.str();
    }
    bool log_exists() const {
        struct stat st;
        return stat((root_.path() + OSGI_JNI_LOG_FILE).c_str(), &st) == 0;
    }

    zxtest::ScopedTempDir root_{"zxlogfault"};
};

TEST_F(LogFaults, ClockThatCannotBeReadWritesNothing) {
    zxhost::fault_nth(Call::LocalTime, 1);
    EXPECT_EQ(OSGI_JNI_Log_Record("Install", "a"), 1u);
    EXPECT_EQ(take_records(), (std::vector<std::string>{
                                  L1(kVelmApi, 746, ZX_ERR_SYS),
                                  T(220, kVelmApi, 747, "[OSGI_Bundle_GetSysTime]Failed to get System time\r\n"),
                              }));
    EXPECT_FALSE(log_exists()) << "nothing written, the file not even opened";
    // The clock back: the next record is written.
    EXPECT_EQ(OSGI_JNI_Log_Record("Install", "a"), 0u);
    EXPECT_NE(log_text().find(" [Install] a\r\n"), std::string::npos);
}

TEST_F(LogFaults, LineThatCannotBeWrittenClosesTheFileAndFreesTheLine) {
    zxhost::fault_nth(Call::Fputs, 1);
    EXPECT_EQ(OSGI_JNI_Log_Record("Run", "b"), 1u);
    EXPECT_EQ(take_records(),
              std::vector<std::string>{
                  T(220, kVelmApi, 820, "[OSGI_JNI_Log_Record]Failed to write record into log file\r\n")});
    EXPECT_EQ(log_text(), "");
}

// ---------------------------------------------------------------------------------------------
// Device information
// ---------------------------------------------------------------------------------------------

TEST_F(FaultPaths, LanAddressWhoseInterfaceCannotBeReadPassesTheCodeOn) {
    char out[16];
    std::strcpy(out, "kept");
    zxhost::fault_nth(Call::IfIpAndMac, 1);
    EXPECT_EQ(ZX_TARN_getDeviceLANIP(out, sizeof out), ZX_ERR_SYS);
    EXPECT_STREQ(out, "kept");
    // The record names the size code; the result is the interface read's own.
    EXPECT_EQ(take_records(), std::vector<std::string>{L1(kL2tpApi, 1556, 257)});
}

// The management address's size check measures the text at the start of the reply; only a
// service that puts text there reaches it (the simulated one leaves it empty).
TEST_F(FaultPaths, CloudAddressWithTextAtTheStartOfTheReplyLongerThanTheBufferIsTooLong) {
    zxtest::FakeServices services;
    ASSERT_TRUE(services.serve("app_m", [](const zxhost::BusRequest&, zxhost::BusAnswer& a) {
        ZX_APPM_MGT_ADDR_S reply{};
        std::memcpy(reply.aucResv1, "0123456789", 10);
        std::strcpy(reply.acMgtAddr, "10.1.2.3");
        const auto* p = reinterpret_cast<const uint8_t*>(&reply);
        a.data.assign(p, p + sizeof reply);
    }));
    char out[10];
    std::strcpy(out, "kept");
    EXPECT_EQ(ZX_TARN_getDeviceCloudAddress(out, sizeof out), 257u);
    EXPECT_STREQ(out, "kept");
    EXPECT_EQ(take_records(), std::vector<std::string>{L(kL2tpApi, 1278, 257, 10, 10, 0, 0)});
    // One byte more and the address (not the text measured) is copied.
    char wide[11];
    EXPECT_EQ(ZX_TARN_getDeviceCloudAddress(wide, sizeof wide), 0u);
    EXPECT_STREQ(wide, "10.1.2.3");
    EXPECT_TRUE(take_records().empty());
    // The bus keeps one connection per thread and destination; it is not the call's to close.
    services.stop();
    zxhost::drop_thread_connections();
}

}  // namespace
