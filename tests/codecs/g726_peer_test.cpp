// G.726 and G.711 against spandsp, bit for bit, on the bundled speech: codes
// and decoded samples (linear, A-law, mu-law) at the four rates, through the
// library's exports and through the codecs of codecs/ with both packings.
//
// spandsp's representation: its linear interface takes 16-bit samples and
// keeps the top 14 bits, and returns the 14-bit output shifted left by 2;
// its A-law and mu-law interfaces take and give one G.711 octet per sample,
// packed as bytes.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

// spandsp's G.711 helpers are global inline functions; ours are zc::.
#include <spandsp.h>

#include "codec.h"
#include "wav.h"
#include "zinsc.h"

namespace {

constexpr int kBitRates[] = {16000, 24000, 32000, 40000};

const std::vector<int16_t>& speech() {
    static const std::vector<int16_t> pcm = zc::read_speech(ZINSC_SOURCE_DIR "/data/speech-8k.wav");
    return pcm;
}

// spandsp's external coding for a law of ours.
int span_coding(int law) {
    return law == zinPcmALaw ? G726_ENCODING_ALAW : law == zinPcmMuLaw ? G726_ENCODING_ULAW : G726_ENCODING_LINEAR;
}

std::vector<uint8_t> span_encode(int bitRate, int law, const std::vector<int16_t>& pcm, int packing) {
    g726_state_t* s = g726_init(nullptr, bitRate, span_coding(law), packing);
    std::vector<uint8_t> out(pcm.size() + 8);
    int n;
    if (law == zinPcmLinear) {
        n = g726_encode(s, out.data(), pcm.data(), static_cast<int>(pcm.size()));
    } else {
        std::vector<uint8_t> g711(pcm.size());
        for (std::size_t i = 0; i < pcm.size(); ++i)
            g711[i] = law == zinPcmALaw ? zc::linear_to_alaw(pcm[i]) : zc::linear_to_ulaw(pcm[i]);
        n = g726_encode(s, out.data(), reinterpret_cast<const int16_t*>(g711.data()), static_cast<int>(pcm.size()));
    }
    g726_free(s);
    out.resize(static_cast<std::size_t>(n));
    return out;
}

// Decoded words: 16-bit linear, or the G.711 octet in each word.
std::vector<int16_t> span_decode(int bitRate, int law, const std::vector<uint8_t>& codes, int packing) {
    g726_state_t* s = g726_init(nullptr, bitRate, span_coding(law), packing);
    std::vector<int16_t> out(codes.size() * 8 + 8);
    const int n = g726_decode(s, out.data(), codes.data(), static_cast<int>(codes.size()));
    g726_free(s);
    if (law == zinPcmLinear) {
        out.resize(static_cast<std::size_t>(n));
        return out;
    }
    std::vector<int16_t> words(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) words[static_cast<std::size_t>(i)] = reinterpret_cast<const uint8_t*>(out.data())[i];
    return words;
}

template <typename A, typename B>
long first_mismatch(const A& got, const B& want) {
    if (got.size() != want.size()) return static_cast<long>(std::min(got.size(), want.size()));
    for (std::size_t i = 0; i < got.size(); ++i)
        if (static_cast<int>(got[i]) != static_cast<int>(want[i])) return static_cast<long>(i);
    return -1;
}

const char* law_name(int law) { return law == zinPcmALaw ? "A-law" : law == zinPcmMuLaw ? "mu-law" : "linear"; }

// The whole codecs of codecs/ with packed octets, at every rate and input
// law, decoded to each of the three laws: RFC 3551 is spandsp's right
// packing, AAL2 its left packing. spandsp keeps a last partial octet back,
// so the comparison covers the whole octets. Both coders get the same G.711
// octets (spandsp's mu-law compressor differs from G.711; see below).
TEST(G726Peer, CodecsEqualSpandspPacked) {
    const auto& pcm = speech();
    ASSERT_GT(pcm.size(), 100000u) << "data/speech-8k.wav";
    for (int r = 0; r < 4; ++r)
        for (auto [packing, spanPacking] : {std::pair{zc::Packing::Rfc3551, int{G726_PACKING_RIGHT}},
                                            std::pair{zc::Packing::Aal2, int{G726_PACKING_LEFT}}})
            for (auto [law, lib] : {std::pair{zinPcmLinear, zc::PcmLaw::Linear}, std::pair{zinPcmALaw, zc::PcmLaw::ALaw},
                                    std::pair{zinPcmMuLaw, zc::PcmLaw::MuLaw}}) {
                SCOPED_TRACE(std::to_string(kBitRates[r]) + " bit/s, " + law_name(law) +
                             (packing == zc::Packing::Aal2 ? ", AAL2" : ", RFC 3551"));
                const std::string name = "g726-" + std::to_string(kBitRates[r] / 1000);
                const zc::CodecInfo* info = zc::find_codec(name);
                ASSERT_NE(info, nullptr) << name;
                zc::CodecOptions o;
                o.law = lib;
                o.packing = packing;
                auto enc = info->make_encoder(o);
                std::vector<uint8_t> bits;
                // Feed in uneven pieces: the packer carries bits across calls.
                for (std::size_t pos = 0, step = 1; pos < pcm.size(); step = step * 7 % 331 + 1) {
                    const std::size_t n = std::min(step, pcm.size() - pos);
                    enc->encode(pcm.data() + pos, n, bits);
                    pos += n;
                }
                const std::size_t whole = bits.size();
                enc->finish(bits);
                EXPECT_EQ(bits.size(), (pcm.size() * static_cast<std::size_t>(kBitRates[r] / 8000) + 7) / 8);
                const auto want = span_encode(kBitRates[r], law, pcm, spanPacking);
                ASSERT_EQ(want.size(), whole);
                EXPECT_EQ(first_mismatch(std::vector<uint8_t>(bits.begin(), bits.begin() + static_cast<long>(whole)), want), -1);

                for (auto [outLaw, libOut] : {std::pair{zinPcmLinear, zc::PcmLaw::Linear}, std::pair{zinPcmALaw, zc::PcmLaw::ALaw},
                                              std::pair{zinPcmMuLaw, zc::PcmLaw::MuLaw}}) {
                    o.law = libOut;
                    auto dec = info->make_decoder(o);
                    std::vector<int16_t> out;
                    for (std::size_t pos = 0, step = 1; pos < whole; step = step * 5 % 97 + 1) {
                        const std::size_t n = std::min(step, whole - pos);
                        dec->decode(bits.data() + pos, n, out);
                        pos += n;
                    }
                    EXPECT_EQ(first_mismatch(out, span_decode(kBitRates[r], outLaw, want, spanPacking)), -1)
                        << "decoded to " << law_name(outLaw);
                }
            }
}

// G.711 of codecs/ against spandsp for every 16-bit sample and every code.
// A-law and both expansions are equal. spandsp's mu-law compressor adds its
// bias to the 16-bit magnitude of a negative sample, where the G.711
// reference (ITU-T G.191 STL) one's-complements and truncates to 14 bits
// first: 127 negative samples, one at each step boundary, get the
// neighbouring code; the companded value of every code is the same.
TEST(G711Peer, EveryValue) {
    int ulawDiffers = 0;
    for (int x = -32768; x <= 32767; ++x) {
        const auto s = static_cast<int16_t>(x);
        ASSERT_EQ(zc::linear_to_alaw(s), linear_to_alaw(s)) << x;
        const int ours = zc::linear_to_ulaw(s), theirs = linear_to_ulaw(s);
        if (ours != theirs) {
            ++ulawDiffers;
            ASSERT_LT(x, 0);
            ASSERT_EQ(std::abs(ours - theirs), 1) << x;
        }
    }
    EXPECT_EQ(ulawDiffers, 127);
    // Companding is idempotent: a code's expansion compresses to the code
    // (both mu-law zeros, 0x7F and 0xFF, expand to 0, which is 0xFF).
    for (int c = 0; c < 256; ++c) {
        const auto u = static_cast<uint8_t>(c);
        EXPECT_EQ(zc::linear_to_alaw(zc::alaw_to_linear(u)), c);
        EXPECT_EQ(zc::linear_to_ulaw(zc::ulaw_to_linear(u)), c == 0x7F ? 0xFF : c);
    }
    for (int c = 0; c < 256; ++c) {
        ASSERT_EQ(zc::alaw_to_linear(static_cast<uint8_t>(c)), alaw_to_linear(static_cast<uint8_t>(c))) << c;
        ASSERT_EQ(zc::ulaw_to_linear(static_cast<uint8_t>(c)), ulaw_to_linear(static_cast<uint8_t>(c))) << c;
    }
}

}  // namespace
