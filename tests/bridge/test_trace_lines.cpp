// Every (unit, line) pair that the library records in a trace or last word names one place in the
// code. The sources are read the way bridge/trace_unit.h asks them to be written: a line is a
// literal with the suffix _ln (or zxtrace::Line(<number>)), which records that number, or
// __LINE__, which records the line it stands on; it belongs to the unit constant (kL2tpApi, ...)
// named last before it in the file. Nothing outside trace_unit.h calls ZX_PROC_DBG_* directly, so
// no record escapes the scan. The scanner is tested on small texts first, the sources after.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

struct Place {
    std::string file;
    uint32_t line = 0;  // where the line is written
};

struct Scan {
    std::map<std::pair<std::string, uint32_t>, std::vector<Place>> records;  // (unit, line) -> places
    std::vector<std::string> problems;  // lines without a unit, direct platform trace calls
};

// The text with comments, string and character literals blanked out; line breaks are kept, so
// positions still give source lines.
std::string code_only(const std::string& text) {
    std::string out = text;
    enum { Code, Line, Block, Str, Chr } state = Code;
    for (size_t i = 0; i < out.size(); ++i) {
        char c = out[i];
        char next = i + 1 < out.size() ? out[i + 1] : '\0';
        switch (state) {
            case Code:
                if (c == '/' && next == '/')
                    state = Line, out[i] = ' ';
                else if (c == '/' && next == '*')
                    state = Block, out[i] = ' ';
                else if (c == '"')
                    state = Str;
                else if (c == '\'' && !(i > 0 && std::isxdigit(static_cast<unsigned char>(out[i - 1]))))
                    state = Chr;
                break;
            case Line:
                if (c == '\n')
                    state = Code;
                else
                    out[i] = ' ';
                break;
            case Block:
                if (c == '*' && next == '/') {
                    out[i] = out[i + 1] = ' ';
                    ++i;
                    state = Code;
                } else if (c != '\n') {
                    out[i] = ' ';
                }
                break;
            case Str:
            case Chr:
                if (c == '\\') {
                    out[i] = ' ';
                    if (i + 1 < out.size() && out[i + 1] != '\n') out[++i] = ' ';
                } else if ((state == Str && c == '"') || (state == Chr && c == '\'')) {
                    state = Code;
                } else if (c != '\n') {
                    out[i] = ' ';
                }
                break;
        }
    }
    return out;
}

// The unit constants declared in trace_unit.h: constant name -> source name.
std::map<std::string, std::string> units_of(const std::string& header) {
    std::map<std::string, std::string> units;
    static const std::regex decl(R"re(inline\s+constexpr\s+Unit\s+(k\w+)\s*\{\s*"([^"]+)")re");
    for (std::sregex_iterator it(header.begin(), header.end(), decl), end; it != end; ++it) units[(*it)[1]] = (*it)[2];
    return units;
}

// Adds the records of one file to the scan.
void scan_file(const std::string& name, const std::string& text, const std::map<std::string, std::string>& units,
               Scan& scan) {
    std::string code = code_only(text);
    std::string alternatives;
    for (const auto& [constant, unit] : units) alternatives += (alternatives.empty() ? "" : "|") + constant;
    const std::regex token("\\b(" + alternatives +
                           R"()\b|\b(\d+)_ln\b|\bLine\((\d+)\)|\b__LINE__\b|\bZX_PROC_DBG_\w+\s*\()");
    std::string unit;
    for (std::sregex_iterator it(code.begin(), code.end(), token), end; it != end; ++it) {
        const std::smatch& m = *it;
        uint32_t at = static_cast<uint32_t>(std::count(code.begin(), code.begin() + m.position(0), '\n') + 1);
        std::string where = name + ":" + std::to_string(at);
        if (m[1].matched) {
            unit = units.at(m[1]);
            continue;
        }
        if (m.str(0).rfind("ZX_PROC_DBG_", 0) == 0) {
            scan.problems.push_back(where + ": records directly instead of through its unit");
            continue;
        }
        uint32_t line = at;  // __LINE__
        if (m[2].matched) line = static_cast<uint32_t>(std::stoul(m[2]));
        if (m[3].matched) line = static_cast<uint32_t>(std::stoul(m[3]));
        if (line == 0) continue;  // a row that records nothing
        if (unit.empty()) {
            scan.problems.push_back(where + ": a line that no unit claims");
            continue;
        }
        scan.records[{unit, line}].push_back({name, at});
    }
}

// The pairs recorded by more than one place, as readable lines.
std::vector<std::string> shared_pairs(const Scan& scan) {
    std::vector<std::string> out;
    for (const auto& [key, places] : scan.records) {
        if (places.size() < 2) continue;
        std::string text = key.first + " " + std::to_string(key.second) + " is recorded at";
        for (const Place& p : places) text += " " + p.file + ":" + std::to_string(p.line);
        out.push_back(text);
    }
    return out;
}

std::string read(const fs::path& path) {
    std::ifstream in(path);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

const std::map<std::string, std::string> kUnits = {{"kApi", "api"}, {"kJni", "jni"}};

// ---- the scanner ------------------------------------------------------------------------------

TEST(TraceLineScan, LiteralLinesCountAsWrittenAndLineMacrosAsTheirOwnLine) {
    Scan scan;
    scan_file("a.cpp", "using x::kApi;\nkApi.trace(120_ln, \"t\");\nkApi.last_word(Line(__LINE__), 1);\n", kUnits,
              scan);
    ASSERT_TRUE(scan.problems.empty());
    EXPECT_EQ(scan.records.size(), 2u);
    EXPECT_EQ(scan.records.count({"api", 120}), 1u);
    EXPECT_EQ(scan.records.count({"api", 3}), 1u);
    EXPECT_TRUE(shared_pairs(scan).empty());
}

TEST(TraceLineScan, TwoPlacesWithOneLiteralLineAreFound) {
    Scan scan;
    scan_file("a.cpp", "kApi.trace(120_ln, \"t\");\n", kUnits, scan);
    scan_file("b.cpp", "\n\nkApi.fail(120_ln, 1);\n", kUnits, scan);
    EXPECT_EQ(shared_pairs(scan), std::vector<std::string>{"api 120 is recorded at a.cpp:1 b.cpp:3"});
}

TEST(TraceLineScan, ALineMacroInOneFileAndTheSameLiteralInAnotherAreFound) {
    Scan scan;
    scan_file("a.cpp", "kApi;\n\nb.trace(__LINE__, \"x\");\n", kUnits, scan);
    scan_file("b.cpp", "kApi.trace(3_ln, \"y\");\n", kUnits, scan);
    EXPECT_EQ(shared_pairs(scan).size(), 1u);
}

TEST(TraceLineScan, TwoLineMacrosOnOneLineAreFound) {
    Scan scan;
    scan_file("a.cpp", "kApi;\nf(__LINE__, \"x\"); g(__LINE__);\n", kUnits, scan);
    EXPECT_EQ(shared_pairs(scan), std::vector<std::string>{"api 2 is recorded at a.cpp:2 a.cpp:2"});
}

TEST(TraceLineScan, TheSameLineInTwoUnitsIsNoClash) {
    Scan scan;
    scan_file("rows.cpp", "{&kApi, 95_ln},\n{&kJni, 95_ln},\n", kUnits, scan);
    EXPECT_TRUE(shared_pairs(scan).empty());
    EXPECT_EQ(scan.records.size(), 2u);
}

TEST(TraceLineScan, CommentsAndStringsAreNotRead) {
    Scan scan;
    scan_file("a.cpp", "kApi; // 7_ln __LINE__ kJni\n/* 8_ln\n ZX_PROC_DBG_TraceS( */ f(\"9_ln __LINE__\", '\"');\n",
              kUnits, scan);
    EXPECT_TRUE(scan.records.empty());
    EXPECT_TRUE(scan.problems.empty());
}

TEST(TraceLineScan, ALineWithoutAUnitAndADirectPlatformCallAreProblems) {
    Scan scan;
    scan_file("a.cpp", "f(12_ln);\nkApi; ZX_PROC_DBG_LastWord_1(\"api\", 5, 1);\n", kUnits, scan);
    EXPECT_EQ(scan.problems, (std::vector<std::string>{"a.cpp:1: a line that no unit claims",
                                                       "a.cpp:2: records directly instead of through its unit"}));
}

// ---- the library's sources --------------------------------------------------------------------

TEST(TraceLines, EveryUnitIsDeclaredOnce) {
    auto units = units_of(read(fs::path(ZX_SOURCE_DIR) / "bridge" / "trace_unit.h"));
    std::vector<std::string> names;
    for (const auto& [constant, unit] : units) names.push_back(unit);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"../velm/zx_velm_jni_api", "../zel/zx_zel_jni_api", "baseservice_jni",
                                               "l2tp_api", "l2tp_jni", "zx_tern_jni_api"}));
}

TEST(TraceLines, EachUnitAndLineNamesOnePlace) {
    const fs::path root(ZX_SOURCE_DIR);
    auto units = units_of(read(root / "bridge" / "trace_unit.h"));
    ASSERT_EQ(units.size(), 6u);
    Scan scan;
    size_t files = 0;
    for (const char* dir :
         {"bridge", "baseservice", "entity", "fileservice", "l2tp", "velm", "util", "zel", "broadband"}) {
        if (!fs::exists(root / dir)) continue;
        for (const auto& entry : fs::recursive_directory_iterator(root / dir)) {
            const fs::path& p = entry.path();
            if (p.extension() != ".cpp" && p.extension() != ".h" && p.extension() != ".c") continue;
            if (p.filename() == "trace_unit.h") continue;
            scan_file(fs::relative(p, root).string(), read(p), units, scan);
            ++files;
        }
    }
    EXPECT_GT(files, 10u);
    EXPECT_GT(scan.records.size(), 300u);  // the scan did find the library's records
    EXPECT_TRUE(scan.problems.empty()) << testing::PrintToString(scan.problems);
    EXPECT_TRUE(shared_pairs(scan).empty()) << testing::PrintToString(shared_pairs(scan));
    // Lines the field service knows, spot-checked in both spellings' units.
    EXPECT_EQ(scan.records.count({"l2tp_api", 127}), 1u);
    EXPECT_EQ(scan.records.count({"../zel/zx_zel_jni_api", 95}), 1u);
    EXPECT_EQ(scan.records.count({"baseservice_jni", 2419}), 1u);
    EXPECT_EQ(scan.records.count({"l2tp_jni", 1034}), 1u);
}

}  // namespace
