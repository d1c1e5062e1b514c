// The G.729 vector and filter exports on the checking harness: statuses in
// their order, then the export against its plain statement over lengths,
// misalignments and the extreme patterns, with split calls where a memory
// carries the work over.
#include <cmath>

#include "check.h"

namespace {

using zt::Buf;
using zt::Gen;

int16_t sat(int64_t v) { return zt::sat16(v); }
int32_t wrap(int64_t v) { return zt::wrap32(v); }

// ---- high-pass filter --------------------------------------------------------

// The 24-byte record as the interface lays it out.
struct HpRecord {
    int32_t y1, y2;
    int16_t x1, x2, coef[6];
};

struct Hp {
    Buf<int16_t> x;
    int len, sfs;
    Buf<unsigned char> state;
    auto bufs() { return std::tie(x, state); }
    ZinHighPassFilterState_G729* st() { return state.as<ZinHighPassFilterState_G729>(); }
};

Hp make_hp(Gen& g) {
    Hp a{g.in16(g.len), g.len, g.pick(0, 1) ? 13 : 12, Buf<unsigned char>(24, static_cast<std::size_t>(g.off))};
    HpRecord r{};
    const int16_t pre[6] = {4096, 7807, -3733, 1899, -3798, 1899}, post[6] = {8192, 15836, -7667, 7699, -15398, 7699};
    std::memcpy(r.coef, a.sfs == 12 ? pre : post, sizeof r.coef);
    if (g.off & 1)   // a wild filter with a history from anywhere
        for (auto& c : r.coef) c = static_cast<int16_t>(g.pick(-32768, 32767));
    if (g.off & 2) {
        r.y1 = zt::random32(1)[0];
        r.y2 = zt::random32(1)[0];
        r.x1 = static_cast<int16_t>(g.pick(-32768, 32767));
        r.x2 = static_cast<int16_t>(g.pick(-32768, 32767));
    }
    std::memcpy(a.state.p(), &r, 24);
    return a;
}

ZinStatus plain_hp(Hp& a) {
    HpRecord r;
    std::memcpy(&r, a.state.p(), 24);
    for (int n = 0; n < a.len; ++n) {
        const int64_t S64 = int64_t{r.y1 >> 16} * r.coef[1] + int64_t{r.y2 >> 16} * r.coef[2] +
                            int64_t{a.x[n]} * r.coef[3] + int64_t{r.x1} * r.coef[4] + int64_t{r.x2} * r.coef[5] +
                            ((((r.y1 >> 1) & 0x7FFF) * r.coef[1]) >> 15) + ((((r.y2 >> 1) & 0x7FFF) * r.coef[2]) >> 15);
        const int64_t S = wrap(S64);
        int32_t y;
        int16_t out;
        if (a.sfs == 12) {
            y = S >= 0x7FFFFFF ? INT32_MAX : S <= -134217728 ? INT32_MIN : static_cast<int32_t>(S * 16);
            out = static_cast<int16_t>(std::min<int64_t>(int64_t{y} + 32768, INT32_MAX) >> 16);
        } else {
            y = S >= 0xFFFFFFF ? INT32_MAX : S <= -268435456 ? INT32_MIN : static_cast<int32_t>(S * 8);
            out = S >= 0x7FFF7FF ? 32767 : S <= -134217728 ? -32768 : static_cast<int16_t>((S + 2048) >> 12);
        }
        r.x2 = r.x1;
        r.x1 = a.x[n];
        r.y2 = r.y1;
        r.y1 = y;
        a.x[n] = out;
    }
    std::memcpy(a.state.p(), &r, 24);
    return zinStsNoErr;
}

TEST(G729Filters, HighPass) {
    int size = 0;
    EXPECT_EQ(zinsHighPassFilterSize_G729(nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsHighPassFilterSize_G729(&size), zinStsNoErr);
    EXPECT_EQ(size, 24);
    zt::check(zt::Export<Hp>{"zinsHighPassFilter_G729_16s_ISfs", make_hp,
                             [](Hp& a) { return zinsHighPassFilter_G729_16s_ISfs(a.x, a.len, a.sfs, a.st()); },
                             plain_hp,
                             {zt::null(&Hp::x), zt::null(&Hp::state), zt::set(zinStsSizeErr, &Hp::len, 0),
                              zt::set(zinStsScaleRangeErr, &Hp::sfs, 11), zt::set(zinStsScaleRangeErr, &Hp::sfs, 14)},
                             [](Hp& a, int cut) {
                                 const ZinStatus s = zinsHighPassFilter_G729_16s_ISfs(a.x, cut, a.sfs, a.st());
                                 return s ? s : zinsHighPassFilter_G729_16s_ISfs(a.x.at(cut), a.len - cut, a.sfs, a.st());
                             }});
    // Init stores the coefficients and clears the memory.
    Buf<unsigned char> st(24, 3);
    std::memset(st.p(), 0x5A, 24);
    const int16_t c[6] = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(zinsHighPassFilterInit_G729(nullptr, st.as<ZinHighPassFilterState_G729>()), zinStsNullPtrErr);
    EXPECT_EQ(zinsHighPassFilterInit_G729(c, nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsHighPassFilterInit_G729(c, st.as<ZinHighPassFilterState_G729>()), zinStsNoErr);
    HpRecord r;
    std::memcpy(&r, st.p(), 24);
    EXPECT_TRUE(r.y1 == 0 && r.y2 == 0 && r.x1 == 0 && r.x2 == 0 && r.coef[0] == 1 && r.coef[5] == 6);
}

// The clamp of the state comes one below the basic operators' saturation:
// S = 0x7FFFFFF (scale 12) and 0xFFFFFFF (scale 13) already give 0x7FFFFFFF.
TEST(G729Filters, HighPassClampBoundary) {
    struct Case {
        int sfs;
        int32_t y1, want;
    } cases[] = {{12, 0x1FFFFFFE, INT32_MAX}, {12, 0x1FFFFFFA, 0x7FFFFFE0},
                 {13, 0x3FFFFFFE, INT32_MAX}, {13, 0x3FFFFFFA, 0x7FFFFFF0}};
    for (const Case& k : cases) {
        HpRecord r{k.y1, 0, 0, 0, {0, 16384, 0, 0, 0, 0}};   // S = y1 * 0.5 (0x7FFFFFF, ...)
        Buf<unsigned char> st(24, 1);
        std::memcpy(st.p(), &r, 24);
        int16_t x = 0;
        ASSERT_EQ(zinsHighPassFilter_G729_16s_ISfs(&x, 1, k.sfs, st.as<ZinHighPassFilterState_G729>()), zinStsNoErr);
        std::memcpy(&r, st.p(), 24);
        EXPECT_EQ(r.y1, k.want) << "scale " << k.sfs << " y1 " << k.y1;
        EXPECT_EQ(r.y2, k.y1);
    }
}

// ---- interpolation -------------------------------------------------------------

struct Interp {
    Buf<int16_t> a, b, d;
    int16_t va, vb;
    int len, sfs;
    auto bufs() { return std::tie(a, b, d); }
};

Interp make_interp(Gen& g) {
    return {g.in16(g.len), g.in16(g.len), g.out<int16_t>(g.len), static_cast<int16_t>(g.pick(-32768, 32767)),
            static_cast<int16_t>(g.extreme() ? -32768 : g.pick(-32768, 32767)), g.len, zt::by_off(g, {0, 1, 13, 15, 31, 40})};
}

template <bool Round>
ZinStatus plain_interp(Interp& a) {
    const int s = std::min(a.sfs, 31);
    for (int i = 0; i < a.len; ++i) {
        int32_t v = wrap(int64_t{a.a[i]} * a.va + int64_t{a.b[i]} * a.vb + (Round && s > 0 ? int64_t{1} << (s - 1) : 0));
        a.d[i] = sat(v >> s);
    }
    return zinStsNoErr;
}

TEST(G729Filters, Interpolation) {
    zt::check(zt::Export<Interp>{"zinsInterpolate_G729_16s", make_interp,
                                 [](Interp& a) { return zinsInterpolate_G729_16s(a.a, a.b, a.d, a.len); },
                                 [](Interp& a) {
                                     for (int i = 0; i < a.len; ++i) a.d[i] = sat((a.a[i] >> 1) + (a.b[i] >> 1));
                                     return zinStsNoErr;
                                 },
                                 {zt::null(&Interp::a), zt::null(&Interp::b), zt::null(&Interp::d),
                                  zt::set(zinStsSizeErr, &Interp::len, 0)}});
    // The scale is tested before the length.
    const auto checks = std::vector<zt::Check<Interp>>{zt::null(&Interp::a), zt::null(&Interp::b), zt::null(&Interp::d),
                                                       zt::set(zinStsScaleRangeErr, &Interp::sfs, -1),
                                                       zt::set(zinStsSizeErr, &Interp::len, 0)};
    zt::check(zt::Export<Interp>{"zinsInterpolateC_G729_16s_Sfs", make_interp,
                                 [](Interp& a) {
                                     return zinsInterpolateC_G729_16s_Sfs(a.a, a.va, a.b, a.vb, a.d, a.len, a.sfs);
                                 },
                                 plain_interp<false>, checks});
    zt::check(zt::Export<Interp>{"zinsInterpolateC_NR_G729_16s_Sfs", make_interp,
                                 [](Interp& a) {
                                     return zinsInterpolateC_NR_G729_16s_Sfs(a.a, a.va, a.b, a.vb, a.d, a.len, a.sfs);
                                 },
                                 plain_interp<true>, checks});
}

// ---- 40-sample filters of the weighting stage --------------------------------------

struct Filt40 {
    Buf<int16_t> coef, src, dst, mem;
    auto bufs() { return std::tie(dst, mem); }
};

Filt40 make_filt40(Gen& g) {
    Filt40 a{g.in16(22, -4096, 4096), g.in16(50), g.out<int16_t>(40), g.in16(20)};
    a.coef[0] = 4096;
    if (g.off == 0) a.coef = g.in16(22);   // wild coefficients
    return a;
}

TEST(G729Filters, ResidualAndPoleZero) {
    const zt::Sweep once{{40}};
    zt::check(zt::Export<Filt40>{"zinsResidualFilter_G729_16s", make_filt40,
                                 [](Filt40& a) { return zinsResidualFilter_G729_16s(a.src.at(10), a.coef, a.dst); },
                                 [](Filt40& a) {
                                     for (int n = 0; n < 40; ++n) {
                                         int64_t s = 2048;
                                         for (int i = 0; i <= 10; ++i) s += int64_t{a.coef[i]} * a.src[10 + n - i];
                                         a.dst[n] = static_cast<int16_t>(wrap(s) >> 12);
                                     }
                                     return zinStsNoErr;
                                 },
                                 {zt::null(&Filt40::src), zt::null(&Filt40::coef), zt::null(&Filt40::dst)}},
              once);
    for (bool low : {false, true}) {
        auto plain = [low](Filt40& a) {
            int32_t x[50], y[50];
            for (int i = 0; i < 10; ++i) {
                x[i] = a.mem[i];
                y[i] = a.mem[10 + i];
            }
            for (int n = 0; n < 40; ++n) {
                x[10 + n] = a.src[n];
                int64_t s = 0;
                for (int i = 0; i <= 10; ++i) s += int64_t{a.coef[i]} * x[10 + n - i];
                for (int i = 1; i <= 10; ++i) s -= int64_t{a.coef[11 + i]} * y[10 + n - i];
                const int32_t sum = wrap(s);
                if (low) {
                    y[10 + n] = static_cast<int16_t>(wrap(int64_t{sum} + 2048) >> 12);
                    a.dst[n] = static_cast<int16_t>(wrap(int64_t{wrap(int64_t{sum} + 2048)} * 16) >> 16);
                } else {
                    a.dst[n] = sat(((sum >> 11) + 1) >> 1);
                    y[10 + n] = a.dst[n];
                }
            }
            for (int i = 0; i < 10; ++i) {
                a.mem[i] = static_cast<int16_t>(x[40 + i]);
                a.mem[10 + i] = static_cast<int16_t>(y[40 + i]);
            }
            return zinStsNoErr;
        };
        zt::check(zt::Export<Filt40>{low ? "zinsIIR16sLow_G729_16s" : "zinsIIR16s_G729_16s", make_filt40,
                                     [low](Filt40& a) {
                                         return low ? zinsIIR16sLow_G729_16s(a.coef, a.src, a.dst, a.mem)
                                                    : zinsIIR16s_G729_16s(a.coef, a.src, a.dst, a.mem);
                                     },
                                     plain,
                                     {zt::null(&Filt40::coef), zt::null(&Filt40::src), zt::null(&Filt40::dst),
                                      zt::null(&Filt40::mem)}},
                  once);
    }
}

// ---- Annex A pre-emphasis and dot product ---------------------------------------------

struct Pre {
    Buf<int16_t> src, dst, mem;
    int16_t gamma;
    int len;
    auto bufs() { return std::tie(src, dst, mem); }
};

TEST(G729Filters, Preemphasis) {
    auto make = [](Gen& g) {
        return Pre{g.in16(g.len), g.out<int16_t>(g.len), g.in16(1), static_cast<int16_t>(zt::by_off(g, {22938, 13107, -32768, 32767})), g.len};
    };
    auto plain = [](Pre& a) {
        const int16_t last = a.src[a.len - 1];
        for (int n = a.len - 1; n >= 0; --n) {
            const int16_t prev = n ? a.src[n - 1] : a.mem[0];
            const int16_t twice = static_cast<int16_t>(static_cast<uint16_t>(prev * 2));
            a.dst[n] = sat(a.src[n] - ((twice * a.gamma) >> 16));
        }
        a.mem[0] = last;
        return zinStsNoErr;
    };
    auto split = [](Pre& a, int cut) {
        const ZinStatus s = zinsPreemphasize_G729A_16s(a.gamma, a.src, a.dst, cut, a.mem);
        return s ? s : zinsPreemphasize_G729A_16s(a.gamma, a.src.at(cut), a.dst.at(cut), a.len - cut, a.mem);
    };
    zt::check(zt::Export<Pre>{"zinsPreemphasize_G729A_16s", make,
                              [](Pre& a) { return zinsPreemphasize_G729A_16s(a.gamma, a.src, a.dst, a.len, a.mem); }, plain,
                              {zt::null(&Pre::src), zt::null(&Pre::dst), zt::null(&Pre::mem),
                               zt::set(zinStsSizeErr, &Pre::len, 0)},
                              split});
    zt::check(zt::Export<Pre>{"zinsPreemphasize_G729A_16s_I", make,
                              [](Pre& a) {
                                  const ZinStatus s = zinsPreemphasize_G729A_16s_I(a.gamma, a.src, a.len, a.mem);
                                  if (s == zinStsNoErr) std::memcpy(a.dst.p(), a.src.p(), a.len * 2);
                                  return s;
                              },
                              [plain](Pre& a) {
                                  plain(a);
                                  std::memcpy(a.src.p(), a.dst.p(), a.len * 2);
                                  return zinStsNoErr;
                              },
                              {zt::null(&Pre::src), zt::null(&Pre::mem), zt::set(zinStsSizeErr, &Pre::len, -1)}});
    // 16384 doubles to -32768 in 16 bits: the product is subtracted with its sign turned.
    int16_t x[2] = {16384, 0}, y[2], mem = 0;
    ASSERT_EQ(zinsPreemphasize_G729A_16s(22938, x, y, 2, &mem), zinStsNoErr);
    EXPECT_GT(y[1], 0);
    EXPECT_EQ(mem, 0);
}

struct Dot {
    Buf<int16_t> a, b;
    int len;
    Buf<int32_t> d;
    auto bufs() { return std::tie(d); }
};

TEST(G729Filters, DotProduct) {
    zt::check(zt::Export<Dot>{"zinsDotProd_G729A_16s32s",
                              [](Gen& g) { return Dot{g.in16(g.len), g.in16(g.len), g.len, g.out<int32_t>(1)}; },
                              [](Dot& a) { return zinsDotProd_G729A_16s32s(a.a, a.b, a.len, a.d); },
                              [](Dot& a) {
                                  int64_t s = 0;
                                  for (int i = 0; i < a.len; ++i) s += int64_t{a.a[i]} * a.b[i];
                                  a.d[0] = zt::sat32(2 * s);
                                  return 2 * s == a.d[0] ? zinStsNoErr : zinStsOverflow;
                              },
                              {zt::null(&Dot::a), zt::null(&Dot::b), zt::null(&Dot::d), zt::set(zinStsSizeErr, &Dot::len, 0)}});
}

// ---- float forms ---------------------------------------------------------------------

struct DotF {
    Buf<float> a, b;
    int len;
    Buf<float> d;
    auto bufs() { return std::tie(d); }
};

TEST(G729Filters, FloatDotProductAndInterpolation) {
    zt::check(zt::Export<DotF>{"zinsDotProd_G729A_32f",
                               [](Gen& g) { return DotF{g.in32f(g.len, -1, 1), g.in32f(g.len, -1, 1), g.len, g.out<float>(1)}; },
                               [](DotF& a) { return zinsDotProd_G729A_32f(a.a, a.b, a.len, a.d); },
                               [](DotF& a) {
                                   double s = 0;
                                   for (int i = 0; i < a.len; ++i) s += double{a.a[i]} * a.b[i];
                                   a.d[0] = static_cast<float>(s);
                                   return zinStsNoErr;
                               },
                               {zt::null(&DotF::a), zt::null(&DotF::b), zt::null(&DotF::d), zt::set(zinStsSizeErr, &DotF::len, 0)},
                               nullptr,
                               [](const DotF& w, const DotF& g, const std::string& at) {
                                   EXPECT_NEAR(g.d[0], w.d[0], 1e-5 * (1 + w.len)) << at;
                               }});
    struct IF {
        Buf<float> a, b, d;
        float va, vb;
        int len;
        auto bufs() { return std::tie(d); }
    };
    zt::check(zt::Export<IF>{"zinsInterpolateC_G729_32f",
                             [](Gen& g) { return IF{g.in32f(g.len, -1, 1), g.in32f(g.len, -1, 1), g.out<float>(g.len), 0.25f, -1.5f, g.len}; },
                             [](IF& a) { return zinsInterpolateC_G729_32f(a.a, a.va, a.b, a.vb, a.d, a.len); },
                             [](IF& a) {
                                 for (int i = 0; i < a.len; ++i) a.d[i] = a.va * a.a[i] + a.vb * a.b[i];
                                 return zinStsNoErr;
                             },
                             {zt::null(&IF::a), zt::null(&IF::b), zt::null(&IF::d), zt::set(zinStsSizeErr, &IF::len, 0)}});
}

TEST(G729Filters, FloatSynthesisFilter) {
    struct Syn {
        Buf<float> a;
        int order;
        Buf<float> src, dst, mem;
        int len;
        auto bufs() { return std::tie(dst, mem); }
    };
    zt::Sweep s = zt::quadratic_sweep();
    s.lengths.push_back(640);
    zt::check(zt::Export<Syn>{"zinsSynthesisFilter_G729_32f",
                              [](Gen& g) {
                                  const int order = zt::by_off(g, {10, 3, 4, 6, 16, 30, 1, 7});
                                  Buf<float> a = g.in32f(order + 1, -0.05f, 0.05f);
                                  return Syn{a, order, g.in32f(g.len, -1000, 1000), g.out<float>(g.len), g.in32f(order, -100, 100), g.len};
                              },
                              [](Syn& a) { return zinsSynthesisFilter_G729_32f(a.a, a.order, a.src, a.dst, a.len, a.mem); },
                              [](Syn& a) {
                                  std::vector<double> y(a.order + a.len);
                                  for (int i = 0; i < a.order; ++i) y[i] = a.mem[i];
                                  for (int n = 0; n < a.len; ++n) {
                                      double v = a.src[n];
                                      for (int i = 1; i <= a.order; ++i) v -= double{a.a[i]} * y[a.order + n - i];
                                      y[a.order + n] = v;
                                      a.dst[n] = static_cast<float>(v);
                                  }
                                  return zinStsNoErr;
                              },
                              {zt::null(&Syn::a), zt::null(&Syn::src), zt::null(&Syn::dst), zt::null(&Syn::mem),
                               zt::set(zinStsSizeErr, &Syn::len, 0), zt::set(zinStsSizeErr, &Syn::len, 641),
                               zt::set(zinStsSizeErr, &Syn::order, 31)},
                              nullptr,
                              [](const Syn& w, const Syn& g, const std::string& at) {
                                  for (int n = 0; n < w.len; ++n)
                                      ASSERT_NEAR(g.dst[n], w.dst[n], 1e-3 * (1 + std::fabs(w.dst[n]))) << at << " n " << n;
                                  ASSERT_EQ(0, std::memcmp(g.mem.p(), w.mem.p(), w.order * 4)) << at << ": memory written";
                              }},
              s);
}

}  // namespace
