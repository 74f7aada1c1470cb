#include "platform/module_use.h"

#include <atomic>
#include <cstdint>

namespace orbel {
namespace {

constinit std::atomic<int64_t> uses{0};
constinit std::atomic<int64_t> locks{0};

}  // namespace

void HoldModule() noexcept { uses.fetch_add(1, std::memory_order_relaxed); }

void LetModuleGo() noexcept { uses.fetch_sub(1, std::memory_order_release); }

bool IsModuleHeld() noexcept {
  return uses.load(std::memory_order_acquire) > 0 || locks.load(std::memory_order_acquire) > 0;
}

void LockModule() noexcept { locks.fetch_add(1, std::memory_order_relaxed); }

void UnlockModule() noexcept {
  int64_t count = locks.load(std::memory_order_relaxed);
  while (count > 0 && !locks.compare_exchange_weak(count, count - 1, std::memory_order_release)) {
  }
}

}  // namespace orbel
