// Test signals of the level-control suite: the bundled speech at a chosen
// active level, white noise, concatenations.
#pragma once

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "alc.h"
#include "alc/alc.h"
#include "alc_model.h"
#include "wav.h"

namespace zt {

inline const std::vector<int16_t>& speech8k() {
    static const std::vector<int16_t> v = zc::read_speech(ZINSC_SOURCE_DIR "/data/speech-8k.wav");
    return v;
}

inline int16_t clamp16(double v) { return static_cast<int16_t>(v > 32767 ? 32767 : v < -32768 ? -32768 : std::lround(v)); }

// x scaled so that its active level is `dbov`, saturated.
inline std::vector<int16_t> at_level(const std::vector<int16_t>& x, double dbov, int rate = 8000) {
    const double k = std::pow(10.0, (dbov - zc::active_level_dbov(x.data(), x.size(), rate)) / 20.0);
    std::vector<int16_t> y(x.size());
    for (std::size_t i = 0; i < x.size(); ++i) y[i] = clamp16(x[i] * k);
    return y;
}

// Gaussian white noise at an RMS level of `dbov`.
inline std::vector<int16_t> white_noise(std::size_t n, double dbov, unsigned seed = 7) {
    std::mt19937 g(seed);
    std::normal_distribution<double> d(0.0, 32768.0 * std::pow(10.0, dbov / 20.0));
    std::vector<int16_t> v(n);
    for (auto& s : v) s = clamp16(d(g));
    return v;
}

inline std::vector<int16_t> cat(std::initializer_list<std::vector<int16_t>> parts) {
    std::vector<int16_t> v;
    for (const auto& p : parts) v.insert(v.end(), p.begin(), p.end());
    return v;
}

inline double rms_dbov(const std::vector<int16_t>& x) {
    double s = 0;
    for (int16_t v : x) s += double(v) * v;
    return 10.0 * std::log10(s / x.size() + 1e-9) - 20.0 * std::log10(32768.0);
}

}  // namespace zt
