// G.726 ADPCM as a whole codec on the public API: G.711 companding of the
// input for the A-law and mu-law interfaces, the 14-bit coder, and packing
// of the codes into octets in the RFC 3551 or the AAL2 order.
#include <cstring>
#include <vector>

#include "bitpack.h"
#include "codec.h"
#include "zinsc.h"

namespace zc {
namespace {

constexpr int kChunk = 256;

int bits_for(int bitRate) { return bitRate / 8000; }

ZinSpeechBitrate rate_code(int bitRate) {
    switch (bitRate) {
        case 16000: return zinSpchBr16000;
        case 24000: return zinSpchBr24000;
        case 32000: return zinSpchBr32000;
        default: return zinSpchBr40000;
    }
}

class G726Encoder final : public Encoder {
public:
    G726Encoder(int bitRate, const CodecOptions& o) : law_(o.law), packer_(bits_for(bitRate), o.packing) {
        int size = 0;
        zinsEncodeGetStateSize_G726_16s8u(&size);
        mem_.resize(static_cast<std::size_t>(size));
        zinsEncodeInit_G726_16s8u(state(), rate_code(bitRate));
    }
    void encode(const int16_t* pcm, std::size_t samples, std::vector<uint8_t>& out) override {
        int16_t lin[kChunk];
        uint8_t codes[kChunk];
        while (samples > 0) {
            const int n = samples < kChunk ? static_cast<int>(samples) : kChunk;
            for (int i = 0; i < n; ++i) lin[i] = to14(pcm[i]);
            zinsEncode_G726_16s8u(state(), lin, codes, n);
            packer_.put(codes, n, out);
            pcm += n;
            samples -= static_cast<std::size_t>(n);
        }
    }
    void finish(std::vector<uint8_t>& out) override { packer_.flush(out); }

private:
    // The coder's input is 14-bit linear; the companded interfaces pass the
    // sample through G.711 first, as a network would.
    int16_t to14(int16_t s) const {
        switch (law_) {
            case PcmLaw::ALaw: return static_cast<int16_t>(alaw_to_linear(linear_to_alaw(s)) >> 2);
            case PcmLaw::MuLaw: return static_cast<int16_t>(ulaw_to_linear(linear_to_ulaw(s)) >> 2);
            default: return static_cast<int16_t>(s >> 2);
        }
    }
    ZinG726EncState* state() { return reinterpret_cast<ZinG726EncState*>(mem_.data()); }

    PcmLaw law_;
    CodePacker packer_;
    std::vector<unsigned char> mem_;
};

class G726Decoder final : public Decoder {
public:
    G726Decoder(int bitRate, const CodecOptions& o) : law_(o.law), unpacker_(bits_for(bitRate), o.packing) {
        int size = 0;
        zinsDecodeGetStateSize_G726_8u16s(&size);
        mem_.resize(static_cast<std::size_t>(size));
        const int law = law_ == PcmLaw::ALaw ? zinPcmALaw : law_ == PcmLaw::MuLaw ? zinPcmMuLaw : zinPcmLinear;
        zinsDecodeInit_G726_8u16s(state(), rate_code(bitRate), law);
    }
    void decode(const uint8_t* data, std::size_t bytes, std::vector<int16_t>& out) override {
        uint8_t codes[kChunk];
        int n = 0;
        auto run = [&] {
            if (n == 0) return;
            const std::size_t at = out.size();
            out.resize(at + static_cast<std::size_t>(n));
            zinsDecode_G726_8u16s(state(), codes, out.data() + at, n);
            // Linear output back to the 16-bit scale.
            if (law_ == PcmLaw::Linear)
                for (std::size_t i = at; i < out.size(); ++i) out[i] = static_cast<int16_t>(out[i] * 4);
            n = 0;
        };
        unpacker_.get(data, bytes, [&](uint8_t c) {
            codes[n++] = c;
            if (n == kChunk) run();
        });
        run();
    }

private:
    ZinG726DecState* state() { return reinterpret_cast<ZinG726DecState*>(mem_.data()); }

    PcmLaw law_;
    CodeUnpacker unpacker_;
    std::vector<unsigned char> mem_;
};

template <int kBitRate>
std::unique_ptr<Encoder> make_encoder(const CodecOptions& o) {
    return std::make_unique<G726Encoder>(kBitRate, o);
}
template <int kBitRate>
std::unique_ptr<Decoder> make_decoder(const CodecOptions& o) {
    return std::make_unique<G726Decoder>(kBitRate, o);
}

}  // namespace

extern const CodecInfo kG726_16 = {"g726-16", "ITU-T G.726 ADPCM, 16 kbit/s", 8000, 16000, make_encoder<16000>, make_decoder<16000>};
extern const CodecInfo kG726_24 = {"g726-24", "ITU-T G.726 ADPCM, 24 kbit/s", 8000, 24000, make_encoder<24000>, make_decoder<24000>};
extern const CodecInfo kG726_32 = {"g726-32", "ITU-T G.726 ADPCM, 32 kbit/s", 8000, 32000, make_encoder<32000>, make_decoder<32000>};
extern const CodecInfo kG726_40 = {"g726-40", "ITU-T G.726 ADPCM, 40 kbit/s", 8000, 40000, make_encoder<40000>, make_decoder<40000>};

}  // namespace zc
