// Private workers of the echo kit that more than one place reaches.
#pragma once

#include "zinsc.h"

namespace zin {

// The 32-bit reciprocal division of the 16-bit sub-band path: for c and r
// with bit 30 set, about c / r in Q30, in wrapping 32-bit arithmetic.
Zin32s Div32_EC(Zin32s c, Zin32s r);

}  // namespace zin
