// The ITU-T G.722 Appendix II digital test sequences through the sub-band
// ADPCM exports (QMF bypassed): every encoder sequence and every decoder
// sequence in all three modes, word for word, each stream in uneven pieces
// through an exact-size state object at several addresses.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "check.h"

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

// Runs `words` through f(state, src, dst, n) from a fresh state `off` bytes
// into its block.
template <class F>
zt::Buf<int16_t> run(const zt::Buf<int16_t>& words, std::size_t off, F f) {
    zt::Buf<uint8_t> st(144, off);
    auto* s = st.as<ZinSBADPCMState_G722_16s>();
    EXPECT_EQ(zinsSBADPCMDecodeInit_G722_16s(s), zinStsNoErr);
    zt::Buf<int16_t> out(words.size());
    zt::in_pieces(static_cast<int>(words.size()), 2, [&](int at, int n) { return f(s, words.at(at), out.at(at), n); });
    return out;
}

TEST(G722Conformance, EncoderSequences) {
    ZT_REQUIRE_VECTORS("g722");
    for (int n : {1, 2}) {
        const auto in = payload("t1c" + std::to_string(n) + ".xmt"), cod = payload("t2r" + std::to_string(n) + ".cod");
        ASSERT_EQ(in.size(), cod.size());
        zt::Buf<int16_t> pairs(2 * in.size());
        for (std::size_t i = 0; i < in.size(); ++i) pairs[2 * i] = pairs[2 * i + 1] = static_cast<int16_t>(in[i] >> 1);
        const auto codes = run(pairs, n, [](auto* s, const int16_t* x, int16_t* y, int len) {
            return zinsSBADPCMEncode_G722_16s(x, y, len, s);
        });
        for (std::size_t i = 0; i < in.size(); ++i)
            ASSERT_EQ(codes[2 * i] | codes[2 * i + 1] << 6, (cod[i] >> 8) & 0xFF) << "t1c" << n << " sample " << i;
    }
}

// Any mode value other than 1 and 2 decodes at 48 kbit/s.
TEST(G722Conformance, DecoderSequencesAllModes) {
    ZT_REQUIRE_VECTORS("g722");
    const char* inputs[] = {"t2r1.cod", "t2r2.cod", "t1d3.cod"};
    for (int n = 1; n <= 3; ++n) {
        const auto cod = payload(inputs[n - 1]), high = payload("t3h" + std::to_string(n) + ".rc0");
        ASSERT_EQ(high.size(), cod.size());
        zt::Buf<int16_t> pairs(2 * cod.size());
        for (std::size_t i = 0; i < cod.size(); ++i) {
            pairs[2 * i] = static_cast<int16_t>((cod[i] >> 8) & 63);
            pairs[2 * i + 1] = static_cast<int16_t>((cod[i] >> 14) & 3);
        }
        for (int mode : {1, 2, 3, 0, -1}) {
            const int rc = (mode == 1 || mode == 2) ? mode : 3;
            const auto low = payload("t3l" + std::to_string(n) + ".rc" + std::to_string(rc));
            ASSERT_EQ(low.size(), cod.size());
            const auto out = run(pairs, 3 * rc + (mode < 1), [mode](auto* s, const int16_t* x, int16_t* y, int len) {
                return zinsSBADPCMDecode_G722_16s(x, y, len, mode, s);
            });
            for (std::size_t i = 0; i < cod.size(); ++i) {
                ASSERT_EQ(out[2 * i] * 2, low[i]) << inputs[n - 1] << " mode " << mode << " low at " << i;
                ASSERT_EQ(out[2 * i + 1] * 2, high[i]) << inputs[n - 1] << " mode " << mode << " high at " << i;
            }
        }
    }
}

}  // namespace
