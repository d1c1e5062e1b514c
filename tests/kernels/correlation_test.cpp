// Correlation, lag-search and convolution exports through the public entries:
// check orders, boundaries, tie rules, and every path against a plain scalar
// statement on random and extreme input over many lengths and misaligned
// pointers. The _NR convolution is also held against the basic operators.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <vector>

#include "kernels/fixed_point.h"
#include "test_util.h"
#include "zinsc.h"

namespace {

using zt::Misaligned;
using zt::Pattern;
namespace fx = zin::fx;

// ---- plain statements ----------------------------------------------------

using zt::sat16;
using zt::sat32;
constexpr auto wrap = zt::wrap32;

// Exact sum over i < n of a[i] * b[i + k].
int64_t corr(const int16_t* a, const int16_t* b, int n, int k) {
    int64_t s = 0;
    for (int i = 0; i < n; ++i) s += int64_t{a[i]} * b[i + k];
    return s;
}

// The _Sfs rule: ties to even for right shifts, saturated left shifts.
int32_t sfs(int64_t a, int s) {
    s = std::clamp(s, -31, 31);
    if (s > 0) {
        const int64_t q = a >> s, r = a - (q << s), half = int64_t{1} << (s - 1);
        return sat32(q + (r > half || (r == half && (q & 1))));
    }
    if (s < 0) {
        const __int128 v = static_cast<__int128>(a) << -s;
        return v > INT32_MAX ? INT32_MAX : (v < INT32_MIN ? INT32_MIN : static_cast<int32_t>(v));
    }
    return sat32(a);
}

constexpr auto lengths = zt::short_lengths;

// ---- checks --------------------------------------------------------------

TEST(Correlation, CheckOrder) {
    int16_t a[16] = {1}, d16[16];
    int32_t d32[16];
    int n = 0, lag = 0;
    int32_t mx = 0;
    std::fill(d16, d16 + 16, 77);
    std::fill(d32, d32 + 16, 77);

    EXPECT_EQ(zinsAutoCorr_16s32s(nullptr, 0, d32, 0), zinStsNullPtrErr);
    EXPECT_EQ(zinsAutoCorr_16s32s(a, 0, d32, 1), zinStsSizeErr);
    EXPECT_EQ(zinsAutoCorr_16s32s(a, 1, d32, 0), zinStsSizeErr);
    EXPECT_EQ(zinsAutoCorr_NormE_16s32s(a, 0, d32, 0, nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsAutoCorr_NormE_16s32s(a, 4, d32, 0, &n), zinStsSizeErr);
    EXPECT_EQ(zinsAutoCorr_NormE_NR_16s(a, -1, d16, 1, &n), zinStsSizeErr);
    EXPECT_EQ(zinsAutoCorr_NormE_NR_16s(a, 1, nullptr, 1, &n), zinStsNullPtrErr);

    EXPECT_EQ(zinsCrossCorr_16s32s_Sfs(a, nullptr, 0, d32, 0), zinStsNullPtrErr);
    EXPECT_EQ(zinsCrossCorr_16s32s_Sfs(a, a, 0, d32, 0), zinStsSizeErr);
    EXPECT_EQ(zinsCrossCorr_NR_16s32s(a, a, 4, d32, 0), zinStsSizeErr);
    EXPECT_EQ(zinsCrossCorr_NR_16s32s(a, a, 4, nullptr, 0), zinStsNullPtrErr);
    EXPECT_EQ(zinsCrossCorr_NR_16s_Sfs(a, a, 0, d16, 1, -1), zinStsSizeErr);
    EXPECT_EQ(zinsCrossCorr_NR_16s_Sfs(a, a, 4, d16, 0, -1), zinStsSizeErr);
    EXPECT_EQ(zinsCrossCorr_NR_16s_Sfs(a, a, 4, d16, 1, -1), zinStsScaleRangeErr);
    EXPECT_EQ(zinsCrossCorr_NR_16s(nullptr, a, 0, d16, 0), zinStsNullPtrErr);
    EXPECT_EQ(zinsCrossCorr_NR_16s(a, a, 1, d16, 0), zinStsSizeErr);
    EXPECT_EQ(zinsCrossCorr_NormM_16s(a, a, 0, nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsCrossCorr_NormM_16s(a, a, 0, d16), zinStsSizeErr);

    EXPECT_EQ(zinsCrossCorrLagMax_16s(a, a, 0, -1, &mx, nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsCrossCorrLagMax_16s(a, a, 0, -1, &mx, &lag), zinStsSizeErr);
    mx = 5;
    lag = 5;
    EXPECT_EQ(zinsCrossCorrLagMax_16s(a, a, 4, -1, &mx, &lag), zinStsRangeErr);
    EXPECT_EQ(mx, 5);
    EXPECT_EQ(lag, 5);
    float f[16] = {};
    double dm = 0;
    float fm = 0;
    EXPECT_EQ(zinsCrossCorrLagMax_32f64f(f, f, 4, 0, nullptr, &lag), zinStsNullPtrErr);
    EXPECT_EQ(zinsCrossCorrLagMax_32f64f(f, f, 0, -1, &dm, &lag), zinStsSizeErr);
    EXPECT_EQ(zinsCrossCorrLagMax_32f64f(f, f, 1, -1, &dm, &lag), zinStsRangeErr);
    EXPECT_EQ(zinsAutoCorrLagMax_Fwd_16s(nullptr, 0, 0, 0, &mx, &lag), zinStsNullPtrErr);
    EXPECT_EQ(zinsAutoCorrLagMax_Fwd_16s(a, 0, 0, 0, &mx, &lag), zinStsSizeErr);
    EXPECT_EQ(zinsAutoCorrLagMax_Inv_16s(a, 4, 0, 0, nullptr, &lag), zinStsNullPtrErr);
    EXPECT_EQ(zinsAutoCorrLagMax_Inv_16s(a, -4, 0, 0, &mx, &lag), zinStsSizeErr);
    EXPECT_EQ(zinsAutoCorrLagMax_32f(f, 4, 0, 0, &fm, nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsAutoCorrLagMax_32f(f, 0, 0, 0, &fm, &lag), zinStsSizeErr);

    EXPECT_EQ(zinsConvPartial_16s32s(a, a, nullptr, 0), zinStsNullPtrErr);
    EXPECT_EQ(zinsConvPartial_16s32s(a, a, d32, 0), zinStsSizeErr);
    // The scale test of the truncating convolution precedes the length test.
    EXPECT_EQ(zinsConvPartial_16s_Sfs(a, a, nullptr, 0, -1), zinStsNullPtrErr);
    EXPECT_EQ(zinsConvPartial_16s_Sfs(a, a, d16, 0, -1), zinStsBadArgErr);
    EXPECT_EQ(zinsConvPartial_16s_Sfs(a, a, d16, 0, 0), zinStsSizeErr);
    EXPECT_EQ(zinsConvPartial_NR_16s(a, nullptr, d16, 0), zinStsNullPtrErr);
    EXPECT_EQ(zinsConvPartial_NR_16s(a, a, d16, 0), zinStsSizeErr);
    EXPECT_EQ(zinsConvPartial_NR_Low_16s(a, a, d16, -3), zinStsSizeErr);

    EXPECT_TRUE(std::all_of(d16, d16 + 16, [](int16_t v) { return v == 77; })) << "nothing written on a refused call";
    EXPECT_TRUE(std::all_of(d32, d32 + 16, [](int32_t v) { return v == 77; })) << "nothing written on a refused call";
}

// ---- autocorrelation -----------------------------------------------------

TEST(Correlation, AutoCorrMatchesPlainSums) {
    zt::for_each_input(0, [](const std::vector<int16_t>& v, int len, int off) {
        Misaligned<int16_t> src(len, off);
        src.assign(v);
        for (int lags : {1, 3, 9, 10, 11, len, len + 5}) {
            Misaligned<int32_t> dst(lags, off + 1);
            ASSERT_EQ(zinsAutoCorr_16s32s(src.data(), len, dst.data(), lags), zinStsNoErr);
            for (int k = 0; k < lags; ++k) {
                const int32_t want = k < len ? wrap(corr(v.data(), v.data(), len - k, k)) : 0;
                ASSERT_EQ(dst.data()[k], want) << "len " << len << " lag " << k;
            }
            ASSERT_TRUE(dst.guards_intact());
        }
    });
}

TEST(Correlation, AutoCorrNormE) {
    zt::for_each_input(0, [](const std::vector<int16_t>& v, int len, int off) {
        Misaligned<int16_t> src(len, off);
        src.assign(v);
        const int lags = std::min(len + 2, 12);
        const int64_t e = corr(v.data(), v.data(), len, 0);
        Misaligned<int32_t> dst(lags, off, 99);
        int norm = -5;
        const ZinStatus st = zinsAutoCorr_NormE_16s32s(src.data(), len, dst.data(), lags, &norm);
        if (e > 0x3FFFFFFF) {
            ASSERT_EQ(st, zinStsOverflow);
            ASSERT_EQ(norm, -5);
            ASSERT_EQ(dst.data()[0], 99);
            return;
        }
        ASSERT_EQ(st, zinStsNoErr);
        const uint32_t e2 = static_cast<uint32_t>(2 * e + 1);
        const int n = __builtin_clz(e2) - 1;
        ASSERT_EQ(norm, n);
        ASSERT_EQ(static_cast<uint32_t>(dst.data()[0]), e2 << n);
        for (int k = 1; k < lags; ++k) {
            const uint32_t c = k < len ? static_cast<uint32_t>(corr(v.data(), v.data(), len - k, k)) : 0;
            ASSERT_EQ(static_cast<uint32_t>(dst.data()[k]), c << (n + 1)) << len << " " << k;
        }

        Misaligned<int16_t> d16(lags, off);
        ASSERT_EQ(zinsAutoCorr_NormE_NR_16s(src.data(), len, d16.data(), lags, &norm), zinStsNoErr);
        int64_t es = std::min<int64_t>(e, INT32_MAX);
        es = es < 0x40000000 ? 2 * es : INT32_MAX;
        if (es == 0) {
            ASSERT_EQ(norm, 0);
            for (int k = 0; k < lags; ++k) ASSERT_EQ(d16.data()[k], 0);
            return;
        }
        const int m = __builtin_clz(static_cast<uint32_t>(es)) - 1;
        ASSERT_EQ(norm, m);
        const int64_t en = es << m;
        ASSERT_EQ(d16.data()[0], en >= 0x7FFF8000 ? 32767 : static_cast<int16_t>((en + 32768) >> 16));
        for (int k = 1; k < lags; ++k) {
            const int64_t c = k < len ? wrap(corr(v.data(), v.data(), len - k, k)) : 0;
            ASSERT_EQ(d16.data()[k], sat16(((c << (m + 1)) + 32768) >> 16));
        }
    });
}

// Silence is covered by the driver above; here the energy limit itself.
TEST(Correlation, AutoCorrNormEBoundaries) {
    int32_t d[1];
    int n = 0;
    // Energy 0x3FFFFFFF is the last accepted; one sample of 32767 is below it.
    int16_t one[1] = {32767};
    EXPECT_EQ(zinsAutoCorr_NormE_16s32s(one, 1, d, 1, &n), zinStsNoErr);
    int16_t two[2] = {32767, 1};
    EXPECT_EQ(zinsAutoCorr_NormE_16s32s(two, 2, d, 1, &n), zinStsNoErr);
    int16_t edge[2] = {32767, 255};
    EXPECT_EQ(zinsAutoCorr_NormE_16s32s(edge, 2, d, 1, &n), zinStsNoErr);
    int16_t big[2] = {32767, 256};
    EXPECT_EQ(zinsAutoCorr_NormE_16s32s(big, 2, d, 1, &n), zinStsOverflow);
}

// ---- cross-correlation ---------------------------------------------------

TEST(Correlation, CrossCorrScaled) {
    zt::for_each_input(0, [](const std::vector<int16_t>& v, int len, int off) {
        const std::vector<int16_t> w = zt::random16(static_cast<std::size_t>(len));
        Misaligned<int16_t> a(len, off), b(len, off + 2);
        a.assign(v);
        b.assign(w);
        for (int s : {-40, -3, 0, 1, 7, 31, 40}) {
            Misaligned<int32_t> dst(len, off);
            ASSERT_EQ(zinsCrossCorr_16s32s_Sfs(a.data(), b.data(), len, dst.data(), s), zinStsNoErr);
            for (int k = 0; k < len; ++k) ASSERT_EQ(dst.data()[k], sfs(corr(v.data(), w.data(), len - k, k), s)) << len << " " << k;
            ASSERT_TRUE(dst.guards_intact());
        }
        // Both inputs at full scale of the same sign: the saturating end.
        std::vector<int16_t> f(static_cast<std::size_t>(len), -32768);
        std::vector<int32_t> d(static_cast<std::size_t>(len));
        ASSERT_EQ(zinsCrossCorr_16s32s_Sfs(f.data(), f.data(), len, d.data(), 0), zinStsNoErr);
        ASSERT_EQ(d[0], sat32(int64_t{len} << 30));
    });
}

TEST(Correlation, CrossCorrNR) {
    zt::for_each_input(0, [](const std::vector<int16_t>& v, int len, int off) {
        for (int lags : {1, 4, 5, 40}) {
            std::vector<int16_t> w = zt::pattern16(off == 1 ? Pattern::FullScaleNegative : Pattern::Random,
                                                   static_cast<std::size_t>(len + lags));
            Misaligned<int16_t> a(len, off), b(w.size(), off + 1);
            a.assign(v);
            b.assign(w);
            Misaligned<int32_t> d32(lags, off);
            Misaligned<int16_t> d16(lags, off), e16(lags, off);
            ASSERT_EQ(zinsCrossCorr_NR_16s32s(a.data(), b.data(), len, d32.data(), lags), zinStsNoErr);
            ASSERT_EQ(zinsCrossCorr_NR_16s(a.data(), b.data(), len, d16.data(), lags), zinStsNoErr);
            for (int k = 0; k < lags; ++k) {
                const int64_t c = corr(v.data(), w.data(), len, k);
                ASSERT_EQ(d32.data()[k], sat32(c));
                ASSERT_EQ(d16.data()[k], sat16((int64_t{wrap(c)} + (1 << 14)) >> 15));
            }
            for (int s : {0, 1, 12, 31, 45}) {
                ASSERT_EQ(zinsCrossCorr_NR_16s_Sfs(a.data(), b.data(), len, e16.data(), lags, s), zinStsNoErr);
                for (int k = 0; k < lags; ++k) {
                    const int64_t c = wrap(corr(v.data(), w.data(), len, k));
                    const int64_t r = s == 0 ? c : (s >= 62 ? 0 : (c + (int64_t{1} << (s - 1))) >> s);
                    ASSERT_EQ(e16.data()[k], sat16(r)) << "scale " << s;
                }
            }
            ASSERT_TRUE(d32.guards_intact() && d16.guards_intact() && e16.guards_intact());
        }
    });
}

TEST(Correlation, CrossCorrNormM) {
    zt::for_each_input(0, [](const std::vector<int16_t>& v, int len, int off) {
        const std::vector<int16_t> w = zt::random16(static_cast<std::size_t>(len), -3000, 3000);
        Misaligned<int16_t> a(len, off), b(len, off + 1), d(len, off);
        a.assign(v);
        b.assign(w);
        ASSERT_EQ(zinsCrossCorr_NormM_16s(a.data(), b.data(), len, d.data()), zinStsNoErr);
        std::vector<int64_t> c(static_cast<std::size_t>(len));
        int64_t m = 0;
        for (int k = 0; k < len; ++k) {
            c[k] = 2 * int64_t{wrap(corr(v.data(), w.data(), len - k, k))};
            m = std::max<int64_t>(m, std::abs(c[k]));
        }
        int sh = 0;
        while ((m >> sh) > 32767) ++sh;
        for (int k = 0; k < len; ++k) ASSERT_EQ(d.data()[k], static_cast<int16_t>(c[k] >> sh));
        // The largest magnitude uses the upper half of the range when it had to shift.
        if (sh > 0) {
            ASSERT_GE(m >> sh, 16384);
        }
    });
}

// ---- lag searches --------------------------------------------------------

TEST(LagSearch, CrossCorrLagMax) {
    zt::for_each_input(0, [](const std::vector<int16_t>& v, int len, int off) {
        for (int lagMax : {0, 3, 4, 17, 40}) {
            const std::vector<int16_t> w = zt::random16(static_cast<std::size_t>(len + lagMax));
            Misaligned<int16_t> a(len, off), b(w.size(), off + 1);
            a.assign(v);
            b.assign(w);
            int32_t best = 0;
            int bl = lagMax;
            for (int lag = lagMax; lag >= 0; --lag) {
                const int64_t c = corr(v.data(), w.data(), len, lag);
                const int32_t r = len == 40 ? wrap(c) : sat32(c);
                if (r > best) best = r, bl = lag;
            }
            int32_t mx = 7;
            int lag = -7;
            ASSERT_EQ(zinsCrossCorrLagMax_16s(a.data(), b.data(), len, lagMax, &mx, &lag), zinStsNoErr);
            ASSERT_EQ(mx, best) << len << " " << lagMax;
            ASSERT_EQ(lag, bl) << len << " " << lagMax;
        }
    });
}

TEST(LagSearch, CrossCorrLagMaxStartValuesAndTies) {
    std::vector<int16_t> a(40, 1000), b(60, -1000);
    int32_t mx = 1;
    int lag = 0;
    ASSERT_EQ(zinsCrossCorrLagMax_16s(a.data(), b.data(), 40, 20, &mx, &lag), zinStsNoErr);
    EXPECT_EQ(mx, 0);
    EXPECT_EQ(lag, 20);
    // Equal correlations everywhere: the largest lag wins.
    std::fill(b.begin(), b.end(), 3);
    ASSERT_EQ(zinsCrossCorrLagMax_16s(a.data(), b.data(), 40, 20, &mx, &lag), zinStsNoErr);
    EXPECT_EQ(mx, 120000);
    EXPECT_EQ(lag, 20);
    // Length 40 wraps; 41 saturates.
    std::vector<int16_t> f(80, -32768);
    ASSERT_EQ(zinsCrossCorrLagMax_16s(f.data(), f.data(), 40, 0, &mx, &lag), zinStsNoErr);
    EXPECT_EQ(mx, 0) << "40 * 2^30 wraps to 0, which is not above the start value";
    ASSERT_EQ(zinsCrossCorrLagMax_16s(f.data(), f.data(), 41, 0, &mx, &lag), zinStsNoErr);
    EXPECT_EQ(mx, INT32_MAX);
}

// Silence gives ties everywhere (both take the smallest lag), full scale the
// saturated (forward) and wrapped (inverse) doubling, {3, 2} an empty range.
TEST(LagSearch, AutoCorrLagMaxFwdInv) {
    zt::for_each_input(0, [](const std::vector<int16_t>& v0, int len, int off) {
        for (auto [lo, hi] : {std::pair{20, 143}, std::pair{0, 0}, std::pair{5, 8}, std::pair{3, 2}, std::pair{18, 40}}) {
            // One buffer with hi samples before and after the frame.
            std::vector<int16_t> buf = zt::random16(static_cast<std::size_t>(len + 2 * hi + 2));
            std::copy(v0.begin(), v0.end(), buf.begin() + hi + 1);
            Misaligned<int16_t> m(buf.size(), off);
            m.assign(buf);
            const int16_t* s = buf.data() + hi + 1;
            const int16_t* p = m.data() + hi + 1;

            int32_t best = INT32_MIN;
            int bl = 0;
            for (int lag = lo; lag <= hi; ++lag) {
                const int32_t c = wrap(corr(s, s, len, lag));
                const int32_t d = c < -0x40000000 ? INT32_MIN : (c >= 0x40000000 ? INT32_MAX : 2 * c);
                if (d > best) best = d, bl = lag;
            }
            int32_t mx = 0;
            int lag = -1;
            ASSERT_EQ(zinsAutoCorrLagMax_Fwd_16s(p, len, lo, hi, &mx, &lag), zinStsNoErr);
            ASSERT_EQ(mx, best);
            ASSERT_EQ(lag, bl);

            best = INT32_MIN;
            bl = 0;
            for (int l = hi; l >= lo; --l) {
                int64_t c = 0;
                for (int i = 0; i < len; ++i) c += int32_t{s[i]} * s[i - l];
                const int32_t d = wrap(int64_t{wrap(c)} * 2);
                if (d >= best) best = d, bl = l;
            }
            ASSERT_EQ(zinsAutoCorrLagMax_Inv_16s(p, len, lo, hi, &mx, &lag), zinStsNoErr);
            ASSERT_EQ(mx, best);
            ASSERT_EQ(lag, bl);
        }
    });
}

TEST(LagSearch, FloatForms) {
    std::uniform_real_distribution<float> d(-1000.f, 1000.f);
    for (int len : {1, 7, 8, 40, 64, 80, 81, 160, 240}) {
        for (int off : {0, 1}) {
            const int hi = 60;
            Misaligned<float> m(static_cast<std::size_t>(len + hi + 4), off);
            for (std::size_t i = 0; i < m.size(); ++i) m.data()[i] = d(zt::rng());
            const float* s = m.data();
            // Single-precision autocorrelation search; sums may differ in order, so
            // the chosen lag must carry a correlation within rounding of the best.
            std::vector<double> c(hi + 1);
            double best = -DBL_MAX;
            for (int l = 0; l <= hi; ++l) {
                c[l] = 0;
                for (int i = 0; i < len; ++i) c[l] += double{s[i]} * s[i + l];
                best = std::max(best, c[l]);
            }
            const double tol = 1e-5 * (std::abs(best) + 1e6) * len;
            float fm = 0;
            int lag = -1;
            ASSERT_EQ(zinsAutoCorrLagMax_32f(s, len, 0, hi, &fm, &lag), zinStsNoErr);
            ASSERT_NEAR(fm, best, tol);
            ASSERT_NEAR(c[lag], best, 2 * tol);

            double dm = -1;
            ASSERT_EQ(zinsCrossCorrLagMax_32f64f(s, s + 2, len, hi, &dm, &lag), zinStsNoErr);
            double bx = -DBL_MAX;
            int bl = hi;
            for (int l = hi; l >= 0; --l) {
                double x = 0;
                for (int i = 0; i < len; ++i) x += double{s[i]} * s[i + 2 + l];
                if (x > bx) bx = x, bl = l;
            }
            ASSERT_NEAR(dm, bx, 1e-9 * (std::abs(bx) + 1));
            ASSERT_EQ(lag, bl);
        }
    }
    // Empty range of the float search; the double search has no floor at 0.
    float one[4] = {1, 1, 1, 1};
    float fm = 0;
    int lag = -1;
    ASSERT_EQ(zinsAutoCorrLagMax_32f(one, 1, 2, 1, &fm, &lag), zinStsNoErr);
    EXPECT_EQ(fm, -FLT_MAX);
    EXPECT_EQ(lag, 0);
    float neg[4] = {-1, 1, 1, 1};
    double dm = 5;
    ASSERT_EQ(zinsCrossCorrLagMax_32f64f(neg, one, 1, 3, &dm, &lag), zinStsNoErr);
    EXPECT_EQ(dm, -1.0);
    EXPECT_EQ(lag, 3) << "equal correlations: the largest lag";
}

// ---- convolutions --------------------------------------------------------

int64_t conv(const int16_t* a, const int16_t* b, int n) {
    int64_t s = 0;
    for (int k = 0; k <= n; ++k) s += int32_t{a[k]} * b[n - k];
    return s;
}

// The Q15 convolution of the references: L_mac term by term, then round.
int16_t conv_operators(const int16_t* a, const int16_t* b, int n) {
    int32_t acc = 0;
    for (int k = 0; k <= n; ++k) acc = fx::mac32(acc, a[k], b[n - k]);
    return fx::round16(acc);
}

TEST(Convolution, PartialSums) {
    zt::for_each_input(0, [](const std::vector<int16_t>& v, int len, int off) {
        const std::vector<int16_t> w = zt::random16(static_cast<std::size_t>(len));
        Misaligned<int16_t> a(len, off), b(len, off + 1);
        a.assign(v);
        b.assign(w);
        Misaligned<int32_t> d32(len, off);
        ASSERT_EQ(zinsConvPartial_16s32s(a.data(), b.data(), d32.data(), len), zinStsNoErr);
        for (int n = 0; n < len; ++n) ASSERT_EQ(d32.data()[n], wrap(conv(v.data(), w.data(), n))) << len << " " << n;
        ASSERT_TRUE(d32.guards_intact());
        for (int s : {0, 3, 12, 15, 31, 50}) {
            Misaligned<int16_t> d(len, off + 2);
            ASSERT_EQ(zinsConvPartial_16s_Sfs(a.data(), b.data(), d.data(), len, s), zinStsNoErr);
            for (int n = 0; n < len; ++n)
                ASSERT_EQ(d.data()[n], static_cast<int16_t>(wrap(conv(v.data(), w.data(), n)) >> std::min(s, 31)));
            ASSERT_TRUE(d.guards_intact());
        }
        Misaligned<int16_t> low(len, off);
        ASSERT_EQ(zinsConvPartial_NR_Low_16s(a.data(), b.data(), low.data(), len), zinStsNoErr);
        for (int n = 0; n < len; ++n)
            ASSERT_EQ(low.data()[n], static_cast<int16_t>(wrap(int64_t{wrap(conv(v.data(), w.data(), n))} + 16384) >> 15));
    });
}

TEST(Convolution, RoundedFollowsTheBasicOperators) {
    zt::for_each_input(0, [](const std::vector<int16_t>& v, int len, int off) {
        for (int amp : {32767, 2000}) {
            const std::vector<int16_t> w = zt::random16(static_cast<std::size_t>(len), -amp, amp);
            Misaligned<int16_t> a(len, off), b(len, off + 1), d(len, off);
            a.assign(v);
            b.assign(w);
            ASSERT_EQ(zinsConvPartial_NR_16s(a.data(), b.data(), d.data(), len), zinStsNoErr);
            const int64_t e1 = corr(v.data(), v.data(), len, 0), e2 = corr(w.data(), w.data(), len, 0);
            const bool exact = e1 >= 0x7FFFFFFE || e2 >= 0x7FFFFFFE;
            for (int n = 0; n < len; ++n) {
                if (exact) {
                    ASSERT_EQ(d.data()[n], conv_operators(v.data(), w.data(), n)) << len << " " << n;
                    continue;
                }
                const int64_t s = conv(v.data(), w.data(), n);
                ASSERT_EQ(d.data()[n], static_cast<int16_t>(wrap(int64_t{wrap(s)} + 16384) >> 15));
                // Where no doubled partial sum leaves 32 bits, that is also the
                // result of L_mac and round.
                int64_t part = 0, peak = 0;
                for (int k = 0; k <= n; ++k) {
                    part += int32_t{v[k]} * w[n - k];
                    peak = std::max<int64_t>(peak, std::abs(part));
                }
                if (2 * peak < 0x7FFF8000) {
                    ASSERT_EQ(d.data()[n], conv_operators(v.data(), w.data(), n));
                }
            }
        }
    });
    // A saturating case: full-scale inputs take the operators' path.
    std::vector<int16_t> f(40, 32767), d(40);
    ASSERT_EQ(zinsConvPartial_NR_16s(f.data(), f.data(), d.data(), 40), zinStsNoErr);
    EXPECT_EQ(d[0], 32766);
    EXPECT_EQ(d[1], 32767);
    EXPECT_EQ(d[39], 32767);
}

}  // namespace
