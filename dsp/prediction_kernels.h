// Primitives of the backward-adaptive prediction of AAC Main (ISO/IEC 14496-3,
// subpart 4). General contracts stand in dsp/kernels.h.
#pragma once

#include <cstdint>

namespace orbel {

constexpr int32_t kPredictorMark = 59;

// The predictors of one channel, one for each spectral line. It lies in memory of
// the caller, together with its arrays, which are 32-byte aligned.
struct MainPredictorState {
  int32_t mark;
  int32_t lines;
  float* cor0;
  float* cor1;
  float* var0;
  float* var1;
  float* r0;
  float* r1;
};

}  // namespace orbel

// A state that no Init has made gives -17.
//
// GetSize     bytes for a state of `lines` lines, 24 * lines + 288.
// Init        places a state in `memory`, which may lie anywhere, and resets it.
// Bands       predicts and adapts the lines of bandCount bands; band b is the lines
//             from bandOffsets[b] to bandOffsets[b + 1]. Where used[b] is not 0 the
//             prediction is added to the spectrum; all the lines adapt. Lines behind
//             the last band keep their state, and lines that the state does not have
//             are left alone. A line of 2^40 and more, or none that is a number, puts
//             its predictor back to the reset state.
// ResetGroup  resets the lines first, first + step, and so on.
// clang-format off
#define DSP_PREDICTION_KERNELS(X)                                                             \
  X(dspPredictGetSize, (int32_t lines, int32_t * size), (lines, size))                        \
  X(dspPredictInit, (orbel::MainPredictorState * *state, int32_t lines, uint8_t * memory),    \
    (state, lines, memory))                                                                   \
  X(dspPredictBands_32f,                                                                      \
    (float* spectrum, const int32_t* bandOffsets, int32_t bandCount, const uint8_t* used,     \
     orbel::MainPredictorState* state),                                                       \
    (spectrum, bandOffsets, bandCount, used, state))                                          \
  X(dspPredictResetGroup_32f,                                                                 \
    (int32_t step, int32_t first, orbel::MainPredictorState * state), (step, first, state))   \
  X(dspPredictReset_32f, (orbel::MainPredictorState * state), (state))
// clang-format on
