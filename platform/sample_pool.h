// A connection's buffer pool: a fixed number of samples over one block of
// memory. Getting and giving back a buffer takes constant time and no lock.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/graph.h"
#include "platform/object_system.h"

namespace orbel {

class SamplePool;

// One buffer of a pool, as pins pass it on. Its bytes are the holder's until the
// last Release, which gives it back to the pool. Media objects see it as an
// IMediaBuffer. Each reference is used by one thread at a time.
class MediaSample final : public IMediaBuffer {
 public:
  uint8_t* GetPointer() const noexcept { return data_; }
  int32_t GetSize() const noexcept { return size_; }  // room, in bytes
  int32_t GetActualDataLength() const noexcept { return length_; }
  // VFW_E_BUFFER_OVERFLOW outside of 0 to GetSize().
  HRESULT SetActualDataLength(int32_t length) noexcept {
    if (length < 0 || length > size_) return VFW_E_BUFFER_OVERFLOW;
    length_ = length;
    return S_OK;
  }
  bool IsSyncPoint() const noexcept { return syncPoint_; }
  void SetSyncPoint(bool syncPoint) noexcept { syncPoint_ = syncPoint; }
  // In 100 ns units. False, and both 0, where the sample has no time.
  bool GetTime(int64_t* start, int64_t* stop) const noexcept {
    *start = start_;
    *stop = stop_;
    return timed_;
  }
  void SetTime(int64_t start, int64_t stop) noexcept {
    start_ = start;
    stop_ = stop;
    timed_ = true;
  }
  // True when the caller's reference is the only one; the sample is then as
  // fresh as from the pool.
  bool Renew() noexcept {
    if (references_.load(std::memory_order_acquire) != 1) return false;
    length_ = 0;
    syncPoint_ = timed_ = false;
    start_ = stop_ = 0;
    return true;
  }

  HRESULT QueryInterface(const GUID& iid, void** object) noexcept override;
  uint32_t AddRef() noexcept override;
  uint32_t Release() noexcept override;
  HRESULT SetLength(uint32_t length) noexcept override;
  HRESULT GetMaxLength(uint32_t* maxLength) noexcept override;
  HRESULT GetBufferAndLength(uint8_t** buffer, uint32_t* length) noexcept override;

 private:
  friend class SamplePool;

  SamplePool* pool_ = nullptr;
  uint8_t* data_ = nullptr;
  int32_t size_ = 0;
  int32_t length_ = 0;
  int32_t index_ = 0;
  bool syncPoint_ = false;
  bool timed_ = false;
  int64_t start_ = 0;
  int64_t stop_ = 0;
  std::atomic<uint32_t> references_{0};
};

class SamplePool final : public IMemAllocator {
 public:
  static constexpr int32_t kMostBuffers = 15;
  static constexpr int32_t kMostBytes = 1 << 26;    // of one buffer
  static constexpr int32_t kDefaultBytes = 8192;    // where no size was asked for
  static constexpr int32_t kDefaultAlignment = 32;  // also the least one given

  SamplePool() noexcept = default;

  HRESULT QueryInterface(const GUID& iid, void** object) noexcept override;
  uint32_t AddRef() noexcept override;
  uint32_t Release() noexcept override;

  HRESULT SetProperties(const AllocatorProperties* request,
                        AllocatorProperties* actual) noexcept override;
  HRESULT GetProperties(AllocatorProperties* properties) noexcept override;
  HRESULT Commit() noexcept override;
  HRESULT Decommit() noexcept override;
  HRESULT GetBuffer(MediaSample** sample) noexcept override;

 private:
  friend class MediaSample;
  ~SamplePool();

  // One word holds all that changes while samples travel. Bit i set: buffer i is
  // free. Bit 15: committed. The upper half counts references; the pool lives
  // until that is 0 and every buffer is back.
  static constexpr uint32_t kFreeBits = 0x7FFF;
  static constexpr uint32_t kCommitted = 0x8000;
  static constexpr uint32_t kOneReference = 0x10000;

  uint32_t AllFree() const noexcept { return (1u << properties_.bufferCount) - 1; }
  bool IsDead(uint32_t word) const noexcept {
    return word < kOneReference && (word & kFreeBits) == AllFree();
  }
  void GiveBack(int32_t index) noexcept;

  std::atomic<uint32_t> word_{kOneReference};
  MediaSample* samples_ = nullptr;
  uint8_t* memory_ = nullptr;
  AllocatorProperties properties_ = {};
};

}  // namespace orbel
