// G.169 automatic level control: the layout of the 124-byte state object.
// The caller places the object at any address; the worker copies it into an
// aligned local record for a call and back at the end.
#pragma once

#include <cstddef>
#include <cstdint>

#include "zinsc.h"

namespace zin::alc {

struct State {
    // settings
    float targetLevel;      // wanted speech level in sample units
    float maxLevel;         // peak limit of the output
    float noiseFloorMin;    // bounds of the noise estimate
    float noiseFloorMax;
    float maxGain;
    float minRateSilence;   // floor of the level rate between spurts
    float minRate;          // absolute floor of the level rate
    float hangover;         // blocks below threshold that end a spurt
    float gainRate;         // default gain ramp factor
    // counters
    std::int16_t silenceCount;
    std::int16_t spurtCount;
    std::int16_t activeCount;
    std::int16_t inSpurt;
    // levels, one block of 8 samples at a time
    float blockLevel;
    float smoothLevel;
    float peakLevel;
    float spurtPeak;
    float noiseLevel;
    float threshold;
    float lowTracker;
    float blockPower;
    float speechPower;
    float levelRate;
    float speechLevel;
    float levelFactor;
    float desiredGain;
    float blockGainRate;
    float gain;
    float gainSlew;
    float blockPeak;
    float savedSpeechPower;
    float savedDesiredGain;
    float savedLevelRate;
};

inline constexpr int kStateSize = 124;
static_assert(sizeof(State) == kStateSize, "the state object is 124 bytes");
static_assert(offsetof(State, silenceCount) == 36 && offsetof(State, blockLevel) == 44 &&
                  offsetof(State, savedLevelRate) == 120,
              "fields in the published order");

// The values that Init stores.
State initial_state();

// Runs `blocks` blocks of 8 samples.
void process(const Zin16s* src, Zin16s* dst, int blocks, State& s);

}  // namespace zin::alc
