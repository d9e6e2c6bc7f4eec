// File and directory copy: contents, console messages and failure paths.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "test_env.h"
#include "zx_fileservice.h"

namespace {

void write_file(const std::string& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

std::string pattern(size_t n) {
    std::string s(n, '\0');
    for (size_t i = 0; i < n; ++i) s[i] = static_cast<char>((i * 7 + i / 251) & 0xFF);
    return s;
}

TEST(CopyFile, TwentyThousandBytesArriveWhole) {
    zxtest::ScopedTempDir dir;
    std::string data = pattern(20000);
    write_file(dir.path() + "/src", data);
    EXPECT_EQ(copyfile((dir.path() + "/src").c_str(), (dir.path() + "/dst").c_str()), 1);
    EXPECT_EQ(read_file(dir.path() + "/dst"), data);
}

TEST(CopyFile, AShorterFileOverALongerOneKeepsTheTail) {
    zxtest::ScopedTempDir dir;
    std::string old(100, 'o');
    write_file(dir.path() + "/dst", old);
    write_file(dir.path() + "/src", "0123456789");
    EXPECT_EQ(copyfile((dir.path() + "/src").c_str(), (dir.path() + "/dst").c_str()), 1);
    std::string now = read_file(dir.path() + "/dst");
    ASSERT_EQ(now.size(), 100u);
    EXPECT_EQ(now.substr(0, 10), "0123456789");
    EXPECT_EQ(now.substr(10), std::string(90, 'o'));
}

TEST(CopyFile, AnEmptyFileGivesAnEmptyDestination) {
    zxtest::ScopedTempDir dir;
    write_file(dir.path() + "/src", "");
    EXPECT_EQ(copyfile((dir.path() + "/src").c_str(), (dir.path() + "/dst").c_str()), 1);
    struct stat st {};
    ASSERT_EQ(stat((dir.path() + "/dst").c_str(), &st), 0);
    EXPECT_EQ(st.st_size, 0);
}

TEST(CopyFile, MissingSourceAndUnwritableDestinationFailWithTheirTexts) {
    zxtest::ScopedTempDir dir;
    int fds = zxtest::open_fd_count();
    testing::internal::CaptureStdout();
    EXPECT_EQ(copyfile((dir.path() + "/missing").c_str(), (dir.path() + "/dst").c_str()), 0);
    write_file(dir.path() + "/src", "x");
    EXPECT_EQ(copyfile((dir.path() + "/src").c_str(), (dir.path() + "/no/such/dir/dst").c_str()), 0);
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "open source file failed\nopen dest file failed\n");
    EXPECT_EQ(zxtest::open_fd_count(), fds) << "descriptors released on the failure paths";
}

TEST(CopyFile, ADirectoryAsSourceFailsToReadAndLeavesAnEmptyFile) {
    zxtest::ScopedTempDir dir;
    mkdir((dir.path() + "/sub").c_str(), 0755);
    testing::internal::CaptureStdout();
    EXPECT_EQ(copyfile((dir.path() + "/sub").c_str(), (dir.path() + "/dst").c_str()), 0);
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "failed to read file into buf");
    EXPECT_EQ(read_file(dir.path() + "/dst"), "");
}

TEST(CopyDir, AFileAndASubdirectory) {
    zxtest::ScopedTempDir src, dst;
    write_file(src.path() + "/file.txt", "payload");
    mkdir((src.path() + "/sub").c_str(), 0755);
    testing::internal::CaptureStdout();
    EXPECT_EQ(copydir(src.path().c_str(), dst.path().c_str()), 1u);
    std::fflush(stdout);
    std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_EQ(read_file(dst.path() + "/file.txt"), "payload");
    struct stat st {};
    ASSERT_EQ(stat((dst.path() + "/sub").c_str(), &st), 0);
    EXPECT_TRUE(S_ISREG(st.st_mode)) << "a subdirectory becomes an empty regular file";
    EXPECT_EQ(st.st_size, 0);
    std::string line1 = "copy file from " + src.path() + "/file.txt to " + dst.path() + "/file.txt\n";
    std::string line2 = "copy file from " + src.path() + "/sub to " + dst.path() + "/sub\n";
    EXPECT_NE(printed.find(line1), std::string::npos) << printed;
    EXPECT_NE(printed.find(line2), std::string::npos) << printed;
    EXPECT_NE(printed.find("failed to read file into buf"), std::string::npos);
    size_t copies = 0;
    for (size_t pos = 0; (pos = printed.find("copy file from", pos)) != std::string::npos; ++pos) ++copies;
    EXPECT_EQ(copies, 2u);
}

TEST(CopyDir, AnEmptyDirectoryCopiesNothing) {
    zxtest::ScopedTempDir src, dst;
    testing::internal::CaptureStdout();
    EXPECT_EQ(copydir(src.path().c_str(), dst.path().c_str()), 1u);
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(CopyDir, AMissingSourceDirectoryFails) {
    zxtest::ScopedTempDir dst;
    testing::internal::CaptureStderr();
    EXPECT_EQ(copydir((dst.path() + "/missing").c_str(), dst.path().c_str()), 0u);
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(err.rfind("Open dir error...", 0), 0u) << err;
    EXPECT_EQ(copydir(nullptr, dst.path().c_str()), 0u);
}

}  // namespace
