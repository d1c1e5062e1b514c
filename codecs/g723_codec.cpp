// G.723.1 for the zinsc tool: streams of packed frames at 6.3 or 5.3 kbit/s;
// the decoder takes any mix of 24, 20, 4 and 1-octet frames.
#include <cstring>
#include <memory>
#include <string>

#include "codec.h"
#include "g723.h"

namespace zc::g723 {
namespace {

class G723Encoder final : public Encoder {
public:
    explicit G723Encoder(bool rate63) { st_.reset(rate63); }
    void encode(const int16_t* pcm, std::size_t samples, std::vector<uint8_t>& out) override {
        while (samples > 0) {
            const std::size_t n = std::min(samples, std::size_t(kFrameSamples) - fill_);
            std::memcpy(buf_ + fill_, pcm, n * sizeof(int16_t));
            fill_ += n;
            pcm += n;
            samples -= n;
            if (fill_ == kFrameSamples) flush(out);
        }
    }
    void finish(std::vector<uint8_t>& out) override {
        if (fill_ == 0) return;
        std::memset(buf_ + fill_, 0, (kFrameSamples - fill_) * sizeof(int16_t));
        flush(out);
    }

private:
    void flush(std::vector<uint8_t>& out) {
        uint8_t frame[24];
        const int n = encode_frame(st_, buf_, frame);
        out.insert(out.end(), frame, frame + n);
        fill_ = 0;
    }
    EncoderState st_;
    int16_t buf_[kFrameSamples];
    std::size_t fill_ = 0;
};

class G723Decoder final : public Decoder {
public:
    explicit G723Decoder(const CodecOptions& o) : erasures_(o.erasures) { st_.reset(o.postfilter); }
    void decode(const uint8_t* data, std::size_t bytes, std::vector<int16_t>& out) override {
        while (bytes > 0) {
            if (fill_ == 0) need_ = std::size_t(frame_size(data[0]));
            const std::size_t n = std::min(bytes, need_ - fill_);
            std::memcpy(buf_ + fill_, data, n);
            fill_ += n;
            data += n;
            bytes -= n;
            if (fill_ < need_) break;
            fill_ = 0;
            const bool erased = frame_ < erasures_.size() && erasures_[frame_] == '1';
            ++frame_;
            const std::size_t at = out.size();
            out.resize(at + kFrameSamples);
            decode_frame(st_, buf_, erased, out.data() + at);
        }
    }
    std::size_t pending_octets() const override { return fill_; }
    // Frames carry their size, so a stream that stops inside one is cut.
    std::string error() const override {
        if (fill_ == 0) return {};
        return "the stream ends inside a frame (" + std::to_string(fill_) + " of " + std::to_string(need_) + " octets)";
    }

private:
    DecoderState st_;
    std::string erasures_;
    std::size_t frame_ = 0, fill_ = 0, need_ = 0;
    uint8_t buf_[24];
};

std::unique_ptr<Encoder> make_encoder_63(const CodecOptions&) { return std::make_unique<G723Encoder>(true); }
std::unique_ptr<Encoder> make_encoder_53(const CodecOptions&) { return std::make_unique<G723Encoder>(false); }
std::unique_ptr<Decoder> make_decoder(const CodecOptions& o) { return std::make_unique<G723Decoder>(o); }

}  // namespace
}  // namespace zc::g723

namespace zc {
extern const CodecInfo kG7231_63, kG7231_53;
const CodecInfo kG7231_63 = {"g7231-63", "ITU-T G.723.1 MP-MLQ, 6.3 kbit/s", 8000, 6300, g723::make_encoder_63,
                             g723::make_decoder};
const CodecInfo kG7231_53 = {"g7231-53", "ITU-T G.723.1 5.3 kbit/s (decoder; encoder without its ACELP search yet)", 8000, 5300, g723::make_encoder_53,
                             g723::make_decoder};
}  // namespace zc
