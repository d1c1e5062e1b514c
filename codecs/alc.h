// The level control on the caller's side: a G.169 automatic level control
// from the public API, taking any number of samples per call, and the active
// speech level (ITU-T P.56 method B) to report what it did.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "zinsc.h"

namespace zc {

struct LevelOptions {
    std::optional<float> target_db;     // speech target below full scale (26.1 by default)
    std::optional<float> max_level_db;  // peak limit below full scale (32767 by default)
    std::optional<float> max_gain_db;   // largest gain (11.6 by default)
};

class LevelControl {
public:
    explicit LevelControl(const LevelOptions& options = {});
    // zinStsNoErr, or the status that refused an option; nothing runs then.
    ZinStatus status() const { return status_; }
    // Appends the levelled samples of every whole block of 8 so far; up to
    // seven samples wait for the next call.
    void process(const int16_t* pcm, std::size_t samples, std::vector<int16_t>& out);
    // Pads the waiting samples with zeros to a block and appends their output.
    void finish(std::vector<int16_t>& out);

private:
    std::vector<unsigned char> state_;
    int16_t tail_[8] = {};
    int held_ = 0;
    ZinStatus status_ = zinStsNoErr;
};

// A whole signal through a fresh level control: the output has the input's
// length and equals the export's on the signal padded with zeros to a whole
// number of blocks.
std::vector<int16_t> level_signal(const std::vector<int16_t>& pcm, const LevelOptions& options = {});

// Active speech level in dB below a full-scale RMS of 32768 (ITU-T P.56
// method B: 30 ms envelope, 200 ms hangover, 15.9 dB margin); -100 for a
// signal with no activity.
double active_level_dbov(const int16_t* pcm, std::size_t samples, int rate);

}  // namespace zc
