// Conversion between Java strings and UTF-8 texts in a real VM: standard UTF-8 both ways (not the
// VM's modified UTF-8), empty strings as null, and no JNI misuse for -Xcheck:jni to report.
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
    EXPECT_EQ(jstring2char(env_, java_string(env_, u"")), nullptr);
    EXPECT_EQ(jstring2char(env_, nullptr), nullptr);
}

TEST_F(JavaStrings, AsciiIsCopiedAndTerminated) {
    Text t(jstring2char(env_, java_string(env_, u"br0 192.168.1.1")));
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(bytes(t.get(), 16), bytes("br0 192.168.1.1", 16));
}

TEST_F(JavaStrings, CharacterAboveU07FFBecomesThreeBytes) {
    Text t(jstring2char(env_, java_string(env_, u"a\u00E9\u20AC")));
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(bytes(t.get(), 7), (Bytes{0x61, 0xC3, 0xA9, 0xE2, 0x82, 0xAC, 0x00}));
}

TEST_F(JavaStrings, CharacterOutsideTheBasicPlaneBecomesFourBytesNotASurrogatePair) {
    // Modified UTF-8 would give six bytes: ED A0 BD ED B8 80.
    Text t(jstring2char(env_, java_string(env_, u"\U0001F600!")));
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(bytes(t.get(), 6), (Bytes{0xF0, 0x9F, 0x98, 0x80, 0x21, 0x00}));
}

TEST_F(JavaStrings, ZeroCharacterBecomesAZeroByte) {
    // Modified UTF-8 would give C0 80.
    const char16_t units[] = {u'a', u'\0', u'b'};
    Text t(jstring2char(env_, java_string(env_, std::u16string_view(units, 3))));
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
}

TEST_F(JavaStrings, ThreeAndFourByteSequencesAreDecoded) {
    jstring s = char2jstring(env_, "\xE2\x82\xAC \xF0\x9F\x98\x80");
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(utf16_of(env_, s), u"\u20AC \U0001F600");
}

TEST_F(JavaStrings, NulInTheMiddleEndsTheText) {
    const char text[] = "ab\0cd";
    jstring s = char2jstring(env_, text);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(utf16_of(env_, s), u"ab");
}

TEST_F(JavaStrings, InvalidUtf8BecomesReplacementCharacters) {
    jstring s = char2jstring(env_, "a\xFF" "b\xC0");
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(utf16_of(env_, s), u"a\uFFFDb\uFFFD");
}

TEST_F(JavaStrings, TextSurvivesTheRoundTrip) {
    const char* text = "LOID \xE5\x85\x89\xE7\xBA\xA4 \xF0\x9F\x93\xA1 ok";
    jstring s = char2jstring(env_, text);
    ASSERT_NE(s, nullptr);
    Text back(jstring2char(env_, s));
    ASSERT_NE(back, nullptr);
    EXPECT_STREQ(back.get(), text);
}

// ---------------------------------------------------------------------------------------------
// Local references
// ---------------------------------------------------------------------------------------------

// A directory listing converts thousands of names in one native call: the conversions must
// release their own local references, or the VM reports the frame's capacity exceeded.
TEST_F(JavaStrings, ManyConversionsInOneNativeFrameKeepTheFrameSmall) {
    for (int i = 0; i < 2000; ++i) {
        jstring in = java_string(env_, u"file-\u20AC.txt");
        Text t(jstring2char(env_, in));
        ASSERT_NE(t, nullptr);
        env_->DeleteLocalRef(in);
        jstring out = char2jstring(env_, t.get());
        ASSERT_NE(out, nullptr);
        env_->DeleteLocalRef(out);  // the caller's own reference, as a listing hands it on
    }
}

// The check above can fail: references left behind in the same kind of frame are reported.
TEST(JavaStringsControl, VmReportsReferencesBeyondTheFramesCapacity) {
    zxtest::VmOutput output;
    JNIEnv* env = zxtest::jvm_env();
    bool made = env != nullptr;
    if (made) {
        zxtest::LocalFrame frame(env, 16);
        for (int i = 0; i < 200 && made; ++i) made = java_string(env, u"kept") != nullptr;
    }
    std::string printed = output.take();
    ASSERT_TRUE(made);
    EXPECT_NE(printed.find("JNI local refs"), std::string::npos) << printed;
}

}  // namespace
