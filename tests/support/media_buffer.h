// A host's own IMediaBuffer over exactly as many bytes as it says, so that a
// sanitizer sees every step outside.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "orbel/media_object.h"

class HostBuffer final : public IMediaBuffer {
 public:
  explicit HostBuffer(const std::vector<uint8_t>& bytes)
      : HostBuffer(static_cast<uint32_t>(bytes.size())) {
    if (!bytes.empty()) std::memcpy(data_.get(), bytes.data(), bytes.size());
    length_ = room_;
  }
  explicit HostBuffer(uint32_t room) : data_(std::make_unique<uint8_t[]>(room)), room_(room) {}
  virtual ~HostBuffer() = default;

  HRESULT QueryInterface(const GUID& iid, void** object) noexcept override {
    *object = nullptr;
    if (iid != IID_IMediaBuffer && iid != IID_IUnknown) return E_NOINTERFACE;
    AddRef();
    *object = this;
    return S_OK;
  }
  // On the stack or held by the test: references are only counted.
  uint32_t AddRef() noexcept override { return ++references; }
  uint32_t Release() noexcept override { return --references; }
  HRESULT SetLength(uint32_t length) noexcept override {
    if (length > room_) return E_INVALIDARG;
    length_ = length;
    return S_OK;
  }
  HRESULT GetMaxLength(uint32_t* most) noexcept override {
    *most = room_;
    return failMaxLength ? E_FAIL : S_OK;
  }
  HRESULT GetBufferAndLength(uint8_t** data, uint32_t* length) noexcept override {
    if (failBytes) return E_UNEXPECTED;
    *data = noBytes ? nullptr : data_.get() + shift;
    *length = length_;
    return S_OK;
  }
  std::vector<int16_t> Pcm() const {
    std::vector<int16_t> samples(length_ / 2);
    if (!samples.empty()) std::memcpy(samples.data(), data_.get() + shift, samples.size() * 2);
    return samples;
  }
  uint32_t Length() const { return length_; }

  uint32_t references = 1;
  uint32_t shift = 0;  // where the buffer begins, for odd addresses
  bool failBytes = false, failMaxLength = false, noBytes = false;

 private:
  std::unique_ptr<uint8_t[]> data_;
  uint32_t room_;
  uint32_t length_ = 0;
};
