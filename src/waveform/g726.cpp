// ITU-T G.726 ADPCM at 16, 24, 32 and 40 kbit/s: the whole coder of
// clause 4 (encoder) and the decoder with its synchronous coding adjustment
// (clause 4.2.8), one code per byte, on the 14-bit linear signal.
#include <bit>
#include <cstddef>
#include <cstring>

#include "../frame/registry.h"
#include "../kernels/fixed_point.h"
#include "g726_tables.h"

namespace zin::g726 {
namespace {

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

// Number of significant bits of a value 0..65535.
inline int bitlen(int x) { return std::bit_width(static_cast<unsigned>(x)); }

inline int abs_sat(int x) { return fx::abs16(static_cast<std::int16_t>(x)); }

// Floating form of a magnitude: bitlen times 64 plus a 6-bit mantissa
// (32 for zero), G.726 FLOATA / FLOATB.
inline std::int16_t to_float(int mag) {
    const int e = bitlen(mag);
    return static_cast<std::int16_t>((e << 6) + (((mag << 6) >> e) | 32));
}

// One predictor term, G.726 FMULT: coefficient c times the floating delay f
// with sign s, in the recommendation's floating arithmetic.
inline int fmult(int c, int f, int s) {
    const int m = abs_sat(c >> 2) & 0x1FFF;
    const int e = bitlen(m);
    const int u = ((m << 6) >> e) | 32;  // 32 also for m == 0
    const int t = e + ((f >> 6) & 15);
    const int q = ((u * (f & 63) + 48) >> 4) << 7;
    const int r = t < 27 ? q >> (26 - t) : (q << (t - 26)) & 0x7FFF;
    return ((c < 0) != (s != 0)) ? -r : r;
}

// Log of a difference magnitude (G.726 LOG): exponent times 128 plus a
// 7-bit mantissa; -128 for zero.
inline int log_mag(int mag) {
    const int bl = bitlen(mag);
    return ((bl - 1) << 7) + (((mag << 8) >> bl) & 127);
}

// Decision index: the count of levels above dln (the levels descend).
template <int R>
inline int decide(int dln) {
    int n = 0;
    for (int i = 0; i < kLevelCount[R]; ++i) n += kLevels[R][i] > dln;
    return n;
}

// Everything one sample runs, as local values; written back once per call.
template <int R>
struct Coder {
    static constexpr int kB = kBits[R];
    static constexpr int kSignBit = 1 << (kB - 1);
    static constexpr int kLeak = R == 3 ? 9 : 8;

    int pk1, pk2, yu, ap, yl, dms, dml, td;
    int coef[8];
    int dq[6], sr[2], dqSign[6], srSign[2];
    // Per-sample values that the decoder's output stage reads.
    int y = 0, se = 0, sez = 0, pk0 = 0;

    explicit Coder(const Fields& f)
        : pk1(f.pk1), pk2(f.pk2), yu(f.yu), ap(f.ap), yl(f.yl), dms(f.dms), dml(f.dml), td(f.td) {
        for (int i = 0; i < 8; ++i) coef[i] = f.coef[i];
        for (int i = 0; i < 6; ++i) dq[i] = f.dq[i], dqSign[i] = f.dqSign[i];
        for (int i = 0; i < 2; ++i) sr[i] = f.sr[i], srSign[i] = f.srSign[i];
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
        for (int i = 0; i < 8; ++i) f.coef[i] = static_cast<std::int16_t>(coef[i]);
        for (int i = 0; i < 6; ++i)
            f.dq[i] = static_cast<std::int16_t>(dq[i]), f.dqSign[i] = static_cast<std::int16_t>(dqSign[i]);
        for (int i = 0; i < 2; ++i)
            f.sr[i] = static_cast<std::int16_t>(sr[i]), f.srSign[i] = static_cast<std::int16_t>(srSign[i]);
    }

    // Steps 1 and 2: scale factor (MIX) and signal estimate (FMULT, ACCUM).
    void predict() {
        const int al = ap >= 256 ? 64 : ap >> 2;
        const int base = yl >> 6;
        const int dif = yu - base;
        const int prod = (al * abs_sat(dif)) >> 6;
        y = base + (dif < 0 ? -prod : prod);
        int sum = 0;
        for (int i = 0; i < 6; ++i) sum += fmult(coef[i], dq[i], dqSign[i]);
        sez = fx::wrap16(sum) >> 1;
        sum += fmult(coef[6], sr[0], srSign[0]);
        sum += fmult(coef[7], sr[1], srSign[1]);
        se = fx::wrap16(sum) >> 1;
    }

    // Step 3: the adaptive quantiser.
    int quantize(int d) const {
        const int dln = log_mag(abs_sat(d)) - (y >> 2);
        return kEncodeCode[R][d < 0][decide<R>(dln)];
    }

    // Steps 4 to 12 for a code; returns the reconstructed signal sr.
    int update(int code) {
        code &= kRow - 1;
        // 4: inverse quantiser (ADDA, ANTILOG).
        const int l = (y >> 2) + kReconstruct[R][code];
        const int mag = l < 0 ? 0 : (((l & 127) + 128) << 7) >> (14 - ((l >> 7) & 15));
        const int sign = (code >> (kB - 1)) & 1;
        const int dqs = sign ? -mag : mag;
        // 5: scale factor adaptation (FILTD, LIMB, FILTE).
        int yut = y + ((kW[R][code] - y) >> 5);
        yut = yut < 544 ? 544 : (yut > 5120 ? 5120 : yut);
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
        const int srNow = fx::wrap16(se + dqs);
        const int dqsez = fx::wrap16(sez + dqs);
        pk0 = dqsez < 0;
        // 8: pole predictor (UPA2, UPA1, LIMC, LIMD, TONE).
        int a1 = coef[6], a2 = coef[7];
        if (dqsez == 0) {
            a2 -= a2 >> 7;
            a1 -= a1 >> 8;
        } else {
            const int x = pk0 ^ pk1;
            const int fa = a1 > 8191 ? 32764 : (a1 < -8191 ? -32764 : 4 * a1);
            a2 = a2 - (a2 >> 7) + (((x ? fa : -fa) + (pk0 != pk2 ? -16384 : 16384)) >> 7);
            a1 = a1 - (a1 >> 8) + (x ? -192 : 192);
        }
        a2 = a2 < -12288 ? -12288 : (a2 > 12288 ? 12288 : a2);
        const int a1hi = 15360 - a2, a1lo = a2 - 15360;
        a1 = a1 < a1lo ? a1lo : (a1 > a1hi ? a1hi : a1);
        td = a2 < -11776;
        // 9: zero predictor (UPB, XOR) and the trigger (TRIGB).
        if (tr) {
            for (int i = 0; i < 8; ++i) coef[i] = 0;
            td = 0;
        } else {
            const int step = mag != 0 ? 128 : 0;
            for (int i = 0; i < 6; ++i) {
                const int b = coef[i];
                coef[i] = fx::wrap16(b - (b >> kLeak) + (dqSign[i] == sign ? step : -step));
            }
            coef[6] = a1;
            coef[7] = a2;
        }
        // 11: adaptation speed control (FILTA, FILTB, SUBTC, FILTC, TRIGA).
        const int fi = kF[R][code];
        dms = fx::wrap16(dms + ((fi - dms) >> 5));
        dml = fx::wrap16(dml + ((4 * fi - dml) >> 7));
        if (tr)
            ap = 256;
        else if (y >= 1536 && abs_sat(4 * dms - dml) < (dml >> 3) && td == 0)
            ap += (-ap) >> 4;
        else
            ap += (512 - ap) >> 4;
        // 12: delays (FLOATA, FLOATB, DELAY).
        for (int i = 5; i > 0; --i) dq[i] = dq[i - 1], dqSign[i] = dqSign[i - 1];
        dq[0] = to_float(mag);
        dqSign[0] = sign;
        sr[1] = sr[0];
        srSign[1] = srSign[0];
        sr[0] = to_float(srNow < 0 ? -srNow & 0x7FFF : srNow);
        srSign[0] = srNow < 0;
        pk2 = pk1;
        pk1 = pk0;
        yu = yut;
        return srNow;
    }

    // Step 10: the decoder's output for the law (COMPRESS, SYNC).
    int output(int srNow, int code, int law) const {
        int v = srNow;
        if (v == -32768 && law != kLinear) v = law == kALaw ? -2 : 0;
        v = v < -8192 ? -8192 : (v > 8191 ? 8191 : v);
        if (law == kLinear) return v;
        int p;
        const Expand* table;
        const Neighbours *lower, *higher;
        if (law == kMuLaw) {
            int x = fx::wrap16(4 * v);
            if (x < 0 && x != -32768) x -= 1;
            p = compress_ulaw(x);
            table = &kUlawExpand, lower = &kUlawLower, higher = &kUlawHigher;
        } else {
            p = compress_alaw(4 * v);
            table = &kAlawExpand, lower = &kAlawLower, higher = &kAlawHigher;
        }
        const int dx = fx::wrap16(((*table)[p] >> 2) - se);
        const int dln = log_mag(abs_sat(dx)) - (y >> 2);
        const int id = kSyncOffset[R][dx < 0][decide<R>(dln)];
        const int c = code & (kRow - 1);
        const int im = (c & kSignBit) ? (c & (kSignBit - 1)) : c + kSignBit;
        if (id == im) return p;
        return id > im ? (*lower)[p] : (*higher)[p];
    }

    static int compress_ulaw(int x) {
        int m = (x < 0 ? (~x) >> 2 : x >> 2) + 33;
        if (m > 8191) m = 8191;
        const int n = 1 + bitlen(m >> 6);
        const int code = ((8 - n) << 4) | (15 - ((m >> n) & 15));
        return x >= 0 ? code | 0x80 : code;
    }

    static int compress_alaw(int x) {
        const int v = x >> 3;
        const int m = v < 0 ? ~v : v;
        int g = 0;
        while (g < 7 && m > ((1 << (8 + g)) - 1) >> 3) ++g;
        const int code = ((g < 2 ? m >> 1 : m >> g) & 15) | (g << 4);
        return code ^ (v < 0 ? 0x55 : 0xD5);
    }
};

template <int R>
void encode_run(Fields& f, const Zin16s* src, Zin8u* dst, int len) {
    Coder<R> c(f);
    for (int n = 0; n < len; ++n) {
        c.predict();
        const int code = c.quantize(fx::wrap16(src[n] - c.se));
        c.update(code);
        dst[n] = static_cast<Zin8u>(code);
    }
    c.save(f);
}

template <int R>
void decode_run(Fields& f, int law, const Zin8u* src, Zin16s* dst, int len) {
    Coder<R> c(f);
    for (int n = 0; n < len; ++n) {
        c.predict();
        const int code = src[n];
        const int s = c.update(code);
        dst[n] = static_cast<Zin16s>(c.output(s, code, law));
    }
    c.save(f);
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
        case 0: decode_run<0>(f, law, src, dst, len); break;
        case 1: decode_run<1>(f, law, src, dst, len); break;
        case 2: decode_run<2>(f, law, src, dst, len); break;
        default: decode_run<3>(f, law, src, dst, len); break;
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
