// Result codes and JSON helpers of the plug-in platform API: the bundle-manager code table with
// its trace, the boolean check, the result JSON of a service's answer and the release of json-c
// objects.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "trace_lines.h"
#include "zx_velm_jni_api.h"

namespace {

using zxtest::L1;
using zxtest::T;
using zxtest::take_records;

constexpr const char* kFile = "../velm/zx_velm_jni_api";

class VelmResults : public testing::Test {
protected:
    void SetUp() override { zxhost::trace_capture_start(); }
    void TearDown() override { zxhost::trace_capture_stop(); }
};

std::string convert_trace(uint32_t code, int32_t result) {
    char text[96];
    std::snprintf(text, sizeof text, "Module ret:[%u][%x] ZX ret:%u\r\n", code, code, static_cast<uint32_t>(result));
    return T(249, kFile, 460, text);
}

struct Row {
    uint32_t code;
    int32_t result;
};

// The table as the bundle manager's codes are documented, row by row.
const Row kTable[] = {
    {0x00000000, 0},   {0xFFFFFFFF, -1},  {0xF7213003, -3},   {0xF7213002, -4},   {0xF7212001, -5},   {0xF7213009, -6},
    {0xF7213006, -7},  {0x0000000C, -8},  {0x00000004, -9},   {0xF7204030, -9},   {0x00000007, -10},  {0xF7213008, -11},
    {0xF721300A, -12}, {0xF7213010, -13}, {0xF721300B, -14},  {0xF721300C, -15},  {0x00000006, -17},  {0xF7213007, -18},
    {0x00000008, -19}, {0x00000009, -20}, {0x0000000A, -21},  {0x00000001, -22},  {0x00000003, -23},  {0x0000000B, -24},
    {0xF720403F, -25}, {0xF721300D, -27}, {0xF710403D, -100}, {0x0000000F, -100}, {0x00000012, -100},
};

TEST_F(VelmResults, EveryTableRowConvertsAndIsTraced) {
    for (const Row& row : kTable) {
        EXPECT_EQ(ZX_OSGI_JNI_ZXErrConvert(row.code), row.result) << std::hex << row.code;
        EXPECT_EQ(take_records(), std::vector<std::string>{convert_trace(row.code, row.result)});
    }
}

TEST_F(VelmResults, CodesOutsideTheTableGiveMinusOneTracedAsUnsigned) {
    // 2 sits between rows.
    EXPECT_EQ(ZX_OSGI_JNI_ZXErrConvert(2), -1);
    EXPECT_EQ(take_records(), std::vector<std::string>{T(249, kFile, 460, "Module ret:[2][2] ZX ret:4294967295\r\n")});
    // The bundle manager's "not running" code has no row at all.
    for (uint32_t code : {5u, 0x10u, 0xF7801303u, 0xF7213001u}) {
        EXPECT_EQ(ZX_OSGI_JNI_ZXErrConvert(code), -1) << std::hex << code;
        EXPECT_EQ(take_records(), std::vector<std::string>{convert_trace(code, -1)});
    }
}

TEST_F(VelmResults, SharedResultsAndResultsNeverProduced) {
    EXPECT_EQ(ZX_OSGI_JNI_ZXErrConvert(4), -9);
    EXPECT_EQ(ZX_OSGI_JNI_ZXErrConvert(0xF7204030), -9);
    EXPECT_EQ(ZX_OSGI_JNI_ZXErrConvert(0xF710403D), -100);
    EXPECT_EQ(ZX_OSGI_JNI_ZXErrConvert(0x0F), -100);
    EXPECT_EQ(ZX_OSGI_JNI_ZXErrConvert(0x12), -100);
    for (uint32_t code = 0; code < 0x100; ++code) {
        int32_t r = ZX_OSGI_JNI_ZXErrConvert(code);
        EXPECT_TRUE(r != -2 && r != -16 && r != -26) << code;
    }
}

TEST_F(VelmResults, OnlyZeroAndOneAreBooleans) {
    EXPECT_TRUE(ZX_JNI_IsValidBoolean(0));
    EXPECT_TRUE(ZX_JNI_IsValidBoolean(1));
    EXPECT_FALSE(ZX_JNI_IsValidBoolean(2));
    EXPECT_FALSE(ZX_JNI_IsValidBoolean(0x80000000));
    EXPECT_FALSE(ZX_JNI_IsValidBoolean(0xFFFFFFFF));
}

ZX_WIRE_RESULT_REASON_S reply(int32_t result, const char* reason) {
    ZX_WIRE_RESULT_REASON_S r{};
    r.iResult = result;
    std::strncpy(r.acFailReason, reason, sizeof r.acFailReason - 1);
    return r;
}

TEST_F(VelmResults, SuccessDropsTheReason) {
    ZX_WIRE_RESULT_REASON_S r = reply(0, "ignored");
    char buf[128];
    std::memset(buf, 'x', sizeof buf);
    ZX_JNI_BuildResultJson(buf, sizeof buf, &r);
    EXPECT_STREQ(buf, "{\"Result\":0}");
}

TEST_F(VelmResults, FailureCarriesTheReasonUnescaped) {
    ZX_WIRE_RESULT_REASON_S r = reply(-5, "device \"ttyUSB0\" busy");
    char buf[128];
    ZX_JNI_BuildResultJson(buf, sizeof buf, &r);
    EXPECT_STREQ(buf, "{\"Result\":-5,\"FailReason\":\"device \"ttyUSB0\" busy\"}");

    r = reply(-1, "");
    ZX_JNI_BuildResultJson(buf, sizeof buf, &r);
    EXPECT_STREQ(buf, "{\"Result\":-1,\"FailReason\":\"\"}");
    EXPECT_TRUE(take_records().empty());
}

TEST_F(VelmResults, ResultTextIsCutToTheBuffer) {
    ZX_WIRE_RESULT_REASON_S r = reply(-3, "no space");
    char buf[16];
    std::memset(buf, 'x', sizeof buf);
    ZX_JNI_BuildResultJson(buf, 10, &r);
    EXPECT_STREQ(buf, "{\"Result\"");  // nine characters and the terminator
    EXPECT_EQ(std::string(buf + 10, 6), "xxxxxx") << "nothing is written past the size given";
}

TEST_F(VelmResults, ReleasingNullIsRecordedButAnsweredZero) {
    EXPECT_EQ(VELM_JSON_ObjPut(nullptr), 0u);
    EXPECT_EQ(take_records(), std::vector<std::string>{L1(kFile, 83, ZX_JNI_ERR_JSON_NULL)});
}

TEST_F(VelmResults, ReleaseAnswersWhatJsonCSays) {
    json_object* obj = json_object_new_object();
    ASSERT_NE(obj, nullptr);
    json_object_get(obj);                  // a second reference
    EXPECT_EQ(VELM_JSON_ObjPut(obj), 0u);  // still referenced
    EXPECT_EQ(VELM_JSON_ObjPut(obj), 1u);  // freed
    EXPECT_TRUE(take_records().empty());
}

}  // namespace
