// Whole-codec G.722 throughput at 64 kbit/s on the committed 16 kHz speech:
// the caller's-side encoder and decoder against spandsp's, in samples per
// second, and their ratio measured in one run (the *Ratio benchmarks time
// both codecs alternately in each iteration, in thread CPU time).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
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
    static const std::vector<int16_t> s = zc::read_speech(ZINSC_SOURCE_DIR "/data/speech-16k.wav");
    return s;
}

const std::vector<uint8_t>& coded() {
    static const std::vector<uint8_t> c = [] {
        std::vector<uint8_t> out;
        auto e = zc::find_codec("g722-64")->make_encoder({});
        e->encode(speech().data(), speech().size(), out);
        e->finish(out);
        return out;
    }();
    return c;
}

constexpr std::size_t kFrame = 320;  // 20 ms per call, as an application would run it

void zinsc_encode(std::vector<uint8_t>& out) {
    const auto& pcm = speech();
    out.clear();
    auto e = zc::find_codec("g722-64")->make_encoder({});
    for (std::size_t i = 0; i < pcm.size(); i += kFrame) e->encode(pcm.data() + i, std::min(kFrame, pcm.size() - i), out);
    e->finish(out);
}

void spandsp_encode(std::vector<uint8_t>& out) {
    const auto& pcm = speech();
    out.resize(pcm.size() / 2 + 1);
    g722_encode_state_t* s = g722_encode_init(nullptr, 64000, 0);
    std::size_t n = 0;
    for (std::size_t i = 0; i < pcm.size(); i += kFrame)
        n += static_cast<std::size_t>(
            g722_encode(s, out.data() + n, pcm.data() + i, static_cast<int>(std::min(kFrame, pcm.size() - i))));
    g722_encode_free(s);
}

void zinsc_decode(std::vector<int16_t>& out) {
    const auto& c = coded();
    out.clear();
    auto d = zc::find_codec("g722-64")->make_decoder({});
    for (std::size_t i = 0; i < c.size(); i += kFrame / 2) d->decode(c.data() + i, std::min(kFrame / 2, c.size() - i), out);
}

void spandsp_decode(std::vector<int16_t>& out) {
    const auto& c = coded();
    out.resize(c.size() * 2);
    g722_decode_state_t* s = g722_decode_init(nullptr, 64000, 0);
    std::size_t n = 0;
    for (std::size_t i = 0; i < c.size(); i += kFrame / 2)
        n += static_cast<std::size_t>(
            g722_decode(s, out.data() + n, c.data() + i, static_cast<int>(std::min(kFrame / 2, c.size() - i))));
    g722_decode_free(s);
}

template <typename Out, void (*Fn)(Out&)>
void BM_Codec(benchmark::State& state) {
    Out out;
    for (auto _ : state) {
        Fn(out);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(speech().size()));
}

// CPU time of this thread, so that time given to other processes on a
// shared machine counts for neither side.
double thread_seconds() {
    timespec ts;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + 1e-9 * static_cast<double>(ts.tv_nsec);
}

template <typename Out, void (*Ours)(Out&), void (*Peer)(Out&)>
void BM_Ratio(benchmark::State& state) {
    Out a, b;
    double ours = 0, peer = 0;
    for (auto _ : state) {
        const double t0 = thread_seconds();
        Ours(a);
        const double t1 = thread_seconds();
        Peer(b);
        const double t2 = thread_seconds();
        benchmark::DoNotOptimize(a.data());
        benchmark::DoNotOptimize(b.data());
        ours += t1 - t0;
        peer += t2 - t1;
    }
    const double samples = static_cast<double>(state.iterations()) * static_cast<double>(speech().size());
    state.counters["zinsc_samples_per_s"] = samples / ours;
    state.counters["spandsp_samples_per_s"] = samples / peer;
    state.counters["ratio"] = peer / ours;
}

BENCHMARK(BM_Codec<std::vector<uint8_t>, zinsc_encode>)->Name("G722_64/Encode/zinsc")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Codec<std::vector<uint8_t>, spandsp_encode>)->Name("G722_64/Encode/spandsp")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Codec<std::vector<int16_t>, zinsc_decode>)->Name("G722_64/Decode/zinsc")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Codec<std::vector<int16_t>, spandsp_decode>)->Name("G722_64/Decode/spandsp")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Ratio<std::vector<uint8_t>, zinsc_encode, spandsp_encode>)->Name("G722_64/EncodeRatio")->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_Ratio<std::vector<int16_t>, zinsc_decode, spandsp_decode>)->Name("G722_64/DecodeRatio")->Unit(benchmark::kMillisecond)->MinTime(2.0);

}  // namespace
