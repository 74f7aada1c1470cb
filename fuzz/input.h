// Takes a fuzzer's bytes apart. What is asked for beyond the end is zero.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

class FuzzInput {
 public:
  FuzzInput(const uint8_t* data, size_t size) : data_(data), left_(size) {}

  template <class T>
  T Take() {
    T value = {};
    const size_t now = sizeof value < left_ ? sizeof value : left_;
    if (now > 0) std::memcpy(&value, data_, now);
    data_ += now;
    left_ -= now;
    return value;
  }
  // Exactly so many bytes on the heap, so that a step outside is seen.
  std::vector<uint8_t> Bytes(size_t count) {
    std::vector<uint8_t> bytes(count);
    const size_t now = count < left_ ? count : left_;
    if (now > 0) std::memcpy(bytes.data(), data_, now);
    data_ += now;
    left_ -= now;
    return bytes;
  }
  bool Empty() const { return left_ == 0; }
  size_t Left() const { return left_; }

 private:
  const uint8_t* data_;
  size_t left_;
};
