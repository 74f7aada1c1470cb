// What both decoders share: one input and one output stream, the stored types,
// the held input, the object's lock and the argument checks of IMediaObject. A
// decoder adds the types that it takes and offers, and its two steps.
#pragma once

#include "orbel/media_object.h"
#include "platform/critical_section.h"
#include "platform/media_type.h"
#include "platform/module_use.h"
#include "platform/object_system.h"

namespace orbel {

// Late-bound calls, which a decoder has none of: the identity of a decoder's
// own dispatch interface, and answers that there is no method.
struct IDispatch : IUnknown {
  virtual HRESULT GetTypeInfoCount(uint32_t* count) noexcept = 0;
  virtual HRESULT GetTypeInfo(uint32_t index, uint32_t locale, void** info) noexcept = 0;
  virtual HRESULT GetIDsOfNames(const GUID& reserved, const char16_t* const* names, uint32_t count,
                                uint32_t locale, int32_t* ids) noexcept = 0;
  virtual HRESULT Invoke(int32_t id, const GUID& reserved, uint32_t locale, uint16_t flags,
                         void* parameters, void* result, void* exception,
                         uint32_t* badArgument) noexcept = 0;

 protected:
  ~IDispatch() = default;
};

class MediaObjectBase : public IMediaObject, public IDispatch {
 public:
  MediaObjectBase(const MediaObjectBase&) = delete;
  MediaObjectBase& operator=(const MediaObjectBase&) = delete;

  HRESULT QueryInterface(const GUID& iid, void** object) noexcept final;
  uint32_t AddRef() noexcept final { return references_.Add(); }
  uint32_t Release() noexcept final;

  HRESULT GetTypeInfoCount(uint32_t* count) noexcept final;
  HRESULT GetTypeInfo(uint32_t index, uint32_t locale, void** info) noexcept final;
  HRESULT GetIDsOfNames(const GUID& reserved, const char16_t* const* names, uint32_t count,
                        uint32_t locale, int32_t* ids) noexcept final;
  HRESULT Invoke(int32_t id, const GUID& reserved, uint32_t locale, uint16_t flags,
                 void* parameters, void* result, void* exception,
                 uint32_t* badArgument) noexcept final;

  HRESULT GetStreamCount(uint32_t* inputs, uint32_t* outputs) noexcept final;
  HRESULT GetInputStreamInfo(uint32_t stream, uint32_t* flags) noexcept final;
  HRESULT GetOutputStreamInfo(uint32_t stream, uint32_t* flags) noexcept final;
  HRESULT GetInputType(uint32_t stream, uint32_t typeIndex, DMO_MEDIA_TYPE* type) noexcept final;
  HRESULT GetOutputType(uint32_t stream, uint32_t typeIndex, DMO_MEDIA_TYPE* type) noexcept final;
  HRESULT SetInputType(uint32_t stream, const DMO_MEDIA_TYPE* type, uint32_t flags) noexcept final;
  HRESULT SetOutputType(uint32_t stream, const DMO_MEDIA_TYPE* type, uint32_t flags) noexcept final;
  HRESULT GetInputCurrentType(uint32_t stream, DMO_MEDIA_TYPE* type) noexcept final;
  HRESULT GetOutputCurrentType(uint32_t stream, DMO_MEDIA_TYPE* type) noexcept final;
  HRESULT GetInputSizeInfo(uint32_t stream, uint32_t* size, uint32_t* lookahead,
                           uint32_t* alignment) noexcept final;
  HRESULT GetOutputSizeInfo(uint32_t stream, uint32_t* size, uint32_t* alignment) noexcept final;
  HRESULT GetInputMaxLatency(uint32_t stream, int64_t* latency) noexcept final;
  HRESULT SetInputMaxLatency(uint32_t stream, int64_t latency) noexcept final;
  HRESULT Flush() noexcept final;
  HRESULT Discontinuity(uint32_t stream) noexcept final;
  HRESULT AllocateStreamingResources() noexcept final;
  HRESULT FreeStreamingResources() noexcept final;
  HRESULT GetInputStatus(uint32_t stream, uint32_t* flags) noexcept final;
  HRESULT ProcessInput(uint32_t stream, IMediaBuffer* buffer, uint32_t flags, int64_t timestamp,
                       int64_t timeLength) noexcept final;
  HRESULT ProcessOutput(uint32_t flags, uint32_t count, DMO_OUTPUT_DATA_BUFFER* buffers,
                        uint32_t* status) noexcept final;
  HRESULT Lock(int32_t lock) noexcept final;

 protected:
  struct Traits {
    GUID dispatchId;            // the decoder's own dispatch interface
    uint32_t inputStreamFlags;  // DMO_STREAMF_...
    uint32_t inputSize;         // what GetInputSizeInfo answers
  };

  // traits must outlive the object.
  explicit MediaObjectBase(const Traits& traits) noexcept;
  virtual ~MediaObjectBase();

  // All hooks run inside the object's lock.

  // Whether the decoder takes an input type with this wave tag.
  virtual bool TakesTag(uint32_t tag) const noexcept = 0;
  // The output stream for the stored input type.
  struct OutputForm {
    uint32_t sampleSize;  // bytes
    uint32_t samplesPerSecond;
  };
  virtual OutputForm OutputFor(const DMO_MEDIA_TYPE& input) const noexcept = 0;
  // Gets ready for the first input: S_OK, and it is not called again; or what
  // ProcessInput returns.
  virtual HRESULT Prepare(const uint8_t* data, uint32_t length) noexcept = 0;

  // The input that waits for its output.
  struct Input {
    const uint8_t* data;
    uint32_t length;
    uint32_t sampleSize;  // of the input type
  };
  // Decodes the input into `room` bytes, the output type's sample size. Sets
  // *used to the bytes that count as output, `room` at the most.
  virtual HRESULT Decode(const Input& input, uint8_t* output, uint32_t room,
                         uint32_t* used) noexcept = 0;

  const DMO_MEDIA_TYPE& InputType() const noexcept { return *inputType_; }

 private:
  HRESULT SetType(bool isInput, const DMO_MEDIA_TYPE* type, uint32_t flags) noexcept;
  HRESULT GetCurrentType(uint32_t stream, bool isInput, DMO_MEDIA_TYPE* type) noexcept;
  bool TakesInput(const DMO_MEDIA_TYPE& type) const noexcept;
  bool TakesOutput(const DMO_MEDIA_TYPE& type) const noexcept;
  HRESULT HoldInput(IMediaBuffer* buffer, int64_t timestamp, int64_t timeLength) noexcept;
  HRESULT MakeOutput(uint32_t flags, DMO_OUTPUT_DATA_BUFFER* output) noexcept;

  ModuleUse moduleUse_;
  const Traits& traits_;
  ReferenceCount references_;

  bool inputSet_ = false;
  MediaType inputType_;
  bool outputSet_ = false;
  bool outputIncomplete_ = false;
  MediaType outputType_;
  bool typesSet_ = false;
  bool flushed_ = true;
  bool resourcesAllocated_ = false;
  CriticalSection lock_;

  bool prepared_ = false;
  Reference<IMediaBuffer> heldInput_;
  const uint8_t* inputData_ = nullptr;
  uint32_t inputLength_ = 0;
  int64_t inputTime_ = 0;
  int64_t inputTimeLength_ = 0;
};

}  // namespace orbel
