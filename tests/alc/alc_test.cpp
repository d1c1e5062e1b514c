// The level control on long signals against its plain scalar statement, and
// the behaviour that its constants give: the noise estimate after the first
// spurt, short spurts undone, the hangover, the peak limiter.
#include <gtest/gtest.h>

#include "alc_signals.h"
#include "check.h"

namespace {

using zin::alc::State;

// One call over the whole of x (whole blocks) from the record m, on
// exact-size buffers and a state at an odd address; the output and the state
// must equal the scalar statement's.
void expect_model(const std::vector<int16_t>& x, zt::AlcModel m = {}) {
    zt::Buf<int16_t> src(x), dst(x.size());
    zt::Buf<uint8_t> state(124, 3);
    m.store(state.p());
    ASSERT_EQ(zinsALC_G169_16s(src, dst, static_cast<int>(x.size()), state.as<ZinALCState_G169_16s>()), zinStsNoErr);
    EXPECT_EQ(dst.vec(), m.run(x));
    zt::Buf<uint8_t> want(124, 3);
    m.store(want.p());
    EXPECT_EQ(state.first_difference(want), -1) << "state byte";
}

std::vector<int16_t> whole_blocks(std::vector<int16_t> x) {
    x.resize(x.size() / 8 * 8);
    return x;
}

// Speech at every level, noise, full-scale bursts after silence (through
// -32768), level steps, clicks in quiet speech, and other settings.
TEST(Alc, EqualsThePlainStatementOnLongSignals) {
    const auto sp = whole_blocks(zt::speech8k());
    for (int db = -45; db <= -5; db += 5) expect_model(zt::at_level(sp, db));
    for (double db : {-70.0, -42.0, -38.0, 0.0}) expect_model(zt::white_noise(40000, db, 3));
    const std::vector<int16_t> quiet(16000, 0);
    std::vector<int16_t> square(800), click(quiet);
    for (std::size_t i = 0; i < square.size(); ++i) square[i] = (i / 4) % 2 ? 32767 : -32768;
    click[9001] = -32768;
    expect_model(zt::cat({quiet, zt::random16(800), quiet, square, quiet, click}));
    const std::vector<int16_t> half(sp.begin(), sp.begin() + sp.size() / 2);
    auto clicks = zt::at_level(half, -40);
    for (std::size_t i = 4000; i < clicks.size(); i += 8000) clicks[i] = 32767;
    expect_model(zt::cat({zt::at_level(half, -40), zt::at_level(half, -20), clicks}));
    zt::AlcModel m;
    m.maxGain = 10.0f;
    m.targetLevel = 5000.0f;
    m.maxLevel = 20000.0f;
    expect_model(zt::cat({zt::white_noise(8000, -60, 5), zt::at_level(half, -35)}), m);
}

// As the constants stand: once a spurt has been kept, the lifted noise value
// 1456.7665 * speechLevel exceeds noiseFloorMax and the noise estimate sits
// on it; levelRate never falls below 0.0025, so the first spurt never lifts it.
TEST(Alc, NoiseEstimateAfterTheFirstSpurtAndTheLevelRateFloor) {
    for (double db : {-45.0, -25.0, -5.0}) {
        const auto s = zt::at_level(zt::speech8k(), db);
        const auto x = zt::cat({zt::white_noise(16000, -60, 9), s, zt::white_noise(16000, -70, 9), s});
        zt::AlcModel m;
        int16_t y[8];
        int kept = 0;
        for (std::size_t i = 0; i + 8 <= x.size(); i += 8) {
            const int spurts = m.spurtCount;  // as step 2 sees it
            m.block(&x[i], y);
            ASSERT_GE(m.levelRate, 0.0025f);
            if (spurts >= 2) {
                ASSERT_EQ(m.noiseLevel, m.noiseFloorMax) << db << " dBov, block " << i / 8;
                ++kept;
            }
        }
        EXPECT_GT(kept, 1000) << db;
    }
}

// Stationary noise above about -42 dBov counts as speech and is raised;
// below, noise alone keeps the gain of Init, 0.03125.
TEST(Alc, NoiseAloneBelowAndAboveTheThreshold) {
    for (double db : {-45.0, -39.0}) {
        zt::AlcModel m;
        m.run(zt::white_noise(8000 * 12, db, 17));
        EXPECT_EQ(m.spurtCount, db < -42 ? 0 : 1);
        if (db < -42) EXPECT_EQ(m.gain, 0.03125f);
        else EXPECT_GT(m.gain, 2.0f);
    }
}

// The export one block at a time, to watch its state between blocks.
struct Stepper {
    zt::Buf<uint8_t> state{124, 1};
    std::vector<int16_t> out;
    Stepper() { zinsALCInit_G169_16s(state.as<ZinALCState_G169_16s>()); }
    State step(const int16_t* x) {
        int16_t y[8];
        EXPECT_EQ(zinsALC_G169_16s(x, y, 8, state.as<ZinALCState_G169_16s>()), zinStsNoErr);
        out.insert(out.end(), y, y + 8);
        State s;
        std::memcpy(&s, state.p(), sizeof s);
        return s;
    }
};

TEST(Alc, ShortSpurtIsUndoneAtExactlyTheHangover) {
    const auto burst = zt::white_noise(240, -20, 4);  // 30 blocks: too short to keep
    const int16_t quiet[8] = {};
    Stepper st;
    const State before = st.step(quiet);
    State s = before;
    for (std::size_t i = 0; i < burst.size(); i += 8) s = st.step(&burst[i]);
    ASSERT_EQ(s.inSpurt, 1);
    ASSERT_EQ(s.spurtCount, 1);
    ASSERT_NE(s.speechPower, before.speechPower);
    int below = 0;
    for (int blocks = 0; s.inSpurt && blocks < 2000; ++blocks) {
        s = st.step(quiet);
        below = s.peakLevel > s.threshold ? 0 : below + 1;
        EXPECT_EQ(s.silenceCount, below);
    }
    EXPECT_EQ(below, 200);
    EXPECT_EQ(s.spurtCount, 0);
    EXPECT_EQ(s.activeCount, 0);
    EXPECT_EQ(s.speechPower, before.speechPower);
    EXPECT_EQ(s.desiredGain, before.desiredGain);
    EXPECT_EQ(s.levelRate, before.levelRate);
    for (int i = 0; i < 100; ++i) EXPECT_EQ(st.step(quiet).silenceCount, 200) << "a count past the hangover ends nothing";
}

TEST(Alc, PeakLimiterDropsAtOnceAndTheSlewRecovers) {
    const auto x = zt::at_level(zt::speech8k(), -40);
    Stepper st;
    for (std::size_t i = 0; i < 8000 * 8; i += 8) st.step(&x[i]);
    const int16_t full[8] = {0, -32768, 100}, quiet[8] = {};
    State s = st.step(full);
    EXPECT_EQ(s.blockPeak, 32768.0f);  // -32768 counts as 32768
    EXPECT_EQ(s.gain, 32767.0f / 32768.0f);
    EXPECT_EQ(s.gainSlew, 0.001f);
    EXPECT_EQ(st.out[st.out.size() - 7], -32767);
    for (int k = 0; k < 80; ++k) {
        const float slew = s.gainSlew;
        s = st.step(quiet);
        EXPECT_EQ(s.gainSlew, std::min(1.0f, slew + 0.1f * slew));
    }
    EXPECT_EQ(s.gainSlew, 1.0f);
}

}  // namespace
