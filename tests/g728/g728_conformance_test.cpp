// ITU-T G.728 Appendix I sequences with the fixed-point Annex G outputs,
// through the composed codec of codecs/: the encoder, the decoder without and
// with the post-filter, every word equal.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "g728.h"
#include "test_util.h"

namespace {

std::vector<int16_t> encode_all(const std::vector<int16_t>& pcm) {
    zc::g728::EncoderCore enc;
    std::vector<int16_t> cw;
    for (std::size_t i = 0; i + 5 <= pcm.size(); i += 5) cw.push_back(static_cast<int16_t>(enc.encode(&pcm[i])));
    return cw;
}

std::vector<int16_t> decode_all(const std::vector<int16_t>& cw, bool postfilter) {
    zc::g728::DecoderCore dec(postfilter);
    std::vector<int16_t> pcm(cw.size() * 5);
    for (std::size_t i = 0; i < cw.size(); ++i) dec.decode(static_cast<uint16_t>(cw[i]), &pcm[5 * i]);
    return pcm;
}

// Index of the first differing word, or -1.
long first_diff(const std::vector<int16_t>& a, const std::vector<int16_t>& b) {
    if (a.size() != b.size()) return static_cast<long>(std::min(a.size(), b.size()));
    for (std::size_t i = 0; i < a.size(); ++i)
        if (a[i] != b[i]) return static_cast<long>(i);
    return -1;
}

class G728Sequence : public ::testing::TestWithParam<int> {};

TEST_P(G728Sequence, EncoderMatchesAnnexG) {
    ZT_REQUIRE_VECTORS("g728");
    const std::string n = std::to_string(GetParam());
    const auto in = zt::read_words(zt::vector_path("g728/in" + n + ".bin"));
    const auto want = zt::read_words(zt::vector_path("g728/incw" + n + "g.bin"));
    ASSERT_FALSE(in.empty());
    EXPECT_EQ(first_diff(encode_all(in), want), -1);
}

TEST_P(G728Sequence, DecoderMatchesAnnexG) {
    ZT_REQUIRE_VECTORS("g728");
    const std::string n = std::to_string(GetParam());
    const auto cw = zt::read_words(zt::vector_path("g728/cw" + n + ".bin"));
    const auto want = zt::read_words(zt::vector_path("g728/outa" + n + "g.bin"));
    ASSERT_FALSE(cw.empty());
    EXPECT_EQ(first_diff(decode_all(cw, false), want), -1);
}

INSTANTIATE_TEST_SUITE_P(AppendixI, G728Sequence, ::testing::Range(1, 7));

TEST(G728Sequence, PostFilteredDecoderMatchesAnnexG) {
    ZT_REQUIRE_VECTORS("g728");
    const auto cw = zt::read_words(zt::vector_path("g728/cw4.bin"));
    const auto want = zt::read_words(zt::vector_path("g728/outb4g.bin"));
    ASSERT_FALSE(cw.empty());
    EXPECT_EQ(first_diff(decode_all(cw, true), want), -1);
}

}  // namespace
