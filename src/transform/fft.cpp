// The real FFT in single precision: sizes, Init, and the forward and inverse
// transforms in CCS and Perm order.
//
// A real transform of N points runs as a complex transform of H = N/2 points
// on z[n] = x[2n] + i x[2n+1], followed by the real recombination
//   X[k] = (Z[k] + conj Z[H-k]) / 2  -  i/2 W^k (Z[k] - conj Z[H-k]),  W = exp(-2 pi i / N);
// the inverse undoes the recombination, then runs the inverse complex
// transform. Structure by order:
//   0 to 4   one straight-line scalar kernel per order (and a twin that scales in the same pass);
//   5 to 7   the vector complex transform on a static twiddle table and a stack scratch;
//   8 to 19  the same on the descriptor's twiddle table and the caller's work buffer;
//   20 up    the staged form: radix-2 splitting passes until the blocks fit the largest
//            cache, one complex transform per block, then a reordering pass.
// The complex transform is a self-sorting (Stockham) decimation in frequency:
// radix-4 passes, and a radix-2 pass last when log2 H is odd. Each pass
// reads one buffer and writes the other (the last, twiddle-free pass may run
// in place), and the output comes out in natural order: no bit reversal.
// All sums run in a fixed order: the results do not depend on alignment, on
// the buffer given or on the thread.
#include "transform/fft.h"

#include <immintrin.h>

#include <climits>
#include <cmath>
#include <cstring>

#include "frame/platform.h"

namespace zin {
namespace {

using i64 = std::int64_t;

constexpr i64 roundup64(i64 n) { return (n + 63) & ~i64{63}; }

template <typename T>
T* align64(void* p) {
    auto a = reinterpret_cast<std::uintptr_t>(p);
    return reinterpret_cast<T*>(a + ((0 - a) & 63u));
}

bool flag_ok(int flag) { return flag == 1 || flag == 2 || flag == 4 || flag == 8; }

// ---- sine tables ------------------------------------------------------------
// A quarter-wave table s[j] = sin(2 pi j / T), j = 0..T/4, gives every
// twiddle of a transform whose length divides T.

constexpr double kPi = 3.14159265358979323846;

// Series for |x| <= pi/4, exact to double rounding.
constexpr double series_sin(double x) {
    double term = x, sum = x;
    for (int k = 1; k < 14; ++k) {
        term *= -x * x / ((2.0 * k) * (2.0 * k + 1.0));
        sum += term;
    }
    return sum;
}
constexpr double series_cos(double x) {
    double term = 1.0, sum = 1.0;
    for (int k = 1; k < 14; ++k) {
        term *= -x * x / ((2.0 * k - 1.0) * (2.0 * k));
        sum += term;
    }
    return sum;
}

// The shared static table of order 10 (T = 1024), serving orders up to 10.
struct StaticSine {
    float v[257];
};
constexpr StaticSine make_static_sine() {
    StaticSine t{};
    for (int j = 0; j <= 256; ++j)
        t.v[j] = static_cast<float>(j <= 128 ? series_sin(2.0 * kPi * j / 1024.0)
                                             : series_cos(2.0 * kPi * (256 - j) / 1024.0));
    return t;
}
alignas(64) constexpr StaticSine kSine10 = make_static_sine();

struct SineTable {
    const float* s;
    i64 quarter;  // T / 4
};

// cos and sin of 2 pi j / T for 0 <= j < T, by the symmetries of the quarter wave.
constexpr void sincos_at(const float* s, i64 q, i64 j, float& c, float& sn) {
    if (j <= q) {
        sn = s[j];
        c = s[q - j];
    } else if (j <= 2 * q) {
        sn = s[2 * q - j];
        c = -s[j - q];
    } else if (j <= 3 * q) {
        sn = -s[j - 2 * q];
        c = -s[3 * q - j];
    } else {
        sn = -s[4 * q - j];
        c = s[j - 3 * q];
    }
}

// Sine table of order `order` in double precision, stored as floats; the
// rotation recurrence starts afresh from cos() at each block of 64 values.
void make_sine(float* s, i64 quarter) {
    const double step = 2.0 * kPi / static_cast<double>(4 * quarter);
    const double cd = std::cos(step), sd = std::cos(kPi / 2 - step);
    for (i64 j0 = 0; j0 <= quarter; j0 += 64) {
        double c = std::cos(step * static_cast<double>(j0));
        double sn = std::cos(kPi / 2 - step * static_cast<double>(j0));
        for (i64 j = j0; j < j0 + 64 && j <= quarter; ++j) {
            s[j] = static_cast<float>(sn);
            const double c2 = c * cd - sn * sd;
            sn = sn * cd + c * sd;
            c = c2;
        }
    }
    s[0] = 0.0f;
    s[quarter] = 1.0f;
}

// ---- twiddle tables of the complex transform --------------------------------
// For each radix-4 pass of length n (n = H, H/4, ... while n >= 8) three runs
// of n/4 complex values: W_n^p, W_n^2p, W_n^3p for p < n/4, W_n = exp(-2 pi i / n).
// The last pass (radix-4 of length 4 or radix-2 of length 2) needs none.
constexpr i64 stockham_floats(i64 h) {
    i64 f = 0;
    for (i64 n = h; n >= 8; n /= 4) f += 6 * (n / 4);
    return f;
}

constexpr void build_stockham(float* out, i64 h, const float* s, i64 quarter) {
    const i64 t = 4 * quarter;
    for (i64 n = h; n >= 8; n /= 4) {
        const i64 n1 = n / 4, stride = t / n;
        for (i64 k = 1; k <= 3; ++k)
            for (i64 p = 0; p < n1; ++p) {
                float c = 0, sn = 0;
                sincos_at(s, quarter, k * p * stride, c, sn);
                *out++ = c;
                *out++ = -sn;
            }
    }
}

// Static tables for the half-length transforms of orders 5, 6 and 7.
struct StaticTwiddles {
    alignas(64) float h16[stockham_floats(16)];
    alignas(64) float h32[stockham_floats(32)];
    alignas(64) float h64[stockham_floats(64)];
};
constexpr StaticTwiddles make_static_twiddles() {
    StaticTwiddles t{};
    build_stockham(t.h16, 16, kSine10.v, 256);
    build_stockham(t.h32, 32, kSine10.v, 256);
    build_stockham(t.h64, 64, kSine10.v, 256);
    return t;
}
alignas(64) constexpr StaticTwiddles kTwiddles = make_static_twiddles();

const float* static_twiddles(int order) {
    return order == 5 ? kTwiddles.h16 : order == 6 ? kTwiddles.h32 : kTwiddles.h64;
}

// Recombination tables for k = 1..N/4: forward -i/2 W^k = (-sin/2, -cos/2),
// inverse i W^-k = (-sin, cos), with the angle 2 pi k / N.
void build_recombination(float* fwd, float* inv, i64 n, const SineTable& t) {
    const i64 stride = 4 * t.quarter / n;
    for (i64 k = 1; k <= n / 4; ++k) {
        float c = 0, sn = 0;
        sincos_at(t.s, t.quarter, k * stride, c, sn);
        fwd[2 * (k - 1)] = -0.5f * sn;
        fwd[2 * (k - 1) + 1] = -0.5f * c;
        inv[2 * (k - 1)] = -sn;
        inv[2 * (k - 1) + 1] = c;
    }
}

// ---- vector helpers (4 complex values in one register) --------------------------
inline __m256 ld(const float* p) { return _mm256_loadu_ps(p); }
inline void st(float* p, __m256 v) { _mm256_storeu_ps(p, v); }

inline __m256 sign_im() { return _mm256_set_ps(-0.0f, 0.0f, -0.0f, 0.0f, -0.0f, 0.0f, -0.0f, 0.0f); }
inline __m256 sign_re() { return _mm256_set_ps(0.0f, -0.0f, 0.0f, -0.0f, 0.0f, -0.0f, 0.0f, -0.0f); }

inline __m256 conj(__m256 v) { return _mm256_xor_ps(v, sign_im()); }
// i * v
inline __m256 mul_i(__m256 v) { return _mm256_xor_ps(_mm256_permute_ps(v, 0xB1), sign_re()); }
// w * v, or conj(w) * v for the inverse direction.
template <bool Inv>
inline __m256 cmul(__m256 w, __m256 v) {
    const __m256 wr = _mm256_moveldup_ps(w);
    __m256 wi = _mm256_movehdup_ps(w);
    if constexpr (Inv) wi = _mm256_xor_ps(wi, _mm256_set1_ps(-0.0f));
    const __m256 vs = _mm256_permute_ps(v, 0xB1);
    return _mm256_addsub_ps(_mm256_mul_ps(wr, v), _mm256_mul_ps(wi, vs));
}
// The four complex values in reverse order.
inline __m256 reverse4(__m256 v) {
    const __m256 t = _mm256_permute2f128_ps(v, v, 0x01);
    return _mm256_castpd_ps(_mm256_permute_pd(_mm256_castps_pd(t), 5));
}
// One complex value in all four places.
inline __m256 bcast(const float* p) {
    double d;
    std::memcpy(&d, p, sizeof d);
    return _mm256_castpd_ps(_mm256_set1_pd(d));
}

// The radix-4 butterfly without twiddles; the inverse turns i into -i.
template <bool Inv>
inline void butterfly4(__m256 a, __m256 b, __m256 c, __m256 d, __m256& y0, __m256& y1, __m256& y2, __m256& y3) {
    const __m256 apc = _mm256_add_ps(a, c), amc = _mm256_sub_ps(a, c);
    const __m256 bpd = _mm256_add_ps(b, d), ib = mul_i(_mm256_sub_ps(b, d));
    y0 = _mm256_add_ps(apc, bpd);
    y2 = _mm256_sub_ps(apc, bpd);
    if constexpr (Inv) {
        y1 = _mm256_add_ps(amc, ib);
        y3 = _mm256_sub_ps(amc, ib);
    } else {
        y1 = _mm256_sub_ps(amc, ib);
        y3 = _mm256_add_ps(amc, ib);
    }
}

// ---- passes of the complex transform (lengths in complex values) --------------
// Pass of length n with stride s: y[q + s(4p + j)] from x[q + s(p + j n/4)].

// First pass, s = 1: four consecutive p at once, then a 4x4 transpose.
template <bool Inv>
void pass_first(const float* x, float* y, i64 n, const float* tw) {
    const i64 n1 = n / 4;
    for (i64 p = 0; p < n1; p += 4) {
        __m256 y0, y1, y2, y3;
        butterfly4<Inv>(ld(x + 2 * p), ld(x + 2 * (p + n1)), ld(x + 2 * (p + 2 * n1)), ld(x + 2 * (p + 3 * n1)), y0,
                        y1, y2, y3);
        y1 = cmul<Inv>(ld(tw + 2 * p), y1);
        y2 = cmul<Inv>(ld(tw + 2 * (n1 + p)), y2);
        y3 = cmul<Inv>(ld(tw + 2 * (2 * n1 + p)), y3);
        const __m256d t0 = _mm256_unpacklo_pd(_mm256_castps_pd(y0), _mm256_castps_pd(y1));
        const __m256d t1 = _mm256_unpackhi_pd(_mm256_castps_pd(y0), _mm256_castps_pd(y1));
        const __m256d t2 = _mm256_unpacklo_pd(_mm256_castps_pd(y2), _mm256_castps_pd(y3));
        const __m256d t3 = _mm256_unpackhi_pd(_mm256_castps_pd(y2), _mm256_castps_pd(y3));
        float* o = y + 8 * p;
        st(o, _mm256_castpd_ps(_mm256_permute2f128_pd(t0, t2, 0x20)));
        st(o + 8, _mm256_castpd_ps(_mm256_permute2f128_pd(t1, t3, 0x20)));
        st(o + 16, _mm256_castpd_ps(_mm256_permute2f128_pd(t0, t2, 0x31)));
        st(o + 24, _mm256_castpd_ps(_mm256_permute2f128_pd(t1, t3, 0x31)));
    }
}

// Middle pass, s >= 4: four consecutive q at once under one twiddle.
template <bool Inv>
void pass_mid(const float* x, float* y, i64 n, i64 s, const float* tw) {
    const i64 n1 = n / 4;
    for (i64 p = 0; p < n1; ++p) {
        const __m256 w1 = bcast(tw + 2 * p), w2 = bcast(tw + 2 * (n1 + p)), w3 = bcast(tw + 2 * (2 * n1 + p));
        const float* xa = x + 2 * s * p;
        const float* xb = x + 2 * s * (p + n1);
        const float* xc = x + 2 * s * (p + 2 * n1);
        const float* xd = x + 2 * s * (p + 3 * n1);
        float* o = y + 8 * s * p;
        for (i64 q = 0; q < 2 * s; q += 8) {
            __m256 y0, y1, y2, y3;
            butterfly4<Inv>(ld(xa + q), ld(xb + q), ld(xc + q), ld(xd + q), y0, y1, y2, y3);
            st(o + q, y0);
            st(o + 2 * s + q, cmul<Inv>(w1, y1));
            st(o + 4 * s + q, cmul<Inv>(w2, y2));
            st(o + 6 * s + q, cmul<Inv>(w3, y3));
        }
    }
}

// Last pass of length 4 (s = H/4) or 2 (s = H/2): no twiddles, and every
// output lands where its inputs were, so that it may run in place.
template <bool Inv>
void pass_last4(const float* x, float* y, i64 s) {
    for (i64 q = 0; q < 2 * s; q += 8) {
        __m256 y0, y1, y2, y3;
        butterfly4<Inv>(ld(x + q), ld(x + 2 * s + q), ld(x + 4 * s + q), ld(x + 6 * s + q), y0, y1, y2, y3);
        st(y + q, y0);
        st(y + 2 * s + q, y1);
        st(y + 4 * s + q, y2);
        st(y + 6 * s + q, y3);
    }
}
void pass_last2(const float* x, float* y, i64 s) {
    for (i64 q = 0; q < 2 * s; q += 8) {
        const __m256 a = ld(x + q), b = ld(x + 2 * s + q);
        st(y + q, _mm256_add_ps(a, b));
        st(y + 2 * s + q, _mm256_sub_ps(a, b));
    }
}

// Complex transform of h >= 16 points from src to dst, with buf (h points)
// as the other buffer of the ping-pong; src may equal dst.
template <bool Inv>
void cfft(const float* src, float* dst, float* buf, i64 h, const float* tw) {
    int general = 0, log2h = 0;
    for (i64 n = h; n >= 8; n /= 4) ++general;
    while ((i64{1} << log2h) < h) ++log2h;
    // Targets alternate; out of place, the first is chosen so that the last
    // general pass lands in dst and the final pass runs there in place.
    float* first = (src != dst && (general & 1)) ? dst : buf;
    float* second = first == dst ? buf : dst;
    const float* in = src;
    i64 n = h, s = 1;
    for (int g = 0; g < general; ++g) {
        float* out = (g & 1) ? second : first;
        if (g == 0)
            pass_first<Inv>(in, out, n, tw);
        else
            pass_mid<Inv>(in, out, n, s, tw);
        tw += 6 * (n / 4);
        s *= 4;
        n /= 4;
        in = out;
    }
    if (log2h & 1)
        pass_last2(in, dst, h / 2);
    else
        pass_last4<Inv>(in, dst, h / 4);
}

// ---- real recombination (h >= 8) ------------------------------------------------
// Forward: z holds Z[0..h); x receives the Perm order. z may equal x.
void recombine_fwd(const float* z, float* x, i64 h, const float* tab) {
    const __m256 half = _mm256_set1_ps(0.5f);
    for (i64 k = 1; k + 3 <= h / 2; k += 4) {
        const __m256 a = ld(z + 2 * k);
        const __m256 b = conj(reverse4(ld(z + 2 * (h - k - 3))));
        const __m256 e = _mm256_mul_ps(half, _mm256_add_ps(a, b));
        const __m256 td = cmul<false>(ld(tab + 2 * (k - 1)), _mm256_sub_ps(a, b));
        const __m256 xm = reverse4(conj(_mm256_sub_ps(e, td)));
        st(x + 2 * (h - k - 3), xm);
        st(x + 2 * k, _mm256_add_ps(e, td));
    }
    const float re = z[0], im = z[1];
    x[0] = re + im;
    x[1] = re - im;
}

// Inverse: X in CCS or Perm order (only X[0] and X[2..N) are read), xh the
// real X[N/2]; z receives 2 Z[0..h). X may equal z.
void recombine_inv(const float* xs, float xh, float* z, i64 h, const float* tab) {
    for (i64 k = 1; k + 3 <= h / 2; k += 4) {
        const __m256 a = ld(xs + 2 * k);
        const __m256 b = conj(reverse4(ld(xs + 2 * (h - k - 3))));
        const __m256 sum = _mm256_add_ps(a, b);
        const __m256 ud = cmul<false>(ld(tab + 2 * (k - 1)), _mm256_sub_ps(a, b));
        const __m256 zm = reverse4(conj(_mm256_sub_ps(sum, ud)));
        st(z + 2 * (h - k - 3), zm);
        st(z + 2 * k, _mm256_add_ps(sum, ud));
    }
    const float x0 = xs[0];
    z[0] = x0 + xh;
    z[1] = x0 - xh;
}

// The scale pass over n floats.
void scale_pass(float* x, i64 n, float scale) {
    const __m256 f = _mm256_set1_ps(scale);
    i64 i = 0;
    for (; i + 8 <= n; i += 8) st(x + i, _mm256_mul_ps(ld(x + i), f));
    for (; i < n; ++i) x[i] *= scale;
}

// ---- straight-line kernels, orders 0 to 4 ------------------------------------------
// Scalar forms of the same algorithm with the lengths and twiddles fixed at
// compile time (from the static table), so that the loops unroll fully.
template <int N>
struct SmallTrig {
    float c[N], s[N];  // cos and sin of 2 pi j / N
};
template <int N>
constexpr SmallTrig<N> make_small_trig() {
    SmallTrig<N> t{};
    for (int j = 0; j < N; ++j) sincos_at(kSine10.v, 256, j * (1024 / N), t.c[j], t.s[j]);
    return t;
}
template <int N>
inline constexpr SmallTrig<N> kSmallTrig = make_small_trig<N>();

// One radix-2 pass of length n over H points, x to y.
template <int H, int n, bool Inv>
inline void small_pass(const float* xr, const float* xi, float* yr, float* yi) {
    constexpr int m = n / 2, s = H / n;
    for (int p = 0; p < m; ++p) {
        const int j = p * (2 * H / n);
        const float wr = kSmallTrig<2 * H>.c[j], wi = Inv ? kSmallTrig<2 * H>.s[j] : -kSmallTrig<2 * H>.s[j];
        for (int q = 0; q < s; ++q) {
            const float ar = xr[q + s * p], ai = xi[q + s * p];
            const float br = xr[q + s * (p + m)], bi = xi[q + s * (p + m)];
            yr[q + s * 2 * p] = ar + br;
            yi[q + s * 2 * p] = ai + bi;
            const float dr = ar - br, di = ai - bi;
            yr[q + s * (2 * p + 1)] = dr * wr - di * wi;
            yi[q + s * (2 * p + 1)] = dr * wi + di * wr;
        }
    }
}
template <int H, int n, bool Inv>
inline void small_passes(float* xr, float* xi, float* yr, float* yi) {
    if constexpr (n >= 2) {
        small_pass<H, n, Inv>(xr, xi, yr, yi);
        small_passes<H, n / 2, Inv>(yr, yi, xr, xi);
    }
}
// Complex transform of H points in place on (xr, xi).
template <int H, bool Inv>
inline void small_cfft(float* xr, float* xi) {
    float yr[H], yi[H];
    small_passes<H, H, Inv>(xr, xi, yr, yi);
    constexpr bool odd = H == 2 || H == 8;  // an odd count of passes ends in y
    if constexpr (odd) {
        for (int i = 0; i < H; ++i) {
            xr[i] = yr[i];
            xi[i] = yi[i];
        }
    }
}

template <int Order, bool Scaled>
void small_fwd(const float* x, float* y, float scale) {
    if constexpr (Order == 0) {
        y[0] = Scaled ? x[0] * scale : x[0];
    } else {
        constexpr int N = 1 << Order, H = N / 2;
        float zr[H], zi[H];
        for (int i = 0; i < H; ++i) {
            zr[i] = x[2 * i];
            zi[i] = x[2 * i + 1];
        }
        small_cfft<H, false>(zr, zi);
        float out[N];
        out[0] = zr[0] + zi[0];
        out[1] = zr[0] - zi[0];
        for (int k = 1; k <= H / 2; ++k) {
            const float c = kSmallTrig<N>.c[k], sn = kSmallTrig<N>.s[k];
            const float tr = -0.5f * sn, ti = -0.5f * c;
            const float ar = zr[k], ai = zi[k], br = zr[H - k], bi = -zi[H - k];
            const float er = 0.5f * (ar + br), ei = 0.5f * (ai + bi);
            const float dr = ar - br, di = ai - bi;
            const float pr = tr * dr - ti * di, pi = tr * di + ti * dr;
            out[2 * (H - k)] = er - pr;
            out[2 * (H - k) + 1] = -(ei - pi);
            out[2 * k] = er + pr;
            out[2 * k + 1] = ei + pi;
        }
        for (int i = 0; i < N; ++i) y[i] = Scaled ? out[i] * scale : out[i];
    }
}

template <int Order, bool Scaled>
void small_inv(const float* xs, float xh, float* y, float scale) {
    if constexpr (Order == 0) {
        y[0] = Scaled ? xs[0] * scale : xs[0];
    } else {
        constexpr int N = 1 << Order, H = N / 2;
        float zr[H], zi[H];
        zr[0] = xs[0] + xh;
        zi[0] = xs[0] - xh;
        for (int k = 1; k <= H / 2; ++k) {
            const float c = kSmallTrig<N>.c[k], sn = kSmallTrig<N>.s[k];
            const float ur = -sn, ui = c;
            const float ar = xs[2 * k], ai = xs[2 * k + 1], br = xs[2 * (H - k)], bi = -xs[2 * (H - k) + 1];
            const float sr = ar + br, si = ai + bi, dr = ar - br, di = ai - bi;
            const float pr = ur * dr - ui * di, pi = ur * di + ui * dr;
            zr[H - k] = sr - pr;
            zi[H - k] = -(si - pi);
            zr[k] = sr + pr;
            zi[k] = si + pi;
        }
        small_cfft<H, true>(zr, zi);
        for (int i = 0; i < H; ++i) {
            y[2 * i] = Scaled ? zr[i] * scale : zr[i];
            y[2 * i + 1] = Scaled ? zi[i] * scale : zi[i];
        }
    }
}

using SmallFwd = void (*)(const float*, float*, float);
using SmallInv = void (*)(const float*, float, float*, float);
// Indexed by order; the second row scales in the same pass.
constexpr SmallFwd kSmallFwd[2][5] = {
    {small_fwd<0, false>, small_fwd<1, false>, small_fwd<2, false>, small_fwd<3, false>, small_fwd<4, false>},
    {small_fwd<0, true>, small_fwd<1, true>, small_fwd<2, true>, small_fwd<3, true>, small_fwd<4, true>}};
constexpr SmallInv kSmallInv[2][5] = {
    {small_inv<0, false>, small_inv<1, false>, small_inv<2, false>, small_inv<3, false>, small_inv<4, false>},
    {small_inv<0, true>, small_inv<1, true>, small_inv<2, true>, small_inv<3, true>, small_inv<4, true>}};

// ---- the staged form (orders above 19) -----------------------------------------------
// log2 of the block length: the largest block whose data and scratch (16
// bytes a point) fit the largest data cache, between 2^10 and 2^18 points.
int stage_order() {
    std::int32_t cache = 0;
    if (platform::max_cache_size(&cache) != 0 || cache <= 0) return 15;
    int so = 10;
    while (so < 18 && (i64{16} << (so + 1)) <= cache) ++so;
    return so;
}

// One radix-2 decimation-in-frequency pass over `blocks` blocks of n points:
// a[k] + a[k+n/2] stays in the first half, (a[k] - a[k+n/2]) W_n^k goes to
// the second. W_n^k is split[stride k] with split holding W_H^j, j < H/2.
template <bool Inv>
void split_pass(const float* x, float* y, i64 n, i64 blocks, const float* split, i64 stride) {
    const i64 half = n / 2;
    for (i64 b = 0; b < blocks; ++b) {
        const float* xa = x + 2 * b * n;
        const float* xc = xa + 2 * half;
        float* ya = y + 2 * b * n;
        float* yc = ya + 2 * half;
        for (i64 k = 0; k < half; k += 4) {
            __m256 w;
            if (stride == 1) {
                w = ld(split + 2 * k);
            } else {
                double d[4];
                for (int i = 0; i < 4; ++i) std::memcpy(&d[i], split + 2 * (k + i) * stride, sizeof(double));
                w = _mm256_castpd_ps(_mm256_setr_pd(d[0], d[1], d[2], d[3]));
            }
            const __m256 a = ld(xa + 2 * k), c = ld(xc + 2 * k);
            st(ya + 2 * k, _mm256_add_ps(a, c));
            st(yc + 2 * k, cmul<Inv>(w, _mm256_sub_ps(a, c)));
        }
    }
}

// Complex transform of H points in the staged form; src may equal dst. dst
// is used as working space and the result, in natural order, lands in buf.
template <bool Inv>
void cfft_staged(const float* src, float* dst, float* buf, const FftSpec_R_32f* desc) {
    const int m = desc->order - 1, so = desc->stageOrder, levels = m - so;
    const i64 h = i64{1} << m, hs = i64{1} << so;
    const float* in = src;
    for (int l = 0; l < levels; ++l) {
        split_pass<Inv>(in, dst, h >> l, i64{1} << l, desc->splitTwiddle, i64{1} << l);
        in = dst;
    }
    const i64 blocks = i64{1} << levels;
    for (i64 b = 0; b < blocks; ++b) cfft<Inv>(dst + 2 * b * hs, dst + 2 * b * hs, buf, hs, desc->twiddle);
    // Block b holds the outputs blocks k + r, with r the bit reversal of b.
    for (i64 b = 0; b < blocks; ++b) {
        i64 r = 0;
        for (int i = 0; i < levels; ++i) r |= ((b >> i) & 1) << (levels - 1 - i);
        const float* blk = dst + 2 * b * hs;
        for (i64 k = 0; k < hs; ++k) std::memcpy(buf + 2 * (blocks * k + r), blk + 2 * k, 2 * sizeof(float));
    }
}

// ---- sizes -----------------------------------------------------------------------------
struct Sizes {
    i64 desc, init, buf;
};

Sizes sizes_for(int order, int so) {
    const i64 n = i64{1} << order, h = n / 2;
    Sizes z{208, 0, 0};
    if (order <= 4) return z;
    if (order <= 7) {
        z.desc = 2 * roundup64(n / 4 * 8) + 256;
    } else if (order <= 19) {
        z.desc = roundup64(8 * h + 8) + roundup64(h + 4) + 2 * roundup64(n / 4 * 8) + 256;
        z.buf = roundup64(8 * h) + 64;
    } else {
        z.desc = roundup64(8 * (i64{1} << so) + 8) + roundup64(4 * h) + 2 * roundup64(n / 4 * 8) + 256;
        z.buf = roundup64(8 * h) + 64;
    }
    if (order >= 11) z.init = roundup64(n + 4) + 64;
    return z;
}

bool fits32(const Sizes& z) { return z.desc <= INT32_MAX && z.init <= INT32_MAX && z.buf <= INT32_MAX; }

// ---- the transforms ------------------------------------------------------------------------
template <bool Inv, bool Ccs>
ZinStatus transform(const Zin32f* pSrc, Zin32f* pDst, const FftSpec_R_32f* pSpec, Zin8u* pBuf) {
    if (!pSpec) return zinStsNullPtrErr;
    if (pSpec->idCtx != kFftIdCtx) return zinStsContextMatchErr;
    if (!pSrc || !pDst) return zinStsNullPtrErr;
    const int order = pSpec->order;
    void* owned = nullptr;
    float* buf = nullptr;
    if (order > 4 && pSpec->bufSize > 0) {
        if (!pBuf) {
            owned = platform::allocate_bytes(pSpec->bufSize);
            if (!owned) return zinStsMemAllocErr;
            buf = align64<float>(owned);
        } else {
            buf = align64<float>(pBuf);
        }
    }
    const i64 n = i64{1} << order, h = n / 2;
    const bool scaled = Inv ? pSpec->scaleInverse != 0 : pSpec->scaleForward != 0;
    alignas(64) float stack_buf[128];
    if constexpr (!Inv) {
        if (order <= 4) {
            kSmallFwd[scaled][order](pSrc, pDst, pSpec->scale);
        } else {
            const float* z = pDst;
            if (order <= 7) {
                cfft<false>(pSrc, pDst, stack_buf, h, static_twiddles(order));
            } else if (pSpec->stageOrder == 0) {
                cfft<false>(pSrc, pDst, buf, h, pSpec->twiddle);
            } else {
                cfft_staged<false>(pSrc, pDst, buf, pSpec);
                z = buf;
            }
            recombine_fwd(z, pDst, h, pSpec->recombFwd);
            if (scaled) scale_pass(pDst, n, pSpec->scale);
        }
        if constexpr (Ccs) {
            if (order == 0) {
                pDst[1] = 0.0f;
            } else {
                pDst[n] = pDst[1];
                pDst[n + 1] = 0.0f;
                pDst[1] = 0.0f;
            }
        }
    } else {
        const float xh = order == 0 ? 0.0f : Ccs ? pSrc[n] : pSrc[1];
        if (order <= 4) {
            kSmallInv[scaled][order](pSrc, xh, pDst, pSpec->scale);
        } else {
            recombine_inv(pSrc, xh, pDst, h, pSpec->recombInv);
            if (order <= 7) {
                cfft<true>(pDst, pDst, stack_buf, h, static_twiddles(order));
            } else if (pSpec->stageOrder == 0) {
                cfft<true>(pDst, pDst, buf, h, pSpec->twiddle);
            } else {
                cfft_staged<true>(pDst, pDst, buf, pSpec);
                std::memcpy(pDst, buf, static_cast<std::size_t>(n) * sizeof(float));
            }
            if (scaled) scale_pass(pDst, n, pSpec->scale);
        }
    }
    if (owned) platform::release(owned);
    return zinStsNoErr;
}

}  // namespace

ZinStatus FftGetSize_R_32f(int order, int flag, int hint, int* pSpecSize, int* pInitSize, int* pBufSize) {
    (void)hint;
    if (order > 30 || order < 0) return zinStsFftOrderErr;
    if (!pSpecSize || !pInitSize || !pBufSize) return zinStsNullPtrErr;
    if (!flag_ok(flag)) return zinStsFftFlagErr;
    if (order > 29) return zinStsFftOrderErr;
    const Sizes z = sizes_for(order, order > 19 ? stage_order() : 0);
    // Orders whose sizes 32 bits cannot state are refused as well (28, 29).
    if (!fits32(z)) return zinStsFftOrderErr;
    *pSpecSize = static_cast<int>(z.desc);
    *pInitSize = static_cast<int>(z.init);
    *pBufSize = static_cast<int>(z.buf);
    return zinStsNoErr;
}

ZinStatus FftInit_R_32f(FftSpec_R_32f** ppSpec, int order, int flag, int hint, Zin8u* pMem, Zin8u* pInitBuf) {
    if (!ppSpec) return zinStsNullPtrErr;
    if (order >= 30 || order < 0) return zinStsFftOrderErr;
    if (!pMem) return zinStsNullPtrErr;
    if (order >= 11 && !pInitBuf) return zinStsNullPtrErr;
    auto* desc = align64<FftSpec_R_32f>(pMem);
    std::memset(static_cast<void*>(desc), 0, sizeof *desc);
    *ppSpec = desc;
    if (!flag_ok(flag)) return zinStsFftFlagErr;
    const int so = order > 19 ? stage_order() : 0;
    const Sizes z = sizes_for(order, so);
    if (!fits32(z)) return zinStsFftOrderErr;  // orders 28 and 29, as in the size query

    const i64 n = i64{1} << order, h = n / 2;
    desc->order = order;
    desc->scaleForward = (flag == 1 || flag == 4) ? 1 : 0;
    desc->scaleInverse = (flag == 2 || flag == 4) ? 1 : 0;
    desc->scale = flag == 4 ? static_cast<float>(1.0 / std::sqrt(static_cast<double>(n)))
                  : flag == 8 ? 1.0f
                              : static_cast<float>(1.0 / static_cast<double>(n));
    desc->owner = hint;
    desc->bufSize = static_cast<Zin32s>(z.buf);
    desc->stageOrder = so;

    // The sine table: the static one of order 10, or one of the exact order
    // computed into the init block.
    SineTable sine{kSine10.v, 256};
    if (order >= 11) {
        float* s = align64<float>(pInitBuf);
        make_sine(s, n / 4);
        sine = SineTable{s, n / 4};
    }

    auto* base = reinterpret_cast<unsigned char*>(desc);
    i64 off = 192;
    auto take = [&](i64 bytes) {
        float* p = reinterpret_cast<float*>(base + off);
        off += roundup64(bytes);
        return p;
    };
    if (order >= 8 && order <= 19) {
        float* tw = take(8 * h + 8);
        build_stockham(tw, h, sine.s, sine.quarter);
        desc->twiddle = tw;
        desc->bitRev = reinterpret_cast<const Zin32s*>(take(h + 4));
    } else if (order >= 20) {
        const i64 hs = i64{1} << so;
        float* tw = take(8 * hs + 8);
        build_stockham(tw, hs, sine.s, sine.quarter);
        desc->twiddle = tw;
        float* split = take(4 * h);
        const i64 stride = 4 * sine.quarter / h;
        for (i64 k = 0; k < h / 2; ++k) {
            float c = 0, sn = 0;
            sincos_at(sine.s, sine.quarter, k * stride, c, sn);
            split[2 * k] = c;
            split[2 * k + 1] = -sn;
        }
        desc->splitTwiddle = split;
    }
    if (order >= 5) {
        float* fwd = take(n / 4 * 8);
        float* inv = take(n / 4 * 8);
        build_recombination(fwd, inv, n, sine);
        desc->recombFwd = fwd;
        desc->recombInv = inv;
    }
    desc->idCtx = kFftIdCtx;
    return zinStsNoErr;
}

ZinStatus FftFwd_RToCCS_32f(const Zin32f* pSrc, Zin32f* pDst, const FftSpec_R_32f* pSpec, Zin8u* pBuf) {
    return transform<false, true>(pSrc, pDst, pSpec, pBuf);
}
ZinStatus FftInv_CCSToR_32f(const Zin32f* pSrc, Zin32f* pDst, const FftSpec_R_32f* pSpec, Zin8u* pBuf) {
    return transform<true, true>(pSrc, pDst, pSpec, pBuf);
}
ZinStatus FftFwd_RToPerm_32f(const Zin32f* pSrc, Zin32f* pDst, const FftSpec_R_32f* pSpec, Zin8u* pBuf) {
    return transform<false, false>(pSrc, pDst, pSpec, pBuf);
}
ZinStatus FftInv_PermToR_32f(const Zin32f* pSrc, Zin32f* pDst, const FftSpec_R_32f* pSpec, Zin8u* pBuf) {
    return transform<true, false>(pSrc, pDst, pSpec, pBuf);
}

}  // namespace zin
