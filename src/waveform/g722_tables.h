// Constant tables of the G.722 sub-band ADPCM coder (ITU-T G.722, clause 6,
// the fixed-point description of its blocks), and the tables derived from
// them at compile time in the form the workers index directly by code.
#pragma once

#include <array>
#include <cstdint>

namespace zin::g722 {

// ---- tables of the recommendation -----------------------------------------

// ITU-T G.722 block QUANTL: decision levels of the 6-bit low-band quantiser,
// in units of DETL/2^12 (entries 0 to 30).
inline constexpr std::int16_t kQ6[31] = {
    0,    35,   72,   110,  150,  190,  233,  276,  323,  370,  422,  473,  530,  587,  650,  714,
    786,  858,  940,  1023, 1121, 1219, 1339, 1458, 1612, 1765, 1980, 2195, 2557, 2919, 3200};

// ITU-T G.722 block QUANTL: output code IL by quantiser interval (1 to 30)
// for a negative difference (row 0) and a non-negative one (row 1).
inline constexpr std::uint8_t kQuantlCode[2][32] = {
    {0,  63, 62, 31, 30, 29, 28, 27, 26, 25, 24, 23, 22, 21, 20, 19,
     18, 17, 16, 15, 14, 13, 12, 11, 10, 9,  8,  7,  6,  5,  4,  0},
    {0,  61, 60, 59, 58, 57, 56, 55, 54, 53, 52, 51, 50, 49, 48, 47,
     46, 45, 44, 43, 42, 41, 40, 39, 38, 37, 36, 35, 34, 33, 32, 0}};

// ITU-T G.722 blocks INVQAL/INVQBL: output levels of the 4-, 5- and 6-bit
// low-band inverse quantisers (QQ4, QQ5, QQ6), in units of DETL/2^12.
inline constexpr std::int16_t kQQ4[8] = {0, 150, 323, 530, 786, 1121, 1612, 2557};
inline constexpr std::int16_t kQQ5[16] = {0,   35,  110, 190,  276,  370,  473,  587,
                                          714, 858, 1023, 1219, 1458, 1765, 2195, 2919};
inline constexpr std::int16_t kQQ6[31] = {0,   17,   54,   91,   130,  170,  211,  254,  300,  347,  396,
                                          447, 501,  558,  618,  682,  750,  822,  899,  982,  1072, 1170,
                                          1279, 1399, 1535, 1689, 1873, 2088, 2376, 2738, 3101};

// ITU-T G.722 blocks INVQAL/INVQBL: for each received code (IL shifted right
// by 2, 1 or 0), the index into QQ4, QQ5 or QQ6 and whether the level is
// negative (RIL4/RISI4, RIL5/RISI5, RIL6/RISI6).
inline constexpr std::uint8_t kRil4[16] = {0, 7, 6, 5, 4, 3, 2, 1, 7, 6, 5, 4, 3, 2, 1, 0};
inline constexpr std::uint8_t kRisi4[16] = {0, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0};
inline constexpr std::uint8_t kRil5[32] = {1,  1,  15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2,
                                           15, 14, 13, 12, 11, 10, 9,  8,  7, 6, 5, 4, 3, 2, 1, 1};
inline constexpr std::uint8_t kRisi5[32] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
                                            0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
inline constexpr std::uint8_t kRil6[64] = {
    1,  1,  1,  1,  30, 29, 28, 27, 26, 25, 24, 23, 22, 21, 20, 19, 18, 17, 16, 15, 14, 13,
    12, 11, 10, 9,  8,  7,  6,  5,  4,  3,  30, 29, 28, 27, 26, 25, 24, 23, 22, 21, 20, 19,
    18, 17, 16, 15, 14, 13, 12, 11, 10, 9,  8,  7,  6,  5,  4,  3,  2,  1,  2,  1};
inline constexpr std::uint8_t kRisi6[64] = {
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1};

// ITU-T G.722 block LOGSCL: log scale-factor multipliers WL by the index
// RIL4 of the 4-bit code.
inline constexpr std::int16_t kWL[8] = {-60, -30, 58, 172, 334, 538, 1198, 3042};

// ITU-T G.722 blocks QUANTH/INVQAH/LOGSCH: high-band decision level Q2, the
// output levels QQ2, the multipliers WH, and per 2-bit code the index IH2 and
// whether the level is negative.
inline constexpr std::int16_t kQ2 = 564;
inline constexpr std::int16_t kQQ2[3] = {0, 202, 926};
inline constexpr std::int16_t kWH[3] = {0, -214, 798};
inline constexpr std::uint8_t kIh2[4] = {2, 1, 2, 1};
inline constexpr std::uint8_t kSih[4] = {1, 1, 0, 0};

// ITU-T G.722 blocks SCALEL/SCALEH: the 32 mantissas ILB of the inverse log
// table, used with a shift by bits 11 to 14 of the log scale factor.
inline constexpr std::int16_t kIlb[32] = {2048, 2093, 2139, 2186, 2233, 2282, 2332, 2383, 2435, 2489, 2543,
                                          2599, 2656, 2714, 2774, 2834, 2896, 2960, 3025, 3091, 3158, 3228,
                                          3298, 3371, 3444, 3520, 3597, 3676, 3756, 3838, 3922, 4008};

// ITU-T G.722 clause 4 (QMF): the 24 coefficients of the transmit and
// receive quadrature mirror filters, doubled (the recommendation's values
// times 2), h0 first.
inline constexpr std::int16_t kQmf[24] = {6,    -22,  -22,  106, 24,  -312, 64,  724,  -420, -1610, 1902, 7752,
                                          7752, 1902, -1610, -420, 724, 64,  -312, 24, 106,  -22,  -22,  6};

// ---- derived forms -----------------------------------------------------------

// The inverse log table with the shift of ILB folded in: entry i (0 to 352)
// is ILB[i & 31] shifted right by 10 - (i >> 5), less 1, so that a scale
// factor is entry * 4 + 4. The low band indexes it 64 entries in.
inline constexpr std::array<std::int16_t, 353> kIla = [] {
    std::array<std::int16_t, 353> t{};
    for (int i = 0; i < 353; ++i) {
        const int sh = 10 - (i >> 5);
        const int v = sh >= 0 ? kIlb[i & 31] >> sh : kIlb[i & 31] << -sh;
        t[i] = static_cast<std::int16_t>(v - 1);
    }
    return t;
}();
static_assert(kIla[0] == 1 && kIla[19] == 2 && kIla[64] == 7 && kIla[288] == 1023 && kIla[352] == 4095,
              "inverse log table equals the recommendation's ILA");

// Signed inverse-quantiser levels by code, scaled by 8 so that the quantised
// difference is (DET * level) >> 15, as the recommendation's mult() gives.
template <std::size_t N, std::size_t M>
constexpr std::array<std::int16_t, N> signed_levels(const std::int16_t (&qq)[M], const std::uint8_t (&ril)[N],
                                                    const std::uint8_t (&neg)[N]) {
    std::array<std::int16_t, N> t{};
    for (std::size_t c = 0; c < N; ++c) {
        const int v = qq[ril[c]] * 8;
        t[c] = static_cast<std::int16_t>(neg[c] ? -v : v);
    }
    return t;
}
inline constexpr auto kInvQ4 = signed_levels(kQQ4, kRil4, kRisi4);  // by IL >> 2
inline constexpr auto kInvQ5 = signed_levels(kQQ5, kRil5, kRisi5);  // by IL >> 1
inline constexpr auto kInvQ6 = signed_levels(kQQ6, kRil6, kRisi6);  // by IL

// WL by the 4-bit code IL >> 2.
inline constexpr std::array<std::int16_t, 16> kWL4 = [] {
    std::array<std::int16_t, 16> t{};
    for (int c = 0; c < 16; ++c) t[c] = kWL[kRil4[c]];
    return t;
}();

// High band by the 2-bit code: signed QQ2 level (scaled by 8) and WH.
inline constexpr std::array<std::int16_t, 4> kInvQ2 = [] {
    std::array<std::int16_t, 4> t{};
    for (int c = 0; c < 4; ++c) {
        const int v = kQQ2[kIh2[c]] * 8;
        t[c] = static_cast<std::int16_t>(kSih[c] ? -v : v);
    }
    return t;
}();
inline constexpr std::array<std::int16_t, 4> kWH2 = [] {
    std::array<std::int16_t, 4> t{};
    for (int c = 0; c < 4; ++c) t[c] = kWH[kIh2[c]];
    return t;
}();

// Decimation filter of the loss helpers: nine symmetric taps.
inline constexpr std::int16_t kDecimTaps[9] = {3692, 6190, 8525, 10186, 10787, 10186, 8525, 6190, 3692};

}  // namespace zin::g722
