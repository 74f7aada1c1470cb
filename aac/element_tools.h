// The spectral tools of one element, run as soon as it has been parsed: from the
// parse record to `spectrum`, `tnsData` and the window data of its channels.
#pragma once

#include <cstdint>

#include "aac/state.h"

namespace orbel {

void SingleChannelTools(AACDecoderState* state, int32_t channel);
void ChannelPairTools(AACDecoderState* state, int32_t channel);
void LowFrequencyTools(AACDecoderState* state, int32_t channel);

// `index` is the number of the coupling element in the frame, 0 or 1.
void CouplingChannelTools(AACDecoderState* state, int32_t index);

}  // namespace orbel
