// ITU-T G.728 LD-CELP, the backward-adaptive parts: hybrid windows,
// Levinson-Durbin, the block-floating synthesis and weighting filters and the
// post-filter's inverse filter (G.728 clauses 3 and 4, and the
// fixed-point arithmetic of Annex G).
//
// Every 5-sample vector is held newest sample first, as the recommendation's
// tables hold them. Block-floating blocks carry an exponent q (value = word *
// 2^-q). Sums that the fixed-point description keeps in wide accumulators run
// in 64 bits here and saturate where it saturates.
#include "g728_internal.h"

#include <immintrin.h>

#include <cstring>

#include "../frame/registry.h"

namespace zin {
namespace g728 {

using fx::i16;
using fx::i32;
using fx::i64;

// Left shifts that bring a non-zero value into `bits` bits (positive values to
// [2^(bits-2), 2^(bits-1)-1], negative ones to [-2^(bits-1), -2^(bits-2)-1]);
// negative for right shifts. A zero value gives bits - 1.
int normalize(i64& v, int bits) {
    i64 a = v;
    if (a == 0) return bits - 1;
    int n = 0;
    if (a < 0) {
        const i64 hi = -(i64{1} << (bits - 2));
        const i64 lo = hi * 2;
        if (a < lo) {
            do { a >>= 1; --n; } while (a < lo);
        } else {
            while (a >= hi) { a *= 2; ++n; }
        }
    } else {
        const i64 lo = i64{1} << (bits - 2);
        const i64 hi = 2 * lo - 1;
        if (a > hi) {
            do { a >>= 1; --n; } while (a > hi);
        } else {
            while (a < lo) { a *= 2; ++n; }
        }
    }
    v = a;
    return n;
}

// The shift that normalizes a block: the larger of the largest value and the
// smallest value's magnitude rules (the smallest where it is strictly larger).
int block_shift(const i16* x, int len, int bits) {
    i16 plus = 0, minus = 0;
    for (int i = 0; i < len; ++i) {
        if (x[i] < minus) minus = x[i];
        if (x[i] > plus) plus = x[i];
    }
    i64 v = (i32{minus} < -i32{plus}) ? minus : plus;
    return normalize(v, bits);
}

int normalize_block(const i16* in, i16* out, int len, int bits) {
    const int n = block_shift(in, len, bits);
    if (n < 0) {
        for (int i = 0; i < len; ++i) out[i] = static_cast<i16>(in[i] >> -n);
    } else {
        for (int i = 0; i < len; ++i) out[i] = static_cast<i16>(static_cast<i32>(in[i]) * (i32{1} << n));
    }
    return n;
}

namespace {

// The reference's rounding of a wide value to its high 16 bits: half up, with
// 32767 kept where the high word already is 32767.
inline i64 round_high(i64 a) {
    i64 b = a >> 16;
    if ((a & 0x8000) && b != 32767) ++b;
    return b;
}

inline i64 shr64(i64 a, int n) { return n >= 63 ? (a < 0 ? -1 : 0) : (n <= 0 ? a : a >> n); }

// a * 2^n saturated to 32 bits (n may be negative: an arithmetic right shift).
inline i32 scale_sat32(i64 a, int n) {
    if (n < 0) return fx::sat32(shr64(a, -n));
    if (a == 0) return 0;
    if (n >= 32) return a > 0 ? fx::kMax32 : fx::kMin32;
    return fx::sat32(static_cast<i64>(static_cast<__int128>(a) * (i64{1} << n)));
}

// Exact sum of a[i] b[i]: pairs by the multiply-add, widened to 64 bits.
// A pair sum of 2^31 (two products of -32768 by -32768) would wrap; it shows
// as INT_MIN, which no other pair gives, and the plain loop takes over.
inline i64 dot(const i16* a, const i16* b, int n) {
    __m128i acc = _mm_setzero_si128(), wrapped = _mm_setzero_si128();
    const __m128i min32 = _mm_set1_epi32(fx::kMin32);
    int i = 0;
    for (; i + 8 <= n; i += 8) {
        const __m128i m = _mm_madd_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(a + i)),
                                         _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + i)));
        wrapped = _mm_or_si128(wrapped, _mm_cmpeq_epi32(m, min32));
        acc = _mm_add_epi64(acc, _mm_add_epi64(_mm_cvtepi32_epi64(m), _mm_cvtepi32_epi64(_mm_srli_si128(m, 8))));
    }
    if (!_mm_testz_si128(wrapped, wrapped)) [[unlikely]] {
        i64 s = 0;
        for (int k = 0; k < n; ++k) s += i32{a[k]} * b[k];
        return s;
    }
    i64 s = _mm_cvtsi128_si64(acc) + _mm_extract_epi64(acc, 1);
    for (; i < n; ++i) s += i32{a[i]} * b[i];
    return s;
}

// ---- hybrid window ---------------------------------------------------------

struct WinHead {
    const i16* table;
    i16 order;         // M
    i16 frame;         // L
    i16 nonrec;        // N
    i16 frame_blocks;  // L / block
    i16 mn_blocks;     // (M + N) / block
    i16 total_blocks;  // (M + L + N) / block, 0 without blocks
    i16 decay_shift;   // 14 (0.75) or 15 (0.5)
    i16 pad;
    i16* memory;
};
static_assert(sizeof(WinHead) == 32);

// The longest window the work functions take (M + L + N).
constexpr int kMaxWindow = 512;

struct WinView {
    WinHead* head;
    i16* rexp;   // M + 1 recursive terms
    i16* rq;     // their exponent
    i16* hist;   // M + L + N samples, newest first
    i16* bexp;   // block exponents, newest first
};

inline WinHead* win_head(void* state) {
    auto p = reinterpret_cast<std::uintptr_t>(state);
    return reinterpret_cast<WinHead*>(p + ((-p) & 15));
}

inline WinView win_view(void* state) {
    WinView v;
    v.head = win_head(state);
    i16* m = reinterpret_cast<i16*>(reinterpret_cast<char*>(v.head) + sizeof(WinHead));
    const int M = v.head->order, L = v.head->frame, N = v.head->nonrec;
    v.rexp = m;
    v.rq = m + M + 1;
    v.hist = m + M + 2;
    v.bexp = v.hist + M + L + N;
    return v;
}

// The recursive and non-recursive autocorrelation terms of a windowed
// sequence ws (newest first, at exponent qws), updating the recursive part.
// Returns false when the highest term came out zero.
bool autocorrelate(const WinView& v, const i16* ws, int qws, i16* r, int nout) {
    const int M = v.head->order, L = v.head->frame, N = v.head->nonrec;
    const i64 fac = 65536 - (i64{1} << v.head->decay_shift);
    const int q2 = 2 * qws;
    int rq = *v.rq;
    int ir0 = 1, ir1 = 1;
    if (rq > q2) {
        ir1 += rq - q2;
        rq = q2;
    } else if (rq < q2) {
        ir0 += q2 - rq;
    }
    // The first operands of the products, zero-padded to whole 8-word blocks
    // (ws itself has 16 zero words after its end).
    alignas(16) i16 rec[512], nr[512];
    const int L8 = (L + 7) & ~7, N8 = (N + 7) & ~7;
    std::memcpy(rec, ws + N, sizeof(i16) * L);
    std::memset(rec + L, 0, sizeof(i16) * (L8 - L));
    std::memcpy(nr, ws, sizeof(i16) * N);
    std::memset(nr + N, 0, sizeof(i16) * (N8 - N));
    i64 a0 = shr64(v.rexp[0] * fac, ir1) + shr64(dot(rec, ws + N, L8), ir0);
    int nls_re = normalize(a0, 32);
    i64 a1 = round_high(a0);
    v.rexp[0] = static_cast<i16>(a1);
    rq += nls_re - 1;
    int ir2 = 1, ir3 = 1;
    if (rq > q2) ir3 += rq - q2;
    else if (rq < q2) ir2 += q2 - rq;
    a0 = shr64(a1 * 65536, ir3) + shr64(dot(nr, ws, N8), ir2);
    a0 += a0 >> 8;  // white-noise correction, 257/256
    const int nls_r = normalize(a0, 32);
    r[0] = static_cast<i16>(round_high(a0));
    i32 last = 0;
    for (int i = 1; i <= M; ++i) {
        const i64 tre = dot(rec, ws + N + i, L8);
        const i64 tnr = dot(nr, ws + i, N8);
        i32 s = scale_sat32(shr64(v.rexp[i] * fac, ir1) + shr64(tre, ir0), nls_re);
        a1 = fx::round16(s);
        v.rexp[i] = static_cast<i16>(a1);
        s = scale_sat32(shr64(a1 * 65536, ir3) + shr64(tnr, ir2), nls_r);
        if (i < nout) r[i] = fx::round16(s);
        last = s;
    }
    if (M == 0) last = static_cast<i32>(a0);
    if (rq > 41) rq = 41;
    *v.rq = static_cast<i16>(rq);
    return last != 0;
}

void win_shift_in(const WinView& v, const i16* src) {
    const int T = v.head->order + v.head->frame + v.head->nonrec, L = v.head->frame;
    std::memmove(v.hist + L, v.hist, sizeof(i16) * (T - L));
    std::memcpy(v.hist, src, sizeof(i16) * L);
}

ZinStatus win_plain(int mode, const i16* src, i16* dst, void* state) {
    WinView v = win_view(state);
    const int M = v.head->order, L = v.head->frame, N = v.head->nonrec, T = M + L + N;
    if (T > kMaxWindow) return zinStsSizeErr;
    win_shift_in(v, src);
    const int nls = block_shift(v.hist, T, 15);
    alignas(16) i16 ws[512 + 16];
    const i16* w = v.head->table;
    for (int i = 0; i < T; ++i) {
        i64 l = i32{v.hist[i]} * w[i];
        l = nls >= 0 ? l * (i64{1} << nls) : shr64(l, -nls);
        ws[i] = static_cast<i16>(round_high(l));
    }
    std::memset(ws + T, 0, 16 * sizeof(i16));
    const int nout = mode == 1 ? (M < 10 ? M : 10) + 1 : M + 1;
    return autocorrelate(v, ws, nls, dst, nout) ? zinStsNoErr : zinStsZeroCorrelation;
}

ZinStatus win_block(int mode, const i16* exps, const i16* src, i16* dst, void* state) {
    WinView v = win_view(state);
    const int M = v.head->order, L = v.head->frame, N = v.head->nonrec, T = M + L + N;
    if (T > kMaxWindow) return zinStsSizeErr;
    const int nb = v.head->total_blocks, fb = v.head->frame_blocks;
    win_shift_in(v, src);
    if (nb > 0) {
        std::memmove(v.bexp + fb, v.bexp, sizeof(i16) * (nb - fb));
        std::memcpy(v.bexp, exps, sizeof(i16) * fb);
    }
    const int blen = nb > 0 ? T / nb : T;
    int qmin = nb > 0 ? v.bexp[0] : 0;
    for (int b = 1; b < nb; ++b) qmin = v.bexp[b] < qmin ? v.bexp[b] : qmin;
    alignas(16) i16 ws[512 + 16];
    const i16* w = v.head->table;
    for (int k = 0; k < T; ++k) {
        const int b = nb > 0 ? k / blen : 0;
        const int sh = (nb > 0 ? v.bexp[b] : qmin) - qmin - 1;
        i64 l = i32{v.hist[k]} * w[k];
        if (sh < 0) l *= 2;
        else if (sh > 0) l = sh > 30 ? (l < 0 ? -1 : 0) : l >> sh;
        ws[k] = static_cast<i16>(round_high(l));
    }
    std::memset(ws + T, 0, 16 * sizeof(i16));
    const int nout = mode == 1 ? (M < 10 ? M : 10) + 1 : M + 1;
    return autocorrelate(v, ws, qmin, dst, nout) ? zinStsNoErr : zinStsZeroCorrelation;
}

// ---- Levinson-Durbin -------------------------------------------------------

// floor((num << 16) / den) for 0 <= num < den: the quotient of the
// recommendation's 16-step restoring division, which gives 65535 for a num at
// or above den.
inline i64 divide16(i64 num, i64 den) {
    // num < den <= 32767 here, so num << 16 fits 31 bits
    return num >= den ? 65535 : static_cast<std::uint32_t>(num << 16) / static_cast<std::uint32_t>(den);
}

inline ZinStatus lpc_fail(int order, int limit) { return order < limit ? zinStsLpcCalcErr : zinStsOverflow; }

// The recursion on the caller's arrays, one pair at a time (orders above 50).
ZinStatus durbin_wide(const i16* r, int start, int end, i16* a, i16* energy, i16* scale, i64 alpha, int nrs) {
    for (int i = start; i < end; ++i) {
        i64 sum = 0;
        for (int n = 0; n < i; ++n) sum += i32{r[1 + n]} * a[i - 1 - n];
        const i32 s = fx::sat32(i64{r[i + 1]} * 65536 + sum * (i64{2} << nrs));
        const i64 num_signed = round_high(s);
        const i64 num = num_signed < 0 ? -num_signed : num_signed;
        if (num >= alpha) return lpc_fail(i + 1, 12);
        const i64 quo = divide16(num, alpha);
        i64 rc = round_high(quo << 15) * 2;
        if (num_signed > 0) rc = -rc;
        const i64 e = alpha * 65536 + rc * num_signed;
        if (e <= 0) return lpc_fail(i + 1, 12);
        alpha = round_high(e);
        {
            for (int f = 0, g = i - 1; f <= g; ++f, --g) {
                i64 d0 = i64{a[f]} * 65536 + rc * a[g];
                i64 d1 = i64{a[g]} * 65536 + rc * a[f];
                if (d0 != static_cast<i32>(d0) || d1 != static_cast<i32>(d1)) {
                    // Halve every coefficient of the order and try the pair again.
                    ++nrs;
                    for (int j = 0; j < i; ++j) a[j] = static_cast<i16>(a[j] >> 1);
                    d0 = i64{a[f]} * 65536 + rc * a[g];
                    d1 = i64{a[g]} * 65536 + rc * a[f];
                }
                a[f] = static_cast<i16>(round_high(d0));
                a[g] = static_cast<i16>(round_high(d1));
            }
        }
        i16 ai = static_cast<i16>(round_high((quo << 15) >> nrs));
        a[i] = num_signed > 0 ? static_cast<i16>(-ai) : ai;
    }
    *scale = static_cast<i16>(15 - nrs);
    if (15 - nrs < 13) return lpc_fail(end, 10);
    *energy = static_cast<i16>(alpha);
    return zinStsNoErr;
}

// Working storage of the recursion: the coefficients with eight zero words
// before them and zeros after the current order, and the autocorrelation
// with zeros before it, so that reversed 8-word blocks load in bounds.
struct Work {
    alignas(16) i16 abuf[8 + 64 + 8];
    alignas(16) i16 rbuf[8 + 56];
    i16* a() { return abuf + 8; }
    const i16* r() const { return rbuf + 8; }
};

inline __m128i reverse8(__m128i v) {
    return _mm_shuffle_epi8(v, _mm_setr_epi8(14, 15, 12, 13, 10, 11, 8, 9, 6, 7, 4, 5, 2, 3, 0, 1));
}

// sum over f < n of a[f] r[n - f], exact; a[n..] is zero.
inline i64 lag_sum(Work& w, int n) {
    const i16* a = w.a();
    const i16* r = w.r();
    __m128i acc = _mm_setzero_si128();
    __m128i wrapped = _mm_setzero_si128();
    const __m128i min32 = _mm_set1_epi32(fx::kMin32);
    for (int f = 0; f < n; f += 8) {
        const __m128i x = _mm_load_si128(reinterpret_cast<const __m128i*>(a + f));
        const __m128i y = reverse8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(r + n - f - 7)));
        const __m128i m = _mm_madd_epi16(x, y);
        // a pair sum of 2^31 (two products of -32768 by -32768) wraps to INT_MIN
        wrapped = _mm_or_si128(wrapped, _mm_cmpeq_epi32(m, min32));
        acc = _mm_add_epi64(acc, _mm_add_epi64(_mm_cvtepi32_epi64(m), _mm_cvtepi32_epi64(_mm_srli_si128(m, 8))));
    }
    if (!_mm_testz_si128(wrapped, wrapped)) [[unlikely]] {
        i64 s = 0;
        for (int f = 0; f < n; ++f) s += i32{a[f]} * r[n - f];
        return s;
    }
    return _mm_cvtsi128_si64(acc) + _mm_extract_epi64(acc, 1);
}

// The step-6 update of all n coefficients at once, a[f] + k a[n-1-f] with the
// reflection coefficient k (Q15): with h = a[f] 2^15 + k a[n-1-f], the 32-bit
// sum of the recursion is 2h, and its rounded high word is
// min((h + 2^14) >> 15, 32767). False, with nothing written, when a sum leaves
// 32 bits (the caller then runs the pairs one by one, halving as it goes).
bool update_all(Work& w, int n, i64 k) {
    i16* a = w.a();
    const __m128i coef = _mm_set1_epi32(
        static_cast<i32>((static_cast<std::uint32_t>(static_cast<std::uint16_t>(-k)) << 16) | 0x8000u));
    const __m128i lo = _mm_set1_epi32(-(1 << 30) + 1), hi = _mm_set1_epi32(1 << 30);
    const __m128i half = _mm_set1_epi32(1 << 14);
    __m128i bad = _mm_setzero_si128();
    __m128i res[8];
    const int blocks = (n + 7) >> 3;
    for (int b = 0; b < blocks; ++b) {
        const __m128i x = _mm_load_si128(reinterpret_cast<const __m128i*>(a + 8 * b));
        const __m128i y = reverse8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(a + n - 8 - 8 * b)));
        // -(x 2^15 + k y) by pairs (x, y) . (-2^15, -k)
        const __m128i n0 = _mm_madd_epi16(_mm_unpacklo_epi16(x, y), coef);
        const __m128i n1 = _mm_madd_epi16(_mm_unpackhi_epi16(x, y), coef);
        bad = _mm_or_si128(bad, _mm_or_si128(_mm_cmpgt_epi32(n0, hi), _mm_cmpgt_epi32(lo, n0)));
        bad = _mm_or_si128(bad, _mm_or_si128(_mm_cmpgt_epi32(n1, hi), _mm_cmpgt_epi32(lo, n1)));
        res[b] = _mm_packs_epi32(_mm_srai_epi32(_mm_sub_epi32(half, n0), 15), _mm_srai_epi32(_mm_sub_epi32(half, n1), 15));
    }
    if (!_mm_testz_si128(bad, bad)) return false;
    for (int b = 0; b < blocks; ++b) _mm_store_si128(reinterpret_cast<__m128i*>(a + 8 * b), res[b]);
    return true;
}

// Orders start+1 .. end on a[0..end-1] (Q(15 - nrs)), energy alpha.
ZinStatus durbin_run(Work& w, int start, int end, i16* energy, i16* scale, i64 alpha, int nrs) {
    i16* a = w.a();
    const i16* r = w.r();
    for (int i = start; i < end; ++i) {
        const i32 s = fx::sat32(i64{r[i + 1]} * 65536 + lag_sum(w, i) * (i64{2} << nrs));
        const i64 num_signed = round_high(s);
        const i64 num = num_signed < 0 ? -num_signed : num_signed;
        if (num >= alpha) return lpc_fail(i + 1, 12);
        const i64 quo = divide16(num, alpha);
        i64 rc = round_high(quo << 15) * 2;
        if (num_signed > 0) rc = -rc;
        const i64 e = alpha * 65536 + rc * num_signed;
        if (e <= 0) return lpc_fail(i + 1, 12);
        alpha = round_high(e);
        if (!update_all(w, i, rc >> 1)) {
            for (int f = 0, g = i - 1; f <= g; ++f, --g) {
                i64 d0 = i64{a[f]} * 65536 + rc * a[g];
                i64 d1 = i64{a[g]} * 65536 + rc * a[f];
                if (d0 != static_cast<i32>(d0) || d1 != static_cast<i32>(d1)) {
                    // Halve every coefficient of the order and try the pair again.
                    ++nrs;
                    for (int j = 0; j < i; ++j) a[j] = static_cast<i16>(a[j] >> 1);
                    d0 = i64{a[f]} * 65536 + rc * a[g];
                    d1 = i64{a[g]} * 65536 + rc * a[f];
                }
                a[f] = static_cast<i16>(round_high(d0));
                a[g] = static_cast<i16>(round_high(d1));
            }
        }
        const i16 ai = static_cast<i16>(round_high((quo << 15) >> nrs));
        a[i] = num_signed > 0 ? static_cast<i16>(-ai) : ai;
    }
    *scale = static_cast<i16>(15 - nrs);
    if (15 - nrs < 13) return lpc_fail(end, 10);
    *energy = static_cast<i16>(alpha);
    return zinStsNoErr;
}

// Loads the working storage, runs, and hands the coefficients back as far as
// the recursion came.
ZinStatus durbin_from(const i16* r, int start, int end, i16* a, i16* energy, i16* scale, i64 alpha, int nrs) {
    if (end > 50) {
        // beyond the recommendation's orders: the same steps on the caller's arrays
        return durbin_wide(r, start, end, a, energy, scale, alpha, nrs);
    }
    Work w;
    std::memset(w.abuf, 0, sizeof w.abuf);
    std::memset(w.rbuf, 0, sizeof w.rbuf);
    std::memcpy(w.a(), a, sizeof(i16) * start);
    std::memcpy(w.rbuf + 8, r, sizeof(i16) * (end + 1));
    const ZinStatus st = durbin_run(w, start, end, energy, scale, alpha, nrs);
    std::memcpy(a, w.a(), sizeof(i16) * end);
    return st;
}

ZinStatus durbin0(const i16* r, int order, i16* a, i16* tmp, i16* energy, i16* scale) {
    const i64 num = r[1] < 0 ? -i64{r[1]} : i64{r[1]};
    const i64 quo = divide16(num, r[0]);
    i64 rc = round_high(quo << 15);
    if (r[1] > 0) rc = -rc;
    a[0] = static_cast<i16>(rc);
    tmp[0] = static_cast<i16>(rc);
    const i64 alpha = round_high(i64{r[0]} * 65536 + rc * r[1] * 2);
    if (order <= 1) {
        *scale = 15;
        *energy = static_cast<i16>(alpha > 32767 ? 32767 : alpha);
        return zinStsNoErr;
    }
    return durbin_from(r, 1, order, a, energy, scale, alpha, 0);
}

// ---- block-floating filter memory -----------------------------------------
//
// The 144-byte synthesis block, in words:
//   0..49   the ten past decoded blocks, newest first (5 words each)
//   50..60  exponents: 50 the current block, 51..60 the past blocks
//   61..64  spare
//   65      the excitation exponent after the last zero-state update
//   66..70  the current block (zero-input response, then decoded)
//   71      spare
// The 208-byte combined state adds, from word 72 (byte 144), the weighting
// filter's memory in the IIR layout: 72..81 past inputs, 88..97 past outputs.
// The decoder's inverse filter keeps its ten inputs at words 72..81.
constexpr int kPast = 0, kExp = 50, kCur = 66, kExcQ = 65, kIir = 72;
static_assert(kExcQ == 65);

void filter_init(void* state, int bytes) {
    std::memset(state, 0, bytes);
    const i16 sixteen[11] = {16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16};
    std::memcpy(static_cast<char*>(state) + 2 * kExp, sixteen, sizeof sixteen);
}

// Zero-input response of the order-50 synthesis filter into the current
// block, normalised to 15 bits (G.728 block 9).
void zero_input(const i16* a, i16* w) {
    // The current block becomes the newest past one.
    std::memmove(w + kPast + 5, w + kPast, sizeof(i16) * 45);
    std::memcpy(w + kPast, w + kCur, sizeof(i16) * 5);
    std::memmove(w + kExp + 2, w + kExp + 1, sizeof(i16) * 9);
    w[kExp + 1] = w[kExp];
    const i16* q = w + kExp;  // q[1..10] past
    int q0 = q[1];
    for (int i = 2; i <= 10; ++i) q0 = q[i] < q0 ? q[i] : q0;
    int shift[11];
    for (int j = 1; j <= 10; ++j) shift[j] = q[j] - q0;
    i16* cur = w + kCur;
    for (int k = 5, i = 0; i < 5; ++i) {
        // a[0..i-1] against the samples of this block already found
        i64 t = 0;
        for (int j = 0; j < i; ++j) t -= i32{cur[k + j]} * a[j];
        const i16* ap = a + i;
        for (int j = 1; j < 10; ++j) {
            const i16* sp = w + kPast + 5 * (j - 1);
            const i64 tf = -(i64{sp[0]} * ap[0] + i64{sp[1]} * ap[1] + i64{sp[2]} * ap[2] + i64{sp[3]} * ap[3] +
                             i64{sp[4]} * ap[4]);
            ap += 5;
            if (shift[j] > 30) {
                if (tf < 0) t -= 1;
            } else {
                t += tf >> shift[j];
            }
        }
        if (shift[10] < 30) {
            const i16* sp = w + kPast + 45;
            i64 tf = 0;
            for (int j = 0; j < k; ++j) tf -= i64{sp[j]} * ap[j];
            t += tf >> shift[10];
        }
        cur[--k] = fx::sat16(t >> 14);
    }
    w[kExp] = static_cast<i16>(q0 + normalize_block(cur, cur, 5, 15));
}

// Zero-state response of the synthesis filter to the excitation, added into
// the current block (G.728 blocks 9 and 10 with the memory update); with
// weighting coefficients, the weighted response goes into the weighting
// filter's output memory as well.
void zero_state(const i16* exc, i32 exc_scale, const i16* a, const i16* wz, const i16* wp, i16* w) {
    i16 et[5];
    std::memcpy(et, exc, sizeof et);
    int eq = static_cast<i16>(exc_scale & 0xFFFF);
    i16 zsr[5];
    int i;
    do {
        for (i = 0; i < 5; ++i) {
            const int j = 4 - i;
            i64 d = i64{et[j]} * 16384;
            for (int k = 0; k < i; ++k) d -= i64{a[k]} * zsr[j + 1 + k];
            if (d > 268435455 || d < -268435456) {
                for (int k = 0; k < 5; ++k) et[k] = static_cast<i16>(et[k] >> 1);
                --eq;
                break;
            }
            zsr[j] = static_cast<i16>(d >> 14);
        }
    } while (i < 5);
    w[kExcQ] = static_cast<i16>(eq);
    if (wz) {
        i16* zir_out = w + kIir + 16;
        const int diff = eq - 2;
        i16 wiir[5];
        for (int ii = 0; ii < 5; ++ii) {
            const int j = 4 - ii;
            i64 d = i64{zsr[j]} * 16384;
            for (int k = 0; k < ii; ++k) d += i64{wz[k]} * zsr[j + 1 + k] - i64{wp[k]} * wiir[j + 1 + k];
            i64 v = fx::sat16(d >> 14);
            wiir[j] = static_cast<i16>(v);
            if (diff > 0) v >>= diff;
            else if (diff < 0) v *= i64{1} << -diff;
            zir_out[j] = fx::sat16(v + zir_out[j]);
        }
    }
    i16* cur = w + kCur;
    int sq = w[kExp];
    const int diff = sq - eq;
    if (diff > 0) {
        for (int k = 0; k < 5; ++k) cur[k] = static_cast<i16>(diff > 15 ? (cur[k] < 0 ? -1 : 0) : cur[k] >> diff);
        sq = eq;
    } else if (diff < 0) {
        for (int k = 0; k < 5; ++k) zsr[k] = static_cast<i16>(-diff > 15 ? (zsr[k] < 0 ? -1 : 0) : zsr[k] >> -diff);
    }
    i32 maxi, mini;
    if (sq < 0) {
        maxi = sq < -31 ? 0 : 4095 >> -sq;
        mini = -maxi;
    } else {
        maxi = sq > 15 ? 65535 : 4095 << sq;
        if (maxi > 32767) {
            maxi = 32767;
            mini = -32768;
        } else {
            mini = -maxi;
        }
    }
    for (int k = 0; k < 5; ++k) {
        i32 v = i32{cur[k]} + zsr[k];
        cur[k] = static_cast<i16>(v > maxi ? maxi : (v < mini ? mini : v));
    }
    w[kExp] = static_cast<i16>(sq + normalize_block(cur, cur, 5, 14));
}

// 10-zero, 10-pole filter of one sample: x is the input, xm the 10 past
// inputs and ym the 10 past outputs (newest first), coefficients Q14.
inline i16 iir_step(const i16* b, const i16* a, i16 x, const i16* xm, const i16* ym) {
    std::uint32_t s = static_cast<std::uint32_t>(i32{x} * 16384);
    for (int i = 0; i < 10; ++i) s += static_cast<std::uint32_t>(i32{b[i]} * xm[i]);
    i32 acc = static_cast<i32>(s);
    for (int i = 0; i < 10; ++i) acc = fx::sat32(i64{acc} - i32{a[i]} * ym[i]);
    return fx::sat16(acc >> 14);
}

// The IIR over len samples newest first; memory words 0..9 inputs, 16..25
// outputs, newest first.
void iir_run(const i16* coef, const i16* src, i16* dst, int len, i16* mem) {
    // Blocks of up to 64 samples in one newest-first run each, the memory in
    // front: x[k + 1..k + 10] are the inputs before x[k].
    while (len > 0) {
        const int n = len < 64 ? len : 64;
        const i16* sb = src + (len - n);  // the oldest n samples left
        i16 x[74], y[74];
        std::memcpy(x + n, mem, 10 * sizeof(i16));
        std::memcpy(y + n, mem + 16, 10 * sizeof(i16));
        std::memcpy(x, sb, n * sizeof(i16));
        for (int k = n - 1; k >= 0; --k) y[k] = iir_step(coef, coef + 10, x[k], x + k + 1, y + k + 1);
        std::memcpy(dst + (len - n), y, n * sizeof(i16));
        std::memcpy(mem, x, 10 * sizeof(i16));
        std::memcpy(mem + 16, y, 10 * sizeof(i16));
        len -= n;
    }
}

// Convert a block to Q2 (G.728 block 10's input scaling).
inline void to_q2(const i16* x, int q, i16* out) {
    const int ir = q - 2;
    if (ir >= 0) {
        for (int i = 0; i < 5; ++i) out[i] = static_cast<i16>(ir > 14 ? (x[i] < 0 ? -1 : 0) : x[i] >> ir);
    } else {
        const int n = -ir;
        for (int i = 0; i < 5; ++i) {
            if (n > 14) out[i] = x[i] == 0 ? 0 : (x[i] > 0 ? 32767 : -32768);
            else out[i] = fx::sat16(i32{x[i]} * (i32{1} << n));
        }
    }
}

void combined_zero_input(const i16* a, const i16* wcoef, i16* dst, i16* w) {
    zero_input(a, w);
    // Inputs: the zero-input response and the two newest decoded blocks at Q2.
    i16 s[15];
    to_q2(w + kCur, w[kExp], s);
    to_q2(w + kPast, w[kExp + 1], s + 5);
    to_q2(w + kPast + 5, w[kExp + 2], s + 10);
    i16* ym = w + kIir + 16;
    i16 y[15];
    std::memcpy(y + 5, ym, 10 * sizeof(i16));
    for (int n = 4; n >= 0; --n) y[n] = iir_step(wcoef, wcoef + 10, s[n], s + n + 1, y + n + 1);
    std::memcpy(ym, y, 10 * sizeof(i16));
    std::memcpy(dst, ym, 5 * sizeof(i16));
}

}  // namespace
}  // namespace g728

using namespace g728;

// ---- exports ----------------------------------------------------------------

ZinStatus body::zinsWinHybridGetStateSize_G728_16s(int M, int L, int N, int block, int* pSize) {
    if (!pSize) return zinStsNullPtrErr;
    if (M < 1 || L < 1 || N < 1) return zinStsSizeErr;
    int size = (L + N + 2 * M) * 2 + 36;
    if (block > 0) size += ((M + L + N) / block) * 2;
    *pSize = size + 16;
    return zinStsNoErr;
}

ZinStatus body::zinsWinHybridInit_G728_16s(const Zin16s* pWindow, int M, int L, int N, int block, Zin16s decay,
                                           ZinWinHybridState_G728_16s* pState) {
    if (!pWindow || !pState) return zinStsNullPtrErr;
    WinHead* h = win_head(pState);
    h->table = pWindow;
    h->order = static_cast<i16>(M);
    h->frame = static_cast<i16>(L);
    h->nonrec = static_cast<i16>(N);
    h->frame_blocks = static_cast<i16>(block > 0 ? L / block : 0);
    h->mn_blocks = static_cast<i16>(block > 0 ? (M + N) / block : 0);
    h->total_blocks = static_cast<i16>(block > 0 ? (M + L + N) / block : 0);
    if (decay == 12288) h->decay_shift = 14;
    else if (decay == 8192) h->decay_shift = 15;
    h->pad = 0;
    h->memory = reinterpret_cast<i16*>(reinterpret_cast<char*>(h) + sizeof(WinHead));
    WinView v = win_view(pState);
    std::memset(v.rexp, 0, sizeof(i16) * (M + 1));
    *v.rq = 31;
    std::memset(v.hist, 0, sizeof(i16) * (M + L + N));
    for (int b = 0; b < h->total_blocks; ++b) v.bexp[b] = 16;
    return zinStsNoErr;
}

ZinStatus body::zinsWinHybrid_G728_16s(int mode, const Zin16s* pSrc, Zin16s* pDst, ZinWinHybridState_G728_16s* pState) {
    if (!pSrc || !pDst || !pState) return zinStsNullPtrErr;
    return win_plain(mode, pSrc, pDst, pState);
}

ZinStatus body::zinsWinHybridBlock_G728_16s(int mode, const Zin16s* pExp, const Zin16s* pSrc, Zin16s* pDst,
                                            ZinWinHybridState_G728_16s* pState) {
    if (!pExp || !pSrc || !pDst || !pState) return zinStsNullPtrErr;
    return win_block(mode, pExp, pSrc, pDst, pState);
}

ZinStatus body::zinsLevinsonDurbin_G728_16s_Sfs(const Zin16s* pAutoCorr, int order, Zin16s* pLPC, Zin16s* pTmpLPC,
                                                Zin16s* pResidualEnergy, Zin16s* pScale) {
    if (!pAutoCorr || !pLPC || !pTmpLPC || !pResidualEnergy || !pScale) return zinStsNullPtrErr;
    if (order < 0 || pAutoCorr[0] < 1) return zinStsRangeErr;
    return durbin0(pAutoCorr, order, pLPC, pTmpLPC, pResidualEnergy, pScale);
}

ZinStatus body::zinsLevinsonDurbin_G728_16s_ISfs(const Zin16s* pAutoCorr, int startOrder, int endOrder, Zin16s* pLPC,
                                                 Zin16s* pResidualEnergy, Zin16s* pScale) {
    if (!pAutoCorr || !pLPC || !pResidualEnergy) return zinStsNullPtrErr;
    if (startOrder < 0 || endOrder < startOrder) return zinStsRangeErr;
    if (*pScale < 0 || *pScale > 15) return zinStsScaleRangeErr;
    if (startOrder == 0) {
        Zin16s tmp[1];
        return body::zinsLevinsonDurbin_G728_16s_Sfs(pAutoCorr, endOrder, pLPC, tmp, pResidualEnergy, pScale);
    }
    return durbin_from(pAutoCorr, startOrder, endOrder, pLPC, pResidualEnergy, pScale, *pResidualEnergy,
                       15 - *pScale);
}

ZinStatus body::zinsIIR16sGetStateSize_G728_16s(int* pSize) {
    if (!pSize) return zinStsNullPtrErr;
    *pSize = 64;
    return zinStsNoErr;
}

ZinStatus body::zinsIIR16sInit_G728_16s(ZinIIRState_G728_16s* pState) {
    if (!pState) return zinStsNullPtrErr;
    std::memset(pState, 0, 64);
    return zinStsNoErr;
}

ZinStatus body::zinsIIR16s_G728_16s(const Zin16s* pCoeffs, const Zin16s* pSrc, Zin16s* pDst, int len,
                                    ZinIIRState_G728_16s* pState) {
    if (!pCoeffs || !pSrc || !pDst || !pState) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    on_words<32>(pState, [&](i16* w) { iir_run(pCoeffs, pSrc, pDst, len, w); });
    return zinStsNoErr;
}

ZinStatus body::zinsPostFilterGetStateSize_G728_16s(int* pSize) { return body::zinsIIR16sGetStateSize_G728_16s(pSize); }

ZinStatus body::zinsPostFilterInit_G728_16s(ZinIIRState_G728_16s* pState) { return body::zinsIIR16sInit_G728_16s(pState); }

ZinStatus body::zinsSynthesisFilterGetStateSize_G728_16s(int* pSize) {
    if (!pSize) return zinStsNullPtrErr;
    *pSize = 144;
    return zinStsNoErr;
}

ZinStatus body::zinsSynthesisFilterInit_G728_16s(ZinFilterState_G728_16s* pState) {
    if (!pState) return zinStsNullPtrErr;
    filter_init(pState, 144);
    return zinStsNoErr;
}

ZinStatus body::zinsCombinedFilterGetStateSize_G728_16s(int* pSize) {
    if (!pSize) return zinStsNullPtrErr;
    *pSize = 208;
    return zinStsNoErr;
}

ZinStatus body::zinsCombinedFilterInit_G728_16s(ZinFilterState_G728_16s* pState) {
    if (!pState) return zinStsNullPtrErr;
    filter_init(pState, 208);
    return zinStsNoErr;
}

ZinStatus body::zinsSyntesisFilterZeroInput_G728_16s(const Zin16s* pLPC, const Zin16s* pExc, Zin32s excScale,
                                                     Zin16s* pDst, Zin16s* pDstScale, ZinFilterState_G728_16s* pState) {
    if (!pLPC || !pExc) return zinStsNullPtrErr;
    if (!pDst || !pDstScale || !pState) return zinStsNullPtrErr;
    on_words<72>(pState, [&](i16* w) {
        zero_input(pLPC, w);
        zero_state(pExc, excScale, pLPC, nullptr, nullptr, w);
        if ((excScale & 0x10000) && w[kExp] > 16) w[kExp] = 16;
        std::memcpy(pDst, w + kCur, 5 * sizeof(i16));
        *pDstScale = w[kExp];
    });
    return zinStsNoErr;
}

ZinStatus body::zinsCombinedFilterZeroInput_G728_16s(const Zin16s* pLPC, const Zin16s* pWeight, Zin16s* pDst,
                                                     ZinFilterState_G728_16s* pState) {
    if (!pLPC || !pWeight || !pDst || !pState) return zinStsNullPtrErr;
    on_words<104>(pState, [&](i16* w) { combined_zero_input(pLPC, pWeight, pDst, w); });
    return zinStsNoErr;
}

ZinStatus body::zinsCombinedFilterZeroState_G728_16s(const Zin16s* pExc, const Zin16s* pLPC, const Zin16s* pWeight,
                                                     Zin32s excScale, Zin16s* pDst, Zin16s* pDstScale,
                                                     ZinFilterState_G728_16s* pState) {
    if (!pExc || !pLPC || !pWeight || !pDst || !pDstScale || !pState) return zinStsNullPtrErr;
    on_words<104>(pState, [&](i16* w) {
        zero_state(pExc, excScale, pLPC, pWeight, pWeight + 10, w);
        std::memcpy(pDst, w + kCur, 5 * sizeof(i16));
        *pDstScale = w[kExp];
    });
    return zinStsNoErr;
}

ZinStatus body::zinsLPCInverseFilter_G728_16s(const Zin16s* pSrc, const Zin16s* pLPC, Zin16s* pDst,
                                              ZinFilterState_G728_16s* pState) {
    if (!pSrc || !pLPC || !pDst || !pState) return zinStsNullPtrErr;
    on_words<104>(pState, [&](i16* w) {
        i16* mem = w + kIir;
        for (int k = 4; k >= 0; --k) {
            i64 a0 = i64{pSrc[k]} * 8192;
            for (int j = 0; j < 10; ++j) a0 += i32{mem[j]} * pLPC[j];
            std::memmove(mem + 1, mem, 9 * sizeof(i16));
            mem[0] = pSrc[k];
            pDst[k] = fx::round16(fx::sat32(a0 * 4));
        }
    });
    return zinStsNoErr;
}

}  // namespace zin
