#include "tools/pcm_stream.h"

#include "tools/aac_pcm.h"
#include "tools/player_stream.h"

namespace orbel::tool {
namespace {

// Samples through a player.
class PlayerPcm final : public PcmStream {
 public:
  explicit PlayerPcm(std::unique_ptr<CodedInput> input)
      : input_(std::move(input)), player_(input_->Form(), PlayerStream::Mode::kDecode) {}

  const StreamInput& Input() const override { return *input_; }

  bool Next(PcmBlock* block) override {
    for (Unit unit; input_->Next(&unit);) {
      *block = {player_.Decode(unit), *FixedForm(), unit.position, unit.codedBytes};
      if (!block->pcm.empty()) return true;
      if (lost_++ == 0) firstLost_ = unit.position;
    }
    if (lost_ > 0)
      input_->Note("samples that gave no sound: " + std::to_string(lost_) + ", the first",
                   firstLost_);
    return false;
  }

  std::optional<PcmForm> FixedForm() const override {
    return PcmForm{input_->Form().rate, input_->Form().channels, 0};
  }

 private:
  std::unique_ptr<CodedInput> input_;
  PlayerStream player_;
  uint64_t lost_ = 0;
  uint64_t firstLost_ = 0;
};

}  // namespace

std::string PcmForm::Text() const {
  return std::to_string(rate) + " Hz, " + std::to_string(channels) +
         (channels == 1 ? " channel" : " channels");
}

std::unique_ptr<PcmStream> OpenPcmStream(const Options& options, size_t index) {
  OpenedInput opened = OpenInput(options, index);
  if (opened.samples) return std::make_unique<PlayerPcm>(std::move(opened.samples));
  return std::make_unique<AacPcm>(std::move(opened.frames), options);
}

}  // namespace orbel::tool
