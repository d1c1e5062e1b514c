// The G.169 level control as a plain scalar statement: the fourteen steps of
// one block of 8 samples, one float operation at a time in the stated order,
// the record's first 124 bytes laid out as the state object; and the suite's
// signals.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "alc.h"
#include "wav.h"

namespace zt {

struct AlcModel {
    float targetLevel = 1623.4912f, maxLevel = 32767.0f, noiseFloorMin = 4.125246f, noiseFloorMax = 65.38f,
          maxGain = 3.80189f, minRateSilence = 0.02f, minRate = 0.0033333f, hangover = 200.0f, gainRate = 0.01f;
    int16_t silenceCount = 200, spurtCount = 0, activeCount = 0, inSpurt = 0;
    float blockLevel = 0, smoothLevel = 0, peakLevel = 0, spurtPeak = 0, noiseLevel = 65.38f, threshold = 65.38f,
          lowTracker = 32767.0f, blockPower = 0, speechPower = 0, levelRate = 0.1f, speechLevel = 0,
          levelFactor = 0.7f, desiredGain = 0.03125f, blockGainRate = 0, gain = 0, gainSlew = 1.0f, blockPeak = 0,
          savedSpeechPower = 0, savedDesiredGain = 0.03125f, savedLevelRate = 0.1f;
    long saturatedBlocks = 0;  // blocks in which step 14 may saturate

    static float mean8(const float* v) {  // 0.125*v[i] + 0.125*v[i+4], then (p0 + p1) + (p2 + p3)
        float p[4];
        for (int i = 0; i < 4; ++i) p[i] = 0.125f * v[i] + 0.125f * v[i + 4];
        return (p[0] + p[1]) + (p[2] + p[3]);
    }

    void block(const int16_t* x, int16_t* y) {
        float a[8], sq[8];
        for (int i = 0; i < 8; ++i) a[i] = std::fabs(float(x[i])), sq[i] = float(x[i]) * float(x[i]);
        blockLevel = mean8(a);  // 1
        const float L = smoothLevel = 0.8f * blockLevel + 0.2f * smoothLevel;
        peakLevel = std::max(L, 0.99f * peakLevel);
        float f1 = noiseLevel > L ? 0.9f : 2.0f * noiseLevel > L ? 0.99f : 1.0f;  // 2
        float f2 = noiseLevel > L ? 0.1f : 2.0f * noiseLevel > L ? 0.01f : 0.0f;
        const float n = std::max(noiseFloorMin, f1 * noiseLevel + L * f2);
        float m = spurtCount < 1 ? 0.0f : 1456.7665f * speechLevel;
        if (spurtCount == 1 && (activeCount < 501 || levelRate >= 0.0025f)) m = 0.0f;
        noiseLevel = std::min(noiseFloorMax, std::max(m, n));
        threshold = 4.0f * noiseLevel;
        f1 = lowTracker > L ? 0.7f : 0.99f, f2 = lowTracker > L ? 0.3f : 0.01f;  // 3
        lowTracker = std::max(noiseLevel, f1 * lowTracker + L * f2);
        if (blockLevel > threshold && activeCount < 16383) ++activeCount;  // 4
        if (peakLevel > threshold) {  // 5
            silenceCount = 0;
            if (!inSpurt) {
                inSpurt = 1, savedSpeechPower = speechPower, savedDesiredGain = desiredGain, savedLevelRate = levelRate;
                if (spurtCount < 16383) ++spurtCount;
                levelFactor = 0.7f;
            }
        } else if (inSpurt) {
            if (silenceCount < 16383) ++silenceCount;
            if (static_cast<float>(silenceCount) == hangover) {
                inSpurt = 0;
                if (activeCount < 50)  // too short: undone
                    --spurtCount, speechPower = savedSpeechPower, desiredGain = savedDesiredGain, levelRate = savedLevelRate;
                activeCount = 0;
            }
        } else activeCount = 0;
        blockGainRate = gainRate;  // 6
        if (spurtCount == 1 && (activeCount < 10 || (activeCount < 500 && 3.0f * lowTracker > L))) blockGainRate = 0;
        if (!inSpurt) spurtPeak = spurtCount == 0 ? peakLevel : speechLevel;  // 7
        else if (peakLevel > spurtPeak) spurtPeak = peakLevel;
        else if (peakLevel > threshold) spurtPeak = 0.001f * peakLevel + 0.999f * spurtPeak;
        blockPower = mean8(sq);  // 8
        float rate = levelRate;  // 9
        if (inSpurt) {
            if (spurtCount == 1 && activeCount < 500 && 0.1f * blockPower > speechPower) rate = std::max(0.05f, rate);
            if (threshold > L) {
                if (activeCount < 500) levelFactor = 0.7f;
            } else if (blockLevel >= threshold || activeCount >= 20) rate = rate - rate * rate, speechPower += (blockPower - speechPower) * rate;
        } else rate = spurtCount > 0 ? std::max(minRateSilence, levelRate) : 0.1f;
        levelRate = std::max(minRate, rate);  // 10
        speechLevel = std::sqrt(speechPower) * levelFactor;
        if (activeCount < 500) levelFactor = std::min(0.89f, levelFactor + levelFactor * 0.000461f);
        if (inSpurt) {  // 11
            const bool capped = targetLevel > speechLevel * maxGain;
            const float cap = capped ? maxGain : targetLevel / speechLevel;
            const float g = !capped ? cap : targetLevel > maxGain * spurtPeak ? maxGain : targetLevel / spurtPeak;
            desiredGain = std::min(cap, desiredGain + blockGainRate * g);
        }
        gain = std::min(desiredGain, gain + (desiredGain - gain) * gainSlew);  // 12
        blockPeak = *std::max_element(a, a + 8);  // 13
        if (gain * blockPeak > maxLevel) gain = maxLevel / blockPeak, gainSlew = 0.001f;
        else gainSlew = std::min(1.0f, gainSlew + 0.1f * gainSlew);
        for (int i = 0; i < 8; ++i) {  // 14
            const float v = static_cast<float>(x[i]) * gain;
            y[i] = v > 32767.0f ? int16_t{32767} : v < -32768.0f ? int16_t{-32768} : static_cast<int16_t>(v);
        }
        saturatedBlocks += gain * blockPeak > 32767.0f;
    }
    void run(const int16_t* x, int16_t* y, std::size_t n) { for (std::size_t i = 0; i + 8 <= n; i += 8) block(x + i, y + i); }

    void store(void* p) const { std::memcpy(p, this, 124); }
    static AlcModel load(const void* p) { AlcModel m; std::memcpy(static_cast<void*>(&m), p, 124); return m; }
};
static_assert(offsetof(AlcModel, blockLevel) == 44 && offsetof(AlcModel, saturatedBlocks) == 128);

inline int16_t clamp16(double v) { return static_cast<int16_t>(v > 32767 ? 32767 : v < -32768 ? -32768 : std::lround(v)); }
inline const std::vector<int16_t> speech8k = zc::read_speech(ZINSC_SOURCE_DIR "/data/speech-8k.wav");
// The bundled speech at an active level (ITU-T P.56) of `dbov`, whole blocks.
inline std::vector<int16_t> speech_at(double dbov) {
    const double k = std::pow(10.0, (dbov - zc::active_level_dbov(speech8k.data(), speech8k.size(), 8000)) / 20.0);
    std::vector<int16_t> y(speech8k.size() / 8 * 8);
    for (std::size_t i = 0; i < y.size(); ++i) y[i] = clamp16(speech8k[i] * k);
    return y;
}
// Gaussian white noise at an RMS level of `dbov`, whole blocks.
inline std::vector<int16_t> white_noise(std::size_t n, double dbov, unsigned seed) {
    std::mt19937 g(seed);
    std::normal_distribution<double> d(0.0, 32768.0 * std::pow(10.0, dbov / 20.0));
    std::vector<int16_t> v(n / 8 * 8);
    for (auto& s : v) s = clamp16(d(g));
    return v;
}
inline std::vector<int16_t> cat(std::initializer_list<std::vector<int16_t>> parts) {
    std::vector<int16_t> v;
    for (const auto& p : parts) v.insert(v.end(), p.begin(), p.end());
    return v;
}

}  // namespace zt
