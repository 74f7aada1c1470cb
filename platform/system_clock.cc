#include "platform/system_clock.h"

#include <ctime>

namespace orbel {

HRESULT SystemClock::QueryInterface(const GUID& iid, void** object) noexcept {
  if (object == nullptr) return E_POINTER;
  if (iid == IID_IReferenceClock || iid == IID_IUnknown)
    return HandOut<IReferenceClock>(this, object);
  *object = nullptr;
  return E_NOINTERFACE;
}

uint32_t SystemClock::Release() noexcept {
  const uint32_t left = references_.Drop();
  if (left == 0) delete this;
  return left;
}

HRESULT SystemClock::GetTime(int64_t* time) noexcept {
  if (time == nullptr) return E_POINTER;
  timespec now;
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  *time = int64_t{now.tv_sec} * 10000000 + now.tv_nsec / 100;
  return S_OK;
}

}  // namespace orbel
