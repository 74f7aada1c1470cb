// Any frames and slot calls on the three codec tables.
#include <cstdlib>
#include <memory>

#include "input.h"
#include "speech/speech_codec.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace orbel;
  FuzzInput input(data, size);
  const SpeechCodecFunctions* const tables[] = {&kSpeechCodecG711A, &kSpeechCodecG711U,
                                                &kSpeechCodecG726};
  const SpeechCodecFunctions& codec = *tables[input.Take<uint8_t>() % 3];
  const int32_t rates[] = {64000, 40000, 32000, 24000, 16000, 8000};
  SpeechCodecOptions options = {};
  options.direction = input.Take<uint8_t>() % 3;
  options.law = input.Take<uint8_t>() % 4;
  options.modes.bitRate = rates[input.Take<uint8_t>() % 6];
  options.modes.vad = input.Take<uint8_t>() % 3;
  SpeechMemBank bank = {};
  if (codec.GetBankSizes(&options, &bank) != SPEECH_OK) return 0;
  const std::unique_ptr<void, void (*)(void*)> memory(
      std::aligned_alloc(32, static_cast<size_t>(bank.size + 31) / 32 * 32), &std::free);
  std::memset(memory.get(), 0, static_cast<size_t>(bank.size));
  bank.memory = memory.get();
  void* handle = nullptr;
  if (codec.Init(&options, &bank, &handle) != SPEECH_OK) return 0;
  int32_t frameSize = 16;
  while (!input.Empty()) {
    SpeechPcmStream pcm = {nullptr, 0, 8000, 16, rates[input.Take<uint8_t>() % 6]};
    switch (input.Take<uint8_t>() % 8) {
      case 0: {
        const int32_t wanted = input.Take<int16_t>();
        if (codec.SetFrameSize(&options, handle, wanted) == SPEECH_OK) frameSize = wanted;
        break;
      }
      case 1:
        options.modes.bitRate = rates[input.Take<uint8_t>() % 6];
        if (codec.Reinit(&options.modes, handle) == SPEECH_OK) frameSize = 16;
        break;
      case 2:
        options.modes.vad = input.Take<uint8_t>() % 2;
        codec.Control(&options.modes, handle);
        break;
      default: {
        const size_t room = frameSize > 0 ? static_cast<size_t>(frameSize) : 0;
        const int32_t count = input.Take<uint16_t>() % 700;
        if (options.direction == 1) {
          std::vector<uint8_t> bytes = input.Bytes(static_cast<size_t>(count < 80 ? 80 : count));
          std::vector<int16_t> out(room / 2 < 80 ? 80 : room / 2);
          SpeechBitstream bits = {bytes.data(), count, input.Take<int8_t>() % 7, pcm.bitRate};
          pcm.data = out.data();
          codec.Decode(handle, input.Take<uint8_t>() % 8 == 0 ? nullptr : &bits, &pcm);
        } else {
          const std::vector<uint8_t> raw = input.Bytes(static_cast<size_t>(count));
          std::vector<int16_t> in((raw.size() + 1) / 2);
          if (!raw.empty()) std::memcpy(in.data(), raw.data(), raw.size());
          std::vector<uint8_t> out(80 + raw.size());
          pcm.data = in.data();
          pcm.byteCount = count;
          SpeechBitstream bits = {out.data(), 0, 0, 0};
          codec.Encode(handle, &pcm, &bits);
        }
      }
    }
  }
  return 0;
}
