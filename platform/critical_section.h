// A lock that one thread may enter more than once.
#pragma once

#include <pthread.h>

namespace orbel {

class CriticalSection {
 public:
  constexpr CriticalSection() noexcept = default;
  ~CriticalSection() { pthread_mutex_destroy(&mutex_); }
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;

  void Enter() noexcept { pthread_mutex_lock(&mutex_); }
  void Leave() noexcept { pthread_mutex_unlock(&mutex_); }

 private:
  pthread_mutex_t mutex_ = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
};

// Holds a critical section for a scope.
class AutoLock {
 public:
  explicit AutoLock(CriticalSection& section) noexcept : section_(section) { section_.Enter(); }
  ~AutoLock() { section_.Leave(); }
  AutoLock(const AutoLock&) = delete;
  AutoLock& operator=(const AutoLock&) = delete;

 private:
  CriticalSection& section_;
};

}  // namespace orbel
