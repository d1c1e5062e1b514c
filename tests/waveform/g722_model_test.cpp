// The sub-band ADPCM exports against a plain model of the G.722 blocks,
// written with the 16-bit saturating basic operators one step at a time,
// on extreme inputs where the library's shortcuts (sums taken without
// saturation when they cannot leave 16 bits) must fall back correctly.
#include <gtest/gtest.h>

#include <vector>

#include "kernels/fixed_point.h"
#include "test_util.h"
#include "waveform/g722_adpcm.h"
#include "waveform/g722_tables.h"
#include "zinsc.h"

namespace {

namespace g = zin::g722;
using zin::fx::add16;
using zin::fx::mul16;
using zin::fx::sub16;

struct ModelBand {
    int16_t a[3] = {};    // A1, A2 at 1, 2
    int16_t b[7] = {};    // B1..B6 at 1..6
    int16_t dlt[7] = {};  // D0..D6
    int16_t plt[3] = {}, rlt[3] = {};
    int16_t det, nb = 0, sz = 0, sp = 0, s = 0;
    explicit ModelBand(int16_t det0) : det(det0) {}

    void adapt(int16_t dq, int16_t w, int nbmax, int offset) {
        int16_t nbp = add16(mul16(nb, 32512), w);
        if (nbp < 0) nbp = 0;
        if (nbp > nbmax) nbp = static_cast<int16_t>(nbmax);
        nb = nbp;
        det = static_cast<int16_t>((g::kIla[((nbp >> 6) & 511) + offset] + 1) * 4);
        dlt[0] = dq;
        plt[0] = add16(dq, sz);
        rlt[0] = add16(s, dq);
        // UPZERO
        const int16_t wd1 = dq == 0 ? 0 : 128;
        for (int i = 6; i > 0; --i) {
            const int16_t wd2 = (dlt[i] < 0) == (dq < 0) ? wd1 : sub16(0, wd1);
            b[i] = add16(wd2, mul16(b[i], 32640));
            dlt[i] = dlt[i - 1];
        }
        // UPPOL2
        const bool s0 = plt[0] < 0, s1 = plt[1] < 0, s2 = plt[2] < 0;
        const int16_t w1 = zin::fx::shl16(a[1], 2);
        int16_t w2 = s0 == s1 ? sub16(0, w1) : w1;
        w2 = zin::fx::shr16(w2, 7);
        int16_t apl2 = add16(add16(w2, static_cast<int16_t>(s0 == s2 ? 128 : -128)), mul16(a[2], 32512));
        if (apl2 > 12288) apl2 = 12288;
        if (apl2 < -12288) apl2 = -12288;
        a[2] = apl2;
        // UPPOL1
        int16_t apl1 = add16(static_cast<int16_t>(s0 == s1 ? 192 : -192), mul16(a[1], 32640));
        const int16_t wd3 = sub16(15360, a[2]);
        if (apl1 > wd3) apl1 = wd3;
        else if (add16(apl1, wd3) < 0) apl1 = zin::fx::neg16(wd3);
        plt[2] = plt[1];
        plt[1] = plt[0];
        a[1] = apl1;
        // FILTEZ
        sz = 0;
        for (int i = 6; i > 0; --i) sz = add16(sz, mul16(add16(dlt[i], dlt[i]), b[i]));
        // FILTEP
        rlt[2] = rlt[1];
        rlt[1] = rlt[0];
        sp = add16(mul16(a[1], add16(rlt[1], rlt[1])), mul16(a[2], add16(rlt[2], rlt[2])));
        s = add16(sp, sz);
    }
};

struct Model {
    ModelBand lo{32}, hi{8};

    void encode(int16_t xl, int16_t xh, int16_t& il, int16_t& ih) {
        const int16_t el = sub16(xl, lo.s);
        const int16_t wd = el >= 0 ? el : static_cast<int16_t>(32767 - (el & 32767));
        int mil = 1;
        while (mil < 30 && ((g::kQ6[mil] * lo.det) >> 12) <= wd) ++mil;
        il = g::kQuantlCode[el >= 0][mil];
        const int16_t eh = sub16(xh, hi.s);
        const int16_t wdh = eh >= 0 ? eh : static_cast<int16_t>(32767 - (eh & 32767));
        const int mih = wdh >= ((564 * hi.det) >> 12) ? 2 : 1;
        ih = static_cast<int16_t>(eh >= 0 ? (mih == 2 ? 2 : 3) : (mih == 2 ? 0 : 1));
        adapt(il, ih);
    }

    void decode(int il, int ih, int mode, int16_t& yl, int16_t& yh) {
        int lvl;
        if (mode == 1) lvl = g::kQQ6[g::kRil6[il]] * (g::kRisi6[il] ? -8 : 8);
        else if (mode == 2) lvl = g::kQQ5[g::kRil5[il >> 1]] * (g::kRisi5[il >> 1] ? -8 : 8);
        else lvl = g::kQQ4[g::kRil4[il >> 2]] * (g::kRisi4[il >> 2] ? -8 : 8);
        const int16_t dl = mul16(lo.det, static_cast<int16_t>(lvl));
        const int16_t rl = add16(lo.s, dl);
        yl = rl > 16383 ? int16_t{16383} : (rl < -16384 ? int16_t{-16384} : rl);
        adapt(static_cast<int16_t>(il), static_cast<int16_t>(ih));
        yh = hi.rlt[1] > 16383 ? int16_t{16383} : (hi.rlt[1] < -16384 ? int16_t{-16384} : hi.rlt[1]);
    }

    void adapt(int il, int ih) {
        const int r4 = il >> 2;
        const int16_t q4 = static_cast<int16_t>(g::kQQ4[g::kRil4[r4]] * (g::kRisi4[r4] ? -8 : 8));
        const int16_t q2 = static_cast<int16_t>(g::kQQ2[g::kIh2[ih]] * (g::kSih[ih] ? -8 : 8));
        lo.adapt(mul16(lo.det, q4), g::kWL[g::kRil4[r4]], 18432, 64);
        hi.adapt(mul16(hi.det, q2), g::kWH[g::kIh2[ih]], 22528, 0);
    }
};

void expect_state(const g::State* f, const Model& m) {
    EXPECT_EQ(f->sLow, m.lo.s);
    EXPECT_EQ(f->sHigh, m.hi.s);
    EXPECT_EQ(f->szLow, m.lo.sz);
    EXPECT_EQ(f->detLow, m.lo.det);
    EXPECT_EQ(f->nbhHigh, m.hi.nb);
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(f->zerosLow[i], m.lo.b[i + 1]);
        EXPECT_EQ(f->zerosHigh[i], m.hi.b[i + 1]);
        EXPECT_EQ(f->dltLow[i], m.lo.dlt[i + 1]);
    }
    EXPECT_EQ(f->poles[0], m.lo.a[1]);
    EXPECT_EQ(f->poles[3], m.hi.a[2]);
    EXPECT_EQ(f->rltLow[1], m.lo.rlt[2]);
    EXPECT_EQ(f->pltHigh[0], m.hi.plt[1]);
}

std::vector<int16_t> extreme_input(int kind, std::size_t pairs) {
    std::vector<int16_t> v(2 * pairs);
    auto r = zt::random16(2 * pairs);
    for (std::size_t i = 0; i < v.size(); ++i) {
        const std::size_t k = i / 2;
        switch (kind) {
            case 0: v[i] = r[i]; break;                                                   // full-scale noise
            case 1: v[i] = ((k / 3) & 1) ? int16_t{32767} : int16_t{-32768}; break;       // square wave
            case 2: v[i] = (k & 1) ? int16_t{-32768} : int16_t{32767}; break;             // alternating
            case 3: v[i] = static_cast<int16_t>((k % 50) < 25 ? r[i] : r[i] / 512); break;  // bursts
            default: v[i] = static_cast<int16_t>(r[i] / 4); break;
        }
    }
    return v;
}

TEST(G722Model, EncoderOnExtremeInput) {
    for (int kind = 0; kind < 5; ++kind) {
        const std::size_t pairs = 6000;
        const auto in = extreme_input(kind, pairs);
        std::vector<unsigned char> mem(144);
        auto* st = reinterpret_cast<ZinSBADPCMState_G722_16s*>(mem.data());
        zinsSBADPCMEncodeInit_G722_16s(st);
        std::vector<int16_t> codes(in.size());
        for (std::size_t pos = 0; pos < in.size(); pos += 250)
            ASSERT_EQ(zinsSBADPCMEncode_G722_16s(in.data() + pos, codes.data() + pos, 250, st), zinStsNoErr);
        Model m;
        for (std::size_t k = 0; k < pairs; ++k) {
            int16_t il, ih;
            m.encode(in[2 * k], in[2 * k + 1], il, ih);
            ASSERT_EQ(codes[2 * k], il) << "kind " << kind << " pair " << k;
            ASSERT_EQ(codes[2 * k + 1], ih) << "kind " << kind << " pair " << k;
        }
        expect_state(g::state_of(mem.data()), m);
    }
}

TEST(G722Model, DecoderOnRandomCodes) {
    for (int mode = 1; mode <= 3; ++mode) {
        // Runs of the largest codes drive the predictors to their limits.
        auto codes = zt::random16(2 * 8000, 0, 255);
        for (std::size_t k = 0; k < codes.size() / 2; ++k)
            if ((k / 40) % 3 == 0) {
                codes[2 * k] = static_cast<int16_t>((k & 1) ? 32 : 0);
                codes[2 * k + 1] = 2;
            }
        std::vector<unsigned char> mem(150);
        auto* st = reinterpret_cast<ZinSBADPCMState_G722_16s*>(mem.data() + 3);
        zinsSBADPCMDecodeInit_G722_16s(st);
        std::vector<int16_t> out(codes.size());
        ASSERT_EQ(zinsSBADPCMDecode_G722_16s(codes.data(), out.data(), static_cast<int>(out.size()), mode, st),
                  zinStsNoErr);
        Model m;
        for (std::size_t k = 0; k < codes.size() / 2; ++k) {
            int16_t yl, yh;
            m.decode(codes[2 * k] & 63, codes[2 * k + 1] & 3, mode, yl, yh);
            ASSERT_EQ(out[2 * k], yl) << "mode " << mode << " pair " << k;
            ASSERT_EQ(out[2 * k + 1], yh) << "mode " << mode << " pair " << k;
        }
        expect_state(g::state_of(mem.data() + 3), m);
    }
}

}  // namespace
