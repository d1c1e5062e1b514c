// GSM-AMR algebraic codebook search (3GPP TS 26.090 clause 5.7, fixed point
// as in TS 26.073 cbsearch.c with c2_9pf.c, c2_11pf.c, c3_14pf.c,
// c4_17pf.c, c8_31pf.c, c1035pf.c and s10_8pf.c): per 40-sample sub-frame,
// the backward-filtered target, the signs, the correlation matrix of the
// impulse response, the depth-first pulse search of the rate, and the
// codevector, its filtered form and the parameter words.
#include <cstdint>

#include "../frame/registry.h"
#include "amr_common.h"

namespace zin {
namespace {

using amr::i16;
using amr::i32;
using i64 = std::int64_t;
using fx::add16;
using fx::mul16;

constexpr int kSub = 40;
using Matrix = i16[kSub][kSub];

// TS 26.073 gray.tab: gray, the Gray code of the position indices.
constexpr i16 kGray[8] = {0, 1, 3, 2, 6, 4, 5, 7};
// TS 26.073 c2_9pf.tab: startPos (track pairs of the 9-bit code).
constexpr i16 kStartPos9[16] = {0, 2, 0, 3, 0, 2, 0, 3, 1, 3, 2, 4, 1, 4, 1, 4};
// TS 26.073 c2_9pf.c: trackTable, the selector of the first pulse's track.
constexpr i16 kTrackTable9[20] = {0, 1, 0, 1, -1, 0, -1, 1, 0, 1, 0, 1, 0, -1, 1, 0, 1, -1, 0, 1};
// TS 26.073 c2_11pf.c: startPos1, startPos2.
constexpr i16 kStartPos11a[2] = {1, 3};
constexpr i16 kStartPos11b[4] = {0, 1, 2, 4};

inline i32 wrap(i64 v) { return static_cast<i32>(static_cast<std::uint32_t>(v)); }

// Pitch sharpening: v[i] += v[i - lag] * 2 gain for i from lag.
void sharpen(i16* v, int lag, i16 gain) {
    if (lag >= kSub) return;
    const i16 sharp = fx::shl16(gain, 1);
    for (int i = lag; i < kSub; ++i) v[i] = add16(v[i], mul16(v[i - lag], sharp));
}

// cor_h_x: backward-filtered target, scaled by the track maxima to 16 bits.
void correlate_target(const i16* h, const i16* x, i16* dn, int sf, int tracks, int step) {
    i32 y[kSub];
    i32 tot = 5;
    for (int k = 0; k < tracks; ++k) {
        i32 mx = 0;
        for (int i = k; i < kSub; i += step) {
            i64 s = 0;
            for (int j = i; j < kSub; ++j) s += i32{x[j]} * h[j - i];
            y[i] = wrap(2 * s);
            const i32 a = fx::abs32(y[i]);
            if (a > mx) mx = a;
        }
        tot += mx >> 1;
    }
    const i16 j = static_cast<i16>(fx::norm32(tot) - sf);
    for (int i = 0; i < kSub; ++i) dn[i] = fx::round16(fx::shl32(y[i], j));
}

// set_sign: signs of dn (dn made positive), and dn2 with the 8 - n smallest
// of each track marked -1.
void set_sign(i16* dn, i16* sign, i16* dn2, int n) {
    for (int i = kSub - 1; i >= 0; --i) {
        i16 v = dn[i];
        if (v >= 0) {
            sign[i] = 32767;
        } else {
            sign[i] = -32767;
            v = fx::neg16(v);
            dn[i] = v;
        }
        dn2[i] = v;
    }
    for (int t = 0; t < 5; ++t) {
        for (int k = 0; k < 8 - n; ++k) {
            i16 mn = 0x7FFF;
            int pos = 0;
            for (int j = t; j < kSub; j += 5) {
                if (dn2[j] >= 0 && dn2[j] < mn) {
                    mn = dn2[j];
                    pos = j;
                }
            }
            dn2[pos] = -1;
        }
    }
}

// set_sign12k2: signs from the target and residual correlations together,
// the best position of each track, and the track order starting at the best.
void set_sign12k2(i16* dn, const i16* cn, i16* sign, i16* posMax, int tracks, i16* ipos, int step) {
    i32 s = 256;
    i64 t = 256;
    for (int i = 0; i < kSub; ++i) {
        s = fx::mac32(s, cn[i], cn[i]);
        t += 2 * (i32{dn[i]} * dn[i]);
    }
    i32 inv = s;
    body::zinsInvSqrt_32s_I(&inv, 1);
    const i16 kCn = static_cast<i16>(fx::shl32(inv, 5) >> 16);
    i32 tinv = wrap(t);
    body::zinsInvSqrt_32s_I(&tinv, 1);
    const i16 kDn = static_cast<i16>(tinv >> 11);
    i16 en[kSub];
    for (int i = kSub - 1; i >= 0; --i) {
        const i16 v = dn[i];
        const i32 l = fx::mac32(wrap(2 * i64{kCn} * cn[i]), kDn, v);
        i16 cor = fx::round16(fx::shl32(l, 10));
        if (cor >= 0) {
            sign[i] = 32767;
        } else {
            sign[i] = -32767;
            cor = fx::neg16(cor);
            dn[i] = fx::neg16(v);
        }
        en[i] = cor;
    }
    i16 maxAll = -1;
    int pos = 0;
    ipos[0] = 0;
    for (int i = 0; i < tracks; ++i) {
        i16 mx = -1;
        for (int j = i; j < kSub; j += step) {
            if (en[j] > mx) {
                mx = en[j];
                pos = j;
            }
        }
        posMax[i] = static_cast<i16>(pos);
        if (mx > maxAll) {
            maxAll = mx;
            ipos[0] = static_cast<i16>(i);
        }
    }
    int p = ipos[0];
    ipos[tracks] = static_cast<i16>(p);
    for (int i = 1; i < tracks; ++i) {
        if (++p >= tracks) p = 0;
        ipos[i] = static_cast<i16>(p);
        ipos[i + tracks] = static_cast<i16>(p);
    }
}

// cor_h: the correlation matrix of the scaled impulse response, signed.
void correlate_impulse(const i16* h, const i16* sign, Matrix& rr) {
    i64 e = 1;
    for (int i = 0; i < kSub; ++i) e += i32{h[i]} * h[i];
    i16 h2[kSub];
    if (2 * e >= 0x80000000LL) {
        for (int i = 0; i < kSub; ++i) h2[i] = static_cast<i16>(h[i] >> 1);
    } else {
        i32 inv = static_cast<i32>(e);
        body::zinsInvSqrt_32s_I(&inv, 1);
        const i16 k = inv < 0x00FFFFFF ? static_cast<i16>(((inv >> 9) * 32440) >> 15) : 32440;
        for (int i = 0; i < kSub; ++i) h2[i] = static_cast<i16>((i32{h[i]} * k + 0x20) >> 6);
    }
    i32 s = 0;
    for (int n = 0; n < kSub; ++n) {
        s += i32{h2[n]} * h2[n];
        rr[kSub - 1 - n][kSub - 1 - n] = static_cast<i16>((s + 0x4000) >> 15);
    }
    for (int dec = 1; dec < kSub; ++dec) {
        s = 0;
        for (int n = 0; n + dec < kSub; ++n) {
            s += i32{h2[n]} * h2[n + dec];
            const int j = kSub - 1 - n, i = j - dec;
            const i16 t1 = static_cast<i16>((s + 0x4000) >> 15);
            const i16 t2 = static_cast<i16>((i32{sign[j]} * sign[i]) >> 15);
            rr[i][j] = rr[j][i] = static_cast<i16>((i32{t1} * t2) >> 15);
        }
    }
}

// The acceptance test of the searches: sq1 / alp1 > sq / alp.
inline bool better(i16 sq1, i16 alp1, i16 sq, i16 alp) { return 2 * i64{alp} * sq1 - 2 * i64{sq} * alp1 > 0; }

struct Best {
    i16 sq, alp, ps;
    int ix;
};

// One level of the depth-first search: the best next pulse on a track,
// given the energy so far in alp0 (scaled by the level's shifts).
template <class AlpOf>
Best level(const i16* dn, i16 ps0, int start, AlpOf alpOf) {
    Best b{-1, 1, 0, start};
    for (int i = start; i < kSub; i += 5) {
        const i16 ps1 = static_cast<i16>(ps0 + dn[i]);
        const i16 sq1 = static_cast<i16>((i32{ps1} * ps1) >> 15);
        const i16 a = static_cast<i16>((alpOf(i) + 0x8000) >> 16);
        if (better(sq1, a, b.sq, b.alp)) b = {sq1, a, ps1, i};
    }
    return b;
}

int search_2i40_9(const i16* dn, const Matrix& rr, int subframe, int* cod) {
    i16 psk = -1, alpk = 1;
    cod[0] = 0;
    cod[1] = 1;
    for (int t = 0; t < 2; ++t) {
        const int k = subframe * 2 + t * 8;
        for (int i0 = kStartPos9[k]; i0 < kSub; i0 += 5) {
            const i32 a0 = i32{rr[i0][i0]} << 14;
            const Best b = level(dn, dn[i0], kStartPos9[k + 1],
                                 [&](int i1) { return a0 + (i32{rr[i1][i1]} << 14) + (i32{rr[i0][i1]} << 15); });
            if (better(b.sq, b.alp, psk, alpk)) {
                psk = b.sq;
                alpk = b.alp;
                cod[0] = i0;
                cod[1] = b.ix;
            }
        }
    }
    return 0;
}

void search_2i40_11(const i16* dn, const Matrix& rr, int* cod) {
    i16 psk = -1, alpk = 1;
    cod[0] = 0;
    cod[1] = 1;
    for (int t1 = 0; t1 < 2; ++t1)
        for (int t2 = 0; t2 < 4; ++t2)
            for (int i0 = kStartPos11a[t1]; i0 < kSub; i0 += 5) {
                const i32 a0 = i32{rr[i0][i0]} << 14;
                Best b{-1, 1, 0, kStartPos11b[t2]};
                for (int i1 = kStartPos11b[t2]; i1 < kSub; i1 += 5) {
                    const i16 ps1 = add16(dn[i0], dn[i1]);
                    const i16 sq1 = static_cast<i16>((i32{ps1} * ps1) >> 15);
                    const i32 al = a0 + (i32{rr[i1][i1]} << 14) + (i32{rr[i0][i1]} << 15);
                    const i16 a = static_cast<i16>((al + 0x8000) >> 16);
                    if (better(sq1, a, b.sq, b.alp)) b = {sq1, a, ps1, i1};
                }
                if (better(b.sq, b.alp, psk, alpk)) {
                    psk = b.sq;
                    alpk = b.alp;
                    cod[0] = i0;
                    cod[1] = b.ix;
                }
            }
}

// Three and four pulses: the first pulse over the tracks in turn, each
// following pulse the best on its track given those before it.
void search_nested(const i16* dn, const i16* dn2, const Matrix& rr, int pulses, int* cod) {
    i16 psk = -1, alpk = 1;
    for (int i = 0; i < pulses; ++i) cod[i] = i;
    const int outer1 = pulses == 3 ? 2 : 2, outer2 = pulses == 3 ? 2 : 1;
    for (int ta = 0; ta < outer1; ++ta)
        for (int tb = 0; tb < outer2; ++tb) {
            int ipos[4];
            if (pulses == 3) {
                ipos[0] = 0;
                ipos[1] = 1 + 2 * ta;
                ipos[2] = 2 + 2 * tb;
            } else {
                ipos[0] = 0;
                ipos[1] = 1;
                ipos[2] = 2;
                ipos[3] = 3 + ta;
            }
            for (int r = 0; r < pulses; ++r) {
                for (int i0 = ipos[0]; i0 < kSub; i0 += 5) {
                    if (dn2[i0] < 0) continue;
                    const i32 a0 = i32{rr[i0][i0]} << 14;
                    Best b1 = level(dn, dn[i0], ipos[1],
                                    [&](int j) { return a0 + (i32{rr[j][j]} << 14) + (i32{rr[i0][j]} << 15); });
                    if (b1.sq == -1) b1.ps = 0;
                    const int i1 = b1.ix;
                    const i32 a1 = i32{b1.alp} << 14;
                    Best b2 = level(dn, b1.ps, ipos[2], [&](int j) {
                        return a1 + (i32{rr[j][j]} << 12) + (i32{rr[i1][j]} << 13) + (i32{rr[i0][j]} << 13);
                    });
                    if (b2.sq == -1) b2.ps = 0;
                    const int i2 = b2.ix;
                    Best last = b2;
                    int i3 = 0;
                    if (pulses == 4) {
                        const i32 a2 = i32{b2.alp} << 16;
                        last = level(dn, b2.ps, ipos[3], [&](int j) {
                            return a2 + (i32{rr[j][j]} << 12) + (i32{rr[i2][j]} << 13) + (i32{rr[i1][j]} << 13) +
                                   (i32{rr[i0][j]} << 13);
                        });
                        i3 = last.ix;
                    }
                    if (better(last.sq, last.alp, psk, alpk)) {
                        psk = last.sq;
                        alpk = last.alp;
                        cod[0] = i0;
                        cod[1] = i1;
                        cod[2] = i2;
                        if (pulses == 4) cod[3] = i3;
                    }
                }
                const int p = ipos[pulses - 1];
                for (int k = pulses - 1; k > 0; --k) ipos[k] = ipos[k - 1];
                ipos[0] = p;
            }
        }
}

// search_10and8i40: pulse pairs on track pairs, the first pulse fixed at the
// best position of the best track.
void search_10and8(int pulses, int step, int tracks, const i16* dn, const Matrix& rr, i16* ipos, const i16* posMax,
                   int* cod) {
    const bool ten = pulses == 10;
    int idx[10];
    const int i0 = posMax[ipos[0]];
    idx[0] = i0;
    i16 psk = -1, alpk = 1;
    for (int i = 0; i < pulses; ++i) cod[i] = i;
    i16 tmp[2 * kSub];
    for (int it = 1; it < tracks; ++it) {
        const int i1 = posMax[ipos[1]];
        idx[1] = i1;
        // Pulses 2 and 3.
        i16 ps0 = static_cast<i16>(dn[i0] + dn[i1]);
        i32 alp0 = (i32{rr[i0][i0]} << 12) + (i32{rr[i1][i1]} << 12) + (i32{rr[i0][i1]} << 13) + 0x8000;
        int n = 0;
        for (int i3 = ipos[3]; i3 < kSub; i3 += step) {
            const i32 s = (i32{rr[i3][i3]} >> 1) + rr[i3][i0] + rr[i3][i1];
            tmp[n++] = static_cast<i16>(ps0 + dn[i3]);
            tmp[n++] = static_cast<i16>((s + 2) >> 2);
        }
        i16 sq = -1, alp = 1, ps = 0;
        int ia = ipos[2], ib = ipos[3];
        {
            const i32 s = alp0 >> 12;
            for (int j = ipos[2]; j < kSub; j += step) {
                const i32 alp1 = ((s + rr[j][j]) >> 1) + rr[j][i0] + rr[j][i1];
                const i16 ps1 = dn[j];
                n = 0;
                for (int i3 = ipos[3]; i3 < kSub; i3 += step) {
                    const i16 ps2 = static_cast<i16>(ps1 + tmp[n++]);
                    const i16 sq2 = static_cast<i16>((i32{ps2} * ps2) >> 15);
                    i32 alp2 = (alp1 + rr[j][i3]) >> 2;
                    alp2 = (alp2 + tmp[n++]) >> 1;
                    if (i64{sq2} * alp > i64{sq} * alp2) {
                        sq = sq2;
                        ps = ps2;
                        alp = static_cast<i16>(alp2);
                        ia = j;
                        ib = i3;
                    }
                }
            }
        }
        idx[2] = ia;
        idx[3] = ib;
        // Pulses 4 to 9, two at a time.
        const int pairs = ten ? 3 : 2;
        for (int pr = 0; pr < pairs; ++pr) {
            const int first = 4 + 2 * pr;  // the pair's pulses: first, first + 1
            const int done = first;        // pulses already placed: idx[0..done-1]
            alp0 = (i32{alp} << 15) + 0x8000;
            const int shiftTmp = pr == 0 ? 2 : 3;
            const int round = pr == 0 ? 2 : 4;
            const int shDiag = pr == 0 ? 11 : (pr == 1 ? 10 : 9);
            const int shCross = shDiag + 1;
            const int shTmp = pr == 2 ? 13 : 14;
            n = 0;
            for (int k = ipos[first + 1]; k < kSub; k += step) {
                i32 s = i32{rr[k][k]} >> 1;
                for (int q = 0; q < done; ++q) s += rr[idx[q]][k];
                tmp[n++] = static_cast<i16>(ps + dn[k]);
                tmp[n++] = static_cast<i16>((s + round) >> shiftTmp);
            }
            sq = -1;
            alp = 1;
            ps = 0;
            ia = ipos[first];
            ib = ipos[first + 1];
            const i16 psBase = 0;
            (void)psBase;
            for (int j = ipos[first]; j < kSub; j += step) {
                i32 alp1 = alp0 + (i32{rr[j][j]} << shDiag);
                for (int q = 0; q < done; ++q) alp1 += i32{rr[idx[q]][j]} << shCross;
                const i16 ps1 = dn[j];
                n = 0;
                for (int k = ipos[first + 1]; k < kSub; k += step) {
                    const i16 ps2 = static_cast<i16>(ps1 + tmp[n++]);
                    const i32 alp2 = alp1 + (i32{rr[j][k]} << shCross);
                    const i16 a16 = static_cast<i16>((alp2 + (i32{tmp[n++]} << shTmp)) >> 16);
                    const i16 sq2 = static_cast<i16>((i32{ps2} * ps2) >> 15);
                    if (i32{sq2} * alp > i32{sq} * a16) {
                        sq = sq2;
                        ps = ps2;
                        alp = a16;
                        ia = j;
                        ib = k;
                    }
                }
            }
            idx[first] = ia;
            idx[first + 1] = ib;
        }
        if (i32{alpk} * sq > i32{psk} * alp) {
            psk = sq;
            alpk = alp;
            for (int q = 0; q < pulses; ++q) cod[q] = idx[q];
        }
        const i16 p = ipos[1];
        for (int j = 1; j + 1 < pulses; ++j) ipos[j] = ipos[j + 1];
        ipos[pulses - 1] = p;
    }
}

// The filtered codevector: signed copies of h shifted to the pulse positions.
void filtered(const i16* h, const int* pos, const i16* sign, int pulses, i16* y) {
    for (int i = 0; i < kSub; ++i) {
        i32 s = 0;
        for (int k = 0; k < pulses; ++k)
            if (i >= pos[k]) s = fx::mac32(s, h[i - pos[k]], sign[k]);
        y[i] = fx::round16(s);
    }
}

void search(i16 lag, i16 gain, const i16* x, const i16* res, i16* h, i16* code, i16* y, i16* prm, int subframe,
            int rate, Matrix& rr) {
    sharpen(h, lag, gain);
    for (int i = 0; i < kSub; ++i) code[i] = 0;
    i16 dn[kSub], dn2[kSub], sign[kSub];
    int pos[10];
    i16 sg[10];
    if (rate == 11 || rate == 12 || rate == 25) {
        const bool ten = rate != 11;
        const int tracks = ten ? 5 : 4, step = tracks, pulses = ten ? 10 : 8;
        i16 posMax[5], ipos[10];
        correlate_target(h, x, dn, 2, tracks, step);
        set_sign12k2(dn, res, sign, posMax, tracks, ipos, step);
        correlate_impulse(h, sign, rr);
        search_10and8(pulses, step, tracks, dn, rr, ipos, posMax, pos);
        if (ten) {
            for (int t = 0; t < 5; ++t) prm[t] = -1;
            for (int k = 0; k < 10; ++k) {
                const int i = pos[k];
                i16 index = static_cast<i16>((i * 6554) >> 15);
                const int track = i - index * 5;
                if (sign[i] > 0) {
                    code[i] = static_cast<i16>(code[i] + 4096);
                    sg[k] = 8192;
                } else {
                    code[i] = static_cast<i16>(code[i] - 4096);
                    sg[k] = -8192;
                    index = static_cast<i16>(index + 8);
                }
                const i16 t = prm[track];
                if (t < 0) {
                    prm[track] = index;
                } else if (((index ^ t) & 8) == 0) {
                    if (t <= index) {
                        prm[track + 5] = index;
                    } else {
                        prm[track + 5] = t;
                        prm[track] = index;
                    }
                } else if ((t & 7) <= (index & 7)) {
                    prm[track + 5] = t;
                    prm[track] = index;
                } else {
                    prm[track + 5] = index;
                }
            }
            for (int i = 0; i < kSub; ++i) {
                i32 s = 0;
                for (int k = 0; k < 10; ++k)
                    if (i >= pos[k]) s += (i32{h[i - pos[k]]} * sg[k]) >> 7;
                y[i] = static_cast<i16>((s + 0x80) >> 8);
            }
            for (int n = 0; n < 10; ++n) {
                const i16 t = prm[n];
                prm[n] = n < 5 ? static_cast<i16>((t & 8) | kGray[t & 7]) : kGray[t & 7];
            }
        } else {
            i16 posIdx[8], signIdx[4];
            for (int t = 0; t < 4; ++t) posIdx[t] = signIdx[t] = -1;
            for (int k = 0; k < 8; ++k) {
                const int i = pos[k];
                const i16 pi = static_cast<i16>(i >> 2);
                const int track = i & 3;
                i16 si;
                if (sign[i] > 0) {
                    code[i] = static_cast<i16>(code[i] + 8191);
                    sg[k] = 32767;
                    si = 0;
                } else {
                    code[i] = static_cast<i16>(code[i] - 8191);
                    sg[k] = -32768;
                    si = 1;
                }
                if (posIdx[track] < 0) {
                    posIdx[track] = pi;
                    signIdx[track] = si;
                } else if (((si ^ signIdx[track]) & 1) == 0) {
                    if (posIdx[track] <= pi) {
                        posIdx[track + 4] = pi;
                    } else {
                        posIdx[track + 4] = posIdx[track];
                        posIdx[track] = pi;
                        signIdx[track] = si;
                    }
                } else if (posIdx[track] <= pi) {
                    posIdx[track + 4] = posIdx[track];
                    posIdx[track] = pi;
                    signIdx[track] = si;
                } else {
                    posIdx[track + 4] = pi;
                }
            }
            filtered(h, pos, sg, 8, y);
            for (int t = 0; t < 4; ++t) prm[t] = signIdx[t];
            auto compress10 = [](i16 a, i16 b, i16 c) {
                const i16 hi = static_cast<i16>((a >> 1) + (b >> 1) * 5 + (c >> 1) * 25);
                return static_cast<i16>((hi << 3) + (a & 1) + ((b & 1) << 1) + ((c & 1) << 2));
            };
            prm[4] = compress10(posIdx[0], posIdx[4], posIdx[1]);
            prm[5] = compress10(posIdx[2], posIdx[6], posIdx[5]);
            i16 ia = static_cast<i16>(posIdx[3] >> 1);
            if ((posIdx[7] >> 1) & 1) ia = static_cast<i16>(4 - ia);
            i16 ib = static_cast<i16>(((posIdx[7] >> 1) * 5 + ia) << 5);
            ib = static_cast<i16>(ib + 12);
            const i16 ic = static_cast<i16>(((i32{ib} * 1311) >> 15) << 2);
            prm[6] = static_cast<i16>(ic + (posIdx[3] & 1) + ((posIdx[7] & 1) << 1));
        }
    } else {
        correlate_target(h, x, dn, 1, 5, 5);
        const int pulses = rate <= 3 ? 2 : (rate == 6 ? 3 : 4);
        set_sign(dn, sign, dn2, rate <= 3 ? 8 : (rate == 6 ? 6 : 4));
        correlate_impulse(h, sign, rr);
        if (rate <= 1) search_2i40_9(dn, rr, subframe, pos);
        else if (rate == 3) search_2i40_11(dn, rr, pos);
        else search_nested(dn, dn2, rr, pulses, pos);
        i16 indx = 0, rsign = 0;
        for (int k = 0; k < pulses; ++k) {
            const int i = pos[k];
            i16 index = static_cast<i16>((i * 6554) >> 15);
            int track = i - 5 * index;
            if (rate <= 1) {
                const i16 first = kTrackTable9[subframe * 5 + track];
                if (k == 0) {
                    track = 0;
                    if (first != 0) index = static_cast<i16>(index + 64);
                } else {
                    track = 1;
                    index = static_cast<i16>(index << 3);
                }
            } else if (rate == 3) {
                switch (track) {
                    case 0: track = 1; index = static_cast<i16>(index << 6); break;
                    case 1:
                        if (k == 0) {
                            track = 0;
                            index = static_cast<i16>(index << 1);
                        } else {
                            track = 1;
                            index = static_cast<i16>((index << 6) + 16);
                        }
                        break;
                    case 2: track = 1; index = static_cast<i16>((index << 6) + 32); break;
                    case 3: track = 0; index = static_cast<i16>((index << 1) + 1); break;
                    default: track = 1; index = static_cast<i16>((index << 6) + 48); break;
                }
            } else if (rate == 6) {
                switch (track) {
                    case 0: break;
                    case 1: index = static_cast<i16>(index << 4); break;
                    case 2: index = static_cast<i16>(index << 8); break;
                    case 3: track = 1; index = static_cast<i16>((index << 4) + 8); break;
                    default: track = 2; index = static_cast<i16>((index << 8) + 128); break;
                }
            } else {
                index = kGray[index];
                switch (track) {
                    case 0: break;
                    case 1: index = static_cast<i16>(index << 3); break;
                    case 2: index = static_cast<i16>(index << 6); break;
                    case 3: index = static_cast<i16>(index << 10); break;
                    default: track = 3; index = static_cast<i16>((index << 10) + 512); break;
                }
            }
            if (sign[i] > 0) {
                code[i] = 8191;
                sg[k] = 32767;
                rsign = add16(rsign, static_cast<i16>(1 << track));
            } else {
                code[i] = -8192;
                sg[k] = -32768;
            }
            indx = add16(indx, index);
        }
        filtered(h, pos, sg, pulses, y);
        prm[0] = indx;
        prm[1] = rsign;
    }
    sharpen(code, lag, gain);
}

bool legal(i16 lag, i16 subframe, int rate) {
    const auto ulag = static_cast<std::uint16_t>(lag);
    if (subframe < 0 || subframe > 3 || ulag < 17 || ulag > 144) return false;
    switch (rate) {
        case 0: case 1: case 3: case 6: case 7: case 8: case 11: case 12: case 25: return true;
        default: return false;
    }
}

}  // namespace

ZinStatus body::zinsAlgebraicCodebookSearch_GSMAMR_16s(Zin16s pitchLag, Zin16s pitchGain, const Zin16s* pTarget,
                                                       const Zin16s* pResidual, Zin16s* pImpulse, Zin16s* pCode,
                                                       Zin16s* pFilteredCode, Zin16s* pParams, Zin16s subframe,
                                                       ZinSpeechBitrate rateCode) {
    if (!pTarget || !pResidual || !pImpulse || !pCode || !pFilteredCode || !pParams) return zinStsNullPtrErr;
    if (!legal(pitchLag, subframe, rateCode)) return zinStsRangeErr;
    alignas(16) Matrix rr;
    search(pitchLag, pitchGain, pTarget, pResidual, pImpulse, pCode, pFilteredCode, pParams, subframe, rateCode, rr);
    return zinStsNoErr;
}

ZinStatus body::zinsAlgebraicCodebookSearchEX_GSMAMR_16s(Zin16s pitchLag, Zin16s pitchGain, const Zin16s* pTarget,
                                                         const Zin16s* pResidual, Zin16s* pImpulse, Zin16s* pCode,
                                                         Zin16s* pFilteredCode, Zin16s* pParams, Zin16s subframe,
                                                         ZinSpeechBitrate rateCode, void* pScratch) {
    if (!pTarget || !pResidual || !pImpulse || !pCode || !pFilteredCode || !pParams || !pScratch)
        return zinStsNullPtrErr;
    if (!legal(pitchLag, subframe, rateCode)) return zinStsRangeErr;
    auto* base = static_cast<unsigned char*>(pScratch);
    base += (-reinterpret_cast<std::uintptr_t>(base)) & 15;
    auto& rr = *reinterpret_cast<Matrix*>(base);
    search(pitchLag, pitchGain, pTarget, pResidual, pImpulse, pCode, pFilteredCode, pParams, subframe, rateCode, rr);
    return zinStsNoErr;
}

}  // namespace zin
