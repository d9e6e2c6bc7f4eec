// Traces and last words: formatted into records, written to the sink named by ZX_TRACE and, for
// tests, captured in memory.
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "internal.h"
#include "zx_host.h"

namespace {

std::mutex g_mutex;
bool g_capture = false;
std::vector<zxhost::TraceRecord> g_captured;

// The sink is opened on first use and again when ZX_TRACE changes.
std::string g_sinkName;
FILE* g_sink = nullptr;
bool g_sinkIsStderr = false;

FILE* sink_locked() {
    const char* v = std::getenv("ZX_TRACE");
    std::string name = v ? v : "";
    if (name == "off") name.clear();
    if (name != g_sinkName || (!g_sink && !name.empty() && !g_sinkIsStderr)) {
        if (g_sink && !g_sinkIsStderr) std::fclose(g_sink);
        g_sink = nullptr;
        g_sinkIsStderr = false;
        g_sinkName = name;
        if (name == "stderr") {
            g_sink = stderr;
            g_sinkIsStderr = true;
        } else if (!name.empty()) {
            g_sink = std::fopen(name.c_str(), "ae");
        }
    }
    return g_sink;
}

void escape_into(std::string& out, const std::string& text) {
    for (unsigned char c : text) {
        switch (c) {
            case '\\': out += "\\\\"; break;
            case '\r': out += "\\r"; break;
            case '\n': out += "\\n"; break;
            case '\t': out += "\\t"; break;
            default:
                if (c < 0x20 || c == 0x7F) {
                    char buf[8];
                    std::snprintf(buf, sizeof buf, "\\x%02X", c);
                    out += buf;
                } else {
                    out += static_cast<char>(c);
                }
        }
    }
}

std::string format_line(const zxhost::TraceRecord& r) {
    std::string line;
    char buf[128];
    const std::string file = r.file.empty() ? "-" : r.file;
    if (r.kind == zxhost::TraceRecord::Trace) {
        std::snprintf(buf, sizeof buf, "T\t%u\t", r.level);
        line = buf;
        escape_into(line, file);
        std::snprintf(buf, sizeof buf, "\t%u\t%u\t", r.line, r.flag);
        line += buf;
        escape_into(line, r.text);
    } else {
        line = r.kind == zxhost::TraceRecord::LastWord ? "L\t" : "L1\t";
        escape_into(line, file);
        if (r.kind == zxhost::TraceRecord::LastWord)
            std::snprintf(buf, sizeof buf, "\t%u\t%08X\t%08X\t%08X\t%08X\t%08X", r.line, r.code, r.data[0], r.data[1],
                          r.data[2], r.data[3]);
        else
            std::snprintf(buf, sizeof buf, "\t%u\t%08X", r.line, r.code);
        line += buf;
    }
    line += '\n';
    return line;
}

void emit(zxhost::TraceRecord&& r) {
    int savedErrno = errno;  // tracing never disturbs the caller's error number
    std::lock_guard<std::mutex> lock(g_mutex);
    if (FILE* f = sink_locked()) {
        std::string line = format_line(r);
        std::fwrite(line.data(), 1, line.size(), f);
        std::fflush(f);
    }
    if (g_capture) g_captured.push_back(std::move(r));
    errno = savedErrno;
}

bool unescape(const std::string& in, std::string& out) {
    out.clear();
    for (size_t i = 0; i < in.size(); ++i) {
        if (in[i] != '\\') {
            out += in[i];
            continue;
        }
        if (++i >= in.size()) return false;
        switch (in[i]) {
            case '\\': out += '\\'; break;
            case 'r': out += '\r'; break;
            case 'n': out += '\n'; break;
            case 't': out += '\t'; break;
            case 'x': {
                if (i + 2 >= in.size()) return false;
                char hex[3] = {in[i + 1], in[i + 2], 0};
                char* end = nullptr;
                long v = std::strtol(hex, &end, 16);
                if (end != hex + 2) return false;
                out += static_cast<char>(v);
                i += 2;
                break;
            }
            default: return false;
        }
    }
    return true;
}

std::vector<std::string> split_tabs(const std::string& line) {
    std::vector<std::string> parts;
    size_t start = 0;
    for (;;) {
        size_t tab = line.find('\t', start);
        parts.push_back(line.substr(start, tab == std::string::npos ? std::string::npos : tab - start));
        if (tab == std::string::npos) break;
        start = tab + 1;
    }
    return parts;
}

// A 32-bit word written as digits: the same words are taken on every machine (strtoul's range,
// and with it what a wrapped "-1" becomes, follows the width of long).
bool parse_u32(const std::string& s, int base, uint32_t& out) {
    if (s.empty() || s.find('-') != std::string::npos) return false;
    char* end = nullptr;
    errno = 0;
    unsigned long long v = std::strtoull(s.c_str(), &end, base);
    if (*end != '\0' || errno != 0 || v > 0xFFFFFFFFull) return false;
    out = static_cast<uint32_t>(v);
    return true;
}

}  // namespace

ZX_EXPORT void ZX_PROC_DBG_TraceS(uint32_t level, const char* file, uint32_t line, uint32_t flag, const char* fmt,
                                  ...) {
    zxhost::TraceRecord r;
    r.kind = zxhost::TraceRecord::Trace;
    r.level = level;
    r.file = file ? file : "";
    r.line = line;
    r.flag = flag;
    if (fmt && flag == ZX_DBG_FLAG_FINISHED_TEXT) {
        r.text = fmt;  // finished text: nothing in it is a conversion, no argument is read
    } else if (fmt) {
        va_list ap;
        va_start(ap, fmt);
        va_list ap2;
        va_copy(ap2, ap);
        int n = std::vsnprintf(nullptr, 0, fmt, ap);
        va_end(ap);
        if (n > 0) {
            r.text.resize(static_cast<size_t>(n) + 1);
            std::vsnprintf(r.text.data(), r.text.size(), fmt, ap2);
            r.text.resize(static_cast<size_t>(n));
        }
        va_end(ap2);
    }
    emit(std::move(r));
}

ZX_EXPORT void ZX_PROC_DBG_LastWord(const char* file, uint32_t line, uint32_t code, uint32_t a, uint32_t b, uint32_t c,
                                    uint32_t d) {
    zxhost::TraceRecord r;
    r.kind = zxhost::TraceRecord::LastWord;
    r.file = file ? file : "";
    r.line = line;
    r.code = code;
    r.data[0] = a;
    r.data[1] = b;
    r.data[2] = c;
    r.data[3] = d;
    emit(std::move(r));
}

ZX_EXPORT void ZX_PROC_DBG_LastWord_1(const char* file, uint32_t line, uint32_t code) {
    zxhost::TraceRecord r;
    r.kind = zxhost::TraceRecord::LastWord1;
    r.file = file ? file : "";
    r.line = line;
    r.code = code;
    emit(std::move(r));
}

namespace zxhost {

void trace_capture_start() {
    std::lock_guard<std::mutex> lock(g_mutex);
    g_captured.clear();
    g_capture = true;
}

std::vector<TraceRecord> trace_capture_take() {
    std::lock_guard<std::mutex> lock(g_mutex);
    std::vector<TraceRecord> out;
    out.swap(g_captured);
    return out;
}

void trace_capture_stop() {
    std::lock_guard<std::mutex> lock(g_mutex);
    g_capture = false;
    g_captured.clear();
}

bool trace_parse_line(const std::string& rawLine, TraceRecord& out) {
    std::string line = rawLine;
    if (!line.empty() && line.back() == '\n') line.pop_back();
    std::vector<std::string> p = split_tabs(line);
    TraceRecord r;
    std::string file;
    if (p[0] == "T" && p.size() == 6) {
        r.kind = TraceRecord::Trace;
        if (!parse_u32(p[1], 10, r.level) || !unescape(p[2], file) || !parse_u32(p[3], 10, r.line) ||
            !parse_u32(p[4], 10, r.flag) || !unescape(p[5], r.text))
            return false;
    } else if (p[0] == "L" && p.size() == 8) {
        r.kind = TraceRecord::LastWord;
        if (!unescape(p[1], file) || !parse_u32(p[2], 10, r.line) || !parse_u32(p[3], 16, r.code)) return false;
        for (int i = 0; i < 4; ++i)
            if (!parse_u32(p[4 + i], 16, r.data[i])) return false;
    } else if (p[0] == "L1" && p.size() == 4) {
        r.kind = TraceRecord::LastWord1;
        if (!unescape(p[1], file) || !parse_u32(p[2], 10, r.line) || !parse_u32(p[3], 16, r.code)) return false;
    } else {
        return false;
    }
    r.file = file == "-" ? "" : file;
    out = std::move(r);
    return true;
}

}  // namespace zxhost
