// ITU-T G.722.1 and its Annex C: the modulated lapped transform in two
// halves (the window fold of 5.2 / 6.2 and the fixed-point DCT-IV), and the
// vector Huffman coder of one region (4.6). Sizes 320 (7 kHz) and 640
// (14 kHz, Annex C). The arithmetic is the recommendation's fixed-point one,
// with saturation at every multiply-accumulate of the DCT core.
#include <algorithm>
#include <cstdint>

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

// Rotation tables of the stages, smallest first.
using Rot = const Zin16s (*)[2];
constexpr Rot kRotFwd[6] = {kCosMsinFwd2, kCosMsinFwd4, kCosMsinFwd8, kCosMsinFwd16, kCosMsinFwd32, kCosMsinFwd64};
constexpr Rot kRotInv[6] = {kCosMsinInv2, kCosMsinInv4, kCosMsinInv8, kCosMsinInv16, kCosMsinInv32, kCosMsinInv64};

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
    // The core: one 10 x 10 product per set, saturating at each step.
    const Zin16s* core = kInverse ? kCoreInv : kCoreFwd;
    Zin16s* c = dst;
    for (int set = 0; set < n / kCore; ++set) {
        const Zin16s* x = src + set * kCore;
        for (int k = 0; k < kCore; ++k) {
            Zin32s sum = 0;
            for (int i = 0; i < kCore; ++i) sum = mac32(sum, x[i], core[i * kCore + k]);
            c[set * kCore + k] = round16(sum);
        }
    }
    src = c;
    dst = c == a ? b : a;
    const Rot* rot = kInverse ? kRotInv : kRotFwd;
    for (int s = log - 2, t = 0; s >= 0; --s, ++t) {
        const int span = n >> s, sets = 1 << s;
        Zin16s* base = s == 0 ? out : dst;
        for (int k = 0; k < sets; ++k) {
            const Zin16s* lo_in = src + k * span;
            const Zin16s* hi_in = lo_in + span / 2;
            Zin16s* lo = base + k * span;
            Zin16s* hi = lo + span;
            const Zin16s(*r)[2] = rot[t];
            auto out16 = [](Zin32s sum) { return round16(kInverse ? fx::shl32(sum, 1) : sum); };
            while (lo < hi) {
                const Zin16s le = *lo_in++, lodd = *lo_in++, he = *hi_in++, hodd = *hi_in++;
                const Zin16s ce = r[0][0], me = r[0][1], co = r[1][0], mo = r[1][1];
                r += 2;
                *lo++ = out16(mac32(mac32(0, ce, le), fx::neg16(me), he));
                *--hi = out16(mac32(mac32(0, me, le), ce, he));
                *lo++ = out16(mac32(mac32(0, co, lodd), mo, hodd));
                *--hi = out16(mac32(mac32(0, mo, lodd), fx::neg16(co), hodd));
            }
        }
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

// Analysis fold: the previous frame makes the first half, the current frame
// the second, each output the rounded sum of two windowed samples.
void mlt_to_dct(const Zin16s* cur, const Zin16s* prev, Zin16s* dst, int n) {
    const Zin16s* w = n == 320 ? kWindowFwd320 : kWindowFwd640;
    const int h = n / 2;
    for (int i = 0; i < h; ++i) {
        dst[i] = round16(mac32(mac32(0, w[h - 1 - i], prev[h - 1 - i]), w[h + i], prev[h + i]));
        dst[h + i] = round16(mac32(mac32(0, w[n - 1 - i], cur[i]), fx::neg16(w[i]), cur[n - 1 - i]));
    }
}

// Synthesis fold and overlap-add: the current inverse transform read from
// its middle outward, the history (half a frame) forward and backward.
void dct_to_mlt(const Zin16s* cur, const Zin16s* hist, Zin16s* dst, int n) {
    const Zin16s* w = n == 320 ? kWindowInv320 : kWindowInv640;
    const int h = n / 2;
    for (int i = 0; i < h; ++i) {
        dst[i] = round16(fx::shl32(mac32(mac32(0, w[i], cur[h - 1 - i]), w[n - 1 - i], hist[i]), 2));
        dst[h + i] =
            round16(fx::shl32(mac32(mac32(0, w[h + i], cur[i]), fx::neg16(w[h - 1 - i]), hist[h - 1 - i]), 2));
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
