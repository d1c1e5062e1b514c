// G.729 front end, fixed point: pre-processing (ITU-T G.729 clause 3.1 and
// the post-processing of 4.2.5), windowed autocorrelation and lag window
// (3.2.1), Levinson-Durbin (3.2.2), LP <-> LSP (3.2.3, 3.2.6), LSP <-> LSF
// (3.2.4), interpolation (3.2.5) and the filters of the weighting stage.
//
// Sums wrap in 32 bits where the reference saturates; every place where a
// saturation decides a result on real signals keeps the basic operator.
#include <cstdint>
#include <cstring>

#include "../frame/registry.h"
#include "../kernels/fixed_point.h"
#include "../kernels/kernels.h"
#include "g729_internal.h"
#include "g729_tables.h"

namespace zin {

namespace g729 {

using fx::i16;
using fx::i32;
using fx::i64;

namespace {

inline i32 wadd(i32 a, i32 b) { return fx::wrap_add32(a, b); }
inline i32 wsub(i32 a, i32 b) { return fx::wrap_sub32(a, b); }
inline i32 wshl(i32 a, int n) { return static_cast<i32>(static_cast<std::uint32_t>(a) << n); }

// The reference's double-precision format: hi = L >> 16, lo = bits 1..15.
inline i16 dhi(i32 L) { return static_cast<i16>(L >> 16); }
inline i16 dlo(i32 L) { return static_cast<i16>((L >> 1) & 0x7FFF); }

// Mpy_32 and Mpy_32_16 of the reference, wrapping.
inline i32 mpy32(i16 h1, i16 l1, i16 h2, i16 l2) {
    return wshl(wadd(wadd(i32{h1} * h2, (i32{h1} * l2) >> 15), (i32{l1} * h2) >> 15), 1);
}
inline i32 mpy32(i32 a, i32 b) { return mpy32(dhi(a), dlo(a), dhi(b), dlo(b)); }

// ---- Chebyshev evaluation of the LP-to-LSP search -------------------------
//
// C(x) = T5(x) + f1 T4(x) + f2 T3(x) + f3 T2(x) + f4 T1(x) + f5/2 by the
// Clenshaw recursion in the reference's double precision, with its
// saturating operators: the Q11 coefficients work in Q24 and shift by 6 at
// the end, the halved Q10 set in Q23 and shifts by 7.
template <int Q>
i16 chebyshev_sat(i16 x, const i16* f) {
    using namespace fx;
    constexpr i16 one = Q == 11 ? 256 : 128;     // b2 = 1.0
    constexpr i16 twice = Q == 11 ? 512 : 256;   // 2x
    constexpr i16 fin = Q == 11 ? 6 : 7;
    i16 b2h = one, b2l = 0;
    i32 t = mac32(mul32(x, twice), f[1], 4096);
    Dpf b1 = split32(t);
    for (int i = 2; i < 5; ++i) {
        t = shl32(mul32_dpf16(b1.hi, b1.lo, x), 1);
        t = mac32(t, b2h, static_cast<i16>(-32768));
        t = msu32(t, b2l, 1);
        t = mac32(t, f[i], 4096);
        b2h = b1.hi;
        b2l = b1.lo;
        b1 = split32(t);
    }
    t = mul32_dpf16(b1.hi, b1.lo, x);
    t = mac32(t, b2h, static_cast<i16>(-32768));
    t = msu32(t, b2l, 1);
    t = mac32(t, f[5], 2048);
    return high16(shl32(t, fin));
}

// One Clenshaw step k * x * b1 - b2 + c in the double-precision product of
// the reference, wrapping (a wrapped value is always caught as too big).
inline i32 clenshaw(i32 b1, i32 b2, i16 x, std::uint32_t k, i32 c) {
    const std::uint32_t m = 2u * static_cast<std::uint32_t>((b1 >> 16) * x) +
                            2u * static_cast<std::uint32_t>((((b1 >> 1) & 0x7FFF) * x) >> 15);
    return static_cast<i32>(k * m - static_cast<std::uint32_t>(b2) + static_cast<std::uint32_t>(c));
}

// The same in plain 32-bit arithmetic. Every value of the recursion is even
// and held exactly in the reference's double precision, and while each b
// stays below 2^29 in magnitude no operator can saturate (2x*b1 - b2 + f
// stays below 2^31): then the two agree. When a b grows beyond, the
// saturating form takes over. Only the final scaling saturates often.
template <int Q>
i16 chebyshev(i16 x, const i16* f) {
    constexpr i32 twice = Q == 11 ? 1024 : 512;
    constexpr int fin = Q == 11 ? 6 : 7;
    i32 b2 = Q == 11 ? 256 << 16 : 128 << 16;
    i32 b1 = x * twice + f[1] * 8192;
    std::uint32_t big = 0;
    for (int i = 2; i < 5; ++i) {
        const i32 t = clenshaw(b1, b2, x, 2, f[i] * 8192);
        big |= (static_cast<std::uint32_t>(t) + (1u << 29)) >> 30;
        b2 = b1;
        b1 = t;
    }
    if (big) return chebyshev_sat<Q>(x, f);
    const i32 t = clenshaw(b1, b2, x, 1, f[5] * 4096);
    constexpr i32 lim = 1 << (31 - fin);
    if (t >= lim) return fx::kMax16;
    if (t < -lim) return fx::kMin16;
    return static_cast<i16>(t >> (16 - fin));
}

// Two points at once: independent chains that the processor overlaps.
template <int Q>
void chebyshev2(i16 x0, i16 x1, const i16* f, i16& y0, i16& y1) {
    constexpr i32 twice = Q == 11 ? 1024 : 512;
    constexpr int fin = Q == 11 ? 6 : 7;
    constexpr i32 one = Q == 11 ? 256 << 16 : 128 << 16;
    i32 p2 = one, q2 = one;
    i32 p1 = x0 * twice + f[1] * 8192, q1 = x1 * twice + f[1] * 8192;
    std::uint32_t bigp = 0, bigq = 0;
    for (int i = 2; i < 5; ++i) {
        const i32 tp = clenshaw(p1, p2, x0, 2, f[i] * 8192);
        const i32 tq = clenshaw(q1, q2, x1, 2, f[i] * 8192);
        bigp |= (static_cast<std::uint32_t>(tp) + (1u << 29)) >> 30;
        bigq |= (static_cast<std::uint32_t>(tq) + (1u << 29)) >> 30;
        p2 = p1;
        p1 = tp;
        q2 = q1;
        q1 = tq;
    }
    constexpr i32 lim = 1 << (31 - fin);
    auto finish = [&](i32 b1, i32 b2, i16 x) {
        const i32 t = clenshaw(b1, b2, x, 1, f[5] * 4096);
        return t >= lim ? fx::kMax16 : t < -lim ? fx::kMin16 : static_cast<i16>(t >> (16 - fin));
    };
    y0 = bigp ? chebyshev_sat<Q>(x0, f) : finish(p1, p2, x0);
    y1 = bigq ? chebyshev_sat<Q>(x1, f) : finish(q1, q2, x1);
}

}  // namespace

// ---- high-pass filter -------------------------------------------------------

void high_pass(HighPassState& s, Zin16s* x, int len, int sfs) {
    const i32 a1 = s.coef[1], a2 = s.coef[2], b0 = s.coef[3], b1 = s.coef[4], b2 = s.coef[5];
    i32 y1 = s.y1, y2 = s.y2;
    i32 x1 = s.x1, x2 = s.x2;
    for (int n = 0; n < len; ++n) {
        const i32 x0 = x[n];
        i32 S = (y1 >> 16) * a1;
        S = wadd(S, (y2 >> 16) * a2);
        S = wadd(S, x0 * b0);
        S = wadd(S, x1 * b1);
        S = wadd(S, x2 * b2);
        S = wadd(S, (((y1 >> 1) & 0x7FFF) * a1) >> 15);
        S = wadd(S, (((y2 >> 1) & 0x7FFF) * a2) >> 15);
        i32 y;
        Zin16s out;
        if (sfs == 12) {
            y = S >= 0x7FFFFFF ? fx::kMax32 : (S <= -134217728 ? fx::kMin32 : S * 16);
            out = fx::high16(fx::add32(y, 0x8000));
        } else {
            y = S >= 0xFFFFFFF ? fx::kMax32 : (S <= -268435456 ? fx::kMin32 : S * 8);
            out = S >= 0x7FFF7FF ? fx::kMax16 : (S <= -134217728 ? fx::kMin16 : static_cast<Zin16s>((S + 2048) >> 12));
        }
        x[n] = out;
        x2 = x1;
        x1 = x0;
        y2 = y1;
        y1 = y;
    }
    s.y1 = y1;
    s.y2 = y2;
    s.x1 = static_cast<Zin16s>(x1);
    s.x2 = static_cast<Zin16s>(x2);
}

// ---- lag window and Levinson-Durbin ------------------------------------------

void lag_window(Zin32s* r, int len) {
    for (int i = 0; i < len; ++i) r[i] = mpy32(r[i], kLagWindow[i]);
}

// Div_32 of the reference: num / den in Q31 for 0 <= num < den, den given in
// double precision. The first estimate 1/den_hi in Q14 is div_s(0x3FFF, hi).
static i32 div32(i32 num, i16 dh, i16 dl) {
    const i32 q = 0x1FFF8000 / dh;
    const i16 approx = fx::sat16(q);
    i32 L = fx::mul32_dpf16(dh, dl, approx);
    L = fx::sub32(fx::kMax32, L);
    const fx::Dpf t = fx::split32(L);
    L = fx::mul32_dpf16(t.hi, t.lo, approx);
    const fx::Dpf inv = fx::split32(L);
    const fx::Dpf n = fx::split32(num);
    L = fx::mul32_dpf(n.hi, n.lo, inv.hi, inv.lo);
    return fx::shl32(L, 2);
}

// Alpha * (1 - K^2), normalised; false when the result leaves nothing to
// normalise.
static bool update_alpha(i16 kh, i16 kl, i16& ah, i16& al, int& aexp) {
    i32 t = fx::mul32_dpf(kh, kl, kh, kl);
    t = fx::abs32(t);
    t = fx::sub32(fx::kMax32, t);
    const fx::Dpf d = fx::split32(t);
    t = fx::mul32_dpf(ah, al, d.hi, d.lo);
    const int e = fx::norm32(t);
    t = fx::shl32(t, static_cast<i16>(e));
    if (t < 0x10000 && t > -0x10000) return false;
    ah = dhi(t);
    al = dlo(t);
    aexp += e;
    return true;
}

bool levinson(const Zin32s* R, int order, Zin16s* lpc, Zin16s* rc, Zin16s* err) {
    if (R[0] < 0x10000 && R[0] > -0x10000) return false;
    i16 Rh[31], Rl[31];
    for (int i = 0; i <= order; ++i) {
        Rh[i] = dhi(R[i]);
        Rl[i] = dlo(R[i]);
    }
    i32 A[31], An[31];   // Q27
    i16 K[30];

    i32 t1 = fx::join32(Rh[1], Rl[1]);
    i32 t0 = div32(fx::abs32(t1), Rh[0], Rl[0]);
    if (t1 > 0) t0 = fx::neg32(t0);
    fx::Dpf k = fx::split32(t0);
    K[0] = k.hi;
    A[1] = fx::shr32(t0, 4) & ~1;
    i16 ah = Rh[0], al = Rl[0];
    int aexp = 0;
    if (!update_alpha(k.hi, k.lo, ah, al, aexp)) return false;

    for (int i = 2; i <= order; ++i) {
        t0 = 0;
        for (int j = 1; j < i; ++j) t0 = wadd(t0, mpy32(Rh[j], Rl[j], dhi(A[i - j]), dlo(A[i - j])));
        t0 = wshl(t0, 4);
        t0 = wadd(t0, fx::join32(Rh[i], Rl[i]));
        i32 t2 = div32(fx::abs32(t0), ah, al);
        if (t0 > 0) t2 = fx::neg32(t2);
        t2 = fx::shl32(t2, static_cast<i16>(aexp));
        k = fx::split32(t2);
        K[i - 1] = k.hi;
        if (fx::abs16(k.hi) > 32750) return false;
        for (int j = 1; j < i; ++j) An[j] = wadd(mpy32(k.hi, k.lo, dhi(A[i - j]), dlo(A[i - j])), A[j]) & ~1;
        An[i] = fx::shr32(t2, 4) & ~1;
        if (!update_alpha(k.hi, k.lo, ah, al, aexp)) return false;
        for (int j = 1; j <= i; ++j) A[j] = An[j];
    }

    lpc[0] = 4096;
    for (int i = 1; i <= order; ++i) lpc[i] = fx::sat16((i64{A[i]} + 0x4000) >> 15);
    for (int i = 0; i < order; ++i) rc[i] = K[i];
    const int sh = aexp + 16 > 31 ? 31 : aexp + 16;
    *err = static_cast<Zin16s>(fx::join32(ah, al) >> sh);
    return true;
}

// ---- LP to LSP ------------------------------------------------------------------

// The grid scan, bisections and interpolation of the root search; returns
// the number of roots found.
template <int Q>
int find_roots(const i16* f1, const i16* f2, const Zin16s* grid, int points, int bisections, i16* out) {
    using namespace fx;
    int nf = 0;
    const i16* coef = f1;
    // Grid points are evaluated two at a time; the second value waits here.
    int cj = -1;
    i16 cy = 0;
    auto grid_value = [&](int k) {
        if (k == cj) return cy;
        if (k + 1 >= points) return chebyshev<Q>(grid[k], coef);
        i16 y;
        chebyshev2<Q>(grid[k], grid[k + 1], coef, y, cy);
        cj = k + 1;
        return y;
    };
    i16 xlow = grid[0];
    i16 ylow = grid_value(0);
    int j = 0;
    while (nf < 10 && j < points - 1) {
        ++j;
        i16 xhigh = xlow, yhigh = ylow;
        xlow = grid[j];
        ylow = grid_value(j);
        if (i32{ylow} * yhigh > 0) continue;
        for (int b = 0; b < bisections; ++b) {
            const i16 xmid = static_cast<i16>((xlow >> 1) + (xhigh >> 1));
            const i16 ymid = chebyshev<Q>(xmid, coef);
            if (i32{ylow} * ymid <= 0) {
                yhigh = ymid;
                xhigh = xmid;
            } else {
                ylow = ymid;
                xlow = xmid;
            }
        }
        // xint = xlow - ylow * (xhigh - xlow) / (yhigh - ylow)
        const i16 x = sub16(xhigh, xlow);
        i16 y = sub16(yhigh, ylow);
        i16 xint;
        if (y == 0) {
            xint = xlow;
        } else {
            const i16 sign = y;
            y = abs16(y);
            const i16 e = norm16(y);
            y = static_cast<i16>(y << e);
            y = static_cast<i16>(0x1FFF8000 / y);
            y = low16(shr32(mul32(x, y), static_cast<i16>(20 - e)));
            if (sign < 0) y = neg16(y);
            xint = sub16(xlow, low16(shr32(mul32(ylow, y), 11)));
        }
        out[nf++] = xint;
        xlow = xint;
        coef = coef == f1 ? f2 : f1;
        // The other polynomial at the root, together with the next grid point.
        cj = -1;
        if (j + 1 < points) {
            chebyshev2<Q>(xlow, grid[j + 1], coef, ylow, cy);
            cj = j + 1;
        } else {
            ylow = chebyshev<Q>(xlow, coef);
        }
    }
    return nf;
}

void lpc_to_lsp(const Zin16s* a, const Zin16s* prev, Zin16s* lsp, const Zin16s* grid, int points, int bisections) {
    using namespace fx;
    i16 f1[6], f2[6];
    bool ovf = false;
    f1[0] = 2048;
    f2[0] = 2048;
    for (int i = 0; i < 5; ++i) {
        const i32 s = i32{a[i + 1]} + a[10 - i], d = i32{a[i + 1]} - a[10 - i];
        f1[i + 1] = sub16(static_cast<i16>(s >> 1), f1[i], ovf);
        f2[i + 1] = add16(static_cast<i16>(d >> 1), f2[i], ovf);
    }
    if (ovf) {
        f1[0] = 1024;
        f2[0] = 1024;
        for (int i = 0; i < 5; ++i) {
            const i32 s = i32{a[i + 1]} + a[10 - i], d = i32{a[i + 1]} - a[10 - i];
            f1[i + 1] = sub16(static_cast<i16>(s >> 2), f1[i]);
            f2[i + 1] = add16(static_cast<i16>(d >> 2), f2[i]);
        }
    }

    i16 out[10];
    const int nf = ovf ? find_roots<10>(f1, f2, grid, points, bisections, out)
                       : find_roots<11>(f1, f2, grid, points, bisections, out);
    if (nf < 10)
        std::memmove(lsp, prev, 10 * sizeof(Zin16s));
    else
        std::memcpy(lsp, out, sizeof out);
}

// ---- LSP to LP -----------------------------------------------------------------

// One of the two polynomials from every second LSP, Q24, wrapping.
static void lsp_poly(const Zin16s* lsp, i32* f) {
    f[0] = 0x1000000;
    f[1] = -i32{lsp[0]} * 1024;
    for (int i = 2; i <= 5; ++i) {
        const i32 l = lsp[2 * i - 2];
        f[i] = f[i - 2];
        for (int k = i; k > 1; --k) {
            const i32 p = f[k - 1];
            const i32 t = wshl(wadd(dhi(p) * l, (dlo(p) * l) >> 15), 2);
            f[k] = wsub(wadd(f[k], f[k - 2]), t);
        }
        f[1] = wsub(f[1], l * 1024);
    }
}

void lsp_to_lpc(const Zin16s* lsp, Zin16s* a) {
    i32 f1[6], f2[6];
    lsp_poly(lsp, f1);
    lsp_poly(lsp + 1, f2);
    for (int i = 5; i > 0; --i) {
        f1[i] = wadd(f1[i], f1[i - 1]);
        f2[i] = wsub(f2[i], f2[i - 1]);
    }
    a[0] = 4096;
    for (int i = 1; i <= 5; ++i) {
        a[i] = fx::sat16((i64{wadd(f1[i], f2[i])} + 4096) >> 13);
        a[11 - i] = fx::sat16((i64{wsub(f1[i], f2[i])} + 4096) >> 13);
    }
}

// ---- LSP <-> LSF -------------------------------------------------------------------

void lsp_to_lsf(const Zin16s* lsp, Zin16s* lsf) {
    int pos = 63;
    for (int i = 9; i >= 0; --i) {
        while (kCosTable[pos] < lsp[i]) --pos;
        const i32 freq = static_cast<i16>((pos << 9) + (((lsp[i] - kCosTable[pos]) * i32{kSlopeAcos[pos]}) >> 11));
        lsf[i] = static_cast<Zin16s>((freq * 25736) >> 15);
    }
}

void lsp_to_lsf_norm(const Zin16s* lsp, Zin16s* lsf) {
    int pos = 63;
    for (int i = 9; i >= 0; --i) {
        while (kCosTable[pos] < lsp[i]) --pos;
        lsf[i] = static_cast<Zin16s>((pos << 8) + (((lsp[i] - kCosTable[pos]) * i32{kSlopeAcos[pos]} + 2048) >> 12));
    }
}

bool lsf_to_lsp(const Zin16s* lsf, Zin16s* lsp) {
    for (int i = 0; i < 10; ++i) {
        const i32 f = (i32{lsf[i]} * 20861) >> 15;
        int pos = f >> 8;
        if (pos < 0) return false;
        if (pos > 63) pos = 63;
        lsp[i] = fx::sat16(kCosTable[pos] + (((f & 255) * i32{kSlopeCos[pos]}) >> 12));
    }
    return true;
}

}  // namespace g729

// ---- exports ---------------------------------------------------------------------------

using g729::HighPassState;

ZinStatus body::zinsHighPassFilterSize_G729(int* pSize) {
    if (!pSize) return zinStsNullPtrErr;
    *pSize = static_cast<int>(sizeof(HighPassState));
    return zinStsNoErr;
}

ZinStatus body::zinsHighPassFilterInit_G729(const Zin16s* pCoeff, ZinHighPassFilterState_G729* pState) {
    if (!pCoeff || !pState) return zinStsNullPtrErr;
    HighPassState s{};
    std::memcpy(s.coef, pCoeff, sizeof s.coef);
    std::memcpy(static_cast<void*>(pState), &s, sizeof s);
    return zinStsNoErr;
}

ZinStatus body::zinsHighPassFilter_G729_16s_ISfs(Zin16s* pSrcDst, int len, int scaleFactor,
                                                 ZinHighPassFilterState_G729* pState) {
    if (!pSrcDst || !pState) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    if (scaleFactor != 12 && scaleFactor != 13) return zinStsScaleRangeErr;
    HighPassState s;
    std::memcpy(&s, static_cast<const void*>(pState), sizeof s);
    g729::high_pass(s, pSrcDst, len, scaleFactor);
    std::memcpy(static_cast<void*>(pState), &s, sizeof s);
    return zinStsNoErr;
}

ZinStatus body::zinsAutoCorr_G729B(const Zin16s* pSrc, Zin16s* pNorm, Zin32s* pDst) {
    if (!pSrc || !pNorm || !pDst) return zinStsNullPtrErr;
    alignas(32) Zin16s y[240];
    body::zinsMul_NR_16s_Sfs(pSrc, g729::kHamWindow, y, 240, 15);
    int counter = 1, n = 0;
    while (body::zinsAutoCorr_NormE_16s32s(y, 240, pDst, 13, &n) == zinStsOverflow) {
        for (auto& v : y) v = static_cast<Zin16s>(v >> 2);
        counter += 4;
    }
    *pNorm = static_cast<Zin16s>(counter - n);
    return zinStsNoErr;
}

ZinStatus body::zinsLagWindow_G729_32s_I(Zin32s* pSrcDst, int len) {
    if (!pSrcDst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    if (len > 12) return zinStsRangeErr;
    g729::lag_window(pSrcDst, len);
    return zinStsNoErr;
}

ZinStatus body::zinsLevinsonDurbin_G729_32s16s(const Zin32s* pSrcAutoCorr, int order, Zin16s* pDstLpc,
                                               Zin16s* pDstRc, Zin16s* pResultResidualEnergy) {
    if (!pSrcAutoCorr || !pDstLpc || !pDstRc || !pResultResidualEnergy) return zinStsNullPtrErr;
    if (order < 1 || order > 30) return zinStsRangeErr;
    Zin16s lpc[31], rc[30], err;
    if (!g729::levinson(pSrcAutoCorr, order, lpc, rc, &err)) return zinStsOverflow;
    std::memcpy(pDstLpc, lpc, (order + 1) * sizeof(Zin16s));
    std::memcpy(pDstRc, rc, order * sizeof(Zin16s));
    *pResultResidualEnergy = err;
    return zinStsNoErr;
}

ZinStatus body::zinsLevinsonDurbin_G729B(const Zin32s* pSrcAutoCorr, Zin16s* pDstLpc, Zin16s* pDstRc,
                                         Zin16s* pResultResidualEnergy) {
    if (!pDstRc) return zinStsNullPtrErr;
    Zin16s rc[10];
    const ZinStatus st = body::zinsLevinsonDurbin_G729_32s16s(pSrcAutoCorr, 10, pDstLpc, rc, pResultResidualEnergy);
    if (st == zinStsNoErr) {
        pDstRc[0] = rc[0];
        pDstRc[1] = rc[1];
    }
    return st;
}

ZinStatus body::zinsLPCToLSP_G729_16s(const Zin16s* pSrcLPC, const Zin16s* pSrcPrevLsp, Zin16s* pDstLSP) {
    if (!pSrcLPC || !pSrcPrevLsp || !pDstLSP) return zinStsNullPtrErr;
    g729::lpc_to_lsp(pSrcLPC, pSrcPrevLsp, pDstLSP, g729::kGrid61, 61, 4);
    return zinStsNoErr;
}

ZinStatus body::zinsLPCToLSP_G729A_16s(const Zin16s* pSrcLPC, const Zin16s* pSrcPrevLsp, Zin16s* pDstLSP) {
    if (!pSrcLPC || !pSrcPrevLsp || !pDstLSP) return zinStsNullPtrErr;
    g729::lpc_to_lsp(pSrcLPC, pSrcPrevLsp, pDstLSP, g729::kGrid51, 51, 2);
    return zinStsNoErr;
}

ZinStatus body::zinsLSPToLPC_G729_16s(const Zin16s* pSrcLSP, Zin16s* pDstLPC) {
    if (!pSrcLSP || !pDstLPC) return zinStsNullPtrErr;
    g729::lsp_to_lpc(pSrcLSP, pDstLPC);
    return zinStsNoErr;
}

ZinStatus body::zinsLSPToLSF_G729_16s(const Zin16s* pSrcLSP, Zin16s* pDstLSF) {
    if (!pSrcLSP || !pDstLSF) return zinStsNullPtrErr;
    g729::lsp_to_lsf(pSrcLSP, pDstLSF);
    return zinStsNoErr;
}

ZinStatus body::zinsLSPToLSF_Norm_G729_16s(const Zin16s* pSrcLSP, Zin16s* pDstLSF) {
    if (!pSrcLSP || !pDstLSF) return zinStsNullPtrErr;
    g729::lsp_to_lsf_norm(pSrcLSP, pDstLSF);
    return zinStsNoErr;
}

ZinStatus body::zinsLSFToLSP_G729_16s(const Zin16s* pSrcLSF, Zin16s* pDstLSP) {
    if (!pSrcLSF || !pDstLSP) return zinStsNullPtrErr;
    return g729::lsf_to_lsp(pSrcLSF, pDstLSP) ? zinStsNoErr : zinStsLsfRangeErr;
}

}  // namespace zin
