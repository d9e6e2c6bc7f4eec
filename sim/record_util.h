// Fixed text fields of the wire records, read and written by the simulated services.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>

namespace zxsim {

// A fixed text field: up to its first NUL, never past its end.
template <size_t N>
std::string field(const char (&f)[N]) {
    return std::string(f, strnlen(f, N));
}

// Writes the text into a zero-filled field, cut so that a NUL always follows it.
template <size_t N>
void put(char (&dst)[N], const std::string& text) {
    std::memcpy(dst, text.data(), std::min(text.size(), N - 1));
}

}  // namespace zxsim
