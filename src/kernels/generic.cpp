// The generic arithmetic exports: scaling, rounded products, interpolation,
// inverse square root and the self-scaling dot product.
#include <immintrin.h>

#include "../frame/registry.h"
#include "fixed_point.h"
#include "kernels.h"

namespace zin {
namespace {

// Arithmetic shift of a vector, left for positive counts and right for
// negative ones; 16 or more gives zeros to the left and the sign fill to the
// right. Works in place.
void shift_vector(const Zin16s* src, Zin16s* dst, int len, int left) {
    if (left > 0)
        LShiftC_16s(src, left, dst, len);
    else if (left < 0)
        RShiftC_16s(src, -left, dst, len);
    else if (src != dst)
        Copy_16s(src, dst, len);
}

ZinStatus auto_scale(const Zin16s* src, Zin16s* dst, int len, int* scale) {
    Zin16s m = 0;
    MaxAbs_16s(src, len, &m);
    const int h = *scale;
    if (m == 0) {
        Zero_16s(dst, len);
        *scale = 16 - h;
        return zinStsNoErr;
    }
    const int k = Norm_16s(m);
    shift_vector(src, dst, len, k - h);
    *scale = k - h;
    return zinStsNoErr;
}

// dst = saturate((a*b + 2^(s-1)) >> s) with an exact product; s >= 0.
inline Zin16s mul_nr(Zin16s a, Zin16s b, int s) {
    return fx::sat16(ShiftNR(Zin64s{a} * b, s > 62 ? 62 : s));
}

void mul_nr_vector(const Zin16s* a, const Zin16s* b, Zin16s* dst, int len, int s) {
    int i = 0;
    // In 32-bit lanes the rounded product is exact while the rounding term
    // stays below 2^30, that is up to a scale of 30.
    if (s <= 30) {
        const __m128i rnd = _mm_set1_epi32(s > 0 ? (1 << (s - 1)) : 0);
        const __m128i n = _mm_cvtsi32_si128(s);
        for (; i + 8 <= len; i += 8) {
            const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(a + i));
            const __m128i y = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + i));
            const __m128i lo = _mm_mullo_epi16(x, y), hi = _mm_mulhi_epi16(x, y);
            __m128i p0 = _mm_unpacklo_epi16(lo, hi), p1 = _mm_unpackhi_epi16(lo, hi);
            p0 = _mm_sra_epi32(_mm_add_epi32(p0, rnd), n);
            p1 = _mm_sra_epi32(_mm_add_epi32(p1, rnd), n);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), _mm_packs_epi32(p0, p1));
        }
    }
    for (; i < len; ++i) dst[i] = mul_nr(a[i], b[i], s);
}

void mul_nr_const(const Zin16s* a, Zin16s v, Zin16s* dst, int len, int s) {
    int i = 0;
    if (s <= 30) {
        const __m128i y = _mm_set1_epi16(v);
        const __m128i rnd = _mm_set1_epi32(s > 0 ? (1 << (s - 1)) : 0);
        const __m128i n = _mm_cvtsi32_si128(s);
        for (; i + 8 <= len; i += 8) {
            const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(a + i));
            const __m128i lo = _mm_mullo_epi16(x, y), hi = _mm_mulhi_epi16(x, y);
            __m128i p0 = _mm_unpacklo_epi16(lo, hi), p1 = _mm_unpackhi_epi16(lo, hi);
            p0 = _mm_sra_epi32(_mm_add_epi32(p0, rnd), n);
            p1 = _mm_sra_epi32(_mm_add_epi32(p1, rnd), n);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), _mm_packs_epi32(p0, p1));
        }
    }
    for (; i < len; ++i) dst[i] = mul_nr(a[i], v, s);
}

// One step of the power recursion: at scale 15 the 32-bit result is stored
// in 16 bits without saturation; at other scales the rounded sum saturates to
// 32 bits before the shift and to 16 bits after it.
inline Zin16s power_product(Zin16s a, Zin16s b, int s) {
    const Zin64s p = Zin64s{a} * b;
    if (s == 15) return fx::wrap16(static_cast<Zin32s>((p + (1 << 14)) >> 15));
    const Zin64s rounded = fx::sat32(p + (s > 0 ? (Zin64s{1} << (s - 1 > 62 ? 62 : s - 1)) : 0));
    return fx::sat16(Zin64s{rounded} >> (s > 62 ? 62 : s));
}

// The G.729 inverse square root table, T[16..64] (ITU-T G.729, tabsqr).
constexpr Zin16s kInvSqrtTable[49] = {
    32767, 31790, 30894, 30070, 29309, 28602, 27945, 27330, 26755, 26214,
    25705, 25225, 24770, 24339, 23930, 23541, 23170, 22817, 22479, 22155,
    21845, 21548, 21263, 20988, 20724, 20470, 20225, 19988, 19760, 19539,
    19326, 19119, 18919, 18725, 18536, 18354, 18176, 18004, 17837, 17674,
    17515, 17361, 17211, 17064, 16921, 16782, 16646, 16514, 16384,
};

// Twice the step to the next entry, stored ready for the interpolation.
constexpr auto make_inv_sqrt_steps() {
    struct { Zin32s d[48]; } t{};
    for (int i = 0; i < 48; ++i) t.d[i] = 2 * (kInvSqrtTable[i] - kInvSqrtTable[i + 1]);
    return t;
}
constexpr auto kInvSqrtSteps = make_inv_sqrt_steps();

inline Zin32s inv_sqrt(Zin32s x) {
    if (x <= 0) return 0x3FFFFFFF;
    const int n = Norm_32s(x);
    x = static_cast<Zin32s>(static_cast<std::uint32_t>(x) << n);
    const int e = 32 - n;
    if ((e & 1) == 0) x >>= 1;
    const int i = (x >> 25) - 16;
    const Zin32s a = (x >> 10) & 0x7FFF;
    const Zin32s y = (Zin32s{kInvSqrtTable[i]} << 16) - a * kInvSqrtSteps.d[i];
    return y >> (e >> 1);
}

inline Zin16s interpolate(Zin16s x1, Zin16s v1, int s1, Zin16s x2, Zin16s v2, int s2) {
    auto p1 = static_cast<std::uint32_t>(Zin32s{x1} * v1);
    auto p2 = static_cast<std::uint32_t>(Zin32s{x2} * v2);
    int s = s1;
    if (s1 > s2) {
        p1 = s1 - s2 >= 32 ? 0u : p1 << (s1 - s2);
        s = s2;
    } else {
        p2 = s2 - s1 >= 32 ? 0u : p2 << (s2 - s1);
    }
    const auto sum = static_cast<Zin32s>(p1 + p2);
    if (s >= 16) {
        const int up = s - 16;
        return fx::sat16(up >= 32 ? Zin64s{0} : Zin64s{sum} * (Zin64s{1} << up));
    }
    const int down = 16 - s;
    return fx::sat16((Zin64s{sum} + (Zin64s{1} << (down - 1))) >> down);
}

}  // namespace

ZinStatus body::zinsAutoScale_16s(const Zin16s* pSrc, Zin16s* pDst, int len, int* pScale) {
    if (!pSrc || !pDst || !pScale) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    if (*pScale < 0) return zinStsScaleRangeErr;
    return auto_scale(pSrc, pDst, len, pScale);
}

ZinStatus body::zinsAutoScale_16s_I(Zin16s* pSrcDst, int len, int* pScale) {
    if (!pSrcDst || !pScale) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    if (*pScale < 0) return zinStsScaleRangeErr;
    return auto_scale(pSrcDst, pSrcDst, len, pScale);
}

ZinStatus body::zinsMul_NR_16s_Sfs(const Zin16s* pSrc1, const Zin16s* pSrc2, Zin16s* pDst, int len, int scaleFactor) {
    if (!pSrc1 || !pSrc2 || !pDst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    if (scaleFactor < 0) return zinStsScaleRangeErr;
    mul_nr_vector(pSrc1, pSrc2, pDst, len, scaleFactor);
    return zinStsNoErr;
}

ZinStatus body::zinsMul_NR_16s_ISfs(const Zin16s* pSrc, Zin16s* pSrcDst, int len, int scaleFactor) {
    if (!pSrc || !pSrcDst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    if (scaleFactor < 0) return zinStsScaleRangeErr;
    mul_nr_vector(pSrc, pSrcDst, pSrcDst, len, scaleFactor);
    return zinStsNoErr;
}

ZinStatus body::zinsMulC_NR_16s_Sfs(const Zin16s* pSrc, Zin16s val, Zin16s* pDst, int len, int scaleFactor) {
    if (!pSrc || !pDst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    if (scaleFactor < 0) return zinStsScaleRangeErr;
    mul_nr_const(pSrc, val, pDst, len, scaleFactor);
    return zinStsNoErr;
}

ZinStatus body::zinsMulC_NR_16s_ISfs(Zin16s val, Zin16s* pSrcDst, int len, int scaleFactor) {
    if (!pSrcDst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    if (scaleFactor < 0) return zinStsScaleRangeErr;
    mul_nr_const(pSrcDst, val, pSrcDst, len, scaleFactor);
    return zinStsNoErr;
}

ZinStatus body::zinsMulPowerC_NR_16s_Sfs(const Zin16s* pSrc, Zin16s val, Zin16s* pDst, int len, int scaleFactor) {
    if (!pSrc || !pDst) return zinStsNullPtrErr;
    if (scaleFactor < 0) return zinStsScaleRangeErr;
    if (len < 1) return zinStsSizeErr;
    pDst[0] = pSrc[0];
    Zin16s p = val;
    for (int i = 1; i < len; ++i) {
        pDst[i] = power_product(pSrc[i], p, scaleFactor);
        p = power_product(p, val, scaleFactor);
    }
    return zinStsNoErr;
}

ZinStatus body::zinsInvSqrt_32s_I(Zin32s* pSrcDst, int len) {
    if (!pSrcDst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    for (int i = 0; i < len; ++i) pSrcDst[i] = inv_sqrt(pSrcDst[i]);
    return zinStsNoErr;
}

ZinStatus body::zinsInterpolateC_NR_16s(const Zin16s* pSrc1, Zin16s val1, int val1ScaleFactor, const Zin16s* pSrc2,
                                        Zin16s val2, int val2ScaleFactor, Zin16s* pDst, int len) {
    if (!pSrc1 || !pSrc2 || !pDst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    if (val1ScaleFactor < 0 || val2ScaleFactor < 0) return zinStsScaleRangeErr;
    for (int i = 0; i < len; ++i)
        pDst[i] = interpolate(pSrc1[i], val1, val1ScaleFactor, pSrc2[i], val2, val2ScaleFactor);
    return zinStsNoErr;
}

ZinStatus body::zinsDotProdAutoScale_16s32s_Sfs(const Zin16s* pSrc1, const Zin16s* pSrc2, int len, Zin32s* pDp,
                                                int* pSf) {
    if (!pSrc1 || !pSrc2 || !pDp || !pSf) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    int shift[2] = {0, 0};
    int turn = 1;  // the first increment falls on the second input's count
    for (;;) {
        const int s1 = shift[0], s2 = shift[1];
        Zin64s acc = Zin64s{static_cast<Zin16s>(pSrc1[0] >> s1)} * static_cast<Zin16s>(pSrc2[0] >> s2);
        for (int i = 1; i < len; ++i) {
            const Zin32s p = fx::wrap_mul32(2 * ((pSrc1[i] >> s1)), pSrc2[i] >> s2);
            acc += p;
        }
        if (acc >= fx::kMin32 && acc <= fx::kMax32) {
            *pDp = static_cast<Zin32s>(acc);
            *pSf = s1 + s2;
            return zinStsNoErr;
        }
        ++shift[turn];
        turn ^= 1;
    }
}

}  // namespace zin
