// The G.729 front end per 10 ms frame (high-pass filter, windowed
// autocorrelation, lag window, Levinson-Durbin, LP to LSP, LSP quantisation)
// on the speech sample: this library against bcg729's own front end in the
// same run. Items are frames; front-end channels per core = frames/s / 100.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "wav.h"
#include "zinsc.h"

// bcg729's internal functions (global symbols of libbcg729.a), declared from
// its sources; the channel context stays opaque.
extern "C" {
struct bcg729EncoderChannelContextStruct_struct;
typedef struct bcg729EncoderChannelContextStruct_struct bcg729Ctx;
bcg729Ctx* initBcg729EncoderChannel(uint8_t enableVAD);
void closeBcg729EncoderChannel(bcg729Ctx* ctx);
void preProcessing(bcg729Ctx* ctx, const int16_t signal[], int16_t preProcessedSignal[]);
void computeLP(int16_t signal[], int16_t LPCoefficientsQ12[], int32_t reflectionCoefficients[],
               int32_t autoCorrelationCoefficients[], int32_t noLagAutocorrelationCoefficients[],
               int8_t* autoCorrelationCoefficientsScale, uint8_t autoCorrelationCoefficientsNumber);
int LP2LSPConversion(int16_t LPCoefficients[], int16_t LSPCoefficients[]);
void LSPQuantization(bcg729Ctx* ctx, int16_t LSPCoefficients[], int16_t qLSPCoefficients[], uint16_t parameters[]);
}

namespace {

const std::vector<int16_t>& speech() {
    static const std::vector<int16_t> pcm = zc::read_speech(std::string(ZINSC_SOURCE_DIR) + "/data/speech-8k.wav");
    return pcm;
}

constexpr Zin16s kPreCoef[6] = {4096, 7807, -3733, 1899, -3798, 1899};
constexpr Zin16s kLspStart[10] = {30000, 26000, 21000, 15000, 8000, 0, -8000, -15000, -21000, -26000};
constexpr Zin16s kFreqStart[10] = {2339, 4679, 7018, 9358, 11698, 14037, 16377, 18717, 21056, 23396};

void BM_FrontEnd_zinsc(benchmark::State& state) {
    const auto& pcm = speech();
    const std::size_t frames = pcm.size() / 80;
    int size = 0;
    zinsHighPassFilterSize_G729(&size);
    std::unique_ptr<unsigned char[]> mem(new unsigned char[size]);
    auto* hp = reinterpret_cast<ZinHighPassFilterState_G729*>(mem.get());
    uint32_t check = 0;
    for (auto _ : state) {
        zinsHighPassFilterInit_G729(kPreCoef, hp);
        Zin16s buf[240] = {}, lpc[11] = {4096}, lsp[10], prevLsp[10], freq[40], qlsp[10], code[2], rc[10], err, norm;
        Zin32s r[13];
        std::memcpy(prevLsp, kLspStart, sizeof prevLsp);
        for (int k = 0; k < 4; ++k) std::memcpy(freq + 10 * k, kFreqStart, sizeof kFreqStart);
        for (std::size_t f = 0; f < frames; ++f) {
            std::memcpy(buf + 160, pcm.data() + 80 * f, 160);
            zinsHighPassFilter_G729_16s_ISfs(buf + 160, 80, 12, hp);
            zinsAutoCorr_G729B(buf, &norm, r);
            zinsLagWindow_G729_32s_I(r + 1, 10);
            Zin16s a[11];
            if (zinsLevinsonDurbin_G729_32s16s(r, 10, a, rc, &err) == zinStsNoErr) std::memcpy(lpc, a, sizeof a);
            zinsLPCToLSP_G729_16s(lpc, prevLsp, lsp);
            std::memcpy(prevLsp, lsp, sizeof lsp);
            zinsLSPQuant_G729_16s(lsp, freq, qlsp, code);
            check += static_cast<uint16_t>(code[0]) + static_cast<uint16_t>(code[1]);
            std::memmove(buf, buf + 80, 320);
        }
    }
    benchmark::DoNotOptimize(check);
    state.SetItemsProcessed(state.iterations() * frames);
}

void BM_FrontEnd_bcg729(benchmark::State& state) {
    const auto& pcm = speech();
    const std::size_t frames = pcm.size() / 80;
    uint32_t check = 0;
    for (auto _ : state) {
        bcg729Ctx* ctx = initBcg729EncoderChannel(0);
        int16_t buf[240] = {}, lpc[11], lsp[10], prevLsp[10], qlsp[10];
        int32_t rc[10], ac[13], noLag[13];
        int8_t scale;
        uint16_t par[4];
        std::memcpy(prevLsp, kLspStart, sizeof prevLsp);
        for (std::size_t f = 0; f < frames; ++f) {
            preProcessing(ctx, pcm.data() + 80 * f, buf + 160);
            computeLP(buf, lpc, rc, ac, noLag, &scale, 11);
            if (!LP2LSPConversion(lpc, lsp)) std::memcpy(lsp, prevLsp, sizeof lsp);
            std::memcpy(prevLsp, lsp, sizeof lsp);
            LSPQuantization(ctx, lsp, qlsp, par);
            check += par[0] + par[1];
            std::memmove(buf, buf + 80, 320);
        }
        closeBcg729EncoderChannel(ctx);
    }
    benchmark::DoNotOptimize(check);
    state.SetItemsProcessed(state.iterations() * frames);
}

BENCHMARK(BM_FrontEnd_zinsc);
BENCHMARK(BM_FrontEnd_bcg729);

}  // namespace
