// Shared frame of the USB tests: the gateway simulator with its USB devices, trace capture, the
// check that no platform allocation is left behind, and a record of the terminal attributes the
// library hands to tcsetattr (a pseudo-terminal keeps neither the character size nor PARENB nor
// the input-mode flow-control bit, so those are judged by what was requested).
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include <cstdint>
#include <string>
#include <vector>

#include "sim_process.h"
#include "test_env.h"
#include "zx_host.h"
#include "zx_platform.h"
#include "zx_velm_usb.h"

namespace usbtest {

using zxtest::JsonPtr;

// What the process's tcsetattr calls were given, and the faults a test asks of them.
struct TermiosLog {
    int calls = 0;
    termios last{};
    bool failSet = false;      // tcsetattr fails with EIO
    bool recordOnly = false;   // tcsetattr succeeds without applying anything
    bool reportParenb = false; // tcgetattr reports PARENB set
};
TermiosLog& termios_log();

// Devices of the default profile.
inline constexpr uint32_t kEchoDevice = 1;   // type 1
inline constexpr uint32_t kLinesDevice = 2;  // type 1: "AT" -> "OK", "ATI" -> "HG-1000 serial adapter"
inline constexpr uint32_t kHostDevice = 3;   // type 2, driven through the control socket
inline constexpr uint32_t kAbsentDevice = 9; // type 2, a path that does not exist

inline constexpr const char* kFile = "../velm/zx_velm_jni_api";

std::string hex(const std::vector<uint8_t>& bytes);
std::vector<uint8_t> unhex(const std::string& text);

class UsbTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    std::vector<zxhost::TraceRecord> traces() { return zxhost::trace_capture_take(); }

    // Registers `plugId` for `type`, locks and opens the device: the handle.
    int open_device(const std::string& plugId, uint32_t type, uint32_t devId);
    // Sets 115200 8N1 without flow control (raw), as every data test does first.
    void make_raw(int handle);

    // The device side of a "host" device.
    void device_send(uint32_t devId, const std::vector<uint8_t>& bytes);
    std::vector<uint8_t> device_receive(uint32_t devId, size_t count);
    std::string device_path(uint32_t devId);
    std::string locked_by(uint32_t devId);
    void inject_status(uint32_t msgId, uint32_t status);

    static void expect_last_word_1(const std::vector<zxhost::TraceRecord>& records, uint32_t line, uint32_t code);
    static void expect_last_word(const std::vector<zxhost::TraceRecord>& records, uint32_t line, uint32_t code,
                                 std::vector<uint32_t> data);
    static void expect_trace(const std::vector<zxhost::TraceRecord>& records, uint32_t line, const std::string& text);
    static size_t count_at(const std::vector<zxhost::TraceRecord>& records, uint32_t line);
    // No last word since the last look: every call went through cleanly.
    void expect_no_failure_records();

    zxtest::ScopedBusDir bus_;
    zxtest::SimProcess sim_;
    uint64_t allocBase_ = 0;
    std::vector<int> handles_;  // closed at the end when a test left them open
};

}  // namespace usbtest

// The library's terminal calls resolve to these first (the executable precedes the C library).
// Each test executable is one source file that includes this header once.
extern "C" int tcsetattr(int fd, int action, const termios* tio) {
    using Fn = int (*)(int, int, const termios*);
    static Fn real = reinterpret_cast<Fn>(dlsym(RTLD_NEXT, "tcsetattr"));
    usbtest::TermiosLog& log = usbtest::termios_log();
    ++log.calls;
    log.last = *tio;
    if (log.failSet) {
        errno = EIO;
        return -1;
    }
    if (log.recordOnly) return 0;
    return real(fd, action, tio);
}

extern "C" int tcgetattr(int fd, termios* tio) {
    using Fn = int (*)(int, termios*);
    static Fn real = reinterpret_cast<Fn>(dlsym(RTLD_NEXT, "tcgetattr"));
    int result = real(fd, tio);
    if (result == 0 && usbtest::termios_log().reportParenb) tio->c_cflag |= PARENB;
    return result;
}

namespace usbtest {

inline TermiosLog& termios_log() {
    static TermiosLog log;
    return log;
}

inline std::string hex(const std::vector<uint8_t>& bytes) {
    std::string out;
    char two[3];
    for (uint8_t b : bytes) {
        std::snprintf(two, sizeof two, "%02x", b);
        out += two;
    }
    return out;
}

inline std::vector<uint8_t> unhex(const std::string& text) {
    std::vector<uint8_t> out;
    for (size_t i = 0; i + 1 < text.size(); i += 2) out.push_back(static_cast<uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
    return out;
}

inline void UsbTest::SetUp() {
    ASSERT_TRUE(sim_.start());
    zxhost::trace_capture_start();
    allocBase_ = zxhost::alloc_outstanding();
}

inline void UsbTest::TearDown() {
    for (int fd : handles_) ::close(fd);
    zxhost::trace_capture_stop();
    EXPECT_EQ(zxhost::alloc_outstanding(), allocBase_) << "platform allocations left behind";
}

inline int UsbTest::open_device(const std::string& plugId, uint32_t type, uint32_t devId) {
    char buf[128] = {};
    EXPECT_EQ(ZX_JNI_UsbRegister(plugId.c_str(), type, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0}");
    EXPECT_EQ(ZX_JNI_UsbLock(devId, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0}");
    EXPECT_EQ(ZX_JNI_UsbOpen(devId, buf, sizeof buf), 0u);
    int handle = -1;
    if (std::sscanf(buf, "{\"Result\":0,\"Handle\":%d}", &handle) != 1) ADD_FAILURE() << "open answered " << buf;
    if (handle >= 0) handles_.push_back(handle);
    return handle;
}

inline void UsbTest::make_raw(int handle) {
    char buf[128] = {};
    EXPECT_EQ(ZX_JNI_UsbSetSerial(handle, 115200, 0, 8, 1, 0, 0, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0}");
}

inline void UsbTest::device_send(uint32_t devId, const std::vector<uint8_t>& bytes) {
    ASSERT_TRUE(sim_.ctl_ok(R"({"op":"usb_write","device":)" + std::to_string(devId) + R"(,"data":")" + hex(bytes) +
                            "\"}"));
}

inline std::vector<uint8_t> UsbTest::device_receive(uint32_t devId, size_t count) {
    JsonPtr answer;
    EXPECT_TRUE(sim_.ctl_ok(R"({"op":"usb_read","device":)" + std::to_string(devId) + R"(,"min":)" +
                                std::to_string(count) + R"(,"max":)" + std::to_string(count) + R"(,"waitMs":20000})",
                            &answer));
    return unhex(zxtest::json_text(answer.get(), "data"));
}

inline std::string UsbTest::device_path(uint32_t devId) {
    JsonPtr answer;
    EXPECT_TRUE(sim_.ctl_ok(R"({"op":"usb_device","device":)" + std::to_string(devId) + "}", &answer));
    return zxtest::json_text(answer.get(), "path");
}

inline std::string UsbTest::locked_by(uint32_t devId) {
    JsonPtr answer;
    EXPECT_TRUE(sim_.ctl_ok(R"({"op":"usb_device","device":)" + std::to_string(devId) + "}", &answer));
    return zxtest::json_text(answer.get(), "lockedBy");
}

inline void UsbTest::inject_status(uint32_t msgId, uint32_t status) {
    ASSERT_TRUE(sim_.ctl_ok(R"({"op":"inject","service":"usb_mngt","msgId":)" + std::to_string(msgId) +
                            R"(,"fault":"status","value":)" + std::to_string(status) + "}"));
}

namespace {
inline std::vector<zxhost::TraceRecord> at_line(const std::vector<zxhost::TraceRecord>& records,
                                         zxhost::TraceRecord::Kind kind, uint32_t line) {
    std::vector<zxhost::TraceRecord> out;
    for (const auto& r : records)
        if (r.kind == kind && r.line == line && r.file == kFile) out.push_back(r);
    return out;
}
}  // namespace

inline void UsbTest::expect_last_word_1(const std::vector<zxhost::TraceRecord>& records, uint32_t line, uint32_t code) {
    auto found = at_line(records, zxhost::TraceRecord::LastWord1, line);
    ASSERT_EQ(found.size(), 1u) << "last word at line " << line;
    EXPECT_EQ(found[0].code, code) << "line " << line;
}

inline void UsbTest::expect_last_word(const std::vector<zxhost::TraceRecord>& records, uint32_t line, uint32_t code,
                               std::vector<uint32_t> data) {
    auto found = at_line(records, zxhost::TraceRecord::LastWord, line);
    ASSERT_EQ(found.size(), 1u) << "last word at line " << line;
    EXPECT_EQ(found[0].code, code) << "line " << line;
    for (size_t i = 0; i < data.size(); ++i) EXPECT_EQ(found[0].data[i], data[i]) << "line " << line << " word " << i;
}

inline void UsbTest::expect_trace(const std::vector<zxhost::TraceRecord>& records, uint32_t line, const std::string& text) {
    auto found = at_line(records, zxhost::TraceRecord::Trace, line);
    ASSERT_EQ(found.size(), 1u) << "trace at line " << line;
    EXPECT_EQ(found[0].level, 249u);
    EXPECT_EQ(found[0].text, text);
}

inline size_t UsbTest::count_at(const std::vector<zxhost::TraceRecord>& records, uint32_t line) {
    size_t n = 0;
    for (const auto& r : records)
        if (r.line == line && r.file == kFile) ++n;
    return n;
}

inline void UsbTest::expect_no_failure_records() {
    for (const auto& r : traces())
        EXPECT_EQ(r.kind, zxhost::TraceRecord::Trace) << "unexpected last word at line " << r.line;
}

}  // namespace usbtest
