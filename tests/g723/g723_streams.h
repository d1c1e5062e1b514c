// The G.723.1 sequences: the speech input and the packed frame streams.
#pragma once

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "test_util.h"

namespace g723t {

inline std::vector<std::uint8_t> read_bytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// The samples of the input WAV file (its "data" chunk).
inline std::vector<std::int16_t> read_input() {
    const auto b = read_bytes(zt::vector_path("g7231/g7231_in.wav"));
    std::size_t p = 12;
    while (p + 8 <= b.size()) {
        const std::uint32_t n = b[p + 4] | b[p + 5] << 8 | b[p + 6] << 16 | std::uint32_t(b[p + 7]) << 24;
        if (std::memcmp(&b[p], "data", 4) == 0) {
            std::vector<std::int16_t> s(n / 2);
            std::memcpy(s.data(), &b[p + 8], s.size() * 2);
            return s;
        }
        p += 8 + n + (n & 1);
    }
    return {};
}

// A stream split into frames by the size code in the low two bits of each
// frame's first byte: 24, 20, 4 or 1 bytes.
inline std::vector<std::vector<std::uint8_t>> read_stream(const std::string& name) {
    static constexpr int kSize[4] = {24, 20, 4, 1};
    const auto b = read_bytes(zt::vector_path("g7231/" + name));
    std::vector<std::vector<std::uint8_t>> frames;
    for (std::size_t p = 0; p < b.size();) {
        const int n = kSize[b[p] & 3];
        if (p + n > b.size()) return {};
        frames.emplace_back(b.begin() + p, b.begin() + p + n);
        p += n;
    }
    return frames;
}

}  // namespace g723t
