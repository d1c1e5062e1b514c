// The G.726 exports on the checking harness: statuses in their order with the
// state left alone, determinism and split calls on exact-size state objects,
// the ranges of codes and outputs, and a decoder fed the encoder's codes
// adapting alike. The bit-exact oracle is the conformance suite beside this.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>

#include "check.h"

namespace {

using zt::Buf;
using zt::by_off;
using zt::Gen;

constexpr ZinSpeechBitrate kRates[] = {zinSpchBr16000, zinSpchBr24000, zinSpchBr32000, zinSpchBr40000};
constexpr int kEncSize = 88, kDecSize = 92;
constexpr std::size_t kRateIndex = 22, kLaw = 88;  // byte offsets of fields, behind a reserved head of 16 bytes

int16_t word(const Buf<uint8_t>& o, std::size_t at) { return static_cast<int16_t>(o[at] | o[at + 1] << 8); }

Buf<uint8_t> coder(bool dec, int r, int law, std::size_t off) {
    Buf<uint8_t> s(dec ? kDecSize : kEncSize, off);
    EXPECT_EQ(dec ? zinsDecodeInit_G726_8u16s(s.as<ZinG726DecState>(), kRates[r], law)
                  : zinsEncodeInit_G726_16s8u(s.as<ZinG726EncState>(), kRates[r]),
              zinStsNoErr);
    return s;
}

struct Init {
    Buf<uint8_t> st;
    int rate, law;
    auto bufs() { return std::tie(st); }
};

// Statuses, the rate index and law stored, and the reserved head left alone.
TEST(G726, SizesAndInit) {
    int size = 0;
    EXPECT_EQ(zinsEncodeGetStateSize_G726_16s8u(nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsDecodeGetStateSize_G726_8u16s(nullptr), zinStsNullPtrErr);
    EXPECT_TRUE(zinsEncodeGetStateSize_G726_16s8u(&size) == zinStsNoErr && size == kEncSize);
    EXPECT_TRUE(zinsDecodeGetStateSize_G726_8u16s(&size) == zinStsNoErr && size == kDecSize);
    std::vector<zt::Check<Init>> checks{zt::null(&Init::st)};
    for (int r : {-1, 0, 16, 18, 21, 25, 40, 32000}) checks.push_back(zt::set(zinStsRangeErr, &Init::rate, r));
    for (bool dec : {false, true}) {
        if (dec) checks.push_back(zt::set(zinStsRangeErr, &Init::law, 3)), checks.push_back(zt::set(zinStsRangeErr, &Init::law, -1));
        zt::check(zt::Export<Init>{
            .name = dec ? "zinsDecodeInit_G726_8u16s" : "zinsEncodeInit_G726_16s8u",
            .make = [dec](Gen& g) { return Init{Buf<uint8_t>(dec ? kDecSize : kEncSize, g.off), kRates[g.off % 4], by_off(g, {0, 1, 2})}; },
            .call = [dec](Init& a) {
                return dec ? zinsDecodeInit_G726_8u16s(a.st.as<ZinG726DecState>(), ZinSpeechBitrate(a.rate), a.law)
                           : zinsEncodeInit_G726_16s8u(a.st.as<ZinG726EncState>(), ZinSpeechBitrate(a.rate));
            },
            .checks = checks,
            .holds = [dec](Init& a, const std::string& at) {
                for (int i = 0; i < 16; ++i) ASSERT_EQ(a.st[i], 0xA5) << at << ": reserved head byte " << i;
                EXPECT_EQ(word(a.st, kRateIndex), std::find(kRates, kRates + 4, a.rate) - kRates) << at;
                EXPECT_TRUE(!dec || word(a.st, kLaw) == a.law) << at;
            }},
            zt::Sweep{{1}});
    }
}

// One stream's work: the state, samples and codes.
struct Stream {
    Buf<uint8_t> st;
    Buf<int16_t> pcm;
    Buf<uint8_t> codes;
    int len, rate, law;
    bool silence = false;
    auto bufs() { return std::tie(st, pcm, codes); }
};

const std::vector<zt::Check<Stream>> kStreamChecks{
    zt::null(&Stream::st), zt::null(&Stream::pcm), zt::null(&Stream::codes), zt::set(zinStsSizeErr, &Stream::len, 0),
    zt::set(zinStsNoErr, &Stream::len, -1, "a negative length does nothing"),
    zt::set(zinStsNoErr, &Stream::len, INT_MIN, "INT_MIN does nothing")};

// 14-bit input, and in one pattern full 16-bit words (the difference wraps).
// From silence at 32 kbit/s the first codes are 15: d = 0 lies below every
// level and takes the last entry.
TEST(G726, Encode) {
    auto f = [](Stream& a, int from, int n) {
        return zinsEncode_G726_16s8u(a.st.as<ZinG726EncState>(), a.pcm.at(from), a.codes.at(from), n);
    };
    zt::check(zt::Export<Stream>{
        .name = "zinsEncode_G726_16s8u",
        .make = [](Gen& g) {
            const int r = by_off(g, {0, 1, 2, 3});
            return Stream{coder(false, r, 0, g.off * 5 % 16),
                          g.pat == zt::Pattern::Alternating ? g.in16(g.len) : g.in16(g.len, -8192, 8191), g.out<uint8_t>(g.len), g.len, r, 0,
                          g.pat == zt::Pattern::Silence};
        },
        .call = zt::whole(f),
        .checks = kStreamChecks,
        .split = zt::in_two(f),
        .holds = [](Stream& a, const std::string& at) {
            for (int i = 0; i < a.len; ++i) ASSERT_LT(a.codes[i], 1 << (a.rate + 2)) << at;
            for (int i = 0; a.silence && a.rate == 2 && i < std::min(a.len, 8); ++i) ASSERT_EQ(a.codes[i], 15) << at << " silence";
            // A decoder fed the codes reconstructs the same signal and ends in the same state.
            Buf<uint8_t> d = coder(true, a.rate, zinPcmLinear, 0);
            Buf<int16_t> out(static_cast<std::size_t>(a.len));
            ASSERT_EQ(zinsDecode_G726_8u16s(d.as<ZinG726DecState>(), a.codes, out, a.len), zinStsNoErr);
            EXPECT_EQ(std::memcmp(&a.st[16], &d[16], kEncSize - 16), 0) << at << ": decoder state";
        }});
}

// Valid codes, and in one pattern any byte (read inside the tables, result
// not defined); linear output stays in 14 bits, companded in 8.
TEST(G726, Decode) {
    auto f = [](Stream& a, int from, int n) {
        return zinsDecode_G726_8u16s(a.st.as<ZinG726DecState>(), a.codes.at(from), a.pcm.at(from), n);
    };
    zt::check(zt::Export<Stream>{
        .name = "zinsDecode_G726_8u16s",
        .make = [](Gen& g) {
            const int r = by_off(g, {0, 1, 2, 3}), law = by_off(g, {zinPcmLinear, zinPcmMuLaw, zinPcmALaw});
            std::vector<uint8_t> c(static_cast<std::size_t>(g.len));
            for (auto& x : c) x = static_cast<uint8_t>(g.pick(0, g.pat == zt::Pattern::Small ? 255 : (1 << (r + 2)) - 1));
            return Stream{coder(true, r, law, g.off * 3 % 16), g.out<int16_t>(g.len), Buf<uint8_t>(c, g.next_off(1)), g.len, r, law};
        },
        .call = zt::whole(f),
        .checks = kStreamChecks,
        .split = zt::in_two(f),
        .holds = [](Stream& a, const std::string& at) {
            const int lo = a.law == zinPcmLinear ? -8192 : 0, hi = a.law == zinPcmLinear ? 8191 : 255;
            for (int i = 0; i < a.len; ++i) ASSERT_TRUE(a.pcm[i] >= lo && a.pcm[i] <= hi) << at << " output " << a.pcm[i];
        }});
}

}  // namespace
