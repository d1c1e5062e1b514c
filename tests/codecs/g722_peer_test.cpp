// The whole G.722 codec of the caller's side against spandsp's G.722 on the
// committed 16 kHz speech: octets and decoded samples equal at 64, 56 and
// 48 kbit/s. spandsp is run with dense packing (G722_PACKED), whose order is
// the RFC 3551 one; its QMF scaling equals the recommendation's.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "codec.h"
#include "wav.h"

extern "C" {
#include <spandsp/telephony.h>
#include <spandsp/g722.h>
}

namespace {

const std::vector<int16_t>& speech() {
    static const std::vector<int16_t> s = zc::read_speech(std::string(ZINSC_SOURCE_DIR) + "/data/speech-16k.wav");
    return s;
}

std::vector<uint8_t> peer_encode(const std::vector<int16_t>& pcm, int rate) {
    g722_encode_state_t* s = g722_encode_init(nullptr, rate, G722_PACKED);
    std::vector<uint8_t> out(pcm.size());
    out.resize(static_cast<std::size_t>(g722_encode(s, out.data(), pcm.data(), static_cast<int>(pcm.size()))));
    g722_encode_free(s);
    return out;
}

std::vector<int16_t> peer_decode(const std::vector<uint8_t>& data, int rate) {
    g722_decode_state_t* s = g722_decode_init(nullptr, rate, G722_PACKED);
    std::vector<int16_t> out(data.size() * 4 + 16);
    out.resize(static_cast<std::size_t>(g722_decode(s, out.data(), data.data(), static_cast<int>(data.size()))));
    g722_decode_free(s);
    return out;
}

struct Mode {
    const char* name;
    int rate;
};
constexpr Mode kModes[] = {{"g722-64", 64000}, {"g722-56", 56000}, {"g722-48", 48000}};

void compare_with_peer(const std::vector<int16_t>& pcm, const Mode& m) {
    const zc::CodecInfo* c = zc::find_codec(m.name);
    ASSERT_NE(c, nullptr) << m.name;
    EXPECT_EQ(c->sample_rate, 16000);
    EXPECT_EQ(c->bit_rate, m.rate);

    std::vector<uint8_t> ours;
    auto enc = c->make_encoder({});
    enc->encode(pcm.data(), pcm.size(), ours);
    enc->finish(ours);
    const auto theirs = peer_encode(pcm, m.rate);
    // spandsp keeps a last partial octet to itself; ours flushes it.
    ASSERT_GE(ours.size(), theirs.size());
    ASSERT_LE(ours.size(), theirs.size() + 1);
    for (std::size_t i = 0; i < theirs.size(); ++i) ASSERT_EQ(ours[i], theirs[i]) << m.name << " octet " << i;

    std::vector<int16_t> decoded;
    c->make_decoder({})->decode(theirs.data(), theirs.size(), decoded);
    const auto peer = peer_decode(theirs, m.rate);
    // spandsp stops at the end of its input with whole codes still in its
    // bit buffer; ours decodes every whole code.
    ASSERT_GE(decoded.size(), peer.size()) << m.name;
    ASSERT_LE(decoded.size(), peer.size() + 4) << m.name;
    EXPECT_EQ(decoded.size(), theirs.size() * 8 / (m.rate / 8000) * 2) << m.name;
    for (std::size_t i = 0; i < peer.size(); ++i) ASSERT_EQ(decoded[i], peer[i]) << m.name << " sample " << i;
}

TEST(G722Peer, SpeechBitExactAllModes) {
    const auto& pcm = speech();
    ASSERT_GT(pcm.size(), 16000u) << "data/speech-16k.wav not readable";
    for (const Mode& m : kModes) compare_with_peer(pcm, m);
}

// Calls of any size, odd ones included, give the stream of one call; so do
// decoder calls that cut packed codes apart. AAL2 order is the mirror image.
TEST(G722Peer, StreamingAndPacking) {
    const auto& pcm = speech();
    ASSERT_FALSE(pcm.empty());
    const std::vector<int16_t> part(pcm.begin(), pcm.begin() + 48001);
    for (const Mode& m : kModes) {
        const zc::CodecInfo* c = zc::find_codec(m.name);
        ASSERT_NE(c, nullptr);
        std::vector<uint8_t> whole, pieces;
        auto e1 = c->make_encoder({});
        e1->encode(part.data(), part.size(), whole);
        e1->finish(whole);
        auto e2 = c->make_encoder({});
        static const std::size_t kCuts[] = {1, 7, 333, 2, 1000, 5, 0, 641};
        for (std::size_t pos = 0, k = 0; pos < part.size(); ++k) {
            const std::size_t n = std::min(kCuts[k % 8], part.size() - pos);
            e2->encode(part.data() + pos, n, pieces);
            pos += n;
        }
        e2->finish(pieces);
        ASSERT_EQ(whole, pieces) << m.name;

        std::vector<int16_t> d1, d2;
        c->make_decoder({})->decode(whole.data(), whole.size(), d1);
        auto dec = c->make_decoder({});
        for (std::size_t pos = 0, k = 0; pos < whole.size(); ++k) {
            const std::size_t n = std::min(kCuts[k % 8], whole.size() - pos);
            dec->decode(whole.data() + pos, n, d2);
            pos += n;
        }
        ASSERT_EQ(d1, d2) << m.name;
        EXPECT_GE(d1.size(), part.size()) << "the padded last sample decodes too";

        zc::CodecOptions aal2;
        aal2.packing = zc::Packing::Aal2;
        std::vector<uint8_t> mirrored;
        auto e3 = c->make_encoder(aal2);
        e3->encode(part.data(), part.size(), mirrored);
        e3->finish(mirrored);
        ASSERT_EQ(mirrored.size(), whole.size());
        std::vector<int16_t> d3;
        c->make_decoder(aal2)->decode(mirrored.data(), mirrored.size(), d3);
        ASSERT_EQ(d1, d3) << m.name;
        if (m.rate == 64000) EXPECT_EQ(mirrored, whole);
        else EXPECT_NE(mirrored, whole);
    }
}

}  // namespace
