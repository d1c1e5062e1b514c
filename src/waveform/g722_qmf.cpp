// G.722 quadrature mirror filters (ITU-T G.722 clause 4) on a caller-owned
// 24-word delay line, and the decimator and high-band filter that prepare a
// signal for concealment.
#include <immintrin.h>

#include "../frame/registry.h"
#include "g722_tables.h"
#include "kernels/fixed_point.h"

namespace zin::g722 {
namespace {

// The doubled QMF coefficients as they meet the delay line: plain (a + b),
// with the odd taps negated (a - b), and split into even taps only (a) and
// odd taps only (b).
struct QmfVectors {
    alignas(16) Zin16s all[24];
    alignas(16) Zin16s alt[24];
    alignas(16) Zin16s even[24];
    alignas(16) Zin16s odd[24];
};
constexpr QmfVectors kQmfVec = [] {
    QmfVectors v{};
    for (int i = 0; i < 24; ++i) {
        v.all[i] = kQmf[i];
        v.alt[i] = static_cast<Zin16s>((i & 1) ? -kQmf[i] : kQmf[i]);
        v.even[i] = (i & 1) ? Zin16s{0} : kQmf[i];
        v.odd[i] = (i & 1) ? kQmf[i] : Zin16s{0};
    }
    return v;
}();

inline __m128i load(const Zin16s* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline __m128i load_aligned(const Zin16s* p) { return _mm_load_si128(reinterpret_cast<const __m128i*>(p)); }
inline void store(Zin16s* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }

// Sum of the 24 products of the delay line (x0, x1, x2) with a coefficient
// set, as four 32-bit partial sums.
inline __m128i dot24(__m128i x0, __m128i x1, __m128i x2, const Zin16s* c) {
    const __m128i s0 = _mm_madd_epi16(x0, load_aligned(c));
    const __m128i s1 = _mm_madd_epi16(x1, load_aligned(c + 8));
    const __m128i s2 = _mm_madd_epi16(x2, load_aligned(c + 16));
    return _mm_add_epi32(_mm_add_epi32(s0, s1), s2);
}

// Moves the delay line by two words: words 2..23 take words 0..21, words 0
// and 1 keep their values.
inline void shift_by_two(__m128i& x0, __m128i& x1, __m128i& x2) {
    x2 = _mm_alignr_epi8(x2, x1, 12);
    x1 = _mm_alignr_epi8(x1, x0, 12);
    x0 = _mm_blend_epi16(_mm_slli_si128(x0, 4), x0, 0x03);
}

// Puts the 32-bit word `pair` (word 0 in its low half) at words 0 and 1.
inline __m128i enter(__m128i x0, __m128i pair) { return _mm_blend_epi16(x0, pair, 0x03); }

void qmf_encode(const Zin16s* src, Zin16s* dst, int pairs, Zin16s* delay) {
    __m128i x0 = load(delay), x1 = load(delay + 8), x2 = load(delay + 16);
    const __m128i hi = _mm_set1_epi16(16383), lo = _mm_set1_epi16(-16384);
    for (int k = 0; k < pairs; ++k) {
        // The older sample to word 1, the newer to word 0.
        std::uint32_t w;
        __builtin_memcpy(&w, src + 2 * k, 4);
        x0 = enter(x0, _mm_cvtsi32_si128(static_cast<int>((w >> 16) | (w << 16))));
        const __m128i s = dot24(x0, x1, x2, kQmfVec.all);  // a + b
        const __m128i d = dot24(x0, x1, x2, kQmfVec.alt);  // a - b
        __m128i t = _mm_hadd_epi32(s, d);
        t = _mm_hadd_epi32(t, t);                          // a+b, a-b, a+b, a-b
        t = _mm_srai_epi32(t, 15);
        t = _mm_packs_epi32(t, t);
        t = _mm_max_epi16(_mm_min_epi16(t, hi), lo);
        const int out = _mm_cvtsi128_si32(t);
        __builtin_memcpy(dst + 2 * k, &out, 4);
        shift_by_two(x0, x1, x2);
    }
    store(delay, x0);
    store(delay + 8, x1);
    store(delay + 16, x2);
}

void qmf_decode(const Zin16s* src, Zin16s* dst, int pairs, Zin16s* delay) {
    __m128i x0 = load(delay), x1 = load(delay + 8), x2 = load(delay + 16);
    for (int k = 0; k < pairs; ++k) {
        int w;
        __builtin_memcpy(&w, src + 2 * k, 4);
        const __m128i v = _mm_cvtsi32_si128(w);                        // low, high
        const __m128i l = _mm_shufflelo_epi16(v, 0x00);                // low, low
        const __m128i h = _mm_shufflelo_epi16(v, 0x55);                // high, high
        // Word 0 takes low - high, word 1 low + high, both saturated.
        x0 = enter(x0, _mm_blend_epi16(_mm_subs_epi16(l, h), _mm_adds_epi16(l, h), 0x02));
        const __m128i a = dot24(x0, x1, x2, kQmfVec.even);
        const __m128i b = dot24(x0, x1, x2, kQmfVec.odd);
        __m128i t = _mm_hadd_epi32(a, b);
        t = _mm_hadd_epi32(t, t);                                      // a, b, a, b
        t = _mm_packs_epi32(_mm_srai_epi32(t, 12), t);
        const int out = _mm_cvtsi128_si32(t);
        __builtin_memcpy(dst + 2 * k, &out, 4);
        shift_by_two(x0, x1, x2);
    }
    store(delay, x0);
    store(delay + 8, x1);
    store(delay + 16, x2);
}

}  // namespace
}  // namespace zin::g722

using namespace zin;

ZinStatus zin::body::zinsQMFEncode_G722_16s(const Zin16s* pSrc, Zin16s* pDst, int len, Zin16s* pDelay) {
    if (!pSrc || !pDst || !pDelay) return zinStsNullPtrErr;
    if (len < 1 || (len & 1)) return zinStsSizeErr;
    g722::qmf_encode(pSrc, pDst, len / 2, pDelay);
    return zinStsNoErr;
}

ZinStatus zin::body::zinsQMFDecode_G722_16s(const Zin16s* pSrc, Zin16s* pDst, int len, Zin16s* pDelay) {
    if (!pSrc || !pDst || !pDelay) return zinStsNullPtrErr;
    if (len < 1 || (len & 1)) return zinStsSizeErr;
    g722::qmf_decode(pSrc, pDst, len / 2, pDelay);
    return zinStsNoErr;
}

// Decimation by four: output j from the nine samples ending at src[4j + 3],
// of which the first five of the first output lie before src.
ZinStatus zin::body::zinsDownsampleFilter_G722_16s(const Zin16s* pSrc, int len, Zin16s* pDst) {
    if (!pSrc || !pDst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    const int outputs = len / 4;
    for (int j = 0; j < outputs; ++j) {
        const Zin16s* x = pSrc + 4 * j + 3;
        Zin64s sum = 0;
        for (int t = 0; t < 9; ++t) sum += Zin32s{g722::kDecimTaps[t]} * x[-t];
        pDst[j] = fx::round16(fx::sat32(sum));
    }
    return zinStsNoErr;
}

// First-order high-pass on the high band: u = mult_r(x, 29212),
// y = u - u' + mult_r(y', 25656), saturated once at the end.
ZinStatus zin::body::zinsFilterHighband_G722_16s_I(Zin16s* pSrcDst, int len, Zin16s* pMem) {
    if (!pSrcDst || !pMem) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    Zin32s uPrev = pMem[0];
    Zin16s y = pMem[1];
    for (int n = 0; n < len; ++n) {
        const Zin32s u = (Zin32s{pSrcDst[n]} * 29212 + 16384) >> 15;
        y = fx::sat16(u - uPrev + ((Zin32s{y} * 25656 + 16384) >> 15));
        uPrev = u;
        pSrcDst[n] = y;
    }
    pMem[0] = static_cast<Zin16s>(uPrev);
    pMem[1] = y;
    return zinStsNoErr;
}
