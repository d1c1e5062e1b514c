// G.723.1 excitation search: open-loop pitch (clause 2.9), harmonic noise
// weighting (2.11), the closed-loop 5-tap adaptive codebook with its tamed
// gain tables (2.14) and the MP-MLQ fixed codebook of 6.3 kbit/s (2.15).
#include <cstring>

#include "../frame/registry.h"
#include "../kernels/fixed_point.h"
#include "../kernels/kernels.h"
#include "g723_ops.h"
#include "g723_tables.h"

namespace zin {
namespace {

using namespace g723;
using fx::abs32;
using fx::add32;
using fx::mac32;
using fx::msu32;
using fx::mul32;
using fx::norm32;
using fx::round16;
using fx::shl32;
using fx::shr16;

// Saturating L_mac sum of products (doubled). While the sum of the
// products' magnitudes stays below 2^30 no partial sum can saturate, and the
// exact sum is the answer; only beyond that the steps run one by one.
inline i32 mac_sum(const i16* a, const i16* b, int n) {
    i64 sum = 0, mag = 0;
    for (int i = 0; i < n; ++i) {
        const i32 p = i32{a[i]} * b[i];
        sum += p;
        mag += p < 0 ? -i64{p} : p;
    }
    if (mag < 0x40000000) return static_cast<i32>(2 * sum);
    i32 acc = 0;
    for (int i = 0; i < n; ++i) acc = mac32(acc, a[i], b[i]);
    return acc;
}

// The same over the convolution sum of a[0..n] with b[n..0].
inline i32 mac_conv(const i16* a, const i16* b, int n) {
    i64 sum = 0, mag = 0;
    for (int i = 0; i <= n; ++i) {
        const i32 p = i32{a[i]} * b[n - i];
        sum += p;
        mag += p < 0 ? -i64{p} : p;
    }
    if (mag < 0x40000000) return static_cast<i32>(2 * sum);
    i32 acc = 0;
    for (int i = 0; i <= n; ++i) acc = mac32(acc, a[i], b[n - i]);
    return acc;
}

// ---- 2.9 open-loop pitch ----------------------------------------------------

i16 open_loop_pitch(const i16* x) {
    constexpr int kLen = 2 * kSubFrame;
    i16 index = kPitchMin, best_exp = 30, best_c = 0x4000, best_e = 0x7FFF;
    int p = 1 - kPitchMin;
    i32 energy = mac_sum(x + p, x + p, kLen);
    for (int i = kPitchMin; i <= kPitchMax - 3; ++i) {
        --p;
        energy = msu32(energy, x[p + kLen], x[p + kLen]);
        energy = mac32(energy, x[p], x[p]);
        i32 cross = mac_sum(x, x + p, kLen);
        if (cross <= 0) continue;
        i16 exp = norm32(cross);
        i16 c = round16(shl32(cross, exp));
        exp = static_cast<i16>(exp * 2);
        i32 sq = mul32(c, c);
        const i16 n2 = norm32(sq);
        c = fx::high16(shl32(sq, n2));
        exp = static_cast<i16>(exp + n2);
        const i16 ne = norm32(energy);
        const i16 e = round16(shl32(energy, ne));
        exp = static_cast<i16>(exp - ne);
        if (c >= e) {
            --exp;
            c = shr16(c, 1);
        }
        if (exp > best_exp) continue;
        bool take = exp + 1 < best_exp;
        if (!take) {
            const i16 t = exp + 1 == best_exp ? shr16(best_c, 1) : best_c;
            const i32 a2 = mul32(c, best_e);
            const i32 d = msu32(a2, e, t);
            if (d > 0) {
                if (i - index < kPitchMin)
                    take = true;
                else
                    take = msu32(fx::sub32(a2, a2 >> 2), e, t) > 0;
            }
        }
        if (take) {
            index = static_cast<i16>(i);
            best_exp = exp;
            best_c = c;
            best_e = e;
        }
    }
    return index;
}

// ---- 2.11 harmonic noise weighting -----------------------------------------

void harmonic_search(int delay, const i16* x, i16* hdelay, i16* hgain) {
    i32 l[15];
    l[0] = mac_sum(x, x, kSubFrame);
    for (int i = 0; i <= 6; ++i) {
        const i16* y = x - (delay - 3 + i);
        l[2 * i + 1] = mac_sum(y, y, kSubFrame);
        l[2 * i + 2] = mac_sum(x, y, kSubFrame);
    }
    i32 max = 0;
    for (i32 v : l) max = abs32(v) > max ? abs32(v) : max;
    const i16 exp = norm32(max);
    i16 s[15];
    for (int i = 0; i < 15; ++i) s[i] = round16(shl32(l[i], exp));

    int best = -1;
    i16 mc = 1, me = 0x7FFF;
    for (int i = 0; i <= 6; ++i) {
        const i16 e = s[2 * i + 1], c = s[2 * i + 2];
        if (c <= 0) continue;
        const i16 c2 = fx::mul16_round(c, c);
        if (msu32(mul32(c2, me), e, mc) > 0) {
            mc = c2;
            me = e;
            best = i;
        }
    }
    *hgain = 0;
    if (best < 0) {
        *hdelay = static_cast<i16>(delay);
        return;
    }
    i32 a = mul32(s[0], me);
    a = add32(a >> 2, a >> 3);
    const i16 c = s[2 * best + 2];
    if (fx::sub32(a, mul32(c, c)) < 0)
        *hgain = c >= me ? i16{0x2800} : fx::mul16_round(fx::div16(c, me), 0x2800);
    *hdelay = static_cast<i16>(delay - 3 + best);
}

// ---- 2.14 closed-loop adaptive codebook -------------------------------------

inline constexpr i32 kTameLimit = 0x40000000;

// The five-sample-wide excitation window of lag `lag`: 64 samples from
// prev[145 - 2 - lag], the part beyond the history repeating with the lag.
void lag_window(const i16* prev, int lag, i16* r) {
    const int off = kPitchMax - 2 - lag;
    r[0] = prev[off];
    r[1] = prev[off + 1];
    for (int i = 2; i < kSubFrame + 4; ++i) r[i] = prev[off + 2 + (i - 2) % lag];
}

// Row limits of the 85- and 170-row tables from the error zones (taming).
void taming_limits(int t, int odd, const i32* errors, i16 flag, int* lim85, int* lim170) {
    const int z1 = ((t + odd + 3) * 1092) >> 15;
    const int z0 = ((t < 63 ? 1 : t - 62) * 1092) >> 15;
    i32 m = -1;
    for (int z = z1; z >= z0; --z)
        if (errors[z] > m) m = errors[z];
    int k = 0;
    if (!(m > kTameLimit || flag < 0)) k = (kTameLimit - m) >> 23;
    *lim85 = 51 + 4 * k < 85 ? 51 + 4 * k : 85;
    *lim170 = 93 + 8 * k < 170 ? 93 + 8 * k : 170;
}

void adaptive_search(int t, const i16* target, const i16* h, const i16* prev, const i32* errors, int subframe,
                     i16 flag, int rate, i16* lag_out, i16* gain_out) {
    const int odd = subframe & 1;
    const int lags = 3 + odd;
    if (!odd) {
        if (t == kPitchMin) t = kPitchMin + 1;
        if (t > kPitchMax - 5) t = kPitchMax - 5;
    }
    i32 cor[4][20];
    for (int k = 0; k < lags; ++k) {
        i16 r[kSubFrame + 4];
        lag_window(prev, t - 1 + k, r);
        i16 f[5][kSubFrame];
        for (int j = 0; j < kSubFrame; ++j) f[4][j] = round16(mac_conv(r + 4, h, j));
        for (int row = 3; row >= 0; --row) {
            f[row][0] = fx::mul16_round(r[row], 8192);
            for (int j = 1; j < kSubFrame; ++j)
                f[row][j] = round16(mac32(fx::deposit_high(f[row + 1][j - 1]), r[row], h[j]));
        }
        i32* c = cor[k];
        int n = 0;
        for (int j = 0; j < 5; ++j) c[n++] = mac_sum(target, f[j], kSubFrame);
        for (int j = 0; j < 5; ++j) c[n++] = mac_sum(f[j], f[j], kSubFrame);
        for (int j = 1; j < 5; ++j)
            for (int m = 0; m < j; ++m) c[n++] = shl32(mac_sum(f[j], f[m], kSubFrame), 1);
    }
    i32 max = 0;
    for (int k = 0; k < lags; ++k)
        for (i32 v : cor[k]) max = abs32(v) > max ? abs32(v) : max;
    const i16 exp = norm32(max);
    i16 s[4][20];
    for (int k = 0; k < lags; ++k)
        for (int j = 0; j < 20; ++j) s[k][j] = round16(shl32(cor[k][j], exp));

    int lim85, lim170;
    taming_limits(t, odd, errors, flag, &lim85, &lim170);
    i32 best = 0;
    int best_lag = 1, best_row = 0;
    bool big = rate != 4;
    for (int k = 0; k < lags; ++k) {
        if (rate == 4 && t + odd - 59 + (odd ? 0 : k) >= 0) big = true;
        const i16* tab = big ? kAcbkGain170 : kAcbkGain85;
        const int rows = big ? lim170 : lim85;
        for (int row = 0; row < rows; ++row) {
            const i32 score = mac_sum(s[k], tab + 20 * row, 20);
            if (score > best) {
                best = score;
                best_lag = k;
                best_row = row;
            }
        }
    }
    *lag_out = static_cast<i16>(t - 1 + best_lag);
    *gain_out = static_cast<i16>(best_row);
}

// ---- 2.15 MP-MLQ ------------------------------------------------------------

// Best-state record of the pulse search: gain index, grid, positions and
// signed amplitudes.
struct Best {
    i16 gain, grid, pos[6], amp[6];
};

// One grid of the pulse-by-pulse search for one impulse response: imp_corr
// the normalised autocorrelation of h, corr the scaled cross-correlation of
// the target with h. Updates *best and *score where a candidate improves it.
void pulse_search(const i16* h, const i16* target, const i16* imp_corr, const i32* corr, int grid, int np,
                  i16* map, Best* best, i32* score) {
    // First pulse: the largest correlation on the grid; gain from its ratio.
    i32 max = 0;
    int pos0 = grid;
    for (int j = grid; j < kSubFrame; j += 2) {
        const i32 a = abs32(corr[j]);
        if (a >= max) {
            max = a;
            pos0 = j;
        }
    }
    i64 dmin = 1 << 30;
    int gidx = 22;
    for (int j = 22; j >= 2; --j) {
        i64 d = i64{mul32(kFcbkGain[j], imp_corr[0])} - max;
        d = d < 0 ? -d : d;
        if (d < dmin) {
            dmin = d;
            gidx = j;
        }
    }
    --gidx;
    i32 c2[kSubFrame];
    for (int g = 1; g < 5; ++g) {
        Best cand;
        cand.gain = static_cast<i16>(gidx + g - 2);
        cand.grid = static_cast<i16>(grid);
        const i16 amp = kFcbkGain[cand.gain];
        for (int k = grid; k < kSubFrame; k += 2) {
            map[k] = 0;
            c2[k] = corr[k];
        }
        cand.pos[0] = static_cast<i16>(pos0);
        cand.amp[0] = c2[pos0] < 0 ? static_cast<i16>(-amp) : amp;
        map[pos0] = 1;
        for (int k = 1; k < np; ++k) {
            i32 m = fx::kMin32;
            int at = grid;
            for (int l = grid; l < kSubFrame; l += 2) {
                if (map[l]) continue;
                const int dist = l > cand.pos[k - 1] ? l - cand.pos[k - 1] : cand.pos[k - 1] - l;
                c2[l] = fx::sub32(c2[l], mul32(imp_corr[dist], cand.amp[k - 1]));
                const i32 a = abs32(c2[l]);
                if (a > m) {
                    m = a;
                    at = l;
                }
            }
            cand.pos[k] = static_cast<i16>(at);
            cand.amp[k] = c2[at] < 0 ? static_cast<i16>(-amp) : amp;
            map[at] = 1;
        }
        // Filtered pulse train and its score: 2 <target, y> - <y, y>.
        // The pulses in ascending position: the saturating sum over the
        // sparse train equals the one over all samples (zero terms are no-ops).
        std::memset(map, 0, kSubFrame * sizeof(i16));
        for (int k = 0; k < np; ++k) map[cand.pos[k]] = cand.amp[k];
        int at[6], n = 0;
        i16 amp_at[6];
        for (int l = 0; l < kSubFrame; ++l)
            if (map[l]) {
                at[n] = l;
                amp_at[n++] = map[l];
            }
        for (int k = kSubFrame - 1; k >= 0; --k) {
            i32 acc = 0;
            for (int q = 0; q < n && at[q] <= k; ++q) acc = mac32(acc, amp_at[q], h[k - at[q]]);
            map[k] = fx::high16(fx::wrap32(i64{acc} << 2));
        }
        i32 err = 0;
        for (int k = 0; k < kSubFrame; ++k) {
            err = fx::sub32(err, mul32(target[k], map[k]));
            err = add32(err, i32{map[k]} * map[k]);
        }
        const i32 s = fx::neg32(err);
        if (s > *score) {
            *score = s;
            *best = cand;
            for (int k = np; k < 6; ++k) best->pos[k] = best->amp[k] = 0;
        }
    }
}

// Autocorrelation of h (halved, normalised) and its cross-correlation with
// the target, at the scale the pulse search expects.
void mpmlq_correlations(const i16* h, const i16* target, i16* imp_corr, i32* corr) {
    i16 half[kSubFrame];
    for (int i = 0; i < kSubFrame; ++i) half[i] = static_cast<i16>(h[i] >> 1);
    const i32 e = mac_sum(half, half, kSubFrame);
    const i16 scale = norm32(e);
    imp_corr[0] = round16(shl32(e, scale));
    for (int i = 1; i < kSubFrame; ++i) imp_corr[i] = round16(shl32(mac_sum(half + i, half, kSubFrame - i), scale));
    const int sh = scale - 4;
    for (int i = 0; i < kSubFrame; ++i) {
        const i32 c = mac_sum(target + i, h, kSubFrame - i);
        corr[i] = sh < 0 ? c >> -sh : shl32(c, static_cast<i16>(sh));
    }
}

void add_train(i16* v, int lag) {
    i16 base[kSubFrame];
    std::memcpy(base, v, sizeof(base));
    for (int i = lag; i < kSubFrame; i += lag)
        for (int j = 0; j < kSubFrame - i; ++j) v[i + j] = fx::add16(v[i + j], base[j]);
}

void mpmlq_search(int delay, const i16* h, const i16* target, i16* code, i16* grid, i16* train, i16* sign,
                  i32* position, int subframe) {
    const int np = kPulses[subframe];
    Best best{};
    i32 score = static_cast<i32>(0xC0000000u);
    i16 imp_corr[kSubFrame], map[kSubFrame];
    i32 corr[kSubFrame];
    i16 use_train = 0;
    mpmlq_correlations(h, target, imp_corr, corr);
    for (int g = 0; g < 2; ++g) pulse_search(h, target, imp_corr, corr, g, np, map, &best, &score);
    if (delay < kSubFrame - 2) {
        i16 ht[kSubFrame];
        std::memcpy(ht, h, sizeof(ht));
        add_train(ht, delay);
        const i32 before = score;
        mpmlq_correlations(ht, target, imp_corr, corr);
        for (int g = 0; g < 2; ++g) pulse_search(ht, target, imp_corr, corr, g, np, map, &best, &score);
        if (score > before) use_train = 1;
    }
    std::memset(code, 0, kSubFrame * sizeof(i16));
    for (int k = 0; k < np; ++k) code[best.pos[k]] = best.amp[k];
    // Positions by combinatorial coding over the 30 grid positions, signs
    // with the earliest pulse in the highest bit.
    i32 pos = 0;
    i16 sg = 0;
    int j = 6 - np;
    for (int i = 0; i < kSubFrame / 2 && j < 6; ++i) {
        const i16 v = code[best.grid + 2 * i];
        if (v == 0) {
            pos += kCombinatorial[j * 30 + i];
        } else {
            sg = static_cast<i16>((sg << 1) | (v < 0 ? 1 : 0));
            ++j;
        }
    }
    if (use_train) add_train(code, delay);
    *grid = best.grid;
    *train = use_train;
    *sign = sg;
    *position = pos;
}

}  // namespace

ZinStatus body::zinsOpenLoopPitchSearch_G723_16s(const Zin16s* pSrc, Zin16s* pDelay) {
    if (!pSrc || !pDelay) return zinStsNullPtrErr;
    *pDelay = open_loop_pitch(pSrc);
    return zinStsNoErr;
}

ZinStatus body::zinsHarmonicSearch_G723_16s(Zin16s delay, const Zin16s* pSrc, Zin16s* pDelay, Zin16s* pGain) {
    if (!pSrc || !pDelay || !pGain) return zinStsNullPtrErr;
    if (delay < kPitchMin || delay > kPitchMax) return zinStsSizeErr;
    harmonic_search(delay, pSrc, pDelay, pGain);
    return zinStsNoErr;
}

ZinStatus body::zinsAdaptiveCodebookSearch_G723(Zin16s baseDelay, const Zin16s* pSrcTarget, const Zin16s* pSrcImp,
                                                const Zin16s* pSrcPrevExc, const Zin32s* pSrcErrors, Zin16s* pLag,
                                                Zin16s* pGainIndex, Zin16s subframe, Zin16s sineFlag,
                                                ZinSpeechBitrate rate) {
    if (!pSrcTarget || !pSrcImp || !pSrcPrevExc || !pSrcErrors || !pLag || !pGainIndex) return zinStsNullPtrErr;
    if (subframe < 0 || subframe > 4) return zinStsRangeErr;
    if (baseDelay < kPitchMin || baseDelay > ((subframe & 1) ? 141 : 142)) return zinStsRangeErr;
    if (rate != zinSpchBr5300 && rate != zinSpchBr6300) return zinStsRangeErr;
    adaptive_search(baseDelay, pSrcTarget, pSrcImp, pSrcPrevExc, pSrcErrors, subframe, sineFlag,
                    rate == zinSpchBr6300 ? 4 : 2, pLag, pGainIndex);
    return zinStsNoErr;
}

ZinStatus body::zinsMPMLQFixedCodebookSearch_G723(Zin16s baseDelay, const Zin16s* pSrcImp, const Zin16s* pSrcTarget,
                                                  Zin16s* pDstCode, Zin16s* pGrid, Zin16s* pTrain, Zin16s* pSign,
                                                  Zin32s* pPosition, Zin16s subframe) {
    if (!pSrcImp || !pSrcTarget || !pDstCode || !pGrid || !pTrain || !pSign || !pPosition) return zinStsNullPtrErr;
    if (baseDelay < kPitchMin || baseDelay > kPitchMax || subframe < 0 || subframe >= 4) return zinStsRangeErr;
    mpmlq_search(baseDelay, pSrcImp, pSrcTarget, pDstCode, pGrid, pTrain, pSign, pPosition, subframe);
    return zinStsNoErr;
}

ZinStatus body::zinsGainQuant_G723_16s(const Zin16s* pSrcImp, const Zin16s* pSrcTarget, const Zin16s* pImpCorr,
                                       const Zin32s* pCorr, Zin16s* pBest, Zin16s grid, Zin16s* pMap, int pulseCount,
                                       Zin32s* pScore) {
    if (!pSrcImp || !pSrcTarget || !pImpCorr || !pCorr || !pBest || !pMap || !pScore) return zinStsNullPtrErr;
    if (pulseCount != 5 && pulseCount != 6) return zinStsBadArgErr;
    Best b;
    std::memcpy(&b, pBest, sizeof(b));
    pulse_search(pSrcImp, pSrcTarget, pImpCorr, pCorr, grid & 1, pulseCount, pMap, &b, pScore);
    std::memcpy(pBest, &b, sizeof(b));
    return zinStsNoErr;
}

}  // namespace zin
