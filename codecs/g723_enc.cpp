// G.723.1 encoder on the library's _G723 exports (clauses 2.3 to 2.17).
#include <cstring>

#include "g723.h"
#include "g723_common.h"
#include "g723_tables.h"
#include "zinsc.h"

namespace zc::g723 {
namespace {

// LSB-first bit writer of the packed frames.
struct BitWriter {
    uint8_t* p;
    int pos = 0;
    void put(uint32_t v, int n) {
        for (int i = 0; i < n; ++i, ++pos) {
            if ((pos & 7) == 0) p[pos >> 3] = 0;
            p[pos >> 3] |= uint8_t(((v >> i) & 1) << (pos & 7));
        }
    }
};

// Pole-zero formant weighting of one subframe; src and dst carry 10 samples
// of history before index 0.
void weighting(const int16_t* zero, const int16_t* pole, const int16_t* src, int16_t* dst) {
    for (int m = 0; m < kSub; ++m) {
        int64_t acc = 0;
        for (int n = 1; n <= 10; ++n) acc += int64_t(pole[n - 1]) * dst[m - n] - int64_t(zero[n - 1]) * src[m - n];
        dst[m] = round_hi((int64_t(src[m]) << 16) + (acc << 3));
    }
}

// Synthesis through the quantised LPC followed by formant weighting, with
// the output scaled by 2^scale before the poles; fir/iir are the memories.
void synth_weight(const int16_t* lpc, const int16_t* zero, const int16_t* pole, int16_t* fir, int16_t* iir,
                  const int16_t* src, int16_t* dst, int scale) {
    int16_t s[kSub + 10];
    int64_t wide[kSub];
    int16_t out[kSub + 10];
    std::memcpy(s, fir, 10 * sizeof(int16_t));
    std::memcpy(out, iir, 10 * sizeof(int16_t));
    for (int i = 0; i < kSub; ++i) {
        int64_t acc = 0;
        for (int j = 1; j <= 10; ++j) acc -= int64_t(lpc[j - 1]) * s[10 + i - j];
        wide[i] = (int64_t(src[i]) << 15) + (acc << 3);
        s[10 + i] = round_hi(wide[i]);
    }
    for (int i = 0; i < kSub; ++i) {
        int64_t f = 0, p = 0;
        for (int j = 1; j <= 10; ++j) {
            f -= int64_t(zero[j - 1]) * s[10 + i - j];
            p += int64_t(pole[j - 1]) * out[10 + i - j];
        }
        out[10 + i] = round_hi(((wide[i] + (f << 3)) << scale) + (p << 3));
    }
    std::memcpy(fir, s + kSub, 10 * sizeof(int16_t));
    std::memcpy(iir, out + kSub, 10 * sizeof(int16_t));
    std::memcpy(dst, out + 10, kSub * sizeof(int16_t));
}

struct Harmonic {
    int16_t delay, gain;
};

// dst = src - gain * src[-delay]
void harmonic_filter(const Harmonic& hf, const int16_t* src, int16_t* dst) {
    for (int i = 0; i < kSub; ++i)
        dst[i] = round_hi((int64_t(src[i]) << 16) - 2 * int64_t(hf.gain) * src[i - hf.delay]);
}

// dst = dst - src + gain * src[-delay]
void harmonic_subtract(const Harmonic& hf, const int16_t* src, int16_t* dst) {
    for (int i = 0; i < kSub; ++i)
        dst[i] = round_hi((int64_t(dst[i] - src[i]) << 16) + 2 * int64_t(hf.gain) * src[i - hf.delay]);
}

// L_mls of the reference: floor(a * b / 32768), saturated.
inline int32_t mls(int32_t a, int16_t b) { return sat32((int64_t(a) * b) >> 15); }

// Taming: the error of the zones the new lag reaches, after the subframe.
void update_errors(int32_t* err, bool rate63, int olp, int aclg, int gain_row) {
    constexpr int32_t kErr0 = 4;
    const int lag = olp - 1 + aclg;
    const int16_t beta = small_table(rate63, olp) ? kTabGain85[gain_row] : kTabGain170[gain_row];
    auto grow = [&](int z) { return sat32(int64_t(sat32(int64_t(mls(err[z], beta)) * 4)) + kErr0); };
    int32_t w0, w1;
    if (lag <= kSub / 2) {
        w0 = w1 = grow(0);
    } else {
        const int iz = (lag * 1092) >> 15;
        if (30 * (iz + 1) != lag) {
            if (iz == 1) {
                w0 = grow(0);
                w1 = grow(1);
                if (w0 > w1) w1 = w0; else w0 = w1;
            } else {
                w0 = grow(iz - 2);
                const int32_t t = grow(iz - 1);
                if (t > w0) w0 = t;
                w1 = grow(iz);
                if (t > w1) w1 = t;
            }
        } else {
            w0 = grow(iz - 1);
            w1 = grow(iz);
        }
    }
    for (int i = 4; i >= 2; --i) err[i] = err[i - 2];
    err[0] = w0;
    err[1] = w1;
}

struct SubframeCode {
    int ad_lag = 1, ad_gain = 0, amp = 0, grid = 0, train = 0;
    int32_t pos = 0;
    int sign = 0;
};

}  // namespace

void EncoderState::reset(bool r63) {
    std::memset(this, 0, sizeof(*this));
    rate63 = r63;
    std::memcpy(prev_lsp, kLspDc, sizeof(prev_lsp));
    for (int32_t& e : errors) e = 4;
    acelp_budget = 120;
}

int encode_frame(EncoderState& st, const int16_t* pcm, uint8_t* frame) {
    // DC removal and the LPC analysis of four windows over history and frame.
    int16_t buf[120 + 240];
    std::memcpy(buf, st.prev_speech, sizeof(st.prev_speech));
    zinsHighPassFilter_G723_16s(pcm, buf + 120, st.hp);
    int16_t lpc[4][10];
    for (int k = 0; k < 4; ++k) {
        int16_t r[11], exp, energy;
        zinsAutoCorr_G723_16s(buf + 60 * k, &exp, r);
        zinsLevinsonDurbin_G723_16s(r, &st.sine, &energy, lpc[k]);
    }
    {
        st.sine &= 0x7FFF;
        int ones = 0;
        for (int i = 0; i < 15; ++i) ones += (st.sine >> i) & 1;
        if (ones >= 14) st.sine = int16_t(st.sine | 0x8000);
    }
    int16_t lsp[10];
    int32_t lsp_index;
    zinsLPCToLSF_G723_16s(lpc[3], st.prev_lsp, lsp);
    zinsLSFQuant_G723_16s32s(lsp, st.prev_lsp, &lsp_index);

    // The coded frame lags the input by one subframe.
    int16_t speech[240];
    std::memcpy(speech, buf + 60, sizeof(speech));
    std::memcpy(st.prev_speech, buf + 240, sizeof(st.prev_speech));

    // Formant perceptual weighting with the unquantised LPC of each subframe.
    int16_t wzero[4][10], wpole[4][10];
    int16_t win[10 + 240], wout[kHist + 240];
    std::memcpy(win, st.wfir, sizeof(st.wfir));
    std::memcpy(win + 10, speech, sizeof(speech));
    int16_t* w = wout + kHist;
    std::memcpy(w - 10, st.wiir, sizeof(st.wiir));
    for (int k = 0; k < 4; ++k) {
        for (int i = 0; i < 10; ++i) {
            wzero[k][i] = int16_t((lpc[k][i] * kPerFiltZero[i] + 16384) >> 15);
            wpole[k][i] = int16_t((lpc[k][i] * kPerFiltPole[i] + 16384) >> 15);
        }
        weighting(wzero[k], wpole[k], win + 10 + 60 * k, w + 60 * k);
    }
    std::memcpy(st.wfir, win + 240, sizeof(st.wfir));
    std::memcpy(st.wiir, w + 230, sizeof(st.wiir));
    std::memcpy(wout, st.prev_weighted, sizeof(st.prev_weighted));

    // Open-loop pitch per half frame and harmonic weighting per subframe, on
    // the normalised weighted speech.
    int16_t scaled[kHist + 240];
    int scale = 3;
    zinsAutoScale_16s(wout, scaled, kHist + 240, &scale);
    int16_t olp[2];
    zinsOpenLoopPitchSearch_G723_16s(scaled + kHist, &olp[0]);
    zinsOpenLoopPitchSearch_G723_16s(scaled + kHist + 120, &olp[1]);
    Harmonic hf[4];
    for (int k = 0; k < 4; ++k)
        zinsHarmonicSearch_G723_16s(olp[k >> 1], scaled + kHist + 60 * k, &hf[k].delay, &hf[k].gain);
    int16_t target[240];
    for (int k = 0; k < 4; ++k) harmonic_filter(hf[k], w + 60 * k, target + 60 * k);
    std::memcpy(st.prev_weighted, wout + 240, sizeof(st.prev_weighted));

    // Quantised LSPs, interpolated per subframe, to LPC.
    int16_t qlsp[10];
    const int16_t bands[3] = {int16_t(lsp_index >> 16), int16_t((lsp_index >> 8) & 255), int16_t(lsp_index & 255)};
    if (zinsLSFDecode_G723_16s(bands, st.prev_lsp, 0, qlsp) != 0) std::memcpy(qlsp, st.prev_lsp, sizeof(qlsp));
    int16_t qlpc[4][10];
    for (int k = 0; k < 4; ++k) {
        const int wc = 4096 * (k + 1), wp = 16384 - wc;
        for (int i = 0; i < 10; ++i) qlpc[k][i] = sat16((qlsp[i] * wc + st.prev_lsp[i] * wp + (1 << 13)) >> 14);
        zinsLSFToLPC_G723_16s_I(qlpc[k]);
    }
    std::memcpy(st.prev_lsp, qlsp, sizeof(qlsp));

    SubframeCode sf[4];
    int16_t lag[2] = {olp[0], olp[1]};
    const ZinSpeechBitrate rate = st.rate63 ? zinSpchBr6300 : zinSpchBr5300;
    for (int k = 0; k < 4; ++k) {
        int16_t* t = target + 60 * k;
        int16_t zero10[10] = {}, zero10b[10] = {};
        int16_t pulse[kSub] = {}, tmp[kHist + kSub] = {};
        int16_t imp[kSub];
        pulse[0] = 1 << 13;
        synth_weight(qlpc[k], wzero[k], wpole[k], zero10, zero10b, pulse, tmp + kHist, 1);
        harmonic_filter(hf[k], tmp + kHist, imp);

        // Target: the weighted speech less the zero-input response.
        int16_t fir[10], iir[10];
        std::memcpy(fir, st.pfir, sizeof(fir));
        std::memcpy(iir, st.piir, sizeof(iir));
        pulse[0] = 0;
        synth_weight(qlpc[k], wzero[k], wpole[k], fir, iir, pulse, tmp + kHist, 0);
        std::memcpy(tmp, st.harmonic, sizeof(st.harmonic));
        harmonic_subtract(hf[k], tmp + kHist, t);

        int16_t cl_lag, gain_row;
        zinsAdaptiveCodebookSearch_G723(lag[k >> 1], t, imp, st.prev_exc, st.errors, &cl_lag, &gain_row, int16_t(k),
                                        st.sine, rate);
        if ((k & 1) == 0) {
            lag[k >> 1] = cl_lag;
            sf[k].ad_lag = 1;
        } else {
            sf[k].ad_lag = cl_lag - lag[k >> 1] + 1;
        }
        sf[k].ad_gain = gain_row;
        int16_t acb[kSub];
        acb_vector(st.prev_exc, lag[k >> 1] + sf[k].ad_lag - 1, st.rate63, lag[k >> 1], gain_row, acb);
        for (int i = 0; i < kSub; ++i) {
            int64_t s = int64_t(t[i]) << 14;
            for (int j = 0; j <= i; ++j) s -= int64_t(acb[j]) * imp[i - j];
            t[i] = round_hi(s << 2);
        }

        int16_t code[kSub];
        if (st.rate63) {
            int16_t grid, train, sign;
            int32_t pos;
            zinsMPMLQFixedCodebookSearch_G723(lag[k >> 1], imp, t, code, &grid, &train, &sign, &pos, int16_t(k));
            int amp = 0;
            for (int i = 0; i < kSub; ++i)
                if (code[i]) {
                    const int a = code[i] < 0 ? -code[i] : code[i];
                    while (amp < 23 && kFcbkGain[amp] != a) ++amp;
                    break;
                }
            sf[k].amp = amp;
            sf[k].grid = grid;
            sf[k].train = train;
            sf[k].sign = sign;
            sf[k].pos = pos;
        } else {
            std::memset(code, 0, sizeof(code));  // the ACELP search comes with the 5.3 kbit/s codebook
        }

        // Excitation and memories.
        std::memmove(st.prev_exc, st.prev_exc + kSub, (kHist - kSub) * sizeof(int16_t));
        int16_t* exc = st.prev_exc + kHist - kSub;
        for (int i = 0; i < kSub; ++i) exc[i] = sat16(2 * code[i] + acb[i]);
        update_errors(st.errors, st.rate63, lag[k >> 1], sf[k].ad_lag, sf[k].ad_gain);
        synth_weight(qlpc[k], wzero[k], wpole[k], st.pfir, st.piir, exc, tmp + kHist, 0);
        std::memmove(st.harmonic, st.harmonic + kSub, (kHist - kSub) * sizeof(int16_t));
        std::memcpy(st.harmonic + kHist - kSub, tmp + kHist, kSub * sizeof(int16_t));
    }

    // Packing.
    const int bytes = st.rate63 ? 24 : 20;
    BitWriter bw{frame};
    bw.put(st.rate63 ? 0 : 1, 2);
    bw.put(uint32_t(lsp_index) & 255, 8);
    bw.put((uint32_t(lsp_index) >> 8) & 255, 8);
    bw.put((uint32_t(lsp_index) >> 16) & 255, 8);
    bw.put(lag[0] - 18, 7);
    bw.put(sf[1].ad_lag, 2);
    bw.put(lag[1] - 18, 7);
    bw.put(sf[3].ad_lag, 2);
    for (int k = 0; k < 4; ++k) {
        uint32_t g = sf[k].ad_gain * 24 + sf[k].amp;
        if (st.rate63) g += uint32_t(sf[k].train) << 11;
        bw.put(g, 12);
    }
    for (int k = 0; k < 4; ++k) bw.put(sf[k].grid, 1);
    if (st.rate63) {
        bw.put(0, 1);
        const uint32_t msb = (sf[0].pos >> 16) * 810 + (sf[1].pos >> 14) * 90 + (sf[2].pos >> 16) * 9 + (sf[3].pos >> 14);
        bw.put(msb, 13);
        bw.put(sf[0].pos & 0xFFFF, 16);
        bw.put(sf[1].pos & 0x3FFF, 14);
        bw.put(sf[2].pos & 0xFFFF, 16);
        bw.put(sf[3].pos & 0x3FFF, 14);
        bw.put(sf[0].sign, 6);
        bw.put(sf[1].sign, 5);
        bw.put(sf[2].sign, 6);
        bw.put(sf[3].sign, 5);
    } else {
        for (int k = 0; k < 4; ++k) bw.put(sf[k].pos, 12);
        for (int k = 0; k < 4; ++k) bw.put(sf[k].sign, 4);
    }
    while (bw.pos < bytes * 8) bw.put(0, 1);
    return bytes;
}

}  // namespace zc::g723
