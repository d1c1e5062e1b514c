// The GSM-AMR exports against the reference's own functions, captured while
// the whole reference encoder codes generated speech at every mode, DTX on
// and off, and its decoder decodes every stream.
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

#include "capture.h"
#include "ol_capture.h"
#include "zinsc.h"

#ifdef ZINSC_HAVE_OPENCORE_AMRNB
#include "peer.h"

using amrcap::cap;
using amrcap::same;

namespace {

void to_ours(const PeerVad1& p, ZinGSMAMRVad1State& o) {
    for (int i = 0; i < 9; ++i) {
        o.subLevel[i] = p.sub_level[i];
        o.oldLevel[i] = p.old_level[i];
        o.aveLevel[i] = p.ave_level[i];
        o.bckrEst[i] = p.bckr_est[i];
    }
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 2; ++j) o.aData5[i][j] = p.a_data5[i][j];
    for (int i = 0; i < 5; ++i) o.aData3[i] = p.a_data3[i];
    o.burstCount = p.burst_count;
    o.hangCount = p.hang_count;
    o.statCount = p.stat_count;
    o.vadReg = p.vadreg;
    o.complexHigh = p.complex_high;
    o.complexLow = p.complex_low;
    o.complexHangTimer = p.complex_hang_timer;
    o.complexHangCount = p.complex_hang_count;
    o.complexWarning = p.complex_warning;
    o.corrHpFast = p.corr_hp_fast;
    o.pitch = p.pitch;
}

const Zin16s* words(const ZinGSMAMRVad1State& s) { return reinterpret_cast<const Zin16s*>(&s); }

}  // namespace

extern "C" Word16 __wrap_vad1(PeerVad1* st, Word16 in_buf[], Flag* pOverflow) {
    if (!cap().active) return __real_vad1(st, in_buf, pOverflow);
    cap().calls["vad1"]++;
    auto ours = std::make_unique<ZinGSMAMRVad1State>();
    to_ours(*st, *ours);
    const std::vector<Zin16s> src(in_buf - 40, in_buf + 160);
    const Zin16s maxHpCorr = st->best_corr_hp, tone = st->tone;
    const Word16 flag = __real_vad1(st, in_buf, pOverflow);
    cap().calls[flag ? "vad1 speech" : "vad1 noise"]++;
    auto ourFlag = std::make_unique<Zin16s>(-1);
    const ZinStatus s = zinsVAD1_GSMAMR_16s(src.data(), ours.get(), ourFlag.get(), maxHpCorr, tone);
    ZinGSMAMRVad1State expect;
    to_ours(*st, expect);
    if (s != zinStsNoErr) cap().mismatch("vad1", "status " + std::to_string(s));
    same("vad1", "flag", &flag, ourFlag.get(), 1);
    same("vad1", "state", words(expect), words(*ours), 58);
    return flag;
}

extern "C" Word16 __wrap_tx_dtx_handler(PeerDtxEnc* st, Word16 vad_flag, int* usedMode, Flag* pOverflow) {
    if (!cap().active) return __real_tx_dtx_handler(st, vad_flag, usedMode, pOverflow);
    cap().calls["tx_dtx_handler"]++;
    auto io = std::make_unique<Zin16s[]>(4);  // hang, elapsed, rate, sid
    io[0] = st->dtxHangoverCount;
    io[1] = st->decAnaElapsedCount;
    io[2] = static_cast<Zin16s>(amrcap::rate_code(*usedMode));
    io[3] = -1;
    const Word16 sid = __real_tx_dtx_handler(st, vad_flag, usedMode, pOverflow);
    const ZinStatus s = zinsEncDTXHandler_GSMAMR_16s(&io[0], &io[1], &io[2], &io[3], vad_flag);
    const Zin16s expect[4] = {st->dtxHangoverCount, st->decAnaElapsedCount,
                              static_cast<Zin16s>(amrcap::rate_code(*usedMode)), sid};
    if (s != zinStsNoErr) cap().mismatch("tx_dtx_handler", "status " + std::to_string(s));
    same("tx_dtx_handler", "hang/elapsed/rate/sid", expect, io.get(), 4);
    if (sid) cap().calls["tx_dtx_handler sid"]++;
    return sid;
}

extern "C" void __wrap_dtx_buffer(PeerDtxEnc* st, Word16 lsp_new[], Word16 speech[], Flag* pOverflow) {
    if (!cap().active) return __real_dtx_buffer(st, lsp_new, speech, pOverflow);
    cap().calls["dtx_buffer"]++;
    const std::vector<Zin16s> src(speech, speech + 160), lsp(lsp_new, lsp_new + 10);
    std::vector<Zin16s> lspHist(st->lsp_hist, st->lsp_hist + 80), logEn(st->log_en_hist, st->log_en_hist + 8);
    auto ptr = std::make_unique<Zin16s>(st->hist_ptr);
    __real_dtx_buffer(st, lsp_new, speech, pOverflow);
    const ZinStatus s = zinsEncDTXBuffer_GSMAMR_16s(src.data(), lsp.data(), ptr.get(), lspHist.data(), logEn.data());
    if (s != zinStsNoErr) cap().mismatch("dtx_buffer", "status " + std::to_string(s));
    same("dtx_buffer", "histPtr", &st->hist_ptr, ptr.get(), 1);
    same("dtx_buffer", "lspHist", st->lsp_hist, lspHist.data(), 80);
    same("dtx_buffer", "logEnHist", st->log_en_hist, logEn.data(), 8);
}

extern "C" void __wrap_dtx_enc(PeerDtxEnc* st, Word16 computeSidFlag, PeerQPlsf* qSt, PeerGcPred* predState,
                               Word16** anap, Flag* pOverflow) {
    if (!cap().active) return __real_dtx_enc(st, computeSidFlag, qSt, predState, anap, pOverflow);
    cap().calls["dtx_enc"]++;
    const bool computes = computeSidFlag != 0 || st->log_en_index == 0;
    const std::vector<Zin16s> lspHist(st->lsp_hist, st->lsp_hist + 80), logEn(st->log_en_hist, st->log_en_hist + 8);
    // logEnIndex, initLsfIndex, lsfIndices[3], pastQuaEn[4], pastQuaEn122[4]
    auto out = std::make_unique<Zin16s[]>(13);
    for (int i = 0; i < 13; ++i) out[i] = -7;
    const Zin16s before[8] = {predState->past_qua_en[0], predState->past_qua_en[1], predState->past_qua_en[2],
                              predState->past_qua_en[3], predState->past_qua_en_MR122[0],
                              predState->past_qua_en_MR122[1], predState->past_qua_en_MR122[2],
                              predState->past_qua_en_MR122[3]};
    __real_dtx_enc(st, computeSidFlag, qSt, predState, anap, pOverflow);
    const ZinStatus s = zinsEncDTXSID_GSMAMR_16s(lspHist.data(), logEn.data(), &out[0], &out[1], &out[2], &out[5],
                                                 &out[9], computes ? 1 : 0);
    if (s != zinStsNoErr) cap().mismatch("dtx_enc", "status " + std::to_string(s));
    if (computes) {
        cap().calls["dtx_enc sid"]++;
        const Zin16s expect[13] = {st->log_en_index, st->init_lsf_vq_index, st->lsp_index[0], st->lsp_index[1],
                                   st->lsp_index[2], predState->past_qua_en[0], predState->past_qua_en[1],
                                   predState->past_qua_en[2], predState->past_qua_en[3],
                                   predState->past_qua_en_MR122[0], predState->past_qua_en_MR122[1],
                                   predState->past_qua_en_MR122[2], predState->past_qua_en_MR122[3]};
        same("dtx_enc", "sid", expect, out.get(), 13);
    } else {
        const Zin16s untouched[13] = {-7, -7, -7, -7, -7, -7, -7, -7, -7, -7, -7, -7, -7};
        same("dtx_enc", "untouched", untouched, out.get(), 13);
        (void)before;
    }
}

extern "C" void __wrap_dtx_dec_activity_update(PeerDtxDec* st, Word16 lsf[], Word16 frame[], Flag* pOverflow) {
    if (!cap().active) return __real_dtx_dec_activity_update(st, lsf, frame, pOverflow);
    cap().calls["dtx_dec_activity_update"]++;
    if (st->lsf_hist_ptr != st->log_en_hist_ptr * 10)
        cap().mismatch("dtx_dec_activity_update", "the peer's two history pointers part");
    const std::vector<Zin16s> src(frame, frame + 160), lsfIn(lsf, lsf + 10);
    std::vector<Zin16s> lsfHist(st->lsf_hist, st->lsf_hist + 80), logEn(st->log_en_hist, st->log_en_hist + 8);
    auto ptr = std::make_unique<Zin16s>(st->log_en_hist_ptr);
    __real_dtx_dec_activity_update(st, lsf, frame, pOverflow);
    const ZinStatus s = zinsDecDTXBuffer_GSMAMR_16s(src.data(), lsfIn.data(), ptr.get(), lsfHist.data(), logEn.data());
    if (s != zinStsNoErr) cap().mismatch("dtx_dec_activity_update", "status " + std::to_string(s));
    same("dtx_dec_activity_update", "histPtr", &st->log_en_hist_ptr, ptr.get(), 1);
    same("dtx_dec_activity_update", "lsfHist", st->lsf_hist, lsfHist.data(), 80);
    same("dtx_dec_activity_update", "logEnHist", st->log_en_hist, logEn.data(), 8);
}

namespace {

struct Vad1Access {
    static constexpr int kOption = 1;
    PeerVad1* v;
    Zin16s tone() const { return v->tone; }
    Zin16s hp() const { return v->best_corr_hp; }
    Zin32s rmax() const { return 0; }
    Zin32s r0() const { return 0; }
};

}  // namespace

extern "C" void __wrap_pre_big(int mode, const Word16 gamma1[], const Word16 gamma1_12k2[], const Word16 gamma2[],
                               Word16 A_t[], Word16 frameOffset, Word16 speech[], Word16 mem_w[], Word16 wsp[],
                               Flag* pOverflow) {
    if (cap().active) amrcap::ol_pre_big(mode, gamma1, gamma1_12k2, gamma2, A_t, frameOffset, speech, mem_w, wsp);
    __real_pre_big(mode, gamma1, gamma1_12k2, gamma2, A_t, frameOffset, speech, mem_w, wsp, pOverflow);
}

extern "C" void __wrap_ol_ltp(PeerOlWeight* st, void* vadSt, int mode, Word16 wsp[], Word16* T_op,
                              Word16 old_lags[], Word16 ol_gain_flg[], Word16 idx, Flag dtx, Flag* pOverflow) {
    if (!cap().active) return __real_ol_ltp(st, vadSt, mode, wsp, T_op, old_lags, ol_gain_flg, idx, dtx, pOverflow);
    Vad1Access a{static_cast<PeerVad1*>(vadSt)};
    amrcap::ol_before_search(st, old_lags, ol_gain_flg, a);
    __real_ol_ltp(st, vadSt, mode, wsp, T_op, old_lags, ol_gain_flg, idx, dtx, pOverflow);
    amrcap::ol_after_search(st, T_op, old_lags, ol_gain_flg, idx, dtx, mode <= 1 || idx == 1, a);
}

extern "C" Word16 __wrap_hp_max(Word32 corr[], Word16 scal_sig[], Word16 L_frame, Word16 lag_max, Word16 lag_min,
                                Word16* cor_hp_max, Flag* pOverflow) {
    const Word16 r = __real_hp_max(corr, scal_sig, L_frame, lag_max, lag_min, cor_hp_max, pOverflow);
    if (cap().active) amrcap::ol_hp_max(corr, scal_sig, L_frame, lag_max, lag_min, *cor_hp_max);
    return r;
}

namespace {

// One decoded innovation against the export, the rate told by the function.
void compare_decode(const char* fn, const std::vector<Zin16s>& params, int subframe, int rate, const Word16* cod) {
    cap().calls[fn]++;
    std::vector<Zin16s> ours(40, 12345);
    const ZinStatus s = zinsFixedCodebookDecode_GSMAMR_16s(params.data(), ours.data(), subframe,
                                                           static_cast<ZinSpeechBitrate>(rate));
    if (s != zinStsNoErr) cap().mismatch(fn, "status " + std::to_string(s));
    same(fn, "code", cod, ours.data(), 40);
}

int g_subframe = 0;  // sub-frame of the 9-bit decode, which alone depends on it

}  // namespace

extern "C" void __wrap_decode_2i40_9bits(Word16 subNr, Word16 sign, Word16 index, const Word16* startPos,
                                         Word16 cod[], Flag* pOverflow) {
    __real_decode_2i40_9bits(subNr, sign, index, startPos, cod, pOverflow);
    if (cap().active) compare_decode("decode_2i40_9bits", {index, sign}, subNr, 0, cod);
}
extern "C" void __wrap_decode_2i40_11bits(Word16 sign, Word16 index, Word16 cod[]) {
    __real_decode_2i40_11bits(sign, index, cod);
    if (cap().active) compare_decode("decode_2i40_11bits", {index, sign}, g_subframe, 3, cod);
}
extern "C" void __wrap_decode_3i40_14bits(Word16 sign, Word16 index, Word16 cod[]) {
    __real_decode_3i40_14bits(sign, index, cod);
    if (cap().active) compare_decode("decode_3i40_14bits", {index, sign}, g_subframe, 6, cod);
}
extern "C" void __wrap_decode_4i40_17bits(Word16 sign, Word16 index, const Word16* dgray, Word16 cod[]) {
    __real_decode_4i40_17bits(sign, index, dgray, cod);
    if (cap().active) compare_decode("decode_4i40_17bits", {index, sign}, g_subframe, 8, cod);
}
extern "C" void __wrap_dec_8i40_31bits(Word16 index[], Word16 cod[], Flag* pOverflow) {
    const std::vector<Zin16s> params(index, index + 7);
    __real_dec_8i40_31bits(index, cod, pOverflow);
    if (cap().active) compare_decode("dec_8i40_31bits", params, g_subframe, 11, cod);
}
extern "C" void __wrap_dec_10i40_35bits(Word16 index[], Word16 cod[], const Word16* dgray) {
    const std::vector<Zin16s> params(index, index + 10);
    __real_dec_10i40_35bits(index, cod, dgray);
    if (cap().active) compare_decode("dec_10i40_35bits", params, g_subframe, 12, cod);
}

extern "C" void __wrap_cbsearch(Word16 x[], Word16 h[], Word16 T0, Word16 pitch_sharp, Word16 gain_pit,
                                Word16 res2[], Word16 code[], Word16 y[], Word16** anap, int mode, Word16 subNr,
                                void* tbls, Flag* pOverflow) {
    if (!cap().active) return __real_cbsearch(x, h, T0, pitch_sharp, gain_pit, res2, code, y, anap, mode, subNr, tbls, pOverflow);
    const std::vector<Zin16s> target(x, x + 40), residual(res2, res2 + 40);
    std::vector<Zin16s> impulse(h, h + 40), ourCode(40, 7), filtered(40, 7);
    const int words = mode == kMR102 ? 7 : (mode == kMR122 ? 10 : 2);
    std::vector<Zin16s> params(words, 7);
    Word16* prm = *anap;
    __real_cbsearch(x, h, T0, pitch_sharp, gain_pit, res2, code, y, anap, mode, subNr, tbls, pOverflow);
    const int rate = amrcap::rate_code(mode);
    const std::string fn = "cbsearch rate " + std::to_string(rate);
    cap().calls[fn]++;
    const Zin16s gain = mode == kMR122 ? gain_pit : pitch_sharp;
    ZinStatus s;
    if (cap().calls[fn] % 2) {
        s = zinsAlgebraicCodebookSearch_GSMAMR_16s(T0, gain, target.data(), residual.data(), impulse.data(),
                                                   ourCode.data(), filtered.data(), params.data(), subNr,
                                                   static_cast<ZinSpeechBitrate>(rate));
    } else {
        auto scratch = std::make_unique<unsigned char[]>(16896);
        s = zinsAlgebraicCodebookSearchEX_GSMAMR_16s(T0, gain, target.data(), residual.data(), impulse.data(),
                                                     ourCode.data(), filtered.data(), params.data(), subNr,
                                                     static_cast<ZinSpeechBitrate>(rate), scratch.get() + 3);
    }
    if (s != zinStsNoErr) cap().mismatch(fn, "status " + std::to_string(s));
    same(fn.c_str(), "impulse", h, impulse.data(), 40);
    same(fn.c_str(), "code", code, ourCode.data(), 40);
    same(fn.c_str(), "filtered", y, filtered.data(), 40);
    same(fn.c_str(), "params", prm, params.data(), words);
    if (T0 < 40) cap().calls["cbsearch sharpened"]++;
}

namespace {

// Codes the whole signal at each mode with the reference encoder and
// decodes it with the reference decoder, the captures running.
void run_peer(const std::vector<std::int16_t>& speech, bool dtx, std::initializer_list<int> modes) {
    auto out = std::make_unique<unsigned char[]>(64);
    auto pcm = std::make_unique<short[]>(160);
    for (int mode : modes) {
        void* enc = Encoder_Interface_init(dtx ? 1 : 0);
        void* dec = Decoder_Interface_init();
        cap().active = true;
        cap().dtx = dtx;
        for (std::size_t f = 0; f + 160 <= speech.size(); f += 160) {
            cap().rateCode = amrcap::rate_code(mode);
            const int n = Encoder_Interface_Encode(enc, mode, speech.data() + f, out.get(), 0);
            if (n > 0) Decoder_Interface_Decode(dec, out.get(), pcm.get(), 0);
        }
        cap().active = false;
        Encoder_Interface_exit(enc);
        Decoder_Interface_exit(dec);
    }
}

std::string report() {
    std::string r;
    for (const auto& [fn, n] : cap().calls) r += "  " + fn + ": " + std::to_string(n) + " calls\n";
    for (const auto& s : cap().reports) r += "  " + s + "\n";
    return r;
}

class GsmAmrPeer : public ::testing::Test {
protected:
    void SetUp() override {
        speech_ = amrcap::speech_signal();
        if (speech_.size() < 8000 * 60) GTEST_SKIP() << "no generated speech in " ZINSC_AMR_SPEECH_DIR
                                                        " (espeak-ng and sox make it at configure time)";
        cap().reset();
    }
    std::vector<std::int16_t> speech_;
};

TEST_F(GsmAmrPeer, Vad1AndDtxAtEveryModeWithDtxOn) {
    run_peer(speech_, true, {kMR475, kMR515, kMR59, kMR67, kMR74, kMR795, kMR102, kMR122});
    const long frames = static_cast<long>(speech_.size() / 160) * 8;
    EXPECT_TRUE(cap().mismatches.empty()) << report();
    EXPECT_EQ(cap().calls["vad1"], frames) << report();
    EXPECT_EQ(cap().calls["tx_dtx_handler"], frames) << report();
    EXPECT_EQ(cap().calls["dtx_buffer"], frames) << report();
    EXPECT_GT(cap().calls["vad1 speech"], frames / 4) << report();
    EXPECT_GT(cap().calls["vad1 noise"], frames / 20) << report();
    EXPECT_GT(cap().calls["tx_dtx_handler sid"], 40) << report();
    EXPECT_GT(cap().calls["dtx_enc sid"], 100) << report();
    EXPECT_GT(cap().calls["dtx_enc"], cap().calls["dtx_enc sid"]) << report();
    EXPECT_GT(cap().calls["dtx_dec_activity_update"], frames / 2) << report();
    EXPECT_EQ(cap().calls["ol DTXVAD1"], frames) << report();
    EXPECT_GT(cap().calls["ol tone"], 100) << report();
    // maxHpCorr keeps the low bits of its quotient: equal to the statement
    // everywhere, it parts from the reference by one step in some frames.
    EXPECT_GT(cap().calls["ol maxHpCorr departs by the kept low bits"], 0) << report();
    EXPECT_GT(cap().calls["ol weighted voiced halves"], 200) << report();
    if (std::getenv("ZINSC_AMR_REPORT")) std::printf("%s", report().c_str());
}

TEST_F(GsmAmrPeer, OpenLoopSearchAtEveryModeWithDtxOff) {
    run_peer(speech_, false, {kMR475, kMR515, kMR59, kMR67, kMR74, kMR795, kMR102, kMR122});
    const long frames = static_cast<long>(speech_.size() / 160) * 8;
    EXPECT_TRUE(cap().mismatches.empty()) << report();
    EXPECT_EQ(cap().calls["ol NonDTX"], frames) << report();
    // Every sub-frame decoded, at each mode by its decoder.
    const long subframes = frames / 8 * 4;
    EXPECT_EQ(cap().calls["decode_2i40_9bits"], 2 * subframes) << report();
    EXPECT_EQ(cap().calls["decode_2i40_11bits"], subframes) << report();
    EXPECT_EQ(cap().calls["decode_3i40_14bits"], subframes) << report();
    EXPECT_EQ(cap().calls["decode_4i40_17bits"], 2 * subframes) << report();
    EXPECT_EQ(cap().calls["dec_8i40_31bits"], subframes) << report();
    EXPECT_EQ(cap().calls["dec_10i40_35bits"], subframes) << report();
    for (int rate : {0, 1, 3, 6, 7, 8, 11, 12})
        EXPECT_EQ(cap().calls["cbsearch rate " + std::to_string(rate)], subframes) << report();
    EXPECT_GT(cap().calls["cbsearch sharpened"], 1000) << report();
    EXPECT_GT(cap().calls["ol weighted voiced halves"], 200) << report();
    if (std::getenv("ZINSC_AMR_REPORT")) std::printf("%s", report().c_str());
}

}  // namespace

#else
TEST(GsmAmrPeer, Skipped) { GTEST_SKIP() << "libopencore-amrnb.a not found: the captures need the reference"; }
#endif
