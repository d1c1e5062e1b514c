// The decoder against FFmpeg's, sample for sample, on streams of the
// composed encoder at both rates, with and without the post-filters.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
}

#include "codec.h"
#include "test_util.h"
#include "wav.h"

namespace {

std::vector<int16_t> ffmpeg_decode(const std::vector<uint8_t>& bits, bool postfilter) {
    const AVCodec* c = avcodec_find_decoder(AV_CODEC_ID_G723_1);
    AVCodecContext* ctx = avcodec_alloc_context3(c);
    ctx->sample_rate = 8000;
    av_channel_layout_default(&ctx->ch_layout, 1);
    av_opt_set_int(ctx->priv_data, "postfilter", postfilter ? 1 : 0, 0);
    EXPECT_EQ(avcodec_open2(ctx, c, nullptr), 0);
    AVFrame* fr = av_frame_alloc();
    AVPacket* pkt = av_packet_alloc();
    std::vector<int16_t> out;
    static constexpr int kSize[4] = {24, 20, 4, 1};
    for (std::size_t at = 0; at < bits.size();) {
        const int n = kSize[bits[at] & 3];
        av_new_packet(pkt, n);
        std::memcpy(pkt->data, bits.data() + at, n);
        at += n;
        avcodec_send_packet(ctx, pkt);
        av_packet_unref(pkt);
        while (avcodec_receive_frame(ctx, fr) == 0) {
            const auto* s = reinterpret_cast<const int16_t*>(fr->data[0]);
            out.insert(out.end(), s, s + fr->nb_samples);
            av_frame_unref(fr);
        }
    }
    av_packet_free(&pkt);
    av_frame_free(&fr);
    avcodec_free_context(&ctx);
    return out;
}

TEST(G723Peer, DecoderEqualsFFmpegOnEncoderStreams) {
    const auto pcm = zc::read_speech(std::string(ZINSC_SOURCE_DIR) + "/data/speech-8k.wav");
    ASSERT_FALSE(pcm.empty());
    for (const char* name : {"g7231-63", "g7231-53"}) {
        std::vector<uint8_t> bits;
        auto enc = zc::find_codec(name)->make_encoder({});
        enc->encode(pcm.data(), pcm.size(), bits);
        enc->finish(bits);
        for (bool pf : {true, false}) {
            zc::CodecOptions o;
            o.postfilter = pf;
            std::vector<int16_t> ours;
            zc::find_codec(name)->make_decoder(o)->decode(bits.data(), bits.size(), ours);
            const auto theirs = ffmpeg_decode(bits, pf);
            ASSERT_EQ(ours.size(), theirs.size()) << name;
            std::size_t first = ours.size();
            for (std::size_t i = 0; i < ours.size() && first == ours.size(); ++i)
                if (ours[i] != theirs[i]) first = i;
            EXPECT_EQ(first, ours.size()) << name << (pf ? "" : " without post-filter") << ": first differing sample";
        }
    }
}

}  // namespace
