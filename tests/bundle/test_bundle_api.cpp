// The call to the bundle manager seen from the bundle manager (routing header byte for byte,
// module id, time-out of every command, rotating tag word, request records), the operation
// routine's result rules and records, and the plug-in operation log.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <ostream>
#include <regex>
#include <string>
#include <vector>

#include "bundle_fixture.h"
#include "shared_state.h"
#include "zx_velm_bundle.h"

namespace {

using bundletest::BundleTest;
using bundletest::FakeBundleManager;
using bundletest::kVelm;
using bundletest::Seen;
using testing::Contains;
using testing::Not;
using zxtest::L;
using zxtest::L1;
using zxtest::T;
using zxtest::take_records;

std::string field(const char* p, size_t n) { return std::string(p, strnlen(p, n)); }

bool all_zero(const uint8_t* p, size_t n) {
    for (size_t i = 0; i < n; ++i)
        if (p[i]) return false;
    return true;
}

ZX_OSGI_OPERATE_REQ_S operate_request(const Seen& s) {
    ZX_OSGI_OPERATE_REQ_S req{};
    EXPECT_EQ(s.data.size(), sizeof req);
    std::memcpy(&req, s.data.data(), std::min(sizeof req, s.data.size()));
    return req;
}

// The local time now as the log writes it.
std::string stamp_now() {
    time_t now = time(nullptr);
    struct tm tm;
    localtime_r(&now, &tm);
    char buf[64];
    std::snprintf(buf, sizeof buf, "%d-%02d-%02d %02d:%02d:%02d", tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday,
                  tm.tm_hour, tm.tm_min, tm.tm_sec);
    return buf;
}

// ---------------------------------------------------------------------------------------------
// The call
// ---------------------------------------------------------------------------------------------

struct TimeoutCase {
    uint32_t msgId;
    const char* action;  // operation request with this action, or nullptr for a 4-byte word
    uint32_t timeoutMs;
};

void PrintTo(const TimeoutCase& c, std::ostream* os) {
    *os << std::hex << "0x" << c.msgId << std::dec << " " << (c.action ? c.action : "(word)");
}

class BundleRpcTimeout : public BundleTest, public testing::WithParamInterface<TimeoutCase> {};

TEST_P(BundleRpcTimeout, BundleManagerIsGivenTheCommandsTimeout) {
    FakeBundleManager manager;
    const TimeoutCase& c = GetParam();
    ZX_OSGI_OPERATE_REQ_S req{};
    uint32_t word = 0;
    const void* request = &word;
    uint32_t length = sizeof word;
    if (c.action) {
        std::strcpy(req.acAction, c.action);
        request = &req;
        length = sizeof req;
    }
    uint32_t reply = 0;
    ASSERT_EQ(OSGI_JNI_BundleMng_RpcCall(349, c.msgId, request, length, &reply, sizeof reply), 0u);
    std::vector<Seen> seen = manager.seen();
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].timeoutMs, c.timeoutMs);
    EXPECT_EQ(seen[0].msgId, c.msgId);
    std::vector<std::string> records = take_records();
    char text[64];
    std::snprintf(text, sizeof text, "ulRpcCmo:0x%x uiTimeOut:%u\r\n", c.msgId, c.timeoutMs);
    EXPECT_THAT(records, Contains(T(249, kVelm, 940, text)));
    if (c.msgId == 0x4710303Du)
        EXPECT_THAT(records, Contains(T(249, kVelm, 944, std::string("Action:") + c.action + "\r\n")));
    else
        EXPECT_EQ(records.size(), 1u) << "only the command is traced";
}

INSTANTIATE_TEST_SUITE_P(
    Commands, BundleRpcTimeout,
    testing::Values(TimeoutCase{0x47103039, nullptr, 20000}, TimeoutCase{0x4710303C, nullptr, 20000},
                    TimeoutCase{0x47103037, nullptr, 20000}, TimeoutCase{0x47103036, nullptr, 20000},
                    TimeoutCase{0x4710303D, "start", 60000}, TimeoutCase{0x4710303D, "stop", 60000},
                    TimeoutCase{0x4710303D, "uninstall", 60000}, TimeoutCase{0x4710303D, "FactoryPlugin", 120000},
                    TimeoutCase{0x4710303D, "FactoryPluginX", 60000}, TimeoutCase{0x47103038, nullptr, 60000},
                    TimeoutCase{0x4710303A, nullptr, 60000}),
    [](const testing::TestParamInfo<TimeoutCase>& info) {
        char name[48];
        std::snprintf(name, sizeof name, "x%08X_%s", info.param.msgId, info.param.action ? info.param.action : "word");
        return std::string(name);
    });

TEST_F(BundleTest, RoutingHeaderCarriesModuleIdDestinationAndSourceName) {
    FakeBundleManager manager;
    g_stJNIOsgiMid.uiCount = 0;
    uint32_t word = 7;
    ASSERT_EQ(OSGI_JNI_BundleMng_RpcCall(349, 0x47103036, &word, sizeof word, nullptr, 0), 0u);
    ASSERT_EQ(OSGI_JNI_BundleMng_RpcCall(0, 0x47103036, &word, sizeof word, nullptr, 0), 0u);
    std::vector<Seen> seen = manager.seen();
    ASSERT_EQ(seen.size(), 2u);
    const ZX_MSG_HEAD_S& h = seen[0].head;
    EXPECT_EQ(h.uiSrcWord, 0u);
    EXPECT_EQ(field(h.acSrcProcName, sizeof h.acSrcProcName), std::string(ZX_MSG_GetCurProcName()).substr(0, 31));
    EXPECT_EQ(h.uiMid, 349u);
    EXPECT_EQ(field(h.acDstProcName, sizeof h.acDstProcName), "osgi_proxy");
    EXPECT_TRUE(all_zero(reinterpret_cast<const uint8_t*>(h.acDstProcName) + 10, 22));
    EXPECT_EQ(h.uiTag, 281u);
    EXPECT_TRUE(all_zero(h.aucResv, sizeof h.aucResv));
    EXPECT_EQ(seen[0].mid, 349u) << "the module id word is also the call's module id";
    EXPECT_EQ(seen[1].head.uiMid, 0u);
    EXPECT_EQ(seen[1].mid, 0u);
    EXPECT_EQ(seen[1].head.uiTag, 282u);
    EXPECT_EQ(seen[0].data, std::vector<uint8_t>({7, 0, 0, 0}));
    EXPECT_EQ(seen[0].replyCap, 4u) << "a missing reply becomes a 4-byte word";
}

TEST_F(BundleTest, LongProcessNameIsCutTo31Characters) {
    FakeBundleManager manager;
    const std::string name(40, 'p');
    zxtest::set_env("ZX_PROC_NAME", name.c_str());
    uint32_t word = 0;
    uint32_t code = OSGI_JNI_BundleMng_RpcCall(349, 0x47103036, &word, sizeof word, nullptr, 0);
    std::string used = ZX_MSG_GetCurProcName();
    zxtest::set_env("ZX_PROC_NAME", nullptr);
    ASSERT_EQ(code, 0u);
    std::vector<Seen> seen = manager.seen();
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(field(seen[0].head.acSrcProcName, 32), used.substr(0, 31));
    EXPECT_LE(strnlen(seen[0].head.acSrcProcName, 32), 31u);
}

TEST_F(BundleTest, NullRequestGoesAsFourZeroBytes) {
    FakeBundleManager manager;
    uint32_t reply = 5;
    ASSERT_EQ(OSGI_JNI_BundleMng_RpcCall(349, 0x47103038, nullptr, 0, &reply, sizeof reply), 0u);
    std::vector<Seen> seen = manager.seen();
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].data, std::vector<uint8_t>(4, 0));
    EXPECT_EQ(reply, 0u) << "the bundle manager's answer is copied";
}

TEST_F(BundleTest, SeventhCallUsesTagWord281Again) {
    FakeBundleManager manager;
    g_stJNIOsgiMid.uiCount = 0;
    for (int i = 0; i < 7; ++i) ASSERT_EQ(OSGI_JNI_BundleMng_RpcCall(349, 0x47103036, nullptr, 0, nullptr, 0), 0u);
    std::vector<uint32_t> tags;
    for (const Seen& s : manager.seen()) tags.push_back(s.head.uiTag);
    EXPECT_EQ(tags, std::vector<uint32_t>({281, 282, 283, 284, 285, 286, 281}));
}

TEST_F(BundleTest, CallStatusComesBackUnchangedAndIsNotRecorded) {
    uint32_t code = OSGI_JNI_BundleMng_RpcCall(349, 0x47103036, nullptr, 0, nullptr, 0);
    EXPECT_EQ(code, ZX_MSG_ERR_NO_DEST) << "no bundle manager runs";
    for (const std::string& r : take_records()) EXPECT_EQ(r.rfind("T ", 0), 0u) << r;
}

// ---------------------------------------------------------------------------------------------
// The operation routine
// ---------------------------------------------------------------------------------------------

struct OperateCase {
    const char* action;
    const char* logWord;
};

void PrintTo(const OperateCase& c, std::ostream* os) { *os << c.action; }

class BundleOperate : public BundleTest, public testing::WithParamInterface<OperateCase> {};

TEST_P(BundleOperate, SendsTheOperationAndLogsItsWord) {
    FakeBundleManager manager;
    const OperateCase& c = GetParam();
    std::string before = stamp_now();
    EXPECT_EQ(OSGI_JNI_Bundle_Operate(349, "com.example.demo", c.action), 0);
    std::string after = stamp_now();
    std::vector<Seen> seen = manager.seen();
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].msgId, 0x4710303Du);
    EXPECT_EQ(seen[0].replyCap, 4u);
    ZX_OSGI_OPERATE_REQ_S req = operate_request(seen[0]);
    ZX_OSGI_OPERATE_REQ_S expected{};
    std::strcpy(expected.acBundleName, "com.example.demo");
    std::strcpy(expected.acAction, c.action);
    EXPECT_EQ(std::memcmp(&req, &expected, sizeof req), 0) << "the record is zero beyond its two texts";

    std::string log = log_text();
    std::string tail = std::string(" [") + c.logWord + "] com.example.demo\r\n";
    EXPECT_TRUE(log == before + tail || log == after + tail) << log;
    EXPECT_THAT(take_records(), Contains(T(249, kVelm, 1050, "uiRet:0 uiResult:0\r\n")));
}

INSTANTIATE_TEST_SUITE_P(Actions, BundleOperate,
                         testing::Values(OperateCase{"start", "Run"}, OperateCase{"stop", "stop"},
                                         OperateCase{"uninstall", "UnInstall"},
                                         OperateCase{"FactoryPlugin", "FactoryPlugin"}),
                         [](const testing::TestParamInfo<OperateCase>& info) {
                             return std::string(info.param.action);
                         });

TEST_F(BundleTest, ReplyWordWinsOverTransportResult) {
    FakeBundleManager manager;
    manager.answer_word(0, 0xF7213003);
    EXPECT_EQ(OSGI_JNI_Bundle_Operate(349, "b", "start"), -3);
    std::vector<std::string> records = take_records();
    EXPECT_THAT(records, Contains(L(kVelm, 1055, 0xF7213003, 0, 0, 0, 0)));
    EXPECT_THAT(records, Not(Contains(L1(kVelm, 1059, 0))));

    manager.answer_word(0x0000000C, 0xF7213002);
    EXPECT_EQ(OSGI_JNI_Bundle_Operate(349, "b", "stop"), -4) << "the reply word, not the status";
    EXPECT_THAT(take_records(), Contains(L(kVelm, 1055, 0xF7213002, 0x0000000C, 0, 0, 0)));
}

TEST_F(BundleTest, TransportResultIsConvertedWhenReplyWordIsZero) {
    FakeBundleManager manager;
    manager.answer_word(0x0000000C, 0);
    EXPECT_EQ(OSGI_JNI_Bundle_Operate(349, "b", "uninstall"), -8);
    std::vector<std::string> records = take_records();
    EXPECT_THAT(records, Contains(T(249, kVelm, 1050, "uiRet:12 uiResult:0\r\n")));
    EXPECT_THAT(records, Contains(L1(kVelm, 1059, 0x0000000C)));

    manager.answer_word(0, 0);
    EXPECT_EQ(OSGI_JNI_Bundle_Operate(349, "b", "start"), 0);
    EXPECT_THAT(take_records(), Contains(L1(kVelm, 1059, 0)));
}

TEST_F(BundleTest, NoBundleManagerGivesMinusOne) {
    EXPECT_EQ(OSGI_JNI_Bundle_Operate(349, "b", "start"), -1) << "a bus code has no row in the table";
    EXPECT_THAT(take_records(), Contains(L1(kVelm, 1059, ZX_MSG_ERR_NO_DEST)));
    EXPECT_NE(log_text().find("[Run] b\r\n"), std::string::npos) << "logged before the call";
}

TEST_F(BundleTest, NullNameOrActionIsRefusedBeforeAnything) {
    FakeBundleManager manager;
    EXPECT_EQ(OSGI_JNI_Bundle_Operate(349, nullptr, "start"), 1);
    EXPECT_EQ(OSGI_JNI_Bundle_Operate(349, "b", nullptr), 1);
    EXPECT_EQ(take_records(), std::vector<std::string>({L1(kVelm, 1034, 1), L1(kVelm, 1034, 1)}));
    EXPECT_TRUE(manager.seen().empty());
    EXPECT_NE(access(log_path().c_str(), F_OK), 0) << "nothing logged";
}

TEST_F(BundleTest, LongNameAndActionAreCutInTheRequest) {
    FakeBundleManager manager;
    std::string name(200, 'n');
    std::string action(30, 'a');
    EXPECT_EQ(OSGI_JNI_Bundle_Operate(349, name.c_str(), action.c_str()), 0);
    std::vector<Seen> seen = manager.seen();
    ASSERT_EQ(seen.size(), 1u);
    ZX_OSGI_OPERATE_REQ_S req = operate_request(seen[0]);
    EXPECT_EQ(field(req.acBundleName, 128), name.substr(0, 127));
    EXPECT_EQ(field(req.acAction, 16), action.substr(0, 15));
    EXPECT_TRUE(all_zero(req.aucResv, sizeof req.aucResv));
    EXPECT_NE(log_text().find("] " + name + "\r\n"), std::string::npos) << "the log keeps the whole name";
}

TEST_F(BundleTest, MissingLogDirectoryDoesNotStopTheOperation) {
    FakeBundleManager manager;
    ASSERT_EQ(rmdir((root_.path() + "/var").c_str()), 0);
    EXPECT_EQ(OSGI_JNI_Bundle_Operate(349, "b", "stop"), 0);
    EXPECT_EQ(manager.seen().size(), 1u);
    EXPECT_THAT(take_records(), Contains(T(220, kVelm, 807, "[OSGI_JNI_Log_Record]Failed to open log file\r\n")));
}

// ---------------------------------------------------------------------------------------------
// The operation log
// ---------------------------------------------------------------------------------------------

TEST(BundleLogWord, ThreeActionsAreRenamedTheRestCopiedWhole) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"install", "Install"},
        {"start", "Run"},
        {"uninstall", "UnInstall"},
        {"stop", "stop"},
        {"Start", "Start"},
        {"INSTALL", "INSTALL"},
        {"FactoryPlugin", "FactoryPlugin"},
        {"Install_cancel", "Install_cancel"},
        {std::string(127, 'x'), std::string(127, 'x')},
        {"", ""},
    };
    for (const auto& [action, word] : cases) {
        char out[128];
        std::memset(out, 0x55, sizeof out);
        EXPECT_EQ(OSGI_JNI_TransferLogAction(action.c_str(), out), 0u);
        EXPECT_EQ(std::string(out), word) << action;
    }
}

TEST_F(BundleTest, LogLinesAppendInOrderWithTimeStamp) {
    EXPECT_EQ(OSGI_JNI_Log_Record("Install", "a"), 0u);
    EXPECT_EQ(OSGI_JNI_Log_Record("Run", "a"), 0u);
    EXPECT_EQ(OSGI_JNI_Log_Record("stop", "a"), 0u);
    const std::regex line(R"(\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2} \[(\w+)\] a\r\n)");
    std::string log = log_text();
    std::vector<std::string> words;
    long end = 0;
    for (auto it = std::sregex_iterator(log.begin(), log.end(), line); it != std::sregex_iterator(); ++it) {
        EXPECT_EQ(it->position(), end) << "lines follow one another";
        end = it->position() + it->length();
        words.push_back((*it)[1]);
    }
    EXPECT_EQ(end, static_cast<long>(log.size())) << log;
    EXPECT_EQ(words, std::vector<std::string>({"Install", "Run", "stop"}));
    EXPECT_TRUE(take_records().empty()) << "a written line leaves no record";
}

TEST_F(BundleTest, VeryLongBundleNameFitsTheLine) {
    std::string name(5000, 'z');
    EXPECT_EQ(OSGI_JNI_Log_Record("UnInstall", name.c_str()), 0u);
    std::string log = log_text();
    ASSERT_EQ(log.size(), 19 + std::string(" [UnInstall] ").size() + name.size() + 2);
    EXPECT_EQ(log.substr(19), " [UnInstall] " + name + "\r\n");
}

TEST_F(BundleTest, LineBufferNotAllocatedWritesNothing) {
    zxhost::alloc_fail_at(kVelm, 793);
    EXPECT_EQ(OSGI_JNI_Log_Record("Run", "a"), 1u);
    EXPECT_EQ(take_records(), std::vector<std::string>({L1(kVelm, 796, 1)}));
    EXPECT_NE(access(log_path().c_str(), F_OK), 0);
}

TEST_F(BundleTest, FailedWriteIsTracedAndAnswersOne) {
    // /dev/full takes the open but refuses every byte; a line larger than the stream's buffer
    // is written at once, so the put itself fails.
    ASSERT_EQ(symlink("/dev/full", log_path().c_str()), 0);
    std::string name(64 * 1024, 'f');
    EXPECT_EQ(OSGI_JNI_Log_Record("Run", name.c_str()), 1u);
    EXPECT_EQ(take_records(), std::vector<std::string>({T(
                                  220, kVelm, 820, "[OSGI_JNI_Log_Record]Failed to write record into log file\r\n")}));
}

TEST_F(BundleTest, CreateLogFileMakesItEmpty) {
    ASSERT_EQ(OSGI_JNI_Log_Record("Run", "a"), 0u);
    ASSERT_FALSE(log_text().empty());
    EXPECT_EQ(OSGI_Bundle_Create_LogFile(), 0u);
    EXPECT_EQ(access(log_path().c_str(), F_OK), 0);
    EXPECT_TRUE(log_text().empty());
}

TEST_F(BundleTest, CreateLogFileWithoutDirectoryIsTraced) {
    ASSERT_EQ(rmdir((root_.path() + "/var").c_str()), 0);
    EXPECT_EQ(OSGI_Bundle_Create_LogFile(), 1u);
    EXPECT_EQ(take_records(), std::vector<std::string>(
                                  {T(220, kVelm, 713, "[OSGI_Bundle_Create_LogFile]Failed to create log file\r\n")}));
}

}  // namespace
