// The attached discs of the simulated gateway, as the "usb_mngt" state's "discs" list defines them:
//
//   "discs": [{"name": "USB_DISK1", "fsType": "vfat", "mount": "/mnt/usb1_1",
//              "files": ["movies/holiday.mp4", "photos/beach.jpg"]}, ...]
//
// A disc is the directory its gateway mount path names, resolved under the gateway root (ZX_ROOT,
// the per-user directory when it is unset, the literal path for ZX_ROOT=/; see zx_os.h): the host
// path, which is what the disc list and the mount-path query answer. The directory (and its
// parents) is made when the service starts and whenever the control socket sets members of its
// state, together with each file of "files" (a path relative to the disc, made empty) that is
// missing; what cannot be made is reported on stderr and the disc is
// listed all the same. The media scanner of "app_m" walks the same directories.
#pragma once

#include <json-c/json.h>

#include <string>
#include <vector>

#include "service.h"

namespace zxsim {

struct Disc {
    std::string name;
    std::string fsType;
    std::string mount;     // the gateway path, as the state has it
    std::string hostPath;  // the mount path resolved under the gateway root
};

// The discs of a "usb_mngt" state, in their order (at most ZX_USB_MAX_DISCS of them).
std::vector<Disc> discs_of(json_object* usbState);

// Makes every disc directory of the service's state and the files it lists, when missing.
void make_disc_dirs(Service& usbService);

}  // namespace zxsim
