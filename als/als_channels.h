// The channels of a frame: alone, in pairs, or with correlation between them.
#pragma once

#include <cstdint>

#include "als/als_bits.h"
#include "als/als_state.h"

namespace orbel {

// Each reads all channels of a frame of `samples` samples into the state. False when
// the frame is bad or the data ends.
bool AlsReadChannels(AlsState* state, bool randomAccess, int32_t samples, AlsBits* bits);
bool AlsReadCorrelated(AlsState* state, bool randomAccess, int32_t samples, AlsBits* bits);

}  // namespace orbel
