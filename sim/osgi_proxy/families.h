// The command families of "osgi_proxy", one file each.
#pragma once

#include "service.h"

namespace zxsim::osgi_proxy {

extern const CommandFamily kBundlesFamily;      // bundles.cpp
extern const CommandFamily kPermissionsFamily;  // permissions.cpp

// Applies what the passing of time and an earlier run's kept bundles change (bundles.cpp); called
// with the state locked before a command reads the bundles.
void settle_installs(json_object* state);

}  // namespace zxsim::osgi_proxy
