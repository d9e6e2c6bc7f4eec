// USB device access against the simulator's "usb_mngt": ownership, open and close, and the data
// path on the pseudo-terminal it names.
#include <fcntl.h>

#include <cstring>
#include <numeric>

#include "usb_fixture.h"

namespace usbtest {
namespace {

constexpr const char* kOk = "{\"Result\":0}";
constexpr const char* kLocalFailure = "{\"Result\":-1,\"FailReason\":\"\"}";

using UsbOwnership = UsbTest;
using UsbOpenClose = UsbTest;
using UsbData = UsbTest;

TEST_F(UsbOwnership, MissingArgumentsAreRecordedAtTheirLines) {
    char buf[128] = {};
    EXPECT_EQ(ZX_JNI_UsbRegister(nullptr, 1, buf, sizeof buf), 1u);
    EXPECT_EQ(ZX_JNI_UsbRegister("p", 1, nullptr, 128), 1u);
    EXPECT_EQ(ZX_JNI_UsbUnregister(nullptr, buf, sizeof buf), 1u);
    EXPECT_EQ(ZX_JNI_UsbUnregister("p", nullptr, 128), 1u);
    EXPECT_EQ(ZX_JNI_UsbLock(1, nullptr, 128), 1u);
    EXPECT_EQ(ZX_JNI_UsbUnLock(1, nullptr, 128), 1u);
    EXPECT_EQ(ZX_JNI_UsbOpen(1, nullptr, 128), 1u);
    EXPECT_EQ(ZX_JNI_UsbClose(1, nullptr, 128), 1u);
    auto records = traces();
    for (uint32_t line : {1342u, 1343u, 1388u, 1389u, 1433u, 1475u, 1223u, 1294u}) expect_last_word_1(records, line, 1);
    EXPECT_STREQ(buf, "");
    expect_received("usb_mngt", {});  // nothing reached usb_mngt
}

TEST_F(UsbOwnership, RegisterSendsTypeAndPlugIdCutTo127) {
    std::string longId(200, 'x');
    char buf[128] = {};
    ASSERT_EQ(ZX_JNI_UsbRegister(longId.c_str(), 0x01020304, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kOk);
    std::vector<uint8_t> expected{0x04, 0x03, 0x02, 0x01};
    expected.insert(expected.end(), 127, 'x');
    expected.push_back(0);
    auto received = expect_received("usb_mngt", {{0x47103041, expected}});
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(received[0].timeoutMs, 30000u);
    EXPECT_EQ(received[0].replyCap, 68u);
    EXPECT_EQ(received[0].head.dstName, "usb_mngt");
    EXPECT_EQ(received[0].head.tag, 0u);
}

TEST_F(UsbOwnership, ServiceFailuresReturnTheCodeAndLeaveTheBufferUntouched) {
    constexpr uint32_t kDown = 0xF7F00002;
    for (uint32_t msgId : {0x47103041u, 0x47103042u, 0x47103043u, 0x47103044u, 0x4710303Fu, 0x47103076u})
        inject_status(msgId, kDown);
    char buf[128] = "untouched";
    EXPECT_EQ(ZX_JNI_UsbRegister("p", 7, buf, sizeof buf), kDown);
    EXPECT_EQ(ZX_JNI_UsbUnregister("p", buf, sizeof buf), kDown);
    EXPECT_EQ(ZX_JNI_UsbLock(1, buf, sizeof buf), kDown);
    EXPECT_EQ(ZX_JNI_UsbUnLock(1, buf, sizeof buf), kDown);
    EXPECT_EQ(ZX_JNI_UsbOpen(5, buf, sizeof buf), kDown);
    EXPECT_EQ(ZX_JNI_UsbUnregisterAll(), kDown);
    EXPECT_STREQ(buf, "untouched");
    auto records = traces();
    expect_last_word(records, 1354, kDown, {7, 0, 0, 0});
    expect_last_word_1(records, 1399, kDown);
    expect_last_word_1(records, 1441, kDown);
    expect_last_word_1(records, 1483, kDown);
    expect_last_word(records, 1233, kDown, {5, 0, 0, 0});
    expect_last_word_1(records, 2203, kDown);
}

TEST_F(UsbOwnership, LockConflictBetweenTwoPlugIns) {
    char buf[128] = {};
    ASSERT_EQ(ZX_JNI_UsbRegister("plugA", 1, buf, sizeof buf), 0u);
    ASSERT_EQ(ZX_JNI_UsbLock(kEchoDevice, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kOk);
    EXPECT_EQ(locked_by(kEchoDevice), "plugA");

    // plugB registers last for type 1, so this process now acts as plugB.
    ASSERT_EQ(ZX_JNI_UsbRegister("plugB", 1, buf, sizeof buf), 0u);
    ASSERT_EQ(ZX_JNI_UsbLock(kEchoDevice, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":-1,\"FailReason\":\"device 1 is locked by plugA\"}");
    ASSERT_EQ(ZX_JNI_UsbUnLock(kEchoDevice, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":-1,\"FailReason\":\"device 1 is locked by plugA\"}");
    ASSERT_EQ(ZX_JNI_UsbOpen(kEchoDevice, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":-1,\"FailReason\":\"device 1 is locked by plugA\"}");
    EXPECT_EQ(locked_by(kEchoDevice), "plugA");

    // plugB gone: plugA acts again and gives the device up; then plugB's turn.
    ASSERT_EQ(ZX_JNI_UsbUnregister("plugB", buf, sizeof buf), 0u);
    ASSERT_EQ(ZX_JNI_UsbUnLock(kEchoDevice, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kOk);
    EXPECT_EQ(locked_by(kEchoDevice), "");
    ASSERT_EQ(ZX_JNI_UsbUnLock(kEchoDevice, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":-1,\"FailReason\":\"device 1 is not locked\"}");
    expect_no_failure_records();
}

// The ownership request: the device type and the plug-in id in a 128-byte field.
std::vector<uint8_t> plugin_request(uint32_t type, const std::string& plugId) {
    std::vector<uint8_t> req(132, 0);
    std::memcpy(req.data(), &type, 4);
    std::memcpy(req.data() + 4, plugId.data(), plugId.size());
    return req;
}

std::vector<uint8_t> word(uint32_t v) {
    std::vector<uint8_t> w(4);
    std::memcpy(w.data(), &v, 4);
    return w;
}

TEST_F(UsbOwnership, UnregisteringReleasesLocksAndUnregisterAllReleasesEverything) {
    char buf[128] = {};
    ASSERT_EQ(ZX_JNI_UsbRegister("plugA", 1, buf, sizeof buf), 0u);
    ASSERT_EQ(ZX_JNI_UsbRegister("plugH", 2, buf, sizeof buf), 0u);
    ASSERT_EQ(ZX_JNI_UsbLock(kEchoDevice, buf, sizeof buf), 0u);
    ASSERT_EQ(ZX_JNI_UsbLock(kHostDevice, buf, sizeof buf), 0u);
    EXPECT_EQ(locked_by(kEchoDevice), "plugA");
    EXPECT_EQ(locked_by(kHostDevice), "plugH");

    ASSERT_EQ(ZX_JNI_UsbUnregister("plugA", buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kOk);
    EXPECT_EQ(locked_by(kEchoDevice), "");
    EXPECT_EQ(locked_by(kHostDevice), "plugH");
    ASSERT_EQ(ZX_JNI_UsbUnregister("plugA", buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":-1,\"FailReason\":\"plug-in plugA is not registered\"}");

    EXPECT_EQ(ZX_JNI_UsbUnregisterAll(), 0u);
    EXPECT_EQ(locked_by(kHostDevice), "");
    ASSERT_EQ(ZX_JNI_UsbLock(kHostDevice, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":-1,\"FailReason\":\"no plug-in registered for type 2\"}");
    // Every request in order; a 4-byte zero word stands in for unregister-all's missing request.
    expect_received("usb_mngt", {
                                    {0x47103041u, plugin_request(1, "plugA")},
                                    {0x47103041u, plugin_request(2, "plugH")},
                                    {0x47103043u, word(kEchoDevice)},
                                    {0x47103043u, word(kHostDevice)},
                                    {0x47103042u, plugin_request(0, "plugA")},
                                    {0x47103042u, plugin_request(0, "plugA")},
                                    {0x47103076u, word(0)},
                                    {0x47103043u, word(kHostDevice)},
                                });
}

TEST_F(UsbOpenClose, OpenAnswersTheHandleOfTheDeviceTerminal) {
    int handle = open_device("plugA", 1, kEchoDevice);
    ASSERT_GE(handle, 0);
    char link[64] = {};
    ASSERT_GT(readlink(("/proc/self/fd/" + std::to_string(handle)).c_str(), link, sizeof link - 1), 0);
    EXPECT_EQ(std::string(link), device_path(kEchoDevice));
    EXPECT_EQ(fcntl(handle, F_GETFL) & O_ACCMODE, O_RDWR);

    char buf[128] = {};
    ASSERT_EQ(ZX_JNI_UsbClose(handle, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kOk);
    handles_.clear();
    EXPECT_EQ(fcntl(handle, F_GETFD), -1) << "the handle is closed";
    // Closing it again fails inside the text.
    ASSERT_EQ(ZX_JNI_UsbClose(handle, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kLocalFailure);
    expect_last_word(traces(), 1300, 0xFFFFFFFF, {EBADF, 0, 0, 0});
}

TEST_F(UsbOpenClose, CloseTakesBackOnlyTheHandlesOpenGave) {
    // A descriptor of the process itself (standard output, a pipe) is no handle: close refuses it
    // like a closed one and it stays open for its owner.
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    handles_.push_back(fds[0]);
    handles_.push_back(fds[1]);
    char buf[128] = {};
    for (int fd : {1, fds[0], fds[1]}) {
        ASSERT_EQ(ZX_JNI_UsbClose(static_cast<uint32_t>(fd), buf, sizeof buf), 0u);
        EXPECT_STREQ(buf, kLocalFailure);
        expect_last_word(traces(), 1300, 0xFFFFFFFF, {EBADF, 0, 0, 0});
        EXPECT_NE(fcntl(fd, F_GETFD), -1) << "descriptor " << fd << " is still open";
    }
    ASSERT_EQ(write(fds[1], "x", 1), 1) << "the pipe still works";

    // A handle that open gave is closed once; its number is refused from then on, even when the
    // process reuses it for something else.
    int handle = open_device("plugA", 1, kEchoDevice);
    ASSERT_GE(handle, 0);
    ASSERT_EQ(ZX_JNI_UsbClose(handle, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kOk);
    handles_.clear();
    handles_.push_back(fds[0]);
    handles_.push_back(fds[1]);
    int reused = dup2(fds[0], handle);
    ASSERT_EQ(reused, handle);
    handles_.push_back(reused);
    ASSERT_EQ(ZX_JNI_UsbClose(handle, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kLocalFailure);
    EXPECT_NE(fcntl(reused, F_GETFD), -1) << "the reused number is left to its new owner";
}

TEST_F(UsbOpenClose, RefusedOpenCarriesTheServiceReason) {
    char buf[128] = {};
    ASSERT_EQ(ZX_JNI_UsbRegister("plugA", 1, buf, sizeof buf), 0u);
    ASSERT_EQ(ZX_JNI_UsbOpen(kEchoDevice, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":-1,\"FailReason\":\"device 1 is not locked\"}");
    ASSERT_EQ(ZX_JNI_UsbOpen(77, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":-1,\"FailReason\":\"no such device 77\"}");
    expect_no_failure_records();
}

TEST_F(UsbOpenClose, FailedOpenAfterAGoodAnswerIsToldOnlyInTheText) {
    char buf[128] = {};
    ASSERT_EQ(ZX_JNI_UsbRegister("plugH", 2, buf, sizeof buf), 0u);
    ASSERT_EQ(ZX_JNI_UsbLock(kAbsentDevice, buf, sizeof buf), 0u);
    EXPECT_EQ(ZX_JNI_UsbOpen(kAbsentDevice, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kLocalFailure);
    expect_last_word(traces(), 1250, 0xFFFFFFFF, {ENOENT, 0, 0, 0});
}

TEST_F(UsbData, WrittenBytesArriveAtTheDeviceByteForByte) {
    int handle = open_device("plugH", 2, kHostDevice);
    ASSERT_GE(handle, 0);
    make_raw(handle);
    std::vector<uint8_t> data(4096 + 10);
    for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>(i * 7 + 3);
    data[10] = 'A';
    data[11] = 'T';
    data[12] = 0;  // the traced text stops here
    traces();
    char buf[128] = {};
    ASSERT_EQ(ZX_JNI_UsbWrite(handle, data.data(), 10, 4096, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0,\"Len\":4096}");
    EXPECT_EQ(device_receive(kHostDevice, 4096), std::vector<uint8_t>(data.begin() + 10, data.end()));
    expect_trace(traces(), 1686, "ZX_JNI_UsbWrite: Len:4096 Data:AT");
}

TEST_F(UsbData, DeviceBytesArriveAtTheOffsetOfTheBuffer) {
    int handle = open_device("plugH", 2, kHostDevice);
    ASSERT_GE(handle, 0);
    make_raw(handle);
    std::vector<uint8_t> sent(256);
    std::iota(sent.begin(), sent.end(), 0);
    std::rotate(sent.begin(), sent.begin() + 'O', sent.end());  // starts "OP", then binary
    device_send(kHostDevice, sent);
    uint32_t flag = 7;
    EXPECT_EQ(ZX_JNI_UsbDataAvailable(handle, &flag), 0u);
    EXPECT_EQ(flag, 1u);

    std::vector<uint8_t> block(10 + 256, 0xEE);
    traces();
    char buf[128] = {};
    ASSERT_EQ(ZX_JNI_UsbRead(handle, block.data(), 10, 256, 5, buf, sizeof buf), 0u);
    int len = 0;
    ASSERT_EQ(std::sscanf(buf, "{\"Result\":0,\"Len\":%d}", &len), 1) << buf;
    ASSERT_GT(len, 0);
    EXPECT_EQ(std::vector<uint8_t>(block.begin(), block.begin() + 10), std::vector<uint8_t>(10, 0xEE));
    EXPECT_EQ(std::vector<uint8_t>(block.begin() + 10, block.begin() + 10 + len),
              std::vector<uint8_t>(sent.begin(), sent.begin() + len));
    auto records = traces();
    std::string text;
    for (int i = 0; i < len && sent[i] != 0; ++i) text.push_back(static_cast<char>(sent[i]));
    expect_trace(records, 1635, "ZX_JNI_UsbRead: Len:" + std::to_string(len) + " Data:" + text);
    EXPECT_EQ(count_at(records, 1638), static_cast<size_t>(len)) << "one trace per byte";
    char first[8];
    std::snprintf(first, sizeof first, "%02x ", sent[0]);
    for (const auto& r : records)
        if (r.line == 1638) {
            EXPECT_EQ(r.text, first);
            break;
        }
}

TEST_F(UsbData, EchoAndScriptedDevicesAnswer) {
    int echo = open_device("plugA", 1, kEchoDevice);
    int lines = open_device("plugA", 1, kLinesDevice);
    ASSERT_GE(echo, 0);
    ASSERT_GE(lines, 0);
    make_raw(echo);
    make_raw(lines);
    char buf[128] = {};
    const uint8_t ping[] = {0x00, 0xFF, 0x0D, 0x0A, 0x7F};
    ASSERT_EQ(ZX_JNI_UsbWrite(echo, ping, 0, sizeof ping, buf, sizeof buf), 0u);
    std::vector<uint8_t> back(sizeof ping, 0);
    size_t got = 0;
    while (got < sizeof ping) {
        uint8_t chunk[8] = {};
        ASSERT_EQ(ZX_JNI_UsbRead(echo, chunk, 0, sizeof chunk, 10, buf, sizeof buf), 0u);
        int len = 0;
        ASSERT_EQ(std::sscanf(buf, "{\"Result\":0,\"Len\":%d}", &len), 1) << buf;
        std::copy(chunk, chunk + len, back.begin() + got);
        got += len;
    }
    EXPECT_EQ(back, std::vector<uint8_t>(ping, ping + sizeof ping));

    const uint8_t ati[] = {'A', 'T', 'I', '\r'};
    ASSERT_EQ(ZX_JNI_UsbWrite(lines, ati, 0, sizeof ati, buf, sizeof buf), 0u);
    std::string answer;
    while (answer.size() < 24) {
        uint8_t chunk[64] = {};
        ASSERT_EQ(ZX_JNI_UsbRead(lines, chunk, 0, sizeof chunk, 10, buf, sizeof buf), 0u);
        int len = 0;
        ASSERT_EQ(std::sscanf(buf, "{\"Result\":0,\"Len\":%d}", &len), 1) << buf;
        answer.append(reinterpret_cast<char*>(chunk), len);
    }
    EXPECT_EQ(answer, "HG-1000 serial adapter\r\n");
}

TEST_F(UsbData, PollWithoutDataIsSuccessAndTimeOutIsMinusTwo) {
    int handle = open_device("plugH", 2, kHostDevice);
    ASSERT_GE(handle, 0);
    make_raw(handle);
    traces();
    uint8_t block[16] = {};
    char buf[128] = {};
    ASSERT_EQ(ZX_JNI_UsbRead(handle, block, 0, sizeof block, 0, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":0,\"Len\":0}");
    expect_no_failure_records();

    ASSERT_EQ(ZX_JNI_UsbRead(handle, block, 0, sizeof block, 5, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, "{\"Result\":-2,\"FailReason\":\"\"}");
    auto records = traces();
    auto timeout = std::find_if(records.begin(), records.end(), [](const auto& r) { return r.line == 1612; });
    ASSERT_NE(timeout, records.end());
    EXPECT_EQ(timeout->text.rfind("ZX_JNI_UsbRead timeout:5 errno:", 0), 0u) << timeout->text;
    EXPECT_NE(timeout->text.find(" iHandle:" + std::to_string(handle)), std::string::npos);
    expect_last_word_1(records, 1613, 1);
}

TEST_F(UsbData, ReadAndWriteArgumentChecks) {
    uint8_t block[8] = {};
    char buf[128] = "untouched";
    EXPECT_EQ(ZX_JNI_UsbRead(3, nullptr, 0, 8, 0, buf, sizeof buf), 1u);
    EXPECT_EQ(ZX_JNI_UsbRead(static_cast<uint32_t>(-1), block, 0, 8, 0, buf, sizeof buf), 1u);
    EXPECT_EQ(ZX_JNI_UsbRead(3, block, static_cast<uint32_t>(-2), 8, 0, buf, sizeof buf), 1u);
    EXPECT_EQ(ZX_JNI_UsbRead(3, block, 0, static_cast<uint32_t>(-3), 0, buf, sizeof buf), 1u);
    EXPECT_STREQ(buf, "untouched");
    auto records = traces();
    EXPECT_EQ(count_at(records, 1584), 4u);
    for (const auto& r : records) {
        if (r.line != 1584) continue;
        EXPECT_EQ(r.code, 1u);
        if (r.data[0] == 0xFFFFFFFF) {
            EXPECT_EQ(r.data[3], 8u) << "handle, buffer, offset, length";
        }
    }

    EXPECT_EQ(ZX_JNI_UsbWrite(3, block, 0, static_cast<uint32_t>(-1), buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kLocalFailure);
    auto checked = traces();
    ASSERT_EQ(count_at(checked, 1681), 1u);
    for (const auto& r : checked)
        if (r.line == 1681) {
            EXPECT_EQ(r.code, 1u);
            EXPECT_EQ(r.data[0], 3u);
            EXPECT_EQ(r.data[2], 0u);
            EXPECT_EQ(r.data[3], 0xFFFFFFFFu);
        }
}

TEST_F(UsbData, FailingDescriptorsAreToldInTheText) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    handles_.push_back(fds[0]);
    handles_.push_back(fds[1]);
    uint8_t block[8] = {1, 2, 3};
    char buf[128] = {};
    // Writing to the read end of a pipe fails.
    ASSERT_EQ(ZX_JNI_UsbWrite(fds[0], block, 0, 3, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kLocalFailure);
    expect_last_word(traces(), 1692, 1, {0xFFFFFFFF, static_cast<uint32_t>(fds[0]), 0, 3});

    // A descriptor that is not open: select fails.
    int closed = fds[1] + 100;
    ASSERT_EQ(ZX_JNI_UsbRead(closed, block, 0, 8, 1, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kLocalFailure);
    auto records = traces();
    expect_trace(records, 1620, "ZX_JNI_UsbRead errno:9 iHandle:" + std::to_string(closed));
    expect_last_word_1(records, 1621, 1);
}

TEST_F(UsbData, DataAvailableBoundsAndErrors) {
    uint32_t flag = 7;
    EXPECT_EQ(ZX_JNI_UsbDataAvailable(51580, &flag), 0u);
    EXPECT_EQ(flag, 0u);
    auto records = traces();
    expect_last_word_1(records, 1519, 1);
    EXPECT_EQ(count_at(records, 1532), 0u) << "51580 is refused before any wait";

    // 51579 passes the bound; not being open, the wait fails at once.
    flag = 7;
    EXPECT_EQ(ZX_JNI_UsbDataAvailable(51579, &flag), 0u);
    EXPECT_EQ(flag, 0u);
    records = traces();
    expect_last_word_1(records, 1532, 1);
    EXPECT_EQ(count_at(records, 1519), 0u);
}

TEST_F(UsbData, DeviceControlOperationsRefuseBadRequests) {
    const char* requests[] = {
        R"({"op":"usb_write","device":3,"data":"0g"})",   // not hex
        R"({"op":"usb_write","device":3,"data":"abc"})",  // half a byte
        R"({"op":"usb_write","device":77,"data":"00"})",  // no such device
        R"({"op":"usb_read","device":9})",                // no terminal
        R"({"op":"usb_device"})",                         // no device named
    };
    for (const char* request : requests) {
        JsonPtr answer = sim_.ctl(request);
        ASSERT_NE(answer, nullptr) << request;
        json_object* ok = nullptr;
        ASSERT_TRUE(json_object_object_get_ex(answer.get(), "ok", &ok)) << request;
        EXPECT_FALSE(json_object_get_boolean(ok)) << request;
        EXPECT_NE(zxtest::json_text(answer.get(), "error"), "") << request;
    }
    EXPECT_EQ(device_path(kAbsentDevice), "/dev/zx-absent-usb");
}

}  // namespace
}  // namespace usbtest
