// The "app_m" service: application management (configuration, LOID, cloud platform, media files).
//
// State members:
//   loid           the LOID text
//   wlanChannel    WLAN channel number
//   mgtAddress, mgtPort   the management (cloud platform) address and port
//   phyInfo        physical device information text
//   connections    {"name": {"pppoeName", "wanIp"}} by connection name
//   ssids          [{"index", "name", "band", "enabled", "hidden", "security", "key"}] (wlan.cpp)
//   leds           [{"id", "name", "color", "onTime", "offTime"}] (leds_ports.cpp)
//   lanPorts       [{"port", "link" (bool), "speed" (Mbit/s), "duplex"}]
//   platform       {"state", "text", "notices"}: the platform connection state last told, and how
//                  many times it was told
//   filesScan      the media-file scanner's switch, 0 or 1 (default 1); the scanner walks the discs
//                  of "usb_mngt" (media.cpp)
//   cloudStatus    the cloud registration status word (default 1, registered)
#include "families.h"
#include "services.h"
#include "zx_wire_app_m.h"

namespace zxsim {

const ServiceDef& app_m_service() {
    static const CommandFamily* const kFamilies[] = {
        &app_m::kSystemFamily,    &app_m::kDeviceInfoFamily, &app_m::kWlanFamily, &app_m::kTrafficFamily,
        &app_m::kLedsPortsFamily, &app_m::kLanFamily,        &app_m::kWanFamily,  &app_m::kMediaFamily};
    static const ServiceDef kDef{ZX_APPM_ENDPOINT, kFamilies};
    return kDef;
}

}  // namespace zxsim
