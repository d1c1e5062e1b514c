// G.723.1: whole encoder (6.3 kbit/s) and decoder on the speech sample, this
// library's codec against FFmpeg's in the same run, and the hot exports.
// Throughput is in samples per second.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
}

#include "codec.h"
#include "g723.h"
#include "wav.h"
#include "zinsc.h"

namespace {

const std::vector<int16_t>& speech() {
    static const std::vector<int16_t> pcm = [] {
        auto v = zc::read_speech(std::string(ZINSC_SOURCE_DIR) + "/data/speech-8k.wav");
        v.resize(v.size() / 240 * 240);
        return v;
    }();
    return pcm;
}

const std::vector<uint8_t>& coded() {
    static const std::vector<uint8_t> bits = [] {
        std::vector<uint8_t> out;
        zc::find_codec("g7231-63")->make_encoder({})->encode(speech().data(), speech().size(), out);
        return out;
    }();
    return bits;
}

void BM_Encode63_zinsc(benchmark::State& state) {
    std::vector<uint8_t> out;
    for (auto _ : state) {
        out.clear();
        zc::find_codec("g7231-63")->make_encoder({})->encode(speech().data(), speech().size(), out);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * speech().size());
}

void BM_Decode_zinsc(benchmark::State& state) {
    std::vector<int16_t> out;
    for (auto _ : state) {
        out.clear();
        zc::find_codec("g7231-63")->make_decoder({})->decode(coded().data(), coded().size(), out);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * speech().size());
}

AVCodecContext* open_ffmpeg(bool encoder) {
    const AVCodec* c = encoder ? avcodec_find_encoder(AV_CODEC_ID_G723_1) : avcodec_find_decoder(AV_CODEC_ID_G723_1);
    AVCodecContext* ctx = avcodec_alloc_context3(c);
    ctx->sample_rate = 8000;
    ctx->bit_rate = 6300;
    ctx->sample_fmt = AV_SAMPLE_FMT_S16;
    av_channel_layout_default(&ctx->ch_layout, 1);
    avcodec_open2(ctx, c, nullptr);
    return ctx;
}

void BM_Encode63_ffmpeg(benchmark::State& state) {
    AVFrame* fr = av_frame_alloc();
    AVPacket* pkt = av_packet_alloc();
    for (auto _ : state) {
        AVCodecContext* ctx = open_ffmpeg(true);
        for (std::size_t f = 0; f < speech().size() / 240; ++f) {
            fr->nb_samples = 240;
            fr->format = AV_SAMPLE_FMT_S16;
            av_channel_layout_default(&fr->ch_layout, 1);
            av_frame_get_buffer(fr, 0);
            std::memcpy(fr->data[0], speech().data() + 240 * f, 480);
            avcodec_send_frame(ctx, fr);
            av_frame_unref(fr);
            while (avcodec_receive_packet(ctx, pkt) == 0) av_packet_unref(pkt);
        }
        avcodec_free_context(&ctx);
    }
    av_packet_free(&pkt);
    av_frame_free(&fr);
    state.SetItemsProcessed(state.iterations() * speech().size());
}

void BM_Decode_ffmpeg(benchmark::State& state) {
    AVFrame* fr = av_frame_alloc();
    AVPacket* pkt = av_packet_alloc();
    for (auto _ : state) {
        AVCodecContext* ctx = open_ffmpeg(false);
        for (std::size_t at = 0; at + 24 <= coded().size(); at += 24) {
            av_new_packet(pkt, 24);
            std::memcpy(pkt->data, coded().data() + at, 24);
            avcodec_send_packet(ctx, pkt);
            av_packet_unref(pkt);
            while (avcodec_receive_frame(ctx, fr) == 0) av_frame_unref(fr);
        }
        avcodec_free_context(&ctx);
    }
    av_packet_free(&pkt);
    av_frame_free(&fr);
    state.SetItemsProcessed(state.iterations() * speech().size());
}

// The hot exports on one subframe of weighted-speech-like input.
std::vector<int16_t> input(std::size_t n, int amp) {
    std::vector<int16_t> v(n);
    uint32_t s = 12345;
    for (auto& x : v) {
        s = s * 1664525u + 1013904223u;
        x = int16_t(int(s >> 16) % amp);
    }
    return v;
}

void BM_OpenLoopPitchSearch(benchmark::State& state) {
    const auto x = input(262, 4000);
    Zin16s d;
    for (auto _ : state) {
        zinsOpenLoopPitchSearch_G723_16s(x.data() + 142, &d);
        benchmark::DoNotOptimize(d);
    }
}

void BM_AdaptiveCodebookSearch(benchmark::State& state) {
    auto t = input(60, 4000), h = input(60, 2000), e = input(145, 4000);
    h[0] = 8192;
    const Zin32s err[5] = {4, 4, 4, 4, 4};
    Zin16s lag, gain;
    for (auto _ : state) {
        zinsAdaptiveCodebookSearch_G723(60, t.data(), h.data(), e.data(), err, &lag, &gain, 1, 0, zinSpchBr6300);
        benchmark::DoNotOptimize(gain);
    }
}

void BM_MPMLQFixedCodebookSearch(benchmark::State& state) {
    auto t = input(60, 4000), h = input(60, 2000);
    h[0] = 8192;
    Zin16s code[60], grid, train, sign;
    Zin32s pos;
    for (auto _ : state) {
        zinsMPMLQFixedCodebookSearch_G723(Zin16s(state.range(0)), h.data(), t.data(), code, &grid, &train, &sign, &pos, 0);
        benchmark::DoNotOptimize(pos);
    }
}

void BM_LSFQuant(benchmark::State& state) {
    const Zin16s lsf[10] = {3000, 4800, 7600, 10900, 13800, 16500, 19700, 22300, 25400, 27800};
    const Zin16s prev[10] = {3131, 4721, 7690, 10806, 13872, 16495, 19752, 22260, 25484, 27718};
    Zin32s idx;
    for (auto _ : state) {
        zinsLSFQuant_G723_16s32s(lsf, prev, &idx);
        benchmark::DoNotOptimize(idx);
    }
}

}  // namespace

BENCHMARK(BM_Encode63_zinsc)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Encode63_ffmpeg)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Decode_zinsc)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Decode_ffmpeg)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OpenLoopPitchSearch);
BENCHMARK(BM_AdaptiveCodebookSearch);
BENCHMARK(BM_MPMLQFixedCodebookSearch)->Arg(60)->Arg(40);
BENCHMARK(BM_LSFQuant);
