// Lag searches: the lag of the largest correlation over a range of lags.
//
// The scan order, the start value and the comparison decide ties, and each
// export keeps its own: the cross-correlation scans down from lagMax with a
// strict comparison (ties to the largest lag), the forward autocorrelation
// scans up (ties to the smallest), the inverse one scans down with "greater
// or equal" (ties to the smallest again). Four lags share each pass.
#include <immintrin.h>

#include <cfloat>

#include "../frame/registry.h"
#include "corr_kernels.h"
#include "fixed_point.h"
#include "kernels.h"

namespace zin {
namespace {

// Doubling of the forward search: saturating at both ends.
inline Zin32s double_sat(Zin32s s) {
    if (s < -0x40000000) return fx::kMin32;
    if (s >= 0x40000000) return fx::kMax32;
    return 2 * s;
}
// Doubling of the inverse search: a plain left shift, wrapping.
inline Zin32s double_wrap(Zin32s s) { return static_cast<Zin32s>(static_cast<std::uint32_t>(s) << 1); }

// Sum over i < len of a[i] * b[i] in single precision, eight lanes.
inline float dot_32f(const float* a, const float* b, int len) {
    __m256 acc = _mm256_setzero_ps();
    int i = 0;
    for (; i + 8 <= len; i += 8) acc = _mm256_add_ps(acc, _mm256_mul_ps(_mm256_loadu_ps(a + i), _mm256_loadu_ps(b + i)));
    __m128 s = _mm_add_ps(_mm256_castps256_ps128(acc), _mm256_extractf128_ps(acc, 1));
    s = _mm_add_ps(s, _mm_movehl_ps(s, s));
    s = _mm_add_ss(s, _mm_movehdup_ps(s));
    float r = _mm_cvtss_f32(s);
    for (; i < len; ++i) r += a[i] * b[i];
    return r;
}

// The same in double precision, from single samples (each product exact).
inline double dot_32f64f(const float* a, const float* b, int len) {
    __m256d acc = _mm256_setzero_pd();
    int i = 0;
    for (; i + 4 <= len; i += 4)
        acc = _mm256_add_pd(acc, _mm256_mul_pd(_mm256_cvtps_pd(_mm_loadu_ps(a + i)), _mm256_cvtps_pd(_mm_loadu_ps(b + i))));
    __m128d s = _mm_add_pd(_mm256_castpd256_pd128(acc), _mm256_extractf128_pd(acc, 1));
    s = _mm_add_sd(s, _mm_unpackhi_pd(s, s));
    double r = _mm_cvtsd_f64(s);
    for (; i < len; ++i) r += double{a[i]} * b[i];
    return r;
}

}  // namespace

ZinStatus body::zinsCrossCorrLagMax_16s(const Zin16s* pSrc1, const Zin16s* pSrc2, int len, int lagMax, Zin32s* pMax,
                                        int* pLag) {
    if (!pSrc1 || !pSrc2 || !pMax || !pLag) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    if (lagMax < 0) return zinStsRangeErr;
    *pMax = 0;
    *pLag = lagMax;
    Zin32s best = 0;
    int best_lag = lagMax;
    auto consider = [&](int lag, Zin32s c) {
        if (c > best) {
            best = c;
            best_lag = lag;
        }
    };
    int lag = lagMax;
    // Lags lag-3 .. lag in one pass; taken from the highest down.
    if (len == 40) {
        // Frames of 40 keep the 32-bit wrapping sum.
        for (; lag >= 3; lag -= 4) {
            Zin32s c[4];
            corr::dot4_wrap(pSrc1, pSrc2 + lag - 3, len, c);
            for (int j = 3; j >= 0; --j) consider(lag - 3 + j, c[j]);
        }
        for (; lag >= 0; --lag) consider(lag, corr::dot1_wrap(pSrc1, pSrc2 + lag, len));
    } else {
        // Every other length saturates the exact sum, as DotProd_16s32s_Sfs at scale 0.
        for (; lag >= 3; lag -= 4) {
            Zin64s c[4];
            corr::dot4_exact(pSrc1, pSrc2 + lag - 3, len, c);
            for (int j = 3; j >= 0; --j) consider(lag - 3 + j, fx::sat32(c[j]));
        }
        for (; lag >= 0; --lag) consider(lag, fx::sat32(DotProd_16s64s(pSrc1, pSrc2 + lag, len)));
    }
    *pMax = best;
    *pLag = best_lag;
    return zinStsNoErr;
}

ZinStatus body::zinsCrossCorrLagMax_32f64f(const Zin32f* pSrc1, const Zin32f* pSrc2, int len, int lagMax, Zin64f* pMax,
                                           int* pLag) {
    if (!pSrc1 || !pSrc2 || !pMax || !pLag) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    if (lagMax < 0) return zinStsRangeErr;
    // The first maximum of the correlations taken in the order lagMax down to
    // 0: a tie goes to the largest lag. No floor at 0 here.
    double best = dot_32f64f(pSrc1, pSrc2 + lagMax, len);
    int best_lag = lagMax;
    for (int lag = lagMax - 1; lag >= 0; --lag) {
        const double c = dot_32f64f(pSrc1, pSrc2 + lag, len);
        if (c > best) {
            best = c;
            best_lag = lag;
        }
    }
    *pMax = best;
    *pLag = best_lag;
    return zinStsNoErr;
}

ZinStatus body::zinsAutoCorrLagMax_Fwd_16s(const Zin16s* pSrc, int len, int lowLag, int highLag, Zin32s* pMax,
                                           int* pLag) {
    if (!pSrc || !pMax || !pLag) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    Zin32s best = fx::kMin32;
    int best_lag = 0;
    int lag = lowLag;
    for (; lag + 3 <= highLag; lag += 4) {
        Zin32s c[4];
        corr::dot4_wrap(pSrc, pSrc + lag, len, c);
        for (int j = 0; j < 4; ++j) {
            const Zin32s d = double_sat(c[j]);
            if (d > best) {
                best = d;
                best_lag = lag + j;
            }
        }
    }
    for (; lag <= highLag; ++lag) {
        const Zin32s d = double_sat(corr::dot1_wrap(pSrc, pSrc + lag, len));
        if (d > best) {
            best = d;
            best_lag = lag;
        }
    }
    *pMax = best;
    *pLag = best_lag;
    return zinStsNoErr;
}

ZinStatus body::zinsAutoCorrLagMax_Inv_16s(const Zin16s* pSrc, int len, int lowLag, int highLag, Zin32s* pMax,
                                           int* pLag) {
    if (!pSrc || !pMax || !pLag) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    Zin32s best = fx::kMin32;
    int best_lag = 0;
    int lag = highLag;
    // Lags lag, lag-1, lag-2, lag-3: src[i - (lag - j)] = (src - lag)[i + j].
    for (; lag - 3 >= lowLag; lag -= 4) {
        Zin32s c[4];
        corr::dot4_wrap(pSrc, pSrc - lag, len, c);
        for (int j = 0; j < 4; ++j) {
            const Zin32s d = double_wrap(c[j]);
            if (d >= best) {
                best = d;
                best_lag = lag - j;
            }
        }
    }
    for (; lag >= lowLag; --lag) {
        const Zin32s d = double_wrap(corr::dot1_wrap(pSrc, pSrc - lag, len));
        if (d >= best) {
            best = d;
            best_lag = lag;
        }
    }
    *pMax = best;
    *pLag = best_lag;
    return zinStsNoErr;
}

ZinStatus body::zinsAutoCorrLagMax_32f(const Zin32f* pSrc, int len, int lowLag, int highLag, Zin32f* pMax, int* pLag) {
    if (!pSrc || !pMax || !pLag) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    float best = -FLT_MAX;
    int best_lag = 0;
    for (int lag = lowLag; lag <= highLag; ++lag) {
        const float c = dot_32f(pSrc, pSrc + lag, len);
        if (c > best) {
            best = c;
            best_lag = lag;
        }
    }
    *pMax = best;
    *pLag = best_lag;
    return zinStsNoErr;
}

}  // namespace zin
