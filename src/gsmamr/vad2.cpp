// GSM-AMR voice activity detector, option 2 (3GPP TS 26.094 clause 3.2,
// fixed point as in TS 26.073 vad2.c and r_fft.c): a 128-point real FFT of
// each half-frame, sixteen channel energies against a noise estimate, a
// voice metric, and an SNR-driven decision with hangover.
#include <algorithm>

#include "../frame/registry.h"
#include "amr_common.h"

namespace zin {
namespace {

using amr::i16;
using amr::i32;
using fx::add16;
using fx::add32;
using fx::mul16;
using fx::sub16;

constexpr int kFftLen = 128;
constexpr int kHalf = 80;
constexpr int kDelay = 24;    // the half-frame sits at words 24..103 of the block (vad2.c DELAY)
constexpr int kChannels = 16;

// TS 26.073 r_fft.c: phs_tbl, cos and -sin of 2 pi i / 128 in Q15.
constexpr i16 kPhase[128] = {
    32767, 0, 32729, -1608, 32610, -3212, 32413, -4808, 32138, -6393, 31786, -7962, 31357, -9512, 30853, -11039,
    30274, -12540, 29622, -14010, 28899, -15447, 28106, -16846, 27246, -18205, 26320, -19520, 25330, -20788, 24279,
    -22006, 23170, -23170, 22006, -24279, 20788, -25330, 19520, -26320, 18205, -27246, 16846, -28106, 15447, -28899,
    14010, -29622, 12540, -30274, 11039, -30853, 9512, -31357, 7962, -31786, 6393, -32138, 4808, -32413, 3212,
    -32610, 1608, -32729, 0, -32768, -1608, -32729, -3212, -32610, -4808, -32413, -6393, -32138, -7962, -31786,
    -9512, -31357, -11039, -30853, -12540, -30274, -14010, -29622, -15447, -28899, -16846, -28106, -18205, -27246,
    -19520, -26320, -20788, -25330, -22006, -24279, -23170, -23170, -24279, -22006, -25330, -20788, -26320, -19520,
    -27246, -18205, -28106, -16846, -28899, -15447, -29622, -14010, -30274, -12540, -30853, -11039, -31357, -9512,
    -31786, -7962, -32138, -6393, -32413, -4808, -32610, -3212, -32729, -1608};

// The bit-reversal of 64 complex pairs as a swap list of pair indices (i < j).
struct SwapList {
    unsigned char a[28], b[28];
    int n;
};
constexpr SwapList make_swaps() {
    SwapList s{};
    for (int i = 0; i < 64; ++i) {
        int r = 0;
        for (int bit = 0; bit < 6; ++bit) r |= ((i >> bit) & 1) << (5 - bit);
        if (r > i) {
            s.a[s.n] = static_cast<unsigned char>(i);
            s.b[s.n] = static_cast<unsigned char>(r);
            ++s.n;
        }
    }
    return s;
}
constexpr SwapList kSwaps = make_swaps();
static_assert(kSwaps.n == 28);

// TS 26.073 vad2.c: ch_tbl (first and last bin of each channel), ch_tbl_sh
// (inverse channel widths), vm_tbl (voice metric by quantised channel SNR),
// and the decision tables by quantised long-term SNR.
constexpr unsigned char kChanLo[kChannels] = {2, 4, 6, 8, 10, 12, 14, 17, 20, 23, 27, 31, 36, 42, 49, 56};
constexpr unsigned char kChanHi[kChannels] = {3, 5, 7, 9, 11, 13, 16, 19, 22, 26, 30, 35, 41, 48, 55, 63};
constexpr i16 kChanWidth[kChannels] = {16384, 16384, 16384, 16384, 16384, 16384, 10923, 10923,
                                       10923, 8192,  8192,  6554,  5461,  4681,  4681,  4096};
constexpr unsigned char kVoiceMetric[90] = {
    2,  2,  2,  2,  2,  2,  2,  2,  2,  2,  2,  3,  3,  3,  3,  3,  4,  4,  4,  5,  5,  5,  6,  6,  7,  7,  7,  8,  8,  9,
    9,  10, 10, 11, 12, 12, 13, 13, 14, 15, 15, 16, 17, 17, 18, 19, 20, 20, 21, 22, 23, 24, 24, 25, 26, 27, 28, 28, 29, 30,
    31, 32, 33, 34, 35, 36, 37, 37, 38, 39, 40, 41, 42, 43, 44, 45, 46, 47, 48, 49, 50, 50, 50, 50, 50, 50, 50, 50, 50, 50};
constexpr unsigned char kHangover[20] = {30, 30, 30, 30, 30, 30, 28, 26, 24, 22, 20, 18, 16, 14, 12, 10, 8, 8, 8, 8};
constexpr unsigned char kBurst[20] = {8, 8, 8, 8, 8, 8, 8, 8, 7, 6, 5, 4, 4, 4, 4, 4, 4, 4, 4, 4};
constexpr i16 kMetricThreshold[20] = {34, 34, 34, 34, 34, 34, 34, 34, 34, 34, 34, 40, 51, 71, 100, 139, 191, 257, 337, 432};

// Mpy_32_16 of a 32-bit value taken apart by L_Extract.
inline i32 mpy_32_16(i32 l, i16 n) {
    const fx::Dpf d = fx::split32(l);
    return fx::mul32_dpf16(d.hi, d.lo, n);
}

// fn10Log10: 10 log10 of a value with `fbits` fractional bits, Q7.8.
inline i16 db10(i32 x, int fbits) {
    const amr::Log2Result lg = amr::log2_32(x);
    const i16 e = sub16(lg.exponent, static_cast<i16>(fbits));
    const i32 l = fx::mac32(fx::mul32(e, 24660), mul16(lg.fraction, 24660), 1);
    return static_cast<i16>(fx::shr32_round(l, 6));
}

// The complex 64-point FFT, decimation in time, halved at every stage.
void complex_fft(i16* d) {
    for (int s = 0; s < kSwaps.n; ++s) {
        const int i = 2 * kSwaps.a[s], j = 2 * kSwaps.b[s];
        const i16 re = d[i], im = d[i + 1];
        d[i] = d[j];
        d[i + 1] = d[j + 1];
        d[j] = re;
        d[j + 1] = im;
    }
    for (int stage = 0; stage < 6; ++stage) {
        const int jj = 2 << stage, kk = jj << 1, step = 2 * (kFftLen / 2 >> stage);
        int ji = 0;
        for (int j = 0; j < jj; j += 2, ji += step) {
            const i16 wr = kPhase[ji], wi = kPhase[ji + 1];
            for (int k = j; k < kFftLen; k += kk) {
                const int kj = k + jj;
                const i16 tr = fx::round16(fx::msu32(fx::mul32(d[kj], wr), d[kj + 1], wi));
                const i16 ti = fx::round16(fx::mac32(fx::mul32(d[kj + 1], wr), d[kj], wi));
                d[kj] = static_cast<i16>(sub16(d[k], tr) >> 1);
                d[kj + 1] = static_cast<i16>(sub16(d[k + 1], ti) >> 1);
                d[k] = static_cast<i16>(add16(d[k], tr) >> 1);
                d[k + 1] = static_cast<i16>(add16(d[k + 1], ti) >> 1);
            }
        }
    }
}

// The real 128-point FFT in place, permuted output.
void real_fft(i16* d) {
    complex_fft(d);
    const i16 r0 = d[0], r1 = d[1];
    d[0] = fx::wrap16(r0 + r1);
    d[1] = fx::wrap16(r0 - r1);
    for (int i = 2; i <= kFftLen / 2; i += 2) {
        const int j = kFftLen - i;
        const i16 f1r = add16(d[i], d[j]);
        const i16 f1i = sub16(d[i + 1], d[j + 1]);
        const i16 f2r = add16(d[i + 1], d[j + 1]);
        const i16 f2i = sub16(d[j], d[i]);
        const i32 lr = fx::deposit_high(f1r), li = fx::deposit_high(f1i);
        i32 t = fx::msu32(fx::mac32(lr, f2r, kPhase[i]), f2i, kPhase[i + 1]);
        d[i] = fx::round16(t >> 1);
        t = fx::mac32(fx::mac32(li, f2i, kPhase[i]), f2r, kPhase[i + 1]);
        d[i + 1] = fx::round16(t >> 1);
        t = fx::mac32(fx::mac32(lr, f2r, kPhase[j]), f2i, kPhase[j + 1]);
        d[j] = fx::round16(t >> 1);
        t = fx::mac32(fx::msu32(fx::neg32(li), f2i, kPhase[j]), f2r, kPhase[j + 1]);
        d[j + 1] = fx::round16(t >> 1);
    }
}

// One half-frame of 80 samples.
i16 vad2_half(const i16* src, ZinGSMAMRVad2State& st, Zin32s ltpFlag) {
    st.frameCnt = add32(st.frameCnt, 1);

    // Block normalisation with two bits of headroom.
    i16 in[kHalf];
    i16 mx = 0;
    for (int i = 0; i < kHalf; ++i) mx = std::max(mx, fx::abs16(src[i]));
    i16 shift;
    if (mx != 0) {
        shift = static_cast<i16>(fx::norm16(mx) - 2);
        for (int i = 0; i < kHalf; ++i) in[i] = fx::shl16(src[i], shift);
    } else {
        shift = 14;
        for (int i = 0; i < kHalf; ++i) in[i] = 0;
    }

    // Pre-emphasis into the transform block; the memory follows the block
    // scaling by a plain shift.
    alignas(32) i16 data[kFftLen] = {};
    const int diff = st.lastBlockShift - shift;
    st.preEmpMem = diff > 0 ? static_cast<i16>(st.preEmpMem >> std::min(diff, 15))
                            : fx::shl16(st.preEmpMem, static_cast<i16>(-diff));
    st.lastBlockShift = shift;
    data[kDelay] = add16(in[0], mul16(-26214, st.preEmpMem));
    for (int i = 1; i < kHalf; ++i) data[kDelay + i] = add16(in[i], mul16(-26214, in[i - 1]));
    st.preEmpMem = in[kHalf - 1];

    real_fft(data);

    // Channel energies in the scaling of the current state.
    if (st.scalingState == 0) {
        if (shift <= 0) {
            st.scalingState = 1;
            for (auto& e : st.chEnergy) e = fx::shr32(e, 5);
        }
    } else if (shift >= 3) {
        st.scalingState = 0;
        for (auto& e : st.chEnergy) e = fx::shl32(e, 5);
    }
    const int ss = st.scalingState;
    const i16 gainShift = static_cast<i16>(2 * shift - (ss == 0 ? 10 : 5));
    const i16 alpha = st.frameCnt == 1 ? 32767 : 18022;
    const i16 oneMinus = st.frameCnt == 1 ? 0 : 14746;
    const i32 minEnergy = ss == 0 ? 32 : 1;
    for (int c = 0; c < kChannels; ++c) {
        i32 e = 0;
        for (int j = kChanLo[c]; j <= kChanHi[c]; ++j) {
            e = fx::mac32(e, data[2 * j], data[2 * j]);
            e = fx::mac32(e, data[2 * j + 1], data[2 * j + 1]);
        }
        e = fx::shr32_round(e, gainShift);
        i32 v = add32(mpy_32_16(e, mul16(alpha, kChanWidth[c])), mpy_32_16(st.chEnergy[c], oneMinus));
        st.chEnergy[c] = v < minEnergy ? minEnergy : v;
    }
    i32 total = 0;
    for (int c = 0; c < kChannels; ++c) total = add32(total, st.chEnergy[c]);
    i32 peak = 0;
    for (int c = 2; c < kChannels; ++c)
        if (st.chEnergy[c] > peak) peak = st.chEnergy[c];
    const bool peakToAverage = peak > mpy_32_16(total, 20480);

    // Noise set-up over the first four half-frames.
    if (st.frameCnt <= 4) {
        for (int c = 0; c < kChannels; ++c) {
            if (peakToAverage || st.chEnergy[c] < (ss == 0 ? 8192 : 256)) st.chNoise[c] = 8192;
            else st.chNoise[c] = ss == 1 ? fx::shl32(st.chEnergy[c], 5) : st.chEnergy[c];
        }
    }

    // Voice metric from the channel SNRs.
    i16 metric = 0;
    i16 snr[kChannels], enDb[kChannels];
    for (int c = 0; c < kChannels; ++c) {
        enDb[c] = db10(st.chEnergy[c], ss == 0 ? 9 : 4);
        snr[c] = sub16(enDb[c], db10(st.chNoise[c], 9));
        const i16 q = fx::shr16_round(mul16(21845, snr[c]), 6);
        metric = add16(metric, kVoiceMetric[q < 0 ? 0 : (q > 89 ? 89 : q)]);
    }

    // Long-term SNR.
    i16 x;
    if (st.frameCnt <= 4 || st.forcedUpdate) {
        st.negSnrVar = 0;
        st.negSnrBias = 0;
        i32 tne = 0;
        for (int c = 0; c < kChannels; ++c) tne = add32(tne, st.chNoise[c]);
        x = sub16(14320, db10(tne, 9));
        st.longTermSnr = x;
    } else {
        i32 sum = 0;
        for (int c = 0; c < kChannels; ++c) {
            const fx::Dpf d = fx::split32(fx::shr32(fx::mul32(snr[c], 10885), 8));
            sum = add32(sum, amr::pow2_32(add16(d.hi, 3), d.lo));
        }
        x = db10(sum, 7);
        if (x > st.longTermSnr) {
            st.longTermSnr = fx::round16(add32(fx::mul32(29491, st.longTermSnr), fx::mul32(3277, x)));
        } else if (sub16(x, mul16(20480, st.longTermSnr)) > 0) {
            st.longTermSnr = fx::round16(add32(fx::mul32(32702, st.longTermSnr), fx::mul32(66, x)));
        }
    }
    i16 snrIndex = static_cast<i16>(mul16(st.longTermSnr, 10923) >> 8);
    snrIndex = snrIndex > 19 ? 19 : (snrIndex < 0 ? 0 : snrIndex);
    if (x < 0) {
        const i16 sq = fx::round16(fx::shl32(fx::mul32(x, x), 7));
        st.negSnrVar = fx::round16(add32(fx::mul32(32440, st.negSnrVar), fx::mul32(328, sq)));
        if (st.negSnrVar > 1024) st.negSnrVar = 1024;
        const i16 t = fx::mul16_round(fx::shl16(sub16(st.negSnrVar, 166), 4), 24576);
        st.negSnrBias = t < 0 ? 0 : static_cast<i16>(t >> 8);
    }

    // Decision with burst and hangover.
    i16 vad;
    if (metric > add16(kMetricThreshold[snrIndex], st.negSnrBias)) {
        vad = 1;
        st.burstCount = add16(st.burstCount, 1);
        if (st.burstCount > kBurst[snrIndex]) st.hangover = kHangover[snrIndex];
    } else {
        st.burstCount = 0;
        st.hangover = sub16(st.hangover, 1);
        if (st.hangover <= 0) {
            vad = 0;
            st.hangover = 0;
        } else {
            vad = 1;
        }
    }

    // Channel energy deviation and the long-term channel energies.
    i16 dev = 32767;
    if (st.frameCnt == 1) {
        for (int c = 0; c < kChannels; ++c) st.chEnergyLongDb[c] = enDb[c];
    } else {
        dev = 0;
        for (int c = 0; c < kChannels; ++c) dev = add16(dev, fx::abs16(sub16(st.chEnergyLongDb[c], enDb[c])));
    }
    i16 a, oneMinusA;
    const i16 d = sub16(st.longTermSnr, x);
    if (d <= 0 || st.longTermSnr <= 0) {
        a = 29491;
        oneMinusA = 3277;
    } else if (d > st.longTermSnr) {
        a = 22938;
        oneMinusA = 9830;
    } else {
        a = sub16(29491, mul16(6553, fx::div16(d, st.longTermSnr)));
        oneMinusA = sub16(32767, a);
    }
    for (int c = 0; c < kChannels; ++c)
        st.chEnergyLongDb[c] =
            fx::round16(add32(fx::mul32(oneMinusA, enDb[c]), fx::mul32(a, st.chEnergyLongDb[c])));

    // Noise update.
    bool update = false;
    st.forcedUpdate = 0;
    if (metric <= 35) {
        if (st.burstCount == 0) {
            update = true;
            st.updateCnt = 0;
        }
    } else if (total > (ss == 0 ? 512 : 16) && dev < 7168 && !peakToAverage && ltpFlag == 0) {
        st.updateCnt = add16(st.updateCnt, 1);
        if (st.updateCnt >= 50) {
            update = true;
            st.forcedUpdate = 1;
        }
    }
    if (st.updateCnt == st.lastUpdateCnt) st.hysteresisCnt = add16(st.hysteresisCnt, 1);
    else st.hysteresisCnt = 0;
    st.lastUpdateCnt = st.updateCnt;
    if (st.hysteresisCnt > 6) st.updateCnt = 0;
    if (update) {
        for (int c = 0; c < kChannels; ++c) {
            const i32 e = ss == 1 ? fx::shl32(st.chEnergy[c], 5) : st.chEnergy[c];
            const i32 v = add32(mpy_32_16(e, 3277), mpy_32_16(st.chNoise[c], 29491));
            st.chNoise[c] = v <= 32 ? 32 : v;
        }
    }
    return vad;
}

}  // namespace

ZinStatus body::zinsFFTFwd_RToPerm_GSMAMR_16s_I(Zin16s* pSrcDst) {
    if (!pSrcDst) return zinStsNullPtrErr;
    real_fft(pSrcDst);
    return zinStsNoErr;
}

ZinStatus body::zinsVAD2_GSMAMR_16s(const Zin16s* pSrc, ZinGSMAMRVad2State* pState, Zin16s* pVadFlag,
                                    Zin32s ltpFlag) {
    if (!pSrc || !pState || !pVadFlag) return zinStsNullPtrErr;
    const i16 first = vad2_half(pSrc, *pState, ltpFlag);
    const i16 second = vad2_half(pSrc + kHalf, *pState, ltpFlag);
    *pVadFlag = static_cast<i16>(first | second);
    return zinStsNoErr;
}

}  // namespace zin
