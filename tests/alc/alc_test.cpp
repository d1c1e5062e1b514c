// The G.169 level control against its plain scalar statement, sample for
// sample and field for field, and the behaviour its constants give.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <random>

#include "alc/alc.h"
#include "alc_model.h"
#include "alc_signals.h"
#include "test_util.h"
#include "zinsc.h"

namespace {

using zin::alc::State;

// A state object at `offset` bytes past a heap block that ends with it.
struct Object {
    explicit Object(int offset = 0)
        : mem(new unsigned char[static_cast<std::size_t>(offset) + zin::alc::kStateSize]),
          p(reinterpret_cast<ZinALCState_G169_16s*>(mem.get() + offset)) {
        EXPECT_EQ(zinsALCInit_G169_16s(p), zinStsNoErr);
    }
    State fields() const {
        State s;
        std::memcpy(&s, p, sizeof s);
        return s;
    }
    std::unique_ptr<unsigned char[]> mem;
    ZinALCState_G169_16s* p;
};

// Every field of the export's state equals the model's, bit for bit.
void expect_same(const State& s, const zt::AlcModel& m) {
#define ZT_F(f) EXPECT_EQ(std::memcmp(&s.f, &m.f, sizeof s.f), 0) << #f << " " << s.f << " vs " << m.f
    ZT_F(targetLevel); ZT_F(maxLevel); ZT_F(noiseFloorMin); ZT_F(noiseFloorMax); ZT_F(maxGain);
    ZT_F(minRateSilence); ZT_F(minRate); ZT_F(hangover); ZT_F(gainRate);
    ZT_F(blockLevel); ZT_F(smoothLevel); ZT_F(peakLevel); ZT_F(spurtPeak); ZT_F(noiseLevel); ZT_F(threshold);
    ZT_F(lowTracker); ZT_F(blockPower); ZT_F(speechPower); ZT_F(levelRate); ZT_F(speechLevel); ZT_F(levelFactor);
    ZT_F(desiredGain); ZT_F(blockGainRate); ZT_F(gain); ZT_F(gainSlew); ZT_F(blockPeak); ZT_F(savedSpeechPower);
    ZT_F(savedDesiredGain); ZT_F(savedLevelRate);
#undef ZT_F
    EXPECT_EQ(s.silenceCount, m.silenceCount);
    EXPECT_EQ(s.spurtCount, m.spurtCount);
    EXPECT_EQ(s.activeCount, m.activeCount);
    EXPECT_EQ(s.inSpurt, m.inSpurt);
}

// Runs x through the export in calls of random whole-block lengths from
// exact-size heap buffers, through the model block by block, and compares
// the output and, after every call, the state.
void expect_model(const std::vector<int16_t>& x, zt::AlcModel m, const std::function<void(ZinALCState_G169_16s*)>& setup,
                  unsigned seed) {
    std::mt19937 g(seed);
    Object obj(static_cast<int>(seed % 4));
    setup(obj.p);
    std::size_t at = 0;
    std::vector<int16_t> want(8);
    while (at + 8 <= x.size()) {
        const std::size_t blocks = std::min<std::size_t>((x.size() - at) / 8, 1 + g() % 97);
        const std::size_t n = blocks * 8;
        std::vector<int16_t> src(x.begin() + at, x.begin() + at + n), dst(n);
        ASSERT_EQ(zinsALC_G169_16s(src.data(), dst.data(), static_cast<int>(n), obj.p), zinStsNoErr);
        for (std::size_t b = 0; b < blocks; ++b) {
            m.block(&src[8 * b], want.data());
            for (int i = 0; i < 8; ++i)
                ASSERT_EQ(dst[8 * b + i], want[i]) << "sample " << at + 8 * b + i;
        }
        expect_same(obj.fields(), m);
        if (testing::Test::HasFailure()) return;
        at += n;
    }
}

void expect_model(const std::vector<int16_t>& x, unsigned seed) {
    expect_model(x, zt::AlcModel{}, [](ZinALCState_G169_16s*) {}, seed);
}

TEST(Alc, InitWritesTheTableAndIsTheReset) {
    int size = 0;
    ASSERT_EQ(zinsALCGetStateSize_G169_16s(&size), zinStsNoErr);
    EXPECT_EQ(size, 124);
    Object obj(1);
    expect_same(obj.fields(), zt::AlcModel{});
    const auto x = zt::at_level(zt::speech8k(), -30);
    std::vector<int16_t> y(8000);
    ASSERT_EQ(zinsALC_G169_16s(x.data() + 8000, y.data(), 8000, obj.p), zinStsNoErr);
    ASSERT_EQ(zinsALCInit_G169_16s(obj.p), zinStsNoErr);
    expect_same(obj.fields(), zt::AlcModel{});
}

TEST(Alc, SettingsChangeOnlyTheirFields) {
    Object obj;
    const auto x = zt::at_level(zt::speech8k(), -30);
    std::vector<int16_t> y(4000);
    ASSERT_EQ(zinsALC_G169_16s(x.data() + 8000, y.data(), 4000, obj.p), zinStsNoErr);
    State want = obj.fields();
    ASSERT_EQ(zinsALCSetGain_G169_16s(20.0f, obj.p), zinStsNoErr);
    want.maxGain = 10.0f;
    ASSERT_EQ(zinsALCSetLevel_G169_16s(20.0f, 6.0f, obj.p), zinStsNoErr);
    want.targetLevel = static_cast<float>(32768.0 / std::pow(10.0, 20.0 / 20.0));
    want.maxLevel = static_cast<float>(32768.0 / std::pow(10.0, 6.0 / 20.0));
    const State got = obj.fields();
    EXPECT_EQ(std::memcmp(&got, &want, sizeof got), 0);
    // 0 dB: unit gain, full-scale limit. The defaults come back from their dB values.
    ASSERT_EQ(zinsALCSetGain_G169_16s(0.0f, obj.p), zinStsNoErr);
    ASSERT_EQ(zinsALCSetLevel_G169_16s(0.0f, 0.0f, obj.p), zinStsNoErr);
    EXPECT_EQ(obj.fields().maxGain, 1.0f);
    EXPECT_EQ(obj.fields().targetLevel, 32768.0f);
    EXPECT_EQ(obj.fields().maxLevel, 32768.0f);
    ASSERT_EQ(zinsALCSetLevel_G169_16s(26.1f, static_cast<float>(20.0 * std::log10(32768.0 / 32767.0)), obj.p),
              zinStsNoErr);
    EXPECT_NEAR(obj.fields().targetLevel, 1623.4912f, 0.001f);
    EXPECT_EQ(obj.fields().maxLevel, 32767.0f);
}

// The fourteen steps, sample for sample and field for field, on speech at
// every level, on noise, on full-scale bursts after silence and on steps.
TEST(Alc, EqualsThePlainStatementOnSpeech) {
    unsigned seed = 1;
    for (int db = -45; db <= -5; db += 5) expect_model(zt::at_level(zt::speech8k(), db), seed++);
}

TEST(Alc, EqualsThePlainStatementOnNoiseBurstsAndSteps) {
    const auto& sp = zt::speech8k();
    const std::vector<int16_t> quiet(16000, 0);
    for (double db : {-70.0, -50.0, -42.0, -38.0, -20.0, 0.0}) expect_model(zt::white_noise(40000, db, 3), 11);
    // Full-scale bursts after silence: random full-scale samples, a square
    // wave through -32768, and a single click.
    auto burst = zt::random16(800);
    std::vector<int16_t> square(800);
    for (std::size_t i = 0; i < square.size(); ++i) square[i] = (i / 4) % 2 ? 32767 : -32768;
    std::vector<int16_t> click(quiet);
    click[9001] = -32768;
    expect_model(zt::cat({quiet, burst, quiet, square, quiet, click, burst}), 12);
    // Level steps both ways and clicks in quiet speech.
    const std::vector<int16_t> half(sp.begin(), sp.begin() + sp.size() / 2);
    auto clicks = zt::at_level(half, -40);
    for (std::size_t i = 4000; i < clicks.size(); i += 8000) clicks[i] = 32767;
    expect_model(zt::cat({zt::at_level(half, -40), zt::at_level(half, -20), zt::at_level(half, -40), clicks}), 13);
}

TEST(Alc, EqualsThePlainStatementWithOtherSettings) {
    const auto x = zt::cat({zt::white_noise(8000, -60, 5), zt::at_level(zt::speech8k(), -35)});
    zt::AlcModel m;
    m.maxGain = static_cast<float>(std::pow(10.0, 20.0 / 20.0));
    m.targetLevel = static_cast<float>(32768.0 / std::pow(10.0, 15.0 / 20.0));
    m.maxLevel = static_cast<float>(32768.0 / std::pow(10.0, 10.0 / 20.0));
    expect_model(x, m, [](ZinALCState_G169_16s* p) {
        zinsALCSetGain_G169_16s(20.0f, p);
        zinsALCSetLevel_G169_16s(15.0f, 10.0f, p);
    }, 21);
}

// As the constants stand: once a spurt has been kept, the lifted noise value
// 1456.7665 * speechLevel exceeds noiseFloorMax and the noise estimate sits
// on it; levelRate never falls below 0.0025, so during the first spurt the
// noise estimate is never lifted.
TEST(Alc, NoiseEstimateAfterTheFirstSpurtAndTheLevelRateFloor) {
    const auto& sp = zt::speech8k();
    for (double db : {-45.0, -25.0, -5.0}) {
        const auto x = zt::cat({zt::white_noise(16000, -60, 9), zt::at_level(sp, db), zt::white_noise(16000, -70, 9),
                                zt::at_level(sp, db)});
        zt::AlcModel m;
        std::vector<int16_t> y(8);
        int kept = 0;
        for (std::size_t i = 0; i + 8 <= x.size(); i += 8) {
            const int spurts = m.spurtCount;  // as step 2 sees it
            m.block(&x[i], y.data());
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
        const auto x = zt::white_noise(8000 * 12, db, 17);
        Object obj;
        std::vector<int16_t> y(x.size());
        ASSERT_EQ(zinsALC_G169_16s(x.data(), y.data(), static_cast<int>(x.size()), obj.p), zinStsNoErr);
        if (db < -42) {
            EXPECT_EQ(obj.fields().spurtCount, 0);
            EXPECT_EQ(obj.fields().gain, 0.03125f);
        } else {
            EXPECT_EQ(obj.fields().spurtCount, 1);
            EXPECT_GT(obj.fields().gain, 2.0f);
        }
    }
}

// One block per call, to watch the state between blocks.
struct Stepper {
    Object obj;
    std::vector<int16_t> out;
    State step(const int16_t* x) {
        int16_t y[8];
        EXPECT_EQ(zinsALC_G169_16s(x, y, 8, obj.p), zinStsNoErr);
        out.insert(out.end(), y, y + 8);
        return obj.fields();
    }
};

TEST(Alc, ShortSpurtIsUndoneAndTheHangoverCountsExactly) {
    // A burst of 30 blocks, far above the noise estimate: a spurt too short to keep.
    const auto burst = zt::white_noise(240, -20, 4);
    const std::vector<int16_t> quiet(8, 0);
    Stepper st;
    const State before = st.step(quiet.data());
    for (std::size_t i = 0; i < burst.size(); i += 8) st.step(&burst[i]);
    State s = st.obj.fields();
    ASSERT_EQ(s.inSpurt, 1);
    ASSERT_EQ(s.spurtCount, 1);
    ASSERT_NE(s.speechPower, before.speechPower);
    // The peak level decays; the spurt ends at the 200th block at or under the threshold.
    int below = 0, blocks = 0;
    while (s.inSpurt && blocks < 2000) {
        s = st.step(quiet.data());
        ++blocks;
        below = s.peakLevel > s.threshold ? 0 : below + 1;
        EXPECT_EQ(s.silenceCount, below);
    }
    EXPECT_EQ(below, 200);
    EXPECT_EQ(s.spurtCount, 0);
    EXPECT_EQ(s.activeCount, 0);
    EXPECT_EQ(s.speechPower, before.speechPower);
    EXPECT_EQ(s.desiredGain, before.desiredGain);
    EXPECT_EQ(s.levelRate, before.levelRate);
    // A count past the hangover ends nothing.
    for (int i = 0; i < 100; ++i) EXPECT_EQ(st.step(quiet.data()).silenceCount, 200);
}

TEST(Alc, PeakLimiterDropsAtOnceAndTheSlewRecovers) {
    // Quiet speech brings the gain to its maximum; then one full-scale block.
    const auto x = zt::at_level(zt::speech8k(), -40);
    Stepper st;
    for (std::size_t i = 0; i < 8000 * 8; i += 8) st.step(&x[i]);
    ASSERT_GT(st.obj.fields().gain, 3.0f);
    const int16_t full[8] = {0, -32768, 100, 0, 0, 0, 0, 0};
    State s = st.step(full);
    EXPECT_EQ(s.blockPeak, 32768.0f);  // -32768 counts as 32768
    EXPECT_EQ(s.gain, 32767.0f / 32768.0f);
    EXPECT_EQ(s.gainSlew, 0.001f);
    EXPECT_EQ(st.out[st.out.size() - 7], -32767);
    const std::vector<int16_t> quiet(8, 0);
    for (int k = 0; k < 80; ++k) {
        const float slew = s.gainSlew;
        s = st.step(quiet.data());
        EXPECT_EQ(s.gainSlew, std::min(1.0f, slew + 0.1f * slew));
    }
    EXPECT_EQ(s.gainSlew, 1.0f);
}

TEST(Alc, MostNegativeSampleCountsAsFullScale) {
    const std::vector<int16_t> x(8, -32768);
    Stepper st;
    const State s = st.step(x.data());
    EXPECT_EQ(s.blockLevel, 32768.0f);
    EXPECT_EQ(s.blockPeak, 32768.0f);
    EXPECT_EQ(s.blockPower, 1073741824.0f);
}

}  // namespace
