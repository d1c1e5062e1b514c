// ITU-T G.728 Appendix I sequences with the fixed-point Annex G outputs,
// through the composed codec of codecs/: the encoder, the decoder without and
// with the post-filter, every word equal.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "codec.h"
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

namespace {

std::vector<uint8_t> read_bytes(const std::string& path) {
    std::vector<uint8_t> v;
    if (FILE* f = std::fopen(path.c_str(), "rb")) {
        int c;
        while ((c = std::fgetc(f)) != EOF) v.push_back(static_cast<uint8_t>(c));
        std::fclose(f);
    }
    return v;
}

uint64_t fnv1a(const std::vector<int16_t>& pcm) {
    uint64_t h = 0xcbf29ce484222325ull;
    for (int16_t s : pcm)
        for (int b = 0; b < 2; ++b) h = (h ^ ((static_cast<uint16_t>(s) >> (8 * b)) & 0xFF)) * 0x100000001b3ull;
    return h;
}

const zc::CodecInfo& g728() {
    const zc::CodecInfo* c = zc::find_codec("g728");
    EXPECT_NE(c, nullptr);
    return *c;
}

// The RFC 3551 stream both ways: the encoder's octets hold the Annex G
// codewords four to five octets, and the decoder takes them back.
TEST(G728Stream, Rfc3551BothWays) {
    ZT_REQUIRE_VECTORS("g728");
    const auto in = zt::read_words(zt::vector_path("g728/in1.bin"));
    const auto want = zt::read_words(zt::vector_path("g728/incw1g.bin"));
    ASSERT_EQ(want.size() % 4, 0u);
    auto enc = g728().make_encoder(zc::CodecOptions{});
    std::vector<uint8_t> bits;
    enc->encode(in.data(), in.size(), bits);
    enc->finish(bits);
    ASSERT_EQ(bits.size(), want.size() / 4 * 5);
    const auto cw = zc::g728::unpack_rfc3551(bits.data(), bits.size());
    EXPECT_EQ(first_diff(std::vector<int16_t>(cw.begin(), cw.end()), want), -1);
    EXPECT_EQ(bits[0], static_cast<uint8_t>(want[0] >> 2));  // B1 = V1 bits 9-2

    const auto cw4 = zt::read_words(zt::vector_path("g728/cw4.bin"));
    std::vector<uint16_t> u(cw4.begin(), cw4.end());
    std::vector<uint8_t> packed;
    zc::g728::pack_rfc3551(u.data(), u.size(), packed);
    auto dec = g728().make_decoder(zc::CodecOptions{});
    std::vector<int16_t> pcm;
    dec->decode(packed.data(), 3, pcm);  // any split of the octets
    dec->decode(packed.data() + 3, packed.size() - 3, pcm);
    EXPECT_EQ(dec->error(), "");
    EXPECT_EQ(first_diff(pcm, zt::read_words(zt::vector_path("g728/outb4g.bin"))), -1);
    // A stream that stops inside a group of five octets is malformed.
    dec->decode(packed.data(), 2, pcm);
    EXPECT_NE(dec->error(), "");
}

// The ITU form: whole words of 10-bit codewords only.
TEST(G728Stream, ItuFormatChecks) {
    zc::CodecOptions o;
    o.format = zc::StreamFormat::Itu;
    const uint8_t ok[4] = {0xFF, 0x03, 0x00, 0x00}, high[2] = {0x00, 0x04}, odd[3] = {1, 0, 2};
    std::vector<int16_t> pcm;
    auto d1 = g728().make_decoder(o);
    d1->decode(ok, 4, pcm);
    EXPECT_EQ(d1->error(), "");
    EXPECT_EQ(pcm.size(), 10u);
    auto d2 = g728().make_decoder(o);
    d2->decode(high, 2, pcm);
    EXPECT_NE(d2->error(), "");
    auto d3 = g728().make_decoder(o);
    d3->decode(odd, 3, pcm);
    EXPECT_NE(d3->error(), "");
}

// Annex I concealment: the Appendix I mask on cw5.bin (erasures every 20th
// frame), the output of the STL fixed-point reference's plc mode pinned by
// its FNV-1a hash (844800 octets).
TEST(G728Stream, ConcealmentMatchesReference) {
    ZT_REQUIRE_VECTORS("g728");
    zc::CodecOptions o;
    o.format = zc::StreamFormat::Itu;
    for (uint8_t c : read_bytes(zt::vector_path("g728/mask1")))
        if (c == '0' || c == '1') o.erasures += static_cast<char>(c);
    ASSERT_EQ(o.erasures.size(), 20u);
    const auto bits = read_bytes(zt::vector_path("g728/cw5.bin"));
    auto dec = g728().make_decoder(o);
    std::vector<int16_t> pcm;
    dec->decode(bits.data(), bits.size(), pcm);
    ASSERT_EQ(pcm.size() * 2, 844800u);
    EXPECT_EQ(fnv1a(pcm), 0xfa18d6cba3866a14ull);
    // Without the erasures the same decoder is the post-filtered one.
    o.erasures.clear();
    auto plain = g728().make_decoder(o);
    std::vector<int16_t> clean;
    plain->decode(bits.data(), bits.size(), clean);
    EXPECT_NE(fnv1a(clean), fnv1a(pcm));
}

}  // namespace
