// The block of memory that depends on the audio object type: transforms,
// predictors.
#pragma once

#include <cstdint>

#include "aac/state.h"

namespace orbel {

// Bytes of the state block.
uint64_t StateBlockSize();

// Sets the pointers to what lies behind the record in its block. Touches nothing
// else.
void PlaceSbrAreas(AACDecoderState* state);

// With null `memory`, *size receives the bytes that the object type needs;
// with a block of that size, at a multiple of 16, places everything in it and sets
// the state's pointers. `als` is looked at for a lossless stream only. Returns a
// result of the inner functions: 0, 3 when there is no memory for it, 8 when it is
// not supported.
int32_t QueryToolMemory(AACDecoderState* state, int32_t objectType, const AlsConfig& als,
                        uint8_t* memory, int32_t* size);

}  // namespace orbel
