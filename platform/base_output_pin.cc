#include <new>

#include "platform/base_pin.h"
#include "platform/sample_pool.h"

namespace orbel {
namespace {

// No pin offers more types than this; it bounds a walk through a pin whose
// list does not end.
constexpr int32_t kMostTypes = 64;

}  // namespace

HRESULT CBaseOutputPin::TryType(IPin* inputPin, const DMO_MEDIA_TYPE& type) noexcept {
  if (CheckMediaType(&type) != S_OK) return VFW_E_TYPE_NOT_ACCEPTED;
  HRESULT result = SetMediaType(type);
  if (result >= 0) result = inputPin->ReceiveConnection(this, type);
  if (result < 0) {
    BreakConnect();
    return result;
  }
  SetPeer(inputPin);

  auto* pool = new (std::nothrow) SamplePool;
  if (pool == nullptr) {
    result = E_OUTOFMEMORY;
  } else {
    *allocator_.Receive() = pool;
    AllocatorProperties properties = {};
    result = DecideBufferSize(pool, &properties);
    if (result >= 0) result = inputPin->NotifyAllocator(pool);
  }
  if (result < 0) {
    inputPin->Disconnect();
    Disconnect();
  }
  return result;
}

HRESULT CBaseOutputPin::Connect(IPin* inputPin) noexcept {
  if (inputPin == nullptr) return E_POINTER;
  if (ConnectedTo() != nullptr) return VFW_E_ALREADY_CONNECTED;
  if (Filter()->GetState() != FilterState::Stopped) return VFW_E_NOT_STOPPED;
  HRESULT failure = VFW_E_NO_ACCEPTABLE_TYPES;
  for (int32_t i = 0; i < kMostTypes; ++i) {
    MediaType type;
    const HRESULT offered = GetMediaType(i, type.Record());
    if (offered < 0) return offered;
    if (offered != S_OK) break;
    failure = TryType(inputPin, *type);
    if (failure >= 0) return S_OK;
  }
  return failure;
}

HRESULT CBaseOutputPin::Disconnect() noexcept {
  const HRESULT result = CBasePin::Disconnect();
  if (result >= 0) allocator_.Clear();
  return result;
}

HRESULT CBaseOutputPin::Active() noexcept {
  if (!allocator_) return VFW_E_NOT_CONNECTED;
  const HRESULT result = allocator_->Commit();
  active_ = result >= 0;
  return result;
}

void CBaseOutputPin::Inactive() noexcept {
  active_ = false;
  spare_.Clear();
  if (allocator_) allocator_->Decommit();
}

HRESULT CBaseOutputPin::GetDeliveryBuffer(MediaSample** sample) noexcept {
  if (sample == nullptr) return E_POINTER;
  *sample = spare_.Detach();
  if (*sample != nullptr) return S_OK;
  return allocator_ ? allocator_->GetBuffer(sample) : HRESULT{VFW_E_NOT_CONNECTED};
}

void CBaseOutputPin::ReturnDeliveryBuffer(MediaSample* sample) noexcept {
  if (sample == nullptr) return;
  if (active_ && !spare_ && sample->Renew())
    *spare_.Receive() = sample;
  else
    sample->Release();
}

HRESULT CBaseOutputPin::Deliver(MediaSample* sample) noexcept {
  IPin* const peer = ConnectedTo();
  return peer != nullptr ? peer->Receive(sample) : HRESULT{VFW_E_NOT_CONNECTED};
}

}  // namespace orbel
