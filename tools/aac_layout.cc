#include "tools/aac_layout.h"

#include <algorithm>
#include <bit>
#include <numeric>

namespace orbel::tool {
namespace {

using Speakers = std::vector<Speaker>;

// In the order of the elements (ISO/IEC 14496-3, channel configurations), which
// is the decoder's too.
Speakers OfConfiguration(int32_t configuration) {
  switch (configuration) {
    case 1:
      return {kFrontCentre};
    case 2:
      return {kFrontLeft, kFrontRight};
    case 3:
      return {kFrontCentre, kFrontLeft, kFrontRight};
    case 4:
      return {kFrontCentre, kFrontLeft, kFrontRight, kBackCentre};
    case 5:
      return {kFrontCentre, kFrontLeft, kFrontRight, kBackLeft, kBackRight};
    case 6:
      return {kFrontCentre, kFrontLeft, kFrontRight, kBackLeft, kBackRight, kLowFrequency};
    case 7:
      return {kFrontCentre, kFrontLeftOfCentre, kFrontRightOfCentre, kFrontLeft,
              kFrontRight,  kBackLeft,          kBackRight,          kLowFrequency};
    case 11:
      return {kFrontCentre, kFrontLeft,  kFrontRight,  kBackLeft,
              kBackRight,   kBackCentre, kLowFrequency};
    case 12:
      return {kFrontCentre, kFrontLeft, kFrontRight, kSideLeft,
              kSideRight,   kBackLeft,  kBackRight,  kLowFrequency};
    default:
      return {};
  }
}

// In the decoder's order: front from the centre outwards, side, back with its
// centre last, low frequency. Empty where a group has no usual meaning.
Speakers OfProgramConfig(const ProgramConfigElement& pce) {
  Speakers speakers;
  const auto add = [&](std::initializer_list<Speaker> more) {
    for (const Speaker speaker : more) speakers.push_back(speaker);
  };
  if (pce.num_front_channels % 2 == 1) add({kFrontCentre});
  if (pce.num_front_channels >= 4) add({kFrontLeftOfCentre, kFrontRightOfCentre});
  if (pce.num_front_channels >= 2) add({kFrontLeft, kFrontRight});
  if (pce.num_side_channels == 2) add({kSideLeft, kSideRight});
  if (pce.num_back_channels >= 4) add({kSideLeft, kSideRight});
  if (pce.num_back_channels >= 2) add({kBackLeft, kBackRight});
  if (pce.num_back_channels % 2 == 1) add({kBackCentre});
  if (pce.num_lfe_channels == 1) add({kLowFrequency});
  const int32_t channels =
      pce.num_front_channels + pce.num_side_channels + pce.num_back_channels + pce.num_lfe_channels;
  if (static_cast<size_t>(channels) != speakers.size()) return {};
  return speakers;
}

Speakers SpeakersOf(const AacHead& head) {
  return head.pce ? OfProgramConfig(*head.pce) : OfConfiguration(head.channelConfiguration);
}

uint32_t MaskOf(const Speakers& speakers) {
  return std::accumulate(speakers.begin(), speakers.end(), 0u,
                         [](uint32_t mask, Speaker speaker) { return mask | speaker; });
}

}  // namespace

Layout LayoutOf(const AacHead& head, size_t channels) {
  Speakers speakers = SpeakersOf(head);
  // Parametric stereo has made two of one.
  if (channels == 2 && speakers == Speakers{kFrontCentre}) speakers = {kFrontLeft, kFrontRight};
  Layout layout;
  layout.mask = MaskOf(speakers);
  if (speakers.size() != channels || static_cast<size_t>(std::popcount(layout.mask)) != channels)
    return {};
  std::vector<size_t> order(channels);
  std::iota(order.begin(), order.end(), 0);
  std::sort(order.begin(), order.end(),
            [&](size_t left, size_t right) { return speakers[left] < speakers[right]; });
  if (!std::is_sorted(order.begin(), order.end())) layout.wavOrder = order;
  return layout;
}

uint32_t ChannelsOf(const AacHead& head) { return static_cast<uint32_t>(SpeakersOf(head).size()); }

int32_t ConfigurationOf(const AacHead& head) {
  const Speakers speakers = SpeakersOf(head);
  for (int32_t configuration = 1; configuration <= 7; ++configuration)
    if (speakers == OfConfiguration(configuration)) return configuration;
  return 0;
}

std::string SpeakerNames(uint32_t mask) {
  constexpr const char* kNames[] = {"FL",  "FR",  "FC", "LFE", "BL", "BR",
                                    "FLC", "FRC", "BC", "SL",  "SR"};
  std::string names;
  for (size_t i = 0; i < std::size(kNames); ++i) {
    if ((mask >> i & 1) == 0) continue;
    if (!names.empty()) names += ' ';
    names += kNames[i];
  }
  return names;
}

}  // namespace orbel::tool
