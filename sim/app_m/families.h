// The command families of "app_m", one file each.
#pragma once

#include "service.h"

namespace zxsim::app_m {

extern const CommandFamily kSystemFamily;      // system.cpp
extern const CommandFamily kDeviceInfoFamily;  // device_info.cpp
extern const CommandFamily kWlanFamily;        // wlan.cpp
extern const CommandFamily kTrafficFamily;     // traffic.cpp
extern const CommandFamily kLedsPortsFamily;   // leds_ports.cpp
extern const CommandFamily kLanFamily;         // lan.cpp
extern const CommandFamily kWanFamily;         // wan.cpp
extern const CommandFamily kMediaFamily;       // media.cpp

}  // namespace zxsim::app_m
