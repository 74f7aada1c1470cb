// The parse records of the syntactic elements of a raw data block, and their
// parsers (ISO/IEC 14496-3, subpart 4).
#pragma once

#include <cstdint>

#include "aac/bit_reader.h"
#include "aac/channel_stream.h"

namespace orbel {

// id_syn_ele
constexpr int32_t kIdSce = 0;
constexpr int32_t kIdCpe = 1;
constexpr int32_t kIdCce = 2;
constexpr int32_t kIdLfe = 3;
constexpr int32_t kIdDse = 4;
constexpr int32_t kIdPce = 5;
constexpr int32_t kIdFil = 6;
constexpr int32_t kIdEnd = 7;

// Single channel and low frequency elements.
struct SingleChannelElement {
  int32_t element_instance_tag;
  int32_t crcEnabled;
  int32_t crcValue;
  IndividualChannelStream stream;
};

// In ms_used: the second channel's noise is the first one's with the sign turned. Only
// ER BSAC has it.
constexpr int32_t kMsOpposite = 2;

struct ChannelPairElement {
  int32_t element_instance_tag;
  int32_t crcEnabled;
  int32_t crcValue;
  int32_t common_window;
  int32_t ms_mask_present;
  int32_t ms_used[kMaxWindows][kMaxBands];  // 0, 1, or for noise bands kMsOpposite
  IndividualChannelStream stream[2];
};

// Each returns 0, or -1 when the frame is bad. The reader may have passed the end
// of its data: the caller tests the position.
int32_t SingleChannelElementParse(SingleChannelElement* element, BitReader* reader,
                                  int32_t objectType);
int32_t ChannelPairElementParse(ChannelPairElement* element, BitReader* reader, int32_t objectType);
void DataStreamElementParse(BitReader* reader);

}  // namespace orbel
