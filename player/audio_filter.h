// The source of a player's graph: a filter with one output pin that describes
// the coded stream. The Player functions push samples through the pin.
#pragma once

#include "platform/base_pin.h"

namespace orbel {

// A sample is no larger than this where its size is not fixed.
inline constexpr int32_t kMostSampleBytes = 8191;

// The one format id whose samples may vary in size.
inline constexpr int32_t kFormatAac = 255;

// What PlayerOpen was told.
struct StreamFormat {
  int32_t formatId;
  int32_t rateIndex;
  int32_t sampleSize;  // 0: no fixed size
};

class AudioPin final : public CBaseOutputPin {
 public:
  // format belongs to the filter and outlives the pin.
  AudioPin(CBaseFilter* filter, const StreamFormat* format) noexcept
      : CBaseOutputPin(filter, "AudioPin1"), format_(format) {}

  // The one type offered. E_INVALIDARG below position 0, VFW_S_NO_MORE_ITEMS
  // above it, E_POINTER, E_OUTOFMEMORY. What *type held is freed.
  HRESULT GetMediaType(int32_t position, DMO_MEDIA_TYPE* type) noexcept override;
  // Compares the wave format's tag only, with that of the last offer.
  HRESULT CheckMediaType(const DMO_MEDIA_TYPE* type) noexcept override;
  HRESULT DecideBufferSize(IMemAllocator* allocator,
                           AllocatorProperties* properties) noexcept override;

 private:
  friend class AudioFilter;
  ~AudioPin() = default;

  const StreamFormat* format_;
  WAVEFORMATEX waveFormat_ = {.formatTag = 0,
                              .channels = 1,
                              .samplesPerSecond = 0,
                              .bytesPerSecond = 0,
                              .blockAlign = 2,
                              .bitsPerSample = 16,
                              .extraSize = 0};
};

class AudioFilter final : public CBaseFilter {
 public:
  explicit AudioFilter(const StreamFormat& format) noexcept;

  int32_t GetPinCount() noexcept override { return 1; }
  CBasePin* BasePin(int32_t index) noexcept override { return index == 0 ? &pin_ : nullptr; }

  AudioPin& Pin() noexcept { return pin_; }
  const StreamFormat& Format() const noexcept { return format_; }

 private:
  ~AudioFilter() override = default;

  CriticalSection lock_;
  StreamFormat format_;
  AudioPin pin_;
};

}  // namespace orbel
