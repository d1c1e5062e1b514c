// The real transform against FFTW's single-precision real transform, by
// order, in the same run. FFTW plans with FFTW_MEASURE outside the timed loop.
#include <benchmark/benchmark.h>
#include <fftw3.h>

#include <random>
#include <vector>

#include "compare.h"
#include "transform/fft.h"

namespace {

using namespace zin;

struct Engine {
    std::vector<Zin8u> mem, init, buf;
    FftSpec_R_32f* desc = nullptr;
    explicit Engine(int order, int flag = 8) {
        int s = 0, i = 0, b = 0;
        FftGetSize_R_32f(order, flag, 0, &s, &i, &b);
        mem.resize(s);
        init.resize(i + 1);
        buf.resize(b + 1);
        FftInit_R_32f(&desc, order, flag, 0, mem.data(), init.data());
    }
};

float* fftw_vector(std::size_t n) {
    auto* p = static_cast<float*>(fftwf_malloc(n * sizeof(float)));
    std::mt19937 g(5);
    std::uniform_real_distribution<float> d(-1.0f, 1.0f);
    for (std::size_t i = 0; i < n; ++i) p[i] = d(g);
    return p;
}

void BM_FftFwd_R_32f(benchmark::State& state) {
    const int order = static_cast<int>(state.range(0)), n = 1 << order;
    Engine e(order);
    float* x = fftw_vector(n);
    float* y = fftw_vector(n + 2);
    zb::run(state, n, [&] { FftFwd_RToCCS_32f(x, y, e.desc, e.buf.data()); });
    fftwf_free(x);
    fftwf_free(y);
}

void BM_FFTW_r2c(benchmark::State& state) {
    const int order = static_cast<int>(state.range(0)), n = 1 << order;
    float* x = fftw_vector(n);
    float* y = fftw_vector(n + 2);
    fftwf_plan p = fftwf_plan_dft_r2c_1d(n, x, reinterpret_cast<fftwf_complex*>(y), FFTW_MEASURE);
    for (int i = 0; i < n; ++i) x[i] = static_cast<float>(i % 17) - 8.0f;  // MEASURE overwrote it
    zb::run(state, n, [&] { fftwf_execute(p); });
    fftwf_destroy_plan(p);
    fftwf_free(x);
    fftwf_free(y);
}

void BM_FftInv_R_32f(benchmark::State& state) {
    const int order = static_cast<int>(state.range(0)), n = 1 << order;
    Engine e(order);
    float* x = fftw_vector(n + 2);
    float* y = fftw_vector(n);
    zb::run(state, n, [&] { FftInv_CCSToR_32f(x, y, e.desc, e.buf.data()); });
    fftwf_free(x);
    fftwf_free(y);
}

// FFTW's c2r destroys its input, as it may; the engine's inverse does not.
void BM_FFTW_c2r(benchmark::State& state) {
    const int order = static_cast<int>(state.range(0)), n = 1 << order;
    float* x = fftw_vector(n + 2);
    float* y = fftw_vector(n);
    fftwf_plan p = fftwf_plan_dft_c2r_1d(n, reinterpret_cast<fftwf_complex*>(x), y, FFTW_MEASURE);
    for (int i = 0; i < n + 2; ++i) x[i] = static_cast<float>(i % 13) - 6.0f;
    zb::run(state, n, [&] { fftwf_execute(p); });
    fftwf_destroy_plan(p);
    fftwf_free(x);
    fftwf_free(y);
}

// Registered order by order, each case next to its peer, so that a change
// of load on a shared machine hits both sides of a ratio alike.
const bool registered = [] {
    for (int order = 4; order <= 16; ++order) {
        benchmark::RegisterBenchmark("BM_FftFwd_R_32f", BM_FftFwd_R_32f)->Arg(order);
        benchmark::RegisterBenchmark("BM_FFTW_r2c", BM_FFTW_r2c)->Arg(order);
        benchmark::RegisterBenchmark("BM_FftInv_R_32f", BM_FftInv_R_32f)->Arg(order);
        benchmark::RegisterBenchmark("BM_FFTW_c2r", BM_FFTW_c2r)->Arg(order);
    }
    return true;
}();

}  // namespace
