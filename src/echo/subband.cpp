// The sub-band filter bank of the echo canceller: a uniform, oversampled,
// DFT-modulated bank. Analysis windows a delay line of windowLen samples,
// folds it to fftLen points and takes a real transform (fftLen/2 + 1 complex
// sub-band samples per block of frameSize samples); synthesis inverts the
// transform and overlap-adds through the time-reversed window.
//
// One object serves one direction of one signal. The object aligns itself
// to 16 bytes from any address and holds pointers into itself, so it is not
// moved after Init. Its transform is the one of src/transform/, flag 2
// (forward unscaled, inverse divided by fftLen).
#include <cstdint>
#include <cstring>

#include "../frame/registry.h"
#include "../kernels/fixed_point.h"
#include "../transform/fft.h"
#include "subband_windows.h"

namespace zin {
namespace {

using i64 = std::int64_t;

constexpr int kFftFlag = 2;  // inverse divided by fftLen

template <typename T>
T* align16(void* p) {
    auto a = reinterpret_cast<std::uintptr_t>(p);
    return reinterpret_cast<T*>(a + ((0 - a) & 15u));
}

constexpr i64 roundup16(i64 n) { return (n + 15) & ~i64{15}; }

}  // namespace
}  // namespace zin

// The records behind the public handles. 40 and 48 bytes of header; the
// arrays and the transform block follow in the caller's block.
struct ZinSubbandProcessState_32f {
    Zin32s windowLen;
    Zin32s fftLen;
    Zin32s frameSize;
    Zin32f* delay;
    Zin32f* window;
    zin::FftSpec_R_32f* fft;
};
static_assert(sizeof(ZinSubbandProcessState_32f) <= 40, "the float bank's header fits its 40 bytes");

struct ZinSubbandProcessState_16s {
    Zin16s* delay;
    Zin16s* window;
    zin::FftSpec_32s* fft;
    Zin32s windowLen;
    Zin32s fftLen;
    Zin32s frameSize;
};
static_assert(sizeof(ZinSubbandProcessState_16s) <= 48, "the 16-bit bank's header fits its 48 bytes");

namespace zin {
namespace {

// The value checks the two size queries share: order and windowLen in
// range, the outputs present, windowLen a whole number of transform lengths.
// 1 << order is never formed for an order a 32-bit length cannot reach.
ZinStatus check_shape(int order, int windowLen, const void* a, const void* b, const void* c) {
    if (order < 1 || windowLen < 1) return zinStsBadArgErr;
    if (!a || !b || !c) return zinStsNullPtrErr;
    if (order > 30 || windowLen % (1 << order) != 0) return zinStsBadArgErr;
    return zinStsNoErr;
}

bool fits32(i64 v) { return v >= 0 && v <= INT32_MAX; }

// The checks both Inits share, and the built-in window a null pWindow takes
// (null for a triple that has none). `builtin` is set only on success.
template <typename W>
ZinStatus check_init(const void* pState, int order, int frameSize, int windowLen, const W* pWindow,
                     const W* half5, const W* half6, const W** builtin) {
    if (order <= 0 || frameSize <= 0 || windowLen <= 0) return zinStsBadArgErr;
    if (order <= 30 && frameSize > (1 << order)) return zinStsBadArgErr;
    if (!pState) return zinStsNullPtrErr;
    if (order > 30 || windowLen % (1 << order) != 0) return zinStsBadArgErr;
    *builtin = nullptr;
    if (!pWindow) {
        if (order == 5 && frameSize == 24 && windowLen == 128) *builtin = half5;
        else if (order == 6 && frameSize == 44 && windowLen == 256) *builtin = half6;
        else return zinStsBadArgErr;
    }
    return zinStsNoErr;
}

// A stored window from the caller's array or from a symmetric built-in half.
template <typename W>
void copy_window(W* dst, int windowLen, const W* pWindow, const W* half) {
    if (pWindow) {
        std::memcpy(dst, pWindow, sizeof(W) * static_cast<std::size_t>(windowLen));
        return;
    }
    const int h = windowLen / 2;
    for (int i = 0; i < h; ++i) {
        dst[i] = half[i];
        dst[windowLen - 1 - i] = half[i];
    }
}

// ---- float path ------------------------------------------------------------

// Moves the delay line left by frameSize; its last frameSize entries are
// then the caller's to fill.
template <typename T>
void shift_delay(T* delay, int windowLen, int frameSize) {
    std::memmove(delay, delay + frameSize, sizeof(T) * static_cast<std::size_t>(windowLen - frameSize));
}

// tmp[i] = sum over blocks b, ascending, of delay[bN + i] * window[bN + i],
// in single precision from the first block's product on: the order per
// point is the ascending j of the plain statement.
void fold_32f(const Zin32f* delay, const Zin32f* window, Zin32f* tmp, int n, int windowLen) {
    for (int i = 0; i < n; ++i) tmp[i] = delay[i] * window[i];
    for (int b = n; b < windowLen; b += n) {
        const Zin32f* d = delay + b;
        const Zin32f* w = window + b;
        for (int i = 0; i < n; ++i) tmp[i] += d[i] * w[i];
    }
}

// delay[i] += tmp[i mod N] * window[windowLen - 1 - i] over the whole line.
void overlap_add_32f(Zin32f* delay, const Zin32f* window, const Zin32f* tmp, int n, int windowLen) {
    for (int b = 0; b < windowLen; b += n) {
        Zin32f* d = delay + b;
        const Zin32f* w = window + windowLen - 1 - b;
        for (int i = 0; i < n; ++i) d[i] += tmp[i] * w[-i];
    }
}

// ---- 16-bit path -----------------------------------------------------------

inline Zin16s mul_q13(Zin16s a, Zin16s b) {
    return fx::sat16(static_cast<Zin32s>((Zin32s{a} * b + 4096) >> 13));
}

// The fold in 16 bits: each block's rounded products saturate into tmp.
void fold_16s(const Zin16s* delay, const Zin16s* window, Zin16s* tmp, int n, int windowLen) {
    for (int i = 0; i < n; ++i) tmp[i] = mul_q13(delay[i], window[i]);
    for (int b = n; b < windowLen; b += n) {
        const Zin16s* d = delay + b;
        const Zin16s* w = window + b;
        for (int i = 0; i < n; ++i) {
            const Zin32s p = (Zin32s{d[i]} * w[i] + 4096) >> 13;
            tmp[i] = fx::sat16(static_cast<Zin32s>(tmp[i] + p));
        }
    }
}

void overlap_add_16s(Zin16s* delay, const Zin16s* window, const Zin16s* tmp, int n, int windowLen) {
    for (int b = 0; b < windowLen; b += n) {
        Zin16s* d = delay + b;
        const Zin16s* w = window + windowLen - 1 - b;
        for (int i = 0; i < n; ++i) {
            const Zin32s p = (Zin32s{tmp[i]} * w[-i] + 4096) >> 13;
            d[i] = fx::sat16(static_cast<Zin32s>(d[i] + p));
        }
    }
}

}  // namespace

namespace body {

ZinStatus zinsSubbandProcessGetSize_32f(int order, int windowLen, int* pStateSize, int* pInitBufSize,
                                        int* pWorkBufSize) {
    if (const ZinStatus st = check_shape(order, windowLen, pStateSize, pInitBufSize, pWorkBufSize);
        st != zinStsNoErr)
        return st;
    int spec = 0, init = 0, work = 0;
    if (FftGetSize_R_32f(order, kFftFlag, 0, &spec, &init, &work) != zinStsNoErr) return zinStsBadArgErr;
    const i64 state = i64{spec} + i64{windowLen} * 8 + 40 + 16;
    const i64 buf = i64{work} + 4 * (i64{1} << order) + 16;
    if (!fits32(state) || !fits32(buf)) return zinStsBadArgErr;  // sizes 32 bits cannot state
    *pStateSize = static_cast<int>(state);
    *pInitBufSize = init;
    *pWorkBufSize = static_cast<int>(buf);
    return zinStsNoErr;
}

ZinStatus zinsSubbandProcessGetSize_16s(int order, int windowLen, int* pStateSize, int* pInitBufSize,
                                        int* pWorkBufSize) {
    if (const ZinStatus st = check_shape(order, windowLen, pStateSize, pInitBufSize, pWorkBufSize);
        st != zinStsNoErr)
        return st;
    int spec = 0, init = 0, work = 0;
    if (FftGetSize_32s(order, kFftFlag, 0, &spec, &init, &work) != zinStsNoErr) return zinStsBadArgErr;
    const i64 state = roundup16(spec) + 32 * ((2 * i64{windowLen} + 15) / 16) + 48 + 16;
    const i64 buf = roundup16(4 * (i64{1} << order)) + work + 16;
    if (!fits32(state) || !fits32(buf)) return zinStsBadArgErr;
    *pStateSize = static_cast<int>(state);
    *pInitBufSize = init;
    *pWorkBufSize = static_cast<int>(buf);
    return zinStsNoErr;
}

ZinStatus zinsSubbandProcessInit_32f(ZinSubbandProcessState_32f* pState, int order, int frameSize, int windowLen,
                                     const Zin32f* pWindow, Zin8u* pInitBuf) {
    const Zin32f* half = nullptr;
    if (const ZinStatus st = check_init(pState, order, frameSize, windowLen, pWindow, echo::kWindowHalf5_32f,
                                        echo::kWindowHalf6_32f, &half);
        st != zinStsNoErr)
        return st;
    // The transform's failures, found before the block is written.
    int spec = 0, init = 0, work = 0;
    if (FftGetSize_R_32f(order, kFftFlag, 0, &spec, &init, &work) != zinStsNoErr) return zinStsErr;
    if (init > 0 && !pInitBuf) return zinStsErr;
    auto* s = align16<ZinSubbandProcessState_32f>(pState);
    auto* arrays = reinterpret_cast<Zin32f*>(reinterpret_cast<Zin8u*>(s) + 40);
    s->windowLen = windowLen;
    s->fftLen = 1 << order;
    s->frameSize = frameSize;
    s->window = arrays;
    s->delay = arrays + windowLen;
    copy_window(s->window, windowLen, pWindow, half);
    FftSpec_R_32f* fft = nullptr;
    if (FftInit_R_32f(&fft, order, kFftFlag, 0, reinterpret_cast<Zin8u*>(arrays + 2 * i64{windowLen}), pInitBuf) !=
        zinStsNoErr)
        return zinStsErr;
    s->fft = fft;
    std::memset(s->delay, 0, sizeof(Zin32f) * static_cast<std::size_t>(windowLen));
    return zinStsNoErr;
}

ZinStatus zinsSubbandProcessInit_16s(ZinSubbandProcessState_16s* pState, int order, int frameSize, int windowLen,
                                     const Zin16s* pWindow, Zin8u* pInitBuf) {
    const Zin16s* half = nullptr;
    if (const ZinStatus st = check_init(pState, order, frameSize, windowLen, pWindow, echo::kWindowHalf5_16s,
                                        echo::kWindowHalf6_16s, &half);
        st != zinStsNoErr)
        return st;
    int spec = 0, init = 0, work = 0;
    if (FftGetSize_32s(order, kFftFlag, 0, &spec, &init, &work) != zinStsNoErr) return zinStsErr;
    if (init > 0 && !pInitBuf) return zinStsErr;
    auto* s = align16<ZinSubbandProcessState_16s>(pState);
    const i64 arrayBytes = roundup16(2 * i64{windowLen});
    Zin8u* base = reinterpret_cast<Zin8u*>(s) + 48;
    s->delay = reinterpret_cast<Zin16s*>(base);
    s->window = reinterpret_cast<Zin16s*>(base + arrayBytes);
    s->windowLen = windowLen;
    s->fftLen = 1 << order;
    s->frameSize = frameSize;
    copy_window(s->window, windowLen, pWindow, half);
    FftSpec_32s* fft = nullptr;
    if (FftInit_32s(&fft, order, kFftFlag, 0, base + 2 * arrayBytes, pInitBuf) != zinStsNoErr) return zinStsErr;
    s->fft = fft;
    std::memset(s->delay, 0, sizeof(Zin16s) * static_cast<std::size_t>(windowLen));
    return zinStsNoErr;
}

ZinStatus zinsSubbandAnalysis_32f32fc(const Zin32f* pSignal, Zin32fc* pSubbands, ZinSubbandProcessState_32f* pState,
                                      Zin8u* pWorkBuf) {
    if (!pSignal || !pSubbands || !pState || !pWorkBuf) return zinStsNullPtrErr;
    auto* s = align16<ZinSubbandProcessState_32f>(pState);
    const int n = s->fftLen, len = s->windowLen, shift = s->frameSize;
    shift_delay(s->delay, len, shift);
    std::memcpy(s->delay + (len - shift), pSignal, sizeof(Zin32f) * static_cast<std::size_t>(shift));
    auto* tmp = align16<Zin32f>(pWorkBuf);
    fold_32f(s->delay, s->window, tmp, n, len);
    if (FftFwd_RToCCS_32f(tmp, reinterpret_cast<Zin32f*>(pSubbands), s->fft, reinterpret_cast<Zin8u*>(tmp + n)) !=
        zinStsNoErr)
        return zinStsErr;
    return zinStsNoErr;
}

ZinStatus zinsSubbandAnalysis_16s32sc_Sfs(const Zin16s* pSignal, Zin32sc* pSubbands, ZinSubbandProcessState_16s* pState,
                                          int scaleFactor, Zin8u* pWorkBuf) {
    if (!pSignal || !pSubbands || !pState || !pWorkBuf) return zinStsNullPtrErr;
    auto* s = align16<ZinSubbandProcessState_16s>(pState);
    const int n = s->fftLen, len = s->windowLen, shift = s->frameSize;
    shift_delay(s->delay, len, shift);
    std::memcpy(s->delay + (len - shift), pSignal, sizeof(Zin16s) * static_cast<std::size_t>(shift));
    auto* tmp = align16<Zin16s>(pWorkBuf);
    fold_16s(s->delay, s->window, tmp, n, len);
    Zin8u* scratch = reinterpret_cast<Zin8u*>(tmp) + roundup16(4 * i64{n});
    if (FftFwd_16s32sc_Sfs(tmp, reinterpret_cast<Zin32s*>(pSubbands), s->fft, scaleFactor, scratch) != zinStsNoErr)
        return zinStsErr;
    return zinStsNoErr;
}

ZinStatus zinsSubbandSynthesis_32fc32f(const Zin32fc* pSubbands, Zin32f* pSignal, ZinSubbandProcessState_32f* pState,
                                       Zin8u* pWorkBuf) {
    if (!pSubbands || !pSignal || !pState || !pWorkBuf) return zinStsNullPtrErr;
    auto* s = align16<ZinSubbandProcessState_32f>(pState);
    const int n = s->fftLen, len = s->windowLen, shift = s->frameSize;
    auto* tmp = align16<Zin32f>(pWorkBuf);
    if (FftInv_CCSToR_32f(reinterpret_cast<const Zin32f*>(pSubbands), tmp, s->fft, reinterpret_cast<Zin8u*>(tmp + n)) !=
        zinStsNoErr)
        return zinStsErr;
    shift_delay(s->delay, len, shift);
    std::memset(s->delay + (len - shift), 0, sizeof(Zin32f) * static_cast<std::size_t>(shift));
    overlap_add_32f(s->delay, s->window, tmp, n, len);
    std::memcpy(pSignal, s->delay, sizeof(Zin32f) * static_cast<std::size_t>(shift));
    return zinStsNoErr;
}

ZinStatus zinsSubbandSynthesis_32sc16s_Sfs(const Zin32sc* pSubbands, Zin16s* pSignal, ZinSubbandProcessState_16s* pState,
                                           int scaleFactor, Zin8u* pWorkBuf) {
    if (!pSubbands || !pSignal || !pState || !pWorkBuf) return zinStsNullPtrErr;
    auto* s = align16<ZinSubbandProcessState_16s>(pState);
    const int n = s->fftLen, len = s->windowLen, shift = s->frameSize;
    auto* tmp = align16<Zin16s>(pWorkBuf);
    Zin8u* scratch = reinterpret_cast<Zin8u*>(tmp) + roundup16(4 * i64{n});
    if (FftInv_32sc16s_Sfs(reinterpret_cast<const Zin32s*>(pSubbands), tmp, s->fft, scaleFactor, scratch) !=
        zinStsNoErr)
        return zinStsErr;
    shift_delay(s->delay, len, shift);
    std::memset(s->delay + (len - shift), 0, sizeof(Zin16s) * static_cast<std::size_t>(shift));
    overlap_add_16s(s->delay, s->window, tmp, n, len);
    std::memcpy(pSignal, s->delay, sizeof(Zin16s) * static_cast<std::size_t>(shift));
    return zinStsNoErr;
}

}  // namespace body
}  // namespace zin
