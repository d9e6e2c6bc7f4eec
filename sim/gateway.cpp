#include "gateway.h"

#include <cerrno>
#include <cstring>

namespace zxsim {
namespace {

JsonPtr initial_state(json_object* profile, const char* service) {
    json_object* services = nullptr;
    json_object* state = nullptr;
    json_object* copy = nullptr;
    if (profile && json_object_object_get_ex(profile, "services", &services) &&
        json_object_object_get_ex(services, service, &state) && json_object_is_type(state, json_type_object) &&
        json_object_deep_copy(state, &copy, nullptr) == 0)
        return JsonPtr(copy);
    return JsonPtr(json_object_new_object());
}

std::string failure_text(uint32_t status) {
    std::string text = zxhost::status_name(status);
    if (status == ZX_ERR_SYS) text += std::string(" (") + std::strerror(errno) + ")";
    return text;
}

}  // namespace

Gateway::Gateway(const std::vector<const ServiceDef*>& defs, json_object* profile) {
    json_object* services = nullptr;
    json_object* copy = nullptr;
    if (profile && json_object_object_get_ex(profile, "services", &services) &&
        json_object_deep_copy(services, &copy, nullptr) == 0)
        profileServices_.reset(copy);
    for (const ServiceDef* def : defs) {
        services_.push_back(std::make_unique<Service>(*def, initial_state(profile, def->name), recorder_, faults_));
        services_.back()->set_peer_state([this](std::string_view name) { return peer_state(name); });
    }
}

JsonPtr Gateway::peer_state(std::string_view name) {
    if (Service* service = find(name)) return service->state_copy();
    json_object* state = nullptr;
    json_object* copy = nullptr;
    if (profileServices_ && json_object_object_get_ex(profileServices_.get(), std::string(name).c_str(), &state) &&
        json_object_is_type(state, json_type_object) && json_object_deep_copy(state, &copy, nullptr) == 0)
        return JsonPtr(copy);
    return nullptr;
}

Gateway::~Gateway() { stop(); }

bool Gateway::start(const std::string& ctlName, std::string& error) {
    if (ctlName.empty() || ctlName.find('/') != std::string::npos) {
        error = "bad control socket name \"" + ctlName + "\"";
        return false;
    }
    for (const auto& service : services_) {
        if (!service->table_error().empty()) {
            error = service->table_error();
            return false;
        }
    }
    for (const auto& service : services_) service->state_changed();
    for (const auto& service : services_) {
        std::unique_ptr<zxhost::BusService> endpoint;
        Service* svc = service.get();
        uint32_t status = zxhost::BusService::start(
            svc->name(), [svc](const zxhost::BusRequest& req, zxhost::BusAnswer& answer) { svc->handle(req, answer); },
            endpoint);
        if (status != ZX_OK) {
            error = std::string("cannot serve ") + svc->name() + ": " + failure_text(status);
            return false;
        }
        endpoints_.push_back(std::move(endpoint));
    }
    std::string path = zxhost::bus_dir() + "/" + ctlName + ".ctl";
    uint32_t status = CtlServer::start(
        path, [this](std::string_view line) { return control(line); }, ctl_);
    if (status != ZX_OK) {
        error = "cannot listen on " + path + ": " + failure_text(status);
        return false;
    }
    return true;
}

void Gateway::stop() {
    faults_.release();
    if (ctl_) ctl_->stop();
    for (const auto& endpoint : endpoints_) endpoint->stop();
}

Service* Gateway::find(std::string_view name) {
    for (const auto& service : services_)
        if (name == service->name()) return service.get();
    return nullptr;
}

}  // namespace zxsim
