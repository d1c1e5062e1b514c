#include "alc.h"

#include <algorithm>
#include <cmath>

namespace zc {

namespace {

// The peak limit at Init, 32767, as an attenuation below 32768.
const float kDefaultMaxLevelDb = static_cast<float>(20.0 * std::log10(32768.0 / 32767.0));
constexpr float kDefaultTargetDb = 26.1f;

ZinALCState_G169_16s* as_state(std::vector<unsigned char>& v) {
    return reinterpret_cast<ZinALCState_G169_16s*>(v.data());
}

}  // namespace

LevelControl::LevelControl(const LevelOptions& o) {
    int size = 0;
    zinsALCGetStateSize_G169_16s(&size);
    state_.resize(static_cast<std::size_t>(size));
    zinsALCInit_G169_16s(as_state(state_));
    if (o.target_db || o.max_level_db)
        status_ = zinsALCSetLevel_G169_16s(o.target_db.value_or(kDefaultTargetDb),
                                           o.max_level_db.value_or(kDefaultMaxLevelDb), as_state(state_));
    if (status_ == zinStsNoErr && o.max_gain_db) status_ = zinsALCSetGain_G169_16s(*o.max_gain_db, as_state(state_));
}

void LevelControl::process(const int16_t* pcm, std::size_t samples, std::vector<int16_t>& out) {
    if (status_ != zinStsNoErr) return;
    if (held_ > 0) {
        const std::size_t take = std::min<std::size_t>(samples, 8 - static_cast<std::size_t>(held_));
        std::copy(pcm, pcm + take, tail_ + held_);
        held_ += static_cast<int>(take);
        pcm += take;
        samples -= take;
        if (held_ < 8) return;
        const std::size_t at = out.size();
        out.resize(at + 8);
        zinsALC_G169_16s(tail_, out.data() + at, 8, as_state(state_));
        held_ = 0;
    }
    // Whole blocks straight from the caller's buffer, in calls of bounded length.
    constexpr std::size_t kChunk = std::size_t{1} << 20;
    std::size_t whole = samples & ~std::size_t{7};
    const std::size_t at = out.size();
    out.resize(at + whole);
    for (std::size_t done = 0; done < whole;) {
        const std::size_t n = std::min(kChunk, whole - done);
        zinsALC_G169_16s(pcm + done, out.data() + at + done, static_cast<int>(n), as_state(state_));
        done += n;
    }
    std::copy(pcm + whole, pcm + samples, tail_);
    held_ = static_cast<int>(samples - whole);
}

void LevelControl::finish(std::vector<int16_t>& out) {
    if (status_ != zinStsNoErr || held_ == 0) return;
    std::fill(tail_ + held_, tail_ + 8, int16_t{0});
    int16_t block[8];
    zinsALC_G169_16s(tail_, block, 8, as_state(state_));
    out.insert(out.end(), block, block + held_);
    held_ = 0;
}

std::vector<int16_t> level_signal(const std::vector<int16_t>& pcm, const LevelOptions& options) {
    LevelControl alc(options);
    std::vector<int16_t> out;
    out.reserve(pcm.size());
    alc.process(pcm.data(), pcm.size(), out);
    alc.finish(out);
    return out;
}

double active_level_dbov(const int16_t* pcm, std::size_t samples, int rate) {
    constexpr int kLevels = 15;           // thresholds 2^0 .. 2^14 for 16-bit samples
    constexpr double kMargin = 15.9;      // dB
    const double g = std::exp(-1.0 / (rate * 0.03));
    const auto hangover = static_cast<long>(std::lround(rate * 0.2));
    long active[kLevels] = {}, hang[kLevels];
    std::fill(hang, hang + kLevels, hangover);  // no activity before the first burst
    double p = 0, q = 0, sq = 0;
    for (std::size_t i = 0; i < samples; ++i) {
        const double x = pcm[i];
        sq += x * x;
        p = g * p + (1 - g) * std::fabs(x);
        q = g * q + (1 - g) * p;
        for (int j = 0; j < kLevels; ++j) {
            if (q >= std::ldexp(1.0, j)) {
                ++active[j];
                hang[j] = 0;
            } else if (hang[j] < hangover) {
                ++active[j];
                ++hang[j];
            }
        }
    }
    const double ref = 20.0 * std::log10(32768.0);
    auto activity_db = [&](int j) { return 10.0 * std::log10(sq / static_cast<double>(active[j])) - ref; };
    auto threshold_db = [&](int j) { return 20.0 * std::log10(std::ldexp(1.0, j)) - ref; };
    if (sq <= 0 || active[0] == 0) return -100.0;
    // The first threshold whose activity level lies less than the margin
    // above it; the level where the difference equals the margin lies between
    // it and the threshold below, and is interpolated linearly in dB.
    double prev_a = activity_db(0), prev_d = prev_a - threshold_db(0);
    if (prev_d <= kMargin) return prev_a;
    for (int j = 1; j < kLevels; ++j) {
        if (active[j] == 0) break;
        const double a = activity_db(j), d = a - threshold_db(j);
        if (d <= kMargin) return prev_a + (a - prev_a) * (prev_d - kMargin) / (prev_d - d);
        prev_a = a;
        prev_d = d;
    }
    return prev_a;
}

}  // namespace zc
