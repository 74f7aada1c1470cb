// Perceptual noise substitution (ISO/IEC 14496-3, subpart 4).
#pragma once

#include <cstdint>

#include "aac/elements.h"

namespace orbel {

// Fills the noise bands of one channel or, with `second` and `right`, of a pair.
// Where both channels of a pair have noise in a band and ms_used says so, the
// second one's is a scaled copy. `msUsed` may be null with one channel.
// *noiseSeed is the generator's state; it runs on from call to call.
void ApplyNoise(const IndividualChannelStream& first, const IndividualChannelStream* second,
                float* left, float* right, int32_t ms_mask_present,
                const int32_t (*ms_used)[kMaxBands], int32_t* noiseSeed);

}  // namespace orbel
