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

  // Reads `size` bytes, or fewer where the input ends. Throws Failure.
  size_t Read(uint8_t* to, size_t size);
  // Up to `size` bytes that the next Read will give; valid until then.
  std::span<const uint8_t> Peek(size_t size);
  // Moves on by `count` bytes, or to the end. A pipe is read and dropped.
  void Skip(uint64_t count);
  // Regular files only.
  void Seek(uint64_t position);

 private:
  size_t ReadNow(uint8_t* to, size_t size);

  std::string name_;
  int descriptor_;
  uint64_t base_ = 0;      // file offset at which the input was opened
  uint64_t position_ = 0;  // counted from there
  std::optional<uint64_t> size_;
  std::vector<uint8_t> peeked_;
};

}  // namespace orbel::tool
