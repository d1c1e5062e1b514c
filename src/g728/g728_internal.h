// Private workers shared by the G.728 sources.
#pragma once

#include <cstdint>

#include "../kernels/fixed_point.h"
#include "g728_tables.h"

namespace zin::g728 {

// Left shifts that bring v into `bits` bits (negative: right shifts); v is
// changed. A zero gives bits - 1.
int normalize(fx::i64& v, int bits);
// The normalizing shift of a block of len words to `bits` bits.
int block_shift(const fx::i16* x, int len, int bits);
// Normalizes a block into out (which may be in); returns the shift.
int normalize_block(const fx::i16* in, fx::i16* out, int len, int bits);

}  // namespace zin::g728
