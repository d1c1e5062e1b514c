// WAV files on the caller's side, read through libsndfile.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zc {

struct WavInfo {
    int rate = 0;
    int channels = 0;
};

// Reads a sound file as interleaved 16-bit samples. On failure returns
// false with libsndfile's message in `error`.
bool read_wav(const std::string& path, std::vector<int16_t>& pcm, WavInfo& info, std::string& error);

// The samples of a mono file such as the bundled speech; empty if the file
// cannot be read.
std::vector<int16_t> read_speech(const std::string& path);

}  // namespace zc
