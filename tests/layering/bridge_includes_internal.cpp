// Compiled as a bridge source is: the host platform's internal.h must not be found.
#include "internal.h"
