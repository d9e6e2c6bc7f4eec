// The line of a call in a source file of the tree: a trace or last word without a fixed line
// number carries the line of the call that writes it, so a test finds that line by a text the
// call holds (its marker).
#pragma once

#include <cstdint>
#include <string>

namespace zxtest {

// The number (from 1) of the one line of `relativePath` (such as "baseservice/baseservice_jni.cpp")
// that holds `needle`; 0 when no line or more than one holds it (the test then fails on the line).
uint32_t source_line(const std::string& relativePath, const std::string& needle);

// The first line holding `needle` after the one line that holds `anchor` (the definition of a
// function, say); 0 when the anchor is not one line or no line after it holds the needle.
uint32_t source_line_after(const std::string& relativePath, const std::string& anchor, const std::string& needle);

}  // namespace zxtest
