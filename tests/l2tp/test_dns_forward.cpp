// DNS forwarding rules and their per-server statistic at "tarn".
#include "l2tp_fixture.h"

namespace {

using namespace l2tptest;
using zxhost::TraceRecord;
using zxtest::json_int;
using zxtest::json_text;

constexpr uint32_t kAdd = 0x48304170;
constexpr uint32_t kDel = 0x48304171;
constexpr uint32_t kStat = 0x48304172;

const std::string kDomains = "a.com";
const std::string kServer15 = "192.168.100.200";

class DnsForwardTest : public L2tpTest {
protected:
    void expect_block_call(uint32_t msgId, const std::string& payload) {
        Received rec = only_received("tarn");
        expect_tarn_call(rec, msgId, 4);
        json_object* decoded = rec.decoded.get();
        json_object* block = member(decoded, "block");
        uint32_t len = static_cast<uint32_t>(payload.size());
        EXPECT_EQ(hex(rec.data), hex(word(static_cast<uint32_t>(json_int(block, "id"))) + word(len) + word(len)));
        EXPECT_EQ(json_text(decoded, "payload"), hex(payload));
    }

    json_object* state(JsonPtr& holder) {
        holder = sim_.state("tarn");
        return holder.get();
    }
};

TEST_F(DnsForwardTest, AddSendsDomainsAndAFifteenCharacterServer) {
    EXPECT_EQ(ZX_TARN_AddDnsForward(kDomains.c_str(), 5, kServer15.c_str()), 0u);
    expect_block_call(kAdd, z(kDomains) + z(kServer15));
    auto t = traces();
    expect_trace(t, 217, 869, "a.com[5] 192.168.100.200\r\n");
    expect_no_last_word(t);
    JsonPtr holder;
    json_object* rules = member(state(holder), "dnsForward");
    ASSERT_EQ(json_object_array_length(rules), 1u);
    EXPECT_EQ(json_text(json_object_array_get_idx(rules, 0), "domains"), kDomains);
    EXPECT_EQ(json_text(json_object_array_get_idx(rules, 0), "server"), kServer15);
}

TEST_F(DnsForwardTest, AddRefusesASixteenCharacterServerAndEmptyOrMissingData) {
    EXPECT_EQ(ZX_TARN_AddDnsForward(kDomains.c_str(), 5, "192.168.100.2001"), 1u);
    expect_last_word(traces(), 865, 1, {5, 5, 16, 0});
    EXPECT_EQ(ZX_TARN_AddDnsForward("", 0, kServer15.c_str()), 1u);
    expect_last_word(traces(), 865, 1, {0, 0, 15, 0});
    EXPECT_EQ(ZX_TARN_AddDnsForward(kDomains.c_str(), 4, kServer15.c_str()), 1u);
    expect_last_word(traces(), 865, 1, {5, 4, 15, 0});
    EXPECT_EQ(ZX_TARN_AddDnsForward(nullptr, 5, kServer15.c_str()), 1u);
    expect_last_word_1(traces(), 859, 1);
    EXPECT_EQ(ZX_TARN_AddDnsForward(kDomains.c_str(), 5, nullptr), 1u);
    expect_last_word_1(traces(), 859, 1);
    expect_received("tarn", {});
}

TEST_F(DnsForwardTest, DeleteSendsTheDomainsAndRemovesTheRule) {
    ASSERT_EQ(ZX_TARN_AddDnsForward(kDomains.c_str(), 5, kServer15.c_str()), 0u);
    EXPECT_EQ(only_received("tarn").msgId, kAdd);
    traces();
    EXPECT_EQ(ZX_TARN_DelDnsForward(kDomains.c_str(), 5), 0u);
    expect_block_call(kDel, z(kDomains));
    auto t = traces();
    expect_trace(t, 217, 931, "a.com[5] \r\n");
    expect_no_last_word(t);
    JsonPtr holder;
    EXPECT_EQ(json_object_array_length(member(state(holder), "dnsForward")), 0u);
}

TEST_F(DnsForwardTest, DeleteRefusesEmptyOrMissingData) {
    EXPECT_EQ(ZX_TARN_DelDnsForward("", 0), 1u);
    expect_last_word(traces(), 927, 1, {0, 0, 0, 0});
    EXPECT_EQ(ZX_TARN_DelDnsForward(nullptr, 3), 1u);
    expect_last_word_1(traces(), 921, 1);
    expect_received("tarn", {});
}

TEST_F(DnsForwardTest, APayloadThatCannotBeAllocatedGivesOne) {
    zxhost::alloc_fail_at(kFile, 872);
    EXPECT_EQ(ZX_TARN_AddDnsForward(kDomains.c_str(), 5, kServer15.c_str()), 1u);
    expect_last_word(traces(), 875, 1, {5 + 2 + 15, 0, 0, 0});
    zxhost::alloc_fail_at(kFile, 935);
    EXPECT_EQ(ZX_TARN_DelDnsForward(kDomains.c_str(), 5), 1u);
    expect_last_word(traces(), 938, 1, {6, 0, 0, 0});
    expect_received("tarn", {});
}

TEST_F(DnsForwardTest, ABlockThatCannotBeWrittenIsRecordedAndNothingIsSent) {
    std::string data(3000, 'd');  // above 2048 bytes: the block write needs its compression buffer
    zxhost::alloc_fail_at(kFile, 76);
    EXPECT_EQ(ZX_TARN_AddDnsForward(data.c_str(), data.size(), "8.8.8.8"), 0xF7108001u);
    expect_last_word(traces(), 888, 0xF7108001, {3000 + 2 + 7, 0, 0, 0});
    EXPECT_EQ(ZX_TARN_DelDnsForward(data.c_str(), data.size()), 0xF7108001u);
    expect_last_word(traces(), 950, 0xF7108001, {3001, 0, 0, 0});
    expect_received("tarn", {});
}

TEST_F(DnsForwardTest, AFailedCallIsRecordedAndReturned) {
    inject_status("tarn", kAdd, 0xF7000555);
    inject_status("tarn", kDel, 0xF7000556);
    EXPECT_EQ(ZX_TARN_AddDnsForward(kDomains.c_str(), 5, kServer15.c_str()), 0xF7000555u);
    expect_last_word_1(traces(), 896, 0xF7000555);
    EXPECT_EQ(ZX_TARN_DelDnsForward(kDomains.c_str(), 5), 0xF7000556u);
    expect_last_word_1(traces(), 958, 0xF7000556);
    // Both blocks were written; the service failed before reading them.
    EXPECT_EQ(zxhost::vdata_list().size(), 2u);
    expectNoBlocks_ = false;
}

TEST_F(DnsForwardTest, TheStatisticIsThePerServerCount) {
    ASSERT_TRUE(sim_.set_state("tarn", "dnsStatistic", StateValue::object({{"8.8.8.8", 42}})));
    uint32_t n = 0;
    EXPECT_EQ(ZX_TARN_GetDnsForwardStatistic("8.8.8.8", &n), 0u);
    EXPECT_EQ(n, 42u);
    Received rec = only_received("tarn");
    expect_tarn_call(rec, kStat, 4);
    EXPECT_EQ(hex(rec.data), hex(z("8.8.8.8")));
    auto t = traces();
    expect_trace(t, 217, 987, "8.8.8.8[7]\r\n");
    expect_no_last_word(t);
    // A server with a new rule starts at 0.
    ASSERT_EQ(ZX_TARN_AddDnsForward(kDomains.c_str(), 5, kServer15.c_str()), 0u);
    EXPECT_EQ(ZX_TARN_GetDnsForwardStatistic(kServer15.c_str(), &n), 0u);
    EXPECT_EQ(n, 0u);
}

TEST_F(DnsForwardTest, TheCountKeepsItsValueAfterAnyFailure) {
    uint32_t n = 99;
    std::string s256(256, '1');
    EXPECT_EQ(ZX_TARN_GetDnsForwardStatistic(s256.c_str(), &n), 1u);
    expect_last_word(traces(), 991, 1, {256, 0, 0, 0});
    EXPECT_EQ(n, 99u);
    expect_received("tarn", {});
    EXPECT_EQ(ZX_TARN_GetDnsForwardStatistic(nullptr, &n), 1u);
    expect_last_word_1(traces(), 983, 1);
    EXPECT_EQ(ZX_TARN_GetDnsForwardStatistic("8.8.8.8", nullptr), 1u);
    expect_last_word_1(traces(), 983, 1);
    inject_status("tarn", kStat, 0xF7000999);
    EXPECT_EQ(ZX_TARN_GetDnsForwardStatistic("8.8.8.8", &n), 0xF7000999u);
    expect_last_word_1(traces(), 997, 0xF7000999);
    EXPECT_EQ(n, 99u);
}

}  // namespace
