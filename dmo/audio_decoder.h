// The media object that decodes telephony audio: G.711, G.726 and IMA ADPCM
// blocks of one size in, 16-bit mono PCM at 8000 Hz out.
#pragma once

#include "dmo/ima_adpcm.h"
#include "dmo/media_object_base.h"
#include "speech/speech_codec.h"

namespace orbel {

// The decoder's dispatch interface, which has no methods of its own.
inline constexpr GUID IID_Iaudiodecoder = {
    0x6a1f0c1e, 0x8b5d, 0x4f0e, {0x9c, 0x3e, 0x52, 0x77, 0x1d, 0xa0, 0xb4, 0x93}};

// A format that a codec table decodes.
struct SpeechFormat {
  uint16_t tag;
  const SpeechCodecFunctions* table;
  int32_t bitRate;
  uint32_t frameBytes;  // what one Decode takes at the most
  uint32_t pcmBytes;    // what one Decode gives at the most
};

HRESULT CreateAudioDecoder(const GUID& iid, void** object) noexcept;

class Caudiodecoder final : public MediaObjectBase {
 public:
  Caudiodecoder() noexcept;

 protected:
  bool TakesTag(uint32_t tag) const noexcept override;
  OutputForm OutputFor(const DMO_MEDIA_TYPE& input) const noexcept override;
  // The codec is chosen by the first input and stays for the object's life.
  HRESULT Prepare(const uint8_t* data, uint32_t length) noexcept override;
  HRESULT Decode(const Input& input, uint8_t* output, uint32_t room,
                 uint32_t* used) noexcept override;

 private:
  static const Traits kTraits;

  ~Caudiodecoder() override;

  HRESULT SetUpCodec() noexcept;
  void FreeBanks() noexcept;
  HRESULT DecodeSpeech(const Input& input, uint8_t* output, uint32_t room) noexcept;
  HRESULT DecodeAdpcm(const Input& input, uint8_t* output, uint32_t room) noexcept;

  const SpeechCodecFunctions* codecTable_ = nullptr;
  uint16_t formatTag_ = 0;
  const SpeechFormat* format_ = nullptr;  // that of the tag; empty for IMA ADPCM
  SpeechCodecInfo codecInfo_ = {};
  SpeechMemBank* banks_ = nullptr;
  void* codecHandle_ = nullptr;
  int32_t bankCount_ = 0;
  int32_t outputSizeHint_ = 0;
  bool codecTried_ = false;
  bool codecReady_ = false;
  ImaAdpcmState adpcm_ = {};
  bool adpcmStarted_ = false;
};

}  // namespace orbel
