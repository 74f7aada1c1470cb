// The system's sound library (ALSA), found and loaded at run time through its
// public C interface, so that nothing is linked and a system without it still
// loads this library. Its default device reaches PulseAudio and PipeWire too.
#pragma once

#include <cstdint>

namespace orbel {

// One playback device, 16-bit samples in host byte order. Not thread safe.
class SoundDevice {
 public:
  SoundDevice() noexcept = default;
  ~SoundDevice() { Close(); }
  SoundDevice(const SoundDevice&) = delete;
  SoundDevice& operator=(const SoundDevice&) = delete;

  // Opens the default device without waiting for it. False where there is no
  // sound library or no device that opens.
  bool Open() noexcept;
  void Close() noexcept;

  // Fixes the stream's form. False when the device can't.
  bool Configure(uint32_t channels, uint32_t rate) noexcept;

  // Queues frames (one sample per channel each); blocks only while the
  // device's buffer is full. Recovers from underruns and suspends. Returns the
  // frames queued: fewer than asked for when the device is gone.
  int64_t Write(const int16_t* samples, int64_t frames) noexcept;

  // Drops what is queued and makes the device ready for new samples.
  void Drop() noexcept;

 private:
  void* pcm_ = nullptr;
  bool configured_ = false;
  uint32_t frameSamples_ = 1;
};

}  // namespace orbel
