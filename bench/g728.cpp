// G.728 throughput: the composed 16 kbit/s encoder and decoder (with and
// without the post-filter) on the bundled speech, reported as real-time
// factors and channels per core, and the hot exports one by one. No peer
// implements G.728; the STL fixed-point reference is measured outside the
// repository.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "g728.h"
#include "g728_tables.h"
#include "wav.h"
#include "zinsc.h"

namespace {

const std::vector<int16_t>& speech() {
    static const std::vector<int16_t> pcm = [] {
        auto v = zc::read_speech(ZINSC_SOURCE_DIR "/data/speech-8k.wav");
        v.resize(v.size() / 80 * 80);
        return v;
    }();
    return pcm;
}

const std::vector<uint16_t>& codewords() {
    static const std::vector<uint16_t> cw = [] {
        zc::g728::EncoderCore enc;
        std::vector<uint16_t> v;
        const auto& pcm = speech();
        for (std::size_t i = 0; i < pcm.size(); i += 5) v.push_back(enc.encode(&pcm[i]));
        return v;
    }();
    return cw;
}

void real_time(benchmark::State& st, double samples) {
    // Seconds of audio per second of CPU: also the channels one core carries.
    st.counters["x_real_time"] = benchmark::Counter(samples / 8000.0, benchmark::Counter::kIsRate);
    st.SetItemsProcessed(static_cast<int64_t>(samples));
}

void BM_Encoder(benchmark::State& st) {
    const auto& pcm = speech();
    double samples = 0;
    for (auto _ : st) {
        zc::g728::EncoderCore enc;
        uint16_t last = 0;
        for (std::size_t i = 0; i < pcm.size(); i += 5) last ^= enc.encode(&pcm[i]);
        benchmark::DoNotOptimize(last);
        samples += static_cast<double>(pcm.size());
    }
    real_time(st, samples);
}
BENCHMARK(BM_Encoder)->Unit(benchmark::kMillisecond);

void BM_Decoder(benchmark::State& st) {
    const auto& cw = codewords();
    std::vector<int16_t> out(cw.size() * 5);
    double samples = 0;
    for (auto _ : st) {
        zc::g728::DecoderCore dec(st.range(0) != 0);
        for (std::size_t i = 0; i < cw.size(); ++i) dec.decode(cw[i], &out[5 * i]);
        benchmark::DoNotOptimize(out.data());
        samples += static_cast<double>(out.size());
    }
    real_time(st, samples);
}
BENCHMARK(BM_Decoder)->ArgName("postfilter")->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);

// ---- hot exports --------------------------------------------------------------

void BM_WinHybridBlock50(benchmark::State& st) {
    int size = 0;
    zinsWinHybridGetStateSize_G728_16s(50, 20, 35, 5, &size);
    std::vector<unsigned char> mem(static_cast<std::size_t>(size));
    auto* w = reinterpret_cast<ZinWinHybridState_G728_16s*>(mem.data());
    zinsWinHybridInit_G728_16s(zc::g728::kWinSynthesis, 50, 20, 35, 5, 12288, w);
    const auto& pcm = speech();
    const int16_t q[4] = {12, 13, 12, 14};
    int16_t r[51];
    std::size_t at = 0;
    for (auto _ : st) {
        if (at + 20 > pcm.size()) at = 0;
        benchmark::DoNotOptimize(zinsWinHybridBlock_G728_16s(0, q, &pcm[at], r, w));
        at += 20;
    }
}
BENCHMARK(BM_WinHybridBlock50);

void BM_LevinsonDurbin50(benchmark::State& st) {
    int16_t r[51];
    for (int k = 0; k <= 50; ++k) r[k] = static_cast<int16_t>(16000 * std::pow(0.8, k) * (k ? 1.0 : 1.004));
    int16_t a[50], t[1], e, q;
    for (auto _ : st) {
        benchmark::DoNotOptimize(zinsLevinsonDurbin_G728_16s_Sfs(r, 10, a, t, &e, &q));
        benchmark::DoNotOptimize(zinsLevinsonDurbin_G728_16s_ISfs(r, 10, 50, a, &e, &q));
    }
}
BENCHMARK(BM_LevinsonDurbin50);

void BM_ImpulseResponseEnergy(benchmark::State& st) {
    const int16_t h[5] = {-900, 2100, -3000, 5000, 8192};
    int16_t e[128];
    for (auto _ : st) {
        benchmark::DoNotOptimize(zinsImpulseResponseEnergy_G728_16s(h, e));
        benchmark::DoNotOptimize(e);
    }
}
BENCHMARK(BM_ImpulseResponseEnergy);

void BM_CodebookSearch16(benchmark::State& st) {
    const int16_t h[5] = {-900, 2100, -3000, 5000, 8192};
    int16_t e[128];
    zinsImpulseResponseEnergy_G728_16s(h, e);
    const auto& pcm = speech();
    std::size_t at = 0;
    int shape, gain;
    int16_t index;
    for (auto _ : st) {
        if (at + 5 > pcm.size()) at = 0;
        benchmark::DoNotOptimize(zinsCodebookSearch_G728_16s(&pcm[at], e, &shape, &gain, &index, zinSpchBr16000));
        at += 5;
    }
}
BENCHMARK(BM_CodebookSearch16);

void BM_PostFilter(benchmark::State& st) {
    std::vector<unsigned char> mem(64);
    auto* s = reinterpret_cast<ZinIIRState_G728_16s*>(mem.data());
    zinsPostFilterInit_G728_16s(s);
    int16_t coef[20];
    for (int i = 0; i < 20; ++i) coef[i] = static_cast<int16_t>((i % 10 + 1) * (i < 10 ? 900 : -700) / (i % 10 + 1));
    const auto& pcm = speech();
    std::size_t at = 200;
    int16_t out[5];
    for (auto _ : st) {
        if (at + 5 > pcm.size()) at = 200;
        benchmark::DoNotOptimize(zinsPostFilter_G728_16s(15000, 4000, 57, 1200, coef, &pcm[at], out, s));
        at += 5;
    }
}
BENCHMARK(BM_PostFilter);

}  // namespace
