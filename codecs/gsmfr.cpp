// GSM 06.10 full rate on the public interface of libzinsc: the library gives
// the filter blocks (offset compensation, preemphasis, Schur recursion, the
// short-term lattices, the weighting filter, APCM inverse quantisation,
// deemphasis); the LPC analysis around them, LAR coding, long-term
// prediction, RPE grid selection and APCM quantisation, and the decoder's
// long-term synthesis are written here, clause by clause.
#include "gsmfr.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#include <immintrin.h>

#include "codec.h"
#include "zinsc.h"

namespace zc::gsmfr {
namespace {

// ---- the standard's 16-bit operators, as far as this side needs them ----

inline int16_t sat(int32_t x) { return static_cast<int16_t>(x > 32767 ? 32767 : (x < -32768 ? -32768 : x)); }
inline int16_t add(int16_t a, int16_t b) { return sat(int32_t{a} + b); }
inline int16_t sub(int16_t a, int16_t b) { return sat(int32_t{a} - b); }
inline int16_t abs_s(int16_t a) { return a == -32768 ? 32767 : static_cast<int16_t>(a < 0 ? -a : a); }
// mult and mult_r; no operand here is -32768 times -32768.
inline int16_t mult(int16_t a, int16_t b) { return static_cast<int16_t>((int32_t{a} * b) >> 15); }
inline int16_t mult_r(int16_t a, int16_t b) { return static_cast<int16_t>((int32_t{a} * b + 16384) >> 15); }
// The largest magnitude, -32768 counting as 32767 (the max of abs_s).
inline int16_t max_abs(const int16_t* x, int n) {
    int32_t m = 0;
    for (int i = 0; i < n; ++i) {
        const int32_t v = x[i];
        m = std::max(m, v < 0 ? -v : v);
    }
    return static_cast<int16_t>(std::min(m, int32_t{32767}));
}
// norm_l of a positive value: left shifts to bring its top bit to bit 30.
inline int norm(int32_t a) { return a <= 0 ? 0 : __builtin_clz(static_cast<uint32_t>(a)) - 1; }

// GSM 06.10 Table 4.1: quantisation of the log-area ratios.
constexpr int16_t kA[8] = {20480, 20480, 20480, 20480, 13964, 15360, 8534, 9036};
constexpr int16_t kB[8] = {0, 0, 2048, -2560, 94, -1792, -341, -1144};
constexpr int16_t kMIC[8] = {-32, -32, -16, -16, -8, -8, -4, -4};
constexpr int16_t kMAC[8] = {31, 31, 15, 15, 7, 7, 3, 3};
// GSM 06.10 Table 4.2: 1/A[1..8].
constexpr int16_t kINVA[8] = {13107, 13107, 13107, 13107, 19223, 17476, 31454, 29708};
// GSM 06.10 Table 4.3a and 4.3b: LTP gain decision and quantisation levels.
constexpr int16_t kDLB[4] = {6554, 16384, 26214, 32767};
constexpr int16_t kQLB[4] = {3277, 11469, 21299, 32767};
// GSM 06.10 Table 4.5 and 4.6: normalised inverse and direct mantissas.
constexpr int16_t kNRFAC[8] = {29128, 26215, 23832, 21846, 20165, 18725, 17476, 16384};
constexpr int16_t kFAC[8] = {18431, 20479, 22527, 24575, 26623, 28671, 30719, 32767};

inline __m128i load8(const int16_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline void store8(int16_t* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
inline int32_t hsum32(__m128i v) {
    v = _mm_add_epi32(v, _mm_unpackhi_epi64(v, v));
    v = _mm_add_epi32(v, _mm_shuffle_epi32(v, 1));
    return _mm_cvtsi128_si32(v);
}

// out[r] = sum over k < n of a[k] * b[k - r], r = 0..R-1 (n a multiple of 8),
// one accumulator per row, a[] taken eight at a time. Exact in 32 bits for
// the magnitudes used here.
template <int R>
inline void correlate_rows(const int16_t* a, const int16_t* b, int n, int32_t* out) {
    __m128i s[R];
    for (int r = 0; r < R; ++r) s[r] = _mm_setzero_si128();
#pragma GCC unroll 1
    for (int k = 0; k < n; k += 8) {
        const __m128i w = load8(a + k);
        for (int r = 0; r < R; ++r) s[r] = _mm_add_epi32(s[r], _mm_madd_epi16(w, load8(b + k - r)));
    }
    int r = 0;
    for (; r + 4 <= R; r += 4) {
        const __m128i t01 = _mm_add_epi32(_mm_unpacklo_epi32(s[r], s[r + 1]), _mm_unpackhi_epi32(s[r], s[r + 1]));
        const __m128i t23 = _mm_add_epi32(_mm_unpacklo_epi32(s[r + 2], s[r + 3]), _mm_unpackhi_epi32(s[r + 2], s[r + 3]));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + r),
                         _mm_add_epi32(_mm_unpacklo_epi64(t01, t23), _mm_unpackhi_epi64(t01, t23)));
    }
    for (; r < R; ++r) out[r] = hsum32(s[r]);
}

// Eight lanes of mult_r(b, x) and add/sub: pmulhrsw is (b*x + 16384) >> 15,
// exact while b is not -32768 (the gains of Table 4.3b are not), and
// paddsw/psubsw saturate as the standard's add and sub.
inline __m128i mult_r8(__m128i b, __m128i x) { return _mm_mulhrs_epi16(b, x); }

// ---- 4.2.4 autocorrelation, with its own dynamic scaling ------------------

void autocorrelation(int16_t* s, int32_t* acf) {
    const int16_t smax = max_abs(s, 160);
    const int scalauto = smax == 0 ? 0 : 4 - norm(int32_t{smax} << 16);
    if (scalauto > 0) {
        // mult_r by 16384 >> (scalauto - 1), never -32768: pmulhrsw.
        const __m128i f = _mm_set1_epi16(static_cast<int16_t>(16384 >> (scalauto - 1)));
        for (int k = 0; k < 160; k += 8) store8(s + k, mult_r8(f, load8(s + k)));
    }
    // |s| < 2^11 now: 160 products stay below 2^30. With zeros before
    // the signal every lag is a dot product over all 160 samples.
    int16_t sp[8 + 160] = {};
    std::memcpy(sp + 8, s, 160 * sizeof(int16_t));
    int32_t r[9];
    correlate_rows<9>(s, sp + 8, 160, r);
    for (int k = 0; k <= 8; ++k) acf[k] = r[k] << 1;
    // The rescaled signal, with the bits that the scaling lost, is what the
    // short-term analysis filter sees.
    if (scalauto > 0) {
        const __m128i up = _mm_cvtsi32_si128(scalauto);
        for (int k = 0; k < 160; k += 8) store8(s + k, _mm_sll_epi16(load8(s + k), up));
    }
}

// ---- 4.2.5 reflection coefficients ------------------------------------------
//
// zinsSchur_GSMFR_32s16s gives the recursion of 4.2.5, except where it breaks
// down: when |P[1]| reaches P[0] the library answers +-32767 and zeros after
// it, whereas 06.10 sets that coefficient and all after it to zero when
// |P[1]| > P[0], and goes on with +-32767 when they are equal. The result of
// the library shows that case (a +-32767 with nothing but zeros after it);
// only then is the recursion run here in the standard's form. Pure tones
// near 3 kHz reach it.

bool library_stopped_early(const int16_t* r) {
    for (int n = 7; n >= 0; --n) {
        if (r[n] == 32767 || r[n] == -32767) return true;
        if (r[n] != 0) return false;
    }
    return false;
}

void schur_0610(const int32_t* acf, int16_t* r) {
    const int sh = norm(acf[0]);
    int16_t P[9], K[9];
    for (int i = 0; i <= 8; ++i) P[i] = static_cast<int16_t>(static_cast<int32_t>(static_cast<uint32_t>(acf[i]) << sh) >> 16);
    for (int i = 1; i <= 7; ++i) K[i] = P[i];
    for (int n = 1; n <= 8; ++n) {
        const int16_t a = abs_s(P[1]);
        if (P[0] < a) {
            for (int i = n; i <= 8; ++i) r[i - 1] = 0;
            return;
        }
        // div of 06.10: 0 for a zero numerator, 32767 for equal operands.
        const int16_t q = a == 0 ? 0 : (a == P[0] ? 32767 : static_cast<int16_t>((int32_t{a} << 15) / P[0]));
        const int16_t rn = P[1] > 0 ? static_cast<int16_t>(-q) : q;
        r[n - 1] = rn;
        if (n == 8) return;
        P[0] = add(P[0], mult_r(P[1], rn));
        for (int m = 1; m <= 8 - n; ++m) {
            const int16_t pm = add(P[m + 1], mult_r(K[m], rn));
            K[m] = add(K[m], mult_r(P[m + 1], rn));
            P[m] = pm;
        }
    }
}

void reflection_coefficients(const int32_t* acf, int16_t* r) {
    zinsSchur_GSMFR_32s16s(acf, r, 8);
    if (acf[0] != 0 && library_stopped_early(r)) schur_0610(acf, r);
}

// ---- 4.2.6, 4.2.7 log-area ratios and their coding --------------------------

void reflection_to_larc(const int16_t* r, int16_t* LARc) {
    for (int i = 0; i < 8; ++i) {
        int16_t t = abs_s(r[i]);
        if (t < 22118)
            t = static_cast<int16_t>(t >> 1);
        else if (t < 31130)
            t = static_cast<int16_t>(t - 11059);
        else
            t = static_cast<int16_t>((t - 26112) << 2);
        const int16_t lar = r[i] < 0 ? static_cast<int16_t>(-t) : t;
        int16_t q = mult(kA[i], lar);
        q = add(q, kB[i]);
        q = add(q, 256);
        q = static_cast<int16_t>(q >> 9);
        LARc[i] = q > kMAC[i] ? static_cast<int16_t>(kMAC[i] - kMIC[i])
                              : (q < kMIC[i] ? int16_t{0} : static_cast<int16_t>(q - kMIC[i]));
    }
}

// ---- 4.2.8, 4.2.9 decoded LARs, interpolation, reflection coefficients ------

void decode_lar(const int16_t* LARc, int16_t* LARpp) {
    for (int i = 0; i < 8; ++i) {
        int16_t t = static_cast<int16_t>(add(LARc[i], kMIC[i]) << 10);
        t = sub(t, static_cast<int16_t>(kB[i] * 2));
        t = mult_r(kINVA[i], t);
        LARpp[i] = add(t, t);
    }
}

// 4.2.9.2 on the eight LARs at once: |x| (abs_s, so -32768 gives 32767),
// the three pieces of the inverse segment-wise mapping, the sign restored.
__m128i lar_to_rp(__m128i x) {
    const __m128i t = _mm_min_epu16(_mm_abs_epi16(x), _mm_set1_epi16(32767));
    const __m128i m1 = _mm_slli_epi16(t, 1);
    const __m128i m2 = _mm_add_epi16(t, _mm_set1_epi16(11059));
    const __m128i m3 = _mm_adds_epi16(_mm_srai_epi16(t, 2), _mm_set1_epi16(26112));
    const __m128i below1 = _mm_cmpgt_epi16(_mm_set1_epi16(11059), t);
    const __m128i below2 = _mm_cmpgt_epi16(_mm_set1_epi16(20070), t);
    const __m128i m = _mm_blendv_epi8(_mm_blendv_epi8(m3, m2, below2), m1, below1);
    return _mm_sign_epi16(m, x);  // m is 0 where x is 0
}

// The four coefficient sets of a frame (k = 0..12, 13..26, 27..39, 40..159).
inline constexpr int kSegStart[4] = {0, 13, 27, 40};
inline constexpr int kSegLen[4] = {13, 14, 13, 120};

// 4.2.9.1 interpolation of the LARs of the previous and the current frame
// for one segment, then 4.2.9.2.
void interpolate(const int16_t* prev, const int16_t* cur, int seg, int16_t* rp) {
    const __m128i a = load8(prev), b = load8(cur);
    __m128i x;
    switch (seg) {
        case 0: x = _mm_adds_epi16(_mm_adds_epi16(_mm_srai_epi16(a, 2), _mm_srai_epi16(b, 2)), _mm_srai_epi16(a, 1)); break;
        case 1: x = _mm_adds_epi16(_mm_srai_epi16(a, 1), _mm_srai_epi16(b, 1)); break;
        case 2: x = _mm_adds_epi16(_mm_adds_epi16(_mm_srai_epi16(a, 2), _mm_srai_epi16(b, 2)), _mm_srai_epi16(b, 1)); break;
        default: x = b; break;
    }
    store8(rp, lar_to_rp(x));
}

// ---- 4.2.11 LTP parameters -----------------------------------------------------

// cc[lambda - 40] = sum of wt[k] * d'[k - lambda], k = 0..39, for lambda =
// 40..120, eight lags at a time. Kept out of line so that its registers are
// its own.
__attribute__((noinline)) void ltp_correlations(const int16_t* wt, const int16_t* dp, int32_t* cc) {
#pragma GCC unroll 1
    for (int lambda = 40; lambda <= 112; lambda += 8) correlate_rows<8>(wt, dp - lambda, 40, cc + (lambda - 40));
    correlate_rows<8>(wt, dp - 113, 40, cc + 73);  // 113..120, within d'[-120..-1]
}

void ltp_parameters(const int16_t* d, const int16_t* dp, int16_t& bc_out, int16_t& Nc_out) {
    const int16_t dmax = max_abs(d, 40);
    const int t = dmax == 0 ? 0 : norm(int32_t{dmax} << 16);
    const int scal = t > 6 ? 0 : 6 - t;
    int16_t wt[40];
    const __m128i sh = _mm_cvtsi32_si128(scal);
    for (int k = 0; k < 40; k += 8) store8(wt + k, _mm_sra_epi16(load8(d + k), sh));

    // |wt| < 2^9: forty products stay below 2^30. Lags 40..120 in fours,
    // the first maximum in lag order wins.
    alignas(16) int32_t cc[84];  // lags 40..120, and three that never win
    ltp_correlations(wt, dp, cc);
    cc[81] = cc[82] = cc[83] = INT32_MIN;
    // The largest correlation above zero and its first lag; 40 if none is
    // above zero: the maximum four lanes at a time, then the first lane
    // that equals it.
    __m128i mx = _mm_setzero_si128();
    for (int j = 0; j < 84; j += 4) mx = _mm_max_epi32(mx, _mm_load_si128(reinterpret_cast<const __m128i*>(cc + j)));
    mx = _mm_max_epi32(mx, _mm_shuffle_epi32(mx, 0x4E));
    mx = _mm_max_epi32(mx, _mm_shuffle_epi32(mx, 0xB1));
    int32_t L_max = _mm_cvtsi128_si32(mx);
    int j = 0;
    if (L_max > 0) {
        for (;; j += 4) {
            const __m128i eq = _mm_cmpeq_epi32(_mm_load_si128(reinterpret_cast<const __m128i*>(cc + j)), mx);
            const int hit = _mm_movemask_ps(_mm_castsi128_ps(eq));
            if (hit) {
                j += __builtin_ctz(static_cast<unsigned>(hit));
                break;
            }
        }
    }
    const int16_t Nc = static_cast<int16_t>(40 + j);
    Nc_out = Nc;
    L_max = (L_max << 1) >> (6 - scal);

    // |d' >> 3| <= 4096: forty squares stay below 2^30.
    __m128i pw = _mm_setzero_si128();
    for (int k = 0; k < 40; k += 8) {
        const __m128i v = _mm_srai_epi16(load8(dp + k - Nc), 3);
        pw = _mm_add_epi32(pw, _mm_madd_epi16(v, v));
    }
    const int32_t L_power = hsum32(pw) << 1;

    if (L_max <= 0) {
        bc_out = 0;
        return;
    }
    if (L_max >= L_power) {
        bc_out = 3;
        return;
    }
    const int n = norm(L_power);
    const int16_t R = static_cast<int16_t>((L_max << n) >> 16);
    const int16_t S = static_cast<int16_t>((L_power << n) >> 16);
    int16_t bc = 0;
    for (; bc <= 2; ++bc)
        if (R <= mult(S, kDLB[bc])) break;
    bc_out = bc;
}

// ---- 4.2.14 to 4.2.17 RPE grid, APCM -------------------------------------------

// Lanes k = m + 3i, i = 0..12, of the forty samples, for each grid m
// (all ones where the sample belongs to the grid).
constexpr auto kGridMask = [] {
    struct Masks {
        int16_t v[4][40];
    } g{};
    for (int m = 0; m < 4; ++m)
        for (int i = 0; i < 13; ++i) g.v[m][m + 3 * i] = -1;
    return g;
}();

int grid_selection(const int16_t* x, int16_t* xM) {
    // |x >> 2| <= 8192: thirteen squares stay below 2^30.
    __m128i v[5];
    for (int j = 0; j < 5; ++j) v[j] = _mm_srai_epi16(load8(x + 8 * j), 2);
    int32_t em = 0;
    int mc = 0;
    for (int m = 0; m < 4; ++m) {
        __m128i acc = _mm_setzero_si128();
        for (int j = 0; j < 5; ++j) {
            const __m128i g = _mm_and_si128(v[j], load8(kGridMask.v[m] + 8 * j));
            acc = _mm_add_epi32(acc, _mm_madd_epi16(g, g));
        }
        const int32_t sum = hsum32(acc) << 1;
        if (m == 0 || sum > em) {
            em = sum;
            mc = m;
        }
    }
    for (int i = 0; i < 13; ++i) xM[i] = x[mc + 3 * i];
    return mc;
}

void xmaxc_to_exp_mant(int16_t xmaxc, int& exp, int& mant) {
    exp = xmaxc > 15 ? (xmaxc >> 3) - 1 : 0;
    mant = xmaxc - (exp << 3);
    if (mant == 0) {
        exp = -4;
        mant = 7;
    } else {
        while (mant <= 7) {
            mant = mant << 1 | 1;
            --exp;
        }
        mant -= 8;
    }
}

void apcm_quantization(const int16_t* xM, int16_t* xMc, int& exp, int& mant, int16_t& xmaxc) {
    const int16_t xmax = max_abs(xM, 13);
    int e = 0;
    int16_t t = static_cast<int16_t>(xmax >> 9);
    bool stop = false;
    for (int i = 0; i <= 5; ++i) {
        stop = stop || t <= 0;
        t = static_cast<int16_t>(t >> 1);
        if (!stop) ++e;
    }
    xmaxc = add(static_cast<int16_t>(xmax >> (e + 5)), static_cast<int16_t>(e << 3));
    xmaxc_to_exp_mant(xmaxc, exp, mant);
    const int shift = 6 - exp;
    const int16_t f = kNRFAC[mant];
    for (int i = 0; i < 13; ++i) {
        const int16_t v = static_cast<int16_t>(xM[i] << shift);
        xMc[i] = static_cast<int16_t>((mult(v, f) >> 12) + 4);
    }
}

// APCM inverse quantisation (library) and grid positioning.
void rpe_decoding(int16_t xmaxc, int16_t Mc, const int16_t* xMc, int16_t* ep) {
    int exp, mant;
    xmaxc_to_exp_mant(xmaxc, exp, mant);
    int16_t xMp[13];
    zinsRPEQuantDecode_GSMFR_16s(xMc, kFAC[mant], static_cast<int16_t>(6 - exp), xMp);
    std::memset(ep, 0, 40 * sizeof(int16_t));
    for (int i = 0; i < 13; ++i) ep[Mc + 3 * i] = xMp[i];
}

}  // namespace

void EncoderState::reset() { std::memset(this, 0, sizeof(*this)); }

void DecoderState::reset() {
    std::memset(this, 0, sizeof(*this));
    nrp = 40;
}

void encode_frame(EncoderState& st, const int16_t* pcm, Params& out) {
    int16_t sof[160], s[160];
    // 4.2.1 to 4.2.3
    zinsHighPassFilter_GSMFR_16s(pcm, sof, 160, st.hp);
    zinsPreemphasize_GSMFR_16s(sof, s, 160, &st.mp);

    // 4.2.4 to 4.2.7
    int32_t acf[9];
    autocorrelation(s, acf);
    int16_t r[8];
    reflection_coefficients(acf, r);
    reflection_to_larc(r, out.LARc);

    // 4.2.8 to 4.2.10
    int16_t LARpp[8];
    decode_lar(out.LARc, LARpp);
    for (int seg = 0; seg < 4; ++seg) {
        int16_t rp[8];
        interpolate(st.LARpp_prev, LARpp, seg, rp);
        zinsShortTermAnalysisFilter_GSMFR_16s_I(rp, s + kSegStart[seg], kSegLen[seg], st.u);
    }
    std::memcpy(st.LARpp_prev, LARpp, sizeof LARpp);

    // 4.2.11 to 4.2.18, four sub-segments. dp holds the 120 values of d'
    // before the frame, then the frame's 160 as they are reconstructed.
    int16_t dp[120 + 160];
    std::memcpy(dp, st.dp, sizeof st.dp);
    for (int k = 0; k < 4; ++k) {
        const int16_t* d = s + 40 * k;
        int16_t* dpk = dp + 120 + 40 * k;  // d'[0] of this sub-segment
        int16_t& Nc = out.Nc[k];
        int16_t& bc = out.bc[k];
        ltp_parameters(d, dpk, bc, Nc);

        // 4.2.12: e = d - b * d'[k - Nc], with five zeros either side for
        // the weighting filter.
        int16_t e[50] = {};
        int16_t dpp[40];
        const __m128i b = _mm_set1_epi16(kQLB[bc]);
        for (int i = 0; i < 40; i += 8) {
            const __m128i p = mult_r8(b, load8(dpk + i - Nc));
            store8(dpp + i, p);
            store8(e + 5 + i, _mm_subs_epi16(load8(d + i), p));
        }

        int16_t x[40], xM[13];
        zinsWeightingFilter_GSMFR_16s(e + 5, x, 40);
        out.Mc[k] = static_cast<int16_t>(grid_selection(x, xM));
        int exp, mant;
        apcm_quantization(xM, out.xMc + 13 * k, exp, mant, out.xmaxc[k]);

        int16_t ep[40];
        rpe_decoding(out.xmaxc[k], out.Mc[k], out.xMc + 13 * k, ep);

        // 4.2.18: d' of this sub-segment.
        for (int i = 0; i < 40; i += 8) store8(dpk + i, _mm_adds_epi16(load8(ep + i), load8(dpp + i)));
    }
    std::memcpy(st.dp, dp + 160, sizeof st.dp);
}

constexpr int kPiece = 20;  // samples of one piece of the lattice and the deemphasis

void decode_frame(DecoderState& st, const Params& in, int16_t* pcm) {
    // The 120 values of d' before the frame, then the frame's 160, which are
    // also the input of the synthesis filter.
    int16_t drp[120 + 160];
    const int16_t* wt = drp + 120;
    std::memcpy(drp, st.drp, sizeof st.drp);
    for (int j = 0; j < 4; ++j) {
        int16_t erp[40];
        rpe_decoding(in.xmaxc[j], in.Mc[j], in.xMc + 13 * j, erp);
        // 4.3.2 long-term synthesis; a lag outside 40..120 keeps the last one.
        const int16_t Ncr = in.Nc[j];
        const int16_t Nr = (Ncr < 40 || Ncr > 120) ? st.nrp : Ncr;
        st.nrp = Nr;
        // The lag is at least 40: every d'[k - Nr] comes from earlier segments.
        const __m128i brp = _mm_set1_epi16(kQLB[in.bc[j] & 3]);
        int16_t* cur = drp + 120 + 40 * j;
        for (int k = 0; k < 40; k += 8) store8(cur + k, _mm_adds_epi16(load8(erp + k), mult_r8(brp, load8(cur + k - Nr))));
    }
    std::memcpy(st.drp, drp + 160, sizeof st.drp);

    // 4.3.3 to 4.3.7. The lattice and the deemphasis are two serial
    // recursions; run in short pieces one after the other, the processor
    // overlaps the deemphasis of one piece with the lattice of the next.
    int16_t LARpp[8];
    decode_lar(in.LARc, LARpp);
    for (int seg = 0; seg < 4; ++seg) {
        int16_t rp[8];
        interpolate(st.LARpp_prev, LARpp, seg, rp);
        for (int at = kSegStart[seg], end = at + kSegLen[seg]; at < end; at += kPiece) {
            const int n = std::min(kPiece, end - at);
            zinsShortTermSynthesisFilter_GSMFR_16s(rp, wt + at, pcm + at, n, st.v);
            zinsDeemphasize_GSMFR_16s_I(pcm + at, n, &st.msr);
        }
    }
    std::memcpy(st.LARpp_prev, LARpp, sizeof LARpp);
}

// ---- octet formats ------------------------------------------------------------

namespace {

// Field widths of one frame in transmission order (GSM 06.10 Table 1.1).
template <typename Visit>
void for_each_field(Params& p, Visit&& visit) {
    static constexpr int kLarBits[8] = {6, 6, 5, 5, 4, 4, 3, 3};
    for (int i = 0; i < 8; ++i) visit(p.LARc[i], kLarBits[i]);
    for (int k = 0; k < 4; ++k) {
        visit(p.Nc[k], 7);
        visit(p.bc[k], 2);
        visit(p.Mc[k], 2);
        visit(p.xmaxc[k], 6);
        for (int i = 0; i < 13; ++i) visit(p.xMc[13 * k + i], 3);
    }
}

// Most significant bit first, 32 bits at a time through a 64-bit
// accumulator; a frame is 264 bits, eight words and one octet.
inline void store_be32(uint8_t* p, uint32_t w) {
    w = __builtin_bswap32(w);
    std::memcpy(p, &w, 4);
}
inline uint32_t load_be32(const uint8_t* p) {
    uint32_t w;
    std::memcpy(&w, p, 4);
    return __builtin_bswap32(w);
}

struct MsbWriter {
    uint8_t* out;
    uint64_t acc = 0;
    int bits = 0;
    void put(uint32_t v, int n) {
        acc = (acc << n) | (v & ((1u << n) - 1));
        bits += n;
        if (bits >= 32) {
            bits -= 32;
            store_be32(out, static_cast<uint32_t>(acc >> bits));
            out += 4;
        }
    }
    void finish() {
        for (; bits >= 8; bits -= 8) *out++ = static_cast<uint8_t>(acc >> (bits - 8));
        if (bits > 0) *out++ = static_cast<uint8_t>(acc << (8 - bits));
    }
};

struct MsbReader {
    uint8_t in[kFrameOctets + 3];  // the frame, padded for the last word
    int at = 0;
    uint64_t acc = 0;
    int bits = 0;
    explicit MsbReader(const uint8_t* frame) {
        std::memcpy(in, frame, kFrameOctets);
        std::memset(in + kFrameOctets, 0, 3);
    }
    uint32_t get(int n) {
        if (bits < n) {
            acc = (acc << 32) | load_be32(in + at);
            at += 4;
            bits += 32;
        }
        bits -= n;
        return static_cast<uint32_t>(acc >> bits) & ((1u << n) - 1);
    }
};

struct LsbWriter {
    uint8_t* out;
    uint32_t acc = 0;
    int bits = 0;
    void put(uint32_t v, int n) {
        acc |= (v & ((1u << n) - 1)) << bits;
        bits += n;
        while (bits >= 8) {
            *out++ = static_cast<uint8_t>(acc);
            acc >>= 8;
            bits -= 8;
        }
    }
};

struct LsbReader {
    const uint8_t* in;
    uint32_t acc = 0;
    int bits = 0;
    uint32_t get(int n) {
        while (bits < n) {
            acc |= uint32_t{*in++} << bits;
            bits += 8;
        }
        const uint32_t v = acc & ((1u << n) - 1);
        acc >>= n;
        bits -= n;
        return v;
    }
};

}  // namespace

void pack(const Params& p, uint8_t* frame) {
    MsbWriter w{frame};
    w.put(0xD, 4);
    for_each_field(const_cast<Params&>(p), [&](int16_t& v, int n) { w.put(static_cast<uint16_t>(v), n); });
    w.finish();
}

bool unpack(const uint8_t* frame, Params& p) {
    if ((frame[0] >> 4) != 0xD) return false;
    MsbReader r(frame);
    r.get(4);
    for_each_field(p, [&](int16_t& v, int n) { v = static_cast<int16_t>(r.get(n)); });
    return true;
}

void pack_wav49(const Params& first, const Params& second, uint8_t* pair) {
    LsbWriter w{pair};
    auto put = [&](int16_t& v, int n) { w.put(static_cast<uint16_t>(v), n); };
    for_each_field(const_cast<Params&>(first), put);
    for_each_field(const_cast<Params&>(second), put);
}

void unpack_wav49(const uint8_t* pair, Params& first, Params& second) {
    LsbReader r{pair};
    auto get = [&](int16_t& v, int n) { v = static_cast<int16_t>(r.get(n)); };
    for_each_field(first, get);
    for_each_field(second, get);
}

// ---- the codec record -------------------------------------------------------------

namespace {

class GsmEncoder final : public Encoder {
public:
    explicit GsmEncoder(const CodecOptions& o) : wav49_(o.wav49) { st_.reset(); }
    void encode(const int16_t* pcm, std::size_t samples, std::vector<uint8_t>& out) override {
        while (samples > 0) {
            const std::size_t n = std::min<std::size_t>(samples, kFrameSamples - fill_);
            std::memcpy(buf_ + fill_, pcm, n * sizeof(int16_t));
            fill_ += n;
            pcm += n;
            samples -= n;
            if (fill_ == kFrameSamples) frame(out);
        }
    }
    void finish(std::vector<uint8_t>& out) override {
        if (fill_ > 0) {
            std::memset(buf_ + fill_, 0, (kFrameSamples - fill_) * sizeof(int16_t));
            fill_ = kFrameSamples;
            frame(out);
        }
        if (wav49_ && half_) {  // complete the pair with a silent frame
            fill_ = kFrameSamples;
            std::memset(buf_, 0, sizeof buf_);
            frame(out);
        }
    }

private:
    void frame(std::vector<uint8_t>& out) {
        fill_ = 0;
        Params p;
        encode_frame(st_, buf_, p);
        if (!wav49_) {
            const std::size_t at = out.size();
            out.resize(at + kFrameOctets);
            pack(p, out.data() + at);
        } else if (!half_) {
            first_ = p;
            half_ = true;
        } else {
            const std::size_t at = out.size();
            out.resize(at + kPairOctets);
            pack_wav49(first_, p, out.data() + at);
            half_ = false;
        }
    }

    EncoderState st_;
    bool wav49_;
    bool half_ = false;
    Params first_{};
    int16_t buf_[kFrameSamples];
    std::size_t fill_ = 0;
};

class GsmDecoder final : public Decoder {
public:
    explicit GsmDecoder(const CodecOptions& o) : wav49_(o.wav49) { st_.reset(); }
    void decode(const uint8_t* data, std::size_t bytes, std::vector<int16_t>& out) override {
        const std::size_t unit = wav49_ ? kPairOctets : kFrameOctets;
        while (bytes > 0 && error_.empty()) {
            const std::size_t n = std::min(bytes, unit - fill_);
            std::memcpy(buf_ + fill_, data, n);
            fill_ += n;
            data += n;
            bytes -= n;
            if (fill_ < unit) break;
            fill_ = 0;
            const std::size_t at = out.size();
            if (wav49_) {
                Params a, b;
                unpack_wav49(buf_, a, b);
                out.resize(at + 2 * kFrameSamples);
                decode_frame(st_, a, out.data() + at);
                decode_frame(st_, b, out.data() + at + kFrameSamples);
            } else {
                // Every 33-octet frame opens with the signature nibble 0xD:
                // without it the stream is not GSM 06.10 (or lost its framing).
                Params p;
                if (!unpack(buf_, p)) {
                    error_ = "frame " + std::to_string(frames_) + " (octet " + std::to_string(frames_ * kFrameOctets) +
                             ") lacks the GSM 06.10 signature 0xD: not a GSM 06.10 stream";
                    return;
                }
                out.resize(at + kFrameSamples);
                decode_frame(st_, p, out.data() + at);
            }
            ++frames_;
        }
    }
    std::string error() const override { return error_; }
    std::size_t pending_octets() const override { return fill_; }

private:
    DecoderState st_;
    bool wav49_;
    uint8_t buf_[kPairOctets];
    std::size_t fill_ = 0;
    std::size_t frames_ = 0;
    std::string error_;
};

std::unique_ptr<Encoder> make_encoder(const CodecOptions& o) { return std::make_unique<GsmEncoder>(o); }
std::unique_ptr<Decoder> make_decoder(const CodecOptions& o) { return std::make_unique<GsmDecoder>(o); }

}  // namespace
}  // namespace zc::gsmfr

namespace zc {
extern const CodecInfo kGsmFr;
const CodecInfo kGsmFr = {"gsm-fr", "GSM 06.10 full rate (RPE-LTP), 13 kbit/s", 8000, 13200,
                          gsmfr::make_encoder, gsmfr::make_decoder};
}  // namespace zc
