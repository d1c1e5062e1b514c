// Whole GSM 06.10 encoder and decoder on the speech sample: this library's
// codec against libgsm and spandsp's GSM 06.10 in the same run. Throughput
// is in samples per second; the ratio to the faster peer is what counts.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

extern "C" {
#include <gsm/gsm.h>
}
#include <spandsp.h>

#include "codec.h"
#include "wav.h"

namespace {

std::vector<int16_t> speech() {
    static const std::vector<int16_t> pcm = zc::read_speech(std::string(ZINSC_SOURCE_DIR) + "/data/speech-8k.wav");
    return pcm;
}

std::vector<uint8_t> coded() {
    static std::vector<uint8_t> bits = [] {
        const auto pcm = speech();
        std::vector<uint8_t> out;
        zc::find_codec("gsm-fr")->make_encoder({})->encode(pcm.data(), pcm.size(), out);
        return out;
    }();
    return bits;
}

void BM_Encode_zinsc(benchmark::State& state) {
    const auto pcm = speech();
    std::vector<uint8_t> out;
    out.reserve(pcm.size());
    for (auto _ : state) {
        auto enc = zc::find_codec("gsm-fr")->make_encoder({});
        out.clear();
        enc->encode(pcm.data(), pcm.size(), out);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * pcm.size());
}

void BM_Encode_libgsm(benchmark::State& state) {
    auto pcm = speech();
    std::vector<uint8_t> out(pcm.size() / 160 * 33);
    for (auto _ : state) {
        gsm g = gsm_create();
        for (std::size_t f = 0; f < pcm.size() / 160; ++f) gsm_encode(g, pcm.data() + 160 * f, out.data() + 33 * f);
        gsm_destroy(g);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * pcm.size());
}

void BM_Encode_spandsp(benchmark::State& state) {
    const auto pcm = speech();
    std::vector<uint8_t> out(pcm.size() / 160 * 33);
    for (auto _ : state) {
        gsm0610_state_t* s = gsm0610_init(nullptr, GSM0610_PACKING_VOIP);
        for (std::size_t f = 0; f < pcm.size() / 160; ++f) gsm0610_encode(s, out.data() + 33 * f, pcm.data() + 160 * f, 160);
        gsm0610_free(s);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * pcm.size());
}

void BM_Decode_zinsc(benchmark::State& state) {
    const auto bits = coded();
    std::vector<int16_t> out;
    out.reserve(bits.size() / 33 * 160);
    for (auto _ : state) {
        auto dec = zc::find_codec("gsm-fr")->make_decoder({});
        out.clear();
        dec->decode(bits.data(), bits.size(), out);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * (bits.size() / 33 * 160));
}

void BM_Decode_libgsm(benchmark::State& state) {
    auto bits = coded();
    std::vector<int16_t> out(bits.size() / 33 * 160);
    for (auto _ : state) {
        gsm g = gsm_create();
        for (std::size_t f = 0; f < bits.size() / 33; ++f) gsm_decode(g, bits.data() + 33 * f, out.data() + 160 * f);
        gsm_destroy(g);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * out.size());
}

void BM_Decode_spandsp(benchmark::State& state) {
    const auto bits = coded();
    std::vector<int16_t> out(bits.size() / 33 * 160);
    for (auto _ : state) {
        gsm0610_state_t* s = gsm0610_init(nullptr, GSM0610_PACKING_VOIP);
        for (std::size_t f = 0; f < bits.size() / 33; ++f) gsm0610_decode(s, out.data() + 160 * f, bits.data() + 33 * f, 33);
        gsm0610_free(s);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * out.size());
}

}  // namespace

BENCHMARK(BM_Encode_zinsc)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Encode_libgsm)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Encode_spandsp)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Decode_zinsc)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Decode_libgsm)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Decode_spandsp)->Unit(benchmark::kMillisecond);
