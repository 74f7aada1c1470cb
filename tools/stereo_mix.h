// Sound of any number of channels and any format for two loudspeakers.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "tools/pcm_block.h"

namespace orbel::tool {

// One or two channels pass as they are. Of more, the front ones go to their side,
// all others and the centre at -3 dB, and the low frequencies are left out; the
// whole is scaled so that nothing clips. With no known loudspeakers, channels go
// to the left and the right in turn. The result has 16 bits and is valid until the
// next call.
class StereoMix {
 public:
  std::span<const int16_t> Mix(const PcmBlock& block);
  static uint32_t Channels(const PcmForm& form) { return form.channels < 2 ? 1 : 2; }

 private:
  void Plan(const PcmForm& form);

  PcmForm form_;
  std::vector<float> left_;  // by channel
  std::vector<float> right_;
  SixteenBits sixteen_;
  std::vector<int16_t> mixed_;
};

}  // namespace orbel::tool
