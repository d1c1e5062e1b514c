// G.729 front end, fixed point: LSP interpolation (ITU-T G.729 clause 3.2.5),
// the residual and pole-zero filters of the weighting stage (3.5), Annex A's
// pre-emphasis of the post-filter and its doubled dot product.
#include <cstdint>

#include "../frame/registry.h"
#include "../kernels/fixed_point.h"
#include "../kernels/kernels.h"

namespace zin {

using fx::i32;
using fx::i64;

ZinStatus body::zinsInterpolate_G729_16s(const Zin16s* pSrc1, const Zin16s* pSrc2, Zin16s* pDst, int len) {
    if (!pSrc1 || !pSrc2 || !pDst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    for (int i = 0; i < len; ++i) pDst[i] = fx::sat16((pSrc1[i] >> 1) + (pSrc2[i] >> 1));
    return zinStsNoErr;
}

template <bool Round>
static ZinStatus interpolate_c(const Zin16s* s1, Zin16s v1, const Zin16s* s2, Zin16s v2, Zin16s* d, int len,
                               int sfs) {
    if (!s1 || !s2 || !d) return zinStsNullPtrErr;
    if (sfs < 0) return zinStsScaleRangeErr;
    if (len < 1) return zinStsSizeErr;
    const int sh = sfs > 31 ? 31 : sfs;
    const std::uint32_t add = Round && sh > 0 ? std::uint32_t{1} << (sh - 1) : 0;
    for (int i = 0; i < len; ++i) {
        const std::uint32_t s = static_cast<std::uint32_t>(i32{s1[i]} * v1) + static_cast<std::uint32_t>(i32{s2[i]} * v2) + add;
        d[i] = fx::sat16(static_cast<i32>(s) >> sh);
    }
    return zinStsNoErr;
}

ZinStatus body::zinsInterpolateC_G729_16s_Sfs(const Zin16s* pSrc1, Zin16s val1, const Zin16s* pSrc2, Zin16s val2,
                                              Zin16s* pDst, int len, int scaleFactor) {
    return interpolate_c<false>(pSrc1, val1, pSrc2, val2, pDst, len, scaleFactor);
}

ZinStatus body::zinsInterpolateC_NR_G729_16s_Sfs(const Zin16s* pSrc1, Zin16s val1, const Zin16s* pSrc2, Zin16s val2,
                                                 Zin16s* pDst, int len, int scaleFactor) {
    return interpolate_c<true>(pSrc1, val1, pSrc2, val2, pDst, len, scaleFactor);
}

ZinStatus body::zinsResidualFilter_G729_16s(const Zin16s* pSrc, const Zin16s* pLPC, Zin16s* pDst) {
    if (!pSrc || !pLPC || !pDst) return zinStsNullPtrErr;
    for (int n = 0; n < 40; ++n) {
        std::uint32_t s = 2048;
        for (int i = 0; i <= 10; ++i) s += static_cast<std::uint32_t>(i32{pLPC[i]} * pSrc[n - i]);
        pDst[n] = static_cast<Zin16s>(static_cast<i32>(s) >> 12);
    }
    return zinStsNoErr;
}

// Zeros over the input with 10 samples of history, poles over 10 outputs;
// mem[0..9] the last inputs, mem[10..19] the last outputs, oldest first.
template <bool Low>
static ZinStatus iir16s(const Zin16s* c, const Zin16s* src, Zin16s* dst, Zin16s* mem) {
    if (!c || !src || !dst || !mem) return zinStsNullPtrErr;
    Zin16s x[50], y[50];
    for (int i = 0; i < 10; ++i) {
        x[i] = mem[i];
        y[i] = mem[10 + i];
    }
    for (int n = 0; n < 40; ++n) x[10 + n] = src[n];
    for (int n = 0; n < 40; ++n) {
        std::uint32_t s = 0;
        for (int i = 0; i <= 10; ++i) s += static_cast<std::uint32_t>(i32{c[i]} * x[10 + n - i]);
        for (int i = 1; i <= 10; ++i) s -= static_cast<std::uint32_t>(i32{c[11 + i]} * y[10 + n - i]);
        const i32 sum = static_cast<i32>(s);
        if (Low) {
            y[10 + n] = static_cast<Zin16s>(fx::wrap_add32(sum, 2048) >> 12);
            dst[n] = static_cast<Zin16s>(static_cast<i32>(static_cast<std::uint32_t>(fx::wrap_add32(sum, 2048)) << 4) >> 16);
        } else {
            y[10 + n] = fx::sat16(((sum >> 11) + 1) >> 1);
            dst[n] = y[10 + n];
        }
    }
    for (int i = 0; i < 10; ++i) {
        mem[i] = x[40 + i];
        mem[10 + i] = y[40 + i];
    }
    return zinStsNoErr;
}

ZinStatus body::zinsIIR16s_G729_16s(const Zin16s* pCoeffs, const Zin16s* pSrc, Zin16s* pDst, Zin16s* pMem) {
    return iir16s<false>(pCoeffs, pSrc, pDst, pMem);
}

ZinStatus body::zinsIIR16sLow_G729_16s(const Zin16s* pCoeffs, const Zin16s* pSrc, Zin16s* pDst, Zin16s* pMem) {
    return iir16s<true>(pCoeffs, pSrc, pDst, pMem);
}

// From the last sample to the first, so that the in-place form reads inputs.
static void preemphasize(Zin16s gamma, const Zin16s* src, Zin16s* dst, int len, Zin16s* mem) {
    const Zin16s last = src[len - 1];
    for (int n = len - 1; n >= 0; --n) {
        const Zin16s prev = n > 0 ? src[n - 1] : *mem;
        const Zin16s twice = static_cast<Zin16s>(static_cast<std::uint16_t>(prev) << 1);
        dst[n] = fx::sat16(i32{src[n]} - ((i32{twice} * gamma) >> 16));
    }
    *mem = last;
}

ZinStatus body::zinsPreemphasize_G729A_16s(Zin16s gamma, const Zin16s* pSrc, Zin16s* pDst, int len, Zin16s* pMem) {
    if (!pSrc || !pDst || !pMem) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    preemphasize(gamma, pSrc, pDst, len, pMem);
    return zinStsNoErr;
}

ZinStatus body::zinsPreemphasize_G729A_16s_I(Zin16s gamma, Zin16s* pSrcDst, int len, Zin16s* pMem) {
    if (!pSrcDst || !pMem) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    preemphasize(gamma, pSrcDst, pSrcDst, len, pMem);
    return zinStsNoErr;
}

ZinStatus body::zinsDotProd_G729A_16s32s(const Zin16s* pSrc1, const Zin16s* pSrc2, int len, Zin32s* pDp) {
    if (!pSrc1 || !pSrc2 || !pDp) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    const i64 s = 2 * DotProd_16s64s(pSrc1, pSrc2, len);
    *pDp = fx::sat32(s);
    return s > fx::kMax32 || s < fx::kMin32 ? zinStsOverflow : zinStsNoErr;
}

}  // namespace zin
