// Silence coding of G.711: any frame types and bytes into a decoder, any samples
// into an encoder with vad and from there into the decoder, with the modes changed
// and the states made anew in between.
#include <cstdlib>
#include <memory>

#include "input.h"
#include "speech/speech_codec.h"

namespace {

using namespace orbel;

struct Codec {
  const SpeechCodecFunctions& table;
  SpeechCodecOptions options = {};
  std::unique_ptr<void, void (*)(void*)> memory = {nullptr, &std::free};
  void* handle = nullptr;

  Codec(const SpeechCodecFunctions& codec, int32_t direction) : table(codec) {
    options.direction = direction;
    options.modes = {64000, 0, 1, 0, 1};
    SpeechMemBank bank = {};
    if (table.GetBankSizes(&options, &bank) != SPEECH_OK) std::abort();
    // Of this size and no larger, and never cleared.
    void* exact = nullptr;
    if (posix_memalign(&exact, 32, static_cast<size_t>(bank.size)) != 0) std::abort();
    memory.reset(exact);
    std::memset(memory.get(), 0xA5, static_cast<size_t>(bank.size));
    bank.memory = memory.get();
    if (table.Init(&options, &bank, &handle) != SPEECH_OK) std::abort();
  }

  // Of one byte: the modes of a Control or of a Reinit.
  void Change(uint8_t choice) {
    options.modes.vad = choice & 1;
    options.modes.postFilter = choice >> 1 & 1;
    (choice >> 2 & 1 ? table.Reinit : table.Control)(&options.modes, handle);
  }

  void Decode(std::vector<uint8_t> bytes, int32_t frameType, bool noRecord) {
    std::vector<int16_t> samples(80);
    SpeechBitstream bits = {bytes.data(), static_cast<int32_t>(bytes.size()), frameType, 64000};
    SpeechPcmStream pcm = {samples.data(), 0, 0, 0, 0};
    const bool known =
        noRecord || (frameType >= FrameLost && frameType <= FrameSid) || frameType == FrameSpeech;
    const int32_t status = table.Decode(handle, noRecord ? nullptr : &bits, &pcm);
    if (status != (known ? SPEECH_OK : SPEECH_ERR_FAILED)) std::abort();
  }
};

// Samples as the input has them, or made from two bytes of it: full-scale square
// waves, ramps and noise, which a fuzzer would be long in finding.
std::vector<int16_t> TakeFrame(FuzzInput& input, uint8_t kind, uint32_t* seed) {
  std::vector<int16_t> frame(80);
  if (kind % 4 == 0) {
    for (int16_t& s : frame) s = input.Take<int16_t>();
    return frame;
  }
  const int32_t level = input.Take<uint8_t>() << 7;
  const int32_t period = input.Take<uint8_t>() % 80 + 1;
  for (int32_t i = 0; i < 80; ++i) {
    *seed = *seed * 1664525u + 1013904223u;
    const int32_t noise = static_cast<int32_t>(*seed >> 16) - 32768;
    const int32_t wave = i / period % 2 != 0 ? -32768 : 32767;
    const int32_t value = kind % 4 == 1 ? noise : kind % 4 == 2 ? wave : i % period * 64 - 32768;
    frame[static_cast<size_t>(i)] = static_cast<int16_t>(value * level >> 15);
  }
  return frame;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  const uint8_t setup = input.Take<uint8_t>();
  const SpeechCodecFunctions& table = setup & 1 ? kSpeechCodecG711A : kSpeechCodecG711U;
  Codec encoder(table, 0), decoder(table, 1);
  uint32_t seed = setup;
  for (int calls = 0; calls < 3000 && !input.Empty(); ++calls) {
    const uint8_t choice = input.Take<uint8_t>();
    switch (choice % 8) {
      case 0:
        encoder.Change(choice >> 3);
        break;
      case 1:
        decoder.Change(choice >> 3);
        break;
      case 2:
      case 3: {
        const int32_t frameType = choice >> 3 == 31 ? input.Take<int8_t>() : (choice >> 3) % 5 - 1;
        decoder.Decode(input.Bytes(frameType == FrameSpeech ? 80 : 2), frameType,
                       choice >> 3 == 30);
        break;
      }
      default: {
        // The same kind of frame up to 16 times, so that a start of 32 frames and the
        // counters behind it are within reach.
        const int32_t repeats = choice % 8 == 7 ? 16 : 1;
        for (int32_t i = 0; i < repeats; ++i) {
          std::vector<int16_t> samples = TakeFrame(input, choice >> 3, &seed);
          std::vector<uint8_t> bytes(80);
          SpeechPcmStream pcm = {samples.data(), 160, 8000, 16, 64000};
          SpeechBitstream bits = {bytes.data(), 0, -2, 0};
          if (encoder.table.Encode(encoder.handle, &pcm, &bits) != SPEECH_OK) std::abort();
          const bool speech = bits.frameType == FrameSpeech;
          if (!speech && bits.frameType != FrameSid && bits.frameType != FrameNoData) std::abort();
          if (bits.byteCount != (speech ? 80 : 2)) std::abort();
          bytes.resize(static_cast<size_t>(bits.byteCount));
          decoder.Decode(bytes, bits.frameType, false);
        }
      }
    }
  }
  return 0;
}
