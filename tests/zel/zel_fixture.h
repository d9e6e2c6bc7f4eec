// Shared frame of the WLAN, LED and LAN-port API tests: the simulated "app_m" and "wifi" services,
// trace capture and the checks that nothing was left behind (zxtest::SimFixture), byte helpers for
// the records, and the lines of the unit's records found in its source.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "record_bytes.h"
#include "sim_fixture.h"
#include "source_lines.h"
#include "zx_host.h"
#include "zx_platform.h"
#include "zx_zel_jni_api.h"

namespace zeltest {

using zxtest::JsonPtr;
using zxtest::Received;
using zxtest::StateValue;

inline constexpr const char* kFile = "../zel/zx_zel_jni_api";
inline constexpr const char* kSource = "zel/zx_zel_jni_api.cpp";
inline constexpr uint32_t kLevel = 250;
inline constexpr const char* kFailure = "{\"Result\":-1, \"FailReason\":\"\"}";

using zxtest::padded;
using zxtest::word;
using zxtest::words;

// The line of the first `needle` after the one line holding `anchor` in the unit's source.
inline uint32_t line_after(const std::string& anchor, const std::string& needle) {
    uint32_t line = zxtest::source_line_after(kSource, anchor, needle);
    EXPECT_NE(line, 0u) << "no \"" << needle << "\" after \"" << anchor << "\" in " << kSource;
    return line;
}

// The definition line of an API function, as an anchor.
inline std::string definition(const std::string& function) { return function + "("; }

inline json_object* member(json_object* obj, const char* key) {
    json_object* v = nullptr;
    return obj && json_object_object_get_ex(obj, key, &v) ? v : nullptr;
}
inline json_object* at(json_object* array, size_t i) { return json_object_array_get_idx(array, i); }
inline int64_t num(json_object* obj, const char* key) { return json_object_get_int64(member(obj, key)); }
inline bool flag(json_object* obj, const char* key) { return json_object_get_boolean(member(obj, key)); }
inline std::string text(json_object* obj, const char* key) {
    json_object* v = member(obj, key);
    return v ? json_object_get_string(v) : "";
}
inline std::string plain(json_object* obj) { return json_object_to_json_string_ext(obj, JSON_C_TO_STRING_PLAIN); }

class ZelTest : public zxtest::SimFixture {
protected:
    ZelTest() : SimFixture(kFile) {}

    void inject_status(const char* service, uint32_t msgId, uint32_t status, uint32_t times = 0) {
        ASSERT_TRUE(sim_.inject(service, msgId, zxtest::Fault::status(status, times)));
    }

    // The element of a state array whose `key` member is `value` (nullptr when none).
    json_object* element(json_object* state, const char* array, const char* key, int64_t value) {
        json_object* list = member(state, array);
        for (size_t i = 0; list && i < json_object_array_length(list); ++i)
            if (num(at(list, i), key) == value) return at(list, i);
        ADD_FAILURE() << array << " holds no " << key << " " << value;
        return nullptr;
    }

    using SimFixture::expect_trace;
    void expect_trace(const std::vector<zxhost::TraceRecord>& records, uint32_t line, const std::string& text) const {
        expect_trace(records, kLevel, line, text);
    }
};

}  // namespace zeltest
