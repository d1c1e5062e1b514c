// ITU-T G.722.1 and its Annex C: the modulated lapped transform in two
// halves (the window fold of 5.2 / 6.2 and the fixed-point DCT-IV), and the
// vector Huffman coder of one region (4.6). Sizes 320 (7 kHz) and 640
// (14 kHz, Annex C). The arithmetic is the recommendation's fixed-point one,
// with saturation at every multiply-accumulate of the DCT core.
#include <immintrin.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "../frame/registry.h"
#include "../kernels/fixed_point.h"
#include "g7221_tables.h"

namespace zin {
namespace {

using namespace g7221;
using fx::mac32;
using fx::round16;

constexpr int kMaxSize = 640;
constexpr int kCore = 10;

inline bool good_size(int n) { return n == 320 || n == 640; }

// ---- vector forms of the core and the rotations ------------------------------
//
// A rotation output is one two-term L_mac sum, rounded (forward) or doubled
// with saturation and rounded (inverse). With |cos|, |sin| < 2^15 the sum of
// the two products is exact in 32 bits, and round(sat(2p)) is the 16-bit
// saturation of (p + 2^14) >> 15, round(sat(4p)) that of (p + 2^13) >> 14.

// Per rotation stage, the factor pairs of each output as pmaddwd takes them:
// output j below the middle is a*lo[j] + b*hi[j], output span-1-j above it
// c*lo[j] + d*hi[j]; even j use (cos, -msin) and (msin, cos), odd j (cos, msin)
// and (msin, -cos).
template <int kSize>
struct RotPairs {
    std::array<Zin16s, 2 * kSize> low, high;
};
template <int kSize>
constexpr RotPairs<kSize> rot_pairs(const Zin16s (*r)[2]) {
    RotPairs<kSize> p{};
    for (int j = 0; j < kSize; ++j) {
        const Zin16s c = r[j][0], m = r[j][1];
        const bool even = (j & 1) == 0;
        p.low[2 * j] = c;
        p.low[2 * j + 1] = even ? static_cast<Zin16s>(-m) : m;
        p.high[2 * j] = m;
        p.high[2 * j + 1] = even ? c : static_cast<Zin16s>(-c);
    }
    return p;
}
constexpr auto kRotPairsFwd2 = rot_pairs<10>(kCosMsinFwd2);
constexpr auto kRotPairsFwd4 = rot_pairs<20>(kCosMsinFwd4);
constexpr auto kRotPairsFwd8 = rot_pairs<40>(kCosMsinFwd8);
constexpr auto kRotPairsFwd16 = rot_pairs<80>(kCosMsinFwd16);
constexpr auto kRotPairsFwd32 = rot_pairs<160>(kCosMsinFwd32);
constexpr auto kRotPairsFwd64 = rot_pairs<320>(kCosMsinFwd64);
constexpr auto kRotPairsInv2 = rot_pairs<10>(kCosMsinInv2);
constexpr auto kRotPairsInv4 = rot_pairs<20>(kCosMsinInv4);
constexpr auto kRotPairsInv8 = rot_pairs<40>(kCosMsinInv8);
constexpr auto kRotPairsInv16 = rot_pairs<80>(kCosMsinInv16);
constexpr auto kRotPairsInv32 = rot_pairs<160>(kCosMsinInv32);
constexpr auto kRotPairsInv64 = rot_pairs<320>(kCosMsinInv64);
struct RotStage {
    const Zin16s* low;
    const Zin16s* high;
};
constexpr RotStage kRotStagesFwd[6] = {
    {kRotPairsFwd2.low.data(), kRotPairsFwd2.high.data()},   {kRotPairsFwd4.low.data(), kRotPairsFwd4.high.data()},
    {kRotPairsFwd8.low.data(), kRotPairsFwd8.high.data()},   {kRotPairsFwd16.low.data(), kRotPairsFwd16.high.data()},
    {kRotPairsFwd32.low.data(), kRotPairsFwd32.high.data()}, {kRotPairsFwd64.low.data(), kRotPairsFwd64.high.data()}};
constexpr RotStage kRotStagesInv[6] = {
    {kRotPairsInv2.low.data(), kRotPairsInv2.high.data()},   {kRotPairsInv4.low.data(), kRotPairsInv4.high.data()},
    {kRotPairsInv8.low.data(), kRotPairsInv8.high.data()},   {kRotPairsInv16.low.data(), kRotPairsInv16.high.data()},
    {kRotPairsInv32.low.data(), kRotPairsInv32.high.data()}, {kRotPairsInv64.low.data(), kRotPairsInv64.high.data()}};

template <bool kInverse>
inline __m128i round_pair_sums(__m128i lo4, __m128i hi4) {
    const int sh = kInverse ? 14 : 15;
    const __m128i bias = _mm_set1_epi32(kInverse ? 0x2000 : 0x4000);
    return _mm_packs_epi32(_mm_srai_epi32(_mm_add_epi32(lo4, bias), sh), _mm_srai_epi32(_mm_add_epi32(hi4, bias), sh));
}

// One set of a rotation stage: q = span/2 inputs in each half.
template <bool kInverse>
void rotate_set(const Zin16s* lo, const Zin16s* hi, const RotStage& st, Zin16s* out, int span) {
    const int q = span / 2;
    const __m128i reverse = _mm_setr_epi8(14, 15, 12, 13, 10, 11, 8, 9, 6, 7, 4, 5, 2, 3, 0, 1);
    int j = 0;
    for (; j + 8 <= q; j += 8) {
        const __m128i l = _mm_loadu_si128(reinterpret_cast<const __m128i*>(lo + j));
        const __m128i h = _mm_loadu_si128(reinterpret_cast<const __m128i*>(hi + j));
        const __m128i p0 = _mm_unpacklo_epi16(l, h), p1 = _mm_unpackhi_epi16(l, h);
        auto f = [&](const Zin16s* t) {
            return round_pair_sums<kInverse>(_mm_madd_epi16(p0, _mm_loadu_si128(reinterpret_cast<const __m128i*>(t + 2 * j))),
                                             _mm_madd_epi16(p1, _mm_loadu_si128(reinterpret_cast<const __m128i*>(t + 2 * j + 8))));
        };
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + j), f(st.low));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + span - 8 - j), _mm_shuffle_epi8(f(st.high), reverse));
    }
    for (; j < q; ++j) {
        auto one = [&](const Zin16s* t) {
            const Zin32s p = Zin32s{t[2 * j]} * lo[j] + Zin32s{t[2 * j + 1]} * hi[j];
            return fx::sat16(kInverse ? (p + 0x2000) >> 14 : (p + 0x4000) >> 15);
        };
        out[j] = one(st.low);
        out[span - 1 - j] = one(st.high);
    }
}

// The 10-point core as pmaddwd factor pairs: [input pair][output group of four][8].
constexpr std::array<Zin16s, 5 * 3 * 8> core_pairs(const Zin16s* core) {
    std::array<Zin16s, 5 * 3 * 8> t{};
    for (int p = 0; p < 5; ++p)
        for (int k = 0; k < 10; ++k) {
            t[(p * 3 + k / 4) * 8 + 2 * (k % 4)] = core[(2 * p) * 10 + k];
            t[(p * 3 + k / 4) * 8 + 2 * (k % 4) + 1] = core[(2 * p + 1) * 10 + k];
        }
    return t;
}
constexpr auto kCorePairsFwd = core_pairs(kCoreFwd);
constexpr auto kCorePairsInv = core_pairs(kCoreInv);
// The largest sum of magnitudes of a core column: while |x| stays below
// 2^30 over it, no partial L_mac sum can saturate, and the product sums are
// exact in 32 bits.
constexpr int column_bound(const Zin16s* core) {
    int best = 0;
    for (int k = 0; k < 10; ++k) {
        int s = 0;
        for (int i = 0; i < 10; ++i) s += core[i * 10 + k] < 0 ? -core[i * 10 + k] : core[i * 10 + k];
        best = s > best ? s : best;
    }
    return (1 << 30) / best;
}
constexpr int kCoreLimitFwd = column_bound(kCoreFwd);
constexpr int kCoreLimitInv = column_bound(kCoreInv);

// The DCT-IV of G.722.1: butterfly stages that split the block down to sets
// of ten, the 10-point core on each, and rotation stages that merge the sets
// back. The forward transform halves at each butterfly; the inverse adds the
// 0/1 dither in its first stage (then halves) and saturates without halving
// after it, and doubles each rotation sum before rounding.
template <bool kInverse>
void dct4(const Zin16s* in, Zin16s* out, int n) {
    alignas(16) Zin16s a[kMaxSize], b[kMaxSize];
    const int log = n == 320 ? 6 : 7;
    const Zin16s* src = in;
    Zin16s* dst = a;
    int di = 0;
    const Zin16s* dither = n == 320 ? kDither320 : kDither640;
    for (int s = 0; s <= log - 2; ++s) {
        const int span = n >> s, sets = 1 << s;
        const Zin16s* p = src;
        for (int k = 0; k < sets; ++k) {
            Zin16s* lo = dst + k * span;
            Zin16s* hi = lo + span;
            while (lo < hi) {
                const Zin16s x = *p++, y = *p++;
                if (!kInverse) {
                    *lo++ = static_cast<Zin16s>((Zin32s{x} + y) >> 1);
                    *--hi = static_cast<Zin16s>((Zin32s{x} - y) >> 1);
                } else if (s == 0) {
                    *lo++ = static_cast<Zin16s>((Zin32s{fx::add16(x, dither[di])} + y) >> 1);
                    *--hi = static_cast<Zin16s>((Zin32s{fx::add16(x, dither[di + 1])} - y) >> 1);
                    di += 2;
                } else {
                    *lo++ = fx::add16(x, y);
                    *--hi = fx::add16(x, fx::neg16(y));
                }
            }
        }
        src = dst;
        dst = dst == a ? b : a;
    }
    // The core: one 10 x 10 product per set, saturating at each step. Sets
    // whose largest magnitude keeps every partial sum in range take pmaddwd.
    const Zin16s* core = kInverse ? kCoreInv : kCoreFwd;
    const Zin16s* pairs = kInverse ? kCorePairsInv.data() : kCorePairsFwd.data();
    const int limit = kInverse ? kCoreLimitInv : kCoreLimitFwd;
    Zin16s* c = dst;
    for (int set = 0; set < n / kCore; ++set) {
        const Zin16s* x = src + set * kCore;
        Zin16s* y = c + set * kCore;
        int peak = 0;
        for (int i = 0; i < kCore; ++i) peak = std::max(peak, x[i] < 0 ? -Zin32s{x[i]} : Zin32s{x[i]});
        if (peak < limit) {
            __m128i acc[3] = {_mm_setzero_si128(), _mm_setzero_si128(), _mm_setzero_si128()};
            for (int p = 0; p < 5; ++p) {
                Zin32s two;
                std::memcpy(&two, x + 2 * p, 4);
                const __m128i xx = _mm_set1_epi32(two);
                for (int g = 0; g < 3; ++g)
                    acc[g] = _mm_add_epi32(acc[g], _mm_madd_epi16(xx, _mm_loadu_si128(reinterpret_cast<const __m128i*>(pairs + (p * 3 + g) * 8))));
            }
            const __m128i bias = _mm_set1_epi32(0x4000);
            auto r = [&](__m128i v) { return _mm_srai_epi32(_mm_add_epi32(v, bias), 15); };
            _mm_storeu_si128(reinterpret_cast<__m128i*>(y), _mm_packs_epi32(r(acc[0]), r(acc[1])));
            const __m128i last = _mm_packs_epi32(r(acc[2]), r(acc[2]));
            const Zin32s two = _mm_cvtsi128_si32(last);
            std::memcpy(y + 8, &two, 4);
            continue;
        }
        for (int k = 0; k < kCore; ++k) {
            Zin32s sum = 0;
            for (int i = 0; i < kCore; ++i) sum = mac32(sum, x[i], core[i * kCore + k]);
            y[k] = round16(sum);
        }
    }
    src = c;
    dst = c == a ? b : a;
    const RotStage* stages = kInverse ? kRotStagesInv : kRotStagesFwd;
    for (int s = log - 2, t = 0; s >= 0; --s, ++t) {
        const int span = n >> s, sets = 1 << s;
        Zin16s* base = s == 0 ? out : dst;
        for (int k = 0; k < sets; ++k)
            rotate_set<kInverse>(src + k * span, src + k * span + span / 2, stages[t], base + k * span, span);
        src = dst;
        dst = dst == a ? b : a;
    }
}

void dct_fwd(const Zin16s* src, Zin16s* dst, int n) {
    alignas(16) Zin16s x[kMaxSize];
    for (int i = 0; i < n; ++i) x[i] = n == 320 ? fx::add16(src[i], kAnalysisBias[i]) : src[i];
    dct4<false>(x, dst, n);
}

void dct_inv(const Zin16s* src, Zin16s* dst, int n) {
    alignas(16) Zin16s y[kMaxSize];
    dct4<true>(src, y, n);
    for (int i = 0; i < n; ++i) dst[i] = n == 320 ? fx::add16(y[i], kSynthesisBias[i]) : y[i];
}

// The window folds pair two windowed samples per output, as pmaddwd does:
// factor pairs per output in the order of the outputs, with the minus signs
// in the table. Window factors are below 2^15, so each pair sum is exact.
template <int kN>
struct FoldPairs {
    std::array<Zin16s, 2 * kN> f;
};
// Analysis: dst[i] = w[h-1-i] prev[h-1-i] + w[h+i] prev[h+i],
//           dst[h+i] = w[n-1-i] cur[i] - w[i] cur[n-1-i].
template <int kN>
constexpr FoldPairs<kN> analysis_pairs(const Zin16s* w) {
    FoldPairs<kN> p{};
    const int h = kN / 2;
    for (int i = 0; i < h; ++i) {
        p.f[2 * i] = w[h - 1 - i], p.f[2 * i + 1] = w[h + i];
        p.f[2 * (h + i)] = w[kN - 1 - i], p.f[2 * (h + i) + 1] = static_cast<Zin16s>(-w[i]);
    }
    return p;
}
// Synthesis: dst[i] = w[i] cur[h-1-i] + w[n-1-i] hist[i],
//            dst[h+i] = w[h+i] cur[i] - w[h-1-i] hist[h-1-i].
template <int kN>
constexpr FoldPairs<kN> synthesis_pairs(const Zin16s* w) {
    FoldPairs<kN> p{};
    const int h = kN / 2;
    for (int i = 0; i < h; ++i) {
        p.f[2 * i] = w[i], p.f[2 * i + 1] = w[kN - 1 - i];
        p.f[2 * (h + i)] = w[h + i], p.f[2 * (h + i) + 1] = static_cast<Zin16s>(-w[h - 1 - i]);
    }
    return p;
}
constexpr auto kAnalysis320 = analysis_pairs<320>(kWindowFwd320);
constexpr auto kAnalysis640 = analysis_pairs<640>(kWindowFwd640);
constexpr auto kSynthesis320 = synthesis_pairs<320>(kWindowInv320);
constexpr auto kSynthesis640 = synthesis_pairs<640>(kWindowInv640);

inline __m128i load8(const Zin16s* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline __m128i reversed8(const Zin16s* p) {
    return _mm_shuffle_epi8(load8(p), _mm_setr_epi8(14, 15, 12, 13, 10, 11, 8, 9, 6, 7, 4, 5, 2, 3, 0, 1));
}

// Eight outputs from eight (x, y) pairs and their factors: the L_mac pair
// sum, then round(sat(2p)) for the analysis and round(L_shl(sat(2p), 2)),
// that is round(sat(8p)), for the synthesis.
template <int kShift>
inline void fold8(__m128i x, __m128i y, const Zin16s* f, Zin16s* dst) {
    const __m128i bias = _mm_set1_epi32(1 << (kShift - 1));
    const __m128i a = _mm_madd_epi16(_mm_unpacklo_epi16(x, y), load8(f));
    const __m128i b = _mm_madd_epi16(_mm_unpackhi_epi16(x, y), load8(f + 8));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), _mm_packs_epi32(_mm_srai_epi32(_mm_add_epi32(a, bias), kShift),
                                                                       _mm_srai_epi32(_mm_add_epi32(b, bias), kShift)));
}

void mlt_to_dct(const Zin16s* cur, const Zin16s* prev, Zin16s* dst, int n) {
    const Zin16s* f = n == 320 ? kAnalysis320.f.data() : kAnalysis640.f.data();
    const int h = n / 2;
    for (int i = 0; i < h; i += 8) {
        fold8<15>(reversed8(prev + h - 8 - i), load8(prev + h + i), f + 2 * i, dst + i);
        fold8<15>(load8(cur + i), reversed8(cur + n - 8 - i), f + 2 * (h + i), dst + h + i);
    }
}

void dct_to_mlt(const Zin16s* cur, const Zin16s* hist, Zin16s* dst, int n) {
    const Zin16s* f = n == 320 ? kSynthesis320.f.data() : kSynthesis640.f.data();
    const int h = n / 2;
    for (int i = 0; i < h; i += 8) {
        fold8<13>(reversed8(cur + h - 8 - i), load8(hist + i), f + 2 * i, dst + i);
        fold8<13>(load8(cur + i), reversed8(hist + h - 8 - i), f + 2 * (h + i), dst + h + i);
    }
}

// Per category: vector dimension, vectors per region, largest index, and
// the code and length tables (G.722.1 Tables 11 to 17 of the vector codes).
struct Category {
    int dim, vectors, kmax;
    const std::uint16_t* codes;
    const Zin16s* bits;
};
constexpr Category kCategories[7] = {
    {2, 10, 13, kVqCodes0, kVqBits0}, {2, 10, 9, kVqCodes1, kVqBits1}, {2, 10, 6, kVqCodes2, kVqBits2},
    {4, 5, 4, kVqCodes3, kVqBits3},   {4, 5, 3, kVqCodes4, kVqBits4},  {5, 4, 2, kVqCodes5, kVqBits5},
    {5, 4, 1, kVqCodes6, kVqBits6},
};

// One region: each coefficient's magnitude scaled by the inverse step of the
// category and region power, with the dead zone and the two fractional bits
// of the scale, cut to the largest index; each vector's indices make one
// number (first coefficient most significant), whose code and the signs of
// its non-zero values (1 for positive) fill 32-bit words from the top.
int huffman_region(int category, int power, const Zin16s* x, Zin32u* words) {
    const Category& c = kCategories[category];
    const Zin32s scale = ((Zin32s{kStepSizeInverse[category]} * kStdDevInverse[power]) + 4096) >> 13;
    const Zin16s frac = static_cast<Zin16s>(scale & 3);
    const Zin32s mult = scale >> 2;
    const Zin32s dead = kDeadZone[category];
    const Zin16s low = kDeadZoneLowBits[category];
    Zin32u word = 0;
    int free = 32, total = 0;
    for (int v = 0; v < c.vectors; ++v) {
        int index = 0, signs = 0, nonzero = 0;
        for (int j = 0; j < c.dim; ++j, ++x) {
            const Zin16s m = fx::abs16(*x);
            // The fractional product is kept to 16 bits, as the reference does.
            Zin16s f = static_cast<Zin16s>(2 * Zin32s{m} * frac);
            f = static_cast<Zin16s>(f >> 1);
            f = static_cast<Zin16s>(f + low);
            f = static_cast<Zin16s>(f >> 2);
            // The index is cut to 0..largest from its full value. The
            // reference keeps only its low 16 bits, and a wrapped fractional
            // term can make it -1: both only for magnitudes far from the
            // region's power, where the reference's own table reads leave
            // the tables.
            int k = std::max((Zin32s{m} * mult + dead + f) >> 13, 0);
            if (k != 0) {
                ++nonzero;
                signs = (signs << 1) + (*x > 0);
                if (k > c.kmax) k = c.kmax;
            }
            index = index * (c.kmax + 1) + k;
        }
        const int nbits = c.bits[index] + nonzero;
        total += nbits;
        const Zin32u code = (Zin32u{c.codes[index]} << nonzero) + static_cast<Zin32u>(signs);
        if (nbits <= free) {
            free -= nbits;
            word |= code << free;
        } else {
            const int over = nbits - free;
            *words++ = word | (code >> over);
            free = 32 - over;
            word = code << free;
        }
    }
    *words = word;
    return total;
}

}  // namespace

ZinStatus body::zinsDCTFwd_G7221_16s(const Zin16s* pSrc, Zin16s* pDst, int size) {
    if (!pSrc || !pDst) return zinStsNullPtrErr;
    if (!good_size(size)) return zinStsSizeErr;
    dct_fwd(pSrc, pDst, size);
    return zinStsNoErr;
}

ZinStatus body::zinsDCTInv_G7221_16s(const Zin16s* pSrc, Zin16s* pDst, int size) {
    if (!pSrc || !pDst) return zinStsNullPtrErr;
    if (!good_size(size)) return zinStsSizeErr;
    dct_inv(pSrc, pDst, size);
    return zinStsNoErr;
}

ZinStatus body::zinsDecomposeMLTToDCT_G7221_16s(const Zin16s* pSrc1, const Zin16s* pSrc2, Zin16s* pDst, int size) {
    if (!pSrc1 || !pSrc2 || !pDst) return zinStsNullPtrErr;
    if (!good_size(size)) return zinStsSizeErr;
    mlt_to_dct(pSrc1, pSrc2, pDst, size);
    return zinStsNoErr;
}

ZinStatus body::zinsDecomposeDCTToMLT_G7221_16s(const Zin16s* pSrc1, const Zin16s* pSrc2, Zin16s* pDst, int size) {
    if (!pSrc1 || !pSrc2 || !pDst) return zinStsNullPtrErr;
    if (!good_size(size)) return zinStsSizeErr;
    dct_to_mlt(pSrc1, pSrc2, pDst, size);
    return zinStsNoErr;
}

ZinStatus body::zinsDCTFwd_G722_16s(const Zin16s* pSrc, Zin16s* pDst) {
    return zinsDCTFwd_G7221_16s(pSrc, pDst, 320);
}

ZinStatus body::zinsDCTInv_G722_16s(const Zin16s* pSrc, Zin16s* pDst) {
    return zinsDCTInv_G7221_16s(pSrc, pDst, 320);
}

ZinStatus body::zinsDecomposeMLTToDCT_G722_16s(const Zin16s* pSrc1, const Zin16s* pSrc2, Zin16s* pDst) {
    return zinsDecomposeMLTToDCT_G7221_16s(pSrc1, pSrc2, pDst, 320);
}

ZinStatus body::zinsDecomposeDCTToMLT_G722_16s(const Zin16s* pSrc1, const Zin16s* pSrc2, Zin16s* pDst) {
    return zinsDecomposeDCTToMLT_G7221_16s(pSrc1, pSrc2, pDst, 320);
}

ZinStatus body::zinsHuffmanEncode_G722_16s32u(int category, int powerIndex, const Zin16s* pSrc, Zin32u* pDst,
                                              int* pBitCount) {
    if (!pSrc || !pDst || !pBitCount) return zinStsNullPtrErr;
    if (category < 0 || category > 6 || powerIndex < 0 || powerIndex > 63) return zinStsScaleRangeErr;
    *pBitCount = huffman_region(category, powerIndex, pSrc, pDst);
    return zinStsNoErr;
}

}  // namespace zin
