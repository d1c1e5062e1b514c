// Sub-band controllers of the echo canceller. Update turns a running window
// of far-end sub-band power (numSegments blocks) into a normalised step per
// sub-band; the controller compares the adaptive filter with a fixed
// (shadow) one per sub-band, saves the adaptive set when it is clearly
// better and steady, restores it when it has gone wrong, and smooths a gain
// in 0..1 that says how far the filter is not yet trusted.
//
// Float signals carry 16-bit sample values; 16-bit-path powers are taken at
// a scale of 2^-10. Objects align themselves to 16 bytes from any address
// and hold pointers into themselves.
#include <cstdint>
#include <cstring>

#include "../frame/registry.h"
#include "../kernels/fixed_point.h"
#include "echo.h"

namespace zin {
namespace {

using i64 = std::int64_t;
using u64 = std::uint64_t;
using i128 = __int128;

constexpr int kHeader32f = 96;
constexpr int kHeader16s = 112;

template <typename T>
T* align16(void* p) {
    auto a = reinterpret_cast<std::uintptr_t>(p);
    return reinterpret_cast<T*>(a + ((0 - a) & 15u));
}

constexpr i64 roundup16(i64 n) { return (n + 15) & ~i64{15}; }

ZinStatus check_values(int numSubbands, int frameSize, int numSegments, int sampleFreq) {
    if (numSubbands < 1 || frameSize < 1 || numSegments < 1) return zinStsBadArgErr;
    if (sampleFreq != 8000 && sampleFreq != 16000) return zinStsRangeErr;
    return zinStsNoErr;
}

i64 size_32f(int numSubbands) { return 16 * i64{numSubbands} + 112; }
i64 size_16s(int numSubbands) { return 5 * roundup16(4 * i64{numSubbands}) + 128; }

// One-pole factor for time constant T: with r = -frameSize/(fs*T), 1 + r + r^2/2.
Zin32f alpha_32f(int frameSize, int fs, double T) {
    const double r = -static_cast<double>(frameSize) / (fs * T);
    return static_cast<Zin32f>(1.0 + r + r * r / 2.0);
}

// Q14: 16384 - (frameSize * 16384 * rate) / fs, 32-bit product, truncating.
Zin32s alpha_16s(int frameSize, int fs, int rate) {
    return 16384 - fx::wrap_mul32(frameSize, 16384 * rate) / fs;
}

inline Zin32f power(const Zin32fc& v) { return v.re * v.re + v.im * v.im; }

// (re^2 + im^2 + 512) >> 10 in 64 bits (unsigned: two full-scale squares
// reach 2^63).
inline i64 power_rounded(const Zin32sc& v) {
    const u64 s = static_cast<u64>(i64{v.re} * v.re) + static_cast<u64>(i64{v.im} * v.im) + 512u;
    return static_cast<i64>(s >> 10);
}

// trunc(min((re^2 + im^2) * 2^-10, 2^31 - 1)), the sum in double.
inline Zin32s power_truncated(const Zin32sc& v) {
    const double re = v.re, im = v.im;
    const double p = (re * re + im * im) * (1.0 / 1024.0);
    return p >= 2147483647.0 ? fx::kMax32 : static_cast<Zin32s>(p);
}

// sat32((new*(16384 - a) + old*a + 8192) >> 14)
inline Zin32s smooth_q14(i64 fresh, i64 old, Zin32s a) {
    const i128 v = (i128{fresh} * (16384 - a) + i128{old} * a + 8192) >> 14;
    return v > fx::kMax32 ? fx::kMax32 : v < fx::kMin32 ? fx::kMin32 : static_cast<Zin32s>(v);
}

// Shift left until bit 30 is set; 0 is taken as 1.
inline Zin32s normalise(Zin32s v, int& shifts) {
    if (v == 0) v = 1;
    shifts = 0;
    if (v < 0) return v;  // bit 31 set: no left shift brings bit 30 up alone
    while (!(v & 0x40000000)) {
        v <<= 1;
        ++shifts;
    }
    return v;
}

}  // namespace

// The reciprocal division of the 16-bit path, for c and r with bit 30 set,
// in 32-bit wrapping arithmetic with arithmetic shifts: one 32-by-16
// division and multiplications.
Zin32s Div32_EC(Zin32s c, Zin32s r) {
    using fx::wrap_add32;
    using fx::wrap_mul32;
    using fx::wrap_sub32;
    const Zin32s hi = r >> 16, lo = (r >> 1) & 32767;
    const Zin32s a = static_cast<Zin16s>(hi != 0 ? 536838144 / hi : 0);
    Zin32s n, base;
    if (c >= r) {
        n = wrap_sub32(c, r);
        base = 1073741824;
    } else {
        n = c;
        base = 0;
    }
    const Zin32s t = wrap_add32(wrap_mul32(2, wrap_sub32(wrap_sub32(0, wrap_mul32(hi, a)), wrap_mul32(lo, a) >> 15)),
                                2147483647);
    const Zin32s q = wrap_add32(wrap_mul32(t >> 16, a), wrap_mul32((t >> 1) & 32767, a) >> 15);
    const Zin32s qh = static_cast<Zin16s>(static_cast<std::uint16_t>(q >> 15));
    const Zin32s ql = q & 32767, nh = n >> 17, nl = (n >> 2) & 32767;
    const Zin32s sum = wrap_add32(wrap_add32(wrap_mul32(ql, nh) >> 15, wrap_mul32(nh, qh)), wrap_mul32(nl, qh) >> 15);
    return wrap_add32(base, wrap_mul32(8, sum));
}

namespace {

// ---- float path --------------------------------------------------------------

void update_32f(const Zin32fc* const* hist, const Zin32fc* sin, Zin64f* step, Zin32f mu,
                ZinSubbandControllerState_EC_32f* s) {
    const int bands = s->numSubbands;
    const Zin32fc* newest = hist[0];
    const Zin32fc* oldest = hist[s->numSegments - 1];
    Zin32f* hp = s->historyPower;
    for (int k = 0; k < bands; ++k) hp[k] += power(newest[k]);
    for (int k = 0; k < bands; ++k)
        step[k] = hp[k] > s->powerThreshold ? static_cast<Zin64f>(mu / hp[k]) : static_cast<Zin64f>(s->minStep);
    for (int k = 0; k < bands; ++k) {
        const Zin32f v = hp[k] - power(oldest[k]);
        hp[k] = v < 0.0f ? 0.0f : v;
    }
    Zin32f p = 0.0f;
    if (sin) {
        s->sinPowerValid = 1;
        for (int k = 0; k < bands; ++k) p += power(sin[k]);
    }
    s->sinPower = s->alphaErr * s->sinPower + (1.0f - s->alphaErr) * p;
}

void controller_32f(const Zin32fc* ae, const Zin32fc* fe, Zin32fc* const* adaptive, Zin32fc* const* fixed,
                    Zin32f* pGain, ZinSubbandControllerState_EC_32f* s) {
    const int bands = s->numSubbands, taps = s->numSegments;
    const Zin32f aErr = s->alphaErr, aCoef = s->alphaCoef;
    Zin32f savedSum = 0.0f, restoredSum = 0.0f, total = 0.0f;
    // The coefficient powers, tap by tap over all sub-bands: each sum still
    // runs over ascending taps.
    Zin32f coef[4097];
    for (int k = 0; k < bands; ++k) coef[k] = 0.0f;
    for (int t = 0; t < taps; ++t) {
        const Zin32fc* a = adaptive[t];
        for (int k = 0; k < bands; ++k) coef[k] += power(a[k]);
    }
    for (int k = 0; k < bands; ++k) {
        const Zin32f p = coef[k];
        const Zin32f diff = s->coefPower[k] - p;
        const Zin32f d = diff < 0.0f ? -diff : diff;
        s->coefPower[k] = aCoef * s->coefPower[k] + (1.0f - aCoef) * p;
        s->fixedErrPower[k] = (1.0f - aErr) * power(fe[k]) + aErr * s->fixedErrPower[k];
        s->adaptiveErrPower[k] = (1.0f - aErr) * power(ae[k]) + aErr * s->adaptiveErrPower[k];
        if (0.1f * s->coefPower[k] > d && 0.35f * s->fixedErrPower[k] > s->adaptiveErrPower[k]) {
            for (int t = 0; t < taps; ++t) fixed[t][k] = adaptive[t][k];
            s->fixedErrPower[k] = s->adaptiveErrPower[k];
            savedSum += s->fixedErrPower[k];
        } else if (s->adaptiveErrPower[k] > 1.5f * s->fixedErrPower[k]) {
            for (int t = 0; t < taps; ++t) adaptive[t][k] = fixed[t][k];
            s->adaptiveErrPower[k] = s->fixedErrPower[k];
            restoredSum += s->adaptiveErrPower[k];
        }
        total += s->fixedErrPower[k];
    }
    const Zin32f limit = 0.1f * total;
    const bool saved = savedSum > limit, restored = restoredSum > limit;
    const bool good = s->sinPowerValid ? saved && 0.2f * s->sinPower > total : saved;
    if (good)
        s->filterState *= s->alphaState;
    else if (restored)
        s->filterState = s->alphaState * s->filterState + (1.0f - s->alphaState);
    const Zin32f target = s->filterState > 0.5f ? 1.0f : 0.0f;
    s->gain = s->alphaGain * s->gain + (1.0f - s->alphaGain) * target;
    *pGain = s->gain;
}

// ---- 16-bit path -----------------------------------------------------------------

void update_16s(const Zin32sc* const* hist, const Zin32sc* sin, Zin32sc* step, ZinSubbandControllerState_EC_16s* s) {
    const int bands = s->numSubbands;
    const Zin32sc* newest = hist[0];
    const Zin32sc* oldest = hist[s->numSegments - 1];
    Zin32s* hp = s->historyPower;
    Zin32s* sp = s->scratchPower;
    for (int k = 0; k < bands; ++k) sp[k] = power_truncated(newest[k]);
    for (int k = 0; k < bands; ++k) hp[k] = fx::sat32(i64{hp[k]} + sp[k]);
    int cShift = 0;
    const Zin32s c = normalise(s->stepMantissa, cShift);
    for (int k = 0; k < bands; ++k) {
        Zin32s m, e;
        if (hp[k] <= s->powerThreshold) {
            m = s->minStepMantissa;
            e = s->minStepExponent;
        } else {
            int rShift = 0;
            const Zin32s r = normalise(hp[k], rShift);
            m = Div32_EC(c, r);
            e = rShift - cShift;
        }
        step[k].re = m;
        step[k].im = fx::wrap_sub32(61, fx::wrap_sub32(e, 10));
    }
    for (int k = 0; k < bands; ++k) sp[k] = power_truncated(oldest[k]);
    for (int k = 0; k < bands; ++k) {
        const Zin32s v = fx::sat32(i64{hp[k]} - sp[k]);
        hp[k] = v < 0 ? 0 : v;
    }
    if (!sin) return;
    s->sinPowerValid = 1;
    i64 p = 0;
    for (int k = 0; k < bands; ++k) p += power_rounded(sin[k]);
    s->sinPower = smooth_q14(p, s->sinPower, s->alphaErr);
}

inline Zin32s add_sat(Zin32s a, i64 b) { return fx::sat32(i64{a} + b); }

void controller_16s(const Zin32sc* ae, const Zin32sc* fe, Zin32sc* const* adaptive, Zin32sc* const* fixed,
                    Zin16s* pGain, ZinSubbandControllerState_EC_16s* s) {
    const int bands = s->numSubbands, taps = s->numSegments;
    const Zin32s aErr = s->alphaErr, aCoef = s->alphaCoef;
    Zin32s savedSum = 0, restoredSum = 0, total = 0;
    i64 coef[4097];
    for (int k = 0; k < bands; ++k) coef[k] = 0;
    for (int t = 0; t < taps; ++t) {
        const Zin32sc* a = adaptive[t];
        for (int k = 0; k < bands; ++k) coef[k] += power_rounded(a[k]);
    }
    for (int k = 0; k < bands; ++k) {
        const i64 p = coef[k];
        const i64 old = s->coefPower[k];
        const i128 diff = i128{p} - old;
        s->coefPower[k] = smooth_q14(p, old, aCoef);
        s->fixedErrPower[k] = smooth_q14(power_rounded(fe[k]), s->fixedErrPower[k], aErr);
        s->adaptiveErrPower[k] = smooth_q14(power_rounded(ae[k]), s->adaptiveErrPower[k], aErr);
        const i128 d10 = 10 * (diff < 0 ? -diff : diff);
        if (s->coefPower[k] > d10 && s->adaptiveErrPower[k] < ((i64{s->fixedErrPower[k]} * 5734 + 8192) >> 14)) {
            for (int t = 0; t < taps; ++t) fixed[t][k] = adaptive[t][k];
            s->fixedErrPower[k] = s->adaptiveErrPower[k];
            savedSum = add_sat(savedSum, s->fixedErrPower[k]);
        } else if (s->fixedErrPower[k] < ((i64{s->adaptiveErrPower[k]} * 10922 + 8192) >> 14)) {
            for (int t = 0; t < taps; ++t) adaptive[t][k] = fixed[t][k];
            s->adaptiveErrPower[k] = s->fixedErrPower[k];
            restoredSum = add_sat(restoredSum, s->adaptiveErrPower[k]);
        }
        total = add_sat(total, s->fixedErrPower[k]);
    }
    const bool saved = i64{total} < 10 * i64{savedSum};
    const bool good = s->sinPowerValid ? saved && i64{s->sinPower} > 5 * i64{total} : saved;
    if (good)
        s->filterState = fx::wrap_add32(fx::wrap_mul32(s->filterState, s->alphaState), 8192) >> 14;
    else if (i64{total} <= 10 * i64{restoredSum})
        s->filterState =
            fx::wrap_add32(fx::wrap_mul32(fx::wrap_sub32(s->filterState, 16384), s->alphaState), 268443648) >> 14;
    const Zin32s target = (s->filterState >= 8192 || (restoredSum < 100 && savedSum < 100)) ? 32767 : 0;
    s->gain = fx::wrap_add32(
                  fx::wrap_add32(fx::wrap_mul32(target, 16384 - s->alphaGain), fx::wrap_mul32(s->alphaGain, s->gain)),
                  8192) >>
              14;
    *pGain = fx::sat16(s->gain);
}

}  // namespace

namespace body {

ZinStatus zinsSubbandControllerGetSize_EC_32f(int numSubbands, int frameSize, int numSegments, int sampleFreq,
                                              int* pSize) {
    if (const ZinStatus st = check_values(numSubbands, frameSize, numSegments, sampleFreq); st != zinStsNoErr)
        return st;
    if (!pSize) return zinStsNullPtrErr;
    const i64 size = size_32f(numSubbands);
    if (size > INT32_MAX) return zinStsBadArgErr;  // a size 32 bits cannot state
    *pSize = static_cast<int>(size);
    return zinStsNoErr;
}

ZinStatus zinsSubbandControllerGetSize_EC_16s(int numSubbands, int frameSize, int numSegments, int sampleFreq,
                                              int* pSize) {
    if (const ZinStatus st = check_values(numSubbands, frameSize, numSegments, sampleFreq); st != zinStsNoErr)
        return st;
    if (!pSize) return zinStsNullPtrErr;
    const i64 size = size_16s(numSubbands);
    if (size > INT32_MAX) return zinStsBadArgErr;
    *pSize = static_cast<int>(size);
    return zinStsNoErr;
}

ZinStatus zinsSubbandControllerInit_EC_32f(ZinSubbandControllerState_EC_32f* pState, int numSubbands, int frameSize,
                                           int numSegments, int sampleFreq) {
    if (const ZinStatus st = check_values(numSubbands, frameSize, numSegments, sampleFreq); st != zinStsNoErr)
        return st;
    if (!pState) return zinStsNullPtrErr;
    if (size_32f(numSubbands) > INT32_MAX) return zinStsBadArgErr;
    auto* s = align16<ZinSubbandControllerState_EC_32f>(pState);
    auto* arrays = reinterpret_cast<Zin32f*>(reinterpret_cast<Zin8u*>(s) + kHeader32f);
    s->numSubbands = numSubbands;
    s->frameSize = frameSize;
    s->numSegments = numSegments;
    s->sampleFreq = sampleFreq;
    s->adaptiveErrPower = arrays;
    s->fixedErrPower = arrays + numSubbands;
    s->historyPower = arrays + 2 * i64{numSubbands};
    s->coefPower = arrays + 3 * i64{numSubbands};
    std::memset(arrays, 0, 16 * static_cast<std::size_t>(numSubbands));
    s->sinPower = 0.0f;
    s->alphaErr = alpha_32f(frameSize, sampleFreq, 0.015);
    s->alphaCoef = alpha_32f(frameSize, sampleFreq, 0.009);
    s->alphaState = alpha_32f(frameSize, sampleFreq, 0.02);
    s->alphaGain = alpha_32f(frameSize, sampleFreq, 0.01);
    s->gain = 1.0f;
    s->filterState = 1.0f;
    s->powerThreshold = static_cast<Zin32f>(numSubbands * 100000.0 * numSegments);
    s->minStep = static_cast<Zin32f>(0.05 / static_cast<double>(s->powerThreshold));
    s->sinPowerValid = 0;
    return zinStsNoErr;
}

ZinStatus zinsSubbandControllerInit_EC_16s(ZinSubbandControllerState_EC_16s* pState, int numSubbands, int frameSize,
                                           int numSegments, int sampleFreq) {
    if (const ZinStatus st = check_values(numSubbands, frameSize, numSegments, sampleFreq); st != zinStsNoErr)
        return st;
    if (!pState) return zinStsNullPtrErr;
    if (size_16s(numSubbands) > INT32_MAX) return zinStsBadArgErr;
    auto* s = align16<ZinSubbandControllerState_EC_16s>(pState);
    const i64 stride = roundup16(4 * i64{numSubbands});
    Zin8u* base = reinterpret_cast<Zin8u*>(s) + kHeader16s;
    s->numSubbands = numSubbands;
    s->frameSize = frameSize;
    s->numSegments = numSegments;
    s->sampleFreq = sampleFreq;
    s->adaptiveErrPower = reinterpret_cast<Zin32s*>(base);
    s->fixedErrPower = reinterpret_cast<Zin32s*>(base + stride);
    s->historyPower = reinterpret_cast<Zin32s*>(base + 2 * stride);
    s->scratchPower = reinterpret_cast<Zin32s*>(base + 3 * stride);
    s->coefPower = reinterpret_cast<Zin32s*>(base + 4 * stride);
    std::memset(base, 0, static_cast<std::size_t>(5 * stride));
    s->stepMantissa = 1073741824;
    s->sinPower = 0;
    s->alphaErr = alpha_16s(frameSize, sampleFreq, 67);
    s->alphaCoef = alpha_16s(frameSize, sampleFreq, 111);
    s->alphaState = alpha_16s(frameSize, sampleFreq, 50);
    s->alphaGain = alpha_16s(frameSize, sampleFreq, 100);
    s->gain = 32767;
    s->filterState = 16384;
    // The product wraps at 32 bits for large filters; a zero quotient is
    // taken as 1 rather than divided by.
    s->powerThreshold = fx::wrap_mul32(fx::wrap_mul32(numSubbands, 100000), numSegments) / 1024;
    s->minStepMantissa = 1073741824 / (s->powerThreshold != 0 ? s->powerThreshold : 1);
    s->minStepExponent = -31;
    s->sinPowerValid = 0;
    return zinStsNoErr;
}

ZinStatus zinsSubbandControllerReset_EC_32f(ZinSubbandControllerState_EC_32f* pState) {
    if (!pState) return zinStsNullPtrErr;
    auto* s = align16<ZinSubbandControllerState_EC_32f>(pState);
    const std::size_t bytes = sizeof(Zin32f) * static_cast<std::size_t>(s->numSubbands);
    std::memset(s->fixedErrPower, 0, bytes);
    std::memset(s->adaptiveErrPower, 0, bytes);
    std::memset(s->coefPower, 0, bytes);
    return zinStsNoErr;
}

ZinStatus zinsSubbandControllerReset_EC_16s(ZinSubbandControllerState_EC_16s* pState) {
    if (!pState) return zinStsNullPtrErr;
    auto* s = align16<ZinSubbandControllerState_EC_16s>(pState);
    const std::size_t bytes = sizeof(Zin32s) * static_cast<std::size_t>(s->numSubbands);
    std::memset(s->fixedErrPower, 0, bytes);
    std::memset(s->adaptiveErrPower, 0, bytes);
    std::memset(s->coefPower, 0, bytes);
    return zinStsNoErr;
}

ZinStatus zinsSubbandAPControllerUpdate_EC_32f(const Zin32fc* const* ppRinHistory, const Zin32fc* pSinSubbands,
                                               Zin64f* pDstStepSize, Zin32f mu, ZinSubbandControllerState_EC_32f* pState) {
    if (!ppRinHistory || !pDstStepSize || !pState) return zinStsNullPtrErr;
    if (!(mu >= 0.0f && mu <= 1.0f)) return zinStsRangeErr;
    update_32f(ppRinHistory, pSinSubbands, pDstStepSize, mu, align16<ZinSubbandControllerState_EC_32f>(pState));
    return zinStsNoErr;
}

ZinStatus zinsSubbandControllerUpdate_EC_32f(const Zin32f* pRin, const Zin32f* pSin, const Zin32fc* const* ppRinHistory,
                                             const Zin32fc* pSinSubbands, Zin64f* pDstStepSize,
                                             ZinSubbandControllerState_EC_32f* pState) {
    if (!pRin || !pSin) return zinStsNullPtrErr;
    return body::zinsSubbandAPControllerUpdate_EC_32f(ppRinHistory, pSinSubbands, pDstStepSize, 0.5f, pState);
}

ZinStatus zinsSubbandControllerUpdate_EC_16s(const Zin16s* pRin, const Zin16s* pSin, const Zin32sc* const* ppRinHistory,
                                             const Zin32sc* pSinSubbands, Zin32sc* pDstStepSize,
                                             ZinSubbandControllerState_EC_16s* pState) {
    if (!pRin || !pSin || !ppRinHistory || !pDstStepSize || !pState) return zinStsNullPtrErr;
    update_16s(ppRinHistory, pSinSubbands, pDstStepSize, align16<ZinSubbandControllerState_EC_16s>(pState));
    return zinStsNoErr;
}

ZinStatus zinsSubbandController_EC_32f(const Zin32fc* pAdaptiveErr, const Zin32fc* pFixedErr,
                                       Zin32fc* const* ppAdaptiveCoefs, Zin32fc* const* ppFixedCoefs, Zin32f* pGain,
                                       ZinSubbandControllerState_EC_32f* pState) {
    if (!pAdaptiveErr || !pFixedErr || !ppAdaptiveCoefs || !ppFixedCoefs || !pGain || !pState)
        return zinStsNullPtrErr;
    controller_32f(pAdaptiveErr, pFixedErr, ppAdaptiveCoefs, ppFixedCoefs, pGain,
                   align16<ZinSubbandControllerState_EC_32f>(pState));
    return zinStsNoErr;
}

ZinStatus zinsSubbandController_EC_16s(const Zin32sc* pAdaptiveErr, const Zin32sc* pFixedErr,
                                       Zin32sc* const* ppAdaptiveCoefs, Zin32sc* const* ppFixedCoefs, Zin16s* pGain,
                                       ZinSubbandControllerState_EC_16s* pState) {
    if (!pAdaptiveErr || !pFixedErr || !ppAdaptiveCoefs || !ppFixedCoefs || !pGain || !pState)
        return zinStsNullPtrErr;
    controller_16s(pAdaptiveErr, pFixedErr, ppAdaptiveCoefs, ppFixedCoefs, pGain,
                   align16<ZinSubbandControllerState_EC_16s>(pState));
    return zinStsNoErr;
}

}  // namespace body
}  // namespace zin
