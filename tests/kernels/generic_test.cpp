// The generic arithmetic exports through the public entries: check order,
// boundaries, and results against plain statements.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "kernels/fixed_point.h"
#include "test_util.h"
#include "zinsc.h"

namespace {

using zt::Misaligned;

using zt::sat16;

TEST(Generic, CheckOrder) {
    int16_t a[8] = {}, d[8] = {};
    int sc = 0;
    EXPECT_EQ(zinsAutoScale_16s(a, nullptr, 0, &sc), zinStsNullPtrErr);
    EXPECT_EQ(zinsAutoScale_16s(a, d, 0, &sc), zinStsSizeErr);
    sc = -1;
    EXPECT_EQ(zinsAutoScale_16s(a, d, 0, &sc), zinStsSizeErr);
    a[0] = 5;
    std::fill(d, d + 8, 77);
    EXPECT_EQ(zinsAutoScale_16s(a, d, 8, &sc), zinStsScaleRangeErr);
    EXPECT_EQ(sc, -1);
    EXPECT_TRUE(std::all_of(d, d + 8, [](int16_t v) { return v == 77; })) << "nothing written on a refused call";
    EXPECT_EQ(zinsAutoScale_16s_I(a, 8, nullptr), zinStsNullPtrErr);

    EXPECT_EQ(zinsMul_NR_16s_Sfs(a, a, nullptr, -1, -1), zinStsNullPtrErr);
    EXPECT_EQ(zinsMul_NR_16s_Sfs(a, a, d, -1, -1), zinStsSizeErr);
    EXPECT_EQ(zinsMul_NR_16s_Sfs(a, a, d, 1, -1), zinStsScaleRangeErr);
    EXPECT_EQ(zinsMul_NR_16s_ISfs(a, d, 0, -1), zinStsSizeErr);
    EXPECT_EQ(zinsMulC_NR_16s_Sfs(nullptr, 1, d, 0, -1), zinStsNullPtrErr);
    EXPECT_EQ(zinsMulC_NR_16s_ISfs(1, d, 1, -1), zinStsScaleRangeErr);

    // The power product tests the scale before the length, on purpose.
    EXPECT_EQ(zinsMulPowerC_NR_16s_Sfs(a, 1, d, 0, -1), zinStsScaleRangeErr);
    EXPECT_EQ(zinsMulPowerC_NR_16s_Sfs(a, 1, d, 0, 0), zinStsSizeErr);
    EXPECT_EQ(zinsMulPowerC_NR_16s_Sfs(a, 1, nullptr, 0, -1), zinStsNullPtrErr);

    int32_t w[2] = {};
    EXPECT_EQ(zinsInvSqrt_32s_I(nullptr, 0), zinStsNullPtrErr);
    EXPECT_EQ(zinsInvSqrt_32s_I(w, 0), zinStsSizeErr);
    EXPECT_EQ(zinsInterpolateC_NR_16s(a, 1, -1, a, 1, 0, d, 0), zinStsSizeErr);
    EXPECT_EQ(zinsInterpolateC_NR_16s(a, 1, 0, a, 1, -1, d, 1), zinStsScaleRangeErr);
    EXPECT_EQ(zinsInterpolateC_NR_16s(a, 1, 0, nullptr, 1, -1, d, 1), zinStsNullPtrErr);
    int32_t dp = 0;
    EXPECT_EQ(zinsDotProdAutoScale_16s32s_Sfs(a, a, 1, &dp, nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsDotProdAutoScale_16s32s_Sfs(a, a, 0, &dp, &sc), zinStsSizeErr);
}

TEST(Generic, AutoScale) {
    int16_t z[5] = {};
    int16_t d[5] = {1, 1, 1, 1, 1};
    int sc = 3;
    ASSERT_EQ(zinsAutoScale_16s(z, d, 5, &sc), zinStsNoErr);
    EXPECT_EQ(sc, 13);
    EXPECT_TRUE(std::all_of(d, d + 5, [](int16_t v) { return v == 0; }));

    for (int len : zt::test_lengths()) {
        for (int h : {0, 1, 3, 15, 20}) {
          for (int off = 0; off < 8; ++off) {
            for (auto p : zt::kPatterns) {
                auto a = zt::pattern16(p, len);
                int m = 0;
                for (auto x : a) m = std::max(m, std::min(32767, std::abs(int{x})));
                int k = 16;
                if (m) for (k = 0; (m << k) < 16384; ++k) {}
                Misaligned<int16_t> S(len, off), D(len, (off + 3) % 8);
                S.assign(a);
                int scale = h;
                ASSERT_EQ(zinsAutoScale_16s(S.data(), D.data(), len, &scale), zinStsNoErr);
                ASSERT_EQ(scale, k - h);
                for (int i = 0; i < len; ++i) {
                    const int sh = k - h;
                    const int16_t want = sh >= 16 ? 0 : sh >= 0 ? static_cast<int16_t>(a[i] * (1 << sh))
                                                                 : static_cast<int16_t>(a[i] >> std::min(-sh, 15));
                    ASSERT_EQ(D.data()[i], m ? want : 0);
                }
                scale = h;
                ASSERT_EQ(zinsAutoScale_16s_I(S.data(), len, &scale), zinStsNoErr);
                ASSERT_EQ(S.vec(), D.vec());
                ASSERT_TRUE(D.guards_intact() && S.guards_intact());
            }
          }
        }
    }
}

TEST(Generic, MulNrFamily) {
    int16_t a = -32768, d = 0;
    ASSERT_EQ(zinsMulC_NR_16s_Sfs(&a, -32768, &d, 1, 0), zinStsNoErr);
    EXPECT_EQ(d, 32767);
    for (int len : zt::test_lengths()) {
        for (int s : {0, 1, 12, 15, 16, 30, 31}) {
            for (int off = 0; off < 8; ++off) {
              for (auto p : zt::kPatterns) {
                const auto x = zt::pattern16(p, len), y = zt::random16(len);
                const int16_t c = y[0];
                Misaligned<int16_t> X(len, off), Y(len, (off + 1) % 8), D(len, (off + 6) % 8);
                X.assign(x);
                Y.assign(y);
                auto want = [&](int16_t u, int16_t v) {
                    int64_t prod = int64_t{u} * v;
                    return sat16(s ? (prod + (int64_t{1} << (s - 1))) >> s : prod);
                };
                ASSERT_EQ(zinsMul_NR_16s_Sfs(X.data(), Y.data(), D.data(), len, s), zinStsNoErr);
                for (int i = 0; i < len; ++i) ASSERT_EQ(D.data()[i], want(x[i], y[i])) << len << " s " << s;
                ASSERT_EQ(zinsMulC_NR_16s_Sfs(X.data(), c, D.data(), len, s), zinStsNoErr);
                for (int i = 0; i < len; ++i) ASSERT_EQ(D.data()[i], want(x[i], c));
                ASSERT_EQ(zinsMulC_NR_16s_ISfs(c, X.data(), len, s), zinStsNoErr);
                ASSERT_EQ(X.vec(), D.vec());
                X.assign(x);
                ASSERT_EQ(zinsMul_NR_16s_ISfs(Y.data(), X.data(), len, s), zinStsNoErr);
                for (int i = 0; i < len; ++i) ASSERT_EQ(X.data()[i], want(x[i], y[i]));
                ASSERT_TRUE(D.guards_intact() && X.guards_intact());
              }
            }
        }
    }
}

TEST(Generic, MulPowerC) {
    int16_t one = 1234, d = 0;
    ASSERT_EQ(zinsMulPowerC_NR_16s_Sfs(&one, 99, &d, 1, 15), zinStsNoErr);
    EXPECT_EQ(d, 1234);
    // Bandwidth expansion of an LP vector by 0.94 in Q15, against the
    // recursion written with the basic operators (mult_r).
    const auto src = zt::random16(11);
    int16_t out[11];
    ASSERT_EQ(zinsMulPowerC_NR_16s_Sfs(src.data(), 30802, out, 11, 15), zinStsNoErr);
    int16_t p = 30802;
    EXPECT_EQ(out[0], src[0]);
    for (int i = 1; i < 11; ++i) {
        EXPECT_EQ(out[i], zin::fx::mul16_round(src[i], p));
        p = zin::fx::mul16_round(p, 30802);
    }
    // At scale 15 the square of -32768 shows as -32768; elsewhere it saturates.
    int16_t m[3] = {-32768, -32768, -32768};
    ASSERT_EQ(zinsMulPowerC_NR_16s_Sfs(m, -32768, out, 3, 15), zinStsNoErr);
    EXPECT_EQ(out[1], -32768);
    EXPECT_EQ(out[2], -32768) << "p is -32768 squared, wrapped, times -32768";
    ASSERT_EQ(zinsMulPowerC_NR_16s_Sfs(m, -32768, out, 2, 14), zinStsNoErr);
    EXPECT_EQ(out[1], 32767);
    ASSERT_EQ(zinsMulPowerC_NR_16s_Sfs(m, 3, out, 3, 0), zinStsNoErr);
    EXPECT_EQ(out[1], -32768);  // -32768 * 3 saturates
    EXPECT_EQ(out[2], -32768);  // p = 9
}

TEST(Generic, InvSqrtFollowsTheG729Operator) {
    int32_t v[6] = {0, -5, 1, 0x40000000, INT32_MAX, 12345};
    ASSERT_EQ(zinsInvSqrt_32s_I(v, 6), zinStsNoErr);
    EXPECT_EQ(v[0], 0x3FFFFFFF);
    EXPECT_EQ(v[1], 0x3FFFFFFF);
    // Against the G.729 statement with the basic operators.
    auto ref = [](int32_t x) -> int32_t {
        using namespace zin::fx;
        static const int16_t tab[49] = {32767, 31790, 30894, 30070, 29309, 28602, 27945, 27330, 26755, 26214,
                                        25705, 25225, 24770, 24339, 23930, 23541, 23170, 22817, 22479, 22155,
                                        21845, 21548, 21263, 20988, 20724, 20470, 20225, 19988, 19760, 19539,
                                        19326, 19119, 18919, 18725, 18536, 18354, 18176, 18004, 17837, 17674,
                                        17515, 17361, 17211, 17064, 16921, 16782, 16646, 16514, 16384};
        if (x <= 0) return 0x3FFFFFFF;
        int16_t e = norm32(x);
        x = shl32(x, e);
        e = sub16(30, e);
        if ((e & 1) == 0) x = shr32(x, 1);
        e = add16(shr16(e, 1), 1);
        x = shr32(x, 9);
        int16_t i = high16(x);
        x = shr32(x, 1);
        int16_t a = static_cast<int16_t>(low16(x) & 0x7FFF);
        i = sub16(i, 16);
        int32_t y = deposit_high(tab[i]);
        y = msu32(y, sub16(tab[i], tab[i + 1]), a);
        return shr32(y, e);
    };
    for (int len : {1, 7, 160}) {
        auto in = zt::random32(len, 1, INT32_MAX);
        if (len == 7) in = {1, 2, 3, 1000, 65536, 12345678, INT32_MAX};  // table ends and both exponent parities
        auto out = in;
        ASSERT_EQ(zinsInvSqrt_32s_I(out.data(), len), zinStsNoErr);
        for (int i = 0; i < len; ++i) ASSERT_EQ(out[i], ref(in[i])) << in[i];
    }
}

TEST(Generic, InterpolateC) {
    for (int len : {1, 9, 160}) {
        const auto a = zt::random16(len), b = zt::random16(len);
        for (int s1 : {0, 1, 3, 15, 16}) {
            for (int s2 : {0, 2, 16}) {
                std::vector<int16_t> d(len);
                ASSERT_EQ(zinsInterpolateC_NR_16s(a.data(), 12000, s1, b.data(), -20000, s2, d.data(), len),
                          zinStsNoErr);
                for (int i = 0; i < len; ++i) {
                    // The sum is held in 32 bits at the smaller scale.
                    const int s = std::min(s1, s2);
                    uint32_t p1 = static_cast<uint32_t>(a[i] * 12000) << (s1 - s);
                    uint32_t p2 = static_cast<uint32_t>(b[i] * -20000) << (s2 - s);
                    const int32_t sum = static_cast<int32_t>(p1 + p2);
                    const int64_t r = s == 16 ? sum : (int64_t{sum} + (int64_t{1} << (15 - s))) >> (16 - s);
                    ASSERT_EQ(d[i], sat16(r)) << s1 << " " << s2;
                }
            }
        }
    }
}

TEST(Generic, DotProdAutoScale) {
    int16_t one = -32768;
    int32_t dp = 0;
    int sf = -1;
    ASSERT_EQ(zinsDotProdAutoScale_16s32s_Sfs(&one, &one, 1, &dp, &sf), zinStsNoErr);
    EXPECT_EQ(dp, 1 << 30);
    EXPECT_EQ(sf, 0);
    for (int len : {2, 10, 40, 160, 1000}) {
        for (auto p : zt::kPatterns) {
            const auto a = zt::pattern16(p, len), b = zt::random16(len);
            int s[2] = {0, 0}, turn = 1;
            int64_t acc;
            for (;;) {
                acc = int64_t{static_cast<int16_t>(a[0] >> s[0])} * (b[0] >> s[1]);
                for (int i = 1; i < len; ++i)
                    acc += static_cast<int32_t>(static_cast<uint32_t>(2 * (a[i] >> s[0])) *
                                                static_cast<uint32_t>(b[i] >> s[1]));
                if (acc >= INT32_MIN && acc <= INT32_MAX) break;
                ++s[turn];
                turn ^= 1;
            }
            ASSERT_EQ(zinsDotProdAutoScale_16s32s_Sfs(a.data(), b.data(), len, &dp, &sf), zinStsNoErr);
            EXPECT_EQ(dp, acc);
            EXPECT_EQ(sf, s[0] + s[1]);
        }
    }
    // Full-scale input forces shifts, and the first one falls on the second input.
    std::vector<int16_t> big(64, 32767), ones(64, 32767);
    ones[0] = 1;
    ASSERT_EQ(zinsDotProdAutoScale_16s32s_Sfs(big.data(), ones.data(), 64, &dp, &sf), zinStsNoErr);
    EXPECT_GT(sf, 0);
}

TEST(FixedPoint, BasicOperatorCorners) {
    using namespace zin::fx;
    EXPECT_EQ(mul32(-32768, -32768), INT32_MAX);
    EXPECT_EQ(mul16(-32768, -32768), 32767);
    EXPECT_EQ(mul16_round(-32768, -32768), 32767);
    EXPECT_EQ(mul16_round(16384, 1), 1);
    EXPECT_EQ(shl16(-1, 15), -32768);
    EXPECT_EQ(shl16(1, 15), 32767);
    EXPECT_EQ(shl16(3, 20), 32767);
    EXPECT_EQ(shr16(-5, 20), -1);
    EXPECT_EQ(shr16(5, -2), 20);
    EXPECT_EQ(shr16_round(3, 1), 2);
    EXPECT_EQ(shr16_round(-3, 1), -1);
    EXPECT_EQ(shl32(0x40000000, 1), INT32_MAX);
    EXPECT_EQ(shl32(-0x40000000, 1), INT32_MIN);
    EXPECT_EQ(shl32(-0x40000001, 1), INT32_MIN);
    EXPECT_EQ(shr32(INT32_MIN, 40), -1);
    EXPECT_EQ(shr32_round(5, 1), 3);
    EXPECT_EQ(norm16(0), 0);
    EXPECT_EQ(norm16(-1), 15);
    EXPECT_EQ(norm16(1), 14);
    EXPECT_EQ(norm32(1), 30);
    EXPECT_EQ(norm32(INT32_MIN), 0);
    EXPECT_EQ(round16(0x7FFF8000), 32767);
    EXPECT_EQ(div16(1, 2), 16384);
    EXPECT_EQ(div16(3, 3), 32767);
    EXPECT_EQ(div16(1, 3), 10922);
    bool ov = false;
    EXPECT_EQ(add32(INT32_MAX, 1, ov), INT32_MAX);
    EXPECT_TRUE(ov);
    const Dpf d = split32(0x12345678);
    EXPECT_EQ(d.hi, 0x1234);
    EXPECT_EQ(d.lo, 0x5678 >> 1);
    EXPECT_EQ(join32(d.hi, d.lo), 0x12345678 & ~1);
    // Div_32: 0.25 / 0.5 in Q31 is about 0.5.
    const Dpf den = split32(0x40000000);
    EXPECT_NEAR(div32_dpf(0x20000000, den.hi, den.lo) / 2147483648.0, 0.5, 1e-4);
}

}  // namespace
