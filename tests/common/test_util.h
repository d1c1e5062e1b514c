// Shared helpers of the test suites: deterministic random input, extreme
// patterns, the sweep lengths, and reading the conformance sequences.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

namespace zt {

// Deterministic generator for every suite.
inline std::mt19937& rng() {
    static thread_local std::mt19937 g(20261122u);
    return g;
}

inline std::vector<int16_t> random16(std::size_t n, int lo = -32768, int hi = 32767) {
    std::uniform_int_distribution<int> d(lo, hi);
    std::vector<int16_t> v(n);
    for (auto& x : v) x = static_cast<int16_t>(d(rng()));
    return v;
}

inline std::vector<int32_t> random32(std::size_t n, int64_t lo = INT32_MIN, int64_t hi = INT32_MAX) {
    std::uniform_int_distribution<int64_t> d(lo, hi);
    std::vector<int32_t> v(n);
    for (auto& x : v) x = static_cast<int32_t>(d(rng()));
    return v;
}

// The extreme patterns every vector path must survive.
enum class Pattern { Random, FullScalePositive, FullScaleNegative, Alternating, Silence, Small };
inline constexpr Pattern kPatterns[] = {Pattern::Random, Pattern::FullScalePositive, Pattern::FullScaleNegative,
                                        Pattern::Alternating, Pattern::Silence, Pattern::Small};

inline std::vector<int16_t> pattern16(Pattern p, std::size_t n) {
    switch (p) {
        case Pattern::FullScalePositive: return std::vector<int16_t>(n, 32767);
        case Pattern::FullScaleNegative: return std::vector<int16_t>(n, -32768);
        case Pattern::Alternating: {
            std::vector<int16_t> v(n);
            for (std::size_t i = 0; i < n; ++i) v[i] = (i & 1) ? 32767 : -32768;
            return v;
        }
        case Pattern::Silence: return std::vector<int16_t>(n, 0);
        case Pattern::Small: return random16(n, -64, 64);
        case Pattern::Random: break;
    }
    return random16(n);
}

// The lengths a vector path is checked over: 1 to 64 every one, then a
// spread up to about 1000, with the standards' frame sizes.
inline std::vector<int> test_lengths() {
    std::vector<int> v;
    for (int i = 1; i <= 64; ++i) v.push_back(i);
    for (int i : {80, 95, 127, 128, 129, 160, 200, 240, 255, 256, 257, 320, 511, 512, 640, 999, 1000, 1024})
        v.push_back(i);
    return v;
}

// Shorter set for the O(n^2) paths (correlations, filters): 1 to 48 every
// one, the sub-frame sizes and a few odd and long ones.
inline std::vector<int> short_lengths() {
    std::vector<int> v;
    for (int i = 1; i <= 48; ++i) v.push_back(i);
    for (int i : {63, 64, 65, 79, 80, 81, 127, 160, 161, 240, 241, 257, 400}) v.push_back(i);
    return v;
}

// Plain saturations and the 32-bit wrap, for writing reference statements.
inline int16_t sat16(int64_t v) { return static_cast<int16_t>(v < -32768 ? -32768 : (v > 32767 ? 32767 : v)); }
inline int32_t sat32(int64_t v) { return static_cast<int32_t>(v < INT32_MIN ? INT32_MIN : (v > INT32_MAX ? INT32_MAX : v)); }
inline int32_t wrap32(int64_t v) { return static_cast<int32_t>(static_cast<uint32_t>(v)); }

// Path of a conformance sequence, and whether its folder is there.
inline std::string vector_path(const std::string& rel) { return std::string(ZINSC_VECTORS) + "/" + rel; }

// Reads a file of 16-bit little-endian words; empty if it cannot be read.
inline std::vector<int16_t> read_words(const std::string& path) {
    std::vector<int16_t> out;
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return out;
    unsigned char b[2];
    while (std::fread(b, 1, 2, f) == 2) out.push_back(static_cast<int16_t>(b[0] | (b[1] << 8)));
    std::fclose(f);
    return out;
}

}  // namespace zt

// Skips the current test with a clear message when a conformance folder is absent.
#define ZT_REQUIRE_VECTORS(dir)                                                        \
    do {                                                                               \
        if (!std::filesystem::is_directory(zt::vector_path(dir)))                      \
            GTEST_SKIP() << "conformance sequences not found at " << zt::vector_path(dir); \
    } while (0)
