/* The whole wire catalogue: one header per destination service (see zx_wire_common.h). */
#ifndef ZX_WIRE_H
#define ZX_WIRE_H

#include "zx_wire_app_m.h"
#include "zx_wire_common.h"
#include "zx_wire_cwmp.h"
#include "zx_wire_eventcenter.h"
#include "zx_wire_osgi_proxy.h"
#include "zx_wire_tarn.h"
#include "zx_wire_usb_mngt.h"
#include "zx_wire_vdata.h"
#include "zx_wire_voice.h"
#include "zx_wire_wifi.h"
#include "zx_wire_zel.h"

#endif
