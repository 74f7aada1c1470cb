#include "aac/crc.h"

#include <algorithm>
#include <array>

namespace orbel {
namespace {

constexpr uint32_t kPolynomial = 0x8005;

constexpr uint32_t ShiftBits(uint32_t crc, uint32_t bits, int32_t count) {
  for (int32_t i = count - 1; i >= 0; --i) {
    const uint32_t feedback = (crc >> 15 ^ bits >> i) & 1;
    crc = (crc << 1 & 0xFFFF) ^ (feedback != 0 ? kPolynomial : 0);
  }
  return crc;
}

constexpr std::array<uint16_t, 256> MakeTable() {
  std::array<uint16_t, 256> table{};
  for (uint32_t i = 0; i < 256; ++i) table[i] = static_cast<uint16_t>(ShiftBits(i << 8, 0, 8));
  return table;
}

constexpr std::array<uint16_t, 256> kTable = MakeTable();

uint32_t ShiftByte(uint32_t crc, uint32_t byte) {
  return (crc << 8 & 0xFFFF) ^ kTable[(crc >> 8 ^ byte) & 0xFF];
}

}  // namespace

uint32_t CrcOverBits(uint32_t crc, const BitReader& reader, uint32_t position, uint32_t end,
                     uint32_t limit) {
  BitReader bits = reader;
  SetBitPosition(&bits, position);
  const uint32_t present = std::min(end - position, limit);
  uint32_t left = present;
  for (; left >= 8; left -= 8) crc = ShiftByte(crc, FastGetBits(&bits, 8));
  if (left > 0) {
    const auto count = static_cast<int32_t>(left);
    crc = ShiftBits(crc, FastGetBits(&bits, count), count);
  }
  uint32_t missing = limit - present;
  for (; missing >= 8; missing -= 8) crc = ShiftByte(crc, 0);
  return ShiftBits(crc, 0, static_cast<int32_t>(missing));
}

}  // namespace orbel
