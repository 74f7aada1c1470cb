// AudioSpecificConfig and program config element, as deep as Init takes them, and
// what a decoder makes of them with an empty and a silent unit.
#include <memory>

#include "aac_run.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  std::vector<uint8_t> bytes = input.Bytes(size);
  UMC::MediaData configuration;
  configuration.SetBufferPointer(bytes.data(), bytes.size());
  configuration.SetDataSize(bytes.size());
  UMC::AACDecoderParams params;
  params.data = &configuration;
  params.inputStreamType = UMC::kStreamUnits;
  params.sbrMode = 18;
  params.psSupportLevel = 111;
  params.memoryAllocator = &SharedAllocator();
  UMC::AACDecoder decoder;
  if (decoder.Init(&params) != UMC::UMC_OK) return 0;
  const auto pcm = std::make_unique<uint8_t[]>(65536);
  const auto unit = std::make_unique<uint8_t[]>(4);
  for (const size_t unitSize : {0, 4}) {
    UMC::MediaData in;
    in.SetBufferPointer(unit.get(), unitSize);
    in.SetDataSize(unitSize);
    UMC::AudioData out;
    out.SetBufferPointer(pcm.get(), 65536);
    decoder.GetFrame(&in, &out);
  }
  return 0;
}
