// GSM-AMR open-loop pitch search (3GPP TS 26.090 clause 5.4, fixed point as
// in TS 26.073 pre_big.c, ol_ltp.c, pitch_ol.c, p_ol_wgh.c and hp_max.c):
// the frame's weighted speech, then one or two lag searches in three lag
// sections (the weighted one-section search at 10.2 kbit/s), with the
// updates that the two voice activity detectors need on the side.
#include <immintrin.h>

#include <cstdint>

#include "../frame/registry.h"
#include "amr_common.h"

namespace zin {
namespace {

using amr::i16;
using amr::i32;
using i64 = std::int64_t;

constexpr int kPitMax = 143;
constexpr int kFrame = 160;
constexpr int kOrder = 10;

enum class Variant { NonDtx, Vad1, Vad2 };

// What the DTX forms update beside the lags.
struct Side {
    Variant variant = Variant::NonDtx;
    i16* tone = nullptr;        // VAD1 tone register
    i16* maxHpCorr = nullptr;   // VAD1 high-pass correlation maximum
    i32* maxCorrSum = nullptr;  // VAD2 correlation sum (wraps)
    i32* energySum = nullptr;   // VAD2 energy sum (saturates)
};

bool legal_rate(int rate) {
    switch (rate) {
        case 0: case 1: case 3: case 6: case 7: case 8: case 11: case 12: case 25: return true;
        default: return false;
    }
}

inline i32 inv_sqrt(i32 x) {
    body::zinsInvSqrt_32s_I(&x, 1);
    return x;
}

// Weighted speech of one sub-frame: the residual through the numerator, then
// the all-pole denominator over the previous 10 outputs (wsp[-10..-1]).
void weight_subframe(const i16* num, const i16* den, const i16* x, i16* wsp) {
    i16 res[40];
    for (int n = 0; n < 40; ++n) {
        i64 s = 0;
        for (int j = 0; j <= kOrder; ++j) s += i32{num[j]} * x[n - j];
        res[n] = fx::sat16((s + 0x800) >> 12);
    }
    for (int n = 0; n < 40; ++n) {
        i64 s = i32{res[n]} * den[0];
        for (int j = 1; j <= kOrder; ++j) s -= i32{den[j]} * wsp[n - j];
        wsp[n] = fx::sat16((s + 0x800) >> 12);
    }
}

// The signal of one block with its 143 samples of history, scaled by the
// energy rule; returns the scale (3 down, -3 up, 0).
int scale_block(const i16* sig, int len, i16* out) {
    i64 e = 0;
    for (int i = -kPitMax; i < len; ++i) e += i32{sig[i]} * sig[i];
    if (e >= 0x3FFFFFFF) {
        for (int i = -kPitMax; i < len; ++i) out[i] = static_cast<i16>(sig[i] >> 3);
        return 3;
    }
    if (e < 0x80000) {
        for (int i = -kPitMax; i < len; ++i) out[i] = fx::shl16(sig[i], 3);
        return -3;
    }
    for (int i = -kPitMax; i < len; ++i) out[i] = sig[i];
    return 0;
}

inline i32 hsum(__m128i v) {
    v = _mm_add_epi32(v, _mm_shuffle_epi32(v, 0x4E));
    v = _mm_add_epi32(v, _mm_shuffle_epi32(v, 0xB1));
    return _mm_cvtsi128_si32(v);
}

// corr[l] = 2 sum s[n] s[n - l] for the lags lo..143, in wrapping 32-bit
// sums (len a multiple of 8), four lags a pass over the block.
void correlate(const i16* s, int len, int lo, i32* corr) {
    int l = lo;
    for (; l + 3 <= kPitMax; l += 4) {
        __m128i a0 = _mm_setzero_si128(), a1 = a0, a2 = a0, a3 = a0;
        for (int n = 0; n < len; n += 8) {
            const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + n));
            a0 = _mm_add_epi32(a0, _mm_madd_epi16(x, _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + n - l))));
            a1 = _mm_add_epi32(a1, _mm_madd_epi16(x, _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + n - l - 1))));
            a2 = _mm_add_epi32(a2, _mm_madd_epi16(x, _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + n - l - 2))));
            a3 = _mm_add_epi32(a3, _mm_madd_epi16(x, _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + n - l - 3))));
        }
        corr[l] = static_cast<i32>(static_cast<std::uint32_t>(hsum(a0)) << 1);
        corr[l + 1] = static_cast<i32>(static_cast<std::uint32_t>(hsum(a1)) << 1);
        corr[l + 2] = static_cast<i32>(static_cast<std::uint32_t>(hsum(a2)) << 1);
        corr[l + 3] = static_cast<i32>(static_cast<std::uint32_t>(hsum(a3)) << 1);
    }
    for (; l <= kPitMax; ++l) {
        __m128i a = _mm_setzero_si128();
        for (int n = 0; n < len; n += 8)
            a = _mm_add_epi32(a, _mm_madd_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s + n)),
                                                _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + n - l))));
        corr[l] = static_cast<i32>(static_cast<std::uint32_t>(hsum(a)) << 1);
    }
}

// Sum of products over a block of the scaled signal (len a multiple of 8),
// exact: a lane gathers at most 20 pair sums, each below 2^26 after the
// scaling rule (a pair of -32768 squares never survives it), and the lanes
// add in 64 bits.
inline i64 dot(const i16* a, const i16* b, int len) {
    __m128i acc = _mm_setzero_si128();
    for (int n = 0; n < len; n += 8)
        acc = _mm_add_epi32(acc, _mm_madd_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(a + n)),
                                                _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + n))));
    return i64{_mm_extract_epi32(acc, 0)} + _mm_extract_epi32(acc, 1) + _mm_extract_epi32(acc, 2) +
           _mm_extract_epi32(acc, 3);
}

inline i32 doubled(i64 s) { return fx::sat32(2 * s); }

// Tone test of TS 26.094: a correlation above 0.65 of the energy.
inline void tone_test(i16* tone, i32 corr, i32 energy) {
    const i16 e = fx::round16(energy);
    if (e > 0 && fx::msu32(corr, e, 21298) > 0) *tone = static_cast<i16>(*tone | 0x4000);
}

struct Section {
    int lag;
    i16 value;
    i32 corr;
    i32 energy;
};

// The best lag of one section (ties to the smaller lag) and its normalised
// correlation.
Section lag_max(const i32* corr, const i16* s, int scale, bool scaled, int len, int hi, int lo, Side& side) {
    i32 mx = fx::kMin32;
    int lag = hi;
    for (int l = hi; l >= lo; --l) {
        if (corr[l] >= mx) {
            mx = corr[l];
            lag = l;
        }
    }
    const i32 energy = doubled(dot(s - lag, s - lag, len));
    if (side.variant == Variant::Vad1) tone_test(side.tone, mx, energy);
    i32 inv = inv_sqrt(energy);
    if (scaled) inv = inv > 0x3FFFFFFF ? fx::kMax32 : inv << 1;
    const fx::Dpf m = fx::split32(mx), e = fx::split32(inv);
    i32 t = fx::mul32_dpf(m.hi, m.lo, e.hi, e.lo);
    i16 value;
    if (scaled) {
        t = fx::shr32(t, static_cast<i16>(scale));
        value = t > 0xFFFF ? fx::kMax16 : (t < -65536 ? fx::kMin16 : static_cast<i16>(t >> 1));
    } else {
        value = static_cast<i16>(t);
    }
    return {lag, value, mx, energy};
}

// The high-pass correlation maximum of a block, normalised by the energy of
// its high-passed signal. The quotient keeps the numerator's low bits.
i16 hp_max(const i32* corr, const i16* s, int len, int lo) {
    i32 m = fx::kMin32;
    for (int l = kPitMax - 1; l > lo; --l) {
        i32 t = fx::sub32(fx::sub32(fx::shl32(corr[l], 1), corr[l + 1]), corr[l - 1]);
        t = fx::abs32(t);
        if (t >= m) m = t;
    }
    const i32 e0 = doubled(dot(s, s, len));
    const i32 e1 = doubled(dot(s, s - 1, len));
    const i32 d = fx::abs32(fx::sub32(fx::shl32(e0, 1), fx::shl32(e1, 1)));
    const i16 nm = fx::norm32(m), nd = fx::norm32(d);
    const i32 mn = fx::shl32(m, nm), dn = fx::shl32(d, nd);
    const i32 den = dn >> 16;
    const i16 q = den != 0 ? static_cast<i16>((mn >> 2) / den) : 0;
    const int shift = nm - 1 - nd;
    return shift >= 0 ? fx::shr16(q, static_cast<i16>(shift)) : fx::shl16(q, static_cast<i16>(-shift));
}

// Pitch_ol: the search of one block of `len` samples at `sig`.
i16 search_block(const i16* sig, int len, int pitMin, int rate, bool hpBlock, Side& side) {
    if (side.variant == Variant::Vad1) {
        i16 t = static_cast<i16>(*side.tone >> 1);
        if (rate == 0 || rate == 1) t = static_cast<i16>((t >> 1) | 0x2000);
        *side.tone = t;
    }
    alignas(32) i16 buf[kPitMax + kFrame];
    i16* s = buf + kPitMax;
    const int scale = scale_block(sig, len, s);
    alignas(32) i32 corr[kPitMax + 1];
    correlate(s, len, pitMin, corr);
    const bool scaled = rate == 12;
    const int j = pitMin << 2;
    Section s1 = lag_max(corr, s, scale, scaled, len, kPitMax, j, side);
    Section s2 = lag_max(corr, s, scale, scaled, len, j - 1, pitMin << 1, side);
    Section s3 = lag_max(corr, s, scale, scaled, len, (pitMin << 1) - 1, pitMin, side);
    if (side.variant == Variant::Vad1 && hpBlock) *side.maxHpCorr = hp_max(corr, s, len, pitMin);
    Section best = s1;
    if (static_cast<i16>((i32{best.value} * 27853) >> 15) < s2.value) best = {s2.lag, s2.value, s2.corr, s2.energy};
    if (static_cast<i16>((i32{best.value} * 27853) >> 15) < s3.value) {
        best.lag = s3.lag;
        best.corr = s3.corr;
        best.energy = s3.energy;
    }
    if (side.variant == Variant::Vad2) {
        *side.maxCorrSum = fx::wrap_add32(*side.maxCorrSum, best.corr);
        *side.energySum = fx::add32(*side.energySum, best.energy);
    }
    return static_cast<i16>(best.lag);
}

// gmed_n over 5: repeated selection of the maximum, ties to the highest index.
i16 median5(const i16* v) {
    i16 t[5] = {v[0], v[1], v[2], v[3], v[4]};
    int found[5] = {};
    for (int i = 0; i < 5; ++i) {
        i16 mx = -32767;
        int ix = 0;
        for (int j = 0; j < 5; ++j) {
            if (t[j] >= mx) {
                mx = t[j];
                ix = j;
            }
        }
        t[ix] = fx::kMin16;
        found[i] = ix;
    }
    return v[found[2]];
}

// Pitch_ol_wgh: the weighted search of one half-frame at 10.2 kbit/s.
i16 search_weighted(const i16* sig, int half, i16* median, i16* weight, i16* oldLags, i16* gainFlags, Side& side) {
    constexpr int kLen = 80, kPitMin = 20;
    alignas(32) i16 buf[kPitMax + kLen];
    i16* s = buf + kPitMax;
    i64 e = 0;
    for (int i = -kPitMax; i < kLen; ++i) e += i32{sig[i]} * sig[i];
    if (e >= 0x3FFFFFFF) {
        for (int i = -kPitMax; i < kLen; ++i) s[i] = static_cast<i16>(sig[i] >> 3);
    } else if (e >= 0x80000) {
        for (int i = -kPitMax; i < kLen; ++i) s[i] = sig[i];
    } else {
        for (int i = -kPitMax; i < kLen; ++i) s[i] = fx::shl16(sig[i], 3);
    }
    alignas(32) i32 corr[kPitMax + 1];
    correlate(s, kLen, kPitMin, corr);

    const bool weighted = *weight >= 9830;
    const i16* ww = &amr::kCorrWeight[250];
    const i16* we = &amr::kCorrWeight[123 + kPitMax - *median];
    i32 mx = fx::kMin32;
    int lag = kPitMax;
    for (int l = kPitMax; l >= kPitMin; --l) {
        fx::Dpf d = fx::split32(corr[l]);
        i32 t = fx::mul32_dpf16(d.hi, d.lo, *ww--);
        if (weighted) {
            d = fx::split32(t);
            t = fx::mul32_dpf16(d.hi, d.lo, *we--);
        }
        if (t >= mx) {
            mx = t;
            lag = l;
        }
    }
    const i32 t0 = doubled(dot(s, s - lag, kLen));
    const i32 t1 = doubled(dot(s - lag, s - lag, kLen));
    if (side.variant == Variant::Vad1) {
        *side.tone = static_cast<i16>(*side.tone >> 1);
        tone_test(side.tone, t0, t1);
    } else if (side.variant == Variant::Vad2) {
        *side.maxCorrSum = fx::wrap_add32(*side.maxCorrSum, t0);
        *side.energySum = fx::add32(*side.energySum, t1);
    }
    const i16 flag = fx::round16(fx::msu32(t0, fx::round16(t1), 13107));
    gainFlags[half] = flag;
    if (flag > 0) {
        for (int i = 4; i > 0; --i) oldLags[i] = oldLags[i - 1];
        oldLags[0] = static_cast<i16>(lag);
        *median = median5(oldLags);
        *weight = 32767;
    } else {
        *median = static_cast<i16>(lag);
        *weight = static_cast<i16>((i32{*weight} * 29491) >> 15);
    }
    if (side.variant == Variant::Vad1 && half == 1) *side.maxHpCorr = hp_max(corr, s, kLen, kPitMin);
    return static_cast<i16>(lag);
}

void open_loop(const i16* num, const i16* den, const i16* speech, i16* median, i16* weight, i16* oldLags,
               i16* wspHistory, i16* lags, i16* gainFlags, int rate, Side& side) {
    alignas(32) i16 wsp[kPitMax + kFrame];
    for (int i = 0; i < kPitMax; ++i) wsp[i] = wspHistory[i];
    i16* frame = wsp + kPitMax;
    for (int sf = 0; sf < 4; ++sf)
        weight_subframe(num + 11 * sf, den + 11 * sf, speech + kOrder + 40 * sf, frame + 40 * sf);

    if (rate != 11) gainFlags[0] = gainFlags[1] = 0;
    if (rate == 0 || rate == 1) {
        lags[0] = lags[1] = search_block(frame, kFrame, 20, rate, true, side);
    } else if (rate == 11) {
        for (int h = 0; h < 2; ++h)
            lags[h] = search_weighted(frame + 80 * h, h, median, weight, oldLags, gainFlags, side);
    } else {
        const int pitMin = rate == 12 || rate == 25 ? 18 : 20;
        for (int h = 0; h < 2; ++h) {
            lags[h] = search_block(frame + 80 * h, 80, pitMin, rate, h == 1, side);
            gainFlags[0] = gainFlags[1] = 0;
        }
    }
    for (int i = 0; i < kPitMax; ++i) wspHistory[i] = frame[kFrame - kPitMax + i];
}

}  // namespace

ZinStatus body::zinsOpenLoopPitchSearchNonDTX_GSMAMR_16s(const Zin16s* pWeightedLpc, const Zin16s* pUnweightedDen,
                                                         const Zin16s* pSpeech, Zin16s* pOldT0Median,
                                                         Zin16s* pAdaptiveWeight, Zin16s* pOldLags,
                                                         Zin16s* pWspHistory, Zin16s* pLagsOut,
                                                         Zin16s* pGainFlagsOut, ZinSpeechBitrate rateCode) {
    if (!legal_rate(rateCode)) return zinStsRangeErr;
    if (!pWeightedLpc || !pUnweightedDen || !pSpeech || !pOldT0Median || !pAdaptiveWeight || !pOldLags ||
        !pWspHistory || !pLagsOut || !pGainFlagsOut)
        return zinStsNullPtrErr;
    Side side;
    open_loop(pWeightedLpc, pUnweightedDen, pSpeech, pOldT0Median, pAdaptiveWeight, pOldLags, pWspHistory, pLagsOut,
              pGainFlagsOut, rateCode, side);
    return zinStsNoErr;
}

ZinStatus body::zinsOpenLoopPitchSearchDTXVAD1_GSMAMR_16s(const Zin16s* pWeightedLpc, const Zin16s* pUnweightedDen,
                                                          const Zin16s* pSpeech, Zin16s* pToneFlags,
                                                          Zin16s* pOldT0Median, Zin16s* pAdaptiveWeight,
                                                          Zin16s* pOldLags, Zin16s* pWspHistory, Zin16s* pMaxHpCorr,
                                                          Zin16s* pLagsOut, Zin16s* pGainFlagsOut,
                                                          ZinSpeechBitrate rateCode) {
    if (!pWeightedLpc || !pUnweightedDen || !pSpeech || !pToneFlags || !pOldT0Median || !pAdaptiveWeight ||
        !pOldLags || !pWspHistory || !pMaxHpCorr || !pLagsOut || !pGainFlagsOut)
        return zinStsNullPtrErr;
    if (!legal_rate(rateCode)) return zinStsRangeErr;
    Side side;
    side.variant = Variant::Vad1;
    side.tone = pToneFlags;
    side.maxHpCorr = pMaxHpCorr;
    open_loop(pWeightedLpc, pUnweightedDen, pSpeech, pOldT0Median, pAdaptiveWeight, pOldLags, pWspHistory, pLagsOut,
              pGainFlagsOut, rateCode, side);
    return zinStsNoErr;
}

ZinStatus body::zinsOpenLoopPitchSearchDTXVAD2_GSMAMR_16s32s(const Zin16s* pWeightedLpc,
                                                             const Zin16s* pUnweightedDen, const Zin16s* pSpeech,
                                                             Zin16s* pOldT0Median, Zin16s* pAdaptiveWeight,
                                                             Zin16s* pOldLags, Zin16s* pWspHistory,
                                                             Zin32s* pMaxCorrSum, Zin32s* pEnergySum,
                                                             Zin16s* pLagsOut, Zin16s* pGainFlagsOut,
                                                             ZinSpeechBitrate rateCode) {
    if (!pWeightedLpc || !pUnweightedDen || !pSpeech || !pOldT0Median || !pAdaptiveWeight || !pOldLags ||
        !pWspHistory || !pMaxCorrSum || !pEnergySum || !pLagsOut || !pGainFlagsOut)
        return zinStsNullPtrErr;
    if (!legal_rate(rateCode)) return zinStsRangeErr;
    Side side;
    side.variant = Variant::Vad2;
    side.maxCorrSum = pMaxCorrSum;
    side.energySum = pEnergySum;
    open_loop(pWeightedLpc, pUnweightedDen, pSpeech, pOldT0Median, pAdaptiveWeight, pOldLags, pWspHistory, pLagsOut,
              pGainFlagsOut, rateCode, side);
    return zinStsNoErr;
}

}  // namespace zin
