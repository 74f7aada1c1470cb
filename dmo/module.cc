// The module's class factories and server exports.
#include "dmo/aac_decoder_object.h"
#include "dmo/audio_decoder.h"
#include "platform/module_use.h"
#include "platform/object_system.h"

namespace orbel {
namespace {

class ClassFactory final : public IClassFactory {
 public:
  using Create = HRESULT (*)(const GUID& iid, void** object) noexcept;
  constexpr explicit ClassFactory(Create create) noexcept : create_(create) {}

  HRESULT QueryInterface(const GUID& iid, void** object) noexcept override {
    if (object == nullptr) return E_POINTER;
    if (iid == IID_IClassFactory || iid == IID_IUnknown)
      return HandOut<IClassFactory>(this, object);
    *object = nullptr;
    return E_NOINTERFACE;
  }
  // A factory lives as long as the module; its references keep the module.
  uint32_t AddRef() noexcept override {
    HoldModule();
    return 2;
  }
  uint32_t Release() noexcept override {
    LetModuleGo();
    return 1;
  }
  HRESULT CreateInstance(IUnknown* outer, const GUID& iid, void** object) noexcept override {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    return outer != nullptr ? CLASS_E_NOAGGREGATION : create_(iid, object);
  }
  HRESULT LockServer(int32_t lock) noexcept override {
    if (lock != 0)
      LockModule();
    else
      UnlockModule();
    return S_OK;
  }

 private:
  Create create_;
};

struct ModuleClass {
  ClassEntry entry;
  ClassFactory factory;
};

constinit ModuleClass moduleClasses[] = {
    {{CLSID_aacdecoder, &CreateAacDecoder, nullptr}, ClassFactory(&CreateAacDecoder)},
    {{CLSID_audiodecoder, &CreateAudioDecoder, nullptr}, ClassFactory(&CreateAudioDecoder)},
};

// Runs when the library loads, before any export can.
__attribute__((constructor)) void AddModuleClasses() {
  for (ModuleClass& each : moduleClasses) AddClass(&each.entry);
}

}  // namespace

}  // namespace orbel

extern "C" {

HRESULT DllGetClassObject(const GUID& classId, const GUID& iid, void** object) noexcept {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  for (auto& each : orbel::moduleClasses)
    if (each.entry.classId == classId) return each.factory.QueryInterface(iid, object);
  return CLASS_E_CLASSNOTAVAILABLE;
}

HRESULT DllCanUnloadNow() noexcept { return orbel::IsModuleHeld() ? S_FALSE : S_OK; }

}  // extern "C"
