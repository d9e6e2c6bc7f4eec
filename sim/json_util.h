// Small json-c helpers shared by the simulator's sources (service state and decoded records).
#pragma once

#include <json-c/json.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace zxsim {

struct JsonPut {
    void operator()(json_object* obj) const { json_object_put(obj); }
};
// One reference to a json-c object, dropped on destruction.
using JsonPtr = std::unique_ptr<json_object, JsonPut>;

// Lower-case hex text of the bytes.
std::string to_hex(std::span<const uint8_t> bytes);

// Member `key` as a 32-bit word: a JSON integer 0 .. 0xFFFFFFFF, or a text in C notation
// ("0xF7213003", "17"), so that message ids and statuses can be written either way.
std::optional<uint32_t> member_u32(json_object* obj, const char* key);

// Member `key` when it is a JSON text, else nullptr.
const char* member_text(json_object* obj, const char* key);

// Member `key` when it is a JSON text, else "".
std::string text_of(json_object* obj, const char* key);

// Member `key` when it is a JSON integer, else `fallback`.
int64_t int_of(json_object* obj, const char* key, int64_t fallback);

// Member `key` of any type, or nullptr.
json_object* child(json_object* obj, const std::string& key);

// Member `key` of the type asked for (an object or an array), made empty when it is missing or of
// another type.
json_object* member(json_object* obj, const char* key, json_type type);

// Sets member `key` to the text (NUL bytes included).
void add_text(json_object* obj, const char* key, const std::string& text);

// The object as one line of plain JSON (json-c escapes control characters inside texts).
std::string json_line(json_object* obj);

}  // namespace zxsim
