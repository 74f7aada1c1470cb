// Normalisation and base-2 logarithm of 32-bit values (ITU-T G.729).
#pragma once

#include <bit>
#include <cstdint>

#include "dsp/tables.h"

namespace orbel {

// Left shifts that bring the top bit of a positive value to bit 30; 0 for 0. A
// negative value is shifted as its ones' complement is; -1 gives 31.
inline int32_t Norm(int32_t value) noexcept {
  if (value == 0) return 0;
  const auto bits = static_cast<uint32_t>(value < 0 ? ~value : value);
  return bits == 0 ? 31 : std::countl_zero(bits) - 1;
}

// log2 of a positive value: `exponent` is its integer part, `fraction` has 15
// bits. Both are 0 for a value of 0 or less.
struct Log2Result {
  int16_t exponent;
  int16_t fraction;
};
inline Log2Result Log2(int32_t value) noexcept {
  if (value <= 0) return {0, 0};
  const int32_t norm = Norm(value);
  const int32_t normal = value << norm;
  const int32_t row = (normal >> 25) - 32;
  const int32_t between = (normal >> 10) & 32767;
  const int32_t low = kLogTable[row];
  const int32_t step = kLogTable[row + 1] - low;
  return {static_cast<int16_t>(30 - norm),
          static_cast<int16_t>((low * 65536 + 2 * step * between) >> 16)};
}

}  // namespace orbel
