#include "platform/registry.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace orbel {
namespace {

// A list element with a name behind it, and with bytes behind that.
struct RegistryValue {
  RegistryValue* next;
  size_t nameSize;
  size_t size;

  char* Text() { return reinterpret_cast<char*>(this + 1); }
  std::string_view Name() const { return {reinterpret_cast<const char*>(this + 1), nameSize}; }
  std::string_view Bytes() const { return {Name().data() + nameSize, size}; }
};

char Lower(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

bool SameName(std::string_view a, std::string_view b) noexcept {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return Lower(x) == Lower(y); });
}

// Cuts the first name off a path.
std::string_view TakeName(std::string_view* path) noexcept {
  const size_t end = std::min(path->find('\\'), path->size());
  const std::string_view name = path->substr(0, end);
  path->remove_prefix(std::min(end + 1, path->size()));
  return name;
}

RegistryValue* NewValue(std::string_view name, std::string_view bytes) noexcept {
  void* const room =
      ::operator new(sizeof(RegistryValue) + name.size() + bytes.size(), std::nothrow);
  if (room == nullptr) return nullptr;
  auto* const value = new (room) RegistryValue{nullptr, name.size(), bytes.size()};
  name.copy(value->Text(), name.size());
  bytes.copy(value->Text() + name.size(), bytes.size());
  return value;
}

}  // namespace

struct RegistryNode {
  RegistryNode* next;
  RegistryNode* children;
  RegistryValue* values;
  size_t nameSize;

  std::string_view Name() const { return {reinterpret_cast<const char*>(this + 1), nameSize}; }
};

namespace {

RegistryNode* NewNode(std::string_view name) noexcept {
  void* const room = ::operator new(sizeof(RegistryNode) + name.size(), std::nothrow);
  if (room == nullptr) return nullptr;
  auto* const node = new (room) RegistryNode{nullptr, nullptr, nullptr, name.size()};
  name.copy(reinterpret_cast<char*>(node + 1), name.size());
  return node;
}

// As deep as the tree is, which scripts may not make deeper than 32 keys.
void Delete(RegistryNode* node) noexcept {
  if (node == nullptr) return;
  while (RegistryNode* child = node->children) {
    node->children = child->next;
    Delete(child);
  }
  while (RegistryValue* value = node->values) {
    node->values = value->next;
    ::operator delete(value);
  }
  ::operator delete(node);
}

// The link that leads to the child or value of a name, or the last one.
template <class Element>
Element** LinkTo(Element** link, std::string_view name) noexcept {
  while (*link != nullptr && !SameName((*link)->Name(), name)) link = &(*link)->next;
  return link;
}

}  // namespace

std::string_view RegistryKey::Name() const noexcept { return node_->Name(); }

RegistryKey RegistryKey::FirstChild() const noexcept {
  return RegistryKey(node_ == nullptr ? nullptr : node_->children);
}

RegistryKey RegistryKey::Next() const noexcept { return RegistryKey(node_->next); }

RegistryKey RegistryKey::Child(std::string_view path) const noexcept {
  const RegistryNode* node = node_;
  while (node != nullptr && !path.empty()) {
    const std::string_view name = TakeName(&path);
    node = node->children;
    while (node != nullptr && !SameName(node->Name(), name)) node = node->next;
  }
  return RegistryKey(node);
}

std::string_view RegistryKey::Value(std::string_view name) const noexcept {
  const RegistryValue* value = node_ == nullptr ? nullptr : node_->values;
  while (value != nullptr && !SameName(value->Name(), name)) value = value->next;
  return value == nullptr ? std::string_view() : value->Bytes();
}

namespace {

// Never destroyed, since other threads and other libraries' destructors may still call.
union ImmortalRegistry {
  constexpr ImmortalRegistry() noexcept : registry() {}
  ~ImmortalRegistry() {}
  Registry registry;
};
constinit ImmortalRegistry ofProcess;

// Runs when the library is unloaded, and at exit.
__attribute__((destructor)) void EmptyRegistry() { ofProcess.registry.Clear(); }

}  // namespace

Registry& Registry::OfProcess() noexcept { return ofProcess.registry; }

void Registry::Clear() noexcept {
  const RegistryLock lock(*this);
  Delete(root_);
  root_ = nullptr;
}

RegistryKey Registry::Find(std::string_view path) const noexcept {
  return RegistryKey(root_).Child(path);
}

RegistryNode* Registry::Make(std::string_view path, HRESULT* result) noexcept {
  *result = E_OUTOFMEMORY;
  if (root_ == nullptr) root_ = NewNode("");
  RegistryNode* node = root_;
  if (!path.empty() && path.back() == '\\') *result = E_INVALIDARG;
  if (*result == E_INVALIDARG) return nullptr;
  RegistryNode** made = nullptr;  // the first link that was not there
  while (node != nullptr && !path.empty()) {
    const std::string_view name = TakeName(&path);
    RegistryNode** const link = LinkTo(&node->children, name);
    if (*link == nullptr) {
      if (made == nullptr) made = link;
      if (name.empty()) *result = E_INVALIDARG;
      if (!name.empty()) *link = NewNode(name);
    }
    node = *link;
  }
  if (node != nullptr) {
    *result = S_OK;
    return node;
  }
  if (made != nullptr) {
    Delete(*made);
    *made = nullptr;
  }
  return nullptr;
}

HRESULT Registry::MakeKey(std::string_view path) noexcept {
  const RegistryLock lock(*this);
  HRESULT result = S_OK;
  Make(path, &result);
  return result;
}

HRESULT Registry::SetValue(std::string_view path, std::string_view name,
                           std::string_view bytes) noexcept {
  const RegistryLock lock(*this);
  RegistryValue* const value = NewValue(name, bytes);
  if (value == nullptr) return E_OUTOFMEMORY;
  HRESULT result = S_OK;
  RegistryNode* const node = Make(path, &result);
  if (node == nullptr) {
    ::operator delete(value);
    return result;
  }
  RegistryValue** const link = LinkTo(&node->values, name);
  if (RegistryValue* const old = *link) {
    value->next = old->next;
    ::operator delete(old);
  }
  *link = value;
  return S_OK;
}

HRESULT Registry::RemoveKey(std::string_view path) noexcept {
  const RegistryLock lock(*this);
  const size_t cut = path.rfind('\\');
  const std::string_view parent = cut == path.npos ? std::string_view() : path.substr(0, cut);
  const std::string_view name = cut == path.npos ? path : path.substr(cut + 1);
  RegistryNode* node = root_;
  for (std::string_view rest = parent; node != nullptr && !rest.empty();)
    node = *LinkTo(&node->children, TakeName(&rest));
  if (node == nullptr) return S_FALSE;
  RegistryNode** const link = LinkTo(&node->children, name);
  RegistryNode* const found = *link;
  if (found == nullptr) return S_FALSE;
  *link = found->next;
  Delete(found);
  return S_OK;
}

}  // namespace orbel
