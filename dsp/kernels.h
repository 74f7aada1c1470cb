// Every signal-processing primitive, once: name, parameters, arguments. The
// declarations, the variants of each processor level, the dispatch rows and the
// entries all come from these lists.
//
// A primitive returns 0, or -8 for an empty pointer, -6 for a length below 1,
// and what its family adds (dsp/status.h). It allocates nothing, keeps no state
// but what is passed in, and may be called from any thread. Vectors need no
// alignment. Source and destination are the same or do not overlap, but for
// dspMove_16s.
#pragma once

#include <cstdint>

#include "dsp/als_kernels.h"
#include "dsp/bsac_kernels.h"
#include "dsp/g726_state.h"
#include "dsp/prediction_kernels.h"
#include "dsp/ps_kernels.h"
#include "dsp/qmf_kernels.h"
#include "dsp/sbr_kernels.h"
#include "dsp/tool_kernels.h"
#include "dsp/transform_kernels.h"
#include "dsp/vlc_kernels.h"

// clang-format off
// Copying and clearing. length counts elements.
#define DSP_COMMON_KERNELS(X)                                                                 \
  X(dspCopy_16s, (const int16_t* src, int16_t* dst, int32_t length), (src, dst, length))      \
  X(dspMove_16s, (const int16_t* src, int16_t* dst, int32_t length), (src, dst, length))      \
  X(dspZero_16s, (int16_t * dst, int32_t length), (dst, length))                              \
  X(dspZero_8u, (uint8_t * dst, int32_t length), (dst, length))

// Vector arithmetic on 16 bits. A scale shifts results right by that many bits,
// after adding half of the unit, and may be of any size; a negative one gives -13.
// A negative shift count gives -32. Results saturate.
#define DSP_VECTOR_KERNELS(X)                                                                 \
  X(dspMulC_16s_Sfs,                                                                          \
    (const int16_t* src, int16_t value, int16_t* dst, int32_t length, int32_t scale),         \
    (src, value, dst, length, scale))                                                         \
  X(dspMulC_16s_ISfs, (int16_t value, int16_t * srcDst, int32_t length, int32_t scale),       \
    (value, srcDst, length, scale))                                                           \
  X(dspAdd_16s, (const int16_t* src1, const int16_t* src2, int16_t* dst, int32_t length),     \
    (src1, src2, dst, length))                                                                \
  X(dspAdd_16s_ISfs, (const int16_t* src, int16_t* srcDst, int32_t length, int32_t scale),    \
    (src, srcDst, length, scale))                                                             \
  X(dspAddC_16s_I, (int16_t value, int16_t * srcDst, int32_t length), (value, srcDst, length)) \
  X(dspRShiftC_16s, (const int16_t* src, int32_t count, int16_t* dst, int32_t length),        \
    (src, count, dst, length))                                                                \
  X(dspRShiftC_16s_I, (int32_t count, int16_t * srcDst, int32_t length),                      \
    (count, srcDst, length))                                                                  \
  X(dspMax_16s, (const int16_t* src, int32_t length, int16_t* result), (src, length, result)) \
  X(dspMin_16s, (const int16_t* src, int32_t length, int16_t* result), (src, length, result))

// G.711. ITU-T G.711 code bytes as they stand on the wire, 16-bit PCM.
#define DSP_G711_KERNELS(X)                                                                   \
  X(dspALawToLin_8u16s, (const uint8_t* src, int16_t* dst, int32_t length),                   \
    (src, dst, length))                                                                       \
  X(dspMuLawToLin_8u16s, (const uint8_t* src, int16_t* dst, int32_t length),                  \
    (src, dst, length))                                                                       \
  X(dspLinToALaw_16s8u, (const int16_t* src, uint8_t* dst, int32_t length),                   \
    (src, dst, length))                                                                       \
  X(dspLinToMuLaw_16s8u, (const int16_t* src, uint8_t* dst, int32_t length),                  \
    (src, dst, length))

// G.726 (ITU-T G.726). Codes lie one to a byte in the low bits; higher bits are
// ignored. Coder input is 14 bits wide, and so is linear decoder output. Unknown
// modes and laws, and states that no Init has made, give -7.
#define DSP_G726_KERNELS(X)                                                                   \
  X(dspEncoderSizeG726, (int32_t * size), (size))                                             \
  X(dspDecoderSizeG726, (int32_t * size), (size))                                             \
  X(dspEncoderInitG726, (orbel::G726EncoderState * state, int32_t mode), (state, mode))       \
  X(dspDecoderInitG726, (orbel::G726DecoderState * state, int32_t mode, int32_t law),         \
    (state, mode, law))                                                                       \
  X(dspEncodeG726_16s8u,                                                                      \
    (orbel::G726EncoderState * state, const int16_t* src, uint8_t* dst, int32_t length),      \
    (state, src, dst, length))                                                                \
  X(dspDecodeG726_8u16s,                                                                      \
    (orbel::G726DecoderState * state, const uint8_t* src, int16_t* dst, int32_t length),      \
    (state, src, dst, length))

// Speech analysis and synthesis (ITU-T G.729 and its Annex B).
//
// Gaussian   one sample is the sum of twelve draws of the generator, >> 7. `seed` is
//            read and written.
// Synthesis  1/A(z). `filter` is a[0] to a[10] with `scale` fraction bits, 12 or 13,
//            else -13. `memory` is the last ten outputs, the newest last; it may lie
//            right in front of `dst` and is not written. Every step holds at 32 bits;
//            12 when any had to, the outputs being as the standard has them.
// HighPass   scale 12: 140 Hz, halves the signal; 13: 100 Hz, doubles it; else -13.
//            `state` is six words, zero at the start: the last two inputs, newest
//            first, then the last two outputs likewise, each as two words (h, l) with
//            the value h * 65536 + 2 * l.
// Interpolate  the mean of two sets, each halved by itself and rounded down.
#define DSP_SPEECH_KERNELS(X)                                                                 \
  X(dspGaussian_16s, (int16_t * seed, int16_t * dst, int32_t length), (seed, dst, length))    \
  X(dspSynthesis_16s,                                                                         \
    (const int16_t* filter, const int16_t* excitation, int16_t* dst, int32_t length,          \
     int32_t scale, const int16_t* memory),                                                   \
    (filter, excitation, dst, length, scale, memory))                                         \
  X(dspHighPass_16s_I, (int16_t * srcDst, int32_t length, int32_t scale, int16_t * state),    \
    (srcDst, length, scale, state))                                                           \
  X(dspInterpolate_16s,                                                                       \
    (const int16_t* src1, const int16_t* src2, int16_t* dst, int32_t length),                 \
    (src1, src2, dst, length))

#define DSP_KERNELS(X)       \
  DSP_COMMON_KERNELS(X)      \
  DSP_VECTOR_KERNELS(X)      \
  DSP_G711_KERNELS(X)        \
  DSP_G726_KERNELS(X)        \
  DSP_SPEECH_KERNELS(X)      \
  DSP_VLC_KERNELS(X)         \
  DSP_TRANSFORM_KERNELS(X)   \
  DSP_TOOL_KERNELS(X)        \
  DSP_PREDICTION_KERNELS(X)  \
  DSP_QMF_KERNELS(X)         \
  DSP_SBR_KERNELS(X)         \
  DSP_PS_KERNELS(X)          \
  DSP_ALS_KERNELS(X)         \
  DSP_BSAC_KERNELS(X)
// clang-format on
