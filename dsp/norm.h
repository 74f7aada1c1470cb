// Normalisation and the base-2 logarithm of fixed-point speech coding (ITU-T G.729).
// Inline, for the speech codecs; no level's file may include this.
#pragma once

#include <bit>
#include <cstdint>

namespace orbel {

// The left shift that brings the top bit of a positive value to bit 30.
inline int32_t Norm(int32_t value) { return std::countl_zero(static_cast<uint32_t>(value)) - 1; }

// log2(1 + i/32) with 15 fraction bits: the table `tablog` of G.729.
inline constexpr int16_t kLog2Table[33] = {
    0,     1455,  2866,  4236,  5568,  6863,  8124,  9352,  10549, 11716, 12855,
    13967, 15054, 16117, 17156, 18172, 19167, 20142, 21097, 22033, 22951, 23852,
    24735, 25603, 26455, 27291, 28113, 28922, 29716, 30497, 31266, 32023, 32767,
};

struct Logarithm {
  int32_t exponent;  // whole part, 0 to 30
  int32_t fraction;  // 15 bits
};

// Base-2 logarithm; 0 for values below 1. Interpolates between two rows of the
// table and cuts what lies below 15 fraction bits.
inline Logarithm Log2(int32_t value) {
  if (value <= 0) return {0, 0};
  const int32_t shift = Norm(value);
  const uint32_t normalised = static_cast<uint32_t>(value) << shift;
  const int32_t row = static_cast<int32_t>(normalised >> 25) - 32;
  const int32_t between = static_cast<int32_t>(normalised >> 10 & 0x7FFF);
  const int32_t step = kLog2Table[row + 1] - kLog2Table[row];
  const int32_t fraction = (kLog2Table[row] * 65536 + 2 * step * between) >> 16;
  return {30 - shift, fraction};
}

}  // namespace orbel
