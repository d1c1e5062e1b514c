// G.723.1 decoder (clause 3) with frame erasure concealment (3.10) and the
// Annex A comfort noise generator, on the library's LSP exports.
#include <cstring>

#include "g723.h"
#include "g723_common.h"
#include "g723_tables.h"
#include "zinsc.h"

namespace zc::g723 {
namespace {

constexpr int kSeedCng = 12345;

inline int32_t wrap32(int64_t v) { return int32_t(uint32_t(uint64_t(v))); }

// Sum of products doubled with saturation, the single sum wrapping in 32 bits.
inline int32_t dot2(const int16_t* a, const int16_t* b, int n) {
    uint32_t s = 0;
    for (int i = 0; i < n; ++i) s += uint32_t(int32_t(a[i]) * b[i]);
    return sat32(2 * int64_t(int32_t(s)));
}

inline int log2u(uint32_t v) { return v ? 31 - __builtin_clz(v) : 0; }
inline int norm_bits(int32_t v) { return 30 - log2u(uint32_t(v)); }

inline uint32_t isqrt(uint32_t a) {
    uint32_t r = 0;
    for (uint32_t bit = 1u << 30; bit; bit >>= 2) {
        if (a >= r + bit) {
            a -= r + bit;
            r = (r >> 1) + bit;
        } else {
            r >>= 1;
        }
    }
    return r;
}
// sqrt(v / 2) with the last bit cleared, as the reference's square root.
inline int16_t square_root(uint32_t v) { return int16_t((isqrt(v << 1) >> 1) & ~1u); }

// Normalisation of a vector to 3 bits of headroom; the shift done (11 for silence).
int scale_vector(int16_t* dst, const int16_t* src, int n) {
    int m = 0;
    for (int i = 0; i < n; ++i) m |= src[i] < 0 ? -src[i] : src[i];
    int bits = 14 - log2u(uint32_t(m));
    if (bits < 0) bits = 0;
    for (int i = 0; i < n; ++i) dst[i] = int16_t((src[i] * (1 << bits)) >> 3);
    return bits - 3;
}

struct Sub {
    int ad_lag, ad_gain, amp, grid, train, sign;
    int32_t pos;
};

struct Frame {
    int type;  // 0 speech, 1 SID, 2 untransmitted
    bool rate63;
    int idx[3];  // LSP rows of bands 0, 1, 2
    int lag[2];
    Sub sf[4];
    bool ok;
};

struct BitReader {
    const uint8_t* p;
    int pos = 0;
    uint32_t get(int n) {
        uint32_t v = 0;
        for (int i = 0; i < n; ++i, ++pos) v |= uint32_t((p[pos >> 3] >> (pos & 7)) & 1) << i;
        return v;
    }
};

Frame unpack(const uint8_t* b) {
    Frame f{};
    f.ok = true;
    BitReader br{b};
    const int info = int(br.get(2));
    if (info == 3) {
        f.type = 2;
        return f;
    }
    f.idx[2] = int(br.get(8));
    f.idx[1] = int(br.get(8));
    f.idx[0] = int(br.get(8));
    if (info == 2) {
        f.type = 1;
        f.sf[0].amp = int(br.get(6));
        return f;
    }
    f.type = 0;
    f.rate63 = info == 0;
    f.lag[0] = int(br.get(7));
    f.sf[1].ad_lag = int(br.get(2));
    f.lag[1] = int(br.get(7));
    f.sf[3].ad_lag = int(br.get(2));
    if (f.lag[0] > 123 || f.lag[1] > 123) f.ok = false;
    f.lag[0] += 18;
    f.lag[1] += 18;
    f.sf[0].ad_lag = f.sf[2].ad_lag = 1;
    for (int i = 0; i < 4; ++i) {
        int g = int(br.get(12));
        int rows = 170;
        if (f.rate63 && f.lag[i >> 1] < kSub - 2) {
            f.sf[i].train = g >> 11;
            g &= 0x7FF;
            rows = 85;
        }
        f.sf[i].ad_gain = g / 24;
        if (f.sf[i].ad_gain >= rows) f.ok = false;
        f.sf[i].amp = g - f.sf[i].ad_gain * 24;
    }
    for (int i = 0; i < 4; ++i) f.sf[i].grid = int(br.get(1));
    if (f.rate63) {
        br.get(1);
        int t = int(br.get(13));
        int msb[4];
        msb[0] = t / 810;
        t -= msb[0] * 810;
        msb[1] = t / 90;
        t -= msb[1] * 90;
        msb[2] = t / 9;
        msb[3] = t - msb[2] * 9;
        f.sf[0].pos = (msb[0] << 16) + int32_t(br.get(16));
        f.sf[1].pos = (msb[1] << 14) + int32_t(br.get(14));
        f.sf[2].pos = (msb[2] << 16) + int32_t(br.get(16));
        f.sf[3].pos = (msb[3] << 14) + int32_t(br.get(14));
        f.sf[0].sign = int(br.get(6));
        f.sf[1].sign = int(br.get(5));
        f.sf[2].sign = int(br.get(6));
        f.sf[3].sign = int(br.get(5));
    } else {
        for (int i = 0; i < 4; ++i) f.sf[i].pos = int32_t(br.get(12));
        for (int i = 0; i < 4; ++i) f.sf[i].sign = int(br.get(4));
    }
    return f;
}

// Fixed codebook excitation of one subframe (64 samples written).
void fixed_vector(const Sub& s, bool rate63, int lag, int k, int16_t* v) {
    std::memset(v, 0, 64 * sizeof(int16_t));
    if (rate63) {
        if (s.pos >= kMaxPos[k]) return;
        int j = 6 - kPulses[k];
        int32_t t = s.pos;
        for (int i = 0; i < kSub / 2; ++i) {
            t -= kCombinatorial[j * 30 + i];
            if (t >= 0) continue;
            t += kCombinatorial[j * 30 + i];
            ++j;
            const int16_t g = kFcbkGain[s.amp];
            v[s.grid + 2 * i] = (s.sign & (1 << (6 - j))) ? int16_t(-g) : g;
            if (j == 6) break;
        }
        if (s.train == 1) {
            int16_t base[kSub];
            std::memcpy(base, v, sizeof(base));
            for (int i = lag; i < kSub; i += lag)
                for (int n = 0; n < kSub - i; ++n) v[i + n] = int16_t(v[i + n] + base[n]);
        }
    } else {
        const int16_t g = kFcbkGain[s.amp];
        int pos = s.pos, sign = s.sign;
        for (int i = 0; i < 8; i += 2) {
            v[((pos & 7) << 3) + s.grid + i] = (sign & 1) ? g : int16_t(-g);
            pos >>= 3;
            sign >>= 1;
        }
        const int l = kEpsi170[s.ad_gain] + lag + s.ad_lag - 1;
        const int beta = kGain170[s.ad_gain];
        if (l < kSub - 2)
            for (int i = l; i < kSub; ++i) v[i] = int16_t(v[i] + ((beta * v[i - l]) >> 15));
    }
}

// Largest doubled correlation of buf with buf +- lag around pitch (3.6).
int autocorr_max(const int16_t* buf, int offset, int32_t* best, int pitch, int len, int dir) {
    if (pitch > kHist - 3) pitch = kHist - 3;
    int limit = pitch + 3;
    if (dir > 0 && 240 + kHist - offset - len < limit) limit = 240 + kHist - offset - len;
    int lag = 0;
    for (int i = pitch - 3; i <= limit; ++i) {
        const int32_t c = dot2(buf, buf + dir * i, len);
        if (c > *best) {
            *best = c;
            lag = i;
        }
    }
    return lag;
}

struct Ppf {
    int index;
    int16_t opt, sc;
};

void ppf_gains(int lag, Ppf& p, bool rate63, int32_t tgt, int32_t ccr, int32_t res) {
    static constexpr int16_t kWeight[2] = {0x1800, 0x2000};
    const int16_t weight = kWeight[rate63 ? 0 : 1];
    p.index = lag;
    int32_t t1 = (tgt * res) >> 1;
    int32_t t2 = (ccr * ccr) << 1;
    int32_t opt;
    if (t2 > t1) {
        opt = ccr >= res ? weight : ((ccr << 15) / res * weight) >> 15;
        t1 = wrap32((int64_t(tgt) << 15) + int64_t(ccr) * opt * 2);
        t2 = wrap32(int64_t((opt * opt) >> 15) * res);
        const int32_t pf_res = sat32(int64_t(t1) + wrap32(int64_t(t2) + 0x8000)) >> 16;
        t1 = tgt >= (pf_res << 1) ? 0x7FFF : (tgt << 14) / pf_res;
        p.sc = square_root(uint32_t(t1) << 16);
    } else {
        opt = 0;
        p.sc = 0x7FFF;
    }
    p.opt = sat16((opt * p.sc) >> 15);
}

// Pitch post-filter parameters of the subframe at `offset` of the scaled
// excitation buf.
Ppf ppf_coeff(const int16_t* scaled, int offset, int pitch, bool rate63) {
    const int16_t* buf = scaled + offset;
    int32_t e[5] = {0, 0, 0, 0, 0};
    const int fwd = autocorr_max(buf, offset, &e[1], pitch, kSub, 1);
    const int back = autocorr_max(buf, offset, &e[3], pitch, kSub, -1);
    Ppf p{0, 0, 0x7FFF};
    if (!back && !fwd) return p;
    e[0] = dot2(buf, buf, kSub);
    if (fwd) e[2] = dot2(buf + fwd, buf + fwd, kSub);
    if (back) e[4] = dot2(buf - back, buf - back, kSub);
    int32_t m = 0;
    for (int32_t v : e) m = v > m ? v : m;
    const int sh = norm_bits(m);
    for (int32_t& v : e) v = wrap32(int64_t(v) << sh) >> 16;
    if (fwd && !back) {
        ppf_gains(fwd, p, rate63, e[0], e[1], e[2]);
    } else if (!fwd) {
        ppf_gains(-back, p, rate63, e[0], e[3], e[4]);
    } else {
        const int32_t a = e[4] * ((e[1] * e[1] + (1 << 14)) >> 15);
        const int32_t b = e[2] * ((e[3] * e[3] + (1 << 14)) >> 15);
        if (a >= b)
            ppf_gains(fwd, p, rate63, e[0], e[1], e[2]);
        else
            ppf_gains(-back, p, rate63, e[0], e[3], e[4]);
    }
    return p;
}

// Voicing of the frame for concealment: the lag of the excitation's period, or 0.
int interp_index(DecoderState& st, int pitch) {
    int16_t* scaled = st.audio + 10;
    st.cur_gain = scale_vector(scaled, st.exc, 240 + kHist);
    const int offset = kHist + 2 * kSub;
    const int16_t* buf = scaled + offset;
    int32_t ccr = 0;
    const int index = autocorr_max(buf, offset, &ccr, pitch, 2 * kSub, -1);
    ccr = sat32(int64_t(ccr) + 0x8000) >> 16;
    st.sid_gain = sat32(int64_t(dot2(buf, buf, 2 * kSub)) + 0x8000) >> 16;
    if (ccr <= 0) return 0;
    const int32_t best = sat32(int64_t(dot2(buf - index, buf - index, 2 * kSub)) + 0x8000) >> 16;
    return ((best * st.sid_gain) >> 3) < ccr * ccr ? index : 0;
}

void residual_interp(DecoderState& st, int16_t* out) {
    if (st.interp_index) {
        const int lag = st.interp_index;
        for (int i = 0; i < lag; ++i) out[i] = int16_t((st.exc[kHist + i - lag] * 3) >> 2);
        for (int i = lag; i < 240; ++i) out[i] = out[i - lag];
    } else {
        for (int i = 0; i < 240; ++i) {
            st.seed = int16_t(st.seed * 521 + 259);
            out[i] = int16_t((st.interp_gain * st.seed) >> 15);
        }
    }
}

int sid_gain_index(int g) {
    if (g < 0x10) return g << 6;
    if (g < 0x20) return (g - 8) << 7;
    return (g - 20) << 8;
}

int cng_rand(int* s, int base) {
    *s = (*s * 521 + 259) & 0xFFFF;
    return ((*s & 0x7FFF) * base) >> 15;
}

int estimate_sid_gain(const DecoderState& st) {
    int shift = 16 - st.cur_gain * 2;
    int32_t t;
    if (shift > 0) {
        if (st.sid_gain == 0)
            t = 0;
        else if (shift >= 31 || (int32_t(uint32_t(st.sid_gain) << shift) >> shift) != st.sid_gain)
            t = st.sid_gain < 0 ? INT32_MIN : INT32_MAX;
        else
            t = st.sid_gain * (1 << shift);
    } else if (shift < -31) {
        t = st.sid_gain < 0 ? -1 : 0;
    } else {
        t = st.sid_gain >> -shift;
    }
    const int32_t x = sat32((int64_t(t) * kSidFact[0]) >> 16);
    if (x >= kSidBseg[2]) return 0x3F;
    int seg;
    if (x >= kSidBseg[1]) {
        shift = 4;
        seg = 3;
    } else {
        shift = 3;
        seg = x >= kSidBseg[0];
    }
    const int seg2 = seg < 3 ? seg : 3;
    int val = 1 << shift, add = val >> 1;
    for (int i = 0; i < shift; ++i) {
        int32_t v = seg * 32 + (val << seg2);
        v *= v;
        if (x >= v)
            val += add;
        else
            val -= add;
        add >>= 1;
    }
    int32_t v = seg * 32 + (val << seg2);
    const int32_t y = v * v - x;
    if (y <= 0) {
        v = seg * 32 + ((val + 1) << seg2);
        v = v * v - x;
        val = (seg2 - 1) * 16 + val;
        if (v >= y) ++val;
    } else {
        v = seg * 32 + ((val - 1) << seg2);
        v = v * v - x;
        val = (seg2 - 1) * 16 + val;
        if (v >= y) --val;
    }
    return val;
}

// Comfort noise excitation (Annex A) into st.audio + 10.
void generate_noise(DecoderState& st) {
    static constexpr int kCngLag[4] = {1, 0, 1, 3};
    int lag[2];
    lag[0] = cng_rand(&st.cng_seed, 21) + 123;
    lag[1] = cng_rand(&st.cng_seed, 19) + 123;
    Sub sf[4];
    for (int i = 0; i < 4; ++i) {
        sf[i].ad_gain = cng_rand(&st.cng_seed, 50) + 1;
        sf[i].ad_lag = kCngLag[i];
    }
    int off[4], signs[22], pos[22], tmp[2 * kSub];
    for (int i = 0; i < 2; ++i) {
        int t = cng_rand(&st.cng_seed, 1 << 13);
        off[2 * i] = t & 1;
        off[2 * i + 1] = ((t >> 1) & 1) + kSub;
        t >>= 2;
        for (int j = 0; j < 11; ++j) {
            signs[i * 11 + j] = ((t & 1) * 2 - 1) * (1 << 14);
            t >>= 1;
        }
    }
    int idx = 0;
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < kSub / 2; ++j) tmp[j] = j;
        int t = kSub / 2;
        for (int j = 0; j < kPulses[i]; ++j, ++idx) {
            const int k = cng_rand(&st.cng_seed, t);
            pos[idx] = tmp[k] * 2 + off[i];
            tmp[k] = tmp[--t];
        }
    }
    int16_t* v = st.audio + 10;
    std::memcpy(v, st.prev_exc, kHist * sizeof(int16_t));
    for (int i = 0; i < 4; i += 2) {
        int16_t a[kSub];
        acb_vector(v, lag[i >> 1] + sf[i].ad_lag - 1, st.rate63, lag[i >> 1], sf[i].ad_gain, a);
        std::memcpy(v, a, sizeof(a));
        acb_vector(v + kSub, lag[i >> 1] + sf[i + 1].ad_lag - 1, st.rate63, lag[i >> 1], sf[i + 1].ad_gain, a);
        std::memcpy(v + kSub, a, sizeof(a));
        int t = 0;
        for (int j = 0; j < 2 * kSub; ++j) t |= v[j] < 0 ? -v[j] : v[j];
        if (t > 0x7FFF) t = 0x7FFF;
        int shift = 0;
        if (t) {
            shift = -10 + log2u(uint32_t(t));
            if (shift < -2) shift = -2;
        }
        int64_t sum = 0;
        for (int j = 0; j < 2 * kSub; ++j) {
            const int x = shift < 0 ? v[j] * (1 << -shift) : v[j] >> shift;
            sum += x * x;
            tmp[j] = x;
        }
        int32_t b0 = 0;
        for (int j = 0; j < 11; ++j) b0 = wrap32(int64_t(b0) + int64_t(tmp[pos[(i / 2) * 11 + j]]) * signs[(i / 2) * 11 + j]);
        b0 = int32_t((int64_t(b0) * 2 * 2979 + (1 << 29)) >> 30);
        int32_t c = st.cur_gain * ((st.cur_gain * kSub) >> 5);
        if (shift * 2 + 3 >= 0)
            c >>= shift * 2 + 3;
        else
            c = wrap32(int64_t(c) << -(shift * 2 + 3));
        c = int32_t(((int64_t(sat32(sum << 1)) - c) * 2979) >> 15);
        int32_t delta = wrap32(int64_t(b0) * b0 * 2 - c);
        int32_t x;
        if (delta <= 0) {
            x = -b0;
        } else {
            delta = square_root(uint32_t(delta));
            x = delta - b0;
            const int32_t y = delta + b0;
            if ((y < 0 ? -y : y) < (x < 0 ? -x : x)) x = -y;
        }
        ++shift;
        if (shift < 0)
            x >>= -shift;
        else
            x *= 1 << shift;
        x = x < -10000 ? -10000 : (x > 10000 ? 10000 : x);
        for (int j = 0; j < 11; ++j) {
            const int k = (i / 2) * 11 + j;
            v[pos[k]] = sat16(v[pos[k]] + ((x * signs[k]) >> 15));
        }
        std::memcpy(v + kHist, v, 2 * kSub * sizeof(int16_t));
        v += 2 * kSub;
    }
    std::memcpy(st.prev_exc, st.audio + 10 + 240, kHist * sizeof(int16_t));
}

void lsp_interpolate(const int16_t* cur, const int16_t* prev, int16_t (*lpc)[10]) {
    for (int k = 0; k < 4; ++k) {
        const int wc = 4096 * (k + 1), wp = 16384 - wc;
        for (int i = 0; i < 10; ++i) lpc[k][i] = sat16((cur[i] * wc + prev[i] * wp + (1 << 13)) >> 14);
        zinsLSFToLPC_G723_16s_I(lpc[k]);
    }
}

void decode_lsp(const int* idx, const int16_t* prev, bool erased, int16_t* out) {
    const int16_t bands[3] = {int16_t(idx[0]), int16_t(idx[1]), int16_t(idx[2])};
    if (zinsLSFDecode_G723_16s(bands, prev, erased ? 1 : 0, out) != 0) std::memcpy(out, prev, 10 * sizeof(int16_t));
}

void gain_scale(DecoderState& st, int16_t* buf, int32_t energy) {
    int32_t num = energy, den = 0;
    for (int i = 0; i < kSub; ++i) {
        int32_t t = buf[i] >> 2;
        t *= t;
        den = sat32(int64_t(den) + sat32(2 * int64_t(t)));
    }
    int32_t gain;
    if (num && den) {
        const int b1 = norm_bits(num);
        int b2 = norm_bits(den);
        num = (num << b1) >> 1;
        den <<= b2;
        b2 = 5 + b1 - b2;
        b2 = b2 < 0 ? 0 : (b2 > 31 ? 31 : b2);
        gain = (num >> 1) / (den >> 16);
        gain = square_root(uint32_t((gain << 16) >> b2));
    } else {
        gain = 1 << 12;
    }
    for (int i = 0; i < kSub; ++i) {
        st.pf_gain = (15 * st.pf_gain + gain + (1 << 3)) >> 4;
        buf[i] = sat16((buf[i] * (st.pf_gain + (st.pf_gain >> 4)) + (1 << 10)) >> 11);
    }
}

void formant_postfilter(DecoderState& st, const int16_t (*lpc)[10], int16_t* out) {
    int16_t* buf = st.audio;  // 10 of memory and the synthesised frame
    int32_t sig[10 + 240];
    std::memcpy(buf, st.pf_fir, sizeof(st.pf_fir));
    std::memcpy(sig, st.pf_iir, sizeof(st.pf_iir));
    for (int k = 0; k < 4; ++k) {
        int16_t zero[10], pole[10];
        for (int i = 0; i < 10; ++i) {
            zero[i] = int16_t((-lpc[k][i] * kPostFiltZero[i] + (1 << 14)) >> 15);
            pole[i] = int16_t((-lpc[k][i] * kPostFiltPole[i] + (1 << 14)) >> 15);
        }
        const int16_t* src = buf + 10 + 60 * k;
        int32_t* dst = sig + 10 + 60 * k;
        for (int m = 0; m < kSub; ++m) {
            int64_t acc = 0;
            for (int n = 1; n <= 10; ++n) acc -= int64_t(zero[n - 1]) * src[m - n] - int64_t(pole[n - 1]) * (dst[m - n] >> 16);
            dst[m] = sat32(int64_t(src[m]) * 65536 + acc * 8 + (1 << 15));
        }
    }
    std::memcpy(st.pf_fir, buf + 240, sizeof(st.pf_fir));
    std::memcpy(st.pf_iir, sig + 240, sizeof(st.pf_iir));
    for (int k = 0; k < 4; ++k) {
        const int16_t* src = buf + 10 + 60 * k;
        const int32_t* s = sig + 10 + 60 * k;
        int16_t* dst = out + 60 * k;
        const int scale = scale_vector(dst, src, kSub);
        const int32_t c1 = dot2(dst, dst + 1, kSub - 1);
        const int32_t c0 = dot2(dst, dst, kSub);
        int32_t t = c0 >> 16;
        if (t) t = (c1 >> 2) / t;
        st.reflection = (3 * st.reflection + t + 2) >> 2;
        t = (-st.reflection >> 1) & ~3;
        for (int j = 0; j < kSub; ++j) dst[j] = int16_t(sat32(int64_t(s[j]) + sat32(2 * int64_t((s[j - 1] >> 16) * t))) >> 16);
        const int e = 2 * scale + 4;
        const int32_t energy = e < 0 ? sat32(int64_t(c0) << -e) : c0 >> e;
        gain_scale(st, dst, energy);
    }
}

}  // namespace

void DecoderState::reset(bool pf) {
    std::memset(this, 0, sizeof(*this));
    postfilter = pf;
    pf_gain = 1 << 12;
    std::memcpy(prev_lsp, kLspDc, sizeof(prev_lsp));
    std::memcpy(sid_lsp, kLspDc, sizeof(sid_lsp));
    cng_seed = kSeedCng;
    past_type = 1;
    rate63 = true;
}

void decode_frame(DecoderState& st, const uint8_t* data, bool erased, int16_t* pcm) {
    Frame f{};
    bool bad = erased;
    if (!erased) {
        f = unpack(data);
        if (!f.ok) bad = true;
    }
    if (bad) f.type = st.past_type == 0 ? 0 : 2;
    int16_t lpc[4][10];
    const int16_t* synth_in = st.audio + 10;
    if (f.type == 0) {
        if (!bad) {
            st.erased = 0;
            st.rate63 = f.rate63;
        } else if (st.erased != 3) {
            ++st.erased;
        }
        int16_t cur[10];
        decode_lsp(f.idx, st.prev_lsp, bad, cur);
        lsp_interpolate(cur, st.prev_lsp, lpc);
        std::memcpy(st.prev_lsp, cur, sizeof(cur));
        std::memcpy(st.exc, st.prev_exc, sizeof(st.prev_exc));
        if (!st.erased) {
            int16_t* v = st.exc + kHist;
            st.interp_gain = kFcbkGain[(f.sf[2].amp + f.sf[3].amp) >> 1];
            for (int k = 0; k < 4; ++k) {
                int16_t fcb[64], acb[kSub];
                fixed_vector(f.sf[k], f.rate63, f.lag[k >> 1], k, fcb);
                acb_vector(st.exc + kSub * k, f.lag[k >> 1] + f.sf[k].ad_lag - 1, f.rate63, f.lag[k >> 1],
                           f.sf[k].ad_gain, acb);
                for (int j = 0; j < kSub; ++j) v[kSub * k + j] = sat16(sat16(fcb[j] * 2) + acb[j]);
            }
            st.interp_index = interp_index(st, f.lag[1]);
            if (st.postfilter) {
                Ppf p[4];
                for (int k = 0; k < 4; ++k) p[k] = ppf_coeff(st.audio + 10, kHist + kSub * k, f.lag[k >> 1], f.rate63);
                for (int k = 0; k < 4; ++k) {
                    const int16_t* a = v + kSub * k;
                    const int16_t* b = a + p[k].index;
                    int16_t* o = st.audio + 10 + kSub * k;
                    for (int i = 0; i < kSub; ++i) o[i] = sat16((a[i] * p[k].sc + b[i] * p[k].opt + (1 << 14)) >> 15);
                }
            } else {
                synth_in = v;
            }
            std::memcpy(st.prev_exc, st.exc + 240, sizeof(st.prev_exc));
        } else {
            st.interp_gain = (st.interp_gain * 3 + 2) >> 2;
            // The third erasure in a row mutes; an unvoiced regeneration
            // leaves no excitation history behind.
            if (st.erased == 3) {
                std::memset(st.audio + 10, 0, 240 * sizeof(int16_t));
                std::memset(st.prev_exc, 0, sizeof(st.prev_exc));
            } else {
                residual_interp(st, st.audio + 10);
                if (st.interp_index)
                    std::memcpy(st.prev_exc, st.audio + 10 + 240 - kHist, sizeof(st.prev_exc));
                else
                    std::memset(st.prev_exc, 0, sizeof(st.prev_exc));
            }
        }
        st.cng_seed = kSeedCng;
    } else {
        if (f.type == 1) {
            st.sid_gain = sid_gain_index(f.sf[0].amp);
            decode_lsp(f.idx, st.prev_lsp, false, st.sid_lsp);
        } else if (st.past_type == 0) {
            st.sid_gain = estimate_sid_gain(st);
        }
        if (st.past_type == 0)
            st.cur_gain = st.sid_gain;
        else
            st.cur_gain = (st.cur_gain * 7 + st.sid_gain) >> 3;
        generate_noise(st);
        lsp_interpolate(st.sid_lsp, st.prev_lsp, lpc);
        std::memcpy(st.prev_lsp, st.sid_lsp, sizeof(st.sid_lsp));
    }
    st.past_type = f.type;

    // LP synthesis, in place where the input is the frame buffer itself.
    std::memcpy(st.audio, st.synth, sizeof(st.synth));
    for (int k = 0; k < 4; ++k) {
        int16_t* o = st.audio + 10 + kSub * k;
        const int16_t* in = synth_in + kSub * k;
        for (int n = 0; n < kSub; ++n) {
            uint32_t s = 1 << 12;
            for (int i = 1; i <= 10; ++i) s -= uint32_t(lpc[k][i - 1] * o[n - i]);
            const int32_t v = ((int32_t(s) >> 12) + in[n]) >> 1;
            o[n] = sat16(v);
        }
    }
    std::memcpy(st.synth, st.audio + 240, sizeof(st.synth));
    if (st.postfilter) {
        formant_postfilter(st, lpc, pcm);
    } else {
        for (int i = 0; i < 240; ++i) pcm[i] = sat16(2 * st.audio[10 + i]);
    }
}

}  // namespace zc::g723
