#include "platform/base_filter.h"

#include "platform/base_pin.h"

namespace orbel {

CBaseFilter::~CBaseFilter() = default;

HRESULT CBaseFilter::QueryInterface(const GUID& iid, void** object) noexcept {
  if (object == nullptr) return E_POINTER;
  if (iid == IID_IBaseFilter || iid == IID_IUnknown) return HandOut<IBaseFilter>(this, object);
  *object = nullptr;
  return E_NOINTERFACE;
}

uint32_t CBaseFilter::Release() noexcept {
  const uint32_t left = references_.Drop();
  if (left == 0) delete this;
  return left;
}

HRESULT CBaseFilter::Stop() noexcept {
  AutoLock held(*lock_);
  if (GetState() == FilterState::Stopped) return S_OK;
  state_.store(FilterState::Stopped, std::memory_order_release);
  for (int32_t i = 0; CBasePin* pin = BasePin(i); ++i)
    if (pin->ConnectedTo() != nullptr) pin->Inactive();
  OnInactive();
  return S_OK;
}

HRESULT CBaseFilter::Pause() noexcept {
  AutoLock held(*lock_);
  if (GetState() == FilterState::Stopped) {
    HRESULT result = OnActive();
    for (int32_t i = 0; result >= 0 && BasePin(i) != nullptr; ++i)
      if (BasePin(i)->ConnectedTo() != nullptr) result = BasePin(i)->Active();
    if (result < 0) {
      for (int32_t i = 0; CBasePin* pin = BasePin(i); ++i)
        if (pin->ConnectedTo() != nullptr) pin->Inactive();
      OnInactive();
      return result;
    }
  }
  state_.store(FilterState::Paused, std::memory_order_release);
  return S_OK;
}

HRESULT CBaseFilter::Run(int64_t start) noexcept {
  AutoLock held(*lock_);
  if (GetState() == FilterState::Stopped) {
    const HRESULT result = Pause();
    if (result < 0) return result;
  }
  start_ = start;
  state_.store(FilterState::Running, std::memory_order_release);
  return S_OK;
}

HRESULT CBaseFilter::SetSyncSource(IReferenceClock* clock) noexcept {
  AutoLock held(*lock_);
  clock_.Share(clock);
  return S_OK;
}

IPin* CBaseFilter::GetPin(int32_t index) noexcept { return BasePin(index); }

HRESULT CBaseFilter::StreamTime(int64_t* time) noexcept {
  if (time == nullptr) return E_POINTER;
  if (!clock_) return VFW_E_NO_CLOCK;
  int64_t now = 0;
  const HRESULT result = clock_->GetTime(&now);
  if (result < 0) return result;
  *time = now - start_;
  return S_OK;
}

}  // namespace orbel
