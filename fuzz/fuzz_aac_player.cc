// Raw data blocks through a player, in callback mode.
#include "input.h"
#include "orbel/player.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  CoInitializeEx(nullptr, 0);
  Player* const player = CreatePlayer();
  PlayerOpen(player, ORBEL_FORMAT_AAC, 20 + input.Take<uint8_t>() % 20, 0, 1);
  for (int samples = 0; samples < 32 && !input.Empty(); ++samples) {
    size_t count = input.Take<uint16_t>();
    if (count > input.Left()) count = input.Left();
    std::vector<uint8_t> sample = input.Bytes(count);
    uint8_t* pcm = nullptr;
    int32_t pcmSize = 0;
    if (PlayerRenderMPEGAudioSampleDec(player, sample.data(), static_cast<int32_t>(count), 0, 0,
                                       &pcm, &pcmSize) != 0)
      continue;
    uint32_t sum = 0;
    for (int32_t i = 0; i < pcmSize; ++i) sum += pcm[i];
    volatile uint32_t sink = sum;
    (void)sink;
  }
  PlayerClose(player);
  DisposePlayer(player);
  CoUninitialize();
  return 0;
}
