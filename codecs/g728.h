// ITU-T G.728 LD-CELP at 16 kbit/s, the caller's side: the encoder and the
// decoder (with the post-filter and the Annex I frame-erasure concealment)
// assembled from the library's _G728 exports, vector by vector, as the
// fixed-point Annex G schedules them.
#pragma once

#include <cstdint>
#include <vector>

namespace zc::g728 {

inline constexpr int kVector = 5;          // samples per codeword
inline constexpr int kFrameVectors = 16;   // 10 ms, the concealment's frame

// Block-floating value: data * 2^-q.
struct Scaled {
    int16_t data;
    int16_t q;
};

class EncoderCore {
public:
    EncoderCore();
    // Five 16-bit samples (time order) to one 10-bit codeword.
    uint16_t encode(const int16_t* pcm);

private:
    void background();
    int16_t* filter() { return reinterpret_cast<int16_t*>(filter_.data()); }

    int count_ = 3;
    bool info_ = false;
    std::vector<unsigned char> filter_, weight_in_, win_lpc_, win_w_, win_g_;
    int16_t a_[50] = {}, atmp_[50] = {}, ja_[50] = {};
    int16_t r_[51] = {}, alpha_ = 0, qtmp_ = 15;
    int16_t gp_[10] = {};
    int16_t wcoef_[20] = {};       // weighting filter: 10 zeros, 10 poles (Q14)
    int16_t h_[5] = {};            // impulse response, newest first (Q13)
    int16_t energy_[128] = {};
    int16_t sbw_[20] = {};         // input for the weighting window, newest first
    int spos_ = 5;
    int16_t sbg_[34] = {};         // log-gains, newest first
    int gpos_ = 1;
    int16_t blocks_[20] = {};      // the adaptation cycle's decoded blocks
    int16_t bq_[4] = {};
};

class DecoderCore {
public:
    explicit DecoderCore(bool postfilter);
    // One codeword to five samples (time order).
    void decode(uint16_t codeword, int16_t* pcm);
    // Marks the 10 ms frame that starts with the next adaptation cycle as
    // erased: its codewords are ignored and concealed. Needs the post-filter.
    void erase_next_frame() { erase_next_ = true; }

private:
    void background();
    void postfilter(const int16_t* blk, int16_t bq, int16_t* ws);
    void erased_setup(int msec10);
    Scaled erased_excitation(int16_t* et, int16_t& gaindb);
    void keep_excitation(const int16_t* et, int etq);
    int rand();
    int16_t* filter() { return reinterpret_cast<int16_t*>(filter_.data()); }

    bool postf_;
    int count_ = 3;
    bool info_ = false;
    std::vector<unsigned char> filter_, win_lpc_, win_g_, pf_, adapter_;
    int16_t a_[50] = {}, atmp_[50] = {}, ja_[50] = {};
    int16_t r_[51] = {}, alpha_ = 0, qtmp_ = 15;
    int16_t gp_[10] = {};
    int16_t sbg_[34] = {};
    int gpos_ = 1;
    int16_t blocks_[20] = {};
    int16_t bq_[4] = {};
    // post-filter
    int16_t apf_[10] = {};         // order-10 LPC for the inverse filter (Q14)
    int16_t pfc_[20] = {};         // short-term post-filter: zeros, poles (Q14)
    int16_t tilt_ = 0;
    int kp_ = 50;
    int16_t gl_ = 16384, glb_ = 0, tap_ = 0;
    int16_t scalefil_ = 16384;
    int16_t pitchd_[240] = {};     // LPC residual, newest first
    int resid_ = 10;
    std::vector<int16_t> speech_;  // decoded speech in time order: Q0 history, then the current Q2 vector
    std::size_t end_ = 240;
    // concealment
    bool erase_next_ = false;
    int adcount_ = 3;
    bool ferased_ = false;
    int fecount_ = 0, ofecount_ = 0;
    bool voiced_ = false;
    int fdelay_ = 0;
    int16_t etpast_[140] = {};     // excitation history (Q2), newest first
    int16_t fscale_ = 0, fscaleq_ = 15, fscaleavg_ = 0, fscaleavgq_ = 0;
    int16_t ogaindb_ = 0;
    uint32_t rand_[17];
    int r1_ = 0, r2_ = 12;
};

// Whole streams, as the zinsc tool codes them. The ITU form holds one 16-bit
// little-endian word per codeword; the RFC 3551 form packs four codewords in
// five octets, most significant bit first.
std::vector<uint16_t> unpack_rfc3551(const uint8_t* data, std::size_t bytes);
void pack_rfc3551(const uint16_t* cw, std::size_t count, std::vector<uint8_t>& out);

}  // namespace zc::g728
