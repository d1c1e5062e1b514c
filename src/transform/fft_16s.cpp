// The 16-bit wrapper of the real transform: 16-bit samples in, a CCS spectrum
// of 32-bit words out, and back. The samples go through the float transform
// in the work buffer; conversions scale by 2^-scaleFactor, round to nearest
// with ties to even (the processor's default mode) and saturate.
#include <immintrin.h>

#include <climits>
#include <cmath>
#include <cstring>

#include "frame/platform.h"
#include "transform/fft.h"

namespace zin {
namespace {

using i64 = std::int64_t;

template <typename T>
T* align64(void* p) {
    auto a = reinterpret_cast<std::uintptr_t>(p);
    return reinterpret_cast<T*>(a + ((0 - a) & 63u));
}

// 2^-scaleFactor in double. Beyond +-400 every finite float result is
// already 0 or saturated, so the clamp changes nothing.
double factor_of(int scaleFactor) {
    const int s = scaleFactor > 400 ? 400 : scaleFactor < -400 ? -400 : scaleFactor;
    return std::ldexp(1.0, -s);
}

// A float times a power of two is exact in double; rounding to an integer
// then saturating gives the correctly rounded result.
void to_32s(const float* src, Zin32s* dst, i64 n, double factor) {
    const __m256d f = _mm256_set1_pd(factor);
    const __m256d hi = _mm256_set1_pd(2147483647.0), lo = _mm256_set1_pd(-2147483648.0);
    i64 i = 0;
    for (; i + 4 <= n; i += 4) {
        __m256d v = _mm256_mul_pd(_mm256_cvtps_pd(_mm_loadu_ps(src + i)), f);
        v = _mm256_round_pd(v, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
        v = _mm256_max_pd(_mm256_min_pd(v, hi), lo);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), _mm256_cvtpd_epi32(v));
    }
    for (; i < n; ++i) {
        double v = std::nearbyint(static_cast<double>(src[i]) * factor);
        v = v > 2147483647.0 ? 2147483647.0 : v < -2147483648.0 ? -2147483648.0 : v;
        dst[i] = static_cast<Zin32s>(v);
    }
}

void to_16s(const float* src, Zin16s* dst, i64 n, double factor) {
    for (i64 i = 0; i < n; ++i) {
        double v = std::nearbyint(static_cast<double>(src[i]) * factor);
        v = v > 32767.0 ? 32767.0 : v < -32768.0 ? -32768.0 : v;
        dst[i] = static_cast<Zin16s>(v);
    }
}

}  // namespace

ZinStatus FftGetSize_32s(int order, int flag, int hint, int* pSpecSize, int* pInitSize, int* pBufSize) {
    if (order > 30 || order < 0) return zinStsFftOrderErr;
    if (!pSpecSize || !pInitSize || !pBufSize) return zinStsNullPtrErr;
    if (flag != 1 && flag != 2 && flag != 4 && flag != 8) return zinStsFftFlagErr;
    int desc = 0, init = 0, buf = 0;
    const ZinStatus st = FftGetSize_R_32f(order, flag, hint, &desc, &init, &buf);
    if (st != zinStsNoErr) return st;
    const i64 n = i64{1} << order;
    const i64 wspec = i64{desc} + 128, winit = init ? i64{init} + 64 : 0, wbuf = i64{buf} + 4 * n + 8 + 64;
    if (wspec > INT32_MAX || winit > INT32_MAX || wbuf > INT32_MAX) return zinStsFftOrderErr;
    *pSpecSize = static_cast<int>(wspec);
    *pInitSize = static_cast<int>(winit);
    *pBufSize = static_cast<int>(wbuf);
    return zinStsNoErr;
}

ZinStatus FftInit_32s(FftSpec_32s** ppSpec, int order, int flag, int hint, Zin8u* pMem, Zin8u* pInitBuf) {
    if (!ppSpec) return zinStsNullPtrErr;
    if (order > 30 || order < 0) return zinStsFftOrderErr;
    if (!pMem) return zinStsNullPtrErr;
    auto* w = align64<FftSpec_32s>(pMem);
    std::memset(static_cast<void*>(w), 0, sizeof *w);
    *ppSpec = w;
    FftSpec_R_32f* inner = nullptr;
    const ZinStatus st =
        FftInit_R_32f(&inner, order, flag, hint, reinterpret_cast<Zin8u*>(w) + sizeof(FftSpec_32s), pInitBuf);
    if (st != zinStsNoErr) return st;
    const i64 wbuf = i64{inner->bufSize} + 4 * (i64{1} << order) + 8;
    if (wbuf + 64 > INT32_MAX) return zinStsFftOrderErr;
    w->order = order;
    w->hint = hint;
    w->bufSize = static_cast<Zin32s>(wbuf);
    w->allocated = 0;
    w->inner = inner;
    w->magic = kFftMagic32s;
    return zinStsNoErr;
}

namespace {

// The checks both directions share: the descriptor first, then the data.
ZinStatus check_call(const void* src, const void* dst, const FftSpec_32s* spec) {
    if (!spec) return zinStsNullPtrErr;
    if (spec->magic != kFftMagic32s) return zinStsContextMatchErr;
    if (!src || !dst) return zinStsNullPtrErr;
    return zinStsNoErr;
}

// The work buffer of one call: the caller's, or one taken through the
// platform layer here and released when the call returns.
class CallBuffer {
public:
    CallBuffer(Zin8u* given, Zin32s bytes) : buf_(given) {
        if (!buf_) {
            owned_ = platform::allocate_bytes(bytes);
            buf_ = static_cast<Zin8u*>(owned_);
        }
    }
    ~CallBuffer() {
        if (owned_) platform::release(owned_);
    }
    CallBuffer(const CallBuffer&) = delete;
    CallBuffer& operator=(const CallBuffer&) = delete;
    Zin8u* get() const { return buf_; }

private:
    Zin8u* buf_;
    void* owned_ = nullptr;
};

}  // namespace

ZinStatus FftFwd_16s32sc_Sfs(const Zin16s* pSrc, Zin32s* pDst, const FftSpec_32s* pSpec, int scaleFactor,
                             Zin8u* pBuf) {
    if (const ZinStatus st = check_call(pSrc, pDst, pSpec); st != zinStsNoErr) return st;
    const CallBuffer work(pBuf, pSpec->bufSize + 64);
    if (!work.get()) return zinStsMemAllocErr;
    const int order = pSpec->order;
    const i64 n = i64{1} << order;
    float* f = align64<float>(work.get());
    for (i64 i = 0; i < n; ++i) f[i] = pSrc[i];
    auto* scratch = reinterpret_cast<Zin8u*>(f) + 4 * n + 8;
    FftFwd_RToPerm_32f(f, f, pSpec->inner, scratch);
    to_32s(f, pDst, n, factor_of(scaleFactor));
    // Perm to CCS: Re X[N/2] moves from index 1 to index N.
    if (order == 0) {
        pDst[1] = 0;
    } else {
        pDst[n] = pDst[1];
        pDst[n + 1] = 0;
        pDst[1] = 0;
    }
    return zinStsNoErr;
}

ZinStatus FftInv_32sc16s_Sfs(const Zin32s* pSrc, Zin16s* pDst, const FftSpec_32s* pSpec, int scaleFactor,
                             Zin8u* pBuf) {
    if (const ZinStatus st = check_call(pSrc, pDst, pSpec); st != zinStsNoErr) return st;
    const CallBuffer work(pBuf, pSpec->bufSize + 64);
    if (!work.get()) return zinStsMemAllocErr;
    const i64 n = i64{1} << pSpec->order;
    float* f = align64<float>(work.get());
    for (i64 i = 0; i <= n; ++i) f[i] = static_cast<float>(pSrc[i]);
    f[n + 1] = 0.0f;
    auto* scratch = reinterpret_cast<Zin8u*>(f) + 4 * n + 8;
    FftInv_CCSToR_32f(f, f, pSpec->inner, scratch);
    to_16s(f, pDst, n, factor_of(scaleFactor));
    return zinStsNoErr;
}

}  // namespace zin
