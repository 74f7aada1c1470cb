// The checksum of a stream's samples: CRC-32 as everywhere (reflected polynomial
// 0xEDB88320).
#pragma once

#include <cstdint>

namespace orbel {

constexpr uint32_t kAlsCrcStart = 0xFFFFFFFFU;

// Goes on from `crc` over `size` bytes. The checksum itself is the inverse.
uint32_t AlsCrc(uint32_t crc, const uint8_t* bytes, uint64_t size);

// The same over samples of `width` bytes (1 to 4), each the other way round.
uint32_t AlsCrcSwapped(uint32_t crc, const uint8_t* bytes, uint64_t size, int32_t width);

}  // namespace orbel
