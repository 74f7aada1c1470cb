// Makes decoders and types for the tests of media objects.
#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "dmo/audio_decoder.h"
#include "platform/media_type.h"
#include "platform/object_system.h"
#include "support/media_buffer.h"

namespace orbel {

inline void MakeInputType(DMO_MEDIA_TYPE* type, uint32_t tag, uint32_t sampleSize) {
  MoInitMediaType(type, sizeof(WAVEFORMATEX));
  type->majorType = MEDIATYPE_Audio;
  type->subtype = WaveSubtype(tag);
  type->fixedSizeSamples = 1;
  type->sampleSize = sampleSize;
  type->formatType = FORMAT_WaveFormatEx;
  reinterpret_cast<WAVEFORMATEX*>(type->format)->formatTag = static_cast<uint16_t>(tag);
}

// A decoder straight from the class factory, as a host with its own graph has it.
inline Reference<IMediaObject> MakeDecoder(const GUID& classId = CLSID_audiodecoder) {
  Reference<IClassFactory> factory;
  EXPECT_EQ(DllGetClassObject(classId, IID_IClassFactory, factory.ReceiveVoid()), S_OK);
  Reference<IMediaObject> object;
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IMediaObject, object.ReceiveVoid()), S_OK);
  return object;
}

inline HRESULT SetInput(IMediaObject* object, uint32_t tag, uint32_t sampleSize,
                        uint32_t flags = 0) {
  MediaType type;
  MakeInputType(type.Record(), tag, sampleSize);
  return object->SetInputType(0, type.Record(), flags);
}

// Takes the output type that the object offers; another sample size on request.
inline HRESULT AcceptOutput(IMediaObject* object, int64_t sampleSize = -1) {
  MediaType type;
  const HRESULT result = object->GetOutputType(0, 0, type.Record());
  if (result != S_OK) return result;
  if (sampleSize >= 0) type.Record()->sampleSize = static_cast<uint32_t>(sampleSize);
  return object->SetOutputType(0, type.Record(), 0);
}

inline Reference<IMediaObject> OpenDecoder(uint32_t tag, uint32_t sampleSize,
                                           int64_t outputSize = -1) {
  Reference<IMediaObject> object = MakeDecoder();
  EXPECT_EQ(SetInput(object.Get(), tag, sampleSize), S_OK);
  EXPECT_EQ(AcceptOutput(object.Get(), outputSize), S_OK);
  return object;
}

inline HRESULT Feed(IMediaObject* object, HostBuffer* input) {
  return object->ProcessInput(0, input, 0, 0, 0);
}

inline HRESULT Fetch(IMediaObject* object, HostBuffer* output) {
  DMO_OUTPUT_DATA_BUFFER buffer = {output, 99, 0, 0};
  uint32_t status = 99;
  return object->ProcessOutput(0, 1, &buffer, &status);
}

// One block through the decoder.
inline std::vector<int16_t> DecodeBlock(IMediaObject* object, const std::vector<uint8_t>& block,
                                        uint32_t outputRoom) {
  HostBuffer input(block);
  HostBuffer output(outputRoom);
  EXPECT_EQ(Feed(object, &input), S_OK);
  EXPECT_EQ(Fetch(object, &output), S_OK);
  EXPECT_EQ(input.references, 1u);
  return output.Pcm();
}

}  // namespace orbel
