// G.722.1 and Annex C: the caller's-side codecs in channels per core (audio
// seconds coded per CPU second) on the committed speech, and the exports one
// frame at a time. No Debian package carries G.722.1: the reference is
// measured outside the repository.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "codec.h"
#include "wav.h"
#include "zinsc.h"

namespace {

const std::vector<int16_t>& speech(int rate) {
    static const std::vector<int16_t> s16 = zc::read_speech(ZINSC_SOURCE_DIR "/data/speech-16k.wav");
    static const std::vector<int16_t> s32 = zc::read_speech(ZINSC_SOURCE_DIR "/data/speech-32k.wav");
    return rate == 16000 ? s16 : s32;
}

void Encode(benchmark::State& state, const char* name) {
    const zc::CodecInfo* c = zc::find_codec(name);
    const auto& pcm = speech(c->sample_rate);
    std::vector<uint8_t> out;
    for (auto _ : state) {
        out.clear();
        auto e = c->make_encoder({});
        e->encode(pcm.data(), pcm.size(), out);
        benchmark::DoNotOptimize(out.data());
    }
    state.counters["channels"] = benchmark::Counter(double(pcm.size()) / c->sample_rate, benchmark::Counter::kIsIterationInvariantRate);
}

void Decode(benchmark::State& state, const char* name) {
    const zc::CodecInfo* c = zc::find_codec(name);
    const auto& pcm = speech(c->sample_rate);
    std::vector<uint8_t> bits;
    c->make_encoder({})->encode(pcm.data(), pcm.size(), bits);
    std::vector<int16_t> out;
    for (auto _ : state) {
        out.clear();
        auto d = c->make_decoder({});
        d->decode(bits.data(), bits.size(), out);
        benchmark::DoNotOptimize(out.data());
    }
    state.counters["channels"] = benchmark::Counter(double(pcm.size()) / c->sample_rate, benchmark::Counter::kIsIterationInvariantRate);
}

BENCHMARK_CAPTURE(Encode, g7221_24, "g7221-24")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Decode, g7221_24, "g7221-24")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Encode, g7221c_48, "g7221c-48")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Decode, g7221c_48, "g7221c-48")->Unit(benchmark::kMillisecond);

void Transform(benchmark::State& state, bool inverse) {
    const int n = static_cast<int>(state.range(0));
    std::vector<Zin16s> x(speech(16000).begin() + 16000, speech(16000).begin() + 16000 + n), y(n), z(n);
    for (auto _ : state) {
        if (inverse) {
            zinsDCTInv_G7221_16s(x.data(), y.data(), n);
            zinsDecomposeDCTToMLT_G7221_16s(y.data(), x.data(), z.data(), n);
        } else {
            zinsDecomposeMLTToDCT_G7221_16s(x.data(), x.data(), y.data(), n);
            zinsDCTFwd_G7221_16s(y.data(), z.data(), n);
        }
        benchmark::DoNotOptimize(z.data());
    }
}
BENCHMARK_CAPTURE(Transform, forward, false)->Arg(320)->Arg(640);
BENCHMARK_CAPTURE(Transform, inverse, true)->Arg(320)->Arg(640);

void Huffman(benchmark::State& state) {
    std::vector<Zin16s> x(speech(16000).begin() + 20000, speech(16000).begin() + 20020);
    Zin32u words[6];
    int bits = 0;
    for (auto _ : state)
        for (int cat = 0; cat < 7; ++cat) {
            zinsHuffmanEncode_G722_16s32u(cat, 40, x.data(), words, &bits);
            benchmark::DoNotOptimize(words);
        }
}
BENCHMARK(Huffman);

}  // namespace
