// The command families of "tarn", one file each.
#pragma once

#include "service.h"

namespace zxsim::tarn {

extern const CommandFamily kVpnFamily;         // vpn.cpp
extern const CommandFamily kDnsFamily;         // dns.cpp
extern const CommandFamily kTrafficFamily;     // traffic.cpp
extern const CommandFamily kDeviceInfoFamily;  // device_info.cpp

}  // namespace zxsim::tarn
