// Shared frame of the bundle-management tests: a bundle manager "osgi_proxy" served inside the
// test process that records every request and answers what the test tells it, a private root
// directory for the operation log, and zxtest::TracedFixture (bus directory, trace capture, the
// check that nothing was left behind).
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include "sim_fixture.h"
#include "test_env.h"
#include "zx_host.h"
#include "zx_platform.h"

namespace bundletest {

constexpr const char* kVelm = "../velm/zx_velm_jni_api";

struct Seen {
    ZX_MSG_HEAD_S head;
    uint32_t msgId;
    uint32_t mid;
    uint32_t timeoutMs;
    uint32_t replyCap;
    std::vector<uint8_t> data;
};

// The bundle manager: records each request and answers `status` with `reply` bytes.
class FakeBundleManager {
public:
    FakeBundleManager() {
        uint32_t st = zxhost::BusService::start(
            "osgi_proxy", [this](const zxhost::BusRequest& r, zxhost::BusAnswer& a) { handle(r, a); }, service_);
        EXPECT_EQ(st, 0u) << zxhost::status_name(st);
    }
    ~FakeBundleManager() {
        if (service_) service_->stop();
    }

    void answer(uint32_t status, std::vector<uint8_t> reply) {
        std::lock_guard lock(mutex_);
        status_ = status;
        reply_ = std::move(reply);
    }
    void answer_word(uint32_t status, uint32_t word) {
        std::vector<uint8_t> bytes(4);
        std::memcpy(bytes.data(), &word, 4);
        answer(status, std::move(bytes));
    }
    std::vector<Seen> seen() {
        std::lock_guard lock(mutex_);
        return seen_;
    }

private:
    void handle(const zxhost::BusRequest& r, zxhost::BusAnswer& a) {
        std::lock_guard lock(mutex_);
        seen_.push_back({r.head, r.msgId, r.mid, r.timeoutMs, r.replyCap, {r.data.begin(), r.data.end()}});
        a.status = status_;
        a.data = reply_;
    }

    std::mutex mutex_;
    uint32_t status_ = 0;
    std::vector<uint8_t> reply_ = std::vector<uint8_t>(4, 0);
    std::vector<Seen> seen_;
    std::unique_ptr<zxhost::BusService> service_;
};

inline std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

class BundleTest : public zxtest::TracedFixture {
protected:
    BundleTest() : TracedFixture(kVelm) {}

    void SetUp() override {
        zxtest::set_env("ZX_ROOT", root_.path().c_str());
        ASSERT_EQ(mkdir((root_.path() + "/var").c_str(), 0700), 0);
        TracedFixture::SetUp();
    }
    void TearDown() override {
        TracedFixture::TearDown();
        zxtest::set_env("ZX_ROOT", nullptr);
    }

    std::string log_path() const { return root_.path() + "/var/pluginOpera.log"; }
    std::string log_text() const { return read_file(log_path()); }

    zxtest::ScopedTempDir root_{"zxbundle"};
};

}  // namespace bundletest
