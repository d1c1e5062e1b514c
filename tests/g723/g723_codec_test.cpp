// The composed G.723.1 codec against the reference's streams, frame by frame.
#include <gtest/gtest.h>

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
