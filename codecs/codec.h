// The caller's side: whole codecs assembled from the public API of libzinsc
// only (include/zinsc.h), as an application would write them. Nothing here
// reaches into src/.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zc {

// What a decoder hands back, where the codec can speak G.711 (G.726).
enum class PcmLaw { Linear, ALaw, MuLaw };

// Octet order of packed codes: RFC 3551 puts the first code in the least
// significant bits; the ITU AAL2 (I.366.2, X.420) order puts it in the most
// significant bits.
enum class Packing { Rfc3551, Aal2 };

struct CodecOptions {
    PcmLaw law = PcmLaw::Linear;      // decoder output (G.726)
    Packing packing = Packing::Rfc3551;
    bool wav49 = false;               // GSM 06.10: 65-octet frame pairs
};

// A running encoder: takes 16-bit linear samples at the codec's sampling
// rate, any count per call, and appends whole frames of octets to `out`.
class Encoder {
public:
    virtual ~Encoder() = default;
    virtual void encode(const int16_t* pcm, std::size_t samples, std::vector<uint8_t>& out) = 0;
    // Pads and emits a last partial frame, if the codec has frames.
    virtual void finish(std::vector<uint8_t>& /*out*/) {}
};

// A running decoder: takes octets, any count per call, and appends samples
// (16-bit linear, or with PcmLaw::ALaw/MuLaw the G.711 code in each word).
class Decoder {
public:
    virtual ~Decoder() = default;
    virtual void decode(const uint8_t* data, std::size_t bytes, std::vector<int16_t>& out) = 0;
    // Why the stream cannot be of this codec, once decode met such a frame
    // (decoding stops there); empty while the stream looks right.
    virtual std::string error() const { return {}; }
    // Octets held back after the last decode that make no whole frame.
    virtual std::size_t pending_octets() const { return 0; }
};

struct CodecInfo {
    const char* name;          // as the zinsc tool takes it, e.g. "g726-32"
    const char* description;
    int sample_rate;           // 8000 or 16000
    int bit_rate;              // bits per second of the coded stream
    std::unique_ptr<Encoder> (*make_encoder)(const CodecOptions&);
    std::unique_ptr<Decoder> (*make_decoder)(const CodecOptions&);
};

// Every codec the tool knows, in the order of the demo table.
std::span<const CodecInfo* const> all_codecs();
const CodecInfo* find_codec(std::string_view name);

// G.711 as the telephone network codes it (ITU-T G.711), used around the
// ADPCM codecs: linear 16-bit samples to and from 8-bit codes.
uint8_t linear_to_alaw(int16_t pcm);
uint8_t linear_to_ulaw(int16_t pcm);
int16_t alaw_to_linear(uint8_t code);
int16_t ulaw_to_linear(uint8_t code);

}  // namespace zc
