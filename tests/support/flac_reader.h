// Reference PCM, kept as FLAC.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace orbel {

struct ReferencePcm {
  uint32_t rate = 0;
  size_t channels = 0;
  std::vector<int16_t> samples;  // interleaved; empty when the file can't be read
};

ReferencePcm ReadFlac(const std::string& path);

}  // namespace orbel
