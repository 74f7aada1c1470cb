#include "als/als_crc.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "dsp/dispatch.h"

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

// Where the processor multiplies polynomials, 16 bytes are brought in front of those
// that stand some way behind them by two products. Bits are reflected: the first is
// the highest power.
typedef long long Polynomial __attribute__((vector_size(16)));

constexpr uint64_t kBlock = 16;
constexpr uint64_t kStep = 4 * kBlock;

// x^power modulo the polynomial, with the bit more that a reflected product lacks.
constexpr long long PowerOfX(uint64_t power) {
  uint32_t value = 0x80000000U;
  for (; power > 0; --power) value = (value >> 1) ^ ((value & 1) != 0 ? kPolynomial : 0U);
  return static_cast<long long>(uint64_t{value} << 1);
}

// Factors of the first and the second half of 16 bytes, for a way of so many bytes.
constexpr Polynomial FactorsOver(uint64_t bytes) {
  return Polynomial{PowerOfX(8 * bytes + 32), PowerOfX(8 * bytes - 32)};
}

[[gnu::target("pclmul")]] Polynomial Moved(Polynomial block, Polynomial factors) {
  return __builtin_ia32_pclmulqdq128(block, factors, 0x00) ^
         __builtin_ia32_pclmulqdq128(block, factors, 0x11);
}

Polynomial LoadBlock(const uint8_t* bytes) {
  Polynomial block;
  std::memcpy(&block, bytes, sizeof block);
  return block;
}

// Puts 16 bytes into `rest` that do to a checksum of 0 what the first bytes do to
// `crc`. Returns how many those are; `size` is at least kStep.
[[gnu::target("pclmul")]] uint64_t Fold(uint32_t crc, const uint8_t* bytes, uint64_t size,
                                        uint8_t* rest) {
  constexpr Polynomial kOverStep = FactorsOver(kStep);
  constexpr Polynomial kOverBlock = FactorsOver(kBlock);
  Polynomial blocks[4];
  for (uint64_t i = 0; i < 4; ++i) blocks[i] = LoadBlock(bytes + i * kBlock);
  blocks[0] ^= Polynomial{static_cast<long long>(crc), 0};
  uint64_t done = kStep;
  for (; size - done >= kStep; done += kStep)
    for (uint64_t i = 0; i < 4; ++i)
      blocks[i] = Moved(blocks[i], kOverStep) ^ LoadBlock(bytes + done + i * kBlock);
  for (int i = 1; i < 4; ++i) blocks[i] ^= Moved(blocks[i - 1], kOverBlock);
  std::memcpy(rest, &blocks[3], sizeof blocks[3]);
  return done;
}

}  // namespace

uint32_t AlsCrc(uint32_t crc, const uint8_t* bytes, uint64_t size) {
  if (size >= kStep && dspTestFeatures(kDspPclmulqdq)) {
    uint8_t rest[kBlock];
    const uint64_t done = Fold(crc, bytes, size, rest);
    return AlsCrc(AlsCrc(0, rest, kBlock), bytes + done, size - done);
  }
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
