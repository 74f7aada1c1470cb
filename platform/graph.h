// The interfaces of the filter graph. A graph is built and run by one thread at
// a time; samples travel from pin to pin on the thread that delivers them.
// Times are in units of 100 ns.
#pragma once

#include "orbel/media_object.h"
#include "platform/identifiers.h"

namespace orbel {

class MediaSample;
struct IBaseFilter;
struct IPin;

struct IReferenceClock : IUnknown {
  virtual HRESULT GetTime(int64_t* time) noexcept = 0;

 protected:
  ~IReferenceClock() = default;
};

struct AllocatorProperties {
  int32_t bufferCount;
  int32_t bufferSize;  // bytes
  int32_t alignment;   // bytes, a power of two; 0 or less: whatever suits
};

struct IMemAllocator : IUnknown {
  // Makes the buffers. VFW_E_ALREADY_COMMITTED, VFW_E_BUFFERS_OUTSTANDING,
  // E_POINTER, E_INVALIDARG, E_OUTOFMEMORY; the old buffers stay on failure.
  virtual HRESULT SetProperties(const AllocatorProperties* request,
                                AllocatorProperties* actual) noexcept = 0;
  virtual HRESULT GetProperties(AllocatorProperties* properties) noexcept = 0;
  virtual HRESULT Commit() noexcept = 0;
  // Wakes whoever waits in GetBuffer.
  virtual HRESULT Decommit() noexcept = 0;
  // A free buffer; waits for one. VFW_E_NOT_COMMITTED.
  virtual HRESULT GetBuffer(MediaSample** sample) noexcept = 0;

 protected:
  ~IMemAllocator() = default;
};

enum class PinDirection : int32_t { Input, Output };

struct IPin : IUnknown {
  // An output pin offers its types to an input pin until one is accepted.
  virtual HRESULT Connect(IPin* inputPin) noexcept = 0;
  virtual HRESULT ReceiveConnection(IPin* outputPin, const DMO_MEDIA_TYPE& type) noexcept = 0;
  virtual HRESULT Disconnect() noexcept = 0;  // S_FALSE when not connected
  virtual IPin* ConnectedTo() noexcept = 0;   // no reference
  virtual PinDirection Direction() noexcept = 0;
  // The type at a position, deep copied: S_OK, VFW_S_NO_MORE_ITEMS, E_...
  virtual HRESULT GetMediaType(int32_t position, DMO_MEDIA_TYPE* type) noexcept = 0;
  // Input pins: the buffers that samples will come in, and the samples.
  virtual HRESULT NotifyAllocator(IMemAllocator* allocator) noexcept = 0;
  virtual HRESULT Receive(MediaSample* sample) noexcept = 0;

 protected:
  ~IPin() = default;
};

enum class FilterState : int32_t { Stopped, Paused, Running };

struct IBaseFilter : IUnknown {
  virtual HRESULT Stop() noexcept = 0;
  virtual HRESULT Pause() noexcept = 0;
  // start: the clock's time that is stream time 0.
  virtual HRESULT Run(int64_t start) noexcept = 0;
  virtual FilterState GetState() noexcept = 0;
  virtual HRESULT SetSyncSource(IReferenceClock* clock) noexcept = 0;
  virtual int32_t GetPinCount() noexcept = 0;
  virtual IPin* GetPin(int32_t index) noexcept = 0;  // no reference; null past the end

 protected:
  ~IBaseFilter() = default;
};

struct IGraphBuilder : IUnknown {
  // Takes a reference. VFW_E_DUPLICATE_NAME, E_POINTER, E_OUTOFMEMORY when the
  // graph is full.
  virtual HRESULT AddFilter(IBaseFilter* filter, const char* name) noexcept = 0;
  virtual HRESULT FindFilterByName(const char* name, IBaseFilter** filter) noexcept = 0;

 protected:
  ~IGraphBuilder() = default;
};

struct ICaptureGraphBuilder2 : IUnknown {
  virtual HRESULT SetFiltergraph(IGraphBuilder* graph) noexcept = 0;
  // Connects source to intermediate to renderer through pins whose types have
  // the given major type. category must be null: none is kept here.
  virtual HRESULT RenderStream(const GUID* category, const GUID* majorType, IUnknown* source,
                               IBaseFilter* intermediate, IBaseFilter* renderer) noexcept = 0;

 protected:
  ~ICaptureGraphBuilder2() = default;
};

struct IMediaControl : IUnknown {
  virtual HRESULT Run() noexcept = 0;
  virtual HRESULT Stop() noexcept = 0;

 protected:
  ~IMediaControl() = default;
};

struct IBasicAudio : IUnknown {
  // Hundredths of a decibel: 0 full, -10000 silence; E_INVALIDARG outside.
  virtual HRESULT put_Volume(int32_t level) noexcept = 0;
  virtual HRESULT get_Volume(int32_t* level) noexcept = 0;

 protected:
  ~IBasicAudio() = default;
};

struct IDMOWrapperFilter : IUnknown {
  // Makes the media object; once. The category is not looked at.
  virtual HRESULT Init(const GUID& classId, const GUID& category) noexcept = 0;

 protected:
  ~IDMOWrapperFilter() = default;
};

}  // namespace orbel
