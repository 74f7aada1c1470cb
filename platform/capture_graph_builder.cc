#include "platform/capture_graph_builder.h"

#include <new>

#include "platform/media_type.h"

namespace orbel {
namespace {

// The first free pin of a direction, with an offer of the major type where one
// is asked for and the pin offers at all.
IPin* FreePin(IBaseFilter* filter, PinDirection direction, const GUID* majorType) {
  for (int32_t i = 0; IPin* pin = filter->GetPin(i); ++i) {
    if (pin->Direction() != direction || pin->ConnectedTo() != nullptr) continue;
    if (direction == PinDirection::Input || majorType == nullptr) return pin;
    MediaType type;
    if (pin->GetMediaType(0, type.Record()) == S_OK && type->majorType == *majorType) return pin;
  }
  return nullptr;
}

HRESULT ConnectFilters(IBaseFilter* upstream, IBaseFilter* downstream, const GUID* majorType) {
  IPin* const output = FreePin(upstream, PinDirection::Output, majorType);
  IPin* const input = FreePin(downstream, PinDirection::Input, majorType);
  if (output == nullptr || input == nullptr) return VFW_E_CANNOT_CONNECT;
  return output->Connect(input);
}

}  // namespace

HRESULT CreateCaptureGraphBuilder(const GUID& iid, void** object) noexcept {
  auto* builder = new (std::nothrow) CaptureGraphBuilder;
  if (builder == nullptr) return E_OUTOFMEMORY;
  const HRESULT result = builder->QueryInterface(iid, object);
  builder->Release();
  return result;
}

HRESULT CaptureGraphBuilder::QueryInterface(const GUID& iid, void** object) noexcept {
  if (object == nullptr) return E_POINTER;
  if (iid == IID_ICaptureGraphBuilder2 || iid == IID_IUnknown)
    return HandOut<ICaptureGraphBuilder2>(this, object);
  *object = nullptr;
  return E_NOINTERFACE;
}

uint32_t CaptureGraphBuilder::Release() noexcept {
  const uint32_t left = references_.Drop();
  if (left == 0) delete this;
  return left;
}

HRESULT CaptureGraphBuilder::SetFiltergraph(IGraphBuilder* graph) noexcept {
  if (graph == nullptr) return E_POINTER;
  graph_.Share(graph);
  return S_OK;
}

HRESULT CaptureGraphBuilder::RenderStream(const GUID* category, const GUID* majorType,
                                          IUnknown* source, IBaseFilter* intermediate,
                                          IBaseFilter* renderer) noexcept {
  if (source == nullptr || renderer == nullptr) return E_POINTER;
  if (category != nullptr) return E_INVALIDARG;
  if (!graph_) return E_UNEXPECTED;
  Reference<IBaseFilter> first;
  const HRESULT result = source->QueryInterface(IID_IBaseFilter, first.ReceiveVoid());
  if (result < 0) return result;
  if (intermediate == nullptr) return ConnectFilters(first.Get(), renderer, majorType);
  const HRESULT connected = ConnectFilters(first.Get(), intermediate, majorType);
  return connected < 0 ? connected : ConnectFilters(intermediate, renderer, majorType);
}

}  // namespace orbel
