// The private platform layer: the four core services that the library needs
// from its host (processor features, cache size, aligned allocation). Not
// exported; nothing outside src/ sees it.
#pragma once

#include <cstdint>

namespace zin::platform {

// Bits of the feature mask.
enum CpuFeature : std::uint64_t {
    kCpuSse2 = 1u << 0,
    kCpuSse3 = 1u << 1,
    kCpuSsse3 = 1u << 2,
    kCpuSse41 = 1u << 3,
    kCpuAvx = 1u << 4,     // AVX instructions usable: CPUID.AVX and OS YMM state
    kCpuOsYmm = 1u << 5,   // XGETBV reports XMM and YMM state enabled
    kCpuSse42 = 1u << 6,
    kCpuAvx2 = 1u << 7,
    kCpuFma = 1u << 8,
};

// Features of this processor that are in use (CPUID and XGETBV).
std::uint64_t enabled_cpu_features();

// Reads what the services below keep from the processor; the load hook
// calls it once, and nothing writes it afterwards.
void read_at_load();

// Size in bytes of the largest data cache; returns 0 on success.
int max_cache_size(std::int32_t* size);

// Aligned allocation of at least `bytes` bytes (64-byte aligned), or null.
void* allocate(std::int32_t bytes);
// Releases memory from allocate(); `p` is never null.
void release(void* p);

// The two guards through which all allocation goes: null for a count below 1.
inline void* allocate_bytes(std::int32_t bytes) { return bytes < 1 ? nullptr : allocate(bytes); }
inline void* allocate_words(std::int32_t count) {
    if (count < 1 || count > INT32_MAX / 4) return nullptr;
    return allocate(count * 4);
}

}  // namespace zin::platform
