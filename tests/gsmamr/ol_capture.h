// Capture of the reference's open-loop pitch search for one frame: the
// weighting filter (pre_big, two sub-frames a call) and the search (ol_ltp,
// once or twice a frame) are wrapped; when the frame's last search returns,
// the export runs on the inputs kept at the frame's start and every output
// and updated word is compared. Included by one source of each test binary,
// with the VAD record of its build.
#pragma once

#include <cstdlib>
#include <memory>
#include <vector>

#include "capture.h"
#include "zinsc.h"

extern "C" {
// p_ol_wgh.h: pitchOLWghtState
struct PeerOlWeight {
    std::int16_t old_T0_med, ada_w, wght_flg;
};
void Weight_Ai(std::int16_t a[], const std::int16_t fac[], std::int16_t a_exp[]);
void __real_pre_big(int mode, const std::int16_t gamma1[], const std::int16_t gamma1_12k2[],
                    const std::int16_t gamma2[], std::int16_t A_t[], std::int16_t frameOffset, std::int16_t speech[],
                    std::int16_t mem_w[], std::int16_t wsp[], int* pOverflow);
void __real_ol_ltp(PeerOlWeight* st, void* vadSt, int mode, std::int16_t wsp[], std::int16_t* T_op,
                   std::int16_t old_lags[], std::int16_t ol_gain_flg[], std::int16_t idx, int dtx, int* pOverflow);
std::int16_t __real_hp_max(std::int32_t corr[], std::int16_t scal_sig[], std::int16_t L_frame, std::int16_t lag_max,
                           std::int16_t lag_min, std::int16_t* cor_hp_max, int* pOverflow);
}

namespace amrcap {

// The high-pass correlation maximum as this library states it: the
// quotient in 32-bit division keeps the numerator's low bits.
inline std::int16_t hp_max_statement(const std::int32_t* corr, const std::int16_t* s, int len, int lagMax, int lagMin) {
    auto sat = [](std::int64_t v) {
        return static_cast<std::int32_t>(v > INT32_MAX ? INT32_MAX : (v < INT32_MIN ? INT32_MIN : v));
    };
    std::int32_t m = INT32_MIN;
    for (int l = lagMax - 1; l > lagMin; --l) {
        std::int64_t t = std::int64_t{sat(2 * std::int64_t{corr[-l]})} - corr[-l - 1];
        t = std::int64_t{sat(t)} - corr[-l + 1];
        std::int32_t a = sat(t);
        a = a == INT32_MIN ? INT32_MAX : (a < 0 ? -a : a);
        if (a >= m) m = a;
    }
    std::int64_t e0 = 0, e1 = 0;
    for (int n = 0; n < len; ++n) {
        e0 += std::int32_t{s[n]} * s[n];
        e1 += std::int32_t{s[n]} * s[n - 1];
    }
    const std::int64_t d = std::int64_t{sat(4 * e0)} - sat(4 * e1);
    std::int32_t dd = sat(d);
    dd = dd == INT32_MIN ? INT32_MAX : (dd < 0 ? -dd : dd);
    auto norm = [](std::int32_t x) { return x == 0 ? 0 : __builtin_clz(static_cast<unsigned>(x)) - 1; };
    const int nm = norm(m), nd = norm(dd);
    const std::int32_t mn = static_cast<std::int32_t>(static_cast<std::uint32_t>(m) << nm);
    const std::int32_t dn = static_cast<std::int32_t>(static_cast<std::uint32_t>(dd) << nd);
    const std::int16_t q = (dn >> 16) != 0 ? static_cast<std::int16_t>((mn >> 2) / (dn >> 16)) : 0;
    const int shift = nm - 1 - nd;
    if (shift >= 0) return static_cast<std::int16_t>(q >> (shift > 15 ? 15 : shift));
    std::int32_t v = std::int32_t{q} << (-shift > 16 ? 16 : -shift);
    return static_cast<std::int16_t>(v > 32767 ? 32767 : (v < -32768 ? -32768 : v));
}

// What is kept of one frame between its first pre_big and its last ol_ltp.
struct OlFrame {
    bool open = false;
    int searches = 0;
    int mode = 0;
    std::vector<Zin16s> num, den, speech, wspHistory;
    std::int16_t* wsp = nullptr;
    Zin16s median = 0, weight = 0, oldLags[5] = {}, gain[2] = {}, tone = 0;
    Zin32s sums[2] = {};
    Zin16s lags[2] = {};
    int hpCalls = 0;
    Zin16s hpReference = 0, hpStatement = 0;
};

inline OlFrame& ol() {
    static OlFrame f;
    return f;
}

inline void ol_pre_big(int mode, const std::int16_t* g1, const std::int16_t* g1_122, const std::int16_t* g2,
                       std::int16_t* A_t, std::int16_t frameOffset, std::int16_t* speech, std::int16_t* mem_w,
                       std::int16_t* wsp) {
    OlFrame& f = ol();
    if (frameOffset == 0) {
        f = OlFrame{};
        f.open = true;
        f.mode = mode;
        f.speech.assign(speech - 10, speech + 160);
        f.wspHistory.assign(wsp - 143, wsp);
        f.wsp = wsp;
        for (int i = 0; i < 10; ++i)
            if (mem_w[i] != wsp[-10 + i]) cap().mismatch("pre_big", "the filter memory is not the weighted history");
        f.num.resize(44);
        f.den.resize(44);
        for (int sf = 0; sf < 4; ++sf) {
            Weight_Ai(A_t + 11 * sf, mode <= 5 ? g1 : g1_122, f.num.data() + 11 * sf);
            Weight_Ai(A_t + 11 * sf, g2, f.den.data() + 11 * sf);
        }
    }
}

// Runs the export matching the build and the DTX flag and compares. `vad`
// gives the tone register and the high-pass maximum (option 1) or the two
// sums (option 2) as they stand: before the frame, then after it.
template <typename VadAccess>
void ol_after_search(PeerOlWeight* st, std::int16_t* T_op, std::int16_t* old_lags, std::int16_t* gain,
                     std::int16_t idx, int dtx, bool last, VadAccess& vad) {
    OlFrame& f = ol();
    if (!f.open) return;
    f.lags[idx] = *T_op;
    if (f.mode <= 1) f.lags[0] = f.lags[1] = *T_op;
    if (!last) return;
    f.open = false;
    const int rate = rate_code(f.mode);
    auto lags = std::make_unique<Zin16s[]>(2);
    auto flags = std::make_unique<Zin16s[]>(2);
    flags[0] = f.gain[0];
    flags[1] = f.gain[1];
    auto median = std::make_unique<Zin16s>(f.median);
    auto weight = std::make_unique<Zin16s>(f.weight);
    std::vector<Zin16s> oldLags(f.oldLags, f.oldLags + 5), hist = f.wspHistory;
    auto tone = std::make_unique<Zin16s>(f.tone);
    auto hp = std::make_unique<Zin16s>(-1);
    auto sums = std::make_unique<Zin32s[]>(2);
    sums[0] = f.sums[0];
    sums[1] = f.sums[1];
    ZinStatus s;
    const char* fn;
    if (!dtx) {
        fn = "ol NonDTX";
        s = zinsOpenLoopPitchSearchNonDTX_GSMAMR_16s(f.num.data(), f.den.data(), f.speech.data(), median.get(),
                                                     weight.get(), oldLags.data(), hist.data(), lags.get(),
                                                     flags.get(), static_cast<ZinSpeechBitrate>(rate));
    } else if (VadAccess::kOption == 1) {
        fn = "ol DTXVAD1";
        s = zinsOpenLoopPitchSearchDTXVAD1_GSMAMR_16s(f.num.data(), f.den.data(), f.speech.data(), tone.get(),
                                                      median.get(), weight.get(), oldLags.data(), hist.data(),
                                                      hp.get(), lags.get(), flags.get(),
                                                      static_cast<ZinSpeechBitrate>(rate));
    } else {
        fn = "ol DTXVAD2";
        s = zinsOpenLoopPitchSearchDTXVAD2_GSMAMR_16s32s(f.num.data(), f.den.data(), f.speech.data(), median.get(),
                                                         weight.get(), oldLags.data(), hist.data(), &sums[0],
                                                         &sums[1], lags.get(), flags.get(),
                                                         static_cast<ZinSpeechBitrate>(rate));
    }
    cap().calls[fn]++;
    cap().calls[std::string(fn) + " rate " + std::to_string(rate)]++;
    if (s != zinStsNoErr) cap().mismatch(fn, "status " + std::to_string(s));
    same(fn, "lags", f.lags, lags.get(), 2);
    same(fn, "gain flags", gain, flags.get(), 2);
    same(fn, "oldT0Median", &st->old_T0_med, median.get(), 1);
    same(fn, "adaptiveWeight", &st->ada_w, weight.get(), 1);
    same(fn, "oldLags", old_lags, oldLags.data(), 5);
    same(fn, "wspHistory", f.wsp + 17, hist.data(), 143);
    if (rate == 11 && gain[0] > 0) cap().calls["ol weighted voiced halves"]++;
    if (dtx && VadAccess::kOption == 1) {
        Zin16s refTone = vad.tone(), refHp = vad.hp();
        same(fn, "tone", &refTone, tone.get(), 1);
        if (f.hpCalls != 1) cap().mismatch(fn, "hp_max not reached once in the frame");
        // The statement's quotient keeps the low bits the reference drops.
        same(fn, "maxHpCorr (statement)", &f.hpStatement, hp.get(), 1);
        if (refHp != f.hpReference) cap().mismatch(fn, "hp_max result not stored");
        if (*hp != refHp) cap().calls["ol maxHpCorr departs by the kept low bits"]++;
        if (refTone & 0x4000) cap().calls["ol tone"]++;
    }
    if (dtx && VadAccess::kOption == 2) {
        const Zin32s want[2] = {vad.rmax(), vad.r0()};
        same(fn, "maxCorrSum/energySum", want, sums.get(), 2);
    }
}

template <typename VadAccess>
void ol_before_search(PeerOlWeight* st, std::int16_t* old_lags, std::int16_t* gain, VadAccess& vad) {
    OlFrame& f = ol();
    if (!f.open || f.searches++ != 0) return;
    f.median = st->old_T0_med;
    f.weight = st->ada_w;
    if ((st->ada_w >= 9830) != (st->wght_flg != 0)) cap().mismatch("ol_ltp", "weighting flag not the weight's");
    for (int i = 0; i < 5; ++i) f.oldLags[i] = old_lags[i];
    f.gain[0] = gain[0];
    f.gain[1] = gain[1];
    if constexpr (VadAccess::kOption == 1) f.tone = vad.tone();
    if constexpr (VadAccess::kOption == 2) {
        f.sums[0] = vad.rmax();
        f.sums[1] = vad.r0();
    }
}

inline void ol_hp_max(const std::int32_t* corr, const std::int16_t* s, int len, int lagMax, int lagMin,
                      std::int16_t result) {
    OlFrame& f = ol();
    ++f.hpCalls;
    f.hpReference = result;
    f.hpStatement = hp_max_statement(corr, s, len, lagMax, lagMin);
}

}  // namespace amrcap
