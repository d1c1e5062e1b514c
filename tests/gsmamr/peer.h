// The GSM-AMR peer: the TS 26.073 fixed-point reference as opencore-amr ships
// it in its static archive. Its prototypes and state layouts are declared
// here from the opencore-amr 0.1.6 sources, with the sizes they must have;
// the test never includes the peer's headers.
#pragma once

#include <cstdint>

extern "C" {

typedef std::int16_t Word16;
typedef std::int32_t Word32;
typedef int Flag;

enum PeerMode { kMR475 = 0, kMR515, kMR59, kMR67, kMR74, kMR795, kMR102, kMR122, kMRDTX };

// vad1.h: vadState1
struct PeerVad1 {
    Word16 bckr_est[9];
    Word16 ave_level[9];
    Word16 old_level[9];
    Word16 sub_level[9];
    Word16 a_data5[3][2];
    Word16 a_data3[5];
    Word16 burst_count, hang_count, stat_count;
    Word16 vadreg, pitch, tone, complex_high, complex_low;
    Word16 oldlag_count, oldlag;
    Word16 complex_hang_count, complex_hang_timer;
    Word16 best_corr_hp, speech_vad_decision, complex_warning, sp_burst_count, corr_hp_fast;
};
static_assert(sizeof(PeerVad1) == 128);

// dtx_enc.h: dtx_encState
struct PeerDtxEnc {
    Word16 lsp_hist[80];
    Word16 log_en_hist[8];
    Word16 hist_ptr, log_en_index, init_lsf_vq_index, lsp_index[3];
    Word16 dtxHangoverCount, decAnaElapsedCount;
};
static_assert(sizeof(PeerDtxEnc) == 192);

// dtx_dec.h: dtx_decState
struct PeerDtxDec {
    Word16 since_last_sid, true_sid_period_inv, log_en, old_log_en;
    Word32 L_pn_seed_rx;
    Word16 lsp[10], lsp_old[10];
    Word16 lsf_hist[80];
    Word16 lsf_hist_ptr;
    Word16 lsf_hist_mean[80];
    Word16 log_pg_mean;
    Word16 log_en_hist[8];
    Word16 log_en_hist_ptr, log_en_adjust, dtxHangoverCount, decAnaElapsedCount;
    Word16 sid_frame, valid_data, dtxHangoverAdded;
    int dtxGlobalState;
    Word16 data_updated;
};
static_assert(sizeof(PeerDtxDec) == 416);

// q_plsf.h: Q_plsfState; gc_pred.h: gc_predState
struct PeerQPlsf { Word16 past_rq[10]; };
struct PeerGcPred { Word16 past_qua_en[4]; Word16 past_qua_en_MR122[4]; };

// interf_enc.h, interf_dec.h
void* Encoder_Interface_init(int dtx);
void Encoder_Interface_exit(void* state);
int Encoder_Interface_Encode(void* state, int mode, const short* speech, unsigned char* out, int forceSpeech);
void* Decoder_Interface_init(void);
void Decoder_Interface_exit(void* state);
void Decoder_Interface_Decode(void* state, const unsigned char* in, short* out, int bfi);

// The reference's internal functions, reached through -Wl,--wrap.
Word16 __real_vad1(PeerVad1* st, Word16 in_buf[], Flag* pOverflow);
Word16 __real_tx_dtx_handler(PeerDtxEnc* st, Word16 vad_flag, int* usedMode, Flag* pOverflow);
void __real_dtx_buffer(PeerDtxEnc* st, Word16 lsp_new[], Word16 speech[], Flag* pOverflow);
void __real_dtx_enc(PeerDtxEnc* st, Word16 computeSidFlag, PeerQPlsf* qSt, PeerGcPred* predState, Word16** anap,
                    Flag* pOverflow);
void __real_dtx_dec_activity_update(PeerDtxDec* st, Word16 lsf[], Word16 frame[], Flag* pOverflow);

void __real_decode_2i40_9bits(Word16 subNr, Word16 sign, Word16 index, const Word16* startPos, Word16 cod[],
                              Flag* pOverflow);
void __real_decode_2i40_11bits(Word16 sign, Word16 index, Word16 cod[]);
void __real_decode_3i40_14bits(Word16 sign, Word16 index, Word16 cod[]);
void __real_decode_4i40_17bits(Word16 sign, Word16 index, const Word16* dgray, Word16 cod[]);
void __real_dec_8i40_31bits(Word16 index[], Word16 cod[], Flag* pOverflow);
void __real_dec_10i40_35bits(Word16 index[], Word16 cod[], const Word16* dgray);

void __real_cbsearch(Word16 x[], Word16 h[], Word16 T0, Word16 pitch_sharp, Word16 gain_pit, Word16 res2[],
                     Word16 code[], Word16 y[], Word16** anap, int mode, Word16 subNr, void* tbls, Flag* pOverflow);

}  // extern "C"
