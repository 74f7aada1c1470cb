// The Huffman codebooks of ISO/IEC 14496-3, subpart 4, as the standard prints them.
#pragma once

#include <cstdint>

namespace orbel {

struct HuffmanCode {
  uint8_t length;
  uint32_t word;  // right-justified, sent most significant bit first
};

// Row i stands for a difference of i - 60.
constexpr int32_t kScaleFactorCodeCount = 121;
extern const HuffmanCode kScaleFactorCodes[kScaleFactorCodeCount];

// Row i stands for `dimension` values: the digits of i, the first value's on top, to the
// base largest + 1, or, in a signed book, to the base 2 * largest + 1 and less `largest`.
// Behind a word of an unsigned book stands a sign bit for each value that is not 0, in
// their order; 1 means negative. 16 in book 11 announces an escape sequence.
struct SpectrumBook {
  const HuffmanCode* codes;
  int32_t count;
  int32_t dimension;  // 4 or 2
  int32_t largest;    // magnitude
  bool isSigned;
};

constexpr int32_t kSpectrumBookCount = 12;  // book 0 has no codes
extern const SpectrumBook kSpectrumBooks[kSpectrumBookCount];

}  // namespace orbel
