#include "services.h"

#include <array>

namespace zxsim {

std::span<const ServiceDef* const> all_services() {
    static const std::array<const ServiceDef*, 9> kAll{
        &tarn_service(),  &app_m_service(),    &cwmp_service(),       &wifi_service(),        &zel_service(),
        &voice_service(), &usb_mngt_service(), &osgi_proxy_service(), &eventcenter_service(),
    };
    return kAll;
}

const ServiceDef* find_service(std::string_view name) {
    for (const ServiceDef* def : all_services())
        if (name == def->name) return def;
    return nullptr;
}

}  // namespace zxsim
