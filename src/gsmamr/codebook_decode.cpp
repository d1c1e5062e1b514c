// GSM-AMR algebraic codebook decoding (3GPP TS 26.090 clause 6.1, fixed
// point as in TS 26.073 d2_9pf.c, d2_11pf.c, d3_14pf.c, d4_17pf.c,
// d8_31pf.c and d1035pf.c): the innovation vector of one sub-frame from its
// parameter words.
#include "../frame/registry.h"
#include "amr_common.h"

namespace zin {
namespace {

using amr::i16;
using amr::i32;
using fx::mul16;

constexpr int kSub = 40;

// TS 26.073 gray.tab: dgray, the inverse Gray code of the position indices.
constexpr i16 kDeGray[8] = {0, 1, 3, 2, 5, 6, 4, 7};
// TS 26.073 c2_9pf.tab: startPos, first positions of the 9-bit code's two
// pulses by track pair (selector * 8 + sub-frame * 2, +1 for the second).
constexpr i16 kStartPos9[16] = {0, 2, 0, 3, 0, 2, 0, 3, 1, 3, 2, 4, 1, 4, 1, 4};

inline i16 amplitude(int bit) { return static_cast<i16>(bit * 16383 - 8192); }

void decode_2i40_9(const i16* p, int subframe, i16* code) {
    const i16 index = p[0];
    int sign = p[1];
    const int k = subframe * 2 + ((index & 64) >> 3);
    const int pos0 = (index & 7) * 5 + kStartPos9[k];
    const int pos1 = ((index >> 3) & 7) * 5 + kStartPos9[k + 1];
    code[pos0] = amplitude(sign & 1);
    sign >>= 1;
    code[pos1] = amplitude(sign & 1);
}

void decode_2i40_11(const i16* p, i16* code) {
    int index = p[0];
    const int sign = p[1];
    const int pos0 = ((index >> 1) & 7) * 5 + (index & 1) * 2 + 1;
    index >>= 4;
    const int j = index & 3;
    const int i = (index >> 2) & 7;
    const int pos1 = i * 5 + (j == 3 ? 4 : j);
    code[pos0] = amplitude(sign & 1);
    code[pos1] = amplitude((sign >> 1) & 1);
}

void decode_3i40_14(const i16* p, i16* code) {
    const int index = p[0];
    const int sign = p[1];
    const int pos0 = (index & 7) * 5;
    const int pos1 = ((index >> 4) & 7) * 5 + ((index >> 3) & 1) * 2 + 1;
    const int pos2 = ((index >> 8) & 7) * 5 + ((index >> 7) & 1) * 2 + 2;
    code[pos0] = amplitude(sign & 1);
    code[pos1] = amplitude((sign >> 1) & 1);
    code[pos2] = amplitude((sign >> 2) & 1);
}

void decode_4i40_17(const i16* p, i16* code) {
    const int index = p[0];
    const int sign = p[1];
    const int pos[4] = {kDeGray[index & 7] * 5, kDeGray[(index >> 3) & 7] * 5 + 1, kDeGray[(index >> 6) & 7] * 5 + 2,
                        kDeGray[(index >> 10) & 7] * 5 + 3 + ((index >> 9) & 1)};
    for (int j = 0; j < 4; ++j) code[pos[j]] = amplitude((sign >> j) & 1);
}

// Two positions and one more of the 10.2 kbit/s code from 7 + 3 bits.
void decompress10(i16 msbs, i16 lsbs, int i1, int i2, int i3, i16* pos) {
    if (msbs > 124) msbs = 124;
    i16 ia = mul16(msbs, 1311);
    ia = static_cast<i16>(msbs - ia * 25);
    i16 ib = mul16(ia, 6554);
    ib = static_cast<i16>((ia - ib * 5) << 1);
    const i16 ic = static_cast<i16>(lsbs & 3);
    pos[i1] = static_cast<i16>(ib + (ic & 1));
    pos[i2] = static_cast<i16>((mul16(ia, 6554) << 1) + (ic >> 1));
    pos[i3] = fx::add16(static_cast<i16>(lsbs >> 2), static_cast<i16>(mul16(msbs, 1311) << 1));
}

void decode_8i40_31(const i16* p, i16* code) {
    i16 pos[8];
    decompress10(static_cast<i16>(p[4] >> 3), static_cast<i16>(p[4] & 7), 0, 4, 1, pos);
    decompress10(static_cast<i16>(p[5] >> 3), static_cast<i16>(p[5] & 7), 2, 6, 5, pos);
    const i16 msbs = static_cast<i16>(p[6] >> 2), lsbs = static_cast<i16>(p[6] & 3);
    const i16 m = static_cast<i16>((static_cast<i16>(fx::shr32(fx::mul32(msbs, 25), 1)) + 12) >> 5);
    const i16 q = mul16(m, 6554);
    i16 ib = static_cast<i16>(m - q * 5);
    if (q & 1) ib = static_cast<i16>(4 - ib);
    pos[3] = fx::add16(static_cast<i16>(ib << 1), static_cast<i16>(lsbs & 1));
    pos[7] = static_cast<i16>((q << 1) + (lsbs >> 1));
    for (int j = 0; j < 4; ++j) {
        const int pos1 = (pos[j] << 2) + j;
        i16 sign = p[j] == 0 ? 8191 : -8191;
        if (pos1 < kSub) code[pos1] = sign;
        const int pos2 = (pos[j + 4] << 2) + j;
        if (pos2 < pos1) sign = fx::neg16(sign);
        if (pos2 < kSub) code[pos2] = static_cast<i16>(code[pos2] + sign);
    }
}

void decode_10i40_35(const i16* p, i16* code) {
    for (int j = 0; j < 5; ++j) {
        const int pos1 = kDeGray[p[j] & 7] * 5 + j;
        i16 sign = (p[j] >> 3) & 1 ? -4096 : 4096;
        code[pos1] = sign;
        const int pos2 = kDeGray[p[j + 5] & 7] * 5 + j;
        if (pos2 < pos1) sign = fx::neg16(sign);
        code[pos2] = static_cast<i16>(code[pos2] + sign);
    }
}

}  // namespace

ZinStatus body::zinsFixedCodebookDecode_GSMAMR_16s(const Zin16s* pParams, Zin16s* pCode, int subframe,
                                                   ZinSpeechBitrate rateCode) {
    if (!pParams || !pCode) return zinStsNullPtrErr;
    if (subframe < 0 || subframe > 3) return zinStsRangeErr;
    switch (rateCode) {
        case 0: case 1: case 3: case 6: case 7: case 8: case 11: case 12: case 25: break;
        default: return zinStsRangeErr;
    }
    for (int i = 0; i < kSub; ++i) pCode[i] = 0;
    switch (rateCode) {
        case 0: case 1: decode_2i40_9(pParams, subframe, pCode); break;
        case 3: decode_2i40_11(pParams, pCode); break;
        case 6: decode_3i40_14(pParams, pCode); break;
        case 7: case 8: decode_4i40_17(pParams, pCode); break;
        case 11: decode_8i40_31(pParams, pCode); break;
        default: decode_10i40_35(pParams, pCode); break;
    }
    return zinStsNoErr;
}

}  // namespace zin
