#include "player/audio_filter.h"

#include <algorithm>
#include <cstring>

namespace orbel {
namespace {

constexpr GUID kAudioFilterClass = {
    0x2d2c0657, 0x4465, 0x4dc8, {0xb2, 0x85, 0x15, 0x49, 0x58, 0x86, 0x7a, 0x98}};

struct RateRow {
  int32_t key;  // format id, or rate index for format 255
  uint32_t samplesPerSecond;
  uint32_t codedRate;  // bit/s, stored as it stands in the field for bytes
};

constexpr RateRow kFormatRates[] = {
    {495, 8000, 64000},  {496, 8000, 64000},   {751, 8000, 32000},
    {1007, 8000, 24000}, {10005, 8000, 32000},
};

constexpr RateRow kAacRates[] = {
    {20, 8000, 8000},    {21, 8000, 12000},   {22, 8000, 16000},   {23, 8000, 24000},
    {24, 8000, 32000},   {25, 16000, 12000},  {26, 16000, 16000},  {27, 16000, 24000},
    {28, 16000, 32000},  {29, 16000, 48000},  {30, 16000, 64000},  {31, 32000, 16000},
    {32, 32000, 24000},  {33, 32000, 32000},  {34, 32000, 48000},  {35, 32000, 64000},
    {36, 32000, 128000}, {37, 44100, 128000}, {38, 48000, 128000},
};

template <size_t N>
const RateRow* FindRow(const RateRow (&rows)[N], int32_t key) {
  for (const RateRow& row : rows)
    if (row.key == key) return &row;
  return nullptr;
}

}  // namespace

HRESULT AudioPin::GetMediaType(int32_t position, DMO_MEDIA_TYPE* type) noexcept {
  if (position < 0) return E_INVALIDARG;
  if (position > 0) return VFW_S_NO_MORE_ITEMS;
  if (type == nullptr) return E_POINTER;
  MoFreeMediaType(type);

  const bool isAac = format_->formatId == kFormatAac;
  const RateRow* const row =
      isAac ? FindRow(kAacRates, format_->rateIndex) : FindRow(kFormatRates, format_->formatId);
  waveFormat_.formatTag = static_cast<uint16_t>(static_cast<uint32_t>(format_->formatId));
  if (row != nullptr) {
    waveFormat_.samplesPerSecond = row->samplesPerSecond;
    waveFormat_.bytesPerSecond = row->codedRate;
  }

  const HRESULT result = MoInitMediaType(type, sizeof waveFormat_);
  if (result < 0) return result;
  type->majorType = MEDIATYPE_Audio;
  if (isAac || row != nullptr)
    type->subtype = WaveSubtype(static_cast<uint32_t>(format_->formatId));
  type->fixedSizeSamples = isAac ? 0 : 1;
  type->sampleSize = isAac ? 0 : static_cast<uint32_t>(format_->sampleSize);
  type->formatType = FORMAT_WaveFormatEx;
  std::memcpy(type->format, &waveFormat_, sizeof waveFormat_);
  return S_OK;
}

HRESULT AudioPin::CheckMediaType(const DMO_MEDIA_TYPE* type) noexcept {
  if (type == nullptr) return E_POINTER;
  uint16_t tag = 0;
  if (type->format == nullptr || type->formatSize < sizeof tag) return S_FALSE;
  std::memcpy(&tag, type->format, sizeof tag);
  return tag == waveFormat_.formatTag ? S_OK : S_FALSE;
}

HRESULT AudioPin::DecideBufferSize(IMemAllocator* allocator,
                                   AllocatorProperties* properties) noexcept {
  if (allocator == nullptr || properties == nullptr) return E_POINTER;
  properties->bufferCount = std::max(properties->bufferCount, 1);
  properties->bufferSize = std::max(properties->bufferSize, format_->sampleSize);
  if (format_->sampleSize == 0)
    properties->bufferSize = std::max(properties->bufferSize, kMostSampleBytes);
  AllocatorProperties actual;
  return allocator->SetProperties(properties, &actual);
}

AudioFilter::AudioFilter(const StreamFormat& format) noexcept
    : CBaseFilter(kAudioFilterClass, &lock_), format_(format), pin_(this, &format_) {}

}  // namespace orbel
