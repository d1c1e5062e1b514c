// Inner loops shared by the correlation, convolution and LP filter exports:
// sums of 16-bit products over several lags at once, in 32-bit lanes that
// wrap (pmaddwd and paddd are exact modulo 2^32) or exact in 64 bits.
//
// All loads are unaligned and stay inside the element ranges named in each
// comment; results never depend on the alignment of the arguments.
#pragma once

#include <immintrin.h>

#include <cstdint>

#include "fixed_point.h"
#include "zinsc.h"

namespace zin::corr {

inline __m128i load(const Zin16s* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline void store(Zin16s* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
inline void store(Zin32s* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }

// Sum of the four 32-bit lanes, modulo 2^32.
inline Zin32s hsum32(__m128i v) {
    v = _mm_add_epi32(v, _mm_shuffle_epi32(v, 0x4E));
    v = _mm_add_epi32(v, _mm_shuffle_epi32(v, 0xB1));
    return _mm_cvtsi128_si32(v);
}

// Product of two samples as an unsigned 32-bit value, for sums that wrap.
inline std::uint32_t prod_u32(Zin16s a, Zin16s b) { return static_cast<std::uint32_t>(Zin32s{a} * b); }

// out[j] = sum over i < len of a[i] * b[i + j], j < 4, modulo 2^32.
// Reads a[0 .. len) and b[0 .. len + 3).
inline void dot4_wrap(const Zin16s* a, const Zin16s* b, int len, Zin32s out[4]) {
    __m128i s0 = _mm_setzero_si128(), s1 = s0, s2 = s0, s3 = s0;
    int i = 0;
    for (; i + 8 <= len; i += 8) {
        const __m128i x = load(a + i);
        s0 = _mm_add_epi32(s0, _mm_madd_epi16(x, load(b + i)));
        s1 = _mm_add_epi32(s1, _mm_madd_epi16(x, load(b + i + 1)));
        s2 = _mm_add_epi32(s2, _mm_madd_epi16(x, load(b + i + 2)));
        s3 = _mm_add_epi32(s3, _mm_madd_epi16(x, load(b + i + 3)));
    }
    const __m128i t = _mm_hadd_epi32(_mm_hadd_epi32(s0, s1), _mm_hadd_epi32(s2, s3));
    alignas(16) Zin32s lanes[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(lanes), t);
    for (int j = 0; j < 4; ++j) {
        std::uint32_t acc = static_cast<std::uint32_t>(lanes[j]);
        for (int k = i; k < len; ++k) acc += prod_u32(a[k], b[k + j]);
        out[j] = static_cast<Zin32s>(acc);
    }
}

// One lag: sum over i < len of a[i] * b[i], modulo 2^32.
inline Zin32s dot1_wrap(const Zin16s* a, const Zin16s* b, int len) {
    __m128i s0 = _mm_setzero_si128(), s1 = s0;
    int i = 0;
    for (; i + 16 <= len; i += 16) {
        s0 = _mm_add_epi32(s0, _mm_madd_epi16(load(a + i), load(b + i)));
        s1 = _mm_add_epi32(s1, _mm_madd_epi16(load(a + i + 8), load(b + i + 8)));
    }
    if (i + 8 <= len) {
        s0 = _mm_add_epi32(s0, _mm_madd_epi16(load(a + i), load(b + i)));
        i += 8;
    }
    std::uint32_t acc = static_cast<std::uint32_t>(hsum32(_mm_add_epi32(s0, s1)));
    for (; i < len; ++i) acc += prod_u32(a[i], b[i]);
    return static_cast<Zin32s>(acc);
}

// out[j] = exact sum over i < len of a[i] * b[i + j], j < 4, in 64 bits.
// A pmaddwd pair sum lies in [-2147418112, 2147483648]; with 2147418112
// added it is an unsigned 32-bit value, widened without sign; the bias is
// taken off at the end. Reads a[0 .. len) and b[0 .. len + 3).
inline void dot4_exact(const Zin16s* a, const Zin16s* b, int len, Zin64s out[4]) {
    constexpr Zin64s kBias = 2147418112;
    const __m128i bias = _mm_set1_epi32(static_cast<int>(kBias));
    const __m128i zero = _mm_setzero_si128();
    __m128i acc[4] = {zero, zero, zero, zero};
    int i = 0;
    for (; i + 8 <= len; i += 8) {
        const __m128i x = load(a + i);
        for (int j = 0; j < 4; ++j) {
            const __m128i p = _mm_add_epi32(_mm_madd_epi16(x, load(b + i + j)), bias);
            acc[j] = _mm_add_epi64(acc[j], _mm_add_epi64(_mm_unpacklo_epi32(p, zero), _mm_unpackhi_epi32(p, zero)));
        }
    }
    for (int j = 0; j < 4; ++j) {
        Zin64s s = _mm_cvtsi128_si64(acc[j]) + _mm_extract_epi64(acc[j], 1) - kBias * (i / 2);
        for (int k = i; k < len; ++k) s += Zin32s{a[k]} * b[k + j];
        out[j] = s;
    }
}

// For the eight outputs n .. n+7 of an all-zero filter, the sums over
// k < kc of h[k] * x[n + j - k], modulo 2^32, in output order (lo: j = 0..3,
// hi: j = 4..7). `x` points at x[n]; reads x[n - kc .. n + 7] and h[0 .. kc).
// Coefficient pairs go through pmaddwd against two loads one sample apart:
// the even outputs from the load at n-k-1, the odd ones from the load at n-k.
inline void fir8_wrap(const Zin16s* x, const Zin16s* h, int kc, __m128i& lo, __m128i& hi) {
    __m128i ev = _mm_setzero_si128(), od = ev;
    int k = 0;
    for (; k + 2 <= kc; k += 2) {
        const __m128i c = _mm_set1_epi32(static_cast<int>(static_cast<std::uint16_t>(h[k + 1]) |
                                                          (static_cast<std::uint32_t>(static_cast<std::uint16_t>(h[k])) << 16)));
        ev = _mm_add_epi32(ev, _mm_madd_epi16(load(x - k - 1), c));
        od = _mm_add_epi32(od, _mm_madd_epi16(load(x - k), c));
    }
    if (k < kc) {
        const __m128i c = _mm_set1_epi32(static_cast<int>(static_cast<std::uint16_t>(h[k])));
        const __m128i u = load(x - k);
        ev = _mm_add_epi32(ev, _mm_madd_epi16(u, c));
        od = _mm_add_epi32(od, _mm_madd_epi16(_mm_srli_si128(u, 2), c));
    }
    lo = _mm_unpacklo_epi32(ev, od);
    hi = _mm_unpackhi_epi32(ev, od);
}

}  // namespace zin::corr
