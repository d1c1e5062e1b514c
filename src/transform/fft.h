// The transform engine: a real-input FFT of N = 2^order points in single
// precision, and a 16-bit-in, 32-bit-out wrapper around it. Internal only;
// the sub-band filter bank and the noise filters stand on it.
//
// Definition. Forward X[k] = sum_n x[n] exp(-2 pi i n k / N); inverse
// x[n] = sum_k X[k] exp(+2 pi i n k / N) over the Hermitian extension; then
// the scale of the direction (flag at Init):
//   1: forward divided by N      2: inverse divided by N
//   4: both divided by sqrt(N)   8: no scaling
//
// Orderings of the spectrum (N >= 2):
//   CCS : N + 2 floats  Re X0, 0, Re X1, Im X1, ..., Re X[N/2-1], Im X[N/2-1], Re X[N/2], 0
//   Perm: N floats      Re X0, Re X[N/2], Re X1, Im X1, ..., Re X[N/2-1], Im X[N/2-1]
// For order 0 the CCS form is X0, 0 and the Perm form is X0.
//
// Memory: the caller asks the sizes, hands a block of the descriptor size to Init
// (any alignment; the descriptor aligns itself to 64 bytes), an init block
// from order 11 on, and a work buffer of the buffer size to each transform.
// A transform given no buffer takes one from the platform layer for the
// length of the call. A descriptor is read-only after Init and may serve
// concurrent transforms, each with its own buffer.
#pragma once

#include <cstdint>

#include "zinsc.h"

namespace zin {

// Identity word of an initialised real descriptor, and magic of the wrapper.
inline constexpr Zin32s kFftIdCtx = 6;
inline constexpr Zin32u kFftMagic32s = 0x434D414Fu;

// The descriptor of the real transform; it sits on a 64-byte boundary inside
// the caller's block, and its tables follow it, each on a 64-byte boundary.
struct FftSpec_R_32f {
    Zin32s idCtx;         // kFftIdCtx once Init has succeeded, else 0
    Zin32s order;         // N = 2^order
    Zin32s scaleForward;  // 1 when the forward direction is scaled
    Zin32s scaleInverse;  // 1 when the inverse direction is scaled
    Zin32f scale;         // the factor of a scaled direction
    Zin32s owner;         // the hint given at Init; held, not used
    Zin32s bufSize;       // work-buffer bytes a transform needs (0 up to order 7)
    Zin32s stageOrder;    // log2 of the half-length block of the staged form (orders above 19), else 0
    const Zin32s* bitRev;      // region kept for a permutation table (orders 8 to 19); the passes self-sort
    const Zin32f* twiddle;     // twiddles of the half-length complex transform (from order 8)
    const Zin32f* recombFwd;   // forward real recombination (from order 5)
    const Zin32f* recombInv;   // inverse real recombination (from order 5)
    const Zin32f* splitTwiddle;  // the staged form: twiddles of its splitting passes
    unsigned char reserved[144 - 72];
};
static_assert(sizeof(FftSpec_R_32f) == 144, "the fixed part of the descriptor takes 144 bytes");

// The 16-bit wrapper; its fixed part takes 32 bytes and the real descriptor
// follows in the same block.
struct FftSpec_32s {
    Zin32u magic;      // kFftMagic32s once Init has succeeded, else 0
    Zin32s order;
    Zin32s hint;       // as given at Init, unused
    Zin32s bufSize;    // inner bufSize + 4*N + 8
    Zin32s allocated;  // always 0: the block is the caller's
    Zin32s pad;
    FftSpec_R_32f* inner;
};
static_assert(sizeof(FftSpec_32s) == 32, "the fixed part of the wrapper takes 32 bytes");

// ---- real transform in single precision --------------------------------
ZinStatus FftGetSize_R_32f(int order, int flag, int hint, int* pSpecSize, int* pInitSize, int* pBufSize);
ZinStatus FftInit_R_32f(FftSpec_R_32f** ppSpec, int order, int flag, int hint, Zin8u* pMem, Zin8u* pInitBuf);
ZinStatus FftFwd_RToCCS_32f(const Zin32f* pSrc, Zin32f* pDst, const FftSpec_R_32f* pSpec, Zin8u* pBuf);
ZinStatus FftInv_CCSToR_32f(const Zin32f* pSrc, Zin32f* pDst, const FftSpec_R_32f* pSpec, Zin8u* pBuf);
ZinStatus FftFwd_RToPerm_32f(const Zin32f* pSrc, Zin32f* pDst, const FftSpec_R_32f* pSpec, Zin8u* pBuf);
ZinStatus FftInv_PermToR_32f(const Zin32f* pSrc, Zin32f* pDst, const FftSpec_R_32f* pSpec, Zin8u* pBuf);

// ---- 16-bit wrapper --------------------------------------------------------
ZinStatus FftGetSize_32s(int order, int flag, int hint, int* pSpecSize, int* pInitSize, int* pBufSize);
ZinStatus FftInit_32s(FftSpec_32s** ppSpec, int order, int flag, int hint, Zin8u* pMem, Zin8u* pInitBuf);
// N samples in, N + 2 words out in CCS order: value * 2^-scaleFactor, rounded
// to nearest with ties to even and saturated to 32 bits.
ZinStatus FftFwd_16s32sc_Sfs(const Zin16s* pSrc, Zin32s* pDst, const FftSpec_32s* pSpec, int scaleFactor,
                             Zin8u* pBuf);
// N + 2 words of CCS in (the first N + 1 are read), N samples out, scaled,
// rounded to nearest with ties to even and saturated to 16 bits.
ZinStatus FftInv_32sc16s_Sfs(const Zin32s* pSrc, Zin16s* pDst, const FftSpec_32s* pSpec, int scaleFactor,
                             Zin8u* pBuf);

}  // namespace zin
