// The untagged linear-prediction filters: the order-10 all-pole synthesis
// filter and its zero-state response, the all-zero residual filter, the
// harmonic (pitch) filters and the first-order preemphasis. History lives in
// the caller's arrays, as an argument or in front of the signal pointer.
#include <immintrin.h>

#include <cstdint>

#include "../frame/registry.h"
#include "corr_kernels.h"
#include "fixed_point.h"
#include "kernels.h"

namespace zin {
namespace {

using u32 = std::uint32_t;

inline u32 su(Zin32s v) { return static_cast<u32>(v); }

// Order-10 all-pole recursion, two outputs per step, in 32-bit wrapping sums:
//   acc = a[0]*x[n] + 2^(s-1) - sum for k = 1..10 of a[k]*y[n-k]
//   y[n] = acc >> s, saturated (kSat) or cut to its low 16 bits.
// The fed-back y is the stored one. The terms of the four newest outputs run
// in scalar registers; those of y[n-5] .. y[n-10] come from one pmaddwd per
// output on a vector of the eight outputs y[n-12] .. y[n-5], which is ready a
// step ahead and so stays off the recursion's critical path.
// `x` may be `y` (in place) or null (zero input); `hist` is y[-10] .. y[-1].
// Returns whether a sample was clipped.
template <bool kSat>
bool synth10(const Zin16s* a, const Zin16s* x, Zin16s* y, int len, int s, const Zin16s* hist) {
    alignas(16) Zin16s h[8] = {0, 0, hist[0], hist[1], hist[2], hist[3], hist[4], hist[5]};
    __m128i v = _mm_load_si128(reinterpret_cast<const __m128i*>(h));
    const __m128i c0 = _mm_setr_epi16(0, 0, a[10], a[9], a[8], a[7], a[6], a[5]);
    const __m128i c1 = _mm_setr_epi16(0, 0, 0, a[10], a[9], a[8], a[7], a[6]);
    const u32 a0 = su(a[0]), a1 = su(a[1]), a2 = su(a[2]), a3 = su(a[3]), a4 = su(a[4]), a5 = su(a[5]);
    const u32 rnd = u32{1} << (s - 1);
    u32 y1 = su(hist[9]), y2 = su(hist[8]), y3 = su(hist[7]), y4 = su(hist[6]);
    bool clipped = false;
    auto finish = [&](u32 acc) -> Zin32s {
        Zin32s t = static_cast<Zin32s>(acc) >> s;
        if constexpr (kSat) {
            if (t > fx::kMax16) {
                t = fx::kMax16;
                clipped = true;
            } else if (t < fx::kMin16) {
                t = fx::kMin16;
                clipped = true;
            }
            return t;
        } else {
            return fx::wrap16(t);
        }
    };
    int n = 0;
    for (; n + 2 <= len; n += 2) {
        __m128i t = _mm_hadd_epi32(_mm_madd_epi16(v, c0), _mm_madd_epi16(v, c1));
        t = _mm_hadd_epi32(t, t);
        const u32 p0 = su(_mm_cvtsi128_si32(t)), p1 = su(_mm_extract_epi32(t, 1));
        const u32 x0 = x ? su(x[n]) : 0, x1 = x ? su(x[n + 1]) : 0;
        // Outputs y[n-10] .. y[n-3] for the next step.
        v = _mm_or_si128(_mm_srli_si128(v, 4), _mm_slli_si128(_mm_cvtsi32_si128(static_cast<int>((y4 & 0xFFFF) | (y3 << 16))), 12));
        // Everything but the newest output's term first: only that term is on
        // the recursion's critical path.
        const u32 b0 = a0 * x0 + rnd - p0 - a2 * y2 - a3 * y3 - a4 * y4;
        const u32 b1 = a0 * x1 + rnd - p1 - a3 * y2 - a4 * y3 - a5 * y4;
        const Zin32s o0 = finish(b0 - a1 * y1);
        const u32 u0 = su(o0);
        const Zin32s o1 = finish(b1 - a2 * y1 - a1 * u0);
        y[n] = static_cast<Zin16s>(o0);
        y[n + 1] = static_cast<Zin16s>(o1);
        y4 = y2;
        y3 = y1;
        y2 = u0;
        y1 = su(o1);
    }
    if (n < len) {
        __m128i t = _mm_madd_epi16(v, c0);
        const u32 p0 = su(corr::hsum32(t));
        const u32 x0 = x ? su(x[n]) : 0;
        y[n] = static_cast<Zin16s>(finish(a0 * x0 + rnd - p0 - a1 * y1 - a2 * y2 - a3 * y3 - a4 * y4));
    }
    return clipped;
}

constexpr Zin16s kZeroHistory[10] = {};

inline bool bad_synth_scale(int s) { return s < 12 || s > 13; }

ZinStatus synthesis(const Zin16s* a, const Zin16s* src, Zin16s* dst, int len, int s, const Zin16s* mem) {
    if (mem) return synth10<true>(a, src, dst, len, s, mem) ? zinStsOverflow : zinStsNoErr;
    synth10<false>(a, src, dst, len, s, kZeroHistory);
    return zinStsNoErr;
}

// Low 16 bits of ((x * v) >> 15) in each lane: the high word shifted up one,
// with the top bit of the low word below it.
inline __m128i mul_q15_trunc(__m128i x, __m128i v) {
    return _mm_or_si128(_mm_slli_epi16(_mm_mulhi_epi16(x, v), 1), _mm_srli_epi16(_mm_mullo_epi16(x, v), 15));
}

}  // namespace

ZinStatus body::zinsSynthesisFilter_NR_16s_Sfs(const Zin16s* pLPC, const Zin16s* pSrc, Zin16s* pDst, int len,
                                               int scaleFactor, const Zin16s* pMem) {
    if (!pLPC || !pSrc || !pDst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    if (bad_synth_scale(scaleFactor)) return zinStsScaleRangeErr;
    return synthesis(pLPC, pSrc, pDst, len, scaleFactor, pMem);
}

ZinStatus body::zinsSynthesisFilter_NR_16s_ISfs(const Zin16s* pLPC, Zin16s* pSrcDst, int len, int scaleFactor,
                                                const Zin16s* pMem) {
    if (!pLPC || !pSrcDst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    if (bad_synth_scale(scaleFactor)) return zinStsScaleRangeErr;
    return synthesis(pLPC, pSrcDst, pSrcDst, len, scaleFactor, pMem);
}

ZinStatus body::zinsSynthesisFilterLow_NR_16s_ISfs(const Zin16s* pLPC, Zin16s* pSrcDst, int len, int scaleFactor,
                                                   const Zin16s* pMem) {
    if (!pLPC || !pSrcDst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    if (bad_synth_scale(scaleFactor)) return zinStsScaleRangeErr;
    synth10<false>(pLPC, pSrcDst, pSrcDst, len, scaleFactor, pMem ? pMem : kZeroHistory);
    return zinStsNoErr;
}

ZinStatus body::zinsSynthesisFilterZeroStateResponse_NR_16s(const Zin16s* pLPC, Zin16s* pDst, int len,
                                                             int scaleFactor) {
    if (!pLPC || !pDst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    if (bad_synth_scale(scaleFactor)) return zinStsScaleRangeErr;
    // The unit impulse gives a[0]; the rest is the free response to it.
    pDst[0] = pLPC[0];
    if (len > 1) {
        const Zin16s hist[10] = {0, 0, 0, 0, 0, 0, 0, 0, 0, pLPC[0]};
        synth10<false>(pLPC, nullptr, pDst + 1, len - 1, scaleFactor, hist);
    }
    return zinStsNoErr;
}

ZinStatus body::zinsResidualFilter_Low_16s_Sfs(const Zin16s* pSrc, int order, const Zin16s* pCoeffs, Zin16s* pDst,
                                               int len, int scaleFactor) {
    if (!pSrc || !pCoeffs || !pDst) return zinStsNullPtrErr;
    if (len < 1 || order < 1 || order > len) return zinStsSizeErr;
    if (scaleFactor < 0 || scaleFactor > 15) return zinStsScaleRangeErr;
    const int s = scaleFactor;
    const Zin32s rnd = s ? Zin32s{1} << (s - 1) : 0;
    const __m128i vr = _mm_set1_epi32(rnd);
    const __m128i cnt = _mm_cvtsi32_si128(s);
    int n = 0;
    for (; n + 8 <= len; n += 8) {
        __m128i lo, hi;
        corr::fir8_wrap(pSrc + n, pCoeffs, order + 1, lo, hi);
        lo = _mm_sra_epi32(_mm_add_epi32(lo, vr), cnt);
        hi = _mm_sra_epi32(_mm_add_epi32(hi, vr), cnt);
        corr::store(pDst + n, _mm_packs_epi32(lo, hi));
    }
    for (; n < len; ++n) {
        u32 acc = su(rnd);
        for (int k = 0; k <= order; ++k) acc += corr::prod_u32(pCoeffs[k], pSrc[n - k]);
        pDst[n] = fx::sat16(static_cast<Zin32s>(acc) >> s);
    }
    return zinStsNoErr;
}

ZinStatus body::zinsHarmonicFilter_16s_I(Zin16s val, int lag, Zin16s* pSrcDst, int len) {
    if (!pSrcDst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    Zin16s* x = pSrcDst;
    int n = 0;
    // A block of eight may run when none of its reads is written inside it:
    // lags of 8 and more read finished samples, lags of 0 and below read
    // samples not yet reached.
    if (lag >= 8 || lag <= 0) {
        const __m128i v = _mm_set1_epi16(val);
        for (; n + 8 <= len; n += 8)
            corr::store(x + n, _mm_add_epi16(corr::load(x + n), mul_q15_trunc(corr::load(x + n - lag), v)));
    }
    for (; n < len; ++n) x[n] = fx::wrap16(x[n] + fx::wrap16((Zin32s{x[n - lag]} * val) >> 15));
    return zinStsNoErr;
}

ZinStatus body::zinsHarmonicFilter_NR_16s(Zin16s val, int lag, const Zin16s* pSrc, Zin16s* pDst, int len) {
    if (!pSrc || !pDst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    // -32768 acts as -32767, so that no product reaches 2^30.
    const Zin16s g = fx::neg16(fx::neg16(val));
    // src[n]*32768 is a multiple of 2^15, so the sum is src[n] plus the
    // rounded Q15 product, which is what pmulhrsw gives.
    const __m128i v = _mm_set1_epi16(g);
    int n = 0;
    for (; n + 8 <= len; n += 8)
        corr::store(pDst + n, _mm_adds_epi16(corr::load(pSrc + n), _mm_mulhrs_epi16(corr::load(pSrc + n - lag), v)));
    for (; n < len; ++n) pDst[n] = fx::sat16((Zin32s{pSrc[n]} * 32768 + Zin32s{pSrc[n - lag]} * g + 16384) >> 15);
    return zinStsNoErr;
}

ZinStatus body::zinsHarmonicFilter_32f_I(Zin32f val, int lag, Zin32f* pSrcDst, int len) {
    if (!pSrcDst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    float* x = pSrcDst;
    int n = 0;
    if (lag >= 8 || lag <= 0) {
        const __m256 v = _mm256_set1_ps(val);
        for (; n + 8 <= len; n += 8)
            _mm256_storeu_ps(x + n, _mm256_add_ps(_mm256_loadu_ps(x + n), _mm256_mul_ps(_mm256_loadu_ps(x + n - lag), v)));
    }
    for (; n < len; ++n) x[n] = x[n] + x[n - lag] * val;
    return zinStsNoErr;
}

ZinStatus body::zinsPreemphasize_32f_I(Zin32f val, Zin32f* pSrcDst, int len, Zin32f* pMem) {
    if (!pSrcDst || !pMem) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    float* x = pSrcDst;
    const float last = x[len - 1];
    // From the end backwards, so that every x[n-1] read is still an input.
    const __m256 v = _mm256_set1_ps(val);
    int n = len - 1;
    for (; n - 7 >= 1; n -= 8) {
        const int m = n - 7;
        _mm256_storeu_ps(x + m, _mm256_sub_ps(_mm256_loadu_ps(x + m), _mm256_mul_ps(v, _mm256_loadu_ps(x + m - 1))));
    }
    for (; n >= 1; --n) x[n] = x[n] - val * x[n - 1];
    x[0] = x[0] - val * *pMem;
    *pMem = last;
    return zinStsNoErr;
}

}  // namespace zin
