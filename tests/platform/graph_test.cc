// Connection, states and delivery, with a source, a media object and a renderer
// made for the test.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/base_renderer.h"
#include "platform/object_system.h"

namespace orbel {
namespace {

constexpr GUID kObjectClass = {0x11111111, 0x2222, 0x3333, {1, 2, 3, 4, 5, 6, 7, 8}};

// Offers two types, of tags 7 and 8; buffers of 16 bytes.
class TestPin final : public CBaseOutputPin {
 public:
  explicit TestPin(CBaseFilter* filter) : CBaseOutputPin(filter, "Out") {}
  HRESULT GetMediaType(int32_t position, DMO_MEDIA_TYPE* type) noexcept override {
    if (position > 1) return VFW_S_NO_MORE_ITEMS;
    *type = {};
    type->majorType = MEDIATYPE_Audio;
    type->subtype = WaveSubtype(static_cast<uint32_t>(7 + position));
    return S_OK;
  }
  HRESULT CheckMediaType(const DMO_MEDIA_TYPE*) noexcept override { return S_OK; }
  HRESULT DecideBufferSize(IMemAllocator* allocator, AllocatorProperties* p) noexcept override {
    p->bufferCount = 1;
    p->bufferSize = 16;
    AllocatorProperties actual;
    return allocator->SetProperties(p, &actual);
  }
};

class TestSource final : public CBaseFilter {
 public:
  TestSource() : CBaseFilter(IID_IPin, &lock_), pin_(this) {}
  int32_t GetPinCount() noexcept override { return 1; }
  CBasePin* BasePin(int32_t index) noexcept override { return index == 0 ? &pin_ : nullptr; }
  TestPin& Pin() { return pin_; }

 private:
  CriticalSection lock_;
  TestPin pin_;
};

// Takes tag 8 only. Each input of n bytes gives n outputs, one byte each.
struct TestObject final : IMediaObject {
  static inline TestObject* last = nullptr;
  static inline int alive = 0;
  ReferenceCount references;
  Reference<IMediaBuffer> held;
  std::vector<uint8_t> bytes;
  size_t next = 0;
  int64_t time = 0, timeLength = 0;
  uint32_t inputFlags = 0;
  int types = 0, allocated = 0, flushes = 0;
  HRESULT inputResult = S_OK, outputResult = S_OK;
  uint32_t outputSize = 4;

  TestObject() {
    last = this;
    ++alive;
  }
  ~TestObject() { --alive; }
  HRESULT QueryInterface(const GUID&, void** object) noexcept override {
    return HandOut<IMediaObject>(this, object);
  }
  uint32_t AddRef() noexcept override { return references.Add(); }
  uint32_t Release() noexcept override {
    const uint32_t left = references.Drop();
    if (left == 0) delete this;
    return left;
  }
  HRESULT GetStreamCount(uint32_t*, uint32_t*) noexcept override { return S_OK; }
  HRESULT GetInputStreamInfo(uint32_t, uint32_t*) noexcept override { return S_OK; }
  HRESULT GetOutputStreamInfo(uint32_t, uint32_t*) noexcept override { return S_OK; }
  HRESULT GetInputType(uint32_t, uint32_t, DMO_MEDIA_TYPE*) noexcept override { return S_OK; }
  HRESULT GetOutputType(uint32_t, uint32_t index, DMO_MEDIA_TYPE* type) noexcept override {
    if (index > 0) return DMO_E_NO_MORE_ITEMS;
    *type = {};
    type->majorType = MEDIATYPE_Audio;
    type->subtype = MEDIASUBTYPE_PCM;
    return S_OK;
  }
  HRESULT SetInputType(uint32_t, const DMO_MEDIA_TYPE* type, uint32_t flags) noexcept override {
    if ((flags & DMO_SET_TYPEF_CLEAR) != 0) return types &= ~1, S_OK;
    if (WaveTagOf(type->subtype) != 8) return DMO_E_INVALIDTYPE;
    if ((flags & DMO_SET_TYPEF_TEST_ONLY) == 0) types |= 1;
    return S_OK;
  }
  HRESULT SetOutputType(uint32_t, const DMO_MEDIA_TYPE*, uint32_t flags) noexcept override {
    if ((flags & DMO_SET_TYPEF_CLEAR) != 0) return types &= ~2, S_OK;
    if ((flags & DMO_SET_TYPEF_TEST_ONLY) == 0) types |= 2;
    return S_OK;
  }
  HRESULT GetInputCurrentType(uint32_t, DMO_MEDIA_TYPE*) noexcept override { return S_OK; }
  HRESULT GetOutputCurrentType(uint32_t, DMO_MEDIA_TYPE*) noexcept override { return S_OK; }
  HRESULT GetInputSizeInfo(uint32_t, uint32_t*, uint32_t*, uint32_t*) noexcept override {
    return S_OK;
  }
  HRESULT GetOutputSizeInfo(uint32_t, uint32_t* size, uint32_t* alignment) noexcept override {
    *size = outputSize;
    *alignment = 1;
    return S_OK;
  }
  HRESULT GetInputMaxLatency(uint32_t, int64_t*) noexcept override { return S_OK; }
  HRESULT SetInputMaxLatency(uint32_t, int64_t) noexcept override { return S_OK; }
  HRESULT Flush() noexcept override { return ++flushes, held.Clear(), S_OK; }
  HRESULT Discontinuity(uint32_t) noexcept override { return S_OK; }
  HRESULT AllocateStreamingResources() noexcept override { return ++allocated, S_OK; }
  HRESULT FreeStreamingResources() noexcept override { return --allocated, S_OK; }
  HRESULT GetInputStatus(uint32_t, uint32_t*) noexcept override { return S_OK; }
  HRESULT ProcessInput(uint32_t, IMediaBuffer* buffer, uint32_t flags, int64_t start,
                       int64_t length) noexcept override {
    if (inputResult < 0) return inputResult;
    uint8_t* data = nullptr;
    uint32_t size = 0;
    buffer->GetBufferAndLength(&data, &size);
    bytes.assign(data, data + size);
    next = 0;
    inputFlags = flags;
    time = start;
    timeLength = length;
    held.Share(buffer);
    return S_OK;
  }
  HRESULT ProcessOutput(uint32_t, uint32_t, DMO_OUTPUT_DATA_BUFFER* out,
                        uint32_t* status) noexcept override {
    *status = 0;
    if (outputResult < 0 || bytes.empty()) return held.Clear(), outputResult;
    uint8_t* data = nullptr;
    uint32_t length = 0;
    out->buffer->GetBufferAndLength(&data, &length);
    data[0] = bytes[next++];
    out->buffer->SetLength(1);
    out->status = DMO_OUTPUT_DATA_BUFFERF_TIME | DMO_OUTPUT_DATA_BUFFERF_TIMELENGTH;
    out->timestamp = time;
    out->timeLength = timeLength;
    if (next < bytes.size())
      out->status |= DMO_OUTPUT_DATA_BUFFERF_INCOMPLETE;
    else
      held.Clear();
    return S_OK;
  }
  HRESULT Lock(int32_t) noexcept override { return S_OK; }
};

class TestRenderer final : public CBaseRenderer {
 public:
  explicit TestRenderer(HRESULT accepts = S_OK) : CBaseRenderer(IID_IPin), accepts_(accepts) {}
  HRESULT CheckMediaType(const DMO_MEDIA_TYPE*) noexcept override { return accepts_; }
  HRESULT DoRenderSample(MediaSample* sample) noexcept override {
    uint8_t* const data = sample->GetPointer();
    got.push_back(data[0]);
    sample->GetTime(&start, &stop);
    return S_OK;
  }
  std::vector<uint8_t> got;
  int64_t start = 0, stop = 0;

 private:
  HRESULT accepts_;
};

HRESULT CreateTestObject(const GUID& iid, void** object) noexcept {
  Reference<TestObject> made(new TestObject);
  return made->QueryInterface(iid, object);
}
ClassEntry testEntry = {kObjectClass, &CreateTestObject, nullptr};

class GraphTest : public testing::Test {
 protected:
  void SetUp() override {
    static const bool added = (AddClass(&testEntry), true);
    (void)added;
    CoInitializeEx(nullptr, 0);
    CoCreateInstance(CLSID_FilterGraph, nullptr, 1, IID_IGraphBuilder, graph.ReceiveVoid());
    CoCreateInstance(CLSID_CaptureGraphBuilder2, nullptr, 1, IID_ICaptureGraphBuilder2,
                     builder.ReceiveVoid());
    CoCreateInstance(CLSID_DMOWrapperFilter, nullptr, 3, IID_IBaseFilter, wrapper.ReceiveVoid());
    *source.Receive() = new TestSource;
    *renderer.Receive() = new TestRenderer;
    graph->QueryInterface(IID_IMediaControl, control.ReceiveVoid());
  }
  void TearDown() override {
    control.Clear();
    source.Clear();
    wrapper.Clear();
    renderer.Clear();
    graph.Clear();
    builder.Clear();
    EXPECT_EQ(TestObject::alive, 0);
    CoUninitialize();
  }
  HRESULT InitWrapper() {
    Reference<IDMOWrapperFilter> init;
    wrapper->QueryInterface(IID_IDMOWrapperFilter, init.ReceiveVoid());
    return init->Init(kObjectClass, DMOCATEGORY_AUDIO_DECODER);
  }
  HRESULT Build() {
    EXPECT_EQ(InitWrapper(), S_OK);
    EXPECT_EQ(builder->SetFiltergraph(graph.Get()), S_OK);
    EXPECT_EQ(graph->AddFilter(source.Get(), "source"), S_OK);
    EXPECT_EQ(graph->AddFilter(wrapper.Get(), "wrapper"), S_OK);
    EXPECT_EQ(graph->AddFilter(renderer.Get(), "renderer"), S_OK);
    return builder->RenderStream(nullptr, &MEDIATYPE_Audio, source.Get(), wrapper.Get(),
                                 renderer.Get());
  }
  HRESULT Push(const char* text) {
    Reference<MediaSample> sample;
    const HRESULT result = source->Pin().GetDeliveryBuffer(sample.Receive());
    if (result < 0) return result;
    uint8_t* const data = sample->GetPointer();
    std::copy(text, text + std::strlen(text), data);
    sample->SetActualDataLength(static_cast<int32_t>(std::strlen(text)));
    sample->SetTime(100, 130);
    return source->Pin().Deliver(sample.Get());
  }

  Reference<IGraphBuilder> graph;
  Reference<ICaptureGraphBuilder2> builder;
  Reference<IBaseFilter> wrapper;
  Reference<TestSource> source;
  Reference<TestRenderer> renderer;
  Reference<IMediaControl> control;
};

TEST_F(GraphTest, ASampleTravelsFromSourceToRenderer) {
  ASSERT_EQ(Build(), S_OK);
  EXPECT_EQ(WaveTagOf(source->Pin().CurrentType().subtype), 8);  // the second offer
  EXPECT_EQ(TestObject::last->types, 3);
  ASSERT_EQ(control->Run(), S_OK);
  EXPECT_EQ(TestObject::last->allocated, 1);
  EXPECT_TRUE(source->HasClock());
  int64_t time = -1;
  EXPECT_EQ(source->StreamTime(&time), S_OK);
  EXPECT_GE(time, 0);
  EXPECT_LT(time, 600 * int64_t{10000000});

  EXPECT_EQ(Push("abc"), S_OK);  // three outputs from one input
  EXPECT_EQ(renderer->got, (std::vector<uint8_t>{'a', 'b', 'c'}));
  EXPECT_EQ(renderer->start, 100);
  EXPECT_EQ(renderer->stop, 130);
  EXPECT_EQ(TestObject::last->inputFlags,
            DMO_INPUT_DATA_BUFFERF_TIME | DMO_INPUT_DATA_BUFFERF_TIMELENGTH);
  EXPECT_EQ(TestObject::last->timeLength, 30);

  // A failing object loses its sample and nothing else.
  TestObject::last->inputResult = E_FAIL;
  EXPECT_EQ(Push("x"), E_FAIL);
  TestObject::last->inputResult = S_OK;
  TestObject::last->outputResult = E_FAIL;
  EXPECT_EQ(Push("y"), E_FAIL);
  TestObject::last->outputResult = S_OK;
  EXPECT_EQ(Push("d"), S_OK);
  EXPECT_EQ(renderer->got.size(), 4u);
}

TEST_F(GraphTest, StopAndRunAgain) {
  ASSERT_EQ(Build(), S_OK);
  EXPECT_EQ(Push("a"), VFW_E_NOT_COMMITTED);
  control->Run();
  control->Run();
  EXPECT_EQ(Push("a"), S_OK);
  EXPECT_EQ(source->Pin().Disconnect(), VFW_E_NOT_STOPPED);
  control->Stop();
  control->Stop();
  EXPECT_EQ(TestObject::last->allocated, 0);
  EXPECT_EQ(TestObject::last->flushes, 1);
  EXPECT_EQ(Push("b"), VFW_E_NOT_COMMITTED);
  control->Run();
  EXPECT_EQ(Push("c"), S_OK);
  EXPECT_EQ(renderer->got, (std::vector<uint8_t>{'a', 'c'}));
  // A sample kept over a stop is refused by the stopped filters.
  Reference<MediaSample> kept;
  source->Pin().GetDeliveryBuffer(kept.Receive());
  control->Stop();
  EXPECT_EQ(source->Pin().Deliver(kept.Get()), VFW_E_WRONG_STATE);
}

TEST_F(GraphTest, ConnectionFailsCleanly) {
  EXPECT_EQ(builder->RenderStream(nullptr, nullptr, source.Get(), wrapper.Get(), renderer.Get()),
            E_UNEXPECTED);  // no graph yet
  ASSERT_EQ(InitWrapper(), S_OK);
  EXPECT_EQ(InitWrapper(), E_UNEXPECTED);
  builder->SetFiltergraph(graph.Get());
  EXPECT_EQ(builder->RenderStream(nullptr, &MEDIATYPE_Audio, nullptr, nullptr, renderer.Get()),
            E_POINTER);
  EXPECT_EQ(
      builder->RenderStream(&IID_IPin, &MEDIATYPE_Audio, source.Get(), nullptr, renderer.Get()),
      E_INVALIDARG);
  EXPECT_EQ(builder->RenderStream(nullptr, &IID_IPin, source.Get(), wrapper.Get(), renderer.Get()),
            VFW_E_CANNOT_CONNECT);  // no pin of that major type

  Reference<TestRenderer> refuses(new TestRenderer(S_FALSE));
  EXPECT_EQ(
      builder->RenderStream(nullptr, &MEDIATYPE_Audio, source.Get(), wrapper.Get(), refuses.Get()),
      VFW_E_TYPE_NOT_ACCEPTED);
  EXPECT_EQ(TestObject::last->types, 1);  // the input side is connected, the output not
  source->Pin().ConnectedTo()->Disconnect();
  EXPECT_EQ(source->Pin().Disconnect(), S_OK);
  EXPECT_EQ(source->Pin().Disconnect(), S_FALSE);
  EXPECT_EQ(TestObject::last->types, 0);

  TestObject::last->outputSize = 0xFFFFFFF0u;  // more than any pool gives
  EXPECT_EQ(
      builder->RenderStream(nullptr, &MEDIATYPE_Audio, source.Get(), wrapper.Get(), renderer.Get()),
      E_OUTOFMEMORY);
  EXPECT_EQ(TestObject::last->types, 1);
  source->Pin().ConnectedTo()->Disconnect();
  source->Pin().Disconnect();

  Reference<IBaseFilter> unready;
  CoCreateInstance(CLSID_DMOWrapperFilter, nullptr, 3, IID_IBaseFilter, unready.ReceiveVoid());
  EXPECT_EQ(unready->GetPinCount(), 0);
  EXPECT_EQ(
      builder->RenderStream(nullptr, &MEDIATYPE_Audio, source.Get(), unready.Get(), renderer.Get()),
      VFW_E_CANNOT_CONNECT);
}

TEST_F(GraphTest, TheGraphKnowsItsFilters) {
  EXPECT_EQ(graph->AddFilter(nullptr, "x"), E_POINTER);
  EXPECT_EQ(graph->AddFilter(source.Get(), "a name"), S_OK);
  EXPECT_EQ(graph->AddFilter(renderer.Get(), "a name"), VFW_E_DUPLICATE_NAME);
  Reference<IBaseFilter> found;
  EXPECT_EQ(graph->FindFilterByName("a name", found.Receive()), S_OK);
  EXPECT_EQ(found.Get(), source.Get());
  EXPECT_EQ(graph->FindFilterByName("another", found.Receive()), VFW_E_NOT_FOUND);
  Reference<IBasicAudio> audio;
  ASSERT_EQ(graph->QueryInterface(IID_IBasicAudio, audio.ReceiveVoid()), S_OK);
  int32_t level = 0;
  EXPECT_EQ(audio->put_Volume(-1), E_NOTIMPL);  // nothing here has a volume
  EXPECT_EQ(audio->get_Volume(&level), E_NOTIMPL);
  char name[] = "filter 0";
  for (int i = 0; i < 7; ++i, ++name[7]) EXPECT_EQ(graph->AddFilter(wrapper.Get(), name), S_OK);
  EXPECT_EQ(graph->AddFilter(wrapper.Get(), "one more"), E_OUTOFMEMORY);
}

}  // namespace
}  // namespace orbel
