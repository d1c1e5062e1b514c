// The fixed-point operators of the ITU-T and 3GPP/ETSI reference codecs
// (the "basic operators" of ITU-T G.191 STL and 3GPP TS 26.073), under
// readable names. Every codec directory uses this one header; none grows a
// copy of its own.
//
// Published name -> name here:
//   saturate       sat16          L_sat / (clamp) sat32
//   add, sub       add16, sub16   L_add, L_sub       add32, sub32
//   abs_s          abs16          L_abs              abs32
//   negate         neg16          L_negate           neg32
//   mult           mul16          mult_r             mul16_round
//   L_mult         mul32          L_mult0            mul32_plain
//   L_mac, L_msu   mac32, msu32   L_mac0, L_msu0     mac32_plain, msu32_plain
//   L_macNs etc.   (not provided: carry semantics are left to the codec)
//   round          round16        extract_h/_l       high16, low16
//   L_deposit_h/_l deposit_high, deposit_low
//   shl, shr       shl16, shr16   shr_r              shr16_round
//   L_shl, L_shr   shl32, shr32   L_shr_r            shr32_round
//   norm_s         norm16         norm_l             norm32
//   div_s          div16          i_mult             mul16_int
//   L_Extract      split32        L_Comp             join32
//   Mpy_32         mul32_dpf      Mpy_32_16          mul32_dpf16
//   Div_32         div32_dpf
//
// Operators that set the references' global Overflow flag have a form with a
// trailing `bool& overflow` that sets it (and never clears it); the plain
// form drops the flag. Everything is constexpr and branch-light.
#pragma once

#include <cstdint>

namespace zin::fx {

using i16 = std::int16_t;
using i32 = std::int32_t;
using i64 = std::int64_t;

inline constexpr i16 kMax16 = 32767;
inline constexpr i16 kMin16 = -32768;
inline constexpr i32 kMax32 = 2147483647;
inline constexpr i32 kMin32 = -2147483647 - 1;

// ---- saturation ---------------------------------------------------------

constexpr i16 sat16(i32 x) { return static_cast<i16>(x > kMax16 ? kMax16 : (x < kMin16 ? kMin16 : x)); }
constexpr i16 sat16(i64 x) { return static_cast<i16>(x > kMax16 ? kMax16 : (x < kMin16 ? kMin16 : x)); }
constexpr i16 sat16(i32 x, bool& overflow) {
    if (x > kMax16) { overflow = true; return kMax16; }
    if (x < kMin16) { overflow = true; return kMin16; }
    return static_cast<i16>(x);
}
constexpr i32 sat32(i64 x) { return static_cast<i32>(x > kMax32 ? kMax32 : (x < kMin32 ? kMin32 : x)); }
constexpr i32 sat32(i64 x, bool& overflow) {
    if (x > kMax32) { overflow = true; return kMax32; }
    if (x < kMin32) { overflow = true; return kMin32; }
    return static_cast<i32>(x);
}

// Two's complement truncations, without saturation (the "wrapping" sums).
constexpr i16 wrap16(i32 x) { return static_cast<i16>(static_cast<std::uint16_t>(x)); }
constexpr i32 wrap32(i64 x) { return static_cast<i32>(static_cast<std::uint32_t>(x)); }
constexpr i32 wrap_add32(i32 a, i32 b) {
    return static_cast<i32>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}
constexpr i32 wrap_sub32(i32 a, i32 b) {
    return static_cast<i32>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}
constexpr i32 wrap_mul32(i32 a, i32 b) {
    return static_cast<i32>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

// ---- 16-bit operators ---------------------------------------------------

constexpr i16 add16(i16 a, i16 b) { return sat16(i32{a} + b); }                       // add
constexpr i16 add16(i16 a, i16 b, bool& ov) { return sat16(i32{a} + b, ov); }
constexpr i16 sub16(i16 a, i16 b) { return sat16(i32{a} - b); }                       // sub
constexpr i16 sub16(i16 a, i16 b, bool& ov) { return sat16(i32{a} - b, ov); }
constexpr i16 abs16(i16 a) { return a == kMin16 ? kMax16 : static_cast<i16>(a < 0 ? -a : a); }  // abs_s
constexpr i16 neg16(i16 a) { return a == kMin16 ? kMax16 : static_cast<i16>(-a); }    // negate

// mult: (a*b) >> 15, saturated (only -32768 * -32768 saturates).
constexpr i16 mul16(i16 a, i16 b) { return sat16((i32{a} * b) >> 15); }
constexpr i16 mul16(i16 a, i16 b, bool& ov) { return sat16((i32{a} * b) >> 15, ov); }
// mult_r: (a*b + 16384) >> 15, saturated.
constexpr i16 mul16_round(i16 a, i16 b) { return sat16((i32{a} * b + 16384) >> 15); }
constexpr i16 mul16_round(i16 a, i16 b, bool& ov) { return sat16((i32{a} * b + 16384) >> 15, ov); }
// i_mult: the plain 16-bit product, saturated.
constexpr i16 mul16_int(i16 a, i16 b) { return sat16(i32{a} * b); }

// shr with a negative count is shl, and the reverse; counts saturate as in
// the references (shr by 15 or more gives the sign fill).
constexpr i16 shr16(i16 a, i16 n);
constexpr i16 shl16(i16 a, i16 n, bool& ov) {
    if (n < 0) return shr16(a, static_cast<i16>(n < -16 ? 16 : -n));
    if (a == 0) return 0;
    if (n > 15) {
        ov = true;
        return a > 0 ? kMax16 : kMin16;
    }
    return sat16(i32{a} * (i32{1} << n), ov);
}
constexpr i16 shl16(i16 a, i16 n) {
    bool ov = false;
    return shl16(a, n, ov);
}
constexpr i16 shr16(i16 a, i16 n) {
    if (n < 0) {
        bool ov = false;
        return shl16(a, static_cast<i16>(n < -16 ? 16 : -n), ov);
    }
    if (n >= 15) return a < 0 ? -1 : 0;
    return static_cast<i16>(a >> n);
}
// shr_r: shr with rounding of the last bit shifted out.
constexpr i16 shr16_round(i16 a, i16 n) {
    if (n > 15) return 0;
    i16 r = shr16(a, n);
    if (n > 0 && (a & (i32{1} << (n - 1)))) r = static_cast<i16>(r + 1);
    return r;
}

// norm_s: left shifts that bring a non-zero value to 0x4000..0x7FFF or
// 0x8000..0xBFFF; 0 for 0, 15 for -1.
constexpr i16 norm16(i16 a) {
    if (a == 0) return 0;
    if (a == -1) return 15;
    i32 v = a < 0 ? ~i32{a} : a;
    i16 n = 0;
    while (v < 0x4000) { v <<= 1; ++n; }
    return n;
}

// ---- 32-bit operators ---------------------------------------------------

constexpr i32 add32(i32 a, i32 b) { return sat32(i64{a} + b); }                     // L_add
constexpr i32 add32(i32 a, i32 b, bool& ov) { return sat32(i64{a} + b, ov); }
constexpr i32 sub32(i32 a, i32 b) { return sat32(i64{a} - b); }                     // L_sub
constexpr i32 sub32(i32 a, i32 b, bool& ov) { return sat32(i64{a} - b, ov); }
constexpr i32 abs32(i32 a) { return a == kMin32 ? kMax32 : (a < 0 ? -a : a); }       // L_abs
constexpr i32 neg32(i32 a) { return a == kMin32 ? kMax32 : -a; }                     // L_negate

// L_mult: 2*a*b, with -32768 * -32768 saturating to 0x7FFFFFFF.
constexpr i32 mul32(i16 a, i16 b) {
    i32 p = i32{a} * b;
    return p == 0x40000000 ? kMax32 : p * 2;
}
constexpr i32 mul32(i16 a, i16 b, bool& ov) {
    i32 p = i32{a} * b;
    if (p == 0x40000000) { ov = true; return kMax32; }
    return p * 2;
}
// L_mult0: a*b without the doubling; cannot overflow.
constexpr i32 mul32_plain(i16 a, i16 b) { return i32{a} * b; }

// L_mac / L_msu: acc + / - L_mult(a, b), both steps saturating.
constexpr i32 mac32(i32 acc, i16 a, i16 b) { return add32(acc, mul32(a, b)); }
constexpr i32 mac32(i32 acc, i16 a, i16 b, bool& ov) { return add32(acc, mul32(a, b, ov), ov); }
constexpr i32 msu32(i32 acc, i16 a, i16 b) { return sub32(acc, mul32(a, b)); }
constexpr i32 msu32(i32 acc, i16 a, i16 b, bool& ov) { return sub32(acc, mul32(a, b, ov), ov); }
// L_mac0 / L_msu0: acc + / - a*b, saturating.
constexpr i32 mac32_plain(i32 acc, i16 a, i16 b) { return add32(acc, i32{a} * b); }
constexpr i32 msu32_plain(i32 acc, i16 a, i16 b) { return sub32(acc, i32{a} * b); }

constexpr i16 high16(i32 a) { return static_cast<i16>(a >> 16); }                     // extract_h
constexpr i16 low16(i32 a) { return static_cast<i16>(static_cast<std::uint16_t>(a)); } // extract_l
constexpr i32 deposit_high(i16 a) { return static_cast<i32>(static_cast<std::uint32_t>(static_cast<std::uint16_t>(a)) << 16); }  // L_deposit_h
constexpr i32 deposit_low(i16 a) { return a; }                                         // L_deposit_l
// round: high half of L_add(a, 0x8000).
constexpr i16 round16(i32 a) { return high16(add32(a, 0x8000)); }
constexpr i16 round16(i32 a, bool& ov) { return high16(add32(a, 0x8000, ov)); }

constexpr i32 shr32(i32 a, i16 n);
// L_shl: saturating left shift; a negative count shifts right.
constexpr i32 shl32(i32 a, i16 n, bool& ov) {
    if (n <= 0) return shr32(a, static_cast<i16>(n < -32 ? 32 : -n));
    for (; n > 0; --n) {
        if (a > 0x3FFFFFFF) { ov = true; return kMax32; }
        if (a < static_cast<i32>(0xC0000000)) { ov = true; return kMin32; }
        a *= 2;
    }
    return a;
}
constexpr i32 shl32(i32 a, i16 n) {
    bool ov = false;
    return shl32(a, n, ov);
}
// L_shr: arithmetic right shift; a negative count shifts left, saturating.
constexpr i32 shr32(i32 a, i16 n) {
    if (n < 0) {
        bool ov = false;
        return shl32(a, static_cast<i16>(n < -32 ? 32 : -n), ov);
    }
    if (n >= 31) return a < 0 ? -1 : 0;
    return a >> n;
}
// L_shr_r: L_shr with rounding of the last bit shifted out.
constexpr i32 shr32_round(i32 a, i16 n) {
    if (n > 31) return 0;
    i32 r = shr32(a, n);
    if (n > 0 && (a & (i32{1} << (n - 1)))) r++;
    return r;
}

// norm_l: left shifts that bring a non-zero value to bit 30; 0 for 0, 31 for -1.
constexpr i16 norm32(i32 a) {
    if (a == 0) return 0;
    if (a == -1) return 31;
    std::uint32_t v = static_cast<std::uint32_t>(a < 0 ? ~a : a);
    return static_cast<i16>(__builtin_clz(v) - 1);
}

// div_s: num/den in Q15 for 0 <= num <= den, den > 0; num == den gives 32767.
constexpr i16 div16(i16 num, i16 den) {
    if (num == 0) return 0;
    if (num == den) return kMax16;
    i32 n = num, d = den;
    i16 q = 0;
    for (int i = 0; i < 15; ++i) {
        q = static_cast<i16>(q << 1);
        n <<= 1;
        if (n >= d) { n -= d; q = static_cast<i16>(q + 1); }
    }
    return q;
}

// ---- double-precision format (DPF) helpers of the references ------------
// A 32-bit value L is held as hi = L >> 16 and lo = (L - hi<<16) >> 1.

struct Dpf {
    i16 hi;
    i16 lo;
};
constexpr Dpf split32(i32 L) {                                     // L_Extract
    i16 hi = high16(L);
    i16 lo = low16(msu32(L >> 1, hi, 16384));
    return {hi, lo};
}
constexpr i32 join32(i16 hi, i16 lo) { return mac32(deposit_high(hi), lo, 1); }  // L_Comp
// Mpy_32: 32 x 32 product in DPF.
constexpr i32 mul32_dpf(i16 hi1, i16 lo1, i16 hi2, i16 lo2) {
    i32 L = mul32(hi1, hi2);
    L = mac32(L, mul16(hi1, lo2), 1);
    return mac32(L, mul16(lo1, hi2), 1);
}
// Mpy_32_16: 32 x 16 product in DPF.
constexpr i32 mul32_dpf16(i16 hi, i16 lo, i16 n) {
    return mac32(mul32(hi, n), mul16(lo, n), 1);
}
// Div_32: L_num / denom in Q31 with 0 <= L_num < denom, denom normalised.
constexpr i32 div32_dpf(i32 L_num, i16 denom_hi, i16 denom_lo) {
    i16 approx = div16(0x3FFF, denom_hi);                // 1/denom in Q14
    i32 L = mul32_dpf16(denom_hi, denom_lo, approx);     // denom * approx
    L = sub32(kMax32, L);                                // 2.0 - denom*approx
    Dpf t = split32(L);
    L = mul32_dpf16(t.hi, t.lo, approx);                 // 1/denom in Q30
    Dpf inv = split32(L);
    Dpf num = split32(L_num);
    L = mul32_dpf(num.hi, num.lo, inv.hi, inv.lo);
    return shl32(L, 2);
}

}  // namespace zin::fx
