// The registry of this process: a tree of keys with named values, in memory.
//
// A path is names with backslashes between them. Names of keys and values
// compare without regard to case; the value without a name is the key's own.
#pragma once

#include <cstdint>
#include <string_view>

#include "orbel/media_object.h"
#include "platform/critical_section.h"

namespace orbel {

struct RegistryNode;

// A key while the registry is locked.
class RegistryKey {
 public:
  explicit RegistryKey(const RegistryNode* node) noexcept : node_(node) {}

  explicit operator bool() const noexcept { return node_ != nullptr; }
  std::string_view Name() const noexcept;
  // In the order in which they were made.
  RegistryKey FirstChild() const noexcept;
  RegistryKey Next() const noexcept;
  RegistryKey Child(std::string_view path) const noexcept;
  // The bytes of a value; null data when there is none.
  std::string_view Value(std::string_view name) const noexcept;

 private:
  const RegistryNode* node_;
};

class Registry {
 public:
  // Good until the process ends, static destruction included; emptied when the
  // library goes.
  static Registry& OfProcess() noexcept;

  constexpr Registry() noexcept = default;
  ~Registry() { Clear(); }
  Registry(const Registry&) = delete;
  Registry& operator=(const Registry&) = delete;

  // Make what is missing of the path. S_OK, or E_OUTOFMEMORY with what stood
  // there left as it was; E_INVALIDARG for a path with an empty name.
  HRESULT MakeKey(std::string_view path) noexcept;
  HRESULT SetValue(std::string_view path, std::string_view name, std::string_view bytes) noexcept;
  void Clear() noexcept;
  // With all below it. S_FALSE when it is not there.
  HRESULT RemoveKey(std::string_view path) noexcept;

  // Keys and values that are read stay as they are between these two. One thread
  // may lock twice, and change things in between.
  void Lock() noexcept { section_.Enter(); }
  void Unlock() noexcept { section_.Leave(); }
  // The key at the path, of a locked registry; an empty path gives the root.
  RegistryKey Find(std::string_view path) const noexcept;

 private:
  RegistryNode* Make(std::string_view path, HRESULT* result) noexcept;

  CriticalSection section_;
  RegistryNode* root_ = nullptr;
};

// Locks for a scope.
class RegistryLock {
 public:
  explicit RegistryLock(Registry& registry) noexcept : registry_(registry) { registry_.Lock(); }
  ~RegistryLock() { registry_.Unlock(); }
  RegistryLock(const RegistryLock&) = delete;
  RegistryLock& operator=(const RegistryLock&) = delete;

 private:
  Registry& registry_;
};

}  // namespace orbel
