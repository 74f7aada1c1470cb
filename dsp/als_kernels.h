// Primitives of lossless decoding (ISO/IEC 14496-3, subpart 11). All integer: sums
// have 64 bits and wrap, results are cut to 32. General contracts stand in
// dsp/kernels.h.
#pragma once

#include <cstdint>

namespace orbel {

// The orders that dspAlsSynthesis takes are multiples of this, up to the last.
constexpr int32_t kDspAlsOrderStep = 8;
constexpr int32_t kDspAlsMaxOrder = 1024;

}  // namespace orbel

// Rice      reads `length` Rice codes with `parameter` (0 to 31, else -7) from the bit
//           *position of `size` bytes, and moves *position. Behind the bytes the stream goes
//           on with zeros, and the position goes on counting.
// StepUp    the filter of one order more: dst[i] = src[i] + round(reflection * src[order - 1
//           - i] / 2^20) for i below `order`, and dst[order] = reflection. Not in place.
// Synthesis  x[n] -= round(sum over i of coefficients[i] * x[n - 1 - i] / 2^20), for rising
//           n. `order` is a multiple of 8 from 8 to 1024 (else -7), and that many samples
//           lie in front of `srcDst`.
// LongTerm  x[n] += round(sum over j of gains[j] * x[n - lag - 2 + j] / 128) for five j and
//           rising n from lag - 2 on, without samples in front of `srcDst`. `lag` is 4 or
//           more, else -7.
// Correlate  x[n] += round((sum over j of weights[j] * master[n - 1 + j] + weights[3 + j] *
//           master[n - 1 + j + delay]) / 128) for three j; with `taps` 3 without the second
//           sum, otherwise `taps` is 6, else -7. Both vectors are entered at n = 0, so that
//           `master` is read in front and behind.
// clang-format off
#define DSP_ALS_KERNELS(X)                                                                    \
  X(dspAlsRice_1u32s,                                                                         \
    (const uint8_t* data, uint64_t size, uint64_t* position, int32_t parameter, int32_t* dst, \
     int32_t length),                                                                         \
    (data, size, position, parameter, dst, length))                                           \
  X(dspAlsStepUp_32s,                                                                         \
    (const int32_t* src, int32_t reflection, int32_t* dst, int32_t order),                    \
    (src, reflection, dst, order))                                                            \
  X(dspAlsSynthesis_32s_I,                                                                    \
    (const int32_t* coefficients, int32_t order, int32_t* srcDst, int32_t length),            \
    (coefficients, order, srcDst, length))                                                    \
  X(dspAlsLongTerm_32s_I,                                                                     \
    (const int32_t* gains, int32_t lag, int32_t* srcDst, int32_t length),                     \
    (gains, lag, srcDst, length))                                                             \
  X(dspAlsCorrelate_32s_I,                                                                    \
    (const int16_t* weights, int32_t taps, int32_t delay, const int32_t* master,              \
     int32_t* srcDst, int32_t length),                                                        \
    (weights, taps, delay, master, srcDst, length))
// clang-format on
