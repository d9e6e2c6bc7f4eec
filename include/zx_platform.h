/* Everything the gateway platform library offers its callers. */
#ifndef ZX_PLATFORM_H
#define ZX_PLATFORM_H

#include "zx_dbg.h"
#include "zx_errno.h"
#include "zx_eventcenter.h"
#include "zx_feature.h"
#include "zx_msg.h"
#include "zx_os.h"
#include "zx_vdata.h"

#endif
