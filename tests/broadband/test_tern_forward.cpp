// HTTP forwarding and WAN access (NAT) rules against the simulated broadband ("tarn") and
// configuration ("app_m") services: the exact requests in order, the forwarding state they leave,
// a start failing at each of its steps with nothing undone, and the records the unit leaves.
#include <cstring>

#include "tern_fixture.h"

namespace terntest {
namespace {

using TernForward = TernTest;
using TernNat = TernTest;

constexpr uint32_t kInit = 0x4730705F;
constexpr uint32_t kStop = 0x47307060;
constexpr uint32_t kAuth = 0x47307061;
constexpr uint32_t kAlways = 0x47307062;
constexpr uint32_t kDefault = 0x47307063;
constexpr uint32_t kWhite = 0x47307064;
constexpr uint32_t kNat = 0x47103058;

// The 260-byte always-forward record: the port, then at most 256 characters of the address.
std::string always_record(uint32_t port, const std::string& addr) {
    return word(port) + padded(addr.substr(0, 256), 256);
}

// The lines of a failed forwarding command: its trace on the line after its name, its last word
// on the next.
std::pair<uint32_t, uint32_t> failure_lines(const std::string& function, const std::string& command) {
    uint32_t at = line_after(definition(function), "\"" + command + " return failed\"");
    return {at + 1, at + 2};
}

struct Lists {
    std::vector<std::string> texts;
    std::vector<char*> ptrs;
    Lists(std::initializer_list<const char*> entries) {
        for (const char* e : entries) texts.push_back(e ? e : "");
        size_t i = 0;
        for (const char* e : entries) ptrs.push_back(e ? texts[i++].data() : (++i, nullptr));
    }
    char** get() { return ptrs.data(); }
    uint32_t size() const { return static_cast<uint32_t>(ptrs.size()); }
};

TEST_F(TernForward, StartSendsInitWhiteListAlwaysRulesAndTheDefaultRuleInOrder) {
    Lists white{"portal.example.com", "192.0.2.10"};
    Lists always{"ads.example.com"};
    ASSERT_EQ(ZX_JNI_httpForwardStart(1, 8081, white.get(), white.size(), always.get(), always.size(), 8080, 1), 0u);
    auto got = expect_received("tarn", {{kInit, word(0)},
                                        {kWhite, std::string("portal.example.com")},
                                        {kWhite, std::string("192.0.2.10")},
                                        {kAlways, always_record(8080, "ads.example.com")},
                                        {kDefault, words({8081, 1})}});
    for (const Received& r : got) EXPECT_EQ(r.replyCap, 4u);
    JsonPtr state = sim_.state("tarn");
    json_object* fwd = member(state.get(), "httpForward");
    EXPECT_TRUE(flag(fwd, "running"));
    EXPECT_EQ(json_object_array_length(member(fwd, "whiteList")), 2u);
    EXPECT_EQ(text(at(member(fwd, "alwaysForward"), 0), "addr"), "ads.example.com");
    EXPECT_EQ(num(at(member(fwd, "alwaysForward"), 0), "port"), 8080);
    EXPECT_EQ(num(member(fwd, "defaultRule"), "port"), 8081);
    EXPECT_EQ(num(member(fwd, "defaultRule"), "ssid"), 1);
    auto records = traces();
    const std::string def = definition("ZX_JNI_httpForwardStart");
    expect_trace(records, line_after(def, "\"ZX_JNI_httpForwardStart called\""), "ZX_JNI_httpForwardStart called");
    auto whites = zxtest::at_line(records, zxhost::TraceRecord::Trace, line_after(def, "\"whiteDestAddr%u:%s\""), kFile);
    ASSERT_EQ(whites.size(), 2u);
    EXPECT_EQ(whites[0].text, "whiteDestAddr0:portal.example.com");
    EXPECT_EQ(whites[1].text, "whiteDestAddr1:192.0.2.10");
    expect_trace(records, line_after(def, "\"apcAlwaysForwardAddr%u:%s\""), "apcAlwaysForwardAddr0:ads.example.com");
    expect_no_last_word(records);
}

TEST_F(TernForward, ANullWhiteEntryIsSkippedAndTheIndicesStay) {
    Lists white{"a.example.com", nullptr, "c.example.com"};
    Lists always{nullptr};
    ASSERT_EQ(ZX_JNI_httpForwardStart(2, 80, white.get(), white.size(), always.get(), always.size(), 81, 0), 0u);
    expect_received("tarn", {{kInit, word(0)},
                             {kWhite, std::string("a.example.com")},
                             {kWhite, std::string("c.example.com")},
                             {kDefault, words({80, 2})}});
    auto whites = zxtest::at_line(traces(), zxhost::TraceRecord::Trace,
                                  line_after(definition("ZX_JNI_httpForwardStart"), "\"whiteDestAddr%u:%s\""), kFile);
    ASSERT_EQ(whites.size(), 2u);
    EXPECT_EQ(whites[0].text, "whiteDestAddr0:a.example.com");
    EXPECT_EQ(whites[1].text, "whiteDestAddr2:c.example.com");
}

TEST_F(TernForward, DenyOtherPackageChangesNothing) {
    Lists white{"w.example.com"};
    Lists always{"a.example.com"};
    ASSERT_EQ(ZX_JNI_httpForwardStart(1, 8081, white.get(), 1, always.get(), 1, 8080, 1), 0u);
    auto with = take_received("tarn");
    ASSERT_EQ(ZX_JNI_httpForwardStart(1, 8081, white.get(), 1, always.get(), 1, 8080, 0), 0u);
    auto without = take_received("tarn");
    ASSERT_EQ(with.size(), 4u);
    ASSERT_EQ(without.size(), with.size());
    for (size_t i = 0; i < with.size(); ++i) {
        EXPECT_EQ(with[i].msgId, without[i].msgId);
        EXPECT_EQ(with[i].data, without[i].data);
    }
}

TEST_F(TernForward, A300CharacterAddressIsCutTo256) {
    const std::string addr(300, 'q');
    Lists always{addr.c_str()};
    ASSERT_EQ(ZX_JNI_httpForwardStart(1, 8081, nullptr, 0, always.get(), 1, 65535, 0), 0u);
    std::string rec = always_record(65535, addr);
    ASSERT_EQ(rec.size(), 260u);
    EXPECT_EQ(rec.substr(4), std::string(256, 'q'));  // no terminator inside the record
    expect_received("tarn", {{kInit, word(0)}, {kAlways, rec}, {kDefault, words({8081, 1})}});
    JsonPtr state = sim_.state("tarn");
    EXPECT_EQ(text(at(member(member(state.get(), "httpForward"), "alwaysForward"), 0), "addr"), std::string(256, 'q'));
}

TEST_F(TernForward, AStartFailingAtEachStepStopsThereAndUndoesNothing) {
    Lists white{"w1.example.com", "w2.example.com"};
    Lists always{"a1.example.com"};
    auto start = [&] {
        return ZX_JNI_httpForwardStart(1, 8081, white.get(), white.size(), always.get(), always.size(), 8080, 0);
    };
    const std::string fn = "ZX_JNI_httpForwardStart";

    inject_status("tarn", kInit, kDown, 1);
    EXPECT_EQ(start(), 1u);
    auto [t1, w1] = failure_lines(fn, "ZX_TARN_RPC_HTTP_FORWARD_INIT");
    auto records = traces();
    expect_trace(records, t1, "ZX_TARN_RPC_HTTP_FORWARD_INIT return failed");
    expect_last_word_1(records, w1, kDown);
    expect_received("tarn", {{kInit, word(0)}});

    inject_status("tarn", kWhite, kDown, 1);
    EXPECT_EQ(start(), 1u);
    auto [t2, w2] = failure_lines(fn, "ZX_TARN_RPC_HTTP_FORWARD_ADD_WHITENAME_LIST");
    records = traces();
    expect_trace(records, t2, "ZX_TARN_RPC_HTTP_FORWARD_ADD_WHITENAME_LIST return failed");
    expect_last_word_1(records, w2, kDown);
    expect_received("tarn", {{kInit, word(0)}, {kWhite, std::string("w1.example.com")}});

    inject_status("tarn", kAlways, kDown, 1);
    EXPECT_EQ(start(), 1u);
    auto [t3, w3] = failure_lines(fn, "ZX_TARN_RPC_HTTP_FORWARD_SET_ALWAYS_FORWARD_RULE");
    records = traces();
    expect_trace(records, t3, "ZX_TARN_RPC_HTTP_FORWARD_SET_ALWAYS_FORWARD_RULE return failed");
    expect_last_word_1(records, w3, kDown);
    expect_received("tarn", {{kInit, word(0)},
                             {kWhite, std::string("w1.example.com")},
                             {kWhite, std::string("w2.example.com")},
                             {kAlways, always_record(8080, "a1.example.com")}});
    // The white list sent before stays with the service.
    JsonPtr state = sim_.state("tarn");
    json_object* fwd = member(state.get(), "httpForward");
    EXPECT_EQ(json_object_array_length(member(fwd, "whiteList")), 2u);
    EXPECT_FALSE(flag(fwd, "running"));

    inject_status("tarn", kDefault, kDown, 1);
    EXPECT_EQ(start(), 1u);
    auto [t4, w4] = failure_lines(fn, "ZX_TARN_RPC_HTTP_FORWARD_SET_DEFAULT_FORWARD_RULE");
    records = traces();
    expect_trace(records, t4, "ZX_TARN_RPC_HTTP_FORWARD_SET_DEFAULT_FORWARD_RULE return failed");
    expect_last_word_1(records, w4, kDown);
    EXPECT_EQ(take_received("tarn").size(), 5u);
    state = sim_.state("tarn");
    fwd = member(state.get(), "httpForward");
    EXPECT_EQ(json_object_array_length(member(fwd, "whiteList")), 2u);
    EXPECT_EQ(json_object_array_length(member(fwd, "alwaysForward")), 1u);
    EXPECT_FALSE(flag(fwd, "running"));
}

TEST_F(TernForward, AuthSendsTheAddressWithoutTerminatorAndStopClearsEverything) {
    Lists white{"w.example.com"};
    ASSERT_EQ(ZX_JNI_httpForwardStart(1, 8081, white.get(), 1, nullptr, 0, 8080, 0), 0u);
    take_received("tarn");
    traces();
    const std::string def = definition("ZX_JNI_httpForwardSetAuth");
    ASSERT_EQ(ZX_JNI_httpForwardSetAuth("192.168.1.2"), 0u);
    expect_received("tarn", {{kAuth, std::string("192.168.1.2")}});
    auto records = traces();
    expect_trace(records, line_after(def, "\"ZX_JNI_httpForwardSetAuth called\""), "ZX_JNI_httpForwardSetAuth called");
    expect_trace(records, line_after(def, "\"ZX_JNI_httpForwardSetAuth return success\""),
                 "ZX_JNI_httpForwardSetAuth return success");
    JsonPtr state = sim_.state("tarn");
    EXPECT_STREQ(json_object_get_string(at(member(member(state.get(), "httpForward"), "authorised"), 0)),
                 "192.168.1.2");

    ASSERT_EQ(ZX_JNI_httpForwardStop(), 0u);
    expect_received("tarn", {{kStop, word(0)}});
    expect_trace(traces(), line_after(definition("ZX_JNI_httpForwardStop"), "\"ZX_JNI_httpForwardStop called\""),
                 "ZX_JNI_httpForwardStop called");
    state = sim_.state("tarn");
    json_object* fwd = member(state.get(), "httpForward");
    EXPECT_FALSE(flag(fwd, "initialised"));
    EXPECT_FALSE(flag(fwd, "running"));
    EXPECT_EQ(json_object_array_length(member(fwd, "whiteList")), 0u);
    EXPECT_EQ(json_object_array_length(member(fwd, "authorised")), 0u);
}

TEST_F(TernForward, AuthOfANullOrEmptyAddressAnswersOneWithoutARequest) {
    const std::string def = definition("ZX_JNI_httpForwardSetAuth");
    uint32_t word_line = line_after(def, "last_word(Line(__LINE__), 1)");
    for (const char* addr : {static_cast<const char*>(nullptr), ""}) {
        EXPECT_EQ(ZX_JNI_httpForwardSetAuth(addr), 1u);
        auto records = traces();
        expect_last_word_1(records, word_line, 1);
        expect_trace(records, line_after(def, "\"null srcAddr\""), "null srcAddr");
    }
    expect_received("tarn", {});
}

TEST_F(TernForward, AFailedAuthRecordsTheLastWordBeforeTheTrace) {
    // Not initialised: the service refuses the source.
    ASSERT_EQ(ZX_JNI_httpForwardSetAuth("192.168.1.3"), 1u);
    const std::string def = definition("ZX_JNI_httpForwardSetAuth");
    uint32_t trace = line_after(def, "\"ZX_TARN_RPC_HTTP_FORWARD_ADD_AUTH return failed\"");
    auto records = unit_records(traces());
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records[1].kind, zxhost::TraceRecord::LastWord1);
    EXPECT_EQ(records[1].line, trace - 1);
    EXPECT_EQ(records[1].code, 0xF7307001u);
    EXPECT_EQ(records[2].kind, zxhost::TraceRecord::Trace);
    EXPECT_EQ(records[2].line, trace);
    EXPECT_EQ(records[2].text, "ZX_TARN_RPC_HTTP_FORWARD_ADD_AUTH return failed");
    expect_received("tarn", {{kAuth, std::string("192.168.1.3")}});
}

TEST_F(TernForward, AFailedStopAnswersOne) {
    inject_status("tarn", kStop, kDown, 1);
    EXPECT_EQ(ZX_JNI_httpForwardStop(), 1u);
    auto [t, w] = failure_lines("ZX_JNI_httpForwardStop", "ZX_TARN_RPC_HTTP_FORWARD_STOP");
    auto records = traces();
    expect_trace(records, t, "ZX_TARN_RPC_HTTP_FORWARD_STOP return failed");
    expect_last_word_1(records, w, kDown);
    take_received("tarn");
}

// The 56-byte NAT record.
std::string nat_record(uint32_t op, uint32_t port, const std::string& a1, const std::string& a2, const std::string& t3) {
    return words({op, port}) + padded(a1, 16) + padded(a2, 16) + padded(t3, 16);
}

TEST_F(TernNat, AddAndDeleteSendThe56ByteRecordAndTheServiceKeepsTheRules) {
    ASSERT_EQ(ZX_JNI_ipcSetNatInfo(1, "192.168.1.2", "100.64.12.34", 65535, "TCP"), 0u);
    std::string add = nat_record(1, 65535, "192.168.1.2", "100.64.12.34", "TCP");
    ASSERT_EQ(add.size(), 56u);
    auto got = expect_received("app_m", {{kNat, add}});
    EXPECT_EQ(got[0].replyCap, 128u);
    JsonPtr state = sim_.state("app_m");
    json_object* rules = member(state.get(), "natRules");
    ASSERT_EQ(json_object_array_length(rules), 1u);
    EXPECT_EQ(num(at(rules, 0), "port"), 65535);
    EXPECT_EQ(text(at(rules, 0), "addr1"), "192.168.1.2");
    EXPECT_EQ(text(at(rules, 0), "text3"), "TCP");
    expect_no_last_word(traces());

    // A duplicate add is the service's error, answered as the status.
    uint32_t line = line_after(definition("ZX_JNI_ipcSetNatInfo"), "last_word(Line");
    EXPECT_EQ(ZX_JNI_ipcSetNatInfo(1, "192.168.1.2", "100.64.12.34", 65535, "TCP"), 0xF7103A01u);
    expect_last_word_1(traces(), line, 0xF7103A01);
    ASSERT_EQ(ZX_JNI_ipcSetNatInfo(0, "192.168.1.2", "100.64.12.34", 65535, "TCP"), 0u);
    EXPECT_EQ(ZX_JNI_ipcSetNatInfo(0, "192.168.1.2", "100.64.12.34", 65535, "TCP"), 0xF7103A02u);
    expect_received("app_m", {{kNat, add}, {kNat, nat_record(0, 65535, "192.168.1.2", "100.64.12.34", "TCP")},
                              {kNat, nat_record(0, 65535, "192.168.1.2", "100.64.12.34", "TCP")}});
    state = sim_.state("app_m");
    EXPECT_EQ(json_object_array_length(member(state.get(), "natRules")), 0u);
}

TEST_F(TernNat, Port65536AndInvalidAddressesAnswerOneWithoutARequest) {
    uint32_t line = line_after(definition("ZX_JNI_ipcSetNatInfo"), "fail(Line(__LINE__), 1, uiPort");
    EXPECT_EQ(ZX_JNI_ipcSetNatInfo(1, "192.168.1.2", "100.64.12.34", 65536, "TCP"), 1u);
    expect_last_word(traces(), line, 1, {65536});
    EXPECT_EQ(ZX_JNI_ipcSetNatInfo(1, "300.1.1.1", "100.64.12.34", 80, "TCP"), 1u);
    expect_last_word(traces(), line, 1, {80});
    EXPECT_EQ(ZX_JNI_ipcSetNatInfo(1, "192.168.1.2", "300.1.1.1", 80, "TCP"), 1u);
    expect_last_word(traces(), line, 1, {80});
    uint32_t nullLine = line_after(definition("ZX_JNI_ipcSetNatInfo"), "fail(Line(__LINE__), 1);");
    EXPECT_EQ(ZX_JNI_ipcSetNatInfo(1, nullptr, "1.2.3.4", 80, "TCP"), 1u);
    EXPECT_EQ(ZX_JNI_ipcSetNatInfo(1, "1.2.3.4", nullptr, 80, "TCP"), 1u);
    EXPECT_EQ(ZX_JNI_ipcSetNatInfo(1, "1.2.3.4", "1.2.3.4", 80, nullptr), 1u);
    EXPECT_EQ(zxtest::at_line(traces(), zxhost::TraceRecord::LastWord1, nullLine, kFile).size(), 3u);
    expect_received("app_m", {});
}

TEST_F(TernNat, ALongThirdTextIsCutTo15Characters) {
    ASSERT_EQ(ZX_JNI_ipcSetNatInfo(1, "1.2.3.4", "5.6.7.8", 0, "0123456789ABCDEFGHIJ"), 0u);
    expect_received("app_m", {{kNat, nat_record(1, 0, "1.2.3.4", "5.6.7.8", "0123456789ABCDE")}});
}

TEST_F(TernNat, AFailedCallAnswersItsStatus) {
    inject_status("app_m", kNat, kDown, 1);
    EXPECT_EQ(ZX_JNI_ipcSetNatInfo(1, "1.2.3.4", "5.6.7.8", 80, "UDP"), kDown);
    expect_last_word_1(traces(), line_after(definition("ZX_JNI_ipcSetNatInfo"), "last_word(Line"), kDown);
    take_received("app_m");
}

}  // namespace
}  // namespace terntest
