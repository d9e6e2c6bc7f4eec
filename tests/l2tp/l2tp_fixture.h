// Shared frame of the tunnel and device-information API tests: the gateway simulator as a child
// process, trace capture, and the checks that nothing was left behind (platform allocations,
// shared blocks).
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "sim_process.h"
#include "test_env.h"
#include "zx_host.h"
#include "l2tp_api.h"
#include "zx_platform.h"


namespace l2tptest {

using zxtest::JsonPtr;

inline std::string hex(const void* data, size_t len) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string out;
    for (size_t i = 0; i < len; ++i) {
        uint8_t b = static_cast<const uint8_t*>(data)[i];
        out.push_back(kDigits[b >> 4]);
        out.push_back(kDigits[b & 0x0F]);
    }
    return out;
}
inline std::string hex(const std::string& bytes) { return hex(bytes.data(), bytes.size()); }
// A text and its NUL.
inline std::string z(const std::string& text) { return text + std::string(1, '\0'); }
inline std::string word(uint32_t v) { return std::string(reinterpret_cast<const char*>(&v), sizeof v); }
// A text in a zero-filled field of n bytes.
inline std::string padded(const std::string& text, size_t n) {
    std::string f(n, '\0');
    f.replace(0, text.size(), text);
    return f;
}

inline json_object* member(json_object* obj, const char* key) {
    json_object* v = nullptr;
    return obj && json_object_object_get_ex(obj, key, &v) ? v : nullptr;
}

inline size_t count(const JsonPtr& array) { return array ? json_object_array_length(array.get()) : 0; }

// Trace records of one kind at a line.
inline std::vector<zxhost::TraceRecord> at_line(const std::vector<zxhost::TraceRecord>& records,
                                                zxhost::TraceRecord::Kind kind, uint32_t line) {
    std::vector<zxhost::TraceRecord> out;
    for (const auto& r : records)
        if (r.kind == kind && r.line == line) out.push_back(r);
    return out;
}

class L2tpTest : public testing::Test {
protected:
    static constexpr const char* kFile = "l2tp_api";

    void SetUp() override {
        ASSERT_TRUE(sim_.start());
        zxhost::trace_capture_start();
        allocBase_ = zxhost::alloc_outstanding();
    }

    void TearDown() override {
        zxhost::alloc_fail_clear();
        zxhost::trace_capture_stop();
        EXPECT_EQ(zxhost::alloc_outstanding(), allocBase_) << "platform allocations left behind";
        if (expectNoBlocks_) {
            EXPECT_TRUE(zxhost::vdata_list().empty()) << "shared blocks left behind";
        }
    }

    // The records of what `service` received since the last call (they are then forgotten).
    JsonPtr take_records(const std::string& service) {
        JsonPtr answer = sim_.ctl(R"({"op":"received","service":")" + service + R"(","clear":true})");
        json_object* records = member(answer.get(), "records");
        return JsonPtr(records ? json_object_get(records) : nullptr);
    }

    // Waits (bounded) until `service` has handled n requests, then forgets them. One-way notices
    // arrive after the send returns; a record gets its decoded payload only once the command has
    // read (and freed) its shared block.
    JsonPtr wait_records(const std::string& service, size_t n) {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        for (;;) {
            JsonPtr records = sim_.records(service);
            size_t handled = 0;
            for (size_t i = 0; i < count(records); ++i)
                if (member(json_object_array_get_idx(records.get(), i), "decoded")) ++handled;
            if (handled >= n || std::chrono::steady_clock::now() > deadline) {
                sim_.ctl_ok(R"({"op":"received","service":")" + service + R"(","clear":true})");
                return records;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }

    // The one record `service` received since the last look.
    JsonPtr only_record(const std::string& service) {
        JsonPtr records = take_records(service);
        EXPECT_EQ(count(records), 1u) << service;
        return JsonPtr(count(records) ? json_object_get(json_object_array_get_idx(records.get(), 0)) : nullptr);
    }

    std::vector<zxhost::TraceRecord> traces() { return zxhost::trace_capture_take(); }

    void inject_status(const char* service, uint32_t msgId, uint32_t status) {
        char buf[200];
        std::snprintf(buf, sizeof buf, R"({"op":"inject","service":"%s","msgId":%u,"fault":"status","value":%u})",
                      service, msgId, status);
        ASSERT_TRUE(sim_.ctl_ok(buf));
    }

    // Checks one short last word of this unit at a line with a code.
    static void expect_last_word_1(const std::vector<zxhost::TraceRecord>& records, uint32_t line, uint32_t code) {
        auto found = at_line(records, zxhost::TraceRecord::LastWord1, line);
        ASSERT_EQ(found.size(), 1u) << "last word at line " << line;
        EXPECT_EQ(found[0].file, kFile);
        EXPECT_EQ(found[0].code, code);
    }

    static void expect_last_word(const std::vector<zxhost::TraceRecord>& records, uint32_t line, uint32_t code,
                                 std::vector<uint32_t> data) {
        auto found = at_line(records, zxhost::TraceRecord::LastWord, line);
        ASSERT_EQ(found.size(), 1u) << "last word at line " << line;
        EXPECT_EQ(found[0].file, kFile);
        EXPECT_EQ(found[0].code, code);
        for (size_t i = 0; i < data.size(); ++i) EXPECT_EQ(found[0].data[i], data[i]) << "data word " << i;
    }

    static void expect_trace(const std::vector<zxhost::TraceRecord>& records, uint32_t level, uint32_t line,
                             const std::string& text) {
        auto found = at_line(records, zxhost::TraceRecord::Trace, line);
        ASSERT_EQ(found.size(), 1u) << "trace at line " << line;
        EXPECT_EQ(found[0].file, kFile);
        EXPECT_EQ(found[0].level, level);
        EXPECT_EQ(found[0].text, text);
    }

    // No last word at all: the call went through cleanly.
    static void expect_no_last_word(const std::vector<zxhost::TraceRecord>& records) {
        for (const auto& r : records)
            EXPECT_EQ(r.kind, zxhost::TraceRecord::Trace) << "unexpected last word at line " << r.line;
    }

    zxtest::ScopedBusDir bus_;
    zxtest::SimProcess sim_;
    uint64_t allocBase_ = 0;
    bool expectNoBlocks_ = true;  // a test whose call fails after the block was written clears it
};

// Header and shape of a record sent by the tunnel API's "tarn" wrapper.
inline void expect_tarn_call(json_object* rec, uint32_t msgId, uint32_t replyCap) {
    ASSERT_NE(rec, nullptr);
    EXPECT_EQ(zxtest::json_int(rec, "msgId"), msgId);
    EXPECT_EQ(zxtest::json_int(rec, "timeoutMs"), 5000);
    EXPECT_EQ(zxtest::json_int(rec, "replyCap"), replyCap);
    json_object* head = member(rec, "head");
    EXPECT_EQ(zxtest::json_text(head, "dstName"), "tarn");
    EXPECT_EQ(zxtest::json_int(head, "tag"), 216);
}

}  // namespace l2tptest
