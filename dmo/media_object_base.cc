#include "dmo/media_object_base.h"

namespace orbel {
namespace {

constexpr uint32_t kOutputStreamFlags = DMO_STREAMF_WHOLE_SAMPLES |
                                        DMO_STREAMF_SINGLE_SAMPLE_PER_BUFFER |
                                        DMO_STREAMF_FIXED_SAMPLE_SIZE;
constexpr uint32_t kInputFlags = DMO_INPUT_DATA_BUFFERF_SYNCPOINT | DMO_INPUT_DATA_BUFFERF_TIME |
                                 DMO_INPUT_DATA_BUFFERF_TIMELENGTH;
constexpr uint32_t kOutputStatus = DMO_OUTPUT_DATA_BUFFERF_SYNCPOINT |
                                   DMO_OUTPUT_DATA_BUFFERF_TIME |
                                   DMO_OUTPUT_DATA_BUFFERF_TIMELENGTH;

HRESULT Answer(uint32_t stream, uint32_t* out, uint32_t value) {
  if (stream != 0) return DMO_E_INVALIDSTREAMINDEX;
  if (out == nullptr) return E_POINTER;
  *out = value;
  return S_OK;
}

}  // namespace

MediaObjectBase::MediaObjectBase(const Traits& traits) noexcept : traits_(traits) {}

MediaObjectBase::~MediaObjectBase() = default;

// ---- the object system ---------------------------------------------------

HRESULT MediaObjectBase::QueryInterface(const GUID& iid, void** object) noexcept {
  if (object == nullptr) return E_POINTER;
  if (iid == IID_IMediaObject || iid == IID_IUnknown) return HandOut<IMediaObject>(this, object);
  if (iid == IID_IDispatch || iid == traits_.dispatchId) return HandOut<IDispatch>(this, object);
  *object = nullptr;
  return E_NOINTERFACE;
}

uint32_t MediaObjectBase::Release() noexcept {
  const uint32_t left = references_.Drop();
  if (left == 0) delete this;
  return left;
}

HRESULT MediaObjectBase::GetTypeInfoCount(uint32_t* count) noexcept {
  if (count == nullptr) return E_POINTER;
  *count = 0;
  return S_OK;
}

HRESULT MediaObjectBase::GetTypeInfo(uint32_t, uint32_t, void** info) noexcept {
  if (info == nullptr) return E_POINTER;
  *info = nullptr;
  return DISP_E_BADINDEX;
}

HRESULT MediaObjectBase::GetIDsOfNames(const GUID&, const char16_t* const*, uint32_t, uint32_t,
                                       int32_t*) noexcept {
  return DISP_E_UNKNOWNNAME;
}

HRESULT MediaObjectBase::Invoke(int32_t, const GUID&, uint32_t, uint16_t, void*, void*, void*,
                                uint32_t*) noexcept {
  return DISP_E_MEMBERNOTFOUND;
}

// ---- streams and types ---------------------------------------------------

HRESULT MediaObjectBase::GetStreamCount(uint32_t* inputs, uint32_t* outputs) noexcept {
  if (inputs == nullptr || outputs == nullptr) return E_POINTER;
  *inputs = 1;
  *outputs = 1;
  return S_OK;
}

HRESULT MediaObjectBase::GetInputStreamInfo(uint32_t stream, uint32_t* flags) noexcept {
  return Answer(stream, flags, traits_.inputStreamFlags);
}

HRESULT MediaObjectBase::GetOutputStreamInfo(uint32_t stream, uint32_t* flags) noexcept {
  return Answer(stream, flags, kOutputStreamFlags);
}

HRESULT MediaObjectBase::GetInputType(uint32_t stream, uint32_t, DMO_MEDIA_TYPE*) noexcept {
  return stream != 0 ? DMO_E_INVALIDSTREAMINDEX : DMO_E_NO_MORE_ITEMS;
}

HRESULT MediaObjectBase::GetOutputType(uint32_t stream, uint32_t typeIndex,
                                       DMO_MEDIA_TYPE* type) noexcept {
  if (stream != 0) return DMO_E_INVALIDSTREAMINDEX;
  AutoLock held(lock_);
  if (!inputSet_) return DMO_E_TYPE_NOT_SET;
  if (typeIndex > 0) return DMO_E_NO_MORE_ITEMS;
  if (type == nullptr) return S_OK;
  const HRESULT result = MoInitMediaType(type, sizeof(WAVEFORMATEX));
  if (result < 0) return result;
  const OutputForm form = OutputFor(*inputType_);
  type->majorType = MEDIATYPE_Audio;
  type->subtype = MEDIASUBTYPE_PCM;
  type->fixedSizeSamples = 1;
  type->sampleSize = form.sampleSize;
  type->formatType = FORMAT_WaveFormatEx;
  *reinterpret_cast<WAVEFORMATEX*>(type->format) = {
      .formatTag = 1,
      .channels = 1,
      .samplesPerSecond = form.samplesPerSecond,
      .bytesPerSecond = 2 * form.samplesPerSecond,
      .blockAlign = 2,
      .bitsPerSample = 16,
      .extraSize = 0,
  };
  return S_OK;
}

bool MediaObjectBase::TakesInput(const DMO_MEDIA_TYPE& type) const noexcept {
  const int64_t tag = WaveTagOf(type.subtype);
  return type.majorType == MEDIATYPE_Audio && tag >= 0 && TakesTag(static_cast<uint32_t>(tag));
}

bool MediaObjectBase::TakesOutput(const DMO_MEDIA_TYPE& type) const noexcept {
  return inputSet_ && type.majorType == MEDIATYPE_Audio && type.subtype == MEDIASUBTYPE_PCM;
}

HRESULT MediaObjectBase::SetType(bool isInput, const DMO_MEDIA_TYPE* type,
                                 uint32_t flags) noexcept {
  if (flags > (DMO_SET_TYPEF_TEST_ONLY | DMO_SET_TYPEF_CLEAR)) return E_INVALIDARG;
  const bool clear = (flags & DMO_SET_TYPEF_CLEAR) != 0;
  if (type == nullptr && !clear) return E_POINTER;
  AutoLock held(lock_);
  MediaType& stored = isInput ? inputType_ : outputType_;
  bool& isSet = isInput ? inputSet_ : outputSet_;

  if (clear) {
    stored.Clear();
    isSet = false;
    typesSet_ = inputSet_ && outputSet_;
    if (!typesSet_) {
      Flush();
      FreeStreamingResources();
    }
    return S_OK;
  }
  if (!(isInput ? TakesInput(*type) : TakesOutput(*type))) return DMO_E_INVALIDTYPE;
  if ((flags & DMO_SET_TYPEF_TEST_ONLY) != 0) return S_OK;
  if (stored.Copy(*type) != S_OK) return E_OUTOFMEMORY;
  isSet = true;
  typesSet_ = inputSet_ && outputSet_;
  return S_OK;
}

HRESULT MediaObjectBase::SetInputType(uint32_t stream, const DMO_MEDIA_TYPE* type,
                                      uint32_t flags) noexcept {
  return stream != 0 ? DMO_E_INVALIDSTREAMINDEX : SetType(true, type, flags);
}

HRESULT MediaObjectBase::SetOutputType(uint32_t stream, const DMO_MEDIA_TYPE* type,
                                       uint32_t flags) noexcept {
  return stream != 0 ? DMO_E_INVALIDSTREAMINDEX : SetType(false, type, flags);
}

HRESULT MediaObjectBase::GetCurrentType(uint32_t stream, bool isInput,
                                        DMO_MEDIA_TYPE* type) noexcept {
  if (stream != 0) return DMO_E_INVALIDSTREAMINDEX;
  if (type == nullptr) return E_POINTER;
  AutoLock held(lock_);
  if (!(isInput ? inputSet_ : outputSet_)) return DMO_E_TYPE_NOT_SET;
  return MoCopyMediaType(type, isInput ? &*inputType_ : &*outputType_);
}

HRESULT MediaObjectBase::GetInputCurrentType(uint32_t stream, DMO_MEDIA_TYPE* type) noexcept {
  return GetCurrentType(stream, true, type);
}

HRESULT MediaObjectBase::GetOutputCurrentType(uint32_t stream, DMO_MEDIA_TYPE* type) noexcept {
  return GetCurrentType(stream, false, type);
}

HRESULT MediaObjectBase::GetInputSizeInfo(uint32_t stream, uint32_t* size, uint32_t* lookahead,
                                          uint32_t* alignment) noexcept {
  if (stream != 0) return DMO_E_INVALIDSTREAMINDEX;
  if (size == nullptr || lookahead == nullptr || alignment == nullptr) return E_POINTER;
  *size = traits_.inputSize;
  *lookahead = 0;
  *alignment = 1;
  return S_OK;
}

HRESULT MediaObjectBase::GetOutputSizeInfo(uint32_t stream, uint32_t* size,
                                           uint32_t* alignment) noexcept {
  if (stream != 0) return DMO_E_INVALIDSTREAMINDEX;
  if (size == nullptr || alignment == nullptr) return E_POINTER;
  AutoLock held(lock_);
  if (!typesSet_) return DMO_E_TYPE_NOT_SET;
  *size = outputType_->sampleSize;
  *alignment = 1;
  return S_OK;
}

HRESULT MediaObjectBase::GetInputMaxLatency(uint32_t stream, int64_t* latency) noexcept {
  if (stream != 0) return DMO_E_INVALIDSTREAMINDEX;
  return latency == nullptr ? E_POINTER : E_NOTIMPL;
}

HRESULT MediaObjectBase::SetInputMaxLatency(uint32_t stream, int64_t) noexcept {
  return stream != 0 ? DMO_E_INVALIDSTREAMINDEX : E_NOTIMPL;
}

// ---- streaming -----------------------------------------------------------

HRESULT MediaObjectBase::Flush() noexcept {
  AutoLock held(lock_);
  if (typesSet_ && !flushed_) {
    heldInput_.Clear();
    flushed_ = true;
  }
  return S_OK;
}

HRESULT MediaObjectBase::Discontinuity(uint32_t stream) noexcept {
  if (stream != 0) return DMO_E_INVALIDSTREAMINDEX;
  AutoLock held(lock_);
  if (!typesSet_) return DMO_E_TYPE_NOT_SET;
  return heldInput_ ? DMO_E_NOTACCEPTING : S_OK;
}

HRESULT MediaObjectBase::AllocateStreamingResources() noexcept {
  AutoLock held(lock_);
  if (!typesSet_) return DMO_E_TYPE_NOT_SET;
  resourcesAllocated_ = true;
  return S_OK;
}

HRESULT MediaObjectBase::FreeStreamingResources() noexcept {
  AutoLock held(lock_);
  if (resourcesAllocated_) {
    resourcesAllocated_ = false;
    heldInput_.Clear();
  }
  return S_OK;
}

HRESULT MediaObjectBase::GetInputStatus(uint32_t stream, uint32_t* flags) noexcept {
  if (stream != 0) return DMO_E_INVALIDSTREAMINDEX;
  if (flags == nullptr) return E_POINTER;
  AutoLock held(lock_);
  *flags = heldInput_ ? 0 : DMO_INPUT_STATUSF_ACCEPT_DATA;
  return S_OK;
}

HRESULT MediaObjectBase::ProcessInput(uint32_t stream, IMediaBuffer* buffer, uint32_t flags,
                                      int64_t timestamp, int64_t timeLength) noexcept {
  if (buffer == nullptr) return E_POINTER;
  if (stream != 0) return DMO_E_INVALIDSTREAMINDEX;
  if ((flags & ~kInputFlags) != 0) return E_INVALIDARG;
  AutoLock held(lock_);
  if (!typesSet_) return DMO_E_TYPE_NOT_SET;
  resourcesAllocated_ = true;
  if (heldInput_) return DMO_E_NOTACCEPTING;
  flushed_ = false;
  return HoldInput(buffer, timestamp, timeLength);
}

HRESULT MediaObjectBase::HoldInput(IMediaBuffer* buffer, int64_t timestamp,
                                   int64_t timeLength) noexcept {
  uint8_t* data = nullptr;
  uint32_t length = 0;
  HRESULT result = buffer->GetBufferAndLength(&data, &length);
  if (result < 0) return result;
  if (data == nullptr || length == 0) return E_FAIL;
  if (!prepared_) {
    result = Prepare(data, length);
    if (result < 0) return result;
    prepared_ = true;
  }
  inputData_ = data;
  inputLength_ = length;
  inputTime_ = timestamp;
  inputTimeLength_ = timeLength;
  heldInput_.Share(buffer);
  return S_OK;
}

HRESULT MediaObjectBase::ProcessOutput(uint32_t flags, uint32_t count,
                                       DMO_OUTPUT_DATA_BUFFER* buffers, uint32_t* status) noexcept {
  if (status == nullptr) return E_POINTER;
  if (count != 1 || flags > DMO_PROCESS_OUTPUT_DISCARD_WHEN_NO_BUFFER) return E_INVALIDARG;
  if (buffers == nullptr) return E_POINTER;
  *status = 0;
  AutoLock held(lock_);
  if (!typesSet_) return DMO_E_TYPE_NOT_SET;
  resourcesAllocated_ = true;
  buffers->status = 0;
  const HRESULT result = MakeOutput(flags, buffers);
  outputIncomplete_ = (buffers->status & DMO_OUTPUT_DATA_BUFFERF_INCOMPLETE) != 0;
  return result;
}

HRESULT MediaObjectBase::MakeOutput(uint32_t flags, DMO_OUTPUT_DATA_BUFFER* output) noexcept {
  if (!heldInput_) {
    if (output->buffer != nullptr) output->buffer->SetLength(0);
    return S_FALSE;
  }
  // Whatever happens below, the input is used up.
  const Reference<IMediaBuffer> input(heldInput_.Detach());
  if (output->buffer == nullptr)
    return (flags & DMO_PROCESS_OUTPUT_DISCARD_WHEN_NO_BUFFER) != 0 ? S_OK : E_POINTER;

  uint8_t* data = nullptr;
  uint32_t length = 0;
  uint32_t maxLength = 0;
  HRESULT result = output->buffer->GetBufferAndLength(&data, &length);
  if (result >= 0) result = output->buffer->GetMaxLength(&maxLength);
  if (result < 0) return result;
  const uint32_t room = outputType_->sampleSize;
  if (maxLength < room || data == nullptr) return E_INVALIDARG;

  uint32_t used = 0;
  result = Decode({inputData_, inputLength_, inputType_->sampleSize}, data, room, &used);
  if (result < 0) return result;
  result = output->buffer->SetLength(used);
  if (result < 0) return result;
  output->status = kOutputStatus;
  output->timestamp = inputTime_;
  output->timeLength = inputTimeLength_;
  return S_OK;
}

HRESULT MediaObjectBase::Lock(int32_t lock) noexcept {
  if (lock != 0)
    lock_.Enter();
  else
    lock_.Leave();
  return S_OK;
}

}  // namespace orbel
