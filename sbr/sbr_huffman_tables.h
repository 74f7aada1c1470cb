// The Huffman books of band replication of ISO/IEC 14496-3, subpart 4, as the
// standard prints them.
#pragma once

#include <cstdint>

namespace orbel {

struct SbrHuffmanCode {
  uint8_t length;
  uint32_t word;  // right-justified, sent most significant bit first
};

// Row i stands for the difference i - largest; there are 2 * largest + 1 rows.
struct SbrHuffmanBook {
  const SbrHuffmanCode* codes;
  int32_t largest;
};

// Places of the books in kSbrHuffmanBooks and SbrElement::huffTables. A book for the
// frequency direction follows its partner for the time direction; noise takes the
// 3 dB books of envelopes in the frequency direction.
enum SbrBook : int32_t {
  kBookEnv15,
  kBookEnvBalance15 = 2,
  kBookEnv30 = 4,
  kBookEnvBalance30 = 6,
  kBookNoise30 = 8,
  kBookNoiseBalance30,
};

constexpr int32_t kSbrHuffmanBookCount = 10;
extern const SbrHuffmanBook kSbrHuffmanBooks[kSbrHuffmanBookCount];

}  // namespace orbel
