// Capture of the peer's internal calls: each wrapper counts its calls and
// the mismatches of the export run beside it, keeping the first few reports.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace amrcap {

struct Capture {
    std::map<std::string, long> calls;
    std::map<std::string, long> mismatches;
    std::vector<std::string> reports;
    bool active = false;
    int rateCode = 0;      // rate code of the frame the encoder is coding
    bool dtx = false;

    void reset() {
        calls.clear();
        mismatches.clear();
        reports.clear();
    }
    void mismatch(const std::string& fn, const std::string& what) {
        if (++mismatches[fn] <= 3 && reports.size() < 40) reports.push_back(fn + ": " + what);
    }
};

inline Capture& cap() {
    static Capture c;
    return c;
}

// Compares n words and reports the first difference under `what`.
template <typename A, typename B>
bool same(const char* fn, const char* what, const A* peer, const B* ours, int n) {
    for (int i = 0; i < n; ++i) {
        if (static_cast<long>(peer[i]) != static_cast<long>(ours[i])) {
            cap().mismatch(fn, std::string(what) + "[" + std::to_string(i) + "]: peer " +
                                   std::to_string(static_cast<long>(peer[i])) + ", ours " +
                                   std::to_string(static_cast<long>(ours[i])));
            return false;
        }
    }
    return true;
}

// Rate code of a peer mode (enum Mode of the reference).
inline int rate_code(int mode) {
    static constexpr int kCodes[] = {0, 1, 3, 6, 7, 8, 11, 12, 25};
    return mode >= 0 && mode <= 8 ? kCodes[mode] : -1;
}

// The generated speech (seg*.raw, 8 kHz), each utterance at its own level
// and followed by a pause of its own kind: digital silence, low noise, a
// steady tone, loud noise. Empty when the speech was not made.
inline std::vector<std::int16_t> speech_signal() {
    std::vector<std::int16_t> out;
    std::uint32_t lcg = 12345u;
    auto noise = [&](int amp) {
        lcg = lcg * 1664525u + 1013904223u;
        return static_cast<int>((lcg >> 16) % (2 * amp + 1)) - amp;
    };
    static constexpr double kGain[] = {1.0, 0.3, 2.0, 0.7, 3.0, 1.2, 0.5};
    for (int k = 0; k < 16; ++k) {
        const std::filesystem::path p = std::filesystem::path(ZINSC_AMR_SPEECH_DIR) / ("seg" + std::to_string(k) + ".raw");
        std::ifstream f(p, std::ios::binary);
        if (!f) break;
        std::vector<char> bytes((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
        const double g = kGain[k % 7];
        for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
            std::int16_t s;
            std::memcpy(&s, &bytes[i], 2);
            double v = s * g;
            v = v > 32767 ? 32767 : (v < -32768 ? -32768 : v);
            out.push_back(static_cast<std::int16_t>(v));
        }
        const int pause = 8000 + 2400 * (k % 3);
        for (int i = 0; i < pause; ++i) {
            int v = 0;
            switch (k % 4) {
                case 0: v = 0; break;
                case 1: v = noise(24); break;
                case 2: v = static_cast<int>(6000 * __builtin_sin(2 * 3.14159265358979 * 700 * i / 8000.0)); break;
                case 3: v = noise(3000); break;
            }
            out.push_back(static_cast<std::int16_t>(v));
        }
    }
    return out;
}

}  // namespace amrcap
