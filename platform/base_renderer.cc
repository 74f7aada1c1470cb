#include "platform/base_renderer.h"

namespace orbel {

HRESULT CBaseRenderer::InputPin::SetMediaType(const DMO_MEDIA_TYPE& type) noexcept {
  const HRESULT result = CBasePin::SetMediaType(type);
  return result < 0 ? result : renderer_->OnConnected(type);
}

HRESULT CBaseRenderer::InputPin::Receive(MediaSample* sample) noexcept {
  if (sample == nullptr) return E_POINTER;
  if (renderer_->GetState() != FilterState::Running) return VFW_E_WRONG_STATE;
  return renderer_->DoRenderSample(sample);
}

}  // namespace orbel
