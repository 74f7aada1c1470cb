// Where decoded PCM goes: a WAV file, a headerless file, or a pipe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace orbel::tool {

class StreamInput;
struct PcmForm;

// One at a time.
class PcmOutput {
 public:
  // Opens the output and, with `header`, writes a WAV header. "-" is standard
  // output. pcmBytes: what will come, where it is known. An existing file is
  // replaced, but never the input's own. Throws Failure.
  PcmOutput(const std::string& name, bool header, const StreamInput& input, const PcmForm& form,
            std::optional<uint64_t> pcmBytes);
  // Removes a file that Finish has not completed, as a signal that ends the
  // process does. Pipes and devices stay.
  ~PcmOutput();
  PcmOutput(const PcmOutput&) = delete;
  PcmOutput& operator=(const PcmOutput&) = delete;

  // Writes, or keeps little pieces until they are worth a call of the system.
  // Throws Failure; ReaderGone when a pipe's reader has closed it.
  void Write(std::span<const int16_t> pcm);
  // Writes what is kept.
  void Flush();
  // Puts the header right where the length was not known and the file can be
  // written again, and closes. Throws Failure.
  void Finish();

  // Where a stream goes on whose form changes: a file's sound needs another
  // file, a device takes anything, and a pipe can't.
  bool IsFile() const { return isFile_ && name_ != "standard output"; }
  bool IsDevice() const { return isDevice_; }

 private:
  void WriteBytes(std::span<const uint8_t> bytes);
  void SetRemovable(bool removable);
  void Discard();
  void WriteHead(std::optional<uint64_t> pcmBytes);

  std::string name_;
  int descriptor_;
  bool header_;
  bool isFile_ = false;  // regular: can be removed, and its header written again
  bool isDevice_ = false;
  bool removable_ = false;  // made by us and not yet complete
  uint32_t rate_;
  uint32_t channels_;
  uint32_t mask_;
  std::optional<uint64_t> promised_;  // PCM bytes that the header tells
  uint64_t written_ = 0;              // PCM bytes, kept ones included
  std::vector<uint8_t> kept_;
};

}  // namespace orbel::tool
