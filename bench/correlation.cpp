// Correlation, lag-search and convolution exports at the sub-frame sizes of
// the standards, each beside its plain scalar statement in the same run
// (this file is compiled without auto-vectorisation, see correlation.cmake,
// so that the "Plain" rows are the scalar loops as written).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

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

// ---- fixtures --------------------------------------------------------------

struct Data {
    std::vector<int16_t> s1, s2, mid;
    std::vector<float> f;
    std::vector<int32_t> d32;
    std::vector<int16_t> d16;
    explicit Data(int len)
        : s1(speechlike(static_cast<std::size_t>(len) + 512, 1)),
          s2(speechlike(static_cast<std::size_t>(len) + 512, 2)),
          mid(speechlike(static_cast<std::size_t>(len) + 512, 3)),
          f(to_float(s1)),
          d32(static_cast<std::size_t>(len) + 512),
          d16(static_cast<std::size_t>(len) + 512) {}
};

#define SIZES ->Arg(40)->Arg(64)->Arg(80)->Arg(160)->Arg(240)

void AutoCorr_Lib(benchmark::State& st) {
    const int len = static_cast<int>(st.range(0));
    Data d(len);
    for (auto _ : st) {
        zinsAutoCorr_16s32s(d.s1.data(), len, d.d32.data(), kLags);
        benchmark::DoNotOptimize(d.d32.data());
    }
}
void AutoCorr_Plain(benchmark::State& st) {
    const int len = static_cast<int>(st.range(0));
    Data d(len);
    for (auto _ : st) {
        plain_autocorr(d.s1.data(), len, d.d32.data(), kLags);
        benchmark::DoNotOptimize(d.d32.data());
    }
}
BENCHMARK(AutoCorr_Lib) SIZES;
BENCHMARK(AutoCorr_Plain) SIZES;

void AutoCorrNormE_Lib(benchmark::State& st) {
    const int len = static_cast<int>(st.range(0));
    Data d(len);
    std::vector<int16_t> s(d.s1.begin(), d.s1.begin() + len);
    for (auto& x : s) x = static_cast<int16_t>(x / 16);
    int n = 0;
    for (auto _ : st) {
        zinsAutoCorr_NormE_16s32s(s.data(), len, d.d32.data(), kLags, &n);
        benchmark::DoNotOptimize(d.d32.data());
    }
}
BENCHMARK(AutoCorrNormE_Lib) SIZES;

void CrossCorrNR_Lib(benchmark::State& st) {
    const int len = static_cast<int>(st.range(0));
    Data d(len);
    for (auto _ : st) {
        zinsCrossCorr_NR_16s32s(d.s1.data(), d.s2.data(), len, d.d32.data(), 40);
        benchmark::DoNotOptimize(d.d32.data());
    }
}
void CrossCorrNR_Plain(benchmark::State& st) {
    const int len = static_cast<int>(st.range(0));
    Data d(len);
    for (auto _ : st) {
        plain_crosscorr_nr(d.s1.data(), d.s2.data(), len, d.d32.data(), 40);
        benchmark::DoNotOptimize(d.d32.data());
    }
}
BENCHMARK(CrossCorrNR_Lib) SIZES;
BENCHMARK(CrossCorrNR_Plain) SIZES;

void CrossCorrLagMax_Lib(benchmark::State& st) {
    const int len = static_cast<int>(st.range(0));
    Data d(len);
    int32_t mx;
    int lag;
    for (auto _ : st) {
        zinsCrossCorrLagMax_16s(d.s1.data(), d.s2.data(), len, kLagMax, &mx, &lag);
        benchmark::DoNotOptimize(mx);
    }
}
void CrossCorrLagMax_Plain(benchmark::State& st) {
    const int len = static_cast<int>(st.range(0));
    Data d(len);
    int32_t mx;
    int lag;
    for (auto _ : st) {
        plain_crosscorr_lagmax(d.s1.data(), d.s2.data(), len, kLagMax, &mx, &lag);
        benchmark::DoNotOptimize(mx);
    }
}
BENCHMARK(CrossCorrLagMax_Lib) SIZES;
BENCHMARK(CrossCorrLagMax_Plain) SIZES;

void AutoCorrLagMaxFwd_Lib(benchmark::State& st) {
    const int len = static_cast<int>(st.range(0));
    Data d(len);
    int32_t mx;
    int lag;
    for (auto _ : st) {
        zinsAutoCorrLagMax_Fwd_16s(d.s1.data(), len, kLowLag, kLagMax, &mx, &lag);
        benchmark::DoNotOptimize(mx);
    }
}
void AutoCorrLagMaxFwd_Plain(benchmark::State& st) {
    const int len = static_cast<int>(st.range(0));
    Data d(len);
    int32_t mx;
    int lag;
    for (auto _ : st) {
        plain_fwd(d.s1.data(), len, kLowLag, kLagMax, &mx, &lag);
        benchmark::DoNotOptimize(mx);
    }
}
BENCHMARK(AutoCorrLagMaxFwd_Lib) SIZES;
BENCHMARK(AutoCorrLagMaxFwd_Plain) SIZES;

void AutoCorrLagMaxInv_Lib(benchmark::State& st) {
    const int len = static_cast<int>(st.range(0));
    Data d(len);
    int32_t mx;
    int lag;
    for (auto _ : st) {
        zinsAutoCorrLagMax_Inv_16s(d.s1.data() + 200, len, kLowLag, kLagMax, &mx, &lag);
        benchmark::DoNotOptimize(mx);
    }
}
void AutoCorrLagMaxInv_Plain(benchmark::State& st) {
    const int len = static_cast<int>(st.range(0));
    Data d(len);
    int32_t mx;
    int lag;
    for (auto _ : st) {
        plain_inv(d.s1.data() + 200, len, kLowLag, kLagMax, &mx, &lag);
        benchmark::DoNotOptimize(mx);
    }
}
BENCHMARK(AutoCorrLagMaxInv_Lib) SIZES;
BENCHMARK(AutoCorrLagMaxInv_Plain) SIZES;

void AutoCorrLagMax32f_Lib(benchmark::State& st) {
    const int len = static_cast<int>(st.range(0));
    Data d(len);
    float mx;
    int lag;
    for (auto _ : st) {
        zinsAutoCorrLagMax_32f(d.f.data(), len, kLowLag, kLagMax, &mx, &lag);
        benchmark::DoNotOptimize(mx);
    }
}
void AutoCorrLagMax32f_Plain(benchmark::State& st) {
    const int len = static_cast<int>(st.range(0));
    Data d(len);
    float mx;
    int lag;
    for (auto _ : st) {
        plain_fwd_32f(d.f.data(), len, kLowLag, kLagMax, &mx, &lag);
        benchmark::DoNotOptimize(mx);
    }
}
BENCHMARK(AutoCorrLagMax32f_Lib) SIZES;
BENCHMARK(AutoCorrLagMax32f_Plain) SIZES;

void ConvPartial_Lib(benchmark::State& st) {
    const int len = static_cast<int>(st.range(0));
    Data d(len);
    for (auto _ : st) {
        zinsConvPartial_16s32s(d.s1.data(), d.s2.data(), d.d32.data(), len);
        benchmark::DoNotOptimize(d.d32.data());
    }
}
void ConvPartial_Plain(benchmark::State& st) {
    const int len = static_cast<int>(st.range(0));
    Data d(len);
    for (auto _ : st) {
        plain_conv(d.s1.data(), d.s2.data(), d.d32.data(), len);
        benchmark::DoNotOptimize(d.d32.data());
    }
}
BENCHMARK(ConvPartial_Lib) SIZES;
BENCHMARK(ConvPartial_Plain) SIZES;

void ConvPartialNR_Lib(benchmark::State& st) {
    const int len = static_cast<int>(st.range(0));
    Data d(len);
    std::vector<int16_t> a(d.s1.begin(), d.s1.begin() + len), b(d.s2.begin(), d.s2.begin() + len);
    for (auto& x : a) x = static_cast<int16_t>(x / 64);
    for (auto& x : b) x = static_cast<int16_t>(x / 64);
    for (auto _ : st) {
        zinsConvPartial_NR_16s(a.data(), b.data(), d.d16.data(), len);
        benchmark::DoNotOptimize(d.d16.data());
    }
}
void ConvPartialNR_Plain(benchmark::State& st) {
    const int len = static_cast<int>(st.range(0));
    Data d(len);
    std::vector<int16_t> a(d.s1.begin(), d.s1.begin() + len), b(d.s2.begin(), d.s2.begin() + len);
    for (auto& x : a) x = static_cast<int16_t>(x / 64);
    for (auto& x : b) x = static_cast<int16_t>(x / 64);
    for (auto _ : st) {
        plain_conv_nr(a.data(), b.data(), d.d16.data(), len);
        benchmark::DoNotOptimize(d.d16.data());
    }
}
BENCHMARK(ConvPartialNR_Lib) SIZES;
BENCHMARK(ConvPartialNR_Plain) SIZES;

}  // namespace
