// The command families of "tarn", one file each.
#pragma once

#include "service.h"

namespace zxsim::tarn {

extern const CommandFamily kVpnFamily;         // vpn.cpp
extern const CommandFamily kDnsFamily;         // dns.cpp
extern const CommandFamily kTrafficFamily;     // traffic.cpp
extern const CommandFamily kDeviceInfoFamily;  // device_info.cpp
extern const CommandFamily kLanHostsFamily;    // lan_hosts.cpp
extern const CommandFamily kHttpForwardFamily; // http_forward.cpp

}  // namespace zxsim::tarn
