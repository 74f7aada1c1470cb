// What all filters share: state, clock, the reference count that their pins
// share with them.
#pragma once

#include <atomic>

#include "platform/critical_section.h"
#include "platform/graph.h"
#include "platform/module_use.h"
#include "platform/object_system.h"

namespace orbel {

class CBasePin;

class CBaseFilter : public IBaseFilter {
 public:
  // lock guards the change of state; it belongs to the derived class and is not
  // used while the filter is made or destroyed.
  CBaseFilter(const GUID& classId, CriticalSection* lock) noexcept
      : classId_(classId), lock_(lock) {}
  virtual ~CBaseFilter();
  CBaseFilter(const CBaseFilter&) = delete;
  CBaseFilter& operator=(const CBaseFilter&) = delete;

  HRESULT QueryInterface(const GUID& iid, void** object) noexcept override;
  uint32_t AddRef() noexcept override { return references_.Add(); }
  uint32_t Release() noexcept override;

  // Stop, Pause and Run walk the pins: leaving Stopped makes each connected pin
  // active, returning to it makes each inactive.
  HRESULT Stop() noexcept override;
  HRESULT Pause() noexcept override;
  HRESULT Run(int64_t start) noexcept override;
  FilterState GetState() noexcept override { return state_.load(std::memory_order_acquire); }
  HRESULT SetSyncSource(IReferenceClock* clock) noexcept override;
  IPin* GetPin(int32_t index) noexcept override;
  int32_t GetPinCount() noexcept override = 0;

  // The pin itself, or null past the end.
  virtual CBasePin* BasePin(int32_t index) noexcept = 0;

  bool HasClock() const noexcept { return static_cast<bool>(clock_); }
  // Time since the start of the run. VFW_E_NO_CLOCK, E_POINTER.
  HRESULT StreamTime(int64_t* time) noexcept;
  const GUID& ClassId() const noexcept { return classId_; }

 protected:
  // What a derived class does of its own at the change of state.
  virtual HRESULT OnActive() noexcept { return S_OK; }
  virtual void OnInactive() noexcept {}

 private:
  GUID classId_;
  CriticalSection* lock_;
  Reference<IReferenceClock> clock_;
  int64_t start_ = 0;
  std::atomic<FilterState> state_{FilterState::Stopped};
  ModuleUse moduleUse_;
  ReferenceCount references_;
};

}  // namespace orbel
