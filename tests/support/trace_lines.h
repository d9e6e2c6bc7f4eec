// Trace and last-word records as comparable lines, and the check that a call left nothing behind
// (platform allocations, shared blocks).
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "zx_host.h"

namespace zxtest {

inline std::string hex32(uint32_t v) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "0x%08X", v);
    return buf;
}

// A trace as a line: "T <level> <file> <line> <flag> <text>" (the text as it was formatted).
inline std::string T(uint32_t level, const std::string& file, uint32_t line, const std::string& text) {
    return "T " + std::to_string(level) + " " + file + " " + std::to_string(line) + " 0 " + text;
}

// A last word with a code only.
inline std::string L1(const std::string& file, uint32_t line, uint32_t code) {
    return "L1 " + file + " " + std::to_string(line) + " " + hex32(code);
}

// A last word with a code and four data words.
inline std::string L(const std::string& file, uint32_t line, uint32_t code, uint32_t a, uint32_t b, uint32_t c,
                     uint32_t d) {
    return "L " + file + " " + std::to_string(line) + " " + hex32(code) + " " + hex32(a) + " " + hex32(b) + " " +
           hex32(c) + " " + hex32(d);
}

inline std::string record_line(const zxhost::TraceRecord& r) {
    switch (r.kind) {
        case zxhost::TraceRecord::Trace:
            return "T " + std::to_string(r.level) + " " + r.file + " " + std::to_string(r.line) + " " +
                   std::to_string(r.flag) + " " + r.text;
        case zxhost::TraceRecord::LastWord1: return L1(r.file, r.line, r.code);
        case zxhost::TraceRecord::LastWord:
            return L(r.file, r.line, r.code, r.data[0], r.data[1], r.data[2], r.data[3]);
    }
    return "?";
}

// The records captured since the last call (capture must have been started).
inline std::vector<std::string> take_records() {
    std::vector<std::string> out;
    for (const zxhost::TraceRecord& r : zxhost::trace_capture_take()) out.push_back(record_line(r));
    return out;
}

// No block of the platform's allocator is outstanding and no shared block exists.
inline testing::AssertionResult nothing_left_behind() {
    std::vector<zxhost::AllocRecord> allocs = zxhost::alloc_list();
    std::vector<zxhost::VdataBlock> blocks = zxhost::vdata_list();
    if (allocs.empty() && blocks.empty()) return testing::AssertionSuccess();
    testing::AssertionResult failure = testing::AssertionFailure();
    for (const zxhost::AllocRecord& a : allocs)
        failure << "allocation of " << a.size << " bytes at " << a.file << ":" << a.line << " not freed\n";
    for (const zxhost::VdataBlock& b : blocks)
        failure << "shared block " << hex32(b.id) << " of " << b.size << " bytes not freed\n";
    return failure;
}

}  // namespace zxtest
