#include "tools/aac_codec.h"

#include "tools/failure.h"

namespace orbel::tool {

void AacCodec::Open(const AacHead& head, const AacModes& modes, const std::string& name) {
  UMC::MediaData config;
  UMC::AACDecoderParams params;
  params.sbrMode = modes.sbrMode;
  params.sbrDownsample = modes.sbrDownsample.value_or(0);
  params.sbrSupportLevel = 777;
  params.psSupportLevel = modes.psLevel;
  params.layer = modes.layers;
  if (!head.config.empty()) {
    config.SetBufferPointer(const_cast<uint8_t*>(head.config.data()), head.config.size());
    config.SetDataSize(head.config.size());
    params.data = &config;
    params.inputStreamType = UMC::kStreamUnits;
  }
  decoder_ = std::make_unique<UMC::AACDecoder>();
  UMC::Status status = decoder_->Init(&params);
  // Once more, since a configuration has a word in this too.
  if (status == UMC::UMC_OK && modes.sbrDownsample) status = decoder_->SetParams(&params);
  if (status != UMC::UMC_OK)
    throw FailureIn(name, "the decoder refuses the stream (status " + std::to_string(status) + ")");
  decoder_->CountTools(tools_);
}

AacCodec::Result AacCodec::Decode(std::span<const uint8_t> bytes, int16_t* room) {
  in_.SetBufferPointer(const_cast<uint8_t*>(bytes.data()), bytes.size());
  in_.SetDataSize(bytes.size());
  out_.SetBufferPointer(reinterpret_cast<uint8_t*>(room), kMostSamples * sizeof *room);
  in_.SetTime(-1.0, -1.0);
  Result result;
  result.status = decoder_->GetFrame(&in_, &out_);
  result.taken = bytes.size() - in_.GetDataSize();
  if (result.status != UMC::UMC_OK) return result;
  result.samples = out_.GetDataSize() / sizeof *room;
  result.rate = static_cast<uint32_t>(out_.sampleFrequency);
  result.channels = static_cast<uint32_t>(out_.channels);
  if (result.rate == 0 || result.channels == 0) result.samples = 0;
  return result;
}

bool AacCodec::HasReplication() {
  constexpr int32_t kWithReplication = 256;
  UMC::AudioCodecParams params;
  return decoder_ && decoder_->GetInfo(&params) == UMC::UMC_OK &&
         (params.level & kWithReplication) != 0;
}

}  // namespace orbel::tool
