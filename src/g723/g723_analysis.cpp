// G.723.1 front end: DC removal (clause 2.3), LPC analysis (2.4), LSP
// conversion, quantisation and decoding (2.5, 2.6, 3.2), and the LSP to LPC
// conversion of the interpolated vectors (2.7), in the fixed-point
// arithmetic of the standard's reference.
#include <cstring>

#include "../frame/registry.h"
#include "../kernels/fixed_point.h"
#include "../kernels/kernels.h"
#include "g723_ops.h"
#include "g723_tables.h"

namespace zin {
namespace {

using namespace g723;
using fx::add16;
using fx::add32;
using fx::deposit_high;
using fx::mac32;
using fx::msu32;
using fx::norm16;
using fx::norm32;
using fx::round16;
using fx::sat16;
using fx::shl32;
using fx::sub16;

// ---- 2.3 DC removal --------------------------------------------------------

void high_pass(const Zin16s* src, Zin16s* dst, Zin32s* mem) {
    i32 x1 = mem[0];
    i32 y1 = mem[1];
    for (int i = 0; i < kFrame; ++i) {
        const i32 x = src[i];
        // (x - x1) << 15 fits 32 bits for 16-bit inputs; the pole is 127/128.
        const i64 y = (i64{x} - x1) * 32768 + ((i64{y1} * 0x7F00) >> 15);
        dst[i] = sat16((y + 0x8000) >> 16);
        x1 = x;
        y1 = fx::wrap32(y);
    }
    mem[0] = x1;
    mem[1] = y1;
}

// ---- 2.4 autocorrelation ---------------------------------------------------

// Lag 0 with the white-noise correction and its normalisation, lags 1 to 10
// with the binomial lag window. The sums are 32-bit and wrap.
i32 autocorr_norm(const Zin16s* x, Zin16s* r) {
    i32 e = fx::wrap32(DotProd_16s64s(x, x, kLpcFrame));
    e = fx::wrap_add32(e, e >> 10);
    if (e == 0) {
        std::memset(r, 0, (kOrder + 1) * sizeof(Zin16s));
        return 0;
    }
    const i16 norm = norm32(e);
    r[0] = round16(shl32(e, norm));
    if (r[0] == 0) {
        std::memset(r + 1, 0, kOrder * sizeof(Zin16s));
        return norm;
    }
    for (int k = 1; k <= kOrder; ++k) {
        const i32 c = fx::wrap32(DotProd_16s64s(x, x + k, kLpcFrame - k));
        r[k] = round16(mls32(shl32(c, norm), kBinomial[k - 1]));
    }
    return norm;
}

// ---- 2.4 Levinson-Durbin recursion with the sine detector ------------------

void levinson(const Zin16s* r, Zin16s* sine, Zin16s* energy, Zin16s* lpc) {
    Zin16s a[kOrder] = {};
    i16 err = r[0];
    i16 pk2 = 0;
    bool stopped = false;
    for (int i = 0; i < kOrder; ++i) {
        i32 acc = deposit_high(r[i + 1]) >> 2;
        for (int j = 0; j < i; ++j) acc = msu32(acc, a[j], r[i - j]);
        acc = shl32(acc, 2);
        const i32 mag = fx::abs32(acc);
        if (mag >= deposit_high(err)) {
            stopped = true;
            break;
        }
        i16 pk = divl(mag, err);
        if (acc >= 0) pk = fx::neg16(pk);
        if (i == 1) pk2 = pk;
        err = round16(add32(mls32(acc, pk), deposit_high(err)));
        Zin16s old[kOrder];
        std::memcpy(old, a, sizeof(old));
        a[i] = static_cast<i16>((2 - i32{pk}) >> 2);
        for (int j = 0; j < i; ++j) a[j] = round16(mac32(deposit_high(old[j]), pk, old[i - 1 - j]));
    }
    const bool bit = stopped || pk2 > 31130;
    *sine = fx::wrap16((i32{*sine} << 1) | (bit ? 1 : 0));
    *energy = err;
    std::memcpy(lpc, a, sizeof(a));
}

// ---- 2.5 LPC to LSP ---------------------------------------------------------

// One polynomial (p = 0 sum, 1 difference) at grid point i: an L_mac sum
// over the cosine table.
inline i32 eval_poly(const i16* f, int p, int i) {
    i32 acc = 0;
    for (int j = 0; j <= kOrder / 2; ++j) acc = mac32(acc, f[kOrder - 2 * j + p], kCosine[(i * j) % 512]);
    return acc;
}

void lpc_to_lsp(const Zin16s* lpc, const Zin16s* prev, Zin16s* lsf) {
    i16 a[kOrder];
    for (int i = 0; i < kOrder; ++i) a[i] = fx::mul16_round(lpc[i], kBandExpand[i]);
    // Sum (even slots) and difference (odd slots) polynomials from 1 in Q25.
    i32 f[kOrder + 2];
    f[0] = f[1] = 0x02000000;
    for (int i = 0; i < kOrder / 2; ++i) {
        const i32 hi = deposit_high(a[i]) >> 4, lo = deposit_high(a[kOrder - 1 - i]) >> 4;
        f[2 * i + 2] = fx::sub32(fx::sub32(fx::neg32(f[2 * i]), hi), lo);
        f[2 * i + 3] = fx::add32(fx::sub32(f[2 * i + 1], hi), lo);
    }
    f[kOrder] >>= 1;
    f[kOrder + 1] >>= 1;
    i32 max = 0;
    for (i32 v : f) max = fx::abs32(v) > max ? fx::abs32(v) : max;
    const i16 exp = norm32(max);
    i16 g[kOrder + 2];
    for (int i = 0; i < kOrder + 2; ++i) g[i] = round16(shl32(f[i], exp));

    Zin16s out[kOrder];
    int count = 0, p = 0;
    i32 prev_val = eval_poly(g, 0, 0);
    for (int i = 1; i < 256; ++i) {
        i32 cur = eval_poly(g, p, i);
        if ((cur ^ prev_val) < 0) {
            const i32 ac = fx::abs32(cur), ap = fx::abs32(prev_val);
            i32 sum = add32(ac, ap);
            const i16 sh = norm32(sum);
            sum = shl32(sum, sh);
            const i32 num = shl32(ap, sh) >> 8;
            out[count++] = static_cast<Zin16s>(((i - 1) << 7) + divl(num, fx::high16(sum)));
            if (count == kOrder) break;
            p ^= 1;
            cur = eval_poly(g, p, i);
        }
        prev_val = cur;
    }
    std::memcpy(lsf, count == kOrder ? out : prev, kOrder * sizeof(Zin16s));
}

// ---- 2.6 LSP quantisation ---------------------------------------------------

struct Band {
    const i16* rows;
    int start, width;
};
inline constexpr Band kBands[3] = {{kBand0, 0, 3}, {kBand1, 3, 3}, {kBand2, 6, 4}};

i32 lsp_quant(const Zin16s* lsf, const Zin16s* prev) {
    i16 w[kOrder];
    for (int i = 0; i < kOrder; ++i) {
        int d;
        if (i == 0)
            d = lsf[1] - lsf[0];
        else if (i == kOrder - 1)
            d = lsf[i] - lsf[i - 1];
        else {
            const int d0 = lsf[i] - lsf[i - 1], d1 = lsf[i + 1] - lsf[i];
            d = d0 < d1 ? d0 : d1;
        }
        w[i] = d > 32 ? static_cast<i16>(0x100000 / d) : fx::kMax16;
    }
    i16 wmax = 0;
    for (i16 v : w) wmax = v > wmax ? v : wmax;
    const i16 sh = norm16(wmax);
    for (i16& v : w) v = static_cast<i16>(v << sh);

    i16 t[kOrder];
    for (int i = 0; i < kOrder; ++i) {
        const i16 pred = fx::wrap16(((i32{prev[i]} - kLspDc[i]) * 12288 + 16384) >> 15);
        t[i] = fx::wrap16(i32{lsf[i]} - kLspDc[i] - pred);
    }
    i32 index = 0;
    for (const Band& b : kBands) {
        i32 best = -1;
        int row = 0;
        for (int r = 0; r < 256; ++r) {
            const i16* c = b.rows + r * b.width;
            i16 m[4];
            for (int j = 0; j < b.width; ++j) m[j] = fx::mul16_round(w[b.start + j], c[j]);
            i32 acc = 0;
            for (int j = 0; j < b.width; ++j) acc = mac32(acc, t[b.start + j], m[j]);
            acc = shl32(acc, 1);
            for (int j = 0; j < b.width; ++j) acc = msu32(acc, c[j], m[j]);
            if (acc > best) {
                best = acc;
                row = r;
            }
        }
        index = (index << 8) | row;
    }
    return index;
}

// ---- 3.2 LSP decoding -------------------------------------------------------

ZinStatus lsp_decode(const Zin16s* bands, const Zin16s* prev, bool erased, Zin16s* lsf) {
    int rows[3] = {0, 0, 0};
    if (!erased)
        for (int b = 0; b < 3; ++b) rows[b] = bands[b];
    const i16 factor = erased ? 23552 : 12288;
    const i16 gap = erased ? 0x200 : 0x100;
    i16 v[kOrder];
    for (const Band& b : kBands)
        for (int j = 0; j < b.width; ++j) v[b.start + j] = b.rows[rows[&b - kBands] * b.width + j];
    for (int i = 0; i < kOrder; ++i) {
        const i16 pred = fx::mul16_round(sub16(prev[i], kLspDc[i]), factor);
        v[i] = add16(add16(v[i], kLspDc[i]), pred);
    }
    bool stable = false;
    for (int pass = 0; pass < kOrder && !stable; ++pass) {
        if (v[0] < kLspMin) v[0] = kLspMin;
        if (v[kOrder - 1] > kLspMax) v[kOrder - 1] = kLspMax;
        for (int j = 0; j < kOrder - 1; ++j) {
            i16 d = sub16(add16(v[j], gap), v[j + 1]);
            if (d > 0) {
                d = static_cast<i16>(d >> 1);
                v[j] = sub16(v[j], d);
                v[j + 1] = add16(v[j + 1], d);
            }
        }
        stable = true;
        for (int j = 0; j < kOrder - 1; ++j)
            if (sub16(sub16(add16(v[j], gap), v[j + 1]), 4) > 0) stable = false;
    }
    std::memcpy(lsf, v, sizeof(v));
    return stable ? zinStsNoErr : zinStsLsfLowWarn;
}

// ---- 2.7 LSP to LPC ---------------------------------------------------------

void lsp_to_lpc(const Zin16s* lsf, Zin16s* lpc) {
    // Negated cosines in Q15, 7-bit linear interpolation in the table.
    i32 c[kOrder];
    for (int j = 0; j < kOrder; ++j) {
        const int idx = (lsf[j] >> 7) & 0x1FF, frac = lsf[j] & 0x7F;
        const i32 base = i32{kCosine[idx]} << 16;
        const i32 step = (i32{idx < 511 ? kCosine[idx + 1] : kCosine[0]} - kCosine[idx]) * (((frac << 8) + 0x80) << 1);
        c[j] = -(add32(0x8000, shl32(fx::wrap_add32(base, step), 1)) >> 16);
    }
    // Product polynomials of the even and odd LSPs, scaled by 1/2 a stage,
    // in Q28 at the start and Q25 at the end.
    i32 f1[kOrder / 2 + 1], f2[kOrder / 2 + 1];
    f1[0] = f2[0] = 1 << 28;
    f1[1] = (c[0] + c[2]) * (1 << 14);
    f2[1] = (c[1] + c[3]) * (1 << 14);
    f1[2] = c[0] * c[2] + (2 << 28);
    f2[2] = c[1] * c[3] + (2 << 28);
    for (int i = 2; i < kOrder / 2; ++i) {
        const i32 e = c[2 * i], o = c[2 * i + 1];
        f1[i + 1] = fx::sat32(i64{f1[i - 1]} + ((i64{f1[i]} * e) >> 15));
        f2[i + 1] = fx::sat32(i64{f2[i - 1]} + ((i64{f2[i]} * o) >> 15));
        for (int j = i; j >= 2; --j) {
            f1[j] = fx::wrap32(((i64{f1[j - 1]} * e) >> 15) + (f1[j] >> 1) + (f1[j - 2] >> 1));
            f2[j] = fx::wrap32(((i64{f2[j - 1]} * o) >> 15) + (f2[j] >> 1) + (f2[j - 2] >> 1));
        }
        f1[0] >>= 1;
        f2[0] >>= 1;
        f1[1] = ((e * 65536 >> i) + f1[1]) >> 1;
        f2[1] = ((o * 65536 >> i) + f2[1]) >> 1;
    }
    for (int i = 0; i < kOrder / 2; ++i) {
        const i64 s = i64{f1[i + 1]} + f1[i], d = i64{f2[i + 1]} - f2[i];
        lpc[i] = static_cast<Zin16s>(fx::sat32((s + d) * 8 + 0x8000) >> 16);
        lpc[kOrder - 1 - i] = static_cast<Zin16s>(fx::sat32((s - d) * 8 + 0x8000) >> 16);
    }
}

}  // namespace

ZinStatus body::zinsHighPassFilter_G723_16s(const Zin16s* pSrc, Zin16s* pDst, Zin32s* pMem) {
    if (!pSrc || !pDst || !pMem) return zinStsNullPtrErr;
    high_pass(pSrc, pDst, pMem);
    return zinStsNoErr;
}

ZinStatus body::zinsAutoCorr_NormE_G723_16s(const Zin16s* pSrc, Zin16s* pDst, Zin32s* pNorm) {
    if (!pSrc || !pDst || !pNorm) return zinStsNullPtrErr;
    *pNorm = autocorr_norm(pSrc, pDst);
    return zinStsNoErr;
}

ZinStatus body::zinsAutoCorr_G723_16s(const Zin16s* pSrc, Zin16s* pExp, Zin16s* pDst) {
    if (!pSrc || !pExp || !pDst) return zinStsNullPtrErr;
    alignas(32) Zin16s v[kLpcFrame];
    int scale = 3;
    body::zinsAutoScale_16s(pSrc, v, kLpcFrame, &scale);
    body::zinsMul_NR_16s_ISfs(kHamming, v, kLpcFrame, 15);
    const i32 norm = autocorr_norm(v, pDst);
    *pExp = pDst[0] != 0 ? static_cast<Zin16s>(norm + 2 * scale) : Zin16s{40};
    return zinStsNoErr;
}

ZinStatus body::zinsLevinsonDurbin_G723_16s(const Zin16s* pSrcAutoCorr, Zin16s* pSine, Zin16s* pEnergy,
                                            Zin16s* pDstLpc) {
    if (!pSrcAutoCorr || !pDstLpc || !pEnergy || !pSine) return zinStsNullPtrErr;
    levinson(pSrcAutoCorr, pSine, pEnergy, pDstLpc);
    return zinStsNoErr;
}

ZinStatus body::zinsLPCToLSF_G723_16s(const Zin16s* pSrcLpc, const Zin16s* pSrcPrevLsf, Zin16s* pDstLsf) {
    if (!pSrcLpc || !pSrcPrevLsf || !pDstLsf) return zinStsNullPtrErr;
    lpc_to_lsp(pSrcLpc, pSrcPrevLsf, pDstLsf);
    return zinStsNoErr;
}

ZinStatus body::zinsLSFToLPC_G723_16s(const Zin16s* pSrcLsf, Zin16s* pDstLpc) {
    if (!pSrcLsf || !pDstLpc) return zinStsNullPtrErr;
    lsp_to_lpc(pSrcLsf, pDstLpc);
    return zinStsNoErr;
}

ZinStatus body::zinsLSFToLPC_G723_16s_I(Zin16s* pSrcDst) {
    if (!pSrcDst) return zinStsNullPtrErr;
    lsp_to_lpc(pSrcDst, pSrcDst);
    return zinStsNoErr;
}

ZinStatus body::zinsLSFQuant_G723_16s32s(const Zin16s* pSrcLsf, const Zin16s* pSrcPrevLsf, Zin32s* pIndex) {
    if (!pSrcLsf || !pSrcPrevLsf || !pIndex) return zinStsNullPtrErr;
    *pIndex = lsp_quant(pSrcLsf, pSrcPrevLsf);
    return zinStsNoErr;
}

ZinStatus body::zinsLSFDecode_G723_16s(const Zin16s* pSrcBands, const Zin16s* pSrcPrevLsf, Zin32s erased,
                                       Zin16s* pDstLsf) {
    if (!pSrcBands || !pSrcPrevLsf || !pDstLsf) return zinStsNullPtrErr;
    return lsp_decode(pSrcBands, pSrcPrevLsf, erased != 0, pDstLsf);
}

}  // namespace zin
