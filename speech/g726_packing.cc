#include "speech/g726_packing.h"

#include <bit>
#include <cstring>

namespace orbel {
namespace {

static_assert(std::endian::native == std::endian::little);

template <typename T>
T Load(const uint8_t* from) {
  T value;
  std::memcpy(&value, from, sizeof value);
  return value;
}

template <typename T>
void Store(uint8_t* to, T value) {
  std::memcpy(to, &value, sizeof value);
}

// Fields of `width` bits, one at the bottom of each lane of `lane` bits. Spread
// halves the lanes, Join doubles them: the upper half of each field moves between
// the top of its lower half and the next lane.
template <int lane, int width>
constexpr uint64_t Lanes() {
  uint64_t mask = 0;
  for (int bit = 0; bit < 64; bit += lane) mask |= ((uint64_t{1} << width) - 1) << bit;
  return mask;
}

template <int lane, int width>
uint64_t Spread(uint64_t bits) {
  constexpr uint64_t kLower = Lanes<lane, width / 2>();
  return (bits & kLower) | ((bits << (lane - width) / 2) & kLower << lane / 2);
}

template <int lane, int width>
uint64_t Join(uint64_t bits) {
  constexpr uint64_t kLower = Lanes<lane, width / 2>();
  return (bits & kLower) | ((bits & kLower << lane / 2) >> (lane - width) / 2);
}

template <int n>
uint64_t LoadBlock(const uint8_t* packed) {
  if constexpr (n == 2) return Load<uint16_t>(packed);
  if constexpr (n == 3) return Load<uint16_t>(packed) | uint64_t{packed[2]} << 16;
  if constexpr (n == 4) return Load<uint32_t>(packed);
  if constexpr (n == 5) return Load<uint32_t>(packed) | uint64_t{packed[4]} << 32;
}

template <int n>
void StoreBlock(uint8_t* packed, uint64_t bits) {
  if constexpr (n < 4) Store(packed, static_cast<uint16_t>(bits));
  if constexpr (n >= 4) Store(packed, static_cast<uint32_t>(bits));
  if constexpr (n == 3) packed[2] = static_cast<uint8_t>(bits >> 16);
  if constexpr (n == 5) packed[4] = static_cast<uint8_t>(bits >> 32);
}

template <int n>
void Unpack(const uint8_t* packed, uint8_t* codes, int32_t blocks) {
  for (; blocks > 0; --blocks, packed += n, codes += kG726BlockSamples) {
    const uint64_t halves = Spread<64, 8 * n>(LoadBlock<n>(packed));
    const uint64_t pairs = Spread<32, 4 * n>(halves);
    Store(codes, Spread<16, 2 * n>(pairs));
  }
}

template <int n>
void Pack(const uint8_t* codes, uint8_t* packed, int32_t blocks) {
  for (; blocks > 0; --blocks, packed += n, codes += kG726BlockSamples) {
    const uint64_t pairs = Join<16, 2 * n>(Load<uint64_t>(codes));
    const uint64_t halves = Join<32, 4 * n>(pairs);
    StoreBlock<n>(packed, Join<64, 8 * n>(halves));
  }
}

}  // namespace

void G726Pack(int32_t bitsPerCode, const uint8_t* codes, uint8_t* packed, int32_t blocks) {
  switch (bitsPerCode) {
    case 2:
      return Pack<2>(codes, packed, blocks);
    case 3:
      return Pack<3>(codes, packed, blocks);
    case 4:
      return Pack<4>(codes, packed, blocks);
    case 5:
      return Pack<5>(codes, packed, blocks);
    default:
      return;
  }
}

void G726Unpack(int32_t bitsPerCode, const uint8_t* packed, uint8_t* codes, int32_t blocks) {
  switch (bitsPerCode) {
    case 2:
      return Unpack<2>(packed, codes, blocks);
    case 3:
      return Unpack<3>(packed, codes, blocks);
    case 4:
      return Unpack<4>(packed, codes, blocks);
    case 5:
      return Unpack<5>(packed, codes, blocks);
    default:
      return;
  }
}

}  // namespace orbel
