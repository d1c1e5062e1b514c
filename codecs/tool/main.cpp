// zinsc: the command-line tool over the whole codecs of codecs/. WAV files
// are read and written with libsndfile; coded streams are raw octets.
#include <sndfile.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "codec.h"
#include "wav.h"
#include "zinsc.h"

namespace {

namespace fs = std::filesystem;

const char* const kUsage =
    "usage: zinsc <command> [options] <input> <output>\n"
    "\n"
    "commands:\n"
    "  encode     WAV (mono, 16-bit) to a coded stream of octets\n"
    "  decode     coded stream to WAV\n"
    "  roundtrip  WAV through encoder and decoder to WAV, with the SNR\n"
    "  demo       the bundled speech through every codec, as a table\n"
    "  list       the codecs\n"
    "\n"
    "options:\n"
    "  -c, --codec NAME       codec, e.g. g726-32 (see `zinsc list`)\n"
    "  -l, --law LAW          G.726: linear (default), alaw or ulaw; for encode the input\n"
    "                         passes through G.711 first, for decode the output WAV is G.711\n"
    "  -p, --packing ORDER    G.726: rfc3551 (default) or aal2\n"
    "      --wav49            GSM 06.10: 65-octet frame pairs\n"
    "  -h, --help             this text\n";

struct Args {
    std::string command, codec, in, out;
    zc::CodecOptions options;
};

[[noreturn]] void fail(int code, const std::string& msg) {
    std::fprintf(stderr, "zinsc: %s\n", msg.c_str());
    std::exit(code);
}

std::string known_codecs() {
    std::string s;
    for (const zc::CodecInfo* c : zc::all_codecs()) s += (s.empty() ? "" : ", ") + std::string(c->name);
    return s;
}

const zc::CodecInfo& codec_or_fail(const std::string& name) {
    if (name.empty()) fail(2, "no codec given (-c NAME); known: " + known_codecs());
    const zc::CodecInfo* c = zc::find_codec(name);
    if (!c) fail(2, "unknown codec '" + name + "'; known: " + known_codecs());
    return *c;
}

Args parse(int argc, char** argv) {
    Args a;
    std::vector<std::string> files;
    for (int i = 1; i < argc; ++i) {
        const std::string s = argv[i];
        auto value = [&]() -> std::string {
            if (i + 1 >= argc) fail(2, "option " + s + " needs a value");
            return argv[++i];
        };
        if (s == "-h" || s == "--help") {
            std::fputs(kUsage, stdout);
            std::exit(0);
        } else if (s == "-c" || s == "--codec") {
            a.codec = value();
        } else if (s == "-l" || s == "--law") {
            const std::string v = value();
            if (v == "linear") a.options.law = zc::PcmLaw::Linear;
            else if (v == "alaw" || v == "a") a.options.law = zc::PcmLaw::ALaw;
            else if (v == "ulaw" || v == "mulaw" || v == "u") a.options.law = zc::PcmLaw::MuLaw;
            else fail(2, "unknown law '" + v + "' (linear, alaw, ulaw)");
        } else if (s == "-p" || s == "--packing") {
            const std::string v = value();
            if (v == "rfc3551") a.options.packing = zc::Packing::Rfc3551;
            else if (v == "aal2") a.options.packing = zc::Packing::Aal2;
            else fail(2, "unknown packing '" + v + "' (rfc3551, aal2)");
        } else if (s == "--wav49") {
            a.options.wav49 = true;
        } else if (s.size() > 1 && s[0] == '-') {
            fail(2, "unknown option '" + s + "'; see zinsc --help");
        } else if (a.command.empty()) {
            a.command = s;
        } else {
            files.push_back(s);
        }
    }
    if (a.command.empty()) {
        std::fputs(kUsage, stderr);
        std::exit(2);
    }
    if (a.command == "encode" || a.command == "decode" || a.command == "roundtrip") {
        if (files.size() != 2) fail(2, a.command + " needs an input and an output file; see zinsc --help");
        a.in = files[0];
        a.out = files[1];
    } else if (!files.empty()) {
        fail(2, a.command + " takes no files");
    }
    return a;
}

// Reads a mono WAV at the codec's rate as 16-bit samples.
std::vector<int16_t> read_wav(const std::string& path, int rate) {
    std::vector<int16_t> pcm;
    zc::WavInfo info;
    std::string error;
    if (!zc::read_wav(path, pcm, info, error)) fail(1, "cannot open '" + path + "': " + error);
    if (info.channels != 1)
        fail(1, "'" + path + "' has " + std::to_string(info.channels) + " channels; the codecs take mono");
    if (info.rate != rate)
        fail(1, "'" + path + "' is sampled at " + std::to_string(info.rate) + " Hz; the codec needs " +
                    std::to_string(rate) + " Hz");
    if (pcm.empty()) fail(1, "'" + path + "' holds no samples");
    return pcm;
}

void write_wav(const std::string& path, int rate, const std::vector<int16_t>& pcm, int format) {
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = 1;
    info.format = SF_FORMAT_WAV | format;
    SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!f) fail(1, "cannot create '" + path + "': " + sf_strerror(nullptr));
    sf_write_short(f, pcm.data(), static_cast<sf_count_t>(pcm.size()));
    sf_close(f);
}

std::vector<uint8_t> read_bytes(const std::string& path) {
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) fail(1, "cannot open '" + path + "': " + std::strerror(errno));
    std::vector<uint8_t> v;
    uint8_t buf[65536];
    std::size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) v.insert(v.end(), buf, buf + n);
    std::fclose(f);
    if (v.empty()) fail(1, "'" + path + "' is empty");
    return v;
}

void write_bytes(const std::string& path, const std::vector<uint8_t>& v) {
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) fail(1, "cannot create '" + path + "': " + std::strerror(errno));
    if (!v.empty()) std::fwrite(v.data(), 1, v.size(), f);
    std::fclose(f);
}

// Decoder output as 16-bit linear, whatever law it speaks.
std::vector<int16_t> to_linear(const std::vector<int16_t>& out, zc::PcmLaw law) {
    if (law == zc::PcmLaw::Linear) return out;
    std::vector<int16_t> v(out.size());
    for (std::size_t i = 0; i < out.size(); ++i) {
        const auto c = static_cast<uint8_t>(out[i]);
        v[i] = law == zc::PcmLaw::ALaw ? zc::alaw_to_linear(c) : zc::ulaw_to_linear(c);
    }
    return v;
}

// SNR in dB of y against x, at the decoder delay (0 to 64 samples) that
// gives the best value.
double snr_db(const std::vector<int16_t>& x, const std::vector<int16_t>& y) {
    double best = -1e9;
    for (std::size_t lag = 0; lag <= 64 && lag < y.size(); ++lag) {
        double s = 0, e = 0;
        for (std::size_t i = 0; i + lag < y.size() && i < x.size(); ++i) {
            const double d = double(x[i]) - double(y[i + lag]);
            s += double(x[i]) * x[i];
            e += d * d;
        }
        const double v = e == 0 ? 999.0 : 10.0 * std::log10(s / e);
        if (v > best) best = v;
    }
    return best;
}

using Clock = std::chrono::steady_clock;
double seconds_since(Clock::time_point t) { return std::chrono::duration<double>(Clock::now() - t).count(); }

struct Result {
    double audio_s = 0, speed = 0, snr = 0;
    std::vector<int16_t> decoded;
};

Result roundtrip(const zc::CodecInfo& c, const zc::CodecOptions& o, const std::vector<int16_t>& pcm) {
    Result r;
    auto enc = c.make_encoder(o);
    auto dec = c.make_decoder(o);
    std::vector<uint8_t> bits;
    const auto t0 = Clock::now();
    enc->encode(pcm.data(), pcm.size(), bits);
    enc->finish(bits);
    dec->decode(bits.data(), bits.size(), r.decoded);
    const double t = seconds_since(t0);
    r.audio_s = double(pcm.size()) / c.sample_rate;
    r.speed = t > 0 ? r.audio_s / t : 0;
    r.snr = snr_db(pcm, to_linear(r.decoded, o.law));
    return r;
}

int sndfile_format(zc::PcmLaw law) {
    return law == zc::PcmLaw::ALaw ? SF_FORMAT_ALAW : law == zc::PcmLaw::MuLaw ? SF_FORMAT_ULAW : SF_FORMAT_PCM_16;
}

int run_encode(const Args& a) {
    const zc::CodecInfo& c = codec_or_fail(a.codec);
    const auto pcm = read_wav(a.in, c.sample_rate);
    auto enc = c.make_encoder(a.options);
    std::vector<uint8_t> bits;
    const auto t0 = Clock::now();
    enc->encode(pcm.data(), pcm.size(), bits);
    enc->finish(bits);
    const double t = seconds_since(t0);
    write_bytes(a.out, bits);
    const double audio = double(pcm.size()) / c.sample_rate;
    std::printf("encode %s: %.2f s of audio, %.1f kbit/s, %.0fx real time\n", c.name, audio, c.bit_rate / 1000.0,
                t > 0 ? audio / t : 0.0);
    return 0;
}

int run_decode(const Args& a) {
    const zc::CodecInfo& c = codec_or_fail(a.codec);
    const auto bits = read_bytes(a.in);
    auto dec = c.make_decoder(a.options);
    std::vector<int16_t> out;
    const auto t0 = Clock::now();
    dec->decode(bits.data(), bits.size(), out);
    const double t = seconds_since(t0);
    if (const std::string e = dec->error(); !e.empty()) fail(1, "'" + a.in + "': " + e);
    if (const std::size_t left = dec->pending_octets())
        std::fprintf(stderr, "zinsc: warning: '%s' ends in %zu octets that make no whole %s frame; they were ignored\n",
                     a.in.c_str(), left, c.name);
    if (out.empty()) fail(1, "'" + a.in + "' holds no whole " + std::string(c.name) + " frame");
    write_wav(a.out, c.sample_rate, to_linear(out, a.options.law), sndfile_format(a.options.law));
    const double audio = double(out.size()) / c.sample_rate;
    std::printf("decode %s: %.2f s of audio, %.1f kbit/s, %.0fx real time\n", c.name, audio, c.bit_rate / 1000.0,
                t > 0 ? audio / t : 0.0);
    return 0;
}

int run_roundtrip(const Args& a) {
    const zc::CodecInfo& c = codec_or_fail(a.codec);
    const auto pcm = read_wav(a.in, c.sample_rate);
    const Result r = roundtrip(c, a.options, pcm);
    write_wav(a.out, c.sample_rate, to_linear(r.decoded, a.options.law), sndfile_format(a.options.law));
    std::printf("roundtrip %s: %.2f s of audio, %.1f kbit/s, %.0fx real time, SNR %.2f dB\n", c.name, r.audio_s,
                c.bit_rate / 1000.0, r.speed, r.snr);
    return 0;
}

// The bundled speech: $ZINSC_DATA_DIR, beside the executable in the build or
// install tree, or the source tree this tool was built from.
fs::path data_dir() {
    std::vector<fs::path> candidates;
    if (const char* env = std::getenv("ZINSC_DATA_DIR")) candidates.emplace_back(env);
    std::error_code ec;
    const fs::path exe = fs::read_symlink("/proc/self/exe", ec);
    if (!ec) {
        const fs::path dir = exe.parent_path();
        candidates.push_back(dir / "data");
        candidates.push_back(dir / "../../data");
        candidates.push_back(dir / "../share/zinsc/data");
    }
#ifdef ZINSC_DATA_DIR
    candidates.emplace_back(ZINSC_DATA_DIR);
#endif
    for (const fs::path& p : candidates)
        if (fs::exists(p / "speech-8k.wav", ec)) return p;
    fail(1, "cannot find the bundled speech (data/speech-8k.wav); set ZINSC_DATA_DIR");
}

int run_demo() {
    const ZinLibraryVersion* v = zinscGetLibVersion();
    std::printf("%s %s\n\n", v->Name, v->Version);
    const fs::path dir = data_dir();
    std::printf("%-10s %10s %10s %14s\n", "codec", "kbit/s", "SNR dB", "x real time");
    for (const zc::CodecInfo* c : zc::all_codecs()) {
        const fs::path file = dir / (c->sample_rate == 16000 ? "speech-16k.wav" : "speech-8k.wav");
        const auto pcm = read_wav(file.string(), c->sample_rate);
        const Result r = roundtrip(*c, zc::CodecOptions{}, pcm);
        std::printf("%-10s %10.1f %10.2f %14.0f\n", c->name, c->bit_rate / 1000.0, r.snr, r.speed);
    }
    return 0;
}

int run_list() {
    for (const zc::CodecInfo* c : zc::all_codecs())
        std::printf("%-10s %5d Hz %7.1f kbit/s  %s\n", c->name, c->sample_rate, c->bit_rate / 1000.0, c->description);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const Args a = parse(argc, argv);
    if (a.command == "encode") return run_encode(a);
    if (a.command == "decode") return run_decode(a);
    if (a.command == "roundtrip") return run_roundtrip(a);
    if (a.command == "demo") return run_demo();
    if (a.command == "list") return run_list();
    fail(2, "unknown command '" + a.command + "'; see zinsc --help");
}
