#include "aac/elements.h"

#include <cstring>

#include "aac/crc.h"
#include "aac/individual_channel_stream.h"
#include "aac/long_term_prediction.h"

namespace orbel {
namespace {

int32_t Read(BitReader* reader, int32_t count) {
  return static_cast<int32_t>(FastGetBits(reader, count));
}

// What ics_info() says of the first channel holds for the second one too, but
// for the long-term prediction.
void CopyIcsInfo(const IndividualChannelStream& from, IndividualChannelStream* to) {
  to->ics_reserved_bit = from.ics_reserved_bit;
  to->window_sequence = from.window_sequence;
  to->window_shape = from.window_shape;
  to->max_sfb = from.max_sfb;
  std::memcpy(to->scale_factor_grouping, from.scale_factor_grouping,
              sizeof from.scale_factor_grouping);
  to->num_window_groups = from.num_window_groups;
  std::memcpy(to->window_group_length, from.window_group_length, sizeof from.window_group_length);
  to->numWindows = from.numWindows;
  to->predictor_data_present = from.predictor_data_present;
  to->predictor_reset = from.predictor_reset;
  to->predictor_reset_group_number = from.predictor_reset_group_number;
  std::memcpy(to->prediction_used, from.prediction_used, sizeof from.prediction_used);
  to->ltp_data_present = 0;
}

void ParseMask(ChannelPairElement* element, BitReader* reader) {
  element->ms_mask_present = Read(reader, 2);
  if (element->ms_mask_present != 1) return;
  const IndividualChannelStream& ics = element->stream[0];
  for (int32_t g = 0; g < ics.num_window_groups; ++g)
    for (int32_t b = 0; b < ics.max_sfb; ++b) element->ms_used[g][b] = Read(reader, 1);
}

}  // namespace

int32_t SingleChannelElementParse(SingleChannelElement* element, BitReader* reader,
                                  int32_t objectType) {
  const uint32_t start = GetBitPosition(*reader);
  element->element_instance_tag = Read(reader, 4);
  if (IndividualChannelStreamParse(&element->stream, reader, false, objectType) != 0) return -1;
  if (element->crcEnabled != 0)
    element->crcValue =
        static_cast<int32_t>(CrcOverBits(static_cast<uint32_t>(element->crcValue), *reader, start,
                                         GetBitPosition(*reader), kCrcElementBits));
  return 0;
}

int32_t ChannelPairElementParse(ChannelPairElement* element, BitReader* reader,
                                int32_t objectType) {
  const uint32_t start = GetBitPosition(*reader);
  element->element_instance_tag = Read(reader, 4);
  element->common_window = Read(reader, 1);
  const bool common = element->common_window != 0;
  element->ms_mask_present = 0;
  if (common) {
    IndividualChannelStream* second = &element->stream[1];
    if (IcsInfoParse(&element->stream[0], reader, objectType) != 0) return -1;
    CopyIcsInfo(element->stream[0], second);
    if (objectType == kObjectLtp && second->window_sequence != kEightShort &&
        second->predictor_data_present != 0) {
      second->ltp_data_present = Read(reader, 1);
      if (second->ltp_data_present != 0) LtpDataParse(second, reader);
    }
    ParseMask(element, reader);
  }
  if (IndividualChannelStreamParse(&element->stream[0], reader, common, objectType) != 0) return -1;
  const uint32_t middle = GetBitPosition(*reader);
  if (IndividualChannelStreamParse(&element->stream[1], reader, common, objectType) != 0) return -1;
  if (element->crcEnabled != 0) {
    const uint32_t end = GetBitPosition(*reader);
    const uint32_t first =
        CrcOverBits(static_cast<uint32_t>(element->crcValue), *reader, start, end, kCrcElementBits);
    element->crcValue =
        static_cast<int32_t>(CrcOverBits(first, *reader, middle, end, kCrcSecondChannelBits));
  }
  return 0;
}

void DataStreamElementParse(BitReader* reader) {
  Read(reader, 4);  // element_instance_tag
  const bool aligned = Read(reader, 1) != 0;
  int32_t count = Read(reader, 8);
  if (count == 255) count += Read(reader, 8);
  if (aligned) ByteAlign(reader);
  for (int32_t i = 0; i < count; ++i) Read(reader, 8);
}

}  // namespace orbel
