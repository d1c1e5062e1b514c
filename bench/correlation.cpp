// Correlation, lag-search and convolution exports at the sub-frame sizes of
// the standards, each beside its plain scalar statement in the same run
// (this file is compiled without auto-vectorisation, see correlation.cmake,
// so that the "Plain" rows are the scalar loops as written).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "compare.h"
#include "zinsc.h"

namespace {

std::vector<int16_t> speechlike(std::size_t n, unsigned seed) {
    std::mt19937 g(seed);
    std::normal_distribution<double> d(0.0, 3000.0);
    std::vector<int16_t> v(n);
    double y = 0;
    for (auto& x : v) {
        y = 0.9 * y + d(g);
        x = static_cast<int16_t>(std::clamp(y, -32768.0, 32767.0));
    }
    return v;
}
std::vector<float> to_float(const std::vector<int16_t>& v) { return std::vector<float>(v.begin(), v.end()); }

constexpr int kLags = 11;          // autocorrelation of an order-10 analysis
constexpr int kLagMax = 143;       // longest pitch lag of the 8 kHz codecs
constexpr int kLowLag = 20;

// ---- plain statements ------------------------------------------------------

void plain_autocorr(const int16_t* s, int len, int32_t* d, int lags) {
    for (int k = 0; k < lags; ++k) {
        uint32_t acc = 0;
        for (int i = 0; i + k < len; ++i) acc += static_cast<uint32_t>(int32_t{s[i]} * s[i + k]);
        d[k] = static_cast<int32_t>(acc);
    }
}
int32_t sat32(int64_t v) { return static_cast<int32_t>(std::clamp<int64_t>(v, INT32_MIN, INT32_MAX)); }
void plain_crosscorr_nr(const int16_t* a, const int16_t* b, int len, int32_t* d, int lags) {
    for (int k = 0; k < lags; ++k) {
        int64_t acc = 0;
        for (int i = 0; i < len; ++i) acc += int32_t{a[i]} * b[i + k];
        d[k] = sat32(acc);
    }
}
void plain_crosscorr_lagmax(const int16_t* a, const int16_t* b, int len, int lagMax, int32_t* mx, int* lag) {
    int32_t best = 0;
    int bl = lagMax;
    for (int l = lagMax; l >= 0; --l) {
        int64_t acc = 0;
        for (int i = 0; i < len; ++i) acc += int32_t{a[i]} * b[i + l];
        const int32_t c = len == 40 ? static_cast<int32_t>(static_cast<uint32_t>(acc)) : sat32(acc);
        if (c > best) best = c, bl = l;
    }
    *mx = best;
    *lag = bl;
}
void plain_fwd(const int16_t* s, int len, int lo, int hi, int32_t* mx, int* lag) {
    int32_t best = INT32_MIN;
    int bl = 0;
    for (int l = lo; l <= hi; ++l) {
        uint32_t acc = 0;
        for (int i = 0; i < len; ++i) acc += static_cast<uint32_t>(int32_t{s[i]} * s[i + l]);
        const int32_t c = static_cast<int32_t>(acc);
        const int32_t d = c < -0x40000000 ? INT32_MIN : (c >= 0x40000000 ? INT32_MAX : 2 * c);
        if (d > best) best = d, bl = l;
    }
    *mx = best;
    *lag = bl;
}
void plain_inv(const int16_t* s, int len, int lo, int hi, int32_t* mx, int* lag) {
    int32_t best = INT32_MIN;
    int bl = 0;
    for (int l = hi; l >= lo; --l) {
        uint32_t acc = 0;
        for (int i = 0; i < len; ++i) acc += static_cast<uint32_t>(int32_t{s[i]} * s[i - l]);
        const int32_t d = static_cast<int32_t>(acc << 1);
        if (d >= best) best = d, bl = l;
    }
    *mx = best;
    *lag = bl;
}
void plain_fwd_32f(const float* s, int len, int lo, int hi, float* mx, int* lag) {
    float best = -3.4e38f;
    int bl = 0;
    for (int l = lo; l <= hi; ++l) {
        float acc = 0;
        for (int i = 0; i < len; ++i) acc += s[i] * s[i + l];
        if (acc > best) best = acc, bl = l;
    }
    *mx = best;
    *lag = bl;
}
void plain_conv(const int16_t* a, const int16_t* b, int32_t* d, int len) {
    for (int n = 0; n < len; ++n) {
        uint32_t acc = 0;
        for (int k = 0; k <= n; ++k) acc += static_cast<uint32_t>(int32_t{a[k]} * b[n - k]);
        d[n] = static_cast<int32_t>(acc);
    }
}
void plain_conv_nr(const int16_t* a, const int16_t* b, int16_t* d, int len) {
    for (int n = 0; n < len; ++n) {
        uint32_t acc = 16384;
        for (int k = 0; k <= n; ++k) acc += static_cast<uint32_t>(int32_t{a[k]} * b[n - k]);
        d[n] = static_cast<int16_t>(static_cast<int32_t>(acc) >> 15);
    }
}

void plain_crosscorr_sfs(const int16_t* a, const int16_t* b, int len, int32_t* d, int scale) {
    for (int k = 0; k < len; ++k) {
        int64_t acc = 0;
        for (int i = 0; i + k < len; ++i) acc += int32_t{a[i]} * b[i + k];
        const int64_t q = acc >> scale, r = acc - (q << scale), half = int64_t{1} << (scale - 1);
        d[k] = sat32(q + (r > half || (r == half && (q & 1))));
    }
}
void plain_crosscorr_nr16(const int16_t* a, const int16_t* b, int len, int16_t* d, int lags) {
    for (int k = 0; k < lags; ++k) {
        int64_t acc = 0;
        for (int i = 0; i < len; ++i) acc += int32_t{a[i]} * b[i + k];
        const int64_t v = (int64_t{static_cast<int32_t>(static_cast<uint32_t>(acc))} + 16384) >> 15;
        d[k] = static_cast<int16_t>(std::clamp<int64_t>(v, -32768, 32767));
    }
}
void plain_normm(const int16_t* a, const int16_t* b, int len, int16_t* d, int64_t* c) {
    int64_t m = 0;
    for (int k = 0; k < len; ++k) {
        uint32_t acc = 0;
        for (int i = 0; i + k < len; ++i) acc += static_cast<uint32_t>(int32_t{a[i]} * b[i + k]);
        c[k] = 2 * int64_t{static_cast<int32_t>(acc)};
        m = std::max(m, c[k] < 0 ? -c[k] : c[k]);
    }
    int sh = 0;
    while ((m >> sh) > 32767) ++sh;
    for (int k = 0; k < len; ++k) d[k] = static_cast<int16_t>(c[k] >> sh);
}
void plain_crosscorr_lagmax_64f(const float* a, const float* b, int len, int lagMax, double* mx, int* lag) {
    double best = -1.0e300;
    int bl = lagMax;
    for (int l = lagMax; l >= 0; --l) {
        double acc = 0;
        for (int i = 0; i < len; ++i) acc += double{a[i]} * b[i + l];
        if (acc > best) best = acc, bl = l;
    }
    *mx = best;
    *lag = bl;
}
void plain_conv_sfs(const int16_t* a, const int16_t* b, int16_t* d, int len, int s) {
    for (int n = 0; n < len; ++n) {
        uint32_t acc = 0;
        for (int k = 0; k <= n; ++k) acc += static_cast<uint32_t>(int32_t{a[k]} * b[n - k]);
        d[n] = static_cast<int16_t>(static_cast<int32_t>(acc) >> s);
    }
}

// ---- runs ------------------------------------------------------------------

struct Data {
    std::vector<int16_t> s1, s2, q1, q2;  // speech-like, and scaled down by 64
    std::vector<float> f;
    std::vector<int32_t> d32;
    std::vector<int16_t> d16;
    std::vector<int64_t> c64;
    explicit Data(int len)
        : s1(speechlike(static_cast<std::size_t>(len) + 512, 1)),
          s2(speechlike(static_cast<std::size_t>(len) + 512, 2)),
          q1(s1),
          q2(s2),
          f(to_float(s1)),
          d32(static_cast<std::size_t>(len) + 512),
          d16(static_cast<std::size_t>(len) + 512),
          c64(static_cast<std::size_t>(len) + 512) {
        for (auto& x : q1) x = static_cast<int16_t>(x / 64);
        for (auto& x : q2) x = static_cast<int16_t>(x / 64);
    }
    int32_t mx = 0;
    int lag = 0, norm = 0;
    float fm = 0;
    double dm = 0;
};

// Each library call beside its plain statement, at the sub-frame sizes of the standards.
const bool registered = [] {
    auto pair = [](const char* name, auto lib, auto plain) { zb::pair<Data>(name, {40, 64, 80, 160, 240}, lib, plain); };
    pair("AutoCorr", [](Data& d, int len) { zinsAutoCorr_16s32s(d.s1.data(), len, d.d32.data(), kLags); },
         [](Data& d, int len) { plain_autocorr(d.s1.data(), len, d.d32.data(), kLags); });
    // The normalised forms add one energy and a shift to the same sums.
    pair("AutoCorrNormE", [](Data& d, int len) { zinsAutoCorr_NormE_16s32s(d.q1.data(), len, d.d32.data(), kLags, &d.norm); },
         [](Data& d, int len) { plain_autocorr(d.q1.data(), len, d.d32.data(), kLags); });
    pair("AutoCorrNormENR", [](Data& d, int len) { zinsAutoCorr_NormE_NR_16s(d.s1.data(), len, d.d16.data(), kLags, &d.norm); },
         [](Data& d, int len) { plain_autocorr(d.s1.data(), len, d.d32.data(), kLags); });
    pair("CrossCorrSfs", [](Data& d, int len) { zinsCrossCorr_16s32s_Sfs(d.s1.data(), d.s2.data(), len, d.d32.data(), 3); },
         [](Data& d, int len) { plain_crosscorr_sfs(d.s1.data(), d.s2.data(), len, d.d32.data(), 3); });
    pair("CrossCorrNR32", [](Data& d, int len) { zinsCrossCorr_NR_16s32s(d.s1.data(), d.s2.data(), len, d.d32.data(), 40); },
         [](Data& d, int len) { plain_crosscorr_nr(d.s1.data(), d.s2.data(), len, d.d32.data(), 40); });
    pair("CrossCorrNR16", [](Data& d, int len) { zinsCrossCorr_NR_16s(d.s1.data(), d.s2.data(), len, d.d16.data(), 40); },
         [](Data& d, int len) { plain_crosscorr_nr16(d.s1.data(), d.s2.data(), len, d.d16.data(), 40); });
    pair("CrossCorrNRSfs", [](Data& d, int len) { zinsCrossCorr_NR_16s_Sfs(d.s1.data(), d.s2.data(), len, d.d16.data(), 40, 15); },
         [](Data& d, int len) { plain_crosscorr_nr16(d.s1.data(), d.s2.data(), len, d.d16.data(), 40); });
    pair("CrossCorrNormM", [](Data& d, int len) { zinsCrossCorr_NormM_16s(d.s1.data(), d.s2.data(), len, d.d16.data()); },
         [](Data& d, int len) { plain_normm(d.s1.data(), d.s2.data(), len, d.d16.data(), d.c64.data()); });
    pair("CrossCorrLagMax", [](Data& d, int len) { zinsCrossCorrLagMax_16s(d.s1.data(), d.s2.data(), len, kLagMax, &d.mx, &d.lag); },
         [](Data& d, int len) { plain_crosscorr_lagmax(d.s1.data(), d.s2.data(), len, kLagMax, &d.mx, &d.lag); });
    pair("CrossCorrLagMax64f", [](Data& d, int len) { zinsCrossCorrLagMax_32f64f(d.f.data(), d.f.data() + 7, len, kLagMax, &d.dm, &d.lag); },
         [](Data& d, int len) { plain_crosscorr_lagmax_64f(d.f.data(), d.f.data() + 7, len, kLagMax, &d.dm, &d.lag); });
    pair("AutoCorrLagMaxFwd", [](Data& d, int len) { zinsAutoCorrLagMax_Fwd_16s(d.s1.data(), len, kLowLag, kLagMax, &d.mx, &d.lag); },
         [](Data& d, int len) { plain_fwd(d.s1.data(), len, kLowLag, kLagMax, &d.mx, &d.lag); });
    pair("AutoCorrLagMaxInv", [](Data& d, int len) { zinsAutoCorrLagMax_Inv_16s(d.s1.data() + 200, len, kLowLag, kLagMax, &d.mx, &d.lag); },
         [](Data& d, int len) { plain_inv(d.s1.data() + 200, len, kLowLag, kLagMax, &d.mx, &d.lag); });
    pair("AutoCorrLagMax32f", [](Data& d, int len) { zinsAutoCorrLagMax_32f(d.f.data(), len, kLowLag, kLagMax, &d.fm, &d.lag); },
         [](Data& d, int len) { plain_fwd_32f(d.f.data(), len, kLowLag, kLagMax, &d.fm, &d.lag); });
    pair("ConvPartial", [](Data& d, int len) { zinsConvPartial_16s32s(d.s1.data(), d.s2.data(), d.d32.data(), len); },
         [](Data& d, int len) { plain_conv(d.s1.data(), d.s2.data(), d.d32.data(), len); });
    pair("ConvPartialSfs", [](Data& d, int len) { zinsConvPartial_16s_Sfs(d.s1.data(), d.s2.data(), d.d16.data(), len, 12); },
         [](Data& d, int len) { plain_conv_sfs(d.s1.data(), d.s2.data(), d.d16.data(), len, 12); });
    pair("ConvPartialNR", [](Data& d, int len) { zinsConvPartial_NR_16s(d.q1.data(), d.q2.data(), d.d16.data(), len); },
         [](Data& d, int len) { plain_conv_nr(d.q1.data(), d.q2.data(), d.d16.data(), len); });
    pair("ConvPartialNRLow", [](Data& d, int len) { zinsConvPartial_NR_Low_16s(d.q1.data(), d.q2.data(), d.d16.data(), len); },
         [](Data& d, int len) { plain_conv_nr(d.q1.data(), d.q2.data(), d.d16.data(), len); });
    return true;
}();

}  // namespace
