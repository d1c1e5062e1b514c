// The G.169 level control: the five exports on the checking harness; at 8000 Hz
// on speech and noise, the export against the statement on each whole signal,
// with output levels (ITU-T P.56), gain speed, saturation and the limiter; what
// the constants give; the caller's side and the zinsc tool.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "alc_model.h"
#include "check.h"

namespace {

using zt::Buf;
using zt::by_off;
using zt::Gen;

ZinALCState_G169_16s* as_state(const Buf<uint8_t>& b) { return b.as<ZinALCState_G169_16s>(); }
double p10(double db) { return std::pow(10.0, db / 20.0); }

// The size query, Init and the two settings on a state of random bytes.
struct Set { float a, b; Buf<uint8_t> state; Buf<int> size; auto bufs() { return std::tie(state, size); } };

void check_set(const char* name, ZinStatus (*call)(Set&), void (*plain)(Set&, zt::AlcModel&), std::vector<zt::Check<Set>> checks) {
    auto make = [](Gen& g) {
        std::vector<uint8_t> v(124);
        for (auto& x : v) x = static_cast<uint8_t>(g.pick(0, 255));
        return Set{by_off(g, {0.0f, 11.6f, 26.1f, 0.25f, 6.0f, 40.0f, 90.3f}), by_off(g, {0.0f, 0.5f, 3.0f, 20.0f}),
                   Buf<uint8_t>(v, g.next_off(1)), g.out<int>(1)};
    };
    auto statement = [plain](Set& s) { auto m = zt::AlcModel::load(s.state.p()); plain(s, m); m.store(s.state.p()); return zinStsNoErr; };
    zt::check(zt::Export<Set>{name, make, call, statement, std::move(checks)}, zt::Sweep{{1}, {0, 1, 2, 3, 4, 5, 6}, {zt::Pattern::Random}});
}

TEST(AlcExports, SizeInitAndSettings) {
    check_set("zinsALCGetStateSize_G169_16s", [](Set& s) { return zinsALCGetStateSize_G169_16s(s.size); },
              [](Set& s, zt::AlcModel&) { s.size[0] = 124; }, {zt::null(&Set::size)});
    check_set("zinsALCInit_G169_16s", [](Set& s) { return zinsALCInit_G169_16s(as_state(s.state)); },
              [](Set&, zt::AlcModel& m) { m = zt::AlcModel{}; }, {zt::null(&Set::state)});
    check_set("zinsALCSetGain_G169_16s", [](Set& s) { return zinsALCSetGain_G169_16s(s.a, as_state(s.state)); },
              [](Set& s, zt::AlcModel& m) { m.maxGain = static_cast<float>(p10(s.a)); },
              {zt::null(&Set::state), zt::set(zinStsRangeErr, &Set::a, -0.001f, "maxGainDb below 0")});
    check_set("zinsALCSetLevel_G169_16s", [](Set& s) { return zinsALCSetLevel_G169_16s(s.a, s.b, as_state(s.state)); },
              [](Set& s, zt::AlcModel& m) { m.targetLevel = static_cast<float>(32768.0 / p10(s.a)), m.maxLevel = static_cast<float>(32768.0 / p10(s.b)); },
              {zt::null(&Set::state), zt::set(zinStsRangeErr, &Set::a, -1.0f, "targetDb below 0"),
               zt::set(zinStsRangeErr, &Set::b, -0.5f, "maxDb below 0")});
}

// The block process from states that the statement reached on speech, noise
// or nothing, on every extreme input.
TEST(AlcExports, Process) {
    struct A { Buf<int16_t> src, dst; int len; Buf<uint8_t> state; auto bufs() { return std::tie(dst, state); } };
    static const std::vector<int16_t> loud = zt::speech_at(-15), quiet = zt::speech_at(-40),
                                      noise = zt::white_noise(40000, -38, 2);
    auto make = [](Gen& g) {
        zt::AlcModel m;
        const std::vector<int16_t>* before = by_off(g, {&loud, &quiet, &noise, &loud, &noise, &noise});
        const int n = by_off(g, {0, 800, 24000, 8000, 16000, 3200, 40000});
        m.run(before->data(), std::vector<int16_t>(n).data(), n);
        A a{g.in16(g.len), g.out<int16_t>(g.len), g.len, Buf<uint8_t>(124, g.next_off(1))};
        m.store(a.state.p());
        return a;
    };
    auto plain = [](A& a) { auto m = zt::AlcModel::load(a.state.p()); m.run(a.src.p(), a.dst.p(), a.len); m.store(a.state.p()); return zinStsNoErr; };
    zt::Export<A> e{"zinsALC_G169_16s", make, [](A& a) { return zinsALC_G169_16s(a.src, a.dst, a.len, as_state(a.state)); }, plain,
                    {zt::null(&A::src), zt::null(&A::dst), zt::null(&A::state), zt::set(zinStsRangeErr, &A::len, 0),
                     zt::set(zinStsRangeErr, &A::len, 4, "len below 8"),
                     zt::set(zinStsRangeErr, &A::len, 12, "len not a multiple of 8")}};
    e.split = [](A& a, int cut) {
        const ZinStatus st = zinsALC_G169_16s(a.src, a.dst, cut, as_state(a.state));
        return st != zinStsNoErr ? st : zinsALC_G169_16s(a.src.at(cut), a.dst.at(cut), a.len - cut, as_state(a.state));
    };
    zt::check(e, zt::Sweep{{8, 16, 24, 40, 64, 160, 1024, 4000}, {0, 1, 2, 3, 4, 5, 6, 7},
                           {std::begin(zt::kPatterns), std::end(zt::kPatterns)}, {8, 24, 72}});
}

// The statement block by block from m, watch(m, block) after each; the export
// in one call on exact-size buffers and a state at an odd address must give
// the same output and state.
template <class Watch>
std::vector<int16_t> run(const std::vector<int16_t>& x, zt::AlcModel& m, Watch watch) {
    zt::Buf<int16_t> src(x), dst(x.size());
    zt::Buf<uint8_t> state(124, 3);
    m.store(state.p());
    std::vector<int16_t> y(x.size());
    for (std::size_t b = 0; b < x.size() / 8; ++b) m.block(&x[8 * b], &y[8 * b]), watch(m, b);
    EXPECT_EQ(zinsALC_G169_16s(src, dst, static_cast<int>(x.size()), state.as<ZinALCState_G169_16s>()), zinStsNoErr);
    EXPECT_EQ(dst.vec(), y);
    uint8_t want[124];
    m.store(want);
    EXPECT_EQ(std::memcmp(state.p(), want, 124), 0) << "state";
    return y;
}
std::vector<int16_t> run(const std::vector<int16_t>& x, zt::AlcModel& m) { return run(x, m, [](auto&, auto) {}); }

// Speech at -45 to -5 dBov comes out within 3 dB of the aimed level
// (targetLevel over the final level factor) or of the input plus the 11.6 dB
// maximum gain, whichever is lower, never above the latter, within 3 dB of
// reference figures measured on other speech, and unsaturated.
TEST(Alc, SpeechLevels) {
    const double aim = 20.0 * std::log10(1623.4912 / 0.89 / 32768.0), reference[] = {-33.3, -28.9, -24.3, -23.7, -23.6, -23.5};
    for (int i = 0; i < 9; ++i) {
        const double in = -45 + 5 * i;
        zt::AlcModel m;
        const auto y = run(zt::speech_at(in), m);
        const double out = zc::active_level_dbov(y.data(), y.size(), 8000);
        EXPECT_NEAR(out, std::min(aim, in + 11.6), 3.0) << in;
        EXPECT_LE(out, in + 11.6 + 0.01) << in;
        EXPECT_TRUE(i > 5 || std::fabs(out - reference[i]) <= 3.0) << in << " dBov in, " << out << " out";
        EXPECT_EQ(m.saturatedBlocks, 0) << in;
    }
}

// -40 to -20 dBov and back: the time the gain takes to come half-way (in dB)
// and within 3 dB of where it settles; then full-scale clicks at full gain,
// which the limiter meets at once: -32768 counts as 32768.
TEST(Alc, LevelStepsAndClicks) {
    const auto lo = zt::speech_at(-40), hi = zt::speech_at(-20);
    auto clicks = lo;
    for (std::size_t i = 40003; i < clicks.size(); i += 12007) clicks[i] = i % 2 ? 32767 : -32768;
    zt::AlcModel m;
    std::vector<double> db;
    int limited = 0;
    run(zt::cat({lo, hi, clicks}), m, [&](const zt::AlcModel& s, std::size_t) {
        db.push_back(20.0 * std::log10(s.gain));
        limited += s.blockPeak == 32768.0f && s.gain == 32767.0f / 32768.0f && s.gainSlew == 0.001f;
    });
    EXPECT_EQ(m.saturatedBlocks, 0);
    EXPECT_EQ(limited, 5);
    const std::size_t seg = lo.size() / 8;
    auto seconds = [&](std::size_t step, double within) {  // within < 0: half-way
        const double from = db[step * seg - 1], to = db[step * seg + 5000];
        std::size_t b = step * seg;
        while (b < (step + 1) * seg && std::fabs(db[b] - to) > (within < 0 ? std::fabs(to - from) / 2 : within)) ++b;
        return (b - step * seg) / 1000.0;
    };
    EXPECT_NEAR(db[seg - 1], 11.6, 0.5);
    EXPECT_LE(seconds(1, -1), 0.5);
    EXPECT_LE(seconds(1, 3.0), 0.75);
    // Back up, the gain waits for the level estimate to fall, which each
    // pause speeds up; this synthetic speech has few (1.25 s and 2.5 s).
    EXPECT_LE(seconds(2, -1), 1.5);
    EXPECT_LE(seconds(2, 3.0), 3.0);
}

// Noise alone at -50 dBov keeps the gain of Init. After speech, clean or in
// -50 dBov noise (after a spurt that is undone), the gain does not rise in 12 s
// of the noise. As the
// constants stand, once a spurt has been kept the lifted noise value
// 1456.7665 * speechLevel exceeds noiseFloorMax and the noise estimate sits on
// it; levelRate never falls below 0.0025, so the first spurt never lifts it.
TEST(Alc, NoiseAndTheNoiseEstimate) {
    zt::AlcModel init;
    run(zt::white_noise(80000, -50, 23), init);
    EXPECT_EQ(init.gain, 0.03125f);
    const auto noise = zt::white_noise(8000 * 12, -50, 31), burst = zt::white_noise(240, -20, 4);  // a spurt too short to keep
    for (double level : {-45.0, -25.0, -5.0}) {
        const auto s = zt::speech_at(level), bg = zt::white_noise(s.size(), -50, 37);
        std::vector<int16_t> noisy(s.size());
        for (std::size_t i = 0; i < s.size(); ++i) noisy[i] = zt::clamp16(s[i] + bg[i]);
        for (int clean : {0, 1}) {
            const auto x = clean ? zt::cat({s, std::vector<int16_t>(8000), s, noise}) : zt::cat({burst, noise, noisy, noise});
            zt::AlcModel m;
            const std::size_t from = (x.size() - noise.size()) / 8;
            float start = 0;
            int rose = 0, spurts = 0, kept = 0, wrong = 0;  // spurts: as step 2 of the next block sees them
            run(x, m, [&](const zt::AlcModel& st, std::size_t b) {
                b == from ? start = st.gain : rose += b > from && st.gain > start;
                wrong += st.levelRate < 0.0025f || (spurts >= 2 && st.noiseLevel != st.noiseFloorMax);
                kept += spurts >= 2;
                spurts = st.spurtCount;
            });
            EXPECT_EQ(rose + wrong + m.saturatedBlocks, 0) << level << " dBov: gain rose " << rose << ", facts broken " << wrong;
            EXPECT_TRUE(!clean || kept > 10000) << level;
        }
    }
}

// The caller's side: any number of samples per call gives the whole-signal
// result; zinsc alc writes the export's on the file padded with zeros.
TEST(AlcStage, AnyCallLengthAndTheTool) {
    const std::vector<int16_t> x(zt::speech8k.begin(), zt::speech8k.begin() + 40001);
    zc::LevelControl alc;
    std::vector<int16_t> out;
    for (std::size_t at = 0, n = 0; at < x.size(); at += n) {
        n = std::min<std::size_t>(x.size() - at, zt::rng()() % 700);
        const std::vector<int16_t> chunk(x.begin() + at, x.begin() + at + n);  // exact size
        alc.process(chunk.data(), n, out);
    }
    alc.finish(out);
    EXPECT_EQ(out, zc::level_signal(x));
    EXPECT_EQ(zc::LevelControl({{}, {}, -3.0f}).status(), zinStsRangeErr);
#ifdef ZINSC_TOOL
    const std::string in = ZINSC_SOURCE_DIR "/data/speech-8k.wav", tool = std::string(ZINSC_TOOL) + " alc ",
                      wav = std::filesystem::temp_directory_path() / ("zinsc_alc_" + std::to_string(::getpid()) + ".wav");
    ASSERT_EQ(std::system((tool + "--target 25 --max-level 3 --max-gain 6 " + in + " " + wav + " >/dev/null").c_str()), 0);
    zc::WavInfo info;
    std::string error;
    ASSERT_TRUE(zc::read_wav(wav, out, info, error)) << error;
    std::filesystem::remove(wav);
    zt::AlcModel m;
    m.targetLevel = static_cast<float>(32768.0 / p10(25)), m.maxLevel = static_cast<float>(32768.0 / p10(3)), m.maxGain = static_cast<float>(p10(6));
    auto y = run(zt::cat({zt::speech8k, std::vector<int16_t>(7)}), m);
    y.resize(zt::speech8k.size());
    EXPECT_EQ(out, y);
    EXPECT_EQ(info.rate, 8000);
    EXPECT_NE(std::system((tool + "--target -3 " + in + " " + wav + " 2>/dev/null").c_str()), 0);
#endif
}

}  // namespace
