// Adaptive filters of the echo kit, each described once for the checking
// harness with its plain statement. The run's length is the number of
// sub-bands (sub-band forms) or samples (full-band forms); the number of
// segments follows the misalignment. History and coefficient vectors lie in
// one block and are reached through a permuted pointer array, as after the
// caller's rotation.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>

#include "check.h"

namespace {

using zt::Buf;
using zt::by_off;
using zt::Gen;
using i64 = int64_t;
using i128 = __int128;

zt::Sweep subband_sweep() {
    zt::Sweep s;
    s.lengths = {1, 2, 3, 4, 5, 7, 8, 9, 16, 17, 33, 65, 129, 4097};
    s.offsets = {0, 1, 2, 3};
    return s;
}
const zt::Sweep kBands = subband_sweep();

int segments_for(const Gen& g) {
    return g.len <= 17 ? by_off(g, {1, 3, 8, 255}) : g.len == 4097 ? by_off(g, {1, 2, 1, 2}) : by_off(g, {1, 3, 8, 2});
}

// Vector t of a block of n-entry vectors sits at slot (t * 5 + 2) mod count.
template <class T>
std::vector<T*> rows(T* base, int count, int n) {
    std::vector<T*> v(static_cast<std::size_t>(count > 0 ? count : 0));
    if (!base) return v;
    for (int t = 0; t < count; ++t) v[static_cast<std::size_t>(t)] = base + static_cast<i64>((t * 5 + 2) % count) * n;
    return v;
}
template <class T>
T* const* rows_or_null(const std::vector<T*>& v, const void* base) {
    return base ? v.data() : nullptr;
}

Buf<float> cplx_f(Gen& g, int n, float lim) { return g.in32f(2 * n, -lim, lim); }
Buf<int32_t> cplx_s(Gen& g, int n, int64_t lo = INT32_MIN, int64_t hi = INT32_MAX) { return g.in32(2 * n, lo, hi); }

i64 sat64(i128 v) { return v > INT64_MAX ? INT64_MAX : v < INT64_MIN ? INT64_MIN : static_cast<i64>(v); }
int32_t sat32(i128 v) { return v > INT32_MAX ? INT32_MAX : v < INT32_MIN ? INT32_MIN : static_cast<int32_t>(v); }

// ---- sub-band FIR ------------------------------------------------------------

struct FirF {
    Buf<float> x, h, dst;
    int segs, bands;
    auto bufs() { return std::tie(dst); }
};

ZinStatus call_fir_f(FirF& a) {
    const int n = a.bands > 0 && a.bands <= 4097 ? a.bands : 1, t = a.segs > 0 && a.segs <= 255 ? a.segs : 1;
    auto x = rows(a.x.as<const Zin32fc>(), t, n);
    auto h = rows(a.h.as<const Zin32fc>(), t, n);
    return zinsFIRSubband_EC_32fc(rows_or_null(x, a.x.p()), rows_or_null(h, a.h.p()), a.dst.as<Zin32fc>(), a.segs,
                                  a.bands);
}

TEST(EchoAdaptive, FIRSubband32fc) {
    zt::check(zt::Export<FirF>{
                  "zinsFIRSubband_EC_32fc",
                  [](Gen& g) {
                      const int t = segments_for(g);
                      return FirF{cplx_f(g, t * g.len, 40000.f), cplx_f(g, t * g.len, 4.f), g.out<float>(2 * g.len), t,
                                  g.len};
                  },
                  call_fir_f,
                  [](FirF& a) {
                      auto x = rows(a.x.as<const Zin32fc>(), a.segs, a.bands);
                      auto h = rows(a.h.as<const Zin32fc>(), a.segs, a.bands);
                      for (int k = 0; k < a.bands; ++k) {
                          float re = 0.f, im = 0.f;
                          for (int t = 0; t < a.segs; ++t) {
                              const Zin32fc p = x[t][k], q = h[t][k];
                              re += static_cast<float>(double{p.re} * q.re - double{p.im} * q.im);
                              im += static_cast<float>(double{p.re} * q.im + double{p.im} * q.re);
                          }
                          a.dst[2 * k] = re;
                          a.dst[2 * k + 1] = im;
                      }
                      return zinStsNoErr;
                  },
                  {zt::null(&FirF::x), zt::null(&FirF::h), zt::null(&FirF::dst),
                   zt::set(zinStsFilterLenErr, &FirF::bands, 0), zt::set(zinStsFilterLenErr, &FirF::bands, 4098),
                   zt::set(zinStsRangeErr, &FirF::segs, 0), zt::set(zinStsRangeErr, &FirF::segs, 256)}},
              kBands);
}

struct FirS {
    Buf<int32_t> x, h, dst;
    int segs, start, bands, sf;
    bool low;
    auto bufs() { return std::tie(dst); }
};

ZinStatus call_fir_s(FirS& a) {
    const int n = a.bands > 0 && a.bands <= 4097 ? a.bands : 1, t = a.segs > 0 && a.segs <= 255 ? a.segs : 1;
    auto x = rows(a.x.as<const Zin32sc>(), t, n);
    auto h = rows(a.h.as<const Zin32sc>(), t, n);
    if (a.low)
        return zinsFIRSubbandLow_EC_32sc_Sfs(rows_or_null(x, a.x.p()), rows_or_null(h, a.h.p()), a.segs,
                                             a.dst.as<Zin32sc>(), a.start, a.bands, a.sf);
    return zinsFIRSubband_EC_32sc_Sfs(rows_or_null(x, a.x.p()), rows_or_null(h, a.h.p()), a.dst.as<Zin32sc>(), a.segs,
                                      a.bands, a.sf);
}

FirS make_fir_s(Gen& g, bool low) {
    const int t = segments_for(g);
    const int sf = low ? by_off(g, {0, 31, 5, 17}) : by_off(g, {0, -31, 31, -3, 7, 1});
    const int start = low ? by_off(g, {0, g.len, g.len / 2, 1 % (g.len + 1)}) : 0;
    FirS a{cplx_s(g, t * g.len), cplx_s(g, t * g.len), g.out<int32_t>(2 * g.len), t, start, g.len, sf, low};
    if (g.pat == zt::Pattern::Small) a.h = cplx_s(g, t * g.len, -100000, 100000);
    return a;
}

// The saturating form, in 128-bit exact arithmetic: each tap's imaginary
// sum saturates to 64 bits, each running sum saturates to 64 bits.
ZinStatus plain_fir_s(FirS& a) {
    auto x = rows(a.x.as<const Zin32sc>(), a.segs, a.bands);
    auto h = rows(a.h.as<const Zin32sc>(), a.segs, a.bands);
    for (int k = a.start; k < a.bands; ++k) {
        i128 sr = 0, si = 0;
        for (int t = 0; t < a.segs; ++t) {
            const i128 pr = i128{x[t][k].re} * h[t][k].re - i128{x[t][k].im} * h[t][k].im;
            const i128 pi = i128{x[t][k].re} * h[t][k].im + i128{x[t][k].im} * h[t][k].re;
            if (a.low) {
                sr = static_cast<i64>(static_cast<uint64_t>(sr + pr));
                si = static_cast<i64>(static_cast<uint64_t>(si + pi));
            } else {
                sr = sat64(sr + pr);
                si = sat64(si + sat64(pi));
            }
        }
        for (int part = 0; part < 2; ++part) {
            const i128 v = part ? si : sr;
            int32_t out;
            if (a.low) {
                out = static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(static_cast<i64>(v) >> a.sf)));
            } else if (a.sf > 0) {
                const i128 d = i128{1} << a.sf;
                out = sat32(v >= 0 ? v / d : -((-v) / d));  // toward zero
            } else if (a.sf < 0) {
                const i128 lim = i128{1} << (63 + a.sf);
                out = v >= lim ? INT32_MAX : v <= -lim ? INT32_MIN : sat32(v << -a.sf);
            } else {
                out = sat32(v);
            }
            a.dst[2 * k + part] = out;
        }
    }
    return zinStsNoErr;
}

TEST(EchoAdaptive, FIRSubband32scSfsAndLow) {
    zt::check(zt::Export<FirS>{"zinsFIRSubband_EC_32sc_Sfs", [](Gen& g) { return make_fir_s(g, false); }, call_fir_s,
                               plain_fir_s,
                               {zt::null(&FirS::x), zt::null(&FirS::h), zt::null(&FirS::dst),
                                zt::set(zinStsFilterLenErr, &FirS::bands, 4098),
                                zt::set(zinStsRangeErr, &FirS::segs, 256), zt::set(zinStsRangeErr, &FirS::sf, -32),
                                zt::set(zinStsRangeErr, &FirS::sf, 32)}},
              kBands);
    // Here segments and the start come before the sub-band count.
    zt::check(zt::Export<FirS>{"zinsFIRSubbandLow_EC_32sc_Sfs", [](Gen& g) { return make_fir_s(g, true); },
                               call_fir_s, plain_fir_s,
                               {zt::null(&FirS::x), zt::null(&FirS::h), zt::null(&FirS::dst),
                                zt::set(zinStsRangeErr, &FirS::segs, 0), zt::set(zinStsRangeErr, &FirS::start, -1),
                                {zinStsRangeErr, "start above the count", [](FirS& a) { a.start = a.bands + 1; }},
                                zt::set(zinStsFilterLenErr, &FirS::bands, 4098),
                                zt::set(zinStsRangeErr, &FirS::sf, -1), zt::set(zinStsRangeErr, &FirS::sf, 32)}},
              kBands);
}

// ---- coefficient updates ---------------------------------------------------------

struct UpdF {
    Buf<double> step;
    Buf<float> x, e, h;
    int segs, bands;
    auto bufs() { return std::tie(h); }
};

ZinStatus call_upd_f(UpdF& a) {
    const int n = a.bands > 0 && a.bands <= 4097 ? a.bands : 1, t = a.segs > 0 && a.segs <= 255 ? a.segs : 1;
    auto x = rows(a.x.as<const Zin32fc>(), t, n);
    auto h = rows(a.h.as<Zin32fc>(), t, n);
    return zinsFIRSubbandCoeffUpdate_EC_32fc_I(a.step, rows_or_null(x, a.x.p()), a.e.as<Zin32fc>(),
                                               rows_or_null(h, a.h.p()), a.segs, a.bands);
}

float clampf(double d) { return d > FLT_MAX ? FLT_MAX : d < -FLT_MAX ? -FLT_MAX : static_cast<float>(d); }

TEST(EchoAdaptive, CoeffUpdate32fc) {
    zt::check(zt::Export<UpdF>{
                  "zinsFIRSubbandCoeffUpdate_EC_32fc_I",
                  [](Gen& g) {
                      const int t = segments_for(g);
                      Buf<double> step(static_cast<std::size_t>(g.len), g.off % 3);
                      for (int k = 0; k < g.len; ++k)
                          step[k] = by_off(g, {1e-9, 0.0, -0.0, 3e-7}) * (k % 4 ? 1.0 : 0.5);
                      // Large steps and errors reach the clamp at the largest float.
                      if (g.extreme()) step[0] = 1e30;
                      return UpdF{step, cplx_f(g, t * g.len, 40000.f), cplx_f(g, g.len, 40000.f),
                                  cplx_f(g, t * g.len, 2.f), t, g.len};
                  },
                  call_upd_f,
                  [](UpdF& a) {
                      auto x = rows(a.x.as<const Zin32fc>(), a.segs, a.bands);
                      auto h = rows(a.h.as<Zin32fc>(), a.segs, a.bands);
                      const Zin32fc* e = a.e.as<Zin32fc>();
                      for (int t = 0; t < a.segs; ++t)
                          for (int k = 0; k < a.bands; ++k) {
                              const double s = a.step[k];
                              const double re = s * e[k].re * x[t][k].re + s * e[k].im * x[t][k].im;
                              const double im = s * e[k].im * x[t][k].re - s * e[k].re * x[t][k].im;
                              h[t][k].re += clampf(re);
                              h[t][k].im += clampf(im);
                          }
                      return zinStsNoErr;
                  },
                  {zt::null(&UpdF::step), zt::null(&UpdF::x), zt::null(&UpdF::e), zt::null(&UpdF::h),
                   zt::set(zinStsFilterLenErr, &UpdF::bands, 4098), zt::set(zinStsRangeErr, &UpdF::segs, 0),
                   {zinStsBadArgErr, "the last step negative",
                    [](UpdF& a) { a.step[a.step.size() - 1] = -1e-30; }}}},
              kBands);
}

struct UpdS {
    Buf<int32_t> step, x, e, h, scaled;
    int segs, start, bands, sf;
    bool low;
    auto bufs() { return std::tie(h, scaled); }
};

ZinStatus call_upd_s(UpdS& a) {
    const int n = a.bands > 0 && a.bands <= 4097 ? a.bands : 1, t = a.segs > 0 && a.segs <= 255 ? a.segs : 1;
    auto x = rows(a.x.as<const Zin32sc>(), t, n);
    auto h = rows(a.h.as<Zin32sc>(), t, n);
    if (a.low)
        return zinsFIRSubbandLowCoeffUpdate_EC_32sc_I(rows_or_null(x, a.x.p()), a.e.as<Zin32sc>(),
                                                      rows_or_null(h, a.h.p()), a.segs, a.scaled.as<Zin32sc>(),
                                                      a.step.as<Zin32sc>(), a.start, a.bands, a.sf);
    return zinsFIRSubbandCoeffUpdate_EC_32sc_I(a.step.as<Zin32sc>(), rows_or_null(x, a.x.p()), a.e.as<Zin32sc>(),
                                               rows_or_null(h, a.h.p()), a.segs, a.bands, a.sf);
}

UpdS make_upd_s(Gen& g, bool low) {
    const int t = segments_for(g);
    const int sf = by_off(g, {0, 31, 3, 12});
    Buf<int32_t> step = g.in32(2 * g.len, 0, INT32_MAX);
    // Exponents that put the shift sh = E - sf - 31 over both branches, the
    // rounding edge at 0, 1, 2 and the far ends.
    static const int kShifts[] = {0, 1, 2, -1, -2, 5, 17, 40, -20, -31, 62, 63, 64, 90, -62, -63, -64, -100};
    for (int k = 0; k < g.len; ++k) step[2 * k + 1] = sf + 31 + kShifts[(k + g.off) % 18];
    UpdS a{step, cplx_s(g, t * g.len), cplx_s(g, g.len), cplx_s(g, t * g.len), g.out<int32_t>(2 * g.len), t,
           low ? by_off(g, {0, g.len, g.len / 2, 1 % (g.len + 1)}) : 0, g.len, sf, low};
    if (g.pat == zt::Pattern::Alternating)  // x.im = -2^31 in every entry: the negation's two rules
        for (std::size_t i = 1; i < a.x.size(); i += 2) a.x[i] = INT32_MIN;
    return a;
}

// The plain statement in 128-bit exact arithmetic.
ZinStatus plain_upd_s(UpdS& a) {
    auto x = rows(a.x.as<const Zin32sc>(), a.segs, a.bands);
    auto h = rows(a.h.as<Zin32sc>(), a.segs, a.bands);
    for (int k = a.start; k < a.bands; ++k) {
        const i128 m = a.step[2 * k];
        const i128 sh = i128{a.step[2 * k + 1]} - a.sf - 31;
        const i128 se[2] = {(a.e[2 * k] * m + (i128{1} << 30)) >> 31, (a.e[2 * k + 1] * m + (i128{1} << 30)) >> 31};
        if (a.low) {
            a.scaled[2 * k] = static_cast<int32_t>(se[0]);
            a.scaled[2 * k + 1] = static_cast<int32_t>(se[1]);
        }
        for (int t = 0; t < a.segs; ++t) {
            const i128 xi = x[t][k].im;
            const i128 nx = xi == INT32_MIN ? (a.low ? i128{INT32_MIN} : i128{INT32_MAX}) : -xi;
            const i128 p[2] = {se[0] * x[t][k].re - se[1] * nx, se[1] * x[t][k].re + se[0] * nx};
            int32_t* c[2] = {&h[t][k].re, &h[t][k].im};
            for (int part = 0; part < 2; ++part) {
                i128 term;
                if (sh >= 0) {
                    const i128 d = sh >= 100 ? 0 : (i128{1} << static_cast<int>(sh));
                    const i128 r = sh >= 2 ? d / 2 : 0;
                    if (d == 0)
                        term = 0;  // far beyond every product
                    else {
                        const i128 v = p[part] + r;  // floor division
                        term = v >= 0 ? v / d : -((-v + d - 1) / d);
                    }
                    if (a.low) {
                        *c[part] = static_cast<int32_t>(static_cast<uint32_t>(*c[part]) + static_cast<uint32_t>(term));
                        continue;
                    }
                } else {
                    const int ls = static_cast<int>(-sh < 63 ? -sh : 63);
                    const i128 hi = INT64_MAX >> ls, lo = -((INT64_MAX >> ls) + 1);  // floor of -(2^63-1)/2^ls
                    term = p[part] > lo && p[part] < hi ? p[part] * (i128{1} << ls)
                           : p[part] >= hi             ? i128{4294967294LL}
                                                       : i128{-4294967296LL};
                }
                *c[part] = sat32(*c[part] + term);
            }
        }
    }
    return zinStsNoErr;
}

TEST(EchoAdaptive, CoeffUpdate32scAndLow) {
    zt::check(zt::Export<UpdS>{"zinsFIRSubbandCoeffUpdate_EC_32sc_I", [](Gen& g) { return make_upd_s(g, false); },
                               call_upd_s, plain_upd_s,
                               {zt::null(&UpdS::step), zt::null(&UpdS::x), zt::null(&UpdS::e), zt::null(&UpdS::h),
                                zt::set(zinStsFilterLenErr, &UpdS::bands, 0), zt::set(zinStsRangeErr, &UpdS::segs, 256),
                                zt::set(zinStsRangeErr, &UpdS::sf, 32), zt::set(zinStsRangeErr, &UpdS::sf, -1),
                                {zinStsBadArgErr, "the last mantissa negative",
                                 [](UpdS& a) { a.step[a.step.size() - 2] = -1; }}}},
              kBands);
    // The step vector is checked first although it is the sixth argument;
    // no mantissa is checked.
    zt::check(zt::Export<UpdS>{"zinsFIRSubbandLowCoeffUpdate_EC_32sc_I", [](Gen& g) { return make_upd_s(g, true); },
                               call_upd_s, plain_upd_s,
                               {zt::null(&UpdS::step), zt::null(&UpdS::x), zt::null(&UpdS::e), zt::null(&UpdS::h),
                                zt::null(&UpdS::scaled), zt::set(zinStsRangeErr, &UpdS::segs, 0),
                                {zinStsRangeErr, "start above the count", [](UpdS& a) { a.start = a.bands + 1; }},
                                zt::set(zinStsFilterLenErr, &UpdS::bands, 4098),
                                zt::set(zinStsRangeErr, &UpdS::sf, 32)}},
              kBands);
}

struct UpdAP {
    Buf<double> step;
    Buf<float> x, e, h;
    int segs, bands, order;
    auto bufs() { return std::tie(h); }
};

ZinStatus call_upd_ap(UpdAP& a) {
    const int n = a.bands > 0 && a.bands <= 4097 ? a.bands : 1, t = a.segs > 0 && a.segs <= 255 ? a.segs : 1;
    const int p = a.order > 0 && a.order < 16 ? a.order : 1;
    auto x = rows(a.x.as<const Zin32fc>(), t + p - 1, n);
    auto e = rows(a.e.as<const Zin32fc>(), p, n);
    auto s = rows(a.step.as<const double>(), p, n);
    auto h = rows(a.h.as<Zin32fc>(), t, n);
    return zinsFIRSubbandAPCoeffUpdate_EC_32fc_I(rows_or_null(s, a.step.p()), rows_or_null(x, a.x.p()),
                                                 rows_or_null(e, a.e.p()), rows_or_null(h, a.h.p()), a.segs, a.bands,
                                                 a.order);
}

TEST(EchoAdaptive, APCoeffUpdate32fc) {
    zt::check(zt::Export<UpdAP>{
                  "zinsFIRSubbandAPCoeffUpdate_EC_32fc_I",
                  [](Gen& g) {
                      const int t = segments_for(g), p = by_off(g, {1, 2, 3, 5});
                      Buf<double> step(static_cast<std::size_t>(p * g.len), 1);
                      for (std::size_t i = 0; i < step.size(); ++i) step[i] = (i % 5) * 1e-8 - (i % 7 == 3) * 1e-9;
                      return UpdAP{step, cplx_f(g, (t + p - 1) * g.len, 40000.f), cplx_f(g, p * g.len, 40000.f),
                                   cplx_f(g, t * g.len, 2.f), t, g.len, p};
                  },
                  call_upd_ap,
                  [](UpdAP& a) {
                      auto x = rows(a.x.as<const Zin32fc>(), a.segs + a.order - 1, a.bands);
                      auto e = rows(a.e.as<const Zin32fc>(), a.order, a.bands);
                      auto s = rows(a.step.as<const double>(), a.order, a.bands);
                      auto h = rows(a.h.as<Zin32fc>(), a.segs, a.bands);
                      const double r = 1.0f / static_cast<float>(a.order);
                      for (int t = 0; t < a.segs; ++t)
                          for (int k = 0; k < a.bands; ++k) {
                              double re = 0, im = 0;
                              for (int j = 0; j < a.order; ++j) {
                                  const Zin32fc xv = x[t + j][k], ev = e[j][k];
                                  re += (double{xv.re} * ev.re + double{xv.im} * ev.im) * s[j][k];
                                  im += (double{xv.re} * ev.im - double{xv.im} * ev.re) * s[j][k];
                              }
                              h[t][k].re += static_cast<float>(r * re);
                              h[t][k].im += static_cast<float>(r * im);
                          }
                      return zinStsNoErr;
                  },
                  {zt::null(&UpdAP::step), zt::null(&UpdAP::x), zt::null(&UpdAP::e), zt::null(&UpdAP::h),
                   zt::set(zinStsFilterLenErr, &UpdAP::bands, 0), zt::set(zinStsFilterLenErr, &UpdAP::bands, -1),
                   zt::set(zinStsRangeErr, &UpdAP::segs, -3), zt::set(zinStsRangeErr, &UpdAP::order, 0)}},
              kBands);
}

// ---- full-band filters ----------------------------------------------------------

// The run's length is the number of samples; FIR and NLMS in either form.
template <class T, class S>
struct Full {
    Buf<T> ref, des;
    Buf<S> step;
    Buf<T> err, coef, gain;
    int len, taps;
    bool nlms;
    auto bufs() { return std::tie(err, coef, gain); }
};
using Full32f = Full<float, float>;
using Full16s = Full<int16_t, int32_t>;

// The two forms' arithmetic, so that one plain statement serves both.
float mac(float y, float r, float c) { return y + r * c; }
int32_t mac(int32_t y, int16_t r, int16_t c) { return zt::sat32(int64_t{y} + ((r * c + 16384) >> 15)); }
float sub(float d, float y) { return d - y; }
int16_t sub(int16_t d, int32_t y) { return zt::sat16(int64_t{d} - y); }
float adapt(float c, float r, float g) { return c + g * r; }
int16_t adapt(int16_t c, int16_t r, int32_t g) { return zt::sat16(int64_t{c} + (zt::wrap32(int64_t{r} * g + 4096) >> 13)); }
float next_gain(float e, float s) { return e * s; }
int32_t next_gain(int16_t e, int32_t s) { return zt::wrap32(int64_t{e} * s + 1024) >> 11; }

template <class T, class S>
ZinStatus call_full(Full<T, S>& a) {
    const T* r = a.ref.at(a.taps - !a.nlms);
    if constexpr (std::is_same_v<T, float>)
        return a.nlms ? zinsNLMS_EC_32f(r, a.des, a.step, a.err, a.len, a.coef, a.taps, a.gain)
                      : zinsFIR_EC_32f(r, a.des, a.err, a.len, a.coef, a.taps);
    else
        return a.nlms ? zinsNLMS_EC_16s(r, a.des, a.step, a.err, a.len, a.coef, a.taps, a.gain)
                      : zinsFIR_EC_16s(r, a.des, a.err, a.len, a.coef, a.taps);
}

template <class T, class S>
ZinStatus plain_full(Full<T, S>& a) {
    using Acc = std::conditional_t<std::is_same_v<T, float>, float, int32_t>;
    const T* r = a.ref.at(a.taps - !a.nlms);
    Acc g = a.nlms ? a.gain[0] : 0;
    for (int n = 0; n < a.len; ++n) {
        Acc y = 0;
        for (int j = 0; j < a.taps; ++j) {
            if (a.nlms) a.coef[j] = adapt(a.coef[j], r[n - j - 1], g);
            y = mac(y, r[n - j], a.coef[j]);
        }
        a.err[n] = sub(a.des[n], y);
        if (a.nlms) g = next_gain(a.err[n], a.step[n]);
    }
    if (a.nlms) a.gain[0] = static_cast<T>(std::is_same_v<T, float> ? g : zt::sat16(g));
    return zinStsNoErr;
}

template <class T, class S>
void check_full(const char* name, bool nlms, std::function<Full<T, S>(Gen&, int taps)> make) {
    using A = Full<T, S>;
    std::vector<zt::Check<A>> checks{zt::null(&A::ref), zt::null(&A::des)};
    if (nlms) checks.push_back(zt::null(&A::step));
    checks.push_back(zt::null(&A::err));
    checks.push_back(zt::null(&A::coef));
    if (nlms) checks.push_back(zt::null(&A::gain));
    checks.push_back(zt::set(zinStsBadArgErr, &A::len, std::is_same_v<T, float> ? 0 : -1));
    checks.push_back(zt::set(zinStsBadArgErr, &A::taps, nlms ? -5 : 0));
    zt::Export<A> e{name, [=](Gen& g) { return make(g, by_off(g, {1, 2, 5, 16, 33, 64})); }, call_full<T, S>,
                    plain_full<T, S>, checks};
    // The float NLMS in two blocks, the pending update handed over in the gain.
    if constexpr (std::is_same_v<T, float>)
        if (nlms)
            e.split = [](A& a, int cut) {
                const ZinStatus st = zinsNLMS_EC_32f(a.ref.at(a.taps), a.des, a.step, a.err, cut, a.coef, a.taps, a.gain);
                return st ? st
                          : zinsNLMS_EC_32f(a.ref.at(a.taps + cut), a.des.at(cut), a.step.at(cut), a.err.at(cut),
                                            a.len - cut, a.coef, a.taps, a.gain);
            };
    zt::check(e, zt::quadratic_sweep());
}

TEST(EchoAdaptive, FullBand) {
    check_full<float, float>("zinsFIR_EC_32f", false, [](Gen& g, int t) {
        return Full32f{g.in32f(g.len + t - 1, -32768.f, 32767.f), g.in32f(g.len, -32768.f, 32767.f), {},
                       g.out<float>(g.len), g.in32f(t, -1.f, 1.f), {}, g.len, t, false};
    });
    check_full<int16_t, int32_t>("zinsFIR_EC_16s", false, [](Gen& g, int t) {
        return Full16s{g.in16(g.len + t - 1), g.in16(g.len), {}, g.out<int16_t>(g.len), g.in16(t), {}, g.len, t, false};
    });
    check_full<float, float>("zinsNLMS_EC_32f", true, [](Gen& g, int t) {
        Buf<float> gain = g.in32f(1, -0.001f, 0.001f);
        return Full32f{g.in32f(g.len + t, -32768.f, 32767.f), g.in32f(g.len, -32768.f, 32767.f),
                       g.in32f(g.len, 0.f, 1e-9f), g.out<float>(g.len), g.in32f(t, -0.5f, 0.5f), gain, g.len, t, true};
    });
    // Large steps keep the 16-bit gain far outside 16 bits between samples.
    check_full<int16_t, int32_t>("zinsNLMS_EC_16s", true, [](Gen& g, int t) {
        const int64_t hi = by_off(g, {64, 1 << 20, INT32_MAX, 2048});
        return Full16s{g.in16(g.len + t), g.in16(g.len), g.in32(g.len, -hi, hi), g.out<int16_t>(g.len), g.in16(t),
                       g.in16(1), g.len, t, true};
    });
}

}  // namespace
