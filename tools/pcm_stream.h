// Decoded sound, block by block, whatever coded input and decoder stand behind
// it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "tools/coded_input.h"

namespace orbel::tool {

struct AacFacts;

struct PcmForm {
  uint32_t rate = 0;
  uint32_t channels = 0;
  // Loudspeakers as WAV files name them; the samples are in the order of its
  // bits. 0: not known, and the samples are in the decoder's order.
  uint32_t mask = 0;

  bool operator==(const PcmForm&) const = default;
  // "48000 Hz, 6 channels"
  std::string Text() const;
};

struct PcmBlock {
  std::span<const int16_t> pcm;  // interleaved, never empty; valid until the next call
  PcmForm form;
  uint64_t position = 0;    // of the first coded byte
  uint64_t codedBytes = 0;  // of the input, headers included

  uint64_t Frames() const { return pcm.size() / form.channels; }
  double Seconds() const { return static_cast<double>(Frames()) / form.rate; }
};

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
};

// Opens options.inputs[index] for decoding. Throws as OpenInput does.
std::unique_ptr<PcmStream> OpenPcmStream(const Options& options, size_t index);

}  // namespace orbel::tool
