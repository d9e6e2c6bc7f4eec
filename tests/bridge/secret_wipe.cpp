// A secret is wiped before it is freed, on every path that lets go of it. The test's calls of
// free() are wrapped (see tests/CMakeLists.txt): the wrapper looks at a watched block just before
// it is released, so the test sees the bytes the allocator would have kept.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include "scoped.h"

extern "C" void __real_free(void* p);

namespace {

const void* g_watched = nullptr;
size_t g_watchedLength = 0;
std::string g_seenAtFree;
int g_watchedFrees = 0;

}  // namespace

extern "C" void __wrap_free(void* p) {
    if (p && p == g_watched) {
        g_seenAtFree.assign(static_cast<const char*>(p), g_watchedLength);
        ++g_watchedFrees;
    }
    __real_free(p);
}

namespace {

using zxjni::JavaText;
using zxjni::SecretText;

class SecretWipe : public testing::Test {
protected:
    // A malloc'ed copy of text, watched until it is freed.
    char* watched(const char* text) {
        size_t n = std::strlen(text);
        char* p = static_cast<char*>(std::malloc(n + 1));
        std::memcpy(p, text, n + 1);
        g_watched = p;
        g_watchedLength = n;
        g_seenAtFree.clear();
        g_watchedFrees = 0;
        return p;
    }
    void TearDown() override { g_watched = nullptr; }

    static std::string zeros(size_t n) { return std::string(n, '\0'); }
};

TEST_F(SecretWipe, ScopeEndWipesBeforeFreeing) {
    { SecretText secret(watched("hunter22")); }
    EXPECT_EQ(g_watchedFrees, 1);
    EXPECT_EQ(g_seenAtFree, zeros(8));
}

TEST_F(SecretWipe, ResetWipesBeforeFreeing) {
    SecretText secret(watched("pa55word"));
    secret.reset();
    EXPECT_FALSE(secret);
    EXPECT_EQ(g_watchedFrees, 1);
    EXPECT_EQ(g_seenAtFree, zeros(8));
}

TEST_F(SecretWipe, AssignmentOverASecretWipesTheOldOne) {
    SecretText secret(watched("oldkey"));
    secret = SecretText(static_cast<char*>(std::calloc(1, 1)));
    EXPECT_EQ(g_watchedFrees, 1);
    EXPECT_EQ(g_seenAtFree, zeros(6));
}

TEST_F(SecretWipe, AMovedSecretIsWipedByItsNewOwnerOnly) {
    SecretText first(watched("moved-key"));
    {
        SecretText second(std::move(first));
        first.reset();  // holds nothing now: frees nothing
        EXPECT_EQ(g_watchedFrees, 0);
    }
    EXPECT_EQ(g_watchedFrees, 1);
    EXPECT_EQ(g_seenAtFree, zeros(9));
}

TEST_F(SecretWipe, ReleaseHandsTheSecretOutUnwipedAndUnfreed) {
    SecretText secret(watched("handed"));
    char* out = secret.release();
    EXPECT_EQ(g_watchedFrees, 0);
    EXPECT_STREQ(out, "handed");
    std::memset(out, 0, 6);
    std::free(out);
    EXPECT_EQ(g_watchedFrees, 1);
}

// The judge itself: an ordinary text reaches free() as it was, so the wrapper would have seen an
// unwiped secret.
TEST_F(SecretWipe, AnOrdinaryTextIsFreedAsItWas) {
    {
        JavaText text(watched("plain"));
        EXPECT_STREQ(text.get(), "plain");
    }
    EXPECT_EQ(g_watchedFrees, 1);
    EXPECT_EQ(g_seenAtFree, "plain");
}

}  // namespace
