// The reference clock of every graph: monotonic system time, to the tick (a few
// milliseconds). Samples are longer than that, and reading it costs a tenth of
// the finer one.
#pragma once

#include "platform/graph.h"
#include "platform/object_system.h"

namespace orbel {

class SystemClock final : public IReferenceClock {
 public:
  HRESULT QueryInterface(const GUID& iid, void** object) noexcept override;
  uint32_t AddRef() noexcept override { return references_.Add(); }
  uint32_t Release() noexcept override;
  HRESULT GetTime(int64_t* time) noexcept override;

 private:
  ReferenceCount references_;
};

}  // namespace orbel
