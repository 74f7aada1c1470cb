#include "aac/bit_reader.h"

namespace orbel {
namespace {

constexpr uint32_t MaskOf(int32_t bits) { return bits == 32 ? 0xFFFFFFFFU : (1U << bits) - 1; }

uint32_t LoadWord(const BitReader& reader, const uint8_t* at) {
  if (at == reader.start) return LoadEdgeWord(reader, at);
  return LoadNextWord(reader, at);
}

}  // namespace

uint32_t LoadEdgeWord(const BitReader& reader, const uint8_t* at) {
  const ptrdiff_t first = at - ReaderData(reader);
  uint32_t word = 0;
  for (int i = 0; i < 4; ++i) {
    const ptrdiff_t index = first + i;
    const bool inside = index >= 0 && index < reader.sizeBytes;
    word = word << 8 | (inside ? ReaderData(reader)[index] : 0U);
  }
  return word;
}

void BitReaderInit(BitReader* reader, const uint8_t* data, size_t size) {
  static const uint8_t kNothing[4] = {};
  if (data == nullptr) {
    data = kNothing;
    size = 0;
  }
  const auto offset = static_cast<int32_t>(reinterpret_cast<uintptr_t>(data) & 3);
  reader->start = data - offset;
  reader->reserved = 0;
  reader->sizeBytes = size > kMaxReaderBytes ? kMaxReaderBytes : static_cast<int32_t>(size);
  reader->startBits = 32 - 8 * offset;
  reader->bitsLeft = reader->startBits;
  reader->current = reader->start;
  reader->lastWhole = data + reader->sizeBytes - 4;
  reader->currentWord = LoadEdgeWord(*reader, reader->start) & MaskOf(reader->bitsLeft);
}

uint32_t GetBits(BitReader* reader, int32_t count) {
  const uint32_t held = LoadWord(*reader, reader->current) << ((32 - reader->bitsLeft) & 31);
  const int32_t left = reader->bitsLeft - count;
  const uint32_t value = held >> ((32 - count) & 31);
  if (left > 0) {
    reader->bitsLeft = left;
    return value;
  }
  reader->current += 4;
  reader->bitsLeft = left + 32;
  if (left == 0) return value;
  return value | (LoadNextWord(*reader, reader->current) >> (32 + left));
}

void RefreshWord(BitReader* reader) { reader->currentWord = LoadWord(*reader, reader->current); }

void SetBitPosition(BitReader* reader, uint32_t position) {
  const uint32_t total = position + 32 - static_cast<uint32_t>(reader->startBits);
  reader->current = reader->start + static_cast<size_t>(total / 32) * 4;
  reader->bitsLeft = 32 - static_cast<int32_t>(total % 32);
  RefreshWord(reader);
}

void ByteAlign(BitReader* reader) {
  reader->bitsLeft -= reader->bitsLeft % 8;
  if (reader->bitsLeft != 0) return;
  reader->current += 4;
  reader->bitsLeft = 32;
  reader->currentWord = LoadNextWord(*reader, reader->current);
}

}  // namespace orbel
