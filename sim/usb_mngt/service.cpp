// The "usb_mngt" service: USB management. Devices, their terminals and ownership are in
// usb_devices.h; the state's "devices" list defines them. The attached discs are in discs.h; the
// state's "discs" list defines them.
#include "discs.h"
#include "families.h"
#include "services.h"
#include "zx_wire_usb_mngt.h"

namespace zxsim {

const ServiceDef& usb_mngt_service() {
    static const CommandFamily* const kFamilies[] = {&usb_mngt::kDevicesFamily, &usb_mngt::kDiscsFamily};
    static const ServiceDef kDef{ZX_USB_ENDPOINT, kFamilies, nullptr, make_disc_dirs};
    return kDef;
}

}  // namespace zxsim
