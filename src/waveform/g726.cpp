// ITU-T G.726 ADPCM at 16, 24, 32 and 40 kbit/s: the whole coder of
// clause 4 (encoder) and the decoder with its synchronous coding adjustment
// (clause 4.2.8), one code per byte, on the 14-bit linear signal.
#include <immintrin.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "../frame/registry.h"
#include "../kernels/fixed_point.h"
#include "g726_tables.h"

namespace zin::g726 {
namespace {

// The per-sample steps stay inside the sample loop, so that the state lives
// in registers from one sample to the next.
#define ZIN_G726_INLINE inline __attribute__((always_inline))

// The state object: a reserved head of 16 bytes, then these fields; the
// decoder's object adds the law as one more 16-bit word. Objects may sit at
// any address, so the fields are copied in and out, never addressed in place.
struct Fields {
    std::int16_t pk0, pk1, pk2;   // signs of the partial reconstructed signal
    std::int16_t rateIndex;       // 0..3 for 16, 24, 32, 40 kbit/s
    std::int16_t yu;              // fast quantiser scale factor
    std::int16_t ap;              // speed-control parameter
    std::int32_t yl;              // slow quantiser scale factor (2^6 above yu)
    std::int16_t dms, dml;        // short- and long-term means of F
    std::int16_t td;              // tone detected
    std::int16_t sez;             // zero-predictor partial sum
    std::int16_t coef[8];         // b1..b6, a1, a2
    std::int16_t dq[6];           // past quantised differences, floating form
    std::int16_t sr[2];           // past reconstructed signals, floating form
    std::int16_t dqSign[6];       // 1 for negative
    std::int16_t srSign[2];
};
static_assert(sizeof(Fields) == 72);
static_assert(offsetof(Fields, yl) == 12 && offsetof(Fields, coef) == 24 && offsetof(Fields, srSign) == 68);

constexpr std::size_t kHead = 16;
constexpr std::size_t kLawOffset = kHead + sizeof(Fields);
constexpr int kEncoderSize = 88;
constexpr int kDecoderSize = 92;
static_assert(kLawOffset + 2 <= static_cast<std::size_t>(kDecoderSize) && kLawOffset == kEncoderSize);

enum Law { kMuLaw = 0, kALaw = 1, kLinear = 2 };

inline Fields load(const void* state) {
    Fields f;
    std::memcpy(&f, static_cast<const unsigned char*>(state) + kHead, sizeof f);
    return f;
}
inline void store(void* state, const Fields& f) {
    std::memcpy(static_cast<unsigned char*>(state) + kHead, &f, sizeof f);
}

int rate_index(int rate) {
    switch (rate) {
        case zinSpchBr16000: return 0;
        case zinSpchBr24000: return 1;
        case zinSpchBr32000: return 2;
        case zinSpchBr40000: return 3;
        default: return -1;
    }
}

void init(void* state, int index) {
    Fields f{};
    f.rateIndex = static_cast<std::int16_t>(index);
    f.yu = 544;
    f.yl = 34816;
    for (auto& v : f.dq) v = 32;
    for (auto& v : f.sr) v = 32;
    store(state, f);
}

// Number of significant bits of a value 0..65535, without a branch.
constexpr int bitlen(int x) { return 32 - __builtin_clz(static_cast<unsigned>(x) | 1u) - (x == 0); }

// a where cond (0 or 1) is 1, else b, by masks: the conditions below follow
// the signal and would mispredict as branches.
inline int sel(int cond, int a, int b) {
    const int m = -cond;
    return (a & m) | (b & ~m);
}

inline int clampi(int v, int lo, int hi) { return std::min(std::max(v, lo), hi); }

// Saturating magnitude of a 16-bit value: -32768 gives 32767.
inline int abs_sat(int x) {
    const int a = x < 0 ? -x : x;
    return a < 32767 ? a : 32767;
}

// Floating form of a magnitude: bitlen times 64 plus a 6-bit mantissa
// (32 for zero), G.726 FLOATA / FLOATB.
inline int to_float(int mag) {
    const int e = bitlen(mag);
    return (e << 6) + (((mag << 6) >> e) | 32);
}

// Log of a difference magnitude (G.726 LOG): exponent times 128 plus a
// 7-bit mantissa; -128 for zero.
inline int log_mag(int mag) {
    const int bl = bitlen(mag);
    return ((bl - 1) << 7) + (((mag << 8) >> bl) & 127);
}

// Four predictor terms of G.726 FMULT in 32-bit lanes, without signs: for a
// coefficient magnitude m = |c >> 2| & 0x1FFF and a floating delay f,
//   e = bitlen(m), u = ((m << 6) >> e) | 32, t = e + exponent(f),
//   p = (u * mantissa(f) + 48) >> 4, term = floor(p * 2^(t - 19)) & 0x7FFF,
// which is the recommendation's (p << 7) >> (26 - t), or << (t - 26) masked
// to 15 bits. Every value below is exact in single precision: m converted
// to a float has e - 1 + 127 in its exponent field and u - 32 in its top
// five fraction bits, so u / 16 is those bits under the exponent of 2; the
// scaling by 2^(t - 19) is a product with a power of two.
inline __m128i fmult4(__m128i m, __m128 mant, __m128i fexp) {
    const __m128i bits = _mm_castps_si128(_mm_cvtepi32_ps(m));
    const __m128 u16 = _mm_castsi128_ps(
        _mm_or_si128(_mm_and_si128(bits, _mm_set1_epi32(0x007C0000)), _mm_set1_epi32(0x40000000)));
    // (u * mant + 48) / 16, then its floor.
    const __m128 p = _mm_floor_ps(_mm_add_ps(_mm_mul_ps(u16, mant), _mm_set1_ps(3.0f)));
    // 2^(t - 19) as a float: biased exponent 126 + e (also for m == 0,
    // where e is 0) plus exponent(f) minus 18.
    const __m128i ebias = _mm_max_epi32(_mm_srli_epi32(bits, 23), _mm_set1_epi32(126));
    const __m128i scale = _mm_slli_epi32(_mm_add_epi32(ebias, fexp), 23);
    const __m128i r = _mm_cvttps_epi32(_mm_mul_ps(p, _mm_castsi128_ps(scale)));
    return _mm_and_si128(r, _mm_set1_epi32(0x7FFF));
}

// The delay-side operands of fmult4 for four lanes of floating delays:
// the mantissa as a float, and the exponent less 18.
inline void delay_operands(__m128i f, __m128& mant, __m128i& fexp) {
    mant = _mm_cvtepi32_ps(_mm_and_si128(f, _mm_set1_epi32(63)));
    fexp = _mm_sub_epi32(_mm_and_si128(_mm_srli_epi32(f, 6), _mm_set1_epi32(15)), _mm_set1_epi32(18));
}

// G.711 compression as the decoder's output stage uses it (G.711 and the
// G.191 STL reference): mu-law with the bias 33 on the 14-bit magnitude,
// A-law on the 13-bit magnitude with the segment from the leading bit.
constexpr int compress_ulaw(int x) {
    int m = (x < 0 ? (~x) >> 2 : x >> 2) + 33;
    m = m > 8191 ? 8191 : m;
    const int n = 1 + bitlen(m >> 6);
    const int code = ((8 - n) << 4) | (15 - ((m >> n) & 15));
    return x >= 0 ? code | 0x80 : code;
}

constexpr int compress_alaw(int x) {
    const int v = x >> 3;
    const int m = v < 0 ? ~v : v;
    const int b = bitlen(m);
    const int g = b > 5 ? b - 5 : 0;  // the first segment g with m <= (2^(8+g) - 1) >> 3
    const int code = ((g < 2 ? m >> 1 : m >> g) & 15) | (g << 4);
    return code ^ (v < 0 ? 0x55 : 0xD5);
}

// G.711 code of each clamped 14-bit decoder value v (-8192..8191, index
// v + 8192): A-law compresses 4 v, mu-law 4 v less 1 below zero (but not
// at -32768), as the decoder's output stage of G.726 clause 4.2.7 does.
using Compress = std::array<std::uint8_t, 16384>;
constexpr Compress compress_table(bool alaw) {
    Compress t{};
    for (int v = -8192; v < 8192; ++v) {
        int x = 4 * v;
        if (!alaw && x < 0 && x != -32768) x -= 1;
        t[v + 8192] = static_cast<std::uint8_t>(alaw ? compress_alaw(x) : compress_ulaw(x));
    }
    return t;
}
constexpr Compress kAlawCompress = compress_table(true);
constexpr Compress kUlawCompress = compress_table(false);

// Everything one sample runs, with the state in registers: the predictor
// coefficients b1..b6, a1, a2 as one vector, the floating delays dq1..dq6,
// sr1, sr2 as another and their signs as a third, in the order of the state
// object. Written back once per call.
template <int R>
struct Coder {
    static constexpr int kB = kBits[R];
    static constexpr int kSignBit = 1 << (kB - 1);
    static constexpr int kLeak = R == 3 ? 9 : 8;

    __m128i coef, delay, sign;
    int pk1, pk2, yu, ap, yl, dms, dml, td, a1, a2;
    // Per-sample values that the decoder's output stage reads.
    int y = 0, se = 0, sez = 0, pk0 = 0;
    __m128i sum = _mm_setzero_si128();  // the sum of the eight terms, lane 0

    explicit Coder(const Fields& f)
        : pk1(f.pk1), pk2(f.pk2), yu(f.yu), ap(f.ap), yl(f.yl), dms(f.dms), dml(f.dml), td(f.td),
          a1(f.coef[6]), a2(f.coef[7]), pk0(f.pk0) {
        static_assert(offsetof(Fields, sr) == offsetof(Fields, dq) + 12 &&
                      offsetof(Fields, srSign) == offsetof(Fields, dqSign) + 12);
        const auto* base = reinterpret_cast<const unsigned char*>(&f);
        coef = _mm_loadu_si128(reinterpret_cast<const __m128i*>(base + offsetof(Fields, coef)));
        delay = _mm_loadu_si128(reinterpret_cast<const __m128i*>(base + offsetof(Fields, dq)));
        sign = _mm_loadu_si128(reinterpret_cast<const __m128i*>(base + offsetof(Fields, dqSign)));
        sez = f.sez;
    }

    void save(Fields& f) const {
        f.pk0 = static_cast<std::int16_t>(pk0);
        f.pk1 = static_cast<std::int16_t>(pk1);
        f.pk2 = static_cast<std::int16_t>(pk2);
        f.yu = static_cast<std::int16_t>(yu);
        f.ap = static_cast<std::int16_t>(ap);
        f.yl = yl;
        f.dms = static_cast<std::int16_t>(dms);
        f.dml = static_cast<std::int16_t>(dml);
        f.td = static_cast<std::int16_t>(td);
        f.sez = static_cast<std::int16_t>(sez);
        auto* base = reinterpret_cast<unsigned char*>(&f);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(base + offsetof(Fields, coef)), coef);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(base + offsetof(Fields, dq)), delay);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(base + offsetof(Fields, dqSign)), sign);
    }

    // Steps 1 and 2: scale factor (MIX) and signal estimate (FMULT, ACCUM).
    ZIN_G726_INLINE void predict() {
        const int al = std::min(ap >> 2, 64);  // 64 from ap = 256 on
        const int base = yl >> 6;
        const int dif = yu - base;
        const int prod = (al * abs_sat(dif)) >> 6;
        y = base + ((prod ^ (dif >> 31)) - (dif >> 31));

        const __m128i zero = _mm_setzero_si128();
        const __m128i m = _mm_and_si128(_mm_abs_epi16(_mm_srai_epi16(coef, 2)), _mm_set1_epi16(0x1FFF));
        __m128 mantLo, mantHi;
        __m128i expLo, expHi;
        delay_operands(_mm_cvtepu16_epi32(delay), mantLo, expLo);
        delay_operands(_mm_unpackhi_epi16(delay, zero), mantHi, expHi);
        // +1 where the coefficient's sign equals the delay's, -1 where not.
        const __m128i neg = _mm_or_si128(_mm_xor_si128(_mm_srai_epi16(coef, 15), _mm_sub_epi16(zero, sign)),
                                         _mm_set1_epi16(1));
        const __m128i lo = _mm_sign_epi32(fmult4(_mm_cvtepu16_epi32(m), mantLo, expLo), _mm_cvtepi16_epi32(neg));
        const __m128i hi = _mm_sign_epi32(fmult4(_mm_unpackhi_epi16(m, zero), mantHi, expHi),
                                          _mm_srai_epi32(_mm_unpackhi_epi16(neg, neg), 16));
        // Sums: all eight terms, and a1 and a2 (lanes 2 and 3 of hi).
        __m128i v = _mm_add_epi32(lo, hi);
        v = _mm_add_epi32(v, _mm_shuffle_epi32(v, _MM_SHUFFLE(2, 3, 0, 1)));
        v = _mm_add_epi32(v, _mm_shuffle_epi32(v, _MM_SHUFFLE(1, 0, 3, 2)));
        const __m128i a = _mm_add_epi32(hi, _mm_shuffle_epi32(hi, _MM_SHUFFLE(2, 3, 0, 1)));
        sum = v;
        const int all = _mm_cvtsi128_si32(v);
        const int poles = _mm_extract_epi32(a, 2);
        // The recommendation sums in 16 bits; the wrap of the exact sum is the same.
        sez = fx::wrap16(all - poles) >> 1;
        se = fx::wrap16(all) >> 1;
    }

    // Step 3: the adaptive quantiser. In single precision the bits of |d|
    // shifted right by 16 are 16256 plus its log (exponent times 128 plus
    // 7 mantissa bits) for |d| >= 1, and 0 for d == 0, which lies below all
    // levels as the log of zero does. A level L stands above dln when
    // L + (y >> 2) + 16256 is above that key. The difference stays in the
    // vector unit from the predictor's sum to the decision.
    ZIN_G726_INLINE int quantize(int x) const {
        const __m128i xv = _mm_cvtsi32_si128(x);
        // se = (sum in 16 bits) >> 1, d = x - se in 16 bits, |d| saturated.
        const __m128i sev = _mm_srai_epi32(_mm_slli_epi32(sum, 16), 17);
        const __m128i dv = _mm_srai_epi32(_mm_slli_epi32(_mm_sub_epi32(xv, sev), 16), 16);
        const __m128i mag = _mm_min_epi32(_mm_abs_epi32(dv), _mm_set1_epi32(32767));
        const __m128i key = _mm_srli_epi32(_mm_castps_si128(_mm_cvtepi32_ps(mag)), 16);
        const __m128i keys = _mm_shuffle_epi32(_mm_shufflelo_epi16(key, 0), 0);
        const __m128i off = _mm_set1_epi16(static_cast<short>((y >> 2) + 16256));
        const auto* lv = reinterpret_cast<const __m128i*>(kLevels[R].data());
        const __m128i c0 = _mm_cmpgt_epi16(_mm_add_epi16(_mm_loadu_si128(lv), off), keys);
        unsigned mask;
        if constexpr (kLevelCount[R] > 8) {
            const __m128i c1 = _mm_cmpgt_epi16(_mm_add_epi16(_mm_loadu_si128(lv + 1), off), keys);
            mask = static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(c0, c1)));
            if constexpr (kLevelCount[R] > 16) {
                const __m128i c2 = _mm_cmpgt_epi16(_mm_add_epi16(_mm_loadu_si128(lv + 2), off), keys);
                mask |= static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(c2, _mm_setzero_si128()))) << 16;
            }
        } else {
            mask = static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(c0, _mm_setzero_si128())));
        }
        const int d = fx::wrap16(x - se);
        return kEncodeCode[R][d < 0][__builtin_ctz(~mask)];
    }

    // Steps 4 to 12 for a code; returns the reconstructed signal sr.
    ZIN_G726_INLINE int update(int code) {
        code &= kRow - 1;
        // 4: inverse quantiser (ADDA, ANTILOG).
        const int l = (y >> 2) + kReconstruct[R][code];
        // l < 0 (the zero magnitude) masks the antilog to 0.
        const int lexp = (l >> 7) & 15;
        const int mag = ((((l & 127) + 128) << 7) >> ((14 - lexp) & 15)) & ~(l >> 31);
        const int dqNeg = (code >> (kB - 1)) & 1;
        const int dqs = (mag ^ -dqNeg) + dqNeg;
        // 5: scale factor adaptation (FILTD, LIMB, FILTE).
        int yut = y + ((kW[R][code] - y) >> 5);
        yut = clampi(yut, 544, 5120);
        const int ylOld = yl;
        yl = yl + fx::wrap16(yut + ((-yl) >> 6));
        // 6: transition detector (TRANS), on the old yl.
        int tr = 0;
        if (td) {
            const int i = ylOld >> 15;
            const int thr = i > 9 ? 31744 : (((ylOld >> 10) & 31) + 32) << i;
            tr = mag > ((thr + (thr >> 1)) >> 1);
        }
        // 7: reconstructed signal (ADDB, ADDC).
        const int sr = fx::wrap16(se + dqs);
        const int dqsez = fx::wrap16(sez + dqs);
        pk0 = dqsez < 0;
        // 8: pole predictor (UPA2, UPA1, LIMC, LIMD, TONE). The outcome for
        // each sign of dqsez, and for dqsez == 0, does not depend on this
        // sample's difference; all three are formed ahead, then one is taken
        // by masks (the signs follow the signal and would mispredict).
        const int a2leak = a2 - (a2 >> 7), a1leak = a1 - (a1 >> 8);
        const int fa = clampi(4 * a1, -32764, 32764);  // 4 a1 limited at +-32764
        int c1[3], c2[3];  // [pk0 = 0, pk0 = 1, dqsez == 0]
        for (int k = 0; k < 3; ++k) {
            int n2 = a2leak, n1 = a1leak;
            if (k < 2) {
                const int x = k ^ pk1;
                n2 += (sel(x, fa, -fa) + sel(k ^ pk2, -16384, 16384)) >> 7;
                n1 += sel(x, -192, 192);
            }
            n2 = clampi(n2, -12288, 12288);
            c1[k] = clampi(n1, n2 - 15360, 15360 - n2);
            c2[k] = n2;
        }
        const int zero = dqsez == 0;
        const int na1 = sel(zero, c1[2], sel(pk0, c1[1], c1[0]));
        const int na2 = sel(zero, c2[2], sel(pk0, c2[1], c2[0]));
        td = na2 < -11776;
        // 9: zero predictor (UPB, XOR) and the trigger (TRIGB): each b loses
        // b >> k and gains 128 where its delayed sign equals the new one,
        // loses 128 where not, when the difference is not zero.
        const __m128i step = _mm_set1_epi16(static_cast<short>(mag != 0 ? 128 : 0));
        const __m128i differs = _mm_xor_si128(_mm_cmpeq_epi16(sign, _mm_set1_epi16(static_cast<short>(dqNeg))),
                                              _mm_set1_epi32(-1));
        __m128i b = _mm_sub_epi16(coef, _mm_srai_epi16(coef, kLeak));
        b = _mm_add_epi16(b, _mm_sub_epi16(_mm_xor_si128(step, differs), differs));
        if (tr) {
            a1 = a2 = td = 0;
            coef = _mm_setzero_si128();
        } else {
            a1 = na1;
            a2 = na2;
            const __m128i poles = _mm_shuffle_epi32(_mm_cvtsi32_si128((na1 & 0xFFFF) | (na2 << 16)), 0);
            coef = _mm_blend_epi16(b, poles, 0xC0);
        }
        // 11: adaptation speed control (FILTA, FILTB, SUBTC, FILTC, TRIGA).
        const int fi = kF[R][code];
        dms = fx::wrap16(dms + ((fi - dms) >> 5));
        dml = fx::wrap16(dml + ((4 * fi - dml) >> 7));
        const int settle = (y >= 1536) & (abs_sat(4 * dms - dml) < (dml >> 3)) & (td == 0);
        ap = tr ? 256 : ap + (sel(settle, -ap, 512 - ap) >> 4);
        // 12: delays (FLOATA, FLOATB, DELAY). The new dq1 in floating form
        // straight from the log value: the antilog's leading bit is bit
        // (l >> 7) & 15. The reconstructed signal's magnitude is that of
        // 15 bits: -32768 counts as zero.
        const int dqf = sel(l < 0, 32, ((lexp + 1) << 6) + ((mag << 6) >> ((lexp + 1) & 15)));
        const int srMag = (sr < 0 ? -sr : sr) & 0x7FFF;
        delay = _mm_insert_epi16(_mm_insert_epi16(_mm_slli_si128(delay, 2), dqf, 0), to_float(srMag), 6);
        sign = _mm_insert_epi16(_mm_insert_epi16(_mm_slli_si128(sign, 2), dqNeg, 0), sr < 0, 6);
        pk2 = pk1;
        pk1 = pk0;
        yu = yut;
        return sr;
    }

    // Step 10: the decoder's output for the law (COMPRESS, SYNC). The
    // compression of the clamped 14-bit value comes from a table.
    template <int Law>
    ZIN_G726_INLINE int output(int sr, int code) const {
        int v = sr;
        if constexpr (Law == kLinear) return v < -8192 ? -8192 : (v > 8191 ? 8191 : v);
        const Expand& table = Law == kMuLaw ? kUlawExpand : kAlawExpand;
        const Neighbours& lower = Law == kMuLaw ? kUlawLower : kAlawLower;
        const Neighbours& higher = Law == kMuLaw ? kUlawHigher : kAlawHigher;
        const Compress& compress = Law == kMuLaw ? kUlawCompress : kAlawCompress;
        // sr == -32768 is the negative zero: A-law -2, mu-law 0.
        v = v == -32768 ? (Law == kALaw ? -2 : 0) : v;
        v = v < -8192 ? -8192 : (v > 8191 ? 8191 : v);
        const int p = compress[v + 8192];
        const int dx = fx::wrap16((table[p] >> 2) - se);
        const int dln = log_mag(abs_sat(dx)) - (y >> 2);
        const int id = kSyncByDln[R][dx < 0][clampi(dln + kDlnBias, 0, kDlnSpan - 1)];
        const int c = code & (kRow - 1);
        const int im = (c & kSignBit) ? (c & (kSignBit - 1)) : c + kSignBit;
        return sel(id == im, p, sel(id > im, lower[p], higher[p]));
    }
};

template <int R>
void encode_run(Fields& f, const Zin16s* src, Zin8u* dst, int len) {
    Coder<R> c(f);
    for (int n = 0; n < len; ++n) {
        c.predict();
        const int code = c.quantize(src[n]);
        c.update(code);
        dst[n] = static_cast<Zin8u>(code);
    }
    c.save(f);
}

template <int R, int Law>
void decode_run(Fields& f, const Zin8u* src, Zin16s* dst, int len) {
    Coder<R> c(f);
    for (int n = 0; n < len; ++n) {
        c.predict();
        const int code = src[n];
        const int s = c.update(code);
        dst[n] = static_cast<Zin16s>(c.template output<Law>(s, code));
    }
    c.save(f);
}

template <int R>
void decode_rate(Fields& f, int law, const Zin8u* src, Zin16s* dst, int len) {
    switch (law) {
        case kMuLaw: decode_run<R, kMuLaw>(f, src, dst, len); break;
        case kALaw: decode_run<R, kALaw>(f, src, dst, len); break;
        default: decode_run<R, kLinear>(f, src, dst, len); break;
    }
}

void encode(void* state, const Zin16s* src, Zin8u* dst, int len) {
    Fields f = load(state);
    switch (f.rateIndex & 3) {
        case 0: encode_run<0>(f, src, dst, len); break;
        case 1: encode_run<1>(f, src, dst, len); break;
        case 2: encode_run<2>(f, src, dst, len); break;
        default: encode_run<3>(f, src, dst, len); break;
    }
    store(state, f);
}

void decode(void* state, const Zin8u* src, Zin16s* dst, int len) {
    Fields f = load(state);
    std::int16_t law;
    std::memcpy(&law, static_cast<const unsigned char*>(state) + kLawOffset, sizeof law);
    switch (f.rateIndex & 3) {
        case 0: decode_rate<0>(f, law, src, dst, len); break;
        case 1: decode_rate<1>(f, law, src, dst, len); break;
        case 2: decode_rate<2>(f, law, src, dst, len); break;
        default: decode_rate<3>(f, law, src, dst, len); break;
    }
    store(state, f);
}

}  // namespace
}  // namespace zin::g726

namespace g7 = zin::g726;

ZinStatus zin::body::zinsEncodeGetStateSize_G726_16s8u(int* pSize) {
    if (!pSize) return zinStsNullPtrErr;
    *pSize = g7::kEncoderSize;
    return zinStsNoErr;
}

ZinStatus zin::body::zinsDecodeGetStateSize_G726_8u16s(int* pSize) {
    if (!pSize) return zinStsNullPtrErr;
    *pSize = g7::kDecoderSize;
    return zinStsNoErr;
}

ZinStatus zin::body::zinsEncodeInit_G726_16s8u(ZinG726EncState* pState, ZinSpeechBitrate rate) {
    if (!pState) return zinStsNullPtrErr;
    const int index = g7::rate_index(rate);
    if (index < 0) return zinStsRangeErr;
    g7::init(pState, index);
    return zinStsNoErr;
}

ZinStatus zin::body::zinsDecodeInit_G726_8u16s(ZinG726DecState* pState, ZinSpeechBitrate rate, int law) {
    if (!pState) return zinStsNullPtrErr;
    const int index = g7::rate_index(rate);
    if (index < 0 || law < g7::kMuLaw || law > g7::kLinear) return zinStsRangeErr;
    g7::init(pState, index);
    const std::int16_t l = static_cast<std::int16_t>(law);
    std::memcpy(reinterpret_cast<unsigned char*>(pState) + g7::kLawOffset, &l, sizeof l);
    return zinStsNoErr;
}

// A length of zero is refused; a negative length is accepted and does nothing.
ZinStatus zin::body::zinsEncode_G726_16s8u(ZinG726EncState* pState, const Zin16s* pSrc, Zin8u* pDst, int len) {
    if (!pState || !pSrc || !pDst) return zinStsNullPtrErr;
    if (len == 0) return zinStsSizeErr;
    if (len < 0) return zinStsNoErr;
    g7::encode(pState, pSrc, pDst, len);
    return zinStsNoErr;
}

ZinStatus zin::body::zinsDecode_G726_8u16s(ZinG726DecState* pState, const Zin8u* pSrc, Zin16s* pDst, int len) {
    if (!pState || !pSrc || !pDst) return zinStsNullPtrErr;
    if (len == 0) return zinStsSizeErr;
    if (len < 0) return zinStsNoErr;
    g7::decode(pState, pSrc, pDst, len);
    return zinStsNoErr;
}
