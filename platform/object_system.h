// The object system: reference counts, class identifiers, creation by class.
//
// CoInitializeEx, CoUninitialize, CoTaskMemAlloc and CoTaskMemFree, which C
// hosts call too, are declared in orbel/player.h, CoCreateInstance in
// orbel/registration.h.
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

#include "orbel/registration.h"

namespace orbel {

// Where an object may run. Only in-process servers exist here; a handler bit
// beside it is accepted.
enum : uint32_t { kInProcessServer = ORBEL_CLSCTX_INPROC_SERVER, kInProcessHandler = 2 };

// A class that CoCreateInstance can make. Lives as long as the library.
struct ClassEntry {
  GUID classId;
  HRESULT (*create)(const GUID& iid, void** object) noexcept;
  ClassEntry* next;
};

// Adds a class while the library loads. The last one added under an identifier
// is the one that is found.
void AddClass(ClassEntry* entry) noexcept;

// The reference count of an object; starts at one, for whoever made it.
class ReferenceCount {
 public:
  uint32_t Add() noexcept { return count_.fetch_add(1, std::memory_order_relaxed) + 1; }
  uint32_t Drop() noexcept { return count_.fetch_sub(1, std::memory_order_acq_rel) - 1; }

 private:
  std::atomic<uint32_t> count_{1};
};

// Owns one reference.
template <class T>
class Reference {
 public:
  Reference() noexcept = default;
  explicit Reference(T* taken) noexcept : pointer_(taken) {}
  Reference(Reference&& other) noexcept : pointer_(other.Detach()) {}
  Reference(const Reference&) = delete;
  Reference& operator=(const Reference&) = delete;
  ~Reference() { Clear(); }

  T* Get() const noexcept { return pointer_; }
  T* operator->() const noexcept { return pointer_; }
  explicit operator bool() const noexcept { return pointer_ != nullptr; }

  // Releases what is held.
  void Clear() noexcept {
    if (T* held = Detach()) held->Release();
  }
  // Takes a reference of its own.
  void Share(T* pointer) noexcept {
    if (pointer != nullptr) pointer->AddRef();
    Clear();
    pointer_ = pointer;
  }
  // Gives the reference away.
  T* Detach() noexcept { return std::exchange(pointer_, nullptr); }
  // For functions that hand out a reference.
  T** Receive() noexcept {
    Clear();
    return &pointer_;
  }
  void** ReceiveVoid() noexcept { return reinterpret_cast<void**>(Receive()); }

 private:
  T* pointer_ = nullptr;
};

// Finishes a QueryInterface: hands out `found` (or nothing) with a reference.
template <class T>
HRESULT HandOut(T* found, void** object) noexcept {
  found->AddRef();
  *object = found;
  return S_OK;
}

}  // namespace orbel
