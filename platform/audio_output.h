// The platform's audio renderer: plays 16-bit PCM through the system's default
// sound device. Creating it opens the device, so that a system without one is
// told at once. Created by CLSID_DSoundRender.
#pragma once

#include <atomic>

#include "platform/base_renderer.h"
#include "platform/sound_library.h"

namespace orbel {

// E_FAIL where there is no sound library or no device.
HRESULT CreateAudioOutput(const GUID& iid, void** object) noexcept;

// What a sample is multiplied by for a level in hundredths of a decibel, in
// 1/65536: 65536 for 0, 0 for -10000.
int32_t VolumeGain(int32_t level) noexcept;

class AudioOutput final : public CBaseRenderer, public IBasicAudio {
 public:
  AudioOutput() noexcept : CBaseRenderer(CLSID_DSoundRender) {}

  HRESULT QueryInterface(const GUID& iid, void** object) noexcept override;
  uint32_t AddRef() noexcept override { return CBaseRenderer::AddRef(); }
  uint32_t Release() noexcept override { return CBaseRenderer::Release(); }

  bool OpenDevice() noexcept { return device_.Open(); }

  // 16-bit PCM with a complete wave format block.
  HRESULT CheckMediaType(const DMO_MEDIA_TYPE* type) noexcept override;
  // Queues the samples; blocks only while the device's buffer is full. E_FAIL
  // when the device is gone: the samples are lost, the next are tried again.
  HRESULT DoRenderSample(MediaSample* sample) noexcept override;

  HRESULT put_Volume(int32_t level) noexcept override;
  HRESULT get_Volume(int32_t* level) noexcept override;

 protected:
  HRESULT OnConnected(const DMO_MEDIA_TYPE& type) noexcept override;
  void OnInactive() noexcept override;

 private:
  bool Play(const int16_t* samples, int32_t count) noexcept;

  SoundDevice device_;
  int32_t channels_ = 1;
  std::atomic<int32_t> level_{0};
};

}  // namespace orbel
