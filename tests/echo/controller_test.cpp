// Sub-band controllers: sizes, check orders, Reset, the reciprocal division, and a run of blocks of
// Update and Controller against a plain model of both (powers, steps, saves,
// restores, the confidence state and the gain).
#include <gtest/gtest.h>

#include <cmath>

#include "check.h"
#include "echo/echo.h"

namespace {

using zt::Buf;
using zt::by_off;
using zt::Gen;
using i64 = int64_t;
using i128 = __int128;

// ---- sizes and Init ---------------------------------------------------------------

struct Sz {
    int bands, frame, segs, fs;
    Buf<int> size;
    bool fixed;
    auto bufs() { return std::tie(size); }
};

void check_size(bool fixed) {
    zt::Sweep s;
    s.lengths = {1, 2, 17, 33, 4097};
    s.patterns = {zt::Pattern::Random};
    zt::check(zt::Export<Sz>{fixed ? "zinsSubbandControllerGetSize_EC_16s" : "zinsSubbandControllerGetSize_EC_32f",
                             [fixed](Gen& g) {
                                 return Sz{g.len, by_off(g, {24, 44, 1}), by_off(g, {1, 7, 255}),
                                           by_off(g, {8000, 16000}), g.out<int>(1), fixed};
                             },
                             [](Sz& a) {
                                 return a.fixed ? zinsSubbandControllerGetSize_EC_16s(a.bands, a.frame, a.segs, a.fs, a.size)
                                                : zinsSubbandControllerGetSize_EC_32f(a.bands, a.frame, a.segs, a.fs, a.size);
                             },
                             [](Sz& a) {
                                 a.size[0] = a.fixed ? 5 * ((4 * a.bands + 15) & ~15) + 128 : 16 * a.bands + 112;
                                 return zinStsNoErr;
                             },
                             {zt::set(zinStsBadArgErr, &Sz::bands, 0), zt::set(zinStsBadArgErr, &Sz::frame, 0),
                              zt::set(zinStsBadArgErr, &Sz::segs, -1), zt::set(zinStsRangeErr, &Sz::fs, 44100),
                              zt::null(&Sz::size)}},
              s);
}

TEST(EchoController, GetSize) { check_size(false), check_size(true); }

template <class S>
S* align16(void* p) {
    auto a = reinterpret_cast<std::uintptr_t>(p);
    return reinterpret_cast<S*>(a + ((0 - a) & 15u));
}
template <class S>
S* aligned(std::vector<uint8_t>& block, int off) {
    return align16<S>(block.data() + off);
}

TEST(EchoController, InitChecksValuesBeforeTheState) {
    std::vector<uint8_t> block(16 * 17 + 112 + 8, 0xA5);
    auto* s32 = reinterpret_cast<ZinSubbandControllerState_EC_32f*>(block.data() + 3);
    auto* s16 = reinterpret_cast<ZinSubbandControllerState_EC_16s*>(block.data() + 3);
    EXPECT_EQ(zinsSubbandControllerInit_EC_32f(nullptr, 0, 24, 1, 8000), zinStsBadArgErr);
    EXPECT_EQ(zinsSubbandControllerInit_EC_32f(nullptr, 17, 24, 1, 11025), zinStsRangeErr);
    EXPECT_EQ(zinsSubbandControllerInit_EC_32f(nullptr, 17, 24, 1, 8000), zinStsNullPtrErr);
    EXPECT_EQ(zinsSubbandControllerInit_EC_16s(nullptr, 17, 0, 1, 7999), zinStsBadArgErr);
    EXPECT_EQ(zinsSubbandControllerInit_EC_16s(nullptr, 17, 24, 1, 16001), zinStsRangeErr);
    EXPECT_EQ(zinsSubbandControllerInit_EC_16s(nullptr, 17, 24, 1, 16000), zinStsNullPtrErr);
    EXPECT_EQ(zinsSubbandControllerInit_EC_32f(s32, 17, 24, 0, 8000), zinStsBadArgErr);
    EXPECT_EQ(zinsSubbandControllerInit_EC_16s(s16, 17, 24, 0, 8000), zinStsBadArgErr);
    for (uint8_t b : block) ASSERT_EQ(b, 0xA5);
    EXPECT_EQ(zinsSubbandControllerReset_EC_32f(nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsSubbandControllerReset_EC_16s(nullptr), zinStsNullPtrErr);
}

// A threshold product that wraps to a quotient of zero stays defined.
TEST(EchoController, WrappedThresholdStaysDefined) {
    std::vector<uint8_t> b16(5 * 16384 + 128);
    // 4096 * 100000 * 32768 is a whole multiple of 2^32.
    const int64_t p = int64_t{4096} * 100000 * 32768;
    const int32_t w = static_cast<int32_t>(static_cast<uint32_t>(p));
    ASSERT_LT(std::abs(w), 1024);
    auto* s = reinterpret_cast<ZinSubbandControllerState_EC_16s*>(b16.data());
    ASSERT_EQ(zinsSubbandControllerInit_EC_16s(s, 4096, 24, 32768, 8000), zinStsNoErr);
    EXPECT_EQ(aligned<ZinSubbandControllerState_EC_16s>(b16, 0)->powerThreshold, 0);
    EXPECT_EQ(aligned<ZinSubbandControllerState_EC_16s>(b16, 0)->minStepMantissa, 1073741824);
}

TEST(EchoController, DivisionIsAReciprocalInQ30) {
    for (int i = 0; i < 20000; ++i) {
        const int32_t c = static_cast<int32_t>(zt::random32(1, 1 << 30, INT32_MAX)[0]);
        const int32_t r = static_cast<int32_t>(zt::random32(1, 1 << 30, INT32_MAX)[0]);
        const double want = static_cast<double>(c) / r * 1073741824.0;
        ASSERT_NEAR(zin::Div32_EC(c, r), want, want * 2e-4 + 64) << c << " / " << r;
    }
    EXPECT_EQ(zin::Div32_EC(1 << 30, 1 << 30), 1 << 30);
}

// ---- Update and Controller over a run of blocks -------------------------------------------

constexpr int kBlocks = 12;

// Complex vectors are stored as T pairs; history block b of the run is
// entry 0 at block b, entry t is block b - t (blocks before the run are part
// of the history buffer).
template <class T>
struct Run {
    int bands, segs, frame, fs;
    float mu;
    Buf<T> hist, sin, ae, fe, coefA, coefF;
    Buf<T> rin, sinTime;      // checked for null only
    Buf<uint8_t> state;
    Buf<double> steps;        // 32f steps
    Buf<int32_t> stepsQ;      // 16s (mantissa, exponent) pairs
    Buf<T> gains;             // float gains, or 16-bit gains in the low word
    Buf<double> snapshot;     // the state's arrays and scalars after the run
    int mode;                 // 0: Update first, 1: AP update first, 2: Controller first
    auto bufs() { return std::tie(steps, stepsQ, gains, coefA, coefF, snapshot); }
};
using RunF = Run<float>;
using RunS = Run<int32_t>;

bool with_sin(int b) { return b % 3 != 2; }

template <class T>
Run<T> make_run(Gen& g, int mode) {
    constexpr bool fixed = std::is_same_v<T, int32_t>;
    const int bands = g.len, segs = by_off(g, {1, 3, 8, 2}), frame = by_off(g, {24, 44, 12});
    const int fs = by_off(g, {8000, 16000});
    const int hist = 2 * bands * (kBlocks + segs - 1), vec = 2 * bands * kBlocks, coef = 2 * bands * segs;
    Run<T> r{bands, segs, frame, fs, by_off(g, {0.5f, 0.f, 1.f, 0.25f}), {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, 0};
    if constexpr (fixed) {
        const int64_t lim = g.pat == zt::Pattern::Small ? 3000 : g.pat == zt::Pattern::Alternating ? 1 << 22 : INT32_MAX;
        r.hist = g.in32(hist, -lim, lim);
        r.sin = g.in32(vec, -lim, lim);
        const int64_t err = g.pat == zt::Pattern::Alternating ? 4096 : 1 << 20;
        r.fe = g.in32(vec, -err, err);
        r.coefA = g.in32(coef, -(1 << 16), 1 << 16);
    } else {
        const float lim = g.pat == zt::Pattern::Small ? 300.f : 300000.f;
        r.hist = g.in32f(hist, -lim, lim);
        r.sin = g.in32f(vec, -lim, lim);
        r.fe = g.in32f(vec, -3000.f, 3000.f);
        r.coefA = g.in32f(coef, -1.f, 1.f);
    }
    // Adaptive errors a per-sub-band factor of the fixed ones, so that saves
    // and restores both happen (only saves in the alternating runs, where the
    // gain then falls while restores stay below 100); the fixed set starts
    // as a scaled copy.
    const bool savesOnly = g.pat == zt::Pattern::Alternating;
    r.ae = r.fe;
    r.coefF = r.coefA;
    static const float kFactor[] = {0.1f, 0.5f, 1.f, 2.f, 5.f, 0.3f, 1.6f};
    for (std::size_t i = 0; i < r.ae.size(); ++i) {
        const int k = static_cast<int>(i / 2) % bands, b = static_cast<int>(i / 2) / bands;
        r.ae[i] = static_cast<T>(r.ae[i] * kFactor[savesOnly ? k % 2 : (k * 3 + (b > 6)) % 7]);
    }
    for (std::size_t i = 0; i < r.coefF.size(); ++i) r.coefF[i] = static_cast<T>(r.coefF[i] * (i % 3 ? 1 : 2));
    r.rin = Buf<T>(1, 1);
    r.sinTime = Buf<T>(1, 2);
    r.state = Buf<uint8_t>(static_cast<std::size_t>(fixed ? 5 * ((4 * bands + 15) & ~15) + 128 : 16 * bands + 112),
                           static_cast<std::size_t>(g.off * 5 + 1));
    r.steps = Buf<double>(static_cast<std::size_t>(fixed ? 0 : bands * kBlocks), 1);
    r.stepsQ = Buf<int32_t>(static_cast<std::size_t>(fixed ? 2 * bands * kBlocks : 0), 1);
    r.gains = Buf<T>(kBlocks, 3);
    r.snapshot = Buf<double>(static_cast<std::size_t>(5 * bands + 12), 0);
    r.mode = mode;
    return r;
}

// Pointers of block b: the history (entry 0 newest) and the two coefficient sets.
template <class T, class C>
std::vector<const C*> history(const Run<T>& r, int b) {
    std::vector<const C*> v(static_cast<std::size_t>(r.segs));
    for (int t = 0; t < r.segs; ++t)
        v[t] = reinterpret_cast<const C*>(r.hist.p() ? r.hist.p() : nullptr) + (b + r.segs - 1 - t) * i64{r.bands};
    return v;
}
template <class T, class C>
std::vector<C*> coefs(const Buf<T>& c, int bands, int segs) {
    std::vector<C*> v(static_cast<std::size_t>(segs));
    for (int t = 0; t < segs; ++t) v[t] = reinterpret_cast<C*>(&const_cast<Buf<T>&>(c)[0]) + ((t * 2 + 1) % segs) * i64{bands};
    return v;
}

template <class T, class S>
void snapshot(Run<T>& r, const S* s) {
    const int n = r.bands;
    for (int k = 0; k < n; ++k) {
        r.snapshot[k] = s->adaptiveErrPower[k], r.snapshot[n + k] = s->fixedErrPower[k];
        r.snapshot[2 * n + k] = s->historyPower[k], r.snapshot[3 * n + k] = s->coefPower[k];
        if constexpr (std::is_same_v<T, int32_t>) r.snapshot[4 * n + k] = s->scratchPower[k];
        else r.snapshot[4 * n + k] = 0;
    }
    const double v[] = {double(s->sinPower), double(s->gain), double(s->filterState), double(s->sinPowerValid)};
    for (int i = 0; i < 12; ++i) r.snapshot[5 * n + i] = i < 4 ? v[i] : 0;
}

// The run through either form, with the arguments a check nulls passed as null.
template <class T>
ZinStatus call_run(Run<T>& r) {
    constexpr bool fixed = std::is_same_v<T, int32_t>;
    using C = std::conditional_t<fixed, Zin32sc, Zin32fc>;
    using S = std::conditional_t<fixed, ZinSubbandControllerState_EC_16s, ZinSubbandControllerState_EC_32f>;
    auto* st = reinterpret_cast<S*>(&r.state[0]);
    if constexpr (fixed)
        EXPECT_EQ(zinsSubbandControllerInit_EC_16s(st, r.bands, r.frame, r.segs, r.fs), zinStsNoErr);
    else
        EXPECT_EQ(zinsSubbandControllerInit_EC_32f(st, r.bands, r.frame, r.segs, r.fs), zinStsNoErr);
    auto* s = r.state.p() ? st : nullptr;
    auto ca = coefs<T, C>(r.coefA, r.bands, r.segs), cf = coefs<T, C>(r.coefF, r.bands, r.segs);
    C* const* pa = r.coefA.p() ? ca.data() : nullptr;
    C* const* pf = r.coefF.p() ? cf.data() : nullptr;
    for (int b = 0; b < kBlocks; ++b) {
        auto h = history<T, C>(r, b);
        const C* const* ph = r.hist.p() ? h.data() : nullptr;
        const C* sin = with_sin(b) ? r.sin.template as<C>() + b * r.bands : nullptr;
        const C* ae = r.ae.p() ? r.ae.template as<C>() + b * r.bands : nullptr;
        const C* fe = r.fe.p() ? r.fe.template as<C>() + b * r.bands : nullptr;
        Zin16s gain = 0;
        auto update = [&] {
            if constexpr (fixed)
                return zinsSubbandControllerUpdate_EC_16s(
                    reinterpret_cast<const Zin16s*>(r.rin.p()), reinterpret_cast<const Zin16s*>(r.sinTime.p()), ph, sin,
                    r.stepsQ.p() ? reinterpret_cast<Zin32sc*>(r.stepsQ.at(2 * b * r.bands)) : nullptr, s);
            else
                return r.mode == 1 ? zinsSubbandAPControllerUpdate_EC_32f(ph, sin, r.steps.at(b * r.bands), r.mu, s)
                                   : zinsSubbandControllerUpdate_EC_32f(r.rin, r.sinTime, ph, sin,
                                                                        r.steps.at(b * r.bands), s);
        };
        auto control = [&] {
            if constexpr (fixed) return zinsSubbandController_EC_16s(ae, fe, pa, pf, r.gains.p() ? &gain : nullptr, s);
            else return zinsSubbandController_EC_32f(ae, fe, pa, pf, r.gains.at(b), s);
        };
        ZinStatus a = r.mode == 2 ? control() : update();
        if (a) return a;
        a = r.mode == 2 ? update() : control();
        if (a) return a;
        if constexpr (fixed) r.gains[b] = gain;
    }
    snapshot(r, align16<S>(st));
    return zinStsNoErr;
}

// ---- the plain model ------------------------------------------------------------------

struct ModelF {
    std::vector<float> ae, fe, hp, cp;
    float sinPower = 0, aErr = 0, aCoef = 0, aState = 0, aGain = 0, gain = 1, state = 1, thr = 0, minStep = 0;
    int valid = 0;
};

float pw(const float* v) { return v[0] * v[0] + v[1] * v[1]; }

ZinStatus plain_run_f(RunF& r) {
    const int n = r.bands, T = r.segs;
    auto alpha = [&](double tc) {
        const double x = -double(r.frame) / (r.fs * tc);
        return float(1 + x + x * x / 2);
    };
    ModelF m{std::vector<float>(n), std::vector<float>(n), std::vector<float>(n), std::vector<float>(n)};
    m.aErr = alpha(0.015), m.aCoef = alpha(0.009), m.aState = alpha(0.02), m.aGain = alpha(0.01);
    m.thr = float(n * 100000.0 * T);
    m.minStep = float(0.05 / double(m.thr));
    auto hist = [&](int b, int t) { return r.hist.at(2 * (b + T - 1 - t) * i64{n}); };
    auto coef = [&](Buf<float>& c, int t, int k) { return c.at(2 * (((t * 2 + 1) % T) * i64{n} + k)); };
    const float mu = r.mode == 1 ? r.mu : 0.5f;
    for (int b = 0; b < kBlocks; ++b) {
        auto update = [&] {
            for (int k = 0; k < n; ++k) m.hp[k] += pw(hist(b, 0) + 2 * k);
            for (int k = 0; k < n; ++k) r.steps[b * n + k] = m.hp[k] > m.thr ? double(mu / m.hp[k]) : double(m.minStep);
            for (int k = 0; k < n; ++k) m.hp[k] = std::max(0.f, m.hp[k] - pw(hist(b, T - 1) + 2 * k));
            float P = 0;
            if (with_sin(b)) {
                m.valid = 1;
                for (int k = 0; k < n; ++k) P += pw(r.sin.at(2 * (b * n + k)));
            }
            m.sinPower = m.aErr * m.sinPower + (1 - m.aErr) * P;
        };
        auto control = [&] {
            float saved = 0, restored = 0, total = 0;
            for (int k = 0; k < n; ++k) {
                float p = 0;
                for (int t = 0; t < T; ++t) p += pw(coef(r.coefA, t, k));
                const float d = std::fabs(m.cp[k] - p);
                m.cp[k] = m.aCoef * m.cp[k] + (1 - m.aCoef) * p;
                m.fe[k] = (1 - m.aErr) * pw(r.fe.at(2 * (b * n + k))) + m.aErr * m.fe[k];
                m.ae[k] = (1 - m.aErr) * pw(r.ae.at(2 * (b * n + k))) + m.aErr * m.ae[k];
                if (0.1f * m.cp[k] > d && 0.35f * m.fe[k] > m.ae[k]) {
                    for (int t = 0; t < T; ++t) std::copy_n(coef(r.coefA, t, k), 2, coef(r.coefF, t, k));
                    m.fe[k] = m.ae[k];
                    saved += m.fe[k];
                } else if (m.ae[k] > 1.5f * m.fe[k]) {
                    for (int t = 0; t < T; ++t) std::copy_n(coef(r.coefF, t, k), 2, coef(r.coefA, t, k));
                    m.ae[k] = m.fe[k];
                    restored += m.ae[k];
                }
                total += m.fe[k];
            }
            const float limit = 0.1f * total;
            const bool isSaved = saved > limit, isRestored = restored > limit;
            const bool good = m.valid ? isSaved && 0.2f * m.sinPower > total : isSaved;
            if (good)
                m.state *= m.aState;
            else if (isRestored)
                m.state = m.aState * m.state + (1 - m.aState);
            m.gain = m.aGain * m.gain + (1 - m.aGain) * (m.state > 0.5f ? 1.f : 0.f);
            r.gains[b] = m.gain;
        };
        if (r.mode == 2) {
            control();
            update();
        } else {
            update();
            control();
        }
    }
    for (int k = 0; k < n; ++k) {
        r.snapshot[k] = m.ae[k], r.snapshot[n + k] = m.fe[k], r.snapshot[2 * n + k] = m.hp[k];
        r.snapshot[3 * n + k] = m.cp[k], r.snapshot[4 * n + k] = 0;
    }
    const double v[] = {m.sinPower, m.gain, m.state, double(m.valid)};
    for (int i = 0; i < 12; ++i) r.snapshot[5 * n + i] = i < 4 ? v[i] : 0;
    return zinStsNoErr;
}

// The 16-bit model, written from the statement in exact arithmetic.
int32_t sat32(i128 v) { return v > INT32_MAX ? INT32_MAX : v < INT32_MIN ? INT32_MIN : int32_t(v); }
int32_t wrap(i128 v) { return int32_t(uint32_t(uint64_t(v))); }
i128 pr(const int32_t* v) { return (i128{v[0]} * v[0] + i128{v[1]} * v[1] + 512) >> 10; }
int32_t pt(const int32_t* v) {
    const double p = (double(v[0]) * v[0] + double(v[1]) * v[1]) * (1.0 / 1024);
    return p >= 2147483647.0 ? INT32_MAX : int32_t(p);
}
int32_t smooth(i128 fresh, i128 old, int32_t a) { return sat32((fresh * (16384 - a) + old * a + 8192) >> 14); }
int32_t norm(int32_t v, int& sh) {
    sh = 0;
    if (v == 0) v = 1;
    while (v < (1 << 30)) v *= 2, ++sh;
    return v;
}

ZinStatus plain_run_s(RunS& r) {
    const int n = r.bands, T = r.segs;
    std::vector<int32_t> ae(n), fe(n), hp(n), cp(n), sp(n);
    auto alpha = [&](int rate) { return 16384 - wrap(i128{r.frame} * 16384 * rate) / r.fs; };
    const int32_t aErr = alpha(67), aCoef = alpha(111), aState = alpha(50), aGain = alpha(100);
    const int32_t thr = wrap(i128{n} * 100000 * T) / 1024;
    const int32_t minM = 1073741824 / (thr ? thr : 1);
    int32_t sinPower = 0, gain = 32767, state = 16384, valid = 0;
    auto hist = [&](int b, int t) { return r.hist.at(2 * (b + T - 1 - t) * i64{n}); };
    auto coef = [&](Buf<int32_t>& c, int t, int k) { return c.at(2 * (((t * 2 + 1) % T) * i64{n} + k)); };
    for (int b = 0; b < kBlocks; ++b) {
        auto update = [&] {
            for (int k = 0; k < n; ++k) sp[k] = pt(hist(b, 0) + 2 * k);
            for (int k = 0; k < n; ++k) hp[k] = sat32(i128{hp[k]} + sp[k]);
            int cs;
            const int32_t c = norm(1073741824, cs);
            for (int k = 0; k < n; ++k) {
                int32_t mant, e;
                if (hp[k] <= thr) {
                    mant = minM, e = -31;
                } else {
                    int rs;
                    const int32_t q = norm(hp[k], rs);
                    mant = zin::Div32_EC(c, q), e = rs - cs;
                }
                r.stepsQ[2 * (b * n + k)] = mant;
                r.stepsQ[2 * (b * n + k) + 1] = 61 - (e - 10);
            }
            for (int k = 0; k < n; ++k) sp[k] = pt(hist(b, T - 1) + 2 * k);
            for (int k = 0; k < n; ++k) hp[k] = std::max(0, sat32(i128{hp[k]} - sp[k]));
            if (!with_sin(b)) return;
            valid = 1;
            i128 P = 0;
            for (int k = 0; k < n; ++k) P += pr(r.sin.at(2 * (b * n + k)));
            sinPower = smooth(P, sinPower, aErr);
        };
        auto control = [&] {
            int32_t saved = 0, restored = 0, total = 0;
            for (int k = 0; k < n; ++k) {
                i128 p = 0;
                for (int t = 0; t < T; ++t) p += pr(coef(r.coefA, t, k));
                const i128 d = p - cp[k];
                cp[k] = smooth(p, cp[k], aCoef);
                fe[k] = smooth(pr(r.fe.at(2 * (b * n + k))), fe[k], aErr);
                ae[k] = smooth(pr(r.ae.at(2 * (b * n + k))), ae[k], aErr);
                if (cp[k] > 10 * (d < 0 ? -d : d) && ae[k] < ((i128{fe[k]} * 5734 + 8192) >> 14)) {
                    for (int t = 0; t < T; ++t) std::copy_n(coef(r.coefA, t, k), 2, coef(r.coefF, t, k));
                    fe[k] = ae[k];
                    saved = sat32(i128{saved} + fe[k]);
                } else if (fe[k] < ((i128{ae[k]} * 10922 + 8192) >> 14)) {
                    for (int t = 0; t < T; ++t) std::copy_n(coef(r.coefF, t, k), 2, coef(r.coefA, t, k));
                    ae[k] = fe[k];
                    restored = sat32(i128{restored} + ae[k]);
                }
                total = sat32(i128{total} + fe[k]);
            }
            const bool isSaved = i128{total} < i128{10} * saved;
            const bool good = valid ? isSaved && i128{sinPower} > i128{5} * total : isSaved;
            if (good)
                state = wrap(i128{state} * aState + 8192) >> 14;
            else if (i128{total} <= i128{10} * restored)
                state = wrap(i128{state - 16384} * aState + 268443648) >> 14;
            const int32_t target = (state >= 8192 || (restored < 100 && saved < 100)) ? 32767 : 0;
            gain = wrap(i128{target} * (16384 - aGain) + i128{aGain} * gain + 8192) >> 14;
            r.gains[b] = zt::sat16(gain);
        };
        if (r.mode == 2) {
            control();
            update();
        } else {
            update();
            control();
        }
    }
    for (int k = 0; k < n; ++k) {
        r.snapshot[k] = ae[k], r.snapshot[n + k] = fe[k], r.snapshot[2 * n + k] = hp[k];
        r.snapshot[3 * n + k] = cp[k], r.snapshot[4 * n + k] = sp[k];
    }
    const double v[] = {double(sinPower), double(gain), double(state), double(valid)};
    for (int i = 0; i < 12; ++i) r.snapshot[5 * n + i] = i < 4 ? v[i] : 0;
    return zinStsNoErr;
}

zt::Sweep run_sweep() {
    zt::Sweep s;
    s.lengths = {1, 2, 5, 17, 33, 129};
    s.offsets = {0, 1, 2, 3, 4, 5};
    return s;
}

template <class T>
void check_run(const char* name, int mode, ZinStatus (*plain)(Run<T>&), std::vector<zt::Check<Run<T>>> checks) {
    zt::check(zt::Export<Run<T>>{name, [mode](Gen& g) { return make_run<T>(g, mode); }, call_run<T>, plain, checks},
              run_sweep());
}

TEST(EchoController, UpdateAndController) {
    using F = RunF;
    using S = RunS;
    check_run<float>("zinsSubbandControllerUpdate_EC_32f", 0, plain_run_f,
                     {zt::null(&F::rin), zt::null(&F::sinTime), zt::null(&F::hist), zt::null(&F::steps),
                      zt::null(&F::state)});
    check_run<float>("zinsSubbandAPControllerUpdate_EC_32f", 1, plain_run_f,
                     {zt::null(&F::hist), zt::null(&F::steps), zt::null(&F::state),
                      zt::set(zinStsRangeErr, &F::mu, -0.001f), zt::set(zinStsRangeErr, &F::mu, 1.001f)});
    check_run<float>("zinsSubbandController_EC_32f", 2, plain_run_f,
                     {zt::null(&F::ae), zt::null(&F::fe), zt::null(&F::coefA), zt::null(&F::coefF),
                      zt::null(&F::gains), zt::null(&F::state)});
    check_run<int32_t>("zinsSubbandControllerUpdate_EC_16s", 0, plain_run_s,
                       {zt::null(&S::rin), zt::null(&S::sinTime), zt::null(&S::hist), zt::null(&S::stepsQ),
                        zt::null(&S::state)});
    check_run<int32_t>("zinsSubbandController_EC_16s", 2, plain_run_s,
                       {zt::null(&S::ae), zt::null(&S::fe), zt::null(&S::coefA), zt::null(&S::coefF),
                        zt::null(&S::gains), zt::null(&S::state)});
}

// Reset clears the two error powers and the coefficient power only.
template <class T, class S>
void check_reset(ZinStatus (*reset)(S*)) {
    Gen g;
    g.len = 17;
    Run<T> r = make_run<T>(g, 0);
    ASSERT_EQ(call_run<T>(r), zinStsNoErr);
    const Buf<double> before = r.snapshot;
    auto* s = align16<S>(&r.state[0]);
    const S header = *s;
    ASSERT_EQ(reset(reinterpret_cast<S*>(&r.state[0])), zinStsNoErr);
    snapshot(r, s);
    for (int i = 0; i < 5 * 17 + 12; ++i)
        EXPECT_EQ(r.snapshot[i], i < 2 * 17 || (i >= 3 * 17 && i < 4 * 17) ? 0.0 : before[i]) << i;
    EXPECT_EQ(std::memcmp(&header, s, sizeof header), 0);  // scalars, the flag and the pointers stay
}

TEST(EchoController, Reset) {
    check_reset<float>(zinsSubbandControllerReset_EC_32f);
    check_reset<int32_t>(zinsSubbandControllerReset_EC_16s);
}

}  // namespace
