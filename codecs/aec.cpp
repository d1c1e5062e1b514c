// The sub-band echo canceller of aec.h. Per block of R samples, in the
// order the kit's data dependencies ask for:
//   1. far-end analysis into a new vector, which becomes entry 0 of the
//      history (the oldest leaves);
//   2. analysis of the microphone block, delayed by half a window so that
//      the sub-band echo path is causal;
//   3. the adaptive and the fixed filter, and their errors;
//   4. the controller's step sizes;
//   5. the coefficient update, held while the guard sees double talk, and
//      with the controller's steps scaled by an estimate of the residual
//      echo's share of the error (near 1 in single talk, small while the
//      near end talks, back to 1 at once when the microphone holds no more
//      than echo: an echo path that changed);
//   6. the controller's save and restore of coefficients;
//   7. synthesis of the error of whichever filter has had the smaller error
//      power lately, per sub-band.
//
// The default bank is this canceller's own: a root-raised-cosine prototype of
// eight transform lengths under a Kaiser taper, at half the built-in block
// shift (about 2.7 times oversampled), whose aliasing is far below the
// built-in windows'. The built-in operating points stay as an option.
//
// The 16-bit path keeps these scale factors:
// - far end analysed at scale 0: the controller's power threshold is set
//   for sub-band values at the transform's own scale. The running sum of
//   block powers (re^2 + im^2) / 2^10 over the tail stays inside 32 bits for
//   speech (peaks at -3 dBFS); a long full-scale tone would saturate it, and
//   a saturated sum stops tracking its window and mis-sets later steps.
// - microphone analysed at scale -8 and filters run at scale 10 on Q18
//   coefficients, so that the errors carry 8 fractional bits: the update
//   scales the error by the step mantissa in 32 bits, and an error of a few
//   units would make a coarse update. Hence the update's scale 18 - 8 = 10.
// - Q18 coefficients: the controller sums the coefficients' powers
//   (re^2 + im^2) / 2^10 in 32 bits, and a sub-band echo path of gain up to
//   2 keeps that sum below 2^29. An update step rounds to zero only below
//   2^-19, far under the steps of a 40 dB residual.
// - the controller sees the errors and the microphone sub-bands shifted
//   back down by 8, on the far end's scale; synthesis at scale 8 returns to
//   samples.
#include "aec.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "zinsc.h"

namespace zc {
namespace {

constexpr double kPi = 3.14159265358979323846;

// Zeroth-order modified Bessel function, for the Kaiser taper.
double bessel_i0(double x) {
    double sum = 1, term = 1;
    for (int k = 1; k < 40; ++k) {
        term *= (x / (2 * k)) * (x / (2 * k));
        sum += term;
    }
    return sum;
}

// Root-raised-cosine of symbol length n and roll-off 1, over len taps,
// tapered by a Kaiser window.
std::vector<double> prototype(int n, int len) {
    std::vector<double> w(static_cast<std::size_t>(len));
    const double beta = 1.0, kaiser = 5.0;
    for (int i = 0; i < len; ++i) {
        const double t = (i - (len - 1) / 2.0) / n;
        double h;
        if (std::fabs(t) < 1e-9)
            h = 1 - beta + 4 * beta / kPi;
        else if (std::fabs(std::fabs(t) - 1 / (4 * beta)) < 1e-9)
            h = beta / std::sqrt(2.0) *
                ((1 + 2 / kPi) * std::sin(kPi / (4 * beta)) + (1 - 2 / kPi) * std::cos(kPi / (4 * beta)));
        else
            h = (std::sin(kPi * t * (1 - beta)) + 4 * beta * t * std::cos(kPi * t * (1 + beta))) /
                (kPi * t * (1 - (4 * beta * t) * (4 * beta * t)));
        const double r = 2.0 * i / (len - 1) - 1;
        w[i] = h * bessel_i0(kaiser * std::sqrt(std::max(0.0, 1 - r * r))) / bessel_i0(kaiser);
    }
    return w;
}

// One filter-bank object in a block of its own size.
struct Bank {
    std::vector<uint8_t> mem;
    template <class S>
    S* as() {
        return reinterpret_cast<S*>(mem.data());
    }
};

struct Shape {
    int order, shift, window;
};

Shape shape_of(const EchoOptions& o) {
    const int order = o.rate == 8000 ? 5 : 6;
    if (o.builtin) return {order, o.rate == 8000 ? 24 : 44, o.rate == 8000 ? 128 : 256};
    return {order, o.rate == 8000 ? 12 : 22, 8 << order};
}

// The float window of a shape, scaled so that analysis then synthesis has
// unit gain on noise, and the bank's delay; measured through the kit itself.
struct Design {
    std::vector<float> window;
    int delay = 0;
};

Design design(const Shape& s) {
    Design d;
    const int n = 1 << s.order;
    int st = 0, in = 0, wk = 0;
    zinsSubbandProcessGetSize_32f(s.order, s.window, &st, &in, &wk);
    Bank a{std::vector<uint8_t>(st)}, b{std::vector<uint8_t>(st)};
    std::vector<uint8_t> work(wk), init(in + 1);
    const float* w = nullptr;
    std::vector<float> own;
    if (s.shift != 24 && s.shift != 44) {
        const std::vector<double> p = prototype(n, s.window);
        own.assign(p.begin(), p.end());
        w = own.data();
    }
    std::vector<Zin32fc> sub(n / 2 + 1);
    auto run = [&](const std::vector<float>& x) {
        zinsSubbandProcessInit_32f(a.as<ZinSubbandProcessState_32f>(), s.order, s.shift, s.window, w, init.data());
        zinsSubbandProcessInit_32f(b.as<ZinSubbandProcessState_32f>(), s.order, s.shift, s.window, w, init.data());
        std::vector<float> y(x.size());
        for (std::size_t i = 0; i + s.shift <= x.size(); i += s.shift) {
            zinsSubbandAnalysis_32f32fc(&x[i], sub.data(), a.as<ZinSubbandProcessState_32f>(), work.data());
            zinsSubbandSynthesis_32fc32f(sub.data(), &y[i], b.as<ZinSubbandProcessState_32f>(), work.data());
        }
        return y;
    };
    const std::size_t len = static_cast<std::size_t>(s.shift) * 200;
    std::vector<float> x(len, 0.f);
    x[0] = 1.f;
    std::vector<float> y = run(x);
    d.delay = static_cast<int>(std::max_element(y.begin(), y.end(), [](float p, float q) {
                                   return std::fabs(p) < std::fabs(q);
                               }) -
                               y.begin());
    uint32_t seed = 12345;
    for (auto& v : x) {
        seed = seed * 1664525u + 1013904223u;
        v = static_cast<float>(static_cast<int32_t>(seed) >> 16);
    }
    y = run(x);
    double px = 0, py = 0;
    for (std::size_t i = 4 * s.window; i + d.delay < len; ++i) {
        px += double(x[i]) * x[i];
        py += double(y[i + d.delay]) * y[i + d.delay];
    }
    const double g = 1 / std::sqrt(std::sqrt(py / px));
    if (w) {
        d.window = own;
        for (auto& v : d.window) v = static_cast<float>(v * g);
    } else {
        d.window.clear();  // built in; its gain is its own
    }
    return d;
}

// Far-end peaks for the guard: the largest |far| of each of the last blocks.
class Geigel {
public:
    Geigel(int blocks, int hold) : peaks_(static_cast<std::size_t>(blocks), 0), hold_(hold) {}
    // True while the near end talks: a microphone peak above half the far
    // end's peak over the echo path, and for `hold` blocks after it.
    bool update(const int16_t* far, const int16_t* mic, int n) {
        int f = 0, m = 0;
        for (int i = 0; i < n; ++i) {
            f = std::max(f, std::abs(int{far[i]}));
            m = std::max(m, std::abs(int{mic[i]}));
        }
        peaks_[pos_] = f;
        pos_ = (pos_ + 1) % peaks_.size();
        const int farPeak = *std::max_element(peaks_.begin(), peaks_.end());
        if (m > 64 && 2 * m > farPeak) count_ = hold_;
        else if (count_ > 0) --count_;
        return count_ > 0;
    }

private:
    std::vector<int> peaks_;
    std::size_t pos_ = 0;
    int hold_, count_ = 0;
};

// The per-path types: float or 16-bit.
struct Float {
    using Sample = float;
    using Cplx = Zin32fc;
    using Step = Zin64f;
    using Process = ZinSubbandProcessState_32f;
    using Control = ZinSubbandControllerState_EC_32f;
    using Gain = Zin32f;
};
struct Fixed {
    using Sample = Zin16s;
    using Cplx = Zin32sc;
    using Step = Zin32sc;
    using Process = ZinSubbandProcessState_16s;
    using Control = ZinSubbandControllerState_EC_16s;
    using Gain = Zin16s;
};

template <class P>
class SubbandCanceller final : public EchoCanceller {
    using C = typename P::Cplx;
    static constexpr bool kFixed = std::is_same_v<P, Fixed>;
    // 16-bit path: far-end sub-bands at the transform's scale, errors 2^8 above them, Q18 coefficients.
    static constexpr double kLeakRisePerSecond = 30.0, kShareGain = 2.0, kEchoOnly = 1.6;
    static constexpr int kFarScale = 0, kErrBits = 8, kCoefBits = 18;

public:
    SubbandCanceller(const EchoOptions& o, const Shape& s, const Design& d)
        : shape_(s), bands_((1 << s.order) / 2 + 1), guard_(1, 1) {
        const int tail = o.rate / 1000 * o.tail_ms;
        pre_ = s.window / 2;
        segs_ = (tail + s.window + s.shift - 1) / s.shift + 2;
        segs_ = std::min(segs_, 255);
        delay_ = d.delay + pre_;
        guard_ = Geigel((tail + s.shift - 1) / s.shift + 1, std::max(1, o.rate * 30 / 1000 / s.shift));
        int st, in, wk;
        if constexpr (kFixed) {
            zinsSubbandProcessGetSize_16s(s.order, s.window, &st, &in, &wk);
            for (float v : d.window) window16_.push_back(static_cast<Zin16s>(std::lround(v * 8192)));
        } else {
            zinsSubbandProcessGetSize_32f(s.order, s.window, &st, &in, &wk);
        }
        work_.resize(wk);
        init_.resize(in + 1);
        for (Bank* b : {&far_, &mic_, &out_}) {
            b->mem.resize(st);
            if constexpr (kFixed)
                zinsSubbandProcessInit_16s(b->as<ZinSubbandProcessState_16s>(), s.order, s.shift, s.window,
                                           window16_.empty() ? nullptr : window16_.data(), init_.data());
            else
                zinsSubbandProcessInit_32f(b->as<ZinSubbandProcessState_32f>(), s.order, s.shift, s.window,
                                           d.window.empty() ? nullptr : d.window.data(), init_.data());
        }
        const std::size_t vec = static_cast<std::size_t>(bands_), all = vec * segs_;
        hist_.assign(all, C{});
        adaptive_.assign(all, C{});
        fixed_.assign(all, C{});
        ring_.resize(2 * static_cast<std::size_t>(segs_));
        for (int i = 0; i < 2 * segs_; ++i) ring_[i] = &hist_[(i % segs_) * vec];
        for (int t = 0; t < segs_; ++t) {
            pa_.push_back(&adaptive_[t * vec]);
            pf_.push_back(&fixed_[t * vec]);
        }
        eo_.resize(vec), powA_.assign(vec, 0.0), powF_.assign(vec, 0.0);
        x_.resize(vec), ca_.resize(vec), cf_.resize(vec), d_.resize(vec), ya_.resize(vec), yf_.resize(vec), ea_.resize(vec), ef_.resize(vec);
        step_.resize(vec);
        rise_ = std::pow(kLeakRisePerSecond, double(s.shift) / o.rate);
        smooth_ = std::exp(-double(s.shift) / (o.rate * 0.04));
        slow_ = std::exp(-double(s.shift) / (o.rate * 0.15));
        baseRise_ = std::pow(2.0, double(s.shift) / o.rate);
        micDelay_.assign(static_cast<std::size_t>(pre_ + s.shift), 0);
        int cs;
        if constexpr (kFixed) {
            zinsSubbandControllerGetSize_EC_16s(bands_, s.shift, segs_, o.rate, &cs);
            control_.resize(cs);
            zinsSubbandControllerInit_EC_16s(reinterpret_cast<ZinSubbandControllerState_EC_16s*>(control_.data()),
                                             bands_, s.shift, segs_, o.rate);
        } else {
            zinsSubbandControllerGetSize_EC_32f(bands_, s.shift, segs_, o.rate, &cs);
            control_.resize(cs);
            zinsSubbandControllerInit_EC_32f(reinterpret_cast<ZinSubbandControllerState_EC_32f*>(control_.data()),
                                             bands_, s.shift, segs_, o.rate);
        }
    }

    int block() const override { return shape_.shift; }
    int delay() const override { return delay_; }

    void process(const int16_t* far, const int16_t* mic, int16_t* out) override {
        const int n = shape_.shift;
        // The microphone, half a window late.
        std::memcpy(&micDelay_[pre_], mic, sizeof(int16_t) * n);
        const int16_t* m = micDelay_.data();
        const bool talk = guard_.update(far, m, n);
        head_ = head_ == 0 ? segs_ - 1 : head_ - 1;
        C* newest = ring_[head_];
        const C* const* hist = ring_.data() + head_;
        auto* control = reinterpret_cast<typename P::Control*>(control_.data());
        typename P::Gain gain;
        if constexpr (kFixed) {
            zinsSubbandAnalysis_16s32sc_Sfs(far, newest, far_.as<ZinSubbandProcessState_16s>(), kFarScale, work_.data());
            zinsSubbandAnalysis_16s32sc_Sfs(m, d_.data(), mic_.as<ZinSubbandProcessState_16s>(), kFarScale - kErrBits,
                                            work_.data());
            zinsFIRSubband_EC_32sc_Sfs(hist, pa_.data(), ya_.data(), segs_, bands_, kCoefBits - kErrBits);
            zinsFIRSubband_EC_32sc_Sfs(hist, pf_.data(), yf_.data(), segs_, bands_, kCoefBits - kErrBits);
            for (int k = 0; k < bands_; ++k) {
                ea_[k] = {sub32(d_[k].re, ya_[k].re), sub32(d_[k].im, ya_[k].im)};
                ef_[k] = {sub32(d_[k].re, yf_[k].re), sub32(d_[k].im, yf_[k].im)};
                x_[k] = {d_[k].re >> kErrBits, d_[k].im >> kErrBits};
                ca_[k] = {ea_[k].re >> kErrBits, ea_[k].im >> kErrBits};
                cf_[k] = {ef_[k].re >> kErrBits, ef_[k].im >> kErrBits};
            }
            zinsSubbandControllerUpdate_EC_16s(far, m, hist, x_.data(), step_.data(), control);
            const double r = step_scale(talk, far, m);
            for (auto& s : step_) s.re = static_cast<Zin32s>(s.re * r);
            if (!talk)
                zinsFIRSubbandCoeffUpdate_EC_32sc_I(step_.data(), hist, ea_.data(), pa_.data(), segs_, bands_,
                                                    kCoefBits - kErrBits);
            zinsSubbandController_EC_16s(ca_.data(), cf_.data(), pa_.data(), pf_.data(), &gain, control);
            choose();
            zinsSubbandSynthesis_32sc16s_Sfs(eo_.data(), out, out_.as<ZinSubbandProcessState_16s>(), kErrBits - kFarScale,
                                             work_.data());
        } else {
            float fin[64], min[64], fout[64];
            for (int i = 0; i < n; ++i) fin[i] = far[i], min[i] = m[i];
            zinsSubbandAnalysis_32f32fc(fin, newest, far_.as<ZinSubbandProcessState_32f>(), work_.data());
            zinsSubbandAnalysis_32f32fc(min, d_.data(), mic_.as<ZinSubbandProcessState_32f>(), work_.data());
            zinsFIRSubband_EC_32fc(hist, pa_.data(), ya_.data(), segs_, bands_);
            zinsFIRSubband_EC_32fc(hist, pf_.data(), yf_.data(), segs_, bands_);
            for (int k = 0; k < bands_; ++k) {
                ea_[k] = {d_[k].re - ya_[k].re, d_[k].im - ya_[k].im};
                ef_[k] = {d_[k].re - yf_[k].re, d_[k].im - yf_[k].im};
            }
            zinsSubbandControllerUpdate_EC_32f(fin, min, hist, d_.data(), step_.data(), control);
            const double r = step_scale(talk, far, m);
            for (auto& s : step_) s *= r;
            if (!talk) zinsFIRSubbandCoeffUpdate_EC_32fc_I(step_.data(), hist, ea_.data(), pa_.data(), segs_, bands_);
            zinsSubbandController_EC_32f(ea_.data(), ef_.data(), pa_.data(), pf_.data(), &gain, control);
            choose();
            zinsSubbandSynthesis_32fc32f(eo_.data(), fout, out_.as<ZinSubbandProcessState_32f>(), work_.data());
            for (int i = 0; i < n; ++i) {
                const float v = std::nearbyint(fout[i]);
                out[i] = static_cast<int16_t>(v > 32767.f ? 32767.f : v < -32768.f ? -32768.f : v);
            }
        }
        std::memmove(micDelay_.data(), micDelay_.data() + n, sizeof(int16_t) * pre_);
    }

private:
    // The share of the controller's step taken this block: the estimated
    // residual echo over the error, with the residual echo the filter's
    // echo estimate times the lowest error-to-estimate ratio seen lately
    // (which rises slowly). In single talk the share is about 1; when the
    // near end talks the error grows and the share falls, before the guard
    // has seen it. Until the filter has first reached 10 dB, the full step.
    double step_scale(bool talk, const int16_t* far, const int16_t* mic) {
        // The microphone's power against the far end's, over 150 ms, and its
        // lowest level lately: near it the microphone holds echo alone (an
        // echo path that changed, not a near end that talks), and the
        // residual-echo estimate may follow the error at once.
        double pf = 0, pm = 0;
        for (int i = 0; i < shape_.shift; ++i) pf += double(far[i]) * far[i], pm += double(mic[i]) * mic[i];
        farPow_ = slow_ * farPow_ + (1 - slow_) * pf;
        micPow_ = slow_ * micPow_ + (1 - slow_) * pm;
        bool echoOnly = false;
        if (farPow_ > 1e4 * shape_.shift) {
            const double q = micPow_ / farPow_;
            base_ = base_ > 0 ? std::min(q, base_ * baseRise_) : q;
            echoOnly = q < kEchoOnly * base_;
        }
        double py = 0, pe = 0;
        for (int k = 0; k < bands_; ++k) {
            py += double(ya_[k].re) * ya_[k].re + double(ya_[k].im) * ya_[k].im;
            pe += double(ea_[k].re) * ea_[k].re + double(ea_[k].im) * ea_[k].im;
        }
        py_ = smooth_ * py_ + (1 - smooth_) * py;
        pe_ = smooth_ * pe_ + (1 - smooth_) * pe;
        if (py_ <= 0 || pe_ <= 0) return adapted_ ? 0.0 : 1.0;
        if (!talk) leak_ = std::max(1e-6, echoOnly ? pe_ / py_ : std::min(pe_ / py_, leak_ * rise_));
        if (leak_ < 0.1) adapted_ = true;
        return adapted_ ? std::min(1.0, kShareGain * leak_ * py_ / pe_) : 1.0;
    }

    // Per sub-band, the error of whichever filter has had the smaller error
    // power lately: the fixed set holds the last good path while the
    // adaptive one is disturbed.
    void choose() {
        for (int k = 0; k < bands_; ++k) {
            const double a = double(ea_[k].re) * ea_[k].re + double(ea_[k].im) * ea_[k].im;
            const double f = double(ef_[k].re) * ef_[k].re + double(ef_[k].im) * ef_[k].im;
            powA_[k] = 0.7 * powA_[k] + 0.3 * a;
            powF_[k] = 0.7 * powF_[k] + 0.3 * f;
            eo_[k] = powA_[k] <= powF_[k] ? ea_[k] : ef_[k];
        }
    }

    static Zin32s sub32(Zin32s a, Zin32s b) {
        const int64_t v = int64_t{a} - b;
        return static_cast<Zin32s>(v > INT32_MAX ? INT32_MAX : v < INT32_MIN ? INT32_MIN : v);
    }

    Shape shape_;
    int bands_, segs_ = 1, pre_ = 0, delay_ = 0, head_ = 0;
    Geigel guard_;
    Bank far_, mic_, out_;
    std::vector<uint8_t> work_, init_, control_;
    std::vector<Zin16s> window16_;
    std::vector<C> hist_, adaptive_, fixed_, x_, ca_, cf_, d_, ya_, yf_, ea_, ef_, eo_;
    std::vector<double> powA_, powF_;
    double leak_ = 1.0, rise_ = 1.0, smooth_ = 0.0, py_ = 0.0, pe_ = 0.0;
    double slow_ = 0.0, farPow_ = 0.0, micPow_ = 0.0, base_ = 0.0, baseRise_ = 1.0;
    bool adapted_ = false;
    std::vector<C*> ring_, pa_, pf_;
    std::vector<typename P::Step> step_;
    std::vector<int16_t> micDelay_;
};

}  // namespace

std::unique_ptr<EchoCanceller> EchoCanceller::make(const EchoOptions& o) {
    if ((o.rate != 8000 && o.rate != 16000) || o.tail_ms < 1 || o.tail_ms > 2000) return nullptr;
    const Shape s = shape_of(o);
    const Design d = design(s);
    if (o.fixed_point) return std::make_unique<SubbandCanceller<Fixed>>(o, s, d);
    return std::make_unique<SubbandCanceller<Float>>(o, s, d);
}

std::vector<int16_t> EchoCanceller::run(const std::vector<int16_t>& far, const std::vector<int16_t>& mic) {
    const std::size_t n = static_cast<std::size_t>(block()), d = static_cast<std::size_t>(delay());
    const std::size_t blocks = (mic.size() + d + n - 1) / n;
    std::vector<int16_t> f(blocks * n, 0), m(blocks * n, 0), y(blocks * n, 0);
    std::copy_n(far.begin(), std::min(far.size(), f.size()), f.begin());
    std::copy(mic.begin(), mic.end(), m.begin());
    for (std::size_t b = 0; b < blocks; ++b) process(&f[b * n], &m[b * n], &y[b * n]);
    return std::vector<int16_t>(y.begin() + static_cast<std::ptrdiff_t>(d),
                                y.begin() + static_cast<std::ptrdiff_t>(d + mic.size()));
}

}  // namespace zc
