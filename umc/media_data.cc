#include "umc/media_data.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "dsp/memory.h"

namespace UMC {

const char* MediaData::ClassName() { return "MediaData"; }
bool MediaData::IsClass(ClassIdentifier identifier) const { return identifier == &ClassName; }
bool MediaData::IsClassByName(ClassIdentifier identifier) const {
  return SameClassName(identifier, ClassName());
}

const char* AudioData::ClassName() { return "AudioData"; }
bool AudioData::IsClass(ClassIdentifier identifier) const {
  return identifier == &ClassName || MediaData::IsClass(identifier);
}
bool AudioData::IsClassByName(ClassIdentifier identifier) const {
  return SameClassName(identifier, ClassName()) || MediaData::IsClassByName(identifier);
}

MediaData::~MediaData() { ReleaseBuffer(); }

void MediaData::ReleaseBuffer() {
  if (ownsBuffer != 0) orbel::dspFree(bufferPointer);
  bufferPointer = nullptr;
  dataPointer = nullptr;
  bufferSize = 0;
  dataSize = 0;
  frameType = 0;
  ownsBuffer = 0;
}

Status MediaData::Close() {
  ReleaseBuffer();
  return UMC_OK;
}

Status MediaData::Alloc(uint64_t size) {
  Close();
  if (size == 0) return UMC_OK;
  if (size > INT64_MAX) return UMC_ERR_ALLOC;
  uint8_t* const memory = orbel::dspMalloc_8u(static_cast<int64_t>(size));
  if (memory == nullptr) return UMC_ERR_ALLOC;
  bufferPointer = memory;
  dataPointer = memory;
  bufferSize = size;
  ownsBuffer = 1;
  return UMC_OK;
}

uint8_t* MediaData::GetBufferPointer() { return bufferPointer; }
uint8_t* MediaData::GetDataPointer() { return dataPointer; }
uint64_t MediaData::GetBufferSize() { return bufferSize; }
uint64_t MediaData::GetDataSize() { return dataSize; }

Status MediaData::SetBufferPointer(uint8_t* pointer, uint64_t size) {
  ReleaseBuffer();
  bufferPointer = pointer;
  dataPointer = pointer;
  bufferSize = size;
  return UMC_OK;
}

Status MediaData::SetDataSize(uint64_t size) {
  if (bufferPointer == nullptr) return UMC_ERR_NULL_PTR;
  if (size > bufferSize - static_cast<uint64_t>(dataPointer - bufferPointer)) return UMC_ERR_FAILED;
  dataSize = size;
  return UMC_OK;
}

Status MediaData::MoveDataPointer(int32_t step) {
  if (step >= 0) {
    const auto ahead = static_cast<uint64_t>(step);
    if (ahead > dataSize) return UMC_ERR_FAILED;
    dataPointer += ahead;
    dataSize -= ahead;
    return UMC_OK;
  }
  const int64_t back = -static_cast<int64_t>(step);
  if (back > dataPointer - bufferPointer) return UMC_ERR_FAILED;
  dataPointer -= back;
  dataSize += static_cast<uint64_t>(back);
  return UMC_OK;
}

Status MediaData::GetTime(double* start, double* end) {
  if (start != nullptr) *start = startTime;
  if (end != nullptr) *end = endTime;
  return UMC_OK;
}

double MediaData::GetTime() { return startTime; }

Status MediaData::SetTime(double start, double end) {
  startTime = start;
  endTime = end;
  return UMC_OK;
}

Status MediaData::Reset() {
  dataPointer = bufferPointer;
  startTime = -1.0;
  endTime = -1.0;
  dataSize = 0;
  frameType = 0;
  invalid = 0;
  return UMC_OK;
}

Status MediaData::MoveDataTo(MediaData* destination) {
  if (dataPointer == nullptr) return UMC_ERR_NOT_INITIALIZED;
  if (destination == nullptr || destination->dataPointer == nullptr) return UMC_ERR_NULL_PTR;
  uint8_t* const end = destination->dataPointer + destination->dataSize;
  const auto room =
      static_cast<uint64_t>(destination->bufferPointer + destination->bufferSize - end);
  const uint64_t count = std::min(room, dataSize);
  // A source may be its own destination or share the buffer with it.
  if (count != 0) std::memmove(end, dataPointer, count);
  destination->dataSize += count;
  for (uint64_t left = count; left != 0;) {  // a step has 31 bits
    const uint64_t step = std::min<uint64_t>(left, INT_MAX);
    MoveDataPointer(static_cast<int32_t>(step));
    left -= step;
  }
  destination->startTime = startTime;
  destination->endTime = endTime;
  destination->frameType = frameType;
  destination->invalid = invalid;
  return UMC_OK;
}

}  // namespace UMC
