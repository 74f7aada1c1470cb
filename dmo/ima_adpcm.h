// IMA ADPCM blocks as network cameras send them. They differ from those of WAV
// files: the high nibble of a byte comes first, and the predictor runs on from
// block to block, whatever the block's header says.
#pragma once

#include <cstdint>

namespace orbel {

inline constexpr uint32_t kImaHeaderBytes = 4;

struct ImaAdpcmState {
  int16_t predictor;
  int32_t stepIndex;  // 0 to 88
};

// Takes the step index from a block's header (its third byte, signed, held
// within 0 to 88). The other header bytes are not used.
void ImaStartBlock(ImaAdpcmState* state, uint8_t headerIndex) noexcept;

// Decodes `count` code bytes into 2 * count samples, host byte order, at any
// alignment.
void ImaDecode(ImaAdpcmState* state, const uint8_t* codes, uint32_t count,
               uint8_t* samples) noexcept;

}  // namespace orbel
