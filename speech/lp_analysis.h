// Linear prediction of order 10 as in ITU-T G.729: from 240 samples to the filter.
#pragma once

#include <cstdint>

#include "speech/silence_state.h"
#include "speech/two_word.h"

namespace orbel {

inline constexpr int32_t kAnalysisWindow = 240;
inline constexpr int32_t kAutocorrelationOrder = 12;
// The windowed samples with zeros behind them, so that all lags sum over one length.
inline constexpr int32_t kWindowedSamples = kAnalysisWindow + kAutocorrelationOrder + 4;

// Values by lag, normalised by the first; a value counts 2^exponent, but for a
// constant factor.
struct Autocorrelation {
  fixed::TwoWord value[kAutocorrelationOrder + 1];
  int16_t exponent;
};

// The last filter that came out stable, Q12, and its first two reflection coefficients.
struct LevinsonMemory {
  int16_t filter[kFilterLength];
  int16_t reflection[2];
};

// Of 240 samples under the analysis window. `windowed` has room for kWindowedSamples.
void Autocorrelate(const int16_t* speech, int16_t* windowed, Autocorrelation* out);

// Weights the lags from 1 on.
void ApplyLagWindow(Autocorrelation* r);

void ResetLevinson(LevinsonMemory* memory);

// The filter of 11 autocorrelations enters the memory, and the energy of what it leaves,
// in units of the high word, `residual` where that is given. An unstable one changes
// nothing and gives false.
bool Levinson(const fixed::TwoWord* r, LevinsonMemory* memory, int16_t* residual = nullptr);

}  // namespace orbel
