#include "tools/pcm_stream.h"

#include "tools/player_stream.h"
#include "tools/speech_codec.h"

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
      *block = {AsBytes(player_.Decode(unit)), *FixedForm(), unit.position, unit.codedBytes};
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

// Samples through the codec's own table, for formats that a player does not have.
class CodecPcm final : public PcmStream {
 public:
  explicit CodecPcm(std::unique_ptr<CodedInput> input)
      : input_(std::move(input)),
        codec_(*FindFormat(input_->Form().format), SpeechCodec::Direction::kDecode, false,
               input_->Form().name) {}

  const StreamInput& Input() const override { return *input_; }

  bool Next(PcmBlock* block) override {
    Unit unit;
    if (!input_->Next(&unit)) return false;
    const auto pcm = codec_.Decode({unit.data, static_cast<size_t>(unit.size)}, unit.position);
    *block = {AsBytes(pcm.first(unit.pcmSamples)), *FixedForm(), unit.position, unit.codedBytes};
    return true;
  }

  std::optional<PcmForm> FixedForm() const override { return PcmForm{input_->Form().rate, 1, 0}; }

 private:
  std::unique_ptr<CodedInput> input_;
  SpeechCodec codec_;
};

}  // namespace

std::unique_ptr<PcmStream> MakePcmStream(OpenedInput input) {
  if (input.sound) return std::move(input.sound);
  if (input.samples->Form().formatId == 0)
    return std::make_unique<CodecPcm>(std::move(input.samples));
  return std::make_unique<PlayerPcm>(std::move(input.samples));
}

}  // namespace orbel::tool
