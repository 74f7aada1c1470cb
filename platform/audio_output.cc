#include "platform/audio_output.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

namespace orbel {
namespace {

constexpr int32_t kLevelSilent = -10000;
constexpr int32_t kChunkSamples = 1024;

}  // namespace

HRESULT CreateAudioOutput(const GUID& iid, void** object) noexcept {
  auto* output = new (std::nothrow) AudioOutput;
  if (output == nullptr) return E_OUTOFMEMORY;
  const HRESULT result = output->OpenDevice() ? output->QueryInterface(iid, object) : E_FAIL;
  output->Release();
  return result;
}

int32_t VolumeGain(int32_t level) noexcept {
  if (level <= kLevelSilent) return 0;
  return static_cast<int32_t>(std::lround(65536.0 * std::pow(10.0, std::min(level, 0) / 2000.0)));
}

HRESULT AudioOutput::QueryInterface(const GUID& iid, void** object) noexcept {
  if (object == nullptr) return E_POINTER;
  if (iid == IID_IBasicAudio) return HandOut<IBasicAudio>(this, object);
  return CBaseRenderer::QueryInterface(iid, object);
}

HRESULT AudioOutput::CheckMediaType(const DMO_MEDIA_TYPE* type) noexcept {
  if (type == nullptr) return E_POINTER;
  if (type->majorType != MEDIATYPE_Audio || type->subtype != MEDIASUBTYPE_PCM) return S_FALSE;
  const WAVEFORMATEX* const wave = WaveFormatOf(*type);
  if (wave == nullptr || wave->bitsPerSample != 16 || wave->channels < 1 ||
      wave->samplesPerSecond < 1)
    return S_FALSE;
  return S_OK;
}

HRESULT AudioOutput::OnConnected(const DMO_MEDIA_TYPE& type) noexcept {
  const WAVEFORMATEX* const wave = WaveFormatOf(type);
  if (wave == nullptr) return E_UNEXPECTED;
  channels_ = wave->channels;
  return device_.Configure(wave->channels, wave->samplesPerSecond) ? S_OK : E_FAIL;
}

void AudioOutput::OnInactive() noexcept { device_.Drop(); }

bool AudioOutput::Play(const int16_t* samples, int32_t count) noexcept {
  const int64_t frames = count / channels_;
  return device_.Write(samples, frames) == frames;
}

HRESULT AudioOutput::DoRenderSample(MediaSample* sample) noexcept {
  if (sample == nullptr) return E_POINTER;
  const uint8_t* const data = sample->GetPointer();
  const int32_t count = sample->GetActualDataLength() / 2;
  const int32_t level = level_.load(std::memory_order_relaxed);
  if (level == 0) return Play(reinterpret_cast<const int16_t*>(data), count) ? S_OK : E_FAIL;

  const int32_t gain = VolumeGain(level);
  const int32_t chunk = std::max(kChunkSamples / channels_, 1) * channels_;
  int16_t scaled[kChunkSamples];
  if (chunk > kChunkSamples) return E_FAIL;
  for (int32_t done = 0; done < count; done += chunk) {
    const int32_t now = std::min(chunk, count - done);
    for (int32_t i = 0; i < now; ++i) {
      int16_t value;
      std::memcpy(&value, data + 2 * (done + i), sizeof value);
      scaled[i] = static_cast<int16_t>((int64_t{value} * gain + 32768) >> 16);
    }
    if (!Play(scaled, now)) return E_FAIL;
  }
  return S_OK;
}

HRESULT AudioOutput::put_Volume(int32_t level) noexcept {
  if (level < kLevelSilent || level > 0) return E_INVALIDARG;
  level_.store(level, std::memory_order_relaxed);
  return S_OK;
}

HRESULT AudioOutput::get_Volume(int32_t* level) noexcept {
  if (level == nullptr) return E_POINTER;
  *level = level_.load(std::memory_order_relaxed);
  return S_OK;
}

}  // namespace orbel
