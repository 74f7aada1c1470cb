// Coded bytes from a file, a pipe or standard input, in order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace orbel::tool {

class InputFile {
 public:
  // "-" is standard input. Throws Failure.
  explicit InputFile(const std::string& name);
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  const std::string& Name() const { return name_; }
  // Bytes before the next one, from where the input was opened.
  uint64_t Position() const { return position_; }
  // Bytes in all, for a regular file; a pipe has no size before its end.
  std::optional<uint64_t> Size() const { return size_; }
  bool IsSameFile(int descriptor) const;

  // The next `size` bytes, or fewer where the input ends; valid until the next
  // call. Take moves on behind them, Peek does not. Throws Failure.
  std::span<const uint8_t> Take(size_t size);
  std::span<const uint8_t> Peek(size_t size);
  // Moves on by `count` bytes, or to the end. A pipe is read and dropped.
  void Skip(uint64_t count);
  // Regular files only.
  void Seek(uint64_t position);
  // True when taking `size` bytes may have to wait for whoever fills a pipe.
  bool MayWaitFor(size_t size) const { return !size_ && end_ - begin_ < size; }

 private:
  size_t ReadSome();

  std::string name_;
  int descriptor_;
  uint64_t base_ = 0;      // file offset at which the input was opened
  uint64_t position_ = 0;  // of begin_, counted from there
  std::optional<uint64_t> size_;
  std::vector<uint8_t> buffer_;
  size_t begin_ = 0;  // bytes begin_ to end_ of the buffer are read and not taken
  size_t end_ = 0;
};

}  // namespace orbel::tool
