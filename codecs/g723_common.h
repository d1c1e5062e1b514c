// Helpers shared by the G.723.1 encoder and decoder on the caller's side.
#pragma once

#include <cstdint>

#include "g723_tables.h"

namespace zc::g723 {

inline constexpr int kSub = 60;
inline constexpr int kHist = 145;

inline int32_t sat32(int64_t v) { return v > INT32_MAX ? INT32_MAX : (v < INT32_MIN ? INT32_MIN : int32_t(v)); }
inline int16_t sat16(int64_t v) { return v > 32767 ? 32767 : (v < -32768 ? -32768 : int16_t(v)); }
// The high half of a saturated 32-bit value with rounding.
inline int16_t round_hi(int64_t v) { return int16_t(sat32(v + 0x8000) >> 16); }

// Gain tables of the closed-loop lag: the 85-row table at 6.3 kbit/s below
// lag 58, else the 170-row one.
inline bool small_table(bool rate63, int lag) { return rate63 && lag < kSub - 2; }

// The 5-tap adaptive codebook vector (clause 2.14) of `lag` with gain row
// `row`, from the 145 excitation samples before the subframe.
inline void acb_vector(const int16_t* prev, int lag, bool rate63, int base_lag, int row, int16_t* v) {
    const int16_t* tab = small_table(rate63, base_lag) ? kAcbkGain85 : kAcbkGain170;
    int16_t r[kSub + 4];
    const int off = kHist - 2 - lag;
    r[0] = prev[off];
    r[1] = prev[off + 1];
    for (int i = 2; i < kSub + 4; ++i) r[i] = prev[off + 2 + (i - 2) % lag];
    const int16_t* g = tab + 20 * row;
    for (int i = 0; i < kSub; ++i) {
        int32_t s = 0;
        for (int k = 0; k < 5; ++k) s += r[i + k] * g[k];
        v[i] = int16_t(sat32(0x8000 + int64_t(sat32(2 * int64_t(sat32(2 * int64_t(s)))))) >> 16);
    }
}

}  // namespace zc::g723
