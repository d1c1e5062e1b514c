// What the level control does to speech and noise: active speech levels
// (ITU-T P.56) in and out, saturation, and how fast the gain follows a step.
// The scalar statement, which the export equals bit for bit, shows the gain.
#include <gtest/gtest.h>

#include "alc_signals.h"

namespace {

// The level the control aims at: targetLevel over the final level factor.
const double kAimDbov = 20.0 * std::log10(1623.4912 / 0.89 / 32768.0);
constexpr double kMaxGainDb = 11.6;

TEST(AlcFigures, SpeechComesOutAtTheAimedLevel) {
    const std::vector<int16_t> sp16 = zc::read_speech(ZINSC_SOURCE_DIR "/data/speech-16k.wav");
    ASSERT_FALSE(sp16.empty() || zt::speech8k().empty());
    for (int rate : {8000, 16000})
        for (double db = -35; db <= -10; db += 5) {
            const auto x = zt::at_level(rate == 8000 ? zt::speech8k() : sp16, db, rate);
            zt::AlcModel m;
            const auto y = m.run(x);
            const double in = zc::active_level_dbov(x.data(), x.size(), rate);
            const double out = zc::active_level_dbov(y.data(), y.size(), rate);
            EXPECT_NEAR(out, std::min(kAimDbov, in + kMaxGainDb), 3.0) << rate << " Hz, " << in << " dBov in";
            EXPECT_LE(out, in + kMaxGainDb) << rate << " Hz, " << in << " dBov in";
            EXPECT_EQ(m.saturatedBlocks, 0) << rate << " Hz, " << in << " dBov in";
        }
}

TEST(AlcFigures, NoiseAloneFromInitStaysQuiet) {
    const auto x = zt::white_noise(8000 * 10, -50, 23);
    EXPECT_LT(zt::rms_dbov(zc::level_signal(x)), zt::rms_dbov(x) - 20.0);
}

// Speech in -50 dBov noise, or clean speech twice, then 12 s of the noise:
// the gain does not rise in the noise, and no block saturates.
TEST(AlcFigures, GainDoesNotRiseInNoiseAfterSpeech) {
    const auto noise = zt::white_noise(8000 * 12, -50, 31);
    for (double db : {-35.0, -25.0, -15.0}) {
        const auto s = zt::at_level(zt::speech8k(), db);
        const auto bg = zt::white_noise(s.size(), -50, 37);
        std::vector<int16_t> noisy(s.size());
        for (std::size_t i = 0; i < s.size(); ++i) noisy[i] = zt::clamp16(double(s[i]) + bg[i]);
        for (const auto& x : {zt::cat({zt::white_noise(16000, -50, 41), noisy, noise}),
                              zt::cat({s, std::vector<int16_t>(8000, 0), s, noise})}) {
            zt::AlcModel m;
            int16_t y[8];
            const std::size_t from = (x.size() - noise.size()) / 8;
            float start = 0;
            for (std::size_t b = 0; b < x.size() / 8; ++b) {
                m.block(&x[8 * b], y);
                if (b == from) start = m.gain;
                ASSERT_TRUE(b <= from || m.gain <= start) << db << " dBov, " << (b - from) / 1000.0 << " s into the noise";
            }
            EXPECT_EQ(m.saturatedBlocks, 0);
        }
    }
}

// -40 to -20 dBov and back: the time the gain takes to come half-way (in dB)
// and within 3 dB of where it settles; then full-scale clicks at full gain.
TEST(AlcFigures, LevelStepsAndClicks) {
    const auto lo = zt::at_level(zt::speech8k(), -40), hi = zt::at_level(zt::speech8k(), -20);
    auto clicks = lo;
    for (std::size_t i = 40003; i < clicks.size(); i += 12007) clicks[i] = i % 2 ? 32767 : -32768;
    const auto x = zt::cat({lo, hi, clicks});
    zt::AlcModel m;
    std::vector<double> gain_db;
    int16_t y[8];
    for (std::size_t b = 0; b < x.size() / 8; ++b) {
        m.block(&x[8 * b], y);
        gain_db.push_back(20.0 * std::log10(m.gain));
    }
    EXPECT_EQ(m.saturatedBlocks, 0);
    const std::size_t seg = lo.size() / 8;
    auto settle = [&](std::size_t step, double within) {  // seconds
        const double from = gain_db[step * seg - 1], to = gain_db[step * seg + 5000];
        for (std::size_t b = step * seg; b < (step + 1) * seg; ++b)
            if (std::fabs(gain_db[b] - to) <= (within < 0 ? std::fabs(to - from) / 2 : within)) return (b - step * seg) / 1000.0;
        return 1e9;
    };
    EXPECT_NEAR(gain_db[seg - 1], kMaxGainDb, 0.5);
    EXPECT_LE(settle(1, -1), 0.5);
    EXPECT_LE(settle(1, 3.0), 0.75);
    EXPECT_LE(settle(2, -1), 2.0);
    EXPECT_LE(settle(2, 3.0), 3.0);
}

}  // namespace
