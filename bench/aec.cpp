// Throughput of the composed sub-band echo canceller (codecs/aec.h) against
// speexdsp's, 128 ms tail, both rates, float and 16-bit paths: the bundled
// speech as far end, its echo through a 20 ms + 128 ms path as microphone.
// Each side runs the same 4 s of signal per iteration, in its own blocks
// (ours: the bank's block shift; speexdsp: 10 ms frames). The counters give
// both speeds as multiples of real time and their ratio (ours over theirs).
#include <benchmark/benchmark.h>
#include <speex/speex_echo.h>

#include <chrono>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "aec.h"
#include "wav.h"

namespace {

using Clock = std::chrono::steady_clock;
double since(Clock::time_point t) { return std::chrono::duration<double>(Clock::now() - t).count(); }

struct Signals {
    std::vector<int16_t> far, mic;
};

const Signals& signals(int rate) {
    static Signals s8, s16;
    Signals& s = rate == 8000 ? s8 : s16;
    if (!s.far.empty()) return s;
    const std::vector<int16_t> sp = zc::read_speech(std::string(ZINSC_SOURCE_DIR) +
                                                    (rate == 8000 ? "/data/speech-8k.wav" : "/data/speech-16k.wav"));
    const std::size_t n = static_cast<std::size_t>(rate) * 4;
    s.far.assign(sp.begin(), sp.begin() + static_cast<std::ptrdiff_t>(n));
    const int bulk = rate / 50, len = rate / 1000 * 128;
    std::mt19937 g(3);
    std::normal_distribution<double> d(0.0, 0.05);
    std::vector<double> h(static_cast<std::size_t>(bulk + len), 0.0);
    for (int i = 0; i < len; ++i) h[bulk + i] = d(g) * std::pow(10.0, -3.0 * i / len);
    s.mic.resize(n);
    for (std::size_t i = 0; i < n; ++i) {
        double v = 0;
        for (std::size_t j = 0; j < h.size() && j <= i; ++j) v += h[j] * s.far[i - j];
        s.mic[i] = static_cast<int16_t>(std::lround(v));
    }
    return s;
}

void BM_EchoCanceller(benchmark::State& st) {
    const int rate = static_cast<int>(st.range(0));
    const bool fixed = st.range(1) != 0;
    const Signals& s = signals(rate);
    zc::EchoOptions o;
    o.rate = rate;
    o.tail_ms = 128;
    o.fixed_point = fixed;
    auto ec = zc::EchoCanceller::make(o);
    const int block = ec->block(), frame = rate / 100;
    const std::size_t n = s.far.size() / (block * frame) * (block * frame);
    std::vector<int16_t> out(n);
    SpeexEchoState* peer = speex_echo_state_init(frame, rate / 1000 * 128);
    int r = rate;
    speex_echo_ctl(peer, SPEEX_ECHO_SET_SAMPLING_RATE, &r);
    double ours = 0, theirs = 0, audio = 0;
    for (auto _ : st) {
        auto t = Clock::now();
        for (std::size_t i = 0; i < n; i += block) ec->process(&s.far[i], &s.mic[i], &out[i]);
        ours += since(t);
        benchmark::DoNotOptimize(out.data());
        t = Clock::now();
        for (std::size_t i = 0; i < n; i += frame) speex_echo_cancellation(peer, &s.mic[i], &s.far[i], &out[i]);
        theirs += since(t);
        benchmark::DoNotOptimize(out.data());
        audio += double(n) / rate;
    }
    speex_echo_state_destroy(peer);
    st.counters["zinsc_xRT"] = benchmark::Counter(audio / ours);
    st.counters["speexdsp_xRT"] = benchmark::Counter(audio / theirs);
    st.counters["ratio"] = benchmark::Counter(theirs / ours);
    st.SetLabel(std::string(fixed ? "16s " : "32f ") + std::to_string(rate) + " Hz");
}

BENCHMARK(BM_EchoCanceller)->Args({8000, 0})->Args({8000, 1})->Args({16000, 0})->Args({16000, 1})
    ->Unit(benchmark::kMillisecond)->MinTime(1.0);

}  // namespace
