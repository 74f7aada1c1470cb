#include "tools/aac_units.h"

#include <algorithm>

#include "tools/aac_layout.h"

namespace orbel::tool {
namespace {

// How many frames are looked at for parametric stereo, and how many without any
// band replication are believed to go on like that.
struct Patience {
  int frames;
  int plainFrames;
};
constexpr Patience kOfFiles = {64, 16};
constexpr Patience kOfPipes = {12, 4};

}  // namespace

std::vector<uint8_t> ConfigOf(const AacHead& head) {
  if (!head.config.empty()) return head.config;
  const int32_t configuration =
      head.channelConfiguration > 0 ? head.channelConfiguration : ConfigurationOf(head);
  if (configuration == 0) return {};
  return {static_cast<uint8_t>(head.objectType << 3 | head.rateIndex >> 1),
          static_cast<uint8_t>(head.rateIndex << 7 | configuration << 3)};
}

void UnitCutter::Open(const AacHead& head, const std::string& name) {
  head_ = head;
  name_ = name;
  splits_ = false;
}

UnitCutter::Cut UnitCutter::Next(const AacFrame& frame) {
  size_t end = frame.bytes.size();
  bool good = true;
  if (!frame.isExact) {
    if (!splits_) splitter_.Open(head_, {}, name_);
    splits_ = true;
    unheard_.resize(AacCodec::kMostSamples);
    const auto result = splitter_.Decode(frame.bytes, unheard_.data());
    end = result.taken;
    good = result.Good();
  }
  if (!good || end <= frame.headBytes) return {{}, end};
  return {frame.bytes.first(end).subspan(frame.headBytes), end};
}

bool SendsParametricStereo(AacInput* input, const AacFrame& first) {
  const std::string& name = input->Form().name;
  const Patience patience = input->Form().codedBytes ? kOfFiles : kOfPipes;
  AacHead head = input->Head();
  UnitCutter cutter;
  cutter.Open(head, name);
  head.config = ConfigOf(head);
  FrameTools tools = {};
  AacCodec codec;
  codec.CountTools(&tools);
  AacModes modes;
  modes.psLevel = 411;
  codec.Open(head, modes, name);
  std::vector<int16_t> unheard(AacCodec::kMostSamples);

  AacFrame frame = first;
  for (int i = 1; i <= patience.frames; ++i) {
    const auto cut = cutter.Next(frame);
    if (cut.taken == 0) return false;
    if (!cut.unit.empty()) codec.Decode(cut.unit, unheard.data());
    if (tools.psFrames > 0) return true;
    if (i >= patience.plainFrames && tools.sbrFrames == 0) return false;
    if (i == patience.frames) break;
    const uint64_t next = std::max(input->Position(), frame.position + cut.taken);
    if (!input->PeekFrame(next, &frame)) return false;
  }
  return false;
}

}  // namespace orbel::tool
