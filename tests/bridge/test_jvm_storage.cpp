// The storage natives of BaseServiceJNIMethods with the JNIEnv of a real VM. Against the simulated
// configuration service scanning a disc directory of the case's own: the scan list handed to Java
// whole, and the copy the native makes of it refused by the tracing allocator, which must give the
// fixed failure text, its last word, and nothing left allocated (the API's block and the shared
// block included). Against services served in the test process: answers the simulated services
// never give, refused before anything is read or made.
#include <gtest/gtest.h>

#include <sys/shm.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "binding_sim_test.h"
#include "fake_services.h"
#include "jvm.h"
#include "sim_process.h"
#include "test_env.h"
#include "trace_lines.h"
#include "traced_jvm_test.h"
#include "zx_host.h"
#include "zx_wire_osgi_proxy.h"
#include "zx_wire_usb_mngt.h"

extern "C" {
JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getFilesScanListByType(JNIEnv*, jobject, jstring);
JNIEXPORT jobjectArray JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_queryVolumeLabelInfo(JNIEnv*, jobject);
JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getPluginPermissions(JNIEnv*, jobject);
}

namespace {

using zxtest::binding_records;
using zxtest::kBindingsUnit;
using zxtest::L1;
using zxtest::StateValue;
using zxtest::take_records;

constexpr const char* kFailure = "{\"Result\":-1, \"FailReason\":\"\"}";

uint32_t line_of(const std::string& needle) { return zxtest::binding_line_of("getFilesScanListByType", needle); }

class ScanList : public zxtest::BindingSimTest {
protected:
    ScanList() : BindingSimTest({.services = {"app_m", "usb_mngt"}}) {}

    void SetUp() override {
        BindingSimTest::SetUp();
        if (HasFatalFailure()) return;
        for (const char* name : {"b.mp4", "a.MKV", "song.mp3", "note.txt"})
            std::ofstream(disc_.path() + "/" + name) << "x";
        ASSERT_TRUE(sim_.set_state(
            "usb_mngt", "discs",
            StateValue::array({StateValue::object({{"name", "SCAN"}, {"fsType", "ext4"}, {"mount", disc_.path()}})})));
        ASSERT_TRUE(sim_.set_state("app_m", "filesScan", 1));
        take_records();
    }

    std::string list(const char* type) {
        return answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getFilesScanListByType(
            env_, nullptr, type ? jtext(type) : nullptr));
    }

    zxtest::ScopedTempDir disc_{"zxdisc"};
};

// The service's block holds the text without a NUL: Java gets every byte of it.
TEST_F(ScanList, TheListIsHandedOverWhole) {
    EXPECT_EQ(list("video"), ("{\"Result\":0,\"Type\":\"video\",\"Files\":[\"" + disc_.path() + "/a.MKV\",\"" +
                              disc_.path() + "/b.mp4\"]}"));
    EXPECT_EQ(list("music"), ("{\"Result\":0,\"Type\":\"music\",\"Files\":[\"" + disc_.path() + "/song.mp3\"]}"));
}

TEST_F(ScanList, WithoutItsCopyTheAnswerIsTheFailureText) {
    const uint64_t before = zxhost::alloc_failures_injected();
    zxhost::alloc_fail_at(kBindingsUnit, line_of("terminated_copy("));
    EXPECT_EQ(list("video"), kFailure);
    EXPECT_EQ(zxhost::alloc_failures_injected(), before + 1) << "the copy was asked for and refused";
    std::vector<std::string> ours;
    for (const std::string& r : take_records())
        if (r.rfind("L1 ", 0) == 0) ours.push_back(r);
    EXPECT_EQ(ours, (std::vector<std::string>{L1(kBindingsUnit, line_of("last_word(__LINE__, 1)"), 1)}));
    // TearDown: nothing of the tracing allocator and no shared block is left.
}

TEST_F(ScanList, AFailedListAndANullTypeAreNotLists) {
    EXPECT_EQ(list("films"), kFailure);
    ASSERT_TRUE(sim_.set_state("app_m", "filesScan", 0));
    EXPECT_EQ(list("video"), kFailure);
    EXPECT_EQ(list(nullptr), "<null>");
}

// ---------------------------------------------------------------------------------------------
// Answers the simulated services never give, from services served in this process: a disc list
// claiming more discs than its record holds, and more deployment units than a segment size of 32
// bits can count. Both are refused before anything is read or made.
// ---------------------------------------------------------------------------------------------

template <class T>
std::vector<uint8_t> bytes_of(const T& record) {
    const auto* p = reinterpret_cast<const uint8_t*>(&record);
    return std::vector<uint8_t>(p, p + sizeof record);
}

class ImpossibleAnswers : public zxtest::TracedJvmTest {
protected:
    void serve(const std::string& name, zxhost::BusHandler handler) {
        ASSERT_TRUE(fakes_.serve(name, std::move(handler)));
    }
    void TearDown() override {
        fakes_.stop();
        zxtest::TracedJvmTest::TearDown();
    }

    // A disc list of `count` with every one of the 32 records filled.
    static ZX_USB_DISC_LIST_S disc_list(uint32_t count) {
        ZX_USB_DISC_LIST_S list;
        std::memset(&list, 0, sizeof list);
        list.uiCount = count;
        for (uint32_t i = 0; i < ZX_USB_MAX_DISCS; ++i) {
            std::snprintf(list.astDisc[i].acDiscName, sizeof list.astDisc[i].acDiscName, "DISC%u", i);
            std::strcpy(list.astDisc[i].acFsType, "vfat");
            std::strcpy(list.astDisc[i].acMntPath, "/");
        }
        return list;
    }

    size_t length_of(jobjectArray a) {
        if (!a) return 0;
        size_t n = static_cast<size_t>(env_->GetArrayLength(a));
        env_->DeleteLocalRef(a);
        return n;
    }

    zxtest::ScopedBusDir bus_;
    zxtest::FakeServices fakes_;
};

TEST_F(ImpossibleAnswers, ADiscListClaimingMoreDiscsThanItHoldsIsNull) {
    std::atomic<uint32_t> count{33};
    serve(ZX_USB_ENDPOINT, [&](const zxhost::BusRequest& req, zxhost::BusAnswer& answer) {
        EXPECT_EQ(req.msgId, ZX_USB_RPC_GET_DISC_INFO);
        answer.data = bytes_of(disc_list(count));
    });
    for (uint32_t claimed : {33u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        count = claimed;
        EXPECT_EQ(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_queryVolumeLabelInfo(env_, nullptr),
                  nullptr)
            << claimed;
    }
    count = 32;  // the whole record is a list
    EXPECT_EQ(length_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_queryVolumeLabelInfo(
                  env_, nullptr)),
              32u);
}

TEST_F(ImpossibleAnswers, MoreUnitsThanASegmentCanCountAreTheFaultTextWithoutASegment) {
    std::atomic<size_t> permissionCalls{0};
    serve(ZX_OSGI_ENDPOINT, [&](const zxhost::BusRequest& req, zxhost::BusAnswer& answer) {
        if (req.msgId != ZX_OSGI_RPC_GET_DU_COUNT) {
            ++permissionCalls;
            answer.data.assign(4, 0);
            return;
        }
        ZX_OSGI_DU_COUNT_REPLY_S reply;
        std::memset(&reply, 0, sizeof reply);
        reply.uiCount = UINT32_MAX / ZX_OSGI_PERMISSION_BYTES_PER_DU + 1;  // 1979189 units: 2^32 + 1190 bytes
        answer.data = bytes_of(reply);
    });
    take_records();
    jstring s = Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getPluginPermissions(env_, nullptr);
    ASSERT_NE(s, nullptr);
    std::u16string text = zxtest::utf16_of(env_, s);
    env_->DeleteLocalRef(s);
    EXPECT_EQ(text, u"{ \"Result\": -1 }");
    EXPECT_EQ(binding_records(),
              (std::vector<std::string>{L1(
                  kBindingsUnit, zxtest::binding_line_of("getPluginPermissions", "no deployment unit"), 0xFFFFFFFF)}));
    EXPECT_EQ(permissionCalls, 0u) << "nothing is asked of the bundle manager";
    EXPECT_LT(shmget(ZX_OSGI_PERMISSION_SHM_KEY, 0, 0), 0) << "no permission segment was made";
}

}  // namespace
