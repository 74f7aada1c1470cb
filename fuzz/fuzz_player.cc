// Any sequence of calls on one player, callback mode.
#include "input.h"
#include "orbel/player.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  CoInitializeEx(nullptr, 0);
  Player* const player = CreatePlayer();
  const int32_t formats[] = {495, 496, 751, 1007, 10005, 255, 0, 7};
  while (!input.Empty()) {
    switch (input.Take<uint8_t>() % 6) {
      case 0:
      case 1: {
        const int32_t format = formats[input.Take<uint8_t>() % 8];
        int32_t sampleSize = input.Take<uint16_t>() % 600;
        if (input.Take<uint8_t>() == 0) sampleSize = input.Take<int32_t>();
        PlayerClose(player);  // opening twice leaks by contract
        PlayerOpen(player, format, 0, sampleSize, 1);
        break;
      }
      case 2:
        PlayerReset(player);
        break;
      case 3:
        PlayerSetVolume(player, input.Take<int32_t>());
        break;
      default: {
        const int32_t count = input.Take<uint16_t>() % 600;
        const std::vector<uint8_t> bytes = input.Bytes(static_cast<size_t>(count));
        uint8_t* pcm = nullptr;
        int32_t pcmSize = 0;
        if (PlayerRenderMPEGAudioSampleDec(player, bytes.data(), count, 0, 0, &pcm, &pcmSize) ==
            0) {
          uint32_t sum = 0;
          for (int32_t i = 0; i < pcmSize; ++i) sum += pcm[i];
          volatile uint32_t sink = sum;
          (void)sink;
        }
        break;
      }
    }
  }
  PlayerClose(player);
  DisposePlayer(player);
  CoUninitialize();
  return 0;
}
