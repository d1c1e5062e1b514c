// The LP filter exports, each described once for the checking harness: its
// plain statement, its arguments and its checks in order. The history a
// filter reads before its signal pointer is part of the signal's buffer.
#include <gtest/gtest.h>

#include <algorithm>

#include "check.h"
#include "kernels/fixed_point.h"

namespace {

using zt::Buf;
using zt::Gen;
namespace fx = zin::fx;

const zt::Sweep kSweep = zt::quadratic_sweep();

struct Lp {
    Buf<int16_t> a, x, y, mem;  // coefficients, input (history first), output, memory
    int len = 0, s = 0, order = 0, lag = 0, before = 0;
    int16_t val = 0;
    auto bufs() { return std::tie(a, x, y, mem); }
};
using E = zt::Export<Lp>;

// A stable-ish predictor in Q12 with a moderate input, or random coefficients
// that drive the filter to its limits; a memory of ten outputs or none.
Lp make_synth(Gen& g) {
    const bool wild = g.pick(0, 1);
    std::vector<int16_t> c = zt::random16(11, wild ? -32768 : -1200, wild ? 32767 : 1200);
    if (!wild) c[0] = 4096, c[1] = static_cast<int16_t>(-4096 + c[1] / 4);
    Lp l{Buf<int16_t>(c, g.next_off(2)), g.in16(g.len), g.out<int16_t>(g.len), g.in16(10, -32768, 32767), g.len, g.pick(12, 13)};
    if (!wild && g.pat == zt::Pattern::Random)
        for (int i = 0; i < l.len; ++i) l.x[i] = static_cast<int16_t>(l.x[i] / 8);
    if (g.pick(0, 3) == 0) l.mem.null();
    return l;
}

// acc = a[0]*x[n] + 2^(s-1) - sum a[k]*y[n-k], wrapping in 32 bits; y[n] is
// acc >> s, saturated with a report when `sat`, else its low 16 bits. The
// history is the memory, or zeros.
ZinStatus synth(const Lp& l, const int16_t* x, int16_t* y, bool sat) {
    std::vector<int16_t> h(10 + l.len, 0);
    if (l.mem.p()) std::copy(l.mem.p(), l.mem.p() + 10, h.begin());
    bool over = false;
    for (int n = 0; n < l.len; ++n) {
        int32_t acc = fx::wrap_add32(fx::wrap_mul32(l.a[0], x[n]), int32_t{1} << (l.s - 1));
        for (int k = 1; k <= 10; ++k) acc = fx::wrap_sub32(acc, fx::wrap_mul32(l.a[k], h[10 + n - k]));
        h[10 + n] = sat ? fx::sat16(acc >> l.s, over) : fx::wrap16(acc >> l.s);
    }
    std::copy(h.begin() + 10, h.end(), y);
    return over ? zinStsOverflow : zinStsNoErr;
}

// After the pointers and the length, the scale: 12 and 13 only.
template <class... M>
auto synth_checks(M Lp::*... m) {
    return zt::nulls_then_len(&Lp::len, m...) + zt::set(zinStsScaleRangeErr, &Lp::s, 14) + zt::set(zinStsScaleRangeErr, &Lp::s, 11);
}

// With a memory, samples saturate and a clip is reported; without one the
// history is zero and the samples wrap. The memory is only read.
TEST(LpFilters, Synthesis) {
    zt::check(E{"zinsSynthesisFilter_NR_16s_Sfs", make_synth,
                [](Lp& l) { return zinsSynthesisFilter_NR_16s_Sfs(l.a, l.x, l.y, l.len, l.s, l.mem); },
                [](Lp& l) { return synth(l, l.x, l.y, l.mem.p()); }, synth_checks(&Lp::a, &Lp::x, &Lp::y)},
              kSweep);
    zt::check(E{"zinsSynthesisFilter_NR_16s_ISfs", make_synth,
                [](Lp& l) { return zinsSynthesisFilter_NR_16s_ISfs(l.a, l.x, l.len, l.s, l.mem); },
                [](Lp& l) { return synth(l, l.x, l.x, l.mem.p()); }, synth_checks(&Lp::a, &Lp::x)},
              kSweep);
    zt::check(E{"zinsSynthesisFilterLow_NR_16s_ISfs", make_synth,
                [](Lp& l) { return zinsSynthesisFilterLow_NR_16s_ISfs(l.a, l.x, l.len, l.s, l.mem); },
                [](Lp& l) { return synth(l, l.x, l.x, false), zinStsNoErr; }, synth_checks(&Lp::a, &Lp::x)},
              kSweep);
    // The impulse response at rest: a[0], then the free response, wrapping.
    zt::check(E{"zinsSynthesisFilterZeroStateResponse_NR_16s", make_synth,
                [](Lp& l) { return zinsSynthesisFilterZeroStateResponse_NR_16s(l.a, l.y, l.len, l.s); },
                [](Lp& l) {
                    l.y[0] = l.a[0];
                    for (int n = 1; n < l.len; ++n) {
                        int32_t acc = int32_t{1} << (l.s - 1);
                        for (int k = 1; k <= 10 && k <= n; ++k) acc = fx::wrap_sub32(acc, fx::wrap_mul32(l.a[k], l.y[n - k]));
                        l.y[n] = fx::wrap16(acc >> l.s);
                    }
                    return zinStsNoErr;
                },
                synth_checks(&Lp::a, &Lp::y)},
              kSweep);
}

// ---- all-zero residual filter: reads `order` samples before the pointer ---

TEST(LpFilters, Residual) {
    zt::check(E{"zinsResidualFilter_Low_16s_Sfs",
                [](Gen& g) {
                    const int order = std::min(g.len, g.one_of({1, 2, 7, 8, 10, 11, 16, 17, 32, 40}));
                    return Lp{Buf<int16_t>(zt::random16(order + 1), g.next_off(2)), g.in16(g.len + order),
                              g.out<int16_t>(g.len), {}, g.len, g.one_of({0, 1, 12, 15}), order, 0, order};
                },
                [](Lp& l) { return zinsResidualFilter_Low_16s_Sfs(l.x.at(l.order), l.order, l.a, l.y, l.len, l.s); },
                zt::each([](Lp& l, int n) {
                    int32_t acc = l.s ? 1 << (l.s - 1) : 0;
                    for (int k = 0; k <= l.order; ++k) acc = fx::wrap_add32(acc, fx::wrap_mul32(l.a[k], l.x[l.order + n - k]));
                    l.y[n] = fx::sat16(acc >> l.s);
                }),
                zt::nulls_then_len(&Lp::len, &Lp::x, &Lp::a, &Lp::y) + zt::set(zinStsSizeErr, &Lp::order, 0) +
                    zt::Check<Lp>{zinStsSizeErr, "order above len", [](Lp& l) { l.order = l.len + 1; }} +
                    zt::set(zinStsScaleRangeErr, &Lp::s, -1) + zt::set(zinStsScaleRangeErr, &Lp::s, 16)},
              kSweep);
}

// ---- harmonic filters: read `lag` samples before the pointer, or -lag after it

struct Lpf {
    Buf<float> x, mem;
    int len, lag, before;
    float val;
    auto bufs() { return std::tie(x, mem); }
};

Lp make_harmonic(Gen& g) {
    const int lag = g.one_of({-3, 0, 1, 2, 3, 4, 7, 8, 9, 20, 40, 143}), before = std::max(lag, 0);
    return {{}, g.in16(before + g.len + std::max(-lag, 0)), g.out<int16_t>(g.len), {}, g.len, 0, 0, lag, before,
            g.one_of<int16_t>({-32768, -12000, 0, 16384, 32767, static_cast<int16_t>(g.pick(-32768, 32767))})};
}

TEST(LpFilters, Harmonic) {
    // In place, sample by sample, truncating and wrapping.
    zt::check(E{"zinsHarmonicFilter_16s_I", make_harmonic,
                [](Lp& l) { return zinsHarmonicFilter_16s_I(l.val, l.lag, l.x.at(l.before), l.len); },
                zt::each([](Lp& l, int n) {
                    int16_t* p = l.x.at(l.before + n);
                    *p = fx::wrap16(*p + fx::wrap16((int32_t{p[-l.lag]} * l.val) >> 15));
                }),
                zt::nulls_then_len(&Lp::len, &Lp::x)},
              kSweep);
    // Rounded and saturated, -32768 acting as -32767.
    zt::check(E{"zinsHarmonicFilter_NR_16s", make_harmonic,
                [](Lp& l) { return zinsHarmonicFilter_NR_16s(l.val, l.lag, l.x.at(l.before), l.y, l.len); },
                zt::each([](Lp& l, int n) {
                    const int16_t* p = l.x.at(l.before + n);
                    l.y[n] = zt::sat16((*p * int64_t{32768} + p[-l.lag] * (l.val == -32768 ? -32767 : l.val) + 16384) >> 15);
                }),
                zt::nulls_then_len(&Lp::len, &Lp::x, &Lp::y)},
              kSweep);
    // Single precision: the same operations give the same bits.
    zt::check(zt::Export<Lpf>{"zinsHarmonicFilter_32f_I",
                              [](Gen& g) {
                                  const Lp h = make_harmonic(g);
                                  return Lpf{g.in32f(static_cast<int>(h.x.size()), -32768.f, 32767.f), {}, g.len, h.lag, h.before,
                                             g.one_of({0.37f, -1.f, 0.f, 0.9f})};
                              },
                              [](Lpf& l) { return zinsHarmonicFilter_32f_I(l.val, l.lag, l.x.at(l.before), l.len); },
                              zt::each([](Lpf& l, int n) { l.x[l.before + n] = l.x[l.before + n] + l.x[l.before + n - l.lag] * l.val; }),
                              zt::nulls_then_len(&Lpf::len, &Lpf::x)},
              kSweep);
}

// y[n] = x[n] - val*x[n-1]; the memory holds x[-1], then the last input.
TEST(LpFilters, Preemphasize) {
    zt::Export<Lpf> pre{"zinsPreemphasize_32f_I",
                        [](Gen& g) { return Lpf{g.in32f(g.len, -24576.f, 24576.f), g.val(123.5f), g.len, 0, 0, 0.68f}; },
                        [](Lpf& l) { return zinsPreemphasize_32f_I(l.val, l.x, l.len, l.mem); },
                        zt::each([](Lpf& l, int n) {
                            const float in = l.x[n];
                            l.x[n] = in - l.val * l.mem[0];
                            l.mem[0] = in;
                        }),
                        zt::nulls_then_len(&Lpf::len, &Lpf::x, &Lpf::mem)};
    pre.split = [](Lpf& l, int cut) {
        const ZinStatus st = zinsPreemphasize_32f_I(l.val, l.x, cut, l.mem);
        return st != zinStsNoErr ? st : zinsPreemphasize_32f_I(l.val, l.x.at(cut), l.len - cut, l.mem);
    };
    zt::check(pre, kSweep);
}

}  // namespace
