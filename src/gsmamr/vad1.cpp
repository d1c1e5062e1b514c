// GSM-AMR voice activity detector, option 1 (3GPP TS 26.094 clause 3.1,
// fixed point as in TS 26.073 vad1.c): a nine-band filter bank, the band
// levels against a background estimate, the complex-signal detector and the
// hangover. The tone register and the high-pass correlation maximum come
// from the caller (the open-loop pitch search of the frame before updates
// them); the pitch register lives in the record and the caller sets it.
#include "../frame/registry.h"
#include "../kernels/fixed_point.h"
#include "amr_common.h"

namespace zin {
namespace {

using fx::abs16;
using fx::add16;
using fx::div16;
using fx::i16;
using fx::i32;
using fx::mul16;
using fx::mul16_round;
using fx::norm16;
using fx::shl16;
using fx::shl32;
using fx::shr16;
using fx::sub16;

constexpr int kBands = 9;
constexpr int kFrame = 160;

// TS 26.073 cnst_vad.h
constexpr i16 kCoeff3 = 13363;
constexpr i16 kCoeff5_1 = 21955;
constexpr i16 kCoeff5_2 = 6390;
constexpr i16 kStatCount = 20;
constexpr i16 kCadMinStatCount = 5;
constexpr i16 kStatThrLevel = 184;
constexpr i16 kStatThr = 1000;
constexpr i16 kAlpha4 = 3276;       // 1 - 0.9
constexpr i16 kAlpha5 = 16383;      // 1 - 0.5
constexpr i16 kAlphaUp1 = 1638;     // 1 - 0.95
constexpr i16 kAlphaDown1 = 2097;   // 1 - 0.936
constexpr i16 kAlphaUp2 = 491;      // 1 - 0.985
constexpr i16 kAlphaDown2 = 1867;   // 1 - 0.943
constexpr i16 kAlpha3 = 1638;       // 1 - 0.95
constexpr i16 kNoiseMin = 40;
constexpr i16 kNoiseMax = 16000;
constexpr i16 kVadThrHigh = 1260;
constexpr i16 kVadThrLow = 720;
constexpr i16 kVadSlope = -2808;
constexpr i16 kInvBands = 3641;
constexpr i32 kPowLow = 15000;
constexpr i32 kPowPitchThr = 343040;
constexpr i16 kHangNoiseThr = 100;
constexpr i16 kCvadAdaptHigh = 19660;   // 0.6
constexpr i16 kCvadAdaptLow = 16383;    // 0.5
constexpr i16 kCvadInNoise = 21298;     // 0.65
constexpr i16 kCvadHang = 22937;        // 0.70
constexpr i16 kCvadHangLimit = 100;
constexpr i16 kCvadHangLength = 250;
constexpr i16 kCvadMinCorr = 13106;     // 0.40
constexpr i16 kCvadAdaptSlow = 655;     // 1 - 0.98
constexpr i16 kCvadAdaptFast = 2621;    // 1 - 0.92
constexpr i16 kCvadAdaptReallyFast = 6553;  // 1 - 0.80

// Truncating Q15 product of a positive coefficient, as the filter bank has it.
inline i16 cmul(i16 c, i16 x) { return static_cast<i16>((i32{c} * x) >> 15); }

// First stage: the input scaled by 1/4 through the 5th-order all-pass pair.
void first_filter_stage(const i16* in, i16* out, i16* data) {
    i16 data0 = data[0], data1 = data[1];
    for (int i = 0; i < kFrame / 4; ++i) {
        const i16 t0 = sub16(static_cast<i16>(in[4 * i] >> 2), cmul(kCoeff5_1, data0));
        const i16 t1 = add16(data0, cmul(kCoeff5_1, t0));
        const i16 t3 = sub16(static_cast<i16>(in[4 * i + 1] >> 2), cmul(kCoeff5_2, data1));
        const i16 t2 = add16(data1, cmul(kCoeff5_2, t3));
        out[4 * i] = add16(t1, t2);
        out[4 * i + 1] = sub16(t1, t2);
        data0 = sub16(static_cast<i16>(in[4 * i + 2] >> 2), cmul(kCoeff5_1, t0));
        const i16 u1 = add16(t0, cmul(kCoeff5_1, data0));
        data1 = sub16(static_cast<i16>(in[4 * i + 3] >> 2), cmul(kCoeff5_2, t3));
        const i16 u2 = add16(t3, cmul(kCoeff5_2, data1));
        out[4 * i + 2] = add16(u1, u2);
        out[4 * i + 3] = sub16(u1, u2);
    }
    data[0] = data0;
    data[1] = data1;
}

void filter5(i16* in0, i16* in1, i16* data) {
    i16 t0 = sub16(*in0, mul16(kCoeff5_1, data[0]));
    const i16 t1 = add16(data[0], mul16(kCoeff5_1, t0));
    data[0] = t0;
    t0 = sub16(*in1, mul16(kCoeff5_2, data[1]));
    const i16 t2 = add16(data[1], mul16(kCoeff5_2, t0));
    data[1] = t0;
    *in0 = shr16(add16(t1, t2), 1);
    *in1 = shr16(sub16(t1, t2), 1);
}

void filter3(i16* in0, i16* in1, i16* data) {
    const i16 t1 = sub16(*in1, mul16(kCoeff3, *data));
    const i16 t2 = add16(*data, mul16(kCoeff3, t1));
    *data = t1;
    *in1 = shr16(sub16(*in0, t2), 1);
    *in0 = shr16(add16(*in0, t2), 1);
}

// Sum of magnitudes of one band; the part of the frame that is lookahead
// goes to the carried sum, the carried sum of the last frame comes back in.
i16 level_calculation(const i16* data, i16* subLevel, int count1, int count2, int step, int first,
                      int scale) {
    i32 l1 = 0;
    for (int i = count1; i < count2; ++i) l1 = fx::mac32(l1, 1, abs16(data[step * i + first]));
    i32 l2 = fx::add32(l1, shl32(*subLevel, static_cast<i16>(16 - scale)));
    *subLevel = static_cast<i16>(shl32(l1, static_cast<i16>(scale)) >> 16);
    for (int i = 0; i < count1; ++i) l2 = fx::mac32(l2, 1, abs16(data[step * i + first]));
    return static_cast<i16>(shl32(l2, static_cast<i16>(scale)) >> 16);
}

void filter_bank(ZinGSMAMRVad1State& st, const i16* in, i16* level) {
    i16 buf[kFrame];
    first_filter_stage(in, buf, st.aData5[0]);
    for (int i = 0; i < kFrame / 4; ++i) {
        filter5(&buf[4 * i], &buf[4 * i + 2], st.aData5[1]);
        filter5(&buf[4 * i + 1], &buf[4 * i + 3], st.aData5[2]);
    }
    for (int i = 0; i < kFrame / 8; ++i) {
        filter3(&buf[8 * i], &buf[8 * i + 4], &st.aData3[0]);
        filter3(&buf[8 * i + 2], &buf[8 * i + 6], &st.aData3[1]);
        filter3(&buf[8 * i + 3], &buf[8 * i + 7], &st.aData3[4]);
    }
    for (int i = 0; i < kFrame / 16; ++i) {
        filter3(&buf[16 * i], &buf[16 * i + 8], &st.aData3[2]);
        filter3(&buf[16 * i + 4], &buf[16 * i + 12], &st.aData3[3]);
    }
    // The bands sit interleaved in buf: {step, first index} per band, lowest first.
    constexpr struct { int count; int step; int first; } kLayout[kBands] = {
        {10, 16, 0}, {10, 16, 8}, {10, 16, 12}, {10, 16, 4},
        {20, 8, 6},  {20, 8, 2},  {20, 8, 3},   {20, 8, 7},  {40, 4, 1}};
    for (int b = kBands - 1; b >= 0; --b) {
        const auto& l = kLayout[b];
        const int lookahead = l.step == 16 ? 2 : (l.step == 8 ? 4 : 8);
        level[b] = level_calculation(buf, &st.subLevel[b], l.count - lookahead, l.count, l.step, l.first,
                                     b == 8 ? 15 : 16);
    }
}

void update_cntrl(ZinGSMAMRVad1State& st, const i16* level, i16 tone) {
    if (st.complexWarning != 0 && st.statCount < kCadMinStatCount) st.statCount = kCadMinStatCount;
    if ((st.pitch & 0x6000) == 0x6000 || (tone & 0x7C00) == 0x7C00 || (st.vadReg & 0x7F80) == 0) {
        st.statCount = kStatCount;
    } else {
        i16 statRat = 0;
        for (int i = 0; i < kBands; ++i) {
            i16 num = level[i], den = st.aveLevel[i];
            if (level[i] <= st.aveLevel[i]) { num = st.aveLevel[i]; den = level[i]; }
            if (num < kStatThrLevel) num = kStatThrLevel;
            if (den < kStatThrLevel) den = kStatThrLevel;
            const i16 e = norm16(den);
            const i16 q = div16(shr16(num, 1), shl16(den, e));
            statRat = add16(statRat, shr16(q, static_cast<i16>(8 - e)));
        }
        if (statRat > kStatThr) {
            st.statCount = kStatCount;
        } else if ((st.vadReg & 0x4000) != 0 && st.statCount != 0) {
            st.statCount = static_cast<i16>(st.statCount - 1);
        }
    }
    i16 alpha = kAlpha4;
    if (st.statCount == kStatCount) alpha = 32767;
    else if ((st.vadReg & 0x4000) == 0) alpha = kAlpha5;
    for (int i = 0; i < kBands; ++i)
        st.aveLevel[i] = add16(st.aveLevel[i], mul16_round(alpha, sub16(level[i], st.aveLevel[i])));
}

void noise_estimate_update(ZinGSMAMRVad1State& st, const i16* level, i16 tone) {
    update_cntrl(st, level, tone);
    i16 up, down, bckrAdd = 2;
    if ((st.vadReg & 0x7800) == 0 && (st.pitch & 0x7800) == 0 && st.complexHangCount == 0) {
        up = kAlphaUp1;
        down = kAlphaDown1;
    } else if (st.statCount == 0 && st.complexHangCount == 0) {
        up = kAlphaUp2;
        down = kAlphaDown2;
    } else {
        up = 0;
        down = kAlpha3;
        bckrAdd = 0;
    }
    for (int i = 0; i < kBands; ++i) {
        const i16 d = sub16(st.oldLevel[i], st.bckrEst[i]);
        if (d < 0) {
            const i16 v = add16(-2, add16(st.bckrEst[i], mul16_round(down, d)));
            st.bckrEst[i] = v < kNoiseMin ? kNoiseMin : v;
        } else {
            const i16 v = add16(bckrAdd, add16(st.bckrEst[i], mul16_round(up, d)));
            st.bckrEst[i] = v > kNoiseMax ? kNoiseMax : v;
        }
    }
    for (int i = 0; i < kBands; ++i) st.oldLevel[i] = level[i];
}

void complex_estimate_adapt(ZinGSMAMRVad1State& st, i16 bestCorrHp, bool lowPower) {
    i16 alpha;
    if (st.corrHpFast < kCvadAdaptHigh) alpha = kCvadAdaptFast;
    else if (bestCorrHp < st.corrHpFast) alpha = kCvadAdaptReallyFast;
    else alpha = kCvadAdaptSlow;
    i32 l = i32{st.corrHpFast} << 16;
    l = fx::msu32(l, alpha, st.corrHpFast);
    l = fx::mac32(l, alpha, bestCorrHp);
    i16 v = fx::round16(l);
    if (v < kCvadMinCorr || lowPower) v = kCvadMinCorr;
    st.corrHpFast = v;
}

i16 complex_vad(ZinGSMAMRVad1State& st, bool lowPower) {
    st.complexHigh = static_cast<i16>(st.complexHigh >> 1);
    st.complexLow = static_cast<i16>(st.complexLow >> 1);
    if (!lowPower) {
        if (st.corrHpFast > kCvadAdaptHigh) st.complexHigh = static_cast<i16>(st.complexHigh | 0x4000);
        if (st.corrHpFast > kCvadAdaptLow) st.complexLow = static_cast<i16>(st.complexLow | 0x4000);
    }
    if (st.corrHpFast > kCvadHang) st.complexHangTimer = add16(st.complexHangTimer, 1);
    else st.complexHangTimer = 0;
    return static_cast<i16>((st.complexHigh & 0x7F80) == 0x7F80 || (st.complexLow & 0x7FFF) == 0x7FFF);
}

i16 hangover_addition(ZinGSMAMRVad1State& st, i16 noiseLevel, bool lowPower) {
    const i16 burstLen = noiseLevel > kHangNoiseThr ? 4 : 5;
    const i16 hangLen = noiseLevel > kHangNoiseThr ? 7 : 4;
    if (lowPower) {
        st.burstCount = 0;
        st.hangCount = 0;
        st.complexHangCount = 0;
        st.complexHangTimer = 0;
        return 0;
    }
    if (st.complexHangTimer > kCvadHangLimit && st.complexHangCount < kCvadHangLength)
        st.complexHangCount = kCvadHangLength;
    if (st.complexHangCount != 0) {
        st.burstCount = 4;
        st.complexHangCount = sub16(st.complexHangCount, 1);
        return 1;
    }
    if ((st.vadReg & 0x3FF0) == 0 && st.corrHpFast > kCvadInNoise) return 1;
    if ((st.vadReg & 0x4000) != 0) {
        st.burstCount = add16(st.burstCount, 1);
        if (st.burstCount >= burstLen) st.hangCount = hangLen;
        return 1;
    }
    st.burstCount = 0;
    if (st.hangCount > 0) {
        st.hangCount = sub16(st.hangCount, 1);
        return 1;
    }
    return 0;
}

i16 vad_decision(ZinGSMAMRVad1State& st, const i16* level, i32 pow, i16 bestCorrHp, i16 tone) {
    i32 acc = 0;
    for (int i = 0; i < kBands; ++i) {
        const i16 e = norm16(st.bckrEst[i]);
        const i16 den = shl16(st.bckrEst[i], e);
        i16 q = den > 0 ? div16(shr16(level[i], 1), den) : fx::kMax16;
        q = shl16(q, static_cast<i16>(e - 5));
        acc = fx::mac32(acc, q, q);
    }
    const i16 snrSum = mul16(static_cast<i16>(shl32(acc, 6) >> 16), kInvBands);

    i32 sum = 0;
    for (int i = 0; i < kBands; ++i) sum = fx::add32(sum, st.bckrEst[i]);
    const i16 noiseLevel = static_cast<i16>(shl32(sum, 13) >> 16);
    i16 thr = add16(mul16(kVadSlope, noiseLevel), kVadThrHigh);
    if (thr < kVadThrLow) thr = kVadThrLow;

    st.vadReg = static_cast<i16>(st.vadReg >> 1);
    if (snrSum > thr) st.vadReg = static_cast<i16>(st.vadReg | 0x4000);

    const bool lowPower = pow < kPowLow;
    complex_estimate_adapt(st, bestCorrHp, lowPower);
    st.complexWarning = complex_vad(st, lowPower);
    noise_estimate_update(st, level, tone);
    return hangover_addition(st, noiseLevel, lowPower);
}

}  // namespace

ZinStatus body::zinsVAD1_GSMAMR_16s(const Zin16s* pSrc, ZinGSMAMRVad1State* pState, Zin16s* pVadFlag,
                                    Zin16s maxHpCorr, Zin16s toneFlags) {
    if (!pSrc || !pState || !pVadFlag) return zinStsNullPtrErr;
    ZinGSMAMRVad1State& st = *pState;
    i32 pow = 0;
    for (int i = 0; i < kFrame; ++i) pow = fx::mac32(pow, pSrc[i], pSrc[i]);
    if (pow < kPowPitchThr) st.pitch = static_cast<i16>(st.pitch & 0x3FFF);
    if (pow < kPowLow) st.complexLow = static_cast<i16>(st.complexLow & 0x3FFF);
    i16 level[kBands];
    filter_bank(st, pSrc + 40, level);
    *pVadFlag = vad_decision(st, level, pow, maxHpCorr, toneFlags);
    return zinStsNoErr;
}

}  // namespace zin
