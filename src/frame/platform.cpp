#include "platform.h"

#include <cpuid.h>
#include <cstdlib>

namespace zin::platform {

std::uint64_t enabled_cpu_features() {
    unsigned a = 0, b = 0, c = 0, d = 0;
    std::uint64_t mask = 0;
    if (!__get_cpuid(1, &a, &b, &c, &d)) return 0;
    if (d & bit_SSE2) mask |= kCpuSse2;
    if (c & bit_SSE3) mask |= kCpuSse3;
    if (c & bit_SSSE3) mask |= kCpuSsse3;
    if (c & bit_SSE4_1) mask |= kCpuSse41;
    if (c & bit_SSE4_2) mask |= kCpuSse42;
    bool os_ymm = false;
    if (c & bit_OSXSAVE) {
        unsigned lo = 0, hi = 0;
        __asm__ volatile("xgetbv" : "=a"(lo), "=d"(hi) : "c"(0));
        os_ymm = (lo & 6u) == 6u;
    }
    if (os_ymm) mask |= kCpuOsYmm;
    if (os_ymm && (c & bit_AVX)) {
        mask |= kCpuAvx;
        if (c & bit_FMA) mask |= kCpuFma;
        if (__get_cpuid_count(7, 0, &a, &b, &c, &d) && (b & bit_AVX2)) mask |= kCpuAvx2;
    }
    return mask;
}

namespace {

// The largest data cache, read once at load (0: not known yet).
std::int32_t g_cache_bytes = 0;

// Largest data or unified cache from the deterministic cache parameters:
// leaf 4 on Intel, leaf 0x8000001D on AMD; both have the same layout.
std::int64_t largest_from_cache_leaves(unsigned leaf) {
    unsigned a = 0, b = 0, c = 0, d = 0;
    std::int64_t largest = 0;
    for (unsigned i = 0; i < 16; ++i) {
        if (!__get_cpuid_count(leaf, i, &a, &b, &c, &d)) break;
        const unsigned type = a & 31u;
        if (type == 0) break;
        if (type == 2) continue;  // instruction cache
        const std::int64_t ways = ((b >> 22) & 1023u) + 1;
        const std::int64_t parts = ((b >> 12) & 1023u) + 1;
        const std::int64_t line = (b & 4095u) + 1;
        const std::int64_t sets = static_cast<std::int64_t>(c) + 1;
        const std::int64_t bytes = ways * parts * line * sets;
        if (bytes > largest) largest = bytes;
    }
    return largest;
}

int query_cache_size(std::int32_t* size) {
    std::int64_t largest = largest_from_cache_leaves(4);
    if (largest <= 0) largest = largest_from_cache_leaves(0x8000001Du);
    if (largest <= 0) {
        // AMD's older summary: L2 in KiB in ECX[31:16], L3 in 512 KiB units in EDX[31:18].
        unsigned a = 0, b = 0, c = 0, d = 0;
        if (__get_cpuid(0x80000006u, &a, &b, &c, &d)) {
            const std::int64_t l2 = std::int64_t{c >> 16} * 1024;
            const std::int64_t l3 = std::int64_t{d >> 18} * 512 * 1024;
            largest = l3 > l2 ? l3 : l2;
        }
    }
    if (largest <= 0) return -1;
    *size = largest > INT32_MAX ? INT32_MAX : static_cast<std::int32_t>(largest);
    return 0;
}

}  // namespace

void read_at_load() {
    std::int32_t bytes = 0;
    if (query_cache_size(&bytes) == 0) g_cache_bytes = bytes;
}

int max_cache_size(std::int32_t* size) {
    if (!size) return -1;
    if (g_cache_bytes > 0) {
        *size = g_cache_bytes;
        return 0;
    }
    return query_cache_size(size);
}

void* allocate(std::int32_t bytes) {
    if (bytes < 1) return nullptr;
    void* p = nullptr;
    if (posix_memalign(&p, 64, static_cast<std::size_t>(bytes)) != 0) return nullptr;
    return p;
}

void release(void* p) { std::free(p); }

}  // namespace zin::platform
