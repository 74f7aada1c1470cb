#include "player/callback_renderer.h"

namespace orbel {
namespace {

constexpr GUID kCallbackRendererClass = {
    0xe104cb09, 0xf9fc, 0x4023, {0xae, 0xa3, 0x9a, 0xa6, 0x44, 0xea, 0x3c, 0x98}};

}  // namespace

CallbackAudioRenderer::CallbackAudioRenderer(uint8_t** decodedDataOut,
                                             int32_t* decodedSizeOut) noexcept
    : CBaseRenderer(kCallbackRendererClass),
      decodedDataOut_(decodedDataOut),
      decodedSizeOut_(decodedSizeOut) {}

HRESULT CallbackAudioRenderer::CheckMediaType(const DMO_MEDIA_TYPE* type) noexcept {
  if (type == nullptr) return E_POINTER;
  return type->majorType == MEDIATYPE_Audio ? S_OK : S_FALSE;
}

HRESULT CallbackAudioRenderer::DoRenderSample(MediaSample* sample) noexcept {
  if (sample == nullptr) return S_OK;
  const int32_t length = sample->GetActualDataLength();
  if (length == 0) return S_OK;
  uint8_t* const data = sample->GetPointer();
  if (data == nullptr) return S_OK;
  *decodedDataOut_ = data;
  *decodedSizeOut_ = length;
  return S_OK;
}

}  // namespace orbel
