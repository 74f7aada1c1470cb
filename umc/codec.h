// Codecs and their parameters.
#pragma once

#include <cstdint>

#include "umc/class_test.h"
#include "umc/media_data.h"
#include "umc/memory_allocator.h"
#include "umc/status.h"

namespace UMC {

// Stream types.
constexpr int32_t kStreamPcm = 1;       // output
constexpr int32_t kStreamAac = 2048;    // input, as GetInfo reports the AAC family
constexpr int32_t kStreamUnits = 2065;  // input: raw access units, configuration in `data`

class BaseCodecParams {
 public:
  BaseCodecParams() = default;
  BaseCodecParams(const BaseCodecParams&) = default;
  BaseCodecParams& operator=(const BaseCodecParams&) = default;

  static const char* ClassName();
  virtual bool IsClass(ClassIdentifier identifier) const;
  virtual bool IsClassByName(ClassIdentifier identifier) const;
  virtual ~BaseCodecParams() = default;

  MediaData* data = nullptr;                   // configuration bytes; borrowed, may be null
  MemoryAllocator* memoryAllocator = nullptr;  // borrowed, may be null
  int32_t suggestedInputSize = 0;              // bytes; set by GetInfo, as are those below
  int32_t suggestedOutputSize = 0;
  int32_t level = 0;
  int32_t reserved = 0;
};

struct AudioStreamDescription {
  int32_t channels = 0;
  int32_t sampleFrequency = 0;  // hertz
  int32_t bitRate = 0;          // bits per second
  int32_t bitsPerSample = 0;
};

class AudioCodecParams : public BaseCodecParams {
 public:
  static const char* ClassName();
  bool IsClass(ClassIdentifier identifier) const override;
  bool IsClassByName(ClassIdentifier identifier) const override;
  ~AudioCodecParams() override = default;
  AudioCodecParams() = default;
  AudioCodecParams(const AudioCodecParams&) = default;
  AudioCodecParams& operator=(const AudioCodecParams&) = default;

  AudioStreamDescription input;
  int32_t inputChannelMask = 0;
  int32_t inputStreamType = 0;
  int32_t inputStreamSubtype = 0;
  AudioStreamDescription output;
  int32_t outputChannelMask = 0;
  int32_t outputStreamType = 0;
  int32_t frameCount = 0;
};

// What all codecs share: where their memory comes from.
class BaseCodec {
 public:
  BaseCodec(const BaseCodec&) = delete;
  BaseCodec& operator=(const BaseCodec&) = delete;

  static const char* ClassName();
  virtual bool IsClass(ClassIdentifier identifier) const;
  virtual bool IsClassByName(ClassIdentifier identifier) const;
  virtual ~BaseCodec();

  // Settles the allocator: the given one, which must outlive its use here, or
  // one of the codec's own. UMC_ERR_INIT when that would be a change from a
  // given one to an own one or back.
  virtual Status Init(BaseCodecParams* params);

  virtual Status GetFrame(MediaData* in, MediaData* out) = 0;
  virtual Status GetInfo(BaseCodecParams* params) = 0;

  // Gives up an allocator of its own, and with it all memory. A given one stays.
  virtual Status Close();

  virtual Status Reset() = 0;

  // UMC_ERR_NOT_IMPLEMENTED, or UMC_ERR_NULL_PTR for null.
  virtual Status SetParams(BaseCodecParams* params);

 protected:
  BaseCodec() = default;

  MemoryAllocator* memoryAllocator = nullptr;
  bool ownsAllocator = false;

 private:
  void ReleaseAllocator();
};

class AudioCodec : public BaseCodec {
 public:
  static const char* ClassName();
  bool IsClass(ClassIdentifier identifier) const override;
  bool IsClassByName(ClassIdentifier identifier) const override;
  ~AudioCodec() override = default;

 protected:
  AudioCodec() = default;
};

}  // namespace UMC
