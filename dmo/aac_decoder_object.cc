#include "dmo/aac_decoder_object.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace orbel {
namespace {

constexpr uint32_t kTagAac = 255;
constexpr uint32_t kMostConfigBytes = 4;
constexpr uint32_t kOutputBytes = 102400;  // the most that one frame's PCM can be
constexpr uint32_t kOtherRate = 48000;
constexpr uint32_t kOfferedRates[] = {8000, 16000, 32000, 44100};
constexpr uint32_t kRateOffset = 4;  // of samples per second in a wave format block

constexpr int32_t kComplexSbr = 18;
constexpr int32_t kCoreRate = 1;
constexpr int32_t kReadSbr = 777;
constexpr int32_t kAllLayers = -1;

// Left of left and right, in place. Returns the bytes left over.
uint32_t KeepLeft(uint8_t* pcm, uint32_t bytes) {
  const uint32_t frames = bytes / 4;
  for (uint32_t i = 1; i < frames; ++i) std::memcpy(pcm + 2 * i, pcm + 4 * i, 2);
  return bytes / 2;
}

}  // namespace

HRESULT CreateAacDecoder(const GUID& iid, void** object) noexcept {
  auto* decoder = new (std::nothrow) Caacdecoder;
  if (decoder == nullptr) return E_OUTOFMEMORY;
  const HRESULT result = decoder->QueryInterface(iid, object);
  decoder->Release();
  return result;
}

constexpr MediaObjectBase::Traits Caacdecoder::kTraits = {
    IID_Iaacdecoder, DMO_STREAMF_WHOLE_SAMPLES | DMO_STREAMF_SINGLE_SAMPLE_PER_BUFFER, 1};

Caacdecoder::Caacdecoder() noexcept : MediaObjectBase(kTraits) {}

bool Caacdecoder::TakesTag(uint32_t tag) const noexcept { return tag == kTagAac; }

Caacdecoder::OutputForm Caacdecoder::OutputFor(const DMO_MEDIA_TYPE& input) const noexcept {
  uint32_t rate = 0;
  if (input.format != nullptr && input.formatSize >= kRateOffset + sizeof rate)
    std::memcpy(&rate, input.format + kRateOffset, sizeof rate);
  for (uint32_t offered : kOfferedRates)
    if (rate == offered) return {kOutputBytes, offered};
  return {kOutputBytes, kOtherRate};
}

// The configuration's length byte is not looked at here: the parser reads what it
// needs of the rest of the sample.
HRESULT Caacdecoder::Prepare(const uint8_t* data, uint32_t length) noexcept {
  if (!decoderTried_) {
    UMC::MediaData configuration;
    configuration.SetBufferPointer(const_cast<uint8_t*>(data) + 1, length - 1);
    configuration.SetDataSize(length - 1);
    UMC::AACDecoderParams params;
    params.data = &configuration;
    params.inputStreamType = UMC::kStreamUnits;
    params.sbrMode = kComplexSbr;
    params.sbrDownsample = kCoreRate;
    params.sbrSupportLevel = kReadSbr;
    params.layer = kAllLayers;
    const UMC::Status status = decoder_.Init(&params);
    if (status == UMC::UMC_ERR_ALLOC) return E_OUTOFMEMORY;  // the next input tries again
    decoderTried_ = true;
    decoderReady_ = status == UMC::UMC_OK;
  }
  return decoderReady_ ? S_OK : E_FAIL;
}

HRESULT Caacdecoder::Decode(const Input& input, uint8_t* output, uint32_t room,
                            uint32_t* used) noexcept {
  const uint32_t n = input.data[0];
  if (n == 0 || n > kMostConfigBytes || input.length <= n) return E_INVALIDARG;
  const uint32_t unitBytes = input.length - n - 1;
  UMC::MediaData unit;
  unit.SetBufferPointer(const_cast<uint8_t*>(input.data) + n + 1, unitBytes);
  unit.SetDataSize(unitBytes);
  // Buffers need no alignment and samples do: PCM for an odd address is made here.
  const bool odd = reinterpret_cast<uintptr_t>(output) % alignof(int16_t) != 0;
  uint8_t* samples = odd ? oddOutput_ : output;
  UMC::AudioData pcm;
  pcm.SetBufferPointer(samples, odd ? std::min<uint32_t>(room, sizeof oddOutput_) : room);
  if (decoder_.GetFrame(&unit, &pcm) != UMC::UMC_OK) return E_FAIL;
  auto bytes = static_cast<uint32_t>(pcm.GetDataSize());
  if (pcm.channels == 2) bytes = KeepLeft(samples, bytes);
  if (odd) std::memcpy(output, samples, bytes);
  *used = bytes;
  return S_OK;
}

}  // namespace orbel
