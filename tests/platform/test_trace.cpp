// Traces and last words: capture, the file sink's line format and its parser.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "test_env.h"
#include "zx_host.h"

namespace {

using zxhost::TraceRecord;

TEST(Trace, CaptureKeepsLevelFileLineFlagAndFormattedText) {
    zxhost::trace_capture_start();
    ZX_PROC_DBG_TraceS(216, "l2tp_jni", 740, 0, "Come in JNImsgProc\r\n");
    ZX_PROC_DBG_TraceS(249, "../velm/zx_velm_jni_api", 460, 0, "Module ret:[%u][%x] ZX ret:%u\r\n", 2u, 2u,
                       4294967295u);
    auto recs = zxhost::trace_capture_take();
    ASSERT_EQ(recs.size(), 2u);
    EXPECT_EQ(recs[0].kind, TraceRecord::Trace);
    EXPECT_EQ(recs[0].level, 216u);
    EXPECT_EQ(recs[0].file, "l2tp_jni");
    EXPECT_EQ(recs[0].line, 740u);
    EXPECT_EQ(recs[0].flag, 0u);
    EXPECT_EQ(recs[0].text, "Come in JNImsgProc\r\n");
    EXPECT_EQ(recs[1].text, "Module ret:[2][2] ZX ret:4294967295\r\n");
    EXPECT_TRUE(zxhost::trace_capture_take().empty()) << "take clears the capture";
    zxhost::trace_capture_stop();
}

TEST(Trace, LastWordsCarryCodeAndDataWords) {
    zxhost::trace_capture_start();
    ZX_PROC_DBG_LastWord("l2tp_api", 99, 0xF7108001u, 1, 2, 3, 0xFFFFFFFFu);
    ZX_PROC_DBG_LastWord_1("l2tp_api", 127, 0x80000001u);
    auto recs = zxhost::trace_capture_take();
    ASSERT_EQ(recs.size(), 2u);
    EXPECT_EQ(recs[0].kind, TraceRecord::LastWord);
    EXPECT_EQ(recs[0].code, 0xF7108001u);
    EXPECT_EQ(recs[0].data[3], 0xFFFFFFFFu);
    EXPECT_EQ(recs[1].kind, TraceRecord::LastWord1);
    EXPECT_EQ(recs[1].line, 127u);
    EXPECT_EQ(recs[1].code, 0x80000001u);
    zxhost::trace_capture_stop();
}

TEST(Trace, NullFileAndNullFormatAreRecordedWithoutCrash) {
    zxhost::trace_capture_start();
    ZX_PROC_DBG_TraceS(0, nullptr, 0, 0, "%s", "java text");
    ZX_PROC_DBG_TraceS(1, "f", 2, 0, nullptr);
    ZX_PROC_DBG_LastWord_1(nullptr, 5, 1);
    auto recs = zxhost::trace_capture_take();
    ASSERT_EQ(recs.size(), 3u);
    EXPECT_EQ(recs[0].file, "");
    EXPECT_EQ(recs[0].flag, 0u);
    EXPECT_EQ(recs[0].text, "java text");
    EXPECT_EQ(recs[1].text, "");
    EXPECT_EQ(recs[2].file, "");
    zxhost::trace_capture_stop();
}

// A finished line (flag 3) is the text itself: its conversion specifications are neither expanded
// nor given arguments, so "%n" writes nowhere and "%s" reads nothing.
TEST(Trace, FinishedTextIsRecordedAsItStands) {
    zxtest::ScopedTempDir dir;
    std::string path = dir.path() + "/trace.log";
    zxtest::set_env("ZX_TRACE", path.c_str());
    zxhost::trace_capture_start();
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-zero-length"
    const char* hostile = "%s%s%n";
    ZX_PROC_DBG_TraceS(0, nullptr, 0, ZX_DBG_FLAG_FINISHED_TEXT, hostile);
    const std::string many = std::string(5000, '%') + "n%99999999s%x%p";
    ZX_PROC_DBG_TraceS(0, nullptr, 0, ZX_DBG_FLAG_FINISHED_TEXT, many.c_str());
    ZX_PROC_DBG_TraceS(0, nullptr, 0, ZX_DBG_FLAG_FINISHED_TEXT, "");
#pragma GCC diagnostic pop
    ZX_PROC_DBG_TraceS(0, nullptr, 0, 0, "%d%%", 5);  // any other flag still formats
    zxtest::set_env("ZX_TRACE", "off");
    auto recs = zxhost::trace_capture_take();
    zxhost::trace_capture_stop();
    ASSERT_EQ(recs.size(), 4u);
    EXPECT_EQ(recs[0].kind, TraceRecord::Trace);
    EXPECT_EQ(recs[0].level, 0u);
    EXPECT_EQ(recs[0].file, "");
    EXPECT_EQ(recs[0].line, 0u);
    EXPECT_EQ(recs[0].flag, 3u);
    EXPECT_EQ(recs[0].text, "%s%s%n");
    EXPECT_EQ(recs[1].text, many);
    EXPECT_EQ(recs[2].text, "");
    EXPECT_EQ(recs[3].text, "5%");

    std::ifstream in(path);
    std::string line;
    ASSERT_TRUE(std::getline(in, line));
    EXPECT_EQ(line, "T\t0\t-\t0\t3\t%s%s%n");
    ASSERT_TRUE(std::getline(in, line));
    EXPECT_EQ(line, "T\t0\t-\t0\t3\t" + many);
}

TEST(Trace, LongTextIsKeptWhole) {
    std::string big(100000, 'x');
    zxhost::trace_capture_start();
    ZX_PROC_DBG_TraceS(249, "f", 1, 0, "%s!", big.c_str());
    auto recs = zxhost::trace_capture_take();
    ASSERT_EQ(recs.size(), 1u);
    EXPECT_EQ(recs[0].text, big + "!");
    zxhost::trace_capture_stop();
}

TEST(Trace, FileSinkWritesOneEscapedLinePerRecordThatParsesBack) {
    zxtest::ScopedTempDir dir;
    std::string path = dir.path() + "/trace.log";
    zxtest::set_env("ZX_TRACE", path.c_str());
    const std::string odd = std::string("tab\there \\ back\x01\x7f end\r\n");
    ZX_PROC_DBG_TraceS(216, "l2tp_jni", 1058, 0, "%s", odd.c_str());
    ZX_PROC_DBG_LastWord("../velm/zx_velm_jni_api", 1109, 0xF7700005u, 128, 129, 0, 0);
    ZX_PROC_DBG_LastWord_1(nullptr, 83, 0xF7100008u);
    zxtest::set_env("ZX_TRACE", "off");
    ZX_PROC_DBG_TraceS(1, "dropped", 1, 0, "not written");

    std::ifstream in(path);
    std::string l1, l2, l3, l4;
    ASSERT_TRUE(std::getline(in, l1));
    ASSERT_TRUE(std::getline(in, l2));
    ASSERT_TRUE(std::getline(in, l3));
    EXPECT_FALSE(std::getline(in, l4)) << "nothing written once the sink is off";
    EXPECT_EQ(l1, "T\t216\tl2tp_jni\t1058\t0\ttab\\there \\\\ back\\x01\\x7F end\\r\\n");
    EXPECT_EQ(l2, "L\t../velm/zx_velm_jni_api\t1109\tF7700005\t00000080\t00000081\t00000000\t00000000");
    EXPECT_EQ(l3, "L1\t-\t83\tF7100008");

    TraceRecord r;
    ASSERT_TRUE(zxhost::trace_parse_line(l1, r));
    EXPECT_EQ(r.kind, TraceRecord::Trace);
    EXPECT_EQ(r.line, 1058u);
    EXPECT_EQ(r.text, odd);
    ASSERT_TRUE(zxhost::trace_parse_line(l2, r));
    EXPECT_EQ(r.kind, TraceRecord::LastWord);
    EXPECT_EQ(r.code, 0xF7700005u);
    EXPECT_EQ(r.data[1], 129u);
    ASSERT_TRUE(zxhost::trace_parse_line(l3, r));
    EXPECT_EQ(r.kind, TraceRecord::LastWord1);
    EXPECT_EQ(r.file, "");
}

TEST(Trace, ParserRefusesMalformedLines) {
    TraceRecord r;
    for (const char* bad : {"", "X\t1", "T\t1\tf\t2\t0", "T\tx\tf\t2\t0\ttext", "T\t1\tf\t2\t0\tbad\\q",
                            "T\t1\tf\t2\t0\tcut\\x4", "L1\tf\t1\tnothex", "L\tf\t1\t0\t0\t0\t0",
                            // Beyond 32 bits, or negative, on a machine of any width of long.
                            "L1\tf\t-1\tF7100008", "L1\tf\t4294967296\tF7100008", "L1\tf\t1\t100000000",
                            "T\t-216\tf\t2\t0\ttext"}) {
        EXPECT_FALSE(zxhost::trace_parse_line(bad, r)) << bad;
    }
}

TEST(Trace, TracingKeepsTheCallersErrno) {
    errno = 1234;
    ZX_PROC_DBG_TraceS(1, "f", 1, 0, "x");
    ZX_PROC_DBG_LastWord_1("f", 1, 1);
    EXPECT_EQ(ZX_OS_GetLastErr(), 1234);
}

}  // namespace
