// The command families of "usb_mngt", one file each.
#pragma once

#include "service.h"

namespace zxsim::usb_mngt {

extern const CommandFamily kDevicesFamily;  // devices.cpp
extern const CommandFamily kDiscsFamily;    // discs.cpp

}  // namespace zxsim::usb_mngt
