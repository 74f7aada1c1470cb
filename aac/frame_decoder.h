// From one raw data block (ISO/IEC 14496-3, subpart 4) to interleaved PCM.
#pragma once

#include <cstdint>

#include "aac/state.h"

namespace orbel {

// Results of the inner functions of the AAC family.
constexpr int32_t kFrameGood = 0;
constexpr int32_t kFrameNoMemory = 3;
constexpr int32_t kFrameBad = 4;  // no PCM was written
constexpr int32_t kFrameNullPointer = 5;
constexpr int32_t kFrameOutputTooSmall = 7;  // it is decoded, and the next call writes it;
                                             // of object type 22 nothing is decoded
constexpr int32_t kFrameUnsupported = 8;

// Decodes one block, or one access unit of object type 22, from `dataSize` bytes and
// writes 1024 samples a channel for each frame (2048 at the doubled rate) to `output`, which has
// room for `outputFree` bytes. *consumedBytes receives how far the block reached, for a bad one
// where it failed; this may lie behind the data. Allocates nothing.
int32_t DecodeRawDataBlock(const uint8_t* data, int32_t* consumedBytes, int16_t* output,
                           int32_t dataSize, int32_t outputFree, AACDecoderState* state);

}  // namespace orbel
