#include "tools/aac_codec.h"

#include "tools/failure.h"

namespace orbel::tool {

void AacCodec::Open(const AacHead& head, const std::string& name) {
  UMC::MediaData config;
  UMC::AACDecoderParams params;
  params.sbrMode = 18;
  params.sbrDownsample = 0;
  params.sbrSupportLevel = 777;
  params.layer = -1;
  if (!head.config.empty()) {
    config.SetBufferPointer(const_cast<uint8_t*>(head.config.data()), head.config.size());
    config.SetDataSize(head.config.size());
    params.data = &config;
    params.inputStreamType = UMC::kStreamUnits;
  }
  decoder_ = std::make_unique<UMC::AACDecoder>();
  const UMC::Status status = decoder_->Init(&params);
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

}  // namespace orbel::tool
