#include "aac/coupling.h"

#include <algorithm>
#include <cmath>

#include "aac/crc.h"
#include "aac/individual_channel_stream.h"

namespace orbel {
namespace {

constexpr int32_t kBothChannels = 3;
constexpr int32_t kOnlyRight = 1;
constexpr int32_t kGainSlots = 2 * kMaxCoupledTargets;

int32_t Read(BitReader* reader, int32_t count) {
  return static_cast<int32_t>(FastGetBits(reader, count));
}

// By gain_element_scale: 2 to the power (k / 2^(3 - scale)).
constexpr float kGainSteps[4][8] = {
    {1.0F, 1.09050773F, 1.18920712F, 1.29683955F, 1.41421356F, 1.54221083F, 1.68179283F,
     1.83400809F},
    {1.0F, 1.18920712F, 1.41421356F, 1.68179283F},
    {1.0F, 1.41421356F},
    {1.0F},
};

float GainOf(int32_t value, bool hasSign, int32_t scale) {
  const int32_t magnitude = hasSign ? value >> 1 : value;
  const bool negative = hasSign && (value & 1) != 0;
  const int32_t depth = 3 - scale;
  const int32_t exponent = -magnitude >> depth;
  const int32_t step = -magnitude - exponent * (1 << depth);
  const float gain = std::ldexp(kGainSteps[scale][step], exponent);
  return negative ? -gain : gain;
}

void ParseTargets(CouplingInfo* info, BitReader* reader) {
  info->num_coupled_elements = Read(reader, 3);
  info->num_gain_element_lists = info->num_coupled_elements + 1;
  for (int32_t i = 0; i <= info->num_coupled_elements; ++i) {
    info->cc_target_is_cpe[i] = Read(reader, 1);
    info->cc_target_tag_select[i] = Read(reader, 4);
    info->cc_lr[i] = info->cc_target_is_cpe[i] != 0 ? Read(reader, 2) : 0;
    if (info->cc_lr[i] == kBothChannels) ++info->num_gain_element_lists;
  }
}

void ParseGainList(CouplingChannelElement* element, int32_t list, BitReader* reader) {
  const IndividualChannelStream& ics = element->stream;
  CodeCursor cursor = CursorOf(*reader);
  if (element->cgeFlags[list] != 0) {
    element->gainValues[list][0][0] = static_cast<int16_t>(ReadScaleFactorStep(&cursor, ics));
  } else {
    int32_t value = 0;
    for (int32_t g = 0; g < ics.num_window_groups; ++g)
      for (int32_t b = 0; b < ics.max_sfb; ++b) {
        if (ics.sfb_cb[g][b] != kZeroBook) value += ReadScaleFactorStep(&cursor, ics);
        element->gainValues[list][g][b] = static_cast<int16_t>(value);
      }
  }
  ReturnCursor(cursor, reader);
}

}  // namespace

int32_t CouplingChannelElementParse(CouplingChannelElement* element, CouplingInfo* info,
                                    BitReader* reader, int32_t objectType) {
  const uint32_t start = GetBitPosition(*reader);
  element->element_instance_tag = Read(reader, 4);
  info->ind_sw_cce_flag = Read(reader, 1);
  ParseTargets(info, reader);
  info->cc_domain = Read(reader, 1);
  info->gain_element_sign = Read(reader, 1);
  info->gain_element_scale = Read(reader, 2);
  IndividualChannelStream& ics = element->stream;
  if (IndividualChannelStreamParse(&ics, reader, false, objectType) != 0) return -1;
  info->numGroups = ics.num_window_groups;
  info->maxSfb = ics.max_sfb;
  for (int32_t g = 0; g < ics.num_window_groups; ++g)
    info->groupLength[g] = ics.window_group_length[g];
  info->swbOffset = BandOffsets(ics);
  element->cgeFlags[0] = 1;
  element->gainValues[0][0][0] = 0;
  for (int32_t list = 1; list < info->num_gain_element_lists; ++list) {
    element->cgeFlags[list] = info->ind_sw_cce_flag != 0 ? 1 : Read(reader, 1);
    ParseGainList(element, list, reader);
  }
  for (int32_t list = 0; list < info->num_gain_element_lists; ++list)
    info->cgeFlags[list] = element->cgeFlags[list];
  if (element->crcEnabled != 0)
    element->crcValue =
        static_cast<int32_t>(CrcOverBits(static_cast<uint32_t>(element->crcValue), *reader, start,
                                         GetBitPosition(*reader), kCrcElementBits));
  return 0;
}

void CouplingGainsCompute(const CouplingChannelElement& element, const CouplingInfo& info,
                          CouplingGains* gains) {
  const IndividualChannelStream& ics = element.stream;
  const bool hasSign = info.gain_element_sign != 0;
  const auto clear = [&](int32_t slot) {
    for (int32_t g = 0; g < ics.num_window_groups; ++g)
      std::fill_n(gains->gain[slot][g], ics.max_sfb, 0.0F);
  };
  int32_t slot = 0;
  for (int32_t list = 0; list < info.num_gain_element_lists; ++list) {
    // The step between slots looks at the flags by the list's number, not by the
    // target's: behind a target with both flags they are read one place off. Flags
    // that do not exist are 0, slots that do not exist nowhere; slots that are
    // stepped over mix nothing.
    const int32_t flags =
        list < kMaxCoupledTargets && list <= info.num_coupled_elements ? info.cc_lr[list] : 0;
    if (slot >= kGainSlots) return;
    const bool common = element.cgeFlags[list] != 0;
    const float commonGain =
        common ? GainOf(element.gainValues[list][0][0], hasSign, info.gain_element_scale) : 0.0F;
    for (int32_t g = 0; g < ics.num_window_groups; ++g)
      for (int32_t b = 0; b < ics.max_sfb; ++b) {
        float gain = 0.0F;
        if (ics.sfb_cb[g][b] != kZeroBook)
          gain = common ? commonGain
                        : GainOf(element.gainValues[list][g][b], hasSign, info.gain_element_scale);
        gains->gain[slot][g][b] = gain;
      }
    ++slot;
    if (flags != kBothChannels && slot < kGainSlots) clear(slot++);
  }
  while (slot < kGainSlots) clear(slot++);
}

namespace {

void Mix(const CouplingInfo& info, const float (*gain)[kMaxBands], const float* lines,
         float* target) {
  for (int32_t g = 0; g < info.numGroups; ++g)
    for (int32_t w = 0; w < info.groupLength[g]; ++w) {
      for (int32_t b = 0; b < info.maxSfb; ++b) {
        if (gain[g][b] == 0.0F) continue;
        for (int32_t i = info.swbOffset[b]; i < info.swbOffset[b + 1]; ++i)
          target[i] += gain[g][b] * lines[i];
      }
      lines += kShortLength;
      target += kShortLength;
    }
}

}  // namespace

void CouplingApply(const CouplingInfo& info, const CouplingGains& gains, const float* lines,
                   float (*spectra)[kFrameLength], int32_t channels) {
  for (int32_t t = 0; t <= info.num_coupled_elements; ++t) {
    int32_t channel = info.targetChannel[t];
    if (channel < 0) continue;
    const bool pair = info.cc_target_is_cpe[t] != 0;
    if (pair && info.cc_lr[t] == kOnlyRight) ++channel;
    if (channel < channels) Mix(info, gains.gain[2 * t], lines, spectra[channel]);
    if (pair && info.cc_lr[t] == kBothChannels && channel + 1 < channels)
      Mix(info, gains.gain[2 * t + 1], lines, spectra[channel + 1]);
  }
}

}  // namespace orbel
