// AAC as a host of the Player sends it: each sample is a byte that tells the
// length of the configuration, the configuration, and one raw access unit.
#pragma once

#include <memory>
#include <vector>

#include "tools/aac_input.h"
#include "tools/aac_units.h"

namespace orbel::tool {

class AacSamples final : public CodedInput {
 public:
  // Throws Failure when no sample can be made of the input: its configuration
  // has more bytes than a sample holds.
  explicit AacSamples(std::unique_ptr<AacInput> input);

  bool Next(Unit* unit) override;
  Unit Silence() override;
  bool MayWait() const override { return input_->MayWait(); }
  bool IsSameFile(int descriptor) const override { return input_->IsSameFile(descriptor); }

 private:
  std::span<const uint8_t> RawUnit(const AacFrame& frame);

  std::unique_ptr<AacInput> input_;
  std::vector<uint8_t> config_;
  std::vector<uint8_t> sample_;
  UnitCutter cutter_;
};

}  // namespace orbel::tool
