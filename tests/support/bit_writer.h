// Bits in the order of a stream, for tests and benchmarks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace orbel {

struct BitWriter {
  std::vector<uint8_t> bytes;
  int64_t position = 0;

  // The low `count` bits of `word`, most significant first.
  void Put(uint32_t word, int32_t count) {
    for (int32_t i = count - 1; i >= 0; --i, ++position) {
      if (position % 8 == 0) bytes.push_back(0);
      if ((word >> i & 1) != 0) bytes.back() |= static_cast<uint8_t>(0x80 >> position % 8);
    }
  }

  // The first `count` bytes in a heap block of just that size.
  std::unique_ptr<uint8_t[]> Exact(size_t count) const {
    auto block = std::make_unique<uint8_t[]>(count);
    for (size_t i = 0; i < count; ++i) block[i] = bytes[i];
    return block;
  }
};

}  // namespace orbel
