// The frame decoder without the codec class, so that its records can be looked at.
#pragma once

#include <cstdint>
#include <vector>

#include "aac/aac_writer.h"
#include "aac/state.h"

namespace orbel::aac_test {

class RecordDecoder {
 public:
  RecordDecoder(int objectType, int samplingIndex, int channels);

  // From exactly these bytes; what was decoded is then in `pcm`.
  int32_t Frame(const std::vector<uint8_t>& frame);

  // Of two channels, or of one.
  const IndividualChannelStream& Stream(int c) const;
  // The last frame's element, as it would be written.
  Element Last() const;

  std::vector<int16_t> pcm;

 private:
  std::vector<uint64_t> block_, tool_;

 public:
  AACDecoderState* state;
};

}  // namespace orbel::aac_test
