// G.729 LSF quantisation, fixed point (ITU-T G.729 clause 3.2.4 and the
// decoder's 4.1.1, with Annex E's forward-mode form): switched fourth-order
// MA prediction, a 128-row first stage and two 32-row second-stage splits,
// the rearrangement and stability steps, and the erased-frame update.
#include <immintrin.h>

#include <cstdint>
#include <cstring>

#include "../frame/registry.h"
#include "../kernels/fixed_point.h"
#include "g729_internal.h"
#include "g729_tables.h"

namespace zin {
namespace g729 {
namespace {

using fx::i16;
using fx::i32;
using fx::i64;

struct Choice {
    int mode, cand, low, high;
};

// Weights of the second stage from the unquantised LSFs (Q13), normalised.
void weights(const Zin16s* lsf, i16* w) {
    using namespace fx;
    i16 d[10];
    d[0] = sub16(lsf[1], 9221);                              // pi*0.04 + 1.0
    for (int i = 1; i < 9; ++i) d[i] = sub16(sub16(lsf[i + 1], lsf[i - 1]), 8192);
    d[9] = sub16(15485, lsf[8]);                             // pi*0.92 - 1.0
    for (int i = 0; i < 10; ++i) {
        if (d[i] > 0) {
            w[i] = 2048;
        } else {
            const i16 t = high16(shl32(mul32(d[i], d[i]), 2));
            w[i] = add16(high16(shl32(mul32(t, 20480), 2)), 2048);
        }
    }
    w[4] = high16(shl32(mul32(w[4], 19661), 1));
    w[5] = high16(shl32(mul32(w[5], 19661), 1));
    i16 mx = 0;
    for (int i = 0; i < 10; ++i)
        if (w[i] > mx) mx = w[i];
    const i16 sft = norm16(mx);
    for (int i = 0; i < 10; ++i) w[i] = shl16(w[i], sft);
}

// Target of mode m: the LSFs less the MA prediction, over the predictor sum.
void target(const Zin16s* lsf, const Zin16s* prev, int m, i16* t) {
    for (int j = 0; j < 10; ++j) {
        std::uint32_t acc = static_cast<std::uint32_t>(i32{lsf[j]}) << 15;
        for (int k = 0; k < 4; ++k) acc -= static_cast<std::uint32_t>(i32{prev[10 * k + j]} * kFg[m][k][j]);
        const i32 temp = static_cast<i32>(acc) >> 15;
        t[j] = fx::sat16((i64{temp} * kFgSumInv[m][j]) >> 12);
    }
}

// The index of the least error over four lanes, the smallest index on a tie.
inline int first_of_least(__m128i best, __m128i bidx) {
    alignas(16) i32 bv[4], bi[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(bv), best);
    _mm_store_si128(reinterpret_cast<__m128i*>(bi), bidx);
    int k = 0;
    for (int l = 1; l < 4; ++l)
        if (bv[l] < bv[k] || (bv[l] == bv[k] && bi[l] < bi[k])) k = l;
    return bi[k];
}

// Nearest first-stage row in plain squared error, first of equals kept:
// four rows at a time, lane k keeping the first best of rows k, k+4, ...;
// the smallest index among the lanes that hold the least error wins.
int first_stage(const i16* t) {
    const __m128i t0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(t));
    const __m128i t1 = _mm_setr_epi16(t[8], t[9], 0, 0, 0, 0, 0, 0);
    __m128i best = _mm_set1_epi32(fx::kMax32), bidx = _mm_setzero_si128();
    __m128i idx = _mm_setr_epi32(0, 1, 2, 3);
    const __m128i four = _mm_set1_epi32(4);
    auto err = [&](int i) {
        const __m128i* r = reinterpret_cast<const __m128i*>(kLspCb1Wide.row[i]);
        const __m128i d0 = _mm_subs_epi16(t0, _mm_load_si128(r));
        const __m128i d1 = _mm_subs_epi16(t1, _mm_load_si128(r + 1));
        return _mm_add_epi32(_mm_madd_epi16(d0, d0), _mm_madd_epi16(d1, d1));
    };
    for (int i = 0; i < 128; i += 4) {
        const __m128i e = _mm_hadd_epi32(_mm_hadd_epi32(err(i), err(i + 1)), _mm_hadd_epi32(err(i + 2), err(i + 3)));
        const __m128i lt = _mm_cmpgt_epi32(best, e);
        best = _mm_blendv_epi8(best, e, lt);
        bidx = _mm_blendv_epi8(bidx, idx, lt);
        idx = _mm_add_epi32(idx, four);
    }
    return first_of_least(best, bidx);
}

// d * ((w * d) >> 15) per lane, summed in pairs into 32-bit lanes (wrapping).
inline __m128i weighted_error(__m128i d, __m128i w) {
    const __m128i lo = _mm_mullo_epi16(w, d), hi = _mm_mulhi_epi16(w, d);
    const __m128i wd = _mm_or_si128(_mm_slli_epi16(hi, 1), _mm_srli_epi16(lo, 15));
    return _mm_madd_epi16(d, wd);
}

// Rearrangement of the sum vector so that neighbours keep a distance.
inline void expand(i16* b, int gap) {
    for (int j = 1; j < 10; ++j) {
        const i32 s = b[j - 1] - b[j] + gap;
        if (s > 0) {
            const i16 h = static_cast<i16>(s >> 1);
            b[j - 1] = static_cast<i16>(b[j - 1] - h);
            b[j] = static_cast<i16>(b[j] + h);
        }
    }
}

inline void sum_rows(int cand, int low, int high, i16* b) {
    for (int j = 0; j < 5; ++j) b[j] = static_cast<i16>(kLspCb1[cand][j] + kLspCb2[low][j]);
    for (int j = 5; j < 10; ++j) b[j] = static_cast<i16>(kLspCb1[cand][j] + kLspCb2[high][j]);
    expand(b, 10);
    expand(b, 5);
}

Choice search(const Zin16s* lsf, const Zin16s* prev) {
    i16 w[10];
    weights(lsf, w);
    Choice c[2];
    i32 dist[2];
    for (int m = 0; m < 2; ++m) {
        alignas(16) i16 t[16] = {};
        target(lsf, prev, m, t);
        const int cand = first_stage(t);
        // Second stage, both splits in one loop: low columns in lanes 0..4 of
        // one vector, high columns in lanes 0..4 of the other, zeros beside.
        alignas(16) i16 rs[16] = {}, ws[16] = {};
        for (int j = 0; j < 5; ++j) {
            rs[j] = fx::sub16(t[j], kLspCb1[cand][j]);
            rs[8 + j] = fx::sub16(t[5 + j], kLspCb1[cand][5 + j]);
            ws[j] = w[j];
            ws[8 + j] = w[5 + j];
        }
        const __m128i rl = _mm_load_si128(reinterpret_cast<const __m128i*>(rs));
        const __m128i rh = _mm_load_si128(reinterpret_cast<const __m128i*>(rs + 8));
        const __m128i wl = _mm_load_si128(reinterpret_cast<const __m128i*>(ws));
        const __m128i wh = _mm_load_si128(reinterpret_cast<const __m128i*>(ws + 8));
        // Four rows at a time, both splits: the error vectors gathered per
        // split, each lane keeping its first best as in the first stage.
        auto pair = [&](int k) {
            const __m128i* row = reinterpret_cast<const __m128i*>(kLspCb2Split.row[k]);
            const __m128i el = weighted_error(_mm_subs_epi16(rl, _mm_load_si128(row)), wl);
            const __m128i eh = weighted_error(_mm_subs_epi16(rh, _mm_load_si128(row + 1)), wh);
            return _mm_hadd_epi32(el, eh);   // low pair sums, high pair sums
        };
        __m128i bestL = _mm_set1_epi32(fx::kMax32), bestH = bestL, idxL = _mm_setzero_si128(), idxH = idxL;
        __m128i idx = _mm_setr_epi32(0, 1, 2, 3);
        for (int k = 0; k < 32; k += 4) {
            const __m128 v01 = _mm_castsi128_ps(_mm_hadd_epi32(pair(k), pair(k + 1)));      // L0 H0 L1 H1
            const __m128 v23 = _mm_castsi128_ps(_mm_hadd_epi32(pair(k + 2), pair(k + 3)));  // L2 H2 L3 H3
            const __m128i L = _mm_castps_si128(_mm_shuffle_ps(v01, v23, 0x88));
            const __m128i H = _mm_castps_si128(_mm_shuffle_ps(v01, v23, 0xDD));
            const __m128i ltL = _mm_cmpgt_epi32(bestL, L), ltH = _mm_cmpgt_epi32(bestH, H);
            bestL = _mm_blendv_epi8(bestL, L, ltL);
            idxL = _mm_blendv_epi8(idxL, idx, ltL);
            bestH = _mm_blendv_epi8(bestH, H, ltH);
            idxH = _mm_blendv_epi8(idxH, idx, ltH);
            idx = _mm_add_epi32(idx, _mm_set1_epi32(4));
        }
        const int low = first_of_least(bestL, idxL), high = first_of_least(bestH, idxH);
        i16 b[10];
        sum_rows(cand, low, high, b);
        std::uint32_t dd = 0;
        for (int j = 0; j < 10; ++j) {
            const i16 d = fx::mul16(fx::sub16(b[j], t[j]), kFgSum[m][j]);
            const i16 d2 = fx::high16(fx::shl32(fx::mul32(w[j], d), 4));
            dd += static_cast<std::uint32_t>(i32{d2} * d);
        }
        dist[m] = static_cast<i32>(dd);
        c[m] = {m, cand, low, high};
    }
    return dist[0] > dist[1] ? c[1] : c[0];
}

// The LSFs of a choice with the memory as given; buf receives the new row.
void compose(const Choice& c, const Zin16s* prev, i16* buf, Zin16s* lsf) {
    sum_rows(c.cand, c.low, c.high, buf);
    for (int j = 0; j < 10; ++j) {
        std::uint32_t acc = static_cast<std::uint32_t>(i32{buf[j]} * kFgSum[c.mode][j]);
        for (int k = 0; k < 4; ++k) acc += static_cast<std::uint32_t>(i32{prev[10 * k + j]} * kFg[c.mode][k][j]);
        lsf[j] = static_cast<Zin16s>(static_cast<i32>(acc) >> 15);
    }
}

// One pass of neighbour swaps, the low limit, the minimum spacing, the high
// limit; returns the warning of the limits that acted.
ZinStatus stabilise(Zin16s* b) {
    for (int j = 0; j < 9; ++j)
        if (b[j + 1] < b[j]) {
            const Zin16s t = b[j + 1];
            b[j + 1] = b[j];
            b[j] = t;
        }
    bool low = false, high = false;
    if (b[0] < 40) {
        b[0] = 40;
        low = true;
    }
    for (int j = 0; j < 9; ++j)
        if (i32{b[j + 1]} - b[j] < 321) b[j + 1] = fx::add16(b[j], 321);
    if (b[9] > 25681) {
        b[9] = 25681;
        high = true;
    }
    return low ? (high ? zinStsLsfBothWarn : zinStsLsfLowWarn) : (high ? zinStsLsfHighWarn : zinStsNoErr);
}

void shift_in(Zin16s* prev, const i16* row) {
    std::memmove(prev + 10, prev, 30 * sizeof(Zin16s));
    std::memcpy(prev, row, 10 * sizeof(Zin16s));
}

ZinStatus decode(const Choice& c, Zin16s* prev, Zin16s* lsf) {
    i16 buf[10];
    compose(c, prev, buf, lsf);
    shift_in(prev, buf);
    return stabilise(lsf);
}

ZinStatus quantise_lsf(const Zin16s* lsf, Zin16s* prev, Zin16s* qlsf, Choice& c) {
    c = search(lsf, prev);
    return decode(c, prev, qlsf);
}

}  // namespace
}  // namespace g729

ZinStatus body::zinsLSFQuant_G729_16s(const Zin16s* pSrcLsf, Zin16s* pSrcDstPrevFreq, Zin16s* pDstQLsf,
                                      Zin16s* pDstIndex) {
    if (!pSrcLsf || !pSrcDstPrevFreq || !pDstQLsf || !pDstIndex) return zinStsNullPtrErr;
    g729::Choice c;
    const ZinStatus st = g729::quantise_lsf(pSrcLsf, pSrcDstPrevFreq, pDstQLsf, c);
    pDstIndex[0] = static_cast<Zin16s>(c.mode);
    pDstIndex[1] = static_cast<Zin16s>(c.cand);
    pDstIndex[2] = static_cast<Zin16s>(c.low);
    pDstIndex[3] = static_cast<Zin16s>(c.high);
    return st;
}

ZinStatus body::zinsLSPQuant_G729_16s(const Zin16s* pSrcLsp, Zin16s* pSrcDstPrevFreq, Zin16s* pDstQLsp,
                                      Zin16s* pDstCode) {
    if (!pSrcLsp || !pSrcDstPrevFreq || !pDstQLsp || !pDstCode) return zinStsNullPtrErr;
    Zin16s lsf[10], qlsf[10];
    g729::lsp_to_lsf(pSrcLsp, lsf);
    g729::Choice c;
    g729::quantise_lsf(lsf, pSrcDstPrevFreq, qlsf, c);
    pDstCode[0] = static_cast<Zin16s>(c.mode << 7 | c.cand);
    pDstCode[1] = static_cast<Zin16s>(c.low << 5 | c.high);
    return g729::lsf_to_lsp(qlsf, pDstQLsp) ? zinStsNoErr : zinStsLsfRangeErr;
}

ZinStatus body::zinsLSPQuant_G729E_16s(const Zin16s* pSrcLsp, const Zin16s* pSrcPrevFreq, Zin16s* pDstFreq,
                                       Zin16s* pDstQLsp, Zin16s* pDstCode) {
    if (!pSrcLsp || !pSrcPrevFreq || !pDstFreq || !pDstQLsp || !pDstCode) return zinStsNullPtrErr;
    Zin16s lsf[10], qlsf[10];
    g729::lsp_to_lsf(pSrcLsp, lsf);
    const g729::Choice c = g729::search(lsf, pSrcPrevFreq);
    fx::i16 buf[10];
    g729::compose(c, pSrcPrevFreq, buf, qlsf);
    g729::stabilise(qlsf);
    std::memcpy(pDstFreq, buf, sizeof buf);
    pDstCode[0] = static_cast<Zin16s>(c.mode << 7 | c.cand);
    pDstCode[1] = static_cast<Zin16s>(c.low << 5 | c.high);
    return g729::lsf_to_lsp(qlsf, pDstQLsp) ? zinStsNoErr : zinStsLsfRangeErr;
}

ZinStatus body::zinsLSFDecode_G729_16s(const Zin16s* pSrcIndex, Zin16s* pSrcDstPrevFreq, Zin16s* pDstQLsf) {
    if (!pSrcIndex || !pSrcDstPrevFreq || !pDstQLsf) return zinStsNullPtrErr;
    if (pSrcIndex[0] < 0 || pSrcIndex[0] > 1) return zinStsOutOfRangeErr;
    const g729::Choice c{pSrcIndex[0], pSrcIndex[1], pSrcIndex[2], pSrcIndex[3]};
    return g729::decode(c, pSrcDstPrevFreq, pDstQLsf);
}

ZinStatus body::zinsLSFDecodeErased_G729_16s(Zin16s maIndex, Zin16s* pSrcDstPrevFreq, const Zin16s* pSrcPrevLSF) {
    if (!pSrcDstPrevFreq || !pSrcPrevLSF) return zinStsNullPtrErr;
    if (static_cast<std::uint16_t>(maIndex) >= 2) return zinStsOutOfRangeErr;
    fx::i16 t[10];
    g729::target(pSrcPrevLSF, pSrcDstPrevFreq, maIndex, t);
    g729::shift_in(pSrcDstPrevFreq, t);
    return zinStsNoErr;
}

}  // namespace zin
