// Compiled as a bridge source is: the platform interface and the bridge's own headers are visible.
// The layering check expects this one to compile (so a failure of the others means what it says).
#include "l2tp_jni.h"
#include "shared_state.h"
#include "zx_bridge.h"
#include "zx_platform.h"
#include "zx_velm_bundle.h"

int zx_layering_probe_public() { return JniInitFlag == 0 ? 0 : 1; }
