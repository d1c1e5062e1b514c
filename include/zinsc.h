/*
 * zinsc.h -- the public interface of libzinsc, speech-coding primitives for
 * x86-64 with AVX.
 *
 * Valid C99 and C++. Every export except zinscGetLibVersion returns a
 * ZinStatus: zero is success, negative an error (outputs undefined, state
 * objects untouched when a check refused the call), positive a warning.
 *
 * The caller owns all memory. A state object is sized by its GetStateSize
 * export, allocated by the caller at any alignment, and prepared by its Init.
 * Any number of threads may call the library at once on distinct state
 * objects and buffers.
 */
#ifndef ZINSC_H
#define ZINSC_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(ZINSC_BUILDING_LIBRARY)
#define ZINSC_API __attribute__((visibility("default")))
#else
#define ZINSC_API
#endif

/* ---- Element types ---------------------------------------------------- */

typedef uint8_t  Zin8u;
typedef int16_t  Zin16s;
typedef int32_t  Zin32s;
typedef uint32_t Zin32u;
typedef int64_t  Zin64s;
typedef float    Zin32f;
typedef double   Zin64f;

typedef struct { Zin16s re; Zin16s im; } Zin16sc;
typedef struct { Zin32s re; Zin32s im; } Zin32sc;
typedef struct { Zin32f re; Zin32f im; } Zin32fc;

/* ---- Status ----------------------------------------------------------- */

typedef Zin32s ZinStatus;

enum {
    zinStsFilterLenErr      = -119, /* filter or tap count out of its interval */
    zinStsLpcCalcErr        = -117, /* G.728 Levinson-Durbin broke down */
    zinStsShiftErr          = -32,  /* negative shift count */
    zinStsThreshNegLevelErr = -19,  /* negative threshold level */
    zinStsThresholdErr      = -18,  /* lower threshold above the upper one */
    zinStsContextMatchErr   = -17,  /* transform context has a wrong identity */
    zinStsFftFlagErr        = -16,  /* transform flag not 1, 2, 4 or 8 */
    zinStsFftOrderErr       = -15,  /* transform order above 30 */
    zinStsScaleRangeErr     = -13,  /* scale factor out of its interval */
    zinStsLsfRangeErr       = -12,  /* negative line spectral frequency */
    zinStsOutOfRangeErr     = -11,  /* decoded quantity out of its interval */
    zinStsMemAllocErr       = -9,   /* a work buffer could not be allocated */
    zinStsNullPtrErr        = -8,   /* a required pointer is null */
    zinStsRangeErr          = -7,   /* an argument is not one of its legal values */
    zinStsSizeErr           = -6,   /* a length or count is not legal */
    zinStsBadArgErr         = -5,   /* an illegal combination of arguments */
    zinStsErr               = -2,   /* an inner initialisation failed */
    zinStsNoErr             = 0,    /* success */
    zinStsNoOperation       = 1,    /* combination not served, nothing computed */
    zinStsOverflow          = 12,   /* a saturation made the result unreliable */
    zinStsLsfLowWarn        = 13,   /* lowest LSF raised to its limit */
    zinStsLsfHighWarn       = 14,   /* highest LSF lowered to its limit */
    zinStsLsfBothWarn       = 15,   /* both ends of the LSF vector moved */
    zinStsZeroCorrelation   = 17    /* highest-lag hybrid-window correlation is zero */
};

/* ---- Version record --------------------------------------------------- */

typedef struct {
    Zin32s      major;
    Zin32s      minor;
    Zin32s      majorBuild;
    Zin32s      build;
    char        targetCpu[4];
    const char* Name;
    const char* Version;
    const char* BuildDate;
} ZinLibraryVersion;

/* ---- Rate codes shared by all codecs ---------------------------------- */

typedef enum {
    zinSpchBr4750  = 0,   /* GSM-AMR 4.75 kbit/s */
    zinSpchBr5150  = 1,   /* GSM-AMR 5.15 kbit/s */
    zinSpchBr5300  = 2,   /* G.723.1 5.3 kbit/s */
    zinSpchBr5900  = 3,   /* GSM-AMR 5.9 kbit/s */
    zinSpchBr6300  = 4,   /* G.723.1 6.3 kbit/s */
    zinSpchBr6600  = 5,   /* AMR-WB 6.60 kbit/s */
    zinSpchBr6700  = 6,   /* GSM-AMR 6.7 kbit/s */
    zinSpchBr7400  = 7,   /* GSM-AMR 7.4 kbit/s */
    zinSpchBr7950  = 8,   /* GSM-AMR 7.95 kbit/s */
    zinSpchBr8850  = 9,   /* AMR-WB 8.85 kbit/s */
    zinSpchBr9600  = 10,  /* G.728 9.6 kbit/s search */
    zinSpchBr10200 = 11,  /* GSM-AMR 10.2 kbit/s */
    zinSpchBr12200 = 12,  /* GSM-AMR 12.2 kbit/s */
    zinSpchBr12650 = 13,  /* AMR-WB 12.65 kbit/s */
    zinSpchBr12800 = 14,  /* G.728 12.8 kbit/s search */
    zinSpchBr14250 = 15,  /* AMR-WB 14.25 kbit/s */
    zinSpchBr15850 = 16,  /* AMR-WB 15.85 kbit/s */
    zinSpchBr16000 = 17,  /* G.726 16 kbit/s; G.728 16 kbit/s */
    zinSpchBr18250 = 18,  /* AMR-WB 18.25 kbit/s */
    zinSpchBr19850 = 19,  /* AMR-WB 19.85 kbit/s */
    zinSpchBr23050 = 20,  /* AMR-WB 23.05 kbit/s */
    zinSpchBr23850 = 21,  /* AMR-WB 23.85 kbit/s */
    zinSpchBr24000 = 22,  /* G.726 24 kbit/s; AMR-WB+ 88-bit codebook */
    zinSpchBr32000 = 23,  /* G.726 32 kbit/s */
    zinSpchBr40000 = 24,  /* G.726 40 kbit/s */
    zinSpchBrDTX   = 25,  /* discontinuous transmission (GSM-AMR, AMR-WB) */
    zinSpchBrCb20  = 26,  /* AMR-WB+ core, 20-bit codebook */
    zinSpchBrCb28  = 27,  /* AMR-WB+ core, 28-bit codebook */
    zinSpchBrCb36  = 28,  /* AMR-WB+ core, 36-bit codebook */
    zinSpchBrCb44  = 29,  /* AMR-WB+ core, 44-bit codebook */
    zinSpchBrCb52  = 30,  /* AMR-WB+ core, 52-bit codebook */
    zinSpchBrCb64  = 31,  /* AMR-WB+ core, 64-bit codebook */
    zinSpchBrCb72  = 32   /* AMR-WB+ core, 72-bit codebook */
} ZinSpeechBitrate;

/* ---- Library frame ---------------------------------------------------- */

/* The constant version record of this build; never freed by the caller. */
ZINSC_API const ZinLibraryVersion* zinscGetLibVersion(void);

/* ---- Generic arithmetic ----------------------------------------------- */

/* Shift a vector so that its largest magnitude keeps *pScale spare bits; *pScale returns the left shifts done. */
ZINSC_API ZinStatus zinsAutoScale_16s(const Zin16s* pSrc, Zin16s* pDst, int len, int* pScale);
/* zinsAutoScale_16s in place. */
ZINSC_API ZinStatus zinsAutoScale_16s_I(Zin16s* pSrcDst, int len, int* pScale);
/* Dot product that right-shifts its inputs until the sum fits 32 bits; first term once, the others twice. */
ZINSC_API ZinStatus zinsDotProdAutoScale_16s32s_Sfs(const Zin16s* pSrc1, const Zin16s* pSrc2, int len, Zin32s* pDp, int* pSf);
/* dst = saturate((src1*2^scale1*val1 + src2*2^scale2*val2) / 2^16), rounded half up. */
ZINSC_API ZinStatus zinsInterpolateC_NR_16s(const Zin16s* pSrc1, Zin16s val1, int val1ScaleFactor, const Zin16s* pSrc2, Zin16s val2, int val2ScaleFactor, Zin16s* pDst, int len);
/* In-place inverse square root in the manner of the G.729 basic operators. */
ZINSC_API ZinStatus zinsInvSqrt_32s_I(Zin32s* pSrcDst, int len);
/* dst = saturate((src * val + round) >> scale), rounded half up. */
ZINSC_API ZinStatus zinsMulC_NR_16s_Sfs(const Zin16s* pSrc, Zin16s val, Zin16s* pDst, int len, int scaleFactor);
/* zinsMulC_NR_16s_Sfs in place. */
ZINSC_API ZinStatus zinsMulC_NR_16s_ISfs(Zin16s val, Zin16s* pSrcDst, int len, int scaleFactor);
/* dst[i] = src[i] times the i-th power of val, each power rounded to 16 bits (bandwidth expansion). */
ZINSC_API ZinStatus zinsMulPowerC_NR_16s_Sfs(const Zin16s* pSrc, Zin16s val, Zin16s* pDst, int len, int scaleFactor);
/* dst = saturate((src1 * src2 + round) >> scale), rounded half up. */
ZINSC_API ZinStatus zinsMul_NR_16s_Sfs(const Zin16s* pSrc1, const Zin16s* pSrc2, Zin16s* pDst, int len, int scaleFactor);
/* srcdst = saturate((src * srcdst + round) >> scale), rounded half up. */
ZINSC_API ZinStatus zinsMul_NR_16s_ISfs(const Zin16s* pSrc, Zin16s* pSrcDst, int len, int scaleFactor);

/* ---- Correlation, convolution and LP filters (generic) ---------------- */

/* Best lag in lowLag..highLag of sum src[i]*src[i+lag] in single precision; ties to the smallest lag. */
ZINSC_API ZinStatus zinsAutoCorrLagMax_32f(const Zin32f* pSrc, int len, int lowLag, int highLag, Zin32f* pMax, int* pLag);
/* Best lag in lowLag..highLag of the doubled (saturated) sum src[i]*src[i+lag]; ties to the smallest lag. */
ZINSC_API ZinStatus zinsAutoCorrLagMax_Fwd_16s(const Zin16s* pSrc, int len, int lowLag, int highLag, Zin32s* pMax, int* pLag);
/* Best lag in highLag..lowLag of the doubled (wrapping) sum src[i]*src[i-lag]; ties to the smallest lag. */
ZINSC_API ZinStatus zinsAutoCorrLagMax_Inv_16s(const Zin16s* pSrc, int len, int lowLag, int highLag, Zin32s* pMax, int* pLag);
/* Autocorrelation for lags 0..lags-1 in 32-bit wrapping sums; lags at or beyond len give 0. */
ZINSC_API ZinStatus zinsAutoCorr_16s32s(const Zin16s* pSrc, int len, Zin32s* pDst, int lags);
/* Autocorrelation normalised by its energy (2e+1), 32 bits; zinStsOverflow when the energy exceeds 0x3FFFFFFF. */
ZINSC_API ZinStatus zinsAutoCorr_NormE_16s32s(const Zin16s* pSrc, int len, Zin32s* pDst, int lags, int* pNorm);
/* Autocorrelation normalised by its energy, rounded to 16 bits. */
ZINSC_API ZinStatus zinsAutoCorr_NormE_NR_16s(const Zin16s* pSrc, int len, Zin16s* pDst, int lags, int* pNorm);
/* dst[n] = sum for k in 0..n of src1[k]*src2[n-k], 32-bit wrapping. */
ZINSC_API ZinStatus zinsConvPartial_16s32s(const Zin16s* pSrc1, const Zin16s* pSrc2, Zin32s* pDst, int len);
/* The same sum shifted right by scaleFactor, truncated, low 16 bits stored. */
ZINSC_API ZinStatus zinsConvPartial_16s_Sfs(const Zin16s* pSrc1, const Zin16s* pSrc2, Zin16s* pDst, int len, int scaleFactor);
/* Q15 partial convolution with the saturation and rounding of the basic operators (L_mac, round). */
ZINSC_API ZinStatus zinsConvPartial_NR_16s(const Zin16s* pSrc1, const Zin16s* pSrc2, Zin16s* pDst, int len);
/* Q15 partial convolution, (32-bit sum + 16384) >> 15, low 16 bits, for inputs known to be small. */
ZINSC_API ZinStatus zinsConvPartial_NR_Low_16s(const Zin16s* pSrc1, const Zin16s* pSrc2, Zin16s* pDst, int len);
/* Best lag in lagMax..0 of sum src1[i]*src2[i+lag]; ties to the largest lag, start value 0. */
ZINSC_API ZinStatus zinsCrossCorrLagMax_16s(const Zin16s* pSrc1, const Zin16s* pSrc2, int len, int lagMax, Zin32s* pMax, int* pLag);
/* Largest of sum src1[i]*src2[i+lag] over lags lagMax..0 in double precision; ties to the largest lag. */
ZINSC_API ZinStatus zinsCrossCorrLagMax_32f64f(const Zin32f* pSrc1, const Zin32f* pSrc2, int len, int lagMax, Zin64f* pMax, int* pLag);
/* dst[k] = sum of src1[i]*src2[i+k] over the len-k terms inside, 64-bit sum scaled by the _Sfs rule. */
ZINSC_API ZinStatus zinsCrossCorr_16s32s_Sfs(const Zin16s* pSrc1, const Zin16s* pSrc2, int len, Zin32s* pDst, int scaleFactor);
/* zinsCrossCorr_NR_16s_Sfs at the fixed scale 15. */
ZINSC_API ZinStatus zinsCrossCorr_NR_16s(const Zin16s* pSrc1, const Zin16s* pSrc2, int len, Zin16s* pDst, int lags);
/* dst[k] = sum over i < len of src1[i]*src2[i+k], 64-bit sum saturated to 32 bits. */
ZINSC_API ZinStatus zinsCrossCorr_NR_16s32s(const Zin16s* pSrc1, const Zin16s* pSrc2, int len, Zin32s* pDst, int lags);
/* The same sum cut to 32 bits, rounded half up by scaleFactor, saturated to 16 bits. */
ZINSC_API ZinStatus zinsCrossCorr_NR_16s_Sfs(const Zin16s* pSrc1, const Zin16s* pSrc2, int len, Zin16s* pDst, int lags, int scaleFactor);
/* Cross-correlation for len lags, doubled and shifted right by one count so that it fits 16 bits. */
ZINSC_API ZinStatus zinsCrossCorr_NormM_16s(const Zin16s* pSrc1, const Zin16s* pSrc2, int len, Zin16s* pDst);
/* In place x[n] += (x[n-lag]*val) >> 15, truncating and wrapping in 16 bits. */
ZINSC_API ZinStatus zinsHarmonicFilter_16s_I(Zin16s val, int lag, Zin16s* pSrcDst, int len);
/* In place x[n] += x[n-lag]*val in single precision. */
ZINSC_API ZinStatus zinsHarmonicFilter_32f_I(Zin32f val, int lag, Zin32f* pSrcDst, int len);
/* dst[n] = saturate((src[n]*32768 + src[n-lag]*val + 16384) >> 15). */
ZINSC_API ZinStatus zinsHarmonicFilter_NR_16s(Zin16s val, int lag, const Zin16s* pSrc, Zin16s* pDst, int len);
/* In place y[n] = x[n] - val*x[n-1], x[-1] in *pMem, which then receives the last input. */
ZINSC_API ZinStatus zinsPreemphasize_32f_I(Zin32f val, Zin32f* pSrcDst, int len, Zin32f* pMem);
/* All-zero filter: saturate(((sum of a[k]*src[n-k], k = 0..order) + round) >> scale); reads order samples before pSrc. */
ZINSC_API ZinStatus zinsResidualFilter_Low_16s_Sfs(const Zin16s* pSrc, int order, const Zin16s* pCoeffs, Zin16s* pDst, int len, int scaleFactor);
/* The order-10 all-pole filter in place, low 16 bits stored, no overflow report. */
ZINSC_API ZinStatus zinsSynthesisFilterLow_NR_16s_ISfs(const Zin16s* pLPC, Zin16s* pSrcDst, int len, int scaleFactor, const Zin16s* pMem);
/* Impulse response of the order-10 all-pole filter at rest. */
ZINSC_API ZinStatus zinsSynthesisFilterZeroStateResponse_NR_16s(const Zin16s* pLPC, Zin16s* pDst, int len, int scaleFactor);
/* zinsSynthesisFilter_NR_16s_Sfs in place. */
ZINSC_API ZinStatus zinsSynthesisFilter_NR_16s_ISfs(const Zin16s* pLPC, Zin16s* pSrcDst, int len, int scaleFactor, const Zin16s* pMem);
/* Order-10 all-pole filter, scale 12 or 13; memory (10 outputs, newest last) or null for zero history. */
ZINSC_API ZinStatus zinsSynthesisFilter_NR_16s_Sfs(const Zin16s* pLPC, const Zin16s* pSrc, Zin16s* pDst, int len, int scaleFactor, const Zin16s* pMem);

/* ---- G.726 ------------------------------------------------------------- */

/* Output of the G.726 decoder: an 8-bit G.711 code in each word, or 14-bit linear. */
typedef enum {
    zinPcmMuLaw  = 0,
    zinPcmALaw   = 1,
    zinPcmLinear = 2
} ZinPcmLaw;

/* Opaque G.726 state objects (88 and 92 bytes, any alignment). */
typedef struct ZinG726EncState ZinG726EncState;
typedef struct ZinG726DecState ZinG726DecState;

/* Writes the size in bytes of the G.726 decoder state object. */
ZINSC_API ZinStatus zinsDecodeGetStateSize_G726_8u16s(int* pSize);
/* Resets a G.726 decoder for a rate (16, 24, 32, 40 kbit/s codes) and an output law (ZinPcmLaw). */
ZINSC_API ZinStatus zinsDecodeInit_G726_8u16s(ZinG726DecState* pState, ZinSpeechBitrate rate, int law);
/* Decodes len G.726 codes (one per byte) to 14-bit linear samples or G.711 codes; len < 0 does nothing. */
ZINSC_API ZinStatus zinsDecode_G726_8u16s(ZinG726DecState* pState, const Zin8u* pSrc, Zin16s* pDst, int len);
/* Writes the size in bytes of the G.726 encoder state object. */
ZINSC_API ZinStatus zinsEncodeGetStateSize_G726_16s8u(int* pSize);
/* Resets a G.726 encoder for a rate (16, 24, 32, 40 kbit/s codes). */
ZINSC_API ZinStatus zinsEncodeInit_G726_16s8u(ZinG726EncState* pState, ZinSpeechBitrate rate);
/* Encodes len 14-bit linear samples to G.726 codes, one per byte; len < 0 does nothing. */
ZINSC_API ZinStatus zinsEncode_G726_16s8u(ZinG726EncState* pState, const Zin16s* pSrc, Zin8u* pDst, int len);

/* ---- Echo cancellation: sub-band bank, adaptive filters, controllers --- */

/* State objects of the sub-band bank and the sub-band controllers; any alignment, not movable after Init. */
typedef struct ZinSubbandProcessState_32f ZinSubbandProcessState_32f;
typedef struct ZinSubbandProcessState_16s ZinSubbandProcessState_16s;
typedef struct ZinSubbandControllerState_EC_32f ZinSubbandControllerState_EC_32f;
typedef struct ZinSubbandControllerState_EC_16s ZinSubbandControllerState_EC_16s;

/* Sizes of a float bank object, its init block and its work buffer for 2^order points and windowLen taps. */
ZINSC_API ZinStatus zinsSubbandProcessGetSize_32f(int order, int windowLen, int* pStateSize, int* pInitBufSize, int* pWorkBufSize);
/* Sizes of a 16-bit bank object, its init block and its work buffer for 2^order points and windowLen taps. */
ZINSC_API ZinStatus zinsSubbandProcessGetSize_16s(int order, int windowLen, int* pStateSize, int* pInitBufSize, int* pWorkBufSize);
/* Prepares a float bank object; a null window takes the built-in one of (5, 24, 128) or (6, 44, 256). */
ZINSC_API ZinStatus zinsSubbandProcessInit_32f(ZinSubbandProcessState_32f* pState, int order, int frameSize, int windowLen, const Zin32f* pWindow, Zin8u* pInitBuf);
/* Prepares a 16-bit bank object with a Q13 window; a null window takes a built-in one as for the float form. */
ZINSC_API ZinStatus zinsSubbandProcessInit_16s(ZinSubbandProcessState_16s* pState, int order, int frameSize, int windowLen, const Zin16s* pWindow, Zin8u* pInitBuf);
/* Analysis: frameSize samples in, 2^(order-1) + 1 sub-band samples out in CCS order. */
ZINSC_API ZinStatus zinsSubbandAnalysis_32f32fc(const Zin32f* pSignal, Zin32fc* pSubbands, ZinSubbandProcessState_32f* pState, Zin8u* pWorkBuf);
/* Analysis of 16-bit samples; sub-band values scaled by 2^-scaleFactor, rounded to nearest even, saturated. */
ZINSC_API ZinStatus zinsSubbandAnalysis_16s32sc_Sfs(const Zin16s* pSignal, Zin32sc* pSubbands, ZinSubbandProcessState_16s* pState, int scaleFactor, Zin8u* pWorkBuf);
/* Synthesis by weighted overlap-add: 2^(order-1) + 1 sub-band samples in, frameSize samples out. */
ZINSC_API ZinStatus zinsSubbandSynthesis_32fc32f(const Zin32fc* pSubbands, Zin32f* pSignal, ZinSubbandProcessState_32f* pState, Zin8u* pWorkBuf);
/* Synthesis to 16-bit samples; the inverse transform's output scaled by 2^-scaleFactor; reads 2^order + 1 words. */
ZINSC_API ZinStatus zinsSubbandSynthesis_32sc16s_Sfs(const Zin32sc* pSubbands, Zin16s* pSignal, ZinSubbandProcessState_16s* pState, int scaleFactor, Zin8u* pWorkBuf);

/* Sub-band FIR: dst[k] = sum over taps t of x[t][k] * h[t][k]; ppFilterInput[0] is the newest block. */
ZINSC_API ZinStatus zinsFIRSubband_EC_32fc(const Zin32fc* const* ppFilterInput, const Zin32fc* const* ppCoefs, Zin32fc* pDst, int numSegments, int numSubbands);
/* Sub-band FIR in 64-bit saturating sums, scaled by 2^-scaleFactor (-31..31) toward zero, saturated to 32 bits. */
ZINSC_API ZinStatus zinsFIRSubband_EC_32sc_Sfs(const Zin32sc* const* ppFilterInput, const Zin32sc* const* ppCoefs, Zin32sc* pDst, int numSegments, int numSubbands, int scaleFactor);
/* Sub-band FIR over sub-bands startSubband..numSubbands-1 in wrapping 64-bit sums, floor-shifted, low 32 bits kept. */
ZINSC_API ZinStatus zinsFIRSubbandLow_EC_32sc_Sfs(const Zin32sc* const* ppFilterInput, const Zin32sc* const* ppCoefs, int numSegments, Zin32sc* pDst, int startSubband, int numSubbands, int scaleFactor);
/* NLMS update of sub-band coefficients: h[t][k] += step[k] * e[k] * conj(x[t][k]); steps must not be negative. */
ZINSC_API ZinStatus zinsFIRSubbandCoeffUpdate_EC_32fc_I(const Zin64f* pStepSize, const Zin32fc* const* ppFilterInput, const Zin32fc* pError, Zin32fc* const* ppCoefs, int numSegments, int numSubbands);
/* Fixed-point NLMS update with (mantissa, exponent) steps; saturating coefficient sums. */
ZINSC_API ZinStatus zinsFIRSubbandCoeffUpdate_EC_32sc_I(const Zin32sc* pStepSize, const Zin32sc* const* ppFilterInput, const Zin32sc* pError, Zin32sc* const* ppCoefs, int numSegments, int numSubbands, int scaleFactor);
/* Fixed-point NLMS update of sub-bands startSubband..numSubbands-1; writes the scaled errors; wrapping right-shift sums. */
ZINSC_API ZinStatus zinsFIRSubbandLowCoeffUpdate_EC_32sc_I(const Zin32sc* const* ppFilterInput, const Zin32sc* pError, Zin32sc* const* ppCoefs, int numSegments, Zin32sc* pScaledError, const Zin32sc* pStepSize, int startSubband, int numSubbands, int scaleFactor);
/* Affine-projection update of order apOrder; reads numSegments + apOrder - 1 history vectors. */
ZINSC_API ZinStatus zinsFIRSubbandAPCoeffUpdate_EC_32fc_I(const Zin64f* const* ppStepSize, const Zin32fc* const* ppFilterInput, const Zin32fc* const* ppError, Zin32fc* const* ppCoefs, int numSegments, int numSubbands, int apOrder);
/* Full-band FIR error: e[n] = d[n] - sum_j ref[n-j] * h[j]; reads tapLen - 1 samples before pRef. */
ZINSC_API ZinStatus zinsFIR_EC_32f(const Zin32f* pRef, const Zin32f* pDesired, Zin32f* pError, int len, const Zin32f* pCoefs, int tapLen);
/* Full-band FIR error with Q15 coefficients, each product rounded, saturating sums. */
ZINSC_API ZinStatus zinsFIR_EC_16s(const Zin16s* pRef, const Zin16s* pDesired, Zin16s* pError, int len, const Zin16s* pCoefs, int tapLen);
/* Full-band NLMS, update delayed by one sample and fused with the filter; *pGain carries the pending update. */
ZINSC_API ZinStatus zinsNLMS_EC_32f(const Zin32f* pRef, const Zin32f* pDesired, const Zin32f* pStep, Zin32f* pError, int len, Zin32f* pCoefs, int tapLen, Zin32f* pGain);
/* Full-band NLMS in fixed point: Q15 coefficients, Q11 steps; reads tapLen samples before pRef. */
ZINSC_API ZinStatus zinsNLMS_EC_16s(const Zin16s* pRef, const Zin16s* pDesired, const Zin32s* pStep, Zin16s* pError, int len, Zin16s* pCoefs, int tapLen, Zin16s* pGain);

/* Size of a float sub-band controller object (16*numSubbands + 112); sampleFreq 8000 or 16000. */
ZINSC_API ZinStatus zinsSubbandControllerGetSize_EC_32f(int numSubbands, int frameSize, int numSegments, int sampleFreq, int* pSize);
/* Size of a 16-bit sub-band controller object (5*roundup16(4*numSubbands) + 128). */
ZINSC_API ZinStatus zinsSubbandControllerGetSize_EC_16s(int numSubbands, int frameSize, int numSegments, int sampleFreq, int* pSize);
/* Prepares a float sub-band controller object. */
ZINSC_API ZinStatus zinsSubbandControllerInit_EC_32f(ZinSubbandControllerState_EC_32f* pState, int numSubbands, int frameSize, int numSegments, int sampleFreq);
/* Prepares a 16-bit sub-band controller object. */
ZINSC_API ZinStatus zinsSubbandControllerInit_EC_16s(ZinSubbandControllerState_EC_16s* pState, int numSubbands, int frameSize, int numSegments, int sampleFreq);
/* Clears the error and coefficient powers of a float controller; the far-end power window stays. */
ZINSC_API ZinStatus zinsSubbandControllerReset_EC_32f(ZinSubbandControllerState_EC_32f* pState);
/* Clears the error and coefficient powers of a 16-bit controller; the far-end power window stays. */
ZINSC_API ZinStatus zinsSubbandControllerReset_EC_16s(ZinSubbandControllerState_EC_16s* pState);
/* Per-sub-band NLMS steps (64f) from the far-end history, mu 0.5; pSinSubbands may be null; pRin, pSin unread. */
ZINSC_API ZinStatus zinsSubbandControllerUpdate_EC_32f(const Zin32f* pRin, const Zin32f* pSin, const Zin32fc* const* ppRinHistory, const Zin32fc* pSinSubbands, Zin64f* pDstStepSize, ZinSubbandControllerState_EC_32f* pState);
/* Per-sub-band (mantissa, exponent) steps from the far-end history; pSinSubbands may be null; pRin, pSin unread. */
ZINSC_API ZinStatus zinsSubbandControllerUpdate_EC_16s(const Zin16s* pRin, const Zin16s* pSin, const Zin32sc* const* ppRinHistory, const Zin32sc* pSinSubbands, Zin32sc* pDstStepSize, ZinSubbandControllerState_EC_16s* pState);
/* Per-sub-band steps mu / far-end power (64f), mu in 0..1; pSinSubbands may be null. */
ZINSC_API ZinStatus zinsSubbandAPControllerUpdate_EC_32f(const Zin32fc* const* ppRinHistory, const Zin32fc* pSinSubbands, Zin64f* pDstStepSize, Zin32f mu, ZinSubbandControllerState_EC_32f* pState);
/* Compares adaptive and fixed filters per sub-band, saves or restores coefficients, gives the smoothed gain 0..1. */
ZINSC_API ZinStatus zinsSubbandController_EC_32f(const Zin32fc* pAdaptiveErr, const Zin32fc* pFixedErr, Zin32fc* const* ppAdaptiveCoefs, Zin32fc* const* ppFixedCoefs, Zin32f* pGain, ZinSubbandControllerState_EC_32f* pState);
/* Fixed-point form of the filter comparison; the gain is 0..32767. */
ZINSC_API ZinStatus zinsSubbandController_EC_16s(const Zin32sc* pAdaptiveErr, const Zin32sc* pFixedErr, Zin32sc* const* ppAdaptiveCoefs, Zin32sc* const* ppFixedCoefs, Zin16s* pGain, ZinSubbandControllerState_EC_16s* pState);

/* ---- G.722 ------------------------------------------------------------- */

/* Shared encoder/decoder state of the sub-band ADPCM coder: 144 bytes at any alignment. */
typedef struct ZinSBADPCMState_G722 ZinSBADPCMState_G722_16s;

/* Concealment class of a frame (in and out); trims lone peaks of signal[lag..2*lag-1], reading from signal[-2]. */
ZINSC_API ZinStatus zinsClassifyFrame_G722_16s_I(Zin16s* pSignal, int lag, int* pClass, const ZinSBADPCMState_G722_16s* pState);
/* Decimation by four with a nine-tap symmetric FIR; reads five samples before pSrc. */
ZINSC_API ZinStatus zinsDownsampleFilter_G722_16s(const Zin16s* pSrc, int len, Zin16s* pDst);
/* First-order high-pass of the high band in place; pMem holds the previous u and y. */
ZINSC_API ZinStatus zinsFilterHighband_G722_16s_I(Zin16s* pSrcDst, int len, Zin16s* pMem);
/* Receive QMF: low/high word pairs to pairs of 16 kHz samples, through a 24-word delay line. */
ZINSC_API ZinStatus zinsQMFDecode_G722_16s(const Zin16s* pSrc, Zin16s* pDst, int len, Zin16s* pDelay);
/* Transmit QMF: pairs of 16 kHz samples to low/high word pairs, through a 24-word delay line. */
ZINSC_API ZinStatus zinsQMFEncode_G722_16s(const Zin16s* pSrc, Zin16s* pDst, int len, Zin16s* pDelay);
/* Prepares a sub-band ADPCM state object (same as the encoder's Init). */
ZINSC_API ZinStatus zinsSBADPCMDecodeInit_G722_16s(ZinSBADPCMState_G722_16s* pState);
/* Writes the size in bytes of the sub-band ADPCM state object (144). */
ZINSC_API ZinStatus zinsSBADPCMDecodeStateSize_G722_16s(int* pSize);
/* Restarts the low-band predictor after a loss from two past values and a prediction; resets scale factors if asked. */
ZINSC_API ZinStatus zinsSBADPCMDecodeStateUpdate_G722_16s(const Zin16s* pPast, Zin16s value, int reset, ZinSBADPCMState_G722_16s* pState);
/* Sub-band ADPCM decoder: code pairs to low/high sub-band pairs; mode 1, 2, other: 64, 56, 48 kbit/s. */
ZINSC_API ZinStatus zinsSBADPCMDecode_G722_16s(const Zin16s* pSrc, Zin16s* pDst, int len, int mode, ZinSBADPCMState_G722_16s* pState);
/* Prepares a sub-band ADPCM state object. */
ZINSC_API ZinStatus zinsSBADPCMEncodeInit_G722_16s(ZinSBADPCMState_G722_16s* pState);
/* Writes the size in bytes of the sub-band ADPCM state object (144). */
ZINSC_API ZinStatus zinsSBADPCMEncodeStateSize_G722_16s(int* pSize);
/* Sub-band ADPCM encoder: low/high sub-band pairs to 6-bit low and 2-bit high code pairs. */
ZINSC_API ZinStatus zinsSBADPCMEncode_G722_16s(const Zin16s* pSrc, Zin16s* pDst, int len, ZinSBADPCMState_G722_16s* pState);

/* ---- G.722.1 and its Annex C: lapped transform and region coding -------- */

/**
 * @defgroup g7221 G.722.1 and Annex C
 * The modulated lapped transform of ITU-T G.722.1 in two halves (a window fold and a fixed-point DCT-IV),
 * and the vector Huffman coder of one 20-coefficient region. A size of 320 is G.722.1 (7 kHz, 16 kHz
 * sampling), 640 its Annex C (14 kHz, 32 kHz sampling); the _G722_ forms are the size-320 ones.
 *
 * An encoder, per frame: zinsDecomposeMLTToDCT_G7221_16s on the new frame and the previous one (the caller
 * keeps the frame as the next history), a normalising shift of the result chosen by the caller, then
 * zinsDCTFwd_G7221_16s; region powers, categories and rate control are the caller's, which codes each
 * region with zinsHuffmanEncode_G722_16s32u. A decoder: the coefficients from the bit stream, then
 * zinsDCTInv_G7221_16s, the caller's inverse shift, and zinsDecomposeDCTToMLT_G7221_16s with the second
 * half of the previous shifted inverse transform as history. codecs/g7221.cpp assembles both.
 * @{
 */

/**
 * @brief Forward DCT-IV of G.722.1 (at 320 the analysis bias is added to the input first).
 * @param[in]  pSrc  size values, the windowed and shifted frame
 * @param[out] pDst  size transform coefficients
 * @param[in]  size  320 or 640
 * @return zinStsNullPtrErr, zinStsSizeErr (size neither 320 nor 640), else zinStsNoErr
 */
ZINSC_API ZinStatus zinsDCTFwd_G7221_16s(const Zin16s* pSrc, Zin16s* pDst, int size);
/**
 * @brief zinsDCTFwd_G7221_16s at size 320.
 * @param[in]  pSrc  320 values
 * @param[out] pDst  320 coefficients
 * @return zinStsNullPtrErr, else zinStsNoErr
 */
ZINSC_API ZinStatus zinsDCTFwd_G722_16s(const Zin16s* pSrc, Zin16s* pDst);
/**
 * @brief Inverse DCT-IV of G.722.1 (at 320 the synthesis bias is added to the output last).
 * @param[in]  pSrc  size coefficients
 * @param[out] pDst  size values, before the caller's inverse shift
 * @param[in]  size  320 or 640
 * @return zinStsNullPtrErr, zinStsSizeErr (size neither 320 nor 640), else zinStsNoErr
 */
ZINSC_API ZinStatus zinsDCTInv_G7221_16s(const Zin16s* pSrc, Zin16s* pDst, int size);
/**
 * @brief zinsDCTInv_G7221_16s at size 320.
 * @param[in]  pSrc  320 coefficients
 * @param[out] pDst  320 values
 * @return zinStsNullPtrErr, else zinStsNoErr
 */
ZINSC_API ZinStatus zinsDCTInv_G722_16s(const Zin16s* pSrc, Zin16s* pDst);
/**
 * @brief Synthesis window and overlap-add: one frame of output samples.
 * @param[in]  pSrc1  size values, the inverse transform after the caller's shift
 * @param[in]  pSrc2  size/2 values, the second half of the previous frame's pSrc1
 * @param[out] pDst   size output samples
 * @param[in]  size   320 or 640
 * @return zinStsNullPtrErr, zinStsSizeErr (size neither 320 nor 640), else zinStsNoErr
 */
ZINSC_API ZinStatus zinsDecomposeDCTToMLT_G7221_16s(const Zin16s* pSrc1, const Zin16s* pSrc2, Zin16s* pDst, int size);
/**
 * @brief zinsDecomposeDCTToMLT_G7221_16s at size 320.
 * @param[in]  pSrc1  320 values of the shifted inverse transform
 * @param[in]  pSrc2  160 values of history
 * @param[out] pDst   320 output samples
 * @return zinStsNullPtrErr, else zinStsNoErr
 */
ZINSC_API ZinStatus zinsDecomposeDCTToMLT_G722_16s(const Zin16s* pSrc1, const Zin16s* pSrc2, Zin16s* pDst);
/**
 * @brief Analysis window: the previous frame makes the first half of the output, the current frame the second.
 * @param[in]  pSrc1  size samples, the current frame
 * @param[in]  pSrc2  size samples, the previous frame
 * @param[out] pDst   size values for the forward transform
 * @param[in]  size   320 or 640
 * @return zinStsNullPtrErr, zinStsSizeErr (size neither 320 nor 640), else zinStsNoErr
 */
ZINSC_API ZinStatus zinsDecomposeMLTToDCT_G7221_16s(const Zin16s* pSrc1, const Zin16s* pSrc2, Zin16s* pDst, int size);
/**
 * @brief zinsDecomposeMLTToDCT_G7221_16s at size 320.
 * @param[in]  pSrc1  320 samples, the current frame
 * @param[in]  pSrc2  320 samples, the previous frame
 * @param[out] pDst   320 values
 * @return zinStsNullPtrErr, else zinStsNoErr
 */
ZINSC_API ZinStatus zinsDecomposeMLTToDCT_G722_16s(const Zin16s* pSrc1, const Zin16s* pSrc2, Zin16s* pDst);
/**
 * @brief Quantises and codes one region: each vector's code then the signs of its non-zero values
 * (1 for positive), packed from the most significant bit of 32-bit words.
 * @param[in]  category    0 to 6
 * @param[in]  powerIndex  0 to 63, the region's power index
 * @param[in]  pSrc        20 coefficients
 * @param[out] pDst        the packed codes: at least 6 words (at most 180 bits)
 * @param[out] pBitCount   the number of bits written
 * @return zinStsNullPtrErr, zinStsScaleRangeErr (category or power index out of range), else zinStsNoErr
 */
ZINSC_API ZinStatus zinsHuffmanEncode_G722_16s32u(int category, int powerIndex, const Zin16s* pSrc, Zin32u* pDst, int* pBitCount);

/** @} */

/* ---- G.728 LD-CELP ------------------------------------------------------ */
/*
 * The caller drives the recommendation's vector loop (5 samples, adaptation
 * every 4 vectors); these exports are its filters, windows and searches.
 * Unless said otherwise a G.728 vector or sample run is held newest sample
 * first (index 0 is the latest), the order of the recommendation's tables.
 * Block-floating blocks are 5 words with an exponent q: value = word * 2^-q.
 */
typedef struct ZinWinHybridState_G728 ZinWinHybridState_G728_16s; /* sized by its GetStateSize, any alignment */
typedef struct ZinFilterState_G728 ZinFilterState_G728_16s;       /* 144 (synthesis) or 208 (combined) bytes */
typedef struct ZinIIRState_G728 ZinIIRState_G728_16s;             /* 64 bytes: IIR and post-filter */
typedef struct ZinPostFilterAdapterState_G728 ZinPostFilterAdapterState_G728; /* 176 bytes: pitch extractor */

/* Trellis-coded search (12.8 kbit/s with TCQ): writes the best state's shape bytes and gain words per vector. */
ZINSC_API ZinStatus zinsCodebookSearchTCQ_G728_16s8u(const Zin16s* pTarget, const Zin16s* pImpResp, Zin8u* pShape, const Zin16s* pEnergy, Zin16s* pGain, int* pTrellisState, Zin64s scaleTarget, Zin64s scaleGain);
/* Shape and gain search of one vector: correlations (5, codebook order) against the 128 energies (read unsigned); rate 17, 14 or 10. */
ZINSC_API ZinStatus zinsCodebookSearch_G728_16s(const Zin16s* pCorr, const Zin16s* pEnergy, int* pShape, int* pGain, Zin16s* pIndex, ZinSpeechBitrate rate);
/* Writes the size in bytes of the combined synthesis and weighting filter state (208). */
ZINSC_API ZinStatus zinsCombinedFilterGetStateSize_G728_16s(int* pSize);
/* Prepares a combined filter state: memories zero, the eleven block exponents 16. */
ZINSC_API ZinStatus zinsCombinedFilterInit_G728_16s(ZinFilterState_G728_16s* pState);
/* Encoder: zero-input response of the synthesis filter (50 Q14/Q15 coefficients) then of the weighting filter (10 zeros, 10 poles, Q14), 5 words at Q2 out. */
ZINSC_API ZinStatus zinsCombinedFilterZeroInput_G728_16s(const Zin16s* pLPC, const Zin16s* pWeight, Zin16s* pDst, ZinFilterState_G728_16s* pState);
/* Encoder: excitation block (exponent in excScale) through both filters from zero state, into both memories; decoded block and its exponent out. */
ZINSC_API ZinStatus zinsCombinedFilterZeroState_G728_16s(const Zin16s* pExc, const Zin16s* pLPC, const Zin16s* pWeight, Zin32s excScale, Zin16s* pDst, Zin16s* pDstScale, ZinFilterState_G728_16s* pState);
/* Writes the size in bytes of the 10-zero 10-pole filter state (64). */
ZINSC_API ZinStatus zinsIIR16sGetStateSize_G728_16s(int* pSize);
/* Prepares a 10-zero 10-pole filter state: all zero. */
ZINSC_API ZinStatus zinsIIR16sInit_G728_16s(ZinIIRState_G728_16s* pState);
/* 10 zeros then 10 poles (Q14) over len samples, newest first; the result is (sum >> 14) clamped. */
ZINSC_API ZinStatus zinsIIR16s_G728_16s(const Zin16s* pCoeffs, const Zin16s* pSrc, Zin16s* pDst, int len, ZinIIRState_G728_16s* pState);
/* Energies of the 128 codevectors filtered by the impulse response (5 words, Q13, newest first), unsigned 16-bit out. */
ZINSC_API ZinStatus zinsImpulseResponseEnergy_G728_16s(const Zin16s* pImpResp, Zin16s* pEnergy);
/* Order-10 inverse filter (Q14) of 5 Q2 words; memory at byte 144 of a 208-byte filter state. */
ZINSC_API ZinStatus zinsLPCInverseFilter_G728_16s(const Zin16s* pSrc, const Zin16s* pLPC, Zin16s* pDst, ZinFilterState_G728_16s* pState);
/* Levinson-Durbin from order 0 to order; the first reflection coefficient also lands in pTmpLPC[0]. */
ZINSC_API ZinStatus zinsLevinsonDurbin_G728_16s_Sfs(const Zin16s* pAutoCorr, int order, Zin16s* pLPC, Zin16s* pTmpLPC, Zin16s* pResidualEnergy, Zin16s* pScale);
/* Levinson-Durbin continued from startOrder to endOrder with the coefficients, energy and scale (13..15) of the earlier call. */
ZINSC_API ZinStatus zinsLevinsonDurbin_G728_16s_ISfs(const Zin16s* pAutoCorr, int startOrder, int endOrder, Zin16s* pLPC, Zin16s* pResidualEnergy, Zin16s* pScale);
/* Pitch of the 240-word LPC residual (newest first; 20 new words): *pPitch out (20..140); keeps the previous pitch (50 at first). */
ZINSC_API ZinStatus zinsPitchPeriodExtraction_G728_16s(const Zin16s* pResidual, int* pPitch, ZinPostFilterAdapterState_G728* pState);
/* Writes the size in bytes of the post-filter adapter state (176). */
ZINSC_API ZinStatus zinsPostFilterAdapterGetStateSize_G728(int* pSize);
/* Prepares the post-filter adapter state: all zero. */
ZINSC_API ZinStatus zinsPostFilterAdapterStateInit_G728(ZinPostFilterAdapterState_G728* pState);
/* Writes the size in bytes of the short-term post-filter state (64, as the IIR's). */
ZINSC_API ZinStatus zinsPostFilterGetStateSize_G728_16s(int* pSize);
/* Prepares the short-term post-filter state (as the IIR's Init). */
ZINSC_API ZinStatus zinsPostFilterInit_G728_16s(ZinIIRState_G728_16s* pState);
/* Long-term (gl Q14, glb Q16, lag) then short-term (10 zeros, 10 poles, Q14) post-filter with tilt (Q14) of 5 Q2 words in time order; pSrc[-lag..-1] hold older words at Q0. */
ZINSC_API ZinStatus zinsPostFilter_G728_16s(Zin16s gl, Zin16s glb, Zin16s lag, Zin16s tilt, const Zin16s* pCoeffs, const Zin16s* pSrc, Zin16s* pDst, ZinIIRState_G728_16s* pState);
/* Decoder: zero-input response then the excitation (exponent in bits 0-15 of excScale; bit 16 caps the result's exponent at 16) through the synthesis filter; decoded block and exponent out. */
ZINSC_API ZinStatus zinsSyntesisFilterZeroInput_G728_16s(const Zin16s* pLPC, const Zin16s* pExc, Zin32s excScale, Zin16s* pDst, Zin16s* pDstScale, ZinFilterState_G728_16s* pState);
/* Writes the size in bytes of the synthesis filter state (144). */
ZINSC_API ZinStatus zinsSynthesisFilterGetStateSize_G728_16s(int* pSize);
/* Prepares a synthesis filter state: memory zero, the eleven block exponents 16. */
ZINSC_API ZinStatus zinsSynthesisFilterInit_G728_16s(ZinFilterState_G728_16s* pState);
/* Hybrid window over blocks with exponents: L new words (newest first) and L/block exponents; autocorrelation out (mode 1: terms 0..10). */
ZINSC_API ZinStatus zinsWinHybridBlock_G728_16s(int mode, const Zin16s* pExp, const Zin16s* pSrc, Zin16s* pDst, ZinWinHybridState_G728_16s* pState);
/* Writes the size in bytes of a hybrid-window state for order M, L new samples, N non-recursive, block length (0: none). */
ZINSC_API ZinStatus zinsWinHybridGetStateSize_G728_16s(int M, int L, int N, int block, int* pSize);
/* Prepares a hybrid-window state over a window table (M+L+N Q15 words, newest sample first; not copied); decay 12288 or 8192 (Q14). */
ZINSC_API ZinStatus zinsWinHybridInit_G728_16s(const Zin16s* pWindow, int M, int L, int N, int block, Zin16s decay, ZinWinHybridState_G728_16s* pState);
/* Hybrid window: L new words (newest first) to the autocorrelation (mode 1: terms 0..10, else 0..M); M + L + N up to 512. */
ZINSC_API ZinStatus zinsWinHybrid_G728_16s(int mode, const Zin16s* pSrc, Zin16s* pDst, ZinWinHybridState_G728_16s* pState);

/* ---- GSM 06.10 full rate ----------------------------------------------- */

/* Offset compensation (GSM 06.10 4.2.1-4.2.2), wrapping; pMem: six bytes, the 32-bit z2 then the 16-bit z1, zero at stream start. */
ZINSC_API ZinStatus zinsHighPassFilter_GSMFR_16s(const Zin16s* pSrc, Zin16s* pDst, int len, Zin32s* pMem);
/* Preemphasis (4.2.3): dst = src + mult_r(previous src, -28180); *pMem holds the previous input. */
ZINSC_API ZinStatus zinsPreemphasize_GSMFR_16s(const Zin16s* pSrc, Zin16s* pDst, int len, Zin16s* pMem);
/* Deemphasis, upscaling and truncation (4.3.5-4.3.7) in place; *pMem holds the deemphasised value. */
ZINSC_API ZinStatus zinsDeemphasize_GSMFR_16s_I(Zin16s* pSrcDst, int len, Zin16s* pMem);
/* Weighting filter (4.2.13); reads pSrc[-5] to pSrc[len+4]. */
ZINSC_API ZinStatus zinsWeightingFilter_GSMFR_16s(const Zin16s* pSrc, Zin16s* pDst, int len);
/* Schur recursion (4.2.5): order+1 autocorrelations to order reflection coefficients (order 1 to 8). */
ZINSC_API ZinStatus zinsSchur_GSMFR_32s16s(const Zin32s* pSrc, Zin16s* pDst, int order);
/* Order-8 short-term analysis lattice (4.2.10) in place; pMem holds the 8 stage delays. */
ZINSC_API ZinStatus zinsShortTermAnalysisFilter_GSMFR_16s_I(const Zin16s* pRC, Zin16s* pSrcDst, int len, Zin16s* pMem);
/* Order-8 short-term synthesis lattice (4.3.4); pMem holds the 8 stage delays. */
ZINSC_API ZinStatus zinsShortTermSynthesisFilter_GSMFR_16s(const Zin16s* pRC, const Zin16s* pSrc, Zin16s* pDst, int len, Zin16s* pMem);
/* APCM inverse quantisation (4.2.16) of 13 codes with the mantissa factor and the shift 6 - exponent. */
ZINSC_API ZinStatus zinsRPEQuantDecode_GSMFR_16s(const Zin16s* pSrc, Zin16s ampl, Zin16s amplSfs, Zin16s* pDst);

/* ---- G.723.1 (6.3 and 5.3 kbit/s) ---------------------------------------- */

/* DC removal of a 240-sample frame (2.3); pMem[0] the previous input, pMem[1] the previous 32-bit output. */
ZINSC_API ZinStatus zinsHighPassFilter_G723_16s(const Zin16s* pSrc, Zin16s* pDst, Zin32s* pMem);
/* Scaled, Hamming-windowed, corrected autocorrelation of 180 samples (2.4): 11 lags and their exponent (40 for silence). */
ZINSC_API ZinStatus zinsAutoCorr_G723_16s(const Zin16s* pSrc, Zin16s* pExp, Zin16s* pDst);
/* 11 lags of 180 samples: lag 0 with the 1025/1024 correction and normalised by *pNorm, lags 1-10 lag-windowed. */
ZINSC_API ZinStatus zinsAutoCorr_NormE_G723_16s(const Zin16s* pSrc, Zin16s* pDst, Zin32s* pNorm);
/* Durbin recursion to 10 LPC (Q13) with the residual energy; shifts the sine flag *pSine once (2.4). */
ZINSC_API ZinStatus zinsLevinsonDurbin_G723_16s(const Zin16s* pSrcAutoCorr, Zin16s* pSine, Zin16s* pEnergy, Zin16s* pDstLpc);
/* LPC to LSP on the 256-point cosine grid (2.5); the previous LSP vector when 10 roots aren't found. */
ZINSC_API ZinStatus zinsLPCToLSF_G723_16s(const Zin16s* pSrcLpc, const Zin16s* pSrcPrevLsf, Zin16s* pDstLsf);
/* LSP to 10 negated LPC (Q13) for synthesis by plain multiply-accumulate (2.7). */
ZINSC_API ZinStatus zinsLSFToLPC_G723_16s(const Zin16s* pSrcLsf, Zin16s* pDstLpc);
/* zinsLSFToLPC_G723_16s in place. */
ZINSC_API ZinStatus zinsLSFToLPC_G723_16s_I(Zin16s* pSrcDst);
/* Predictive split VQ of the LSP vector (2.6): *pIndex = band0 << 16 | band1 << 8 | band2. */
ZINSC_API ZinStatus zinsLSFQuant_G723_16s32s(const Zin16s* pSrcLsf, const Zin16s* pSrcPrevLsf, Zin32s* pIndex);
/* LSP decoding with the stability loop (3.2), erased frames predicted from pSrcPrevLsf; zinStsLsfLowWarn if unstable. */
ZINSC_API ZinStatus zinsLSFDecode_G723_16s(const Zin16s* pSrcBands, const Zin16s* pSrcPrevLsf, Zin32s erased, Zin16s* pDstLsf);
/* Open-loop pitch of 120 samples at pSrc (2.9), reading 142 before them: lag 18 to 142. */
ZINSC_API ZinStatus zinsOpenLoopPitchSearch_G723_16s(const Zin16s* pSrc, Zin16s* pDelay);
/* Harmonic noise weighting (2.11) of 60 samples around an open-loop delay of 18 to 145: filter lag and gain. */
ZINSC_API ZinStatus zinsHarmonicSearch_G723_16s(Zin16s delay, const Zin16s* pSrc, Zin16s* pDelay, Zin16s* pGain);
/* Closed-loop 5-tap pitch (2.14) over 145 past excitation samples with taming by the 5 zone errors; *pLag the lag, *pGainIndex the row. */
ZINSC_API ZinStatus zinsAdaptiveCodebookSearch_G723(Zin16s baseDelay, const Zin16s* pSrcTarget, const Zin16s* pSrcImp, const Zin16s* pSrcPrevExc, const Zin32s* pSrcErrors, Zin16s* pLag, Zin16s* pGainIndex, Zin16s subframe, Zin16s sineFlag, ZinSpeechBitrate rate);
/* MP-MLQ search (2.15): 60-sample excitation (pulse amplitudes from the fixed gain table, train included), grid, train, signs, positions. */
ZINSC_API ZinStatus zinsMPMLQFixedCodebookSearch_G723(Zin16s baseDelay, const Zin16s* pSrcImp, const Zin16s* pSrcTarget, Zin16s* pDstCode, Zin16s* pGrid, Zin16s* pTrain, Zin16s* pSign, Zin32s* pPosition, Zin16s subframe);
/* One grid of the MP-MLQ pulse and gain search; pBest (gain, grid, 6 positions, 6 amplitudes) and *pScore change where it improves. */
ZINSC_API ZinStatus zinsGainQuant_G723_16s(const Zin16s* pSrcImp, const Zin16s* pSrcTarget, const Zin16s* pImpCorr, const Zin32s* pCorr, Zin16s* pBest, Zin16s grid, Zin16s* pMap, int pulseCount, Zin32s* pScore);
/* ACELP correlation matrix of h (2.16), 416 values: 4 x 8 track diagonals, then tracks (0,1) (0,2) (0,3) (1,2) (1,3) (2,3) as 8 x 8. */
ZINSC_API ZinStatus zinsToeplizMatrix_G723_16s32s(const Zin16s* pSrcImp, Zin32s* pDstRr);
/* zinsToeplizMatrix_G723_16s32s narrowed to 16-bit values. */
ZINSC_API ZinStatus zinsToeplizMatrix_G723_16s(const Zin16s* pSrcImp, Zin16s* pDstRr);

/* ---- G.169 automatic level control ---------------------------------- */

/* Opaque level-control state object (124 bytes, any alignment). */
typedef struct ZinALCState_G169 ZinALCState_G169_16s;

/* Writes the size in bytes of the level-control state object (124). */
ZINSC_API ZinStatus zinsALCGetStateSize_G169_16s(int* pSize);
/* Resets a level control: speech target 26.1 dB below full scale, peak limit 32767, maximum gain 11.6 dB. */
ZINSC_API ZinStatus zinsALCInit_G169_16s(ZinALCState_G169_16s* pState);
/* Sets the maximum gain in dB (not below 0); may come between blocks. */
ZINSC_API ZinStatus zinsALCSetGain_G169_16s(Zin32f maxGainDb, ZinALCState_G169_16s* pState);
/* Sets the speech target and the peak limit as attenuations in dB below full scale (not below 0). */
ZINSC_API ZinStatus zinsALCSetLevel_G169_16s(Zin32f targetDb, Zin32f maxDb, ZinALCState_G169_16s* pState);
/* Levels len samples (a multiple of 8, at least 8) at any rate; the gain is constant per block of 8. */
ZINSC_API ZinStatus zinsALC_G169_16s(const Zin16s* pSrc, Zin16s* pDst, int len, ZinALCState_G169_16s* pState);

/* ---- G.729 front end: pre-processing, LP analysis, LSP conversion and quantisation ---- */

/* High-pass filter state (ITU-T G.729 clauses 3.1 and 4.2.5): 24 bytes at any alignment. */
typedef struct ZinHighPassFilterState_G729 ZinHighPassFilterState_G729;

/* Windowed autocorrelation of a 240-sample block, lags 0..12, normalised; *pNorm is the exponent of r(0) (may be negative). */
ZINSC_API ZinStatus zinsAutoCorr_G729B(const Zin16s* pSrc, Zin16s* pNorm, Zin32s* pDst);
/* Doubled sum of products; zinStsOverflow and the nearer limit when it leaves 32 bits. */
ZINSC_API ZinStatus zinsDotProd_G729A_16s32s(const Zin16s* pSrc1, const Zin16s* pSrc2, int len, Zin32s* pDp);
/* Sum of products in single precision. */
ZINSC_API ZinStatus zinsDotProd_G729A_32f(const Zin32f* pSrc1, const Zin32f* pSrc2, int len, Zin32f* pDp);
/* Stores the coefficients a0, a1, a2, b0, b1, b2 and clears the filter memory. */
ZINSC_API ZinStatus zinsHighPassFilterInit_G729(const Zin16s* pCoeff, ZinHighPassFilterState_G729* pState);
/* Writes the size in bytes of the high-pass filter state (24). */
ZINSC_API ZinStatus zinsHighPassFilterSize_G729(int* pSize);
/* Second-order high-pass in place: scale 12 for the 140 Hz pre-processing, 13 for the 100 Hz post-processing. */
ZINSC_API ZinStatus zinsHighPassFilter_G729_16s_ISfs(Zin16s* pSrcDst, int len, int scaleFactor, ZinHighPassFilterState_G729* pState);
/* zinsIIR16s_G729_16s for small signals: no saturation of the fed-back value or the output. */
ZINSC_API ZinStatus zinsIIR16sLow_G729_16s(const Zin16s* pCoeffs, const Zin16s* pSrc, Zin16s* pDst, Zin16s* pMem);
/* 40-sample Q12 pole-zero filter (numerator pCoeffs[0..10], denominator [11..21]); pMem: 10 inputs then 10 outputs, oldest first. */
ZINSC_API ZinStatus zinsIIR16s_G729_16s(const Zin16s* pCoeffs, const Zin16s* pSrc, Zin16s* pDst, Zin16s* pMem);
/* dst = saturate((src1*val1 + src2*val2) >> scaleFactor), 32-bit sum, truncating. */
ZINSC_API ZinStatus zinsInterpolateC_G729_16s_Sfs(const Zin16s* pSrc1, Zin16s val1, const Zin16s* pSrc2, Zin16s val2, Zin16s* pDst, int len, int scaleFactor);
/* dst = val1*src1 + val2*src2. */
ZINSC_API ZinStatus zinsInterpolateC_G729_32f(const Zin32f* pSrc1, Zin32f val1, const Zin32f* pSrc2, Zin32f val2, Zin32f* pDst, int len);
/* zinsInterpolateC_G729_16s_Sfs rounded half up. */
ZINSC_API ZinStatus zinsInterpolateC_NR_G729_16s_Sfs(const Zin16s* pSrc1, Zin16s val1, const Zin16s* pSrc2, Zin16s val2, Zin16s* pDst, int len, int scaleFactor);
/* dst = saturate((src1 >> 1) + (src2 >> 1)). */
ZINSC_API ZinStatus zinsInterpolate_G729_16s(const Zin16s* pSrc1, const Zin16s* pSrc2, Zin16s* pDst, int len);
/* Q12 LP filter to Q15 LSPs on the 51-point grid with 2 bisections; the previous LSPs if 10 roots are not found. */
ZINSC_API ZinStatus zinsLPCToLSP_G729A_16s(const Zin16s* pSrcLPC, const Zin16s* pSrcPrevLsp, Zin16s* pDstLSP);
/* Float LP filter to LSPs on the 51-point grid with 2 bisections. */
ZINSC_API ZinStatus zinsLPCToLSP_G729A_32f(const Zin32f* pSrcLPC, const Zin32f* pSrcPrevLsp, Zin32f* pDstLSP);
/* Q12 LP filter to Q15 LSPs on the 61-point grid with 4 bisections; the previous LSPs if 10 roots are not found. */
ZINSC_API ZinStatus zinsLPCToLSP_G729_16s(const Zin16s* pSrcLPC, const Zin16s* pSrcPrevLsp, Zin16s* pDstLSP);
/* Float LP filter to LSPs on the 61-point grid with 4 bisections. */
ZINSC_API ZinStatus zinsLPCToLSP_G729_32f(const Zin32f* pSrcLPC, const Zin32f* pSrcPrevLsp, Zin32f* pDstLSP);
/* Erased frame: the previous frame's LSFs and mode give the new MA memory row. */
ZINSC_API ZinStatus zinsLSFDecodeErased_G729_16s(Zin16s maIndex, Zin16s* pSrcDstPrevFreq, const Zin16s* pSrcPrevLSF);
/* Float form of zinsLSFDecodeErased_G729_16s. */
ZINSC_API ZinStatus zinsLSFDecodeErased_G729_32f(Zin32s maIndex, Zin32f* pSrcDstPrevFreq, const Zin32f* pSrcPrevLSF);
/* Q13 LSFs from the four indices (mode, L1, L2, L3); shifts the MA memory; LSF warnings when a limit acted. */
ZINSC_API ZinStatus zinsLSFDecode_G729_16s(const Zin16s* pSrcIndex, Zin16s* pSrcDstPrevFreq, Zin16s* pDstQLsf);
/* Float form of zinsLSFDecode_G729_16s, no warnings. */
ZINSC_API ZinStatus zinsLSFDecode_G729_32f(const Zin32s* pSrcIndex, Zin32f* pSrcDstPrevFreq, Zin32f* pDstQLsf);
/* Q13 LSFs to the four indices and the decoded LSFs; shifts the MA memory; LSF warnings of the decode. */
ZINSC_API ZinStatus zinsLSFQuant_G729_16s(const Zin16s* pSrcLsf, Zin16s* pSrcDstPrevFreq, Zin16s* pDstQLsf, Zin16s* pDstIndex);
/* Q13 LSFs to Q15 LSPs by the cosine table; zinStsLsfRangeErr at a negative frequency. */
ZINSC_API ZinStatus zinsLSFToLSP_G729_16s(const Zin16s* pSrcLSF, Zin16s* pDstLSP);
/* zinsLSPQuant_G729_16s leaving the memory alone: the new memory row comes out in pDstFreq. */
ZINSC_API ZinStatus zinsLSPQuant_G729E_16s(const Zin16s* pSrcLsp, const Zin16s* pSrcPrevFreq, Zin16s* pDstFreq, Zin16s* pDstQLsp, Zin16s* pDstCode);
/* Float form of zinsLSPQuant_G729E_16s. */
ZINSC_API ZinStatus zinsLSPQuant_G729E_32f(const Zin32f* pSrcLsp, const Zin32f* pSrcPrevFreq, Zin32f* pDstFreq, Zin32f* pDstQLsp, Zin32s* pDstCode);
/* Q15 LSPs to the packed codes L0<<7|L1 and L2<<5|L3 and the quantised LSPs; shifts the MA memory. */
ZINSC_API ZinStatus zinsLSPQuant_G729_16s(const Zin16s* pSrcLsp, Zin16s* pSrcDstPrevFreq, Zin16s* pDstQLsp, Zin16s* pDstCode);
/* Q15 LSPs to the Q12 LP filter a[0..10]. */
ZINSC_API ZinStatus zinsLSPToLPC_G729_16s(const Zin16s* pSrcLSP, Zin16s* pDstLPC);
/* Float LSPs to the LP filter a[0..10]. */
ZINSC_API ZinStatus zinsLSPToLPC_G729_32f(const Zin32f* pSrcLSP, Zin32f* pDstLPC);
/* Q15 LSPs to Q13 LSFs (radians) by the arc-cosine table. */
ZINSC_API ZinStatus zinsLSPToLSF_G729_16s(const Zin16s* pSrcLSP, Zin16s* pDstLSF);
/* Q15 LSPs to normalised Q15 LSFs by the arc-cosine table. */
ZINSC_API ZinStatus zinsLSPToLSF_Norm_G729_16s(const Zin16s* pSrcLSP, Zin16s* pDstLSF);
/* Lag window on r(1)..r(len) in place (pSrcDst points at r(1)), len 1..12. */
ZINSC_API ZinStatus zinsLagWindow_G729_32s_I(Zin32s* pSrcDst, int len);
/* Order-10 recursion giving the first two reflection coefficients; pDstRc undefined after zinStsOverflow. */
ZINSC_API ZinStatus zinsLevinsonDurbin_G729B(const Zin32s* pSrcAutoCorr, Zin16s* pDstLpc, Zin16s* pDstRc, Zin16s* pResultResidualEnergy);
/* Float recursion; an unstable stage ends it with the error 0.001. */
ZINSC_API ZinStatus zinsLevinsonDurbin_G729_32f(const Zin32f* pSrcAutoCorr, int order, Zin32f* pDstLpc, Zin32f* pDstRc, Zin32f* pResultResidualEnergy);
/* Double-precision recursion, order 1..30; zinStsOverflow and nothing written when it breaks down. */
ZINSC_API ZinStatus zinsLevinsonDurbin_G729_32s16s(const Zin32s* pSrcAutoCorr, int order, Zin16s* pDstLpc, Zin16s* pDstRc, Zin16s* pResultResidualEnergy);
/* dst[n] = src[n] - ((16-bit 2*src[n-1]) * gamma >> 16); *pMem holds the previous input. */
ZINSC_API ZinStatus zinsPreemphasize_G729A_16s(Zin16s gamma, const Zin16s* pSrc, Zin16s* pDst, int len, Zin16s* pMem);
/* zinsPreemphasize_G729A_16s in place. */
ZINSC_API ZinStatus zinsPreemphasize_G729A_16s_I(Zin16s gamma, Zin16s* pSrcDst, int len, Zin16s* pMem);
/* 40-sample Q12 residual, reading 10 samples before pSrc; wraps to 16 bits. */
ZINSC_API ZinStatus zinsResidualFilter_G729_16s(const Zin16s* pSrc, const Zin16s* pLPC, Zin16s* pDst);
/* y = x - sum a[i]*y[n-i]; pMem: the order previous outputs, oldest first, only read. */
ZINSC_API ZinStatus zinsSynthesisFilter_G729_32f(const Zin32f* pLPC, int order, const Zin32f* pSrc, Zin32f* pDst, int len, const Zin32f* pMem);

/* ---- GSM-AMR (3GPP TS 26.090 to 26.094) --------------------------------- */

/* Voice activity detector option 1 (TS 26.094), 58 16-bit words. The caller
 * allocates it and resets it with ZIN_GSMAMR_VAD1_RESET (the reset of
 * TS 26.073 vad1.c: levels and estimates at 150, the fast correlation at
 * 13106, everything else 0). The tone register and the high-pass correlation
 * maximum stay with the caller; the pitch register below is the caller's to
 * update (TS 26.073 vad_pitch_detection). */
typedef struct {
    Zin16s subLevel[9];         /* lookahead sums of the level calculation */
    Zin16s oldLevel[9];         /* band levels of the previous frame */
    Zin16s aveLevel[9];         /* averaged band levels */
    Zin16s bckrEst[9];          /* background noise estimate, 40..16000 */
    Zin16s aData5[3][2];        /* 5th-order filter memories */
    Zin16s aData3[5];           /* 3rd-order filter memories */
    Zin16s burstCount;
    Zin16s hangCount;
    Zin16s statCount;
    Zin16s vadReg;              /* intermediate decisions, newest in bit 14 */
    Zin16s complexHigh;
    Zin16s complexLow;
    Zin16s complexHangTimer;
    Zin16s complexHangCount;
    Zin16s complexWarning;
    Zin16s corrHpFast;          /* smoothed high-pass correlation, Q15 */
    Zin16s pitch;               /* pitch flags, newest in bit 14 */
} ZinGSMAMRVad1State;

#define ZIN_GSMAMR_VAD1_RESET { {0,0,0,0,0,0,0,0,0}, \
    {150,150,150,150,150,150,150,150,150}, {150,150,150,150,150,150,150,150,150}, \
    {150,150,150,150,150,150,150,150,150}, {{0,0},{0,0},{0,0}}, {0,0,0,0,0}, \
    0, 0, 0, 0, 0, 0, 0, 0, 0, 13106, 0 }

/* VAD option 1 on one frame: energy over pSrc[0..159], filter bank over pSrc[40..199]; *pVadFlag 0 or 1. */
ZINSC_API ZinStatus zinsVAD1_GSMAMR_16s(const Zin16s* pSrc, ZinGSMAMRVad1State* pState, Zin16s* pVadFlag, Zin16s maxHpCorr, Zin16s toneFlags);
/* Voice activity detector option 2 (TS 26.094), 188 bytes; the caller zeroes it to reset (TS 26.073 vad2.c). */
typedef struct {
    Zin32s chEnergy[16];        /* smoothed channel energies, scaled 22.9 (state 0) or 27.4 (state 1) */
    Zin32s chNoise[16];         /* channel noise estimates, scaled 22.9 */
    Zin16s chEnergyLongDb[16];  /* long-term channel energies in dB, Q7.8 */
    Zin16s preEmpMem;           /* last block-normalised input sample */
    Zin16s updateCnt;           /* forced-update counter */
    Zin16s lastUpdateCnt;
    Zin16s hysteresisCnt;
    Zin16s lastBlockShift;      /* normalisation shift of the last half-frame */
    Zin16s scalingState;        /* 0: energies scaled 22.9; 1: 27.4 */
    Zin16s forcedUpdate;
    Zin16s longTermSnr;         /* Q7.8 */
    Zin16s negSnrVar;           /* Q7.8, at most 1024 */
    Zin16s negSnrBias;
    Zin16s burstCount;
    Zin16s hangover;
    Zin32s frameCnt;            /* half-frames of 80 samples so far */
} ZinGSMAMRVad2State;

/* VAD option 2 on 160 samples as two halves of 80; ltpFlag from the caller's open-loop gain test; *pVadFlag 0 or 1. */
ZINSC_API ZinStatus zinsVAD2_GSMAMR_16s(const Zin16s* pSrc, ZinGSMAMRVad2State* pState, Zin16s* pVadFlag, Zin32s ltpFlag);
/* Real 128-point FFT of VAD option 2 in place: DC, Nyquist, then re/im of bins 1..63; halved at every stage. */
ZINSC_API ZinStatus zinsFFTFwd_RToPerm_GSMAMR_16s_I(Zin16s* pSrcDst);
/* Open-loop pitch search of one frame (TS 26.090 5.4): weighted speech from 4 x 11 numerator and denominator coefficients
 * (Q12) over pSpeech[0..169] (10 samples of history first), 143 words of weighted history in/out, 2 lags and 2 gain flags out;
 * oldT0Median, adaptiveWeight and the 5 old lags serve the 10.2 kbit/s weighted search. Checks the rate code first. */
ZINSC_API ZinStatus zinsOpenLoopPitchSearchNonDTX_GSMAMR_16s(const Zin16s* pWeightedLpc, const Zin16s* pUnweightedDen, const Zin16s* pSpeech, Zin16s* pOldT0Median, Zin16s* pAdaptiveWeight, Zin16s* pOldLags, Zin16s* pWspHistory, Zin16s* pLagsOut, Zin16s* pGainFlagsOut, ZinSpeechBitrate rateCode);
/* As the non-DTX search, updating the VAD option 1 tone register and writing the high-pass correlation maximum (Q15). */
ZINSC_API ZinStatus zinsOpenLoopPitchSearchDTXVAD1_GSMAMR_16s(const Zin16s* pWeightedLpc, const Zin16s* pUnweightedDen, const Zin16s* pSpeech, Zin16s* pToneFlags, Zin16s* pOldT0Median, Zin16s* pAdaptiveWeight, Zin16s* pOldLags, Zin16s* pWspHistory, Zin16s* pMaxHpCorr, Zin16s* pLagsOut, Zin16s* pGainFlagsOut, ZinSpeechBitrate rateCode);
/* As the non-DTX search, adding the chosen correlations (wrapping) and energies (saturating) into the VAD option 2 sums. */
ZINSC_API ZinStatus zinsOpenLoopPitchSearchDTXVAD2_GSMAMR_16s32s(const Zin16s* pWeightedLpc, const Zin16s* pUnweightedDen, const Zin16s* pSpeech, Zin16s* pOldT0Median, Zin16s* pAdaptiveWeight, Zin16s* pOldLags, Zin16s* pWspHistory, Zin32s* pMaxCorrSum, Zin32s* pEnergySum, Zin16s* pLagsOut, Zin16s* pGainFlagsOut, ZinSpeechBitrate rateCode);
/* Algebraic codebook search of one sub-frame (TS 26.090 5.7): pitch sharpening of the impulse response (lag 17..144, kept in
 * pImpulse when below 40), then code, filtered code and the parameter words of the rate; rate code 25 searches as 12.2 kbit/s. */
ZINSC_API ZinStatus zinsAlgebraicCodebookSearch_GSMAMR_16s(Zin16s pitchLag, Zin16s pitchGain, const Zin16s* pTarget, const Zin16s* pResidual, Zin16s* pImpulse, Zin16s* pCode, Zin16s* pFilteredCode, Zin16s* pParams, Zin16s subframe, ZinSpeechBitrate rateCode);
/* As zinsAlgebraicCodebookSearch_GSMAMR_16s, with the caller's scratch (16.5 KB at any alignment) in place of the stack. */
ZINSC_API ZinStatus zinsAlgebraicCodebookSearchEX_GSMAMR_16s(Zin16s pitchLag, Zin16s pitchGain, const Zin16s* pTarget, const Zin16s* pResidual, Zin16s* pImpulse, Zin16s* pCode, Zin16s* pFilteredCode, Zin16s* pParams, Zin16s subframe, ZinSpeechBitrate rateCode, void* pScratch);
/* Algebraic codebook decoding of one sub-frame (TS 26.090 6.1): parameter words (2, 7 at 10.2 or 10 at 12.2 kbit/s) to 40 words. */
ZINSC_API ZinStatus zinsFixedCodebookDecode_GSMAMR_16s(const Zin16s* pParams, Zin16s* pCode, int subframe, ZinSpeechBitrate rateCode);
/* DTX hangover handler: counts, sets *pUsedRate to 25 (DTX) when due and *pSidFlag when a SID is computed. */
ZINSC_API ZinStatus zinsEncDTXHandler_GSMAMR_16s(Zin16s* pHangCount, Zin16s* pElapsedCount, Zin16s* pUsedRate, Zin16s* pSidFlag, Zin16s vadFlag);
/* Encoder DTX history: next row (*pHistPtr 0..7) takes the 10 LSPs and half the frame's log2 energy (Q10). */
ZINSC_API ZinStatus zinsEncDTXBuffer_GSMAMR_16s(const Zin16s* pSrc, const Zin16s* pLsp, Zin16s* pHistPtr, Zin16s* pLspHist, Zin16s* pLogEnHist);
/* Decoder DTX history: as the encoder's, the log2 energy not halved. */
ZINSC_API ZinStatus zinsDecDTXBuffer_GSMAMR_16s(const Zin16s* pSrc, const Zin16s* pLsp, Zin16s* pHistPtr, Zin16s* pLspHist, Zin16s* pLogEnHist);
/* SID parameters from the histories: energy index, predictor choice, 3 split indices, gain predictor memories; flag 0 does nothing. */
ZINSC_API ZinStatus zinsEncDTXSID_GSMAMR_16s(const Zin16s* pLspHist, const Zin16s* pLogEnHist, Zin16s* pLogEnIndex, Zin16s* pInitLsfIndex, Zin16s* pLsfIndices, Zin16s* pPastQuaEn, Zin16s* pPastQuaEn122, Zin16s computeSidFlag);

#ifdef __cplusplus
}
#endif

#endif /* ZINSC_H */
