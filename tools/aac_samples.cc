#include "tools/aac_samples.h"

#include <algorithm>
#include <iterator>

#include "tools/aac_layout.h"
#include "tools/failure.h"

namespace orbel::tool {
namespace {

constexpr size_t kMostConfigBytes = 4;
constexpr uint64_t kFrameSamples = 1024;

// A rateIndex of PlayerOpen for the rate. The player takes every other rate for
// 48000 Hz, which changes nothing but the speed of what it plays.
int32_t RateIndexOf(uint32_t rate) {
  switch (rate) {
    case 8000:
      return 24;
    case 16000:
      return 30;
    case 32000:
      return 36;
    case 44100:
      return 37;
    default:
      return 38;
  }
}

}  // namespace

AacSamples::AacSamples(std::unique_ptr<AacInput> input) : input_(std::move(input)) {
  form_ = input_->Form();
  const AacHead& head = input_->Head();
  cutter_.Open(head, form_.name);
  // Only a configuration makes the player put out the full band.
  if (head.doublesRate) form_.rate *= 2;
  config_ = ConfigOf(head);
  if (config_.empty() || config_.size() > kMostConfigBytes)
    throw FailureIn(form_.name,
                    "a player's samples hold up to 4 bytes of configuration, which are too few "
                    "for this stream; decode it without --player");
  form_.rateIndex = RateIndexOf(form_.rate);
  // The player keeps the left one of two channels, and leaves more as they are.
  form_.channels = std::max(ChannelsOf(head), 1u);
  if (form_.channels == 2) form_.channels = 1;
}

bool AacSamples::Next(Unit* unit) {
  for (AacFrame frame; input_->Next(&frame);) {
    if (frame.opens && !sample_.empty()) {
      input_->Note("another stream begins, which a player can't follow: stopped", frame.position);
      break;
    }
    const auto bytes = RawUnit(frame);
    if (bytes.empty()) continue;
    sample_.assign(1, static_cast<uint8_t>(config_.size()));
    sample_.insert(sample_.end(), config_.begin(), config_.end());
    sample_.insert(sample_.end(), bytes.begin(), bytes.end());
    *unit = {sample_.data(), static_cast<int32_t>(sample_.size()), frame.position, bytes.size(),
             kFrameSamples};
    return true;
  }
  notes_ = input_->Notes();
  return false;
}

// The frame's raw data block, without header; empty where its end is not found.
std::span<const uint8_t> AacSamples::RawUnit(const AacFrame& frame) {
  const auto cut = cutter_.Next(frame);
  const bool counts = input_->Took(cut.taken, !cut.unit.empty());
  return counts ? cut.unit : std::span<const uint8_t>();
}

// One element without any band, and the end of the block.
Unit AacSamples::Silence() {
  constexpr uint8_t kMono[] = {0x00, 0x00, 0x00, 0x07};
  constexpr uint8_t kPair[] = {0x20, 0, 0, 0, 0, 0, 0x0E};
  sample_.assign(1, static_cast<uint8_t>(config_.size()));
  sample_.insert(sample_.end(), config_.begin(), config_.end());
  if (input_->Head().channelConfiguration == 1)
    sample_.insert(sample_.end(), std::begin(kMono), std::end(kMono));
  else
    sample_.insert(sample_.end(), std::begin(kPair), std::end(kPair));
  return {sample_.data(), static_cast<int32_t>(sample_.size()), input_->Position(), 0,
          kFrameSamples};
}

}  // namespace orbel::tool
