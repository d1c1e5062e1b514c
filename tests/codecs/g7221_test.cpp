// G.722.1 and Annex C through the codecs of codecs/ and through the zinsc
// tool: every encoder sequence octet for octet, every decoder sequence sample
// for sample (the ITU's 7 kHz outputs have their two low bits cleared), clean
// and with erased frames in G.192 form.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "codec.h"
#include "test_util.h"
#include "wav.h"

namespace {

std::vector<uint8_t> bytes(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(f), {}};
}

struct Sequence {
    const char* codec;
    std::string input, coded, decoded, itu, itu_decoded;
    int mask;
};

const Sequence kSequences[] = {
    {"g7221-24", "g722_1_enc_in.wav", "g722_1_enc_out_24000_be.pak", "g722_1_dec_out_24000.pcm",
     "g722_1_dec_in_24000_fe.itu", "g722_1_dec_out_24000_fe.pcm", 0xFFFC},
    {"g7221-32", "g722_1_enc_in.wav", "g722_1_enc_out_32000_be.pak", "g722_1_dec_out_32000.pcm",
     "g722_1_dec_in_32000_fe.itu", "g722_1_dec_out_32000_fe.pcm", 0xFFFC},
    {"g7221c-24", "annexc/annexc_in.wav", "annexc/annexc_enc_out_24000_be.pak", "annexc/annexc_dec_out_24000.pcm", "", "", 0xFFFF},
    {"g7221c-32", "annexc/annexc_in.wav", "annexc/annexc_enc_out_32000_be.pak", "annexc/annexc_dec_out_32000.pcm", "", "", 0xFFFF},
    {"g7221c-48", "annexc/annexc_in.wav", "annexc/annexc_enc_out_48000_be.pak", "annexc/annexc_dec_out_48000.pcm",
     "annexc/annexc_dec_in_48000_fe.itu", "annexc/annexc_dec_out_48000_fe.pcm", 0xFFFF},
};

void expect_samples(const std::vector<int16_t>& got, const std::string& want_file, int mask, const std::string& what) {
    const auto want = zt::read_words(want_file);
    ASSERT_EQ(got.size(), want.size()) << what;
    for (std::size_t i = 0; i < want.size(); ++i)
        ASSERT_EQ(got[i] & mask, want[i] & mask) << what << " sample " << i;
}

TEST(G7221Codec, Sequences) {
    ZT_REQUIRE_VECTORS("g7221");
    const std::string dir = zt::vector_path("g7221/");
    for (const Sequence& s : kSequences) {
        const zc::CodecInfo* c = zc::find_codec(s.codec);
        ASSERT_NE(c, nullptr) << s.codec;
        const auto pcm = zc::read_speech(dir + s.input);
        std::vector<uint8_t> coded;
        auto enc = c->make_encoder({});
        enc->encode(pcm.data(), pcm.size(), coded);
        enc->finish(coded);
        EXPECT_EQ(coded, bytes(dir + s.coded)) << s.codec;

        std::vector<int16_t> out;
        auto dec = c->make_decoder({});
        const auto want_coded = bytes(dir + s.coded);
        dec->decode(want_coded.data(), want_coded.size(), out);
        expect_samples(out, dir + s.decoded, s.mask, s.codec);
        if (s.itu.empty()) continue;
        zc::CodecOptions itu;
        itu.itu = true;
        const auto g192 = bytes(dir + s.itu);
        out.clear();
        auto fe = c->make_decoder(itu);
        fe->decode(g192.data(), g192.size(), out);
        EXPECT_EQ(fe->error(), "");
        expect_samples(out, dir + s.itu_decoded, s.mask, std::string(s.codec) + " with erasures");
    }
}

// The G.192 form written by the encoder is read back to the same samples as
// the packed form; a word that is neither a bit nor a sync word is refused.
TEST(G7221Codec, G192BothWaysAndBadWords) {
    const auto pcm = zc::read_speech(ZINSC_SOURCE_DIR "/data/speech-16k.wav");
    const zc::CodecInfo* c = zc::find_codec("g7221-32");
    zc::CodecOptions itu;
    itu.itu = true;
    std::vector<uint8_t> packed, g192;
    c->make_encoder({})->encode(pcm.data(), 320 * 50, packed);
    c->make_encoder(itu)->encode(pcm.data(), 320 * 50, g192);
    ASSERT_EQ(g192.size(), 50u * 2 * 642);
    std::vector<int16_t> a, b;
    c->make_decoder({})->decode(packed.data(), packed.size(), a);
    c->make_decoder(itu)->decode(g192.data(), g192.size(), b);
    EXPECT_EQ(a, b);
    g192[2 * 642 * 3 + 2 * 10] = 0x55;
    auto dec = c->make_decoder(itu);
    b.clear();
    dec->decode(g192.data(), g192.size(), b);
    EXPECT_EQ(b.size(), 3u * 320);
    EXPECT_NE(dec->error().find("frame 3: G.192 bit word"), std::string::npos) << dec->error();
}

#ifdef ZINSC_TOOL
// The tool alone reproduces a sequence in each stream format.
TEST(G7221Codec, ToolReproducesSequences) {
    ZT_REQUIRE_VECTORS("g7221");
    const std::string dir = zt::vector_path("g7221/"), tmp = ::testing::TempDir();
    const std::string tool = ZINSC_TOOL;
    ASSERT_EQ(std::system((tool + " encode -c g7221-24 " + dir + "g722_1_enc_in.wav " + tmp + "g7221.pak >/dev/null").c_str()), 0);
    EXPECT_EQ(bytes(tmp + "g7221.pak"), bytes(dir + "g722_1_enc_out_24000_be.pak"));
    ASSERT_EQ(std::system((tool + " decode -f itu -c g7221c-48 " + dir + "annexc/annexc_dec_in_48000_fe.itu " + tmp +
                           "g7221.wav >/dev/null").c_str()),
              0);
    expect_samples(zc::read_speech(tmp + "g7221.wav"), dir + "annexc/annexc_dec_out_48000_fe.pcm", 0xFFFF, "tool");
}
#endif

}  // namespace
