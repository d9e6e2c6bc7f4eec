// libFuzzer target for the MAC address texts of the broadband API: ZX_JNI_MacStrToArr (a text
// "%x:%x:%x:%x:%x:%x" to 6 bytes) and TransferMacFormat (12 bare digits to the colon form the
// maximum-bandwidth bindings send). The first byte picks the check, the rest is the text (cut at
// its first NUL, as Java's text reaches the library):
//   even  the text goes through both functions; each result is compared with a model written
//         here from the functions' contracts, and the bindings' 32-byte area stays terminated
//   odd   the first 6 bytes are an address: written as text in one of several spellings, it must
//         parse back to the same bytes
// Outputs are allocated to their exact size (6 and 18 bytes) and filled with a marker first, so a
// write beyond them or outside the defined positions is seen.
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <array>
#include <optional>
#include <string>

#include "zx_tern_jni_api.h"

namespace {

constexpr uint8_t kMarker = 0xA5;

[[noreturn]] void fail(const char* what, const std::string& text) {
    std::fprintf(stderr, "MAC text \"%s\": %s\n", text.c_str(), what);
    std::abort();
}

int hex_value(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// The six fields "%x:%x:%x:%x:%x:%x" gives for the texts whose reading is plain: blanks, then
// 1 to 8 hex digits, then ':' before the next field; the first field that does not parse ends
// the reading and it and those after it stay 0. Nothing for texts with a sign, a "0x" prefix or
// a longer number, whose reading this model does not cover.
std::optional<std::array<uint8_t, 6>> model_mac(const std::string& text) {
    std::array<uint8_t, 6> out{};
    size_t at = 0;
    for (int field = 0; field < 6; ++field) {
        if (field > 0) {
            if (at >= text.size() || text[at] != ':') return out;
            ++at;
        }
        while (at < text.size() && std::isspace(static_cast<unsigned char>(text[at]))) ++at;
        if (at < text.size() && (text[at] == '+' || text[at] == '-')) return std::nullopt;
        if (at + 1 < text.size() && text[at] == '0' && (text[at + 1] == 'x' || text[at + 1] == 'X'))
            return std::nullopt;
        uint32_t value = 0;
        size_t digits = 0;
        while (at < text.size() && hex_value(text[at]) >= 0) {
            value = value * 16 + static_cast<uint32_t>(hex_value(text[at]));
            ++at;
            ++digits;
        }
        if (digits > 8) return std::nullopt;
        if (digits == 0) return out;
        out[field] = static_cast<uint8_t>(value & 0xFF);
    }
    return out;
}

void check_parse(const std::string& text, const std::optional<std::array<uint8_t, 6>>& expected) {
    auto* mac = static_cast<uint8_t*>(std::malloc(6));
    std::memset(mac, kMarker, 6);
    if (ZX_JNI_MacStrToArr(text.c_str(), mac) != 0) fail("refused", text);
    if (expected && std::memcmp(mac, expected->data(), 6) != 0) fail("bytes differ from the reading", text);
    std::free(mac);
}

void check_transfer(const std::string& text) {
    auto* dst = static_cast<char*>(std::malloc(18));
    std::memset(dst, kMarker, 18);
    TransferMacFormat(text.c_str(), dst);
    // Model: at most 12 characters, a ':' after each second one, the terminator at 17.
    char expected[18];
    std::memset(expected, kMarker, sizeof expected);
    size_t n = text.size() < 12 ? text.size() : 12;
    size_t o = 0;
    for (size_t i = 0; i < n; ++i) {
        expected[o++] = text[i];
        if (i % 2 == 1) expected[o++] = ':';
    }
    expected[17] = '\0';
    if (std::memcmp(dst, expected, sizeof expected) != 0) fail("colon form differs", text);
    std::free(dst);

    // The bindings normalise into a zeroed 32-byte area: always a text of at most 17 characters,
    // so the request is always made.
    char area[32] = {};
    TransferMacFormat(text.c_str(), area);
    if (std::strlen(area) > 17) fail("normalised text longer than 17 characters", text);
    if (n == 12 && std::strlen(area) != 17) fail("12 digits not normalised to 17 characters", text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const uint8_t mode = data[0];
    std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
    text = text.c_str();
    if (mode % 2 == 0) {
        check_parse(text, model_mac(text));
        check_transfer(text);
        if (ZX_JNI_MacStrToArr(nullptr, nullptr) != 1) fail("null text accepted", text);
        return 0;
    }
    if (size < 7) return 0;
    const uint8_t* b = data + 1;
    char spelled[64];
    static const char* const kFormats[] = {
        "%02x:%02x:%02x:%02x:%02x:%02x",
        "%02X:%02X:%02X:%02X:%02X:%02X",
        "%x:%x:%x:%x:%x:%x",
        " %x: %x:  %x:\t%x:%x:%x",
        "%02x:%02x:%02x:%02x:%02x:%02x-trailing",
    };
    for (const char* format : kFormats) {
        std::snprintf(spelled, sizeof spelled, format, b[0], b[1], b[2], b[3], b[4], b[5]);
        std::array<uint8_t, 6> expected{b[0], b[1], b[2], b[3], b[4], b[5]};
        check_parse(spelled, expected);
    }
    return 0;
}
