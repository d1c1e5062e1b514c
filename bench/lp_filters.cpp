// LP filter exports at the sub-frame sizes of the standards, each beside its
// plain scalar statement in the same run (this file is compiled without
// auto-vectorisation, see lp_filters.cmake).
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
    std::normal_distribution<double> d(0.0, 2000.0);
    std::vector<int16_t> v(n);
    double y = 0;
    for (auto& x : v) {
        y = 0.9 * y + d(g);
        x = static_cast<int16_t>(std::clamp(y, -32768.0, 32767.0));
    }
    return v;
}

// A stable order-10 predictor in Q12 (a[0] = 1.0).
const int16_t kLpc[11] = {4096, -3891, 1024, -512, 300, -200, 150, -100, 60, -30, 12};

int16_t sat16(int32_t v) { return static_cast<int16_t>(std::clamp(v, -32768, 32767)); }

// ---- plain statements ------------------------------------------------------

bool plain_synthesis(const int16_t* a, const int16_t* x, int16_t* y, int len, int s, const int16_t* mem) {
    bool ov = false;
    for (int n = 0; n < len; ++n) {
        uint32_t acc = static_cast<uint32_t>(int32_t{a[0]} * x[n]) + (1u << (s - 1));
        for (int k = 1; k <= 10; ++k) {
            const int16_t h = n - k >= 0 ? y[n - k] : mem[10 + n - k];
            acc -= static_cast<uint32_t>(int32_t{a[k]} * h);
        }
        const int32_t t = static_cast<int32_t>(acc) >> s;
        y[n] = sat16(t);
        ov |= y[n] != t;
    }
    return ov;
}
void plain_residual(const int16_t* x, int order, const int16_t* a, int16_t* d, int len, int s) {
    for (int n = 0; n < len; ++n) {
        uint32_t acc = 0;
        for (int k = 0; k <= order; ++k) acc += static_cast<uint32_t>(int32_t{a[k]} * x[n - k]);
        acc += s ? 1u << (s - 1) : 0;
        d[n] = sat16(static_cast<int32_t>(acc) >> s);
    }
}
void plain_harmonic(int16_t v, int lag, int16_t* x, int len) {
    for (int n = 0; n < len; ++n)
        x[n] = static_cast<int16_t>(x[n] + static_cast<int16_t>((int32_t{x[n - lag]} * v) >> 15));
}
void plain_harmonic_nr(int16_t v, int lag, const int16_t* s, int16_t* d, int len) {
    const int32_t g = v == -32768 ? -32767 : v;
    for (int n = 0; n < len; ++n) d[n] = sat16((int32_t{s[n]} * 32768 + s[n - lag] * g + 16384) >> 15);
}

void plain_zero_state(const int16_t* a, int16_t* d, int len, int s) {
    d[0] = a[0];
    for (int n = 1; n < len; ++n) {
        uint32_t acc = 1u << (s - 1);
        for (int k = 1; k <= 10 && k <= n; ++k) acc -= static_cast<uint32_t>(int32_t{a[k]} * d[n - k]);
        d[n] = static_cast<int16_t>(static_cast<int32_t>(acc) >> s);
    }
}
void plain_harmonic_32f(float v, int lag, float* x, int len) {
    for (int n = 0; n < len; ++n) x[n] = x[n] + x[n - lag] * v;
}
void plain_preemphasize(float v, float* x, int len, float* mem) {
    float prev = *mem;
    for (int n = 0; n < len; ++n) {
        const float cur = x[n];
        x[n] = cur - v * prev;
        prev = cur;
    }
    *mem = prev;
}

struct Data {
    std::vector<int16_t> x, y, mem;
    std::vector<float> f;
    float fmem = 0;
    explicit Data(int len)
        : x(speechlike(static_cast<std::size_t>(len) + 256, 7)), y(x.size()), mem(10, 0), f(x.begin(), x.end()) {}
};

// Each library call beside its plain statement, at the sub-frame sizes of the standards.
const bool registered = [] {
    auto pair = [](const char* name, auto lib, auto plain) { zb::pair<Data>(name, {40, 64, 80, 160, 240}, lib, plain); };
    pair("Synthesis", [](Data& d, int len) { zinsSynthesisFilter_NR_16s_Sfs(kLpc, d.x.data(), d.y.data(), len, 12, d.mem.data()); },
         [](Data& d, int len) { plain_synthesis(kLpc, d.x.data(), d.y.data(), len, 12, d.mem.data()); });
    // The in-place forms filter the output of the previous run again; with a
    // stable filter that stays in range.
    pair("SynthesisI", [](Data& d, int len) { zinsSynthesisFilter_NR_16s_ISfs(kLpc, d.y.data(), len, 13, d.mem.data()); },
         [](Data& d, int len) { plain_synthesis(kLpc, d.y.data(), d.y.data(), len, 13, d.mem.data()); });
    pair("SynthesisLowI", [](Data& d, int len) { zinsSynthesisFilterLow_NR_16s_ISfs(kLpc, d.y.data(), len, 13, d.mem.data()); },
         [](Data& d, int len) { plain_synthesis(kLpc, d.y.data(), d.y.data(), len, 13, d.mem.data()); });
    pair("ZeroStateResponse", [](Data& d, int len) { zinsSynthesisFilterZeroStateResponse_NR_16s(kLpc, d.y.data(), len, 12); },
         [](Data& d, int len) { plain_zero_state(kLpc, d.y.data(), len, 12); });
    pair("Residual", [](Data& d, int len) { zinsResidualFilter_Low_16s_Sfs(d.x.data() + 10, 10, kLpc, d.y.data(), len, 12); },
         [](Data& d, int len) { plain_residual(d.x.data() + 10, 10, kLpc, d.y.data(), len, 12); });
    pair("Harmonic", [](Data& d, int len) { zinsHarmonicFilter_16s_I(9830, 40, d.x.data() + 150, len); },
         [](Data& d, int len) { plain_harmonic(9830, 40, d.x.data() + 150, len); });
    pair("HarmonicNR", [](Data& d, int len) { zinsHarmonicFilter_NR_16s(9830, 40, d.x.data() + 150, d.y.data(), len); },
         [](Data& d, int len) { plain_harmonic_nr(9830, 40, d.x.data() + 150, d.y.data(), len); });
    pair("Harmonic32f", [](Data& d, int len) { zinsHarmonicFilter_32f_I(0.3f, 40, d.f.data() + 150, len); },
         [](Data& d, int len) { plain_harmonic_32f(0.3f, 40, d.f.data() + 150, len); });
    pair("Preemphasize", [](Data& d, int len) { zinsPreemphasize_32f_I(0.68f, d.f.data(), len, &d.fmem); },
         [](Data& d, int len) { plain_preemphasize(0.68f, d.f.data(), len, &d.fmem); });
    return true;
}();

}  // namespace
