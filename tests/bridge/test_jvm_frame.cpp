// The binding frame's shapes that no native uses yet, driven as a native would drive them in a real
// VM: a heap buffer sized at run time, a text copied into length + 1 bytes, integer answers with
// their own missing-argument path, a void native's closing trace, String[] arguments with null
// elements, String[] answers, char[] arguments cut to bytes, byte[] handed back in a holder field.
// Each case checks the answer, the records written and that nothing is left allocated. The
// arguments a case passes are made through the VM's own env (vm_), as the VM hands a native its
// arguments; the binding gets the counting env (env_), and what it hands back is deleted through
// env_, so a reference the frame keeps by mistake is counted when the case ends.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "binding.h"
#include "jvm.h"
#include "trace_lines.h"
#include "traced_jvm_test.h"
#include "zx_host.h"

namespace {

using zxjni::Binding;
using zxjni::HeapBinding;
using zxjni::IntBinding;
using zxjni::OnFailure;
using zxjni::ReadOnlyChars;
using zxjni::StringArrayArg;
using zxjni::StringArrayResult;
using zxtest::L1;
using zxtest::T;
using zxtest::take_records;
using Records = std::vector<std::string>;

constexpr const char* kUnit = "baseservice_jni";

std::string entry(const std::string& method) {
    return "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_" + method + " called \r\n";
}

class Frame : public zxtest::TracedJvmTest {
protected:
    // The text of a string the code under test handed back, whose reference is then deleted.
    std::string text_of(jstring s) {
        if (!s) return "<null>";
        const char* chars = env_->GetStringUTFChars(s, nullptr);
        std::string out(chars);
        env_->ReleaseStringUTFChars(s, chars);
        env_->DeleteLocalRef(s);
        return out;
    }

    // A String[] argument made as the VM hands it to a native (outside the count); nullptr
    // entries stay null.
    jobjectArray strings(std::initializer_list<const char*> values) {
        jclass cls = vm_->FindClass("java/lang/String");
        jobjectArray a = vm_->NewObjectArray(static_cast<jsize>(values.size()), cls, nullptr);
        vm_->DeleteLocalRef(cls);
        jsize i = 0;
        for (const char* v : values) {
            if (v) {
                jstring s = vm_->NewStringUTF(v);
                vm_->SetObjectArrayElement(a, i, s);
                vm_->DeleteLocalRef(s);
            }
            ++i;
        }
        return a;
    }
};

// ---- heap buffer sized at run time ----------------------------------------------------------

TEST_F(Frame, HeapBindingTakesTheSizeChosenWhenTheNativeRuns) {
    for (uint32_t size : {HeapBinding::kAllSsidsSize, HeapBinding::kOneSsidSize}) {
        const uint32_t entryLine = __LINE__;
        HeapBinding b(env_, "sysGetWLanInfo", entryLine, size, 700);
        ASSERT_TRUE(b);
        EXPECT_EQ(b.size(), size);
        auto blocks = zxhost::alloc_list();
        ASSERT_FALSE(blocks.empty());
        EXPECT_EQ(blocks.back().size, size);
        EXPECT_EQ(blocks.back().file, kUnit);
        EXPECT_EQ(blocks.back().line, 700u);
        // A reply that fills the block to its last byte but one is handed over whole.
        std::string reply(size - 1, 'w');
        ZX_OS_StrNCpy_S(b.buf(), b.size(), reply.c_str(), size - 1);
        EXPECT_EQ(text_of(b.finish(0, 701, " sysGetWLanInfo ret: %u len")), reply);
        EXPECT_EQ(take_records(), (Records{T(249, kUnit, entryLine, entry("sysGetWLanInfo")),
                                           T(249, kUnit, 701, " sysGetWLanInfo ret: 0 len")}));
    }
}

TEST_F(Frame, HeapBindingClearsTheBlockOnFailure) {
    HeapBinding b(env_, "sysGetWLanInfo", 710, HeapBinding::kOneSsidSize, 711);
    ASSERT_TRUE(b);
    ZX_OS_StrNCpy_S(b.buf(), b.size(), "{\"partial", 20);
    EXPECT_EQ(text_of(b.finish(0xF7700005u, 712, "ret: %u buff:%s")), "<null>");
    EXPECT_EQ(take_records(), (Records{T(249, kUnit, 710, entry("sysGetWLanInfo")),
                                       T(249, kUnit, 712, "ret: 4151312389 buff:{\"partial")}));
}

TEST_F(Frame, HeapBindingWithoutItsBlockAnswersNullAndRecordsTheLine) {
    zxhost::alloc_fail_nth(1);
    HeapBinding b(env_, "lanGetDevInternetAccessBlacklist", 720, HeapBinding::kBlacklistSize, 721);
    ASSERT_FALSE(b);
    EXPECT_EQ(text_of(b.no_block(722)), "<null>");
    EXPECT_EQ(take_records(),
              (Records{T(249, kUnit, 720, entry("lanGetDevInternetAccessBlacklist")), L1(kUnit, 722, 1)}));
}

TEST_F(Frame, TerminatedCopyHoldsLengthPlusOneBytes) {
    const char data[] = {'v', 'i', 'd', 'X', 'X'};  // the platform's data need not end in a NUL
    {
        zxjni::PlatformBuffer copy = zxjni::terminated_copy(data, 3, 730);
        ASSERT_TRUE(copy);
        EXPECT_STREQ(copy.get(), "vid");
        auto blocks = zxhost::alloc_list();
        ASSERT_FALSE(blocks.empty());
        EXPECT_EQ(blocks.back().size, 4u);
        EXPECT_EQ(blocks.back().line, 730u);
    }
    zxhost::alloc_fail_nth(1);
    EXPECT_FALSE(zxjni::terminated_copy(data, 3, 731));
}

// ---- integer answers ------------------------------------------------------------------------

TEST_F(Frame, IntBindingAnswersItsOwnValueForAMissingArgument) {
    IntBinding b("addWANAccessRule", 740);
    EXPECT_EQ(b.missing_argument(-1), -1);  // unrecorded
    EXPECT_EQ(b.missing_argument(1, 741), 1);
    EXPECT_EQ(IntBinding::mapped(0), 0);
    EXPECT_EQ(IntBinding::mapped(0xF7700005u), -1);
    EXPECT_EQ(IntBinding::code(0xF7700005u), static_cast<jint>(0xF7700005u));
    EXPECT_EQ(take_records(), (Records{T(249, kUnit, 740, entry("addWANAccessRule")), L1(kUnit, 741, 1)}));
}

// ---- code text, void natives ----------------------------------------------------------------

TEST_F(Frame, CodeTextMissingArgumentAnswersOne) {
    Binding<64, OnFailure::CodeText> b(env_, "lanSetDevAccessPermission", 750);
    EXPECT_EQ(text_of(b.missing_argument(751)), "1");
    EXPECT_EQ(take_records(), (Records{T(249, kUnit, 750, entry("lanSetDevAccessPermission")), L1(kUnit, 751, 1)}));
}

TEST_F(Frame, VoidNativeTracesTheCodeTextItWouldHaveAnswered) {
    Binding<128, OnFailure::CodeText> b(env_, "setFilesScanSwitch", 760);
    b.finish_void(0xF7700005u, 761, " setFilesScanSwitch ret: %u buff:%s");
    Binding<128, OnFailure::CodeText> ok(env_, "setFilesScanSwitch", 762);
    ok.finish_void(0, 763, " setFilesScanSwitch ret: %u buff:%s");
    EXPECT_EQ(take_records(), (Records{T(249, kUnit, 760, entry("setFilesScanSwitch")),
                                       T(249, kUnit, 761, " setFilesScanSwitch ret: 4151312389 buff:-143654907"),
                                       T(249, kUnit, 762, entry("setFilesScanSwitch")),
                                       T(249, kUnit, 763, " setFilesScanSwitch ret: 0 buff:")}));
}

TEST_F(Frame, KeptTextGoesToJavaAsThePlatformLeftIt) {
    Binding<256, OnFailure::Kept> b(env_, "wlanGetSecurity", 770);
    ZX_OS_StrNCpy_S(b.buf(), b.size(), "{\"Result\":-1}", 100);
    EXPECT_EQ(text_of(b.finish(1, 771, "ret: %u buff:%s")), "{\"Result\":-1}");
}

// ---- String[] arguments ---------------------------------------------------------------------

TEST_F(Frame, StringArrayArgumentGivesEmptyTextsForNullElements) {
    jobjectArray array = strings({"00:11:22:33:44:55", nullptr, "", "aa"});
    StringArrayArg macs(env_, array);
    ASSERT_FALSE(macs.is_null());
    ASSERT_EQ(macs.length(), 4);
    EXPECT_STREQ(macs.text(0).get(), "00:11:22:33:44:55");
    EXPECT_FALSE(macs.text(1));  // null element
    EXPECT_FALSE(macs.text(2));  // an empty string converts to null
    EXPECT_STREQ(macs.text(3).get(), "aa");
    EXPECT_FALSE(macs.text(4));  // beyond the array
    EXPECT_FALSE(macs.text(-1));
    EXPECT_EQ(refs_->live(), 0u) << "each element's reference is dropped once converted";
    EXPECT_GE(refs_->made(), 3u) << "the elements that are not null were read through the counted env";
    vm_->DeleteLocalRef(array);
}

TEST_F(Frame, ANullStringArrayHasNoElements) {
    StringArrayArg none(env_, nullptr);
    EXPECT_TRUE(none.is_null());
    EXPECT_EQ(none.length(), 0);
    EXPECT_FALSE(none.text(0));
}

TEST_F(Frame, ALongStringArrayIsReadWithinTheNativesReferences) {
    // The case runs in a frame of 16 references; a reference kept per element would be counted
    // (and -Xcheck:jni would report the frame's capacity exceeded).
    jclass cls = vm_->FindClass("java/lang/String");
    jobjectArray a = vm_->NewObjectArray(300, cls, nullptr);
    vm_->DeleteLocalRef(cls);
    for (jsize i = 0; i < 300; i += 2) {
        jstring s = vm_->NewStringUTF("x");
        vm_->SetObjectArrayElement(a, i, s);
        vm_->DeleteLocalRef(s);
    }
    StringArrayArg list(env_, a);
    int converted = 0;
    for (jsize i = 0; i < list.length(); ++i)
        if (list.text(i)) ++converted;
    EXPECT_EQ(converted, 150);
    EXPECT_EQ(refs_->live(), 0u);
    EXPECT_GE(refs_->made(), 150u) << "the elements read were counted";
    EXPECT_LT(refs_->peak(), static_cast<size_t>(zxtest::kNativeFrameCapacity));
    vm_->DeleteLocalRef(a);
}

// ---- String[] answers -----------------------------------------------------------------------

TEST_F(Frame, StringArrayResultLeavesUnsetAndEmptyElementsNull) {
    StringArrayResult result(env_, 3);
    ASSERT_TRUE(result);
    EXPECT_TRUE(result.set(0, "video:1;picture:2;music:3"));
    EXPECT_TRUE(result.set(2, ""));
    EXPECT_FALSE(result.set(3, "beyond"));  // refused, no exception left behind
    EXPECT_FALSE(env_->ExceptionCheck());
    jobjectArray array = result.release();
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(refs_->live(), 1u) << "the array handed out and nothing else";
    ASSERT_EQ(env_->GetArrayLength(array), 3);
    EXPECT_EQ(text_of(static_cast<jstring>(env_->GetObjectArrayElement(array, 0))), "video:1;picture:2;music:3");
    EXPECT_EQ(env_->GetObjectArrayElement(array, 1), nullptr);
    EXPECT_EQ(env_->GetObjectArrayElement(array, 2), nullptr);
    env_->DeleteLocalRef(array);  // what the binding handed out, as Java would take it over
}

TEST_F(Frame, AStringArrayResultNotHandedOutLeavesNoReference) {
    {
        StringArrayResult result(env_, 2);
        ASSERT_TRUE(result);
        EXPECT_TRUE(result.set(1, "x"));
        EXPECT_EQ(refs_->live(), 1u) << "the array alone while it is being filled";
    }
    EXPECT_EQ(refs_->live(), 0u);
}

// ---- char[] arguments -----------------------------------------------------------------------

TEST_F(Frame, CharArrayIsCutToLowBytesAndACountBeyondItsRangeToWhatItHolds) {
    jcharArray channels = vm_->NewCharArray(3);
    const jchar values[3] = {0x141, 6, 0xFFFF};
    vm_->SetCharArrayRegion(channels, 0, 3, values);
    ReadOnlyChars chars(env_, channels);
    uint8_t out[32];
    out[5] = 0xEE;
    EXPECT_EQ(zxjni::low_bytes(chars, 5, out, sizeof out), 3u);
    EXPECT_EQ(out[0], 0x41);
    EXPECT_EQ(out[1], 6);
    EXPECT_EQ(out[2], 0xFF);
    EXPECT_EQ(out[5], 0);  // zeroed beyond what was copied
    EXPECT_EQ(zxjni::low_bytes(chars, 0, out, sizeof out), 0u);
    EXPECT_EQ(zxjni::low_bytes(chars, -4, out, sizeof out), 0u);
    ReadOnlyChars none(env_, nullptr);
    EXPECT_EQ(zxjni::low_bytes(none, 3, out, sizeof out), 0u);
    EXPECT_EQ(refs_->made(), 0u) << "pinning and reading make no reference";
}

TEST_F(Frame, CharArrayCountIsCutToTheBlock) {
    jcharArray channels = vm_->NewCharArray(40);
    zxjni::PinnedChars chars(env_, channels);
    uint8_t out[32];
    EXPECT_EQ(zxjni::low_bytes(chars, 40, out, sizeof out), 32u);
    EXPECT_EQ(refs_->made(), 0u);
}

// ---- byte[] in a holder object --------------------------------------------------------------

// java.io.ByteArrayOutputStream keeps its bytes in a field "buf" of type byte[]: a holder object
// the VM has without a class of the test's own.
TEST_F(Frame, BytesAreStoredInTheHoldersField) {
    jclass cls = vm_->FindClass("java/io/ByteArrayOutputStream");
    jobject holder = vm_->NewObject(cls, vm_->GetMethodID(cls, "<init>", "()V"));
    const char data[5] = {1, 2, 3, 4, 5};
    ASSERT_TRUE(zxjni::store_byte_array(env_, holder, "buf", data, 5));
    EXPECT_EQ(refs_->live(), 0u) << "the array lives on in the field, its reference is dropped";
    EXPECT_GE(refs_->made(), 2u) << "the array's and the class's references were counted";
    auto stored = static_cast<jbyteArray>(vm_->GetObjectField(holder, vm_->GetFieldID(cls, "buf", "[B")));
    ASSERT_EQ(vm_->GetArrayLength(stored), 5);
    jbyte back[5] = {};
    vm_->GetByteArrayRegion(stored, 0, 5, back);
    EXPECT_EQ(back[4], 5);
    vm_->DeleteLocalRef(stored);
    EXPECT_FALSE(zxjni::store_byte_array(env_, holder, "bytearray", data, 5));  // no such field
    EXPECT_FALSE(env_->ExceptionCheck());
    EXPECT_EQ(refs_->live(), 0u) << "a field that is not there leaves no reference either";
    EXPECT_FALSE(zxjni::store_byte_array(env_, nullptr, "buf", data, 5));
    vm_->DeleteLocalRef(holder);
    vm_->DeleteLocalRef(cls);
}

}  // namespace
