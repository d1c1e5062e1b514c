// The zinsc tool run as a program: clear messages and a non-zero exit for a
// missing file, a wrong rate or channel count and an unknown codec; encode,
// decode and roundtrip on the bundled speech.
#include <gtest/gtest.h>
#include <sndfile.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#ifdef ZINSC_TOOL

namespace {

namespace fs = std::filesystem;

struct ToolRun {
    int status;
    std::string out, err;
};

// A scratch directory for this process, removed at exit.
struct Scratch {
    fs::path dir = fs::temp_directory_path() / ("zinsc_tool_test_" + std::to_string(::getpid()));
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
    const std::string cmd = std::string(ZINSC_TOOL) + " " + args + " >" + out.string() + " 2>" + err.string();
    const int rc = std::system(cmd.c_str());
    return {WIFEXITED(rc) ? WEXITSTATUS(rc) : -1, slurp(out), slurp(err)};
}

const std::string kSpeech8k = ZINSC_SOURCE_DIR "/data/speech-8k.wav";
const std::string kSpeech16k = ZINSC_SOURCE_DIR "/data/speech-16k.wav";

sf_count_t frames(const fs::path& p, int* rate = nullptr) {
    SF_INFO info{};
    SNDFILE* f = sf_open(p.c_str(), SFM_READ, &info);
    if (!f) return -1;
    sf_close(f);
    if (rate) *rate = info.samplerate;
    return info.frames;
}

TEST(Tool, Help) {
    const ToolRun r = zinsc("--help");
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("roundtrip"), std::string::npos);
    EXPECT_NE(zinsc("").status, 0) << "no command is a usage error";
}

void write_wav(const fs::path& p, int rate, int channels, const std::vector<short>& pcm) {
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = channels;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* f = sf_open(p.c_str(), SFM_WRITE, &info);
    ASSERT_NE(f, nullptr);
    sf_write_short(f, pcm.data(), static_cast<sf_count_t>(pcm.size()));
    sf_close(f);
}

void write_bytes(const fs::path& p, const std::vector<unsigned char>& v) {
    std::ofstream(p, std::ios::binary).write(reinterpret_cast<const char*>(v.data()), static_cast<std::streamsize>(v.size()));
}

// Bad input of every kind: a clear message and a non-zero exit, no output.
TEST(Tool, ClearFailures) {
    const fs::path d = scratch();
    write_wav(d / "stereo.wav", 8000, 2, std::vector<short>(1600, 100));
    write_wav(d / "empty.wav", 8000, 1, {});
    std::vector<unsigned char> noise(33 * 20);
    for (std::size_t i = 0; i < noise.size(); ++i) noise[i] = static_cast<unsigned char>(i * 37 + 11);
    noise[0] = 0x3A;  // the first frame lacks the signature nibble
    write_bytes(d / "noise.gsm", noise);
    write_bytes(d / "empty.gsm", {});
    const std::string out = std::string(" ").append((d / "x.out").string());
    const struct {
        std::string args, message;
    } cases[] = {
        {"roundtrip -c g726-99 " + kSpeech8k + out, "unknown codec 'g726-99'; known: g726-16"},
        {"encode -c g726-32 " + (d / "missing.wav").string() + out, "cannot open"},
        {"roundtrip -c g726-32 " + kSpeech16k + out, "16000 Hz"},
        {"encode -c g726-32 " + (d / "stereo.wav").string() + out, "2 channels"},
        {"encode -c g726-32 " + (d / "empty.wav").string() + out, "holds no samples"},
        {"encode -c g726-32 --law xyz " + kSpeech8k + out, "unknown law"},
        {"decode -c gsm-fr " + (d / "noise.gsm").string() + out, "frame 0 (octet 0) lacks the GSM 06.10 signature"},
        {"decode -c gsm-fr " + (d / "empty.gsm").string() + out, "is empty"},
    };
    for (const auto& c : cases) {
        fs::remove(d / "x.out");
        const ToolRun r = zinsc(c.args);
        EXPECT_NE(r.status, 0) << c.args;
        EXPECT_NE(r.err.find(c.message), std::string::npos) << c.args << ": " << r.err;
        EXPECT_FALSE(fs::exists(d / "x.out")) << c.args << ": no partial result";
    }
}

// A stream that stops inside a frame: its whole frames decode, with a warning
// that counts the octets left over.
TEST(Tool, TrailingPartialFrameIsReported) {
    const fs::path bits = scratch() / "speech.gsm", cut = scratch() / "cut.gsm", wav = scratch() / "cut.wav";
    ASSERT_EQ(zinsc("encode -c gsm-fr " + kSpeech8k + " " + bits.string()).status, 0);
    std::ifstream in(bits, std::ios::binary);
    std::vector<unsigned char> v((std::istreambuf_iterator<char>(in)), {});
    v.resize(33 * 10 + 20);
    write_bytes(cut, v);
    const ToolRun r = zinsc("decode -c gsm-fr " + cut.string() + " " + wav.string());
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.err.find("ends in 20 octets that make no whole gsm-fr frame"), std::string::npos) << r.err;
    EXPECT_EQ(frames(wav), 1600);
}

// Roundtrip equals encode then decode, and reports its summary line.
TEST(Tool, EncodeDecodeRoundtrip) {
    const fs::path bits = scratch() / "speech.g726", dec = scratch() / "dec.wav", rt = scratch() / "rt.wav";
    ToolRun r = zinsc("encode -c g726-24 -p aal2 " + kSpeech8k + " " + bits.string());
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("real time"), std::string::npos) << r.out;
    const sf_count_t n = frames(kSpeech8k);
    EXPECT_EQ(static_cast<sf_count_t>(fs::file_size(bits)), (n * 3 + 7) / 8);
    r = zinsc("decode -c g726-24 -p aal2 " + bits.string() + " " + dec.string());
    ASSERT_EQ(r.status, 0) << r.err;
    r = zinsc("roundtrip -c g726-24 -p aal2 " + kSpeech8k + " " + rt.string());
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("SNR"), std::string::npos) << r.out;
    int rate = 0;
    EXPECT_GE(frames(dec, &rate), n);
    EXPECT_EQ(rate, 8000);
    EXPECT_EQ(frames(rt), frames(dec));
    EXPECT_EQ(slurp(dec), slurp(rt)) << "decode of encode equals roundtrip";

    // A-law at the decoder writes a G.711 WAV.
    r = zinsc("roundtrip -c g726-32 --law alaw " + kSpeech8k + " " + rt.string());
    ASSERT_EQ(r.status, 0) << r.err;
    SF_INFO info{};
    SNDFILE* f = sf_open(rt.c_str(), SFM_READ, &info);
    ASSERT_NE(f, nullptr);
    sf_close(f);
    EXPECT_EQ(info.format & SF_FORMAT_SUBMASK, SF_FORMAT_ALAW);
}

TEST(Tool, Demo) {
    const ToolRun r = zinsc("demo");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("8.1.1"), std::string::npos);
    for (const char* name : {"g726-16", "g726-24", "g726-32", "g726-40"}) EXPECT_NE(r.out.find(name), std::string::npos);
}

}  // namespace

#endif
