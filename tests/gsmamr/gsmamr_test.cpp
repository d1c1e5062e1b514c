// GSM-AMR exports on the checking harness: the statuses in their order on
// exact-size buffers, determinism, and the cases the captured reference
// calls cannot reach (the library's deliberate departures among them). What
// the reference computes is compared in peer_capture_test.cpp.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "check.h"
#include "zinsc.h"

namespace {

using zt::Buf;
using zt::Gen;

constexpr ZinGSMAMRVad1State kVad1Reset = ZIN_GSMAMR_VAD1_RESET;
constexpr int kRates[] = {0, 1, 3, 6, 7, 8, 11, 12, 25};
constexpr int kIllegalRates[] = {-1, 2, 4, 5, 9, 10, 13, 24, 26, 1000};

// One frame-sized run per misalignment and pattern: determinism and canaries.
zt::Sweep frame_sweep() { return zt::Sweep{{160}, {0, 1, 2, 3, 5, 7}}; }

// ---- VAD option 1 ---------------------------------------------------------

struct Vad1 {
    Buf<int16_t> src;
    Buf<ZinGSMAMRVad1State> st;
    Buf<int16_t> flag;
    int16_t hp, tone;
    auto bufs() { return std::tie(src, st, flag); }
};

TEST(GsmAmr, Vad1StatusesAndDeterminism) {
    zt::check(zt::Export<Vad1>{"zinsVAD1_GSMAMR_16s",
                               [](Gen& g) {
                                   return Vad1{g.in16(200), Buf<ZinGSMAMRVad1State>({kVad1Reset}, 0), g.out<int16_t>(1),
                                               static_cast<int16_t>(g.pick(0, 32767)),
                                               static_cast<int16_t>(g.pick(0, 32767))};
                               },
                               [](Vad1& a) { return zinsVAD1_GSMAMR_16s(a.src, a.st, a.flag, a.hp, a.tone); },
                               nullptr,
                               {zt::null(&Vad1::src), zt::null(&Vad1::st), zt::null(&Vad1::flag)}},
              frame_sweep());
}

TEST(GsmAmr, Vad1DigitalSilence) {
    ZinGSMAMRVad1State st = kVad1Reset;
    st.corrHpFast = 30000;
    st.pitch = static_cast<Zin16s>(0x7FFF);
    st.complexLow = static_cast<Zin16s>(0x7FFF);
    st.burstCount = 3;
    st.hangCount = 5;
    const std::vector<Zin16s> silence(200, 0);
    Zin16s flag = -1;
    ASSERT_EQ(zinsVAD1_GSMAMR_16s(silence.data(), &st, &flag, 32767, 0), zinStsNoErr);
    EXPECT_EQ(flag, 0);
    EXPECT_EQ(st.corrHpFast, 13106);            // low power resets the fast correlation
    EXPECT_EQ(st.pitch & 0x4000, 0);            // the two newest pitch flags cleared, then shifted
    EXPECT_EQ(st.complexLow & 0x6000, 0);
    EXPECT_EQ(st.burstCount, 0);
    EXPECT_EQ(st.hangCount, 0);
}

// ---- DTX ------------------------------------------------------------------

struct Handler {
    Buf<int16_t> hang, elapsed, rate, sid;
    int16_t vad;
    auto bufs() { return std::tie(hang, elapsed, rate, sid); }
};

TEST(GsmAmr, DtxHandlerAgainstItsStatement) {
    zt::check(zt::Export<Handler>{
                  "zinsEncDTXHandler_GSMAMR_16s",
                  [](Gen& g) {
                      return Handler{g.val<int16_t>(static_cast<int16_t>(g.pick(0, 7))),
                                     g.val<int16_t>(static_cast<int16_t>(g.pick(0, 3) == 0 ? 32767 : g.pick(0, 40))),
                                     g.val<int16_t>(static_cast<int16_t>(kRates[g.pick(0, 7)])), g.out<int16_t>(1),
                                     static_cast<int16_t>(g.pick(0, 1))};
                  },
                  [](Handler& a) { return zinsEncDTXHandler_GSMAMR_16s(a.hang, a.elapsed, a.rate, a.sid, a.vad); },
                  [](Handler& a) {
                      if (a.elapsed[0] != 32767) ++a.elapsed[0];
                      a.sid[0] = 0;
                      if (a.vad) {
                          a.hang[0] = 7;
                      } else if (a.hang[0] == 0) {
                          a.elapsed[0] = 0;
                          a.rate[0] = 25;
                          a.sid[0] = 1;
                      } else if (--a.hang[0] + a.elapsed[0] < 30) {
                          a.rate[0] = 25;
                      }
                      return zinStsNoErr;
                  },
                  {zt::null(&Handler::hang), zt::null(&Handler::elapsed), zt::null(&Handler::rate),
                   zt::null(&Handler::sid)}},
              zt::Sweep{{1}, {0, 1, 2, 3, 4, 5, 6, 7}});
    // hangCount + elapsed at exactly 30 leaves the rate alone.
    Zin16s hang = 1, elapsed = 29, rate = 12, sid = -1;
    ASSERT_EQ(zinsEncDTXHandler_GSMAMR_16s(&hang, &elapsed, &rate, &sid, 0), zinStsNoErr);
    EXPECT_EQ(hang, 0);
    EXPECT_EQ(elapsed, 30);
    EXPECT_EQ(rate, 12);
    EXPECT_EQ(sid, 0);
}

struct Buffer {
    Buf<int16_t> src, lsp, ptr, lspHist, logEn;
    auto bufs() { return std::tie(src, lsp, ptr, lspHist, logEn); }
};

Buffer make_buffer(Gen& g) {
    return Buffer{g.in16(160), g.in16(10, 0, 32767), g.val<int16_t>(static_cast<int16_t>(g.pick(0, 7))),
                  g.in16(80), g.in16(8)};
}

std::vector<zt::Check<Buffer>> buffer_checks() {
    return {zt::null(&Buffer::src), zt::null(&Buffer::lsp), zt::null(&Buffer::ptr), zt::null(&Buffer::lspHist),
            zt::null(&Buffer::logEn)};
}

TEST(GsmAmr, DtxBuffersStatusesAndDeterminism) {
    zt::check(zt::Export<Buffer>{"zinsEncDTXBuffer_GSMAMR_16s", make_buffer,
                                 [](Buffer& a) { return zinsEncDTXBuffer_GSMAMR_16s(a.src, a.lsp, a.ptr, a.lspHist, a.logEn); },
                                 nullptr, buffer_checks()},
              frame_sweep());
    zt::check(zt::Export<Buffer>{"zinsDecDTXBuffer_GSMAMR_16s", make_buffer,
                                 [](Buffer& a) { return zinsDecDTXBuffer_GSMAMR_16s(a.src, a.lsp, a.ptr, a.lspHist, a.logEn); },
                                 nullptr, buffer_checks()},
              frame_sweep());
}

TEST(GsmAmr, DtxBufferWrapsAndHalvesOnTheEncoderSide) {
    std::vector<Zin16s> src(160), lsp(10), encHist(80, 7), decHist(80, 7), encLog(8, 7), decLog(8, 7);
    for (int i = 0; i < 160; ++i) src[i] = static_cast<Zin16s>((i * 97) % 2001 - 1000);
    for (int i = 0; i < 10; ++i) lsp[i] = static_cast<Zin16s>(30000 - 3000 * i);
    Zin16s encPtr = 7, decPtr = 7;
    ASSERT_EQ(zinsEncDTXBuffer_GSMAMR_16s(src.data(), lsp.data(), &encPtr, encHist.data(), encLog.data()), zinStsNoErr);
    ASSERT_EQ(zinsDecDTXBuffer_GSMAMR_16s(src.data(), lsp.data(), &decPtr, decHist.data(), decLog.data()), zinStsNoErr);
    EXPECT_EQ(encPtr, 0);  // 7 leads to row 0
    EXPECT_EQ(decPtr, 0);
    EXPECT_EQ(std::vector<Zin16s>(encHist.begin(), encHist.begin() + 10), lsp);
    EXPECT_EQ(encHist[10], 7);
    EXPECT_EQ(encLog[0], decLog[0] >> 1);
    EXPECT_EQ(encLog[1], 7);
    // Silence: log2 of nothing is taken as 0, less log2(160) in Q10.
    const std::vector<Zin16s> silence(160, 0);
    ASSERT_EQ(zinsDecDTXBuffer_GSMAMR_16s(silence.data(), lsp.data(), &decPtr, decHist.data(), decLog.data()), zinStsNoErr);
    EXPECT_EQ(decLog[1], -8521);
}

struct Sid {
    Buf<int16_t> lspHist, logEn, logEnIndex, initIndex, indices, quaEn, quaEn122;
    int16_t flag;
    auto bufs() { return std::tie(lspHist, logEn, logEnIndex, initIndex, indices, quaEn, quaEn122); }
};

Sid make_sid(Gen& g) {
    // Ordered LSPs, as the encoder's history holds them.
    std::vector<int16_t> h(80);
    for (int r = 0; r < 8; ++r)
        for (int i = 0; i < 10; ++i) h[r * 10 + i] = static_cast<int16_t>(30000 - 6000 * i + g.pick(-500, 500));
    return Sid{Buf<int16_t>(h, 1), g.in16(8, -9000, 9000), g.out<int16_t>(1), g.out<int16_t>(1), g.out<int16_t>(3),
               g.out<int16_t>(4), g.out<int16_t>(4), 1};
}

TEST(GsmAmr, DtxSidStatusesAndDeterminism) {
    zt::check(zt::Export<Sid>{"zinsEncDTXSID_GSMAMR_16s", make_sid,
                              [](Sid& a) {
                                  return zinsEncDTXSID_GSMAMR_16s(a.lspHist, a.logEn, a.logEnIndex, a.initIndex,
                                                                  a.indices, a.quaEn, a.quaEn122, a.flag);
                              },
                              nullptr,
                              {zt::null(&Sid::lspHist), zt::null(&Sid::logEn), zt::null(&Sid::logEnIndex),
                               zt::null(&Sid::initIndex), zt::null(&Sid::indices), zt::null(&Sid::quaEn),
                               zt::null(&Sid::quaEn122)}},
              frame_sweep());
}

TEST(GsmAmr, DtxSidWithoutItsFlagWritesNothing) {
    Gen g;
    Sid a = make_sid(g);
    a.flag = 0;
    Sid before = a;
    EXPECT_EQ(zinsEncDTXSID_GSMAMR_16s(a.lspHist, a.logEn, a.logEnIndex, a.initIndex, a.indices, a.quaEn, a.quaEn122,
                                       a.flag),
              zinStsNoErr);
    zt::same(before, a, "computeSidFlag 0");
    // With the flag, the energy index and both predictor memories follow
    // from the averaged log energy: index clamp((mean + 2688) >> 8, 0, 63).
    for (int i = 0; i < 8; ++i) a.logEn[i] = 2000;
    a.flag = 1;
    ASSERT_EQ(zinsEncDTXSID_GSMAMR_16s(a.lspHist, a.logEn, a.logEnIndex, a.initIndex, a.indices, a.quaEn, a.quaEn122,
                                       a.flag),
              zinStsNoErr);
    EXPECT_EQ(a.logEnIndex[0], (2000 * 8 / 4 / 2 + 2688) >> 8);
    const int en = std::clamp((a.logEnIndex[0] << 8) - 11560, -14436, 0);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(a.quaEn[i], en);
        EXPECT_EQ(a.quaEn122[i], (5443 * en) >> 15);
    }
    EXPECT_GE(a.initIndex[0], 0);
    EXPECT_LE(a.initIndex[0], 7);
}

// ---- VAD option 2 ----------------------------------------------------------

struct Vad2 {
    Buf<int16_t> src;
    Buf<ZinGSMAMRVad2State> st;
    Buf<int16_t> flag;
    int32_t ltp;
    auto bufs() { return std::tie(src, st, flag); }
};

TEST(GsmAmr, Vad2StatusesAndDeterminism) {
    zt::check(zt::Export<Vad2>{"zinsVAD2_GSMAMR_16s",
                               [](Gen& g) {
                                   return Vad2{g.in16(160), Buf<ZinGSMAMRVad2State>({ZinGSMAMRVad2State{}}, 0),
                                               g.out<int16_t>(1), g.pick(0, 1)};
                               },
                               [](Vad2& a) { return zinsVAD2_GSMAMR_16s(a.src, a.st, a.flag, a.ltp); },
                               nullptr,
                               {zt::null(&Vad2::src), zt::null(&Vad2::st), zt::null(&Vad2::flag)}},
              frame_sweep());
}

TEST(GsmAmr, Vad2SetsTheNoiseUpOverFourHalfFrames) {
    ZinGSMAMRVad2State st{};
    std::vector<Zin16s> src(160);
    for (int i = 0; i < 160; ++i) src[i] = static_cast<Zin16s>(((i * 7919) % 4001) - 2000);
    Zin16s flag;
    ASSERT_EQ(zinsVAD2_GSMAMR_16s(src.data(), &st, &flag, 0), zinStsNoErr);
    EXPECT_EQ(st.frameCnt, 2);
    // Louder frames: the noise follows the energy during the set-up only.
    for (auto& x : src) x = static_cast<Zin16s>(x * 8);
    ASSERT_EQ(zinsVAD2_GSMAMR_16s(src.data(), &st, &flag, 0), zinStsNoErr);
    const ZinGSMAMRVad2State afterSetup = st;
    EXPECT_EQ(st.frameCnt, 4);
    for (auto& x : src) x = static_cast<Zin16s>(x * 2);
    ASSERT_EQ(zinsVAD2_GSMAMR_16s(src.data(), &st, &flag, 0), zinStsNoErr);
    EXPECT_EQ(st.frameCnt, 6);
    int moved = 0;
    for (int c = 0; c < 16; ++c) moved += st.chNoise[c] != afterSetup.chNoise[c];
    EXPECT_LT(moved, 16);  // no longer a copy of the channel energies
}

TEST(GsmAmr, Vad2RescalesThePreemphasisMemoryWithoutRounding) {
    // The last block shift 5, a frame whose shift is 3: the memory goes
    // right by 2. Memories 3 and 0 are equal under a plain shift (the
    // reference's rounding would give 1 and 0), so the whole result is too.
    std::vector<Zin16s> src(160);
    for (int i = 0; i < 160; ++i) src[i] = static_cast<Zin16s>(i % 2 ? 800 : -700);  // block shift 3
    ZinGSMAMRVad2State a{}, b{};
    a.frameCnt = b.frameCnt = 10;
    a.lastBlockShift = b.lastBlockShift = 5;
    for (int c = 0; c < 16; ++c) a.chEnergy[c] = b.chEnergy[c] = a.chNoise[c] = b.chNoise[c] = 5000;
    a.preEmpMem = 3;
    b.preEmpMem = 0;
    Zin16s fa, fb;
    ASSERT_EQ(zinsVAD2_GSMAMR_16s(src.data(), &a, &fa, 0), zinStsNoErr);
    ASSERT_EQ(zinsVAD2_GSMAMR_16s(src.data(), &b, &fb, 0), zinStsNoErr);
    EXPECT_EQ(fa, fb);
    EXPECT_EQ(std::memcmp(&a, &b, sizeof a), 0);
    // A memory of 4 does move the result: the shift is taken at all.
    ZinGSMAMRVad2State c{};
    c.frameCnt = 10;
    c.lastBlockShift = 5;
    for (int k = 0; k < 16; ++k) c.chEnergy[k] = c.chNoise[k] = 5000;
    c.preEmpMem = 16384;
    Zin16s fc;
    ASSERT_EQ(zinsVAD2_GSMAMR_16s(src.data(), &c, &fc, 0), zinStsNoErr);
    EXPECT_NE(std::memcmp(&a.chEnergy, &c.chEnergy, sizeof a.chEnergy), 0);
}

TEST(GsmAmr, FftStatusAndDcNyquist) {
    EXPECT_EQ(zinsFFTFwd_RToPerm_GSMAMR_16s_I(nullptr), zinStsNullPtrErr);
    // A constant block: all of it lands in the DC term, halved six times
    // and combined once; the other bins stay at rounding level.
    Buf<int16_t> d(std::vector<int16_t>(128, 8192), 3);
    ASSERT_EQ(zinsFFTFwd_RToPerm_GSMAMR_16s_I(d), zinStsNoErr);
    EXPECT_NEAR(d[0], 16384, 8);  // re + im of the complex DC term
    EXPECT_NEAR(d[1], 0, 2);
    for (int i = 2; i < 128; ++i) EXPECT_NEAR(d[i], 0, 2) << i;
    EXPECT_TRUE(d.canary_intact());
}

// ---- Open-loop pitch searches ----------------------------------------------

struct Ol {
    Buf<int16_t> num, den, speech, tone, median, weight, oldLags, hist, hp;
    Buf<int32_t> corrSum, energySum;
    Buf<int16_t> lags, flags;
    int rate;
    auto bufs() {
        return std::tie(num, den, speech, tone, median, weight, oldLags, hist, hp, corrSum, energySum, lags, flags);
    }
};

Ol make_ol(Gen& g) {
    // A plain weighting filter (numerator 1, denominator 1) and a pitch-like signal.
    std::vector<int16_t> a(44, 0);
    for (int sf = 0; sf < 4; ++sf) a[11 * sf] = 4096;
    std::vector<int16_t> sp(170), hist(143);
    const int period = g.pick(25, 120);
    for (int i = 0; i < 170; ++i) sp[i] = static_cast<int16_t>(((i % period) < 5 ? 9000 : -800) + g.pick(-300, 300));
    for (int i = 0; i < 143; ++i) hist[i] = static_cast<int16_t>(((i % period) < 5 ? 9000 : -800));
    if (g.extreme()) std::fill(sp.begin(), sp.end(), g.pat == zt::Pattern::FullScalePositive ? 32767 : -32768);
    return Ol{Buf<int16_t>(a, 1), Buf<int16_t>(a, 2), Buf<int16_t>(sp, 3), g.val<int16_t>(0x1234),
              g.val<int16_t>(static_cast<int16_t>(g.pick(20, 143))), g.val<int16_t>(static_cast<int16_t>(g.pick(0, 32767))),
              g.in16(5, 20, 143), Buf<int16_t>(hist, 1), g.out<int16_t>(1), g.val<int32_t>(0), g.val<int32_t>(0),
              g.out<int16_t>(2), g.out<int16_t>(2), zt::by_off(g, {0, 1, 3, 6, 7, 8, 11, 12, 25})};
}

TEST(GsmAmr, OpenLoopSearchesStatusesAndDeterminism) {
    // The non-DTX search answers an illegal rate before it looks at pointers.
    std::vector<zt::Check<Ol>> nonDtx = {zt::set(zinStsRangeErr, &Ol::rate, 2, "rate code 2")};
    for (auto m : {&Ol::num, &Ol::den, &Ol::speech, &Ol::median, &Ol::weight, &Ol::oldLags, &Ol::hist, &Ol::lags,
                   &Ol::flags})
        nonDtx.push_back(zt::null(m));
    zt::check(zt::Export<Ol>{"zinsOpenLoopPitchSearchNonDTX_GSMAMR_16s", make_ol,
                             [](Ol& a) {
                                 return zinsOpenLoopPitchSearchNonDTX_GSMAMR_16s(
                                     a.num, a.den, a.speech, a.median, a.weight, a.oldLags, a.hist, a.lags, a.flags,
                                     static_cast<ZinSpeechBitrate>(a.rate));
                             },
                             nullptr, nonDtx},
              frame_sweep());

    std::vector<zt::Check<Ol>> vad1;
    for (auto m : {&Ol::num, &Ol::den, &Ol::speech, &Ol::tone, &Ol::median, &Ol::weight, &Ol::oldLags, &Ol::hist,
                   &Ol::hp, &Ol::lags, &Ol::flags})
        vad1.push_back(zt::null(m));
    vad1.push_back(zt::set(zinStsRangeErr, &Ol::rate, 9, "rate code 9"));
    zt::check(zt::Export<Ol>{"zinsOpenLoopPitchSearchDTXVAD1_GSMAMR_16s", make_ol,
                             [](Ol& a) {
                                 return zinsOpenLoopPitchSearchDTXVAD1_GSMAMR_16s(
                                     a.num, a.den, a.speech, a.tone, a.median, a.weight, a.oldLags, a.hist, a.hp,
                                     a.lags, a.flags, static_cast<ZinSpeechBitrate>(a.rate));
                             },
                             nullptr, vad1},
              frame_sweep());

    std::vector<zt::Check<Ol>> vad2;
    for (auto m : {&Ol::num, &Ol::den, &Ol::speech, &Ol::median, &Ol::weight, &Ol::oldLags, &Ol::hist})
        vad2.push_back(zt::null(m));
    vad2.push_back(zt::null(&Ol::corrSum));
    vad2.push_back(zt::null(&Ol::energySum));
    vad2.push_back(zt::null(&Ol::lags));
    vad2.push_back(zt::null(&Ol::flags));
    vad2.push_back(zt::set(zinStsRangeErr, &Ol::rate, 26, "rate code 26"));
    zt::check(zt::Export<Ol>{"zinsOpenLoopPitchSearchDTXVAD2_GSMAMR_16s32s", make_ol,
                             [](Ol& a) {
                                 return zinsOpenLoopPitchSearchDTXVAD2_GSMAMR_16s32s(
                                     a.num, a.den, a.speech, a.median, a.weight, a.oldLags, a.hist, a.corrSum,
                                     a.energySum, a.lags, a.flags, static_cast<ZinSpeechBitrate>(a.rate));
                             },
                             nullptr, vad2},
              frame_sweep());
}

TEST(GsmAmr, OpenLoopSearchRefusesEveryIllegalRate) {
    Gen g;
    for (int rate : kIllegalRates) {
        Ol a = make_ol(g);
        Ol before = a;
        EXPECT_EQ(zinsOpenLoopPitchSearchNonDTX_GSMAMR_16s(a.num, a.den, a.speech, a.median, a.weight, a.oldLags, a.hist,
                                                           a.lags, a.flags, static_cast<ZinSpeechBitrate>(rate)),
                  zinStsRangeErr)
            << rate;
        EXPECT_EQ(zinsOpenLoopPitchSearchDTXVAD1_GSMAMR_16s(a.num, a.den, a.speech, a.tone, a.median, a.weight,
                                                            a.oldLags, a.hist, a.hp, a.lags, a.flags,
                                                            static_cast<ZinSpeechBitrate>(rate)),
                  zinStsRangeErr)
            << rate;
        zt::same(before, a, "illegal rate " + std::to_string(rate));
    }
}

TEST(GsmAmr, OpenLoopVad2SumsWrapAndSaturate) {
    // The correlation sum wraps, the energy sum saturates: from just below
    // the top the first turns negative, the second stops at the top.
    for (int rate : {7, 11}) {
        Gen g;
        g.off = 0;
        Ol a = make_ol(g);
        Ol fromZero = a;
        ASSERT_EQ(zinsOpenLoopPitchSearchDTXVAD2_GSMAMR_16s32s(
                      fromZero.num, fromZero.den, fromZero.speech, fromZero.median, fromZero.weight, fromZero.oldLags,
                      fromZero.hist, fromZero.corrSum, fromZero.energySum, fromZero.lags, fromZero.flags,
                      static_cast<ZinSpeechBitrate>(rate)),
                  zinStsNoErr);
        const int32_t corr = fromZero.corrSum[0], energy = fromZero.energySum[0];
        ASSERT_GT(corr, 0);
        ASSERT_GT(energy, 0);
        a.corrSum[0] = INT32_MAX - corr / 2;
        a.energySum[0] = INT32_MAX - energy / 2;
        ASSERT_EQ(zinsOpenLoopPitchSearchDTXVAD2_GSMAMR_16s32s(a.num, a.den, a.speech, a.median, a.weight, a.oldLags,
                                                              a.hist, a.corrSum, a.energySum, a.lags, a.flags,
                                                              static_cast<ZinSpeechBitrate>(rate)),
                  zinStsNoErr);
        EXPECT_EQ(a.corrSum[0], static_cast<int32_t>(static_cast<uint32_t>(INT32_MAX - corr / 2) + static_cast<uint32_t>(corr)))
            << rate;
        EXPECT_EQ(a.energySum[0], INT32_MAX) << rate;
    }
}

TEST(GsmAmr, MedianOfLagsTakesTheHighestIndexAmongEquals) {
    // At 10.2 kbit/s a voiced half shifts its lag into the five old lags and
    // takes their median as the new oldT0Median.
    Gen g;
    Ol a = make_ol(g);
    const int16_t lags[5] = {60, 60, 90, 30, 60};
    for (int i = 0; i < 5; ++i) a.oldLags[i] = lags[i];
    ASSERT_EQ(zinsOpenLoopPitchSearchNonDTX_GSMAMR_16s(a.num, a.den, a.speech, a.median, a.weight, a.oldLags, a.hist,
                                                       a.lags, a.flags, zinSpchBr10200),
              zinStsNoErr);
    std::vector<int16_t> now(5);
    for (int i = 0; i < 5; ++i) now[i] = a.oldLags[i];
    if (a.flags[1] > 0) {
        std::vector<int16_t> sorted = now;
        std::sort(sorted.begin(), sorted.end());
        EXPECT_EQ(a.median[0], sorted[2]);
        EXPECT_EQ(a.weight[0], 32767);
    } else {
        EXPECT_EQ(a.median[0], a.lags[1]);
    }
}

// ---- Algebraic codebook decoding ---------------------------------------------

struct Dec {
    Buf<int16_t> params, code;
    int subframe, rate;
    auto bufs() { return std::tie(params, code); }
};

TEST(GsmAmr, FixedCodebookDecodeStatuses) {
    zt::check(zt::Export<Dec>{"zinsFixedCodebookDecode_GSMAMR_16s",
                              [](Gen& g) {
                                  return Dec{g.in16(10, 0, 127), g.out<int16_t>(40), g.pick(0, 3),
                                             zt::by_off(g, {0, 1, 3, 6, 7, 8, 11, 12, 25})};
                              },
                              [](Dec& a) {
                                  return zinsFixedCodebookDecode_GSMAMR_16s(a.params, a.code, a.subframe,
                                                                            static_cast<ZinSpeechBitrate>(a.rate));
                              },
                              nullptr,
                              {zt::null(&Dec::params), zt::null(&Dec::code),
                               zt::set(zinStsRangeErr, &Dec::subframe, 4, "subframe 4"),
                               zt::set(zinStsRangeErr, &Dec::rate, 10, "rate code 10")}},
              frame_sweep());
    Gen g;
    Dec a{g.in16(10, 0, 127), g.out<int16_t>(40), -1, 12};
    Dec before = a;
    EXPECT_EQ(zinsFixedCodebookDecode_GSMAMR_16s(a.params, a.code, a.subframe, zinSpchBr12200), zinStsRangeErr);
    zt::same(before, a, "subframe -1");
}

TEST(GsmAmr, FixedCodebookDecodeCoincidingPulses) {
    // 12.2 kbit/s: both pulses of track 0 at position 0 with one sign add up.
    std::vector<Zin16s> p(10, 0), code(40, -1);
    for (int t = 1; t < 5; ++t) p[t] = p[t + 5] = 1;  // other tracks: Gray 1, position 5 + t
    ASSERT_EQ(zinsFixedCodebookDecode_GSMAMR_16s(p.data(), code.data(), 0, zinSpchBr12200), zinStsNoErr);
    EXPECT_EQ(code[0], 8192);
    p[0] = 8;  // sign bit set: negative
    ASSERT_EQ(zinsFixedCodebookDecode_GSMAMR_16s(p.data(), code.data(), 0, zinSpchBr12200), zinStsNoErr);
    EXPECT_EQ(code[0], -8192);
    // The second pulse before the first takes the opposite sign, so they cancel
    // only when they coincide; apart they stand with opposite signs.
    p[0] = 1;      // first at position 5
    p[5] = 0;      // second at position 0, before it
    ASSERT_EQ(zinsFixedCodebookDecode_GSMAMR_16s(p.data(), code.data(), 0, zinSpchBr12200), zinStsNoErr);
    EXPECT_EQ(code[5], 4096);
    EXPECT_EQ(code[0], -4096);
    // Rate code 25 decodes as 12.2 kbit/s.
    std::vector<Zin16s> dtx(40);
    ASSERT_EQ(zinsFixedCodebookDecode_GSMAMR_16s(p.data(), dtx.data(), 0, zinSpchBrDTX), zinStsNoErr);
    EXPECT_EQ(dtx, code);
}

// ---- Algebraic codebook search ------------------------------------------------

struct Cb {
    int16_t lag, gain;
    Buf<int16_t> target, residual, impulse, code, filtered, params;
    int16_t subframe;
    int rate;
    Buf<unsigned char> scratch;
    auto bufs() { return std::tie(target, residual, impulse, code, filtered, params, scratch); }
};

Cb make_cb(Gen& g) {
    std::vector<int16_t> h(40);
    for (int i = 0; i < 40; ++i) h[i] = static_cast<int16_t>(4096 * (i == 0) + (40 - i) * g.pick(-60, 60));
    return Cb{static_cast<int16_t>(g.pick(17, 144)), static_cast<int16_t>(g.pick(0, 13017)), g.in16(40, -4000, 4000),
              g.in16(40, -4000, 4000), Buf<int16_t>(h, 1), g.out<int16_t>(40), g.out<int16_t>(40), g.out<int16_t>(10),
              static_cast<int16_t>(g.pick(0, 3)), zt::by_off(g, {0, 1, 3, 6, 7, 8, 11, 12, 25}),
              Buf<unsigned char>(16896, 3)};
}

TEST(GsmAmr, CodebookSearchStatusesAndForms) {
    std::vector<zt::Check<Cb>> checks;
    for (auto m : {&Cb::target, &Cb::residual, &Cb::impulse, &Cb::code, &Cb::filtered, &Cb::params})
        checks.push_back(zt::null(m));
    checks.push_back(zt::set(zinStsRangeErr, &Cb::subframe, 4, "subframe 4"));
    auto search = [](Cb& a) {
        return zinsAlgebraicCodebookSearch_GSMAMR_16s(a.lag, a.gain, a.target, a.residual, a.impulse, a.code,
                                                      a.filtered, a.params, a.subframe,
                                                      static_cast<ZinSpeechBitrate>(a.rate));
    };
    // The plain form and the form on the caller's scratch agree.
    auto ex = [](Cb& a) {
        const ZinStatus s = zinsAlgebraicCodebookSearchEX_GSMAMR_16s(a.lag, a.gain, a.target, a.residual, a.impulse,
                                                                     a.code, a.filtered, a.params, a.subframe,
                                                                     static_cast<ZinSpeechBitrate>(a.rate), a.scratch);
        for (std::size_t i = 0; i < a.scratch.size(); ++i) a.scratch[i] = 0xA5;  // scratch content is free
        return s;
    };
    zt::Export<Cb> e{"zinsAlgebraicCodebookSearch_GSMAMR_16s", make_cb, search, ex, checks};
    zt::check(e, frame_sweep());
    // Pitch lag 16 and -1 (read unsigned) are refused, 144 is accepted; rate 25 searches as 12.2 kbit/s.
    Gen g;
    for (int16_t lag : {int16_t{16}, int16_t{-1}, int16_t{145}}) {
        Cb a = make_cb(g);
        a.lag = lag;
        EXPECT_EQ(search(a), zinStsRangeErr) << lag;
    }
    Cb a = make_cb(g);
    a.lag = 144;
    a.rate = 12;
    Cb b = a;
    b.rate = 25;
    Cb before = a;
    EXPECT_EQ(search(a), zinStsNoErr);
    EXPECT_EQ(search(b), zinStsNoErr);
    zt::same(a, b, "rate 25 against rate 12");
    EXPECT_EQ(a.impulse.first_difference(before.impulse), -1);  // lag 144: nothing sharpened
    Cb n = make_cb(g);
    n.scratch.null();
    EXPECT_EQ(ex(n), zinStsNullPtrErr);
}

}  // namespace
