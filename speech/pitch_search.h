// The pitch estimate of packet-loss concealment.
#pragma once

#include <cstdint>

#include "speech/concealment.h"

namespace orbel {

inline constexpr int32_t kPitchWindow = 160;  // samples that are matched
inline constexpr int32_t kPitchLags = kConcealLongestPitch - kConcealShortestPitch;

// The lag, low to high in steps of `step`, at which the newest 160 samples of
// pitchBuffer best match those 120 - lag samples before. Lag 0 is a period of
// 120 samples, lag 80 one of 40. low is raised to 0 and high lowered to 80; step
// is 1 or 2, and 2 also looks at every second sample only. When low + step is
// above high the result is low.
//
// The best match has the largest correlation over the root of the energy,
// compared by squares that keep the correlation's sign. Of equals the last one
// wins, which is the shortest period.
int32_t FindPitch(const ConcealmentState* state, int32_t low, int32_t high, int32_t step);

}  // namespace orbel
