// Packing of G.726 codes: in sample order from bit 0 of the first byte upward,
// each code with its least significant bit first, across byte borders as they
// fall. Eight codes of n bits fill n bytes exactly; that is a block.
#pragma once

#include <cstdint>

namespace orbel {

inline constexpr int32_t kG726BlockSamples = 8;

// `blocks` blocks of codes, one code a byte, into blocks * bitsPerCode bytes, and
// back. bitsPerCode is 2 to 5; any other does nothing. Packing takes the low
// bits of each byte, unpacking leaves the others 0. Neither touches a byte
// beyond those counted.
void G726Pack(int32_t bitsPerCode, const uint8_t* codes, uint8_t* packed, int32_t blocks);
void G726Unpack(int32_t bitsPerCode, const uint8_t* packed, uint8_t* codes, int32_t blocks);

}  // namespace orbel
