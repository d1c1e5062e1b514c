// Partial (causal, truncated) convolutions: dst[n] = sum for k in 0..n of
// src1[k] * src2[n-k], for n below len.
//
// The sums wrap in 32 bits. The `_NR` form reproduces the basic operators of
// the ITU-T/ETSI references (L_mac with saturation after every addition,
// then round) whenever a partial sum could saturate; otherwise it takes the
// plain sum, which gives the same result.
#include <immintrin.h>

#include "../frame/registry.h"
#include "corr_kernels.h"
#include "fixed_point.h"
#include "kernels.h"

namespace zin {
namespace {

using corr::prod_u32;

// Calls out8(n, lo, hi) for each block of eight outputs n..n+7 (32-bit sums,
// output order) and out1(n, sum) for the outputs after the last block.
template <typename Out8, typename Out1>
void conv_wrap(const Zin16s* h, const Zin16s* x, int len, Out8 out8, Out1 out1) {
    int n = 0;
    for (; n + 8 <= len; n += 8) {
        __m128i lo, hi;
        // Terms k <= n lie inside x for all eight outputs.
        corr::fir8_wrap(x + n, h, n + 1, lo, hi);
        // The triangle k = n+1 .. n+j of output j.
        alignas(16) std::uint32_t t[8] = {};
        for (int j = 1; j < 8; ++j)
            for (int k = n + 1; k <= n + j; ++k) t[j] += prod_u32(h[k], x[n + j - k]);
        lo = _mm_add_epi32(lo, _mm_load_si128(reinterpret_cast<const __m128i*>(t)));
        hi = _mm_add_epi32(hi, _mm_load_si128(reinterpret_cast<const __m128i*>(t + 4)));
        out8(n, lo, hi);
    }
    for (; n < len; ++n) {
        std::uint32_t acc = 0;
        for (int k = 0; k <= n; ++k) acc += prod_u32(h[k], x[n - k]);
        out1(n, static_cast<Zin32s>(acc));
    }
}

// Low 16 bits of each 32-bit lane, packed: (v << 16) >> 16 fits a signed pack.
inline __m128i pack_low16(__m128i lo, __m128i hi) {
    return _mm_packs_epi32(_mm_srai_epi32(_mm_slli_epi32(lo, 16), 16), _mm_srai_epi32(_mm_slli_epi32(hi, 16), 16));
}

// (sum + 16384) >> 15, low 16 bits: the plain Q15 form.
void conv_q15_plain(const Zin16s* a, const Zin16s* b, Zin16s* dst, int len) {
    const __m128i rnd = _mm_set1_epi32(16384);
    conv_wrap(
        a, b, len,
        [&](int n, __m128i lo, __m128i hi) {
            lo = _mm_srai_epi32(_mm_add_epi32(lo, rnd), 15);
            hi = _mm_srai_epi32(_mm_add_epi32(hi, rnd), 15);
            corr::store(dst + n, pack_low16(lo, hi));
        },
        [&](int n, Zin32s s) { dst[n] = fx::wrap16(fx::wrap_add32(s, 16384) >> 15); });
}

}  // namespace

ZinStatus body::zinsConvPartial_16s32s(const Zin16s* pSrc1, const Zin16s* pSrc2, Zin32s* pDst, int len) {
    if (!pSrc1 || !pSrc2 || !pDst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    conv_wrap(
        pSrc1, pSrc2, len,
        [&](int n, __m128i lo, __m128i hi) {
            corr::store(pDst + n, lo);
            corr::store(pDst + n + 4, hi);
        },
        [&](int n, Zin32s s) { pDst[n] = s; });
    return zinStsNoErr;
}

ZinStatus body::zinsConvPartial_16s_Sfs(const Zin16s* pSrc1, const Zin16s* pSrc2, Zin16s* pDst, int len,
                                        int scaleFactor) {
    if (!pSrc1 || !pSrc2 || !pDst) return zinStsNullPtrErr;
    if (scaleFactor < 0) return zinStsBadArgErr;  // before the length, on purpose
    if (len < 1) return zinStsSizeErr;
    const int s = scaleFactor > 31 ? 31 : scaleFactor;
    const __m128i cnt = _mm_cvtsi32_si128(s);
    conv_wrap(
        pSrc1, pSrc2, len,
        [&](int n, __m128i lo, __m128i hi) { corr::store(pDst + n, pack_low16(_mm_sra_epi32(lo, cnt), _mm_sra_epi32(hi, cnt))); },
        [&](int n, Zin32s v) { pDst[n] = fx::wrap16(v >> s); });
    return zinStsNoErr;
}

ZinStatus body::zinsConvPartial_NR_16s(const Zin16s* pSrc1, const Zin16s* pSrc2, Zin16s* pDst, int len) {
    if (!pSrc1 || !pSrc2 || !pDst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    Zin32s e1 = 0, e2 = 0;
    DotProd_16s32s_Sfs(pSrc1, pSrc1, len, &e1, 0);
    DotProd_16s32s_Sfs(pSrc2, pSrc2, len, &e2, 0);
    if (e1 < 0x7FFFFFFE && e2 < 0x7FFFFFFE) {
        conv_q15_plain(pSrc1, pSrc2, pDst, len);
        return zinStsNoErr;
    }
    // The operators' own sum: L_mac term by term, then round.
    for (int n = 0; n < len; ++n) {
        Zin32s acc = 0;
        for (int k = 0; k <= n; ++k) acc = fx::mac32(acc, pSrc1[k], pSrc2[n - k]);
        pDst[n] = fx::round16(acc);
    }
    return zinStsNoErr;
}

ZinStatus body::zinsConvPartial_NR_Low_16s(const Zin16s* pSrc1, const Zin16s* pSrc2, Zin16s* pDst, int len) {
    if (!pSrc1 || !pSrc2 || !pDst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    conv_q15_plain(pSrc1, pSrc2, pDst, len);
    return zinStsNoErr;
}

}  // namespace zin
