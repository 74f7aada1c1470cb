// Tables of the silence encoder: ITU-T G.729 and its Annex B.
#pragma once

#include <cstdint>

#include "speech/lp_analysis.h"

namespace orbel {

// hamwindow: the analysis window, Q15.
extern const int16_t kAnalysisWeights[kAnalysisWindow];

// lag_h and lag_l: the weights of lags 1 to 12.
extern const fixed::TwoWord kLagWeights[kAutocorrelationOrder];

// grid: where roots are looked for, cosines in Q15 from 0 to half the circle.
inline constexpr int32_t kLspGridPoints = 51;
extern const int16_t kLspGrid[kLspGridPoints];

// slope_acos: the slope of the angle over each step of the cosine table, Q11.
extern const int16_t kLspAngleSlope[64];

// lbf_corr: the autocorrelation of the low-band filter, Q15.
extern const int16_t kLowBand[kAutocorrelationOrder + 1];

// factor_fx and shift_fx: 32 / (32 - i) = factor / 2^15 * 2^shift. Row 32 gives 0.
inline constexpr int32_t kVoiceStartFrames = 32;
extern const int16_t kStartFactor[kVoiceStartFrames + 1];
extern const int16_t kStartShift[kVoiceStartFrames + 1];

// How fast the running means of the background move, by how often they have been
// moved: weights of the old and the new value, Q15.
struct MeanWeights {
  int16_t limit;  // the row holds below this count
  int16_t energyOld, energyNew;
  int16_t crossingsOld, crossingsNew;
  int16_t lsfOld, lsfNew;
};
inline constexpr int32_t kMeanWeightRows = 6;
extern const MeanWeights kMeanWeights[kMeanWeightRows];

}  // namespace orbel
