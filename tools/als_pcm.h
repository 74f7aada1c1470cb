// Lossless streams (MPEG-4 ALS) through the codec class: raw .als data, or raw
// access units of random-access units with a configuration of object type 36.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "aac/aac_decoder.h"
#include "als/als_config.h"
#include "tools/input_file.h"
#include "tools/pcm_stream.h"

namespace orbel::tool {

// True when the file stands at the configuration of raw .als data.
bool LooksLikeAls(InputFile* file);

class AlsPcm final : public PcmStream {
 public:
  // config: the AudioSpecificConfig of raw access units; empty for raw data. Throws
  // Failure.
  AlsPcm(std::unique_ptr<InputFile> file, std::span<const uint8_t> config);
  ~AlsPcm() override;

  const StreamInput& Input() const override;
  bool Next(PcmBlock* block) override;
  std::optional<PcmForm> FixedForm() const override { return form_; }
  void Tell(JsonLine* json, TextRows* text) const override;

 private:
  class AlsInput;

  void OpenDecoder(std::span<const uint8_t> config);
  UMC::Status Decode(std::span<const uint8_t> bytes, size_t* taken);
  bool IsWhole() const;
  int32_t Checksum() const;
  void Finish();

  std::unique_ptr<AlsInput> input_;
  AlsConfig config_ = {};
  PcmForm form_;
  std::unique_ptr<UMC::AACDecoder> decoder_;
  UMC::MediaData in_;
  UMC::AudioData out_;
  std::vector<uint8_t> room_;
  uint64_t samples_ = 0;  // per channel, so far
  uint64_t counted_ = 0;  // position up to which blocks have counted the coded bytes
  uint64_t badFrames_ = 0;
  int badInARow_ = 0;
  uint64_t firstBad_ = 0;
  bool good_ = false;  // a frame was
  bool finished_ = false;
};

}  // namespace orbel::tool
