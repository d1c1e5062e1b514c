// A whole sub-band echo canceller on the caller's side, assembled from the
// echo kit of the public header only: three filter-bank objects (far-end
// analysis, near-end analysis, error synthesis), a ring of far-end sub-band
// vectors, an adaptive and a fixed (shadow) coefficient set, the sub-band
// controller, and a double-talk guard of its own. The output is the linear
// canceller's: no suppression, no comfort noise.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace zc {

struct EchoOptions {
    int rate = 8000;         // 8000 or 16000
    int tail_ms = 128;       // the longest echo path, bulk delay included
    bool fixed_point = false;  // the 16-bit path of the kit
    bool builtin = false;    // the bank's built-in operating point instead of
                             // this canceller's own window and half the shift
};

class EchoCanceller {
public:
    // Null if the options are out of range (rate, tail of 1 to 2000 ms).
    static std::unique_ptr<EchoCanceller> make(const EchoOptions& o);
    virtual ~EchoCanceller() = default;

    // Samples per block, and the delay from the microphone to the output.
    virtual int block() const = 0;
    virtual int delay() const = 0;
    // One block of far-end and microphone samples in, one block of output.
    virtual void process(const int16_t* far, const int16_t* mic, int16_t* out) = 0;

    // A whole signal: the output has the microphone's length and lines up
    // with it (the bank's and the guard's delays taken out).
    std::vector<int16_t> run(const std::vector<int16_t>& far, const std::vector<int16_t>& mic);
};

}  // namespace zc
