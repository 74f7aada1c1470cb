// Connects the filters of a graph. Created by CLSID_CaptureGraphBuilder2.
#pragma once

#include "platform/graph.h"
#include "platform/module_use.h"
#include "platform/object_system.h"

namespace orbel {

HRESULT CreateCaptureGraphBuilder(const GUID& iid, void** object) noexcept;

class CaptureGraphBuilder final : public ICaptureGraphBuilder2 {
 public:
  HRESULT QueryInterface(const GUID& iid, void** object) noexcept override;
  uint32_t AddRef() noexcept override { return references_.Add(); }
  uint32_t Release() noexcept override;

  HRESULT SetFiltergraph(IGraphBuilder* graph) noexcept override;
  HRESULT RenderStream(const GUID* category, const GUID* majorType, IUnknown* source,
                       IBaseFilter* intermediate, IBaseFilter* renderer) noexcept override;

 private:
  ModuleUse moduleUse_;
  ReferenceCount references_;
  Reference<IGraphBuilder> graph_;
};

}  // namespace orbel
