// Decoded sound, block by block, whatever coded input and decoder stand behind
// it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "tools/coded_input.h"
#include "tools/pcm_block.h"
#include "tools/report.h"

namespace orbel::tool {

struct AacFacts;

class PcmStream {
 public:
  virtual ~PcmStream() = default;

  virtual const StreamInput& Input() const = 0;
  // False at the end. The form may change from block to block. Throws Failure.
  virtual bool Next(PcmBlock* block) = 0;
  // The form of all blocks, and of none at all, where it is known beforehand.
  virtual std::optional<PcmForm> FixedForm() const { return std::nullopt; }
  // As people call what has been decoded, complete at the end.
  virtual std::string Title() const { return Input().Form().title; }
  // What an AAC decoder has seen so far; null for anything else.
  virtual const AacFacts* Aac() const { return nullptr; }
  // What `info` tells besides of other decoders, complete at the end.
  virtual void Tell(JsonLine*, TextRows*) const {}
};

// Sound of whatever has been opened. Throws Failure.
std::unique_ptr<PcmStream> MakePcmStream(OpenedInput input);

}  // namespace orbel::tool
