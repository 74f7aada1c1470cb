// Bits of a frame, the first one highest. Behind the end of the data they are
// zeros and the position counts on: parsers ask IsPast() where it matters.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace orbel {

struct AlsBits {
  const uint8_t* data;
  uint64_t size;          // bytes
  uint64_t position = 0;  // bits
  bool passed = false;    // the position was behind the end and has been taken back

  bool IsPast() const { return position > size * 8; }

  // 57 bits from the position on, or more, at the top.
  uint64_t Window() const {
    const uint64_t at = position / 8;
    uint64_t word = 0;
    if (at + 8 <= size) {
      std::memcpy(&word, data + at, sizeof word);
      word = __builtin_bswap64(word);
    } else {
      for (uint64_t i = at; i < size; ++i) word |= uint64_t{data[i]} << (56 - 8 * (i - at));
    }
    return word << (position % 8);
  }

  // `count` is 0 to 32.
  uint32_t Get(int32_t count) {
    const auto value = static_cast<uint32_t>(Window() >> 32);
    position += static_cast<uint64_t>(count);
    return count == 0 ? 0 : value >> (32 - count);
  }
  int32_t Signed(int32_t count) {  // two's complement, `count` 1 to 32
    const int32_t unused = (32 - count) & 31;
    return static_cast<int32_t>(Get(count) << unused) >> unused;
  }
  bool Flag() { return Get(1) != 0; }
  void Align() { position = (position + 7) & ~uint64_t{7}; }

  // The one bits in front of a zero bit, which is consumed.
  uint64_t Ones() {
    uint64_t ones = 0;
    for (;;) {
      const int32_t run = std::countl_one(Window());
      if (run < 56) {
        position += static_cast<uint64_t>(run) + 1;
        return ones + static_cast<uint64_t>(run);
      }
      position += 56;
      ones += 56;
    }
  }

  // A Rice code; `parameter` is 0 to 31.
  int32_t Rice(int32_t parameter) {
    const uint64_t ones = Ones();
    if (parameter == 0) {
      const auto half = static_cast<uint32_t>(ones >> 1);
      return static_cast<int32_t>((ones & 1) != 0 ? ~half : half);
    }
    const bool positive = Flag();
    const uint64_t rest = Get(parameter - 1);
    const auto value = static_cast<uint32_t>((ones << (parameter - 1)) + rest);
    return static_cast<int32_t>(positive ? value : ~value);
  }
};

}  // namespace orbel
