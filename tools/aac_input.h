// AAC cut into what its decoder takes at a time: ADTS frames, ADIF, and raw
// access units.
//
// Raw access units lie in a file each behind its length in bytes, 32 bits with
// the low byte first, and nothing else; their AudioSpecificConfig comes on the
// command line. Those of BSAC, whose frames tell their lengths themselves, may lie
// one after the other, too.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "aac/stream_headers.h"
#include "tools/coded_input.h"
#include "tools/input_file.h"

namespace orbel::tool {

// What headers or configuration tell of a stream.
struct AacHead {
  std::vector<uint8_t> config;  // AudioSpecificConfig, for raw units; else empty
  int32_t objectType = 0;       // of the core
  int32_t rateIndex = 0;        // 15: `rate` was spelled out
  uint32_t rate = 0;            // of the core
  int32_t channelConfiguration = 0;
  bool doublesRate = false;    // the configuration asks for output at twice the core rate
  bool hasParametric = false;  // and tells of parametric stereo
  bool isBsac = false;         // object type 22
  std::optional<ProgramConfigElement> pce;  // where the configuration is 0
};

struct AacFrame {
  // What the decoder is given; valid until the next call on the input. Empty:
  // lost, since nobody can tell where it starts.
  std::span<const uint8_t> bytes;
  uint64_t position = 0;  // of its first byte in the input
  size_t headBytes = 0;   // in front of the raw data block
  bool opens = false;     // first of a stream, which wants a new decoder
  bool isExact = true;    // the bytes end where the raw data block does
};

class AacInput : public StreamInput {
 public:
  explicit AacInput(std::unique_ptr<InputFile> file);

  // False at the end. Throws Failure.
  virtual bool Next(AacFrame* frame) = 0;
  // To be called for each frame: how many of its bytes the decoder took, and
  // whether it was good. Where frames do not tell their length, the next one
  // starts behind these bytes. False when the frame was no more than the rest of
  // one that the input's end has cut short.
  virtual bool Took(size_t bytes, bool good) = 0;

  // The frame at a position that Next has not passed yet, if one of the last frame's
  // stream is there; `opens` is not told. Its bytes are valid until the next call.
  virtual bool PeekFrame(uint64_t position, AacFrame* frame) = 0;

  // Of the stream that the last frame belongs to, or else the first one will.
  const AacHead& Head() const { return head_; }
  uint64_t Position() const { return file_->Position(); }
  bool IsSameFile(int descriptor) const override { return file_->IsSameFile(descriptor); }

 protected:
  void Entitle(const std::string& container, const std::string& standard);

  std::unique_ptr<InputFile> file_;
  AacHead head_;
};

// "LC", or "object type 7".
std::string ObjectTypeName(int32_t objectType);

// Null when the next bytes of the file are no AAC in a container of its own. An
// ID3 tag in front is skipped in any case. sure: the user says that it is AAC,
// and all of the file is searched for it.
std::unique_ptr<AacInput> OpenAacByContent(std::unique_ptr<InputFile>* file, bool sure);

// bare: BSAC without lengths in front of the units. Throws Failure when the
// configuration is none for AAC, or for something else than the input.
std::unique_ptr<AacInput> OpenAacUnits(std::unique_ptr<InputFile> file,
                                       std::span<const uint8_t> config, bool bare);

}  // namespace orbel::tool
