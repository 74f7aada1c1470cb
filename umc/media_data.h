// Buffers that carry data to and from a codec.
#pragma once

#include <cstdint>

#include "umc/class_test.h"
#include "umc/status.h"

namespace UMC {

// A buffer, of its own or borrowed, with a pointer to the valid data that moves
// inside it. Used by one thread at a time.
class MediaData {
 public:
  MediaData() = default;
  MediaData(const MediaData&) = delete;
  MediaData& operator=(const MediaData&) = delete;

  static const char* ClassName();
  virtual bool IsClass(ClassIdentifier identifier) const;
  virtual bool IsClassByName(ClassIdentifier identifier) const;
  virtual ~MediaData();

  // Lets go of the buffer, which is freed if it is the object's own.
  virtual Status Close();

  // Takes a buffer of `size` bytes, without valid data; 0 leaves none.
  virtual Status Alloc(uint64_t size);

  virtual uint8_t* GetBufferPointer();
  virtual uint8_t* GetDataPointer();
  virtual uint64_t GetBufferSize();
  virtual uint64_t GetDataSize();

  // Borrows a buffer that must outlive its use here. There is no valid data in
  // it until SetDataSize says so.
  virtual Status SetBufferPointer(uint8_t* pointer, uint64_t size);

  // Bytes that are valid from the data pointer on. UMC_ERR_NULL_PTR without a
  // buffer, UMC_ERR_FAILED when the buffer ends before.
  virtual Status SetDataSize(uint64_t size);

  // Takes `step` bytes off the front of the data, or gives -step back to it.
  // UMC_ERR_FAILED, and nothing moves, past either end.
  virtual Status MoveDataPointer(int32_t step);

  virtual Status GetTime(double* start, double* end);
  virtual double GetTime();
  virtual Status SetTime(double start, double end);

  // Forgets data and times; the buffer stays.
  virtual Status Reset();

  // Moves as much data as fits behind the destination's own, with times and
  // flags. What does not fit stays. UMC_ERR_NOT_INITIALIZED without a buffer
  // here, UMC_ERR_NULL_PTR without one there.
  virtual Status MoveDataTo(MediaData* destination);

  double startTime = -1.0;  // seconds; -1.0 is unknown
  double endTime = 0.0;
  uint64_t bufferSize = 0;  // bytes
  uint64_t dataSize = 0;    // bytes from dataPointer on
  uint8_t* bufferPointer = nullptr;
  uint8_t* dataPointer = nullptr;  // at or behind bufferPointer
  int32_t frameType = 0;
  int32_t invalid = 0;
  int32_t reserved = 0;
  int32_t ownsBuffer = 0;

 private:
  void ReleaseBuffer();
};

// PCM, with its description as the codec filled it.
class AudioData : public MediaData {
 public:
  static const char* ClassName();
  bool IsClass(ClassIdentifier identifier) const override;
  bool IsClassByName(ClassIdentifier identifier) const override;
  ~AudioData() override = default;

  int32_t channels = 0;
  int32_t sampleFrequency = 0;  // hertz
  int32_t bitsPerSample = 0;
  int32_t alignment = 0;
  int32_t dataFormat = 0;
  int32_t channelMask = 0;
};

}  // namespace UMC
