// Correlation, lag-search and convolution exports, each described once for the
// checking harness: its plain statement, its arguments and its checks in order.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "check.h"
#include "kernels/fixed_point.h"

namespace {

using zt::Buf;
using zt::by_off;
using zt::Gen;
using zt::sat16;
using zt::sat32;
constexpr auto wrap = zt::wrap32;
namespace fx = zin::fx;

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

const zt::Sweep kQuadratic = zt::quadratic_sweep();

// ---- autocorrelation -----------------------------------------------------

struct Auto {
    Buf<int16_t> src;
    int len, lags;
    Buf<int32_t> dst;
    Buf<int> norm;
    Buf<int16_t> d16;
    auto bufs() { return std::tie(src, dst, norm, d16); }
};

Auto make_auto(Gen& g) {
    const int lags = by_off(g, {1, 3, 9, 10, 11, g.len, g.len + 5, 12});
    return {g.in16(g.len), g.len, lags, g.out<int32_t>(lags), g.out<int>(1), g.out<int16_t>(lags)};
}

template <class B>
std::vector<zt::Check<Auto>> auto_checks(B Auto::*dst) {
    return {zt::null(&Auto::src), zt::null(dst), zt::set(zinStsSizeErr, &Auto::len, 0),
            zt::set(zinStsSizeErr, &Auto::lags, 0), zt::set(zinStsSizeErr, &Auto::len, -1)};
}

TEST(Correlation, AutoCorr) {
    zt::check(zt::Export<Auto>{"zinsAutoCorr_16s32s", make_auto,
                               [](Auto& a) { return zinsAutoCorr_16s32s(a.src, a.len, a.dst, a.lags); },
                               [](Auto& a) {
                                   for (int k = 0; k < a.lags; ++k) a.dst[k] = k < a.len ? wrap(corr(a.src, a.src, a.len - k, k)) : 0;
                                   return zinStsNoErr;
                               },
                               auto_checks(&Auto::dst)},
              kQuadratic);
}

TEST(Correlation, AutoCorrNormE) {
    zt::check(zt::Export<Auto>{"zinsAutoCorr_NormE_16s32s", make_auto,
                               [](Auto& a) { return zinsAutoCorr_NormE_16s32s(a.src, a.len, a.dst, a.lags, a.norm); },
                               [](Auto& a) {
                                   const int64_t e = corr(a.src, a.src, a.len, 0);
                                   if (e > 0x3FFFFFFF) return zinStsOverflow;
                                   const uint32_t e2 = static_cast<uint32_t>(2 * e + 1);
                                   const int n = __builtin_clz(e2) - 1;
                                   a.norm[0] = n;
                                   a.dst[0] = static_cast<int32_t>(e2 << n);
                                   for (int k = 1; k < a.lags; ++k) {
                                       const uint32_t c = k < a.len ? static_cast<uint32_t>(corr(a.src, a.src, a.len - k, k)) : 0;
                                       a.dst[k] = static_cast<int32_t>(c << (n + 1));
                                   }
                                   return zinStsNoErr;
                               },
                               auto_checks(&Auto::norm)},
              kQuadratic);
    zt::check(zt::Export<Auto>{"zinsAutoCorr_NormE_NR_16s", make_auto,
                               [](Auto& a) { return zinsAutoCorr_NormE_NR_16s(a.src, a.len, a.d16, a.lags, a.norm); },
                               [](Auto& a) {
                                   int64_t es = std::min<int64_t>(corr(a.src, a.src, a.len, 0), INT32_MAX);
                                   es = es < 0x40000000 ? 2 * es : INT32_MAX;
                                   if (es == 0) {
                                       a.norm[0] = 0;
                                       for (int k = 0; k < a.lags; ++k) a.d16[k] = 0;
                                       return zinStsNoErr;
                                   }
                                   const int m = __builtin_clz(static_cast<uint32_t>(es)) - 1;
                                   const int64_t en = es << m;
                                   a.norm[0] = m;
                                   a.d16[0] = en >= 0x7FFF8000 ? 32767 : static_cast<int16_t>((en + 32768) >> 16);
                                   for (int k = 1; k < a.lags; ++k) {
                                       const int64_t c = k < a.len ? wrap(corr(a.src, a.src, a.len - k, k)) : 0;
                                       a.d16[k] = sat16(((c << (m + 1)) + 32768) >> 16);
                                   }
                                   return zinStsNoErr;
                               },
                               auto_checks(&Auto::d16)},
              kQuadratic);
    // Energy 0x3FFFFFFF is the last one accepted.
    int32_t d[1];
    int n = 0;
    int16_t edge[2] = {32767, 255}, big[2] = {32767, 256};
    EXPECT_EQ(zinsAutoCorr_NormE_16s32s(edge, 2, d, 1, &n), zinStsNoErr);
    EXPECT_EQ(zinsAutoCorr_NormE_16s32s(big, 2, d, 1, &n), zinStsOverflow);
}

// ---- cross-correlation ---------------------------------------------------

struct Cross {
    Buf<int16_t> a, b;
    int len, lags, sf;
    Buf<int32_t> d32;
    Buf<int16_t> d16;
    auto bufs() { return std::tie(a, b, d32, d16); }
};

// Lags 0 is the full-length form: b holds len samples and dst len values.
Cross make_cross(Gen& g, bool lagged, bool small_b = false) {
    const int lags = lagged ? by_off(g, {1, 4, 5, 40}) : 0;
    const int out = lagged ? lags : g.len;
    return {g.in16(g.len), small_b ? g.in16(g.len + lags, -3000, 3000) : g.in16(g.len + lags), g.len, lags,
            by_off(g, {-40, -3, 0, 1, 7, 31, 40, 12}), g.out<int32_t>(out), g.out<int16_t>(out)};
}

template <class B>
std::vector<zt::Check<Cross>> cross_checks(B Cross::*dst, bool lagged, bool scaled = false) {
    std::vector<zt::Check<Cross>> c{zt::null(&Cross::a), zt::null(&Cross::b), zt::null(dst),
                                    zt::set(zinStsSizeErr, &Cross::len, 0), zt::set(zinStsSizeErr, &Cross::len, -2)};
    if (lagged) c.push_back(zt::set(zinStsSizeErr, &Cross::lags, 0));
    if (scaled) c.push_back(zt::set(zinStsScaleRangeErr, &Cross::sf, -1));
    return c;
}

TEST(Correlation, CrossCorr) {
    zt::check(zt::Export<Cross>{"zinsCrossCorr_16s32s_Sfs", [](Gen& g) { return make_cross(g, false); },
                                [](Cross& c) { return zinsCrossCorr_16s32s_Sfs(c.a, c.b, c.len, c.d32, c.sf); },
                                [](Cross& c) {
                                    for (int k = 0; k < c.len; ++k) c.d32[k] = sfs(corr(c.a, c.b, c.len - k, k), c.sf);
                                    return zinStsNoErr;
                                },
                                cross_checks(&Cross::d32, false)},
              kQuadratic);
    zt::check(zt::Export<Cross>{"zinsCrossCorr_NR_16s32s", [](Gen& g) { return make_cross(g, true); },
                                [](Cross& c) { return zinsCrossCorr_NR_16s32s(c.a, c.b, c.len, c.d32, c.lags); },
                                [](Cross& c) {
                                    for (int k = 0; k < c.lags; ++k) c.d32[k] = sat32(corr(c.a, c.b, c.len, k));
                                    return zinStsNoErr;
                                },
                                cross_checks(&Cross::d32, true)},
              kQuadratic);
    zt::check(zt::Export<Cross>{"zinsCrossCorr_NR_16s", [](Gen& g) { return make_cross(g, true); },
                                [](Cross& c) { return zinsCrossCorr_NR_16s(c.a, c.b, c.len, c.d16, c.lags); },
                                [](Cross& c) {
                                    for (int k = 0; k < c.lags; ++k)
                                        c.d16[k] = sat16((int64_t{wrap(corr(c.a, c.b, c.len, k))} + (1 << 14)) >> 15);
                                    return zinStsNoErr;
                                },
                                cross_checks(&Cross::d16, true)},
              kQuadratic);
    zt::check(zt::Export<Cross>{"zinsCrossCorr_NR_16s_Sfs",
                                [](Gen& g) {
                                    Cross c = make_cross(g, true);
                                    c.sf = by_off(g, {0, 1, 12, 31, 45});
                                    return c;
                                },
                                [](Cross& c) { return zinsCrossCorr_NR_16s_Sfs(c.a, c.b, c.len, c.d16, c.lags, c.sf); },
                                [](Cross& c) {
                                    for (int k = 0; k < c.lags; ++k) {
                                        const int64_t v = wrap(corr(c.a, c.b, c.len, k));
                                        c.d16[k] = sat16(c.sf == 0 ? v : (c.sf >= 62 ? 0 : (v + (int64_t{1} << (c.sf - 1))) >> c.sf));
                                    }
                                    return zinStsNoErr;
                                },
                                cross_checks(&Cross::d16, true, true)},
              kQuadratic);
    // One shift for all lags, the largest magnitude in the upper half of the range.
    zt::check(zt::Export<Cross>{"zinsCrossCorr_NormM_16s", [](Gen& g) { return make_cross(g, false, true); },
                                [](Cross& c) { return zinsCrossCorr_NormM_16s(c.a, c.b, c.len, c.d16); },
                                [](Cross& c) {
                                    std::vector<int64_t> v(static_cast<std::size_t>(c.len));
                                    int64_t m = 0;
                                    for (int k = 0; k < c.len; ++k) {
                                        v[k] = 2 * int64_t{wrap(corr(c.a, c.b, c.len - k, k))};
                                        m = std::max<int64_t>(m, std::abs(v[k]));
                                    }
                                    int sh = 0;
                                    while ((m >> sh) > 32767) ++sh;
                                    for (int k = 0; k < c.len; ++k) c.d16[k] = static_cast<int16_t>(v[k] >> sh);
                                    return zinStsNoErr;
                                },
                                cross_checks(&Cross::d16, false)},
              kQuadratic);
}

// ---- lag searches --------------------------------------------------------

struct Lag {
    Buf<int16_t> a, b;
    int len, lo, hi;
    Buf<int32_t> max;
    Buf<int> lag;
    auto bufs() { return std::tie(a, b, max, lag); }
};

TEST(LagSearch, CrossCorrLagMax) {
    zt::check(zt::Export<Lag>{"zinsCrossCorrLagMax_16s",
                              [](Gen& g) {
                                  const int lagMax = by_off(g, {0, 3, 4, 17, 40});
                                  return Lag{g.in16(g.len), g.in16(g.len + lagMax), g.len, 0, lagMax, g.out<int32_t>(1),
                                             g.out<int>(1)};
                              },
                              [](Lag& l) { return zinsCrossCorrLagMax_16s(l.a, l.b, l.len, l.hi, l.max, l.lag); },
                              [](Lag& l) {
                                  // Start value 0 at the largest lag; the largest lag wins a tie; 40 wraps.
                                  int32_t best = 0;
                                  int bl = l.hi;
                                  for (int k = l.hi; k >= 0; --k) {
                                      const int64_t c = corr(l.a, l.b, l.len, k);
                                      const int32_t r = l.len == 40 ? wrap(c) : sat32(c);
                                      if (r > best) best = r, bl = k;
                                  }
                                  l.max[0] = best;
                                  l.lag[0] = bl;
                                  return zinStsNoErr;
                              },
                              {zt::null(&Lag::a), zt::null(&Lag::b), zt::null(&Lag::max), zt::null(&Lag::lag),
                               zt::set(zinStsSizeErr, &Lag::len, 0), zt::set(zinStsRangeErr, &Lag::hi, -1)}},
              kQuadratic);
}

// Forward reads hi samples past the frame, inverse hi samples before it; each
// buffer holds exactly that.
TEST(LagSearch, AutoCorrLagMaxFwdInv) {
    auto make = [](bool inv) {
        return [inv](Gen& g) {
            auto [lo, hi] = by_off(g, {std::pair{20, 143}, std::pair{0, 0}, std::pair{5, 8}, std::pair{3, 2},
                                       std::pair{18, 40}});
            Lag l{g.in16(g.len + hi), {}, g.len, lo, hi, g.out<int32_t>(1), g.out<int>(1)};
            if (inv) l.b = Buf<int16_t>(l.a.vec(), 0);
            return l;
        };
    };
    zt::check(zt::Export<Lag>{"zinsAutoCorrLagMax_Fwd_16s", make(false),
                              [](Lag& l) { return zinsAutoCorrLagMax_Fwd_16s(l.a, l.len, l.lo, l.hi, l.max, l.lag); },
                              [](Lag& l) {
                                  int32_t best = INT32_MIN;
                                  int bl = 0;
                                  for (int k = l.lo; k <= l.hi; ++k) {
                                      const int32_t c = wrap(corr(l.a, l.a, l.len, k));
                                      const int32_t d = c < -0x40000000 ? INT32_MIN : (c >= 0x40000000 ? INT32_MAX : 2 * c);
                                      if (d > best) best = d, bl = k;
                                  }
                                  l.max[0] = best;
                                  l.lag[0] = bl;
                                  return zinStsNoErr;
                              },
                              {zt::null(&Lag::a), zt::null(&Lag::max), zt::null(&Lag::lag),
                               zt::set(zinStsSizeErr, &Lag::len, 0)}},
              kQuadratic);
    zt::check(zt::Export<Lag>{"zinsAutoCorrLagMax_Inv_16s", make(true),
                              [](Lag& l) {
                                  return zinsAutoCorrLagMax_Inv_16s(l.b.at(l.hi), l.len, l.lo, l.hi, l.max, l.lag);
                              },
                              [](Lag& l) {
                                  const int16_t* s = l.b.at(l.hi);
                                  int32_t best = INT32_MIN;
                                  int bl = 0;
                                  for (int k = l.hi; k >= l.lo; --k) {
                                      int64_t c = 0;
                                      for (int i = 0; i < l.len; ++i) c += int32_t{s[i]} * s[i - k];
                                      const int32_t d = wrap(int64_t{wrap(c)} * 2);
                                      if (d >= best) best = d, bl = k;
                                  }
                                  l.max[0] = best;
                                  l.lag[0] = bl;
                                  return zinStsNoErr;
                              },
                              {zt::null(&Lag::b), zt::null(&Lag::max), zt::null(&Lag::lag),
                               zt::set(zinStsSizeErr, &Lag::len, -1)}},
              kQuadratic);
}

// The float searches sum in another order than a plain loop: the chosen lag
// must carry a correlation within rounding of the best.
TEST(LagSearch, FloatForms) {
    for (int len : {1, 7, 8, 40, 64, 80, 81, 160, 240}) {
        for (int off : {0, 1}) {
            const int hi = 60;
            Gen g;
            g.off = off;
            Buf<float> m = g.in32f(len + hi + 2, -1000.f, 1000.f);
            const float* s = m;
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
    // Statuses, an empty range of the float search, and no floor at 0 in the double one.
    float one[4] = {1, 1, 1, 1}, neg[4] = {-1, 1, 1, 1};
    float fm = 0;
    double dm = 5;
    int lag = -1;
    EXPECT_EQ(zinsCrossCorrLagMax_32f64f(one, one, 4, 0, nullptr, &lag), zinStsNullPtrErr);
    EXPECT_EQ(zinsCrossCorrLagMax_32f64f(one, one, 0, -1, &dm, &lag), zinStsSizeErr);
    EXPECT_EQ(zinsCrossCorrLagMax_32f64f(one, one, 1, -1, &dm, &lag), zinStsRangeErr);
    EXPECT_EQ(zinsAutoCorrLagMax_32f(one, 4, 0, 0, &fm, nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsAutoCorrLagMax_32f(one, 0, 0, 0, &fm, &lag), zinStsSizeErr);
    ASSERT_EQ(zinsAutoCorrLagMax_32f(one, 1, 2, 1, &fm, &lag), zinStsNoErr);
    EXPECT_EQ(fm, -FLT_MAX);
    EXPECT_EQ(lag, 0);
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

struct Conv {
    Buf<int16_t> a, b;
    int len, sf;
    Buf<int32_t> d32;
    Buf<int16_t> d16;
    auto bufs() { return std::tie(a, b, d32, d16); }
};

Conv make_conv(Gen& g) {
    return {g.in16(g.len), g.in16(g.len, by_off(g, {-32768, -2000}), by_off(g, {32767, 2000})), g.len,
            by_off(g, {0, 3, 12, 15, 31, 50}), g.out<int32_t>(g.len), g.out<int16_t>(g.len)};
}

template <class B>
std::vector<zt::Check<Conv>> conv_checks(B Conv::*dst) {
    return {zt::null(&Conv::a), zt::null(&Conv::b), zt::null(dst), zt::set(zinStsSizeErr, &Conv::len, 0),
            zt::set(zinStsSizeErr, &Conv::len, -3)};
}

// Each output from the plain sum of a[k] * b[n - k], k <= n.
template <class F>
zt::Export<Conv> conv_export(const char* name, ZinStatus (*call)(Conv&), F out, std::vector<zt::Check<Conv>> checks) {
    return {name, make_conv, call,
            [out](Conv& c) {
                for (int n = 0; n < c.len; ++n) out(c, n, conv(c.a, c.b, n));
                return zinStsNoErr;
            },
            std::move(checks)};
}

TEST(Convolution, PartialSums) {
    zt::check(conv_export(
                  "zinsConvPartial_16s32s", [](Conv& c) { return zinsConvPartial_16s32s(c.a, c.b, c.d32, c.len); },
                  [](Conv& c, int n, int64_t s) { c.d32[n] = wrap(s); }, conv_checks(&Conv::d32)),
              kQuadratic);
    // The scale test of the truncating form precedes the length test.
    auto sfs_checks = conv_checks(&Conv::d16);
    sfs_checks.insert(sfs_checks.begin() + 3, zt::set(zinStsBadArgErr, &Conv::sf, -1));
    zt::check(conv_export(
                  "zinsConvPartial_16s_Sfs", [](Conv& c) { return zinsConvPartial_16s_Sfs(c.a, c.b, c.d16, c.len, c.sf); },
                  [](Conv& c, int n, int64_t s) { c.d16[n] = static_cast<int16_t>(wrap(s) >> std::min(c.sf, 31)); },
                  sfs_checks),
              kQuadratic);
    zt::check(conv_export(
                  "zinsConvPartial_NR_Low_16s", [](Conv& c) { return zinsConvPartial_NR_Low_16s(c.a, c.b, c.d16, c.len); },
                  [](Conv& c, int n, int64_t s) { c.d16[n] = static_cast<int16_t>(wrap(int64_t{wrap(s)} + 16384) >> 15); },
                  conv_checks(&Conv::d16)),
              kQuadratic);
    // Rounded: the wrapped sum, or the basic operators when an input's energy
    // saturates; where no doubled partial sum leaves 32 bits both agree.
    zt::check(conv_export(
                  "zinsConvPartial_NR_16s", [](Conv& c) { return zinsConvPartial_NR_16s(c.a, c.b, c.d16, c.len); },
                  [](Conv& c, int n, int64_t s) {
                      const bool ops = corr(c.a, c.a, c.len, 0) >= 0x7FFFFFFE || corr(c.b, c.b, c.len, 0) >= 0x7FFFFFFE;
                      c.d16[n] = ops ? conv_operators(c.a, c.b, n) : static_cast<int16_t>(wrap(int64_t{wrap(s)} + 16384) >> 15);
                      int64_t part = 0, peak = 0;
                      for (int k = 0; k <= n; ++k) peak = std::max<int64_t>(peak, std::abs(part += int32_t{c.a[k]} * c.b[n - k]));
                      if (2 * peak < 0x7FFF8000) {
                          EXPECT_EQ(c.d16[n], conv_operators(c.a, c.b, n));
                      }
                  },
                  conv_checks(&Conv::d16)),
              kQuadratic);
}

}  // namespace
