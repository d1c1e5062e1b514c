// Whole ITU-T G.722 codec on the public API: the transmit QMF then the
// sub-band ADPCM encoder, and the ADPCM decoder then the receive QMF, at
// 16 kHz. At 64 kbit/s every sample pair gives one octet, high-band code in
// bits 7-6 and low-band code in bits 5-0 (RFC 3551). At 56 and 48 kbit/s the
// low-band code loses its one or two least significant bits and the 7- or
// 6-bit codes are packed densely, the first code in the least significant
// bits (RFC 3551 order) or in the most significant bits (AAL2 order).
#include <algorithm>
#include <array>
#include <memory>
#include <vector>

#include "bitpack.h"
#include "codec.h"
#include "zinsc.h"

namespace zc {
namespace {

constexpr int kBlockPairs = 160;  // 10 ms at 16 kHz

// The state object of the sub-band coder and the QMF delay line.
struct G722Core {
    G722Core() {
        int size = 0;
        zinsSBADPCMEncodeStateSize_G722_16s(&size);
        mem.assign(static_cast<std::size_t>(size), 0);
        zinsSBADPCMEncodeInit_G722_16s(state());
        delay.fill(0);
    }
    ZinSBADPCMState_G722_16s* state() { return reinterpret_cast<ZinSBADPCMState_G722_16s*>(mem.data()); }
    std::vector<unsigned char> mem;
    std::array<Zin16s, 24> delay;
};

// Bits per sample pair of a mode: 8, 7 or 6.
int code_bits(int mode) { return mode == 1 ? 8 : (mode == 2 ? 7 : 6); }

class G722Encoder final : public Encoder {
public:
    G722Encoder(int mode, Packing packing) : bits_(code_bits(mode)), packer_(bits_, packing) {}

    void encode(const int16_t* pcm, std::size_t samples, std::vector<uint8_t>& out) override {
        if (samples == 0) return;
        if (has_pending_) {
            const int16_t pair[2] = {pending_, pcm[0]};
            run(pair, 1, out);
            has_pending_ = false;
            ++pcm;
            --samples;
        }
        const std::size_t pairs = samples / 2;
        for (std::size_t done = 0; done < pairs;) {
            const int n = static_cast<int>(std::min<std::size_t>(kBlockPairs, pairs - done));
            run(pcm + 2 * done, n, out);
            done += static_cast<std::size_t>(n);
        }
        if (samples & 1) {
            pending_ = pcm[samples - 1];
            has_pending_ = true;
        }
    }

    void finish(std::vector<uint8_t>& out) override {
        if (has_pending_) {
            const int16_t pair[2] = {pending_, 0};
            run(pair, 1, out);
            has_pending_ = false;
        }
        packer_.flush(out);
    }

private:
    void run(const int16_t* pcm, int pairs, std::vector<uint8_t>& out) {
        Zin16s bands[2 * kBlockPairs], codes[2 * kBlockPairs];
        zinsQMFEncode_G722_16s(pcm, bands, 2 * pairs, core_.delay.data());
        zinsSBADPCMEncode_G722_16s(bands, codes, 2 * pairs, core_.state());
        if (bits_ == 8) {
            const std::size_t at = out.size();
            out.resize(at + static_cast<std::size_t>(pairs));
            uint8_t* o = out.data() + at;
            for (int k = 0; k < pairs; ++k) o[k] = static_cast<uint8_t>((codes[2 * k + 1] << 6) | codes[2 * k]);
            return;
        }
        for (int k = 0; k < pairs; ++k) {
            const unsigned octet = (static_cast<unsigned>(codes[2 * k + 1]) << 6) | static_cast<unsigned>(codes[2 * k]);
            packer_.put(octet >> (8 - bits_), out);
        }
    }

    G722Core core_;
    int bits_;
    CodePacker packer_;
    int16_t pending_ = 0;
    bool has_pending_ = false;
};

class G722Decoder final : public Decoder {
public:
    G722Decoder(int mode, Packing packing) : mode_(mode), bits_(code_bits(mode)), unpacker_(bits_, packing) {}

    void decode(const uint8_t* data, std::size_t bytes, std::vector<int16_t>& out) override {
        Zin16s codes[2 * kBlockPairs];
        int n = 0;
        if (bits_ == 8) {
            // One octet per pair: whole blocks straight from the input into
            // the output, which grows once.
            const std::size_t at = out.size();
            out.resize(at + 2 * bytes);
            for (std::size_t i = 0; i < bytes;) {
                const int m = static_cast<int>(std::min<std::size_t>(kBlockPairs, bytes - i));
                for (int k = 0; k < m; ++k) {
                    codes[2 * k] = static_cast<Zin16s>(data[i + static_cast<std::size_t>(k)] & 63);
                    codes[2 * k + 1] = static_cast<Zin16s>(data[i + static_cast<std::size_t>(k)] >> 6);
                }
                decode_block(codes, m, out.data() + at + 2 * i);
                i += static_cast<std::size_t>(m);
            }
            return;
        }
        unpacker_.get(data, bytes, [&](uint8_t code) { put(codes, n, unsigned{code} << (8 - bits_), out); });
        flush(codes, n, out);
    }

private:
    // Adds one octet-form code pair to the block; decodes a full block.
    void put(Zin16s* codes, int& n, unsigned octet, std::vector<int16_t>& out) {
        codes[2 * n] = static_cast<Zin16s>(octet & 63);
        codes[2 * n + 1] = static_cast<Zin16s>((octet >> 6) & 3);
        if (++n == kBlockPairs) flush(codes, n, out);
    }

    void flush(Zin16s* codes, int& n, std::vector<int16_t>& out) {
        if (n == 0) return;
        const std::size_t at = out.size();
        out.resize(at + 2 * static_cast<std::size_t>(n));
        decode_block(codes, n, out.data() + at);
        n = 0;
    }

    // ADPCM decoder, then the receive QMF, for `n` code pairs.
    void decode_block(const Zin16s* codes, int n, int16_t* pcm) {
        Zin16s bands[2 * kBlockPairs];
        zinsSBADPCMDecode_G722_16s(codes, bands, 2 * n, mode_, core_.state());
        zinsQMFDecode_G722_16s(bands, pcm, 2 * n, core_.delay.data());
    }

    G722Core core_;
    int mode_;
    int bits_;
    CodeUnpacker unpacker_;
};

template <int kMode>
std::unique_ptr<Encoder> make_encoder(const CodecOptions& o) {
    return std::make_unique<G722Encoder>(kMode, o.packing);
}
template <int kMode>
std::unique_ptr<Decoder> make_decoder(const CodecOptions& o) {
    return std::make_unique<G722Decoder>(kMode, o.packing);
}

}  // namespace

extern const CodecInfo kG722_64 = {"g722-64", "ITU-T G.722 sub-band ADPCM, 64 kbit/s (mode 1)", 16000, 64000,
                                   make_encoder<1>, make_decoder<1>};
extern const CodecInfo kG722_56 = {"g722-56", "ITU-T G.722 sub-band ADPCM, 56 kbit/s (mode 2)", 16000, 56000,
                                   make_encoder<2>, make_decoder<2>};
extern const CodecInfo kG722_48 = {"g722-48", "ITU-T G.722 sub-band ADPCM, 48 kbit/s (mode 3)", 16000, 48000,
                                   make_encoder<3>, make_decoder<3>};

}  // namespace zc
