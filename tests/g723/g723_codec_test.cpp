// The composed G.723.1 codec against the reference's streams, frame by frame.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "g723.h"
#include "g723_streams.h"

namespace {

void expect_stream(bool rate63, const char* name) {
    const auto pcm = g723t::read_input();
    const auto frames = g723t::read_stream(name);
    if (pcm.empty() || frames.empty()) GTEST_SKIP() << "G.723.1 sequences not found under " << ZINSC_VECTORS;
    zc::g723::EncoderState st;
    st.reset(rate63);
    int bad = 0, first_bad = -1;
    for (std::size_t f = 0; f < frames.size(); ++f) {
        uint8_t out[24];
        const int n = zc::g723::encode_frame(st, &pcm[240 * f], out);
        if (std::vector<uint8_t>(out, out + n) != frames[f]) {
            if (first_bad < 0) first_bad = int(f);
            ++bad;
        }
    }
    EXPECT_EQ(bad, 0) << "first differing frame " << first_bad << " of " << frames.size();
}

TEST(G723Encoder, Rate63MatchesReference) { expect_stream(true, "g7231_enc_63.bit"); }

}  // namespace

namespace {

struct DecodeCase {
    const char* stream;
    const char* output;
    bool postfilter, erasures;
};

class G723Decoder : public ::testing::TestWithParam<DecodeCase> {};

TEST_P(G723Decoder, MatchesReference) {
    const DecodeCase c = GetParam();
    const auto frames = g723t::read_stream(c.stream);
    const auto want = zt::read_words(zt::vector_path(std::string("g7231/") + c.output));
    const auto mask = g723t::read_bytes(zt::vector_path("g7231/g7231_erasures.txt"));
    if (frames.empty() || want.empty() || mask.empty()) GTEST_SKIP() << "G.723.1 sequences not found";
    ASSERT_EQ(want.size(), frames.size() * 240);
    zc::g723::DecoderState st;
    st.reset(c.postfilter);
    int bad = 0, first_bad = -1;
    for (std::size_t f = 0; f < frames.size(); ++f) {
        int16_t out[240];
        const bool erased = c.erasures && f < mask.size() && mask[f] == '1';
        zc::g723::decode_frame(st, frames[f].data(), erased, out);
        if (!std::equal(out, out + 240, want.begin() + 240 * f)) {
            if (first_bad < 0) first_bad = int(f);
            ++bad;
        }
    }
    EXPECT_EQ(bad, 0) << "first differing frame " << first_bad << " of " << frames.size();
}

INSTANTIATE_TEST_SUITE_P(
    Streams, G723Decoder,
    ::testing::Values(DecodeCase{"g7231_enc_63.bit", "g7231_dec_63.pcm", true, false},
                      DecodeCase{"g7231_enc_63.bit", "g7231_dec_63_nopf.pcm", false, false},
                      DecodeCase{"g7231_enc_63.bit", "g7231_dec_63_fe.pcm", true, true},
                      DecodeCase{"g7231_enc_53.bit", "g7231_dec_53.pcm", true, false},
                      DecodeCase{"g7231_enc_53.bit", "g7231_dec_53_nopf.pcm", false, false},
                      DecodeCase{"g7231_enc_53.bit", "g7231_dec_53_fe.pcm", true, true},
                      DecodeCase{"g7231_enc_63v.bit", "g7231_dec_63v.pcm", true, false},
                      DecodeCase{"g7231_enc_63v.bit", "g7231_dec_63v_nopf.pcm", false, false},
                      DecodeCase{"g7231_enc_63v.bit", "g7231_dec_63v_fe.pcm", true, true},
                      DecodeCase{"g7231_enc_53v.bit", "g7231_dec_53v.pcm", true, false},
                      DecodeCase{"g7231_enc_53v.bit", "g7231_dec_53v_nopf.pcm", false, false},
                      DecodeCase{"g7231_enc_53v.bit", "g7231_dec_53v_fe.pcm", true, true}));

}  // namespace
