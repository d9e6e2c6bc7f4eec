// The command families of "osgi_proxy", one file each.
#pragma once

#include "service.h"

namespace zxsim::osgi_proxy {

extern const CommandFamily kBundlesFamily;  // bundles.cpp

}  // namespace zxsim::osgi_proxy
