// Private workers shared by the GSM-AMR sources: the logarithm and power of
// two of TS 26.073 (log2.c, pow2.c) and the LSP/LSF conversions of lsp_lsf.c.
#pragma once

#include "../kernels/fixed_point.h"
#include "amr_tables.h"

namespace zin::amr {

using fx::i16;
using fx::i32;

struct Log2Result {
    i16 exponent;
    i16 fraction;
};

// Log2_norm: x normalised (bit 30 set) and its normalisation shift.
inline Log2Result log2_norm(i32 x, int shift) {
    if (x <= 0) return {0, 0};
    x >>= 10;
    const int i = static_cast<int>(x >> 15) - 32;
    const i32 a = x & 0x7FFF;
    i32 y = i32{kLog2Table[i]} << 16;
    y -= (i32{static_cast<i16>(kLog2Table[i] - kLog2Table[i + 1])} * a) << 1;
    return {static_cast<i16>(30 - shift), static_cast<i16>(y >> 16)};
}

// Log2: exponent and fraction (Q15) of log2(x) for x > 0; zeros otherwise.
inline Log2Result log2_32(i32 x) {
    const int n = fx::norm32(x);
    return log2_norm(static_cast<i32>(static_cast<std::uint32_t>(x) << n), n);
}

// Pow2: 2^(exponent + fraction) with fraction in Q15, as a 32-bit value.
inline i32 pow2_32(i16 exponent, i16 fraction) {
    const i32 l = i32{fraction} << 6;        // L_mult(fraction, 32)
    const int i = static_cast<int>(l >> 16) & 31;
    const i16 a = static_cast<i16>((l >> 1) & 0x7FFF);
    i32 x = i32{kPow2Table[i]} << 16;
    x = fx::msu32(x, static_cast<i16>(kPow2Table[i] - kPow2Table[i + 1]), a);
    return fx::shr32_round(x, static_cast<i16>(30 - exponent));
}

// Lsp_lsf: cosine-domain LSPs (Q15) to normalised frequencies (Q15, 0..0.5).
inline void lsp_to_lsf(const i16* lsp, i16* lsf, int m) {
    int ind = 63;
    for (int i = m - 1; i >= 0; --i) {
        const i16 t = lsp[i];
        while (kLspCosTable[ind] < t) --ind;
        const i32 l = ((i32{t} - kLspCosTable[ind]) * kLspSlope[ind] + 0x800) >> 12;
        lsf[i] = static_cast<i16>(static_cast<i16>(l) + (ind << 8));
    }
}

// Lsf_lsp: the inverse, by linear interpolation in the cosine table.
inline void lsf_to_lsp(const i16* lsf, i16* lsp, int m) {
    for (int i = 0; i < m; ++i) {
        const int ind = lsf[i] >> 8;
        const i32 off = lsf[i] & 0xFF;
        const i32 l = ((i32{kLspCosTable[ind + 1]} - kLspCosTable[ind]) * off) >> 8;
        lsp[i] = static_cast<i16>(kLspCosTable[ind] + static_cast<i16>(l));
    }
}

// Reorder_lsf: keeps a minimum distance between neighbouring LSFs.
inline void reorder_lsf(i16* lsf, i16 minDist, int n) {
    i16 lsfMin = minDist;
    for (int i = 0; i < n; ++i) {
        if (lsf[i] < lsfMin) {
            lsf[i] = lsfMin;
            lsfMin = static_cast<i16>(lsfMin + minDist);
        } else {
            lsfMin = static_cast<i16>(lsf[i] + minDist);
        }
    }
}

// Lsf_wt: the LSF weighting factors of the split quantisers (Q13 << 3).
inline void lsf_weights(const i16* lsf, i16* wf) {
    wf[0] = lsf[1];
    for (int i = 1; i < 9; ++i) wf[i] = static_cast<i16>(lsf[i + 1] - lsf[i - 1]);
    wf[9] = static_cast<i16>(16384 - lsf[8]);
    for (int i = 0; i < 10; ++i) {
        const i16 t = static_cast<i16>(wf[i] - 1843);
        i16 w;
        if (t > 0) w = static_cast<i16>(1843 - static_cast<i16>((i32{t} * 6242) >> 15));
        else w = static_cast<i16>(3427 - static_cast<i16>((i32{wf[i]} * 28160) >> 15));
        wf[i] = static_cast<i16>(w << 3);
    }
}

}  // namespace zin::amr
