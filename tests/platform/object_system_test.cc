// Thread initialisation, creation by class, media types.
#include "platform/object_system.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>

#include "platform/graph.h"
#include "platform/media_type.h"

namespace orbel {
namespace {

TEST(ObjectSystem, InitialisationIsCountedPerThread) {
  std::thread([] {
    void* object = &object;
    EXPECT_EQ(CoCreateInstance(CLSID_FilterGraph, nullptr, 1, IID_IGraphBuilder, &object),
              CO_E_NOTINITIALIZED);
    EXPECT_EQ(object, nullptr);

    CoUninitialize();  // one too many is harmless
    int dummy = 0;
    EXPECT_EQ(CoInitializeEx(&dummy, 0), E_INVALIDARG);
    EXPECT_EQ(CoInitializeEx(nullptr, ORBEL_COINIT_MULTITHREADED), S_OK);
    EXPECT_EQ(CoInitializeEx(nullptr, ORBEL_COINIT_MULTITHREADED), S_FALSE);
    EXPECT_EQ(CoInitializeEx(nullptr, ORBEL_COINIT_APARTMENTTHREADED), RPC_E_CHANGED_MODE);
    CoUninitialize();
    Reference<IGraphBuilder> graph;
    EXPECT_EQ(
        CoCreateInstance(CLSID_FilterGraph, nullptr, 1, IID_IGraphBuilder, graph.ReceiveVoid()),
        S_OK);
    std::thread([] {
      Reference<IGraphBuilder> other;
      EXPECT_EQ(
          CoCreateInstance(CLSID_FilterGraph, nullptr, 1, IID_IGraphBuilder, other.ReceiveVoid()),
          CO_E_NOTINITIALIZED);
    }).join();
    CoUninitialize();
    Reference<IGraphBuilder> late;
    EXPECT_EQ(
        CoCreateInstance(CLSID_FilterGraph, nullptr, 1, IID_IGraphBuilder, late.ReceiveVoid()),
        CO_E_NOTINITIALIZED);
    EXPECT_EQ(CoInitializeEx(nullptr, ORBEL_COINIT_APARTMENTTHREADED), S_OK);
    CoUninitialize();
  }).join();
}

TEST(ObjectSystem, CreationNamesWhatIsWrong) {
  CoInitializeEx(nullptr, 0);
  void* object = &object;
  EXPECT_EQ(CoCreateInstance(CLSID_FilterGraph, nullptr, 1, IID_IGraphBuilder, nullptr), E_POINTER);
  EXPECT_EQ(CoCreateInstance(IID_IPin, nullptr, 1, IID_IUnknown, &object), REGDB_E_CLASSNOTREG);
  EXPECT_EQ(CoCreateInstance(CLSID_FilterGraph, nullptr, 2, IID_IUnknown, &object),
            REGDB_E_CLASSNOTREG);
  EXPECT_EQ(CoCreateInstance(CLSID_FilterGraph, nullptr, 1, IID_IPin, &object), E_NOINTERFACE);
  EXPECT_EQ(object, nullptr);
  Reference<IGraphBuilder> graph;
  ASSERT_EQ(CoCreateInstance(CLSID_FilterGraph, nullptr, 3, IID_IGraphBuilder, graph.ReceiveVoid()),
            S_OK);
  EXPECT_EQ(CoCreateInstance(CLSID_FilterGraph, graph.Get(), 1, IID_IUnknown, &object),
            CLASS_E_NOAGGREGATION);
  // One identity behind every interface, and the count that AddRef tells.
  Reference<IMediaControl> control;
  ASSERT_EQ(graph->QueryInterface(IID_IMediaControl, control.ReceiveVoid()), S_OK);
  Reference<IUnknown> first, second;
  graph->QueryInterface(IID_IUnknown, first.ReceiveVoid());
  control->QueryInterface(IID_IUnknown, second.ReceiveVoid());
  EXPECT_EQ(first.Get(), second.Get());
  EXPECT_EQ(graph->AddRef(), 5u);
  EXPECT_EQ(graph->Release(), 4u);
  CoUninitialize();
}

TEST(MediaTypes, AreCopiedDeepAndFreed) {
  DMO_MEDIA_TYPE type;
  ASSERT_EQ(MoInitMediaType(&type, 18), S_OK);
  std::memcpy(type.format, "eighteen bytes....", 18);
  type.majorType = MEDIATYPE_Audio;
  type.sampleSize = 160;
  DMO_MEDIA_TYPE copy;
  ASSERT_EQ(MoCopyMediaType(&copy, &type), S_OK);
  EXPECT_NE(copy.format, type.format);
  EXPECT_EQ(std::memcmp(copy.format, type.format, 18), 0);
  EXPECT_EQ(copy.sampleSize, 160u);
  MoFreeMediaType(&type);
  EXPECT_EQ(type.format, nullptr);
  EXPECT_EQ(copy.format[0], 'e');

  // A record that claims a format it does not have.
  uint8_t* const block = copy.format;
  copy.format = nullptr;
  ASSERT_EQ(MoCopyMediaType(&type, &copy), S_OK);
  EXPECT_EQ(type.formatSize, 0u);
  copy.format = block;
  MoFreeMediaType(&copy);

  EXPECT_EQ(MoInitMediaType(nullptr, 1), E_POINTER);
  EXPECT_EQ(MoFreeMediaType(nullptr), E_POINTER);
  EXPECT_EQ(MoCopyMediaType(nullptr, &type), E_POINTER);
  EXPECT_EQ(WaveTagOf(WaveSubtype(10005)), 10005);
  EXPECT_EQ(WaveTagOf(FORMAT_WaveFormatEx), -1);
  EXPECT_EQ(WaveSubtype(1), MEDIASUBTYPE_PCM);
}

}  // namespace
}  // namespace orbel
