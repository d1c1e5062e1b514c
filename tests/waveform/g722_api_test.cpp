// The G.722 exports through the public entries: statuses in their check
// order with nothing written on a refused call, the state object at any
// address, encoder and decoder adapting alike, the QMF and the loss helpers
// against plain statements of their arithmetic.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "test_util.h"
#include "waveform/g722_adpcm.h"
#include "waveform/g722_tables.h"
#include "zinsc.h"

namespace {

using zt::Misaligned;
using State = ZinSBADPCMState_G722_16s;

// 176 bytes of 0x5A with a state object `off` bytes in.
struct Obj {
    explicit Obj(int off = 0) : bytes(176, 0x5A), off(off) {}
    State* p() { return reinterpret_cast<State*>(bytes.data() + off); }
    zin::g722::State* fields() { return zin::g722::state_of(bytes.data() + off); }
    std::vector<unsigned char> bytes;
    int off;
};

TEST(G722Api, StatusOrderAndNothingWritten) {
    int size = 0;
    EXPECT_EQ(zinsSBADPCMEncodeStateSize_G722_16s(nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsSBADPCMDecodeStateSize_G722_16s(nullptr), zinStsNullPtrErr);
    ASSERT_EQ(zinsSBADPCMEncodeStateSize_G722_16s(&size), zinStsNoErr);
    EXPECT_EQ(size, 144);
    size = 0;
    ASSERT_EQ(zinsSBADPCMDecodeStateSize_G722_16s(&size), zinStsNoErr);
    EXPECT_EQ(size, 144);
    EXPECT_EQ(zinsSBADPCMEncodeInit_G722_16s(nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsSBADPCMDecodeInit_G722_16s(nullptr), zinStsNullPtrErr);

    Obj o(5);
    ASSERT_EQ(zinsSBADPCMEncodeInit_G722_16s(o.p()), zinStsNoErr);
    const auto fresh = o.bytes;
    int16_t src[8] = {100, -200, 300, -400, 5, 6, 7, 8}, dst[8];
    std::fill(dst, dst + 8, 77);
    using Enc = ZinStatus (*)(const int16_t*, int16_t*, int, State*);
    const Enc enc = [](const int16_t* s, int16_t* d, int n, State* st) { return zinsSBADPCMEncode_G722_16s(s, d, n, st); };
    const Enc dec1 = [](const int16_t* s, int16_t* d, int n, State* st) {
        return zinsSBADPCMDecode_G722_16s(s, d, n, 1, st);
    };
    const Enc qenc = [](const int16_t* s, int16_t* d, int n, State* st) {
        return zinsQMFEncode_G722_16s(s, d, n, reinterpret_cast<int16_t*>(st));
    };
    const Enc qdec = [](const int16_t* s, int16_t* d, int n, State* st) {
        return zinsQMFDecode_G722_16s(s, d, n, reinterpret_cast<int16_t*>(st));
    };
    for (Enc f : {enc, dec1, qenc, qdec}) {
        EXPECT_EQ(f(nullptr, dst, 8, o.p()), zinStsNullPtrErr);
        EXPECT_EQ(f(src, nullptr, 8, o.p()), zinStsNullPtrErr);
        EXPECT_EQ(f(src, dst, 8, nullptr), zinStsNullPtrErr);
        EXPECT_EQ(f(src, nullptr, 3, o.p()), zinStsNullPtrErr) << "pointers before lengths";
        for (int bad : {0, -2, -1, 1, 7}) EXPECT_EQ(f(src, dst, bad, o.p()), zinStsSizeErr) << bad;
    }
    EXPECT_TRUE(std::all_of(dst, dst + 8, [](int16_t v) { return v == 77; }));
    EXPECT_EQ(o.bytes, fresh) << "refused calls leave the state and the delay line alone";

    const int16_t past[2] = {1, 2};
    EXPECT_EQ(zinsSBADPCMDecodeStateUpdate_G722_16s(nullptr, 0, 0, o.p()), zinStsNullPtrErr);
    EXPECT_EQ(zinsSBADPCMDecodeStateUpdate_G722_16s(past, 0, 0, nullptr), zinStsNullPtrErr);

    EXPECT_EQ(zinsDownsampleFilter_G722_16s(nullptr, 8, dst), zinStsNullPtrErr);
    EXPECT_EQ(zinsDownsampleFilter_G722_16s(src, 8, nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsDownsampleFilter_G722_16s(nullptr, 0, dst), zinStsNullPtrErr);
    int16_t mem[2] = {0, 0};
    EXPECT_EQ(zinsFilterHighband_G722_16s_I(nullptr, 4, mem), zinStsNullPtrErr);
    EXPECT_EQ(zinsFilterHighband_G722_16s_I(dst, 4, nullptr), zinStsNullPtrErr);
    for (int bad : {0, -1}) {
        EXPECT_EQ(zinsDownsampleFilter_G722_16s(src + 5, bad, dst), zinStsSizeErr);
        EXPECT_EQ(zinsFilterHighband_G722_16s_I(dst, bad, mem), zinStsSizeErr);
    }
    // One to three samples make no output and are not an error.
    for (int n = 1; n <= 3; ++n) EXPECT_EQ(zinsDownsampleFilter_G722_16s(src + 5, n, dst), zinStsNoErr);
    EXPECT_TRUE(std::all_of(dst, dst + 8, [](int16_t v) { return v == 77; }));
    EXPECT_EQ(mem[0], 0);
    EXPECT_EQ(mem[1], 0);

    int16_t sig[300] = {};
    int cls = 1;
    EXPECT_EQ(zinsClassifyFrame_G722_16s_I(nullptr, 10, &cls, o.p()), zinStsNullPtrErr);
    EXPECT_EQ(zinsClassifyFrame_G722_16s_I(sig + 2, 10, nullptr, o.p()), zinStsNullPtrErr);
    EXPECT_EQ(zinsClassifyFrame_G722_16s_I(sig + 2, 10, &cls, nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsClassifyFrame_G722_16s_I(nullptr, 144, &cls, o.p()), zinStsNullPtrErr);
    EXPECT_EQ(zinsClassifyFrame_G722_16s_I(sig + 2, 144, &cls, o.p()), zinStsRangeErr);
    EXPECT_EQ(zinsClassifyFrame_G722_16s_I(sig + 2, -1, &cls, o.p()), zinStsRangeErr);
    EXPECT_EQ(cls, 1);
    EXPECT_EQ(zinsClassifyFrame_G722_16s_I(sig + 2, 143, &cls, o.p()), zinStsNoErr);
    EXPECT_EQ(zinsClassifyFrame_G722_16s_I(sig + 2, 0, &cls, o.p()), zinStsNoErr);
}

// The encoder and a decoder fed its codes adapt alike in every mode, so the
// two objects hold the same fields; and the object works the same at any
// address.
TEST(G722Api, DecoderTracksEncoderAtAnyAddress) {
    const auto in = zt::random16(2 * 4000, -16384, 16383);
    std::vector<int16_t> ref_codes;
    for (int off = 0; off < 16; off += 3) {
        Obj e(off);
        zinsSBADPCMEncodeInit_G722_16s(e.p());
        std::vector<int16_t> codes(in.size());
        ASSERT_EQ(zinsSBADPCMEncode_G722_16s(in.data(), codes.data(), static_cast<int>(in.size()), e.p()), zinStsNoErr);
        for (std::size_t i = 0; i < codes.size(); ++i) ASSERT_EQ(codes[i] & ~((i & 1) ? 3 : 63), 0);
        if (ref_codes.empty()) ref_codes = codes;
        ASSERT_EQ(codes, ref_codes) << "offset " << off;
        for (int mode : {1, 2, 3}) {
            Obj d(15 - off);
            zinsSBADPCMDecodeInit_G722_16s(d.p());
            // Bits above the code widths are ignored.
            auto noisy = codes;
            for (std::size_t i = 0; i < noisy.size(); ++i) noisy[i] = static_cast<int16_t>(noisy[i] | ((i & 1) ? 0x7F00 : 0x40C0));
            std::vector<int16_t> out(in.size());
            ASSERT_EQ(zinsSBADPCMDecode_G722_16s(noisy.data(), out.data(), static_cast<int>(out.size()), mode, d.p()),
                      zinStsNoErr);
            auto* fe = e.fields();
            auto* fd = d.fields();
            ASSERT_EQ(std::memcmp(fe, fd, sizeof(zin::g722::State)), 0) << "mode " << mode;
            for (int16_t v : out) ASSERT_TRUE(v >= -16384 && v <= 16383);
        }
    }
}

// Silence from a fresh state: the high band rests on code 3, the low band
// idles with small scale factors, and the decoded idle noise is +-1.
TEST(G722Api, SilenceGivesStableCodes) {
    Obj e(7), d(2);
    zinsSBADPCMEncodeInit_G722_16s(e.p());
    zinsSBADPCMDecodeInit_G722_16s(d.p());
    const int16_t zero[2] = {0, 0};
    for (int k = 0; k < 8000; ++k) {
        int16_t codes[2], out[2];
        ASSERT_EQ(zinsSBADPCMEncode_G722_16s(zero, codes, 2, e.p()), zinStsNoErr);
        ASSERT_EQ(zinsSBADPCMDecode_G722_16s(codes, out, 2, 1, d.p()), zinStsNoErr);
        ASSERT_EQ(codes[1], 3) << k;
        ASSERT_LE(std::abs(int{out[0]}), 1) << k;
        ASSERT_EQ(out[1], 0) << k;
        ASSERT_GE(e.fields()->detLow, 32) << k;
        ASSERT_LE(e.fields()->detLow, 128) << k;
        ASSERT_EQ(e.fields()->detHigh, 8) << k;
    }
}

// ---- QMF against the plain statement of the two filters ---------------------

// Both filters: two words enter the delay line at its head (encoder: the
// older sample to word 1; decoder: low - high to word 0, low + high to word
// 1, saturated), the even and odd sums a and b give the outputs, the line
// moves by two.
void qmf_ref(bool decode, const int16_t* src, int16_t* dst, int len, int16_t* dl) {
    for (int k = 0; k < len / 2; ++k) {
        const int x0 = src[2 * k], x1 = src[2 * k + 1];
        dl[0] = static_cast<int16_t>(decode ? std::clamp(x0 - x1, -32768, 32767) : x1);
        dl[1] = static_cast<int16_t>(decode ? std::clamp(x0 + x1, -32768, 32767) : x0);
        int32_t a = 0, b = 0;
        for (int i = 0; i < 12; ++i) {
            a += zin::g722::kQmf[2 * i] * dl[2 * i];
            b += zin::g722::kQmf[2 * i + 1] * dl[2 * i + 1];
        }
        const int lo = decode ? -32768 : -16384, hi = decode ? 32767 : 16383;
        dst[2 * k] = static_cast<int16_t>(std::clamp(decode ? a >> 12 : (a + b) >> 15, lo, hi));
        dst[2 * k + 1] = static_cast<int16_t>(std::clamp(decode ? b >> 12 : (a - b) >> 15, lo, hi));
        for (int i = 23; i >= 2; --i) dl[i] = dl[i - 2];
    }
}

TEST(G722Api, QmfMatchesPlainStatement) {
    for (int len : zt::test_lengths()) {
        len &= ~1;
        if (len == 0) continue;
        for (auto p : zt::kPatterns) {
            const auto in = zt::pattern16(p, len);
            for (bool decode : {false, true}) {
                auto dl = zt::random16(24, -3000, 3000);
                auto dl_ref = dl;
                std::vector<int16_t> want(len);
                Misaligned<int16_t> S(len, len % 7), D(len, (len + 3) % 8), L(24, len % 5);
                S.assign(in);
                L.assign(dl);
                qmf_ref(decode, in.data(), want.data(), len, dl_ref.data());
                ASSERT_EQ((decode ? zinsQMFDecode_G722_16s : zinsQMFEncode_G722_16s)(S.data(), D.data(), len, L.data()),
                          zinStsNoErr);
                ASSERT_EQ(D.vec(), want) << "len " << len << " decode " << decode;
                ASSERT_EQ(L.vec(), dl_ref) << "delay line, len " << len;
                ASSERT_TRUE(D.guards_intact() && L.guards_intact() && S.guards_intact());
            }
        }
    }
}

// ---- loss helpers -------------------------------------------------------------

TEST(G722Api, StateUpdateAfterLoss) {
    const int16_t past[2] = {-301, 4001};
    for (int reset : {0, 1}) {
        Obj o(3);
        zinsSBADPCMDecodeInit_G722_16s(o.p());
        auto codes = zt::random16(400, 0, 63);
        for (std::size_t i = 1; i < codes.size(); i += 2) codes[i] &= 3;
        std::vector<int16_t> out(codes.size());
        zinsSBADPCMDecode_G722_16s(codes.data(), out.data(), 400, 1, o.p());
        auto* f = o.fields();
        f->nbhHigh = 22528;
        const zin::g722::State before = *f;
        ASSERT_EQ(zinsSBADPCMDecodeStateUpdate_G722_16s(past, -777, reset, o.p()), zinStsNoErr);
        for (int i = 0; i < 6; ++i) EXPECT_EQ(f->dltLow[i], 0);
        EXPECT_EQ(f->dLow, 0);
        EXPECT_EQ(f->pltLow[0], 2000);
        EXPECT_EQ(f->pltLow[1], -151);
        EXPECT_EQ(f->rltLow[0], 4001);
        EXPECT_EQ(f->rltLow[1], -301);
        EXPECT_EQ(f->sLow, -777);
        EXPECT_EQ(f->szLow, -389);
        if (reset) {
            EXPECT_EQ(f->detLow, 32);
            EXPECT_EQ(f->detHigh, 8);
            EXPECT_EQ(f->nblLow, 0);
            EXPECT_EQ(f->nbhHigh, 0);
        } else {
            EXPECT_EQ(f->detLow, before.detLow);
            EXPECT_EQ(f->nblLow, before.nblLow);
            EXPECT_EQ(f->detHigh, zin::g722::kIla[22528 >> 7] * 4 + 4);
            EXPECT_EQ(f->nbhHigh, 11264);
        }
        // The high band and the low-band predictor coefficients stay.
        EXPECT_EQ(std::memcmp(f->zerosLow, before.zerosLow, sizeof f->zerosLow), 0);
        EXPECT_EQ(std::memcmp(f->dltHigh, before.dltHigh, sizeof f->dltHigh), 0);
        EXPECT_EQ(f->sHigh, before.sHigh);
    }
    // A log scale factor whose bits 7 to 15 exceed 352 is halved and refused.
    for (int16_t bad : {int16_t(-1), int16_t(353 << 7), int16_t(0xFF80)}) {
        Obj o;
        zinsSBADPCMDecodeInit_G722_16s(o.p());
        o.fields()->nbhHigh = bad;
        EXPECT_EQ(zinsSBADPCMDecodeStateUpdate_G722_16s(past, 5, 1, o.p()), zinStsOutOfRangeErr);
        EXPECT_EQ(o.fields()->nbhHigh, static_cast<int16_t>(bad >> 1));
        EXPECT_EQ(o.fields()->detHigh, 8) << "not reset on the error";
        EXPECT_EQ(o.fields()->sLow, 5) << "the low band is already set";
    }
    Obj o;
    zinsSBADPCMDecodeInit_G722_16s(o.p());
    o.fields()->nbhHigh = static_cast<int16_t>((352 << 7) + 127);
    EXPECT_EQ(zinsSBADPCMDecodeStateUpdate_G722_16s(past, 5, 0, o.p()), zinStsNoErr);
    EXPECT_EQ(o.fields()->detHigh, 4095 * 4 + 4);
}

TEST(G722Api, ClassifyFrame) {
    Obj o;
    zinsSBADPCMDecodeInit_G722_16s(o.p());
    auto* f = o.fields();
    const int lag = 40;
    std::vector<int16_t> base(2 + 2 * lag + 2);
    for (std::size_t i = 0; i < base.size(); ++i) base[i] = static_cast<int16_t>((i % 5) * 100 - 200);  // |x| <= 200
    struct Case {
        int nbh, cls_in, peak, cls_out, peak_out;
    };
    // High band not above the low band: the class stays and only 3 and 4
    // look at peaks. High band above: 0 becomes 3, others 4. A lone peak is
    // cut to the largest magnitude around i (sign kept); one of more than
    // eight times that magnitude makes class 2.
    const Case cases[] = {{100, 0, 9000, 0, 9000},  {100, 1, 9000, 1, 9000},  {100, 3, 9000, 2, 200},
                          {101, 0, -9000, 2, -200}, {101, 5, -9000, 2, -200}, {101, 0, 1000, 3, 200},
                          {101, 2, 150, 4, 150}};
    for (const Case& c : cases) {
        f->nbhHigh = static_cast<int16_t>(c.nbh);
        f->nblLow = 100;
        auto s = base;
        s[2 + lag + 7] = static_cast<int16_t>(c.peak);
        int cls = c.cls_in;
        ASSERT_EQ(zinsClassifyFrame_G722_16s_I(s.data() + 2, lag, &cls, o.p()), zinStsNoErr);
        EXPECT_EQ(cls, c.cls_out) << c.nbh << " " << c.cls_in << " " << c.peak;
        EXPECT_EQ(s[2 + lag + 7], c.peak_out);
        s[2 + lag + 7] = base[2 + lag + 7];
        EXPECT_EQ(s, base) << "nothing else changes";
    }
}

TEST(G722Api, DownsampleMatchesPlainStatement) {
    for (int len : zt::test_lengths()) {
        for (auto p : zt::kPatterns) {
            const auto all = zt::pattern16(p, static_cast<std::size_t>(len) + 5);
            Misaligned<int16_t> S(len + 5, len % 8), D(len / 4 + 1, 3, 1234);
            S.assign(all);
            ASSERT_EQ(zinsDownsampleFilter_G722_16s(S.data() + 5, len, D.data()), zinStsNoErr);
            for (int j = 0; j < len / 4; ++j) {
                int64_t sum = 0;
                for (int t = 0; t < 9; ++t) sum += int64_t{zin::g722::kDecimTaps[t]} * all[5 + 4 * j + 3 - t];
                const int64_t want = sum >= 0x7FFF8000 ? 32767 : std::max<int64_t>(-32768, (sum + 32768) >> 16);
                ASSERT_EQ(D.data()[j], want) << "len " << len << " j " << j;
            }
            ASSERT_EQ(D.data()[len / 4], 1234) << "nothing past len/4 outputs";
            ASSERT_TRUE(D.guards_intact());
        }
    }
}

TEST(G722Api, HighbandFilterMatchesPlainStatement) {
    for (auto p : zt::kPatterns) {
        const auto in = zt::pattern16(p, 1000);
        // Plain statement, whole vector.
        std::vector<int16_t> want(in.size());
        int u1 = 123, y1 = -456;
        for (std::size_t n = 0; n < in.size(); ++n) {
            const int u = (in[n] * 29212 + 16384) >> 15;
            y1 = std::clamp(u - u1 + ((y1 * 25656 + 16384) >> 15), -32768, 32767);
            u1 = u;
            want[n] = static_cast<int16_t>(y1);
        }
        // The same in pieces, the memory carrying across calls.
        auto got = in;
        int16_t mem[2] = {123, -456};
        for (std::size_t pos = 0, k = 1; pos < got.size(); ++k) {
            const std::size_t n = std::min(k * 7 % 97 + 1, got.size() - pos);
            ASSERT_EQ(zinsFilterHighband_G722_16s_I(got.data() + pos, static_cast<int>(n), mem), zinStsNoErr);
            pos += n;
        }
        ASSERT_EQ(got, want);
        EXPECT_EQ(mem[0], u1);
        EXPECT_EQ(mem[1], y1);
    }
}

}  // namespace
