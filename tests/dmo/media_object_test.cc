// The contract of IMediaObject that both decoders keep: every operation's
// answers, types, holding and flushing.
#include <cstring>
#include <thread>

#include "dmo/decoder_fixture.h"
#include "support/heap_meter.h"

namespace orbel {
namespace {

TEST(MediaObject, ArgumentsAreCheckedFirst) {
  Reference<IMediaObject> object = MakeDecoder();
  IMediaObject* const o = object.Get();
  uint32_t a = 0, b = 0, c = 0;
  int64_t latency = 0;
  EXPECT_EQ(o->GetStreamCount(&a, &b), S_OK);
  EXPECT_EQ(a, 1u);
  EXPECT_EQ(b, 1u);
  EXPECT_EQ(o->GetStreamCount(nullptr, &b), E_POINTER);
  EXPECT_EQ(o->GetStreamCount(&a, nullptr), E_POINTER);
  EXPECT_EQ(o->GetInputStreamInfo(0, &a), S_OK);
  EXPECT_EQ(a, 7u);
  EXPECT_EQ(o->GetOutputStreamInfo(0, &a), S_OK);
  EXPECT_EQ(a, 7u);
  EXPECT_EQ(o->GetInputStreamInfo(0, nullptr), E_POINTER);
  for (const uint32_t typeIndex : {0u, 1u, 0xFFFFFFFFu})
    EXPECT_EQ(o->GetInputType(0, typeIndex, nullptr), DMO_E_NO_MORE_ITEMS);
  EXPECT_EQ(o->GetInputSizeInfo(0, &a, &b, &c), S_OK);
  EXPECT_EQ(a, 192u);
  EXPECT_EQ(b, 0u);
  EXPECT_EQ(c, 1u);
  EXPECT_EQ(o->GetInputSizeInfo(0, nullptr, &b, &c), E_POINTER);
  EXPECT_EQ(o->GetOutputSizeInfo(0, &a, nullptr), E_POINTER);
  EXPECT_EQ(o->GetOutputSizeInfo(0, &a, &b), DMO_E_TYPE_NOT_SET);
  EXPECT_EQ(o->GetInputMaxLatency(0, nullptr), E_POINTER);
  EXPECT_EQ(o->GetInputMaxLatency(0, &latency), E_NOTIMPL);
  EXPECT_EQ(o->SetInputMaxLatency(0, 1), E_NOTIMPL);
  EXPECT_EQ(o->GetInputStatus(0, nullptr), E_POINTER);

  // Stream 1 is nowhere.
  DMO_MEDIA_TYPE type = {};
  HostBuffer buffer(4);
  const HRESULT wrong[] = {
      o->GetInputStreamInfo(1, &a),
      o->GetOutputStreamInfo(1, &a),
      o->GetInputType(1, 0, &type),
      o->GetOutputType(1, 0, &type),
      o->SetInputType(1, &type, 0),
      o->SetOutputType(1, &type, 0),
      o->GetInputCurrentType(1, &type),
      o->GetOutputCurrentType(1, &type),
      o->GetInputSizeInfo(1, &a, &b, &c),
      o->GetOutputSizeInfo(1, &a, &b),
      o->GetInputMaxLatency(1, &latency),
      o->SetInputMaxLatency(1, 0),
      o->Discontinuity(1),
      o->GetInputStatus(1, &a),
      o->ProcessInput(1, &buffer, 0, 0, 0),
  };
  for (const HRESULT result : wrong) EXPECT_EQ(result, DMO_E_INVALIDSTREAMINDEX);

  DMO_OUTPUT_DATA_BUFFER out = {&buffer, 0, 0, 0};
  EXPECT_EQ(o->ProcessInput(0, nullptr, 0, 0, 0), E_POINTER);
  EXPECT_EQ(o->ProcessInput(1, nullptr, 8, 0, 0), E_POINTER);
  EXPECT_EQ(o->ProcessInput(0, &buffer, 8, 0, 0), E_INVALIDARG);
  EXPECT_EQ(o->ProcessInput(0, &buffer, 7, 0, 0), DMO_E_TYPE_NOT_SET);
  EXPECT_EQ(o->ProcessOutput(0, 1, &out, nullptr), E_POINTER);
  EXPECT_EQ(o->ProcessOutput(0, 2, &out, &a), E_INVALIDARG);
  EXPECT_EQ(o->ProcessOutput(0, 0, &out, &a), E_INVALIDARG);
  EXPECT_EQ(o->ProcessOutput(2, 1, &out, &a), E_INVALIDARG);
  EXPECT_EQ(o->ProcessOutput(0, 1, nullptr, &a), E_POINTER);
  EXPECT_EQ(o->ProcessOutput(0, 1, &out, &a), DMO_E_TYPE_NOT_SET);
  EXPECT_EQ(o->Discontinuity(0), DMO_E_TYPE_NOT_SET);
  EXPECT_EQ(o->AllocateStreamingResources(), DMO_E_TYPE_NOT_SET);
  EXPECT_EQ(o->FreeStreamingResources(), S_OK);
  EXPECT_EQ(o->Flush(), S_OK);
}

TEST(MediaObject, TypesAreSetTestedAndCleared) {
  Reference<IMediaObject> object = MakeDecoder();
  IMediaObject* const o = object.Get();
  DMO_MEDIA_TYPE type = {};
  EXPECT_EQ(o->GetOutputType(0, 0, &type), DMO_E_TYPE_NOT_SET);
  EXPECT_EQ(o->GetOutputType(0, 1, &type), DMO_E_TYPE_NOT_SET);
  EXPECT_EQ(o->GetInputCurrentType(0, nullptr), E_POINTER);
  EXPECT_EQ(o->GetInputCurrentType(0, &type), DMO_E_TYPE_NOT_SET);
  EXPECT_EQ(o->GetOutputCurrentType(0, &type), DMO_E_TYPE_NOT_SET);

  MediaType pcm;
  pcm.Record()->majorType = MEDIATYPE_Audio;
  pcm.Record()->subtype = MEDIASUBTYPE_PCM;
  EXPECT_EQ(o->SetOutputType(0, pcm.Record(), 0), DMO_E_INVALIDTYPE);  // input comes first
  EXPECT_EQ(o->SetInputType(0, nullptr, 0), E_POINTER);
  EXPECT_EQ(o->SetInputType(0, nullptr, 4), E_INVALIDARG);
  EXPECT_EQ(o->SetInputType(0, nullptr, 3), S_OK);  // clear wins
  EXPECT_EQ(o->SetInputType(0, pcm.Record(), 0), DMO_E_INVALIDTYPE);
  for (const uint32_t tag : {495u, 496u, 751u, 1007u, 10005u}) {
    EXPECT_EQ(SetInput(o, tag, 160, DMO_SET_TYPEF_TEST_ONLY), S_OK);
    EXPECT_EQ(o->GetInputCurrentType(0, &type), DMO_E_TYPE_NOT_SET);
  }
  for (const uint32_t tag : {0u, 1u, 7u, 255u, 494u, 65536u + 495u})
    EXPECT_EQ(SetInput(o, tag, 160), DMO_E_INVALIDTYPE) << tag;
  MediaType video;
  MakeInputType(video.Record(), 495, 160);
  video.Record()->majorType = IID_IMediaObject;
  EXPECT_EQ(o->SetInputType(0, video.Record(), 0), DMO_E_INVALIDTYPE);
  video.Clear();
  MakeInputType(video.Record(), 495, 160);
  video.Record()->subtype.data4[7] ^= 1;
  EXPECT_EQ(o->SetInputType(0, video.Record(), 0), DMO_E_INVALIDTYPE);

  EXPECT_EQ(SetInput(o, 495, 160), S_OK);
  EXPECT_EQ(o->GetOutputType(0, 1, &type), DMO_E_NO_MORE_ITEMS);
  EXPECT_EQ(o->GetOutputType(0, 0, nullptr), S_OK);
  EXPECT_EQ(o->SetOutputType(0, video.Record(), 0), DMO_E_INVALIDTYPE);
  EXPECT_EQ(o->SetOutputType(0, pcm.Record(), DMO_SET_TYPEF_TEST_ONLY), S_OK);
  EXPECT_EQ(o->AllocateStreamingResources(), DMO_E_TYPE_NOT_SET);
  EXPECT_EQ(AcceptOutput(o), S_OK);
  EXPECT_EQ(o->AllocateStreamingResources(), S_OK);
  MediaType copy;
  EXPECT_EQ(o->GetInputCurrentType(0, copy.Record()), S_OK);
  EXPECT_EQ(copy->sampleSize, 160u);
  EXPECT_EQ(copy->formatSize, 18u);
  uint32_t size = 0, alignment = 0;
  EXPECT_EQ(o->GetOutputSizeInfo(0, &size, &alignment), S_OK);
  EXPECT_EQ(size, 320u);
  EXPECT_EQ(alignment, 1u);

  // Clearing a type lets a held input go.
  HostBuffer input(std::vector<uint8_t>(160));
  EXPECT_EQ(Feed(o, &input), S_OK);
  EXPECT_EQ(input.references, 2u);
  EXPECT_EQ(o->SetInputType(0, nullptr, DMO_SET_TYPEF_CLEAR), S_OK);
  EXPECT_EQ(input.references, 1u);
  EXPECT_EQ(Feed(o, &input), DMO_E_TYPE_NOT_SET);
}

TEST(MediaObject, OffersPcmSizedByTheFormat) {
  struct Case {
    uint32_t tag, n, size;
  };
  for (const Case& c :
       {Case{495, 160, 320}, Case{496, 1, 2}, Case{751, 80, 320}, Case{1007, 60, 320},
        Case{1007, 61, 325}, Case{10005, 164, 640}, Case{10005, 4, 0}, Case{10005, 3, 0},
        Case{10005, 0, 0}, Case{495, 0, 0}, Case{495, 0xFFFFFFFF, 0xFFFFFFFF}}) {
    Reference<IMediaObject> object = MakeDecoder();
    EXPECT_EQ(SetInput(object.Get(), c.tag, c.n), S_OK);
    MediaType type;
    ASSERT_EQ(object->GetOutputType(0, 0, type.Record()), S_OK);
    EXPECT_EQ(type->sampleSize, c.size) << c.tag << " " << c.n;
    EXPECT_EQ(type->subtype, MEDIASUBTYPE_PCM);
    EXPECT_EQ(type->fixedSizeSamples, 1);
    const uint8_t expected[18] = {1,    0, 1, 0, 0x40, 0x1F, 0, 0, 0x80,
                                  0x3E, 0, 0, 2, 0,    16,   0, 0, 0};
    ASSERT_EQ(type->formatSize, 18u);
    EXPECT_EQ(std::memcmp(type->format, expected, 18), 0);
  }
}

TEST(MediaObject, HoldsOneInputUntilItsOutputIsMade) {
  Reference<IMediaObject> object = OpenDecoder(495, 80);
  IMediaObject* const o = object.Get();
  HostBuffer input(std::vector<uint8_t>(80, 0xFF));
  HostBuffer output(160);
  DMO_OUTPUT_DATA_BUFFER out = {&output, 99, 0, 0};
  uint32_t status = 99, flags = 99;
  output.SetLength(5);
  EXPECT_EQ(o->ProcessOutput(0, 1, &out, &status), S_FALSE);  // nothing held
  EXPECT_EQ(status, 0u);
  EXPECT_EQ(out.status, 0u);
  EXPECT_EQ(output.Length(), 0u);
  out.buffer = nullptr;
  EXPECT_EQ(o->ProcessOutput(1, 1, &out, &status), S_FALSE);
  out.buffer = &output;

  EXPECT_EQ(o->GetInputStatus(0, &flags), S_OK);
  EXPECT_EQ(flags, 1u);
  EXPECT_EQ(o->ProcessInput(0, &input, 7, -5, 1), S_OK);
  EXPECT_EQ(o->GetInputStatus(0, &flags), S_OK);
  EXPECT_EQ(flags, 0u);
  EXPECT_EQ(o->Discontinuity(0), DMO_E_NOTACCEPTING);
  EXPECT_EQ(Feed(o, &input), DMO_E_NOTACCEPTING);
  EXPECT_EQ(input.references, 2u);
  EXPECT_EQ(o->ProcessOutput(0, 1, &out, &status), S_OK);
  EXPECT_EQ(input.references, 1u);
  EXPECT_EQ(out.status, 7u);
  EXPECT_EQ(out.timestamp, -5);
  EXPECT_EQ(out.timeLength, 1);
  EXPECT_EQ(output.Length(), 160u);
  EXPECT_EQ(o->Discontinuity(0), S_OK);

  // Flush and FreeStreamingResources let a held input go; a second flush does
  // nothing.
  EXPECT_EQ(Feed(o, &input), S_OK);
  EXPECT_EQ(o->Flush(), S_OK);
  EXPECT_EQ(input.references, 1u);
  EXPECT_EQ(o->Flush(), S_OK);
  EXPECT_EQ(Feed(o, &input), S_OK);
  EXPECT_EQ(o->FreeStreamingResources(), S_OK);
  EXPECT_EQ(input.references, 1u);
  EXPECT_EQ(Fetch(o, &output), S_FALSE);
}

TEST(MediaObject, ABadBufferLosesItsBlockOnly) {
  Reference<IMediaObject> object = OpenDecoder(496, 80);
  IMediaObject* const o = object.Get();
  HostBuffer good(std::vector<uint8_t>(80, 0xD5));
  HostBuffer output(160);

  HostBuffer empty(0u);
  EXPECT_EQ(Feed(o, &empty), E_FAIL);
  HostBuffer null(std::vector<uint8_t>(80));
  null.noBytes = true;
  EXPECT_EQ(Feed(o, &null), E_FAIL);
  HostBuffer failing(std::vector<uint8_t>(80));
  failing.failBytes = true;
  EXPECT_EQ(Feed(o, &failing), E_UNEXPECTED);

  HostBuffer small(159);
  EXPECT_EQ(Feed(o, &good), S_OK);
  EXPECT_EQ(Fetch(o, &small), E_INVALIDARG);
  EXPECT_EQ(good.references, 1u);  // the input is gone
  EXPECT_EQ(Fetch(o, &output), S_FALSE);

  HostBuffer unsized(160);
  unsized.failMaxLength = true;
  EXPECT_EQ(Feed(o, &good), S_OK);
  EXPECT_EQ(Fetch(o, &unsized), E_FAIL);
  EXPECT_EQ(Feed(o, &good), S_OK);
  EXPECT_EQ(Fetch(o, &failing), E_UNEXPECTED);
  EXPECT_EQ(Feed(o, &good), S_OK);
  EXPECT_EQ(Fetch(o, nullptr), E_POINTER);
  EXPECT_EQ(good.references, 1u);

  EXPECT_EQ(DecodeBlock(o, std::vector<uint8_t>(80, 0xD5), 160), std::vector<int16_t>(80, 8));
}

TEST(MediaObject, HasOneIdentityAndNoMethodsByName) {
  Reference<IMediaObject> object = MakeDecoder();
  Reference<IDispatch> dispatch;
  Reference<IUnknown> first, second;
  EXPECT_EQ(object->QueryInterface(IID_Iaudiodecoder, dispatch.ReceiveVoid()), S_OK);
  EXPECT_EQ(object->QueryInterface(IID_IUnknown, first.ReceiveVoid()), S_OK);
  EXPECT_EQ(dispatch->QueryInterface(IID_IUnknown, second.ReceiveVoid()), S_OK);
  EXPECT_EQ(first.Get(), second.Get());
  EXPECT_EQ(object->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
  void* none = &none;
  EXPECT_EQ(object->QueryInterface(IID_IMediaBuffer, &none), E_NOINTERFACE);
  EXPECT_EQ(none, nullptr);
  uint32_t count = 9;
  EXPECT_EQ(dispatch->GetTypeInfoCount(&count), S_OK);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(dispatch->GetTypeInfo(0, 0, &none), DISP_E_BADINDEX);
  EXPECT_EQ(dispatch->GetIDsOfNames(IID_IUnknown, nullptr, 0, 0, nullptr), DISP_E_UNKNOWNNAME);
  EXPECT_EQ(dispatch->Invoke(0, IID_IUnknown, 0, 0, nullptr, nullptr, nullptr, nullptr),
            DISP_E_MEMBERNOTFOUND);
}

TEST(MediaObject, TheModuleStaysWhileAnythingLives) {
  EXPECT_EQ(DllCanUnloadNow(), S_OK);
  void* object = &object;
  EXPECT_EQ(DllGetClassObject(CLSID_audiodecoder, IID_IClassFactory, nullptr), E_POINTER);
  EXPECT_EQ(DllGetClassObject(IID_IUnknown, IID_IClassFactory, &object), CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(DllGetClassObject(CLSID_audiodecoder, IID_IMediaObject, &object), E_NOINTERFACE);
  EXPECT_EQ(DllCanUnloadNow(), S_OK);
  {
    Reference<IClassFactory> factory;
    DllGetClassObject(CLSID_audiodecoder, IID_IClassFactory, factory.ReceiveVoid());
    EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
    EXPECT_EQ(factory->CreateInstance(factory.Get(), IID_IUnknown, &object), CLASS_E_NOAGGREGATION);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, nullptr), E_POINTER);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IMediaBuffer, &object), E_NOINTERFACE);
    factory->LockServer(1);
  }
  EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
  {
    const Reference<IMediaObject> made = MakeDecoder();
    Reference<IClassFactory> factory;
    DllGetClassObject(CLSID_audiodecoder, IID_IClassFactory, factory.ReceiveVoid());
    factory->LockServer(0);
    factory.Clear();
    EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
  }
  EXPECT_EQ(DllCanUnloadNow(), S_OK);
}

TEST(MediaObject, ItsLockKeepsOthersOut) {
  Reference<IMediaObject> object = OpenDecoder(495, 80);
  uint32_t flags = 0;
  EXPECT_EQ(object->Lock(1), S_OK);
  EXPECT_EQ(object->GetInputStatus(0, &flags), S_OK);  // the holder goes on
  std::atomic<bool> through{false};
  std::thread other([&] {
    uint32_t seen = 0;
    object->GetInputStatus(0, &seen);
    through = true;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_FALSE(through);
  EXPECT_EQ(object->Lock(0), S_OK);
  other.join();
  EXPECT_TRUE(through);
}

TEST(MediaObject, ManyThreadsShareOneObject) {
  Reference<IMediaObject> object = OpenDecoder(495, 80);
  std::atomic<int> made{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      HostBuffer input(std::vector<uint8_t>(80, 0x80));
      HostBuffer output(160);
      for (int i = 0; i < 300; ++i) {
        // Both calls under one lock, so that an input is fetched by its feeder.
        object->Lock(1);
        if (Feed(object.Get(), &input) == S_OK && Fetch(object.Get(), &output) == S_OK &&
            output.Pcm() == std::vector<int16_t>(80, 32124))
          ++made;
        object->Lock(0);
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(made, 1200);
}

TEST(MediaObject, RunsOutOfMemoryCleanly) {
  const heap::Meter before = heap::Read();
  for (int n = 0;; ++n) {
    ASSERT_LT(n, 50);
    heap::FailFrom(n);
    HRESULT result = S_OK;
    {
      Reference<IMediaObject> object;
      result = CreateAudioDecoder(IID_IMediaObject, object.ReceiveVoid());
      if (result == S_OK) {
        heap::FailFrom(-1);
        EXPECT_EQ(SetInput(object.Get(), 751, 80), S_OK);
        EXPECT_EQ(AcceptOutput(object.Get()), S_OK);
        HostBuffer input(std::vector<uint8_t>(80));
        HostBuffer output(320);
        heap::FailFrom(n > 0 ? n - 1 : 0);
        result = Feed(object.Get(), &input);
        heap::FailFrom(-1);
        if (result == E_OUTOFMEMORY) {  // the next input tries again
          EXPECT_EQ(Feed(object.Get(), &input), S_OK);
        }
        EXPECT_EQ(Fetch(object.Get(), &output), S_OK);
      }
      heap::FailFrom(-1);
    }
    EXPECT_TRUE(result == S_OK || result == E_OUTOFMEMORY);
    if (result == S_OK) break;
  }
  EXPECT_EQ(heap::Read().live, before.live);
}

}  // namespace
}  // namespace orbel
