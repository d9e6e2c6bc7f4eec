// Shared frame of the tunnel and device-information API tests: the simulated services, trace
// capture and the checks that nothing was left behind (zxtest::SimFixture), and the byte helpers
// of the tunnel records.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "l2tp_api.h"
#include "record_bytes.h"
#include "sim_fixture.h"
#include "zx_host.h"
#include "zx_platform.h"

namespace l2tptest {

using zxtest::JsonPtr;
using zxtest::Received;
using zxtest::StateValue;

inline std::string hex(const void* data, size_t len) {
    return zxtest::to_hex(zxtest::Bytes(static_cast<const uint8_t*>(data), static_cast<const uint8_t*>(data) + len));
}
inline std::string hex(const std::string& bytes) { return hex(bytes.data(), bytes.size()); }
inline std::string hex(const zxtest::Bytes& bytes) { return zxtest::to_hex(bytes); }
// A text and its NUL.
inline std::string z(const std::string& text) { return text + std::string(1, '\0'); }
using zxtest::padded;
using zxtest::word;

inline json_object* member(json_object* obj, const char* key) {
    json_object* v = nullptr;
    return obj && json_object_object_get_ex(obj, key, &v) ? v : nullptr;
}

// Trace records of one kind at a line, of any unit.
inline std::vector<zxhost::TraceRecord> at_line(const std::vector<zxhost::TraceRecord>& records,
                                                zxhost::TraceRecord::Kind kind, uint32_t line) {
    return zxtest::at_line(records, kind, line);
}

class L2tpTest : public zxtest::SimFixture {
protected:
    static constexpr const char* kFile = "l2tp_api";

    L2tpTest() : SimFixture(kFile) {}

    void inject_status(const char* service, uint32_t msgId, uint32_t status) {
        ASSERT_TRUE(sim_.inject(service, msgId, zxtest::Fault::status(status)));
    }
};

// Header and shape of a record sent by the tunnel API's "tarn" wrapper.
inline void expect_tarn_call(const Received& rec, uint32_t msgId, uint32_t replyCap) {
    EXPECT_EQ(rec.msgId, msgId);
    EXPECT_EQ(rec.timeoutMs, 5000u);
    EXPECT_EQ(rec.replyCap, replyCap);
    EXPECT_EQ(rec.head.dstName, "tarn");
    EXPECT_EQ(rec.head.tag, 216u);
}

}  // namespace l2tptest
