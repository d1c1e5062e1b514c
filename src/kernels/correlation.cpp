// Autocorrelations and cross-correlations of speech vectors.
//
// Two arithmetic habits live side by side and are kept apart on purpose:
// sums that wrap in 32 bits (the autocorrelations, the normalised
// cross-correlation) and exact 64-bit sums saturated once at the end (the
// cross-correlations with a scale). Four lags share each pass over the data.
#include "../frame/registry.h"
#include "corr_kernels.h"
#include "fixed_point.h"
#include "kernels.h"

namespace zin {
namespace {

using corr::prod_u32;

// out[k] = sum over i < len-k of a[i] * b[i+k], k < lags, modulo 2^32; 0 for
// k >= len.
void triangle_wrap(const Zin16s* a, const Zin16s* b, int len, Zin32s* out, int lags) {
    int k = 0;
    for (; k + 4 <= lags && k + 3 < len; k += 4) {
        const int m = len - k - 3;
        corr::dot4_wrap(a, b + k, m, out + k);
        for (int j = 0; j < 3; ++j) {
            std::uint32_t acc = static_cast<std::uint32_t>(out[k + j]);
            for (int i = m; i < len - k - j; ++i) acc += prod_u32(a[i], b[i + k + j]);
            out[k + j] = static_cast<Zin32s>(acc);
        }
    }
    for (; k < lags && k < len; ++k) out[k] = corr::dot1_wrap(a, b + k, len - k);
    for (; k < lags; ++k) out[k] = 0;
}

// The same in exact 64-bit sums, over all len lags.
template <typename Store>
void triangle_exact(const Zin16s* a, const Zin16s* b, int len, Store store) {
    int k = 0;
    for (; k + 3 < len; k += 4) {
        const int m = len - k - 3;
        Zin64s s[4];
        corr::dot4_exact(a, b + k, m, s);
        for (int j = 0; j < 4; ++j) {
            for (int i = m; i < len - k - j; ++i) s[j] += Zin32s{a[i]} * b[i + k + j];
            store(k + j, s[j]);
        }
    }
    for (; k < len; ++k) store(k, DotProd_16s64s(a, b + k, len - k));
}

// out(k, sum) for k < lags, sum = exact sum over i < len of a[i] * b[i+k].
template <typename Store>
void rectangle_exact(const Zin16s* a, const Zin16s* b, int len, int lags, Store store) {
    int k = 0;
    for (; k + 4 <= lags; k += 4) {
        Zin64s s[4];
        corr::dot4_exact(a, b + k, len, s);
        for (int j = 0; j < 4; ++j) store(k + j, s[j]);
    }
    for (; k < lags; ++k) store(k, DotProd_16s64s(a, b + k, len));
}

void cross_corr_nr_16s(const Zin16s* a, const Zin16s* b, int len, Zin16s* dst, int lags, int scale) {
    const int s = scale > 62 ? 62 : scale;
    rectangle_exact(a, b, len, lags, [&](int k, Zin64s sum) {
        dst[k] = fx::sat16(ShiftNR(Zin64s{fx::wrap32(sum)}, s));
    });
}

}  // namespace

ZinStatus body::zinsAutoCorr_16s32s(const Zin16s* pSrc, int len, Zin32s* pDst, int lags) {
    if (!pSrc || !pDst) return zinStsNullPtrErr;
    if (len < 1 || lags < 1) return zinStsSizeErr;
    triangle_wrap(pSrc, pSrc, len, pDst, lags);
    return zinStsNoErr;
}

ZinStatus body::zinsAutoCorr_NormE_16s32s(const Zin16s* pSrc, int len, Zin32s* pDst, int lags, int* pNorm) {
    if (!pSrc || !pDst || !pNorm) return zinStsNullPtrErr;
    if (len < 1 || lags < 1) return zinStsSizeErr;
    Zin32s e = 0;
    DotProd_16s32s_Sfs(pSrc, pSrc, len, &e, 0);
    if (e > 0x3FFFFFFF) return zinStsOverflow;
    // 2e + 1 keeps a silent frame positive and leaves nothing zero to normalise.
    const Zin32s e2 = 2 * e + 1;
    const int n = Norm_32s(e2);
    pDst[0] = static_cast<Zin32s>(static_cast<std::uint32_t>(e2) << n);
    *pNorm = n;
    if (lags > 1) {
        // Lags 1 .. lags-1, each sum shifted left by n + 1 in 32 bits.
        Zin32s* r = pDst + 1;
        triangle_wrap(pSrc, pSrc + 1, len - 1, r, lags - 1);
        for (int k = 0; k < lags - 1; ++k) r[k] = static_cast<Zin32s>(static_cast<std::uint32_t>(r[k]) << (n + 1));
    }
    return zinStsNoErr;
}

ZinStatus body::zinsAutoCorr_NormE_NR_16s(const Zin16s* pSrc, int len, Zin16s* pDst, int lags, int* pNorm) {
    if (!pSrc || !pDst || !pNorm) return zinStsNullPtrErr;
    if (len < 1 || lags < 1) return zinStsSizeErr;
    Zin32s e = 0;
    DotProd_16s32s_Sfs(pSrc, pSrc, len, &e, 0);
    e = e < 0x40000000 ? 2 * e : fx::kMax32;
    if (e == 0) {
        *pNorm = 0;
        Zero_16s(pDst, lags);
        return zinStsNoErr;
    }
    const int n = Norm_32s(e);
    e <<= n;
    *pNorm = n;
    pDst[0] = e >= 0x7FFF8000 ? fx::kMax16 : static_cast<Zin16s>((e + 32768) >> 16);
    // Lags 1 .. lags-1 in chunks through a 32-bit scratch on the stack.
    constexpr int kChunk = 256;
    alignas(16) Zin32s r[kChunk];
    for (int k0 = 1; k0 < lags; k0 += kChunk) {
        const int cnt = lags - k0 < kChunk ? lags - k0 : kChunk;
        triangle_wrap(pSrc, pSrc + k0, len - k0, r, cnt);
        for (int k = 0; k < cnt; ++k) pDst[k0 + k] = fx::sat16(((Zin64s{r[k]} << (n + 1)) + 32768) >> 16);
    }
    return zinStsNoErr;
}

ZinStatus body::zinsCrossCorr_16s32s_Sfs(const Zin16s* pSrc1, const Zin16s* pSrc2, int len, Zin32s* pDst,
                                         int scaleFactor) {
    if (!pSrc1 || !pSrc2 || !pDst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    triangle_exact(pSrc1, pSrc2, len, [&](int k, Zin64s sum) { pDst[k] = ScaleSfs_64s32s(sum, scaleFactor); });
    return zinStsNoErr;
}

ZinStatus body::zinsCrossCorr_NR_16s32s(const Zin16s* pSrc1, const Zin16s* pSrc2, int len, Zin32s* pDst, int lags) {
    if (!pSrc1 || !pSrc2 || !pDst) return zinStsNullPtrErr;
    if (len < 1 || lags < 1) return zinStsSizeErr;
    rectangle_exact(pSrc1, pSrc2, len, lags, [&](int k, Zin64s sum) { pDst[k] = fx::sat32(sum); });
    return zinStsNoErr;
}

ZinStatus body::zinsCrossCorr_NR_16s_Sfs(const Zin16s* pSrc1, const Zin16s* pSrc2, int len, Zin16s* pDst, int lags,
                                         int scaleFactor) {
    if (!pSrc1 || !pSrc2 || !pDst) return zinStsNullPtrErr;
    if (len < 1 || lags < 1) return zinStsSizeErr;
    if (scaleFactor < 0) return zinStsScaleRangeErr;
    cross_corr_nr_16s(pSrc1, pSrc2, len, pDst, lags, scaleFactor);
    return zinStsNoErr;
}

ZinStatus body::zinsCrossCorr_NR_16s(const Zin16s* pSrc1, const Zin16s* pSrc2, int len, Zin16s* pDst, int lags) {
    if (!pSrc1 || !pSrc2 || !pDst) return zinStsNullPtrErr;
    if (len < 1 || lags < 1) return zinStsSizeErr;
    cross_corr_nr_16s(pSrc1, pSrc2, len, pDst, lags, 15);
    return zinStsNoErr;
}

// Normalised cross-correlation: c[k] = sum over i < len-k of src1[i] *
// src2[i+k] in 32 bits (wrapping), doubled in 64 bits, then every lag shifted
// right arithmetically by the one count that brings the largest magnitude
// below 2^15 (no shift when it already fits).
ZinStatus body::zinsCrossCorr_NormM_16s(const Zin16s* pSrc1, const Zin16s* pSrc2, int len, Zin16s* pDst) {
    if (!pSrc1 || !pSrc2 || !pDst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    constexpr int kChunk = 256;
    alignas(16) Zin32s c[kChunk];
    // First pass: the largest doubled magnitude. Up to one chunk the sums stay
    // in the scratch; longer inputs recompute them chunk by chunk, so that the
    // stack scratch stays small.
    std::uint64_t m = 0;
    for (int k0 = 0; k0 < len; k0 += kChunk) {
        const int cnt = len - k0 < kChunk ? len - k0 : kChunk;
        triangle_wrap(pSrc1, pSrc2 + k0, len - k0, c, cnt);
        for (int k = 0; k < cnt; ++k) {
            const Zin64s d = 2 * Zin64s{c[k]};
            const std::uint64_t a = static_cast<std::uint64_t>(d < 0 ? -d : d);
            if (a > m) m = a;
        }
    }
    const int bits = m ? 64 - __builtin_clzll(m) : 0;
    const int sh = bits > 15 ? bits - 15 : 0;
    for (int k0 = 0; k0 < len; k0 += kChunk) {
        const int cnt = len - k0 < kChunk ? len - k0 : kChunk;
        if (len > kChunk) triangle_wrap(pSrc1, pSrc2 + k0, len - k0, c, cnt);
        for (int k = 0; k < cnt; ++k) pDst[k0 + k] = static_cast<Zin16s>((2 * Zin64s{c[k]}) >> sh);
    }
    return zinStsNoErr;
}

}  // namespace zin
