// Operators of the ITU-T G.723.1 fixed-point reference that the shared
// operator header doesn't carry, and the frame constants of the coder.
#pragma once

#include <cstdint>

#include "../kernels/fixed_point.h"

namespace zin::g723 {

using fx::i16;
using fx::i32;
using fx::i64;

inline constexpr int kFrame = 240;       // samples a frame
inline constexpr int kSubFrame = 60;     // samples a subframe
inline constexpr int kLpcFrame = 180;    // LPC analysis window
inline constexpr int kOrder = 10;        // LPC order
inline constexpr int kPitchMin = 18;
inline constexpr int kPitchMax = 145;    // history kept for the pitch search
inline constexpr int kLspMin = 0x180;    // lowest decoded LSP
inline constexpr int kLspMax = 0x7E00;   // highest decoded LSP

// L_mls: 32 x 16 bits, floor of a*b / 32768, saturated to 32 bits.
constexpr i32 mls32(i32 a, i16 b) { return fx::sat32((i64{a} * b) >> 15); }

// div_l: floor((num >> 1) / den) for 0 <= num < den << 16, den > 0; 32767
// when num reaches den << 16.
constexpr i16 divl(i32 num, i16 den) {
    if (num >= (i32{den} << 16)) return fx::kMax16;
    return static_cast<i16>((num >> 1) / den);
}

}  // namespace zin::g723
