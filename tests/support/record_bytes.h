// Request and reply records written out byte by byte, as a test's independent picture of what a
// service must receive: a 32-bit word in the gateway's byte order, several of them, a text in a
// zero-filled field.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>

namespace zxtest {

inline std::string word(uint32_t v) { return std::string(reinterpret_cast<const char*>(&v), sizeof v); }

inline std::string words(std::initializer_list<uint32_t> vs) {
    std::string out;
    for (uint32_t v : vs) out += word(v);
    return out;
}

// A text in a zero-filled field of n bytes.
inline std::string padded(const std::string& text, size_t n) {
    std::string f(n, '\0');
    f.replace(0, text.size(), text);
    return f;
}

}  // namespace zxtest
