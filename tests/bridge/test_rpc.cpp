// The ten remote-call wrappers, seen from the service they call: the routing header byte for byte,
// the request, the reply room and the time-out the service was given, and the wrapper's status
// and failure record for every kind of answer.
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "sim_process.h"
#include "test_env.h"
#include "trace_lines.h"
#include "zx_bridge.h"
#include "zx_host.h"

namespace {

using zxtest::L;
using zxtest::L1;
using zxtest::SimProcess;
using zxtest::take_records;

using RpcFn = uint32_t (*)(uint32_t, const void*, uint32_t, void*, uint32_t);

enum class Record { Short, Long, None };

struct Wrapper {
    const char* name;
    RpcFn fn;
    const char* destination;
    uint32_t tag;
    uint32_t timeoutMs;
    bool nullRequestScratch;  // a NULL request goes out as a 4-byte zero word
    Record record;
    const char* file;
    uint32_t line;
};

// Test names and messages show the wrapper's name.
void PrintTo(const Wrapper& w, std::ostream* os) { *os << w.name; }

constexpr const char* kL2tpApi = "l2tp_api";
constexpr const char* kVelmApi = "../velm/zx_velm_jni_api";
constexpr const char* kZelApi = "../zel/zx_zel_jni_api";

const Wrapper kWrappers[] = {
    {"L2TP_MSG_RpcCall_JNI", L2TP_MSG_RpcCall_JNI, "tarn", 216, 5000, false, Record::Short, kL2tpApi, 127},
    {"L2TP_APPM_MSG_RpcCall", L2TP_APPM_MSG_RpcCall, "app_m", 222, 5000, false, Record::Short, kL2tpApi, 201},
    {"L2TP_CWMP_MSG_RpcCall", L2TP_CWMP_MSG_RpcCall, "cwmp", 15, 5000, false, Record::Short, kL2tpApi, 223},
    {"ZEL_JNI_MSG_RpcCall", ZEL_JNI_MSG_RpcCall, "zel", 138, 5000, false, Record::Long, kVelmApi, 121},
    {"TERN_JNI_MSG_RpcCall", TERN_JNI_MSG_RpcCall, "tarn", 48, 5000, false, Record::Long, kVelmApi, 159},
    {"VOICE_JNI_MSG_RpcCall", VOICE_JNI_MSG_RpcCall, "voice", 0, 30000, false, Record::Long, kVelmApi, 195},
    {"APPM_JNI_MSG_RpcCall", APPM_JNI_MSG_RpcCall, "app_m", 249, 30000, false, Record::Short, kVelmApi, 232},
    {"USB_JNI_MSG_RpcCall", USB_JNI_MSG_RpcCall, "usb_mngt", 0, 30000, false, Record::Short, kVelmApi, 254},
    {"OSGi_JNI_MSG_RpcCall", OSGi_JNI_MSG_RpcCall, "usb_mngt", 0, 30000, true, Record::None, nullptr, 0},
    {"ZEL_WIFI_JNI_MSG_RpcCall", ZEL_WIFI_JNI_MSG_RpcCall, "wifi", 141, 5000, false, Record::Short, kZelApi, 95},
};

constexpr uint32_t kMsgId = 0x4730FFF1;  // no simulated service has this command

// What the wrapper records when its call ends with `status` (reqLen and replyLen as it sent them).
std::vector<std::string> failure_records(const Wrapper& w, uint32_t status, uint32_t reqLen, uint32_t replyLen) {
    switch (w.record) {
        case Record::Short: return {L1(w.file, w.line, status)};
        case Record::Long: return {L(w.file, w.line, status, reqLen, replyLen, w.timeoutMs, kMsgId)};
        case Record::None: break;
    }
    return {};
}

testing::AssertionResult inject(const SimProcess& sim, const char* service, const zxtest::Fault& fault) {
    return sim.inject(service, kMsgId, fault);
}

// The requests `service` received, in order (a test failure when the simulator does not list them).
std::vector<zxtest::Received> received(const SimProcess& sim, const char* service) {
    std::optional<std::vector<zxtest::Received>> got = sim.received(service);
    EXPECT_TRUE(got) << "the simulator did not list what " << service << " received";
    return got.value_or(std::vector<zxtest::Received>{});
}

// The one call `service` received, checked field by field against what the wrapper must send.
void expect_one_call(const SimProcess& sim, const Wrapper& w, uint32_t replyCap, const std::string& dataHex) {
    std::vector<zxtest::Received> got = received(sim, w.destination);
    ASSERT_EQ(got.size(), 1u);
    const zxtest::Received& r = got[0];
    EXPECT_EQ(r.head.srcWord, 0u);
    EXPECT_EQ(r.head.srcName, ZX_MSG_GetCurProcName());
    EXPECT_EQ(r.head.midWord, 0u);
    EXPECT_EQ(r.head.dstName, w.destination);
    EXPECT_EQ(r.head.tag, w.tag);
    EXPECT_EQ(zxtest::to_hex(r.head.resv), "0000000000000000");
    EXPECT_EQ(r.msgId, kMsgId);
    EXPECT_EQ(r.mid, 0u);
    EXPECT_FALSE(r.oneWay);
    EXPECT_EQ(r.timeoutMs, w.timeoutMs);  // the unscaled value
    EXPECT_EQ(r.replyCap, replyCap);
    EXPECT_EQ(zxtest::to_hex(r.data), dataHex);
}

class RpcWrapper : public testing::TestWithParam<Wrapper> {
protected:
    void SetUp() override { zxhost::trace_capture_start(); }
    void TearDown() override {
        zxhost::trace_capture_stop();
        EXPECT_EQ(zxhost::alloc_outstanding(), 0u);
    }

    // The destination service alone, in a child process.
    static SimProcess::Options destination_only(const Wrapper& w) { return {.services = {w.destination}}; }
};

TEST_P(RpcWrapper, SendsTheRequestWithItsHeaderTagAndTimeOut) {
    const Wrapper& w = GetParam();
    zxtest::ScopedBusDir bus;
    SimProcess sim(destination_only(w));
    ASSERT_TRUE(sim.start());
    ASSERT_TRUE(inject(sim, w.destination, zxtest::Fault::status(0)));

    const uint8_t request[5] = {0x11, 0x22, 0x33, 0x44, 0x55};
    uint8_t reply[16] = {};
    EXPECT_EQ(w.fn(kMsgId, request, sizeof request, reply, sizeof reply), 0u);
    expect_one_call(sim, w, sizeof reply, "1122334455");
    EXPECT_TRUE(take_records().empty()) << "a successful call records nothing";
}

TEST_P(RpcWrapper, ReturnsAServiceStatusWithTheHighBitUnchangedAndRecordsIt) {
    const Wrapper& w = GetParam();
    zxtest::ScopedBusDir bus;
    SimProcess sim(destination_only(w));
    ASSERT_TRUE(sim.start());
    const uint32_t status = 0xF7213003;  // a bundle manager's code: far above INT32_MAX
    ASSERT_TRUE(inject(sim, w.destination, zxtest::Fault::status(status)));

    const uint8_t request[3] = {0xAB, 0xCD, 0xEF};
    uint8_t reply[8] = {};
    EXPECT_EQ(w.fn(kMsgId, request, sizeof request, reply, sizeof reply), status);
    expect_one_call(sim, w, sizeof reply, "abcdef");
    EXPECT_EQ(take_records(), failure_records(w, status, sizeof request, sizeof reply));
}

TEST_P(RpcWrapper, NullReplyGetsAFourByteRoomWhateverTheLengthSays) {
    const Wrapper& w = GetParam();
    zxtest::ScopedBusDir bus;
    SimProcess sim(destination_only(w));
    ASSERT_TRUE(sim.start());
    const uint32_t status = 0x80000001;
    ASSERT_TRUE(inject(sim, w.destination, zxtest::Fault::status(status)));

    const uint8_t request[4] = {1, 2, 3, 4};
    EXPECT_EQ(w.fn(kMsgId, request, sizeof request, nullptr, 1000), status);
    expect_one_call(sim, w, 4, "01020304");
    // The record shows the room that was really given.
    EXPECT_EQ(take_records(), failure_records(w, status, sizeof request, 4));
}

TEST_P(RpcWrapper, NullRequestOfLengthZero) {
    const Wrapper& w = GetParam();
    zxtest::ScopedBusDir bus;
    SimProcess sim(destination_only(w));
    ASSERT_TRUE(sim.start());
    ASSERT_TRUE(inject(sim, w.destination, zxtest::Fault::status(0)));

    EXPECT_EQ(w.fn(kMsgId, nullptr, 0, nullptr, 0), 0u);
    // Only the USB device wrapper puts a zero word in place of a missing request.
    expect_one_call(sim, w, 4, w.nullRequestScratch ? "00000000" : "");
    EXPECT_TRUE(take_records().empty());
}

TEST_P(RpcWrapper, NullRequestWithALengthIsPassedToThePlatformAsItIs) {
    const Wrapper& w = GetParam();
    zxtest::ScopedBusDir bus;
    SimProcess sim(destination_only(w));
    ASSERT_TRUE(sim.start());
    ASSERT_TRUE(inject(sim, w.destination, zxtest::Fault::status(0)));

    uint8_t reply[4] = {};
    uint32_t status = w.fn(kMsgId, nullptr, 8, reply, sizeof reply);
    if (w.nullRequestScratch) {
        EXPECT_EQ(status, 0u);
        expect_one_call(sim, w, sizeof reply, "00000000");
        EXPECT_TRUE(take_records().empty());
    } else {
        // The platform refuses the call before anything is sent.
        EXPECT_EQ(status, ZX_ERR_PARAM);
        EXPECT_TRUE(received(sim, w.destination).empty());
        EXPECT_EQ(take_records(), failure_records(w, ZX_ERR_PARAM, 8, sizeof reply));
    }
}

TEST_P(RpcWrapper, ServiceThatDoesNotAnswerGivesThePlatformTimeOutStatus) {
    const Wrapper& w = GetParam();
    // 5000 ms become 500 ms on this host and 30000 ms become 3000 ms; the service still sees the
    // wrapper's own value.
    setenv("ZX_TIMEOUT_SCALE", "0.1", 1);
    zxtest::ScopedBusDir bus;
    SimProcess sim(destination_only(w));
    ASSERT_TRUE(sim.start());
    ASSERT_TRUE(inject(sim, w.destination, zxtest::Fault::noreply()));

    const uint8_t request[2] = {0x5A, 0xA5};
    uint8_t reply[32] = {};
    EXPECT_EQ(w.fn(kMsgId, request, sizeof request, reply, sizeof reply), ZX_MSG_ERR_TIMEOUT);
    expect_one_call(sim, w, sizeof reply, "5aa5");
    EXPECT_EQ(take_records(), failure_records(w, ZX_MSG_ERR_TIMEOUT, sizeof request, sizeof reply));
}

TEST_P(RpcWrapper, DestinationThatIsNotRunningGivesThePlatformStatus) {
    const Wrapper& w = GetParam();
    zxtest::ScopedBusDir bus;  // no service at all

    const uint8_t request[1] = {7};
    uint8_t reply[4] = {};
    EXPECT_EQ(w.fn(kMsgId, request, sizeof request, reply, sizeof reply), ZX_MSG_ERR_NO_DEST);
    EXPECT_EQ(take_records(), failure_records(w, ZX_MSG_ERR_NO_DEST, sizeof request, sizeof reply));
}

// What an in-process service saw of one call.
struct Seen {
    std::mutex mutex;
    std::vector<zxhost::BusRequest> requests;
    std::vector<std::vector<uint8_t>> data;
};

TEST_P(RpcWrapper, HeaderBytesAreExactAndALongProcessNameIsCutTo31Characters) {
    const Wrapper& w = GetParam();
    const std::string longName = "jamvm-with-a-name-of-32-chars-xy";
    ASSERT_EQ(longName.size(), 32u);
    setenv("ZX_PROC_NAME", longName.c_str(), 1);
    zxtest::ScopedBusDir bus;
    ASSERT_EQ(std::string(ZX_MSG_GetCurProcName()), longName);

    Seen seen;
    std::unique_ptr<zxhost::BusService> service;
    ASSERT_EQ(zxhost::BusService::start(
                  w.destination,
                  [&seen](const zxhost::BusRequest& req, zxhost::BusAnswer& answer) {
                      std::lock_guard lock(seen.mutex);
                      seen.requests.push_back(req);
                      seen.data.emplace_back(req.data.begin(), req.data.end());
                      answer.data = {0xC3, 0x3C};
                  },
                  service),
              ZX_OK);

    const uint8_t request[4] = {0xDE, 0xAD, 0xBE, 0xEF};
    uint8_t reply[6];
    std::memset(reply, 0xEE, sizeof reply);
    ASSERT_EQ(w.fn(kMsgId, request, sizeof request, reply, sizeof reply), 0u);
    const uint8_t expectedReply[6] = {0xC3, 0x3C, 0xEE, 0xEE, 0xEE, 0xEE};
    EXPECT_EQ(0, std::memcmp(reply, expectedReply, sizeof reply)) << "the service's answer reaches the caller";
    service->stop();

    std::array<uint8_t, 84> expected{};
    std::memcpy(expected.data() + 4, longName.data(), 31);  // byte 35 stays 0: the name is terminated
    std::memcpy(expected.data() + 40, w.destination, std::strlen(w.destination));
    expected[72] = static_cast<uint8_t>(w.tag);
    expected[73] = static_cast<uint8_t>(w.tag >> 8);
    ASSERT_EQ(seen.requests.size(), 1u);
    std::array<uint8_t, 84> head{};
    std::memcpy(head.data(), &seen.requests[0].head, head.size());
    EXPECT_EQ(head, expected);
    EXPECT_EQ(seen.requests[0].msgId, kMsgId);
    EXPECT_EQ(seen.requests[0].mid, 0u);
    EXPECT_EQ(seen.requests[0].timeoutMs, w.timeoutMs);
    EXPECT_EQ(seen.requests[0].replyCap, sizeof reply);
    EXPECT_EQ(seen.data[0], std::vector<uint8_t>(request, request + sizeof request));
}

INSTANTIATE_TEST_SUITE_P(EveryWrapper, RpcWrapper, testing::ValuesIn(kWrappers),
                         [](const testing::TestParamInfo<Wrapper>& info) { return std::string(info.param.name); });

// Four calls are inside the service at the same time: the wrappers keep no state that would make
// one caller wait for another. The service answers only once all four have arrived.
TEST(RpcWrapperConcurrency, CallsFromSeveralThreadsRunAtOnce) {
    zxtest::ScopedBusDir bus;
    constexpr int kCallers = 4;
    std::mutex mutex;
    std::condition_variable cv;
    int inside = 0;
    std::unique_ptr<zxhost::BusService> service;
    ASSERT_EQ(zxhost::BusService::start(
                  "app_m",
                  [&](const zxhost::BusRequest&, zxhost::BusAnswer& answer) {
                      std::unique_lock lock(mutex);
                      ++inside;
                      cv.notify_all();
                      // Bounded so that a broken wrapper fails the test instead of hanging it.
                      bool all = cv.wait_for(lock, std::chrono::seconds(20), [&] { return inside >= kCallers; });
                      answer.status = all ? 0 : 0x0BAD;
                  },
                  service),
              ZX_OK);

    uint32_t results[kCallers];
    std::vector<std::thread> threads;
    for (int i = 0; i < kCallers; ++i)
        threads.emplace_back([&results, i] {
            uint32_t word = static_cast<uint32_t>(i);
            results[i] = APPM_JNI_MSG_RpcCall(kMsgId, &word, sizeof word, nullptr, 0);
        });
    for (std::thread& t : threads) t.join();
    service->stop();
    for (int i = 0; i < kCallers; ++i) EXPECT_EQ(results[i], 0u) << "caller " << i;
}

}  // namespace
