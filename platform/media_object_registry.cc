// Each object has a key with its name, types and flags, and an empty key in each
// of its categories:
//
//   HKCR\MediaObjects\{class}
//   HKCR\MediaObjects\Categories\{category}\{class}
#include "platform/media_object_registry.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "platform/guid_text.h"
#include "platform/module_use.h"
#include "platform/object_system.h"
#include "platform/registry.h"

namespace orbel {
namespace {

constexpr std::string_view kObjects = "HKCR\\MediaObjects";
constexpr std::string_view kCategories = "HKCR\\MediaObjects\\Categories";
constexpr std::string_view kInputTypes = "InputTypes";
constexpr std::string_view kOutputTypes = "OutputTypes";
constexpr std::string_view kKeyed = "Keyed";
constexpr size_t kNameRoom = 80;

// A path below one of the two keys.
class Path {
 public:
  Path(std::string_view base, const GUID& first) noexcept {
    Add(base);
    Add(first);
  }
  Path(std::string_view base, const GUID& first, const GUID& second) noexcept : Path(base, first) {
    Add(second);
  }
  std::string_view View() const noexcept { return {text_, size_}; }

 private:
  void Add(std::string_view text) noexcept { size_ += text.copy(text_ + size_, text.size()); }
  void Add(const GUID& guid) noexcept {
    Add("\\");
    Add(GuidText(guid).View());
  }

  size_t size_ = 0;
  char text_[kCategories.size() + 80];
};

std::string_view BytesOf(const DMO_PARTIAL_MEDIATYPE* types, uint32_t count) noexcept {
  return {reinterpret_cast<const char*>(types), count * sizeof *types};
}

bool Fits(const GUID& a, const GUID& b) noexcept {
  return a == b || a == GUID_NULL || b == GUID_NULL;
}

// Whether one of the registered types is one of those asked for; without any
// asked for, all are welcome.
bool TypesFit(std::string_view registered, const DMO_PARTIAL_MEDIATYPE* asked,
              uint32_t count) noexcept {
  if (count == 0) return true;
  for (; registered.size() >= sizeof *asked; registered.remove_prefix(sizeof *asked)) {
    DMO_PARTIAL_MEDIATYPE own;
    std::memcpy(&own, registered.data(), sizeof own);
    for (uint32_t i = 0; i < count; ++i)
      if (Fits(own.type, asked[i].type) && Fits(own.subtype, asked[i].subtype)) return true;
  }
  return false;
}

char* CopyOfName(std::string_view name) noexcept {
  auto* const copy = static_cast<char*>(CoTaskMemAlloc(name.size() + 1));
  if (copy != nullptr) copy[name.copy(copy, name.size())] = '\0';
  return copy;
}

// What an enumeration has found: shared by its clones, fixed once it is whole.
struct Finding {
  GUID classId;
  char* name;
};

class Findings {
 public:
  static Findings* Create(uint32_t room) noexcept {
    auto* const findings = new (std::nothrow) Findings;
    if (findings == nullptr) return nullptr;
    findings->items_ = new (std::nothrow) Finding[std::max(room, 1U)];
    if (findings->items_ != nullptr) return findings;
    findings->Release();
    return nullptr;
  }
  bool Add(const GUID& classId, std::string_view name) noexcept {
    items_[count_] = {classId, CopyOfName(name)};
    return items_[count_++].name != nullptr;
  }
  bool Has(const GUID& classId) const noexcept {
    return std::any_of(items_, items_ + count_,
                       [&](const Finding& item) { return item.classId == classId; });
  }
  uint32_t Count() const noexcept { return count_; }
  const Finding& At(uint32_t i) const noexcept { return items_[i]; }
  void AddRef() noexcept { references_.Add(); }
  void Release() noexcept {
    if (references_.Drop() == 0) delete this;
  }

 private:
  ~Findings() {
    for (uint32_t i = 0; i < count_; ++i) CoTaskMemFree(items_[i].name);
    delete[] items_;
  }

  ReferenceCount references_;
  Finding* items_ = nullptr;
  uint32_t count_ = 0;
};

class Enumeration final : public IEnumDMO {
 public:
  Enumeration(Findings* findings, uint32_t next) noexcept : findings_(findings), next_(next) {
    findings->AddRef();
  }

  HRESULT QueryInterface(const GUID& iid, void** object) noexcept override {
    if (object == nullptr) return E_POINTER;
    if (iid == IID_IEnumDMO || iid == IID_IUnknown) return HandOut<IEnumDMO>(this, object);
    *object = nullptr;
    return E_NOINTERFACE;
  }
  uint32_t AddRef() noexcept override { return references_.Add(); }
  uint32_t Release() noexcept override {
    const uint32_t left = references_.Drop();
    if (left == 0) delete this;
    return left;
  }

  HRESULT Next(uint32_t count, GUID* classIds, char** names, uint32_t* fetched) noexcept override {
    if (fetched != nullptr) *fetched = 0;
    if (classIds == nullptr) return E_POINTER;
    if (fetched == nullptr && count != 1) return E_INVALIDARG;
    const AutoLock lock(section_);
    const uint32_t take = std::min(count, findings_->Count() - next_);
    for (uint32_t i = 0; i < take; ++i) {
      const Finding& item = findings_->At(next_ + i);
      classIds[i] = item.classId;
      if (names == nullptr) continue;
      names[i] = CopyOfName(item.name);
      if (names[i] != nullptr) continue;
      while (i-- > 0) {
        CoTaskMemFree(names[i]);
        names[i] = nullptr;
      }
      return E_OUTOFMEMORY;
    }
    next_ += take;
    if (fetched != nullptr) *fetched = take;
    return take == count ? S_OK : S_FALSE;
  }
  HRESULT Skip(uint32_t count) noexcept override {
    const AutoLock lock(section_);
    const uint32_t take = std::min(count, findings_->Count() - next_);
    next_ += take;
    return take == count ? S_OK : S_FALSE;
  }
  HRESULT Reset() noexcept override {
    const AutoLock lock(section_);
    next_ = 0;
    return S_OK;
  }
  HRESULT Clone(IEnumDMO** copy) noexcept override {
    if (copy == nullptr) return E_POINTER;
    const AutoLock lock(section_);
    *copy = new (std::nothrow) Enumeration(findings_, next_);
    return *copy != nullptr ? S_OK : E_OUTOFMEMORY;
  }

 private:
  ~Enumeration() { findings_->Release(); }

  ModuleUse moduleUse_;
  ReferenceCount references_;
  CriticalSection section_;
  Findings* const findings_;
  uint32_t next_;
};

// What DMOEnum was asked for.
struct Wish {
  bool keyed;
  uint32_t inputCount;
  const DMO_PARTIAL_MEDIATYPE* inputs;
  uint32_t outputCount;
  const DMO_PARTIAL_MEDIATYPE* outputs;

  bool Takes(RegistryKey object) const noexcept {
    return object && (keyed || object.Value(kKeyed).empty()) &&
           TypesFit(object.Value(kInputTypes), inputs, inputCount) &&
           TypesFit(object.Value(kOutputTypes), outputs, outputCount);
  }
};

uint32_t CountChildren(RegistryKey key) noexcept {
  uint32_t count = 0;
  for (RegistryKey child = key.FirstChild(); child; child = child.Next()) ++count;
  return count;
}

// False when memory ran out.
bool Collect(const Registry& registry, RegistryKey category, const Wish& wish,
             Findings* findings) noexcept {
  for (RegistryKey entry = category.FirstChild(); entry; entry = entry.Next()) {
    GUID classId;
    if (!ParseGuid(entry.Name(), &classId) || findings->Has(classId)) continue;
    const RegistryKey object = registry.Find(Path(kObjects, classId).View());
    if (wish.Takes(object) && !findings->Add(classId, object.Value(""))) return false;
  }
  return true;
}

Findings* FindObjects(const GUID& category, const Wish& wish) noexcept {
  Registry& registry = Registry::OfProcess();
  const RegistryLock lock(registry);
  const RegistryKey all = registry.Find(kCategories);
  // The key of categories is a child of the objects' one too.
  Findings* const findings = Findings::Create(CountChildren(registry.Find(kObjects)));
  if (findings == nullptr) return nullptr;
  bool good = true;
  if (category != GUID_NULL)
    good = Collect(registry, all.Child(GuidText(category).View()), wish, findings);
  else
    for (RegistryKey each = all.FirstChild(); each && good; each = each.Next())
      good = Collect(registry, each, wish, findings);
  if (good) return findings;
  findings->Release();
  return nullptr;
}

bool IsInACategory(const Registry& registry, const GUID& classId) noexcept {
  const GuidText text(classId);
  for (RegistryKey each = registry.Find(kCategories).FirstChild(); each; each = each.Next())
    if (each.Child(text.View())) return true;
  return false;
}

// Copies as many types as there is room for. False when there are more.
bool CopyTypes(std::string_view bytes, uint32_t room, uint32_t* count,
               DMO_PARTIAL_MEDIATYPE* types) noexcept {
  const size_t there = bytes.size() / sizeof *types;
  *count = static_cast<uint32_t>(std::min<size_t>(there, room));
  if (*count > 0) std::memcpy(types, bytes.data(), *count * sizeof *types);
  return there <= room;
}

}  // namespace

HRESULT DMORegister(const char* name, const GUID& classId, const GUID& category, uint32_t flags,
                    uint32_t inputCount, const DMO_PARTIAL_MEDIATYPE* inputs, uint32_t outputCount,
                    const DMO_PARTIAL_MEDIATYPE* outputs) noexcept {
  if (name == nullptr || (inputCount > 0 && inputs == nullptr) ||
      (outputCount > 0 && outputs == nullptr))
    return E_POINTER;
  if (name[0] == '\0' || classId == GUID_NULL || category == GUID_NULL) return E_INVALIDARG;
  Registry& registry = Registry::OfProcess();
  const RegistryLock lock(registry);
  const Path object(kObjects, classId);
  const std::string_view keyed = (flags & DMO_REGISTERF_IS_KEYED) != 0 ? "1" : "";
  HRESULT result = registry.SetValue(object.View(), "", name);
  if (result == S_OK)
    result = registry.SetValue(object.View(), kInputTypes, BytesOf(inputs, inputCount));
  if (result == S_OK)
    result = registry.SetValue(object.View(), kOutputTypes, BytesOf(outputs, outputCount));
  if (result == S_OK) result = registry.SetValue(object.View(), kKeyed, keyed);
  if (result == S_OK) result = registry.MakeKey(Path(kCategories, category, classId).View());
  if (result != S_OK) DMOUnregister(classId, category);
  return result;
}

HRESULT DMOUnregister(const GUID& classId, const GUID& category) noexcept {
  Registry& registry = Registry::OfProcess();
  const RegistryLock lock(registry);
  HRESULT result = S_FALSE;
  for (RegistryKey each = registry.Find(kCategories).FirstChild(); each; each = each.Next()) {
    GUID own;
    if (!ParseGuid(each.Name(), &own) || (category != GUID_NULL && own != category)) continue;
    if (registry.RemoveKey(Path(kCategories, own, classId).View()) == S_OK) result = S_OK;
  }
  if (!IsInACategory(registry, classId)) registry.RemoveKey(Path(kObjects, classId).View());
  return result;
}

}  // namespace orbel

extern "C" {

HRESULT DMOEnum(const GUID& category, uint32_t flags, uint32_t inputCount,
                const DMO_PARTIAL_MEDIATYPE* inputs, uint32_t outputCount,
                const DMO_PARTIAL_MEDIATYPE* outputs, IEnumDMO** enumeration) noexcept {
  using orbel::Enumeration;
  if (enumeration == nullptr) return E_POINTER;
  *enumeration = nullptr;
  if ((inputCount > 0 && inputs == nullptr) || (outputCount > 0 && outputs == nullptr))
    return E_POINTER;
  const bool keyed = (flags & DMO_ENUMF_INCLUDE_KEYED) != 0;
  orbel::Findings* const findings =
      orbel::FindObjects(category, {keyed, inputCount, inputs, outputCount, outputs});
  if (findings == nullptr) return E_OUTOFMEMORY;
  *enumeration = new (std::nothrow) Enumeration(findings, 0);
  findings->Release();
  return *enumeration != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT DMOGetName(const GUID& classId, char name[80]) noexcept {
  using namespace orbel;
  if (name == nullptr) return E_POINTER;
  Registry& registry = Registry::OfProcess();
  const RegistryLock lock(registry);
  const RegistryKey object = registry.Find(Path(kObjects, classId).View());
  if (!object) return E_FAIL;
  name[object.Value("").copy(name, kNameRoom - 1)] = '\0';
  return S_OK;
}

HRESULT DMOGetTypes(const GUID& classId, uint32_t inputRoom, uint32_t* inputCount,
                    DMO_PARTIAL_MEDIATYPE* inputs, uint32_t outputRoom, uint32_t* outputCount,
                    DMO_PARTIAL_MEDIATYPE* outputs) noexcept {
  using namespace orbel;
  if (inputCount == nullptr || outputCount == nullptr || (inputRoom > 0 && inputs == nullptr) ||
      (outputRoom > 0 && outputs == nullptr))
    return E_POINTER;
  Registry& registry = Registry::OfProcess();
  const RegistryLock lock(registry);
  const RegistryKey object = registry.Find(Path(kObjects, classId).View());
  if (!object) return E_FAIL;
  const bool allIn = CopyTypes(object.Value(kInputTypes), inputRoom, inputCount, inputs);
  const bool allOut = CopyTypes(object.Value(kOutputTypes), outputRoom, outputCount, outputs);
  return allIn && allOut ? S_OK : S_FALSE;
}

}  // extern "C"
