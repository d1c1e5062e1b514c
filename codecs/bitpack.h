// Packing of codes narrower than an octet into octets, in the two orders
// telephony uses: RFC 3551 fills each octet from its least significant bit,
// the ITU AAL2 order (I.366.2, X.420) from its most significant bit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "codec.h"

namespace zc {

class CodePacker {
public:
    CodePacker(int bits, Packing order) : bits_(bits), order_(order) {}

    void put(uint32_t code, std::vector<uint8_t>& out) {
        code &= (1u << bits_) - 1;
        if (order_ == Packing::Rfc3551) {
            acc_ |= code << fill_;
            fill_ += bits_;
            while (fill_ >= 8) {
                out.push_back(static_cast<uint8_t>(acc_));
                acc_ >>= 8;
                fill_ -= 8;
            }
        } else {
            acc_ = (acc_ << bits_) | code;
            fill_ += bits_;
            while (fill_ >= 8) {
                fill_ -= 8;
                out.push_back(static_cast<uint8_t>(acc_ >> fill_));
                acc_ &= (1u << fill_) - 1;
            }
        }
    }

    void put(const uint8_t* codes, int n, std::vector<uint8_t>& out) {
        for (int i = 0; i < n; ++i) put(codes[i], out);
    }

    // Emits a last partial octet, padded with zero bits.
    void flush(std::vector<uint8_t>& out) {
        if (fill_ == 0) return;
        out.push_back(static_cast<uint8_t>(order_ == Packing::Rfc3551 ? acc_ : acc_ << (8 - fill_)));
        acc_ = 0;
        fill_ = 0;
    }

private:
    int bits_;
    Packing order_;
    uint32_t acc_ = 0;  // bits not yet emitted
    int fill_ = 0;
};

// The reverse: every whole code that the octets complete goes to `sink`.
class CodeUnpacker {
public:
    CodeUnpacker(int bits, Packing order) : bits_(bits), order_(order) {}

    template <typename Sink>
    void get(const uint8_t* data, std::size_t n, Sink&& sink) {
        const uint32_t mask = (1u << bits_) - 1;
        for (std::size_t i = 0; i < n; ++i) {
            if (order_ == Packing::Rfc3551) {
                acc_ |= uint32_t{data[i]} << fill_;
                fill_ += 8;
                while (fill_ >= bits_) {
                    sink(static_cast<uint8_t>(acc_ & mask));
                    acc_ >>= bits_;
                    fill_ -= bits_;
                }
            } else {
                acc_ = (acc_ << 8) | data[i];
                fill_ += 8;
                while (fill_ >= bits_) {
                    fill_ -= bits_;
                    sink(static_cast<uint8_t>((acc_ >> fill_) & mask));
                    acc_ &= (1u << fill_) - 1;
                }
            }
        }
    }

private:
    int bits_;
    Packing order_;
    uint32_t acc_ = 0;
    int fill_ = 0;
};

}  // namespace zc
