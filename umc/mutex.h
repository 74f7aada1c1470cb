// The framework's lock. One thread may take it more than once.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>

#include "umc/status.h"

namespace UMC {

class Mutex {
 public:
  // Makes a fresh lock in place of one that exists, which nobody may hold.
  static Status Initialize(Mutex* mutex);

  // UMC_ERR_NULL_PTR for null, UMC_ERR_NOT_INITIALIZED before Initialize.
  static Status Lock(Mutex* mutex);
  static Status Unlock(Mutex* mutex);

 private:
  std::optional<std::recursive_mutex> section_;
  int32_t initialized_ = 0;
};

}  // namespace UMC
