// The G.722.1 exports against plain statements of the recommendation's
// fixed-point arithmetic on random full-scale input at both sizes (the
// sequences, run in tests/codecs, cannot tell a 64-bit DCT core from the
// per-step saturating one), with their checks in order.
#include <gtest/gtest.h>

#include "check.h"
#include "kernels/fixed_point.h"
#include "waveform/g7221_tables.h"

namespace {

using zt::Buf;
using zt::Gen;
namespace fx = zin::fx;
namespace t = zin::g7221;

struct Fold {
    Buf<int16_t> a, b, dst;
    int size;
    auto bufs() { return std::tie(a, b, dst); }
};

// Sizes alternate with the misalignment; the length of a run plays no part.
const zt::Sweep kSizes{{1, 2, 3}, {0, 1, 2, 3, 4, 5, 6, 7}};

std::vector<zt::Check<Fold>> fold_checks(bool sized) {
    std::vector<zt::Check<Fold>> c{zt::null(&Fold::a), zt::null(&Fold::b), zt::null(&Fold::dst)};
    if (sized)
        for (int bad : {0, 321, -320, 639}) c.push_back(zt::set(zinStsSizeErr, &Fold::size, bad));
    return c;
}

template <class Call, class Plain>
void check_fold(const char* name, int second, Call call, Plain plain) {
    auto make = [second](Gen& g) {
        const int n = g.off & 1 ? 640 : 320;
        return Fold{g.in16(n), g.in16(second == 2 ? n / 2 : n), g.out<int16_t>(n), n};
    };
    zt::check(zt::Export<Fold>{name, make, call, plain, fold_checks(true)}, kSizes);
}

TEST(G7221, WindowFolds) {
    // Analysis: the previous frame (b) makes the first half, the current (a) the second.
    check_fold("zinsDecomposeMLTToDCT_G7221_16s", 1,
               [](Fold& f) { return zinsDecomposeMLTToDCT_G7221_16s(f.a, f.b, f.dst, f.size); },
               [](Fold& f) {
                   const int n = f.size, h = n / 2;
                   const int16_t* w = n == 320 ? t::kWindowFwd320 : t::kWindowFwd640;
                   for (int i = 0; i < h; ++i) {
                       f.dst[i] = fx::round16(fx::mac32(fx::mac32(0, w[h - 1 - i], f.b[h - 1 - i]), w[h + i], f.b[h + i]));
                       f.dst[h + i] = fx::round16(fx::msu32(fx::mac32(0, w[n - 1 - i], f.a[i]), w[i], f.a[n - 1 - i]));
                   }
                   return zinStsNoErr;
               });
    // Synthesis: the current inverse transform (a) and half a frame of history (b).
    check_fold("zinsDecomposeDCTToMLT_G7221_16s", 2,
               [](Fold& f) { return zinsDecomposeDCTToMLT_G7221_16s(f.a, f.b, f.dst, f.size); },
               [](Fold& f) {
                   const int n = f.size, h = n / 2;
                   const int16_t* w = n == 320 ? t::kWindowInv320 : t::kWindowInv640;
                   for (int i = 0; i < h; ++i) {
                       f.dst[i] = fx::round16(fx::shl32(fx::mac32(fx::mac32(0, w[i], f.a[h - 1 - i]), w[n - 1 - i], f.b[i]), 2));
                       f.dst[h + i] = fx::round16(
                           fx::shl32(fx::msu32(fx::mac32(0, w[h + i], f.a[i]), w[h - 1 - i], f.b[h - 1 - i]), 2));
                   }
                   return zinStsNoErr;
               });
}

// The DCT-IV as the recommendation states it, stage by stage in whole arrays.
std::vector<int16_t> plain_dct(std::vector<int16_t> x, bool inverse) {
    const int n = static_cast<int>(x.size()), log = n == 320 ? 6 : 7;
    if (!inverse && n == 320)
        for (int i = 0; i < n; ++i) x[i] = fx::add16(x[i], t::kAnalysisBias[i]);
    const int16_t* dither = n == 320 ? t::kDither320 : t::kDither640;
    for (int s = 0; s <= log - 2; ++s) {
        std::vector<int16_t> y(n);
        const int span = n >> s;
        for (int set = 0; set < (1 << s); ++set)
            for (int p = 0; p < span / 2; ++p) {
                const int at = set * span + 2 * p, a = x[at], b = x[at + 1];
                int16_t& lo = y[set * span + p];
                int16_t& hi = y[set * span + span - 1 - p];
                if (!inverse) {
                    lo = static_cast<int16_t>((a + b) >> 1), hi = static_cast<int16_t>((a - b) >> 1);
                } else if (s == 0) {
                    lo = static_cast<int16_t>((fx::add16(x[at], dither[2 * p]) + b) >> 1);
                    hi = static_cast<int16_t>((fx::add16(x[at], dither[2 * p + 1]) - b) >> 1);
                } else {
                    lo = fx::add16(x[at], x[at + 1]), hi = fx::add16(x[at], fx::neg16(x[at + 1]));
                }
            }
        x = y;
    }
    std::vector<int16_t> y(n);
    for (int set = 0; set < n / 10; ++set)
        for (int k = 0; k < 10; ++k) {
            int32_t acc = 0;
            for (int i = 0; i < 10; ++i) acc = fx::mac32(acc, x[set * 10 + i], (inverse ? t::kCoreInv : t::kCoreFwd)[i * 10 + k]);
            y[set * 10 + k] = fx::round16(acc);
        }
    x = y;
    const int16_t(*const fwd[6])[2] = {t::kCosMsinFwd2, t::kCosMsinFwd4, t::kCosMsinFwd8, t::kCosMsinFwd16, t::kCosMsinFwd32, t::kCosMsinFwd64};
    const int16_t(*const inv[6])[2] = {t::kCosMsinInv2, t::kCosMsinInv4, t::kCosMsinInv8, t::kCosMsinInv16, t::kCosMsinInv32, t::kCosMsinInv64};
    for (int s = log - 2; s >= 0; --s) {
        const int span = n >> s, q = span / 2;
        const int16_t(*r)[2] = (inverse ? inv : fwd)[log - 2 - s];
        auto out = [&](int32_t a) { return fx::round16(inverse ? fx::shl32(a, 1) : a); };
        for (int set = 0; set < (1 << s); ++set) {
            const int16_t* lo = &x[set * span];
            const int16_t* hi = lo + q;
            for (int j = 0; j < q; j += 2) {
                y[set * span + j] = out(fx::mac32(fx::mac32(0, r[j][0], lo[j]), fx::neg16(r[j][1]), hi[j]));
                y[set * span + span - 1 - j] = out(fx::mac32(fx::mac32(0, r[j][1], lo[j]), r[j][0], hi[j]));
                y[set * span + j + 1] = out(fx::mac32(fx::mac32(0, r[j + 1][0], lo[j + 1]), r[j + 1][1], hi[j + 1]));
                y[set * span + span - 2 - j] = out(fx::mac32(fx::mac32(0, r[j + 1][1], lo[j + 1]), fx::neg16(r[j + 1][0]), hi[j + 1]));
            }
        }
        x = y;
    }
    if (inverse && n == 320)
        for (int i = 0; i < n; ++i) x[i] = fx::add16(x[i], t::kSynthesisBias[i]);
    return x;
}

struct Dct {
    Buf<int16_t> src, dst;
    int size;
    auto bufs() { return std::tie(src, dst); }
};

TEST(G7221, DctBothWays) {
    for (bool inverse : {false, true}) {
        auto make = [](Gen& g) {
            const int n = g.off & 1 ? 640 : 320;
            return Dct{g.in16(n), g.out<int16_t>(n), n};
        };
        std::vector<zt::Check<Dct>> checks{zt::null(&Dct::src), zt::null(&Dct::dst)};
        for (int bad : {0, 321, 160, 1280}) checks.push_back(zt::set(zinStsSizeErr, &Dct::size, bad));
        zt::check(zt::Export<Dct>{inverse ? "zinsDCTInv_G7221_16s" : "zinsDCTFwd_G7221_16s", make,
                                  [inverse](Dct& d) {
                                      return inverse ? zinsDCTInv_G7221_16s(d.src, d.dst, d.size) : zinsDCTFwd_G7221_16s(d.src, d.dst, d.size);
                                  },
                                  [inverse](Dct& d) {
                                      const auto y = plain_dct(d.src.vec(), inverse);
                                      std::copy(y.begin(), y.end(), d.dst.p());
                                      return zinStsNoErr;
                                  },
                                  checks},
                  kSizes);
    }
    // At 640 no bias: silence stays silence; at 320 it does not.
    std::vector<int16_t> zero(640, 0), out(640, 1);
    ASSERT_EQ(zinsDCTFwd_G7221_16s(zero.data(), out.data(), 640), zinStsNoErr);
    EXPECT_EQ(out, zero);
    ASSERT_EQ(zinsDCTFwd_G722_16s(zero.data(), out.data()), zinStsNoErr);
    EXPECT_NE(std::vector<int16_t>(out.begin(), out.begin() + 320), std::vector<int16_t>(320, 0));
}

// The size-320 forms are the sized ones at 320.
TEST(G7221, FixedSizeForms) {
    Gen g;
    const Buf<int16_t> a = g.in16(320), b = g.in16(320);
    Buf<int16_t> x(320), y(320);
    using Fn3 = ZinStatus (*)(const Zin16s*, const Zin16s*, Zin16s*, int);
    using Fn2 = ZinStatus (*)(const Zin16s*, const Zin16s*, Zin16s*);
    const std::pair<Fn3, Fn2> folds[] = {{zinsDecomposeMLTToDCT_G7221_16s, zinsDecomposeMLTToDCT_G722_16s},
                                         {zinsDecomposeDCTToMLT_G7221_16s, zinsDecomposeDCTToMLT_G722_16s}};
    for (auto [sized, fixed] : folds) {
        ASSERT_EQ(sized(a, b, x, 320), zinStsNoErr);
        ASSERT_EQ(fixed(a, b, y), zinStsNoErr);
        EXPECT_EQ(x.vec(), y.vec());
        EXPECT_EQ(fixed(a, nullptr, y), zinStsNullPtrErr);
    }
    ASSERT_EQ(zinsDCTInv_G7221_16s(a, x, 320), zinStsNoErr);
    ASSERT_EQ(zinsDCTInv_G722_16s(a, y), zinStsNoErr);
    EXPECT_EQ(x.vec(), y.vec());
    EXPECT_EQ(zinsDCTFwd_G722_16s(nullptr, y), zinStsNullPtrErr);
}

// ---- the region coder ------------------------------------------------------------

struct Region {
    int category, power;
    Buf<int16_t> src;
    Buf<Zin32u> words;
    Buf<int> bits;
    auto bufs() { return std::tie(src, words, bits); }
};

// Per category: dimension, vectors, largest index, and the code tables.
struct Cat {
    int dim, vectors, kmax;
    const uint16_t* codes;
    const int16_t* lengths;
};
const Cat kCats[7] = {{2, 10, 13, t::kVqCodes0, t::kVqBits0}, {2, 10, 9, t::kVqCodes1, t::kVqBits1},
                      {2, 10, 6, t::kVqCodes2, t::kVqBits2},  {4, 5, 4, t::kVqCodes3, t::kVqBits3},
                      {4, 5, 3, t::kVqCodes4, t::kVqBits4},   {5, 4, 2, t::kVqCodes5, t::kVqBits5},
                      {5, 4, 1, t::kVqCodes6, t::kVqBits6}};

TEST(G7221, HuffmanEncode) {
    auto make = [](Gen& g) {
        // Every category and a spread of powers; the input's scale follows the
        // power as in the codec, or full scale.
        const int cat = g.off % 7, power = g.pick(0, 63);
        const int amp = g.extreme() ? 32767 : std::min(32767, 40 << std::clamp(power / 2, 0, 9));
        return Region{cat, power, g.in16(20, -amp - 1, amp), g.out<Zin32u>(6), g.out<int>(1)};
    };
    auto plain = [](Region& r) {
        const Cat& c = kCats[r.category];
        const int32_t scale = (int32_t{t::kStepSizeInverse[r.category]} * t::kStdDevInverse[r.power] + 4096) >> 13;
        std::vector<int> bits;  // the whole region, MSB first
        for (int v = 0; v < c.vectors; ++v) {
            int index = 0;
            std::vector<int> signs;
            for (int j = 0; j < c.dim; ++j) {
                const int16_t x = r.src[v * c.dim + j], m = fx::abs16(x);
                const int16_t f = static_cast<int16_t>(static_cast<int16_t>(static_cast<int16_t>(static_cast<int16_t>(2 * m * (scale & 3)) >> 1) + t::kDeadZoneLowBits[r.category]) >> 2);
                const int k = std::clamp<int>((m * (scale >> 2) + t::kDeadZone[r.category] + f) >> 13, 0, c.kmax);
                if (k) signs.push_back(x > 0);
                index = index * (c.kmax + 1) + k;
            }
            for (int b = c.lengths[index] - 1; b >= 0; --b) bits.push_back((c.codes[index] >> b) & 1);
            bits.insert(bits.end(), signs.begin(), signs.end());
        }
        r.bits[0] = static_cast<int>(bits.size());
        const int words = (r.bits[0] - 1) / 32 + 1;
        for (int w = 0; w < words; ++w) {
            Zin32u word = 0;
            for (int b = 0; b < 32; ++b) word = word << 1 | (32 * w + b < r.bits[0] ? bits[32 * w + b] : 0);
            r.words[w] = word;
        }
        return zinStsNoErr;
    };
    zt::Sweep sweep{{1, 2, 3, 4, 5, 6, 7, 8}, {0, 1, 2, 3, 4, 5, 6}};
    zt::check(zt::Export<Region>{"zinsHuffmanEncode_G722_16s32u", make,
                                 [](Region& r) { return zinsHuffmanEncode_G722_16s32u(r.category, r.power, r.src, r.words, r.bits); },
                                 plain,
                                 {zt::null(&Region::src), zt::null(&Region::words), zt::null(&Region::bits),
                                  zt::set(zinStsScaleRangeErr, &Region::category, 7), zt::set(zinStsScaleRangeErr, &Region::category, -1),
                                  zt::set(zinStsScaleRangeErr, &Region::power, 64), zt::set(zinStsScaleRangeErr, &Region::power, -1)}},
              sweep);
}

}  // namespace
