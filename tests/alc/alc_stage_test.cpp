// The level control on the caller's side: any number of samples per call,
// the tail held over or padded, settings refused with their status; and the
// zinsc alc command on WAV files.
#include <gtest/gtest.h>
#include <sndfile.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "alc_signals.h"
#include "test_util.h"

namespace {

TEST(AlcStage, AnyCallLengthGivesTheWholeSignalResult) {
    const std::vector<int16_t> x(zt::speech8k().begin(), zt::speech8k().begin() + 40001);
    const zc::LevelOptions o{25.0f, 3.0f, 6.0f};
    const auto whole = zc::level_signal(x, o);
    zt::AlcModel m;
    m.targetLevel = static_cast<float>(32768.0 / std::pow(10.0, 25.0 / 20));
    m.maxLevel = static_cast<float>(32768.0 / std::pow(10.0, 3.0 / 20));
    m.maxGain = static_cast<float>(std::pow(10.0, 6.0 / 20));
    EXPECT_EQ(m.run(x), whole) << "the export on the signal padded to whole blocks";
    for (std::size_t most : {9u, 700u}) {
        zc::LevelControl alc(o);
        std::vector<int16_t> out;
        for (std::size_t at = 0, n = 0; at < x.size(); at += n) {
            n = std::min<std::size_t>(x.size() - at, zt::rng()() % most);
            const std::vector<int16_t> chunk(x.begin() + at, x.begin() + at + n);  // exact size
            alc.process(chunk.data(), n, out);
            ASSERT_EQ(out.size(), (at + n) / 8 * 8);
        }
        alc.finish(out);
        EXPECT_EQ(out, whole);
    }
    // A target alone keeps the peak limit of Init, 32767.
    zt::AlcModel t;
    t.targetLevel = static_cast<float>(32768.0 / std::pow(10.0, 20.0 / 20));
    EXPECT_EQ(zc::level_signal(x, {20.0f, {}, {}}), t.run(x));
    EXPECT_EQ(zc::LevelControl({-1.0f, {}, {}}).status(), zinStsRangeErr);
    EXPECT_EQ(zc::LevelControl({{}, -0.5f, {}}).status(), zinStsRangeErr);
    EXPECT_EQ(zc::LevelControl({{}, {}, -3.0f}).status(), zinStsRangeErr);
}

#ifdef ZINSC_TOOL
namespace fs = std::filesystem;

// Runs zinsc alc with its output in files; the exit status and stderr.
std::pair<int, std::string> zinsc_alc(const std::string& args, std::string* out = nullptr) {
    const fs::path o = fs::temp_directory_path() / ("zinsc_alc_" + std::to_string(::getpid()));
    const int rc = std::system((std::string(ZINSC_TOOL) + " alc " + args + " >" + o.string() + ".out 2>" + o.string() + ".err").c_str());
    std::stringstream so, se;
    so << std::ifstream(o.string() + ".out").rdbuf();
    se << std::ifstream(o.string() + ".err").rdbuf();
    fs::remove(o.string() + ".out");
    fs::remove(o.string() + ".err");
    if (out) *out = so.str();
    return {WIFEXITED(rc) ? WEXITSTATUS(rc) : -1, se.str()};
}

void write_wav(const std::string& p, int rate, int channels, const std::vector<int16_t>& pcm) {
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = channels;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* f = sf_open(p.c_str(), SFM_WRITE, &info);
    ASSERT_NE(f, nullptr);
    sf_write_short(f, pcm.data(), static_cast<sf_count_t>(pcm.size()));
    sf_close(f);
}

// OUT has IN's rate and length and equals the export on the whole signal;
// bad files and options end in a message and a non-zero exit.
TEST(AlcTool, LevelsAWavAtAnyRate) {
    const std::string dir = fs::temp_directory_path() / ("zinsc_alc_wav_" + std::to_string(::getpid()));
    fs::create_directories(dir);
    const std::string in = dir + "/in.wav", out = dir + "/out.wav", stereo = dir + "/stereo.wav";
    const auto x = zt::at_level({zt::speech8k().begin(), zt::speech8k().begin() + 50001}, -35);
    write_wav(in, 11025, 1, x);
    write_wav(stereo, 8000, 2, std::vector<int16_t>(1600, 100));
    std::string summary;
    auto [rc, err] = zinsc_alc("--target 20 --max-gain 15 --max-level 1 " + in + " " + out, &summary);
    ASSERT_EQ(rc, 0) << err;
    EXPECT_NE(summary.find("dBov out"), std::string::npos) << summary;
    std::vector<int16_t> y;
    zc::WavInfo info;
    ASSERT_TRUE(zc::read_wav(out, y, info, err)) << err;
    EXPECT_EQ(info.rate, 11025);
    EXPECT_EQ(y, zc::level_signal(x, {20.0f, 1.0f, 15.0f}));
    EXPECT_NE(zinsc_alc(dir + "/missing.wav " + out).second.find("cannot open"), std::string::npos);
    EXPECT_NE(zinsc_alc(stereo + " " + out).second.find("2 channels"), std::string::npos);
    EXPECT_EQ(zinsc_alc("--target -3 " + in + " " + out), std::make_pair(2, std::string("zinsc alc: option --target takes a value of 0 dB or more\n")));
    EXPECT_EQ(zinsc_alc("--max-gain loud " + in + " " + out).first, 2);
    EXPECT_EQ(zinsc_alc(in).first, 2) << "one file is a usage error";
    EXPECT_EQ(zinsc_alc("--help").first, 0);
    fs::remove_all(dir);
}
#endif

}  // namespace
