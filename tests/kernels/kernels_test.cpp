// The private kernels, each described once for the checking harness: its
// plain statement, its arguments and its checks in order.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "check.h"
#include "kernels/fixed_point.h"
#include "kernels/kernels.h"

namespace {

using zt::Buf;
using zt::by_off;
using zt::each;
using zt::once;
using zt::Gen;
using zt::sat16;

// The _Sfs rule from its definition: factor clamped to -31..31, long double
// scaling rounded with ties to even, saturated to [lo, hi].
int64_t sfs(int64_t a, int s, int64_t lo, int64_t hi) {
    const long double v = std::nearbyint(std::ldexp(static_cast<long double>(a), -std::clamp(s, -31, 31)));
    return v > hi ? hi : (v < lo ? lo : static_cast<int64_t>(v));
}

// ---- element-wise operations and reductions -------------------------------------

struct K {
    Buf<int16_t> a, b, d;
    Buf<int32_t> w, dw;
    int len, count, sf;
    Buf<int16_t> r16;
    Buf<int32_t> r32;
    Buf<int> idx;
    auto bufs() { return std::tie(a, b, d, w, dw, r16, r32, idx); }
};

K make(Gen& g) {
    K k{g.in16(g.len), g.in16(g.len, -32768, 32767), g.out<int16_t>(g.len),
        g.pat == zt::Pattern::Small ? g.in32(g.len, -2, 2) : g.in32(g.len), g.out<int32_t>(g.len), g.len,
        by_off(g, {0, 1, 7, 15, 16, 20, 31, 40}), by_off(g, {-31, -3, 0, 1, 16, 31, 32, 40}), g.out<int16_t>(1),
        g.out<int32_t>(1), g.out<int>(1)};
    if (g.off == 5) k.idx.null();  // a null index makes MaxIndx_32s a Max_32s
    return k;
}

using E = zt::Export<K>;
template <class T>
int64_t total(const Buf<T>& v, int n, const Buf<int16_t>* by = nullptr) {
    int64_t s = 0;
    for (int i = 0; i < n; ++i) s += int64_t{v[i]} * (by ? (*by)[i] : 1);
    return s;
}

TEST(Kernels, ElementWise) {
    const auto two = zt::nulls_then_len(&K::len, &K::a, &K::b, &K::d), one = zt::nulls_then_len(&K::len, &K::a, &K::d);
    const auto shift = zt::set(zinStsShiftErr, &K::count, -1);
    zt::check(E{"Add_16s", make, [](K& k) { return zin::Add_16s(k.a, k.b, k.d, k.len); },
                each([](K& k, int i) { k.d[i] = sat16(k.a[i] + k.b[i]); }), two});
    // The second vector is the minuend.
    zt::check(E{"Sub_16s", make, [](K& k) { return zin::Sub_16s(k.a, k.b, k.d, k.len); },
                each([](K& k, int i) { k.d[i] = sat16(k.b[i] - k.a[i]); }), two});
    zt::check(E{"Abs_16s", make, [](K& k) { return zin::Abs_16s(k.a, k.d, k.len); },
                each([](K& k, int i) { k.d[i] = sat16(std::abs(int{k.a[i]})); }), one});
    zt::check(E{"LShiftC_16s", make, [](K& k) { return zin::LShiftC_16s(k.a, k.count, k.d, k.len); },
                each([](K& k, int i) { k.d[i] = static_cast<int16_t>(k.count >= 16 ? 0 : k.a[i] * (1 << k.count)); }),
                one + shift});
    zt::check(E{"RShiftC_16s", make, [](K& k) { return zin::RShiftC_16s(k.a, k.count, k.d, k.len); },
                each([](K& k, int i) { k.d[i] = static_cast<int16_t>(k.a[i] >> std::min(k.count, 15)); }), one + shift});
    zt::check(E{"RShiftC_32s", make, [](K& k) { return zin::RShiftC_32s(k.w, k.count, k.dw, k.len); },
                each([](K& k, int i) { k.dw[i] = k.w[i] >> std::min(k.count, 31); }),
                zt::nulls_then_len(&K::len, &K::w, &K::dw) + shift});
}

TEST(Kernels, Reductions) {
    const auto a16 = zt::nulls_then_len(&K::len, &K::a, &K::r16), w32 = zt::nulls_then_len(&K::len, &K::w, &K::r32);
    auto max16 = [](K& k, auto less) { return *std::max_element(k.a.p(), k.a.p() + k.len, less); };
    zt::check(E{"Max_16s", make, [](K& k) { return zin::Max_16s(k.a, k.len, k.r16); },
                once([&](K& k) { k.r16[0] = max16(k, std::less<int>()); }), a16});
    zt::check(E{"Min_16s", make, [](K& k) { return zin::Min_16s(k.a, k.len, k.r16); },
                once([&](K& k) { k.r16[0] = max16(k, std::greater<int>()); }), a16});
    zt::check(E{"MaxAbs_16s", make, [](K& k) { return zin::MaxAbs_16s(k.a, k.len, k.r16); },
                once([&](K& k) { k.r16[0] = sat16(std::abs(max16(k, [](int x, int y) { return std::abs(x) < std::abs(y); }))); }),
                a16});
    zt::check(E{"Sum_16s32s_Sfs", make, [](K& k) { return zin::Sum_16s32s_Sfs(k.a, k.len, k.r32, k.sf); },
                once([](K& k) { k.r32[0] = static_cast<int32_t>(sfs(total(k.a, k.len), k.sf, INT32_MIN, INT32_MAX)); }),
                zt::nulls_then_len(&K::len, &K::a, &K::r32)});
    zt::check(E{"Sum_16s_Sfs", make, [](K& k) { return zin::Sum_16s_Sfs(k.a, k.len, k.r16, k.sf); },
                once([](K& k) { k.r16[0] = static_cast<int16_t>(sfs(total(k.a, k.len), k.sf, -32768, 32767)); }), a16});
    zt::check(E{"Sum_32s", make, [](K& k) { return zin::Sum_32s(k.w, k.len, k.r32, k.sf); },
                once([](K& k) { k.r32[0] = static_cast<int32_t>(sfs(total(k.w, k.len), k.sf, INT32_MIN, INT32_MAX)); }), w32});
    // The sum of products is exact in 64 bits before the one scaling.
    zt::check(E{"DotProd_16s32s_Sfs", make, [](K& k) { return zin::DotProd_16s32s_Sfs(k.a, k.b, k.len, k.r32, k.sf); },
                once([](K& k) { k.r32[0] = static_cast<int32_t>(sfs(total(k.a, k.len, &k.b), k.sf, INT32_MIN, INT32_MAX)); }),
                zt::nulls_then_len(&K::len, &K::a, &K::b, &K::r32)});
    zt::check(E{"Max_32s", make, [](K& k) { return zin::Max_32s(k.w, k.len, k.r32); },
                once([](K& k) { k.r32[0] = *std::max_element(k.w.p(), k.w.p() + k.len); }), w32});
    // The index of the first occurrence of the largest.
    zt::check(E{"MaxIndx_32s", make, [](K& k) { return zin::MaxIndx_32s(k.w, k.len, k.r32, k.idx); },
                once([](K& k) {
                    const int32_t* m = std::max_element(k.w.p(), k.w.p() + k.len);
                    k.r32[0] = *m;
                    if (k.idx.p()) k.idx[0] = static_cast<int>(m - k.w.p());
                }),
                w32});
    zt::check(E{"MaxAbs_32s", make, [](K& k) { return zin::MaxAbs_32s(k.w, k.len, k.r32); },
                once([](K& k) {
                    int64_t m = 0;
                    for (int i = 0; i < k.len; ++i) m = std::max<int64_t>(m, std::llabs(k.w[i]));
                    k.r32[0] = zt::sat32(m);
                }),
                w32});
}

// ---- fills, copies and moves -------------------------------------------------

// Untyped: len elements of `elem` bytes, at any byte misalignment.
struct Mem {
    Buf<uint8_t> s, d;
    int len;
    auto bufs() { return std::tie(s, d); }
};

TEST(Kernels, FillsAndCopies) {
    using F = std::function<ZinStatus(Mem&)>;
    auto zero = [](int e) -> F { return [e](Mem& m) { return std::memset(m.d, 0, m.len * e), zinStsNoErr; }; };
    auto copy = [](int e) -> F { return [e](Mem& m) { return std::memcpy(m.d, m.s, m.len * e), zinStsNoErr; }; };
    auto set = [](auto v) -> F {
        return [v](Mem& m) {
            for (int i = 0; i < m.len; ++i) std::memcpy(m.d.p() + i * sizeof(v), &v, sizeof(v));
            return zinStsNoErr;
        };
    };
    // Those marked also run across the copy threshold (32768 bytes) and the fill one (2097152 bytes).
    auto run = [](const char* name, int elem, F call, F plain, bool large = false) {
        const bool src = name[0] == 'C';
        zt::Export<Mem> e{name, [=](Gen& g) { return Mem{src ? g.bytes(g.len * elem) : Buf<uint8_t>(), g.out<uint8_t>(g.len * elem), g.len}; },
                          call, plain, src ? zt::nulls_then_len(&Mem::len, &Mem::s, &Mem::d) : zt::nulls_then_len(&Mem::len, &Mem::d)};
        zt::check(e, {zt::test_lengths(), {0, 1, 2, 3, 4, 5, 6, 7}, {zt::Pattern::Random}});
        zt::Sweep big{{}, {0, 1, 13}, {zt::Pattern::Random}};
        for (int bytes : {32767, 32768, 32769, 2097152, 2097153, 9 * 1048576 + 3}) big.lengths.push_back(bytes / elem + 1);
        if (large) zt::check_results(e, big);
    };
    run("Zero_8u", 1, [](Mem& m) { return zin::Zero_8u(m.d, m.len); }, zero(1), true);
    run("Zero_16s", 2, [](Mem& m) { return zin::Zero_16s(m.d.as<int16_t>(), m.len); }, zero(2));
    run("Zero_32s", 4, [](Mem& m) { return zin::Zero_32s(m.d, m.len); }, zero(4));
    run("Zero_64s", 8, [](Mem& m) { return zin::Zero_64s(m.d, m.len); }, zero(8));
    run("Zero_128", 16, [](Mem& m) { return zin::Zero_128(m.d, m.len); }, zero(16));
    run("Set_16s", 2, [](Mem& m) { return zin::Set_16s(-3, m.d.as<int16_t>(), m.len); }, set(int16_t{-3}));
    run("Set_32s", 4, [](Mem& m) { return zin::Set_32s(0x12345678, m.d.as<int32_t>(), m.len); }, set(0x12345678), true);
    run("Set_32f", 4, [](Mem& m) { return zin::Set_32f(-1.5f, m.d.as<float>(), m.len); }, set(-1.5f));
    run("Set_64f", 8, [](Mem& m) { return zin::Set_64f(0.1, m.d.as<double>(), m.len); }, set(0.1), true);
    run("Copy_8u", 1, [](Mem& m) { return zin::Copy_8u(m.s, m.d, m.len); }, copy(1), true);
    run("Copy_16s", 2, [](Mem& m) { return zin::Copy_16s(m.s.as<int16_t>(), m.d.as<int16_t>(), m.len); }, copy(2));
    run("Copy_32s", 4, [](Mem& m) { return zin::Copy_32s(m.s, m.d, m.len); }, copy(4));
    run("Copy_64s", 8, [](Mem& m) { return zin::Copy_64s(m.s, m.d, m.len); }, copy(8));
}

// Overlapping moves both ways: the destination `shift` 16-bit words from the source.
struct Mv {
    Buf<int16_t> b;
    int len, shift;
    auto bufs() { return std::tie(b); }
};

TEST(Kernels, MovesOverlapBothWays) {
    for (int e : {2, 4}) {
        zt::check(zt::Export<Mv>{e == 2 ? "Move_16s" : "Move_32s",
                                 [e](Gen& g) { return Mv{g.in16(g.len * e / 2 + 64), g.len, by_off(g, {-17, -1, 1, 17, 0, -32, 32, 5})}; },
                                 [e](Mv& m) {
                                     return e == 2 ? zin::Move_16s(m.b.at(32), m.b.at(32 + m.shift), m.len)
                                                   : zin::Move_32s(m.b.at(32), m.b.at(32 + m.shift), m.len);
                                 },
                                 [e](Mv& m) { return std::memmove(m.b.at(32 + m.shift), m.b.at(32), m.len * e), zinStsNoErr; },
                                 zt::nulls_then_len(&Mv::len, &Mv::b)},
                  {{1, 3, 8, 15, 16, 17, 100, 16383, 16384, 20000, 40000}, {0, 1, 3}, {zt::Pattern::Random}});
    }
}

// ---- scalar tools ----------------------------------------------------------------

TEST(Kernels, NormsAndScaleRules) {
    for (int x = -32768; x <= 32767; ++x) ASSERT_EQ(zin::Norm_16s(static_cast<int16_t>(x)), zin::fx::norm16(static_cast<int16_t>(x))) << x;
    // Every magnitude, both signs.
    for (int sh = 0; sh < 32; ++sh)
        for (int i = 0; i < 2000; ++i) {
            const auto x = static_cast<int32_t>(zt::rng()() >> sh);
            ASSERT_EQ(zin::Norm_32s(x), zin::fx::norm32(x)) << x;
            ASSERT_EQ(zin::Norm_32s(~x), zin::fx::norm32(~x)) << ~x;
        }
    const std::pair<int64_t, int> cases[] = {{3, 1}, {5, 1}, {-3, 1}, {-5, 1}, {1, -31}, {1, -30}, {-1, -31}, {-1, -40},
                                             {int64_t{1} << 40, 0}, {-70000, 0}, {3, -14}, {(int64_t{3} << 40) + 1, 40}, {int64_t{3} << 40, 32}};
    for (auto [a, s] : cases) {
        EXPECT_EQ(zin::ScaleSfs_64s32s(a, s), sfs(a, s, INT32_MIN, INT32_MAX)) << a << " " << s;
        EXPECT_EQ(zin::ScaleSfs_64s16s(a, s), sfs(a, s, -32768, 32767)) << a << " " << s;
    }
    EXPECT_EQ(zin::ShiftNR(5, 1), 3) << "_NR rounds half up";
    EXPECT_EQ(zin::ShiftNR(-5, 1), -2);
}

}  // namespace
