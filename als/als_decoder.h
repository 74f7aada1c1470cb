// Lossless coding (ISO/IEC 14496-3, subpart 11): what the codec class asks of it.
// This version knows the format and does not decode it.
#pragma once

#include <cstdint>

#include "aac/bit_reader.h"

namespace orbel {

// ALSSpecificConfig.
struct AlsConfig {
  int32_t samplingFrequency;  // hertz
  int32_t channels;
  int32_t bitsPerSample;
  int32_t frameLength;  // samples
};

// Parses the configuration behind its magic word. Returns 0, or a negative value
// when the stream cannot be decoded.
int32_t AlsConfigParse(AlsConfig* config, BitReader* reader);

// Status of a request to decode: every lossless stream is refused with it.
constexpr int32_t kAlsUnsupported = 8;

}  // namespace orbel
