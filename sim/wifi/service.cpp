// The "wifi" service: the WLAN radios (WPS, channels, wireless hosts). No commands yet.
#include "services.h"
#include "zx_wire_wifi.h"

namespace zxsim {

const ServiceDef& wifi_service() {
    static const ServiceDef kDef{ZX_WIFI_ENDPOINT, {}};
    return kDef;
}

}  // namespace zxsim
