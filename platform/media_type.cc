#include "platform/media_type.h"

#include <cstring>

namespace orbel {

HRESULT MoInitMediaType(DMO_MEDIA_TYPE* type, uint32_t formatSize) noexcept {
  if (type == nullptr) return E_POINTER;
  *type = {};
  if (formatSize == 0) return S_OK;
  type->format = static_cast<uint8_t*>(CoTaskMemAlloc(formatSize));
  if (type->format == nullptr) return E_OUTOFMEMORY;
  std::memset(type->format, 0, formatSize);
  type->formatSize = formatSize;
  return S_OK;
}

HRESULT MoFreeMediaType(DMO_MEDIA_TYPE* type) noexcept {
  if (type == nullptr) return E_POINTER;
  if (type->unknown != nullptr) type->unknown->Release();
  CoTaskMemFree(type->format);
  *type = {};
  return S_OK;
}

HRESULT MoCopyMediaType(DMO_MEDIA_TYPE* copy, const DMO_MEDIA_TYPE* type) noexcept {
  if (copy == nullptr || type == nullptr) return E_POINTER;
  // A size without a block, or a block without a size, is no format.
  const uint32_t formatSize = type->format != nullptr ? type->formatSize : 0;
  DMO_MEDIA_TYPE made;
  const HRESULT result = MoInitMediaType(&made, formatSize);
  if (result == S_OK) {
    uint8_t* const format = made.format;
    made = *type;
    made.format = format;
    made.formatSize = formatSize;
    if (formatSize > 0) std::memcpy(format, type->format, formatSize);
    if (made.unknown != nullptr) made.unknown->AddRef();
  }
  *copy = made;
  return result;
}

const WAVEFORMATEX* WaveFormatOf(const DMO_MEDIA_TYPE& type) noexcept {
  if (type.formatType != FORMAT_WaveFormatEx || type.format == nullptr ||
      type.formatSize < sizeof(WAVEFORMATEX))
    return nullptr;
  return reinterpret_cast<const WAVEFORMATEX*>(type.format);
}

GUID WaveSubtype(uint32_t tag) noexcept {
  GUID subtype = MEDIASUBTYPE_WaveBase;
  subtype.data1 = tag;
  return subtype;
}

int64_t WaveTagOf(const GUID& subtype) noexcept {
  return subtype == WaveSubtype(subtype.data1) ? int64_t{subtype.data1} : -1;
}

HRESULT MediaType::Copy(const DMO_MEDIA_TYPE& type) noexcept {
  DMO_MEDIA_TYPE copy;
  const HRESULT result = MoCopyMediaType(&copy, &type);
  if (result != S_OK) return result;
  MoFreeMediaType(&type_);
  type_ = copy;
  return S_OK;
}

}  // namespace orbel
