// Compiled as a bridge source is: the host platform's bus_frame.h must not be found.
#include "bus_frame.h"
