#include "support/heap_meter.h"

#include <malloc.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

std::atomic<int64_t> allocations{0};
std::atomic<int64_t> live{0};
thread_local int64_t failAfter = -1;
thread_local bool failed = false;

bool MayAllocate() {
  if (failAfter < 0) return true;
  if (failAfter == 0) {
    failed = true;
    return false;
  }
  --failAfter;
  return true;
}

void* Count(void* memory) {
  if (memory != nullptr) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    live.fetch_add(static_cast<int64_t>(malloc_usable_size(memory)), std::memory_order_relaxed);
  }
  return memory;
}

void* Take(size_t size) {
  return MayAllocate() ? Count(std::malloc(size > 0 ? size : 1)) : nullptr;
}

void* TakeAligned(size_t size, std::align_val_t alignment) {
  if (!MayAllocate()) return nullptr;
  void* memory = nullptr;
  if (posix_memalign(&memory, static_cast<size_t>(alignment), size > 0 ? size : 1) != 0)
    return nullptr;
  return Count(memory);
}

void Give(void* memory) {
  if (memory == nullptr) return;
  live.fetch_sub(static_cast<int64_t>(malloc_usable_size(memory)), std::memory_order_relaxed);
  std::free(memory);
}

template <class F>
void* OrThrow(F take) {
  void* const memory = take();
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

namespace heap {

Meter Read() { return {allocations.load(), live.load()}; }
void FailFrom(int64_t n) {
  failAfter = n;
  if (n >= 0) failed = false;
}
bool HasFailed() { return failed; }

}  // namespace heap

void* operator new(size_t size) {
  return OrThrow([=] { return Take(size); });
}
void* operator new[](size_t size) {
  return OrThrow([=] { return Take(size); });
}
void* operator new(size_t size, std::align_val_t alignment) {
  return OrThrow([=] { return TakeAligned(size, alignment); });
}
void* operator new[](size_t size, std::align_val_t alignment) {
  return OrThrow([=] { return TakeAligned(size, alignment); });
}
void* operator new(size_t size, const std::nothrow_t&) noexcept { return Take(size); }
void* operator new[](size_t size, const std::nothrow_t&) noexcept { return Take(size); }
void* operator new(size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return TakeAligned(size, alignment);
}
void* operator new[](size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return TakeAligned(size, alignment);
}
void operator delete(void* memory) noexcept { Give(memory); }
void operator delete[](void* memory) noexcept { Give(memory); }
void operator delete(void* memory, size_t) noexcept { Give(memory); }
void operator delete[](void* memory, size_t) noexcept { Give(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { Give(memory); }
void operator delete[](void* memory, std::align_val_t) noexcept { Give(memory); }
void operator delete(void* memory, size_t, std::align_val_t) noexcept { Give(memory); }
void operator delete[](void* memory, size_t, std::align_val_t) noexcept { Give(memory); }
