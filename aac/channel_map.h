// Which place in the output each element of a frame takes: from a program config
// element, or from the channel configuration of ISO/IEC 14496-3, subpart 1.
#pragma once

#include <cstdint>

#include "aac/stream_headers.h"

namespace orbel {

constexpr int32_t kMaxMapEntries = 10;
constexpr int32_t kMaxOutputChannels = 10;

// An element's place, a sort key: the front centre 0, other front channels from 1
// up, side channels from 32, back channels from 64, a back centre 95, low
// frequency channels from 96.
struct ElementMapEntry {
  int16_t id;
  int16_t tag;
  int16_t position;
  int16_t count;  // entries of the map; in its first entry only
};

// One element of a frame that has channels.
struct FrameElementEntry {
  int16_t id;
  int16_t key;  // element_instance_tag plus 16 for each earlier one with the same id and tag
  int16_t channel;
};

// Both return 0, or -1 when there is no such layout.
int32_t BuildMapFromPce(const ProgramConfigElement& pce, ElementMapEntry map[kMaxMapEntries]);
int32_t BuildMapFromConfiguration(int32_t channelConfiguration, const FrameElementEntry* entries,
                                  int32_t count, ElementMapEntry map[kMaxMapEntries]);

// Puts the channels of the frame's elements into output order. Elements that are
// not in the map are left out. Returns the number of channels.
int32_t ApplyMap(const ElementMapEntry map[kMaxMapEntries], const FrameElementEntry* entries,
                 int32_t count, int32_t* channelOrder);

}  // namespace orbel
