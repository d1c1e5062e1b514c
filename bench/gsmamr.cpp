// GSM-AMR open-loop pitch search per frame: this library's export against
// the reference's own weighting filter (Residu, Syn_filt) and search
// (ol_ltp, which runs Pitch_ol or Pitch_ol_wgh) on the same inputs, captured
// while the reference encoder codes the bundled speech at each mode.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "wav.h"
#include "zinsc.h"

#ifdef ZINSC_HAVE_OPENCORE_AMRNB
extern "C" {
typedef std::int16_t Word16;
typedef int Flag;
struct PeerOlWeight {
    Word16 old_T0_med, ada_w, wght_flg;
};
void* Encoder_Interface_init(int dtx);
void Encoder_Interface_exit(void* state);
int Encoder_Interface_Encode(void* state, int mode, const short* speech, unsigned char* out, int forceSpeech);
void Weight_Ai(Word16 a[], const Word16 fac[], Word16 a_exp[]);
void Residu(Word16 coef_ptr[], Word16 input_ptr[], Word16 residual_ptr[], Word16 input_len);
void Syn_filt(Word16 a[], Word16 x[], Word16 y[], Word16 lg, Word16 mem[], Word16 update);
void ol_ltp(PeerOlWeight* st, void* vadSt, int mode, Word16 wsp[], Word16* T_op, Word16 old_lags[],
            Word16 ol_gain_flg[], Word16 idx, Flag dtx, Flag* pOverflow);
void __real_cbsearch(Word16 x[], Word16 h[], Word16 T0, Word16 pitch_sharp, Word16 gain_pit, Word16 res2[],
                     Word16 code[], Word16 y[], Word16** anap, int mode, Word16 subNr, void* tbls, Flag* pOverflow);
void __real_pre_big(int mode, const Word16 gamma1[], const Word16 gamma1_12k2[], const Word16 gamma2[],
                    Word16 A_t[], Word16 frameOffset, Word16 speech[], Word16 mem_w[], Word16 wsp[], Flag* pOverflow);
}

namespace {

struct Frame {
    Word16 num[44], den[44], speech[170], hist[143];
};
std::vector<Frame>* g_capture = nullptr;

struct Sub {
    Word16 x[40], h[40], res[40], T0, sharp, gainPit, subNr;
    int mode;
    void* tbls;
};
std::vector<Sub>* g_subs = nullptr;

}  // namespace

extern "C" void __wrap_pre_big(int mode, const Word16 g1[], const Word16 g1_122[], const Word16 g2[], Word16 A_t[],
                               Word16 frameOffset, Word16 speech[], Word16 mem_w[], Word16 wsp[], Flag* pOverflow) {
    if (g_capture && frameOffset == 0) {
        Frame f;
        for (int sf = 0; sf < 4; ++sf) {
            Weight_Ai(A_t + 11 * sf, mode <= 5 ? g1 : g1_122, f.num + 11 * sf);
            Weight_Ai(A_t + 11 * sf, g2, f.den + 11 * sf);
        }
        std::memcpy(f.speech, speech - 10, sizeof f.speech);
        std::memcpy(f.hist, wsp - 143, sizeof f.hist);
        g_capture->push_back(f);
    }
    __real_pre_big(mode, g1, g1_122, g2, A_t, frameOffset, speech, mem_w, wsp, pOverflow);
}

extern "C" void __wrap_cbsearch(Word16 x[], Word16 h[], Word16 T0, Word16 pitch_sharp, Word16 gain_pit,
                                Word16 res2[], Word16 code[], Word16 y[], Word16** anap, int mode, Word16 subNr,
                                void* tbls, Flag* pOverflow) {
    if (g_subs && g_subs->size() < 1600) {
        Sub s;
        std::memcpy(s.x, x, sizeof s.x);
        std::memcpy(s.h, h, sizeof s.h);
        std::memcpy(s.res, res2, sizeof s.res);
        s.T0 = T0;
        s.sharp = pitch_sharp;
        s.gainPit = gain_pit;
        s.subNr = subNr;
        s.mode = mode;
        s.tbls = tbls;
        g_subs->push_back(s);
    }
    __real_cbsearch(x, h, T0, pitch_sharp, gain_pit, res2, code, y, anap, mode, subNr, tbls, pOverflow);
}

namespace {

constexpr int kCbRates[] = {0, 1, 3, 6, 7, 8, 11, 12};

const std::vector<Sub>& subframes(int mode) {
    static std::vector<Sub> cache[8];
    if (cache[mode].empty()) {
        const auto pcm = zc::read_speech(std::string(ZINSC_SOURCE_DIR) + "/data/speech-8k.wav");
        void* enc = Encoder_Interface_init(0);
        unsigned char out[64];
        g_subs = &cache[mode];
        for (std::size_t f = 0; f + 160 <= pcm.size() && cache[mode].size() < 1600; f += 160)
            Encoder_Interface_Encode(enc, mode, pcm.data() + f, out, 0);
        g_subs = nullptr;
        // The encoder stays: the captured table pointers point into it.
    }
    return cache[mode];
}

void BM_CodebookSearch_zinsc(benchmark::State& state) {
    const int mode = static_cast<int>(state.range(0));
    const auto& subs = subframes(mode);
    Zin16s h[40], code[40], y[40], prm[10];
    for (auto _ : state) {
        for (const Sub& s : subs) {
            std::memcpy(h, s.h, sizeof h);
            zinsAlgebraicCodebookSearch_GSMAMR_16s(s.T0, mode == 7 ? s.gainPit : s.sharp, s.x, s.res, h, code, y, prm,
                                                   s.subNr, static_cast<ZinSpeechBitrate>(kCbRates[mode]));
            benchmark::DoNotOptimize(prm);
        }
    }
    state.SetItemsProcessed(state.iterations() * subs.size());
    state.SetLabel("sub-frames/s, rate code " + std::to_string(kCbRates[mode]));
}

void BM_CodebookSearch_opencore(benchmark::State& state) {
    const int mode = static_cast<int>(state.range(0));
    const auto& subs = subframes(mode);
    Word16 x[40], h[80] = {}, res[40], code[40], y[40], prm[10];
    Flag ov = 0;
    for (auto _ : state) {
        for (const Sub& s : subs) {
            std::memcpy(x, s.x, sizeof x);
            std::memcpy(h + 40, s.h, sizeof s.h);  // the reference reads zeros before the response
            std::memcpy(res, s.res, sizeof res);
            Word16* p = prm;
            __real_cbsearch(x, h + 40, s.T0, s.sharp, s.gainPit, res, code, y, &p, mode, s.subNr, s.tbls, &ov);
            benchmark::DoNotOptimize(prm);
        }
    }
    state.SetItemsProcessed(state.iterations() * subs.size());
    state.SetLabel("sub-frames/s, rate code " + std::to_string(kCbRates[mode]));
}

BENCHMARK(BM_CodebookSearch_zinsc)->DenseRange(0, 7);
BENCHMARK(BM_CodebookSearch_opencore)->DenseRange(0, 7);

constexpr int kModes[] = {0, 4, 6, 7};       // 4.75, 7.4, 10.2, 12.2 kbit/s
constexpr int kRates[] = {0, 7, 11, 12};

const std::vector<Frame>& frames(int mode) {
    static std::vector<Frame> cache[8];
    if (cache[mode].empty()) {
        const auto pcm = zc::read_speech(std::string(ZINSC_SOURCE_DIR) + "/data/speech-8k.wav");
        void* enc = Encoder_Interface_init(0);
        unsigned char out[64];
        g_capture = &cache[mode];
        for (std::size_t f = 0; f + 160 <= pcm.size() && cache[mode].size() < 400; f += 160)
            Encoder_Interface_Encode(enc, mode, pcm.data() + f, out, 0);
        g_capture = nullptr;
        Encoder_Interface_exit(enc);
    }
    return cache[mode];
}

void BM_OpenLoop_zinsc(benchmark::State& state) {
    const int mode = kModes[state.range(0)], rate = kRates[state.range(0)];
    const auto& fr = frames(mode);
    Zin16s median = 40, weight = 0, oldLags[5] = {40, 40, 40, 40, 40}, hist[143], lags[2], flags[2];
    for (auto _ : state) {
        for (const Frame& f : fr) {
            std::memcpy(hist, f.hist, sizeof hist);
            zinsOpenLoopPitchSearchNonDTX_GSMAMR_16s(f.num, f.den, f.speech, &median, &weight, oldLags, hist, lags,
                                                     flags, static_cast<ZinSpeechBitrate>(rate));
            benchmark::DoNotOptimize(lags);
        }
    }
    state.SetItemsProcessed(state.iterations() * fr.size());
    state.SetLabel("frames/s, rate code " + std::to_string(rate));
}

void BM_OpenLoop_opencore(benchmark::State& state) {
    const int mode = kModes[state.range(0)], rate = kRates[state.range(0)];
    const auto& fr = frames(mode);
    PeerOlWeight st{40, 0, 0};
    Word16 oldLags[5] = {40, 40, 40, 40, 40}, gain[2] = {0, 0}, T_op[2];
    Word16 wsp[143 + 160];
    Flag ov = 0;
    for (auto _ : state) {
        for (const Frame& f : fr) {
            Frame g = f;  // the reference's filters take non-const pointers
            std::memcpy(wsp, f.hist, sizeof f.hist);
            for (int sf = 0; sf < 4; ++sf) {
                Residu(g.num + 11 * sf, g.speech + 10 + 40 * sf, wsp + 143 + 40 * sf, 40);
                Syn_filt(g.den + 11 * sf, wsp + 143 + 40 * sf, wsp + 143 + 40 * sf, 40, wsp + 133 + 40 * sf, 0);
            }
            if (mode <= 1) {
                ol_ltp(&st, nullptr, mode, wsp + 143, &T_op[0], oldLags, gain, 1, 0, &ov);
            } else {
                ol_ltp(&st, nullptr, mode, wsp + 143, &T_op[0], oldLags, gain, 0, 0, &ov);
                ol_ltp(&st, nullptr, mode, wsp + 223, &T_op[1], oldLags, gain, 1, 0, &ov);
            }
            benchmark::DoNotOptimize(T_op);
        }
    }
    state.SetItemsProcessed(state.iterations() * fr.size());
    state.SetLabel("frames/s, rate code " + std::to_string(rate));
}

BENCHMARK(BM_OpenLoop_zinsc)->DenseRange(0, 3);
BENCHMARK(BM_OpenLoop_opencore)->DenseRange(0, 3);

}  // namespace
#endif
