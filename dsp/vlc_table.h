// Variable length codes: their description, and the look-up table that
// dspVlcInit makes of it. Data only; the level files include this.
#pragma once

#include <cstdint>

namespace orbel {

// One code of a description. Codes may stand in any order; together they have to
// be complete: every sequence of bits begins with exactly one of them.
struct DspVlcCode {
  uint32_t code;   // right-justified, sent most significant bit first
  int16_t length;  // bits, 1 to kDspVlcMaxLength
  int16_t value;   // what it decodes to
};

constexpr int32_t kDspVlcMaxLength = 24;
constexpr int32_t kDspVlcMaxLevels = 3;

// A step of the look-up. The leading bits of what is left of the stream choose a
// cell of a level; the cell ends the code or names the level that goes on.
struct DspVlcCell {
  int16_t value;   // of the code; with `more`, where the next level's cells begin (unsigned)
  uint8_t length;  // bits to take off
  uint8_t more;    // bits that choose a cell of the next level; 0: the code is complete
};

// The head of a table; the cells of the first level follow right behind it, then
// those of the others. Read-only once made, and may be shared by threads.
struct DspVlcTable {
  int32_t firstBits;  // bits that choose a cell of the first level
  int32_t maxLength;  // of the longest code
  int32_t cellCount;
  int32_t codesPerFill;  // how many codes any 56 bits hold, at most 4
};

}  // namespace orbel
