// Adaptive filters of the echo canceller. In the sub-band path each sub-band
// has a short complex FIR over the history of far-end sub-band vectors
// (ppFilterInput[t] is the vector of t blocks ago), adapted by a normalised
// LMS or an affine-projection step per sub-band. In the full-band path a
// time-domain FIR and a fused NLMS filter. All are stateless: the history,
// the coefficients and the pending update are the caller's.
#include <immintrin.h>

#include <cfloat>
#include <cstdint>

#include "../frame/registry.h"
#include "../kernels/fixed_point.h"

namespace zin {
namespace {

using i64 = std::int64_t;
using u64 = std::uint64_t;
using i128 = __int128;

constexpr int kMaxSubbands = 4097;
constexpr int kMaxSegments = 255;

bool bad_subbands(int n) { return n < 1 || n > kMaxSubbands; }
bool bad_segments(int n) { return n < 1 || n > kMaxSegments; }

i64 sat64(i128 v) {
    return v > INT64_MAX ? INT64_MAX : v < INT64_MIN ? INT64_MIN : static_cast<i64>(v);
}

// ---- sub-band FIR, float -----------------------------------------------------

// Each part of each product in double (exact products, one rounding of
// their sum or difference), rounded once to single and added to a single
// accumulator, taps ascending. Four sub-bands (eight parts) per pass.
void fir_32fc(const Zin32fc* const* x, const Zin32fc* const* h, Zin32fc* dst, int taps, int bands) {
    int k = 0;
    for (; k + 4 <= bands; k += 4) {
        __m256 acc0 = _mm256_setzero_ps();
        for (int t = 0; t < taps; ++t) {
            // [re0 im0 re1 im1 re2 im2 re3 im3]
            const __m256 a = _mm256_loadu_ps(reinterpret_cast<const float*>(x[t] + k));
            const __m256 b = _mm256_loadu_ps(reinterpret_cast<const float*>(h[t] + k));
            const __m256 aSwap = _mm256_permute_ps(a, 0xB1);  // [im0 re0 ...]
            const __m256 bRe = _mm256_moveldup_ps(b);          // [bre0 bre0 ...]
            const __m256 bIm = _mm256_movehdup_ps(b);          // [bim0 bim0 ...]
            // lo half: sub-bands k, k+1
            const __m256d p1lo = _mm256_mul_pd(_mm256_cvtps_pd(_mm256_castps256_ps128(a)),
                                               _mm256_cvtps_pd(_mm256_castps256_ps128(bRe)));
            const __m256d p2lo = _mm256_mul_pd(_mm256_cvtps_pd(_mm256_castps256_ps128(aSwap)),
                                               _mm256_cvtps_pd(_mm256_castps256_ps128(bIm)));
            const __m256d p1hi = _mm256_mul_pd(_mm256_cvtps_pd(_mm256_extractf128_ps(a, 1)),
                                               _mm256_cvtps_pd(_mm256_extractf128_ps(bRe, 1)));
            const __m256d p2hi = _mm256_mul_pd(_mm256_cvtps_pd(_mm256_extractf128_ps(aSwap, 1)),
                                               _mm256_cvtps_pd(_mm256_extractf128_ps(bIm, 1)));
            // re = a.re*b.re - a.im*b.im; im = a.im*b.re + a.re*b.im
            const __m256d slo = _mm256_addsub_pd(p1lo, p2lo);
            const __m256d shi = _mm256_addsub_pd(p1hi, p2hi);
            const __m256 s = _mm256_insertf128_ps(_mm256_castps128_ps256(_mm256_cvtpd_ps(slo)), _mm256_cvtpd_ps(shi), 1);
            acc0 = _mm256_add_ps(acc0, s);
        }
        _mm256_storeu_ps(reinterpret_cast<float*>(dst + k), acc0);
    }
    for (; k < bands; ++k) {
        float re = 0.0f, im = 0.0f;
        for (int t = 0; t < taps; ++t) {
            const double ar = x[t][k].re, ai = x[t][k].im, br = h[t][k].re, bi = h[t][k].im;
            re += static_cast<float>(ar * br - ai * bi);
            im += static_cast<float>(ai * br + ar * bi);
        }
        dst[k].re = re;
        dst[k].im = im;
    }
}

// ---- sub-band FIR, fixed point -------------------------------------------------

// One tap's product in 64 bits; the imaginary sum of two products of
// -2^31 by -2^31 is the only one that leaves 64 bits, and saturates.
inline void product64(const Zin32sc& a, const Zin32sc& b, i64& re, i64& im) {
    re = i64{a.re} * b.re - i64{a.im} * b.im;
    const i128 s = i128{i64{a.re} * b.im} + i64{a.im} * b.re;
    im = sat64(s);
}

// Scaling of a 64-bit sum: right shifts truncate toward zero, left shifts
// saturate at 2^(63+s), then the clamp to 32 bits.
Zin32s scale_sum(i64 v, int s) {
    if (s > 0) {
        const i64 mask = (i64{1} << s) - 1;
        if (v < 0 && (v & mask)) v += i64{1} << s;
        return fx::sat32(v >> s);
    }
    if (s < 0) {
        const int ls = -s;
        const i64 limit = i64{1} << (63 - ls);
        if (v >= limit) return fx::kMax32;
        if (v <= -limit) return fx::kMin32;
        return fx::sat32(v * (i64{1} << ls));
    }
    return fx::sat32(v);
}

// One sub-band in exact saturating arithmetic.
void fir_32sc_band(const Zin32sc* const* x, const Zin32sc* const* h, int k, int taps, i64& re, i64& im) {
    re = 0, im = 0;
    for (int t = 0; t < taps; ++t) {
        i64 pr, pi;
        product64(x[t][k], h[t][k], pr, pi);
        re = sat64(i128{re} + pr);
        im = sat64(i128{im} + pi);
    }
}

// Plain 64-bit sums, with the saturating form only for a sub-band in which
// some sum leaves 64 bits.
void fir_32sc(const Zin32sc* const* x, const Zin32sc* const* h, Zin32sc* dst, int taps, int bands, int sf) {
    for (int k = 0; k < bands; ++k) {
        i64 re = 0, im = 0;
        bool over = false;
        for (int t = 0; t < taps; ++t) {
            const Zin32sc a = x[t][k], b = h[t][k];
            i64 pi;
            over |= __builtin_add_overflow(i64{a.re} * b.im, i64{a.im} * b.re, &pi);
            over |= __builtin_add_overflow(re, i64{a.re} * b.re - i64{a.im} * b.im, &re);
            over |= __builtin_add_overflow(im, pi, &im);
        }
        if (over) fir_32sc_band(x, h, k, taps, re, im);
        dst[k].re = scale_sum(re, sf);
        dst[k].im = scale_sum(im, sf);
    }
}

// The cheap form: wrapping 64-bit sums, floor shift, low 32 bits.
void fir_low_32sc(const Zin32sc* const* x, const Zin32sc* const* h, Zin32sc* dst, int taps, int start, int bands,
                  int sf) {
    for (int k = start; k < bands; ++k) {
        u64 re = 0, im = 0;
        for (int t = 0; t < taps; ++t) {
            const Zin32sc a = x[t][k], b = h[t][k];
            re += static_cast<u64>(i64{a.re} * b.re) - static_cast<u64>(i64{a.im} * b.im);
            im += static_cast<u64>(i64{a.re} * b.im) + static_cast<u64>(i64{a.im} * b.re);
        }
        dst[k].re = static_cast<Zin32s>(static_cast<i64>(re) >> sf);
        dst[k].im = static_cast<Zin32s>(static_cast<i64>(im) >> sf);
    }
}

// ---- coefficient updates ---------------------------------------------------------

inline float clamp_to_float(double d) {
    if (d > static_cast<double>(FLT_MAX)) return FLT_MAX;
    if (d < -static_cast<double>(FLT_MAX)) return -FLT_MAX;
    return static_cast<float>(d);
}

// The deltas of a tap for two sub-bands at a time in double: with
// S = (step*e.re, step*e.im) and X' = (-x.im, x.re), the horizontal sums of
// S*X and S*X' are the two parts, each a single rounding of the same two
// products as the plain statement. Clamped to the largest float (a NaN
// passes), converted, added in single precision.
void update_32fc(const Zin64f* step, const Zin32fc* const* x, const Zin32fc* e, Zin32fc* const* h, int taps,
                 int bands) {
    alignas(32) double se[2 * 4097];
    for (int k = 0; k < bands; ++k) {
        se[2 * k] = step[k] * e[k].re;
        se[2 * k + 1] = step[k] * e[k].im;
    }
    const __m256d hi = _mm256_set1_pd(static_cast<double>(FLT_MAX)), lo = _mm256_set1_pd(-static_cast<double>(FLT_MAX));
    const __m256d flip = _mm256_set_pd(0.0, -0.0, 0.0, -0.0);  // negates lanes 0 and 2
    for (int t = 0; t < taps; ++t) {
        const Zin32fc* xt = x[t];
        Zin32fc* ht = h[t];
        int k = 0;
        for (; k + 2 <= bands; k += 2) {
            const __m256d xv = _mm256_cvtps_pd(_mm_loadu_ps(reinterpret_cast<const float*>(xt + k)));
            const __m256d s = _mm256_load_pd(se + 2 * k);
            const __m256d xs = _mm256_xor_pd(_mm256_permute_pd(xv, 0x5), flip);  // (-x.im, x.re)
            __m256d d = _mm256_hadd_pd(_mm256_mul_pd(s, xv), _mm256_mul_pd(s, xs));
            d = _mm256_max_pd(lo, _mm256_min_pd(hi, d));
            float* hp = reinterpret_cast<float*>(ht + k);
            _mm_storeu_ps(hp, _mm_add_ps(_mm_loadu_ps(hp), _mm256_cvtpd_ps(d)));
        }
        for (; k < bands; ++k) {
            const double ser = se[2 * k], sei = se[2 * k + 1];
            const double xr = xt[k].re, xi = xt[k].im;
            ht[k].re += clamp_to_float(ser * xr + sei * xi);
            ht[k].im += clamp_to_float(sei * xr - ser * xi);
        }
    }
}

// se = (e * m + 2^30) >> 31 in 64 bits, kept in 32.
inline Zin32s scale_error(Zin32s e, Zin32s m) { return static_cast<Zin32s>((i64{e} * m + (i64{1} << 30)) >> 31); }

// Right shift by sh >= 0 with the rounding term 2^(sh-1) from sh = 2 on
// (none at 0 and 1). From sh = 64 on every product rounds to 0.
inline i64 shift_right_term(i64 p, i64 sh) {
    if (sh <= 1) return p >> sh;
    if (sh >= 64) return 0;
    i64 v;
    if (!__builtin_add_overflow(p, i64{1} << (sh - 1), &v)) return v >> sh;
    return static_cast<i64>((i128{p} + (i128{1} << (sh - 1))) >> sh);
}

// sat32(c + term) for any 64-bit term.
inline Zin32s add_term(Zin32s c, i64 term) {
    i64 v;
    if (__builtin_add_overflow(i64{c}, term, &v)) return term > 0 ? fx::kMax32 : fx::kMin32;
    return fx::sat32(v);
}

// Left shift by ls >= 1 with saturation to the fixed terms 4294967294 and
// -4294967296 outside the open interval the shift keeps. From ls = 63 on the
// interval is (-1, 0) and holds no integer.
inline i64 shift_left_term(i64 p, i64 ls) {
    if (ls > 63) ls = 63;
    const i64 hi = INT64_MAX >> ls, lo = (-INT64_MAX) >> ls;
    if (p > lo && p < hi) return static_cast<i64>(static_cast<u64>(p) << ls);
    return p >= hi ? 4294967294LL : -4294967296LL;
}

void update_32sc(const Zin32sc* step, const Zin32sc* const* x, const Zin32sc* e, Zin32sc* const* h, int taps,
                 int bands, int sf) {
    for (int k = 0; k < bands; ++k) {
        const Zin32s m = step[k].re;
        const i64 sh = i64{step[k].im} - sf - 31;
        const Zin32s ser = scale_error(e[k].re, m), sei = scale_error(e[k].im, m);
        for (int t = 0; t < taps; ++t) {
            const Zin32sc xv = x[t][k];
            const i64 nx = xv.im == fx::kMin32 ? i64{fx::kMax32} : -i64{xv.im};
            const i64 pr = i64{ser} * xv.re - i64{sei} * nx;
            const i64 pi = i64{sei} * xv.re + i64{ser} * nx;
            i64 tr, ti;
            if (sh >= 0) {
                tr = shift_right_term(pr, sh);
                ti = shift_right_term(pi, sh);
            } else {
                tr = shift_left_term(pr, -sh);
                ti = shift_left_term(pi, -sh);
            }
            Zin32sc& c = h[t][k];
            c.re = add_term(c.re, tr);
            c.im = add_term(c.im, ti);
        }
    }
}

void update_low_32sc(const Zin32sc* const* x, const Zin32sc* e, Zin32sc* const* h, int taps, Zin32sc* scaled,
                     const Zin32sc* step, int start, int bands, int sf) {
    for (int k = start; k < bands; ++k) {
        const Zin32s m = step[k].re;
        scaled[k].re = scale_error(e[k].re, m);
        scaled[k].im = scale_error(e[k].im, m);
    }
    for (int k = start; k < bands; ++k) {
        const i64 sh = i64{step[k].im} - sf - 31;
        const i64 ser = scaled[k].re, sei = scaled[k].im;
        for (int t = 0; t < taps; ++t) {
            const Zin32sc xv = x[t][k];
            const i64 nx = static_cast<Zin32s>(0u - static_cast<std::uint32_t>(xv.im));  // -2^31 stays -2^31
            const i64 pr = ser * xv.re - sei * nx;
            const i64 pi = sei * xv.re + ser * nx;
            Zin32sc& c = h[t][k];
            if (sh >= 0) {
                c.re = fx::wrap_add32(c.re, static_cast<Zin32s>(shift_right_term(pr, sh)));
                c.im = fx::wrap_add32(c.im, static_cast<Zin32s>(shift_right_term(pi, sh)));
            } else {
                c.re = add_term(c.re, shift_left_term(pr, -sh));
                c.im = add_term(c.im, shift_left_term(pi, -sh));
            }
        }
    }
}

// Affine projection: per tap, acc = sum over a of conj(x[t+a]) * e[a] * step[a]
// in double, then h += (float)(r * acc) with r = 1/apOrder in single.
void update_ap_32fc(const Zin64f* const* step, const Zin32fc* const* x, const Zin32fc* const* e, Zin32fc* const* h,
                    unsigned taps, unsigned bands, unsigned order) {
    const double r = static_cast<double>(1.0f / static_cast<float>(order));
    for (unsigned t = 0; t < taps; ++t) {
        Zin32fc* ht = h[t];
        for (unsigned k = 0; k < bands; ++k) {
            double ar = 0.0, ai = 0.0;
            for (unsigned a = 0; a < order; ++a) {
                const double xr = x[t + a][k].re, xi = x[t + a][k].im;
                const double er = e[a][k].re, ei = e[a][k].im;
                const double s = step[a][k];
                ar += (xr * er + xi * ei) * s;
                ai += (xr * ei - xi * er) * s;
            }
            ht[k].re += static_cast<float>(r * ar);
            ht[k].im += static_cast<float>(r * ai);
        }
    }
}

// ---- full-band filters ------------------------------------------------------------

void fir_32f(const Zin32f* ref, const Zin32f* d, Zin32f* err, int len, const Zin32f* c, int taps) {
    for (int n = 0; n < len; ++n) {
        float y = 0.0f;
        for (int j = 0; j < taps; ++j) y += ref[n - j] * c[j];
        err[n] = d[n] - y;
    }
}

void fir_16s(const Zin16s* ref, const Zin16s* d, Zin16s* err, int len, const Zin16s* c, int taps) {
    for (int n = 0; n < len; ++n) {
        Zin32s y = 0;
        for (int j = 0; j < taps; ++j) y = fx::sat32(i64{y} + ((Zin32s{ref[n - j]} * c[j] + 16384) >> 15));
        err[n] = fx::sat16(i64{d[n]} - y);
    }
}

void nlms_32f(const Zin32f* ref, const Zin32f* d, const Zin32f* step, Zin32f* err, int len, Zin32f* c, int taps,
              Zin32f* gain) {
    float g = *gain;
    for (int n = 0; n < len; ++n) {
        float y = 0.0f;
        for (int j = 0; j < taps; ++j) {
            c[j] += g * ref[n - j - 1];
            y += c[j] * ref[n - j];
        }
        const float e = d[n] - y;
        err[n] = e;
        g = e * step[n];
    }
    *gain = g;
}

void nlms_16s(const Zin16s* ref, const Zin16s* d, const Zin32s* step, Zin16s* err, int len, Zin16s* c, int taps,
              Zin16s* gain) {
    Zin32s g = *gain;
    for (int n = 0; n < len; ++n) {
        Zin32s y = 0;
        for (int j = 0; j < taps; ++j) {
            const Zin32s u = fx::wrap_add32(fx::wrap_mul32(ref[n - j - 1], g), 4096) >> 13;
            const Zin16s cj = fx::sat16(i64{c[j]} + u);
            c[j] = cj;
            y = fx::sat32(i64{y} + ((Zin32s{cj} * ref[n - j] + 16384) >> 15));
        }
        const Zin16s e = fx::sat16(i64{d[n]} - y);
        err[n] = e;
        g = fx::wrap_add32(fx::wrap_mul32(e, step[n]), 1024) >> 11;
    }
    *gain = fx::sat16(g);
}

}  // namespace

namespace body {

ZinStatus zinsFIRSubband_EC_32fc(const Zin32fc* const* ppFilterInput, const Zin32fc* const* ppCoefs, Zin32fc* pDst,
                                 int numSegments, int numSubbands) {
    if (!ppFilterInput || !ppCoefs || !pDst) return zinStsNullPtrErr;
    if (bad_subbands(numSubbands)) return zinStsFilterLenErr;
    if (bad_segments(numSegments)) return zinStsRangeErr;
    fir_32fc(ppFilterInput, ppCoefs, pDst, numSegments, numSubbands);
    return zinStsNoErr;
}

ZinStatus zinsFIRSubband_EC_32sc_Sfs(const Zin32sc* const* ppFilterInput, const Zin32sc* const* ppCoefs, Zin32sc* pDst,
                                     int numSegments, int numSubbands, int scaleFactor) {
    if (!ppFilterInput || !ppCoefs || !pDst) return zinStsNullPtrErr;
    if (bad_subbands(numSubbands)) return zinStsFilterLenErr;
    if (bad_segments(numSegments) || scaleFactor < -31 || scaleFactor > 31) return zinStsRangeErr;
    fir_32sc(ppFilterInput, ppCoefs, pDst, numSegments, numSubbands, scaleFactor);
    return zinStsNoErr;
}

ZinStatus zinsFIRSubbandLow_EC_32sc_Sfs(const Zin32sc* const* ppFilterInput, const Zin32sc* const* ppCoefs,
                                        int numSegments, Zin32sc* pDst, int startSubband, int numSubbands,
                                        int scaleFactor) {
    if (!ppFilterInput || !ppCoefs || !pDst) return zinStsNullPtrErr;
    if (bad_segments(numSegments) || startSubband < 0 || startSubband > numSubbands) return zinStsRangeErr;
    if (bad_subbands(numSubbands)) return zinStsFilterLenErr;
    if (scaleFactor < 0 || scaleFactor > 31) return zinStsRangeErr;
    fir_low_32sc(ppFilterInput, ppCoefs, pDst, numSegments, startSubband, numSubbands, scaleFactor);
    return zinStsNoErr;
}

ZinStatus zinsFIRSubbandCoeffUpdate_EC_32fc_I(const Zin64f* pStepSize, const Zin32fc* const* ppFilterInput,
                                              const Zin32fc* pError, Zin32fc* const* ppCoefs, int numSegments,
                                              int numSubbands) {
    if (!pStepSize || !ppFilterInput || !pError || !ppCoefs) return zinStsNullPtrErr;
    if (bad_subbands(numSubbands)) return zinStsFilterLenErr;
    if (bad_segments(numSegments)) return zinStsRangeErr;
    for (int k = 0; k < numSubbands; ++k)
        if (pStepSize[k] < 0.0) return zinStsBadArgErr;
    update_32fc(pStepSize, ppFilterInput, pError, ppCoefs, numSegments, numSubbands);
    return zinStsNoErr;
}

ZinStatus zinsFIRSubbandCoeffUpdate_EC_32sc_I(const Zin32sc* pStepSize, const Zin32sc* const* ppFilterInput,
                                              const Zin32sc* pError, Zin32sc* const* ppCoefs, int numSegments,
                                              int numSubbands, int scaleFactor) {
    if (!pStepSize || !ppFilterInput || !pError || !ppCoefs) return zinStsNullPtrErr;
    if (bad_subbands(numSubbands)) return zinStsFilterLenErr;
    if (bad_segments(numSegments) || scaleFactor < 0 || scaleFactor > 31) return zinStsRangeErr;
    for (int k = 0; k < numSubbands; ++k)
        if (pStepSize[k].re < 0) return zinStsBadArgErr;
    update_32sc(pStepSize, ppFilterInput, pError, ppCoefs, numSegments, numSubbands, scaleFactor);
    return zinStsNoErr;
}

ZinStatus zinsFIRSubbandLowCoeffUpdate_EC_32sc_I(const Zin32sc* const* ppFilterInput, const Zin32sc* pError,
                                                 Zin32sc* const* ppCoefs, int numSegments, Zin32sc* pScaledError,
                                                 const Zin32sc* pStepSize, int startSubband, int numSubbands,
                                                 int scaleFactor) {
    if (!pStepSize || !ppFilterInput || !pError || !ppCoefs || !pScaledError) return zinStsNullPtrErr;
    if (bad_segments(numSegments) || startSubband < 0 || startSubband > numSubbands) return zinStsRangeErr;
    if (bad_subbands(numSubbands)) return zinStsFilterLenErr;
    if (scaleFactor < 0 || scaleFactor > 31) return zinStsRangeErr;
    update_low_32sc(ppFilterInput, pError, ppCoefs, numSegments, pScaledError, pStepSize, startSubband, numSubbands,
                    scaleFactor);
    return zinStsNoErr;
}

ZinStatus zinsFIRSubbandAPCoeffUpdate_EC_32fc_I(const Zin64f* const* ppStepSize, const Zin32fc* const* ppFilterInput,
                                                const Zin32fc* const* ppError, Zin32fc* const* ppCoefs,
                                                int numSegments, int numSubbands, int apOrder) {
    if (!ppStepSize || !ppFilterInput || !ppError || !ppCoefs) return zinStsNullPtrErr;
    // The counts are taken unsigned: a negative one is a huge one.
    const unsigned bands = static_cast<unsigned>(numSubbands), taps = static_cast<unsigned>(numSegments),
                   order = static_cast<unsigned>(apOrder);
    if (bands == 0 || bands > kMaxSubbands) return zinStsFilterLenErr;
    if (taps == 0 || taps > kMaxSegments || order == 0) return zinStsRangeErr;
    update_ap_32fc(ppStepSize, ppFilterInput, ppError, ppCoefs, taps, bands, order);
    return zinStsNoErr;
}

ZinStatus zinsFIR_EC_32f(const Zin32f* pRef, const Zin32f* pDesired, Zin32f* pError, int len, const Zin32f* pCoefs,
                         int tapLen) {
    if (!pRef || !pDesired || !pError || !pCoefs) return zinStsNullPtrErr;
    if (len < 1 || tapLen < 1) return zinStsBadArgErr;
    fir_32f(pRef, pDesired, pError, len, pCoefs, tapLen);
    return zinStsNoErr;
}

ZinStatus zinsFIR_EC_16s(const Zin16s* pRef, const Zin16s* pDesired, Zin16s* pError, int len, const Zin16s* pCoefs,
                         int tapLen) {
    if (!pRef || !pDesired || !pError || !pCoefs) return zinStsNullPtrErr;
    if (len < 1 || tapLen < 1) return zinStsBadArgErr;
    fir_16s(pRef, pDesired, pError, len, pCoefs, tapLen);
    return zinStsNoErr;
}

ZinStatus zinsNLMS_EC_32f(const Zin32f* pRef, const Zin32f* pDesired, const Zin32f* pStep, Zin32f* pError, int len,
                          Zin32f* pCoefs, int tapLen, Zin32f* pGain) {
    if (!pRef || !pDesired || !pStep || !pError || !pCoefs || !pGain) return zinStsNullPtrErr;
    if (len < 1 || tapLen < 1) return zinStsBadArgErr;
    nlms_32f(pRef, pDesired, pStep, pError, len, pCoefs, tapLen, pGain);
    return zinStsNoErr;
}

ZinStatus zinsNLMS_EC_16s(const Zin16s* pRef, const Zin16s* pDesired, const Zin32s* pStep, Zin16s* pError, int len,
                          Zin16s* pCoefs, int tapLen, Zin16s* pGain) {
    if (!pRef || !pDesired || !pStep || !pError || !pCoefs || !pGain) return zinStsNullPtrErr;
    if (len < 1 || tapLen < 1) return zinStsBadArgErr;
    nlms_16s(pRef, pDesired, pStep, pError, len, pCoefs, tapLen, pGain);
    return zinStsNoErr;
}

}  // namespace body
}  // namespace zin
