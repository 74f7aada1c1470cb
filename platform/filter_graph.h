// The filter graph: holds the filters of one stream, starts and stops them and
// gives them a clock. Created by CLSID_FilterGraph.
#pragma once

#include "platform/graph.h"
#include "platform/module_use.h"
#include "platform/object_system.h"

namespace orbel {

HRESULT CreateFilterGraph(const GUID& iid, void** object) noexcept;

class FilterGraph final : public IGraphBuilder, public IMediaControl, public IBasicAudio {
 public:
  static constexpr int32_t kMostFilters = 8;
  static constexpr int32_t kNameLength = 32;  // longer names are cut

  explicit FilterGraph(IReferenceClock* clock) noexcept { clock_.Share(clock); }

  HRESULT QueryInterface(const GUID& iid, void** object) noexcept override;
  uint32_t AddRef() noexcept override { return references_.Add(); }
  uint32_t Release() noexcept override;

  HRESULT AddFilter(IBaseFilter* filter, const char* name) noexcept override;
  HRESULT FindFilterByName(const char* name, IBaseFilter** filter) noexcept override;

  // Filters change state from the last one added to the first: renderer before
  // decoder before source, so that nothing is delivered to a stopped filter.
  HRESULT Run() noexcept override;
  HRESULT Stop() noexcept override;

  // The volume of the first filter that has one; E_NOTIMPL where none has.
  HRESULT put_Volume(int32_t level) noexcept override;
  HRESULT get_Volume(int32_t* level) noexcept override;

 private:
  struct Entry {
    Reference<IBaseFilter> filter;
    char name[kNameLength];
  };

  ~FilterGraph();
  Entry* Find(const char* name) noexcept;
  Reference<IBasicAudio> Audio() noexcept;

  ModuleUse moduleUse_;
  ReferenceCount references_;
  Entry entries_[kMostFilters] = {};
  int32_t count_ = 0;
  Reference<IReferenceClock> clock_;
};

}  // namespace orbel
