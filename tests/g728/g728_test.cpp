// The _G728 exports one by one: statuses in their documented order (a
// refused call writes nothing), the stated examples, and the plain statement
// of the filters, energies and searches on random and extreme input. The
// whole-codec behaviour is pinned by the Appendix I sequences.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "check.h"
#include "g728/g728_tables.h"
#include "g728_tables.h"

namespace {

using zt::Buf;
using zt::Gen;
using zt::sat16;
using zt::sat32;

// A state object of `bytes` at an address `off` bytes past a 64-byte
// boundary, exact-size.
Buf<unsigned char> state(int bytes, int off = 0) { return Buf<unsigned char>(static_cast<std::size_t>(bytes), off); }

// ---- sizes and Init ---------------------------------------------------------

TEST(G728, StateSizes) {
    int size = 0;
    EXPECT_EQ(zinsWinHybridGetStateSize_G728_16s(50, 20, 35, 0, &size), zinStsNoErr);
    EXPECT_EQ(size, (20 + 35 + 100) * 2 + 36 + 16);  // 362
    EXPECT_EQ(zinsWinHybridGetStateSize_G728_16s(50, 20, 35, 5, &size), zinStsNoErr);
    EXPECT_EQ(size, 362 + 21 * 2);
    EXPECT_EQ(zinsWinHybridGetStateSize_G728_16s(50, 20, 35, 0, nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsWinHybridGetStateSize_G728_16s(0, 20, 35, 0, nullptr), zinStsNullPtrErr);
    for (int bad = 0; bad < 3; ++bad) {
        const int m = bad == 0 ? 0 : 50, l = bad == 1 ? 0 : 20, n = bad == 2 ? -1 : 35;
        size = -1;
        EXPECT_EQ(zinsWinHybridGetStateSize_G728_16s(m, l, n, 5, &size), zinStsSizeErr);
        EXPECT_EQ(size, -1);
    }
    struct Fixed {
        ZinStatus (*get)(int*);
        int size;
    };
    for (const Fixed f : {Fixed{zinsSynthesisFilterGetStateSize_G728_16s, 144},
                          Fixed{zinsCombinedFilterGetStateSize_G728_16s, 208}, Fixed{zinsIIR16sGetStateSize_G728_16s, 64},
                          Fixed{zinsPostFilterGetStateSize_G728_16s, 64}, Fixed{zinsPostFilterAdapterGetStateSize_G728, 176}}) {
        EXPECT_EQ(f.get(&size), zinStsNoErr);
        EXPECT_EQ(size, f.size);
        EXPECT_EQ(f.get(nullptr), zinStsNullPtrErr);
    }
    EXPECT_EQ(zinsSynthesisFilterInit_G728_16s(nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsCombinedFilterInit_G728_16s(nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsIIR16sInit_G728_16s(nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsPostFilterInit_G728_16s(nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsPostFilterAdapterStateInit_G728(nullptr), zinStsNullPtrErr);
    const int16_t table[105] = {};
    auto w = state(404);
    EXPECT_EQ(zinsWinHybridInit_G728_16s(nullptr, 50, 20, 35, 5, 12288, w.as<ZinWinHybridState_G728_16s>()), zinStsNullPtrErr);
    EXPECT_EQ(zinsWinHybridInit_G728_16s(table, 50, 20, 35, 5, 12288, nullptr), zinStsNullPtrErr);
}

// Init: memories zero; the synthesis block's eleven exponents at 16; the
// post-filter and IIR states all zero (one body under two names).
TEST(G728, InitContents) {
    auto f = state(208, 3);
    std::memset(f.p(), 0x5A, 208);
    ASSERT_EQ(zinsCombinedFilterInit_G728_16s(f.as<ZinFilterState_G728_16s>()), zinStsNoErr);
    std::vector<int16_t> w(104);
    std::memcpy(w.data(), f.p(), 208);
    int sixteen = 0, zero = 0;
    for (int16_t x : w) (x == 16 ? sixteen : x == 0 ? zero : sixteen) += 1;
    EXPECT_EQ(sixteen, 11);
    EXPECT_EQ(zero, 93);
    for (auto init : {zinsIIR16sInit_G728_16s, zinsPostFilterInit_G728_16s}) {
        auto s = state(64, 1);
        std::memset(s.p(), 0x5A, 64);
        ASSERT_EQ(init(s.as<ZinIIRState_G728_16s>()), zinStsNoErr);
        for (int i = 0; i < 64; ++i) EXPECT_EQ(s[static_cast<std::size_t>(i)], 0);
    }
}

// ---- hybrid window ----------------------------------------------------------

// The state holds no pointer it depends on: a copy made by bytes to memory of
// the same alignment goes on as the original, whose bytes are then spoiled.
TEST(G728, WinHybridStateCopiedByBytes) {
    int size = 0;
    zinsWinHybridGetStateSize_G728_16s(50, 20, 35, 5, &size);
    auto a = state(size, 3), b = state(size, 3), c = state(size, 3);
    auto* sa = a.as<ZinWinHybridState_G728_16s>();
    auto* sb = b.as<ZinWinHybridState_G728_16s>();
    auto* sc = c.as<ZinWinHybridState_G728_16s>();
    ASSERT_EQ(zinsWinHybridInit_G728_16s(zc::g728::kWinSynthesis, 50, 20, 35, 5, 12288, sa), zinStsNoErr);
    ASSERT_EQ(zinsWinHybridInit_G728_16s(zc::g728::kWinSynthesis, 50, 20, 35, 5, 12288, sc), zinStsNoErr);
    const std::vector<int16_t> exps = {12, 14, 13, 15};
    Buf<int16_t> r1(51), r2(51);
    for (int call = 0; call < 6; ++call) {
        const auto x = zt::random16(20, -16384, 16383);
        if (call == 2) {
            std::memcpy(b.p(), a.p(), static_cast<std::size_t>(size));
            std::memset(a.p(), 0x5A, static_cast<std::size_t>(size));
        }
        ZinWinHybridState_G728_16s* s = call < 2 ? sa : sb;
        EXPECT_EQ(zinsWinHybridBlock_G728_16s(0, exps.data(), x.data(), r1, s),
                  zinsWinHybridBlock_G728_16s(0, exps.data(), x.data(), r2, sc));
        EXPECT_EQ(r1.vec(), r2.vec()) << "call " << call;
    }
}

TEST(G728, WinHybridStatusesAndModes) {
    int size = 0;
    zinsWinHybridGetStateSize_G728_16s(10, 20, 30, 0, &size);
    auto s = state(size, 5);
    auto* st = s.as<ZinWinHybridState_G728_16s>();
    ASSERT_EQ(zinsWinHybridInit_G728_16s(zc::g728::kWinWeighting, 10, 20, 30, 0, 8192, st), zinStsNoErr);
    Buf<int16_t> src(20), dst(11);
    const int16_t e[4] = {};
    EXPECT_EQ(zinsWinHybrid_G728_16s(0, nullptr, dst, st), zinStsNullPtrErr);
    EXPECT_EQ(zinsWinHybrid_G728_16s(0, src, nullptr, st), zinStsNullPtrErr);
    EXPECT_EQ(zinsWinHybrid_G728_16s(0, src, dst, nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsWinHybridBlock_G728_16s(0, nullptr, src, dst, st), zinStsNullPtrErr);
    EXPECT_EQ(zinsWinHybridBlock_G728_16s(0, e, nullptr, dst, st), zinStsNullPtrErr);
    // Silence: every term zero, reported and stored.
    for (std::size_t i = 0; i < 20; ++i) src[i] = 0;
    EXPECT_EQ(zinsWinHybrid_G728_16s(0, src, dst, st), zinStsZeroCorrelation);
    EXPECT_EQ(dst.vec(), std::vector<int16_t>(11, 0));
    // Mode 1 of an order-50 window writes terms 0..10 only, with the values of mode 0.
    int s50 = 0;
    zinsWinHybridGetStateSize_G728_16s(50, 20, 35, 5, &s50);
    auto w0 = state(s50), w1 = state(s50, 2);
    zinsWinHybridInit_G728_16s(zc::g728::kWinSynthesis, 50, 20, 35, 5, 12288, w0.as<ZinWinHybridState_G728_16s>());
    zinsWinHybridInit_G728_16s(zc::g728::kWinSynthesis, 50, 20, 35, 5, 12288, w1.as<ZinWinHybridState_G728_16s>());
    const int16_t q[4] = {13, 13, 14, 12};
    Buf<int16_t> full(51), part(51);
    for (std::size_t i = 0; i < 51; ++i) part[i] = 1234;
    const auto x = zt::random16(20, -12000, 12000);
    zinsWinHybridBlock_G728_16s(0, q, x.data(), full, w0.as<ZinWinHybridState_G728_16s>());
    zinsWinHybridBlock_G728_16s(1, q, x.data(), part, w1.as<ZinWinHybridState_G728_16s>());
    for (std::size_t i = 0; i < 51; ++i) EXPECT_EQ(part[i], i <= 10 ? full[i] : 1234) << i;
}

// ---- Levinson-Durbin --------------------------------------------------------

TEST(G728, LevinsonDurbinStatuses) {
    int16_t r[51] = {16384, 8000, 2000};
    int16_t a[50], t[1], e = 0, q = 15;
    EXPECT_EQ(zinsLevinsonDurbin_G728_16s_Sfs(nullptr, 10, a, t, &e, &q), zinStsNullPtrErr);
    EXPECT_EQ(zinsLevinsonDurbin_G728_16s_Sfs(r, 10, a, t, &e, nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsLevinsonDurbin_G728_16s_Sfs(r, -1, a, t, &e, &q), zinStsRangeErr);
    EXPECT_EQ(zinsLevinsonDurbin_G728_16s_Sfs(r, 0, a, t, &e, &q), zinStsNoErr);  // order 0 is taken
    int16_t r0[11] = {0, 5};
    EXPECT_EQ(zinsLevinsonDurbin_G728_16s_Sfs(r0, 10, a, t, &e, &q), zinStsRangeErr);  // no division reached
    // _ISfs: pointers, then start/end, then the scale; both bad -> the range first.
    q = 16;
    EXPECT_EQ(zinsLevinsonDurbin_G728_16s_ISfs(nullptr, 10, 50, a, &e, &q), zinStsNullPtrErr);
    EXPECT_EQ(zinsLevinsonDurbin_G728_16s_ISfs(r, 10, 50, a, nullptr, &q), zinStsNullPtrErr);
    EXPECT_EQ(zinsLevinsonDurbin_G728_16s_ISfs(r, -1, 50, a, &e, &q), zinStsRangeErr);
    EXPECT_EQ(zinsLevinsonDurbin_G728_16s_ISfs(r, 11, 10, a, &e, &q), zinStsRangeErr);
    EXPECT_EQ(zinsLevinsonDurbin_G728_16s_ISfs(r, 10, 50, a, &e, &q), zinStsScaleRangeErr);
    q = -1;
    EXPECT_EQ(zinsLevinsonDurbin_G728_16s_ISfs(r, 10, 50, a, &e, &q), zinStsScaleRangeErr);
}

TEST(G728, LevinsonDurbinSplitEqualsWhole) {
    // The autocorrelation of lightly coloured noise (with the recommendation's
    // white-noise correction): orders 0..10 then 10..50 equal 0..50 in one
    // call; start 0 in _ISfs is the _Sfs form.
    const auto noise = zt::random16(600, -8000, 8000);
    std::vector<double> x(600);
    for (int n = 0; n < 600; ++n) x[n] = noise[static_cast<std::size_t>(n)] + (n ? 0.7 * x[n - 1] : 0.0);
    double ac[51];
    for (int k = 0; k <= 50; ++k) {
        ac[k] = 0;
        for (int n = 0; n + k < 600; ++n) ac[k] += x[n] * x[n + k];
    }
    int16_t r[51];
    for (int k = 0; k <= 50; ++k) r[k] = static_cast<int16_t>(16000.0 * ac[k] / ac[0] * (k ? 1.0 : 257.0 / 256.0));
    int16_t a1[50], a2[50], a3[50], t[1], e1 = 0, e2 = 0, e3 = 0, q1 = 0, q2 = 0, q3 = 3;
    ASSERT_EQ(zinsLevinsonDurbin_G728_16s_Sfs(r, 50, a1, t, &e1, &q1), zinStsNoErr);
    const int16_t rc = t[0];
    ASSERT_EQ(zinsLevinsonDurbin_G728_16s_Sfs(r, 10, a2, t, &e2, &q2), zinStsNoErr);
    EXPECT_EQ(t[0], rc);
    ASSERT_EQ(zinsLevinsonDurbin_G728_16s_ISfs(r, 10, 50, a2, &e2, &q2), zinStsNoErr);
    ASSERT_EQ(zinsLevinsonDurbin_G728_16s_ISfs(r, 0, 50, a3, &e3, &q3), zinStsNoErr);
    EXPECT_EQ(std::vector<int16_t>(a1, a1 + 50), std::vector<int16_t>(a2, a2 + 50));
    EXPECT_EQ(std::vector<int16_t>(a1, a1 + 50), std::vector<int16_t>(a3, a3 + 50));
    EXPECT_EQ(e1, e2);
    EXPECT_EQ(q1, q2);
    EXPECT_EQ(e1, e3);
    // The first reflection coefficient is -r1/r0 in Q15.
    EXPECT_NEAR(rc, -32768.0 * r[1] / r[0], 1.0);
}

// A white autocorrelation keeps every coefficient zero and the energy at r0,
// until a lag term reaches the energy: below order 12 the recursion fails
// with zinStsLpcCalcErr, from 12 on with zinStsOverflow.
TEST(G728, LevinsonDurbinInstabilityLimits) {
    for (int bad = 11; bad <= 12; ++bad) {
        int16_t r[51] = {16384};
        r[bad] = 32767;
        int16_t a[50], t[1], e = 0, q = 0;
        const ZinStatus want = bad < 12 ? zinStsLpcCalcErr : zinStsOverflow;
        EXPECT_EQ(zinsLevinsonDurbin_G728_16s_Sfs(r, 50, a, t, &e, &q), want) << bad;
        e = 0;
        q = 0;
        ASSERT_EQ(zinsLevinsonDurbin_G728_16s_Sfs(r, 10, a, t, &e, &q), zinStsNoErr);
        EXPECT_EQ(e, 16384);
        EXPECT_EQ(q, 15);
        const int16_t e_before = e, q_before = q;
        EXPECT_EQ(zinsLevinsonDurbin_G728_16s_ISfs(r, 10, 50, a, &e, &q), want) << bad;
        EXPECT_EQ(e, e_before);  // neither energy nor scale updated
        EXPECT_EQ(q, q_before);
    }
}

// ---- the 10-zero 10-pole filter ----------------------------------------------

struct Iir {
    Buf<int16_t> coef, src, dst;
    int len;
    Buf<int16_t> mem;  // the 64-byte state as 32 words
    auto bufs() { return std::tie(dst, mem); }
};

// Plain statement: newest first, zeros in wrapping 32 bits, poles subtracted
// one by one with saturation, the result (s >> 14) clamped.
ZinStatus iir_plain(const int16_t* c, const int16_t* x, int16_t* y, int len, int16_t* m) {
    for (int n = len - 1; n >= 0; --n) {
        uint32_t s = static_cast<uint32_t>(int32_t{x[n]} * 16384);
        for (int i = 0; i < 10; ++i) s += static_cast<uint32_t>(int32_t{c[i]} * m[i]);
        int32_t acc = static_cast<int32_t>(s);
        for (int i = 0; i < 10; ++i) acc = sat32(int64_t{acc} - int32_t{c[10 + i]} * m[16 + i]);
        const int16_t out = sat16(acc >> 14);
        for (int i = 9; i > 0; --i) m[i] = m[i - 1], m[16 + i] = m[15 + i];
        m[0] = x[n];
        m[16] = out;
        y[n] = out;
    }
    return zinStsNoErr;
}

TEST(G728, IIR16s) {
    zt::Export<Iir> e{
        "zinsIIR16s_G728_16s",
        [](Gen& g) {
            Iir a{g.extreme() ? g.in16(20) : g.in16(20, -12000, 12000), g.in16(g.len), g.out<int16_t>(g.len), g.len,
                  g.in16(32, -20000, 20000)};
            return a;
        },
        [](Iir& a) { return zinsIIR16s_G728_16s(a.coef, a.src, a.dst, a.len, a.mem.as<ZinIIRState_G728_16s>()); },
        [](Iir& a) { return iir_plain(a.coef, a.src, a.dst, a.len, a.mem); },
        {zt::null(&Iir::coef), zt::null(&Iir::src), zt::null(&Iir::dst), zt::null(&Iir::mem),
         zt::set(zinStsSizeErr, &Iir::len, 0), zt::set(zinStsSizeErr, &Iir::len, -5)}};
    // split: the newest-first order makes the later samples the first ones
    e.split = [](Iir& a, int cut) {
        auto* st = a.mem.as<ZinIIRState_G728_16s>();
        const int rest = a.len - cut;
        ZinStatus s = zinsIIR16s_G728_16s(a.coef, a.src.at(rest), a.dst.at(rest), cut, st);
        if (s == zinStsNoErr) s = zinsIIR16s_G728_16s(a.coef, a.src, a.dst, rest, st);
        return s;
    };
    zt::check(e, zt::quadratic_sweep());
}

// ---- energies and searches ----------------------------------------------------

TEST(G728, CodebookTableEqualsTheCallersCopy) {
    EXPECT_EQ(0, std::memcmp(zin::g728::kShapeCodebook, zc::g728::kShapeCodebook, sizeof zc::g728::kShapeCodebook));
}

ZinStatus energy_plain(const int16_t* h, int16_t* e) {
    for (int s = 0; s < 128; ++s) {
        const int16_t* y = zc::g728::kShapeCodebook + 5 * s;
        uint32_t sum = 0;
        for (int j = 0; j < 5; ++j) {
            int32_t d = 0;  // sample j (newest first) of y filtered by h(0..4) = h[4..0]
            for (int i = 0; j + i < 5; ++i) d += int32_t{y[j + i]} * h[4 - i];
            const int32_t v = sat16(d >> 14);
            sum += static_cast<uint32_t>(v * v);
        }
        e[s] = static_cast<int16_t>(static_cast<uint16_t>(sum >> 15));
    }
    return zinStsNoErr;
}

struct Energy {
    Buf<int16_t> h, e;
    auto bufs() { return std::tie(e); }
};

TEST(G728, ImpulseResponseEnergy) {
    zt::check(zt::Export<Energy>{"zinsImpulseResponseEnergy_G728_16s",
                                 [](Gen& g) { return Energy{g.in16(5), g.out<int16_t>(128)}; },
                                 [](Energy& a) { return zinsImpulseResponseEnergy_G728_16s(a.h, a.e); },
                                 [](Energy& a) { return energy_plain(a.h, a.e); },
                                 {zt::null(&Energy::h), zt::null(&Energy::e)}},
              zt::Sweep{{5}, {0, 1, 2, 3, 4, 5, 6, 7}});
    // An energy above 32767 is kept, as an unsigned word.
    int16_t h[5] = {0, 0, 0, 0, 32767}, e[128];
    ASSERT_EQ(zinsImpulseResponseEnergy_G728_16s(h, e), zinStsNoErr);
    int above = 0;
    for (int16_t x : e) above += x < 0;
    EXPECT_GT(above, 0);
}

struct Search {
    Buf<int16_t> corr, energy;
    Buf<int> shape, gain;
    Buf<int16_t> index;
    int rate;
    auto bufs() { return std::tie(shape, gain, index); }
};

// Plain statement of the three searches: all candidates in table order, the
// level lowered for each threshold t with E t strictly above |P|, the first
// smallest distortion wins, a correlation below 1 counts as negative.
ZinStatus search_plain(Search& a) {
    struct Rate {
        int code, first, count, levels;
        std::vector<int> thresholds;
        std::vector<std::pair<int, int>> pairs;  // (-2g, g^2) per level, level 0 first
    };
    const Rate rates[3] = {
        {17, 0, 128, 4, {5808, 10164, 17787}, {{-4224, 545}, {-7392, 1668}, {-12936, 5107}, {-22638, 15640}}},
        {14, 64, 64, 2, {7126}, {{-3732, 425}, {-12800, 5000}}},
        {10, 96, 16, 2, {8253}, {{-4626, 653}, {-15874, 7690}}}};
    const Rate* r = nullptr;
    for (const Rate& x : rates) r = x.code == a.rate ? &x : r;
    if (!r) return zinStsRangeErr;
    auto shape_of = [&](int pos) { return a.rate == 10 ? (pos >> 2) * 8 + (pos & 3) + 96 : r->first + pos; };
    auto corr = [&](int s) {
        int64_t p = 0;
        for (int k = 0; k < 5; ++k) p += int64_t{zc::g728::kShapeCodebook[5 * s + k]} * a.corr[k];
        return p;
    };
    int64_t best = INT64_MAX;
    int bp = 0, bl = 0;
    for (int pos = 0; pos < r->count; ++pos) {
        const int s = shape_of(pos);
        const int64_t p = corr(s), m = p < 0 ? -p : p;
        const int64_t e = static_cast<uint16_t>(a.energy[static_cast<std::size_t>(s)]);
        int level = r->levels - 1;
        for (int t : r->thresholds) level -= e * t > m;
        const int64_t d = int64_t{sat16(m >> 14)} * r->pairs[static_cast<std::size_t>(level)].first +
                          e * r->pairs[static_cast<std::size_t>(level)].second;
        if (d < best) best = d, bp = pos, bl = level;
    }
    const int s = shape_of(bp);
    const int gain = bl + (corr(s) < 1 ? r->levels : 0);
    a.shape[0] = s;
    a.gain[0] = gain;
    a.index[0] = static_cast<int16_t>(a.rate == 17 ? gain + 8 * s : gain + 4 * bp);
    return zinStsNoErr;
}

TEST(G728, CodebookSearch) {
    zt::check(zt::Export<Search>{
                  "zinsCodebookSearch_G728_16s",
                  [](Gen& g) {
                      const int rate = zt::by_off(g, {17, 14, 10, 17});
                      return Search{g.in16(5), (g.off & 1) ? g.in16(128, -32768, 32767) : g.in16(128, 0, 4000),
                                    g.out<int>(1), g.out<int>(1), g.out<int16_t>(1), rate};
                  },
                  [](Search& a) {
                      return zinsCodebookSearch_G728_16s(a.corr, a.energy, a.shape, a.gain, a.index,
                                                         static_cast<ZinSpeechBitrate>(a.rate));
                  },
                  search_plain,
                  {zt::null(&Search::corr), zt::null(&Search::energy), zt::null(&Search::shape), zt::null(&Search::gain),
                   zt::null(&Search::index), zt::set(zinStsRangeErr, &Search::rate, 16)}},
              zt::Sweep{{5}, {0, 1, 2, 3, 4, 5, 6, 7}});
}

int search(const int16_t* corr, const int16_t* energy, int rate, int* gain, int16_t* index = nullptr) {
    int shape = -1, g = -1;
    int16_t idx = 0;
    EXPECT_EQ(zinsCodebookSearch_G728_16s(corr, energy, &shape, &g, &idx, static_cast<ZinSpeechBitrate>(rate)), zinStsNoErr);
    *gain = g;
    if (index) *index = idx;
    return shape;
}

TEST(G728, CodebookSearchStatedCases) {
    int16_t zero[5] = {}, energy[128];
    int gain;
    int16_t index;
    // All-zero target: P = 0 everywhere, counted negative; the smallest energy
    // wins at level 0, a tie going to the lowest index.
    for (int16_t& e : energy) e = 20000;
    energy[9] = energy[40] = 100;
    EXPECT_EQ(search(zero, energy, 17, &gain, &index), 9);
    EXPECT_EQ(gain, 4);
    EXPECT_EQ(index, 4 + 8 * 9);
    // Energies are unsigned: 40000 must not read as negative.
    for (int16_t& e : energy) e = static_cast<int16_t>(40000);
    energy[7] = 1000;
    EXPECT_EQ(search(zero, energy, 17, &gain), 7);
    // 9.6 kbit/s: position 5 is shape 105; E = 0 keeps level 1, plus 2 for the sign.
    for (int16_t& e : energy) e = 30000;
    energy[105] = 0;
    EXPECT_EQ(search(zero, energy, 10, &gain, &index), 105);
    EXPECT_EQ(gain, 3);
    EXPECT_EQ(index, 3 + 4 * 5);
    // 12.8 kbit/s: positions count from shape 64.
    energy[105] = 30000;
    energy[70] = 0;
    EXPECT_EQ(search(zero, energy, 14, &gain, &index), 70);
    EXPECT_EQ(index, 3 + 4 * 6);
    // A threshold met with equality does not lower the level: shape 0 against
    // the target (1936, 0, 0, 0, 0) has P = -2553 * 1936 = -851 * 5808.
    for (int16_t& e : energy) e = 32767;
    energy[0] = 851;
    const int16_t t[5] = {1936, 0, 0, 0, 0};
    EXPECT_EQ(search(t, energy, 17, &gain), 0);
    EXPECT_EQ(gain, 1 + 4);
}

TEST(G728, CodebookSearchTCQ) {
    int16_t target[40] = {}, imp[5] = {0, 0, 0, 0, 8192}, energy[128], gains[8];
    uint8_t shapes[8];
    int st = 2;
    for (int16_t& e : energy) e = 1000;
    EXPECT_EQ(zinsCodebookSearchTCQ_G728_16s8u(nullptr, imp, shapes, energy, gains, &st, 0, 0), zinStsNullPtrErr);
    EXPECT_EQ(zinsCodebookSearchTCQ_G728_16s8u(target, imp, shapes, energy, gains, nullptr, 0, 0), zinStsNullPtrErr);
    EXPECT_EQ(st, 2);
    for (int i = 0; i < 40; ++i) target[i] = static_cast<int16_t>((i * 7919) % 4001 - 2000);
    ASSERT_EQ(zinsCodebookSearchTCQ_G728_16s8u(target, imp, shapes, energy, gains, &st, int64_t{8} << 32, 0), zinStsNoErr);
    EXPECT_GE(st, 0);
    EXPECT_LT(st, 4);
    for (int v = 0; v < 8; ++v) {
        EXPECT_GE(shapes[v], 64);
        EXPECT_LT(gains[v], 4);
    }
}

// ---- decoder side --------------------------------------------------------------

// The post-filter: long-term gl x[n] + glb x[n - lag] (rounded at bit 14 into
// the input memory, kept whole for the short-term stage), 10 zeros and 10
// poles, and the tilt on the previous short-term output in the same sum.
struct Post {
    int16_t gl, glb, lag, tilt;
    Buf<int16_t> coef, src, dst, mem;
    auto bufs() { return std::tie(dst, mem); }
};

ZinStatus post_plain(Post& a) {
    int16_t* fir = a.mem;
    int16_t* iir = a.mem.at(16);
    const int16_t* x = a.src.at(a.lag);
    for (int n = 0; n < 5; ++n) {
        const int64_t d0 = int64_t{a.gl} * x[n] + int64_t{a.glb} * x[n - a.lag];
        int64_t d1 = d0;
        for (int j = 0; j < 10; ++j) d1 += int32_t{a.coef[static_cast<std::size_t>(j)]} * fir[j] - int32_t{a.coef[static_cast<std::size_t>(10 + j)]} * iir[j];
        for (int j = 9; j > 0; --j) fir[j] = fir[j - 1], iir[j] = iir[j - 1];
        const int64_t capped = d0 > 536862719 ? 536862719 : d0;
        fir[0] = sat16((capped + 8192) >> 14);
        iir[0] = sat16(d1 >> 14);
        d1 += int32_t{iir[1]} * a.tilt;
        a.dst[static_cast<std::size_t>(n)] = sat16(d1 >> 14);
    }
    return zinStsNoErr;
}

TEST(G728, PostFilter) {
    zt::check(zt::Export<Post>{
                  "zinsPostFilter_G728_16s",
                  [](Gen& g) {
                      const int16_t lag = static_cast<int16_t>(g.pick(20, 140));
                      return Post{static_cast<int16_t>(g.pick(14000, 16384)), static_cast<int16_t>(g.pick(0, 9830)), lag,
                                  static_cast<int16_t>(g.pick(-4915, 4915)),
                                  g.extreme() ? g.in16(20) : g.in16(20, -16000, 16000), g.in16(lag + 5),
                                  g.out<int16_t>(5), g.in16(32, -8000, 8000)};
                  },
                  [](Post& a) {
                      return zinsPostFilter_G728_16s(a.gl, a.glb, a.lag, a.tilt, a.coef, a.src.at(a.lag), a.dst,
                                                     a.mem.as<ZinIIRState_G728_16s>());
                  },
                  post_plain,
                  {zt::null(&Post::coef), zt::null(&Post::src), zt::null(&Post::dst), zt::null(&Post::mem)}},
              zt::Sweep{{5}, {0, 1, 2, 3, 4, 5, 6, 7}});
}

struct Inverse {
    Buf<int16_t> src, lpc, dst, st;  // st: the 208-byte filter state as words
    auto bufs() { return std::tie(dst, st); }
};

ZinStatus inverse_plain(Inverse& a) {
    int16_t* m = a.st.at(72);  // byte 144
    for (int k = 4; k >= 0; --k) {
        int64_t s = int64_t{a.src[static_cast<std::size_t>(k)]} * 8192;
        for (int j = 0; j < 10; ++j) s += int32_t{m[j]} * a.lpc[static_cast<std::size_t>(j)];
        for (int j = 9; j > 0; --j) m[j] = m[j - 1];
        m[0] = a.src[static_cast<std::size_t>(k)];
        const int64_t v = sat32(s * 4);
        a.dst[static_cast<std::size_t>(k)] = v >= 0x7FFF8000 ? 32767 : static_cast<int16_t>((v + 32768) >> 16);
    }
    return zinStsNoErr;
}

TEST(G728, LPCInverseFilter) {
    zt::check(zt::Export<Inverse>{"zinsLPCInverseFilter_G728_16s",
                                  [](Gen& g) { return Inverse{g.in16(5), g.in16(10), g.out<int16_t>(5), g.in16(104)}; },
                                  [](Inverse& a) {
                                      return zinsLPCInverseFilter_G728_16s(a.src, a.lpc, a.dst,
                                                                           a.st.as<ZinFilterState_G728_16s>());
                                  },
                                  inverse_plain,
                                  {zt::null(&Inverse::src), zt::null(&Inverse::lpc), zt::null(&Inverse::dst),
                                   zt::null(&Inverse::st)}},
              zt::Sweep{{5}, {0, 1, 2, 3, 4, 5, 6, 7}});
}

TEST(G728, FilterAndPitchStatuses) {
    auto f = state(208, 1);
    auto* st = f.as<ZinFilterState_G728_16s>();
    zinsCombinedFilterInit_G728_16s(st);
    const std::vector<unsigned char> fresh(f.p(), f.p() + 208);
    int16_t a[50] = {}, w[20] = {}, x[5] = {1, 2, 3, 4, 5}, y[5], q;
    EXPECT_EQ(zinsSyntesisFilterZeroInput_G728_16s(nullptr, x, 14, y, &q, st), zinStsNullPtrErr);
    EXPECT_EQ(zinsSyntesisFilterZeroInput_G728_16s(a, nullptr, 14, y, &q, st), zinStsNullPtrErr);
    EXPECT_EQ(zinsSyntesisFilterZeroInput_G728_16s(a, x, 14, nullptr, &q, st), zinStsNullPtrErr);
    EXPECT_EQ(zinsSyntesisFilterZeroInput_G728_16s(a, x, 14, y, nullptr, st), zinStsNullPtrErr);
    EXPECT_EQ(zinsSyntesisFilterZeroInput_G728_16s(a, x, 14, y, &q, nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsCombinedFilterZeroInput_G728_16s(a, nullptr, y, st), zinStsNullPtrErr);
    EXPECT_EQ(zinsCombinedFilterZeroInput_G728_16s(a, w, y, nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsCombinedFilterZeroState_G728_16s(x, a, nullptr, 14, y, &q, st), zinStsNullPtrErr);
    EXPECT_EQ(zinsCombinedFilterZeroState_G728_16s(x, a, w, 14, y, nullptr, st), zinStsNullPtrErr);
    EXPECT_EQ(std::memcmp(fresh.data(), f.p(), 208), 0) << "a refused call wrote the state";
    auto ad = state(176, 3);
    auto* as = ad.as<ZinPostFilterAdapterState_G728>();
    zinsPostFilterAdapterStateInit_G728(as);
    int16_t res[240] = {};
    int pitch = 0;
    EXPECT_EQ(zinsPitchPeriodExtraction_G728_16s(nullptr, &pitch, as), zinStsNullPtrErr);
    EXPECT_EQ(zinsPitchPeriodExtraction_G728_16s(res, nullptr, as), zinStsNullPtrErr);
    EXPECT_EQ(zinsPitchPeriodExtraction_G728_16s(res, &pitch, nullptr), zinStsNullPtrErr);
    // A residual of period 57 is found at that lag once the decimated history
    // has filled: the caller moves its 240-word buffer (newest first) by 20
    // words and puts the 20 new ones in front, as the decoder does.
    const auto noise = zt::random16(20 * 20, -300, 300);
    for (int call = 0; call < 20; ++call) {
        std::memmove(res + 20, res, sizeof(int16_t) * 220);
        for (int i = 19; i >= 0; --i) {
            const int t = call * 20 + (19 - i);
            res[i] = static_cast<int16_t>(t % 57 == 3 ? 12000 : noise[static_cast<std::size_t>(t)]);
        }
        ASSERT_EQ(zinsPitchPeriodExtraction_G728_16s(res, &pitch, as), zinStsNoErr);
    }
    EXPECT_EQ(pitch, 57);
}

// The synthesis step of the decoder: with the cap bit, a block exponent above
// 16 comes back as 16 (the concealment's limit), the words unchanged.
TEST(G728, SynthesisExponentCap) {
    auto f1 = state(144), f2 = state(144, 5);
    auto* s1 = f1.as<ZinFilterState_G728_16s>();
    auto* s2 = f2.as<ZinFilterState_G728_16s>();
    zinsSynthesisFilterInit_G728_16s(s1);
    zinsSynthesisFilterInit_G728_16s(s2);
    const int16_t a[50] = {-16000, 8000};
    const int16_t et[5] = {100, -200, 300, -50, 20};
    int16_t y1[5], y2[5], q1, q2;
    ASSERT_EQ(zinsSyntesisFilterZeroInput_G728_16s(a, et, 20, y1, &q1, s1), zinStsNoErr);
    ASSERT_EQ(zinsSyntesisFilterZeroInput_G728_16s(a, et, 20 | 0x10000, y2, &q2, s2), zinStsNoErr);
    EXPECT_GT(q1, 16);
    EXPECT_EQ(q2, 16);
    EXPECT_EQ(std::vector<int16_t>(y1, y1 + 5), std::vector<int16_t>(y2, y2 + 5));
}

}  // namespace
