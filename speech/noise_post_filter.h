// The post filter of ITU-T G.729 Annex A, as comfort noise passes it: without its
// pitch part.
#pragma once

#include <cstdint>

#include "speech/silence_state.h"

namespace orbel {

struct NoisePostFilterState {
  int16_t synthesis[kLpOrder];  // memory of the second half of the short-term filter
  int16_t tilt;                 // last sample before tilt compensation
  int16_t gain;                 // of the gain control, Q12
};

inline constexpr int32_t kTiltResponse = 22;  // L_H

struct NoisePostFilterWork {
  int16_t numerator[kTiltResponse];  // a filter, with zeros behind it
  int16_t denominator[kFilterLength];
  int16_t response[kTiltResponse];
  int16_t signal[kSilenceSubframe];
};

void ResetNoisePostFilter(NoisePostFilterState* state);

// Filters a subframe at `in`, behind ten past samples, made by the Q12 `filter`.
void RunNoisePostFilter(NoisePostFilterState* state, NoisePostFilterWork* work,
                        const int16_t* filter, const int16_t* in, int16_t* out);

}  // namespace orbel
