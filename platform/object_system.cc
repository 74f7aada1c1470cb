#include "platform/object_system.h"

#include <cstdlib>

#include "platform/audio_output.h"
#include "platform/capture_graph_builder.h"
#include "platform/filter_graph.h"
#include "platform/identifiers.h"
#include "platform/media_object_wrapper.h"

namespace orbel {
namespace {

struct ThreadState {
  uint32_t count;
  uint32_t model;
};
thread_local constinit ThreadState threadState = {0, 0};

// The platform's own classes, ahead of those added while the library loads.
constinit ClassEntry ownClasses[4] = {
    {CLSID_FilterGraph, &CreateFilterGraph, &ownClasses[1]},
    {CLSID_CaptureGraphBuilder2, &CreateCaptureGraphBuilder, &ownClasses[2]},
    {CLSID_DMOWrapperFilter, &CreateMediaObjectWrapper, &ownClasses[3]},
    {CLSID_DSoundRender, &CreateAudioOutput, nullptr},
};
constinit std::atomic<ClassEntry*> classes{&ownClasses[0]};

}  // namespace

void AddClass(ClassEntry* entry) noexcept {
  entry->next = classes.load(std::memory_order_relaxed);
  while (!classes.compare_exchange_weak(entry->next, entry, std::memory_order_release)) {
  }
}

}  // namespace orbel

extern "C" {

HRESULT CoCreateInstance(const GUID& classId, IUnknown* outer, uint32_t context, const GUID& iid,
                         void** object) noexcept {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  if (orbel::threadState.count == 0) return CO_E_NOTINITIALIZED;
  if ((context & orbel::kInProcessServer) == 0) return REGDB_E_CLASSNOTREG;
  for (const orbel::ClassEntry* entry = orbel::classes.load(std::memory_order_acquire);
       entry != nullptr; entry = entry->next) {
    if (entry->classId != classId) continue;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    return entry->create(iid, object);
  }
  return REGDB_E_CLASSNOTREG;
}

int32_t CoInitializeEx(void* reserved, uint32_t model) noexcept {
  using orbel::threadState;
  if (reserved != nullptr) return E_INVALIDARG;
  const uint32_t apartment = model & ORBEL_COINIT_APARTMENTTHREADED;
  if (threadState.count == 0) {
    threadState.model = apartment;
    threadState.count = 1;
    return S_OK;
  }
  if (threadState.model != apartment) return RPC_E_CHANGED_MODE;
  ++threadState.count;
  return S_FALSE;
}

void CoUninitialize() noexcept {
  if (orbel::threadState.count > 0) --orbel::threadState.count;
}

void* CoTaskMemAlloc(size_t size) noexcept { return std::malloc(size > 0 ? size : 1); }

void CoTaskMemFree(void* memory) noexcept { std::free(memory); }

}  // extern "C"
