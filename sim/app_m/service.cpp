// The "app_m" service: application management (configuration, LOID, cloud platform, media files).
//
// State members:
//   loid           the LOID text
//   wlanChannel    WLAN channel number
//   mgtAddress, mgtPort   the management (cloud platform) address and port
//   phyInfo        physical device information text
//   connections    {"name": {"pppoeName", "wanIp"}} by connection name
#include "families.h"
#include "services.h"
#include "zx_wire_app_m.h"

namespace zxsim {

const ServiceDef& app_m_service() {
    static const CommandFamily* const kFamilies[] = {&app_m::kSystemFamily, &app_m::kDeviceInfoFamily,
                                                     &app_m::kWlanFamily, &app_m::kTrafficFamily};
    static const ServiceDef kDef{ZX_APPM_ENDPOINT, kFamilies};
    return kDef;
}

}  // namespace zxsim
