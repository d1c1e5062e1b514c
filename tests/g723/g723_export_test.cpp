// The _G723 exports one by one: argument checks in their documented order
// (a refused call writes nothing), determinism on every input pattern and
// misalignment, and the corner results the codec relies on. The results on
// speech are pinned by the reference's streams (frontend and codec tests).
#include <gtest/gtest.h>

#include "check.h"
#include "zinsc.h"

namespace {

using zt::Buf;
using zt::Gen;

// Frame-sized exports: one "length", every misalignment and pattern.
zt::Sweep frame_sweep() { return zt::Sweep{{1}, {0, 1, 2, 3, 5, 7}, {std::begin(zt::kPatterns), std::end(zt::kPatterns)}, {}}; }

template <class A>
void check_frame(const zt::Export<A>& e) {
    zt::check_statuses(e);
    zt::check_results(e, frame_sweep());
}

struct HpArgs {
    Buf<Zin16s> src, dst;
    Buf<Zin32s> mem;
    auto bufs() { return std::tie(src, dst, mem); }
};
TEST(G723Exports, HighPassFilter) {
    check_frame(zt::Export<HpArgs>{
        "zinsHighPassFilter_G723_16s",
        [](Gen& g) { return HpArgs{g.in16(240), g.out<Zin16s>(240), g.in32(2, -(1 << 20), 1 << 20)}; },
        [](HpArgs& a) { return zinsHighPassFilter_G723_16s(a.src, a.dst, a.mem); },
        nullptr,
        {zt::null(&HpArgs::src), zt::null(&HpArgs::dst), zt::null(&HpArgs::mem)}});
}

struct AcArgs {
    Buf<Zin16s> src, exp, dst;
    auto bufs() { return std::tie(src, exp, dst); }
};
TEST(G723Exports, AutoCorr) {
    check_frame(zt::Export<AcArgs>{
        "zinsAutoCorr_G723_16s",
        [](Gen& g) { return AcArgs{g.in16(180), g.out<Zin16s>(1), g.out<Zin16s>(11)}; },
        [](AcArgs& a) { return zinsAutoCorr_G723_16s(a.src, a.exp, a.dst); },
        nullptr,
        {zt::null(&AcArgs::src), zt::null(&AcArgs::exp), zt::null(&AcArgs::dst)}});
    // Silence: exponent 40 and all-zero lags.
    Zin16s x[180] = {}, r[11], e = 0;
    ASSERT_EQ(zinsAutoCorr_G723_16s(x, &e, r), zinStsNoErr);
    EXPECT_EQ(e, 40);
    for (Zin16s v : r) EXPECT_EQ(v, 0);
}

struct AcnArgs {
    Buf<Zin16s> src, dst;
    Buf<Zin32s> norm;
    auto bufs() { return std::tie(src, dst, norm); }
};
TEST(G723Exports, AutoCorrNormE) {
    check_frame(zt::Export<AcnArgs>{
        "zinsAutoCorr_NormE_G723_16s",
        [](Gen& g) { return AcnArgs{g.in16(180, -4096, 4096), g.out<Zin16s>(11), g.out<Zin32s>(1)}; },
        [](AcnArgs& a) { return zinsAutoCorr_NormE_G723_16s(a.src, a.dst, a.norm); },
        nullptr,
        {zt::null(&AcnArgs::src), zt::null(&AcnArgs::dst), zt::null(&AcnArgs::norm)}});
    // A lone sample: lag 0 is its corrected energy normalised, the lags vanish.
    Zin16s x[180] = {}, r[11];
    Zin32s norm = -1;
    x[0] = 1024;
    ASSERT_EQ(zinsAutoCorr_NormE_G723_16s(x, r, &norm), zinStsNoErr);
    EXPECT_EQ(norm, 10);  // 1024^2 * 1025/1024 = 0x100400 -> 10 shifts
    EXPECT_EQ(r[0], 0x4010);
    for (int k = 1; k <= 10; ++k) EXPECT_EQ(r[k], 0);
}

struct LdArgs {
    Buf<Zin16s> r, sine, energy, lpc;
    auto bufs() { return std::tie(r, sine, energy, lpc); }
};
TEST(G723Exports, LevinsonDurbin) {
    // The checks run autoCorr, lpc, energy, sine: not the argument order.
    check_frame(zt::Export<LdArgs>{
        "zinsLevinsonDurbin_G723_16s",
        [](Gen& g) {
            LdArgs a{g.in16(11, -8000, 8000), g.in16(1), g.out<Zin16s>(1), g.out<Zin16s>(10)};
            a.r[0] = 32000;
            return a;
        },
        [](LdArgs& a) { return zinsLevinsonDurbin_G723_16s(a.r, a.sine, a.energy, a.lpc); },
        nullptr,
        {zt::null(&LdArgs::r), zt::null(&LdArgs::lpc), zt::null(&LdArgs::energy), zt::null(&LdArgs::sine)}});
    // A first lag as large as the energy stops at stage 1: no LPC, the sine
    // flag shifted once with its low bit set, the energy untouched.
    Zin16s r[11] = {16000, 16000}, lpc[10], sine = 0x4001, energy = 0;
    ASSERT_EQ(zinsLevinsonDurbin_G723_16s(r, &sine, &energy, lpc), zinStsNoErr);
    for (Zin16s v : lpc) EXPECT_EQ(v, 0);
    EXPECT_EQ(sine, Zin16s(0x8003));
    EXPECT_EQ(energy, 16000);
    // A first-order process runs all ten stages with a second reflection of
    // about 0: the new bit is clear; its first coefficient is 0.5 in Q13.
    Zin16s r2[11] = {32000, 16000, 8000, 4000, 2000, 1000, 500, 250, 125, 62, 31};
    sine = 1;
    zinsLevinsonDurbin_G723_16s(r2, &sine, &energy, lpc);
    EXPECT_EQ(sine, 2);
    EXPECT_EQ(lpc[0], 4096);
}

struct L2lArgs {
    Buf<Zin16s> lpc, prev, lsf;
    auto bufs() { return std::tie(lpc, prev, lsf); }
};
TEST(G723Exports, LPCToLSF) {
    check_frame(zt::Export<L2lArgs>{
        "zinsLPCToLSF_G723_16s",
        [](Gen& g) { return L2lArgs{g.in16(10, -8192, 8192), g.in16(10, 0, 32767), g.out<Zin16s>(10)}; },
        [](L2lArgs& a) { return zinsLPCToLSF_G723_16s(a.lpc, a.prev, a.lsf); },
        nullptr,
        {zt::null(&L2lArgs::lpc), zt::null(&L2lArgs::prev), zt::null(&L2lArgs::lsf)}});
    // The flat filter has its ten roots, evenly spaced and ascending; a filter
    // without ten roots gives the previous vector back.
    Zin16s flat[10] = {}, prev[10], lsf[10];
    for (int i = 0; i < 10; ++i) prev[i] = Zin16s(1000 + i);
    ASSERT_EQ(zinsLPCToLSF_G723_16s(flat, prev, lsf), zinStsNoErr);
    for (int i = 1; i < 10; ++i) EXPECT_GT(lsf[i], lsf[i - 1]);
    Zin16s wild[10] = {32767, -32768, 32767, -32768, 32767, -32768, 32767, -32768, 32767, -32768};
    zinsLPCToLSF_G723_16s(wild, prev, lsf);
    for (int i = 0; i < 10; ++i) EXPECT_EQ(lsf[i], prev[i]);
}

struct LqArgs {
    Buf<Zin16s> lsf, prev;
    Buf<Zin32s> index;
    auto bufs() { return std::tie(lsf, prev, index); }
};
TEST(G723Exports, LSFQuant) {
    check_frame(zt::Export<LqArgs>{
        "zinsLSFQuant_G723_16s32s",
        [](Gen& g) { return LqArgs{g.in16(10, 0, 32767), g.in16(10, 0, 32767), g.out<Zin32s>(1)}; },
        [](LqArgs& a) { return zinsLSFQuant_G723_16s32s(a.lsf, a.prev, a.index); },
        nullptr,
        {zt::null(&LqArgs::lsf), zt::null(&LqArgs::prev), zt::null(&LqArgs::index)}});
}

struct LdecArgs {
    Buf<Zin16s> bands, prev;
    Zin32s erased;
    Buf<Zin16s> lsf;
    auto bufs() { return std::tie(bands, prev, lsf); }
};
TEST(G723Exports, LSFDecode) {
    check_frame(zt::Export<LdecArgs>{
        "zinsLSFDecode_G723_16s",
        [](Gen& g) { return LdecArgs{g.in16(3, 0, 255), g.in16(10, 0, 32767), g.pick(0, 1), g.out<Zin16s>(10)}; },
        [](LdecArgs& a) { return zinsLSFDecode_G723_16s(a.bands, a.prev, a.erased, a.lsf); },
        nullptr,
        {zt::null(&LdecArgs::bands), zt::null(&LdecArgs::prev), zt::null(&LdecArgs::lsf)}});
    const Zin16s dc[10] = {3131, 4721, 7690, 10806, 13872, 16495, 19752, 22260, 25484, 27718};
    Zin16s a[10], b[10];
    const Zin16s rows1[3] = {17, 200, 99}, rows2[3] = {0, 0, 0};
    // An erased frame ignores the rows.
    EXPECT_EQ(zinsLSFDecode_G723_16s(rows1, dc, 1, a), zinStsNoErr);
    EXPECT_EQ(zinsLSFDecode_G723_16s(rows2, dc, 1, b), zinStsNoErr);
    for (int i = 0; i < 10; ++i) EXPECT_EQ(a[i], b[i]);
    // From the mean the zero rows give the mean.
    EXPECT_EQ(zinsLSFDecode_G723_16s(rows2, dc, 0, a), zinStsNoErr);
    for (int i = 0; i < 10; ++i) EXPECT_EQ(a[i], dc[i]);
    // A prediction far out of order cannot be spread in ten passes: +13,
    // the last vector kept.
    Zin16s top[10];
    for (int i = 0; i < 10; ++i) top[i] = i % 2 ? Zin16s(-26348) : Zin16s(-6421);
    EXPECT_EQ(zinsLSFDecode_G723_16s(rows2, top, 1, a), zinStsLsfLowWarn);
}

struct L2pArgs {
    Buf<Zin16s> lsf, lpc;
    auto bufs() { return std::tie(lsf, lpc); }
};
TEST(G723Exports, LSFToLPC) {
    check_frame(zt::Export<L2pArgs>{
        "zinsLSFToLPC_G723_16s",
        [](Gen& g) { return L2pArgs{g.in16(10, 384, 32256), g.out<Zin16s>(10)}; },
        [](L2pArgs& a) { return zinsLSFToLPC_G723_16s(a.lsf, a.lpc); },
        [](L2pArgs& a) {
            // The in-place form on a copy is the plain statement of the copying one.
            Zin16s v[10];
            for (int i = 0; i < 10; ++i) v[i] = a.lsf[i];
            zinsLSFToLPC_G723_16s_I(v);
            for (int i = 0; i < 10; ++i) a.lpc[i] = v[i];
            return zinStsNoErr;
        },
        {zt::null(&L2pArgs::lsf), zt::null(&L2pArgs::lpc)}});
    EXPECT_EQ(zinsLSFToLPC_G723_16s_I(nullptr), zinStsNullPtrErr);
}

struct OlArgs {
    Buf<Zin16s> x, delay;
    auto bufs() { return std::tie(x, delay); }
};
TEST(G723Exports, OpenLoopPitchSearch) {
    check_frame(zt::Export<OlArgs>{
        "zinsOpenLoopPitchSearch_G723_16s",
        [](Gen& g) { return OlArgs{g.in16(142 + 120, -4096, 4095), g.out<Zin16s>(1)}; },
        [](OlArgs& a) { return zinsOpenLoopPitchSearch_G723_16s(a.x.at(142), a.delay); },
        nullptr,
        {zt::null(&OlArgs::x), zt::null(&OlArgs::delay)}});
    // A pulse train of period 40 is found at 40 (its multiples lose to it).
    std::vector<Zin16s> v(262, 0);
    for (int i = 262 - 1; i >= 0; i -= 40) v[i] = 3000;
    Zin16s d = 0;
    ASSERT_EQ(zinsOpenLoopPitchSearch_G723_16s(v.data() + 142, &d), zinStsNoErr);
    EXPECT_EQ(d, 40);
    // Silence keeps the initial lag 18.
    std::fill(v.begin(), v.end(), 0);
    zinsOpenLoopPitchSearch_G723_16s(v.data() + 142, &d);
    EXPECT_EQ(d, 18);
}

struct HsArgs {
    Zin16s delay;
    Buf<Zin16s> x, hdelay, hgain;
    auto bufs() { return std::tie(x, hdelay, hgain); }
};
TEST(G723Exports, HarmonicSearch) {
    check_frame(zt::Export<HsArgs>{
        "zinsHarmonicSearch_G723_16s",
        [](Gen& g) {
            return HsArgs{Zin16s(g.pick(18, 145)), g.in16(148 + 60, -4096, 4095), g.out<Zin16s>(1), g.out<Zin16s>(1)};
        },
        [](HsArgs& a) { return zinsHarmonicSearch_G723_16s(a.delay, a.x.at(148), a.hdelay, a.hgain); },
        nullptr,
        {zt::null(&HsArgs::x), zt::null(&HsArgs::hdelay), zt::null(&HsArgs::hgain),
         zt::set(zinStsSizeErr, &HsArgs::delay, 146), zt::set(zinStsSizeErr, &HsArgs::delay, 17)}});
    // A periodic signal: the lag of its period with the largest gain; noise-free
    // silence: the input delay and no gain.
    std::vector<Zin16s> v(208);
    for (int i = 0; i < 208; ++i) v[i] = Zin16s((i % 50) * 100 - 2500);
    Zin16s hd = 0, hg = -1;
    ASSERT_EQ(zinsHarmonicSearch_G723_16s(51, v.data() + 148, &hd, &hg), zinStsNoErr);
    EXPECT_EQ(hd, 50);
    EXPECT_EQ(hg, 0x2800);
    std::fill(v.begin(), v.end(), 0);
    zinsHarmonicSearch_G723_16s(60, v.data() + 148, &hd, &hg);
    EXPECT_EQ(hd, 60);
    EXPECT_EQ(hg, 0);
}

struct AcbArgs {
    Zin16s base;
    Buf<Zin16s> target, imp, exc;
    Buf<Zin32s> errors;
    Buf<Zin16s> lag, gain;
    Zin16s subframe, sine;
    ZinSpeechBitrate rate;
    auto bufs() { return std::tie(target, imp, exc, errors, lag, gain); }
};
zt::Export<AcbArgs> acb_export() {
    return {"zinsAdaptiveCodebookSearch_G723",
            [](Gen& g) {
                AcbArgs a{Zin16s(g.pick(18, 141)), g.in16(60, -8000, 8000), g.in16(60, -4000, 4000),
                          g.in16(145, -8000, 8000), g.in32(5, 4, 0x50000000), g.out<Zin16s>(1), g.out<Zin16s>(1),
                          Zin16s(g.pick(0, 4)), Zin16s(g.pick(-32768, 32767)), zt::by_off(g, {zinSpchBr6300, zinSpchBr5300})};
                a.imp[0] = 8192;
                return a;
            },
            [](AcbArgs& a) {
                return zinsAdaptiveCodebookSearch_G723(a.base, a.target, a.imp, a.exc, a.errors, a.lag, a.gain, a.subframe,
                                                       a.sine, a.rate);
            },
            nullptr,
            {zt::null(&AcbArgs::target), zt::null(&AcbArgs::imp), zt::null(&AcbArgs::exc), zt::null(&AcbArgs::errors),
             zt::null(&AcbArgs::lag), zt::null(&AcbArgs::gain), zt::set(zinStsRangeErr, &AcbArgs::subframe, 5),
             zt::set(zinStsRangeErr, &AcbArgs::base, 17),
             zt::set(zinStsRangeErr, &AcbArgs::rate, 3, "rate code 3")}};
}
TEST(G723Exports, AdaptiveCodebookSearch) {
    const auto e = acb_export();
    check_frame(e);
    Gen g;
    AcbArgs a = e.make(g);
    a.base = 142;
    a.subframe = 0;
    EXPECT_EQ(e.call(a), zinStsNoErr);
    // An even subframe clamps 142 to 140 and searches 139 to 141.
    EXPECT_GE(a.lag[0], 139);
    EXPECT_LE(a.lag[0], 141);
    a.subframe = 1;
    EXPECT_EQ(e.call(a), zinStsRangeErr);
    a.subframe = -1;
    a.base = 60;
    EXPECT_EQ(e.call(a), zinStsRangeErr);
    // A silent target scores nothing: the base lag with gain row 0.
    AcbArgs s = e.make(g);
    s.base = 60;
    s.subframe = 1;
    for (int i = 0; i < 60; ++i) s.target[i] = 0;
    ASSERT_EQ(e.call(s), zinStsNoErr);
    EXPECT_EQ(s.lag[0], 60);
    EXPECT_EQ(s.gain[0], 0);
}

struct MpArgs {
    Zin16s base;
    Buf<Zin16s> imp, target, code, grid, train, sign;
    Buf<Zin32s> pos;
    Zin16s subframe;
    auto bufs() { return std::tie(imp, target, code, grid, train, sign, pos); }
};
zt::Export<MpArgs> mpmlq_export() {
    return {"zinsMPMLQFixedCodebookSearch_G723",
            [](Gen& g) {
                MpArgs a{Zin16s(g.pick(18, 145)), g.in16(60, -4000, 4000), g.in16(60, -8000, 8000), g.out<Zin16s>(60),
                         g.out<Zin16s>(1), g.out<Zin16s>(1), g.out<Zin16s>(1), g.out<Zin32s>(1), Zin16s(g.pick(0, 3))};
                a.imp[0] = 8192;
                return a;
            },
            [](MpArgs& a) {
                return zinsMPMLQFixedCodebookSearch_G723(a.base, a.imp, a.target, a.code, a.grid, a.train, a.sign, a.pos,
                                                         a.subframe);
            },
            nullptr,
            {zt::null(&MpArgs::imp), zt::null(&MpArgs::target), zt::null(&MpArgs::code), zt::null(&MpArgs::grid),
             zt::null(&MpArgs::train), zt::null(&MpArgs::sign), zt::null(&MpArgs::pos),
             zt::set(zinStsRangeErr, &MpArgs::base, 146), zt::set(zinStsRangeErr, &MpArgs::subframe, 4)}};
}
TEST(G723Exports, MPMLQFixedCodebookSearch) {
    const auto e = mpmlq_export();
    check_frame(e);
    // Pulses: 6 in even subframes, 5 in odd ones, on the chosen grid; the
    // train only where the lag is below 58.
    Gen g;
    MpArgs a = e.make(g);
    for (Zin16s sf : {0, 1}) {
        a.subframe = sf;
        a.base = 58;
        ASSERT_EQ(e.call(a), zinStsNoErr);
        EXPECT_EQ(a.train[0], 0);
        int n = 0;
        for (int i = 0; i < 60; ++i)
            if (a.code[i]) {
                ++n;
                EXPECT_EQ(i % 2, a.grid[0]);
            }
        EXPECT_EQ(n, sf == 0 ? 6 : 5);
    }
    // A target made of a pulse train of period 20 through h = delta prefers the train.
    for (int i = 0; i < 60; ++i) a.imp[i] = i == 0 ? 8192 : 0;
    for (int i = 0; i < 60; ++i) a.target[i] = 0;
    for (int i = 3; i < 60; i += 20) a.target[i] = 4000;
    a.base = 20;
    a.subframe = 1;
    ASSERT_EQ(e.call(a), zinStsNoErr);
    EXPECT_EQ(a.train[0], 1);
}

struct GqArgs {
    Buf<Zin16s> imp, target, impcorr;
    Buf<Zin32s> corr;
    Buf<Zin16s> best;
    Zin16s grid;
    Buf<Zin16s> map;
    int pulses;
    Buf<Zin32s> score;
    auto bufs() { return std::tie(imp, target, impcorr, corr, best, map, score); }
};
TEST(G723Exports, GainQuant) {
    check_frame(zt::Export<GqArgs>{
        "zinsGainQuant_G723_16s",
        [](Gen& g) {
            GqArgs a{g.in16(60, -4000, 4000), g.in16(60, -8000, 8000), g.in16(60, -16000, 16000), g.in32(60, -1 << 24, 1 << 24),
                     g.in16(14, 0, 20), Zin16s(g.pick(0, 1)), g.out<Zin16s>(60), g.pick(5, 6),
                     g.val<Zin32s>(Zin32s(0xC0000000u))};
            a.impcorr[0] = 32000;
            return a;
        },
        [](GqArgs& a) {
            return zinsGainQuant_G723_16s(a.imp, a.target, a.impcorr, a.corr, a.best, a.grid, a.map, a.pulses, a.score);
        },
        nullptr,
        {zt::null(&GqArgs::imp), zt::null(&GqArgs::target), zt::null(&GqArgs::impcorr), zt::null(&GqArgs::corr),
         zt::null(&GqArgs::best), zt::null(&GqArgs::map), zt::null(&GqArgs::score),
         zt::set(zinStsBadArgErr, &GqArgs::pulses, 4, "4 pulses"), zt::set(zinStsBadArgErr, &GqArgs::pulses, 7, "7 pulses")}});
}

}  // namespace

namespace {

struct TzArgs {
    Buf<Zin16s> h;
    Buf<Zin32s> rr;
    auto bufs() { return std::tie(h, rr); }
};
TEST(G723Exports, ToeplizMatrix) {
    check_frame(zt::Export<TzArgs>{
        "zinsToeplizMatrix_G723_16s32s",
        [](Gen& g) { return TzArgs{g.in16(60), g.out<Zin32s>(416)}; },
        [](TzArgs& a) { return zinsToeplizMatrix_G723_16s32s(a.h, a.rr); },
        [](TzArgs& a) {
            // The narrowing form, widened back, is the same matrix.
            Zin16s r16[416];
            EXPECT_EQ(zinsToeplizMatrix_G723_16s(a.h, r16), zinStsNoErr);
            for (int i = 0; i < 416; ++i) a.rr[i] = r16[i];
            return zinStsNoErr;
        },
        {zt::null(&TzArgs::h), zt::null(&TzArgs::rr)}});
    Zin16s h[60] = {}, r16[416];
    EXPECT_EQ(zinsToeplizMatrix_G723_16s(nullptr, r16), zinStsNullPtrErr);
    EXPECT_EQ(zinsToeplizMatrix_G723_16s(h, nullptr), zinStsNullPtrErr);
    // A unit impulse (scaled up to 0x4000 by its energy): the diagonal is its
    // doubled energy inside the subframe, nothing at positions 60 and 62, and
    // no correlation between distinct positions.
    h[0] = 1024;
    Zin32s rr[416];
    ASSERT_EQ(zinsToeplizMatrix_G723_16s32s(h, rr), zinStsNoErr);
    for (int t = 0; t < 4; ++t)
        for (int j = 0; j < 8; ++j) EXPECT_EQ(rr[8 * t + j], 2 * t + 8 * j < 60 ? 0x4000 * 2 * 0x4000 >> 16 : 0);
    for (int i = 32; i < 416; ++i) EXPECT_EQ(rr[i], 0);
}

}  // namespace
