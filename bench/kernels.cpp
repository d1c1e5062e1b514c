// The main kernels against the same operation written as a plain loop, in
// the same run, so that each vector path shows its speed-up.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "kernels/kernels.h"
#include "zinsc.h"

namespace {

std::vector<int16_t> noise(std::size_t n, unsigned seed = 1) {
    std::mt19937 g(seed);
    std::uniform_int_distribution<int> d(-32768, 32767);
    std::vector<int16_t> v(n);
    for (auto& x : v) x = static_cast<int16_t>(d(g));
    return v;
}

// The plain statements. noinline keeps them honest loops of their own.
[[gnu::noinline]] int32_t plain_dot(const int16_t* a, const int16_t* b, int n, int sf) {
    int64_t acc = 0;
    for (int i = 0; i < n; ++i) acc += int64_t{a[i]} * b[i];
    if (sf > 0) acc = (acc + (int64_t{1} << (sf - 1)) - 1 + ((acc >> sf) & 1)) >> sf;
    return static_cast<int32_t>(std::clamp<int64_t>(acc, INT32_MIN, INT32_MAX));
}

[[gnu::noinline]] void plain_mul_nr(const int16_t* a, const int16_t* b, int16_t* d, int n, int s) {
    for (int i = 0; i < n; ++i) {
        const int64_t p = (int64_t{a[i]} * b[i] + (int64_t{1} << (s - 1))) >> s;
        d[i] = static_cast<int16_t>(std::clamp<int64_t>(p, -32768, 32767));
    }
}

[[gnu::noinline]] void plain_autoscale(const int16_t* s, int16_t* d, int n, int* scale) {
    int m = 0;
    for (int i = 0; i < n; ++i) m = std::max(m, std::min(32767, std::abs(int{s[i]})));
    int k = 16;
    if (m) for (k = 0; (m << k) < 16384; ++k) {}
    const int sh = k - *scale;
    for (int i = 0; i < n; ++i)
        d[i] = sh >= 0 ? static_cast<int16_t>(s[i] * (1 << std::min(sh, 15))) : static_cast<int16_t>(s[i] >> std::min(-sh, 15));
    *scale = sh;
}

void BM_DotProd_16s32s_Sfs(benchmark::State& st) {
    const int n = static_cast<int>(st.range(0));
    auto a = noise(n, 1), b = noise(n, 2);
    int32_t r = 0;
    for (auto _ : st) {
        zin::DotProd_16s32s_Sfs(a.data(), b.data(), n, &r, 3);
        benchmark::DoNotOptimize(r);
    }
    st.SetItemsProcessed(st.iterations() * n);
}
void BM_DotProd_PlainLoop(benchmark::State& st) {
    const int n = static_cast<int>(st.range(0));
    auto a = noise(n, 1), b = noise(n, 2);
    for (auto _ : st) benchmark::DoNotOptimize(plain_dot(a.data(), b.data(), n, 3));
    st.SetItemsProcessed(st.iterations() * n);
}

void BM_AutoScale_16s(benchmark::State& st) {
    const int n = static_cast<int>(st.range(0));
    auto a = noise(n);
    std::vector<int16_t> d(n);
    for (auto& x : a) x = static_cast<int16_t>(x >> 5);
    for (auto _ : st) {
        int scale = 1;
        zinsAutoScale_16s(a.data(), d.data(), n, &scale);
        benchmark::DoNotOptimize(d.data());
    }
    st.SetItemsProcessed(st.iterations() * n);
}
void BM_AutoScale_PlainLoop(benchmark::State& st) {
    const int n = static_cast<int>(st.range(0));
    auto a = noise(n);
    std::vector<int16_t> d(n);
    for (auto& x : a) x = static_cast<int16_t>(x >> 5);
    for (auto _ : st) {
        int scale = 1;
        plain_autoscale(a.data(), d.data(), n, &scale);
        benchmark::DoNotOptimize(d.data());
    }
    st.SetItemsProcessed(st.iterations() * n);
}

void BM_Mul_NR_16s_Sfs(benchmark::State& st) {
    const int n = static_cast<int>(st.range(0));
    auto a = noise(n, 1), b = noise(n, 2);
    std::vector<int16_t> d(n);
    for (auto _ : st) {
        zinsMul_NR_16s_Sfs(a.data(), b.data(), d.data(), n, 15);
        benchmark::DoNotOptimize(d.data());
    }
    st.SetItemsProcessed(st.iterations() * n);
}
void BM_MulC_NR_16s_Sfs(benchmark::State& st) {
    const int n = static_cast<int>(st.range(0));
    auto a = noise(n, 1);
    std::vector<int16_t> d(n);
    for (auto _ : st) {
        zinsMulC_NR_16s_Sfs(a.data(), 23456, d.data(), n, 15);
        benchmark::DoNotOptimize(d.data());
    }
    st.SetItemsProcessed(st.iterations() * n);
}
void BM_Mul_NR_PlainLoop(benchmark::State& st) {
    const int n = static_cast<int>(st.range(0));
    auto a = noise(n, 1), b = noise(n, 2);
    std::vector<int16_t> d(n);
    for (auto _ : st) {
        plain_mul_nr(a.data(), b.data(), d.data(), n, 15);
        benchmark::DoNotOptimize(d.data());
    }
    st.SetItemsProcessed(st.iterations() * n);
}

// Fills and copies on both sides of their thresholds (2 MiB for fills,
// 32 KiB for copies), in bytes per second.
void BM_Zero_8u(benchmark::State& st) {
    const int n = static_cast<int>(st.range(0));
    std::vector<uint8_t> d(n + 64);
    for (auto _ : st) {
        zin::Zero_8u(d.data() + 1, n);
        benchmark::ClobberMemory();
    }
    st.SetBytesProcessed(st.iterations() * n);
}
void BM_Zero_PlainLoop(benchmark::State& st) {
    const int n = static_cast<int>(st.range(0));
    std::vector<uint8_t> d(n + 64);
    for (auto _ : st) {
        uint8_t* p = d.data() + 1;
        for (int i = 0; i < n; ++i) p[i] = 0;
        benchmark::ClobberMemory();
    }
    st.SetBytesProcessed(st.iterations() * n);
}
void BM_Copy_8u(benchmark::State& st) {
    const int n = static_cast<int>(st.range(0));
    std::vector<uint8_t> s(n + 64, 7), d(n + 64);
    for (auto _ : st) {
        zin::Copy_8u(s.data() + 3, d.data() + 1, n);
        benchmark::ClobberMemory();
    }
    st.SetBytesProcessed(st.iterations() * n);
}
void BM_Copy_PlainLoop(benchmark::State& st) {
    const int n = static_cast<int>(st.range(0));
    std::vector<uint8_t> s(n + 64, 7), d(n + 64);
    for (auto _ : st) {
        const uint8_t* a = s.data() + 3;
        uint8_t* b = d.data() + 1;
        for (int i = 0; i < n; ++i) b[i] = a[i];
        benchmark::ClobberMemory();
    }
    st.SetBytesProcessed(st.iterations() * n);
}

#define SIZES ->Arg(40)->Arg(80)->Arg(160)->Arg(240)->Arg(1024)
BENCHMARK(BM_DotProd_16s32s_Sfs) SIZES;
BENCHMARK(BM_DotProd_PlainLoop) SIZES;
BENCHMARK(BM_AutoScale_16s) SIZES;
BENCHMARK(BM_AutoScale_PlainLoop) SIZES;
BENCHMARK(BM_Mul_NR_16s_Sfs) SIZES;
BENCHMARK(BM_MulC_NR_16s_Sfs) SIZES;
BENCHMARK(BM_Mul_NR_PlainLoop) SIZES;
#define BYTES ->Arg(4096)->Arg(32767)->Arg(32768)->Arg(1 << 20)->Arg(2097152)->Arg(2097153)->Arg(64 << 20)
BENCHMARK(BM_Zero_8u) BYTES;
BENCHMARK(BM_Zero_PlainLoop) BYTES;
BENCHMARK(BM_Copy_8u) BYTES;
BENCHMARK(BM_Copy_PlainLoop) BYTES;

}  // namespace
