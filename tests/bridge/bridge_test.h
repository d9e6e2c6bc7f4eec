// The bridge tests' helpers live in the shared test support.
#pragma once

#include "trace_lines.h"
