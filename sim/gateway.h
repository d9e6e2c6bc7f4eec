// The simulated gateway of one gatewaysim process: the services it serves, their shared recorder
// and fault table, their bus endpoints and the control socket.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ctl_server.h"
#include "faults.h"
#include "json_util.h"
#include "recorder.h"
#include "service.h"
#include "zx_host.h"

namespace zxsim {

class Gateway {
public:
    // Each service starts from its member of the profile's "services" object ({} when absent).
    Gateway(const std::vector<const ServiceDef*>& defs, json_object* profile);
    ~Gateway();
    Gateway(const Gateway&) = delete;
    Gateway& operator=(const Gateway&) = delete;

    // Opens every endpoint, then the control socket <bus dir>/<ctlName>.ctl. False with the
    // reason in `error` when one of them cannot be opened, or (before anything is opened) when a
    // service's families both answer one message id.
    [[nodiscard]] bool start(const std::string& ctlName, std::string& error);
    // Ends pending delays, closes the control socket and every endpoint. Idempotent.
    void stop();

    // Answers one control request line (see control.cpp for the operations).
    std::string control(std::string_view line);

    Recorder& recorder() { return recorder_; }
    Faults& faults() { return faults_; }
    const std::vector<std::unique_ptr<Service>>& services() const { return services_; }
    // The service of that name served by this process, or nullptr.
    Service* find(std::string_view name);
    // A copy of the state of the service `name`: live when it is served here, else its initial
    // state from the profile; nullptr when neither.
    JsonPtr peer_state(std::string_view name);

private:
    Recorder recorder_;
    Faults faults_;
    std::vector<std::unique_ptr<Service>> services_;
    std::vector<std::unique_ptr<zxhost::BusService>> endpoints_;
    std::unique_ptr<CtlServer> ctl_;
    JsonPtr profileServices_;  // the profile's "services" object, for the state of services not served here
};

}  // namespace zxsim
