// The private vector kernels: fills, copies, element-wise arithmetic,
// reductions and the normalisation tables.
#include "kernels.h"

#include <immintrin.h>

#include <array>
#include <cstring>

#include "../frame/platform.h"
#include "fixed_point.h"

namespace zin {
namespace {

constexpr std::int64_t kLargeFillBytes = 2097152;   // fills above this may bypass the cache
constexpr std::int64_t kStreamCopyBytes = 32768;    // copies from this size on stream
constexpr std::int64_t kCopyChunkBytes = 2147483616;

// ---- fills --------------------------------------------------------------

// Whether a fill of `bytes` should go around the cache: only above the
// fixed threshold, and then only if the largest cache is known and smaller.
bool fill_bypasses_cache(std::int64_t bytes) {
    if (bytes <= kLargeFillBytes) return false;
    std::int32_t cache = 0;
    if (platform::max_cache_size(&cache) != 0 || cache <= 0) return false;
    return bytes > cache;
}

// Fills `bytes` bytes with the 16-byte pattern `v` (whose phase is that of
// `dst`), with non-temporal stores from the first 64-byte boundary on.
void fill_streaming(unsigned char* dst, std::int64_t bytes, __m128i v) {
    alignas(16) unsigned char pattern[32];
    _mm_store_si128(reinterpret_cast<__m128i*>(pattern), v);
    _mm_store_si128(reinterpret_cast<__m128i*>(pattern + 16), v);
    const std::int64_t head = static_cast<std::int64_t>((-reinterpret_cast<std::uintptr_t>(dst)) & 63u);
    for (std::int64_t i = 0; i < head && i < bytes; ++i) dst[i] = pattern[i & 15];
    if (head >= bytes) return;
    // From the boundary on the pattern's phase shifts by `head`.
    __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pattern + (head & 15)));
    unsigned char* p = dst + head;
    std::int64_t left = bytes - head;
    for (; left >= 64; left -= 64, p += 64) {
        _mm_stream_si128(reinterpret_cast<__m128i*>(p), w);
        _mm_stream_si128(reinterpret_cast<__m128i*>(p + 16), w);
        _mm_stream_si128(reinterpret_cast<__m128i*>(p + 32), w);
        _mm_stream_si128(reinterpret_cast<__m128i*>(p + 48), w);
    }
    _mm_sfence();
    const unsigned char* q = pattern + (head & 15);
    for (std::int64_t i = 0; i < left; ++i) p[i] = q[i & 15];
}

ZinStatus zero_bytes(void* dst, std::int64_t bytes) {
    if (fill_bypasses_cache(bytes))
        fill_streaming(static_cast<unsigned char*>(dst), bytes, _mm_setzero_si128());
    else
        std::memset(dst, 0, static_cast<std::size_t>(bytes));
    return zinStsNoErr;
}

// Element by element through memcpy, so that a destination that is not
// aligned to its element is still legal here.
template <typename T>
void fill_plain(T* dst, T value, int len) {
    auto bytes = reinterpret_cast<unsigned char*>(dst);
    for (int i = 0; i < len; ++i) std::memcpy(bytes + std::size_t(i) * sizeof(T), &value, sizeof(T));
}

template <typename T>
ZinStatus set_elements(T value, T* dst, int len) {
    if (!dst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    const std::int64_t bytes = std::int64_t{len} * static_cast<std::int64_t>(sizeof(T));
    const bool aligned = (reinterpret_cast<std::uintptr_t>(dst) % sizeof(T)) == 0;
    if (aligned && fill_bypasses_cache(bytes)) {
        alignas(16) T lanes[16 / sizeof(T)];
        for (auto& l : lanes) l = value;
        fill_streaming(reinterpret_cast<unsigned char*>(dst), bytes,
                       _mm_load_si128(reinterpret_cast<const __m128i*>(lanes)));
    } else {
        fill_plain(dst, value, len);
    }
    return zinStsNoErr;
}

// ---- copies -------------------------------------------------------------

// Forward copy for streaming: 64-byte blocks stored at the destination's
// 32-byte boundaries, non-temporally above the large-fill size. Safe for
// overlap when dst is not above src: each block is read whole before it is
// written.
template <bool kNonTemporal>
void copy_blocks_forward(const unsigned char* src, unsigned char* dst, std::int64_t bytes) {
    const std::int64_t head = static_cast<std::int64_t>((-reinterpret_cast<std::uintptr_t>(dst)) & 31u);
    std::int64_t i = 0;
    for (; i < head && i < bytes; ++i) dst[i] = src[i];
    for (; i + 64 <= bytes; i += 64) {
        const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + i));
        const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + i + 32));
        if constexpr (kNonTemporal) {
            _mm256_stream_si256(reinterpret_cast<__m256i*>(dst + i), a);
            _mm256_stream_si256(reinterpret_cast<__m256i*>(dst + i + 32), b);
        } else {
            _mm256_store_si256(reinterpret_cast<__m256i*>(dst + i), a);
            _mm256_store_si256(reinterpret_cast<__m256i*>(dst + i + 32), b);
        }
    }
    if constexpr (kNonTemporal) _mm_sfence();
    for (; i < bytes; ++i) dst[i] = src[i];
}

// From the streaming size on: below the large-fill size the C library's
// copy (which chooses its own blocking) is the fastest streaming copy on this
// target; above it, non-temporal stores keep the copy out of the cache.
void copy_streaming_forward(const unsigned char* src, unsigned char* dst, std::int64_t bytes) {
    if (bytes > kLargeFillBytes)
        copy_blocks_forward<true>(src, dst, bytes);
    else if (dst + bytes <= src || src + bytes <= dst)
        std::memcpy(dst, src, static_cast<std::size_t>(bytes));
    else
        copy_blocks_forward<false>(src, dst, bytes);
}

ZinStatus copy_bytes(const void* src, void* dst, std::int64_t bytes) {
    auto s = static_cast<const unsigned char*>(src);
    auto d = static_cast<unsigned char*>(dst);
    while (bytes > 0) {
        const std::int64_t n = bytes > kCopyChunkBytes ? kCopyChunkBytes : bytes;
        if (n >= kStreamCopyBytes)
            copy_streaming_forward(s, d, n);
        else
            std::memcpy(d, s, static_cast<std::size_t>(n));
        s += n;
        d += n;
        bytes -= n;
    }
    return zinStsNoErr;
}

ZinStatus move_bytes(const void* src, void* dst, std::int64_t bytes) {
    if (bytes >= kStreamCopyBytes && dst <= src)
        copy_streaming_forward(static_cast<const unsigned char*>(src), static_cast<unsigned char*>(dst), bytes);
    else
        std::memmove(dst, src, static_cast<std::size_t>(bytes));
    return zinStsNoErr;
}

template <std::size_t kElem>
ZinStatus checked_copy(const void* src, void* dst, int len) {
    if (!src || !dst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    return copy_bytes(src, dst, std::int64_t{len} * static_cast<std::int64_t>(kElem));
}

template <std::size_t kElem>
ZinStatus checked_move(const void* src, void* dst, int len) {
    if (!src || !dst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    return move_bytes(src, dst, std::int64_t{len} * static_cast<std::int64_t>(kElem));
}

inline __m128i load(const Zin16s* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline __m128i load(const Zin32s* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline void store(Zin16s* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
inline void store(Zin32s* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }

inline Zin16s hmax_epi16(__m128i v) {
    v = _mm_max_epi16(v, _mm_shuffle_epi32(v, 0x4E));
    v = _mm_max_epi16(v, _mm_shuffle_epi32(v, 0xB1));
    v = _mm_max_epi16(v, _mm_shufflelo_epi16(v, 0xB1));
    return static_cast<Zin16s>(_mm_extract_epi16(v, 0));
}
inline Zin16s hmin_epi16(__m128i v) {
    v = _mm_min_epi16(v, _mm_shuffle_epi32(v, 0x4E));
    v = _mm_min_epi16(v, _mm_shuffle_epi32(v, 0xB1));
    v = _mm_min_epi16(v, _mm_shufflelo_epi16(v, 0xB1));
    return static_cast<Zin16s>(_mm_extract_epi16(v, 0));
}
inline Zin32s hmax_epi32(__m128i v) {
    v = _mm_max_epi32(v, _mm_shuffle_epi32(v, 0x4E));
    v = _mm_max_epi32(v, _mm_shuffle_epi32(v, 0xB1));
    return _mm_cvtsi128_si32(v);
}

// Round-to-nearest-even right shift of a 64-bit value by 1..63.
inline Zin64s shift_ties_even(Zin64s a, int s) {
    if (s >= 63) return 0;  // |a| < 2^62 for every caller here
    const Zin64s half_less_one = (Zin64s{1} << (s - 1)) - 1;
    return (a + half_less_one + ((a >> s) & 1)) >> s;
}

// Saturating left shift of a 64-bit value to the range [lo, hi] (lo < 0 < hi):
// a * 2^n stays in range for hi >> n >= a >= -((-lo) >> n).
inline Zin64s shift_left_saturated(Zin64s a, int n, Zin64s lo, Zin64s hi) {
    if (a > (hi >> n)) return hi;
    if (a < -((-lo) >> n)) return lo;
    return a * (Zin64s{1} << n);
}

// ---- normalisation tables ----------------------------------------------

// Leading zero bits of a byte, less one (7 for 0), and the same plus eight.
constexpr std::array<Zin16s, 256> make_norm_table(int plus) {
    std::array<Zin16s, 256> t{};
    for (int b = 0; b < 256; ++b) {
        int lz = 8;
        for (int v = b; v; v >>= 1) --lz;
        t[b] = static_cast<Zin16s>(lz - 1 + plus);
    }
    return t;
}
constexpr auto kNormByte = make_norm_table(0);
constexpr auto kNormByte8 = make_norm_table(8);

}  // namespace

// ---- fills and copies ---------------------------------------------------

ZinStatus Zero_8u(Zin8u* dst, int len) {
    if (!dst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    return zero_bytes(dst, len);
}
ZinStatus Zero_16s(Zin16s* dst, int len) {
    if (!dst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    return zero_bytes(dst, std::int64_t{len} * 2);
}
ZinStatus Zero_32s(void* dst, int len) {
    if (!dst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    return zero_bytes(dst, std::int64_t{len} * 4);
}
ZinStatus Zero_64s(void* dst, int len) {
    if (!dst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    return zero_bytes(dst, std::int64_t{len} * 8);
}
ZinStatus Zero_128(void* dst, int len) {
    if (!dst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    return zero_bytes(dst, std::int64_t{len} * 16);
}
ZinStatus Set_16s(Zin16s value, Zin16s* dst, int len) { return set_elements(value, dst, len); }
ZinStatus Set_32s(Zin32s value, Zin32s* dst, int len) { return set_elements(value, dst, len); }
ZinStatus Set_32f(Zin32f value, Zin32f* dst, int len) { return set_elements(value, dst, len); }
ZinStatus Set_64f(Zin64f value, Zin64f* dst, int len) { return set_elements(value, dst, len); }
ZinStatus Copy_8u(const Zin8u* src, Zin8u* dst, int len) { return checked_copy<1>(src, dst, len); }
ZinStatus Copy_16s(const Zin16s* src, Zin16s* dst, int len) { return checked_copy<2>(src, dst, len); }
ZinStatus Copy_32s(const void* src, void* dst, int len) { return checked_copy<4>(src, dst, len); }
ZinStatus Copy_64s(const void* src, void* dst, int len) { return checked_copy<8>(src, dst, len); }
ZinStatus Move_16s(const Zin16s* src, Zin16s* dst, int len) { return checked_move<2>(src, dst, len); }
ZinStatus Move_32s(const void* src, void* dst, int len) { return checked_move<4>(src, dst, len); }

// ---- element-wise arithmetic -------------------------------------------

ZinStatus Add_16s(const Zin16s* src1, const Zin16s* src2, Zin16s* dst, int len) {
    if (!src1 || !src2 || !dst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    int i = 0;
    for (; i + 8 <= len; i += 8) store(dst + i, _mm_adds_epi16(load(src1 + i), load(src2 + i)));
    for (; i < len; ++i) dst[i] = fx::add16(src1[i], src2[i]);
    return zinStsNoErr;
}

ZinStatus Sub_16s(const Zin16s* src1, const Zin16s* src2, Zin16s* dst, int len) {
    if (!src1 || !src2 || !dst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    int i = 0;
    for (; i + 8 <= len; i += 8) store(dst + i, _mm_subs_epi16(load(src2 + i), load(src1 + i)));
    for (; i < len; ++i) dst[i] = fx::sub16(src2[i], src1[i]);
    return zinStsNoErr;
}

ZinStatus Abs_16s(const Zin16s* src, Zin16s* dst, int len) {
    if (!src || !dst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    const __m128i top = _mm_set1_epi16(32767);
    int i = 0;
    for (; i + 8 <= len; i += 8) store(dst + i, _mm_min_epu16(_mm_abs_epi16(load(src + i)), top));
    for (; i < len; ++i) dst[i] = fx::abs16(src[i]);
    return zinStsNoErr;
}

ZinStatus LShiftC_16s(const Zin16s* src, int count, Zin16s* dst, int len) {
    if (!src || !dst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    if (count < 0) return zinStsShiftErr;
    if (count == 0) return Copy_16s(src, dst, len);
    if (count >= 16) return Zero_16s(dst, len);
    const __m128i n = _mm_cvtsi32_si128(count);
    int i = 0;
    for (; i + 8 <= len; i += 8) store(dst + i, _mm_sll_epi16(load(src + i), n));
    for (; i < len; ++i) dst[i] = static_cast<Zin16s>(static_cast<std::uint16_t>(src[i]) << count);
    return zinStsNoErr;
}

ZinStatus RShiftC_16s(const Zin16s* src, int count, Zin16s* dst, int len) {
    if (!src || !dst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    if (count < 0) return zinStsShiftErr;
    if (count == 0) return Copy_16s(src, dst, len);
    if (count > 15) count = 15;
    const __m128i n = _mm_cvtsi32_si128(count);
    int i = 0;
    for (; i + 8 <= len; i += 8) store(dst + i, _mm_sra_epi16(load(src + i), n));
    for (; i < len; ++i) dst[i] = static_cast<Zin16s>(src[i] >> count);
    return zinStsNoErr;
}

ZinStatus RShiftC_32s(const Zin32s* src, int count, Zin32s* dst, int len) {
    if (!src || !dst) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    if (count < 0) return zinStsShiftErr;
    if (count == 0) return Copy_32s(src, dst, len);
    if (count > 31) count = 31;
    const __m128i n = _mm_cvtsi32_si128(count);
    int i = 0;
    for (; i + 4 <= len; i += 4) store(dst + i, _mm_sra_epi32(load(src + i), n));
    for (; i < len; ++i) dst[i] = src[i] >> count;
    return zinStsNoErr;
}

// ---- reductions ---------------------------------------------------------

ZinStatus Max_16s(const Zin16s* src, int len, Zin16s* result) {
    if (!src || !result) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    Zin16s m = src[0];
    int i = 0;
    if (len >= 8) {
        __m128i v = load(src);
        for (i = 8; i + 8 <= len; i += 8) v = _mm_max_epi16(v, load(src + i));
        m = hmax_epi16(v);
    }
    for (; i < len; ++i) m = src[i] > m ? src[i] : m;
    *result = m;
    return zinStsNoErr;
}

ZinStatus Min_16s(const Zin16s* src, int len, Zin16s* result) {
    if (!src || !result) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    Zin16s m = src[0];
    int i = 0;
    if (len >= 8) {
        __m128i v = load(src);
        for (i = 8; i + 8 <= len; i += 8) v = _mm_min_epi16(v, load(src + i));
        m = hmin_epi16(v);
    }
    for (; i < len; ++i) m = src[i] < m ? src[i] : m;
    *result = m;
    return zinStsNoErr;
}

ZinStatus Max_32s(const Zin32s* src, int len, Zin32s* result) {
    if (!src || !result) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    Zin32s m = src[0];
    int i = 0;
    if (len >= 4) {
        __m128i v = load(src);
        for (i = 4; i + 4 <= len; i += 4) v = _mm_max_epi32(v, load(src + i));
        m = hmax_epi32(v);
    }
    for (; i < len; ++i) m = src[i] > m ? src[i] : m;
    *result = m;
    return zinStsNoErr;
}

ZinStatus MaxIndx_32s(const Zin32s* src, int len, Zin32s* result, int* index) {
    if (!index) return Max_32s(src, len, result);
    if (!src || !result) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    Zin32s m = 0;
    Max_32s(src, len, &m);
    int i = 0;
    while (src[i] != m) ++i;
    *result = m;
    *index = i;
    return zinStsNoErr;
}

ZinStatus MaxAbs_16s(const Zin16s* src, int len, Zin16s* result) {
    if (!src || !result) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    const __m128i top = _mm_set1_epi16(32767);
    Zin16s m = 0;
    int i = 0;
    if (len >= 8) {
        __m128i v = _mm_setzero_si128();
        for (; i + 8 <= len; i += 8) v = _mm_max_epi16(v, _mm_min_epu16(_mm_abs_epi16(load(src + i)), top));
        m = hmax_epi16(v);
    }
    for (; i < len; ++i) {
        const Zin16s a = fx::abs16(src[i]);
        m = a > m ? a : m;
    }
    *result = m;
    return zinStsNoErr;
}

ZinStatus MaxAbs_32s(const Zin32s* src, int len, Zin32s* result) {
    if (!src || !result) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    const __m128i top = _mm_set1_epi32(0x7FFFFFFF);
    Zin32s m = 0;
    int i = 0;
    if (len >= 4) {
        __m128i v = _mm_setzero_si128();
        for (; i + 4 <= len; i += 4) v = _mm_max_epi32(v, _mm_min_epu32(_mm_abs_epi32(load(src + i)), top));
        m = hmax_epi32(v);
    }
    for (; i < len; ++i) {
        const Zin32s a = fx::abs32(src[i]);
        m = a > m ? a : m;
    }
    *result = m;
    return zinStsNoErr;
}

namespace {

Zin64s sum_16s(const Zin16s* src, int len) {
    // Each 32-bit lane takes at most 2 * 32768 per step, so that 16384 steps
    // stay exact before the lanes are widened.
    Zin64s total = 0;
    int i = 0;
    const __m128i ones = _mm_set1_epi16(1);
    while (i + 8 <= len) {
        __m128i acc = _mm_setzero_si128();
        const int end = (len - i) / 8 > 16384 ? i + 8 * 16384 : i + ((len - i) & ~7);
        for (; i < end; i += 8) acc = _mm_add_epi32(acc, _mm_madd_epi16(load(src + i), ones));
        alignas(16) Zin32s lanes[4];
        _mm_store_si128(reinterpret_cast<__m128i*>(lanes), acc);
        total += Zin64s{lanes[0]} + lanes[1] + lanes[2] + lanes[3];
    }
    for (; i < len; ++i) total += src[i];
    return total;
}

// The exact sum scaled by 2^-scale, ties to even, saturated to [lo, hi].
Zin64s scale_exact_sum(Zin64s sum, int scale, Zin64s lo, Zin64s hi) {
    Zin64s v;
    if (scale > 0)
        v = shift_ties_even(sum, scale);
    else if (scale < 0)
        return shift_left_saturated(sum, -scale > 62 ? 62 : -scale, lo, hi);
    else
        v = sum;
    return v > hi ? hi : (v < lo ? lo : v);
}

}  // namespace

ZinStatus Sum_16s32s_Sfs(const Zin16s* src, int len, Zin32s* result, int scale) {
    if (!src || !result) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    *result = static_cast<Zin32s>(scale_exact_sum(sum_16s(src, len), scale, fx::kMin32, fx::kMax32));
    return zinStsNoErr;
}

ZinStatus Sum_16s_Sfs(const Zin16s* src, int len, Zin16s* result, int scale) {
    if (!src || !result) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    *result = static_cast<Zin16s>(scale_exact_sum(sum_16s(src, len), scale, fx::kMin16, fx::kMax16));
    return zinStsNoErr;
}

ZinStatus Sum_32s(const Zin32s* src, int len, Zin32s* result, int scale) {
    if (!src || !result) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    Zin64s total = 0;
    for (int i = 0; i < len; ++i) total += src[i];
    *result = ScaleSfs_64s32s(total, scale);
    return zinStsNoErr;
}

namespace {

// Exact 64-bit sum of products. pmaddwd gives each pair sum modulo 2^32;
// the true pair sums lie in [-2147418112, 2147483648], so that adding
// 2147418112 maps them onto [0, 4294901760], an unsigned 32-bit range. The
// biased sums are widened without sign and the bias taken off at the end.
Zin64s dot_16s(const Zin16s* a, const Zin16s* b, int len) {
    constexpr Zin64s kBias = 2147418112;
    const __m128i bias = _mm_set1_epi32(static_cast<int>(kBias));
    const __m128i zero = _mm_setzero_si128();
    __m128i acc0 = zero, acc1 = zero;
    int i = 0;
    for (; i + 8 <= len; i += 8) {
        const __m128i p = _mm_add_epi32(_mm_madd_epi16(load(a + i), load(b + i)), bias);
        acc0 = _mm_add_epi64(acc0, _mm_unpacklo_epi32(p, zero));
        acc1 = _mm_add_epi64(acc1, _mm_unpackhi_epi32(p, zero));
    }
    acc0 = _mm_add_epi64(acc0, acc1);
    Zin64s total = _mm_cvtsi128_si64(acc0) + _mm_extract_epi64(acc0, 1) - kBias * (i / 2);
    for (; i < len; ++i) total += Zin32s{a[i]} * b[i];
    return total;
}

}  // namespace

ZinStatus DotProd_16s32s_Sfs(const Zin16s* src1, const Zin16s* src2, int len, Zin32s* result, int scale) {
    if (!src1 || !src2 || !result) return zinStsNullPtrErr;
    if (len < 1) return zinStsSizeErr;
    *result = ScaleSfs_64s32s(dot_16s(src1, src2, len), scale);
    return zinStsNoErr;
}

Zin64s DotProd_16s64s(const Zin16s* src1, const Zin16s* src2, int len) { return dot_16s(src1, src2, len); }

// ---- scalar tools -------------------------------------------------------

int Norm_32s(Zin32s x) {
    if (x == 0) return 0;
    if (x < 0) {
        if (x == -1) return 31;
        x = ~x;
    }
    const auto u = static_cast<std::uint32_t>(x);
    if (u >> 16) return (u >> 24) ? kNormByte[u >> 24] : kNormByte8[u >> 16];
    return 16 + ((u >> 8) ? kNormByte[u >> 8] : kNormByte8[u]);
}

int Norm_16s(Zin16s x) {
    if (x == 0) return 0;
    int v = x;
    if (v < 0) {
        if (v == -1) return 15;
        v = ~v;
    }
    return (v >> 8) ? kNormByte[v >> 8] : kNormByte8[v];
}

Zin32s ScaleSfs_64s32s(Zin64s a, int scale) {
    if (scale > 31) scale = 31;
    if (scale < -31) scale = -31;
    if (scale > 0) a = shift_ties_even(a, scale);
    else if (scale < 0) return static_cast<Zin32s>(shift_left_saturated(a, -scale, fx::kMin32, fx::kMax32));
    return fx::sat32(a);
}

Zin16s ScaleSfs_64s16s(Zin64s a, int scale) {
    if (scale > 31) scale = 31;
    if (scale < -31) scale = -31;
    if (scale > 0) a = shift_ties_even(a, scale);
    else if (scale < 0) return static_cast<Zin16s>(shift_left_saturated(a, -scale, fx::kMin16, fx::kMax16));
    return fx::sat16(a);
}

}  // namespace zin
