// The WLAN and LED natives of BaseServiceJNIMethods with the JNIEnv of a real VM, against the
// simulated services: the exact requests they send for hostile arguments (nine MACs, over-long and
// empty MACs, null elements, a char[] shorter than its count), what they hand back, their traces,
// and that the key of wlanSetSecurity is wiped before it is freed.
//
// The test sees every block of the C allocator as it is released: this executable defines malloc
// and free (in the sanitizer build, it hooks the sanitizer's allocator instead), so a test sees a
// converted copy when it is released.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "binding_sim_test.h"
#include "jvm.h"
#include "sim_process.h"
#include "source_lines.h"
#include "test_env.h"
#include "trace_lines.h"
#include "traced_jvm_test.h"

// ---------------------------------------------------------------------------------------------
// The allocator seen from this process
// ---------------------------------------------------------------------------------------------

namespace {

using zxtest::binding_line_of;
using zxtest::kBindingsUnit;
// The watch of one thread: blocks of one size allocated while it is on, and their bytes at release.
struct Watch {
    bool on = false;
    size_t size = 0;
    std::vector<void*>* live = nullptr;              // watched blocks not yet released
    std::vector<std::string>* seenAtFree = nullptr;  // the bytes of each when it was released
    size_t failSize = 0;                             // the next block of this size is refused
};
thread_local Watch t_watch;

void watch_alloc(void* p, size_t n) {
    if (p && t_watch.on && n == t_watch.size) {
        t_watch.on = false;  // the vector may allocate
        t_watch.live->push_back(p);
        t_watch.on = true;
    }
}

// Called while the block still holds its bytes.
void watch_free(void* p) {
    if (!p || !t_watch.on) return;
    for (size_t i = 0; i < t_watch.live->size(); ++i) {
        if ((*t_watch.live)[i] != p) continue;
        t_watch.on = false;
        t_watch.seenAtFree->emplace_back(static_cast<const char*>(p), t_watch.size - 1);
        t_watch.live->erase(t_watch.live->begin() + static_cast<long>(i));
        t_watch.on = true;
        return;
    }
}

}  // namespace

#if defined(__SANITIZE_ADDRESS__)

// The sanitizer's allocator owns malloc and free; it calls these hooks on every allocation and
// before every release. It cannot be made to refuse an allocation.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*malloc_hook)(const volatile void*, size_t),
                                                         void (*free_hook)(const volatile void*));

namespace {

void install_allocator_watch() {
    static const int installed = __sanitizer_install_malloc_and_free_hooks(
        [](const volatile void* p, size_t n) { watch_alloc(const_cast<void*>(p), n); },
        [](const volatile void* p) { watch_free(const_cast<void*>(p)); });
    (void)installed;
}

}  // namespace

#else

// This executable defines malloc and free itself, forwarding to the C library's (the next
// definition in the lookup order). The bridge library's calls resolve to them.
namespace {

using MallocFn = void* (*)(size_t);
using FreeFn = void (*)(void*);

std::atomic<MallocFn> g_realMalloc{nullptr};
std::atomic<FreeFn> g_realFree{nullptr};

// While dlsym looks the functions up it may itself allocate: such blocks come from here and are
// never released.
alignas(16) unsigned char g_bootArena[4096];
std::atomic<size_t> g_bootUsed{0};
thread_local bool t_resolving = false;

void resolve() {
    if (g_realFree.load() && g_realMalloc.load()) return;
    t_resolving = true;
    g_realMalloc = reinterpret_cast<MallocFn>(dlsym(RTLD_NEXT, "malloc"));
    g_realFree = reinterpret_cast<FreeFn>(dlsym(RTLD_NEXT, "free"));
    t_resolving = false;
}

bool from_arena(void* p) {
    auto* c = static_cast<unsigned char*>(p);
    return c >= g_bootArena && c < g_bootArena + sizeof(g_bootArena);
}

void install_allocator_watch() {}

}  // namespace

extern "C" void* malloc(size_t n) {
    if (t_resolving) {
        size_t at = g_bootUsed.fetch_add((n + 15) & ~size_t{15});
        return at + n <= sizeof(g_bootArena) ? g_bootArena + at : nullptr;
    }
    if (t_watch.failSize != 0 && n == t_watch.failSize) {
        t_watch.failSize = 0;
        return nullptr;
    }
    resolve();
    void* p = g_realMalloc.load()(n);
    watch_alloc(p, n);
    return p;
}

extern "C" void free(void* p) {
    if (!p || from_arena(p)) return;
    watch_free(p);
    resolve();
    g_realFree.load()(p);
}

#endif

// The natives as the VM finds them (the receiver is never read).
extern "C" {
JNIEXPORT jint JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanSetSecurity(JNIEnv*,
                                                                                                         jobject, jint,
                                                                                                         jstring,
                                                                                                         jstring);
JNIEXPORT jint JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanSetForbidChannel(
    JNIEnv*, jobject, jint, jint, jcharArray);
JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getWLANHostInfo(JNIEnv*, jobject, jobjectArray, jint);
JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_sysGetWLanInfo(JNIEnv*,
                                                                                                           jobject,
                                                                                                           jint);
JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_LedSetState(JNIEnv*,
                                                                                                        jobject, jint,
                                                                                                        jint, jint,
                                                                                                        jint);
}

namespace {

using zxtest::Bytes;
using zxtest::L1;
using zxtest::SimProcess;
using zxtest::T;
using zxtest::take_records;
using zxtest::utf16_of;

constexpr uint32_t kSetSecurity = 0x47103078;
constexpr uint32_t kForbidChannel = 0x47603163;
constexpr uint32_t kHostInfo = 0x4760317A;

std::u16string utf16(const std::string& ascii) { return std::u16string(ascii.begin(), ascii.end()); }

class WlanBindings : public zxtest::BindingSimTest {
protected:
    WlanBindings() : BindingSimTest({.services = {"app_m", "wifi"}}) {}

    void SetUp() override {
        install_allocator_watch();
        BindingSimTest::SetUp();
    }
    void TearDown() override {
        t_watch = Watch{};
        BindingSimTest::TearDown();
    }

    // The host query the binding sent for `macs`: the 164-byte record.
    static Bytes host_query(const std::vector<std::string>& entries, uint32_t count) {
        Bytes b(164, 0);
        for (size_t i = 0; i < entries.size(); ++i) std::memcpy(&b[20 * i], entries[i].data(), entries[i].size());
        std::memcpy(&b[160], &count, 4);
        return b;
    }

    jstring host_info(jobjectArray macs) {
        return Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getWLANHostInfo(env_, nullptr, macs,
                                                                                                 7);
    }
};

// ---------------------------------------------------------------------------------------------
// The key of wlanSetSecurity
// ---------------------------------------------------------------------------------------------

// Both texts have one length, so both converted copies are blocks of one size: the first one is
// seen as it was when released (the judge: the watch does see converted copies), the key as zeros.
TEST_F(WlanBindings, KeyReachesTheServiceWholeAndIsZeroWhenReleased) {
    const std::string first(61, 'F');
    const std::string key = "K3y-" + std::string(53, 'k') + "-end";  // 61 characters
    ASSERT_EQ(key.size(), first.size());
    // The service takes the record whatever the texts mean to it.
    ASSERT_TRUE(sim_.inject("app_m", kSetSecurity, zxtest::Fault::status(0, 1)));
    jstring jFirst = jtext(first);
    jstring jKey = jtext(key);

    std::vector<void*> live;
    std::vector<std::string> seen;
    t_watch = Watch{true, key.size() + 1, &live, &seen};
    jint answer = Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanSetSecurity(env_, nullptr, 3,
                                                                                                    jFirst, jKey);
    t_watch = Watch{};
    EXPECT_EQ(answer, 0);

    EXPECT_EQ(std::count(seen.begin(), seen.end(), first), 1) << "the first text is released as it was";
    EXPECT_EQ(std::count(seen.begin(), seen.end(), key), 0) << "no copy of the key is released unwiped";
    EXPECT_GE(std::count(seen.begin(), seen.end(), std::string(key.size(), '\0')), 1);

    std::vector<zxtest::Received> got = received("app_m");
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].msgId, kSetSecurity);
    ASSERT_EQ(got[0].data.size(), 133u);
    EXPECT_EQ(std::string(got[0].data.begin() + 68, got[0].data.begin() + 68 + 61), key) << "the key arrives whole";
    EXPECT_EQ(std::string(got[0].data.begin() + 4, got[0].data.begin() + 4 + 61), first);
}

TEST_F(WlanBindings, KeyIsWipedWhenTheServiceRefuses) {
    ASSERT_TRUE(sim_.inject("app_m", kSetSecurity, zxtest::Fault::status(0xF7103001)));
    const std::string key(40, 'Q');
    jstring jFirst = jtext("first");
    jstring jKey = jtext(key);
    std::vector<void*> live;
    std::vector<std::string> seen;
    t_watch = Watch{true, key.size() + 1, &live, &seen};
    jint answer = Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanSetSecurity(env_, nullptr, 1,
                                                                                                    jFirst, jKey);
    t_watch = Watch{};
    EXPECT_EQ(answer, -1);
    EXPECT_EQ(std::count(seen.begin(), seen.end(), key), 0);
    EXPECT_GE(std::count(seen.begin(), seen.end(), std::string(key.size(), '\0')), 1);
    EXPECT_EQ(received("app_m").size(), 1u);
}

TEST_F(WlanBindings, NullTextsSendNothing) {
    jstring jKey = jtext("secret-key");
    EXPECT_EQ(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanSetSecurity(env_, nullptr, 1,
                                                                                                nullptr, jKey),
              -1);
    EXPECT_EQ(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanSetSecurity(
                  env_, nullptr, 1, jtext("first"), nullptr),
              -1);
    EXPECT_EQ(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanSetSecurity(env_, nullptr, 1,
                                                                                                jtext(""), jKey),
              -1)
        << "an empty text converts to nothing";
    EXPECT_TRUE(received("app_m").empty());
    EXPECT_TRUE(take_records().empty()) << "this binding writes no trace";
}

// ---------------------------------------------------------------------------------------------
// The WLAN host query
// ---------------------------------------------------------------------------------------------

TEST_F(WlanBindings, EightMacsAreSentAndANinthIsRefused) {
    std::vector<const char*> eight{"00:11:22:33:44:01", "00:11:22:33:44:02", "00:11:22:33:44:03", "00:11:22:33:44:04",
                                   "00:11:22:33:44:05", "00:11:22:33:44:06", "00:11:22:33:44:07", "00:11:22:33:44:08"};
    jstring s = host_info(jtexts(eight));
    if (s) env_->DeleteLocalRef(s);
    std::vector<zxtest::Received> got = received("wifi");
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].msgId, kHostInfo);
    EXPECT_EQ(got[0].replyCap, 4096u);
    EXPECT_EQ(got[0].data, host_query(std::vector<std::string>(eight.begin(), eight.end()), 8));

    std::vector<const char*> nine = eight;
    nine.push_back("00:11:22:33:44:09");
    take_records();
    EXPECT_EQ(host_info(jtexts(nine)), nullptr);
    EXPECT_TRUE(received("wifi").empty()) << "nothing is sent for nine MACs";
    EXPECT_TRUE(take_records().empty());
    EXPECT_EQ(host_info(jtexts(std::vector<const char*>(200, "00:11:22:33:44:55"))), nullptr);
    EXPECT_TRUE(received("wifi").empty());
}

TEST_F(WlanBindings, EmptyAndNullMacs) {
    struct Case {
        std::vector<const char*> macs;
        bool nullArray;
        Bytes expected;
    };
    const std::vector<Case> cases{
        {{}, true, host_query({}, 0)},
        {{}, false, host_query({}, 0)},
        {{""}, false, host_query({}, 0)},            // one empty MAC asks for every host
        {{"", ""}, false, host_query({"", ""}, 2)},  // two are two empty entries
        {{nullptr}, false, host_query({}, 0)},       // a null element is an empty entry
        {{nullptr, "aa:bb:cc:dd:ee:ff", nullptr}, false, host_query({"", "aa:bb:cc:dd:ee:ff"}, 3)},
    };
    for (size_t i = 0; i < cases.size(); ++i) {
        jstring s = host_info(cases[i].nullArray ? nullptr : jtexts(cases[i].macs));
        if (s) env_->DeleteLocalRef(s);
        std::vector<zxtest::Received> got = received("wifi");
        ASSERT_EQ(got.size(), 1u) << i;
        EXPECT_EQ(got[0].data, cases[i].expected) << i;
    }
}

TEST_F(WlanBindings, AnOverlongMacIsCutAtItsEntry) {
    const std::string longMac(40, 'M');
    const std::string huge(100000, 'H');
    jstring s = host_info(jtexts({longMac.c_str(), "00:11:22:33:44:55", huge.c_str()}));
    if (s) env_->DeleteLocalRef(s);
    std::vector<zxtest::Received> got = received("wifi");
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].data, host_query({std::string(19, 'M'), "00:11:22:33:44:55", std::string(19, 'H')}, 3));
}

TEST_F(WlanBindings, FailedHostQueryIsTheFixedText) {
    ASSERT_TRUE(sim_.inject("wifi", kHostInfo, zxtest::Fault::status(0xF7603005)));
    jstring s = host_info(nullptr);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(utf16_of(env_, s), utf16("{\"Result\":-1, \"List\":null}"));
    env_->DeleteLocalRef(s);
    EXPECT_EQ(take_records(),
              (std::vector<std::string>{
                  L1("../zel/zx_zel_jni_api", 95, 0xF7603005),  // the wrapper's own record
                  L1(kBindingsUnit, binding_line_of("getWLANHostInfo", "last_word(__LINE__, result)"), 0xF7603005),
                  T(249, kBindingsUnit, binding_line_of("getWLANHostInfo", "RPCCall failed"),
                    "\r\n getWLANHostInfo JNI RPCCall failed\r\n"),
              }));
}

TEST_F(WlanBindings, HostQueryWithoutItsReplyBlockIsNull) {
    zxhost::alloc_fail_at(kBindingsUnit, binding_line_of("getWLANHostInfo", "malloc_d(kHostInfoReplySize"));
    EXPECT_EQ(host_info(jtexts({"00:11:22:33:44:55"})), nullptr);
    EXPECT_TRUE(received("wifi").empty());
    EXPECT_EQ(take_records(), (std::vector<std::string>{
                                  L1(kBindingsUnit, binding_line_of("getWLANHostInfo", "last_word(__LINE__, 1)"), 1),
                              }));
}

// ---------------------------------------------------------------------------------------------
// Forbidden channels: the count against the array and the 32-byte block
// ---------------------------------------------------------------------------------------------

class ForbidChannel : public WlanBindings {
protected:
    // The 40-byte record the service received for one call; empty when none came.
    Bytes sent(jint radio, jint count, jcharArray chars, jint expectedAnswer) {
        jint answer = Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanSetForbidChannel(
            env_, nullptr, radio, count, chars);
        EXPECT_EQ(answer, expectedAnswer);
        std::vector<zxtest::Received> got = received("wifi");
        if (got.size() != 1) return {};
        EXPECT_EQ(got[0].msgId, kForbidChannel);
        return got[0].data;
    }
    static Bytes record(int32_t radio, int32_t count, const std::string& text) {
        Bytes b(40, 0);
        std::memcpy(&b[0], &radio, 4);
        std::memcpy(&b[4], &count, 4);
        std::memcpy(&b[8], text.data(), text.size());
        return b;
    }
};

// Callers pass at most 32 channels in an array of at least that many: a count beyond the array
// would read characters Java never passed, one beyond the block would overflow it.
TEST_F(ForbidChannel, ACountBeyondTheArrayIsRefusedAndNothingIsSent) {
    ASSERT_TRUE(sim_.inject("wifi", kForbidChannel, zxtest::Fault::status(0)));
    take_records();
    EXPECT_EQ(sent(0, 4, jchars({'1', '6', '1'}), -1), Bytes{});
    EXPECT_EQ(sent(0, 2, jchars({}), -1), Bytes{});
    EXPECT_EQ(sent(0, 0x7FFFFFFF, jchars({'x'}), -1), Bytes{});
    for (const std::string& r : take_records())
        EXPECT_EQ(r.find(kBindingsUnit), std::string::npos) << "a refusal writes no binding trace: " << r;
    EXPECT_EQ(sent(0, 3, jchars({'1', '6', '1'}), 0), record(0, 3, "161")) << "the same array with its own count";
}

TEST_F(ForbidChannel, ACountBeyondTheBlockIsRefusedAndThirtyTwoAreSent) {
    ASSERT_TRUE(sim_.inject("wifi", kForbidChannel, zxtest::Fault::status(0)));
    std::vector<jchar> many(50);
    for (size_t i = 0; i < many.size(); ++i) many[i] = static_cast<jchar>(0x4100 + 'a' + i % 26);  // low byte a..z
    EXPECT_EQ(sent(1, 33, jchars(many), -1), Bytes{});
    EXPECT_EQ(sent(1, 1000, jchars(many), -1), Bytes{});
    // 32 channels fill the block; the record's field keeps its first 31 and ends the text.
    std::string expected;
    for (size_t i = 0; i < 31; ++i) expected += static_cast<char>('a' + i % 26);
    EXPECT_EQ(sent(1, 32, jchars(many), 0), record(1, 32, expected));
}

TEST_F(ForbidChannel, NullArrayAndNoCount) {
    ASSERT_TRUE(sim_.inject("wifi", kForbidChannel, zxtest::Fault::status(0)));
    EXPECT_EQ(sent(0, 5, nullptr, 0), record(0, 5, "")) << "no array: a zeroed block";
    EXPECT_EQ(sent(0, 0, jchars({'1', '2'}), 0), record(0, 0, ""));
    EXPECT_EQ(sent(0, -3, jchars({'1'}), 0), record(0, -3, ""));
    EXPECT_EQ(sent(0, 0, jchars({}), 0), record(0, 0, ""));
}

#if !defined(__SANITIZE_ADDRESS__)
// (Only where this executable owns malloc: the sanitizer's allocator cannot refuse a block.)
TEST_F(ForbidChannel, WithoutItsBlockNothingIsSent) {
    jcharArray chars = jchars({1, 6, 11, 2, 3});
    std::vector<void*> live;
    std::vector<std::string> seen;
    t_watch = Watch{false, 0, &live, &seen, 32};
    jint answer = Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanSetForbidChannel(env_, nullptr,
                                                                                                         0, 5, chars);
    const bool refused = t_watch.failSize == 0;
    t_watch = Watch{};
    ASSERT_TRUE(refused) << "the block was asked for";
    EXPECT_EQ(answer, -1);
    EXPECT_TRUE(received("wifi").empty());
}
#endif

TEST_F(ForbidChannel, RadioTwoAndAFailureAnswerMinusOne) {
    EXPECT_EQ(sent(2, 1, jchars({'6'}), -1), Bytes{}) << "radio 2 is refused before anything is sent";
    ASSERT_TRUE(sim_.inject("wifi", kForbidChannel, zxtest::Fault::status(0xF7603009)));
    take_records();
    EXPECT_EQ(sent(0, 1, jchars({'6'}), -1), record(0, 1, "6"));
    for (const std::string& r : take_records())
        EXPECT_EQ(r.find(kBindingsUnit), std::string::npos) << "a failure writes no binding trace: " << r;
}

// ---------------------------------------------------------------------------------------------
// SSID information and LEDs
// ---------------------------------------------------------------------------------------------

TEST_F(WlanBindings, SsidInformationWithoutItsBlockIsNull) {
    zxhost::alloc_fail_at(kBindingsUnit, binding_line_of("sysGetWLanInfo", "PlatformBuffer block("));
    EXPECT_EQ(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_sysGetWLanInfo(env_, nullptr, 0),
              nullptr);
    EXPECT_TRUE(received("app_m").empty());
    EXPECT_EQ(take_records(),
              (std::vector<std::string>{
                  T(249, kBindingsUnit, binding_line_of("sysGetWLanInfo", "sysGetWLanInfo called"),
                    "\r\n sysGetWLanInfo called \r\n"),
                  T(249, kBindingsUnit, binding_line_of("sysGetWLanInfo", "ssid = %u"), "\r\n ssid = 0 \r\n"),
                  L1(kBindingsUnit, binding_line_of("sysGetWLanInfo", "last_word(__LINE__, 1)"), 1),
              }));
}

TEST_F(WlanBindings, LedAnswersZeroOrMinusOneNeverJson) {
    jstring s =
        Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_LedSetState(env_, nullptr, 1, 2, 500, 500);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(utf16_of(env_, s), u"0");
    env_->DeleteLocalRef(s);
    ASSERT_TRUE(sim_.inject("app_m", 0x4710306E, zxtest::Fault::status(0xF7103002)));
    s = Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_LedSetState(env_, nullptr, -1, 2, 500, 500);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(utf16_of(env_, s), u"-1");
    env_->DeleteLocalRef(s);
}

}  // namespace
