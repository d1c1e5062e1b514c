// The private vector kernels that every subsystem calls by these names.
//
// Each kernel with a status checks as an export does: a null pointer gives
// zinStsNullPtrErr, then a length below 1 gives zinStsSizeErr. Results never
// depend on the alignment of the arguments; misaligned elements are legal.
#pragma once

#include <cstdint>

#include "zinsc.h"

namespace zin {

// ---- fills and copies ---------------------------------------------------
// Fills of up to 2097152 bytes are plain; above that, a fill larger than the
// largest data cache goes with non-temporal stores. Copies from 32768 bytes
// on take a streaming path with the same result.

ZinStatus Zero_8u(Zin8u* dst, int len);
ZinStatus Zero_16s(Zin16s* dst, int len);
ZinStatus Zero_32s(void* dst, int len);   // also 32f
ZinStatus Zero_64s(void* dst, int len);   // also 64f and 32fc
ZinStatus Zero_128(void* dst, int len);   // 16-byte elements
ZinStatus Set_16s(Zin16s value, Zin16s* dst, int len);
ZinStatus Set_32s(Zin32s value, Zin32s* dst, int len);
ZinStatus Set_32f(Zin32f value, Zin32f* dst, int len);
ZinStatus Set_64f(Zin64f value, Zin64f* dst, int len);
ZinStatus Copy_8u(const Zin8u* src, Zin8u* dst, int len);
ZinStatus Copy_16s(const Zin16s* src, Zin16s* dst, int len);
ZinStatus Copy_32s(const void* src, void* dst, int len);
ZinStatus Copy_64s(const void* src, void* dst, int len);
ZinStatus Move_16s(const Zin16s* src, Zin16s* dst, int len);
ZinStatus Move_32s(const void* src, void* dst, int len);

// ---- element-wise arithmetic -------------------------------------------

// dst = saturate(src1 + src2)
ZinStatus Add_16s(const Zin16s* src1, const Zin16s* src2, Zin16s* dst, int len);
// dst = saturate(src2 - src1): the second vector is the minuend.
ZinStatus Sub_16s(const Zin16s* src1, const Zin16s* src2, Zin16s* dst, int len);
// Saturating absolute value: -32768 gives 32767.
ZinStatus Abs_16s(const Zin16s* src, Zin16s* dst, int len);
// Shifts; a negative count gives zinStsShiftErr, count 0 is a copy.
ZinStatus LShiftC_16s(const Zin16s* src, int count, Zin16s* dst, int len);
ZinStatus RShiftC_16s(const Zin16s* src, int count, Zin16s* dst, int len);
ZinStatus RShiftC_32s(const Zin32s* src, int count, Zin32s* dst, int len);

// ---- reductions ---------------------------------------------------------

ZinStatus Max_16s(const Zin16s* src, int len, Zin16s* result);
ZinStatus Min_16s(const Zin16s* src, int len, Zin16s* result);
ZinStatus Max_32s(const Zin32s* src, int len, Zin32s* result);
// Largest element and the index of its first occurrence; a null index
// pointer makes it Max_32s.
ZinStatus MaxIndx_32s(const Zin32s* src, int len, Zin32s* result, int* index);
// Largest magnitude, -32768 counting as 32767 (and -2^31 as 2^31 - 1).
ZinStatus MaxAbs_16s(const Zin16s* src, int len, Zin16s* result);
ZinStatus MaxAbs_32s(const Zin32s* src, int len, Zin32s* result);
// Exact sums scaled by 2^-scale, rounded to nearest with ties to even.
ZinStatus Sum_16s32s_Sfs(const Zin16s* src, int len, Zin32s* result, int scale);
ZinStatus Sum_16s_Sfs(const Zin16s* src, int len, Zin16s* result, int scale);
ZinStatus Sum_32s(const Zin32s* src, int len, Zin32s* result, int scale);
// Sum of products in an exact 64-bit accumulator, then the _Sfs rule to 32 bits.
ZinStatus DotProd_16s32s_Sfs(const Zin16s* src1, const Zin16s* src2, int len, Zin32s* result, int scale);
// The exact 64-bit sum of products behind DotProd_16s32s_Sfs, unchecked (len >= 0).
Zin64s DotProd_16s64s(const Zin16s* src1, const Zin16s* src2, int len);

// ---- scalar tools -------------------------------------------------------

// Left shifts that bring a positive value's top bit to bit 30 (bit 14 for
// Norm_16s); two (one) lookups in the leading-zero tables. 0 for x <= 0.
int Norm_32s(Zin32s x);
int Norm_16s(Zin16s x);

// ---- scale-factor rules -------------------------------------------------

// The _Sfs rule: factor clamped to -31..31; right shifts round to nearest
// with ties to even; left shifts saturate; then saturation to 32 bits.
Zin32s ScaleSfs_64s32s(Zin64s a, int scale);
// The same to 16 bits.
Zin16s ScaleSfs_64s16s(Zin64s a, int scale);
// The _NR rule: add 2^(s-1) for s >= 1, shift right arithmetically, no
// saturation here. `s` is 0..62.
constexpr Zin64s ShiftNR(Zin64s a, int s) { return s > 0 ? (a + (Zin64s{1} << (s - 1))) >> s : a; }

}  // namespace zin
