// The "usb_mngt" service: USB management. Devices, their terminals and ownership are in
// usb_devices.h; the state's "devices" list defines them.
#include "families.h"
#include "services.h"
#include "zx_wire_usb_mngt.h"

namespace zxsim {

const ServiceDef& usb_mngt_service() {
    static const CommandFamily* const kFamilies[] = {&usb_mngt::kDevicesFamily};
    static const ServiceDef kDef{ZX_USB_ENDPOINT, kFamilies};
    return kDef;
}

}  // namespace zxsim
