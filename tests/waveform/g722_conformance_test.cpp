// The ITU-T G.722 Appendix II digital test sequences through the sub-band
// ADPCM exports (QMF bypassed): every encoder sequence and every decoder
// sequence in all three modes, word for word.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "test_util.h"
#include "zinsc.h"

namespace {

// The words between the reset markers (bit 0 set) at both ends of a file.
std::vector<int16_t> payload(const std::string& name) {
    auto w = zt::read_words(zt::vector_path("g722/" + name));
    EXPECT_FALSE(w.empty()) << "cannot read " << name;
    std::size_t b = 0, e = w.size();
    while (b < e && (w[b] & 1)) ++b;
    while (e > b && (w[e - 1] & 1)) --e;
    return {w.begin() + b, w.begin() + e};
}

// A state object placed `offset` bytes into a buffer, freshly initialised.
struct StateBuffer {
    explicit StateBuffer(int offset) : bytes(256), off(offset) {
        int size = 0;
        EXPECT_EQ(zinsSBADPCMDecodeStateSize_G722_16s(&size), zinStsNoErr);
        EXPECT_LE(size + offset, 256);
        EXPECT_EQ(zinsSBADPCMDecodeInit_G722_16s(get()), zinStsNoErr);
    }
    ZinSBADPCMState_G722_16s* get() { return reinterpret_cast<ZinSBADPCMState_G722_16s*>(bytes.data() + off); }
    std::vector<unsigned char> bytes;
    int off;
};

// Runs `fn(src, dst, words)` over a whole stream in uneven even-sized calls.
template <typename Fn>
void in_chunks(const std::vector<int16_t>& src, std::vector<int16_t>& dst, Fn fn) {
    static const int kChunks[] = {2, 160, 38, 4, 320, 2, 98};
    dst.assign(src.size(), 0);
    std::size_t pos = 0;
    for (int c = 0; pos < src.size(); ++c) {
        const std::size_t n = std::min<std::size_t>(kChunks[c % 7], src.size() - pos);
        ASSERT_EQ(fn(src.data() + pos, dst.data() + pos, static_cast<int>(n)), zinStsNoErr);
        pos += n;
    }
}

TEST(G722Conformance, EncoderSequences) {
    ZT_REQUIRE_VECTORS("g722");
    for (int n : {1, 2}) {
        const auto in = payload("t1c" + std::to_string(n) + ".xmt");
        const auto cod = payload("t2r" + std::to_string(n) + ".cod");
        ASSERT_EQ(in.size(), cod.size());
        std::vector<int16_t> pairs;
        for (int16_t x : in) {
            pairs.push_back(static_cast<int16_t>(x >> 1));
            pairs.push_back(static_cast<int16_t>(x >> 1));
        }
        StateBuffer st(n);  // odd and even placements of the object
        std::vector<int16_t> codes;
        in_chunks(pairs, codes, [&](const int16_t* s, int16_t* d, int len) {
            return zinsSBADPCMEncode_G722_16s(s, d, len, st.get());
        });
        for (std::size_t i = 0; i < in.size(); ++i) {
            const int want = (cod[i] >> 8) & 0xFF;
            ASSERT_EQ(codes[2 * i], want & 63) << "t1c" << n << " low code at sample " << i;
            ASSERT_EQ(codes[2 * i + 1], want >> 6) << "t1c" << n << " high code at sample " << i;
        }
    }
}

TEST(G722Conformance, DecoderSequencesAllModes) {
    ZT_REQUIRE_VECTORS("g722");
    const char* inputs[] = {"t2r1.cod", "t2r2.cod", "t1d3.cod"};
    for (int n = 1; n <= 3; ++n) {
        const auto cod = payload(inputs[n - 1]);
        std::vector<int16_t> pairs;
        for (int16_t w : cod) {
            const int c = (w >> 8) & 0xFF;
            pairs.push_back(static_cast<int16_t>(c & 63));
            pairs.push_back(static_cast<int16_t>(c >> 6));
        }
        const auto high = payload("t3h" + std::to_string(n) + ".rc0");
        ASSERT_EQ(high.size(), cod.size());
        // Any mode value other than 1 and 2 decodes at 48 kbit/s.
        for (int mode : {1, 2, 3, 0, -1}) {
            const int rc = (mode == 1 || mode == 2) ? mode : 3;
            const auto low = payload("t3l" + std::to_string(n) + ".rc" + std::to_string(rc));
            ASSERT_EQ(low.size(), cod.size());
            StateBuffer st(3 * rc + (mode < 1));
            std::vector<int16_t> out;
            in_chunks(pairs, out, [&](const int16_t* s, int16_t* d, int len) {
                return zinsSBADPCMDecode_G722_16s(s, d, len, mode, st.get());
            });
            for (std::size_t i = 0; i < cod.size(); ++i) {
                ASSERT_EQ(out[2 * i] * 2, low[i]) << inputs[n - 1] << " mode " << mode << " low at " << i;
                ASSERT_EQ(out[2 * i + 1] * 2, high[i]) << inputs[n - 1] << " mode " << mode << " high at " << i;
            }
        }
    }
}

}  // namespace
