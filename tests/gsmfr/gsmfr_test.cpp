// The GSM 06.10 filter blocks: check order, the scalar statement of each
// block over many lengths and misaligned buffers, the blocks that libgsm
// exports one by one, and the offset compensation's wrapping where it parts
// from the standard's saturating L_ADD.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

extern "C" {
#include <gsm/gsm.h>
// Clause-level entry points that libgsm exports beside its public API.
void Gsm_Preprocess(gsm, short* s, short* so);
void Gsm_RPE_Decoding(gsm, short xmaxcr, short Mcr, short* xMcr, short* erp);
}

#include "test_util.h"
#include "zinsc.h"

namespace {

using zt::Misaligned;

int16_t sat(int64_t x) { return static_cast<int16_t>(x > 32767 ? 32767 : (x < -32768 ? -32768 : x)); }
int16_t mult_r(int16_t a, int16_t b) { return sat((int32_t{a} * b + 16384) >> 15); }

// ---- the scalar statements --------------------------------------------------

// Offset compensation; `saturating` gives the L_ADD of GSM 06.10 4.2.2.
void ref_high_pass(const int16_t* x, int16_t* y, int n, int32_t* mem, bool saturating) {
    int64_t z2 = mem[0];
    int32_t z1 = static_cast<int16_t>(mem[1]);
    for (int i = 0; i < n; ++i) {
        const int32_t s = (x[i] >> 3) * 4;
        int64_t l = (int64_t{s - z1} << 15) + (z2 >> 15) * 32735 + (((z2 & 0x7FFF) * 32735 + 16384) >> 15);
        int64_t o;
        if (saturating) {
            // L_ADD(msp * 32735, (s1 << 15) + mult_r(lsp, 32735)), then L_ADD(., 16384)
            l = l > INT32_MAX ? INT32_MAX : (l < INT32_MIN ? INT32_MIN : l);
            o = l + 16384 > INT32_MAX ? INT32_MAX : l + 16384;
        } else {
            l = static_cast<int32_t>(static_cast<uint32_t>(l));
            o = static_cast<int32_t>(static_cast<uint32_t>(l + 16384));
        }
        y[i] = static_cast<int16_t>(o >> 15);
        z2 = l;
        z1 = s;
    }
    mem[0] = static_cast<int32_t>(z2);
    mem[1] = z1;
}

void ref_preemph(const int16_t* x, int16_t* y, int n, int16_t& mem) {
    int16_t prev = mem;
    for (int i = 0; i < n; ++i) {
        const int16_t v = x[i];
        y[i] = sat(int32_t{v} + ((prev * -28180 + 16384) >> 15));
        prev = v;
    }
    mem = prev;
}

void ref_deemph(int16_t* x, int n, int16_t& m) {
    for (int i = 0; i < n; ++i) {
        m = sat(int32_t{x[i]} + ((m * 28180 + 16384) >> 15));
        const int16_t o = sat(2 * int32_t{m});
        x[i] = static_cast<int16_t>(o & ~7);
    }
}

constexpr int kH[11] = {-134, -374, 0, 2054, 5741, 8192, 5741, 2054, 0, -374, -134};

void ref_weighting(const int16_t* x, int16_t* y, int n) {
    for (int i = 0; i < n; ++i) {
        int64_t acc = 4096;
        for (int k = 0; k < 11; ++k) acc += int64_t{kH[k]} * x[i + k - 5];
        y[i] = sat(acc >> 13);
    }
}

void ref_schur(const int32_t* acf, int16_t* r, int order) {
    if (acf[0] == 0) {
        for (int i = 0; i < order; ++i) r[i] = 0;
        return;
    }
    int sh = 0;
    while (sh < 31 && ((acf[0] << sh) & 0x40000000) == 0) ++sh;
    std::vector<int16_t> P(order + 1), K(order + 1);
    for (int i = 0; i <= order; ++i) P[i] = static_cast<int16_t>((int64_t{acf[i]} << sh) >> 16);
    for (int i = 1; i < order; ++i) K[i] = P[i];
    for (int n = 1; n <= order; ++n) {
        const int m = P[1] == -32768 ? 32767 : std::abs(P[1]);
        if (m >= P[0]) {
            r[n - 1] = P[1] <= 0 ? 32767 : -32767;
            for (int i = n; i < order; ++i) r[i] = 0;
            return;
        }
        const int q = (m << 15) / P[0];
        r[n - 1] = static_cast<int16_t>(P[1] > 0 ? -q : q);
        if (n == order) return;
        P[0] = sat(int32_t{P[0]} + mult_r(P[1], r[n - 1]));
        for (int j = 1; j <= order - n; ++j) {
            const int16_t pj = sat(int32_t{P[j + 1]} + mult_r(K[j], r[n - 1]));
            K[j] = sat(int32_t{K[j]} + mult_r(P[j + 1], r[n - 1]));
            P[j] = pj;
        }
    }
}

void ref_analysis(const int16_t* rc, int16_t* s, int n, int16_t* u) {
    for (int k = 0; k < n; ++k) {
        int16_t d = s[k], sav = d;
        for (int i = 0; i < 8; ++i) {
            const int16_t ui = u[i];
            u[i] = sav;
            sav = sat(int32_t{ui} + mult_r(rc[i], d));
            d = sat(int32_t{d} + mult_r(rc[i], ui));
        }
        s[k] = d;
    }
}

void ref_synthesis(const int16_t* rc, const int16_t* x, int16_t* y, int n, int16_t* v) {
    for (int k = 0; k < n; ++k) {
        int16_t s = x[k];
        int16_t nv[9];
        for (int i = 7; i >= 0; --i) {
            s = sat(int32_t{s} - mult_r(rc[i], v[i]));
            nv[i + 1] = sat(int32_t{v[i]} + mult_r(rc[i], s));
        }
        for (int i = 7; i >= 1; --i) v[i] = nv[i];
        v[0] = s;
        y[k] = s;
    }
}

void ref_rpe_decode(const int16_t* c, int16_t fac, int shift, int16_t* y) {
    const int sh = shift > 15 ? 15 : shift;
    for (int i = 0; i < 13; ++i) {
        const int16_t t = static_cast<int16_t>((2 * c[i] - 7) * 4096);
        const int16_t p = static_cast<int16_t>((fac * t + 16384) >> 15);
        y[i] = static_cast<int16_t>(sat(int32_t{p} + (sh ? 1 << (sh - 1) : 0)) >> sh);
    }
}

// Reflection coefficients of a usable lattice: |k| < 32767.
std::vector<int16_t> random_rc() { return zt::random16(8, -32000, 32000); }

// ---- check order ---------------------------------------------------------

TEST(GsmFrBlocks, StatusesInCheckOrderAndNothingWrittenWhenRefused) {
    int16_t a[64] = {}, b[64], m16[8] = {};
    int32_t m32[2] = {}, acf[9] = {1000, 10};
    const int16_t keep = 0x5A5A;
    std::fill(b, b + 64, keep);
    EXPECT_EQ(zinsHighPassFilter_GSMFR_16s(nullptr, b, 0, m32), zinStsNullPtrErr);
    EXPECT_EQ(zinsHighPassFilter_GSMFR_16s(a, nullptr, 8, m32), zinStsNullPtrErr);
    EXPECT_EQ(zinsHighPassFilter_GSMFR_16s(a, b, 8, nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsHighPassFilter_GSMFR_16s(a, b, 0, m32), zinStsSizeErr);
    EXPECT_EQ(zinsPreemphasize_GSMFR_16s(a, b, 8, nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsPreemphasize_GSMFR_16s(a, b, -1, m16), zinStsSizeErr);
    EXPECT_EQ(zinsDeemphasize_GSMFR_16s_I(nullptr, 0, m16), zinStsNullPtrErr);
    EXPECT_EQ(zinsDeemphasize_GSMFR_16s_I(b, 8, nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsDeemphasize_GSMFR_16s_I(b, 0, m16), zinStsSizeErr);
    EXPECT_EQ(zinsWeightingFilter_GSMFR_16s(a + 5, nullptr, 0), zinStsNullPtrErr);
    EXPECT_EQ(zinsWeightingFilter_GSMFR_16s(a + 5, b, 0), zinStsSizeErr);
    EXPECT_EQ(zinsSchur_GSMFR_32s16s(nullptr, b, 9), zinStsNullPtrErr);
    EXPECT_EQ(zinsSchur_GSMFR_32s16s(acf, nullptr, 8), zinStsNullPtrErr);
    EXPECT_EQ(zinsSchur_GSMFR_32s16s(acf, b, 0), zinStsSizeErr);
    EXPECT_EQ(zinsSchur_GSMFR_32s16s(acf, b, 9), zinStsSizeErr);
    // A negative order is the caller's fault: it passes and computes nothing.
    EXPECT_EQ(zinsSchur_GSMFR_32s16s(acf, b, -1), zinStsNoErr);
    EXPECT_EQ(zinsShortTermAnalysisFilter_GSMFR_16s_I(nullptr, b, 8, m16), zinStsNullPtrErr);
    EXPECT_EQ(zinsShortTermAnalysisFilter_GSMFR_16s_I(a, b, 8, nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsShortTermAnalysisFilter_GSMFR_16s_I(a, b, 0, m16), zinStsSizeErr);
    EXPECT_EQ(zinsShortTermSynthesisFilter_GSMFR_16s(a, nullptr, b, 8, m16), zinStsNullPtrErr);
    EXPECT_EQ(zinsShortTermSynthesisFilter_GSMFR_16s(a, a, b, 8, nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsShortTermSynthesisFilter_GSMFR_16s(a, a, b, -5, m16), zinStsSizeErr);
    EXPECT_EQ(zinsRPEQuantDecode_GSMFR_16s(nullptr, 100, -1, b), zinStsNullPtrErr);
    EXPECT_EQ(zinsRPEQuantDecode_GSMFR_16s(a, 100, 3, nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsRPEQuantDecode_GSMFR_16s(a, 100, -1, b), zinStsScaleRangeErr);
    for (int16_t v : b) ASSERT_EQ(v, keep);
    for (int16_t v : m16) ASSERT_EQ(v, 0);
    EXPECT_EQ(m32[0], 0);
    EXPECT_EQ(m32[1], 0);
}

// ---- scalar statements over lengths and alignments ------------------------------

TEST(GsmFrBlocks, HighPassAndPreemphasisMatchScalarAtEveryLengthAndOffset) {
    for (int len : zt::test_lengths()) {
        for (zt::Pattern pat : zt::kPatterns) {
            const int off = len % 8;
            const auto x = zt::pattern16(pat, len);
            Misaligned<int16_t> X(len, off), Y(len, (off + 3) % 8);
            X.assign(x);
            // Half the memories anywhere in 32 bits: sums that wrap, in the
            // scalar path and in the blocks of eight.
            const int64_t span = len & 1 ? int64_t{1} << 30 : INT32_MAX;
            int32_t mem[2] = {zt::random32(1, -span, span)[0], zt::random16(1, -16384, 16380)[0] & ~3};
            int32_t rmem[2] = {mem[0], mem[1]};
            std::vector<int16_t> ref(len);
            ASSERT_EQ(zinsHighPassFilter_GSMFR_16s(X.data(), Y.data(), len, mem), zinStsNoErr);
            ref_high_pass(x.data(), ref.data(), len, rmem, false);
            ASSERT_EQ(Y.vec(), ref) << len;
            ASSERT_EQ(mem[0], rmem[0]);
            ASSERT_EQ(static_cast<int16_t>(mem[1]), static_cast<int16_t>(rmem[1])) << "z1 is the 16 bits at byte 4";
            ASSERT_TRUE(Y.guards_intact());

            int16_t pm = zt::random16(1)[0], rpm = pm;
            ASSERT_EQ(zinsPreemphasize_GSMFR_16s(X.data(), Y.data(), len, &pm), zinStsNoErr);
            ref_preemph(x.data(), ref.data(), len, rpm);
            ASSERT_EQ(Y.vec(), ref) << len;
            ASSERT_EQ(pm, rpm);
            ASSERT_TRUE(Y.guards_intact());
        }
    }
}

TEST(GsmFrBlocks, HighPassCarriesItsMemoryAcrossCalls) {
    const auto x = zt::random16(480);
    int32_t m1[2] = {}, m2[2] = {};
    std::vector<int16_t> whole(480), parts(480);
    zinsHighPassFilter_GSMFR_16s(x.data(), whole.data(), 480, m1);
    // 160 at once against 159 plus 1 (the vector and the scalar path), and so on.
    zinsHighPassFilter_GSMFR_16s(x.data(), parts.data(), 159, m2);
    zinsHighPassFilter_GSMFR_16s(x.data() + 159, parts.data() + 159, 1, m2);
    zinsHighPassFilter_GSMFR_16s(x.data() + 160, parts.data() + 160, 40, m2);
    zinsHighPassFilter_GSMFR_16s(x.data() + 200, parts.data() + 200, 280, m2);
    EXPECT_EQ(whole, parts);
    EXPECT_EQ(m1[0], m2[0]);
    EXPECT_EQ(m1[1], m2[1]);
}

// From a zero memory the recursion stays inside 2^30, so the wrapping sum
// and the standard's saturating L_ADD agree even on the hardest input: a
// long run at one extreme and a jump to the other.
TEST(GsmFrBlocks, HighPassFromZeroMemoryEqualsSaturatingStandard) {
    std::vector<int16_t> x;
    for (int rep = 0; rep < 6; ++rep) {
        x.insert(x.end(), 4000, rep & 1 ? int16_t{32767} : int16_t{-32768});
        for (int i = 0; i < 300; ++i) x.push_back(i & 1 ? 32767 : -32768);
    }
    const int n = static_cast<int>(x.size());
    std::vector<int16_t> ours(n), sat_ref(n);
    int32_t m[2] = {}, r[2] = {};
    zinsHighPassFilter_GSMFR_16s(x.data(), ours.data(), n, m);
    ref_high_pass(x.data(), sat_ref.data(), n, r, true);
    EXPECT_EQ(ours, sat_ref);
}

// The deliberate departure: with a memory near the top of the 32-bit range
// the wrapping sum turns over where GSM 06.10 4.2.2 saturates.
TEST(GsmFrBlocks, HighPassWrapsWhereTheStandardSaturates) {
    const int16_t x[1] = {32767};
    int32_t m[2] = {0x7FFF0000, -16384}, r[2] = {0x7FFF0000, -16384};
    int16_t ours[1], standard[1];
    zinsHighPassFilter_GSMFR_16s(x, ours, 1, m);
    ref_high_pass(x, standard, 1, r, true);
    // l = (16380 + 16384) << 15 + 65534 * 32735 passes 2^31 and turns negative;
    // L_ADD holds it at 2^31 - 1, whose upper half reads -1 in 16 bits.
    const uint32_t l = (uint32_t{32764} << 15) + 65534u * 32735u;
    EXPECT_EQ(m[0], static_cast<int32_t>(l));
    EXPECT_LT(m[0], 0);
    EXPECT_EQ(r[0], INT32_MAX);
    EXPECT_EQ(standard[0], -1);
    EXPECT_EQ(ours[0], static_cast<int16_t>(static_cast<int32_t>(l + 16384u) >> 15));
    EXPECT_NE(ours[0], standard[0]);
}

TEST(GsmFrBlocks, PreemphasisInPlaceAndOverlapFollowTheSequentialStatement) {
    for (int len : {1, 7, 8, 40, 160, 161}) {
        const auto x = zt::random16(len + 1);
        // In place.
        std::vector<int16_t> io(x.begin(), x.begin() + len), ref(len);
        int16_t m = 1234, rm = 1234;
        zinsPreemphasize_GSMFR_16s(io.data(), io.data(), len, &m);
        ref_preemph(x.data(), ref.data(), len, rm);
        EXPECT_EQ(io, ref);
        EXPECT_EQ(m, rm);
        // Destination one behind and one ahead of the source.
        for (int shift : {-1, 1}) {
            std::vector<int16_t> buf(x), seq(x);
            int16_t* src = buf.data() + (shift < 0 ? 1 : 0);
            int16_t* dst = buf.data() + (shift < 0 ? 0 : 1);
            int16_t m1 = -77, m2 = -77;
            zinsPreemphasize_GSMFR_16s(src, dst, len, &m1);
            // The statement run sample by sample on the shared buffer.
            int16_t* s2 = seq.data() + (shift < 0 ? 1 : 0);
            int16_t* d2 = seq.data() + (shift < 0 ? 0 : 1);
            const int16_t last = s2[len - 1];
            for (int i = 0; i < len; ++i) {
                const int16_t v = s2[i];
                d2[i] = sat(int32_t{v} + ((m2 * -28180 + 16384) >> 15));
                m2 = v;
            }
            EXPECT_EQ(buf, seq) << len << " " << shift;
            EXPECT_EQ(m1, last);
        }
    }
}

TEST(GsmFrBlocks, DeemphasisSaturatesTo32760AndMinus32768) {
    std::vector<int16_t> hi(20, 32767), lo(20, -32768);
    int16_t m = 0, m2 = 0;
    zinsDeemphasize_GSMFR_16s_I(hi.data(), 20, &m);
    zinsDeemphasize_GSMFR_16s_I(lo.data(), 20, &m2);
    for (int16_t v : hi) EXPECT_EQ(v, 32760);
    EXPECT_EQ(lo.back(), -32768);
    EXPECT_EQ(m, 32767);  // the memory holds m, not the output
    for (int len : zt::test_lengths()) {
        auto x = zt::random16(len, -20000, 20000);
        auto ref = x;
        int16_t a = zt::random16(1)[0], b = a;
        zinsDeemphasize_GSMFR_16s_I(x.data(), len, &a);
        ref_deemph(ref.data(), len, b);
        ASSERT_EQ(x, ref) << len;
        ASSERT_EQ(a, b);
    }
}

TEST(GsmFrBlocks, WeightingFilterReadsFiveEitherSideAndMatchesScalar) {
    for (int len : zt::test_lengths()) {
        for (zt::Pattern pat : zt::kPatterns) {
            const auto x = zt::pattern16(pat, len + 10);
            Misaligned<int16_t> X(len + 10, (len + 1) % 8), Y(len, len % 8);
            X.assign(x);
            std::vector<int16_t> ref(len);
            ASSERT_EQ(zinsWeightingFilter_GSMFR_16s(X.data() + 5, Y.data(), len), zinStsNoErr);
            ref_weighting(x.data() + 5, ref.data(), len);
            ASSERT_EQ(Y.vec(), ref) << len;
            ASSERT_TRUE(Y.guards_intact());
        }
    }
}

// ---- Schur recursion --------------------------------------------------------------

std::vector<int32_t> acf_of(const std::vector<int16_t>& s, int order) {
    std::vector<int32_t> acf(order + 1);
    for (int k = 0; k <= order; ++k) {
        int64_t sum = 0;
        for (std::size_t i = k; i < s.size(); ++i) sum += int64_t{s[i]} * s[i - k];
        acf[k] = static_cast<int32_t>((sum << 1) >> 4);
    }
    return acf;
}

TEST(GsmFrBlocks, SchurMatchesTheRecursionAtEveryOrder) {
    for (int trial = 0; trial < 400; ++trial) {
        const int order = 1 + trial % 8;
        std::vector<int16_t> s = zt::random16(160, -2000, 2000);
        // Colour the signal so that the coefficients spread over their range.
        for (int i = 1; i < 160; ++i) s[i] = sat(s[i] + ((s[i - 1] * (trial * 331 % 60000 - 30000)) >> 15));
        const auto acf = acf_of(s, order);
        int16_t r[8], ref[8];
        std::fill(r, r + 8, int16_t{0x5A5A});
        ASSERT_EQ(zinsSchur_GSMFR_32s16s(acf.data(), r, order), zinStsNoErr);
        ref_schur(acf.data(), ref, order);
        for (int i = 0; i < order; ++i) ASSERT_EQ(r[i], ref[i]) << trial << " " << i;
        for (int i = order; i < 8; ++i) ASSERT_EQ(r[i], 0x5A5A);
        // The prefix of a higher order is the lower order.
        if (order == 8) {
            int16_t r4[4];
            zinsSchur_GSMFR_32s16s(acf.data(), r4, 4);
            for (int i = 0; i < 4; ++i) ASSERT_EQ(r4[i], r[i]);
        }
    }
}

TEST(GsmFrBlocks, SchurZeroAndBreakdownRules) {
    const int32_t zero[9] = {0, 5, -5, 7, 0, 0, 0, 0, 0};
    int16_t r[8];
    std::fill(r, r + 8, int16_t{99});
    EXPECT_EQ(zinsSchur_GSMFR_32s16s(zero, r, 8), zinStsNoErr);
    for (int16_t v : r) EXPECT_EQ(v, 0);
    // |P[1]| >= P[0]: +-32767 by the sign of P[1], and zeros after it.
    const int32_t up[9] = {1 << 20, -(1 << 21), 3, 4, 5, 6, 7, 8, 9};
    zinsSchur_GSMFR_32s16s(up, r, 8);
    EXPECT_EQ(r[0], 32767);
    for (int i = 1; i < 8; ++i) EXPECT_EQ(r[i], 0);
    const int32_t down[9] = {1 << 20, 1 << 20, 3, 4, 5, 6, 7, 8, 9};
    zinsSchur_GSMFR_32s16s(down, r, 8);
    EXPECT_EQ(r[0], -32767);
    for (int i = 1; i < 8; ++i) EXPECT_EQ(r[i], 0);
}

// ---- lattices ------------------------------------------------------------------------

TEST(GsmFrBlocks, LatticesMatchScalarAndCarryMemory) {
    for (int len : zt::test_lengths()) {
        for (zt::Pattern pat : zt::kPatterns) {
            auto rc = random_rc();
            // A coefficient of -32768 meets -32768 in the signal: mult_r saturates.
            if (pat == zt::Pattern::FullScaleNegative || pat == zt::Pattern::Alternating) rc[len % 8] = -32768;
            // The largest coefficient, on the vector paths.
            if (pat == zt::Pattern::Random || pat == zt::Pattern::FullScalePositive) rc[(len + 3) % 8] = 32767;
            const auto x = zt::pattern16(pat, len);
            auto mem = zt::random16(8, -20000, 20000);
            auto rmem = mem;
            Misaligned<int16_t> IO(len, len % 8);
            IO.assign(x);
            auto ref = x;
            ASSERT_EQ(zinsShortTermAnalysisFilter_GSMFR_16s_I(rc.data(), IO.data(), len, mem.data()), zinStsNoErr);
            ref_analysis(rc.data(), ref.data(), len, rmem.data());
            ASSERT_EQ(IO.vec(), ref) << len;
            ASSERT_EQ(mem, rmem);
            ASSERT_TRUE(IO.guards_intact());

            Misaligned<int16_t> Y(len, (len + 3) % 8);
            ASSERT_EQ(zinsShortTermSynthesisFilter_GSMFR_16s(rc.data(), x.data(), Y.data(), len, mem.data()), zinStsNoErr);
            ref_synthesis(rc.data(), x.data(), ref.data(), len, rmem.data());
            ASSERT_EQ(Y.vec(), ref) << len;
            ASSERT_EQ(mem, rmem);
            ASSERT_TRUE(Y.guards_intact());
        }
    }
}

// ---- APCM inverse quantisation -------------------------------------------------------

TEST(GsmFrBlocks, RpeQuantDecodeMatchesScalarForAllCodesAndShifts) {
    // GSM 06.10 Table 4.6.
    const int16_t fac[8] = {18431, 20479, 22527, 24575, 26623, 28671, 30719, 32767};
    int16_t codes[13];
    for (int i = 0; i < 13; ++i) codes[i] = static_cast<int16_t>(i % 8);
    for (int16_t f : fac) {
        for (int shift = 0; shift <= 20; ++shift) {
            int16_t y[13], ref[13];
            ASSERT_EQ(zinsRPEQuantDecode_GSMFR_16s(codes, f, static_cast<int16_t>(shift), y), zinStsNoErr);
            ref_rpe_decode(codes, f, shift, ref);
            for (int i = 0; i < 13; ++i) ASSERT_EQ(y[i], ref[i]) << f << " " << shift << " " << i;
        }
    }
    // Any codes and multipliers, -32768 included: the wraps of the 16-bit
    // statement.
    for (int trial = 0; trial < 2000; ++trial) {
        auto c = zt::random16(13);
        if (trial % 4 == 0) c[trial % 13] = -32768;
        const int16_t f = trial % 7 == 0 ? int16_t{-32768} : zt::random16(1)[0];
        const int shift = trial % 21;
        int16_t y[13], ref[13];
        ASSERT_EQ(zinsRPEQuantDecode_GSMFR_16s(c.data(), f, static_cast<int16_t>(shift), y), zinStsNoErr);
        ref_rpe_decode(c.data(), f, shift, ref);
        for (int i = 0; i < 13; ++i) ASSERT_EQ(y[i], ref[i]) << f << " " << shift << " " << c[i];
    }
    // Shift 0: no rounding term; the largest code at full factor is 28671.
    int16_t y[13];
    zinsRPEQuantDecode_GSMFR_16s(codes, 32767, 0, y);
    EXPECT_EQ(y[7], 28671);
    EXPECT_EQ(y[0], -28671);
}

// ---- against libgsm, block by block ------------------------------------------------

// Offset compensation and preemphasis together are libgsm's Gsm_Preprocess.
TEST(GsmFrBlocks, PreprocessingEqualsPeerFrameByFrame) {
    gsm g = gsm_create();
    int32_t hp[2] = {};
    int16_t mp = 0;
    std::vector<int16_t> signal = zt::random16(160 * 50);
    for (int i = 0; i < 160 * 10; ++i) signal[i] = (i / 20) & 1 ? 32767 : -32768;
    for (int i = 160 * 10; i < 160 * 20; ++i) signal[i] = static_cast<int16_t>(30000 * std::sin(i * 0.3));
    for (std::size_t f = 0; f < signal.size() / 160; ++f) {
        short in[160], so[160];
        std::memcpy(in, signal.data() + 160 * f, sizeof in);
        Gsm_Preprocess(g, in, so);
        int16_t sof[160], s[160];
        zinsHighPassFilter_GSMFR_16s(signal.data() + 160 * f, sof, 160, hp);
        zinsPreemphasize_GSMFR_16s(sof, s, 160, &mp);
        ASSERT_EQ(0, std::memcmp(s, so, sizeof s)) << "frame " << f;
    }
    gsm_destroy(g);
}

// APCM inverse quantisation and grid positioning are libgsm's Gsm_RPE_Decoding.
TEST(GsmFrBlocks, RpeDecodingEqualsPeerForEveryAmplitudeCode) {
    const int16_t fac[8] = {18431, 20479, 22527, 24575, 26623, 28671, 30719, 32767};  // GSM 06.10 Table 4.6
    gsm g = gsm_create();
    for (int xmaxc = 0; xmaxc < 64; ++xmaxc) {
        for (int mc = 0; mc < 4; ++mc) {
            auto c = zt::random16(13, 0, 7);
            short erp[40];
            Gsm_RPE_Decoding(g, static_cast<short>(xmaxc), static_cast<short>(mc), c.data(), erp);
            // Exponent and mantissa of xmaxc (GSM 06.10 4.2.15), the caller's part.
            int exp = xmaxc > 15 ? (xmaxc >> 3) - 1 : 0;
            int mant = xmaxc - (exp << 3);
            if (mant == 0) {
                exp = -4;
                mant = 7;
            } else {
                while (mant <= 7) mant = mant << 1 | 1, --exp;
                mant -= 8;
            }
            int16_t xmp[13], ep[40] = {};
            ASSERT_EQ(zinsRPEQuantDecode_GSMFR_16s(c.data(), fac[mant], static_cast<int16_t>(6 - exp), xmp), zinStsNoErr);
            for (int i = 0; i < 13; ++i) ep[mc + 3 * i] = xmp[i];
            ASSERT_EQ(0, std::memcmp(ep, erp, sizeof ep)) << xmaxc << " " << mc;
        }
    }
    gsm_destroy(g);
}

}  // namespace
