#include "platform/sample_pool.h"

#include <algorithm>
#include <bit>
#include <new>

namespace orbel {

// ---- one sample ----------------------------------------------------------

HRESULT MediaSample::QueryInterface(const GUID& iid, void** object) noexcept {
  if (object == nullptr) return E_POINTER;
  if (iid == IID_IMediaBuffer || iid == IID_IUnknown) return HandOut<IMediaBuffer>(this, object);
  *object = nullptr;
  return E_NOINTERFACE;
}

// A count of one belongs to the caller alone, so no other thread can change it
// meanwhile and a plain store does.
uint32_t MediaSample::AddRef() noexcept {
  if (references_.load(std::memory_order_relaxed) == 1) {
    references_.store(2, std::memory_order_relaxed);
    return 2;
  }
  return references_.fetch_add(1, std::memory_order_relaxed) + 1;
}

uint32_t MediaSample::Release() noexcept {
  if (references_.load(std::memory_order_acquire) != 1) {
    const uint32_t left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left != 0) return left;
  }
  pool_->GiveBack(index_);  // the sample may be gone after this
  return 0;
}

HRESULT MediaSample::SetLength(uint32_t length) noexcept {
  if (length > static_cast<uint32_t>(size_)) return E_INVALIDARG;
  length_ = static_cast<int32_t>(length);
  return S_OK;
}

HRESULT MediaSample::GetMaxLength(uint32_t* maxLength) noexcept {
  if (maxLength == nullptr) return E_POINTER;
  *maxLength = static_cast<uint32_t>(size_);
  return S_OK;
}

HRESULT MediaSample::GetBufferAndLength(uint8_t** buffer, uint32_t* length) noexcept {
  if (buffer == nullptr && length == nullptr) return E_POINTER;
  if (buffer != nullptr) *buffer = data_;
  if (length != nullptr) *length = static_cast<uint32_t>(length_);
  return S_OK;
}

// ---- the pool ------------------------------------------------------------

SamplePool::~SamplePool() {
  delete[] samples_;
  ::operator delete (
      memory_,
      std::align_val_t{static_cast<size_t>(std::max(properties_.alignment, kDefaultAlignment))});
}

HRESULT SamplePool::QueryInterface(const GUID& iid, void** object) noexcept {
  if (object == nullptr) return E_POINTER;
  if (iid == IID_IMemAllocator || iid == IID_IUnknown) return HandOut<IMemAllocator>(this, object);
  *object = nullptr;
  return E_NOINTERFACE;
}

uint32_t SamplePool::AddRef() noexcept {
  return (word_.fetch_add(kOneReference, std::memory_order_relaxed) + kOneReference) >> 16;
}

uint32_t SamplePool::Release() noexcept {
  const uint32_t word = word_.fetch_sub(kOneReference, std::memory_order_acq_rel) - kOneReference;
  if (IsDead(word)) delete this;
  return word >> 16;
}

HRESULT SamplePool::SetProperties(const AllocatorProperties* request,
                                  AllocatorProperties* actual) noexcept {
  if (request == nullptr || actual == nullptr) return E_POINTER;
  const uint32_t now = word_.load(std::memory_order_acquire);
  if ((now & kCommitted) != 0) return VFW_E_ALREADY_COMMITTED;
  if ((now & kFreeBits) != AllFree()) return VFW_E_BUFFERS_OUTSTANDING;

  AllocatorProperties wanted;
  wanted.bufferCount = std::max(request->bufferCount, 1);
  wanted.bufferSize = request->bufferSize > 0 ? request->bufferSize : kDefaultBytes;
  wanted.alignment = std::max(request->alignment, kDefaultAlignment);
  if (wanted.bufferCount > kMostBuffers || wanted.bufferSize > kMostBytes ||
      !std::has_single_bit(static_cast<uint32_t>(wanted.alignment)) || wanted.alignment > 4096)
    return E_INVALIDARG;

  const auto alignment = static_cast<size_t>(wanted.alignment);
  const size_t stride =
      (static_cast<size_t>(wanted.bufferSize) + alignment - 1) / alignment * alignment;
  const auto count = static_cast<size_t>(wanted.bufferCount);
  auto* samples = new (std::nothrow) MediaSample[count];
  auto* memory = static_cast<uint8_t*>(
      ::operator new (stride* count, std::align_val_t{alignment}, std::nothrow));
  if (samples == nullptr || memory == nullptr) {
    delete[] samples;
    ::operator delete (memory, std::align_val_t{alignment});
    return E_OUTOFMEMORY;
  }

  delete[] samples_;
  ::operator delete (
      memory_,
      std::align_val_t{static_cast<size_t>(std::max(properties_.alignment, kDefaultAlignment))});
  samples_ = samples;
  memory_ = memory;
  properties_ = wanted;
  for (size_t i = 0; i < count; ++i) {
    samples[i].pool_ = this;
    samples[i].data_ = memory + i * stride;
    samples[i].size_ = wanted.bufferSize;
    samples[i].index_ = static_cast<int32_t>(i);
  }
  word_.fetch_or(AllFree(), std::memory_order_acq_rel);
  word_.fetch_and(~(kFreeBits & ~AllFree()), std::memory_order_acq_rel);
  *actual = wanted;
  return S_OK;
}

HRESULT SamplePool::GetProperties(AllocatorProperties* properties) noexcept {
  if (properties == nullptr) return E_POINTER;
  *properties = properties_;
  return S_OK;
}

HRESULT SamplePool::Commit() noexcept {
  word_.fetch_or(kCommitted, std::memory_order_acq_rel);
  return S_OK;
}

HRESULT SamplePool::Decommit() noexcept {
  word_.fetch_and(~kCommitted, std::memory_order_acq_rel);
  word_.notify_all();
  return S_OK;
}

HRESULT SamplePool::GetBuffer(MediaSample** sample) noexcept {
  if (sample == nullptr) return E_POINTER;
  *sample = nullptr;
  uint32_t now = word_.load(std::memory_order_acquire);
  for (;;) {
    if ((now & kCommitted) == 0) return VFW_E_NOT_COMMITTED;
    if ((now & kFreeBits) == 0) {
      word_.wait(now, std::memory_order_acquire);
      now = word_.load(std::memory_order_acquire);
      continue;
    }
    // Takes the lowest free one.
    if (word_.compare_exchange_weak(now, now & (now - 1), std::memory_order_acq_rel)) break;
  }
  MediaSample& taken = samples_[std::countr_zero(now)];
  taken.references_.store(1, std::memory_order_relaxed);
  taken.Renew();
  *sample = &taken;
  return S_OK;
}

void SamplePool::GiveBack(int32_t index) noexcept {
  const uint32_t bit = 1u << index;
  const uint32_t before = word_.fetch_or(bit, std::memory_order_acq_rel);
  if (IsDead(before | bit)) {
    delete this;
  } else if ((before & kFreeBits) == 0) {
    // Whoever waits does so only while no buffer at all is free.
    word_.notify_all();
  }
}

}  // namespace orbel
