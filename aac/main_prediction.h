// Backward-adaptive prediction of object type Main (ISO/IEC 14496-3, subpart 4).
#pragma once

#include "aac/channel_stream.h"
#include "dsp/prediction_kernels.h"

namespace orbel {

// Adds the prediction to the bands of a long window that use it and adapts the
// channel's predictor; then resets the group that the stream asks for. Eight
// short windows reset the whole predictor and leave the spectrum alone.
void ApplyMainPrediction(float* spectrum, const IndividualChannelStream& ics,
                         MainPredictorState* predictor);

}  // namespace orbel
