#include "platform/base_pin.h"

namespace orbel {

HRESULT CBasePin::QueryInterface(const GUID& iid, void** object) noexcept {
  if (object == nullptr) return E_POINTER;
  if (iid == IID_IPin || iid == IID_IUnknown) return HandOut<IPin>(this, object);
  *object = nullptr;
  return E_NOINTERFACE;
}

HRESULT CBasePin::Connect(IPin*) noexcept { return E_UNEXPECTED; }

HRESULT CBasePin::ReceiveConnection(IPin* outputPin, const DMO_MEDIA_TYPE& type) noexcept {
  if (outputPin == nullptr) return E_POINTER;
  if (direction_ != PinDirection::Input) return E_UNEXPECTED;
  if (peer_) return VFW_E_ALREADY_CONNECTED;
  if (filter_->GetState() != FilterState::Stopped) return VFW_E_NOT_STOPPED;
  if (CheckMediaType(&type) != S_OK) return VFW_E_TYPE_NOT_ACCEPTED;
  const HRESULT result = SetMediaType(type);
  if (result < 0) return result;
  SetPeer(outputPin);
  return S_OK;
}

HRESULT CBasePin::Disconnect() noexcept {
  if (filter_->GetState() != FilterState::Stopped) return VFW_E_NOT_STOPPED;
  if (!peer_) return S_FALSE;
  BreakConnect();
  type_.Clear();
  peer_.Clear();
  return S_OK;
}

HRESULT CBasePin::GetMediaType(int32_t, DMO_MEDIA_TYPE*) noexcept { return VFW_S_NO_MORE_ITEMS; }

HRESULT CBasePin::NotifyAllocator(IMemAllocator* allocator) noexcept {
  if (allocator == nullptr) return E_POINTER;
  return direction_ == PinDirection::Input ? S_OK : E_UNEXPECTED;
}

HRESULT CBasePin::Receive(MediaSample*) noexcept { return E_UNEXPECTED; }

HRESULT CBasePin::SetMediaType(const DMO_MEDIA_TYPE& type) noexcept { return type_.Copy(type); }

}  // namespace orbel
