// Shared frame of the broadband API tests: the simulated "app_m" and "tarn" services, trace capture
// and the checks that nothing was left behind (zxtest::SimFixture), byte helpers for the records,
// and the lines of the unit's records found in its source.
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
#include "zx_tern_jni_api.h"

namespace terntest {

using zxtest::JsonPtr;
using zxtest::Received;
using zxtest::StateValue;

inline constexpr const char* kFile = "zx_tern_jni_api";
inline constexpr const char* kSource = "broadband/zx_tern_jni_api.cpp";
inline constexpr uint32_t kLevel = 249;
inline constexpr const char* kFailure = "{\"Result\":-1, \"FailReason\":\"\"}";
inline constexpr uint32_t kDown = 0xF7000042;

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
inline std::string definition(const std::string& function) { return "extern \"C\" uint32_t " + function + "("; }

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

class TernTest : public zxtest::SimFixture {
protected:
    TernTest() : SimFixture(kFile) {}

    void inject_status(const char* service, uint32_t msgId, uint32_t status, uint32_t times = 0) {
        ASSERT_TRUE(sim_.inject(service, msgId, zxtest::Fault::status(status, times)));
    }

    using SimFixture::expect_trace;
    void expect_trace(const std::vector<zxhost::TraceRecord>& records, uint32_t line, const std::string& text) const {
        expect_trace(records, kLevel, line, text);
    }
};

}  // namespace terntest
