// G.722 sub-band ADPCM: the low-band and high-band coders of ITU-T G.722
// clause 6 on interleaved low/high word pairs, one state object for either
// direction, and the state helpers used after a frame loss.
#include "g722_adpcm.h"

#include <immintrin.h>

#include "../frame/registry.h"
#include "g722_tables.h"
#include "kernels/fixed_point.h"

namespace zin::g722 {

using fx::add16;
using fx::mul16;
using fx::sub16;

void init_state(State* s) {
    *s = State{};
    s->detLow = 32;
    s->detHigh = 8;
}

namespace {

// One band's adaptive predictor and scale factor, held in locals for the
// length of a call.
struct Band {
    Zin16s a1, a2;   // pole coefficients
    Zin16s b[6];     // zero coefficients B1..B6
    Zin16s dl[6];    // delayed quantised differences D1..D6
    Zin16s det, nb;  // linear and logarithmic scale factor
    Zin16s p1, p2;   // delayed partial reconstructed signals
    Zin16s r1, r2;   // delayed reconstructed signals
    Zin16s d0, p0, r0;
    Zin16s sz, sp, s;
};

void load_low(const State* st, Band& B) {
    B.a1 = st->poles[0];
    B.a2 = st->poles[1];
    for (int i = 0; i < 6; ++i) {
        B.b[i] = st->zerosLow[i];
        B.dl[i] = static_cast<Zin16s>(st->dltLow[i]);
    }
    B.det = st->detLow;
    B.nb = st->nblLow;
    B.p1 = st->pltLow[0];
    B.p2 = st->pltLow[1];
    B.r1 = st->rltLow[0];
    B.r2 = st->rltLow[1];
    B.d0 = st->dLow;
    B.p0 = st->work[0];
    B.r0 = st->work[1];
    B.sz = st->szLow;
    B.sp = st->spLow;
    B.s = st->sLow;
}

void store_low(State* st, const Band& B) {
    st->poles[0] = B.a1;
    st->poles[1] = B.a2;
    for (int i = 0; i < 6; ++i) {
        st->zerosLow[i] = B.b[i];
        st->dltLow[i] = B.dl[i];
    }
    st->detLow = B.det;
    st->nblLow = B.nb;
    st->pltLow[0] = B.p1;
    st->pltLow[1] = B.p2;
    st->rltLow[0] = B.r1;
    st->rltLow[1] = B.r2;
    st->dLow = B.d0;
    st->work[0] = B.p0;
    st->work[1] = B.r0;
    st->szLow = B.sz;
    st->spLow = B.sp;
    st->sLow = B.s;
}

void load_high(const State* st, Band& B) {
    B.a1 = st->poles[2];
    B.a2 = st->poles[3];
    for (int i = 0; i < 6; ++i) {
        B.b[i] = st->zerosHigh[i];
        B.dl[i] = static_cast<Zin16s>(st->dltHigh[i]);
    }
    B.det = st->detHigh;
    B.nb = st->nbhHigh;
    B.p1 = st->pltHigh[0];
    B.p2 = st->pltHigh[1];
    B.r1 = st->rltHigh[0];
    B.r2 = st->rltHigh[1];
    B.d0 = st->dHigh;
    B.p0 = st->work[2];
    B.r0 = st->work[3];
    B.sz = st->szHigh;
    B.sp = st->spHigh;
    B.s = st->sHigh;
}

void store_high(State* st, const Band& B) {
    st->poles[2] = B.a1;
    st->poles[3] = B.a2;
    for (int i = 0; i < 6; ++i) {
        st->zerosHigh[i] = B.b[i];
        st->dltHigh[i] = B.dl[i];
    }
    st->detHigh = B.det;
    st->nbhHigh = B.nb;
    st->pltHigh[0] = B.p1;
    st->pltHigh[1] = B.p2;
    st->rltHigh[0] = B.r1;
    st->rltHigh[1] = B.r2;
    st->dHigh = B.d0;
    st->work[2] = B.p0;
    st->work[3] = B.r0;
    st->szHigh = B.sz;
    st->spHigh = B.sp;
    st->sHigh = B.s;
}

// Quantised difference of INVQAL/INVQAH/INVQBL: mult(DET, level * 8).
inline Zin16s inv_quant(Zin16s det, Zin16s level8) { return static_cast<Zin16s>((Zin32s{det} * level8) >> 15); }

// The adaptation common to both bands and both directions (G.722 blocks
// LOGSCL/LOGSCH, SCALEL/SCALEH, PARREC, RECONS, UPZERO, UPPOL2, UPPOL1,
// FILTEZ, FILTEP, PREDIC), given the quantised difference `dq` computed with
// the old scale factor and the log multiplier `w` of the code.
template <int kNbMax, int kIlaOffset>
inline void adapt(Band& B, Zin16s dq, Zin16s w) {
    // LOGSCL / LOGSCH: NB = NB * 127/128 + W, limited.
    int nb = ((Zin32s{B.nb} * 127) >> 7) + w;
    nb = nb < 0 ? 0 : (nb > kNbMax ? kNbMax : nb);
    B.nb = static_cast<Zin16s>(nb);
    // SCALEL / SCALEH.
    B.det = static_cast<Zin16s>(kIla[(nb >> 6) + kIlaOffset] * 4 + 4);

    // PARREC, RECONS.
    const Zin16s p0 = add16(dq, B.sz);
    const Zin16s r0 = add16(B.s, dq);
    B.d0 = dq;
    B.p0 = p0;
    B.r0 = r0;

    // UPZERO: leak each zero and step it by the agreement of signs, then
    // delay the differences.
    const Zin16s step = dq == 0 ? 0 : 128;
    for (int i = 5; i >= 0; --i) {
        const Zin16s g = ((B.dl[i] ^ dq) < 0) ? static_cast<Zin16s>(-step) : step;
        B.b[i] = add16(g, mul16(B.b[i], 32640));
    }
    for (int i = 5; i > 0; --i) B.dl[i] = B.dl[i - 1];
    B.dl[0] = dq;

    // UPPOL2.
    const bool s0 = p0 < 0, s1 = B.p1 < 0, s2 = B.p2 < 0;
    const Zin16s w1 = fx::shl16(B.a1, 2);
    Zin16s w2 = s0 == s1 ? sub16(0, w1) : w1;
    w2 = static_cast<Zin16s>(w2 >> 7);
    const Zin16s w4 = add16(w2, static_cast<Zin16s>(s0 == s2 ? 128 : -128));
    Zin16s a2 = add16(w4, mul16(B.a2, 32512));
    a2 = a2 > 12288 ? Zin16s{12288} : (a2 < -12288 ? Zin16s{-12288} : a2);

    // UPPOL1.
    Zin16s a1 = add16(static_cast<Zin16s>(s0 == s1 ? 192 : -192), mul16(B.a1, 32640));
    const Zin16s lim = sub16(15360, a2);
    if (a1 > lim)
        a1 = lim;
    else if (a1 < -lim)
        a1 = static_cast<Zin16s>(-lim);
    B.a1 = a1;
    B.a2 = a2;
    B.p2 = B.p1;
    B.p1 = p0;

    // FILTEZ, summed from the oldest tap with saturation at each step.
    Zin16s sz = 0;
    for (int i = 5; i >= 0; --i) sz = add16(sz, mul16(add16(B.dl[i], B.dl[i]), B.b[i]));
    B.sz = sz;

    // FILTEP.
    B.r2 = B.r1;
    B.r1 = r0;
    const Zin16s sp = add16(mul16(a1, add16(B.r1, B.r1)), mul16(a2, add16(B.r2, B.r2)));
    B.sp = sp;

    // PREDIC.
    B.s = add16(sp, sz);
}

// Decision levels of QUANTL multiplied by 16, in four vectors of eight; the
// lanes past level 29 are padding that counts as above every difference.
alignas(16) constexpr std::uint16_t kQ6x16[32] = {
    35 * 16,   72 * 16,   110 * 16,  150 * 16,  190 * 16,  233 * 16,  276 * 16,  323 * 16,
    370 * 16,  422 * 16,  473 * 16,  530 * 16,  587 * 16,  650 * 16,  714 * 16,  786 * 16,
    858 * 16,  940 * 16,  1023 * 16, 1121 * 16, 1219 * 16, 1339 * 16, 1458 * 16, 1612 * 16,
    1765 * 16, 1980 * 16, 2195 * 16, 2557 * 16, 2919 * 16, 0,         0,         0};
static_assert(kQ6x16[0] == kQ6[1] * 16 && kQ6x16[28] == kQ6[29] * 16);

// QUANTL: the interval 1..30 of a magnitude `wd` (0..32767): the smallest
// index whose level, scaled by DETL >> 12, exceeds wd, or 30.
inline int quantl_interval(int wd, Zin16s det) {
    const __m128i dv = _mm_set1_epi16(det);
    const __m128i wv = _mm_set1_epi16(static_cast<Zin16s>(wd));
    const __m128i* q = reinterpret_cast<const __m128i*>(kQ6x16);
    // (level * 16 * det) >> 16 == (level * det) >> 12, at most 12800.
    const __m128i g0 = _mm_cmpgt_epi16(_mm_mulhi_epu16(_mm_load_si128(q + 0), dv), wv);
    const __m128i g1 = _mm_cmpgt_epi16(_mm_mulhi_epu16(_mm_load_si128(q + 1), dv), wv);
    const __m128i g2 = _mm_cmpgt_epi16(_mm_mulhi_epu16(_mm_load_si128(q + 2), dv), wv);
    const __m128i g3 = _mm_cmpgt_epi16(_mm_mulhi_epu16(_mm_load_si128(q + 3), dv), wv);
    const unsigned m = static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(g0, g1))) |
                       (static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(g2, g3))) << 16) | 0xE0000000u;
    return 1 + __builtin_ctz(m);
}

void encode_pairs(const Zin16s* src, Zin16s* dst, int pairs, State* st) {
    Band L, H;
    load_low(st, L);
    load_high(st, H);
    for (int k = 0; k < pairs; ++k) {
        // Low band: SUBTRA, QUANTL.
        const int el = int{src[2 * k]} - L.s;
        int wdl = el >= 0 ? el : ~el;
        if (wdl > 32767) wdl = 32767;
        const int il = kQuantlCode[el >= 0][quantl_interval(wdl, L.det)];
        // High band: SUBTRA, QUANTH.
        const int eh = int{src[2 * k + 1]} - H.s;
        const int wdh = eh >= 0 ? eh : ~eh;
        const int big = wdh >= ((kQ2 * H.det) >> 12);
        const int ih = eh >= 0 ? (big ? 2 : 3) : (big ? 0 : 1);
        dst[2 * k] = static_cast<Zin16s>(il);
        dst[2 * k + 1] = static_cast<Zin16s>(ih);
        // INVQAL/INVQAH and the adaptation.
        const int il4 = il >> 2;
        adapt<18432, 64>(L, inv_quant(L.det, kInvQ4[il4]), kWL4[il4]);
        adapt<22528, 0>(H, inv_quant(H.det, kInvQ2[ih]), kWH2[ih]);
    }
    store_low(st, L);
    store_high(st, H);
}

inline Zin16s limit(int x) { return static_cast<Zin16s>(x > 16383 ? 16383 : (x < -16384 ? -16384 : x)); }

template <int kMode>
void decode_pairs_mode(const Zin16s* src, Zin16s* dst, int pairs, State* st) {
    Band L, H;
    load_low(st, L);
    load_high(st, H);
    for (int k = 0; k < pairs; ++k) {
        const int il = src[2 * k] & 63;
        const int ih = src[2 * k + 1] & 3;
        // INVQBL at the width of the mode, RECONS, LIMIT.
        const Zin16s lvl = kMode == 1 ? kInvQ6[il] : (kMode == 2 ? kInvQ5[il >> 1] : kInvQ4[il >> 2]);
        dst[2 * k] = limit(int{L.s} + inv_quant(L.det, lvl));
        const int il4 = il >> 2;
        adapt<18432, 64>(L, inv_quant(L.det, kInvQ4[il4]), kWL4[il4]);
        adapt<22528, 0>(H, inv_quant(H.det, kInvQ2[ih]), kWH2[ih]);
        dst[2 * k + 1] = limit(H.r0);
    }
    store_low(st, L);
    store_high(st, H);
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
