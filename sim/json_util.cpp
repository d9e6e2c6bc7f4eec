#include "json_util.h"

#include <cerrno>
#include <cstdlib>

namespace zxsim {

std::string to_hex(std::span<const uint8_t> bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string out;
    out.reserve(bytes.size() * 2);
    for (uint8_t b : bytes) {
        out.push_back(kDigits[b >> 4]);
        out.push_back(kDigits[b & 0x0F]);
    }
    return out;
}

namespace {

std::optional<uint32_t> parse_u32_text(const char* text) {
    if (*text == '\0' || *text == '-' || *text == '+' || *text == ' ') return std::nullopt;
    errno = 0;
    char* end = nullptr;
    unsigned long long v = std::strtoull(text, &end, 0);
    if (errno != 0 || *end != '\0' || v > UINT32_MAX) return std::nullopt;
    return static_cast<uint32_t>(v);
}

}  // namespace

std::optional<uint32_t> member_u32(json_object* obj, const char* key) {
    json_object* v = nullptr;
    if (!json_object_object_get_ex(obj, key, &v)) return std::nullopt;
    if (json_object_is_type(v, json_type_string)) return parse_u32_text(json_object_get_string(v));
    if (!json_object_is_type(v, json_type_int)) return std::nullopt;
    // Integers above INT64_MAX come back as INT64_MAX, which the range test refuses as well.
    int64_t i = json_object_get_int64(v);
    if (i < 0 || i > static_cast<int64_t>(UINT32_MAX)) return std::nullopt;
    return static_cast<uint32_t>(i);
}

const char* member_text(json_object* obj, const char* key) {
    json_object* v = nullptr;
    if (!json_object_object_get_ex(obj, key, &v) || !json_object_is_type(v, json_type_string)) return nullptr;
    return json_object_get_string(v);
}

std::string text_of(json_object* obj, const char* key) {
    const char* t = member_text(obj, key);
    return t ? t : "";
}

int64_t int_of(json_object* obj, const char* key, int64_t fallback) {
    json_object* v = nullptr;
    return json_object_object_get_ex(obj, key, &v) && json_object_is_type(v, json_type_int) ? json_object_get_int64(v)
                                                                                            : fallback;
}

json_object* child(json_object* obj, const std::string& key) {
    json_object* v = nullptr;
    return json_object_object_get_ex(obj, key.c_str(), &v) ? v : nullptr;
}

json_object* member(json_object* obj, const char* key, json_type type) {
    json_object* v = nullptr;
    if (json_object_object_get_ex(obj, key, &v) && json_object_is_type(v, type)) return v;
    v = type == json_type_array ? json_object_new_array() : json_object_new_object();
    json_object_object_add(obj, key, v);
    return v;
}

void add_text(json_object* obj, const char* key, const std::string& text) {
    json_object_object_add(obj, key, json_object_new_string_len(text.data(), static_cast<int>(text.size())));
}

std::string json_line(json_object* obj) {
    return json_object_to_json_string_ext(obj, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
}

}  // namespace zxsim
