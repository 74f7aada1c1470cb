// Perceptual noise substitution (ISO/IEC 14496-3, subpart 4).
#pragma once

#include <cstdint>

#include "aac/elements.h"

namespace orbel {

// Fills the noise bands of one channel or, with `second` and `right`, of a pair.
// Where the mask says so, a noise band of the second channel is a scaled copy of
// the first one's lines. `ms_used` may be null with one channel.
// *noiseSeed is the generator's state; it runs on from call to call.
void ApplyNoise(const IndividualChannelStream& first, const IndividualChannelStream* second,
                float* left, float* right, int32_t ms_mask_present,
                const int32_t (*ms_used)[kMaxBands], int32_t* noiseSeed);

}  // namespace orbel
