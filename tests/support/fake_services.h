// Services served in the test process, one handler each, for answers the simulated services never
// give (a reply that fills its buffer, a count beyond its record). Stopped on destruction or stop().
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "zx_host.h"

namespace zxtest {

class FakeServices {
public:
    FakeServices() = default;
    FakeServices(const FakeServices&) = delete;
    FakeServices& operator=(const FakeServices&) = delete;
    ~FakeServices() { stop(); }

    // Serves the endpoint `name` of the current bus directory with `handler`.
    testing::AssertionResult serve(const std::string& name, zxhost::BusHandler handler) {
        std::unique_ptr<zxhost::BusService> service;
        uint32_t status = zxhost::BusService::start(name, std::move(handler), service);
        if (status != 0) return testing::AssertionFailure() << "cannot serve " << name << ": status " << status;
        services_.push_back(std::move(service));
        return testing::AssertionSuccess();
    }

    void stop() {
        for (auto& s : services_) s->stop();
        services_.clear();
    }

private:
    std::vector<std::unique_ptr<zxhost::BusService>> services_;
};

}  // namespace zxtest
