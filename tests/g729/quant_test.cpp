// G.729 LSF quantiser and decoder: statuses in order, the decode and the
// erased-frame update against their plain statements over random indices and
// memories (reaching the stability limits, the swaps and the three warnings
// that the sequences never reach), and the quantisers' contracts on memory.
#include <cmath>

#include "check.h"
#include "g729/g729_tables.h"

namespace {

using zt::Buf;
using zt::Gen;
namespace tab = zin::g729;

// ---- decode ----------------------------------------------------------------------

struct Dec {
    Buf<int16_t> idx, prev, lsf;
    auto bufs() { return std::tie(prev, lsf); }
};

Dec make_dec(Gen& g) {
    Dec a{Buf<int16_t>(std::vector<int16_t>{static_cast<int16_t>(g.pick(0, 1)), static_cast<int16_t>(g.pick(0, 127)),
                                            static_cast<int16_t>(g.pick(0, 31)), static_cast<int16_t>(g.pick(0, 31))}),
          g.off < 4 ? g.in16(40, 0, 25000) : g.in16(40), g.out<int16_t>(10)};
    return a;
}

void expand(int16_t* b, int gap) {
    for (int j = 1; j < 10; ++j) {
        const int s = b[j - 1] - b[j] + gap;
        if (s > 0) {
            b[j - 1] = static_cast<int16_t>(b[j - 1] - (s >> 1));
            b[j] = static_cast<int16_t>(b[j] + (s >> 1));
        }
    }
}

ZinStatus plain_decode(Dec& a) {
    const int m = a.idx[0];
    int16_t buf[10];
    for (int j = 0; j < 10; ++j)
        buf[j] = static_cast<int16_t>(tab::kLspCb1[a.idx[1]][j] + tab::kLspCb2[j < 5 ? a.idx[2] : a.idx[3]][j]);
    expand(buf, 10);
    expand(buf, 5);
    int16_t* l = a.lsf.p();
    for (int j = 0; j < 10; ++j) {
        int64_t s = int64_t{buf[j]} * tab::kFgSum[m][j];
        for (int k = 0; k < 4; ++k) s += int64_t{a.prev[10 * k + j]} * tab::kFg[m][k][j];
        l[j] = static_cast<int16_t>(zt::wrap32(s) >> 15);
    }
    for (int k = 39; k >= 10; --k) a.prev[k] = a.prev[k - 10];
    for (int j = 0; j < 10; ++j) a.prev[j] = buf[j];
    for (int j = 0; j < 9; ++j)
        if (l[j + 1] < l[j]) std::swap(l[j], l[j + 1]);
    const bool low = l[0] < 40;
    if (low) l[0] = 40;
    for (int j = 0; j < 9; ++j)
        if (l[j + 1] - l[j] < 321) l[j + 1] = zt::sat16(l[j] + 321);
    const bool high = l[9] > 25681;
    if (high) l[9] = 25681;
    return low ? (high ? zinStsLsfBothWarn : zinStsLsfLowWarn) : (high ? zinStsLsfHighWarn : zinStsNoErr);
}

TEST(G729Quant, DecodeAgainstPlainStatement) {
    zt::check(zt::Export<Dec>{"zinsLSFDecode_G729_16s", make_dec,
                              [](Dec& a) { return zinsLSFDecode_G729_16s(a.idx, a.prev, a.lsf); }, plain_decode,
                              {zt::null(&Dec::idx), zt::null(&Dec::prev), zt::null(&Dec::lsf),
                               {zinStsOutOfRangeErr, "mode 2", [](Dec& a) { a.idx[0] = 2; }}}},
              zt::Sweep{std::vector<int>(200, 1)});
    Buf<int16_t> idx(std::vector<int16_t>{-1, 0, 0, 0}), prev(40), lsf(10);
    EXPECT_EQ(zinsLSFDecode_G729_16s(idx, prev, lsf), zinStsOutOfRangeErr);
    // Every status is reached: memories pulling the ends out of range or not.
    int seen[4] = {};
    for (int n = 0; n < 400; ++n) {
        Gen g;
        Dec a = make_dec(g);
        for (int k = 0; k < 4; ++k) {
            if (n & 1) a.prev[10 * k] = -32768;
            if (n & 2) a.prev[10 * k + 9] = 32767;
        }
        const ZinStatus st = zinsLSFDecode_G729_16s(a.idx, a.prev, a.lsf);
        ++seen[st == zinStsNoErr ? 0 : st - zinStsLsfLowWarn + 1];
    }
    for (int k = 0; k < 4; ++k) EXPECT_GT(seen[k], 0) << "status " << k;
}

// A memory far below at the low end and far above at the high end: both limits act.
TEST(G729Quant, DecodeBothLimits) {
    std::vector<int16_t> p(40, 0);
    for (int k = 0; k < 4; ++k) {
        p[10 * k] = -32768;
        p[10 * k + 9] = 32767;
    }
    Buf<int16_t> idx(std::vector<int16_t>{0, 5, 6, 7}), prev(p), lsf(10);
    ASSERT_EQ(zinsLSFDecode_G729_16s(idx, prev, lsf), zinStsLsfBothWarn);
    EXPECT_EQ(lsf[0], 40);
    EXPECT_EQ(lsf[9], 25681);
    // The quantiser returns the decode's warning, the LSP quantiser does not.
    const int16_t in[10] = {1000, 2000, 4000, 7000, 10000, 13000, 16000, 19000, 22000, 24000};
    int16_t q[10], ix[4], lsp[10], qlsp[10], code[2];
    Buf<int16_t> mem(p);
    EXPECT_EQ(zinsLSFQuant_G729_16s(in, mem, q, ix), zinStsLsfBothWarn);
    EXPECT_EQ(zinsLSFToLSP_G729_16s(in, lsp), zinStsNoErr);
    Buf<int16_t> mem2(p);
    EXPECT_EQ(zinsLSPQuant_G729_16s(lsp, mem2, qlsp, code), zinStsNoErr);
}

// ---- quantisers --------------------------------------------------------------------

TEST(G729Quant, QuantisersChecksAndMemory) {
    int16_t lsf[10], lsp[10], mem[40], q[10], idx[4], code[2], row[10];
    float lf[10], mf[40], qf[10], rf[10];
    int32_t idf[4] = {};
    EXPECT_EQ(zinsLSFQuant_G729_16s(nullptr, mem, q, idx), zinStsNullPtrErr);
    EXPECT_EQ(zinsLSFQuant_G729_16s(lsf, mem, q, nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsLSPQuant_G729_16s(lsp, nullptr, q, code), zinStsNullPtrErr);
    EXPECT_EQ(zinsLSPQuant_G729_16s(lsp, mem, q, nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsLSPQuant_G729E_16s(lsp, mem, nullptr, q, code), zinStsNullPtrErr);
    EXPECT_EQ(zinsLSPQuant_G729E_32f(lf, mf, rf, qf, nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsLSFDecode_G729_32f(idf, nullptr, qf), zinStsNullPtrErr);
    EXPECT_EQ(zinsLSFDecodeErased_G729_16s(0, nullptr, lsf), zinStsNullPtrErr);
    EXPECT_EQ(zinsLSFDecodeErased_G729_32f(0, mf, nullptr), zinStsNullPtrErr);
    // The 16s erased update tests the mode as an unsigned value; the float one as a signed one.
    EXPECT_EQ(zinsLSFDecodeErased_G729_16s(2, mem, lsf), zinStsOutOfRangeErr);
    EXPECT_EQ(zinsLSFDecodeErased_G729_16s(-1, mem, lsf), zinStsOutOfRangeErr);
    EXPECT_EQ(zinsLSFDecodeErased_G729_32f(-1, mf, lf), zinStsOutOfRangeErr);
    EXPECT_EQ(zinsLSFDecodeErased_G729_32f(2, mf, lf), zinStsOutOfRangeErr);

    // Annex E's quantiser leaves the memory as it was; shifting its row in gives the main one's memory.
    for (int n = 0; n < 200; ++n) {
        const auto p = zt::random16(40, 0, 25000);
        std::vector<double> w(10);
        for (auto& v : w) v = std::uniform_real_distribution<double>(0.05, 3.1)(zt::rng());
        std::sort(w.begin(), w.end());
        for (int i = 0; i < 10; ++i) lsp[i] = static_cast<int16_t>(std::lround(std::cos(w[i]) * 32767));
        Buf<int16_t> e(p), m(p);
        int16_t qe[10], ce[2];
        ASSERT_EQ(zinsLSPQuant_G729E_16s(lsp, e, row, qe, ce), zinStsNoErr);
        ASSERT_EQ(e.vec(), p);
        ASSERT_EQ(zinsLSPQuant_G729_16s(lsp, m, q, code), zinStsNoErr);
        ASSERT_TRUE(ce[0] == code[0] && ce[1] == code[1] && std::equal(q, q + 10, qe));
        std::vector<int16_t> shifted(row, row + 10);
        shifted.insert(shifted.end(), p.begin(), p.begin() + 30);
        ASSERT_EQ(m.vec(), shifted);
    }
}

TEST(G729Quant, ErasedFrameUpdate) {
    for (int n = 0; n < 500; ++n) {
        const int16_t mode = static_cast<int16_t>(n & 1);
        const auto p = zt::random16(40, 0, 25000), l = zt::random16(10, 0, 25000);
        Buf<int16_t> mem(p), lsf(l);
        ASSERT_EQ(zinsLSFDecodeErased_G729_16s(mode, mem, lsf), zinStsNoErr);
        ASSERT_EQ(lsf.vec(), l);
        float mf[40], lf[10];
        for (int j = 0; j < 40; ++j) mf[j] = p[j] / 8192.0f;
        for (int j = 0; j < 10; ++j) lf[j] = l[j] / 8192.0f;
        ASSERT_EQ(zinsLSFDecodeErased_G729_32f(mode, mf, lf), zinStsNoErr);
        for (int j = 0; j < 10; ++j) {
            int64_t acc = int64_t{l[j]} << 15;
            for (int k = 0; k < 4; ++k) acc -= int64_t{p[10 * k + j]} * tab::kFg[mode][k][j];
            const int32_t t = zt::wrap32(acc) >> 15;
            ASSERT_EQ(mem[j], zt::sat16((int64_t{t} * tab::kFgSumInv[mode][j]) >> 12)) << n;
            if (std::abs(mem[j]) < 32767) {
                ASSERT_NEAR(mf[j], mem[j] / 8192.0, 0.002 + std::fabs(mf[j]) * 1e-3) << n;
            }
        }
        for (int j = 10; j < 40; ++j) ASSERT_EQ(mem[j], p[j - 10]);
    }
}

}  // namespace
