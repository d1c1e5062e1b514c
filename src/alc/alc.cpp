// Automatic level control in the sense of ITU-T G.169 for a 16-bit speech
// stream at any rate. Once per block of 8 samples the control tracks the
// noise floor, detects talk spurts, estimates the speech level of the spurt,
// ramps a gain toward targetLevel / speechLevel (limited by maxGain) and
// limits peaks at maxLevel; the gain is constant within the block.
//
// All level work is in single precision, in the order written below: every
// float operation of a block is fixed, so that a plain scalar statement of the
// fourteen steps gives the same output bit for bit. The block statistics and
// the application of the gain run on SSE4.1 vectors of one block each.
#include "alc.h"

#include <immintrin.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "../frame/registry.h"

namespace zin::alc {

State initial_state() {
    State s{};
    s.targetLevel = 1623.4912f;      // 32768 / 10^(26.1/20)
    s.maxLevel = 32767.0f;
    s.noiseFloorMin = 4.125246f;     // 32768 / 10^(78/20)
    s.noiseFloorMax = 65.38f;        // 32768 / 10^(54/20)
    s.maxGain = 3.80189f;            // 10^(11.6/20)
    s.minRateSilence = 0.02f;
    s.minRate = 0.0033333f;
    s.hangover = 200.0f;
    s.gainRate = 0.01f;
    s.silenceCount = 200;
    s.spurtCount = 0;
    s.activeCount = 0;
    s.inSpurt = 0;
    s.noiseLevel = 65.38f;
    s.threshold = 65.38f;
    s.lowTracker = 32767.0f;
    s.levelRate = 0.1f;
    s.levelFactor = 0.7f;
    s.desiredGain = 0.03125f;
    s.gainSlew = 1.0f;
    s.savedDesiredGain = 0.03125f;
    s.savedLevelRate = 0.1f;
    return s;
}

namespace {

constexpr std::int16_t kCountLimit = 16383;

// Mean of eight values held as v[0..3] and v[4..7]: the pairs
// 0.125*v[i] + 0.125*v[i+4], then (p0 + p1) + (p2 + p3).
inline float mean8(__m128 lo, __m128 hi) {
    const __m128 eighth = _mm_set1_ps(0.125f);
    const __m128 p = _mm_add_ps(_mm_mul_ps(lo, eighth), _mm_mul_ps(hi, eighth));
    const __m128 q = _mm_add_ps(p, _mm_shuffle_ps(p, p, _MM_SHUFFLE(2, 3, 0, 1)));
    return _mm_cvtss_f32(_mm_add_ss(q, _mm_movehl_ps(q, q)));
}

inline float max4(__m128 v) {
    v = _mm_max_ps(v, _mm_movehl_ps(v, v));
    return _mm_cvtss_f32(_mm_max_ss(v, _mm_shuffle_ps(v, v, _MM_SHUFFLE(1, 1, 1, 1))));
}

// Steps 1 to 13 for one block with its mean absolute value, mean square and
// largest magnitude; returns the gain of the block.
inline float control(State& s, float blockLevel, float blockPower, float blockPeak) {
    // 1. levels
    s.blockLevel = blockLevel;
    const float L = 0.8f * blockLevel + 0.2f * s.smoothLevel;
    s.smoothLevel = L;
    s.peakLevel = std::max(L, 0.99f * s.peakLevel);

    // 2. noise estimate, from the old noiseLevel and speechLevel
    {
        const float N = s.noiseLevel;
        float f1 = 1.0f, f2 = 0.0f;
        if (N > L) {
            f1 = 0.9f;
            f2 = 0.1f;
        } else if (2.0f * N > L) {
            f1 = 0.99f;
            f2 = 0.01f;
        }
        const float n = std::max(s.noiseFloorMin, f1 * N + L * f2);
        float m = 0.0f;
        if (s.spurtCount >= 1 &&
            !(s.spurtCount == 1 && (s.activeCount < 501 || s.levelRate >= 0.0025f)))
            m = 1456.7665f * s.speechLevel;
        s.noiseLevel = std::min(s.noiseFloorMax, std::max(m, n));
        s.threshold = 4.0f * s.noiseLevel;
    }

    // 3. low tracker
    {
        const float T = s.lowTracker;
        const bool falling = T > L;
        const float f1 = falling ? 0.7f : 0.99f;
        const float f2 = falling ? 0.3f : 0.01f;
        s.lowTracker = std::max(s.noiseLevel, f1 * T + L * f2);
    }

    // 4. active blocks
    if (blockLevel > s.threshold) s.activeCount = std::min<std::int16_t>(s.activeCount + 1, kCountLimit);

    // 5. talk spurts
    if (s.peakLevel > s.threshold) {
        s.silenceCount = 0;
        if (!s.inSpurt) {
            s.inSpurt = 1;
            s.savedSpeechPower = s.speechPower;
            s.spurtCount = std::min<std::int16_t>(s.spurtCount + 1, kCountLimit);
            s.levelFactor = 0.7f;
            s.savedDesiredGain = s.desiredGain;
            s.savedLevelRate = s.levelRate;
        }
    } else if (s.inSpurt) {
        s.silenceCount = std::min<std::int16_t>(s.silenceCount + 1, kCountLimit);
        if (static_cast<float>(s.silenceCount) == s.hangover) {
            s.inSpurt = 0;
            if (s.activeCount < 50) {  // too short: undo the spurt
                s.spurtCount -= 1;
                s.speechPower = s.savedSpeechPower;
                s.desiredGain = s.savedDesiredGain;
                s.levelRate = s.savedLevelRate;
            }
            s.activeCount = 0;
        }
    } else {
        s.activeCount = 0;
    }

    // 6. ramp rate: none until the first spurt has proved itself
    float r = s.gainRate;
    if (s.spurtCount == 1 && (s.activeCount < 10 || (s.activeCount < 500 && 3.0f * s.lowTracker > L))) r = 0.0f;
    s.blockGainRate = r;

    // 7. spurt peak
    if (s.inSpurt) {
        if (s.peakLevel > s.spurtPeak)
            s.spurtPeak = s.peakLevel;
        else if (s.peakLevel > s.threshold)
            s.spurtPeak = 0.001f * s.peakLevel + 0.999f * s.spurtPeak;
    } else {
        s.spurtPeak = s.spurtCount == 0 ? s.peakLevel : s.speechLevel;
    }

    // 8, 9. speech power
    s.blockPower = blockPower;
    float rate = s.levelRate;
    if (s.inSpurt) {
        if (s.spurtCount == 1 && s.activeCount < 500 && 0.1f * blockPower > s.speechPower) rate = std::max(0.05f, rate);
        if (s.threshold > L) {
            if (s.activeCount < 500) s.levelFactor = 0.7f;
        } else if (blockLevel >= s.threshold || s.activeCount >= 20) {
            rate = rate - rate * rate;
            s.speechPower = s.speechPower + (blockPower - s.speechPower) * rate;
        }
    } else {
        rate = s.spurtCount >= 1 ? std::max(s.minRateSilence, s.levelRate) : 0.1f;
    }

    // 10. level rate, speech level, level factor
    s.levelRate = std::max(s.minRate, rate);
    s.speechLevel = std::sqrt(s.speechPower) * s.levelFactor;
    if (s.activeCount < 500) s.levelFactor = std::min(0.89f, s.levelFactor + s.levelFactor * 0.000461f);

    // 11. desired gain
    if (s.inSpurt) {
        float g, cap;
        if (s.targetLevel > s.speechLevel * s.maxGain) {
            cap = s.maxGain;
            g = s.targetLevel > s.maxGain * s.spurtPeak ? s.maxGain : s.targetLevel / s.spurtPeak;
        } else {
            g = cap = s.targetLevel / s.speechLevel;
        }
        s.desiredGain = std::min(cap, s.desiredGain + s.blockGainRate * g);
    }

    // 12. gain toward the desired gain, never past it
    s.gain = std::min(s.desiredGain, s.gain + (s.desiredGain - s.gain) * s.gainSlew);

    // 13. peak limit
    s.blockPeak = blockPeak;
    if (s.gain * blockPeak > s.maxLevel) {
        s.gain = s.maxLevel / blockPeak;
        s.gainSlew = 0.001f;
    } else {
        s.gainSlew = std::min(1.0f, s.gainSlew + 0.1f * s.gainSlew);
    }
    return s.gain;
}

}  // namespace

void process(const Zin16s* src, Zin16s* dst, int blocks, State& s) {
    const __m128 top = _mm_set1_ps(32767.0f);
    const __m128 bottom = _mm_set1_ps(-32768.0f);
    for (int b = 0; b < blocks; ++b, src += 8, dst += 8) {
        const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src));
        const __m128i xlo = _mm_cvtepi16_epi32(x);
        const __m128i xhi = _mm_cvtepi16_epi32(_mm_unpackhi_epi64(x, x));
        const __m128 flo = _mm_cvtepi32_ps(xlo);
        const __m128 fhi = _mm_cvtepi32_ps(xhi);
        // Magnitudes in 32 bits: -32768 counts as 32768.
        const __m128 alo = _mm_cvtepi32_ps(_mm_abs_epi32(xlo));
        const __m128 ahi = _mm_cvtepi32_ps(_mm_abs_epi32(xhi));
        // A square of up to 2^30 rounds once to single, from the integer
        // or from the float product alike.
        const float level = mean8(alo, ahi);
        const float power = mean8(_mm_mul_ps(flo, flo), _mm_mul_ps(fhi, fhi));
        const float peak = max4(_mm_max_ps(alo, ahi));

        // 14. output: the product in single precision, saturated, truncated
        const __m128 g = _mm_set1_ps(control(s, level, power, peak));
        const __m128 ylo = _mm_max_ps(_mm_min_ps(_mm_mul_ps(flo, g), top), bottom);
        const __m128 yhi = _mm_max_ps(_mm_min_ps(_mm_mul_ps(fhi, g), top), bottom);
        const __m128i y = _mm_packs_epi32(_mm_cvttps_epi32(ylo), _mm_cvttps_epi32(yhi));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), y);
    }
}

}  // namespace zin::alc

using namespace zin;

namespace {

alc::State load(const ZinALCState_G169_16s* p) {
    alc::State s;
    std::memcpy(&s, p, sizeof s);
    return s;
}

void store(ZinALCState_G169_16s* p, const alc::State& s) { std::memcpy(p, &s, sizeof s); }

}  // namespace

ZinStatus zin::body::zinsALCGetStateSize_G169_16s(int* pSize) {
    if (!pSize) return zinStsNullPtrErr;
    *pSize = alc::kStateSize;
    return zinStsNoErr;
}

ZinStatus zin::body::zinsALCInit_G169_16s(ZinALCState_G169_16s* pState) {
    if (!pState) return zinStsNullPtrErr;
    store(pState, alc::initial_state());
    return zinStsNoErr;
}

ZinStatus zin::body::zinsALCSetGain_G169_16s(Zin32f maxGainDb, ZinALCState_G169_16s* pState) {
    if (!pState) return zinStsNullPtrErr;
    if (maxGainDb < 0.0f) return zinStsRangeErr;
    const float maxGain = static_cast<float>(std::pow(10.0, static_cast<double>(maxGainDb) / 20.0));
    std::memcpy(reinterpret_cast<char*>(pState) + offsetof(alc::State, maxGain), &maxGain, sizeof maxGain);
    return zinStsNoErr;
}

ZinStatus zin::body::zinsALCSetLevel_G169_16s(Zin32f targetDb, Zin32f maxDb, ZinALCState_G169_16s* pState) {
    if (!pState) return zinStsNullPtrErr;
    if (targetDb < 0.0f || maxDb < 0.0f) return zinStsRangeErr;
    const float targetLevel = static_cast<float>(32768.0 / std::pow(10.0, static_cast<double>(targetDb) / 20.0));
    const float maxLevel = static_cast<float>(32768.0 / std::pow(10.0, static_cast<double>(maxDb) / 20.0));
    char* base = reinterpret_cast<char*>(pState);
    std::memcpy(base + offsetof(alc::State, targetLevel), &targetLevel, sizeof targetLevel);
    std::memcpy(base + offsetof(alc::State, maxLevel), &maxLevel, sizeof maxLevel);
    return zinStsNoErr;
}

ZinStatus zin::body::zinsALC_G169_16s(const Zin16s* pSrc, Zin16s* pDst, int len, ZinALCState_G169_16s* pState) {
    if (!pSrc || !pDst || !pState) return zinStsNullPtrErr;
    if (len < 8 || (len & 7)) return zinStsRangeErr;
    alc::State s = load(pState);
    alc::process(pSrc, pDst, len / 8, s);
    store(pState, s);
    return zinStsNoErr;
}
