// The "zel" service: the library sends it nothing; it only has to be there.
#include "services.h"
#include "zx_wire_zel.h"

namespace zxsim {

const ServiceDef& zel_service() {
    static const ServiceDef kDef{ZX_ZEL_ENDPOINT, {}};
    return kDef;
}

}  // namespace zxsim
