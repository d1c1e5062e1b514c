// G.729 front end in single precision: the float forms of the Levinson-Durbin
// recursion, LP <-> LSP, interpolation, synthesis filter, dot product and the
// LSF quantiser and decoder (ITU-T G.729 clauses 3.2.2-3.2.6, 4.1.1; the
// floating-point description of G.729 Annex C). Not bit-exact to the 16s forms.
#include <cmath>
#include <cstring>

#include "../frame/registry.h"
#include "g729_tables.h"

namespace zin {
namespace g729 {
namespace {

// ---- LP to LSP ---------------------------------------------------------------

struct Poly {
    float c[6];   // plain polynomial in x, degree 5
};

// C(x) = T5 + f1 T4 + f2 T3 + f3 T2 + f4 T1 + f5/2 expanded in powers of x.
Poly expand_chebyshev(const double* f) {
    Poly p;
    p.c[0] = static_cast<float>(f[5] / 2 - f[3] + f[1]);
    p.c[1] = static_cast<float>(5 - 3 * f[2] + f[4]);
    p.c[2] = static_cast<float>(2 * f[3] - 8 * f[1]);
    p.c[3] = static_cast<float>(4 * f[2] - 20);
    p.c[4] = static_cast<float>(8 * f[1]);
    p.c[5] = 16.0f;
    return p;
}

inline float horner(const Poly& p, float x) {
    return ((((p.c[5] * x + p.c[4]) * x + p.c[3]) * x + p.c[2]) * x + p.c[1]) * x + p.c[0];
}
// A grid of N points: the Q15 cosines and their powers.
struct Grid {
    const Zin16s* x;
    const float (*pw)[5];
    int n;
};

inline float at_grid(const Poly& p, const Grid& g, int i) {
    const float* q = g.pw[i];
    return p.c[0] + p.c[1] * q[0] + p.c[2] * q[1] + p.c[3] * q[2] + p.c[4] * q[3] + p.c[5] * q[4];
}

// One pass over the grid with the given step; returns the roots found.
int root_pass(const Poly* poly, const Grid& pg, int step, int bisections, float* out) {
    const Zin16s* grid = pg.x;
    const int N = pg.n;
    int nf = 0, ip = 0, j = 0;
    float xlow = grid[0] / 32768.0f;
    float ylow = at_grid(poly[0], pg, 0);
    while (nf < 10 && j < N - 1) {
        int jn = j + step < N - 1 ? j + step : N - 1;
        float xhigh = xlow, yhigh = ylow;
        float xn = grid[jn] / 32768.0f;
        float yn = at_grid(poly[ip], pg, jn);
        if (yn * yhigh > 0.0f) {
            xlow = xn;
            ylow = yn;
            j = jn;
            continue;
        }
        if (jn - j == 2) {   // the middle point places the change in one half
            const float ym = at_grid(poly[ip], pg, j + 1);
            if (ym * yhigh <= 0.0f) {
                xn = grid[j + 1] / 32768.0f;
                yn = ym;
                jn = j + 1;
            } else {
                xhigh = grid[j + 1] / 32768.0f;
                yhigh = ym;
            }
        }
        xlow = xn;
        ylow = yn;
        j = jn;
        for (int b = 0; b < bisections; ++b) {
            const float xm = 0.5f * (xlow + xhigh);
            const float ym = horner(poly[ip], xm);
            if (ylow * ym <= 0.0f) {
                yhigh = ym;
                xhigh = xm;
            } else {
                ylow = ym;
                xlow = xm;
            }
        }
        const float dy = yhigh - ylow;
        const float xint = dy == 0.0f ? xlow : xlow - ylow * (xhigh - xlow) / dy;
        out[nf++] = xint;
        ip ^= 1;
        xlow = xint;
        ylow = horner(poly[ip], xlow);
    }
    return nf;
}

void lpc_to_lsp_f(const float* a, const float* prev, float* lsp, const Grid& pg, int bisections) {
    double f1[6], f2[6];
    f1[0] = f2[0] = 1.0;
    for (int i = 0; i < 5; ++i) {
        f1[i + 1] = static_cast<double>(a[i + 1]) + a[10 - i] - f1[i];
        f2[i + 1] = static_cast<double>(a[i + 1]) - a[10 - i] + f2[i];
    }
    const Poly poly[2] = {expand_chebyshev(f1), expand_chebyshev(f2)};
    float out[10];
    if (root_pass(poly, pg, 2, bisections, out) == 10 || root_pass(poly, pg, 1, bisections, out) == 10)
        std::memcpy(lsp, out, sizeof out);
    else
        std::memmove(lsp, prev, 10 * sizeof(float));
}

// ---- LSF quantiser -------------------------------------------------------------

struct Choice {
    int mode, cand, low, high;
};

constexpr float kPi = 3.14159265358979f;

void weights_f(const float* lsf, float* w) {
    float d[10];
    d[0] = lsf[1] - 0.04f * kPi - 1.0f;
    for (int i = 1; i < 9; ++i) d[i] = lsf[i + 1] - lsf[i - 1] - 1.0f;
    d[9] = 0.92f * kPi - 1.0f - lsf[8];
    for (int i = 0; i < 10; ++i) w[i] = d[i] > 0.0f ? 1.0f : 10.0f * d[i] * d[i] + 1.0f;
    w[4] *= 1.2f;
    w[5] *= 1.2f;
}

void target_f(const float* lsf, const float* prev, int m, float* t) {
    for (int j = 0; j < 10; ++j) {
        float v = lsf[j];
        for (int k = 0; k < 4; ++k) v -= kFloatCb.fg[m][k][j] * prev[10 * k + j];
        t[j] = v * kFloatCb.fgSumInv[m][j];
    }
}

void expand_f(float* b, float gap) {
    for (int j = 1; j < 10; ++j) {
        const float s = b[j - 1] - b[j] + gap;
        if (s > 0.0f) {
            b[j - 1] -= 0.5f * s;
            b[j] += 0.5f * s;
        }
    }
}

void sum_rows_f(int cand, int low, int high, float* b) {
    for (int j = 0; j < 5; ++j) b[j] = kFloatCb.cb1[cand][j] + kFloatCb.cb2[low][j];
    for (int j = 5; j < 10; ++j) b[j] = kFloatCb.cb1[cand][j] + kFloatCb.cb2[high][j];
    expand_f(b, 0.0012f);
    expand_f(b, 0.0006f);
}

Choice search_f(const float* lsf, const float* prev) {
    float w[10];
    weights_f(lsf, w);
    Choice c[2];
    float dist[2];
    for (int m = 0; m < 2; ++m) {
        float t[10];
        target_f(lsf, prev, m, t);
        int cand = 0;
        float best = 1e38f;
        for (int i = 0; i < 128; ++i) {
            float e = 0.0f;
            for (int j = 0; j < 10; ++j) {
                const float d = t[j] - kFloatCb.cb1[i][j];
                e += d * d;
            }
            if (e < best) {
                best = e;
                cand = i;
            }
        }
        float r[10];
        for (int j = 0; j < 10; ++j) r[j] = t[j] - kFloatCb.cb1[cand][j];
        int low = 0, high = 0;
        float bl = 1e38f, bh = 1e38f;
        for (int k = 0; k < 32; ++k) {
            float el = 0.0f, eh = 0.0f;
            for (int j = 0; j < 5; ++j) {
                const float d = r[j] - kFloatCb.cb2[k][j];
                el += w[j] * d * d;
            }
            for (int j = 5; j < 10; ++j) {
                const float d = r[j] - kFloatCb.cb2[k][j];
                eh += w[j] * d * d;
            }
            if (el < bl) {
                bl = el;
                low = k;
            }
            if (eh < bh) {
                bh = eh;
                high = k;
            }
        }
        float b[10];
        sum_rows_f(cand, low, high, b);
        float dd = 0.0f;
        for (int j = 0; j < 10; ++j) {
            const float d = (b[j] - t[j]) * kFloatCb.fgSum[m][j];
            dd += w[j] * d * d;
        }
        dist[m] = dd;
        c[m] = {m, cand, low, high};
    }
    return dist[0] > dist[1] ? c[1] : c[0];
}

void compose_f(int mode, const float* buf, const float* prev, float* lsf) {
    for (int j = 0; j < 10; ++j) {
        float v = buf[j] * kFloatCb.fgSum[mode][j];
        for (int k = 0; k < 4; ++k) v += kFloatCb.fg[mode][k][j] * prev[10 * k + j];
        lsf[j] = v;
    }
}

void stabilise_f(float* b) {
    for (int j = 0; j < 9; ++j)
        if (b[j + 1] < b[j]) {
            const float t = b[j + 1];
            b[j + 1] = b[j];
            b[j] = t;
        }
    b[0] = b[0] > 0.005f ? b[0] : 0.005f;
    for (int j = 0; j < 9; ++j)
        if (b[j + 1] - b[j] < 0.0392f) b[j + 1] = b[j] + 0.0392f;
    if (b[9] > 3.135f) b[9] = 3.135f;
}

void shift_in_f(float* prev, const float* row) {
    std::memmove(prev + 10, prev, 30 * sizeof(float));
    std::memcpy(prev, row, 10 * sizeof(float));
}

}  // namespace
}  // namespace g729

ZinStatus body::zinsLevinsonDurbin_G729_32f(const Zin32f* pSrcAutoCorr, int order, Zin32f* pDstLpc, Zin32f* pDstRc,
                                            Zin32f* pResultResidualEnergy) {
    if (!pSrcAutoCorr || !pDstLpc || !pDstRc || !pResultResidualEnergy) return zinStsNullPtrErr;
    if (order < 1) return zinStsSizeErr;
    const float* r = pSrcAutoCorr;
    float* a = pDstLpc;
    float* rc = pDstRc;
    rc[0] = -r[1] / r[0];
    a[0] = 1.0f;
    a[1] = rc[0];
    float err = r[0] + r[1] * rc[0];
    for (int k = 2; k <= order; ++k) {
        float s = 0.0f;
        for (int j = 0; j < k; ++j) s += a[j] * r[k - j];
        rc[k - 1] = std::fabs(err) < 1.1754944e-38f ? 1.0f : -s / err;
        if (std::fabs(rc[k - 1]) > 0.999451f) {
            *pResultResidualEnergy = 0.001f;
            return zinStsNoErr;
        }
        const float kk = rc[k - 1];
        for (int j = 1; j <= k / 2; ++j) {
            const float lo = a[j], hi = a[k - j];
            a[j] = lo + kk * hi;
            if (j != k - j) a[k - j] = hi + kk * lo;
        }
        a[k] = kk;
        err += s * kk;
        if (!(err > 0.0f)) err = 0.001f;
    }
    *pResultResidualEnergy = err;
    return zinStsNoErr;
}

ZinStatus body::zinsLPCToLSP_G729_32f(const Zin32f* pSrcLPC, const Zin32f* pSrcPrevLsp, Zin32f* pDstLSP) {
    if (!pSrcLPC || !pSrcPrevLsp || !pDstLSP) return zinStsNullPtrErr;
    g729::lpc_to_lsp_f(pSrcLPC, pSrcPrevLsp, pDstLSP, {g729::kGrid61, g729::kPowerGrid61.p, 61}, 4);
    return zinStsNoErr;
}

ZinStatus body::zinsLPCToLSP_G729A_32f(const Zin32f* pSrcLPC, const Zin32f* pSrcPrevLsp, Zin32f* pDstLSP) {
    if (!pSrcLPC || !pSrcPrevLsp || !pDstLSP) return zinStsNullPtrErr;
    g729::lpc_to_lsp_f(pSrcLPC, pSrcPrevLsp, pDstLSP, {g729::kGrid51, g729::kPowerGrid51.p, 51}, 2);
    return zinStsNoErr;
}

ZinStatus body::zinsLSPToLPC_G729_32f(const Zin32f* pSrcLSP, Zin32f* pDstLPC) {
    if (!pSrcLSP || !pDstLPC) return zinStsNullPtrErr;
    float f[2][6];
    for (int p = 0; p < 2; ++p) {
        const float* l = pSrcLSP + p;
        float* g = f[p];
        g[0] = 1.0f;
        g[1] = -2.0f * l[0];
        for (int i = 2; i <= 5; ++i) {
            const float b = -2.0f * l[2 * i - 2];
            g[i] = b * g[i - 1] + 2.0f * g[i - 2];
            for (int j = i - 1; j > 1; --j) g[j] += b * g[j - 1] + g[j - 2];
            g[1] += b;
        }
    }
    for (int i = 5; i > 0; --i) {
        f[0][i] += f[0][i - 1];
        f[1][i] -= f[1][i - 1];
    }
    pDstLPC[0] = 1.0f;
    for (int i = 1; i <= 5; ++i) {
        pDstLPC[i] = 0.5f * (f[0][i] + f[1][i]);
        pDstLPC[11 - i] = 0.5f * (f[0][i] - f[1][i]);
    }
    return zinStsNoErr;
}

ZinStatus body::zinsInterpolateC_G729_32f(const Zin32f* pSrc1, Zin32f val1, const Zin32f* pSrc2, Zin32f val2,
                                          Zin32f* pDst, int len) {
    if (!pSrc1 || !pSrc2 || !pDst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    for (int i = 0; i < len; ++i) pDst[i] = val1 * pSrc1[i] + val2 * pSrc2[i];
    return zinStsNoErr;
}

ZinStatus body::zinsSynthesisFilter_G729_32f(const Zin32f* pLPC, int order, const Zin32f* pSrc, Zin32f* pDst,
                                             int len, const Zin32f* pMem) {
    if (!pLPC || !pSrc || !pDst || !pMem) return zinStsNullPtrErr;
    if (len < 1 || len > 640 || order < 1 || order > 30) return zinStsSizeErr;
    float y[30 + 640];
    std::memcpy(y, pMem, order * sizeof(float));
    for (int n = 0; n < len; ++n) {
        float s = pSrc[n];
        for (int i = 1; i <= order; ++i) s -= pLPC[i] * y[order + n - i];
        y[order + n] = s;
    }
    std::memcpy(pDst, y + order, len * sizeof(float));
    return zinStsNoErr;
}

ZinStatus body::zinsDotProd_G729A_32f(const Zin32f* pSrc1, const Zin32f* pSrc2, int len, Zin32f* pDp) {
    if (!pSrc1 || !pSrc2 || !pDp) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    float lane[8] = {};
    int i = 0;
    for (; i + 8 <= len; i += 8)
        for (int k = 0; k < 8; ++k) lane[k] += pSrc1[i + k] * pSrc2[i + k];
    float s = ((lane[0] + lane[4]) + (lane[1] + lane[5])) + ((lane[2] + lane[6]) + (lane[3] + lane[7]));
    for (; i < len; ++i) s += pSrc1[i] * pSrc2[i];
    *pDp = s;
    return zinStsNoErr;
}

ZinStatus body::zinsLSPQuant_G729E_32f(const Zin32f* pSrcLsp, const Zin32f* pSrcPrevFreq, Zin32f* pDstFreq,
                                       Zin32f* pDstQLsp, Zin32s* pDstCode) {
    if (!pSrcLsp || !pSrcPrevFreq || !pDstFreq || !pDstQLsp || !pDstCode) return zinStsNullPtrErr;
    float lsf[10], buf[10], q[10];
    for (int j = 0; j < 10; ++j) lsf[j] = std::acos(pSrcLsp[j]);
    const g729::Choice c = g729::search_f(lsf, pSrcPrevFreq);
    g729::sum_rows_f(c.cand, c.low, c.high, buf);
    g729::compose_f(c.mode, buf, pSrcPrevFreq, q);
    g729::stabilise_f(q);
    std::memcpy(pDstFreq, buf, sizeof buf);
    for (int j = 0; j < 10; ++j) pDstQLsp[j] = std::cos(q[j]);
    pDstCode[0] = c.mode << 7 | c.cand;
    pDstCode[1] = c.low << 5 | c.high;
    return zinStsNoErr;
}

ZinStatus body::zinsLSFDecode_G729_32f(const Zin32s* pSrcIndex, Zin32f* pSrcDstPrevFreq, Zin32f* pDstQLsf) {
    if (!pSrcIndex || !pSrcDstPrevFreq || !pDstQLsf) return zinStsNullPtrErr;
    const int mode = pSrcIndex[0] & 1;
    float buf[10] = {};
    // Rows out of their tables leave the vector as it is (zero here).
    if (pSrcIndex[1] >= 0 && pSrcIndex[1] < 128 && pSrcIndex[2] >= 0 && pSrcIndex[2] < 32 && pSrcIndex[3] >= 0 &&
        pSrcIndex[3] < 32)
        g729::sum_rows_f(pSrcIndex[1], pSrcIndex[2], pSrcIndex[3], buf);
    g729::compose_f(mode, buf, pSrcDstPrevFreq, pDstQLsf);
    g729::shift_in_f(pSrcDstPrevFreq, buf);
    g729::stabilise_f(pDstQLsf);
    return zinStsNoErr;
}

ZinStatus body::zinsLSFDecodeErased_G729_32f(Zin32s maIndex, Zin32f* pSrcDstPrevFreq, const Zin32f* pSrcPrevLSF) {
    if (!pSrcDstPrevFreq || !pSrcPrevLSF) return zinStsNullPtrErr;
    if (maIndex < 0 || maIndex > 1) return zinStsOutOfRangeErr;
    float t[10];
    g729::target_f(pSrcPrevLSF, pSrcDstPrevFreq, maIndex, t);
    g729::shift_in_f(pSrcDstPrevFreq, t);
    return zinStsNoErr;
}

}  // namespace zin
