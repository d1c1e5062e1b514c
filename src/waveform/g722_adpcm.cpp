// G.722 sub-band ADPCM: the low-band and high-band coders of ITU-T G.722
// clause 6 on interleaved low/high word pairs, one state object for either
// direction, and the state helpers used after a frame loss.
#include "g722_adpcm.h"

#include <immintrin.h>

#include <algorithm>
#include <array>

#include "../frame/registry.h"
#include "g722_tables.h"
#include "kernels/fixed_point.h"

namespace zin::g722 {

void init_state(State* s) {
    *s = State{};
    s->detLow = 32;
    s->detHigh = 8;
}

namespace {

// One band's adaptive predictor and scale factor, held in registers for the
// length of a call. The zero predictor lives in two vectors: lanes 0 to 5
// of `b` are B1..B6 (lanes 6 and 7 stay zero), lanes 0 to 5 of `d` the
// delayed differences D1..D6.
struct Band {
    __m128i b, d;
    int a1, a2;   // pole coefficients
    int det, nb;  // linear and logarithmic scale factor
    int p1, p2;   // delayed partial reconstructed signals
    int r1, r2;   // delayed reconstructed signals
    int d0, p0, r0;
    int sz, sp, s;
};

inline __m128i load6(const Zin16s* p) {
    alignas(16) Zin16s t[8] = {p[0], p[1], p[2], p[3], p[4], p[5], 0, 0};
    return _mm_load_si128(reinterpret_cast<const __m128i*>(t));
}
inline void store6(Zin16s* p, __m128i v) {
    alignas(16) Zin16s t[8];
    _mm_store_si128(reinterpret_cast<__m128i*>(t), v);
    for (int i = 0; i < 6; ++i) p[i] = t[i];
}
inline __m128i load6_32(const Zin32s* p) {
    const Zin16s t[6] = {static_cast<Zin16s>(p[0]), static_cast<Zin16s>(p[1]), static_cast<Zin16s>(p[2]),
                         static_cast<Zin16s>(p[3]), static_cast<Zin16s>(p[4]), static_cast<Zin16s>(p[5])};
    return load6(t);
}
inline void store6_32(Zin32s* p, __m128i v) {
    Zin16s t[6];
    store6(t, v);
    for (int i = 0; i < 6; ++i) p[i] = t[i];
}

// Field groups of one band in the state object.
struct BandFields {
    Zin16s *a, *b, *det, *nb;
    Zin32s* dlt;
    Zin16s *work, *plt, *rlt, *d0, *sz, *sp, *s;
};
inline BandFields low_fields(State* st) {
    return {st->poles,   st->zerosLow, &st->detLow, &st->nblLow, st->dltLow, st->work,
            st->pltLow,  st->rltLow,   &st->dLow,   &st->szLow,  &st->spLow, &st->sLow};
}
inline BandFields high_fields(State* st) {
    return {st->poles + 2, st->zerosHigh, &st->detHigh, &st->nbhHigh, st->dltHigh, st->work + 2,
            st->pltHigh,   st->rltHigh,   &st->dHigh,   &st->szHigh,  &st->spHigh, &st->sHigh};
}

void load_band(const BandFields& f, Band& B) {
    B.b = load6(f.b);
    B.d = load6_32(f.dlt);
    B.a1 = f.a[0];
    B.a2 = f.a[1];
    B.det = *f.det;
    B.nb = *f.nb;
    B.p0 = f.work[0];
    B.r0 = f.work[1];
    B.p1 = f.plt[0];
    B.p2 = f.plt[1];
    B.r1 = f.rlt[0];
    B.r2 = f.rlt[1];
    B.d0 = *f.d0;
    B.sz = *f.sz;
    B.sp = *f.sp;
    B.s = *f.s;
}

void store_band(const BandFields& f, const Band& B) {
    store6(f.b, B.b);
    store6_32(f.dlt, B.d);
    f.a[0] = static_cast<Zin16s>(B.a1);
    f.a[1] = static_cast<Zin16s>(B.a2);
    *f.det = static_cast<Zin16s>(B.det);
    *f.nb = static_cast<Zin16s>(B.nb);
    f.work[0] = static_cast<Zin16s>(B.p0);
    f.work[1] = static_cast<Zin16s>(B.r0);
    f.plt[0] = static_cast<Zin16s>(B.p1);
    f.plt[1] = static_cast<Zin16s>(B.p2);
    f.rlt[0] = static_cast<Zin16s>(B.r1);
    f.rlt[1] = static_cast<Zin16s>(B.r2);
    *f.d0 = static_cast<Zin16s>(B.d0);
    *f.sz = static_cast<Zin16s>(B.sz);
    *f.sp = static_cast<Zin16s>(B.sp);
    *f.s = static_cast<Zin16s>(B.s);
}

inline int clampi(int x, int lo, int hi) { return std::min(std::max(x, lo), hi); }
inline int sat16i(int x) { return clampi(x, -32768, 32767); }

// Quantised difference of INVQAL/INVQAH/INVQBL: mult(DET, level * 8).
inline int inv_quant(int det, int level8) { return (det * level8) >> 15; }

// Scale factors by the log scale factor: ILA * 4 + 4 (SCALEL, SCALEH).
constexpr std::array<Zin16s, 353> kDet = [] {
    std::array<Zin16s, 353> t{};
    for (int i = 0; i < 353; ++i) t[i] = static_cast<Zin16s>(kIla[i] * 4 + 4);
    return t;
}();

// FILTEZ: the six products summed from the oldest tap with saturation at
// each step. When no product exceeds 32767/6 in magnitude no partial sum can
// saturate, and the sum is taken as a tree in 16-bit lanes.
inline int filtez(__m128i t) {
    const __m128i big = _mm_cmpgt_epi16(_mm_abs_epi16(t), _mm_set1_epi16(5461));
    if (__builtin_expect(_mm_movemask_epi8(big) == 0, 1)) {
        __m128i s = _mm_add_epi16(t, _mm_srli_si128(t, 8));
        s = _mm_add_epi16(s, _mm_srli_si128(s, 4));
        s = _mm_add_epi16(s, _mm_srli_si128(s, 2));
        return static_cast<Zin16s>(_mm_cvtsi128_si32(s));
    }
    alignas(16) Zin16s v[8];
    _mm_store_si128(reinterpret_cast<__m128i*>(v), t);
    int sz = 0;
    for (int i = 5; i >= 0; --i) sz = sat16i(sz + v[i]);
    return sz;
}

// The adaptation common to both bands and both directions (G.722 blocks
// LOGSCL/LOGSCH, SCALEL/SCALEH, PARREC, RECONS, UPZERO, UPPOL2, UPPOL1,
// FILTEZ, FILTEP, PREDIC), given the quantised difference `dq` computed with
// the old scale factor and the log multiplier `w` of the code. Sums that
// cannot leave 16 bits are plain; the others saturate as add() does.
template <int kNbMax, int kIlaOffset>
inline void adapt(Band& B, int dq, int w) {
    // LOGSCL / LOGSCH: NB = NB * 127/128 + W, limited; SCALEL / SCALEH.
    int nb = ((B.nb * 127) >> 7) + w;
    nb = clampi(nb, 0, kNbMax);
    B.nb = nb;
    B.det = kDet[(nb >> 6) + kIlaOffset];

    // PARREC, RECONS.
    const int p0 = sat16i(dq + B.sz);
    const int r0 = sat16i(B.s + dq);
    B.d0 = dq;
    B.p0 = p0;
    B.r0 = r0;

    // UPZERO: B = mult(B, 32640) +-128 by the agreement of the signs of the
    // new and the delayed difference (no step for a zero difference), with
    // mult(B, 32640) = B + floor(-B / 256); then delay the differences.
    const __m128i dqv = _mm_set1_epi16(static_cast<Zin16s>(dq));
    const __m128i step = _mm_sign_epi16(_mm_setr_epi16(128, 128, 128, 128, 128, 128, 0, 0), dqv);
    const __m128i term = _mm_sign_epi16(step, _mm_or_si128(B.d, _mm_set1_epi16(1)));
    const __m128i leak = _mm_add_epi16(B.b, _mm_mulhi_epi16(B.b, _mm_set1_epi16(-256)));
    const __m128i b = _mm_adds_epi16(term, leak);
    const __m128i d = _mm_alignr_epi8(B.d, dqv, 14);
    B.b = b;
    B.d = d;

    // FILTEZ: mult(add(D, D), B) = (2D * B) >> 15 per lane.
    const __m128i x = _mm_adds_epi16(d, d);
    const __m128i t = _mm_or_si128(_mm_slli_epi16(_mm_mulhi_epi16(x, b), 1), _mm_srli_epi16(_mm_mullo_epi16(x, b), 15));
    const int sz = filtez(t);

    // UPPOL2: the 4 * A1 term saturates to 16 bits, as does its negation.
    // The sign agreements are masks: 0 where the signs agree, -1 where not.
    const int x01 = (p0 ^ B.p1) >> 31, x02 = (p0 ^ B.p2) >> 31;
    const int w1 = sat16i(B.a1 * 4);
    const int w2 = std::min((w1 ^ ~x01) - ~x01, 32767);  // -w1 where the signs agree
    const int a2 = clampi((w2 >> 7) + ((128 ^ x02) - x02) + ((B.a2 * 32512) >> 15), -12288, 12288);

    // UPPOL1.
    const int lim = 15360 - a2;
    const int a1 = clampi(((192 ^ x01) - x01) + ((B.a1 * 32640) >> 15), -lim, lim);
    B.a1 = a1;
    B.a2 = a2;
    B.p2 = B.p1;
    B.p1 = p0;

    // FILTEP, PREDIC.
    B.r2 = B.r1;
    B.r1 = r0;
    const int sp = sat16i(((a1 * sat16i(2 * r0)) >> 15) + ((a2 * sat16i(2 * B.r2)) >> 15));
    B.sp = sp;
    B.sz = sz;
    B.s = sat16i(sp + sz);
}

// Decision levels of QUANTL multiplied by 16, in four vectors of eight; the
// lanes past level 29 are padding that counts as above every difference.
alignas(16) constexpr std::uint16_t kQ6x16[32] = {
    35 * 16,   72 * 16,   110 * 16,  150 * 16,  190 * 16,  233 * 16,  276 * 16,  323 * 16,
    370 * 16,  422 * 16,  473 * 16,  530 * 16,  587 * 16,  650 * 16,  714 * 16,  786 * 16,
    858 * 16,  940 * 16,  1023 * 16, 1121 * 16, 1219 * 16, 1339 * 16, 1458 * 16, 1612 * 16,
    1765 * 16, 1980 * 16, 2195 * 16, 2557 * 16, 2919 * 16, 0,         0,         0};
static_assert(kQ6x16[0] == kQ6[1] * 16 && kQ6x16[28] == kQ6[29] * 16);

// The four vectors of levels scaled by DETL: (level * 16 * det) >> 16 ==
// (level * det) >> 12, at most 12800.
struct ScaledLevels {
    __m128i v0, v1, v2, v3;
};
inline ScaledLevels scale_levels(int det) {
    const __m128i dv = _mm_set1_epi16(static_cast<Zin16s>(det));
    const __m128i* q = reinterpret_cast<const __m128i*>(kQ6x16);
    return {_mm_mulhi_epu16(_mm_load_si128(q + 0), dv), _mm_mulhi_epu16(_mm_load_si128(q + 1), dv),
            _mm_mulhi_epu16(_mm_load_si128(q + 2), dv), _mm_mulhi_epu16(_mm_load_si128(q + 3), dv)};
}

// QUANTL: the interval 1..30 of a magnitude `wd` (0..32767): the smallest
// index whose scaled level exceeds wd, or 30.
inline int quantl_interval(const ScaledLevels& L, int wd) {
    const __m128i wv = _mm_set1_epi16(static_cast<Zin16s>(wd));
    const __m128i g0 = _mm_cmpgt_epi16(L.v0, wv), g1 = _mm_cmpgt_epi16(L.v1, wv);
    const __m128i g2 = _mm_cmpgt_epi16(L.v2, wv), g3 = _mm_cmpgt_epi16(L.v3, wv);
    const unsigned m = static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(g0, g1))) |
                       (static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(g2, g3))) << 16) | 0xE0000000u;
    return 1 + __builtin_ctz(m);
}

// Per sign and interval of QUANTL: the code, its 4-bit inverse-quantiser
// level and its log multiplier, read together.
struct LowCode {
    Zin16s code, level, w, pad;
};
constexpr std::array<std::array<LowCode, 32>, 2> kLowCode = [] {
    std::array<std::array<LowCode, 32>, 2> t{};
    for (int s = 0; s < 2; ++s)
        for (int m = 0; m < 32; ++m) {
            const int c = kQuantlCode[s][m];
            t[s][m] = {static_cast<Zin16s>(c), kInvQ4[c >> 2], kWL4[c >> 2], 0};
        }
    return t;
}();

void encode_pairs(const Zin16s* src, Zin16s* dst, int pairs, State* st) {
    Band L, H;
    load_band(low_fields(st), L);
    load_band(high_fields(st), H);
    for (int k = 0; k < pairs; ++k) {
        // Low band: SUBTRA, QUANTL.
        const ScaledLevels lv = scale_levels(L.det);
        const int el = int{src[2 * k]} - L.s;
        const int wdl = std::min(el ^ (el >> 31), 32767);
        const LowCode& lc = kLowCode[el >= 0][quantl_interval(lv, wdl)];
        // High band: SUBTRA, QUANTH.
        const int eh = int{src[2 * k + 1]} - H.s;
        const int wdh = eh ^ (eh >> 31);
        // 3 or 2 for a non-negative difference, 1 or 0 for a negative one.
        const int ih = 2 * (eh >= 0) + (wdh < ((kQ2 * H.det) >> 12));
        dst[2 * k] = lc.code;
        dst[2 * k + 1] = static_cast<Zin16s>(ih);
        // INVQAL/INVQAH and the adaptation.
        adapt<18432, 64>(L, inv_quant(L.det, lc.level), lc.w);
        adapt<22528, 0>(H, inv_quant(H.det, kInvQ2[ih]), kWH2[ih]);
    }
    store_band(low_fields(st), L);
    store_band(high_fields(st), H);
}

inline Zin16s limit(int x) { return static_cast<Zin16s>(clampi(x, -16384, 16383)); }

template <int kMode>
void decode_pairs_mode(const Zin16s* src, Zin16s* dst, int pairs, State* st) {
    Band L, H;
    load_band(low_fields(st), L);
    load_band(high_fields(st), H);
    for (int k = 0; k < pairs; ++k) {
        const int il = src[2 * k] & 63;
        const int ih = src[2 * k + 1] & 3;
        // INVQBL at the width of the mode, RECONS, LIMIT.
        const int lvl = kMode == 1 ? kInvQ6[il] : (kMode == 2 ? kInvQ5[il >> 1] : kInvQ4[il >> 2]);
        dst[2 * k] = limit(L.s + inv_quant(L.det, lvl));
        const int il4 = il >> 2;
        adapt<18432, 64>(L, inv_quant(L.det, kInvQ4[il4]), kWL4[il4]);
        adapt<22528, 0>(H, inv_quant(H.det, kInvQ2[ih]), kWH2[ih]);
        dst[2 * k + 1] = limit(H.r0);
    }
    store_band(low_fields(st), L);
    store_band(high_fields(st), H);
}

}  // namespace
}  // namespace zin::g722

using namespace zin;

ZinStatus zin::body::zinsSBADPCMEncodeStateSize_G722_16s(int* pSize) {
    if (!pSize) return zinStsNullPtrErr;
    *pSize = g722::kStateSize;
    return zinStsNoErr;
}

ZinStatus zin::body::zinsSBADPCMDecodeStateSize_G722_16s(int* pSize) {
    return body::zinsSBADPCMEncodeStateSize_G722_16s(pSize);
}

ZinStatus zin::body::zinsSBADPCMEncodeInit_G722_16s(ZinSBADPCMState_G722_16s* pState) {
    if (!pState) return zinStsNullPtrErr;
    g722::init_state(g722::state_of(pState));
    return zinStsNoErr;
}

ZinStatus zin::body::zinsSBADPCMDecodeInit_G722_16s(ZinSBADPCMState_G722_16s* pState) {
    return body::zinsSBADPCMEncodeInit_G722_16s(pState);
}

ZinStatus zin::body::zinsSBADPCMEncode_G722_16s(const Zin16s* pSrc, Zin16s* pDst, int len,
                                                ZinSBADPCMState_G722_16s* pState) {
    if (!pSrc || !pDst || !pState) return zinStsNullPtrErr;
    if (len < 1 || (len & 1)) return zinStsSizeErr;
    g722::encode_pairs(pSrc, pDst, len / 2, g722::state_of(pState));
    return zinStsNoErr;
}

ZinStatus zin::body::zinsSBADPCMDecode_G722_16s(const Zin16s* pSrc, Zin16s* pDst, int len, int mode,
                                                ZinSBADPCMState_G722_16s* pState) {
    if (!pSrc || !pDst || !pState) return zinStsNullPtrErr;
    if (len < 1 || (len & 1)) return zinStsSizeErr;
    g722::State* st = g722::state_of(pState);
    if (mode == 1)
        g722::decode_pairs_mode<1>(pSrc, pDst, len / 2, st);
    else if (mode == 2)
        g722::decode_pairs_mode<2>(pSrc, pDst, len / 2, st);
    else
        g722::decode_pairs_mode<3>(pSrc, pDst, len / 2, st);
    return zinStsNoErr;
}

// After a lost stretch: restart the low-band predictor from two past
// reconstructed values and a prediction, keep or reset the scale factors.
ZinStatus zin::body::zinsSBADPCMDecodeStateUpdate_G722_16s(const Zin16s* pPast, Zin16s value, int reset,
                                                           ZinSBADPCMState_G722_16s* pState) {
    if (!pPast || !pState) return zinStsNullPtrErr;
    g722::State* st = g722::state_of(pState);
    for (auto& d : st->dltLow) d = 0;
    st->dLow = 0;
    st->pltLow[0] = static_cast<Zin16s>(pPast[1] >> 1);
    st->pltLow[1] = static_cast<Zin16s>(pPast[0] >> 1);
    st->rltLow[0] = pPast[1];
    st->rltLow[1] = pPast[0];
    st->sLow = value;
    st->szLow = static_cast<Zin16s>(value >> 1);
    const Zin16s n = st->nbhHigh;
    const int index = (static_cast<std::uint16_t>(n) >> 7) & 511;
    if (index > 352) {
        st->nbhHigh = static_cast<Zin16s>(n >> 1);
        return zinStsOutOfRangeErr;
    }
    if (reset) {
        st->detLow = 32;
        st->detHigh = 8;
        st->nblLow = 0;
        st->nbhHigh = 0;
    } else {
        st->detHigh = static_cast<Zin16s>(g722::kIla[index] * 4 + 4);
        st->nbhHigh = static_cast<Zin16s>(n >> 1);
    }
    return zinStsNoErr;
}

// Class of a reconstructed frame for concealment, with large lone peaks of
// the lag-delayed stretch brought down to their neighbourhood.
ZinStatus zin::body::zinsClassifyFrame_G722_16s_I(Zin16s* pSignal, int lag, int* pClass,
                                                  const ZinSBADPCMState_G722_16s* pState) {
    if (!pSignal || !pClass || !pState) return zinStsNullPtrErr;
    if (lag < 0 || lag > 143) return zinStsRangeErr;
    const g722::State* st = g722::state_of(pState);
    int cls = *pClass;
    if (st->nbhHigh > st->nblLow) cls = cls != 0 ? 4 : 3;
    if (cls == 3 || cls == 4) {
        int count = 0;
        for (int i = 0; i < lag; ++i) {
            int m = 0;
            for (int j = i - 2; j <= i + 2; ++j) {
                const int a = pSignal[j] < 0 ? -int{pSignal[j]} : int{pSignal[j]};
                if (a > m) m = a;
            }
            Zin16s& x = pSignal[i + lag];
            const int ax = x < 0 ? -int{x} : int{x};
            if (ax > m) {
                if (8 * m <= ax) ++count;
                x = static_cast<Zin16s>(x < 0 ? -m : m);
            }
        }
        if (count >= 1) cls = 2;
    }
    *pClass = cls;
    return zinStsNoErr;
}
