// The G.726 exports: statuses in their check order, the state objects, the
// length rule, and the corners of the coder.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "test_util.h"
#include "zinsc.h"

namespace {

constexpr ZinSpeechBitrate kRates[] = {zinSpchBr16000, zinSpchBr24000, zinSpchBr32000, zinSpchBr40000};

// A state object in a buffer filled with 0xA5, at a chosen offset.
struct Object {
    explicit Object(int size, std::size_t offset = 0) : mem(static_cast<std::size_t>(size) + offset + 16, 0xA5), at(offset) {}
    unsigned char* p() { return mem.data() + at; }
    ZinG726EncState* enc() { return reinterpret_cast<ZinG726EncState*>(p()); }
    ZinG726DecState* dec() { return reinterpret_cast<ZinG726DecState*>(p()); }
    int16_t word(std::size_t byteOffset) {
        int16_t v;
        std::memcpy(&v, p() + byteOffset, 2);
        return v;
    }
    void set_word(std::size_t byteOffset, int16_t v) { std::memcpy(p() + byteOffset, &v, 2); }
    std::vector<unsigned char> bytes(int n) { return std::vector<unsigned char>(p(), p() + n); }
    std::vector<unsigned char> mem;
    std::size_t at;
};

// Byte offsets of the fields: a reserved head of 16 bytes, then in order.
enum : std::size_t {
    kPk0 = 16, kPk1 = 18, kPk2 = 20, kRateIndex = 22, kYu = 24, kAp = 26, kYl = 28, kDms = 32, kDml = 34,
    kTd = 36, kSez = 38, kB1 = 40, kA1 = 52, kA2 = 54, kDq1 = 56, kSr1 = 68, kDqSign1 = 72, kSrSign1 = 84, kLaw = 88
};

TEST(G726, StateSizes) {
    int size = 0;
    EXPECT_EQ(zinsEncodeGetStateSize_G726_16s8u(nullptr), zinStsNullPtrErr);
    EXPECT_EQ(zinsDecodeGetStateSize_G726_8u16s(nullptr), zinStsNullPtrErr);
    ASSERT_EQ(zinsEncodeGetStateSize_G726_16s8u(&size), zinStsNoErr);
    EXPECT_EQ(size, 88);
    ASSERT_EQ(zinsDecodeGetStateSize_G726_8u16s(&size), zinStsNoErr);
    EXPECT_EQ(size, 92);
}

TEST(G726, InitChecksAndFields) {
    Object e(88), d(92);
    EXPECT_EQ(zinsEncodeInit_G726_16s8u(nullptr, zinSpchBr32000), zinStsNullPtrErr);
    EXPECT_EQ(zinsEncodeInit_G726_16s8u(nullptr, static_cast<ZinSpeechBitrate>(18)), zinStsNullPtrErr);
    for (int bad : {-1, 0, 16, 18, 21, 25, 40, 32000})
        EXPECT_EQ(zinsEncodeInit_G726_16s8u(e.enc(), static_cast<ZinSpeechBitrate>(bad)), zinStsRangeErr) << bad;
    EXPECT_EQ(zinsDecodeInit_G726_8u16s(nullptr, static_cast<ZinSpeechBitrate>(18), 3), zinStsNullPtrErr);
    EXPECT_EQ(zinsDecodeInit_G726_8u16s(d.dec(), zinSpchBr24000, 3), zinStsRangeErr);
    EXPECT_EQ(zinsDecodeInit_G726_8u16s(d.dec(), zinSpchBr24000, -1), zinStsRangeErr);
    EXPECT_EQ(zinsDecodeInit_G726_8u16s(d.dec(), static_cast<ZinSpeechBitrate>(18), zinPcmALaw), zinStsRangeErr);
    EXPECT_TRUE(std::all_of(d.mem.begin(), d.mem.end(), [](unsigned char b) { return b == 0xA5; }))
        << "a refused Init writes nothing";

    for (int r = 0; r < 4; ++r) {
        ASSERT_EQ(zinsEncodeInit_G726_16s8u(e.enc(), kRates[r]), zinStsNoErr);
        ASSERT_EQ(zinsDecodeInit_G726_8u16s(d.dec(), kRates[r], zinPcmLinear), zinStsNoErr);
        for (Object* o : {&e, &d}) {
            for (int i = 0; i < 16; ++i) EXPECT_EQ(o->p()[i], 0xA5) << "reserved head byte " << i;
            EXPECT_EQ(o->word(kRateIndex), r);
            EXPECT_EQ(o->word(kYu), 544);
            int32_t yl;
            std::memcpy(&yl, o->p() + kYl, 4);
            EXPECT_EQ(yl, 34816);
            for (std::size_t f : {kPk1, kPk2, kAp, kDms, kDml, kTd}) EXPECT_EQ(o->word(f), 0) << f;
            for (int i = 0; i < 8; ++i) EXPECT_EQ(o->word(kB1 + 2 * i), 0);
            for (int i = 0; i < 8; ++i) EXPECT_EQ(o->word(kDq1 + 2 * i), 32) << "dq and sr delays";
            for (int i = 0; i < 8; ++i) EXPECT_EQ(o->word(kDqSign1 + 2 * i), 0) << "signs";
        }
        EXPECT_EQ(e.p()[88], 0xA5) << "the encoder object ends at 88 bytes";
        EXPECT_EQ(d.word(kLaw), zinPcmLinear);
    }
}

TEST(G726, WorkChecksInOrder) {
    Object e(88), d(92);
    ASSERT_EQ(zinsEncodeInit_G726_16s8u(e.enc(), zinSpchBr32000), zinStsNoErr);
    ASSERT_EQ(zinsDecodeInit_G726_8u16s(d.dec(), zinSpchBr32000, zinPcmMuLaw), zinStsNoErr);
    const auto encBefore = e.bytes(88), decBefore = d.bytes(92);
    int16_t pcm[4] = {100, -100, 2000, -3000}, out[4] = {7, 7, 7, 7};
    uint8_t codes[4] = {9, 9, 9, 9};

    EXPECT_EQ(zinsEncode_G726_16s8u(nullptr, pcm, codes, 0), zinStsNullPtrErr);
    EXPECT_EQ(zinsEncode_G726_16s8u(e.enc(), nullptr, codes, -1), zinStsNullPtrErr);
    EXPECT_EQ(zinsEncode_G726_16s8u(e.enc(), pcm, nullptr, 4), zinStsNullPtrErr);
    EXPECT_EQ(zinsEncode_G726_16s8u(e.enc(), pcm, codes, 0), zinStsSizeErr);
    EXPECT_EQ(zinsEncode_G726_16s8u(e.enc(), pcm, codes, -1), zinStsNoErr);
    EXPECT_EQ(zinsEncode_G726_16s8u(e.enc(), pcm, codes, -2147483647 - 1), zinStsNoErr);
    EXPECT_EQ(zinsDecode_G726_8u16s(nullptr, codes, out, 0), zinStsNullPtrErr);
    EXPECT_EQ(zinsDecode_G726_8u16s(d.dec(), nullptr, out, -1), zinStsNullPtrErr);
    EXPECT_EQ(zinsDecode_G726_8u16s(d.dec(), codes, nullptr, 4), zinStsNullPtrErr);
    EXPECT_EQ(zinsDecode_G726_8u16s(d.dec(), codes, out, 0), zinStsSizeErr);
    EXPECT_EQ(zinsDecode_G726_8u16s(d.dec(), codes, out, -1), zinStsNoErr);

    EXPECT_EQ(e.bytes(88), encBefore) << "refused and negative-length calls leave the state";
    EXPECT_EQ(d.bytes(92), decBefore);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(codes[i], 9);
        EXPECT_EQ(out[i], 7);
    }
}

// d = 0 lies below every decision level and takes the last code entry.
TEST(G726, SilenceAt32kGivesCode15) {
    Object e(88);
    ASSERT_EQ(zinsEncodeInit_G726_16s8u(e.enc(), zinSpchBr32000), zinStsNoErr);
    std::vector<int16_t> zero(64, 0);
    std::vector<uint8_t> codes(64, 0);
    ASSERT_EQ(zinsEncode_G726_16s8u(e.enc(), zero.data(), codes.data(), 64), zinStsNoErr);
    for (int i = 0; i < 8; ++i) EXPECT_EQ(codes[static_cast<std::size_t>(i)], 15) << i;
}

// Random 14-bit input at every rate: codes stay within the rate's width,
// the linear decoder stays within 14 bits, and the decoder tracks the
// encoder's reconstruction (it computes the same signal from the codes).
TEST(G726, CodesAndLinearRange) {
    for (int r = 0; r < 4; ++r) {
        Object e(88), d(92);
        ASSERT_EQ(zinsEncodeInit_G726_16s8u(e.enc(), kRates[r]), zinStsNoErr);
        ASSERT_EQ(zinsDecodeInit_G726_8u16s(d.dec(), kRates[r], zinPcmLinear), zinStsNoErr);
        for (zt::Pattern pat : zt::kPatterns) {
            auto pcm = zt::pattern16(pat, 4000);
            for (auto& v : pcm) v = static_cast<int16_t>(v >> 2);
            std::vector<uint8_t> codes(pcm.size());
            std::vector<int16_t> out(pcm.size());
            ASSERT_EQ(zinsEncode_G726_16s8u(e.enc(), pcm.data(), codes.data(), 4000), zinStsNoErr);
            ASSERT_EQ(zinsDecode_G726_8u16s(d.dec(), codes.data(), out.data(), 4000), zinStsNoErr);
            for (uint8_t c : codes) ASSERT_LT(c, 1 << (r + 2));
            for (int16_t v : out) ASSERT_TRUE(v >= -8192 && v <= 8191) << v;
            // Encoder and decoder hold the same adaptive state.
            EXPECT_EQ(std::memcmp(e.p() + 16, d.p() + 16, 72), 0) << "rate " << r;
        }
    }
}

// Any byte is read inside the tables (its result is not defined).
TEST(G726, BytesAboveTheWidthStayInBounds) {
    for (int r = 0; r < 4; ++r)
        for (int law : {zinPcmMuLaw, zinPcmALaw, zinPcmLinear}) {
            Object d(92);
            ASSERT_EQ(zinsDecodeInit_G726_8u16s(d.dec(), kRates[r], law), zinStsNoErr);
            std::vector<uint8_t> codes(256);
            for (int i = 0; i < 256; ++i) codes[static_cast<std::size_t>(i)] = static_cast<uint8_t>(255 - i);
            std::vector<int16_t> out(256);
            EXPECT_EQ(zinsDecode_G726_8u16s(d.dec(), codes.data(), out.data(), 256), zinStsNoErr);
        }
}

// A steady tone drives a2 below -11776 and sets td; a jump that the
// transition detector sees then zeroes all eight predictor coefficients and
// sets ap to 256.
TEST(G726, ToneThenTransition) {
    Object e(88);
    ASSERT_EQ(zinsEncodeInit_G726_16s8u(e.enc(), zinSpchBr32000), zinStsNoErr);
    std::vector<int16_t> tone(4000);
    for (std::size_t i = 0; i < tone.size(); ++i)
        tone[i] = static_cast<int16_t>(std::lround(200.0 * std::sin(2.0 * M_PI * 1000.0 * double(i) / 8000.0)));
    std::vector<uint8_t> codes(tone.size());
    ASSERT_EQ(zinsEncode_G726_16s8u(e.enc(), tone.data(), codes.data(), 4000), zinStsNoErr);
    ASSERT_EQ(e.word(kTd), 1);
    EXPECT_LT(e.word(kA2), -11776);
    bool fired = false;
    for (int i = 0; i < 64 && !fired; ++i) {
        const int16_t big = (i & 1) ? -8000 : 8000;
        uint8_t c;
        ASSERT_EQ(zinsEncode_G726_16s8u(e.enc(), &big, &c, 1), zinStsNoErr);
        if (e.word(kAp) == 256) {
            fired = true;
            for (int k = 0; k < 8; ++k) EXPECT_EQ(e.word(kB1 + 2 * k), 0) << k;
            EXPECT_EQ(e.word(kTd), 0);
        }
    }
    EXPECT_TRUE(fired) << "the transition detector never fired";
}

}  // namespace
