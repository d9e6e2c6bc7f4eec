// VPN destination and source address lists and the tunnel status, end to end against "tarn".
#include "l2tp_fixture.h"

namespace {

using namespace l2tptest;
using zxhost::TraceRecord;
using zxtest::json_int;
using zxtest::json_text;

constexpr uint32_t kAdd = 0x48304182;
constexpr uint32_t kDel = 0x48304183;
constexpr uint32_t kStatus = 0x48304187;
constexpr uint32_t kSetup = 0x48304180;

const std::string kList = "10.0.0.0/8;192.168.5.1";
const std::string kLns = "198.51.100.9";
const std::string kUser = "alice";
const std::string kPass = "s3cret";

// The payload the service must find in the block.
std::string payload(const std::string& list, uint32_t kind, const std::string& tunnel = "", size_t extra = 0) {
    std::string p = z(list) + z(kLns) + z(kUser) + z(kPass) + word(kind);
    if (!tunnel.empty()) p += z(tunnel) + std::string(extra, '\0');
    return p;
}

class VpnListTest : public L2tpTest {
protected:
    // Checks the one call "tarn" received: the 12-byte block record as request, a 4-byte reply,
    // and the payload the service read from the block.
    void expect_list_call(uint32_t msgId, const std::string& expected, bool compressed) {
        Received rec = only_received("tarn");
        expect_tarn_call(rec, msgId, 4);
        json_object* decoded = rec.decoded.get();
        json_object* block = member(decoded, "block");
        uint32_t id = static_cast<uint32_t>(json_int(block, "id"));
        uint32_t stored = static_cast<uint32_t>(json_int(block, "storedLen"));
        EXPECT_EQ(json_int(block, "originalLen"), static_cast<int64_t>(expected.size()));
        EXPECT_EQ(json_object_get_boolean(member(block, "compressed")), compressed);
        if (!compressed) {
            EXPECT_EQ(stored, expected.size());
        }
        EXPECT_EQ(hex(rec.data), hex(word(id) + word(static_cast<uint32_t>(expected.size())) + word(stored)));
        EXPECT_EQ(json_text(decoded, "payload"), hex(expected));
    }

    void expect_no_call() { expect_received("tarn", {}); }
};

TEST_F(VpnListTest, AddingADestinationListSendsItsPayloadInABlock) {
    uint32_t rc =
        ZX_TARN_AddVpnDestAddr(kList.c_str(), kList.size(), kLns.c_str(), kUser.c_str(), kPass.c_str(), nullptr);
    EXPECT_EQ(rc, 0u);
    expect_list_call(kAdd, payload(kList, 0), false);
    auto t = traces();
    expect_trace(t, 216, 267, "addrList[" + kList + "] Len[22] ip[" + kLns + "]  TunnelName[na.]\r\n");
    auto stored = at_line(t, TraceRecord::Trace, 318);
    ASSERT_EQ(stored.size(), 1u);
    EXPECT_EQ(stored[0].text.rfind("\r\n uiOriginalLen[53] uiCompressedLen[53] uivDataID[", 0), 0u) << stored[0].text;
    expect_no_last_word(t);

    JsonPtr state = sim_.state("tarn");
    json_object* lists = member(state.get(), "vpnAddressLists");
    ASSERT_EQ(json_object_array_length(lists), 1u);
    json_object* entry = json_object_array_get_idx(lists, 0);
    EXPECT_EQ(json_text(entry, "kind"), "dest");
    EXPECT_EQ(json_text(entry, "list"), kList);
    EXPECT_EQ(json_text(entry, "lns"), kLns);
}

TEST_F(VpnListTest, AddAndDeleteIdsForBothListKindsTheKindWordTellsThemApart) {
    EXPECT_EQ(ZX_TARN_AddVpnDestAddr(kList.c_str(), kList.size(), kLns.c_str(), kUser.c_str(), kPass.c_str(), "t1"),
              0u);
    expect_list_call(kAdd, payload(kList, 0, "t1"), false);
    EXPECT_EQ(ZX_TARN_DelVpnDestAddr(kList.c_str(), kList.size(), kLns.c_str(), kUser.c_str(), kPass.c_str(), "t1"),
              0u);
    expect_list_call(kDel, payload(kList, 0, "t1"), false);
    // The source payload carries four further zero bytes after the tunnel name.
    EXPECT_EQ(ZX_TARN_AddVpnSrcAddr(kList.c_str(), kList.size(), kLns.c_str(), kUser.c_str(), kPass.c_str(), "t1"), 0u);
    expect_list_call(kAdd, payload(kList, 1, "t1", 4), false);
    JsonPtr state = sim_.state("tarn");
    json_object* lists = member(state.get(), "vpnAddressLists");
    ASSERT_EQ(json_object_array_length(lists), 1u);  // the destination list was deleted again
    EXPECT_EQ(json_text(json_object_array_get_idx(lists, 0), "kind"), "src");
    EXPECT_EQ(ZX_TARN_DelVpnSrcAddr(kList.c_str(), kList.size(), kLns.c_str(), kUser.c_str(), kPass.c_str(), "t1"), 0u);
    expect_list_call(kDel, payload(kList, 1, "t1", 4), false);
    auto t = traces();
    auto src = at_line(t, TraceRecord::Trace, 361);
    ASSERT_EQ(src.size(), 2u);
    for (const auto& r : src) EXPECT_EQ(r.text, "addrList[" + kList + "] Len[22] ip[" + kLns + "]  TunnelName[t1]\r\n");
    EXPECT_EQ(at_line(t, TraceRecord::Trace, 414).size(), 2u);
    expect_no_last_word(t);
    state = sim_.state("tarn");
    EXPECT_EQ(json_object_array_length(member(state.get(), "vpnAddressLists")), 0u);
}

TEST_F(VpnListTest, ALongListIsCompressedAndTheTwoLengthsDiffer) {
    std::string list;
    while (list.size() < 3000) list += "10.1." + std::to_string(list.size() % 256) + ".0/24;";
    list.resize(3000);
    EXPECT_EQ(ZX_TARN_AddVpnDestAddr(list.c_str(), list.size(), kLns.c_str(), kUser.c_str(), kPass.c_str(), nullptr),
              0u);
    expect_list_call(kAdd, payload(list, 0), true);
}

TEST_F(VpnListTest, A262144ByteListIsRefusedBeforeAnyOtherCheck) {
    std::string list(262144, 'a');
    // Credentials missing as well: the length rule comes first.
    EXPECT_EQ(ZX_TARN_AddVpnDestAddr(list.c_str(), list.size(), nullptr, nullptr, nullptr, nullptr), 257u);
    expect_last_word_1(traces(), 260, 257);
    EXPECT_EQ(ZX_TARN_AddVpnSrcAddr(nullptr, 262144, nullptr, nullptr, nullptr, nullptr), 257u);
    expect_last_word_1(traces(), 354, 257);
    // One byte less passes the first rule and meets the next one.
    EXPECT_EQ(ZX_TARN_AddVpnDestAddr(nullptr, 262143, nullptr, nullptr, nullptr, nullptr), 1u);
    expect_last_word_1(traces(), 261, 1);
    expect_no_call();
}

TEST_F(VpnListTest, MissingArgumentsGiveOneInTheirOrder) {
    EXPECT_EQ(ZX_TARN_AddVpnDestAddr(nullptr, 10, kLns.c_str(), kUser.c_str(), kPass.c_str(), nullptr), 1u);
    expect_last_word_1(traces(), 261, 1);
    EXPECT_EQ(ZX_TARN_AddVpnDestAddr(kList.c_str(), kList.size(), kLns.c_str(), kUser.c_str(), nullptr, nullptr), 1u);
    expect_last_word_1(traces(), 262, 1);
    EXPECT_EQ(ZX_TARN_DelVpnSrcAddr(nullptr, 10, kLns.c_str(), kUser.c_str(), kPass.c_str(), nullptr), 1u);
    expect_last_word_1(traces(), 355, 1);
    EXPECT_EQ(ZX_TARN_DelVpnSrcAddr(kList.c_str(), kList.size(), nullptr, kUser.c_str(), kPass.c_str(), nullptr), 1u);
    expect_last_word_1(traces(), 356, 1);
    expect_no_call();
}

TEST_F(VpnListTest, AnEmbeddedNulMakesTheStatedLengthWrong) {
    const char list[] = "1.1.1.1\0 2.2.2.2";
    EXPECT_EQ(ZX_TARN_AddVpnDestAddr(list, sizeof list - 1, kLns.c_str(), kUser.c_str(), kPass.c_str(), nullptr), 257u);
    expect_last_word(traces(), 270, 257, {7, 16, static_cast<uint32_t>(kLns.size()), 0});
    EXPECT_EQ(ZX_TARN_AddVpnSrcAddr(list, sizeof list - 1, kLns.c_str(), kUser.c_str(), kPass.c_str(), nullptr), 257u);
    expect_last_word(traces(), 364, 257, {7, 16, static_cast<uint32_t>(kLns.size()), 0});
    expect_no_call();
}

TEST_F(VpnListTest, ServerAddressUpTo255AndCredentialsUpTo63Characters) {
    std::string lns255(255, 's'), lns256(256, 's'), pass63(63, 'p'), pass64(64, 'p'), user64(64, 'u');
    EXPECT_EQ(
        ZX_TARN_AddVpnDestAddr(kList.c_str(), kList.size(), lns255.c_str(), kUser.c_str(), pass63.c_str(), nullptr),
        0u);
    Received rec = only_received("tarn");
    EXPECT_EQ(json_text(rec.decoded.get(), "payload"), hex(z(kList) + z(lns255) + z(kUser) + z(pass63) + word(0)));
    traces();

    EXPECT_EQ(
        ZX_TARN_AddVpnDestAddr(kList.c_str(), kList.size(), lns256.c_str(), kUser.c_str(), kPass.c_str(), nullptr),
        257u);
    expect_last_word(traces(), 270, 257, {22, 22, 256, 0});
    EXPECT_EQ(ZX_TARN_AddVpnDestAddr(kList.c_str(), kList.size(), kLns.c_str(), kUser.c_str(), pass64.c_str(), nullptr),
              257u);
    expect_last_word(traces(), 275, 257, {static_cast<uint32_t>(kUser.size()), 64, 0, 0});
}

TEST_F(VpnListTest, OverLongCredentialsAreRefusedAtTheirLine) {
    std::string long64(64, 'x');
    EXPECT_EQ(ZX_TARN_AddVpnDestAddr(kList.c_str(), kList.size(), kLns.c_str(), long64.c_str(), kPass.c_str(), nullptr),
              257u);
    expect_last_word(traces(), 275, 257, {64, static_cast<uint32_t>(kPass.size()), 0, 0});
    EXPECT_EQ(ZX_TARN_AddVpnSrcAddr(kList.c_str(), kList.size(), kLns.c_str(), kUser.c_str(), long64.c_str(), nullptr),
              257u);
    expect_last_word(traces(), 369, 257, {static_cast<uint32_t>(kUser.size()), 64, 0, 0});
    expect_no_call();
}

TEST_F(VpnListTest, APayloadThatCannotBeAllocatedGivesOneAndSendsNothing) {
    zxhost::alloc_fail_at(kFile, 285);
    EXPECT_EQ(ZX_TARN_AddVpnDestAddr(kList.c_str(), kList.size(), kLns.c_str(), kUser.c_str(), kPass.c_str(), nullptr),
              1u);
    expect_last_word(traces(), 288, 1, {53, 22, 0, 0});
    zxhost::alloc_fail_at(kFile, 381);
    EXPECT_EQ(ZX_TARN_AddVpnSrcAddr(kList.c_str(), kList.size(), kLns.c_str(), kUser.c_str(), kPass.c_str(), nullptr),
              1u);
    expect_last_word(traces(), 384, 1, {53, 22, 0, 0});
    expect_no_call();
}

TEST_F(VpnListTest, ABlockThatCannotBeWrittenIsRecordedAndNothingIsSent) {
    // A list above 2048 bytes needs the compression buffer of the block write.
    std::string list(3000, '7');
    uint32_t size = static_cast<uint32_t>(list.size() + 8 + kLns.size() + kUser.size() + kPass.size());
    zxhost::alloc_fail_at(kFile, 76);
    EXPECT_EQ(ZX_TARN_AddVpnDestAddr(list.c_str(), list.size(), kLns.c_str(), kUser.c_str(), kPass.c_str(), nullptr),
              0xF7108001u);
    expect_last_word(traces(), 312, 0xF7108001, {size, 0, 0, 0});
    EXPECT_EQ(ZX_TARN_DelVpnSrcAddr(list.c_str(), list.size(), kLns.c_str(), kUser.c_str(), kPass.c_str(), nullptr),
              0xF7108001u);
    expect_last_word(traces(), 408, 0xF7108001, {size, 0, 0, 0});
    expect_no_call();
}

TEST_F(VpnListTest, AFailedCallIsReturnedAndLeavesTheBlockToThePlatform) {
    inject_status("tarn", kAdd, 0xF7ABCDEF);
    EXPECT_EQ(ZX_TARN_AddVpnDestAddr(kList.c_str(), kList.size(), kLns.c_str(), kUser.c_str(), kPass.c_str(), nullptr),
              0xF7ABCDEFu);
    auto t = traces();
    auto wrapper = at_line(t, TraceRecord::LastWord1, 127);
    ASSERT_EQ(wrapper.size(), 1u);
    EXPECT_EQ(wrapper[0].code, 0xF7ABCDEFu);
    expect_last_word_1(t, 323, 0xF7ABCDEF);
    // The service failed before reading the block, so nobody freed it.
    EXPECT_EQ(zxhost::vdata_list().size(), 1u);
    expectNoBlocks_ = false;
}

TEST_F(VpnListTest, TunnelStatusIsAskedByName) {
    char name[64] = {};
    ASSERT_EQ(ZX_TARN_SetupVpn(kLns.c_str(), 1701, kUser.c_str(), kPass.c_str(), name), 0u);
    EXPECT_EQ(only_received("tarn").msgId, kSetup);
    uint32_t status = 77;
    EXPECT_EQ(ZX_TARN_GetTunnelStatusByName(name, &status), 0u);
    EXPECT_EQ(status, 1u);
    Received rec = only_received("tarn");
    expect_tarn_call(rec, kStatus, 4);
    EXPECT_EQ(hex(rec.data), hex(z(name)));
    EXPECT_EQ(ZX_TARN_GetTunnelStatusByName("nosuch", &status), 0u);
    EXPECT_EQ(status, 0u);
    expect_received("tarn", {{kStatus, z("nosuch")}});
    EXPECT_EQ(ZX_TARN_GetTunnelStatusByName(name, nullptr), 1u);
    expect_last_word_1(traces(), 502, 1);
    inject_status("tarn", kStatus, 0xF7000042);
    EXPECT_EQ(ZX_TARN_GetTunnelStatusByName(name, &status), 0xF7000042u);
    expect_last_word_1(traces(), 505, 0xF7000042);
}

}  // namespace
