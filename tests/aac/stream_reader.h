// Decodes the streams of tests/data/aac through the codec class.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "umc/status.h"

namespace orbel::aac_test {

struct Decoded {
  uint32_t rate = 0;
  size_t channels = 0;
  std::vector<int16_t> samples;  // interleaved, of the good frames
  size_t frames = 0;             // good ones
  size_t bad = 0;
  UMC::Status lastBad = UMC::UMC_OK;
};

struct Modes {
  int32_t sbrDownsample = 1;
  int32_t psLevel = 0;
};

std::vector<uint8_t> ReadBytes(const std::string& path);
std::string StreamPath(const std::string& file);

// Raw data blocks: of ADTS frames with one block each, or of units behind their
// lengths.
std::vector<std::vector<uint8_t>> CutAdts(const std::vector<uint8_t>& bytes);
std::vector<std::vector<uint8_t>> CutUnits(const std::vector<uint8_t>& bytes);

// A configuration made of an ADTS header and of the program config element at
// the start of its raw data block.
std::vector<uint8_t> ConfigOf(const std::vector<uint8_t>& adts);

// All bytes as one input; the decoder finds the frames.
Decoded DecodeWhole(std::vector<uint8_t> bytes, const Modes& modes = {});
Decoded DecodeUnits(const std::vector<std::vector<uint8_t>>& units, std::vector<uint8_t> config,
                    const Modes& modes = {});

}  // namespace orbel::aac_test
