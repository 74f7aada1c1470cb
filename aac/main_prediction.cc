#include "aac/main_prediction.h"

#include "dsp/primitives.h"

namespace orbel {
namespace {

constexpr int32_t kResetGroups = 30;

}  // namespace

void ApplyMainPrediction(float* spectrum, const IndividualChannelStream& ics,
                         MainPredictorState* predictor) {
  if (ics.window_sequence == kEightShort) {
    dspPredictReset_32f(predictor);
    return;
  }
  dspPredictBands_32f(spectrum, ics.swbOffsetLong, ics.predMaxSfb, ics.prediction_used, predictor);
  const int32_t group = ics.predictor_reset_group_number;
  if (ics.predictor_reset != 0 && group >= 1 && group <= kResetGroups)
    dspPredictResetGroup_32f(kResetGroups, group - 1, predictor);
}

}  // namespace orbel
