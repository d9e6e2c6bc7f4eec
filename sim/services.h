// Every service the simulator can serve, one definition per svc_<name>.cpp.
#pragma once

#include <span>
#include <string_view>
#include <vector>

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

// Reads the tunnel-API block named by the 12-byte record at `offset` of the request, frees it, and
// expands it when it was stored compressed. decoded receives the record and the payload in hex.
// On failure the call has been answered and false is returned. (In svc_tarn.cpp; "app_m" reads its
// traffic-monitoring notices with it too.)
bool read_tunnel_block(Call& call, size_t offset, std::vector<uint8_t>& payload, JsonPtr& decoded);

}  // namespace zxsim
