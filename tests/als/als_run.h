// Runs the codec class over lossless streams.
#pragma once

#include <cstdint>
#include <vector>

#include "aac/aac_decoder.h"

namespace orbel::als_test {

using Bytes = std::vector<uint8_t>;

struct Result {
  UMC::Status init = UMC::UMC_OK;
  UMC::Status fault = UMC::UMC_OK;  // of the first bad frame
  Bytes pcm;                        // silence for bad frames
  size_t frames = 0, bad = 0;
  int32_t checksum = 0;  // as the decoder has it: 0 unknown, 1 good, 2 bad
  int32_t bits = 0;      // of a sample, as the output says
  float seconds = 0;
  UMC::AudioCodecParams info;  // valid once a frame was decoded
};

// With an empty configuration the pieces make up one stream of `.als` data, else
// each is an access unit.
Result Decode(const std::vector<Bytes>& pieces, Bytes configuration = {},
              UMC::MemoryAllocator* allocator = nullptr);

}  // namespace orbel::als_test
