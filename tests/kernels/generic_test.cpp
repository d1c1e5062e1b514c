// The generic arithmetic exports, each described once for the checking
// harness: its plain statement, its arguments and its checks in order.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "check.h"
#include "kernels/fixed_point.h"

namespace {

using zt::Buf;
using zt::by_off;
using zt::each;
using zt::Gen;
using zt::sat16;
using zt::sat32;
namespace fx = zin::fx;

struct Ar {
    Buf<int16_t> a, b, d;
    Buf<int32_t> w, r;
    Buf<int> sc;
    int len, s1, s2;
    int16_t v1, v2;
    auto bufs() { return std::tie(a, b, d, w, r, sc); }
};

Ar make(Gen& g) {
    auto v = [&] {
        return g.extreme() ? g.one_of<int16_t>({-32768, 32767}) : g.one_of<int16_t>({30802, 3, -1, int16_t(g.pick(-32768, 32767))});
    };
    return {g.in16(g.len), g.in16(g.len, -32768, 32767), g.out<int16_t>(g.len),
            g.pat == zt::Pattern::Small ? g.in32(g.len, -2, 300) : g.in32(g.len), g.out<int32_t>(1), g.val<int>(g.pick(0, 20)),
            g.len, by_off(g, {0, 1, 12, 14, 15, 16, 30, 31}), g.one_of({0, 1, 2, 15, 16, 17, 31}), v(), v()};
}

using E = zt::Export<Ar>;
const auto bad_s1 = zt::set(zinStsScaleRangeErr, &Ar::s1, -1);

// AutoScale: the shift that brings the largest magnitude to bit 14, less the
// spare bits asked for; silence gives 16 less them.
ZinStatus auto_scale(const int16_t* s, int16_t* d, int len, int& sc) {
    int m = 0, k = 16;
    for (int i = 0; i < len; ++i) m = std::max(m, std::min(32767, std::abs(int{s[i]})));
    if (m) for (k = 0; (m << k) < 16384; ++k) {}
    const int sh = k - sc;
    for (int i = 0; i < len; ++i)
        d[i] = m == 0 || sh >= 16 ? 0 : static_cast<int16_t>(sh >= 0 ? s[i] * (1 << sh) : s[i] >> std::min(-sh, 15));
    sc = sh;
    return zinStsNoErr;
}

TEST(Generic, AutoScaling) {
    const auto bad = zt::Check<Ar>{zinStsScaleRangeErr, "scale -1", [](Ar& x) { x.sc[0] = -1; }};
    zt::check(E{"zinsAutoScale_16s", make, [](Ar& x) { return zinsAutoScale_16s(x.a, x.d, x.len, x.sc); },
                [](Ar& x) { return auto_scale(x.a, x.d, x.len, x.sc[0]); },
                zt::nulls_then_len(&Ar::len, &Ar::a, &Ar::d, &Ar::sc) + bad});
    zt::check(E{"zinsAutoScale_16s_I", make, [](Ar& x) { return zinsAutoScale_16s_I(x.a, x.len, x.sc); },
                [](Ar& x) { return auto_scale(x.a, x.a, x.len, x.sc[0]); },
                zt::nulls_then_len(&Ar::len, &Ar::a, &Ar::sc) + bad});
    // Each dot product term doubled and wrapped but the first; the second input
    // is shifted first, then in turn, until the sum fits 32 bits.
    zt::check(E{"zinsDotProdAutoScale_16s32s_Sfs", make,
                [](Ar& x) { return zinsDotProdAutoScale_16s32s_Sfs(x.a, x.b, x.len, x.r, x.sc); },
                [](Ar& x) {
                    int s[2] = {0, 0}, turn = 1;
                    for (;; ++s[turn], turn ^= 1) {
                        int64_t acc = int64_t{x.a[0] >> s[0]} * (x.b[0] >> s[1]);
                        for (int i = 1; i < x.len; ++i)
                            acc += static_cast<int32_t>(uint32_t(2 * (x.a[i] >> s[0])) * uint32_t(x.b[i] >> s[1]));
                        if (acc == sat32(acc)) return x.r[0] = static_cast<int32_t>(acc), x.sc[0] = s[0] + s[1], zinStsNoErr;
                    }
                },
                zt::nulls_then_len(&Ar::len, &Ar::a, &Ar::b, &Ar::r, &Ar::sc)});
}

int16_t mul_nr(int16_t u, int16_t v, int s) {
    const int64_t p = int64_t{u} * v;
    return sat16(s ? (p + (int64_t{1} << (s - 1))) >> s : p);
}


// One step of the power recursion, saturating at every step: at scale 15 it
// is mult_r except that -32768 squared wraps to -32768; at other scales the
// rounded product saturates to 32 bits, the shifted one to 16.
int16_t power_step(int16_t u, int16_t v, int s) {
    if (s == 15) return u == -32768 && v == -32768 ? -32768 : fx::mul16_round(u, v);
    return sat16(sat32(int64_t{u} * v + (s ? int64_t{1} << (s - 1) : 0)) >> s);
}

TEST(Generic, RoundedProducts) {
    zt::check(E{"zinsMul_NR_16s_Sfs", make, [](Ar& x) { return zinsMul_NR_16s_Sfs(x.a, x.b, x.d, x.len, x.s1); },
                each([](Ar& x, int i) { x.d[i] = mul_nr(x.a[i], x.b[i], x.s1); }),
                zt::nulls_then_len(&Ar::len, &Ar::a, &Ar::b, &Ar::d) + bad_s1});
    zt::check(E{"zinsMul_NR_16s_ISfs", make, [](Ar& x) { return zinsMul_NR_16s_ISfs(x.a, x.b, x.len, x.s1); },
                each([](Ar& x, int i) { x.b[i] = mul_nr(x.a[i], x.b[i], x.s1); }),
                zt::nulls_then_len(&Ar::len, &Ar::a, &Ar::b) + bad_s1});
    zt::check(E{"zinsMulC_NR_16s_Sfs", make, [](Ar& x) { return zinsMulC_NR_16s_Sfs(x.a, x.v1, x.d, x.len, x.s1); },
                each([](Ar& x, int i) { x.d[i] = mul_nr(x.a[i], x.v1, x.s1); }),
                zt::nulls_then_len(&Ar::len, &Ar::a, &Ar::d) + bad_s1});
    zt::check(E{"zinsMulC_NR_16s_ISfs", make, [](Ar& x) { return zinsMulC_NR_16s_ISfs(x.v1, x.a, x.len, x.s1); },
                each([](Ar& x, int i) { x.a[i] = mul_nr(x.a[i], x.v1, x.s1); }),
                zt::nulls_then_len(&Ar::len, &Ar::a) + bad_s1});
    // The scale is checked before the length.
    zt::check(E{"zinsMulPowerC_NR_16s_Sfs", make, [](Ar& x) { return zinsMulPowerC_NR_16s_Sfs(x.a, x.v1, x.d, x.len, x.s1); },
                [](Ar& x) {
                    int16_t p = x.v1;
                    x.d[0] = x.a[0];
                    for (int i = 1; i < x.len; ++i) x.d[i] = power_step(x.a[i], p, x.s1), p = power_step(p, x.v1, x.s1);
                    return zinStsNoErr;
                },
                {zt::null(&Ar::a), zt::null(&Ar::d), bad_s1, zt::set(zinStsSizeErr, &Ar::len, 0),
                 zt::set(zinStsSizeErr, &Ar::len, -1)}});
}

// The G.729 statement of Inv_sqrt with the basic operators and its own table
// (ITU-T G.729, tabsqr).
int32_t inv_sqrt_g729(int32_t x) {
    static const int16_t tab[49] = {32767, 31790, 30894, 30070, 29309, 28602, 27945, 27330, 26755, 26214,
                                    25705, 25225, 24770, 24339, 23930, 23541, 23170, 22817, 22479, 22155,
                                    21845, 21548, 21263, 20988, 20724, 20470, 20225, 19988, 19760, 19539,
                                    19326, 19119, 18919, 18725, 18536, 18354, 18176, 18004, 17837, 17674,
                                    17515, 17361, 17211, 17064, 16921, 16782, 16646, 16514, 16384};
    using namespace fx;
    if (x <= 0) return 0x3FFFFFFF;
    int16_t e = norm32(x);
    x = shl32(x, e);
    e = sub16(30, e);
    if ((e & 1) == 0) x = shr32(x, 1);
    e = add16(shr16(e, 1), 1);
    x = shr32(x, 9);
    const int16_t i = sub16(high16(x), 16);
    const auto a = static_cast<int16_t>(low16(shr32(x, 1)) & 0x7FFF);
    return shr32(msu32(deposit_high(tab[i]), sub16(tab[i], tab[i + 1]), a), e);
}

// The two products held in 32 bits at the smaller scale, then rounded by 16
// less it (or shifted left from 16 on).
int16_t interpolate(int16_t x1, int16_t v1, int s1, int16_t x2, int16_t v2, int s2) {
    const int s = std::min(s1, s2);
    const uint32_t p1 = static_cast<uint32_t>(x1 * v1) << (s1 - s), p2 = static_cast<uint32_t>(x2 * v2) << (s2 - s);
    const int64_t sum = static_cast<int32_t>(p1 + p2);
    return sat16(s >= 16 ? sum * (int64_t{1} << (s - 16)) : (sum + (int64_t{1} << (15 - s))) >> (16 - s));
}

TEST(Generic, InvSqrtAndInterpolateC) {
    zt::check(E{"zinsInvSqrt_32s_I", make, [](Ar& x) { return zinsInvSqrt_32s_I(x.w, x.len); },
                each([](Ar& x, int i) { x.w[i] = inv_sqrt_g729(x.w[i]); }), zt::nulls_then_len(&Ar::len, &Ar::w)});
    zt::check(E{"zinsInterpolateC_NR_16s", make,
                [](Ar& x) { return zinsInterpolateC_NR_16s(x.a, x.v1, x.s1, x.b, x.v2, x.s2, x.d, x.len); },
                each([](Ar& x, int i) { x.d[i] = interpolate(x.a[i], x.v1, x.s1, x.b[i], x.v2, x.s2); }),
                zt::nulls_then_len(&Ar::len, &Ar::a, &Ar::b, &Ar::d) + bad_s1 + zt::set(zinStsScaleRangeErr, &Ar::s2, -1)});
}

// The operators no export here goes through, at their corners.
TEST(FixedPoint, BasicOperatorCorners) {
    bool ov = false;
    EXPECT_EQ(fx::add32(INT32_MAX, 1, ov), INT32_MAX);
    EXPECT_TRUE(ov);
    EXPECT_EQ(fx::mul32(-32768, -32768), INT32_MAX);
    EXPECT_EQ(fx::mul16(-32768, -32768), 32767);
    EXPECT_EQ(fx::shl16(3, 20), 32767);
    EXPECT_EQ(fx::shr16(-5, 20), -1);
    EXPECT_EQ(fx::shr16(5, -2), 20);
    EXPECT_EQ(fx::shr16_round(-3, 1), -1);
    EXPECT_EQ(fx::shl32(-0x40000001, 1), INT32_MIN);
    EXPECT_EQ(fx::shr32(INT32_MIN, 40), -1);
    EXPECT_EQ(fx::shr32_round(5, 1), 3);
    EXPECT_EQ(fx::round16(0x7FFF8000), 32767);
    EXPECT_EQ(fx::div16(1, 3), 10922);
    EXPECT_EQ(fx::div16(3, 3), 32767);
    const fx::Dpf d = fx::split32(0x12345678), den = fx::split32(0x40000000);
    EXPECT_EQ(fx::join32(d.hi, d.lo), 0x12345678 & ~1);
    EXPECT_NEAR(fx::div32_dpf(0x20000000, den.hi, den.lo) / 2147483648.0, 0.5, 1e-4);  // Div_32: 0.25 / 0.5
}

}  // namespace
