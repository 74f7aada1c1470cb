#include "als/als_crc.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace orbel {
namespace {

constexpr uint32_t kPolynomial = 0xEDB88320U;
constexpr int kSlices = 16;
constexpr uint64_t kChunk = 1536;  // a multiple of every sample width

using Table = std::array<std::array<uint32_t, 256>, kSlices>;

// Row n: what a byte does to the checksum when n more follow it.
constexpr Table MakeTable() {
  Table table = {};
  for (uint32_t byte = 0; byte < 256; ++byte) {
    uint32_t value = byte;
    for (int bit = 0; bit < 8; ++bit) value = (value >> 1) ^ ((value & 1) != 0 ? kPolynomial : 0U);
    table[0][byte] = value;
  }
  for (size_t slice = 1; slice < kSlices; ++slice)
    for (size_t byte = 0; byte < 256; ++byte) {
      const uint32_t value = table[slice - 1][byte];
      table[slice][byte] = (value >> 8) ^ table[0][value & 0xFF];
    }
  return table;
}

constexpr Table kTable = MakeTable();

}  // namespace

uint32_t AlsCrc(uint32_t crc, const uint8_t* bytes, uint64_t size) {
  for (; size >= kSlices; bytes += kSlices, size -= kSlices) {
    uint64_t words[2];
    std::memcpy(words, bytes, sizeof words);
    words[0] ^= crc;
    crc = 0;
    // Those that wait for the checksum so far come last.
    for (int i = kSlices - 1; i >= 0; --i)
      crc ^= kTable[kSlices - 1 - i][words[i / 8] >> (8 * (i % 8)) & 0xFF];
  }
  for (; size > 0; ++bytes, --size) crc = (crc >> 8) ^ kTable[0][(crc ^ *bytes) & 0xFF];
  return crc;
}

uint32_t AlsCrcSwapped(uint32_t crc, const uint8_t* bytes, uint64_t size, int32_t width) {
  uint8_t swapped[kChunk] = {};
  while (size > 0) {
    const uint64_t count = std::min(size, kChunk);
    for (uint64_t i = 0; i < count; i += static_cast<uint64_t>(width))
      std::reverse_copy(bytes + i, bytes + i + width, swapped + i);
    crc = AlsCrc(crc, swapped, count);
    bytes += count;
    size -= count;
  }
  return crc;
}

}  // namespace orbel
