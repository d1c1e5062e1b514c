// GSM 06.10 full-rate speech codec (RPE-LTP, 13 kbit/s), the caller's side:
// frame-level encoder and decoder built on the library's _GSMFR filter
// blocks, and the two octet formats (33-octet frames with the 0xD signature
// nibble, and the 65-octet WAV49 pair).
#pragma once

#include <cstdint>

namespace zc::gsmfr {

inline constexpr int kFrameSamples = 160;
inline constexpr int kFrameOctets = 33;
inline constexpr int kPairOctets = 65;  // WAV49: two frames, 520 bits

// The 76 parameters of one frame (GSM 06.10 Table 1.1), as coded.
struct Params {
    int16_t LARc[8];
    int16_t Nc[4];
    int16_t bc[4];
    int16_t Mc[4];
    int16_t xmaxc[4];
    int16_t xMc[52];
};

// Encoder memories; all zero at the start of a stream but the two that
// reset() sets.
struct EncoderState {
    int32_t hp[2];          // offset compensation: z2, then z1 in the low half of hp[1] (six bytes used)
    int16_t mp;             // preemphasis: previous sample
    int16_t u[8];           // short-term analysis lattice
    int16_t LARpp_prev[8];  // decoded LARs of the previous frame
    int16_t dp[120];        // reconstructed short-term residual, d'[-120..-1]
    void reset();
};

struct DecoderState {
    int16_t v[8];           // short-term synthesis lattice
    int16_t LARpp_prev[8];
    int16_t drp[120];       // reconstructed short-term residual, d'[-120..-1]
    int16_t nrp;            // last valid LTP lag
    int16_t msr;            // deemphasis
    void reset();
};

// One frame of 160 samples to its parameters.
void encode_frame(EncoderState& st, const int16_t* pcm, Params& out);
// One frame of parameters to 160 samples.
void decode_frame(DecoderState& st, const Params& in, int16_t* pcm);

// 33 octets: the signature nibble 0xD, then the parameters MSB first.
void pack(const Params& p, uint8_t* frame);
// Returns false (and leaves `p` alone) when the signature nibble is not 0xD.
bool unpack(const uint8_t* frame, Params& p);
// WAV49: two frames in 65 octets, LSB first, no signature.
void pack_wav49(const Params& first, const Params& second, uint8_t* pair);
void unpack_wav49(const uint8_t* pair, Params& first, Params& second);

}  // namespace zc::gsmfr
