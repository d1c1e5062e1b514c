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

// Both bands advance together: each 2-lane quantity holds the low band in
// lane 0 and the high band in lane 1 of a vector of 16-bit lanes; the pole
// coefficients and the two delayed partial and reconstructed signals are
// vectors of four lanes (newer pair first). The zero predictor of each band
// has two vectors of its own: lanes 0 to 5 of `bl`/`bh` hold B1..B6 (lanes 6
// and 7 stay zero), lanes 0 to 5 of `dl`/`dh` the delayed differences D1..D6.
struct Bands {
    __m128i nb, det;  // log and linear scale factors
    __m128i a;        // A1 low, A1 high, A2 low, A2 high
    __m128i p;        // P1 low, P1 high, P2 low, P2 high (partial signals)
    __m128i r;        // R1 low, R1 high, R2 low, R2 high (reconstructed)
    __m128i sz, sp, s;
    __m128i bl, dl, bh, dh;
};

inline __m128i pair16(int lo, int hi) {
    return _mm_cvtsi32_si128(static_cast<int>((static_cast<unsigned>(hi) << 16) | static_cast<std::uint16_t>(lo)));
}
inline __m128i quad16(int a, int b, int c, int d) { return _mm_setr_epi16(static_cast<Zin16s>(a), static_cast<Zin16s>(b), static_cast<Zin16s>(c), static_cast<Zin16s>(d), 0, 0, 0, 0); }
inline __m128i load6(const Zin16s* p) { return _mm_setr_epi16(p[0], p[1], p[2], p[3], p[4], p[5], 0, 0); }
inline __m128i load6_32(const Zin32s* p) {
    return _mm_setr_epi16(static_cast<Zin16s>(p[0]), static_cast<Zin16s>(p[1]), static_cast<Zin16s>(p[2]),
                          static_cast<Zin16s>(p[3]), static_cast<Zin16s>(p[4]), static_cast<Zin16s>(p[5]), 0, 0);
}

void load_bands(const State* st, Bands& B) {
    B.nb = pair16(st->nblLow, st->nbhHigh);
    B.det = pair16(st->detLow, st->detHigh);
    B.a = quad16(st->poles[0], st->poles[2], st->poles[1], st->poles[3]);
    B.p = quad16(st->pltLow[0], st->pltHigh[0], st->pltLow[1], st->pltHigh[1]);
    B.r = quad16(st->rltLow[0], st->rltHigh[0], st->rltLow[1], st->rltHigh[1]);
    B.sz = pair16(st->szLow, st->szHigh);
    B.sp = pair16(st->spLow, st->spHigh);
    B.s = pair16(st->sLow, st->sHigh);
    B.bl = load6(st->zerosLow);
    B.bh = load6(st->zerosHigh);
    B.dl = load6_32(st->dltLow);
    B.dh = load6_32(st->dltHigh);
}

void store_bands(State* st, const Bands& B) {
    alignas(16) Zin16s t[8];
    auto put = [&](__m128i v) { _mm_store_si128(reinterpret_cast<__m128i*>(t), v); };
    put(B.nb);
    st->nblLow = t[0];
    st->nbhHigh = t[1];
    put(B.det);
    st->detLow = t[0];
    st->detHigh = t[1];
    put(B.a);
    st->poles[0] = t[0];
    st->poles[2] = t[1];
    st->poles[1] = t[2];
    st->poles[3] = t[3];
    put(B.p);
    st->pltLow[0] = st->work[0] = t[0];
    st->pltHigh[0] = st->work[2] = t[1];
    st->pltLow[1] = t[2];
    st->pltHigh[1] = t[3];
    put(B.r);
    st->rltLow[0] = st->work[1] = t[0];
    st->rltHigh[0] = st->work[3] = t[1];
    st->rltLow[1] = t[2];
    st->rltHigh[1] = t[3];
    put(B.sz);
    st->szLow = t[0];
    st->szHigh = t[1];
    put(B.sp);
    st->spLow = t[0];
    st->spHigh = t[1];
    put(B.s);
    st->sLow = t[0];
    st->sHigh = t[1];
    put(B.bl);
    for (int i = 0; i < 6; ++i) st->zerosLow[i] = t[i];
    put(B.bh);
    for (int i = 0; i < 6; ++i) st->zerosHigh[i] = t[i];
    put(B.dl);
    st->dLow = t[0];
    for (int i = 0; i < 6; ++i) st->dltLow[i] = t[i];
    put(B.dh);
    st->dHigh = t[0];
    for (int i = 0; i < 6; ++i) st->dltHigh[i] = t[i];
}

inline int sat16i(int x) { return std::min(std::max(x, -32768), 32767); }

// mult(): (x * y) >> 15 per lane, exact while no lane is -32768 * -32768.
inline __m128i mult(__m128i x, __m128i y) {
    return _mm_or_si128(_mm_slli_epi16(_mm_mulhi_epi16(x, y), 1), _mm_srli_epi16(_mm_mullo_epi16(x, y), 15));
}

// Scale factors by the log scale factor: ILA * 4 + 4 (SCALEL, SCALEH); the
// low band reads 64 entries in.
constexpr std::array<Zin16s, 353> kDet = [] {
    std::array<Zin16s, 353> t{};
    for (int i = 0; i < 353; ++i) t[i] = static_cast<Zin16s>(kIla[i] * 4 + 4);
    return t;
}();

// Per pair of codes (the 4-bit form of the low code, the 2-bit high code):
// the two inverse-quantiser levels (scaled by 8) and the two log
// multipliers, read with one load.
struct PairEntry {
    Zin16s level_low, level_high, w_low, w_high;
};
constexpr std::array<PairEntry, 64> kPair = [] {
    std::array<PairEntry, 64> t{};
    for (int c4 = 0; c4 < 16; ++c4)
        for (int ih = 0; ih < 4; ++ih) t[c4 * 4 + ih] = {kInvQ4[c4], kInvQ2[ih], kWL4[c4], kWH2[ih]};
    return t;
}();

inline __m128i pair_entry(int c4, int ih) {
    std::int64_t v;
    __builtin_memcpy(&v, &kPair[c4 * 4 + ih], 8);
    return _mm_cvtsi64_si128(v);
}

// FILTEZ of both bands: the six products of each summed from the oldest tap
// with saturation at each step. When no product exceeds 32767/6 in magnitude
// no partial sum can saturate, and the sums are taken as trees.
inline __m128i filtez(__m128i tl, __m128i th) {
    const __m128i lim = _mm_set1_epi16(5461);
    const __m128i big = _mm_or_si128(_mm_cmpgt_epi16(_mm_abs_epi16(tl), lim), _mm_cmpgt_epi16(_mm_abs_epi16(th), lim));
    if (__builtin_expect(_mm_movemask_epi8(big) == 0, 1)) {
        __m128i h = _mm_hadd_epi16(tl, th);
        h = _mm_hadd_epi16(h, h);
        return _mm_hadd_epi16(h, h);
    }
    alignas(16) Zin16s a[8], b[8];
    _mm_store_si128(reinterpret_cast<__m128i*>(a), tl);
    _mm_store_si128(reinterpret_cast<__m128i*>(b), th);
    int sl = 0, sh = 0;
    for (int i = 5; i >= 0; --i) {
        sl = sat16i(sl + a[i]);
        sh = sat16i(sh + b[i]);
    }
    return pair16(sl, sh);
}

// UPZERO of one band, then its FILTEZ products: B = mult(B, 32640) +-128 by
// the agreement of the signs of the new and the delayed difference (no step
// for a zero difference), with mult(B, 32640) = B + floor(-B / 256); the
// differences move down one place; the products are mult(add(D, D), B).
inline __m128i upzero(__m128i& b, __m128i& d, __m128i dqv) {
    const __m128i step = _mm_sign_epi16(_mm_setr_epi16(128, 128, 128, 128, 128, 128, 0, 0), dqv);
    const __m128i term = _mm_sign_epi16(step, _mm_or_si128(d, _mm_set1_epi16(1)));
    b = _mm_adds_epi16(term, _mm_add_epi16(b, _mm_mulhi_epi16(b, _mm_set1_epi16(-256))));
    d = _mm_alignr_epi8(d, dqv, 14);
    return mult(_mm_adds_epi16(d, d), b);
}

// The adaptation of both bands (G.722 blocks LOGSCL/LOGSCH, SCALEL/SCALEH,
// PARREC, RECONS, UPZERO, UPPOL2, UPPOL1, FILTEZ, FILTEP, PREDIC), given the
// quantised differences `dq` (computed with the old scale factors) and the
// log multipliers `w` of the codes. Returns the reconstructed signals.
inline __m128i adapt(Bands& B, __m128i dq, __m128i w) {
    // LOGSCL / LOGSCH: NB = NB * 127/128 + W, limited, with
    // mult(NB, 32512) = NB + floor(-NB / 128); SCALEL / SCALEH.
    __m128i nb = _mm_add_epi16(_mm_add_epi16(B.nb, _mm_srai_epi16(_mm_sub_epi16(_mm_setzero_si128(), B.nb), 7)), w);
    nb = _mm_min_epi16(_mm_max_epi16(nb, _mm_setzero_si128()), _mm_setr_epi16(18432, 22528, 0, 0, 0, 0, 0, 0));
    B.nb = nb;
    const unsigned idx = static_cast<unsigned>(_mm_cvtsi128_si32(_mm_srli_epi16(nb, 6)));
    B.det = pair16(kDet[(idx & 0xFFFF) + 64], kDet[idx >> 16]);

    // PARREC, RECONS.
    const __m128i p0 = _mm_adds_epi16(dq, B.sz);
    const __m128i r0 = _mm_adds_epi16(B.s, dq);

    // UPZERO, FILTEZ.
    const __m128i tl = upzero(B.bl, B.dl, _mm_shuffle_epi8(dq, _mm_set1_epi16(0x0100)));
    const __m128i th = upzero(B.bh, B.dh, _mm_shuffle_epi8(dq, _mm_set1_epi16(0x0302)));
    const __m128i sz = filtez(tl, th);

    // Sign agreements as masks, 0 where the signs agree and -1 where not:
    // lanes 0-1 of P0 with P1, lanes 2-3 of P0 with P2.
    const __m128i x = _mm_srai_epi16(_mm_xor_si128(_mm_shuffle_epi32(p0, 0x00), B.p), 15);
    const __m128i x01 = x, x02 = _mm_shuffle_epi32(x, 0x55);
    const __m128i a1 = B.a, a2 = _mm_shuffle_epi32(B.a, 0x55);

    // UPPOL2: 4 * A1 saturates, as does its negation where the signs agree.
    // Both candidates, and the other terms, stand ready before the signs.
    const __m128i w1 = _mm_adds_epi16(_mm_adds_epi16(a1, a1), _mm_adds_epi16(a1, a1));
    const __m128i a2t = _mm_add_epi16(a2, _mm_mulhi_epi16(a2, _mm_set1_epi16(-512)));
    const __m128i keep = _mm_add_epi16(_mm_srai_epi16(w1, 7), a2t);
    const __m128i flip = _mm_add_epi16(_mm_srai_epi16(_mm_subs_epi16(_mm_setzero_si128(), w1), 7), a2t);
    const __m128i c128 = _mm_sub_epi16(_mm_xor_si128(_mm_set1_epi16(128), x02), x02);
    __m128i a2n = _mm_add_epi16(_mm_blendv_epi8(flip, keep, x01), c128);
    a2n = _mm_min_epi16(_mm_max_epi16(a2n, _mm_set1_epi16(-12288)), _mm_set1_epi16(12288));

    // UPPOL1, with mult(A1, 32640) = A1 + floor(-A1 / 256).
    const __m128i c192 = _mm_sub_epi16(_mm_xor_si128(_mm_set1_epi16(192), x01), x01);
    __m128i a1n = _mm_add_epi16(c192, _mm_add_epi16(a1, _mm_mulhi_epi16(a1, _mm_set1_epi16(-256))));
    a1n = _mm_max_epi16(_mm_min_epi16(a1n, _mm_sub_epi16(_mm_set1_epi16(15360), a2n)),
                        _mm_sub_epi16(a2n, _mm_set1_epi16(15360)));
    // FILTEP, with the two products formed side by side.
    const __m128i r1 = B.r;
    B.sp = _mm_adds_epi16(mult(a1n, _mm_adds_epi16(r0, r0)), mult(a2n, _mm_adds_epi16(r1, r1)));
    B.a = _mm_unpacklo_epi32(a1n, a2n);
    B.p = _mm_unpacklo_epi32(p0, B.p);
    B.r = _mm_unpacklo_epi32(r0, B.r);

    // PREDIC.
    B.sz = sz;
    B.s = _mm_adds_epi16(B.sp, sz);
    return r0;
}

// Decision levels 1 to 29 of QUANTL multiplied by 16, in four vectors of
// eight; the lanes past level 29 are padding that counts as above every
// difference.
struct alignas(16) Levels16 {
    std::uint16_t v[32];
};
constexpr Levels16 kQ6x16 = [] {
    Levels16 t{};
    for (int i = 1; i <= 29; ++i) t.v[i - 1] = static_cast<std::uint16_t>(kQ6[i] * 16);
    return t;
}();

// QUANTL: the interval 1..30 of the magnitude in lane 0 of `wd`: the
// smallest index whose level scaled by DETL, (level * 16 * DETL) >> 16 ==
// (level * DETL) >> 12, exceeds it, or 30. `det` holds DETL in every lane.
inline int quantl_interval(__m128i det, __m128i wd) {
    const __m128i* q = reinterpret_cast<const __m128i*>(kQ6x16.v);
    const __m128i w = _mm_shuffle_epi8(wd, _mm_set1_epi16(0x0100));
    const __m128i g0 = _mm_cmpgt_epi16(_mm_mulhi_epu16(_mm_load_si128(q + 0), det), w);
    const __m128i g1 = _mm_cmpgt_epi16(_mm_mulhi_epu16(_mm_load_si128(q + 1), det), w);
    const __m128i g2 = _mm_cmpgt_epi16(_mm_mulhi_epu16(_mm_load_si128(q + 2), det), w);
    const __m128i g3 = _mm_cmpgt_epi16(_mm_mulhi_epu16(_mm_load_si128(q + 3), det), w);
    const unsigned m = static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(g0, g1))) |
                       (static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(g2, g3))) << 16) | 0xE0000000u;
    return 1 + __builtin_ctz(m);
}

// Per sign of the low-band difference (1 for not negative), QUANTL interval
// and high-band code: the levels and multipliers of the adaptation, so that
// one load follows the decision.
constexpr std::array<PairEntry, 2 * 32 * 4> kEncPair = [] {
    std::array<PairEntry, 2 * 32 * 4> t{};
    for (int sg = 0; sg < 2; ++sg)
        for (int m = 0; m < 32; ++m)
            for (int ih = 0; ih < 4; ++ih) {
                const int c4 = kQuantlCode[sg][m] >> 2;
                t[(sg * 32 + m) * 4 + ih] = {kInvQ4[c4], kInvQ2[ih], kWL4[c4], kWH2[ih]};
            }
    return t;
}();

void encode_pairs(const Zin16s* src, Zin16s* dst, int pairs, State* st) {
    Bands B;
    load_bands(st, B);
    for (int k = 0; k < pairs; ++k) {
        // SUBTRA of both bands, and the magnitudes ~e for a negative e. The
        // difference saturates here, which changes no decision: its sign
        // stays, and any magnitude of 32767 or more lies above every level.
        int xv;
        __builtin_memcpy(&xv, src + 2 * k, 4);
        const __m128i e = _mm_subs_epi16(_mm_cvtsi32_si128(xv), B.s);
        const __m128i neg = _mm_srai_epi16(e, 15);
        const __m128i wd = _mm_xor_si128(e, neg);
        // QUANTL.
        const int mil = quantl_interval(_mm_shuffle_epi8(B.det, _mm_set1_epi16(0x0100)), wd);
        // QUANTH: the level 564 * DETH >> 12 in lane 1. The mask bits give
        // the two signs (bits 0, 2) and whether the high magnitude lies
        // below that level (bit 6).
        const __m128i small = _mm_cmpgt_epi16(_mm_mulhi_epu16(B.det, _mm_set1_epi16(564 * 16)), wd);
        const unsigned bits = static_cast<unsigned>(_mm_movemask_epi8(_mm_unpacklo_epi32(neg, small)));
        const int pos_low = (~bits) & 1, pos_high = ((~bits) >> 2) & 1, below = (bits >> 6) & 1;
        // 3 or 2 for a non-negative high difference, 1 or 0 for a negative one.
        const int ih = 2 * pos_high + below;
        dst[2 * k] = static_cast<Zin16s>(kQuantlCode[pos_low][mil]);
        dst[2 * k + 1] = static_cast<Zin16s>(ih);
        // INVQAL/INVQAH and the adaptation.
        std::int64_t ev;
        __builtin_memcpy(&ev, &kEncPair[(pos_low * 32 + mil) * 4 + ih], 8);
        const __m128i lw = _mm_cvtsi64_si128(ev);
        adapt(B, mult(B.det, lw), _mm_srli_si128(lw, 4));
    }
    store_bands(st, B);
}

template <int kMode>
void decode_pairs_mode(const Zin16s* src, Zin16s* dst, int pairs, State* st) {
    Bands B;
    load_bands(st, B);
    const __m128i lo = _mm_set1_epi16(-16384), hi = _mm_set1_epi16(16383);
    for (int k = 0; k < pairs; ++k) {
        const int il = src[2 * k] & 63;
        const int ih = src[2 * k + 1] & 3;
        // INVQBL at the width of the mode and RECONS for the low output.
        const int lvl = kMode == 1 ? kInvQ6[il] : (kMode == 2 ? kInvQ5[il >> 1] : kInvQ4[il >> 2]);
        const __m128i yl = _mm_adds_epi16(B.s, mult(B.det, _mm_cvtsi32_si128(lvl & 0xFFFF)));
        const __m128i e = pair_entry(il >> 2, ih);
        const __m128i r0 = adapt(B, mult(B.det, e), _mm_srli_si128(e, 4));
        // LIMIT: the low output and the high band's reconstructed signal.
        const __m128i y = _mm_min_epi16(_mm_max_epi16(_mm_blend_epi16(yl, r0, 0x02), lo), hi);
        const int out = _mm_cvtsi128_si32(y);
        __builtin_memcpy(dst + 2 * k, &out, 4);
    }
    store_bands(st, B);
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
