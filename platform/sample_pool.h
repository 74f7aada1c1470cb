// A connection's buffer pool: a fixed number of samples over one block of
// memory. Getting and giving back a buffer takes constant time and no lock.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/graph.h"
#include "platform/object_system.h"

namespace orbel {

class SamplePool;

class PoolSample final : public IMediaSample, public IMediaBuffer {
 public:
  HRESULT QueryInterface(const GUID& iid, void** object) noexcept override;
  uint32_t AddRef() noexcept override;
  uint32_t Release() noexcept override;

  HRESULT GetPointer(uint8_t** data) noexcept override;
  int32_t GetSize() noexcept override { return size_; }
  HRESULT GetTime(int64_t* start, int64_t* stop) noexcept override;
  HRESULT SetTime(const int64_t* start, const int64_t* stop) noexcept override;
  HRESULT IsSyncPoint() noexcept override { return syncPoint_ ? S_OK : S_FALSE; }
  HRESULT SetSyncPoint(bool syncPoint) noexcept override;
  int32_t GetActualDataLength() noexcept override { return length_; }
  HRESULT SetActualDataLength(int32_t length) noexcept override;

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
  static constexpr int32_t kMostBuffers = 31;
  static constexpr int32_t kMostBytes = 1 << 26;      // of one buffer
  static constexpr int32_t kDefaultBytes = 8192;      // where no size was asked for
  static constexpr int32_t kDefaultAlignment = 32;    // also the least one given

  SamplePool() noexcept = default;

  HRESULT QueryInterface(const GUID& iid, void** object) noexcept override;
  uint32_t AddRef() noexcept override { return references_.Add(); }
  uint32_t Release() noexcept override;

  HRESULT SetProperties(const AllocatorProperties* request,
                        AllocatorProperties* actual) noexcept override;
  HRESULT GetProperties(AllocatorProperties* properties) noexcept override;
  HRESULT Commit() noexcept override;
  HRESULT Decommit() noexcept override;
  HRESULT GetBuffer(IMediaSample** sample) noexcept override;

 private:
  friend class PoolSample;
  ~SamplePool();

  // Bit i set: buffer i is free. The top bit: committed.
  static constexpr uint32_t kCommitted = 1u << 31;

  void GiveBack(int32_t index) noexcept;

  ReferenceCount references_;
  std::atomic<uint32_t> free_{0};
  PoolSample* samples_ = nullptr;
  uint8_t* memory_ = nullptr;
  AllocatorProperties properties_ = {};
};

}  // namespace orbel
