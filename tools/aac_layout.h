// Which loudspeaker each channel of an AAC stream belongs to.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/aac_input.h"

namespace orbel::tool {

// The bits are those of a WAV file's channel mask.
enum Speaker : uint32_t {
  kFrontLeft = 0x1,
  kFrontRight = 0x2,
  kFrontCentre = 0x4,
  kLowFrequency = 0x8,
  kBackLeft = 0x10,
  kBackRight = 0x20,
  kFrontLeftOfCentre = 0x40,
  kFrontRightOfCentre = 0x80,
  kBackCentre = 0x100,
  kSideLeft = 0x200,
  kSideRight = 0x400,
};

struct Layout {
  uint32_t mask = 0;             // 0: not known
  std::vector<size_t> wavOrder;  // the decoder's channels in the order of the mask; empty: as it is
};

// Of `channels` channels that the decoder has put out.
Layout LayoutOf(const AacHead& head, size_t channels);

// How many channels the head tells of; 0 if that is not known.
uint32_t ChannelsOf(const AacHead& head);

// The channel configuration, 1 to 7, that says the same as the head's program
// config element; 0 for none.
int32_t ConfigurationOf(const AacHead& head);

// "FL FR FC LFE BL BR"; empty for mask 0.
std::string SpeakerNames(uint32_t mask);

}  // namespace orbel::tool
