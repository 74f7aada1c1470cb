// ER BSAC: a configuration of any rate and channel count, and access units.
#include "aac_run.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  const auto setup = input.Take<uint8_t>();
  const auto layer = input.Take<int8_t>();
  const auto frames = input.Take<uint8_t>();
  const uint32_t fields = 22U << 19 | (setup & 15U) << 15 | (setup >> 4 & 3U) << 11 | 1U << 8;
  std::vector<uint8_t> configuration = {static_cast<uint8_t>(fields >> 16),
                                        static_cast<uint8_t>(fields >> 8)};
  // numOfSubFrame takes five bits from here on.
  configuration.push_back(static_cast<uint8_t>((frames % 4U) << 3));
  configuration.resize(8);
  UMC::MediaData configurationData;
  configurationData.SetBufferPointer(configuration.data(), configuration.size());
  configurationData.SetDataSize(configuration.size());
  UMC::AACDecoderParams params;
  params.sbrMode = 18;
  params.sbrDownsample = 1;
  params.sbrSupportLevel = 777;
  params.psSupportLevel = (setup & 64) != 0 ? 411 : 0;
  params.layer = layer;
  params.memoryAllocator = &SharedAllocator();
  params.data = &configurationData;
  params.inputStreamType = UMC::kStreamUnits;
  UMC::AACDecoder decoder;
  if (decoder.Init(&params) != UMC::UMC_OK) return 0;
  size_t count = 0;
  while (!input.Empty() && count < kMostFrames) {
    // Frames end where they say, or are cut short.
    std::vector<uint8_t> unit;
    for (int frame = 0; frame == 0 || frame < frames % 4; ++frame) {
      const std::vector<uint8_t> head = input.Bytes(std::min<size_t>(input.Left(), 2));
      unit.insert(unit.end(), head.begin(), head.end());
      if (head.size() < 2) break;
      const size_t length = static_cast<size_t>(head[0] << 3 | head[1] >> 5);
      const std::vector<uint8_t> rest =
          input.Bytes(std::min(input.Left(), std::max<size_t>(length, 2) - 2));
      unit.insert(unit.end(), rest.begin(), rest.end());
    }
    unit.shrink_to_fit();
    RunPiece(decoder, unit, (frames & 128) != 0 ? 2048 : 65536, 0, &count);
  }
  return 0;
}
