// The query list written from a Java String array, the state list read back into the
// "BundleLists" text, and the install progress text, called with a real VM's environment. The
// fixture counts the local references the code makes (none may be left but the text handed back,
// which the case releases) and fails on any JNI warning the VM prints.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "../bridge/jvm.h"
#include "bundle_fixture.h"
#include "zx_velm_bundle.h"
#include "zx_velm_jni_api.h"

extern "C" jstring Java_com_zentrix_nodalis_deviceservice_opco_wap_velm_jni_IBundleManageServiceJNI_queryBundleState(
    JNIEnv*, jobject, jobjectArray);

namespace {

using bundletest::kVelm;
using testing::Contains;
using zxtest::L1;
using zxtest::T;
using zxtest::take_records;

class BundleListTest : public zxtest::JvmTest {
protected:
    void SetUp() override {
        JvmTest::SetUp();
        if (HasFatalFailure()) return;
        zxhost::trace_capture_start();
    }
    void TearDown() override {
        zxhost::alloc_fail_clear();
        zxhost::trace_capture_stop();
        EXPECT_TRUE(zxtest::nothing_left_behind());
        JvmTest::TearDown();
    }

    // A String[] of the texts, made as the VM hands a native its argument (outside the count);
    // nullptr entries stay null.
    jobjectArray strings(const std::vector<const char*>& texts) {
        jclass cls = vm_->FindClass("java/lang/String");
        jobjectArray array = vm_->NewObjectArray(static_cast<jsize>(texts.size()), cls, nullptr);
        for (size_t i = 0; i < texts.size(); ++i) {
            if (!texts[i]) continue;
            jstring s = vm_->NewStringUTF(texts[i]);
            vm_->SetObjectArrayElement(array, static_cast<jsize>(i), s);
            vm_->DeleteLocalRef(s);
        }
        vm_->DeleteLocalRef(cls);
        return array;
    }

    // The query list held in the block rec names (the block is freed by the read).
    std::unique_ptr<OSGI_JNI_QUERY_LIST_S> read_query(const PluginVDataRecord& rec) {
        std::vector<uint8_t> room(ZX_VDATA_PLUGIN_CAPACITY);
        EXPECT_EQ(OSGI_JNI_ReadUnzipVData(&rec, room.data()), 0u);
        auto list = std::make_unique<OSGI_JNI_QUERY_LIST_S>();
        std::memcpy(list.get(), room.data(), sizeof *list);
        return list;
    }

    std::string text(jstring s) {
        if (!s) return "<null>";
        const char* utf = env_->GetStringUTFChars(s, nullptr);
        std::string out(utf);
        env_->ReleaseStringUTFChars(s, utf);
        env_->DeleteLocalRef(s);
        return out;
    }

    // Stores a state list in a block as the bundle manager answers it.
    PluginVDataRecord store_states(const OSGI_JNI_STATE_LIST_S& list) {
        PluginVDataRecord rec{};
        EXPECT_EQ(OSGI_JNI_ZipWriteVData(&rec, &list, sizeof list), 0u);
        return rec;
    }

    zxtest::ScopedBusDir bus_;
};

std::unique_ptr<OSGI_JNI_STATE_LIST_S> states(std::vector<std::vector<const char*>> entries) {
    auto list = std::make_unique<OSGI_JNI_STATE_LIST_S>();
    std::memset(list.get(), 0, sizeof *list);
    list->iCount = static_cast<int32_t>(entries.size());
    for (size_t i = 0; i < entries.size(); ++i) {
        std::strncpy(list->astBundle[i].acBundleName, entries[i][0], sizeof list->astBundle[i].acBundleName);
        std::strncpy(list->astBundle[i].acVersion, entries[i][1], sizeof list->astBundle[i].acVersion);
        std::strncpy(list->astBundle[i].acState, entries[i][2], sizeof list->astBundle[i].acState);
    }
    return list;
}

// ---------------------------------------------------------------------------------------------
// Query list
// ---------------------------------------------------------------------------------------------

TEST_F(BundleListTest, ThreeHundredNamesSendOnlyTheFirst256) {
    std::vector<std::string> names;
    for (int i = 0; i < 300; ++i) names.push_back("bundle." + std::to_string(i));
    std::vector<const char*> texts;
    for (const std::string& n : names) texts.push_back(n.c_str());
    PluginVDataRecord rec{};
    ASSERT_EQ(OSGI_JNI_FillVdataFromJsonPara(&rec, env_, strings(texts)), 0u);
    auto list = read_query(rec);

    auto expected = std::make_unique<OSGI_JNI_QUERY_LIST_S>();
    std::memset(expected.get(), 0, sizeof *expected);
    expected->uiFlag = 1;
    expected->uiCount = 256;
    for (int i = 0; i < 256; ++i) std::strcpy(expected->aacBundleName[i], names[i].c_str());
    EXPECT_EQ(std::memcmp(list.get(), expected.get(), sizeof *list), 0);
    std::vector<std::string> records = take_records();
    EXPECT_EQ(records.front(), T(249, kVelm, 2641, "iCount:256\r\n"));
    EXPECT_EQ(records.size(), 257u);
    EXPECT_EQ(records.back(), T(249, kVelm, 2655, "pcBundleName:bundle.255\r\n"));
    // Each name's references are released before the next is read: the list fits a native's frame.
    EXPECT_EQ(refs_->live(), 0u);
    EXPECT_GE(refs_->made(), 256u) << "the elements read were counted";
    EXPECT_LT(refs_->peak(), static_cast<size_t>(zxtest::kNativeFrameCapacity));
}

TEST_F(BundleListTest, NullElementsLeaveEmptySlotsAndAreNotCounted) {
    std::string longName(200, 'L');
    PluginVDataRecord rec{};
    ASSERT_EQ(OSGI_JNI_FillVdataFromJsonPara(&rec, env_, strings({"a", nullptr, "", longName.c_str()})), 0u);
    auto list = read_query(rec);
    EXPECT_EQ(list->uiFlag, 1u);
    EXPECT_EQ(list->uiCount, 2u) << "only the copied names count";
    EXPECT_STREQ(list->aacBundleName[0], "a");
    EXPECT_STREQ(list->aacBundleName[1], "");
    EXPECT_STREQ(list->aacBundleName[2], "") << "an empty Java string converts to null";
    EXPECT_EQ(std::string(list->aacBundleName[3]), longName.substr(0, 127));
    EXPECT_STREQ(list->aacBundleName[4], "");
    EXPECT_EQ(take_records(), std::vector<std::string>({T(249, kVelm, 2641, "iCount:4\r\n"),
                                                        T(249, kVelm, 2655, "pcBundleName:a\r\n"),
                                                        T(249, kVelm, 2655, "pcBundleName:" + longName.substr(0, 127) + "\r\n")}));
}

TEST_F(BundleListTest, EmptyArraySendsAnEmptyList) {
    PluginVDataRecord rec{};
    ASSERT_EQ(OSGI_JNI_FillVdataFromJsonPara(&rec, env_, strings({})), 0u);
    auto list = read_query(rec);
    EXPECT_EQ(list->uiFlag, 1u);
    EXPECT_EQ(list->uiCount, 0u);
}

TEST_F(BundleListTest, NullRecordIsRefused) {
    EXPECT_EQ(OSGI_JNI_FillVdataFromJsonPara(nullptr, env_, strings({"a"})), 0xF7100008u);
    EXPECT_EQ(take_records(), std::vector<std::string>({L1(kVelm, 2630, 0xF7100008)}));
}

TEST_F(BundleListTest, ListNotAllocated) {
    zxhost::alloc_fail_at(kVelm, 2633);
    PluginVDataRecord rec{};
    EXPECT_EQ(OSGI_JNI_FillVdataFromJsonPara(&rec, env_, strings({"a"})), 0xF7108001u);
    EXPECT_EQ(take_records(), std::vector<std::string>({L1(kVelm, 2636, 0xF7108001)}));
}

TEST_F(BundleListTest, FailedBlockWriteIsRecordedAndReturned) {
    zxhost::alloc_fail_at(kVelm, 550);  // the compression room of the block write
    PluginVDataRecord rec{};
    EXPECT_EQ(OSGI_JNI_FillVdataFromJsonPara(&rec, env_, strings({"a"})), 0xF7108001u);
    EXPECT_THAT(take_records(), Contains(L1(kVelm, 2670, 0xF7108001)));
}

// ---------------------------------------------------------------------------------------------
// State list
// ---------------------------------------------------------------------------------------------

TEST_F(BundleListTest, StateListBecomesJsonCsRendering) {
    auto list = states({{"com.a", "1.0.2", "ACTIVE"}, {"com.b", "2", "RESOLVED"}});
    PluginVDataRecord rec = store_states(*list);
    take_records();
    EXPECT_EQ(text(OSGI_JNI_FillJsonStrFromVdata(env_, &rec)),
              R"({ "Result": 0, "BundleLists": [ { "Name": "com.a", "Version": "1.0.2", "State": "ACTIVE" }, )"
              R"({ "Name": "com.b", "Version": "2", "State": "RESOLVED" } ] })");
    std::vector<std::string> records = take_records();
    EXPECT_THAT(records, Contains(T(249, kVelm, 2516, "\nuiStatus:0 uiSize:2")));
    EXPECT_THAT(records, Contains(T(249, kVelm, 2556, "acBundleName:com.a acState:ACTIVE acVersion:1.0.2\r\n")));
    EXPECT_THAT(records, Contains(T(249, kVelm, 2556, "acBundleName:com.b acState:RESOLVED acVersion:2\r\n")));
}

TEST_F(BundleListTest, FullFieldsWithoutTerminatorAreReadToTheirSize) {
    auto list = states({{"n", "v", "s"}});
    std::memset(list->astBundle[0].acVersion, 'v', 24);
    std::memset(list->astBundle[0].acState, 's', 16);
    PluginVDataRecord rec = store_states(*list);
    EXPECT_EQ(text(OSGI_JNI_FillJsonStrFromVdata(env_, &rec)),
              R"({ "Result": 0, "BundleLists": [ { "Name": "n", "Version": ")" + std::string(24, 'v') +
                  R"(", "State": ")" + std::string(16, 's') + R"(" } ] })");
}

TEST_F(BundleListTest, EmptyStateList) {
    PluginVDataRecord rec = store_states(*states({}));
    EXPECT_EQ(text(OSGI_JNI_FillJsonStrFromVdata(env_, &rec)), R"({ "Result": 0, "BundleLists": [ ] })");
}

TEST_F(BundleListTest, BadStatusGivesNull) {
    auto list = states({{"a", "1", "ACTIVE"}});
    list->uiStatus = 0xF7213003;
    PluginVDataRecord rec = store_states(*list);
    take_records();
    EXPECT_EQ(OSGI_JNI_FillJsonStrFromVdata(env_, &rec), nullptr);
    EXPECT_THAT(take_records(), Contains(L1(kVelm, 2521, 0xF7213003)));
}

TEST_F(BundleListTest, NullStateRecordGivesNull) {
    EXPECT_EQ(OSGI_JNI_FillJsonStrFromVdata(env_, nullptr), nullptr);
    EXPECT_EQ(take_records(), std::vector<std::string>({L1(kVelm, 2495, 0xF7100008)}));
}

TEST_F(BundleListTest, UnreadableBlockGivesNull) {
    PluginVDataRecord rec{0x7FFF0001, 16};
    EXPECT_EQ(OSGI_JNI_FillJsonStrFromVdata(env_, &rec), nullptr);
    std::vector<zxhost::TraceRecord> records = zxhost::trace_capture_take();
    ASSERT_FALSE(records.empty());
    EXPECT_EQ(records.back().kind, zxhost::TraceRecord::LastWord1);
    EXPECT_EQ(records.back().line, 2511u);
    EXPECT_NE(records.back().code, 0u);
}

TEST_F(BundleListTest, StateListNotAllocatedGivesNull) {
    PluginVDataRecord rec = store_states(*states({{"a", "1", "ACTIVE"}}));
    take_records();
    zxhost::alloc_fail_at(kVelm, 2500);
    EXPECT_EQ(OSGI_JNI_FillJsonStrFromVdata(env_, &rec), nullptr);
    EXPECT_EQ(take_records(), std::vector<std::string>({L1(kVelm, 2503, 0xF7108001)}));
    zxhost::alloc_fail_clear();
    EXPECT_EQ(ZX_VDATA_FreeShm(rec.uivDataID), 0u) << "the block stays for a later read";
}

// ---------------------------------------------------------------------------------------------
// Install progress
// ---------------------------------------------------------------------------------------------

TEST_F(BundleListTest, InstallProgressText) {
    OSGI_JNI_PROCESS_REPLY_S reply{};
    reply.uiResult = 0xF7213003;
    std::strcpy(reply.acState, "Installing");
    reply.uiPercent = 40;
    EXPECT_EQ(text(OSGI_JNI_FillInstallProcess(env_, &reply)), R"({ "Result": -3, "State": "Installing", "Percent": 40 })");
    EXPECT_THAT(take_records(),
                Contains(T(249, kVelm, 2453, R"(pcJsonStr:{ "Result": -3, "State": "Installing", "Percent": 40 })"
                                             "\r\n")));
    reply.uiResult = 0;
    std::memset(reply.acState, 'S', 16);
    reply.uiPercent = 100;
    EXPECT_EQ(text(OSGI_JNI_FillInstallProcess(env_, &reply)),
              R"({ "Result": 0, "State": ")" + std::string(16, 'S') + R"(", "Percent": 100 })");
}

TEST_F(BundleListTest, NullProgressReplyGivesNull) {
    EXPECT_EQ(OSGI_JNI_FillInstallProcess(env_, nullptr), nullptr);
    EXPECT_EQ(take_records(), std::vector<std::string>({L1(kVelm, 2401, 0xF7100008)}));
}

// The native itself: with no bundle manager the names written for it are not left behind
// (TearDown checks that no shared block remains).
TEST_F(BundleListTest, StateQueryWithoutBundleManagerLeavesNoBlock) {
    jstring answer = Java_com_zentrix_nodalis_deviceservice_opco_wap_velm_jni_IBundleManageServiceJNI_queryBundleState(
        env_, nullptr, strings({"a", "b"}));
    EXPECT_EQ(text(answer), R"({ "Result": -1 })");
    EXPECT_THAT(take_records(), Contains(zxtest::L("baseservice_jni", 2483, 0xF7801303, 0, 0, 0, 0)));
}

TEST(BundleInfo, EntryObjectHasThreeStrings) {
    OSGI_JNI_BUNDLE_INFO_S info{};
    std::strcpy(info.acBundleName, "x");
    std::strcpy(info.acVersion, "1");
    std::strcpy(info.acState, "INSTALLED");
    json_object* obj = nullptr;
    ASSERT_EQ(ZX_OSGI_JNI_BundleInfotoJson(&info, &obj), 0u);
    EXPECT_STREQ(json_object_to_json_string(obj), R"({ "Name": "x", "Version": "1", "State": "INSTALLED" })");
    EXPECT_EQ(VELM_JSON_ObjPut(obj), 1u);
    EXPECT_EQ(ZX_OSGI_JNI_BundleInfotoJson(nullptr, &obj), 0xF7100008u);
    EXPECT_EQ(ZX_OSGI_JNI_BundleInfotoJson(&info, nullptr), 0xF7100008u);
}

}  // namespace
