// The "osgi_proxy" service: the bundle manager of the plug-in framework.
//
// It installs a bundle from a package file (which must exist and have the size the request
// names), reports the install's progress for installMs milliseconds, then holds the bundle as
// RESOLVED, or ACTIVE when the request asked for a start. start, stop, uninstall and the factory
// reset ("FactoryPlugin") change the states; cancel ends an install in progress. Refusals come
// back as the bundle manager's own codes in the reply word, with the call itself successful.
//
// State members:
//   installMs    length of an install in milliseconds (default 3000)
//   persistFile  gateway path where installed bundles are kept across restarts ("" or absent: not)
//   bundles      {"name": {"version", "state", "permissions": ["..."]}} of the installed bundles
//   installs     {"name": {"beginMs", "start", "version", "phase"}}: each install this process
//                saw, "installing", "done" or "cancelled"; the progress query reads them
// An install's end is applied when the next request arrives, so the state read over the control
// socket may still show an install that has run its time. The deployment-unit count and the
// plug-in permissions are in permissions.cpp.
#include "families.h"
#include "services.h"
#include "zx_wire_osgi_proxy.h"

namespace zxsim {

const ServiceDef& osgi_proxy_service() {
    static const CommandFamily* const kFamilies[] = {&osgi_proxy::kBundlesFamily, &osgi_proxy::kPermissionsFamily};
    static const ServiceDef kDef{ZX_OSGI_ENDPOINT, kFamilies};
    return kDef;
}

}  // namespace zxsim
