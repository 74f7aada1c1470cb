// AAC as raw access units, whatever container they came in.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tools/aac_codec.h"
#include "tools/aac_input.h"

namespace orbel::tool {

// The AudioSpecificConfig that says what the head does; empty where none of the
// channel configurations fits.
std::vector<uint8_t> ConfigOf(const AacHead& head);

// Finds the raw data block of frames, of which some end where only decoding tells.
class UnitCutter {
 public:
  struct Cut {
    std::span<const uint8_t> unit;  // empty: not found
    size_t taken = 0;               // bytes of the frame up to the unit's end
  };

  // For the stream that `head` tells of.
  void Open(const AacHead& head, const std::string& name);
  Cut Next(const AacFrame& frame);

 private:
  AacHead head_;
  std::string name_;
  AacCodec splitter_;
  bool splits_ = false;  // it is open
  std::vector<int16_t> unheard_;
};

// Whether one of the stream's first frames has parametric stereo: `first`, whose
// bytes must not be the input's own, and those behind it, without taking them. A
// pipe's writer is not kept waiting for long.
bool SendsParametricStereo(AacInput* input, const AacFrame& first);

}  // namespace orbel::tool
