#include "platform/media_object_wrapper.h"

#include <algorithm>
#include <new>

#include "platform/sample_pool.h"

namespace orbel {

HRESULT CreateMediaObjectWrapper(const GUID& iid, void** object) noexcept {
  auto* wrapper = new (std::nothrow) MediaObjectWrapper;
  if (wrapper == nullptr) return E_OUTOFMEMORY;
  const HRESULT result = wrapper->QueryInterface(iid, object);
  wrapper->Release();
  return result;
}

MediaObjectWrapper::MediaObjectWrapper() noexcept
    : CBaseFilter(CLSID_DMOWrapperFilter, &lock_), input_(this), output_(this) {}

HRESULT MediaObjectWrapper::QueryInterface(const GUID& iid, void** object) noexcept {
  if (object == nullptr) return E_POINTER;
  if (iid == IID_IDMOWrapperFilter) return HandOut<IDMOWrapperFilter>(this, object);
  return CBaseFilter::QueryInterface(iid, object);
}

HRESULT MediaObjectWrapper::Init(const GUID& classId, const GUID&) noexcept {
  if (object_) return E_UNEXPECTED;
  return CoCreateInstance(classId, nullptr, kInProcessServer, IID_IMediaObject,
                          object_.ReceiveVoid());
}

CBasePin* MediaObjectWrapper::BasePin(int32_t index) noexcept {
  if (!object_) return nullptr;
  if (index == 0) return &input_;
  return index == 1 ? &output_ : nullptr;
}

HRESULT MediaObjectWrapper::OnActive() noexcept {
  return object_ ? object_->AllocateStreamingResources() : HRESULT{E_UNEXPECTED};
}

void MediaObjectWrapper::OnInactive() noexcept {
  if (!object_) return;
  object_->Flush();
  object_->FreeStreamingResources();
}

// ---- pins ----------------------------------------------------------------

HRESULT MediaObjectWrapper::InputPin::CheckMediaType(const DMO_MEDIA_TYPE* type) noexcept {
  return wrapper_->object_->SetInputType(0, type, DMO_SET_TYPEF_TEST_ONLY);
}

HRESULT MediaObjectWrapper::InputPin::SetMediaType(const DMO_MEDIA_TYPE& type) noexcept {
  const HRESULT result = wrapper_->object_->SetInputType(0, &type, 0);
  return result < 0 ? result : CBasePin::SetMediaType(type);
}

void MediaObjectWrapper::InputPin::BreakConnect() noexcept {
  wrapper_->object_->SetInputType(0, nullptr, DMO_SET_TYPEF_CLEAR);
}

HRESULT MediaObjectWrapper::OutputPin::GetMediaType(int32_t position,
                                                    DMO_MEDIA_TYPE* type) noexcept {
  if (position < 0) return E_INVALIDARG;
  if (type == nullptr) return E_POINTER;
  const HRESULT result = wrapper_->object_->GetOutputType(0, static_cast<uint32_t>(position), type);
  return result == DMO_E_NO_MORE_ITEMS ? VFW_S_NO_MORE_ITEMS : result;
}

HRESULT MediaObjectWrapper::OutputPin::CheckMediaType(const DMO_MEDIA_TYPE* type) noexcept {
  return wrapper_->object_->SetOutputType(0, type, DMO_SET_TYPEF_TEST_ONLY);
}

HRESULT MediaObjectWrapper::OutputPin::SetMediaType(const DMO_MEDIA_TYPE& type) noexcept {
  const HRESULT result = wrapper_->object_->SetOutputType(0, &type, 0);
  return result < 0 ? result : CBasePin::SetMediaType(type);
}

void MediaObjectWrapper::OutputPin::BreakConnect() noexcept {
  wrapper_->object_->SetOutputType(0, nullptr, DMO_SET_TYPEF_CLEAR);
}

HRESULT MediaObjectWrapper::OutputPin::DecideBufferSize(IMemAllocator* allocator,
                                                        AllocatorProperties* properties) noexcept {
  if (allocator == nullptr || properties == nullptr) return E_POINTER;
  uint32_t size = 0;
  uint32_t alignment = 0;
  const HRESULT result = wrapper_->object_->GetOutputSizeInfo(0, &size, &alignment);
  if (result < 0) return result;
  if (size > uint32_t{SamplePool::kMostBytes}) return E_OUTOFMEMORY;
  properties->bufferCount = std::max(properties->bufferCount, 1);
  // A pool gives its default size for 0; an object without output gets that.
  properties->bufferSize = std::max(properties->bufferSize, static_cast<int32_t>(size));
  properties->alignment =
      std::max(properties->alignment, static_cast<int32_t>(std::min(alignment, 4096u)));
  AllocatorProperties actual;
  return allocator->SetProperties(properties, &actual);
}

// ---- streaming -----------------------------------------------------------

HRESULT MediaObjectWrapper::Process(MediaSample* sample) noexcept {
  if (sample == nullptr) return E_POINTER;
  if (GetState() == FilterState::Stopped) return VFW_E_WRONG_STATE;
  int64_t start = 0;
  int64_t stop = 0;
  uint32_t flags = sample->IsSyncPoint() ? DMO_INPUT_DATA_BUFFERF_SYNCPOINT : 0;
  if (sample->GetTime(&start, &stop))
    flags |= DMO_INPUT_DATA_BUFFERF_TIME | DMO_INPUT_DATA_BUFFERF_TIMELENGTH;
  HRESULT result = object_->ProcessInput(0, sample, flags, start, stop - start);
  bool more = true;
  while (more && result >= 0) result = DeliverOutput(&more);
  return result;
}

HRESULT MediaObjectWrapper::DeliverOutput(bool* more) noexcept {
  *more = false;
  MediaSample* sample = nullptr;
  HRESULT result = output_.GetDeliveryBuffer(&sample);
  if (result < 0) {
    object_->Flush();  // the object must not go on holding the input
    return result;
  }
  DMO_OUTPUT_DATA_BUFFER output = {sample, 0, 0, 0};
  uint32_t status = 0;
  result = object_->ProcessOutput(0, 1, &output, &status);
  if (result == S_OK) {
    if ((output.status & DMO_OUTPUT_DATA_BUFFERF_TIME) != 0)
      sample->SetTime(output.timestamp, output.timestamp + output.timeLength);
    sample->SetSyncPoint((output.status & DMO_OUTPUT_DATA_BUFFERF_SYNCPOINT) != 0);
    // A stopped renderer takes no sample; that is no fault of the object's.
    if (sample->GetActualDataLength() > 0) result = output_.Deliver(sample);
    *more = (output.status & DMO_OUTPUT_DATA_BUFFERF_INCOMPLETE) != 0;
  }
  output_.ReturnDeliveryBuffer(sample);
  return result;
}

}  // namespace orbel
