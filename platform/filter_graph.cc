#include "platform/filter_graph.h"

#include <cstring>
#include <new>

#include "platform/system_clock.h"

namespace orbel {
namespace {

void CutName(const char* name, char (&cut)[FilterGraph::kNameLength]) {
  std::strncpy(cut, name, sizeof cut - 1);
  cut[sizeof cut - 1] = '\0';
}

}  // namespace

HRESULT CreateFilterGraph(const GUID& iid, void** object) noexcept {
  Reference<IReferenceClock> clock(new (std::nothrow) SystemClock);
  if (!clock) return E_OUTOFMEMORY;
  auto* graph = new (std::nothrow) FilterGraph(clock.Get());
  if (graph == nullptr) return E_OUTOFMEMORY;
  const HRESULT result = graph->QueryInterface(iid, object);
  graph->Release();
  return result;
}

FilterGraph::~FilterGraph() {
  Stop();
  // Connected pins hold each other's filters: part them first.
  for (int32_t i = 0; i < count_; ++i) {
    IBaseFilter* const filter = entries_[i].filter.Get();
    for (int32_t p = 0; IPin* pin = filter->GetPin(p); ++p) pin->Disconnect();
    filter->SetSyncSource(nullptr);
  }
}

HRESULT FilterGraph::QueryInterface(const GUID& iid, void** object) noexcept {
  if (object == nullptr) return E_POINTER;
  if (iid == IID_IGraphBuilder || iid == IID_IUnknown) return HandOut<IGraphBuilder>(this, object);
  if (iid == IID_IMediaControl) return HandOut<IMediaControl>(this, object);
  if (iid == IID_IBasicAudio) return HandOut<IBasicAudio>(this, object);
  *object = nullptr;
  return E_NOINTERFACE;
}

uint32_t FilterGraph::Release() noexcept {
  const uint32_t left = references_.Drop();
  if (left == 0) delete this;
  return left;
}

FilterGraph::Entry* FilterGraph::Find(const char* name) noexcept {
  char cut[kNameLength];
  CutName(name, cut);
  for (int32_t i = 0; i < count_; ++i)
    if (std::strcmp(entries_[i].name, cut) == 0) return &entries_[i];
  return nullptr;
}

HRESULT FilterGraph::AddFilter(IBaseFilter* filter, const char* name) noexcept {
  if (filter == nullptr || name == nullptr) return E_POINTER;
  if (Find(name) != nullptr) return VFW_E_DUPLICATE_NAME;
  if (count_ == kMostFilters) return E_OUTOFMEMORY;
  Entry& entry = entries_[count_++];
  entry.filter.Share(filter);
  CutName(name, entry.name);
  filter->SetSyncSource(clock_.Get());
  return S_OK;
}

HRESULT FilterGraph::FindFilterByName(const char* name, IBaseFilter** filter) noexcept {
  if (name == nullptr || filter == nullptr) return E_POINTER;
  *filter = nullptr;
  const Entry* const entry = Find(name);
  if (entry == nullptr) return VFW_E_NOT_FOUND;
  *filter = entry->filter.Get();
  (*filter)->AddRef();
  return S_OK;
}

HRESULT FilterGraph::Run() noexcept {
  for (int32_t i = count_ - 1; i >= 0; --i) {
    const HRESULT result = entries_[i].filter->Pause();
    if (result < 0) {
      Stop();
      return result;
    }
  }
  int64_t now = 0;
  clock_->GetTime(&now);
  for (int32_t i = count_ - 1; i >= 0; --i) entries_[i].filter->Run(now);
  return S_OK;
}

HRESULT FilterGraph::Stop() noexcept {
  for (int32_t i = count_ - 1; i >= 0; --i) entries_[i].filter->Stop();
  return S_OK;
}

Reference<IBasicAudio> FilterGraph::Audio() noexcept {
  Reference<IBasicAudio> audio;
  for (int32_t i = 0; i < count_ && !audio; ++i)
    entries_[i].filter->QueryInterface(IID_IBasicAudio, audio.ReceiveVoid());
  return audio;
}

HRESULT FilterGraph::put_Volume(int32_t level) noexcept {
  const Reference<IBasicAudio> audio = Audio();
  return audio ? audio->put_Volume(level) : HRESULT{E_NOTIMPL};
}

HRESULT FilterGraph::get_Volume(int32_t* level) noexcept {
  const Reference<IBasicAudio> audio = Audio();
  return audio ? audio->get_Volume(level) : HRESULT{E_NOTIMPL};
}

}  // namespace orbel
