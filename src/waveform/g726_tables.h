// Constant tables of the G.726 coder (ITU-T G.726, clause 4) and of the
// G.711 companding around it (ITU-T G.711, Tables 1 and 2).
//
// Every per-rate table is one row of 32 entries indexed by the code itself
// (both signs), rows in rate-index order 16, 24, 32, 40 kbit/s. The rows are
// padded to the 5-bit width of the 40 kbit/s codes so that the coder reads
// inside the tables whatever byte it is handed; entries past a rate's width
// are not meaningful.
#pragma once

#include <array>
#include <cstdint>

namespace zin::g726 {

inline constexpr int kRates = 4;
inline constexpr int kRow = 32;

// 32-bit entries: W at 32 kbit/s reaches 35904.
using Row = std::array<std::int32_t, kRow>;

// Expands a half table (codes 0 .. 2^(b-1)-1) to the full code range: the
// negative codes mirror the positive ones (code 2^b-1-i takes entry i).
constexpr Row mirrored(std::initializer_list<int> half) {
    Row r{};
    const int n = static_cast<int>(half.size());
    int i = 0;
    for (int v : half) {
        r[i] = v;
        r[2 * n - 1 - i] = v;
        ++i;
    }
    return r;
}

// Bits per code by rate index.
inline constexpr int kBits[kRates] = {2, 3, 4, 5};

// Scale-factor multiplier W(I), G.726 Tables 6, 8, 10 and 12 (FUNCTW),
// in the scale of the fast scale factor: the recommendation's 12-bit WI
// times 32.
inline constexpr Row kW[kRates] = {
    mirrored({-704, 14048}),
    mirrored({-128, 960, 4384, 18624}),
    mirrored({-384, 576, 1312, 2048, 3584, 6336, 11360, 35904}),
    mirrored({448, 448, 768, 1248, 1280, 1312, 1856, 3200, 4512, 5728, 7008, 8960, 11456, 14080, 16928, 22272}),
};

// Transition-speed function F(I), G.726 Tables 6, 8, 10 and 12 (FUNCTF),
// times 512.
inline constexpr Row kF[kRates] = {
    mirrored({0, 3584}),
    mirrored({0, 512, 1024, 3584}),
    mirrored({0, 0, 0, 512, 512, 512, 1536, 3584}),
    mirrored({0, 0, 0, 0, 0, 512, 512, 512, 512, 512, 1024, 1536, 2048, 2560, 3072, 3072}),
};

// Normalised quantiser output in the log domain, G.726 Tables 5, 7, 9 and 11
// (RECONST); -2048 stands for the zero magnitude.
inline constexpr Row kReconstruct[kRates] = {
    mirrored({116, 365}),
    mirrored({-2048, 135, 273, 373}),
    mirrored({-2048, 4, 135, 213, 273, 323, 373, 425}),
    mirrored({-2048, -66, 28, 104, 169, 224, 274, 318, 358, 395, 429, 459, 488, 514, 539, 566}),
};

// Decision levels of the adaptive quantiser (G.726 Tables 5, 7, 9 and 11,
// QUAN) in scan order, descending; the first is a guard above every legal
// log difference. Unused entries hold -32768, which no difference is below.
inline constexpr int kMaxLevels = 24;
using Levels = std::array<std::int16_t, kMaxLevels>;
constexpr Levels levels(std::initializer_list<int> v) {
    Levels r{};
    for (auto& x : r) x = -32768;
    int i = 0;
    for (int x : v) r[i++] = static_cast<std::int16_t>(x);
    return r;
}
inline constexpr int kLevelCount[kRates] = {3, 5, 9, 17};
inline constexpr Levels kLevels[kRates] = {
    levels({2048, 261, 0}),
    levels({2048, 331, 218, 8, 0}),
    levels({2048, 400, 349, 300, 246, 178, 80, 0, -124}),
    levels({2048, 553, 528, 502, 475, 445, 413, 378, 339, 298, 250, 198, 139, 68, 0, -16, -122}),
};

// Code for the decision index (number of levels above the log difference),
// [rate][sign of the difference: 0 not negative, 1 negative][index].
using IndexRow = std::array<std::uint8_t, kMaxLevels>;
constexpr IndexRow index_row(std::initializer_list<int> v) {
    IndexRow r{};
    int i = 0;
    for (int x : v) r[i++] = static_cast<std::uint8_t>(x);
    return r;
}
inline constexpr IndexRow kEncodeCode[kRates][2] = {
    {index_row({0, 1, 0, 0}), index_row({3, 2, 3, 3})},
    {index_row({7, 3, 2, 1, 7, 7}), index_row({7, 4, 5, 6, 7, 7})},
    {index_row({15, 7, 6, 5, 4, 3, 2, 1, 1, 15}), index_row({15, 8, 9, 10, 11, 12, 13, 14, 14, 15})},
    {index_row({31, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 2, 1, 31}),
     index_row({31, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 29, 30, 31})},
};

// The same scan read as an offset code (ascending with the quantised value)
// for the synchronous coding adjustment, G.726 clause 4.2.8 (SYNC).
inline constexpr IndexRow kSyncOffset[kRates][2] = {
    {index_row({2, 3, 2, 2}), index_row({1, 0, 1, 1})},
    {index_row({3, 7, 6, 5, 3, 3}), index_row({3, 0, 1, 2, 3, 3})},
    {index_row({7, 15, 14, 13, 12, 11, 10, 9, 9, 7}), index_row({7, 0, 1, 2, 3, 4, 5, 6, 6, 7})},
    {index_row({15, 31, 30, 29, 28, 27, 26, 25, 24, 23, 22, 21, 20, 19, 18, 18, 17, 15}),
     index_row({15, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 13, 14, 15})},
};

// The decoder's rescan of the decision levels in the synchronous coding
// adjustment, done ahead for every log difference: the offset code id by
// the sign of dx and dln + kDlnBias. dln stays between the log of 0 less
// the largest y >> 2 (-128 - 1280) and the log of 32767 less the least
// (1919 - 136).
inline constexpr int kDlnBias = 1536;
inline constexpr int kDlnSpan = 3328;
using SyncByDln = std::array<std::array<std::uint8_t, kDlnSpan>, 2>;
constexpr SyncByDln sync_by_dln(int r) {
    SyncByDln t{};
    for (int s = 0; s < 2; ++s) {
        for (int i = 0; i < kDlnSpan; ++i) {
            int k = 0;
            while (k < kLevelCount[r] && kLevels[r][k] > i - kDlnBias) ++k;
            t[s][i] = kSyncOffset[r][s][k];
        }
    }
    return t;
}
inline constexpr SyncByDln kSyncByDln[kRates] = {sync_by_dln(0), sync_by_dln(1), sync_by_dln(2), sync_by_dln(3)};

// ---- G.711 ------------------------------------------------------------------

// G.711 Table 1 (A-law) decoded to 16-bit linear: even bits inverted, sign
// bit set for positive values, segment in bits 6..4.
constexpr std::int16_t alaw_expand(int code) {
    const int c = code ^ 0x55;
    const int seg = (c >> 4) & 7;
    const int mant = c & 15;
    const int mag = seg == 0 ? (mant << 4) + 8 : ((mant << 4) + 0x108) << (seg - 1);
    return static_cast<std::int16_t>((c & 0x80) ? mag : -mag);
}

// G.711 Table 2 (mu-law) decoded to 16-bit linear: all bits inverted, bias 33
// in the 14-bit scale (132 here).
constexpr std::int16_t ulaw_expand(int code) {
    const int c = ~code & 0xFF;
    const int seg = (c >> 4) & 7;
    const int mant = c & 15;
    const int mag = (((mant << 3) + 0x84) << seg) - 0x84;
    return static_cast<std::int16_t>((c & 0x80) ? -mag : mag);
}

using Expand = std::array<std::int16_t, 256>;
constexpr Expand expand_table(bool alaw) {
    Expand t{};
    for (int c = 0; c < 256; ++c) t[c] = alaw ? alaw_expand(c) : ulaw_expand(c);
    return t;
}
inline constexpr Expand kAlawExpand = expand_table(true);
inline constexpr Expand kUlawExpand = expand_table(false);

// Next lower and next higher A-law code in the ascending order of the
// expanded value; the two ends (0x2A the lowest, 0xAA the highest) stay.
using Neighbours = std::array<std::uint8_t, 256>;
constexpr Neighbours alaw_neighbour(bool higher) {
    Neighbours t{};
    for (int c = 0; c < 256; ++c) {
        const int v = alaw_expand(c);
        int best = c;
        for (int o = 0; o < 256; ++o) {
            const int w = alaw_expand(o);
            if (higher ? (w > v && (best == c || w < alaw_expand(best))) : (w < v && (best == c || w > alaw_expand(best))))
                best = o;
        }
        t[c] = static_cast<std::uint8_t>(best);
    }
    return t;
}
inline constexpr Neighbours kAlawLower = alaw_neighbour(false);
inline constexpr Neighbours kAlawHigher = alaw_neighbour(true);

// The mu-law neighbours, with its two zeros (0x7F and 0xFF), by the rule of
// the synchronous coding adjustment (G.726 clause 4.2.8).
constexpr Neighbours ulaw_neighbour(bool higher) {
    Neighbours t{};
    for (int c = 0; c < 256; ++c) {
        int n;
        if (!higher) {
            if (c == 0) n = 0;
            else if (c <= 126) n = c - 1;
            else if (c == 127) n = 125;
            else if (c <= 254) n = c + 1;
            else n = 126;
        } else {
            if (c <= 126) n = c + 1;
            else if (c == 127) n = 253;
            else if (c == 128) n = 128;
            else n = c - 1;
        }
        t[c] = static_cast<std::uint8_t>(n);
    }
    return t;
}
inline constexpr Neighbours kUlawLower = ulaw_neighbour(false);
inline constexpr Neighbours kUlawHigher = ulaw_neighbour(true);

static_assert(kAlawExpand[0] == -5504 && kUlawExpand[0] == -32124);
static_assert(kAlawLower[0x2A] == 0x2A && kAlawHigher[0xAA] == 0xAA);

}  // namespace zin::g726
