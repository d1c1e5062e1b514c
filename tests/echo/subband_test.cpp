// The sub-band filter bank: sizes and check orders, analysis and synthesis
// against their plain statements (the delay line, the fold and the overlap-add
// written out, on the library's transform, which the transform suite checks
// against FFTW), and the round trip of both built-in operating points measured on noise and tones.
#include <gtest/gtest.h>

#include <cmath>

#include "check.h"
#include "echo/subband_windows.h"
#include "transform/fft.h"

namespace {

using zt::Buf;
using zt::by_off;
using zt::Gen;
using i64 = int64_t;

struct Size {
    int order, windowLen;
    Buf<int> state, init, work;
    bool fixed;
    auto bufs() { return std::tie(state, init, work); }
};

ZinStatus call_size(Size& a) {
    return a.fixed ? zinsSubbandProcessGetSize_16s(a.order, a.windowLen, a.state, a.init, a.work)
                   : zinsSubbandProcessGetSize_32f(a.order, a.windowLen, a.state, a.init, a.work);
}

// The sizes from the transform's own three.
ZinStatus plain_size(Size& a) {
    int spec, init, work;
    const i64 n = i64{1} << a.order;
    if (a.fixed) {
        EXPECT_EQ(zin::FftGetSize_32s(a.order, 2, 0, &spec, &init, &work), zinStsNoErr);
        a.state[0] = static_cast<int>(((spec + 15) & ~15) + 32 * ((2 * i64{a.windowLen} + 15) / 16) + 48 + 16);
        a.work[0] = static_cast<int>(((4 * n + 15) & ~15) + work + 16);
    } else {
        EXPECT_EQ(zin::FftGetSize_R_32f(a.order, 2, 0, &spec, &init, &work), zinStsNoErr);
        a.state[0] = static_cast<int>(spec + i64{a.windowLen} * 8 + 40 + 16);
        a.work[0] = static_cast<int>(work + 4 * n + 16);
    }
    a.init[0] = init;
    return zinStsNoErr;
}

void check_sizes(bool fixed) {
    zt::Sweep s;
    s.lengths = {1, 2, 3, 4, 16};  // window length in transform lengths
    s.offsets = {0, 1, 2, 3, 4, 5, 6, 7};
    s.patterns = {zt::Pattern::Random};
    zt::check(zt::Export<Size>{
                  fixed ? "zinsSubbandProcessGetSize_16s" : "zinsSubbandProcessGetSize_32f",
                  [fixed](Gen& g) {
                      const int order = by_off(g, {1, 5, 6, 11, 12, 7, 2, 16});
                      return Size{order, g.len << order, g.out<int>(1), g.out<int>(1), g.out<int>(1), fixed};
                  },
                  call_size, plain_size,
                  // Values before pointers: the first group, the pointers, then the window
                  // length against the transform, then the transform's own limits.
                  {zt::set(zinStsBadArgErr, &Size::order, 0), zt::set(zinStsBadArgErr, &Size::windowLen, 0),
                   zt::null(&Size::state), zt::null(&Size::init), zt::null(&Size::work),
                   {zinStsBadArgErr, "window not a whole number of transforms", [](Size& a) { a.windowLen += 1; }},
                   {zinStsBadArgErr, "order 30", [](Size& a) { a.order = 30, a.windowLen = 1 << 30; }}}},
              s);
}

TEST(EchoSubband, GetSize) { check_sizes(false), check_sizes(true); }

// ---- Init ------------------------------------------------------------------------------

struct Init {
    Buf<uint8_t> state;
    int order, frameSize, windowLen;
    Buf<float> wf;
    Buf<int16_t> ws;
    Buf<uint8_t> initBuf;
    bool fixed;
    auto bufs() { return std::tie(state); }
};

ZinStatus call_init(Init& a) {
    if (a.fixed)
        return zinsSubbandProcessInit_16s(a.state.as<ZinSubbandProcessState_16s>(), a.order, a.frameSize, a.windowLen,
                                          a.ws, a.initBuf);
    return zinsSubbandProcessInit_32f(a.state.as<ZinSubbandProcessState_32f>(), a.order, a.frameSize, a.windowLen,
                                      a.wf, a.initBuf);
}

void check_init(bool fixed) {
    zt::Export<Init> e{
        fixed ? "zinsSubbandProcessInit_16s" : "zinsSubbandProcessInit_32f",
        [fixed](Gen& g) {
            // Order 11 with a caller's window: the transform needs the init block.
            return Init{g.out<uint8_t>(200000), 11, 100, 4096, g.in32f(4096, -1.f, 1.f), g.in16(4096),
                        g.out<uint8_t>(20000), fixed};
        },
        call_init,
        nullptr,
        {zt::set(zinStsBadArgErr, &Init::order, 0), zt::set(zinStsBadArgErr, &Init::frameSize, 0),
         zt::set(zinStsBadArgErr, &Init::frameSize, 2049), zt::set(zinStsBadArgErr, &Init::windowLen, -4096),
         zt::null(&Init::state), zt::set(zinStsBadArgErr, &Init::windowLen, 3000),
         {zinStsBadArgErr, "no window for (5, 24, 256)",
          [](Init& a) { a.order = 5, a.frameSize = 24, a.windowLen = 256, a.wf.null(), a.ws.null(); }},
         {zinStsErr, "no init block at order 11", [](Init& a) { a.initBuf.null(); }}}};
    zt::check_statuses(e);
    // A caller's window is needed off the built-in triples.
    Gen g;
    Init a = e.make(g);
    a.wf.null(), a.ws.null();
    a.order = 6, a.frameSize = 44, a.windowLen = 128;
    EXPECT_EQ(call_init(a), zinStsBadArgErr);
}

TEST(EchoSubband, Init) { check_init(false), check_init(true); }

// ---- analysis and synthesis ---------------------------------------------------------------

// One bank set-up per misalignment: (order, frameSize, windowLen, built-in window).
struct Shape {
    int order, frameSize, windowLen;
    bool builtin;
};
constexpr Shape kShapes[] = {{5, 24, 128, true}, {6, 44, 256, true}, {5, 12, 128, false}, {1, 1, 2, false},
                             {1, 2, 2, false},   {3, 8, 8, false},    {4, 5, 48, false},  {11, 700, 6144, false}};

// The run's length is the number of blocks. All sizes come from the size
// queries; each block is exactly as large as they say.
struct Bank {
    Shape sh;
    int frames, sf;
    bool fixed, synthesis;
    Buf<float> inF, outF, winF;   // float path
    Buf<int32_t> inS;             // 16-bit path: sub-bands in (synthesis)
    Buf<int16_t> sigS, outS, winS;
    Buf<int32_t> subS;            // 16-bit analysis output
    Buf<uint8_t> state, init, work;
    auto bufs() { return std::tie(outF, outS, subS); }
};

int subband_words(const Shape& s) { return (1 << s.order) + 2; }

Bank make_bank(Gen& g, bool fixed, bool synthesis) {
    const Shape sh = kShapes[g.off % 8];
    Bank b{sh, g.len, by_off(g, {0, -4, 3, 9, 1, -12, 0, 5}), fixed, synthesis, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}};
    int st, in, wk;
    if (fixed)
        zinsSubbandProcessGetSize_16s(sh.order, sh.windowLen, &st, &in, &wk);
    else
        zinsSubbandProcessGetSize_32f(sh.order, sh.windowLen, &st, &in, &wk);
    b.state = Buf<uint8_t>(static_cast<std::size_t>(st), static_cast<std::size_t>(g.off * 3 + 1));
    b.init = Buf<uint8_t>(static_cast<std::size_t>(in), 5);
    b.work = Buf<uint8_t>(static_cast<std::size_t>(wk), static_cast<std::size_t>(g.off + 2));
    const int words = subband_words(sh) * g.len, samples = sh.frameSize * g.len;
    if (!sh.builtin) {
        b.winF = g.in32f(sh.windowLen, -1.f, 1.f);
        b.winS = zt::Buf<int16_t>(zt::random16(static_cast<std::size_t>(sh.windowLen)));
    }
    if (fixed) {
        if (synthesis) {
            b.inS = g.pat == zt::Pattern::Small ? g.in32(words, -200000, 200000) : g.in32(words);
            b.outS = g.out<int16_t>(samples);
        } else {
            b.sigS = g.in16(samples);
            b.subS = g.out<int32_t>(words);
        }
    } else {
        b.inF = synthesis ? g.in32f(words, -300000.f, 300000.f) : g.in32f(samples, -32768.f, 32767.f);
        b.outF = g.out<float>(synthesis ? samples : words);
    }
    return b;
}

ZinStatus init_bank(Bank& b) {
    const Shape& s = b.sh;
    if (b.fixed)
        return zinsSubbandProcessInit_16s(reinterpret_cast<ZinSubbandProcessState_16s*>(&b.state[0]), s.order,
                                          s.frameSize, s.windowLen, s.builtin ? nullptr : b.winS.p(), b.init.p());
    return zinsSubbandProcessInit_32f(reinterpret_cast<ZinSubbandProcessState_32f*>(&b.state[0]), s.order, s.frameSize,
                                      s.windowLen, s.builtin ? nullptr : b.winF.p(), b.init.p());
}

ZinStatus call_bank(Bank& b) {
    const ZinStatus in = init_bank(b);
    EXPECT_EQ(in, zinStsNoErr);
    if (in) return in;
    const int w = subband_words(b.sh), f = b.sh.frameSize;
    for (int i = 0; i < b.frames; ++i) {
        ZinStatus st;
        if (b.fixed && b.synthesis)
            st = zinsSubbandSynthesis_32sc16s_Sfs(reinterpret_cast<const Zin32sc*>(b.inS.at(i * w)), b.outS.at(i * f),
                                                  b.state.as<ZinSubbandProcessState_16s>(), b.sf, b.work);
        else if (b.fixed)
            st = zinsSubbandAnalysis_16s32sc_Sfs(b.sigS.at(i * f), reinterpret_cast<Zin32sc*>(b.subS.at(i * w)),
                                                 b.state.as<ZinSubbandProcessState_16s>(), b.sf, b.work);
        else if (b.synthesis)
            st = zinsSubbandSynthesis_32fc32f(reinterpret_cast<const Zin32fc*>(b.inF.at(i * w)), b.outF.at(i * f),
                                              b.state.as<ZinSubbandProcessState_32f>(), b.work);
        else
            st = zinsSubbandAnalysis_32f32fc(b.inF.at(i * f), reinterpret_cast<Zin32fc*>(b.outF.at(i * w)),
                                             b.state.as<ZinSubbandProcessState_32f>(), b.work);
        if (st != zinStsNoErr) return st;
    }
    return zinStsNoErr;
}

// The full window: the caller's, or a built-in half mirrored.
template <class T>
std::vector<T> window_of(const Bank& b, const Buf<T>& own, const T* half5, const T* half6) {
    if (!b.sh.builtin) return own.vec();
    const T* h = b.sh.order == 5 ? half5 : half6;
    std::vector<T> w(static_cast<std::size_t>(b.sh.windowLen));
    for (int i = 0; i < b.sh.windowLen / 2; ++i) w[i] = w[b.sh.windowLen - 1 - i] = h[i];
    return w;
}
std::vector<float> float_window(const Bank& b) {
    return window_of<float>(b, b.winF, zin::echo::kWindowHalf5_32f, zin::echo::kWindowHalf6_32f);
}
std::vector<int16_t> q13_window(const Bank& b) {
    return window_of<int16_t>(b, b.winS, zin::echo::kWindowHalf5_16s, zin::echo::kWindowHalf6_16s);
}

struct Plain {
    std::vector<uint8_t> desc, init, buf;
    zin::FftSpec_R_32f* r = nullptr;
    zin::FftSpec_32s* s = nullptr;
    explicit Plain(int order) {
        int a, i, w;
        zin::FftGetSize_32s(order, 2, 0, &a, &i, &w);
        desc.resize(a), init.resize(i + 1), buf.resize(w);
        zin::FftInit_32s(&s, order, 2, 0, desc.data(), init.data());
        r = s->inner;
    }
};

ZinStatus plain_bank(Bank& b) {
    const int n = 1 << b.sh.order, len = b.sh.windowLen, fs = b.sh.frameSize, w = n + 2;
    Plain t(b.sh.order);
    if (!b.fixed) {
        const std::vector<float> win = float_window(b);
        std::vector<float> delay(len, 0.f), tmp(n + 2);
        for (int f = 0; f < b.frames; ++f) {
            for (int i = 0; i + fs < len; ++i) delay[i] = delay[i + fs];
            if (b.synthesis) {
                zin::FftInv_CCSToR_32f(b.inF.at(f * w), tmp.data(), t.r, t.buf.data());
                for (int i = len - fs; i < len; ++i) delay[i] = 0.f;
                for (int i = 0; i < len; ++i) delay[i] += tmp[i % n] * win[len - 1 - i];
                for (int i = 0; i < fs; ++i) b.outF[f * fs + i] = delay[i];
            } else {
                for (int i = 0; i < fs; ++i) delay[len - fs + i] = b.inF[f * fs + i];
                for (int i = 0; i < n; ++i) tmp[i] = delay[i] * win[i];
                for (int j = n; j < len; ++j) tmp[j % n] += delay[j] * win[j];
                zin::FftFwd_RToCCS_32f(tmp.data(), b.outF.at(f * w), t.r, t.buf.data());
            }
        }
        return zinStsNoErr;
    }
    const std::vector<int16_t> win = q13_window(b);
    std::vector<int16_t> delay(len, 0), tmp(n);
    for (int f = 0; f < b.frames; ++f) {
        for (int i = 0; i + fs < len; ++i) delay[i] = delay[i + fs];
        if (b.synthesis) {
            zin::FftInv_32sc16s_Sfs(b.inS.at(f * w), tmp.data(), t.s, b.sf, t.buf.data());
            for (int i = len - fs; i < len; ++i) delay[i] = 0;
            for (int i = 0; i < len; ++i)
                delay[i] = zt::sat16(delay[i] + ((tmp[i % n] * win[len - 1 - i] + 4096) >> 13));
            for (int i = 0; i < fs; ++i) b.outS[f * fs + i] = delay[i];
        } else {
            for (int i = 0; i < fs; ++i) delay[len - fs + i] = b.sigS[f * fs + i];
            for (int i = 0; i < n; ++i) tmp[i] = zt::sat16((delay[i] * win[i] + 4096) >> 13);
            for (int j = n; j < len; ++j) tmp[j % n] = zt::sat16(tmp[j % n] + ((delay[j] * win[j] + 4096) >> 13));
            zin::FftFwd_16s32sc_Sfs(tmp.data(), b.subS.at(f * w), t.s, b.sf, t.buf.data());
        }
    }
    return zinStsNoErr;
}


zt::Sweep bank_sweep() {
    zt::Sweep s;
    s.lengths = {1, 2, 3, 7};
    return s;
}

void check_bank(const char* name, bool fixed, bool synthesis) {
    std::vector<zt::Check<Bank>> checks;
    if (fixed && synthesis)
        checks = {zt::null(&Bank::inS), zt::null(&Bank::outS)};
    else if (fixed)
        checks = {zt::null(&Bank::sigS), zt::null(&Bank::subS)};
    else
        checks = {zt::null(&Bank::inF), zt::null(&Bank::outF)};
    checks.push_back(zt::null(&Bank::state));
    checks.push_back(zt::null(&Bank::work));
    zt::check(zt::Export<Bank>{name, [=](Gen& g) { return make_bank(g, fixed, synthesis); }, call_bank, plain_bank,
                               checks},
              bank_sweep());
}

TEST(EchoSubband, AnalysisSynthesis) {
    check_bank("zinsSubbandAnalysis_32f32fc", false, false);
    check_bank("zinsSubbandAnalysis_16s32sc_Sfs", true, false);
    check_bank("zinsSubbandSynthesis_32fc32f", false, true);
    check_bank("zinsSubbandSynthesis_32sc16s_Sfs", true, true);
}

// A transform descriptor that fails its identity check makes the processing
// calls fail as inner failures. The float object lays out its header (40
// bytes from the 16-byte-aligned base), the window, the delay line, then
// the descriptor on the next 64-byte boundary, identity word first.
TEST(EchoSubband, TransformFailureIsAnInnerFailure) {
    int st, in, wk;
    ASSERT_EQ(zinsSubbandProcessGetSize_32f(5, 128, &st, &in, &wk), zinStsNoErr);
    std::vector<uint8_t> state(st), work(wk);
    auto* s = reinterpret_cast<ZinSubbandProcessState_32f*>(state.data() + 3);
    ASSERT_EQ(zinsSubbandProcessInit_32f(s, 5, 24, 128, nullptr, nullptr), zinStsNoErr);
    auto at = [](uint8_t* p, int a) {
        auto v = reinterpret_cast<std::uintptr_t>(p);
        return reinterpret_cast<uint8_t*>(v + ((0 - v) & std::uintptr_t(a - 1)));
    };
    auto* id = reinterpret_cast<int32_t*>(at(at(state.data() + 3, 16) + 40 + 8 * 128, 64));
    ASSERT_EQ(*id, zin::kFftIdCtx);
    *id = 0;
    std::vector<float> sig(24, 1.f), sub(34);
    EXPECT_EQ(zinsSubbandAnalysis_32f32fc(sig.data(), reinterpret_cast<Zin32fc*>(sub.data()), s, work.data()), zinStsErr);
    EXPECT_EQ(zinsSubbandSynthesis_32fc32f(reinterpret_cast<Zin32fc*>(sub.data()), sig.data(), s, work.data()),
              zinStsErr);
}

// ---- round trip at the operating points ------------------------------------------------------

struct RoundTrip {
    int delay;
    double rippleDb, aliasDb, meanAliasDb;
};

// Tones across three channels in the middle of the band: the gain of each
// (least-squares fit at its frequency after the delay) and what is left.
RoundTrip measure(int order, int frameSize, int windowLen) {
    int st, in, wk;
    zinsSubbandProcessGetSize_32f(order, windowLen, &st, &in, &wk);
    std::vector<uint8_t> a(st), s(st), work(wk);
    auto* pa = reinterpret_cast<ZinSubbandProcessState_32f*>(a.data());
    auto* ps = reinterpret_cast<ZinSubbandProcessState_32f*>(s.data());
    const int n = 1 << order, blocks = 400, total = blocks * frameSize;
    std::vector<Zin32fc> sub(n / 2 + 1);
    auto run = [&](const std::vector<float>& x) {
        zinsSubbandProcessInit_32f(pa, order, frameSize, windowLen, nullptr, nullptr);
        zinsSubbandProcessInit_32f(ps, order, frameSize, windowLen, nullptr, nullptr);
        std::vector<float> y(total);
        for (int b = 0; b < blocks; ++b) {
            zinsSubbandAnalysis_32f32fc(&x[b * frameSize], sub.data(), pa, work.data());
            zinsSubbandSynthesis_32fc32f(sub.data(), &y[b * frameSize], ps, work.data());
        }
        return y;
    };
    // Delay from an impulse: the peak of the response.
    std::vector<float> imp(total, 0.f);
    imp[0] = 1.f;
    const std::vector<float> h = run(imp);
    int delay = 0;
    for (int i = 1; i < total; ++i)
        if (std::fabs(h[i]) > std::fabs(h[delay])) delay = i;
    RoundTrip r{delay, 0, -1000, 0};
    double residual = 0, signal = 0;
    double gmin = 1e9, gmax = 0;
    for (int q = 0; q < 48; ++q) {
        const double f = (n / 4 + q / 16.0) / n;  // cycles per sample
        std::vector<float> x(total);
        for (int i = 0; i < total; ++i) x[i] = static_cast<float>(10000 * std::sin(2 * M_PI * f * i));
        const std::vector<float> y = run(x);
        double cc = 0, cs = 0, e = 0;
        const int from = 2 * windowLen + delay;
        for (int i = from; i < total; ++i) {
            cc += y[i] * std::cos(2 * M_PI * f * (i - delay));
            cs += y[i] * std::sin(2 * M_PI * f * (i - delay));
        }
        const double m = total - from, ac = 2 * cc / m, as = 2 * cs / m;
        for (int i = from; i < total; ++i) {
            const double fit = ac * std::cos(2 * M_PI * f * (i - delay)) + as * std::sin(2 * M_PI * f * (i - delay));
            e += (y[i] - fit) * (y[i] - fit);
        }
        const double gain = std::hypot(ac, as) / 10000, sig = gain * gain * 10000.0 * 10000.0 / 2 * m;
        gmin = std::min(gmin, gain);
        gmax = std::max(gmax, gain);
        r.aliasDb = std::max(r.aliasDb, 10 * std::log10(e / sig));
        residual += e;
        signal += sig;
    }
    r.rippleDb = 10 * std::log10(gmax / gmin);  // half of the peak-to-peak in dB
    r.meanAliasDb = 10 * std::log10(residual / signal);
    return r;
}

// Tones right between two channels dip most (+-2.4 dB at order 5 against the
// average over a channel's width); the aliasing averages -34.5 / -32 dB.
TEST(EchoSubband, RoundTrip) {
    const RoundTrip r5 = measure(5, 24, 128), r6 = measure(6, 44, 256);
    EXPECT_EQ(r5.delay, 104);
    EXPECT_LT(r5.rippleDb, 2.6);
    EXPECT_LT(r5.meanAliasDb, -33.0);
    EXPECT_LT(r5.aliasDb, -28.0);
    EXPECT_EQ(r6.delay, 212);
    EXPECT_LT(r6.rippleDb, 0.9);
    EXPECT_LT(r6.meanAliasDb, -30.5);
    EXPECT_LT(r6.aliasDb, -28.5);
}

}  // namespace
