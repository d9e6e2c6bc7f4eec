// Conversion between Java strings and UTF-8 texts in a real VM: standard UTF-8 both ways (not the
// VM's modified UTF-8), empty strings as null, and no local reference left behind (counted by the
// harness, whatever the VM prints).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "jvm.h"
#include "zx_bridge.h"

namespace {

using zxtest::java_string;
using zxtest::utf16_of;
using Bytes = std::vector<uint8_t>;

struct Free {
    void operator()(char* p) const { std::free(p); }
};
using Text = std::unique_ptr<char, Free>;

// The first n bytes of a text.
Bytes bytes(const char* p, size_t n) { return Bytes(p, p + n); }

using JavaStrings = zxtest::JvmTest;

// ---------------------------------------------------------------------------------------------
// Java to UTF-8
// ---------------------------------------------------------------------------------------------

TEST_F(JavaStrings, EmptyOrNullJavaStringGivesNull) {
    EXPECT_EQ(jstring2char(env_, java_string(vm_, u"")), nullptr);
    EXPECT_EQ(jstring2char(env_, nullptr), nullptr);
}

TEST_F(JavaStrings, AsciiIsCopiedAndTerminated) {
    Text t(jstring2char(env_, java_string(vm_, u"br0 192.168.1.1")));
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(bytes(t.get(), 16), bytes("br0 192.168.1.1", 16));
}

TEST_F(JavaStrings, CharacterAboveU07FFBecomesThreeBytes) {
    Text t(jstring2char(env_, java_string(vm_, u"a\u00E9\u20AC")));
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(bytes(t.get(), 7), (Bytes{0x61, 0xC3, 0xA9, 0xE2, 0x82, 0xAC, 0x00}));
}

TEST_F(JavaStrings, CharacterOutsideTheBasicPlaneBecomesFourBytesNotASurrogatePair) {
    // Modified UTF-8 would give six bytes: ED A0 BD ED B8 80.
    Text t(jstring2char(env_, java_string(vm_, u"\U0001F600!")));
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(bytes(t.get(), 6), (Bytes{0xF0, 0x9F, 0x98, 0x80, 0x21, 0x00}));
}

TEST_F(JavaStrings, ZeroCharacterBecomesAZeroByte) {
    // Modified UTF-8 would give C0 80.
    const char16_t units[] = {u'a', u'\0', u'b'};
    Text t(jstring2char(env_, java_string(vm_, std::u16string_view(units, 3))));
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(bytes(t.get(), 4), (Bytes{0x61, 0x00, 0x62, 0x00}));
}

// ---------------------------------------------------------------------------------------------
// UTF-8 to Java
// ---------------------------------------------------------------------------------------------

TEST_F(JavaStrings, EmptyOrNullTextGivesNull) {
    EXPECT_EQ(char2jstring(env_, ""), nullptr);
    EXPECT_EQ(char2jstring(env_, nullptr), nullptr);
}

TEST_F(JavaStrings, JsonTextBecomesTheSameJavaString) {
    jstring s = char2jstring(env_, "{\"Result\":0 , \"Percent\":\"12\"}");
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(utf16_of(env_, s), u"{\"Result\":0 , \"Percent\":\"12\"}");
    env_->DeleteLocalRef(s);
}

TEST_F(JavaStrings, ThreeAndFourByteSequencesAreDecoded) {
    jstring s = char2jstring(env_, "\xE2\x82\xAC \xF0\x9F\x98\x80");
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(utf16_of(env_, s), u"\u20AC \U0001F600");
    env_->DeleteLocalRef(s);
}

TEST_F(JavaStrings, NulInTheMiddleEndsTheText) {
    const char text[] = "ab\0cd";
    jstring s = char2jstring(env_, text);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(utf16_of(env_, s), u"ab");
    env_->DeleteLocalRef(s);
}

TEST_F(JavaStrings, InvalidUtf8BecomesReplacementCharacters) {
    jstring s = char2jstring(env_, "a\xFF" "b\xC0");
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(utf16_of(env_, s), u"a\uFFFDb\uFFFD");
    env_->DeleteLocalRef(s);
}

TEST_F(JavaStrings, TextSurvivesTheRoundTrip) {
    const char* text = "LOID \xE5\x85\x89\xE7\xBA\xA4 \xF0\x9F\x93\xA1 ok";
    jstring s = char2jstring(env_, text);
    ASSERT_NE(s, nullptr);
    Text back(jstring2char(env_, s));
    ASSERT_NE(back, nullptr);
    EXPECT_STREQ(back.get(), text);
    env_->DeleteLocalRef(s);
}

// ---------------------------------------------------------------------------------------------
// Local references
// ---------------------------------------------------------------------------------------------

// One conversion of each kind per round, as a directory listing makes them by the thousand in one
// native call: the caller's own reference in, the answer out. After each conversion the
// references live must be the ones the caller holds, and the frame never needs more than a native
// is guaranteed.
testing::AssertionResult conversions_release_their_references(zxtest::LocalRefCounter& refs, int rounds,
                                                             char* (*to_text)(JNIEnv*, jstring),
                                                             jstring (*to_java)(JNIEnv*, const char*)) {
    JNIEnv* env = refs.env();
    auto beyond_the_callers = [&](const char* conversion, int round) {
        return testing::AssertionFailure() << refs.live() << " references live after the conversion to " << conversion
                                           << " in round " << round << ", the caller holds 1";
    };
    for (int i = 0; i < rounds; ++i) {
        jstring in = java_string(env, u"file-\u20AC.txt");
        if (!in) return testing::AssertionFailure() << "no input string in round " << i;
        Text t(to_text(env, in));
        if (!t) return testing::AssertionFailure() << "no text in round " << i;
        if (refs.live() != 1) return beyond_the_callers("a text", i);
        env->DeleteLocalRef(in);
        jstring out = to_java(env, t.get());
        if (!out) return testing::AssertionFailure() << "no Java string in round " << i;
        if (refs.live() != 1) return beyond_the_callers("a Java string", i);
        env->DeleteLocalRef(out);  // the caller's own reference, as a listing hands it on
    }
    if (refs.peak() >= static_cast<size_t>(zxtest::kNativeFrameCapacity))
        return testing::AssertionFailure() << refs.peak() << " references were live at once";
    return testing::AssertionSuccess() << "at most " << refs.peak() << " references live at once";
}

TEST_F(JavaStrings, ManyConversionsInOneNativeFrameKeepTheFrameSmall) {
    EXPECT_TRUE(conversions_release_their_references(*refs_, 2000, jstring2char, char2jstring));
    EXPECT_GT(refs_->made(), 2000u * 2) << "the conversions' own references were counted, not only the caller's";
}

// The counting env passes on every function of the VM's table (none is left to the trap that
// stands in for an entry the lists do not name).
TEST(JavaStringsControl, CountingEnvListsEveryJniFunction) {
    EXPECT_EQ(zxtest::LocalRefCounter::unlisted_functions(), 0u);
}

// The checks above can fail: references left behind are counted, without any help from the VM.
TEST(JavaStringsControl, ReferencesLeftBehindAreCountedAndAFramesEndReleasesThem) {
    JNIEnv* vm = zxtest::jvm_env();
    ASSERT_NE(vm, nullptr);
    zxtest::LocalRefCounter refs(vm);
    {
        // Room for all of them, so that the VM has nothing to say: the count alone is the oracle.
        zxtest::LocalFrame frame(refs.env(), 256);
        ASSERT_TRUE(frame);
        for (int i = 0; i < 200; ++i) ASSERT_NE(java_string(refs.env(), u"kept"), nullptr);
        EXPECT_EQ(refs.live(), 200u);
        EXPECT_EQ(refs.peak(), 200u);
    }
    EXPECT_EQ(refs.live(), 0u);
    EXPECT_EQ(refs.peak(), 200u);
    EXPECT_EQ(refs.unbalanced_pops(), 0u);
}

// Conversions written plainly with JNI, apart from the bridge; the first keeps a reference more
// than it hands back.
char* leaky_to_text(JNIEnv* env, jstring str) {
    env->NewLocalRef(str);
    const char* utf = env->GetStringUTFChars(str, nullptr);
    char* text = utf ? strdup(utf) : nullptr;
    if (utf) env->ReleaseStringUTFChars(str, utf);
    return text;
}
jstring plain_to_java(JNIEnv* env, const char* text) { return env->NewStringUTF(text); }

TEST(JavaStringsControl, ConversionCheckFailsWhenAConversionLeavesAReference) {
    JNIEnv* vm = zxtest::jvm_env();
    ASSERT_NE(vm, nullptr);
    zxtest::LocalRefCounter refs(vm);
    {
        zxtest::LocalFrame frame(refs.env(), 256);
        ASSERT_TRUE(frame);
        testing::AssertionResult checked =
            conversions_release_their_references(refs, 200, leaky_to_text, plain_to_java);
        EXPECT_FALSE(checked);
        EXPECT_THAT(checked.message(),
                    testing::HasSubstr("2 references live after the conversion to a text in round 0"));
    }
    EXPECT_EQ(refs.live(), 0u);
}

}  // namespace
