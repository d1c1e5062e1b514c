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
    zinSpchBr5900  = 3,   /* GSM-AMR 5.9 kbit/s */
    zinSpchBr6600  = 5,   /* AMR-WB 6.60 kbit/s */
    zinSpchBr6700  = 6,   /* GSM-AMR 6.7 kbit/s */
    zinSpchBr7400  = 7,   /* GSM-AMR 7.4 kbit/s */
    zinSpchBr7950  = 8,   /* GSM-AMR 7.95 kbit/s */
    zinSpchBr8850  = 9,   /* AMR-WB 8.85 kbit/s */
    zinSpchBr10200 = 11,  /* GSM-AMR 10.2 kbit/s */
    zinSpchBr12200 = 12,  /* GSM-AMR 12.2 kbit/s */
    zinSpchBr12650 = 13,  /* AMR-WB 12.65 kbit/s */
    zinSpchBr14250 = 15,  /* AMR-WB 14.25 kbit/s */
    zinSpchBr15850 = 16,  /* AMR-WB 15.85 kbit/s */
    zinSpchBr16000 = 17,  /* G.726 16 kbit/s */
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
