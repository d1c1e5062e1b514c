// The G.169 level control as a plain scalar statement: the fourteen steps
// of one block of 8 samples, one float operation at a time in the stated
// order. The record's first 124 bytes are laid out as the state object, so
// that a state is copied in and out as it stands; the export must equal the
// statement bit for bit.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace zt {

struct AlcModel {
    float targetLevel = 1623.4912f, maxLevel = 32767.0f, noiseFloorMin = 4.125246f, noiseFloorMax = 65.38f,
          maxGain = 3.80189f, minRateSilence = 0.02f, minRate = 0.0033333f, hangover = 200.0f, gainRate = 0.01f;
    int16_t silenceCount = 200, spurtCount = 0, activeCount = 0, inSpurt = 0;
    float blockLevel = 0, smoothLevel = 0, peakLevel = 0, spurtPeak = 0, noiseLevel = 65.38f, threshold = 65.38f,
          lowTracker = 32767.0f, blockPower = 0, speechPower = 0, levelRate = 0.1f, speechLevel = 0,
          levelFactor = 0.7f, desiredGain = 0.03125f, blockGainRate = 0, gain = 0, gainSlew = 1.0f, blockPeak = 0,
          savedSpeechPower = 0, savedDesiredGain = 0.03125f, savedLevelRate = 0.1f;
    long saturatedBlocks = 0;  // blocks in which step 14 had to saturate

    static float fmax(float a, float b) { return a < b ? b : a; }
    static float fmin(float a, float b) { return b < a ? b : a; }
    // p[i] = 0.125*v[i] + 0.125*v[i+4], then (p0 + p1) + (p2 + p3).
    static float mean8(const float* v) {
        float p[4];
        for (int i = 0; i < 4; ++i) p[i] = 0.125f * v[i] + 0.125f * v[i + 4];
        return (p[0] + p[1]) + (p[2] + p[3]);
    }

    void block(const int16_t* x, int16_t* y) {
        float a[8], sq[8], peak = 0;
        for (int i = 0; i < 8; ++i) {
            a[i] = std::fabs(static_cast<float>(x[i]));
            sq[i] = static_cast<float>(x[i]) * static_cast<float>(x[i]);
            peak = fmax(peak, a[i]);
        }
        blockLevel = mean8(a);  // 1
        smoothLevel = 0.8f * blockLevel + 0.2f * smoothLevel;
        peakLevel = fmax(smoothLevel, 0.99f * peakLevel);
        const float L = smoothLevel;
        float f1 = 1.0f, f2 = 0.0f;  // 2
        if (noiseLevel > L) f1 = 0.9f, f2 = 0.1f;
        else if (2.0f * noiseLevel > L) f1 = 0.99f, f2 = 0.01f;
        const float n = fmax(noiseFloorMin, f1 * noiseLevel + L * f2);
        float m = spurtCount < 1 ? 0.0f : 1456.7665f * speechLevel;
        if (spurtCount == 1 && (activeCount < 501 || levelRate >= 0.0025f)) m = 0.0f;
        noiseLevel = fmin(noiseFloorMax, fmax(m, n));
        threshold = 4.0f * noiseLevel;
        if (lowTracker > L) f1 = 0.7f, f2 = 0.3f;  // 3
        else f1 = 0.99f, f2 = 0.01f;
        lowTracker = fmax(noiseLevel, f1 * lowTracker + L * f2);
        if (blockLevel > threshold && activeCount < 16383) ++activeCount;  // 4
        if (peakLevel > threshold) {  // 5
            silenceCount = 0;
            if (!inSpurt) {
                inSpurt = 1;
                savedSpeechPower = speechPower;
                if (spurtCount < 16383) ++spurtCount;
                levelFactor = 0.7f;
                savedDesiredGain = desiredGain;
                savedLevelRate = levelRate;
            }
        } else if (inSpurt) {
            if (silenceCount < 16383) ++silenceCount;
            if (static_cast<float>(silenceCount) == hangover) {
                inSpurt = 0;
                if (activeCount < 50) {
                    --spurtCount;
                    speechPower = savedSpeechPower;
                    desiredGain = savedDesiredGain;
                    levelRate = savedLevelRate;
                }
                activeCount = 0;
            }
        } else {
            activeCount = 0;
        }
        blockGainRate = gainRate;  // 6
        if (spurtCount == 1 && (activeCount < 10 || (activeCount < 500 && 3.0f * lowTracker > L))) blockGainRate = 0;
        if (inSpurt) {  // 7
            if (peakLevel > spurtPeak) spurtPeak = peakLevel;
            else if (peakLevel > threshold) spurtPeak = 0.001f * peakLevel + 0.999f * spurtPeak;
        } else {
            spurtPeak = spurtCount == 0 ? peakLevel : speechLevel;
        }
        blockPower = mean8(sq);  // 8
        float rate = levelRate;  // 9
        if (inSpurt) {
            if (spurtCount == 1 && activeCount < 500 && 0.1f * blockPower > speechPower) rate = fmax(0.05f, rate);
            if (threshold > L) {
                if (activeCount < 500) levelFactor = 0.7f;
            } else if (blockLevel >= threshold || activeCount >= 20) {
                rate = rate - rate * rate;
                speechPower += (blockPower - speechPower) * rate;
            }
        } else {
            rate = spurtCount > 0 ? fmax(minRateSilence, levelRate) : 0.1f;
        }
        levelRate = fmax(minRate, rate);  // 10
        speechLevel = std::sqrt(speechPower) * levelFactor;
        if (activeCount < 500) levelFactor = fmin(0.89f, levelFactor + levelFactor * 0.000461f);
        if (inSpurt) {  // 11
            float g, cap;
            if (targetLevel > speechLevel * maxGain) {
                cap = maxGain;
                g = targetLevel > maxGain * spurtPeak ? maxGain : targetLevel / spurtPeak;
            } else {
                g = cap = targetLevel / speechLevel;
            }
            desiredGain = fmin(cap, desiredGain + blockGainRate * g);
        }
        gain = fmin(desiredGain, gain + (desiredGain - gain) * gainSlew);  // 12
        blockPeak = peak;  // 13
        if (gain * blockPeak > maxLevel) {
            gain = maxLevel / blockPeak;
            gainSlew = 0.001f;
        } else {
            gainSlew = fmin(1.0f, gainSlew + 0.1f * gainSlew);
        }
        bool saturated = false;  // 14
        for (int i = 0; i < 8; ++i) {
            const float v = static_cast<float>(x[i]) * gain;
            saturated |= v > 32767.0f || v < -32768.0f;
            y[i] = v > 32767.0f ? int16_t{32767} : v < -32768.0f ? int16_t{-32768} : static_cast<int16_t>(v);
        }
        saturatedBlocks += saturated;
    }

    void store(void* p) const { std::memcpy(p, this, 124); }
    static AlcModel load(const void* p) {
        AlcModel m;
        std::memcpy(static_cast<void*>(&m), p, 124);
        return m;
    }

    // A whole signal, the last partial block padded with zeros.
    std::vector<int16_t> run(std::vector<int16_t> x) {
        const std::size_t n = x.size();
        x.resize((n + 7) / 8 * 8);
        std::vector<int16_t> y(x.size());
        for (std::size_t i = 0; i < x.size(); i += 8) block(&x[i], &y[i]);
        y.resize(n);
        return y;
    }
};

static_assert(offsetof(AlcModel, blockLevel) == 44 && offsetof(AlcModel, saturatedBlocks) == 128,
              "the state object's layout");

}  // namespace zt
