// G.729 LP analysis and LSP conversions: the windowed autocorrelation and the
// lag window against their plain statements on the harness; Levinson-Durbin's
// guards, its stability limit and the float recursion; the LP-to-LSP root
// search against a statement of the reference's operators, including the
// reduced-scale path and the fallback to the previous LSPs; the LSP <-> LSF
// tables at their ends.
#include <algorithm>
#include <cmath>

#include "check.h"
#include "g729/g729_tables.h"
#include "kernels/fixed_point.h"

namespace {

using zt::Buf;
using zt::Gen;
namespace fx = zin::fx;
namespace tab = zin::g729;

// ---- autocorrelation and lag window --------------------------------------------

struct Ac {
    Buf<int16_t> src, norm;
    Buf<int32_t> dst;
    auto bufs() { return std::tie(norm, dst); }
};

TEST(G729Lp, AutoCorr) {
    zt::check(zt::Export<Ac>{"zinsAutoCorr_G729B", [](Gen& g) { return Ac{g.in16(240), g.out<int16_t>(1), g.out<int32_t>(13)}; },
                             [](Ac& a) { return zinsAutoCorr_G729B(a.src, a.norm, a.dst); },
                             [](Ac& a) {
                                 int16_t y[240];
                                 for (int i = 0; i < 240; ++i) y[i] = fx::mul16_round(a.src[i], tab::kHamWindow[i]);
                                 int count = 1;
                                 int64_t e;
                                 for (;;) {
                                     e = 0;
                                     for (int i = 0; i < 240; ++i) e += y[i] * y[i];
                                     if (2 * e + 1 <= INT32_MAX) break;
                                     for (auto& v : y) v = static_cast<int16_t>(v >> 2);
                                     count += 4;
                                 }
                                 const int n = __builtin_clz(static_cast<uint32_t>(2 * e + 1)) - 1;
                                 a.dst[0] = static_cast<int32_t>((2 * e + 1) << n);
                                 for (int k = 1; k < 13; ++k) {
                                     int64_t s = 0;
                                     for (int i = 0; i + k < 240; ++i) s += y[i] * y[i + k];
                                     a.dst[k] = zt::wrap32(s << (n + 1));
                                 }
                                 a.norm[0] = static_cast<int16_t>(count - n);
                                 return zinStsNoErr;
                             },
                             {zt::null(&Ac::src), zt::null(&Ac::norm), zt::null(&Ac::dst)}},
              zt::Sweep{{240}, {0, 1, 3}});
    // Silence: lag 0 from the added 1 alone; the exponent is then very negative.
    Buf<int16_t> z(std::vector<int16_t>(240, 0)), n(1);
    Buf<int32_t> r(13);
    ASSERT_EQ(zinsAutoCorr_G729B(z, n, r), zinStsNoErr);
    EXPECT_EQ(r[0], 0x40000000);
    EXPECT_EQ(n[0], 1 - 30);
}

struct Lag {
    Buf<int32_t> r;
    int len;
    auto bufs() { return std::tie(r); }
};

TEST(G729Lp, LagWindow) {
    zt::check(zt::Export<Lag>{"zinsLagWindow_G729_32s_I",
                              [](Gen& g) { return Lag{g.in32(12), 1 + (g.len - 1) % 12}; },
                              [](Lag& a) { return zinsLagWindow_G729_32s_I(a.r, a.len); },
                              [](Lag& a) {
                                  for (int i = 0; i < a.len; ++i) {
                                      const int32_t x = a.r[i], t = tab::kLagWindow[i];
                                      const int64_t xh = x >> 16, xl = (x >> 1) & 0x7FFF, th = t >> 16, tl = (t >> 1) & 0x7FFF;
                                      a.r[i] = zt::wrap32(2 * (xh * th + ((xh * tl) >> 15) + ((xl * th) >> 15)));
                                  }
                                  return zinStsNoErr;
                              },
                              {zt::null(&Lag::r), zt::set(zinStsSizeErr, &Lag::len, 0), zt::set(zinStsRangeErr, &Lag::len, 13)}},
              zt::Sweep{{1, 2, 5, 10, 11, 12}, {0, 1, 2}});
}

// ---- Levinson-Durbin ------------------------------------------------------------------

// Autocorrelation of a random AR(2)-coloured signal, normalised like the window's.
std::vector<int32_t> coloured_r(int lags) {
    std::vector<double> x(400);
    double p1 = 0, p2 = 0;
    for (auto& v : x) {
        v = 1.6 * p1 - 0.8 * p2 + std::uniform_real_distribution<double>(-1, 1)(zt::rng());
        p2 = p1;
        p1 = v;
    }
    std::vector<int32_t> r(lags + 1);
    double r0 = 0;
    for (double v : x) r0 += v * v;
    for (int k = 0; k <= lags; ++k) {
        double s = 0;
        for (std::size_t i = 0; i + k < x.size(); ++i) s += x[i] * x[i + k];
        r[k] = static_cast<int32_t>(std::lround(s / r0 * 0x7FFFFFFF * 0.999)) & ~1;
    }
    return r;
}

TEST(G729Lp, LevinsonDurbinChecksAndGuards) {
    int32_t r[31] = {0x40000000};
    int16_t lpc[31], rc[30], err = 7;
    EXPECT_EQ(zinsLevinsonDurbin_G729_32s16s(nullptr, 10, lpc, rc, &err), zinStsNullPtrErr);
    EXPECT_EQ(zinsLevinsonDurbin_G729_32s16s(r, 10, nullptr, rc, &err), zinStsNullPtrErr);
    EXPECT_EQ(zinsLevinsonDurbin_G729_32s16s(r, 10, lpc, nullptr, &err), zinStsNullPtrErr);
    EXPECT_EQ(zinsLevinsonDurbin_G729_32s16s(r, 0, lpc, rc, nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsLevinsonDurbin_G729_32s16s(r, 0, lpc, rc, &err), zinStsRangeErr);
    EXPECT_EQ(zinsLevinsonDurbin_G729_32s16s(r, 31, lpc, rc, &err), zinStsRangeErr);
    // Annex B's form tests rc alone first.
    EXPECT_EQ(zinsLevinsonDurbin_G729B(nullptr, lpc, nullptr, &err), zinStsNullPtrErr);
    EXPECT_EQ(zinsLevinsonDurbin_G729B(nullptr, lpc, rc, &err), zinStsNullPtrErr);
    float rf[3] = {1, 0, 0}, lf[3], kf[2], ef;
    EXPECT_EQ(zinsLevinsonDurbin_G729_32f(rf, 2, nullptr, kf, &ef), zinStsNullPtrErr);
    EXPECT_EQ(zinsLevinsonDurbin_G729_32f(rf, 0, lf, kf, &ef), zinStsSizeErr);

    // r(0) of magnitude below 0x10000 is refused before anything; nothing is written.
    std::fill(lpc, lpc + 31, 55);
    for (int32_t r0 : {0xFFFF, -0xFFFF, 0}) {
        r[0] = r0;
        EXPECT_EQ(zinsLevinsonDurbin_G729_32s16s(r, 10, lpc, rc, &err), zinStsOverflow) << r0;
    }
    EXPECT_TRUE(std::all_of(lpc, lpc + 31, [](int16_t v) { return v == 55; }) && err == 7);
    r[0] = 0x10000;
    EXPECT_EQ(zinsLevinsonDurbin_G729_32s16s(r, 10, lpc, rc, &err), zinStsNoErr);
    EXPECT_EQ(lpc[0], 4096);
}

// With r(1) = 0 the second reflection coefficient is -r(2)/r(0): scanning r(2)
// across the limit, the last accepted filter has |k2| = 32750 and every
// larger one is refused, leaving the outputs alone.
TEST(G729Lp, LevinsonDurbinStabilityLimit) {
    int last = 0;
    bool refused = false;
    for (int64_t r2 = int64_t{32740} << 15; r2 <= int64_t{32760} << 15; r2 += 1 << 9) {
        const int32_t r[3] = {0x40000000, 0, static_cast<int32_t>(-r2)};
        int16_t lpc[3] = {9, 9, 9}, rc[2] = {9, 9}, err = 9;
        const ZinStatus st = zinsLevinsonDurbin_G729_32s16s(r, 2, lpc, rc, &err);
        if (st == zinStsNoErr) {
            ASSERT_FALSE(refused) << "accepted after a refusal";
            ASSERT_LE(rc[1], 32750);
            last = rc[1];
        } else {
            ASSERT_EQ(st, zinStsOverflow);
            ASSERT_TRUE(lpc[0] == 9 && rc[1] == 9 && err == 9);
            refused = true;
        }
    }
    EXPECT_TRUE(refused);
    EXPECT_EQ(last, 32750);
}

TEST(G729Lp, LevinsonDurbinOrdersAgainstFloat) {
    int compared = 0;
    for (int order = 1; order <= 30; ++order) {
        const auto r = coloured_r(order);
        int16_t lpc[31], rc[30], err;
        ASSERT_EQ(zinsLevinsonDurbin_G729_32s16s(r.data(), order, lpc, rc, &err), zinStsNoErr) << order;
        float rf[31], lf[31], kf[30], ef;
        for (int k = 0; k <= order; ++k) rf[k] = static_cast<float>(r[k] / 2147483648.0);
        ASSERT_EQ(zinsLevinsonDurbin_G729_32f(rf, order, lf, kf, &ef), zinStsNoErr);
        if (ef == 0.001f) continue;   // the float recursion stopped at an unstable stage
        ++compared;
        EXPECT_EQ(lpc[0], 4096);
        EXPECT_FLOAT_EQ(lf[0], 1.0f);
        for (int i = 1; i <= order; ++i) EXPECT_NEAR(lpc[i] / 4096.0, lf[i], 0.01) << "order " << order << " a" << i;
        for (int i = 0; i < order; ++i) EXPECT_NEAR(rc[i] / 32768.0, kf[i], 0.002) << "order " << order << " k" << i;
        EXPECT_NEAR(std::ldexp(err, 16) / 2147483648.0, ef, 0.01) << order;
    }
    EXPECT_GE(compared, 25);
    // An unstable second stage: error 0.001, success.
    float rf[3] = {1.0f, 0.0f, -1.0f}, lf[3], kf[2], ef;
    EXPECT_EQ(zinsLevinsonDurbin_G729_32f(rf, 2, lf, kf, &ef), zinStsNoErr);
    EXPECT_EQ(ef, 0.001f);
}

// ---- LP to LSP: the reference's operators, statement of the test --------------------

int16_t cheb_ref(int16_t x, const int16_t* f, bool q10) {
    using namespace fx;
    int16_t b2h = q10 ? 128 : 256, b2l = 0;
    Dpf b1 = split32(mac32(mul32(x, q10 ? 256 : 512), f[1], 4096));
    for (int i = 2; i < 5; ++i) {
        int32_t t = shl32(mul32_dpf16(b1.hi, b1.lo, x), 1);
        t = msu32(mac32(t, b2h, -32768), b2l, 1);
        t = mac32(t, f[i], 4096);
        b2h = b1.hi;
        b2l = b1.lo;
        b1 = split32(t);
    }
    int32_t t = msu32(mac32(mul32_dpf16(b1.hi, b1.lo, x), b2h, -32768), b2l, 1);
    t = mac32(t, f[5], 2048);
    return high16(shl32(t, q10 ? 7 : 6));
}

void az_lsp_ref(const int16_t* a, const int16_t* prev, int16_t* lsp, const int16_t* grid, int points, int bis) {
    using namespace fx;
    int16_t f1[6] = {2048}, f2[6] = {2048};
    bool ovf = false;
    for (int i = 0; i < 5; ++i) {
        f1[i + 1] = sub16(high16(mac32(mul32(a[i + 1], 16384), a[10 - i], 16384)), f1[i], ovf);
        f2[i + 1] = add16(high16(msu32(mul32(a[i + 1], 16384), a[10 - i], 16384)), f2[i], ovf);
    }
    if (ovf) {
        f1[0] = f2[0] = 1024;
        for (int i = 0; i < 5; ++i) {
            f1[i + 1] = sub16(high16(mac32(mul32(a[i + 1], 8192), a[10 - i], 8192)), f1[i]);
            f2[i + 1] = add16(high16(msu32(mul32(a[i + 1], 8192), a[10 - i], 8192)), f2[i]);
        }
    }
    int nf = 0, j = 0;
    const int16_t* c = f1;
    int16_t xlow = grid[0], ylow = cheb_ref(xlow, c, ovf), out[10];
    while (nf < 10 && j < points - 1) {
        ++j;
        int16_t xhigh = xlow, yhigh = ylow;
        xlow = grid[j];
        ylow = cheb_ref(xlow, c, ovf);
        if (mul32(ylow, yhigh) > 0) continue;
        for (int i = 0; i < bis; ++i) {
            const int16_t xm = add16(shr16(xlow, 1), shr16(xhigh, 1)), ym = cheb_ref(xm, c, ovf);
            if (mul32(ylow, ym) <= 0) {
                yhigh = ym;
                xhigh = xm;
            } else {
                ylow = ym;
                xlow = xm;
            }
        }
        const int16_t x = sub16(xhigh, xlow);
        int16_t y = sub16(yhigh, ylow), xint = xlow;
        if (y != 0) {
            const int16_t sign = y;
            y = abs16(y);
            const int16_t e = norm16(y);
            y = div16(16383, shl16(y, e));
            y = low16(shr32(mul32(x, y), static_cast<int16_t>(20 - e)));
            if (sign < 0) y = neg16(y);
            xint = sub16(xlow, low16(shr32(mul32(ylow, y), 11)));
        }
        out[nf++] = xint;
        xlow = xint;
        c = c == f1 ? f2 : f1;
        ylow = cheb_ref(xlow, c, ovf);
    }
    std::copy(nf == 10 ? out : prev, (nf == 10 ? out : prev) + 10, lsp);
}

// LP filters: from random ordered LSPs (wide and very narrow pairs, which give
// large coefficients and the reduced-scale path), and plain random words.
std::vector<int16_t> random_lpc(int kind) {
    std::vector<int16_t> a(11);
    if (kind == 2) {
        a = zt::random16(11);
        a[0] = 4096;
        return a;
    }
    std::vector<double> w(10);
    for (auto& v : w) v = std::uniform_real_distribution<double>(0.02, 3.12)(zt::rng());
    std::sort(w.begin(), w.end());
    if (kind == 1)
        for (int i = 1; i < 10; i += 2) w[i] = w[i - 1] + 0.002;
    int16_t lsp[10];
    for (int i = 0; i < 10; ++i) lsp[i] = static_cast<int16_t>(std::lround(std::cos(w[i]) * 32767));
    zinsLSPToLPC_G729_16s(lsp, a.data());
    return a;
}

TEST(G729Lp, LpcToLspAgainstOperatorStatement) {
    const int16_t prev[10] = {31000, 27000, 20000, 14000, 9000, -1000, -9000, -14000, -20000, -27000};
    int reduced = 0, fallback = 0;
    for (int kind = 0; kind < 3; ++kind)
        for (int n = 0; n < 3000; ++n) {
            const auto a = random_lpc(kind);
            for (bool annexA : {false, true}) {
                int16_t want[10], got[10];
                az_lsp_ref(a.data(), prev, want, annexA ? tab::kGrid51 : tab::kGrid61, annexA ? 51 : 61, annexA ? 2 : 4);
                Buf<int16_t> lpc(a, n % 4), pl(std::vector<int16_t>(prev, prev + 10), 1), out(10, 3);
                ASSERT_EQ(annexA ? zinsLPCToLSP_G729A_16s(lpc, pl, out) : zinsLPCToLSP_G729_16s(lpc, pl, out), zinStsNoErr);
                std::copy(out.p(), out.p() + 10, got);
                ASSERT_TRUE(std::equal(want, want + 10, got)) << "kind " << kind << " case " << n << " annex A " << annexA;
                fallback += std::equal(prev, prev + 10, got);
            }
            int s = 0;
            for (int i = 0; i < 5; ++i) s = std::max(s, std::abs(a[i + 1] + a[10 - i]) / 2 + 2048 * 4);
            reduced += s > 32767;
        }
    EXPECT_GT(fallback, 0) << "some filters have fewer than 10 roots";
    EXPECT_GT(reduced, 0) << "the reduced-scale polynomials were reached";
}

TEST(G729Lp, LpcToLspWhiteFilterAndChecks) {
    const int16_t a[11] = {4096}, prev[10] = {};
    int16_t l[10];
    for (auto f : {zinsLPCToLSP_G729_16s, zinsLPCToLSP_G729A_16s}) {
        EXPECT_EQ(f(nullptr, prev, l), zinStsNullPtrErr);
        EXPECT_EQ(f(a, nullptr, l), zinStsNullPtrErr);
        EXPECT_EQ(f(a, prev, nullptr), zinStsNullPtrErr);
        ASSERT_EQ(f(a, prev, l), zinStsNoErr);
        for (int i = 0; i < 10; ++i) EXPECT_NEAR(l[i] / 32768.0, std::cos((i + 1) * M_PI / 11), 0.01) << i;
    }
    const float af[11] = {1.0f}, pf[10] = {};
    float lf[10];
    for (auto f : {zinsLPCToLSP_G729_32f, zinsLPCToLSP_G729A_32f}) {
        EXPECT_EQ(f(af, pf, nullptr), zinStsNullPtrErr);
        ASSERT_EQ(f(af, pf, lf), zinStsNoErr);
        for (int i = 0; i < 10; ++i) EXPECT_NEAR(lf[i], std::cos((i + 1) * M_PI / 11), 0.002) << i;
    }
    // No sign change at all: the previous LSPs come out, in place too.
    // F1 = T5 + 50 has no root (a5 + a6 = 100).
    float bad[11] = {1.0f, 0.f, 0.f, 0.f, 0.f, 50.f, 50.f, 0.f, 0.f, 0.f, 0.f}, keep[10];
    for (int i = 0; i < 10; ++i) keep[i] = 0.1f * static_cast<float>(i);
    float io[10];
    std::copy(keep, keep + 10, io);
    EXPECT_EQ(zinsLPCToLSP_G729_32f(bad, io, io), zinStsNoErr);
    EXPECT_TRUE(std::equal(keep, keep + 10, io));
}

// LSP to LP against the product of the second-order sections in double precision.
TEST(G729Lp, LspToLpcAgainstProduct) {
    int16_t a[11];
    EXPECT_EQ(zinsLSPToLPC_G729_16s(nullptr, a), zinStsNullPtrErr);
    EXPECT_EQ(zinsLSPToLPC_G729_16s(a, nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsLSPToLPC_G729_32f(nullptr, nullptr), zinStsNullPtrErr);
    for (int n = 0; n < 2000; ++n) {
        std::vector<double> w(10);
        for (auto& v : w) v = std::uniform_real_distribution<double>(0.05, 3.1)(zt::rng());
        std::sort(w.begin(), w.end());
        int16_t l[10];
        float lf[10], af[11];
        double p[2][12] = {{1}, {1}};
        for (int i = 0; i < 10; ++i) {
            l[i] = static_cast<int16_t>(std::lround(std::cos(w[i]) * 32767));
            lf[i] = l[i] / 32768.0f;
            double* q = p[i & 1];
            const double c = -2.0 * l[i] / 32768.0;
            for (int k = 11; k >= 2; --k) q[k] += c * q[k - 1] + q[k - 2];
            q[1] += c;
        }
        double want[11] = {1};
        for (int k = 1; k <= 10; ++k)
            want[k] = 0.5 * ((p[0][k] + p[0][k - 1]) + (p[1][k] - p[1][k - 1]));
        ASSERT_EQ(zinsLSPToLPC_G729_16s(l, a), zinStsNoErr);
        ASSERT_EQ(zinsLSPToLPC_G729_32f(lf, af), zinStsNoErr);
        for (int k = 0; k <= 10; ++k) {
            if (std::fabs(want[k]) > 7.9) continue;   // beyond Q12
            ASSERT_NEAR(a[k] / 4096.0, want[k], 0.002) << n << " a" << k;
            ASSERT_NEAR(af[k], want[k], 1e-3 * (1 + std::fabs(want[k]))) << n << " a" << k;
        }
    }
}

// ---- LSP <-> LSF ----------------------------------------------------------------------

TEST(G729Lp, LspLsfTables) {
    int16_t lsp[10], lsf[10], nrm[10];
    EXPECT_EQ(zinsLSPToLSF_G729_16s(nullptr, lsf), zinStsNullPtrErr);
    EXPECT_EQ(zinsLSPToLSF_Norm_G729_16s(lsp, nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsLSFToLSP_G729_16s(nullptr, lsp), zinStsNullPtrErr);
    // At the table's own points the arc cosine is exact: k*256 normalised, k*512 scaled by 2 pi.
    for (int k0 = 0; k0 < 60; k0 += 10) {
        for (int i = 0; i < 10; ++i) lsp[i] = tab::kCosTable[k0 + i];
        ASSERT_EQ(zinsLSPToLSF_Norm_G729_16s(lsp, nrm), zinStsNoErr);
        ASSERT_EQ(zinsLSPToLSF_G729_16s(lsp, lsf), zinStsNoErr);
        for (int i = 0; i < 10; ++i) {
            const int k = k0 + i;
            EXPECT_EQ(nrm[i], k * 256);
            EXPECT_EQ(lsf[i], (k * 512 * 25736) >> 15);
        }
    }
    // 32767 ends at table position 0.
    std::fill(lsp, lsp + 10, 32767);
    ASSERT_EQ(zinsLSPToLSF_G729_16s(lsp, lsf), zinStsNoErr);
    EXPECT_TRUE(std::all_of(lsf, lsf + 10, [](int16_t v) { return v == 0; }));
    // LSF -> LSP -> LSF stays within a few steps away from the flat ends of the cosine.
    for (int f = 1000; f < 23000; f += 97) {
        int16_t in[10], l2[10], out[10];
        for (int i = 0; i < 10; ++i) in[i] = static_cast<int16_t>(std::min(f + 40 * i, 25735));
        ASSERT_EQ(zinsLSFToLSP_G729_16s(in, l2), zinStsNoErr);
        ASSERT_EQ(zinsLSPToLSF_G729_16s(l2, out), zinStsNoErr);
        for (int i = 0; i < 10; ++i) ASSERT_NEAR(out[i], in[i], 16) << f;
    }
    // Above pi the position stays at 63; a negative frequency stops the call there.
    int16_t in[10] = {100, 200, 32767, -5, 500, 600, 700, 800, 900, 1000}, out[10];
    std::fill(out, out + 10, 99);
    EXPECT_EQ(zinsLSFToLSP_G729_16s(in, out), zinStsLsfRangeErr);
    const int f63 = (32767 * 20861) >> 15;
    EXPECT_EQ(out[2], tab::kCosTable[63] + (((f63 & 255) * tab::kSlopeCos[63]) >> 12));
    EXPECT_NE(out[1], 99);
    EXPECT_TRUE(std::all_of(out + 3, out + 10, [](int16_t v) { return v == 99; }));
}

}  // namespace
