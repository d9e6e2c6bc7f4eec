// Start-up of the entity service's bus link ("jamvm"), its message thread and message handler,
// and the rotating tag word of the bundle-management call.
//
// Start-up can succeed once per process (there is no stop), so every case needs a fresh process:
// ctest runs each case in its own.
#include <dirent.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "elf_symbols.h"
#include "dlopen_hook.h"
#include "entity_start.h"
#include "l2tp_jni.h"
#include "test_env.h"
#include "trace_lines.h"
#include "zx_host.h"

namespace {

using zxtest::basic_library;
using zxtest::start_thread;
using zxtest::T;
using zxtest::take_records;
using zxtest::thread_names;

constexpr const char* kFile = "l2tp_jni";
constexpr uint32_t kLevel = 216;
const std::string kStartLoading = T(kLevel, kFile, 784, "start loading libzx_kor_basic.so \n");

int thread_count() {
    int n = 0;
    for (const auto& [name, count] : thread_names()) n += count;
    return n;
}

// Waits (bounded) until the message thread has named itself.
bool message_thread_running() {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (thread_names()["JNImsgthread"] == 0) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

// Waits (bounded) until n records have been captured; one-way messages are handled after the
// send returns.
std::vector<std::string> wait_for_records(size_t n) {
    std::vector<std::string> records;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (records.size() < n && std::chrono::steady_clock::now() < deadline) {
        std::vector<std::string> more = take_records();
        records.insert(records.end(), more.begin(), more.end());
        if (records.size() < n) std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return records;
}

// A routing header as a service would send it to "jamvm", with the given module id word.
ZX_MSG_HEAD_S head_to_jamvm(uint32_t midWord) {
    ZX_MSG_HEAD_S head{};
    std::strcpy(head.acSrcProcName, "app_m");
    std::strcpy(head.acDstProcName, "jamvm");
    head.uiMid = midWord;
    return head;
}

class Entity : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(JniInitFlag, 0u) << "start-up already ran in this process: run each case on its own";
        zxhost::trace_capture_start();
    }
    void TearDown() override {
        g_refuseBasicLibrary = false;
        zxhost::trace_capture_stop();
        EXPECT_TRUE(zxtest::nothing_left_behind());
    }

    zxtest::ScopedBusDir bus_;
};

TEST_F(Entity, StartsOnceThenAnswersZeroAndDoesNothing) {
    ASSERT_EQ(start_thread(), 0);
    // The exported globals as other native code of the process sees them.
    EXPECT_EQ(JniInitFlag, 1u);
    EXPECT_EQ(handle, basic_library());
    EXPECT_STREQ(ZX_MSG_GetCurProcName(), "jamvm");
    EXPECT_EQ(take_records(), std::vector<std::string>{kStartLoading});
    ASSERT_TRUE(message_thread_running());

    // Replace the handler start-up registered: a second start-up that registered again would put
    // JNImsgProc back.
    constexpr uint32_t kMarker = 0x5A5A;
    ASSERT_EQ(ZX_MSG_RegisterMID(
                  0, [](const void*) -> uint32_t { return kMarker; }, 1),
              ZX_OK);
    const int threads = thread_count();
    const int opened = g_dlopenCalls;

    EXPECT_EQ(start_thread(), 0);
    EXPECT_EQ(g_dlopenCalls, opened) << "nothing is loaded again";
    EXPECT_EQ(thread_count(), threads) << "no second thread";
    EXPECT_EQ(thread_names()["JNImsgthread"], 1);
    ZX_MSG_HEAD_S head = head_to_jamvm(0);
    uint32_t word = 0;
    EXPECT_EQ(ZX_MSG_RpcCall(&head, 1, 0, &word, sizeof word, nullptr, 0, 5000), kMarker) << "no second registration";
    EXPECT_TRUE(take_records().empty());
}

TEST_F(Entity, MessageWithModuleIdWordSevenIsTracedAsDefault) {
    ASSERT_EQ(start_thread(), 0);
    take_records();
    ZX_MSG_HEAD_S head = head_to_jamvm(7);
    ASSERT_EQ(zxhost::send_raw("jamvm", head, 0x4710FF01, 0, {}), ZX_OK);
    EXPECT_EQ(wait_for_records(2), (std::vector<std::string>{T(kLevel, kFile, 740, "Come in JNImsgProc\r\n"),
                                                             T(kLevel, kFile, 748, "default \r\n")}));
}

TEST_F(Entity, MessageWithModuleIdWordZeroIsTracedAsTheVelmModule) {
    ASSERT_EQ(start_thread(), 0);
    take_records();
    ZX_MSG_HEAD_S head = head_to_jamvm(0);
    ASSERT_EQ(zxhost::send_raw("jamvm", head, 0x4710FF02, 0, {}), ZX_OK);
    EXPECT_EQ(wait_for_records(2), (std::vector<std::string>{T(kLevel, kFile, 740, "Come in JNImsgProc\r\n"),
                                                             T(kLevel, kFile, 744, "ZX_MID_VELM_OS \r\n")}));
}

TEST_F(Entity, HandlerAnswersZeroForEveryModuleIdWord) {
    ASSERT_EQ(start_thread(), 0);
    take_records();
    // A synchronous call returns the handler's own result as its status.
    for (uint32_t midWord : {7u, 0u}) {
        ZX_MSG_HEAD_S head = head_to_jamvm(midWord);
        uint32_t word = 0;
        EXPECT_EQ(ZX_MSG_RpcCall(&head, 0x4710FF03, 0, &word, sizeof word, nullptr, 0, 5000), 0u) << midWord;
    }
    EXPECT_EQ(take_records(), (std::vector<std::string>{
                                  T(kLevel, kFile, 740, "Come in JNImsgProc\r\n"),
                                  T(kLevel, kFile, 748, "default \r\n"),
                                  T(kLevel, kFile, 740, "Come in JNImsgProc\r\n"),
                                  T(kLevel, kFile, 744, "ZX_MID_VELM_OS \r\n"),
                              }));
}

TEST_F(Entity, HandlerRefusesANullMessageWithoutATrace) {
    EXPECT_EQ(JNImsgProc(nullptr), 0xFFFFFFFFu);
    EXPECT_TRUE(take_records().empty());
}

TEST_F(Entity, MissingPlatformLibraryFailsAndALaterStartSucceeds) {
    g_refuseBasicLibrary = true;
    EXPECT_EQ(start_thread(), 1);
    EXPECT_EQ(take_records(),
              std::vector<std::string>{T(kLevel, kFile, 1058, "\r\n dlopen libzx_kor_basic.so error\r\n")});
    EXPECT_EQ(JniInitFlag, 0u);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(thread_names()["JNImsgthread"], 0);

    g_refuseBasicLibrary = false;
    EXPECT_EQ(start_thread(), 0);
    EXPECT_EQ(take_records(), std::vector<std::string>{kStartLoading});
    EXPECT_EQ(JniInitFlag, 1u);
    EXPECT_EQ(handle, basic_library());
}

TEST_F(Entity, BusNameHeldByAnotherEndpointFailsAndKeepsTheLibraryHandle) {
    std::unique_ptr<zxhost::BusService> holder;
    ASSERT_EQ(zxhost::BusService::start(
                  "jamvm", [](const zxhost::BusRequest&, zxhost::BusAnswer&) {}, holder),
              ZX_OK);
    EXPECT_EQ(start_thread(), 1);
    EXPECT_EQ(take_records(), std::vector<std::string>{T(kLevel, kFile, 1075, "JNI ZX_MSG_Init fail\r\n")});
    EXPECT_EQ(JniInitFlag, 0u);
    EXPECT_EQ(handle, basic_library()) << "what succeeded is not undone";
    EXPECT_EQ(thread_names()["JNImsgthread"], 0);

    holder->stop();
    const int opened = g_dlopenCalls;
    EXPECT_EQ(start_thread(), 0);
    // Only the message thread's own load: the handle kept from the first attempt is used.
    EXPECT_EQ(g_dlopenCalls, opened + 1);
    EXPECT_EQ(take_records(), std::vector<std::string>{kStartLoading});
    EXPECT_TRUE(message_thread_running());
}

TEST_F(Entity, MessageThreadCreationStoresTheHandleEvenWhenTheLoadFails) {
    ASSERT_EQ(start_thread(), 0);
    ASSERT_NE(handle, nullptr);
    take_records();
    g_refuseBasicLibrary = true;
    EXPECT_EQ(JNIcreadmsgthread(), 0xFFFFFFFFu);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(take_records(), (std::vector<std::string>{
                                  kStartLoading, T(kLevel, kFile, 788, "\r\n dlopen libzx_kor_basic.so error\r\n")}));
}

// ---------------------------------------------------------------------------------------------
// The tag word of the bundle-management call
// ---------------------------------------------------------------------------------------------

using NextTagFn = uint32_t (*)();

// The allocator is internal to the library; it is reached through the library's symbol table.
NextTagFn next_tag() {
    return reinterpret_cast<NextTagFn>(
        zxtest::hidden_function(reinterpret_cast<const void*>(&JNImsgProc), "JNI_OsgiNextTag"));
}

TEST(OsgiTag, CyclesFrom281To286AndStartsAgain) {
    NextTagFn next = next_tag();
    ASSERT_NE(next, nullptr);
    std::vector<uint32_t> tags;
    for (int i = 0; i < 7; ++i) tags.push_back(next());
    EXPECT_EQ(tags, (std::vector<uint32_t>{281, 282, 283, 284, 285, 286, 281}));
    EXPECT_EQ(g_stJNIOsgiMid.uiCount, 7u);
    EXPECT_EQ(g_stJNIOsgiMid.uiMutexInit, 1u);
}

TEST(OsgiTag, ConcurrentCallersNeverTakeTheSameCount) {
    NextTagFn next = next_tag();
    ASSERT_NE(next, nullptr);
    next();  // the mutex is set up by the first call
    constexpr int kThreads = 4;
    constexpr int kCalls = 6000;
    std::vector<std::map<uint32_t, int>> seen(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < kCalls; ++i) ++seen[t][next()];
        });
    for (std::thread& t : threads) t.join();
    std::map<uint32_t, int> total;
    for (const auto& m : seen)
        for (const auto& [tag, n] : m) total[tag] += n;
    EXPECT_EQ(g_stJNIOsgiMid.uiCount, 1u + kThreads * kCalls) << "no increment was lost";
    // Counts 1 to 24000 were taken: every tag equally often.
    EXPECT_EQ(total,
              (std::map<uint32_t, int>{{281, 4000}, {282, 4000}, {283, 4000}, {284, 4000}, {285, 4000}, {286, 4000}}));
}

}  // namespace
