#include "dsp/memory.h"

#include <cstring>
#include <new>

namespace orbel {
namespace {

constexpr int64_t kAlignment = 32;
constexpr int64_t kAddressBytes = sizeof(void*);
// Room for the heap's own address, which stands before the block, and for the
// way up to the next multiple.
constexpr int64_t kOverhead = kAlignment + kAddressBytes;

}  // namespace

uint8_t* dspMalloc_8u(int64_t size) {
  if (size <= 0 || size > INT64_MAX - kOverhead) return nullptr;
  auto* const heap =
      static_cast<uint8_t*>(::operator new(static_cast<size_t>(size + kOverhead), std::nothrow));
  if (heap == nullptr) return nullptr;
  uint8_t* const free = heap + kAddressBytes;
  uint8_t* const block = free + ((0 - reinterpret_cast<uintptr_t>(free)) & (kAlignment - 1));
  std::memcpy(block - kAddressBytes, &heap, sizeof heap);
  return block;
}

void dspFree(void* memory) {
  if (memory == nullptr) return;
  void* heap = nullptr;
  std::memcpy(&heap, static_cast<uint8_t*>(memory) - kAddressBytes, sizeof heap);
  ::operator delete(heap);
}

}  // namespace orbel
