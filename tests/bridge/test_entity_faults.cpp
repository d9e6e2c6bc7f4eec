// Start-up of the entity service's bus link when a platform call or a look-up fails: the bus
// refuses the registration, the message thread cannot be created, the platform library lacks a
// function, the probe finds no json-c. Platform calls fail through the platform's fault hook; a
// missing function is a stand-in library that lacks it.
//
// Start-up can succeed once per process (there is no stop), so every case needs a fresh process:
// ctest runs each case in its own.
#include <dirent.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "dlopen_hook.h"
#include "entity_start.h"
#include "l2tp_jni.h"
#include "test_env.h"
#include "trace_lines.h"
#include "zx_host.h"

namespace {

using zxhost::Call;
using zxtest::basic_library;
using zxtest::start_thread;
using zxtest::T;
using zxtest::take_records;

constexpr const char* kFile = "l2tp_jni";
constexpr uint32_t kLevel = 216;
const std::string kStartLoading = T(kLevel, kFile, 784, "start loading libzx_kor_basic.so \n");
const std::string kStubs = ZX_BINARY_DIR "/tests/stubs";
// Has ZX_MSG_Init and nothing else of the platform.
const std::string kPartialBasic = kStubs + "/partial_basic/libzx_partial_basic.so";
// Has none of the platform's functions.
const std::string kForeignLibrary = kStubs + "/zx_kor_json/libzx_kor_json.so";

int message_threads() { return zxtest::thread_names()["JNImsgthread"]; }

class EntityFaults : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(JniInitFlag, 0u) << "start-up already ran in this process: run each case on its own";
        zxhost::fault_clear();
        zxhost::trace_capture_start();
    }
    void TearDown() override {
        g_basicStandIn = nullptr;
        g_refuseJsonC = false;
        zxhost::fault_clear();
        zxhost::trace_capture_stop();
        EXPECT_TRUE(zxtest::nothing_left_behind());
    }

    // A stand-in library opened by its path (closed at the end of the case).
    void* open_stand_in(const std::string& path) {
        void* h = dlopen(path.c_str(), RTLD_NOW);
        EXPECT_NE(h, nullptr) << path << ": " << dlerror();
        if (h) opened_.emplace_back(h, [](void* p) { dlclose(p); });
        return h;
    }

    zxtest::ScopedBusDir bus_;
    std::vector<std::unique_ptr<void, void (*)(void*)>> opened_;
};

TEST_F(EntityFaults, RegistrationRefusedByTheBusFailsAndALaterStartSucceeds) {
    zxhost::fault_nth(Call::MsgRegisterMid, 1);
    EXPECT_EQ(start_thread(), 1);
    EXPECT_EQ(zxhost::faults_injected(Call::MsgRegisterMid), 1u);
    EXPECT_EQ(take_records(), std::vector<std::string>{T(kLevel, kFile, 1091, "JNI ZX_MSG_RegisterMID fail\r\n")});
    EXPECT_EQ(JniInitFlag, 0u);
    EXPECT_EQ(handle, basic_library()) << "what succeeded is not undone";
    EXPECT_STREQ(ZX_MSG_GetCurProcName(), "jamvm") << "the bus stays initialised";
    EXPECT_EQ(message_threads(), 0);

    // The next start-up initialises and registers again, and this time gets through.
    EXPECT_EQ(start_thread(), 0);
    EXPECT_EQ(take_records(), std::vector<std::string>{kStartLoading});
    EXPECT_EQ(JniInitFlag, 1u);
}

TEST_F(EntityFaults, MessageThreadThatCannotBeCreatedFailsTheStartUp) {
    zxhost::fault_nth(Call::PthreadCreate, 1);
    EXPECT_EQ(start_thread(), 1);
    EXPECT_EQ(zxhost::faults_injected(Call::PthreadCreate), 1u);
    EXPECT_EQ(take_records(), (std::vector<std::string>{
                                  kStartLoading,
                                  T(kLevel, kFile, 803, "JNI ZX_OS_PthreadCreate error \r\n"),
                                  T(kLevel, kFile, 1099, "jnicreadmsgthread fail\r\n"),
                              }));
    EXPECT_EQ(JniInitFlag, 0u);
    EXPECT_EQ(handle, basic_library());
    EXPECT_EQ(message_threads(), 0);

    EXPECT_EQ(start_thread(), 0);
    EXPECT_EQ(take_records(), std::vector<std::string>{kStartLoading});
    EXPECT_EQ(JniInitFlag, 1u);
}

TEST_F(EntityFaults, PlatformLibraryWithoutBusInitialisationFails) {
    void* foreign = open_stand_in(kForeignLibrary);
    ASSERT_NE(foreign, nullptr);
    handle = foreign;  // the library the process loaded first: start-up does not load it again
    const int opened = g_dlopenCalls;
    EXPECT_EQ(start_thread(), 1);
    EXPECT_EQ(g_dlopenCalls, opened);
    EXPECT_EQ(take_records(), std::vector<std::string>{T(kLevel, kFile, 1067, "\r\n dlsym ZX_MSG_Init error\r\n")});
    EXPECT_EQ(JniInitFlag, 0u);
    EXPECT_EQ(handle, foreign);
    EXPECT_STRNE(ZX_MSG_GetCurProcName(), "jamvm") << "no bus endpoint was made";
    EXPECT_EQ(message_threads(), 0);
    handle = nullptr;
}

TEST_F(EntityFaults, PlatformLibraryWithoutRegistrationFailsAfterInitialising) {
    void* partial = open_stand_in(kPartialBasic);
    ASSERT_NE(partial, nullptr);
    handle = partial;
    EXPECT_EQ(start_thread(), 1);
    EXPECT_EQ(take_records(),
              std::vector<std::string>{T(kLevel, kFile, 1083, "\r\n dlsym ZX_MSG_RegisterMID error\r\n")});
    EXPECT_EQ(JniInitFlag, 0u);
    EXPECT_EQ(handle, partial);
    EXPECT_EQ(message_threads(), 0);
    handle = nullptr;
}

TEST_F(EntityFaults, PlatformLibraryWithoutThreadCreationFailsTheStartUp) {
    // The bus is set up through the real library; the message thread's own load finds a library
    // without ZX_OS_PthreadCreate.
    handle = basic_library();
    ASSERT_NE(handle, nullptr);
    g_basicStandIn = kPartialBasic.c_str();
    EXPECT_EQ(start_thread(), 1);
    EXPECT_EQ(take_records(), (std::vector<std::string>{
                                  kStartLoading,
                                  T(kLevel, kFile, 795, "\r\n dlsym ZX_OS_PthreadCreate error\r\n"),
                                  T(kLevel, kFile, 1099, "jnicreadmsgthread fail\r\n"),
                              }));
    EXPECT_EQ(JniInitFlag, 0u);
    void* partial = dlopen(kPartialBasic.c_str(), RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(partial, nullptr);
    EXPECT_EQ(handle, partial) << "the message thread's load overwrote the handle";
    dlclose(partial);  // the NOLOAD reference
    dlclose(handle);   // the message thread's load
    EXPECT_EQ(message_threads(), 0);
    handle = nullptr;
}

TEST_F(EntityFaults, MessageThreadWithoutGetAndDispatchEnds) {
    void* partial = open_stand_in(kPartialBasic);
    ASSERT_NE(partial, nullptr);
    handle = partial;
    void* result = &handle;
    std::thread thread([&] { result = JNImsgthreadroutine(nullptr); });
    thread.join();  // the routine ends instead of looping
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(take_records(),
              std::vector<std::string>{T(kLevel, kFile, 764, "\r\n dlsym ZX_MSG_GetAndDispatch error\r\n")});
    handle = nullptr;
}

TEST_F(EntityFaults, ProbeWithoutJsonCStopsAtTheFirstLibrary) {
    g_refuseJsonC = true;
    const int opened = g_dlopenCalls;
    EXPECT_EQ(JNIloadComLib(), 1u);
    EXPECT_EQ(g_dlopenCalls, opened + 1) << "nothing after json-c is tried";
    EXPECT_EQ(take_records(), std::vector<std::string>{T(kLevel, kFile, 817, "\r\n dlopen libjson-c.so error\r\n")});
}

}  // namespace
