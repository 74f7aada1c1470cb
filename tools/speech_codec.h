// One open telephony codec, from the table of functions that it stands in.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "speech/speech_codec.h"
#include "tools/formats.h"

namespace orbel::tool {

// Of G.711 with silence coding.
inline constexpr size_t kSpeechFrameSamples = 80;

class SpeechCodec {
 public:
  enum class Direction { kEncode, kDecode };

  // silence: G.711 with silence coding. `name` is the input's, for messages. Throws
  // Failure, as all calls do.
  SpeechCodec(const Format& format, Direction direction, bool silence, std::string name);

  struct Coded {
    std::span<const uint8_t> bytes;  // valid until the next call
    int32_t frameType = FrameSpeech;
  };
  // A frame; of G.726 any number of samples, and zeros fill up the last block of 8.
  Coded Encode(std::span<const int16_t> pcm, uint64_t position);
  // Whole blocks of G.726. The result is valid until the next call.
  std::span<const int16_t> Decode(std::span<const uint8_t> bytes, uint64_t position);
  // A frame of G.711, of any type. Bytes are as the type has them.
  std::span<const int16_t> DecodeFrame(int32_t frameType, std::span<const uint8_t> bytes,
                                       uint64_t position);

 private:
  std::span<const int16_t> Run(SpeechBitstream bits, size_t samples, uint64_t position);

  struct Free {
    void operator()(void* memory) const;
  };

  std::string name_;
  const SpeechCodecFunctions& functions_;
  int32_t bitRate_;
  std::unique_ptr<void, Free> bank_;
  void* handle_ = nullptr;
  std::vector<uint8_t> bytes_;
  std::vector<int16_t> samples_;
};

}  // namespace orbel::tool
