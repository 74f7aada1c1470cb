// Primitives on vectors of 32-bit floats, and the transforms of the AAC filterbank
// (ISO/IEC 14496-3, subpart 4). General contracts stand in dsp/kernels.h.
#pragma once

#include <cstdint>

namespace orbel {

// Opaque; made by the Init primitives.
struct DspImdctSpec;
struct DspMdctFwdSpec;

}  // namespace orbel

// clang-format off
// Vectors of floats. dspIsZero_32f: *result is 1 when every element is 0 or -0,
// else 0.
#define DSP_FLOAT_KERNELS(X)                                                                  \
  X(dspCopy_32f, (const float* src, float* dst, int32_t length), (src, dst, length))          \
  X(dspZero_32f, (float* dst, int32_t length), (dst, length))                                 \
  X(dspIsZero_32f, (const float* src, int32_t length, int32_t* result),                       \
    (src, length, result))                                                                    \
  X(dspAdd_32f, (const float* src1, const float* src2, float* dst, int32_t length),           \
    (src1, src2, dst, length))                                                                \
  X(dspMul_32f, (const float* src1, const float* src2, float* dst, int32_t length),           \
    (src1, src2, dst, length))

// Transforms. N samples, one of 2048, 512, 256 and 64 (any other count gives -6),
// stand against N / 2 lines:
//
//   inverse  x[n] = 2 / N * sum over k of X[k] * c(n, k)
//   forward  X[k] = 2 * sum over n of x[n] * c(n, k)
//   c(n, k) = cos(2 pi / N * (n + (N / 2 + 1) / 2) * (k + 1 / 2))
//
// GetSize  bytes of a transform's record, of Init's own work area (none) and of the
//          work area of a transform; each of the outputs is written.
// Init     places a record in `memory`, at any address, and points *spec at
//          it. It lives as long as the memory and is only read from then on.
// Imdct, MdctFwd  input and output do not overlap. `work` is at any address; what
//          it holds does not matter before or after.
// ImdctWindowOverlap  the inverse transform up to the finished half. With M = N / 2:
//            output[n] = x[n] * rising[n] + overlap[n]
//            overlapOut[n] = x[M + n] * falling[n]         for n from 0 to M - 1
//          One of the outputs may be the same as overlap; lines are apart from both.
#define DSP_MDCT_KERNELS(X)                                                                   \
  X(dspImdctGetSize_32f,                                                                      \
    (int32_t samples, int32_t* specSize, int32_t* initSize, int32_t* workSize),               \
    (samples, specSize, initSize, workSize))                                                  \
  X(dspMdctFwdGetSize_32f,                                                                    \
    (int32_t samples, int32_t* specSize, int32_t* initSize, int32_t* workSize),               \
    (samples, specSize, initSize, workSize))                                                  \
  X(dspImdctInit_32f,                                                                         \
    (orbel::DspImdctSpec** spec, int32_t samples, uint8_t* memory, uint8_t* work),            \
    (spec, samples, memory, work))                                                            \
  X(dspMdctFwdInit_32f,                                                                       \
    (orbel::DspMdctFwdSpec** spec, int32_t samples, uint8_t* memory, uint8_t* work),          \
    (spec, samples, memory, work))                                                            \
  X(dspImdct_32f,                                                                             \
    (const float* lines, float* samples, const orbel::DspImdctSpec* spec, uint8_t* work),     \
    (lines, samples, spec, work))                                                             \
  X(dspMdctFwd_32f,                                                                           \
    (const float* samples, float* lines, const orbel::DspMdctFwdSpec* spec, uint8_t* work),   \
    (samples, lines, spec, work))                                                             \
  X(dspImdctWindowOverlap_32f,                                                                \
    (const float* lines, const float* rising, const float* falling, const float* overlap,     \
     float* output, float* overlapOut, const orbel::DspImdctSpec* spec, uint8_t* work),       \
    (lines, rising, falling, overlap, output, overlapOut, spec, work))

#define DSP_TRANSFORM_KERNELS(X) \
  DSP_FLOAT_KERNELS(X)           \
  DSP_MDCT_KERNELS(X)
// clang-format on
