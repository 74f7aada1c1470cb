// Floating-point samples: what a frame adds to its integers to give back IEEE 754
// single floats.
#pragma once

#include <cstdint>

#include "als/als_bits.h"
#include "als/als_state.h"

namespace orbel {

// To be called at the start and at random-access frames.
void AlsFloatReset(AlsState* state);

// Reads a frame's part, which is all of `bits`, and writes the floats that belong to
// `samples` integers of every channel, interleaved in output order, with the low byte
// first. False when the part is bad.
bool AlsReadFloats(AlsState* state, int32_t samples, AlsBits* bits, uint8_t* output);

}  // namespace orbel
