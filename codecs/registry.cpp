// The table of whole codecs. Each family defines its CodecInfo records in
// its own file; one line per codec here.
#include <algorithm>

#include "codec.h"

namespace zc {

// extern const CodecInfo kG726_16;   (one declaration per codec)
extern const CodecInfo kG726_16;
extern const CodecInfo kG726_24;
extern const CodecInfo kG726_32;
extern const CodecInfo kG726_40;
extern const CodecInfo kGsmFr;
extern const CodecInfo kG722_64, kG722_56, kG722_48;
extern const CodecInfo kG7231_63, kG7231_53;
extern const CodecInfo kG7221_24, kG7221_32, kG7221c_24, kG7221c_32, kG7221c_48;
extern const CodecInfo kG728;

namespace {
const CodecInfo* const kCodecs[] = {
    &kG726_16,
    &kG726_24,
    &kG726_32,
    &kG726_40,
    &kGsmFr,
    &kG722_64,
    &kG722_56,
    &kG722_48,
    &kG7231_63,
    &kG7231_53,
    &kG7221_24,
    &kG7221_32,
    &kG7221c_24,
    &kG7221c_32,
    &kG7221c_48,
    &kG728,
};
}  // namespace

std::span<const CodecInfo* const> all_codecs() {
    std::size_t n = 0;
    while (n < std::size(kCodecs) && kCodecs[n]) ++n;
    return {kCodecs, n};
}

const CodecInfo* find_codec(std::string_view name) {
    for (const CodecInfo* c : all_codecs())
        if (name == c->name) return c;
    return nullptr;
}

}  // namespace zc
