#include <bit>
#include <cmath>
#include <random>

#include "dsp/family_cases.h"
#include "dsp/rows.h"
#include "dsp/vlc_table.h"

namespace orbel {
namespace {

constexpr size_t kGuard = 16;

template <typename T>
std::vector<uint8_t> Bytes(const T* values, size_t count) {
  const auto* from = reinterpret_cast<const uint8_t*>(values);
  return std::vector<uint8_t>(from, from + count * sizeof(T));
}

// The words 0, 10, 110 and so on up to 16 bits, and random bytes to decode.
struct Stream {
  std::vector<DspVlcCode> codes;
  std::vector<uint64_t> memory;
  std::vector<uint8_t> bytes;
  const uint8_t* at;
  int32_t bitOffset;
  int32_t size = 0;
  int32_t status;

  Stream(int level, uint32_t seed, bool extreme, int32_t length) {
    constexpr int32_t kLevels[] = {8, 4, 4};
    std::mt19937 random(seed);
    for (uint32_t i = 1; i <= 17; ++i) {
      const int16_t escapes = static_cast<int16_t>(16 * 256 + 144);  // two of them
      const int16_t value = i % 3 == 0 ? escapes : static_cast<int16_t>(random());
      codes.push_back({(1U << (i > 16 ? 16 : i)) - (i > 16 ? 1 : 2),
                       static_cast<int16_t>(i > 16 ? 16 : i), value});
    }
    status = dspVlcGetSizeRow[level](codes.data(), 17, kLevels, 3, &size);
    memory.resize(static_cast<size_t>(size) / 8 + 1);
    status += dspVlcInitRow[level](codes.data(), 17, kLevels, 3, Table());
    bytes.resize(static_cast<size_t>(length) + 1);  // soon used up, so that its end is seen too
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(extreme ? 255 : random());
    at = bytes.data();
    bitOffset = static_cast<int32_t>(seed % 8);
  }

  DspVlcTable* Table() { return reinterpret_cast<DspVlcTable*>(memory.data()); }
  const uint8_t* End() const { return bytes.data() + bytes.size(); }

  std::vector<uint8_t> Result(const std::vector<int16_t>& values) {
    const int64_t moved = static_cast<int64_t>(reinterpret_cast<uintptr_t>(at) -
                                               reinterpret_cast<uintptr_t>(bytes.data()));
    const int64_t numbers[] = {moved, bitOffset, status, size};
    std::vector<uint8_t> all = Bytes(numbers, 4);
    for (const auto& more :
         {Bytes(memory.data(), memory.size()), Bytes(values.data(), values.size())}) {
      all.insert(all.end(), more.begin(), more.end());
    }
    return all;
  }
};

// Decodes `count` codes of `kValues` values with `decode(stream, destination)`.
template <int kValues, typename Decode>
std::vector<uint8_t> Decoded(int level, uint32_t seed, bool extreme, int32_t length,
                             Decode decode) {
  Stream stream(level, seed, extreme, length);
  std::vector<int16_t> values(static_cast<size_t>(length * kValues) + kGuard, 77);
  stream.status += decode(stream, values.data());
  return stream.Result(values);
}

std::vector<float> Floats(uint32_t seed, bool extreme, size_t count) {
  std::mt19937 random(seed);
  std::vector<float> values(count);
  for (float& value : values) {
    const uint32_t bits = random();
    // Of any kind, or of the size of samples.
    value = extreme ? std::bit_cast<float>(bits)
                    : std::ldexp(static_cast<float>(static_cast<int32_t>(bits)), -15);
    // Which operand's payload survives is not settled.
    if (std::isnan(value)) value = NAN;
  }
  return values;
}

std::vector<int16_t> Integers(uint32_t seed, bool extreme, size_t count) {
  std::mt19937 random(seed);
  std::vector<int16_t> values(count);
  for (size_t i = 0; i < count; ++i) {
    const int32_t value = static_cast<int16_t>(random());
    values[i] = static_cast<int16_t>(extreme           ? value
                                     : i / 16 % 2 != 0 ? 0
                                                       : value >> random() % 14);
  }
  return values;
}

template <int kChannels>
std::vector<uint8_t> Interleaved(int level, uint32_t seed, bool extreme, int32_t length) {
  std::vector<float> channels[kChannels];
  const float* pointers[kChannels];
  for (uint32_t i = 0; i < kChannels; ++i) {
    channels[i] = Floats(seed + i, extreme, static_cast<size_t>(length));
    pointers[i] = channels[i].data();
  }
  std::vector<int16_t> out(static_cast<size_t>(length * kChannels) + kGuard, 77);
  dspInterleaveFloatTo16sRow[level](pointers, kChannels, length, out.data());
  return Bytes(out.data(), out.size());
}

#define DECODER(name, what, values, ...)                                                     \
  {                                                                                          \
#name, what, [](int level, uint32_t seed, bool extreme, int32_t length) {                  \
     return Decoded<values>(level, seed, extreme, length, [&](Stream& s, int16_t* dst) {      \
       return name##Row[level](&s.at, &s.bitOffset, s.End(), dst, __VA_ARGS__);               \
     });                                                                                      \
   } \
  }

constexpr FamilyCase kCases[] = {
    {"dspVlcGetSize", "",
     [](int level, uint32_t seed, bool extreme, int32_t) {
       return Stream(level, seed, extreme, 1).Result({});
     }},
    {"dspVlcInit", "",
     [](int level, uint32_t seed, bool extreme, int32_t) {
       return Stream(level, seed, extreme, 1).Result({});
     }},
    {"dspVlcDecodeOne", "",
     [](int level, uint32_t seed, bool extreme, int32_t length) {
       Stream stream(level, seed, extreme, length);
       int32_t value = 0;
       stream.status += dspVlcDecodeOneRow[level](&stream.at, &stream.bitOffset, stream.End(),
                                                  &value, stream.Table());
       return stream.Result({static_cast<int16_t>(value)});
     }},
    DECODER(dspVlcDecodeBlock, "", 1, length, s.Table()),
    DECODER(dspVlcDecodeBlockKind3, "", 1, length, s.Table()),
    DECODER(dspVlcDecodeBlockKind4, "", 1, length, s.Table()),
    DECODER(dspVlcDecodeQuads_16s, "fields of 2 bits", 4, length, 2, s.Table()),
    DECODER(dspVlcDecodeQuads_16s, "fields of 3 bits", 4, length, 3, s.Table()),
    DECODER(dspVlcDecodePairs_16s, "", 2, length, s.Table()),
    DECODER(dspVlcDecodeEscape, "", 2, 2 * length, s.Table()),
    {"dspPow43_16s32f", "",
     [](int level, uint32_t seed, bool extreme, int32_t length) {
       const std::vector<int16_t> values = Integers(seed, extreme, static_cast<size_t>(length));
       std::vector<float> lines(values.size() + kGuard, 5);
       dspPow43_16s32fRow[level](values.data(), lines.data(), length, nullptr, 0);
       return Bytes(lines.data(), lines.size());
     }},
    {"dspScaleFactorGain_16s32f", "",
     [](int level, uint32_t seed, bool extreme, int32_t length) {
       const std::vector<int16_t> factors = Integers(seed, extreme, static_cast<size_t>(length));
       std::vector<float> gains(factors.size() + kGuard, 5);
       dspScaleFactorGain_16s32fRow[level](factors.data(), 100, gains.data(), length);
       return Bytes(gains.data(), gains.size());
     }},
    {"dspMulBands_32f", "bands of 0 to 12 lines",
     [](int level, uint32_t seed, bool extreme, int32_t length) {
       std::vector<int32_t> offsets = {static_cast<int32_t>(seed % 4)};
       for (int32_t i = 0; i < length; ++i) offsets.push_back(offsets.back() + i % 13);
       std::vector<float> lines =
           Floats(seed, extreme, static_cast<size_t>(offsets.back()) + kGuard);
       const std::vector<float> gains = Floats(seed + 1, false, static_cast<size_t>(length));
       dspMulBands_32fRow[level](lines.data(), gains.data(), offsets.data(), length);
       return Bytes(lines.data(), lines.size());
     }},
    {"dspDequantize_16s32f", "bands of 0 to 12 lines",
     [](int level, uint32_t seed, bool extreme, int32_t length) {
       std::vector<int32_t> offsets = {static_cast<int32_t>(seed % 4)};
       for (int32_t i = 0; i < length; ++i) offsets.push_back(offsets.back() + i % 13);
       const auto count = static_cast<size_t>(offsets.back());
       std::mt19937 random(seed);
       std::vector<int16_t> values(count + 1);
       for (int16_t& value : values)
         value = static_cast<int16_t>(static_cast<int32_t>(random() % 65536) - 32768);
       if (!extreme)
         for (int16_t& value : values) value = static_cast<int16_t>(value / 4);
       std::vector<float> lines = Floats(seed, false, count + kGuard);
       const std::vector<float> gains = Floats(seed + 1, false, static_cast<size_t>(length));
       dspDequantize_16s32fRow[level](values.data(), gains.data(), offsets.data(), length,
                                      extreme ? 1 : 0, lines.data());
       return Bytes(lines.data(), lines.size());
     }},
    {"dspInterleaveFloatTo16s", "1 channel", Interleaved<1>},
    {"dspInterleaveFloatTo16s", "2 channels", Interleaved<2>},
    {"dspInterleaveFloatTo16s", "5 channels", Interleaved<5>},
};

#undef DECODER

}  // namespace

std::span<const FamilyCase> VlcCases() { return kCases; }

}  // namespace orbel
