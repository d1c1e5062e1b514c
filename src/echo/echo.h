// Private workers of the echo kit that more than one place reaches.
#pragma once

#include "zinsc.h"

// The records behind the controllers' public handles, in field order.
struct ZinSubbandControllerState_EC_32f {
    Zin32s numSubbands, frameSize, numSegments, sampleFreq;
    Zin32f* adaptiveErrPower;
    Zin32f* fixedErrPower;
    Zin32f* historyPower;
    Zin32f* coefPower;
    Zin32f sinPower;
    Zin32f alphaErr, alphaCoef, alphaState, alphaGain;
    Zin32f gain;
    Zin32f filterState;
    Zin32f powerThreshold;
    Zin32f minStep;
    Zin32s sinPowerValid;
};
static_assert(sizeof(ZinSubbandControllerState_EC_32f) <= 96, "the float controller's header");

struct ZinSubbandControllerState_EC_16s {
    Zin32s numSubbands, frameSize, numSegments, sampleFreq;
    Zin32s* adaptiveErrPower;
    Zin32s* fixedErrPower;
    Zin32s* historyPower;
    Zin32s* scratchPower;
    Zin32s* coefPower;
    Zin32s stepMantissa;
    Zin32s sinPower;
    Zin32s alphaErr, alphaCoef, alphaState, alphaGain;
    Zin32s gain;
    Zin32s filterState;
    Zin32s powerThreshold;
    Zin32s minStepMantissa;
    Zin32s minStepExponent;
    Zin32s sinPowerValid;
};
static_assert(sizeof(ZinSubbandControllerState_EC_16s) <= 112, "the 16-bit controller's header");

namespace zin {

// The 32-bit reciprocal division of the 16-bit sub-band path: for c and r
// with bit 30 set, about c / r in Q30, in wrapping 32-bit arithmetic.
Zin32s Div32_EC(Zin32s c, Zin32s r);

}  // namespace zin
