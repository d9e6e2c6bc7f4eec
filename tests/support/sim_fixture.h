// The frames of the library's tests.
//
// TracedFixture: a private bus directory, trace capture, and at the end the checks that no
// platform allocation (and, unless told otherwise, no shared block) was left behind, with the
// trace helpers of the unit under test. A test that serves the bus itself (a fake service in the
// test process) builds on it.
//
// SimFixture: the same with gatewaysim serving the bus directory. What a service received is
// asserted as the exact sequence of requests since the last look:
//
//     class TunnelTest : public zxtest::SimFixture {
//     protected:
//         TunnelTest() : SimFixture("l2tp_api") {}   // the unit whose traces the helpers look at
//     };
//     TEST_F(TunnelTest, Status) {
//         ASSERT_TRUE(sim_.inject("tarn", kStatus, zxtest::Fault::status(0xF7000042)));
//         ... a call of the library ...
//         auto got = expect_received("tarn", {{kStatus, request_bytes}});   // nothing else
//         expect_last_word_1(traces(), 1234, 0xF7000042);
//     }
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "sim_process.h"
#include "test_env.h"
#include "trace_lines.h"
#include "zx_host.h"

namespace zxtest {

// A request a service must have received: its command id and its bytes.
struct Sent {
    Sent(uint32_t msgId, Bytes data) : msgId(msgId), data(std::move(data)) {}
    Sent(uint32_t msgId, const std::string& data) : msgId(msgId), data(data.begin(), data.end()) {}
    uint32_t msgId;
    Bytes data;
};

// Trace records of one kind at a line; with a file, only that file's.
inline std::vector<zxhost::TraceRecord> at_line(const std::vector<zxhost::TraceRecord>& records,
                                                zxhost::TraceRecord::Kind kind, uint32_t line,
                                                const std::string& file = "") {
    std::vector<zxhost::TraceRecord> out;
    for (const auto& r : records)
        if (r.kind == kind && r.line == line && (file.empty() || r.file == file)) out.push_back(r);
    return out;
}

class TracedFixture : public testing::Test {
protected:
    // `unit`: the trace file name of the unit under test (see the trace helpers below).
    explicit TracedFixture(std::string unit) : unit_(std::move(unit)) {}

    void SetUp() override {
        zxhost::trace_capture_start();
        allocBase_ = zxhost::alloc_outstanding();
    }

    void TearDown() override {
        zxhost::alloc_fail_clear();
        zxhost::trace_capture_stop();
        if (zxhost::alloc_outstanding() != allocBase_) {
            std::string left;
            for (const zxhost::AllocRecord& a : zxhost::alloc_list())
                left += "  " + std::to_string(a.size) + " bytes at " + a.file + ":" + std::to_string(a.line) + "\n";
            ADD_FAILURE() << "platform allocations left behind:\n" << left;
        }
        if (expectNoBlocks_) {
            EXPECT_TRUE(zxhost::vdata_list().empty()) << "shared blocks left behind";
        }
    }

    std::vector<zxhost::TraceRecord> traces() { return zxhost::trace_capture_take(); }

    // The records of the unit under test only (the wrappers and the units it calls write their own).
    std::vector<zxhost::TraceRecord> unit_records(const std::vector<zxhost::TraceRecord>& all) const {
        std::vector<zxhost::TraceRecord> out;
        for (const auto& r : all)
            if (r.file == unit_) out.push_back(r);
        return out;
    }
    // The unit's records captured since the last look.
    std::vector<zxhost::TraceRecord> unit_records() { return unit_records(traces()); }

    // The unit's one short last word at a line, with its code.
    void expect_last_word_1(const std::vector<zxhost::TraceRecord>& records, uint32_t line, uint32_t code) const {
        auto found = at_line(records, zxhost::TraceRecord::LastWord1, line, unit_);
        ASSERT_EQ(found.size(), 1u) << "last word at line " << line;
        EXPECT_EQ(found[0].code, code) << "line " << line;
    }

    // The unit's one last word at a line, with its code and the first data words.
    void expect_last_word(const std::vector<zxhost::TraceRecord>& records, uint32_t line, uint32_t code,
                          std::vector<uint32_t> data) const {
        auto found = at_line(records, zxhost::TraceRecord::LastWord, line, unit_);
        ASSERT_EQ(found.size(), 1u) << "last word at line " << line;
        EXPECT_EQ(found[0].code, code) << "line " << line;
        for (size_t i = 0; i < data.size(); ++i)
            EXPECT_EQ(found[0].data[i], data[i]) << "line " << line << " word " << i;
    }

    // The unit's one trace at a line, with its level and text.
    void expect_trace(const std::vector<zxhost::TraceRecord>& records, uint32_t level, uint32_t line,
                      const std::string& text) const {
        auto found = at_line(records, zxhost::TraceRecord::Trace, line, unit_);
        ASSERT_EQ(found.size(), 1u) << "trace at line " << line;
        EXPECT_EQ(found[0].level, level) << "line " << line;
        EXPECT_EQ(found[0].text, text) << "line " << line;
    }

    // No last word at all: the calls went through cleanly.
    static void expect_no_last_word(const std::vector<zxhost::TraceRecord>& records) {
        for (const auto& r : records)
            EXPECT_EQ(r.kind, zxhost::TraceRecord::Trace) << "unexpected last word at " << r.file << ":" << r.line;
    }

    ScopedBusDir bus_;
    std::string unit_;
    uint64_t allocBase_ = 0;
    bool expectNoBlocks_ = true;  // a test whose call fails after the block was written clears it
};

class SimFixture : public TracedFixture {
protected:
    explicit SimFixture(std::string unit, SimProcess::Options options = {})
        : TracedFixture(std::move(unit)), sim_(std::move(options)) {}

    void SetUp() override {
        ASSERT_TRUE(sim_.start());
        TracedFixture::SetUp();
    }

    // What `service` received since the last look (then forgotten).
    std::vector<Received> take_received(const std::string& service) {
        std::optional<std::vector<Received>> got = sim_.received(service, true);
        EXPECT_TRUE(got) << "the simulator did not list what " << service << " received";
        return got ? std::move(*got) : std::vector<Received>{};
    }

    // Checks that `service` received exactly `expected` (command ids and bytes, in this order)
    // since the last look, and hands the records out for checks of their other fields.
    std::vector<Received> expect_received(const std::string& service, const std::vector<Sent>& expected) {
        std::vector<Received> got = take_received(service);
        EXPECT_TRUE(same_requests(got, expected)) << service << " received\n"
                                                  << describe(got) << "expected\n"
                                                  << describe(expected);
        return got;
    }

    // The one request `service` received since the last look (a failure when it was not one).
    Received only_received(const std::string& service) {
        std::vector<Received> got = take_received(service);
        EXPECT_EQ(got.size(), 1u) << service << " received\n" << describe(got);
        return got.empty() ? Received{} : got.front();
    }

    // Waits (bounded) until `service` has handled n requests, then takes them. One-way notices
    // arrive after the send returns; a record gets its decoded payload only once the command has
    // read (and freed) its shared block.
    std::vector<Received> wait_received(const std::string& service, size_t n) {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        for (;;) {
            std::vector<Received> got = sim_.received(service).value_or(std::vector<Received>{});
            size_t handled = 0;
            for (const Received& r : got)
                if (r.decoded) ++handled;
            if (handled >= n || std::chrono::steady_clock::now() > deadline) return take_received(service);
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }

    SimProcess sim_;

private:
    static bool same_requests(const std::vector<Received>& got, const std::vector<Sent>& expected) {
        if (got.size() != expected.size()) return false;
        for (size_t i = 0; i < got.size(); ++i)
            if (got[i].msgId != expected[i].msgId || got[i].data != expected[i].data) return false;
        return true;
    }
    static std::string describe(const std::vector<Received>& records) {
        std::string out;
        for (const Received& r : records) out += "  " + hex32(r.msgId) + " " + to_hex(r.data) + "\n";
        return out.empty() ? "  nothing\n" : out;
    }
    static std::string describe(const std::vector<Sent>& requests) {
        std::string out;
        for (const Sent& r : requests) out += "  " + hex32(r.msgId) + " " + to_hex(r.data) + "\n";
        return out.empty() ? "  nothing\n" : out;
    }
};

}  // namespace zxtest
