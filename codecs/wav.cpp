#include "wav.h"

#include <sndfile.h>

namespace zc {

bool read_wav(const std::string& path, std::vector<int16_t>& pcm, WavInfo& info, std::string& error) {
    SF_INFO sf{};
    SNDFILE* f = sf_open(path.c_str(), SFM_READ, &sf);
    if (!f) {
        error = sf_strerror(nullptr);
        return false;
    }
    info.rate = sf.samplerate;
    info.channels = sf.channels;
    pcm.resize(static_cast<std::size_t>(sf.frames) * static_cast<std::size_t>(sf.channels));
    const sf_count_t got = sf_read_short(f, pcm.data(), static_cast<sf_count_t>(pcm.size()));
    sf_close(f);
    pcm.resize(static_cast<std::size_t>(got < 0 ? 0 : got));
    return true;
}

std::vector<int16_t> read_speech(const std::string& path) {
    std::vector<int16_t> pcm;
    WavInfo info;
    std::string error;
    if (!read_wav(path, pcm, info, error)) pcm.clear();
    return pcm;
}

}  // namespace zc
