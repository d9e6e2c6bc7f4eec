// The gateway simulator seen from a caller on the bus and from its control socket.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "sim_process.h"
#include "test_env.h"
#include "tool_process.h"
#include "zx_host.h"
#include "zx_platform.h"
#include "zx_vdata.h"
#include "zx_wire_app_m.h"
#include "zx_wire_tarn.h"
#include "zx_wire_vdata.h"

namespace {

using zxtest::json_int;
using zxtest::json_text;
using zxtest::JsonPtr;
using zxtest::SimProcess;

constexpr uint32_t kGetLoid = 0x4710304B;
constexpr uint32_t kNoSuchCommand = 0x4710FFF0;  // no service has a command with this id
constexpr char kProfileLoid[] = "ZXLOID0001";    // app_m's LOID in the default profile

// A routing header written by hand, every field distinct, so the record can be checked field by
// field.
ZX_MSG_HEAD_S make_head(const char* dst) {
    ZX_MSG_HEAD_S head{};
    head.uiSrcWord = 0x01020304;
    std::strcpy(head.acSrcProcName, "jamvm");
    head.uiMid = 0x0A0B0C0D;
    std::strcpy(head.acDstProcName, dst);
    head.uiTag = 249;
    const uint8_t resv[8] = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88};
    std::memcpy(head.aucResv, resv, sizeof resv);
    return head;
}

struct LoidAnswer {
    uint32_t status;
    std::string text;
};

// Asks app_m for the LOID the way the platform API does: a 4-byte zero word, 64 bytes of room.
LoidAnswer call_loid(uint32_t timeoutMs = 30000) {
    ZX_MSG_HEAD_S head = make_head("app_m");
    uint32_t word = 0;
    char reply[64] = {};
    uint32_t status = ZX_MSG_RpcCall(&head, kGetLoid, 0, &word, sizeof word, reply, sizeof reply, timeoutMs);
    return {status, std::string(reply, strnlen(reply, sizeof reply))};
}

// A call whose answer is only a status (unknown ids, injected statuses).
uint32_t call_status(const char* dst, uint32_t msgId, uint32_t timeoutMs = 30000) {
    ZX_MSG_HEAD_S head = make_head(dst);
    uint32_t word = 0;
    uint8_t reply[4] = {};
    return ZX_MSG_RpcCall(&head, msgId, 0, &word, sizeof word, reply, sizeof reply, timeoutMs);
}

json_object* member(json_object* obj, const char* key) {
    json_object* v = nullptr;
    return json_object_object_get_ex(obj, key, &v) ? v : nullptr;
}

size_t count(const JsonPtr& array) { return array ? json_object_array_length(array.get()) : 0; }

json_object* at(const JsonPtr& array, size_t i) { return json_object_array_get_idx(array.get(), i); }

testing::AssertionResult set_loid(const SimProcess& sim, const std::string& loid) {
    return sim.set_state("app_m", "loid", loid);
}

bool is_socket(const std::string& path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0 && S_ISSOCK(st.st_mode);
}

// Waits (bounded) until `service` has recorded n requests: one-way messages arrive after the send
// returns.
JsonPtr wait_for_records(const SimProcess& sim, const std::string& service, size_t n) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    for (;;) {
        JsonPtr records = sim.records(service);
        if (count(records) >= n || std::chrono::steady_clock::now() > deadline) return records;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

// Sets ZX_TIMEOUT_SCALE for the ScopedBusDir made next, whose reload of the environment reads
// it: one reload per test, since the platform keeps every replaced environment alive.
void scale_timeouts(const char* factor) { setenv("ZX_TIMEOUT_SCALE", factor, 1); }

const char* const kAllServices[] = {"tarn",  "app_m",    "cwmp",       "wifi",       "zel",
                                    "voice", "usb_mngt", "osgi_proxy", "eventcenter"};

// ---------------------------------------------------------------------------------------------
// The LOID command
// ---------------------------------------------------------------------------------------------

TEST(SimLoid, AnswersTheLoidAndRecordsTheCallAsSent) {
    // The record must show the time-out the caller passed, not the one the bus waited.
    scale_timeouts("0.5");
    zxtest::ScopedBusDir bus;
    SimProcess sim;
    ASSERT_TRUE(sim.start());

    ZX_MSG_HEAD_S head = make_head("app_m");
    uint32_t word = 0;
    uint8_t reply[64];
    std::memset(reply, 0xAA, sizeof reply);
    ASSERT_EQ(ZX_MSG_RpcCall(&head, kGetLoid, 0, &word, sizeof word, reply, sizeof reply, 30000), ZX_OK);
    // The text and its NUL, nothing more: the rest of the caller's buffer is untouched.
    EXPECT_EQ(std::memcmp(reply, "ZXLOID0001", 11), 0);
    for (size_t i = 11; i < sizeof reply; ++i) ASSERT_EQ(reply[i], 0xAA) << "byte " << i;

    JsonPtr records = sim.records("app_m");
    ASSERT_EQ(count(records), 1u);
    json_object* r = at(records, 0);
    EXPECT_EQ(json_text(r, "service"), "app_m");
    EXPECT_EQ(json_int(r, "seq"), 1);
    json_object* h = member(r, "head");
    EXPECT_EQ(json_int(h, "srcWord"), 0x01020304);
    EXPECT_EQ(json_text(h, "srcName"), "jamvm");
    EXPECT_EQ(json_int(h, "midWord"), 0x0A0B0C0D);
    EXPECT_EQ(json_text(h, "dstName"), "app_m");
    EXPECT_EQ(json_int(h, "tag"), 249);
    EXPECT_EQ(json_text(h, "resv"), "1122334455667788");
    EXPECT_EQ(json_int(r, "msgId"), kGetLoid);
    EXPECT_EQ(json_int(r, "mid"), 0);
    EXPECT_FALSE(json_object_get_boolean(member(r, "oneWay")));
    EXPECT_EQ(json_int(r, "timeoutMs"), 30000);
    EXPECT_EQ(json_int(r, "replyCap"), 64);
    EXPECT_EQ(json_int(r, "callerPid"), getpid());
    EXPECT_EQ(json_text(r, "data"), "00000000");
    EXPECT_EQ(member(r, "decoded"), nullptr);
}

TEST(SimLoid, SetStateChangesTheAnswerAndKeepsOtherMembers) {
    zxtest::ScopedBusDir bus;
    SimProcess sim;
    ASSERT_TRUE(sim.start());
    EXPECT_EQ(call_loid().text, kProfileLoid);

    ASSERT_TRUE(set_loid(sim, "LOID-NEW-42"));
    LoidAnswer a = call_loid();
    EXPECT_EQ(a.status, ZX_OK);
    EXPECT_EQ(a.text, "LOID-NEW-42");

    // set merges top-level members: the LOID stays when another member is set.
    ASSERT_TRUE(sim.set_state("app_m", "region", "eu"));
    JsonPtr state = sim.state("app_m");
    EXPECT_EQ(json_text(state.get(), "loid"), "LOID-NEW-42");
    EXPECT_EQ(json_text(state.get(), "region"), "eu");
    EXPECT_EQ(call_loid().text, "LOID-NEW-42");
}

TEST(SimLoid, TextIsCutToTheCallersReplyRoomAndStaysTerminated) {
    zxtest::ScopedBusDir bus;
    SimProcess sim;
    ASSERT_TRUE(sim.start());

    const std::string loid63(63, 'L');
    ASSERT_TRUE(set_loid(sim, loid63));
    EXPECT_EQ(call_loid().text, loid63);

    ASSERT_TRUE(set_loid(sim, std::string(80, 'M')));
    ZX_MSG_HEAD_S head = make_head("app_m");
    uint32_t word = 0;
    char reply[8];
    std::memset(reply, 'x', sizeof reply);
    ASSERT_EQ(ZX_MSG_RpcCall(&head, kGetLoid, 0, &word, sizeof word, reply, sizeof reply, 30000), ZX_OK);
    EXPECT_EQ(std::memcmp(reply, "MMMMMMM\0", 8), 0);

    ASSERT_TRUE(set_loid(sim, ""));
    LoidAnswer empty = call_loid();
    EXPECT_EQ(empty.status, ZX_OK);
    EXPECT_EQ(empty.text, "");
}

TEST(SimLoid, RequestShorterThanItsWordIsRefused) {
    zxtest::ScopedBusDir bus;
    SimProcess sim;
    ASSERT_TRUE(sim.start());
    ZX_MSG_HEAD_S head = make_head("app_m");
    uint8_t req[2] = {0, 0};
    char reply[64] = {};
    EXPECT_EQ(ZX_MSG_RpcCall(&head, kGetLoid, 0, req, sizeof req, reply, sizeof reply, 30000), ZX_SIM_ERR_BAD_REQUEST);
}

// ---------------------------------------------------------------------------------------------
// Fault injection
// ---------------------------------------------------------------------------------------------

TEST(SimFaults, InjectedStatusPassesThroughUnchanged) {
    zxtest::ScopedBusDir bus;
    SimProcess sim;
    ASSERT_TRUE(sim.start());
    for (uint32_t status : {0x80000001u, 0xF7213003u, 0xFFFFFFFFu, 0x00000001u}) {
        SCOPED_TRACE(status);
        ASSERT_TRUE(sim.inject("app_m", kGetLoid, zxtest::Fault::status(status, 1)));
        EXPECT_EQ(call_loid().status, status);
        LoidAnswer next = call_loid();
        EXPECT_EQ(next.status, ZX_OK);
        EXPECT_EQ(next.text, kProfileLoid);
    }
}

TEST(SimFaults, TimesCountsTheCallsHitAndZeroMeansUntilCleared) {
    zxtest::ScopedBusDir bus;
    SimProcess sim;
    ASSERT_TRUE(sim.start());

    ASSERT_TRUE(sim.inject("app_m", kGetLoid, zxtest::Fault::status(0xF7213003u, 3)));
    for (int i = 0; i < 3; ++i) EXPECT_EQ(call_loid().status, 0xF7213003u) << "call " << i;
    EXPECT_EQ(call_loid().status, ZX_OK);

    ASSERT_TRUE(sim.inject("app_m", kGetLoid, zxtest::Fault::status(0xF7213004u, 0)));
    for (int i = 0; i < 5; ++i) EXPECT_EQ(call_loid().status, 0xF7213004u) << "call " << i;
    JsonPtr answer;
    ASSERT_TRUE(sim.ctl_ok(R"({"op":"inject_clear","service":"app_m","msgId":"0x4710304B"})", &answer));
    EXPECT_EQ(json_int(answer.get(), "cleared"), 1);
    EXPECT_EQ(call_loid().status, ZX_OK);

    // A fault belongs to its (service, message id) only.
    ASSERT_TRUE(sim.inject("tarn", kGetLoid, zxtest::Fault::status(0xF7213005u, 0)));
    EXPECT_EQ(call_loid().status, ZX_OK);
    EXPECT_EQ(call_status("tarn", kGetLoid), 0xF7213005u);
}

TEST(SimFaults, DelayPastTheTimeOutThenTheNextCallGetsItsOwnAnswer) {
    scale_timeouts("0.01");  // 5000 ms waits 50 ms
    zxtest::ScopedBusDir bus;
    SimProcess sim;
    ASSERT_TRUE(sim.start());

    // The delayed LOID answer (status 0) arrives while the next call waits for its own answer,
    // an unknown-message status: taking the late answer for it would show as status 0.
    ASSERT_TRUE(sim.inject("app_m", kGetLoid, zxtest::Fault::delay(400, 1)));
    EXPECT_EQ(call_loid(5000).status, ZX_MSG_ERR_TIMEOUT);
    EXPECT_EQ(call_status("app_m", kNoSuchCommand, 1000000), ZX_SIM_ERR_UNKNOWN_MSG);
    LoidAnswer third = call_loid(1000000);
    EXPECT_EQ(third.status, ZX_OK);
    EXPECT_EQ(third.text, kProfileLoid);

    JsonPtr records = sim.records("app_m");
    ASSERT_EQ(count(records), 3u);
    EXPECT_EQ(json_int(at(records, 0), "timeoutMs"), 5000);
}

TEST(SimFaults, NoReplyMakesTheCallTimeOut) {
    scale_timeouts("0.01");
    zxtest::ScopedBusDir bus;
    SimProcess sim;
    ASSERT_TRUE(sim.start());

    ASSERT_TRUE(sim.inject("app_m", kGetLoid, zxtest::Fault::noreply(2)));
    EXPECT_EQ(call_loid(5000).status, ZX_MSG_ERR_TIMEOUT);
    EXPECT_EQ(call_loid(5000).status, ZX_MSG_ERR_TIMEOUT);
    LoidAnswer third = call_loid(1000000);
    EXPECT_EQ(third.status, ZX_OK);
    EXPECT_EQ(third.text, kProfileLoid);
    EXPECT_EQ(count(sim.records("app_m")), 3u);
}

TEST(SimFaults, DelayHoldsOnlyItsOwnCallerAndEndsWhenTheSimulatorStops) {
    scale_timeouts("0.01");
    zxtest::ScopedBusDir bus;
    SimProcess sim;
    ASSERT_TRUE(sim.start());

    // Ten minutes: far beyond every bound of this test, so only the stop can end it.
    ASSERT_TRUE(sim.inject("app_m", kGetLoid, zxtest::Fault::delay(600000, 0)));
    EXPECT_EQ(call_loid(5000).status, ZX_MSG_ERR_TIMEOUT);
    // Another thread has its own connection: it is answered although the delay goes on.
    uint32_t other = 0;
    std::thread([&] { other = call_status("app_m", kNoSuchCommand, 1000000); }).join();
    EXPECT_EQ(other, ZX_SIM_ERR_UNKNOWN_MSG);
    // SIGTERM with a handler still waiting: the simulator must still end cleanly.
    EXPECT_TRUE(sim.stop());
}

TEST(SimFaults, CrashKillsTheServiceAndTheRestartedOneServesTheSameCaller) {
    zxtest::ScopedBusDir bus;
    SimProcess appm({.services = {"app_m"}, .ctl = "app_m"});
    SimProcess events({.services = {"eventcenter"}, .ctl = "eventcenter"});
    ASSERT_TRUE(appm.start());
    ASSERT_TRUE(events.start());
    ASSERT_EQ(call_loid().status, ZX_OK);  // this thread now holds a connection to app_m

    ASSERT_TRUE(appm.inject("app_m", kGetLoid, zxtest::Fault::crash(0)));
    EXPECT_EQ(call_loid().status, ZX_MSG_ERR_TRANSPORT);
    int status = appm.wait();
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
    EXPECT_EQ(call_loid().status, ZX_MSG_ERR_NO_DEST);
    // The other service process lives on.
    EXPECT_EQ(EventCenter_GlobalInvokeEvent2(1, nullptr, 0), ZX_OK);

    ASSERT_TRUE(appm.restart());
    LoidAnswer again = call_loid();
    EXPECT_EQ(again.status, ZX_OK);
    EXPECT_EQ(again.text, kProfileLoid);
}

// ---------------------------------------------------------------------------------------------
// Services, unknown messages, the event centre
// ---------------------------------------------------------------------------------------------

TEST(SimServices, EveryServiceAnswersOnItsOwnEndpoint) {
    zxtest::ScopedBusDir bus;
    SimProcess sim;
    ASSERT_TRUE(sim.start());

    JsonPtr ping;
    ASSERT_TRUE(sim.ctl_ok(R"({"op":"ping"})", &ping));
    EXPECT_EQ(json_int(ping.get(), "pid"), sim.pid());
    json_object* names = member(ping.get(), "services");
    ASSERT_EQ(json_object_array_length(names), std::size(kAllServices));
    for (size_t i = 0; i < std::size(kAllServices); ++i) {
        const char* name = kAllServices[i];
        EXPECT_STREQ(json_object_get_string(json_object_array_get_idx(names, i)), name);
        uint32_t expected = std::strcmp(name, ZX_EVENTCENTER_ENDPOINT) == 0 ? ZX_OK : ZX_SIM_ERR_UNKNOWN_MSG;
        EXPECT_EQ(call_status(name, kNoSuchCommand), expected) << name;
        JsonPtr records = sim.records(name);
        ASSERT_EQ(count(records), 1u) << name;
        EXPECT_EQ(json_text(member(at(records, 0), "head"), "dstName"), name);
    }
}

TEST(SimServices, UnknownMessageIdIsAnsweredWithItsStatusAndRecorded) {
    zxtest::ScopedBusDir bus;
    SimProcess sim;
    ASSERT_TRUE(sim.start());

    ZX_MSG_HEAD_S head = make_head("tarn");
    std::memset(head.acSrcProcName, 'x', sizeof head.acSrcProcName);  // a full name, no NUL
    const uint8_t req[5] = {0xDE, 0xAD, 0xBE, 0xEF, 0x01};
    uint8_t reply[16] = {};
    EXPECT_EQ(ZX_MSG_RpcCall(&head, 0x47309999, 3, req, sizeof req, reply, sizeof reply, 5000), ZX_SIM_ERR_UNKNOWN_MSG);

    JsonPtr records = sim.records("tarn");
    ASSERT_EQ(count(records), 1u);
    json_object* r = at(records, 0);
    EXPECT_EQ(json_int(r, "msgId"), 0x47309999);
    EXPECT_EQ(json_int(r, "mid"), 3);
    EXPECT_EQ(json_int(r, "replyCap"), 16);
    EXPECT_EQ(json_int(r, "timeoutMs"), 5000);
    EXPECT_EQ(json_text(r, "data"), "deadbeef01");
    EXPECT_EQ(json_text(member(r, "head"), "srcName"), std::string(32, 'x'));
}

// A block record whose lengths do not fit its unit: the service reads no further than the bytes
// the record names and refuses the request as corrupt; the block is freed all the same.
TEST(SimServices, TunnelBlockWhoseUnitClaimsMoreThanItsStoredBytesIsRefusedAsCorrupt) {
    zxtest::ScopedBusDir bus;
    SimProcess sim;
    ASSERT_TRUE(sim.start());

    // A compressed unit of 3000 bytes, stored whole in the block; records naming fewer bytes.
    std::vector<uint8_t> domains(3000, 'a');
    std::vector<uint8_t> unit(3100);
    uint32_t unitLen = static_cast<uint32_t>(unit.size());
    ASSERT_EQ(ZX_OS_Compress(domains.data(), 3000, unit.data(), &unitLen), ZX_OK);
    for (uint32_t stored : {unitLen - 1, 5u}) {
        TunnelVDataRecord rec{};
        ASSERT_EQ(ZX_VDATA_CreShm(unitLen, &rec.uivDataID), ZX_OK);
        ASSERT_EQ(ZX_VDATA_UpdateData(rec.uivDataID, unitLen, unit.data()), ZX_OK);
        rec.uiOriginalLen = 3000;
        rec.uiCompressedLen = stored;
        ZX_MSG_HEAD_S head = make_head("tarn");
        uint32_t reply = 0;
        EXPECT_EQ(ZX_MSG_RpcCall(&head, 0x48304170u, 0, &rec, sizeof rec, &reply, sizeof reply, 5000), ZX_ERR_CORRUPT)
            << "stored " << stored;
        EXPECT_TRUE(zxhost::vdata_list().empty()) << "stored " << stored;
    }
    // Whole, the same unit is read.
    TunnelVDataRecord rec{};
    ASSERT_EQ(ZX_VDATA_CreShm(unitLen, &rec.uivDataID), ZX_OK);
    ASSERT_EQ(ZX_VDATA_UpdateData(rec.uivDataID, unitLen, unit.data()), ZX_OK);
    rec.uiOriginalLen = 3000;
    rec.uiCompressedLen = unitLen;
    ZX_MSG_HEAD_S head = make_head("tarn");
    uint32_t reply = 0;
    EXPECT_EQ(ZX_MSG_RpcCall(&head, 0x48304171u, 0, &rec, sizeof rec, &reply, sizeof reply, 5000), ZX_OK);
    EXPECT_TRUE(zxhost::vdata_list().empty());
}

// Lengths a block record claims are the sender's word: a stored length no block can have, or an
// original length LZ4 could never expand the stored bytes to, is refused before the service
// allocates anything for it (the simulator once tried to allocate 2.8 GB for such a record, and
// died where that much cannot be addressed); the block is freed all the same.
TEST(SimServices, TunnelBlockRecordClaimingImpossibleLengthsIsRefused) {
    zxtest::ScopedBusDir bus;
    SimProcess sim;
    ASSERT_TRUE(sim.start());
    const uint8_t text[16] = "example.org";
    struct Case {
        uint32_t original, stored;
        uint32_t status;
    };
    const Case cases[] = {
        {0xABAAA9A8u, 0xABAAA9A8u, ZX_VDATA_ERR_RANGE},
        {ZX_VDATA_MAX_BLOCK + 1, ZX_VDATA_MAX_BLOCK + 1, ZX_VDATA_ERR_RANGE},
        {0x7E000000u, 16, ZX_ERR_CORRUPT},
        {255 * 16 + 255, 16, ZX_ERR_CORRUPT},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.original);
        TunnelVDataRecord rec{};
        ASSERT_EQ(ZX_VDATA_CreShm(sizeof text, &rec.uivDataID), ZX_OK);
        ASSERT_EQ(ZX_VDATA_UpdateData(rec.uivDataID, sizeof text, text), ZX_OK);
        rec.uiOriginalLen = c.original;
        rec.uiCompressedLen = c.stored;
        ZX_MSG_HEAD_S head = make_head("tarn");
        uint32_t reply = 0;
        EXPECT_EQ(ZX_MSG_RpcCall(&head, ZX_TARN_RPC_DNS_FORWARD_ADD, 0, &rec, sizeof rec, &reply, sizeof reply, 5000),
                  c.status);
        EXPECT_TRUE(zxhost::vdata_list().empty());
    }
    // The service is still there, and a one-way notice with such a record leaves it there too.
    TunnelVDataRecord notice{};
    notice.uivDataID = 77;
    notice.uiOriginalLen = notice.uiCompressedLen = 0xABAAA9A8u;
    ASSERT_EQ(ZX_MSG_AsyncSendData("app_m", ZX_APPM_NOTICE_TRAFFIC_MONITOR, &notice, sizeof notice), ZX_OK);
    EXPECT_EQ(count(wait_for_records(sim, "app_m", 1)), 1u);
    EXPECT_EQ(call_loid().status, ZX_OK);
    EXPECT_TRUE(sim.stop()) << "the simulator ends cleanly";
}

TEST(SimServices, EventCentreAcceptsAndRecordsEventsWithTheirBytes) {
    zxtest::ScopedBusDir bus;
    SimProcess sim;
    ASSERT_TRUE(sim.start());

    const uint8_t record[6] = {0x00, 0x01, 0x7F, 0x80, 0xFE, 0xFF};
    EXPECT_EQ(EventCenter_GlobalInvokeEvent2(0x00010203, record, sizeof record), ZX_OK);
    EXPECT_EQ(EventCenter_GlobalInvokeEvent2(0xF0000007, nullptr, 0), ZX_OK);

    JsonPtr records = sim.records(ZX_EVENTCENTER_ENDPOINT);
    ASSERT_EQ(count(records), 2u);
    EXPECT_EQ(json_int(at(records, 0), "msgId"), 0x00010203);
    EXPECT_EQ(json_text(at(records, 0), "data"), "00017f80feff");
    EXPECT_EQ(json_int(at(records, 0), "timeoutMs"), 5000);
    EXPECT_FALSE(json_object_get_boolean(member(at(records, 0), "oneWay")));
    EXPECT_EQ(json_int(at(records, 1), "msgId"), 0xF0000007);
    EXPECT_EQ(json_text(at(records, 1), "data"), "");
    EXPECT_TRUE(count(sim.records("app_m")) == 0);
}

// ---------------------------------------------------------------------------------------------
// The record of received requests
// ---------------------------------------------------------------------------------------------

TEST(SimRecorder, ReceivedFiltersByServiceAndClears) {
    zxtest::ScopedBusDir bus;
    SimProcess sim;
    ASSERT_TRUE(sim.start());
    ASSERT_EQ(call_loid().status, ZX_OK);
    ASSERT_EQ(call_status("tarn", kNoSuchCommand), ZX_SIM_ERR_UNKNOWN_MSG);

    JsonPtr all = sim.records();
    ASSERT_EQ(count(all), 2u);
    EXPECT_EQ(json_text(at(all, 0), "service"), "app_m");
    EXPECT_EQ(json_text(at(all, 1), "service"), "tarn");
    EXPECT_LT(json_int(at(all, 0), "seq"), json_int(at(all, 1), "seq"));

    JsonPtr answer;
    ASSERT_TRUE(sim.ctl_ok(R"({"op":"received","service":"app_m","clear":true})", &answer));
    EXPECT_EQ(json_object_array_length(member(answer.get(), "records")), 1u);
    EXPECT_EQ(count(sim.records("app_m")), 0u);
    EXPECT_EQ(count(sim.records("tarn")), 1u);

    ASSERT_TRUE(sim.ctl_ok(R"({"op":"clear"})"));
    EXPECT_EQ(count(sim.records()), 0u);
}

TEST(SimRecorder, ReceivedFiltersByCommandAndBySequenceNumber) {
    zxtest::ScopedBusDir bus;
    SimProcess sim;
    ASSERT_TRUE(sim.start());
    ASSERT_EQ(call_loid().status, ZX_OK);
    ASSERT_EQ(call_status("app_m", kNoSuchCommand), ZX_SIM_ERR_UNKNOWN_MSG);
    ASSERT_EQ(call_loid().status, ZX_OK);
    JsonPtr all = sim.records();
    ASSERT_EQ(count(all), 3u);
    const int64_t first = json_int(at(all, 0), "seq");

    JsonPtr answer;
    for (const char* id : {R"("GetLoid")", R"("ZX_APPM_RPC_GET_LOID")", R"("loid")", "1192243275"}) {
        SCOPED_TRACE(id);
        ASSERT_TRUE(sim.ctl_ok(std::string(R"({"op":"received","service":"app_m","msgId":)") + id + "}", &answer));
        json_object* records = member(answer.get(), "records");
        ASSERT_EQ(json_object_array_length(records), 2u);
        EXPECT_EQ(json_int(json_object_array_get_idx(records, 1), "seq"), first + 2);
    }
    ASSERT_TRUE(sim.ctl_ok(R"({"op":"received","after":)" + std::to_string(first) + "}", &answer));
    json_object* after = member(answer.get(), "records");
    ASSERT_EQ(json_object_array_length(after), 2u);
    EXPECT_EQ(json_int(json_object_array_get_idx(after, 0), "msgId"), kNoSuchCommand);
    ASSERT_TRUE(sim.ctl_ok(R"({"op":"received","after":)" + std::to_string(first + 2) + "}", &answer));
    EXPECT_EQ(json_object_array_length(member(answer.get(), "records")), 0u);
    // The arrival time travels with each record, in the order of arrival.
    EXPECT_GT(json_int(at(all, 0), "timeMs"), 0);
    EXPECT_LE(json_int(at(all, 0), "timeMs"), json_int(at(all, 2), "timeMs"));

    for (const char* bad : {R"({"op":"received","msgId":"GetLoid"})", R"({"op":"received","after":-1})",
                            R"({"op":"received","after":"3"})", R"({"op":"received","service":"app_m","msgId":"wlan"})",
                            R"({"op":"received","service":"app_m","msgId":"nosuch"})"}) {
        JsonPtr refused = sim.ctl(bad);
        ASSERT_TRUE(refused) << bad;
        EXPECT_FALSE(json_object_get_boolean(member(refused.get(), "ok"))) << bad;
    }
    EXPECT_EQ(count(sim.records()), 3u) << "nothing was cleared";
}

TEST(SimControl, CommandsListsTheCommandsEachServiceAnswers) {
    zxtest::ScopedBusDir bus;
    SimProcess sim({.services = {"app_m", "tarn"}, .ctl = "two"});
    ASSERT_TRUE(sim.start());
    JsonPtr answer;
    ASSERT_TRUE(sim.ctl_ok(R"({"op":"commands"})", &answer));
    json_object* services = member(answer.get(), "services");
    ASSERT_EQ(json_object_array_length(services), 2u);
    EXPECT_EQ(json_text(json_object_array_get_idx(services, 1), "name"), "tarn");
    json_object* appm = json_object_array_get_idx(services, 0);
    EXPECT_EQ(json_text(appm, "name"), "app_m");
    json_object* commands = member(appm, "commands");
    bool loid = false;
    int64_t previous = -1;
    for (size_t i = 0; i < json_object_array_length(commands); ++i) {
        json_object* c = json_object_array_get_idx(commands, i);
        EXPECT_GT(json_int(c, "msgId"), previous) << "in the order of their ids";
        previous = json_int(c, "msgId");
        if (json_int(c, "msgId") == kGetLoid) loid = json_text(c, "name") == "GetLoid";
    }
    EXPECT_TRUE(loid);
    EXPECT_GT(json_object_array_length(commands), 30u);

    ASSERT_TRUE(sim.ctl_ok(R"({"op":"commands","service":"tarn"})", &answer));
    ASSERT_EQ(json_object_array_length(member(answer.get(), "services")), 1u);
    JsonPtr refused = sim.ctl(R"({"op":"commands","service":"wifi"})");
    EXPECT_EQ(json_text(refused.get(), "error"), "service \"wifi\" is not served here");
}

TEST(SimFaults, InjectTakesTheWireCatalogueNamesOfACommand) {
    zxtest::ScopedBusDir bus;
    SimProcess sim;
    ASSERT_TRUE(sim.start());
    for (const char* name : {"ZX_APPM_RPC_GET_LOID", "get-loid", "Get_Loid", "loid"}) {
        SCOPED_TRACE(name);
        ASSERT_TRUE(sim.ctl_ok(std::string(R"({"op":"inject","service":"app_m","fault":"status","value":7,"times":1,"msgId":")") +
                               name + "\"}"));
        EXPECT_EQ(call_loid().status, 7u);
        EXPECT_EQ(call_loid().status, ZX_OK);
    }
    JsonPtr several = sim.ctl(R"({"op":"inject","service":"app_m","fault":"noreply","msgId":"blacklist"})");
    EXPECT_EQ(json_text(several.get(), "error"),
              "\"blacklist\" names several commands of app_m: ZX_APPM_RPC_LAN_GET_INTERNET_BLACKLIST, "
              "ZX_APPM_RPC_LAN_GET_STORAGE_BLACKLIST");
    JsonPtr none = sim.ctl(R"({"op":"inject","service":"app_m","fault":"noreply","msgId":"nosuch"})");
    EXPECT_EQ(json_text(none.get(), "error"),
              "\"msgId\" must be a 32-bit number or the name of one of the service's commands");
    // A name of another service's command is not one of app_m's.
    JsonPtr other = sim.ctl(R"({"op":"inject","service":"app_m","fault":"noreply","msgId":"ZX_TARN_RPC_GET_WAN_IP"})");
    EXPECT_FALSE(json_object_get_boolean(member(other.get(), "ok")));
    ASSERT_TRUE(sim.ctl_ok(R"({"op":"inject_clear","service":"app_m","msgId":"get_loid"})"));
}

TEST(SimRecorder, OneWayMessagesAreRecorded) {
    zxtest::ScopedBusDir bus;
    SimProcess sim;
    ASSERT_TRUE(sim.start());
    uint8_t notice[16];
    for (size_t i = 0; i < sizeof notice; ++i) notice[i] = static_cast<uint8_t>(0xA0 + i);
    ASSERT_EQ(ZX_MSG_AsyncSendData("app_m", 39, notice, sizeof notice), ZX_OK);

    JsonPtr records = wait_for_records(sim, "app_m", 1);
    ASSERT_EQ(count(records), 1u);
    json_object* r = at(records, 0);
    EXPECT_TRUE(json_object_get_boolean(member(r, "oneWay")));
    EXPECT_EQ(json_int(r, "msgId"), 39);
    EXPECT_EQ(json_int(r, "timeoutMs"), 0);
    EXPECT_EQ(json_text(r, "data"), "a0a1a2a3a4a5a6a7a8a9aaabacadaeaf");
    EXPECT_EQ(json_text(member(r, "head"), "dstName"), "app_m");
}

TEST(SimRecorder, KeepsTheLastTenThousandRequests) {
    zxtest::ScopedBusDir bus;
    SimProcess sim({.services = {"tarn"}, .ctl = "tarn"});
    ASSERT_TRUE(sim.start());
    constexpr uint32_t kCalls = 10005;
    ZX_MSG_HEAD_S head = make_head("tarn");
    for (uint32_t i = 0; i < kCalls; ++i) {
        const uint8_t req[4] = {static_cast<uint8_t>(i >> 24), static_cast<uint8_t>(i >> 16),
                                static_cast<uint8_t>(i >> 8), static_cast<uint8_t>(i)};
        ASSERT_EQ(ZX_MSG_RpcCall(&head, kNoSuchCommand, 0, req, sizeof req, nullptr, 0, 30000), ZX_SIM_ERR_UNKNOWN_MSG);
    }
    JsonPtr records = sim.records("tarn");
    ASSERT_EQ(count(records), 10000u);
    EXPECT_EQ(json_int(at(records, 0), "seq"), 6);
    EXPECT_EQ(json_text(at(records, 0), "data"), "00000005");
    EXPECT_EQ(json_int(at(records, 9999), "seq"), 10005);
    EXPECT_EQ(json_text(at(records, 9999), "data"), "00002714");
}

// ---------------------------------------------------------------------------------------------
// The control socket
// ---------------------------------------------------------------------------------------------

// A raw control connection: several request lines sent at once, answers read line by line.
class CtlConnection {
public:
    explicit CtlConnection(const std::string& path) : fd_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un addr{};
        addr.sun_family = AF_UNIX;
        std::strncpy(addr.sun_path, path.c_str(), sizeof addr.sun_path - 1);
        connected_ = connect(fd_, reinterpret_cast<const sockaddr*>(&addr), sizeof addr) == 0;
        timeval limit{30, 0};
        setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    }
    ~CtlConnection() { close(fd_); }
    bool connected() const { return connected_; }
    bool send_text(const std::string& text) {
        return send(fd_, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
    }
    // The next answer line, "" when the connection ended.
    std::string read_line() {
        size_t nl;
        while ((nl = pending_.find('\n')) == std::string::npos) {
            char buf[4096];
            ssize_t n = recv(fd_, buf, sizeof buf, 0);
            if (n <= 0) return "";
            pending_.append(buf, static_cast<size_t>(n));
        }
        std::string line = pending_.substr(0, nl);
        pending_.erase(0, nl + 1);
        return line;
    }

private:
    int fd_;
    bool connected_ = false;
    std::string pending_;
};

TEST(SimControl, RefusesMalformedRequestsAndUnknownOpsWithoutDying) {
    zxtest::ScopedBusDir bus;
    SimProcess sim;
    ASSERT_TRUE(sim.start());

    struct Case {
        const char* request;
        const char* error;  // a part of the error text
    };
    const Case cases[] = {
        {"not json", "malformed JSON"},
        {R"({"op":"ping")", "malformed JSON"},
        {R"({"op":"ping"} {"op":"ping"})", "malformed JSON"},
        {"[1,2]", "must be a JSON object"},
        {"{}", "missing \"op\""},
        {R"({"op":7})", "missing \"op\""},
        {R"({"op":"nope"})", "unknown op \"nope\""},
        {R"({"op":"state"})", "missing \"service\""},
        {R"({"op":"state","service":"nosuch"})", "not served here"},
        {R"({"op":"received","service":"nosuch"})", "not served here"},
        {R"({"op":"set","service":"app_m","state":5})", "must be a JSON object"},
        {R"({"op":"inject","service":"app_m","msgId":"zz","fault":"status","value":1})", "\"msgId\""},
        {R"({"op":"inject","service":"app_m","msgId":-1,"fault":"status","value":1})", "\"msgId\""},
        {R"({"op":"inject","service":"app_m","msgId":4294967296,"fault":"status","value":1})", "\"msgId\""},
        {R"({"op":"inject","service":"app_m","msgId":1,"fault":"explode"})", "\"fault\""},
        {R"({"op":"inject","service":"app_m","msgId":1,"fault":"status"})", "\"value\""},
        {R"({"op":"inject","service":"app_m","msgId":1,"fault":"delay","value":5,"times":"x"})", "\"times\""},
    };
    // Every request on one connection, sent in one go: the answers come back in order, one a line.
    CtlConnection conn(sim.ctl_path());
    ASSERT_TRUE(conn.connected());
    std::string batch;
    for (const Case& c : cases) batch += std::string(c.request) + "\n";
    batch += "{\"op\":\"ping\"}\r\n";
    ASSERT_TRUE(conn.send_text(batch));
    for (const Case& c : cases) {
        SCOPED_TRACE(c.request);
        std::string line = conn.read_line();
        JsonPtr answer(json_tokener_parse(line.c_str()));
        ASSERT_TRUE(answer) << line;
        EXPECT_FALSE(json_object_get_boolean(member(answer.get(), "ok"))) << line;
        EXPECT_NE(json_text(answer.get(), "error").find(c.error), std::string::npos) << line;
    }
    JsonPtr ping(json_tokener_parse(conn.read_line().c_str()));
    EXPECT_TRUE(json_object_get_boolean(member(ping.get(), "ok")));
    EXPECT_EQ(json_int(ping.get(), "pid"), sim.pid());

    // None of the refused injections took effect, and the services still answer.
    LoidAnswer a = call_loid();
    EXPECT_EQ(a.status, ZX_OK);
    EXPECT_EQ(a.text, kProfileLoid);
}

TEST(SimControl, SimctlShortcutsDriveTheSimulator) {
    zxtest::ScopedBusDir bus;
    SimProcess sim;
    ASSERT_TRUE(sim.start());
    const std::string simctl = std::string(ZX_BINARY_DIR) + "/bin/simctl";
    ASSERT_EQ(access(simctl.c_str(), X_OK), 0) << simctl << " is not built";

    auto run = [&](const std::vector<std::string>& args) { return zxtest::run_tool(simctl, args); };

    zxtest::ToolRun ping = run({"ping"});
    EXPECT_EQ(ping.status, 0);
    JsonPtr pingAnswer(json_tokener_parse(ping.out.c_str()));
    EXPECT_EQ(json_int(pingAnswer.get(), "pid"), sim.pid());

    EXPECT_EQ(run({"set", "app_m", R"({"loid":"FROM-CLI"})"}).status, 0);
    EXPECT_EQ(call_loid().text, "FROM-CLI");
    zxtest::ToolRun state = run({"state", "app_m"});
    EXPECT_EQ(state.status, 0);
    JsonPtr stateAnswer(json_tokener_parse(state.out.c_str()));
    EXPECT_EQ(json_text(member(stateAnswer.get(), "state"), "loid"), "FROM-CLI");

    EXPECT_EQ(run({"inject", "app_m", "0x4710304B", "status", "0xF7213003", "1"}).status, 0);
    EXPECT_EQ(call_loid().status, 0xF7213003u);
    EXPECT_EQ(call_loid().status, ZX_OK);

    zxtest::ToolRun received = run({"--json", "received", "app_m"});  // the answer line as it is
    EXPECT_EQ(received.status, 0);
    JsonPtr receivedAnswer(json_tokener_parse(received.out.c_str()));
    EXPECT_EQ(json_object_array_length(member(receivedAnswer.get(), "records")), 3u);
    EXPECT_EQ(run({"clear"}).status, 0);
    EXPECT_EQ(count(sim.records()), 0u);

    EXPECT_EQ(run({R"({"op":"nope"})"}).status, 1);               // refused by the simulator
    EXPECT_EQ(run({"inject", "app_m", "1", "status"}).status, 2);  // usage: no value
    EXPECT_EQ(run({"--ctl", "nosuch", "ping"}).status, 2);         // no such control socket

    EXPECT_EQ(run({"shutdown"}).status, 0);
    int status = sim.wait();
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

// ---------------------------------------------------------------------------------------------
// Start and stop
// ---------------------------------------------------------------------------------------------

TEST(SimLifecycle, SigtermAndSigintRemoveEveryEndpointAndExitZero) {
    zxtest::ScopedBusDir bus;
    for (int sig : {SIGTERM, SIGINT}) {
        SCOPED_TRACE(strsignal(sig));
        SimProcess sim;
        ASSERT_TRUE(sim.start());
        for (const char* name : kAllServices) EXPECT_TRUE(is_socket(bus.path() + "/" + name)) << name;
        EXPECT_TRUE(is_socket(sim.ctl_path()));
        ASSERT_EQ(call_loid().status, ZX_OK);

        sim.kill(sig);
        int status = sim.wait();
        ASSERT_TRUE(WIFEXITED(status));
        EXPECT_EQ(WEXITSTATUS(status), 0);
        for (const char* name : kAllServices) EXPECT_FALSE(is_socket(bus.path() + "/" + name)) << name;
        EXPECT_FALSE(is_socket(sim.ctl_path()));
        EXPECT_EQ(call_loid().status, ZX_MSG_ERR_NO_DEST);
        uint32_t exists = 1;
        EXPECT_EQ(ZX_OS_IsProcExist_Ex("app_m", &exists), ZX_OK);
        EXPECT_EQ(exists, 0u);
    }
}

TEST(SimLifecycle, NamesInUseByALiveSimulatorAreRefused) {
    zxtest::ScopedBusDir bus;
    SimProcess first({.services = {"app_m"}, .ctl = "first"});
    ASSERT_TRUE(first.start());

    SimProcess sameService({.services = {"app_m"}, .ctl = "second"});
    testing::AssertionResult started = sameService.start();
    EXPECT_FALSE(started);
    EXPECT_NE(std::string(started.message()).find("exited with status 1"), std::string::npos) << started.message();

    SimProcess sameCtl({.services = {"tarn"}, .ctl = "first"});
    started = sameCtl.start();
    EXPECT_FALSE(started);
    EXPECT_NE(std::string(started.message()).find("exited with status 1"), std::string::npos) << started.message();

    // The refused ones took nothing away from the first.
    EXPECT_EQ(call_loid().status, ZX_OK);
    EXPECT_TRUE(first.ctl_ok(R"({"op":"ping"})"));
    EXPECT_EQ(call_status("tarn", kNoSuchCommand), ZX_MSG_ERR_NO_DEST);
}

TEST(SimLifecycle, LeftoverSocketsOfAKilledSimulatorAreTakenOver) {
    zxtest::ScopedBusDir bus;
    SimProcess sim({.services = {"app_m"}, .ctl = "app_m"});
    ASSERT_TRUE(sim.start());
    sim.kill(SIGKILL);
    sim.wait();
    ASSERT_TRUE(is_socket(sim.ctl_path()));  // nobody removed it
    ASSERT_TRUE(sim.start());
    EXPECT_TRUE(sim.ctl_ok(R"({"op":"ping"})"));
    EXPECT_EQ(call_loid().status, ZX_OK);
}

TEST(SimLifecycle, InitialStateComesFromTheProfile) {
    zxtest::ScopedBusDir bus;
    zxtest::ScopedTempDir dir;
    const std::string profile = dir.path() + "/profile.json";
    std::ofstream(profile) << R"({"services":{"app_m":{"loid":"FROM-PROFILE","n":3},"tarn":[1]}})";
    SimProcess sim({.services = {"app_m", "tarn", "wifi"}, .ctl = "sim", .profile = profile});
    ASSERT_TRUE(sim.start());

    EXPECT_EQ(call_loid().text, "FROM-PROFILE");
    EXPECT_EQ(json_int(sim.state("app_m").get(), "n"), 3);
    // A member that is not an object, or none at all, gives an empty state.
    for (const char* service : {"tarn", "wifi"}) {
        JsonPtr state = sim.state(service);
        ASSERT_TRUE(state) << service;
        EXPECT_STREQ(json_object_to_json_string_ext(state.get(), JSON_C_TO_STRING_PLAIN), "{}") << service;
    }
}

TEST(SimLifecycle, BadCommandLinesAndProfilesAreRefused) {
    zxtest::ScopedBusDir bus;
    struct Case {
        SimProcess::Options options;
        const char* outcome;
    };
    const Case cases[] = {
        {{.services = {"nosuch"}}, "exited with status 2"},
        {{.services = {"app_m", "app_m"}}, "exited with status 2"},
        {{.services = {"app_m"}, .ctl = "a/b"}, "exited with status 1"},
        {{.services = {"app_m"}, .profile = "/nonexistent/profile.json"}, "exited with status 1"},
    };
    for (const Case& c : cases) {
        SimProcess sim(c.options);
        testing::AssertionResult started = sim.start();
        EXPECT_FALSE(started);
        EXPECT_NE(std::string(started.message()).find(c.outcome), std::string::npos) << started.message();
    }
    // A refused start leaves no endpoint behind.
    EXPECT_EQ(call_loid().status, ZX_MSG_ERR_NO_DEST);
}

}  // namespace
