// Where the work of a command goes: a file or a pipe, with a header or without.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace orbel::tool {

class StreamInput;
struct WavForm;

// The bytes in front of the rest, and how many of those they can tell.
struct OutputHead {
  // For so many bytes behind it; empty: nobody knows. No function: no header.
  std::function<std::vector<uint8_t>(std::optional<uint64_t> bytes)> make;
  uint64_t mostBytes = UINT64_MAX;
  bool pads = false;  // an odd number of bytes gets a zero behind it
};
OutputHead WavOutputHead(const WavForm& form);

// One at a time.
class OutputFile {
 public:
  // Opens the output and writes its header. "-" is standard output. bytes: how many
  // will come behind it, where that is known. An existing file is replaced, but
  // never the input's own. Throws Failure.
  OutputFile(const std::string& name, OutputHead head, const StreamInput& input,
             std::optional<uint64_t> bytes);
  // Removes a file that Finish has not completed, as a signal that ends the
  // process does. Pipes and devices stay.
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // Writes, or keeps little pieces until they are worth a call of the system.
  // Throws Failure; ReaderGone when a pipe's reader has closed it.
  void Write(std::span<const uint8_t> bytes);
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
  void WriteHead(std::optional<uint64_t> bytes);

  std::string name_;
  int descriptor_;
  OutputHead head_;
  bool isFile_ = false;  // regular: can be removed, and its header written again
  bool isDevice_ = false;
  bool removable_ = false;            // made by us and not yet complete
  std::optional<uint64_t> promised_;  // bytes that the header tells
  uint64_t written_ = 0;              // behind the header, kept ones included
  std::vector<uint8_t> kept_;
};

}  // namespace orbel::tool
