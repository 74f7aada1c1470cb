#include "platform/sample_pool.h"

#include <algorithm>
#include <bit>
#include <new>

namespace orbel {

// ---- one sample ----------------------------------------------------------

HRESULT PoolSample::QueryInterface(const GUID& iid, void** object) noexcept {
  if (object == nullptr) return E_POINTER;
  if (iid == IID_IMediaBuffer) return HandOut<IMediaBuffer>(this, object);
  if (iid == IID_IMediaSample || iid == IID_IUnknown) return HandOut<IMediaSample>(this, object);
  *object = nullptr;
  return E_NOINTERFACE;
}

uint32_t PoolSample::AddRef() noexcept {
  return references_.fetch_add(1, std::memory_order_relaxed) + 1;
}

uint32_t PoolSample::Release() noexcept {
  const uint32_t left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
  if (left == 0) {
    SamplePool* const pool = pool_;
    pool->GiveBack(index_);
    pool->Release();  // the sample may be gone after this
  }
  return left;
}

HRESULT PoolSample::GetPointer(uint8_t** data) noexcept {
  if (data == nullptr) return E_POINTER;
  *data = data_;
  return S_OK;
}

HRESULT PoolSample::GetTime(int64_t* start, int64_t* stop) noexcept {
  if (start == nullptr || stop == nullptr) return E_POINTER;
  *start = start_;
  *stop = stop_;
  return timed_ ? S_OK : S_FALSE;
}

HRESULT PoolSample::SetTime(const int64_t* start, const int64_t* stop) noexcept {
  timed_ = start != nullptr && stop != nullptr;
  start_ = timed_ ? *start : 0;
  stop_ = timed_ ? *stop : 0;
  return S_OK;
}

HRESULT PoolSample::SetSyncPoint(bool syncPoint) noexcept {
  syncPoint_ = syncPoint;
  return S_OK;
}

HRESULT PoolSample::SetActualDataLength(int32_t length) noexcept {
  if (length < 0 || length > size_) return VFW_E_BUFFER_OVERFLOW;
  length_ = length;
  return S_OK;
}

HRESULT PoolSample::SetLength(uint32_t length) noexcept {
  if (length > static_cast<uint32_t>(size_)) return E_INVALIDARG;
  length_ = static_cast<int32_t>(length);
  return S_OK;
}

HRESULT PoolSample::GetMaxLength(uint32_t* maxLength) noexcept {
  if (maxLength == nullptr) return E_POINTER;
  *maxLength = static_cast<uint32_t>(size_);
  return S_OK;
}

HRESULT PoolSample::GetBufferAndLength(uint8_t** buffer, uint32_t* length) noexcept {
  if (buffer == nullptr && length == nullptr) return E_POINTER;
  if (buffer != nullptr) *buffer = data_;
  if (length != nullptr) *length = static_cast<uint32_t>(length_);
  return S_OK;
}

// ---- the pool ------------------------------------------------------------

SamplePool::~SamplePool() {
  delete[] samples_;
  ::operator delete(memory_, std::align_val_t{static_cast<size_t>(
                                 std::max(properties_.alignment, kDefaultAlignment))});
}

HRESULT SamplePool::QueryInterface(const GUID& iid, void** object) noexcept {
  if (object == nullptr) return E_POINTER;
  if (iid == IID_IMemAllocator || iid == IID_IUnknown) return HandOut<IMemAllocator>(this, object);
  *object = nullptr;
  return E_NOINTERFACE;
}

uint32_t SamplePool::Release() noexcept {
  const uint32_t left = references_.Drop();
  if (left == 0) delete this;
  return left;
}

HRESULT SamplePool::SetProperties(const AllocatorProperties* request,
                                  AllocatorProperties* actual) noexcept {
  if (request == nullptr || actual == nullptr) return E_POINTER;
  const uint32_t freeNow = free_.load(std::memory_order_acquire);
  if ((freeNow & kCommitted) != 0) return VFW_E_ALREADY_COMMITTED;
  if (std::popcount(freeNow) != properties_.bufferCount) return VFW_E_BUFFERS_OUTSTANDING;

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
  auto* samples = new (std::nothrow) PoolSample[count];
  auto* memory = static_cast<uint8_t*>(
      ::operator new(stride * count, std::align_val_t{alignment}, std::nothrow));
  if (samples == nullptr || memory == nullptr) {
    delete[] samples;
    ::operator delete(memory, std::align_val_t{alignment});
    return E_OUTOFMEMORY;
  }

  delete[] samples_;
  ::operator delete(memory_, std::align_val_t{static_cast<size_t>(
                                 std::max(properties_.alignment, kDefaultAlignment))});
  samples_ = samples;
  memory_ = memory;
  properties_ = wanted;
  for (size_t i = 0; i < count; ++i) {
    samples[i].pool_ = this;
    samples[i].data_ = memory + i * stride;
    samples[i].size_ = wanted.bufferSize;
    samples[i].index_ = static_cast<int32_t>(i);
  }
  free_.store((1u << count) - 1, std::memory_order_release);
  *actual = wanted;
  return S_OK;
}

HRESULT SamplePool::GetProperties(AllocatorProperties* properties) noexcept {
  if (properties == nullptr) return E_POINTER;
  *properties = properties_;
  return S_OK;
}

HRESULT SamplePool::Commit() noexcept {
  free_.fetch_or(kCommitted, std::memory_order_acq_rel);
  return S_OK;
}

HRESULT SamplePool::Decommit() noexcept {
  free_.fetch_and(~kCommitted, std::memory_order_acq_rel);
  free_.notify_all();
  return S_OK;
}

HRESULT SamplePool::GetBuffer(IMediaSample** sample) noexcept {
  if (sample == nullptr) return E_POINTER;
  *sample = nullptr;
  uint32_t now = free_.load(std::memory_order_acquire);
  for (;;) {
    if ((now & kCommitted) == 0) return VFW_E_NOT_COMMITTED;
    if (now == kCommitted) {
      free_.wait(now, std::memory_order_acquire);
      now = free_.load(std::memory_order_acquire);
      continue;
    }
    if (free_.compare_exchange_weak(now, now & (now - 1), std::memory_order_acq_rel)) break;
  }
  PoolSample& taken = samples_[std::countr_zero(now)];
  taken.references_.store(1, std::memory_order_relaxed);
  taken.length_ = 0;
  taken.syncPoint_ = false;
  taken.SetTime(nullptr, nullptr);
  AddRef();  // dropped when the sample comes back
  *sample = &taken;
  return S_OK;
}

void SamplePool::GiveBack(int32_t index) noexcept {
  const uint32_t before = free_.fetch_or(1u << index, std::memory_order_acq_rel);
  // Whoever waits does so only while no buffer at all is free.
  if ((before & ~kCommitted) == 0) free_.notify_all();
}

}  // namespace orbel
