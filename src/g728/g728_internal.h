// Private workers shared by the G.728 sources.
#pragma once

#include <cstdint>
#include <cstring>

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

// The fixed-size states are arrays of 16-bit words at any address: the work
// runs on them in place when the address is even, else on an aligned copy
// that goes back when the work is done.
template <int kWords, class F>
inline void on_words(void* state, F&& f) {
    if ((reinterpret_cast<std::uintptr_t>(state) & 1) == 0) {
        f(static_cast<fx::i16*>(state));
        return;
    }
    alignas(16) fx::i16 w[kWords];
    std::memcpy(w, state, sizeof w);
    f(w);
    std::memcpy(state, w, sizeof w);
}

}  // namespace zin::g728
