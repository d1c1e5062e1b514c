// ITU-T G.728 LD-CELP, the per-vector searches and the post-filter: energies
// of the filtered shape codebook, the shape-gain search (16 kbit/s, and the
// 12.8 and 9.6 kbit/s searches of Annex H), a trellis-coded search, and on
// the decoder side the pitch extractor and the long- and short-term
// post-filter (G.728 clauses 3 and 4; blocks 71-84 of Annex G).
#include <immintrin.h>

#include <cstring>

#include "../frame/registry.h"
#include "g728_internal.h"

namespace zin {
namespace g728 {
namespace {

using fx::i16;
using fx::i32;
using fx::i64;

// ITU-T G.728 Table B.2 in the search's form: the three cell boundaries of
// the gain quantiser (Q13 by Q5 energies against Q18 correlations), and per
// level the pair (-2 g, g^2) that prices correlation and energy.
constexpr i32 kThresh16[3] = {5808, 10164, 17787};
constexpr i16 kPair16[4][2] = {{-4224, 545}, {-7392, 1668}, {-12936, 5107}, {-22638, 15640}};
// Annex H, 12.8 kbit/s: one boundary and two levels. Level 1 is (-12800,
// 5000); the level-0 pair is not held by any source here, and the value below
// is a placeholder of the same form (-2 g, g^2 / 8192) with g = 1866.
constexpr i32 kThresh128 = 7126;
constexpr i16 kPair128[2][2] = {{-3732, 425 /* placeholder */}, {-12800, 5000}};
// Annex H, 9.6 kbit/s: one boundary and two levels.
constexpr i32 kThresh96 = 8253;
constexpr i16 kPair96[2][2] = {{-4626, 653}, {-15874, 7690}};

inline i64 shape_corr(const i16* y, const i16* c) {
    return i64{y[0]} * c[0] + i64{y[1]} * c[1] + i64{y[2]} * c[2] + i64{y[3]} * c[3] + i64{y[4]} * c[4];
}

inline i32 distortion(i64 mag, i32 energy, const i16* pair) {
    const i32 p = fx::sat16(mag >> 14);
    return p * pair[0] + energy * pair[1];
}

// The shape table as pairs of taps for the multiply-add, four shapes to a
// 16-byte block: (y0, y1), (y2, y3) and (y4, 0) of each shape.
struct PairTables {
    alignas(16) i16 t01[256];
    alignas(16) i16 t23[256];
    alignas(16) i16 t4[256];
};
constexpr PairTables kPairs = [] {
    PairTables t{};
    for (int s = 0; s < 128; ++s) {
        const i16* y = kShapeCodebook + 5 * s;
        t.t01[2 * s] = y[0], t.t01[2 * s + 1] = y[1];
        t.t23[2 * s] = y[2], t.t23[2 * s + 1] = y[3];
        t.t4[2 * s] = y[4], t.t4[2 * s + 1] = 0;
    }
    return t;
}();

// Four shapes in four lanes. |P| stays below 2^31 for every 16-bit target
// (the largest sum of magnitudes of a codevector is 47018), E t below 2^31
// for every unsigned energy, and both distortion terms below 2^30, so the
// 32-bit lanes hold the exact values.
void search16(const i16* corr, const i16* energy, int& shape, int& gain) {
    const __m128i c01 = _mm_set1_epi32(static_cast<i32>((static_cast<std::uint32_t>(static_cast<std::uint16_t>(corr[1])) << 16) |
                                                        static_cast<std::uint16_t>(corr[0])));
    const __m128i c23 = _mm_set1_epi32(static_cast<i32>((static_cast<std::uint32_t>(static_cast<std::uint16_t>(corr[3])) << 16) |
                                                        static_cast<std::uint16_t>(corr[2])));
    const __m128i c4 = _mm_set1_epi32(static_cast<std::uint16_t>(corr[4]));
    const __m128i t0 = _mm_set1_epi32(kThresh16[0]), t1 = _mm_set1_epi32(kThresh16[1]), t2 = _mm_set1_epi32(kThresh16[2]);
    const __m128i g2[4] = {_mm_set1_epi32(kPair16[0][0]), _mm_set1_epi32(kPair16[1][0]), _mm_set1_epi32(kPair16[2][0]),
                           _mm_set1_epi32(kPair16[3][0])};
    const __m128i gsq[4] = {_mm_set1_epi32(kPair16[0][1]), _mm_set1_epi32(kPair16[1][1]), _mm_set1_epi32(kPair16[2][1]),
                            _mm_set1_epi32(kPair16[3][1])};
    const __m128i zero = _mm_setzero_si128();
    __m128i best = _mm_set1_epi32(fx::kMax32);
    __m128i best_idx = _mm_setzero_si128();
    __m128i idx = _mm_setr_epi32(0, 1, 2, 3);
    const __m128i four = _mm_set1_epi32(4);
    for (int s = 0; s < 128; s += 4) {
        const __m128i p = _mm_add_epi32(
            _mm_add_epi32(_mm_madd_epi16(_mm_load_si128(reinterpret_cast<const __m128i*>(kPairs.t01 + 2 * s)), c01),
                          _mm_madd_epi16(_mm_load_si128(reinterpret_cast<const __m128i*>(kPairs.t23 + 2 * s)), c23)),
            _mm_madd_epi16(_mm_load_si128(reinterpret_cast<const __m128i*>(kPairs.t4 + 2 * s)), c4));
        const __m128i mag = _mm_abs_epi32(p);
        const __m128i e = _mm_unpacklo_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(energy + s)), zero);
        const __m128i m2 = _mm_cmpgt_epi32(_mm_mullo_epi32(e, t2), mag);
        const __m128i m1 = _mm_cmpgt_epi32(_mm_mullo_epi32(e, t1), mag);
        const __m128i m0 = _mm_cmpgt_epi32(_mm_mullo_epi32(e, t0), mag);
        __m128i pg = _mm_blendv_epi8(g2[3], g2[2], m2);
        __m128i pe = _mm_blendv_epi8(gsq[3], gsq[2], m2);
        pg = _mm_blendv_epi8(pg, g2[1], m1);
        pe = _mm_blendv_epi8(pe, gsq[1], m1);
        pg = _mm_blendv_epi8(pg, g2[0], m0);
        pe = _mm_blendv_epi8(pe, gsq[0], m0);
        // sat16(|P| >> 14): the shift leaves at most 17 bits, the pack saturates
        const __m128i q32 = _mm_cvtepi16_epi32(_mm_packs_epi32(_mm_srli_epi32(mag, 14), zero));
        const __m128i d = _mm_add_epi32(_mm_mullo_epi32(q32, pg), _mm_mullo_epi32(e, pe));
        const __m128i better = _mm_cmplt_epi32(d, best);
        best = _mm_blendv_epi8(best, d, better);
        best_idx = _mm_blendv_epi8(best_idx, idx, better);
        idx = _mm_add_epi32(idx, four);
    }
    alignas(16) i32 bd[4], bi[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(bd), best);
    _mm_store_si128(reinterpret_cast<__m128i*>(bi), best_idx);
    int w = 0;
    for (int l = 1; l < 4; ++l)
        if (bd[l] < bd[w] || (bd[l] == bd[w] && bi[l] < bi[w])) w = l;
    const int bs = bi[w];
    const i64 p = shape_corr(kShapeCodebook + 5 * bs, corr);
    const i64 mag = p < 0 ? -p : p;
    const i32 e = static_cast<std::uint16_t>(energy[bs]);
    int level = 3;
    for (int t = 0; t < 3; ++t) level -= (i64{e} * kThresh16[t] > mag);
    shape = bs;
    gain = level + (p < 1 ? 4 : 0);
}

// The two-level searches over a list of shapes; returns the position.
int search2(const i16* corr, const i16* energy, const int* shapes, int count, i32 thresh, const i16 (*pairs)[2],
            int& gain) {
    i32 best = fx::kMax32;
    int bp = 0, bg = 0;
    for (int pos = 0; pos < count; ++pos) {
        const int s = shapes[pos];
        const i64 p = shape_corr(kShapeCodebook + 5 * s, corr);
        const i64 mag = p < 0 ? -p : p;
        const i32 e = static_cast<std::uint16_t>(energy[s]);
        const int level = i64{e} * thresh > mag ? 0 : 1;
        const i32 d = distortion(mag, e, pairs[level]);
        if (d < best) {
            best = d;
            bp = pos;
            bg = level;
        }
    }
    if (shape_corr(kShapeCodebook + 5 * shapes[bp], corr) < 1) bg += 2;
    gain = bg;
    return bp;
}

constexpr auto kShapes128 = [] {
    struct { int s[64]; } t{};
    for (int i = 0; i < 64; ++i) t.s[i] = 64 + i;
    return t;
}();
constexpr auto kShapes96 = [] {
    struct { int s[16]; } t{};
    for (int i = 0; i < 16; ++i) t.s[i] = (i >> 2) * 8 + (i & 3) + 96;
    return t;
}();

// ---- trellis-coded search -----------------------------------------------------
//
// Four trellis states; each state owns one half of the 12.8 kbit/s shape set
// (even states the shapes 64..95, odd states 96..127) and moves to
// (2 state + branch) mod 4 where the branch is the sign of the chosen gain.
// The search runs over `scaleTarget >> 32` vectors (1 to 8) of targets; the
// low word of each scale word is the right shift of that word's distortions.
void search_tcq(const i16* target, const i16* /*imp*/, Zin8u* shape_out, const i16* energy, i16* gain_out,
                int* state, i64 scale_target, i64 scale_gain) {
    int nvec = static_cast<int>(scale_target >> 32);
    if (nvec < 1) nvec = 1;
    if (nvec > 8) nvec = 8;
    const int sh = static_cast<int>(scale_target & 31);
    (void)scale_gain;
    i32 metric[4];
    for (int s = 0; s < 4; ++s) metric[s] = 536870911;
    metric[*state & 3] = 0;
    std::uint8_t path_shape[8][4];
    i16 path_gain[8][4];
    std::uint8_t from[8][4];
    for (int v = 0; v < nvec; ++v) {
        const i16* c = target + 5 * v;
        i32 next[4] = {fx::kMax32, fx::kMax32, fx::kMax32, fx::kMax32};
        for (int s = 0; s < 4; ++s) {
            if (metric[s] == fx::kMax32) continue;
            const int base = (s & 1) ? 96 : 64;
            for (int br = 0; br < 2; ++br) {
                i32 best = fx::kMax32;
                int bs = base, bl = 0;
                for (int k = 0; k < 32; ++k) {
                    const int sidx = base + k;
                    const i64 p = shape_corr(kShapeCodebook + 5 * sidx, c);
                    if ((p < 1) != (br == 1)) continue;
                    const i64 mag = p < 0 ? -p : p;
                    const i32 e = static_cast<std::uint16_t>(energy[sidx]);
                    const int level = i64{e} * kThresh128 > mag ? 0 : 1;
                    const i32 d = distortion(mag, e, kPair128[level]) >> sh;
                    if (d < best) {
                        best = d;
                        bs = sidx;
                        bl = level;
                    }
                }
                if (best == fx::kMax32) continue;
                const int ns = (2 * s + br) & 3;
                const i32 m = fx::sat32(i64{metric[s]} + best);
                if (m < next[ns]) {
                    next[ns] = m;
                    path_shape[v][ns] = static_cast<std::uint8_t>(bs);
                    path_gain[v][ns] = static_cast<i16>(bl + 2 * br);
                    from[v][ns] = static_cast<std::uint8_t>(s);
                }
            }
        }
        std::memcpy(metric, next, sizeof metric);
    }
    int bs = 0;
    for (int s = 1; s < 4; ++s) bs = metric[s] < metric[bs] ? s : bs;
    *state = bs;
    for (int v = nvec - 1; v >= 0; --v) {
        shape_out[v] = path_shape[v][bs];
        gain_out[v] = path_gain[v][bs];
        bs = from[v][bs];
    }
}

// ---- pitch extraction (G.728 block 82) ---------------------------------------
//
// Adapter state, in words: 0..2 the low-pass filter's output memory, 3 the
// previous pitch (0 stands for the initial 50), 4..63 the decimated residual
// (newest first), the rest spare.
constexpr int kLpf = 0, kPrev = 3, kDec = 4;

// ITU-T G.728 Annex D: the third-order 1 kHz elliptic low-pass of the pitch
// extractor, numerator and denominator (Q14; the denominator newest first).
constexpr i16 kLpfB[4] = {18721, -3668, -3668, 18721};
constexpr i16 kLpfA[3] = {-19172, 16481, -5031};

inline i64 dot(const i16* a, const i16* b, int n) {
    i64 s = 0;
    for (int i = 0; i < n; ++i) s += i32{a[i]} * b[i];
    return s;
}

int max_corr(int lo, int hi, int n, const i16* f, i64& maxv) {
    i64 best = fx::kMin32;
    int lag = lo;
    for (int i = lo; i <= hi; ++i) {
        const i64 c = dot(f, f + i, n);
        if (c > best) {
            best = c;
            lag = i;
        }
    }
    maxv = best;
    return lag;
}

int pitch(const i16* res, i16* st) {
    i16* lpf = st + kLpf;
    i16* dec = st + kDec;
    for (int i = 19; i >= 0; --i) {
        i64 t = dot(res + i, kLpfB, 4) >> 6;
        t -= dot(lpf, kLpfA, 3);
        lpf[2] = lpf[1];
        lpf[1] = lpf[0];
        lpf[0] = fx::round16(fx::sat32(t * 8));
        if ((i & 3) == 0) dec[i >> 2] = lpf[0];
    }
    const int kpold = st[kPrev] == 0 ? 50 : st[kPrev];
    i64 c;
    const int kpdec = max_corr(5, 35, 25, dec, c);
    int lo = 4 * kpdec - 3, hi = 4 * kpdec + 3;
    if (lo < 20) lo = 20;
    if (hi > 140) hi = 140;
    i64 cormax, cmax;
    int kp = max_corr(lo, hi, 100, res, cormax);
    lo = kpold - 6 < 20 ? 20 : kpold - 6;
    hi = kpold + 6;
    if (hi < kp) {
        const int kptmp = max_corr(lo, hi, 100, res, cmax);
        i64 e0 = fx::sat32(dot(res + kp, res + kp, 100));
        i64 e1 = fx::sat32(dot(res + kptmp, res + kptmp, 100));
        if (cormax > e0) cormax = e0;
        else if (cormax < 0) cormax = 0;
        if (cmax > e1) cmax = e1;
        else if (cmax < 0) cmax = 0;
        int nls;
        if (e0 > e1) {
            nls = normalize(e0, 32);
            e1 <<= nls;
        } else {
            nls = normalize(e1, 32);
            e0 <<= nls;
        }
        const i64 sum = e0 >> 16, tmp = e1 >> 16;
        cormax = (cormax << nls) >> 16;
        cmax = (cmax << nls) >> 16;
        const i64 lhs = ((cormax * tmp) >> 16) * 26214;
        if (cmax * sum > lhs) kp = kptmp;
    }
    std::memmove(dec + 5, dec, 55 * sizeof(i16));
    st[kPrev] = static_cast<i16>(kp);
    return kp;
}

}  // namespace
}  // namespace g728

using namespace g728;

// Sample j (newest first) of a codevector filtered by h is its correlation
// with H_j, H_j[k] = h[4 - k + j] for k >= j: the multiply-add of the search,
// four shapes at a time, with the same bounds. The sum of the five squares
// wraps in 32 bits as the plain statement's does.
ZinStatus body::zinsImpulseResponseEnergy_G728_16s(const Zin16s* pImpResp, Zin16s* pEnergy) {
    if (!pImpResp || !pEnergy) return zinStsNullPtrErr;
    const Zin16s* h = pImpResp;
    __m128i c01[5], c23[5], c4[5];
    for (int j = 0; j < 5; ++j) {
        fx::i16 hj[6] = {};
        for (int k = j; k < 5; ++k) hj[k] = h[4 - k + j];
        auto pair = [](fx::i16 lo, fx::i16 hi) {
            return _mm_set1_epi32(static_cast<fx::i32>((static_cast<std::uint32_t>(static_cast<std::uint16_t>(hi)) << 16) |
                                                       static_cast<std::uint16_t>(lo)));
        };
        c01[j] = pair(hj[0], hj[1]);
        c23[j] = pair(hj[2], hj[3]);
        c4[j] = pair(hj[4], 0);
    }
    for (int s = 0; s < 128; s += 4) {
        const __m128i y01 = _mm_load_si128(reinterpret_cast<const __m128i*>(kPairs.t01 + 2 * s));
        const __m128i y23 = _mm_load_si128(reinterpret_cast<const __m128i*>(kPairs.t23 + 2 * s));
        const __m128i y4 = _mm_load_si128(reinterpret_cast<const __m128i*>(kPairs.t4 + 2 * s));
        __m128i e = _mm_setzero_si128();
        for (int j = 0; j < 5; ++j) {
            const __m128i d = _mm_add_epi32(_mm_add_epi32(_mm_madd_epi16(y01, c01[j]), _mm_madd_epi16(y23, c23[j])),
                                            _mm_madd_epi16(y4, c4[j]));
            const __m128i v = _mm_cvtepi16_epi32(_mm_packs_epi32(_mm_srai_epi32(d, 14), d));
            e = _mm_add_epi32(e, _mm_mullo_epi32(v, v));
        }
        e = _mm_srli_epi32(e, 15);
        e = _mm_srai_epi32(_mm_slli_epi32(e, 16), 16);  // the low 16 bits
        _mm_storel_epi64(reinterpret_cast<__m128i*>(pEnergy + s), _mm_packs_epi32(e, e));
    }
    return zinStsNoErr;
}

ZinStatus body::zinsCodebookSearch_G728_16s(const Zin16s* pCorr, const Zin16s* pEnergy, int* pShape, int* pGain,
                                            Zin16s* pIndex, ZinSpeechBitrate rate) {
    if (!pCorr || !pEnergy || !pShape || !pGain || !pIndex) return zinStsNullPtrErr;
    int shape = 0, gain = 0, index = 0;
    if (rate == zinSpchBr16000) {
        search16(pCorr, pEnergy, shape, gain);
        index = gain + 8 * shape;
    } else if (rate == zinSpchBr12800) {
        const int pos = search2(pCorr, pEnergy, kShapes128.s, 64, kThresh128, kPair128, gain);
        shape = pos + 64;
        index = gain + 4 * pos;
    } else if (rate == zinSpchBr9600) {
        const int pos = search2(pCorr, pEnergy, kShapes96.s, 16, kThresh96, kPair96, gain);
        shape = kShapes96.s[pos];
        index = gain + 4 * pos;
    } else {
        return zinStsRangeErr;
    }
    *pShape = shape;
    *pGain = gain;
    *pIndex = static_cast<Zin16s>(index);
    return zinStsNoErr;
}

ZinStatus body::zinsCodebookSearchTCQ_G728_16s8u(const Zin16s* pTarget, const Zin16s* pImpResp, Zin8u* pShape,
                                                 const Zin16s* pEnergy, Zin16s* pGain, int* pTrellisState,
                                                 Zin64s scaleTarget, Zin64s scaleGain) {
    if (!pTarget || !pImpResp || !pShape || !pEnergy || !pGain || !pTrellisState) return zinStsNullPtrErr;
    search_tcq(pTarget, pImpResp, pShape, pEnergy, pGain, pTrellisState, scaleTarget, scaleGain);
    return zinStsNoErr;
}

ZinStatus body::zinsPostFilterAdapterGetStateSize_G728(int* pSize) {
    if (!pSize) return zinStsNullPtrErr;
    *pSize = 176;
    return zinStsNoErr;
}

ZinStatus body::zinsPostFilterAdapterStateInit_G728(ZinPostFilterAdapterState_G728* pState) {
    if (!pState) return zinStsNullPtrErr;
    std::memset(pState, 0, 176);
    return zinStsNoErr;
}

ZinStatus body::zinsPitchPeriodExtraction_G728_16s(const Zin16s* pResidual, int* pPitch,
                                                   ZinPostFilterAdapterState_G728* pState) {
    if (!pResidual || !pPitch || !pState) return zinStsNullPtrErr;
    on_words<88>(pState, [&](fx::i16* w) { *pPitch = pitch(pResidual, w); });
    return zinStsNoErr;
}

ZinStatus body::zinsPostFilter_G728_16s(Zin16s gl, Zin16s glb, Zin16s lag, Zin16s tilt, const Zin16s* pCoeffs,
                                        const Zin16s* pSrc, Zin16s* pDst, ZinIIRState_G728_16s* pState) {
    if (!pCoeffs || !pSrc || !pDst || !pState) return zinStsNullPtrErr;
    on_words<32>(pState, [&](fx::i16* w) {
        Zin16s* fir = w;
        Zin16s* iir = fir + 16;
        const Zin16s* az = pCoeffs;
        const Zin16s* ap = pCoeffs + 10;
        for (int n = 0; n < 5; ++n) {
            const fx::i64 d0 = fx::i64{gl} * pSrc[n] + fx::i64{glb} * pSrc[n - lag];
            fx::i64 d1 = d0;
            for (int j = 0; j < 10; ++j) d1 += fx::i32{az[j]} * fir[j] - fx::i32{ap[j]} * iir[j];
            std::memmove(fir + 1, fir, 9 * sizeof(Zin16s));
            std::memmove(iir + 1, iir, 9 * sizeof(Zin16s));
            fir[0] = fx::round16(fx::sat32(d0 * 4));
            iir[0] = fx::sat16(d1 >> 14);
            d1 += fx::i32{iir[1]} * tilt;
            pDst[n] = fx::sat16(d1 >> 14);
        }
    });
    return zinStsNoErr;
}

}  // namespace zin
