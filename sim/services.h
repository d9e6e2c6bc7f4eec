// Every service the simulator can serve, each defined in sim/<name>/service.cpp.
#pragma once

#include <span>
#include <string_view>

#include "service.h"

namespace zxsim {

const ServiceDef& tarn_service();
const ServiceDef& app_m_service();
const ServiceDef& cwmp_service();
const ServiceDef& wifi_service();
const ServiceDef& zel_service();
const ServiceDef& voice_service();
const ServiceDef& usb_mngt_service();
const ServiceDef& osgi_proxy_service();
const ServiceDef& eventcenter_service();

// All of them, in the order a full simulator starts them.
std::span<const ServiceDef* const> all_services();
// The definition named `name`, or nullptr.
const ServiceDef* find_service(std::string_view name);

}  // namespace zxsim
