// GSM 06.10 full rate: the filter blocks of the RPE-LTP coder, each a slice
// of one clause of the standard. The caller drives frames of 160 samples and
// segments of 40; all memories are small caller-owned arrays.
#include <immintrin.h>

#include <cstdint>
#include <cstring>

#include "../frame/registry.h"
#include "../kernels/fixed_point.h"
#include "../kernels/kernels.h"

namespace zin {
namespace {

using fx::add16;
using fx::sat16;
using fx::sub16;

// (a*b + 16384) >> 15 without the saturation of mult_r; callers pass
// operands whose product is not 2^30.
inline Zin16s mul_r15(Zin16s a, Zin16s b) { return static_cast<Zin16s>((Zin32s{a} * b + 16384) >> 15); }

// ---- 4.2.1, 4.2.2 offset compensation ------------------------------------
//
// The recursive part runs in wrapping 32-bit arithmetic where the standard
// saturates with L_ADD. From a zero memory the sum stays within 2^30 (the
// filter input is the difference of two downscaled samples), so the two
// agree on every signal; they part only from a memory the caller filled.

struct HpState {
    std::uint32_t z2;
    Zin32s z1;
};

// With msp = z2 >> 15 and lsp = z2 & 0x7FFF the recursive part is
//   msp * 32735 + ((lsp * 32735 + 16384) >> 15) = (z2 * 32735 + 16384) >> 15
// (msp * 32735 * 32768 is a whole multiple of 2^15), and 32735 = 32768 - 33
// makes it z2 + ((16384 - 33 z2) >> 15). In 64 bits nothing overflows, and
// the low 32 bits are the wrapped sum: a shift, two subtractions and an
// addition from one sample to the next.
inline Zin16s hp_step(Zin16s x, HpState& st) {
    const Zin32s s = (Zin32s{x} >> 3) << 2;
    const std::int64_t z2 = static_cast<Zin32s>(st.z2);
    const std::int64_t rec = z2 + ((16384 - z2 - (z2 << 5)) >> 15);
    const std::uint32_t nonrec = static_cast<std::uint32_t>(s - st.z1) << 15;
    const std::uint32_t l = nonrec + static_cast<std::uint32_t>(rec);
    st.z2 = l;
    st.z1 = s;
    return fx::wrap16(static_cast<Zin32s>(l + 16384u) >> 15);
}

// Eight samples in 64 bits without the wrap: while every sum l stays inside
// 32 bits the wrapped and the unwrapped values agree (the output keeps 16 bits
// of (l + 16384) >> 15, where a wrap of l + 16384 makes a difference of 2^17),
// and the path from one sample to the next loses its sign extension. False
// (nothing written, state unchanged) when a sum leaves that range.
inline bool hp_block_unwrapped(const Zin16s* x, Zin16s* y, HpState& st) {
    std::int64_t z2 = static_cast<Zin32s>(st.z2);
    Zin32s z1 = st.z1;
    Zin16s out[8];
    std::uint64_t outside = 0;
    for (int i = 0; i < 8; ++i) {
        const Zin32s s = (Zin32s{x[i]} >> 3) << 2;
        const std::int64_t l = (z2 + (std::int64_t{s - z1} << 15)) + ((16384 - z2 - (z2 << 5)) >> 15);
        outside |= static_cast<std::uint64_t>(l + 0x80000000LL) > 0xFFFFFFFFull;
        out[i] = fx::wrap16(static_cast<Zin32s>((l + 16384) >> 15));
        z2 = l;
        z1 = s;
    }
    if (outside) return false;
    for (int i = 0; i < 8; ++i) y[i] = out[i];
    st.z2 = static_cast<std::uint32_t>(z2);
    st.z1 = z1;
    return true;
}

// The caller's memory is six bytes: the 32-bit z2, then the 16-bit z1 at
// byte 4. z1 is a sample shifted right 3 and left 2, so 16 bits hold it.
void high_pass(const Zin16s* src, Zin16s* dst, int len, Zin32s* mem) {
    unsigned char* z1 = reinterpret_cast<unsigned char*>(mem) + 4;
    Zin16s z1v;
    std::memcpy(&z1v, z1, 2);
    HpState st{static_cast<std::uint32_t>(mem[0]), Zin32s{z1v}};
    int n = 0;
    if ((len & 7) == 0) {
        // Blocks of eight; a block whose sums leave the 32-bit range (only
        // from a memory the caller filled) runs again with the wrap.
        for (; n < len; n += 8) {
            if (hp_block_unwrapped(src + n, dst + n, st)) continue;
            for (int i = 0; i < 8; ++i) dst[n + i] = hp_step(src[n + i], st);
        }
    } else {
        for (; n < len; ++n) dst[n] = hp_step(src[n], st);
    }
    mem[0] = static_cast<Zin32s>(st.z2);
    z1v = static_cast<Zin16s>(st.z1);
    std::memcpy(z1, &z1v, 2);
}

// ---- 4.2.3 preemphasis -------------------------------------------------

constexpr Zin16s kPreemph = -28180;  // GSM 06.10 4.2.3, beta = 0.86

void preemphasize(const Zin16s* src, Zin16s* dst, int len, Zin16s* mem) {
    const Zin16s last = src[len - 1];
    const auto a = reinterpret_cast<std::uintptr_t>(src), b = reinterpret_cast<std::uintptr_t>(dst);
    const std::uintptr_t bytes = static_cast<std::uintptr_t>(len) * 2;
    const bool disjoint = a + bytes <= b || b + bytes <= a;
    int n = 0;
    if (disjoint && len >= 8) {
        // y[n] = x[n] + mult_r(x[n-1], beta): _mm_mulhrs_epi16 is exactly
        // (a*b + 2^14) >> 15, and beta is not -32768, so nothing saturates
        // in the product; the sum saturates as the standard's add.
        const __m128i beta = _mm_set1_epi16(kPreemph);
        dst[0] = add16(src[0], mul_r15(*mem, kPreemph));
        n = 1;
        for (; n + 8 <= len; n += 8) {
            const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + n));
            const __m128i xp = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + n - 1));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + n), _mm_adds_epi16(x, _mm_mulhrs_epi16(xp, beta)));
        }
        for (; n < len; ++n) dst[n] = add16(src[n], mul_r15(src[n - 1], kPreemph));
    } else {
        // Sequential path: in place, or with any overlap, each input is read
        // before its own output is written.
        Zin16s prev = *mem;
        for (; n < len; ++n) {
            const Zin16s x = src[n];
            dst[n] = add16(x, mul_r15(prev, kPreemph));
            prev = x;
        }
    }
    *mem = last;
}

// ---- 4.3.5 to 4.3.7 deemphasis, upscaling, truncation --------------------

void deemphasize(Zin16s* sd, int len, Zin16s* mem) {
    // The recursion runs in lane 0 of a vector: pmulhrsw is mult_r for a
    // factor other than -32768, and paddsw the saturating add, both with a
    // short latency on the path from one sample to the next.
    const __m128i beta = _mm_cvtsi32_si128(28180);  // GSM 06.10 4.3.5, beta = 0.86
    const __m128i mask = _mm_cvtsi32_si128(0xFFF8);
    __m128i m = _mm_cvtsi32_si128(static_cast<std::uint16_t>(*mem));
    for (int n = 0; n < len; ++n) {
        m = _mm_adds_epi16(_mm_cvtsi32_si128(static_cast<std::uint16_t>(sd[n])), _mm_mulhrs_epi16(m, beta));
        sd[n] = static_cast<Zin16s>(_mm_cvtsi128_si32(_mm_and_si128(_mm_adds_epi16(m, m), mask)));
    }
    *mem = static_cast<Zin16s>(_mm_cvtsi128_si32(m));
}

// ---- 4.2.13 weighting filter -------------------------------------------

// GSM 06.10 Table 4.4: the weighting filter's impulse response.
constexpr Zin16s kH[11] = {-134, -374, 0, 2054, 5741, 8192, 5741, 2054, 0, -374, -134};
static_assert(kH[0] == kH[10] && kH[1] == kH[9] && kH[3] == kH[7] && kH[4] == kH[6] && kH[2] == 0 && kH[8] == 0 &&
                  kH[5] == 8192,
              "the vector path of the weighting filter relies on this shape");

inline Zin16s weight_one(const Zin16s* src, int n) {
    // |sum| < 32768 * 24798 + 4096: no overflow in 32 bits.
    Zin32s acc = 4096;
    for (int k = 0; k < 11; ++k) acc += Zin32s{kH[k]} * src[n + k - 5];
    return sat16(acc >> 13);
}

void weighting(const Zin16s* src, Zin16s* dst, int len) {
    // H is symmetric, H[k] = H[10-k], and H[2] = H[8] = 0: pmaddwd on the
    // pairs (src[n+k-5], src[n+5-k]) takes two taps in one product, four pairs
    // in all, and the centre tap 8192 is a shift by 13. The sum is exact in
    // 32 bits as in the scalar statement.
    int n = 0;
    const __m128i rnd = _mm_set1_epi32(4096);
    const __m128i zero = _mm_setzero_si128();
    for (; n + 8 <= len; n += 8) {
        const Zin16s* x = src + n;
        const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(x));
        __m128i lo = _mm_add_epi32(rnd, _mm_srai_epi32(_mm_unpacklo_epi16(zero, c), 3));
        __m128i hi = _mm_add_epi32(rnd, _mm_srai_epi32(_mm_unpackhi_epi16(zero, c), 3));
        static constexpr int kPairs[4] = {0, 1, 3, 4};  // k paired with 10 - k
        for (int k : kPairs) {
            const __m128i h = _mm_set1_epi32(static_cast<Zin32s>(static_cast<std::uint16_t>(kH[k]) * 0x10001u));
            const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(x + k - 5));
            const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(x + 5 - k));
            lo = _mm_add_epi32(lo, _mm_madd_epi16(_mm_unpacklo_epi16(a, b), h));
            hi = _mm_add_epi32(hi, _mm_madd_epi16(_mm_unpackhi_epi16(a, b), h));
        }
        lo = _mm_srai_epi32(lo, 13);
        hi = _mm_srai_epi32(hi, 13);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + n), _mm_packs_epi32(lo, hi));
    }
    for (; n < len; ++n) dst[n] = weight_one(src, n);
}

// ---- 4.2.5 Schur recursion ------------------------------------------------

// Reflection coefficient from P[0] and P[1], or false when |P[1]| >= P[0]
// ends the recursion (the coefficient is then +-32767 and the rest zero).
inline bool reflection(Zin16s p0, Zin16s p1, Zin16s& r) {
    const Zin16s m = fx::abs16(p1);
    if (m >= p0) {
        r = p1 <= 0 ? Zin16s{32767} : Zin16s{-32767};
        return false;
    }
    const Zin16s q = static_cast<Zin16s>((Zin32s{m} << 15) / p0);
    r = p1 > 0 ? static_cast<Zin16s>(-q) : q;
    return true;
}

template <int Order>
void schur_fixed(Zin16s* P, Zin16s* K, Zin16s* r) {
    for (int n = 1; n <= Order; ++n) {
        Zin16s rn;
        if (!reflection(P[0], P[1], rn)) {
            r[n - 1] = rn;
            for (int i = n; i < Order; ++i) r[i] = 0;
            return;
        }
        r[n - 1] = rn;
        if (n == Order) return;
        P[0] = add16(P[0], fx::mul16_round(P[1], rn));
#pragma GCC unroll 8
        for (int m = 1; m <= Order - n; ++m) {
            const Zin16s pm = add16(P[m + 1], fx::mul16_round(K[m], rn));
            K[m] = add16(K[m], fx::mul16_round(P[m + 1], rn));
            P[m] = pm;
        }
    }
}

void schur_loop(Zin16s* P, Zin16s* K, Zin16s* r, int order) {
    for (int n = 1; n <= order; ++n) {
        Zin16s rn;
        if (!reflection(P[0], P[1], rn)) {
            r[n - 1] = rn;
            for (int i = n; i < order; ++i) r[i] = 0;
            return;
        }
        r[n - 1] = rn;
        if (n == order) return;
        P[0] = add16(P[0], fx::mul16_round(P[1], rn));
        for (int m = 1; m <= order - n; ++m) {
            const Zin16s pm = add16(P[m + 1], fx::mul16_round(K[m], rn));
            K[m] = add16(K[m], fx::mul16_round(P[m + 1], rn));
            P[m] = pm;
        }
    }
}

void schur(const Zin32s* acf, Zin16s* r, int order) {
    if (acf[0] == 0) {
        Zero_16s(r, order);
        return;
    }
    const int sh = Norm_32s(acf[0]);
    Zin16s P[9], K[9];
    for (int i = 0; i <= order; ++i)
        P[i] = static_cast<Zin16s>(static_cast<Zin32s>(static_cast<std::uint32_t>(acf[i]) << sh) >> 16);
    for (int i = 1; i < order; ++i) K[i] = P[i];
    if (order == 8)
        schur_fixed<8>(P, K, r);
    else if (order == 4)
        schur_fixed<4>(P, K, r);
    else
        schur_loop(P, K, r, order);
}

// ---- 4.2.10 and 4.3.4 the order-8 lattices ----------------------------------

bool has_min16(const Zin16s* c) {
    for (int i = 0; i < 8; ++i)
        if (c[i] == -32768) return true;
    return false;
}

void analysis_lattice_scalar(const Zin16s* rp, Zin16s* s, int len, Zin16s* mem) {
    Zin16s u[8], c[8];
    for (int i = 0; i < 8; ++i) u[i] = mem[i], c[i] = rp[i];
    for (int n = 0; n < len; ++n) {
        Zin16s d = s[n], sav = d;
        for (int i = 0; i < 8; ++i) {
            const Zin16s ui = u[i];
            u[i] = sav;
            sav = add16(ui, fx::mul16_round(c[i], d));
            d = add16(d, fx::mul16_round(c[i], ui));
        }
        s[n] = d;
    }
    for (int i = 0; i < 8; ++i) mem[i] = u[i];
}

// The eight stages as a wavefront in the lanes of one vector: at step t,
// lane i works on sample t - i. Stage i needs d_i of its sample (lane i-1 one
// step before) and u_i, the sav_i of the sample before (lane i-1 two steps
// before), so every step takes its inputs from the step before. pmulhrsw is
// mult_r exactly while no coefficient is -32768.
void analysis_lattice_wave(const Zin16s* rp, Zin16s* s, int len, Zin16s* mem) {
    const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(rp));
    const __m128i m = _mm_loadu_si128(reinterpret_cast<const __m128i*>(mem));
    const Zin16s last = s[len - 1];
    // Lane i of kLane[i] is all ones.
    alignas(16) static constexpr Zin16s kLane[8][8] = {
        {-1, 0, 0, 0, 0, 0, 0, 0}, {0, -1, 0, 0, 0, 0, 0, 0}, {0, 0, -1, 0, 0, 0, 0, 0}, {0, 0, 0, -1, 0, 0, 0, 0},
        {0, 0, 0, 0, -1, 0, 0, 0}, {0, 0, 0, 0, 0, -1, 0, 0}, {0, 0, 0, 0, 0, 0, -1, 0}, {0, 0, 0, 0, 0, 0, 0, -1}};
    auto lane_mask = [](int i) { return _mm_load_si128(reinterpret_cast<const __m128i*>(kLane[i])); };
    __m128i dout = _mm_setzero_si128(), s1 = _mm_setzero_si128(), s2 = _mm_setzero_si128();
    // The new memory: u[i+1] is sav_i of sample len-1, which lane i gives at
    // step len-1+i; gathered in lane i of mout.
    __m128i mout = _mm_setzero_si128();
    auto advance = [&](__m128i d, __m128i u) {
        dout = _mm_adds_epi16(d, _mm_mulhrs_epi16(c, u));
        s2 = s1;
        s1 = _mm_adds_epi16(u, _mm_mulhrs_epi16(c, d));
    };
    auto keep_memory = [&](int t) {
        const int lane = t - (len - 1);
        if (lane >= 0 && lane <= 6) mout = _mm_blendv_epi8(mout, s1, lane_mask(lane));
    };
    const int steps = len + 7;
    int t = 0;
    // Head, steps 0..7: the samples come from a copy with eight zeros before
    // it, and lane t meets its first sample, whose u is the memory.
    alignas(16) Zin16s head[16] = {};
    for (int i = 0; i < 8 && i < len; ++i) head[8 + i] = s[i];
    for (; t < 8 && t < steps; ++t) {
        const __m128i xv = _mm_loadu_si128(reinterpret_cast<const __m128i*>(head + 1 + t));  // top lane x[t]
        const __m128i xp = _mm_loadu_si128(reinterpret_cast<const __m128i*>(head + t));      // top lane x[t-1]
        const __m128i u = _mm_blendv_epi8(_mm_alignr_epi8(s2, xp, 14), m, lane_mask(t));
        advance(_mm_alignr_epi8(dout, xv, 14), u);
        if (t == 7) s[0] = static_cast<Zin16s>(_mm_extract_epi16(dout, 7));
        keep_memory(t);
    }
    // Steady state: every lane busy, the new sample enters lane 0 by palignr
    // from a load whose top lane holds it (the lanes below it may already be
    // outputs; they are not used).
    if (t < len) {
        __m128i xprev = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + t - 8));
        for (; t < len; ++t) {
            const __m128i xv = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + t - 7));
            advance(_mm_alignr_epi8(dout, xv, 14), _mm_alignr_epi8(s2, xprev, 14));
            s[t - 7] = static_cast<Zin16s>(_mm_extract_epi16(dout, 7));
            xprev = xv;
        }
        keep_memory(len - 1);
    }
    // Tail: lane 0 runs past the input; what it computes reaches no output.
    for (; t < steps; ++t) {
        advance(_mm_slli_si128(dout, 2), _mm_slli_si128(s2, 2));
        s[t - 7] = static_cast<Zin16s>(_mm_extract_epi16(dout, 7));
        keep_memory(t);
    }
    alignas(16) Zin16s sv[8];
    _mm_store_si128(reinterpret_cast<__m128i*>(sv), mout);
    mem[0] = last;
    for (int i = 0; i < 7; ++i) mem[i + 1] = sv[i];
}

void analysis_lattice(const Zin16s* rp, Zin16s* s, int len, Zin16s* mem) {
    if (has_min16(rp))
        analysis_lattice_scalar(rp, s, len, mem);
    else
        analysis_lattice_wave(rp, s, len, mem);
}

void synthesis_lattice(const Zin16s* rrp, const Zin16s* src, Zin16s* dst, int len, Zin16s* mem) {
    if (has_min16(rrp)) {
        Zin16s v[9], c[8];
        for (int i = 0; i < 8; ++i) v[i] = mem[i], c[i] = rrp[i];
        v[8] = 0;
        for (int n = 0; n < len; ++n) {
            Zin16s sr = src[n];
            for (int i = 7; i >= 0; --i) {
                sr = sub16(sr, fx::mul16_round(c[i], v[i]));
                v[i + 1] = add16(v[i], fx::mul16_round(c[i], sr));
            }
            v[0] = sr;
            dst[n] = sr;
        }
        for (int i = 0; i < 8; ++i) mem[i] = v[i];
        return;
    }
    // Each stage value in lane 0 of its own vector: pmulhrsw is mult_r and
    // psubsw/paddsw the saturating sub and add, one instruction each, which
    // keeps both the sample-to-sample path and the count of operations short.
    __m128i vv[9], cc[8];
    for (int i = 0; i < 8; ++i) {
        vv[i] = _mm_cvtsi32_si128(static_cast<std::uint16_t>(mem[i]));
        cc[i] = _mm_cvtsi32_si128(static_cast<std::uint16_t>(rrp[i]));
    }
    vv[8] = _mm_setzero_si128();
    for (int n = 0; n < len; ++n) {
        __m128i sr = _mm_cvtsi32_si128(static_cast<std::uint16_t>(src[n]));
#pragma GCC unroll 8
        for (int i = 7; i >= 0; --i) {
            sr = _mm_subs_epi16(sr, _mm_mulhrs_epi16(cc[i], vv[i]));
            vv[i + 1] = _mm_adds_epi16(vv[i], _mm_mulhrs_epi16(cc[i], sr));
        }
        vv[0] = sr;
        dst[n] = static_cast<Zin16s>(_mm_cvtsi128_si32(sr));
    }
    for (int i = 0; i < 8; ++i) mem[i] = static_cast<Zin16s>(_mm_cvtsi128_si32(vv[i]));
}

// ---- 4.2.16 APCM inverse quantisation ---------------------------------------

void rpe_decode(const Zin16s* codes, Zin16s fac, int shift, Zin16s* dst) {
    if (shift > 15) shift = 15;
    // Thirteen values as two overlapping vectors of eight (0..7 and 5..12).
    // The shift by 12 wraps in 16 bits as the scalar statement; pmulhrsw is
    // (fac * t + 16384) >> 15 in 16 bits, -32768 * -32768 included, and the
    // rounding value at most 2^14 is added with saturation.
    const __m128i f = _mm_set1_epi16(fac);
    const __m128i rnd = _mm_set1_epi16(static_cast<Zin16s>(shift > 0 ? 1 << (shift - 1) : 0));
    const __m128i sh = _mm_cvtsi32_si128(shift);
    const __m128i seven = _mm_set1_epi16(7);
    auto eight = [&](int at) {
        const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(codes + at));
        const __m128i t = _mm_slli_epi16(_mm_sub_epi16(_mm_add_epi16(c, c), seven), 12);
        return _mm_sra_epi16(_mm_adds_epi16(_mm_mulhrs_epi16(f, t), rnd), sh);
    };
    const __m128i lo = eight(0), hi = eight(5);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 5), hi);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), lo);
}

}  // namespace

// ---- exports ------------------------------------------------------------------

ZinStatus body::zinsHighPassFilter_GSMFR_16s(const Zin16s* pSrc, Zin16s* pDst, int len, Zin32s* pMem) {
    if (!pSrc || !pDst || !pMem) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    high_pass(pSrc, pDst, len, pMem);
    return zinStsNoErr;
}

ZinStatus body::zinsPreemphasize_GSMFR_16s(const Zin16s* pSrc, Zin16s* pDst, int len, Zin16s* pMem) {
    if (!pSrc || !pDst || !pMem) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    preemphasize(pSrc, pDst, len, pMem);
    return zinStsNoErr;
}

ZinStatus body::zinsDeemphasize_GSMFR_16s_I(Zin16s* pSrcDst, int len, Zin16s* pMem) {
    if (!pSrcDst || !pMem) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    deemphasize(pSrcDst, len, pMem);
    return zinStsNoErr;
}

ZinStatus body::zinsWeightingFilter_GSMFR_16s(const Zin16s* pSrc, Zin16s* pDst, int len) {
    if (!pSrc || !pDst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    weighting(pSrc, pDst, len);
    return zinStsNoErr;
}

ZinStatus body::zinsSchur_GSMFR_32s16s(const Zin32s* pSrc, Zin16s* pDst, int order) {
    if (!pSrc || !pDst) return zinStsNullPtrErr;
    // A negative order passes, as a fault of the caller that does nothing.
    if (order == 0 || order > 8) return zinStsSizeErr;
    if (order < 0) return zinStsNoErr;
    schur(pSrc, pDst, order);
    return zinStsNoErr;
}

ZinStatus body::zinsShortTermAnalysisFilter_GSMFR_16s_I(const Zin16s* pRC, Zin16s* pSrcDst, int len, Zin16s* pMem) {
    if (!pRC || !pSrcDst || !pMem) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    analysis_lattice(pRC, pSrcDst, len, pMem);
    return zinStsNoErr;
}

ZinStatus body::zinsShortTermSynthesisFilter_GSMFR_16s(const Zin16s* pRC, const Zin16s* pSrc, Zin16s* pDst, int len,
                                                       Zin16s* pMem) {
    if (!pRC || !pSrc || !pDst || !pMem) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    synthesis_lattice(pRC, pSrc, pDst, len, pMem);
    return zinStsNoErr;
}

ZinStatus body::zinsRPEQuantDecode_GSMFR_16s(const Zin16s* pSrc, Zin16s ampl, Zin16s amplSfs, Zin16s* pDst) {
    if (!pSrc || !pDst) return zinStsNullPtrErr;
    if (amplSfs < 0) return zinStsScaleRangeErr;
    rpe_decode(pSrc, ampl, amplSfs, pDst);
    return zinStsNoErr;
}

}  // namespace zin
