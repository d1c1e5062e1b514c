// Whole ITU-T G.722.1 codec (7 kHz, 16 kHz sampling, 24 and 32 kbit/s) and
// its Annex C (14 kHz, 32 kHz sampling, 24, 32 and 48 kbit/s) on the public
// API: the library gives the window fold, the DCT-IV and the region coder;
// this side keeps the frame loop, the region powers and categories, the rate
// control, the bit stream, and the decoder's envelope, vector decoding,
// noise fill and frame-error handling.
//
// Stream formats: by default RFC 5577, each frame's 16-bit words with the
// most significant bit first; with the ITU stream format, ITU-T G.192 (a sync
// word 0x6B21, or 0x6B20 for an erased frame, the bit count, then one word
// per bit, 0x007F for 0 and 0x0081 for 1), as the conformance sequences are.
#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "codec.h"
#include "g7221_tables.h"
#include "zinsc.h"

namespace zc::g7221 {
namespace {

constexpr int kRegionSize = 20;
constexpr int kMaxN = 640;
constexpr int kMaxRegions = 28;
constexpr int kDiffMin = -12, kDiffMax = 11;
constexpr int kEsfAdjust = 7;       // the region power offset of the first index
constexpr int kPowerNegatives = 24; // power indices below zero in the standard deviation table

// ---- the basic operators this side needs -------------------------------------
int16_t sat16(int32_t v) { return static_cast<int16_t>(std::clamp<int32_t>(v, -32768, 32767)); }
int32_t sat32(int64_t v) { return static_cast<int32_t>(std::clamp<int64_t>(v, INT32_MIN, INT32_MAX)); }
int16_t abs16(int16_t v) { return v == -32768 ? 32767 : static_cast<int16_t>(v < 0 ? -v : v); }
int16_t shl16(int16_t v, int n) { return sat16(int32_t{v} * (1 << n)); }
int16_t mult(int16_t a, int16_t b) { return sat16((int32_t{a} * b) >> 15); }
int norm16(int16_t v) {
    if (v == 0) return 0;
    if (v == -1) return 15;
    int n = 0;
    for (int32_t x = v < 0 ? ~v : v; x < 0x4000; x <<= 1) ++n;
    return n;
}

struct Mode {
    int n, regions, control_bits, bits;
    int possibilities() const { return 1 << control_bits; }
};

// ---- shared by both sides: the categorisation of G.722.1 clause 4.5 -----------

// Offset of the categories by binary search: the largest whose expected bits
// reach the available bits less 32.
int calc_offset(const int* power, int regions, int available) {
    int answer = -32;
    for (int delta = 32; delta > 0; delta >>= 1) {
        const int test = answer + delta;
        int bits = 0;
        for (int r = 0; r < regions; ++r) bits += kExpectedBits[std::clamp((test - power[r]) >> 1, 0, 7)];
        if (bits >= available - 32) answer = test;
    }
    return answer;
}

// Initial categories and the order in which rate control moves regions
// between categories (the balances).
void categorize(int available, const Mode& m, const int* power, int* cats, int* balances) {
    if (available > m.n) available = ((available - m.n) * 5 >> 3) + m.n;
    const int offset = calc_offset(power, m.regions, available);
    int maxc[kMaxRegions], minc[kMaxRegions];
    int expected = 0;
    for (int r = 0; r < m.regions; ++r) {
        cats[r] = maxc[r] = minc[r] = std::clamp((offset - power[r]) >> 1, 0, 7);
        expected += kExpectedBits[cats[r]];
    }
    int hi = expected, lo = expected;
    const int p = m.possibilities();
    int tmp[2 * 32];
    int maxp = p, minp = p;
    // The chosen regions carry over from one step to the next when no region
    // qualifies, as in the reference.
    int at_max = 0, at_min = 0;
    auto bits = [](int c) { return kExpectedBits[std::clamp(c, 0, 7)]; };
    for (int j = 0; j < p - 1; ++j) {
        if (hi + lo <= 2 * available) {
            int best = 99;
            for (int r = 0; r < m.regions; ++r)
                if (maxc[r] > 0 && offset - power[r] - 2 * maxc[r] < best) best = offset - power[r] - 2 * maxc[r], at_max = r;
            tmp[--maxp] = at_max;
            hi -= bits(maxc[at_max]);
            hi += bits(--maxc[at_max]);
        } else {
            int best = -99;
            for (int r = m.regions - 1; r >= 0; --r)
                if (minc[r] < 7 && offset - power[r] - 2 * minc[r] > best) best = offset - power[r] - 2 * minc[r], at_min = r;
            tmp[minp++] = at_min;
            lo -= bits(minc[at_min]);
            lo += bits(++minc[at_min]);
        }
    }
    for (int r = 0; r < m.regions; ++r) cats[r] = maxc[r];
    for (int j = 0; j < p - 1; ++j) balances[j] = tmp[maxp++];
}

// ---- encoder -------------------------------------------------------------------

// MSB-first writer of one frame's bits into 16-bit words; bits past the
// frame's size are dropped.
struct BitWriter {
    uint16_t* words;
    int bits = 0, limit;
    uint64_t acc = 0;
    int held = 0;
    void put(uint32_t code, int n) {
        if (n > limit - bits) {
            if (limit == bits) return;
            code >>= n - (limit - bits);
            n = limit - bits;
        }
        acc = acc << n | (code & static_cast<uint32_t>((uint64_t{1} << n) - 1));
        held += n;
        bits += n;
        for (; held >= 16; held -= 16) *words++ = static_cast<uint16_t>(acc >> (held - 16));
    }
};

class Encoder final : public zc::Encoder {
public:
    Encoder(Mode m, bool itu) : m_(m), itu_(itu) {}

    void encode(const int16_t* pcm, std::size_t samples, std::vector<uint8_t>& out) override {
        while (samples > 0) {
            const std::size_t k = std::min<std::size_t>(samples, static_cast<std::size_t>(m_.n - fill_));
            std::memcpy(frame_ + fill_, pcm, k * sizeof(int16_t));
            fill_ += static_cast<int>(k);
            pcm += k;
            samples -= k;
            if (fill_ == m_.n) {
                code_frame(out);
                fill_ = 0;
            }
        }
    }
    void finish(std::vector<uint8_t>& out) override {
        if (fill_ == 0) return;
        std::fill(frame_ + fill_, frame_ + m_.n, int16_t{0});
        code_frame(out);
        fill_ = 0;
    }

private:
    void code_frame(std::vector<uint8_t>& out) {
        int16_t x[kMaxN], coefs[kMaxN];
        zinsDecomposeMLTToDCT_G7221_16s(frame_, history_, x, m_.n);
        std::memcpy(history_, frame_, sizeof(int16_t) * static_cast<std::size_t>(m_.n));
        const int shift = mag_shift(x);
        for (int i = 0; i < m_.n; ++i) x[i] = shift > 0 ? shl16(x[i], shift) : static_cast<int16_t>(x[i] >> -shift);
        zinsDCTFwd_G7221_16s(x, coefs, m_.n);
        uint16_t words[960 / 16] = {};
        code_coefs(coefs, shift, words);
        write_frame(words, out);
    }

    // The normalising shift of the windowed block, from its peak and the sum
    // of its magnitudes.
    int mag_shift(const int16_t* x) const {
        int peak = 0;
        int32_t sum = 0;
        for (int i = 0; i < m_.n; ++i) {
            peak = std::max<int>(peak, abs16(x[i]));
            sum += abs16(x[i]);
        }
        int shift = 0;
        if (peak < 14000) {
            const int t = peak < 438 ? peak + 1 : peak;
            const int n = norm16(static_cast<int16_t>((t * 9587 * 2) >> 20));
            shift = n == 0 ? 9 : n - 6;
        }
        if (peak < (sum >> 7)) --shift;
        return shift;
    }

    void code_coefs(int16_t* coefs, int shift, uint16_t* words) {
        const int regions = m_.regions;
        int power[kMaxRegions], drp_bits[kMaxRegions + 1], cats[kMaxRegions], balances[31];
        uint32_t drp_codes[kMaxRegions + 1];
        // Region powers (G.722.1 4.3): log2 of the energy in half steps.
        for (int r = 0; r < regions; ++r) {
            int32_t acc = 0;
            for (int j = 0; j < kRegionSize; ++j) {
                const int16_t c = coefs[r * kRegionSize + j];
                acc = sat32(int64_t{acc} + int32_t{c} * c);
            }
            int ps = 0;
            while (acc & 0x7FFF0000) acc >>= 1, ++ps;
            while (acc <= 32767 && ps + 15 >= 0) acc = sat32(int64_t{acc} * 2), --ps;
            acc >>= 1;
            if (acc >= 28963) ++ps;
            power[r] = ps - 2 * shift + 35 - kPowerNegatives;
        }
        // Valleys raised so that every step down fits the difference code.
        for (int r = regions - 2; r >= 0; --r) power[r] = std::max(power[r], power[r + 1] - kDiffMax);
        power[0] = std::clamp(power[0], 1 - kEsfAdjust, 31 - kEsfAdjust);
        int envelope = 5;
        drp_bits[0] = 5;
        drp_codes[0] = static_cast<uint32_t>(power[0] + kEsfAdjust);
        for (int r = 1; r < regions; ++r) power[r] = std::clamp(power[r], -8 - kEsfAdjust, 31 - kEsfAdjust);
        for (int r = 1; r < regions; ++r) {
            const int j = std::max(power[r] - power[r - 1], kDiffMin) - kDiffMin;
            power[r] = power[r - 1] + j + kDiffMin;
            drp_bits[r] = kDrpBits[r][j];
            drp_codes[r] = kDrpCodes[r][j];
            envelope += drp_bits[r];
        }
        const int available = m_.bits - envelope - m_.control_bits;
        categorize(available, m_, power, cats, balances);

        // Loud regions are scaled down so that their power index fits the coder.
        for (int r = 0; r < regions; ++r) {
            power[r] += 2 * shift + kPowerNegatives;
            const int n = (power[r] - 39) >> 1;
            if (n > 0) {
                for (int j = 0; j < kRegionSize; ++j) {
                    int16_t& c = coefs[r * kRegionSize + j];
                    c = static_cast<int16_t>(((int32_t{c} * 65536 + 32768) >> n) >> 16);
                }
                power[r] -= 2 * n;
            }
        }

        // Rate control (G.722.1 4.6): start from the middle categorisation,
        // then move along the balances until the regions' bits fit. Each
        // region's words sit four to a region as the reference lays them out,
        // so a long region spills into the next one's first words.
        uint32_t region_words[4 * kMaxRegions + 2] = {};
        int region_bits[kMaxRegions] = {};
        auto code_region = [&](int r) {
            if (cats[r] >= 7) return region_bits[r] = 0;
            Zin32u w[6];
            int n = 0;
            zinsHuffmanEncode_G722_16s32u(cats[r], power[r], coefs + r * kRegionSize, w, &n);
            std::copy(w, w + (n - 1) / 32 + 1, region_words + 4 * r);
            return region_bits[r] = n;
        };
        const int p = m_.possibilities();
        int control = 0;
        for (; control < p / 2 - 1; ++control) ++cats[balances[control]];
        int total = 0;
        for (int r = 0; r < regions; ++r) total += code_region(r);
        while (total < available && control > 0) {
            const int r = balances[--control];
            --cats[r];
            total -= region_bits[r];
            total += code_region(r);
        }
        while (total > available && control < p - 1) {
            const int r = balances[control++];
            ++cats[r];
            total -= region_bits[r];
            total += code_region(r);
        }

        // The frame: envelope, categorisation control, the regions' bits,
        // cut at the frame's size; what is left is filled with 1 bits.
        BitWriter w{words, 0, m_.bits};
        for (int r = 0; r < regions; ++r) w.put(drp_codes[r], drp_bits[r]);
        w.put(static_cast<uint32_t>(control), m_.control_bits);
        for (int r = 0; r < regions; ++r)
            for (int b = 0; b < region_bits[r]; b += 32) w.put(region_words[4 * r + b / 32] >> (32 - std::min(32, region_bits[r] - b)), std::min(32, region_bits[r] - b));
        while (w.bits < m_.bits) w.put(0xFFFF, 16);
    }

    void write_frame(const uint16_t* words, std::vector<uint8_t>& out) const {
        auto word = [&](uint16_t v) {
            out.push_back(static_cast<uint8_t>(v & 0xFF));
            out.push_back(static_cast<uint8_t>(v >> 8));
        };
        if (!itu_) {
            for (int i = 0; i < m_.bits / 16; ++i) {
                out.push_back(static_cast<uint8_t>(words[i] >> 8));
                out.push_back(static_cast<uint8_t>(words[i] & 0xFF));
            }
            return;
        }
        word(0x6B21);
        word(static_cast<uint16_t>(m_.bits));
        for (int i = 0; i < m_.bits; ++i) word((words[i >> 4] >> (15 - (i & 15))) & 1 ? 0x0081 : 0x007F);
    }

    Mode m_;
    bool itu_;
    int16_t frame_[kMaxN] = {};
    int16_t history_[kMaxN] = {};
    int fill_ = 0;
};

// ---- decoder -------------------------------------------------------------------

struct BitReader {
    const uint16_t* words;
    int pos = 0, left;
    int bit() {
        const int at = pos++;
        return (words[at >> 4] >> (15 - (at & 15))) & 1;
    }
};

class Decoder final : public zc::Decoder {
public:
    Decoder(Mode m, bool itu) : m_(m), itu_(itu) {}

    void decode(const uint8_t* data, std::size_t bytes, std::vector<int16_t>& out) override {
        const std::size_t unit = itu_ ? static_cast<std::size_t>(2 * (m_.bits + 2)) : static_cast<std::size_t>(m_.bits / 8);
        while (bytes > 0 && error_.empty()) {
            const std::size_t k = std::min(bytes, unit - fill_);
            std::memcpy(buf_ + fill_, data, k);
            fill_ += k;
            data += k;
            bytes -= k;
            if (fill_ < unit) break;
            fill_ = 0;
            uint16_t words[960 / 16] = {};
            bool erased = false;
            if (!read_frame(words, erased)) return;
            const std::size_t at = out.size();
            out.resize(at + static_cast<std::size_t>(m_.n));
            decode_frame(words, erased, out.data() + at);
            ++frames_;
        }
    }
    std::string error() const override { return error_; }
    std::size_t pending_octets() const override { return fill_; }

private:
    bool read_frame(uint16_t* words, bool& erased) {
        if (!itu_) {
            for (int i = 0; i < m_.bits / 16; ++i) words[i] = static_cast<uint16_t>(buf_[2 * i] << 8 | buf_[2 * i + 1]);
            return true;
        }
        auto word = [&](int i) { return static_cast<uint16_t>(buf_[2 * i] | buf_[2 * i + 1] << 8); };
        const std::string where = "frame " + std::to_string(frames_) + ": ";
        if (word(0) != 0x6B21 && word(0) != 0x6B20) return fail(where + "no G.192 sync word (0x6B21 or 0x6B20)");
        if (word(1) != m_.bits) return fail(where + "G.192 length " + std::to_string(word(1)) + ", the codec's frame has " + std::to_string(m_.bits) + " bits");
        erased = word(0) == 0x6B20;
        for (int i = 0; i < m_.bits; ++i) {
            const uint16_t b = word(2 + i);
            if (b == 0x0081)
                words[i >> 4] |= static_cast<uint16_t>(0x8000u >> (i & 15));
            else if (b != 0x007F && !(erased && b == 0))
                return fail(where + "G.192 bit word " + std::to_string(b) + " is neither 0x007F nor 0x0081");
        }
        return true;
    }
    bool fail(std::string why) {
        error_ = std::move(why);
        return false;
    }

    int16_t rand_word() {
        int16_t w = static_cast<int16_t>(seed_[0] + seed_[3]);
        if (w & 0x8000) w = static_cast<int16_t>(w + 1);
        seed_[3] = seed_[2];
        seed_[2] = seed_[1];
        seed_[1] = seed_[0];
        seed_[0] = w;
        return w;
    }

    // G.722.1 clause 5: envelope, categories, vectors, noise fill, and the
    // four frame-error tests. False when the frame is in error.
    bool decode_coefs(const uint16_t* words, int16_t* coefs, int& shift) {
        const int regions = m_.regions;
        BitReader in{words, 0, m_.bits};
        int power[kMaxRegions], stddev[kMaxRegions], cats[kMaxRegions], balances[31];
        int index = 0;
        for (int i = 0; i < 5; ++i) index = index * 2 + in.bit();
        in.left -= 5;
        power[0] = index - kEsfAdjust;
        for (int r = 1; r < regions; ++r) {
            int node = 0;
            do {
                node = kDrpTree[r][node][in.bit()];
                --in.left;
            } while (node > 0);
            power[r] = power[r - 1] - node + kDiffMin;
        }
        int sum = 0, max_index = 0;
        for (int r = 0; r < regions; ++r) {
            const int i = std::clamp(power[r] + kPowerNegatives, 0, 63);
            max_index = std::max(max_index, i);
            sum = sat16(sum + kRegionStdDev[i]);
        }
        int s = 9;
        while (s >= 0 && (sum >= 8 || max_index > 28)) --s, sum >>= 1, max_index -= 2;
        shift = s;
        for (int r = 0; r < regions; ++r) stddev[r] = kRegionStdDev[std::clamp(power[r] + kPowerNegatives + 2 * s, 0, 63)];
        int control = 0;
        for (int i = 0; i < m_.control_bits; ++i) control = control * 2 + in.bit();
        in.left -= m_.control_bits;
        categorize(in.left, m_, power, cats, balances);
        for (int i = 0; i < control; ++i) ++cats[balances[i]];

        static constexpr const int16_t (*kTrees[7])[2] = {kVqTree0, kVqTree1, kVqTree2, kVqTree3, kVqTree4, kVqTree5, kVqTree6};
        bool out_of_bits = false;
        for (int r = 0; r < regions; ++r) {
            int cat = cats[r];
            int16_t* c = coefs + r * kRegionSize;
            const int16_t sd = static_cast<int16_t>(stddev[r]);
            if (cat < 7) {
                const int dim = kVectorDimension[cat], kmax1 = kMaxBin[cat] + 1;
                int16_t* p = c;
                for (int v = 0; v < kNumberOfVectors[cat] && !out_of_bits; ++v) {
                    int node = 0;
                    do {
                        if (in.left <= 0) {
                            out_of_bits = true;
                            break;
                        }
                        node = kTrees[cat][node][in.bit()];
                        --in.left;
                    } while (node > 0);
                    if (out_of_bits) break;
                    int k[5], nonzero = 0, q = -node;
                    for (int j = dim - 1; j >= 0; --j) {
                        const int d = mult(static_cast<int16_t>(q), kMaxBinPlusOneInverse[cat]);
                        k[j] = q - d * kmax1;
                        q = d;
                        nonzero += k[j] != 0;
                    }
                    if (in.left < nonzero) {
                        out_of_bits = true;
                        break;
                    }
                    int signs = 0;
                    for (int j = 0; j < nonzero; ++j) signs = signs * 2 + in.bit();
                    in.left -= nonzero;
                    int bit = nonzero ? 1 << (nonzero - 1) : 0;
                    for (int j = 0; j < dim; ++j) {
                        int16_t value = static_cast<int16_t>((int32_t{sd} * kCentroid[cat][k[j]]) >> 12);
                        if (value != 0) {
                            if ((signs & bit) == 0) value = value == -32768 ? 32767 : static_cast<int16_t>(-value);
                            bit >>= 1;
                        }
                        *p++ = value;
                    }
                }
                if (out_of_bits) {
                    for (int j = r + 1; j < regions; ++j) cats[j] = 7;
                    cat = 7;
                }
            }
            // Noise fill: categories 5 and 6 where the value is zero, 7 everywhere.
            if (cat >= 5) {
                const int16_t pos = mult(sd, kNoiseFill[cat - 5]);
                const int16_t neg = pos == -32768 ? 32767 : static_cast<int16_t>(-pos);
                for (int half = 0; half < 2; ++half) {
                    int16_t w = rand_word();
                    for (int j = 0; j < 10; ++j) {
                        int16_t& v = c[10 * half + j];
                        if (cat == 7 || v == 0) {
                            v = (w & 1) ? pos : neg;
                            w = static_cast<int16_t>(w >> 1);
                        }
                    }
                }
            }
        }
        if (out_of_bits) --in.left;

        // Frame errors: leftover bits not all 1, bits overrun, power out of range.
        bool error = false;
        if (in.left > 0) {
            for (int i = 0; i < in.left; ++i) error |= in.bit() == 0;
        } else if (control < m_.possibilities() - 1 && in.left < 0) {
            error = true;
        }
        for (int r = 0; r < regions; ++r) error |= power[r] + kEsfAdjust > 31 || power[r] + kEsfAdjust < -8;
        return !error;
    }

    void decode_frame(const uint16_t* words, bool erased, int16_t* pcm) {
        const int valid = m_.regions * kRegionSize;
        int16_t coefs[kMaxN] = {};
        int shift = 0;
        const bool good = !erased && decode_coefs(words, coefs, shift);
        // A frame in error repeats the last good coefficients once, then is silent.
        if (good) {
            std::copy(coefs, coefs + valid, old_coefs_);
            old_shift_ = shift;
        } else {
            std::copy(old_coefs_, old_coefs_ + valid, coefs);
            std::fill(old_coefs_, old_coefs_ + valid, int16_t{0});
            shift = old_shift_;
            old_shift_ = 0;
        }
        std::fill(coefs + valid, coefs + m_.n, int16_t{0});
        int16_t y[kMaxN];
        zinsDCTInv_G7221_16s(coefs, y, m_.n);
        for (int i = 0; i < m_.n; ++i) y[i] = shift > 0 ? static_cast<int16_t>(y[i] >> shift) : shl16(y[i], -shift);
        zinsDecomposeDCTToMLT_G7221_16s(y, history_, pcm, m_.n);
        std::copy(y + m_.n / 2, y + m_.n, history_);
    }

    Mode m_;
    bool itu_;
    uint8_t buf_[2 * (960 + 2)];
    std::size_t fill_ = 0, frames_ = 0;
    std::string error_;
    int16_t history_[kMaxN / 2] = {};
    int16_t old_coefs_[kMaxN] = {};
    int old_shift_ = 0;
    int16_t seed_[4] = {1, 1, 1, 1};
};

template <int kN, int kBits>
std::unique_ptr<zc::Encoder> make_encoder(const CodecOptions& o) {
    return std::make_unique<Encoder>(Mode{kN, kN == 320 ? 14 : 28, kN == 320 ? 4 : 5, kBits}, o.format == StreamFormat::Itu);
}
template <int kN, int kBits>
std::unique_ptr<zc::Decoder> make_decoder(const CodecOptions& o) {
    return std::make_unique<Decoder>(Mode{kN, kN == 320 ? 14 : 28, kN == 320 ? 4 : 5, kBits}, o.format == StreamFormat::Itu);
}

}  // namespace
}  // namespace zc::g7221

namespace zc {
extern const CodecInfo kG7221_24, kG7221_32, kG7221c_24, kG7221c_32, kG7221c_48;
const CodecInfo kG7221_24 = {"g7221-24", "ITU-T G.722.1, 7 kHz, 24 kbit/s", 16000, 24000, g7221::make_encoder<320, 480>, g7221::make_decoder<320, 480>};
const CodecInfo kG7221_32 = {"g7221-32", "ITU-T G.722.1, 7 kHz, 32 kbit/s", 16000, 32000, g7221::make_encoder<320, 640>, g7221::make_decoder<320, 640>};
const CodecInfo kG7221c_24 = {"g7221c-24", "ITU-T G.722.1 Annex C, 14 kHz, 24 kbit/s", 32000, 24000, g7221::make_encoder<640, 480>, g7221::make_decoder<640, 480>};
const CodecInfo kG7221c_32 = {"g7221c-32", "ITU-T G.722.1 Annex C, 14 kHz, 32 kbit/s", 32000, 32000, g7221::make_encoder<640, 640>, g7221::make_decoder<640, 640>};
const CodecInfo kG7221c_48 = {"g7221c-48", "ITU-T G.722.1 Annex C, 14 kHz, 48 kbit/s", 32000, 48000, g7221::make_encoder<640, 960>, g7221::make_decoder<640, 960>};
}  // namespace zc
