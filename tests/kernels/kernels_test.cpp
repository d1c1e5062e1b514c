// The private kernels against plain scalar statements, over many lengths and
// every misalignment, with the statuses in their order.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "kernels/fixed_point.h"
#include "kernels/kernels.h"
#include "test_util.h"

namespace {

using zt::Misaligned;

using zt::sat16;
using zt::sat32;

// The _Sfs rule written from its definition, with long double division.
int64_t sfs_reference(int64_t a, int s, int64_t lo, int64_t hi) {
    s = std::clamp(s, -31, 31);
    if (s >= 0) {
        const long double q = static_cast<long double>(a) / std::ldexp(1.0L, s);
        const long double r = std::nearbyint(q);  // default mode: ties to even
        return std::clamp<int64_t>(static_cast<int64_t>(r), lo, hi);
    }
    const long double v = static_cast<long double>(a) * std::ldexp(1.0L, -s);
    if (v > hi) return hi;
    if (v < lo) return lo;
    return static_cast<int64_t>(v);
}

TEST(Kernels, StatusOrderNullThenSize) {
    int16_t x[4] = {};
    int16_t r = 0;
    EXPECT_EQ(zin::Add_16s(nullptr, x, x, 0), zinStsNullPtrErr);
    EXPECT_EQ(zin::Add_16s(x, x, x, 0), zinStsSizeErr);
    EXPECT_EQ(zin::Max_16s(x, -3, nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zin::Max_16s(x, -3, &r), zinStsSizeErr);
    EXPECT_EQ(zin::LShiftC_16s(x, -1, x, 0), zinStsSizeErr);
    EXPECT_EQ(zin::LShiftC_16s(x, -1, x, 4), zinStsShiftErr);
    EXPECT_EQ(zin::RShiftC_32s(nullptr, -1, nullptr, 4), zinStsNullPtrErr);
    EXPECT_EQ(zin::Zero_16s(nullptr, 4), zinStsNullPtrErr);
    EXPECT_EQ(zin::Set_32s(1, reinterpret_cast<int32_t*>(x), 0), zinStsSizeErr);
    EXPECT_EQ(zin::Copy_16s(x, nullptr, 1), zinStsNullPtrErr);
}

TEST(Kernels, ElementwiseFillsAndCopiesMatchScalarAtEveryLengthAndOffset) {
    for (int len : zt::test_lengths()) {
        for (int off = 0; off < 8; ++off) {
            for (auto p : zt::kPatterns) {
                const auto a = zt::pattern16(p, len), b = zt::random16(len);
                Misaligned<int16_t> A(len, off), B(len, (off * 3) % 8), D(len, (off + 5) % 8);
                A.assign(a);
                B.assign(b);
                ASSERT_EQ(zin::Add_16s(A.data(), B.data(), D.data(), len), zinStsNoErr);
                for (int i = 0; i < len; ++i) ASSERT_EQ(D.data()[i], sat16(a[i] + b[i]));
                ASSERT_EQ(zin::Sub_16s(A.data(), B.data(), D.data(), len), zinStsNoErr);
                for (int i = 0; i < len; ++i) ASSERT_EQ(D.data()[i], sat16(b[i] - a[i])) << "minuend is src2";
                ASSERT_EQ(zin::Abs_16s(A.data(), D.data(), len), zinStsNoErr);
                for (int i = 0; i < len; ++i) ASSERT_EQ(D.data()[i], sat16(std::abs(int{a[i]})));
                ASSERT_EQ(zin::Copy_16s(A.data(), D.data(), len), zinStsNoErr);
                ASSERT_EQ(D.vec(), a);
                ASSERT_EQ(zin::Set_16s(-3, D.data(), len), zinStsNoErr);
                ASSERT_EQ(D.vec(), std::vector<int16_t>(len, -3));
                ASSERT_EQ(zin::Zero_16s(D.data(), len), zinStsNoErr);
                ASSERT_EQ(D.vec(), std::vector<int16_t>(len, 0));
                for (int count : {1, 7, 15, 16, 20}) {
                    ASSERT_EQ(zin::LShiftC_16s(A.data(), count, D.data(), len), zinStsNoErr);
                    for (int i = 0; i < len; ++i)
                        ASSERT_EQ(D.data()[i], count >= 16 ? 0 : static_cast<int16_t>(a[i] * (1 << count)));
                    ASSERT_EQ(zin::RShiftC_16s(A.data(), count, D.data(), len), zinStsNoErr);
                    for (int i = 0; i < len; ++i) ASSERT_EQ(D.data()[i], a[i] >> std::min(count, 15));
                }
                ASSERT_TRUE(D.guards_intact());
            }
        }
    }
}

TEST(Kernels, ReductionsMatchScalar) {
    for (int len : zt::test_lengths()) {
        for (int off = 0; off < 8; ++off) {
            for (auto p : zt::kPatterns) {
                const auto a = zt::pattern16(p, len);
                Misaligned<int16_t> A(len, off);
                A.assign(a);
                int16_t r = 0;
                zin::Max_16s(A.data(), len, &r);
                ASSERT_EQ(r, *std::max_element(a.begin(), a.end()));
                zin::Min_16s(A.data(), len, &r);
                ASSERT_EQ(r, *std::min_element(a.begin(), a.end()));
                zin::MaxAbs_16s(A.data(), len, &r);
                int m = 0;
                for (auto x : a) m = std::max(m, std::min(32767, std::abs(int{x})));
                ASSERT_EQ(r, m);

                int64_t s = 0;
                for (auto x : a) s += x;
                for (int sf : {-3, 0, 1, 2, 5, 16}) {
                    int32_t r32 = 0;
                    zin::Sum_16s32s_Sfs(A.data(), len, &r32, sf);
                    long double q = std::nearbyint(std::ldexp(static_cast<long double>(s), -sf));
                    ASSERT_EQ(r32, sat32(static_cast<int64_t>(q))) << len << " " << sf;
                    zin::Sum_16s_Sfs(A.data(), len, &r, sf);
                    ASSERT_EQ(r, sat16(static_cast<int64_t>(q)));
                }
            }
            const auto w = zt::random32(len);
            Misaligned<int32_t> W(len, off % 4);
            W.assign(w);
            int32_t r = 0;
            int idx = -1;
            zin::MaxIndx_32s(W.data(), len, &r, &idx);
            const auto it = std::max_element(w.begin(), w.end());
            ASSERT_EQ(r, *it);
            ASSERT_EQ(idx, it - w.begin()) << "index of the first occurrence";
            zin::MaxAbs_32s(W.data(), len, &r);
            int64_t m = 0;
            for (auto x : w) m = std::max<int64_t>(m, std::min<int64_t>(INT32_MAX, std::llabs(x)));
            ASSERT_EQ(r, m);
        }
    }
}

TEST(Kernels, MaxIndxFindsFirstOfEqualMaxima) {
    int32_t v[9] = {1, 9, 3, 9, 9, 2, 9, 0, 9};
    int32_t r = 0;
    int idx = -1;
    ASSERT_EQ(zin::MaxIndx_32s(v, 9, &r, &idx), zinStsNoErr);
    EXPECT_EQ(idx, 1);
    EXPECT_EQ(zin::MaxIndx_32s(v, 9, &r, nullptr), zinStsNoErr) << "a null index makes it Max_32s";
    int32_t mins[5] = {INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN};
    zin::MaxAbs_32s(mins, 5, &r);
    EXPECT_EQ(r, INT32_MAX);
}

TEST(Kernels, DotProductIsExactIn64BitsThenSfs) {
    for (int len : zt::test_lengths()) {
        for (int off = 0; off < 8; off += 3) {
            for (auto p : zt::kPatterns) {
                const auto a = zt::pattern16(p, len);
                const auto b = p == zt::Pattern::Random ? zt::random16(len) : a;
                Misaligned<int16_t> A(len, off), B(len, (off + 1) % 8);
                A.assign(a);
                B.assign(b);
                int64_t exact = 0;
                for (int i = 0; i < len; ++i) exact += int64_t{a[i]} * b[i];
                for (int sf : {-31, -2, 0, 1, 2, 15, 31, 40}) {
                    int32_t r = 0;
                    ASSERT_EQ(zin::DotProd_16s32s_Sfs(A.data(), B.data(), len, &r, sf), zinStsNoErr);
                    ASSERT_EQ(r, sfs_reference(exact, sf, INT32_MIN, INT32_MAX)) << len << " sf " << sf;
                }
            }
        }
    }
}

TEST(Kernels, SfsRuleTiesToEvenAndNrHalfUp) {
    EXPECT_EQ(zin::ScaleSfs_64s32s(3, 1), 2);
    EXPECT_EQ(zin::ScaleSfs_64s32s(5, 1), 2);
    EXPECT_EQ(zin::ScaleSfs_64s32s(-3, 1), -2);
    EXPECT_EQ(zin::ScaleSfs_64s32s(-5, 1), -2);
    EXPECT_EQ(zin::ShiftNR(3, 1), 2);
    EXPECT_EQ(zin::ShiftNR(5, 1), 3);
    EXPECT_EQ(zin::ScaleSfs_64s32s(1, -31), INT32_MAX);
    EXPECT_EQ(zin::ScaleSfs_64s32s(1, -30), 1 << 30);
    EXPECT_EQ(zin::ScaleSfs_64s32s(-1, -31), INT32_MIN);
    EXPECT_EQ(zin::ScaleSfs_64s32s(int64_t{1} << 40, 0), INT32_MAX);
    EXPECT_EQ(zin::ScaleSfs_64s16s(-70000, 0), -32768);
    EXPECT_EQ(zin::ScaleSfs_64s16s(3, -14), 32767);
}

TEST(Kernels, LargeFillsAndStreamingCopiesGiveThePlainResult) {
    // Both sides of the fill threshold (2097152 bytes) and of the copy
    // threshold (32768 bytes), at odd offsets.
    for (int bytes : {32767, 32768, 32769, 2097152, 2097153, 9 * 1048576 + 3}) {
        for (int off : {0, 1, 13}) {
            Misaligned<uint8_t> D(bytes, off, 0x11);
            ASSERT_EQ(zin::Zero_8u(D.data(), bytes), zinStsNoErr);
            ASSERT_TRUE(std::all_of(D.data(), D.data() + bytes, [](uint8_t b) { return b == 0; }));
            Misaligned<uint8_t> S(bytes, (off + 7) % 16);
            for (int i = 0; i < bytes; ++i) S.data()[i] = static_cast<uint8_t>(i * 7 + 1);
            ASSERT_EQ(zin::Copy_8u(S.data(), D.data(), bytes), zinStsNoErr);
            ASSERT_EQ(std::memcmp(S.data(), D.data(), bytes), 0);
            ASSERT_TRUE(D.guards_intact());
        }
        const int n = bytes / 4;
        for (int off : {0, 1, 3}) {
            Misaligned<int32_t> D(n, off);
            ASSERT_EQ(zin::Set_32s(0x12345678, D.data(), n), zinStsNoErr);
            ASSERT_TRUE(std::all_of(D.data(), D.data() + n, [](int32_t v) { return v == 0x12345678; }));
            ASSERT_TRUE(D.guards_intact());
            Misaligned<double> F(n / 2, off);
            ASSERT_EQ(zin::Set_64f(-1.5, F.data(), n / 2), zinStsNoErr);
            ASSERT_TRUE(std::all_of(F.data(), F.data() + n / 2, [](double v) { return v == -1.5; }));
        }
    }
    // A Set on a destination that is not aligned to its element takes the
    // plain path at any size.
    std::vector<unsigned char> raw(4 * 600000 + 8);
    auto* odd = reinterpret_cast<int32_t*>(raw.data() + 1);
    ASSERT_EQ(zin::Set_32s(-7, odd, 600000), zinStsNoErr);
    int32_t last = 0;
    std::memcpy(&last, raw.data() + 1 + 4 * 599999, 4);
    EXPECT_EQ(last, -7);
}

TEST(Kernels, MoveHandlesOverlapBothWays) {
    for (int n : {5, 100, 20000, 40000}) {
        std::vector<int16_t> buf(n + 64);
        for (int shift : {-17, -1, 1, 17}) {
            for (int i = 0; i < n + 64; ++i) buf[i] = static_cast<int16_t>(i);
            std::vector<int16_t> want = buf;
            std::memmove(want.data() + 32 + shift, want.data() + 32, n * 2);
            ASSERT_EQ(zin::Move_16s(buf.data() + 32, buf.data() + 32 + shift, n), zinStsNoErr);
            ASSERT_EQ(buf, want) << n << " " << shift;
        }
    }
}

TEST(Kernels, NormMatchesTheBasicOperators) {
    for (int32_t x : {1, 2, 3, 255, 256, 0x3FFFFFFF, 0x40000000, INT32_MAX, -1, -2, INT32_MIN, 0}) {
        EXPECT_EQ(zin::Norm_32s(x), zin::fx::norm32(x)) << x;
    }
    for (int i = 0; i < 100000; ++i) {
        const int32_t x = zt::random32(1)[0];
        ASSERT_EQ(zin::Norm_32s(x), zin::fx::norm32(x)) << x;
    }
    for (int x = -32768; x <= 32767; ++x) ASSERT_EQ(zin::Norm_16s(static_cast<int16_t>(x)), zin::fx::norm16(x)) << x;
}

}  // namespace
