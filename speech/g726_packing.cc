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

// The low n bits of each of eight bytes, and each pair of them joined in 16 bits.
template <int n>
constexpr uint64_t kEachCode = 0x0101010101010101u * ((1u << n) - 1);
template <int n>
constexpr uint64_t kEachPair = 0x0001000100010001u * ((1u << 2 * n) - 1);

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

// Halves to 32 bits each, pairs to 16, codes to 8.
template <int n>
void Unpack(const uint8_t* packed, uint8_t* codes, int32_t blocks) {
  for (; blocks > 0; --blocks, packed += n, codes += kG726BlockSamples) {
    uint64_t bits = LoadBlock<n>(packed);
    bits = (bits | bits << (32 - 4 * n)) & (0x0000000100000001u * ((uint64_t{1} << 4 * n) - 1));
    bits = (bits | bits << (16 - 2 * n)) & kEachPair<n>;
    bits = (bits | bits << (8 - n)) & kEachCode<n>;
    Store(codes, bits);
  }
}

template <int n>
void Pack(const uint8_t* codes, uint8_t* packed, int32_t blocks) {
  for (; blocks > 0; --blocks, packed += n, codes += kG726BlockSamples) {
    uint64_t bits = Load<uint64_t>(codes) & kEachCode<n>;
    bits = (bits | bits >> (8 - n)) & kEachPair<n>;
    bits = (bits | bits >> (16 - 2 * n)) & (0x0000000100000001u * ((uint64_t{1} << 4 * n) - 1));
    StoreBlock<n>(packed, bits | bits >> (32 - 4 * n));
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
