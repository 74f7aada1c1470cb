// The CRC of an ADTS frame: CRC-16 with the polynomial 0x8005, most significant
// bit first (ISO/IEC 13818-7, adts_error_check).
#pragma once

#include <cstdint>

#include "aac/bit_reader.h"

namespace orbel {

constexpr uint32_t kCrcStart = 0xFFFF;

// The bits of an element that count, from its first one behind the id, and
// those of the second channel of a pair.
constexpr uint32_t kCrcElementBits = 192;
constexpr uint32_t kCrcSecondChannelBits = 128;

// Runs `crc` over the bits from `position` to `end` of the reader's data, at
// most `limit` of them, and over as many zeros as are missing to `limit`.
uint32_t CrcOverBits(uint32_t crc, const BitReader& reader, uint32_t position, uint32_t end,
                     uint32_t limit);

}  // namespace orbel
