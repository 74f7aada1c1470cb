// Pins: one end of a connection. A pin lives and dies with its filter and
// counts references on it.
#pragma once

#include "platform/base_filter.h"
#include "platform/graph.h"
#include "platform/media_type.h"
#include "platform/sample_pool.h"

namespace orbel {

class CBasePin : public IPin {
 public:
  CBasePin(CBaseFilter* filter, PinDirection direction, const char* name) noexcept
      : filter_(filter), direction_(direction), name_(name) {}
  CBasePin(const CBasePin&) = delete;
  CBasePin& operator=(const CBasePin&) = delete;

  HRESULT QueryInterface(const GUID& iid, void** object) noexcept override;
  uint32_t AddRef() noexcept override { return filter_->AddRef(); }
  uint32_t Release() noexcept override { return filter_->Release(); }

  HRESULT Connect(IPin* inputPin) noexcept override;
  HRESULT ReceiveConnection(IPin* outputPin, const DMO_MEDIA_TYPE& type) noexcept override;
  HRESULT Disconnect() noexcept override;
  IPin* ConnectedTo() noexcept override { return peer_.Get(); }
  PinDirection Direction() noexcept override { return direction_; }
  HRESULT GetMediaType(int32_t position, DMO_MEDIA_TYPE* type) noexcept override;
  HRESULT NotifyAllocator(IMemAllocator* allocator) noexcept override;
  HRESULT Receive(MediaSample* sample) noexcept override;

  // S_OK when the type suits this pin; anything else refuses it.
  virtual HRESULT CheckMediaType(const DMO_MEDIA_TYPE* type) noexcept = 0;
  // The connection has taken this type / has been given up.
  virtual HRESULT SetMediaType(const DMO_MEDIA_TYPE& type) noexcept;
  virtual void BreakConnect() noexcept {}
  // The filter leaves Stopped / returns to it.
  virtual HRESULT Active() noexcept { return S_OK; }
  virtual void Inactive() noexcept {}

  const DMO_MEDIA_TYPE& CurrentType() const noexcept { return *type_; }
  const char* Name() const noexcept { return name_; }

 protected:
  // Deleted by the filter, as what it really is.
  ~CBasePin() = default;

  CBaseFilter* Filter() const noexcept { return filter_; }
  void SetPeer(IPin* peer) noexcept { peer_.Share(peer); }

 private:
  CBaseFilter* filter_;
  PinDirection direction_;
  const char* name_;
  Reference<IPin> peer_;
  MediaType type_;
};

// A pin that offers types, owns the connection's pool and delivers samples.
class CBaseOutputPin : public CBasePin {
 public:
  CBaseOutputPin(CBaseFilter* filter, const char* name) noexcept
      : CBasePin(filter, PinDirection::Output, name) {}

  // Offers each type in turn; takes the first that both pins accept and for
  // which buffers can be had. VFW_E_NO_ACCEPTABLE_TYPES, VFW_E_ALREADY_CONNECTED,
  // VFW_E_NOT_STOPPED, or what the last attempt failed with.
  HRESULT Connect(IPin* inputPin) noexcept override;
  HRESULT Disconnect() noexcept override;
  HRESULT Active() noexcept override;
  void Inactive() noexcept override;

  // Raises the properties to what the connection needs and gives them to the
  // allocator's SetProperties.
  virtual HRESULT DecideBufferSize(IMemAllocator* allocator,
                                   AllocatorProperties* properties) noexcept = 0;

  // A buffer for the next sample; waits while all are in use. Goes back with
  // ReturnDeliveryBuffer, or with Release.
  HRESULT GetDeliveryBuffer(MediaSample** sample) noexcept;
  // Hands a sample to the connected pin, on this thread.
  HRESULT Deliver(MediaSample* sample) noexcept;
  // Releases a buffer. One that nobody else holds any more is kept for the next
  // sample, which spares its way through the pool.
  void ReturnDeliveryBuffer(MediaSample* sample) noexcept;

 protected:
  ~CBaseOutputPin() = default;

 private:
  HRESULT TryType(IPin* inputPin, const DMO_MEDIA_TYPE& type) noexcept;

  Reference<IMemAllocator> allocator_;
  Reference<MediaSample> spare_;
  bool active_ = false;
};

}  // namespace orbel
