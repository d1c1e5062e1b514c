// GSM-AMR discontinuous transmission on the caller's side (3GPP TS 26.093,
// comfort noise parameters of TS 26.092, fixed point as in TS 26.073
// dtx_enc.c and dtx_dec.c): the history of LSPs and frame energies, the
// hangover handler, and the SID parameters.
#include "../frame/registry.h"
#include "amr_common.h"

namespace zin {
namespace {

using amr::i16;
using amr::i32;

constexpr int kHist = 8;
constexpr int kOrder = 10;
constexpr i16 kRateDtx = 25;
constexpr i16 kHangConst = 7;
constexpr i16 kElapsedThresh = 30;
constexpr i16 kLsfGap = 205;

// One frame into the history: the 10 LSPs and the log2 energy per sample in
// Q10 (log2(160) taken off), halved for the encoder's history.
ZinStatus dtx_buffer(const Zin16s* pSrc, const Zin16s* pLsp, Zin16s* pHistPtr, Zin16s* pLspHist,
                     Zin16s* pLogEnHist, bool halve) {
    if (!pSrc || !pLsp || !pHistPtr || !pLspHist || !pLogEnHist) return zinStsNullPtrErr;
    i16 ptr = static_cast<i16>(*pHistPtr + 1);
    if (ptr == kHist) ptr = 0;
    *pHistPtr = ptr;
    for (int i = 0; i < kOrder; ++i) pLspHist[ptr * kOrder + i] = pLsp[i];
    std::int64_t sum = 0;
    for (int i = 0; i < 160; ++i) sum += i32{pSrc[i]} * pSrc[i];
    const i32 en = sum >= 0x40000000 ? fx::kMax32 : static_cast<i32>(sum << 1);
    const amr::Log2Result lg = amr::log2_32(en);
    const i16 log = fx::wrap16((lg.exponent << 10) + (lg.fraction >> 5) - 8521);
    pLogEnHist[ptr] = halve ? static_cast<i16>(log >> 1) : log;
    return zinStsNoErr;
}

// Vq_subvec3/4: the nearest row of a split codebook in the weighted distance.
int vq_subvec(const i16* r, const i16* wf, const i16* dico, int rows, int dim) {
    std::int64_t best = fx::kMax32;
    int index = 0;
    for (int j = 0; j < rows; ++j) {
        std::int64_t d = 0;
        for (int k = 0; k < dim; ++k) {
            const i16 t = static_cast<i16>((i32{wf[k]} * static_cast<i16>(r[k] - dico[j * dim + k])) >> 15);
            d += i32{t} * t;
        }
        if (d < best) {
            best = d;
            index = j;
        }
    }
    return index;
}

}  // namespace

ZinStatus body::zinsEncDTXBuffer_GSMAMR_16s(const Zin16s* pSrc, const Zin16s* pLsp, Zin16s* pHistPtr,
                                            Zin16s* pLspHist, Zin16s* pLogEnHist) {
    return dtx_buffer(pSrc, pLsp, pHistPtr, pLspHist, pLogEnHist, true);
}

ZinStatus body::zinsDecDTXBuffer_GSMAMR_16s(const Zin16s* pSrc, const Zin16s* pLsp, Zin16s* pHistPtr,
                                            Zin16s* pLspHist, Zin16s* pLogEnHist) {
    return dtx_buffer(pSrc, pLsp, pHistPtr, pLspHist, pLogEnHist, false);
}

ZinStatus body::zinsEncDTXHandler_GSMAMR_16s(Zin16s* pHangCount, Zin16s* pElapsedCount, Zin16s* pUsedRate,
                                             Zin16s* pSidFlag, Zin16s vadFlag) {
    if (!pHangCount || !pElapsedCount || !pUsedRate || !pSidFlag) return zinStsNullPtrErr;
    *pElapsedCount = fx::add16(*pElapsedCount, 1);
    *pSidFlag = 0;
    if (vadFlag != 0) {
        *pHangCount = kHangConst;
    } else if (*pHangCount == 0) {
        *pElapsedCount = 0;
        *pUsedRate = kRateDtx;
        *pSidFlag = 1;
    } else {
        *pHangCount = static_cast<i16>(*pHangCount - 1);
        if (fx::add16(*pElapsedCount, *pHangCount) < kElapsedThresh) *pUsedRate = kRateDtx;
    }
    return zinStsNoErr;
}

ZinStatus body::zinsEncDTXSID_GSMAMR_16s(const Zin16s* pLspHist, const Zin16s* pLogEnHist, Zin16s* pLogEnIndex,
                                         Zin16s* pInitLsfIndex, Zin16s* pLsfIndices, Zin16s* pPastQuaEn,
                                         Zin16s* pPastQuaEn122, Zin16s computeSidFlag) {
    if (!pLspHist || !pLogEnHist || !pLogEnIndex || !pInitLsfIndex || !pLsfIndices || !pPastQuaEn ||
        !pPastQuaEn122)
        return zinStsNullPtrErr;
    if (computeSidFlag == 0) return zinStsNoErr;

    // Averages over the eight frames of the history.
    i16 logEn = 0;
    i32 lspSum[kOrder] = {};
    for (int i = kHist - 1; i >= 0; --i) {
        logEn = fx::add16(logEn, static_cast<i16>(pLogEnHist[i] >> 2));
        for (int j = 0; j < kOrder; ++j) lspSum[j] = fx::add32(lspSum[j], pLspHist[i * kOrder + j]);
    }
    logEn = static_cast<i16>(logEn >> 1);
    i16 lsp[kOrder];
    for (int j = 0; j < kOrder; ++j) lsp[j] = static_cast<i16>(lspSum[j] >> 3);

    // The energy index, and the gain predictors' memories it implies.
    i16 index = static_cast<i16>((logEn + 2560 + 128) >> 8);
    if (index > 63) index = 63;
    if (index < 0) index = 0;
    *pLogEnIndex = index;
    i16 en = fx::sub16(static_cast<i16>(index << 8), 11560);
    if (en > 0) en = 0;
    if (en < -14436) en = -14436;
    const i16 en122 = static_cast<i16>((i32{5443} * en) >> 15);
    for (int i = 0; i < 4; ++i) {
        pPastQuaEn[i] = en;
        pPastQuaEn122[i] = en122;
    }

    // LSFs of the averaged, reordered vector and their weights.
    i16 lsf[kOrder], wf[kOrder];
    amr::lsp_to_lsf(lsp, lsf, kOrder);
    amr::reorder_lsf(lsf, kLsfGap, kOrder);
    amr::lsf_to_lsp(lsf, lsp, kOrder);
    amr::lsp_to_lsf(lsp, lsf, kOrder);
    amr::lsf_weights(lsf, wf);

    // The predictor initialisation nearest to the vector: the residual of
    // each row, its energy in a wrapping 32-bit sum.
    i16 r[kOrder] = {};
    i32 best = fx::kMax32;
    i16 bestRow = 0;
    for (int j = 0; j < kHist; ++j) {
        i16 t[kOrder];
        std::uint32_t err = 0;
        for (int i = 0; i < kOrder; ++i) {
            t[i] = static_cast<i16>(lsf[i] - static_cast<i16>(amr::kMeanLsf3[i] + amr::kPastRqInit[j * kOrder + i]));
            err += static_cast<std::uint32_t>(i32{t[i]} * t[i]) << 1;
        }
        if (static_cast<i32>(err) < best) {
            best = static_cast<i32>(err);
            bestRow = static_cast<i16>(j);
            for (int i = 0; i < kOrder; ++i) r[i] = t[i];
        }
    }
    *pInitLsfIndex = bestRow;

    pLsfIndices[0] = static_cast<i16>(vq_subvec(r, wf, amr::kDico1Lsf3, 256, 3));
    pLsfIndices[1] = static_cast<i16>(vq_subvec(r + 3, wf + 3, amr::kDico2Lsf3, 512, 3));
    pLsfIndices[2] = static_cast<i16>(vq_subvec(r + 6, wf + 6, amr::kDico3Lsf3, 512, 4));
    return zinStsNoErr;
}

}  // namespace zin
