#include "umc/mutex.h"

namespace UMC {

Status Mutex::Initialize(Mutex* mutex) {
  if (mutex == nullptr) return UMC_ERR_NULL_PTR;
  mutex->section_.emplace();
  mutex->initialized_ = 1;
  return UMC_OK;
}

Status Mutex::Lock(Mutex* mutex) {
  if (mutex == nullptr) return UMC_ERR_NULL_PTR;
  if (mutex->initialized_ == 0) return UMC_ERR_NOT_INITIALIZED;
  mutex->section_->lock();
  return UMC_OK;
}

Status Mutex::Unlock(Mutex* mutex) {
  if (mutex == nullptr) return UMC_ERR_NULL_PTR;
  if (mutex->initialized_ == 0) return UMC_ERR_NOT_INITIALIZED;
  mutex->section_->unlock();
  return UMC_OK;
}

}  // namespace UMC
