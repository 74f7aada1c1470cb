// The end of a graph: a filter with one input pin. It renders each sample as it
// comes, on the thread that delivers it, and never holds one back.
#pragma once

#include "platform/base_pin.h"

namespace orbel {

class CBaseRenderer : public CBaseFilter {
 public:
  explicit CBaseRenderer(const GUID& classId) noexcept : CBaseFilter(classId, &lock_), pin_(this) {}

  int32_t GetPinCount() noexcept override { return 1; }
  CBasePin* BasePin(int32_t index) noexcept override { return index == 0 ? &pin_ : nullptr; }

  virtual HRESULT CheckMediaType(const DMO_MEDIA_TYPE* type) noexcept = 0;
  // Called for each sample delivered while the filter runs.
  virtual HRESULT DoRenderSample(MediaSample* sample) noexcept = 0;

 protected:
  // The input pin is connected with this type.
  virtual HRESULT OnConnected(const DMO_MEDIA_TYPE&) noexcept { return S_OK; }

 private:
  class InputPin final : public CBasePin {
   public:
    explicit InputPin(CBaseRenderer* renderer) noexcept
        : CBasePin(renderer, PinDirection::Input, "In"), renderer_(renderer) {}
    HRESULT CheckMediaType(const DMO_MEDIA_TYPE* type) noexcept override {
      return renderer_->CheckMediaType(type);
    }
    HRESULT SetMediaType(const DMO_MEDIA_TYPE& type) noexcept override;
    HRESULT Receive(MediaSample* sample) noexcept override;

   private:
    CBaseRenderer* renderer_;
  };

  CriticalSection lock_;
  InputPin pin_;
};

}  // namespace orbel
