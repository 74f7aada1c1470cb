// Primitives of AAC's spectral tools (ISO/IEC 14496-3, subpart 4). General
// contracts stand in dsp/kernels.h.
//
// NoiseBands  fills lines offsets[0] up to offsets[bands] with values of the generator
//           seed * 1664525 + 1013904223, each as a signed 32-bit number. *seed is read
//           and written. sums[b] receives the sum of the squares of band b, taken in
//           index order; offsets may not fall.
// AllPole   y[n] = x[n] - sum over k from 1 to order of lpc[k] * y[n - k], in place,
//           over `count` lines that lie `step` apart, 1 or -1 (else -7), from nothing.
//           An order outside 1 to 20 gives -7.
// MidSide   left and right become their sum and their difference.
// MulC      dst = src * value.
// Limit     holds lines within -1e30 and 1e30, and makes 0 of what is no number.
// RoundTo16s  to the nearest whole number, halves away from zero, held at the limits
//           of 16 bits; 0 for what is no number.
#pragma once

#include <cstdint>

// clang-format off
#define DSP_TOOL_KERNELS(X)                                                                   \
  X(dspNoiseBands_32f,                                                                        \
    (int32_t * seed, float* lines, const int32_t* offsets, int32_t bands, float* sums),       \
    (seed, lines, offsets, bands, sums))                                                      \
  X(dspAllPole_32f_I,                                                                         \
    (const float* lpc, int32_t order, float* line, int32_t step, int32_t count),              \
    (lpc, order, line, step, count))                                                          \
  X(dspMidSide_32f_I, (float* left, float* right, int32_t length), (left, right, length))     \
  X(dspMulC_32f, (const float* src, float value, float* dst, int32_t length),                 \
    (src, value, dst, length))                                                                \
  X(dspLimit_32f_I, (float* lines, int32_t length), (lines, length))                          \
  X(dspRoundTo16s_32f, (const float* src, float* dst, int32_t length), (src, dst, length))
// clang-format on
