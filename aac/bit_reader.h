// The big-endian word reader that every bitstream parser of the AAC family uses.
//
// The words are those of memory's own grid of four bytes, but no byte outside
// the given ones is ever read: bits behind the end are zeros and the position
// counts on, so that a parser finds out afterwards by comparing GetBitPosition
// with the size. Nothing here fails.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace orbel {

// The most bytes that a reader takes; what lies behind reads as zeros.
constexpr int32_t kMaxReaderBytes = 1 << 27;

struct BitReader {
  const uint8_t* start;  // the data pointer rounded down to a multiple of 4
  uint32_t reserved;
  int32_t sizeBytes;
  int32_t startBits;     // bits of the first word that belong to the data
  int32_t bitsLeft;      // unread bits of the current word, 1 to 32
  uint32_t currentWord;  // in host order; what FastGetBits reads from
  const uint8_t* current;
  const uint8_t* lastWhole;  // no word that starts behind this lies whole in the data
};

// A word at the edge of the data, with zeros for the bytes that are not its own.
uint32_t LoadEdgeWord(const BitReader& reader, const uint8_t* at);

inline uint32_t LoadWholeWord(const uint8_t* at) {
  uint32_t word;
  std::memcpy(&word, at, sizeof word);
  return __builtin_bswap32(word);
}

// A word that is not the first one.
inline uint32_t LoadNextWord(const BitReader& reader, const uint8_t* at) {
  return __builtin_expect(at <= reader.lastWhole, 1) ? LoadWholeWord(at) : LoadEdgeWord(reader, at);
}

// `size` may be 0. The bytes are borrowed for as long as the reader is used.
void BitReaderInit(BitReader* reader, const uint8_t* data, size_t size);

// The next `count` bits, 1 to 32, the first one highest; for 0 what is left of the
// word, left-aligned, and nothing moves. GetBits reads memory
// and never touches currentWord; FastGetBits reads currentWord and keeps it up
// to date. A GetBits that crosses a word therefore leaves FastGetBits behind
// until RefreshWord.
uint32_t GetBits(BitReader* reader, int32_t count);

inline uint32_t FastGetBits(BitReader* reader, int32_t count) {
  const uint32_t held = reader->currentWord << ((32 - reader->bitsLeft) & 31);
  const int32_t left = reader->bitsLeft - count;
  if (left > 0) {
    reader->bitsLeft = left;
    return held >> ((32 - count) & 31);
  }
  reader->current += 4;
  reader->currentWord = LoadNextWord(*reader, reader->current);
  reader->bitsLeft = left + 32;
  const uint32_t value = held >> (32 - count);
  if (left == 0) return value;
  return value | (reader->currentWord >> (32 + left));
}

// Brings currentWord up to date after GetBits.
void RefreshWord(BitReader* reader);

// Bits read since the data pointer.
inline uint32_t GetBitPosition(const BitReader& reader) {
  return static_cast<uint32_t>(reader.current - reader.start) * 8 -
         static_cast<uint32_t>(reader.bitsLeft) + static_cast<uint32_t>(reader.startBits);
}

// Moves to a position in bits; both kinds of read go on from there.
void SetBitPosition(BitReader* reader, uint32_t position);

// Skips to the next byte boundary.
void ByteAlign(BitReader* reader);

inline void CopyBitReader(const BitReader& source, BitReader* destination) {
  *destination = source;
}

// The data as the primitives take it: a byte pointer, a bit offset from 0 to 7
// and the end of the bytes.
inline const uint8_t* ReaderData(const BitReader& reader) {
  return reader.start + (4 - reader.startBits / 8);
}
inline const uint8_t* ReaderEnd(const BitReader& reader) {
  return ReaderData(reader) + reader.sizeBytes;
}

}  // namespace orbel
