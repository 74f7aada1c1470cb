// A filter that runs a media object with one input and one output stream. Each
// sample that comes in is handed to the object as one input buffer; then the
// object's output is delivered until it has no more. Buffers go through as they
// are: nothing is copied. Created by CLSID_DMOWrapperFilter.
#pragma once

#include "platform/base_pin.h"

namespace orbel {

HRESULT CreateMediaObjectWrapper(const GUID& iid, void** object) noexcept;

class MediaObjectWrapper final : public CBaseFilter, public IDMOWrapperFilter {
 public:
  MediaObjectWrapper() noexcept;
  ~MediaObjectWrapper() override = default;

  HRESULT QueryInterface(const GUID& iid, void** object) noexcept override;
  uint32_t AddRef() noexcept override { return CBaseFilter::AddRef(); }
  uint32_t Release() noexcept override { return CBaseFilter::Release(); }

  HRESULT Init(const GUID& classId, const GUID& category) noexcept override;

  // No pins before Init.
  int32_t GetPinCount() noexcept override { return object_ ? 2 : 0; }
  CBasePin* BasePin(int32_t index) noexcept override;

 protected:
  HRESULT OnActive() noexcept override;
  void OnInactive() noexcept override;

 private:
  class InputPin final : public CBasePin {
   public:
    explicit InputPin(MediaObjectWrapper* wrapper) noexcept
        : CBasePin(wrapper, PinDirection::Input, "in0"), wrapper_(wrapper) {}
    HRESULT CheckMediaType(const DMO_MEDIA_TYPE* type) noexcept override;
    HRESULT SetMediaType(const DMO_MEDIA_TYPE& type) noexcept override;
    void BreakConnect() noexcept override;
    HRESULT Receive(MediaSample* sample) noexcept override { return wrapper_->Process(sample); }

   private:
    MediaObjectWrapper* wrapper_;
  };

  class OutputPin final : public CBaseOutputPin {
   public:
    explicit OutputPin(MediaObjectWrapper* wrapper) noexcept
        : CBaseOutputPin(wrapper, "out0"), wrapper_(wrapper) {}
    HRESULT GetMediaType(int32_t position, DMO_MEDIA_TYPE* type) noexcept override;
    HRESULT CheckMediaType(const DMO_MEDIA_TYPE* type) noexcept override;
    HRESULT SetMediaType(const DMO_MEDIA_TYPE& type) noexcept override;
    void BreakConnect() noexcept override;
    HRESULT DecideBufferSize(IMemAllocator* allocator,
                             AllocatorProperties* properties) noexcept override;

   private:
    MediaObjectWrapper* wrapper_;
  };

  HRESULT Process(MediaSample* sample) noexcept;
  HRESULT DeliverOutput(bool* more) noexcept;

  CriticalSection lock_;
  Reference<IMediaObject> object_;
  InputPin input_;
  OutputPin output_;
};

}  // namespace orbel
