// Textual path canonicalisation: results, console messages and limits.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "zx_fileservice.h"

namespace {

struct Result {
    int32_t code;
    std::string out;
    std::string printed;
};

Result run(const std::string& path, size_t outSize = 1024) {
    std::vector<char> out(outSize, '\0');
    testing::internal::CaptureStdout();
    int32_t code = canonicalize(path.c_str(), out.data(), static_cast<uint32_t>(outSize));
    std::fflush(stdout);
    std::string printed = testing::internal::GetCapturedStdout();
    return {code, std::string(out.data()), printed};
}

struct Case {
    const char* path;
    int32_t code;
    const char* out;
    const char* printed;
};

TEST(Canonicalize, Examples) {
    const Case cases[] = {
        {"/a/b/../c", 0, "/a/c", ""},
        {"/a/./b//c/", 0, "/a/b/c", "filename matches current folder\nfilename is empty\nfilename is empty\n"},
        {"/", 0, "/", "filename is empty\n"},
        {"", 0, "/", ""},
        {"/..", -1, nullptr, ""},
        {"/a/../..", -1, nullptr, ""},
        {"x/y/../z", 0, "x/z", ""},
        {"./a", 0, "./a", ""},
        {"../a", 0, "../a", ""},
        {"abc", 0, "abc/", ""},
        {"/usr/lib/jvm/../../bin", 0, "/usr/bin", ""},
        {"/a/b/c/../../d/./e", 0, "/a/d/e", "filename matches current folder\n"},
    };
    for (const Case& c : cases) {
        Result r = run(c.path);
        EXPECT_EQ(r.code, c.code) << c.path;
        if (c.out) {
            EXPECT_EQ(r.out, c.out) << c.path;
        }
        EXPECT_EQ(r.printed, c.printed) << c.path;
    }
}

TEST(Canonicalize, ComponentOf256CharactersIsKeptAsItsFirst255AndOf257Refused) {
    std::string c256(256, 'a');
    Result r = run("/" + c256 + "/b");
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(r.out, "/" + std::string(255, 'a') + "/b");
    EXPECT_EQ(run("/" + std::string(257, 'a')).code, -1);
    EXPECT_EQ(run("/x/" + std::string(257, 'a') + "/y").code, -1);
}

TEST(Canonicalize, LeadingPartOf257CharactersIsRefused) {
    EXPECT_EQ(run(std::string(257, 'l') + "/a").code, -1);
    Result r = run(std::string(256, 'l') + "/a");
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(r.out, std::string(256, 'l') + "/a");
}

TEST(Canonicalize, AComponentThatDoesNotFitFails) {
    // "/abc/def" needs 9 bytes with its terminator; "def" does not fit into 8.
    Result r = run("/abc/def", 8);
    EXPECT_EQ(r.code, -1);
    EXPECT_EQ(run("/abc/def", 9).out, "/abc/def");
}

TEST(Canonicalize, APathWithoutSlashIntoItsOwnLengthKeepsThePath) {
    // The canonical form "abc/" is one longer than the buffer of length + 1 bytes: the bounded
    // append leaves "abc".
    Result r = run("abc", 4);
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(r.out, "abc");
}

TEST(Canonicalize, AOneMegabytePathIsCanonicalisedInLinearTime) {
    // Components of 8 characters, every tenth cancelled by a "..":
    // the output is measured once, not again for every component (which took seconds).
    std::string path;
    std::string want;
    for (int i = 0; path.size() < (1u << 20); ++i) {
        char component[16];
        std::snprintf(component, sizeof component, "/d%07d", i);
        path += component;
        if (i % 10 == 9) {
            path += "/..";
        } else {
            want += component;
        }
    }
    ASSERT_GE(path.size(), 1u << 20);
    std::vector<char> out(path.size() + 1, '\0');  // as the file-system natives pass it
    const auto start = std::chrono::steady_clock::now();
    int32_t code = canonicalize(path.c_str(), out.data(), static_cast<uint32_t>(out.size()));
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(code, 0);
    EXPECT_EQ(std::string(out.data()), want);
    EXPECT_LT(took, std::chrono::seconds(3));
    // The same path into a buffer one byte short of the answer fails at its last component.
    std::vector<char> shortOut(want.size(), '\0');
    EXPECT_EQ(canonicalize(path.c_str(), shortOut.data(), static_cast<uint32_t>(shortOut.size())), -1);
    EXPECT_EQ(std::string(shortOut.data()), want.substr(0, want.rfind('/') + 1));
}

TEST(Canonicalize, NullArgumentsFail) {
    char out[8] = {};
    EXPECT_EQ(canonicalize(nullptr, out, sizeof out), -1);
    EXPECT_EQ(canonicalize("/a", nullptr, 8), -1);
    EXPECT_EQ(canonicalize("/a", out, 0), -1);
}

}  // namespace
