// ITU-T G.728 LD-CELP at 16 kbit/s, assembled from the public _G728 exports:
// the vector loop, the log-gain predictor and the excitation scaling, the
// adaptation cycle, the post-filter's coefficients and gain control, and the
// Annex I concealment, with the fixed-point arithmetic of Annex G.
#include "g728.h"

#include <cstring>
#include <memory>

#include "codec.h"

#include "g728_tables.h"
#include "zinsc.h"

namespace zc::g728 {
namespace {

// The recommendation's rounding of a wide value to its high 16 bits: half up,
// except where the high word is already 32767.
inline int64_t round_high(int64_t a) {
    int64_t b = a >> 16;
    if ((a & 0x8000) && b != 32767) ++b;
    return b;
}

inline int64_t sat32(int64_t x) { return x > 2147483647 ? 2147483647 : (x < -2147483648LL ? -2147483648LL : x); }
inline int16_t sat16(int64_t x) { return static_cast<int16_t>(x > 32767 ? 32767 : (x < -32768 ? -32768 : x)); }
inline int64_t mag(int64_t x) { return x < 0 ? -x : x; }

// Left shifts that bring v into `bits` bits (negative: right shifts); zero
// gives bits - 1.
int normalize(int64_t& v, int bits) {
    int64_t a = v;
    if (a == 0) return bits - 1;
    int n = 0;
    if (a < 0) {
        const int64_t hi = -(int64_t{1} << (bits - 2)), lo = 2 * hi;
        if (a < lo) {
            do { a >>= 1; --n; } while (a < lo);
        } else {
            while (a >= hi) { a *= 2; ++n; }
        }
    } else {
        const int64_t lo = int64_t{1} << (bits - 2), hi = 2 * lo - 1;
        if (a > hi) {
            do { a >>= 1; --n; } while (a > hi);
        } else {
            while (a < lo) { a *= 2; ++n; }
        }
    }
    v = a;
    return n;
}

// Normalizes five words to `bits` bits in place; returns the shift.
int normalize5(int16_t* x, int bits) {
    int16_t plus = 0, minus = 0;
    for (int i = 0; i < 5; ++i) {
        if (x[i] < minus) minus = x[i];
        if (x[i] > plus) plus = x[i];
    }
    int64_t v = (minus < -plus) ? minus : plus;
    const int n = normalize(v, bits);
    for (int i = 0; i < 5; ++i) x[i] = static_cast<int16_t>(n < 0 ? x[i] >> -n : x[i] * (1 << n));
    return n;
}

// 16-bit division of block-floating values (the quotient normalized, 15
// steps and a rounding step).
Scaled divide(int64_t num, int numq, int64_t den, int denq) {
    int qq = numq - denq + 14;
    const bool neg = (num < 0) != (den < 0) && num != 0 && den != 0;
    int64_t n = mag(num), d = mag(den);
    if (n < d) {
        ++qq;
        n <<= 1;
    }
    int64_t q = 0;
    for (int i = 0; i < 15; ++i) {
        q <<= 1;
        if (n > d) {
            ++q;
            n -= d;
        }
        n <<= 1;
    }
    if (n > d) ++q;
    return {static_cast<int16_t>(neg ? -q : q), static_cast<int16_t>(qq)};
}

// 10^(x/20) of a Q9 log-gain plus its offset, as a normalized mantissa.
Scaled exp10(int64_t loggain) {
    static constexpr int64_t c[5] = {16384, 22702, 7866, 1874, 323};
    int64_t a0 = 10 * loggain;
    a0 += round_high(20649 * loggain * 2);
    const int64_t ip = a0 >> 15;
    const int64_t x = a0 - (ip << 15);
    int64_t t = round_high(c[4] * x * 2 + (c[3] << 16));
    t = round_high(t * x * 2 + (c[2] << 16));
    t = round_high(t * x * 2 + (c[1] << 16));
    t = round_high(t * x + (c[0] << 16));
    return {static_cast<int16_t>(t), static_cast<int16_t>(14 - ip)};
}

// 10 log10 of a normalized value, Q9 with the log-gain offset removed.
int16_t log10x10(Scaled g) {
    static constexpr int16_t c[6] = {-3400, 15758, -10505, 9338, -9338, 9961};
    const int16_t xa = static_cast<int16_t>((g.data - 24576) * 2);
    int16_t r = static_cast<int16_t>((15 - g.q) * 1024);
    int16_t s = 0;
    for (int i = 5; i >= 1; --i) {
        s = static_cast<int16_t>(s + c[i]);
        s = static_cast<int16_t>((int64_t{s} * xa) >> 16);
    }
    r = static_cast<int16_t>(r + ((s + c[0]) >> 3));
    int64_t a = int64_t{r} * 24660 - (int64_t{16384} << 14);
    return static_cast<int16_t>(a >> 14);
}

// The log-gain predictor: gain in dB (Q9, offset removed) and linear gain.
Scaled predict_gain(const int16_t* gp, const int16_t* mem, int16_t& gaindb, int afterfe, int16_t ogaindb) {
    int64_t d = 0;
    for (int i = 0; i < 10; ++i) d -= int32_t{gp[i]} * mem[i];
    int64_t l = sat32(d) >> 14;
    if (l > 14336) l = 14336;
    if (l < -16384) l = -16384;
    if (afterfe && l - ogaindb > 1024) l = ogaindb + 1024;
    gaindb = static_cast<int16_t>(l);
    return exp10(l + 16384);
}

int16_t update_gain(int16_t gaindb, int ig, int is) {
    int64_t sum = (int64_t{gaindb} << 7) + (int64_t{kGainDb[ig]} << 5) + (int64_t{kShapeDb[is]} << 5);
    sum >>= 7;
    return static_cast<int16_t>(sum < -16384 ? -16384 : sum);
}

// The gain-scaled codevector, a block at its exponent.
int16_t scale_codevector(int is, int ig, Scaled gain, int16_t* et) {
    const int64_t a0 = round_high((int64_t{gain.data} * kGainCodebook[ig]) << kGainShift[ig]);
    const int a0q = gain.q + 13 + kGainShift[ig] - 16;
    int16_t yn[5];
    std::memcpy(yn, kShapeCodebook + 5 * is, sizeof yn);
    const int ynq = normalize5(yn, 16);
    for (int k = 0; k < 5; ++k) et[k] = static_cast<int16_t>(round_high(a0 * yn[k]));
    return static_cast<int16_t>(a0q + 11 + ynq - 16);
}

// Bandwidth expansion of a predictor at scale aq into Q14; false when a
// product leaves 32 bits.
bool expand(const int16_t* a, int16_t* out, int m, const int16_t* w, int aq) {
    const int64_t fac = aq == 13 ? 8 : (aq == 14 ? 4 : 2);
    int16_t tmp[50];
    for (int i = 0; i < m; ++i) {
        const int64_t d = int64_t{a[i]} * w[i] * fac;
        if (aq == 13 && d != sat32(d)) return false;
        tmp[i] = static_cast<int16_t>(round_high(d));
    }
    std::memcpy(out, tmp, sizeof(int16_t) * m);
    return true;
}

// Impulse response of the synthesis and weighting filters (Q13, newest first).
void impulse_response(const int16_t* a, const int16_t* wz, const int16_t* wp, int16_t* h) {
    int16_t tmp[5];
    h[4] = tmp[4] = 8192;
    for (int i = 1; i < 5; ++i) {
        const int16_t* tp = tmp + 5 - i;
        const int16_t* hp = h + 5 - i;
        int64_t d0 = 0, d1 = 0;
        for (int k = 0; k < i; ++k) {
            d0 -= int32_t{a[k]} * tp[k];
            d1 += int32_t{wz[k]} * tp[k] - int32_t{wp[k]} * hp[k];
        }
        d1 += d0;
        tmp[4 - i] = sat16(d0 >> 14);
        h[4 - i] = sat16(d1 >> 14);
    }
}

inline int16_t* as16(std::vector<unsigned char>& v) { return reinterpret_cast<int16_t*>(v.data()); }

std::vector<unsigned char> make_window(const int16_t* table, int m, int l, int n, int block, int16_t decay) {
    int size = 0;
    zinsWinHybridGetStateSize_G728_16s(m, l, n, block, &size);
    std::vector<unsigned char> mem(static_cast<std::size_t>(size));
    zinsWinHybridInit_G728_16s(table, m, l, n, block, decay, reinterpret_cast<ZinWinHybridState_G728_16s*>(mem.data()));
    return mem;
}

inline ZinWinHybridState_G728_16s* win(std::vector<unsigned char>& v) {
    return reinterpret_cast<ZinWinHybridState_G728_16s*>(v.data());
}
inline ZinFilterState_G728_16s* fst(std::vector<unsigned char>& v) {
    return reinterpret_cast<ZinFilterState_G728_16s*>(v.data());
}
inline ZinIIRState_G728_16s* iir(std::vector<unsigned char>& v) { return reinterpret_cast<ZinIIRState_G728_16s*>(v.data()); }

// The order-50 synthesis analysis of the newest four blocks, to order 10.
bool lpc_to_10(std::vector<unsigned char>& w, const int16_t* bq, const int16_t* blocks, int16_t* r, int16_t* ja,
               int16_t* rc, int16_t* alpha, int16_t* qtmp) {
    if (zinsWinHybridBlock_G728_16s(0, bq, blocks, r, win(w)) != zinStsNoErr) return false;
    int16_t tmp[1];
    const bool ok = zinsLevinsonDurbin_G728_16s_Sfs(r, 10, ja, tmp, alpha, qtmp) == zinStsNoErr;
    *rc = tmp[0];
    return ok;
}

// Orders 11 to 50 and the expansion into the pending synthesis filter.
bool lpc_to_50(const int16_t* r, int16_t* ja, int16_t* alpha, int16_t* qtmp, int16_t* atmp) {
    if (zinsLevinsonDurbin_G728_16s_ISfs(r, 10, 50, ja, alpha, qtmp) != zinStsNoErr) return false;
    return expand(ja, atmp, 50, kExpandSynthesis, *qtmp);
}

// The log-gain predictor's update from the newest four log-gains.
void update_gain_predictor(std::vector<unsigned char>& w, const int16_t* sbg, bool allowed, int16_t* gp) {
    int16_t r[11], jg[10], tmp[1], alpha = 0, q = 15, g[10];
    if (zinsWinHybrid_G728_16s(0, sbg, r, win(w)) != zinStsNoErr || !allowed) return;
    if (zinsLevinsonDurbin_G728_16s_Sfs(r, 10, jg, tmp, &alpha, &q) != zinStsNoErr) return;
    if (expand(jg, g, 10, kExpandLogGain, q)) std::memcpy(gp, g, sizeof g);
}

}  // namespace

// ---- encoder ------------------------------------------------------------------

EncoderCore::EncoderCore() {
    int size = 0;
    zinsCombinedFilterGetStateSize_G728_16s(&size);
    filter_.resize(static_cast<std::size_t>(size));
    zinsCombinedFilterInit_G728_16s(fst(filter_));
    zinsIIR16sGetStateSize_G728_16s(&size);
    weight_in_.resize(static_cast<std::size_t>(size));
    zinsIIR16sInit_G728_16s(iir(weight_in_));
    win_lpc_ = make_window(kWinSynthesis, 50, 20, 35, 5, 12288);
    win_w_ = make_window(kWinWeighting, 10, 20, 30, 0, 8192);
    win_g_ = make_window(kWinLogGain, 10, 4, 20, 0, 12288);
    for (int i = 0; i < 4; ++i) sbg_[i] = -16384;
    gp_[0] = -16384;
    h_[4] = 8192;
    zinsImpulseResponseEnergy_G728_16s(h_, energy_);
}

uint16_t EncoderCore::encode(const int16_t* pcm) {
    int16_t* s = sbw_ + spos_;
    for (int i = 0; i < 5; ++i) s[4 - i] = static_cast<int16_t>(pcm[i] >> 1);
    if (++count_ == 4) count_ = 0;
    int16_t gaindb;
    const Scaled gain = predict_gain(gp_, sbg_ + gpos_, gaindb, 0, 0);
    int16_t zir[5], wi[5];
    zinsCombinedFilterZeroInput_G728_16s(a_, wcoef_, zir, fst(filter_));
    zinsIIR16s_G728_16s(wcoef_, s, wi, 5, iir(weight_in_));
    // The target, normalized by the gain.
    int16_t t[5];
    for (int i = 0; i < 5; ++i) t[i] = sat16(int32_t{wi[i]} - zir[i]);
    const Scaled inv = divide(16384, 14, gain.data, gain.q);
    for (int k = 0; k < 5; ++k) t[k] = static_cast<int16_t>((int64_t{inv.data} * t[k]) >> 15);
    int tq = 2 + inv.q - 15;
    tq += normalize5(t, 16);
    // Backward convolution with the impulse response.
    int16_t ct[5];
    const int shift = 13 + tq - 7;
    for (int j = 0; j < 5; ++j) {
        int64_t c = 0;
        for (int k = 0; k <= j; ++k) c += int32_t{h_[4 - j + k]} * t[k];
        ct[j] = shift > 30 ? static_cast<int16_t>(c < 0 ? -1 : 0) : sat16(sat32(c) >> shift);
    }
    int is = 0, ig = 0;
    int16_t index = 0;
    zinsCodebookSearch_G728_16s(ct, energy_, &is, &ig, &index, zinSpchBr16000);
    spos_ -= 5;
    int16_t et[5];
    const int16_t etq = scale_codevector(is, ig, gain, et);
    int16_t* blk = blocks_ + 5 * (3 - count_);
    zinsCombinedFilterZeroState_G728_16s(et, a_, wcoef_, etq, blk, bq_ + (3 - count_), fst(filter_));
    sbg_[--gpos_] = update_gain(gaindb, ig, is);
    background();
    return static_cast<uint16_t>(index);
}

void EncoderCore::background() {
    if (count_ == 3) {
        int16_t rc;
        info_ = lpc_to_10(win_lpc_, bq_, blocks_, r_, ja_, &rc, &alpha_, &qtmp_);
    } else if (count_ == 1) {
        if (info_) std::memcpy(a_, atmp_, sizeof a_);
        int16_t rw[11], jw[10], tmp[1], alpha = 0, q = 15, wz[10], wp[10];
        if (zinsWinHybrid_G728_16s(0, sbw_, rw, win(win_w_)) == zinStsNoErr &&
            zinsLevinsonDurbin_G728_16s_Sfs(rw, 10, jw, tmp, &alpha, &q) == zinStsNoErr &&
            expand(jw, wp, 10, kExpandWeightPoles, q) && expand(jw, wz, 10, kExpandWeightZeros, q)) {
            std::memcpy(wcoef_, wz, sizeof wz);
            std::memcpy(wcoef_ + 10, wp, sizeof wp);
        }
        spos_ = 15;
        impulse_response(a_, wcoef_, wcoef_ + 10, h_);
        zinsImpulseResponseEnergy_G728_16s(h_, energy_);
    } else if (count_ == 0) {
        if (info_) info_ = lpc_to_50(r_, ja_, &alpha_, &qtmp_, atmp_);
        update_gain_predictor(win_g_, sbg_, true, gp_);
        std::memmove(sbg_ + 4, sbg_, sizeof(int16_t) * 30);
        gpos_ = 4;
    }
}

// ---- decoder ------------------------------------------------------------------

DecoderCore::DecoderCore(bool postfilter) : postf_(postfilter) {
    int size = 0;
    zinsCombinedFilterGetStateSize_G728_16s(&size);
    filter_.resize(static_cast<std::size_t>(size));
    zinsCombinedFilterInit_G728_16s(fst(filter_));
    zinsPostFilterGetStateSize_G728_16s(&size);
    pf_.resize(static_cast<std::size_t>(size));
    zinsPostFilterInit_G728_16s(iir(pf_));
    zinsPostFilterAdapterGetStateSize_G728(&size);
    adapter_.resize(static_cast<std::size_t>(size));
    zinsPostFilterAdapterStateInit_G728(reinterpret_cast<ZinPostFilterAdapterState_G728*>(adapter_.data()));
    win_lpc_ = make_window(kWinSynthesis, 50, 20, 35, 5, 12288);
    win_g_ = make_window(kWinLogGain, 10, 4, 20, 0, 12288);
    for (int i = 0; i < 4; ++i) sbg_[i] = -16384;
    gp_[0] = -16384;
    speech_.assign(4096, 0);
    std::memcpy(rand_, kRandomSeed, sizeof rand_);
}

int DecoderCore::rand() {
    if (++r1_ >= 17) r1_ = 0;
    if (++r2_ >= 17) r2_ = 0;
    rand_[r1_] += rand_[r2_];
    return static_cast<int>((rand_[r1_] >> 15) & 0x7FFF);
}

void DecoderCore::decode(uint16_t codeword, int16_t* pcm) {
    if (++count_ == 4) {
        count_ = 0;
        if (ofecount_ > 0 && !ferased_) --ofecount_;
        if (++adcount_ == 4) {
            adcount_ = 0;
            ferased_ = erase_next_;
            if (ferased_) {
                erase_next_ = false;
            } else if (fecount_ > 0) {
                ofecount_ += fecount_;
                if (ofecount_ > 16) ofecount_ = 16;
                fecount_ = 0;
            }
        }
        if (ferased_) {
            ++fecount_;
            if ((fecount_ & 3) == 1) erased_setup(fecount_ >> 2);
        }
    }
    int16_t et[5] = {};
    int16_t etq = 0, gaindb = 0;
    int is = 0, ig = 0;
    if (ferased_) {
        const Scaled e = erased_excitation(et, gaindb);
        etq = e.q;
    } else {
        is = (codeword >> 3) & 127;
        ig = codeword & 7;
        const Scaled gain = predict_gain(gp_, sbg_ + gpos_, gaindb, ofecount_, ogaindb_);
        etq = scale_codevector(is, ig, gain, et);
    }
    keep_excitation(et, etq);
    ogaindb_ = gaindb;
    int16_t* blk = blocks_ + 5 * (3 - count_);
    int16_t& bq = bq_[3 - count_];
    const int32_t word = (etq & 0xFFFF) | ((ferased_ && postf_) ? 0x10000 : 0);
    zinsSyntesisFilterZeroInput_G728_16s(a_, et, word, blk, &bq, fst(filter_));
    int16_t ws[5];
    if (postf_) {
        postfilter(blk, bq, ws);
    } else {
        const int sh = 19 - bq;
        for (int i = 0; i < 5; ++i)
            ws[i] = sh < 0 ? 0 : static_cast<int16_t>(round_high(sat32(int64_t{blk[i]} << (sh > 40 ? 40 : sh))));
    }
    for (int i = 0; i < 5; ++i) pcm[i] = ws[4 - i];
    sbg_[--gpos_] = ferased_ ? gaindb : update_gain(gaindb, ig, is);
    background();
}

void DecoderCore::postfilter(const int16_t* blk, int16_t bq, int16_t* ws) {
    const int sh = 18 - bq;
    int16_t st[5];
    for (int i = 0; i < 5; ++i)
        st[i] = sh < 0 ? 0 : static_cast<int16_t>(round_high(sat32(int64_t{blk[i]} << (sh > 40 ? 40 : sh))));
    zinsLPCInverseFilter_G728_16s(st, apf_, pitchd_ + resid_, fst(filter_));
    if (count_ == 2) {
        int kp = kp_;
        zinsPitchPeriodExtraction_G728_16s(pitchd_, &kp,
                                           reinterpret_cast<ZinPostFilterAdapterState_G728*>(adapter_.data()));
        kp_ = kp;
        std::memmove(pitchd_ + 20, pitchd_, sizeof(int16_t) * 220);
        // Long-term coefficients from the speech at Q0 (G.728 blocks 83, 84).
        const int16_t* x = speech_.data() + end_ - 1;  // x[-i]: the i-th newest
        int64_t a0 = 0, a1 = 0;
        for (int i = 0; i < 100; ++i) {
            const int64_t t0 = x[-(kp + i)];
            a0 += t0 * t0;
            a1 += t0 * x[-i];
        }
        int64_t ptap;
        if (a0 <= 0 || a1 <= 0) {
            ptap = 0;
        } else if (a1 >= a0) {
            ptap = 16384;
        } else {
            const int nn = normalize(a1, 32), nd = normalize(a0, 32);
            const Scaled q = divide(round_high(a1), nn, round_high(a0), nd);
            const int ir = q.q - 14;
            ptap = ir > 30 ? 0 : q.data >> ir;
        }
        tap_ = static_cast<int16_t>(ptap);
        if (ptap < 9830) ptap = 0;
        const int64_t p = 9830 * ptap;
        const int64_t b = p >> 14;
        const Scaled g = divide(16384, 14, (p >> 16) + 16384, 14);
        glb_ = static_cast<int16_t>((int64_t{g.data} * b) >> g.q);
        gl_ = static_cast<int16_t>(g.data >> (g.q - 14));
        resid_ = 15;
    } else {
        resid_ -= 5;
    }
    // The speech buffer in time order: Q0 history, then this vector at Q2.
    if (end_ + 5 > speech_.size()) {
        std::memmove(speech_.data(), speech_.data() + end_ - 240, sizeof(int16_t) * 240);
        end_ = 240;
    }
    int16_t* cur = speech_.data() + end_;
    for (int n = 0; n < 5; ++n) cur[n] = st[4 - n];
    int16_t pf[5];
    zinsPostFilter_G728_16s(gl_, glb_, static_cast<int16_t>(kp_), tilt_, pfc_, cur, pf, iir(pf_));
    for (int n = 0; n < 5; ++n) cur[n] = static_cast<int16_t>(cur[n] >> 2);
    end_ += 5;
    // Gain control: the ratio of the magnitude sums, smoothed per sample.
    int64_t s0 = 0, s1 = 0;
    for (int k = 0; k < 5; ++k) {
        s0 += mag(st[k]);
        s1 += mag(pf[k]);
    }
    Scaled scale{16384, 14};
    if (s1 > 4) {
        const int nd = normalize(s1, 32);
        const int64_t den = round_high(s1);
        const int nn = normalize(s0, 32);
        scale = divide(round_high(s0), nn, den, nd);
    }
    int64_t agc = 20972 * int64_t{scale.data};
    const int ir = scale.q - 14 + 7;
    if (ir > 0) agc = ir > 30 ? 0 : agc >> ir;
    else if (ir < 0) agc = sat32(agc * (int64_t{1} << -ir));
    for (int n = 0; n < 5; ++n) {
        scalefil_ = static_cast<int16_t>(round_high(sat32((agc + 16220 * int64_t{scalefil_}) * 4)));
        const int16_t y = static_cast<int16_t>(round_high(sat32(int64_t{scalefil_} * pf[n] * 4)));
        ws[4 - n] = sat16(int32_t{y} * 2);
    }
}

void DecoderCore::background() {
    if (count_ == 3) {
        int16_t rc;
        info_ = lpc_to_10(win_lpc_, bq_, blocks_, r_, ja_, &rc, &alpha_, &qtmp_);
        if (info_ && postf_) {
            const int il = 16 - (qtmp_ - 13);
            for (int i = 0; i < 10; ++i) apf_[i] = static_cast<int16_t>(round_high(int64_t{ja_[i]} << il));
            int16_t ap[10];
            if (expand(ja_, ap, 10, kExpandPostPoles, qtmp_)) {
                std::memcpy(pfc_ + 10, ap, sizeof ap);
                expand(ja_, pfc_, 10, kExpandPostZeros, qtmp_);
                tilt_ = static_cast<int16_t>(round_high(int64_t{rc} * 4915));
            }
        }
    } else if (count_ == 1) {
        if (!ferased_) {
            if (info_) std::memcpy(a_, atmp_, sizeof a_);
        } else if ((fecount_ & 3) == 1) {
            const int16_t* src = (fecount_ == 1 && info_) ? atmp_ : a_;
            for (int i = 0; i < 50; ++i) a_[i] = static_cast<int16_t>(round_high(int64_t{kEraseAttenuation[i]} * src[i] * 4));
        }
    } else if (count_ == 0) {
        if (info_ && fecount_ <= 1) info_ = lpc_to_50(r_, ja_, &alpha_, &qtmp_, atmp_);
        update_gain_predictor(win_g_, sbg_, !ferased_, gp_);
        std::memmove(sbg_ + 4, sbg_, sizeof(int16_t) * 30);
        gpos_ = 4;
    }
}

// ---- concealment (Annex I) ----------------------------------------------------

void DecoderCore::erased_setup(int msec10) {
    static constexpr int16_t kVoiced[5] = {26214, 26214, 19661, 13107, 6554};
    static constexpr int16_t kUnvoiced[6] = {32767, 32767, 26214, 19661, 13107, 6554};
    if (msec10 == 0) {
        if (tap_ > 7022) {
            voiced_ = true;
            fdelay_ = kp_ - 5;
        } else {
            voiced_ = false;
            int64_t a = 0;
            for (int i = 0; i < 40; ++i) a += mag(etpast_[i]);
            fscaleavgq_ = static_cast<int16_t>(normalize(a, 32) - 16 + 3 + 2);
            fscaleavg_ = static_cast<int16_t>(round_high(a));
        }
    }
    fscaleq_ = 15;
    fscale_ = 0;
    if (voiced_) {
        if (msec10 < 5) fscale_ = kVoiced[msec10];
    } else if (msec10 < 6) {
        int64_t a = int64_t{fscaleavg_} * kUnvoiced[msec10];
        fscaleq_ = static_cast<int16_t>(normalize(a, 32) - 16 + fscaleavgq_ + 15);
        fscale_ = static_cast<int16_t>(round_high(a));
    }
}

Scaled DecoderCore::erased_excitation(int16_t* et, int16_t& gaindb) {
    int16_t scale = 0;
    int scaleq = 14;
    if (voiced_) {
        scale = fscale_;
        scaleq = fscaleq_;
    } else if (fscale_ != 0) {
        fdelay_ = rand() / 243;
        int64_t a = 0;
        for (int i = 0; i < 5; ++i) a += mag(etpast_[fdelay_ + i]);
        const int etsumq = normalize(a, 32) - 16 + 2;
        const int16_t etsum = static_cast<int16_t>(round_high(a));
        if (etsum == 0) {
            scaleq = 14;
            scale = 16384;
        } else {
            const Scaled q = divide(fscale_, fscaleq_, etsum, etsumq);
            scale = q.data;
            scaleq = q.q;
        }
    }
    for (int i = 0; i < 5; ++i) {
        const int64_t v = int64_t{scale} * etpast_[fdelay_ + i];
        et[i] = sat16(scaleq >= 63 ? (v < 0 ? -1 : 0) : (scaleq < 0 ? v << -scaleq : v >> scaleq));
    }
    const int16_t etq = static_cast<int16_t>(2 + normalize5(et, 15));
    // The log-gain from the excitation's energy.
    int64_t a = 0;
    for (int i = 0; i < 5; ++i) a += int32_t{et[i]} * et[i];
    Scaled g;
    int gq = normalize(a, 32) + 2 * etq - 16;
    int64_t gd = a >> 16;
    a = gd * 13107;
    gq += normalize(a, 32);
    gd = a >> 16;
    g.data = static_cast<int16_t>(gd);
    g.q = static_cast<int16_t>(gq);
    if (g.q > 14) {
        g.q = 14;
        g.data = 16384;
    }
    gaindb = log10x10(g);
    return {0, etq};
}

void DecoderCore::keep_excitation(const int16_t* et, int etq) {
    std::memmove(etpast_ + 5, etpast_, sizeof(int16_t) * 135);
    const int diff = etq - 2;
    for (int i = 0; i < 5; ++i) {
        if (diff >= 0) etpast_[i] = static_cast<int16_t>(diff > 15 ? (et[i] < 0 ? -1 : 0) : et[i] >> diff);
        else etpast_[i] = sat16(int64_t{et[i]} << (-diff > 40 ? 40 : -diff));
    }
}

// ---- bit streams ----------------------------------------------------------------

std::vector<uint16_t> unpack_rfc3551(const uint8_t* data, std::size_t bytes) {
    std::vector<uint16_t> cw;
    cw.reserve(bytes / 5 * 4);
    for (std::size_t i = 0; i + 5 <= bytes; i += 5) {
        const uint64_t v = (uint64_t{data[i]} << 32) | (uint64_t{data[i + 1]} << 24) | (uint64_t{data[i + 2]} << 16) |
                           (uint64_t{data[i + 3]} << 8) | data[i + 4];
        for (int k = 0; k < 4; ++k) cw.push_back(static_cast<uint16_t>((v >> (30 - 10 * k)) & 0x3FF));
    }
    return cw;
}

void pack_rfc3551(const uint16_t* cw, std::size_t count, std::vector<uint8_t>& out) {
    for (std::size_t i = 0; i + 4 <= count; i += 4) {
        uint64_t v = 0;
        for (int k = 0; k < 4; ++k) v = (v << 10) | (cw[i + k] & 0x3FF);
        for (int b = 4; b >= 0; --b) out.push_back(static_cast<uint8_t>(v >> (8 * b)));
    }
}

namespace {

class G728Encoder final : public Encoder {
public:
    explicit G728Encoder(const CodecOptions& o) : itu_(o.format == StreamFormat::Itu) {}
    void encode(const int16_t* pcm, std::size_t samples, std::vector<uint8_t>& out) override {
        for (std::size_t i = 0; i < samples; ++i) {
            pending_[npending_++] = pcm[i];
            if (npending_ == kVector) {
                put(core_.encode(pending_), out);
                npending_ = 0;
            }
        }
    }
    // A trailing partial vector is coded with zeros after it; the RFC 3551
    // form also fills its last group of four codewords with zero samples.
    void finish(std::vector<uint8_t>& out) override {
        if (npending_ > 0) {
            while (npending_ < kVector) pending_[npending_++] = 0;
            put(core_.encode(pending_), out);
            npending_ = 0;
        }
        const int16_t zeros[kVector] = {};
        while (!itu_ && ngroup_ != 0) put(core_.encode(zeros), out);
    }

private:
    void put(uint16_t cw, std::vector<uint8_t>& out) {
        if (itu_) {
            out.push_back(static_cast<uint8_t>(cw & 0xFF));
            out.push_back(static_cast<uint8_t>(cw >> 8));
            return;
        }
        group_[ngroup_++] = cw;
        if (ngroup_ == 4) {
            pack_rfc3551(group_, 4, out);
            ngroup_ = 0;
        }
    }

    EncoderCore core_;
    bool itu_;
    int16_t pending_[kVector] = {};
    int npending_ = 0;
    uint16_t group_[4] = {};
    int ngroup_ = 0;
};

class G728Decoder final : public Decoder {
public:
    explicit G728Decoder(const CodecOptions& o)
        : core_(o.postfilter || !o.erasures.empty()), itu_(o.format == StreamFormat::Itu), mask_(o.erasures) {}
    void decode(const uint8_t* data, std::size_t bytes, std::vector<int16_t>& out) override {
        if (!error_.empty()) return;
        pending_.insert(pending_.end(), data, data + bytes);
        std::size_t used = 0;
        if (itu_) {
            for (; used + 2 <= pending_.size(); used += 2) {
                const uint16_t cw = static_cast<uint16_t>(pending_[used] | (pending_[used + 1] << 8));
                if (cw > 0x3FF) {
                    error_ = "codeword " + std::to_string(ncw_) + " has bits above bit 9 set (0x" + hex(cw) +
                             "); not a G.728 ITU-format stream";
                    return;
                }
                run(cw, out);
            }
        } else {
            for (; used + 5 <= pending_.size(); used += 5)
                for (uint16_t cw : unpack_rfc3551(&pending_[used], 5)) run(cw, out);
        }
        pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(used));
    }
    std::string error() const override {
        if (!error_.empty()) return error_;
        if (!pending_.empty())
            return itu_ ? "odd number of bytes: the ITU format holds one 16-bit word per codeword"
                        : "stream length is not a multiple of 5 octets (RFC 3551 G.728 groups)";
        return {};
    }

private:
    static std::string hex(unsigned v) {
        static const char* d = "0123456789ABCDEF";
        std::string s;
        for (int sh = 12; sh >= 0; sh -= 4) s += d[(v >> sh) & 15];
        return s;
    }
    void run(uint16_t cw, std::vector<int16_t>& out) {
        if (!mask_.empty() && ncw_ % kFrameVectors == 0) {
            if (mask_[(ncw_ / kFrameVectors) % mask_.size()] == '1') core_.erase_next_frame();
        }
        ++ncw_;
        const std::size_t at = out.size();
        out.resize(at + kVector);
        core_.decode(cw, &out[at]);
    }

    DecoderCore core_;
    bool itu_;
    std::string mask_;
    std::vector<uint8_t> pending_;
    std::size_t ncw_ = 0;
    std::string error_;
};

std::unique_ptr<zc::Encoder> make_encoder(const CodecOptions& o) { return std::make_unique<G728Encoder>(o); }
std::unique_ptr<zc::Decoder> make_decoder(const CodecOptions& o) { return std::make_unique<G728Decoder>(o); }

}  // namespace
}  // namespace zc::g728

namespace zc {
extern const CodecInfo kG728 = {"g728", "ITU-T G.728 LD-CELP, 16 kbit/s", 8000, 16000, g728::make_encoder,
                                g728::make_decoder};
}  // namespace zc
