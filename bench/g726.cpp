// G.726 throughput, encoder and decoder at the four rates: the library and
// spandsp timed alternately in the same benchmark on the bundled speech. The
// benchmark's own time is the library's; the counters give both in samples
// per second and their ratio (library speed over spandsp speed).
#include <benchmark/benchmark.h>
#include <spandsp.h>

#include <vector>

#include "compare.h"
#include "zinsc.h"

#include "wav.h"

namespace {

constexpr int kBitRates[] = {16000, 24000, 32000, 40000};
constexpr ZinSpeechBitrate kRateCode[] = {zinSpchBr16000, zinSpchBr24000, zinSpchBr32000, zinSpchBr40000};

const std::vector<int16_t>& speech() {
    static const std::vector<int16_t> pcm = zc::read_speech(ZINSC_SOURCE_DIR "/data/speech-8k.wav");
    return pcm;
}

// Samples per call: a 20 ms frame, as a network would hand them over.
constexpr int kFrame = 160;

void BM_Encode(benchmark::State& st) {
    const int r = static_cast<int>(st.range(0));
    const auto& pcm = speech();
    const int frames = static_cast<int>(pcm.size()) / kFrame;
    std::vector<int16_t> x14(pcm.size());
    for (std::size_t i = 0; i < pcm.size(); ++i) x14[i] = static_cast<int16_t>(pcm[i] >> 2);
    std::vector<uint8_t> codes(pcm.size());
    int size = 0;
    zinsEncodeGetStateSize_G726_16s8u(&size);
    std::vector<unsigned char> mem(static_cast<std::size_t>(size));
    auto* enc = reinterpret_cast<ZinG726EncState*>(mem.data());
    g726_state_t* peer = g726_init(nullptr, kBitRates[r], G726_ENCODING_LINEAR, G726_PACKING_NONE);
    zb::alternate(
        st, double(frames) * kFrame, "spandsp",
        [&] {
            zinsEncodeInit_G726_16s8u(enc, kRateCode[r]);
            for (int f = 0; f < frames; ++f)
                zinsEncode_G726_16s8u(enc, x14.data() + f * kFrame, codes.data() + f * kFrame, kFrame);
        },
        [&] {
            g726_init(peer, kBitRates[r], G726_ENCODING_LINEAR, G726_PACKING_NONE);
            for (int f = 0; f < frames; ++f) g726_encode(peer, codes.data() + f * kFrame, pcm.data() + f * kFrame, kFrame);
        });
    g726_free(peer);
}

// law: 2 linear, 1 A-law (with the synchronous coding adjustment).
void BM_Decode(benchmark::State& st) {
    const int r = static_cast<int>(st.range(0));
    const int law = static_cast<int>(st.range(1));
    const auto& pcm = speech();
    const int frames = static_cast<int>(pcm.size()) / kFrame;
    std::vector<uint8_t> codes(pcm.size());
    {
        g726_state_t* e = g726_init(nullptr, kBitRates[r], G726_ENCODING_LINEAR, G726_PACKING_NONE);
        g726_encode(e, codes.data(), pcm.data(), static_cast<int>(pcm.size()));
        g726_free(e);
    }
    std::vector<int16_t> out(pcm.size());
    int size = 0;
    zinsDecodeGetStateSize_G726_8u16s(&size);
    std::vector<unsigned char> mem(static_cast<std::size_t>(size));
    auto* dec = reinterpret_cast<ZinG726DecState*>(mem.data());
    const int coding = law == zinPcmALaw ? G726_ENCODING_ALAW : G726_ENCODING_LINEAR;
    g726_state_t* peer = g726_init(nullptr, kBitRates[r], coding, G726_PACKING_NONE);
    zb::alternate(
        st, double(frames) * kFrame, "spandsp",
        [&] {
            zinsDecodeInit_G726_8u16s(dec, kRateCode[r], law);
            for (int f = 0; f < frames; ++f)
                zinsDecode_G726_8u16s(dec, codes.data() + f * kFrame, out.data() + f * kFrame, kFrame);
        },
        [&] {
            g726_init(peer, kBitRates[r], coding, G726_PACKING_NONE);
            for (int f = 0; f < frames; ++f) g726_decode(peer, out.data() + f * kFrame, codes.data() + f * kFrame, kFrame);
        });
    g726_free(peer);
}

BENCHMARK(BM_Encode)->ArgName("rate_index")->DenseRange(0, 3)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Decode)->ArgNames({"rate_index", "law"})->ArgsProduct({{0, 1, 2, 3}, {zinPcmLinear, zinPcmALaw}})
    ->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
