#include "source_lines.h"

#include <fstream>
#include <vector>

namespace zxtest {
namespace {

std::vector<std::string> read_lines(const std::string& relativePath) {
    std::ifstream in(std::string(ZX_SOURCE_DIR) + "/" + relativePath);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

// The index of the one line from `from` on that holds `needle`, or -1.
long only_line(const std::vector<std::string>& lines, const std::string& needle, size_t from = 0) {
    long found = -1;
    for (size_t i = from; i < lines.size(); ++i) {
        if (lines[i].find(needle) == std::string::npos) continue;
        if (found >= 0) return -1;
        found = static_cast<long>(i);
    }
    return found;
}

}  // namespace

uint32_t source_line(const std::string& relativePath, const std::string& needle) {
    long i = only_line(read_lines(relativePath), needle);
    return i < 0 ? 0 : static_cast<uint32_t>(i + 1);
}

uint32_t source_line_after(const std::string& relativePath, const std::string& anchor, const std::string& needle) {
    std::vector<std::string> lines = read_lines(relativePath);
    long start = only_line(lines, anchor);
    if (start < 0) return 0;
    for (size_t i = static_cast<size_t>(start) + 1; i < lines.size(); ++i)
        if (lines[i].find(needle) != std::string::npos) return static_cast<uint32_t>(i + 1);
    return 0;
}

}  // namespace zxtest
