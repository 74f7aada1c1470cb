// The media object that decodes the AAC family: samples that carry their
// configuration in front of one access unit in, 16-bit mono PCM out.
#pragma once

#include "aac/aac_decoder.h"
#include "dmo/media_object_base.h"

namespace orbel {

// The decoder's dispatch interface, which has no methods of its own.
inline constexpr GUID IID_Iaacdecoder = {
    0xd27b5f43, 0x0c6e, 0x4a52, {0xb1, 0x0d, 0x3f, 0x85, 0xe6, 0x19, 0x74, 0x2c}};

HRESULT CreateAacDecoder(const GUID& iid, void** object) noexcept;

// One sample is a byte n from 1 to 4, n bytes of AudioSpecificConfig and a raw
// access unit. The first sample sets the decoder up, and for good: later
// configurations are stepped over. Of two channels the left one is kept; more
// than two are passed through as they are.
class Caacdecoder final : public MediaObjectBase {
 public:
  Caacdecoder() noexcept;

 protected:
  bool TakesTag(uint32_t tag) const noexcept override;
  OutputForm OutputFor(const DMO_MEDIA_TYPE& input) const noexcept override;
  HRESULT Prepare(const uint8_t* data, uint32_t length) noexcept override;
  HRESULT Decode(const Input& input, uint8_t* output, uint32_t room,
                 uint32_t* used) noexcept override;

 private:
  static const Traits kTraits;

  // 10 channels of 2048 samples.
  static constexpr uint32_t kMostFrameBytes = 10 * 2048 * sizeof(int16_t);

  ~Caacdecoder() override = default;

  UMC::AACDecoder decoder_;
  bool decoderTried_ = false;
  bool decoderReady_ = false;
  alignas(2) uint8_t oddOutput_[kMostFrameBytes];
};

}  // namespace orbel
