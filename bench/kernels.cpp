// The main kernels against the same operation written as a plain loop, in
// the same run, so that each vector path shows its speed-up.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "compare.h"
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

struct Noise {
    std::vector<int16_t> a, b, d;
    int32_t r = 0;
    explicit Noise(int n, int shift = 0) : a(noise(n, 1)), b(noise(n, 2)), d(n) {
        for (auto& x : a) x = static_cast<int16_t>(x >> shift);
    }
};
struct Quiet : Noise {
    explicit Quiet(int n) : Noise(n, 5) {}
};
// Fills and copies count bytes as items, at odd offsets.
struct Bytes {
    std::vector<uint8_t> s, d;
    explicit Bytes(int n) : s(n + 64, 7), d(n + 64) {}
};

const bool registered = [] {
    const auto sizes = {40, 80, 160, 240, 1024};
    zb::pair<Noise>(
        "DotProd_16s32s_Sfs", sizes,
        [](Noise& d, int n) { zin::DotProd_16s32s_Sfs(d.a.data(), d.b.data(), n, &d.r, 3), benchmark::DoNotOptimize(d.r); },
        [](Noise& d, int n) { benchmark::DoNotOptimize(plain_dot(d.a.data(), d.b.data(), n, 3)); });
    zb::pair<Quiet>(
        "AutoScale_16s", sizes,
        [](Quiet& d, int n) { int scale = 1; zinsAutoScale_16s(d.a.data(), d.d.data(), n, &scale); },
        [](Quiet& d, int n) { int scale = 1; plain_autoscale(d.a.data(), d.d.data(), n, &scale); });
    zb::pair<Noise>(
        "Mul_NR_16s_Sfs", sizes, [](Noise& d, int n) { zinsMul_NR_16s_Sfs(d.a.data(), d.b.data(), d.d.data(), n, 15); },
        [](Noise& d, int n) { plain_mul_nr(d.a.data(), d.b.data(), d.d.data(), n, 15); });
    zb::pair<Noise>(
        "MulC_NR_16s_Sfs", sizes, [](Noise& d, int n) { zinsMulC_NR_16s_Sfs(d.a.data(), 23456, d.d.data(), n, 15); },
        [](Noise& d, int n) { plain_mul_nr(d.a.data(), d.b.data(), d.d.data(), n, 15); });
    // Both sides of the thresholds: 2 MiB for fills, 32 KiB for copies.
    const auto bytes = {4096, 32767, 32768, 1 << 20, 2097152, 2097153, 64 << 20};
    zb::pair<Bytes>(
        "Zero_8u", bytes, [](Bytes& d, int n) { zin::Zero_8u(d.d.data() + 1, n); },
        [](Bytes& d, int n) {
            uint8_t* p = d.d.data() + 1;
            for (int i = 0; i < n; ++i) p[i] = 0;
        });
    zb::pair<Bytes>(
        "Copy_8u", bytes, [](Bytes& d, int n) { zin::Copy_8u(d.s.data() + 3, d.d.data() + 1, n); },
        [](Bytes& d, int n) {
            const uint8_t* a = d.s.data() + 3;
            uint8_t* b = d.d.data() + 1;
            for (int i = 0; i < n; ++i) b[i] = a[i];
        });
    return true;
}();

}  // namespace
