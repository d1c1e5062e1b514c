// The G.722 exports on the checking harness: the QMF and the loss helpers
// against plain statements of their arithmetic; the sub-band coders through
// statuses, determinism, split calls and a decoder fed the encoder's codes
// adapting alike in every mode (the bit-exact oracle is the conformance
// suite); each state object exactly its size, at any address.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "check.h"
#include "waveform/g722_adpcm.h"
#include "waveform/g722_tables.h"

namespace {

using zt::Buf;
using zt::by_off;
using zt::Gen;
using zt::sat16;
using State = ZinSBADPCMState_G722_16s;
constexpr int kSize = 144;

zin::g722::State* fields(Buf<uint8_t>& s) { return zin::g722::state_of(s.p()); }

Buf<uint8_t> fresh(std::size_t off) {
    Buf<uint8_t> s(kSize, off);
    EXPECT_EQ(zinsSBADPCMEncodeInit_G722_16s(s.as<State>()), zinStsNoErr);
    return s;
}

TEST(G722Api, SizesAndInit) {
    int e = 0, d = 0;
    for (auto f : {zinsSBADPCMEncodeStateSize_G722_16s, zinsSBADPCMDecodeStateSize_G722_16s}) EXPECT_EQ(f(nullptr), zinStsNullPtrErr);
    for (auto f : {zinsSBADPCMEncodeInit_G722_16s, zinsSBADPCMDecodeInit_G722_16s}) EXPECT_EQ(f(nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsSBADPCMEncodeStateSize_G722_16s(&e) | zinsSBADPCMDecodeStateSize_G722_16s(&d), zinStsNoErr);
    EXPECT_TRUE(e == kSize && d == kSize);
}

// A call over a stream: source, destination, length (words; sub-band pairs
// for the pair functions), the decoder's mode, a state object or a memory.
struct Io {
    Buf<int16_t> src, dst;
    int len, mode;
    Buf<uint8_t> st = {};
    Buf<int16_t> mem = {};
    auto bufs() { return std::tie(src, dst, st, mem); }
};

// The pointers' checks, then the lengths'; a pair function refuses odd ones.
std::vector<zt::Check<Io>> checks(std::vector<zt::Check<Io>> c, std::vector<int> bad = {0, -2, -1, 1, 7}) {
    for (int n : bad) c.push_back(zt::set(zinStsSizeErr, &Io::len, n));
    return c;
}

// ---- QMF: G.722 Table 11's coefficients, doubled --------------------------------

constexpr int kQmf[24] = {6, -22, -22, 106, 24, -312, 64, 724, -420, -1610, 1902, 7752,
                          7752, 1902, -1610, -420, 724, 64, -312, 24, 106, -22, -22, 6};

// Two words enter the delay line at its head (encoder: the older sample to
// word 1; decoder: low - high to word 0, low + high to word 1, saturated),
// the even and odd sums a and b give the outputs, the line moves by two.
ZinStatus qmf_plain(Io& q, bool decode) {
    int16_t* dl = q.mem;
    for (int k = 0; k < q.len; k += 2) {
        const int x0 = q.src[k], x1 = q.src[k + 1], lo = decode ? -32768 : -16384, hi = decode ? 32767 : 16383;
        dl[0] = decode ? sat16(x0 - x1) : static_cast<int16_t>(x1);
        dl[1] = decode ? sat16(x0 + x1) : static_cast<int16_t>(x0);
        int32_t a = 0, b = 0;
        for (int i = 0; i < 12; ++i) a += kQmf[2 * i] * dl[2 * i], b += kQmf[2 * i + 1] * dl[2 * i + 1];
        q.dst[k] = static_cast<int16_t>(std::clamp(decode ? a >> 12 : (a + b) >> 15, lo, hi));
        q.dst[k + 1] = static_cast<int16_t>(std::clamp(decode ? b >> 12 : (a - b) >> 15, lo, hi));
        std::copy_backward(dl, dl + 22, dl + 24);
    }
    return zinStsNoErr;
}

TEST(G722Api, Qmf) {
    for (bool decode : {false, true}) {
        auto f = [decode](Io& q, int from, int n) {
            return (decode ? zinsQMFDecode_G722_16s : zinsQMFEncode_G722_16s)(q.src.at(from), q.dst.at(from), n, q.mem);
        };
        zt::check(zt::Export<Io>{
            .name = decode ? "zinsQMFDecode_G722_16s" : "zinsQMFEncode_G722_16s",
            .make = [](Gen& g) { return Io{g.in16(2 * g.len), g.out<int16_t>(2 * g.len), 2 * g.len, 0, {}, g.in16(24, -3000, 3000)}; },
            .call = zt::whole(f),
            .plain = [decode](Io& q) { return qmf_plain(q, decode); },
            .checks = checks({zt::null(&Io::src), zt::null(&Io::dst), zt::null(&Io::mem)}),
            .split = zt::in_two(f, 2)});
    }
}

// ---- sub-band ADPCM ----------------------------------------------------------

ZinStatus encode(Io& a, int from, int n) { return zinsSBADPCMEncode_G722_16s(a.src.at(from), a.dst.at(from), n, a.st.as<State>()); }
ZinStatus decode(Io& a, int from, int n) {
    return zinsSBADPCMDecode_G722_16s(a.src.at(from), a.dst.at(from), n, a.mode, a.st.as<State>());
}

// Codes in their widths. A decoder fed them, with noise above the widths,
// adapts alike in every mode, so its fields end equal to the encoder's. From
// silence the high band rests on code 3.
TEST(G722Api, Encode) {
    zt::check(zt::Export<Io>{
        .name = "zinsSBADPCMEncode_G722_16s",
        .make = [](Gen& g) { return Io{g.in16(2 * g.len, -16384, 16383), g.out<int16_t>(2 * g.len), 2 * g.len, 0, fresh(g.off * 3 % 16)}; },
        .call = zt::whole(encode),
        .checks = checks({zt::null(&Io::src), zt::null(&Io::dst), zt::null(&Io::st)}),
        .split = zt::in_two(encode, 2),
        .holds = [](Io& a, const std::string& at) {
            const bool silent = std::all_of(a.src.p(), a.src.p() + a.len, [](int16_t x) { return x == 0; });
            for (int i = 0; i < a.len; ++i) ASSERT_EQ(a.dst[i] & ~(i & 1 ? 3 : 63), 0) << at << " code " << i;
            for (int i = 1; silent && i < a.len; i += 2) ASSERT_EQ(a.dst[i], 3) << at << " silence, high code " << i;
            for (int mode : {1, 2, 3}) {
                Io d{a.dst, Buf<int16_t>(a.dst.size()), a.len, mode, fresh(15 - a.len % 16)};
                for (int i = 0; i < a.len; ++i) d.src[i] = static_cast<int16_t>(d.src[i] | (i & 1 ? 0x7F00 : 0x40C0));
                ASSERT_EQ(decode(d, 0, a.len), zinStsNoErr);
                ASSERT_EQ(std::memcmp(fields(a.st), fields(d.st), sizeof(zin::g722::State)), 0) << at << " mode " << mode;
            }
        }});
}

// Any code words (bits above the widths ignored), every mode value; outputs
// in 15 bits.
TEST(G722Api, Decode) {
    zt::check(zt::Export<Io>{
        .name = "zinsSBADPCMDecode_G722_16s",
        .make = [](Gen& g) {
            return Io{g.in16(2 * g.len), g.out<int16_t>(2 * g.len), 2 * g.len, by_off(g, {1, 2, 3, 0, -1}), fresh(g.off * 5 % 16)};
        },
        .call = zt::whole(decode),
        .checks = checks({zt::null(&Io::src), zt::null(&Io::dst), zt::null(&Io::st)}),
        .split = zt::in_two(decode, 2),
        .holds = [](Io& a, const std::string& at) {
            for (int i = 0; i < a.len; ++i) ASSERT_TRUE(a.dst[i] >= -16384 && a.dst[i] <= 16383) << at << " " << a.dst[i];
        }});
}

// ---- loss helpers --------------------------------------------------------------

// A decoder state after some random codes, its log scale factors chosen.
Buf<uint8_t> decoded(Gen& g, int nbh, int nbl) {
    Buf<uint8_t> s = fresh(g.off * 7 % 16);
    Buf<int16_t> c = g.in16(2 * g.len), out(c.size());
    EXPECT_EQ(zinsSBADPCMDecode_G722_16s(c, out, 2 * g.len, 1, s.as<State>()), zinStsNoErr);
    fields(s)->nbhHigh = static_cast<int16_t>(nbh), fields(s)->nblLow = static_cast<int16_t>(nbl);
    return s;
}

struct Update {
    Buf<int16_t> past;
    int value, reset;
    Buf<uint8_t> st;
    auto bufs() { return std::tie(past, st); }
};

// Bits 7 to 15 of nbhHigh index the table; 352 is the last index accepted.
TEST(G722Api, StateUpdate) {
    zt::check(zt::Export<Update>{
        .name = "zinsSBADPCMDecodeStateUpdate_G722_16s",
        .make = [](Gen& g) {
            const int nbh = by_off(g, {g.pick(0, 22528), 22528, (352 << 7) + 127, 353 << 7, -1, -128});
            return Update{g.in16(2), g.pick(-32768, 32767), g.len & 1, decoded(g, nbh, 0)};
        },
        .call = [](Update& u) { return zinsSBADPCMDecodeStateUpdate_G722_16s(u.past, int16_t(u.value), u.reset, u.st.as<State>()); },
        .plain = [](Update& u) {
            zin::g722::State& f = *fields(u.st);
            std::fill(f.dltLow, f.dltLow + 6, 0);
            f.dLow = 0, f.rltLow[0] = u.past[1], f.rltLow[1] = u.past[0];
            f.pltLow[0] = static_cast<int16_t>(u.past[1] >> 1), f.pltLow[1] = static_cast<int16_t>(u.past[0] >> 1);
            f.sLow = static_cast<int16_t>(u.value), f.szLow = static_cast<int16_t>(u.value >> 1);
            const int n = f.nbhHigh, index = (n & 0xFFFF) >> 7;
            f.nbhHigh = static_cast<int16_t>(u.reset && index <= 352 ? 0 : n >> 1);
            if (index > 352) return zinStsOutOfRangeErr;
            if (u.reset) f.detLow = 32, f.detHigh = 8, f.nblLow = 0;
            else f.detHigh = static_cast<int16_t>(zin::g722::kIla[index] * 4 + 4);
            return zinStsNoErr;
        },
        .checks = {zt::null(&Update::past), zt::null(&Update::st)}},
        zt::Sweep{{1, 2, 3, 4, 40, 41, 160, 161}});
}

struct Classify {
    Buf<int16_t> sig;
    int lag;
    Buf<int> cls;
    Buf<uint8_t> st;
    auto bufs() { return std::tie(sig, cls); }
};

// Small signals with lone peaks, some more than eight times their
// neighbourhood; the buffer holds two samples before the pointer and ends at
// the last sample read.
TEST(G722Api, ClassifyFrame) {
    zt::check(zt::Export<Classify>{
        .name = "zinsClassifyFrame_G722_16s_I",
        .make = [](Gen& g) {
            const int lag = g.len % 144;
            Buf<int16_t> s = g.in16(2 + std::max(lag + 2, 2 * lag), -300, 300);
            for (int k = 0; k < 4 && lag > 0 && !g.extreme(); ++k) s[2 + lag + g.pick(0, lag - 1)] = int16_t(g.pick(-32768, 32767));
            const int nbh = g.pick(0, 3);
            return Classify{s, lag, g.val(by_off(g, {0, 1, 2, 3, 4, 5})), decoded(g, nbh, g.pick(0, 2))};
        },
        .call = [](Classify& c) { return zinsClassifyFrame_G722_16s_I(c.sig.at(2), c.lag, c.cls, c.st.as<State>()); },
        .plain = [](Classify& c) {
            int& cls = c.cls[0];
            if (fields(c.st)->nbhHigh > fields(c.st)->nblLow) cls = cls != 0 ? 4 : 3;
            if (cls != 3 && cls != 4) return zinStsNoErr;
            int16_t* s = c.sig.at(2);
            for (int i = 0, m = 0; i < c.lag; ++i, m = 0) {
                for (int j = i - 2; j <= i + 2; ++j) m = std::max(m, std::abs(int{s[j]}));
                const int x = s[i + c.lag];
                if (std::abs(x) > m) cls = 8 * m <= std::abs(x) ? 2 : cls, s[i + c.lag] = static_cast<int16_t>(x < 0 ? -m : m);
            }
            return zinStsNoErr;
        },
        .checks = {zt::null(&Classify::sig), zt::null(&Classify::cls), zt::null(&Classify::st),
                   zt::set(zinStsRangeErr, &Classify::lag, 144), zt::set(zinStsRangeErr, &Classify::lag, -1)}});
}

// G.722 Appendix III's decimation filter over the newest nine samples,
// reading five before the source; one output for four inputs.
TEST(G722Api, Downsample) {
    static constexpr int kTaps[9] = {3692, 6190, 8525, 10186, 10787, 10186, 8525, 6190, 3692};
    zt::check(zt::Export<Io>{
        .name = "zinsDownsampleFilter_G722_16s",
        .make = [](Gen& g) { return Io{g.in16(g.len + 5), g.out<int16_t>(g.len / 4), g.len, 0}; },
        .call = [](Io& d) { return zinsDownsampleFilter_G722_16s(d.src.at(5), d.len, d.dst); },
        .plain = [](Io& d) {
            for (int j = 0; j < d.len / 4; ++j) {
                int64_t sum = 0;
                for (int t = 0; t < 9; ++t) sum += int64_t{kTaps[t]} * d.src[5 + 4 * j + 3 - t];
                d.dst[j] = sum >= 0x7FFF8000 ? 32767 : sat16((sum + 32768) >> 16);
            }
            return zinStsNoErr;
        },
        .checks = checks({zt::null(&Io::src), zt::null(&Io::dst)}, {0, -1})});
}

TEST(G722Api, FilterHighband) {
    auto f = [](Io& h, int from, int n) { return zinsFilterHighband_G722_16s_I(h.src.at(from), n, h.mem); };
    zt::check(zt::Export<Io>{
        .name = "zinsFilterHighband_G722_16s_I",
        .make = [](Gen& g) { return Io{g.in16(g.len), {}, g.len, 0, {}, g.in16(2)}; },
        .call = zt::whole(f),
        .plain = [](Io& h) {
            int u1 = h.mem[0], y1 = h.mem[1];
            for (int n = 0; n < h.len; ++n) {
                const int u = (h.src[n] * 29212 + 16384) >> 15;
                y1 = h.src[n] = sat16(u - u1 + ((y1 * 25656 + 16384) >> 15));
                u1 = u;
            }
            h.mem[0] = static_cast<int16_t>(u1), h.mem[1] = static_cast<int16_t>(y1);
            return zinStsNoErr;
        },
        .checks = checks({zt::null(&Io::src), zt::null(&Io::mem)}, {0, -1}),
        .split = zt::in_two(f)});
}

}  // namespace
