// The G.169 level control on the speech sample at 8 kHz, in 10 ms frames
// and in one call, against WebRTC's gain control in fixed-digital mode on
// 10 ms frames in the same run. The algorithms differ: this is speed only.
// The x_real_time counter is seconds of audio per second of work.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <webrtc/modules/audio_processing/include/audio_processing.h>
#include <webrtc/modules/interface/module_common_types.h>

#include "wav.h"
#include "zinsc.h"

namespace {

constexpr int kRate = 8000;
constexpr int kFrame = 80;  // 10 ms

// The speech at about -30 dBov, whole 10 ms frames.
const std::vector<int16_t>& speech() {
    static const std::vector<int16_t> pcm = [] {
        auto v = zc::read_speech(std::string(ZINSC_SOURCE_DIR) + "/data/speech-8k.wav");
        v.resize(v.size() / kFrame * kFrame);
        for (auto& s : v) s = static_cast<int16_t>(std::lround(s * 0.4));
        return v;
    }();
    return pcm;
}

void report(benchmark::State& state, std::size_t samples) {
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * samples));
    state.counters["x_real_time"] =
        benchmark::Counter(static_cast<double>(state.iterations() * samples) / kRate, benchmark::Counter::kIsRate);
}

struct Alc {
    std::unique_ptr<unsigned char[]> mem;
    ZinALCState_G169_16s* p;
    Alc() {
        int size = 0;
        zinsALCGetStateSize_G169_16s(&size);
        mem.reset(new unsigned char[size]);
        p = reinterpret_cast<ZinALCState_G169_16s*>(mem.get());
        zinsALCInit_G169_16s(p);
    }
};

void BM_ALC_zinsc_10ms(benchmark::State& state) {
    const auto& pcm = speech();
    std::vector<int16_t> out(pcm.size());
    Alc alc;
    for (auto _ : state) {
        for (std::size_t i = 0; i < pcm.size(); i += kFrame) zinsALC_G169_16s(&pcm[i], &out[i], kFrame, alc.p);
        benchmark::DoNotOptimize(out.data());
    }
    report(state, pcm.size());
}

void BM_ALC_zinsc_whole(benchmark::State& state) {
    const auto& pcm = speech();
    std::vector<int16_t> out(pcm.size());
    Alc alc;
    for (auto _ : state) {
        zinsALC_G169_16s(pcm.data(), out.data(), static_cast<int>(pcm.size()), alc.p);
        benchmark::DoNotOptimize(out.data());
    }
    report(state, pcm.size());
}

void BM_AGC_webrtc_fixed_digital(benchmark::State& state) {
    const auto& pcm = speech();
    std::unique_ptr<webrtc::AudioProcessing> apm(webrtc::AudioProcessing::Create());
    webrtc::GainControl* agc = apm->gain_control();
    agc->set_mode(webrtc::GainControl::kFixedDigital);
    agc->set_target_level_dbfs(3);
    agc->set_compression_gain_db(9);
    agc->enable_limiter(true);
    agc->Enable(true);
    webrtc::AudioFrame frame;
    frame.sample_rate_hz_ = kRate;
    frame.num_channels_ = 1;
    frame.samples_per_channel_ = kFrame;
    for (auto _ : state) {
        for (std::size_t i = 0; i < pcm.size(); i += kFrame) {
            std::memcpy(frame.data_, &pcm[i], kFrame * sizeof(int16_t));
            if (apm->ProcessStream(&frame) != webrtc::AudioProcessing::kNoError) state.SkipWithError("ProcessStream");
            benchmark::DoNotOptimize(frame.data_);
        }
    }
    report(state, pcm.size());
}

}  // namespace

BENCHMARK(BM_ALC_zinsc_10ms)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ALC_zinsc_whole)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AGC_webrtc_fixed_digital)->Unit(benchmark::kMillisecond);
