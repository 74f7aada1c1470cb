// An ADTS file of tests/data/aac as samples of the decoder object: a length byte,
// the configuration, a raw access unit.
#pragma once

#include <cstdint>
#include <vector>

#include "aac/stream_reader.h"

namespace orbel {

inline std::vector<uint8_t> AacSample(const std::vector<uint8_t>& config,
                                      const std::vector<uint8_t>& unit) {
  std::vector<uint8_t> sample;
  sample.reserve(1 + config.size() + unit.size());
  sample.push_back(static_cast<uint8_t>(config.size()));
  sample.insert(sample.end(), config.begin(), config.end());
  sample.insert(sample.end(), unit.begin(), unit.end());
  return sample;
}

struct AacStream {
  explicit AacStream(const char* file) {
    const std::vector<uint8_t> bytes = aac_test::ReadBytes(aac_test::StreamPath(file));
    const uint32_t profile = bytes[2] >> 6u, index = bytes[2] >> 2u & 15u;
    const uint32_t channels = (bytes[2] & 1u) << 2 | bytes[3] >> 6u;
    const uint32_t fields = (profile + 1) << 11 | index << 7 | channels << 3;
    config = {static_cast<uint8_t>(fields >> 8), static_cast<uint8_t>(fields)};
    units = aac_test::CutAdts(bytes);
    want = aac_test::DecodeUnits(units, config);
    for (const std::vector<uint8_t>& unit : units) samples.push_back(AacSample(config, unit));
  }
  std::vector<uint8_t> config;
  std::vector<std::vector<uint8_t>> units;
  std::vector<std::vector<uint8_t>> samples;
  aac_test::Decoded want;  // by the codec class, all channels
};

}  // namespace orbel
