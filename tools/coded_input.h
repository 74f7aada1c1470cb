// What the commands read. Every input has a form and remarks; a CodedInput is
// cut into samples as a host would hand them to a player.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/options.h"

namespace orbel::tool {

class PcmStream;

// What is known of a stream before its first sample.
struct StreamForm {
  std::string name;       // of the input, for messages
  std::string format;     // as --format spells it
  std::string title;      // as people call it
  std::string container;  // "raw", "WAV", "ADTS", "ADIF", "ALS", "framed" or
                          // "raw access units"
  int32_t formatId = 0;   // the next three are PlayerOpen's arguments; 0: not for players
  int32_t rateIndex = 0;
  int32_t sampleBytes = 0;
  uint32_t rate = 0;  // of the PCM
  uint32_t channels = 1;
  uint64_t dataStart = 0;              // byte of the input at which coded bytes start
  std::optional<uint64_t> codedBytes;  // unknown for a pipe
  std::optional<uint64_t> pcmSamples;  // per channel, likewise
};

class StreamInput {
 public:
  virtual ~StreamInput() = default;

  const StreamForm& Form() const { return form_; }
  // True when going on may have to wait for whoever fills a pipe.
  virtual bool MayWait() const = 0;
  virtual bool IsSameFile(int descriptor) const = 0;
  // Remarks about the input that did not stop the work, complete at the end.
  const std::vector<std::string>& Notes() const { return notes_; }
  void Note(const std::string& text, uint64_t position) {
    notes_.push_back(text + " (byte " + std::to_string(position) + ")");
  }

 protected:
  StreamForm form_;
  std::vector<std::string> notes_;
};

// One sample for the player.
struct Unit {
  const uint8_t* data = nullptr;  // valid until the next call on the input
  int32_t size = 0;
  uint64_t position = 0;    // of its first byte in the input
  uint64_t codedBytes = 0;  // bytes of the input in it; the rest is padding
  uint64_t pcmSamples = 0;  // PCM samples that these bytes hold
};

class CodedInput : public StreamInput {
 public:
  // False at the end. Throws Failure.
  virtual bool Next(Unit* unit) = 0;
  // A unit of silence, to push the last sound out of a device.
  virtual Unit Silence() = 0;
};

// Exactly one of the two is there.
struct OpenedInput {
  std::unique_ptr<CodedInput> samples;  // for a player, or a speech codec
  std::unique_ptr<PcmStream> sound;     // from a decoder of its own

  OpenedInput();
  OpenedInput(OpenedInput&&) noexcept;
  ~OpenedInput();
};

// Opens options.inputs[index], telling its kind by content and --format.
// Throws Failure, or UsageFailure where options are missing or contradict it.
OpenedInput OpenInput(const Options& options, size_t index);

}  // namespace orbel::tool
