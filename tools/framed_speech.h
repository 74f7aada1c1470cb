// G.711 with silence coding in a file: frames of 10 ms, each with its type.
//
//   0  "ORBV"
//   4  version, 1
//   5  law: 1 A-law, 2 mu-law
//   6  two bytes of 0
//   8  frames, 32 bits with the low byte first; all ones: to the end
//
// Then each frame: a byte that tells its type, and its bytes.
//
//   3    speech, 80 bytes
//   1    silence descriptor, 2 bytes
//   0    nothing was sent: the silence goes on; no bytes
//   255  lost on the way; no bytes
//
// The encoder delays the sound by 40 samples, and so it comes out.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "tools/input_file.h"
#include "tools/pcm_stream.h"
#include "tools/speech_codec.h"

namespace orbel::tool {

inline constexpr size_t kFramedHeadBytes = 12;
inline constexpr uint8_t kFramedLost = 255;

// How many frames there are of each type.
struct FrameTypes {
  uint64_t speech = 0;
  uint64_t descriptors = 0;
  uint64_t nothing = 0;
  uint64_t lost = 0;

  uint64_t All() const { return speech + descriptors + nothing + lost; }
  // Bytes of the form above, and how many fewer they are than the plain law's.
  uint64_t Bytes() const;
  int64_t SavedBytes() const;
  void Count(uint8_t type);
};

// Bytes behind a frame's type; empty: there is no such type.
std::optional<size_t> FramedBytes(uint8_t type);

// frames: empty where nobody knows.
std::vector<uint8_t> MakeFramedHead(const Format& format, std::optional<uint64_t> frames);

bool LooksLikeFramed(InputFile* file);

class FramedPcm final : public PcmStream {
 public:
  // Throws Failure.
  explicit FramedPcm(std::unique_ptr<InputFile> file);
  ~FramedPcm() override;

  const StreamInput& Input() const override;
  bool Next(PcmBlock* block) override;
  std::optional<PcmForm> FixedForm() const override { return PcmForm{kTelephonyRate, 1, 0}; }
  void Tell(JsonLine* json, TextRows* text) const override;

 private:
  class FramedInput;

  std::unique_ptr<FramedInput> input_;
  std::optional<SpeechCodec> codec_;
  FrameTypes types_;
  std::vector<int16_t> pcm_;
};

void TellFrameTypes(const FrameTypes& types, JsonLine* json, TextRows* text);

}  // namespace orbel::tool
