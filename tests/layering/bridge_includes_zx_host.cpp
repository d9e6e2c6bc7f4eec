// Compiled as a bridge source is: the host platform's zx_host.h must not be found.
#include "zx_host.h"
