// The GSM 06.10 filter blocks on the checking harness: each block's plain
// statement over many lengths and misaligned exact-size buffers, each memory
// exactly its bytes (the offset compensation's six), split calls. The whole
// codec against libgsm (tests/codecs) is the oracle for the statements.
#include <gtest/gtest.h>

#include <cstring>

#include "check.h"

namespace {

using zt::Buf;
using zt::by_off;
using zt::Gen;
using zt::Pattern;
using zt::sat16;

int16_t mult_r(int16_t a, int16_t b) { return sat16((int32_t{a} * b + 16384) >> 15); }

// GSM 06.10 Table 4.6: FAC by the mantissa of the block maximum.
constexpr int16_t kFac[8] = {18431, 20479, 22527, 24575, 26623, 28671, 30719, 32767};

// The bytes of `v` as a memory of exactly that size, 4-byte aligned.
Buf<uint8_t> memory(Gen& g, const void* v, std::size_t n) {
    Buf<uint8_t> m(n, 4 * static_cast<std::size_t>(g.pick(0, 7)));
    std::memcpy(m.p(), v, n);
    return m;
}

// A filter call: source, destination, length, memory, the lattices' coefficients.
struct Filt {
    Buf<int16_t> src, dst;
    int len;
    Buf<uint8_t> mem;
    Buf<int16_t> rc = {};
    int ov = 2;  // preemphasis: 2 separate buffers, else dst = src + ov in one buffer
    auto bufs() { return std::tie(src, dst, mem, rc); }
    int16_t* m16() { return mem.as<int16_t>(); }
};

std::vector<zt::Check<Filt>> filt_checks(std::vector<zt::Check<Filt>> c) {
    for (int n : {0, -1}) c.push_back(zt::set(zinStsSizeErr, &Filt::len, n));
    return c;
}

// The 32-bit sums wrap where the standard's L_ADD saturates (from a zero
// memory the two agree). Memories zero, within 2^30, or anywhere: sums that
// wrap in the scalar path and in the blocks of eight.
TEST(GsmFrBlocks, HighPass) {
    auto f = [](Filt& a, int from, int n) { return zinsHighPassFilter_GSMFR_16s(a.src.at(from), a.dst.at(from), n, a.mem.as<Zin32s>()); };
    zt::check(zt::Export<Filt>{
        .name = "zinsHighPassFilter_GSMFR_16s",
        .make = [](Gen& g) {
            const int64_t span = by_off<int64_t>(g, {0, 1 << 20, 1 << 30, INT32_MAX});
            const int32_t m[2] = {zt::random32(1, -span, span)[0], span ? g.pick(-4096, 4095) * 4 : 0};  // z2, z1 (little-endian)
            return Filt{g.in16(g.len), g.out<int16_t>(g.len), g.len, memory(g, m, 6)};
        },
        .call = zt::whole(f),
        .plain = [](Filt& a) {
            int32_t z2 = a.mem.as<int32_t>()[0], z1 = a.m16()[2];
            for (int i = 0; i < a.len; ++i) {
                const int32_t s = (a.src[i] >> 3) * 4;
                const int32_t l = zt::wrap32((int64_t{s - z1} << 15) + (int64_t{z2} >> 15) * 32735 +
                                             (((z2 & 0x7FFF) * 32735 + 16384) >> 15));
                a.dst[i] = static_cast<int16_t>(zt::wrap32(int64_t{l} + 16384) >> 15);
                z2 = l, z1 = s;
            }
            a.mem.as<int32_t>()[0] = z2, a.m16()[2] = static_cast<int16_t>(z1);
            return zinStsNoErr;
        },
        .checks = filt_checks({zt::null(&Filt::src), zt::null(&Filt::dst), zt::null(&Filt::mem)}),
        .split = zt::in_two(f)});
}

// Separate buffers, in place, and the destination one behind or one ahead
// of the source: the statement runs sample by sample on the shared words,
// and the memory takes the last input as it was before the call.
int16_t* pre_src(Filt& a) { return a.src.at(a.ov == -1 ? 1 : 0); }
int16_t* pre_dst(Filt& a) { return a.ov == 2 ? a.dst.p() : a.src.at(a.ov == 1 ? 1 : 0); }

TEST(GsmFrBlocks, Preemphasis) {
    auto f = [](Filt& a, int from, int n) {
        return zinsPreemphasize_GSMFR_16s(pre_src(a) ? pre_src(a) + from : nullptr, pre_dst(a) ? pre_dst(a) + from : nullptr, n, a.m16());
    };
    zt::check(zt::Export<Filt>{
        .name = "zinsPreemphasize_GSMFR_16s",
        .make = [](Gen& g) {
            return Filt{g.in16(g.len + 1), g.out<int16_t>(g.len), g.len, memory(g, g.in16(1).p(), 2), {}, by_off(g, {2, 0, -1, 1, 2})};
        },
        .call = zt::whole(f),
        .plain = [](Filt& a) {
            int16_t *s = pre_src(a), *d = pre_dst(a), prev = a.m16()[0], last = s[a.len - 1];
            for (int i = 0; i < a.len; ++i) {
                const int16_t v = s[i];
                d[i] = sat16(v + mult_r(prev, -28180)), prev = v;
            }
            a.m16()[0] = last;
            return zinStsNoErr;
        },
        .checks = filt_checks({zt::null(&Filt::src), zt::null(&Filt::dst), zt::null(&Filt::mem)}),
        // A destination one ahead overwrites the input that a second call's memory would take.
        .split = [f](Filt& a, int cut) { return a.ov == 1 ? f(a, 0, a.len) : zt::in_two(f)(a, cut); }});
}

// Full positive scale gives 32760; the memory holds m, not the output.
TEST(GsmFrBlocks, Deemphasis) {
    auto f = [](Filt& a, int from, int n) { return zinsDeemphasize_GSMFR_16s_I(a.src.at(from), n, a.m16()); };
    zt::check(zt::Export<Filt>{
        .name = "zinsDeemphasize_GSMFR_16s_I",
        .make = [](Gen& g) { return Filt{g.in16(g.len), {}, g.len, memory(g, g.in16(1).p(), 2)}; },
        .call = zt::whole(f),
        .plain = [](Filt& a) {
            int16_t& m = a.m16()[0];
            for (int i = 0; i < a.len; ++i) {
                m = sat16(a.src[i] + mult_r(m, 28180));
                a.src[i] = static_cast<int16_t>(sat16(2 * m) & ~7);
            }
            return zinStsNoErr;
        },
        .checks = filt_checks({zt::null(&Filt::src), zt::null(&Filt::mem)}),
        .split = zt::in_two(f)});
}

// GSM 06.10 4.2.13: five samples either side.
TEST(GsmFrBlocks, WeightingFilter) {
    static constexpr int kH[11] = {-134, -374, 0, 2054, 5741, 8192, 5741, 2054, 0, -374, -134};  // Table 4.4
    zt::check(zt::Export<Filt>{
        .name = "zinsWeightingFilter_GSMFR_16s",
        .make = [](Gen& g) { return Filt{g.in16(g.len + 10), g.out<int16_t>(g.len), g.len, {}}; },
        .call = [](Filt& a) { return zinsWeightingFilter_GSMFR_16s(a.src.at(5), a.dst, a.len); },
        .plain = [](Filt& a) {
            for (int i = 0; i < a.len; ++i) {
                int64_t acc = 4096;
                for (int k = 0; k < 11; ++k) acc += int64_t{kH[k]} * a.src[i + k];
                a.dst[i] = sat16(acc >> 13);
            }
            return zinStsNoErr;
        },
        .checks = filt_checks({zt::null(&Filt::src), zt::null(&Filt::dst)})});
}

struct Schur {
    Buf<int32_t> acf;
    Buf<int16_t> r;
    int order;
    auto bufs() { return std::tie(acf, r); }
};

// The autocorrelation of a coloured signal, so that the coefficients spread
// over their range; by pattern a zero first value, a breakdown of the
// recursion by either sign, and a negative first value.
Schur make_schur(Gen& g) {
    const int order = by_off(g, {1, 2, 3, 4, 5, 6, 7, 8});
    std::vector<int16_t> s = zt::random16(160, -2000, 2000);
    for (int i = 1; i < 160; ++i) s[i] = sat16(s[i] + ((s[i - 1] * (g.len * 331 % 60000 - 30000)) >> 15));
    std::vector<int32_t> acf(order + 1);
    for (int k = 0; k <= order; ++k) {
        int64_t sum = 0;
        for (int i = k; i < 160; ++i) sum += s[i] * s[i - k];
        acf[k] = zt::wrap32(sum / 8);
    }
    if (g.pat == Pattern::Silence) acf[0] = 0;
    if (g.pat == Pattern::FullScalePositive) acf[1] = acf[0];
    if (g.pat == Pattern::FullScaleNegative) acf[1] = -acf[0];
    if (g.pat == Pattern::Alternating) acf[0] = -acf[0], acf[1] = 0;
    return {Buf<int32_t>(acf, g.next_off(4)), g.out<int16_t>(order), order};
}

TEST(GsmFrBlocks, Schur) {
    zt::check(zt::Export<Schur>{
        .name = "zinsSchur_GSMFR_32s16s",
        .make = make_schur,
        .call = [](Schur& a) { return zinsSchur_GSMFR_32s16s(a.acf, a.r, a.order); },
        .plain = [](Schur& a) {
            const int n = a.order;
            std::fill(a.r.p(), a.r.p() + n, 0);
            if (a.acf[0] == 0) return zinStsNoErr;
            const int sh = __builtin_clrsb(a.acf[0]);  // Norm_32s
            int16_t P[9], K[9];
            for (int i = 0; i <= n; ++i) P[i] = K[i] = static_cast<int16_t>((int64_t{a.acf[i]} << sh) >> 16);
            for (int k = 1; k <= n; ++k) {
                const int m = std::min(std::abs(int{P[1]}), 32767);
                if (m >= P[0]) {
                    a.r[k - 1] = P[1] <= 0 ? 32767 : -32767;
                    return zinStsNoErr;
                }
                const int q = (m << 15) / P[0];
                a.r[k - 1] = static_cast<int16_t>(P[1] > 0 ? -q : q);
                P[0] = sat16(P[0] + mult_r(P[1], a.r[k - 1]));
                for (int j = 1; j <= n - k; ++j)
                    std::tie(P[j], K[j]) = std::pair(sat16(P[j + 1] + mult_r(K[j], a.r[k - 1])), sat16(K[j] + mult_r(P[j + 1], a.r[k - 1])));
            }
            return zinStsNoErr;
        },
        .checks = {zt::null(&Schur::acf), zt::null(&Schur::r), zt::set(zinStsSizeErr, &Schur::order, 0),
                   zt::set(zinStsSizeErr, &Schur::order, 9),
                   zt::set(zinStsNoErr, &Schur::order, -1, "a negative order passes and computes nothing")}},
        zt::Sweep{zt::short_lengths()});
}

// Coefficients of a usable lattice, with -32768 meeting -32768 in the signal
// (mult_r saturates) and the largest coefficient on the vector paths.
Filt make_lattice(Gen& g) {
    Buf<int16_t> rc = g.in16(8, -32000, 32000);
    if (g.pat == Pattern::FullScaleNegative || g.pat == Pattern::Alternating) rc[g.len % 8] = -32768;
    if (g.pat == Pattern::Random || g.pat == Pattern::FullScalePositive) rc[(g.len + 3) % 8] = 32767;
    const Buf<int16_t> m = g.in16(8, -20000, 20000);
    return {g.in16(g.len), g.out<int16_t>(g.len), g.len, memory(g, m.p(), 16), rc};
}

TEST(GsmFrBlocks, Lattices) {
    auto ana = [](Filt& a, int from, int n) { return zinsShortTermAnalysisFilter_GSMFR_16s_I(a.rc, a.src.at(from), n, a.m16()); };
    zt::check(zt::Export<Filt>{
        .name = "zinsShortTermAnalysisFilter_GSMFR_16s_I",
        .make = make_lattice,
        .call = zt::whole(ana),
        .plain = [](Filt& a) {
            int16_t* u = a.m16();
            for (int k = 0; k < a.len; ++k) {
                int16_t d = a.src[k], sav = d;
                for (int i = 0; i < 8; ++i) {
                    const int16_t ui = std::exchange(u[i], sav);
                    sav = sat16(ui + mult_r(a.rc[i], d)), d = sat16(d + mult_r(a.rc[i], ui));
                }
                a.src[k] = d;
            }
            return zinStsNoErr;
        },
        .checks = filt_checks({zt::null(&Filt::rc), zt::null(&Filt::src), zt::null(&Filt::mem)}),
        .split = zt::in_two(ana)});
    auto syn = [](Filt& a, int from, int n) {
        return zinsShortTermSynthesisFilter_GSMFR_16s(a.rc, a.src.at(from), a.dst.at(from), n, a.m16());
    };
    zt::check(zt::Export<Filt>{
        .name = "zinsShortTermSynthesisFilter_GSMFR_16s",
        .make = make_lattice,
        .call = zt::whole(syn),
        .plain = [](Filt& a) {
            int16_t* v = a.m16();
            for (int k = 0; k < a.len; ++k) {
                int16_t s = a.src[k], nv[9];
                for (int i = 7; i >= 0; --i) {
                    s = sat16(s - mult_r(a.rc[i], v[i]));
                    nv[i + 1] = sat16(v[i] + mult_r(a.rc[i], s));
                }
                for (int i = 7; i >= 1; --i) v[i] = nv[i];
                v[0] = a.dst[k] = s;
            }
            return zinStsNoErr;
        },
        .checks = filt_checks({zt::null(&Filt::rc), zt::null(&Filt::src), zt::null(&Filt::dst), zt::null(&Filt::mem)}),
        .split = zt::in_two(syn)});
}

struct Rpe {
    Buf<int16_t> codes;
    int fac, shift;
    Buf<int16_t> dst;
    auto bufs() { return std::tie(codes, dst); }
};

// Codes 0 to 7 with each FAC at every shift 0 to 20; and any codes and
// multipliers, -32768 included: the wraps of the 16-bit statement.
TEST(GsmFrBlocks, RpeQuantDecode) {
    zt::check(zt::Export<Rpe>{
        .name = "zinsRPEQuantDecode_GSMFR_16s",
        .make = [](Gen& g) {
            const bool table = g.pat == Pattern::Random || g.pat == Pattern::Silence;
            return Rpe{table ? g.in16(13, 0, 7) : g.in16(13), table ? kFac[g.off] : (g.off == 7 ? -32768 : g.pick(-32768, 32767)),
                       g.len % 21, g.out<int16_t>(13)};
        },
        .call = [](Rpe& a) { return zinsRPEQuantDecode_GSMFR_16s(a.codes, int16_t(a.fac), int16_t(a.shift), a.dst); },
        .plain = [](Rpe& a) {
            const int sh = std::min(a.shift, 15);
            for (int i = 0; i < 13; ++i) {
                const int16_t t = static_cast<int16_t>((2 * a.codes[i] - 7) * 4096);
                const int16_t p = static_cast<int16_t>((a.fac * t + 16384) >> 15);
                a.dst[i] = static_cast<int16_t>(sat16(p + (sh ? 1 << (sh - 1) : 0)) >> sh);
            }
            return zinStsNoErr;
        },
        .checks = {zt::null(&Rpe::codes), zt::null(&Rpe::dst), zt::set(zinStsScaleRangeErr, &Rpe::shift, -1)}},
        zt::Sweep{zt::short_lengths()});
}

}  // namespace
