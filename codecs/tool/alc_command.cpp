// zinsc alc: a WAV file through the G.169 level control.
#include <sndfile.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "alc.h"
#include "wav.h"

namespace {

const char* const kAlcUsage =
    "usage: zinsc alc [--target DB] [--max-gain DB] [--max-level DB] IN.wav OUT.wav\n"
    "\n"
    "G.169 automatic level control of a mono 16-bit WAV at any rate; OUT has IN's rate and length.\n"
    "  --target DB      speech target, dB below full scale (default 26.1)\n"
    "  --max-gain DB    largest gain in dB (default 11.6)\n"
    "  --max-level DB   peak limit, dB below full scale (default: 32767)\n";

[[noreturn]] void alc_fail(int code, const std::string& msg) {
    std::fprintf(stderr, "zinsc alc: %s\n", msg.c_str());
    std::exit(code);
}

float db_value(const std::string& option, const char* text) {
    char* end = nullptr;
    const float v = std::strtof(text, &end);
    if (end == text || *end != '\0') alc_fail(2, "option " + option + " needs a number, not '" + text + "'");
    if (!(v >= 0.0f)) alc_fail(2, "option " + option + " takes a value of 0 dB or more");
    return v;
}

}  // namespace

int run_alc(int argc, char** argv) {
    zc::LevelOptions options;
    std::vector<std::string> files;
    for (int i = 0; i < argc; ++i) {
        const std::string s = argv[i];
        auto value = [&]() -> const char* {
            if (i + 1 >= argc) alc_fail(2, "option " + s + " needs a value");
            return argv[++i];
        };
        if (s == "-h" || s == "--help") {
            std::fputs(kAlcUsage, stdout);
            return 0;
        } else if (s == "--target") {
            options.target_db = db_value(s, value());
        } else if (s == "--max-gain") {
            options.max_gain_db = db_value(s, value());
        } else if (s == "--max-level") {
            options.max_level_db = db_value(s, value());
        } else if (s.size() > 1 && s[0] == '-') {
            alc_fail(2, "unknown option '" + s + "'; see zinsc alc --help");
        } else {
            files.push_back(s);
        }
    }
    if (files.size() != 2) alc_fail(2, "needs an input and an output file; see zinsc alc --help");

    std::vector<int16_t> pcm;
    zc::WavInfo info;
    std::string error;
    if (!zc::read_wav(files[0], pcm, info, error)) alc_fail(1, "cannot open '" + files[0] + "': " + error);
    if (info.channels != 1)
        alc_fail(1, "'" + files[0] + "' has " + std::to_string(info.channels) + " channels; the level control takes mono");

    const auto t0 = std::chrono::steady_clock::now();
    const std::vector<int16_t> out = zc::level_signal(pcm, options);
    const double t = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();

    SF_INFO sf{};
    sf.samplerate = info.rate;
    sf.channels = 1;
    sf.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* f = sf_open(files[1].c_str(), SFM_WRITE, &sf);
    if (!f) alc_fail(1, "cannot create '" + files[1] + "': " + sf_strerror(nullptr));
    sf_write_short(f, out.data(), static_cast<sf_count_t>(out.size()));
    sf_close(f);

    const double audio = info.rate > 0 ? double(pcm.size()) / info.rate : 0.0;
    std::printf("alc: %.2f s at %d Hz, active level %.1f dBov in, %.1f dBov out, %.0fx real time\n", audio, info.rate,
                zc::active_level_dbov(pcm.data(), pcm.size(), info.rate),
                zc::active_level_dbov(out.data(), out.size(), info.rate), t > 0 ? audio / t : 0.0);
    return 0;
}
