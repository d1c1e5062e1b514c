// The level control on the caller's side: any number of samples per call,
// the tail held over or padded, settings refused with their status; and the
// zinsc alc command on WAV files.
#include <gtest/gtest.h>
#include <sndfile.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "alc_model.h"
#include "alc_signals.h"

namespace {

TEST(AlcStage, AnyCallLengthGivesTheWholeSignalResult) {
    const std::vector<int16_t> x(zt::speech8k().begin(), zt::speech8k().begin() + 40001);
    const zc::LevelOptions o{25.0f, 3.0f, 6.0f};
    const auto whole = zc::level_signal(x, o);
    ASSERT_EQ(whole.size(), x.size());
    zt::AlcModel m;
    m.targetLevel = static_cast<float>(32768.0 / std::pow(10.0, 25.0 / 20));
    m.maxLevel = static_cast<float>(32768.0 / std::pow(10.0, 3.0 / 20));
    m.maxGain = static_cast<float>(std::pow(10.0, 6.0 / 20));
    EXPECT_EQ(m.run(x), whole) << "the export on the signal padded to whole blocks";
    std::mt19937 g(5);
    for (int trial = 0; trial < 4; ++trial) {
        zc::LevelControl alc(o);
        std::vector<int16_t> out;
        for (std::size_t at = 0; at < x.size();) {
            const std::size_t n = std::min<std::size_t>(x.size() - at, g() % (trial == 0 ? 9 : 700));
            std::vector<int16_t> chunk(x.begin() + at, x.begin() + at + n);  // exact size
            alc.process(chunk.data(), n, out);
            EXPECT_EQ(out.size(), (at + n) / 8 * 8);
            at += n;
        }
        alc.finish(out);
        EXPECT_EQ(out, whole) << "trial " << trial;
    }
}

TEST(AlcStage, RefusedSettings) {
    EXPECT_EQ(zc::LevelControl({-1.0f, {}, {}}).status(), zinStsRangeErr);
    EXPECT_EQ(zc::LevelControl({{}, -0.5f, {}}).status(), zinStsRangeErr);
    EXPECT_EQ(zc::LevelControl({{}, {}, -3.0f}).status(), zinStsRangeErr);
}

#ifdef ZINSC_TOOL

namespace fs = std::filesystem;

struct ToolRun {
    int status;
    std::string out, err;
};

// A scratch directory for this process, removed at exit.
struct Scratch {
    fs::path dir = fs::temp_directory_path() / ("zinsc_alc_test_" + std::to_string(::getpid()));
    Scratch() { fs::create_directories(dir); }
    ~Scratch() {
        std::error_code ec;
        fs::remove_all(dir, ec);
    }
};

fs::path scratch() {
    static const Scratch s;
    return s.dir;
}

std::string slurp(const fs::path& p) {
    std::ifstream f(p);
    std::stringstream s;
    s << f.rdbuf();
    return s.str();
}

ToolRun zinsc(const std::string& args) {
    const fs::path out = scratch() / "stdout", err = scratch() / "stderr";
    const std::string cmd = std::string(ZINSC_TOOL) + " alc " + args + " >" + out.string() + " 2>" + err.string();
    const int rc = std::system(cmd.c_str());
    return {WIFEXITED(rc) ? WEXITSTATUS(rc) : -1, slurp(out), slurp(err)};
}

void write_wav(const fs::path& p, int rate, int channels, const std::vector<int16_t>& pcm) {
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = channels;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* f = sf_open(p.c_str(), SFM_WRITE, &info);
    ASSERT_NE(f, nullptr);
    sf_write_short(f, pcm.data(), static_cast<sf_count_t>(pcm.size()));
    sf_close(f);
}

// OUT has IN's rate and length and equals the export on the whole signal.
TEST(AlcTool, LevelsAWavAtAnyRate) {
    const std::vector<int16_t> x = zt::at_level({zt::speech8k().begin(), zt::speech8k().begin() + 50001}, -35);
    const fs::path in = scratch() / "in.wav", out = scratch() / "out.wav";
    write_wav(in, 11025, 1, x);
    const ToolRun r = zinsc("--target 20 --max-gain 15 --max-level 1 " + in.string() + " " + out.string());
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("dBov in"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("real time"), std::string::npos) << r.out;
    std::vector<int16_t> y;
    zc::WavInfo info;
    std::string error;
    ASSERT_TRUE(zc::read_wav(out.string(), y, info, error)) << error;
    EXPECT_EQ(info.rate, 11025);
    EXPECT_EQ(info.channels, 1);
    EXPECT_EQ(y, zc::level_signal(x, {20.0f, 1.0f, 15.0f}));
}

TEST(AlcTool, ClearFailures) {
    const fs::path out = scratch() / "x.wav", stereo = scratch() / "stereo.wav";
    ToolRun r = zinsc("--help");
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("--max-gain"), std::string::npos);
    r = zinsc((scratch() / "missing.wav").string() + " " + out.string());
    EXPECT_NE(r.status, 0);
    EXPECT_NE(r.err.find("cannot open"), std::string::npos) << r.err;
    write_wav(stereo, 8000, 2, std::vector<int16_t>(1600, 100));
    r = zinsc(stereo.string() + " " + out.string());
    EXPECT_NE(r.status, 0);
    EXPECT_NE(r.err.find("2 channels"), std::string::npos) << r.err;
    r = zinsc("--target -3 " + stereo.string() + " " + out.string());
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("0 dB or more"), std::string::npos) << r.err;
    r = zinsc("--max-gain loud " + stereo.string() + " " + out.string());
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(zinsc(stereo.string()).status, 2) << "one file is a usage error";
}

#endif

}  // namespace
