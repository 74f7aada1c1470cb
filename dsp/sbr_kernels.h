// Primitives of band replication: generation and adjustment of the high band
// (ISO/IEC 14496-3, subpart 4). General contracts stand in dsp/kernels.h.
#pragma once

#include <cstdint>

// clang-format off
// Rows of QMF values lie 64 floats apart. Names in 32fc have a complex signal, real
// and imaginary parts in rows of their own; those in 32f a real one. Bands go up to
// 60 (else -6) and are read, not written, in fours: up to 3 floats behind the last
// band of a row are loaded and do not matter.
//
// Bound     values beyond +-bound become that bound, NaN 0.
// Sqrt      square roots, in place; values are not negative.
// Predict   the covariance method over rows 0 to 39, of which the last 38 are
//           predicted from the two before each. `alpha` receives rows of 64: the
//           coefficient of the row before, real and imaginary, that of the second
//           row before likewise; 32f: one row for each, and the reflection
//           coefficients, held at +-1, as the third. Written in fours.
// Generate  row r of the high band, from 0, out of rows r to r + 2 of the low one:
//             high[r] = low[r + 2] + alpha0 * low[r + 1] + alpha1 * low[r]
//           with alpha as Predict gives it. `energy` receives the sums of squared
//           magnitudes over the rows. Rows and energies are written in fours.
// Adjust    out = gain * high + noise * V, for each row and band; the entry of the
//           noise table V rises by one from band to band and row to row, and that of
//           row 0, band 0 is noiseIndex + 1, modulo 512. `noise` may be null for none.
#define DSP_SBR_KERNELS(X)                                                                    \
  X(dspBound_32f_I, (float bound, float* srcDst, int32_t length), (bound, srcDst, length))    \
  X(dspSqrt_32f_I, (float* srcDst, int32_t length), (srcDst, length))                         \
  X(dspSbrPredict_32fc, (const float* real, const float* imag, int32_t bands, float* alpha),  \
    (real, imag, bands, alpha))                                                               \
  X(dspSbrPredict_32f, (const float* rows, int32_t bands, float* alpha), (rows, bands, alpha)) \
  X(dspSbrGenerate_32fc,                                                                      \
    (const float* lowReal, const float* lowImag, const float* alpha, int32_t bands,           \
     int32_t rows, float* highReal, float* highImag, float* energy),                          \
    (lowReal, lowImag, alpha, bands, rows, highReal, highImag, energy))                       \
  X(dspSbrGenerate_32f,                                                                       \
    (const float* low, const float* alpha, int32_t bands, int32_t rows, float* high,          \
     float* energy),                                                                          \
    (low, alpha, bands, rows, high, energy))                                                  \
  X(dspSbrAdjust_32fc,                                                                        \
    (const float* highReal, const float* highImag, const float* gain, const float* noise,     \
     int32_t noiseIndex, int32_t bands, int32_t rows, float* outReal, float* outImag),        \
    (highReal, highImag, gain, noise, noiseIndex, bands, rows, outReal, outImag))             \
  X(dspSbrAdjust_32f,                                                                         \
    (const float* high, const float* gain, const float* noise, int32_t noiseIndex,            \
     int32_t bands, int32_t rows, float* out),                                                \
    (high, gain, noise, noiseIndex, bands, rows, out))
// clang-format on
