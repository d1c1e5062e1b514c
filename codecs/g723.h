// ITU-T G.723.1 dual-rate speech codec (6.3 kbit/s MP-MLQ, 5.3 kbit/s
// ACELP), the caller's side: the frame loop, the filters and memories around
// the library's _G723 analysis and search exports, and the standard's packed
// frames (24, 20, 4 or 1 bytes, the size code in the low two bits of the
// first byte; also the RFC 3551 payload).
#pragma once

#include <cstdint>

namespace zc::g723 {

inline constexpr int kFrameSamples = 240;

struct EncoderState {
    bool rate63 = true;        // 6.3 kbit/s, else 5.3 kbit/s
    int32_t hp[2];             // DC removal: previous input, previous output
    int16_t sine;              // sine detector history (bit 15: the vote)
    int16_t prev_speech[120];  // the last two subframes of the previous input
    int16_t prev_lsp[10];      // decoded LSPs of the previous frame
    int16_t wfir[10], wiir[10];          // formant weighting filter
    int16_t prev_weighted[145];          // weighted speech history
    int16_t pfir[10], piir[10];          // combined synthesis and weighting filter
    int16_t harmonic[145];               // its output history
    int16_t prev_exc[145];               // excitation history
    int32_t errors[5];                   // taming: error of each 30-sample zone
    int16_t acelp_budget;                // 5.3 kbit/s search budget
    void reset(bool rate63);
};

// One frame of 240 samples to its packed frame; returns the size in bytes.
int encode_frame(EncoderState& st, const int16_t* pcm, uint8_t* frame);

// Size in bytes of the frame whose first byte is `first`: 24, 20, 4 or 1.
inline int frame_size(uint8_t first) {
    static constexpr int kSize[4] = {24, 20, 4, 1};
    return kSize[first & 3];
}

struct DecoderState {
    bool postfilter = true;
    int16_t prev_lsp[10], sid_lsp[10];
    int16_t exc[145 + 240 + 4];   // excitation: 145 of history, the frame, room for ACELP pulses past it
    int16_t prev_exc[145];
    int16_t audio[10 + 145 + 240];  // synthesis memory and frame; also the scaled excitation
    int16_t synth[10];
    int16_t pf_fir[10];
    int32_t pf_iir[10];
    int32_t reflection, pf_gain;
    int erased, interp_index, interp_gain, seed, cng_seed, sid_gain, cur_gain;
    int past_type;  // 0 speech, 1 SID, 2 untransmitted
    bool rate63;
    void reset(bool postfilter);
};

// One frame (or an erasure, `frame` ignored) to 240 samples.
void decode_frame(DecoderState& st, const uint8_t* frame, bool erased, int16_t* pcm);

}  // namespace zc::g723
