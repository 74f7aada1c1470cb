#include "tools/stereo_mix.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "tools/aac_layout.h"

namespace orbel::tool {
namespace {

constexpr uint32_t kLeftSide = kBackLeft | kSideLeft | kFrontLeftOfCentre;
constexpr uint32_t kRightSide = kBackRight | kSideRight | kFrontRightOfCentre;
constexpr uint32_t kMiddle = kFrontCentre | kBackCentre;
constexpr float kMinus3Db = 0.70710678f;

float Share(uint32_t speaker, uint32_t front, uint32_t side) {
  if (speaker == front) return 1;
  return (speaker & (side | kMiddle)) != 0 ? kMinus3Db : 0;
}

}  // namespace

void StereoMix::Plan(const PcmForm& form) {
  form_ = form;
  left_.clear();
  right_.clear();
  uint32_t mask = form.mask;
  for (uint32_t channel = 0; channel < form.channels; ++channel) {
    const uint32_t speaker = mask & (~mask + 1);
    mask ^= speaker;
    const bool isKnown = speaker != 0;
    left_.push_back(isKnown ? Share(speaker, kFrontLeft, kLeftSide) : channel % 2 == 0 ? 1.f : 0.f);
    right_.push_back(isKnown            ? Share(speaker, kFrontRight, kRightSide)
                     : channel % 2 == 0 ? 0.f
                                        : 1.f);
  }
  const float most = std::max(std::accumulate(left_.begin(), left_.end(), 0.f),
                              std::accumulate(right_.begin(), right_.end(), 0.f));
  for (float& share : left_) share /= most;
  for (float& share : right_) share /= most;
}

std::span<const int16_t> StereoMix::Mix(const PcmBlock& block) {
  const std::span<const int16_t> pcm = sixteen_.Of(block.form.format, block.pcm);
  if (block.form.channels <= 2) return pcm;
  if (block.form != form_) Plan(block.form);
  const size_t channels = form_.channels;
  mixed_.resize(pcm.size() / channels * 2);
  const int16_t* from = pcm.data();
  for (size_t i = 0; i < mixed_.size(); i += 2, from += channels) {
    float left = 0;
    float right = 0;
    for (size_t c = 0; c < channels; ++c) {
      left += left_[c] * from[c];
      right += right_[c] * from[c];
    }
    mixed_[i] = static_cast<int16_t>(std::lrint(left));
    mixed_[i + 1] = static_cast<int16_t>(std::lrint(right));
  }
  return mixed_;
}

}  // namespace orbel::tool
