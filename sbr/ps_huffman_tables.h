// The Huffman codebooks of parametric stereo (ISO/IEC 14496-3, subpart 8), as the
// standard prints them.
#pragma once

#include <cstdint>

namespace orbel {

struct PsHuffmanCode {
  uint8_t length;
  uint32_t word;  // right-justified, sent most significant bit first
};

// Row i stands for a difference of i - offset.
struct PsHuffmanBook {
  const PsHuffmanCode* codes;
  int32_t count;
  int32_t offset;
};

// Each pair: differences over frequency, then over time.
constexpr int32_t kPsBookIidDefault = 0;
constexpr int32_t kPsBookIidFine = 2;
constexpr int32_t kPsBookIcc = 4;
constexpr int32_t kPsBookIpd = 6;
constexpr int32_t kPsBookOpd = 8;
constexpr int32_t kPsBookCount = 10;
extern const PsHuffmanBook kPsHuffmanBooks[kPsBookCount];

}  // namespace orbel
