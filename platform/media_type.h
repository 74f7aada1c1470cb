// Media types: deep copies and the wave format block.
#pragma once

#include "orbel/media_object.h"

namespace orbel {

// Clears *type and gives it a format block of that many bytes, zeroed; 0 bytes
// give none. E_POINTER, E_OUTOFMEMORY (then *type is cleared).
HRESULT MoInitMediaType(DMO_MEDIA_TYPE* type, uint32_t formatSize) noexcept;

// Frees what the record owns and leaves it cleared. E_POINTER.
HRESULT MoFreeMediaType(DMO_MEDIA_TYPE* type) noexcept;

// Copies deep; what *copy held before is not freed. E_POINTER, E_OUTOFMEMORY
// (then *copy is cleared).
HRESULT MoCopyMediaType(DMO_MEDIA_TYPE* copy, const DMO_MEDIA_TYPE* type) noexcept;

// The wave format block, or null where there is none of full size.
const WAVEFORMATEX* WaveFormatOf(const DMO_MEDIA_TYPE& type) noexcept;

// The subtype that stands for a wave format tag, and back: the tag, or -1.
GUID WaveSubtype(uint32_t tag) noexcept;
int64_t WaveTagOf(const GUID& subtype) noexcept;

// A media type that frees itself.
class MediaType {
 public:
  MediaType() noexcept = default;
  ~MediaType() { MoFreeMediaType(&type_); }
  MediaType(const MediaType&) = delete;
  MediaType& operator=(const MediaType&) = delete;

  // Replaces the content by a deep copy; keeps the old one on failure.
  HRESULT Copy(const DMO_MEDIA_TYPE& type) noexcept;
  void Clear() noexcept { MoFreeMediaType(&type_); }
  DMO_MEDIA_TYPE* Record() noexcept { return &type_; }
  const DMO_MEDIA_TYPE& operator*() const noexcept { return type_; }
  const DMO_MEDIA_TYPE* operator->() const noexcept { return &type_; }

 private:
  DMO_MEDIA_TYPE type_ = {};
};

}  // namespace orbel
