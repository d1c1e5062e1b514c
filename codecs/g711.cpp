// ITU-T G.711 A-law and mu-law, as the telephone network codes them: 16-bit
// linear samples to 8-bit codes and back.
#include "codec.h"

namespace zc {

namespace {
int bit_length(int x) {
    int n = 0;
    while (x) ++n, x >>= 1;
    return n;
}
}  // namespace

// A-law: 13-bit magnitude (one's complement for negative samples), segment
// by the position of the leading bit, four mantissa bits, even bits inverted.
uint8_t linear_to_alaw(int16_t pcm) {
    const int v = pcm >> 3;
    const int m = v < 0 ? ~v : v;
    int seg = 0;
    while (seg < 7 && m > ((1 << (8 + seg)) - 1) >> 3) ++seg;
    const int code = ((seg < 2 ? m >> 1 : m >> seg) & 15) | (seg << 4);
    return static_cast<uint8_t>(code ^ (v < 0 ? 0x55 : 0xD5));
}

// mu-law: 14-bit magnitude plus the bias 33, limited to 8191, segment and
// mantissa as for A-law, all bits inverted.
uint8_t linear_to_ulaw(int16_t pcm) {
    int m = (pcm < 0 ? ~pcm >> 2 : pcm >> 2) + 33;
    if (m > 8191) m = 8191;
    const int n = 1 + bit_length(m >> 6);
    const int code = ((8 - n) << 4) | (15 - ((m >> n) & 15));
    return static_cast<uint8_t>(pcm >= 0 ? code | 0x80 : code);
}

int16_t alaw_to_linear(uint8_t code) {
    const int c = code ^ 0x55;
    const int seg = (c >> 4) & 7;
    const int mant = c & 15;
    const int mag = seg == 0 ? (mant << 4) + 8 : ((mant << 4) + 0x108) << (seg - 1);
    return static_cast<int16_t>((c & 0x80) ? mag : -mag);
}

int16_t ulaw_to_linear(uint8_t code) {
    const int c = ~code & 0xFF;
    const int seg = (c >> 4) & 7;
    const int mant = c & 15;
    const int mag = (((mant << 3) + 0x84) << seg) - 0x84;
    return static_cast<int16_t>((c & 0x80) ? -mag : mag);
}

}  // namespace zc
