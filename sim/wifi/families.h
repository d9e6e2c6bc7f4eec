// The command families of "wifi", one file each, and what they share.
#pragma once

#include <cstdint>

#include "service.h"

namespace zxsim::wifi {

extern const CommandFamily kRadiosFamily;  // radios.cpp
extern const CommandFamily kWpsFamily;     // wps.cpp
extern const CommandFamily kHostsFamily;   // hosts.cpp

}  // namespace zxsim::wifi
