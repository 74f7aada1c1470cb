// Primitives of the QMF banks (ISO/IEC 14496-3, subpart 4). General contracts stand
// in dsp/kernels.h.
#pragma once

#include <cstdint>

// clang-format off
// A frame is 32 time slots. Rows of bands follow one another, 64 floats each, real
// and imaginary parts apart; with `imag` null the real banks run. Levels: samples
// are at the scale of 16-bit PCM, bands at an eighth of what the standard's analysis
// gives, and the two directions after each other have gain 1.
//
// Analysis   1024 samples to 32 bands a row; bands 32 to 63 are not written. `history`
//            is 288 floats, the samples before these, the oldest first.
// Synthesis  `bands` is 64, for 2048 samples, or 32, for 1024 from the lower bands;
//            else -6. Bands from `used` on are zero, and from the next multiple of 4
//            on they are not read. `history` is 16 rows of 2 * bands floats, row r being the window
//            sum's input for the slots r and r + 16 of a frame.
// Histories are zero at a start. Samples may overlap nothing else.
#define DSP_QMF_KERNELS(X)                                                                    \
  X(dspQmfAnalysis_32f,                                                                       \
    (const float* samples, float* history, float* real, float* imag),                         \
    (samples, history, real, imag))                                                           \
  X(dspQmfSynthesis_32f,                                                                      \
    (const float* real, const float* imag, int32_t used, int32_t bands, float* history,       \
     float* samples),                                                                         \
    (real, imag, used, bands, history, samples))
// clang-format on
