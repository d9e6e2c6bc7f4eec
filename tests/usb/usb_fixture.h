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

#include "sim_fixture.h"
#include "zx_host.h"
#include "zx_platform.h"
#include "zx_velm_usb.h"

namespace usbtest {

using zxtest::JsonPtr;

// What the process's tcsetattr calls were given, and the faults a test asks of them.
struct TermiosLog {
    int calls = 0;
    termios last{};
    bool failSet = false;       // tcsetattr fails with EIO
    bool recordOnly = false;    // tcsetattr succeeds without applying anything
    bool reportParenb = false;  // tcgetattr reports PARENB set
};
TermiosLog& termios_log();

// Devices of the default profile.
inline constexpr uint32_t kEchoDevice = 1;    // type 1
inline constexpr uint32_t kLinesDevice = 2;   // type 1: "AT" -> "OK", "ATI" -> "HG-1000 serial adapter"
inline constexpr uint32_t kHostDevice = 3;    // type 2, driven through the control socket
inline constexpr uint32_t kAbsentDevice = 9;  // type 2, a path that does not exist

inline constexpr const char* kFile = "../velm/zx_velm_jni_api";

std::string hex(const std::vector<uint8_t>& bytes);
std::vector<uint8_t> unhex(const std::string& text);

class UsbTest : public zxtest::SimFixture {
protected:
    UsbTest() : SimFixture(kFile) {}
    void TearDown() override;

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

    using SimFixture::expect_trace;
    // The plug-in platform's trace (level 249) at a line.
    void expect_trace(const std::vector<zxhost::TraceRecord>& records, uint32_t line, const std::string& text) const {
        expect_trace(records, 249, line, text);
    }
    static size_t count_at(const std::vector<zxhost::TraceRecord>& records, uint32_t line);
    // No last word since the last look: every call went through cleanly.
    void expect_no_failure_records() { expect_no_last_word(traces()); }

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

inline std::string hex(const std::vector<uint8_t>& bytes) { return zxtest::to_hex(bytes); }
inline std::vector<uint8_t> unhex(const std::string& text) { return zxtest::from_hex(text); }

inline void UsbTest::TearDown() {
    for (int fd : handles_) ::close(fd);
    SimFixture::TearDown();
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
    ASSERT_TRUE(sim_.usb_write(devId, bytes));
}

inline std::vector<uint8_t> UsbTest::device_receive(uint32_t devId, size_t count) {
    std::optional<zxtest::Bytes> got =
        sim_.usb_read(devId, static_cast<uint32_t>(count), static_cast<uint32_t>(count), 20000);
    EXPECT_TRUE(got) << "device " << devId << " side";
    return got.value_or(zxtest::Bytes{});
}

inline std::string UsbTest::device_path(uint32_t devId) {
    auto device = sim_.usb_device(devId);
    EXPECT_TRUE(device) << "device " << devId;
    return device ? device->path : "";
}

inline std::string UsbTest::locked_by(uint32_t devId) {
    auto device = sim_.usb_device(devId);
    EXPECT_TRUE(device) << "device " << devId;
    return device ? device->lockedBy : "";
}

inline void UsbTest::inject_status(uint32_t msgId, uint32_t status) {
    ASSERT_TRUE(sim_.inject("usb_mngt", msgId, zxtest::Fault::status(status)));
}

inline size_t UsbTest::count_at(const std::vector<zxhost::TraceRecord>& records, uint32_t line) {
    size_t n = 0;
    for (const auto& r : records)
        if (r.line == line && r.file == kFile) ++n;
    return n;
}

}  // namespace usbtest
