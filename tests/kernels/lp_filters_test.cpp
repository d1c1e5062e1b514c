// The LP filter exports through the public entries: check orders, the
// synthesis filter's saturation and overflow report against a statement built
// from the basic operators header, and every other filter against its plain
// scalar statement over many lengths, lags, orders and misaligned pointers.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "kernels/fixed_point.h"
#include "test_util.h"
#include "zinsc.h"

namespace {

using zt::Misaligned;
using zt::Pattern;
namespace fx = zin::fx;

constexpr auto lengths = zt::short_lengths;

// ---- synthesis filter: an independent statement ----------------------------
// acc = a0*x[n] + 2^(s-1) - sum a[k]*y[n-k], all wrapping in 32 bits (the
// wrap_* operators); y[n] = acc >> s, saturated with a report when `sat`.
struct SynthRef {
    std::vector<int16_t> y;
    bool overflow = false;
};

SynthRef synth_ref(const int16_t* a, const std::vector<int16_t>& x, int s, const int16_t* mem, bool sat) {
    const int len = static_cast<int>(x.size());
    std::vector<int16_t> h(10 + len, 0);
    if (mem) std::copy(mem, mem + 10, h.begin());
    SynthRef r;
    for (int n = 0; n < len; ++n) {
        int32_t acc = fx::wrap_add32(fx::wrap_mul32(a[0], x[n]), int32_t{1} << (s - 1));
        for (int k = 1; k <= 10; ++k) acc = fx::wrap_sub32(acc, fx::wrap_mul32(a[k], h[10 + n - k]));
        const int32_t t = acc >> s;
        h[10 + n] = sat ? fx::sat16(t, r.overflow) : fx::wrap16(t);
    }
    r.y.assign(h.begin() + 10, h.end());
    return r;
}

// Coefficients in Q12 of a stable-ish predictor, or plain random ones.
std::vector<int16_t> coefficients(bool wild) {
    if (wild) return zt::random16(11);
    std::vector<int16_t> a = zt::random16(11, -1200, 1200);
    a[0] = 4096;
    a[1] = static_cast<int16_t>(-4096 + a[1] / 4);
    return a;
}

TEST(LpFilters, CheckOrder) {
    int16_t a[11] = {4096}, x[16] = {}, d[16], mem[10] = {};
    std::fill(d, d + 16, 77);
    EXPECT_EQ(zinsSynthesisFilter_NR_16s_Sfs(nullptr, x, d, 0, 14, mem), zinStsNullPtrErr);
    EXPECT_EQ(zinsSynthesisFilter_NR_16s_Sfs(a, x, nullptr, 4, 12, mem), zinStsNullPtrErr);
    EXPECT_EQ(zinsSynthesisFilter_NR_16s_Sfs(a, x, d, 0, 14, mem), zinStsSizeErr);
    EXPECT_EQ(zinsSynthesisFilter_NR_16s_Sfs(a, x, d, 4, 14, mem), zinStsScaleRangeErr);
    EXPECT_EQ(zinsSynthesisFilter_NR_16s_Sfs(a, x, d, 4, 11, nullptr), zinStsScaleRangeErr);
    EXPECT_EQ(zinsSynthesisFilter_NR_16s_ISfs(a, nullptr, 4, 12, mem), zinStsNullPtrErr);
    EXPECT_EQ(zinsSynthesisFilter_NR_16s_ISfs(a, d, -1, 12, mem), zinStsSizeErr);
    EXPECT_EQ(zinsSynthesisFilter_NR_16s_ISfs(a, d, 1, -13, mem), zinStsScaleRangeErr);
    EXPECT_EQ(zinsSynthesisFilterLow_NR_16s_ISfs(nullptr, d, 0, 0, mem), zinStsNullPtrErr);
    EXPECT_EQ(zinsSynthesisFilterLow_NR_16s_ISfs(a, d, 0, 0, mem), zinStsSizeErr);
    EXPECT_EQ(zinsSynthesisFilterLow_NR_16s_ISfs(a, d, 3, 0, mem), zinStsScaleRangeErr);
    EXPECT_EQ(zinsSynthesisFilterZeroStateResponse_NR_16s(a, nullptr, 0, 0), zinStsNullPtrErr);
    EXPECT_EQ(zinsSynthesisFilterZeroStateResponse_NR_16s(a, d, 0, 0), zinStsSizeErr);
    EXPECT_EQ(zinsSynthesisFilterZeroStateResponse_NR_16s(a, d, 3, 14), zinStsScaleRangeErr);

    EXPECT_EQ(zinsResidualFilter_Low_16s_Sfs(x + 4, 4, nullptr, d, 8, 0), zinStsNullPtrErr);
    EXPECT_EQ(zinsResidualFilter_Low_16s_Sfs(x + 4, 4, a, d, 0, -1), zinStsSizeErr);
    EXPECT_EQ(zinsResidualFilter_Low_16s_Sfs(x + 4, 0, a, d, 8, -1), zinStsSizeErr);
    EXPECT_EQ(zinsResidualFilter_Low_16s_Sfs(x + 4, 9, a, d, 8, -1), zinStsSizeErr) << "order above len";
    EXPECT_EQ(zinsResidualFilter_Low_16s_Sfs(x + 4, 4, a, d, 8, -1), zinStsScaleRangeErr);
    EXPECT_EQ(zinsResidualFilter_Low_16s_Sfs(x + 4, 4, a, d, 8, 16), zinStsScaleRangeErr);

    EXPECT_EQ(zinsHarmonicFilter_16s_I(1, 2, nullptr, 0), zinStsNullPtrErr);
    EXPECT_EQ(zinsHarmonicFilter_16s_I(1, 2, d, 0), zinStsSizeErr);
    EXPECT_EQ(zinsHarmonicFilter_NR_16s(1, 2, x, nullptr, 4), zinStsNullPtrErr);
    EXPECT_EQ(zinsHarmonicFilter_NR_16s(1, 2, x, d, -2), zinStsSizeErr);
    float f[4] = {}, m = 0;
    EXPECT_EQ(zinsHarmonicFilter_32f_I(1.f, 2, nullptr, 4), zinStsNullPtrErr);
    EXPECT_EQ(zinsHarmonicFilter_32f_I(1.f, 2, f, 0), zinStsSizeErr);
    EXPECT_EQ(zinsPreemphasize_32f_I(0.5f, f, 4, nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsPreemphasize_32f_I(0.5f, f, 0, &m), zinStsSizeErr);
    EXPECT_TRUE(std::all_of(d, d + 16, [](int16_t v) { return v == 77; })) << "nothing written on a refused call";
}

TEST(LpFilters, SynthesisMatchesOperatorStatement) {
    for (bool wild : {false, true})
        for (Pattern p : zt::kPatterns)
            for (int len : lengths())
                for (int s : {12, 13})
                    for (int off : {0, 1}) {
                        const std::vector<int16_t> a = coefficients(wild);
                        std::vector<int16_t> x = zt::pattern16(p, static_cast<std::size_t>(len));
                        if (p == Pattern::Random && !wild)
                            for (auto& v : x) v = static_cast<int16_t>(v / 8);
                        const std::vector<int16_t> mem = zt::pattern16(p == Pattern::Silence ? Pattern::Silence : Pattern::Random, 10);
                        Misaligned<int16_t> src(len, off), dst(len, off + 1);
                        src.assign(x);
                        // Memory given: saturated, with the report.
                        SynthRef r = synth_ref(a.data(), x, s, mem.data(), true);
                        ASSERT_EQ(zinsSynthesisFilter_NR_16s_Sfs(a.data(), src.data(), dst.data(), len, s, mem.data()),
                                  r.overflow ? zinStsOverflow : zinStsNoErr);
                        ASSERT_EQ(dst.vec(), r.y) << "len " << len << " scale " << s;
                        ASSERT_TRUE(dst.guards_intact());
                        // In place, the same.
                        Misaligned<int16_t> io(len, off);
                        io.assign(x);
                        ASSERT_EQ(zinsSynthesisFilter_NR_16s_ISfs(a.data(), io.data(), len, s, mem.data()),
                                  r.overflow ? zinStsOverflow : zinStsNoErr);
                        ASSERT_EQ(io.vec(), r.y);
                        // Null memory: zero history, wrapped samples, never a warning.
                        SynthRef z = synth_ref(a.data(), x, s, nullptr, false);
                        ASSERT_EQ(zinsSynthesisFilter_NR_16s_Sfs(a.data(), src.data(), dst.data(), len, s, nullptr), zinStsNoErr);
                        ASSERT_EQ(dst.vec(), z.y);
                        // Low: wrapped samples with the given memory.
                        SynthRef w = synth_ref(a.data(), x, s, mem.data(), false);
                        io.assign(x);
                        ASSERT_EQ(zinsSynthesisFilterLow_NR_16s_ISfs(a.data(), io.data(), len, s, mem.data()), zinStsNoErr);
                        ASSERT_EQ(io.vec(), w.y);
                        if (!r.overflow) {
                            ASSERT_EQ(w.y, r.y) << "Low equals the plain form when nothing clips";
                        }
                    }
}

TEST(LpFilters, SynthesisMemoryIsReadOnly) {
    // A pole near 1 drives a constant input to clip; the given memory is
    // read, never written, on the plain and on the reporting path.
    std::vector<int16_t> a(11, 0), x(40, 20000), m = zt::random16(10), keep = m;
    a[0] = 4096;
    a[1] = -4000;
    ASSERT_EQ(zinsSynthesisFilter_NR_16s_ISfs(a.data(), x.data(), 40, 12, m.data()), zinStsOverflow);
    EXPECT_EQ(x[39], 32767);
    ASSERT_EQ(zinsSynthesisFilterLow_NR_16s_ISfs(a.data(), x.data(), 40, 12, m.data()), zinStsNoErr);
    EXPECT_EQ(m, keep);
}

TEST(LpFilters, ZeroStateResponse) {
    for (bool wild : {false, true})
        for (int len : lengths())
            for (int s : {12, 13}) {
                const std::vector<int16_t> a = coefficients(wild);
                // The reference: dst[0] = a[0], then the free response with wrapping.
                std::vector<int16_t> want(len);
                want[0] = a[0];
                for (int n = 1; n < len; ++n) {
                    int32_t acc = int32_t{1} << (s - 1);
                    for (int k = 1; k <= 10 && k <= n; ++k) acc = fx::wrap_sub32(acc, fx::wrap_mul32(a[k], want[n - k]));
                    want[n] = fx::wrap16(acc >> s);
                }
                Misaligned<int16_t> d(len, 1, 55);
                ASSERT_EQ(zinsSynthesisFilterZeroStateResponse_NR_16s(a.data(), d.data(), len, s), zinStsNoErr);
                ASSERT_EQ(d.vec(), want) << len;
                ASSERT_TRUE(d.guards_intact());
            }
}

TEST(LpFilters, ResidualFilter) {
    for (Pattern p : zt::kPatterns)
        for (int len : lengths())
            for (int order : {1, 2, 7, 8, 10, 11, 16, 17, 32, 40})
                for (int s : {0, 1, 12, 15}) {
                    if (order > len) continue;
                    const int off = (len + order) % 3;
                    const std::vector<int16_t> x = zt::pattern16(p, static_cast<std::size_t>(len + order));
                    const std::vector<int16_t> a = zt::random16(static_cast<std::size_t>(order + 1));
                    Misaligned<int16_t> src(x.size(), off), dst(len, off + 1);
                    src.assign(x);
                    ASSERT_EQ(zinsResidualFilter_Low_16s_Sfs(src.data() + order, order, a.data(), dst.data(), len, s), zinStsNoErr);
                    for (int n = 0; n < len; ++n) {
                        int32_t acc = 0;
                        for (int k = 0; k <= order; ++k) acc = fx::wrap_add32(acc, fx::wrap_mul32(a[k], x[order + n - k]));
                        acc = fx::wrap_add32(acc, s ? int32_t{1} << (s - 1) : 0);
                        ASSERT_EQ(dst.data()[n], fx::sat16(acc >> s)) << len << " " << order << " " << s;
                    }
                    ASSERT_TRUE(dst.guards_intact());
                }
}

TEST(LpFilters, HarmonicFilters) {
    for (Pattern p : zt::kPatterns)
        for (int len : lengths())
            for (int lag : {-3, 0, 1, 2, 3, 4, 7, 8, 9, 20, 40, 143}) {
                const int before = std::max(lag, 0), after = std::max(-lag, 0);
                const int off = (len + lag + 8) % 4;
                std::vector<int16_t> buf = zt::pattern16(p, static_cast<std::size_t>(before + len + after));
                for (int16_t val : {int16_t{-32768}, int16_t{-12000}, int16_t{0}, int16_t{16384}, int16_t{32767}}) {
                    // In place, truncating and wrapping, sample by sample.
                    std::vector<int16_t> want = buf;
                    for (int n = 0; n < len; ++n) {
                        int16_t& y = want[before + n];
                        y = fx::wrap16(y + fx::wrap16((int32_t{want[before + n - lag]} * val) >> 15));
                    }
                    Misaligned<int16_t> io(buf.size(), off);
                    io.assign(buf);
                    ASSERT_EQ(zinsHarmonicFilter_16s_I(val, lag, io.data() + before, len), zinStsNoErr);
                    ASSERT_EQ(io.vec(), want) << "len " << len << " lag " << lag << " val " << val;
                    // Rounded form, with -32768 acting as -32767.
                    Misaligned<int16_t> src(buf.size(), off), dst(len, off + 1);
                    src.assign(buf);
                    ASSERT_EQ(zinsHarmonicFilter_NR_16s(val, lag, src.data() + before, dst.data(), len), zinStsNoErr);
                    const int32_t g = val == -32768 ? -32767 : val;
                    for (int n = 0; n < len; ++n) {
                        const int32_t v = (int32_t{buf[before + n]} * 32768 + buf[before + n - lag] * g + 16384) >> 15;
                        ASSERT_EQ(dst.data()[n], fx::sat16(v));
                    }
                    if (val == 0) {
                        for (int n = 0; n < len; ++n) ASSERT_EQ(dst.data()[n], buf[before + n]);
                    }
                    ASSERT_TRUE(dst.guards_intact() && io.guards_intact());
                }
                // Floating point, in place; the same operations give the same bits.
                std::vector<float> fb(buf.begin(), buf.end());
                std::vector<float> fw = fb;
                for (int n = 0; n < len; ++n) fw[before + n] = fw[before + n] + fw[before + n - lag] * 0.37f;
                Misaligned<float> fio(fb.size(), off);
                fio.assign(fb);
                ASSERT_EQ(zinsHarmonicFilter_32f_I(0.37f, lag, fio.data() + before, len), zinStsNoErr);
                ASSERT_EQ(std::memcmp(fio.vec().data(), fw.data(), fw.size() * sizeof(float)), 0) << len << " " << lag;
            }
}

TEST(LpFilters, Preemphasize) {
    for (int len : lengths())
        for (int off : {0, 1, 2}) {
            std::vector<float> x(len);
            for (auto& v : x) v = static_cast<float>(zt::random16(1)[0]) * 0.75f;
            float mem = 123.5f;
            std::vector<float> want(len);
            for (int n = 0; n < len; ++n) want[n] = x[n] - 0.68f * (n ? x[n - 1] : mem);
            Misaligned<float> io(len, off);
            io.assign(x);
            ASSERT_EQ(zinsPreemphasize_32f_I(0.68f, io.data(), len, &mem), zinStsNoErr);
            ASSERT_EQ(std::memcmp(io.vec().data(), want.data(), want.size() * sizeof(float)), 0) << len;
            EXPECT_EQ(mem, x[len - 1]) << "the memory keeps the last input, not the last output";
            ASSERT_TRUE(io.guards_intact());
        }
}

}  // namespace
